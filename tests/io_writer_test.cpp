#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <string>

#include "document/save_context.h"
#include "io/error.h"
#include "io/writer.h"
#include "test_support.h"

namespace fs = std::filesystem;
using ormavec::DXFWriter;
using ormavec::Error;
using namespace ormavec::test;

namespace {

TEST(IoWriter, DoubleForms) {
    const struct {
        int32_t code;
        double value;
        const char* expected;
    } cases[] = {
        {10, 2, "10\r\n2.\r\n"},
        {40, 0.5, "40\r\n0.5\r\n"},
        {20, -3.25, "20\r\n-3.25\r\n"},
        {40, 1.826004, "40\r\n1.826004\r\n"},
        {40, 1.0 / 3.0, "40\r\n0.333333333\r\n"},
        {10, 0.0000000004, "10\r\n0.\r\n"},
        {10, -0.0000000004, "10\r\n0.\r\n"},
        {10, 1e-10, "10\r\n0.\r\n"},
        {10, 0, "10\r\n0.\r\n"},
        {10, 12345678901234.5, "10\r\n12345678901234.5\r\n"},
        {10, -1e18, "10\r\n-1000000000000000000.\r\n"},
        {1040, 1e-9, "1040\r\n0.000000001\r\n"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Written([&](DXFWriter& w) { w.WriteDouble(c.code, c.value); }), c.expected) << c.value;
}

TEST(IoWriter, IntegerAndHandleForms) {
    const struct {
        int32_t value;
        const char* integer;
        const char* handle;
    } cases[] = {
        {10, "70\r\n10\r\n", "5\r\nA\r\n"},
        {0, "70\r\n0\r\n", "5\r\n0\r\n"},
        {255, "70\r\n255\r\n", "5\r\nFF\r\n"},
        {4096, "70\r\n4096\r\n", "5\r\n1000\r\n"},
        {-1, "70\r\n-1\r\n", "5\r\nFFFFFFFF\r\n"},
        {INT32_MIN, "70\r\n-2147483648\r\n", "5\r\n80000000\r\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Written([&](DXFWriter& w) { w.WriteInteger(70, c.value); }), c.integer);
        EXPECT_EQ(Written([&](DXFWriter& w) { w.WriteHandle(5, c.value); }), c.handle);
    }
    EXPECT_EQ(Written([](DXFWriter& w) { w.WriteInteger(-5, 370); }), "-5\r\n370\r\n");
}

TEST(IoWriter, StringsAreWrittenUntouched) {
    EXPECT_EQ(Written([](DXFWriter& w) { w.WriteString(1, ""); }), "1\r\n\r\n");
    EXPECT_EQ(Written([](DXFWriter& w) { w.WriteString(1, "  text  "); }), "1\r\n  text  \r\n");
    // Model text is UTF-8; the file gets one byte per character.
    EXPECT_EQ(Written([](DXFWriter& w) { w.WriteString(8, "\xC5\x91r"); }), "8\r\n\xF5r\r\n");
    // A character the code page lacks becomes '?'.
    EXPECT_EQ(Written([](DXFWriter& w) { w.WriteString(1, "\xE2\x82\xAC\xE4\xB8\xAD"); }), "1\r\n\x80?\r\n");
}

TEST(IoWriter, WriteLineTrimsOnlyOnRequest) {
    EXPECT_EQ(Written([](DXFWriter& w) {
                  w.WriteLine("a  ", true);
                  w.WriteLine("b  ", false);
              }),
              "a\r\nb  \r\n");
}

TEST(IoWriter, SectionsAndPoints) {
    EXPECT_EQ(Written([](DXFWriter& w) {
                  w.BeginSection();
                  w.WriteString(2, "HEADER");
                  w.EndSection();
              }),
              "0\r\nSECTION\r\n2\r\nHEADER\r\n0\r\nENDSEC\r\n");
    EXPECT_EQ(Written([](DXFWriter& w) { w.WritePoint(1, -2.5, 0, 11, 21, 31); }),
              "11\r\n1.\r\n21\r\n-2.5\r\n31\r\n0.\r\n");
    EXPECT_EQ(DXFWriter::NumberFormat(9), "0.#########");
}

TEST(IoWriter, StringOutputIsCompleteBeforeClose) {
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    w.WriteString(0, "LINE");
    EXPECT_EQ(out, "0\r\nLINE\r\n");
}

TEST(IoWriter, NonFiniteDoublesRaise) {
    for (double v : {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                     std::numeric_limits<double>::quiet_NaN()}) {
        std::string out;
        DXFWriter w;
        w.OpenString(&out);
        EXPECT_EQ(ErrorNumberOf([&] { w.WriteDouble(10, v); }), ormavec::err::Overflow);
        EXPECT_EQ(out, "");  // not even the code line
    }
}

TEST(IoWriter, WritingWithNoOutputRaises52) {
    DXFWriter w;
    const int32_t bad = ormavec::err::BadFileNameOrNumber;
    EXPECT_EQ(ErrorNumberOf([&] { w.WriteString(0, "EOF"); }), bad);
    EXPECT_EQ(ErrorNumberOf([&] { w.WriteInteger(70, 1); }), bad);
    EXPECT_EQ(ErrorNumberOf([&] { w.WriteDouble(10, 1); }), bad);
    EXPECT_EQ(ErrorNumberOf([&] { w.WriteHandle(5, 1); }), bad);
    std::string out;
    w.OpenString(&out);
    w.CloseOutput();
    EXPECT_EQ(ErrorNumberOf([&] { w.EndSection(); }), bad);
    w.CloseOutput();  // closing twice does nothing
}

TEST(IoWriter, NextHandleCountsAndOverflows) {
    int32_t counter = 0;
    EXPECT_EQ(ormavec::NextHandle(counter), 1);
    EXPECT_EQ(counter, 1);
    counter = INT32_MAX;
    EXPECT_EQ(ErrorNumberOf([&] { ormavec::NextHandle(counter); }), ormavec::err::Overflow);
}

TEST(IoWriter, FileOutputReplacesTheTargetOnClose) {
    TempDir dir;
    fs::path target = dir / "out.dxf";
    WriteFile(target, std::string(5000, 'x'));
    DXFWriter w;
    w.OpenOutput(target.string());
    w.WriteString(0, "EOF");
    EXPECT_EQ(ReadFile(target), std::string(5000, 'x'));  // old content until closed
    w.CloseOutput();
    EXPECT_EQ(ReadFile(target), "0\r\nEOF\r\n");
    EXPECT_EQ(dir.entries(), 1u);
}

TEST(IoWriter, FileOutputCreatesAMissingFileAndHandlesLargeOutput) {
    TempDir dir;
    fs::path target = dir / "big.dxf";
    std::string expected;
    {
        DXFWriter w;
        w.OpenOutput(target.string());
        // More than the write buffer, and one line longer than it.
        for (int i = 0; i < 200000; ++i) {
            w.WriteInteger(70, i);
            expected += "70\r\n" + std::to_string(i) + "\r\n";
        }
        std::string longLine(3u << 20, 'L');
        w.WriteString(1, longLine);
        expected += "1\r\n" + longLine + "\r\n";
        w.CloseOutput();
    }
    EXPECT_EQ(ReadFile(target), expected);
}

TEST(IoWriter, AnAbandonedOutputLeavesTheOldFileAndNoTemporary) {
    TempDir dir;
    fs::path target = dir / "keep.dxf";
    const std::string old = "0\r\nSECTION\r\n2\r\nHEADER\r\n0\r\nENDSEC\r\n0\r\nEOF\r\n";
    WriteFile(target, old);
    {
        DXFWriter w;
        w.OpenOutput(target.string());
        for (int i = 0; i < 300000; ++i) w.WriteString(0, "LINE");  // past the buffer: really on disk
        EXPECT_THROW(w.WriteDouble(10, std::nan("")), Error);
    }  // the writer goes away without CloseOutput, as when an error leaves a save
    EXPECT_EQ(ReadFile(target), old);
    EXPECT_EQ(dir.entries(), 1u);
}

TEST(IoWriter, OpenOutputFailsForAMissingFolderOrAFolder) {
    TempDir dir;
    DXFWriter w;
    Error err(0, "", "");
    try {
        w.OpenOutput((dir.path() / "no-such-folder" / "out.dxf").string());
        FAIL() << "no error";
    } catch (const Error& e) {
        err = e;
    }
    EXPECT_EQ(err.number(), ormavec::err::PathNotFound);
    EXPECT_NE(std::string(err.what()).find("out.dxf"), std::string::npos);
    EXPECT_NE(ErrorNumberOf([&] { w.OpenOutput(dir.path().string()); }), 0);
    EXPECT_EQ(ErrorNumberOf([&] { w.OpenOutput(""); }), ormavec::err::BadFileNameOrNumber);
    EXPECT_EQ(ErrorNumberOf([&] { w.OpenOutput(dir.path().string() + "/"); }), ormavec::err::PathFileAccessError);
    EXPECT_EQ(ErrorNumberOf([&] { w.OpenOutput(dir / "new-folder/"); }), ormavec::err::BadFileNameOrNumber);
    EXPECT_EQ(ErrorNumberOf([&] { w.OpenString(nullptr); }), ormavec::ErrInvalidArgument);
    EXPECT_FALSE(w.IsOpen());
    EXPECT_EQ(dir.entries(), 0u);
}

}  // namespace
