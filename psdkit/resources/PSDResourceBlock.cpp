#include "psdkit/resources/PSDResourceBlock.h"

#include <cstring>
#include <new>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDKIT_DEFINE_TEXT(RS_1000_STR, " 1000 - Obsolete");
PSDKIT_DEFINE_TEXT(RS_1001_STR, " 1001 - Print Manager Info Record");
PSDKIT_DEFINE_TEXT(RS_1003_STR, " 1003 - Obsolete");
PSDKIT_DEFINE_TEXT(RS_1005_STR, " 1005 - ResolutionInfo structure");
PSDKIT_DEFINE_TEXT(RS_1006_STR, " 1006 - Names of Alpha channels");
PSDKIT_DEFINE_TEXT(RS_1007_STR, " 1007 - DisplayInfo structure");
PSDKIT_DEFINE_TEXT(RS_1008_STR, " 1008 - Caption");
PSDKIT_DEFINE_TEXT(RS_1009_STR, " 1009 - Border Info");
PSDKIT_DEFINE_TEXT(RS_1010_STR, " 1010 - Background Color");
PSDKIT_DEFINE_TEXT(RS_1011_STR, " 1011 - Print Flags");
PSDKIT_DEFINE_TEXT(RS_1012_STR, " 1012 - Grayscale & Multichannel Halftoning");
PSDKIT_DEFINE_TEXT(RS_1013_STR, " 1013 - Color Halftoning");
PSDKIT_DEFINE_TEXT(RS_1014_STR, " 1014 - Duotone Halftoning");
PSDKIT_DEFINE_TEXT(RS_1015_STR, " 1015 - Grayscale & Multitoning Transfer Function");
PSDKIT_DEFINE_TEXT(RS_1016_STR, " 1016 - Color Transfer Function");
PSDKIT_DEFINE_TEXT(RS_1017_STR, " 1017 - Duotone Transfer Function");
PSDKIT_DEFINE_TEXT(RS_1018_STR, " 1018 - Duotone Image Info");
PSDKIT_DEFINE_TEXT(RS_1019_STR, " 1019 - Effective B/W Values");
PSDKIT_DEFINE_TEXT(RS_1020_STR, " 1020 - Obsolete");
PSDKIT_DEFINE_TEXT(RS_1021_STR, " 1021 - EPS Options");
PSDKIT_DEFINE_TEXT(RS_1022_STR, " 1022 - Quick Mask Info");
PSDKIT_DEFINE_TEXT(RS_1023_STR, " 1023 - Obsolete");
PSDKIT_DEFINE_TEXT(RS_1024_STR, " 1024 - Layer State Info");
PSDKIT_DEFINE_TEXT(RS_1025_STR, " 1025 - Working Path");
PSDKIT_DEFINE_TEXT(RS_1026_STR, " 1026 - Layers Group Info");
PSDKIT_DEFINE_TEXT(RS_1027_STR, " 1027 - Obsolete");
PSDKIT_DEFINE_TEXT(RS_1028_STR, " 1028 - IPTC-NAA Record");
PSDKIT_DEFINE_TEXT(RS_1029_STR, " 1029 - Image Mode for Raw Format");
PSDKIT_DEFINE_TEXT(RS_1030_STR, " 1030 - JPEG Quality");
PSDKIT_DEFINE_TEXT(RS_1032_STR, " 1032 - Grid and Guides Info");
PSDKIT_DEFINE_TEXT(RS_1033_STR, " 1033 - Thumbnail Resource");
PSDKIT_DEFINE_TEXT(RS_1034_STR, " 1034 - Copyright Flag");
PSDKIT_DEFINE_TEXT(RS_1035_STR, " 1035 - URL");
PSDKIT_DEFINE_TEXT(RS_1036_STR, " 1036 - Thumbnail Resource");
PSDKIT_DEFINE_TEXT(RS_1037_STR, " 1037 - Global Angle");
PSDKIT_DEFINE_TEXT(RS_1038_STR, " 1038 - Color Samplers");
PSDKIT_DEFINE_TEXT(RS_1039_STR, " 1039 - ICC Profile");
PSDKIT_DEFINE_TEXT(RS_1040_STR, " 1040 - Watermark");
PSDKIT_DEFINE_TEXT(RS_1041_STR, " 1041 - ICC Untagged");
PSDKIT_DEFINE_TEXT(RS_1042_STR, " 1042 - Effects Visible");
PSDKIT_DEFINE_TEXT(RS_1043_STR, " 1043 - Spot Halftone");
PSDKIT_DEFINE_TEXT(RS_1044_STR, " 1044 - Document Specific IDs");
PSDKIT_DEFINE_TEXT(RS_1045_STR, " 1045 - Unicode Alpha Names");
PSDKIT_DEFINE_TEXT(RS_1046_STR, " 1046 - Indexed Color Table Count");
PSDKIT_DEFINE_TEXT(RS_1047_STR, " 1047 - Transparent Index");
PSDKIT_DEFINE_TEXT(RS_1049_STR, " 1049 - Global Altitude");
PSDKIT_DEFINE_TEXT(RS_1050_STR, " 1050 - Slices");
PSDKIT_DEFINE_TEXT(RS_1051_STR, " 1051 - Workflow URL");
PSDKIT_DEFINE_TEXT(RS_1052_STR, " 1052 - Jump to XPEP");
PSDKIT_DEFINE_TEXT(RS_1053_STR, " 1053 - Alpha Identifiers");
PSDKIT_DEFINE_TEXT(RS_1054_STR, " 1054 - URL List");
PSDKIT_DEFINE_TEXT(RS_1057_STR, " 1057 - Version Info");
PSDKIT_DEFINE_TEXT(RS_2000_STR, " 2000 - Path Info");
PSDKIT_DEFINE_TEXT(RS_2998_STR, " 2998 - Path Info");
PSDKIT_DEFINE_TEXT(RS_2999_STR, " 2999 - Clipping Path");
PSDKIT_DEFINE_TEXT(RS_10000_STR, "10000 - Print Flags Info");
PSDKIT_DEFINE_TEXT(RS_UNKNOWN_STR, "Unknown ");

PSDResourceBlock::PSDResourceBlock()
    : InputStream(nullptr),
      OutputStream(nullptr),
      ResourceID(0),
      DataBlockSize(0),
      ResourceBlockSize(0),
      DataBlock(nullptr),
      DataBlockCapacity(0),
      NameLength(0) {}

PSDResourceBlock::~PSDResourceBlock() { delete[] DataBlock; }

void PSDResourceBlock::SetStreams(std::ifstream* input, std::ofstream* output) {
    InputStream = input;
    OutputStream = output;
}

void PSDResourceBlock::SetDataBlockSize(unsigned long n) {
    DataBlockSize = n;
    ResourceBlockSize = n + HEADER_SIZE;
}

void PSDResourceBlock::IncrementDataBlockSize(unsigned long n) { SetDataBlockSize(DataBlockSize + n); }

char* PSDResourceBlock::AllocateDataBlock(unsigned long n) {
    // A block holds one data block at a time; an earlier one is not leaked.
    delete[] DataBlock;
    DataBlock = nullptr;
    DataBlockCapacity = 0;
    DataBlock = new char[n];
    DataBlockCapacity = n;
    return DataBlock;
}

void PSDResourceBlock::FreeDataBlock() {
    delete[] DataBlock;
    DataBlock = nullptr;
    DataBlockCapacity = 0;
    ResourceBlockSize = 0;
}

char* PSDResourceBlock::GetIDAsName() const {
    switch (ResourceID) {
        case RS_1000: return RS_1000_STR;
        case RS_1001: return RS_1001_STR;
        case RS_1003: return RS_1003_STR;
        case RS_1005: return RS_1005_STR;
        case RS_1006: return RS_1006_STR;
        case RS_1007: return RS_1007_STR;
        case RS_1008: return RS_1008_STR;
        case RS_1009: return RS_1009_STR;
        case RS_1010: return RS_1010_STR;
        case RS_1011: return RS_1011_STR;
        case RS_1012: return RS_1012_STR;
        case RS_1013: return RS_1013_STR;
        case RS_1014: return RS_1014_STR;
        case RS_1015: return RS_1015_STR;
        case RS_1016: return RS_1016_STR;
        case RS_1017: return RS_1017_STR;
        case RS_1018: return RS_1018_STR;
        case RS_1019: return RS_1019_STR;
        case RS_1020: return RS_1020_STR;
        case RS_1021: return RS_1021_STR;
        case RS_1022: return RS_1022_STR;
        case RS_1023: return RS_1023_STR;
        case RS_1024: return RS_1024_STR;
        case RS_1025: return RS_1025_STR;
        case RS_1026: return RS_1026_STR;
        case RS_1027: return RS_1027_STR;
        case RS_1028: return RS_1028_STR;
        case RS_1029: return RS_1029_STR;
        case RS_1030: return RS_1030_STR;
        case RS_1032: return RS_1032_STR;
        case RS_1033: return RS_1033_STR;
        case RS_1034: return RS_1034_STR;
        case RS_1035: return RS_1035_STR;
        case RS_1036: return RS_1036_STR;
        case RS_1037: return RS_1037_STR;
        case RS_1038: return RS_1038_STR;
        case RS_1039: return RS_1039_STR;
        case RS_1040: return RS_1040_STR;
        case RS_1041: return RS_1041_STR;
        case RS_1042: return RS_1042_STR;
        case RS_1043: return RS_1043_STR;
        case RS_1044: return RS_1044_STR;
        case RS_1045: return RS_1045_STR;
        case RS_1046: return RS_1046_STR;
        case RS_1047: return RS_1047_STR;
        case RS_1049: return RS_1049_STR;
        case RS_1050: return RS_1050_STR;
        case RS_1051: return RS_1051_STR;
        case RS_1052: return RS_1052_STR;
        case RS_1053: return RS_1053_STR;
        case RS_1054: return RS_1054_STR;
        case RS_1057: return RS_1057_STR;
        case RS_2000: return RS_2000_STR;
        case RS_2998: return RS_2998_STR;
        case RS_2999: return RS_2999_STR;
        case RS_10000: return RS_10000_STR;
        default: return RS_UNKNOWN_STR;
    }
}

bool PSDResourceBlock::ReadResourceBlock() { return ReadResourceBlock(PSDBoundedReader::UNLIMITED); }

bool PSDResourceBlock::ReadResourceBlock(unsigned long limit) {
    PSDBoundedReader in(InputStream, limit);
    bool result = ReadResourceBlock(in);
    in.SyncStream();
    return result;
}

bool PSDResourceBlock::ReadResourceBlock(PSDBoundedReader& in) {
    FreeDataBlock();
    ResourceBlockSize = 0;
    NameLength = 0;
    Name.clear();

    unsigned long start = in.Offset();
    auto fail = [&]() {
        ResourceBlockSize = in.Offset() - start;
        return false;
    };
    unsigned char nameLength = 0;
    if (!in.Skip(4) || !in.ReadShort(&ResourceID) || !in.ReadByte(&nameLength)) return fail();
    // The length byte and the name together take an even number of bytes.
    unsigned long nameBytes = (nameLength & 1) ? nameLength : nameLength + 1UL;
    const char* name = in.Peek(nameBytes);
    if (name == nullptr) return fail();
    NameLength = nameLength;
    Name.assign(name, nameLength);
    in.Skip(nameBytes);

    unsigned long size = 0;
    if (!in.ReadLong(&size)) return fail();
    DataBlockSize = size;
    unsigned long padded = size + (size & 1);
    // Nothing is allocated for bytes the window does not hold.
    if (!in.Has(padded)) return fail();
    if (padded != 0) {
        AllocateDataBlock(padded);
        if (!in.Read(DataBlock, padded)) {
            FreeDataBlock();
            return fail();
        }
    }
    ResourceBlockSize = in.Offset() - start;
    return true;
}

void PSDResourceBlock::WriteResourceBlockHeader() {
    char buffer[4];
    OutputStream->write("8BIM", 4);
    PSDUtil::ShortToBuffer(ResourceID, buffer);
    OutputStream->write(buffer, 2);
    PSDUtil::ShortToBuffer(0, buffer);
    OutputStream->write(buffer, 2);
    PSDUtil::LongToBuffer(DataBlockSize, buffer);
    OutputStream->write(buffer, 4);
}

void PSDResourceBlock::Copy(PSDResourceBlock* source, PSDResourceBlock* target) { Transfer(source, target, false); }

void PSDResourceBlock::Transfer(PSDResourceBlock* source, PSDResourceBlock* target, bool take) {
    unsigned long n = source->GetDataBlockSize();
    target->SetResourceID(source->GetResourceID());
    target->SetStreams(source->GetInputStream(), source->GetOutputStream());
    target->SetDataBlockSize(n);
    target->SetResourceBlockSize(source->GetResourceBlockSize());
    target->NameLength = source->NameLength;
    target->Name = source->Name;

    unsigned long padded = n + (n & 1);
    if (take && source->DataBlock != nullptr && source->DataBlockCapacity == padded) {
        delete[] target->DataBlock;
        target->DataBlock = source->DataBlock;
        target->DataBlockCapacity = padded;
        source->DataBlock = nullptr;
        source->DataBlockCapacity = 0;
        target->ReadDataBlock();
        return;
    }
    char* data = target->AllocateDataBlock(padded);
    unsigned long available = source->GetDataBlock() == nullptr ? 0 : source->DataBlockCapacity;
    unsigned long copied = padded < available ? padded : available;
    if (copied != 0) std::memcpy(data, source->GetDataBlock(), copied);
    if (copied < padded) std::memset(data + copied, 0, padded - copied);
    target->ReadDataBlock();
}

namespace {

unsigned long Evened(unsigned long n) { return n + (n & 1); }

}  // namespace

bool PSDResourceBlock::SizesFitPayload(unsigned long payload) const {
    return (DataBlockSize == payload || DataBlockSize == Evened(payload)) &&
           ResourceBlockSize == Evened(payload) + HEADER_SIZE;
}

unsigned long PSDResourceBlock::RawBlockSize() const {
    unsigned long nameBytes = (NameLength & 1) ? NameLength : NameLength + 1UL;
    return 4 + 2 + 1 + nameBytes + 4 + Evened(DataBlockSize);
}

void PSDResourceBlock::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_RAW_ONLY, 0); }

PSDResourceBlock::WriteForm PSDResourceBlock::SelectWriteForm(WritePolicy policy, unsigned long payload,
                                                              bool encodable) const {
    if (policy == WRITE_RAW_ONLY || !encodable) return WRITE_RAW;
    if (HoldsReadPayload()) {
        if (policy == WRITE_READ_AS_RAW) return WRITE_RAW;
        if (policy == WRITE_READ_RE_ENCODED) return WRITE_FIELDS;
        return SizesFitPayload(payload) ? WRITE_FIELDS : WRITE_RAW;
    }
    if (ResourceBlockSize == 0) return policy == WRITE_READ_AS_RAW ? WRITE_HEADER : WRITE_FIELDS;
    return SizesFitPayload(payload) ? WRITE_FIELDS : WRITE_RAW;
}

void PSDResourceBlock::ApplyWritePolicy(WritePolicy policy, unsigned long payload, bool encodable) {
    bool raw = policy == WRITE_RAW_ONLY || !encodable;
    if (HoldsReadPayload()) {
        if (policy == WRITE_READ_AS_RAW) raw = true;
        if (policy == WRITE_READ_IF_EXACT && !SizesFitPayload(payload)) raw = true;
    }
    if (raw) {
        // A pad byte follows odd data, whatever size a host set.
        ResourceBlockSize = RawBlockSize();
    } else if (!SizesFitPayload(payload)) {
        DataBlockSize = payload;
        ResourceBlockSize = Evened(payload) + HEADER_SIZE;
    }
}

void PSDResourceBlock::WriteFieldsForm(const char* payload, unsigned long size) {
    WriteResourceBlockHeader();
    if (size != 0) OutputStream->write(payload, static_cast<std::streamsize>(size));
    if (size & 1) WriteZeros(1);
}

void PSDResourceBlock::WriteUnderPolicy(WritePolicy policy, const char* payload, unsigned long size) {
    switch (SelectWriteForm(policy, size)) {
        case WRITE_RAW: WriteRawResourceBlock(); break;
        case WRITE_HEADER: WriteResourceBlockHeader(); break;
        case WRITE_FIELDS: WriteFieldsForm(payload, size); break;
    }
}

unsigned long PSDResourceBlock::ReadablePayloadSize() const {
    if (DataBlock == nullptr) return 0;
    return DataBlockSize < DataBlockCapacity ? DataBlockSize : DataBlockCapacity;
}

void PSDResourceBlock::WriteZeros(unsigned long n) {
    static const char zeros[256] = {0};
    while (n > 0) {
        unsigned long chunk = n < sizeof(zeros) ? n : sizeof(zeros);
        OutputStream->write(zeros, static_cast<std::streamsize>(chunk));
        n -= chunk;
    }
}

void PSDResourceBlock::WriteRawResourceBlock() {
    unsigned long nameBytes = (NameLength & 1) ? NameLength : NameLength + 1UL;
    unsigned long frame = 4 + 2 + 1 + nameBytes + 4;
    // A block whose sizes leave no room for its frame has nothing to write.
    if (ResourceBlockSize < frame) return;
    char buffer[4];
    OutputStream->write("8BIM", 4);
    PSDUtil::ShortToBuffer(ResourceID, buffer);
    OutputStream->write(buffer, 2);
    char name[256] = {0};
    name[0] = static_cast<char>(NameLength);
    std::memcpy(name + 1, Name.data(), NameLength);
    OutputStream->write(name, static_cast<std::streamsize>(1 + nameBytes));
    PSDUtil::LongToBuffer(DataBlockSize, buffer);
    OutputStream->write(buffer, 4);
    unsigned long payload = ResourceBlockSize - frame;
    unsigned long fromData = DataBlock == nullptr ? 0 : (payload < DataBlockCapacity ? payload : DataBlockCapacity);
    if (fromData != 0) OutputStream->write(DataBlock, static_cast<std::streamsize>(fromData));
    WriteZeros(payload - fromData);
}

}  // namespace psdkit
