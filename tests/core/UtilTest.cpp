// The 16.16 fixed-point codec.

#include "psdkit/core/PSDUtil.h"
#include "support/TestSupport.h"

using psdkit::PSDUtil;

namespace {

// The integer codec is read and written by every other test; the ICC tests
// check the operations that go low byte first.
TEST(PSDUtil, FixedPointWritesTruncateAndWrap) {
    const std::pair<double, const char*> cases[] = {{1.0, "00 01 00 00"},         {0.5, "00 00 80 00"},
                                                    {65535.5, "FF FF 80 00"},     {255.99998474121094, "00 FF FF FF"},
                                                    {-0.25, "00 00 C0 00"},       {-1.5, "FF FF 00 00"},
                                                    {-2.75, "FF FE 00 00"},       {70000.25, "11 70 00 00"},
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
