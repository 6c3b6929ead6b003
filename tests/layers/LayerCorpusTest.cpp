// Layer records and composites of real files against the facts of
// expected.json.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PSDLayers;

namespace {

// The corpus file whose odd layer section has no closing byte behind it.
const char* ODD_WITHOUT_CLOSING_BYTE = "other-rgb8-1layer-oddlen.psd";

std::string FourChars(unsigned long value) {
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) s += static_cast<char>((value >> shift) & 0xFF);
    return s;
}

// The facts give names as latin-1 decoded text.
std::string Latin1ToUtf8(const char* bytes) {
    std::string out;
    for (const char* p = bytes; *p != 0; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

long Signed32(unsigned long value) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(value)); }

// Where the walk meets the global layer mask length word: right behind the
// channel data of the last record.
unsigned long WalkedLayerInfoLength(const nlohmann::json& facts) {
    unsigned long length = 2;
    for (const auto& layer : facts["layers"]) {
        length += 18 + 16 + 6 * layer["channels"].size() + layer["extra_length"].get<unsigned long>();
        for (const auto& channel : layer["channels"]) length += channel["length"].get<unsigned long>();
    }
    return length;
}

void CheckLayers(PSDLayers* layers, const nlohmann::json& facts) {
    const auto& expected = facts["layers"];
    ASSERT_EQ(layers->GetLayerCount(), std::abs(facts["layer_count_raw"].get<int>()));
    ASSERT_EQ(layers->GetLayerCount(), expected.size());
    EXPECT_EQ(layers->GetLayerInfoSize(), facts["layer_info_length"].get<unsigned long>());
    for (unsigned short i = 0; i < layers->GetLayerCount(); ++i) {
        const auto& layer = expected[i];
        SCOPED_TRACE("layer " + std::to_string(i));
        EXPECT_EQ(Signed32(layers->GetLayerRecordLayerTop(i)), layer["top"].get<long>());
        EXPECT_EQ(Signed32(layers->GetLayerRecordLayerLeft(i)), layer["left"].get<long>());
        EXPECT_EQ(Signed32(layers->GetLayerRecordLayerBottom(i)), layer["bottom"].get<long>());
        EXPECT_EQ(Signed32(layers->GetLayerRecordLayerRight(i)), layer["right"].get<long>());
        EXPECT_EQ(Latin1ToUtf8(layers->GetLayerRecordLayerName(i)), layer["name"].get<std::string>());

        const auto& channels = layer["channels"];
        ASSERT_EQ(layers->GetLayerRecordNumChannels(i), channels.size());
        for (unsigned short c = 0; c < channels.size(); ++c) {
            EXPECT_EQ(layers->GetLayerRecordChannelInfoChannelID(c, i), channels[c]["id"].get<unsigned>());
            EXPECT_EQ(layers->GetLayerRecordChannelInfoChannelLength(c, i),
                      channels[c]["length"].get<unsigned long>());
            EXPECT_EQ(layers->GetLayerRecordImageDataCompression(c, i), channels[c]["compression"].get<unsigned>());
        }

        EXPECT_EQ(FourChars(layers->GetLayerRecordBlendModeSignature(i)), layer["blend_signature"].get<std::string>());
        EXPECT_EQ(layers->GetLayerRecordBlendModeSignatureAsName(i), layer["blend_signature"].get<std::string>());
        EXPECT_EQ(FourChars(layers->GetLayerRecordBlendModeKey(i)), layer["blend_key"].get<std::string>());
        EXPECT_EQ(static_cast<unsigned char>(layers->GetLayerRecordOpacity(i)), layer["opacity"].get<unsigned>());
        EXPECT_EQ(static_cast<unsigned char>(layers->GetLayerRecordClipping(i)), layer["clipping"].get<unsigned>());
        EXPECT_EQ(static_cast<unsigned char>(layers->GetLayerRecordFlags(i)), layer["flags"].get<unsigned>());
        EXPECT_EQ(layers->GetLayerRecordExtraDataSize(i), layer["extra_length"].get<unsigned long>());
        EXPECT_EQ(layers->GetLayerRecordMaskSize(i), layer["mask_size"].get<unsigned long>());
        unsigned long blending = layer["blending_length"].get<unsigned long>();
        EXPECT_EQ(layers->GetLayerRecordBlendingLength(i), blending);
        EXPECT_EQ(layers->GetLayerRecordBlendingNumChannels(i), blending >= 8 ? (blending - 8) / 8 : 0);

        const auto& keys = layer["info_keys"];
        ASSERT_EQ(layers->GetLayerRecordNumAdjustments(i), keys.size());
        for (unsigned short e = 0; e < keys.size(); ++e) {
            EXPECT_EQ(FourChars(layers->GetLayerRecordAdjustmentKey(e, i)), keys[e]["key"].get<std::string>());
            EXPECT_EQ(layers->GetLayerRecordAdjustmentLength(e, i), keys[e]["length"].get<unsigned long>());
        }
    }
}

std::uint32_t BigEndian32(const std::vector<char>& file, std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(file[at])) << 24 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(file[at + 1])) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(file[at + 2])) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(file[at + 3]));
}

// Whether the walk of an odd section ends right at the section's end, so that
// the closing byte behind it is passed over: behind the channel data of the
// last record comes the global layer mask length word (when it fits in the
// section) and its block.
bool WalkReachesAnOddEnd(const nlohmann::json& facts, const std::vector<char>& file) {
    unsigned long sectionLength = facts["layer_section_length"];
    if (sectionLength % 2 == 0) return false;
    // The corpus's odd sections all hold layer info.
    EXPECT_NE(facts["layer_info_length"].get<unsigned long>(), 0u);
    std::size_t payload = facts["image_data"]["offset"].get<std::size_t>() - sectionLength;
    unsigned long end = 4 + WalkedLayerInfoLength(facts);
    if (end + 4 <= sectionLength) {
        unsigned long mask = BigEndian32(file, payload + end);
        end += 4;
        if (mask > sectionLength - end) return false;  // the walk ends inside the section
        end += mask;
    }
    return end == sectionLength;
}

TEST(LayerCorpus, EveryValidFileReadsWithItsLayersAndComposite) {
    PSDTEST_REQUIRE_CORPUS();
    int checked = 0;
    std::vector<std::string> readOneByteLater;
    for (const auto& facts : psdtest::CorpusFacts()) {
        if (!facts.value("valid", false)) continue;
        std::string name = facts["file"];
        SCOPED_TRACE(name);
        std::string path = psdtest::CorpusPath(name);
        psdkit::PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(path.c_str()));
        PSDLayers* layers = document.GetLayers();
        EXPECT_EQ(layers->GetSectionLength(), facts["layer_section_length"].get<unsigned long>());
        CheckLayers(layers, facts);

        // Where the layer info holds nothing behind the channel data, the
        // walk reads the global layer mask length the facts give.
        unsigned long infoLength = facts["layer_info_length"];
        unsigned long sectionLength = facts["layer_section_length"];
        if (infoLength != 0 && infoLength == WalkedLayerInfoLength(facts) && infoLength + 8 <= sectionLength) {
            EXPECT_EQ(layers->GetGlobalLayerMaskLength(), facts["global_mask_length"].get<unsigned long>());
        }

        const auto& image = facts["image_data"];
        std::vector<char> file = psdtest::ReadFile(path);
        if (WalkReachesAnOddEnd(facts, file)) {
            // These writers put no closing byte behind an odd section: the
            // byte passed over is the composite's first, and the composite
            // is read from one byte later.
            readOneByteLater.push_back(name);
            std::size_t offset = image["offset"].get<std::size_t>() + 1;
            ASSERT_LT(offset + 2, file.size());
            unsigned compression =
                static_cast<unsigned char>(file[offset]) << 8 | static_cast<unsigned char>(file[offset + 1]);
            EXPECT_EQ(document.GetImageCompression(), compression);
            ASSERT_EQ(document.GetImageDataLen(), image["length"].get<unsigned long>() - 1);
            EXPECT_EQ(psdtest::Sha256Hex(document.GetImageData(), document.GetImageDataLen()),
                      psdtest::Sha256Hex(file.data() + offset + 2, file.size() - offset - 2));
        } else {
            EXPECT_EQ(document.GetImageCompression(), image["compression"].get<unsigned>());
            ASSERT_EQ(document.GetImageDataLen(), image["length"].get<unsigned long>());
            EXPECT_EQ(psdtest::Sha256Hex(document.GetImageData(), document.GetImageDataLen()),
                      image["sha256"].get<std::string>());
        }
        ++checked;
    }
    EXPECT_EQ(checked, 29);
    // The odd sections of the corpus: the 1-layer file ends its section right
    // behind the layer info; ImageMagick's keep 3 bytes behind the padded
    // layer info, which the walk takes for the global layer mask length.
    EXPECT_EQ(readOneByteLater, (std::vector<std::string>{"im-flat-gray8.psd", "im-flat-rgb8-raw.psd",
                                                           "im-rgb8-rle.psd", ODD_WITHOUT_CLOSING_BYTE}));
}

TEST(LayerCorpus, TheInvalidFileIsRefused) {
    PSDTEST_REQUIRE_CORPUS();
    for (const auto& facts : psdtest::CorpusFacts()) {
        if (facts.value("valid", true)) continue;
        SCOPED_TRACE(facts["file"].get<std::string>());
        psdkit::PhotoshopFile document;
        EXPECT_FALSE(document.OpenReadFile(psdtest::CorpusPath(facts["file"]).c_str()));
    }
}

TEST(LayerCorpus, InfoListsTheLayers) {
    PSDTEST_REQUIRE_CORPUS();
    psdtest::RunResult result = psdtest::RunCli({"info", psdtest::CorpusPath("agpsd-offsets-empty.psd")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const nlohmann::json* facts = psdtest::CorpusFile("agpsd-offsets-empty.psd");
    ASSERT_NE(facts, nullptr);
    EXPECT_NE(result.out.find("  Layer count: 3\n"), std::string::npos);
    for (const auto& layer : (*facts)["layers"]) {
        std::string rectangle = "    Rectangle: top " + std::to_string(layer["top"].get<long>()) + ", left " +
                                std::to_string(layer["left"].get<long>()) + ", bottom " +
                                std::to_string(layer["bottom"].get<long>()) + ", right " +
                                std::to_string(layer["right"].get<long>()) + "\n";
        EXPECT_NE(result.out.find(rectangle), std::string::npos) << rectangle;
    }
}

}  // namespace
