// The image resources section: the bounded read loop, the write and its length word.

#include <gtest/gtest.h>

#include <functional>

#include "ResourceTestUtil.h"

using namespace psdkit;
using namespace restest;

namespace {

Bytes Section(const Bytes& blocks) { return Bytes().u32(blocks.size()).raw(blocks); }

bool ReadSectionFrom(PSDImageRes& section, const Bytes& bytes, long* position = nullptr) {
    psdtest::TempDir dir;
    std::ifstream in(dir.Write("section.bin", bytes), std::ios_base::binary);
    section.SetStreams(&in, nullptr);
    bool result = section.ReadSection();
    section.SetStreams(nullptr, nullptr);
    in.clear();
    if (position) *position = static_cast<long>(in.tellg());
    return result;
}

std::vector<char> WrittenSection(PSDImageRes& section) {
    psdtest::TempDir dir;
    std::ofstream out(dir.Path("section.bin"), std::ios_base::binary);
    section.SetStreams(nullptr, &out);
    EXPECT_TRUE(section.WriteSection());
    out.close();
    return psdtest::ReadFile(dir.Path("section.bin"));
}

// The loop ends at the length word, at a block past it, or at the end of the file.
TEST(ImageResRead, BlocksUpToTheLengthWord) {
    const Bytes two = BlockBytes(1000, "", Bytes().u16(1)).raw(BlockBytes(1001, "", Bytes().u16(2)));  // 14 + 14
    const Bytes angleAndId = BlockBytes(1037, "", Bytes().u32(90)).raw(BlockBytes(1044, "", Bytes().u32(7)));
    const Bytes huge = BlockBytes(1005, "", Bytes().zeros(16)).str("8BIM").u16(1039).u16(0).u32(0xFFFFFFFFUL);
    auto cut = [&](long n) {
        return Bytes().u32(32).raw(std::vector<char>(angleAndId.data.begin(), angleAndId.data.begin() + n));
    };
    const struct {
        Bytes file;
        bool result;
        std::vector<unsigned short> ids;
    } cases[] = {
        {Bytes().u32(0).zeros(8), true, {}},
        {Bytes().u32(27).raw(two).zeros(40), true, {1000}},  // the second block runs one byte past
        {Bytes().u32(16).raw(two).zeros(40), true, {1000}},
        {Bytes().u32(11).raw(two).zeros(40), true, {}},  // shorter than a frame
        {Bytes().u32(29).raw(two).u8(0xAA).zeros(40), true, {1000, 1001}},
        {Section(Bytes(huge).zeros(8)).zeros(8), true, {1005}},
        {Bytes().u16(0), false, {}},
        {cut(0), false, {}},
        {cut(3), false, {}},
        {cut(15), false, {}},
        {cut(20), false, {1037}},
        {cut(31), false, {1037}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(HexOf(c.file));
        PSDImageRes section;
        long position = -1;
        EXPECT_EQ(ReadSectionFrom(section, c.file, &position), c.result);
        std::vector<unsigned short> ids;
        for (unsigned long i = 0; i < section.GetNumResourceBlocks(); ++i)
            ids.push_back(section.GetResourceBlock(i)->GetResourceID());
        EXPECT_EQ(ids, c.ids);
        if (c.result) {
            EXPECT_EQ(position, 4 + static_cast<long>(section.GetSectionLength()));
            EXPECT_EQ(Bytes().u32(section.GetSectionLength()).data,
                      std::vector<char>(&c.file.data[0], &c.file.data[4]));
        }
    }
}

// Blocks read go back as read, or encoded where their sizes allow; a second read appends.
TEST(ImageResWrite, BlocksGoBackBehindATrueLengthWord) {
    const std::vector<Bytes> blocks = {
        BlockBytes(1005, "", Bytes().u16(300).u16(0).u16(1).u16(2).u16(300).u16(0).u16(1).u16(2)),
        BlockBytes(1005, "res", Bytes().u16(150).zeros(14)),
        BlockBytes(1005, "", Bytes().u16(96).u16(0).u16(1).u16(1)),
        BlockBytes(1026, "groups", Bytes().u16(1).u16(2).u8(3)),
        BlockBytes(4000, "plug-in", Bytes().str("payload")),
        BlockBytes(1054, "", Bytes()),
    };
    Bytes read, expected;
    for (const Bytes& block : blocks) {
        read.raw(block);
        // The group list keeps whole IDs only, under an empty name.
        expected.raw(&block == &blocks[3] ? Header(1026, 4).u16(1).u16(2) : block);
    }
    PSDImageRes section;
    EXPECT_EQ(HexOf(WrittenSection(section)), "00 00 00 00");
    ASSERT_TRUE(ReadSectionFrom(section, Section(read)));
    ASSERT_TRUE(ReadSectionFrom(section, Section(read)));
    EXPECT_EQ(HexOf(WrittenSection(section)), HexOf(Section(expected.raw(Bytes(expected)))));
}

// However a host built a block, it writes exactly what the length word counts
// for it: the section reads back block by block up to its end.
TEST(ImageResWrite, EveryBlockClassBuiltEveryWayWritesWhatItsSizeStates) {
    using Fill = std::function<void(PSDResourceBlock*, unsigned short)>;
    const Fill fills[] = {
        [](PSDResourceBlock*, unsigned short) {},
        [](PSDResourceBlock* b, unsigned short id) { b->SetResourceID(id); },
        [](PSDResourceBlock* b, unsigned short id) {  // an odd size set by the host
            b->SetResourceID(id);
            b->SetDataBlockSize(5);
        },
        [](PSDResourceBlock* b, unsigned short id) {  // an even size, no room for the frame
            b->SetResourceID(id);
            b->SetDataBlockSize(2);
            b->SetResourceBlockSize(3);
        },
        [](PSDResourceBlock* b, unsigned short id) {  // a raw payload of 5 bytes
            b->SetResourceID(id);
            std::fill_n(b->AllocateDataBlock(6), 6, 'p');
            b->SetDataBlockSize(5);
        },
        [](PSDResourceBlock* b, unsigned short) {
            if (auto* grid = dynamic_cast<PSDGridGuidesRB*>(b)) grid->SetGuideCount(3);
            if (auto* group = dynamic_cast<PSDLayersGroupInfoRB*>(b)) group->AddLayer(7);
            if (auto* profile = dynamic_cast<PSDICCProfileRB*>(b))  // sizes not recalculated
                profile->CreateICCTagObject(PSDICCTag::TAGID_CPRT)->SetTextTypeAttribute("by hand");
        },
    };
    PSDImageRes section, back;
    std::vector<unsigned short> ids;
    for (unsigned short id : {1005, 1011, 1024, 1026, 1032, 1034, 1036, 1037, 1039, 1044, 10000, 2000})
        for (const Fill& fill : fills) {
            PSDResourceBlock* block = section.CreateResouceBlockObject(id);
            fill(block, id);
            section.AddResourceBlock(block);
            ids.push_back(block->GetResourceID());
        }
    std::vector<char> written = WrittenSection(section);
    long position = -1;
    ASSERT_TRUE(ReadSectionFrom(back, Bytes().raw(written), &position));
    EXPECT_EQ(position, static_cast<long>(written.size()));
    ASSERT_EQ(back.GetNumResourceBlocks(), ids.size());
    for (unsigned long i = 0; i < ids.size(); ++i) EXPECT_EQ(back.GetResourceBlock(i)->GetResourceID(), ids[i]) << i;
}

}  // namespace
