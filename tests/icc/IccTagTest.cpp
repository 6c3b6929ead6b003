// PSDICCTag: table entries, the seven payload layouts, their texts, and what
// a tag does with entries and payloads that do not hold what they claim.

#include <cstring>

#include "IccTestSupport.h"

using psdkit::PSDICCTag;
using psdtest::Bytes;
using namespace icctest;

namespace {

std::vector<char> Buffer(const PSDICCTag& tag) {
    return std::vector<char>(tag.GetTagData(), tag.GetTagData() + tag.GetPaddedTagSize());
}

// A tag read from `profile` through a table entry of (id, offset, size).
void ReadFrom(PSDICCTag* tag, const std::vector<char>& profile, unsigned long id, unsigned long offset,
              unsigned long size) {
    Bytes entry;
    entry.u32(id).u32(offset).u32(size);
    const char* next = tag->ReadTag(profile.data(), entry.data.data(), profile.size());
    EXPECT_EQ(next, entry.data.data() + 12);
}

}  // namespace

TEST(IccTag, NewTagAndPaddedSizes) {
    PSDICCTag tag;
    EXPECT_EQ(tag.GetTagID(), 0u);
    EXPECT_EQ(tag.GetTagOffset(), 0u);
    EXPECT_EQ(tag.GetTagSize(), 0u);
    EXPECT_EQ(tag.GetPaddedTagSize(), 0u);
    EXPECT_EQ(tag.GetTagData(), nullptr);
    EXPECT_EQ(PSDICCTag(PSDICCTag::TAGID_CPRT).GetTagID(), 0x63707274u);

    const unsigned long sizes[][2] = {{0, 0}, {1, 4}, {4, 4}, {5, 8}, {51, 52}};
    for (const auto& s : sizes) {
        tag.SetTagSize(s[0]);
        EXPECT_EQ(tag.GetPaddedTagSize(), s[1]) << "size " << s[0];
    }
    // A tag without a payload matches no type.
    EXPECT_EQ(tag.GetCopyright(), nullptr);
    EXPECT_EQ(tag.GetXYZTypeAttribute(), nullptr);
    EXPECT_EQ(tag.GetCurveTypeAttribute(), nullptr);
    EXPECT_STREQ(tag.GetAttributeAsName(), "");
}

TEST(IccTag, TextAndDescLayouts) {
    PSDICCTag tag;
    ASSERT_TRUE(tag.SetTextTypeAttribute(""));
    EXPECT_EQ(tag.GetTagSize(), 9u);
    EXPECT_EQ(tag.GetPaddedTagSize(), 12u);
    EXPECT_EQ(HexAt(Buffer(tag), 0, 12), "74 65 78 74 00 00 00 00 00 00 00 00");

    ASSERT_TRUE(tag.SetCopyright("Copyright (c) 1998 Hewlett-Packard Company"));
    EXPECT_EQ(tag.GetTagSize(), 51u);
    EXPECT_EQ(tag.GetPaddedTagSize(), 52u);
    EXPECT_STREQ(tag.GetCopyright(), "Copyright (c) 1998 Hewlett-Packard Company");
    EXPECT_EQ(tag.GetCopyright(), tag.GetTagData() + 8);  // the text itself, not a copy
    EXPECT_EQ(HexAt(Buffer(tag), 50, 2), "00 00");

    ASSERT_TRUE(tag.SetDescTypeAttribute(""));
    EXPECT_EQ(tag.GetTagSize(), 91u);
    EXPECT_EQ(tag.GetPaddedTagSize(), 92u);
    EXPECT_EQ(U32(Buffer(tag), 8), 1u);

    ASSERT_TRUE(tag.SetProfileDescription("sRGB IEC61966-2.1"));
    std::vector<char> b = Buffer(tag);
    EXPECT_EQ(tag.GetTagSize(), 108u);
    EXPECT_EQ(TextAt(b, 0, 4), "desc");
    EXPECT_EQ(U32(b, 4), 0u);
    EXPECT_EQ(U32(b, 8), 18u);
    EXPECT_EQ(TextAt(b, 12, 17), "sRGB IEC61966-2.1");
    for (std::size_t i = 29; i < 108; ++i) EXPECT_EQ(b[i], 0) << "offset " << i;
    EXPECT_STREQ(tag.GetProfileDescription(), "sRGB IEC61966-2.1");
    // A setter of another type replaces payload and sizes; the old getter no longer matches.
    EXPECT_EQ(tag.GetCopyright(), nullptr);
}

TEST(IccTag, NumberLayouts) {
    PSDICCTag tag;
    ASSERT_TRUE(tag.SetXYZTypeAttribute(1.0, 0.0, 0.0));
    EXPECT_EQ(tag.GetTagSize(), 20u);
    EXPECT_EQ(HexAt(Buffer(tag), 0, 20), "58 59 5A 20 00 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00");

    unsigned short entries[3] = {0, 0x1234, 0xFFFF};
    ASSERT_TRUE(tag.SetCurveTypeAttribute(3, entries));
    EXPECT_EQ(tag.GetTagSize(), 18u);
    EXPECT_EQ(HexAt(Buffer(tag), 0, 20), "63 75 72 76 00 00 00 00 00 00 00 03 00 00 12 34 FF FF 00 00");
    EXPECT_STREQ(tag.GetRedToneReproCurve(), "Count:3");
    ASSERT_TRUE(tag.SetCurveTypeAttribute(0, nullptr));  // no entries, pointer unread
    EXPECT_EQ(tag.GetTagSize(), 12u);
    EXPECT_STREQ(tag.GetCurveTypeAttribute(), "Count:0");
    std::vector<unsigned short> many(1024, 7);
    ASSERT_TRUE(tag.SetBlueToneReproCurve(1024, many.data()));
    EXPECT_EQ(tag.GetTagSize(), 2060u);

    PSDICCTag named;
    ASSERT_TRUE(tag.SetSignatureTypeAttribute(0x43525420));
    ASSERT_TRUE(named.SetTechnologyAsName("CRT "));
    EXPECT_EQ(Buffer(tag), Buffer(named));
    EXPECT_EQ(HexAt(Buffer(named), 0, 12), "73 69 67 20 00 00 00 00 43 52 54 20");
    EXPECT_STREQ(named.GetTechnology(), "Signature:CRT ");

    ASSERT_TRUE(tag.SetMeasurement(PSDICCTag::STANDARD_OBSERVER_1964, 0.5, 1.0, 2.0, PSDICCTag::GEOMETRY_D, 1.0,
                                   PSDICCTag::ILLUMINANT_TYPE_F8));
    EXPECT_EQ(HexAt(Buffer(tag), 0, 36),
              "6D 65 61 73 00 00 00 00 00 00 00 02 00 00 80 00 00 01 00 00 00 02 00 00 "
              "00 00 00 02 00 01 00 00 00 00 00 08");
    EXPECT_STREQ(tag.GetMeasurement(),
                 "Observer:1964 10 degree Observer BX:0.500000 BY:1.000000 BZ:2.000000 Geometry:0/d or d/0 "
                 "Flare:1.000000% Illuminant:F8");

    ASSERT_TRUE(tag.SetViewingConditions(1.0, 2.0, 3.0, 4.0, 5.0, 6.5, PSDICCTag::ILLUMINANT_TYPE_EQUI_POWER));
    EXPECT_EQ(HexAt(Buffer(tag), 0, 36),
              "76 69 65 77 00 00 00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 "
              "00 05 00 00 00 06 80 00 00 00 00 07");
    EXPECT_STREQ(tag.GetViewingConditions(),
                 "IX:1.000000 IY:2.000000 IZ:3.000000 SX:4.000000 SY:5.000000 SZ:6.500000 IT:Equi-Power (E)");
}

TEST(IccTag, ViewAndMeasureDecodeInSinglePrecisionXYZInDouble) {
    // 01 00 00 01 is 256 + 1/65536: single precision drops the last bit, double keeps it.
    std::vector<char> profile = Bytes()
                                    .str("XYZ ").zeros(4).u32(0x01000001).zeros(8)
                                    .str("view").zeros(4).u32(0x01000001).zeros(20).u32(9)
                                    .data;
    PSDICCTag xyz, view;
    ReadFrom(&xyz, profile, PSDICCTag::TAGID_MEDIA_WHITE_POINT, 0, 20);
    ReadFrom(&view, profile, PSDICCTag::TAGID_VIEWING_CONDITIONS, 20, 36);
    EXPECT_STREQ(xyz.GetMediaWhitePoint(), "X:256.000015 Y:0.000000 Z:0.000000");
    EXPECT_STREQ(view.GetViewingConditions(),
                 "IX:256.000000 IY:0.000000 IZ:0.000000 SX:0.000000 SY:0.000000 SZ:0.000000 IT:unknown");
}

TEST(IccTag, GettersGoByTypeWordAndShareTheirBuffer) {
    PSDICCTag desc, red, blue;
    desc.SetTagID(PSDICCTag::TAGID_CPRT);
    desc.SetDescTypeAttribute("x");
    EXPECT_EQ(desc.GetCopyright(), nullptr);
    EXPECT_EQ(desc.GetTextTypeAttribute(), nullptr);
    EXPECT_EQ(desc.GetXYZTypeAttribute(), nullptr);
    EXPECT_EQ(desc.GetCurveTypeAttribute(), nullptr);
    EXPECT_EQ(desc.GetSignatureTypeAttribute(), nullptr);
    EXPECT_EQ(desc.GetMeasureTypeAttribute(), nullptr);
    EXPECT_EQ(desc.GetViewConditionsTypeAttribute(), nullptr);
    EXPECT_STREQ(desc.GetDescTypeAttribute(), "x");
    EXPECT_STREQ(desc.GetAttributeAsName(), "");  // cprt wants text

    // A named setter does not look at the tag ID.
    PSDICCTag white(PSDICCTag::TAGID_MEDIA_WHITE_POINT);
    white.SetCopyright("abc");
    EXPECT_STREQ(white.GetTextTypeAttribute(), "abc");
    EXPECT_STREQ(white.GetAttributeAsName(), "");

    red.SetRedColorant(0.5, 0.25, 0);
    blue.SetBlueColorant(0.125, 0, 1);
    char* first = red.GetRedColorant();
    char* second = blue.GetBlueColorant();
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "X:0.125000 Y:0.000000 Z:1.000000");
}

TEST(IccTag, PayloadsCutShortGiveNull) {
    struct Case {
        unsigned long id;
        const char* type;
        unsigned long layout;
        char* (PSDICCTag::*getter)() const;
    };
    const Case cases[] = {
        {PSDICCTag::TAGID_CPRT, "text", 9, &PSDICCTag::GetTextTypeAttribute},
        {PSDICCTag::TAGID_PROFILE_DESCRIPTION, "desc", 13, &PSDICCTag::GetDescTypeAttribute},
        {PSDICCTag::TAGID_RED_TONE_CURVE, "curv", 12, &PSDICCTag::GetCurveTypeAttribute},
        {PSDICCTag::TAGID_TECHNOLOGY, "sig ", 12, &PSDICCTag::GetSignatureTypeAttribute},
        {PSDICCTag::TAGID_MEASUREMENT, "meas", 36, &PSDICCTag::GetMeasureTypeAttribute},
        {PSDICCTag::TAGID_VIEWING_CONDITIONS, "view", 36, &PSDICCTag::GetViewConditionsTypeAttribute},
        {PSDICCTag::TAGID_RED_COLORANT, "XYZ ", 20, &PSDICCTag::GetXYZTypeAttribute},
    };
    for (const Case& c : cases) {
        // The type word, then zeros: the texts' terminators are there, the
        // curve's count is 0. Room behind so that only the size cuts it short.
        std::vector<char> profile = Bytes().str(c.type).zeros(60).data;
        PSDICCTag whole, cut, tiny;
        ReadFrom(&whole, profile, c.id, 0, c.layout);
        ReadFrom(&cut, profile, c.id, 0, c.layout - 1);
        ReadFrom(&tiny, profile, c.id, 0, 3);
        EXPECT_NE((whole.*c.getter)(), nullptr) << c.type;
        EXPECT_EQ((cut.*c.getter)(), nullptr) << c.type;
        EXPECT_EQ((tiny.*c.getter)(), nullptr) << c.type;
        EXPECT_STREQ(cut.GetAttributeAsName(), "") << c.type;
    }

    // A curve whose count announces more entries than its payload holds.
    std::vector<char> curve = Bytes().str("curv").zeros(4).u32(3).u16(1).u16(2).u16(3).u16(0).data;
    PSDICCTag full, short1;
    ReadFrom(&full, curve, PSDICCTag::TAGID_RED_TONE_CURVE, 0, 18);
    ReadFrom(&short1, curve, PSDICCTag::TAGID_RED_TONE_CURVE, 0, 16);
    EXPECT_STREQ(full.GetCurveTypeAttribute(), "Count:3");
    EXPECT_EQ(short1.GetCurveTypeAttribute(), nullptr);
    std::vector<char> huge = Bytes().str("curv").zeros(4).u32(0xFFFFFFFF).data;
    PSDICCTag hugeCount;
    ReadFrom(&hugeCount, huge, PSDICCTag::TAGID_RED_TONE_CURVE, 0, 12);
    EXPECT_EQ(hugeCount.GetCurveTypeAttribute(), nullptr);
}

TEST(IccTag, TextsWithoutTerminatorGiveNull) {
    // No zero byte anywhere in the buffer: sizes 12 and 16 are whole multiples of 4.
    std::vector<char> text = Bytes().str("text").zeros(4).str("abcd").data;
    std::vector<char> desc = Bytes().str("desc").zeros(4).u32(5).str("abcd").data;
    PSDICCTag t, d;
    ReadFrom(&t, text, PSDICCTag::TAGID_CPRT, 0, 12);
    ReadFrom(&d, desc, PSDICCTag::TAGID_PROFILE_DESCRIPTION, 0, 16);
    ASSERT_NE(t.GetTagData(), nullptr);
    ASSERT_NE(d.GetTagData(), nullptr);
    EXPECT_EQ(t.GetCopyright(), nullptr);
    EXPECT_EQ(d.GetProfileDescription(), nullptr);
    EXPECT_STREQ(t.GetAttributeAsName(), "");

    // The padding of a read payload is part of its buffer: a zero there ends the text.
    std::vector<char> padded = Bytes().str("text").zeros(4).str("abc").u8(0).data;
    PSDICCTag p;
    ReadFrom(&p, padded, PSDICCTag::TAGID_CPRT, 0, 11);
    EXPECT_STREQ(p.GetCopyright(), "abc");
}

TEST(IccTag, EntriesWhoseDataIsNotInTheProfile) {
    std::vector<char> profile = Bytes().str("XYZ ").zeros(16).str("ab").data;  // 22 bytes
    struct Case {
        unsigned long offset, size;
        bool payload;
        const char* what;
    };
    const Case cases[] = {
        {0, 20, true, "whole profile but the tail"},
        {20, 2, false, "2 bytes at the end, padding of 2 missing"},
        {18, 4, true, "ends at the last byte"},
        {21, 1, false, "last byte, padding missing"},
        {22, 0, true, "empty, at the end"},
        {23, 0, false, "offset past the end"},
        {0, 23, false, "size past the end"},
        {4, 0xFFFFFFFF, false, "size that wraps"},
        {0xFFFFFFFF, 4, false, "offset that wraps"},
    };
    for (const Case& c : cases) {
        PSDICCTag tag;
        ReadFrom(&tag, profile, 0x58595A20, c.offset, c.size);
        EXPECT_EQ(tag.GetTagOffset(), c.offset) << c.what;
        EXPECT_EQ(tag.GetTagSize(), c.size) << c.what;
        EXPECT_EQ(tag.GetTagData() != nullptr, c.payload) << c.what;
    }
}

TEST(IccTag, ReadPayloadsPassThroughWhole) {
    // A type the tag does not know, with odd padding bytes, and a second entry on the same bytes.
    std::vector<char> profile = Bytes().str("mft2").u32(0x01020304).str("xyz").u8(0xEE).data;
    PSDICCTag first, second;
    ReadFrom(&first, profile, 0x41324230, 0, 11);
    ReadFrom(&second, profile, 0x41324231, 0, 11);
    EXPECT_EQ(first.GetPaddedTagSize(), 12u);
    EXPECT_EQ(WrittenTagData(&first), profile);  // padding byte 0xEE included
    EXPECT_STREQ(first.GetAttributeAsName(), "");

    ASSERT_NE(first.GetTagData(), second.GetTagData());
    second.SetTextTypeAttribute("other");
    EXPECT_EQ(WrittenTagData(&first), profile);
}

TEST(IccTag, TableEntryAndTagData) {
    PSDICCTag tag(PSDICCTag::TAGID_CPRT);
    tag.SetCopyright("Copyright (c) 1998 Hewlett-Packard Company");
    psdtest::TempDir dir;
    {
        std::ofstream out(dir.Path("entry"), std::ios_base::binary);
        tag.WriteTagTableEntry(336, &out);
    }
    EXPECT_EQ(tag.GetTagOffset(), 336u);
    std::vector<char> entry = psdtest::ReadFile(dir.Path("entry"));
    EXPECT_EQ(HexAt(entry, 0, 12), "63 70 72 74 00 00 01 50 00 00 00 33");
    EXPECT_EQ(WrittenTagData(&tag).size(), 52u);

    // A size given without a payload still writes the bytes it promises.
    PSDICCTag empty;
    empty.SetTagSize(6);
    EXPECT_EQ(WrittenTagData(&empty), std::vector<char>(8, 0));
    PSDICCTag none;
    EXPECT_TRUE(WrittenTagData(&none).empty());
}

TEST(IccTag, SizeSetByHandBeyondThePayload) {
    PSDICCTag tag;
    tag.SetXYZTypeAttribute(1, 2, 3);
    tag.SetTagSize(4096);  // the buffer still holds 20 bytes
    EXPECT_NE(tag.GetXYZTypeAttribute(), nullptr);
    std::vector<char> written = WrittenTagData(&tag);
    ASSERT_EQ(written.size(), 4096u);
    EXPECT_EQ(HexAt(written, 8, 4), "00 01 00 00");
    EXPECT_EQ(written[4095], 0);
    tag.SetTextTypeAttribute("a");
    tag.SetTagSize(64);
    EXPECT_NE(tag.GetTextTypeAttribute(), nullptr);
}

TEST(IccTag, NumberNames) {
    EXPECT_STREQ(PSDICCTag::GetIlluminantTypeAsName(0), "unknown");
    EXPECT_STREQ(PSDICCTag::GetIlluminantTypeAsName(1), "D50");
    EXPECT_STREQ(PSDICCTag::GetIlluminantTypeAsName(7), "Equi-Power (E)");
    EXPECT_STREQ(PSDICCTag::GetIlluminantTypeAsName(9), "unknown");
    EXPECT_STREQ(PSDICCTag::GetObserverAsName(2), "1964 10 degree Observer");
    EXPECT_STREQ(PSDICCTag::GetObserverAsName(3), "unknown");
    EXPECT_STREQ(PSDICCTag::GetGeometryAsName(1), "0/45 or 45/0");
    EXPECT_STREQ(PSDICCTag::GetGeometryAsName(3), "unknown");
    // The name operations hand out the variables' current texts.
    EXPECT_EQ(PSDICCTag::GetIlluminantTypeAsName(1), PSDICCTag::ILLUMINANT_TYPE_D50_STR);
}

TEST(IccTag, SignatureAndTagIDRoutes) {
    struct Case {
        unsigned long value;
        const char* signature;
        const char* tagID;
    };
    const Case cases[] = {
        {0x63707274, "cprt", "cprt"},
        {0x61626300, "abc", ""},
        {0x00616263, "", "abc"},
        {0x61006263, "a", "bc"},
        {0x58595A20, "XYZ ", "XYZ "},
    };
    for (const Case& c : cases) {
        EXPECT_STREQ(PSDICCTag::GetSignatureAsName(c.value), c.signature);
        PSDICCTag tag(c.value);
        EXPECT_STREQ(tag.GetTagIDAsName(), c.tagID);
    }
    PSDICCTag a(PSDICCTag::TAGID_RED_COLORANT), b(PSDICCTag::TAGID_BLUE_COLORANT);
    EXPECT_EQ(a.GetTagIDAsName(), b.GetTagIDAsName());  // one buffer for all tags

    PSDICCTag sig;
    sig.SetSignatureTypeAttribute(0x61006263);
    EXPECT_STREQ(sig.GetSignatureTypeAttribute(), "Signature:a");
}

TEST(IccTag, AttributeDispatchAndReport) {
    const unsigned long descIDs[] = {PSDICCTag::TAGID_PROFILE_DESCRIPTION, PSDICCTag::TAGID_DEVICE_MFG_DESC,
                                     PSDICCTag::TAGID_DEVICE_MODEL_DESC, PSDICCTag::TAGID_VIEWING_CONDITIONS_DESC};
    for (unsigned long id : descIDs) {
        PSDICCTag tag(id);
        tag.SetDescTypeAttribute("d");
        EXPECT_STREQ(tag.GetAttributeAsName(), "d");
    }
    const unsigned long xyzIDs[] = {PSDICCTag::TAGID_MEDIA_WHITE_POINT, PSDICCTag::TAGID_MEDIA_BLACK_POINT,
                                    PSDICCTag::TAGID_RED_COLORANT,      PSDICCTag::TAGID_GREEN_COLORANT,
                                    PSDICCTag::TAGID_BLUE_COLORANT,     PSDICCTag::TAGID_LUMINANCE};
    for (unsigned long id : xyzIDs) {
        PSDICCTag tag(id);
        tag.SetXYZTypeAttribute(0, 0.5, 0);
        EXPECT_STREQ(tag.GetAttributeAsName(), "X:0.000000 Y:0.500000 Z:0.000000");
    }
    const unsigned long curveIDs[] = {PSDICCTag::TAGID_RED_TONE_CURVE, PSDICCTag::TAGID_GREEN_TONE_CURVE,
                                      PSDICCTag::TAGID_BLUE_TONE_CURVE};
    std::vector<unsigned short> entries(1024, 1);
    for (unsigned long id : curveIDs) {
        PSDICCTag tag(id);
        tag.SetCurveTypeAttribute(1024, entries.data());
        EXPECT_STREQ(tag.GetAttributeAsName(), "Count:1024");
    }
    // An ID outside the dispatch table gives the empty text, whatever the payload.
    PSDICCTag other(0x41324230);
    other.SetXYZTypeAttribute(1, 1, 1);
    EXPECT_STREQ(other.GetAttributeAsName(), "");
    EXPECT_EQ(psdtest::CaptureStdout([&] { other.PrintInfo(); }),
              "\n   TagID:A2B0\n   TagOffset:0\n   TagSize:20\n   TagData:\n\n");

    PSDICCTag cprt(PSDICCTag::TAGID_CPRT);
    cprt.SetCopyright("Public domain");
    EXPECT_EQ(psdtest::CaptureStdout([&] { cprt.PrintInfo(); }),
              "\n   TagID:cprt\n   TagOffset:0\n   TagSize:22\n   TagData:Public domain\n\n");
}
