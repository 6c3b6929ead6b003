// The psdkit tool: demo, info and write, and its answers to bad input.

#include <sys/stat.h>

#include <cstring>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdtest::RunCli;

namespace {

// A binary PPM or PGM of width x height with samples from a simple pattern.
psdtest::Bytes Netpbm(char kind, unsigned width, unsigned height, std::size_t dropSamples = 0) {
    psdtest::Bytes b;
    b.str(std::string("P") + kind + "\n# made by a test\n" + std::to_string(width) + " " + std::to_string(height) +
          "\n255\n");
    std::size_t samples = std::size_t(width) * height * (kind == '6' ? 3 : 1) - dropSamples;
    for (std::size_t i = 0; i < samples; ++i) b.u8(static_cast<unsigned>(i * 31 % 256));
    return b;
}

bool OneLine(const std::string& text) { return !text.empty() && text.find('\n') == text.size() - 1; }

TEST(Cli, HelpAndUsage) {
    for (const char* command : {"demo", "info", "write", "thumbnail", "icc"}) {
        psdtest::RunResult help = RunCli({command, "--help"});
        EXPECT_EQ(help.exitCode, 0) << command;
        EXPECT_NE(help.out.find("usage: psdkit"), std::string::npos) << command;
    }
    EXPECT_EQ(RunCli({"--help"}).exitCode, 0);
    EXPECT_NE(RunCli({}).exitCode, 0);
    psdtest::RunResult unknown = RunCli({"frobnicate"});
    EXPECT_NE(unknown.exitCode, 0);
    EXPECT_TRUE(OneLine(unknown.err)) << unknown.err;
}

TEST(Cli, DemoWritesChecksAndReports) {
    psdtest::TempDir dir;
    std::string out = dir.Path("demo.psd");
    psdtest::RunResult demo = RunCli({"demo", out});
    ASSERT_EQ(demo.exitCode, 0) << demo.err;
    EXPECT_NE(demo.out.find("640x480"), std::string::npos);
    EXPECT_NE(demo.out.find("unchanged"), std::string::npos);
    psdkit::PhotoshopFile document;
    ASSERT_TRUE(document.OpenReadFile(out.c_str()));
    EXPECT_EQ(document.GetImageDataLen(), 3u * 640 * 480);
    psdtest::RunResult again = RunCli({"demo", out});  // refuses to overwrite
    EXPECT_NE(again.exitCode, 0);
    EXPECT_TRUE(OneLine(again.err));
    EXPECT_EQ(RunCli({"demo", "--force", out}).exitCode, 0);
}

TEST(Cli, InfoPrintsHeaderSectionsResourcesAndImage) {
    psdtest::TempDir dir;
    std::string psd = dir.Path("i.psd");
    ASSERT_EQ(RunCli({"write", psd, "--from", dir.Write("i.ppm", Netpbm('6', 5, 4))}).exitCode, 0);
    psdtest::RunResult info = RunCli({"info", "--raw-resources", psd});
    ASSERT_EQ(info.exitCode, 0) << info.err;
    for (const char* text : {"Width: 5", "Height: 4", "Channels: 3", "Depth: 8", "Mode: 3 (RGB)",
                             "Color mode data: 0 bytes", "Image resources: ", " bytes, 3 blocks\n",
                             "  [0]  1005 - ResolutionInfo structure (ID 1005), data size 16\n      Horiz Res:300\n",
                             "      00000000: 01 2c 00 00 00 01 00 01 01 2c 00 00 00 01 00 01\n",
                             "(ID 1036), data size ", "(ID 1039), data size 7264\n",
                             "Layer and mask information: 0 bytes", "Compression: 0 (Raw)", "Length: 60 bytes"})
        EXPECT_NE(info.out.find(text), std::string::npos) << text << "\n" << info.out;

    // A block read with a name shows it.
    psdtest::Bytes named = psdtest::PsdHeader(3, 1, 1, 8, 3).u32(0).u32(16).str("8BIM").u16(3000).u8(2).str("ab");
    named.u8(0).u32(2).u16(0).u32(0).u16(0).zeros(3);
    info = RunCli({"info", dir.Write("named.psd", named)});
    EXPECT_NE(info.out.find("(ID 3000), data size 2, name \"ab\"\n"), std::string::npos) << info.out;

    for (const std::string& bad :
         {dir.Path("missing.psd"), dir.Dir(), dir.Write("t.txt", psdtest::Bytes().str("hello, world"))}) {
        psdtest::RunResult r = RunCli({"info", bad});
        EXPECT_NE(r.exitCode, 0) << bad;
        EXPECT_TRUE(OneLine(r.err)) << r.err;
        EXPECT_TRUE(r.out.empty());
    }
    EXPECT_NE(RunCli({"info"}).exitCode, 0);
}

TEST(Cli, WriteSplitsPpmIntoPlanesAndPgmIntoOne) {
    psdtest::TempDir dir;
    psdtest::Bytes ppm = Netpbm('6', 3, 2);
    std::string psd = dir.Path("rgb.psd");
    ASSERT_EQ(RunCli({"write", psd, "--from", dir.Write("rgb.ppm", ppm)}).exitCode, 0);
    psdkit::PhotoshopFile rgb;
    ASSERT_TRUE(rgb.OpenReadFile(psd.c_str()));
    ASSERT_EQ(rgb.GetImageDataLen(), 18u);
    const char* samples = ppm.data.data() + ppm.size() - 18;
    for (int pixel = 0; pixel < 6; ++pixel)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(rgb.GetImageData()[c * 6 + pixel], samples[pixel * 3 + c]);

    psdtest::Bytes pgm = Netpbm('5', 4, 3);
    std::string gray = dir.Path("gray.psd");
    ASSERT_EQ(RunCli({"write", gray, "--from", dir.Write("g.pgm", pgm)}).exitCode, 0);
    psdkit::PhotoshopFile g;
    ASSERT_TRUE(g.OpenReadFile(gray.c_str()));
    EXPECT_EQ(g.GetImageChannels(), 1);
    EXPECT_EQ(g.GetImageMode(), psdkit::PSDHeader::MODE_GRAYSCALE);
    ASSERT_EQ(g.GetImageDataLen(), 12u);
    EXPECT_EQ(std::memcmp(g.GetImageData(), pgm.data.data() + pgm.size() - 12, 12), 0);
}

// Bad images, missing arguments and existing files: one line on stderr, and
// nothing written or overwritten.
TEST(Cli, WriteRefusesAndLeavesFilesAlone) {
    psdtest::TempDir dir;
    const std::string ppm = dir.Write("a.ppm", Netpbm('6', 2, 2)), out = dir.Path("out.psd");
    const std::string existing = dir.Write("keep.psd", psdtest::Bytes().str("precious"));
    std::vector<std::vector<std::string>> refused = {
        {"write", out, "--from", dir.Path("missing.ppm")},
        {"write", dir.Path("no/such/dir.psd"), "--from", ppm},
        {"write", existing, "--from", ppm},
        {"write", existing, "--force", "--from", dir.Path("none.ppm")},  // a failed forced write keeps the file
        {"write", out},
        {"write", "--from", ppm},
        {"write", "/dev/null", "--force", "--from", ppm},  // devices are never replaced
        {"demo", "--force", "/dev/null"}};
    for (const psdtest::Bytes& image :
         {Netpbm('6', 4, 4, 1), psdtest::Bytes().str("P6\n4 x\n255\n").zeros(48),
          psdtest::Bytes().str("P3\n1 1\n255\n1 2 3\n"), psdtest::Bytes().str("P6\n1 1\n65536\n").zeros(12),
          psdtest::Bytes().str("P5\n0 4\n255\n")})
        refused.push_back({"write", out, "--from", dir.Write("bad" + std::to_string(refused.size()), image)});
    for (const auto& args : refused) {
        psdtest::RunResult r = RunCli(args);
        EXPECT_NE(r.exitCode, 0) << args[1] << " " << args.back();
        EXPECT_TRUE(OneLine(r.err)) << r.err;
        EXPECT_FALSE(psdtest::FileExists(out));
        EXPECT_EQ(psdtest::ReadFile(existing), psdtest::Bytes().str("precious").data);
    }
    EXPECT_FALSE(psdtest::ReadFile("/dev/null").size());
    struct stat info;
    ASSERT_EQ(stat("/dev/null", &info), 0);
    EXPECT_TRUE(S_ISCHR(info.st_mode));
    ASSERT_EQ(RunCli({"write", existing, "--force", "--from", ppm}).exitCode, 0);
    psdkit::PhotoshopFile document;
    EXPECT_TRUE(document.OpenReadFile(existing.c_str()));
}

}  // namespace
