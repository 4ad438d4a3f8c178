// The group reader: code lines, errors that name the file and line, push-back,
// line ends, progress events, long lines from a file, and the code pages.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "io/number.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

bool Mentions(const Error& e, const std::string& text) { return std::string(e.what()).find(text) != std::string::npos; }

// The error `f` raises; number 0 when it raises none.
Error Caught(const std::function<void()>& f) {
    try {
        f();
    } catch (const Error& e) {
        return e;
    }
    return Error(0, "", "");
}

}  // namespace

TEST(IoReader, CodesConversionsAndErrorsNameFileAndLine) {
    const struct {
        const char* text;
        int pairs;    // pairs read before the conversion
        char convert;  // 'd' ToDouble, 'i' ToInt32 of the last value, or none
        int32_t error, code;
        const char* where;
    } cases[] = {
        {"0\r\nSECTION\r\n  10\r\nv\r\n", 2, 0, 0, 10, ""},
        {"0\r\nSECTION\r\n10.5 \r\nv\r\n", 2, 0, 0, 10, ""},
        {"0\r\nSECTION\r\n11.5\r\nv\r\n", 2, 0, 0, 12, ""},
        {"0\r\nSECTION\r\nABC\r\nv\r\n", 2, 0, err::TypeMismatch, 0, "f.dxf:3"},
        {"0\r\nSECTION\r\n\r\nv\r\n", 2, 0, err::TypeMismatch, 0, "f.dxf:3"},
        {"0\r\nSECTION\r\n99999999999\r\nv\r\n", 2, 0, err::Overflow, 0, "f.dxf:3"},
        {"0\r\nLINE\r\n8\r\n", 2, 0, err::InputPastEndOfFile, 0, "f.dxf:3"},
        {"0\r\nLINE\r\n8", 2, 0, err::InputPastEndOfFile, 0, "f.dxf:3"},
        {"0\r\nEOF\r\n", 2, 0, err::InputPastEndOfFile, 0, "f.dxf:3"},
        {"10\n1.5\n20\nabc\n", 2, 'd', err::TypeMismatch, 20, "f.dxf:4"},
        {"10\n1e999\n", 1, 'd', err::Overflow, 10, "f.dxf:2"},
        {"70\n3e12\n", 1, 'i', err::Overflow, 70, "f.dxf:2"},
        {"70\nx\n", 1, 'i', err::TypeMismatch, 70, "f.dxf:2"},
    };
    for (const auto& c : cases) {
        DXFReader r;
        r.OpenString(c.text, "f.dxf");
        int32_t code = 0;
        const Error e = Caught([&] {
            const DXFReader::Pair* p = nullptr;
            for (int i = 0; i < c.pairs; ++i) code = (p = &r.Read())->Code;
            if (c.convert == 'd') r.ToDouble(p->Value);
            if (c.convert == 'i') r.ToInt32(p->Value);
        });
        EXPECT_EQ(e.number(), c.error) << c.text;
        EXPECT_EQ(code, c.code) << c.text;
        EXPECT_TRUE(Mentions(e, c.where)) << e.what();
    }
}

TEST(IoReader, PushBackTrimAndUpperCase) {
    DXFReader r;
    r.OpenString("0\r\n line \r\n8\r\n\tw a\t\r\n9\r\n$EXTMIN\r\n");
    const DxfEntry raw = r.ReadEntry(false, false);
    EXPECT_EQ(raw.Value, " line ");
    r.UnReadEntry(raw);
    const Error twice = Raised([&] { r.UnReadEntry(DxfEntry{5, "other"}); });
    EXPECT_EQ(twice.number(), ErrInvalidOperation);
    EXPECT_EQ(twice.description(), "UnReadEntry/1");
    EXPECT_EQ(r.ReadEntry(true, true).Value, "LINE");  // the first push-back stayed
    EXPECT_EQ(r.ReadEntry(true, false).Value, "\tw a\t");  // only spaces are trimmed
    EXPECT_EQ(r.Read().Value, "$EXTMIN");
    for (int i = 0; i < 3; ++i) {  // read back from the push-back and pushed again
        r.UnRead();
        EXPECT_THROW(r.UnRead(), Error);
        EXPECT_EQ(r.Read().Value, "$EXTMIN");
    }
    r.UnRead();
    EXPECT_TRUE(r.AtEnd());  // the end of the file ignores the push-back
    EXPECT_EQ(r.Read(true, true).Value, "$EXTMIN");
    EXPECT_EQ(r.LineNumber(), 6);
}

TEST(IoReader, LineEndsAndOpenFailures) {
    DXFReader r;
    r.OpenString("0\nLINE\n8\r\nA\rB\r\n62\n7\r\r\n1\nlast");
    std::vector<std::pair<int32_t, std::string>> got;
    while (!r.AtEnd()) {
        const DXFReader::Pair& p = r.Read(false);
        got.emplace_back(p.Code, p.Value);
    }
    EXPECT_EQ(got, (decltype(got){{0, "LINE"}, {8, "A\rB"}, {62, "7\r"}, {1, "last"}}));
    EXPECT_EQ(r.LineNumber(), 8);

    TempDir dir;
    WriteFile(dir / "empty.dxf", "");
    const struct {
        std::string path;
        int32_t error;
    } opens[] = {{dir / "empty.dxf", 0},
                 {dir / "missing.dxf", err::FileNotFound},
                 {dir / "empty.dxf/x", err::PathNotFound},
                 {dir.path().string(), err::PathFileAccessError}};
    for (const auto& o : opens) {
        DXFReader f;
        f.Progress = [](int32_t&) { ADD_FAILURE() << "progress of an empty file"; };
        const Error e = Caught([&] { f.OpenInput(o.path); });
        EXPECT_EQ(e.number(), o.error) << o.path;
        EXPECT_TRUE(Mentions(e, o.error ? o.path : "")) << e.what();
        EXPECT_TRUE(f.AtEnd());
    }
}

// Each line counts its length plus two; the percentage of the file's length,
// rounded half to even, raises an event whenever it differs from the last one
// (clamped to 0..100, stored as the handler leaves it). Lines ending in LF
// alone push it past 100.
RC_GTEST_PROP(IoReader, ProgressFollowsThePlainRule, (bool lfOnly, bool fromFile)) {
    const int32_t handlerSets = *rc::gen::elementOf(std::vector<int32_t>{-1, 0, 100});
    std::mt19937 rng(*rc::gen::arbitrary<uint32_t>());
    const int pairs = *rc::gen::inRange(1, 3000);
    std::vector<std::size_t> lengths;
    std::string text;
    for (int i = 0; i < pairs; ++i) {
        lengths.push_back(1 + rng() % 5);
        lengths.push_back(rng() % 40);
        text += std::string(lengths[lengths.size() - 2], '7') + (lfOnly ? "\n" : "\r\n");
        text += std::string(lengths.back(), 'v') + (lfOnly ? "\n" : "\r\n");
    }
    std::vector<std::pair<int64_t, int32_t>> want, got;
    int64_t chars = 0;
    int32_t last = 0;
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        chars += static_cast<int64_t>(lengths[i]) + 2;
        const auto p = static_cast<int32_t>(RoundHalfEven(static_cast<double>(chars) / static_cast<double>(text.size()) * 100.0));
        if (p == last) continue;
        want.emplace_back(i + 1, std::min(p, 100));
        last = handlerSets < 0 ? std::min(p, 100) : handlerSets;
    }
    TempDir dir;
    DXFReader r;
    if (fromFile) {
        WriteFile(dir / "p.dxf", text);
        r.OpenInput(dir / "p.dxf");
    } else {
        r.OpenString(text);
    }
    r.Progress = [&](int32_t& p) {
        got.emplace_back(r.LineNumber(), p);
        if (handlerSets >= 0) p = handlerSets;
    };
    while (!r.AtEnd()) r.Read();
    RC_ASSERT(got == want);
}

TEST(IoReader, LinesAcrossAndBeyondTheBufferFromAFile) {
    TempDir dir;
    std::vector<std::string> values;
    std::string text;
    while (text.size() < (3u << 19)) {
        values.push_back(std::string(values.size() % 200, static_cast<char>('a' + values.size() % 26)));
        text += "  1\r\n" + values.back() + "\r\n";
    }
    values.push_back(std::string((1u << 20) + 12345, 'Z'));  // longer than the buffer
    text += "1\n" + values.back() + "\n0\r\nend";
    values.push_back("end");
    WriteFile(dir / "long.dxf", text);
    DXFReader r;
    r.OpenInput(dir / "long.dxf");
    std::size_t i = 0;
    for (; !r.AtEnd(); ++i) ASSERT_EQ(r.Read(false).Value, values.at(i)) << i;
    EXPECT_EQ(i, values.size());
}

// Each byte is one character of the code page: any value read and written
// again through the same code page comes back byte for byte.
RC_GTEST_PROP(IoReader, EveryByteSurvivesReadAndWrite, (bool western)) {
    const CodePage cp = western ? CodePage::Windows1252 : CodePage::Windows1250;
    std::string bytes = *rc::gen::container<std::string>(rc::gen::map(
        rc::gen::suchThat(rc::gen::inRange(1, 256), [](int b) { return b != '\r' && b != '\n'; }), [](int b) { return static_cast<char>(b); }));
    for (int b = 255; b > 0; --b)
        if (b != '\r' && b != '\n') bytes.push_back(static_cast<char>(b));
    DXFReader r(cp);
    r.OpenString("1\r\n" + bytes + "\r\n");
    const DxfEntry e = r.ReadEntry(false, false);
    DXFWriter w(cp);
    std::string out;
    w.OpenString(&out);
    w.WriteString(e.Code, e.Value);
    RC_ASSERT(out == "1\r\n" + bytes + "\r\n");
}
