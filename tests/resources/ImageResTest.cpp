// The image resources section and its blocks: the bounded read loop, the write
// and its length word; what the block classes make of a payload, their
// reports, what they write.

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <memory>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using namespace psdkit;
using psdtest::Block;
using psdtest::Bytes;

namespace {

std::string HexOf(const std::vector<char>& bytes) { return psdtest::Hex(bytes.data(), bytes.size()); }
std::string HexOf(const Bytes& bytes) { return HexOf(bytes.data); }
std::string Written(PSDResourceBlock& block) { return HexOf(psdtest::WrittenBlock(block)); }

Bytes Header(unsigned short id, unsigned long size) { return Bytes().str("8BIM").u16(id).u16(0).u32(size); }

// The object the read loop makes of `payload` under `id` and an empty name.
std::unique_ptr<PSDResourceBlock> Decoded(unsigned short id, const Bytes& payload) {
    PSDGenericResourceBlock raw;
    EXPECT_TRUE(psdtest::ReadBlock(Block(id, payload), &raw));
    PSDImageRes factory;
    return std::unique_ptr<PSDResourceBlock>(factory.PopulateResouceBlockObject(&raw));
}

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
    const Bytes two = Block(1000, Bytes().u16(1)).raw(Block(1001, Bytes().u16(2)));  // 14 + 14
    const Bytes angleAndId = Block(1037, Bytes().u32(90)).raw(Block(1044, Bytes().u32(7)));
    const Bytes huge = Block(1005, Bytes().zeros(16)).str("8BIM").u16(1039).u16(0).u32(0xFFFFFFFFUL);
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
        {Bytes().u32(11).raw(two).zeros(40), true, {}},      // shorter than a frame
        {Bytes().u32(29).raw(two).u8(0xAA).zeros(40), true, {1000, 1001}},
        {Section(Bytes(huge).zeros(8)).zeros(8), true, {1005}},
        {Bytes().u16(0), false, {}},
        {cut(15), false, {}},
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

// Blocks read go back as read (names of every length, any signature as
// 8BIM), or encoded where their sizes allow; a second read appends.
TEST(ImageResWrite, BlocksGoBackBehindATrueLengthWord) {
    const std::string name = "A" + std::string(254, 'n');
    const std::vector<Bytes> blocks = {
        Block(1005, Bytes().u16(300).u16(0).u16(1).u16(2).u16(300).u16(0).u16(1).u16(2)),
        Block(1005, Bytes().u16(150).zeros(14), "res"),
        Block(1005, Bytes().u16(96).u16(0).u16(1).u16(1)),
        Block(1026, Bytes().u16(1).u16(2).u8(3), "groups"),
        Block(4000, Bytes().str("payload"), "plug-in"),
        Block(1054, Bytes()),
        Block(1008, Bytes().u16(0xBEEF), "A"),
        Block(1008, Bytes().str("abcde"), name),
        Block(1008, Bytes().u32(30), name.substr(1)),
    };
    Bytes read, expected;
    for (const Bytes& block : blocks) read.raw(block);
    read.raw(Block(1008, Bytes().u32(30), "", "MeSa"));
    for (const Bytes& block : blocks)  // the group list keeps whole IDs only, under an empty name
        expected.raw(&block == &blocks[3] ? Header(1026, 4).u16(1).u16(2) : block);
    expected.raw(Block(1008, Bytes().u32(30)));
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

struct Case {
    std::unique_ptr<PSDResourceBlock> block;
    std::string report;  // "": not compared
    std::string written;
};

// A block decoded from `payload`; unless told otherwise, written back as read.
Case Read(unsigned short id, const Bytes& payload, const std::string& report, const std::string& written = "") {
    return {Decoded(id, payload), report, written.empty() ? HexOf(Block(id, payload)) : written};
}

template <class T, class F>
std::unique_ptr<PSDResourceBlock> Edit(F setup, std::unique_ptr<PSDResourceBlock> block = std::make_unique<T>()) {
    setup(dynamic_cast<T&>(*block));
    return block;
}
// A new T sized for a payload of `size` under `id`.
template <class T, class F>
std::unique_ptr<PSDResourceBlock> Sized(unsigned short id, unsigned long size, F setup) {
    auto block = std::make_unique<T>();
    block->SetResourceID(id);
    block->SetDataBlockSize(size);
    block->SetResourceBlockSize(12 + size + (size & 1));
    setup(*block);
    return block;
}

// Built, a block writes its fields where its sizes fit them, else the header
// alone; read, its fields where they give back its size, else its payload.
TEST(ResourceBlockClasses, DecodeReportAndWrite) {
    const Bytes grid = Bytes().u32(1).u32(288).u32(144).u32(2).u32(0x1000).u8(0).u32(0x2000).u8(1);
    Case cases[] = {
        // The horizontal half stands for both; the vertical half is not read.
        Read(1005, Bytes().u16(300).u16(0x8000).u16(2).u16(3).u16(72).u16(0).u16(1).u16(4),
             " 1005 - ResolutionInfo structure\nHoriz Res:300\nHoriz Pixel Units:Pixels Per CM\n"
             "Horiz Units:Point Units\nVert Res:300\nVert Pixel Units:Pixels Per CM\nVert Units:Point Units\n",
             HexOf(Header(1005, 16).u16(300).u16(0x8000).u16(2).u16(3).u16(300).u16(0x8000).u16(2).u16(3))),
        // The flag byte is signed: 0x80 to 0xFF are negative.
        Read(1034, Bytes().u8(0x01), " 1034 - Copyright Flag\nCopyrighted: - True\n"),
        Read(1034, Bytes().u8(0x80), " 1034 - Copyright Flag\nCopyrighted: - False\n"),
        Read(1044, Bytes().u32(0x01020304), " 1044 - Document Specific IDs\nDocument ID:16909060\n",
             HexOf(Header(1044, 4).u32(0x01020304))),
        // Guide entries behind the 16 bytes stay raw.
        Read(1032, grid, " 1032 - Grid and Guides Info\nVersion:1\nGridCycleX:288\nGridCycleY:144\nGuideCount:2\n"),
        // An odd last byte is dropped, and the sizes follow the list.
        Read(1026, Bytes().u16(7).u16(9).u8(1), " 1026 - Layers Group Info\nNum Layers:2\nLayer 0:7\nLayer 1:9\n",
             HexOf(Header(1026, 4).u16(7).u16(9))),
        Read(10000, Bytes().u8(0).u8(1).u8(1).u8(0).u8(0).u8(0).u8(1).u8(2).u8(0).u8(0x48),
             "10000 - Print Flags Info\nCenterCropMarks:True\nBleed Width Value:258\nBleed Width Scale:72\n"),
        // Not decoded: the ID text and the size.
        Read(1002, Bytes().zeros(5), "Unknown  Size:5\n"),
        {std::make_unique<PSDResolutionInfoRB>(),
         " 1005 - ResolutionInfo structure\nHoriz Res:72\nHoriz Pixel Units:Pixels Per Inch\nHoriz Units:Inch Units\n"
         "Vert Res:72\nVert Pixel Units:Pixels Per Inch\nVert Units:Inch Units\n",
         "38 42 49 4D 03 ED 00 00 00 00 00 10 00 48 00 00 00 01 00 01 00 48 00 00 00 01 00 01"},
        // Units out of the table are shown as invalid and written unchanged.
        {Edit<PSDResolutionInfoRB>([](auto& b) {
             b.SetHorizResolutionUnits(2), b.SetWidthUnits(4), b.SetVertResolutionUnits(3), b.SetHeightUnits(5);
         }),
         " 1005 - ResolutionInfo structure\nHoriz Res:72\nHoriz Pixel Units:Pixels Per CM\nHoriz Units:Column Units\n"
         "Vert Res:72\nVert Pixel Units:Invalid Pixels Per...\nVert Units:Invalid Units\n",
         HexOf(Header(1005, 16).u16(72).u16(0).u16(2).u16(4).u16(72).u16(0).u16(3).u16(5))},
        // Built and unsized: the header alone, ID 0 and size 0.
        {std::make_unique<PSDCopyrightFlagRB>(), "Unknown \nCopyrighted: - False\n", HexOf(Header(0, 0))},
        {Edit<PSDGridGuidesRB>([](auto& b) { b.SetResourceID(1032); }),
         " 1032 - Grid and Guides Info\nVersion:1\nGridCycleX:576\nGridCycleY:576\nGuideCount:0\n",
         HexOf(Header(1032, 0))},
        // Sized for their payload: the fields.
        {Sized<PSDCopyrightFlagRB>(1034, 1, [](auto& b) { b.SetFlag(true); }),
         " 1034 - Copyright Flag\nCopyrighted: - True\n", HexOf(Header(1034, 1).u8(1).u8(0))},
        // Four guides stated but no entries held: the count written is the entries that follow.
        {Sized<PSDGridGuidesRB>(1032, 16, [](auto& b) { b.SetGridCycle(10, 20), b.SetVersion(3), b.SetGuideCount(4); }),
         "", HexOf(Header(1032, 16).u32(3).u32(10).u32(20).u32(0))},
        {Sized<PSDPrintFlagsInfoRB>(
             10000, 10,
             [](auto& b) { b.SetCenterCropMarks(true), b.SetBleedWidthValue(258), b.SetBleedWidthScale(72); }),
         "", HexOf(Header(10000, 10).u16(1).u8(1).u8(0).u32(258).u16(72))},
        // A read block goes back as read, whatever its setters did.
        {Edit<PSDCopyrightFlagRB>([](auto& b) { b.SetFlag(true); }, Decoded(1034, Bytes().u8(0x85))), "",
         HexOf(Header(1034, 1).u8(0x85).u8(0))},
        // SetNumLayers clears the sizes; a count above the list reads no more than it.
        {Sized<PSDLayersGroupInfoRB>(1026, 0, [](auto& b) { b.AddLayer(4), b.SetNumLayers(5); }),
         " 1026 - Layers Group Info\nNum Layers:5\nLayer 0:4\n", HexOf(Header(1026, 0))},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.block->GetIDAsName());
        SCOPED_TRACE(c.written);
        EXPECT_EQ(Written(*c.block), c.written);
        if (!c.report.empty()) {
            EXPECT_EQ(psdtest::CaptureStdout([&] { c.block->PrintInfo(); }), c.report);
        }
    }
}

}  // namespace
