#ifndef PSDKIT_TOOLS_NETPBM_H
#define PSDKIT_TOOLS_NETPBM_H

#include <string>
#include <vector>

namespace psdkit {
namespace cli {

// A binary PPM (P6) or PGM (P5) image of 8-bit samples, split into planes.
struct NetpbmImage {
    unsigned long width = 0;
    unsigned long height = 0;
    unsigned channels = 0;          // 3 for PPM, 1 for PGM
    std::vector<std::vector<char>> planes;
};

// Reads the file; on failure returns false with a one-line reason in `error`.
bool ReadNetpbm(const std::string& path, NetpbmImage* image, std::string* error);

}  // namespace cli
}  // namespace psdkit

#endif
