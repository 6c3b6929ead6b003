// Writes that cannot succeed: a full device, a missing directory, a path the
// system refuses, a disk that fills in the middle of the file. The commit
// returns false and the process goes on: the same document then writes
// elsewhere (the sanitizer and valgrind runs check that nothing leaks).

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

namespace {

// Hands a valid document of width x height to `document` (opened on `path`)
// and commits it.
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

// Files of this process end at `bytes` (0: no limit) while the object lives;
// a write past that fails as on a full disk instead of ending the process.
class SmallDisk {
public:
    explicit SmallDisk(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &saved);
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGXFSZ, &ignore, &previous);
        struct rlimit small = saved;
        if (bytes != 0) small.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallDisk() {
        setrlimit(RLIMIT_FSIZE, &saved);
        sigaction(SIGXFSZ, &previous, nullptr);
    }

private:
    struct rlimit saved;
    struct sigaction previous = {};
};

}  // namespace

TEST(WriteFailure, CommitFailsAndTheSameDocumentWritesAgain) {
    psdtest::TempDir dir;
    const char* refused = "/proc/psdkit-cannot-create.psd";  // no one may create files there
    const struct {
        std::string path;
        unsigned long width, height;
        rlim_t disk;
    } cases[] = {
        {"/dev/full", 4, 4, 0},      // sits in the stream's buffer until the final flush
        {"/dev/full", 512, 384, 0},  // fails in the middle of the image data
        {dir.Path("missing/out.psd"), 32, 16, 0},
        {refused, 32, 16, 0},
        {dir.Path("full.psd"), 256, 256, 8192},  // the header and resources fit, the image data does not
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path + " " + std::to_string(c.width));
        psdkit::PhotoshopFile document;
        bool committed;
        {
            SmallDisk disk(c.disk);
            committed = CommitOn(&document, c.path, c.width, c.height);
        }
        EXPECT_FALSE(committed);
        const std::string again = dir.Path("again.psd");
        ASSERT_TRUE(CommitOn(&document, again, 64, 48));
        psdkit::PhotoshopFile back;
        ASSERT_TRUE(back.OpenReadFile(again.c_str()));
        EXPECT_EQ(back.GetImageWidth(), 64);
        EXPECT_EQ(back.GetImageDataLen(), 3u * 64 * 48);
    }
    EXPECT_FALSE(psdtest::FileExists(dir.Path("missing")));
    EXPECT_FALSE(psdtest::FileExists(refused));
}

TEST(WriteFailure, ThumbnailEncodingOnAFullDiskFails) {
    // The JPEG stream passes through a temporary file: when that cannot be
    // written, libjpeg's error must come back as false, not end the process.
    const unsigned long width = 300, height = 200;
    std::vector<char> planes(3 * width * height);
    for (std::size_t i = 0; i < planes.size(); ++i) planes[i] = static_cast<char>(i * 13);
    for (rlim_t limit : {rlim_t(1), rlim_t(100), rlim_t(1000)}) {
        SmallDisk disk(limit);
        psdkit::PSDThumbnailRB thumbnail;
        EXPECT_FALSE(thumbnail.CreateThumbnailFromData(112, width, height, planes.data())) << "limit " << limit;
    }
    psdkit::PSDThumbnailRB thumbnail;
    EXPECT_TRUE(thumbnail.CreateThumbnailFromData(112, width, height, planes.data()));
    EXPECT_EQ(thumbnail.GetWidth(), 112u);
}
