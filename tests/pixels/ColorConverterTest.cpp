// Planar samples of every colour mode to interleaved sRGB.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PSDColorConverter;

namespace {

using Plane = std::vector<unsigned char>;

std::vector<char> Convert(const PSDColorConverter::Source& source, unsigned short depth, bool alpha, bool* ok) {
    std::vector<char> out(PSDColorConverter::InterleavedLength(source, depth, alpha));
    *ok = !out.empty() && PSDColorConverter::ToRGB(source, depth, alpha, out.data());
    return out;
}

// A source over `planes`, kept alive by the caller.
struct Image {
    std::vector<Plane> planes;
    std::vector<const char*> pointers;
    PSDColorConverter::Source source;
    Image(unsigned short mode, unsigned short depth, unsigned long width, unsigned long height,
          std::vector<Plane> p, int alpha = -1)
        : planes(std::move(p)) {
        source.Width = width;
        source.Height = height;
        source.Depth = depth;
        source.Mode = mode;
        source.AlphaPlane = alpha;
        Point();
    }
    Image(const Image& other) : planes(other.planes), source(other.source) { Point(); }
    void Point() {
        pointers.clear();
        for (const Plane& plane : planes) pointers.push_back(reinterpret_cast<const char*>(plane.data()));
        source.Planes = pointers.data();
        source.NumPlanes = static_cast<unsigned short>(planes.size());
    }
};

Plane Float32(std::initializer_list<float> values) {
    Plane out;
    for (float v : values) {
        uint32_t bits;
        std::memcpy(&bits, &v, 4);
        for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<unsigned char>(bits >> shift));
    }
    return out;
}

std::vector<char> IndexedTable() {
    std::vector<char> table(768, 0);
    table[1] = 10;        // red of index 1
    table[256 + 1] = 20;  // green
    table[512 + 1] = 30;  // blue
    table[255] = static_cast<char>(255);
    return table;
}

// Black (K) and white (W) pixels as 8-bit RGB.
std::vector<int> Pixels(const std::string& colours) {
    std::vector<int> out;
    for (char c : colours) out.insert(out.end(), 3, c == 'K' ? 0 : 255);
    return out;
}

struct ModeCase {
    const char* name;
    Image image;
    bool alpha;
    std::vector<int> expected;  // 8-bit output, interleaved
};

TEST(ColorConverter, EachModeToEightBitRgb) {
    static const std::vector<char> table = IndexedTable();
    std::vector<ModeCase> cases = {
        {"gray 8", Image(1, 8, 2, 1, {{0, 200}}), false, {0, 0, 0, 200, 200, 200}},
        // 0x1234 / 257 = 18.1; 0xFFFF is white.
        {"gray 16 big-endian", Image(1, 16, 2, 1, {{0x12, 0x34, 0xFF, 0xFF}}), false, {18, 18, 18, 255, 255, 255}},
        // Linear 0.2 is sRGB 0.4845 (124); 0.001 is on the linear toe (3); out of range clamps.
        {"gray 32 linear float", Image(1, 32, 4, 1, {Float32({0.2f, 0.001f, 2.0f, -1.0f})}), false,
         {124, 124, 124, 3, 3, 3, 255, 255, 255, 0, 0, 0}},
        {"rgb 8", Image(3, 8, 2, 1, {{1, 4}, {2, 5}, {3, 6}}), false, {1, 2, 3, 4, 5, 6}},
        {"rgb 8 with alpha", Image(3, 8, 2, 1, {{1, 4}, {2, 5}, {3, 6}, {7, 8}}, 3), true, {1, 2, 3, 7, 4, 5, 6, 8}},
        {"rgb 8, alpha asked but absent", Image(3, 8, 1, 1, {{1}, {2}, {3}}), true, {1, 2, 3}},
        {"rgb 8, alpha present but not asked", Image(3, 8, 1, 1, {{1}, {2}, {3}, {9}}, 3), false, {1, 2, 3}},
        {"rgb 16 with alpha", Image(3, 16, 1, 1, {{0xFF, 0xFF}, {0x80, 0x80}, {0, 0}, {0x40, 0x40}}, 3), true,
         {255, 128, 0, 64}},
        {"indexed", Image(2, 8, 3, 1, {{1, 0, 255}}), false, {10, 20, 30, 0, 0, 0, 255, 0, 0}},
        // 10 pixels a row, two bytes; the padding bits of the second byte are junk.
        // 10 pixels a row in two bytes, rows 0xA0 0x7F and 0x00 0xC0; the padding bits of a row's last byte are junk.
        {"bitmap, 1 is black", Image(0, 1, 10, 2, {{0xA0, 0x7F, 0x00, 0xC0}}), false, Pixels("KWKWWWWWWK" "WWWWWWWWKK")},
        {"duotone as its gray", Image(8, 8, 1, 1, {{77}}), false, {77, 77, 77}},
        {"multichannel, two planes as gray", Image(7, 8, 1, 1, {{90}, {10}}), false, {90, 90, 90}},
        {"multichannel, first three as rgb", Image(7, 8, 1, 1, {{1}, {2}, {3}, {4}}), false, {1, 2, 3}},
        {"multichannel, alpha not counted", Image(7, 8, 1, 1, {{5}, {6}, {7}}, 2), true, {5, 5, 5, 7}},
        // Stored inverted: 255 is no ink. No profile: light through = C' x K'.
        {"cmyk without profile", Image(4, 8, 2, 1, {{255, 255}, {0, 0}, {255, 255}, {255, 128}}), false,
         {255, 0, 255, 128, 0, 128}},
        {"cmyk 16 without profile", Image(4, 16, 1, 1, {{0, 0}, {0xFF, 0xFF}, {0xFF, 0xFF}, {0xFF, 0xFF}}), false,
         {0, 255, 255}},
        // L 100 and 0 with neutral a, b: white and black.
        {"lab white and black", Image(9, 8, 2, 1, {{255, 0}, {128, 128}, {128, 128}}), false, {255, 255, 255, 0, 0, 0}},
        {"lab 16 white", Image(9, 16, 1, 1, {{0xFF, 0xFF}, {0x80, 0x80}, {0x80, 0x80}}), false, {255, 255, 255}},
    };
    for (ModeCase& c : cases) {
        SCOPED_TRACE(c.name);
        c.image.source.ColorTable = table.data();
        c.image.source.ColorTableLength = table.size();
        bool ok;
        std::vector<char> out = Convert(c.image.source, 8, c.alpha, &ok);
        ASSERT_TRUE(ok);
        ASSERT_EQ(out.size(), c.expected.size());
        for (std::size_t i = 0; i < out.size(); ++i)
            EXPECT_NEAR(static_cast<unsigned char>(out[i]), c.expected[i], c.image.source.Mode == 9 ? 1 : 0)
                << "byte " << i;
    }
}

// sRGB red, green and blue as D50 Lab ((54.29, 80.81, 69.89), (87.82, -79.29,
// 80.99), (29.57, 68.29, -112.03)), stored at 8 bits: L x 2.55, a + 128, b + 128.
TEST(ColorConverter, LabPrimariesComeOutNearSrgbPrimaries) {
    Image lab(9, 8, 3, 1, {{138, 224, 75}, {209, 49, 196}, {198, 209, 16}});
    bool ok;
    std::vector<char> out = Convert(lab.source, 8, false, &ok);
    ASSERT_TRUE(ok);
    const int expected[] = {255, 0, 0, 0, 255, 0, 0, 0, 255};
    // The sRGB curve is steep near 0: half a step of 8-bit Lab moves a zero
    // channel by up to about 20.
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(static_cast<unsigned char>(out[i]), expected[i], 24) << "byte " << i;
}

// Sixteen-bit output keeps the precision: native order, 8-bit values times 257.
TEST(ColorConverter, SixteenBitOutput) {
    Image gray16(1, 16, 1, 1, {{0x12, 0x34}});
    Image rgb8(3, 8, 1, 1, {{200}, {1}, {0}, {255}}, 3);
    Image lab16(9, 16, 1, 1, {{0xFF, 0xFF}, {0x80, 0x80}, {0x80, 0x80}});
    struct {
        const char* name;
        PSDColorConverter::Source source;
        bool alpha;
        std::vector<unsigned> expected;
        unsigned tolerance;
    } cases[] = {
        {"gray 16 exact", gray16.source, false, {0x1234, 0x1234, 0x1234}, 0},
        {"rgb 8 widened", rgb8.source, true, {200 * 257, 257, 0, 65535}, 0},
        {"lab white", lab16.source, false, {65535, 65535, 65535}, 2},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        bool ok;
        std::vector<char> out = Convert(c.source, 16, c.alpha, &ok);
        ASSERT_TRUE(ok);
        ASSERT_EQ(out.size(), c.expected.size() * 2);
        for (std::size_t i = 0; i < c.expected.size(); ++i) {
            uint16_t v;
            std::memcpy(&v, out.data() + 2 * i, 2);
            EXPECT_NEAR(v, c.expected[i], c.tolerance) << "sample " << i;
        }
    }
}

TEST(ColorConverter, RefusesWhatItCannotConvert) {
    static const std::vector<char> shortTable(767, 0);
    Image rgb(3, 8, 1, 1, {{1}, {2}, {3}});
    Image twoPlanes(3, 8, 1, 1, {{1}, {2}});
    Image bitmap8(0, 8, 1, 1, {{1}});
    Image indexed(2, 8, 1, 1, {{1}});
    Image indexed16(2, 16, 1, 1, {{0, 1}});
    Image mode5(5, 8, 1, 1, {{1}, {2}, {3}});
    Image depth12(1, 12, 1, 1, {{1, 2}});
    Image cmyk3(4, 8, 1, 1, {{1}, {2}, {3}});
    Image zeroWidth(3, 8, 0, 1, {{1}, {2}, {3}});
    Image nullPlane(3, 8, 1, 1, {{1}, {2}, {3}});
    nullPlane.pointers[1] = nullptr;
    Image nullAlpha(3, 8, 1, 1, {{1}, {2}, {3}, {4}}, 3);
    nullAlpha.pointers[3] = nullptr;
    PSDColorConverter::Source shortIndexed = indexed.source;
    shortIndexed.ColorTable = shortTable.data();
    shortIndexed.ColorTableLength = shortTable.size();
    struct {
        const char* name;
        PSDColorConverter::Source source;
        unsigned short depth;
        bool alpha;
    } cases[] = {
        {"output depth 12", rgb.source, 12, false},
        {"output depth 32", rgb.source, 32, false},
        {"rgb with two planes", twoPlanes.source, 8, false},
        {"bitmap at 8 bits", bitmap8.source, 8, false},
        {"indexed without a table", indexed.source, 8, false},
        {"indexed with a short table", shortIndexed, 8, false},
        {"indexed at 16 bits", indexed16.source, 8, false},
        {"mode 5", mode5.source, 8, false},
        {"source depth 12", depth12.source, 8, false},
        {"cmyk with three planes", cmyk3.source, 8, false},
        {"zero width", zeroWidth.source, 8, false},
        {"null plane", nullPlane.source, 8, false},
        {"null alpha plane, alpha asked", nullAlpha.source, 8, true},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<char> out(64, 0);
        EXPECT_FALSE(PSDColorConverter::ToRGB(c.source, c.depth, c.alpha, out.data()));
    }
}

TEST(ColorConverter, InterleavedLength) {
    Image rgba(3, 8, 7, 5, {{0}, {0}, {0}, {0}}, 3);
    PSDColorConverter::Source huge = rgba.source;
    huge.Width = 1UL << 40;
    huge.Height = 1UL << 30;
    struct {
        PSDColorConverter::Source source;
        unsigned short depth;
        bool alpha;
        unsigned long expected;
    } cases[] = {
        {rgba.source, 8, false, 7 * 5 * 3},
        {rgba.source, 8, true, 7 * 5 * 4},
        {rgba.source, 16, true, 7 * 5 * 8},
        {rgba.source, 1, false, 0},
        {huge, 16, true, 0},  // 2^70 bytes: does not fit
    };
    for (auto& c : cases) EXPECT_EQ(PSDColorConverter::InterleavedLength(c.source, c.depth, c.alpha), c.expected);
}

// Rows wider than one batch of the colour-managed path, and more rows than
// one batch holds: each pixel must land in its own place.
TEST(ColorConverter, ManagedPathKeepsPixelPositions) {
    const unsigned long width = 20000, height = 3;
    std::vector<Plane> planes(3, Plane(width * height));
    for (unsigned long i = 0; i < width * height; ++i) {
        planes[0][i] = static_cast<unsigned char>(i % 7 == 0 ? 255 : 0);  // white dots on black
        planes[1][i] = planes[2][i] = 128;
    }
    Image lab(9, 8, width, height, planes);
    bool ok;
    std::vector<char> out = Convert(lab.source, 8, false, &ok);
    ASSERT_TRUE(ok);
    unsigned long wrong = 0;
    for (unsigned long i = 0; i < width * height; ++i)
        if (static_cast<unsigned char>(out[i * 3 + 1]) != (i % 7 == 0 ? 255 : 0)) ++wrong;
    EXPECT_EQ(wrong, 0u);
}

// The corpus's raw CMYK and Lab composites against Little CMS driven by
// Pillow, with the file's own profile, as psd-tools reads the samples.
TEST(ColorConverter, CorpusManagedFilesMatchPeer) {
    PSDTEST_REQUIRE_CORPUS();
    if (!psdtest::HaveProgram("/usr/bin/python3")) GTEST_SKIP() << "/usr/bin/python3 not found";
    const char* script = R"(
import sys, io
from psd_tools import PSDImage
from PIL import ImageCms
psd = PSDImage.open(sys.argv[1])
im = psd.topil()
icc = psd.image_resources.get_data(1039)
if im.mode == 'LAB':
    src = ImageCms.createProfile('LAB', 5000)
elif icc:
    src = ImageCms.ImageCmsProfile(io.BytesIO(icc))
else:
    src = None
if src is None:
    rgb = im.convert('RGB')
else:
    rgb = ImageCms.profileToProfile(im, src, ImageCms.createProfile('sRGB'), renderingIntent=1,
                                    outputMode='RGB', flags=ImageCms.FLAGS['BLACKPOINTCOMPENSATION'])
sys.stdout.write(' '.join(str(v) for px in rgb.getdata() for v in px))
)";
    for (const char* name : {"ps-cmyk8-layers-icc.psd", "im-flat-cmyk16.psd", "ps-lab8-layers.psd"}) {
        SCOPED_TRACE(name);
        psdkit::PhotoshopFile doc;
        ASSERT_TRUE(doc.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        ASSERT_EQ(doc.GetImageCompression(), 0);
        unsigned long width = doc.GetImageWidth(), height = doc.GetImageHeight();
        unsigned short depth = doc.GetImageDepth(), channels = doc.GetImageChannels();
        unsigned long plane = width * height * depth / 8;
        ASSERT_GE(doc.GetImageDataLen(), plane * channels);
        std::vector<const char*> planes;
        for (unsigned short c = 0; c < channels; ++c) planes.push_back(doc.GetImageData() + c * plane);
        PSDColorConverter::Source source;
        source.Planes = planes.data();
        source.NumPlanes = channels;
        source.Width = width;
        source.Height = height;
        source.Depth = depth;
        source.Mode = doc.GetImageMode();
        psdkit::PSDImageRes* res = doc.GetImageResources();
        for (unsigned long i = 0; i < res->GetNumResourceBlocks(); ++i) {
            if (res->GetResourceBlock(i)->GetResourceID() != 1039) continue;
            source.Profile = res->GetResourceBlock(i)->GetDataBlock();
            source.ProfileLength = res->GetResourceBlock(i)->GetDataBlockSize();
        }
        bool ok;
        std::vector<char> out = Convert(source, 8, false, &ok);
        ASSERT_TRUE(ok);

        psdtest::RunResult peer =
            psdtest::RunProgram({"/usr/bin/python3", "-c", script, psdtest::CorpusPath(name)});
        if (peer.exitCode != 0) GTEST_SKIP() << "psd-tools/Pillow could not convert " << name << ": " << peer.err;
        std::istringstream values(peer.out);
        std::vector<int> expected;
        for (int v; values >> v;) expected.push_back(v);
        ASSERT_EQ(expected.size(), out.size());
        int worst = 0;
        for (std::size_t i = 0; i < out.size(); ++i)
            worst = std::max(worst, std::abs(static_cast<unsigned char>(out[i]) - expected[i]));
        // Pillow's Lab transform is the optimised grid, which clips deep
        // out-of-gamut blues differently (0 against 18 in red).
        EXPECT_LE(worst, source.Mode == 9 ? 20 : 2);
    }
}

}  // namespace
