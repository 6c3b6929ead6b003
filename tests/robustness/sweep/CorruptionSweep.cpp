// The corruption sweep: every file of the shared corpus, damaged in every way
// listed below, read through PhotoshopFile::OpenReadFile. Every case must end
// (a watchdog names the case that does not), nothing may crash, and the read's
// peak heap growth must stay near the file's size. Where a read succeeds the
// document's reports and getters are called as a host would, and for a sample
// of the cases the psdkit tool's `info` runs on the same bytes.
//
// Damage, per file:
// - truncation at every offset (files under 64 KB), or at every offset of the
//   first 4 KB, around every structural field and at an even stride (larger);
// - 400 single-byte changes and 100 four-byte changes from a fixed seed,
//   mostly in the structured part before the composite;
// - each length and count field the walker finds (fuzz/PsdWalk.h) set to 0,
//   1, the largest signed and the largest unsigned value of its width.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Exercise.h"
#include "FuzzSupport.h"
#include "PsdWalk.h"
#include "psdkit/psdkit.h"
#include "support/AllocCounter.h"
#include "support/TestSupport.h"

namespace {

const std::size_t DENSE_LIMIT = 64 * 1024;
const unsigned WATCHDOG_SECONDS = 60;
// The sweep's allocation ceiling is coarse: it catches a read that believes a
// damaged length (gigabytes); the tight bound is AllocationBound's, on small files.
const long long ALLOC_FACTOR = 8;
const long long ALLOC_SLACK = 4 * 1024 * 1024;
const unsigned MAX_REPORTED = 8;

char currentCase[512];

void Watchdog(int) {
    const char prefix[] = "\nsweep: a case did not end within the watchdog's time: ";
    ssize_t ignored = write(2, prefix, sizeof prefix - 1);
    ignored = write(2, currentCase, std::strlen(currentCase));
    ignored = write(2, "\n", 1);
    (void)ignored;
    _exit(3);
}

std::vector<std::string> CorpusNames() {
    std::vector<std::string> names;
    if (DIR* dir = opendir(psdtest::CorpusDir().c_str())) {
        while (dirent* entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (name.size() > 4 && (name.compare(name.size() - 4, 4, ".psd") == 0 ||
                                    name.compare(name.size() - 4, 4, ".psb") == 0))
                names.push_back(name);
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool IsSample(unsigned long n) { return n < 4096 && (n & (n - 1)) == 0; }

class Sweeper {
public:
    explicit Sweeper(const std::string& name) : name(name), file("psdkit-sweep") {}

    // Reads `size` bytes of `data` as a file. `expect` is 1 or 0 when the
    // result is known from the file's structure, -1 when it is not.
    void Run(const unsigned char* data, std::size_t size, const std::string& what, int expect = -1) {
        std::snprintf(currentCase, sizeof currentCase, "%s: %s", name.c_str(), what.c_str());
        ASSERT_TRUE(file.Put(data, size)) << "cannot write the case file";
        ++cases;
        alarm(WATCHDOG_SECONDS);
        psdtest::PeakWatch watch;
        bool read;
        {
            psdkit::PhotoshopFile document;
            read = document.OpenReadFile(file.Path());
            psdfuzz::ExerciseDocument(&document);
        }
        long long peak = watch.Growth();
        alarm(0);

        long long ceiling = ALLOC_FACTOR * static_cast<long long>(size) + ALLOC_SLACK;
        if (psdtest::AllocCounter::Active() && peak > ceiling)
            Report("allocated " + std::to_string(peak) + " bytes at its peak for a " + std::to_string(size) +
                       "-byte file",
                   what);
        if (expect >= 0 && read != (expect == 1))
            Report(std::string("read gave ") + (read ? "true" : "false") + ", expected " +
                       (expect == 1 ? "true" : "false"),
                   what);
        if (read) {
            if (IsSample(successes++)) RunCli(data, size, what, true);
        } else {
            if (IsSample(failures++)) RunCli(data, size, what, false);
        }
    }

    void Finish() {
        EXPECT_EQ(problems, 0u) << name << ": " << problems << " of " << cases << " cases went wrong (the first "
                                << MAX_REPORTED << " are listed above)";
        std::printf("sweep %s: %lu cases, %lu read, %lu refused, %lu psdkit info runs\n", name.c_str(), cases,
                    successes, failures, cliRuns);
    }

private:
    void Report(const std::string& problem, const std::string& what) {
        if (problems++ < MAX_REPORTED) ADD_FAILURE() << name << ", " << what << ": " << problem;
    }

    // `psdkit info` on the same bytes: the document it prints, or one line
    // of error and exit code 1; never a crash.
    void RunCli(const unsigned char* data, std::size_t size, const std::string& what, bool readable) {
        std::string path = dir.Path("case.psd");
        std::ofstream(path, std::ios_base::binary | std::ios_base::trunc)
            .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        alarm(WATCHDOG_SECONDS);
        psdtest::RunResult result = psdtest::RunCli({"info", path});
        alarm(0);
        ++cliRuns;
        if (readable && result.exitCode != 0) {
            Report("psdkit info exited " + std::to_string(result.exitCode) + " on a file the library reads: " +
                       result.err,
                   what);
        } else if (!readable) {
            bool oneLine = result.err.rfind("psdkit: ", 0) == 0 && std::count(result.err.begin(), result.err.end(), '\n') == 1;
            if (result.exitCode != 1 || !oneLine)
                Report("psdkit info on a refused file exited " + std::to_string(result.exitCode) +
                           " with: " + result.err,
                       what);
        }
    }

    std::string name;
    psdfuzz::MemFile file;
    psdtest::TempDir dir;
    unsigned long cases = 0, successes = 0, failures = 0, cliRuns = 0;
    unsigned problems = 0;
};

class Sweep : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        psdfuzz::Init();
        signal(SIGALRM, Watchdog);
    }
};

TEST_P(Sweep, EveryDamageEnds) {
    PSDTEST_REQUIRE_CORPUS();
    const std::string name = GetParam();
    std::ifstream in(psdtest::CorpusPath(name), std::ios_base::binary);
    const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_FALSE(bytes.empty()) << name;
    const std::size_t size = bytes.size();
    const psdwalk::Layout layout = psdwalk::Walk(bytes.data(), size);

    // What the independent reader says of the undamaged file.
    const nlohmann::json* facts = psdtest::CorpusFile(name);
    const bool valid = facts != nullptr && facts->value("valid", false);
    Sweeper sweeper(name);
    sweeper.Run(bytes.data(), size, "the file as it is", facts != nullptr ? (valid ? 1 : 0) : -1);

    // Truncations. A valid file cut before its composite has a section that
    // runs past its end: the read must say so. Cut inside the composite, it
    // still reads.
    std::set<std::size_t> cuts;
    if (size < DENSE_LIMIT) {
        for (std::size_t cut = 0; cut < size; ++cut) cuts.insert(cut);
    } else {
        for (std::size_t cut = 0; cut < 4096; ++cut) cuts.insert(cut);
        for (const psdwalk::Field& field : layout.fields)
            for (std::size_t d = 0; d < 16; ++d) {
                if (field.offset + d < size) cuts.insert(field.offset + d);
                if (field.offset >= d) cuts.insert(field.offset - d);
            }
        for (std::size_t cut = 0; cut < size; cut += size / 4096 + 1) cuts.insert(cut);
        if (layout.composite != 0)
            for (std::size_t d = 0; d < 64 && layout.composite + d < size; ++d) cuts.insert(layout.composite + d);
    }
    for (std::size_t cut : cuts) {
        int expect = -1;
        if (!valid || cut < 26) expect = 0;
        else if (layout.composite != 0) expect = cut < layout.composite ? 0 : 1;
        sweeper.Run(bytes.data(), cut, "cut to " + std::to_string(cut) + " bytes", expect);
    }

    // Byte changes from a fixed seed, most of them before the composite.
    std::mt19937 random(0x50534B31u ^ static_cast<unsigned>(std::hash<std::string>()(name)));
    const std::size_t structured = layout.composite != 0 ? std::min(size, layout.composite + 2) : size;
    auto position = [&]() -> std::size_t {
        if (random() % 5 != 0) return random() % structured;
        return random() % size;
    };
    auto change = [&](unsigned char b) -> unsigned char {
        switch (random() % 6) {
            case 0: return static_cast<unsigned char>(~b);
            case 1: return b ^ 0x01;
            case 2: return b ^ 0x80;
            case 3: return 0x00;
            case 4: return 0xFF;
            default: return static_cast<unsigned char>(random());
        }
    };
    std::vector<unsigned char> damaged = bytes;
    for (int i = 0; i < 400; ++i) {
        std::size_t at = position();
        damaged[at] = change(bytes[at]);
        char what[96];
        std::snprintf(what, sizeof what, "byte %zu changed from 0x%02X to 0x%02X", at, bytes[at], damaged[at]);
        sweeper.Run(damaged.data(), size, what);
        damaged[at] = bytes[at];
    }
    for (int i = 0; i < 100; ++i) {
        std::string what = "bytes changed:";
        std::size_t at[4];
        for (std::size_t& a : at) {
            a = position();
            damaged[a] = change(bytes[a]);
            what += " " + std::to_string(a);
        }
        sweeper.Run(damaged.data(), size, what);
        for (std::size_t a : at) damaged[a] = bytes[a];
    }

    // Length and count fields rewritten.
    for (const psdwalk::Field& field : layout.fields) {
        const unsigned long top = field.width == 4 ? 0xFFFFFFFFUL : field.width == 2 ? 0xFFFFUL : 0xFFUL;
        for (unsigned long value : {0UL, 1UL, top >> 1, top}) {
            for (unsigned i = 0; i < field.width; ++i)
                damaged[field.offset + i] = static_cast<unsigned char>(value >> (8 * (field.width - 1 - i)));
            char what[160];
            std::snprintf(what, sizeof what, "%s at %zu set to %lu", field.what.c_str(), field.offset, value);
            sweeper.Run(damaged.data(), size, what);
        }
        for (unsigned i = 0; i < field.width; ++i) damaged[field.offset + i] = bytes[field.offset + i];
    }
    sweeper.Finish();
}

std::string CaseName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Corpus, Sweep, ::testing::ValuesIn(CorpusNames()), CaseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Sweep);

TEST(SweepCorpus, Present) {
    PSDTEST_REQUIRE_CORPUS();
    EXPECT_FALSE(CorpusNames().empty()) << "the corpus at " << psdtest::CorpusDir() << " holds no PSD file";
}

}  // namespace
