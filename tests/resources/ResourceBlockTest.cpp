// The frame of a resource block: reading, sizes, Copy.

#include <gtest/gtest.h>

#include <string>

#include "ResourceTestUtil.h"

using namespace psdkit;
using namespace restest;

namespace {

// One scratch object reads blocks back to back, each counted from zero; Copy
// takes the size on file and a padded copy of the data.
TEST(ResourceBlock, ReadCopyAndWriteBack) {
    struct Case {
        unsigned short id;
        std::string name;
        Bytes payload;
        unsigned long blockSize;  // 11 + padded name + padded payload
        std::string signature = "8BIM";
    };
    const std::string name254 = "A" + std::string(253, 'n');
    const Case cases[] = {
        {1000, "", Bytes().u32(1).u32(2), 20},     {1001, "", Bytes(), 12},
        {1008, "A", Bytes().u16(0xBEEF), 14},      {1008, "An", Bytes().u16(0xBEEF), 16},
        {1008, name254, Bytes().u16(0xBEEF), 268}, {1008, name254 + "x", Bytes().u16(0xBEEF), 268},
        {1028, "", Bytes().str("abcde"), 18},      {1005, "ab", Bytes().str("xyz"), 18},
        {1037, "", Bytes().u32(30), 16, "MeSa"},  // any signature passes
    };
    Bytes file;
    for (const Case& c : cases) file.raw(BlockBytes(c.id, c.name, c.payload, c.signature));
    psdtest::TempDir dir;
    std::ifstream in(dir.Write("blocks.bin", file), std::ios_base::binary);
    PSDGenericResourceBlock scratch;
    scratch.SetStreams(&in, nullptr);
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.id) + " " + c.name);
        ASSERT_TRUE(scratch.ReadResourceBlock());
        EXPECT_EQ(scratch.GetResourceBlockSize(), c.blockSize);
        EXPECT_EQ(scratch.GetDataBlock() == nullptr, c.payload.size() == 0);
        PSDGenericResourceBlock copy;
        PSDResourceBlock::Copy(&scratch, &copy);
        ASSERT_NE(copy.GetDataBlock(), nullptr);  // also for no data
        ASSERT_NE(copy.GetDataBlock(), scratch.GetDataBlock());
        ASSERT_EQ(copy.GetDataBlockCapacity(), c.payload.size() + (c.payload.size() & 1));
        EXPECT_EQ(Written(copy), HexOf(BlockBytes(c.id, c.name, c.payload)));
        EXPECT_EQ(Written(copy, true), HexOf(Header(c.id, c.payload.size())));
    }
    EXPECT_EQ(in.tellg(), static_cast<long>(file.size()));
}

}  // namespace
