// Files written by the library and the tool, read by independent PSD readers:
// psd-tools, Pillow, ImageMagick and exiftool, each used as a black box.

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

// A peer's verdict on the file: the command and what its output must hold.
struct Peer {
    const char* needs;              // a program, or "python3-<module>"
    std::vector<std::string> argv;  // FILE and EXPECTED stand for the paths
    std::vector<std::string> says;
};

// Each peer that is installed reads `path`; `expected` holds the pixels it must return.
void ExpectPeersRead(const std::vector<Peer>& peers, const std::string& path, const std::string& expected) {
    int ran = 0;
    for (const Peer& peer : peers) {
        std::string needs = peer.needs;
        bool found = needs.rfind("python3-", 0) == 0 ? HavePythonModule(needs.substr(8)) : psdtest::HaveProgram(needs);
        if (!found) continue;
        ++ran;
        std::vector<std::string> argv;
        for (std::string a : peer.argv) {
            for (const auto& [word, value] : {std::make_pair("FILE", path), std::make_pair("EXPECTED", expected)})
                if (a.find(word) != std::string::npos) a.replace(a.find(word), std::strlen(word), value);
            argv.push_back(a);
        }
        psdtest::RunResult r = psdtest::RunProgram(argv);
        EXPECT_EQ(r.exitCode, 0) << needs << ": " << r.err;
        for (const std::string& text : peer.says)
            EXPECT_NE(r.out.find(text), std::string::npos) << needs << ": " << r.out;
    }
    if (ran == 0)
        GTEST_SKIP() << "no peer PSD reader installed (python3-psd-tools, python3-pil, imagemagick, exiftool)";
}

const char* PSD_TOOLS = R"(
import sys
from psd_tools import PSDImage
psd = PSDImage.open(sys.argv[1])
print("size", psd.width, psd.height, "mode", int(psd.color_mode), "depth", psd.depth)
print("resources", " ".join(str(int(k)) for k in psd.image_resources.keys()))
print("composite", "same" if psd.topil().tobytes() == open(sys.argv[2], "rb").read() else "different")
)";

const char* PILLOW = R"(
import sys
from PIL import Image
im = Image.open(sys.argv[1])
print("format", im.format, im.mode, im.size[0], im.size[1])
print("pixels", "same" if im.tobytes() == open(sys.argv[2], "rb").read() else "different")
)";

// A pixel-exact check through ImageMagick: the difference count against the expected pixels.
std::vector<std::string> Compare(const std::string& size, const std::string& kind) {
    return {"compare", "-metric", "AE", "FILE[0]", "-size", size, "-depth", "8", kind + ":EXPECTED", "null:"};
}

TEST(Peers, ReadRgbWrittenByTheLibrary) {
    psdtest::TempDir dir;
    const unsigned long width = 300, height = 200, plane = width * height;
    std::vector<char> planes(3 * plane), interleaved(3 * plane);
    for (unsigned long i = 0; i < plane; ++i) {
        unsigned long x = i % width, y = i / width;
        const unsigned rgb[3] = {static_cast<unsigned>(x * 255 / (width - 1)),
                                 static_cast<unsigned>(y * 255 / (height - 1)), (x / 25 + y / 25) % 2 ? 230u : 20u};
        for (int c = 0; c < 3; ++c) planes[c * plane + i] = interleaved[3 * i + c] = static_cast<char>(rgb[c]);
    }
    const std::string path = dir.Path("written.psd");
    psdkit::PhotoshopFile document;
    document.OpenWriteFile(path.c_str());
    document.SetImageWidth(width);
    document.SetImageHeight(height);
    document.SetPlanarImageData(planes.data(), planes.data() + plane, planes.data() + 2 * plane, plane);
    ASSERT_TRUE(document.CommitWriteFile());
    ExpectPeersRead(
        {{"python3-psd_tools",
          {PYTHON, "-c", PSD_TOOLS, "FILE", "EXPECTED"},
          {"size 300 200 mode 3 depth 8", "resources 1005 1036 1039\n", "composite same"}},
         {"python3-PIL", {PYTHON, "-c", PILLOW, "FILE", "EXPECTED"}, {"format PSD RGB 300 200", "pixels same"}},
         {"identify", {"identify", "-format", "%w %h\n", "FILE"}, {"300 200\n"}},
         {"compare", Compare("300x200", "rgb"), {}},
         {"exiftool",
          {"exiftool", "-s", "-XResolution", "-YResolution", "-DisplayedUnitsX", "-ProfileDescription",
           "-PhotoshopThumbnail", "FILE"},
          {"XResolution                     : 300", "YResolution                     : 300",
           "DisplayedUnitsX                 : inches", "ProfileDescription              : sRGB IEC61966-2.1",
           "PhotoshopThumbnail              : (Binary data"}}},
        path, dir.Write("expected.rgb", interleaved));
}

// Grayscale from a PGM: one plane, whose thumbnail is its gray; the file must
// be one every peer reads.
TEST(Peers, ReadGrayscaleWrittenByTheTool) {
    psdtest::TempDir dir;
    std::vector<char> samples;
    for (int i = 0; i < 64 * 32; ++i) samples.push_back(static_cast<char>(i % 64 * 4));
    const std::string psd = dir.Path("gray.psd");
    psdtest::RunResult w = psdtest::RunCli(
        {"write", psd, "--from", dir.Write("g.pgm", psdtest::Bytes().str("P5\n64 32\n255\n").raw(samples))});
    ASSERT_EQ(w.exitCode, 0) << w.err;
    ExpectPeersRead({{"python3-psd_tools",
                      {PYTHON, "-c", PSD_TOOLS, "FILE", "EXPECTED"},
                      {"size 64 32 mode 1 depth 8", "resources 1005 1036 1039\n", "composite same"}},
                     {"python3-PIL", {PYTHON, "-c", PILLOW, "FILE", "EXPECTED"}, {"format PSD L 64 32", "pixels same"}},
                     {"identify", {"identify", "-format", "%w %h\n", "FILE"}, {"64 32\n"}},
                     {"exiftool", {"exiftool", "-s", "-ColorMode", "FILE"}, {"Grayscale"}}},
                    psd, dir.Write("expected.gray", samples));
}

// Corpus files read and written again through the same document: psd-tools
// reads the blocks that came from the file with the same IDs, names and
// payloads (the standard blocks are encoded anew, so only their presence counts).
TEST(Peers, PsdToolsReadsCorpusResourcesWrittenAgain) {
    PSDTEST_REQUIRE_CORPUS();
    if (!HavePythonModule("psd_tools")) GTEST_SKIP() << "python3-psd-tools not installed";
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
    for (const char* name :
         {"agpsd-resources.psd", "ps-rgb8-flat-guides.psd", "ps-rgb8-resource-names.psd", "ps-gray8-layers-mask.psd"}) {
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
        psdtest::RunResult r = psdtest::RunProgram({PYTHON, "-c", script, psdtest::CorpusPath(name), out});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.out.find("missing"), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("differs"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("checked"), std::string::npos) << r.out;
    }
}

}  // namespace
