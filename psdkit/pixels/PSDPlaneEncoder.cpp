#include "psdkit/pixels/PSDPlaneEncoder.h"

#include <cstring>

#include "psdkit/pixels/PSDDeflate.h"
#include "psdkit/pixels/PSDPackBits.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"

namespace psdkit {

unsigned long PSDPlaneEncoder::MaxRLELength(unsigned long width, unsigned long height, unsigned short channels,
                                            unsigned short depth) {
    unsigned long rowBytes = PSDPlaneDecoder::RowBytes(width, depth);
    if (rowBytes == 0 && width != 0) return 0;
    if (depth != 1 && depth != 8 && depth != 16 && depth != 32) return 0;
    unsigned long perRow = 2 + PSDPackBits::MaxEncodedLength(rowBytes);
    if (perRow < rowBytes || (channels != 0 && height > ~0UL / channels)) return 0;
    unsigned long rows = height * channels;
    if (rows != 0 && perRow > ~0UL / rows) return 0;
    return perRow * rows;
}

unsigned long PSDPlaneEncoder::EncodeRLE(const char* const* planes, unsigned short channels, unsigned long width,
                                         unsigned long height, unsigned short depth, char* out) {
    unsigned long rowBytes = PSDPlaneDecoder::RowBytes(width, depth);
    if (MaxRLELength(width, height, channels, depth) == 0) return 0;
    unsigned long rows = height * channels;
    unsigned char* table = reinterpret_cast<unsigned char*>(out);
    char* o = out + 2 * rows;
    for (unsigned long r = 0; r < rows; ++r) {
        const char* row = planes[r / height] + (r % height) * rowBytes;
        unsigned long written = PSDPackBits::EncodeRow(row, rowBytes, o);
        if (written > 0xFFFF) return 0;
        table[2 * r] = static_cast<unsigned char>(written >> 8);
        table[2 * r + 1] = static_cast<unsigned char>(written);
        o += written;
    }
    return static_cast<unsigned long>(o - out);
}

bool PSDPlaneEncoder::EncodeRLE(const char* const* planes, unsigned short channels, unsigned long width,
                                unsigned long height, unsigned short depth, std::vector<char>& out) {
    unsigned long bound = MaxRLELength(width, height, channels, depth);
    if (bound == 0) return false;
    out.resize(bound);
    unsigned long written = EncodeRLE(planes, channels, width, height, depth, out.data());
    out.resize(written);
    return written != 0;
}

bool PSDPlaneEncoder::EncodeZip(const char* const* planes, unsigned short channels, unsigned long width,
                                unsigned long height, unsigned short depth, bool prediction, std::vector<char>& out) {
    unsigned long planeLength = 0;
    if (!PSDPlaneDecoder::PlaneLength(width, height, depth, &planeLength)) return false;
    if (channels != 0 && planeLength > ~0UL / channels) return false;
    std::vector<char> joined(planeLength * channels);
    for (unsigned short c = 0; c < channels; ++c) std::memcpy(joined.data() + c * planeLength, planes[c], planeLength);
    if (prediction && !PSDDeflate::Predict(joined.data(), width, height * channels, depth)) return false;
    out.clear();
    return PSDDeflate::Deflate(joined.data(), joined.size(), out);
}

}  // namespace psdkit
