// The layer and mask section walk, on sections built byte by byte.

#include <cstring>
#include <fstream>
#include <string>

#include "LayerBytes.h"
#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using layertest::Channel;
using layertest::ChannelData;
using layertest::Entry;
using layertest::LayerInfo;
using layertest::Name;
using layertest::PlainExtra;
using layertest::Record;
using layertest::Section;
using psdkit::PSDLayers;
using psdtest::Bytes;

namespace {

class LayerSectionRead : public ::testing::Test {
protected:
    // Writes `bytes` to a file and reads a layer section from its start.
    bool Read(const Bytes& bytes, PSDLayers& into, const std::string& name = "section.bin") {
        std::string path = dir.Write(name, bytes);
        in.close();
        in.clear();
        in.open(path, std::ios_base::binary);
        into.SetStreams(&in, nullptr);
        return into.ReadSection();
    }
    bool Read(const Bytes& bytes) { return Read(bytes, layers); }

    long long Position() { return static_cast<long long>(in.tellg()); }
    // What the file holds where the walk left the stream.
    std::string Next(std::size_t n) {
        std::string s(n, '\0');
        in.read(&s[0], static_cast<std::streamsize>(n));
        s.resize(static_cast<std::size_t>(in.gcount()));
        return s;
    }

    psdtest::TempDir dir;
    std::ifstream in;
    PSDLayers layers;
};

Bytes Tail() {
    Bytes b;
    b.str("TAIL");
    return b;
}

Bytes WithTail(const Bytes& section) {
    Bytes b;
    b.raw(section).raw(Tail());
    return b;
}

// A layer section with the layer info and a zero global layer mask length,
// kept even by a byte behind them so that no closing byte follows.
Bytes LayerSection(unsigned count, const std::vector<Bytes>& records, const Bytes& channelData) {
    Bytes body;
    body.raw(LayerInfo(count, records, channelData)).u32(0);
    if (body.size() % 2 != 0) body.u8(0);
    return Section(body);
}

TEST_F(LayerSectionRead, SectionLengthZeroReadsOnlyTheLengthWord) {
    Bytes b;
    b.u32(0).raw(Tail());
    EXPECT_TRUE(Read(b));
    EXPECT_EQ(Position(), 4);
    EXPECT_EQ(layers.GetSectionLength(), 0u);
    EXPECT_EQ(layers.GetLayerCount(), 0);
    EXPECT_EQ(layers.GetLayerInfoSize(), 0u);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, CountZeroGoesStraightToTheGlobalMask) {
    Bytes body;
    body.u32(2).u16(0).u32(8).zeros(8);  // info size 2, no records, an 8-byte global mask block
    EXPECT_TRUE(Read(WithTail(Section(body))));
    EXPECT_EQ(layers.GetLayerCount(), 0);
    EXPECT_EQ(layers.GetLayerInfoSize(), 2u);
    EXPECT_EQ(layers.GetGlobalLayerMaskLength(), 8u);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, LayerInfoSizeZeroStillReadsTheCount) {
    Bytes body;
    // Layer info size 0; the count is taken from the high half of the global
    // mask length word 0x00000010, and the length from the rest of the word
    // and the block's first two bytes: 0x00100000, which passes the section.
    body.u32(0).u32(0x10).u16(0).zeros(14);
    EXPECT_TRUE(Read(WithTail(Section(body))));
    EXPECT_EQ(layers.GetLayerInfoSize(), 0u);
    EXPECT_EQ(layers.GetLayerCount(), 0);
    EXPECT_EQ(layers.GetGlobalLayerMaskLength(), 0x00100000u);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, NegativeCountsGiveTheirAbsoluteValue) {
    for (unsigned records : {1u, 2u, 3u}) {
        SCOPED_TRACE(records);
        std::vector<Bytes> list;
        Bytes data;
        for (unsigned i = 0; i < records; ++i) {
            list.push_back(Record(i, 0, 1, 1, {{0, 3}}, PlainExtra("L" + std::to_string(i))));
            data.raw(ChannelData(1, 3));
        }
        PSDLayers read;
        EXPECT_TRUE(Read(WithTail(LayerSection(0x10000 - records, list, data)), read));
        ASSERT_EQ(read.GetLayerCount(), records);
        for (unsigned short i = 0; i < records; ++i) {
            EXPECT_EQ(read.GetLayerRecordLayerTop(i), i);
            EXPECT_STREQ(read.GetLayerRecordLayerName(i), ("L" + std::to_string(i)).c_str());
            EXPECT_EQ(read.GetLayerRecordImageDataCompression(0, i), 1);
        }
        EXPECT_EQ(Next(4), "TAIL");
    }
}

TEST_F(LayerSectionRead, ACountBeyondTheRecordsEndsAtTheSection) {
    // 0x8000 is -32768; the section holds a single record.
    Bytes body;
    body.u32(0).u16(0x8000).raw(Record(5, 6, 7, 8, {{0, 2}}, PlainExtra("only")));
    EXPECT_TRUE(Read(WithTail(Section(body))));
    ASSERT_EQ(layers.GetLayerCount(), 1);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(0), "only");
    // The walk ended before the channel data: no code was read.
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 0), 0);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, RecordFieldsInFileOrder) {
    Bytes extra;
    extra.u32(0).u32(0).raw(Name("Layer")).raw(Entry("luni", 16)).raw(Entry("lrFX", 0)).raw(Entry("post", 4));
    Bytes record = Record(0xFFFFFFFE, 3, 20, 0x80000000, {{0xFFFF, 10}, {0, 4}, {0xFFFE, 2}}, extra, "mul ", 128, 1,
                          0x0A);
    Bytes data;
    data.raw(ChannelData(1, 10)).raw(ChannelData(3, 4)).raw(ChannelData(2, 2));
    EXPECT_TRUE(Read(WithTail(LayerSection(1, {record}, data))));
    ASSERT_EQ(layers.GetLayerCount(), 1);
    EXPECT_EQ(layers.GetLayerRecordLayerTop(0), 0xFFFFFFFEu);  // -2 as the file's 32 bits
    EXPECT_EQ(layers.GetLayerRecordLayerLeft(0), 3u);
    EXPECT_EQ(layers.GetLayerRecordLayerBottom(0), 20u);
    EXPECT_EQ(layers.GetLayerRecordLayerRight(0), 0x80000000u);
    ASSERT_EQ(layers.GetLayerRecordNumChannels(0), 3);
    EXPECT_EQ(layers.GetLayerRecordChannelInfoChannelID(0, 0), 0xFFFF);
    EXPECT_EQ(layers.GetLayerRecordChannelInfoChannelID(2, 0), 0xFFFE);
    EXPECT_EQ(layers.GetLayerRecordChannelInfoChannelLength(0, 0), 10u);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 0), 1);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(1, 0), 3);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(2, 0), 2);
    EXPECT_EQ(layers.GetLayerRecordBlendModeSignature(0), 0x3842494Du);  // "8BIM"
    EXPECT_EQ(layers.GetLayerRecordBlendModeKey(0), PSDLayers::BLEND_MODE_KEY_MULTIPLY);
    EXPECT_EQ(layers.GetLayerRecordOpacity(0), static_cast<char>(128));
    EXPECT_EQ(layers.GetLayerRecordClipping(0), 1);
    EXPECT_EQ(layers.GetLayerRecordFlags(0), 0x0A);
    EXPECT_EQ(layers.GetLayerRecordExtraDataSize(0), extra.size());
    EXPECT_STREQ(layers.GetLayerRecordLayerName(0), "Layer");
    ASSERT_EQ(layers.GetLayerRecordNumAdjustments(0), 3);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentKey(0, 0), PSDLayers::LAYER_KEY_UNICODE_LAYER_NAME);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentLength(0, 0), 16u);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentSignature(0, 0), 0x3842494Du);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentKey(1, 0), PSDLayers::LAYER_KEY_EFFECTS_LAYER_INFO);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentLength(1, 0), 0u);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentKey(2, 0), PSDLayers::LAYER_KEY_ADJUSTMENT_INFO_POSTERIZE);
    EXPECT_EQ(layers.GetGlobalLayerMaskLength(), 0u);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, ARecordWithoutChannelsHasNoChannelData) {
    Bytes data;
    data.raw(ChannelData(3, 2)).raw(ChannelData(1, 5));
    EXPECT_TRUE(Read(WithTail(LayerSection(2,
                                           {Record(0, 0, 0, 0, {}, PlainExtra("none")),
                                            Record(0, 0, 1, 1, {{0, 2}, {1, 5}}, PlainExtra("two"))},
                                           data))));
    ASSERT_EQ(layers.GetLayerCount(), 2);
    EXPECT_EQ(layers.GetLayerRecordNumChannels(0), 0);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 1), 3);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(1, 1), 1);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, MaskSizes) {
    for (unsigned long size : {0ul, 1ul, 2ul, 3ul, 4ul, 20ul}) {
        SCOPED_TRACE(size);
        Bytes mask;
        mask.u32(0x11223344).zeros(16);
        mask.data.resize(size);
        Bytes extra;
        extra.u32(size).raw(mask).u32(0).raw(Name("m")).raw(Entry("lyid", 4));
        PSDLayers read;
        EXPECT_TRUE(Read(WithTail(LayerSection(1, {Record(0, 0, 1, 1, {{0, 2}}, extra)}, ChannelData(0, 2))), read));
        ASSERT_EQ(read.GetLayerCount(), 1);
        EXPECT_EQ(read.GetLayerRecordMaskSize(0), size);
        // A block too short for the first value keeps 0.
        EXPECT_EQ(read.GetLayerRecordMaskTop(0), size >= 4 ? 0x11223344u : 0u);
        // The blending length is read from the first byte behind the block.
        EXPECT_EQ(read.GetLayerRecordBlendingLength(0), 0u);
        EXPECT_STREQ(read.GetLayerRecordLayerName(0), "m");
        ASSERT_EQ(read.GetLayerRecordNumAdjustments(0), 1);
        EXPECT_EQ(read.GetLayerRecordAdjustmentKey(0, 0), PSDLayers::LAYER_KEY_LAYER_ID);
        EXPECT_EQ(Next(4), "TAIL");
    }
}

TEST_F(LayerSectionRead, BlendingLengths) {
    for (unsigned long length : {0ul, 4ul, 7ul, 8ul, 12ul, 40ul}) {
        SCOPED_TRACE(length);
        Bytes ranges;
        ranges.u32(0x01020304).u32(0x05060708);
        for (unsigned i = 0; i < 4; ++i) ranges.u32(0x100 + i).u32(0x200 + i);
        ranges.data.resize(length);
        Bytes extra;
        extra.u32(0).u32(length).raw(ranges).raw(Name("b")).raw(Entry("lyid", 4));
        PSDLayers read;
        EXPECT_TRUE(Read(WithTail(LayerSection(1, {Record(0, 0, 1, 1, {{0, 2}}, extra)}, ChannelData(0, 2))), read));
        ASSERT_EQ(read.GetLayerCount(), 1);
        EXPECT_EQ(read.GetLayerRecordBlendingLength(0), length);
        bool gray = length >= 8;
        EXPECT_EQ(read.GetLayerRecordBlendingGrayBlendSrc(0), gray ? 0x01020304u : 0u);
        EXPECT_EQ(read.GetLayerRecordBlendingGrayBlendDest(0), gray ? 0x05060708u : 0u);
        unsigned long channels = gray ? (length - 8) / 8 : 0;
        ASSERT_EQ(read.GetLayerRecordBlendingNumChannels(0), channels);
        for (unsigned long c = 0; c < channels; ++c) {
            EXPECT_EQ(read.GetLayerRecordBlendingChannelSrc(c, 0), 0x100 + c);
            EXPECT_EQ(read.GetLayerRecordBlendingChannelDest(c, 0), 0x200 + c);
        }
        // Whatever the length, the name and the entry behind the block are found.
        EXPECT_STREQ(read.GetLayerRecordLayerName(0), "b");
        EXPECT_EQ(read.GetLayerRecordNumAdjustments(0), 1);
        EXPECT_EQ(Next(4), "TAIL");
    }
}

TEST_F(LayerSectionRead, NamesArePaddedToFourBytes) {
    for (std::size_t length : {0u, 3u, 4u, 255u}) {
        SCOPED_TRACE(length);
        std::string name;
        for (std::size_t i = 0; i < length; ++i) name += static_cast<char>('a' + i % 26);
        PSDLayers read;
        Bytes record = Record(0, 0, 1, 1, {{0, 2}}, PlainExtra(name, Entry("lyid", 4)));
        EXPECT_TRUE(Read(WithTail(LayerSection(1, {record}, ChannelData(0, 2))), read));
        ASSERT_EQ(read.GetLayerCount(), 1);
        EXPECT_EQ(std::string(read.GetLayerRecordLayerName(0)), name);
        ASSERT_EQ(read.GetLayerRecordNumAdjustments(0), 1);
        EXPECT_EQ(read.GetLayerRecordAdjustmentKey(0, 0), PSDLayers::LAYER_KEY_LAYER_ID);
        EXPECT_EQ(Next(4), "TAIL");
    }
}

TEST_F(LayerSectionRead, NameBytesBehindTheLengthAreDropped) {
    Bytes extra;
    extra.u32(0).u32(0).u8(2).str("ab").u8('X');  // length 2, filler 'X'
    EXPECT_TRUE(Read(WithTail(LayerSection(1, {Record(0, 0, 1, 1, {}, extra)}, Bytes()))));
    EXPECT_STREQ(layers.GetLayerRecordLayerName(0), "ab");
}

TEST_F(LayerSectionRead, EntriesRunUntilTheExtraDataEnds) {
    // None behind the name; an entry with an empty payload costs its 12 bytes.
    Bytes data;
    data.raw(ChannelData(0, 2)).raw(ChannelData(0, 2));
    EXPECT_TRUE(Read(WithTail(LayerSection(2,
                                           {Record(0, 0, 1, 1, {{0, 2}}, PlainExtra("abc")),
                                            Record(0, 0, 1, 1, {{0, 2}},
                                                   PlainExtra("e", Bytes().raw(Entry("lyid", 0)).raw(Entry("luni", 8))))},
                                           data))));
    ASSERT_EQ(layers.GetLayerCount(), 2);
    EXPECT_EQ(layers.GetLayerRecordNumAdjustments(0), 0);
    ASSERT_EQ(layers.GetLayerRecordNumAdjustments(1), 2);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentLength(0, 1), 0u);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentKey(1, 1), PSDLayers::LAYER_KEY_UNICODE_LAYER_NAME);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, ExtraDataSizeZeroEndsTheRecordAtOnce) {
    // The mask size word would pass the record's extra data: the next record
    // starts right behind the size word.
    Bytes data;
    data.raw(ChannelData(1, 2)).raw(ChannelData(2, 2));
    EXPECT_TRUE(Read(WithTail(LayerSection(
        2, {Record(0, 0, 1, 1, {{0, 2}}, Bytes()), Record(7, 0, 1, 1, {{0, 2}}, PlainExtra("next"))}, data))));
    ASSERT_EQ(layers.GetLayerCount(), 2);
    EXPECT_EQ(layers.GetLayerRecordExtraDataSize(0), 0u);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(0), "");
    EXPECT_EQ(layers.GetLayerRecordLayerTop(1), 7u);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(1), "next");
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 1), 2);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, AnEntryPastTheExtraDataEndsItsRecord) {
    // The second entry claims 100 bytes of payload where the extra data holds 4.
    Bytes entries;
    entries.raw(Entry("lyid", 4)).str("8BIMlrFX").u32(100).zeros(4);
    Bytes data;
    data.raw(ChannelData(1, 2)).raw(ChannelData(2, 2));
    EXPECT_TRUE(Read(WithTail(LayerSection(2,
                                           {Record(0, 0, 1, 1, {{0, 2}}, PlainExtra("one", entries)),
                                            Record(9, 0, 1, 1, {{0, 2}}, PlainExtra("two"))},
                                           data))));
    ASSERT_EQ(layers.GetLayerCount(), 2);
    ASSERT_EQ(layers.GetLayerRecordNumAdjustments(0), 1);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentKey(0, 0), PSDLayers::LAYER_KEY_LAYER_ID);
    EXPECT_EQ(layers.GetLayerRecordLayerTop(1), 9u);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(1), "two");
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 1), 2);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, ExtraDataPastTheSectionEndsTheWalk) {
    // A name of 200 bytes where the section ends after 10 of them.
    Bytes body;
    body.u32(0).u16(2).u32(1).u32(2).u32(3).u32(4).u16(0).str("8BIMnorm").u8(255).u8(0).u8(0).u8(0).u32(300);
    body.u32(0).u32(0).u8(200).str("0123456789");
    EXPECT_TRUE(Read(WithTail(Section(body))));
    ASSERT_EQ(layers.GetLayerCount(), 1);
    EXPECT_EQ(layers.GetLayerRecordLayerRight(0), 4u);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(0), "");
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, ExtraDataSizeCountsModulo65536) {
    // The stored size is 65536 + 24 and the record holds 24 bytes: the walk
    // of the record ends when its 16-bit count comes to 0, and the next
    // record follows right there.
    Bytes first;
    first.u32(0).u32(0).raw(Name("")).raw(Entry("lyid", 0));
    Bytes record = Record(0, 0, 1, 1, {{0, 2}}, first);
    // Patch the extra data size word (behind 18 + 6 + 12 bytes).
    record.data[36] = 0x00;
    record.data[37] = 0x01;
    Bytes data;
    data.raw(ChannelData(1, 2)).raw(ChannelData(2, 2));
    EXPECT_TRUE(
        Read(WithTail(LayerSection(2, {record, Record(3, 0, 1, 1, {{0, 2}}, PlainExtra("second"))}, data))));
    ASSERT_EQ(layers.GetLayerCount(), 2);
    EXPECT_EQ(layers.GetLayerRecordExtraDataSize(0), 0x10018u);
    EXPECT_EQ(layers.GetLayerRecordNumAdjustments(0), 1);
    EXPECT_EQ(layers.GetLayerRecordLayerTop(1), 3u);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(1), "second");
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 1), 2);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, AnEntryOf65536BytesCountsItsLow16Bits) {
    // 24 + 65536 bytes of extra data: the entry's length adds nothing to the
    // 16-bit count, which comes to 0 right at the true end.
    Bytes extra;
    extra.u32(0).u32(0).raw(Name("")).raw(Entry("Txt2", 0x10000));
    Bytes data;
    data.raw(ChannelData(1, 2)).raw(ChannelData(2, 2));
    EXPECT_TRUE(Read(WithTail(LayerSection(
        2, {Record(0, 0, 1, 1, {{0, 2}}, extra), Record(3, 0, 1, 1, {{0, 2}}, PlainExtra("second"))}, data))));
    ASSERT_EQ(layers.GetLayerCount(), 2);
    EXPECT_EQ(layers.GetLayerRecordExtraDataSize(0), 0x10018u);
    ASSERT_EQ(layers.GetLayerRecordNumAdjustments(0), 1);
    EXPECT_EQ(layers.GetLayerRecordAdjustmentLength(0, 0), 0x10000u);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(1), "second");
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, ChannelLengthsZeroAndTwo) {
    // Length 0 moves back over its code, so the channel behind it reads the
    // same two bytes; length 2 is the code alone.
    Bytes data;
    data.u16(1).u16(2).zeros(4);
    EXPECT_TRUE(Read(WithTail(LayerSection(1, {Record(0, 0, 1, 1, {{0, 0}, {1, 2}, {2, 6}}, PlainExtra("c"))}, data))));
    ASSERT_EQ(layers.GetLayerRecordNumChannels(0), 3);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 0), 1);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(1, 0), 1);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(2, 0), 2);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, ChannelDataPastTheSectionEndsTheWalk) {
    Bytes data;
    data.raw(ChannelData(1, 4)).u16(3).zeros(4);  // the second channel claims 1000 bytes
    EXPECT_TRUE(Read(WithTail(LayerSection(1, {Record(0, 0, 1, 1, {{0, 4}, {1, 1000}}, PlainExtra("c"))}, data))));
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 0), 1);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(1, 0), 3);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, AHugeChannelCountInAShortSectionAddsNoRecord) {
    Bytes body;
    body.u32(0).u16(1).u32(0).u32(0).u32(1).u32(1).u16(0xFFFF).u16(0).u32(2);
    EXPECT_TRUE(Read(WithTail(Section(body))));
    EXPECT_EQ(layers.GetLayerCount(), 0);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, GlobalLayerMask) {
    Bytes info = LayerInfo(1, {Record(0, 0, 1, 1, {{0, 3}}, PlainExtra("g"))}, ChannelData(0, 3));

    // Tagged blocks behind the block are passed over to the section's end.
    Bytes tagged;
    tagged.raw(info).u32(4).zeros(4).str("8BIMPatt").u32(0).str("8BIMFMsk").u32(12).zeros(12);
    EXPECT_TRUE(Read(WithTail(Section(tagged))));
    EXPECT_EQ(layers.GetGlobalLayerMaskLength(), 4u);
    EXPECT_EQ(Next(4), "TAIL");

    // A block that runs past the section ends the walk at the section's end.
    Bytes longBlock;
    longBlock.raw(info).u32(100).zeros(10);
    PSDLayers second;
    EXPECT_TRUE(Read(WithTail(Section(longBlock)), second));
    EXPECT_EQ(second.GetGlobalLayerMaskLength(), 100u);
    EXPECT_EQ(Next(4), "TAIL");

    // A length word that would cross the section's end is taken as 0.
    Bytes shortWord;
    shortWord.raw(info).u16(0x7777);
    PSDLayers third;
    EXPECT_TRUE(Read(WithTail(Section(shortWord)), third));
    EXPECT_EQ(third.GetGlobalLayerMaskLength(), 0u);
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, TheClosingByteOfAnOddSection) {
    // Channel data of 3 bytes makes the layer info odd.
    Bytes info = LayerInfo(1, {Record(0, 0, 1, 1, {{0, 3}}, PlainExtra("o"))}, ChannelData(0, 3));
    ASSERT_EQ(info.size() % 2, 1u);

    // The walk reaches the section's end: the byte behind it is passed over.
    Bytes odd;
    odd.raw(Section(info)).u8('P').raw(Tail());
    EXPECT_TRUE(Read(odd));
    EXPECT_EQ(layers.GetGlobalLayerMaskLength(), 0u);
    EXPECT_EQ(Next(4), "TAIL");

    Bytes withMask;
    withMask.raw(info).u32(0);
    Bytes oddWithMask;
    oddWithMask.raw(Section(withMask)).u8('P').raw(Tail());
    PSDLayers second;
    EXPECT_TRUE(Read(oddWithMask, second));
    EXPECT_EQ(Next(4), "TAIL");

    // Stray bytes behind the layer info, too few for a length word: the
    // walk ends inside the section, and the next section starts at its end.
    Bytes stray;
    stray.raw(info).zeros(2);
    ASSERT_EQ(stray.size() % 2, 1u);
    PSDLayers third;
    EXPECT_TRUE(Read(WithTail(Section(stray)), third));
    EXPECT_EQ(third.GetGlobalLayerMaskLength(), 0u);
    EXPECT_EQ(Next(4), "TAIL");

    // An even section has no closing byte.
    Bytes even;
    even.raw(info).zeros(1);
    PSDLayers fourth;
    EXPECT_TRUE(Read(WithTail(Section(even)), fourth));
    EXPECT_EQ(Next(4), "TAIL");
}

TEST_F(LayerSectionRead, ASecondReadAppends) {
    Bytes firstData;
    firstData.raw(ChannelData(1, 2)).raw(ChannelData(2, 2)).raw(ChannelData(3, 2));
    EXPECT_TRUE(Read(LayerSection(2,
                                  {Record(0, 0, 1, 1, {{0, 2}}, PlainExtra("a")),
                                   Record(0, 0, 1, 1, {{0, 2}, {1, 2}}, PlainExtra("b"))},
                                  firstData),
                     layers, "first.bin"));
    Bytes secondData;
    secondData.raw(ChannelData(0, 2)).raw(ChannelData(3, 2));
    EXPECT_TRUE(Read(LayerSection(1, {Record(0, 0, 1, 1, {{0, 2}, {1, 2}}, PlainExtra("c"))}, secondData), layers,
                     "second.bin"));
    ASSERT_EQ(layers.GetLayerCount(), 3);
    EXPECT_STREQ(layers.GetLayerRecordLayerName(2), "c");
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 0), 1);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(1, 1), 3);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(0, 2), 0);
    EXPECT_EQ(layers.GetLayerRecordImageDataCompression(1, 2), 3);
}

TEST_F(LayerSectionRead, ManyRecordsWithShortAndLongPixelData) {
    // Some 300 KB of records and 2 MB of pixel data: channels of a few bytes
    // lie close together, others far apart.
    const unsigned count = 3000;
    std::vector<Bytes> records;
    Bytes data;
    for (unsigned i = 0; i < count; ++i) {
        unsigned long first = 2 + i % 7;
        unsigned long second = i % 100 == 0 ? 40000 + i : 2 + (i * 31) % 3000;
        std::string name(i % 40, static_cast<char>('A' + i % 26));
        records.push_back(Record(i, 0, 1, 1, {{0, first}, {1, second}},
                                 PlainExtra(name, Bytes().raw(Entry("lyid", 4)).raw(Entry("shmd", i % 90)))));
        data.raw(ChannelData(i % 4, first)).raw(ChannelData((i + 1) % 4, second));
    }
    EXPECT_TRUE(Read(WithTail(LayerSection(count, records, data))));
    ASSERT_EQ(layers.GetLayerCount(), count);
    for (unsigned short i = 0; i < count; ++i) {
        ASSERT_EQ(layers.GetLayerRecordLayerTop(i), i);
        ASSERT_EQ(std::strlen(layers.GetLayerRecordLayerName(i)), i % 40u);
        ASSERT_EQ(layers.GetLayerRecordAdjustmentLength(1, i), i % 90u);
        ASSERT_EQ(layers.GetLayerRecordImageDataCompression(0, i), i % 4);
        ASSERT_EQ(layers.GetLayerRecordImageDataCompression(1, i), (i + 1) % 4);
    }
    EXPECT_EQ(Next(4), "TAIL");
}

// A section with every part, for cutting the file at each byte.
struct FullSection {
    Bytes bytes;
    std::vector<std::size_t> recordFieldsEnd;  // where each record's fields up to the extra data size end
    std::size_t channelDataEnd = 0;
};

FullSection MakeFullSection() {
    Bytes mask;
    mask.u32(20).u32(0x01020304).zeros(16);
    Bytes blending;
    blending.u32(16).u32(1).u32(2).u32(3).u32(4);
    Bytes extra0;
    extra0.raw(mask).raw(blending).raw(Name("first")).raw(Entry("luni", 8)).raw(Entry("lyid", 4));
    Bytes record0 = Record(1, 2, 3, 4, {{0xFFFF, 6}, {0, 4}}, extra0, "scrn", 200, 1, 2);
    Bytes record1 = Record(5, 6, 7, 8, {{0, 2}}, PlainExtra("2nd", Entry("post", 0)));
    Bytes data;
    data.raw(ChannelData(1, 6)).raw(ChannelData(2, 4)).raw(ChannelData(3, 2));

    FullSection full;
    Bytes body;
    body.raw(LayerInfo(2, {record0, record1}, data)).u32(4).zeros(4);
    full.bytes = Section(body);
    std::size_t start0 = 4 + 4 + 2;
    full.recordFieldsEnd.push_back(start0 + 18 + 2 * 6 + 16);
    std::size_t start1 = start0 + record0.size();
    full.recordFieldsEnd.push_back(start1 + 18 + 6 + 16);
    full.channelDataEnd = start1 + record1.size() + data.size();
    return full;
}

TEST_F(LayerSectionRead, AFileThatEndsInsideTheSection) {
    FullSection full = MakeFullSection();
    for (std::size_t cut = 0; cut <= full.bytes.size(); ++cut) {
        SCOPED_TRACE(cut);
        Bytes part;
        part.data.assign(full.bytes.data.begin(), full.bytes.data.begin() + static_cast<long>(cut));
        PSDLayers read;
        // Only the whole section reads with true.
        EXPECT_EQ(Read(part, read), cut == full.bytes.size());
        // Records whose fields were there stay, and nothing else.
        unsigned short expected = 0;
        for (std::size_t end : full.recordFieldsEnd)
            if (end <= cut) ++expected;
        ASSERT_EQ(read.GetLayerCount(), expected);
        if (expected >= 1) {
            EXPECT_EQ(read.GetLayerRecordLayerTop(0), 1u);
            EXPECT_EQ(read.GetLayerRecordNumChannels(0), 2);
        }
        if (cut == full.bytes.size()) {
            EXPECT_EQ(read.GetLayerRecordMaskTop(0), 0x01020304u);
            EXPECT_EQ(read.GetLayerRecordBlendingNumChannels(0), 1u);
            EXPECT_EQ(read.GetLayerRecordNumAdjustments(0), 2);
            EXPECT_EQ(read.GetLayerRecordImageDataCompression(1, 0), 2);
            EXPECT_EQ(read.GetGlobalLayerMaskLength(), 4u);
        }
        if (expected == 2) {
            EXPECT_EQ(read.GetLayerRecordLayerTop(1), 5u);
        }
        if (cut >= full.channelDataEnd) {
            EXPECT_EQ(read.GetLayerRecordImageDataCompression(0, 1), 3);
        }
        // The walk stops at the end of the file.
        if (cut >= 4) {
            EXPECT_EQ(Position(), static_cast<long long>(cut));
        }
    }
}

TEST_F(LayerSectionRead, ADocumentWithLayersFindsItsComposite) {
    // Header, empty colour mode and resources, a layer section padded the
    // way Photoshop pads it, then a raw composite of 2 x 2 x 3 bytes.
    Bytes info = LayerInfo(1, {Record(0, 0, 2, 2, {{0, 6}}, PlainExtra("x"))}, ChannelData(0, 6));
    Bytes body;
    body.raw(info).zeros(2).u32(0).str("8BIMFMsk").u32(4).zeros(4);
    Bytes file = psdtest::PsdHeader(3, 2, 2, 8, 3);
    file.u32(0).u32(0).raw(Section(body)).u16(0).str("ABCDEFGHIJKL");
    std::string path = dir.Write("doc.psd", file);

    psdkit::PhotoshopFile document;
    ASSERT_TRUE(document.OpenReadFile(path.c_str()));
    EXPECT_EQ(document.GetLayers()->GetLayerCount(), 1);
    EXPECT_STREQ(document.GetLayers()->GetLayerRecordLayerName(0), "x");
    EXPECT_EQ(document.GetImageCompression(), 0);
    ASSERT_EQ(document.GetImageDataLen(), 12u);
    EXPECT_EQ(std::string(document.GetImageData(), 12), "ABCDEFGHIJKL");

    // Cut inside the layer section, the document does not read.
    file.data.resize(file.size() - 12 - 2 - 10);
    std::string cutPath = dir.Write("cut.psd", file);
    psdkit::PhotoshopFile cut;
    EXPECT_FALSE(cut.OpenReadFile(cutPath.c_str()));
}

}  // namespace
