// Fuzz target: one channel through the deflate path. Six bytes choose the
// form: compression (low bit: 2 or 3), depth (1, 8, 16, 32 by the low two
// bits), width and height (16 bits each, high byte first); the rest is the
// stream. The plane is held in a buffer of exactly its size.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    if (size < 6) return 0;
    static const unsigned short depths[4] = {1, 8, 16, 32};
    unsigned short compression = (data[0] & 1) ? 3 : 2;
    unsigned short depth = depths[data[1] & 3];
    unsigned long width = static_cast<unsigned long>(data[2]) << 8 | data[3];
    unsigned long height = static_cast<unsigned long>(data[4]) << 8 | data[5];
    std::vector<char> in(data + 6, data + size);
    unsigned long planeLength = 0;
    if (!psdkit::PSDPlaneDecoder::PlaneLength(width, height, depth, &planeLength)) return 0;
    // What a caller must check before allocating.
    if (planeLength > (64UL << 20) || !psdkit::PSDPlaneDecoder::CanProduce(compression, in.size(), planeLength))
        return 0;
    std::unique_ptr<char[]> plane(new char[planeLength == 0 ? 1 : planeLength]);
    std::vector<std::string> problems;
    bool ok = psdkit::PSDPlaneDecoder::DecodeChannel(in.data(), in.size(), compression, width, height, depth,
                                                     plane.get(), &problems);
    if (ok != problems.empty()) psdfuzz::Fail("a problem line exactly when false", ok, problems.size());
    psdfuzz::Touch(plane.get(), planeLength);  // filled either way
    return 0;
}
