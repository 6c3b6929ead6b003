// The image resources section: the bounded read loop, the factory, the write
// with its length word, and binding to new streams.

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "ResourceTestUtil.h"

using namespace psdkit;
using psdtest::Bytes;
using restest::BlockBytes;
using restest::HexOf;

namespace {

struct SectionRead {
    bool result = false;
    long position = -1;  // where the input stands afterwards
};

// Reads a section from a file that holds `bytes` and then `trailer`.
SectionRead ReadSectionFrom(PSDImageRes& section, const Bytes& bytes, std::size_t trailer = 8) {
    psdtest::TempDir dir;
    Bytes file = bytes;
    file.zeros(trailer);
    std::ifstream in(dir.Write("section.bin", file), std::ios_base::binary);
    section.SetStreams(&in, nullptr);
    SectionRead read;
    read.result = section.ReadSection();
    in.clear();
    read.position = static_cast<long>(in.tellg());
    section.SetStreams(nullptr, nullptr);
    return read;
}

Bytes Section(const Bytes& blocks) { return Bytes().u32(blocks.size()).raw(blocks); }

std::vector<unsigned short> Ids(const PSDImageRes& section) {
    std::vector<unsigned short> ids;
    for (unsigned long i = 0; i < section.GetNumResourceBlocks(); ++i)
        ids.push_back(section.GetResourceBlock(i)->GetResourceID());
    return ids;
}

TEST(ImageResRead, EmptySectionHasNoBlocks) {
    PSDImageRes section;
    SectionRead read = ReadSectionFrom(section, Bytes().u32(0));
    EXPECT_TRUE(read.result);
    EXPECT_EQ(section.GetNumResourceBlocks(), 0u);
    EXPECT_EQ(section.GetSectionLength(), 0u);
    EXPECT_EQ(read.position, 4);
}

TEST(ImageResRead, TwoEmptyBlocksInTwentyFourBytes) {
    Bytes blocks = BlockBytes(1000, "", Bytes());
    blocks.raw(BlockBytes(1054, "", Bytes()));
    PSDImageRes section;
    SectionRead read = ReadSectionFrom(section, Section(blocks));
    EXPECT_TRUE(read.result);
    EXPECT_EQ(section.GetSectionLength(), 24u);
    EXPECT_EQ(Ids(section), (std::vector<unsigned short>{1000, 1054}));
    EXPECT_EQ(read.position, 28);
}

TEST(ImageResRead, NamesAndOddSizesKeepTheNextBlockInPlace) {
    Bytes blocks = BlockBytes(2000, "ab", Bytes().str("xyz"));   // name padded, data padded
    blocks.raw(BlockBytes(3000, "q", Bytes().u8(1)));             // odd name needs no pad
    blocks.raw(BlockBytes(1037, "", Bytes().u32(90)));
    PSDImageRes section;
    SectionRead read = ReadSectionFrom(section, Section(blocks));
    EXPECT_TRUE(read.result);
    ASSERT_EQ(Ids(section), (std::vector<unsigned short>{2000, 3000, 1037}));
    EXPECT_EQ(section.GetResourceBlock(0)->GetResourceBlockSize(), 18u);
    EXPECT_EQ(section.GetResourceBlock(1)->GetResourceBlockSize(), 14u);
    auto* angle = dynamic_cast<PSDGlobalAngleRB*>(section.GetResourceBlock(2));
    ASSERT_NE(angle, nullptr);
    EXPECT_EQ(angle->GetAngle(), 90u);
    EXPECT_EQ(read.position, static_cast<long>(4 + blocks.size()));
}

TEST(ImageResRead, BlocksThatDoNotAddUpEndTheLoopAtTheLengthWord) {
    Bytes two = BlockBytes(1000, "", Bytes().u16(1));
    two.raw(BlockBytes(1001, "", Bytes().u16(2)));  // 14 + 14 bytes
    struct Case {
        const char* what;
        unsigned long length;
        std::size_t blocksRead;
    };
    const Case cases[] = {
        {"length one byte short of the blocks", 27, 1},
        {"length far short of the blocks", 16, 1},
        {"length shorter than one frame", 11, 0},
        {"length one byte past the blocks", 29, 2},
        {"length with 10 bytes of junk behind the blocks", 38, 2},
    };
    for (const Case& c : cases) {
        Bytes bytes = Bytes().u32(c.length).raw(two);
        bytes.u8(0xAA).zeros(40);  // the file goes on behind the blocks
        PSDImageRes section;
        SectionRead read = ReadSectionFrom(section, bytes, 0);
        EXPECT_TRUE(read.result) << c.what;
        EXPECT_EQ(section.GetNumResourceBlocks(), c.blocksRead) << c.what;
        EXPECT_EQ(section.GetSectionLength(), c.length) << c.what;
        EXPECT_EQ(read.position, static_cast<long>(4 + c.length)) << c.what;
    }
}

TEST(ImageResRead, FileEndingInsideTheSectionGivesFalse) {
    Bytes blocks = BlockBytes(1037, "", Bytes().u32(90));
    blocks.raw(BlockBytes(1044, "", Bytes().u32(7)));  // 32 bytes in all
    for (std::size_t keep : {0u, 3u, 16u, 20u, 31u}) {
        Bytes bytes = Bytes().u32(blocks.size());
        bytes.data.insert(bytes.data.end(), blocks.data.begin(), blocks.data.begin() + static_cast<long>(keep));
        PSDImageRes section;
        SectionRead read = ReadSectionFrom(section, bytes, 0);
        EXPECT_FALSE(read.result) << keep << " bytes of blocks";
        EXPECT_EQ(section.GetNumResourceBlocks(), keep >= 16 ? 1u : 0u) << keep << " bytes of blocks";
    }
    // No length word at all.
    PSDImageRes section;
    EXPECT_FALSE(ReadSectionFrom(section, Bytes().u16(0), 0).result);
}

TEST(ImageResRead, BlockSizeOfAllOnesEndsTheLoop) {
    Bytes blocks = BlockBytes(1005, "", Bytes().zeros(16));
    blocks.str("8BIM").u16(1039).u16(0).u32(0xFFFFFFFFUL).zeros(8);
    PSDImageRes section;
    SectionRead read = ReadSectionFrom(section, Section(blocks));
    EXPECT_TRUE(read.result);
    EXPECT_EQ(Ids(section), std::vector<unsigned short>{1005});
    EXPECT_EQ(read.position, static_cast<long>(4 + blocks.size()));
}

TEST(ImageResRead, HundredByteFileClaimingFourGigabytesReadsPromptly) {
    // Header 26, colour mode 4, resources 4 + 50, layers 4, composite 2 + 10.
    Bytes resources = Bytes().str("8BIM").u16(1060).u16(0).u32(0xFFFFFFFEUL).zeros(38);
    Bytes file = psdtest::PsdHeader(3, 2, 2, 8, 3);
    file.u32(0).u32(resources.size()).raw(resources).u32(0).u16(0).zeros(10);
    ASSERT_EQ(file.size(), 100u);
    psdtest::TempDir dir;
    std::string path = dir.Write("claims-4g.psd", file);

    auto start = std::chrono::steady_clock::now();
    PhotoshopFile document;
    EXPECT_TRUE(document.OpenReadFile(path.c_str()));
    auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(seconds, 5.0);
    EXPECT_EQ(document.GetImageResources()->GetNumResourceBlocks(), 0u);
    EXPECT_EQ(document.GetImageResources()->GetSectionLength(), 50u);
    // The sections behind it are still found.
    EXPECT_EQ(document.GetImageDataLen(), 10u);
}

TEST(ImageResRead, SecondReadAppends) {
    Bytes blocks = BlockBytes(1037, "", Bytes().u32(90));
    blocks.raw(BlockBytes(1002, "", Bytes().u8(5)));
    PSDImageRes section;
    ASSERT_TRUE(ReadSectionFrom(section, Section(blocks)).result);
    ASSERT_TRUE(ReadSectionFrom(section, Section(blocks)).result);
    EXPECT_EQ(Ids(section), (std::vector<unsigned short>{1037, 1002, 1037, 1002}));
}

TEST(ImageResFactory, BuildsTheClassOfEachId) {
    struct Row {
        unsigned short id;
        const std::type_info& type;
        unsigned short builtId;
        unsigned long dataSize;
    };
    const Row rows[] = {
        {1005, typeid(PSDResolutionInfoRB), 1005, 16},
        {1011, typeid(PSDPrintFlagsRB), 0, 0},
        {1024, typeid(PSDLayerStateInfoRB), 0, 0},
        {1026, typeid(PSDLayersGroupInfoRB), 0, 0},
        {1032, typeid(PSDGridGuidesRB), 0, 0},
        {1034, typeid(PSDCopyrightFlagRB), 0, 0},
        {1037, typeid(PSDGlobalAngleRB), 0, 0},
        {1044, typeid(PSDDocumentIDRB), 1044, 4},
        {10000, typeid(PSDPrintFlagsInfoRB), 0, 0},
        // 1033 carries a thumbnail's name but is not decoded.
        {1033, typeid(PSDGenericResourceBlock), 0, 0},
        {1002, typeid(PSDGenericResourceBlock), 0, 0},
        {4000, typeid(PSDGenericResourceBlock), 0, 0},
    };
    PSDImageRes section;
    for (const Row& row : rows) {
        std::unique_ptr<PSDResourceBlock> block(section.CreateResouceBlockObject(row.id));
        ASSERT_NE(block, nullptr) << row.id;
        const PSDResourceBlock& object = *block;
        EXPECT_TRUE(typeid(object) == row.type) << row.id;
        EXPECT_EQ(block->GetResourceID(), row.builtId) << row.id;
        EXPECT_EQ(block->GetDataBlockSize(), row.dataSize) << row.id;
        EXPECT_EQ(block->GetResourceBlockSize(), row.dataSize == 0 ? 0u : row.dataSize + 12) << row.id;
        EXPECT_EQ(block->GetInputStream(), nullptr) << row.id;
    }
    EXPECT_EQ(section.GetNumResourceBlocks(), 0u);
}

TEST(ImageResFactory, PopulateDecodesFromTheObjectsOwnCopy) {
    PSDImageRes section;
    auto raw = restest::RawBlock(1034, Bytes().u8(1));
    std::unique_ptr<PSDResourceBlock> block(section.PopulateResouceBlockObject(raw.get()));
    auto* flag = dynamic_cast<PSDCopyrightFlagRB*>(block.get());
    ASSERT_NE(flag, nullptr);
    EXPECT_TRUE(flag->GetFlag());
    EXPECT_EQ(flag->GetResourceID(), 1034);
    EXPECT_NE(flag->GetDataBlock(), raw->GetDataBlock());
}

TEST(GenericResourceBlock, ReportsIdTextAndSize) {
    auto thumbnailName = restest::Decoded<PSDGenericResourceBlock>(1033, Bytes().zeros(5));
    EXPECT_EQ(psdtest::CaptureStdout([&] { thumbnailName->PrintInfo(); }), " 1033 - Thumbnail Resource Size:5\n");
    auto unknown = restest::Decoded<PSDGenericResourceBlock>(1002, Bytes().zeros(5));
    EXPECT_EQ(psdtest::CaptureStdout([&] { unknown->PrintInfo(); }), "Unknown  Size:5\n");
}

TEST(GenericResourceBlock, ReadBlockWritesItselfBackAndBuiltEmptyOneWritesNothing) {
    // Read with a name and an odd size: written as it came.
    Bytes original = BlockBytes(3000, "OriginData", Bytes().str("abcde"));
    psdtest::TempDir dir;
    std::ifstream in(dir.Write("block.bin", original), std::ios_base::binary);
    PSDGenericResourceBlock scratch;
    scratch.SetStreams(&in, nullptr);
    ASSERT_TRUE(scratch.ReadResourceBlock());
    PSDGenericResourceBlock block;
    PSDResourceBlock::Copy(&scratch, &block);
    EXPECT_EQ(block.GetResourceBlockSize(), original.size());
    EXPECT_EQ(HexOf(restest::Written(block)), HexOf(original));

    PSDGenericResourceBlock built;
    EXPECT_TRUE(restest::Written(built).empty());
}

// Counts its writes; may set a state bit on the stream when written.
class ProbeBlock : public PSDGenericResourceBlock {
public:
    explicit ProbeBlock(int* counter, bool failsStream = false) : Counter(counter), FailsStream(failsStream) {
        SetResourceID(1001);
        SetDataBlockSize(0);
    }
    void WriteResourceBlock() override {
        ++*Counter;
        WriteResourceBlockHeader();
        if (FailsStream) GetOutputStream()->setstate(std::ios_base::badbit);
    }

private:
    int* Counter;
    bool FailsStream;
};

TEST(ImageResWrite, EmptySectionIsFourZeroBytes) {
    psdtest::TempDir dir;
    std::string path = dir.Path("section.bin");
    PSDImageRes section;
    {
        std::ofstream out(path, std::ios_base::binary);
        section.SetStreams(nullptr, &out);
        EXPECT_TRUE(section.WriteSection());
    }
    EXPECT_EQ(HexOf(psdtest::ReadFile(path)), "00 00 00 00");
}

TEST(ImageResWrite, ResolutionBlockGivesLengthTwentyEight) {
    psdtest::TempDir dir;
    std::string path = dir.Path("section.bin");
    PSDImageRes section;
    {
        std::ofstream out(path, std::ios_base::binary);
        section.SetStreams(nullptr, &out);
        section.AddResourceBlock(section.CreateResouceBlockObject(PSDResourceBlock::RS_1005));
        EXPECT_EQ(section.GetResourceBlock(0)->GetOutputStream(), &out);
        EXPECT_TRUE(section.WriteSection());
        section.SetStreams(nullptr, nullptr);
    }
    EXPECT_EQ(section.GetSectionLength(), 28u);
    Bytes expected = Bytes().u32(28).str("8BIM").u16(0x03ED).u16(0).u32(0x10);
    expected.u16(0x48).u16(0).u16(1).u16(1).u16(0x48).u16(0).u16(1).u16(1);
    EXPECT_EQ(HexOf(psdtest::ReadFile(path)), HexOf(expected));
}

TEST(ImageResWrite, FailedStreamStopsTheBlocks) {
    psdtest::TempDir dir;
    int calls = 0;
    {
        std::ofstream out(dir.Path("failed.bin"), std::ios_base::binary);
        PSDImageRes section;
        section.SetStreams(nullptr, &out);
        section.AddResourceBlock(new ProbeBlock(&calls));
        out.setstate(std::ios_base::failbit);
        EXPECT_FALSE(section.WriteSection());
        EXPECT_EQ(calls, 0);
        EXPECT_EQ(section.GetSectionLength(), 12u);
    }
    {
        std::ofstream out(dir.Path("breaks.bin"), std::ios_base::binary);
        PSDImageRes section;
        section.SetStreams(nullptr, &out);
        section.AddResourceBlock(new ProbeBlock(&calls));
        section.AddResourceBlock(new ProbeBlock(&calls, true));
        section.AddResourceBlock(new ProbeBlock(&calls));
        EXPECT_FALSE(section.WriteSection());
        EXPECT_EQ(calls, 2);
    }
}

TEST(ImageResStreams, BindingTheSectionBindsItsBlocks) {
    Bytes blocks = BlockBytes(1037, "", Bytes().u32(90));
    blocks.raw(BlockBytes(1002, "", Bytes()));
    PSDImageRes section;
    ASSERT_TRUE(ReadSectionFrom(section, Section(blocks)).result);
    // The file that was read is gone; no block keeps its stream.
    for (unsigned long i = 0; i < section.GetNumResourceBlocks(); ++i) {
        EXPECT_EQ(section.GetResourceBlock(i)->GetInputStream(), nullptr);
        EXPECT_EQ(section.GetResourceBlock(i)->GetOutputStream(), nullptr);
    }
    psdtest::TempDir dir;
    std::ofstream out(dir.Path("out.bin"), std::ios_base::binary);
    section.SetStreams(nullptr, &out);
    for (unsigned long i = 0; i < section.GetNumResourceBlocks(); ++i)
        EXPECT_EQ(section.GetResourceBlock(i)->GetOutputStream(), &out);
    section.SetStreams(nullptr, nullptr);
}

TEST(ImageResWrite, SectionReadFromBytesIsWrittenWithATrueLengthWord) {
    // One block of every class, names, odd sizes and short payloads.
    Bytes blocks;
    blocks.raw(BlockBytes(1005, "", Bytes().u16(300).u16(0).u16(1).u16(2).u16(300).u16(0).u16(1).u16(2)));
    blocks.raw(BlockBytes(1005, "res", Bytes().u16(150).zeros(14)));        // name: kept
    blocks.raw(BlockBytes(1005, "", Bytes().u16(96).u16(0).u16(1).u16(1)));  // 8 bytes, not 16
    blocks.raw(BlockBytes(1011, "", Bytes().u8(1).u8(0).u8(9).u8(1).u8(0).u8(7).u8(7).u8(1).u8(1)));
    blocks.raw(BlockBytes(1024, "", Bytes().u16(3)));
    blocks.raw(BlockBytes(1026, "groups", Bytes().u16(1).u16(2).u8(3)));  // name and odd size: re-encoded
    blocks.raw(BlockBytes(1032, "", Bytes().u32(1).u32(576).u32(576).u32(1).u32(100).u8(1).u8(0)));
    blocks.raw(BlockBytes(1034, "c", Bytes().u8(1)));
    blocks.raw(BlockBytes(1037, "", Bytes().u16(1)));  // short
    blocks.raw(BlockBytes(1044, "", Bytes().u32(67)));
    blocks.raw(BlockBytes(10000, "", Bytes().u16(1).u8(1).u8(0).u32(258).u16(72)));
    blocks.raw(BlockBytes(4000, "plug-in", Bytes().str("payload")));
    blocks.raw(BlockBytes(1054, "", Bytes()));
    PSDImageRes section;
    ASSERT_TRUE(ReadSectionFrom(section, Section(blocks)).result);
    ASSERT_EQ(section.GetNumResourceBlocks(), 13u);

    psdtest::TempDir dir;
    std::string path = dir.Path("section.bin");
    {
        std::ofstream out(path, std::ios_base::binary);
        section.SetStreams(nullptr, &out);
        ASSERT_TRUE(section.WriteSection());
        section.SetStreams(nullptr, nullptr);
    }
    std::vector<char> written = psdtest::ReadFile(path);
    ASSERT_GE(written.size(), 4u);
    unsigned long length = restest::BigEndian32(written, 0);
    EXPECT_EQ(length, written.size() - 4);
    std::vector<restest::WalkedBlock> walked;
    ASSERT_TRUE(restest::WalkBlocks(written, 4, length, &walked));
    std::vector<restest::WalkedBlock> original;
    ASSERT_TRUE(restest::WalkBlocks(blocks.data, 0, blocks.size(), &original));
    ASSERT_EQ(walked.size(), original.size());
    for (std::size_t i = 0; i < walked.size(); ++i) {
        EXPECT_EQ(walked[i].id, original[i].id) << i;
        if (original[i].id == 1026) {
            // The group list keeps whole IDs only, with an empty name.
            EXPECT_EQ(HexOf(walked[i].payload), "00 01 00 02");
            EXPECT_EQ(walked[i].name, "");
        } else {
            EXPECT_EQ(walked[i].name, original[i].name) << i;
            EXPECT_EQ(HexOf(walked[i].payload), HexOf(original[i].payload)) << i;
        }
    }
}

}  // namespace
