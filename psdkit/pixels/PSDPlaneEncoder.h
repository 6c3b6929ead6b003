#ifndef PSDKIT_PIXELS_PSDPLANEENCODER_H
#define PSDKIT_PIXELS_PSDPLANEENCODER_H

#include <vector>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// Planes to the compressed forms of the composite image data, ready for
// SetImageCompression plus SetImageData. Works on buffers only.
class PSDKIT_API PSDPlaneEncoder {
public:
    // The most bytes EncodeRLE writes, or 0 on overflow or a bad depth.
    static unsigned long MaxRLELength(unsigned long width, unsigned long height, unsigned short channels,
                                      unsigned short depth);
    // RLE: a byte count for every row of every channel, high byte first, then
    // the rows in the same order. `out` holds MaxRLELength bytes; returns the
    // bytes written, 0 when a row's code would not fit its 16-bit count or the
    // size is bad.
    static unsigned long EncodeRLE(const char* const* planes, unsigned short channels, unsigned long width,
                                   unsigned long height, unsigned short depth, char* out);
    // The same into a vector, which is resized to what was written.
    static bool EncodeRLE(const char* const* planes, unsigned short channels, unsigned long width, unsigned long height,
                          unsigned short depth, std::vector<char>& out);
    // Compression 2 (prediction false) or 3: one zlib stream over all planes.
    static bool EncodeZip(const char* const* planes, unsigned short channels, unsigned long width, unsigned long height,
                          unsigned short depth, bool prediction, std::vector<char>& out);
};

}  // namespace psdkit

#endif
