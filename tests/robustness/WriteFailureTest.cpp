// Writes that cannot succeed (a full device, a missing directory, a path the
// system refuses; the tool's tests fill a disk part-way): the commit returns
// false and the same document then writes elsewhere, with nothing leaked.

#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

namespace {

// Commits a valid document of width x height on `path` through `document`.
bool CommitOn(psdkit::PhotoshopFile* document, const std::string& path, unsigned long width, unsigned long height) {
    document->OpenWriteFile(path.c_str());
    document->SetImageWidth(width);
    document->SetImageHeight(height);
    std::vector<char> planes(3 * width * height);
    for (std::size_t i = 0; i < planes.size(); ++i) planes[i] = static_cast<char>(i * 7);
    const unsigned long plane = width * height;
    EXPECT_TRUE(document->SetPlanarImageData(planes.data(), planes.data() + plane, planes.data() + 2 * plane, plane));
    return document->CommitWriteFile();
}

}  // namespace

TEST(WriteFailure, CommitFailsAndTheSameDocumentWritesAgain) {
    psdtest::TempDir dir;
    const char* refused = "/proc/psdkit-cannot-create.psd";  // no one may create files there
    const struct {
        std::string path;
        unsigned long width, height;
    } cases[] = {
        {"/dev/full", 4, 4},      // sits in the stream's buffer until the final flush
        {"/dev/full", 512, 384},  // fails in the middle of the image data
        {dir.Path("missing/out.psd"), 32, 16},
        {refused, 32, 16},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path + " " + std::to_string(c.width));
        psdkit::PhotoshopFile document;
        EXPECT_FALSE(CommitOn(&document, c.path, c.width, c.height));
        const std::string again = dir.Path("again.psd");
        ASSERT_TRUE(CommitOn(&document, again, 64, 48));
        psdkit::PhotoshopFile back;
        ASSERT_TRUE(back.OpenReadFile(again.c_str()));
        EXPECT_EQ(back.GetImageDataLen(), 3u * 64 * 48);
    }
    EXPECT_FALSE(psdtest::FileExists(dir.Path("missing")) || psdtest::FileExists(refused));
}
