#ifndef PSDKIT_BENCH_BENCHSUPPORT_H
#define PSDKIT_BENCH_BENCHSUPPORT_H

// Shared pieces of the benchmarks: test images and scratch files.

#include <string>
#include <vector>

namespace psdbench {

// Three planes of width x height bytes with some structure in them.
std::vector<char> MakePlanes(unsigned long width, unsigned long height);
// A path in the scratch directory ($PSDKIT_BENCH_DIR or /tmp).
std::string ScratchPath(const std::string& name);

}  // namespace psdbench

#endif
