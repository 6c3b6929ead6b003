// Whole documents through PhotoshopFile: writing with the resources every
// commit attaches, reading back, bad headers and sections.

#include <cstring>
#include <vector>

#include "psdkit/pixels/PSDPlaneEncoder.h"
#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using namespace psdkit;

namespace {

std::vector<char> Samples(std::size_t length) {
    std::vector<char> samples(length);
    for (std::size_t i = 0; i < length; ++i) samples[i] = static_cast<char>(i * 7 + i / 13);
    return samples;
}

// Opens `path`, sets the attributes, the compression and `data`, commits.
bool Commit(PhotoshopFile* document, const std::string& path, unsigned long width, unsigned long height,
            const std::vector<char>& data, unsigned short compression = 0, unsigned short channels = 3,
            unsigned short depth = 8, unsigned short mode = PSDHeader::MODE_RGB) {
    document->OpenWriteFile(path.c_str());
    document->SetImageChannels(channels);
    document->SetImageDepth(depth);
    document->SetImageMode(mode);
    document->SetImageWidth(width);
    document->SetImageHeight(height);
    document->SetImageCompression(compression);
    document->SetImageData(data.data(), data.size());
    return document->CommitWriteFile();
}

std::vector<unsigned short> Ids(PhotoshopFile& document) {
    std::vector<unsigned short> ids;
    for (unsigned long i = 0; i < document.GetImageResources()->GetNumResourceBlocks(); ++i)
        ids.push_back(document.GetImageResources()->GetResourceBlock(i)->GetResourceID());
    return ids;
}

// The header as its table has it, the sections in order with nothing between
// them; the compression is only a tag and the image data passes through unchanged.
TEST(PhotoshopFile, WrittenFileReadsBackUnchanged) {
    psdtest::TempDir dir;
    const std::string path = dir.Path("round.psd");
    std::vector<char> data = Samples(3 * 30 * 20);
    PhotoshopFile document;
    ASSERT_TRUE(Commit(&document, path, 30, 20, data, PSDImageData::COMPRESSION_RLE));
    PhotoshopFile back;
    ASSERT_TRUE(back.OpenReadFile(path.c_str()));
    ASSERT_EQ(back.GetImageDataLen(), data.size());
    EXPECT_EQ(std::memcmp(back.GetImageData(), data.data(), data.size()), 0);

    std::vector<char> bytes = psdtest::ReadFile(path);
    const std::size_t layers = 34 + back.GetImageResources()->GetSectionLength();
    ASSERT_EQ(bytes.size(), layers + 4 + 2 + data.size());
    EXPECT_EQ(psdtest::Hex(bytes.data(), 26),
              "38 42 50 53 00 01 00 00 00 00 00 00 00 03 00 00 00 14 00 00 00 1E 00 08 00 03");
    EXPECT_EQ(psdtest::Hex(&bytes[26], 4), "00 00 00 00");            // empty colour mode section
    EXPECT_EQ(psdtest::Hex(&bytes[layers], 6), "00 00 00 00 00 01");  // empty layer section, compression
    EXPECT_EQ(std::memcmp(&bytes[layers + 6], data.data(), data.size()), 0);
}

TEST(PhotoshopFile, ReadRefusesWhatIsNotAPsdFile) {
    psdtest::TempDir dir;
    const psdtest::Bytes header = psdtest::PsdHeader(3, 1, 1, 8, 3);
    auto cut = [&](long length) {
        return dir.Write("cut" + std::to_string(length),
                         std::vector<char>(header.data.begin(), header.data.begin() + length));
    };
    for (const std::string& path :
         {dir.Path("missing.psd"), dir.Dir(), dir.Write("text.psd", psdtest::Bytes().str(std::string(100, 'a'))),
          dir.Write("sig.psd", psdtest::Bytes().str("8BPX").u16(1).zeros(30)),
          dir.Write("psb.psd", psdtest::PsdHeader(4, 9, 9, 16, 4, 2).u32(0).u32(0).u32(0)), cut(0), cut(1), cut(2),
          cut(5), cut(6), cut(25)}) {
        PhotoshopFile document;
        EXPECT_FALSE(document.OpenReadFile(path.c_str())) << path;
        EXPECT_FALSE(document.GetFile()->IsValidFile()) << path;
        EXPECT_EQ(document.GetImageChannels(), 3) << path;  // nothing taken from a refused header
    }
    PhotoshopFile document;
    EXPECT_FALSE(document.OpenReadFile(nullptr));
    EXPECT_FALSE(document.OpenReadFile(""));
    // A valid header, then a section or its length word cut short by the end of the file.
    for (const psdtest::Bytes& file :
         {psdtest::Bytes(header).u32(1000).zeros(10), psdtest::Bytes(header).u32(0).u32(1000).zeros(10),
          psdtest::Bytes(header).u32(0).u32(0).u32(1000).zeros(10), psdtest::Bytes(header).u16(0),
          psdtest::Bytes(header).u32(0).u16(0)}) {
        EXPECT_FALSE(document.OpenReadFile(dir.Write("past.psd", file).c_str())) << file.size();
        EXPECT_TRUE(document.GetFile()->IsValidFile()) << file.size();
    }
}

// A thumbnail 112 wide where one can be made from the image data the decoder
// reads (raw or RLE, 16-bit, gray, CMYK or Lab through the colour conversion),
// none otherwise; the file is written all the same.
TEST(Commit, AttachesResolutionThumbnailAndProfileInThisOrder) {
    psdtest::TempDir dir;
    const unsigned short RGB = PSDHeader::MODE_RGB;
    const struct {
        unsigned long width, height;
        unsigned short channels, depth, mode;
        bool rle;
        std::size_t keep;               // parts in 6 of the data written
        unsigned long thumbnailHeight;  // 0: no thumbnail
    } cases[] = {
        {300, 200, 3, 8, RGB, false, 6, 75},
        {1000, 1, 3, 8, RGB, false, 6, 0},  // the thumbnail would be 0 rows high
        {40, 30, 3, 8, RGB, false, 5, 0},   // short of the last plane
        {224, 100, 3, 8, RGB, true, 6, 50},
        {224, 100, 1, 8, PSDHeader::MODE_GRAYSCALE, true, 6, 50},
        {224, 100, 4, 16, PSDHeader::MODE_CMYK, true, 6, 50},
        {224, 100, 3, 8, PSDHeader::MODE_LAB, true, 6, 50},
        {224, 100, 3, 8, RGB, true, 3, 0},  // damaged RLE data
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height) + " mode " + std::to_string(c.mode) +
                     "/" + std::to_string(c.depth) + (c.rle ? " RLE " : " raw ") + std::to_string(c.keep));
        const unsigned long plane = c.width * c.height * c.depth / 8;
        std::vector<char> samples = Samples(plane * c.channels), data;
        std::vector<const char*> planes;
        for (unsigned short p = 0; p < c.channels; ++p) planes.push_back(samples.data() + p * plane);
        if (!c.rle) data = samples;
        ASSERT_TRUE(!c.rle || PSDPlaneEncoder::EncodeRLE(planes.data(), c.channels, c.width, c.height, c.depth, data));
        data.resize(data.size() * c.keep / 6);
        PhotoshopFile document, back;
        ASSERT_TRUE(Commit(&document, dir.Path("c.psd"), c.width, c.height, data,
                           c.rle ? PSDImageData::COMPRESSION_RLE : 0, c.channels, c.depth, c.mode));
        ASSERT_TRUE(back.OpenReadFile(dir.Path("c.psd").c_str()));
        PSDImageRes* resources = back.GetImageResources();
        auto* resolution = dynamic_cast<PSDResolutionInfoRB*>(resources->GetResourceBlock(0));
        auto* profile =
            dynamic_cast<PSDICCProfileRB*>(resources->GetResourceBlock(resources->GetNumResourceBlocks() - 1));
        ASSERT_TRUE(resolution && profile);
        EXPECT_EQ(resolution->GetHorizResolution(), 300);
        EXPECT_EQ(resolution->GetVertResolution(), 300);
        EXPECT_EQ(profile->GetDataBlockSize(), 7264u);  // the sRGB profile
        if (c.thumbnailHeight == 0) {
            EXPECT_EQ(Ids(back), (std::vector<unsigned short>{1005, 1039}));
            continue;
        }
        EXPECT_EQ(Ids(back), (std::vector<unsigned short>{1005, 1036, 1039}));
        auto* thumbnail = dynamic_cast<PSDThumbnailRB*>(resources->GetResourceBlock(1));
        ASSERT_NE(thumbnail, nullptr);
        EXPECT_EQ(thumbnail->GetWidth(), 112u);
        EXPECT_EQ(thumbnail->GetHeight(), c.thumbnailHeight);
    }
}

}  // namespace
