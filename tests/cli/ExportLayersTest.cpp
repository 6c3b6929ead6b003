// psdkit export --layers: every layer with pixels as a PNG beside a manifest.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/TestSupport.h"

using json = nlohmann::json;

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
                                        "-depth",  "8",     "-type", "TrueColor"},
                             given;
    for (std::size_t i = 0; i < 3; ++i) {
        std::vector<std::string> make = {"convert"};
        make.insert(make.end(), sources[i].make.begin(), sources[i].make.end());
        std::string png = dir.Path("in" + std::to_string(i) + ".png");
        // True colour: ImageMagick writes palette and gray PNGs as one-channel
        // layers of an RGB file, which its own reader then refuses.
        make.insert(make.end(), {"-depth", "8", (i == 1 ? "PNG32:" : "PNG24:") + png});
        ASSERT_EQ(psdtest::RunProgram(make).exitCode, 0);
        given.push_back(RgbaOf(png));
        command.insert(
            command.end(),
            {"(", png, "-repage", "+" + std::to_string(sources[i].left) + "+" + std::to_string(sources[i].top), ")"});
    }
    command.insert(command.end(), {"-depth", "8", "-compress"});

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
        {"ps-rgb8-emoji-name.psd", 0, "name", json("\xF0\x9F\x91\xBD")},  // from 'luni'; the Pascal name is '?'
        {"ps-rgb8-emoji-name.psd", 0, "blend_key", json("lddg")},
        {"ps-rgb8-emoji-name.psd", 0, "opacity", json(128)},
        {"ps-rgb8-hidden-layer.psd", 2, "visible", json(false)},
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
