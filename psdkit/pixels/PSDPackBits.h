#ifndef PSDKIT_PIXELS_PSDPACKBITS_H
#define PSDKIT_PIXELS_PSDPACKBITS_H

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// The run-length code of the format, one row at a time: a header byte n, then
// n + 1 literal bytes for n of 0 to 127, or one byte repeated 1 - n times for
// n of -1 to -127; -128 is skipped.
class PSDKIT_API PSDPackBits {
public:
    // Decodes `length` input bytes into exactly `rowBytes` output bytes. False
    // when a literal or run would pass the end of the row or of the input, or
    // the input ends before the row is full; the bytes decoded so far stay and
    // nothing is written past the row. Input left once the row is full is
    // ignored.
    static bool DecodeRow(const char* in, unsigned long length, char* row, unsigned long rowBytes);

    // The most bytes EncodeRow writes for a row of `rowBytes`.
    static unsigned long MaxEncodedLength(unsigned long rowBytes) { return rowBytes + (rowBytes + 127) / 128; }
    // Encodes a row; returns the number of bytes written to `out`, which holds
    // at least MaxEncodedLength(rowBytes).
    static unsigned long EncodeRow(const char* row, unsigned long rowBytes, char* out);
};

}  // namespace psdkit

#endif
