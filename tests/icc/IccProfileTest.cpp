// PSDICCProfileRB: the header's wire form in both directions, sizes and
// offsets, the date rule, and profiles whose bytes do not hold what they claim.

#include <ctime>

#include "IccTestSupport.h"

using psdkit::PSDICCProfileRB;
using psdkit::PSDICCTag;
using psdtest::Bytes;
using namespace icctest;

namespace {

// A profile of `size` bytes: a header whose size field says so, the tag
// count, then `table` and `data` as given, then zeros to the size.
std::vector<char> Profile(unsigned long count, const Bytes& table, const Bytes& data, unsigned long size) {
    Bytes b = ProfileHead(size, count);
    b.raw(table).raw(data);
    if (b.size() < size) b.zeros(size - b.size());
    return b.data;
}

std::string Report(PSDICCProfileRB* block) {
    return psdtest::CaptureStdout([&] { block->PrintInfo(); });
}

}  // namespace

TEST(IccProfile, NewBlock) {
    PSDICCProfileRB block;
    EXPECT_EQ(block.GetResourceID(), 1039);
    EXPECT_EQ(block.GetHdrProfileSize(), 132u);
    EXPECT_EQ(block.GetNumTags(), 0u);
    EXPECT_EQ(block.GetDataBlockSize(), 132u);
    EXPECT_EQ(block.GetResourceBlockSize(), 144u);
    EXPECT_EQ(block.GetHdrCMMType(), 0u);
    EXPECT_EQ(block.GetHdrCreationYear(), 0);
    EXPECT_EQ(block.GetIlluminantX(), 0.0);
    EXPECT_STREQ(block.GetHdrCMMTypeAsName(), "");
    EXPECT_EQ(block.FindTag(PSDICCTag::TAGID_CPRT), nullptr);
    EXPECT_EQ(PSDICCProfileRB(PSDICCProfileRB::PROFILE_NAME_CUSTOM).GetNumTags(), 0u);

    std::vector<char> written = WrittenBytes(&block);
    ASSERT_EQ(written.size(), 144u);
    EXPECT_EQ(HexAt(written, 0, 12), "38 42 49 4D 04 0F 00 00 00 00 00 84");
    EXPECT_EQ(U32(written, 12), 132u);
    EXPECT_EQ(TextAt(written, 12 + 36, 4), "acsp");
    EXPECT_EQ(U32(written, 12 + 128), 0u);
}

TEST(IccProfile, SizesAndOffsets) {
    PSDICCProfileRB one;
    one.CreateICCTagObject(0x61616161)->SetTagSize(51);
    one.CreateICCTagObject(0)->SetTagSize(0);
    one.SetNumTags(1);  // the second tag is left out of every walk
    one.CalculateBlockSize();
    EXPECT_EQ(one.GetHdrProfileSize(), 196u);
    EXPECT_EQ(one.GetDataBlockSize(), 196u);
    std::vector<char> p = ProfileBytes(&one);
    ASSERT_EQ(p.size(), 196u);
    EXPECT_EQ(HexAt(p, 132, 12), "61 61 61 61 00 00 00 90 00 00 00 33");

    PSDICCProfileRB two;
    two.CreateICCTagObject(PSDICCTag::TAGID_RED_COLORANT)->SetRedColorant(1, 0, 0);
    two.CreateICCTagObject(PSDICCTag::TAGID_CPRT)->SetCopyright("Copyright (c) 1998 Hewlett-Packard Company");
    EXPECT_EQ(two.GetHdrProfileSize(), 132u);  // not recalculated by adding tags
    two.CalculateBlockSize();
    EXPECT_EQ(two.GetHdrProfileSize(), 228u);
    p = ProfileBytes(&two);
    ASSERT_EQ(p.size(), 228u);
    EXPECT_EQ(U32(p, 128), 2u);
    EXPECT_EQ(U32(p, 136), 156u);
    EXPECT_EQ(U32(p, 148), 176u);
    EXPECT_EQ(two.GetTag(1)->GetTagOffset(), 176u);
    EXPECT_EQ(TextAt(p, 156, 4), "XYZ ");
    EXPECT_EQ(TextAt(p, 176, 4), "text");
    EXPECT_EQ(two.GetTag(2), nullptr);

    // The count never passes the list.
    two.SetNumTags(5);
    EXPECT_EQ(two.GetNumTags(), 2u);
}

TEST(IccProfile, FindTagGivesTheLast) {
    PSDICCProfileRB block;
    PSDICCTag* first = block.CreateICCTagObject(PSDICCTag::TAGID_LUMINANCE);
    PSDICCTag* second = block.CreateICCTagObject(PSDICCTag::TAGID_LUMINANCE);
    EXPECT_NE(first, second);
    EXPECT_EQ(block.GetNumTags(), 2u);
    EXPECT_EQ(block.FindTag(PSDICCTag::TAGID_LUMINANCE), second);
    EXPECT_EQ(block.FindTag(PSDICCTag::TAGID_CPRT), nullptr);
}

TEST(IccProfile, BitSetters) {
    PSDICCProfileRB block;
    const bool pairs[][2] = {{true, false}, {false, true}, {true, true}, {false, false}};
    const unsigned values[] = {1, 2, 3, 0};
    for (int i = 0; i < 4; ++i) {
        block.SetHdrProfileFlags(static_cast<unsigned short>(0xFF));
        block.SetHdrProfileFlags(pairs[i][0], pairs[i][1]);
        EXPECT_EQ(block.GetHdrProfileFlags(), values[i]);
        EXPECT_EQ(block.GetHdrProfileFlagEmbedded(), pairs[i][0]);
        EXPECT_EQ(block.GetHdrProfileFlagReqColorData(), pairs[i][1]);
        block.SetHdrAttributes(0xFFUL);
        block.SetHdrAttributes(pairs[i][0], pairs[i][1]);
        EXPECT_EQ(block.GetHdrAttributes(), values[i]);
        EXPECT_EQ(block.GetHdrAttributeTransparent(), pairs[i][0]);
        EXPECT_EQ(block.GetHdrAttributeMatte(), pairs[i][1]);
    }
}

TEST(IccProfile, HeaderWrittenAndReadBack) {
    PSDICCProfileRB block;
    block.SetHdrCMMType(PSDICCProfileRB::CMM_TYPE_LINO);
    block.SetHdrProfileVersion(2, 0x90);
    block.SetHdrProfileClass(PSDICCProfileRB::PROFILE_OUTPUT_DEVICE);
    block.SetHdrColorSpace(PSDICCProfileRB::COLORSPACE_CMYK);
    block.SetHdrConnectionSpace(PSDICCProfileRB::CONNECTION_SPACE_LAB);
    block.SetHdrCreationDate(2001, 12, 31, 23, 59, 58);
    block.SetHdrPlatform(PSDICCProfileRB::PLATFORM_APPLE);
    block.SetHdrProfileFlags(static_cast<unsigned short>(1));
    block.SetHdrManufacturer(0x41424344);
    block.SetHdrModel(0x45464748);
    block.SetHdrAttributes(3UL);
    block.SetHdrRenderingIntent(1);
    block.SetIlluminant(PSDICCProfileRB::STANDARD_ILLUMINANT_X, PSDICCProfileRB::STANDARD_ILLUMINANT_Y,
                        PSDICCProfileRB::STANDARD_ILLUMINANT_Z);
    block.SetHdrCreator(0x48502020);

    std::vector<char> p = ProfileBytes(&block);
    ASSERT_EQ(p.size(), 132u);
    EXPECT_EQ(TextAt(p, 4, 4), "Lino");
    EXPECT_EQ(HexAt(p, 8, 4), "02 90 00 00");
    EXPECT_EQ(TextAt(p, 12, 12), "prtrCMYKLab ");
    EXPECT_EQ(HexAt(p, 24, 12), "07 D1 00 0C 00 1F 00 17 00 3B 00 3A");
    EXPECT_EQ(TextAt(p, 36, 8), "acspAPPL");
    EXPECT_EQ(HexAt(p, 44, 4), "01 00 00 00");  // flags low byte first
    EXPECT_EQ(TextAt(p, 48, 8), "ABCDEFGH");
    EXPECT_EQ(HexAt(p, 56, 8), "03 00 00 00 00 00 00 00");
    EXPECT_EQ(HexAt(p, 64, 4), "01 00 00 00");  // intent low byte first
    EXPECT_EQ(HexAt(p, 68, 12), "00 00 F6 D5 00 01 00 00 00 00 D3 2C");
    EXPECT_EQ(TextAt(p, 80, 4), "HP  ");
    EXPECT_EQ(std::vector<char>(p.begin() + 84, p.end()), std::vector<char>(48, 0));

    auto read = DecodedBlock(p);
    EXPECT_EQ(read->GetHdrProfileSize(), 132u);
    EXPECT_EQ(read->GetHdrCMMType(), 0x6F6E694Cu);  // read lowest byte first
    EXPECT_STREQ(read->GetHdrCMMTypeAsName(), "Lino");
    EXPECT_STREQ(read->GetHdrProfileVersionAsString(), "2.65424");  // 0x90 as a signed char
    EXPECT_EQ(read->GetHdrProfileClass(), PSDICCProfileRB::PROFILE_OUTPUT_DEVICE);
    EXPECT_EQ(read->GetHdrColorSpace(), PSDICCProfileRB::COLORSPACE_CMYK);
    EXPECT_EQ(read->GetHdrConnectionSpace(), PSDICCProfileRB::CONNECTION_SPACE_LAB);
    EXPECT_STREQ(read->GetHdrCreationAsString(), "12/31/2001 23:59:58");
    EXPECT_EQ(read->GetHdrPlatform(), PSDICCProfileRB::PLATFORM_APPLE);
    EXPECT_EQ(read->GetHdrProfileFlags(), 256);
    EXPECT_FALSE(read->GetHdrProfileFlagEmbedded());
    EXPECT_STREQ(read->GetHdrManufacturerAsName(), "ABCD");
    EXPECT_STREQ(read->GetHdrModelAsName(), "EFGH");
    EXPECT_EQ(read->GetHdrAttributes(), 3u);
    EXPECT_TRUE(read->GetHdrAttributeTransparent());
    EXPECT_TRUE(read->GetHdrAttributeMatte());
    EXPECT_EQ(read->GetHdrRenderingIntent(), 256);
    EXPECT_STREQ(read->GetHdrRenderingIntentAsName(), "Invalid");
    EXPECT_EQ(read->GetIlluminantX(), 0.9641876220703125);
    EXPECT_EQ(read->GetIlluminantY(), 1.0);
    EXPECT_EQ(read->GetIlluminantZ(), 0.82489013671875);
    EXPECT_STREQ(read->GetHdrCreatorAsName(), "HP  ");

    // Written again, the four codes read in file order go out reversed.
    std::vector<char> again = ProfileBytes(read.get());
    ASSERT_EQ(again.size(), 132u);
    EXPECT_EQ(TextAt(again, 4, 4), "oniL");
    EXPECT_EQ(TextAt(again, 48, 8), "DCBAHGFE");
    EXPECT_EQ(TextAt(again, 80, 4), "  PH");
    EXPECT_EQ(HexAt(again, 44, 2), "00 01");
}

TEST(IccProfile, VersionBelow0x80ReadsBack) {
    PSDICCProfileRB block;
    block.SetHdrProfileVersion(PSDICCProfileRB::CURRENT_MAJOR_VERSION, PSDICCProfileRB::CURRENT_MINOR_VERSION);
    block.SetHdrCreationDate(1998, 2, 9, 0, 0, 0);
    std::vector<char> p = ProfileBytes(&block);
    EXPECT_EQ(HexAt(p, 8, 4), "02 10 00 00");
    EXPECT_STREQ(DecodedBlock(p)->GetHdrProfileVersionAsString(), "2.16");
}

TEST(IccProfile, DateRule) {
    PSDICCProfileRB stored;
    stored.SetHdrCreationDate(1998, 2, 9, 0, 0, 0);  // zero hours trigger nothing
    EXPECT_EQ(HexAt(ProfileBytes(&stored), 24, 12), "07 CE 00 02 00 09 00 00 00 00 00 00");

    PSDICCProfileRB clock;
    clock.SetHdrCreationDate(1998, 0, 9, 6, 49, 0);
    std::time_t before = std::time(nullptr);
    std::vector<char> p = ProfileBytes(&clock);
    std::time_t after = std::time(nullptr);
    std::tm when = {};
    when.tm_year = static_cast<int>(U16(p, 24)) - 1900;
    when.tm_mon = static_cast<int>(U16(p, 26)) - 1;
    when.tm_mday = static_cast<int>(U16(p, 28));
    when.tm_hour = static_cast<int>(U16(p, 30));
    when.tm_min = static_cast<int>(U16(p, 32));
    when.tm_sec = static_cast<int>(U16(p, 34));
    when.tm_isdst = -1;
    std::time_t written = std::mktime(&when);
    EXPECT_GE(written, before - 1);
    EXPECT_LE(written, after + 1);
    EXPECT_EQ(clock.GetHdrCreationYear(), 1998);  // the fields stay
    EXPECT_EQ(clock.GetHdrCreationMonth(), 0);
}

TEST(IccProfile, ReadKeepsSizeFieldAndAcceptsAnySignature) {
    std::vector<char> p = Profile(0, Bytes(), Bytes(), 140);
    p[3] = 99;  // size field 99, block of 140
    p[36] = 'x';
    auto block = DecodedBlock(p);
    EXPECT_EQ(block->GetHdrProfileSize(), 99u);
    EXPECT_EQ(block->GetDataBlockSize(), 140u);
    EXPECT_EQ(block->GetNumTags(), 0u);
    block->CalculateBlockSize();
    EXPECT_EQ(block->GetHdrProfileSize(), 132u);
}

TEST(IccProfile, BlocksTooShortForAProfile) {
    for (unsigned long size : {0UL, 1UL, 128UL, 131UL}) {
        std::vector<char> p = Profile(1, Bytes(), Bytes(), 200);
        p[4] = 'L';
        p.resize(size);
        auto block = DecodedBlock(p);
        EXPECT_EQ(block->GetHdrProfileSize(), 132u) << size;
        EXPECT_EQ(block->GetHdrCMMType(), 0u) << size;
        EXPECT_EQ(block->GetNumTags(), 0u) << size;
        EXPECT_EQ(block->GetDataBlockSize(), size);
        // Written as read, so the section's length word stays true.
        std::vector<char> written = WrittenBytes(block.get());
        EXPECT_EQ(written.size(), block->GetResourceBlockSize()) << size;
        EXPECT_EQ(U32(written, 8), size);
    }
}

TEST(IccProfile, BlockOf132BytesHoldsAHeaderOnly) {
    std::vector<char> p = Profile(3, Bytes(), Bytes(), 132);  // a count of 3 but no room for entries
    p[4] = 'L';
    auto block = DecodedBlock(p);
    EXPECT_EQ(block->GetHdrCMMType(), 0x4Cu);
    EXPECT_EQ(block->GetNumTags(), 0u);
    EXPECT_EQ(WrittenBytes(block.get()).size(), 144u);
}

TEST(IccProfile, TagCountLimitedToTheTable) {
    Bytes table;
    table.u32(PSDICCTag::TAGID_CPRT).u32(156).u32(12);
    table.u32(PSDICCTag::TAGID_TECHNOLOGY).u32(168).u32(12);
    Bytes data;
    data.str("text").zeros(4).str("abc").u8(0);
    data.str("sig ").zeros(4).str("CRT ");
    std::vector<char> p = Profile(0xFFFFFFFF, table, data, 189);  // room for 4 entries and 9 bytes
    auto block = DecodedBlock(p);
    ASSERT_EQ(block->GetNumTags(), 4u);
    EXPECT_STREQ(block->FindTag(PSDICCTag::TAGID_CPRT)->GetCopyright(), "abc");
    EXPECT_STREQ(block->FindTag(PSDICCTag::TAGID_TECHNOLOGY)->GetTechnology(), "Signature:CRT ");
    // Entries 3 and 4 are the tag data read as a table: they point nowhere.
    EXPECT_EQ(block->GetTag(2)->GetTagData(), nullptr);
    EXPECT_EQ(block->GetTag(3)->GetTagData(), nullptr);
    EXPECT_EQ(block->GetTag(4), nullptr);
    std::string report = Report(block.get());
    EXPECT_NE(report.find("Num Tags:4\n"), std::string::npos);
    EXPECT_NE(report.find("   TagData:abc\n"), std::string::npos);
}

TEST(IccProfile, TagsWithDataOutsideTheBlock) {
    // A block of 220 bytes: the table ends at 192, then five entries: inside,
    // ending at the last byte, at the last byte with its padding missing,
    // past the end, and wrapping.
    Bytes table;
    table.u32(PSDICCTag::TAGID_LUMINANCE).u32(192).u32(20);
    table.u32(PSDICCTag::TAGID_MEDIA_WHITE_POINT).u32(212).u32(8);
    table.u32(PSDICCTag::TAGID_CPRT).u32(219).u32(1);
    table.u32(PSDICCTag::TAGID_MEDIA_BLACK_POINT).u32(221).u32(4);
    table.u32(PSDICCTag::TAGID_RED_COLORANT).u32(0xFFFFFFF0).u32(0x20);
    Bytes xyz;
    xyz.str("XYZ ").zeros(4).u32(0x10000).u32(0x20000).u32(0x30000);
    std::vector<char> p = Profile(5, table, xyz, 220);
    auto block = DecodedBlock(p);
    ASSERT_EQ(block->GetNumTags(), 5u);
    EXPECT_STREQ(block->GetTag(0)->GetIlluminance(), "X:1.000000 Y:2.000000 Z:3.000000");
    EXPECT_NE(block->GetTag(1)->GetTagData(), nullptr);
    EXPECT_EQ(block->GetTag(2)->GetTagData(), nullptr);
    EXPECT_EQ(block->GetTag(3)->GetTagData(), nullptr);
    EXPECT_EQ(block->GetTag(4)->GetTagData(), nullptr);
    // Such a tag keeps its entry, prints with an empty text, and can be found.
    EXPECT_EQ(block->FindTag(PSDICCTag::TAGID_MEDIA_BLACK_POINT)->GetTagOffset(), 221u);
    EXPECT_NE(Report(block.get()).find("   TagID:bkpt\n   TagOffset:221\n   TagSize:4\n   TagData:\n"),
              std::string::npos);
    // Its bytes are written as they came.
    std::vector<char> written = WrittenBytes(block.get());
    EXPECT_EQ(std::vector<char>(written.begin() + 12, written.end()), p);
}

TEST(IccProfile, EntriesSharingBytesGetCopiesOfTheirOwn) {
    Bytes table;
    table.u32(PSDICCTag::TAGID_RED_TONE_CURVE).u32(168).u32(14);
    table.u32(PSDICCTag::TAGID_GREEN_TONE_CURVE).u32(168).u32(14);
    table.u32(PSDICCTag::TAGID_BLUE_TONE_CURVE).u32(168).u32(14);
    Bytes curve;
    curve.str("curv").zeros(4).u32(1).u16(0x0100).zeros(2);
    std::vector<char> p = Profile(3, table, curve, 184);
    auto block = DecodedBlock(p);
    ASSERT_EQ(block->GetNumTags(), 3u);
    EXPECT_NE(block->GetTag(0)->GetTagData(), block->GetTag(1)->GetTagData());
    block->GetTag(0)->SetTextTypeAttribute("changed");
    EXPECT_STREQ(block->GetTag(1)->GetGreenToneReproCurve(), "Count:1");

    // Encoded, the three would take more bytes than the block: it is written as read.
    std::vector<char> written = WrittenBytes(block.get());
    ASSERT_EQ(written.size(), block->GetResourceBlockSize());
    EXPECT_EQ(std::vector<char>(written.begin() + 12, written.end()), p);
}

TEST(IccProfile, ManyEntriesOnOneLargeTagStayBounded) {
    // 1000 entries on one tag of 4000 bytes: copies for all would take 4 MB
    // from a block of 16 KB.
    const unsigned long count = 1000, tagSize = 4000;
    const unsigned long dataAt = 132 + 12 * count;
    Bytes table;
    for (unsigned long i = 0; i < count; ++i) table.u32(0x41414141).u32(dataAt).u32(tagSize);
    Bytes data;
    data.str("zzzz").zeros(tagSize - 4);
    std::vector<char> p = Profile(count, table, data, dataAt + tagSize);
    auto block = DecodedBlock(p);
    ASSERT_EQ(block->GetNumTags(), count);
    unsigned long held = 0, withPayload = 0;
    for (unsigned long i = 0; i < count; ++i) {
        if (block->GetTag(i)->GetTagData() == nullptr) continue;
        held += block->GetTag(i)->GetPaddedTagSize();
        ++withPayload;
    }
    EXPECT_GE(withPayload, 3u);
    EXPECT_LE(held, 16 * p.size());
}

TEST(IccProfile, ReadBlockWrittenWhenItsSizesFit) {
    // One tag, no gaps: re-encoding gives the block's own size, so the fields are written.
    Bytes table;
    table.u32(PSDICCTag::TAGID_CPRT).u32(144).u32(12);
    Bytes data;
    data.str("text").zeros(4).str("abc").u8(0);
    std::vector<char> p = Profile(1, table, data, 156);
    std::copy_n("Lino", 4, p.begin() + 4);
    p[24] = 0x07, p[25] = static_cast<char>(0xCE), p[27] = 1, p[29] = 1;  // 1998-01-01
    auto block = DecodedBlock(p);
    std::vector<char> written = WrittenBytes(block.get());
    ASSERT_EQ(written.size(), 168u);
    EXPECT_EQ(written.size(), block->GetResourceBlockSize());
    EXPECT_EQ(TextAt(written, 12 + 4, 4), "oniL");
    EXPECT_EQ(TextAt(written, 12 + 36, 4), "acsp");
    EXPECT_EQ(U32(written, 12), 156u);
    EXPECT_EQ(TextAt(written, 12 + 144, 12), std::string("text\0\0\0\0abc\0", 12));

    // An odd-sized block can never be re-encoded: written raw with its pad byte.
    std::vector<char> odd = Profile(0, Bytes(), Bytes(), 133);
    auto oddBlock = DecodedBlock(odd);
    std::vector<char> oddWritten = WrittenBytes(oddBlock.get());
    EXPECT_EQ(oddWritten.size(), 146u);
    EXPECT_EQ(U32(oddWritten, 8), 133u);
}

TEST(IccProfile, BlockReadWithANameKeepsTheSectionLengthTrue) {
    std::vector<char> p = ProfileBytes(std::unique_ptr<PSDICCProfileRB>(new PSDICCProfileRB(1)).get());
    Bytes section;
    section.str("8BIM").u16(1039).u8(3).str("icc").u32(p.size()).raw(p);
    Bytes file = psdtest::PsdHeader(3, 1, 1, 8, 3);
    file.u32(0).u32(section.size()).raw(section).u32(0).u16(0).u8(1).u8(2).u8(3);
    psdtest::TempDir dir;
    std::string path = dir.Write("named.psd", file);

    psdkit::PhotoshopFile document;
    ASSERT_TRUE(document.OpenReadFile(path.c_str()));
    psdkit::PSDImageRes* resources = document.GetImageResources();
    ASSERT_EQ(resources->GetNumResourceBlocks(), 1u);
    auto* block = dynamic_cast<PSDICCProfileRB*>(resources->GetResourceBlock(0));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->GetNumTags(), 17u);
    EXPECT_EQ(block->GetResourceBlockSize(), section.size());

    {
        std::ofstream out(dir.Path("section.bin"), std::ios_base::binary);
        resources->SetStreams(nullptr, &out);
        ASSERT_TRUE(resources->WriteSection());
        resources->SetStreams(nullptr, nullptr);
    }
    std::vector<char> written = psdtest::ReadFile(dir.Path("section.bin"));
    Bytes expected;
    expected.u32(section.size()).raw(section);
    EXPECT_EQ(written, expected.data);
}
