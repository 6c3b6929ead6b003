// The byte codec and the section frame.

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
                                                    {1.25, "00 01 40 00"},
                                                    {255.99998474121094, "00 FF FF FF"},
                                                    {12.0 / 1024.0, "00 00 03 00"},
                                                    {-0.25, "00 00 C0 00"},
                                                    {-1.0, "FF FF 00 00"},
                                                    {-1.5, "FF FF 00 00"},
                                                    {-2.75, "FF FE 00 00"},
                                                    {65536.0, "00 00 00 00"},
                                                    {70000.25, "11 70 00 00"},
                                                    {2147483648.0, "00 00 00 00"}};
    char b[4];  // the float writer agrees wherever single precision holds the value
    for (const auto& c : cases) {
        PSDUtil::DoubleTo16Dot16Buffer(c.first, b);
        EXPECT_EQ(psdtest::Hex(b, 4), c.second) << c.first;
        if (static_cast<double>(static_cast<float>(c.first)) != c.first) continue;
        PSDUtil::FloatTo16Dot16Buffer(static_cast<float>(c.first), b);
        EXPECT_EQ(psdtest::Hex(b, 4), c.second) << c.first << " as float";
    }
}

}  // namespace
