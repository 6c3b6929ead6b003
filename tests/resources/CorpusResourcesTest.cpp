// The blocks of every corpus file as the facts list them. Written again,
// they are checked by a peer (tests/interop).

#include <gtest/gtest.h>

#include <cstring>

#include "ResourceTestUtil.h"

using namespace psdkit;

namespace {

void ExpectBlocks(PhotoshopFile& document, const nlohmann::json& expected) {
    ASSERT_GE(document.GetImageResources()->GetNumResourceBlocks(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        PSDResourceBlock* block = document.GetImageResources()->GetResourceBlock(i);
        EXPECT_EQ(block->GetResourceID(), expected[i].at("id").get<unsigned>()) << i;
        EXPECT_EQ(block->GetNameLength(), expected[i].at("name_length").get<unsigned>()) << i;
        EXPECT_EQ(block->GetDataBlockSize(), expected[i].at("data_size").get<unsigned long>()) << i;
    }
}

TEST(CorpusResources, EveryFileGivesItsBlocks) {
    PSDTEST_REQUIRE_CORPUS();
    for (const auto& facts : psdtest::CorpusFacts()) {
        if (!facts.at("valid").get<bool>()) continue;
        SCOPED_TRACE(facts.at("file").get<std::string>());
        const auto& expected = facts.at("resources");
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(facts.at("file")).c_str()));
        EXPECT_EQ(document.GetImageResources()->GetSectionLength(), facts.at("resources_length").get<unsigned long>());
        EXPECT_EQ(document.GetImageResources()->GetNumResourceBlocks(), expected.size());
        ExpectBlocks(document, expected);
    }
}

}  // namespace
