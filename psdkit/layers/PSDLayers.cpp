#include "psdkit/layers/PSDLayers.h"

#include <cstring>
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

// Reads the section's window ahead in blocks, so that the small fields of the
// records and the short distances between them cost no system call each: a
// move only sets the position, and the stream is moved when a read falls
// outside the block in memory. Like the window it reads through, it refuses a
// read or a move past the window's end and then consumes nothing.
class LayerSectionCursor {
public:
    static const unsigned long BLOCK_SIZE = 64 * 1024;

    explicit LayerSectionCursor(PSDBoundedReader& window)
        : Window(window), Block(), BlockStart(0), BlockLength(0), Pos(window.Offset()),
          ReadAhead(BLOCK_SIZE) {}

    unsigned long Offset() const { return Pos; }
    unsigned long Size() const { return Window.Size(); }
    unsigned long Remaining() const { return Size() > Pos ? Size() - Pos : 0; }
    bool Has(unsigned long n) const { return n <= Remaining(); }
    // True when the next n bytes are in memory.
    bool Holds(unsigned long n) const {
        return Pos >= BlockStart && Pos - BlockStart <= BlockLength && n <= BlockLength - (Pos - BlockStart);
    }
    // The least a read from the stream takes, when it has to read.
    void SetReadAhead(unsigned long n) { ReadAhead = n; }

    bool Skip(unsigned long n) {
        if (!Has(n)) return false;
        Pos += n;
        return true;
    }
    bool SeekTo(unsigned long offset) {
        if (offset > Size()) return false;
        Pos = offset;
        return true;
    }
    bool Read(char* destination, unsigned long n) {
        if (!Has(n)) return false;
        if (!Holds(n) && !Fill(n)) return false;
        std::memcpy(destination, Block.data() + (Pos - BlockStart), n);
        Pos += n;
        return true;
    }
    bool ReadByte(unsigned char* value) {
        char b;
        if (!Read(&b, 1)) return false;
        *value = static_cast<unsigned char>(b);
        return true;
    }
    bool ReadShort(unsigned short* value) {
        char b[2];
        if (!Read(b, 2)) return false;
        PSDUtil::BufferToShort(b, value);
        return true;
    }
    bool ReadLong(unsigned long* value) {
        char b[4];
        if (!Read(b, 4)) return false;
        PSDUtil::BufferToLong(b, value);
        return true;
    }

private:
    bool Fill(unsigned long n) {
        // Never more than the window holds, so the block is backed by the file.
        unsigned long want = ReadAhead < Remaining() ? ReadAhead : Remaining();
        if (want < n) want = n;
        if (Block.size() < want) Block.resize(want);
        BlockLength = 0;
        if (Window.Offset() != Pos && !Window.SeekTo(Pos)) return false;
        if (!Window.Read(Block.data(), want)) return false;
        BlockStart = Pos;
        BlockLength = want;
        return true;
    }

    PSDBoundedReader& Window;
    std::vector<char> Block;
    unsigned long BlockStart;  // window offset of the block's first byte
    unsigned long BlockLength;
    unsigned long Pos;
    unsigned long ReadAhead;
};

char PSDLayers::FlagsName[74];
char PSDLayers::BlendModeSignatureName[5];
char PSDLayers::AdjustmentSignatureName[5];

namespace {

// The counters of the model are 16 bits wide.
const std::size_t MAX_ENTRIES = 0xFFFF;

// Pixel data up to this size is read through with the codes around it; a
// larger stretch is passed by moving the stream.
const unsigned long READ_THROUGH_LIMIT = 16 * 1024;
const unsigned long READ_AHEAD_LIMIT = 64 * 1024;

// How much to read at the code of channel `first`: through the codes of the
// channels behind it as long as their pixel data is short.
unsigned long CodesAhead(const std::vector<const ChannelInfo*>& channels, std::size_t first) {
    unsigned long span = 2;
    for (std::size_t i = first; i + 1 < channels.size(); ++i) {
        unsigned long length = channels[i]->ChannelLength;
        if (length < 2 || length > READ_THROUGH_LIMIT || length > READ_AHEAD_LIMIT - span) break;
        span += length;
    }
    return span;
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

void PSDLayers::SetLayerRecordImageDataCompression(unsigned short value, unsigned short channel,
                                                   unsigned short layer) {
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

const char* PSDLayers::GetLayerRecordUnicodeName(unsigned short) const { return nullptr; }

unsigned long PSDLayers::GetLayerRecordSectionDividerType(unsigned short) const { return 0; }

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
    PSDBoundedReader lengthWord(InputStream, 4);
    if (!lengthWord.ReadLong(&SectionLength)) {
        SectionLength = 0;
        return false;
    }
    if (SectionLength == 0) return true;

    // Nothing of the walk reads or seeks outside this window.
    PSDBoundedReader section(InputStream, SectionLength);
    LayerSectionCursor cursor(section);
    bool walked = ReadRecords(cursor) && ReadGlobalLayerMask(cursor);

    // An odd section is followed by a closing byte. The walk of a well-formed
    // section ends where the length word says; only a walk that reached that
    // end passes over the byte behind it.
    bool closingByte = walked && (SectionLength & 1) != 0 && cursor.Offset() == SectionLength;
    // Whatever a file keeps behind the global layer mask (tagged blocks,
    // padding of the layer info, stray bytes) is passed over: the composite
    // image starts at the end of the section.
    InputStream->clear();
    section.SeekTo(section.Size());
    if (closingByte) {
        PSDBoundedReader behind(InputStream, 1);
        behind.Skip(1);
    }
    return section.Size() == SectionLength;
}

bool PSDLayers::ReadRecords(LayerSectionCursor& section) {
    if (!section.ReadLong(&LayerInfoSize)) return false;
    unsigned short count = 0;
    if (!section.ReadShort(&count)) return false;
    // A negative count means as many records, the first alpha channel then
    // holding the merged image's transparency.
    unsigned long records = (count & 0x8000) != 0 ? 0x10000UL - count : count;

    std::size_t firstLayer = LayerRecords.size();
    for (unsigned long i = 0; i < records; ++i) {
        if (LayerRecords.size() >= MAX_ENTRIES) return false;
        if (!ReadLayerRecord(section)) return false;
    }
    return ReadChannelImageData(section, firstLayer);
}

bool PSDLayers::ReadLayerRecord(LayerSectionCursor& section) {
    unsigned long top = 0;
    unsigned long left = 0;
    unsigned long bottom = 0;
    unsigned long right = 0;
    unsigned short channels = 0;
    if (!(section.ReadLong(&top) && section.ReadLong(&left) && section.ReadLong(&bottom) &&
          section.ReadLong(&right) && section.ReadShort(&channels)))
        return false;
    // The channel list and the 16 bytes behind it must be there before
    // anything is allocated for them.
    if (static_cast<unsigned long>(channels) * 6 + 16 > section.Remaining()) return false;

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
    char bytes[4];
    section.ReadLong(&record->BlendModeSignature);
    section.ReadLong(&record->BlendModeKey);
    section.Read(bytes, 4);  // opacity, clipping, flags, filler
    record->Opacity = bytes[0];
    record->Clipping = bytes[1];
    record->Flags = bytes[2];
    section.ReadLong(&record->ExtraDataSize);

    LayerRecords.push_back(record);
    ++LayerCount;
    ChannelCountChanged(static_cast<unsigned short>(LayerRecords.size() - 1));

    return ReadExtraData(section, record);
}

bool PSDLayers::ReadExtraData(LayerSectionCursor& section, LayerRecord* record) {
    // The walk counts down what is left of the extra data in 16 bits and ends
    // the record when the count comes to 0, so a stored size of 65536 or more
    // counts modulo 65536. The true end is kept as well: no part of the record
    // may pass it or the section.
    unsigned long extraStart = section.Offset();
    unsigned long extraEnd = extraStart + record->ExtraDataSize;
    unsigned short remainder = static_cast<unsigned short>(record->ExtraDataSize & 0xFFFF);
    auto fits = [&](unsigned long n) { return n <= extraEnd - section.Offset() && section.Has(n); };
    // A part that does not fit ends the record; the next one starts where
    // the extra data size says. Extra data that passes the section leaves no
    // place for a next record, and the walk ends.
    auto endRecord = [&]() { return section.SeekTo(extraEnd); };

    unsigned long maskSize = 0;
    if (!fits(4)) return endRecord();
    section.ReadLong(&maskSize);
    record->Mask.MaskSize = maskSize;
    remainder = static_cast<unsigned short>(remainder - 4);
    if (maskSize != 0) {
        if (!fits(maskSize)) return endRecord();
        // A block of fewer than 4 bytes has no first value to keep.
        if (maskSize >= 4) {
            section.ReadLong(&record->Mask.MaskTop);
            section.Skip(maskSize - 4);
        } else {
            section.Skip(maskSize);
        }
        remainder = static_cast<unsigned short>(remainder - maskSize);
    }

    unsigned long blendingLength = 0;
    if (!fits(4)) return endRecord();
    section.ReadLong(&blendingLength);
    record->BlendingLength = blendingLength;
    remainder = static_cast<unsigned short>(remainder - 4);
    if (blendingLength != 0) {
        if (!fits(blendingLength)) return endRecord();
        unsigned long used = 0;
        // The two gray values and 8 bytes per channel; a block too short for
        // the gray values, or bytes that make no whole channel, are passed over.
        if (blendingLength >= 8) {
            section.ReadLong(&record->BlendingGrayBlendSrc);
            section.ReadLong(&record->BlendingGrayBlendDest);
            unsigned short channels = static_cast<unsigned short>((blendingLength - 8) / 8);
            record->BlendingChannels.reserve(channels);
            for (unsigned short c = 0; c < channels; ++c) {
                BlendingChannel* channel = AllocateBlendingChannel();
                record->BlendingChannels.push_back(channel);
                ++record->BlendingNumChannels;
                section.ReadLong(&channel->Src);
                section.ReadLong(&channel->Dest);
            }
            used = 8 + 8UL * channels;
        }
        section.Skip(blendingLength - used);
        remainder = static_cast<unsigned short>(remainder - blendingLength);
    }

    // The name's length byte and the name are padded to a multiple of 4.
    unsigned char nameLength = 0;
    if (!fits(1)) return endRecord();
    section.ReadByte(&nameLength);
    unsigned long padded = (static_cast<unsigned long>(nameLength) + 4) & ~3UL;
    if (!fits(padded - 1)) return endRecord();
    char name[256];
    section.Read(name, padded - 1);
    std::memcpy(record->LayerName, name, nameLength);
    record->LayerName[nameLength] = 0;
    remainder = static_cast<unsigned short>(remainder - padded);

    while (remainder != 0) {
        if (record->Adjustments.size() >= MAX_ENTRIES || !fits(12)) return endRecord();
        unsigned long signature = 0;
        unsigned long key = 0;
        unsigned long length = 0;
        section.ReadLong(&signature);
        section.ReadLong(&key);
        section.ReadLong(&length);
        if (!fits(length)) return endRecord();
        LayerAdjustment* entry =
            key == LAYER_KEY_UNICODE_LAYER_NAME ? AllocateUnicodeLayer() : AllocateGenericLayerAdjustment();
        entry->Signature = signature;
        entry->Key = key;
        entry->Length = length;
        record->Adjustments.push_back(entry);
        ++record->NumAdjustments;
        section.Skip(length);
        remainder = static_cast<unsigned short>(remainder - 12 - (length & 0xFFFF));
    }
    return true;
}

bool PSDLayers::ReadChannelImageData(LayerSectionCursor& section, std::size_t firstLayer) {
    if (firstLayer >= LayerRecords.size()) return true;
    // The codes of this read follow those of the layers before it, also when
    // an earlier walk found fewer.
    unsigned long start = ChannelStart(static_cast<unsigned short>(firstLayer));
    while (LayerImageData.size() < start) LayerImageData.push_back(AllocateLayerImageData());

    std::vector<const ChannelInfo*> channels;
    for (std::size_t layer = firstLayer; layer < LayerRecords.size(); ++layer)
        for (const ChannelInfo* channel : LayerRecords[layer]->Channels) channels.push_back(channel);

    for (std::size_t i = 0; i < channels.size(); ++i) {
        if (!section.Has(2)) return false;
        if (!section.Holds(2)) section.SetReadAhead(CodesAhead(channels, i));
        ChannelImageData* entry = AllocateLayerImageData();
        LayerImageData.push_back(entry);
        unsigned short code = 0;
        section.ReadShort(&code);
        entry->Compression = code;
        // The length counts the code just read. A length below 2 moves
        // back, so the next channel sees those bytes again.
        unsigned long length = channels[i]->ChannelLength;
        if (length >= 2) {
            if (!section.Skip(length - 2)) return false;
        } else {
            section.SeekTo(section.Offset() - (2 - length));
        }
    }
    return true;
}

bool PSDLayers::ReadGlobalLayerMask(LayerSectionCursor& section) {
    // A length word that would cross the end of the section is no length word.
    unsigned long length = 0;
    if (section.Has(4)) section.ReadLong(&length);
    SetGlobalLayerMaskLength(length);
    return length == 0 || section.Skip(length);
}

}  // namespace psdkit
