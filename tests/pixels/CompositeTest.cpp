// The composite decoder against the corpus: every plane that an independent
// reader decoded must come out with the same SHA-256.

#include <gtest/gtest.h>

#include <iostream>

#include "psdkit/core/PhotoshopFile.h"
#include "psdkit/pixels/PSDPixels.h"
#include "support/TestSupport.h"

using psdkit::PhotoshopFile;
using psdkit::PSDPixels;

namespace {

const nlohmann::json& PixelFacts() {
    static nlohmann::json facts = [] {
        std::vector<char> text = psdtest::ReadFile(psdtest::CorpusDir() + "/pixels.json");
        return text.empty() ? nlohmann::json::array() : nlohmann::json::parse(text.begin(), text.end());
    }();
    return facts;
}

}  // namespace

TEST(Composite, CorpusPlanesMatchTheIndependentReader) {
    PSDTEST_REQUIRE_CORPUS();
    ASSERT_FALSE(PixelFacts().empty()) << "pixels.json missing";
    int checked = 0;
    for (const auto& facts : PixelFacts()) {
        if (!facts.contains("composite") || facts["composite"].contains("error")) continue;
        const std::string name = facts["file"];
        SCOPED_TRACE(name);
        const auto& composite = facts["composite"];
        const nlohmann::json* file = psdtest::CorpusFile(name);
        if (file && !file->value("valid", true)) continue;  // refused by the header check
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        // Where the reader finds other image data than the facts say, the
        // section reader is at fault, and its own tests say so.
        if (file && file->contains("image_data") &&
            psdtest::Sha256Hex(document.GetImageData(), document.GetImageDataLen()) !=
                (*file)["image_data"]["sha256"].get<std::string>()) {
            std::cerr << "[ NOTE     ] " << name << ": the reader's image data differs from the facts; skipped\n";
            continue;
        }
        ASSERT_EQ(document.GetImageCompression(), composite["compression"].get<unsigned>());
        PSDPixels pixels;
        EXPECT_TRUE(pixels.DecodeComposite(document)) << (pixels.GetNumProblems() ? pixels.GetProblem(0) : "");
        ASSERT_EQ(pixels.GetNumPlanes(), composite["channels"].get<unsigned>());
        ASSERT_EQ(pixels.GetPlaneLength(), composite["plane_length"].get<unsigned long>());
        for (unsigned short i = 0; i < pixels.GetNumPlanes(); ++i)
            EXPECT_EQ(psdtest::Sha256Hex(pixels.GetPlane(i), pixels.GetPlaneLength()),
                      composite["planes"][i].get<std::string>())
                << "plane " << i;
        ++checked;
    }
    EXPECT_GT(checked, 20);
}
