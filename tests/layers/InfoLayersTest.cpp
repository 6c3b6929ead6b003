// The layers listing of psdkit info.

#include <string>

#include "LayerBytes.h"
#include "support/TestSupport.h"

using layertest::ChannelData;
using layertest::Entry;
using layertest::LayerInfo;
using layertest::Name;
using layertest::Record;
using layertest::Section;
using psdtest::Bytes;

namespace {

TEST(InfoLayers, ListsEveryRecord) {
    Bytes extra;
    extra.u32(20).zeros(20).u32(16).zeros(16).raw(Name("Tree\x01")).raw(Entry("luni", 12)).raw(Entry("lsct", 4));
    Bytes record = Record(0xFFFFFFF6, 0x80000000, 30, 40, {{0xFFFF, 10}, {0, 2}}, extra, "hLit", 200, 1, 0x0B);
    Bytes data;
    data.raw(ChannelData(1, 10)).raw(ChannelData(7, 2));
    Bytes body;
    body.raw(LayerInfo(0xFFFF, {record}, data)).u32(0);
    Bytes file = psdtest::PsdHeader(3, 1, 1, 8, 3);
    file.u32(0).u32(0).raw(Section(body)).u16(0).zeros(3);

    psdtest::TempDir dir;
    std::string path = dir.Write("layers.psd", file);
    psdtest::RunResult result = psdtest::RunCli({"info", path});
    ASSERT_EQ(result.exitCode, 0) << result.err;

    std::string listing =
        "Layer and mask information: " + std::to_string(body.size()) + " bytes\n"
        "  Layer info size: " + std::to_string(body.size() - 8) + "\n"
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
        "    Extra data size: " + std::to_string(extra.size()) + "\n"
        "    Mask size: 20\n"
        "    Blending ranges: 1 channels (length 16)\n"
        "    Additional information: 2 entries\n"
        "      [0] 'luni' (unicode layer name), length 12\n"
        "      [1] 'lsct' (Unknown), length 4\n"
        "  Global layer mask length: 0\n"
        "Image data:\n";
    EXPECT_NE(result.out.find(listing), std::string::npos) << result.out;
}

TEST(InfoLayers, AFlatFileListsNoLayers) {
    Bytes file = psdtest::PsdHeader(3, 1, 1, 8, 3);
    file.u32(0).u32(0).u32(0).u16(0).zeros(3);
    psdtest::TempDir dir;
    std::string path = dir.Write("flat.psd", file);
    psdtest::RunResult result = psdtest::RunCli({"info", path});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find("Layer and mask information: 0 bytes\n"
                              "  Layer info size: 0\n"
                              "  Layer count: 0\n"
                              "  Global layer mask length: 0\n"),
              std::string::npos)
        << result.out;
}

}  // namespace
