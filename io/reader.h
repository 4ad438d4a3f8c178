// The group reader: turns a drawing file into a stream of group pairs (a code
// line and a value line, or their binary form), with one pair of push-back,
// progress events and the code page decoding of values.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "io/number.h"
#include "io/text.h"

namespace ormavec {

// Utf8 and Auto go beyond the classic two: Utf8 decodes value lines as UTF-8,
// Auto does so when the drawing's header declares a UTF-8 drawing, or when the
// first value line holding a byte above 0x7F is valid UTF-8 while the page is
// single-byte (a drawing that declares a page but holds UTF-8); the rest of
// the file is then read as UTF-8.
enum class TextConvertMode : int32_t { None = 0, FromUTF8 = 1, Utf8 = 2, Auto = 3 };

// Something a load repaired or found missing without failing: where, and what.
struct LoadWarning {
    std::string File;
    int64_t Line = 0;
    std::string Message;
    std::string Text() const { return File + ":" + std::to_string(Line) + ": " + Message; }
};

// A text fit for a message: control bytes and bytes that are not UTF-8 are
// written as \xNN, and a long text is cut after `limit` bytes with "...".
std::string Printable(std::string_view text, std::size_t limit = 40);

// One group pair, as handed out by ReadEntry.
struct DxfEntry {
    int32_t Code = 0;
    std::string Value;
};

class DXFReader {
public:
    // A pair whose value is a view valid until the next read.
    struct Pair {
        int32_t Code = 0;
        std::string_view Value;
    };

    explicit DXFReader(CodePage codePage = CodePage::Windows1250);
    ~DXFReader();
    DXFReader(const DXFReader&) = delete;
    DXFReader& operator=(const DXFReader&) = delete;

    void SetTextConvertMode(TextConvertMode mode) noexcept {
        mode_ = mode;
        utf8_ = mode == TextConvertMode::Utf8;
        escapes_ = mode == TextConvertMode::Utf8 || mode == TextConvertMode::Auto;
        watchHeader_ = mode == TextConvertMode::Auto;
        holdPieces_ = false;
        pendingVariable_ = 0;
        sniff_ = mode == TextConvertMode::Auto;
    }
    // Auto mode: the page that $DWGCODEPAGE names replaces the one given to
    // the constructor (off by default: that page was chosen).
    void FollowDeclaredCodePage(bool on) noexcept { followPage_ = on; }
    TextConvertMode GetTextConvertMode() const noexcept { return mode_; }
    // True while value lines are decoded as UTF-8: always in Utf8 mode, in
    // Auto mode once the header has declared a UTF-8 drawing.
    bool DecodesUtf8() const noexcept { return utf8_; }

    // Group codes whose values are names or text, where \U+XXXX escapes are
    // decoded (IsTextCode of io/text.h).
    static bool IsTextCode(int32_t code) noexcept { return ::ormavec::IsTextCode(code); }
    // The page text is read with: the constructor's, or the declared one.
    CodePage GetCodePage() const noexcept { return codePage_; }

    // MTEXT text comes in pieces (codes 3 and 1) that are decoded only once
    // joined, so that an escape or a UTF-8 sequence cut between two pieces is
    // one character. While held (Utf8 and Auto modes only; the classic modes
    // decode each piece), values of codes 1 and 3 come out as in the file,
    // spaces at their ends kept; DecodePieces then decodes the joined text in place, keeping
    // "\\", the formatting codes' own backslash, so that it starts no escape.
    void HoldPieces(bool on) noexcept { holdPieces_ = on && escapes_; }
    bool HoldsPieces() const noexcept { return holdPieces_; }
    // cuts: where pieces end in the joined text, as read; turned into where
    // they end in the decoded text (after a character cut between two).
    void DecodePieces(std::string& text, std::span<uint32_t> cuts = {});

    // "-" reads standard input. Input that is not a regular file (a pipe, a
    // process substitution, a device) is read to its end first, with
    // BytesProgress raised as it comes in, since its size is not known.
    void OpenInput(const std::string& fileName);
    // Reads from memory instead of a file (tests, fuzzing); the name is used
    // in error messages.
    void OpenString(std::string data, std::string displayName = "<memory>");
    void CloseInput() noexcept;
    // Refuses, by name, input that is not a drawing: an empty file, a DWG
    // drawing, anything whose first line is no group code. A binary drawing
    // (it starts with kBinarySentinel) is read as such from here on; its code
    // width comes from its first pair, which is (0, "SECTION") in every
    // drawing: two bytes 0 before the first letter mean 16-bit codes (AC1012
    // and later), one byte 0 (or 255 and a 16-bit code) means one-byte codes
    // (AC1009 and before), whatever $ACADVER says later. Reads nothing away
    // from a text drawing.
    void CheckFormat();
    // 0 for a text drawing, else the bytes of a binary drawing's group codes.
    int BinaryCodeWidth() const noexcept { return binary_; }

    // Repairs what leaves the meaning clear (blank group-code lines, a
    // decimal comma, spaces inside a number or a code) instead of failing,
    // and records a warning for each.
    void SetRecover(bool on) noexcept { recover_ = on; }
    bool Recover() const noexcept { return recover_; }
    const std::vector<LoadWarning>& Warnings() const noexcept { return warnings_; }
    void Warn(std::string message) const { warnings_.push_back({fileName_, lineNumber_, std::move(message)}); }
    void Warn(int64_t line, std::string message) const { warnings_.push_back({fileName_, line, std::move(message)}); }
    // Whether the pair last read is (0, name): lets a caller that met the end
    // of the input tell a closed section from a cut one.
    bool LastPairIs(std::string_view name) const noexcept { return pair_.Code == 0 && EqualsNoCase(pair_.Value, name); }
    bool AtEnd();

    // Reads the next pair. Fast form: the value is a view into the reader.
    // In a binary drawing a double's value is empty until ToDouble or
    // ToInt32 takes the number; ReadEntry and UnRead give its text.
    const Pair& Read(bool trimValue = true, bool upperCase = false);
    DxfEntry ReadEntry(bool trimValue, bool upperCase);
    // The pair last read, a binary double's text made now.
    const Pair& WithText() {
        numberText();
        return pair_;
    }

    // Pushes one pair back. A second push-back without a read in between
    // fails with ErrInvalidOperation "UnReadEntry/1".
    void UnReadEntry(const DxfEntry& entry);
    // Pushes back the pair that the last Read returned.
    void UnRead();

    // Raised whenever the whole-number percentage of the file consumed
    // changes; a handler may change the value it receives.
    std::function<void(int32_t& percent)> Progress;
    // Raised about every megabyte while input of unknown size comes in.
    std::function<void(int64_t bytes)> BytesProgress;

    // Conversions of values with the file name and line (the byte offset in
    // a binary drawing) in the message. The number a binary pair held is
    // taken as it was, not through its text.
    double ToDouble(std::string_view value) const;
    int32_t ToInt32(std::string_view value) const;
    [[noreturn]] void Fail(int32_t number, std::string_view what) const;

    // An upper bound of the bytes not consumed yet, a pushed-back pair
    // included: lets a reader refuse a count that the rest of the input
    // cannot hold before it allocates for it.
    int64_t BytesLeft() const noexcept;

    const std::string& FileName() const noexcept { return fileName_; }
    // In a binary drawing, the byte offset where the last pair read starts.
    int64_t LineNumber() const noexcept { return lineNumber_; }

private:
    // The next line without its line end; the common case (a line end in
    // the buffer) stays inline, the rest goes to nextLineSlow.
    bool nextLine(std::string_view& line) {
        const char* start = (buffer_ ? buffer_.get() : memory_.data()) + begin_;
        const void* nl = begin_ < end_ ? std::memchr(start, '\n', end_ - begin_) : nullptr;
        if (!nl) return nextLineSlow(line);
        std::size_t len = static_cast<std::size_t>(static_cast<const char*>(nl) - start);
        begin_ += len + 1;
        if (len > 0 && start[len - 1] == '\r') --len;
        line = std::string_view(start, len);
        return true;
    }
    bool nextLineSlow(std::string_view& line);
    bool fill();
    // Counts a line; the percentage is looked at again only near the edge of
    // its band or while an event is still due.
    void progress(std::size_t lineLength) {
        charsRead_ += static_cast<int64_t>(lineLength) + 2;
        if (charsRead_ >= nextCheck_ || currentPercent_ != lastPercent_) progressSlow();
    }
    void progressSlow();
    std::string_view decodeValue(std::string_view raw, int32_t code) {
        if (!IsAscii(raw)) return decodeSlow(raw, code);
        // An ASCII line changes only when it may hold an escape.
        if (escapes_ && IsTextCode(code) && std::memchr(raw.data(), '\\', raw.size())) return decodeText(raw, code);
        return raw;
    }
    std::string_view decodeSlow(std::string_view raw, int32_t code);
    std::string_view decodeText(std::string_view raw, int32_t code);
    void decodeInto(std::string& out, std::string_view raw, bool escapes, bool pairs, std::span<uint32_t> cuts = {}) const;
    void watchHeader(int32_t code, std::string_view value);
    void sniffUtf8(std::string_view raw);
    // (after pair_.Code is set) A held piece keeps its spaces: writers cut a
    // long text by length, so a space at a cut belongs to the words around it.
    std::string_view finishValue(std::string_view value, bool trimValue, bool upperCase) {
        if (trimValue && !value.empty() && (value.front() == ' ' || value.back() == ' ') && !(holdPieces_ && (pair_.Code == 1 || pair_.Code == 3))) {
            while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
            while (!value.empty() && value.back() == ' ') value.remove_suffix(1);
        }
        return upperCase ? upperValue(value) : value;
    }
    std::string_view upperValue(std::string_view value);
    // Group codes are short right-aligned integers: those are taken here,
    // every other form by the general conversion.
    static ParseStatus parseCode(std::string_view line, int32_t& code) noexcept {
        std::size_t i = 0;
        while (i < line.size() && line[i] == ' ') ++i;
        const std::size_t first = i;
        int32_t v = 0;
        while (i < line.size() && i - first < 9 && static_cast<unsigned char>(line[i] - '0') <= 9) v = v * 10 + (line[i++] - '0');
        if (i == line.size() && i > first) {
            code = v;
            return ParseStatus::Ok;
        }
        return parseCodeSlow(line, code);
    }
    static ParseStatus parseCodeSlow(std::string_view line, int32_t& code) noexcept;
    bool recoverCode(std::string_view& line, int32_t& code);
    bool recoverNumber(std::string_view value, double& d) const;
    void slurp(int fd, std::string name);
    const Pair& readBinary(bool trimValue, bool upperCase);
    bool isWaitingNumber(std::string_view value) const noexcept;
    void numberText();  // the text of a waiting number, made now
    // The next n bytes of the pair being read; they stay put until the next call.
    const char* binaryBytes(std::size_t n, int32_t code, const char* what) {
        if (end_ - begin_ >= n) [[likely]]
            return (buffer_ ? buffer_.get() : memory_.data()) + begin_;
        return binaryBytesSlow(n, code, what);
    }
    const char* binaryBytesSlow(std::size_t n, int32_t code, const char* what);
    void consume(std::size_t n) {
        begin_ += n;
        charsRead_ += static_cast<int64_t>(n);
        if (charsRead_ >= nextCheck_ || currentPercent_ != lastPercent_) progressSlow();
    }

    CodePage codePage_;
    TextConvertMode mode_ = TextConvertMode::None;
    bool utf8_ = false;         // value lines are UTF-8
    bool escapes_ = false;      // \U+XXXX escapes are decoded
    bool watchHeader_ = false;  // Auto mode, still on the code page
    bool holdPieces_ = false;   // codes 1 and 3 come out undecoded
    uint8_t pendingVariable_ = 0;  // 1 after 9/$ACADVER, 2 after 9/$DWGCODEPAGE
    bool sniff_ = false;           // Auto mode, no text above ASCII seen yet
    bool followPage_ = false;      // Auto mode takes the declared page
    std::string fileName_;
    int fd_ = -1;
    bool eof_ = true;
    bool open_ = false;
    bool recover_ = false;
    mutable std::vector<LoadWarning> warnings_;
    bool heapLoad_ = false;  // heap::BeginLoad took this file
    bool heapBinary_ = false;  // ... as a binary drawing: the model is larger than the file

    std::unique_ptr<char[]> buffer_;
    std::size_t capacity_ = 0;
    std::size_t begin_ = 0;  // first unread byte
    std::size_t end_ = 0;    // end of valid data
    std::string memory_;     // OpenString data

    int64_t fileLength_ = 0;
    int64_t charsRead_ = 0;
    int64_t lineNumber_ = 0;
    int32_t lastPercent_ = 0;
    int32_t currentPercent_ = 0;
    int64_t nextCheck_ = 0;

    bool hasPushBack_ = false;
    int32_t pushBackCode_ = 0;
    std::string pushBackValue_;
    int64_t pushBackLine_ = 0;
    int64_t pairLine_ = 0;  // line of the value of the pair last returned

    uint8_t binary_ = 0;  // code width of a binary drawing
    // The text of a binary number, and the number: ToDouble and ToInt32 take
    // the number when handed that text.
    char numberText_[32] = {};
    std::size_t numberSize_ = 0;
    bool numberIsInt_ = false;  // 16 or 32 bits, or a flag
    bool numberKept_ = false;   // a finite number is waiting
    double number_ = 0;

    Pair pair_;
    std::string decoded_;
    std::string pieces_;  // DecodePieces' output, swapped with its text
    std::string upper_;
};

}  // namespace ormavec
