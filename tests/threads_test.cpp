// Documents on different threads at the same time: the version mode and the
// call-log settings belong to each thread, and loads and saves on one thread
// see nothing of the others.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ormavec.h"

namespace fs = std::filesystem;
using namespace ormavec;

namespace {

std::string ReadAll(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::size_t CountOf(const std::string& text, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

// A block with one hatch (read only in version mode 6 or more) and lines in
// the model space, numbered by the thread so that mix-ups show.
std::string Drawing(int thread) {
    std::string t = std::to_string(thread);
    return "0\nSECTION\n2\nBLOCKS\n0\nBLOCK\n2\nB" + t +
           "\n0\nHATCH\n8\n0\n91\n1\n92\n2\n72\n0\n73\n1\n93\n3\n10\n0\n20\n0\n10\n1\n20\n0\n10\n1\n20\n1\n97\n0\n98\n0\n"
           "0\nENDBLK\n0\nENDSEC\n0\nSECTION\n2\nENTITIES\n"
           "0\nLINE\n8\nL" + t + "\n10\n" + t + "\n20\n0\n11\n1\n21\n1\n"
           "0\nLINE\n8\nL" + t + "\n10\n2\n20\n" + t + "\n11\n1\n21\n1\n"
           "0\nENDSEC\n0\nEOF\n";
}

TEST(Threads, DocumentsOnDifferentThreadsAreIndependent) {
    const fs::path dir = fs::temp_directory_path() / ("ormavec-threads-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    constexpr int kThreads = 4;
    constexpr int kRounds = 5;
    std::atomic<int> failures{0};
    std::vector<std::string> problems(kThreads);

    auto work = [&](int t) {
        const bool hatches = t % 2 == 0;
        const bool logging = t < 2;
        const fs::path in = dir / ("in" + std::to_string(t) + ".dxf");
        const fs::path out = dir / ("out" + std::to_string(t) + ".dxf");
        const fs::path log = dir / ("log" + std::to_string(t) + ".txt");
        std::ofstream(in, std::ios::binary) << Drawing(t);
        clsDebug debug;
        debug.sLogFileName(log.string());
        debug.bCallLog(logging);
        auto fail = [&](const std::string& what) {
            ++failures;
            problems[static_cast<std::size_t>(t)] += what + "\n";
        };
        for (int round = 0; round < kRounds; ++round) {
            DXFDocument doc;
            doc.SetVersionMode(hatches ? 6 : 0);
            // Let the other threads set their own modes in between.
            std::this_thread::yield();
            try {
                doc.Load(in.string());
                if (doc.VersionMode() != (hatches ? 6 : 0)) fail("version mode changed under the thread");
                if (doc.BLOCKS()->Count() != 1) fail("blocks: " + std::to_string(doc.BLOCKS()->Count()));
                else if (doc.BLOCKS()->Item(0).HATCHES->Count() != (hatches ? 1 : 0)) fail("hatches read by the wrong mode");
                if (doc.ENTITIES()->LINES()->Count() != 2 || doc.ENTITIES()->LINES()->Item(0).Layer != "L" + std::to_string(t) ||
                    doc.ENTITIES()->LINES()->Item(1).StartY != t)
                    fail("lines of another drawing");
                doc.Save(out.string());
                DXFDocument again;
                again.Load(out.string());
                if (again.ENTITIES()->LINES()->Count() != 2 || again.ENTITIES()->LINES()->Item(0).StartX != t)
                    fail("saved lines differ");
                if (again.BLOCKS()->FindByName("B" + std::to_string(t)) < 0) fail("saved block missing");
            } catch (const Error& e) {
                fail(e.what());
            }
        }
        const std::string logged = fs::exists(log) ? ReadAll(log) : std::string();
        if (logging && CountOf(logged, "DXFDocument.Save >>>") != kRounds) fail("log lines: " + logged.substr(0, 200));
        if (!logging && !logged.empty()) fail("a thread without the call log wrote one");
    };

    const mode_t before = ::umask(022);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(work, t);
    for (auto& th : threads) th.join();
    // Saving must not have changed the process's file creation mask.
    const mode_t after = ::umask(before);
    EXPECT_EQ(after, 022u);
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(problems[static_cast<std::size_t>(t)], "") << "thread " << t;
    EXPECT_EQ(failures.load(), 0);
    for (int t = 0; t < kThreads; ++t) {
        struct stat st {};
        ASSERT_EQ(::stat((dir / ("out" + std::to_string(t) + ".dxf")).c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0644u) << "thread " << t;
    }
    std::error_code ec;
    fs::remove_all(dir, ec);
}

// The settings of a new thread start from their initial values, whatever
// another thread set.
TEST(Threads, NewThreadStartsWithInitialSettings) {
    DXFDocument doc;
    doc.SetVersionMode(7);
    clsDebug debug;
    debug.bCallLog(true);
    int16_t seenMode = -1;
    bool seenLog = true;
    std::thread([&] {
        DXFDocument other;
        seenMode = other.VersionMode();
        seenLog = CallLogOn();
    }).join();
    EXPECT_EQ(seenMode, 0);
    EXPECT_FALSE(seenLog);
    EXPECT_EQ(doc.VersionMode(), 7);
    debug.bCallLog(false);
    doc.SetVersionMode(0);
}

}  // namespace
