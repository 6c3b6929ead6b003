// The damaged files kept in tests/data/corrupt, each named for what it
// breaks: read through the library and through `psdkit info`. The read ends
// with true or false, and the tool agrees with it: the report and exit code 0,
// or one line of error and exit code 1. The fuzz replayers (ctest fuzz.replay.*)
// run the same files and the block-level ones under their targets.

#include <gtest/gtest.h>
#include <dirent.h>

#include <algorithm>
#include <string>
#include <vector>

#include "PsdWalk.h"
#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

namespace {

std::vector<std::string> CorruptFiles() {
    std::vector<std::string> names;
    if (DIR* dir = opendir(PSDKIT_CORRUPT_DIR)) {
        while (dirent* entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".psd") == 0) names.push_back(name);
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string Path(const std::string& name) { return std::string(PSDKIT_CORRUPT_DIR) + "/" + name; }

// Every damaged file also says so: not intact, and at least one line on what was cut.
bool Read(const std::string& name) {
    psdkit::PhotoshopFile document;
    bool read = document.OpenReadFile(Path(name).c_str());
    // Not yet told: a tag whose payload type is not its ID's, an odd JPEG stream.
    if (name == "icc-tags-share-bytes.psd" || name == "thumbnail-odd-stream.psd") return read;
    EXPECT_FALSE(document.IsIntact()) << name;
    EXPECT_GE(document.GetNumReadProblems(), 1u) << name;
    return read;
}

}  // namespace

TEST(CorruptFiles, ReadEndsAndTheToolAgrees) {
    std::vector<std::string> names = CorruptFiles();
    ASSERT_GT(names.size(), 40u) << "tests/data/corrupt holds too few files";
    for (const std::string& name : names) {
        bool read = Read(name);
        psdtest::RunResult info = psdtest::RunCli({"info", Path(name)});
        if (read) {
            EXPECT_EQ(info.exitCode, 0) << name << ": the library reads it, psdkit info says: " << info.err;
            EXPECT_TRUE(info.err.empty()) << name << ": " << info.err;
        } else {
            EXPECT_EQ(info.exitCode, 1) << name << ": " << info.err;
            EXPECT_EQ(info.err.rfind("psdkit: ", 0), 0u) << name << ": " << info.err;
            EXPECT_EQ(std::count(info.err.begin(), info.err.end(), '\n'), 1) << name << ": " << info.err;
        }
    }
}

TEST(CorruptFiles, FilesThatEndInsideASectionAreRefused) {
    // Each of these has a header or a section that runs past the end of the file.
    for (const char* name : {"header-cut-at-25.psd", "psb-version-2.psd", "color-mode-length-ffffffff.psd",
                             "resources-length-past-eof.psd", "layer-section-length-ffffffff.psd"})
        EXPECT_FALSE(Read(name)) << name;
}

TEST(CorruptFiles, DamageInsideABlockStillReadsTheFile) {
    // The sections are whole; only a block's own payload is bad. The block is
    // kept as far as it goes and the file reads.
    for (const char* name : {"icc-empty.psd", "icc-131-bytes.psd", "icc-tag-count-ffffffff.psd",
                             "icc-tag-offset-past-profile.psd", "icc-text-without-terminator.psd",
                             "thumbnail-empty.psd", "thumbnail-compressed-size-ffffffff.psd"})
        EXPECT_TRUE(Read(name)) << name;
}

// The walker behind the sweep and the seeds must find the fields where the
// corpus facts put them, or the sweep would damage the wrong bytes.
TEST(CorpusWalker, FindsSectionsAndBlocksWhereTheFactsSay) {
    PSDTEST_REQUIRE_CORPUS();
    for (const nlohmann::json& facts : psdtest::CorpusFacts()) {
        if (!facts.value("valid", false)) continue;
        const std::string name = facts["file"];
        std::vector<char> bytes = psdtest::ReadFile(psdtest::CorpusPath(name));
        psdwalk::Layout layout =
            psdwalk::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
        ASSERT_TRUE(layout.header) << name;
        EXPECT_EQ(layout.blocks.size(), facts["resources"].size()) << name;
        for (std::size_t i = 0; i < layout.blocks.size() && i < facts["resources"].size(); ++i) {
            EXPECT_EQ(layout.blocks[i].id, facts["resources"][i]["id"].get<unsigned>()) << name << " block " << i;
            EXPECT_EQ(layout.blocks[i].data.size, facts["resources"][i]["data_size"].get<std::size_t>())
                << name << " block " << i;
        }
        EXPECT_EQ(layout.resources.size, 4 + facts["resources_length"].get<std::size_t>()) << name;
        EXPECT_EQ(layout.layers.size, 4 + facts["layer_section_length"].get<std::size_t>()) << name;
        EXPECT_EQ(layout.composite, facts["image_data"]["offset"].get<std::size_t>()) << name;

        std::size_t channelLengths = 0, expectedChannels = 0;
        for (const psdwalk::Field& field : layout.fields)
            if (field.what == "channel length") ++channelLengths;
        for (const nlohmann::json& layer : facts["layers"]) expectedChannels += layer["channels"].size();
        // Records in an 'Lr16' block behind the global mask are the walker's
        // extra; the facts list the layer info's records only.
        if (facts.value("layer_info_length", 0) != 0) {
            EXPECT_EQ(channelLengths, expectedChannels) << name;
        }
    }
}
