// Written documents: RLE composites from the encoder, read back by the
// decoder and by independent readers (psd-tools, ImageMagick, Pillow, each a
// black box); size refusals; thumbnails from compressed and non-RGB data.

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "psdkit/pixels/PSDPlaneEncoder.h"
#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PhotoshopFile;
using psdkit::PSDHeader;
using psdkit::PSDImageData;
using psdkit::PSDPixels;
using psdkit::PSDPlaneEncoder;

namespace {

const char* PYTHON = "/usr/bin/python3";

bool HavePythonModule(const std::string& module) {
    return psdtest::HaveProgram(PYTHON) && psdtest::RunProgram({PYTHON, "-c", "import " + module}).exitCode == 0;
}

// Planes with gradients, noise and flat blocks, so every PackBits path is taken.
std::vector<char> TestPlanes(unsigned long width, unsigned long height, unsigned short channels, unsigned short depth) {
    const unsigned long rowBytes = width * depth / 8, plane = rowBytes * height;
    std::vector<char> out(plane * channels);
    std::mt19937 random(width * 31 + height + channels);
    for (unsigned short c = 0; c < channels; ++c)
        for (unsigned long y = 0; y < height; ++y)
            for (unsigned long x = 0; x < rowBytes; ++x) {
                unsigned v = y < height / 3 ? x * 3 + c * 50 : y < 2 * height / 3 ? random() : (x / 9 + y / 5 + c) * 40;
                out[c * plane + y * rowBytes + x] = static_cast<char>(v);
            }
    return out;
}

struct Written {
    std::string path;
    std::vector<char> planes;
};

// An RLE document written through PhotoshopFile.
Written WriteRLE(const psdtest::TempDir& dir, const std::string& name, unsigned long width, unsigned long height,
                 unsigned short channels, unsigned short depth, unsigned short mode) {
    Written w{dir.Path(name), TestPlanes(width, height, channels, depth)};
    const unsigned long plane = width * depth / 8 * height;
    std::vector<const char*> planes;
    for (unsigned short c = 0; c < channels; ++c) planes.push_back(w.planes.data() + c * plane);
    std::vector<char> code;
    EXPECT_TRUE(PSDPlaneEncoder::EncodeRLE(planes.data(), channels, width, height, depth, code));
    PhotoshopFile document;
    document.OpenWriteFile(w.path.c_str());
    document.SetImageWidth(width);
    document.SetImageHeight(height);
    document.SetImageChannels(channels);
    document.SetImageDepth(depth);
    document.SetImageMode(mode);
    document.SetImageCompression(PSDImageData::COMPRESSION_RLE);
    document.SetImageData(code.data(), code.size());
    EXPECT_TRUE(document.CommitWriteFile());
    return w;
}

}  // namespace

// Each peer gets the file and the planes it must find, and answers "same".
TEST(WrittenRLE, EveryPeerDecodesTheSourcePixels) {
    psdtest::TempDir dir;
    const struct {
        const char* name;
        unsigned long width, height;
        unsigned short channels, depth, mode;
    } images[] = {
        {"rgb8.psd", 301, 67, 3, 8, PSDHeader::MODE_RGB},
        {"gray8.psd", 129, 40, 1, 8, PSDHeader::MODE_GRAYSCALE},
        {"rgb16.psd", 77, 30, 3, 16, PSDHeader::MODE_RGB},
    };
    // Interleaved planes as the peers return them; 16-bit samples big-endian.
    const char* psdTools = R"(
import sys
from psd_tools import PSDImage
psd = PSDImage.open(sys.argv[1])
data = psd._record.image_data.get_data(psd._record.header)
data = b"".join(data) if isinstance(data, list) else data
print("same" if data == open(sys.argv[2], "rb").read() else "different")
)";
    const char* pillow = R"(
import sys
from PIL import Image
im = Image.open(sys.argv[1])
planes = b"".join(band.tobytes() for band in im.split())
print("same" if planes == open(sys.argv[2], "rb").read() else "different", im.mode)
)";
    bool havePsdTools = HavePythonModule("psd_tools"), havePillow = HavePythonModule("PIL");
    std::string convert = psdtest::HaveProgram("/usr/bin/convert") ? "/usr/bin/convert" : "convert";
    bool haveConvert = psdtest::HaveProgram(convert);
    if (!havePsdTools) std::cerr << "[ SKIP     ] psd-tools not found for " << PYTHON << "\n";
    if (!havePillow) std::cerr << "[ SKIP     ] Pillow not found for " << PYTHON << "\n";
    if (!haveConvert) std::cerr << "[ SKIP     ] ImageMagick convert not found\n";
    for (const auto& image : images) {
        SCOPED_TRACE(image.name);
        Written w = WriteRLE(dir, image.name, image.width, image.height, image.channels, image.depth, image.mode);
        std::string expected = dir.Write(std::string(image.name) + ".planes", w.planes);

        PhotoshopFile back;
        ASSERT_TRUE(back.OpenReadFile(w.path.c_str()));
        PSDPixels pixels;
        ASSERT_TRUE(pixels.DecodeComposite(back));
        ASSERT_EQ(pixels.GetNumPlanes() * pixels.GetPlaneLength(), w.planes.size());
        for (unsigned short c = 0; c < pixels.GetNumPlanes(); ++c)
            EXPECT_EQ(
                std::memcmp(pixels.GetPlane(c), w.planes.data() + c * pixels.GetPlaneLength(), pixels.GetPlaneLength()),
                0);

        std::vector<std::string> sizes = {std::to_string(image.width), std::to_string(image.height),
                                          std::to_string(image.channels), std::to_string(image.depth)};
        if (havePsdTools) {
            psdtest::RunResult r = psdtest::RunProgram({PYTHON, "-c", psdTools, w.path, expected});
            EXPECT_EQ(r.out.substr(0, 4), "same") << "psd-tools: " << r.out << r.err;
        }
        if (havePillow && image.depth == 8) {
            psdtest::RunResult r = psdtest::RunProgram({PYTHON, "-c", pillow, w.path, expected});
            EXPECT_EQ(r.out.substr(0, 4), "same") << "Pillow: " << r.out << r.err;
        }
        if (haveConvert) {
            // Planar, samples at the file's depth, big-endian, as the planes are held.
            std::string out = dir.Path(std::string(image.name) + ".raw");
            std::string format = image.channels == 1 ? "gray:" : "rgb:";
            psdtest::RunResult r = psdtest::RunProgram(
                {convert, w.path + "[0]", "-depth", sizes[3], "-endian", "MSB", "-interlace", "plane", format + out});
            ASSERT_EQ(r.exitCode, 0) << r.err;
            EXPECT_TRUE(psdtest::ReadFile(out) == w.planes) << "ImageMagick";
        }
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
    } cases[] = {
        {"30000 x 30000 x 56 on 1 KB", 56, 30000, 30000, 8, 1, 1000, PSDPixels::DEFAULT_MAX_BYTES},
        {"the same, no ceiling", 56, 30000, 30000, 8, 1, 1000, ~0UL},
        {"deflate bomb size, no ceiling", 56, 30000, 30000, 8, 2, 1000, ~0UL},
        {"raw, no ceiling", 3, 30000, 30000, 32, 0, 1000, ~0UL},
        {"past a small ceiling", 3, 100, 100, 8, 0, 30000, 29999},
        {"depth 0", 3, 4, 4, 0, 0, 48, ~0UL},
        {"depth 7", 3, 4, 4, 7, 0, 48, ~0UL},
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
        EXPECT_FALSE(pixels.DecodeComposite(document));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
        EXPECT_EQ(pixels.GetNumPlanes(), 0u);
        ASSERT_GE(pixels.GetNumProblems(), 1u);
        EXPECT_NE(pixels.GetProblem(0), nullptr);
    }
    // At the ceiling exactly it decodes.
    PhotoshopFile document;
    ASSERT_TRUE(document.OpenReadFile(file(3, 100, 100, 8, 0, 30000).c_str()));
    PSDPixels pixels;
    pixels.SetMaxBytes(30000);
    EXPECT_TRUE(pixels.DecodeComposite(document));
    EXPECT_EQ(pixels.GetNumPlanes(), 3u);
    EXPECT_EQ(pixels.GetPlane(3), nullptr);
    EXPECT_EQ(pixels.GetAlphaPlane(), -1);
}

// A damaged composite keeps its good rows and says what it filled.
TEST(DecodeComposite, DamagedRowsAreFilledAndReported) {
    psdtest::TempDir dir;
    Written w = WriteRLE(dir, "d.psd", 50, 20, 3, 8, PSDHeader::MODE_RGB);
    std::vector<char> bytes = psdtest::ReadFile(w.path);
    PhotoshopFile probe;
    ASSERT_TRUE(probe.OpenReadFile(w.path.c_str()));
    std::size_t rows = bytes.size() - probe.GetImageDataLen();  // the start of the count table
    bytes[rows + 2 * 25] = 0x7F;                                // channel 1, row 5: a count far past the data
    bytes[rows + 2 * 25 + 1] = 0x00;
    PhotoshopFile document;
    ASSERT_TRUE(document.OpenReadFile(dir.Write("damaged.psd", bytes).c_str()));
    PSDPixels pixels;
    EXPECT_FALSE(pixels.DecodeComposite(document));
    ASSERT_EQ(pixels.GetNumProblems(), 1u);
    EXPECT_NE(std::string(pixels.GetProblem(0)).find("channel 1, row 6"), std::string::npos) << pixels.GetProblem(0);
    ASSERT_EQ(pixels.GetNumPlanes(), 3u);
    // Row 5 of channel 1 decodes (it takes what it needs); every row behind it starts past the data.
    EXPECT_EQ(std::memcmp(pixels.GetPlane(0), w.planes.data(), 1000), 0);
    EXPECT_EQ(std::memcmp(pixels.GetPlane(1), w.planes.data() + 1000, 6 * 50), 0);
    EXPECT_EQ(std::vector<char>(pixels.GetPlane(2), pixels.GetPlane(2) + 1000), std::vector<char>(1000, 0));
}

// The commit makes a thumbnail from any image data the decoder reads.
TEST(CommitThumbnail, MadeFromRLEDeepAndGrayData) {
    psdtest::TempDir dir;
    const struct {
        const char* name;
        unsigned short channels, depth, mode;
    } cases[] = {
        {"rle-rgb8.psd", 3, 8, PSDHeader::MODE_RGB},        {"rle-rgb16.psd", 3, 16, PSDHeader::MODE_RGB},
        {"rle-gray8.psd", 1, 8, PSDHeader::MODE_GRAYSCALE}, {"rle-gray16-alpha.psd", 2, 16, PSDHeader::MODE_GRAYSCALE},
        {"rle-cmyk8.psd", 4, 8, PSDHeader::MODE_CMYK},  // through the colour conversion
        {"rle-cmyk16.psd", 4, 16, PSDHeader::MODE_CMYK},    {"rle-lab8.psd", 3, 8, PSDHeader::MODE_LAB},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Written w = WriteRLE(dir, c.name, 224, 100, c.channels, c.depth, c.mode);
        PhotoshopFile back;
        ASSERT_TRUE(back.OpenReadFile(w.path.c_str()));
        psdkit::PSDImageRes* resources = back.GetImageResources();
        ASSERT_EQ(resources->GetNumResourceBlocks(), 3u);
        auto* thumbnail = dynamic_cast<psdkit::PSDThumbnailRB*>(resources->GetResourceBlock(1));
        ASSERT_NE(thumbnail, nullptr);
        EXPECT_EQ(thumbnail->GetWidth(), 112u);
        EXPECT_EQ(thumbnail->GetHeight(), 50u);
    }
    // Damaged RLE data gets no thumbnail, and the file is written all the same.
    PhotoshopFile document;
    std::string path = dir.Path("bad.psd");
    document.OpenWriteFile(path.c_str());
    document.SetImageWidth(40);
    document.SetImageHeight(30);
    document.SetImageCompression(PSDImageData::COMPRESSION_RLE);
    std::vector<char> junk(500, 0x7F);
    document.SetImageData(junk.data(), junk.size());
    EXPECT_TRUE(document.CommitWriteFile());
    EXPECT_EQ(document.GetImageResources()->GetNumResourceBlocks(), 2u);
}
