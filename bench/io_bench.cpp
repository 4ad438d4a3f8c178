// Raw speed of the group reader and writer, in bytes per second.
#include <benchmark/benchmark.h>

#include <string>

#include "io/reader.h"
#include "document/save_context.h"
#include "io/writer.h"

namespace {

// A drawing of LINE entities with right-aligned group codes, as one program
// writes them, of at least the given size.
std::string lineDrawing(std::size_t bytes) {
    std::string s = "  0\r\nSECTION\r\n  2\r\nENTITIES\r\n";
    for (int i = 0; s.size() < bytes; ++i) {
        const std::string n = std::to_string(i);
        s += "  0\r\nLINE\r\n  5\r\n" + std::to_string(100 + i) + "\r\n  8\r\nWALLS\r\n 62\r\n     7\r\n";
        s += " 10\r\n" + n + ".25\r\n 20\r\n-" + n + ".5\r\n 30\r\n0.0\r\n";
        s += " 11\r\n" + n + ".123456789\r\n 21\r\n1" + n + ".0\r\n 31\r\n0.0\r\n";
    }
    s += "  0\r\nENDSEC\r\n  0\r\nEOF\r\n";
    return s;
}

void BM_ReaderRead(benchmark::State& state) {
    const std::string drawing = lineDrawing(static_cast<std::size_t>(state.range(0)) << 20);
    int64_t pairs = 0;
    for (auto _ : state) {
        ormavec::DXFReader r;
        r.OpenString(drawing);
        while (!r.AtEnd()) {
            const ormavec::DXFReader::Pair& p = r.Read();
            benchmark::DoNotOptimize(p.Value.data());
            ++pairs;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(drawing.size()));
    state.counters["pairs"] = benchmark::Counter(static_cast<double>(pairs), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_ReaderRead)->Arg(4)->Unit(benchmark::kMillisecond);

void BM_ReaderReadEntry(benchmark::State& state) {
    const std::string drawing = lineDrawing(4u << 20);
    for (auto _ : state) {
        ormavec::DXFReader r;
        r.OpenString(drawing);
        while (!r.AtEnd()) benchmark::DoNotOptimize(r.ReadEntry(true, false));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(drawing.size()));
}
BENCHMARK(BM_ReaderReadEntry)->Unit(benchmark::kMillisecond);

// The pairs of one LINE entity, 100,000 times, into memory.
void BM_WriterLines(benchmark::State& state) {
    std::string out;
    std::size_t bytes = 0;
    for (auto _ : state) {
        ormavec::DXFWriter w;
        w.OpenString(&out);
        int32_t handle = 0;
        for (int i = 0; i < 100000; ++i) {
            w.WriteString(0, "LINE");
            w.WriteHandle(5, ormavec::NextHandle(handle));
            w.WriteString(100, "AcDbEntity");
            w.WriteString(8, "WALLS");
            w.WriteInteger(62, 7);
            w.WriteString(100, "AcDbLine");
            w.WritePoint(i * 0.25, -i * 1.5, 0, 10, 20, 30);
            w.WritePoint(i / 3.0, 1e6 + i, 0, 11, 21, 31);
        }
        w.CloseOutput();
        bytes += out.size();
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_WriterLines)->Unit(benchmark::kMillisecond);

}  // namespace


