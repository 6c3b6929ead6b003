// The layer model and the written section. The command line tool's listing
// checks the display texts.

#include <fstream>
#include <string>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PSDLayers;

namespace {

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

}  // namespace
