// The damaged files of tests/data/corrupt and the corruption sweep over the
// shared corpus, each case read the way a host reads (fuzz/FuzzSupport.h). Every
// read must end (a watchdog names the case that does not), its peak heap
// growth must stay near the file's size, and `psdkit info` must agree: the
// report with one warning a read problem and exit code 0, or one line of
// error and exit code 1. The sweep cuts each file at every offset (or around
// every field it finds, fuzz/PsdWalk.h) and sets every length and count
// field to 0, 1 and its largest values; the fuzz targets change bytes.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "PsdWalk.h"
#include "psdkit/psdkit.h"
#include "support/DenseFiles.h"
#include "support/TestSupport.h"

namespace {

// Heap bytes in use and their highest mark. Every operator new of the process
// (the library's, the streams' buffers) passes through the replacements below.
// The composite's buffer is taken from malloc or mmap, outside the count: its
// size is the bytes the file holds behind the compression word.
std::atomic<long long> inUse{0};
std::atomic<long long> highest{0};
const std::size_t HEAD = alignof(std::max_align_t);

void* Take(std::size_t n) {
    char* block = static_cast<char*>(std::malloc(n + HEAD));
    if (block == nullptr) return nullptr;
    *reinterpret_cast<std::size_t*>(block) = n;
    long long now = inUse += static_cast<long long>(n);
    long long top = highest;
    while (now > top && !highest.compare_exchange_weak(top, now)) {}
    return block + HEAD;
}

void Give(void* p) {
    if (p == nullptr) return;
    // Through an integer: the compiler cannot know where the block begins.
    char* block = reinterpret_cast<char*>(reinterpret_cast<std::uintptr_t>(p) - HEAD);
    inUse -= static_cast<long long>(*reinterpret_cast<std::size_t*>(block));
    std::free(block);
}

}  // namespace

void* operator new(std::size_t n) {
    void* p = Take(n);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void* operator new[](std::size_t n) { return operator new(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return Take(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return Take(n); }
void operator delete(void* p) noexcept { Give(p); }
void operator delete[](void* p) noexcept { Give(p); }
void operator delete(void* p, std::size_t) noexcept { Give(p); }
void operator delete[](void* p, std::size_t) noexcept { Give(p); }

namespace {

const std::size_t DENSE_LIMIT = 64 * 1024;
const unsigned WATCHDOG_SECONDS = 60;
const unsigned MAX_REPORTED = 8;

char currentCase[512];

void Watchdog(int) {
    ssize_t ignored = write(2, currentCase, std::strlen(currentCase));
    (void)ignored;
    _exit(3);
}

// False where a tool (valgrind, a sanitizer) keeps allocations from the counter.
bool Counting() {
    long long before = highest = inUse.load();
    char* volatile probe = new char[4096];
    delete[] probe;
    return highest >= before + 4096;
}

bool IsSample(unsigned long n) { return n < 4096 && (n & (n - 1)) == 0; }

// Reads the cases of one file and collects what went wrong. A case's peak may
// reach `factor` times its size plus `slack`: a length read from a file is a
// claim, the file's own size is the fact.
class Sweeper {
public:
    Sweeper(const std::string& name, long long factor, long long slack, bool everyCli = false)
        : name(name), factor(factor), slack(slack), everyCli(everyCli), counting(Counting()), file("psdkit-sweep") {
        psdfuzz::Init();
        signal(SIGALRM, Watchdog);
    }

    // `expect` is 1 or 0 when the result is known from the file's structure,
    // -1 when it is not; `intact` likewise for whether the read says it found
    // the whole file.
    void Run(const unsigned char* data, std::size_t size, const std::string& what, int expect = -1, int intact = -1) {
        std::snprintf(currentCase, sizeof currentCase,
                      "\nsweep: a case did not end within the watchdog's time: %s: %s\n", name.c_str(), what.c_str());
        EXPECT_TRUE(file.Put(data, size)) << "cannot write the case file";
        ++cases;
        alarm(WATCHDOG_SECONDS);
        long long base = highest = inUse.load();
        bool read, whole;
        unsigned long problemLines;
        {
            psdkit::PhotoshopFile document;
            read = document.OpenReadFile(file.Path());
            whole = document.IsIntact();
            problemLines = document.GetNumReadProblems();
            psdfuzz::ExerciseDocument(&document);
        }
        long long peak = highest - base;
        alarm(0);

        if (counting && peak > factor * static_cast<long long>(size) + slack)
            Report("peak of " + std::to_string(peak) + " bytes for a " + std::to_string(size) + "-byte file", what);
        if (expect >= 0 && read != (expect == 1)) Report(std::string("read gave ") + (read ? "true" : "false"), what);
        if (intact >= 0 && whole != (intact == 1 && problemLines == 0))
            Report(std::string("read ") + (whole ? "says the file is whole" : "reports damage"), what);
        if (everyCli || IsSample(read ? successes : failures)) {
            std::string path = dir.Write("case.psd", std::vector<char>(data, data + size));
            alarm(WATCHDOG_SECONDS);
            psdtest::RunResult result = psdtest::RunCli({"info", path});
            alarm(0);
            bool oneLine =
                result.err.rfind("psdkit: ", 0) == 0 && std::count(result.err.begin(), result.err.end(), '\n') == 1;
            if (read ? (result.exitCode != 0 || !result.err.empty()) : (result.exitCode != 1 || !oneLine))
                Report("psdkit info exited " + std::to_string(result.exitCode) + ": " + result.err, what);
            unsigned long warnings = result.out.rfind("warning: ", 0) == 0;
            for (std::size_t at = 0; (at = result.out.find("\nwarning: ", at)) != std::string::npos; ++at) ++warnings;
            if (read && warnings != problemLines)
                Report(std::to_string(warnings) + " warnings for " + std::to_string(problemLines) + " problems", what);
        }
        ++(read ? successes : failures);
    }

    void Finish() {
        EXPECT_EQ(problems, 0u) << name << ": " << problems << " of " << cases << " cases went wrong (the first "
                                << MAX_REPORTED << " are listed above)";
        std::printf("sweep %s: %lu cases, %lu read, %lu refused%s\n", name.c_str(), cases, successes, failures,
                    counting ? "" : ", allocations not counted");
    }

private:
    void Report(const std::string& problem, const std::string& what) {
        if (problems++ < MAX_REPORTED) ADD_FAILURE() << name << ", " << what << ": " << problem;
    }

    std::string name;
    long long factor, slack;
    bool everyCli, counting;
    psdfuzz::MemFile file;
    psdtest::TempDir dir;
    unsigned long cases = 0, successes = 0, failures = 0;
    unsigned problems = 0;
};

}  // namespace

// Each damaged file is small and claims far more than it holds: the read's
// peak stays within the file's size and the stream buffers.
TEST(DamagedFiles, EndWithinTheFileSizeAndTheToolAgrees) {
    // Files with a header or section that runs past the end, and files whose
    // sections are whole with only a block's own payload bad.
    const std::set<std::string> refused = {"header-cut-at-25.psd", "psb-version-2.psd",
                                           "color-mode-length-ffffffff.psd", "resources-length-past-eof.psd",
                                           "layer-section-length-ffffffff.psd"};
    const std::set<std::string> read = {"icc-empty.psd",
                                        "icc-131-bytes.psd",
                                        "icc-tag-count-ffffffff.psd",
                                        "icc-tag-offset-past-profile.psd",
                                        "icc-text-without-terminator.psd",
                                        "thumbnail-empty.psd",
                                        "thumbnail-compressed-size-ffffffff.psd"};
    const std::vector<std::string> names = psdwalk::Files(PSDKIT_CORRUPT_DIR, {".psd"});
    ASSERT_GT(names.size(), 40u) << "tests/data/corrupt holds too few files";
    Sweeper sweeper("tests/data/corrupt", 1, 256 * 1024, true);
    for (const std::string& name : names) {
        std::vector<unsigned char> bytes = psdwalk::Load(std::string(PSDKIT_CORRUPT_DIR) + "/" + name);
        // Every damaged file says so: not intact, with a line on what was cut.
        sweeper.Run(bytes.data(), bytes.size(), name, refused.count(name) ? 0 : read.count(name) ? 1 : -1, 0);
    }
    sweeper.Finish();
}

// Files packed with small valid objects stay within twice their size and a
// megabyte as they grow: what each object costs is charged to the read.
TEST(DenseFiles, ReadWithinTwiceTheirSizeAndAMegabyte) {
    Sweeper sweeper("dense files", 2, 1024 * 1024);
    for (int kind = 0; kind < psddense::KINDS; ++kind)
        for (unsigned long bytes : {256UL << 10, 4UL << 20}) {
            const std::string file = psddense::File(kind, bytes);
            sweeper.Run(reinterpret_cast<const unsigned char*>(file.data()), file.size(),
                        std::string(psddense::KindName(kind)) + ", " + std::to_string(file.size()) + " bytes", 1);
        }
    sweeper.Finish();
}

class Sweep : public ::testing::TestWithParam<std::string> {};

TEST_P(Sweep, EveryDamageEnds) {
    PSDTEST_REQUIRE_CORPUS();
    const std::string name = GetParam();
    const std::vector<unsigned char> bytes = psdwalk::Load(psdtest::CorpusPath(name));
    const std::size_t size = bytes.size();
    const psdwalk::Layout layout = psdwalk::Walk(bytes.data(), size);

    // What the independent reader says of the undamaged file.
    const nlohmann::json* facts = psdtest::CorpusFile(name);
    const bool valid = facts != nullptr && facts->value("valid", false);
    // The ceiling is coarse: it catches a read that believes a damaged length.
    Sweeper sweeper(name, 8, 4 * 1024 * 1024);
    sweeper.Run(bytes.data(), size, "the file as it is", facts != nullptr ? (valid ? 1 : 0) : -1,
                facts != nullptr && valid ? 1 : -1);

    // A valid file cut before its composite has a section that runs past its
    // end: the read must say so. Cut inside the composite, it still reads.
    // Every offset of a small file; of a large one the first 4096, a stride,
    // the bytes around every field and the start of the composite.
    std::set<std::size_t> cuts;
    for (std::size_t cut = 0; cut < size; cut += size < DENSE_LIMIT || cut < 4096 ? 1 : size / 4096 + 1)
        cuts.insert(cut);
    for (const psdwalk::Field& field : layout.fields)
        for (std::size_t at = field.offset - std::min<std::size_t>(field.offset, 15); at < field.offset + 16; ++at)
            if (at < size) cuts.insert(at);
    for (std::size_t at = layout.composite; layout.composite != 0 && at < layout.composite + 64 && at < size; ++at)
        cuts.insert(at);
    for (std::size_t cut : cuts) {
        const int expect = !valid || cut < 26 ? 0 : layout.composite == 0 ? -1 : cut < layout.composite ? 0 : 1;
        sweeper.Run(bytes.data(), cut, "cut to " + std::to_string(cut) + " bytes", expect);
    }

    // Length and count fields rewritten.
    std::vector<unsigned char> damaged = bytes;
    for (const psdwalk::Field& field : layout.fields) {
        const unsigned long top = field.width == 4 ? 0xFFFFFFFFUL : field.width == 2 ? 0xFFFFUL : 0xFFUL;
        for (unsigned long value : {0UL, 1UL, top >> 1, top}) {
            for (unsigned i = 0; i < field.width; ++i)
                damaged[field.offset + i] = static_cast<unsigned char>(value >> (8 * (field.width - 1 - i)));
            sweeper.Run(damaged.data(), size,
                        field.what + " at " + std::to_string(field.offset) + " set to " + std::to_string(value));
        }
        for (unsigned i = 0; i < field.width; ++i) damaged[field.offset + i] = bytes[field.offset + i];
    }
    sweeper.Finish();
}

std::string CaseName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Corpus, Sweep, ::testing::ValuesIn(psdwalk::Files(psdtest::CorpusDir(), {".psd", ".psb"})),
                         CaseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Sweep);
