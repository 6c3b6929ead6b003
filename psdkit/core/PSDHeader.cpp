#include "psdkit/core/PSDHeader.h"

#include <cstring>
#include <new>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDKIT_DEFINE_TEXT(MODE_BITMAP_STR, "Bitmap");
PSDKIT_DEFINE_TEXT(MODE_GRAYSCALE_STR, "Grayscale");
PSDKIT_DEFINE_TEXT(MODE_INDEXED_STR, "Indexed");
PSDKIT_DEFINE_TEXT(MODE_RGB_STR, "RGB");
PSDKIT_DEFINE_TEXT(MODE_CMYK_STR, "CYMK");
PSDKIT_DEFINE_TEXT(MODE_MULTICHANNEL_STR, "Multichannel");
PSDKIT_DEFINE_TEXT(MODE_DUOTONE_STR, "Duotone");
PSDKIT_DEFINE_TEXT(MODE_LAB_STR, "Lab");
PSDKIT_DEFINE_TEXT(MODE_INVALID_STR, "Invalid");

PSDHeader::PSDHeader() : RawHeader(nullptr), Valid(false) { InitObject(); }

PSDHeader::~PSDHeader() { FreeHeader(); }

void PSDHeader::InitImageAttributes() {
    Channels = 3;
    Depth = 8;
    Mode = MODE_RGB;
    Rows = 0;
    Columns = 0;
}

void PSDHeader::InitObject() {
    InputStream = nullptr;
    OutputStream = nullptr;
    RawHeader = nullptr;
    InitImageAttributes();
}

char* PSDHeader::GetModeAsName() const {
    switch (Mode) {
        case MODE_BITMAP: return MODE_BITMAP_STR;
        case MODE_GRAYSCALE: return MODE_GRAYSCALE_STR;
        case MODE_INDEXED: return MODE_INDEXED_STR;
        case MODE_RGB: return MODE_RGB_STR;
        case MODE_CMYK: return MODE_CMYK_STR;
        case MODE_MULTICHANNEL: return MODE_MULTICHANNEL_STR;
        case MODE_DUOTONE: return MODE_DUOTONE_STR;
        case MODE_LAB: return MODE_LAB_STR;
        default: return MODE_INVALID_STR;
    }
}

bool PSDHeader::ValidateAttributesForWrite() const {
    return Rows > 0 && Columns > 0 && Channels != 0 && Depth != 0 && Mode <= 9 && OutputStream != nullptr;
}

void PSDHeader::FreeHeader() {
    delete[] RawHeader;
    RawHeader = nullptr;
}

bool PSDHeader::AllocateHeader() {
    FreeHeader();
    RawHeader = new (std::nothrow) char[HEADER_SIZE];
    Valid = false;
    InitImageAttributes();
    if (RawHeader == nullptr) return false;
    std::memset(RawHeader, 0, HEADER_SIZE);
    return true;
}

void PSDHeader::SetStreams(std::ifstream* input, std::ofstream* output) {
    InputStream = input;
    OutputStream = output;
    if (input != nullptr || output != nullptr) AllocateHeader();
}

bool PSDHeader::Validate() {
    Valid = false;
    if (RawHeader == nullptr) return false;
    unsigned short version = 0;
    PSDUtil::BufferToShort(RawHeader + 4, &version);
    if (std::memcmp(RawHeader, "8BPS", 4) == 0 && version == 1) Valid = true;
    return Valid;
}

bool PSDHeader::ReadSection() {
    if (RawHeader == nullptr || InputStream == nullptr) return false;
    PSDBoundedReader file(InputStream);
    bool result = ReadSection(file);
    file.SyncStream();
    return result;
}

bool PSDHeader::ReadSection(PSDBoundedReader& file) {
    if (RawHeader == nullptr) return false;
    // A header that arrives short is no header; none of its bytes are used.
    if (!file.Read(RawHeader, HEADER_SIZE)) {
        std::memset(RawHeader, 0, HEADER_SIZE);
        file.Skip(file.Remaining());
        Valid = false;
        return false;
    }
    if (!Validate()) return false;
    unsigned long value = 0;
    PSDUtil::BufferToShort(RawHeader + 12, &Channels);
    PSDUtil::BufferToLong(RawHeader + 14, &value);
    Rows = static_cast<long>(value);
    PSDUtil::BufferToLong(RawHeader + 18, &value);
    Columns = static_cast<long>(value);
    PSDUtil::BufferToShort(RawHeader + 22, &Depth);
    PSDUtil::BufferToShort(RawHeader + 24, &Mode);
    return true;
}

bool PSDHeader::WriteSection() {
    if (!ValidateAttributesForWrite()) return false;
    if (RawHeader == nullptr) return false;
    std::memcpy(RawHeader, "8BPS", 4);
    PSDUtil::ShortToBuffer(1, RawHeader + 4);
    std::memset(RawHeader + 6, 0, 6);
    PSDUtil::ShortToBuffer(Channels, RawHeader + 12);
    PSDUtil::LongToBuffer(static_cast<unsigned long>(Rows), RawHeader + 14);
    PSDUtil::LongToBuffer(static_cast<unsigned long>(Columns), RawHeader + 18);
    PSDUtil::ShortToBuffer(Depth, RawHeader + 22);
    PSDUtil::ShortToBuffer(Mode, RawHeader + 24);
    Valid = true;
    OutputStream->write(RawHeader, HEADER_SIZE);
    return OutputStream->rdstate() == std::ios_base::goodbit;
}

}  // namespace psdkit
