// The thumbnail's cost follows its output, not its source: creating the
// 112-pixel thumbnail of an 8000 x 6000 image may take at most twice as long
// as that of an 800 x 600 image. Both are timed in the same run, turn about.

#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "BenchSupport.h"
#include "psdkit/thumbnail/PSDThumbnailRB.h"

namespace {

const unsigned long THUMBNAIL_WIDTH = 112;

// Seconds to create one thumbnail; negative when the creation failed.
double TimeThumbnail(const std::vector<char>& planes, unsigned long width, unsigned long height) {
    auto start = std::chrono::steady_clock::now();
    psdkit::PSDThumbnailRB block;
    bool ok = block.CreateThumbnailFromData(THUMBNAIL_WIDTH, width, height, planes.data());
    benchmark::DoNotOptimize(block.GetData());
    auto end = std::chrono::steady_clock::now();
    return ok ? std::chrono::duration<double>(end - start).count() : -1.0;
}

void BM_ThumbnailLargeAgainstSmallSource(benchmark::State& state) {
    static const std::vector<char> small = psdbench::MakePlanes(800, 600);
    static const std::vector<char> large = psdbench::MakePlanes(8000, 6000);
    double smallSeconds = 0;
    double largeSeconds = 0;
    bool largeFirst = false;
    for (auto _ : state) {
        // Alternating the order keeps caches and clocks from favouring one.
        double a = 0, b = 0;
        if (largeFirst) {
            b = TimeThumbnail(large, 8000, 6000);
            a = TimeThumbnail(small, 800, 600);
        } else {
            a = TimeThumbnail(small, 800, 600);
            b = TimeThumbnail(large, 8000, 6000);
        }
        largeFirst = !largeFirst;
        if (a < 0 || b < 0) {
            state.SkipWithError("CreateThumbnailFromData failed");
            break;
        }
        smallSeconds += a;
        largeSeconds += b;
    }
    if (smallSeconds > 0) {
        const double n = static_cast<double>(state.iterations());
        state.counters["small_us"] = benchmark::Counter(1e6 * smallSeconds / n);
        state.counters["large_us"] = benchmark::Counter(1e6 * largeSeconds / n);
        // At most 2 is the goal.
        state.counters["ratio"] = benchmark::Counter(largeSeconds / smallSeconds);
    }
}

}  // namespace

BENCHMARK(BM_ThumbnailLargeAgainstSmallSource)->Unit(benchmark::kMicrosecond)->MinTime(2.0);
