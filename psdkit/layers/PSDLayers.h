#ifndef PSDKIT_LAYERS_PSDLAYERS_H
#define PSDKIT_LAYERS_PSDLAYERS_H

#include <cstddef>
#include <vector>

#include "psdkit/core/PSDBaseSection.h"
#include "psdkit/layers/LayerRecord.h"

namespace psdkit {

class PSDBoundedReader;
class PhotoshopFile;

// The layer and mask information section: one record per layer with its
// channels, blending ranges, mask and additional-information headers, and the
// compression code of every channel. Pixel data and payloads stay in the file.
//
// A layer is addressed by its index, an entry of a record by its index in its
// list, both from 0. Setters take the value, the inner index, then the layer;
// getters the inner index, then the layer. No accessor checks an index.
class PSDKIT_API PSDLayers : public PSDBaseSection {
public:
    // Blend mode keys: four characters, the first in the high byte.
    static constexpr unsigned long BLEND_MODE_KEY_NORMAL = 0x6E6F726D;      // "norm"
    static constexpr unsigned long BLEND_MODE_KEY_DARK = 0x6461726B;        // "dark"
    static constexpr unsigned long BLEND_MODE_KEY_LITE = 0x6C697465;        // "lite"
    static constexpr unsigned long BLEND_MODE_KEY_HUE = 0x68756520;         // "hue "
    static constexpr unsigned long BLEND_MODE_KEY_SATURATION = 0x73617420;  // "sat "
    static constexpr unsigned long BLEND_MODE_KEY_COLOR = 0x636F6C72;       // "colr"
    static constexpr unsigned long BLEND_MODE_KEY_LUMINOSITY = 0x6C756D20;  // "lum "
    static constexpr unsigned long BLEND_MODE_KEY_MULTIPLY = 0x6D756C20;    // "mul "
    static constexpr unsigned long BLEND_MODE_KEY_SCREEN = 0x7363726E;      // "scrn"
    static constexpr unsigned long BLEND_MODE_KEY_DISSOLVE = 0x64697373;    // "diss"
    static constexpr unsigned long BLEND_MODE_KEY_OVERLAY = 0x6F766572;     // "over"
    static constexpr unsigned long BLEND_MODE_KEY_HARDLIGHT = 0x684C6974;   // "hLit"
    static constexpr unsigned long BLEND_MODE_KEY_SOFTLIGHT = 0x734C6974;   // "sLit"
    static constexpr unsigned long BLEND_MODE_KEY_DIFERENCE = 0x64696666;   // "diff"
    static constexpr unsigned long BLEND_MODE_KEY_EXCLUSION = 0x736D7564;   // "smud"
    static constexpr unsigned long BLEND_MODE_KEY_COLORDODGE = 0x64697620;  // "div "
    static constexpr unsigned long BLEND_MODE_KEY_COLORBURN = 0x69646976;   // "idiv"

    // Additional-information keys.
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_LEVELS = 0x6C65766C;          // "levl"
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_CURVES = 0x63757276;          // "curv"
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_BRIGHTNESS = 0x62726974;      // "brit"
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_COLORBALANCE = 0x626C6E63;    // "blnc"
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_OLD_HUESAURATION = 0x68756520;  // "hue "
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_NEW_HUESAURATION = 0x68756532;  // "hue2"
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_SELECTIVECOLOR = 0x73656C63;  // "selc"
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_THRESHOLD = 0x74687273;       // "thrs"
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_INVERT = 0x6E767274;          // "nvrt"
    static constexpr unsigned long LAYER_KEY_ADJUSTMENT_INFO_POSTERIZE = 0x706F7374;       // "post"
    static constexpr unsigned long LAYER_KEY_EFFECTS_LAYER_INFO = 0x6C724658;              // "lrFX"
    static constexpr unsigned long LAYER_KEY_TOOL_TYPE_INFO = 0x74795368;                  // "tySh"
    static constexpr unsigned long LAYER_KEY_UNICODE_LAYER_NAME = 0x6C756E69;              // "luni"
    static constexpr unsigned long LAYER_KEY_LAYER_ID = 0x6C796964;                        // "lyid"

    static constexpr char CLIPPING_BASE = 0;
    static constexpr char CLIPPING_NON_BASE = 1;

    // Flag bits.
    static constexpr char FLAG_TRANSPARENCY_PROTECTED = 1;
    static constexpr char FLAG_VISIBLE = 2;
    static constexpr char FLAG_OBSOLETE = 4;
    static constexpr char FLAG_PHOTOSHOP5PLUS = 8;
    static constexpr char FLAG_PIXELDATA_IRRELEVANT = 16;

    // Compression of a layer channel's image data.
    static constexpr unsigned short LAYER_COMPRESSION_RAW = 0;
    static constexpr unsigned short LAYER_COMPRESSION_RLE = 1;
    static constexpr unsigned short LAYER_COMPRESSION_ZIP = 2;
    static constexpr unsigned short LAYER_COMPRESSION_ZIP_PREDICTION = 3;

    PSDLayers();
    ~PSDLayers() override;

    // Walks the section from its length word into records, passing over pixel
    // data, masks, payloads and the global mask block. Leaves the input at the
    // section's end (one byte behind it when its length is odd and the walk
    // reached that end). False only when the file ends inside the section;
    // the records read so far stay. A second read appends its records.
    bool ReadSection();
    // The same through a window on the file.
    bool ReadSection(PSDBoundedReader& file);

    // Section level.
    unsigned long GetLayerInfoSize() const { return LayerInfoSize; }
    unsigned short GetLayerCount() const { return LayerCount; }
    void SetLayerCount(unsigned short count) { LayerCount = count; }
    unsigned long GetGlobalLayerMaskLength() const { return GlobalLayerMaskLength; }
    void SetGlobalLayerMaskLength(unsigned long length) { GlobalLayerMaskLength = length; }
    void ClearGlobalLayerMask();

    // Fields of a record.
    unsigned long GetLayerRecordLayerTop(unsigned short layer) const { return Record(layer)->LayerTop; }
    void SetLayerRecordLayerTop(unsigned long value, unsigned short layer) { Record(layer)->LayerTop = value; }
    unsigned long GetLayerRecordLayerLeft(unsigned short layer) const { return Record(layer)->LayerLeft; }
    void SetLayerRecordLayerLeft(unsigned long value, unsigned short layer) { Record(layer)->LayerLeft = value; }
    unsigned long GetLayerRecordLayerBottom(unsigned short layer) const { return Record(layer)->LayerBottom; }
    void SetLayerRecordLayerBottom(unsigned long value, unsigned short layer) { Record(layer)->LayerBottom = value; }
    unsigned long GetLayerRecordLayerRight(unsigned short layer) const { return Record(layer)->LayerRight; }
    void SetLayerRecordLayerRight(unsigned long value, unsigned short layer) { Record(layer)->LayerRight = value; }
    unsigned short GetLayerRecordNumChannels(unsigned short layer) const { return Record(layer)->NumChannels; }
    // Changes the counter alone.
    void SetLayerRecordNumChannels(unsigned short value, unsigned short layer);
    unsigned short GetLayerRecordNumAdjustments(unsigned short layer) const { return Record(layer)->NumAdjustments; }
    void SetLayerRecordNumAdjustments(unsigned short value, unsigned short layer) {
        Record(layer)->NumAdjustments = value;
    }
    unsigned long GetLayerRecordBlendModeSignature(unsigned short layer) const {
        return Record(layer)->BlendModeSignature;
    }
    void SetLayerRecordBlendModeSignature(unsigned long value, unsigned short layer) {
        Record(layer)->BlendModeSignature = value;
    }
    unsigned long GetLayerRecordBlendModeKey(unsigned short layer) const { return Record(layer)->BlendModeKey; }
    void SetLayerRecordBlendModeKey(unsigned long value, unsigned short layer) { Record(layer)->BlendModeKey = value; }
    char GetLayerRecordOpacity(unsigned short layer) const { return Record(layer)->Opacity; }
    void SetLayerRecordOpacity(char value, unsigned short layer) { Record(layer)->Opacity = value; }
    char GetLayerRecordClipping(unsigned short layer) const { return Record(layer)->Clipping; }
    void SetLayerRecordClipping(char value, unsigned short layer) { Record(layer)->Clipping = value; }
    char GetLayerRecordFlags(unsigned short layer) const { return Record(layer)->Flags; }
    void SetLayerRecordFlags(char value, unsigned short layer) { Record(layer)->Flags = value; }
    unsigned long GetLayerRecordExtraDataSize(unsigned short layer) const { return Record(layer)->ExtraDataSize; }
    void SetLayerRecordExtraDataSize(unsigned long value, unsigned short layer) {
        Record(layer)->ExtraDataSize = value;
    }
    unsigned long GetLayerRecordMaskSize(unsigned short layer) const { return Record(layer)->Mask.MaskSize; }
    void SetLayerRecordMaskSize(unsigned long value, unsigned short layer) { Record(layer)->Mask.MaskSize = value; }
    unsigned long GetLayerRecordMaskTop(unsigned short layer) const { return Record(layer)->Mask.MaskTop; }
    // The whole mask block as read: rectangle, colour, flags and real user mask.
    const LayerMask* GetLayerRecordMask(unsigned short layer) const { return &Record(layer)->Mask; }
    void SetLayerRecordMaskTop(unsigned long value, unsigned short layer) { Record(layer)->Mask.MaskTop = value; }
    unsigned long GetLayerRecordBlendingLength(unsigned short layer) const { return Record(layer)->BlendingLength; }
    void SetLayerRecordBlendingLength(unsigned long value, unsigned short layer) {
        Record(layer)->BlendingLength = value;
    }
    unsigned long GetLayerRecordBlendingGrayBlendSrc(unsigned short layer) const {
        return Record(layer)->BlendingGrayBlendSrc;
    }
    void SetLayerRecordBlendingGrayBlendSrc(unsigned long value, unsigned short layer) {
        Record(layer)->BlendingGrayBlendSrc = value;
    }
    unsigned long GetLayerRecordBlendingGrayBlendDest(unsigned short layer) const {
        return Record(layer)->BlendingGrayBlendDest;
    }
    void SetLayerRecordBlendingGrayBlendDest(unsigned long value, unsigned short layer) {
        Record(layer)->BlendingGrayBlendDest = value;
    }
    unsigned long GetLayerRecordBlendingNumChannels(unsigned short layer) const {
        return Record(layer)->BlendingNumChannels;
    }
    void SetLayerRecordBlendingNumChannels(unsigned long value, unsigned short layer) {
        Record(layer)->BlendingNumChannels = value;
    }
    // The record's own name; the record keeps it.
    char* GetLayerRecordLayerName(unsigned short layer) const { return Record(layer)->LayerName; }
    // Copies a NUL-terminated name of at most 255 characters; null empties it.
    void SetLayerRecordLayerName(const char* name, unsigned short layer);

    // Entries of a record.
    unsigned short GetLayerRecordChannelInfoChannelID(unsigned short channel, unsigned short layer) const {
        return Record(layer)->Channels[channel]->ChannelID;
    }
    void SetLayerRecordChannelInfoChannelID(unsigned short value, unsigned short channel, unsigned short layer) {
        Record(layer)->Channels[channel]->ChannelID = value;
    }
    unsigned long GetLayerRecordChannelInfoChannelLength(unsigned short channel, unsigned short layer) const {
        return Record(layer)->Channels[channel]->ChannelLength;
    }
    void SetLayerRecordChannelInfoChannelLength(unsigned long value, unsigned short channel, unsigned short layer) {
        Record(layer)->Channels[channel]->ChannelLength = value;
    }
    unsigned long GetLayerRecordAdjustmentSignature(unsigned short entry, unsigned short layer) const {
        return Record(layer)->Adjustments[entry]->Signature;
    }
    void SetLayerRecordAdjustmentSignature(unsigned long value, unsigned short entry, unsigned short layer) {
        Record(layer)->Adjustments[entry]->Signature = value;
    }
    unsigned long GetLayerRecordAdjustmentKey(unsigned short entry, unsigned short layer) const {
        return Record(layer)->Adjustments[entry]->Key;
    }
    void SetLayerRecordAdjustmentKey(unsigned long value, unsigned short entry, unsigned short layer) {
        Record(layer)->Adjustments[entry]->Key = value;
    }
    unsigned long GetLayerRecordAdjustmentLength(unsigned short entry, unsigned short layer) const {
        return Record(layer)->Adjustments[entry]->Length;
    }
    void SetLayerRecordAdjustmentLength(unsigned long value, unsigned short entry, unsigned short layer) {
        Record(layer)->Adjustments[entry]->Length = value;
    }
    unsigned long GetLayerRecordBlendingChannelSrc(unsigned long channel, unsigned short layer) const {
        return Record(layer)->BlendingChannels[channel]->Src;
    }
    void SetLayerRecordBlendingChannelSrc(unsigned long value, unsigned long channel, unsigned short layer) {
        Record(layer)->BlendingChannels[channel]->Src = value;
    }
    unsigned long GetLayerRecordBlendingChannelDest(unsigned long channel, unsigned short layer) const {
        return Record(layer)->BlendingChannels[channel]->Dest;
    }
    void SetLayerRecordBlendingChannelDest(unsigned long value, unsigned long channel, unsigned short layer) {
        Record(layer)->BlendingChannels[channel]->Dest = value;
    }
    // The compression code of a channel's image data. A channel the reader
    // found no code for gives 0, and setting its code does nothing.
    unsigned short GetLayerRecordImageDataCompression(unsigned short channel, unsigned short layer) const;
    void SetLayerRecordImageDataCompression(unsigned short value, unsigned short channel, unsigned short layer);
    // Where a channel's image data (its compression code) begins in the file,
    // so that it can be decoded without walking again; 0 when unknown.
    unsigned long GetLayerRecordChannelDataOffset(unsigned short channel, unsigned short layer) const;
    // The layer's full name from its "luni" entry as UTF-8, or null.
    const char* GetLayerRecordUnicodeName(unsigned short layer) const;
    // The type of the record's section divider ('lsct'/'lsdk': 1 open group,
    // 2 closed group, 3 end of a group), 0 when it has none.
    unsigned long GetLayerRecordSectionDividerType(unsigned short layer) const;

    // Display texts.
    char* GetLayerRecordBlendModeKeyAsName(unsigned short layer) const;
    char* GetLayerRecordClippingAsName(unsigned short layer) const;
    char* GetLayerRecordImageDataCompressionAsName(unsigned short channel, unsigned short layer) const;
    char* GetLayerRecordAdjustmentKeyAsName(unsigned short entry, unsigned short layer) const;
    // These three build their text in a static buffer of the class, which the
    // next call of the same operation overwrites.
    char* GetLayerRecordFlagsAsName(unsigned short layer) const;
    char* GetLayerRecordBlendModeSignatureAsName(unsigned short layer) const;
    char* GetLayerRecordAdjustmentSignatureAsName(unsigned short entry, unsigned short layer) const;

    // Each appends a zeroed entry, raises its counter and returns the entry's
    // index (the counter before the call).
    unsigned short AddLayerRecord();
    unsigned short AddChannelInfoRecord(unsigned short layer);
    unsigned short AddBlendingChannel(unsigned short layer);
    unsigned short AddGenericLayerAdjustment(unsigned short layer);
    unsigned short AddUnicodeLayer(unsigned short layer);
    // Appends a zeroed compression entry to the section's flat list, whatever
    // the layer; entries must come in the order of layers and channels.
    void AddLayerImageData(unsigned short layer);

    // New zeroed entries in no list; the Free operations release them (null
    // is ignored).
    static LayerRecord* AllocateLayerRecord();
    static ChannelInfo* AllocateChannelInfoRecord();
    static BlendingChannel* AllocateBlendingChannel();
    static LayerAdjustment* AllocateGenericLayerAdjustment();
    static UnicodeLayer* AllocateUnicodeLayer();
    static ChannelImageData* AllocateLayerImageData();
    static LayerMask* AllocateLayerMask();
    static void FreeLayerRecord(LayerRecord* record);
    static void FreeChannelInfoRecord(ChannelInfo* channel);
    static void FreeLayerMask(LayerMask* mask);

private:
    PSDLayers(const PSDLayers&) = delete;
    PSDLayers& operator=(const PSDLayers&) = delete;

    LayerRecord* Record(unsigned short layer) const { return LayerRecords[layer]; }
    friend class PhotoshopFile;
    // The steps of the walk; each returns false where the walk ends and
    // writes down why.
    bool ReadLayerInfo(PSDBoundedReader& section, bool sizeWord);
    bool ReadLayerRecord(PSDBoundedReader& section, unsigned long index);
    // The parts of a record's extra data; false when a part does not fit.
    bool ReadExtraData(PSDBoundedReader& extra, LayerRecord* record, unsigned long index);
    bool ReadLayerMask(PSDBoundedReader& extra, LayerRecord* record, unsigned short* remainder);
    bool ReadBlendingRanges(PSDBoundedReader& extra, LayerRecord* record, unsigned short* remainder);
    bool ReadLayerName(PSDBoundedReader& extra, LayerRecord* record, unsigned short* remainder);
    bool ReadAdditionalInfo(PSDBoundedReader& extra, LayerRecord* record, unsigned short remainder);
    bool ReadChannelImageData(PSDBoundedReader& section, std::size_t firstLayer);
    bool ReadGlobalLayerMask(PSDBoundedReader& section);
    // Notes where an 'Lr16' or 'Lr32' block lies among the tagged blocks.
    void ReadTaggedBlocks(PSDBoundedReader& section);
    // The layer info of such a block: a count, records and channel data.
    bool ReadTaggedLayers(PSDBoundedReader& block);
    // Index of the first compression entry of a layer in the flat list.
    unsigned long ChannelStart(unsigned short layer) const;
    // The layer's channel counter changed: the starts of the layers behind it
    // are to be summed again.
    void ChannelCountChanged(unsigned short layer);
    ChannelImageData* CompressionEntry(unsigned short channel, unsigned short layer) const;
    unsigned short AddAdjustment(LayerAdjustment* adjustment, unsigned short layer);

    std::vector<LayerRecord*> LayerRecords;
    std::vector<ChannelImageData*> LayerImageData;
    unsigned long LayerInfoSize;
    unsigned short LayerCount;
    unsigned long GlobalLayerMaskLength;
    // File offset and length of the 'Lr16' or 'Lr32' block's data; 0 without one.
    unsigned long TaggedLayersOffset = 0;
    unsigned long TaggedLayersLength = 0;
    unsigned short OverlayColorSpace;
    unsigned short ColorComponents[4];
    unsigned short OverlayOpacity;
    char Kind;
    char Filler;

    // ChannelStarts[l]: the sum of NumChannels of layers 0 to l - 1, valid for
    // l below ChannelStartsKnown. Kept so that a lookup does not sum over all
    // layers before it.
    mutable std::vector<unsigned long> ChannelStarts;
    mutable std::size_t ChannelStartsKnown;

    // "Transparency Protected|Visible|Obsolete|Photoshop5+|Pixel Data Irrelevant"
    static char FlagsName[74];
    static char BlendModeSignatureName[5];
    static char AdjustmentSignatureName[5];
};

PSDKIT_API extern char* BLEND_MODE_KEY_NORMAL_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_DARK_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_LITE_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_HUE_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_SATURATION_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_COLOR_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_LUMINOSITY_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_MULTIPLY_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_SCREEN_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_DISSOLVE_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_OVERLAY_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_HARDLIGHT_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_SOFTLIGHT_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_DIFERENCE_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_EXCLUSION_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_COLORDODGE_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_COLORBURN_STR;
PSDKIT_API extern char* BLEND_MODE_KEY_INVALID_STR;

PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_LEVELS_STR;
PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_CURVES_STR;
PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_BRIGHTNESS_STR;
PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_COLORBALANCE_STR;
PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_OLD_HUESAURATION_STR;
PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_NEW_HUESAURATION_STR;
PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_SELECTIVECOLOR_STR;
PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_THRESHOLD_STR;
PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_INVERT_STR;
PSDKIT_API extern char* LAYER_KEY_ADJUSTMENT_INFO_POSTERIZE_STR;
PSDKIT_API extern char* LAYER_KEY_EFFECTS_LAYER_INFO_STR;
PSDKIT_API extern char* LAYER_KEY_TOOL_TYPE_INFO_STR;
PSDKIT_API extern char* LAYER_KEY_UNICODE_LAYER_NAME_STR;
PSDKIT_API extern char* LAYER_KEY_LAYER_ID_STR;
PSDKIT_API extern char* LAYER_KEY_UNKNOWN_STR;

PSDKIT_API extern char* CLIPPING_BASE_STR;
PSDKIT_API extern char* CLIPPING_NON_BASE_STR;
PSDKIT_API extern char* CLIPPING_INVALID_STR;

PSDKIT_API extern char* FLAG_TRANSPARENCY_PROTECTED_STR;
PSDKIT_API extern char* FLAG_VISIBLE_STR;
PSDKIT_API extern char* FLAG_OBSOLETE_STR;
PSDKIT_API extern char* FLAG_PHOTOSHOP5PLUS_STR;
PSDKIT_API extern char* FLAG_PIXELDATA_IRRELEVANT_STR;
PSDKIT_API extern char* FLAG_INVALID_STR;

PSDKIT_API extern char* LAYER_COMPRESSION_RAW_STR;
PSDKIT_API extern char* LAYER_COMPRESSION_RLE_STR;
PSDKIT_API extern char* LAYER_COMPRESSION_ZIP_STR;
PSDKIT_API extern char* LAYER_COMPRESSION_ZIP_PREDICTION_STR;
PSDKIT_API extern char* LAYER_COMPRESSION_INVALID_STR;

}  // namespace psdkit

#endif
