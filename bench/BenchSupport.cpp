#include "BenchSupport.h"

#include <chrono>
#include <cstdlib>

namespace psdbench {

std::vector<char> MakePlanes(unsigned long width, unsigned long height) {
    std::vector<char> planes(3 * width * height);
    unsigned long plane = width * height;
    for (unsigned long y = 0; y < height; ++y)
        for (unsigned long x = 0; x < width; ++x) {
            unsigned long i = y * width + x;
            planes[i] = static_cast<char>(x);
            planes[plane + i] = static_cast<char>(y);
            planes[2 * plane + i] = static_cast<char>(x ^ y);
        }
    return planes;
}

std::string ScratchPath(const std::string& name) {
    const char* dir = std::getenv("PSDKIT_BENCH_DIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/" + name;
}

void RunAgainstBaseline(benchmark::State& state, const std::function<void()>& baseline,
                        const std::function<void()>& subject) {
    using Clock = std::chrono::steady_clock;
    double baselineSeconds = 0, subjectSeconds = 0;
    for (auto _ : state) {
        Clock::time_point t0 = Clock::now();
        baseline();
        Clock::time_point t1 = Clock::now();
        subject();
        Clock::time_point t2 = Clock::now();
        double b = std::chrono::duration<double>(t1 - t0).count();
        double s = std::chrono::duration<double>(t2 - t1).count();
        baselineSeconds += b;
        subjectSeconds += s;
        state.SetIterationTime(s);
    }
    state.counters["baseline_ms"] = benchmark::Counter(baselineSeconds * 1e3 / static_cast<double>(state.iterations()));
    state.counters["ratio"] = baselineSeconds > 0 ? subjectSeconds / baselineSeconds : 0;
}

}  // namespace psdbench
