#ifndef PSDKIT_THUMBNAIL_PSDTHUMBNAILRB_H
#define PSDKIT_THUMBNAIL_PSDTHUMBNAILRB_H

#include "psdkit/core/PSDExport.h"
#include "psdkit/resources/PSDResourceBlock.h"
#include "psdkit/thumbnail/PSDJpeg.h"

namespace psdkit {

// Bytes of the thumbnail header in front of the image stream.
const unsigned long BASE_TN_RESOURCE_SIZE = 28;
// JPEG quality of a created thumbnail.
const int JPEG_THUMBNAIL_QUALITY = 100;
// Comment written into a created thumbnail's JPEG stream.
PSDKIT_API extern char* JPEG_THUMBNAIL_DESCRIPTION;

PSDKIT_API extern char* FORMAT_RAW_RGB_STR;
PSDKIT_API extern char* FORMAT_JPEG_STR;
PSDKIT_API extern char* FORMAT_INVALID_STR;

// Row bytes of a 24-bit image `width` pixels wide, padded to a multiple of 4.
PSDKIT_API unsigned long CalculatePaddedWidth(unsigned long width);

// Image resource 1036: a small preview of the document behind a 28-byte
// header. Read from a file, Data points into the block's own data block;
// created from planes, it points at the stream of the embedded encoder.
//
// A block read from a file whose data block is shorter than the header, or
// whose stream runs past the block, keeps its bytes as read: its GetData()
// is null, and it is written back unchanged.
class PSDKIT_API PSDThumbnailRB : public PSDResourceBlock {
public:
    static constexpr unsigned short FORMAT_RAW_RGB = 0;
    static constexpr unsigned short FORMAT_JPEG = 1;

    PSDThumbnailRB();
    ~PSDThumbnailRB() override;

    void InitObject();

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    // Scales the planes (red, green, blue, each sourceWidth x sourceHeight
    // bytes) to `targetWidth` and fills the block. False when the encoder
    // fails; the fields then stay as they were, except that a block whose
    // earlier stream the encoder had to release holds no stream any more.
    bool CreateThumbnailFromData(unsigned long targetWidth, unsigned long sourceWidth, unsigned long sourceHeight,
                                 const char* planes);

    void SetFormat(unsigned long format) { Format = format; }
    unsigned long GetFormat() const { return Format; }
    char* GetFormatAsName() const;
    // Also sets WidthBytes.
    void SetWidth(unsigned long width);
    unsigned long GetWidth() const { return Width; }
    void SetHeight(unsigned long height) { Height = height; }
    unsigned long GetHeight() const { return Height; }
    unsigned long GetWidthBytes() const { return WidthBytes; }
    void SetSize(unsigned long size) { Size = size; }
    unsigned long GetSize() const { return Size; }
    // Also sets the data block size: the stream and the header, rounded up to even.
    void SetCompressedSize(unsigned long size);
    unsigned long GetCompressedSize() const { return CompressedSize; }
    void SetBitsPixel(unsigned short bits) { BitsPixel = bits; }
    unsigned short GetBitsPixel() const { return BitsPixel; }
    void SetPlanes(unsigned short planes) { Planes = planes; }
    unsigned short GetPlanes() const { return Planes; }
    // Only stores the pointer: the caller's memory must outlive the block's use.
    void SetData(char* data) { Data = data; }
    char* GetData() const { return Data; }

    // The encoder that owns a created stream.
    PSDJpeg* GetJpeg() { return &Jpeg; }

private:
    // The field values of a new block.
    void ClearFields();

    unsigned long Format;
    unsigned long Width;
    unsigned long Height;
    unsigned long WidthBytes;
    unsigned long Size;
    unsigned long CompressedSize;
    unsigned short BitsPixel;
    unsigned short Planes;
    char* Data;
    PSDJpeg Jpeg;
    // Set by a read of a block that does not hold what its header claims.
    bool KeepAsRead;
};

}  // namespace psdkit

#endif
