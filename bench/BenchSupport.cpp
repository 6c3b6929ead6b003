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
                        const std::function<void()>& subject, int repeats) {
    using Clock = std::chrono::steady_clock;
    auto timed = [repeats](const std::function<void()>& body) {
        body();  // warm-up, untimed
        Clock::time_point start = Clock::now();
        for (int i = 0; i < repeats; ++i) body();
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    double baselineSeconds = 0, subjectSeconds = 0;
    for (auto _ : state) {
        baselineSeconds += timed(baseline);
        double s = timed(subject);
        subjectSeconds += s;
        state.SetIterationTime(s / repeats);
    }
    double calls = static_cast<double>(state.iterations()) * repeats;
    state.counters["baseline_ms"] = benchmark::Counter(baselineSeconds * 1e3 / calls);
    state.counters["ratio"] = baselineSeconds > 0 ? subjectSeconds / baselineSeconds : 0;
}

}  // namespace psdbench
