// The psdkit tool: demo, info and write, and its answers to bad input.

#include <cstring>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdtest::RunCli;

namespace {

// A binary PPM or PGM of width x height with samples from a simple pattern.
psdtest::Bytes Netpbm(char kind, unsigned width, unsigned height, std::size_t dropSamples = 0) {
    unsigned channels = kind == '6' ? 3 : 1;
    psdtest::Bytes b;
    b.str(std::string("P") + kind + "\n# made by a test\n" + std::to_string(width) + " " + std::to_string(height) +
          "\n255\n");
    std::size_t samples = std::size_t(width) * height * channels - dropSamples;
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
    psdtest::RunResult none = RunCli({});
    EXPECT_NE(none.exitCode, 0);
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

TEST(Cli, InfoPrintsHeaderSectionsAndImage) {
    psdtest::TempDir dir;
    std::string psd = dir.Path("i.psd");
    ASSERT_EQ(RunCli({"write", psd, "--from", dir.Write("i.ppm", Netpbm('6', 5, 4))}).exitCode, 0);
    psdtest::RunResult info = RunCli({"info", psd});
    ASSERT_EQ(info.exitCode, 0) << info.err;
    for (const char* text : {"Width: 5", "Height: 4", "Channels: 3", "Depth: 8", "Mode: 3 (RGB)",
                             "Color mode data: 0 bytes", "Image resources:", "Layer and mask information: 0 bytes",
                             "Compression: 0 (Raw)", "Length: 60 bytes"})
        EXPECT_NE(info.out.find(text), std::string::npos) << text << "\n" << info.out;

    for (const std::string& bad : {dir.Path("missing.psd"), dir.Dir(), dir.Write("t.txt", psdtest::Bytes().str("hello, world"))}) {
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

TEST(Cli, WriteRefusesBadImagesAndLeavesNothingBehind) {
    psdtest::TempDir dir;
    std::vector<std::string> images{
        dir.Write("short.ppm", Netpbm('6', 4, 4, 1)),
        dir.Write("header.ppm", psdtest::Bytes().str("P6\n4 x\n255\n").zeros(48)),
        dir.Write("ascii.ppm", psdtest::Bytes().str("P3\n1 1\n255\n1 2 3\n")),
        dir.Write("deep.ppm", psdtest::Bytes().str("P6\n1 1\n65535\n").zeros(6)),
        dir.Write("zero.pgm", psdtest::Bytes().str("P5\n0 4\n255\n")),
        dir.Path("missing.ppm"),
    };
    for (const std::string& image : images) {
        std::string out = dir.Path("out.psd");
        psdtest::RunResult r = RunCli({"write", out, "--from", image});
        EXPECT_NE(r.exitCode, 0) << image;
        EXPECT_TRUE(OneLine(r.err)) << image << ": " << r.err;
        EXPECT_FALSE(psdtest::FileExists(out)) << image;
    }
    EXPECT_NE(RunCli({"write", dir.Path("x.psd")}).exitCode, 0);
    EXPECT_NE(RunCli({"write", "--from", images[0]}).exitCode, 0);
}

TEST(Cli, WriteNeverOverwritesWithoutForce) {
    psdtest::TempDir dir;
    std::string ppm = dir.Write("a.ppm", Netpbm('6', 2, 2));
    std::string existing = dir.Write("keep.psd", psdtest::Bytes().str("precious"));
    psdtest::RunResult r = RunCli({"write", existing, "--from", ppm});
    EXPECT_NE(r.exitCode, 0);
    EXPECT_TRUE(OneLine(r.err));
    EXPECT_EQ(psdtest::ReadFile(existing), psdtest::Bytes().str("precious").data);

    // A failed write with --force keeps the old file too.
    EXPECT_NE(RunCli({"write", existing, "--force", "--from", dir.Path("none.ppm")}).exitCode, 0);
    EXPECT_EQ(psdtest::ReadFile(existing), psdtest::Bytes().str("precious").data);

    ASSERT_EQ(RunCli({"write", existing, "--force", "--from", ppm}).exitCode, 0);
    psdkit::PhotoshopFile document;
    EXPECT_TRUE(document.OpenReadFile(existing.c_str()));

    psdtest::RunResult missingDir = RunCli({"write", dir.Path("no/such/dir.psd"), "--from", ppm});
    EXPECT_NE(missingDir.exitCode, 0);
    EXPECT_TRUE(OneLine(missingDir.err));
}

}  // namespace
