#ifndef PSDKIT_LAYERS_LAYERRECORD_H
#define PSDKIT_LAYERS_LAYERRECORD_H

#include <string>
#include <vector>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// The plain structures of a layer record. Every new one is zero throughout.

// A layer's mask block: its size and its first 4-byte value. The rest of the
// block stays in the file.
struct PSDKIT_API LayerMask {
    unsigned long MaskSize = 0;
    unsigned long MaskTop = 0;
    // The rest of the mask's rectangle (the file's 32 bits, signed), its
    // default colour and flags; for a block that also holds the real user
    // mask (ID -3), that mask's flags, default colour and rectangle.
    unsigned long MaskLeft = 0;
    unsigned long MaskBottom = 0;
    unsigned long MaskRight = 0;
    unsigned char DefaultColor = 0;
    unsigned char Flags = 0;
    unsigned char RealFlags = 0;
    unsigned char RealDefaultColor = 0;
    unsigned long RealTop = 0;
    unsigned long RealLeft = 0;
    unsigned long RealBottom = 0;
    unsigned long RealRight = 0;
};

// One channel of a layer: its ID (the file's 16 bits, -1 reads as 0xFFFF) and
// the length of its image data including the 2-byte compression code.
struct PSDKIT_API ChannelInfo {
    unsigned short ChannelID = 0;
    unsigned long ChannelLength = 0;
};

// The blending ranges of one channel, each the file's 32 bits.
struct PSDKIT_API BlendingChannel {
    unsigned long Src = 0;
    unsigned long Dest = 0;
};

// The header of one additional-information entry; Length is the size of its
// payload, which stays in the file. Entries of other kinds derive from it and
// are released through this type.
struct PSDKIT_API LayerAdjustment {
    LayerAdjustment() = default;
    LayerAdjustment(const LayerAdjustment&) = delete;
    LayerAdjustment& operator=(const LayerAdjustment&) = delete;
    virtual ~LayerAdjustment();

    unsigned long Signature = 0;
    unsigned long Key = 0;
    unsigned long Length = 0;
};

// The entry for the key "luni". The name it carries stays in the file; the
// entry tells a host that the record has one.
struct PSDKIT_API UnicodeLayer : public LayerAdjustment {
    ~UnicodeLayer() override;
    // The name as UTF-8, when the entry's text could be read.
    std::string Name;
};

// The compression code of one channel's image data.
struct PSDKIT_API ChannelImageData {
    unsigned short Compression = 0;
    // Where the channel's compression code stands in the file; 0 when the
    // walk did not reach it.
    unsigned long DataOffset = 0;
};

// One layer: its rectangle, channels, blending, mask, name and the headers of
// its additional-information entries. Owns the entries of its three lists.
struct PSDKIT_API LayerRecord {
    static constexpr unsigned long MAX_NAME_LENGTH = 255;

    LayerRecord() = default;
    LayerRecord(const LayerRecord&) = delete;
    LayerRecord& operator=(const LayerRecord&) = delete;
    ~LayerRecord();

    unsigned long LayerTop = 0;
    unsigned long LayerLeft = 0;
    unsigned long LayerBottom = 0;
    unsigned long LayerRight = 0;
    unsigned short NumChannels = 0;
    std::vector<ChannelInfo*> Channels;
    unsigned long BlendModeSignature = 0;
    unsigned long BlendModeKey = 0;
    char Opacity = 0;
    char Clipping = 0;
    char Flags = 0;
    unsigned long ExtraDataSize = 0;
    LayerMask Mask;
    unsigned long BlendingLength = 0;
    unsigned long BlendingGrayBlendSrc = 0;
    unsigned long BlendingGrayBlendDest = 0;
    unsigned long BlendingNumChannels = 0;
    std::vector<BlendingChannel*> BlendingChannels;
    unsigned short NumAdjustments = 0;
    std::vector<LayerAdjustment*> Adjustments;
    char LayerName[MAX_NAME_LENGTH + 1] = {};
    // The type of the record's section divider entry, 0 without one.
    unsigned long DividerType = 0;
};

}  // namespace psdkit

#endif
