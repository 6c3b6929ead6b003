// The layer and mask section walk, on sections built byte by byte and on
// the files of the corpus.

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <tuple>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using nlohmann::json;
using psdkit::PSDLayers;
using psdtest::Bytes;

namespace {

using Channels = std::vector<std::pair<unsigned, unsigned long>>;  // ID, length with the 2-byte code

// Length byte and name, padded with zeros to a multiple of 4.
Bytes Name(const std::string& name) {
    return Bytes().u8(static_cast<unsigned>(name.size())).str(name).zeros(3 - name.size() % 4);
}

Bytes Entry(const std::string& key, unsigned long payloadLength) {
    return Bytes().str("8BIM").str(key).u32(payloadLength).zeros(payloadLength);
}

// Extra data with no mask and no blending ranges.
Bytes PlainExtra(const std::string& name, const Bytes& entries = Bytes()) {
    return Bytes().u32(0).u32(0).raw(Name(name)).raw(entries);
}

// A record whose extra data size is the size of `extra`.
Bytes Record(unsigned long top, const Channels& channels, const Bytes& extra) {
    Bytes b = Bytes().u32(top).u32(0).u32(1).u32(1).u16(static_cast<unsigned>(channels.size()));
    for (const auto& c : channels) b.u16(c.first).u32(c.second);
    return b.str("8BIMnorm").u8(255).u8(0).u8(0).u8(0).u32(extra.size()).raw(extra);
}

void Put32(Bytes& b, std::size_t at, unsigned long value) {
    for (int i = 0; i < 4; ++i) b.data[at + i] = static_cast<char>(value >> (24 - 8 * i));
}

// The code, then length - 2 bytes of pixels.
Bytes ChannelData(unsigned compression, unsigned long length) { return Bytes().u16(compression).zeros(length - 2); }

Bytes Section(const Bytes& body) { return Bytes().u32(body.size()).raw(body); }

// Layer info: its size word, the count, the records and the channel data.
Bytes LayerInfo(unsigned count, const std::vector<Bytes>& records, const Bytes& channelData) {
    Bytes body = Bytes().u16(count);
    for (const Bytes& r : records) body.raw(r);
    return Section(body.raw(channelData));
}

class LayerSectionRead : public ::testing::Test {
protected:
    // Reads a layer section from the start of a file holding `bytes`, then "TAIL".
    bool Read(Bytes bytes, PSDLayers& into, bool tail = true) {
        in = std::ifstream(dir.Write("section.bin", tail ? bytes.str("TAIL") : bytes), std::ios_base::binary);
        into.SetStreams(&in, nullptr);
        return into.ReadSection();
    }
    // "TAIL" when the walk left the stream where the next section starts.
    std::string Next() {
        char s[5] = {};
        return in.read(s, 4) ? s : "";
    }
    psdtest::TempDir dir;
    std::ifstream in;
};

// The layer info and a zero global layer mask length, kept even so that no
// closing byte follows.
Bytes LayerSection(unsigned count, const std::vector<Bytes>& records, const Bytes& channelData) {
    Bytes body = LayerInfo(count, records, channelData).u32(0);
    if (body.size() % 2 != 0) body.u8(0);
    return Section(body);
}

TEST_F(LayerSectionRead, SectionsEndWhereTheNextStarts) {
    using Case = std::tuple<std::string, Bytes, unsigned short, unsigned long>;  // the file, count, global mask length
    Bytes info = LayerInfo(1, {Record(0, {{0, 3}}, PlainExtra("o"))}, ChannelData(0, 3));  // odd
    // A name of 200 bytes where the section ends after 10 of them.
    Bytes longName = Record(0, {}, Bytes().u32(0).u32(0).u8(200).str("0123456789"));
    Put32(longName, 30, 300);
    const Case cases[] = {
        {"section length 0", Bytes().u32(0), 0, 0},
        {"count 0, then a global mask block", Section(Bytes().u32(2).u16(0).u32(8).zeros(8)), 0, 8},
        // The count comes from the high half of the length word 0x10, the
        // global mask length from the rest and the next two bytes.
        {"layer info size 0", Section(Bytes().u32(0).u32(0x10).u16(0).zeros(14)), 0, 0x00100000},
        {"count -32768, one record", Section(Bytes().u32(0).u16(0x8000).raw(Record(5, {}, PlainExtra("a")))), 1, 0},
        {"65535 channels in a short section", Section(Bytes().u32(0).u16(1).zeros(16).u16(0xFFFF).u16(0).u32(2)), 0, 0},
        {"extra data past the section", Section(Bytes().u32(0).u16(2).raw(longName)), 1, 0},
        {"channel data past the section",
         LayerSection(1, {Record(0, {{0, 4}, {1, 1000}}, PlainExtra("c"))}, ChannelData(1, 4).u16(3).zeros(4)), 1, 0},
        {"tagged blocks behind the global mask",
         Section(Bytes(info).u32(4).zeros(4).str("8BIMPatt").u32(0).str("8BIMFMsk").u32(12).zeros(12)), 1, 4},
        {"a global mask block past the section", Section(Bytes(info).u32(100).zeros(10)), 1, 100},
        {"a global mask length word past the section", Section(Bytes(info).u16(0x7777)), 1, 0},
        {"odd, walked to its end", Section(info).u8('P'), 1, 0},
        {"odd, two stray bytes behind the layer info", Section(Bytes(info).zeros(2)), 1, 0},
        {"even: no closing byte", Section(Bytes(info).zeros(1)), 1, 0},
    };
    for (const auto& [what, file, count, globalMaskLength] : cases) {
        SCOPED_TRACE(what);
        PSDLayers layers;
        EXPECT_TRUE(Read(file, layers));
        EXPECT_EQ(layers.GetLayerCount(), count);
        EXPECT_EQ(layers.GetGlobalLayerMaskLength(), globalMaskLength);
        EXPECT_EQ(Next(), "TAIL");
    }
}

TEST_F(LayerSectionRead, ARecordEndsWhereItsExtraDataEnds) {
    struct Case {
        std::string what;
        Bytes extra;
        std::string name;
        unsigned short entries;
        std::size_t maskFields = 0;    // of MASK, the rest 0
        unsigned long storedSize = 0;  // 0: the size of `extra`
    };
    // Rectangle, colour 255, flags 1, then the real user mask's flags 4, colour 0 and rectangle.
    const std::vector<unsigned long> MASK = {1, 2, 3, 4, 255, 1, 4, 0, 5, 6, 7, 8};
    std::vector<Case> cases;
    for (unsigned long size : {0ul, 3ul, 20ul, 36ul}) {
        Bytes mask = Bytes().u32(1).u32(2).u32(3).u32(4).u8(255).u8(1).u8(4).u8(0).u32(5).u32(6).u32(7).u32(8);
        mask.data.resize(size);
        cases.push_back({"mask size " + std::to_string(size),
                         Bytes().u32(size).raw(mask).u32(0).raw(Name("m")).raw(Entry("lyid", 4)), "m", 1,
                         size < 20    ? 0u
                         : size == 20 ? 6u
                                      : 12u});
    }
    for (std::size_t length : {0u, 3u, 4u, 255u}) {
        std::string name;
        for (std::size_t i = 0; i < length; ++i) name += static_cast<char>('a' + i % 26);
        cases.push_back({"name length " + std::to_string(length), PlainExtra(name, Entry("lyid", 4)), name, 1});
    }
    cases.push_back({"filler behind the name", Bytes().u32(0).u32(0).u8(2).str("abX"), "ab", 0});
    cases.push_back({"a name past the extra data", Bytes().u32(0).u32(0).u8(20).str("abc"), "", 0});
    cases.push_back({"an entry of length 0", PlainExtra("e", Entry("lyid", 0).raw(Entry("luni", 8))), "e", 2});
    Bytes pastTheEnd = Entry("lyid", 4).str("8BIMlrFX").u32(100).zeros(4);
    cases.push_back({"an entry past the extra data", PlainExtra("one", pastTheEnd), "one", 1});
    cases.push_back({"extra data size 0", Bytes(), "", 0});
    // The 16-bit remainder comes to 0 a multiple of 65536 short of the size.
    cases.push_back({"extra data size 65536 + 24", PlainExtra("", Entry("lyid", 0)), "", 1, 0, 0x10018});
    cases.push_back({"an entry of 65536 bytes", PlainExtra("", Entry("Txt2", 0x10000)), "", 1});
    // 65570 bytes: the count comes to 0 behind the first entry, 65536 short;
    // the entry behind it is read and the next record starts at the end.
    cases.push_back(
        {"extra data of 65570 bytes", PlainExtra("a", Entry("lyid", 10).raw(Entry("Txt2", 65524))), "a", 2});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes record = Record(0, {{0, 2}}, c.extra);
        if (c.storedSize != 0) Put32(record, 36, c.storedSize);
        // A second record shows where the walk went on.
        Bytes section = LayerSection(2, {record, Record(7, {{0, 2}}, PlainExtra("next"))},
                                     ChannelData(1, 2).raw(ChannelData(2, 2)));
        PSDLayers layers;
        EXPECT_TRUE(Read(section, layers));
        ASSERT_EQ(layers.GetLayerCount(), 2);
        EXPECT_EQ(layers.GetLayerRecordExtraDataSize(0), c.storedSize != 0 ? c.storedSize : c.extra.size());
        EXPECT_EQ(std::string(layers.GetLayerRecordLayerName(0)), c.name);
        EXPECT_EQ(layers.GetLayerRecordNumAdjustments(0), c.entries);
        const psdkit::LayerMask& m = layers.GetLayerRecordMask(0);
        std::vector<unsigned long> mask(MASK.begin(), MASK.begin() + c.maskFields);
        mask.resize(12, 0);
        EXPECT_EQ(std::vector<unsigned long>({m.MaskTop, m.MaskLeft, m.MaskBottom, m.MaskRight, m.DefaultColor, m.Flags,
                                              m.RealFlags, m.RealDefaultColor, m.RealTop, m.RealLeft, m.RealBottom,
                                              m.RealRight}),
                  mask);
        EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 0), 1);
        EXPECT_EQ(layers.GetLayerRecordLayerTop(1), 7u);
        EXPECT_STREQ(layers.GetLayerRecordLayerName(1), "next");
        EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 1), 2);
        EXPECT_EQ(Next(), "TAIL");
    }
}

std::string FourChars(unsigned long value) {
    const std::vector<char> b = Bytes().u32(value).data;
    return std::string(b.begin(), b.end());
}

// The facts give names as latin-1 decoded text.
std::string Latin1ToUtf8(const char* bytes) {
    std::string out;
    for (const char* p = bytes; *p != 0; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        if (c >= 0x80) out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(c < 0x80 ? c : 0x80 | (c & 0x3F));
    }
    return out;
}

// Layer i as expected.json describes a layer.
json Layer(PSDLayers* layers, unsigned short i) {
    auto edge = [](unsigned long v) { return static_cast<long>(static_cast<std::int32_t>(v)); };
    auto byte = [](char v) { return static_cast<unsigned>(static_cast<unsigned char>(v)); };
    json channels = json::array(), keys = json::array();
    for (unsigned short c = 0; c < layers->GetLayerRecordNumChannels(i); ++c)
        channels.push_back(json{{"id", layers->GetLayerRecordChannelInfoChannelID(c, i)},
                                {"length", layers->GetLayerRecordChannelInfoChannelLength(c, i)},
                                {"compression", layers->GetLayerRecordImageDataCompression(c, i)}});
    for (unsigned short e = 0; e < layers->GetLayerRecordNumAdjustments(i); ++e)
        keys.push_back(json{{"key", FourChars(layers->GetLayerRecordAdjustmentKey(e, i))},
                            {"length", layers->GetLayerRecordAdjustmentLength(e, i)}});
    return json{{"top", edge(layers->GetLayerRecordLayerTop(i))},
                {"left", edge(layers->GetLayerRecordLayerLeft(i))},
                {"bottom", edge(layers->GetLayerRecordLayerBottom(i))},
                {"right", edge(layers->GetLayerRecordLayerRight(i))},
                {"name", Latin1ToUtf8(layers->GetLayerRecordLayerName(i))},
                {"channels", channels},
                {"blend_signature", layers->GetLayerRecordBlendModeSignatureAsName(i)},
                {"blend_key", FourChars(layers->GetLayerRecordBlendModeKey(i))},
                {"opacity", byte(layers->GetLayerRecordOpacity(i))},
                {"clipping", byte(layers->GetLayerRecordClipping(i))},
                {"flags", byte(layers->GetLayerRecordFlags(i))},
                {"extra_length", layers->GetLayerRecordExtraDataSize(i)},
                {"mask_size", layers->GetLayerRecordMaskSize(i)},
                {"blending_length", layers->GetLayerRecordBlendingLength(i)},
                {"info_keys", keys}};
}

TEST(LayerCorpus, EveryValidFileReadsWithItsLayers) {
    PSDTEST_REQUIRE_CORPUS();
    int checked = 0;
    for (const auto& facts : psdtest::CorpusFacts()) {
        if (!facts.value("valid", false)) continue;
        std::string name = facts["file"];
        SCOPED_TRACE(name);
        psdkit::PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        EXPECT_TRUE(document.IsIntact()) << (document.GetReadProblem(0) ? document.GetReadProblem(0) : "");
        PSDLayers* layers = document.GetLayers();
        EXPECT_EQ(layers->GetSectionLength(), facts["layer_section_length"].get<unsigned long>());
        EXPECT_EQ(layers->GetLayerInfoSize(), facts["layer_info_length"].get<unsigned long>());
        EXPECT_EQ(layers->GetLayerCount(), std::abs(facts["layer_count_raw"].get<int>()));
        json read = json::array();
        for (unsigned short i = 0; i < layers->GetLayerCount(); ++i) read.push_back(Layer(layers, i));
        EXPECT_EQ(read, facts["layers"]);
        // Also behind odd sections whose writers put no closing byte there.
        EXPECT_EQ(psdtest::Sha256Hex(document.GetImageData(), document.GetImageDataLen()),
                  facts["image_data"]["sha256"].get<std::string>());
        ++checked;
    }
    EXPECT_EQ(checked, 29);
}

}  // namespace
