// The header and the composite image sections.

#include <fstream>
#include <functional>

#include "psdkit/core/PSDHeader.h"
#include "psdkit/core/PSDImageData.h"
#include "support/TestSupport.h"

using psdkit::PSDHeader;
using psdkit::PSDImageData;

namespace {

TEST(PSDHeader, NamesAndTheCheckBeforeAWrite) {
    PSDHeader header;
    EXPECT_FALSE(header.IsValidHeader());
    EXPECT_FALSE(header.ValidateAttributesForWrite());  // no size, no stream
    const char* names[] = {"Bitmap",  "Grayscale",    "Indexed", "RGB", "CYMK",    "Invalid",
                           "Invalid", "Multichannel", "Duotone", "Lab", "Invalid", "Invalid"};
    for (unsigned short mode = 0; mode < 12; ++mode) {
        header.SetMode(mode);
        EXPECT_STREQ(header.GetModeAsName(), names[mode]) << mode;
    }
    psdtest::TempDir dir;
    std::ofstream out(dir.Path("h.bin"), std::ios_base::binary);
    // Each change alone, from attributes that pass.
    const std::pair<std::function<void(PSDHeader&)>, bool> changes[] = {
        {[](PSDHeader&) {}, true},
        {[](PSDHeader& h) { h.SetMode(6); }, true},  // no constant, no name, but below 10
        {[](PSDHeader& h) { h.SetMode(PSDHeader::MODE_LAB); }, true},
        {[](PSDHeader& h) { h.SetMode(PSDHeader::MODE_INVALID); }, false},
        {[](PSDHeader& h) { h.SetRows(-1); }, false},
        {[](PSDHeader& h) { h.SetColumns(-1); }, false},
        {[](PSDHeader& h) { h.SetChannels(0); }, false},
        {[](PSDHeader& h) { h.SetDepth(0); }, false},
        {[](PSDHeader& h) { h.SetStreams(nullptr, nullptr); }, false},
    };
    for (const auto& change : changes) {
        header.SetStreams(nullptr, &out);
        header.SetRows(10);
        header.SetColumns(20);
        change.first(header);
        EXPECT_EQ(header.ValidateAttributesForWrite(), change.second);
    }
    EXPECT_EQ(header.GetRows(), 10);  // detaching keeps the attributes
}

TEST(PSDHeader, WrittenBytesFollowTheTableAndReadBack) {
    psdtest::TempDir dir;
    PSDHeader header;
    {
        std::ofstream out(dir.Path("h.bin"), std::ios_base::binary);
        header.SetStreams(nullptr, &out);
        header.SetChannels(1000);
        header.SetDepth(7);
        header.SetMode(6);
        header.SetRows(0x1000000002L);  // only the low 32 bits reach the file
        header.SetColumns(0x01020304L);
        ASSERT_TRUE(header.WriteSection());
        EXPECT_TRUE(header.IsValidHeader());
    }
    std::vector<char> bytes = psdtest::ReadFile(dir.Path("h.bin"));
    EXPECT_EQ(psdtest::Hex(bytes.data(), bytes.size()),
              "38 42 50 53 00 01 00 00 00 00 00 00 03 E8 00 00 00 02 01 02 03 04 00 07 00 06");
    bytes[8] = 9;  // reserved bytes are not looked at
    std::ifstream in(dir.Write("back.bin", bytes), std::ios_base::binary);
    PSDHeader back;
    back.SetStreams(&in, nullptr);
    ASSERT_TRUE(back.ReadSection());
    EXPECT_TRUE(back.IsValidHeader());
    EXPECT_EQ(back.GetChannels(), 1000);
    EXPECT_EQ(back.GetRows(), 2);
    EXPECT_EQ(back.GetColumns(), 0x01020304L);
    EXPECT_EQ(back.GetDepth(), 7);
    EXPECT_EQ(back.GetMode(), 6);
}

TEST(PSDImageData, CompressionTagAndBuffers) {
    PSDImageData data;
    const char* names[] = {"Raw", "RLE", "ZIP", "ZIPw/Prediction", "Invalid"};
    for (unsigned short code = 0; code < 5; ++code) {
        data.SetCompression(code);
        EXPECT_STREQ(data.GetCompressionAsName(), names[code]);
    }
    EXPECT_EQ(data.GetCompression(), 4);

    const char r[4] = {1, 2, 3, 4}, g[4] = {5, 6, 7, 8}, b[4] = {9, 10, 11, 12};
    ASSERT_TRUE(data.SetPlanarDataBuffers(r, g, b, 4));
    ASSERT_EQ(data.GetImageDataLen(), 12u);
    EXPECT_EQ(psdtest::Hex(data.GetDataBuffer(), 12), "01 02 03 04 05 06 07 08 09 0A 0B 0C");
    ASSERT_TRUE(data.AllocateDataBuffer(8));
    ASSERT_TRUE(data.AllocateDataBuffer());  // keeps the length of the buffer it replaces
    EXPECT_EQ(data.GetImageDataLen(), 8u);
    ASSERT_TRUE(data.AllocateDataBuffer(0));
    EXPECT_NE(data.GetDataBuffer(), nullptr);
    EXPECT_FALSE(data.ValidateAttributesForWrite());

    PSDImageData empty;
    empty.SetImageDataLen(100);
    empty.FreeDataBuffer();  // no buffer: the length stays
    EXPECT_EQ(empty.GetImageDataLen(), 100u);
    EXPECT_FALSE(empty.ValidateAttributesForWrite());
    EXPECT_FALSE(empty.SetPlanarDataBuffers(r, g, b, ~0UL / 2));  // three planes overflow
    std::ofstream failed(psdtest::TempDir().Path("missing/x.bin"), std::ios_base::binary);
    data.SetStreams(nullptr, &failed);
    EXPECT_FALSE(data.WriteSection());
}

TEST(PSDImageData, ReadMeasuresToTheEndOfTheFile) {
    psdtest::TempDir dir;
    for (const char* rest : {"rle bytes", ""}) {
        PSDImageData data;
        std::ifstream in(dir.Write("d.bin", psdtest::Bytes().u16(1).str(rest)), std::ios_base::binary);
        data.SetStreams(&in, nullptr);
        ASSERT_TRUE(data.ReadSection());
        EXPECT_EQ(data.GetCompression(), PSDImageData::COMPRESSION_RLE);
        EXPECT_EQ(data.GetSectionLength(), 0u);
        ASSERT_NE(data.GetDataBuffer(), nullptr);
        EXPECT_EQ(std::string(data.GetDataBuffer(), data.GetImageDataLen()), rest);
    }
}

}  // namespace
