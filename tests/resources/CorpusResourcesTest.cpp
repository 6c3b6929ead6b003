// The blocks of every corpus file, also when written again and read back.

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
        PSDICCProfileRB* profile = written == nullptr ? nullptr
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

// Written again, the blocks come back ahead of the standard ones, as does the composite.
TEST(CorpusResources, EveryFileGivesItsBlocksAlsoWhenWrittenAgain) {
    PSDTEST_REQUIRE_CORPUS();
    psdtest::TempDir dir;
    const std::string again = dir.Path("again.psd");
    for (const auto& facts : psdtest::CorpusFacts()) {
        if (!facts.at("valid").get<bool>()) continue;
        SCOPED_TRACE(facts.at("file").get<std::string>());
        const auto& expected = facts.at("resources");
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(facts.at("file")).c_str()));
        EXPECT_EQ(document.GetImageResources()->GetSectionLength(), facts.at("resources_length").get<unsigned long>());
        EXPECT_EQ(document.GetImageResources()->GetNumResourceBlocks(), expected.size());
        ExpectBlocks(document, expected);

        const unsigned long width = document.GetImageWidth(), height = document.GetImageHeight();
        ASSERT_TRUE(document.OpenWriteFile(again.c_str()));
        document.SetImageWidth(width);  // the binding reset the header
        document.SetImageHeight(height);
        ASSERT_TRUE(document.CommitWriteFile());
        PhotoshopFile back;
        ASSERT_TRUE(back.OpenReadFile(again.c_str()));
        ExpectBlocks(back, expected, &document);
        // Thumbnail and profile blocks belong to classes that encode them anew.
        for (std::size_t i = 0; i < expected.size(); ++i) {
            PSDResourceBlock* before = document.GetImageResources()->GetResourceBlock(i);
            PSDResourceBlock* after = back.GetImageResources()->GetResourceBlock(i);
            if (before->GetResourceID() == 1036 || before->GetResourceID() == 1039) continue;
            EXPECT_EQ(std::memcmp(before->GetDataBlock(), after->GetDataBlock(), before->GetDataBlockSize()), 0) << i;
        }
        ASSERT_EQ(back.GetImageDataLen(), document.GetImageDataLen());
        EXPECT_EQ(std::memcmp(back.GetImageData(), document.GetImageData(), back.GetImageDataLen()), 0);
    }
}

}  // namespace
