#include "psdkit/icc/PSDICCTag.h"

#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

// Static member texts, each over writable storage of its own.
#define PSDKIT_DEFINE_TAG_TEXT(name, text) \
    static char name##_storage_[] = text; \
    char* PSDICCTag::name = name##_storage_

PSDKIT_DEFINE_TAG_TEXT(ILLUMINANT_TYPE_UNKNOWN_STR, "unknown");
PSDKIT_DEFINE_TAG_TEXT(ILLUMINANT_TYPE_D50_STR, "D50");
PSDKIT_DEFINE_TAG_TEXT(ILLUMINANT_TYPE_D65_STR, "D65");
PSDKIT_DEFINE_TAG_TEXT(ILLUMINANT_TYPE_D93_STR, "D93");
PSDKIT_DEFINE_TAG_TEXT(ILLUMINANT_TYPE_F2_STR, "F2");
PSDKIT_DEFINE_TAG_TEXT(ILLUMINANT_TYPE_D55_STR, "D55");
PSDKIT_DEFINE_TAG_TEXT(ILLUMINANT_TYPE_A_STR, "A");
PSDKIT_DEFINE_TAG_TEXT(ILLUMINANT_TYPE_EQUI_POWER_STR, "Equi-Power (E)");
PSDKIT_DEFINE_TAG_TEXT(ILLUMINANT_TYPE_F8_STR, "F8");
PSDKIT_DEFINE_TAG_TEXT(STANDARD_OBSERVER_UNKNOWN_STR, "unknown");
PSDKIT_DEFINE_TAG_TEXT(STANDARD_OBSERVER_1931_STR, "1931 2 degree Observer");
PSDKIT_DEFINE_TAG_TEXT(STANDARD_OBSERVER_1964_STR, "1964 10 degree Observer");
PSDKIT_DEFINE_TAG_TEXT(GEOMETRY_UNKNOWN_STR, "unknown");
PSDKIT_DEFINE_TAG_TEXT(GEOMETRY_45_STR, "0/45 or 45/0");
PSDKIT_DEFINE_TAG_TEXT(GEOMETRY_D_STR, "0/d or d/0");

#undef PSDKIT_DEFINE_TAG_TEXT

namespace {

// One buffer per operation for the whole library: a result lasts until the
// next call of the same operation.
char SignatureName[5];
char CurveText[32];
char SignatureText[32];
char MeasureText[256];
char ViewText[256];
char XYZText[256];
char TagIDName[5];
char EmptyText[1];

// Fixed layouts: the bytes a payload needs before its getter can read it.
const unsigned long TEXT_LAYOUT = 9;   // head and the terminating zero
const unsigned long DESC_LAYOUT = 13;  // head, count and the terminating zero
const unsigned long CURVE_LAYOUT = 12;
const unsigned long SIGNATURE_LAYOUT = 12;
const unsigned long MEASURE_LAYOUT = 36;
const unsigned long VIEW_LAYOUT = 36;
const unsigned long XYZ_LAYOUT = 20;

// A table entry holds the size in 32 bits.
const unsigned long MAX_TAG_SIZE = 0xFFFFFFFFUL;

double ReadDouble(const char* at) {
    double value = 0;
    PSDUtil::BufferToDoubleFrom16Dot16(at, &value);
    return value;
}

double ReadFloat(const char* at) {
    float value = 0;
    PSDUtil::BufferToFloatFrom16Dot16(at, &value);
    return static_cast<double>(value);
}

unsigned long ReadLong(const char* at) { return PSDBoundedReader::LongAt(at); }

void WriteLong(std::ofstream* output, unsigned long value) {
    char buffer[4];
    PSDUtil::LongToBuffer(value, buffer);
    output->write(buffer, 4);
}

}  // namespace

PSDICCTag::PSDICCTag() : TagData(nullptr), DataCapacity(0) { InitObject(); }

PSDICCTag::PSDICCTag(unsigned long tagID) : TagData(nullptr), DataCapacity(0) {
    InitObject();
    SetTagID(tagID);
}

PSDICCTag::~PSDICCTag() { FreeTagData(); }

void PSDICCTag::InitObject() {
    TagID = 0;
    TagOffset = 0;
    TagSize = 0;
    PaddedTagSize = 0;
    // A tag that had a payload gives it up rather than leak it.
    FreeTagData();
}

void PSDICCTag::SetTagSize(unsigned long size) {
    TagSize = size;
    PaddedTagSize = (size + 3) & ~3UL;
}

void PSDICCTag::FreeTagData() {
    delete[] TagData;
    TagData = nullptr;
    DataCapacity = 0;
}

bool PSDICCTag::AllocateTagData() {
    FreeTagData();
    TagData = new (std::nothrow) char[PaddedTagSize];
    if (TagData == nullptr) return false;
    DataCapacity = PaddedTagSize;
    return true;
}

bool PSDICCTag::AllocateTagData(unsigned long size) {
    SetTagSize(size);
    return AllocateTagData();
}

void PSDICCTag::CopyTagData(const char* profile) {
    // The caller vouches for the bytes: the profile reaches at least that far.
    if (TagOffset <= ~0UL - PaddedTagSize) CopyTagData(profile, TagOffset + PaddedTagSize);
}

bool PSDICCTag::CopyTagData(const char* profile, unsigned long profileSize) {
    FreeTagData();
    // The padding belongs to the tag too, so it has to be there as well.
    PSDBoundedReader in(profile, profileSize);
    if (!in.SeekTo(TagOffset) || !in.Has(PaddedTagSize)) return false;
    if (!AllocateTagData()) return false;
    return in.Read(TagData, PaddedTagSize);
}

const char* PSDICCTag::ReadTag(const char* profile, const char* entry) {
    unsigned long offset = ReadLong(entry + 4);
    unsigned long size = (ReadLong(entry + 8) + 3) & ~3UL;
    // The caller vouches for the bytes: the profile reaches at least that far.
    return ReadTag(profile, entry, offset <= ~0UL - size ? offset + size : ~0UL);
}

const char* PSDICCTag::ReadTag(const char* profile, const char* entry, unsigned long profileSize) {
    ReadTagEntry(entry);
    CopyTagData(profile, profileSize);
    return entry + ICC_TAG_SIZE;
}

void PSDICCTag::ReadTagEntry(const char* entry) {
    SetTagID(ReadLong(entry));
    SetTagOffset(ReadLong(entry + 4));
    SetTagSize(ReadLong(entry + 8));
}

void PSDICCTag::WriteTagTableEntry(unsigned long offset, std::ofstream* output) {
    WriteLong(output, TagID);
    SetTagOffset(offset);
    WriteLong(output, TagOffset);
    WriteLong(output, TagSize);
}

void PSDICCTag::WriteTagData(std::ofstream* output) {
    unsigned long fromData = PaddedTagSize < DataCapacity ? PaddedTagSize : DataCapacity;
    if (fromData != 0) output->write(TagData, static_cast<std::streamsize>(fromData));
    // The table entry promised these bytes; zeros keep the offsets behind true.
    static const char zeros[256] = {0};
    for (unsigned long left = PaddedTagSize - fromData; left != 0;) {
        unsigned long chunk = left < sizeof(zeros) ? left : sizeof(zeros);
        output->write(zeros, static_cast<std::streamsize>(chunk));
        left -= chunk;
    }
}

char* PSDICCTag::StartPayload(unsigned long typeWord, unsigned long size) {
    if (size > MAX_TAG_SIZE) return nullptr;
    if (!AllocateTagData(size)) return nullptr;
    std::memset(TagData, 0, PaddedTagSize);
    PSDUtil::LongToBuffer(typeWord, TagData);
    return TagData;
}

bool PSDICCTag::SetTextTypeAttribute(const char* text) {
    unsigned long n = std::strlen(text);
    char* payload = StartPayload(TAG_TYPE_TEXT, n + 9);
    if (payload == nullptr) return false;
    std::memcpy(payload + 8, text, n);
    return true;
}

bool PSDICCTag::SetDescTypeAttribute(const char* text) {
    unsigned long n = std::strlen(text);
    // 12 bytes of head, the text, its terminator, then 78 zero bytes of the
    // Unicode and Macintosh parts, which stay empty.
    char* payload = StartPayload(TAG_TYPE_DESC, n + 91);
    if (payload == nullptr) return false;
    PSDUtil::LongToBuffer(n + 1, payload + 8);
    std::memcpy(payload + 12, text, n);
    return true;
}

bool PSDICCTag::SetCurveTypeAttribute(unsigned long count, const unsigned short* entries) {
    if (count > (MAX_TAG_SIZE - 12) / 2) return false;
    char* payload = StartPayload(TAG_TYPE_CURVE, 12 + 2 * count);
    if (payload == nullptr) return false;
    PSDUtil::LongToBuffer(count, payload + 8);
    for (unsigned long i = 0; i < count; ++i) PSDUtil::ShortToBuffer(entries[i], payload + 12 + 2 * i);
    return true;
}

bool PSDICCTag::SetSignatureTypeAttribute(unsigned long signature) {
    char* payload = StartPayload(TAG_TYPE_SIGNATURE, 12);
    if (payload == nullptr) return false;
    PSDUtil::LongToBuffer(signature, payload + 8);
    return true;
}

bool PSDICCTag::SetMeasureTypeAttribute(unsigned long observer, double backingX, double backingY, double backingZ,
                                        unsigned long geometry, double flare, unsigned long illuminant) {
    char* payload = StartPayload(TAG_TYPE_MEASUREMENT, 36);
    if (payload == nullptr) return false;
    PSDUtil::LongToBuffer(observer, payload + 8);
    PSDUtil::DoubleTo16Dot16Buffer(backingX, payload + 12);
    PSDUtil::DoubleTo16Dot16Buffer(backingY, payload + 16);
    PSDUtil::DoubleTo16Dot16Buffer(backingZ, payload + 20);
    PSDUtil::LongToBuffer(geometry, payload + 24);
    PSDUtil::DoubleTo16Dot16Buffer(flare, payload + 28);
    PSDUtil::LongToBuffer(illuminant, payload + 32);
    return true;
}

bool PSDICCTag::SetViewConditionsTypeAttribute(double illuminantX, double illuminantY, double illuminantZ,
                                               double surroundX, double surroundY, double surroundZ,
                                               unsigned long illuminantType) {
    char* payload = StartPayload(TAG_TYPE_VIEW, 36);
    if (payload == nullptr) return false;
    PSDUtil::DoubleTo16Dot16Buffer(illuminantX, payload + 8);
    PSDUtil::DoubleTo16Dot16Buffer(illuminantY, payload + 12);
    PSDUtil::DoubleTo16Dot16Buffer(illuminantZ, payload + 16);
    PSDUtil::DoubleTo16Dot16Buffer(surroundX, payload + 20);
    PSDUtil::DoubleTo16Dot16Buffer(surroundY, payload + 24);
    PSDUtil::DoubleTo16Dot16Buffer(surroundZ, payload + 28);
    PSDUtil::LongToBuffer(illuminantType, payload + 32);
    return true;
}

bool PSDICCTag::SetXYZTypeAttribute(double x, double y, double z) {
    char* payload = StartPayload(TAG_TYPE_XYZ, 20);
    if (payload == nullptr) return false;
    PSDUtil::DoubleTo16Dot16Buffer(x, payload + 8);
    PSDUtil::DoubleTo16Dot16Buffer(y, payload + 12);
    PSDUtil::DoubleTo16Dot16Buffer(z, payload + 16);
    return true;
}

bool PSDICCTag::SetTechnologyAsName(const char* name) {
    unsigned long signature = 0;
    PSDUtil::BufferToLong(name, &signature);
    return SetTechnology(signature);
}

const char* PSDICCTag::PayloadOfType(unsigned long typeWord, unsigned long layoutSize) const {
    // A size set by hand after the payload was made may promise more than the buffer holds.
    if (TagData == nullptr || TagSize < layoutSize || DataCapacity < layoutSize) return nullptr;
    if (ReadLong(TagData) != typeWord) return nullptr;
    return TagData;
}

char* PSDICCTag::GetTextTypeAttribute() const {
    const char* payload = PayloadOfType(TAG_TYPE_TEXT, TEXT_LAYOUT);
    // The text is handed out as a string, so its terminator must be in the buffer.
    if (payload == nullptr || std::memchr(payload + 8, 0, DataCapacity - 8) == nullptr) return nullptr;
    return TagData + 8;
}

char* PSDICCTag::GetDescTypeAttribute() const {
    const char* payload = PayloadOfType(TAG_TYPE_DESC, DESC_LAYOUT);
    if (payload == nullptr || std::memchr(payload + 12, 0, DataCapacity - 12) == nullptr) return nullptr;
    return TagData + 12;
}

char* PSDICCTag::GetCurveTypeAttribute() const {
    const char* payload = PayloadOfType(TAG_TYPE_CURVE, CURVE_LAYOUT);
    if (payload == nullptr) return nullptr;
    unsigned long count = ReadLong(payload + 8);
    // The entries the count announces must be there too.
    unsigned long held = TagSize < DataCapacity ? TagSize : DataCapacity;
    if (count > (held - CURVE_LAYOUT) / 2) return nullptr;
    std::snprintf(CurveText, sizeof(CurveText), "Count:%li", static_cast<long>(count));
    return CurveText;
}

char* PSDICCTag::GetSignatureTypeAttribute() const {
    const char* payload = PayloadOfType(TAG_TYPE_SIGNATURE, SIGNATURE_LAYOUT);
    if (payload == nullptr) return nullptr;
    std::snprintf(SignatureText, sizeof(SignatureText), "Signature:%s", GetSignatureAsName(ReadLong(payload + 8)));
    return SignatureText;
}

char* PSDICCTag::GetMeasureTypeAttribute() const {
    const char* payload = PayloadOfType(TAG_TYPE_MEASUREMENT, MEASURE_LAYOUT);
    if (payload == nullptr) return nullptr;
    std::snprintf(MeasureText, sizeof(MeasureText),
                  "Observer:%s BX:%f BY:%f BZ:%f Geometry:%s Flare:%f%% Illuminant:%s",
                  GetObserverAsName(ReadLong(payload + 8)), ReadFloat(payload + 12), ReadFloat(payload + 16),
                  ReadFloat(payload + 20), GetGeometryAsName(ReadLong(payload + 24)), ReadFloat(payload + 28),
                  GetIlluminantTypeAsName(ReadLong(payload + 32)));
    return MeasureText;
}

char* PSDICCTag::GetViewConditionsTypeAttribute() const {
    const char* payload = PayloadOfType(TAG_TYPE_VIEW, VIEW_LAYOUT);
    if (payload == nullptr) return nullptr;
    std::snprintf(ViewText, sizeof(ViewText), "IX:%f IY:%f IZ:%f SX:%f SY:%f SZ:%f IT:%s", ReadFloat(payload + 8),
                  ReadFloat(payload + 12), ReadFloat(payload + 16), ReadFloat(payload + 20), ReadFloat(payload + 24),
                  ReadFloat(payload + 28), GetIlluminantTypeAsName(ReadLong(payload + 32)));
    return ViewText;
}

char* PSDICCTag::GetXYZTypeAttribute() const {
    const char* payload = PayloadOfType(TAG_TYPE_XYZ, XYZ_LAYOUT);
    if (payload == nullptr) return nullptr;
    std::snprintf(XYZText, sizeof(XYZText), "X:%f Y:%f Z:%f", ReadDouble(payload + 8), ReadDouble(payload + 12),
                  ReadDouble(payload + 16));
    return XYZText;
}

char* PSDICCTag::GetIlluminantTypeAsName(unsigned long illuminant) {
    switch (illuminant) {
        case ILLUMINANT_TYPE_D50: return ILLUMINANT_TYPE_D50_STR;
        case ILLUMINANT_TYPE_D65: return ILLUMINANT_TYPE_D65_STR;
        case ILLUMINANT_TYPE_D93: return ILLUMINANT_TYPE_D93_STR;
        case ILLUMINANT_TYPE_F2: return ILLUMINANT_TYPE_F2_STR;
        case ILLUMINANT_TYPE_D55: return ILLUMINANT_TYPE_D55_STR;
        case ILLUMINANT_TYPE_A: return ILLUMINANT_TYPE_A_STR;
        case ILLUMINANT_TYPE_EQUI_POWER: return ILLUMINANT_TYPE_EQUI_POWER_STR;
        case ILLUMINANT_TYPE_F8: return ILLUMINANT_TYPE_F8_STR;
        default: return ILLUMINANT_TYPE_UNKNOWN_STR;
    }
}

char* PSDICCTag::GetObserverAsName(unsigned long observer) {
    switch (observer) {
        case STANDARD_OBSERVER_1931: return STANDARD_OBSERVER_1931_STR;
        case STANDARD_OBSERVER_1964: return STANDARD_OBSERVER_1964_STR;
        default: return STANDARD_OBSERVER_UNKNOWN_STR;
    }
}

char* PSDICCTag::GetGeometryAsName(unsigned long geometry) {
    switch (geometry) {
        case GEOMETRY_45: return GEOMETRY_45_STR;
        case GEOMETRY_D: return GEOMETRY_D_STR;
        default: return GEOMETRY_UNKNOWN_STR;
    }
}

char* PSDICCTag::GetSignatureAsName(unsigned long signature) {
    PSDUtil::LongToBuffer(signature, SignatureName);
    SignatureName[4] = 0;
    return SignatureName;
}

char* PSDICCTag::GetTagIDAsName() const {
    // Lowest byte first, then reversed: the text ends at the first zero byte
    // counted from the low end of the ID.
    PSDUtil::NativeLongToBuffer(TagID, TagIDName);
    TagIDName[4] = 0;
    PSDUtil::ReverseString(TagIDName);
    return TagIDName;
}

char* PSDICCTag::GetAttributeAsName() const {
    char* text = nullptr;
    switch (TagID) {
        case TAGID_CPRT: text = GetCopyright(); break;
        case TAGID_PROFILE_DESCRIPTION: text = GetProfileDescription(); break;
        case TAGID_DEVICE_MFG_DESC: text = GetDeviceMfgDescription(); break;
        case TAGID_DEVICE_MODEL_DESC: text = GetDeviceModelDescription(); break;
        case TAGID_VIEWING_CONDITIONS_DESC: text = GetViewingConditionsDescription(); break;
        case TAGID_MEDIA_WHITE_POINT: text = GetMediaWhitePoint(); break;
        case TAGID_MEDIA_BLACK_POINT: text = GetMediaBlackPoint(); break;
        case TAGID_RED_COLORANT: text = GetRedColorant(); break;
        case TAGID_GREEN_COLORANT: text = GetGreenColorant(); break;
        case TAGID_BLUE_COLORANT: text = GetBlueColorant(); break;
        case TAGID_LUMINANCE: text = GetIlluminance(); break;
        case TAGID_VIEWING_CONDITIONS: text = GetViewingConditions(); break;
        case TAGID_MEASUREMENT: text = GetMeasurement(); break;
        case TAGID_TECHNOLOGY: text = GetTechnology(); break;
        case TAGID_RED_TONE_CURVE: text = GetRedToneReproCurve(); break;
        case TAGID_GREEN_TONE_CURVE: text = GetGreenToneReproCurve(); break;
        case TAGID_BLUE_TONE_CURVE: text = GetBlueToneReproCurve(); break;
        default: break;
    }
    if (text != nullptr) return text;
    EmptyText[0] = 0;
    return EmptyText;
}

void PSDICCTag::PrintInfo() const {
    std::cout << "\n";
    std::cout << "   TagID:" << GetTagIDAsName() << "\n";
    std::cout << "   TagOffset:" << GetTagOffset() << "\n";
    std::cout << "   TagSize:" << GetTagSize() << "\n";
    std::cout << "   TagData:" << GetAttributeAsName() << "\n";
    std::cout << "\n";
}

}  // namespace psdkit
