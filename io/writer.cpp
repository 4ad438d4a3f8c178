#include "io/writer.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

#include "io/binary_codes.h"
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

// The file a chain of symbolic links leads to, which need not exist yet.
std::string followLinks(std::string path) {
    for (int depth = 0; depth < 40; ++depth) {
        struct stat st {};
        if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) break;
        std::string target(static_cast<std::size_t>(st.st_size > 0 ? st.st_size : 4096) + 1, '\0');
        ssize_t n = ::readlink(path.c_str(), target.data(), target.size());
        if (n <= 0 || static_cast<std::size_t>(n) >= target.size()) break;
        target.resize(static_cast<std::size_t>(n));
        path = target.front() == '/' ? target : folderOf(path) + "/" + target;
    }
    return path;
}

// The temporary files being written, for the handlers of the signals that
// end a process: they remove them and then let the signal do its work. The
// state of a slot is 0 (free), 1 (being filled) or 2 (holds a name).
constexpr int kSlots = 32;
struct TempSlot {
    std::atomic<int> state{0};
    char name[4096];
};
TempSlot gSlots[kSlots];

extern "C" void removeTempsAndDie(int signal) {
    for (TempSlot& slot : gSlots)
        if (slot.state.load(std::memory_order_acquire) == 2) ::unlink(slot.name);
    ::raise(signal);  // the handler was reset on entry: the default action follows
}

// Installed once, and only for signals still at their default action, so
// that a program's own handlers are left alone.
void installHandlers() {
    static const bool installed = [] {
        for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
            struct sigaction old {};
            if (::sigaction(signal, nullptr, &old) != 0 || old.sa_handler != SIG_DFL || (old.sa_flags & SA_SIGINFO)) continue;
            struct sigaction action {};
            action.sa_handler = removeTempsAndDie;
            action.sa_flags = SA_RESETHAND;
            sigemptyset(&action.sa_mask);
            ::sigaction(signal, &action, nullptr);
        }
        return true;
    }();
    (void)installed;
}

int claimSlot(const std::string& name) {
    if (name.size() >= sizeof gSlots[0].name) return -1;
    installHandlers();
    for (int i = 0; i < kSlots; ++i) {
        int expected = 0;
        if (!gSlots[i].state.compare_exchange_strong(expected, 1)) continue;
        std::memcpy(gSlots[i].name, name.c_str(), name.size() + 1);
        gSlots[i].state.store(2, std::memory_order_release);
        return i;
    }
    return -1;  // more saves at once than slots: this one is not cleaned up on a signal
}

void releaseSlot(int& slot) noexcept {
    if (slot >= 0) gSlots[slot].state.store(0, std::memory_order_release);
    slot = -1;
}
}  // namespace

DXFWriter::DXFWriter(CodePage codePage) : codePage_(codePage) {}

DXFWriter::~DXFWriter() { discard(); }

void DXFWriter::discard() noexcept {
    stopBackground();
    background_.reset();
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
        if (!tempName_.empty()) ::unlink(tempName_.c_str());
    }
    releaseSlot(tempSlot_);
    tempName_.clear();
    memory_ = nullptr;
    open_ = false;
    size_ = 0;
    firstHigh_ = true;
}

void DXFWriter::OpenOutput(const std::string& fileName) {
    discard();
    written_ = 0;
    if (!buffer_) {
        capacity_ = kBufferSize;
        buffer_ = std::make_unique_for_overwrite<char[]>(capacity_);
    }
    size_ = 0;
    struct stat st {};
    bool exists = fileName != "-" && ::stat(fileName.c_str(), &st) == 0;
    if (exists && S_ISDIR(st.st_mode)) RaiseError(err::PathFileAccessError, kSource, "Cannot write " + fileName + ": it is a folder");
    if (fileName == "-" || (exists && !S_ISREG(st.st_mode))) {
        // Nothing to put in place: the bytes go where the name leads.
        int fd = fileName == "-" ? ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0) : ::open(fileName.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) failFile(errno, fileName);
        fd_ = fd;
        target_ = fileName == "-" ? "<stdout>" : fileName;
        open_ = true;
        startOutput();
        return;
    }
    const std::string path = followLinks(fileName);
    std::string folder = folderOf(path);
    std::string base = path.substr(path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1);
    // Without a name the temporary file would be written in full and only
    // the final rename would fail.
    if (base.empty()) RaiseError(err::BadFileNameOrNumber, kSource, "Bad file name or number: \"" + fileName + "\" names no file");
    // Created with 0666 so that a new file gets the usual permissions from the
    // kernel: asking for the umask would set it for every thread meanwhile.
    static std::atomic<unsigned> serial{0};
    std::string temp;
    int fd = -1;
    for (int attempt = 0; fd < 0 && attempt < 100; ++attempt) {
        temp = folder + "/." + base + "." + std::to_string(::getpid()) + "." + std::to_string(serial++);
        // Claimed before it exists: a signal between the two must not leave it behind.
        releaseSlot(tempSlot_);
        tempSlot_ = claimSlot(temp);
        fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) break;
    }
    if (fd < 0) {
        const int error = errno;
        releaseSlot(tempSlot_);
        failFile(error, fileName);
    }
    // Keep the existing file's permissions.
    if (exists) ::fchmod(fd, st.st_mode & 07777);
    fd_ = fd;
    tempName_ = temp;
    target_ = path;
    open_ = true;
    startOutput();
}

void DXFWriter::OpenString(std::string* target) {
    if (!target) RaiseError(ErrInvalidArgument, kSource, "OpenString needs a string to write into");
    discard();
    memory_ = target;
    memory_->clear();
    if (!buffer_) {
        capacity_ = kBufferSize;
        buffer_ = std::make_unique_for_overwrite<char[]>(capacity_);
    }
    size_ = 0;
    open_ = true;
    startOutput();
}

void DXFWriter::startOutput() {
    if (!binary_) return;
    put(kBinarySentinel.data(), kBinarySentinel.size());
    lineDone();
}

namespace {
// Writes all of it; 0 or the error.
int writeAll(int fd, const char* p, std::size_t left) noexcept {
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        p += n;
        left -= static_cast<std::size_t>(n);
    }
    return 0;
}
}  // namespace

// The thread that writes a safe save's buffers while the next one is being
// filled. A safe save ends by waiting for its file to reach the disk; asking
// the kernel to start writing each few megabytes as they come lets the disk
// work while the rest is formatted, so that the final wait is short. The
// first error stops the writing; the saving thread raises it at its next
// hand-over or at the close, before the file would be put in place.
struct DXFWriter::Background {
    std::mutex mutex;
    std::condition_variable changed;
    const char* data = nullptr;  // the buffer being written while busy
    std::size_t size = 0;
    bool busy = false;
    bool stop = false;
    int error = 0;
    std::thread thread;

    void run(int fd) {
        int64_t written = 0, writebackFrom = 0;
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return busy || stop; });
            if (!busy) return;
            const char* p = data;
            const std::size_t n = size;
            const bool failed = error != 0;
            lock.unlock();
            const int e = failed ? 0 : writeAll(fd, p, n);
            written += static_cast<int64_t>(n);
#if defined(__linux__)
            constexpr int64_t kWritebackStep = 4 << 20;
            if (e == 0 && !failed && written - writebackFrom >= kWritebackStep) {
                ::sync_file_range(fd, writebackFrom, written - writebackFrom, SYNC_FILE_RANGE_WRITE);
                writebackFrom = written;
            }
#endif
            lock.lock();
            if (e != 0) error = e;
            busy = false;
            changed.notify_all();
        }
    }
};

void DXFWriter::handOver() {
    if (background_ && !background_->thread.joinable()) {
        // Stopped by a close that failed: an error stays, anything else is written here.
        if (background_->error != 0) failFile(background_->error, target_);
        if (const int e = writeAll(fd_, buffer_.get(), size_)) failFile(e, target_);
        return;
    }
    if (!background_) {
        try {
            if (!spare_) {
                spare_ = std::make_unique_for_overwrite<char[]>(capacity_);
                spareCapacity_ = capacity_;
            }
            auto b = std::make_unique<Background>();
            b->thread = std::thread([b = b.get(), fd = fd_] { b->run(fd); });
            background_ = std::move(b);
        } catch (const std::exception&) {
            // No thread or no memory for a second buffer: written here instead.
            if (const int e = writeAll(fd_, buffer_.get(), size_)) failFile(e, target_);
            return;
        }
    }
    Background& b = *background_;
    {
        std::unique_lock lock(b.mutex);
        b.changed.wait(lock, [&b] { return !b.busy; });
        if (b.error != 0) {
            const int e = b.error;
            lock.unlock();
            failFile(e, target_);
        }
        b.data = buffer_.get();
        b.size = size_;
        b.busy = true;
    }
    b.changed.notify_all();
    std::swap(buffer_, spare_);
    std::swap(capacity_, spareCapacity_);
}

// Kept after a failed write, so that a later close raises it again.
int DXFWriter::stopBackground() noexcept {
    if (!background_) return 0;
    Background& b = *background_;
    if (b.thread.joinable()) {
        {
            std::lock_guard lock(b.mutex);
            b.stop = true;
        }
        b.changed.notify_all();
        b.thread.join();
    }
    return b.error;
}

void DXFWriter::flush() {
    if (size_ == 0) return;
    if (memory_) {
        memory_->append(buffer_.get(), size_);
        size_ = 0;
        return;
    }
    if (!tempName_.empty()) {
        handOver();
    } else if (const int e = writeAll(fd_, buffer_.get(), size_)) {
        failFile(e, target_);
    }
    written_ += static_cast<int64_t>(size_);
    size_ = 0;
    if (BytesProgress) BytesProgress(written_);
}

void DXFWriter::CloseOutput() {
    if (!open_) return;
    flush();
    if (memory_) {
        memory_ = nullptr;
        open_ = false;
        return;
    }
    if (tempName_.empty()) {
        // Written straight through: closing is all there is to do.
        const int e = ::close(fd_) != 0 ? errno : 0;
        fd_ = -1;
        open_ = false;
        if (e != 0 && e != EINTR) failFile(e, target_);
        return;
    }
    if (const int e = stopBackground()) failFile(e, target_);
    if (::fsync(fd_) != 0 && errno != EINVAL) {
        int e = errno;
        failFile(e, target_);
    }
    if (::close(fd_) != 0) {
        int e = errno;
        fd_ = -1;
        ::unlink(tempName_.c_str());
        releaseSlot(tempSlot_);
        failFile(e, target_);
    }
    fd_ = -1;
    if (::rename(tempName_.c_str(), target_.c_str()) != 0) {
        int e = errno;
        ::unlink(tempName_.c_str());
        releaseSlot(tempSlot_);
        tempName_.clear();
        open_ = false;
        failFile(e, target_);
    }
    releaseSlot(tempSlot_);
    tempName_.clear();
    open_ = false;
}

void DXFWriter::needSlow(std::size_t bytes) {
    if (!open_) RaiseError(err::BadFileNameOrNumber, kSource, "Bad file name or number: no output is open");
    if (size_ + bytes > capacity_) {
        flush();
        if (bytes > capacity_) {
            auto bigger = std::make_unique_for_overwrite<char[]>(bytes);
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

namespace {
// The code lines of the codes written most, line end included, ready to copy.
struct CodeLine {
    char text[8];
    uint8_t size;
};
constexpr int32_t kCodeLines = 1072;
constexpr std::array<CodeLine, kCodeLines> makeCodeLines() {
    std::array<CodeLine, kCodeLines> t{};
    for (int32_t c = 0; c < kCodeLines; ++c) {
        char digits[4] = {};
        int n = 0;
        for (int32_t v = c;; v /= 10) {
            digits[n++] = static_cast<char>('0' + v % 10);
            if (v < 10) break;
        }
        uint8_t k = 0;
        while (n > 0) t[c].text[k++] = digits[--n];
        t[c].text[k++] = '\r';
        t[c].text[k++] = '\n';
        t[c].size = k;
    }
    return t;
}
constexpr std::array<CodeLine, kCodeLines> kCodeLineTable = makeCodeLines();
}  // namespace

// Writes the code line; the caller has made room for 16 bytes.
char* DXFWriter::codeLine(char* p, int32_t code) noexcept {
    if (code >= 0 && code < kCodeLines) {
        const CodeLine& line = kCodeLineTable[static_cast<std::size_t>(code)];
        std::memcpy(p, line.text, sizeof line.text);
        return p + line.size;
    }
    char* e = FormatInt(p, code);
    e[0] = '\r';
    e[1] = '\n';
    return e + 2;
}

void DXFWriter::putCode(int32_t code) {
    code_ = code;
    if (binary_) return binaryCode(code);
    need(16);
    char* p = buffer_.get() + size_;
    size_ += static_cast<std::size_t>(codeLine(p, code) - p);
}

void DXFWriter::WriteLine(std::string_view text, bool rightTrim) {
    if (rightTrim)
        while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    if (IsAscii(text) || utf8Output_) {
        if (binary_) return binaryValue(code_, text);
        put(text.data(), text.size());
    } else {
        encoded_.clear();
        if (saveMode_ != SaveMode::Classic) {
            EncodeEscapedAppend(encoded_, text, codePage_);
            // R12 readers take a backslash in a name (layer, line type, style,
            // block) for a wrong character, not an escape: U+XXXX stays.
            if (saveMode_ == SaveMode::R12 && (code_ == 2 || code_ == 6 || code_ == 7 || code_ == 8))
                for (std::size_t at = 0; (at = encoded_.find("\\U+", at)) != std::string::npos;) encoded_.erase(at, 1);
            if (firstHigh_) keepOffUtf8();
        } else {
            EncodeAppend(encoded_, text, codePage_);
        }
        if (binary_) return binaryValue(code_, encoded_);
        put(encoded_.data(), encoded_.size());
    }
    endLine();
    lineDone();
}

// Auto reading takes a drawing for UTF-8 when the first value line above
// ASCII is valid UTF-8 (an unfinished sequence at its end may go on in the
// next piece of a text). A standard save in a single-byte page writes the
// characters of that line as escapes, one by one, until it is not.
void DXFWriter::keepOffUtf8() {
    const bool piece = code_ == 1 || code_ == 3;  // the codes of text pieces
    const auto looksUtf8 = [piece](std::string_view s) {
        if (IsValidUtf8(s)) return true;
        if (!piece) return false;
        std::size_t end = s.size();
        while (end > 0 && s.size() - end < 3 && (static_cast<unsigned char>(s[end - 1]) & 0xC0) == 0x80) --end;
        return end > 0 && static_cast<unsigned char>(s[end - 1]) >= 0xC2 && IsValidUtf8(s.substr(0, end - 1));
    };
    if (IsAscii(encoded_)) return;
    if (utf8Output_ || !IsTextCode(code_) || IsDoubleByte(codePage_)) {
        firstHigh_ = false;
        return;
    }
    static constexpr char kHex[] = "0123456789ABCDEF";
    for (std::size_t i = 0; i < encoded_.size() && looksUtf8(encoded_); ++i) {
        const auto b = static_cast<unsigned char>(encoded_[i]);
        if (b < 0x80 || (i > 0 && encoded_[i - 1] == '\\')) continue;
        const char32_t ch = DecodeByte(codePage_, b);
        const char escape[7] = {'\\', 'U', '+', kHex[(ch >> 12) & 15], kHex[(ch >> 8) & 15], kHex[(ch >> 4) & 15], kHex[ch & 15]};
        encoded_.replace(i, 1, escape, 7);
        i += 6;
    }
    firstHigh_ = IsAscii(encoded_);
}

void DXFWriter::putEncoded(int32_t code) {
    code_ = code;
    if (firstHigh_ && saveMode_ != SaveMode::Classic) keepOffUtf8();
    putCode(code);
    if (binary_) return binaryValue(code, encoded_);
    put(encoded_.data(), encoded_.size());
    endLine();
    lineDone();
}

void DXFWriter::WriteString(int32_t code, std::string_view text) {
    if (skips(code)) return;
    if (saveMode_ != SaveMode::Classic && IsTextCode(code) && std::memchr(text.data(), '\\', text.size())) {
        encoded_.clear();
        bool paired = false;
        EncodeProtectedAppend(encoded_, text, 0, text.size(), codePage_, utf8Output_, false, paired);
        putEncoded(code);
        return;
    }
    if (!IsAscii(text)) {
        putCode(code);
        WriteLine(text, false);
        return;
    }
    if (binary_) {
        binaryCode(code);
        return binaryValue(code, text);
    }
    need(16 + text.size() + 2);
    char* const start = buffer_.get() + size_;
    char* p = codeLine(start, code);
    std::memcpy(p, text.data(), text.size());
    p += text.size();
    p[0] = '\r';
    p[1] = '\n';
    size_ += static_cast<std::size_t>(p + 2 - start);
    lineDone();
}

// Whether cuts end pieces of text: in order, the last at its end, each
// between two characters, no piece longer than a line a reader takes. Nor
// after a backslash: the character after it may be written as an escape
// once the piece it starts is known (keepOffUtf8), and the two would pair.
static bool cutsFit(std::string_view text, std::span<const uint32_t> cuts) {
    if (cuts.empty() || cuts.back() != text.size()) return false;
    uint32_t last = 0;
    for (uint32_t c : cuts) {
        if (c < last || c - last > 2048 || (c < text.size() && (static_cast<unsigned char>(text[c]) & 0xC0) == 0x80) ||
            (c > 0 && c < text.size() && text[c - 1] == '\\'))
            return false;
        last = c;
    }
    return true;
}

void DXFWriter::WriteTextPieces(std::string_view text, std::size_t pieceUnits, int32_t pieceCode, int32_t lastCode, std::span<const uint32_t> cuts) {
    const auto units = [](char32_t ch) -> std::size_t { return ch >= 0x10000 ? 2 : 1; };
    const bool given = saveMode_ == SaveMode::Standard && cutsFit(text, cuts);
    std::size_t rest = 0;
    if (text.size() > pieceUnits && !given)  // at most one unit per byte
        for (std::size_t pos = 0; pos < text.size();) rest += units(NextUtf8(text, pos));
    pieces_.clear();
    if (given) pieces_.assign(cuts.begin(), cuts.end() - 1);
    std::size_t pos = 0;
    while (rest > pieceUnits) {
        const std::size_t start = pos;
        std::size_t n = 0;
        while (n < pieceUnits) n += units(NextUtf8(text, pos));
        if (saveMode_ == SaveMode::Standard) {
            // Some readers trim the spaces at both ends of a piece: a cut beside
            // a space is moved back to a place between two other characters;
            // nor does a piece end with a backslash (see cutsFit).
            std::size_t cut = pos;
            const auto spaceAtCut = [&] { return text[cut - 1] == ' ' || text[cut - 1] == '\\' || (cut < text.size() && text[cut] == ' '); };
            while (cut > start && spaceAtCut()) {
                --cut;
                while (cut > start && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
            }
            if (cut > start) {
                n = 0;
                for (std::size_t at = start; at < cut;) n += units(NextUtf8(text, at));
                pos = cut;
            }
        }
        pieces_.push_back(pos);
        rest -= n;
    }
    pieces_.push_back(text.size());
    const auto code = [&](std::size_t k) { return k + 1 < pieces_.size() ? pieceCode : lastCode; };
    if (saveMode_ != SaveMode::Standard || !std::memchr(text.data(), '\\', text.size())) {
        for (std::size_t k = 0, start = 0; k < pieces_.size(); start = pieces_[k++])
            WriteString(code(k), text.substr(start, pieces_[k] - start));
        return;
    }
    // Whether a backslash reads back as an escape depends on what follows it
    // once the reader has joined the pieces.
    bool paired = false;
    for (std::size_t k = 0, start = 0; k < pieces_.size(); start = pieces_[k++]) {
        encoded_.clear();
        EncodeProtectedAppend(encoded_, text, start, pieces_[k], codePage_, utf8Output_, true, paired);
        putEncoded(code(k));
    }
}

void DXFWriter::WriteInteger(int32_t code, int32_t number) {
    if (skips(code)) return;
    if (binary_) {
        binaryCode(code);
        const BinaryValue kind = BinaryValueOf(code);
        if (kind == BinaryValue::Int32 || (kind == BinaryValue::Int16 && number >= INT16_MIN && number <= INT16_MAX)) {
            const int16_t small = static_cast<int16_t>(number);
            kind == BinaryValue::Int32 ? binaryBytes(&number, 4) : binaryBytes(&small, 2);
            return lineDone();
        }
        char text[16];
        return binaryValue(code, std::string_view(text, static_cast<std::size_t>(FormatInt(text, number) - text)));
    }
    need(32);
    char* const start = buffer_.get() + size_;
    char* e = FormatInt(codeLine(start, code), number);
    e[0] = '\r';
    e[1] = '\n';
    size_ += static_cast<std::size_t>(e + 2 - start);
    lineDone();
}

void DXFWriter::WriteDouble(int32_t code, double number) {
    if (skips(code)) return;
    if (!std::isfinite(number))
        RaiseError(err::Overflow, kSource, "Overflow: group " + std::to_string(code) + " holds a value that is not a finite number");
    if (binary_ && BinaryValueOf(code) == BinaryValue::Double) {
        // The number itself, not its text rounded to nine decimals.
        binaryCode(code);
        binaryBytes(&number, 8);
        return lineDone();
    }
    if (binary_) {
        char text[kNumberBufferSize];
        binaryCode(code);
        return binaryValue(code, std::string_view(text, static_cast<std::size_t>(FormatDouble(text, number) - text)));
    }
    need(16 + kNumberBufferSize + 2);
    char* const start = buffer_.get() + size_;
    char* e = FormatDouble(codeLine(start, code), number);
    e[0] = '\r';
    e[1] = '\n';
    size_ += static_cast<std::size_t>(e + 2 - start);
    lineDone();
}

void DXFWriter::WriteHandle(int32_t code, int32_t handle) {
    if (skips(code)) return;
    if (binary_) {
        char text[16];
        binaryCode(code);
        return binaryValue(code, std::string_view(text, static_cast<std::size_t>(FormatHandle(text, handle) - text)));
    }
    need(32);
    char* const start = buffer_.get() + size_;
    char* e = FormatHandle(codeLine(start, code), handle);
    e[0] = '\r';
    e[1] = '\n';
    size_ += static_cast<std::size_t>(e + 2 - start);
    lineDone();
}

void DXFWriter::WritePoint(double x, double y, double z, int32_t codeX, int32_t codeY, int32_t codeZ) {
    WriteDouble(codeX, x);
    WriteDouble(codeY, y);
    WriteDouble(codeZ, z);
}

void DXFWriter::binaryCode(int32_t code) {
    code_ = code;
    if (code < 0 || code > 0xFFFF) RaiseError(err::Overflow, kSource, "Overflow: group code " + std::to_string(code) + " does not fit a binary drawing");
    const unsigned char bytes[3] = {255, static_cast<unsigned char>(code & 255), static_cast<unsigned char>(code >> 8)};
    if (binary_ == 2)
        binaryBytes(bytes + 1, 2);
    else if (code < 255)
        binaryBytes(bytes + 1, 1);
    else
        binaryBytes(bytes, 3);
}

void DXFWriter::failValue(int32_t code, std::string_view text, const char* why) const {
    std::string shown;
    for (char c : text.substr(0, 40)) shown.push_back(static_cast<unsigned char>(c) < 0x20 ? '?' : c);
    RaiseError(err::TypeMismatch, kSource, "Type mismatch: group " + std::to_string(code) + " value \"" + shown + "\" " + why);
}

// Numbers come as the text a text drawing holds, and are converted as a
// reader converts them.
void DXFWriter::binaryValue(int32_t code, std::string_view text) {
    const auto integer = [&](int64_t low, int64_t high) {
        int64_t v = 0;
        const char* first = text.data();
        const char* last = first + text.size();
        while (first < last && *first == ' ') ++first;
        while (last > first && last[-1] == ' ') --last;
        const auto r = std::from_chars(first, last, v);
        if (r.ec != std::errc() || r.ptr != last) {
            double d = 0;
            if (ParseDouble(text, d) != ParseStatus::Ok || !(std::fabs(d) < 9.2e18)) failValue(code, text, "is not an integer that fits");
            v = static_cast<int64_t>(RoundHalfEven(d));
        }
        if (v < low || v > high) failValue(code, text, "is out of the range of its group");
        return v;
    };
    switch (BinaryValueOf(code)) {
    case BinaryValue::Text:
        if (std::memchr(text.data(), 0, text.size())) failValue(code, text, "holds a NUL byte, which ends a text in a binary drawing");
        put(text.data(), text.size());
        put("", 1);
        break;
    case BinaryValue::Double: {
        double d = 0;
        if (ParseDouble(text, d) != ParseStatus::Ok) failValue(code, text, "is not a number");
        binaryBytes(&d, 8);
        break;
    }
    case BinaryValue::Int16: {
        const auto v = static_cast<int16_t>(integer(INT16_MIN, INT16_MAX));
        binaryBytes(&v, 2);
        break;
    }
    case BinaryValue::Int32: {
        const auto v = static_cast<int32_t>(integer(INT32_MIN, INT32_MAX));
        binaryBytes(&v, 4);
        break;
    }
    case BinaryValue::Int64: {
        const int64_t v = integer(INT64_MIN, INT64_MAX);
        binaryBytes(&v, 8);
        break;
    }
    case BinaryValue::Byte: {
        const auto v = static_cast<uint8_t>(integer(0, 255));
        binaryBytes(&v, 1);
        break;
    }
    case BinaryValue::Chunk: {
        const auto hex = [](char c) { return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1; };
        if (text.size() % 2 != 0 || text.size() > 2 * 255) failValue(code, text, "is not hexadecimal data of at most 255 bytes");
        unsigned char bytes[256];
        bytes[0] = static_cast<unsigned char>(text.size() / 2);
        for (std::size_t i = 0; i < text.size(); i += 2) {
            const int hi = hex(text[i]), lo = hex(text[i + 1]);
            if (hi < 0 || lo < 0) failValue(code, text, "is not hexadecimal data");
            bytes[1 + i / 2] = static_cast<unsigned char>(hi << 4 | lo);
        }
        binaryBytes(bytes, 1 + text.size() / 2);
        break;
    }
    }
    lineDone();
}

void DXFWriter::BeginSection() { WriteString(0, "SECTION"); }
void DXFWriter::EndSection() { WriteString(0, "ENDSEC"); }

std::string DXFWriter::NumberFormat(int32_t decimals) { return "0." + std::string(decimals > 0 ? decimals : 0, '#'); }

}  // namespace ormavec
