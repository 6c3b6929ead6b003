#ifndef PSDKIT_BENCH_BENCHSUPPORT_H
#define PSDKIT_BENCH_BENCHSUPPORT_H

// Shared pieces of the benchmarks: test images, scratch files, and a loop that
// runs a baseline and the library alternately and reports their ratio.

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace psdbench {

// Three planes of width x height bytes with some structure in them.
std::vector<char> MakePlanes(unsigned long width, unsigned long height);
// A path in the scratch directory ($PSDKIT_BENCH_DIR or /tmp).
std::string ScratchPath(const std::string& name);

// Runs `baseline` and `subject` in turn within each iteration, each first once
// untimed (so neither pays for the memory state the other left behind) and
// then `repeats` times timed. The iteration time is the subject's mean; the
// counter "ratio" is the subject's total time over the baseline's.
void RunAgainstBaseline(benchmark::State& state, const std::function<void()>& baseline,
                        const std::function<void()>& subject, int repeats = 3);

}  // namespace psdbench

#endif
