#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

namespace fs = std::filesystem;
using ormavec::clsDebug;
using ormavec::DXFDocument;
using ormavec::Error;
using namespace ormavec::test;

namespace {

// The log's lines as written: each in quotation marks, CR LF after it.
std::string logLines(const std::vector<std::string>& tags) {
    std::string s;
    for (const std::string& t : tags) s += "\"" + t + "\"\r\n";
    return s;
}

std::vector<std::string> numbered(const std::string& op, int from, int to) {
    std::vector<std::string> out;
    for (int i = from; i <= to; ++i) out.push_back(op + " " + std::to_string(i));
    return out;
}

std::vector<std::string> headerTags(bool withVersion) {
    std::vector<std::string> t = {"Header.WriteOut >>>", "Header.WriteOut 1", "Header.WriteOut 2"};
    if (withVersion)
        for (const std::string& s : numbered("Header.WriteOut", 3, 8)) t.push_back(s);
    t.push_back("Header.WriteOut 9");
    t.push_back("Header.WriteOut <<<");
    return t;
}

// The trace of a save up to the TABLES section.
std::vector<std::string> traceUpToTables(bool withVersion) {
    std::vector<std::string> t = {"DXFDocument.Save >>>", "DXFDocument.Save 1", "DXFDocument.Save 2"};
    for (const std::string& s : headerTags(withVersion)) t.push_back(s);
    t.push_back("DXFDocument.Save 3");
    t.push_back("DXFDocument.Save 4");
    return t;
}

std::vector<std::string> fullTrace(bool withVersion) {
    std::vector<std::string> t = traceUpToTables(withVersion);
    t.push_back("Tables.WriteOut >>>");
    t.push_back("Tables.WriteOut 1");
    t.push_back("Tables.WriteOut 2");
    t.push_back("Tables.WriteVport >>>");
    for (const std::string& s : numbered("Tables.WriteVport", 1, 16)) t.push_back(s);
    t.push_back("Tables.WriteVport <<<");
    for (const std::string& s : numbered("Tables.WriteOut", 3, 11)) t.push_back(s);
    for (const std::string& s : numbered("DXFDocument.Save", 5, 9)) t.push_back(s);
    t.push_back("DXFDocument.Save <<<");
    return t;
}

void saveIgnoringErrors(DXFDocument& doc, const std::string& file) {
    try {
        doc.Save(file);
    } catch (const Error&) {
    }
}

TEST(CallLog, OffByDefault) {
    TempDir dir;
    std::thread([&] {
        EXPECT_FALSE(ormavec::CallLogOn());
        clsDebug d;
        d.sLogFileName(dir / "log.txt");
        DXFDocument doc;
        saveIgnoringErrors(doc, dir / "out.dxf");
    }).join();
    EXPECT_FALSE(fs::exists(dir / "log.txt"));
}

TEST(CallLog, WriteCallLogAppendsQuotedLines) {
    TempDir dir;
    CallLogScope on(dir / "log.txt");
    ormavec::WriteCallLog("DXFDocument.Save >>>");
    const std::string first = ReadFile(dir / "log.txt");
    EXPECT_EQ(first.size(), 22u + 2u);
    EXPECT_EQ(first, "\"DXFDocument.Save >>>\"\r\n");
    ormavec::WriteCallLog("a \"quoted\" \xC5\x91");
    EXPECT_EQ(ReadFile(dir / "log.txt"), first + "\"a \"quoted\" \xF5\"\r\n");
}

TEST(CallLog, SaveTracesUpToTheTablesInOrder) {
    // Holds whether or not the later sections are written: the trace starts this way.
    for (bool withVersion : {true, false}) {
        TempDir dir;
        CallLogScope on(dir / "log.txt");
        DXFDocument doc;
        doc.HEADER()->SetAcadVer(withVersion ? 1015 : 0);
        saveIgnoringErrors(doc, dir / "out.dxf");
        const std::string expected = logLines(traceUpToTables(withVersion));
        EXPECT_EQ(ReadFile(dir / "log.txt").substr(0, expected.size()), expected);
        EXPECT_EQ(headerTags(withVersion).size(), withVersion ? 11u : 5u);
    }
}

TEST(CallLog, TwoSavesAppendTwoTraces) {
    TempDir dir;
    CallLogScope on(dir / "log.txt");
    DXFDocument doc;
    doc.HEADER()->SetAcadVer(1018);
    saveIgnoringErrors(doc, dir / "out.dxf");
    const std::string once = ReadFile(dir / "log.txt");
    saveIgnoringErrors(doc, dir / "out.dxf");
    EXPECT_EQ(ReadFile(dir / "log.txt"), once + once);
}

TEST(CallLog, EmptyFileNameFailsTheSaveBeforeTheOutputIsOpened) {
    TempDir dir;
    CallLogScope on("");
    DXFDocument doc;
    try {
        doc.Save(dir / "out.dxf");
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), ormavec::err::BadFileNameOrNumber);
    }
    EXPECT_FALSE(fs::exists(dir / "out.dxf"));
    EXPECT_TRUE(fs::is_empty(fs::path(dir / "")));
    EXPECT_EQ(doc.FileName(), "");
}

TEST(CallLog, LogInAMissingFolderFailsTheSave) {
    TempDir dir;
    CallLogScope on(dir / "no-folder/log.txt");
    DXFDocument doc;
    EXPECT_THROW(doc.Save(dir / "out.dxf"), Error);
    EXPECT_FALSE(fs::exists(dir / "out.dxf"));
}

TEST(CallLog, SettingsBelongToTheThread) {
    TempDir dir;
    CallLogScope on(dir / "log.txt");
    {
        clsDebug released;  // the setting outlives the object that made it
        released.bCallLog(true);
    }
    EXPECT_TRUE(ormavec::CallLogOn());
    std::thread([&] {
        EXPECT_FALSE(ormavec::CallLogOn());
        EXPECT_EQ(ormavec::CallLogFileName(), "");
        DXFDocument doc;
        saveIgnoringErrors(doc, dir / "out.dxf");
    }).join();
    EXPECT_FALSE(fs::exists(dir / "log.txt"));
}

// Needs the TABLES, BLOCKS and ENTITIES writers.
TEST(CallLog, FullSaveTrace) {
    for (bool withVersion : {true, false}) {
        TempDir dir;
        CallLogScope on(dir / "log.txt");
        DXFDocument doc;
        doc.HEADER()->SetAcadVer(withVersion ? 1015 : 0);
        doc.Save(dir / "out.dxf");
        EXPECT_EQ(ReadFile(dir / "log.txt"), logLines(fullTrace(withVersion)));
        doc.Save(dir / "out.dxf");
        EXPECT_EQ(ReadFile(dir / "log.txt"), logLines(fullTrace(withVersion)) + logLines(fullTrace(withVersion)));
    }
}

}  // namespace
