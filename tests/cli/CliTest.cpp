// The psdkit tool: its commands and reports; images through write and export
// and back, the written files read by psd-tools, Pillow and ImageMagick as
// black boxes; and its answers to bad input, hostile files and failing
// writes: one line of error, no hang, no abort, no raw file bytes on the
// terminal, nothing written or replaced without --force.

#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdtest::Block;
using psdtest::Bytes;
using psdtest::RunCli;
using psdtest::RunResult;

namespace {

#if defined(__SANITIZE_ADDRESS__)
// AddressSanitizer reserves terabytes of address space: a limit on it cannot run.
constexpr bool ADDRESS_SPACE_LIMITS = false;
#else
constexpr bool ADDRESS_SPACE_LIMITS = true;
#endif

// Samples interleaved, 8 or 16 bits, kept as numbers.
struct Image {
    unsigned long width = 0, height = 0, channels = 0, depth = 8;
    std::vector<unsigned> samples;
};

// The upper rows vary pixel to pixel (literal runs), the lower ones are flat
// (repeat runs), so RLE writes both kinds. The first row is opaque.
Image Pattern(unsigned long width, unsigned long height, unsigned long channels = 3, unsigned long depth = 8) {
    Image image{width, height, channels, depth, {}};
    uint32_t state = 12345 + channels * 7 + depth;
    const unsigned max = depth == 16 ? 65535 : 255;
    for (unsigned long y = 0; y < height; ++y)
        for (unsigned long x = 0; x < width; ++x)
            for (unsigned long c = 0; c < channels; ++c) {
                state = state * 1103515245u + 12345u;
                const bool opaque = y == 0 && channels % 2 == 0 && c == channels - 1;
                image.samples.push_back(opaque           ? max
                                        : y < height / 2 ? (state >> 8) % (max + 1)
                                                         : (x / 9 + c) % 3 * (max / 2));
            }
    return image;
}

void Put(std::vector<char>& out, unsigned long value, unsigned bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) out.push_back(static_cast<char>(value >> shift));
}

// A binary PPM or PGM, short by `dropSamples` bytes.
Bytes Netpbm(const Image& image, std::size_t dropSamples = 0) {
    Bytes b = Bytes().str((image.channels == 3 ? "P6\n" : "P5\n") + std::to_string(image.width) + " " +
                          std::to_string(image.height) + (image.depth == 16 ? "\n65535\n" : "\n255\n"));
    for (unsigned v : image.samples) Put(b.data, v, image.depth / 8);
    b.data.resize(b.size() - dropSamples);
    return b;
}

void Chunk(std::vector<char>& png, const char* type, const std::vector<char>& data) {
    std::vector<char> body(type, type + 4);
    body.insert(body.end(), data.begin(), data.end());
    Put(png, data.size(), 4);
    png.insert(png.end(), body.begin(), body.end());
    Put(png, crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size())), 4);
}

// A PNG built by hand (filter 0 on every row, one IDAT), not by libpng.
std::vector<char> Png(const Image& image) {
    static const char types[] = {0, 4, 2, 6};  // gray, gray+alpha, RGB, RGBA
    std::vector<char> png = {'\x89', 'P', 'N', 'G', '\r', '\n', '\x1a', '\n'}, ihdr, raw;
    Put(ihdr, image.width, 4);
    Put(ihdr, image.height, 4);
    ihdr.insert(ihdr.end(), {static_cast<char>(image.depth), types[image.channels - 1], 0, 0, 0});
    Chunk(png, "IHDR", ihdr);
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        if (i % (image.width * image.channels) == 0) raw.push_back(0);
        Put(raw, image.samples[i], image.depth / 8);
    }
    std::vector<char> packed(compressBound(raw.size()));
    uLongf packedLength = packed.size();
    compress(reinterpret_cast<Bytef*>(packed.data()), &packedLength, reinterpret_cast<const Bytef*>(raw.data()),
             raw.size());
    packed.resize(packedLength);
    Chunk(png, "IDAT", packed);
    Chunk(png, "IEND", {});
    return png;
}

// Reads a PAM (P7) or binary PPM or PGM; no samples when it is none of them.
Image ReadNetpbm(const std::string& text) {
    Image image;
    std::istringstream in(text);
    std::string magic, key;
    unsigned long maxval = 0;
    in >> magic;
    if (magic == "P7") {
        std::map<std::string, std::string> field;  // WIDTH, HEIGHT, DEPTH, MAXVAL, TUPLTYPE
        while (in >> key && key != "ENDHDR") in >> field[key];
        image.width = std::stoul("0" + field["WIDTH"]), image.height = std::stoul("0" + field["HEIGHT"]);
        image.channels = std::stoul("0" + field["DEPTH"]), maxval = std::stoul("0" + field["MAXVAL"]);
    } else if (magic == "P5" || magic == "P6") {
        in >> image.width >> image.height >> maxval;
        image.channels = magic == "P6" ? 3 : 1;
    }
    in.get();
    image.depth = maxval > 255 ? 16 : 8;
    for (std::size_t i = 0; in && i < image.width * image.height * image.channels; ++i) {
        unsigned v = static_cast<unsigned char>(in.get());
        if (image.depth == 16) v = v << 8 | static_cast<unsigned char>(in.get());
        if (in) image.samples.push_back(v);
    }
    return image;
}

// The colours as RGB, gray spread to three.
std::vector<unsigned> Rgb(const Image& image) {
    std::vector<unsigned> out;
    for (std::size_t p = 0; image.channels != 0 && p + image.channels <= image.samples.size(); p += image.channels)
        for (unsigned long c = 0; c < 3; ++c) out.push_back(image.samples[p + (image.channels <= 2 ? 0 : c)]);
    return out;
}

// `bytes`, a PAM, PPM or PGM, holds the pixels of `source`; with `exact` all its channels.
void ExpectSame(const std::string& bytes, const Image& source, bool exact) {
    Image back = ReadNetpbm(bytes);
    EXPECT_TRUE(back.width == source.width && back.height == source.height && back.depth == source.depth);
    EXPECT_TRUE(exact ? back.channels == source.channels && back.samples == source.samples : Rgb(back) == Rgb(source));
}

// A 2 x 2 RGB file with a raw composite and the given resource blocks.
Bytes Psd(const Bytes& resources) {
    return psdtest::PsdHeader(3, 2, 2, 8, 3).u32(0).u32(resources.size()).raw(resources).u32(0).u16(0).zeros(12);
}

// A thumbnail block of one pixel whose stream is `stream`.
Bytes Thumbnail(unsigned long format, unsigned long size, const std::vector<char>& stream, unsigned id = 1036) {
    return Block(id, Bytes().u32(format).u32(1).u32(1).u32(4).u32(4).u32(size).u16(24).u16(1).raw(stream));
}

// The names in `dir`, hidden ones too, sorted.
std::vector<std::string> Entries(const std::string& dir) {
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(dir, missing))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

// The tool under `limits` (shell ulimit lines) and a time limit, so that a hang fails the test.
RunResult RunLimited(const std::string& limits, const std::vector<std::string>& args) {
    std::vector<std::string> argv = {"timeout",      "20", "/bin/sh", "-c", limits + "\nexec \"$0\" \"$@\"",
                                     PSDKIT_CLI_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    return psdtest::RunProgram(argv);
}

// info lists the header, every block (with its name and, on request, its
// bytes) and every layer record with its fields; text from the file (names,
// a profile's copyright with terminal control sequences) reaches the terminal
// escaped.
TEST(Cli, InfoListsEverythingAndEscapesTheFilesText) {
    Bytes tag = Bytes().str("text").zeros(4).str("evil\x1b]0;owned\x07\x1b[2J\x9b").str("31m").u8(0);
    while (tag.size() % 4) tag.u8(0);
    Bytes profile = Bytes().u32(132 + 12 + tag.size()).zeros(124).u32(1);
    profile.u32(psdkit::PSDICCTag::TAGID_CPRT).u32(144).u32(tag.size()).raw(tag);
    Bytes blocks = Bytes().str("8BIM").u16(1039).u8(3).str("a\x1b").str("b").u32(profile.size()).raw(profile);
    blocks.str("8BIM").u16(3000).u8(2).str("ab").u8(0).u32(2).str("cd");
    Bytes extra = Bytes().u32(20).zeros(20).u32(16).zeros(16).u8(5).str("Tree\x01").zeros(2);
    extra.str("8BIMluni").u32(12).zeros(12).str("8BIMlsct").u32(4).zeros(4);
    Bytes info = Bytes().u16(0xFFFF).u32(0xFFFFFFF6).u32(0x80000000).u32(30).u32(40).u16(2).u16(0xFFFF).u32(10);
    info.u16(0).u32(2).str("8BIMhLit").u8(200).u8(1).u8(0x0B).u8(0).u32(extra.size()).raw(extra);
    info.u16(1).zeros(8).u16(7);  // the two channels' codes and data
    Bytes body = Bytes().u32(info.size()).raw(info).u32(0);
    Bytes file = psdtest::PsdHeader(3, 1, 2, 8, 3).u32(0).u32(blocks.size()).raw(blocks);
    file.u32(body.size()).raw(body).u16(0).zeros(6);
    psdtest::TempDir dir;
    RunResult result = RunCli({"info", "--raw-resources", dir.Write("layers.psd", file)});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::string listing = "Layer and mask information: " + std::to_string(body.size()) +
                                " bytes\n  Layer info size: " + std::to_string(body.size() - 8) +
                                "\n  Layer count: 1\n  Layer 0: \"Tree\\x01\"\n"
                                "    Rectangle: top -10, left -2147483648, bottom 30, right 40\n"
                                "    Channels: 2\n"
                                "      [0] ID -1, length 10, compression 1 (RLE)\n"
                                "      [1] ID 0, length 2, compression 7 (Invalid)\n"
                                "    Blend mode: signature 8BIM, key 'hLit' (hard light)\n"
                                "    Opacity: 200\n    Clipping: 1 (Non-Base)\n"
                                "    Flags: 11 (Transparency Protected|Visible|Photoshop5+)\n"
                                "    Extra data size: " +
                                std::to_string(extra.size()) +
                                "\n    Mask size: 20\n    Blending ranges: 1 channels (length 16)\n"
                                "    Additional information: 2 entries\n"
                                "      [0] 'luni' (unicode layer name), length 12\n"
                                "      [1] 'lsct' (Unknown), length 4\n"
                                "  Global layer mask length: 0\nImage data:\n";
    for (const std::string& text : std::vector<std::string>{
             "Width: 2", "Height: 1", "Channels: 3", "Depth: 8", "Mode: 3 (RGB)", "Color mode data: 0 bytes",
             " bytes, 2 blocks\n", "(ID 3000), data size 2, name \"ab\"\n", "      00000000: 63 64",
             "evil\\x1B]0;owned\\x07\\x1B[2J\\x9B31m", listing, "Compression: 0 (Raw)", "Length: 6 bytes"})
        EXPECT_NE(result.out.find(text), std::string::npos) << text << "\n" << result.out;
    for (char c : result.out) {
        unsigned char u = static_cast<unsigned char>(c);
        EXPECT_TRUE(u == '\n' || u == '\t' || (u >= 0x20 && u != 0x7F && u != 0x9B)) << "raw byte " << int(u);
    }
}

// Every refusal and every failed write: one line on stderr, no abort, nothing
// new in either folder, and no file or device replaced, --force or not.
TEST(Cli, RefusalsAndFailedWritesLeaveFilesAlone) {
    psdtest::TempDir dir;
    const std::string in = dir.Dir() + "/in/", out = dir.Path("out"), keep = in + "keep.psd";
    mkdir(in.c_str(), 0755);
    auto input = [&](const std::string& name, const Bytes& bytes) { return dir.Write("in/" + name, bytes); };
    const std::string ppm = input("a.ppm", Netpbm(Pattern(200, 150))), none = input("none.psd", Psd(Bytes()));
    const std::string text = input("t.txt", Bytes().str("hello, world")), fifo = in + "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string source = in + "source.psd";  // with a profile and a thumbnail
    ASSERT_EQ(RunCli({"demo", source}).exitCode, 0);
    const std::string big = input("big.ppm", Bytes().str("P6\n10000 10000\n255\n"));
    ASSERT_EQ(truncate(big.c_str(), 300000000), 0);  // 300 MB, sparse on disk
    const Bytes pngHead = Bytes().str("\x89PNG\r\n").u8(0x1a).u8('\n').u32(13).str("IHDR");
    const std::string refused = "/proc/psdkit-cannot-create.psd", disk = "trap '' XFSZ\nulimit -f ";
    struct Case {
        std::vector<std::string> args;
        int exitCode;  // -1: any but 0
        std::string says, limits = "";
    };
    std::vector<Case> cases = {
        {{"frobnicate"}, -1, ""},
        {{"info", input("line\nbreak\x1b.psd", Bytes().str("not a psd"))}, 1, ""},
        {{"write", dir.Path("no/such/dir.psd"), "--from", ppm}, 1, ""},
        {{"write", refused, "--from", ppm}, 1, ""},
        {{"write", keep, "--from", ppm}, 1, ""},
        {{"write", "/dev/null", "--force", "--from", ppm}, -1, ""},  // devices are never replaced
        {{"write", "/dev/full", "--from", ppm}, 1, ""},
        {{"write", out, "--from", ppm}, 1, "", disk + "1"},  // the thumbnail's JPEG cannot be written
        {{"write", keep, "--force", "--from", ppm}, 1, "", disk + "2"},
        {{"write", keep, "--force", "--from", input("wide.ppm", Netpbm(Pattern(30001, 1)))}, 1, ""},
        {{"write", out, "--from", big}, 1, "out of memory", "ulimit -v 200000"},
        {{"write", out, "--from", input("b1", Netpbm(Pattern(4, 4), 1))}, -1, ""},
        {{"write", out, "--from", input("b2", Bytes().str("P6\n4 x\n255\n").zeros(48))}, -1, ""},
        {{"write", out, "--from", input("b3", Bytes().str("P3\n1 1\n255\n1 2 3\n"))}, -1, ""},
        {{"write", out, "--from", input("b4", Bytes().str("P6\n1 1\n65536\n").zeros(12))}, -1, ""},
        {{"write", out, "--from", input("b5", Bytes().str("P5\n0 4\n255\n"))}, -1, ""},
        {{"write", out, "--from", input("cut.png", Bytes().raw(pngHead).u32(4).u32(4))}, -1, ""},
        {{"write", out, "--from", ppm, "--compression", "zip"}, -1, ""},
        {{"demo", keep, "--force"}, 1, "", disk + "2"},
        {{"export", source, keep}, -1, ""},
        {{"export", source, out + ".pam"}, 1, "", disk + "2"},
        {{"export", source, out + ".pgm"}, -1, ""},  // an RGB document is no PGM
        {{"export", source, out + ".png", "--depth", "12"}, -1, ""},
        {{"icc", none}, 2, "needs FILE and OUT.icc"},
        {{"icc", "--bogus", none, out}, 2, "unknown option"},
        {{"icc", dir.Path("missing.psd"), out}, 1, "no such file"},
        {{"icc", text, out}, 1, "not a PSD file"},
        {{"icc", none, out}, 1, "no embedded ICC profile"},
        {{"icc", input("small.psd", Psd(Block(1039, Bytes().str("abcd")))), out}, 1, "too few for a profile"},
        {{"icc", source, keep, "--force"}, 1, "", disk + "2"},
        {{"thumbnail", none, out}, 1, "no thumbnail"},
        {{"thumbnail", input("raw.psd", Psd(Thumbnail(0, 12, std::vector<char>(12, 7)))), out}, 1, "raw RGB"},
        {{"thumbnail", input("old.psd", Psd(Thumbnail(1, 4, {1, 2, 3, 4}, 1033))), out}, 1, "old-style"},
        {{"thumbnail", input("damaged.psd", Psd(Thumbnail(1, 500, {1, 2}))), out}, 1, "damaged"},
        {{"thumbnail", input("format.psd", Psd(Thumbnail(9, 2, {1, 2}))), out}, 1, "unknown format 9"},
        {{"thumbnail", "only-one.psd"}, 2, "give FILE and OUT.jpg"},
    };
    // Inputs that are not regular files fail at once.
    for (const std::string& odd : {fifo, std::string("/dev/zero"), in})
        for (std::vector<std::string> args : std::vector<std::vector<std::string>>{
                 {"info", odd}, {"thumbnail", odd, out}, {"icc", odd, out}, {"write", out, "--from", odd}})
            cases.push_back({args, 1, ""});
    dir.Write("in/keep.psd", Bytes().str("precious"));
    const std::vector<std::string> inputs = Entries(in);
    for (const Case& c : cases) {
        if (!ADDRESS_SPACE_LIMITS && c.limits.find("ulimit -v") != std::string::npos) continue;
        std::string args = c.limits;
        for (const std::string& a : c.args) args += " " + a;
        SCOPED_TRACE(args);
        RunResult r = RunLimited(c.limits, c.args);
        EXPECT_TRUE(c.exitCode < 0 ? r.exitCode != 0 : r.exitCode == c.exitCode) << r.exitCode;
        EXPECT_EQ(r.err.rfind("psdkit: ", 0), 0u) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
        EXPECT_EQ(Entries(dir.Dir()), std::vector<std::string>{"in"}) << "a partial or temporary file was left";
        EXPECT_EQ(Entries(in), inputs) << "a temporary file was left";
        EXPECT_EQ(psdtest::ReadFile(keep), Bytes().str("precious").data);
    }
    EXPECT_EQ(psdtest::RunProgram({"test", "-c", "/dev/null"}).exitCode, 0);  // still the device
}

// With --force a file is replaced; the thumbnail command takes the JPEG block
// behind an old-style and a raw one, the icc command the whole profile.
TEST(Cli, ForceReplacesAndTheEmbeddedStreamsAreTaken) {
    psdtest::TempDir dir;
    const std::string out = dir.Write("out", Bytes().str("old"));
    const Bytes thumbnails =
        Thumbnail(1, 2, {5, 6}, 1033).raw(Thumbnail(0, 2, {7, 8})).raw(Thumbnail(1, 3, {'j', 'p', 'g'}));
    const std::string psd = dir.Write("in.psd", Psd(thumbnails));
    EXPECT_EQ(RunCli({"thumbnail", "--force", psd, out}).exitCode, 0);
    EXPECT_EQ(psdtest::ReadFile(out), (std::vector<char>{'j', 'p', 'g'}));

    ASSERT_EQ(RunCli({"demo", dir.Path("demo.psd")}).exitCode, 0);
    RunResult forced = RunCli({"icc", "--force", dir.Path("demo.psd"), out});
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    const std::vector<char> icc = psdtest::ReadFile(out);  // the whole sRGB profile
    ASSERT_EQ(icc.size(), 7264u);
    EXPECT_EQ(std::string(icc.begin() + 36, icc.begin() + 40), "acsp");
}

// check: one line a file, in order, of one of three shapes; exit 0 only when
// every file is intact.
TEST(CliCheck, OneLinePerFileAndTheExitCodeSaysWhetherAllAreIntact) {
    psdtest::TempDir dir;
    const std::string fifo = dir.Path("fifo"), corrupt = PSDKIT_SOURCE_DIR "/tests/data/corrupt/";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::vector<std::string> valid = {dir.Path("written.psd")}, mixed;
    ASSERT_EQ(RunCli({"demo", valid[0]}).exitCode, 0);
    for (const auto& facts : psdtest::CorpusFacts())
        if (facts.value("valid", false)) valid.push_back(psdtest::CorpusPath(facts["file"]));
    for (const std::string& name : Entries(corrupt))
        if (name.size() > 4 && name.compare(name.size() - 4, 4, ".psd") == 0) mixed.push_back(corrupt + name);
    const std::vector<std::string> foreign = {dir.Write("notes.txt", Bytes().str("x")), fifo, "/dev/zero", dir.Dir(),
                                              dir.Path("missing.psd")};
    mixed.insert(mixed.end(), foreign.begin(), foreign.end());
    for (const std::vector<std::string>* files : {&valid, &mixed}) {
        std::vector<std::string> args = {"check"};
        args.insert(args.end(), files->begin(), files->end());
        RunResult r = RunLimited("", args);
        EXPECT_EQ(r.exitCode, files == &valid ? 0 : 1);
        EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), static_cast<long>(files->size())) << r.out;
        std::istringstream lines(r.out);
        std::string line;
        for (std::size_t i = 0; i < files->size() && std::getline(lines, line); ++i) {
            ASSERT_EQ(line.rfind((*files)[i] + ": ", 0), 0u) << line;
            const bool isForeign = files == &mixed && i + foreign.size() >= files->size();
            const char* shape = files == &valid ? "ok"
                                : isForeign     ? "not a PSD file: .+"
                                                : "damaged: .+|not a PSD file: .+";
            EXPECT_TRUE(std::regex_match(line.substr((*files)[i].size() + 2), std::regex(shape))) << line;
        }
    }
    EXPECT_EQ(RunCli({"check"}).exitCode, 2);
}

// Each peer prints the samples it decodes, one line a file: psd-tools all
// channels of the first row at the file's depth, Pillow the colours.
const char* PEER_SCRIPT = R"(
import sys
args = sys.argv[1:]
for peer, path, depth in zip(args[0::3], args[1::3], args[2::3]):
    if peer == 'psd-tools':
        import numpy
        from psd_tools import PSDImage
        scale = 65535 if depth == '16' else 255
        values = numpy.rint(PSDImage.open(path).numpy()[0] * scale).astype(int).ravel()
    else:
        from PIL import Image
        values = list(Image.open(path).convert('RGB').tobytes())
    print(' '.join(str(v) for v in values))
)";

// Every kind of image, as PNG and (where the format holds it) PPM or PGM,
// written raw and RLE and exported as PAM, PPM or PGM and PNG: the same
// samples come back. The RLE files written from PNG are read by psd-tools,
// Pillow (8 bits, no gray with alpha) and ImageMagick, the exported PNG by
// ImageMagick, each where it is installed.
TEST(ExportWrite, RoundTripsKeepEverySampleAndPeersReadTheFiles) {
    const bool havePsdTools = psdtest::HavePythonModule("psd_tools"), havePillow = psdtest::HavePythonModule("PIL");
    const std::string convert = psdtest::HaveProgram("/usr/bin/convert") ? "/usr/bin/convert" : "";
    psdtest::TempDir dir;
    std::vector<std::string> script = {psdtest::PYTHON, "-c", PEER_SCRIPT};
    std::vector<std::pair<std::string, std::vector<unsigned>>> peers;  // in the script's order
    for (unsigned long channels = 1; channels <= 4; ++channels)
        for (unsigned long depth : {8, 16}) {
            const Image source = Pattern(37, 12, channels, depth);
            const std::string bits = std::to_string(depth), stem = std::to_string(channels) + "x" + bits;
            const std::string netpbm = channels == 3 ? ".ppm" : ".pgm";
            std::vector<std::string> inputs = {dir.Write(stem + ".png", Png(source))};
            if (channels % 2 == 1) inputs.push_back(dir.Write(stem + netpbm, Netpbm(source)));
            for (const std::string& input : inputs)
                for (const std::string compression : {"raw", "rle"}) {
                    const std::string psd = input + "." + compression + ".psd";
                    SCOPED_TRACE(psd);
                    RunResult r = RunCli({"write", psd, "--from", input, "--compression", compression});
                    ASSERT_EQ(r.exitCode, 0) << r.err;
                    const bool once = input == inputs[0] && compression == "rle";  // the peers are slow to start
                    std::vector<std::string> outputs = {psd + ".pam"};
                    if (channels % 2 == 1) outputs.push_back(psd + netpbm);
                    if (once && !convert.empty()) outputs.insert(outputs.end(), {psd + ".png", psd + "[0]"});
                    for (const std::string& out : outputs) {
                        const bool magick = out.back() == 'g' || out.back() == ']';  // read by ImageMagick
                        r = out.back() == ']' ? RunResult{0, "", ""} : RunCli({"export", psd, out});
                        ASSERT_EQ(r.exitCode, 0) << out << ": " << r.err;
                        const std::vector<char> bytes = psdtest::ReadFile(out);
                        ExpectSame(magick ? psdtest::RunProgram({convert, out, "-depth", bits, "pam:-"}).out
                                          : std::string(bytes.begin(), bytes.end()),
                                   source, out.back() == 'm');
                    }
                    if (!once) continue;
                    for (const std::string peer : {"psd-tools", "pillow"})
                        if (peer == "psd-tools" ? havePsdTools : havePillow && depth == 8 && channels != 2) {
                            // psd-tools mattes colours under alpha with white: the opaque first row is exact.
                            auto row = source.samples.begin() + source.width * channels;
                            peers.emplace_back(
                                psd + " " + peer,
                                peer == "pillow" ? Rgb(source) : std::vector<unsigned>(source.samples.begin(), row));
                            script.insert(script.end(), {peer, psd, bits});
                        }
                }
        }
    if (peers.empty()) return;
    RunResult r = psdtest::RunProgram(script);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::istringstream lines(r.out);
    for (const auto& [what, expected] : peers) {
        std::string line;
        ASSERT_TRUE(std::getline(lines, line)) << what;
        std::istringstream numbers(line);
        std::vector<unsigned> read;
        for (long v; numbers >> v;) read.push_back(static_cast<unsigned>(v));
        EXPECT_TRUE(read == expected) << what;
    }
}

}  // namespace
