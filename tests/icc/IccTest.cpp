// The ICC tags and profile block: the sRGB preset byte for byte and its report;
// header values, the date rule, bytes that do not hold what they claim.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <memory>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PSDICCProfileRB;
using psdkit::PSDICCTag;
using psdtest::Bytes;

namespace {

// A block as written; from 12 on, without its frame, the profile.
std::vector<char> WrittenBytes(psdkit::PSDResourceBlock* block, std::size_t from = 0) {
    std::vector<char> b = psdtest::WrittenBlock(*block);
    return std::vector<char>(b.begin() + static_cast<long>(std::min(from, b.size())), b.end());
}

// A profile block read from a block around `payload` the way the section reader does it.
std::unique_ptr<PSDICCProfileRB> Decoded(const std::vector<char>& payload) {
    std::unique_ptr<PSDICCProfileRB> block(new PSDICCProfileRB());
    EXPECT_TRUE(psdtest::ReadBlock(psdtest::Block(1039, Bytes().raw(payload)), block.get()));
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

// One getter per payload type: each gives null unless the type word is its own.
using Getter = char* (PSDICCTag::*)() const;
enum Type { TEXT, DESC, CURV, SIG, MEAS, VIEW, XYZ };
const Getter GETTERS[7] = {&PSDICCTag::GetTextTypeAttribute,    &PSDICCTag::GetDescTypeAttribute,
                           &PSDICCTag::GetCurveTypeAttribute,   &PSDICCTag::GetSignatureTypeAttribute,
                           &PSDICCTag::GetMeasureTypeAttribute, &PSDICCTag::GetViewConditionsTypeAttribute,
                           &PSDICCTag::GetXYZTypeAttribute};

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

}  // namespace

TEST(IccPreset, BytesSizesReportAndReadBack) {
    PSDICCProfileRB block(PSDICCProfileRB::PROFILE_NAME_SRGB);
    EXPECT_EQ(block.GetResourceBlockSize(), 7276u);
    std::vector<char> written = WrittenBytes(&block);
    EXPECT_EQ(Hex(written, 0, 12), "38 42 49 4D 04 0F 00 00 00 00 1C 60");
    std::vector<char> p(written.begin() + 12, written.end());
    std::string copyright = Text(p, 344, 42), manufacturer = Text(p, 608, 21);
    EXPECT_EQ(std::strlen(copyright.c_str()) + std::strlen(manufacturer.c_str()), 42u + 21u);
    std::vector<char> expected = ExpectedProfile(copyright, manufacturer);
    EXPECT_TRUE(p == expected) << "first difference at profile offset "
                               << std::mismatch(p.begin(), p.end(), expected.begin(), expected.end()).first - p.begin();
    EXPECT_EQ(WrittenBytes(&block), written);  // the clock is never read
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
    EXPECT_EQ(psdtest::CaptureStdout([&block] { block.PrintInfo(); }), report);

    auto read = Decoded(p);
    // Its sizes fit, so it is encoded again: the same bytes but for the four codes, reversed.
    std::vector<char> again = WrittenBytes(read.get(), 12);
    ASSERT_EQ(again.size(), p.size());
    EXPECT_EQ(Text(again, 4, 4) + Text(again, 48, 8) + Text(again, 80, 4), "oniL CEIBGRs  PH");
    for (std::size_t at : {4, 48, 52, 80}) std::copy_n(p.begin() + at, 4, again.begin() + at);
    EXPECT_EQ(again, p);
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
    expect(Bytes().str("text").zeros(4).str("abc").u8(0), 11, TEXT, true);  // the zero is a padding byte
}

TEST(IccProfile, HeaderWrittenAndReadBackAndTheDateRule) {
    PSDICCProfileRB block;
    block.SetHdrCMMType(PSDICCProfileRB::CMM_TYPE_LINO);
    block.SetHdrProfileVersion(2, 0x90);
    block.SetHdrColorSpace(PSDICCProfileRB::COLORSPACE_CMYK);
    block.SetHdrConnectionSpace(PSDICCProfileRB::CONNECTION_SPACE_LAB);
    block.SetHdrCreationDate(2001, 12, 31, 23, 59, 58);
    block.SetHdrProfileFlags(true, false);  // 1
    block.SetHdrManufacturer(0x41424344);
    block.SetHdrAttributes(false, true);  // 2
    block.SetHdrRenderingIntent(1);
    Bytes expected;  // flags, attributes and intent go out low byte first
    expected.u32(132).str("Lino").u32(0x02900000).zeros(4).str("CMYKLab ").u16(2001).u16(12).u16(31).u16(23).u16(59);
    expected.u16(58).str("acsp").zeros(4).u32(0x01000000).str("ABCD").zeros(4).u32(0x02000000).zeros(4);
    expected.u32(0x01000000).zeros(60).u32(0);
    EXPECT_EQ(WrittenBytes(&block, 12), expected.data);

    auto read = Decoded(expected.data);
    EXPECT_STREQ(read->GetHdrProfileVersionAsString(), "2.65424");  // 0x90 as a signed char
    EXPECT_EQ(read->GetHdrProfileFlags(), 256);
    EXPECT_EQ(Hex(WrittenBytes(read.get(), 12), 44, 2), "00 01");  // flags of 256, written again

    PSDICCProfileRB stored, clock;
    stored.SetHdrCreationDate(1998, 2, 9, 0, 0, 0);  // zero hours trigger nothing
    EXPECT_EQ(Hex(WrittenBytes(&stored, 12), 24, 12), "07 CE 00 02 00 09 00 00 00 00 00 00");
    clock.SetHdrCreationDate(1998, 0, 9, 6, 49, 0);  // month 0: the clock's date and time go out
    std::time_t now = std::time(nullptr);
    std::tm local = *std::localtime(&now);
    std::vector<char> today =
        Bytes().u16(local.tm_year + 1900u).u16(local.tm_mon + 1u).u16(local.tm_mday + 0u).u16(local.tm_hour + 0u).data;
    EXPECT_EQ(Hex(WrittenBytes(&clock, 12), 24, 8), Hex(today, 0, 8));
}

// Three entries on one curve: the block is re-encoded with a copy per tag, so
// that it writes what its size states.
TEST(IccProfile, EntriesOnSharedBytesGetCopiesOfTheirOwn) {
    Bytes shared;
    for (unsigned long id : {0x72545243UL, 0x67545243UL, 0x62545243UL}) shared.u32(id).u32(168).u32(14);  // r, g, bTRC
    shared.str("curv").zeros(4).u32(1).u16(0x0100).zeros(2);
    auto block = Decoded(Profile(3, shared, 184));
    ASSERT_EQ(block->GetNumTags(), 3u);
    const std::string report = psdtest::CaptureStdout([&block] { block->PrintInfo(); });
    EXPECT_NE(report.find("   TagID:bTRC\n   TagOffset:168\n   TagSize:14\n   TagData:Count:1\n"), std::string::npos);
    block->UpdateSizesForWrite();
    const unsigned long encoded = 132 + 3 * 12 + 3 * 16;
    std::vector<char> written = WrittenBytes(block.get());
    EXPECT_EQ(written.size(), block->GetResourceBlockSize());
    EXPECT_EQ(written.size(), 12 + encoded);
    EXPECT_EQ(Hex(written, 8, 4), psdtest::Hex(Bytes().u32(encoded).data.data(), 4));
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
        auto block = Decoded(p);
        ASSERT_EQ(block->GetNumTags(), count);
        unsigned long held = 0;
        for (unsigned long i = 0; i < count; ++i)
            if (block->GetTag(i)->GetTagData() != nullptr) held += block->GetTag(i)->GetPaddedTagSize();
        EXPECT_LE(held, p.size() + 64 * 1024);
    }
}
