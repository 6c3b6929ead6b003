// The decoded block classes: defaults, reads (also of short payloads), the
// reports and the bytes they write.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ResourceTestUtil.h"

using namespace psdkit;
using psdtest::Bytes;
using psdtest::CaptureStdout;
using restest::Decoded;
using restest::HexOf;
using restest::Written;

namespace {

std::string Report(PSDResourceBlock& block) {
    return CaptureStdout([&] { block.PrintInfo(); });
}

// The 12 header bytes as a block with an empty name carries them.
Bytes Header(unsigned short id, unsigned long size) { return Bytes().str("8BIM").u16(id).u16(0).u32(size); }

// Header-only classes built and left unsized write the 12-byte header alone,
// with ID 0 and size 0, whatever their fields hold.
TEST(HeaderOnlyBlocks, UnsizedBlockWritesTheHeaderAlone) {
    PSDImageRes factory;
    for (unsigned short id : {1011, 1024, 1032, 1034, 1037, 10000}) {
        std::unique_ptr<PSDResourceBlock> block(factory.CreateResouceBlockObject(id));
        EXPECT_EQ(HexOf(Written(*block)), HexOf(Header(0, 0))) << id;
    }
}

// ---- Resolution info

TEST(ResolutionInfo, NewBlockHoldsSeventyTwoInInchesAndWritesItsTwentyEightBytes) {
    PSDResolutionInfoRB block;
    EXPECT_EQ(block.GetResourceID(), 1005);
    EXPECT_EQ(block.GetDataBlockSize(), 16u);
    EXPECT_EQ(block.GetResourceBlockSize(), 28u);
    EXPECT_EQ(block.GetHorizResolution(), 72);
    EXPECT_EQ(block.GetVertResolution(), 72);
    EXPECT_EQ(block.GetHorizResolutionUnits(), 1);
    EXPECT_EQ(block.GetVertResolutionUnits(), 1);
    EXPECT_EQ(block.GetWidthUnits(), 1);
    EXPECT_EQ(block.GetHeightUnits(), 1);
    EXPECT_EQ(DEFAULT_RESOLUTION, 72);
    EXPECT_EQ(HexOf(Written(block)),
              "38 42 49 4D 03 ED 00 00 00 00 00 10 00 48 00 00 00 01 00 01 00 48 00 00 00 01 00 01");
    block.SetHorizResolution(300);
    block.SetVertResolution(300);
    EXPECT_EQ(HexOf(Written(block)),
              "38 42 49 4D 03 ED 00 00 00 00 00 10 01 2C 00 00 00 01 00 01 01 2C 00 00 00 01 00 01");
}

TEST(ResolutionInfo, ReadTakesTheHorizontalHalfForBoth) {
    // Horizontal 300 + 0x8000/65536 per cm in points; vertical 72 per inch in columns.
    auto block = Decoded<PSDResolutionInfoRB>(1005, Bytes()
                                                        .u16(300).u16(0x8000).u16(2).u16(3)
                                                        .u16(72).u16(0).u16(1).u16(4));
    EXPECT_EQ(block->GetHorizResolution(), 300);
    EXPECT_EQ(block->GetVertResolution(), 300);
    EXPECT_EQ(block->GetHorizResolutionUnits(), 2);
    EXPECT_EQ(block->GetVertResolutionUnits(), 2);
    EXPECT_EQ(block->GetWidthUnits(), 3);
    EXPECT_EQ(block->GetHeightUnits(), 3);
    EXPECT_EQ(block->GetResourceBlockSize(), 28u);
    // Both fractions came from bytes 2 and 3; the setter clears the horizontal one only.
    block->SetHorizResolution(200);
    Bytes expected = Header(1005, 16).u16(200).u16(0).u16(2).u16(3).u16(300).u16(0x8000).u16(2).u16(3);
    EXPECT_EQ(HexOf(Written(*block)), HexOf(expected));
}

TEST(ResolutionInfo, ShortPayloadFillsWhatItHolds) {
    auto block = Decoded<PSDResolutionInfoRB>(1005, Bytes().u16(150).u8(0));  // 3 bytes
    EXPECT_EQ(block->GetHorizResolution(), 150);
    EXPECT_EQ(block->GetVertResolution(), 150);
    EXPECT_EQ(block->GetHorizResolutionUnits(), 1);
    EXPECT_EQ(block->GetWidthUnits(), 1);
    auto empty = Decoded<PSDResolutionInfoRB>(1005, Bytes());
    EXPECT_EQ(empty->GetHorizResolution(), 72);
    EXPECT_EQ(empty->GetVertResolution(), 72);
}

TEST(ResolutionInfo, BlockOfAnotherSizeIsWrittenAsItWasRead) {
    Bytes payload = Bytes().u16(96).u16(0).u16(1).u16(1);
    auto block = Decoded<PSDResolutionInfoRB>(1005, payload);
    EXPECT_EQ(HexOf(Written(*block)), HexOf(Header(1005, 8).raw(payload)));
}

TEST(ResolutionInfo, UnitTexts) {
    EXPECT_STREQ(PSDResolutionInfoRB::GetPixelUnitsAsName(0), "Invalid Pixels Per...");
    EXPECT_STREQ(PSDResolutionInfoRB::GetPixelUnitsAsName(3), "Invalid Pixels Per...");
    EXPECT_STREQ(PSDResolutionInfoRB::GetUnitsAsName(3), "Point Units");
    EXPECT_STREQ(PSDResolutionInfoRB::GetUnitsAsName(4), "Column Units");
    EXPECT_STREQ(PSDResolutionInfoRB::GetUnitsAsName(0), "Invalid Units");
    EXPECT_STREQ(PSDResolutionInfoRB::GetUnitsAsName(5), "Invalid Units");
}

TEST(ResolutionInfo, Report) {
    PSDResolutionInfoRB block;
    EXPECT_EQ(Report(block),
              " 1005 - ResolutionInfo structure\n"
              "Horiz Res:72\n"
              "Horiz Pixel Units:Pixels Per Inch\n"
              "Horiz Units:Inch Units\n"
              "Vert Res:72\n"
              "Vert Pixel Units:Pixels Per Inch\n"
              "Vert Units:Inch Units\n");
    block.SetHorizResolution(300);
    block.SetHorizResolutionUnits(2);
    block.SetWidthUnits(9);
    block.SetVertResolutionUnits(7);
    block.SetHeightUnits(4);
    EXPECT_EQ(Report(block),
              " 1005 - ResolutionInfo structure\n"
              "Horiz Res:300\n"
              "Horiz Pixel Units:Pixels Per CM\n"
              "Horiz Units:Invalid Units\n"
              "Vert Res:72\n"
              "Vert Pixel Units:Invalid Pixels Per...\n"
              "Vert Units:Column Units\n");
}

// ---- Copyright flag

TEST(CopyrightFlag, FlagByteIsSignedAndTrueAboveZero) {
    struct Case {
        unsigned byte;
        bool flag;
    };
    // 0x80 and 0xFF are negative as signed bytes, so false.
    for (Case c : {Case{0x01, true}, Case{0x7F, true}, Case{0x00, false}, Case{0x80, false}, Case{0xFF, false}}) {
        auto block = Decoded<PSDCopyrightFlagRB>(1034, Bytes().u8(c.byte));
        EXPECT_EQ(block->GetFlag(), c.flag) << c.byte;
        EXPECT_EQ(Report(*block), std::string(" 1034 - Copyright Flag\nCopyrighted: - ") +
                                      (c.flag ? "True\n" : "False\n"));
    }
}

TEST(CopyrightFlag, DefaultsAndShortPayload) {
    PSDCopyrightFlagRB block;
    EXPECT_FALSE(block.GetFlag());
    EXPECT_EQ(block.GetResourceID(), 0);
    EXPECT_EQ(block.GetResourceBlockSize(), 0u);
    auto empty = Decoded<PSDCopyrightFlagRB>(1034, Bytes());
    EXPECT_FALSE(empty->GetFlag());
    EXPECT_EQ(Report(block), "Unknown \nCopyrighted: - False\n");
}

TEST(CopyrightFlag, Writes) {
    // Built and sized for its byte and pad: the flag byte.
    PSDCopyrightFlagRB sized;
    sized.SetResourceID(PSDResourceBlock::RS_1034);
    sized.SetDataBlockSize(1);
    sized.SetResourceBlockSize(14);
    sized.SetFlag(true);
    EXPECT_EQ(HexOf(Written(sized)), HexOf(Header(1034, 1).u8(1).u8(0)));
    // Read: the payload goes back unchanged.
    auto read = Decoded<PSDCopyrightFlagRB>(1034, Bytes().u8(0x85));
    read->SetFlag(true);
    EXPECT_EQ(HexOf(Written(*read)), HexOf(Header(1034, 1).u8(0x85).u8(0)));
}

// ---- Document ID

TEST(DocumentID, NewBlockIsSizedAndWritesItsID) {
    PSDDocumentIDRB block;
    EXPECT_EQ(block.GetResourceID(), 1044);
    EXPECT_EQ(block.GetID(), 1u);
    EXPECT_EQ(block.GetDataBlockSize(), 4u);
    EXPECT_EQ(block.GetResourceBlockSize(), 16u);
    EXPECT_EQ(HexOf(Written(block)), HexOf(Header(1044, 4).u32(1)));
    EXPECT_EQ(Report(block), " 1044 - Document Specific IDs\nDocument ID:1\n");
}

TEST(DocumentID, ReadAndShortPayload) {
    auto block = Decoded<PSDDocumentIDRB>(1044, Bytes().u32(0x01020304));
    EXPECT_EQ(block->GetID(), 0x01020304u);
    EXPECT_EQ(Report(*block), " 1044 - Document Specific IDs\nDocument ID:16909060\n");
    auto shortOne = Decoded<PSDDocumentIDRB>(1044, Bytes().u16(0xFFFF).u8(0xFF));
    EXPECT_EQ(shortOne->GetID(), 1u);
    // Three bytes read keep their own size on write.
    EXPECT_EQ(HexOf(Written(*shortOne)), HexOf(Header(1044, 3).u16(0xFFFF).u8(0xFF).u8(0)));
}

// ---- Global angle

TEST(GlobalAngle, DefaultsReadAndReport) {
    PSDGlobalAngleRB block;
    EXPECT_EQ(block.GetAngle(), 30u);
    EXPECT_EQ(block.GetResourceID(), 0);
    EXPECT_EQ(Report(block), "Unknown \nGlobal Angle:30\n");
    auto read = Decoded<PSDGlobalAngleRB>(1037, Bytes().u32(90));
    EXPECT_EQ(read->GetAngle(), 90u);
    EXPECT_EQ(Report(*read), " 1037 - Global Angle\nGlobal Angle:90\n");
    auto shortOne = Decoded<PSDGlobalAngleRB>(1037, Bytes().u16(90));
    EXPECT_EQ(shortOne->GetAngle(), 30u);
}

TEST(GlobalAngle, Writes) {
    PSDGlobalAngleRB sized;
    sized.SetResourceID(PSDResourceBlock::RS_1037);
    sized.SetDataBlockSize(4);
    sized.SetAngle(120);
    EXPECT_EQ(HexOf(Written(sized)), HexOf(Header(1037, 4).u32(120)));
    auto read = Decoded<PSDGlobalAngleRB>(1037, Bytes().u32(90));
    EXPECT_EQ(HexOf(Written(*read)), HexOf(Header(1037, 4).u32(90)));
}

// ---- Layer state info

TEST(LayerStateInfo, TargetLayerStartsAtZero) {
    PSDLayerStateInfoRB block;
    EXPECT_EQ(block.GetTargetLayer(), 0);
    EXPECT_EQ(Report(block), "Unknown \nActive Layer:0\n");
    auto read = Decoded<PSDLayerStateInfoRB>(1024, Bytes().u16(3));
    EXPECT_EQ(read->GetTargetLayer(), 3);
    EXPECT_EQ(Report(*read), " 1024 - Layer State Info\nActive Layer:3\n");
    auto shortOne = Decoded<PSDLayerStateInfoRB>(1024, Bytes().u8(7));
    EXPECT_EQ(shortOne->GetTargetLayer(), 0);
    EXPECT_EQ(HexOf(Written(*shortOne)), HexOf(Header(1024, 1).u8(7).u8(0)));
    PSDLayerStateInfoRB sized;
    sized.SetResourceID(PSDResourceBlock::RS_1024);
    sized.SetDataBlockSize(2);
    sized.SetTargetLayer(0x0102);
    EXPECT_EQ(HexOf(Written(sized)), HexOf(Header(1024, 2).u16(0x0102)));
}

// ---- Grid and guides

TEST(GridGuides, DefaultsAndReport) {
    PSDGridGuidesRB block;
    EXPECT_EQ(block.GetVersion(), 1u);
    EXPECT_EQ(block.GetGridCycleX(), 576u);
    EXPECT_EQ(block.GetGridCycleY(), 576u);
    EXPECT_EQ(block.GetGuideCount(), 0u);
    EXPECT_EQ(block.GetResourceID(), 0);
    block.SetResourceID(PSDResourceBlock::RS_1032);
    EXPECT_EQ(Report(block), " 1032 - Grid and Guides Info\nVersion:1\nGridCycleX:576\nGridCycleY:576\nGuideCount:0\n");
}

TEST(GridGuides, ReadKeepsGuideEntriesRaw) {
    // Two guides of 5 bytes each behind the 16-byte header.
    Bytes payload = Bytes().u32(1).u32(288).u32(144).u32(2).u32(0x1000).u8(0).u32(0x2000).u8(1);
    auto block = Decoded<PSDGridGuidesRB>(1032, payload);
    EXPECT_EQ(block->GetGridCycleX(), 288u);
    EXPECT_EQ(block->GetGridCycleY(), 144u);
    EXPECT_EQ(block->GetGuideCount(), 2u);
    EXPECT_EQ(block->GetDataBlockSize(), 26u);
    EXPECT_EQ(HexOf(Written(*block)), HexOf(Header(1032, 26).raw(payload)));
}

TEST(GridGuides, ShortPayloadFillsWholeFieldsOnly) {
    auto block = Decoded<PSDGridGuidesRB>(1032, Bytes().u32(2).u16(0xFFFF));
    EXPECT_EQ(block->GetVersion(), 2u);
    EXPECT_EQ(block->GetGridCycleX(), 576u);
    EXPECT_EQ(block->GetGridCycleY(), 576u);
    EXPECT_EQ(block->GetGuideCount(), 0u);
}

TEST(GridGuides, BuiltBlockWritesItsFieldsWhenSized) {
    PSDGridGuidesRB block;
    block.SetResourceID(PSDResourceBlock::RS_1032);
    block.SetDataBlockSize(16);
    block.SetGridCycle(10, 20);
    block.SetVersion(3);
    EXPECT_EQ(HexOf(Written(block)), HexOf(Header(1032, 16).u32(3).u32(10).u32(20).u32(0)));
}

// ---- Layers group info

TEST(LayersGroupInfo, OddPayloadDropsItsLastByte) {
    auto block = Decoded<PSDLayersGroupInfoRB>(1026, Bytes().u16(7).u16(9).u8(1));
    EXPECT_EQ(block->GetNumLayers(), 2);
    EXPECT_EQ(block->GetLayerID(0), 7);
    EXPECT_EQ(block->GetLayerID(1), 9);
    EXPECT_EQ(block->GetDataBlockSize(), 4u);
    EXPECT_EQ(block->GetResourceBlockSize(), 16u);
    EXPECT_EQ(Report(*block), " 1026 - Layers Group Info\nNum Layers:2\nLayer 0:7\nLayer 1:9\n");
    EXPECT_EQ(HexOf(Written(*block)), HexOf(Header(1026, 4).u16(7).u16(9)));
}

TEST(LayersGroupInfo, EmptyPayloadHasNoLayers) {
    auto block = Decoded<PSDLayersGroupInfoRB>(1026, Bytes());
    EXPECT_EQ(block->GetNumLayers(), 0);
    EXPECT_EQ(Report(*block), " 1026 - Layers Group Info\nNum Layers:0\n");
    EXPECT_EQ(HexOf(Written(*block)), HexOf(Header(1026, 0)));
}

TEST(LayersGroupInfo, AddLayerKeepsSizesInStep) {
    PSDLayersGroupInfoRB block;
    EXPECT_EQ(HexOf(Written(block)), HexOf(Header(0, 0)));
    block.AddLayer(7);
    block.AddLayer(9);
    EXPECT_EQ(block.GetDataBlockSize(), 4u);
    EXPECT_EQ(block.GetResourceBlockSize(), 16u);
    EXPECT_EQ(HexOf(Written(block)), HexOf(Header(0, 4).u16(7).u16(9)));
    block.SetResourceID(PSDResourceBlock::RS_1026);
    EXPECT_EQ(HexOf(Written(block)), HexOf(Header(1026, 4).u16(7).u16(9)));
    EXPECT_EQ(block.GetLayerID(2), 0);  // past the list
}

TEST(LayersGroupInfo, SetNumLayersClearsTheSizes) {
    PSDLayersGroupInfoRB block;
    block.SetResourceID(PSDResourceBlock::RS_1026);
    block.AddLayer(4);
    block.SetNumLayers(0);
    EXPECT_EQ(block.GetNumLayers(), 0);
    EXPECT_EQ(block.GetDataBlockSize(), 0u);
    EXPECT_EQ(block.GetResourceBlockSize(), 12u);
    EXPECT_EQ(HexOf(Written(block)), HexOf(Header(1026, 0)));
    // A count above the list reads and writes no more than the list holds.
    block.SetNumLayers(5);
    EXPECT_EQ(Report(block), " 1026 - Layers Group Info\nNum Layers:5\nLayer 0:4\n");
    EXPECT_EQ(Written(block).size(), block.GetResourceBlockSize());
}

// ---- Print flags

TEST(PrintFlags, EightBytesGiveFiveFieldsAndEightLines) {
    auto block = Decoded<PSDPrintFlagsRB>(1011, Bytes().u8(1).u8(0).u8(1).u8(1).u8(0).u8(1).u8(1).u8(1));
    EXPECT_TRUE(block->GetPrintLabels());
    EXPECT_FALSE(block->GetPrintCropMarks());
    EXPECT_TRUE(block->GetPrintRegistrationMarks());
    EXPECT_FALSE(block->GetPrintNegative());
    EXPECT_TRUE(block->GetPrintCaption());
    EXPECT_EQ(Report(*block),
              " 1011 - Print Flags\n"
              "Labels: - True\n"
              "Corner Crop Marks: - False\n"
              "Unknown: - True\n"
              "Registration Marks: - True\n"
              "Negative: - False\n"
              "Unknown: - True\n"
              "Unknown: - True\n"
              "Cation: - True\n");
}

TEST(PrintFlags, ByteAboveSeventyFIsFalseAndANinthByteIsUnknown) {
    // 0x80 is negative as a signed byte.
    auto block = Decoded<PSDPrintFlagsRB>(1011, Bytes().u8(0x80).zeros(7).u8(0x02));
    EXPECT_FALSE(block->GetPrintLabels());
    std::string report = Report(*block);
    EXPECT_EQ(report.substr(0, std::string(" 1011 - Print Flags\nLabels: - False\n").size()),
              " 1011 - Print Flags\nLabels: - False\n");
    EXPECT_EQ(report.substr(report.size() - std::string("Cation: - False\nUnknown: - True\n").size()),
              "Cation: - False\nUnknown: - True\n");
}

TEST(PrintFlags, NewBlockReportsOneLine) {
    PSDPrintFlagsRB block;
    EXPECT_EQ(Report(block), "Unknown \n");
    block.SetPrintLabels(true);
    block.SetResourceID(PSDResourceBlock::RS_1011);
    EXPECT_EQ(Report(block), " 1011 - Print Flags\n");
    // Sized without a data block: still nothing to report, nothing read.
    block.SetDataBlockSize(8);
    EXPECT_EQ(Report(block), " 1011 - Print Flags\n");
}

TEST(PrintFlags, ShortPayloadAndWrites) {
    auto shortOne = Decoded<PSDPrintFlagsRB>(1011, Bytes().u8(1).u8(1).u8(1));
    EXPECT_TRUE(shortOne->GetPrintLabels());
    EXPECT_TRUE(shortOne->GetPrintCropMarks());
    EXPECT_FALSE(shortOne->GetPrintRegistrationMarks());
    EXPECT_FALSE(shortOne->GetPrintCaption());
    EXPECT_EQ(HexOf(Written(*shortOne)), HexOf(Header(1011, 3).u8(1).u8(1).u8(1).u8(0)));

    PSDPrintFlagsRB sized;
    sized.SetResourceID(PSDResourceBlock::RS_1011);
    sized.SetDataBlockSize(8);
    sized.SetPrintCropMarks(true);
    sized.SetPrintNegative(true);
    sized.SetPrintCaption(true);
    EXPECT_EQ(HexOf(Written(sized)), HexOf(Header(1011, 8).u8(0).u8(1).u8(0).u8(0).u8(1).u8(0).u8(0).u8(1)));
}

TEST(PrintFlags, NamesTable) {
    const char* expected[8] = {"Labels",   "Corner Crop Marks", "Unknown", "Registration Marks",
                               "Negative", "Unknown",           "Unknown", "Cation"};
    for (int i = 0; i < 8; ++i) EXPECT_STREQ(Names[i], expected[i]) << i;
    EXPECT_STREQ(UNKNOWN_STR, "Unknown");
}

// ---- Print flags info

TEST(PrintFlagsInfo, ReadAndReport) {
    auto block = Decoded<PSDPrintFlagsInfoRB>(10000, Bytes()
                                                         .u8(0x00).u8(0x01).u8(0x01).u8(0x00)
                                                         .u8(0x00).u8(0x00).u8(0x01).u8(0x02)
                                                         .u8(0x00).u8(0x48));
    EXPECT_TRUE(block->GetCenterCropMarks());
    EXPECT_EQ(block->GetBleedWidthValue(), 258u);
    EXPECT_EQ(block->GetBleedWidthScale(), 72);
    EXPECT_EQ(Report(*block),
              "10000 - Print Flags Info\nCenterCropMarks:True\nBleed Width Value:258\nBleed Width Scale:72\n");
}

TEST(PrintFlagsInfo, DefaultsAndShortPayload) {
    PSDPrintFlagsInfoRB block;
    EXPECT_FALSE(block.GetCenterCropMarks());
    EXPECT_EQ(block.GetBleedWidthValue(), 0u);
    EXPECT_EQ(block.GetBleedWidthScale(), 0);
    EXPECT_EQ(block.GetResourceID(), 0);
    EXPECT_EQ(Report(block), "Unknown \nCenterCropMarks:False\nBleed Width Value:0\nBleed Width Scale:0\n");
    // Seven bytes: the flag is there, the bleed width value is not.
    auto shortOne = Decoded<PSDPrintFlagsInfoRB>(10000, Bytes().u16(1).u8(1).u8(0).u16(0).u8(9));
    EXPECT_TRUE(shortOne->GetCenterCropMarks());
    EXPECT_EQ(shortOne->GetBleedWidthValue(), 0u);
    EXPECT_EQ(shortOne->GetBleedWidthScale(), 0);
    // 0xFF as the flag byte is negative, so false.
    auto negative = Decoded<PSDPrintFlagsInfoRB>(10000, Bytes().u16(1).u8(0xFF).zeros(7));
    EXPECT_FALSE(negative->GetCenterCropMarks());
}

TEST(PrintFlagsInfo, Writes) {
    PSDPrintFlagsInfoRB sized;
    sized.SetResourceID(PSDResourceBlock::RS_10000);
    sized.SetDataBlockSize(10);
    sized.SetCenterCropMarks(true);
    sized.SetBleedWidthValue(258);
    sized.SetBleedWidthScale(72);
    EXPECT_EQ(HexOf(Written(sized)), HexOf(Header(10000, 10).u16(1).u8(1).u8(0).u32(258).u16(72)));
    // Read: bytes no field holds go back as they were.
    Bytes payload = Bytes().u16(7).u8(1).u8(0x33).u32(5).u16(2);
    auto read = Decoded<PSDPrintFlagsInfoRB>(10000, payload);
    EXPECT_EQ(HexOf(Written(*read)), HexOf(Header(10000, 10).raw(payload)));
}

}  // namespace
