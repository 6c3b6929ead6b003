// The byte codec and the section frame.

#include <fstream>

#include "psdkit/core/PSDBaseSection.h"
#include "psdkit/core/PSDUtil.h"
#include "support/TestSupport.h"

using psdkit::PSDUtil;

namespace {

std::string Fixed16(double value) {
    char b[4];
    PSDUtil::DoubleTo16Dot16Buffer(value, b);
    return psdtest::Hex(b, 4);
}

std::string Fixed16f(float value) {
    char b[4];
    PSDUtil::FloatTo16Dot16Buffer(value, b);
    return psdtest::Hex(b, 4);
}

TEST(PSDUtil, IntegersAreUnsignedHighByteFirst) {
    const char ff[4] = {'\xFF', '\xFF', '\xFF', '\xFF'};
    unsigned long l = 7;
    PSDUtil::BufferToLong(ff, &l);
    EXPECT_EQ(l, 4294967295UL);
    PSDUtil::BufferToLong(nullptr, &l);  // a null buffer leaves the value alone
    EXPECT_EQ(l, 4294967295UL);

    const char fffe[2] = {'\xFF', '\xFE'};
    unsigned short s = 0;
    PSDUtil::BufferToShort(fffe, &s);
    EXPECT_EQ(s, 65534);

    char b[4];
    PSDUtil::LongToBuffer(0x123456789AUL, b);  // only the low 32 bits
    EXPECT_EQ(psdtest::Hex(b, 4), "34 56 78 9A");
    PSDUtil::ShortToBuffer(0x1234, b);
    EXPECT_EQ(psdtest::Hex(b, 2), "12 34");
}

TEST(PSDUtil, NativeOperationsAreLowByteFirstExceptTheShortReader) {
    char b[4];
    unsigned long l = 0;
    PSDUtil::NativeLongToBuffer(0x12345678UL, b);
    EXPECT_EQ(psdtest::Hex(b, 4), "78 56 34 12");
    PSDUtil::BufferToNativeLong(b, &l);
    EXPECT_EQ(l, 0x12345678UL);

    unsigned short s = 0;
    PSDUtil::NativeShortToBuffer(0x1234, b);
    EXPECT_EQ(psdtest::Hex(b, 2), "34 12");
    PSDUtil::BufferToNativeShort(b, &s);
    EXPECT_EQ(s, 0x3412);  // read high byte first: the bytes come back exchanged
}

TEST(PSDUtil, FixedPointWritesTruncateAndWrap) {
    EXPECT_EQ(Fixed16(1.0), "00 01 00 00");
    EXPECT_EQ(Fixed16(0.5), "00 00 80 00");
    EXPECT_EQ(Fixed16(65535.5), "FF FF 80 00");
    EXPECT_EQ(Fixed16(0.00001), "00 00 00 00");
    EXPECT_EQ(Fixed16(-0.25), "00 00 C0 00");
    EXPECT_EQ(Fixed16(-0.5), "00 00 80 00");
    EXPECT_EQ(Fixed16(-1.0), "FF FF 00 00");
    EXPECT_EQ(Fixed16(-1.5), "FF FF 00 00");
    EXPECT_EQ(Fixed16(-2.75), "FF FE 00 00");
    EXPECT_EQ(Fixed16(65536.0), "00 00 00 00");
    EXPECT_EQ(Fixed16(65536.5), "00 00 00 00");
    EXPECT_EQ(Fixed16(70000.25), "11 70 00 00");
    EXPECT_EQ(Fixed16(2147483648.0), "00 00 00 00");
    EXPECT_EQ(Fixed16(1e300), "00 00 00 00");
    EXPECT_EQ(Fixed16f(-2.75f), "FF FE 00 00");
    EXPECT_EQ(Fixed16f(70000.25f), "11 70 00 00");
}

TEST(PSDUtil, FloatAndDoubleWritersAgreeOnExactValues) {
    for (float v : {0.0f, 0.5f, 1.25f, 255.99998474121094f, 1000.125f, 65535.5f, 12.0f / 1024.0f})
        EXPECT_EQ(Fixed16f(v), Fixed16(v)) << v;
}

TEST(PSDUtil, FixedPointReadsConvertTheWholeNumber) {
    const char a[4] = {0x00, '\xFF', '\xFF', '\xFF'};
    const char b[4] = {0x01, 0x00, 0x00, 0x01};
    const char c[4] = {'\xFF', '\xFF', '\xFF', '\xFF'};
    float f = 0;
    double d = 0;
    PSDUtil::BufferToFloatFrom16Dot16(a, &f);
    PSDUtil::BufferToDoubleFrom16Dot16(a, &d);
    EXPECT_FLOAT_EQ(f, 255.99998474121094f);
    EXPECT_DOUBLE_EQ(d, 255.99998474121094);
    PSDUtil::BufferToFloatFrom16Dot16(b, &f);
    PSDUtil::BufferToDoubleFrom16Dot16(b, &d);
    EXPECT_EQ(f, 256.0f);  // single precision drops the low bit
    EXPECT_DOUBLE_EQ(d, 256.00001525878906);
    PSDUtil::BufferToFloatFrom16Dot16(c, &f);
    PSDUtil::BufferToDoubleFrom16Dot16(c, &d);
    EXPECT_EQ(f, 65536.0f);
    EXPECT_DOUBLE_EQ(d, 65535.99998474121);
}

TEST(PSDUtil, ReverseStringKeepsTheTerminator) {
    char empty[] = "";
    PSDUtil::ReverseString(empty);
    EXPECT_STREQ(empty, "");
    char four[] = "8BIM";
    PSDUtil::ReverseString(four);
    EXPECT_STREQ(four, "MIB8");
    char one[] = "x";
    PSDUtil::ReverseString(one);
    EXPECT_STREQ(one, "x");
}

TEST(PSDBaseSection, ReadSkipAndWriteTheFrame) {
    psdtest::TempDir dir;
    std::string path = dir.Write("frame.bin", psdtest::Bytes().u32(0).u32(3).str("abc").str("Z"));
    std::ifstream in(path, std::ios_base::binary);
    psdkit::PSDBaseSection section;
    section.SetStreams(&in, nullptr);
    ASSERT_TRUE(section.ReadSection());
    EXPECT_EQ(section.GetSectionLength(), 0u);
    section.SkipSection();  // length 0: no seek
    EXPECT_EQ(in.tellg(), 4);
    ASSERT_TRUE(section.ReadSection());
    EXPECT_EQ(section.GetSectionLength(), 3u);
    section.SkipSection();
    EXPECT_EQ(in.get(), 'Z');

    std::string outPath = dir.Path("out.bin");
    {
        std::ofstream out(outPath, std::ios_base::binary);
        section.SetStreams(nullptr, &out);
        EXPECT_TRUE(section.WriteSection());
    }
    EXPECT_EQ(section.GetSectionLength(), 0u);  // a larger length read earlier is gone
    EXPECT_EQ(psdtest::ReadFile(outPath), std::vector<char>(4, 0));

    std::ofstream full("/dev/full", std::ios_base::binary);
    section.SetStreams(nullptr, &full);
    section.WriteSection();
    full.flush();
    EXPECT_FALSE(section.WriteSection() && full.good());
}

TEST(PSDBaseSection, ShortLengthWordReadsAsEmpty) {
    psdtest::TempDir dir;
    std::ifstream in(dir.Write("short.bin", psdtest::Bytes().u16(7)), std::ios_base::binary);
    psdkit::PSDBaseSection section;
    section.SetStreams(&in, nullptr);
    EXPECT_TRUE(section.ReadSection());
    EXPECT_EQ(section.GetSectionLength(), 0u);
}

}  // namespace
