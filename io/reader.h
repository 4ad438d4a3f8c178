// The group reader: turns an ASCII drawing file into a stream of group pairs
// (a code line and a value line), with one pair of push-back, progress
// events and the code page decoding of values.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "io/text.h"

namespace ormavec {

enum class TextConvertMode : int32_t { None = 0, FromUTF8 = 1 };

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

    void SetTextConvertMode(TextConvertMode mode) noexcept { mode_ = mode; }
    TextConvertMode GetTextConvertMode() const noexcept { return mode_; }
    CodePage GetCodePage() const noexcept { return codePage_; }

    void OpenInput(const std::string& fileName);
    // Reads from memory instead of a file (tests, fuzzing); the name is used
    // in error messages.
    void OpenString(std::string data, std::string displayName = "<memory>");
    void CloseInput() noexcept;
    bool AtEnd();

    // Reads the next pair. Fast form: the value is a view into the reader.
    const Pair& Read(bool trimValue = true, bool upperCase = false);
    DxfEntry ReadEntry(bool trimValue, bool upperCase);

    // Pushes one pair back. A second push-back without a read in between
    // fails with ErrInvalidOperation "UnReadEntry/1".
    void UnReadEntry(const DxfEntry& entry);
    // Pushes back the pair that the last Read returned.
    void UnRead();

    // Raised whenever the whole-number percentage of the file consumed
    // changes; a handler may change the value it receives.
    std::function<void(int32_t& percent)> Progress;

    // Conversions of values with the file name and line in the message.
    double ToDouble(std::string_view value) const;
    int32_t ToInt32(std::string_view value) const;
    [[noreturn]] void Fail(int32_t number, std::string_view what) const;

    // An upper bound of the bytes not consumed yet, a pushed-back pair
    // included: lets a reader refuse a count that the rest of the input
    // cannot hold before it allocates for it.
    int64_t BytesLeft() const noexcept;

    const std::string& FileName() const noexcept { return fileName_; }
    int64_t LineNumber() const noexcept { return lineNumber_; }

private:
    bool nextLine(std::string_view& line);
    bool fill();
    void progress(std::size_t lineLength);
    std::string_view decodeValue(std::string_view raw, int32_t code);
    std::string_view finishValue(std::string_view value, bool trimValue, bool upperCase);

    CodePage codePage_;
    TextConvertMode mode_ = TextConvertMode::None;
    std::string fileName_;
    int fd_ = -1;
    bool eof_ = true;
    bool open_ = false;

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

    Pair pair_;
    std::string decoded_;
    std::string upper_;
};

}  // namespace ormavec
