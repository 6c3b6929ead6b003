// Real files: the blocks of every valid corpus file, a read file written again
// through the same document and read by psd-tools, and psdkit info.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "ResourceTestUtil.h"

using namespace psdkit;

namespace {

// Where the resources section of a PSD file in memory begins (its length word).
std::size_t ResourcesOffset(const std::vector<char>& file) { return 26 + 4 + restest::BigEndian32(file, 26); }

// The blocks of a PSD file's resources section, walked by the test itself.
bool FileBlocks(const std::vector<char>& file, std::vector<restest::WalkedBlock>* blocks, unsigned long* length) {
    if (file.size() < 30) return false;
    std::size_t at = ResourcesOffset(file);
    if (at + 4 > file.size()) return false;
    *length = restest::BigEndian32(file, at);
    return restest::WalkBlocks(file, at + 4, *length, blocks);
}

// Thumbnail and profile blocks belong to other classes, which may encode them anew.
bool PayloadKeptRaw(unsigned short id) { return id != PSDResourceBlock::RS_1036 && id != PSDResourceBlock::RS_1039; }

TEST(CorpusResources, EveryValidFileGivesItsBlocksInOrder) {
    PSDTEST_REQUIRE_CORPUS();
    int checked = 0;
    for (const auto& facts : psdtest::CorpusFacts()) {
        const std::string name = facts.at("file");
        PhotoshopFile document;
        bool read = document.OpenReadFile(psdtest::CorpusPath(name).c_str());
        if (!facts.at("valid").get<bool>()) {
            EXPECT_FALSE(read) << name;
            continue;
        }
        ASSERT_TRUE(read) << name;
        PSDImageRes* resources = document.GetImageResources();
        EXPECT_EQ(resources->GetSectionLength(), facts.at("resources_length").get<unsigned long>()) << name;
        const auto& expected = facts.at("resources");
        ASSERT_EQ(resources->GetNumResourceBlocks(), expected.size()) << name;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            PSDResourceBlock* block = resources->GetResourceBlock(i);
            EXPECT_EQ(block->GetResourceID(), expected[i].at("id").get<unsigned>()) << name << " block " << i;
            EXPECT_EQ(block->GetNameLength(), expected[i].at("name_length").get<unsigned>()) << name << " block " << i;
            EXPECT_EQ(block->GetDataBlockSize(), expected[i].at("data_size").get<unsigned long>())
                << name << " block " << i;
        }
        ++checked;
    }
    EXPECT_GT(checked, 0);
}

TEST(CorpusResources, DecodedBlocksHoldTheirFilesValues) {
    PSDTEST_REQUIRE_CORPUS();
    PhotoshopFile document;
    ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath("agpsd-resources.psd").c_str()));
    PSDImageRes* resources = document.GetImageResources();
    ASSERT_EQ(resources->GetNumResourceBlocks(), 9u);
    auto* resolution = dynamic_cast<PSDResolutionInfoRB*>(resources->GetResourceBlock(0));
    ASSERT_NE(resolution, nullptr);
    EXPECT_EQ(resolution->GetHorizResolution(), 300);
    auto* grid = dynamic_cast<PSDGridGuidesRB*>(resources->GetResourceBlock(6));
    ASSERT_NE(grid, nullptr);
    EXPECT_EQ(grid->GetGuideCount(), 2u);
    EXPECT_NE(dynamic_cast<PSDGenericResourceBlock*>(resources->GetResourceBlock(2)), nullptr);  // 1049
}

const char* PSD_TOOLS_BLOCKS = R"(
import io, struct, sys
from psd_tools.psd.header import FileHeader
from psd_tools.psd.color_mode_data import ColorModeData
from psd_tools.psd.image_resources import ImageResource
with open(sys.argv[1], 'rb') as f:
    FileHeader.read(f)
    ColorModeData.read(f)
    end = struct.unpack('>I', f.read(4))[0]
    end += f.tell()
    while f.tell() < end:
        block = ImageResource.read(f)
        out = io.BytesIO()
        block.write(out)
        print(int(block.key), out.getvalue().hex())
    print('end', f.tell() - end)
)";

// psd-tools' reading of the resources section: one line per block ("ID hex of
// the block as psd-tools writes it"), then "end" and the offset from the end.
std::vector<std::string> PsdToolsBlocks(const std::string& path) {
    psdtest::RunResult run = psdtest::RunProgram({"/usr/bin/python3", "-c", PSD_TOOLS_BLOCKS, path});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    std::vector<std::string> lines;
    std::istringstream text(run.out);
    std::string line;
    while (std::getline(text, line)) lines.push_back(line);
    return lines;
}

bool HavePsdTools() {
    return psdtest::RunProgram({"/usr/bin/python3", "-c", "import psd_tools"}).exitCode == 0;
}

class ResourcesRoundTrip : public ::testing::TestWithParam<const char*> {};

TEST_P(ResourcesRoundTrip, WrittenAgainKeepsTheBlocksAndATrueLengthWord) {
    PSDTEST_REQUIRE_CORPUS();
    const std::string name = GetParam();
    const std::string source = psdtest::CorpusPath(name);
    psdtest::TempDir dir;
    const std::string target = dir.Path("again.psd");

    PhotoshopFile document;
    ASSERT_TRUE(document.OpenReadFile(source.c_str()));
    const long width = document.GetImageWidth();
    const long height = document.GetImageHeight();
    const unsigned short channels = document.GetImageChannels();
    const unsigned short depth = document.GetImageDepth();
    const unsigned short mode = document.GetImageMode();
    const unsigned short compression = document.GetImageCompression();
    const unsigned long blocksRead = document.GetImageResources()->GetNumResourceBlocks();
    ASSERT_TRUE(document.OpenWriteFile(target.c_str()));
    // Binding to the new file put the header's attributes back to their defaults.
    document.SetImageWidth(static_cast<unsigned long>(width));
    document.SetImageHeight(static_cast<unsigned long>(height));
    document.SetImageChannels(channels);
    document.SetImageDepth(depth);
    document.SetImageMode(mode);
    document.SetImageCompression(compression);
    ASSERT_TRUE(document.CommitWriteFile());

    std::vector<char> original = psdtest::ReadFile(source);
    std::vector<char> written = psdtest::ReadFile(target);
    std::vector<restest::WalkedBlock> before;
    std::vector<restest::WalkedBlock> after;
    unsigned long lengthBefore = 0;
    unsigned long lengthAfter = 0;
    ASSERT_TRUE(FileBlocks(original, &before, &lengthBefore));
    // The length word covers exactly the blocks behind it.
    ASSERT_TRUE(FileBlocks(written, &after, &lengthAfter)) << "blocks do not add up to the length word";
    EXPECT_EQ(lengthAfter, document.GetImageResources()->GetSectionLength());
    // The layer section follows at once.
    std::size_t layersAt = ResourcesOffset(written) + 4 + lengthAfter;
    ASSERT_LE(layersAt + 4, written.size());
    EXPECT_EQ(restest::BigEndian32(written, layersAt), 0u);

    ASSERT_EQ(before.size(), blocksRead);
    ASSERT_GE(after.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(after[i].id, before[i].id) << name << " block " << i;
        if (!PayloadKeptRaw(before[i].id)) continue;
        EXPECT_EQ(after[i].name, before[i].name) << name << " block " << i;
        EXPECT_EQ(restest::HexOf(after[i].payload), restest::HexOf(before[i].payload)) << name << " block " << i;
    }

    if (!HavePsdTools()) GTEST_SKIP() << "psd-tools not importable by /usr/bin/python3 (Debian python3-psd-tools)";
    std::vector<std::string> peerBefore = PsdToolsBlocks(source);
    std::vector<std::string> peerAfter = PsdToolsBlocks(target);
    ASSERT_FALSE(peerBefore.empty());
    ASSERT_FALSE(peerAfter.empty());
    EXPECT_EQ(peerAfter.back(), "end 0") << "psd-tools ended off the section's end";
    // Blocks appended behind the ones read are not compared.
    ASSERT_EQ(peerBefore.size() - 1, before.size());
    ASSERT_GE(peerAfter.size() - 1, before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (PayloadKeptRaw(before[i].id)) {
            EXPECT_EQ(peerAfter[i], peerBefore[i]) << name << " block " << i;
        } else {
            EXPECT_EQ(peerAfter[i].substr(0, peerAfter[i].find(' ')), peerBefore[i].substr(0, peerBefore[i].find(' ')))
                << name << " block " << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Corpus, ResourcesRoundTrip,
                         ::testing::Values("agpsd-resources.psd", "gimp-rgba8-negcount.psd", "ps-rgb8-emoji-name.psd",
                                           "ps-rgb8-groups.psd", "ps-rgb8-resource-names.psd"));

TEST(InfoCommand, ListsEveryResourceInFileOrder) {
    PSDTEST_REQUIRE_CORPUS();
    for (const char* name : {"agpsd-resources.psd", "ps-rgb8-resource-names.psd"}) {
        psdtest::RunResult run = psdtest::RunCli({"info", psdtest::CorpusPath(name)});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        std::size_t at = 0;
        for (const auto& resource : psdtest::CorpusFile(name)->at("resources")) {
            std::string line = "(ID " + std::to_string(resource.at("id").get<unsigned>()) + "), data size " +
                               std::to_string(resource.at("data_size").get<unsigned long>());
            std::size_t found = run.out.find(line, at);
            ASSERT_NE(found, std::string::npos) << name << ": " << line;
            at = found + line.size();
        }
    }
}

TEST(InfoCommand, ShowsReportsNamesAndRawPayloads) {
    PSDTEST_REQUIRE_CORPUS();
    psdtest::RunResult run = psdtest::RunCli({"info", "--raw-resources", psdtest::CorpusPath("agpsd-resources.psd")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find(" 1037 - Global Angle (ID 1037), data size 4\n      Global Angle:30\n"), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("      00000000: 00 00 00 1e\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("GuideCount:2\n"), std::string::npos);

    run = psdtest::RunCli({"info", psdtest::CorpusPath("ps-rgb8-resource-names.psd")});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("(ID 3000), data size 755, name \"OriginDataIRB\"\n"), std::string::npos) << run.out;
}

}  // namespace
