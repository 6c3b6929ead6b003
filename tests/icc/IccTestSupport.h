#ifndef PSDKIT_TESTS_ICC_ICCTESTSUPPORT_H
#define PSDKIT_TESTS_ICC_ICCTESTSUPPORT_H

// Shared pieces of the ICC tests: blocks to bytes and bytes to blocks.

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

namespace icctest {

// What a block writes, as bytes.
inline std::vector<char> WrittenBytes(psdkit::PSDResourceBlock* block) {
    psdtest::TempDir dir;
    std::string path = dir.Path("block.bin");
    {
        std::ofstream out(path, std::ios_base::binary);
        block->SetStreams(nullptr, &out);
        block->WriteResourceBlock();
        block->SetStreams(nullptr, nullptr);
    }
    return psdtest::ReadFile(path);
}

// What a tag's data write gives, as bytes.
inline std::vector<char> WrittenTagData(psdkit::PSDICCTag* tag) {
    psdtest::TempDir dir;
    std::string path = dir.Path("tag.bin");
    {
        std::ofstream out(path, std::ios_base::binary);
        tag->WriteTagData(&out);
    }
    return psdtest::ReadFile(path);
}

// A profile block decoded from `payload` as the section reader hands it over:
// a raw block of that data size (and a frame of `frameSize` bytes, when given)
// moved into a new profile block.
inline std::unique_ptr<psdkit::PSDICCProfileRB> DecodedBlock(const std::vector<char>& payload,
                                                             unsigned long frameSize = 0) {
    psdkit::PSDGenericResourceBlock raw;
    raw.SetResourceID(psdkit::PSDResourceBlock::RS_1039);
    unsigned long n = payload.size();
    unsigned long padded = n + (n & 1);
    raw.SetDataBlockSize(n);
    raw.SetResourceBlockSize(frameSize != 0 ? frameSize : 12 + padded);
    char* data = raw.AllocateDataBlock(padded);
    std::fill(data, data + padded, 0);
    std::copy(payload.begin(), payload.end(), data);
    std::unique_ptr<psdkit::PSDICCProfileRB> block(new psdkit::PSDICCProfileRB());
    psdkit::PSDResourceBlock::Copy(&raw, block.get());
    return block;
}

// The profile bytes of a written block: the block without its 12-byte frame.
inline std::vector<char> ProfileBytes(psdkit::PSDResourceBlock* block) {
    std::vector<char> written = WrittenBytes(block);
    return std::vector<char>(written.begin() + 12, written.end());
}

inline unsigned long U32(const std::vector<char>& b, std::size_t at) {
    return static_cast<unsigned long>(static_cast<unsigned char>(b[at])) << 24 |
           static_cast<unsigned long>(static_cast<unsigned char>(b[at + 1])) << 16 |
           static_cast<unsigned long>(static_cast<unsigned char>(b[at + 2])) << 8 |
           static_cast<unsigned long>(static_cast<unsigned char>(b[at + 3]));
}

inline unsigned U16(const std::vector<char>& b, std::size_t at) {
    return static_cast<unsigned>(static_cast<unsigned char>(b[at])) << 8 |
           static_cast<unsigned>(static_cast<unsigned char>(b[at + 1]));
}

// Hex of `n` bytes at `at`, spaced: "00 01 16 CB".
inline std::string HexAt(const std::vector<char>& b, std::size_t at, std::size_t n) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(b[at + i]);
        if (i != 0) text += ' ';
        text += digits[c >> 4];
        text += digits[c & 15];
    }
    return text;
}

inline std::string TextAt(const std::vector<char>& b, std::size_t at, std::size_t n) {
    return std::string(b.begin() + static_cast<long>(at), b.begin() + static_cast<long>(at + n));
}

// A profile header of 128 bytes (zeros but the size field) and a tag count.
inline psdtest::Bytes ProfileHead(unsigned long size, unsigned long count) {
    psdtest::Bytes b;
    b.u32(size).zeros(124).u32(count);
    return b;
}

}  // namespace icctest

#endif
