// Little CMS as the peer: it opens the sRGB profile psdkit writes, converts
// with it, and reads the same tag tables as psdkit from every profile the
// corpus holds.

#include <lcms2.h>

#include <cmath>

#include "IccTestSupport.h"

using psdkit::PSDICCProfileRB;
using psdkit::PSDICCTag;
using namespace icctest;

namespace {

// An open Little CMS profile, closed at the end of the scope.
class LcmsProfile {
public:
    explicit LcmsProfile(const std::vector<char>& bytes)
        : Handle(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size()))) {}
    explicit LcmsProfile(const std::string& path) : Handle(cmsOpenProfileFromFile(path.c_str(), "r")) {}
    ~LcmsProfile() {
        if (Handle != nullptr) cmsCloseProfile(Handle);
    }
    cmsHPROFILE Handle;
};

std::vector<char> SRGBProfileBytes() {
    PSDICCProfileRB block(PSDICCProfileRB::PROFILE_NAME_SRGB);
    return ProfileBytes(&block);
}

double Fixed(unsigned long bytes) { return bytes / 65536.0; }

double SRGBDecode(double x) { return x <= 0.04045 ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4); }

// The corpus files that carry a profile resource, from the independent facts.
std::vector<std::string> CorpusFilesWithProfiles() {
    std::vector<std::string> files;
    for (const auto& file : psdtest::CorpusFacts()) {
        if (!file.value("valid", false) || !file.contains("resources")) continue;
        for (const auto& resource : file["resources"])
            if (resource["id"] == 1039) {
                files.push_back(file["file"]);
                break;
            }
    }
    return files;
}

}  // namespace

TEST(IccInterop, SRGBProfileOpens) {
    std::vector<char> bytes = SRGBProfileBytes();
    LcmsProfile profile(bytes);
    ASSERT_NE(profile.Handle, nullptr) << "Little CMS refused the sRGB profile";
    EXPECT_EQ(cmsGetColorSpace(profile.Handle), cmsSigRgbData);
    EXPECT_EQ(cmsGetPCS(profile.Handle), cmsSigXYZData);
    EXPECT_EQ(cmsGetDeviceClass(profile.Handle), cmsSigDisplayClass);
    EXPECT_EQ(cmsGetEncodedICCversion(profile.Handle), 0x02100000u);
    EXPECT_TRUE(cmsIsMatrixShaper(profile.Handle));
    EXPECT_EQ(cmsGetTagCount(profile.Handle), 17);
}

TEST(IccInterop, SRGBTransformToXYZGivesTheColorants) {
    std::vector<char> bytes = SRGBProfileBytes();
    LcmsProfile profile(bytes);
    ASSERT_NE(profile.Handle, nullptr);
    cmsHPROFILE xyz = cmsCreateXYZProfile();
    cmsHTRANSFORM transform = cmsCreateTransform(profile.Handle, TYPE_RGB_16, xyz, TYPE_XYZ_DBL,
                                                 INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    ASSERT_NE(transform, nullptr);

    // The colorants as their 16.16 bytes hold them.
    const double red[3] = {Fixed(0x6FA2), Fixed(0x38F4), Fixed(0x038F)};
    const double green[3] = {Fixed(0x6298), Fixed(0xB784), Fixed(0x18D9)};
    const double blue[3] = {Fixed(0x249F), Fixed(0x0F84), Fixed(0xB6CE)};
    const double* colorants[3] = {red, green, blue};
    const double tolerance = 1e-5;
    for (int c = 0; c < 3; ++c) {
        cmsUInt16Number rgb[3] = {0, 0, 0};
        rgb[c] = 65535;
        cmsCIEXYZ out;
        cmsDoTransform(transform, rgb, &out, 1);
        EXPECT_NEAR(out.X, colorants[c][0], tolerance) << "channel " << c;
        EXPECT_NEAR(out.Y, colorants[c][1], tolerance) << "channel " << c;
        EXPECT_NEAR(out.Z, colorants[c][2], tolerance) << "channel " << c;
    }
    cmsUInt16Number white[3] = {65535, 65535, 65535};
    cmsCIEXYZ out;
    cmsDoTransform(transform, white, &out, 1);
    EXPECT_NEAR(out.X, red[0] + green[0] + blue[0], tolerance);
    EXPECT_NEAR(out.Y, red[1] + green[1] + blue[1], tolerance);
    EXPECT_NEAR(out.Z, red[2] + green[2] + blue[2], tolerance);
    // That sum is the D50 white of the connection space.
    EXPECT_NEAR(out.X, cmsD50_XYZ()->X, 1e-3);
    EXPECT_NEAR(out.Y, cmsD50_XYZ()->Y, 1e-3);
    EXPECT_NEAR(out.Z, cmsD50_XYZ()->Z, 1e-3);
    cmsUInt16Number black[3] = {0, 0, 0};
    cmsDoTransform(transform, black, &out, 1);
    EXPECT_NEAR(out.Y, 0.0, tolerance);

    cmsDeleteTransform(transform);
    cmsCloseProfile(xyz);
}

TEST(IccInterop, SRGBToneCurves) {
    std::vector<char> bytes = SRGBProfileBytes();
    LcmsProfile profile(bytes);
    ASSERT_NE(profile.Handle, nullptr);
    const cmsTagSignature curves[3] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
    for (cmsTagSignature signature : curves) {
        auto* curve = static_cast<cmsToneCurve*>(cmsReadTag(profile.Handle, signature));
        ASSERT_NE(curve, nullptr);
        ASSERT_EQ(cmsGetToneCurveEstimatedTableEntries(curve), 1024u);
        // The table as Little CMS decoded it: each point within 1/65535 of the function.
        const cmsUInt16Number* table = cmsGetToneCurveEstimatedTable(curve);
        for (int i = 0; i < 1024; ++i)
            EXPECT_NEAR(table[i] / 65535.0, SRGBDecode(i / 1023.0), 1.0 / 65535) << "entry " << i;
        // Evaluated: Little CMS rounds the input and the output to 16 bits, so
        // only the points that fall on a 16-bit input (i a multiple of 341)
        // keep that bound; elsewhere the slope (at most 2.3) widens it.
        for (int i = 0; i < 1024; ++i) {
            double x = i / 1023.0;
            double bound = (i % 341 == 0 ? 1.0 : 2.5) / 65535;
            EXPECT_NEAR(cmsEvalToneCurveFloat(curve, static_cast<cmsFloat32Number>(x)), SRGBDecode(x), bound)
                << "entry " << i;
        }
    }
}

TEST(IccInterop, CorpusProfilesDecodeAsLittleCMSReadsThem) {
    PSDTEST_REQUIRE_CORPUS();
    std::vector<std::string> files = CorpusFilesWithProfiles();
    ASSERT_FALSE(files.empty()) << "the corpus facts list no file with a profile resource";
    for (const std::string& name : files) {
        SCOPED_TRACE(name);
        psdkit::PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(psdtest::CorpusPath(name).c_str()));
        psdkit::PSDImageRes* resources = document.GetImageResources();
        int profiles = 0;
        for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
            if (resources->GetResourceBlock(i)->GetResourceID() != 1039) continue;
            ++profiles;
            auto* block = dynamic_cast<PSDICCProfileRB*>(resources->GetResourceBlock(i));
            ASSERT_NE(block, nullptr);
            std::vector<char> bytes(block->GetDataBlock(), block->GetDataBlock() + block->GetDataBlockSize());
            LcmsProfile peer(bytes);
            ASSERT_NE(peer.Handle, nullptr);

            EXPECT_EQ(block->GetHdrProfileSize(), bytes.size());
            EXPECT_EQ(block->GetHdrColorSpace(), static_cast<unsigned long>(cmsGetColorSpace(peer.Handle)));
            EXPECT_EQ(block->GetHdrConnectionSpace(), static_cast<unsigned long>(cmsGetPCS(peer.Handle)));
            EXPECT_EQ(block->GetHdrProfileClass(), static_cast<unsigned long>(cmsGetDeviceClass(peer.Handle)));
            ASSERT_EQ(block->GetNumTags(), static_cast<unsigned long>(cmsGetTagCount(peer.Handle)));
            for (unsigned long t = 0; t < block->GetNumTags(); ++t) {
                PSDICCTag* tag = block->GetTag(t);
                EXPECT_EQ(tag->GetTagID(),
                          static_cast<unsigned long>(cmsGetTagSignature(peer.Handle, static_cast<cmsUInt32Number>(t))))
                    << "tag " << t;
                EXPECT_NE(tag->GetTagData(), nullptr) << "tag " << t;
            }
            // Where both decode a text tag, they agree on it.
            PSDICCTag* copyright = block->FindTag(PSDICCTag::TAGID_CPRT);
            if (copyright != nullptr && copyright->GetCopyright() != nullptr) {
                char text[1024] = {0};
                cmsGetProfileInfoASCII(peer.Handle, cmsInfoCopyright, "en", "US", text, sizeof(text));
                EXPECT_STREQ(copyright->GetCopyright(), text);
            }
            // The report walks every tag without trouble.
            std::string report = psdtest::CaptureStdout([&] { block->PrintInfo(); });
            EXPECT_NE(report.find("Num Tags:" + std::to_string(block->GetNumTags()) + "\n"), std::string::npos);
        }
        EXPECT_EQ(profiles, 1);
    }
}

TEST(IccInterop, CliProfileOfACorpusFileOpensInLittleCMS) {
    PSDTEST_REQUIRE_CORPUS();
    std::vector<std::string> files = CorpusFilesWithProfiles();
    ASSERT_FALSE(files.empty());
    psdtest::TempDir dir;
    for (const std::string& name : files) {
        SCOPED_TRACE(name);
        std::string out = dir.Path(name + ".icc");
        psdtest::RunResult result = psdtest::RunCli({"icc", psdtest::CorpusPath(name), out});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        std::vector<char> bytes = psdtest::ReadFile(out);
        unsigned long dataSize = 0;
        for (const auto& resource : (*psdtest::CorpusFile(name))["resources"])
            if (resource["id"] == 1039) {
                dataSize = resource["data_size"];
                break;
            }
        EXPECT_EQ(bytes.size(), dataSize);
        LcmsProfile peer(out);
        ASSERT_NE(peer.Handle, nullptr) << "Little CMS refused " << out;
        EXPECT_GT(cmsGetTagCount(peer.Handle), 0);
    }
}

TEST(IccInterop, CliProfileOfAWrittenFile) {
    // A file this library writes from a profile block of its own.
    PSDICCProfileRB block(PSDICCProfileRB::PROFILE_NAME_SRGB);
    std::vector<char> written = WrittenBytes(&block);
    psdtest::Bytes file = psdtest::PsdHeader(3, 1, 1, 8, 3);
    file.u32(0).u32(written.size()).raw(written).u32(0).u16(0).u8(1).u8(2).u8(3);
    psdtest::TempDir dir;
    std::string path = dir.Write("srgb.psd", file);
    std::string out = dir.Path("srgb.icc");
    psdtest::RunResult result = psdtest::RunCli({"icc", path, out});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(psdtest::ReadFile(out), std::vector<char>(written.begin() + 12, written.end()));
    LcmsProfile peer(out);
    EXPECT_NE(peer.Handle, nullptr);
}
