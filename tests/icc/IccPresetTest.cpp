// The sRGB preset, byte for byte, its tone curve, and the texts and report
// of a profile block.

#include <cmath>
#include <cstring>

#include "IccTestSupport.h"

using psdkit::PSDICCProfileRB;
using psdkit::PSDICCTag;
using namespace icctest;

namespace {

const std::size_t F = 12;  // the block's frame: profile offset 0 is block offset 12

struct TagRow {
    const char* id;
    unsigned long size, offset;
};

// The 17 tags in table order: ID, size without padding, offset in the profile.
const TagRow TAGS[17] = {
    {"cprt", 51, 336},   {"desc", 108, 388},  {"wtpt", 20, 496},  {"bkpt", 20, 516},  {"rXYZ", 20, 536},
    {"gXYZ", 20, 556},   {"bXYZ", 20, 576},   {"dmnd", 112, 596}, {"dmdd", 136, 708}, {"vued", 134, 844},
    {"view", 36, 980},   {"lumi", 20, 1016},  {"meas", 36, 1036}, {"tech", 12, 1072}, {"rTRC", 2060, 1084},
    {"gTRC", 2060, 3144}, {"bTRC", 2060, 5204},
};

std::vector<char> PresetBlockBytes(unsigned long name = PSDICCProfileRB::PROFILE_NAME_SRGB) {
    PSDICCProfileRB block(name);
    return WrittenBytes(&block);
}

double SRGBDecode(double x) { return x <= 0.04045 ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4); }

}  // namespace

TEST(IccPreset, CurveTable) {
    EXPECT_EQ(psdkit::PROFILE_SRGB_CURVE_COUNT, 1024u);
    const unsigned rows[][2] = {{0, 0},         {1, 5},         {2, 10},        {12, 59},     {41, 203},
                                {42, 208},      {100, 634},     {256, 3341},    {512, 14057}, {768, 34318},
                                {1000, 62233},  {1022, 65389},  {1023, 65535}};
    for (const auto& row : rows) EXPECT_EQ(psdkit::PROFILE_SRGB_DEFAULT_CURVE[row[0]], row[1]) << "entry " << row[0];
    for (int i = 0; i < 1024; ++i) {
        double entry = std::floor(SRGBDecode(i / 1023.0) * 65535.0 + 0.5);
        EXPECT_EQ(psdkit::PROFILE_SRGB_DEFAULT_CURVE[i], entry) << "entry " << i;
    }
}

TEST(IccPreset, FieldsAndSizes) {
    PSDICCProfileRB block;
    block.SetProfile(PSDICCProfileRB::PROFILE_NAME_CUSTOM);
    block.SetProfile(3);
    EXPECT_EQ(block.GetHdrProfileSize(), 132u);
    EXPECT_EQ(block.GetNumTags(), 0u);
    EXPECT_EQ(block.GetHdrCMMType(), 0u);

    block.SetProfile(PSDICCProfileRB::PROFILE_NAME_SRGB);
    EXPECT_EQ(block.GetNumTags(), 17u);
    EXPECT_EQ(block.GetHdrProfileSize(), 7264u);
    EXPECT_EQ(block.GetDataBlockSize(), 7264u);
    EXPECT_EQ(block.GetResourceBlockSize(), 7276u);
    for (unsigned long i = 0; i < 17; ++i) {
        EXPECT_STREQ(block.GetTag(i)->GetTagIDAsName(), TAGS[i].id);
        EXPECT_EQ(block.GetTag(i)->GetTagSize(), TAGS[i].size);
        EXPECT_EQ(block.GetTag(i)->GetTagOffset(), 0u);  // until written
    }
    WrittenBytes(&block);
    for (unsigned long i = 0; i < 17; ++i) EXPECT_EQ(block.GetTag(i)->GetTagOffset(), TAGS[i].offset);
    EXPECT_STREQ(block.FindTag(PSDICCTag::TAGID_TECHNOLOGY)->GetTechnology(), "Signature:CRT ");
    EXPECT_STREQ(block.FindTag(PSDICCTag::TAGID_MEDIA_WHITE_POINT)->GetMediaWhitePoint(),
                 "X:0.950455 Y:1.000000 Z:1.089035");

    // A second preset adds 17 more tags.
    PSDICCTag* firstLumi = block.FindTag(PSDICCTag::TAGID_LUMINANCE);
    block.SetProfile(PSDICCProfileRB::PROFILE_NAME_QUILLARY);
    EXPECT_EQ(block.GetNumTags(), 34u);
    EXPECT_EQ(block.GetHdrProfileSize(), 7264u + 7132u);
    EXPECT_EQ(block.GetResourceBlockSize(), 7276u + 7132u);
    EXPECT_EQ(block.FindTag(PSDICCTag::TAGID_LUMINANCE), block.GetTag(11 + 17));
    EXPECT_NE(block.FindTag(PSDICCTag::TAGID_LUMINANCE), firstLumi);
    EXPECT_EQ(WrittenBytes(&block).size(), 7276u + 7132u);
}

TEST(IccPreset, BlockBytes) {
    std::vector<char> b = PresetBlockBytes();
    ASSERT_EQ(b.size(), 7276u);
    EXPECT_EQ(HexAt(b, 0, 12), "38 42 49 4D 04 0F 00 00 00 00 1C 60");

    // Header.
    EXPECT_EQ(HexAt(b, F + 0, 4), "00 00 1C 60");
    EXPECT_EQ(TextAt(b, F + 4, 4), "Lino");
    EXPECT_EQ(HexAt(b, F + 8, 4), "02 10 00 00");
    EXPECT_EQ(TextAt(b, F + 12, 12), "mntrRGB XYZ ");
    EXPECT_EQ(HexAt(b, F + 24, 12), "07 CE 00 02 00 09 00 06 00 31 00 00");
    EXPECT_EQ(TextAt(b, F + 36, 8), "acspMSFT");
    EXPECT_EQ(HexAt(b, F + 44, 4), "00 00 00 00");
    EXPECT_EQ(TextAt(b, F + 48, 8), "IEC sRGB");
    EXPECT_EQ(HexAt(b, F + 56, 12), "00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(HexAt(b, F + 68, 12), "00 00 F6 D5 00 01 00 00 00 00 D3 2C");
    EXPECT_EQ(TextAt(b, F + 80, 4), "HP  ");
    for (std::size_t i = 84; i < 128; ++i) EXPECT_EQ(b[F + i], 0) << "offset " << i;
    EXPECT_EQ(U32(b, F + 128), 17u);

    // Table.
    for (std::size_t i = 0; i < 17; ++i) {
        std::size_t entry = F + 132 + 12 * i;
        EXPECT_EQ(TextAt(b, entry, 4), TAGS[i].id);
        EXPECT_EQ(U32(b, entry + 4), TAGS[i].offset) << TAGS[i].id;
        EXPECT_EQ(U32(b, entry + 8), TAGS[i].size) << TAGS[i].id;
    }
    EXPECT_EQ(TAGS[16].offset + TAGS[16].size, 7264u);

    // Texts, with their padding.
    std::size_t cprt = F + 336;
    EXPECT_EQ(TextAt(b, cprt, 8), std::string("text\0\0\0\0", 8));
    EXPECT_EQ(std::strlen(&b[cprt + 8]), 42u);
    EXPECT_EQ(HexAt(b, cprt + 50, 2), "00 00");  // terminator, one pad byte
    std::size_t desc = F + 388;
    EXPECT_EQ(TextAt(b, desc, 4), "desc");
    EXPECT_EQ(U32(b, desc + 8), 18u);
    EXPECT_EQ(TextAt(b, desc + 12, 18), std::string("sRGB IEC61966-2.1\0", 18));
    for (std::size_t i = 30; i < 108; ++i) EXPECT_EQ(b[desc + i], 0) << "desc offset " << i;
    EXPECT_EQ(U32(b, F + 596 + 8), 22u);
    EXPECT_EQ(std::strlen(&b[F + 596 + 12]), 21u);
    EXPECT_EQ(U32(b, F + 708 + 8), 46u);
    EXPECT_EQ(TextAt(b, F + 708 + 12, 45), "IEC 61966-2.1 Default RGB colour space - sRGB");
    EXPECT_EQ(U32(b, F + 844 + 8), 44u);
    EXPECT_EQ(TextAt(b, F + 844 + 12, 43), "Reference Viewing Condition in IEC61966-2.1");
    EXPECT_EQ(HexAt(b, F + 844 + 132, 4), "00 00 00 00");  // last zeros and two pad bytes

    // 16.16 numbers.
    EXPECT_EQ(HexAt(b, F + 496, 20), "58 59 5A 20 00 00 00 00 00 00 F3 51 00 01 00 00 00 01 16 CB");
    EXPECT_EQ(HexAt(b, F + 516, 20), "58 59 5A 20 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(HexAt(b, F + 536 + 8, 12), "00 00 6F A2 00 00 38 F4 00 00 03 8F");
    EXPECT_EQ(HexAt(b, F + 556 + 8, 12), "00 00 62 98 00 00 B7 84 00 00 18 D9");
    EXPECT_EQ(HexAt(b, F + 576 + 8, 12), "00 00 24 9F 00 00 0F 84 00 00 B6 CE");
    EXPECT_EQ(HexAt(b, F + 980, 36),
              "76 69 65 77 00 00 00 00 00 13 A4 FE 00 14 5F 2E 00 10 CF 14 "
              "00 03 ED CB 00 04 13 0B 00 03 5C 9E 00 00 00 01");
    EXPECT_EQ(HexAt(b, F + 1016 + 8, 12), "00 4C 09 56 00 50 00 00 00 57 1F E7");
    EXPECT_EQ(HexAt(b, F + 1036, 36),
              "6D 65 61 73 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 01 00 00 00 00 00 02");
    EXPECT_EQ(HexAt(b, F + 1072, 12), "73 69 67 20 00 00 00 00 43 52 54 20");

    // Curves: three copies of their own.
    for (std::size_t at : {1084, 3144, 5204}) {
        EXPECT_EQ(TextAt(b, F + at, 4), "curv");
        EXPECT_EQ(U32(b, F + at + 8), 1024u);
        EXPECT_EQ(U16(b, F + at + 12 + 2 * 1), 5u);
        EXPECT_EQ(U16(b, F + at + 12 + 2 * 41), 203u);
        EXPECT_EQ(U16(b, F + at + 12 + 2 * 512), 14057u);
        EXPECT_EQ(HexAt(b, F + at + 12 + 2 * 1023, 2), "FF FF");
    }
}

TEST(IccPreset, BothNamesAndEveryWriteGiveTheSameBytes) {
    std::vector<char> srgb = PresetBlockBytes(PSDICCProfileRB::PROFILE_NAME_SRGB);
    EXPECT_EQ(PresetBlockBytes(PSDICCProfileRB::PROFILE_NAME_QUILLARY), srgb);
    PSDICCProfileRB block;
    block.SetProfileToQuillary();
    EXPECT_EQ(WrittenBytes(&block), srgb);
    EXPECT_EQ(WrittenBytes(&block), srgb);  // the date is fixed, the clock is not read
}

TEST(IccPreset, ReadBack) {
    std::vector<char> profile = ProfileBytes(std::unique_ptr<PSDICCProfileRB>(new PSDICCProfileRB(1)).get());
    auto block = DecodedBlock(profile, 7276);
    EXPECT_EQ(block->GetHdrProfileSize(), 7264u);
    EXPECT_EQ(block->GetNumTags(), 17u);
    EXPECT_STREQ(block->GetHdrCMMTypeAsName(), "Lino");
    EXPECT_EQ(block->GetHdrCMMType(), 0x6F6E694Cu);
    EXPECT_STREQ(block->GetHdrManufacturerAsName(), "IEC ");
    EXPECT_STREQ(block->GetHdrCreationAsString(), "2/9/1998 6:49:0");
    EXPECT_EQ(block->GetIlluminantX(), 0.9641876220703125);
    EXPECT_EQ(block->GetIlluminantZ(), 0.82489013671875);
    for (unsigned long i = 0; i < 17; ++i) {
        EXPECT_EQ(block->GetTag(i)->GetTagOffset(), TAGS[i].offset);
        EXPECT_STREQ(block->GetTag(i)->GetTagIDAsName(), TAGS[i].id);
    }

    // The sizes fit, so it is encoded again: the same bytes but for the four
    // codes read in file order, which go out reversed.
    std::vector<char> again = ProfileBytes(block.get());
    ASSERT_EQ(again.size(), profile.size());
    EXPECT_EQ(TextAt(again, 4, 4), "oniL");
    EXPECT_EQ(TextAt(again, 48, 8), " CEIBGRs");
    EXPECT_EQ(TextAt(again, 80, 4), "  PH");
    for (std::size_t at : {4, 48, 52, 80}) std::copy_n(profile.begin() + at, 4, again.begin() + at);
    EXPECT_EQ(again, profile);
}

TEST(IccPreset, Report) {
    PSDICCProfileRB block(PSDICCProfileRB::PROFILE_NAME_SRGB);
    WrittenBytes(&block);  // gives the tags their offsets
    std::string copyright = block.GetTag(0)->GetCopyright();
    std::string manufacturer = block.GetTag(7)->GetDeviceMfgDescription();
    std::string expected =
        " 1039 - ICC Profile\n"
        "Hdr:ProfileSize:7264\n"
        "Hdr:CMMType:oniL\n"
        "Hdr:ProfileVersion:2.16\n"
        "Hdr:ProfileClass:Display Device\n"
        "Hdr:ColorSpace:RGB\n"
        "Hdr:ConnectionSpace:XYZ\n"
        "Hdr:CreationDate:2/9/1998 6:49:0\n"
        "Hdr:Platform:Microsoft\n"
        "Hdr:Flags:Embedded:False\n"
        "Hdr:Flags:ReqColorData:False\n"
        "Hdr:Manfacturer: CEI\n"
        "Hdr:Model:BGRs\n"
        "Hdr:Attributes:Transparent:False\n"
        "Hdr:Attributes:Matte:False\n"
        "Hdr:RenderingIntent:Perceptual\n"
        "Hdr:IlluminantX:0.9642\n"
        "Hdr:IlluminantY:1\n"
        "Hdr:IlluminantZ:0.8249\n"
        "Hdr:Creator:  PH\n"
        "Num Tags:17\n";
    const char* data[17] = {nullptr,
                            "sRGB IEC61966-2.1",
                            "X:0.950455 Y:1.000000 Z:1.089035",
                            "X:0.000000 Y:0.000000 Z:0.000000",
                            "X:0.436066 Y:0.222473 Z:0.013901",
                            "X:0.385132 Y:0.716858 Z:0.097061",
                            "X:0.143051 Y:0.060608 Z:0.714081",
                            nullptr,
                            "IEC 61966-2.1 Default RGB colour space - sRGB",
                            "Reference Viewing Condition in IEC61966-2.1",
                            "IX:19.644501 IY:20.371796 IZ:16.808899 SX:3.928879 SY:4.074387 SZ:3.361786 IT:D50",
                            "X:76.036469 Y:80.000000 Z:87.124619",
                            "Observer:1931 2 degree Observer BX:0.000000 BY:0.000000 BZ:0.000000 Geometry:unknown "
                            "Flare:1.000000% Illuminant:D65",
                            "Signature:CRT ",
                            "Count:1024",
                            "Count:1024",
                            "Count:1024"};
    for (int i = 0; i < 17; ++i) {
        std::string text = i == 0 ? copyright : i == 7 ? manufacturer : data[i];
        expected += "\n   TagID:" + std::string(TAGS[i].id) + "\n   TagOffset:" + std::to_string(TAGS[i].offset) +
                    "\n   TagSize:" + std::to_string(TAGS[i].size) + "\n   TagData:" + text + "\n\n";
    }
    EXPECT_EQ(psdtest::CaptureStdout([&] { block.PrintInfo(); }), expected);
    EXPECT_EQ(copyright.size(), 42u);
    EXPECT_EQ(manufacturer.size(), 21u);
}

TEST(IccNames, HeaderFieldTexts) {
    PSDICCProfileRB block;
    const std::pair<unsigned long, const char*> classes[] = {
        {0x6D6E7472, "Display Device"}, {0x73706163, "Colorspace Conversion"}, {0x6E6D636C, "Named Color"},
        {0, "Invalid"}};
    for (const auto& c : classes) {
        block.SetHdrProfileClass(c.first);
        EXPECT_STREQ(block.GetHdrProfileClassAsName(), c.second);
    }
    // Some texts are not the names of their colour spaces.
    const std::pair<unsigned long, const char*> spaces[] = {
        {0x434D594B, "CYMK"}, {0x59436272, "YCB"},      {0x59787920, "XXY"},      {0x4C616220, "LAB"},
        {0x47524159, "Gray"}, {0x41434C52, "10 Color"}, {0x46434C52, "15 Color"}, {0, "Invalid"}};
    for (const auto& c : spaces) {
        block.SetHdrColorSpace(c.first);
        EXPECT_STREQ(block.GetHdrColorSpaceAsName(), c.second);
    }
    block.SetHdrConnectionSpace(PSDICCProfileRB::CONNECTION_SPACE_LAB);
    EXPECT_STREQ(block.GetHdrConnectionSpaceAsName(), "Lab");
    block.SetHdrConnectionSpace(PSDICCProfileRB::COLORSPACE_RGB);
    EXPECT_STREQ(block.GetHdrConnectionSpaceAsName(), "Invalid");
    block.SetHdrPlatform(PSDICCProfileRB::PLATFORM_SUN);
    EXPECT_STREQ(block.GetHdrPlatformAsName(), "Sun");
    block.SetHdrPlatform(0x4C504150);
    EXPECT_STREQ(block.GetHdrPlatformAsName(), "Invalid");
    const std::pair<unsigned short, const char*> intents[] = {
        {1, "Relative Colorimetric"}, {3, "Absolute Colorimetric"}, {4, "Invalid"}, {256, "Invalid"}};
    for (const auto& c : intents) {
        block.SetHdrRenderingIntent(c.first);
        EXPECT_STREQ(block.GetHdrRenderingIntentAsName(), c.second);
    }
    EXPECT_EQ(block.GetHdrRenderingIntentAsName(), psdkit::RENDERING_INTENT_INVALID_STR);
}

TEST(IccNames, FourCharacterFieldsAndSharedBuffers) {
    PSDICCProfileRB preset(PSDICCProfileRB::PROFILE_NAME_SRGB);
    EXPECT_STREQ(preset.GetHdrCMMTypeAsName(), "oniL");
    EXPECT_STREQ(preset.GetHdrManufacturerAsName(), " CEI");
    EXPECT_STREQ(preset.GetHdrModelAsName(), "BGRs");
    EXPECT_STREQ(preset.GetHdrCreatorAsName(), "  PH");

    PSDICCProfileRB other;
    other.SetHdrProfileVersion(4, 3);
    char* first = preset.GetHdrProfileVersionAsString();
    char* second = other.GetHdrProfileVersionAsString();
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "4.3");
    other.SetHdrCreationDate(2020, 1, 2, 3, 4, 5);
    EXPECT_STREQ(other.GetHdrCreationAsString(), "1/2/2020 3:4:5");
}
