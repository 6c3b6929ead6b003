// Files written by the library, read by independent PSD readers: psd-tools,
// ImageMagick, exiftool and Pillow, each used as a black box.

#include <cstring>
#include <fstream>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

namespace {

const char* PYTHON = "/usr/bin/python3";  // Debian's modules are seen by this one

bool HavePythonModule(const std::string& module) {
    return psdtest::HaveProgram(PYTHON) && psdtest::RunProgram({PYTHON, "-c", "import " + module}).exitCode == 0;
}

#define REQUIRE_PYTHON_MODULE(module, package)                                                       \
    do {                                                                                             \
        if (!HavePythonModule(module))                                                               \
            GTEST_SKIP() << "Python module " module " not found for /usr/bin/python3 (Debian package " \
                         package ")";                                                                \
    } while (0)

#define REQUIRE_PROGRAM(program, package)                                                          \
    do {                                                                                           \
        if (!psdtest::HaveProgram(program))                                                        \
            GTEST_SKIP() << program " not found (Debian package " package ")";                     \
    } while (0)

// A written RGB document of 300x200 with structure in every plane, and the
// same pixels interleaved as a peer returns them.
struct WrittenImage {
    static const unsigned long width = 300, height = 200;
    std::vector<char> planes;
    std::vector<char> interleaved;
    std::string path;
    bool committed = false;

    explicit WrittenImage(const psdtest::TempDir& dir, const std::string& name = "written.psd") {
        const unsigned long plane = width * height;
        planes.resize(3 * plane);
        interleaved.resize(3 * plane);
        for (unsigned long y = 0; y < height; ++y)
            for (unsigned long x = 0; x < width; ++x) {
                unsigned long i = y * width + x;
                unsigned char rgb[3] = {static_cast<unsigned char>(x * 255 / (width - 1)),
                                        static_cast<unsigned char>(y * 255 / (height - 1)),
                                        static_cast<unsigned char>((x / 25 + y / 25) % 2 ? 230 : 20)};
                for (int c = 0; c < 3; ++c) {
                    planes[c * plane + i] = static_cast<char>(rgb[c]);
                    interleaved[3 * i + c] = static_cast<char>(rgb[c]);
                }
            }
        path = dir.Path(name);
        psdkit::PhotoshopFile document;
        document.OpenWriteFile(path.c_str());
        document.SetImageWidth(width);
        document.SetImageHeight(height);
        document.SetPlanarImageData(planes.data(), planes.data() + plane, planes.data() + 2 * plane, plane);
        committed = document.CommitWriteFile();
    }
};

TEST(PsdTools, ReadsSizeModeResourcesAndComposite) {
    REQUIRE_PYTHON_MODULE("psd_tools", "python3-psd-tools");
    psdtest::TempDir dir;
    WrittenImage image(dir);
    ASSERT_TRUE(image.committed);
    std::string expected = dir.Write("expected.rgb", image.interleaved);
    const char* script = R"(
import sys
from psd_tools import PSDImage
psd = PSDImage.open(sys.argv[1])
print("size", psd.width, psd.height)
print("mode", int(psd.color_mode), "depth", psd.depth)
print("resources", " ".join(str(int(k)) for k in psd.image_resources.keys()))
pixels = psd.topil().convert("RGB").tobytes()
print("composite", "same" if pixels == open(sys.argv[2], "rb").read() else "different")
)";
    psdtest::RunResult r = psdtest::RunProgram({PYTHON, "-c", script, image.path, expected});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("size 300 200"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("mode 3 depth 8"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("resources 1005 1036 1039\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("composite same"), std::string::npos) << r.out;
}

TEST(ImageMagick, IdentifiesAndConvertsToTheSamePixels) {
    REQUIRE_PROGRAM("identify", "imagemagick");
    psdtest::TempDir dir;
    WrittenImage image(dir);
    ASSERT_TRUE(image.committed);
    psdtest::RunResult id = psdtest::RunProgram({"identify", "-format", "%w %h\n", image.path});
    ASSERT_EQ(id.exitCode, 0) << id.err;
    EXPECT_EQ(id.out.substr(0, id.out.find('\n')), "300 200");

    // The real ImageMagick convert; a stand-in of that name may stand first on PATH.
    std::string convert = psdtest::HaveProgram("/usr/bin/convert") ? "/usr/bin/convert" : "convert";
    std::string ppm = dir.Path("out.ppm");
    psdtest::RunResult c = psdtest::RunProgram({convert, image.path + "[0]", "-depth", "8", ppm});
    ASSERT_EQ(c.exitCode, 0) << c.err;
    std::vector<char> bytes = psdtest::ReadFile(ppm);
    ASSERT_GE(bytes.size(), image.interleaved.size());
    EXPECT_EQ(std::memcmp(bytes.data() + bytes.size() - image.interleaved.size(), image.interleaved.data(),
                          image.interleaved.size()),
              0);
    EXPECT_EQ(std::string(bytes.data(), 2), "P6");
}

// Width and height from the SOF marker of a JPEG stream.
bool JpegSize(const std::vector<char>& jpeg, unsigned* width, unsigned* height) {
    for (std::size_t i = 2; i + 9 < jpeg.size();) {
        if (static_cast<unsigned char>(jpeg[i]) != 0xFF) return false;
        unsigned marker = static_cast<unsigned char>(jpeg[i + 1]);
        unsigned length = static_cast<unsigned char>(jpeg[i + 2]) << 8 | static_cast<unsigned char>(jpeg[i + 3]);
        if (marker >= 0xC0 && marker <= 0xC3) {
            *height = static_cast<unsigned char>(jpeg[i + 5]) << 8 | static_cast<unsigned char>(jpeg[i + 6]);
            *width = static_cast<unsigned char>(jpeg[i + 7]) << 8 | static_cast<unsigned char>(jpeg[i + 8]);
            return true;
        }
        i += 2 + length;
    }
    return false;
}

TEST(ExifTool, ResolutionProfileAndThumbnail) {
    REQUIRE_PROGRAM("exiftool", "libimage-exiftool-perl");
    psdtest::TempDir dir;
    WrittenImage image(dir);
    ASSERT_TRUE(image.committed);
    psdtest::RunResult r = psdtest::RunProgram(
        {"exiftool", "-s", "-XResolution", "-YResolution", "-DisplayedUnitsX", "-ProfileDescription", image.path});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("XResolution                     : 300"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("YResolution                     : 300"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("DisplayedUnitsX                 : inches"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("ProfileDescription              : sRGB IEC61966-2.1"), std::string::npos) << r.out;

    psdtest::RunResult thumb = psdtest::RunProgram({"exiftool", "-b", "-PhotoshopThumbnail", image.path});
    ASSERT_EQ(thumb.exitCode, 0) << thumb.err;
    std::vector<char> jpeg(thumb.out.begin(), thumb.out.end());
    ASSERT_GT(jpeg.size(), 4u);
    EXPECT_EQ(static_cast<unsigned char>(jpeg[0]), 0xFF);
    EXPECT_EQ(static_cast<unsigned char>(jpeg[1]), 0xD8);
    unsigned width = 0, height = 0;
    ASSERT_TRUE(JpegSize(jpeg, &width, &height));
    EXPECT_EQ(width, 112u);
    EXPECT_EQ(height, 75u);
}

TEST(Pillow, ReadsTheSamePixels) {
    REQUIRE_PYTHON_MODULE("PIL", "python3-pil");
    psdtest::TempDir dir;
    WrittenImage image(dir);
    ASSERT_TRUE(image.committed);
    std::string expected = dir.Write("expected.rgb", image.interleaved);
    const char* script = R"(
import sys
from PIL import Image
im = Image.open(sys.argv[1])
print("format", im.format, im.mode, im.size[0], im.size[1])
print("pixels", "same" if im.convert("RGB").tobytes() == open(sys.argv[2], "rb").read() else "different")
)";
    psdtest::RunResult r = psdtest::RunProgram({PYTHON, "-c", script, image.path, expected});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("format PSD RGB 300 200"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("pixels same"), std::string::npos) << r.out;
}

// Grayscale from a PGM: one plane, so no three-plane thumbnail; the file must
// still be one every peer reads.
TEST(Peers, ReadGrayscaleWrittenByTheTool) {
    psdtest::TempDir dir;
    psdtest::Bytes pgm;
    pgm.str("P5\n64 32\n255\n");
    std::vector<char> samples;
    for (int i = 0; i < 64 * 32; ++i) samples.push_back(static_cast<char>(i % 64 * 4));
    pgm.raw(samples);
    std::string psd = dir.Path("gray.psd");
    psdtest::RunResult w = psdtest::RunCli({"write", psd, "--from", dir.Write("g.pgm", pgm)});
    ASSERT_EQ(w.exitCode, 0) << w.err;
    std::string expected = dir.Write("expected.gray", samples);
    int peers = 0;
    if (HavePythonModule("psd_tools")) {
        psdtest::RunResult r = psdtest::RunProgram(
            {PYTHON, "-c",
             "import sys\nfrom psd_tools import PSDImage\np=PSDImage.open(sys.argv[1])\n"
             "print('same' if p.topil().tobytes()==open(sys.argv[2],'rb').read() else 'different', p.width, p.height)",
             psd, expected});
        EXPECT_EQ(r.exitCode, 0) << r.err;
        EXPECT_NE(r.out.find("same 64 32"), std::string::npos) << r.out;
        ++peers;
    }
    if (HavePythonModule("PIL")) {
        psdtest::RunResult r = psdtest::RunProgram(
            {PYTHON, "-c",
             "import sys\nfrom PIL import Image\ni=Image.open(sys.argv[1])\n"
             "print('same' if i.tobytes()==open(sys.argv[2],'rb').read() else 'different', i.mode)",
             psd, expected});
        EXPECT_EQ(r.exitCode, 0) << r.err;
        EXPECT_NE(r.out.find("same L"), std::string::npos) << r.out;
        ++peers;
    }
    if (psdtest::HaveProgram("identify")) {
        psdtest::RunResult r = psdtest::RunProgram({"identify", "-format", "%w %h\n", psd});
        EXPECT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.out.substr(0, r.out.find('\n')), "64 32");
        ++peers;
    }
    if (psdtest::HaveProgram("exiftool")) {
        psdtest::RunResult r = psdtest::RunProgram({"exiftool", "-s", "-ImageWidth", "-ColorMode", psd});
        EXPECT_EQ(r.exitCode, 0) << r.err;
        EXPECT_NE(r.out.find("Grayscale"), std::string::npos) << r.out;
        ++peers;
    }
    if (peers == 0) GTEST_SKIP() << "no peer PSD reader installed (python3-psd-tools, python3-pil, imagemagick, "
                                    "libimage-exiftool-perl)";
}

}  // namespace

namespace {

// Corpus files read and written again through the same document: the
// resources section's length word is the bytes of its blocks, and psd-tools
// reads the blocks that came from the file with the same IDs, names and
// payloads (the profile block is re-encoded, so only its presence counts).
TEST(PsdTools, ReadsCorpusResourcesWrittenAgain) {
    PSDTEST_REQUIRE_CORPUS();
    REQUIRE_PYTHON_MODULE("psd_tools", "python3-psd-tools");
    const char* script = R"(
import sys
from psd_tools.psd import PSD
original = PSD.read(open(sys.argv[1], "rb")).image_resources
written = PSD.read(open(sys.argv[2], "rb")).image_resources
for key, block in original.items():
    other = written.get(key)
    if other is None:
        print("missing", key)
    elif key not in (1005, 1036, 1039) and (other.name != block.name or other.data != block.data):
        print("differs", key)
print("checked", len(original))
)";
    psdtest::TempDir dir;
    for (const char* name : {"agpsd-resources.psd", "ps-rgb8-flat-guides.psd", "ps-rgb8-resource-names.psd",
                             "ps-gray8-layers-mask.psd"}) {
        SCOPED_TRACE(name);
        psdkit::PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        unsigned long width = document.GetImageWidth(), height = document.GetImageHeight();
        unsigned short channels = document.GetImageChannels(), depth = document.GetImageDepth(),
                       mode = document.GetImageMode();
        std::string out = dir.Path(std::string("again-") + name);
        document.OpenWriteFile(out.c_str());
        document.SetImageWidth(width);
        document.SetImageHeight(height);
        document.SetImageChannels(channels);
        document.SetImageDepth(depth);
        document.SetImageMode(mode);
        ASSERT_TRUE(document.CommitWriteFile());

        psdkit::PhotoshopFile back;
        ASSERT_TRUE(back.OpenReadFile(out.c_str()));
        psdkit::PSDImageRes* resources = back.GetImageResources();
        unsigned long sum = 0;
        for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i)
            sum += resources->GetResourceBlock(i)->GetResourceBlockSize();
        EXPECT_EQ(resources->GetSectionLength(), sum);
        EXPECT_EQ(resources->GetNumResourceBlocks(), document.GetImageResources()->GetNumResourceBlocks());

        psdtest::RunResult r = psdtest::RunProgram({PYTHON, "-c", script, psdtest::CorpusPath(name), out});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.out.find("missing"), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("differs"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("checked"), std::string::npos) << r.out;
    }
}

}  // namespace
