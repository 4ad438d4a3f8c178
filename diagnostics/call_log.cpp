#include "diagnostics/call_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "io/error.h"
#include "io/text.h"

namespace ormavec {

namespace {
thread_local bool tCallLog = false;
thread_local std::string tLogFileName;
}  // namespace

bool CallLogOn() noexcept { return tCallLog; }
const std::string& CallLogFileName() noexcept { return tLogFileName; }

void clsDebug::bCallLog(bool on) noexcept { tCallLog = on; }
void clsDebug::sLogFileName(std::string_view fileName) { tLogFileName.assign(fileName); }

void WriteCallLog(std::string_view text) {
    const std::string& name = tLogFileName;
    if (name.empty()) RaiseError(err::BadFileNameOrNumber, "WriteCallLog", "Bad file name or number: the call log has no file name");
    // Opened and closed for every line, so that each line is on disk even if
    // the save fails right after it.
    int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) {
        int e = errno;
        int32_t number = (e == ENOENT || e == ENOTDIR) ? err::PathNotFound
                         : (e == EACCES || e == EPERM) ? err::PermissionDenied
                                                       : err::PathFileAccessError;
        RaiseError(number, "WriteCallLog", std::string(DefaultErrorText(number)) + ": " + name + ": " + std::strerror(e));
    }
    std::string line;
    line.reserve(text.size() + 4);
    line.push_back('"');
    EncodeAppend(line, text, CodePage::Windows1250);
    line.append("\"\r\n");
    const char* p = line.data();
    std::size_t left = line.size();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            int e = errno;
            ::close(fd);
            RaiseError(err::DeviceIOError, "WriteCallLog", std::string("Device I/O error: ") + name + ": " + std::strerror(e));
        }
        p += n;
        left -= static_cast<std::size_t>(n);
    }
    ::close(fd);
}

}  // namespace ormavec
