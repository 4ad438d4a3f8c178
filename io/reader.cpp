#include "io/reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>

#include "io/binary_codes.h"
#include "io/error.h"
#include "io/heap.h"
#include "io/number.h"

namespace ormavec {

namespace {

// Resident for the whole load, beside the model: 64 KiB reads as fast
// as a larger one (a few thousand more reads of a large file) and costs less.
constexpr std::size_t kInitialBuffer = 64u << 10;
constexpr const char* kSource = "DXFReader";

// The letters repaired in FromUTF8 mode: lead byte, trail byte, letter.
struct Utf8Letter {
    unsigned char lead;
    unsigned char trail;
    char32_t letter;
};
constexpr Utf8Letter kUtf8Letters[18] = {
    {195, 182, U'\u00F6'}, {195, 188, U'\u00FC'}, {195, 179, U'\u00F3'}, {197, 145, U'\u0151'},
    {195, 186, U'\u00FA'}, {195, 169, U'\u00E9'}, {195, 161, U'\u00E1'}, {197, 177, U'\u0171'},
    {195, 173, U'\u00ED'}, {195, 150, U'\u00D6'}, {195, 156, U'\u00DC'}, {195, 147, U'\u00D3'},
    {197, 144, U'\u0150'}, {195, 154, U'\u00DA'}, {195, 137, U'\u00C9'}, {195, 129, U'\u00C1'},
    {197, 176, U'\u0170'}, {195, 141, U'\u00CD'},
};

char32_t repairedLetter(unsigned char lead, unsigned char trail) noexcept {
    for (const Utf8Letter& l : kUtf8Letters)
        if (l.lead == lead && l.trail == trail) return l.letter;
    return 0;
}

[[noreturn]] void failOpen(const std::string& fileName, int error) {
    switch (error) {
    case ENOENT: RaiseError(err::FileNotFound, kSource, "File not found: " + fileName);
    case ENOTDIR: RaiseError(err::PathNotFound, kSource, "Path not found: " + fileName);
    case EACCES:
    case EPERM: RaiseError(err::PermissionDenied, kSource, "Permission denied: " + fileName);
    default: RaiseError(err::PathFileAccessError, kSource, "Cannot open " + fileName + ": " + std::strerror(error));
    }
}

}  // namespace

std::string Printable(std::string_view text, std::size_t limit) {
    std::string out;
    const bool cut = text.size() > limit;
    if (cut) text = text.substr(0, limit);
    std::size_t pos = 0;
    while (pos < text.size()) {
        const unsigned char c = static_cast<unsigned char>(text[pos]);
        const std::size_t start = pos;
        if (c >= 0x80) {
            const char32_t ch = NextUtf8(text, pos);
            // A lone byte comes back as U+DC80..U+DCFF; a sequence cut by the
            // limit is not text either.
            if (!(ch >= 0xDC80 && ch <= 0xDCFF) && !(ch >= 0x80 && ch < 0xA0)) {
                out.append(text.data() + start, pos - start);
                continue;
            }
            pos = start + 1;
        } else {
            ++pos;
            if (c >= 0x20 && c != 0x7F) {
                out.push_back(static_cast<char>(c));
                continue;
            }
        }
        static constexpr char kHex[] = "0123456789ABCDEF";
        out += "\\x";
        out.push_back(kHex[c >> 4]);
        out.push_back(kHex[c & 15]);
    }
    if (cut) out += "...";
    return out;
}

DXFReader::DXFReader(CodePage codePage) : codePage_(codePage) {}

DXFReader::~DXFReader() { CloseInput(); }

void DXFReader::OpenInput(const std::string& fileName) {
    if (fileName == "-") return slurp(STDIN_FILENO, "<stdin>");
    struct stat st {};
    if (::stat(fileName.c_str(), &st) != 0) failOpen(fileName, errno);
    if (S_ISDIR(st.st_mode)) RaiseError(err::PathFileAccessError, kSource, "Cannot open " + fileName + ": it is a folder");
    int fd = ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) failOpen(fileName, errno);
    if (!S_ISREG(st.st_mode)) return slurp(fd, fileName);
    CloseInput();
    warnings_.clear();
    fd_ = fd;
    fileName_ = fileName;
    fileLength_ = static_cast<int64_t>(st.st_size);
    if (!buffer_) {
        capacity_ = kInitialBuffer;
        buffer_ = std::make_unique_for_overwrite<char[]>(capacity_);
    }
    begin_ = end_ = 0;
    eof_ = false;
    open_ = true;
    binary_ = 0;
    // A binary drawing builds a model about a third larger than its file
    // (a text one a little smaller): the heap's steps follow the model.
    char head[kBinarySentinel.size()];
    const bool binary = ::pread(fd, head, sizeof head, 0) == static_cast<ssize_t>(sizeof head) && std::string_view(head, sizeof head) == kBinarySentinel;
    heapBinary_ = binary;
    heapLoad_ = heap::BeginLoad(binary ? fileLength_ / 2 * 3 : fileLength_);
}

// Input of unknown size is read whole, so that progress, the limits on
// counts and every later read work as for a file of known size.
void DXFReader::slurp(int fd, std::string name) {
    CloseInput();
    std::string data;
    constexpr std::size_t kStep = 1u << 20;
    for (;;) {
        const std::size_t have = data.size();
        data.resize(have + kStep);
        ssize_t n;
        do n = ::read(fd, data.data() + have, kStep);
        while (n < 0 && errno == EINTR);
        if (n < 0) {
            const int e = errno;
            if (fd != STDIN_FILENO) ::close(fd);
            RaiseError(err::DeviceIOError, kSource, "Cannot read " + name + ": " + std::strerror(e));
        }
        data.resize(have + static_cast<std::size_t>(n));
        if (n == 0) break;
        if (BytesProgress && data.size() / kStep != have / kStep) BytesProgress(static_cast<int64_t>(data.size()));
    }
    if (fd != STDIN_FILENO) ::close(fd);
    OpenString(std::move(data), std::move(name));
}

void DXFReader::OpenString(std::string data, std::string displayName) {
    CloseInput();
    warnings_.clear();
    memory_ = std::move(data);
    fileName_ = std::move(displayName);
    fileLength_ = static_cast<int64_t>(memory_.size());
    capacity_ = 0;
    buffer_.reset();
    begin_ = 0;
    end_ = memory_.size();
    eof_ = true;
    open_ = true;
    binary_ = 0;
}

void DXFReader::CloseInput() noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    open_ = false;
    if (heapLoad_) heap::EndLoad();
    heapLoad_ = false;
}

// Moves the unread rest to the front and reads more; grows the buffer when a
// single line fills it. False when the file has nothing more.
bool DXFReader::fill() {
    if (eof_ || fd_ < 0) return false;
    std::size_t rest = end_ - begin_;
    if (begin_ > 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, rest);
        begin_ = 0;
        end_ = rest;
    }
    if (end_ == capacity_) {
        std::size_t grown = capacity_ * 2;
        auto bigger = std::make_unique_for_overwrite<char[]>(grown);
        std::memcpy(bigger.get(), buffer_.get(), end_);
        buffer_ = std::move(bigger);
        capacity_ = grown;
    }
    if (heapLoad_) heap::Advise(heapBinary_ ? (fileLength_ - charsRead_) / 2 * 3 : fileLength_ - charsRead_);
    for (;;) {
        ssize_t n = ::read(fd_, buffer_.get() + end_, capacity_ - end_);
        if (n < 0) {
            if (errno == EINTR) continue;
            RaiseError(err::DeviceIOError, kSource, "Cannot read " + fileName_ + ": " + std::strerror(errno));
        }
        if (n == 0) {
            eof_ = true;
            return false;
        }
        end_ += static_cast<std::size_t>(n);
        return true;
    }
}

bool DXFReader::AtEnd() {
    if (!open_) return true;
    if (begin_ < end_) return false;
    return !fill();
}

// The line is not complete in the buffer: read more, or hand out the last
// line of a file without a final line end.
bool DXFReader::nextLineSlow(std::string_view& line) {
    std::size_t scanned = end_ - begin_;
    for (;;) {
        if (!fill()) {
            if (begin_ == end_) return false;
            const char* start = (buffer_ ? buffer_.get() : memory_.data()) + begin_;
            std::size_t len = end_ - begin_;
            begin_ = end_;
            if (len > 0 && start[len - 1] == '\r') --len;
            line = std::string_view(start, len);
            return true;
        }
        // fill() moved the rest to the front: only the new bytes need a look.
        const char* start = buffer_.get() + begin_;
        std::size_t avail = end_ - begin_;
        if (const void* nl = std::memchr(start + scanned, '\n', avail - scanned)) {
            std::size_t len = static_cast<std::size_t>(static_cast<const char*>(nl) - start);
            begin_ += len + 1;
            if (len > 0 && start[len - 1] == '\r') --len;
            line = std::string_view(start, len);
            return true;
        }
        scanned = avail;
    }
}

void DXFReader::progressSlow() {
    // The percentage only changes near band edges; recompute it there only.
    if (charsRead_ >= nextCheck_) {
        if (fileLength_ == 0) RaiseError(err::DivisionByZero, kSource, "Division by zero: " + fileName_ + " has grown while it was read");
        double p = RoundHalfEven(static_cast<double>(charsRead_) / static_cast<double>(fileLength_) * 100.0);
        currentPercent_ = p > 2147483647.0 ? INT32_MAX : static_cast<int32_t>(p);
        double edge = (static_cast<double>(currentPercent_) + 0.5) * static_cast<double>(fileLength_) / 100.0;
        int64_t next = static_cast<int64_t>(edge) - 2;
        nextCheck_ = next > charsRead_ ? next : charsRead_ + 1;
    }
    if (currentPercent_ != lastPercent_) {
        int32_t percent = currentPercent_ > 100 ? 100 : (currentPercent_ < 0 ? 0 : currentPercent_);
        if (Progress) Progress(percent);
        lastPercent_ = percent;
    }
}

void DXFReader::sniffUtf8(std::string_view raw) {
    sniff_ = false;
    if (!utf8_ && !IsDoubleByte(codePage_) && IsValidUtf8(raw)) utf8_ = true;
}

std::string_view DXFReader::decodeSlow(std::string_view raw, int32_t code) {
    // Held pieces are looked at once joined (DecodePieces).
    if (sniff_ && !(holdPieces_ && (code == 1 || code == 3))) sniffUtf8(raw);
    decoded_.clear();
    if (mode_ == TextConvertMode::FromUTF8 && code >= 0 && code <= 9) {
        for (std::size_t i = 0; i < raw.size(); ++i) {
            unsigned char c = static_cast<unsigned char>(raw[i]);
            if ((c == 195 || c == 197) && i + 1 < raw.size()) {
                if (char32_t letter = repairedLetter(c, static_cast<unsigned char>(raw[i + 1]))) {
                    AppendUtf8(decoded_, letter);
                    ++i;
                    continue;
                }
            }
            if (c < 0x80) {
                decoded_.push_back(static_cast<char>(c));
            } else {
                std::size_t next = i;
                AppendUtf8(decoded_, DecodeChar(codePage_, raw, next));
                i = next - 1;
            }
        }
    } else if (escapes_) {
        return decodeText(raw, code);
    } else {
        DecodeAppend(decoded_, raw, codePage_);
    }
    return decoded_;
}

// Utf8 and Auto modes: UTF-8 (when on) with the code page for every byte
// that does not start a valid sequence, and escapes in text codes.
std::string_view DXFReader::decodeText(std::string_view raw, int32_t code) {
    // Held pieces are decoded once joined (DecodePieces).
    if (holdPieces_ && (code == 1 || code == 3)) return raw;
    const bool escapes = IsTextCode(code);
    if (utf8_ && !(escapes && raw.find('\\') != std::string_view::npos) && IsValidUtf8(raw)) return raw;
    decoded_.clear();
    decodeInto(decoded_, raw, escapes, false);
    return decoded_;
}

void DXFReader::decodeInto(std::string& out, std::string_view raw, bool escapes, bool pairs, std::span<uint32_t> cuts) const {
    std::size_t pos = 0, cut = 0;
    while (pos < raw.size()) {
        for (; cut < cuts.size() && cuts[cut] <= pos; ++cut) cuts[cut] = static_cast<uint32_t>(out.size());
        const unsigned char c = static_cast<unsigned char>(raw[pos]);
        if (c == '\\' && escapes) {
            if (pairs && pos + 1 < raw.size() && raw[pos + 1] == '\\') {
                for (; cut < cuts.size() && cuts[cut] == pos + 1; ++cut) cuts[cut] = static_cast<uint32_t>(out.size() + 1);
                out.append(raw.data() + pos, 2);
                pos += 2;
                continue;
            }
            std::size_t length = 0;
            if (char32_t ch = DecodeEscape(raw, pos, length)) {
                AppendUtf8(out, ch);
                pos += length;
                continue;
            }
        }
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
            ++pos;
        } else if (utf8_) {
            const std::size_t start = pos;
            const char32_t ch = NextUtf8(raw, pos);
            if (ch >= 0xDC80 && ch <= 0xDCFF)
                AppendUtf8(out, DecodeByte(codePage_, c));
            else
                out.append(raw.data() + start, pos - start);
        } else {
            AppendUtf8(out, DecodeChar(codePage_, raw, pos));
        }
    }
    for (; cut < cuts.size(); ++cut) cuts[cut] = static_cast<uint32_t>(out.size());
}

void DXFReader::DecodePieces(std::string& text, std::span<uint32_t> cuts) {
    if (!holdPieces_) return;
    if (sniff_ && !IsAscii(text)) sniffUtf8(text);
    const bool slashes = std::memchr(text.data(), '\\', text.size()) != nullptr;
    if (!slashes && (IsAscii(text) || (utf8_ && IsValidUtf8(text)))) return;
    pieces_.clear();
    decodeInto(pieces_, text, true, true, cuts);
    text.swap(pieces_);
}

// Auto mode: the header's $ACADVER (AC1021 and later) or $DWGCODEPAGE
// declares a UTF-8 drawing; everything after it is read as UTF-8. Before
// that, $DWGCODEPAGE may name the page of an older drawing.
void DXFReader::watchHeader(int32_t code, std::string_view value) {
    if (code != 9 && code != 0 && pendingVariable_ == 0) return;
    const uint8_t pending = pendingVariable_;
    pendingVariable_ = 0;
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    while (!value.empty() && value.back() == ' ') value.remove_suffix(1);
    if (code == 0) {
        // The header comes first; past its end nothing declares the encoding.
        if (value == "ENDSEC") watchHeader_ = false;
        return;
    }
    if (code == 9) {
        if (EqualsNoCase(value, "$ACADVER"))
            pendingVariable_ = 1;
        else if (EqualsNoCase(value, "$DWGCODEPAGE"))
            pendingVariable_ = 2;
        return;
    }
    bool utf8 = false;
    if (pending == 1 && code == 1) {
        std::size_t i = 0;
        while (i < value.size() && !(value[i] >= '0' && value[i] <= '9')) ++i;
        int32_t version = 0;
        for (int digits = 0; i < value.size() && digits < 9 && value[i] >= '0' && value[i] <= '9'; ++i, ++digits)
            version = version * 10 + (value[i] - '0');
        utf8 = version >= 1021;
    } else if (pending == 2 && code == 3) {
        utf8 = IsUtf8CodePageName(value);
        if (!utf8 && followPage_)
            if (std::optional<CodePage> cp = ParseCodePage(value)) codePage_ = *cp;
    }
    if (utf8) {
        utf8_ = true;
        watchHeader_ = false;
    }
}

std::string_view DXFReader::upperValue(std::string_view value) {
    upper_ = UpperCase(value);
    return upper_;
}

ParseStatus DXFReader::parseCodeSlow(std::string_view line, int32_t& code) noexcept { return ParseInt32(line, code); }

namespace {
bool isBlank(std::string_view line) noexcept { return line.find_first_not_of(" \t\r") == std::string_view::npos; }

std::string withoutBlanks(std::string_view text) {
    std::string out;
    for (char c : text)
        if (c != ' ' && c != '\t') out.push_back(c);
    return out;
}
}  // namespace

// A group-code line that failed: blank lines before it are passed over, and
// blanks inside it dropped, when what is left is a code.
bool DXFReader::recoverCode(std::string_view& line, int32_t& code) {
    while (isBlank(line)) {
        Warn("blank line where a group code belongs, passed over");
        if (!nextLine(line)) return false;
        ++lineNumber_;
        progress(line.size());
    }
    if (parseCode(line, code) == ParseStatus::Ok) return true;
    if (ParseInt32(withoutBlanks(line), code) != ParseStatus::Ok) return false;
    Warn("group code \"" + Printable(line) + "\" read as " + std::to_string(code));
    return true;
}

// A number written with a decimal comma or with blanks inside.
bool DXFReader::recoverNumber(std::string_view value, double& d) const {
    std::string text = withoutBlanks(value);
    const std::size_t comma = text.find(',');
    if (comma != std::string::npos && text.find_first_of(".,", comma + 1) == std::string::npos && text.find('.') == std::string::npos)
        text[comma] = '.';
    if (ParseDouble(text, d) != ParseStatus::Ok) return false;
    Warn(pairLine_, "number \"" + Printable(value) + "\" read as " + text);
    return true;
}

void DXFReader::CheckFormat() {
    if (AtEnd()) RaiseError(err::InputPastEndOfFile, kSource, "Input past end of file: " + fileName_ + " is empty");
    std::string_view head((buffer_ ? buffer_.get() : memory_.data()) + begin_, end_ - begin_);
    if (head.starts_with(kBinarySentinel)) {
        const std::string_view first = head.substr(kBinarySentinel.size());
        binary_ = first.size() < 2 || (static_cast<unsigned char>(first[0]) != 255 && first[1] == '\0') ? 2 : 1;
        consume(kBinarySentinel.size());
        return;
    }
    // A DWG file starts with its version, AC and four digits.
    const auto digit = [&](std::size_t i) { return i < head.size() && head[i] >= '0' && head[i] <= '9'; };
    if (head.starts_with("AC") && digit(2) && digit(3) && digit(4) && digit(5) && !(head.size() > 6 && (head[6] == '\r' || head[6] == '\n')))
        RaiseError(err::BadFileMode, kSource, "Bad file mode: " + fileName_ + " looks like a DWG drawing (" + std::string(head.substr(0, 6)) + "), not a DXF file");
    std::string_view line;
    do {
        const std::size_t end = head.find('\n');
        line = head.substr(0, end);
        head = end == std::string_view::npos ? std::string_view() : head.substr(end + 1);
    } while (recover_ && isBlank(line) && !head.empty());
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    int32_t code = 0;
    if (ParseInt32(recover_ ? withoutBlanks(line) : line, code) == ParseStatus::Ok) return;
    RaiseError(err::BadFileMode, kSource, "Bad file mode: " + fileName_ + " is not a DXF file (its first line is \"" + Printable(line) + "\", not a group code)");
}

const DXFReader::Pair& DXFReader::Read(bool trimValue, bool upperCase) {
    if (hasPushBack_) {
        hasPushBack_ = false;
        pair_.Code = pushBackCode_;
        pairLine_ = pushBackLine_;
        pair_.Value = finishValue(pushBackValue_, trimValue, upperCase);
        return pair_;
    }
    if (binary_) [[unlikely]]
        return readBinary(trimValue, upperCase);
    std::string_view line;
    if (!open_ || !nextLine(line))
        RaiseError(err::InputPastEndOfFile, kSource, "Input past end of file: " + fileName_ + ":" + std::to_string(lineNumber_ + 1));
    ++lineNumber_;
    progress(line.size());
    int32_t code = 0;
    switch (parseCode(line, code)) {
    case ParseStatus::Ok: break;
    case ParseStatus::TypeMismatch:
        if (recover_ && recoverCode(line, code)) break;
        pairLine_ = lineNumber_;
        Fail(err::TypeMismatch, "invalid group code \"" + Printable(line) + "\"");
    case ParseStatus::Overflow:
        pairLine_ = lineNumber_;
        Fail(err::Overflow, "group code \"" + Printable(line) + "\" is out of range");
    }
    if (!nextLine(line))
        RaiseError(err::InputPastEndOfFile, kSource,
                   "Input past end of file: " + fileName_ + ":" + std::to_string(lineNumber_) + ": group code " + std::to_string(code) + " has no value line");
    ++lineNumber_;
    pairLine_ = lineNumber_;
    progress(line.size());
    pair_.Code = code;
    pair_.Value = finishValue(decodeValue(line, code), trimValue, upperCase);
    if (watchHeader_) watchHeader(code, pair_.Value);
    return pair_;
}

const char* DXFReader::binaryBytesSlow(std::size_t n, int32_t code, const char* what) {
    while (end_ - begin_ < n)
        if (!fill())
            RaiseError(err::InputPastEndOfFile, kSource,
                       "Input past end of file: " + fileName_ + ": byte " + std::to_string(pairLine_) + ": " + what +
                           (code >= 0 ? " of group code " + std::to_string(code) : std::string()) + " is cut off (" + std::to_string(n) +
                           " bytes needed, " + std::to_string(end_ - begin_) + " left)");
    return (buffer_ ? buffer_.get() : memory_.data()) + begin_;
}

// A binary pair: its number, if any, also as text, so that everything above
// the pairs reads it as it reads a text drawing.
const DXFReader::Pair& DXFReader::readBinary(bool trimValue, bool upperCase) {
    if (!open_ || (begin_ == end_ && !fill()))
        RaiseError(err::InputPastEndOfFile, kSource, "Input past end of file: " + fileName_ + ": byte " + std::to_string(charsRead_));
    pairLine_ = lineNumber_ = charsRead_;
    numberKept_ = false;
    const auto u16 = [](const char* p) { return static_cast<int32_t>(static_cast<unsigned char>(p[0]) | static_cast<unsigned char>(p[1]) << 8); };
    int32_t code = 0;
    if (binary_ == 2) {
        code = u16(binaryBytes(2, -1, "the group code"));
        consume(2);
    } else if (const char* p = binaryBytes(1, -1, "the group code"); static_cast<unsigned char>(*p) != 255) {
        code = static_cast<unsigned char>(*p);
        consume(1);
    } else {
        code = u16(binaryBytes(3, -1, "the group code") + 1);
        consume(3);
    }
    pair_.Code = code;
    char* const text = numberText_;
    char* end = text;
    const auto number = [&](auto v, std::size_t n) {
        std::memcpy(&v, binaryBytes(n, code, "the number"), n);
        consume(n);
        end = std::to_chars(text, text + sizeof numberText_, v).ptr;
        number_ = static_cast<double>(v);
        return v;
    };
    const BinaryValue kind = BinaryValueOf(code);
    if (kind == BinaryValue::Double) {
        double d = 0;
        std::memcpy(&d, binaryBytes(8, code, "the number"), 8);
        consume(8);
        number_ = d;
        numberIsInt_ = false;
        // Its text waits until asked for (numberText): formatting every
        // number would cost more than the rest of a binary load's reading.
        numberKept_ = std::isfinite(d);
        numberSize_ = numberKept_ ? 0 : static_cast<std::size_t>(std::to_chars(text, text + sizeof numberText_, d).ptr - text);
        pair_.Value = std::string_view(text, numberSize_);
        if (watchHeader_) watchHeader(code, pair_.Value);
        return pair_;
    }
    switch (kind) {
    case BinaryValue::Text: {
        {
            // Most texts are short plain names and handles: one pass finds
            // the NUL and shows that nothing needs a closer look (a byte
            // above 127, a backslash, a line feed).
            const char* start = (buffer_ ? buffer_.get() : memory_.data()) + begin_;
            const std::size_t scan = std::min<std::size_t>(end_ - begin_, 64);
            unsigned char seen = 0;
            bool special = false;
            std::size_t n = 0;
            for (; n < scan && start[n] != 0; ++n) {
                const auto c = static_cast<unsigned char>(start[n]);
                seen |= c;
                special |= (c == '\n') | (c == '\\');
            }
            if (n < scan && seen < 0x80 && !special) {
                consume(n + 1);
                pair_.Value = finishValue(std::string_view(start, n), trimValue, upperCase);
                if (watchHeader_) watchHeader(code, pair_.Value);
                return pair_;
            }
        }
        std::size_t scanned = 0;
        const char* start = nullptr;
        const void* nul = nullptr;
        for (;;) {
            start = (buffer_ ? buffer_.get() : memory_.data()) + begin_;
            if ((nul = std::memchr(start + scanned, 0, end_ - begin_ - scanned))) break;
            scanned = end_ - begin_;
            if (!fill())
                RaiseError(err::InputPastEndOfFile, kSource,
                           "Input past end of file: " + fileName_ + ": byte " + std::to_string(pairLine_) + ": the text of group code " +
                               std::to_string(code) + " has no end (no NUL byte follows it)");
        }
        const std::string_view raw(start, static_cast<std::size_t>(static_cast<const char*>(nul) - start));
        // A text drawing's value cannot hold a line feed (its line ends there),
        // so neither can a binary one's; a lone CR it can, and keeps.
        if (std::memchr(raw.data(), '\n', raw.size()))
            Fail(err::TypeMismatch, "the text of group code " + std::to_string(code) + " holds a line break (\"" + Printable(raw) + "\")");
        consume(raw.size() + 1);
        pair_.Value = finishValue(decodeValue(raw, code), trimValue, upperCase);
        if (watchHeader_) watchHeader(code, pair_.Value);
        return pair_;
    }
    case BinaryValue::Chunk: {
        const std::size_t n = static_cast<unsigned char>(*binaryBytes(1, code, "the length"));
        const char* p = binaryBytes(n + 1, code, "the data") + 1;
        static constexpr char kHex[] = "0123456789ABCDEF";
        decoded_.resize(2 * n);
        for (std::size_t i = 0; i < n; ++i) {
            decoded_[2 * i] = kHex[static_cast<unsigned char>(p[i]) >> 4];
            decoded_[2 * i + 1] = kHex[p[i] & 15];
        }
        consume(n + 1);
        pair_.Value = finishValue(decoded_, trimValue, upperCase);
        return pair_;
    }
    case BinaryValue::Double: break;  // taken above
    case BinaryValue::Int16:
        number(int16_t{}, 2);
        numberKept_ = numberIsInt_ = true;
        break;
    case BinaryValue::Int32:
        number(int32_t{}, 4);
        numberKept_ = numberIsInt_ = true;
        break;
    case BinaryValue::Int64:
        number(int64_t{}, 8);
        numberKept_ = true;
        numberIsInt_ = false;  // ToInt32 takes the text, which checks the range
        break;
    case BinaryValue::Byte:
        number(uint8_t{}, 1);
        numberKept_ = numberIsInt_ = true;
        break;
    }
    numberSize_ = static_cast<std::size_t>(end - text);
    pair_.Value = finishValue(std::string_view(text, numberSize_), trimValue, upperCase);
    if (watchHeader_) watchHeader(code, pair_.Value);
    return pair_;
}

bool DXFReader::isWaitingNumber(std::string_view value) const noexcept {
    return numberKept_ && !numberIsInt_ && numberSize_ == 0 && value.data() == numberText_ && value.empty();
}

void DXFReader::numberText() {
    if (!isWaitingNumber(pair_.Value)) return;
    numberSize_ = static_cast<std::size_t>(std::to_chars(numberText_, numberText_ + sizeof numberText_, number_).ptr - numberText_);
    pair_.Value = std::string_view(numberText_, numberSize_);
}

DxfEntry DXFReader::ReadEntry(bool trimValue, bool upperCase) {
    Read(trimValue, upperCase);
    numberText();
    return DxfEntry{pair_.Code, std::string(pair_.Value)};
}

void DXFReader::UnReadEntry(const DxfEntry& entry) {
    if (hasPushBack_) RaiseError(ErrInvalidOperation, kSource, "UnReadEntry/1");
    pushBackCode_ = entry.Code;
    pushBackValue_ = entry.Value;
    pushBackLine_ = pairLine_;
    hasPushBack_ = true;
}

void DXFReader::UnRead() {
    if (hasPushBack_) RaiseError(ErrInvalidOperation, kSource, "UnReadEntry/1");
    numberText();
    pushBackCode_ = pair_.Code;
    // The value may already live in the push-back buffer (a pair read back
    // and pushed again); assign through a copy in that case.
    if (pair_.Value.data() >= pushBackValue_.data() && pair_.Value.data() <= pushBackValue_.data() + pushBackValue_.size()) {
        std::string copy(pair_.Value);
        pushBackValue_.swap(copy);
    } else {
        pushBackValue_.assign(pair_.Value.data(), pair_.Value.size());
    }
    pushBackLine_ = pairLine_;
    hasPushBack_ = true;
}

int64_t DXFReader::BytesLeft() const noexcept {
    if (!open_) return 0;
    int64_t left = static_cast<int64_t>(end_ - begin_);
    if (fd_ >= 0) {
        // The file may have grown since it was measured: ask for its size now.
        struct stat st {};
        int64_t size = ::fstat(fd_, &st) == 0 ? static_cast<int64_t>(st.st_size) : fileLength_;
        off_t pos = ::lseek(fd_, 0, SEEK_CUR);
        if (pos >= 0 && size > static_cast<int64_t>(pos)) left += size - static_cast<int64_t>(pos);
    }
    if (hasPushBack_) left += static_cast<int64_t>(pushBackValue_.size()) + 4;
    return left;
}

double DXFReader::ToDouble(std::string_view value) const {
    if (numberKept_ && value.data() == numberText_ && value.size() == numberSize_) return number_;
    double d = 0;
    switch (ParseDouble(value, d)) {
    case ParseStatus::Ok: return d;
    case ParseStatus::TypeMismatch:
        if (recover_ && recoverNumber(value, d)) return d;
        Fail(err::TypeMismatch, "\"" + Printable(value) + "\" is not a number");
    case ParseStatus::Overflow: Fail(err::Overflow, "\"" + Printable(value) + "\" is out of range");
    }
    return d;
}

int32_t DXFReader::ToInt32(std::string_view value) const {
    if (numberKept_ && value.data() == numberText_ && value.size() == numberSize_) {
        if (numberIsInt_) return static_cast<int32_t>(number_);
        // A double of a binary drawing, rounded as its text would be.
        const double r = RoundHalfEven(number_);
        if (r >= -2147483648.0 && r <= 2147483647.0) return static_cast<int32_t>(r);
        char text[32];
        Fail(err::Overflow, "\"" + std::string(text, std::to_chars(text, text + sizeof text, number_).ptr) + "\" is out of the 32-bit integer range");
    }
    int32_t n = 0;
    switch (ParseInt32(value, n)) {
    case ParseStatus::Ok: return n;
    case ParseStatus::TypeMismatch:
        if (recover_ && ParseInt32(withoutBlanks(value), n) == ParseStatus::Ok) {
            Warn(pairLine_, "number \"" + Printable(value) + "\" read as " + std::to_string(n));
            return n;
        }
        Fail(err::TypeMismatch, "\"" + Printable(value) + "\" is not a number");
    case ParseStatus::Overflow: Fail(err::Overflow, "\"" + Printable(value) + "\" is out of the 32-bit integer range");
    }
    return n;
}

void DXFReader::Fail(int32_t number, std::string_view what) const {
    std::string text(DefaultErrorText(number));
    text += ": ";
    text += fileName_;
    text += binary_ ? ": byte " : ":";
    text += std::to_string(pairLine_);
    text += ": ";
    text += what;
    RaiseError(number, kSource, text);
}

}  // namespace ormavec
