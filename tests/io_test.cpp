// Numbers, the group reader and writer, and text: the fast number forms
// against the general conversions, errors that name the file and line,
// push-back, line ends, progress, files, code pages, UTF-8 and escapes.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "io/number.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {
// The number and message of the error `f` raises; 0 and "" when none.
std::pair<int32_t, std::string> Caught(const std::function<void()>& f) {
    try { f(); } catch (const Error& e) { return {e.number(), e.what()}; }
    return {0, ""};
}
std::string Text(char* (*format)(char*, double) noexcept, double v) {
    char buf[kNumberBufferSize];
    return std::string(buf, format(buf, v));
}
constexpr auto k1250 = CodePage::Windows1250, k1252 = CodePage::Windows1252;
constexpr auto kNone = TextConvertMode::None, kRepair = TextConvertMode::FromUTF8, kUtf8 = TextConvertMode::Utf8, kAuto = TextConvertMode::Auto;
const std::string kRepaired = "öüóőúéáűíÖÜÓŐÚÉÁŰÍ";  // the letters repaired under codes 0-9
}  // namespace

TEST(IoReader, CodesConversionsAndErrorsNamingFileAndLine) {
    // Reads `pairs` pairs, then converts the last value: 'd' ToDouble, 'i' ToInt32.
    const struct { const char* text; int pairs; char convert; int32_t code, error; const char* where; } cases[] = {
        {"0\r\nS\r\n 11.5 \r\nv\r\n", 2, 0, 12, 0, ""},        {"0\r\nS\r\nABC\r\nv\r\n", 2, 0, 0, err::TypeMismatch, "f:3"},
        {"0\r\nS\r\n\r\nv\r\n", 2, 0, 0, err::TypeMismatch, "f:3"}, {"0\r\nS\r\n99999999999\r\nv\r\n", 2, 0, 0, err::Overflow, "f:3"},
        {"0\r\nLINE\r\n8\r\n", 2, 0, 0, err::InputPastEndOfFile, "f:3"}, {"0\r\nLINE\r\n8", 2, 0, 0, err::InputPastEndOfFile, "f:3"},
        {"0\r\nEOF\r\n", 2, 0, 0, err::InputPastEndOfFile, "f:3"},    {"10\n1.5\n20\nabc\n", 2, 'd', 20, err::TypeMismatch, "f:4"},
        {"10\n1e999\n", 1, 'd', 10, err::Overflow, "f:2"},           {"70\n3e12\n", 1, 'i', 70, err::Overflow, "f:2"}};
    for (const auto& c : cases) {
        DXFReader r;
        r.OpenString(c.text, "f");
        int32_t code = 0;
        const auto [error, message] = Caught([&] {
            const DXFReader::Pair* p = nullptr;
            for (int i = 0; i < c.pairs; ++i) code = (p = &r.Read())->Code;
            if (c.convert) c.convert == 'd' ? r.ToDouble(p->Value) : r.ToInt32(p->Value);
        });
        EXPECT_TRUE(error == c.error && code == c.code && message.find(c.where) != std::string::npos) << c.text << ": " << message;
    }
}

TEST(IoReader, PushBackTrimLineEnds) {
    DXFReader r;
    r.OpenString("0\r\n line \r\n8\r\n\tw a\t\r\n9\r\n$EXTMIN\r\n");
    const DxfEntry raw = r.ReadEntry(false, false);
    r.UnReadEntry(raw);
    const Error twice = Raised([&] { r.UnReadEntry(DxfEntry{5, "other"}); });
    EXPECT_TRUE(twice.number() == ErrInvalidOperation && twice.description() == "UnReadEntry/1" && twice.source() == "DXFReader");
    EXPECT_EQ(raw.Value + r.ReadEntry(true, true).Value, " line LINE");  // the first push-back stayed
    EXPECT_EQ(r.ReadEntry(true, false).Value, "\tw a\t");                 // only spaces are trimmed
    for (int i = 0; i < 3; ++i) {                                         // read back from the push-back and pushed again
        EXPECT_EQ(r.Read().Value, "$EXTMIN");
        r.UnRead();
        EXPECT_THROW(r.UnRead(), Error);
    }
    EXPECT_TRUE(r.AtEnd() && r.Read(true, true).Value == "$EXTMIN" && r.LineNumber() == 6);  // the end ignores the push-back
    r.OpenString("0\nLINE\n8\r\nA\rB\r\n62\n7\r\r\n1\nlast");  // LF, CR LF, a CR inside, no line end at the end
    std::string got;
    while (!r.AtEnd()) got += std::string(r.Read(false, true).Value) + "|";
    EXPECT_EQ(got, "LINE|A\rB|7\r|LAST|");
}

// Each line counts its length plus two; the percentage of the file's length,
// rounded half to even, raises an event whenever it differs from the last one
// (clamped to 0..100, kept as the handler leaves it). Lines ending in LF
// alone push it past 100.
RC_GTEST_PROP(IoReader, ProgressFollowsThePlainRule, (bool lfOnly)) {
    const int32_t handlerSets = *rc::gen::elementOf(std::vector<int32_t>{-1, 0, 100});
    const bool fromFile = *rc::gen::inRange(0, 10) == 0;  // now and then: a reader of a file takes a large buffer
    std::mt19937 rng(*rc::gen::arbitrary<uint32_t>());
    std::vector<int> lengths;
    std::string text;
    for (int i = 2 * *rc::gen::inRange(1, 600); i > 0; --i) {  // code lines and value lines
        lengths.push_back(static_cast<int>(i % 2 ? rng() % 40 : 1 + rng() % 5));
        text += std::string(lengths.back(), i % 2 ? 'v' : '7') + (lfOnly ? "\n" : "\r\n");
    }
    std::vector<std::pair<int64_t, int32_t>> want, got;
    for (int i = 0, last = 0, chars = 0; i < static_cast<int>(lengths.size()); ++i) {
        const auto p = static_cast<int32_t>(RoundHalfEven((chars += lengths[i] + 2) / static_cast<double>(text.size()) * 100.0));
        if (p != last) want.emplace_back(i + 1, std::min(p, 100)), last = handlerSets < 0 ? std::min(p, 100) : handlerSets;
    }
    static TempDir dir;
    DXFReader r;
    fromFile ? WriteFile(dir / "p", text), r.OpenInput(dir / "p") : r.OpenString(text);
    r.Progress = [&](int32_t& p) { got.emplace_back(r.LineNumber(), p), p = handlerSets < 0 ? p : handlerSets; };
    while (!r.AtEnd()) r.Read();
    RC_ASSERT(got == want);
}

// Readers of large files (more than 1 MiB, so that each load grows the heap
// in large steps) opened together, read in turns and closed in several orders
// give the pairs the same text gives from memory.
TEST(IoReader, OverlappingLargeFileReadsMatchMemory) {
    using Pairs = std::vector<std::pair<int32_t, std::string>>;
    const auto readAll = [](DXFReader& r, std::size_t most) {
        Pairs out;
        for (; out.size() < most && !r.AtEnd();) {
            const DXFReader::Pair& p = r.Read();
            out.emplace_back(p.Code, std::string(p.Value));
        }
        return out;
    };
    static TempDir dir;
    static const Pairs want = [&] {
        std::string t;
        for (int i = 0; t.size() < (2u << 20); ++i) t += " 10\r\n" + std::to_string(i * 0.25) + "\r\n  8\r\nLAYER_" + std::to_string(i) + "\r\n";
        WriteFile(dir / "big", t);
        DXFReader m;
        m.OpenString(t);
        return readAll(m, SIZE_MAX);
    }();
    for (const std::vector<int>& closing : std::vector<std::vector<int>>{{0}, {0, 1}, {1, 0}, {2, 0, 1}}) {
        const std::size_t n = closing.size();
        std::vector<std::unique_ptr<DXFReader>> readers(n);
        std::vector<Pairs> got(n);
        for (auto& r : readers) r = std::make_unique<DXFReader>(), r->OpenInput(dir / "big");
        for (std::size_t k = 0; k < want.size(); k += 50000)
            for (std::size_t i = 0; i < n; ++i) std::ranges::move(readAll(*readers[i], 50000), std::back_inserter(got[i]));
        for (int i : closing) {
            readers[i]->CloseInput();
            EXPECT_TRUE(got[i] == want) << "reader " << i << " of " << n;
        }
    }
}

// On a single-byte page each byte is one character: any value read and
// written again through the same page comes back byte for byte, undefined
// bytes too. On a double-byte page, where a character may have two codes
// and a lead byte may stand alone, the text read back is the same.
RC_GTEST_PROP(IoReader, EveryByteSurvivesReadAndWrite, ()) {
    static const std::vector<int32_t> pages = {1250, 1252, 1251, 1253, 1255, 1258, 874, 437, 864, 866, 28595, 10000, 932, 936, 949, 950, 1361};
    const std::size_t page = *rc::gen::inRange<std::size_t>(0, pages.size());
    const auto cp = static_cast<CodePage>(pages[page]);
    const bool autoMode = *rc::gen::arbitrary<bool>();
    std::string bytes = *rc::gen::container<std::string>(rc::gen::map(rc::gen::inRange(1, 256), [](int b) { return static_cast<char>(b); }));
    for (int b = 255; b > 0; --b) bytes += static_cast<char>(b);
    std::erase_if(bytes, [](char c) { return c == '\r' || c == '\n'; });
    static std::vector<std::unique_ptr<DXFWriter>> writers(pages.size());  // made once: each holds a large buffer
    if (!writers[page]) writers[page] = std::make_unique<DXFWriter>(cp);
    const auto read = [&](const std::string& file) {
        DXFReader r(cp);
        r.SetTextConvertMode(autoMode ? TextConvertMode::Auto : TextConvertMode::None);
        r.OpenString(file);
        return r.ReadEntry(false, false).Value;
    };
    std::string out;
    writers[page]->OpenString(&out);
    const std::string text = read("5\r\n" + bytes + "\r\n");
    writers[page]->WriteString(5, text);
    if (IsDoubleByte(cp))
        RC_ASSERT(read(out) == text);
    else
        RC_ASSERT(out == "5\r\n" + bytes + "\r\n");
    // The same texts through a binary drawing, with a plain one that may be
    // short enough for the binary reader's one-pass scan.
    const std::string plain = *rc::gen::container<std::string>(rc::gen::inRange<char>(32, 127));
    DXFWriter binary(cp);
    binary.SetBinary(true);
    std::string bin;
    binary.OpenString(&bin);
    binary.WriteString(5, text);
    binary.WriteString(1, plain);
    binary.CloseOutput();
    DXFReader r(cp);
    r.SetTextConvertMode(autoMode ? TextConvertMode::Auto : TextConvertMode::None);
    r.OpenString(bin);
    r.CheckFormat();
    RC_ASSERT(r.ReadEntry(false, false).Value == text);
    RC_ASSERT(r.ReadEntry(false, false).Value == read("1\r\n" + plain + "\r\n"));
}

TEST(IoWriter, PairFormsAndErrors) {
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    for (double v : {2.0, 1.826004, 1.0 / 3.0, -0.0000000004, -1e18}) w.WriteDouble(10, v);
    w.WriteInteger(-5, -370), w.WriteHandle(5, 255), w.WriteHandle(5, -1), w.WriteString(1, "  text  "), w.WriteString(1, "");
    w.WriteString(2000, "\xC5\x91\xE2\x82\xAC\xE4\xB8\xAD");  // the code page's bytes; '?' for what it lacks
    w.WriteLine("0  ", true), w.WriteLine("b  ", false), w.WritePoint(1, -2.5, 0, 11, 21, 31);
    w.BeginSection(), w.WriteString(2, "HEADER"), w.EndSection();
    for (double v : {INFINITY, -INFINITY, NAN}) EXPECT_EQ(ErrorNumberOf([&] { w.WriteDouble(10, v); }), err::Overflow);
    // Complete before the close, nothing of the refused values.
    EXPECT_EQ(out, Dxf("10 2.\n10 1.826004\n10 0.333333333\n10 0.\n10 -1000000000000000000.\n-5 -370\n5 FF\n5 FFFFFFFF\n"
                       "1   text  \n1\n2000 \xF5\x80?\n0 b  \n11 1.\n21 -2.5\n31 0.\n0 SECTION\n2 HEADER\n0 ENDSEC"));
    w.CloseOutput(), w.CloseOutput();
    EXPECT_EQ(ErrorNumberOf([&] { w.WriteInteger(70, 1); }) + ErrorNumberOf([&] { w.WriteHandle(5, 1); }), 2 * err::BadFileNameOrNumber);
    EXPECT_TRUE(ErrorNumberOf([&] { w.OpenString(nullptr); }) == ErrInvalidArgument && !w.IsOpen() && DXFWriter::NumberFormat(9) == "0.#########");
    EXPECT_STREQ(Error(1, "", "").what(), "Application-defined or object-defined error");  // a number without a text of its own
}

TEST(Io, FilesReplacedOnlyWhenClosedAndOpenFailures) {
    TempDir dir;
    const std::string target = dir / "out.dxf", longLine(3u << 20, 'L');  // longer than the buffer
    WriteFile(target, "old");
    for (bool close : {false, true}) {
        EXPECT_EQ(dir.entries(), 1u);  // no temporary file left behind
        DXFWriter w;
        w.OpenOutput(target);
        w.WriteInteger(70, 1), w.WriteString(1, longLine);
        EXPECT_EQ(ReadFile(target), "old");
        if (close) w.CloseOutput();  // a writer that goes away unclosed leaves the old file
    }
    EXPECT_EQ(ReadFile(target), "70\r\n1\r\n1\r\n" + longLine + "\r\n");
    EXPECT_EQ(dir.entries(), 1u);
    // Opening fails with the number its cause calls for, and names the path.
    DXFReader r;
    DXFWriter w;
    EXPECT_EQ(ErrorNumberOf([&] { r.OpenInput(target + "/x"); }) + ErrorNumberOf([&] { w.OpenOutput(target + "/x"); }), 2 * err::PathNotFound);
    EXPECT_EQ(ErrorNumberOf([&] { r.OpenInput(dir / ""); }) + ErrorNumberOf([&] { w.OpenOutput(dir / ""); }), 2 * err::PathFileAccessError);
    EXPECT_EQ(ErrorNumberOf([&] { w.OpenOutput(dir / "new/"); }), err::BadFileNameOrNumber);
    const Error missing = Raised([&] { r.OpenInput(dir / "missing"); });
    EXPECT_TRUE(missing.number() == err::FileNotFound && std::string(missing.what()).find(dir / "missing") != std::string::npos);
}

// A file save of several buffers (1 MB each) is written by a second thread:
// the file holds what a string output gets, a value larger than a buffer
// included, and a write failing there is raised to the caller (at a later
// write or the close) with its number and text, the old file kept.
TEST(Io, FileSavesOnTheWritingThread) {
    TempDir dir;
    const std::string target = dir / "out.dxf";
    const auto write = [](DXFWriter& w, std::size_t pairs) {
        for (std::size_t i = 0; i < pairs; ++i) {
            if (i == pairs / 2) w.WriteString(1, std::string((3u << 20) + i, 'L'));
            i % 3 == 0 ? w.WriteDouble(10, std::ldexp(static_cast<double>(i * 7919 % 100003), -16)) : i % 3 == 1 ? w.WriteInteger(70, -static_cast<int32_t>(i)) : w.WriteString(8, "0");
        }
    };
    for (std::size_t pairs : {0u, 1000u, 60000u, 250000u}) {
        std::string expected;
        DXFWriter s, f;
        s.OpenString(&expected), write(s, pairs), s.CloseOutput(), f.OpenOutput(target), write(f, pairs), f.CloseOutput();
        EXPECT_TRUE(ReadFile(target) == expected && dir.entries() == 1u) << pairs;
    }
    WriteFile(target, "old");
    rlimit old{}, small{};
    ::getrlimit(RLIMIT_FSIZE, &old), small = old, small.rlim_cur = 2u << 20;
    const auto oldSignal = ::signal(SIGXFSZ, SIG_IGN);  // a write past the limit fails with EFBIG instead
    ::setrlimit(RLIMIT_FSIZE, &small);
    std::pair<int32_t, std::string> failed, again;
    {
        DXFWriter w;
        failed = Caught([&] { w.OpenOutput(target), write(w, 400000), w.CloseOutput(); });
        ::setrlimit(RLIMIT_FSIZE, &old), ::signal(SIGXFSZ, oldSignal);
        again = Caught([&] { w.CloseOutput(); });  // a second close does not put the broken file in place
    }
    EXPECT_EQ(failed, std::make_pair(err::PathFileAccessError, "DXFWriter: Cannot write " + target + ": " + std::strerror(EFBIG)));
    EXPECT_EQ(again, failed);
    EXPECT_TRUE(ReadFile(target) == "old" && dir.entries() == 1u);
}

// Any finite double by its bits, a drawing coordinate with a few decimals,
// or a value near a tie at the tenth decimal or near the largest value the
// fast form takes: the fast form is the fixed nine-decimal one, and it reads
// back within its nine decimals.
RC_GTEST_PROP(IoNumber, FormatMatchesFixedNineDecimalsAndReadsBack, (bool negative)) {
    const auto k = static_cast<double>(*rc::gen::inRange<int64_t>(0, int64_t{1} << 53));
    double v = std::bit_cast<double>(*rc::gen::arbitrary<uint64_t>());
    switch (*rc::gen::inRange(0, 5)) {
    case 0: v = std::isfinite(v) ? v : 0; break;
    case 1: v = k / std::pow(10.0, *rc::gen::inRange(0, 13)); break;
    case 2: v = std::fmod(k, 1e7) * 1e-9 + 5e-10; break;
    case 3: v = std::fmod(k, 1e7) / 1024.0; break;
    default: v = 18446744073.709551615 + (std::fmod(k, 2e4) - 1e4) * 3.8e-6;
    }
    v = negative ? -v : v;
    for (double x : {v, std::nextafter(v, 0.0), std::nextafter(v, 1e308)}) RC_ASSERT(Text(FormatDouble, x) == Text(FormatDoubleFixed9, x));
    double back = 0;
    RC_ASSERT(ParseDouble(Text(FormatDouble, v), back) == ParseStatus::Ok);
    RC_ASSERT(std::fabs(back - v) <= 5e-10 + 2 * std::fabs(v) * 0x1p-52 && Text(FormatDouble, back) == Text(FormatDouble, v));
    RC_ASSERT(Text(FormatDoubleFixed9, -1e-10 * (1 + std::fmod(k, 4.0))) == "0.");  // a negative value that rounds to zero
}

// Decimal text with blanks, signs and exponents reads as from_chars reads its
// digits; too small is zero, too large an overflow, no digit a mismatch.
RC_GTEST_PROP(IoNumber, ParseAgreesWithFromChars, (bool point, bool negativeExponent)) {
    std::string digits[2];
    for (std::string& d : digits)
        for (int n = *rc::gen::inRange(0, 26); n > 0; --n) d += static_cast<char>('0' + *rc::gen::inRange(0, 10));
    std::string number = digits[0] + (point || !digits[1].empty() ? "." : "") + digits[1];
    if (*rc::gen::inRange(0, 4) == 0) number += (negativeExponent ? "e-" : "E+") + std::to_string(*rc::gen::inRange(0, 400));
    const auto sign = *rc::gen::elementOf(std::vector<std::string>{"", "-", "+"}), blank = *rc::gen::elementOf(std::vector<std::string>{"", "", " ", "\t "});
    double parsed = 7, expected = 0;
    const ParseStatus status = ParseDouble(blank + sign + number + blank, parsed);
    RC_ASSERT(!(digits[0] + digits[1]).empty() || status == ParseStatus::TypeMismatch);
    RC_SUCCEED_IF((digits[0] + digits[1]).empty());
    if (std::from_chars(number.data(), number.data() + number.size(), expected).ec == std::errc::result_out_of_range) {
        RC_ASSERT(status == (negativeExponent ? ParseStatus::Ok : ParseStatus::Overflow));
        RC_SUCCEED_IF(!negativeExponent);
        expected = 0;
    }
    RC_ASSERT(status == ParseStatus::Ok);
    RC_ASSERT(std::bit_cast<uint64_t>(parsed) == std::bit_cast<uint64_t>(sign == "-" ? -expected : expected));
}

// Integers round half to even; forms that are not decimal numbers are refused.
TEST(IoNumber, IntegersAndRefusedShapes) {
    double d = 0;
    int32_t i = 0;
    for (const char* text : {"", "  ", "inf", "-Infinity", "nan", "0x1A", "1,5", ".", "1e", "1.2.3", "+-1", "1 2", "12abc", "-", "LINE"})
        EXPECT_TRUE(ParseDouble(text, d) == ParseStatus::TypeMismatch && ParseInt32(text, i) == ParseStatus::TypeMismatch) << text;
    for (const auto& [text, value] : {std::pair<const char*, int32_t>{"-2.5", -2}, {"-3.5", -4}, {" -2147483648", INT32_MIN},
                                      {"0000000000010", 10}, {"1e-400", 0}})
        EXPECT_TRUE(ParseInt32(text, i) == ParseStatus::Ok && i == value) << text;
    for (const char* text : {"2147483648", "2147483647.5", "-99999999999", "179769313486231570e291", "-1e400"})
        EXPECT_EQ(ParseInt32(text, i), ParseStatus::Overflow) << text;
}

TEST(UnicodeRead, ValueDecodingPerMode) {
    const struct { CodePage cp; TextConvertMode mode; int32_t code; std::string raw, expected; } cases[] = {
        // Bytes outside a valid sequence go through the code page one by one: truncated,
        // a trail byte as lead, overlong, surrogate, a bad trail byte, above U+10FFFF.
        {k1250, kUtf8, 1, "\xCE\x95\xF0\x9F\x98\x80", "Ε😀"}, {k1250, kUtf8, 1, "caf\xE9", "café"},
        {k1252, kUtf8, 1, "\xF5\x80|\x80", "õ€|€"},            {k1250, kUtf8, 1, "\xC0\xAF\xED\xA0\x80", "ŔŻí\u00A0€"},
        {k1250, kUtf8, 1, "\xE4\xB8z\xC3\xA9", "ä¸zé"},         {k1250, kUtf8, 1, "\xF5\x80\x80\x80", "ő€€€"},
        // The other modes; the repair of the eighteen letters, codes 0-9 only.
        // Auto: the first value above ASCII, valid UTF-8 or not, decides for the rest.
        {k1250, kNone, 8, "\xC3\xA9", "Ă©"},     {k1250, kAuto, 8, "\xC3\xA9", "é"},      {k1250, kRepair, 10, "\xC3\xA9", "Ă©"},
        {k1252, kAuto, 8, "caf\xE9 \xC3\xA9", "café Ã©"},
        {k1250, kRepair, 0, kRepaired, kRepaired}, {k1252, kRepair, 9, kRepaired, kRepaired}, {k1250, kRepair, 8, "x\xC3\xA4\xC3", "xĂ¤Ă"},
        // Escapes, in the codes of names and text only; a surrogate pair is one character.
        {k1250, kUtf8, 8, "A\\U+00E9B\\U+03bb", "AéBλ"}, {k1250, kUtf8, 1, "\\U+D83D\\U+DE00!", "😀!"},
        {k1250, kAuto, 2, "\xF5\\U+03BB", "őλ"},          {k1252, kAuto, 2, "\xF5\\U+0151", "õő"},
        {k1250, kUtf8, 3, "\xC3\xA9\\U+4E2D", "é中"},     {k1250, kUtf8, 300, "\\U+0041", "A"},
        {k1250, kUtf8, 1001, "\\U+0041", "A"},            {k1250, kUtf8, 10, "\\U+0041", "\\U+0041"},
        {k1250, kUtf8, 310, "\\U+0041", "\\U+0041"},      {k1250, kNone, 8, "\\U+00E9", "\\U+00E9"},
        // Left as text: a decoded backslash, lone or mismatched surrogates, malformed escapes, controls.
        {k1250, kUtf8, 1, "\\U+005CU+0041 \\U+D83Dx\\U+DE00 \\U+D83D\\U+D83D", "\\U+0041 \\U+D83Dx\\U+DE00 \\U+D83D\\U+D83D"},
        {k1250, kUtf8, 1, "\\U+D83D\\U+0041 \\U+12G4 \\U00E9 \\U+000A x\\U+12", "\\U+D83DA \\U+12G4 \\U00E9 \\U+000A x\\U+12"}};
    for (const auto& c : cases) {
        DXFReader r(c.cp);
        r.SetTextConvertMode(c.mode);
        r.OpenString(std::to_string(c.code) + "\r\n" + c.raw + "\r\n");
        EXPECT_EQ(r.Read().Value, c.expected) << "mode " << static_cast<int>(c.mode) << " code " << c.code << " raw " << c.raw;
    }
    DXFReader u;  // a pushed-back value is trimmed and upper-cased, not decoded again
    u.SetTextConvertMode(kUtf8);
    u.OpenString(Dxf("2  \\U+005CU+0041\\U+03bb\xC3\xA9 "));
    EXPECT_EQ(u.Read(false).Value, " \\U+0041λé ");
    u.UnRead();
    EXPECT_EQ(u.Read(true, true).Value, "\\U+0041ΛÉ");
}

TEST(UnicodeRead, AutoSwitchesOnTheHeaderOrTheFirstValueAboveAscii) {
    const std::pair<std::string, bool> cases[] = {
        {"9 $ACADVER\n1 AC1021", true}, {"9 $acadver\n1  AC1024 ", true}, {"9 $ACADVER\n1 AC1018", false}, {"9 $ACADVER\n2 AC1021", false},
        {"9 $ACADVER\n9 $INSBASE\n1 AC1021", false}, {"1 AC1021", false}, {"0 ENDSEC\n9 $ACADVER\n1 AC1021", false},
        {"9 $DWGCODEPAGE\n3 ANSI_65001", true}, {"9 $DWGCODEPAGE\n3 utf8", true}, {"9 $DWGCODEPAGE\n3 ANSI_1252", false},
        {"9 $DWGCODEPAGE\n3 ANSI_1252\n9 $PROJECTNAME\n1 \xC3\xA9", true}};
    for (const auto& [header, utf8] : cases) {
        DXFReader r;
        r.SetTextConvertMode(kAuto);
        r.OpenString(Dxf("0 SECTION\n2 HEADER\n" + header + "\n0 ENDSEC\n1 \xE9\n1 \xC3\xA9"));
        std::string last;
        while (!r.AtEnd()) last = r.Read().Value;
        EXPECT_TRUE(r.DecodesUtf8() == utf8 && last == (utf8 ? "é" : "Ă©")) << header;
    }
}

TEST(UnicodeWrite, EncodingPerSaveModeAndCaseMapping) {
    const struct { CodePage cp; SaveMode mode; bool utf8; std::string text, expected; } cases[] = {
        {k1250, SaveMode::Classic, false, "Árvíztűrő 中\xFF", "\xC1rv\xEDzt\xFBr\xF5 ??"}, {k1252, SaveMode::Classic, false, "Árvíztűrő", "\xC1rv\xEDzt?r?"},
        {k1252, SaveMode::Standard, false, "Árvíztűrő", "\xC1rv\xEDzt\\U+0171r\\U+0151"}, {k1250, SaveMode::Standard, true, "中文", "中文"},
        {k1250, SaveMode::Standard, false, "Ελ中😀x\xFFy", "\\U+0395\\U+03BB\\U+4E2D\\U+D83D\\U+DE00x?y"}};
    for (const auto& c : cases) {
        std::string out;
        DXFWriter w(c.cp);
        w.SetSaveMode(c.mode), w.SetUtf8Output(c.utf8), w.OpenString(&out);
        w.WriteString(1, c.text), w.WriteLine(c.text, true);
        EXPECT_EQ(out, "1\r\n" + c.expected + "\r\n" + c.expected + "\r\n") << c.text;
    }
    std::string out;  // the first value above ASCII of a single-byte page never reads as UTF-8
    DXFWriter w(k1252);
    w.SetSaveMode(SaveMode::Standard), w.OpenString(&out), w.WriteString(1, "Ã©"), w.WriteString(1, "Ã©");
    EXPECT_EQ(out, "1\r\n\\U+00C3\xA9\r\n1\r\n\xC3\xA9\r\n");
    EXPECT_EQ(UpperCase("line \xC5\x91z \xC3\xA9\xFF"), "LINE \xC5\x90Z \xC3\x89\xFF");  // malformed bytes kept
    EXPECT_EQ(LowerCase("\xC5\x90Z\xFF"), "\xC5\x91z\xFF");
    EXPECT_TRUE(EqualsNoCase("Layer\xC3\xA1", "LAYER\xC3\x81") && !EqualsNoCase("LAYER", "LAYERS"));
}

// Text for a message: whatever the bytes, printable valid UTF-8 of bounded
// length, and printable ASCII within the limit comes through unchanged.
RC_GTEST_PROP(Printable, EscapesControlsAndInvalidBytesAndCuts, (const std::string& text)) {
    const std::string out = Printable(text, 40);
    RC_ASSERT(IsValidUtf8(out));
    RC_ASSERT(out.size() <= 40 * 4 + 3);
    for (unsigned char c : out) RC_ASSERT(c >= 0x20 && c != 0x7F);
    const bool plain = text.size() <= 40 && std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
    if (plain) RC_ASSERT(out == text);
}
