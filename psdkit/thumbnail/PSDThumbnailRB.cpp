#include "psdkit/thumbnail/PSDThumbnailRB.h"

#include <iostream>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDKIT_DEFINE_TEXT(JPEG_THUMBNAIL_DESCRIPTION, "Larkmoore Imaging LLC");
PSDKIT_DEFINE_TEXT(FORMAT_RAW_RGB_STR, "Raw RGB");
PSDKIT_DEFINE_TEXT(FORMAT_JPEG_STR, "JPEG");
PSDKIT_DEFINE_TEXT(FORMAT_INVALID_STR, "Invalid");

namespace {

unsigned long RoundUpToEven(unsigned long n) { return n + (n & 1); }

}  // namespace

unsigned long CalculatePaddedWidth(unsigned long width) { return ((width * 24 + 31) >> 5) * 4; }

PSDThumbnailRB::PSDThumbnailRB() { InitObject(); }

PSDThumbnailRB::~PSDThumbnailRB() = default;

void PSDThumbnailRB::InitObject() {
    SetResourceID(RS_1036);
    ClearFields();
    SetDataBlockSize(BASE_TN_RESOURCE_SIZE);
}

void PSDThumbnailRB::ClearFields() {
    Format = FORMAT_JPEG;
    Width = 0;
    Height = 0;
    WidthBytes = 0;
    Size = 0;
    CompressedSize = 0;
    BitsPixel = 24;
    Planes = 1;
    Data = nullptr;
    KeepAsRead = false;
}

char* PSDThumbnailRB::GetFormatAsName() const {
    switch (Format) {
        case FORMAT_RAW_RGB: return FORMAT_RAW_RGB_STR;
        case FORMAT_JPEG: return FORMAT_JPEG_STR;
        default: return FORMAT_INVALID_STR;
    }
}

void PSDThumbnailRB::SetWidth(unsigned long width) {
    Width = width;
    WidthBytes = CalculatePaddedWidth(width);
}

void PSDThumbnailRB::SetCompressedSize(unsigned long size) {
    CompressedSize = size;
    SetDataBlockSize(RoundUpToEven(size + BASE_TN_RESOURCE_SIZE));
}

bool PSDThumbnailRB::CreateThumbnailFromData(unsigned long targetWidth, unsigned long sourceWidth,
                                             unsigned long sourceHeight, const char* planes) {
    const bool dataIsEncoders = Data != nullptr && Data == Jpeg.GetJpegImageBuffer();
    if (!Jpeg.CreateJpegFromRgbPlanes(planes, sourceWidth, sourceHeight, targetWidth, JPEG_THUMBNAIL_QUALITY,
                                      JPEG_THUMBNAIL_DESCRIPTION)) {
        // A failure at the encoder's last stage releases the earlier stream:
        // the block then holds none rather than a pointer to freed memory.
        if (dataIsEncoders && Jpeg.GetJpegImageBuffer() == nullptr) {
            Data = nullptr;
            SetCompressedSize(0);
        }
        return false;
    }
    const unsigned long width = Jpeg.GetJpegImageWidth();
    const unsigned long height = Jpeg.GetJpegImageHeight();
    SetWidth(width);
    SetHeight(height);
    SetSize(CalculatePaddedWidth(width) * height * GetPlanes());
    SetCompressedSize(Jpeg.GetJpegImageSize());
    SetData(Jpeg.GetJpegImageBuffer());
    KeepAsRead = false;
    return true;
}

void PSDThumbnailRB::ReadDataBlock() {
    const unsigned long readBlockSize = GetResourceBlockSize();
    const unsigned long statedSize = GetDataBlockSize();
    ClearFields();
    // A read block's stream lives in the data block; the encoder holds none.
    Jpeg.FreeJpegImageBuffer();

    // The block's bytes are those its size states, as far as they are held.
    const unsigned long capacity = GetDataBlock() == nullptr ? 0 : GetDataBlockCapacity();
    PSDBoundedReader in(GetDataBlock(), statedSize < capacity ? statedSize : capacity);
    if (!in.ReadLong(&Format) || !in.ReadLong(&Width) || !in.ReadLong(&Height) || !in.ReadLong(&WidthBytes) ||
        !in.ReadLong(&Size) || !in.ReadLong(&CompressedSize) || !in.ReadShort(&BitsPixel) ||
        !in.ReadShort(&Planes)) {
        // Shorter than the header: nothing is decoded, and the block is
        // written back as it was read.
        in.Problem("thumbnail: %lu bytes hold no thumbnail header", in.Size());
        ClearFields();
        KeepAsRead = true;
        return;
    }
    if (!in.Has(CompressedSize)) {
        // The stream runs past the block: the header stays as stored for the
        // report, there is no stream to hand out, and the block is written
        // back as it was read.
        in.Problem("thumbnail: its %lu bytes of JPEG data run past the block", CompressedSize);
        KeepAsRead = true;
        return;
    }
    if (Format > 1) in.Problem("thumbnail: format %lu is neither raw nor JPEG", Format);
    Data = GetDataBlock() + BASE_TN_RESOURCE_SIZE;

    const unsigned long payload = CompressedSize + BASE_TN_RESOURCE_SIZE;
    SetDataBlockSize(payload);
    // The written block must take exactly GetResourceBlockSize() bytes. A
    // block whose size states exactly the header and stream keeps its size as
    // read, and with it any name (it is then written as read); otherwise the
    // block is written from its fields with an empty name and a pad byte.
    const unsigned long nameBytes = (GetNameLength() & 1) ? GetNameLength() : GetNameLength() + 1UL;
    const unsigned long sizeAsRead = 4 + 2 + 1 + nameBytes + 4 + RoundUpToEven(statedSize);
    if (payload == statedSize && readBlockSize == sizeAsRead)
        SetResourceBlockSize(readBlockSize);
    else
        SetResourceBlockSize(RoundUpToEven(payload) + HEADER_SIZE);
}

void PSDThumbnailRB::WriteResourceBlock() {
    if (GetOutputStream() == nullptr) return;
    const unsigned long payload = CompressedSize + BASE_TN_RESOURCE_SIZE;
    // A created block states the padded size, a read one the exact size;
    // both are written from the fields.
    const bool encodable = SizesFitPayload(payload) || SizesFitPayload(RoundUpToEven(payload));
    if (KeepAsRead || !encodable) {
        WriteRawResourceBlock();
        return;
    }
    WriteResourceBlockHeader();
    char buffer[4];
    std::ofstream* out = GetOutputStream();
    const unsigned long longs[6] = {Format, Width, Height, WidthBytes, Size, CompressedSize};
    for (unsigned long value : longs) {
        PSDUtil::LongToBuffer(value, buffer);
        out->write(buffer, 4);
    }
    PSDUtil::ShortToBuffer(BitsPixel, buffer);
    out->write(buffer, 2);
    PSDUtil::ShortToBuffer(Planes, buffer);
    out->write(buffer, 2);
    if (Data != nullptr)
        out->write(Data, static_cast<std::streamsize>(CompressedSize));
    else
        WriteZeros(CompressedSize);
    if (payload & 1) WriteZeros(1);
}

void PSDThumbnailRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "Format:" << GetFormatAsName() << "\n";
    std::cout << "Width:" << Width << "\n";
    std::cout << "Height:" << Height << "\n";
    std::cout << "Width Bytes:" << WidthBytes << "\n";
    std::cout << "Size:" << Size << "\n";
    std::cout << "CompressedSize:" << CompressedSize << "\n";
    std::cout << "BitsPixel:" << BitsPixel << "\n";
    std::cout << "Planes:" << Planes << "\n";
}

}  // namespace psdkit
