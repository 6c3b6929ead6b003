// Writes that cannot succeed: a full device, a missing directory, a path the
// system refuses, a read-only directory, a disk that fills in the middle of
// the file. The commit returns false, the process goes on (the next write
// works, also on the same object), and nothing leaks (the sanitizer and
// valgrind runs check that). The psdkit tool prints one line, exits 1, leaves
// no partial file and never replaces a file without --force.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <fcntl.h>
#include <dirent.h>

#include <algorithm>
#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

#if __has_include("psdkit/thumbnail/PSDThumbnailRB.h")
#include "psdkit/thumbnail/PSDThumbnailRB.h"
#define PSDTEST_HAVE_THUMBNAIL 1
#endif

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

bool Commit(const std::string& path, unsigned long width, unsigned long height) {
    psdkit::PhotoshopFile document;
    return CommitOn(&document, path, width, height);
}

// The process goes on: a fresh document writes and reads back.
void ExpectNextWriteWorks(const psdtest::TempDir& dir) {
    std::string path = dir.Path("after.psd");
    ASSERT_TRUE(Commit(path, 16, 8)) << "a write after the failed one failed too";
    psdkit::PhotoshopFile back;
    ASSERT_TRUE(back.OpenReadFile(path.c_str()));
    EXPECT_EQ(back.GetImageWidth(), 16);
    EXPECT_EQ(back.GetImageDataLen(), 3u * 16 * 8);
}

// True when a file can be created in `dir`: root passes permission bits.
bool CanCreateIn(const std::string& dir) {
    std::string probe = dir + "/probe";
    int fd = open(probe.c_str(), O_CREAT | O_WRONLY, 0644);
    if (fd < 0) return false;
    close(fd);
    unlink(probe.c_str());
    return true;
}

std::vector<std::string> Entries(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') names.push_back(e->d_name);
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Runs the tool with regular files limited to `blocks` x 512 bytes: writes
// beyond that fail as on a full disk (SIGXFSZ is ignored, so write() reports
// EFBIG instead of ending the process).
psdtest::RunResult RunCliOnSmallDisk(unsigned blocks, const std::vector<std::string>& args) {
    std::string command = "ulimit -f " + std::to_string(blocks) + " && trap '' XFSZ && exec \"$0\" \"$@\"";
    std::vector<std::string> argv{"/bin/sh", "-c", command, PSDKIT_CLI_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    return psdtest::RunProgram(argv);
}

// One line on stderr, "psdkit: " first, exit code 1.
void ExpectOneLineFailure(const psdtest::RunResult& result, const std::string& what) {
    EXPECT_EQ(result.exitCode, 1) << what << ": " << result.err;
    EXPECT_EQ(result.err.rfind("psdkit: ", 0), 0u) << what << ": " << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << what << ": " << result.err;
}

std::string WritePpm(const psdtest::TempDir& dir, unsigned width, unsigned height) {
    psdtest::Bytes ppm;
    ppm.str("P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n");
    for (unsigned i = 0; i < width * height * 3; ++i) ppm.u8((i * 31) & 0xFF);
    return dir.Write("in.ppm", ppm);
}

// Files of this process end at `bytes` while the object lives.
class SmallDisk {
public:
    explicit SmallDisk(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &saved);
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGXFSZ, &ignore, &previous);
        struct rlimit small = saved;
        small.rlim_cur = bytes;
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

// A path whose directory the system never lets anyone create files in.
const char* REFUSED_PATH = "/proc/psdkit-cannot-create.psd";

}  // namespace

TEST(WriteFailure, FullDeviceFailsTheCommit) {
    if (!psdtest::FileExists("/dev/full")) GTEST_SKIP() << "/dev/full is missing on this system";
    // Small enough to sit in the stream's buffer until the final flush, and
    // large enough to fail in the middle of the image data.
    EXPECT_FALSE(Commit("/dev/full", 4, 4));
    EXPECT_FALSE(Commit("/dev/full", 512, 384));
    psdtest::TempDir dir;
    ExpectNextWriteWorks(dir);
}

TEST(WriteFailure, MissingDirectoryFailsTheCommit) {
    psdtest::TempDir dir;
    std::string path = dir.Path("missing/out.psd");
    EXPECT_FALSE(Commit(path, 32, 16));
    EXPECT_FALSE(psdtest::FileExists(dir.Path("missing")));
    ExpectNextWriteWorks(dir);
}

TEST(WriteFailure, RefusedPathFailsTheCommit) {
    EXPECT_FALSE(Commit(REFUSED_PATH, 32, 16));
    EXPECT_FALSE(psdtest::FileExists(REFUSED_PATH));
    psdtest::TempDir dir;
    ExpectNextWriteWorks(dir);
}

TEST(WriteFailure, ReadOnlyDirectoryFailsTheCommit) {
    psdtest::TempDir dir;
    std::string locked = dir.Path("locked");
    ASSERT_EQ(mkdir(locked.c_str(), 0555), 0);
    if (CanCreateIn(locked)) {
        chmod(locked.c_str(), 0755);
        GTEST_SKIP() << "running as root (or with CAP_DAC_OVERRIDE): a read-only directory does not stop this "
                        "process's writes; RefusedPathFailsTheCommit covers a path the system refuses";
    }
    EXPECT_FALSE(Commit(locked + "/out.psd", 32, 16));
    EXPECT_TRUE(Entries(locked).empty());
    chmod(locked.c_str(), 0755);
    ExpectNextWriteWorks(dir);
}

TEST(WriteFailure, DiskFillingDuringTheWriteFailsTheCommit) {
    psdtest::TempDir dir;
    bool committed;
    {
        // The header and the resources fit in 8 KB, the image data does not.
        SmallDisk disk(8192);
        committed = Commit(dir.Path("full.psd"), 256, 256);
    }
    EXPECT_FALSE(committed);
    ExpectNextWriteWorks(dir);
}

#ifdef PSDTEST_HAVE_THUMBNAIL
TEST(WriteFailure, ThumbnailEncodingOnAFullDiskFails) {
    // The JPEG stream passes through a temporary file: when that cannot be
    // written, libjpeg's error must come back as false, not end the process.
    const unsigned long width = 300, height = 200;
    std::vector<char> planes(3 * width * height);
    for (std::size_t i = 0; i < planes.size(); ++i) planes[i] = static_cast<char>(i * 13);
    for (rlim_t limit : {rlim_t(0), rlim_t(100), rlim_t(1000)}) {
        SmallDisk disk(limit);
        psdkit::PSDThumbnailRB thumbnail;
        EXPECT_FALSE(thumbnail.CreateThumbnailFromData(112, width, height, planes.data())) << "limit " << limit;
    }
    psdkit::PSDThumbnailRB thumbnail;
    EXPECT_TRUE(thumbnail.CreateThumbnailFromData(112, width, height, planes.data()));
    EXPECT_EQ(thumbnail.GetWidth(), 112u);
}
#endif

TEST(WriteFailure, SameDocumentWritesAfterAFailedCommit) {
    if (!psdtest::FileExists("/dev/full")) GTEST_SKIP() << "/dev/full is missing on this system";
    psdtest::TempDir dir;
    psdkit::PhotoshopFile document;
    EXPECT_FALSE(CommitOn(&document, "/dev/full", 64, 48));
    std::string path = dir.Path("again.psd");
    EXPECT_TRUE(CommitOn(&document, path, 64, 48));
    psdkit::PhotoshopFile back;
    ASSERT_TRUE(back.OpenReadFile(path.c_str()));
    EXPECT_EQ(back.GetImageWidth(), 64);
    EXPECT_EQ(back.GetImageHeight(), 48);
    EXPECT_EQ(back.GetImageDataLen(), 3u * 64 * 48);
}

TEST(WriteFailureCli, WriteToMissingDirectoryOrRefusedPath) {
    psdtest::TempDir dir;
    std::string ppm = WritePpm(dir, 8, 6);
    std::string missing = dir.Path("missing/out.psd");
    ExpectOneLineFailure(psdtest::RunCli({"write", missing, "--from", ppm}), "missing directory");
    EXPECT_FALSE(psdtest::FileExists(dir.Path("missing")));
    ExpectOneLineFailure(psdtest::RunCli({"write", REFUSED_PATH, "--from", ppm}), "refused path");
    EXPECT_EQ(Entries(dir.Dir()), std::vector<std::string>{"in.ppm"});
}

TEST(WriteFailureCli, WriteOnAFullDiskLeavesNoFile) {
    psdtest::TempDir dir;
    std::string ppm = WritePpm(dir, 200, 150);
    std::string out = dir.Path("out.psd");
    ExpectOneLineFailure(RunCliOnSmallDisk(16, {"write", out, "--from", ppm}), "disk full");
    EXPECT_EQ(Entries(dir.Dir()), std::vector<std::string>{"in.ppm"}) << "a partial or temporary file was left";

    // With --force over an existing file: the old file survives the failure.
    std::vector<char> old(100, 'x');
    dir.Write("out.psd", old);
    ExpectOneLineFailure(RunCliOnSmallDisk(16, {"write", out, "--from", ppm, "--force"}), "disk full, --force");
    EXPECT_EQ(psdtest::ReadFile(out), old);
    EXPECT_EQ(Entries(dir.Dir()), (std::vector<std::string>{"in.ppm", "out.psd"}));
}

TEST(WriteFailureCli, WriteNeverReplacesWithoutForce) {
    psdtest::TempDir dir;
    std::string ppm = WritePpm(dir, 8, 6);
    std::vector<char> old(10, 'y');
    std::string out = dir.Write("out.psd", old);
    ExpectOneLineFailure(psdtest::RunCli({"write", out, "--from", ppm}), "existing file");
    EXPECT_EQ(psdtest::ReadFile(out), old);
    // A device counts as an existing file. (Never with --force here: that
    // would replace the device node, and the tests run as root.)
    if (psdtest::FileExists("/dev/full"))
        ExpectOneLineFailure(psdtest::RunCli({"write", "/dev/full", "--from", ppm}), "/dev/full");
}

TEST(WriteFailureCli, DemoFailuresLeaveNoFile) {
    psdtest::TempDir dir;
    ExpectOneLineFailure(psdtest::RunCli({"demo", dir.Path("missing/demo.psd")}), "demo, missing directory");
    ExpectOneLineFailure(psdtest::RunCli({"demo", REFUSED_PATH}), "demo, refused path");
    ExpectOneLineFailure(RunCliOnSmallDisk(64, {"demo", dir.Path("demo.psd")}), "demo, disk full");
    EXPECT_TRUE(Entries(dir.Dir()).empty()) << "a partial file was left";

    std::vector<char> old(10, 'z');
    std::string existing = dir.Write("demo.psd", old);
    ExpectOneLineFailure(psdtest::RunCli({"demo", existing}), "demo, existing file");
    EXPECT_EQ(psdtest::ReadFile(existing), old);
    if (psdtest::FileExists("/dev/full"))
        ExpectOneLineFailure(psdtest::RunCli({"demo", "/dev/full"}), "demo, /dev/full");
}

TEST(WriteFailureCli, ReadOnlyDirectory) {
    psdtest::TempDir dir;
    std::string ppm = WritePpm(dir, 8, 6);
    std::string locked = dir.Path("locked");
    ASSERT_EQ(mkdir(locked.c_str(), 0555), 0);
    if (CanCreateIn(locked)) {
        chmod(locked.c_str(), 0755);
        GTEST_SKIP() << "running as root (or with CAP_DAC_OVERRIDE): a read-only directory does not stop this "
                        "process's writes; WriteToMissingDirectoryOrRefusedPath covers a refused path";
    }
    ExpectOneLineFailure(psdtest::RunCli({"write", locked + "/out.psd", "--from", ppm}), "read-only directory");
    ExpectOneLineFailure(psdtest::RunCli({"demo", locked + "/demo.psd"}), "demo, read-only directory");
    EXPECT_TRUE(Entries(locked).empty());
    chmod(locked.c_str(), 0755);
}
