#ifndef PSDKIT_TESTS_RESOURCES_RESOURCETESTUTIL_H
#define PSDKIT_TESTS_RESOURCES_RESOURCETESTUTIL_H

// Helpers of the resource tests: blocks built from payload bytes, bytes a
// block or section writes, and a plain walker of a written section.

#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

namespace restest {

// A raw block as the read loop leaves it: ID, sizes of an empty-named block,
// padded payload.
inline std::unique_ptr<psdkit::PSDGenericResourceBlock> RawBlock(unsigned short id, const psdtest::Bytes& payload) {
    auto block = std::make_unique<psdkit::PSDGenericResourceBlock>();
    unsigned long n = payload.size();
    unsigned long padded = n + (n & 1);
    block->SetResourceID(id);
    block->SetDataBlockSize(n);
    char* data = block->AllocateDataBlock(padded);
    if (n != 0) std::memcpy(data, payload.data.data(), n);
    if (padded != n) data[n] = 0;
    block->SetResourceBlockSize(12 + padded);
    return block;
}

// An object of class T decoded from `payload` the way the read loop does it.
template <class T>
std::unique_ptr<T> Decoded(unsigned short id, const psdtest::Bytes& payload) {
    auto raw = RawBlock(id, payload);
    auto object = std::make_unique<T>();
    psdkit::PSDResourceBlock::Copy(raw.get(), object.get());
    return object;
}

// The bytes that the block's WriteResourceBlock puts out.
inline std::vector<char> Written(psdkit::PSDResourceBlock& block) {
    psdtest::TempDir dir;
    std::string path = dir.Path("block.bin");
    {
        std::ofstream out(path, std::ios_base::binary);
        block.SetStreams(nullptr, &out);
        block.WriteResourceBlock();
        block.SetStreams(nullptr, nullptr);
    }
    return psdtest::ReadFile(path);
}

inline std::string HexOf(const std::vector<char>& bytes) { return psdtest::Hex(bytes.data(), bytes.size()); }
inline std::string HexOf(const psdtest::Bytes& bytes) { return HexOf(bytes.data); }

// A block in the wire form as the tests write it by hand.
inline psdtest::Bytes BlockBytes(unsigned short id, const std::string& name, const psdtest::Bytes& payload,
                                 const std::string& signature = "8BIM") {
    psdtest::Bytes b;
    b.str(signature).u16(id).u8(static_cast<unsigned>(name.size())).str(name);
    if (name.size() % 2 == 0) b.u8(0);
    b.u32(payload.size()).raw(payload);
    if (payload.size() % 2 != 0) b.u8(0);
    return b;
}

// One block found by WalkBlocks.
struct WalkedBlock {
    unsigned short id = 0;
    std::string name;
    std::vector<char> payload;  // without the pad byte
};

// Walks blocks back to back over exactly `length` bytes from `start`. False
// when a block runs past that end or the blocks do not end exactly there.
inline bool WalkBlocks(const std::vector<char>& file, std::size_t start, std::size_t length,
                       std::vector<WalkedBlock>* blocks) {
    auto byte = [&](std::size_t at) { return static_cast<unsigned char>(file[at]); };
    if (start > file.size() || length > file.size() - start) return false;
    std::size_t end = start + length;
    std::size_t at = start;
    while (at < end) {
        if (end - at < 12) return false;
        if (std::memcmp(&file[at], "8BIM", 4) != 0) return false;
        WalkedBlock block;
        block.id = static_cast<unsigned short>(byte(at + 4) << 8 | byte(at + 5));
        std::size_t nameLength = byte(at + 6);
        std::size_t nameBytes = (nameLength % 2 == 1) ? nameLength : nameLength + 1;
        if (end - at < 7 + nameBytes + 4) return false;
        block.name.assign(&file[at + 7], nameLength);
        std::size_t sizeAt = at + 7 + nameBytes;
        std::size_t size = static_cast<std::size_t>(byte(sizeAt)) << 24 | byte(sizeAt + 1) << 16 |
                           byte(sizeAt + 2) << 8 | byte(sizeAt + 3);
        std::size_t padded = size + (size & 1);
        std::size_t dataAt = sizeAt + 4;
        if (end - dataAt < padded) return false;
        block.payload.assign(file.begin() + static_cast<long>(dataAt), file.begin() + static_cast<long>(dataAt + size));
        blocks->push_back(block);
        at = dataAt + padded;
    }
    return at == end;
}

inline unsigned long BigEndian32(const std::vector<char>& file, std::size_t at) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned long>(static_cast<unsigned char>(file[i])); };
    return byte(at) << 24 | byte(at + 1) << 16 | byte(at + 2) << 8 | byte(at + 3);
}

}  // namespace restest

#endif
