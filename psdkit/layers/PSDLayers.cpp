#include "psdkit/layers/PSDLayers.h"

#include <cstring>
#include <string>
#include <vector>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_NORMAL_STR, "normal");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_DARK_STR, "dark");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_LITE_STR, "lite");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_HUE_STR, "hue ");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_SATURATION_STR, "saturation");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_COLOR_STR, "color");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_LUMINOSITY_STR, "luminosity");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_MULTIPLY_STR, "multiply");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_SCREEN_STR, "screen");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_DISSOLVE_STR, "dissolve");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_OVERLAY_STR, "overlay");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_HARDLIGHT_STR, "hard light");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_SOFTLIGHT_STR, "soft light");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_DIFERENCE_STR, "difference");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_EXCLUSION_STR, "exclusion");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_COLORDODGE_STR, "color dodge");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_COLORBURN_STR, "color burn");
PSDKIT_DEFINE_TEXT(BLEND_MODE_KEY_INVALID_STR, "Invalid");

PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_LEVELS_STR, "level");
PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_CURVES_STR, "curve");
PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_BRIGHTNESS_STR, "brightness");
PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_COLORBALANCE_STR, "color balance");
PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_OLD_HUESAURATION_STR, "old hue/saturation");
PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_NEW_HUESAURATION_STR, "new hue/saturation");
PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_SELECTIVECOLOR_STR, "selective color");
PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_THRESHOLD_STR, "threshold");
PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_INVERT_STR, "invert");
PSDKIT_DEFINE_TEXT(LAYER_KEY_ADJUSTMENT_INFO_POSTERIZE_STR, "posterize");
PSDKIT_DEFINE_TEXT(LAYER_KEY_EFFECTS_LAYER_INFO_STR, "effects layer");
PSDKIT_DEFINE_TEXT(LAYER_KEY_TOOL_TYPE_INFO_STR, "tool type");
PSDKIT_DEFINE_TEXT(LAYER_KEY_UNICODE_LAYER_NAME_STR, "unicode layer name");
PSDKIT_DEFINE_TEXT(LAYER_KEY_LAYER_ID_STR, "layer ID");
PSDKIT_DEFINE_TEXT(LAYER_KEY_UNKNOWN_STR, "Unknown");

PSDKIT_DEFINE_TEXT(CLIPPING_BASE_STR, "Base");
PSDKIT_DEFINE_TEXT(CLIPPING_NON_BASE_STR, "Non-Base");
PSDKIT_DEFINE_TEXT(CLIPPING_INVALID_STR, "Invalid");

PSDKIT_DEFINE_TEXT(FLAG_TRANSPARENCY_PROTECTED_STR, "Transparency Protected");
PSDKIT_DEFINE_TEXT(FLAG_VISIBLE_STR, "Visible");
PSDKIT_DEFINE_TEXT(FLAG_OBSOLETE_STR, "Obsolete");
PSDKIT_DEFINE_TEXT(FLAG_PHOTOSHOP5PLUS_STR, "Photoshop5+");
PSDKIT_DEFINE_TEXT(FLAG_PIXELDATA_IRRELEVANT_STR, "Pixel Data Irrelevant");
PSDKIT_DEFINE_TEXT(FLAG_INVALID_STR, "Invalid");

PSDKIT_DEFINE_TEXT(LAYER_COMPRESSION_RAW_STR, "Raw");
PSDKIT_DEFINE_TEXT(LAYER_COMPRESSION_RLE_STR, "RLE");
PSDKIT_DEFINE_TEXT(LAYER_COMPRESSION_ZIP_STR, "ZIP");
PSDKIT_DEFINE_TEXT(LAYER_COMPRESSION_ZIP_PREDICTION_STR, "ZIPw/Prediction");
PSDKIT_DEFINE_TEXT(LAYER_COMPRESSION_INVALID_STR, "Invalid");

char PSDLayers::FlagsName[74];
char PSDLayers::BlendModeSignatureName[5];
char PSDLayers::AdjustmentSignatureName[5];

namespace {

// The counters of the model are 16 bits wide.
const std::size_t MAX_ENTRIES = 0xFFFF;

// Keys of the additional information the reader looks into.
const unsigned long KEY_SECTION_DIVIDER = 0x6C736374;         // "lsct"
const unsigned long KEY_NESTED_SECTION_DIVIDER = 0x6C73646B;  // "lsdk"
const unsigned long KEY_LAYERS_16 = 0x4C723136;               // "Lr16"
const unsigned long KEY_LAYERS_32 = 0x4C723332;               // "Lr32"
const unsigned long SIGNATURE_8BIM = 0x3842494D;              // "8BIM"
const unsigned long SIGNATURE_8B64 = 0x38423634;              // "8B64"

bool IsBlockSignature(const char* bytes) {
    unsigned long signature = PSDBoundedReader::LongAt(bytes);
    return signature == SIGNATURE_8BIM || signature == SIGNATURE_8B64;
}

// UTF-16 code units, high byte first, as UTF-8; a lone surrogate becomes U+FFFD.
std::string Utf8FromUtf16(const char* bytes, unsigned long units) {
    auto unit = [bytes](unsigned long i) {
        return static_cast<unsigned long>(static_cast<unsigned char>(bytes[2 * i]) << 8 |
                                          static_cast<unsigned char>(bytes[2 * i + 1]));
    };
    std::string text;
    text.reserve(units);
    for (unsigned long i = 0; i < units; ++i) {
        unsigned long c = unit(i);
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < units && unit(i + 1) >= 0xDC00 && unit(i + 1) < 0xE000) {
            c = 0x10000 + ((c - 0xD800) << 10) + (unit(i + 1) - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c < 0xE000) {
            c = 0xFFFD;
        }
        int tail = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        static const unsigned char LEAD[] = {0x00, 0xC0, 0xE0, 0xF0};
        text += static_cast<char>(LEAD[tail] | (c >> (6 * tail)));
        for (int k = tail - 1; k >= 0; --k) text += static_cast<char>(0x80 | ((c >> (6 * k)) & 0x3F));
    }
    return text;
}

// The four characters of a signature in file order: the low byte goes first
// and the reversal puts the high byte in front. A zero byte ends the text.
char* SignatureAsName(unsigned long value, char* buffer) {
    buffer[0] = static_cast<char>(value & 0xFF);
    buffer[1] = static_cast<char>((value >> 8) & 0xFF);
    buffer[2] = static_cast<char>((value >> 16) & 0xFF);
    buffer[3] = static_cast<char>((value >> 24) & 0xFF);
    buffer[4] = 0;
    PSDUtil::ReverseString(buffer);
    return buffer;
}

}  // namespace

PSDLayers::PSDLayers()
    : LayerInfoSize(0),
      LayerCount(0),
      GlobalLayerMaskLength(0),
      OverlayColorSpace(0),
      ColorComponents{0, 0, 0, 0},
      OverlayOpacity(0),
      Kind(0),
      Filler(0),
      ChannelStartsKnown(0) {
    ClearGlobalLayerMask();
}

PSDLayers::~PSDLayers() {
    for (LayerRecord* record : LayerRecords) FreeLayerRecord(record);
    for (ChannelImageData* entry : LayerImageData) delete entry;
}

void PSDLayers::ClearGlobalLayerMask() {
    GlobalLayerMaskLength = 0;
    OverlayColorSpace = 0;
    for (unsigned short& component : ColorComponents) component = 0;
    OverlayOpacity = 0;
    Kind = 0;
    Filler = 0;
}

// ---------------------------------------------------------------------------
// The model

void PSDLayers::SetLayerRecordNumChannels(unsigned short value, unsigned short layer) {
    Record(layer)->NumChannels = value;
    ChannelCountChanged(layer);
}

void PSDLayers::SetLayerRecordLayerName(const char* name, unsigned short layer) {
    char* field = Record(layer)->LayerName;
    if (name == nullptr) {
        field[0] = 0;
        return;
    }
    std::size_t length = std::strlen(name);
    if (length > LayerRecord::MAX_NAME_LENGTH) length = LayerRecord::MAX_NAME_LENGTH;
    std::memcpy(field, name, length);
    field[length] = 0;
}

unsigned long PSDLayers::ChannelStart(unsigned short layer) const {
    if (layer > LayerRecords.size()) return ~0UL;
    if (ChannelStarts.size() < LayerRecords.size() + 1) ChannelStarts.resize(LayerRecords.size() + 1);
    if (ChannelStartsKnown == 0) {
        ChannelStarts[0] = 0;
        ChannelStartsKnown = 1;
    }
    // Only the layers behind the last known start are summed.
    while (ChannelStartsKnown <= layer) {
        std::size_t i = ChannelStartsKnown;
        ChannelStarts[i] = ChannelStarts[i - 1] + LayerRecords[i - 1]->NumChannels;
        ++ChannelStartsKnown;
    }
    return ChannelStarts[layer];
}

void PSDLayers::ChannelCountChanged(unsigned short layer) {
    // The starts up to this layer's own do not depend on its count.
    if (ChannelStartsKnown > static_cast<std::size_t>(layer) + 1) ChannelStartsKnown = layer + 1;
}

ChannelImageData* PSDLayers::CompressionEntry(unsigned short channel, unsigned short layer) const {
    unsigned long start = ChannelStart(layer);
    if (start >= LayerImageData.size()) return nullptr;
    if (channel >= LayerImageData.size() - start) return nullptr;
    return LayerImageData[start + channel];
}

unsigned short PSDLayers::GetLayerRecordImageDataCompression(unsigned short channel, unsigned short layer) const {
    ChannelImageData* entry = CompressionEntry(channel, layer);
    return entry == nullptr ? 0 : entry->Compression;
}

void PSDLayers::SetLayerRecordImageDataCompression(unsigned short value, unsigned short channel, unsigned short layer) {
    ChannelImageData* entry = CompressionEntry(channel, layer);
    if (entry != nullptr) entry->Compression = value;
}

unsigned short PSDLayers::AddLayerRecord() {
    LayerRecords.push_back(AllocateLayerRecord());
    return LayerCount++;
}

unsigned short PSDLayers::AddChannelInfoRecord(unsigned short layer) {
    LayerRecord* record = Record(layer);
    record->Channels.push_back(AllocateChannelInfoRecord());
    ChannelCountChanged(layer);
    return record->NumChannels++;
}

unsigned short PSDLayers::AddBlendingChannel(unsigned short layer) {
    LayerRecord* record = Record(layer);
    record->BlendingChannels.push_back(AllocateBlendingChannel());
    return static_cast<unsigned short>(record->BlendingNumChannels++);
}

unsigned short PSDLayers::AddAdjustment(LayerAdjustment* adjustment, unsigned short layer) {
    LayerRecord* record = Record(layer);
    record->Adjustments.push_back(adjustment);
    return record->NumAdjustments++;
}

unsigned short PSDLayers::AddGenericLayerAdjustment(unsigned short layer) {
    return AddAdjustment(AllocateGenericLayerAdjustment(), layer);
}

unsigned short PSDLayers::AddUnicodeLayer(unsigned short layer) { return AddAdjustment(AllocateUnicodeLayer(), layer); }

void PSDLayers::AddLayerImageData(unsigned short) { LayerImageData.push_back(AllocateLayerImageData()); }

LayerRecord* PSDLayers::AllocateLayerRecord() { return new LayerRecord(); }
ChannelInfo* PSDLayers::AllocateChannelInfoRecord() { return new ChannelInfo(); }
BlendingChannel* PSDLayers::AllocateBlendingChannel() { return new BlendingChannel(); }
LayerAdjustment* PSDLayers::AllocateGenericLayerAdjustment() { return new LayerAdjustment(); }
UnicodeLayer* PSDLayers::AllocateUnicodeLayer() { return new UnicodeLayer(); }
ChannelImageData* PSDLayers::AllocateLayerImageData() { return new ChannelImageData(); }
LayerMask* PSDLayers::AllocateLayerMask() { return new LayerMask(); }
void PSDLayers::FreeLayerRecord(LayerRecord* record) { delete record; }
void PSDLayers::FreeChannelInfoRecord(ChannelInfo* channel) { delete channel; }
void PSDLayers::FreeLayerMask(LayerMask* mask) { delete mask; }

unsigned long PSDLayers::GetLayerRecordChannelDataOffset(unsigned short channel, unsigned short layer) const {
    ChannelImageData* entry = CompressionEntry(channel, layer);
    return entry == nullptr ? 0 : entry->DataOffset;
}

const char* PSDLayers::GetLayerRecordUnicodeName(unsigned short layer) const {
    for (const LayerAdjustment* entry : Record(layer)->Adjustments)
        if (entry->Key == LAYER_KEY_UNICODE_LAYER_NAME)
            if (const UnicodeLayer* name = dynamic_cast<const UnicodeLayer*>(entry)) return name->Name.c_str();
    return nullptr;
}

unsigned long PSDLayers::GetLayerRecordSectionDividerType(unsigned short layer) const {
    return Record(layer)->DividerType;
}

// ---------------------------------------------------------------------------
// Display texts

char* PSDLayers::GetLayerRecordBlendModeKeyAsName(unsigned short layer) const {
    switch (GetLayerRecordBlendModeKey(layer)) {
        case BLEND_MODE_KEY_NORMAL: return BLEND_MODE_KEY_NORMAL_STR;
        case BLEND_MODE_KEY_DARK: return BLEND_MODE_KEY_DARK_STR;
        case BLEND_MODE_KEY_LITE: return BLEND_MODE_KEY_LITE_STR;
        case BLEND_MODE_KEY_HUE: return BLEND_MODE_KEY_HUE_STR;
        case BLEND_MODE_KEY_SATURATION: return BLEND_MODE_KEY_SATURATION_STR;
        case BLEND_MODE_KEY_COLOR: return BLEND_MODE_KEY_COLOR_STR;
        case BLEND_MODE_KEY_LUMINOSITY: return BLEND_MODE_KEY_LUMINOSITY_STR;
        case BLEND_MODE_KEY_MULTIPLY: return BLEND_MODE_KEY_MULTIPLY_STR;
        case BLEND_MODE_KEY_SCREEN: return BLEND_MODE_KEY_SCREEN_STR;
        case BLEND_MODE_KEY_DISSOLVE: return BLEND_MODE_KEY_DISSOLVE_STR;
        case BLEND_MODE_KEY_OVERLAY: return BLEND_MODE_KEY_OVERLAY_STR;
        case BLEND_MODE_KEY_HARDLIGHT: return BLEND_MODE_KEY_HARDLIGHT_STR;
        case BLEND_MODE_KEY_SOFTLIGHT: return BLEND_MODE_KEY_SOFTLIGHT_STR;
        case BLEND_MODE_KEY_DIFERENCE: return BLEND_MODE_KEY_DIFERENCE_STR;
        case BLEND_MODE_KEY_EXCLUSION: return BLEND_MODE_KEY_EXCLUSION_STR;
        case BLEND_MODE_KEY_COLORDODGE: return BLEND_MODE_KEY_COLORDODGE_STR;
        case BLEND_MODE_KEY_COLORBURN: return BLEND_MODE_KEY_COLORBURN_STR;
        default: return BLEND_MODE_KEY_INVALID_STR;
    }
}

char* PSDLayers::GetLayerRecordClippingAsName(unsigned short layer) const {
    switch (GetLayerRecordClipping(layer)) {
        case CLIPPING_BASE: return CLIPPING_BASE_STR;
        case CLIPPING_NON_BASE: return CLIPPING_NON_BASE_STR;
        default: return CLIPPING_INVALID_STR;
    }
}

char* PSDLayers::GetLayerRecordImageDataCompressionAsName(unsigned short channel, unsigned short layer) const {
    switch (GetLayerRecordImageDataCompression(channel, layer)) {
        case LAYER_COMPRESSION_RAW: return LAYER_COMPRESSION_RAW_STR;
        case LAYER_COMPRESSION_RLE: return LAYER_COMPRESSION_RLE_STR;
        case LAYER_COMPRESSION_ZIP: return LAYER_COMPRESSION_ZIP_STR;
        case LAYER_COMPRESSION_ZIP_PREDICTION: return LAYER_COMPRESSION_ZIP_PREDICTION_STR;
        default: return LAYER_COMPRESSION_INVALID_STR;
    }
}

char* PSDLayers::GetLayerRecordAdjustmentKeyAsName(unsigned short entry, unsigned short layer) const {
    switch (GetLayerRecordAdjustmentKey(entry, layer)) {
        case LAYER_KEY_ADJUSTMENT_INFO_LEVELS: return LAYER_KEY_ADJUSTMENT_INFO_LEVELS_STR;
        case LAYER_KEY_ADJUSTMENT_INFO_CURVES: return LAYER_KEY_ADJUSTMENT_INFO_CURVES_STR;
        case LAYER_KEY_ADJUSTMENT_INFO_BRIGHTNESS: return LAYER_KEY_ADJUSTMENT_INFO_BRIGHTNESS_STR;
        case LAYER_KEY_ADJUSTMENT_INFO_COLORBALANCE: return LAYER_KEY_ADJUSTMENT_INFO_COLORBALANCE_STR;
        case LAYER_KEY_ADJUSTMENT_INFO_OLD_HUESAURATION: return LAYER_KEY_ADJUSTMENT_INFO_OLD_HUESAURATION_STR;
        case LAYER_KEY_ADJUSTMENT_INFO_NEW_HUESAURATION: return LAYER_KEY_ADJUSTMENT_INFO_NEW_HUESAURATION_STR;
        case LAYER_KEY_ADJUSTMENT_INFO_SELECTIVECOLOR: return LAYER_KEY_ADJUSTMENT_INFO_SELECTIVECOLOR_STR;
        case LAYER_KEY_ADJUSTMENT_INFO_THRESHOLD: return LAYER_KEY_ADJUSTMENT_INFO_THRESHOLD_STR;
        case LAYER_KEY_ADJUSTMENT_INFO_INVERT: return LAYER_KEY_ADJUSTMENT_INFO_INVERT_STR;
        case LAYER_KEY_ADJUSTMENT_INFO_POSTERIZE: return LAYER_KEY_ADJUSTMENT_INFO_POSTERIZE_STR;
        case LAYER_KEY_EFFECTS_LAYER_INFO: return LAYER_KEY_EFFECTS_LAYER_INFO_STR;
        case LAYER_KEY_TOOL_TYPE_INFO: return LAYER_KEY_TOOL_TYPE_INFO_STR;
        case LAYER_KEY_UNICODE_LAYER_NAME: return LAYER_KEY_UNICODE_LAYER_NAME_STR;
        case LAYER_KEY_LAYER_ID: return LAYER_KEY_LAYER_ID_STR;
        default: return LAYER_KEY_UNKNOWN_STR;
    }
}

char* PSDLayers::GetLayerRecordFlagsAsName(unsigned short layer) const {
    static const unsigned char BITS[] = {
        static_cast<unsigned char>(FLAG_TRANSPARENCY_PROTECTED), static_cast<unsigned char>(FLAG_VISIBLE),
        static_cast<unsigned char>(FLAG_OBSOLETE), static_cast<unsigned char>(FLAG_PHOTOSHOP5PLUS),
        static_cast<unsigned char>(FLAG_PIXELDATA_IRRELEVANT)};
    const char* const names[] = {FLAG_TRANSPARENCY_PROTECTED_STR, FLAG_VISIBLE_STR, FLAG_OBSOLETE_STR,
                                 FLAG_PHOTOSHOP5PLUS_STR, FLAG_PIXELDATA_IRRELEVANT_STR};
    unsigned char flags = static_cast<unsigned char>(GetLayerRecordFlags(layer));
    FlagsName[0] = 0;
    for (std::size_t i = 0; i < sizeof(BITS); ++i) {
        if ((flags & BITS[i]) == 0) continue;
        if (FlagsName[0] != 0) std::strcat(FlagsName, "|");
        std::strcat(FlagsName, names[i]);
    }
    return FlagsName;
}

char* PSDLayers::GetLayerRecordBlendModeSignatureAsName(unsigned short layer) const {
    return SignatureAsName(GetLayerRecordBlendModeSignature(layer), BlendModeSignatureName);
}

char* PSDLayers::GetLayerRecordAdjustmentSignatureAsName(unsigned short entry, unsigned short layer) const {
    return SignatureAsName(GetLayerRecordAdjustmentSignature(entry, layer), AdjustmentSignatureName);
}

// ---------------------------------------------------------------------------
// The reader

bool PSDLayers::ReadSection() {
    PSDBoundedReader file(InputStream);
    bool result = ReadSection(file);
    file.SyncStream();
    return result;
}

bool PSDLayers::ReadSection(PSDBoundedReader& file) {
    if (!file.ReadLong(&SectionLength)) {
        SectionLength = 0;
        file.Problem("layer section: the file ends inside its length word");
        file.Skip(file.Remaining());
        return false;
    }
    if (SectionLength == 0) return true;

    // Nothing of the walk reads or seeks outside this window.
    PSDBoundedReader section = file.Take(SectionLength);
    if (section.Clipped()) section.Problem("layer section: its %lu bytes run past the end of the file", SectionLength);
    PSDBoundedReader start = section;
    bool walked = ReadLayerInfo(section, true) && ReadGlobalLayerMask(section);
    // An odd section is followed by a closing byte. The walk of a well-formed
    // section ends where the length word says; only a walk that reached that
    // end passes over the byte behind it.
    bool closingByte = walked && (SectionLength & 1) != 0 && section.Remaining() == 0 && !section.Clipped();
    // The walk takes no account of the layer info's size; where the global
    // layer mask stands by that size, the tagged blocks are found behind it
    // (a 16-bit document keeps its layers there behind an empty layer info).
    unsigned long maskLength = 0;
    if (start.Skip(4) && start.Skip(LayerInfoSize) && start.ReadLong(&maskLength) && start.Skip(maskLength)) {
        ReadTaggedBlocks(start);
    } else if (!walked) {
        section.Problem("layer section: the global layer mask does not fit in the section");
    } else {
        ReadTaggedBlocks(section);
    }
    if (closingByte && !file.Skip(1)) file.Problem("layer section: the file ends before its closing byte");
    return !section.Clipped();
}

bool PSDLayers::ReadLayerInfo(PSDBoundedReader& section, bool sizeWord) {
    unsigned short count = 0;
    if ((sizeWord && !section.ReadLong(&LayerInfoSize)) || !section.ReadShort(&count)) {
        section.Problem("layer section: cut inside the layer info's size and count");
        return false;
    }
    if (sizeWord && LayerInfoSize > section.Remaining() + 2)
        section.Problem("layer section: the layer info's %lu bytes run past the section", LayerInfoSize);
    // A negative count means as many records, the first alpha channel then
    // holding the merged image's transparency.
    unsigned long records = (count & 0x8000) != 0 ? 0x10000UL - count : count;

    std::size_t firstLayer = LayerRecords.size();
    for (unsigned long i = 0; i < records; ++i) {
        if (LayerRecords.size() >= MAX_ENTRIES) {
            section.Problem("layer record %lu: more records than a layer list holds", i);
            return false;
        }
        if (!ReadLayerRecord(section, i)) return false;
    }
    return ReadChannelImageData(section, firstLayer);
}

bool PSDLayers::ReadLayerRecord(PSDBoundedReader& section, unsigned long index) {
    unsigned long top = 0;
    unsigned long left = 0;
    unsigned long bottom = 0;
    unsigned long right = 0;
    unsigned short channels = 0;
    if (!(section.ReadLong(&top) && section.ReadLong(&left) && section.ReadLong(&bottom) && section.ReadLong(&right) &&
          section.ReadShort(&channels))) {
        section.Problem("layer record %lu: cut by the end of the layer section", index);
        return false;
    }
    // The channel list and the 16 bytes behind it must be there before
    // anything is allocated for them.
    if (static_cast<unsigned long>(channels) * 6 + 16 > section.Remaining()) {
        section.Problem("layer record %lu: %u channels do not fit in the layer section", index, channels);
        return false;
    }

    // The record and its channels, against the read's memory budget.
    const unsigned long perChannel = sizeof(ChannelInfo) + sizeof(ChannelImageData) + 48;
    if (!PSDBoundedReader::Charge(sizeof(LayerRecord) + 64 + channels * perChannel)) {
        section.Problem("layer record %lu: the read's memory budget is spent, reading stops", index);
        return false;
    }
    LayerRecord* record = AllocateLayerRecord();
    record->LayerTop = top;
    record->LayerLeft = left;
    record->LayerBottom = bottom;
    record->LayerRight = right;
    record->Channels.reserve(channels);
    for (unsigned short c = 0; c < channels; ++c) {
        ChannelInfo* channel = AllocateChannelInfoRecord();
        record->Channels.push_back(channel);
        section.ReadShort(&channel->ChannelID);
        section.ReadLong(&channel->ChannelLength);
    }
    record->NumChannels = channels;
    const char* bytes = section.Peek(16);
    record->BlendModeSignature = PSDBoundedReader::LongAt(bytes);
    record->BlendModeKey = PSDBoundedReader::LongAt(bytes + 4);
    record->Opacity = bytes[8];
    record->Clipping = bytes[9];
    record->Flags = bytes[10];  // then a filler byte
    record->ExtraDataSize = PSDBoundedReader::LongAt(bytes + 12);
    section.Skip(16);

    LayerRecords.push_back(record);
    ++LayerCount;
    ChannelCountChanged(static_cast<unsigned short>(LayerRecords.size() - 1));

    PSDBoundedReader extra = section.Sub(record->ExtraDataSize);
    if (extra.Clipped())
        extra.Problem("layer record %lu: its %lu bytes of extra data run past the layer section", index,
                      record->ExtraDataSize);
    bool complete = ReadExtraData(extra, record, index);
    // The next record starts where the extra data size says. A record whose
    // size passes the section but whose parts all fit goes on from where its
    // parts end; one whose parts do not fit leaves no place for a next record.
    if (section.Skip(record->ExtraDataSize)) return true;
    return complete && section.SeekToFileOffset(extra.FileOffset());
}

bool PSDLayers::ReadExtraData(PSDBoundedReader& extra, LayerRecord* record, unsigned long index) {
    // The walk counts down what is left of the extra data in 16 bits, so a
    // stored size of 65536 or more counts modulo 65536.
    unsigned short remainder = static_cast<unsigned short>(record->ExtraDataSize & 0xFFFF);
    const char* part = nullptr;
    if (!ReadLayerMask(extra, record, &remainder))
        part = "mask";
    else if (!ReadBlendingRanges(extra, record, &remainder))
        part = "blending ranges";
    else if (!ReadLayerName(extra, record, &remainder))
        part = "name";
    else if (!ReadAdditionalInfo(extra, record, remainder))
        part = "additional information";
    if (part == nullptr) return true;
    extra.Problem("layer record %lu: its %s does not fit in its extra data", index, part);
    return false;
}

bool PSDLayers::ReadLayerMask(PSDBoundedReader& extra, LayerRecord* record, unsigned short* remainder) {
    LayerMask& mask = record->Mask;
    if (!extra.ReadLong(&mask.MaskSize)) return false;
    *remainder = static_cast<unsigned short>(*remainder - 4 - mask.MaskSize);
    if (mask.MaskSize == 0) return true;
    PSDBoundedReader block = extra.Take(mask.MaskSize);
    if (block.Clipped()) return false;
    if (mask.MaskSize < 20)
        block.Problem("layer record %lu: a mask of %lu bytes holds no rectangle",
                      static_cast<unsigned long>(LayerRecords.size() - 1), mask.MaskSize);
    // A block of fewer than 4 bytes has no first value to keep.
    if (!block.ReadLong(&mask.MaskTop)) return true;
    if (!(block.ReadLong(&mask.MaskLeft) && block.ReadLong(&mask.MaskBottom) && block.ReadLong(&mask.MaskRight) &&
          block.ReadByte(&mask.DefaultColor) && block.ReadByte(&mask.Flags)))
        return true;
    // A block of 20 bytes ends in 2 bytes of padding; one of 36 or more holds
    // the real user mask next: its flags, default colour and rectangle.
    // Photoshop writes the mask's parameters (flag bit 4) behind it.
    if (mask.MaskSize >= 36 && block.Remaining() >= 18) {
        block.ReadByte(&mask.RealFlags);
        block.ReadByte(&mask.RealDefaultColor);
        block.ReadLong(&mask.RealTop);
        block.ReadLong(&mask.RealLeft);
        block.ReadLong(&mask.RealBottom);
        block.ReadLong(&mask.RealRight);
    }
    return true;
}

bool PSDLayers::ReadBlendingRanges(PSDBoundedReader& extra, LayerRecord* record, unsigned short* remainder) {
    if (!extra.ReadLong(&record->BlendingLength)) return false;
    unsigned long length = record->BlendingLength;
    *remainder = static_cast<unsigned short>(*remainder - 4 - length);
    if (length == 0) return true;
    PSDBoundedReader ranges = extra.Take(length);
    if (ranges.Clipped()) return false;
    // The two gray values and 8 bytes per channel; a block too short for the
    // gray values, or bytes that make no whole channel, are passed over.
    if (length < 8 || (length - 8) % 8 != 0)
        ranges.Problem("layer record %lu: blending ranges of %lu bytes make no whole channel",
                       static_cast<unsigned long>(LayerRecords.size() - 1), length);
    if (length < 8) return true;
    ranges.ReadLong(&record->BlendingGrayBlendSrc);
    ranges.ReadLong(&record->BlendingGrayBlendDest);
    unsigned short channels = static_cast<unsigned short>((length - 8) / 8);
    if (!PSDBoundedReader::Charge(channels * (sizeof(BlendingChannel) + 24UL))) return false;
    record->BlendingChannels.reserve(channels);
    for (unsigned short c = 0; c < channels; ++c) {
        BlendingChannel* channel = AllocateBlendingChannel();
        record->BlendingChannels.push_back(channel);
        ++record->BlendingNumChannels;
        ranges.ReadLong(&channel->Src);
        ranges.ReadLong(&channel->Dest);
    }
    return true;
}

bool PSDLayers::ReadLayerName(PSDBoundedReader& extra, LayerRecord* record, unsigned short* remainder) {
    // The name's length byte and the name are padded to a multiple of 4.
    unsigned char length = 0;
    if (!extra.ReadByte(&length)) return false;
    unsigned long padded = (static_cast<unsigned long>(length) + 4) & ~3UL;
    const char* name = extra.Peek(padded - 1);
    if (name == nullptr) return false;
    std::memcpy(record->LayerName, name, length);
    record->LayerName[length] = 0;
    extra.Skip(padded - 1);
    *remainder = static_cast<unsigned short>(*remainder - padded);
    return true;
}

bool PSDLayers::ReadAdditionalInfo(PSDBoundedReader& extra, LayerRecord* record, unsigned short remainder) {
    // The count ends the list. When it comes to 0 short of the extra data's
    // end (a size of 65536 or more), the entries that stand behind it inside
    // the extra data are read as well.
    bool counted = false;
    // One allocation for the usual handful of entries; each takes 12 bytes
    // at least.
    record->Adjustments.reserve(std::min<unsigned long>(extra.Remaining() / 12, 16));
    for (;;) {
        if (remainder == 0) counted = true;
        if (counted && !(extra.Has(12) && IsBlockSignature(extra.Peek(4)))) return true;
        if (record->Adjustments.size() >= MAX_ENTRIES || !extra.Has(12)) return false;
        if (!PSDBoundedReader::Charge(sizeof(UnicodeLayer) + 32)) return false;
        unsigned long signature = 0;
        unsigned long key = 0;
        unsigned long length = 0;
        extra.ReadLong(&signature);
        extra.ReadLong(&key);
        extra.ReadLong(&length);
        PSDBoundedReader payload = extra.Take(length);
        if (payload.Clipped()) return false;
        LayerAdjustment* entry = nullptr;
        if (key == LAYER_KEY_UNICODE_LAYER_NAME) {
            UnicodeLayer* name = AllocateUnicodeLayer();
            // A count of UTF-16 units, then the units.
            unsigned long units = 0;
            if (payload.ReadLong(&units) && units <= payload.Remaining() / 2)
                name->Name = Utf8FromUtf16(payload.Peek(2 * units), units);
            entry = name;
        } else {
            entry = AllocateGenericLayerAdjustment();
            if (key == KEY_SECTION_DIVIDER || key == KEY_NESTED_SECTION_DIVIDER) payload.ReadLong(&record->DividerType);
        }
        entry->Signature = signature;
        entry->Key = key;
        entry->Length = length;
        record->Adjustments.push_back(entry);
        ++record->NumAdjustments;
        remainder = static_cast<unsigned short>(remainder - 12 - (length & 0xFFFF));
    }
}

bool PSDLayers::ReadChannelImageData(PSDBoundedReader& section, std::size_t firstLayer) {
    if (firstLayer >= LayerRecords.size()) return true;
    // The codes of this read follow those of the layers before it, also when
    // an earlier walk found fewer.
    unsigned long start = ChannelStart(static_cast<unsigned short>(firstLayer));
    while (LayerImageData.size() < start) LayerImageData.push_back(AllocateLayerImageData());

    for (std::size_t layer = firstLayer; layer < LayerRecords.size(); ++layer) {
        const std::vector<ChannelInfo*>& channels = LayerRecords[layer]->Channels;
        for (std::size_t c = 0; c < channels.size(); ++c) {
            unsigned long at = section.FileOffset();
            unsigned short code = 0;
            if (!section.ReadShort(&code)) {
                section.Problem("layer record %lu channel %lu: cut by the end of the layer section",
                                static_cast<unsigned long>(layer - firstLayer), static_cast<unsigned long>(c));
                return false;
            }
            ChannelImageData* entry = AllocateLayerImageData();
            LayerImageData.push_back(entry);
            entry->Compression = code;
            entry->DataOffset = at;
            // The length counts the code just read. A length below 2 moves
            // back, so the next channel sees those bytes again.
            unsigned long length = channels[c]->ChannelLength;
            if (length < 2) {
                section.Problem("layer record %lu channel %lu: a length of %lu leaves no room for its code",
                                static_cast<unsigned long>(layer - firstLayer), static_cast<unsigned long>(c), length);
                section.SeekTo(section.Offset() - (2 - length));
            } else if (!section.Skip(length - 2)) {
                section.Problem("layer record %lu channel %lu: its %lu bytes run past the layer section",
                                static_cast<unsigned long>(layer - firstLayer), static_cast<unsigned long>(c), length);
                return false;
            }
        }
    }
    return true;
}

bool PSDLayers::ReadGlobalLayerMask(PSDBoundedReader& section) {
    // A length word that would cross the end of the section is no length word.
    unsigned long length = 0;
    if (section.Has(4)) section.ReadLong(&length);
    SetGlobalLayerMaskLength(length);
    return length == 0 || section.Skip(length);
}

void PSDLayers::ReadTaggedBlocks(PSDBoundedReader& section) {
    for (;;) {
        // Blocks may stand on 4-byte boundaries, with padding before them.
        unsigned long pad = 0;
        while (pad < 4 && section.Has(pad + 12) && !IsBlockSignature(section.Peek(pad + 12) + pad)) ++pad;
        if (pad == 4 || !section.Has(pad + 12)) return;
        unsigned long key = 0;
        unsigned long length = 0;
        section.Skip(pad + 4);
        section.ReadLong(&key);
        section.ReadLong(&length);
        if ((key == KEY_LAYERS_16 || key == KEY_LAYERS_32) && TaggedLayersOffset == 0) {
            TaggedLayersOffset = section.FileOffset();
            TaggedLayersLength = length < section.Remaining() ? length : section.Remaining();
        }
        if (!section.Skip(length)) {
            char name[5];
            PSDUtil::LongToBuffer(key, name);
            name[4] = 0;
            section.Problem("tagged block '%s': its %lu bytes run past the layer section", name, length);
            return;
        }
    }
}

bool PSDLayers::ReadTaggedLayers(PSDBoundedReader& block) { return ReadLayerInfo(block, false); }

}  // namespace psdkit
