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
// The call log of one save, each tag in quotes on a line of its own; the
// header writer's steps 3 to 8 only when the drawing has a version.
std::string SaveTrace(bool withVersion) {
    auto range = [](const std::string& op, int from, int to) {
        std::string tags;
        for (int i = from; i <= to; ++i) tags += op + " " + std::to_string(i) + "|";
        return tags;
    };
    const std::string tags = "DXFDocument.Save >>>|" + range("DXFDocument.Save", 1, 2) + "Header.WriteOut >>>|" + range("Header.WriteOut", 1, 2) +
                             (withVersion ? range("Header.WriteOut", 3, 8) : "") + "Header.WriteOut 9|Header.WriteOut <<<|" +
                             range("DXFDocument.Save", 3, 4) + "Tables.WriteOut >>>|" + range("Tables.WriteOut", 1, 2) + "Tables.WriteVport >>>|" +
                             range("Tables.WriteVport", 1, 16) + "Tables.WriteVport <<<|" + range("Tables.WriteOut", 3, 11) +
                             range("DXFDocument.Save", 5, 9) + "DXFDocument.Save <<<|";
    std::string trace;
    for (std::size_t at = 0, bar; (bar = tags.find('|', at)) != std::string::npos; at = bar + 1) trace += "\"" + tags.substr(at, bar - at) + "\"\r\n";
    return trace;
}
}  // namespace

// Each thread loads and saves its own drawing (a block whose hatch is read
// only in version mode 6 or more, two lines numbered by the thread) five
// times, with its own version mode and call log, while the others do theirs.
TEST(Threads, DocumentsAndSettingsOnDifferentThreadsAreIndependent) {
    TempDir dir;
    std::vector<std::string> problems(4);
    auto work = [&](int thread) {
        const std::string t = std::to_string(thread), in = dir / ("in" + t), out = dir / ("out" + t), log = dir / ("log" + t);
        const bool hatches = thread % 2 == 0, logging = thread < 2;
        WriteFile(in, Dxf("0 SECTION\n2 BLOCKS\n0 BLOCK\n2 B" + t + "\n0 HATCH\n8 0\n91 1\n92 2\n72 0\n73 1\n93 3\n10 0\n20 0\n10 1\n20 0\n"
                          "10 1\n20 1\n97 0\n98 0\n0 ENDBLK\n0 ENDSEC\n0 SECTION\n2 ENTITIES\n0 LINE\n8 L" + t + "\n10 " + t +
                          "\n20 0\n11 1\n21 1\n0 LINE\n8 L" + t + "\n10 2\n20 " + t + "\n11 1\n21 1\n0 ENDSEC\n0 EOF"));
        clsDebug debug;
        debug.sLogFileName(log);
        debug.bCallLog(logging);
        std::string trace;
        for (int round = 0; round < 5; ++round) {
            DXFDocument doc, again;
            doc.SetVersionMode(hatches ? 6 : 0);
            std::this_thread::yield();
            try {
                doc.Load(in);
                doc.HEADER()->SetAcadVer(thread == 1 ? 1015 : 0);
                doc.Save(out);
                again.Load(out);
                if (doc.VersionMode() != (hatches ? 6 : 0) || doc.BLOCKS()->Item(0).HATCHES->Count() != (hatches ? 1 : 0) ||
                    doc.ENTITIES()->LINES()->Item(1).StartY != thread || again.ENTITIES()->LINES()->Item(0).StartX != thread ||
                    again.BLOCKS()->FindByName("B" + t) < 0)
                    problems[thread] += "mixed up in round " + std::to_string(round) + "\n";
            } catch (const Error& e) {
                problems[thread] += std::string(e.what()) + "\n";
            }
            trace += logging ? SaveTrace(thread == 1) : "";
        }
        if ((std::filesystem::exists(log) ? ReadFile(log) : "") != trace) problems[thread] += "log";
    };
    const mode_t before = ::umask(022);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) threads.emplace_back(work, t);
    for (auto& th : threads) th.join();
    EXPECT_EQ(::umask(before), 022u);  // saving leaves the process's mask alone
    for (int t = 0; t < 4; ++t) EXPECT_EQ(problems[t], "") << "thread " << t;
    // A new thread starts from the initial settings, whatever this one set.
    DXFDocument doc;
    doc.SetVersionMode(7);
    CallLogScope on(dir / "log");
    std::thread([&] { EXPECT_TRUE(DXFDocument().VersionMode() == 0 && !CallLogOn() && CallLogFileName().empty()); }).join();
    EXPECT_TRUE(doc.VersionMode() == 7 && CallLogOn());
    doc.SetVersionMode(0);
}

// Large loads change how the heap grows from the first that starts to the
// last that ends; loads that start and end in every order on several
// threads must neither hang nor mix their models.
TEST(Threads, LargeLoadsOverlap) {
    TempDir dir;
    std::string body = "0\nSECTION\n2\nENTITIES\n";
    int lines = 0;
    for (; body.size() < (17u << 20); ++lines) body += "0\nLINE\n8\nL\n10\n" + std::to_string(lines) + ".5\n20\n1.25\n11\n2\n21\n3\n";
    WriteFile(dir / "big.dxf", body + "0\nENDSEC\n0\nEOF\n");
    std::vector<int> counts(4, -1);
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 2; ++round) {
                DXFDocument doc;
                doc.Load(dir / "big.dxf");
                counts[static_cast<std::size_t>(2 * t + round)] = doc.ENTITIES()->LINES()->Count();
                if (t == 1) std::this_thread::yield();
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(counts, std::vector<int>(4, lines));
}

// A line is the text in quotes, in the code page; a log that cannot be
// opened fails the save before the output is opened.
TEST(CallLog, LinesAndFailures) {
    TempDir dir;
    {
        CallLogScope on(dir / "log");
        WriteCallLog("a \"quoted\" \xC5\x91");
        EXPECT_EQ(ReadFile(dir / "log"), "\"a \"quoted\" \xF5\"\r\n");
    }
    for (const auto& [log, error] : {std::pair<std::string, int32_t>{"", err::BadFileNameOrNumber}, {dir / "no/log", err::PathNotFound}}) {
        CallLogScope on(log);
        EXPECT_EQ(Raised([&] { DXFDocument().Save(dir / "out.dxf"); }).number(), error);
    }
    EXPECT_EQ(dir.entries(), 1u);  // no output, only the first log
    DXFDocument().Save(dir / "out.dxf");  // the log off: no log
    EXPECT_EQ(dir.entries(), 2u);
}
