// The resources every commit attaches: resolution, thumbnail, sRGB profile.

#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using namespace psdkit;

namespace {

std::vector<char> Planes(unsigned long width, unsigned long height) {
    std::vector<char> planes(3 * width * height);
    for (std::size_t i = 0; i < planes.size(); ++i) planes[i] = static_cast<char>(i % 251);
    return planes;
}

// Opens `path`, sets the size and `data`, commits.
bool Commit(PhotoshopFile* document, const std::string& path, unsigned long width, unsigned long height,
            const std::vector<char>& data) {
    document->OpenWriteFile(path.c_str());
    document->SetImageWidth(width);
    document->SetImageHeight(height);
    document->SetImageData(data.data(), data.size());
    return document->CommitWriteFile();
}

std::vector<unsigned short> Ids(PSDImageRes* resources) {
    std::vector<unsigned short> ids;
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i)
        ids.push_back(resources->GetResourceBlock(i)->GetResourceID());
    return ids;
}

TEST(Commit, AttachesResolutionThumbnailAndProfileInThisOrder) {
    psdtest::TempDir dir;
    std::string path = dir.Path("c.psd");
    PhotoshopFile document;
    ASSERT_TRUE(Commit(&document, path, 300, 200, Planes(300, 200)));
    EXPECT_EQ(Ids(document.GetImageResources()), (std::vector<unsigned short>{1005, 1036, 1039}));

    PhotoshopFile back;
    ASSERT_TRUE(back.OpenReadFile(path.c_str()));
    PSDImageRes* resources = back.GetImageResources();
    ASSERT_EQ(Ids(resources), (std::vector<unsigned short>{1005, 1036, 1039}));
    auto* resolution = dynamic_cast<PSDResolutionInfoRB*>(resources->GetResourceBlock(0));
    auto* thumbnail = dynamic_cast<PSDThumbnailRB*>(resources->GetResourceBlock(1));
    auto* profile = dynamic_cast<PSDICCProfileRB*>(resources->GetResourceBlock(2));
    ASSERT_TRUE(resolution && thumbnail && profile);
    EXPECT_EQ(resolution->GetHorizResolution(), 300);
    EXPECT_EQ(resolution->GetVertResolution(), 300);
    EXPECT_EQ(resolution->GetHorizResolutionUnits(), PSDResolutionInfoRB::PIXELS_PER_INCH);
    EXPECT_EQ(thumbnail->GetFormat(), 1u);
    EXPECT_EQ(thumbnail->GetWidth(), 112u);
    EXPECT_EQ(thumbnail->GetHeight(), 75u);
    EXPECT_EQ(profile->GetDataBlockSize(), 7264u);
    EXPECT_EQ(profile->GetHdrProfileSize(), 7264u);
    EXPECT_EQ(profile->GetNumTags(), 17u);
    // The section's length word is the bytes of its blocks.
    unsigned long sum = 0;
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i)
        sum += resources->GetResourceBlock(i)->GetResourceBlockSize();
    EXPECT_EQ(resources->GetSectionLength(), sum);
}

TEST(Commit, NarrowImagesStillGetAThumbnail112Wide) {
    psdtest::TempDir dir;
    PhotoshopFile document;
    ASSERT_TRUE(Commit(&document, dir.Path("n.psd"), 56, 28, Planes(56, 28)));
    auto* thumbnail = dynamic_cast<PSDThumbnailRB*>(document.GetImageResources()->GetResourceBlock(1));
    ASSERT_NE(thumbnail, nullptr);
    EXPECT_EQ(thumbnail->GetWidth(), 112u);
    EXPECT_EQ(thumbnail->GetHeight(), 56u);
}

TEST(Commit, AThumbnailThatCannotBeMadeIsLeftOut) {
    psdtest::TempDir dir;
    struct Case {
        unsigned long width, height;
        std::vector<char> data;
    };
    std::vector<Case> cases{
        {1000, 1, Planes(1000, 1)},             // the thumbnail would be 0 rows high
        {40, 30, std::vector<char>(40 * 30)},   // one plane only: fewer bytes than three planes
        {40, 30, std::vector<char>(3 * 40 * 30 - 1)},
    };
    for (const Case& c : cases) {
        PhotoshopFile document;
        std::string path = dir.Path("t.psd");
        ASSERT_TRUE(Commit(&document, path, c.width, c.height, c.data));
        EXPECT_EQ(Ids(document.GetImageResources()), (std::vector<unsigned short>{1005, 1039}));
        PhotoshopFile back;
        ASSERT_TRUE(back.OpenReadFile(path.c_str()));
        EXPECT_EQ(Ids(back.GetImageResources()), (std::vector<unsigned short>{1005, 1039}));
    }
}

TEST(Commit, AFailedCheckAttachesNothing) {
    psdtest::TempDir dir;
    PhotoshopFile document;
    std::vector<char> data = Planes(10, 10);
    EXPECT_FALSE(Commit(&document, dir.Path("f.psd"), 0, 10, data));
    EXPECT_EQ(document.GetImageResources()->GetNumResourceBlocks(), 0u);
    PhotoshopFile unopened;
    unopened.SetImageData(data.data(), data.size());
    EXPECT_FALSE(unopened.CommitWriteFile());
    EXPECT_EQ(unopened.GetImageResources()->GetNumResourceBlocks(), 0u);
}

TEST(Commit, AFailedWriteStillAttaches) {
    PhotoshopFile document;
    EXPECT_FALSE(Commit(&document, "/dev/full", 10, 10, Planes(10, 10)));
    EXPECT_EQ(document.GetImageResources()->GetNumResourceBlocks(), 3u);
}

TEST(Commit, HostBlocksStandAheadAndASecondCommitAppends) {
    psdtest::TempDir dir;
    std::string path = dir.Path("h.psd");
    PhotoshopFile document;
    document.OpenWriteFile(path.c_str());
    auto* angle = new PSDGlobalAngleRB();
    angle->SetResourceID(PSDResourceBlock::RS_1037);
    angle->SetDataBlockSize(4);
    angle->SetAngle(45);
    document.GetImageResources()->AddResourceBlock(angle);
    document.SetImageWidth(20);
    document.SetImageHeight(10);
    std::vector<char> data = Planes(20, 10);
    document.SetImageData(data.data(), data.size());
    ASSERT_TRUE(document.CommitWriteFile());
    EXPECT_FALSE(document.CommitWriteFile());  // closed: nothing more is attached
    EXPECT_EQ(document.GetImageResources()->GetNumResourceBlocks(), 4u);

    PhotoshopFile back;
    ASSERT_TRUE(back.OpenReadFile(path.c_str()));
    EXPECT_EQ(Ids(back.GetImageResources()), (std::vector<unsigned short>{1037, 1005, 1036, 1039}));
    auto* readAngle = dynamic_cast<PSDGlobalAngleRB*>(back.GetImageResources()->GetResourceBlock(0));
    ASSERT_NE(readAngle, nullptr);
    EXPECT_EQ(readAngle->GetAngle(), 45u);

    // The same object, opened again: a second set behind the first.
    ASSERT_TRUE(Commit(&document, path, 20, 10, data));
    PhotoshopFile again;
    ASSERT_TRUE(again.OpenReadFile(path.c_str()));
    EXPECT_EQ(Ids(again.GetImageResources()),
              (std::vector<unsigned short>{1037, 1005, 1036, 1039, 1005, 1036, 1039}));
}

}  // namespace
