// The header and the composite image sections.

#include <cstring>
#include <fstream>

#include "psdkit/core/PSDHeader.h"
#include "psdkit/core/PSDImageData.h"
#include "support/TestSupport.h"

using psdkit::PSDHeader;
using psdkit::PSDImageData;

namespace {

// Reads `bytes` as a header through a bound stream.
bool ReadHeader(PSDHeader* header, const psdtest::Bytes& bytes, psdtest::TempDir* dir) {
    std::ifstream in(dir->Write("header.bin", bytes), std::ios_base::binary);
    header->SetStreams(&in, nullptr);
    bool result = header->ReadSection();
    header->SetStreams(nullptr, nullptr);
    return result;
}

TEST(PSDHeader, FreshHeaderHasDefaultsAndCannotBeWritten) {
    PSDHeader header;
    EXPECT_FALSE(header.IsValidHeader());
    EXPECT_STREQ(header.GetModeAsName(), "RGB");
    EXPECT_EQ(header.GetChannels(), 3);
    EXPECT_EQ(header.GetDepth(), 8);
    EXPECT_EQ(header.GetRows(), 0);
    EXPECT_FALSE(header.ValidateAttributesForWrite());
}

TEST(PSDHeader, ModeNames) {
    PSDHeader header;
    const char* expected[] = {"Bitmap", "Grayscale", "Indexed", "RGB",     "CYMK",   "Invalid",
                              "Invalid", "Multichannel", "Duotone", "Lab", "Invalid", "Invalid"};
    for (unsigned short mode = 0; mode < 12; ++mode) {
        header.SetMode(mode);
        EXPECT_STREQ(header.GetModeAsName(), expected[mode]) << mode;
    }
}

TEST(PSDHeader, WriteCheckNeedsPositiveSizesAModeUpTo9AndAStream) {
    psdtest::TempDir dir;
    std::ofstream out(dir.Path("h.bin"), std::ios_base::binary);
    PSDHeader header;
    header.SetStreams(nullptr, &out);
    header.SetRows(10);
    header.SetColumns(20);
    EXPECT_TRUE(header.ValidateAttributesForWrite());
    header.SetMode(5);  // no constant, no name, but below 10
    EXPECT_TRUE(header.ValidateAttributesForWrite());
    header.SetMode(PSDHeader::MODE_INVALID);
    EXPECT_FALSE(header.ValidateAttributesForWrite());
    header.SetMode(PSDHeader::MODE_RGB);
    header.SetRows(-1);
    EXPECT_FALSE(header.ValidateAttributesForWrite());
    header.SetRows(10);
    header.SetColumns(-1);
    EXPECT_FALSE(header.ValidateAttributesForWrite());
    header.SetColumns(20);
    header.SetChannels(0);
    EXPECT_FALSE(header.ValidateAttributesForWrite());
    header.SetChannels(3);
    header.SetDepth(0);
    EXPECT_FALSE(header.ValidateAttributesForWrite());
    header.SetDepth(8);
    header.SetStreams(nullptr, nullptr);  // detaching keeps the attributes
    EXPECT_EQ(header.GetRows(), 10);
    EXPECT_FALSE(header.ValidateAttributesForWrite());
}

TEST(PSDHeader, BindingStartsAfresh) {
    psdtest::TempDir dir;
    std::ofstream out(dir.Path("h.bin"), std::ios_base::binary);
    PSDHeader header;
    header.SetRows(5);
    header.SetMode(PSDHeader::MODE_LAB);
    header.SetStreams(nullptr, &out);
    EXPECT_EQ(header.GetRows(), 0);
    EXPECT_EQ(header.GetMode(), PSDHeader::MODE_RGB);
}

TEST(PSDHeader, WrittenBytesFollowTheTable) {
    psdtest::TempDir dir;
    std::string path = dir.Path("h.bin");
    PSDHeader header;
    {
        std::ofstream out(path, std::ios_base::binary);
        header.SetStreams(nullptr, &out);
        header.SetChannels(1000);
        header.SetDepth(7);
        header.SetMode(6);
        header.SetRows(0x1000000002L);  // only the low 32 bits reach the file
        header.SetColumns(0x01020304L);
        ASSERT_TRUE(header.WriteSection());
        EXPECT_TRUE(header.IsValidHeader());
    }
    std::vector<char> bytes = psdtest::ReadFile(path);
    EXPECT_EQ(psdtest::Hex(bytes.data(), bytes.size()),
              "38 42 50 53 00 01 00 00 00 00 00 00 03 E8 00 00 00 02 01 02 03 04 00 07 00 06");

    PSDHeader back;
    bytes[8] = 9;  // reserved bytes are not looked at
    psdtest::Bytes file;
    file.raw(bytes);
    ASSERT_TRUE(ReadHeader(&back, file, &dir));
    EXPECT_TRUE(back.IsValidHeader());
    EXPECT_EQ(back.GetChannels(), 1000);
    EXPECT_EQ(back.GetRows(), 2);
    EXPECT_EQ(back.GetColumns(), 0x01020304L);
    EXPECT_EQ(back.GetDepth(), 7);
    EXPECT_EQ(back.GetMode(), 6);
}

TEST(PSDHeader, RefusesOtherSignaturesVersionsAndShortReads) {
    psdtest::TempDir dir;
    PSDHeader header;
    EXPECT_FALSE(ReadHeader(&header, psdtest::PsdHeader(4, 9, 9, 16, 4, 2), &dir));  // PSB
    EXPECT_FALSE(header.IsValidHeader());
    EXPECT_EQ(header.GetChannels(), 3);  // attributes not taken from it
    EXPECT_FALSE(ReadHeader(&header, psdtest::Bytes().str("8BPX").u16(1).zeros(20), &dir));
    psdtest::Bytes full = psdtest::PsdHeader(3, 4, 4, 8, 3);
    for (std::size_t length : {0, 1, 5, 6, 25}) {
        psdtest::Bytes cut;
        cut.data.assign(full.data.begin(), full.data.begin() + static_cast<long>(length));
        EXPECT_FALSE(ReadHeader(&header, cut, &dir)) << length;
        EXPECT_FALSE(header.IsValidHeader());
    }
    EXPECT_TRUE(ReadHeader(&header, full, &dir));
}

TEST(PSDImageData, CompressionIsATagWithNames) {
    PSDImageData data;
    const char* expected[] = {"Raw", "RLE", "ZIP", "ZIPw/Prediction", "Invalid"};
    for (unsigned short code = 0; code < 5; ++code) {
        data.SetCompression(code);
        EXPECT_STREQ(data.GetCompressionAsName(), expected[code]);
    }
    data.SetCompression(4);
    EXPECT_EQ(data.GetCompression(), 4);
}

TEST(PSDImageData, BuffersAndLengths) {
    PSDImageData data;
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
}

TEST(PSDImageData, ReadMeasuresToTheEndOfTheFile) {
    psdtest::TempDir dir;
    PSDImageData data;
    {
        std::ifstream in(dir.Write("d.bin", psdtest::Bytes().u16(1).str("rle bytes")), std::ios_base::binary);
        data.SetStreams(&in, nullptr);
        ASSERT_TRUE(data.ReadSection());
    }
    EXPECT_EQ(data.GetCompression(), PSDImageData::COMPRESSION_RLE);
    ASSERT_EQ(data.GetImageDataLen(), 9u);
    EXPECT_EQ(std::string(data.GetDataBuffer(), 9), "rle bytes");
    EXPECT_EQ(data.GetSectionLength(), 0u);

    {
        std::ifstream in(dir.Write("e.bin", psdtest::Bytes().u16(0)), std::ios_base::binary);
        data.SetStreams(&in, nullptr);
        ASSERT_TRUE(data.ReadSection());
    }
    EXPECT_EQ(data.GetImageDataLen(), 0u);
    EXPECT_NE(data.GetDataBuffer(), nullptr);
}

TEST(PSDImageData, WriteOnAFailedStreamIsFalse) {
    PSDImageData data;
    data.SetDataBuffer("abc", 3);
    std::ofstream out(psdtest::TempDir().Path("missing/dir/x.bin"), std::ios_base::binary);
    data.SetStreams(nullptr, &out);
    EXPECT_FALSE(data.WriteSection());
}

}  // namespace
