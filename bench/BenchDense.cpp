// Files densely packed with small valid objects (tests/support/DenseFiles.h).
// Reading one must take time in proportion to its size and keep memory within
// twice its size and a megabyte: the figures per MB, and the ratio to a plain
// read of the same bytes into a fresh buffer, stay flat from 1 to 100 MB.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "psdkit/psdkit.h"
#include "tests/support/DenseFiles.h"

namespace {

std::string DenseFile(int kind, unsigned long megabytes, std::size_t* size) {
    const std::string file = psddense::File(kind, megabytes << 20);
    *size = file.size();
    std::string path =
        psdbench::ScratchPath("psdkit-bench-dense-" + std::to_string(kind) + "-" + std::to_string(megabytes) + ".psd");
    std::ofstream(path, std::ios_base::binary | std::ios_base::trunc).write(file.data(), file.size());
    return path;
}

void BM_ReadDenseFile(benchmark::State& state) {
    const int kind = static_cast<int>(state.range(0));
    const unsigned long megabytes = static_cast<unsigned long>(state.range(1));
    std::size_t size = 0;
    const std::string path = DenseFile(kind, megabytes, &size);
    std::size_t kept = 0;
    psdbench::RunAgainstBaseline(
        state,
        [&] {
            std::ifstream in(path, std::ios_base::binary);
            std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            benchmark::DoNotOptimize(bytes.data());
        },
        [&] {
            std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
            psdkit::PhotoshopFile document;
            document.OpenReadFile(path.c_str());
            std::size_t after = mallinfo2().uordblks + mallinfo2().hblkhd;
            kept = after > before ? after - before : 0;
        },
        1);
    // Per byte of the file as written: layer records stop at the 16-bit count.
    state.SetLabel(psddense::KindName(kind));
    state.counters["file_MB"] = static_cast<double>(size) / (1 << 20);
    state.counters["kept_bytes_per_file_byte"] = static_cast<double>(kept) / static_cast<double>(size);
    state.counters["s_per_MB"] =
        benchmark::Counter(static_cast<double>(size) / (1 << 20),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK(BM_ReadDenseFile)
    ->ArgsProduct({{0, 1, 2, 3}, {1, 10, 100}})
    ->ArgNames({"kind", "MB"})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(2);
