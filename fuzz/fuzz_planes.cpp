// Fuzz target: one channel through PSDPlaneDecoder::DecodeChannel. Six bytes
// choose the form: compression (low two bits: raw, RLE, deflate, deflate with
// prediction), depth (1, 8, 16, 32 by the low two bits), width and height (16
// bits each, high byte first); the rest is the data. The input and the plane
// are held in buffers of exactly their size. Rows that decode from PackBits
// must encode within MaxEncodedLength and decode back the same.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "psdkit/pixels/PSDPackBits.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"

using psdkit::PSDPackBits;
using psdkit::PSDPlaneDecoder;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    if (size < 6) return 0;
    static const unsigned short depths[4] = {1, 8, 16, 32};
    unsigned short compression = data[0] & 3, depth = depths[data[1] & 3];
    unsigned long width = static_cast<unsigned long>(data[2]) << 8 | data[3];
    unsigned long height = static_cast<unsigned long>(data[4]) << 8 | data[5];
    std::vector<char> in(data + 6, data + size);
    unsigned long planeLength = 0;
    // What a caller must check before allocating.
    if (!PSDPlaneDecoder::PlaneLength(width, height, depth, &planeLength) || planeLength == 0 ||
        planeLength > (64UL << 20) || !PSDPlaneDecoder::CanProduce(compression, in.size(), planeLength))
        return 0;
    std::vector<char> plane(planeLength);
    std::vector<std::string> problems;
    bool ok = PSDPlaneDecoder::DecodeChannel(in.data(), in.size(), compression, width, height, depth, plane.data(),
                                             &problems);
    if (ok != problems.empty()) psdfuzz::Fail("a problem line exactly when false", ok, problems.size());
    psdfuzz::Touch(plane.data(), planeLength);  // filled either way
    if (compression != 1 || !ok) return 0;

    const unsigned long rowBytes = PSDPlaneDecoder::RowBytes(width, depth);
    std::vector<char> code(PSDPackBits::MaxEncodedLength(rowBytes)), back(rowBytes);
    for (unsigned long r = 0; r < height && r < 16; ++r) {
        const char* row = plane.data() + r * rowBytes;
        unsigned long written = PSDPackBits::EncodeRow(row, rowBytes, code.data());
        if (written > code.size()) psdfuzz::Fail("encoded row within its bound", code.size(), written);
        std::vector<char> exact(code.begin(), code.begin() + static_cast<long>(written));
        if (!PSDPackBits::DecodeRow(exact.data(), written, back.data(), rowBytes) ||
            std::memcmp(back.data(), row, rowBytes) != 0)
            psdfuzz::Fail("own code decodes to the same row", r, r + 1);
    }
    return 0;
}
