#ifndef PSDKIT_PIXELS_PSDDEFLATE_H
#define PSDKIT_PIXELS_PSDDEFLATE_H

#include <vector>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// The zlib streams of compression codes 2 and 3, and the row prediction of
// code 3. Whole buffers only: the decoded size is always known beforehand.
class PSDKIT_API PSDDeflate {
public:
    // The most one input byte can inflate to; a plane larger than the input
    // times this cannot come from it.
    static constexpr unsigned long MAX_RATIO = 1032;

    // Inflates a zlib stream into exactly `outLength` bytes. False when the
    // stream is damaged or inflates to more or fewer bytes; `out` is then
    // undefined. Never writes past `outLength`.
    static bool Inflate(const char* in, unsigned long length, char* out, unsigned long outLength);
    // A zlib stream of `length` bytes appended to `out`. False when the
    // compressor fails.
    static bool Deflate(const char* in, unsigned long length, std::vector<char>& out, int level = 6);

    // Undoes the prediction in place over `rows` rows of `width` samples of
    // `depth` bits (1 and 8: bytes; 16: big-endian words; 32: the row's bytes
    // as four planes, most significant first, delta-coded as one run). False
    // for another depth.
    static bool Unpredict(char* data, unsigned long width, unsigned long rows, unsigned short depth);
    // The inverse of Unpredict.
    static bool Predict(char* data, unsigned long width, unsigned long rows, unsigned short depth);
};

}  // namespace psdkit

#endif
