// The psdkit tool: its commands, and its answers to bad input, missing or
// refused paths and a full disk: one line of error and nothing written or
// replaced without --force.

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdtest::Bytes;
using psdtest::RunCli;

namespace {

// A binary PPM or PGM of width x height with samples from a simple pattern.
Bytes Netpbm(char kind, unsigned width, unsigned height, std::size_t dropSamples = 0) {
    Bytes b;
    b.str(std::string("P") + kind + "\n# made by a test\n" + std::to_string(width) + " " + std::to_string(height) +
          "\n255\n");
    std::size_t samples = std::size_t(width) * height * (kind == '6' ? 3 : 1) - dropSamples;
    for (std::size_t i = 0; i < samples; ++i) b.u8(static_cast<unsigned>(i * 31 % 256));
    return b;
}

// A 2 x 2 RGB file with a raw composite and the given resource blocks.
Bytes Psd(const Bytes& resources) {
    return psdtest::PsdHeader(3, 2, 2, 8, 3).u32(0).u32(resources.size()).raw(resources).u32(0).u16(0).zeros(12);
}

Bytes Block(unsigned id, const Bytes& payload) {
    return Bytes().str("8BIM").u16(id).u16(0).u32(payload.size()).raw(payload).zeros(payload.size() % 2);
}

// A thumbnail block of one pixel whose stream is `stream`.
Bytes Thumbnail(unsigned long format, unsigned long size, const std::vector<char>& stream, unsigned id = 1036) {
    return Block(id, Bytes().u32(format).u32(1).u32(1).u32(4).u32(4).u32(size).u16(24).u16(1).raw(stream));
}

std::vector<std::string> Entries(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') names.push_back(e->d_name);
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The tool with regular files limited to `blocks` x 512 bytes: writes beyond
// that fail as on a full disk (SIGXFSZ ignored, so write() reports EFBIG).
psdtest::RunResult RunCliOnSmallDisk(unsigned blocks, const std::vector<std::string>& args) {
    std::string command = "ulimit -f " + std::to_string(blocks) + " && trap '' XFSZ && exec \"$0\" \"$@\"";
    std::vector<std::string> argv{"/bin/sh", "-c", command, PSDKIT_CLI_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    return psdtest::RunProgram(argv);
}

TEST(Cli, HelpAndUsage) {
    for (const char* command : {"demo", "info", "write", "thumbnail", "icc"}) {
        psdtest::RunResult help = RunCli({command, "--help"});
        EXPECT_EQ(help.exitCode, 0) << command;
        EXPECT_NE(help.out.find("usage: psdkit"), std::string::npos) << command;
    }
    EXPECT_EQ(RunCli({"--help"}).exitCode, 0);
    EXPECT_NE(RunCli({}).exitCode, 0);
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
    Bytes named = psdtest::PsdHeader(3, 1, 1, 8, 3).u32(0).u32(16).str("8BIM").u16(3000).u8(2).str("ab");
    named.u8(0).u32(2).u16(0).u32(0).u16(0).zeros(3);
    info = RunCli({"info", dir.Write("named.psd", named)});
    EXPECT_NE(info.out.find("(ID 3000), data size 2, name \"ab\"\n"), std::string::npos) << info.out;
}

TEST(Cli, InfoListsEveryLayerRecord) {
    Bytes extra = Bytes().u32(20).zeros(20).u32(16).zeros(16).u8(5).str("Tree\x01").zeros(2);
    extra.str("8BIMluni").u32(12).zeros(12).str("8BIMlsct").u32(4).zeros(4);
    Bytes info = Bytes().u16(0xFFFF).u32(0xFFFFFFF6).u32(0x80000000).u32(30).u32(40).u16(2).u16(0xFFFF).u32(10);
    info.u16(0).u32(2).str("8BIMhLit").u8(200).u8(1).u8(0x0B).u8(0).u32(extra.size()).raw(extra);
    info.u16(1).zeros(8).u16(7);  // the two channels' codes and data
    Bytes body = Bytes().u32(info.size()).raw(info).u32(0);
    Bytes file = psdtest::PsdHeader(3, 1, 1, 8, 3).u32(0).u32(0).u32(body.size()).raw(body).u16(0).zeros(3);
    psdtest::TempDir dir;
    psdtest::RunResult result = RunCli({"info", dir.Write("layers.psd", file)});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    std::string listing = "Layer and mask information: " + std::to_string(body.size()) +
                          " bytes\n"
                          "  Layer info size: " +
                          std::to_string(body.size() - 8) +
                          "\n"
                          "  Layer count: 1\n"
                          "  Layer 0: \"Tree\\x01\"\n"
                          "    Rectangle: top -10, left -2147483648, bottom 30, right 40\n"
                          "    Channels: 2\n"
                          "      [0] ID -1, length 10, compression 1 (RLE)\n"
                          "      [1] ID 0, length 2, compression 7 (Invalid)\n"
                          "    Blend mode: signature 8BIM, key 'hLit' (hard light)\n"
                          "    Opacity: 200\n"
                          "    Clipping: 1 (Non-Base)\n"
                          "    Flags: 11 (Transparency Protected|Visible|Photoshop5+)\n"
                          "    Extra data size: " +
                          std::to_string(extra.size()) +
                          "\n"
                          "    Mask size: 20\n"
                          "    Blending ranges: 1 channels (length 16)\n"
                          "    Additional information: 2 entries\n"
                          "      [0] 'luni' (unicode layer name), length 12\n"
                          "      [1] 'lsct' (Unknown), length 4\n"
                          "  Global layer mask length: 0\n"
                          "Image data:\n";
    EXPECT_NE(result.out.find(listing), std::string::npos) << result.out;
}

TEST(Cli, WriteSplitsPpmIntoPlanesAndPgmIntoOne) {
    psdtest::TempDir dir;
    Bytes ppm = Netpbm('6', 3, 2);
    std::string psd = dir.Path("rgb.psd");
    ASSERT_EQ(RunCli({"write", psd, "--from", dir.Write("rgb.ppm", ppm)}).exitCode, 0);
    psdkit::PhotoshopFile rgb;
    ASSERT_TRUE(rgb.OpenReadFile(psd.c_str()));
    ASSERT_EQ(rgb.GetImageDataLen(), 18u);
    const char* samples = ppm.data.data() + ppm.size() - 18;
    for (int pixel = 0; pixel < 6; ++pixel)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(rgb.GetImageData()[c * 6 + pixel], samples[pixel * 3 + c]);

    Bytes pgm = Netpbm('5', 4, 3);
    std::string gray = dir.Path("gray.psd");
    ASSERT_EQ(RunCli({"write", gray, "--from", dir.Write("g.pgm", pgm)}).exitCode, 0);
    psdkit::PhotoshopFile g;
    ASSERT_TRUE(g.OpenReadFile(gray.c_str()));
    EXPECT_EQ(g.GetImageChannels(), 1);
    EXPECT_EQ(g.GetImageMode(), psdkit::PSDHeader::MODE_GRAYSCALE);
    ASSERT_EQ(g.GetImageDataLen(), 12u);
    EXPECT_EQ(std::memcmp(g.GetImageData(), pgm.data.data() + pgm.size() - 12, 12), 0);
}

// Every refusal: one line on stderr, nothing new in the folder, and no file
// or device replaced.
TEST(Cli, RefusalsLeaveFilesAlone) {
    psdtest::TempDir dir;
    const std::string in = dir.Dir() + "/in/", out = dir.Path("out"), keep = in + "keep.psd";
    mkdir(in.c_str(), 0755);
    const std::string ppm = dir.Write("in/a.ppm", Netpbm('6', 200, 150)), none = dir.Write("in/none.psd", Psd(Bytes()));
    dir.Write("in/keep.psd", Bytes().str("precious"));
    const std::string text = dir.Write("in/t.txt", Bytes().str("hello, world"));
    const std::string refused = "/proc/psdkit-cannot-create.psd";
    auto input = [&](const std::string& name, const Bytes& bytes) { return dir.Write("in/" + name, bytes); };
    const struct {
        std::vector<std::string> args;
        int exitCode;  // -1: any but 0
        const char* says;
        unsigned smallDisk = 0;  // blocks of 512 bytes the tool may write, 0: no limit
    } cases[] = {
        {{"frobnicate"}, -1, ""},
        {{"info"}, -1, ""},
        {{"info", dir.Path("missing.psd")}, -1, ""},
        {{"info", in}, -1, ""},
        {{"info", text}, -1, ""},
        {{"write", out, "--from", dir.Path("missing.ppm")}, -1, ""},
        {{"write", dir.Path("no/such/dir.psd"), "--from", ppm}, 1, ""},
        {{"write", refused, "--from", ppm}, 1, ""},
        {{"write", keep, "--from", ppm}, 1, ""},
        {{"write", keep, "--force", "--from", dir.Path("none.ppm")}, -1, ""},  // a failed forced write keeps the file
        {{"write", out}, -1, ""},
        {{"write", "--from", ppm}, -1, ""},
        {{"write", "/dev/null", "--force", "--from", ppm}, -1, ""},  // devices are never replaced
        {{"write", "/dev/full", "--from", ppm}, 1, ""},
        {{"write", out, "--from", ppm}, 1, "", 16},
        {{"write", keep, "--force", "--from", ppm}, 1, "", 16},
        {{"write", out, "--from", input("b1", Netpbm('6', 4, 4, 1))}, -1, ""},
        {{"write", out, "--from", input("b2", Bytes().str("P6\n4 x\n255\n").zeros(48))}, -1, ""},
        {{"write", out, "--from", input("b3", Bytes().str("P3\n1 1\n255\n1 2 3\n"))}, -1, ""},
        {{"write", out, "--from", input("b4", Bytes().str("P6\n1 1\n65536\n").zeros(12))}, -1, ""},
        {{"write", out, "--from", input("b5", Bytes().str("P5\n0 4\n255\n"))}, -1, ""},
        {{"demo", "--force", "/dev/null"}, -1, ""},
        {{"demo", dir.Path("missing/demo.psd")}, 1, ""},
        {{"demo", refused}, 1, ""},
        {{"demo", out}, 1, "", 64},
        {{"demo", keep}, 1, ""},
        {{"demo", "/dev/full"}, 1, ""},
        {{"icc", none}, 2, "needs FILE and OUT.icc"},
        {{"icc", none, out, dir.Path("b")}, 2, "too many"},
        {{"icc", "--bogus", none, out}, 2, "unknown option"},
        {{"icc", dir.Path("missing.psd"), out}, 1, "no such file"},
        {{"icc", text, out}, 1, "not a PSD file"},
        {{"icc", none, out}, 1, "no embedded ICC profile"},
        {{"icc", input("small.psd", Psd(Block(1039, Bytes().str("abcd")))), out}, 1, "too few for a profile"},
        {{"thumbnail", none, out}, 1, "no thumbnail"},
        {{"thumbnail", input("raw.psd", Psd(Thumbnail(0, 12, std::vector<char>(12, 7)))), out}, 1, "raw RGB"},
        {{"thumbnail", input("old.psd", Psd(Thumbnail(1, 4, {1, 2, 3, 4}, 1033))), out}, 1, "old-style"},
        {{"thumbnail", input("damaged.psd", Psd(Thumbnail(1, 500, {1, 2}))), out}, 1, "damaged"},
        {{"thumbnail", input("format.psd", Psd(Thumbnail(9, 2, {1, 2}))), out}, 1, "unknown format 9"},
        {{"thumbnail", text, out}, 1, "not a PSD file"},
        {{"thumbnail", dir.Path("missing.psd"), out}, 1, "no such file"},
        {{"thumbnail", "only-one.psd"}, 2, "give FILE and OUT.jpg"},
    };
    for (const auto& c : cases) {
        std::string args;
        for (const std::string& a : c.args) args += " " + a;
        SCOPED_TRACE(args);
        psdtest::RunResult r = c.smallDisk != 0 ? RunCliOnSmallDisk(c.smallDisk, c.args) : RunCli(c.args);
        if (c.exitCode < 0) {
            EXPECT_NE(r.exitCode, 0);
        } else {
            EXPECT_EQ(r.exitCode, c.exitCode);
        }
        EXPECT_EQ(r.err.rfind("psdkit: ", 0), 0u) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
        EXPECT_EQ(Entries(dir.Dir()), std::vector<std::string>{"in"}) << "a partial or temporary file was left";
        EXPECT_EQ(psdtest::ReadFile(keep), Bytes().str("precious").data);
    }
    struct stat info;
    ASSERT_EQ(stat("/dev/null", &info), 0);
    EXPECT_TRUE(S_ISCHR(info.st_mode));
}

// With --force an existing file is replaced; the thumbnail command takes the
// JPEG block behind an old-style and a raw one.
TEST(Cli, ForceReplacesAndTheJpegThumbnailIsTaken) {
    psdtest::TempDir dir;
    const std::string out = dir.Write("out", Bytes().str("old"));
    const Bytes thumbnails =
        Thumbnail(1, 2, {5, 6}, 1033).raw(Thumbnail(0, 2, {7, 8})).raw(Thumbnail(1, 3, {'j', 'p', 'g'}));
    const std::string psd = dir.Write("in.psd", Psd(thumbnails));
    psdtest::RunResult again = RunCli({"thumbnail", psd, out});
    EXPECT_NE(again.err.find("--force"), std::string::npos) << again.err;
    EXPECT_EQ(RunCli({"thumbnail", "--force", psd, out}).exitCode, 0);
    EXPECT_EQ(psdtest::ReadFile(out), (std::vector<char>{'j', 'p', 'g'}));

    psdkit::PSDICCProfileRB profile(psdkit::PSDICCProfileRB::PROFILE_NAME_SRGB);
    Bytes block;
    {
        std::ofstream written(dir.Path("block.bin"), std::ios_base::binary);
        profile.SetStreams(nullptr, &written);
        profile.WriteResourceBlock();
    }
    block.raw(psdtest::ReadFile(dir.Path("block.bin")));
    const std::string srgb = dir.Write("srgb.psd", Psd(block));
    EXPECT_NE(RunCli({"icc", srgb, out}).err.find("file exists"), std::string::npos);
    psdtest::RunResult forced = RunCli({"icc", "--force", srgb, out});
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    EXPECT_EQ(psdtest::ReadFile(out), std::vector<char>(block.data.begin() + 12, block.data.end()));

    ASSERT_EQ(RunCli({"write", out, "--force", "--from", dir.Write("a.ppm", Netpbm('6', 2, 2))}).exitCode, 0);
    psdkit::PhotoshopFile document;
    EXPECT_TRUE(document.OpenReadFile(out.c_str()));
}

}  // namespace
