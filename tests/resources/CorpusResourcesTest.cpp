// The blocks of every corpus file as the facts list them. Written again,
// they are checked by a peer (tests/interop).

#include <gtest/gtest.h>

#include <cstring>

#include "ResourceTestUtil.h"

using namespace psdkit;

namespace {

// `written` is the document the blocks were written from: a profile is re-encoded, so its
// size is the one the write gave it, and its name is gone.
void ExpectBlocks(PhotoshopFile& document, const nlohmann::json& expected, PhotoshopFile* written = nullptr) {
    ASSERT_GE(document.GetImageResources()->GetNumResourceBlocks(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        PSDResourceBlock* block = document.GetImageResources()->GetResourceBlock(i);
        EXPECT_EQ(block->GetResourceID(), expected[i].at("id").get<unsigned>()) << i;
        PSDICCProfileRB* profile =
            written == nullptr ? nullptr
                               : dynamic_cast<PSDICCProfileRB*>(written->GetImageResources()->GetResourceBlock(i));
        if (profile != nullptr && profile->GetDataBlockSize() == profile->GetHdrProfileSize()) {
            EXPECT_EQ(block->GetNameLength(), 0u) << i;
            EXPECT_EQ(block->GetDataBlockSize(), profile->GetHdrProfileSize()) << i;
            continue;
        }
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
