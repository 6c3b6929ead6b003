// The byte codec and the section frame.

#include <fstream>

#include "psdkit/core/PSDBaseSection.h"
#include "psdkit/core/PSDUtil.h"
#include "support/TestSupport.h"

using psdkit::PSDUtil;

namespace {

// High byte first and unsigned; the Native operations low byte first, except
// the short reader.
TEST(PSDUtil, Integers) {
    const char ff[4] = {'\xFF', '\xFF', '\xFF', '\xFE'};
    unsigned long l = 7;
    PSDUtil::BufferToLong(nullptr, &l);  // a null buffer leaves the value alone
    EXPECT_EQ(l, 7UL);
    PSDUtil::BufferToLong(ff, &l);
    EXPECT_EQ(l, 4294967294UL);
    unsigned short s = 0;
    PSDUtil::BufferToShort(ff + 2, &s);
    EXPECT_EQ(s, 65534);
    char b[4];
    PSDUtil::LongToBuffer(0x123456789AUL, b);  // only the low 32 bits
    EXPECT_EQ(psdtest::Hex(b, 4), "34 56 78 9A");
    PSDUtil::ShortToBuffer(0x1234, b);
    EXPECT_EQ(psdtest::Hex(b, 2), "12 34");
    PSDUtil::NativeLongToBuffer(0x12345678UL, b);
    EXPECT_EQ(psdtest::Hex(b, 4), "78 56 34 12");
    PSDUtil::BufferToNativeLong(b, &l);
    EXPECT_EQ(l, 0x12345678UL);
    PSDUtil::NativeShortToBuffer(0x1234, b);
    EXPECT_EQ(psdtest::Hex(b, 2), "34 12");
    PSDUtil::BufferToNativeShort(b, &s);
    EXPECT_EQ(s, 0x3412);  // the bytes come back exchanged
}

TEST(PSDUtil, FixedPointWritesTruncateAndWrap) {
    const std::pair<double, const char*> cases[] = {{1.0, "00 01 00 00"},
                                                    {0.5, "00 00 80 00"},
                                                    {65535.5, "FF FF 80 00"},
                                                    {0.00001, "00 00 00 00"},
                                                    {1.25, "00 01 40 00"},
                                                    {1000.125, "03 E8 20 00"},
                                                    {255.99998474121094, "00 FF FF FF"},
                                                    {12.0 / 1024.0, "00 00 03 00"},
                                                    {-0.25, "00 00 C0 00"},
                                                    {-0.5, "00 00 80 00"},
                                                    {-1.0, "FF FF 00 00"},
                                                    {-1.5, "FF FF 00 00"},
                                                    {-2.75, "FF FE 00 00"},
                                                    {65536.0, "00 00 00 00"},
                                                    {65536.5, "00 00 00 00"},
                                                    {70000.25, "11 70 00 00"},
                                                    {2147483648.0, "00 00 00 00"},
                                                    {1e300, "00 00 00 00"}};
    char b[4];  // the float writer agrees wherever single precision holds the value
    for (const auto& c : cases) {
        PSDUtil::DoubleTo16Dot16Buffer(c.first, b);
        EXPECT_EQ(psdtest::Hex(b, 4), c.second) << c.first;
        if (static_cast<double>(static_cast<float>(c.first)) != c.first) continue;
        PSDUtil::FloatTo16Dot16Buffer(static_cast<float>(c.first), b);
        EXPECT_EQ(psdtest::Hex(b, 4), c.second) << c.first << " as float";
    }
}

TEST(PSDUtil, FixedPointReadsConvertTheWholeNumber) {
    const struct {
        char bytes[4];
        float single;
        double twice;
    } cases[] = {
        {{0x00, '\xFF', '\xFF', '\xFF'}, 255.99998474121094f, 255.99998474121094},
        {{0x01, 0x00, 0x00, 0x01}, 256.0f, 256.00001525878906},  // single precision drops the low bit
        {{'\xFF', '\xFF', '\xFF', '\xFF'}, 65536.0f, 65535.99998474121},
    };
    for (const auto& c : cases) {
        float f = 0;
        double d = 0;
        PSDUtil::BufferToFloatFrom16Dot16(c.bytes, &f);
        PSDUtil::BufferToDoubleFrom16Dot16(c.bytes, &d);
        EXPECT_EQ(f, c.single);
        EXPECT_DOUBLE_EQ(d, c.twice);
    }
}

TEST(PSDBaseSection, ReadSkipAndWriteTheFrame) {
    psdtest::TempDir dir;
    std::ifstream in(dir.Write("frame.bin", psdtest::Bytes().u32(0).u32(3).str("abc").str("Z")), std::ios_base::binary);
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
    {
        std::ofstream out(dir.Path("out.bin"), std::ios_base::binary);
        section.SetStreams(nullptr, &out);
        EXPECT_TRUE(section.WriteSection());
    }
    EXPECT_EQ(section.GetSectionLength(), 0u);  // a larger length read earlier is gone
    EXPECT_EQ(psdtest::ReadFile(dir.Path("out.bin")), std::vector<char>(4, 0));
    std::ofstream failed(dir.Path("missing/out.bin"), std::ios_base::binary);
    section.SetStreams(nullptr, &failed);
    EXPECT_FALSE(section.WriteSection());

    psdkit::PSDBaseSection cut;  // a short length word reads as empty
    std::ifstream two(dir.Write("short.bin", psdtest::Bytes().u32(5).u16(7)), std::ios_base::binary);
    cut.SetStreams(&two, nullptr);
    EXPECT_TRUE(cut.ReadSection());
    EXPECT_TRUE(cut.ReadSection());
    EXPECT_EQ(cut.GetSectionLength(), 0u);
}

}  // namespace
