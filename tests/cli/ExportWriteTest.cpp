// psdkit write --from an image and psdkit export: round trips through PSD, and
// the written files read by psd-tools, Pillow and ImageMagick as black boxes.

#include <zlib.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using psdtest::RunCli;

const char* PYTHON = "/usr/bin/python3";

// Samples interleaved, 8 or 16 bits, kept as numbers.
struct Image {
    unsigned long width = 0, height = 0;
    unsigned channels = 0, depth = 8;
    std::vector<unsigned> samples;
};

// The upper rows vary pixel to pixel (literal runs), the lower ones are flat
// (repeat runs), so RLE writes both kinds.
Image Pattern(unsigned long width, unsigned long height, unsigned channels, unsigned depth) {
    Image image{width, height, channels, depth, {}};
    uint32_t state = 12345 + channels * 7 + depth;
    const unsigned max = depth == 16 ? 65535 : 255;
    for (unsigned long y = 0; y < height; ++y)
        for (unsigned long x = 0; x < width; ++x)
            for (unsigned c = 0; c < channels; ++c) {
                state = state * 1103515245u + 12345u;
                unsigned noise = (state >> 8) % (max + 1);
                image.samples.push_back(y < height / 2 ? noise : ((x / 9 + c) % 3) * (max / 2));
            }
    return image;
}

void Put(std::vector<char>& out, unsigned value, unsigned depth) {
    if (depth == 16) out.push_back(static_cast<char>(value >> 8));
    out.push_back(static_cast<char>(value & 0xFF));
}

std::vector<char> Netpbm(const Image& image) {
    std::ostringstream header;
    header << (image.channels == 3 ? "P6" : "P5") << "\n"
           << image.width << " " << image.height << "\n"
           << (image.depth == 16 ? 65535 : 255) << "\n";
    std::string h = header.str();
    std::vector<char> out(h.begin(), h.end());
    for (unsigned v : image.samples) Put(out, v, image.depth);
    return out;
}

void Chunk(std::vector<char>& png, const char* type, const std::vector<char>& data) {
    std::vector<char> body(type, type + 4);
    body.insert(body.end(), data.begin(), data.end());
    for (int shift = 24; shift >= 0; shift -= 8) png.push_back(static_cast<char>(data.size() >> shift));
    png.insert(png.end(), body.begin(), body.end());
    uLong crc = crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
    for (int shift = 24; shift >= 0; shift -= 8) png.push_back(static_cast<char>(crc >> shift));
}

// A PNG built by hand (filter 0 on every row, one IDAT), not by libpng.
std::vector<char> Png(const Image& image) {
    static const char types[] = {0, 4, 2, 6};  // gray, gray+alpha, RGB, RGBA
    std::vector<char> png = {'\x89', 'P', 'N', 'G', '\r', '\n', '\x1a', '\n'};
    std::vector<char> ihdr;
    for (unsigned long v : {image.width, image.height})
        for (int shift = 24; shift >= 0; shift -= 8) ihdr.push_back(static_cast<char>(v >> shift));
    ihdr.insert(ihdr.end(), {static_cast<char>(image.depth), types[image.channels - 1], 0, 0, 0});
    Chunk(png, "IHDR", ihdr);
    std::vector<char> raw;
    std::size_t i = 0;
    for (unsigned long y = 0; y < image.height; ++y) {
        raw.push_back(0);
        for (unsigned long n = 0; n < image.width * image.channels; ++n) Put(raw, image.samples[i++], image.depth);
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

// Reads a PAM (P7) or binary PPM/PGM; channels 0 when it is neither.
Image ReadNetpbm(const std::vector<char>& bytes) {
    Image image;
    std::string text(bytes.begin(), bytes.end());
    std::size_t start;
    unsigned long maxval = 0;
    if (text.compare(0, 2, "P7") == 0) {
        std::size_t end = text.find("ENDHDR\n");
        if (end == std::string::npos) return image;
        std::istringstream header(text.substr(3, end - 3));
        for (std::string key; header >> key;) {
            if (key == "TUPLTYPE") {
                header >> key;
                continue;
            }
            unsigned long value;
            header >> value;
            if (key == "WIDTH") image.width = value;
            if (key == "HEIGHT") image.height = value;
            if (key == "DEPTH") image.channels = static_cast<unsigned>(value);
            if (key == "MAXVAL") maxval = value;
        }
        start = end + 7;
    } else if (text.compare(0, 2, "P6") == 0 || text.compare(0, 2, "P5") == 0) {
        std::istringstream header(text.substr(2, 64));
        header >> image.width >> image.height >> maxval;
        image.channels = text[1] == '6' ? 3 : 1;
        start = 2 + static_cast<std::size_t>(header.tellg()) + 1;
    } else {
        return image;
    }
    image.depth = maxval > 255 ? 16 : 8;
    const unsigned bytesPer = image.depth / 8;
    const std::size_t count = image.width * image.height * image.channels;
    if (start > bytes.size() || (bytes.size() - start) / bytesPer < count) {
        image.channels = 0;
        return image;
    }
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.data()) + start;
    for (std::size_t i = 0; i < count; ++i)
        image.samples.push_back(bytesPer == 2 ? (p[2 * i] << 8) | p[2 * i + 1] : p[i]);
    return image;
}

// The colour channels of `image`, gray spread to RGB when `rgb`.
std::vector<unsigned> Colours(const Image& image, bool rgb) {
    std::vector<unsigned> out;
    const unsigned colours = image.channels <= 2 ? 1 : 3;
    for (std::size_t p = 0; p < image.samples.size() / image.channels; ++p)
        for (unsigned c = 0; c < (rgb ? 3 : colours); ++c)
            out.push_back(image.samples[p * image.channels + (colours == 1 ? 0 : c)]);
    return out;
}

std::vector<unsigned> Alpha(const Image& image) {
    std::vector<unsigned> out;
    for (std::size_t i = image.channels - 1; i < image.samples.size(); i += image.channels)
        out.push_back(image.samples[i]);
    return out;
}

struct Kind {
    unsigned channels, depth;
    const char* name;
};
const Kind KINDS[] = {{1, 8, "gray8"},   {2, 8, "graya8"},   {3, 8, "rgb8"},   {4, 8, "rgba8"},
                      {1, 16, "gray16"}, {2, 16, "graya16"}, {3, 16, "rgb16"}, {4, 16, "rgba16"}};

// Every kind of source, as PNG and (where the format holds it) PPM or PGM,
// written raw and RLE and exported again as PAM, PNG and PPM or PGM: the same
// pixels come back. PNG output is read by ImageMagick where it is installed.
TEST(ExportWrite, RoundTripKeepsEverySample) {
    psdtest::TempDir dir;
    const bool haveConvert = psdtest::HaveProgram("/usr/bin/convert");
    for (const Kind& kind : KINDS) {
        Image source = Pattern(37, 12, kind.channels, kind.depth);
        std::vector<std::string> inputs = {dir.Write(std::string(kind.name) + ".png", Png(source))};
        if (kind.channels % 2 == 1)
            inputs.push_back(
                dir.Write(std::string(kind.name) + (kind.channels == 3 ? ".ppm" : ".pgm"), Netpbm(source)));
        for (const std::string& input : inputs)
            for (const char* compression : {"raw", "rle"}) {
                SCOPED_TRACE(input + " " + compression);
                std::string psd = input + "." + compression + ".psd";
                psdtest::RunResult w = RunCli({"write", psd, "--from", input, "--compression", compression});
                ASSERT_EQ(w.exitCode, 0) << w.err;
                std::vector<std::string> outputs = {psd + ".pam"};
                // PNG output once a kind: ImageMagick is slow to start.
                if (std::string(compression) == "rle" && input == inputs[0]) outputs.push_back(psd + ".png");
                if (kind.channels % 2 == 1) outputs.push_back(psd + (kind.channels == 3 ? ".ppm" : ".pgm"));
                for (const std::string& out : outputs) {
                    SCOPED_TRACE(out);
                    psdtest::RunResult e = RunCli({"export", psd, out});
                    ASSERT_EQ(e.exitCode, 0) << e.err;
                    Image back;
                    if (out.substr(out.size() - 4) == ".png") {
                        if (!haveConvert) continue;
                        psdtest::RunResult c = psdtest::RunProgram(
                            {"/usr/bin/convert", out, "-depth", std::to_string(kind.depth), "pam:-"});
                        ASSERT_EQ(c.exitCode, 0) << c.err;
                        back = ReadNetpbm(std::vector<char>(c.out.begin(), c.out.end()));
                    } else {
                        back = ReadNetpbm(psdtest::ReadFile(out));
                    }
                    EXPECT_EQ(back.width, source.width);
                    EXPECT_EQ(back.height, source.height);
                    EXPECT_EQ(back.depth, source.depth);
                    // PPM and PGM hold no alpha; ImageMagick shows gray as RGB.
                    const char* ext = out.c_str() + out.size() - 4;
                    if (std::string(ext) == ".pam") {
                        EXPECT_EQ(back.channels, kind.channels);
                    } else if (std::string(ext) == ".png") {
                        EXPECT_EQ(back.channels % 2, kind.channels % 2);
                    }
                    EXPECT_TRUE(Colours(back, true) == Colours(source, true));
                    if (back.channels % 2 == 0) {
                        EXPECT_TRUE(Alpha(back) == Alpha(source));
                    }
                }
            }
    }
}

// Each peer prints the samples it decodes, one line a file, as integers at
// the file's depth: psd-tools all channels; Pillow (8-bit only) and
// ImageMagick the colours.
const char* PEER_SCRIPT = R"(
import sys
args = sys.argv[1:]
for peer, path, depth in zip(args[0::3], args[1::3], args[2::3]):
    if peer == 'psd-tools':
        import numpy
        from psd_tools import PSDImage
        scale = 65535 if depth == '16' else 255
        values = numpy.rint(PSDImage.open(path).numpy() * scale).astype(int).ravel()
    else:
        from PIL import Image
        im = Image.open(path)
        im.load()
        values = list(im.convert('RGB').tobytes())
    print(' '.join(str(v) for v in values))
)";

std::vector<unsigned> Numbers(const std::string& text) {
    std::istringstream in(text);
    std::vector<unsigned> out;
    for (long v; in >> v;) out.push_back(static_cast<unsigned>(v));
    return out;
}

// psd-tools takes the colours of a document with transparency as matted
// with white and removes the matte; where alpha is full that changes nothing.
std::vector<unsigned> OpaqueSamples(const Image& image) {
    std::vector<unsigned> out;
    const unsigned full = image.depth == 16 ? 65535 : 255;
    for (std::size_t p = 0; p < image.samples.size(); p += image.channels)
        if (image.channels % 2 == 1 || image.samples[p + image.channels - 1] == full)
            out.insert(out.end(), image.samples.begin() + p, image.samples.begin() + p + image.channels);
    return out;
}

TEST(ExportWrite, PeersReadWrittenRleFiles) {
    const bool havePython = psdtest::HaveProgram(PYTHON);
    const bool havePsdTools = havePython && psdtest::RunProgram({PYTHON, "-c", "import psd_tools"}).exitCode == 0;
    const bool havePillow = havePython && psdtest::RunProgram({PYTHON, "-c", "import PIL"}).exitCode == 0;
    const bool haveConvert = psdtest::HaveProgram("/usr/bin/convert");
    if (!havePsdTools && !havePillow && !haveConvert)
        GTEST_SKIP() << "no peer found: psd-tools and Pillow for /usr/bin/python3 (python3-psd-tools, python3-pil), "
                        "ImageMagick (imagemagick)";
    psdtest::TempDir dir;
    struct Check {
        std::string peer;
        const Kind* kind;
        Image source;
    };
    std::vector<Check> checks;
    std::vector<std::string> script = {PYTHON, "-c", PEER_SCRIPT};
    for (const Kind& kind : KINDS) {
        SCOPED_TRACE(kind.name);
        Image source = Pattern(40, 10, kind.channels, kind.depth);
        // A fully opaque row for psd-tools' matte.
        if (kind.channels % 2 == 0)
            for (std::size_t i = kind.channels - 1; i < 40 * kind.channels; i += kind.channels)
                source.samples[i] = kind.depth == 16 ? 65535 : 255;
        std::string psd = dir.Path(std::string(kind.name) + ".psd");
        ASSERT_EQ(RunCli({"write", psd, "--from", dir.Write(std::string(kind.name) + ".png", Png(source)),
                          "--compression", "rle"})
                      .exitCode,
                  0);
        // Pillow reads 8-bit files only, and takes a second gray channel for
        // more rows of the first.
        const bool pillowReads = kind.depth == 8 && kind.channels != 2;
        for (const char* peer : {"psd-tools", "pillow"}) {
            if (std::string(peer) == "psd-tools" ? !havePsdTools : !(havePillow && pillowReads)) continue;
            checks.push_back({peer, &kind, source});
            script.insert(script.end(), {peer, psd, std::to_string(kind.depth)});
        }
        if (haveConvert) {
            psdtest::RunResult r =
                psdtest::RunProgram({"/usr/bin/convert", psd + "[0]", "-depth", std::to_string(kind.depth), "pam:-"});
            ASSERT_EQ(r.exitCode, 0) << r.err;
            Image read = ReadNetpbm(std::vector<char>(r.out.begin(), r.out.end()));
            ASSERT_NE(read.channels, 0u);
            EXPECT_TRUE(Colours(read, true) == Colours(source, true)) << "ImageMagick";
        }
    }
    if (checks.empty()) return;
    psdtest::RunResult r = psdtest::RunProgram(script);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::istringstream lines(r.out);
    for (const Check& check : checks) {
        SCOPED_TRACE(check.peer + " " + check.kind->name);
        std::string line;
        ASSERT_TRUE(std::getline(lines, line));
        Image read = check.source;
        read.samples = Numbers(line);
        if (check.peer == "pillow")
            EXPECT_TRUE(read.samples == Colours(check.source, true));
        else
            EXPECT_TRUE(OpaqueSamples(read) == OpaqueSamples(check.source) &&
                        read.samples.size() == check.source.samples.size());
    }
}

// Corpus documents of each plain colour mode export as psd-tools shows
// them: gray ones as PGM, the rest as PPM. (CMYK with a profile and Lab go
// through Little CMS and are checked with the converter.)
TEST(ExportWrite, CorpusModesMatchPsdTools) {
    PSDTEST_REQUIRE_CORPUS();
    if (!psdtest::HaveProgram(PYTHON) || psdtest::RunProgram({PYTHON, "-c", "import psd_tools"}).exitCode != 0)
        GTEST_SKIP() << "psd-tools not found for /usr/bin/python3 (python3-psd-tools)";
    const struct {
        const char* file;
        bool gray;
    } files[] = {{"ps-rgb8-flat.psd", false},   {"ps-rgb16-lr16.psd", false},     {"ps-gray8-layers-mask.psd", true},
                 {"ps-bitmap1-flat.psd", true}, {"ps-duotone8-layers.psd", true}, {"ps-indexed8-flat.psd", false},
                 {"im-indexed8.psd", false},    {"im-flat-cmyk16.psd", false}};
    psdtest::TempDir dir;
    std::vector<std::string> script = {PYTHON, "-c", R"(
import sys
from psd_tools import PSDImage
for path in sys.argv[1:]:
    im = PSDImage.open(path).topil()
    print(' '.join(str(v) for v in im.convert('L' if im.mode in ('1', 'L') else 'RGB').tobytes()))
)"};
    for (const auto& f : files) script.push_back(psdtest::CorpusPath(f.file));
    psdtest::RunResult peer = psdtest::RunProgram(script);
    ASSERT_EQ(peer.exitCode, 0) << peer.err;
    std::istringstream lines(peer.out);
    for (const auto& f : files) {
        SCOPED_TRACE(f.file);
        std::string out = dir.Path(std::string(f.file) + (f.gray ? ".pgm" : ".ppm"));
        psdtest::RunResult r = RunCli({"export", psdtest::CorpusPath(f.file), out});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        std::string line;
        ASSERT_TRUE(std::getline(lines, line));
        // 16-bit documents export at 16 bits; psd-tools shows their high bytes.
        Image exported = ReadNetpbm(psdtest::ReadFile(out));
        if (exported.depth == 16)
            for (unsigned& v : exported.samples) v >>= 8;
        EXPECT_TRUE(exported.samples == Numbers(line));
    }
}

// Every refusal is one line on stderr, a non-zero exit, and no output left
// behind or replaced.
TEST(ExportWrite, RefusalsLeaveNothingBehind) {
    psdtest::TempDir dir;
    Image rgb = Pattern(4, 3, 3, 8);
    const std::string png = dir.Write("rgb.png", Png(rgb));
    const std::string psd = dir.Path("rgb.psd");
    ASSERT_EQ(RunCli({"write", psd, "--from", png}).exitCode, 0);
    const std::string existing = dir.Write("keep.png", std::vector<char>{'k', 'e', 'e', 'p'});
    const std::string out = dir.Path("out.png");
    std::vector<char> truncated = Png(rgb);
    truncated.resize(truncated.size() - 30);
    std::vector<char> hugePng = Png(Pattern(1, 1, 1, 8));
    hugePng[16] = 0x7f;  // width 2^31: more than the file can hold (and a bad CRC)
    const std::vector<std::vector<std::string>> refused = {
        {"export", psd, dir.Path("out.jpg")},
        {"export", psd, existing},
        {"export", dir.Path("missing.psd"), out},
        {"export", png, out},                  // not a PSD file
        {"export", psd, dir.Path("out.pgm")},  // an RGB document is no PGM
        {"export", psd, out, "--depth", "12"},
        {"export", psd},
        {"export", psd, "/dev/null", "--force"},
        {"write", dir.Path("t.psd"), "--from", dir.Write("t.png", truncated)},
        {"write", dir.Path("h.psd"), "--from", dir.Write("h.png", hugePng)},
        {"write", dir.Path("c.psd"), "--from", png, "--compression", "zip"},
    };
    for (const auto& args : refused) {
        SCOPED_TRACE(args[1] + " " + args[2]);
        psdtest::RunResult r = RunCli(args);
        EXPECT_NE(r.exitCode, 0);
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
        EXPECT_FALSE(psdtest::FileExists(out));
        EXPECT_FALSE(psdtest::FileExists(dir.Path("t.psd")));
        EXPECT_FALSE(psdtest::FileExists(dir.Path("h.psd")));
        EXPECT_EQ(psdtest::ReadFile(existing), (std::vector<char>{'k', 'e', 'e', 'p'}));
    }
    // Nothing but the inputs and the one written document is left in the folder.
    psdtest::RunResult listing = psdtest::RunProgram({"/bin/ls", "-A", dir.Dir()});
    EXPECT_EQ(listing.out, "h.png\nkeep.png\nrgb.png\nrgb.psd\nt.png\n");
    ASSERT_EQ(RunCli({"export", psd, existing, "--force"}).exitCode, 0);
}

}  // namespace
