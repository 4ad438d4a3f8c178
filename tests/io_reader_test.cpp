#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "io/error.h"
#include "io/number.h"
#include "io/reader.h"
#include "io/writer.h"
#include "test_support.h"

using ormavec::DxfEntry;
using ormavec::DXFReader;
using ormavec::Error;
using ormavec::TextConvertMode;
using namespace ormavec::test;

namespace {

// The error a call raises; number 0 when it raises none.
Error caught(const std::function<void()>& fn) {
    try {
        fn();
    } catch (const Error& e) {
        return e;
    }
    return Error(0, "", "");
}

bool mentions(const Error& e, const std::string& text) { return std::string(e.what()).find(text) != std::string::npos; }

TEST(IoReader, TrimRemovesSpacesOnly) {
    const struct {
        const char* line;
        bool trim;
        const char* value;
    } cases[] = {
        {" LINE ", true, "LINE"},
        {" LINE ", false, " LINE "},
        {"\tLINE\t", true, "\tLINE\t"},
        {"   ", true, ""},
        {"", true, ""},
        {"a b", true, "a b"},
    };
    for (const auto& c : cases) {
        DXFReader r;
        r.OpenString(std::string("0\r\n") + c.line + "\r\n");
        EXPECT_EQ(r.ReadEntry(c.trim, false).Value, c.value) << '"' << c.line << '"';
    }
}

TEST(IoReader, CodeLineConversions) {
    const struct {
        const char* line;
        int32_t error;
        int32_t code;
    } cases[] = {
        {"  10", 0, 10},
        {"10  ", 0, 10},
        {"10.5", 0, 10},
        {"11.5", 0, 12},
        {"-1", 0, -1},
        {"1071", 0, 1071},
        {"ABC", ormavec::err::TypeMismatch, 0},
        {"", ormavec::err::TypeMismatch, 0},
        {"1,5", ormavec::err::TypeMismatch, 0},
        {"0x10", ormavec::err::TypeMismatch, 0},
        {"99999999999", ormavec::err::Overflow, 0},
    };
    for (const auto& c : cases) {
        DXFReader r;
        // The pair under test is the second one, so its code is on line 3.
        r.OpenString(std::string("0\r\nSECTION\r\n") + c.line + "\r\nvalue\r\n", "codes.dxf");
        r.Read();
        Error e = caught([&] {
            const DXFReader::Pair& p = r.Read();
            EXPECT_EQ(p.Code, c.code) << c.line;
            EXPECT_EQ(p.Value, "value");
        });
        EXPECT_EQ(e.number(), c.error) << '"' << c.line << '"';
        if (c.error != 0) {
            EXPECT_TRUE(mentions(e, "codes.dxf:3")) << e.what();
        }
    }
}

TEST(IoReader, ValueConversionsNameFileAndLine) {
    DXFReader r;
    r.OpenString("10\n1.5\n20\nabc\n70\n3e12\n", "values.dxf");
    EXPECT_EQ(r.ToDouble(r.Read().Value), 1.5);
    Error e = caught([&] { r.ToDouble(r.Read().Value); });
    EXPECT_EQ(e.number(), ormavec::err::TypeMismatch);
    EXPECT_TRUE(mentions(e, "values.dxf:4")) << e.what();
    e = caught([&] { r.ToInt32(r.Read().Value); });
    EXPECT_EQ(e.number(), ormavec::err::Overflow);
    EXPECT_TRUE(mentions(e, "values.dxf:6")) << e.what();
}

TEST(IoReader, PushBackRules) {
    DXFReader r;
    r.OpenString("0\r\nline\r\n8\r\nwalls\r\n");
    DxfEntry first = r.ReadEntry(true, false);
    EXPECT_EQ(first.Value, "line");
    r.UnReadEntry(first);
    Error e = caught([&] { r.UnReadEntry(DxfEntry{5, "other"}); });
    EXPECT_EQ(e.number(), ormavec::ErrInvalidOperation);
    EXPECT_EQ(e.description(), "UnReadEntry/1");
    // The first pair stayed pushed back, and comes back upper-cased on request.
    DxfEntry again = r.ReadEntry(true, true);
    EXPECT_EQ(again.Code, 0);
    EXPECT_EQ(again.Value, "LINE");
    DxfEntry next = r.ReadEntry(true, false);
    EXPECT_EQ(next.Code, 8);
    EXPECT_EQ(next.Value, "walls");
    EXPECT_TRUE(r.AtEnd());
}

TEST(IoReader, PushedBackValueIsTrimmedWhenReadAgain) {
    DXFReader r;
    r.OpenString("1\r\n  a  \r\n");
    DxfEntry raw = r.ReadEntry(false, false);
    r.UnReadEntry(raw);
    EXPECT_EQ(r.ReadEntry(true, false).Value, "a");
}

TEST(IoReader, FastPushBackSurvivesRepeatedRounds) {
    DXFReader r;
    r.OpenString("10\r\n1.5\r\n9\r\n$EXTMIN\r\n");
    r.Read();
    const DXFReader::Pair& p = r.Read();
    EXPECT_EQ(p.Value, "$EXTMIN");
    // The pair read back from the push-back and pushed again, several times.
    for (int i = 0; i < 3; ++i) {
        r.UnRead();
        EXPECT_THROW(r.UnRead(), Error);
        const DXFReader::Pair& q = r.Read();
        EXPECT_EQ(q.Code, 9);
        EXPECT_EQ(q.Value, "$EXTMIN");
    }
    r.UnRead();
    // The end of the file ignores the push-back; a read still returns it.
    EXPECT_TRUE(r.AtEnd());
    EXPECT_EQ(r.Read(true, true).Value, "$EXTMIN");
    EXPECT_EQ(caught([&] { r.Read(); }).number(), ormavec::err::InputPastEndOfFile);
}

TEST(IoReader, FileEndingAfterACodeLineRaises62) {
    for (const char* text : {"0\r\nLINE\r\n8\r\n", "0\r\nLINE\r\n8"}) {
        DXFReader r;
        r.OpenString(text, "cut.dxf");
        r.Read();
        EXPECT_FALSE(r.AtEnd());
        Error e = caught([&] { r.Read(); });
        EXPECT_EQ(e.number(), ormavec::err::InputPastEndOfFile);
        EXPECT_TRUE(mentions(e, "cut.dxf:3")) << e.what();
    }
}

TEST(IoReader, EmptyAndMissingFiles) {
    TempDir dir;
    WriteFile(dir / "empty.dxf", "");
    DXFReader r;
    int events = 0;
    r.Progress = [&](int32_t&) { ++events; };
    r.OpenInput(dir / "empty.dxf");
    EXPECT_TRUE(r.AtEnd());
    EXPECT_EQ(events, 0);

    DXFReader m;
    std::string missing = dir / "missing.dxf";
    Error e = caught([&] { m.OpenInput(missing); });
    EXPECT_EQ(e.number(), ormavec::err::FileNotFound);
    EXPECT_TRUE(mentions(e, missing));
    EXPECT_TRUE(m.AtEnd());
}

TEST(IoReader, LineEnds) {
    DXFReader r;
    // LF alone, CR LF, a CR inside a value, and no line end after the last line.
    r.OpenString("0\nLINE\n8\r\nA\rB\r\n62\n7\r\r\n1\nlast");
    std::vector<std::pair<int32_t, std::string>> got;
    while (!r.AtEnd()) {
        const DXFReader::Pair& p = r.Read(false, false);
        got.emplace_back(p.Code, std::string(p.Value));
    }
    std::vector<std::pair<int32_t, std::string>> want = {{0, "LINE"}, {8, "A\rB"}, {62, "7\r"}, {1, "last"}};
    EXPECT_EQ(got, want);
    EXPECT_EQ(r.LineNumber(), 8);
}

TEST(IoReader, FromUtf8RepairsLettersUnderCodesZeroToNine) {
    const std::string e8 = "\xC3\xA9";              // UTF-8 bytes of é, read as two characters
    const std::string twoChars = "\xC4\x82\xC2\xA9";  // what those bytes are in code page 1250
    const struct {
        TextConvertMode mode;
        int32_t code;
        std::string expected;
    } cases[] = {
        {TextConvertMode::FromUTF8, 8, "\xC3\xA9"},  {TextConvertMode::FromUTF8, 0, "\xC3\xA9"},
        {TextConvertMode::FromUTF8, 9, "\xC3\xA9"},  {TextConvertMode::FromUTF8, 10, twoChars},
        {TextConvertMode::FromUTF8, 1000, twoChars}, {TextConvertMode::FromUTF8, -1, twoChars},
        {TextConvertMode::None, 8, twoChars},
    };
    for (const auto& c : cases) {
        DXFReader r;
        r.SetTextConvertMode(c.mode);
        r.OpenString(std::to_string(c.code) + "\r\n" + e8 + "\r\n");
        EXPECT_EQ(r.ReadEntry(true, false).Value, c.expected) << c.code;
    }
}

TEST(IoReader, FromUtf8RepairsExactlyTheEighteenLetters) {
    // The letters as UTF-8 bytes in the file come back as the same letters.
    const std::string letters =
        "\xC3\xB6\xC3\xBC\xC3\xB3\xC5\x91\xC3\xBA\xC3\xA9\xC3\xA1\xC5\xB1\xC3\xAD"
        "\xC3\x96\xC3\x9C\xC3\x93\xC5\x90\xC3\x9A\xC3\x89\xC3\x81\xC5\xB0\xC3\x8D";
    for (auto cp : {ormavec::CodePage::Windows1250, ormavec::CodePage::Windows1252}) {
        DXFReader r(cp);
        r.SetTextConvertMode(TextConvertMode::FromUTF8);
        r.OpenString("1\r\n" + letters + "\r\n");
        EXPECT_EQ(r.ReadEntry(true, false).Value, letters);
    }
    // Other UTF-8 (ä) and a lone lead byte stay as the code page decodes them.
    DXFReader r;
    r.SetTextConvertMode(TextConvertMode::FromUTF8);
    r.OpenString("1\r\nx\xC3\xA4\xC3\r\n");
    EXPECT_EQ(r.ReadEntry(true, false).Value, "x\xC4\x82\xC2\xA4\xC4\x82");
}

TEST(IoReader, BytesRoundTripThroughReaderAndWriter) {
    std::string bytes;
    for (int b = 1; b <= 255; ++b)
        if (b != '\r' && b != '\n') bytes.push_back(static_cast<char>(b));
    for (auto cp : {ormavec::CodePage::Windows1250, ormavec::CodePage::Windows1252}) {
        DXFReader r(cp);
        r.OpenString("1\r\n" + bytes + "\r\n");
        DxfEntry e = r.ReadEntry(false, false);
        std::string out;
        ormavec::DXFWriter w(cp);
        w.OpenString(&out);
        w.WriteString(e.Code, e.Value);
        w.CloseOutput();
        EXPECT_EQ(out, "1\r\n" + bytes + "\r\n") << static_cast<int>(cp);
    }
}

// Lines of 8 characters, CR LF: 10 bytes each.
std::string fixedLines(int count, const char* end) {
    std::string s;
    for (int i = 0; i < count; ++i) s += (i % 2 == 0 ? "     999" : "ABCDEFGH") + std::string(end);
    return s;
}

struct Event {
    int64_t line;
    int32_t percent;
};

std::vector<Event> readAll(DXFReader& r, const std::function<void(int32_t&)>& extra = {}) {
    std::vector<Event> events;
    r.Progress = [&](int32_t& p) {
        events.push_back({r.LineNumber(), p});
        if (extra) extra(p);
    };
    while (!r.AtEnd()) r.Read();
    return events;
}

TEST(IoReader, ProgressOnePercentPerLine) {
    DXFReader r;
    r.OpenString(fixedLines(100, "\r\n"));
    std::vector<Event> events = readAll(r);
    ASSERT_EQ(events.size(), 100u);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(events[i].line, i + 1);
        EXPECT_EQ(events[i].percent, i + 1);
    }
}

TEST(IoReader, ProgressWithLfOnlyRepeats100) {
    // 100 lines of 9 characters and LF: 1000 bytes, but 11 counted per line.
    std::string text;
    for (int i = 0; i < 100; ++i) text += (i % 2 == 0 ? "      999\n" : "ABCDEFGHI\n");
    DXFReader r;
    r.OpenString(text);
    std::vector<Event> events = readAll(r);
    ASSERT_FALSE(events.empty());
    // 91 lines count 1001 characters: 100 is reached there, then every line repeats it.
    std::vector<Event> tail(events.end() - 10, events.end());
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(tail[i].line, 91 + i);
        EXPECT_EQ(tail[i].percent, 100);
    }
    EXPECT_NE(events[events.size() - 11].percent, 100);
}

TEST(IoReader, ProgressHandlerSetting100SilencesOnlyWhileTheComputedValueIs100) {
    DXFReader r;
    r.OpenString(fixedLines(100, "\r\n"));
    std::vector<Event> events = readAll(r, [](int32_t& p) { p = 100; });
    // Every line computes a value other than 100 until the last one.
    ASSERT_EQ(events.size(), 99u);
    for (int i = 0; i < 99; ++i) {
        EXPECT_EQ(events[i].line, i + 1);
        EXPECT_EQ(events[i].percent, i + 1);
    }
}

// The plain rule, line by line, to compare with the reader's events.
std::vector<Event> expectedEvents(const std::vector<std::size_t>& lineLengths, int64_t fileLength) {
    std::vector<Event> out;
    int64_t chars = 0;
    int32_t last = 0;
    for (std::size_t i = 0; i < lineLengths.size(); ++i) {
        chars += static_cast<int64_t>(lineLengths[i]) + 2;
        auto p = static_cast<int32_t>(ormavec::RoundHalfEven(static_cast<double>(chars) / static_cast<double>(fileLength) * 100.0));
        if (p != last) {
            int32_t clamped = p > 100 ? 100 : p;
            out.push_back({static_cast<int64_t>(i + 1), clamped});
            last = clamped;
        }
    }
    return out;
}

TEST(IoReader, ProgressOverALargeFileMatchesThePlainRule) {
    TempDir dir;
    std::mt19937 rng(7);
    std::vector<std::size_t> lengths;
    std::string text;
    while (text.size() < 100000) {
        std::size_t code = 1 + rng() % 5, value = rng() % 30;
        text += std::string(code, '9') + "\r\n" + std::string(value, 'v') + "\r\n";
        lengths.push_back(code);
        lengths.push_back(value);
    }
    WriteFile(dir / "big.dxf", text);
    DXFReader r;
    r.OpenInput(dir / "big.dxf");
    std::vector<Event> events = readAll(r);
    std::vector<Event> want = expectedEvents(lengths, static_cast<int64_t>(text.size()));
    ASSERT_EQ(events.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i) {
        EXPECT_EQ(events[i].line, want[i].line) << i;
        EXPECT_EQ(events[i].percent, want[i].percent) << i;
    }
    EXPECT_GE(events.size(), 99u);
    EXPECT_LE(events.size(), 100u);
}

TEST(IoReader, ProgressOverA100000ByteFileIsAboutOnePerThousandBytes) {
    DXFReader r;
    r.OpenString(fixedLines(10000, "\r\n"));
    std::vector<Event> events = readAll(r);
    ASSERT_EQ(events.size(), 100u);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(events[i].percent, i + 1);
        // The bytes consumed when the event fires: within a line of the percent mark.
        EXPECT_NEAR(static_cast<double>(events[i].line * 10), (i + 0.5) * 1000.0, 10.0) << i;
    }
}

TEST(IoReader, ProgressHandler100HearsEveryLineOfALargeFile) {
    DXFReader r;
    r.OpenString(fixedLines(10000, "\r\n"));
    std::vector<Event> events = readAll(r, [](int32_t& p) { p = 100; });
    // Nothing until the computed value leaves 0 at line 51; from there every
    // line up to 9949 (99.49 %) raises an event, and none once it computes 100.
    ASSERT_EQ(events.size(), 9899u);
    EXPECT_EQ(events.front().line, 51);
    EXPECT_EQ(events.back().line, 9949);
    EXPECT_EQ(events.back().percent, 99);
}

TEST(IoReader, LinesAcrossAndBeyondTheBufferFromAFile) {
    TempDir dir;
    std::mt19937 rng(11);
    std::vector<std::string> values;
    std::string text;
    while (text.size() < (3u << 20)) {
        values.push_back(std::string(rng() % 200, static_cast<char>('a' + values.size() % 26)));
        text += "  1\r\n" + values.back() + "\r\n";
    }
    // One value longer than the initial buffer.
    values.push_back(std::string((1u << 20) + 12345, 'Z'));
    text += "1\n" + values.back() + "\n";
    values.push_back("end");
    text += "0\r\nend";
    WriteFile(dir / "long.dxf", text);
    DXFReader r;
    r.OpenInput(dir / "long.dxf");
    std::size_t i = 0;
    while (!r.AtEnd()) {
        const DXFReader::Pair& p = r.Read(false, false);
        ASSERT_LT(i, values.size());
        ASSERT_EQ(p.Value, values[i]) << i;
        ++i;
    }
    EXPECT_EQ(i, values.size());
}

}  // namespace
