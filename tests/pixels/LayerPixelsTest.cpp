// Layer channels and whole layers decoded from the file on request: the
// corpus against an independent reader's hashes, and files built here whose
// bytes are known, whole or broken.

#include <zlib.h>

#include <cstring>
#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using nlohmann::json;
using psdkit::PhotoshopFile;
using psdkit::PSDPixels;
using psdtest::Bytes;

namespace {

// A channel as written: its ID and its bytes, compression code first.
struct Channel {
    int Id;
    std::vector<char> Data;
};

struct Layer {
    long Top, Left, Bottom, Right;
    std::vector<Channel> Channels;
    Bytes Mask;  // the mask block, empty for none
    std::string Name = "L";
};

std::vector<char> Code(unsigned compression, const std::vector<char>& body) {
    return Bytes().u16(compression).raw(body).data;
}

std::vector<char> Raw(const std::vector<unsigned char>& samples) {
    return Code(0, std::vector<char>(samples.begin(), samples.end()));
}

// RLE: the row byte counts, then the rows.
std::vector<char> Rle(const std::vector<std::vector<unsigned char>>& rows) {
    Bytes b;
    for (const auto& row : rows) b.u16(static_cast<unsigned>(row.size()));
    for (const auto& row : rows) b.raw(std::vector<char>(row.begin(), row.end()));
    return Code(1, b.data);
}

std::vector<char> Zip(unsigned compression, const std::vector<unsigned char>& bytes) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::vector<char> out(size);
    compress2(reinterpret_cast<Bytef*>(out.data()), &size, bytes.data(), static_cast<uLong>(bytes.size()), 9);
    out.resize(size);
    return Code(compression, out);
}

// A 20-byte mask block: rectangle, default colour, flags, padding.
Bytes MaskBlock(long top, long left, long bottom, long right, unsigned defaultColor, unsigned flags) {
    return Bytes()
        .u32(static_cast<unsigned long>(top) & 0xFFFFFFFF)
        .u32(static_cast<unsigned long>(left) & 0xFFFFFFFF)
        .u32(static_cast<unsigned long>(bottom) & 0xFFFFFFFF)
        .u32(static_cast<unsigned long>(right) & 0xFFFFFFFF)
        .u8(defaultColor)
        .u8(flags)
        .zeros(2);
}

// A whole file: header, empty colour mode data and resources, the layers,
// and a raw composite of zeros.
Bytes LayeredFile(const std::vector<Layer>& layers, unsigned depth = 8, unsigned mode = 3, unsigned channels = 3,
                  unsigned long rows = 4, unsigned long columns = 4) {
    Bytes info;
    info.u16(static_cast<unsigned>(layers.size()));
    for (const Layer& layer : layers) {
        info.u32(static_cast<unsigned long>(layer.Top) & 0xFFFFFFFF)
            .u32(static_cast<unsigned long>(layer.Left) & 0xFFFFFFFF)
            .u32(static_cast<unsigned long>(layer.Bottom) & 0xFFFFFFFF)
            .u32(static_cast<unsigned long>(layer.Right) & 0xFFFFFFFF)
            .u16(static_cast<unsigned>(layer.Channels.size()));
        for (const Channel& c : layer.Channels) info.u16(static_cast<unsigned>(c.Id) & 0xFFFF).u32(c.Data.size());
        Bytes name =
            Bytes().u8(static_cast<unsigned>(layer.Name.size())).str(layer.Name).zeros(3 - layer.Name.size() % 4);
        Bytes extra = Bytes().u32(layer.Mask.size()).raw(layer.Mask).u32(0).raw(name);
        info.str("8BIM").str("norm").u8(255).u8(0).u8(0).u8(0).u32(extra.size()).raw(extra);
    }
    for (const Layer& layer : layers)
        for (const Channel& c : layer.Channels) info.raw(c.Data);
    if (info.size() % 2) info.u8(0);
    Bytes section = Bytes().u32(info.size()).raw(info).u32(0);
    return psdtest::PsdHeader(channels, rows, columns, depth, mode)
        .u32(0)
        .u32(0)
        .u32(section.size())
        .raw(section)
        .u16(0)
        .zeros(rows * columns * channels * depth / 8);
}

std::vector<unsigned char> Plane(const PSDPixels& pixels, unsigned short i = 0) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(pixels.GetPlane(i));
    return p == nullptr ? std::vector<unsigned char>() : std::vector<unsigned char>(p, p + pixels.GetPlaneLength());
}

std::string Problems(const PSDPixels& pixels) {
    std::string all;
    for (unsigned long i = 0; i < pixels.GetNumProblems(); ++i) all += std::string(pixels.GetProblem(i)) + "\n";
    return all;
}

const json& PixelFacts() {
    static json facts = [] {
        std::vector<char> text = psdtest::ReadFile(psdtest::CorpusDir() + "/pixels.json");
        return text.empty() ? json::array() : json::parse(text.begin(), text.end());
    }();
    return facts;
}

// Every layer channel the independent reader decoded comes out with the same
// size and bytes; 'Lr16' files through the tagged records.
TEST(LayerPixels, CorpusChannelsMatchIndependentReader) {
    PSDTEST_REQUIRE_CORPUS();
    ASSERT_FALSE(PixelFacts().empty()) << "pixels.json missing";
    int compared = 0;
    for (const json& file : PixelFacts()) {
        if (!file.contains("layers") || file.contains("error") ||
            file["file"].get<std::string>().find(".psb") != std::string::npos)
            continue;
        SCOPED_TRACE(file["file"].get<std::string>());
        PhotoshopFile doc;
        ASSERT_TRUE(doc.OpenReadFile(psdtest::CorpusPath(file["file"]).c_str()));
        bool tagged = file["layer_source"] != "layer_info";
        for (const json& layer : file["layers"]) {
            unsigned short index = layer["index"];
            for (std::size_t c = 0; c < layer["channels"].size(); ++c) {
                const json& channel = layer["channels"][c];
                if (channel.contains("error")) continue;
                SCOPED_TRACE("layer " + std::to_string(index) + " channel " + std::to_string(c));
                PSDPixels pixels;
                unsigned short at = static_cast<unsigned short>(c);
                bool ok = tagged ? pixels.DecodeTaggedLayerChannel(doc, index, at)
                                 : pixels.DecodeLayerChannel(doc, index, at);
                EXPECT_TRUE(ok) << Problems(pixels);
                EXPECT_EQ(pixels.GetWidth(), channel["width"].get<unsigned long>());
                EXPECT_EQ(pixels.GetHeight(), channel["height"].get<unsigned long>());
                EXPECT_EQ(pixels.GetPlaneLength(), channel["length"].get<unsigned long>());
                std::vector<unsigned char> plane = Plane(pixels);
                EXPECT_EQ(psdtest::Sha256Hex(reinterpret_cast<const char*>(plane.data()), plane.size()),
                          channel["sha256"].get<std::string>());
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 150);
}

// A whole corpus layer: colour planes in mode order and the transparency
// plane, each the channel with that ID.
TEST(LayerPixels, CorpusLayerPlanesInModeOrder) {
    PSDTEST_REQUIRE_CORPUS();
    PhotoshopFile doc;
    ASSERT_TRUE(doc.OpenReadFile(psdtest::CorpusPath("agpsd-masks.psd").c_str()));
    PSDPixels layer;
    ASSERT_TRUE(layer.DecodeLayer(doc, 1)) << Problems(layer);
    ASSERT_EQ(layer.GetNumPlanes(), 4);
    EXPECT_EQ(layer.GetAlphaPlane(), 3);
    EXPECT_EQ(layer.GetWidth(), 24u);
    // The record lists -1, 0, 1, 2, -2.
    const int ids[] = {1, 2, 3, 0};
    for (unsigned short p = 0; p < 4; ++p) {
        PSDPixels channel;
        ASSERT_TRUE(channel.DecodeLayerChannel(doc, 1, static_cast<unsigned short>(ids[p])));
        EXPECT_EQ(Plane(layer, p), Plane(channel)) << "plane " << p;
    }
}

// Each compression on a 4 x 2 layer whose samples are known.
TEST(LayerPixels, EveryCompressionDecodes) {
    const std::vector<unsigned char> samples = {0x11, 0x11, 0x11, 0x11, 1, 2, 3, 4};
    // Row deltas of the same samples, as prediction stores them.
    const std::vector<unsigned char> deltas = {0x11, 0, 0, 0, 1, 1, 1, 1};
    struct Case {
        const char* name;
        std::vector<char> data;
    } cases[] = {
        {"raw", Raw(samples)},
        // 0xFD: the next byte 4 times; 0x03: 4 literal bytes.
        {"rle", Rle({{0xFD, 0x11}, {0x03, 1, 2, 3, 4}})},
        {"zip", Zip(2, samples)},
        {"zip with prediction", Zip(3, deltas)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        psdtest::TempDir dir;
        std::string path = dir.Write("f.psd", LayeredFile({{0, 0, 2, 4, {{0, c.data}}, {}}}, 8, 1, 1));
        PhotoshopFile doc;
        ASSERT_TRUE(doc.OpenReadFile(path.c_str()));
        PSDPixels pixels;
        EXPECT_TRUE(pixels.DecodeLayerChannel(doc, 0, 0)) << Problems(pixels);
        EXPECT_EQ(Plane(pixels), samples);
    }
}

// Prediction at 16 and 32 bits: 16-bit deltas per sample; 32-bit deltas over
// the row's bytes, which hold the first bytes of all samples, then the second.
TEST(LayerPixels, PredictionAtDeepDepths) {
    // 16 bits, one row: 0x0102, 0x0203, 0xFFFF (wraps: delta 0xFDFC).
    const std::vector<unsigned char> sixteen = {0x01, 0x02, 0x02, 0x03, 0xFF, 0xFF};
    const std::vector<unsigned char> sixteenDeltas = {0x01, 0x02, 0x01, 0x01, 0xFD, 0xFC};
    // 32 bits, one row of 1.0f (3F800000), 0.5f (3F000000): bytes by plane
    // 3F 3F | 80 00 | 00 00 | 00 00, then byte deltas.
    const std::vector<unsigned char> floats = {0x3F, 0x80, 0, 0, 0x3F, 0x00, 0, 0};
    const std::vector<unsigned char> floatDeltas = {0x3F, 0x00, 0x41, 0x80, 0, 0, 0, 0};
    struct Case {
        unsigned depth;
        unsigned long width;
        std::vector<unsigned char> deltas, expected;
    } cases[] = {{16, 3, sixteenDeltas, sixteen}, {32, 2, floatDeltas, floats}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.depth);
        psdtest::TempDir dir;
        std::string path = dir.Write(
            "f.psd",
            LayeredFile({{0, 0, 1, static_cast<long>(c.width), {{0, Zip(3, c.deltas)}}, {}}}, c.depth, 1, 1, 1, 3));
        PhotoshopFile doc;
        ASSERT_TRUE(doc.OpenReadFile(path.c_str()));
        PSDPixels pixels;
        EXPECT_TRUE(pixels.DecodeLayerChannel(doc, 0, 0)) << Problems(pixels);
        EXPECT_EQ(pixels.GetDepth(), c.depth);
        EXPECT_EQ(Plane(pixels), c.expected);
    }
}

// Damaged layers: the call says false, nothing beyond the ceiling or the
// file's backing is allocated, and what can be decoded is there.
TEST(LayerPixels, DamagedChannelsAreContained) {
    const std::vector<char> good = Raw({9, 9, 9, 9});  // a 2 x 2 raw plane
    struct Case {
        const char* name;
        Layer layer;
        unsigned short channel;
        bool ok;
        std::vector<unsigned char> plane;  // expected, empty for none
    } cases[] = {
        {"raw data shorter than the rectangle", {0, 0, 2, 2, {{0, Raw({1, 2, 3})}}, {}}, 0, false, {1, 2, 3, 0}},
        {"raw data longer than the rectangle", {0, 0, 2, 2, {{0, Raw({1, 2, 3, 4, 5, 6})}}, {}}, 0, true, {1, 2, 3, 4}},
        {"top below bottom", {2, 0, 0, 2, {{0, good}}, {}}, 0, false, {}},
        {"left right of right", {0, 2, 2, 0, {{0, good}}, {}}, 0, false, {}},
        {"2^31 pixels from 4 bytes", {0, 0, 0x8000, 0x10000, {{0, good}}, {}}, 0, false, {}},
        {"2^32 rows", {-0x7FFFFFFF - 1, 0, 0x7FFFFFFF, 1, {{0, good}}, {}}, 0, false, {}},
        // The table claims 2 rows but the channel holds 1 byte of it; the next
        // channel's bytes follow and stay that channel's.
        {"RLE table runs into the next channel",
         {0, 0, 2, 2, {{0, Code(1, {0})}, {1, good}}, {}},
         0,
         false,
         {0, 0, 0, 0}},
        {"RLE rows run into the next channel",
         {0, 0, 2, 2, {{0, Code(1, {0, 3, 0, 40, 0x01, 7, 7})}, {1, good}}, {}},
         0,
         false,
         {7, 7, 0, 0}},
        {"the channel after a broken RLE table",
         {0, 0, 2, 2, {{0, Code(1, {0})}, {1, good}}, {}},
         1,
         true,
         {9, 9, 9, 9}},
        {"unknown compression", {0, 0, 2, 2, {{0, Code(7, {1, 2, 3, 4})}}, {}}, 0, false, {0, 0, 0, 0}},
        {"bad deflate data", {0, 0, 2, 2, {{0, Code(2, {1, 2, 3, 4})}}, {}}, 0, false, {0, 0, 0, 0}},
        {"empty mask rectangle",
         {0, 0, 2, 2, {{0, good}, {-2, Code(0, {})}}, MaskBlock(1, 1, 1, 1, 0, 0)},
         1,
         true,
         {}},
        {"inverted mask rectangle", {0, 0, 2, 2, {{0, good}, {-2, good}}, MaskBlock(3, 0, 1, 2, 0, 0)}, 1, false, {}},
        {"mask over its own rectangle",
         {0, 0, 2, 2, {{0, good}, {-2, Raw({5, 6})}}, MaskBlock(5, 5, 6, 7, 0, 0)},
         1,
         true,
         {5, 6}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        psdtest::TempDir dir;
        std::string path = dir.Write("f.psd", LayeredFile({c.layer}, 8, 1, 1));
        PhotoshopFile doc;
        ASSERT_TRUE(doc.OpenReadFile(path.c_str()));
        PSDPixels pixels;
        pixels.SetMaxBytes(1UL << 30);
        EXPECT_EQ(pixels.DecodeLayerChannel(doc, 0, c.channel), c.ok) << Problems(pixels);
        EXPECT_EQ(Plane(pixels), c.plane);
        EXPECT_EQ(c.ok, pixels.GetNumProblems() == 0) << Problems(pixels);
        // The whole layer is as contained as its channels.
        PSDPixels whole;
        whole.DecodeLayer(doc, 0, true);
        EXPECT_LE(static_cast<unsigned long>(whole.GetNumPlanes()) * whole.GetPlaneLength(), 1UL << 20);
    }
}

// The data offset of a channel lies past the end of a file cut short after
// it was read; no channel index or layer past the records decodes.
TEST(LayerPixels, OffsetsAndIndexesOutsideTheFile) {
    psdtest::TempDir dir;
    Bytes file = LayeredFile({{0, 0, 2, 2, {{0, Raw({1, 2, 3, 4})}, {1, Raw({5, 6, 7, 8})}}, {}}}, 8, 1, 1);
    std::string path = dir.Write("f.psd", file);
    PhotoshopFile doc;
    ASSERT_TRUE(doc.OpenReadFile(path.c_str()));
    unsigned long second = doc.GetLayers()->GetLayerRecordChannelDataOffset(1, 0);
    ASSERT_GT(second, 0u);
    ASSERT_EQ(
        std::string(file.data.begin() + static_cast<long>(second), file.data.begin() + static_cast<long>(second) + 6),
        std::string("\0\0\5\6\7\10", 6));
    PSDPixels pixels;
    EXPECT_FALSE(pixels.DecodeLayerChannel(doc, 0, 2));
    EXPECT_FALSE(pixels.DecodeLayerChannel(doc, 1, 0));
    EXPECT_FALSE(pixels.DecodeTaggedLayerChannel(doc, 0, 0));

    // Cut inside the first channel, then before the second one.
    struct Cut {
        unsigned long at;
        unsigned short channel;
        std::vector<unsigned char> plane;
        bool layerOk;  // the gray layer needs channel 0 only
    } cuts[] = {{second - 2, 0, {1, 2, 0, 0}, false}, {second, 1, {}, true}, {second - 4, 1, {}, false}};
    for (const Cut& cut : cuts) {
        SCOPED_TRACE(cut.at);
        dir.Write("f.psd", std::vector<char>(file.data.begin(), file.data.begin() + static_cast<long>(cut.at)));
        EXPECT_FALSE(pixels.DecodeLayerChannel(doc, 0, cut.channel));
        EXPECT_EQ(Plane(pixels), cut.plane);
        EXPECT_EQ(pixels.DecodeLayer(doc, 0), cut.layerOk) << Problems(pixels);
    }
}

// A whole layer: missing transparency is opaque, and the user mask is
// multiplied in over its rectangle with its default colour outside, unless
// disabled or not asked for.
TEST(LayerPixels, UserMaskMultipliesIntoTransparency) {
    // 2 x 2 gray layer at (1, 1); the mask covers its left column with 0 and 128.
    Layer layer{1, 1, 3, 3, {{0, Raw({10, 20, 30, 40})}, {-1, Raw({255, 255, 255, 100})}, {-2, Raw({0, 128})}}, {}};
    struct Case {
        const char* name;
        Bytes mask;
        bool apply;
        std::vector<unsigned char> alpha;
    } cases[] = {
        {"not asked for", MaskBlock(1, 1, 3, 2, 255, 0), false, {255, 255, 255, 100}},
        {"default white", MaskBlock(1, 1, 3, 2, 255, 0), true, {0, 255, 128, 100}},
        {"default black", MaskBlock(1, 1, 3, 2, 0, 0), true, {0, 0, 128, 0}},
        {"disabled", MaskBlock(1, 1, 3, 2, 0, 0x02), true, {255, 255, 255, 100}},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.name);
        layer.Mask = c.mask;
        psdtest::TempDir dir;
        std::string path = dir.Write("f.psd", LayeredFile({layer}, 8, 1, 1));
        PhotoshopFile doc;
        ASSERT_TRUE(doc.OpenReadFile(path.c_str()));
        PSDPixels pixels;
        EXPECT_TRUE(pixels.DecodeLayer(doc, 0, c.apply)) << Problems(pixels);
        ASSERT_EQ(pixels.GetNumPlanes(), 2);
        EXPECT_EQ(pixels.GetAlphaPlane(), 1);
        EXPECT_EQ(Plane(pixels, 0), std::vector<unsigned char>({10, 20, 30, 40}));
        EXPECT_EQ(Plane(pixels, 1), c.alpha);
    }

    // No transparency channel: opaque, then masked.
    psdtest::TempDir dir;
    Layer opaque{0, 0, 1, 2, {{0, Raw({1, 2})}, {-2, Raw({64})}}, MaskBlock(0, 1, 1, 2, 0, 0)};
    std::string path = dir.Write("f.psd", LayeredFile({opaque}, 8, 1, 1));
    PhotoshopFile doc;
    ASSERT_TRUE(doc.OpenReadFile(path.c_str()));
    PSDPixels pixels;
    EXPECT_TRUE(pixels.DecodeLayer(doc, 0, false));
    EXPECT_EQ(pixels.GetNumPlanes(), 1);
    EXPECT_EQ(pixels.GetAlphaPlane(), -1);
    EXPECT_TRUE(pixels.DecodeLayer(doc, 0, true));
    EXPECT_EQ(Plane(pixels, 1), std::vector<unsigned char>({0, 64}));
}

}  // namespace

namespace {

// The pixels of an image file as 8-bit RGBA, read by ImageMagick.
std::string RgbaOf(const std::string& path) {
    psdtest::RunResult r = psdtest::RunProgram({"convert", path, "-depth", "8", "rgba:-"});
    return r.exitCode == 0 ? r.out : "(unreadable: " + r.err + ")";
}

// Layers written by ImageMagick from PNGs come out of `export --layers` as
// PNGs with the same pixels, at the offsets they were given, with a manifest.
TEST(LayerExport, ImageMagickLayersComeBackAsGiven) {
    if (!psdtest::HaveProgram("convert")) GTEST_SKIP() << "ImageMagick's convert not found";
    psdtest::TempDir dir;
    struct Source {
        std::vector<std::string> make;
        long left, top;
    } sources[] = {
        {{"-size", "7x5", "gradient:red-blue"}, 1, 2},
        {{"-size", "4x3", "xc:rgba(0,255,0,0.5)"}, 5, 4},
        {{"-size", "6x4", "pattern:checkerboard"}, 0, 0},
    };
    std::vector<std::string> command = {"convert", "-size", "10x8",  "xc:rgb(10,20,30)",
                                        "-depth",  "8",     "-type", "TrueColor"};
    for (std::size_t i = 0; i < 3; ++i) {
        std::vector<std::string> make = {"convert"};
        make.insert(make.end(), sources[i].make.begin(), sources[i].make.end());
        std::string png = dir.Path("in" + std::to_string(i) + ".png");
        // True colour: ImageMagick writes palette and gray PNGs as one-channel
        // layers of an RGB file, which its own reader then refuses.
        make.insert(make.end(), {"-depth", "8", (i == 1 ? "PNG32:" : "PNG24:") + png});
        ASSERT_EQ(psdtest::RunProgram(make).exitCode, 0);
        command.insert(
            command.end(),
            {"(", png, "-repage", "+" + std::to_string(sources[i].left) + "+" + std::to_string(sources[i].top), ")"});
    }
    command.insert(command.end(), {"-depth", "8", "-compress"});
    std::vector<std::string> given;
    for (std::size_t i = 0; i < 3; ++i) given.push_back(RgbaOf(dir.Path("in" + std::to_string(i) + ".png")));

    // Raw channels are left to the tests above: ImageMagick is slow to start.
    for (const char* compression : {"Zip", "RLE"}) {
        SCOPED_TRACE(compression);
        std::string psd = dir.Path(std::string("layers-") + compression + ".psd");
        std::string out = dir.Path(std::string("out-") + compression);
        std::vector<std::string> make = command;
        make.insert(make.end(), {compression, psd});
        ASSERT_EQ(psdtest::RunProgram(make).exitCode, 0);

        psdtest::RunResult run = psdtest::RunCli({"export", psd, "--layers", out});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        std::vector<char> text = psdtest::ReadFile(out + "/layers.json");
        json manifest = json::parse(text.begin(), text.end());
        ASSERT_EQ(manifest["layers"].size(), 3u);
        for (std::size_t i = 0; i < 3; ++i) {
            const json& layer = manifest["layers"][i];
            EXPECT_EQ(layer["index"], i);
            EXPECT_EQ(layer["left"], sources[i].left);
            EXPECT_EQ(layer["top"], sources[i].top);
            EXPECT_EQ(layer["visible"], true);
            EXPECT_EQ(layer["opacity"], 255);
            ASSERT_TRUE(layer["png"].is_string());
            EXPECT_EQ(RgbaOf(out + "/" + layer["png"].get<std::string>()), given[i]) << "layer " << i;
        }
        if (std::string(compression) != "RLE") continue;

        // A second run refuses to replace, --force replaces, --layer picks one.
        EXPECT_EQ(psdtest::RunCli({"export", psd, "--layers", out}).exitCode, 1);
        EXPECT_EQ(psdtest::RunCli({"export", psd, "--layers", out, "--force"}).exitCode, 0);
        std::string single = out + "-one";
        ASSERT_EQ(psdtest::RunCli({"export", psd, "--layers", single, "--layer", "1"}).exitCode, 0);
        text = psdtest::ReadFile(single + "/layers.json");
        manifest = json::parse(text.begin(), text.end());
        ASSERT_EQ(manifest["layers"].size(), 1u);
        EXPECT_EQ(manifest["layers"][0]["index"], 1);
        EXPECT_EQ(psdtest::RunCli({"export", psd, "--layers", single, "--layer", "3"}).exitCode, 1);
    }
}

// The manifest of corpus files: unicode names, hidden layers, groups without
// PNGs, the nesting of groups.
TEST(LayerExport, CorpusManifest) {
    PSDTEST_REQUIRE_CORPUS();
    psdtest::TempDir dir;
    struct Case {
        const char* file;
        std::size_t layer;
        const char* key;
        json value;
    } cases[] = {
        // U+1F47D from 'luni'; the Pascal name is '?'.
        {"ps-rgb8-emoji-name.psd", 0, "name", json("\xF0\x9F\x91\xBD")},
        {"ps-rgb8-emoji-name.psd", 0, "blend_key", json("lddg")},
        {"ps-rgb8-emoji-name.psd", 0, "opacity", json(128)},
        {"ps-rgb8-hidden-layer.psd", 2, "visible", json(false)},
        {"ps-rgb8-hidden-layer.psd", 1, "visible", json(true)},
        {"ps-rgb8-groups.psd", 1, "png", json(nullptr)},
        {"ps-rgb8-groups.psd", 1, "kind", json("group end")},
        {"ps-rgb8-groups.psd", 3, "kind", json("group")},
        {"ps-rgb8-groups.psd", 2, "parent", json(3)},
        {"ps-rgb8-groups.psd", 0, "parent", json(nullptr)},
        {"ps-rgba8-negcount-clip-adjust.psd", 1, "clipping", json(true)},
        {"agpsd-offsets-empty.psd", 1, "png", json(nullptr)},
        {"agpsd-offsets-empty.psd", 0, "top", json(-7)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.file) + " layer " + std::to_string(c.layer) + " " + c.key);
        std::string out = dir.Path(c.file);
        if (!psdtest::FileExists(out + "/layers.json")) {
            ASSERT_EQ(psdtest::RunCli({"export", psdtest::CorpusPath(c.file), "--layers", out}).exitCode, 0);
        }
        std::vector<char> text = psdtest::ReadFile(out + "/layers.json");
        json manifest = json::parse(text.begin(), text.end());
        ASSERT_LT(c.layer, manifest["layers"].size());
        EXPECT_EQ(manifest["layers"][c.layer][c.key], c.value);
    }
}

}  // namespace
