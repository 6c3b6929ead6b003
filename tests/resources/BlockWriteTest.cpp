// Writing blocks into a file: every block writes exactly what the section's
// length word counts for it, however a host built it, and a profile read from
// a file is re-encoded with tags of their own.

#include <functional>
#include <string>
#include <vector>

#include "ResourceTestUtil.h"

namespace {

using psdtest::Bytes;
using namespace psdkit;

const char* PYTHON = "/usr/bin/python3";

// One block of a resources section as the file holds it.
struct WireBlock {
    unsigned short id;
    std::string name;
    std::vector<char> data;  // the payload as its size field states it
};

// Walks the resources section of a whole file by the wire form. False when the
// blocks do not add up exactly to the section's length word.
bool WalkResources(const std::vector<char>& file, std::vector<WireBlock>* blocks) {
    auto u32 = [&file](std::size_t at) {
        return static_cast<unsigned long>(static_cast<unsigned char>(file[at])) << 24 |
               static_cast<unsigned long>(static_cast<unsigned char>(file[at + 1])) << 16 |
               static_cast<unsigned long>(static_cast<unsigned char>(file[at + 2])) << 8 |
               static_cast<unsigned long>(static_cast<unsigned char>(file[at + 3]));
    };
    if (file.size() < 34) return false;
    std::size_t at = 30 + u32(26);  // behind the header and the colour mode section
    if (at + 4 > file.size()) return false;
    const std::size_t end = at + 4 + u32(at);
    if (end > file.size()) return false;
    at += 4;
    while (at < end) {
        if (at + 7 > end) return false;
        WireBlock block;
        block.id = static_cast<unsigned short>(static_cast<unsigned char>(file[at + 4]) << 8 |
                                               static_cast<unsigned char>(file[at + 5]));
        std::size_t nameLength = static_cast<unsigned char>(file[at + 6]);
        std::size_t nameBytes = nameLength % 2 ? nameLength : nameLength + 1;
        if (at + 7 + nameBytes + 4 > end) return false;
        block.name.assign(file.data() + at + 7, nameLength);
        at += 7 + nameBytes;
        unsigned long size = u32(at);
        at += 4;
        if (at + size + size % 2 > end) return false;
        block.data.assign(file.data() + at, file.data() + at + size);
        at += size + size % 2;
        blocks->push_back(block);
    }
    return at == end;
}

// Commits a 4 x 3 RGB document to `path` with `extra` added to its resources first.
bool CommitWith(const std::string& path, const std::function<void(PSDImageRes*)>& extra) {
    std::vector<char> plane(12, 0x40);
    PhotoshopFile document;
    document.OpenWriteFile(path.c_str());
    document.SetImageWidth(4);
    document.SetImageHeight(3);
    document.SetPlanarImageData(plane.data(), plane.data(), plane.data(), plane.size());
    extra(document.GetImageResources());
    return document.CommitWriteFile();
}

// psd-tools' verdict on each file: "ok N" with its number of distinct resource IDs, or the error.
std::vector<std::string> PsdToolsReads(const std::vector<std::string>& paths) {
    const char* script = R"(
import sys
from psd_tools.psd import PSD
for path in sys.argv[1:]:
    try:
        print("ok", len(PSD.read(open(path, "rb")).image_resources))
    except Exception as error:
        print("fails", type(error).__name__, str(error).replace("\n", " "))
)";
    std::vector<std::string> argv = {PYTHON, "-c", script};
    argv.insert(argv.end(), paths.begin(), paths.end());
    psdtest::RunResult r = psdtest::RunProgram(argv);
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t nl; (nl = r.out.find('\n', start)) != std::string::npos; start = nl + 1)
        lines.push_back(r.out.substr(start, nl - start));
    return lines;
}

bool HavePsdTools() { return psdtest::RunProgram({PYTHON, "-c", "import psd_tools"}).exitCode == 0; }

// How a host can build a block: the factory's object as it comes, with its ID,
// with its fields set, with sizes of the host's own that do not fit them.
struct Built {
    const char* what;
    unsigned short id;  // the factory's ID
    std::function<void(PSDResourceBlock*)> fill;
    unsigned short readBackID;  // the ID the block has in the written file
};

template <class T>
std::function<void(PSDResourceBlock*)> As(std::function<void(T*)> f) {
    return [f](PSDResourceBlock* b) { f(dynamic_cast<T*>(b)); };
}

const std::function<void(PSDResourceBlock*)> NOTHING = [](PSDResourceBlock*) {};

TEST(BlockWrite, EveryBlockClassBuiltEveryWayWritesWhatItsSizeStates) {
    const unsigned short ids[] = {1005, 1011, 1024, 1026, 1032, 1034, 1036, 1037, 1039, 1044, 10000, 2000};
    std::vector<Built> cases;
    for (unsigned short id : ids) {
        // The constructors of 1005, 1036, 1039 and 1044 set their ID; the others leave 0.
        const bool ownID = id == 1005 || id == 1036 || id == 1039 || id == 1044;
        cases.push_back({"unfilled", id, NOTHING, static_cast<unsigned short>(ownID ? id : 0)});
        cases.push_back({"with its ID", id, [id](PSDResourceBlock* b) { b->SetResourceID(id); }, id});
        cases.push_back({"odd size set by the host", id,
                         [id](PSDResourceBlock* b) {
                             b->SetResourceID(id);
                             b->SetDataBlockSize(5);
                         },
                         id});
        cases.push_back({"even size set by the host, no room for the frame", id,
                         [id](PSDResourceBlock* b) {
                             b->SetResourceID(id);
                             b->SetDataBlockSize(2);
                             b->SetResourceBlockSize(3);
                         },
                         id});
    }
    cases.push_back({"raw payload of 5 bytes", 2000,
                     [](PSDResourceBlock* b) {
                         b->SetResourceID(2000);
                         std::fill_n(b->AllocateDataBlock(6), 6, 'p');
                         b->SetDataBlockSize(5);
                     },
                     2000});
    cases.push_back({"copyright set", 1034, As<PSDCopyrightFlagRB>([](PSDCopyrightFlagRB* b) {
                         b->SetResourceID(1034);
                         b->SetFlag(true);
                     }),
                     1034});
    cases.push_back({"grid with guides but no entries", 1032, As<PSDGridGuidesRB>([](PSDGridGuidesRB* b) {
                         b->SetResourceID(1032);
                         b->SetGuideCount(3);
                     }),
                     1032});
    cases.push_back({"three layer IDs", 1026, As<PSDLayersGroupInfoRB>([](PSDLayersGroupInfoRB* b) {
                         b->SetResourceID(1026);
                         for (unsigned short id : {7, 8, 9}) b->AddLayer(id);
                     }),
                     1026});
    cases.push_back({"layer count without IDs", 1026, As<PSDLayersGroupInfoRB>([](PSDLayersGroupInfoRB* b) {
                         b->SetResourceID(1026);
                         b->AddLayer(7);
                         b->SetNumLayers(1);
                     }),
                     1026});
    cases.push_back({"sRGB preset", 1039,
                     As<PSDICCProfileRB>([](PSDICCProfileRB* b) { b->SetProfile(PSDICCProfileRB::PROFILE_NAME_SRGB); }),
                     1039});
    cases.push_back({"tag added by hand, sizes not recalculated", 1039, As<PSDICCProfileRB>([](PSDICCProfileRB* b) {
                         b->CreateICCTagObject(PSDICCTag::TAGID_CPRT)->SetTextTypeAttribute("by hand");
                     }),
                     1039});

    psdtest::TempDir dir;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const Built& c = cases[i];
        SCOPED_TRACE(std::to_string(c.id) + " " + c.what);
        std::string path = dir.Path("built-" + std::to_string(i) + ".psd");
        ASSERT_TRUE(CommitWith(path, [&c](PSDImageRes* resources) {
            PSDResourceBlock* block = resources->CreateResouceBlockObject(c.id);
            c.fill(block);
            resources->AddResourceBlock(block);
        }));
        std::vector<WireBlock> blocks;
        ASSERT_TRUE(WalkResources(psdtest::ReadFile(path), &blocks));
        ASSERT_EQ(blocks.size(), 4u);  // the host's block and the standard three
        EXPECT_EQ(blocks[0].id, c.readBackID);

        PhotoshopFile back;
        ASSERT_TRUE(back.OpenReadFile(path.c_str()));
        EXPECT_EQ(back.GetImageResources()->GetNumResourceBlocks(), 4u);
        EXPECT_EQ(back.GetImageWidth(), 4);
        paths.push_back(path);
    }

    // What the blocks say, read back by the wire form.
    std::vector<WireBlock> blocks;
    auto first = [&](std::size_t i) {
        blocks.clear();
        WalkResources(psdtest::ReadFile(paths[i]), &blocks);
        return blocks.empty() ? std::string("(none)") : restest::HexOf(blocks[0].data);
    };
    const std::size_t extra = 4 * (sizeof(ids) / sizeof(ids[0]));
    EXPECT_EQ(first(extra), "70 70 70 70 70");                                       // the raw payload and its pad byte
    EXPECT_EQ(first(extra + 1), "01");                                               // the flag, as the reader takes it
    EXPECT_EQ(first(extra + 2), "00 00 00 01 00 00 02 40 00 00 02 40 00 00 00 00");  // no entries, count 0
    EXPECT_EQ(first(extra + 3), "00 07 00 08 00 09");
    EXPECT_EQ(first(extra + 4), "00 07");

    if (!HavePsdTools()) GTEST_SKIP() << "psd_tools not found for /usr/bin/python3 (python3-psd-tools)";
    std::vector<std::string> verdicts = PsdToolsReads(paths);
    ASSERT_EQ(verdicts.size(), paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i)
        EXPECT_EQ(verdicts[i].substr(0, 3), "ok ") << cases[i].id << " " << cases[i].what << ": " << verdicts[i];
}

// A profile whose two tags share one 14-byte run at offset 156 (just behind a
// table of two entries): re-encoded, the tags lie at 156 and 172, each padded
// to 16 bytes, and the block takes 12 + 188 bytes.
TEST(BlockWrite, ProfileWithSharedTagBytesIsReEncodedAndTheLengthWordStaysTrue) {
    Bytes run = Bytes().str("text").zeros(4).str("shared");  // 14 bytes
    Bytes profile = Bytes().u32(172).zeros(124).u32(2);
    profile.u32(PSDICCTag::TAGID_CPRT).u32(156).u32(14).u32(PSDICCTag::TAGID_PROFILE_DESCRIPTION).u32(156).u32(14);
    profile.raw(run).zeros(2);  // the run's padding
    ASSERT_EQ(profile.size(), 172u);
    Bytes section = restest::BlockBytes(1039, "profile", profile);
    Bytes file = psdtest::PsdHeader(3, 1, 1, 8, 3);
    file.u32(0).u32(section.size()).raw(section).u32(0).u16(0).u8(1).u8(2).u8(3);

    psdtest::TempDir dir;
    std::string in = dir.Write("shared.psd", file);
    std::string inCorrupt = std::string(PSDKIT_SOURCE_DIR) + "/tests/data/corrupt/icc-tags-share-bytes.psd";
    std::vector<std::string> written;
    for (const std::string& source : {in, inCorrupt}) {
        SCOPED_TRACE(source);
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(source.c_str()));
        std::string out = dir.Path("again-" + std::to_string(written.size()) + ".psd");
        document.OpenWriteFile(out.c_str());
        document.SetImageWidth(1);
        document.SetImageHeight(1);
        ASSERT_TRUE(document.CommitWriteFile());
        std::vector<WireBlock> blocks;
        ASSERT_TRUE(WalkResources(psdtest::ReadFile(out), &blocks));
        ASSERT_FALSE(blocks.empty());
        EXPECT_EQ(blocks[0].id, 1039);
        EXPECT_EQ(blocks[0].name, "");
        written.push_back(out);
        if (source != in) continue;

        const std::vector<char>& p = blocks[0].data;
        ASSERT_EQ(p.size(), 188u);
        Bytes table = Bytes().u32(2).u32(PSDICCTag::TAGID_CPRT).u32(156).u32(14);
        table.u32(PSDICCTag::TAGID_PROFILE_DESCRIPTION).u32(172).u32(14);
        Bytes data = Bytes().raw(run).zeros(2).raw(run).zeros(2);
        EXPECT_EQ(restest::HexOf(std::vector<char>(p.begin(), p.begin() + 4)), restest::HexOf(Bytes().u32(188)));
        EXPECT_EQ(restest::HexOf(std::vector<char>(p.begin() + 128, p.begin() + 156)), restest::HexOf(table));
        EXPECT_EQ(restest::HexOf(std::vector<char>(p.begin() + 156, p.end())), restest::HexOf(data));
    }

    if (!HavePsdTools()) GTEST_SKIP() << "psd_tools not found for /usr/bin/python3 (python3-psd-tools)";
    for (const std::string& verdict : PsdToolsReads(written)) EXPECT_EQ(verdict.substr(0, 3), "ok ") << verdict;
}

TEST(BlockWrite, DimensionsThatTheHeaderCannotHoldFailTheCheck) {
    const struct {
        unsigned long width, height;
        bool commits;
    } cases[] = {
        {30000, 1, true},          {1, 30000, true},          {30001, 1, false},        {1, 30001, false},
        {0x100000001UL, 1, false}, {1, 0x100000004UL, false}, {0x80000000UL, 1, false}, {0xFFFFFFFFUL, 1, false},
    };
    psdtest::TempDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + " x " + std::to_string(c.height));
        std::vector<char> data(c.commits ? c.width * c.height * 3 : 3, 0);
        PhotoshopFile document;
        std::string out = dir.Path("wide.psd");
        document.OpenWriteFile(out.c_str());
        document.SetImageWidth(c.width);
        document.SetImageHeight(c.height);
        document.SetImageData(data.data(), data.size());
        EXPECT_EQ(document.ValidateAttributesForWrite(), c.commits);
        EXPECT_EQ(document.CommitWriteFile(), c.commits);
    }
}

}  // namespace
