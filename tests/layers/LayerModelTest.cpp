// The layer model, the written section and the display texts.

#include <fstream>
#include <string>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PSDLayers;

namespace {

unsigned long Key(const char* four) {
    unsigned long key = 0;
    for (int i = 0; i < 4; ++i) key = key << 8 | static_cast<unsigned char>(four[i]);
    return key;
}

TEST(LayerModel, EveryChannelHasACodeOfItsOwnAndNoRecordIsWritten) {
    PSDLayers layers;
    for (unsigned short l = 0; l < 2; ++l) {
        EXPECT_EQ(layers.AddLayerRecord(), l);
        for (unsigned short c = 0; c < 4; ++c) EXPECT_EQ(layers.AddChannelInfoRecord(l), c);
    }
    for (unsigned short i = 0; i < 8; ++i) layers.AddLayerImageData(i / 4);
    for (unsigned short i = 0; i < 8; ++i) layers.SetLayerRecordImageDataCompression(i, i % 4, i / 4);
    for (unsigned short i = 0; i < 8; ++i) EXPECT_EQ(layers.GetLayerRecordImageDataCompression(i % 4, i / 4), i);
    // The lookup goes by the channel counters, not by the lists.
    layers.SetLayerRecordNumChannels(3, 0);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 1), 3);
    // Whatever the model holds, the section is written empty.
    psdtest::TempDir dir;
    std::ofstream out(dir.Path("out.bin"), std::ios_base::binary);
    layers.SetStreams(nullptr, &out);
    EXPECT_TRUE(layers.WriteSection());
    out.close();
    EXPECT_EQ(psdtest::ReadFile(dir.Path("out.bin")), std::vector<char>(4, 0));
}

TEST(LayerNames, TextsFromTheTables) {
    using P = PSDLayers;
    struct KeyText {
        const char* key;
        unsigned long constant;  // 0: in neither table
        const char* text;
    };
    const KeyText blendModes[] = {{"norm", P::BLEND_MODE_KEY_NORMAL, "normal"},
                                  {"dark", P::BLEND_MODE_KEY_DARK, "dark"},
                                  {"lite", P::BLEND_MODE_KEY_LITE, "lite"},
                                  {"hue ", P::BLEND_MODE_KEY_HUE, "hue "},
                                  {"sat ", P::BLEND_MODE_KEY_SATURATION, "saturation"},
                                  {"colr", P::BLEND_MODE_KEY_COLOR, "color"},
                                  {"lum ", P::BLEND_MODE_KEY_LUMINOSITY, "luminosity"},
                                  {"mul ", P::BLEND_MODE_KEY_MULTIPLY, "multiply"},
                                  {"scrn", P::BLEND_MODE_KEY_SCREEN, "screen"},
                                  {"diss", P::BLEND_MODE_KEY_DISSOLVE, "dissolve"},
                                  {"over", P::BLEND_MODE_KEY_OVERLAY, "overlay"},
                                  {"hLit", P::BLEND_MODE_KEY_HARDLIGHT, "hard light"},
                                  {"sLit", P::BLEND_MODE_KEY_SOFTLIGHT, "soft light"},
                                  {"diff", P::BLEND_MODE_KEY_DIFERENCE, "difference"},
                                  {"smud", P::BLEND_MODE_KEY_EXCLUSION, "exclusion"},
                                  {"div ", P::BLEND_MODE_KEY_COLORDODGE, "color dodge"},
                                  {"idiv", P::BLEND_MODE_KEY_COLORBURN, "color burn"},
                                  {"mron", 0, "Invalid"},
                                  {"pass", 0, "Invalid"}};
    const KeyText entries[] = {{"levl", P::LAYER_KEY_ADJUSTMENT_INFO_LEVELS, "level"},
                               {"curv", P::LAYER_KEY_ADJUSTMENT_INFO_CURVES, "curve"},
                               {"brit", P::LAYER_KEY_ADJUSTMENT_INFO_BRIGHTNESS, "brightness"},
                               {"blnc", P::LAYER_KEY_ADJUSTMENT_INFO_COLORBALANCE, "color balance"},
                               {"hue ", P::LAYER_KEY_ADJUSTMENT_INFO_OLD_HUESAURATION, "old hue/saturation"},
                               {"hue2", P::LAYER_KEY_ADJUSTMENT_INFO_NEW_HUESAURATION, "new hue/saturation"},
                               {"selc", P::LAYER_KEY_ADJUSTMENT_INFO_SELECTIVECOLOR, "selective color"},
                               {"thrs", P::LAYER_KEY_ADJUSTMENT_INFO_THRESHOLD, "threshold"},
                               {"nvrt", P::LAYER_KEY_ADJUSTMENT_INFO_INVERT, "invert"},
                               {"post", P::LAYER_KEY_ADJUSTMENT_INFO_POSTERIZE, "posterize"},
                               {"lrFX", P::LAYER_KEY_EFFECTS_LAYER_INFO, "effects layer"},
                               {"tySh", P::LAYER_KEY_TOOL_TYPE_INFO, "tool type"},
                               {"luni", P::LAYER_KEY_UNICODE_LAYER_NAME, "unicode layer name"},
                               {"lyid", P::LAYER_KEY_LAYER_ID, "layer ID"},
                               {"lsct", 0, "Unknown"},
                               {"norm", 0, "Unknown"}};
    EXPECT_EQ(
        (std::vector<int>{P::CLIPPING_BASE, P::CLIPPING_NON_BASE, P::LAYER_COMPRESSION_RAW, P::LAYER_COMPRESSION_RLE,
                          P::LAYER_COMPRESSION_ZIP, P::LAYER_COMPRESSION_ZIP_PREDICTION, P::FLAG_TRANSPARENCY_PROTECTED,
                          P::FLAG_VISIBLE, P::FLAG_OBSOLETE, P::FLAG_PHOTOSHOP5PLUS, P::FLAG_PIXELDATA_IRRELEVANT}),
        (std::vector<int>{0, 1, 0, 1, 2, 3, 1, 2, 4, 8, 16}));
    const std::pair<int, const char*> clipping[] = {{0, "Base"}, {1, "Non-Base"}, {2, "Invalid"}, {-1, "Invalid"}};
    const std::pair<int, const char*> compression[] = {
        {0, "Raw"}, {1, "RLE"}, {2, "ZIP"}, {3, "ZIPw/Prediction"}, {4, "Invalid"}, {0xFFFF, "Invalid"}};
    const std::pair<int, const char*> flags[] = {
        {0, ""},
        {0xE0, ""},
        {3, "Transparency Protected|Visible"},
        {10, "Visible|Photoshop5+"},
        {0x84, "Obsolete"},
        {0xFF, "Transparency Protected|Visible|Obsolete|Photoshop5+|Pixel Data Irrelevant"}};
    P layers;
    layers.AddLayerRecord();
    layers.AddChannelInfoRecord(0);
    layers.AddLayerImageData(0);
    layers.AddGenericLayerAdjustment(0);
    for (const KeyText& row : blendModes) {
        EXPECT_TRUE(row.constant == 0 || row.constant == Key(row.key)) << row.key;
        layers.SetLayerRecordBlendModeKey(Key(row.key), 0);
        EXPECT_STREQ(layers.GetLayerRecordBlendModeKeyAsName(0), row.text) << row.key;
    }
    for (const KeyText& row : entries) {
        EXPECT_TRUE(row.constant == 0 || row.constant == Key(row.key)) << row.key;
        layers.SetLayerRecordAdjustmentKey(Key(row.key), 0, 0);
        EXPECT_STREQ(layers.GetLayerRecordAdjustmentKeyAsName(0, 0), row.text) << row.key;
    }
    for (const auto& row : clipping) {
        layers.SetLayerRecordClipping(static_cast<char>(row.first), 0);
        EXPECT_STREQ(layers.GetLayerRecordClippingAsName(0), row.second) << row.first;
    }
    for (const auto& row : compression) {
        layers.SetLayerRecordImageDataCompression(static_cast<unsigned short>(row.first), 0, 0);
        EXPECT_STREQ(layers.GetLayerRecordImageDataCompressionAsName(0, 0), row.second) << row.first;
    }
    for (const auto& row : flags) {
        layers.SetLayerRecordFlags(static_cast<char>(row.first), 0);
        EXPECT_STREQ(layers.GetLayerRecordFlagsAsName(0), row.second) << row.first;
    }
    // The flags are a plain char: 0xFF comes back as -1.
    EXPECT_EQ(static_cast<int>(layers.GetLayerRecordFlags(0)), -1);
}

TEST(LayerNames, TextsBuiltInStaticBuffers) {
    PSDLayers layers;
    layers.AddLayerRecord();
    layers.AddLayerRecord();
    layers.AddGenericLayerAdjustment(0);
    // A second call reuses the first one's buffer.
    layers.SetLayerRecordFlags(2, 0);
    layers.SetLayerRecordFlags(16, 1);
    char* first = layers.GetLayerRecordFlagsAsName(0);
    EXPECT_EQ(layers.GetLayerRecordFlagsAsName(1), first);
    EXPECT_STREQ(first, "Pixel Data Irrelevant");
    // Signatures read in file order, each operation in a buffer of its own;
    // only the low 32 bits count, and a zero byte ends the text.
    layers.SetLayerRecordBlendModeSignature(Key("8B64"), 0);
    layers.SetLayerRecordAdjustmentSignature(0xFF00000000UL | Key("8BIM"), 0, 0);
    char* blend = layers.GetLayerRecordBlendModeSignatureAsName(0);
    EXPECT_STREQ(layers.GetLayerRecordAdjustmentSignatureAsName(0, 0), "8BIM");
    EXPECT_STREQ(blend, "8B64");
    layers.SetLayerRecordAdjustmentSignature(Key("ab\0d"), 0, 0);
    EXPECT_STREQ(layers.GetLayerRecordAdjustmentSignatureAsName(0, 0), "d");
    EXPECT_STREQ(layers.GetLayerRecordBlendModeSignatureAsName(1), "");
}

}  // namespace
