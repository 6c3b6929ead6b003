// The layer codes as display texts.

#include <cstring>
#include <string>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PSDLayers;

namespace {

unsigned long Key(const char* four) {
    return static_cast<unsigned long>(static_cast<unsigned char>(four[0])) << 24 |
           static_cast<unsigned long>(static_cast<unsigned char>(four[1])) << 16 |
           static_cast<unsigned long>(static_cast<unsigned char>(four[2])) << 8 |
           static_cast<unsigned long>(static_cast<unsigned char>(four[3]));
}

// One layer with one channel and one entry, ready for values.
class LayerNames : public ::testing::Test {
protected:
    void SetUp() override {
        layers.AddLayerRecord();
        layers.AddChannelInfoRecord(0);
        layers.AddLayerImageData(0);
        layers.AddGenericLayerAdjustment(0);
    }
    PSDLayers layers;
};

struct KeyText {
    const char* key;
    unsigned long constant;
    const char* text;
};

TEST_F(LayerNames, BlendModeKeys) {
    const KeyText table[] = {
        {"norm", PSDLayers::BLEND_MODE_KEY_NORMAL, "normal"},
        {"dark", PSDLayers::BLEND_MODE_KEY_DARK, "dark"},
        {"lite", PSDLayers::BLEND_MODE_KEY_LITE, "lite"},
        {"hue ", PSDLayers::BLEND_MODE_KEY_HUE, "hue "},
        {"sat ", PSDLayers::BLEND_MODE_KEY_SATURATION, "saturation"},
        {"colr", PSDLayers::BLEND_MODE_KEY_COLOR, "color"},
        {"lum ", PSDLayers::BLEND_MODE_KEY_LUMINOSITY, "luminosity"},
        {"mul ", PSDLayers::BLEND_MODE_KEY_MULTIPLY, "multiply"},
        {"scrn", PSDLayers::BLEND_MODE_KEY_SCREEN, "screen"},
        {"diss", PSDLayers::BLEND_MODE_KEY_DISSOLVE, "dissolve"},
        {"over", PSDLayers::BLEND_MODE_KEY_OVERLAY, "overlay"},
        {"hLit", PSDLayers::BLEND_MODE_KEY_HARDLIGHT, "hard light"},
        {"sLit", PSDLayers::BLEND_MODE_KEY_SOFTLIGHT, "soft light"},
        {"diff", PSDLayers::BLEND_MODE_KEY_DIFERENCE, "difference"},
        {"smud", PSDLayers::BLEND_MODE_KEY_EXCLUSION, "exclusion"},
        {"div ", PSDLayers::BLEND_MODE_KEY_COLORDODGE, "color dodge"},
        {"idiv", PSDLayers::BLEND_MODE_KEY_COLORBURN, "color burn"},
    };
    for (const KeyText& row : table) {
        SCOPED_TRACE(row.key);
        EXPECT_EQ(row.constant, Key(row.key));
        layers.SetLayerRecordBlendModeKey(row.constant, 0);
        EXPECT_STREQ(layers.GetLayerRecordBlendModeKeyAsName(0), row.text);
    }
    for (const char* other : {"mron", "lddg", "pass", "\0\0\0\0"}) {
        layers.SetLayerRecordBlendModeKey(Key(other), 0);
        EXPECT_STREQ(layers.GetLayerRecordBlendModeKeyAsName(0), "Invalid");
    }
    EXPECT_STREQ(psdkit::BLEND_MODE_KEY_INVALID_STR, "Invalid");
}

TEST_F(LayerNames, AdditionalInformationKeys) {
    const KeyText table[] = {
        {"levl", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_LEVELS, "level"},
        {"curv", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_CURVES, "curve"},
        {"brit", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_BRIGHTNESS, "brightness"},
        {"blnc", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_COLORBALANCE, "color balance"},
        {"hue ", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_OLD_HUESAURATION, "old hue/saturation"},
        {"hue2", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_NEW_HUESAURATION, "new hue/saturation"},
        {"selc", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_SELECTIVECOLOR, "selective color"},
        {"thrs", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_THRESHOLD, "threshold"},
        {"nvrt", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_INVERT, "invert"},
        {"post", PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_POSTERIZE, "posterize"},
        {"lrFX", PSDLayers::LAYER_KEY_EFFECTS_LAYER_INFO, "effects layer"},
        {"tySh", PSDLayers::LAYER_KEY_TOOL_TYPE_INFO, "tool type"},
        {"luni", PSDLayers::LAYER_KEY_UNICODE_LAYER_NAME, "unicode layer name"},
        {"lyid", PSDLayers::LAYER_KEY_LAYER_ID, "layer ID"},
    };
    for (const KeyText& row : table) {
        SCOPED_TRACE(row.key);
        EXPECT_EQ(row.constant, Key(row.key));
        layers.SetLayerRecordAdjustmentKey(row.constant, 0, 0);
        EXPECT_STREQ(layers.GetLayerRecordAdjustmentKeyAsName(0, 0), row.text);
    }
    // Unknown keys are "Unknown", not "Invalid".
    for (const char* other : {"lsct", "Txt2", "norm"}) {
        layers.SetLayerRecordAdjustmentKey(Key(other), 0, 0);
        EXPECT_STREQ(layers.GetLayerRecordAdjustmentKeyAsName(0, 0), "Unknown");
    }
}

TEST_F(LayerNames, HueHasATextInEachTable) {
    ASSERT_EQ(PSDLayers::BLEND_MODE_KEY_HUE, PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_OLD_HUESAURATION);
    layers.SetLayerRecordBlendModeKey(Key("hue "), 0);
    layers.SetLayerRecordAdjustmentKey(Key("hue "), 0, 0);
    EXPECT_STREQ(layers.GetLayerRecordBlendModeKeyAsName(0), "hue ");
    EXPECT_STREQ(layers.GetLayerRecordAdjustmentKeyAsName(0, 0), "old hue/saturation");
}

TEST_F(LayerNames, Clipping) {
    EXPECT_EQ(PSDLayers::CLIPPING_BASE, 0);
    EXPECT_EQ(PSDLayers::CLIPPING_NON_BASE, 1);
    const std::pair<int, const char*> table[] = {{0, "Base"}, {1, "Non-Base"}, {2, "Invalid"}, {-1, "Invalid"}};
    for (const auto& row : table) {
        layers.SetLayerRecordClipping(static_cast<char>(row.first), 0);
        EXPECT_STREQ(layers.GetLayerRecordClippingAsName(0), row.second);
    }
}

TEST_F(LayerNames, Compression) {
    EXPECT_EQ(PSDLayers::LAYER_COMPRESSION_RAW, 0);
    EXPECT_EQ(PSDLayers::LAYER_COMPRESSION_RLE, 1);
    EXPECT_EQ(PSDLayers::LAYER_COMPRESSION_ZIP, 2);
    EXPECT_EQ(PSDLayers::LAYER_COMPRESSION_ZIP_PREDICTION, 3);
    const std::pair<unsigned short, const char*> table[] = {
        {0, "Raw"}, {1, "RLE"}, {2, "ZIP"}, {3, "ZIPw/Prediction"}, {4, "Invalid"}, {0xFFFF, "Invalid"}};
    for (const auto& row : table) {
        layers.SetLayerRecordImageDataCompression(row.first, 0, 0);
        EXPECT_STREQ(layers.GetLayerRecordImageDataCompressionAsName(0, 0), row.second);
    }
}

TEST_F(LayerNames, Flags) {
    EXPECT_EQ(PSDLayers::FLAG_TRANSPARENCY_PROTECTED, 1);
    EXPECT_EQ(PSDLayers::FLAG_VISIBLE, 2);
    EXPECT_EQ(PSDLayers::FLAG_OBSOLETE, 4);
    EXPECT_EQ(PSDLayers::FLAG_PHOTOSHOP5PLUS, 8);
    EXPECT_EQ(PSDLayers::FLAG_PIXELDATA_IRRELEVANT, 16);
    EXPECT_STREQ(psdkit::FLAG_INVALID_STR, "Invalid");

    const std::pair<int, const char*> table[] = {
        {0, ""},
        {0xE0, ""},  // the three highest bits have no name
        {1, "Transparency Protected"},
        {3, "Transparency Protected|Visible"},
        {10, "Visible|Photoshop5+"},
        {0x84, "Obsolete"},
        {16, "Pixel Data Irrelevant"},
        {31, "Transparency Protected|Visible|Obsolete|Photoshop5+|Pixel Data Irrelevant"},
        {0xFF, "Transparency Protected|Visible|Obsolete|Photoshop5+|Pixel Data Irrelevant"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.first);
        layers.SetLayerRecordFlags(static_cast<char>(row.first), 0);
        EXPECT_STREQ(layers.GetLayerRecordFlagsAsName(0), row.second);
    }
    layers.SetLayerRecordFlags(31, 0);
    EXPECT_EQ(std::strlen(layers.GetLayerRecordFlagsAsName(0)) + 1, 74u);
}

TEST_F(LayerNames, StaticBuffersAreSharedAndOverwritten) {
    layers.AddLayerRecord();
    layers.SetLayerRecordFlags(2, 0);
    layers.SetLayerRecordFlags(8, 1);
    char* first = layers.GetLayerRecordFlagsAsName(0);
    EXPECT_STREQ(first, "Visible");
    PSDLayers other;
    other.AddLayerRecord();
    other.SetLayerRecordFlags(8, 0);
    char* second = other.GetLayerRecordFlagsAsName(0);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "Photoshop5+");

    layers.SetLayerRecordBlendModeSignature(Key("8BIM"), 0);
    layers.SetLayerRecordBlendModeSignature(Key("8B64"), 1);
    char* a = layers.GetLayerRecordBlendModeSignatureAsName(0);
    char* b = layers.GetLayerRecordBlendModeSignatureAsName(1);
    EXPECT_EQ(a, b);
    EXPECT_STREQ(a, "8B64");
    // The two signature operations have buffers of their own.
    layers.SetLayerRecordAdjustmentSignature(Key("8BIM"), 0, 0);
    char* c = layers.GetLayerRecordAdjustmentSignatureAsName(0, 0);
    EXPECT_NE(a, c);
    EXPECT_STREQ(a, "8B64");
    EXPECT_STREQ(c, "8BIM");
}

TEST_F(LayerNames, SignaturesInFileOrder) {
    layers.SetLayerRecordBlendModeSignature(Key("8BIM"), 0);
    EXPECT_STREQ(layers.GetLayerRecordBlendModeSignatureAsName(0), "8BIM");
    layers.SetLayerRecordBlendModeSignature(0, 0);
    EXPECT_STREQ(layers.GetLayerRecordBlendModeSignatureAsName(0), "");
    // Only the low 32 bits count.
    layers.SetLayerRecordAdjustmentSignature(0xFF00000000UL | Key("abcd"), 0, 0);
    EXPECT_STREQ(layers.GetLayerRecordAdjustmentSignatureAsName(0, 0), "abcd");
    // A zero byte ends the text where the reversal finds it: the lowest
    // byte comes first in the buffer.
    layers.SetLayerRecordAdjustmentSignature(Key("ab\0d"), 0, 0);
    EXPECT_STREQ(layers.GetLayerRecordAdjustmentSignatureAsName(0, 0), "d");
}

}  // namespace
