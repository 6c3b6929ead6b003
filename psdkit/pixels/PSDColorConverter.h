#ifndef PSDKIT_PIXELS_PSDCOLORCONVERTER_H
#define PSDKIT_PIXELS_PSDCOLORCONVERTER_H

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// Planar samples of any PSD colour mode to interleaved sRGB, as a viewer shows
// them. Works on buffers only and knows nothing of documents, so the commit's
// thumbnail step, the CLI and the pixel decoder share it.
class PSDKIT_API PSDColorConverter {
public:
    // What is converted. Planes hold samples as stored in the file: 1-bit
    // rows packed (1 is black), 8 bits, 16 and 32 bits big-endian (32 bits are
    // linear-light floats). The colour planes come first, in the mode's order.
    struct Source {
        const char* const* Planes = nullptr;
        unsigned short NumPlanes = 0;
        unsigned long Width = 0;
        unsigned long Height = 0;
        unsigned short Depth = 8;
        unsigned short Mode = 3;  // PSDHeader::MODE_...
        // Indexed: the colour mode data (768 bytes, 256 reds, greens, blues).
        const char* ColorTable = nullptr;
        unsigned long ColorTableLength = 0;
        // The embedded ICC profile (resource 1039), or null.
        const char* Profile = nullptr;
        unsigned long ProfileLength = 0;
        // The plane holding transparency, or -1.
        int AlphaPlane = -1;
    };

    // Bytes of the interleaved result: width x height x (3 or 4) x depth / 8,
    // or 0 when that does not fit in an unsigned long.
    static unsigned long InterleavedLength(const Source& source, unsigned short depth, bool alpha);
    // Writes InterleavedLength bytes to `out`: RGB or RGBA at 8 or 16 bits
    // (16-bit samples in the machine's byte order). Alpha is written only when
    // asked and the source has an alpha plane (else 3 channels). False for a
    // depth other than 8 or 16, a source too small for its size or mode, or a
    // conversion that fails; `out` is then left undefined.
    static bool ToRGB(const Source& source, unsigned short depth, bool alpha, char* out);
    // The number of colour planes the mode uses (3 for RGB, 4 for CMYK, ...).
    static unsigned short ColorPlanes(unsigned short mode);
};

}  // namespace psdkit

#endif
