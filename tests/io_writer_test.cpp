// The group writer: the text of each kind of pair, its errors, and the file
// that replaces the target only when the output is closed.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

TEST(IoWriter, PairForms) {
    const struct {
        std::string written, expected;
    } cases[] = {
        {Written([](DXFWriter& w) { w.WriteDouble(10, 2); }), "10\r\n2.\r\n"},
        {Written([](DXFWriter& w) { w.WriteDouble(40, 1.826004); }), "40\r\n1.826004\r\n"},
        {Written([](DXFWriter& w) { w.WriteDouble(40, 1.0 / 3.0); }), "40\r\n0.333333333\r\n"},
        {Written([](DXFWriter& w) { w.WriteDouble(10, -0.0000000004); }), "10\r\n0.\r\n"},
        {Written([](DXFWriter& w) { w.WriteDouble(1040, -1e18); }), "1040\r\n-1000000000000000000.\r\n"},
        {Written([](DXFWriter& w) { w.WriteInteger(-5, -370); }), "-5\r\n-370\r\n"},
        {Written([](DXFWriter& w) { w.WriteHandle(5, 255); }), "5\r\nFF\r\n"},
        {Written([](DXFWriter& w) { w.WriteHandle(5, -1); }), "5\r\nFFFFFFFF\r\n"},
        {Written([](DXFWriter& w) { w.WriteString(1, "  text  "); }), "1\r\n  text  \r\n"},
        {Written([](DXFWriter& w) { w.WriteString(1, ""); }), "1\r\n\r\n"},
        {Written([](DXFWriter& w) { w.WriteString(2000, "\xC5\x91\xE2\x82\xAC\xE4\xB8\xAD"); }), "2000\r\n\xF5\x80?\r\n"},
        {Written([](DXFWriter& w) { w.WriteLine("a  ", true), w.WriteLine("b  ", false); }), "a\r\nb  \r\n"},
        {Written([](DXFWriter& w) { w.WritePoint(1, -2.5, 0, 11, 21, 31); }), "11\r\n1.\r\n21\r\n-2.5\r\n31\r\n0.\r\n"},
        {Written([](DXFWriter& w) { w.BeginSection(), w.WriteString(2, "HEADER"), w.EndSection(); }),
         "0\r\nSECTION\r\n2\r\nHEADER\r\n0\r\nENDSEC\r\n"},
        {DXFWriter::NumberFormat(9), "0.#########"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.written, c.expected);
}

TEST(IoWriter, Errors) {
    DXFWriter w;
    std::string out;
    w.OpenString(&out);
    for (double v : {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(), std::nan("")})
        EXPECT_EQ(ErrorNumberOf([&] { w.WriteDouble(10, v); }), err::Overflow);
    w.WriteString(0, "EOF");
    EXPECT_EQ(out, "0\r\nEOF\r\n");  // complete before the close; nothing of the refused values
    w.CloseOutput();
    w.CloseOutput();
    EXPECT_EQ(ErrorNumberOf([&] { w.WriteInteger(70, 1); }), err::BadFileNameOrNumber);
    EXPECT_EQ(ErrorNumberOf([&] { w.WriteHandle(5, 1); }), err::BadFileNameOrNumber);
    TempDir dir;
    const struct {
        std::string path;
        int32_t error;
    } opens[] = {{dir / "no-folder/out.dxf", err::PathNotFound},
                 {dir.path().string(), err::PathFileAccessError},
                 {dir / "new-folder/", err::BadFileNameOrNumber},
                 {"", err::BadFileNameOrNumber}};
    for (const auto& o : opens) {
        const Error e = Raised([&] { w.OpenOutput(o.path); });
        EXPECT_EQ(e.number(), o.error) << o.path;
        EXPECT_NE(std::string(e.what()).find(o.path), std::string::npos) << e.what();
    }
    EXPECT_EQ(ErrorNumberOf([&] { w.OpenString(nullptr); }), ErrInvalidArgument);
    EXPECT_FALSE(w.IsOpen());
    EXPECT_EQ(dir.entries(), 0u);
}

TEST(IoWriter, FileOutputReplacesTheTargetOnlyWhenClosed) {
    TempDir dir;
    const std::string target = dir / "out.dxf", old(5000, 'x');
    std::string expected;
    WriteFile(target, old);
    for (bool close : {false, true}) {
        EXPECT_EQ(dir.entries(), 1u);  // no temporary file left behind
        DXFWriter w;
        w.OpenOutput(target);
        // More than the write buffer, and one line longer than it.
        for (int i = 0; i < 200000; ++i) {
            w.WriteInteger(70, i);
            if (close) expected += "70\r\n" + std::to_string(i) + "\r\n";
        }
        const std::string longLine(3u << 20, 'L');
        w.WriteString(1, longLine);
        EXPECT_EQ(ReadFile(target), old);
        if (!close) continue;  // a writer that goes away unclosed leaves the old file
        w.CloseOutput();
        EXPECT_EQ(ReadFile(target), expected + "1\r\n" + longLine + "\r\n");
    }
    EXPECT_EQ(dir.entries(), 1u);
}
