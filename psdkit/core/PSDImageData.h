#ifndef PSDKIT_CORE_PSDIMAGEDATA_H
#define PSDKIT_CORE_PSDIMAGEDATA_H

#include "psdkit/core/PSDBaseSection.h"

namespace psdkit {

// The composite image: a compression code and the bytes behind it, passed
// through unchanged. The section runs to the end of the file.
class PSDKIT_API PSDImageData : public PSDBaseSection {
public:
    static constexpr unsigned short COMPRESSION_RAW = 0;
    static constexpr unsigned short COMPRESSION_RLE = 1;
    static constexpr unsigned short COMPRESSION_ZIP = 2;
    static constexpr unsigned short COMPRESSION_ZIP_PREDICTION = 3;

    PSDImageData();
    ~PSDImageData() override;

    void SetCompression(unsigned short compression) { Compression = compression; }
    unsigned short GetCompression() const { return Compression; }
    char* GetCompressionAsName() const;

    void SetImageDataLen(unsigned long length) { ImageDataLength = length; }
    unsigned long GetImageDataLen() const { return ImageDataLength; }
    // The image data, still owned by the section.
    char* GetDataBuffer() const { return DataBuffer; }
    // Bytes the data buffer really holds (0 without one).
    unsigned long GetDataBufferCapacity() const { return BufferCapacity; }

    bool ValidateAttributesForWrite() const;

    void FreeDataBuffer();
    // A buffer of the current length (content undefined). Large buffers are
    // asked of the kernel in huge pages where it grants them.
    bool AllocateDataBuffer();
    bool AllocateDataBuffer(unsigned long length);
    bool SetDataBuffer(const char* data, unsigned long length);
    // Joins three planes of `planeLength` bytes into one block.
    bool SetPlanarDataBuffers(const char* first, const char* second, const char* third, unsigned long planeLength);

    void SkipSection();
    // Reads the compression code and everything behind it to the end of the file.
    bool ReadSection();
    // The same through a window: everything the window holds.
    bool ReadSection(PSDBoundedReader& data);
    bool WriteSection();

private:
    PSDImageData(const PSDImageData&) = delete;
    PSDImageData& operator=(const PSDImageData&) = delete;

    unsigned short Compression;
    unsigned long ImageDataLength;
    char* DataBuffer;
    unsigned long BufferCapacity;  // bytes the data buffer really holds
};

PSDKIT_API extern char* COMPRESSION_RAW_STR;
PSDKIT_API extern char* COMPRESSION_RLE_STR;
PSDKIT_API extern char* COMPRESSION_ZIP_STR;
PSDKIT_API extern char* COMPRESSION_ZIP_PREDICTION_STR;
PSDKIT_API extern char* COMPRESSION_INVALID_STR;

}  // namespace psdkit

#endif
