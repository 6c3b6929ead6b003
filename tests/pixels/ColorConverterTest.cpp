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

// A source over `planes`, kept alive by the caller.
struct Image {
    std::vector<Plane> planes;
    std::vector<const char*> pointers;
    PSDColorConverter::Source source;
    Image(unsigned short mode, unsigned short depth, unsigned long width, unsigned long height, std::vector<Plane> p,
          int alpha = -1)
        : planes(std::move(p)) {
        for (const Plane& plane : planes) pointers.push_back(reinterpret_cast<const char*>(plane.data()));
        source = {pointers.data(), static_cast<unsigned short>(planes.size()), width, height, depth, mode};
        source.AlphaPlane = alpha;
    }
    Image(const Image&) = delete;  // the pointers are into this one's planes
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
    ModeCase cases[] = {
        // 0x1234 / 257 = 18.1; 0xFFFF is white.
        {"gray 16 big-endian", Image(1, 16, 2, 1, {{0x12, 0x34, 0xFF, 0xFF}}), false, {18, 18, 18, 255, 255, 255}},
        // Linear 0.2 is sRGB 0.4845 (124); 0.001 is on the linear toe (3); out of range clamps.
        {"gray 32 linear float",
         Image(1, 32, 4, 1, {Float32({0.2f, 0.001f, 2.0f, -1.0f})}),
         false,
         {124, 124, 124, 3, 3, 3, 255, 255, 255, 0, 0, 0}},
        {"rgb 8 with alpha", Image(3, 8, 2, 1, {{1, 4}, {2, 5}, {3, 6}, {7, 8}}, 3), true, {1, 2, 3, 7, 4, 5, 6, 8}},
        // 10 pixels a row in two bytes, rows 0xA0 0x7F and 0x00 0xC0; the padding bits of a row's last byte are junk.
        {"bitmap, 1 is black", Image(0, 1, 10, 2, {{0xA0, 0x7F, 0x00, 0xC0}}), false,
         Pixels("KWKWWWWWWK"
                "WWWWWWWWKK")},
        {"multichannel, alpha not counted", Image(7, 8, 1, 1, {{5}, {6}, {7}}, 2), true, {5, 5, 5, 7}},
        // Stored inverted: 255 is no ink. No profile: light through = C' x K'.
        {"cmyk without profile",
         Image(4, 8, 2, 1, {{255, 255}, {0, 0}, {255, 255}, {255, 128}}),
         false,
         {255, 0, 255, 128, 0, 128}},
        {"lab 16 white", Image(9, 16, 1, 1, {{0xFF, 0xFF}, {0x80, 0x80}, {0x80, 0x80}}), false, {255, 255, 255}},
    };
    for (ModeCase& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<char> out(PSDColorConverter::InterleavedLength(c.image.source, 8, c.alpha));
        ASSERT_TRUE(!out.empty() && PSDColorConverter::ToRGB(c.image.source, 8, c.alpha, out.data()));
        ASSERT_EQ(out.size(), c.expected.size());
        for (std::size_t i = 0; i < out.size(); ++i)
            EXPECT_NEAR(static_cast<unsigned char>(out[i]), c.expected[i], c.image.source.Mode == 9 ? 1 : 0)
                << "byte " << i;
    }
}

// Sources the conversion would read past, or cannot allocate for.
TEST(ColorConverter, RefusesWhatItCannotConvert) {
    static const std::vector<char> shortTable(767, 0);
    Image indexed(2, 8, 1, 1, {{1}}), depth12(1, 12, 1, 1, {{1, 2}}), cmyk3(4, 8, 1, 1, {{1}, {2}, {3}});
    Image rgb(3, 8, 1, 1, {{1}, {2}, {3}}), nullAlpha(3, 8, 1, 1, {{1}, {2}, {3}, {4}}, 3);
    nullAlpha.pointers[3] = nullptr;
    Image shortIndexed(2, 8, 1, 1, {{1}});
    shortIndexed.source.ColorTable = shortTable.data();
    shortIndexed.source.ColorTableLength = shortTable.size();
    std::vector<char> out(64, 0);
    for (const Image* image : {&indexed, &shortIndexed, &depth12, &cmyk3, &nullAlpha})
        EXPECT_FALSE(PSDColorConverter::ToRGB(image->source, 8, true, out.data())) << image->source.Mode;
    EXPECT_FALSE(PSDColorConverter::ToRGB(rgb.source, 12, false, out.data()));  // no such output depth
    // 2^70 bytes of output do not fit: no length to allocate.
    Image huge(3, 8, 1UL << 40, 1UL << 30, {{1}, {2}, {3}});
    EXPECT_EQ(PSDColorConverter::InterleavedLength(huge.source, 16, true), 0u);
}

// The corpus's raw CMYK and Lab composites, decoded and converted with the
// file's own profile, against Little CMS driven by Pillow, as psd-tools reads the samples.
TEST(ColorConverter, CorpusManagedFilesMatchPeer) {
    PSDTEST_REQUIRE_CORPUS();
    if (!psdtest::HaveProgram("/usr/bin/python3")) GTEST_SKIP() << "/usr/bin/python3 not found";
    const char* script = R"(
import sys, io
from psd_tools import PSDImage
from PIL import ImageCms
for path in sys.argv[1:]:
    psd = PSDImage.open(path)
    im = psd.topil()
    icc = psd.image_resources.get_data(1039)
    src = ImageCms.createProfile('LAB', 5000) if im.mode == 'LAB' else ImageCms.ImageCmsProfile(io.BytesIO(icc))
    rgb = ImageCms.profileToProfile(im, src, ImageCms.createProfile('sRGB'), renderingIntent=1, outputMode='RGB',
                                    flags=ImageCms.FLAGS['BLACKPOINTCOMPENSATION'])
    print(' '.join(str(v) for px in rgb.getdata() for v in px))
)";
    const std::vector<std::string> names = {"ps-cmyk8-layers-icc.psd", "ps-lab8-layers.psd"};
    std::vector<std::string> command = {"/usr/bin/python3", "-c", script};
    for (const std::string& name : names) command.push_back(psdtest::CorpusPath(name));
    psdtest::RunResult peer = psdtest::RunProgram(command);
    if (peer.exitCode != 0) GTEST_SKIP() << "psd-tools/Pillow could not convert the files: " << peer.err;
    std::istringstream lines(peer.out);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        psdkit::PhotoshopFile doc;
        ASSERT_TRUE(doc.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        psdkit::PSDPixels pixels;  // the file's profile goes with its planes
        ASSERT_TRUE(pixels.DecodeComposite(doc) && pixels.ConvertToRGB(8, false));
        const std::vector<char> out(pixels.GetInterleaved(), pixels.GetInterleaved() + pixels.GetInterleavedLength());
        std::string line;
        ASSERT_TRUE(std::getline(lines, line));
        std::istringstream values(line);
        int worst = 0;
        std::size_t i = 0;
        for (int v; values >> v && i < out.size(); ++i)
            worst = std::max(worst, std::abs(static_cast<unsigned char>(out[i]) - v));
        EXPECT_EQ(i, out.size());
        // Pillow's Lab transform is the optimised grid, which clips deep
        // out-of-gamut blues differently (0 against 18 in red).
        EXPECT_LE(worst, doc.GetImageMode() == 9 ? 20 : 2);
    }
}

}  // namespace
