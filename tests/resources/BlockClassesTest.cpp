// The block classes: what they make of a payload, their reports, what they write.

#include <gtest/gtest.h>

#include "ResourceTestUtil.h"

using namespace psdkit;
using namespace restest;

namespace {

struct Case {
    std::unique_ptr<PSDResourceBlock> block;
    std::string report;  // "": not compared
    std::string written;
};

// A block decoded from `payload`; unless told otherwise, written back as read.
Case Read(unsigned short id, const Bytes& payload, const std::string& report, const std::string& written = "") {
    return {Decoded(id, payload), report, written.empty() ? HexOf(BlockBytes(id, "", payload)) : written};
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
    const Bytes resolutionRead = Bytes().u16(300).u16(0x8000).u16(2).u16(3).zeros(8);
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
        // The print flags report names each payload byte.
        Read(1011, Bytes().u8(1).u8(0x80).u8(1).u8(1).u8(0).u8(1).u8(1).u8(1).u8(2),
             " 1011 - Print Flags\nLabels: - True\nCorner Crop Marks: - False\nUnknown: - True\nRegistration Marks: - "
             "True\n"
             "Negative: - False\nUnknown: - True\nUnknown: - True\nCation: - True\nUnknown: - True\n"),
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
        // The setter clears the horizontal fraction only.
        {Edit<PSDResolutionInfoRB>([](auto& b) { b.SetHorizResolution(200); }, Decoded(1005, resolutionRead)), "",
         HexOf(Header(1005, 16).u16(200).u16(0).u16(2).u16(3).u16(300).u16(0x8000).u16(2).u16(3))},
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
        // AddLayer keeps the sizes in step; the ID stays the caller's.
        {Edit<PSDLayersGroupInfoRB>([](auto& b) { b.AddLayer(7), b.AddLayer(9); }),
         "Unknown \nNum Layers:2\nLayer 0:7\nLayer 1:9\n", HexOf(Header(0, 4).u16(7).u16(9))},
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
