// Documents built here whose bytes are known, whole or broken: layer
// channels and composites the header cannot back. The corpus
// runner covers every compression; the command line tool's export tests
// check that peers read written RLE files.

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PhotoshopFile;
using psdkit::PSDPixels;
using psdtest::Bytes;

namespace {

// A channel as written: its ID and its bytes, compression code first.
using Channel = std::pair<int, std::vector<char>>;

struct Layer {
    long Top, Left, Bottom, Right;
    std::vector<Channel> Channels;
    Bytes Mask;  // the mask block, empty for none
};

std::vector<char> Code(unsigned compression, const std::vector<char>& body) {
    return Bytes().u16(compression).raw(body).data;
}

std::vector<char> Raw(const std::vector<unsigned char>& samples) {
    return Code(0, std::vector<char>(samples.begin(), samples.end()));
}

// A 20-byte mask block: rectangle, default colour 0, flags 0, padding.
Bytes MaskBlock(unsigned long top, unsigned long left, unsigned long bottom, unsigned long right) {
    return Bytes().u32(top).u32(left).u32(bottom).u32(right).zeros(4);
}

// A 4 x 4 gray file: header, empty colour mode data and resources, the
// layers, and a raw composite of zeros.
Bytes LayeredFile(const std::vector<Layer>& layers) {
    Bytes info;
    info.u16(static_cast<unsigned>(layers.size()));
    for (const Layer& layer : layers) {
        for (long edge : {layer.Top, layer.Left, layer.Bottom, layer.Right}) info.u32(static_cast<unsigned long>(edge));
        info.u16(static_cast<unsigned>(layer.Channels.size()));
        for (const Channel& c : layer.Channels) info.u16(static_cast<unsigned>(c.first) & 0xFFFF).u32(c.second.size());
        Bytes extra = Bytes().u32(layer.Mask.size()).raw(layer.Mask).u32(0).u8(1).str("L").zeros(2);
        info.str("8BIM").str("norm").u8(255).u8(0).u8(0).u8(0).u32(extra.size()).raw(extra);
    }
    for (const Layer& layer : layers)
        for (const Channel& c : layer.Channels) info.raw(c.second);
    if (info.size() % 2) info.u8(0);
    Bytes section = Bytes().u32(info.size()).raw(info).u32(0);
    return psdtest::PsdHeader(1, 4, 4, 8, 1).u32(0).u32(0).u32(section.size()).raw(section).u16(0).zeros(16);
}

std::vector<unsigned char> Plane(const PSDPixels& pixels, unsigned short i = 0) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(pixels.GetPlane(i));
    return p == nullptr ? std::vector<unsigned char>() : std::vector<unsigned char>(p, p + pixels.GetPlaneLength());
}

std::string Problems(const PSDPixels& pixels) { return pixels.GetNumProblems() ? pixels.GetProblem(0) : ""; }

// Damaged layers: the call says false, nothing beyond the ceiling or the
// file's backing is allocated, and what can be decoded is there.
TEST(LayerPixels, DamagedChannelsAreContained) {
    const std::vector<char> good = Raw({9, 9, 9, 9});  // a 2 x 2 raw plane
    struct Case {
        const char* name;
        Layer layer;
        unsigned short channel;
        bool ok;
        std::vector<unsigned char> plane;  // expected, empty for none
    } cases[] = {
        {"raw data shorter than the rectangle", {0, 0, 2, 2, {{0, Raw({1, 2, 3})}}, {}}, 0, false, {1, 2, 3, 0}},
        {"raw data longer than the rectangle", {0, 0, 2, 2, {{0, Raw({1, 2, 3, 4, 5, 6})}}, {}}, 0, true, {1, 2, 3, 4}},
        {"top below bottom", {2, 0, 0, 2, {{0, good}}, {}}, 0, false, {}},
        {"2^31 pixels from 4 bytes", {0, 0, 0x8000, 0x10000, {{0, good}}, {}}, 0, false, {}},
        {"2^32 rows", {-0x7FFFFFFF - 1, 0, 0x7FFFFFFF, 1, {{0, good}}, {}}, 0, false, {}},
        // The table claims 2 rows but the channel holds 1 byte of it; the next
        // channel's bytes follow and stay that channel's.
        {"RLE table into the next", {0, 0, 2, 2, {{0, Code(1, {0})}, {1, good}}, {}}, 0, false, {0, 0, 0, 0}},
        {"RLE rows into the next",
         {0, 0, 2, 2, {{0, Code(1, {0, 3, 0, 40, 1, 7, 7})}, {1, good}}, {}},
         0,
         false,
         {7, 7, 0, 0}},
        {"the channel after a broken table", {0, 0, 2, 2, {{0, Code(1, {0})}, {1, good}}, {}}, 1, true, {9, 9, 9, 9}},
        {"unknown compression", {0, 0, 2, 2, {{0, Code(7, {1, 2, 3, 4})}}, {}}, 0, false, {0, 0, 0, 0}},
        {"bad deflate data", {0, 0, 2, 2, {{0, Code(2, {1, 2, 3, 4})}}, {}}, 0, false, {0, 0, 0, 0}},
        {"empty mask rectangle", {0, 0, 2, 2, {{0, good}, {-2, Code(0, {})}}, MaskBlock(1, 1, 1, 1)}, 1, true, {}},
        {"inverted mask rectangle", {0, 0, 2, 2, {{0, good}, {-2, good}}, MaskBlock(3, 0, 1, 2)}, 1, false, {}},
        {"mask over its own rectangle",
         {0, 0, 2, 2, {{0, good}, {-2, Raw({5, 6})}}, MaskBlock(5, 5, 6, 7)},
         1,
         true,
         {5, 6}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        psdtest::TempDir dir;
        PhotoshopFile doc;
        ASSERT_TRUE(doc.OpenReadFile(dir.Write("f.psd", LayeredFile({c.layer})).c_str()));
        PSDPixels pixels;
        pixels.SetMaxBytes(1UL << 30);
        EXPECT_EQ(pixels.DecodeLayerChannel(doc, 0, c.channel), c.ok) << Problems(pixels);
        EXPECT_EQ(Plane(pixels), c.plane);
        EXPECT_EQ(c.ok, pixels.GetNumProblems() == 0) << Problems(pixels);
        // The whole layer is as contained as its channels.
        PSDPixels whole;
        whole.DecodeLayer(doc, 0, true);
        EXPECT_LE(static_cast<unsigned long>(whole.GetNumPlanes()) * whole.GetPlaneLength(), 1UL << 20);
    }
}

// The data offset of a channel lies past the end of a file cut short after
// it was read; no channel index or layer past the records decodes.
TEST(LayerPixels, OffsetsAndIndexesOutsideTheFile) {
    psdtest::TempDir dir;
    Bytes file = LayeredFile({{0, 0, 2, 2, {{0, Raw({1, 2, 3, 4})}, {1, Raw({5, 6, 7, 8})}}, {}}});
    PhotoshopFile doc;
    ASSERT_TRUE(doc.OpenReadFile(dir.Write("f.psd", file).c_str()));
    unsigned long second = doc.GetLayers()->GetLayerRecordChannelDataOffset(1, 0);
    ASSERT_GT(second, 0u);
    PSDPixels pixels;
    EXPECT_FALSE(pixels.DecodeLayerChannel(doc, 0, 2));
    EXPECT_FALSE(pixels.DecodeLayerChannel(doc, 1, 0));
    EXPECT_FALSE(pixels.DecodeTaggedLayerChannel(doc, 0, 0));

    // Cut inside the first channel, then before the second one.
    struct Cut {
        unsigned long at;
        unsigned short channel;
        std::vector<unsigned char> plane;
        bool layerOk;  // the gray layer needs channel 0 only
    } cuts[] = {{second - 2, 0, {1, 2, 0, 0}, false}, {second, 1, {}, true}, {second - 4, 1, {}, false}};
    for (const Cut& cut : cuts) {
        SCOPED_TRACE(cut.at);
        dir.Write("f.psd", std::vector<char>(file.data.begin(), file.data.begin() + static_cast<long>(cut.at)));
        EXPECT_FALSE(pixels.DecodeLayerChannel(doc, 0, cut.channel));
        EXPECT_EQ(Plane(pixels), cut.plane);
        EXPECT_EQ(pixels.DecodeLayer(doc, 0), cut.layerOk) << Problems(pixels);
    }
}

// Refusals come before any allocation: a huge header on a tiny file, sizes
// past the ceiling, depths the format does not have.
TEST(DecodeComposite, RefusesWhatTheHeaderOrCeilingCannotBack) {
    psdtest::TempDir dir;
    auto file = [&](unsigned channels, unsigned long rows, unsigned long columns, unsigned depth,
                    unsigned short compression, std::size_t dataLength) {
        psdtest::Bytes b = psdtest::PsdHeader(channels, rows, columns, depth, 3);
        b.u32(0).u32(0).u32(0).u16(compression).zeros(dataLength);
        return dir.Write("f.psd", b);
    };
    const struct {
        const char* what;
        unsigned channels;
        unsigned long rows, columns;
        unsigned depth;
        unsigned short compression;
        std::size_t dataLength;
        unsigned long maxBytes;
        bool ok = false;
    } cases[] = {
        {"30000 x 30000 x 56 on 1 KB, no ceiling", 56, 30000, 30000, 8, 1, 1000, ~0UL},
        {"deflate bomb size, no ceiling", 56, 30000, 30000, 8, 2, 1000, ~0UL},
        {"raw, no ceiling", 3, 30000, 30000, 32, 0, 1000, ~0UL},
        {"past a small ceiling", 3, 100, 100, 8, 0, 30000, 29999},
        {"at the ceiling exactly", 3, 100, 100, 8, 0, 30000, 30000, true},
        {"depth 64", 3, 4, 4, 64, 0, 400, ~0UL},
        {"compression 4", 3, 4, 4, 8, 4, 48, ~0UL},
        {"rows x columns overflow", 65535, 0xFFFFFFFF, 0xFFFFFFFF, 32, 0, 100, ~0UL},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PhotoshopFile document;
        ASSERT_TRUE(
            document.OpenReadFile(file(c.channels, c.rows, c.columns, c.depth, c.compression, c.dataLength).c_str()));
        PSDPixels pixels;
        pixels.SetMaxBytes(c.maxBytes);
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(pixels.DecodeComposite(document), c.ok);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
        EXPECT_EQ(pixels.GetNumPlanes(), c.ok ? 3u : 0u);
        EXPECT_EQ(pixels.GetNumProblems() == 0, c.ok);
    }
}

}  // namespace
