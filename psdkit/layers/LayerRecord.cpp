#include "psdkit/layers/LayerRecord.h"

namespace psdkit {

LayerAdjustment::~LayerAdjustment() = default;

UnicodeLayer::~UnicodeLayer() = default;

LayerRecord::~LayerRecord() {
    for (ChannelInfo* channel : Channels) delete channel;
    for (BlendingChannel* channel : BlendingChannels) delete channel;
    for (LayerAdjustment* adjustment : Adjustments) delete adjustment;
}

}  // namespace psdkit
