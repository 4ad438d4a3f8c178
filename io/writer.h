// The group writer: writes group pairs as two CR LF terminated lines each, or
// in binary form, through a large buffer. Saving to a file goes to a temporary file in the
// same folder that replaces the target only when CloseOutput completes, so
// a failed save never destroys the file that was there. A symbolic link stays
// a link: the file it leads to is the one replaced. Other names of a file
// with hard links keep the old content, as a replaced file is a new one.
// Anything but a regular file (a device, a pipe, "-" for standard output)
// is written straight through.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "io/text.h"

namespace ormavec {

// What a save writes. Classic: the fixed structure of the original component
// under whatever version the model declares, text in the code page. Standard:
// a file that conforms to the version it declares, text encoded for it.
// R12: a plain AC1009 file for readers of that version only: no subclass
// markers, owners or tables and sections added later, handles only if asked,
// text in the code page with escapes as in Standard.
enum class SaveMode : int32_t { Classic = 0, Standard = 1, R12 = 2 };

class DXFWriter {
public:
    explicit DXFWriter(CodePage codePage = CodePage::Windows1250);
    ~DXFWriter();  // an output not closed is discarded
    DXFWriter(const DXFWriter&) = delete;
    DXFWriter& operator=(const DXFWriter&) = delete;

    CodePage GetCodePage() const noexcept { return codePage_; }
    void SetSaveMode(SaveMode mode) noexcept { saveMode_ = mode; }
    SaveMode GetSaveMode() const noexcept { return saveMode_; }
    // Text written as UTF-8, the model's bytes unchanged. Otherwise it goes
    // through the code page: in Standard mode a character the code page
    // lacks becomes a \U+XXXX escape, in Classic mode '?'.
    void SetUtf8Output(bool on) noexcept { utf8Output_ = on; }
    bool Utf8Output() const noexcept { return utf8Output_; }
    bool IsStandard() const noexcept { return saveMode_ == SaveMode::Standard; }
    bool IsR12() const noexcept { return saveMode_ == SaveMode::R12; }
    // R12 mode: whether handles (groups 5 and 105) are written; the pairs
    // R12 lacks (subclass markers, owners, links) never are.
    void SetR12Handles(bool on) noexcept { r12Handles_ = on; }
    bool R12Handles() const noexcept { return r12Handles_; }
    // A binary drawing: the sentinel, then each pair as its group code (16
    // bits, or one byte with 255 and 16 bits for larger codes) and its value
    // in the form its code calls for (BinaryValueOf); text is encoded as for
    // a text drawing. Set before the output is opened.
    void SetBinary(bool on, bool oneByteCodes = false) noexcept { binary_ = on ? (oneByteCodes ? 1 : 2) : 0; }
    bool Binary() const noexcept { return binary_ != 0; }

    void OpenOutput(const std::string& fileName);
    // Raised on the saving thread after each buffer written (or handed to
    // the thread that writes it), with the bytes so far.
    std::function<void(int64_t bytes)> BytesProgress;
    // Writes into a string instead of a file (tests); the string holds every
    // line as soon as it is written.
    void OpenString(std::string* target);
    // Flushes and, for a file, puts it in place of the target.
    void CloseOutput();
    bool IsOpen() const noexcept { return open_; }

    void WriteLine(std::string_view text, bool rightTrim);
    // In Standard mode a backslash in a text code's value that would read
    // back as the start of an escape is written as one (EncodeProtectedAppend).
    void WriteString(int32_t code, std::string_view text);
    // A text in pieces of `pieceUnits` UTF-16 code units (a character outside
    // the BMP that starts at the last unit stays whole in its piece), written
    // with `pieceCode`, and the rest, possibly empty, with `lastCode` (MTEXT).
    // Readers decode the pieces joined, keeping "\\". A Standard save cuts at
    // `cuts` instead (where the pieces end, the last at the text's end) while
    // they fit the text: where a read drawing had its cuts.
    void WriteTextPieces(std::string_view text, std::size_t pieceUnits, int32_t pieceCode, int32_t lastCode, std::span<const uint32_t> cuts = {});
    void WriteInteger(int32_t code, int32_t number);
    void WriteDouble(int32_t code, double number);
    void WriteHandle(int32_t code, int32_t handle);
    void WritePoint(double x, double y, double z, int32_t codeX, int32_t codeY, int32_t codeZ);
    void BeginSection();
    void EndSection();

    // The pattern "0." followed by the given number of "#".
    static std::string NumberFormat(int32_t decimals);

private:
    // An R12 save passes over the groups of later versions.
    bool skips(int32_t code) const noexcept {
        return saveMode_ == SaveMode::R12 && (code == 100 || code == 102 || (code >= 280 && code < 400) ||
                                              (!r12Handles_ && (code == 5 || code == 105)));
    }
    void need(std::size_t bytes) {
        if (!open_ || size_ + bytes > capacity_) needSlow(bytes);
    }
    void needSlow(std::size_t bytes);
    void flush();
    // A safe save hands each full buffer to a thread of its own (writer.cpp).
    struct Background;
    void handOver();
    int stopBackground() noexcept;  // the first write error, or 0
    void discard() noexcept;
    void putCode(int32_t code);
    static char* codeLine(char* p, int32_t code) noexcept;
    void put(const char* data, std::size_t size);
    void endLine() { put("\r\n", 2); }
    void putEncoded(int32_t code);  // encoded_ as the value line
    void startOutput();
    void binaryCode(int32_t code);
    // A value given as the text of its value line, put in its code's form.
    void binaryValue(int32_t code, std::string_view text);
    void binaryBytes(const void* data, std::size_t size) { put(static_cast<const char*>(data), size); }
    [[noreturn]] void failValue(int32_t code, std::string_view text, const char* why) const;
    void keepOffUtf8();
    // Output into a string is written through, so the string is complete
    // after every pair even before CloseOutput.
    void lineDone() {
        if (memory_) flush();
    }

    CodePage codePage_;
    SaveMode saveMode_ = SaveMode::Classic;
    bool utf8Output_ = false;
    bool r12Handles_ = false;
    uint8_t binary_ = 0;     // code width of a binary drawing
    bool firstHigh_ = true;  // no value line above ASCII written yet
    int32_t code_ = 0;       // the code of the value line being written
    bool open_ = false;
    int fd_ = -1;
    std::string target_;
    std::string tempName_;
    int tempSlot_ = -1;  // where the signal handlers find tempName_
    int64_t written_ = 0;
    std::unique_ptr<Background> background_;
    std::string* memory_ = nullptr;
    std::unique_ptr<char[]> buffer_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    std::unique_ptr<char[]> spare_;  // filled while the background thread writes buffer_'s last content
    std::size_t spareCapacity_ = 0;
    std::string encoded_;
    std::vector<std::size_t> pieces_;  // and the ends of the pieces in the text
};

}  // namespace ormavec
