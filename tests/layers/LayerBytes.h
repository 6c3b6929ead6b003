#ifndef PSDKIT_TESTS_LAYERS_LAYERBYTES_H
#define PSDKIT_TESTS_LAYERS_LAYERBYTES_H

// Builders for layer and mask sections, field by field.

#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace layertest {

using psdtest::Bytes;

struct Channel {
    unsigned id;
    unsigned long length;  // counts the 2-byte compression code
};

// Length byte and name, padded with zeros to a multiple of 4.
inline Bytes Name(const std::string& name) {
    Bytes b;
    b.u8(static_cast<unsigned>(name.size())).str(name);
    while (b.size() % 4 != 0) b.u8(0);
    return b;
}

// One additional-information entry: signature, key, length, payload.
inline Bytes Entry(const std::string& key, unsigned long payloadLength, const std::string& signature = "8BIM") {
    Bytes b;
    b.str(signature).str(key).u32(payloadLength).zeros(payloadLength);
    return b;
}

// Extra data with no mask and no blending ranges.
inline Bytes PlainExtra(const std::string& name, const Bytes& entries = Bytes()) {
    Bytes b;
    b.u32(0).u32(0).raw(Name(name)).raw(entries);
    return b;
}

// A record whose extra data size is the size of `extra`.
inline Bytes Record(unsigned long top, unsigned long left, unsigned long bottom, unsigned long right,
                    const std::vector<Channel>& channels, const Bytes& extra, const std::string& key = "norm",
                    unsigned opacity = 255, unsigned clipping = 0, unsigned flags = 0) {
    Bytes b;
    b.u32(top).u32(left).u32(bottom).u32(right).u16(static_cast<unsigned>(channels.size()));
    for (const Channel& c : channels) b.u16(c.id).u32(c.length);
    b.str("8BIM").str(key).u8(opacity).u8(clipping).u8(flags).u8(0);
    b.u32(extra.size()).raw(extra);
    return b;
}

// Channel image data: the code, then length - 2 bytes of pixels.
inline Bytes ChannelData(unsigned compression, unsigned long length) {
    Bytes b;
    b.u16(compression).zeros(length - 2);
    return b;
}

// Layer info: its size word, the count, the records and the channel data.
inline Bytes LayerInfo(unsigned count, const std::vector<Bytes>& records, const Bytes& channelData) {
    Bytes body;
    body.u16(count);
    for (const Bytes& r : records) body.raw(r);
    body.raw(channelData);
    Bytes b;
    b.u32(body.size()).raw(body);
    return b;
}

// A section: its length word and the body.
inline Bytes Section(const Bytes& body) {
    Bytes b;
    b.u32(body.size()).raw(body);
    return b;
}

}  // namespace layertest

#endif
