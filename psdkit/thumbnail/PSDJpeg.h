#ifndef PSDKIT_THUMBNAIL_PSDJPEG_H
#define PSDKIT_THUMBNAIL_PSDJPEG_H

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// Turns three planes of 8-bit samples into a JPEG stream in memory, scaled
// to a requested width by nearest-neighbour sampling. The object owns the
// finished stream; nothing else outlives a call.
class PSDKIT_API PSDJpeg {
public:
    // libjpeg refuses images wider or higher than this.
    static constexpr unsigned long MAX_DIMENSION = 65500;

    PSDJpeg();
    virtual ~PSDJpeg();

    // Encodes `planes` (red, green, blue, each width x height bytes, no gaps)
    // scaled to `targetWidth`. `comment`, when not null, goes into a COM
    // marker without its terminator. True when the new stream stands in the
    // buffer. On false nothing was printed, and width and height are as
    // before; the earlier stream survives every failure except one at the
    // last stage (the result buffer, or reading the stream back into it).
    bool CreateJpegFromRgbPlanes(const char* planes, unsigned long sourceWidth, unsigned long sourceHeight,
                                 unsigned long targetWidth, int quality, const char* comment);

    // Frees the buffer, then allocates one of `size` bytes. On failure the
    // buffer is null and the size 0.
    bool AllocateJpegImageBuffer(unsigned long size);
    void FreeJpegImageBuffer();

    // The stream, still owned by the object: valid until the next encoding
    // reaches its last stage, FreeJpegImageBuffer, or destruction.
    char* GetJpegImageBuffer() const { return JpegImageBuffer; }
    unsigned long GetJpegImageSize() const { return JpegImageSize; }
    unsigned long GetJpegImageWidth() const { return JpegImageWidth; }
    unsigned long GetJpegImageHeight() const { return JpegImageHeight; }

    // Kept for callers; the scanline layout is the same either way.
    void SetAlignWidthTo32Bits(bool align) { AlignWidthTo32Bits = align; }
    bool GetAlignWidthTo32Bits() const { return AlignWidthTo32Bits; }

    // The output size and scale the encoder uses for a source and target.
    // False when libjpeg could not take that size (0, or above MAX_DIMENSION).
    static bool CalculateOutputSize(unsigned long sourceWidth, unsigned long sourceHeight, unsigned long targetWidth,
                                    unsigned long* outputWidth, unsigned long* outputHeight, float* scale);

private:
    PSDJpeg(const PSDJpeg&) = delete;
    PSDJpeg& operator=(const PSDJpeg&) = delete;

    char* JpegImageBuffer;
    unsigned long JpegImageSize;
    unsigned long JpegImageWidth;
    unsigned long JpegImageHeight;
    bool AlignWidthTo32Bits;
};

}  // namespace psdkit

#endif
