// The ICC tags and profile block: the sRGB preset byte for byte, its report
// and Little CMS reading it; other payload and header values, the date rule,
// bytes that do not hold what they claim; the psdkit icc command.

#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <set>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PSDICCProfileRB;
using psdkit::PSDICCTag;
using psdtest::Bytes;
using psdtest::RunCli;

namespace {

// A block as written; from 12 on, without its frame, the profile.
std::vector<char> WrittenBytes(psdkit::PSDResourceBlock* block, std::size_t from = 0) {
    psdtest::TempDir dir;
    {
        std::ofstream out(dir.Path("block.bin"), std::ios_base::binary);
        block->SetStreams(nullptr, &out);
        block->WriteResourceBlock();
    }
    std::vector<char> b = psdtest::ReadFile(dir.Path("block.bin"));
    return std::vector<char>(b.begin() + static_cast<long>(std::min(from, b.size())), b.end());
}

std::vector<char> TagData(PSDICCTag* tag) {
    psdtest::TempDir dir;
    {
        std::ofstream out(dir.Path("tag.bin"), std::ios_base::binary);
        tag->WriteTagData(&out);
    }
    return psdtest::ReadFile(dir.Path("tag.bin"));
}

// A resource block of ID 1039 around `payload`, as a file holds it.
Bytes Framed(const std::vector<char>& payload, const std::string& name = "") {
    Bytes b;
    b.str("8BIM").u16(1039).u8(static_cast<unsigned>(name.size())).str(name).zeros(name.size() % 2 ? 0 : 1);
    return b.u32(payload.size()).raw(payload).zeros(payload.size() % 2);
}

// A profile block read from `framed` the way the section reader does it.
std::unique_ptr<PSDICCProfileRB> Decoded(const Bytes& framed) {
    psdtest::TempDir dir;
    std::ifstream in(dir.Write("block.bin", framed), std::ios_base::binary);
    psdkit::PSDGenericResourceBlock raw;
    raw.SetStreams(&in, nullptr);
    EXPECT_TRUE(raw.ReadResourceBlock());
    std::unique_ptr<PSDICCProfileRB> block(new PSDICCProfileRB());
    psdkit::PSDResourceBlock::Copy(&raw, block.get());
    return block;
}

// A profile of `size` bytes: the size field, zeros, the tag count, `rest`, zeros to the size.
std::vector<char> Profile(unsigned long count, const Bytes& rest, unsigned long size) {
    Bytes b;
    b.u32(size).zeros(124).u32(count).raw(rest);
    return b.zeros(size > b.size() ? size - b.size() : 0).data;
}

std::string Text(const std::vector<char>& b, std::size_t at, std::size_t n) {
    return at + n <= b.size() ? std::string(b.data() + at, n) : "(past the end)";
}

std::string Hex(const std::vector<char>& b, std::size_t at, std::size_t n) {
    return at + n <= b.size() ? psdtest::Hex(b.data() + at, n) : "(past the end)";
}

std::string Report(PSDICCProfileRB* block) {
    return psdtest::CaptureStdout([block] { block->PrintInfo(); });
}

// One getter per payload type: each gives null unless the type word is its own.
using Getter = char* (PSDICCTag::*)() const;
enum Type { TEXT, DESC, CURV, SIG, MEAS, VIEW, XYZ };
const Getter GETTERS[7] = {&PSDICCTag::GetTextTypeAttribute,    &PSDICCTag::GetDescTypeAttribute,
                           &PSDICCTag::GetCurveTypeAttribute,   &PSDICCTag::GetSignatureTypeAttribute,
                           &PSDICCTag::GetMeasureTypeAttribute, &PSDICCTag::GetViewConditionsTypeAttribute,
                           &PSDICCTag::GetXYZTypeAttribute};

// A payload just set (`set` the setter's result) against its size, bytes and type.
void ExpectPayload(PSDICCTag* tag, bool set, unsigned long size, Type type, const std::string& hex) {
    EXPECT_TRUE(set);
    EXPECT_EQ(tag->GetTagSize(), size);
    EXPECT_EQ(Hex(TagData(tag), 0, tag->GetPaddedTagSize()), hex);
    for (int g = 0; g < 7; ++g) EXPECT_EQ((tag->*GETTERS[g])() != nullptr, g == type) << "getter " << g;
}

double SRGBDecode(double x) { return x <= 0.04045 ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4); }

// The preset's 17 tags; TagData is the report's, null where the text is the block's own choice.
const struct {
    const char* id;
    unsigned long size, offset;
    const char* text;
} TAGS[17] = {
    {"cprt", 51, 336, nullptr},
    {"desc", 108, 388, "sRGB IEC61966-2.1"},
    {"wtpt", 20, 496, "X:0.950455 Y:1.000000 Z:1.089035"},
    {"bkpt", 20, 516, "X:0.000000 Y:0.000000 Z:0.000000"},
    {"rXYZ", 20, 536, "X:0.436066 Y:0.222473 Z:0.013901"},
    {"gXYZ", 20, 556, "X:0.385132 Y:0.716858 Z:0.097061"},
    {"bXYZ", 20, 576, "X:0.143051 Y:0.060608 Z:0.714081"},
    {"dmnd", 112, 596, nullptr},
    {"dmdd", 136, 708, "IEC 61966-2.1 Default RGB colour space - sRGB"},
    {"vued", 134, 844, "Reference Viewing Condition in IEC61966-2.1"},
    {"view", 36, 980, "IX:19.644501 IY:20.371796 IZ:16.808899 SX:3.928879 SY:4.074387 SZ:3.361786 IT:D50"},
    {"lumi", 20, 1016, "X:76.036469 Y:80.000000 Z:87.124619"},
    {"meas", 36, 1036,
     "Observer:1931 2 degree Observer BX:0.000000 BY:0.000000 BZ:0.000000 Geometry:unknown Flare:1.000000% "
     "Illuminant:D65"},
    {"tech", 12, 1072, "Signature:CRT "},
    {"rTRC", 2060, 1084, "Count:1024"},
    {"gTRC", 2060, 3144, "Count:1024"},
    {"bTRC", 2060, 5204, "Count:1024"},
};

// The 16.16 bytes of the preset's XYZ tags: wtpt, bkpt, rXYZ, gXYZ, bXYZ, lumi.
const unsigned long XYZS[6][3] = {{0xF351, 0x10000, 0x116CB}, {0, 0, 0},
                                  {0x6FA2, 0x38F4, 0x038F},   {0x6298, 0xB784, 0x18D9},
                                  {0x249F, 0x0F84, 0xB6CE},   {0x4C0956, 0x500000, 0x571FE7}};

// The preset's profile, field by field. The copyright and manufacturer texts
// are the block's own choice, of fixed lengths.
std::vector<char> ExpectedProfile(const std::string& copyright, const std::string& manufacturer) {
    Bytes e;
    e.u32(7264).str("Lino").u32(0x02100000).str("mntrRGB XYZ ").u16(1998).u16(2).u16(9).u16(6).u16(49).u16(0);
    e.str("acspMSFT").zeros(4).str("IEC sRGB").zeros(12).u32(0xF6D5).u32(0x10000).u32(0xD32C).str("HP  ");
    e.zeros(44).u32(17);
    for (const auto& t : TAGS) e.str(t.id).u32(t.offset).u32(t.size);
    auto xyz = [&e](int i) { e.str("XYZ ").zeros(4).u32(XYZS[i][0]).u32(XYZS[i][1]).u32(XYZS[i][2]); };
    auto desc = [&e](const std::string& s) {  // 79 zeros behind the text, then the padding
        e.str("desc").zeros(4).u32(s.size() + 1).str(s).zeros(79 + (5 - s.size() % 4) % 4);
    };
    e.str("text").zeros(4).str(copyright).zeros(2);
    desc("sRGB IEC61966-2.1");
    for (int i = 0; i < 5; ++i) xyz(i);
    desc(manufacturer);
    desc("IEC 61966-2.1 Default RGB colour space - sRGB");
    desc("Reference Viewing Condition in IEC61966-2.1");
    e.str("view").zeros(4).u32(0x13A4FE).u32(0x145F2E).u32(0x10CF14).u32(0x3EDCB).u32(0x4130B).u32(0x35C9E).u32(1);
    xyz(5);
    e.str("meas").zeros(4).u32(1).zeros(12).u32(0).u32(0x10000).u32(2);
    e.str("sig ").zeros(4).str("CRT ");
    for (int curve = 0; curve < 3; ++curve) {
        e.str("curv").zeros(4).u32(1024);
        for (int i = 0; i < 1024; ++i) e.u16(static_cast<unsigned>(std::floor(SRGBDecode(i / 1023.0) * 65535 + 0.5)));
    }
    return e.data;
}

// An open Little CMS profile, closed at the end of the scope.
std::unique_ptr<void, cmsBool (*)(cmsHPROFILE)> OpenLcms(const std::vector<char>& bytes) {
    return {cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())), cmsCloseProfile};
}

}  // namespace

TEST(IccPreset, BytesSizesReportAndReadBack) {
    PSDICCProfileRB block;
    block.SetProfile(PSDICCProfileRB::PROFILE_NAME_CUSTOM);
    block.SetProfile(3);  // neither adds a tag
    EXPECT_EQ(block.FindTag(PSDICCTag::TAGID_CPRT), nullptr);
    block.SetProfile(PSDICCProfileRB::PROFILE_NAME_SRGB);
    EXPECT_EQ(block.GetNumTags(), 17u);
    EXPECT_EQ(block.GetHdrProfileSize(), 7264u);
    EXPECT_EQ(block.GetResourceBlockSize(), 7276u);
    EXPECT_EQ(block.GetTag(16)->GetTagOffset(), 0u);  // until written
    std::vector<char> written = WrittenBytes(&block);
    EXPECT_EQ(Hex(written, 0, 12), "38 42 49 4D 04 0F 00 00 00 00 1C 60");
    std::vector<char> p(written.begin() + 12, written.end());
    std::string copyright = Text(p, 344, 42), manufacturer = Text(p, 608, 21);
    EXPECT_EQ(std::strlen(copyright.c_str()) + std::strlen(manufacturer.c_str()), 42u + 21u);
    std::vector<char> expected = ExpectedProfile(copyright, manufacturer);
    EXPECT_TRUE(p == expected) << "first difference at profile offset "
                               << std::mismatch(p.begin(), p.end(), expected.begin(), expected.end()).first - p.begin();
    for (unsigned long i = 0; i < 17; ++i) EXPECT_EQ(block.GetTag(i)->GetTagOffset(), TAGS[i].offset);
    // The other name gives the same bytes, and the clock is never read.
    PSDICCProfileRB other(PSDICCProfileRB::PROFILE_NAME_QUILLARY);
    EXPECT_EQ(WrittenBytes(&other), written);
    EXPECT_EQ(WrittenBytes(&block), written);
    std::string report =
        " 1039 - ICC Profile\nHdr:ProfileSize:7264\nHdr:CMMType:oniL\nHdr:ProfileVersion:2.16\n"
        "Hdr:ProfileClass:Display Device\nHdr:ColorSpace:RGB\nHdr:ConnectionSpace:XYZ\n"
        "Hdr:CreationDate:2/9/1998 6:49:0\nHdr:Platform:Microsoft\nHdr:Flags:Embedded:False\n"
        "Hdr:Flags:ReqColorData:False\nHdr:Manfacturer: CEI\nHdr:Model:BGRs\nHdr:Attributes:Transparent:False\n"
        "Hdr:Attributes:Matte:False\nHdr:RenderingIntent:Perceptual\nHdr:IlluminantX:0.9642\nHdr:IlluminantY:1\n"
        "Hdr:IlluminantZ:0.8249\nHdr:Creator:  PH\nNum Tags:17\n";
    for (unsigned long i = 0; i < 17; ++i)
        report += "\n   TagID:" + std::string(TAGS[i].id) + "\n   TagOffset:" + std::to_string(TAGS[i].offset) +
                  "\n   TagSize:" + std::to_string(TAGS[i].size) +
                  "\n   TagData:" + (TAGS[i].text != nullptr ? TAGS[i].text : block.GetTag(i)->GetAttributeAsName()) +
                  "\n\n";
    EXPECT_EQ(Report(&block), report);

    auto read = Decoded(Framed(p));
    EXPECT_STREQ(read->GetHdrCMMTypeAsName(), "Lino");  // codes are read in file order
    EXPECT_EQ(read->GetIlluminantX(), 0.9641876220703125);
    EXPECT_EQ(read->GetIlluminantZ(), 0.82489013671875);
    // Its sizes fit, so it is encoded again: the same bytes but for the four codes, reversed.
    std::vector<char> again = WrittenBytes(read.get(), 12);
    ASSERT_EQ(again.size(), p.size());
    EXPECT_EQ(Text(again, 4, 4) + Text(again, 48, 8) + Text(again, 80, 4), "oniL CEIBGRs  PH");
    for (std::size_t at : {4, 48, 52, 80}) std::copy_n(p.begin() + at, 4, again.begin() + at);
    EXPECT_EQ(again, p);

    // A second preset adds 17 more tags; FindTag finds the later ones; the count never passes the list.
    block.SetProfile(PSDICCProfileRB::PROFILE_NAME_SRGB);
    EXPECT_EQ(block.GetResourceBlockSize(), 7276u + 7132u);
    EXPECT_EQ(block.FindTag(PSDICCTag::TAGID_LUMINANCE), block.GetTag(11 + 17));
    block.SetNumTags(99);
    EXPECT_EQ(block.GetNumTags(), 34u);
}

TEST(IccPreset, LittleCMSOpensAndConverts) {
    PSDICCProfileRB block(PSDICCProfileRB::PROFILE_NAME_SRGB);
    auto profile = OpenLcms(WrittenBytes(&block, 12));
    ASSERT_NE(profile, nullptr) << "Little CMS refused the sRGB profile";
    EXPECT_EQ(cmsGetColorSpace(profile.get()), cmsSigRgbData);
    EXPECT_EQ(cmsGetPCS(profile.get()), cmsSigXYZData);
    EXPECT_EQ(cmsGetDeviceClass(profile.get()), cmsSigDisplayClass);
    EXPECT_EQ(cmsGetEncodedICCversion(profile.get()), 0x02100000u);
    EXPECT_TRUE(cmsIsMatrixShaper(profile.get()));
    EXPECT_EQ(cmsGetTagCount(profile.get()), 17);
    // Full red, green and blue give the colorants as their 16.16 bytes hold them.
    cmsHPROFILE xyz = cmsCreateXYZProfile();
    cmsHTRANSFORM transform = cmsCreateTransform(profile.get(), TYPE_RGB_16, xyz, TYPE_XYZ_DBL,
                                                 INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    ASSERT_NE(transform, nullptr);
    for (int c = 0; c < 3; ++c) {
        cmsUInt16Number rgb[3] = {0, 0, 0};
        rgb[c] = 65535;
        double out[3];
        cmsDoTransform(transform, rgb, out, 1);
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(out[k], XYZS[2 + c][k] / 65536.0, 1e-5) << c << k;
    }
    cmsDeleteTransform(transform);
    cmsCloseProfile(xyz);
    // The tone curves as Little CMS decodes them: each point within 1/65535 of the function.
    for (cmsTagSignature signature : {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag}) {
        auto* curve = static_cast<cmsToneCurve*>(cmsReadTag(profile.get(), signature));
        ASSERT_NE(curve, nullptr);
        ASSERT_EQ(cmsGetToneCurveEstimatedTableEntries(curve), 1024u);
        const cmsUInt16Number* table = cmsGetToneCurveEstimatedTable(curve);
        for (int i = 0; i < 1024; ++i)
            EXPECT_NEAR(table[i] / 65535.0, SRGBDecode(i / 1023.0), 1.0 / 65535) << "entry " << i;
    }
}

TEST(IccTag, SettersAndTypedGetters) {
    PSDICCTag tag(PSDICCTag::TAGID_CPRT);
    ExpectPayload(&tag, tag.SetTextTypeAttribute(""), 9, TEXT, "74 65 78 74 00 00 00 00 00 00 00 00");
    // Each setter replaces the payload; cprt's text wants `text`.
    ExpectPayload(&tag, tag.SetDescTypeAttribute(""), 91, DESC,
                  psdtest::Hex(Bytes().str("desc").zeros(7).u8(1).zeros(80).data.data(), 92));
    EXPECT_STREQ(tag.GetAttributeAsName(), "");
    ExpectPayload(&tag, tag.SetCurveTypeAttribute(0, nullptr), 12, CURV, "63 75 72 76 00 00 00 00 00 00 00 00");
    ExpectPayload(&tag, tag.SetSignatureTypeAttribute(0x43525420), 12, SIG, "73 69 67 20 00 00 00 00 43 52 54 20");
    tag.SetTagID(PSDICCTag::TAGID_MEASUREMENT);
    bool set = tag.SetMeasurement(PSDICCTag::STANDARD_OBSERVER_1964, 0.5, 1.0, 2.0, PSDICCTag::GEOMETRY_D, 1.0,
                                  PSDICCTag::ILLUMINANT_TYPE_F8);
    ExpectPayload(&tag, set, 36, MEAS,
                  "6D 65 61 73 00 00 00 00 00 00 00 02 00 00 80 00 00 01 00 00 00 02 00 00 00 00 00 02 00 01 00 00 "
                  "00 00 00 08");
    EXPECT_STREQ(tag.GetAttributeAsName(),
                 "Observer:1964 10 degree Observer BX:0.500000 BY:1.000000 BZ:2.000000 Geometry:0/d or d/0 "
                 "Flare:1.000000% Illuminant:F8");
    // A size set by hand beyond the payload writes the bytes it promises.
    tag.SetTagSize(4096);
    std::vector<char> grown = TagData(&tag);
    ASSERT_EQ(grown.size(), 4096u);
    EXPECT_EQ(Hex(grown, 32, 4), "00 00 00 08");
}

TEST(IccTag, PayloadsCutShortOrUnterminatedGiveNull) {
    auto expect = [](const Bytes& profile, unsigned long size, int type, bool decoded) {
        std::vector<char> entry = Bytes().u32(0).u32(0).u32(size).data;
        PSDICCTag tag;
        EXPECT_EQ(tag.ReadTag(profile.data.data(), entry.data(), profile.size()), entry.data() + 12);
        EXPECT_EQ((tag.*GETTERS[type])() != nullptr, decoded) << psdtest::Hex(profile.data.data(), size);
    };
    const std::pair<const char*, unsigned long> layouts[7] = {{"text", 9},  {"desc", 13}, {"curv", 12}, {"sig ", 12},
                                                              {"meas", 36}, {"view", 36}, {"XYZ ", 20}};
    for (int type = 0; type < 7; ++type) {
        // Zeros behind the type word hold the terminators and a curve count of 0: only the size cuts it short.
        Bytes profile = Bytes().str(layouts[type].first).zeros(60);
        for (unsigned long size : {layouts[type].second, layouts[type].second - 1, 3UL})
            expect(profile, size, type, size == layouts[type].second);
    }
    Bytes curve = Bytes().str("curv").zeros(4).u32(3).u16(1).u16(2).u16(3).u16(0);
    expect(curve, 18, CURV, true);
    expect(curve, 16, CURV, false);  // fewer entries than the count
    expect(Bytes().str("curv").zeros(4).u32(0xFFFFFFFF), 12, CURV, false);
    expect(Bytes().str("text").zeros(4).str("abcd"), 12, TEXT, false);  // no zero byte anywhere
    expect(Bytes().str("desc").zeros(4).u32(5).str("abcd"), 16, DESC, false);
    expect(Bytes().str("text").zeros(4).str("abc").u8(0), 11, TEXT, true);  // the zero is a padding byte
}

TEST(IccTag, SignatureAndTagIDRoutes) {
    // A zero byte ends the text; the two routes count from opposite ends.
    const struct {
        unsigned long value;
        const char *signature, *tagID;
    } routes[] = {
        {0x63707274, "cprt", "cprt"}, {0x61626300, "abc", ""}, {0x00616263, "", "abc"}, {0x61006263, "a", "bc"}};
    for (const auto& r : routes) {
        EXPECT_STREQ(PSDICCTag::GetSignatureAsName(r.value), r.signature);
        EXPECT_STREQ(PSDICCTag(r.value).GetTagIDAsName(), r.tagID);
    }
}

TEST(IccProfile, HeaderWrittenAndReadBack) {
    PSDICCProfileRB block;
    block.SetHdrCMMType(PSDICCProfileRB::CMM_TYPE_LINO);
    block.SetHdrProfileVersion(2, 0x90);
    block.SetHdrColorSpace(PSDICCProfileRB::COLORSPACE_CMYK);
    block.SetHdrConnectionSpace(PSDICCProfileRB::CONNECTION_SPACE_LAB);
    block.SetHdrCreationDate(2001, 12, 31, 23, 59, 58);
    block.SetHdrProfileFlags(static_cast<unsigned short>(0xFF));
    block.SetHdrProfileFlags(true, false);  // 1, the old bits gone
    block.SetHdrManufacturer(0x41424344);
    block.SetHdrAttributes(0xFFUL);
    block.SetHdrAttributes(false, true);  // 2
    block.SetHdrRenderingIntent(1);
    Bytes expected;  // flags, attributes and intent go out low byte first
    expected.u32(132).str("Lino").u32(0x02900000).zeros(4).str("CMYKLab ").u16(2001).u16(12).u16(31).u16(23).u16(59);
    expected.u16(58).str("acsp").zeros(4).u32(0x01000000).str("ABCD").zeros(4).u32(0x02000000).zeros(4);
    expected.u32(0x01000000).zeros(60).u32(0);
    EXPECT_EQ(WrittenBytes(&block, 12), expected.data);

    auto read = Decoded(Framed(expected.data));
    EXPECT_EQ(read->GetHdrCMMType(), 0x6F6E694Cu);                  // read lowest byte first
    EXPECT_STREQ(read->GetHdrProfileVersionAsString(), "2.65424");  // 0x90 as a signed char
    EXPECT_STREQ(read->GetHdrColorSpaceAsName(), "CYMK");
    EXPECT_STREQ(read->GetHdrConnectionSpaceAsName(), "Lab");
    EXPECT_EQ(read->GetHdrProfileFlags(), 256);
    EXPECT_TRUE(read->GetHdrAttributeMatte() && !read->GetHdrAttributeTransparent());
    EXPECT_STREQ(read->GetHdrRenderingIntentAsName(), "Invalid");  // 256
    EXPECT_EQ(Hex(WrittenBytes(read.get(), 12), 44, 2), "00 01");  // flags of 256, written again
}

TEST(IccProfile, DateRule) {
    PSDICCProfileRB stored, clock;
    stored.SetHdrCreationDate(1998, 2, 9, 0, 0, 0);  // zero hours trigger nothing
    EXPECT_EQ(Hex(WrittenBytes(&stored, 12), 24, 12), "07 CE 00 02 00 09 00 00 00 00 00 00");
    clock.SetHdrCreationDate(1998, 0, 9, 6, 49, 0);  // month 0: the clock's date and time go out
    std::time_t now = std::time(nullptr);
    std::tm local = *std::localtime(&now);
    std::vector<char> today =
        Bytes().u16(local.tm_year + 1900u).u16(local.tm_mon + 1u).u16(local.tm_mday + 0u).u16(local.tm_hour + 0u).data;
    EXPECT_EQ(Hex(WrittenBytes(&clock, 12), 24, 8), Hex(today, 0, 8));
    EXPECT_EQ(clock.GetHdrCreationYear(), 1998);  // the fields stay
}

TEST(IccProfile, ReadBlocksThatDoNotHoldWhatTheyClaim) {
    std::vector<char> lino = Profile(3, Bytes(), 133);  // a count of 3, no room for an entry
    lino[4] = 'L';
    std::vector<char> tiny(lino.begin(), lino.begin() + 131);
    lino[3] = 99, lino[36] = 'x';  // a size field of 99, no "acsp"
    Bytes twoTags;                 // an endless count: room for 4 entries, the last two being tag data
    twoTags.u32(PSDICCTag::TAGID_CPRT).u32(156).u32(12).u32(PSDICCTag::TAGID_TECHNOLOGY).u32(168).u32(12);
    twoTags.str("text").zeros(4).str("abc").u8(0).str("sig ").zeros(4).str("CRT ");
    Bytes outside;  // the table ends at 204: inside, at the last byte, padding missing, past the end, wrapping
    outside.u32(PSDICCTag::TAGID_LUMINANCE).u32(204).u32(20).u32(PSDICCTag::TAGID_MEDIA_WHITE_POINT).u32(224).u32(8);
    outside.u32(PSDICCTag::TAGID_CPRT).u32(231).u32(1).u32(PSDICCTag::TAGID_MEDIA_BLACK_POINT).u32(233).u32(4);
    outside.u32(PSDICCTag::TAGID_RED_COLORANT).u32(0xFFFFFFF0).u32(0x20);
    outside.u32(PSDICCTag::TAGID_GREEN_COLORANT).u32(4).u32(0xFFFFFFFF);
    outside.str("XYZ ").zeros(4).u32(0x10000).u32(0x20000).u32(0x30000);
    Bytes shared;  // three entries on one curve: encoded, each gets bytes of its own
    for (unsigned long id : {0x72545243UL, 0x67545243UL, 0x62545243UL}) shared.u32(id).u32(168).u32(14);  // r, g, bTRC
    shared.str("curv").zeros(4).u32(1).u16(0x0100).zeros(2);
    // Per case: the profile, per tag read 1 with a payload and 0 without, a piece of the report, and
    // the size it is re-encoded to (132 + 12 and the padded size per tag), 0 when it goes out raw.
    const struct {
        std::vector<char> profile;
        const char *payloads, *report;
        unsigned long encoded;
    } cases[] = {
        {tiny, "", "Hdr:ProfileSize:132\nHdr:CMMType:\n", 0},
        {lino, "", "Hdr:ProfileSize:99\nHdr:CMMType:L\n", 132},
        {Profile(0xFFFFFFFF, twoTags, 189), "1100",
         "Num Tags:4\n\n   TagID:cprt\n   TagOffset:156\n   TagSize:12\n"
         "   TagData:abc\n",
         0},
        {Profile(6, outside, 232), "110000",
         "X:1.000000 Y:2.000000 Z:3.000000\n\n\n   TagID:wtpt\n   TagOffset:224\n"
         "   TagSize:8\n   TagData:\n\n\n   TagID:cprt\n   TagOffset:231\n",
         0},
        {Profile(3, shared, 184), "111", "   TagID:bTRC\n   TagOffset:168\n   TagSize:14\n   TagData:Count:1\n",
         132 + 3 * 12 + 3 * 16},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(psdtest::Hex(c.profile.data(), std::min<std::size_t>(c.profile.size(), 8)));
        auto block = Decoded(Framed(c.profile));
        std::string payloads;
        std::set<char*> buffers;  // entries on the same bytes get copies of their own
        for (unsigned long i = 0; i < block->GetNumTags(); ++i) {
            payloads += block->GetTag(i)->GetTagData() != nullptr ? '1' : '0';
            if (block->GetTag(i)->GetTagData() != nullptr) buffers.insert(block->GetTag(i)->GetTagData());
        }
        EXPECT_EQ(payloads, c.payloads);
        EXPECT_EQ(buffers.size(), static_cast<std::size_t>(std::count(payloads.begin(), payloads.end(), '1')));
        EXPECT_NE(Report(block.get()).find(c.report), std::string::npos) << Report(block.get());
        // Tags that lost their bytes keep the block raw; otherwise it is re-encoded. Either
        // way the block writes what its size states, so the section's length word stays true.
        block->UpdateSizesForWrite();
        std::vector<char> written = WrittenBytes(block.get());
        EXPECT_EQ(written.size(), block->GetResourceBlockSize());
        if (c.encoded == 0) {
            EXPECT_EQ(written, Framed(c.profile).data);
        } else {
            EXPECT_EQ(written.size(), 12 + c.encoded);
            EXPECT_EQ(Hex(written, 8, 4), psdtest::Hex(Bytes().u32(c.encoded).data.data(), 4));
        }
    }
}

TEST(IccProfile, ManyEntriesOnOneLargeTagStayBounded) {
    // Entries on one tag: copies for all would take 4 MB from a block of 16 KB,
    // or 20 GB (and minutes) from one of 1.25 MB. What is kept stays within
    // the profile's size and 64 KB, and nothing beyond that is ever copied.
    for (auto [count, tagSize] : {std::pair<unsigned long, unsigned long>{1000, 4000}, {20000, 1UL << 20}}) {
        const unsigned long dataAt = 132 + 12 * count;
        Bytes rest;
        for (unsigned long i = 0; i < count; ++i) rest.u32(0x41414141).u32(dataAt).u32(tagSize);
        std::vector<char> p = Profile(count, rest.str("zzzz"), dataAt + tagSize);
        auto block = Decoded(Framed(p));
        ASSERT_EQ(block->GetNumTags(), count);
        unsigned long held = 0;
        for (unsigned long i = 0; i < count; ++i)
            if (block->GetTag(i)->GetTagData() != nullptr) held += block->GetTag(i)->GetPaddedTagSize();
        EXPECT_LE(held, p.size() + 64 * 1024);
    }
}

TEST(IccProfile, ReadBlockEncodedOnlyWhenItsSizesFit) {
    // One tag of a type the tag does not know, with a padding byte that is not zero: encoding
    // gives the block's own sizes, so the fields are written and the tag passes through whole.
    Bytes rest = Bytes().u32(0x41324230).u32(144).u32(11).str("mft2").u32(0x01020304).str("xyz").u8(0xEE);
    std::vector<char> p = Profile(1, rest, 156);
    std::copy_n("Lino", 4, p.begin() + 4);
    auto block = Decoded(Framed(p));
    EXPECT_NE(Report(block.get()).find("   TagID:A2B0\n   TagOffset:144\n   TagSize:11\n   TagData:\n"),
              std::string::npos);
    std::vector<char> written = WrittenBytes(block.get(), 12);
    EXPECT_EQ(Text(written, 4, 4) + Text(written, 36, 4), "oniLacsp");
    EXPECT_EQ(Text(written, 128, 28), Text(p, 128, 28));
    // Read with a name, the same block is re-encoded with an empty name and takes the new size.
    auto named = Decoded(Framed(p, "icc"));
    named->UpdateSizesForWrite();
    EXPECT_EQ(named->GetResourceBlockSize(), 12 + 156UL);
    std::vector<char> again = WrittenBytes(named.get());
    EXPECT_EQ(Hex(again, 0, 12), psdtest::Hex(Bytes().str("8BIM").u16(1039).u16(0).u32(156).data.data(), 12));
    EXPECT_EQ(Text(again, 12 + 128, 28), Text(p, 128, 28));
}

TEST(IccCorpus, ProfilesDecodeAsLittleCMSReadsThemAndTheCommandHandsThemOut) {
    PSDTEST_REQUIRE_CORPUS();
    psdtest::TempDir dir;
    int files = 0;
    for (const auto& facts : psdtest::CorpusFacts()) {
        if (!facts.value("valid", false) || !facts.contains("resources")) continue;
        for (const auto& resource : facts["resources"]) {
            if (resource["id"] != 1039) continue;
            const std::string name = facts["file"];
            SCOPED_TRACE(name);
            ++files;
            psdkit::PhotoshopFile document;
            ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(name).c_str()));
            PSDICCProfileRB* block = nullptr;
            psdkit::PSDImageRes* resources = document.GetImageResources();
            for (unsigned long i = 0; i < resources->GetNumResourceBlocks() && block == nullptr; ++i)
                block = dynamic_cast<PSDICCProfileRB*>(resources->GetResourceBlock(i));
            ASSERT_NE(block, nullptr);
            std::vector<char> bytes(block->GetDataBlock(), block->GetDataBlock() + block->GetDataBlockSize());
            EXPECT_EQ(bytes.size(), resource["data_size"].get<unsigned long>());
            auto peer = OpenLcms(bytes);
            ASSERT_NE(peer, nullptr);
            EXPECT_EQ(block->GetHdrProfileSize(), bytes.size());
            EXPECT_EQ(block->GetHdrColorSpace(), static_cast<unsigned long>(cmsGetColorSpace(peer.get())));
            EXPECT_EQ(block->GetHdrConnectionSpace(), static_cast<unsigned long>(cmsGetPCS(peer.get())));
            EXPECT_EQ(block->GetHdrProfileClass(), static_cast<unsigned long>(cmsGetDeviceClass(peer.get())));
            ASSERT_EQ(block->GetNumTags(), static_cast<unsigned long>(cmsGetTagCount(peer.get())));
            for (cmsUInt32Number t = 0; t < block->GetNumTags(); ++t) {
                EXPECT_EQ(block->GetTag(t)->GetTagID(), static_cast<unsigned long>(cmsGetTagSignature(peer.get(), t)));
                EXPECT_NE(block->GetTag(t)->GetTagData(), nullptr) << "tag " << t;
            }
            PSDICCTag* copyright = block->FindTag(PSDICCTag::TAGID_CPRT);
            if (copyright != nullptr && copyright->GetCopyright() != nullptr) {
                char text[1024] = {0};
                cmsGetProfileInfoASCII(peer.get(), cmsInfoCopyright, "en", "US", text, sizeof(text));
                EXPECT_STREQ(copyright->GetCopyright(), text);
            }
            std::string out = dir.Path(name + ".icc");
            psdtest::RunResult result = RunCli({"icc", psdtest::CorpusPath(name), out});
            ASSERT_EQ(result.exitCode, 0) << result.err;
            EXPECT_EQ(psdtest::ReadFile(out), bytes);
        }
    }
    EXPECT_GT(files, 0) << "the corpus facts list no file with a profile resource";
}
