#ifndef PSDKIT_TESTS_RESOURCES_RESOURCETESTUTIL_H
#define PSDKIT_TESTS_RESOURCES_RESOURCETESTUTIL_H

// Blocks in their wire form, objects decoded from payloads, and what blocks write.

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

namespace restest {

using psdtest::Bytes;

inline std::string HexOf(const std::vector<char>& bytes) { return psdtest::Hex(bytes.data(), bytes.size()); }
inline std::string HexOf(const Bytes& bytes) { return HexOf(bytes.data); }

inline Bytes Header(unsigned short id, unsigned long size) { return Bytes().str("8BIM").u16(id).u16(0).u32(size); }

// A whole block: signature, ID, padded Pascal name, size, padded payload.
inline Bytes BlockBytes(unsigned short id, const std::string& name, const Bytes& payload,
                        const std::string& signature = "8BIM") {
    Bytes b = Bytes().str(signature).u16(id).u8(static_cast<unsigned>(name.size())).str(name);
    if (name.size() % 2 == 0) b.u8(0);
    b.u32(payload.size()).raw(payload);
    if (payload.size() % 2 != 0) b.u8(0);
    return b;
}

// The object the read loop makes of `payload` under `id` and an empty name.
inline std::unique_ptr<psdkit::PSDResourceBlock> Decoded(unsigned short id, const Bytes& payload) {
    psdkit::PSDGenericResourceBlock raw;
    unsigned long n = payload.size(), padded = n + (n & 1);
    raw.SetResourceID(id);
    raw.SetDataBlockSize(n);
    char* data = raw.AllocateDataBlock(padded);
    std::copy(payload.data.begin(), payload.data.end(), data);
    if (n & 1) data[n] = 0;
    raw.SetResourceBlockSize(12 + padded);
    psdkit::PSDImageRes factory;
    return std::unique_ptr<psdkit::PSDResourceBlock>(factory.PopulateResouceBlockObject(&raw));
}

// What the block's WriteResourceBlock (or WriteResourceBlockHeader) puts out.
inline std::string Written(psdkit::PSDResourceBlock& block, bool headerOnly = false) {
    psdtest::TempDir dir;
    std::ofstream out(dir.Path("block.bin"), std::ios_base::binary);
    block.SetStreams(nullptr, &out);
    headerOnly ? block.WriteResourceBlockHeader() : block.WriteResourceBlock();
    block.SetStreams(nullptr, nullptr);
    out.close();
    return HexOf(psdtest::ReadFile(dir.Path("block.bin")));
}

}  // namespace restest

#endif
