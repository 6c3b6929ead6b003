// The header section.

#include <fstream>

#include "psdkit/core/PSDHeader.h"
#include "support/TestSupport.h"

using psdkit::PSDHeader;

namespace {

TEST(PSDHeader, WrittenBytesFollowTheTableAndReadBack) {
    psdtest::TempDir dir;
    PSDHeader header;
    {
        std::ofstream out(dir.Path("h.bin"), std::ios_base::binary);
        header.SetStreams(nullptr, &out);
        header.SetChannels(1000);
        header.SetDepth(7);
        header.SetMode(6);
        header.SetRows(0x1000000002L);  // only the low 32 bits reach the file
        header.SetColumns(0x01020304L);
        ASSERT_TRUE(header.WriteSection());
        EXPECT_TRUE(header.IsValidHeader());
    }
    std::vector<char> bytes = psdtest::ReadFile(dir.Path("h.bin"));
    EXPECT_EQ(psdtest::Hex(bytes.data(), bytes.size()),
              "38 42 50 53 00 01 00 00 00 00 00 00 03 E8 00 00 00 02 01 02 03 04 00 07 00 06");
    bytes[8] = 9;  // reserved bytes are not looked at
    std::ifstream in(dir.Write("back.bin", bytes), std::ios_base::binary);
    PSDHeader back;
    back.SetStreams(&in, nullptr);
    ASSERT_TRUE(back.ReadSection());
    EXPECT_TRUE(back.IsValidHeader());
    EXPECT_EQ(back.GetChannels(), 1000);
    EXPECT_EQ(back.GetRows(), 2);
    EXPECT_EQ(back.GetColumns(), 0x01020304L);
    EXPECT_EQ(back.GetDepth(), 7);
    EXPECT_EQ(back.GetMode(), 6);
}

}  // namespace
