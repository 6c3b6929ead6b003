// Thumbnails in whole files: the corpus, a file written with a thumbnail
// block, and the psdkit thumbnail command read by ImageMagick.

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ThumbnailTestSupport.h"
#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PhotoshopFile;
using psdkit::PSDThumbnailRB;
using psdtest::Bytes;

namespace {

PSDThumbnailRB* FirstThumbnail(PhotoshopFile* document) {
    psdkit::PSDImageRes* resources = document->GetImageResources();
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        PSDThumbnailRB* block = dynamic_cast<PSDThumbnailRB*>(resources->GetResourceBlock(i));
        if (block != nullptr) return block;
    }
    return nullptr;
}

// "WIDTH HEIGHT FORMAT" as ImageMagick reads the file.
std::string Identify(const std::string& path) {
    psdtest::RunResult r = psdtest::RunProgram({"identify", "-format", "%w %h %m", path});
    return r.exitCode == 0 ? r.out : "identify failed: " + r.err;
}

std::string Dimensions(unsigned long width, unsigned long height) {
    return std::to_string(width) + " " + std::to_string(height) + " JPEG";
}

// A 2 x 2 RGB file with the given resource blocks.
Bytes SmallPsd(const Bytes& resources) {
    Bytes b = psdtest::PsdHeader(3, 2, 2, 8, 3);
    b.u32(0);                                  // colour mode data
    b.u32(resources.size()).raw(resources);    // image resources
    b.u32(0);                                  // layer and mask information
    b.u16(0).zeros(12);                        // raw composite
    return b;
}

Bytes Block(unsigned id, const Bytes& payload) {
    Bytes b;
    b.str("8BIM").u16(id).u16(0).u32(payload.size()).raw(payload);
    if (payload.size() % 2) b.u8(0);
    return b;
}

Bytes ThumbnailPayload(unsigned long format, unsigned long compressedSize, const std::vector<char>& stream) {
    Bytes b;
    b.u32(format).u32(1).u32(1).u32(4).u32(4).u32(compressedSize).u16(24).u16(1).raw(stream);
    return b;
}

// Runs the command and checks it fails with one line naming `words`.
void ExpectRefusal(const std::string& file, const std::string& output, const std::string& words) {
    psdtest::RunResult r = psdtest::RunCli({"thumbnail", file, output});
    EXPECT_NE(r.exitCode, 0);
    EXPECT_NE(r.err.find(words), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line: " << r.err;
    EXPECT_FALSE(psdtest::FileExists(output));
}

}  // namespace

TEST(ThumbnailCorpus, BlocksReadAndWrittenBackUnchanged) {
    PSDTEST_REQUIRE_CORPUS();
    unsigned long seen = 0;
    psdtest::TempDir dir;
    for (const nlohmann::json& facts : psdtest::CorpusFacts()) {
        if (!facts.value("valid", false) || !facts.contains("resources")) continue;
        const std::string name = facts["file"];
        std::vector<char> file = psdtest::ReadFile(psdtest::CorpusPath(name));
        // Walk the section with the facts to find each 1036 block's bytes.
        unsigned long offset = 26 + 4 + facts["color_mode_length"].get<unsigned long>() + 4;
        std::vector<std::vector<char>> expected;
        for (const nlohmann::json& r : facts["resources"]) {
            unsigned long nameLength = r["name_length"];
            unsigned long size = r["data_size"];
            unsigned long length = 4 + 2 + 1 + (nameLength % 2 ? nameLength : nameLength + 1) + 4 + size + size % 2;
            if (r["id"] == 1036) expected.emplace_back(file.begin() + offset, file.begin() + offset + length);
            offset += length;
        }
        if (expected.empty()) continue;
        SCOPED_TRACE(name);
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        PSDThumbnailRB* block = FirstThumbnail(&document);
        ASSERT_NE(block, nullptr);
        ++seen;
        EXPECT_EQ(block->GetFormat(), PSDThumbnailRB::FORMAT_JPEG);
        ASSERT_NE(block->GetData(), nullptr);
        EXPECT_EQ(block->GetCompressedSize() + 28, block->GetDataBlockSize());
        EXPECT_EQ(block->GetResourceBlockSize(), expected[0].size());
        // A JPEG stream: SOI at the start, EOI at the end.
        const unsigned char* data = reinterpret_cast<const unsigned char*>(block->GetData());
        unsigned long n = block->GetCompressedSize();
        ASSERT_GE(n, 4u);
        EXPECT_EQ(data[0], 0xFF);
        EXPECT_EQ(data[1], 0xD8);
        EXPECT_EQ(data[n - 2], 0xFF);
        EXPECT_EQ(data[n - 1], 0xD9);

        std::string path = dir.Path("block.bin");
        {
            std::ofstream out(path, std::ios_base::binary | std::ios_base::trunc);
            block->SetStreams(nullptr, &out);
            block->WriteResourceBlock();
            block->SetStreams(nullptr, nullptr);
        }
        EXPECT_EQ(psdtest::ReadFile(path), expected[0]);
    }
    EXPECT_GT(seen, 0u);
}

TEST(ThumbnailCorpus, CommandExtractsWhatImageMagickReads) {
    PSDTEST_REQUIRE_CORPUS();
    if (!psdtest::HaveProgram("identify")) GTEST_SKIP() << "ImageMagick's identify not found (package imagemagick)";
    psdtest::TempDir dir;
    unsigned long extracted = 0;
    for (const nlohmann::json& facts : psdtest::CorpusFacts()) {
        if (!facts.value("valid", false) || !facts.contains("resources")) continue;
        bool hasThumbnail = false;
        for (const nlohmann::json& r : facts["resources"]) hasThumbnail = hasThumbnail || r["id"] == 1036;
        const std::string name = facts["file"];
        SCOPED_TRACE(name);
        std::string output = dir.Path(name + ".jpg");
        psdtest::RunResult r = psdtest::RunCli({"thumbnail", psdtest::CorpusPath(name), output});
        if (!hasThumbnail) {
            EXPECT_NE(r.exitCode, 0);
            EXPECT_NE(r.err.find("no thumbnail"), std::string::npos) << r.err;
            continue;
        }
        ASSERT_EQ(r.exitCode, 0) << r.err;
        ++extracted;
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        PSDThumbnailRB* block = FirstThumbnail(&document);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(Identify(output), Dimensions(block->GetWidth(), block->GetHeight()));
        std::vector<char> bytes = psdtest::ReadFile(output);
        ASSERT_EQ(bytes.size(), block->GetCompressedSize());
        EXPECT_EQ(std::memcmp(bytes.data(), block->GetData(), bytes.size()), 0);
    }
    EXPECT_GT(extracted, 0u);
}

TEST(ThumbnailFile, WrittenBlockIsReadBackAndExtracted) {
    const unsigned long width = 300, height = 200;
    std::vector<char> planes = thumbtest::ColourNoisePlanes(width, height, 21);
    psdtest::TempDir dir;
    std::string path = dir.Path("written.psd");

    std::vector<char> stream;
    {
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenWriteFile(path.c_str()));
        document.SetImageWidth(width);
        document.SetImageHeight(height);
        ASSERT_TRUE(document.SetImageData(planes.data(), planes.size()));
        // A width other than the standard 112, to tell this block apart.
        PSDThumbnailRB* block = new PSDThumbnailRB();
        ASSERT_TRUE(block->CreateThumbnailFromData(64, width, height, planes.data()));
        EXPECT_EQ(block->GetWidth(), 64u);
        EXPECT_EQ(block->GetHeight(), 43u);
        stream.assign(block->GetData(), block->GetData() + block->GetCompressedSize());
        document.GetImageResources()->AddResourceBlock(block);
        ASSERT_TRUE(document.CommitWriteFile());
    }

    PhotoshopFile document;
    ASSERT_TRUE(document.OpenReadFile(path.c_str()));
    PSDThumbnailRB* block = FirstThumbnail(&document);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->GetWidth(), 64u);
    EXPECT_EQ(block->GetHeight(), 43u);
    EXPECT_EQ(block->GetWidthBytes(), 192u);
    EXPECT_EQ(block->GetSize(), 192u * 43);
    ASSERT_EQ(block->GetCompressedSize(), stream.size());
    EXPECT_EQ(std::memcmp(block->GetData(), stream.data(), stream.size()), 0);
    // The composite behind the resources is intact: the section lengths held.
    ASSERT_EQ(document.GetImageDataLen(), planes.size());
    EXPECT_EQ(std::memcmp(document.GetImageData(), planes.data(), planes.size()), 0);

    std::string output = dir.Path("thumb.jpg");
    psdtest::RunResult r = psdtest::RunCli({"thumbnail", path, output});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(psdtest::ReadFile(output), stream);
    if (!psdtest::HaveProgram("identify")) GTEST_SKIP() << "ImageMagick's identify not found (package imagemagick)";
    EXPECT_EQ(Identify(output), Dimensions(64, 43));
}

TEST(ThumbnailCommand, SaysWhyThereIsNothingToExtract) {
    psdtest::TempDir dir;
    std::string output = dir.Path("out.jpg");
    ExpectRefusal(dir.Write("none.psd", SmallPsd(Bytes())), output, "no thumbnail");
    ExpectRefusal(dir.Write("raw.psd", SmallPsd(Block(1036, ThumbnailPayload(0, 12, std::vector<char>(12, 7))))),
                  output, "raw RGB");
    ExpectRefusal(dir.Write("old.psd", SmallPsd(Block(1033, ThumbnailPayload(1, 4, {1, 2, 3, 4})))), output,
                  "old-style");
    ExpectRefusal(dir.Write("damaged.psd", SmallPsd(Block(1036, ThumbnailPayload(1, 500, {1, 2})))), output,
                  "damaged");
    ExpectRefusal(dir.Write("format.psd", SmallPsd(Block(1036, ThumbnailPayload(9, 2, {1, 2})))), output,
                  "unknown format 9");
    ExpectRefusal(dir.Write("bad.psd", Bytes().str("not a psd file")), output, "not a PSD file");
    ExpectRefusal(dir.Path("missing.psd"), output, "no such file");
}

TEST(ThumbnailCommand, ExtractsTheJpegBlockBehindOthers) {
    // An old-style block and a raw one ahead of the JPEG one: the JPEG one is taken.
    Bytes resources = Block(1033, ThumbnailPayload(1, 2, {5, 6}));
    resources.raw(Block(1036, ThumbnailPayload(0, 2, {7, 8})));
    resources.raw(Block(1036, ThumbnailPayload(1, 3, {'j', 'p', 'g'})));
    psdtest::TempDir dir;
    std::string input = dir.Write("in.psd", SmallPsd(resources));
    std::string output = dir.Path("out.jpg");
    psdtest::RunResult r = psdtest::RunCli({"thumbnail", input, output});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(psdtest::ReadFile(output), (std::vector<char>{'j', 'p', 'g'}));
}

TEST(ThumbnailCommand, NeverOverwritesWithoutForce) {
    psdtest::TempDir dir;
    std::string input = dir.Write("in.psd", SmallPsd(Block(1036, ThumbnailPayload(1, 3, {'n', 'e', 'w'}))));
    std::string output = dir.Write("out.jpg", Bytes().str("old"));
    psdtest::RunResult r = psdtest::RunCli({"thumbnail", input, output});
    EXPECT_NE(r.exitCode, 0);
    EXPECT_NE(r.err.find("--force"), std::string::npos) << r.err;
    EXPECT_EQ(psdtest::ReadFile(output), (std::vector<char>{'o', 'l', 'd'}));
    r = psdtest::RunCli({"thumbnail", "--force", input, output});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(psdtest::ReadFile(output), (std::vector<char>{'n', 'e', 'w'}));
}

TEST(ThumbnailCommand, UsageAndHelp) {
    psdtest::RunResult r = psdtest::RunCli({"thumbnail", "--help"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_NE(r.out.find("usage: psdkit thumbnail"), std::string::npos);
    r = psdtest::RunCli({"thumbnail", "only-one.psd"});
    EXPECT_EQ(r.exitCode, 2);
    r = psdtest::RunCli({"thumbnail", "--bogus", "a", "b"});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.err.find("--bogus"), std::string::npos);
}
