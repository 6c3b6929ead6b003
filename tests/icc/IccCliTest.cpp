// psdkit icc: its refusals and its help.

#include "IccTestSupport.h"

using psdtest::Bytes;
using psdtest::RunCli;
using psdtest::RunResult;

namespace {

// A PSD file of one pixel whose resources section holds `section`.
std::string WritePsd(const psdtest::TempDir& dir, const std::string& name, const Bytes& section) {
    Bytes file = psdtest::PsdHeader(3, 1, 1, 8, 3);
    file.u32(0).u32(section.size()).raw(section).u32(0).u16(0).u8(1).u8(2).u8(3);
    return dir.Write(name, file);
}

bool OneLine(const std::string& text) {
    return !text.empty() && text.find('\n') == text.size() - 1;
}

}  // namespace

TEST(IccCli, Help) {
    RunResult result = RunCli({"icc", "--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.out.find("usage: psdkit icc FILE OUT.icc"), std::string::npos);
}

TEST(IccCli, Refusals) {
    psdtest::TempDir dir;
    Bytes resolution;
    resolution.str("8BIM").u16(1005).u16(0).u32(16).zeros(16);
    std::string none = WritePsd(dir, "none.psd", resolution);
    Bytes tiny;
    tiny.str("8BIM").u16(1039).u16(0).u32(4).str("abcd");
    std::string small = WritePsd(dir, "small.psd", tiny);
    std::string notPsd = dir.Write("text.psd", Bytes().str("hello, world"));

    struct Case {
        std::vector<std::string> args;
        int exitCode;
        const char* says;
    };
    const Case cases[] = {
        {{"icc"}, 2, "needs FILE and OUT.icc"},
        {{"icc", none}, 2, "needs FILE and OUT.icc"},
        {{"icc", none, dir.Path("a"), dir.Path("b")}, 2, "too many"},
        {{"icc", "--bogus", none, dir.Path("a")}, 2, "unknown option"},
        {{"icc", dir.Path("missing.psd"), dir.Path("a")}, 1, "no such file"},
        {{"icc", notPsd, dir.Path("a")}, 1, "not a PSD file"},
        {{"icc", none, dir.Path("a")}, 1, "no embedded ICC profile"},
        {{"icc", small, dir.Path("a")}, 1, "too few for a profile"},
    };
    for (const Case& c : cases) {
        RunResult result = RunCli(c.args);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.says;
        EXPECT_NE(result.err.find(c.says), std::string::npos) << result.err;
        EXPECT_TRUE(OneLine(result.err)) << result.err;
    }
    EXPECT_FALSE(psdtest::FileExists(dir.Path("a")));
}

TEST(IccCli, OverwritesOnlyWithForce) {
    psdtest::TempDir dir;
    psdkit::PSDICCProfileRB block(psdkit::PSDICCProfileRB::PROFILE_NAME_SRGB);
    std::vector<char> written = icctest::WrittenBytes(&block);
    Bytes section;
    section.raw(written);
    std::string path = WritePsd(dir, "srgb.psd", section);
    std::string out = dir.Write("out.icc", Bytes().str("keep"));

    RunResult refused = RunCli({"icc", path, out});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.err.find("file exists"), std::string::npos);
    EXPECT_EQ(psdtest::ReadFile(out), Bytes().str("keep").data);

    RunResult forced = RunCli({"icc", "--force", path, out});
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    EXPECT_EQ(psdtest::ReadFile(out).size(), 7264u);
}
