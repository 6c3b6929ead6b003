#ifndef PSDKIT_PIXELS_PSDPLANEDECODER_H
#define PSDKIT_PIXELS_PSDPLANEDECODER_H

#include <string>
#include <vector>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// Compressed image bytes to planes, for the composite (all channels in one
// block) and for one channel of a layer. Works on buffers and knows nothing of
// documents. Planes hold samples as stored: 1-bit rows packed, 16 and 32 bits
// big-endian.
//
// A row or channel that fails is filled with zeros, the call returns false and
// adds a line to `problems` (when given); the rest is decoded all the same.
class PSDKIT_API PSDPlaneDecoder {
public:
    // Bytes of one row, or 0 for a depth other than 1, 8, 16, 32 or a row
    // that does not fit in an unsigned long.
    static unsigned long RowBytes(unsigned long width, unsigned short depth);
    // Bytes of one plane; false for a bad depth or an overflow.
    static bool PlaneLength(unsigned long width, unsigned long height, unsigned short depth, unsigned long* length);
    // Whether `inputLength` bytes of the given compression can decode to
    // `outputLength` bytes at all: PackBits and raw give at most 64 bytes per
    // input byte, deflate about 1032. Checked before allocating.
    static bool CanProduce(unsigned short compression, unsigned long inputLength, unsigned long outputLength);

    // One channel of a layer: compression code, then the data (RLE: a row
    // byte-count table, then the rows). `plane` holds the plane length.
    static bool DecodeChannel(const char* data, unsigned long length, unsigned short compression, unsigned long width,
                              unsigned long height, unsigned short depth, char* plane,
                              std::vector<std::string>* problems = nullptr);
    // The composite image data behind its compression word: `channels` planes
    // one after the other (RLE: one byte-count table for all rows of all
    // channels first; deflate: one stream over all of them).
    static bool DecodeImage(const char* data, unsigned long length, unsigned short compression, unsigned long width,
                            unsigned long height, unsigned short channels, unsigned short depth, char* const* planes,
                            std::vector<std::string>* problems = nullptr);

    // Memory for planes: large blocks 2 MB-aligned and advised for huge pages,
    // since page faults on fresh memory cost more than decoding. Null when
    // it cannot be had. Content undefined.
    static char* AllocatePlaneMemory(unsigned long length);
    static void FreePlaneMemory(char* memory);
};

}  // namespace psdkit

#endif
