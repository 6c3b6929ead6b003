// Files written by the library, read by psd-tools, ImageMagick and exiftool as
// black boxes (the CLI tests have the peers read the tool's files too).

#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

namespace {

using psdtest::HavePythonModule;
using psdtest::PYTHON;

// psd-tools prints the file's facts and whether its pixels are those of argv[2].
const char* PSD_TOOLS = R"(
import sys
from psd_tools import PSDImage
psd = PSDImage.open(sys.argv[1])
print("size", psd.width, psd.height, "mode", int(psd.color_mode), "depth", psd.depth)
print("resources", " ".join(str(int(k)) for k in psd.image_resources.keys()))
print("pixels", "same" if psd.topil().tobytes() == open(sys.argv[2], "rb").read() else "different")
)";

TEST(Peers, ReadRgbWrittenByTheLibrary) {
    psdtest::TempDir dir;
    const unsigned long width = 300, height = 200, plane = width * height;
    std::vector<char> planes(3 * plane), interleaved(3 * plane);
    for (unsigned long i = 0; i < 3 * plane; ++i)  // each channel a gradient of its own slope
        planes[i] = interleaved[i % plane * 3 + i / plane] = static_cast<char>(i % plane * (i / plane + 2) / 97);
    const std::string path = dir.Path("written.psd"), expected = dir.Write("expected.rgb", interleaved);
    psdkit::PhotoshopFile document;
    document.OpenWriteFile(path.c_str());
    document.SetImageWidth(width);
    document.SetImageHeight(height);
    document.SetPlanarImageData(planes.data(), planes.data() + plane, planes.data() + 2 * plane, plane);
    ASSERT_TRUE(document.CommitWriteFile());
    // Each peer that is installed: the command and what its output must hold.
    const struct {
        bool found;
        std::vector<std::string> argv, says;
    } peers[] = {
        {HavePythonModule("psd_tools"),
         {PYTHON, "-c", PSD_TOOLS, path, expected},
         {"size 300 200 mode 3 depth 8", "resources 1005 1036 1039\n", "pixels same"}},
        // Pixel-exact: the difference count against the expected pixels must be 0 (exit code 0).
        {psdtest::HaveProgram("compare"),
         {"compare", "-metric", "AE", path + "[0]", "-size", "300x200", "-depth", "8", "rgb:" + expected, "null:"},
         {}},
        {psdtest::HaveProgram("exiftool"),
         {"exiftool", "-s", "-XResolution", "-ProfileDescription", "-PhotoshopThumbnail", path},
         {"XResolution                     : 300", "ProfileDescription              : sRGB IEC61966-2.1",
          "PhotoshopThumbnail              : (Binary data"}},
    };
    int ran = 0;
    for (const auto& peer : peers) {
        if (!peer.found) continue;
        ++ran;
        psdtest::RunResult r = psdtest::RunProgram(peer.argv);
        EXPECT_EQ(r.exitCode, 0) << peer.argv[0] << ": " << r.err;
        for (const std::string& text : peer.says) EXPECT_NE(r.out.find(text), std::string::npos) << r.out;
    }
    if (ran == 0) GTEST_SKIP() << "no peer installed (python3-psd-tools, python3-pil, imagemagick, exiftool)";
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
original, written = (PSD.read(open(path, "rb")).image_resources for path in sys.argv[1:3])
for key, block in original.items():
    other = written.get(key)
    if other is None or key not in (1005, 1036, 1039) and (other.name, other.data) != (block.name, block.data):
        print("differs", key)
print("checked", len(original))
)";
    psdtest::TempDir dir;
    for (const char* name :
         {"agpsd-resources.psd", "ps-rgb8-flat-guides.psd", "ps-rgb8-resource-names.psd", "ps-gray8-layers-mask.psd"}) {
        SCOPED_TRACE(name);
        psdkit::PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        psdkit::PhotoshopFile facts;
        ASSERT_TRUE(facts.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        std::string out = dir.Path(std::string("again-") + name);
        document.OpenWriteFile(out.c_str());
        document.SetImageWidth(facts.GetImageWidth());
        document.SetImageHeight(facts.GetImageHeight());
        document.SetImageChannels(facts.GetImageChannels());
        document.SetImageDepth(facts.GetImageDepth());
        document.SetImageMode(facts.GetImageMode());
        ASSERT_TRUE(document.CommitWriteFile());
        psdtest::RunResult r = psdtest::RunProgram({PYTHON, "-c", script, psdtest::CorpusPath(name), out});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_TRUE(r.out.find("differs") == std::string::npos && r.out.find("checked") == 0) << r.out;
    }
}

}  // namespace
