// The layer model: records, entries, counters and the compression lookup.

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PSDLayers;

namespace {

TEST(LayerModel, AddReturnsTheIndexAndRaisesTheCounter) {
    PSDLayers layers;
    EXPECT_EQ(layers.GetLayerCount(), 0);
    EXPECT_EQ(layers.GetLayerInfoSize(), 0u);
    EXPECT_EQ(layers.GetGlobalLayerMaskLength(), 0u);
    EXPECT_EQ(layers.AddLayerRecord(), 0);
    EXPECT_EQ(layers.AddLayerRecord(), 1);
    EXPECT_EQ(layers.GetLayerCount(), 2);

    EXPECT_EQ(layers.AddChannelInfoRecord(1), 0);
    EXPECT_EQ(layers.AddChannelInfoRecord(1), 1);
    EXPECT_EQ(layers.GetLayerRecordNumChannels(1), 2);
    EXPECT_EQ(layers.GetLayerRecordNumChannels(0), 0);
    EXPECT_EQ(layers.AddBlendingChannel(0), 0);
    EXPECT_EQ(layers.GetLayerRecordBlendingNumChannels(0), 1u);
    EXPECT_EQ(layers.AddGenericLayerAdjustment(0), 0);
    EXPECT_EQ(layers.AddUnicodeLayer(0), 1);
    EXPECT_EQ(layers.AddGenericLayerAdjustment(0), 2);
    EXPECT_EQ(layers.GetLayerRecordNumAdjustments(0), 3);

    // New entries are zero; the unicode entry reads like any other.
    EXPECT_STREQ(layers.GetLayerRecordLayerName(0), "");
    EXPECT_EQ(layers.GetLayerRecordMaskTop(0), 0u);
    EXPECT_EQ(layers.GetLayerRecordChannelInfoChannelLength(1, 1), 0u);
    EXPECT_EQ(layers.GetLayerRecordBlendingChannelSrc(0, 0), 0u);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentKey(1, 0), 0u);
}

TEST(LayerModel, ValuesStayWithTheirLayerAndEntry) {
    PSDLayers layers;
    for (int i = 0; i < 2; ++i) {
        unsigned short layer = layers.AddLayerRecord();
        layers.AddChannelInfoRecord(layer);
        layers.AddChannelInfoRecord(layer);
        layers.AddUnicodeLayer(layer);
        layers.AddGenericLayerAdjustment(layer);
        layers.AddBlendingChannel(layer);
        layers.AddBlendingChannel(layer);
    }
    layers.SetLayerRecordLayerTop(0xFFFFFFFF, 1);
    layers.SetLayerRecordMaskTop(0x11, 1);
    layers.SetLayerRecordChannelInfoChannelID(0xFFFF, 1, 1);
    layers.SetLayerRecordChannelInfoChannelLength(1234, 1, 1);
    layers.SetLayerRecordAdjustmentKey(PSDLayers::LAYER_KEY_LAYER_ID, 1, 1);
    layers.SetLayerRecordAdjustmentLength(24, 1, 1);
    layers.SetLayerRecordBlendingChannelDest(8, 1, 1);
    EXPECT_EQ(layers.GetLayerRecordLayerTop(1), 0xFFFFFFFFu);
    EXPECT_EQ(layers.GetLayerRecordMaskTop(1), 0x11u);
    EXPECT_EQ(layers.GetLayerRecordChannelInfoChannelID(1, 1), 0xFFFF);
    EXPECT_EQ(layers.GetLayerRecordChannelInfoChannelLength(1, 1), 1234u);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentKey(1, 1), PSDLayers::LAYER_KEY_LAYER_ID);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentLength(1, 1), 24u);
    EXPECT_EQ(layers.GetLayerRecordBlendingChannelDest(1, 1), 8u);
    // Neither the other layer nor the other entries changed.
    EXPECT_EQ(layers.GetLayerRecordLayerTop(0), 0u);
    EXPECT_EQ(layers.GetLayerRecordChannelInfoChannelID(0, 1), 0);
    EXPECT_EQ(layers.GetLayerRecordChannelInfoChannelLength(1, 0), 0u);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentKey(0, 1), 0u);
    EXPECT_EQ(layers.GetLayerRecordBlendingChannelDest(0, 1), 0u);
    EXPECT_EQ(layers.GetLayerRecordBlendingChannelSrc(1, 1), 0u);
}

TEST(LayerModel, ByteFieldsAreSignedChars) {
    PSDLayers layers;
    layers.AddLayerRecord();
    layers.SetLayerRecordOpacity(static_cast<char>(255), 0);
    layers.SetLayerRecordFlags(static_cast<char>(0x80), 0);
    EXPECT_EQ(static_cast<int>(layers.GetLayerRecordOpacity(0)), -1);
    EXPECT_EQ(static_cast<int>(layers.GetLayerRecordFlags(0)), -128);
}

TEST(LayerModel, CountersChangeAlone) {
    PSDLayers layers;
    layers.AddLayerRecord();
    layers.SetLayerCount(9);
    layers.SetLayerRecordNumAdjustments(4, 0);
    layers.SetLayerRecordBlendingNumChannels(6, 0);
    EXPECT_EQ(layers.GetLayerCount(), 9);
    EXPECT_EQ(layers.GetLayerRecordNumAdjustments(0), 4);
    EXPECT_EQ(layers.GetLayerRecordBlendingNumChannels(0), 6u);

    layers.SetGlobalLayerMaskLength(16);
    layers.ClearGlobalLayerMask();
    EXPECT_EQ(layers.GetGlobalLayerMaskLength(), 0u);
}

TEST(LayerModel, Names) {
    PSDLayers layers;
    layers.AddLayerRecord();
    layers.SetLayerRecordLayerName("Background", 0);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(0), "Background");
    layers.SetLayerRecordLayerName("ab", 0);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(0), "ab");
    layers.SetLayerRecordLayerName(nullptr, 0);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(0), "");

    std::string longest(255, 'n');
    layers.SetLayerRecordLayerName(longest.c_str(), 0);
    EXPECT_EQ(std::string(layers.GetLayerRecordLayerName(0)), longest);
    // Longer texts are cut to the field.
    std::string tooLong(300, 'x');
    layers.SetLayerRecordLayerName(tooLong.c_str(), 0);
    EXPECT_EQ(std::string(layers.GetLayerRecordLayerName(0)), std::string(255, 'x'));
}

// Adds `channels[l]` channels to layer l and a code for each, in walk order.
void Build(PSDLayers& layers, const std::vector<unsigned short>& channels) {
    for (unsigned short count : channels) {
        unsigned short layer = layers.AddLayerRecord();
        for (unsigned short c = 0; c < count; ++c) layers.AddChannelInfoRecord(layer);
    }
    for (std::size_t l = 0; l < channels.size(); ++l)
        for (unsigned short c = 0; c < channels[l]; ++c) layers.AddLayerImageData(static_cast<unsigned short>(l));
}

TEST(LayerModel, EveryChannelHasACodeOfItsOwn) {
    PSDLayers threeLayers;
    Build(threeLayers, {1, 1, 1});
    for (unsigned short l = 0; l < 3; ++l) threeLayers.SetLayerRecordImageDataCompression(l + 1, 0, l);
    for (unsigned short l = 0; l < 3; ++l) EXPECT_EQ(threeLayers.GetLayerRecordImageDataCompression(0, l), l + 1);

    PSDLayers twoLayers;
    Build(twoLayers, {4, 4});
    for (unsigned short l = 0; l < 2; ++l)
        for (unsigned short c = 0; c < 4; ++c) twoLayers.SetLayerRecordImageDataCompression(10 * l + c, c, l);
    for (unsigned short l = 0; l < 2; ++l)
        for (unsigned short c = 0; c < 4; ++c) EXPECT_EQ(twoLayers.GetLayerRecordImageDataCompression(c, l), 10 * l + c);

    // Layers without channels take no place in the list.
    PSDLayers mixed;
    Build(mixed, {2, 0, 3, 0, 1});
    for (unsigned short l = 0; l < 5; ++l)
        for (unsigned short c = 0; c < mixed.GetLayerRecordNumChannels(l); ++c)
            mixed.SetLayerRecordImageDataCompression(100 * l + c, c, l);
    EXPECT_EQ(mixed.GetLayerRecordImageDataCompression(1, 0), 1);
    EXPECT_EQ(mixed.GetLayerRecordImageDataCompression(0, 2), 200);
    EXPECT_EQ(mixed.GetLayerRecordImageDataCompression(2, 2), 202);
    EXPECT_EQ(mixed.GetLayerRecordImageDataCompression(0, 4), 400);
}

TEST(LayerModel, TheLookupFollowsChannelCountsThatChange) {
    PSDLayers layers;
    Build(layers, {2, 2, 2});
    for (unsigned short i = 0; i < 6; ++i) layers.SetLayerRecordImageDataCompression(i, i % 2, i / 2);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 2), 4);
    // The code of channel c of layer l stands behind the channels of the
    // layers before it, by their counters.
    layers.SetLayerRecordNumChannels(1, 0);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 1), 1);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 2), 3);
    layers.AddChannelInfoRecord(0);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 2), 4);
    // A new layer behind the others starts behind all their channels.
    unsigned short last = layers.AddLayerRecord();
    layers.AddChannelInfoRecord(last);
    layers.AddLayerImageData(last);
    layers.SetLayerRecordImageDataCompression(9, 0, last);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, last), 9);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(1, 2), 5);
}

TEST(LayerModel, AChannelWithoutACodeReadsZero) {
    PSDLayers layers;
    layers.AddLayerRecord();
    layers.AddChannelInfoRecord(0);
    layers.SetLayerRecordImageDataCompression(3, 0, 0);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 0), 0);
    EXPECT_STREQ(layers.GetLayerRecordImageDataCompressionAsName(0, 0), "Raw");
}

TEST(LayerModel, AllocateGivesZeroedEntriesAndFreeReleasesThem) {
    psdkit::LayerRecord* record = PSDLayers::AllocateLayerRecord();
    EXPECT_EQ(record->NumChannels, 0);
    EXPECT_EQ(record->LayerName[0], 0);
    // A record releases what it holds (checked by the leak checkers).
    record->Channels.push_back(PSDLayers::AllocateChannelInfoRecord());
    record->BlendingChannels.push_back(PSDLayers::AllocateBlendingChannel());
    record->Adjustments.push_back(PSDLayers::AllocateUnicodeLayer());
    record->Adjustments.push_back(PSDLayers::AllocateGenericLayerAdjustment());
    PSDLayers::FreeLayerRecord(record);

    psdkit::LayerMask* mask = PSDLayers::AllocateLayerMask();
    EXPECT_EQ(mask->MaskSize, 0u);
    EXPECT_EQ(mask->MaskTop, 0u);
    PSDLayers::FreeLayerMask(mask);
    PSDLayers::FreeChannelInfoRecord(PSDLayers::AllocateChannelInfoRecord());

    PSDLayers::FreeLayerRecord(nullptr);
    PSDLayers::FreeChannelInfoRecord(nullptr);
    PSDLayers::FreeLayerMask(nullptr);
}

TEST(LayerModel, AWrittenFileHasAnEmptyLayerSection) {
    // Whatever the model holds, the section is written as a zero length.
    psdtest::TempDir dir;
    std::string path = dir.Path("out.bin");
    std::ofstream out(path, std::ios_base::binary);
    PSDLayers layers;
    layers.AddLayerRecord();
    layers.SetStreams(nullptr, &out);
    EXPECT_TRUE(layers.WriteSection());
    out.close();
    std::vector<char> written = psdtest::ReadFile(path);
    EXPECT_EQ(written, std::vector<char>(4, 0));
}

}  // namespace
