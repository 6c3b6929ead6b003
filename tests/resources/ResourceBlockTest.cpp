// The frame of a resource block: reading, sizes, Copy, the header and ID texts.

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "ResourceTestUtil.h"

using psdkit::PSDGenericResourceBlock;
using psdkit::PSDResourceBlock;
using psdtest::Bytes;
using restest::BlockBytes;
using restest::HexOf;

namespace {

// Reads blocks from a temporary file holding `bytes`.
class BlockReader {
public:
    explicit BlockReader(const Bytes& bytes) : path(dir.Write("blocks.bin", bytes)), in(path, std::ios_base::binary) {}
    bool Read(PSDResourceBlock& block) {
        block.SetStreams(&in, nullptr);
        return block.ReadResourceBlock();
    }
    bool Read(PSDResourceBlock& block, unsigned long limit) {
        block.SetStreams(&in, nullptr);
        return block.ReadResourceBlock(limit);
    }
    long Position() {
        in.clear();
        return static_cast<long>(in.tellg());
    }

private:
    psdtest::TempDir dir;
    std::string path;
    std::ifstream in;
};

TEST(ResourceBlockRead, EmptyNameAndNoDataTakeTwelveBytes) {
    BlockReader reader(Bytes().str("8BIM").u16(1000).u8(0).u8(0).u32(0));
    PSDGenericResourceBlock block;
    ASSERT_TRUE(reader.Read(block));
    EXPECT_EQ(block.GetResourceID(), 1000);
    EXPECT_EQ(block.GetResourceBlockSize(), 12u);
    EXPECT_EQ(block.GetDataBlockSize(), 0u);
    EXPECT_EQ(block.GetDataBlock(), nullptr);
    EXPECT_EQ(reader.Position(), 12);
}

TEST(ResourceBlockRead, NameAndItsPadTakeAnEvenNumberOfBytes) {
    // Name length -> bytes of the length byte, the name and its pad.
    const std::vector<std::pair<unsigned, unsigned long>> cases = {{0, 2}, {1, 2}, {2, 4}, {254, 256}, {255, 256}};
    for (const auto& c : cases) {
        std::string name(c.first, 'n');
        if (!name.empty()) name[0] = 'A';
        // A second block behind the first shows where the first one ended.
        Bytes bytes = BlockBytes(1008, name, Bytes().u16(0xBEEF));
        bytes.raw(BlockBytes(1010, "", Bytes().u32(7)));
        BlockReader reader(bytes);
        PSDGenericResourceBlock block;
        ASSERT_TRUE(reader.Read(block)) << "name length " << c.first;
        EXPECT_EQ(block.GetResourceBlockSize(), 4 + 2 + c.second + 4 + 2) << "name length " << c.first;
        EXPECT_EQ(block.GetDataBlockSize(), 2u);
        EXPECT_EQ(HexOf(std::vector<char>(block.GetDataBlock(), block.GetDataBlock() + 2)), "BE EF");
        EXPECT_EQ(block.GetNameLength(), c.first);
        EXPECT_EQ(std::string(block.GetName(), block.GetNameLength()), name);
        ASSERT_TRUE(reader.Read(block)) << "name length " << c.first;
        EXPECT_EQ(block.GetResourceID(), 1010);
        EXPECT_EQ(block.GetResourceBlockSize(), 16u);
    }
}

TEST(ResourceBlockRead, OddDataSizeKeepsThePadByteInTheBuffer) {
    BlockReader reader(Bytes().str("8BIM").u16(1028).u16(0).u32(5).str("abcde").u8(0x00).u8(0x77));
    PSDGenericResourceBlock block;
    ASSERT_TRUE(reader.Read(block));
    EXPECT_EQ(block.GetDataBlockSize(), 5u);
    EXPECT_EQ(block.GetDataBlockCapacity(), 6u);
    EXPECT_EQ(block.GetResourceBlockSize(), 18u);
    EXPECT_EQ(std::string(block.GetDataBlock(), 5), "abcde");
    EXPECT_EQ(reader.Position(), 18);
}

TEST(ResourceBlockRead, ScratchBlockCountsEachBlockFromZero) {
    Bytes bytes = BlockBytes(1000, "", Bytes().u32(1).u32(2));
    bytes.raw(BlockBytes(1001, "", Bytes()));
    bytes.raw(BlockBytes(1003, "abc", Bytes().u16(9)));
    BlockReader reader(bytes);
    PSDGenericResourceBlock scratch;
    ASSERT_TRUE(reader.Read(scratch));
    EXPECT_EQ(scratch.GetResourceBlockSize(), 20u);
    ASSERT_TRUE(reader.Read(scratch));
    EXPECT_EQ(scratch.GetResourceBlockSize(), 12u);
    EXPECT_EQ(scratch.GetDataBlock(), nullptr);
    EXPECT_EQ(scratch.GetNameLength(), 0u);
    ASSERT_TRUE(reader.Read(scratch));
    EXPECT_EQ(scratch.GetResourceID(), 1003);
    EXPECT_EQ(scratch.GetResourceBlockSize(), 4 + 2 + 4 + 4 + 2u);
}

TEST(ResourceBlockRead, AnySignaturePasses) {
    BlockReader reader(BlockBytes(1037, "", Bytes().u32(30), "MeSa"));
    PSDGenericResourceBlock block;
    ASSERT_TRUE(reader.Read(block));
    EXPECT_EQ(block.GetResourceID(), 1037);
    EXPECT_EQ(block.GetResourceBlockSize(), 16u);
}

TEST(ResourceBlockRead, FileEndingInsideTheBlockFailsWithoutData) {
    const Bytes whole = BlockBytes(1005, "name", Bytes().zeros(16));  // 4+2+6+4+16 = 32 bytes
    // Cut inside the signature, the ID, the name, the size word and the data.
    for (std::size_t cut : {2u, 5u, 9u, 14u, 20u, 31u}) {
        Bytes part;
        part.data.assign(whole.data.begin(), whole.data.begin() + static_cast<long>(cut));
        BlockReader reader(part);
        PSDGenericResourceBlock block;
        EXPECT_FALSE(reader.Read(block)) << "cut at " << cut;
        EXPECT_EQ(block.GetDataBlock(), nullptr) << "cut at " << cut;
    }
}

TEST(ResourceBlockRead, SizeBeyondTheFileAllocatesNothing) {
    // 0xFFFFFFFF: odd, so 4 GiB with the pad, in a 30-byte file.
    BlockReader reader(Bytes().str("8BIM").u16(1039).u16(0).u32(0xFFFFFFFFUL).zeros(18));
    PSDGenericResourceBlock block;
    EXPECT_FALSE(reader.Read(block));
    EXPECT_EQ(block.GetDataBlock(), nullptr);
    EXPECT_EQ(block.GetDataBlockCapacity(), 0u);
}

TEST(ResourceBlockRead, LimitBoundsTheBlockLikeTheEndOfTheFile) {
    Bytes bytes = BlockBytes(1037, "", Bytes().u32(30));
    bytes.zeros(64);
    BlockReader reader(bytes);
    PSDGenericResourceBlock block;
    EXPECT_FALSE(reader.Read(block, 15));  // one byte short of its 16
    EXPECT_EQ(block.GetDataBlock(), nullptr);
    BlockReader again(bytes);
    EXPECT_TRUE(again.Read(block, 16));
}

TEST(ResourceBlockSizes, DataSizeAddsTheTwelveHeaderBytes) {
    PSDGenericResourceBlock block;
    EXPECT_EQ(block.GetResourceID(), 0);
    EXPECT_EQ(block.GetResourceBlockSize(), 0u);
    block.SetDataBlockSize(0);
    EXPECT_EQ(block.GetResourceBlockSize(), 12u);
    block.SetDataBlockSize(16);
    EXPECT_EQ(block.GetResourceBlockSize(), 28u);
    block.IncrementDataBlockSize(4);
    EXPECT_EQ(block.GetDataBlockSize(), 20u);
    EXPECT_EQ(block.GetResourceBlockSize(), 32u);
    block.SetDataBlockSize(5);  // no pad byte is added
    EXPECT_EQ(block.GetResourceBlockSize(), 17u);
    block.SetResourceBlockSize(100);
    EXPECT_EQ(block.GetDataBlockSize(), 5u);
    EXPECT_EQ(block.GetResourceBlockSize(), 100u);
    block.AllocateDataBlock(6);
    EXPECT_NE(block.GetDataBlock(), nullptr);
    block.FreeDataBlock();
    EXPECT_EQ(block.GetDataBlock(), nullptr);
    EXPECT_EQ(block.GetResourceBlockSize(), 0u);
    EXPECT_EQ(block.GetDataBlockSize(), 5u);
}

TEST(ResourceBlockCopy, TargetTakesSizesOnFileAndItsOwnPaddedData) {
    BlockReader reader(BlockBytes(1005, "ab", Bytes().str("xyz")));
    PSDGenericResourceBlock source;
    ASSERT_TRUE(reader.Read(source));
    ASSERT_EQ(source.GetResourceBlockSize(), 4 + 2 + 4 + 4 + 4u);

    PSDGenericResourceBlock target;
    PSDResourceBlock::Copy(&source, &target);
    EXPECT_EQ(target.GetResourceID(), 1005);
    EXPECT_EQ(target.GetDataBlockSize(), 3u);
    // The name still counts, not 3 + 12.
    EXPECT_EQ(target.GetResourceBlockSize(), 18u);
    EXPECT_EQ(target.GetInputStream(), source.GetInputStream());
    ASSERT_NE(target.GetDataBlock(), nullptr);
    EXPECT_NE(target.GetDataBlock(), source.GetDataBlock());
    EXPECT_EQ(target.GetDataBlockCapacity(), 4u);
    EXPECT_EQ(HexOf(std::vector<char>(target.GetDataBlock(), target.GetDataBlock() + 4)), "78 79 7A 00");

    // The header it would write has an empty name.
    psdtest::TempDir dir;
    std::string path = dir.Path("header.bin");
    {
        std::ofstream out(path, std::ios_base::binary);
        target.SetStreams(nullptr, &out);
        target.WriteResourceBlockHeader();
        target.SetStreams(nullptr, nullptr);
    }
    EXPECT_EQ(HexOf(psdtest::ReadFile(path)), HexOf(Bytes().str("8BIM").u16(1005).u16(0).u32(3)));
}

TEST(ResourceBlockCopy, BlockWithoutDataGivesEmptyButPresentDataBlock) {
    BlockReader reader(BlockBytes(1054, "", Bytes()));
    PSDGenericResourceBlock source;
    ASSERT_TRUE(reader.Read(source));
    PSDGenericResourceBlock target;
    PSDResourceBlock::Copy(&source, &target);
    EXPECT_NE(target.GetDataBlock(), nullptr);
    EXPECT_EQ(target.GetDataBlockSize(), 0u);
    EXPECT_EQ(target.GetResourceBlockSize(), 12u);
}

TEST(ResourceBlockNames, KnownIdsHaveTheirOwnTextAndOthersAreUnknown) {
    const std::vector<std::pair<unsigned short, std::string>> texts = {
        {1000, " 1000 - Obsolete"},
        {1027, " 1027 - Obsolete"},
        {1005, " 1005 - ResolutionInfo structure"},
        {1012, " 1012 - Grayscale & Multichannel Halftoning"},
        {1019, " 1019 - Effective B/W Values"},
        {1033, " 1033 - Thumbnail Resource"},
        {1036, " 1036 - Thumbnail Resource"},
        {1057, " 1057 - Version Info"},
        {2000, " 2000 - Path Info"},
        {2998, " 2998 - Path Info"},
        {2999, " 2999 - Clipping Path"},
        {10000, "10000 - Print Flags Info"},
        // No constant for these.
        {0, "Unknown "},
        {1002, "Unknown "},
        {1004, "Unknown "},
        {1031, "Unknown "},
        {1048, "Unknown "},
        {1055, "Unknown "},
        {1056, "Unknown "},
        {65535, "Unknown "},
    };
    PSDGenericResourceBlock block;
    for (const auto& entry : texts) {
        block.SetResourceID(entry.first);
        EXPECT_EQ(std::string(block.GetIDAsName()), entry.second);
    }
    // The shared texts themselves, not copies.
    block.SetResourceID(1039);
    EXPECT_EQ(block.GetIDAsName(), psdkit::RS_1039_STR);
    block.SetResourceID(1002);
    EXPECT_EQ(block.GetIDAsName(), psdkit::RS_UNKNOWN_STR);
}

}  // namespace
