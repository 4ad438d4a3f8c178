// Per-thread settings (the version mode, the call log) and documents loaded
// and saved on several threads at once; the call log's trace of a save.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>
#include <thread>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

// A block with one hatch (read only in version mode 6 or more) and two lines,
// numbered by the thread so that mix-ups show.
std::string Drawing(const std::string& t) {
    return Dxf("0 SECTION\n2 BLOCKS\n0 BLOCK\n2 B" + t +
               "\n0 HATCH\n8 0\n91 1\n92 2\n72 0\n73 1\n93 3\n10 0\n20 0\n10 1\n20 0\n10 1\n20 1\n97 0\n98 0\n0 ENDBLK\n0 ENDSEC\n"
               "0 SECTION\n2 ENTITIES\n0 LINE\n8 L" + t + "\n10 " + t + "\n20 0\n11 1\n21 1\n0 LINE\n8 L" + t + "\n10 2\n20 " + t +
               "\n11 1\n21 1\n0 ENDSEC\n0 EOF");
}

std::string Quoted(const std::vector<std::string>& tags) {
    std::string s;
    for (const std::string& t : tags) s += "\"" + t + "\"\r\n";
    return s;
}

}  // namespace

TEST(Threads, DocumentsAndSettingsOnDifferentThreadsAreIndependent) {
    TempDir dir;
    std::vector<std::string> problems(4);
    auto work = [&](int thread) {
        const std::string t = std::to_string(thread), in = dir / ("in" + t), out = dir / ("out" + t), log = dir / ("log" + t);
        const bool hatches = thread % 2 == 0, logging = thread < 2;
        WriteFile(in, Drawing(t));
        clsDebug debug;
        debug.sLogFileName(log);
        debug.bCallLog(logging);
        auto check = [&](bool ok, const std::string& what) { problems[thread] += ok ? "" : what + "\n"; };
        for (int round = 0; round < 5; ++round) {
            DXFDocument doc;
            doc.SetVersionMode(hatches ? 6 : 0);
            std::this_thread::yield();  // the other threads set their own modes meanwhile
            try {
                doc.Load(in);
                check(doc.VersionMode() == (hatches ? 6 : 0), "version mode changed under the thread");
                check(doc.BLOCKS()->Count() == 1 && doc.BLOCKS()->Item(0).HATCHES->Count() == (hatches ? 1 : 0), "blocks or hatches");
                check(doc.ENTITIES()->LINES()->Count() == 2 && doc.ENTITIES()->LINES()->Item(1).StartY == thread, "lines");
                doc.Save(out);
                DXFDocument again;
                again.Load(out);
                check(again.ENTITIES()->LINES()->Item(0).StartX == thread && again.BLOCKS()->FindByName("B" + t) >= 0, "saved");
            } catch (const Error& e) {
                check(false, e.what());
            }
        }
        const std::string logged = std::filesystem::exists(log) ? ReadFile(log) : "";
        std::size_t saves = 0;
        for (std::size_t at = logged.find("DXFDocument.Save >>>"); at != std::string::npos; at = logged.find("DXFDocument.Save >>>", at + 1)) ++saves;
        check(saves == (logging ? 5u : 0u), "log: " + logged.substr(0, 200));
    };
    const mode_t before = ::umask(022);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) threads.emplace_back(work, t);
    for (auto& th : threads) th.join();
    EXPECT_EQ(::umask(before), 022u);  // saving leaves the process's mask alone
    for (int t = 0; t < 4; ++t) {
        EXPECT_EQ(problems[t], "") << "thread " << t;
        struct stat st {};
        ASSERT_EQ(::stat((dir / ("out" + std::to_string(t))).c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0644u);
    }
    // A new thread starts from the initial settings, whatever this one set.
    DXFDocument doc;
    doc.SetVersionMode(7);
    CallLogScope on(dir / "log");
    std::thread([&] { EXPECT_TRUE(DXFDocument().VersionMode() == 0 && !CallLogOn() && CallLogFileName().empty()); }).join();
    EXPECT_TRUE(doc.VersionMode() == 7 && CallLogOn());
    doc.SetVersionMode(0);
}

// Each trace point appends its tag in quotes, the file in the code page; two
// saves append two traces; a log that cannot be opened fails the save first.
TEST(CallLog, SaveTraceAndFailures) {
    for (bool withVersion : {true, false}) {
        TempDir dir;
        CallLogScope on(dir / "log.txt");
        DXFDocument doc;
        doc.HEADER()->SetAcadVer(withVersion ? 1015 : 0);
        doc.Save(dir / "out.dxf");
        doc.Save(dir / "out.dxf");
        std::vector<std::string> tags = {"DXFDocument.Save >>>", "DXFDocument.Save 1", "DXFDocument.Save 2", "Header.WriteOut >>>"};
        for (int i = 1; i <= 9; ++i)
            if (withVersion || i < 3 || i > 8) tags.push_back("Header.WriteOut " + std::to_string(i));
        for (const char* t : {"Header.WriteOut <<<", "DXFDocument.Save 3", "DXFDocument.Save 4", "Tables.WriteOut >>>",
                              "Tables.WriteOut 1", "Tables.WriteOut 2", "Tables.WriteVport >>>"})
            tags.push_back(t);
        for (int i = 1; i <= 16; ++i) tags.push_back("Tables.WriteVport " + std::to_string(i));
        tags.push_back("Tables.WriteVport <<<");
        for (int i = 3; i <= 11; ++i) tags.push_back("Tables.WriteOut " + std::to_string(i));
        for (int i = 5; i <= 9; ++i) tags.push_back("DXFDocument.Save " + std::to_string(i));
        tags.push_back("DXFDocument.Save <<<");
        EXPECT_EQ(ReadFile(dir / "log.txt"), Quoted(tags) + Quoted(tags));
    }
    TempDir dir;
    {
        CallLogScope on(dir / "log.txt");
        WriteCallLog("a \"quoted\" \xC5\x91");
        EXPECT_EQ(ReadFile(dir / "log.txt"), "\"a \"quoted\" \xF5\"\r\n");
    }
    for (const auto& [log, error] : {std::pair<std::string, int32_t>{"", err::BadFileNameOrNumber}, {dir / "no/log", err::PathNotFound}}) {
        CallLogScope on(log);
        DXFDocument doc;
        EXPECT_EQ(Raised([&] { doc.Save(dir / "out.dxf"); }).number(), error);
    }
    EXPECT_EQ(dir.entries(), 1u);  // no output, only the first log
    DXFDocument doc;
    doc.Save(dir / "out.dxf");  // off: no log
    EXPECT_EQ(dir.entries(), 2u);
}
