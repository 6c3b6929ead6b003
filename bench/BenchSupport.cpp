#include "BenchSupport.h"

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

}  // namespace psdbench
