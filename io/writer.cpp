#include "io/writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "io/error.h"
#include "io/number.h"

namespace ormavec {

namespace {
constexpr std::size_t kBufferSize = 1u << 20;
constexpr const char* kSource = "DXFWriter";

[[noreturn]] void failFile(int error, const std::string& what) {
    switch (error) {
    case ENOENT:
    case ENOTDIR: RaiseError(err::PathNotFound, kSource, "Path not found: " + what);
    case EACCES:
    case EPERM:
    case EROFS: RaiseError(err::PermissionDenied, kSource, "Permission denied: " + what);
    case ENOSPC:
    case EDQUOT: RaiseError(err::DiskFull, kSource, "Disk full: " + what);
    default: RaiseError(err::PathFileAccessError, kSource, "Cannot write " + what + ": " + std::strerror(error));
    }
}

std::string folderOf(const std::string& path) {
    auto slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}
}  // namespace

int32_t NextHandle(int32_t& counter) {
    if (counter == INT32_MAX) RaiseError(err::Overflow, kSource, "Overflow: the handle counter passed the 32-bit range");
    return ++counter;
}

DXFWriter::DXFWriter(CodePage codePage) : codePage_(codePage) {}

DXFWriter::~DXFWriter() { discard(); }

void DXFWriter::discard() noexcept {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
        if (!tempName_.empty()) ::unlink(tempName_.c_str());
    }
    tempName_.clear();
    memory_ = nullptr;
    open_ = false;
    size_ = 0;
}

void DXFWriter::OpenOutput(const std::string& fileName) {
    discard();
    struct stat st {};
    bool exists = ::stat(fileName.c_str(), &st) == 0;
    if (exists && S_ISDIR(st.st_mode)) RaiseError(err::PathFileAccessError, kSource, "Cannot write " + fileName + ": it is a folder");
    std::string folder = folderOf(fileName);
    std::string base = fileName.substr(fileName.rfind('/') == std::string::npos ? 0 : fileName.rfind('/') + 1);
    // Without a name the temporary file would be written in full and only
    // the final rename would fail.
    if (base.empty()) RaiseError(err::BadFileNameOrNumber, kSource, "Bad file name or number: \"" + fileName + "\" names no file");
    std::string temp = folder + "/." + base + ".XXXXXX";
    int fd = ::mkstemp(temp.data());
    if (fd < 0) failFile(errno, fileName);
    // Keep the existing file's permissions; a new file gets the usual ones.
    mode_t mode = 0666;
    if (exists) {
        mode = st.st_mode & 07777;
    } else {
        mode_t mask = ::umask(0);
        ::umask(mask);
        mode &= ~mask;
    }
    ::fchmod(fd, mode);
    fd_ = fd;
    tempName_ = temp;
    target_ = fileName;
    if (!buffer_) {
        capacity_ = kBufferSize;
        buffer_ = std::make_unique<char[]>(capacity_);
    }
    size_ = 0;
    open_ = true;
}

void DXFWriter::OpenString(std::string* target) {
    if (!target) RaiseError(ErrInvalidArgument, kSource, "OpenString needs a string to write into");
    discard();
    memory_ = target;
    memory_->clear();
    if (!buffer_) {
        capacity_ = kBufferSize;
        buffer_ = std::make_unique<char[]>(capacity_);
    }
    size_ = 0;
    open_ = true;
}

void DXFWriter::flush() {
    if (size_ == 0) return;
    if (memory_) {
        memory_->append(buffer_.get(), size_);
        size_ = 0;
        return;
    }
    const char* p = buffer_.get();
    std::size_t left = size_;
    while (left > 0) {
        ssize_t n = ::write(fd_, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            int e = errno;
            failFile(e, target_);
        }
        p += n;
        left -= static_cast<std::size_t>(n);
    }
    size_ = 0;
}

void DXFWriter::CloseOutput() {
    if (!open_) return;
    flush();
    if (memory_) {
        memory_ = nullptr;
        open_ = false;
        return;
    }
    if (::fsync(fd_) != 0 && errno != EINVAL) {
        int e = errno;
        failFile(e, target_);
    }
    if (::close(fd_) != 0) {
        int e = errno;
        fd_ = -1;
        ::unlink(tempName_.c_str());
        failFile(e, target_);
    }
    fd_ = -1;
    if (::rename(tempName_.c_str(), target_.c_str()) != 0) {
        int e = errno;
        ::unlink(tempName_.c_str());
        tempName_.clear();
        open_ = false;
        failFile(e, target_);
    }
    tempName_.clear();
    open_ = false;
}

void DXFWriter::need(std::size_t bytes) {
    if (!open_) RaiseError(err::BadFileNameOrNumber, kSource, "Bad file name or number: no output is open");
    if (size_ + bytes > capacity_) {
        flush();
        if (bytes > capacity_) {
            auto bigger = std::make_unique<char[]>(bytes);
            buffer_ = std::move(bigger);
            capacity_ = bytes;
        }
    }
}

void DXFWriter::put(const char* data, std::size_t size) {
    need(size);
    std::memcpy(buffer_.get() + size_, data, size);
    size_ += size;
}

void DXFWriter::putCode(int32_t code) {
    need(16);
    char* p = buffer_.get() + size_;
    char* e = FormatInt(p, code);
    e[0] = '\r';
    e[1] = '\n';
    size_ += static_cast<std::size_t>(e + 2 - p);
}

void DXFWriter::WriteLine(std::string_view text, bool rightTrim) {
    if (rightTrim)
        while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    if (IsAscii(text)) {
        put(text.data(), text.size());
    } else {
        encoded_.clear();
        EncodeAppend(encoded_, text, codePage_);
        put(encoded_.data(), encoded_.size());
    }
    endLine();
    lineDone();
}

void DXFWriter::WriteString(int32_t code, std::string_view text) {
    putCode(code);
    WriteLine(text, false);
}

void DXFWriter::WriteInteger(int32_t code, int32_t number) {
    putCode(code);
    need(16);
    char* p = buffer_.get() + size_;
    char* e = FormatInt(p, number);
    e[0] = '\r';
    e[1] = '\n';
    size_ += static_cast<std::size_t>(e + 2 - p);
    lineDone();
}

void DXFWriter::WriteDouble(int32_t code, double number) {
    if (!std::isfinite(number))
        RaiseError(err::Overflow, kSource, "Overflow: group " + std::to_string(code) + " holds a value that is not a finite number");
    putCode(code);
    need(kNumberBufferSize + 2);
    char* p = buffer_.get() + size_;
    char* e = FormatDouble(p, number);
    e[0] = '\r';
    e[1] = '\n';
    size_ += static_cast<std::size_t>(e + 2 - p);
    lineDone();
}

void DXFWriter::WriteHandle(int32_t code, int32_t handle) {
    putCode(code);
    need(16);
    char* p = buffer_.get() + size_;
    char* e = FormatHandle(p, handle);
    e[0] = '\r';
    e[1] = '\n';
    size_ += static_cast<std::size_t>(e + 2 - p);
    lineDone();
}

void DXFWriter::WritePoint(double x, double y, double z, int32_t codeX, int32_t codeY, int32_t codeZ) {
    WriteDouble(codeX, x);
    WriteDouble(codeY, y);
    WriteDouble(codeZ, z);
}

void DXFWriter::BeginSection() { WriteString(0, "SECTION"); }
void DXFWriter::EndSection() { WriteString(0, "ENDSEC"); }

std::string DXFWriter::NumberFormat(int32_t decimals) { return "0." + std::string(decimals > 0 ? decimals : 0, '#'); }

}  // namespace ormavec
