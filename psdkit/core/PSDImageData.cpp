#include "psdkit/core/PSDImageData.h"

#include <cstdlib>
#include <cstring>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"

namespace psdkit {

PSDKIT_DEFINE_TEXT(COMPRESSION_RAW_STR, "Raw");
PSDKIT_DEFINE_TEXT(COMPRESSION_RLE_STR, "RLE");
PSDKIT_DEFINE_TEXT(COMPRESSION_ZIP_STR, "ZIP");
PSDKIT_DEFINE_TEXT(COMPRESSION_ZIP_PREDICTION_STR, "ZIPw/Prediction");
PSDKIT_DEFINE_TEXT(COMPRESSION_INVALID_STR, "Invalid");

PSDImageData::PSDImageData()
    : Compression(COMPRESSION_RAW), ImageDataLength(0), DataBuffer(nullptr), BufferCapacity(0) {}

PSDImageData::~PSDImageData() { FreeDataBuffer(); }

char* PSDImageData::GetCompressionAsName() const {
    switch (Compression) {
        case COMPRESSION_RAW: return COMPRESSION_RAW_STR;
        case COMPRESSION_RLE: return COMPRESSION_RLE_STR;
        case COMPRESSION_ZIP: return COMPRESSION_ZIP_STR;
        case COMPRESSION_ZIP_PREDICTION: return COMPRESSION_ZIP_PREDICTION_STR;
        default: return COMPRESSION_INVALID_STR;
    }
}

bool PSDImageData::ValidateAttributesForWrite() const { return DataBuffer != nullptr && ImageDataLength != 0; }

void PSDImageData::FreeDataBuffer() {
    if (DataBuffer == nullptr) return;
    PSDPlaneDecoder::FreePlaneMemory(DataBuffer);
    DataBuffer = nullptr;
    BufferCapacity = 0;
    ImageDataLength = 0;
}

bool PSDImageData::AllocateDataBuffer() {
    unsigned long length = ImageDataLength;
    FreeDataBuffer();
    ImageDataLength = length;
    DataBuffer = PSDPlaneDecoder::AllocatePlaneMemory(length);
    if (DataBuffer == nullptr) {
        ImageDataLength = 0;
        return false;
    }
    BufferCapacity = length;
    return true;
}

bool PSDImageData::AllocateDataBuffer(unsigned long length) {
    ImageDataLength = length;
    return AllocateDataBuffer();
}

bool PSDImageData::SetDataBuffer(const char* data, unsigned long length) {
    if (!AllocateDataBuffer(length)) return false;
    if (length != 0) std::memcpy(DataBuffer, data, length);
    return true;
}

bool PSDImageData::SetPlanarDataBuffers(const char* first, const char* second, const char* third,
                                        unsigned long planeLength) {
    if (planeLength > ~0UL / 3) return false;
    if (!AllocateDataBuffer(planeLength * 3)) return false;
    if (planeLength != 0) {
        std::memcpy(DataBuffer, first, planeLength);
        std::memcpy(DataBuffer + planeLength, second, planeLength);
        std::memcpy(DataBuffer + 2 * planeLength, third, planeLength);
    }
    return true;
}

void PSDImageData::SkipSection() { InputStream->seekg(static_cast<std::streamoff>(SectionLength), std::ios_base::cur); }

bool PSDImageData::ReadSection() {
    PSDBoundedReader file(InputStream);
    bool result = ReadSection(file);
    file.SyncStream();
    return result;
}

bool PSDImageData::ReadSection(PSDBoundedReader& data) {
    if (!data.ReadShort(&Compression)) {
        Compression = COMPRESSION_RAW;
        if (data.Remaining() != 0) data.Problem("image data: the file ends inside the compression code");
        data.Skip(data.Remaining());
    }
    // The section has no length word: it is what the file holds behind the code.
    ImageDataLength = data.Remaining();
    if (!AllocateDataBuffer()) {
        data.Problem("image data: no memory for %lu bytes", data.Remaining());
        return true;
    }
    if (!data.Read(DataBuffer, ImageDataLength)) {
        ImageDataLength = 0;
        data.Problem("image data: the file ends before the size it showed");
    }
    return true;
}

bool PSDImageData::WriteSection() {
    char buffer[2];
    PSDUtil::ShortToBuffer(Compression, buffer);
    OutputStream->write(buffer, 2);
    // A length set above the buffer writes only what the buffer holds.
    unsigned long length = ImageDataLength < BufferCapacity ? ImageDataLength : BufferCapacity;
    if (OutputStream->rdstate() == std::ios_base::goodbit && length != 0 && DataBuffer != nullptr)
        OutputStream->write(DataBuffer, static_cast<std::streamsize>(length));
    return OutputStream->rdstate() == std::ios_base::goodbit;
}

}  // namespace psdkit
