// The tool against hostile inputs and failing writes: no hang, no abort, no
// destroyed target, no file bytes reaching the terminal raw; and the check
// command and --version.

#include <sys/stat.h>
#include <unistd.h>

#include <dirent.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

namespace {

using psdtest::Bytes;
using psdtest::RunResult;

// Runs the tool in a shell that sets `limits` first (ulimit lines), with a
// time limit, so that a hang fails the test instead of stalling it.
RunResult RunLimited(const std::string& limits, const std::vector<std::string>& args) {
    std::vector<std::string> argv = {"timeout",      "20", "/bin/sh", "-c", limits + "\nexec \"$0\" \"$@\"",
                                     PSDKIT_CLI_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    return psdtest::RunProgram(argv);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// A failure as the tool must report it: exit 1, one line on stderr, no abort.
void ExpectOneLineFailure(const RunResult& r) {
    EXPECT_EQ(r.exitCode, 1) << r.err;
    EXPECT_EQ(Lines(r.err).size(), 1u) << r.err;
    EXPECT_EQ(r.err.rfind("psdkit: ", 0), 0u) << r.err;
    EXPECT_EQ(r.err.find("terminate"), std::string::npos) << r.err;
}

std::vector<std::string> DirectoryEntries(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (std::string(e->d_name) != "." && std::string(e->d_name) != "..") names.push_back(e->d_name);
        closedir(d);
    }
    return names;
}

TEST(CliSafety, InputsThatAreNotRegularFilesFailAtOnce) {
    psdtest::TempDir dir;
    std::string fifo = dir.Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& input : {fifo, std::string("/dev/zero"), dir.Dir()}) {
        const std::vector<std::vector<std::string>> commands = {
            {"info", input},
            {"thumbnail", input, dir.Path("t.jpg")},
            {"icc", input, dir.Path("p.icc")},
            {"write", dir.Path("w.psd"), "--from", input},
        };
        for (const auto& args : commands) {
            SCOPED_TRACE(args[0] + " " + input);
            ExpectOneLineFailure(RunLimited("", args));
        }
        SCOPED_TRACE("check " + input);
        RunResult r = RunLimited("", {"check", input});
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.out.rfind(input + ": not a PSD file: ", 0), 0u) << r.out;
    }
}

TEST(CliSafety, OutOfMemoryIsOneLineAndExitOne) {
    psdtest::TempDir dir;
    // A 300 MB image (sparse on disk) read into memory under a 200 MB address space.
    std::string ppm = dir.Write("big.ppm", Bytes().str("P6\n10000 10000\n255\n"));
    ASSERT_EQ(truncate(ppm.c_str(), 300000000), 0);
    RunResult r = RunLimited("ulimit -v 200000", {"write", dir.Path("out.psd"), "--from", ppm});
    ExpectOneLineFailure(r);
    EXPECT_NE(r.err.find("out of memory"), std::string::npos) << r.err;
    EXPECT_EQ(DirectoryEntries(dir.Dir()).size(), 1u);  // nothing left beside the image
}

TEST(CliSafety, ForceNeverDestroysTheTargetWhenTheWriteFails) {
    psdtest::TempDir dir;
    std::string source = dir.Path("source.psd");
    ASSERT_EQ(psdtest::RunCli({"demo", source}).exitCode, 0);
    std::string ppm = dir.Write("small.ppm", Bytes().str("P6\n4 4\n255\n").zeros(48));
    std::string wide = dir.Write("wide.ppm", Bytes().str("P6\n30001 1\n255\n").zeros(90003));
    const std::string precious = "precious bytes\n";
    // Per case: the file size limit (1 KB blocks; no limit when empty) and the command. The
    // outputs are larger than 2 KB, so under the limit every write fails part-way.
    const std::string noGrowth = "trap '' XFSZ\nulimit -f 2";
    const struct {
        std::string limits;
        std::vector<std::string> args;
    } cases[] = {
        {noGrowth, {"write", "TARGET", "--from", ppm, "--force"}},
        {"", {"write", "TARGET", "--from", wide, "--force"}},  // refused by the write check
        {noGrowth, {"demo", "TARGET", "--force"}},
        {noGrowth, {"icc", source, "TARGET", "--force"}},
        {noGrowth, {"thumbnail", source, "TARGET", "--force"}},
    };
    for (const auto& c : cases) {
        std::string target = dir.Write("target", Bytes().str(precious));
        std::vector<std::string> args = c.args;
        for (std::string& a : args)
            if (a == "TARGET") a = target;
        SCOPED_TRACE(args[0] + " " + c.limits);
        ExpectOneLineFailure(RunLimited(c.limits, args));
        std::vector<char> kept = psdtest::ReadFile(target);
        EXPECT_EQ(std::string(kept.begin(), kept.end()), precious);
        EXPECT_EQ(DirectoryEntries(dir.Dir()).size(), 4u);  // source, two images, target: no temporary left
    }
}

// A document with one profile whose copyright text and description carry
// terminal control sequences, and a resource named with control bytes.
Bytes HostileDocument() {
    const std::string text =
        "evil\x1b]0;owned\x07\x1b[2J\x9b"
        "31m";
    Bytes tag = Bytes().str("text").zeros(4).str(text).u8(0);
    while (tag.size() % 4) tag.u8(0);
    Bytes profile = Bytes().u32(132 + 12 + tag.size()).zeros(124).u32(1);
    profile.u32(psdkit::PSDICCTag::TAGID_CPRT).u32(144).u32(tag.size()).raw(tag);
    Bytes section = Bytes()
                        .str("8BIM")
                        .u16(1039)
                        .u8(3)
                        .str(
                            "a\x1b"
                            "b")
                        .u32(profile.size())
                        .raw(profile);
    section.str("8BIM").u16(2000).u8(1).str("\x07").u32(2).u16(0);
    Bytes file = psdtest::PsdHeader(3, 1, 1, 8, 3);
    return file.u32(0).u32(section.size()).raw(section).u32(0).u16(0).u8(1).u8(2).u8(3);
}

TEST(CliSafety, TextFromTheFileReachesTheTerminalEscaped) {
    psdtest::TempDir dir;
    std::string path = dir.Write("hostile.psd", HostileDocument());
    RunResult r = psdtest::RunCli({"info", path});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (char c : r.out) {
        unsigned char u = static_cast<unsigned char>(c);
        EXPECT_TRUE(u == '\n' || u == '\t' || (u >= 0x20 && u != 0x7F && u != 0x9B)) << "raw byte " << int(u);
    }
    EXPECT_NE(r.out.find("evil\\x1B]0;owned\\x07\\x1B[2J\\x9B31m"), std::string::npos) << r.out;

    // An error line that holds a file name with control bytes stays one line.
    std::string odd = dir.Write("line\nbreak\x1b.psd", Bytes().str("not a psd"));
    RunResult e = psdtest::RunCli({"info", odd});
    ExpectOneLineFailure(e);
}

std::vector<std::string> CorruptFiles() {
    std::string dir = std::string(PSDKIT_SOURCE_DIR) + "/tests/data/corrupt";
    std::vector<std::string> files;
    for (const std::string& name : DirectoryEntries(dir))
        if (name.size() > 4 && name.compare(name.size() - 4, 4, ".psd") == 0) files.push_back(dir + "/" + name);
    return files;
}

TEST(CliCheck, OneLinePerFileAndTheExitCodeSaysWhetherAllAreIntact) {
    psdtest::TempDir dir;
    std::string text = dir.Write("notes.txt", Bytes().str(std::string(100, 'x')));
    std::vector<std::string> valid;
    if (psdtest::CorpusAvailable())
        for (const auto& facts : psdtest::CorpusFacts())
            if (facts.value("valid", false)) valid.push_back(psdtest::CorpusPath(facts["file"]));
    std::string written = dir.Path("written.psd");
    ASSERT_EQ(psdtest::RunCli({"demo", written}).exitCode, 0);
    valid.push_back(written);

    RunResult ok = psdtest::RunCli([&] {
        std::vector<std::string> a = {"check"};
        a.insert(a.end(), valid.begin(), valid.end());
        return a;
    }());
    EXPECT_EQ(ok.exitCode, 0) << ok.out;
    std::vector<std::string> lines = Lines(ok.out);
    ASSERT_EQ(lines.size(), valid.size());
    for (std::size_t i = 0; i < valid.size(); ++i) EXPECT_EQ(lines[i], valid[i] + ": ok");

    // Damaged and foreign files: one line each, in order, of one of the three shapes.
    std::vector<std::string> mixed = CorruptFiles();
    ASSERT_FALSE(mixed.empty());
    mixed.insert(mixed.begin(), text);
    mixed.push_back(dir.Path("missing.psd"));
    std::vector<std::string> args = {"check"};
    args.insert(args.end(), mixed.begin(), mixed.end());
    RunResult r = psdtest::RunCli(args);
    lines = Lines(r.out);
    ASSERT_EQ(lines.size(), mixed.size()) << r.out;
    bool allOk = true;
    const std::regex shape("(ok|damaged: .+|not a PSD file: .+)");
    for (std::size_t i = 0; i < mixed.size(); ++i) {
        SCOPED_TRACE(lines[i]);
        ASSERT_EQ(lines[i].rfind(mixed[i] + ": ", 0), 0u);
        std::string verdict = lines[i].substr(mixed[i].size() + 2);
        EXPECT_TRUE(std::regex_match(verdict, shape));
        allOk = allOk && verdict == "ok";
    }
    EXPECT_EQ(lines.front().substr(text.size() + 2, 15), "not a PSD file:");
    EXPECT_EQ(lines.back().substr(mixed.back().size() + 2, 15), "not a PSD file:");
    EXPECT_FALSE(allOk);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(psdtest::RunCli({"check"}).exitCode, 2);
}

TEST(CliCheck, InfoListsEachReadProblemAsAWarning) {
    for (const std::string& path : CorruptFiles()) {
        psdkit::PhotoshopFile document;
        if (!document.OpenReadFile(path.c_str())) continue;
        SCOPED_TRACE(path);
        RunResult r = psdtest::RunCli({"info", path});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        std::vector<std::string> lines = Lines(r.out);
        std::size_t warnings = 0;
        for (const std::string& line : lines) warnings += line.rfind("warning: ", 0) == 0;
        EXPECT_EQ(warnings, document.GetNumReadProblems());
        // After the header's lines, before the sections'.
        if (warnings != 0) {
            EXPECT_EQ(lines[7].rfind("warning: ", 0), 0u) << r.out;
        }
    }
}

TEST(CliCheck, VersionIsTheLibrarys) {
    RunResult r = psdtest::RunCli({"--version"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, std::string("psdkit ") + psdkit::PSDVersion::GetVersion() + "\n");
    EXPECT_TRUE(std::regex_match(psdkit::PSDVersion::GetVersion(), std::regex("[0-9]+\\.[0-9]+\\.[0-9]+")));
}

}  // namespace
