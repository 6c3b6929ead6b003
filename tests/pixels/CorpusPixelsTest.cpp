// The decoder against the corpus: every composite plane and every layer
// channel that an independent reader decoded comes out with the same SHA-256.

#include <gtest/gtest.h>

#include "psdkit/core/PhotoshopFile.h"
#include "psdkit/pixels/PSDPixels.h"
#include "support/TestSupport.h"

using nlohmann::json;
using psdkit::PhotoshopFile;
using psdkit::PSDPixels;

namespace {

const char* Problems(const PSDPixels& pixels) { return pixels.GetNumProblems() ? pixels.GetProblem(0) : ""; }

std::string PlaneHash(const PSDPixels& pixels, unsigned short i) {
    return psdtest::Sha256Hex(pixels.GetPlane(i), pixels.GetPlaneLength());
}

void ExpectComposite(PhotoshopFile& document, const json& composite, const json* file) {
    ASSERT_EQ(document.GetImageCompression(), composite["compression"].get<unsigned>());
    PSDPixels pixels;
    EXPECT_TRUE(pixels.DecodeComposite(document)) << Problems(pixels);
    ASSERT_EQ(pixels.GetNumPlanes(), composite["channels"].get<unsigned>());
    ASSERT_EQ(pixels.GetPlaneLength(), composite["plane_length"].get<unsigned long>());
    for (unsigned short i = 0; i < pixels.GetNumPlanes(); ++i)
        EXPECT_EQ(PlaneHash(pixels, i), composite["planes"][i].get<std::string>()) << "plane " << i;
    // The composite's transparency: the first extra channel, where the stored layer count is negative.
    bool negative = file && file->value("layer_count_raw", 0) < 0;
    unsigned mode = composite.value("mode", 0u);
    unsigned colours = mode == 4 ? 4 : (mode == 3 || mode == 9) ? 3 : 1;
    EXPECT_EQ(pixels.GetAlphaPlane(), negative && pixels.GetNumPlanes() > colours ? int(colours) : -1);
}

// 'Lr16' files keep their layers in the tagged records.
void ExpectLayerChannels(PhotoshopFile& document, const json& facts, int* compared) {
    bool tagged = facts["layer_source"] != "layer_info";
    for (const json& layer : facts["layers"]) {
        unsigned short index = layer["index"];
        for (unsigned short c = 0; c < layer["channels"].size(); ++c) {
            const json& channel = layer["channels"][c];
            if (channel.contains("error")) continue;
            SCOPED_TRACE("layer " + std::to_string(index) + " channel " + std::to_string(c));
            PSDPixels pixels;
            bool ok = tagged ? pixels.DecodeTaggedLayerChannel(document, index, c)
                             : pixels.DecodeLayerChannel(document, index, c);
            EXPECT_TRUE(ok) << Problems(pixels);
            EXPECT_EQ(pixels.GetWidth(), channel["width"].get<unsigned long>());
            EXPECT_EQ(pixels.GetHeight(), channel["height"].get<unsigned long>());
            ASSERT_EQ(pixels.GetPlaneLength(), channel["length"].get<unsigned long>());
            EXPECT_EQ(PlaneHash(pixels, 0), channel["sha256"].get<std::string>());
            ++*compared;
        }
    }
}

}  // namespace

TEST(CorpusPixels, EveryPlaneAndChannelMatchesTheIndependentReader) {
    PSDTEST_REQUIRE_CORPUS();
    std::vector<char> text = psdtest::ReadFile(psdtest::CorpusPath("pixels.json"));
    ASSERT_FALSE(text.empty()) << "pixels.json missing";
    int composites = 0, channels = 0;
    for (const json& facts : json::parse(text.begin(), text.end())) {
        const std::string name = facts["file"];
        SCOPED_TRACE(name);
        const json* file = psdtest::CorpusFile(name);
        if (facts.contains("error") || (file && !file->value("valid", true))) continue;  // refused by the header check
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        if (facts.contains("composite") && !facts["composite"].contains("error")) {
            json composite = facts["composite"];
            composite["mode"] = facts["header"]["mode"];
            ExpectComposite(document, composite, file);
            ++composites;
        }
        if (facts.contains("layers") && name.find(".psb") == std::string::npos)
            ExpectLayerChannels(document, facts, &channels);
    }
    EXPECT_GT(composites, 20);
    EXPECT_GT(channels, 150);
}
