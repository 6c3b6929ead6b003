// The thumbnail resource block: created from planes, read from a file's
// bytes, written back, and reported.

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "ThumbnailTestSupport.h"
#include "psdkit/core/PSDUtil.h"
#include "psdkit/resources/PSDGenericResourceBlock.h"
#include "psdkit/resources/PSDImageRes.h"
#include "psdkit/thumbnail/PSDThumbnailRB.h"
#include "support/TestSupport.h"

using psdkit::PSDResourceBlock;
using psdkit::PSDThumbnailRB;
using psdtest::Bytes;

namespace {

// The 28-byte header of a thumbnail payload.
Bytes ThumbnailHeader(unsigned long format, unsigned long width, unsigned long height, unsigned long widthBytes,
                      unsigned long size, unsigned long compressedSize, unsigned bits = 24, unsigned planes = 1) {
    Bytes b;
    b.u32(format).u32(width).u32(height).u32(widthBytes).u32(size).u32(compressedSize).u16(bits).u16(planes);
    return b;
}

// A whole resource block around `payload`, padded to even.
Bytes ResourceBlock(const Bytes& payload, const std::string& name = "", unsigned id = 1036) {
    Bytes b;
    b.str("8BIM").u16(id).u8(static_cast<unsigned>(name.size())).str(name);
    if (name.size() % 2 == 0) b.u8(0);
    b.u32(payload.size()).raw(payload);
    if (payload.size() % 2) b.u8(0);
    return b;
}

// Reads `bytes` as one block the way the section reader does: into a raw
// scratch block, then moved into a thumbnail block.
void ReadBlock(const psdtest::TempDir& dir, const Bytes& bytes, PSDThumbnailRB* block) {
    std::string path = dir.Write("block.bin", bytes);
    std::ifstream in(path, std::ios_base::binary);
    psdkit::PSDGenericResourceBlock scratch;
    scratch.SetStreams(&in, nullptr);
    ASSERT_TRUE(scratch.ReadResourceBlock());
    ASSERT_EQ(scratch.GetResourceBlockSize(), bytes.size());
    PSDResourceBlock::Copy(&scratch, block);
}

std::vector<char> Written(const psdtest::TempDir& dir, PSDResourceBlock* block) {
    std::string path = dir.Path("written.bin");
    {
        std::ofstream out(path, std::ios_base::binary | std::ios_base::trunc);
        block->SetStreams(nullptr, &out);
        block->WriteResourceBlock();
        block->SetStreams(nullptr, nullptr);
    }
    return psdtest::ReadFile(path);
}

unsigned long LongAt(const std::vector<char>& bytes, unsigned long offset) {
    unsigned long v = 0;
    psdkit::PSDUtil::BufferToLong(bytes.data() + offset, &v);
    return v;
}

}  // namespace

TEST(PSDThumbnailRB, CalculatePaddedWidth) {
    EXPECT_EQ(psdkit::CalculatePaddedWidth(0), 0u);
    EXPECT_EQ(psdkit::CalculatePaddedWidth(1), 4u);
    EXPECT_EQ(psdkit::CalculatePaddedWidth(2), 8u);
    EXPECT_EQ(psdkit::CalculatePaddedWidth(3), 12u);
    EXPECT_EQ(psdkit::CalculatePaddedWidth(4), 12u);
    EXPECT_EQ(psdkit::CalculatePaddedWidth(5), 16u);
    EXPECT_EQ(psdkit::CalculatePaddedWidth(112), 336u);
    // Full-width arithmetic: no 32-bit wrap of width x 24.
    EXPECT_EQ(psdkit::CalculatePaddedWidth(0x10000000UL), 0x30000000UL);
}

TEST(PSDThumbnailRB, ConstantsAndTexts) {
    EXPECT_EQ(psdkit::BASE_TN_RESOURCE_SIZE, 28u);
    EXPECT_EQ(psdkit::JPEG_THUMBNAIL_QUALITY, 100);
    EXPECT_STREQ(psdkit::JPEG_THUMBNAIL_DESCRIPTION, "Larkmoore Imaging LLC");
    EXPECT_EQ(PSDThumbnailRB::FORMAT_RAW_RGB, 0);
    EXPECT_EQ(PSDThumbnailRB::FORMAT_JPEG, 1);
    PSDThumbnailRB block;
    EXPECT_STREQ(block.GetFormatAsName(), "JPEG");
    block.SetFormat(0);
    EXPECT_STREQ(block.GetFormatAsName(), "Raw RGB");
    block.SetFormat(2);
    EXPECT_STREQ(block.GetFormatAsName(), "Invalid");
    EXPECT_EQ(block.GetFormatAsName(), psdkit::FORMAT_INVALID_STR);
}

TEST(PSDThumbnailRB, NewBlockWrittenWithoutAnImage) {
    PSDThumbnailRB block;
    EXPECT_EQ(block.GetResourceID(), 1036);
    EXPECT_EQ(block.GetDataBlockSize(), 28u);
    EXPECT_EQ(block.GetResourceBlockSize(), 40u);
    EXPECT_EQ(block.GetData(), nullptr);
    psdtest::TempDir dir;
    Bytes expected;
    expected.str("8BIM").u16(1036).u16(0).u32(28).raw(ThumbnailHeader(1, 0, 0, 0, 0, 0, 24, 1));
    EXPECT_EQ(Written(dir, &block), expected.data);
}

TEST(PSDThumbnailRB, SettersKeepDerivedFields) {
    PSDThumbnailRB block;
    block.SetWidth(5);
    EXPECT_EQ(block.GetWidthBytes(), 16u);
    block.SetCompressedSize(7);  // 35 rounded up
    EXPECT_EQ(block.GetDataBlockSize(), 36u);
    EXPECT_EQ(block.GetResourceBlockSize(), 48u);
    block.SetCompressedSize(8);
    EXPECT_EQ(block.GetDataBlockSize(), 36u);
    block.SetSize(99);
    block.SetHeight(3);
    block.SetBitsPixel(32);
    block.SetPlanes(2);
    EXPECT_EQ(block.GetWidthBytes(), 16u);  // not worked out from the others
    EXPECT_EQ(block.GetSize(), 99u);
}

TEST(PSDThumbnailRB, CreatedFromThreeHundredByTwoHundred) {
    std::vector<char> planes = thumbtest::GreyNoisePlanes(300, 200, 11);
    PSDThumbnailRB block;
    ASSERT_TRUE(block.CreateThumbnailFromData(112, 300, 200, planes.data()));
    EXPECT_EQ(block.GetFormat(), 1u);
    EXPECT_EQ(block.GetWidth(), 112u);
    EXPECT_EQ(block.GetHeight(), 75u);
    EXPECT_EQ(block.GetWidthBytes(), 336u);
    EXPECT_EQ(block.GetSize(), 25200u);
    EXPECT_EQ(block.GetBitsPixel(), 24);
    EXPECT_EQ(block.GetPlanes(), 1);
    EXPECT_EQ(block.GetData(), block.GetJpeg()->GetJpegImageBuffer());
    EXPECT_EQ(block.GetCompressedSize(), block.GetJpeg()->GetJpegImageSize());

    thumbtest::DecodedJpeg image = thumbtest::DecodeJpeg(block.GetData(), block.GetCompressedSize());
    ASSERT_TRUE(image.ok);
    EXPECT_EQ(image.width, 112u);
    EXPECT_EQ(image.height, 75u);
    ASSERT_EQ(image.comments.size(), 1u);
    EXPECT_EQ(image.comments[0], "Larkmoore Imaging LLC");
}

TEST(PSDThumbnailRB, StreamsOfOddAndEvenLength) {
    // Different sources give streams of both parities; each is checked
    // against the sizes and the bytes written.
    psdtest::TempDir dir;
    bool seen[2] = {false, false};
    std::vector<char> planes = thumbtest::GreyNoisePlanes(120, 90, 12);
    for (unsigned long target = 100; target < 140 && !(seen[0] && seen[1]); ++target) {
        PSDThumbnailRB block;
        ASSERT_TRUE(block.CreateThumbnailFromData(target, 120, 90, planes.data()));
        const unsigned long l = block.GetCompressedSize();
        const bool odd = l % 2 == 1;
        if (seen[odd]) continue;
        seen[odd] = true;
        SCOPED_TRACE("stream length " + std::to_string(l));
        EXPECT_EQ(block.GetDataBlockSize(), odd ? l + 29 : l + 28);
        EXPECT_EQ(block.GetResourceBlockSize(), odd ? l + 41 : l + 40);

        std::vector<char> bytes = Written(dir, &block);
        ASSERT_EQ(bytes.size(), block.GetResourceBlockSize());
        EXPECT_EQ(std::string(bytes.data(), 4), "8BIM");
        EXPECT_EQ(LongAt(bytes, 8), block.GetDataBlockSize());  // the size word counts the pad byte
        EXPECT_EQ(LongAt(bytes, 12), 1u);
        EXPECT_EQ(LongAt(bytes, 16), target);
        EXPECT_EQ(LongAt(bytes, 32), l);
        EXPECT_EQ(std::memcmp(bytes.data() + 40, block.GetData(), l), 0);
        if (odd) {
            EXPECT_EQ(bytes.back(), 0);
        }
    }
    EXPECT_TRUE(seen[0] && seen[1]);
}

TEST(PSDThumbnailRB, FailedCreateChangesNothing) {
    std::vector<char> planes = thumbtest::GreyNoisePlanes(300, 200, 13);
    PSDThumbnailRB fresh;
    std::vector<char> wide = thumbtest::GreyNoisePlanes(1000, 1, 14);
    EXPECT_FALSE(fresh.CreateThumbnailFromData(112, 1000, 1, wide.data()));
    EXPECT_FALSE(fresh.CreateThumbnailFromData(0, 300, 200, planes.data()));
    EXPECT_EQ(fresh.GetWidth(), 0u);
    EXPECT_EQ(fresh.GetData(), nullptr);
    EXPECT_EQ(fresh.GetDataBlockSize(), 28u);

    PSDThumbnailRB block;
    ASSERT_TRUE(block.CreateThumbnailFromData(112, 300, 200, planes.data()));
    char* data = block.GetData();
    std::vector<char> stream(data, data + block.GetCompressedSize());
    unsigned long dataBlockSize = block.GetDataBlockSize();
    EXPECT_FALSE(block.CreateThumbnailFromData(112, 1000, 1, wide.data()));
    EXPECT_EQ(block.GetData(), data);
    ASSERT_EQ(block.GetCompressedSize(), stream.size());
    EXPECT_EQ(std::memcmp(block.GetData(), stream.data(), stream.size()), 0);
    EXPECT_EQ(block.GetWidth(), 112u);
    EXPECT_EQ(block.GetHeight(), 75u);
    EXPECT_EQ(block.GetDataBlockSize(), dataBlockSize);
}

TEST(PSDThumbnailRB, SecondCreateNeverLeavesDataDangling) {
    THUMBTEST_REQUIRE_ALLOCATION_FAILURES();
    std::vector<char> planes = thumbtest::GreyNoisePlanes(300, 200, 15);
    PSDThumbnailRB block;
    ASSERT_TRUE(block.CreateThumbnailFromData(112, 300, 200, planes.data()));
    // The same image again fails at its last stage: the result buffer.
    thumbtest::FailNextArrayAllocationOf(block.GetCompressedSize());
    bool result = block.CreateThumbnailFromData(112, 300, 200, planes.data());
    EXPECT_TRUE(thumbtest::DisarmArrayAllocationFailure()) << "the allocation did not fail";
    EXPECT_FALSE(result);
    EXPECT_EQ(block.GetData(), nullptr);
    EXPECT_EQ(block.GetCompressedSize(), 0u);
    EXPECT_EQ(block.GetDataBlockSize(), 28u);
    psdtest::TempDir dir;
    EXPECT_EQ(Written(dir, &block).size(), 40u);

    // And the block can be made again.
    ASSERT_TRUE(block.CreateThumbnailFromData(64, 300, 200, planes.data()));
    EXPECT_EQ(block.GetWidth(), 64u);
    EXPECT_NE(block.GetData(), nullptr);
}

TEST(PSDThumbnailRB, ReadJpegBlockAndPrintInfo) {
    // A stream of 5 bytes: the data size 33 is odd, and a pad byte follows.
    Bytes payload = ThumbnailHeader(1, 160, 120, 480, 57600, 5).raw(std::vector<char>{1, 2, 3, 4, 5});
    Bytes bytes = ResourceBlock(payload);
    ASSERT_EQ(bytes.size(), 46u);
    psdtest::TempDir dir;
    PSDThumbnailRB block;
    ReadBlock(dir, bytes, &block);
    EXPECT_EQ(block.GetFormat(), 1u);
    EXPECT_EQ(block.GetWidth(), 160u);
    EXPECT_EQ(block.GetHeight(), 120u);
    EXPECT_EQ(block.GetWidthBytes(), 480u);
    EXPECT_EQ(block.GetSize(), 57600u);
    EXPECT_EQ(block.GetCompressedSize(), 5u);
    EXPECT_EQ(block.GetBitsPixel(), 24);
    EXPECT_EQ(block.GetPlanes(), 1);
    EXPECT_EQ(block.GetData(), block.GetDataBlock() + 28);
    EXPECT_EQ(block.GetData()[4], 5);
    EXPECT_EQ(block.GetJpeg()->GetJpegImageBuffer(), nullptr);
    EXPECT_EQ(block.GetDataBlockSize(), 33u);
    // Written back byte for byte, with as many bytes as the section counts.
    EXPECT_EQ(block.GetResourceBlockSize(), 46u);
    EXPECT_EQ(Written(dir, &block), bytes.data);

    std::string report = psdtest::CaptureStdout([&] { block.PrintInfo(); });
    EXPECT_EQ(report,
              " 1036 - Thumbnail Resource\n"
              "Format:JPEG\n"
              "Width:160\n"
              "Height:120\n"
              "Width Bytes:480\n"
              "Size:57600\n"
              "CompressedSize:5\n"
              "BitsPixel:24\n"
              "Planes:1\n");
}

TEST(PSDThumbnailRB, ReadRawAndInvalidFormats) {
    psdtest::TempDir dir;
    {
        // Format 0 is kept, and WidthBytes and Size are taken as stored.
        Bytes payload = ThumbnailHeader(0, 2, 2, 7, 9, 4).raw(std::vector<char>{9, 8, 7, 6});
        PSDThumbnailRB block;
        ReadBlock(dir, ResourceBlock(payload), &block);
        EXPECT_EQ(block.GetFormat(), 0u);
        EXPECT_EQ(block.GetWidthBytes(), 7u);
        EXPECT_EQ(block.GetSize(), 9u);
        EXPECT_EQ(block.GetData(), block.GetDataBlock() + 28);
        EXPECT_EQ(block.GetData()[0], 9);
        std::string report = psdtest::CaptureStdout([&] { block.PrintInfo(); });
        EXPECT_NE(report.find("\nFormat:Raw RGB\n"), std::string::npos) << report;
    }
    {
        Bytes bytes = ResourceBlock(ThumbnailHeader(7, 1, 1, 4, 4, 2).raw(std::vector<char>{'a', 'b'}));
        PSDThumbnailRB block;
        ReadBlock(dir, bytes, &block);
        EXPECT_EQ(block.GetFormat(), 7u);
        std::string report = psdtest::CaptureStdout([&] { block.PrintInfo(); });
        EXPECT_NE(report.find("\nFormat:Invalid\n"), std::string::npos) << report;
        EXPECT_EQ(Written(dir, &block), bytes.data);
    }
}

TEST(PSDThumbnailRB, ReadBlockWithBytesBehindTheStream) {
    // The size states 40 bytes, the stream takes 5 of the 12 behind the
    // header: the block becomes header and stream, and the bytes written
    // are those GetResourceBlockSize() announces.
    Bytes payload = ThumbnailHeader(1, 1, 1, 4, 4, 5).raw(std::vector<char>{1, 2, 3, 4, 5}).zeros(7);
    psdtest::TempDir dir;
    PSDThumbnailRB block;
    ReadBlock(dir, ResourceBlock(payload), &block);
    EXPECT_EQ(block.GetDataBlockSize(), 33u);
    EXPECT_EQ(block.GetResourceBlockSize(), 46u);
    std::vector<char> bytes = Written(dir, &block);
    ASSERT_EQ(bytes.size(), 46u);
    EXPECT_EQ(LongAt(bytes, 8), 33u);
    EXPECT_EQ(bytes[44], 5);
    EXPECT_EQ(bytes[45], 0);
}

TEST(PSDThumbnailRB, ReadBlockWithAName) {
    // A named block keeps its name: it is written back as it was read.
    Bytes bytes = ResourceBlock(ThumbnailHeader(1, 1, 1, 4, 4, 3).raw(std::vector<char>{1, 2, 3}), "thumb");
    psdtest::TempDir dir;
    PSDThumbnailRB block;
    ReadBlock(dir, bytes, &block);
    EXPECT_EQ(block.GetCompressedSize(), 3u);
    EXPECT_EQ(block.GetDataBlockSize(), 31u);
    EXPECT_EQ(block.GetResourceBlockSize(), bytes.size());
    EXPECT_EQ(Written(dir, &block), bytes.data);
}

TEST(PSDThumbnailRB, BadLengthsStayWithinTheBlock) {
    psdtest::TempDir dir;
    {
        // 10 bytes: shorter than the header. Nothing is decoded.
        Bytes bytes = ResourceBlock(Bytes().u32(1).u32(5).u16(5));
        PSDThumbnailRB block;
        ReadBlock(dir, bytes, &block);
        EXPECT_EQ(block.GetData(), nullptr);
        EXPECT_EQ(block.GetWidth(), 0u);
        EXPECT_EQ(block.GetCompressedSize(), 0u);
        EXPECT_EQ(block.GetDataBlockSize(), 10u);
        EXPECT_EQ(block.GetResourceBlockSize(), bytes.size());
        EXPECT_EQ(Written(dir, &block), bytes.data);
    }
    {
        // No payload at all.
        Bytes bytes = ResourceBlock(Bytes());
        PSDThumbnailRB block;
        ReadBlock(dir, bytes, &block);
        EXPECT_EQ(block.GetData(), nullptr);
        EXPECT_EQ(Written(dir, &block), bytes.data);
    }
    {
        // CompressedSize 100 with 2 bytes behind the header: the header is
        // kept as stored, no stream is handed out, the bytes go back as read.
        Bytes bytes = ResourceBlock(ThumbnailHeader(1, 8, 8, 24, 192, 100).raw(std::vector<char>{1, 2}));
        PSDThumbnailRB block;
        ReadBlock(dir, bytes, &block);
        EXPECT_EQ(block.GetData(), nullptr);
        EXPECT_EQ(block.GetWidth(), 8u);
        EXPECT_EQ(block.GetCompressedSize(), 100u);
        EXPECT_EQ(block.GetDataBlockSize(), 30u);
        EXPECT_EQ(block.GetResourceBlockSize(), bytes.size());
        EXPECT_EQ(Written(dir, &block), bytes.data);
    }
    {
        // The pad byte of an odd block is not part of the stream: 29 stated
        // bytes cannot hold a 2-byte stream, though 30 are held.
        Bytes bytes = ResourceBlock(ThumbnailHeader(1, 1, 1, 4, 4, 2).u8(0xAA));
        ASSERT_EQ(bytes.size(), 42u);
        PSDThumbnailRB block;
        ReadBlock(dir, bytes, &block);
        EXPECT_EQ(block.GetData(), nullptr);
        EXPECT_EQ(Written(dir, &block), bytes.data);
    }
    {
        // A huge CompressedSize does not wrap the check.
        Bytes bytes = ResourceBlock(ThumbnailHeader(1, 1, 1, 4, 4, 0xFFFFFFFFUL));
        PSDThumbnailRB block;
        ReadBlock(dir, bytes, &block);
        EXPECT_EQ(block.GetData(), nullptr);
        EXPECT_EQ(Written(dir, &block), bytes.data);
    }
}

TEST(PSDThumbnailRB, CreateAfterReadReplacesTheBlock) {
    Bytes bytes = ResourceBlock(ThumbnailHeader(0, 1, 1, 4, 4, 1).u8(7), "old");
    psdtest::TempDir dir;
    PSDThumbnailRB block;
    ReadBlock(dir, bytes, &block);
    std::vector<char> planes = thumbtest::GreyNoisePlanes(30, 20, 16);
    ASSERT_TRUE(block.CreateThumbnailFromData(15, 30, 20, planes.data()));
    EXPECT_EQ(block.GetFormat(), 0u);  // only the image fields change
    EXPECT_EQ(block.GetWidth(), 15u);
    std::vector<char> written = Written(dir, &block);
    ASSERT_EQ(written.size(), block.GetResourceBlockSize());
    EXPECT_EQ(written[6], 0);  // a created block is written with an empty name
    EXPECT_EQ(std::memcmp(written.data() + 40, block.GetData(), block.GetCompressedSize()), 0);
}

TEST(PSDThumbnailRB, FactoryBuildsTheThumbnailFor1036Only) {
    psdkit::PSDImageRes resources;
    PSDResourceBlock* block = resources.CreateResouceBlockObject(PSDResourceBlock::RS_1036);
    ASSERT_NE(dynamic_cast<PSDThumbnailRB*>(block), nullptr);
    EXPECT_EQ(block->GetResourceID(), 1036);
    EXPECT_EQ(block->GetDataBlockSize(), 28u);
    delete block;
    block = resources.CreateResouceBlockObject(PSDResourceBlock::RS_1033);
    EXPECT_EQ(dynamic_cast<PSDThumbnailRB*>(block), nullptr);
    delete block;
}
