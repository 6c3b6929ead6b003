// The JPEG encoder: output size, sampling, comment marker, failures.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ThumbnailTestSupport.h"
#include "psdkit/thumbnail/PSDJpeg.h"

using psdkit::PSDJpeg;
using thumbtest::DecodedJpeg;
using thumbtest::DecodeJpeg;

namespace {

// Quality 100 leaves an error of a few levels; the noise sources make a
// wrong row or column miss by far more than this in most pixels.
const int TOLERANCE = 6;

DecodedJpeg Decode(const PSDJpeg& jpeg) { return DecodeJpeg(jpeg.GetJpegImageBuffer(), jpeg.GetJpegImageSize()); }

unsigned char At(const std::vector<char>& planes, unsigned long width, unsigned long height, int plane,
                 unsigned long x, unsigned long y) {
    return static_cast<unsigned char>(planes[plane * width * height + y * width + x]);
}

// Counts output pixels whose three samples are not within TOLERANCE of the
// source pixel (columnOf(x), rowOf(y)).
template <typename ColumnOf, typename RowOf>
unsigned long CountMismatches(const DecodedJpeg& image, const std::vector<char>& planes, unsigned long width,
                              unsigned long height, ColumnOf columnOf, RowOf rowOf) {
    unsigned long bad = 0;
    for (unsigned long y = 0; y < image.height; ++y)
        for (unsigned long x = 0; x < image.width; ++x) {
            unsigned long sx = columnOf(x);
            unsigned long sy = rowOf(y);
            if (std::abs(image.R(x, y) - At(planes, width, height, 0, sx, sy)) > TOLERANCE ||
                std::abs(image.G(x, y) - At(planes, width, height, 1, sx, sy)) > TOLERANCE ||
                std::abs(image.B(x, y) - At(planes, width, height, 2, sx, sy)) > TOLERANCE)
                ++bad;
        }
    return bad;
}

// Luma is kept by 4:2:0 subsampling where the colours themselves are not.
double Luma(int r, int g, int b) { return 0.299 * r + 0.587 * g + 0.114 * b; }

// The COM marker as the stream holds it: its length word and its bytes.
bool FindComMarker(const PSDJpeg& jpeg, unsigned* lengthWord, std::string* text) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(jpeg.GetJpegImageBuffer());
    for (unsigned long i = 2; i + 4 <= jpeg.GetJpegImageSize(); ++i) {
        if (p[i] == 0xFF && p[i + 1] == 0xDA) return false;  // image data: no marker ahead of it
        if (p[i] == 0xFF && p[i + 1] == 0xFE) {
            *lengthWord = p[i + 2] << 8 | p[i + 3];
            if (*lengthWord < 2 || i + 2 + *lengthWord > jpeg.GetJpegImageSize()) return false;
            text->assign(reinterpret_cast<const char*>(p + i + 4), *lengthWord - 2);
            return true;
        }
    }
    return false;
}

}  // namespace

TEST(PSDJpeg, NewEncoderIsEmpty) {
    PSDJpeg jpeg;
    EXPECT_EQ(jpeg.GetJpegImageBuffer(), nullptr);
    EXPECT_EQ(jpeg.GetJpegImageSize(), 0u);
    EXPECT_EQ(jpeg.GetJpegImageWidth(), 0u);
    EXPECT_EQ(jpeg.GetJpegImageHeight(), 0u);
    EXPECT_FALSE(jpeg.GetAlignWidthTo32Bits());
    jpeg.SetAlignWidthTo32Bits(true);
    EXPECT_TRUE(jpeg.GetAlignWidthTo32Bits());
}

TEST(PSDJpeg, OutputSizesOfTheWorkedExamples) {
    unsigned long w = 0, h = 0;
    float scale = 0;
    ASSERT_TRUE(PSDJpeg::CalculateOutputSize(300, 200, 112, &w, &h, &scale));
    EXPECT_EQ(scale, 2.6785715f);
    EXPECT_EQ(w, 112u);
    EXPECT_EQ(h, 75u);
    ASSERT_TRUE(PSDJpeg::CalculateOutputSize(1024, 768, 112, &w, &h, &scale));
    EXPECT_EQ(w, 112u);
    EXPECT_EQ(h, 84u);
    ASSERT_TRUE(PSDJpeg::CalculateOutputSize(56, 28, 112, &w, &h, &scale));
    EXPECT_EQ(scale, 0.5f);
    EXPECT_EQ(w, 112u);
    EXPECT_EQ(h, 56u);
    ASSERT_TRUE(PSDJpeg::CalculateOutputSize(333, 77, 333, &w, &h, &scale));
    EXPECT_EQ(scale, 1.0f);
    EXPECT_EQ(w, 333u);
    EXPECT_EQ(h, 77u);
    // 1 / (1 / 112) rounds back to 112 through the float.
    ASSERT_TRUE(PSDJpeg::CalculateOutputSize(1, 1, 112, &w, &h, &scale));
    EXPECT_EQ(w, 112u);
    EXPECT_EQ(h, 112u);
}

TEST(PSDJpeg, OutputSizesLibjpegCannotTakeAreRefused) {
    unsigned long w = 0, h = 0;
    float scale = 0;
    EXPECT_FALSE(PSDJpeg::CalculateOutputSize(1000, 1, 112, &w, &h, &scale));  // height 0.112 + 0.5 -> 0
    EXPECT_FALSE(PSDJpeg::CalculateOutputSize(300, 200, 0, &w, &h, &scale));   // width 0
    EXPECT_FALSE(PSDJpeg::CalculateOutputSize(0, 200, 112, &w, &h, &scale));   // NaN and infinity
    EXPECT_FALSE(PSDJpeg::CalculateOutputSize(65501, 10, 65501, &w, &h, &scale));
    EXPECT_FALSE(PSDJpeg::CalculateOutputSize(10, 10, 65501, &w, &h, &scale));
    EXPECT_FALSE(PSDJpeg::CalculateOutputSize(10, 100000, 10, &w, &h, &scale));
    EXPECT_TRUE(PSDJpeg::CalculateOutputSize(65500, 1, 65500, &w, &h, &scale));
}

TEST(PSDJpeg, DownscaleSamplesByTruncation) {
    // 300 x 200 -> 112 x 75: the last row samples row 198, the last column 297.
    std::vector<char> planes = thumbtest::GreyNoisePlanes(300, 200, 1);
    PSDJpeg jpeg;
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, nullptr));
    EXPECT_EQ(jpeg.GetJpegImageWidth(), 112u);
    EXPECT_EQ(jpeg.GetJpegImageHeight(), 75u);
    DecodedJpeg image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    ASSERT_EQ(image.width, 112u);
    ASSERT_EQ(image.height, 75u);
    const float scale = 2.6785715f;
    auto sample = [scale](unsigned long i) { return static_cast<unsigned long>(static_cast<float>(i) * scale); };
    ASSERT_EQ(sample(74), 198u);
    ASSERT_EQ(sample(111), 297u);
    EXPECT_EQ(CountMismatches(image, planes, 300, 200, sample, sample), 0u);
    // Rounding the position instead of truncating it would pick other
    // pixels, and this source tells them apart.
    auto rounded = [scale](unsigned long i) {
        return static_cast<unsigned long>(static_cast<float>(i) * scale + 0.5f);
    };
    EXPECT_GT(CountMismatches(image, planes, 300, 200, rounded, sample), 112u * 75 / 4);
    EXPECT_GT(CountMismatches(image, planes, 300, 200, sample, rounded), 112u * 75 / 4);
}

TEST(PSDJpeg, DownscaleOfALargeSource) {
    std::vector<char> planes = thumbtest::GreyNoisePlanes(1024, 768, 2);
    PSDJpeg jpeg;
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 1024, 768, 112, 100, nullptr));
    DecodedJpeg image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    EXPECT_EQ(image.width, 112u);
    EXPECT_EQ(image.height, 84u);
    const float scale = 1024.0f / 112.0f;
    auto sample = [scale](unsigned long i) { return static_cast<unsigned long>(static_cast<float>(i) * scale); };
    EXPECT_EQ(CountMismatches(image, planes, 1024, 768, sample, sample), 0u);
}

TEST(PSDJpeg, UpscaleUsesEverySourcePixelTwice) {
    std::vector<char> planes = thumbtest::GreyNoisePlanes(56, 28, 3);
    PSDJpeg jpeg;
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 56, 28, 112, 100, nullptr));
    DecodedJpeg image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    EXPECT_EQ(image.width, 112u);
    EXPECT_EQ(image.height, 56u);
    auto half = [](unsigned long i) { return i / 2; };
    EXPECT_EQ(CountMismatches(image, planes, 56, 28, half, half), 0u);
}

TEST(PSDJpeg, EqualWidthsCopyEveryPixel) {
    std::vector<char> planes = thumbtest::GreyNoisePlanes(97, 61, 4);
    PSDJpeg jpeg;
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 97, 61, 97, 100, nullptr));
    EXPECT_EQ(jpeg.GetJpegImageWidth(), 97u);
    EXPECT_EQ(jpeg.GetJpegImageHeight(), 61u);
    DecodedJpeg image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    ASSERT_EQ(image.width, 97u);
    ASSERT_EQ(image.height, 61u);
    auto same = [](unsigned long i) { return i; };
    EXPECT_EQ(CountMismatches(image, planes, 97, 61, same, same), 0u);
}

TEST(PSDJpeg, PlanesAreRedGreenBlueWithAFullPlaneStride) {
    // Flat colours: the planes in their order, whatever the output size.
    std::vector<char> planes = thumbtest::FlatPlanes(300, 200, 200, 100, 30);
    PSDJpeg jpeg;
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, nullptr));
    DecodedJpeg image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    EXPECT_NEAR(image.R(50, 40), 200, TOLERANCE);
    EXPECT_NEAR(image.G(50, 40), 100, TOLERANCE);
    EXPECT_NEAR(image.B(50, 40), 30, TOLERANCE);

    // Independent noise in each plane: the luma of every output pixel
    // follows its own source pixel, so a wrong stride or plane shows.
    planes = thumbtest::ColourNoisePlanes(300, 200, 5);
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, nullptr));
    image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    const float scale = 2.6785715f;
    unsigned long bad = 0;
    for (unsigned long y = 0; y < image.height; ++y)
        for (unsigned long x = 0; x < image.width; ++x) {
            unsigned long sx = static_cast<unsigned long>(static_cast<float>(x) * scale);
            unsigned long sy = static_cast<unsigned long>(static_cast<float>(y) * scale);
            double expected = Luma(At(planes, 300, 200, 0, sx, sy), At(planes, 300, 200, 1, sx, sy),
                                   At(planes, 300, 200, 2, sx, sy));
            double got = Luma(image.R(x, y), image.G(x, y), image.B(x, y));
            if (std::abs(expected - got) > 4.0) ++bad;
        }
    EXPECT_EQ(bad, 0u);
}

TEST(PSDJpeg, EdgeSourceOfOnePixel) {
    std::vector<char> planes = thumbtest::FlatPlanes(1, 1, 10, 128, 240);
    PSDJpeg jpeg;
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 1, 1, 1, 100, nullptr));
    DecodedJpeg image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    EXPECT_EQ(image.width, 1u);
    EXPECT_EQ(image.height, 1u);
    EXPECT_NEAR(image.R(0, 0), 10, TOLERANCE);
    EXPECT_NEAR(image.G(0, 0), 128, TOLERANCE);
    EXPECT_NEAR(image.B(0, 0), 240, TOLERANCE);

    // Scaled up to the thumbnail width, the one pixel fills 112 x 112.
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 1, 1, 112, 100, nullptr));
    image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    EXPECT_EQ(image.width, 112u);
    EXPECT_EQ(image.height, 112u);
    EXPECT_NEAR(image.G(111, 111), 128, TOLERANCE);
}

TEST(PSDJpeg, CommentMarker) {
    std::vector<char> planes = thumbtest::GreyNoisePlanes(40, 30, 6);
    PSDJpeg jpeg;
    unsigned lengthWord = 0;
    std::string text;

    // 21 bytes of text: a length word of 23 (it counts itself), no NUL.
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 40, 30, 20, 100, "Larkmoore Imaging LLC"));
    ASSERT_TRUE(FindComMarker(jpeg, &lengthWord, &text));
    EXPECT_EQ(lengthWord, 23u);
    EXPECT_EQ(text, "Larkmoore Imaging LLC");
    DecodedJpeg image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    ASSERT_EQ(image.comments.size(), 1u);
    EXPECT_EQ(image.comments[0], "Larkmoore Imaging LLC");

    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 40, 30, 20, 100, ""));
    ASSERT_TRUE(FindComMarker(jpeg, &lengthWord, &text));
    EXPECT_EQ(lengthWord, 2u);
    EXPECT_EQ(text, "");

    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 40, 30, 20, 100, nullptr));
    EXPECT_FALSE(FindComMarker(jpeg, &lengthWord, &text));
    image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    EXPECT_TRUE(image.comments.empty());
}

TEST(PSDJpeg, EachEncodingReplacesTheStream) {
    std::vector<char> planes = thumbtest::GreyNoisePlanes(300, 200, 7);
    PSDJpeg jpeg;
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, nullptr));
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 50, 100, nullptr));
    DecodedJpeg image = Decode(jpeg);
    ASSERT_TRUE(image.ok);
    EXPECT_EQ(image.width, jpeg.GetJpegImageWidth());
    EXPECT_EQ(image.height, jpeg.GetJpegImageHeight());
    EXPECT_EQ(image.width, 50u);
}

// Every failure below comes after a successful encoding, whose stream must
// still stand unless the failure released it.
class PSDJpegFailure : public ::testing::Test {
protected:
    void SetUp() override {
        planes = thumbtest::GreyNoisePlanes(300, 200, 8);
        ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, "earlier"));
        buffer = jpeg.GetJpegImageBuffer();
        stream.assign(buffer, buffer + jpeg.GetJpegImageSize());
    }
    void ExpectEarlierStreamStands() {
        EXPECT_EQ(jpeg.GetJpegImageBuffer(), buffer);
        ASSERT_EQ(jpeg.GetJpegImageSize(), stream.size());
        EXPECT_EQ(std::memcmp(jpeg.GetJpegImageBuffer(), stream.data(), stream.size()), 0);
        EXPECT_EQ(jpeg.GetJpegImageWidth(), 112u);
        EXPECT_EQ(jpeg.GetJpegImageHeight(), 75u);
    }
    std::vector<char> planes;
    PSDJpeg jpeg;
    char* buffer = nullptr;
    std::vector<char> stream;
};

TEST_F(PSDJpegFailure, OutputHeightZero) {
    std::vector<char> wide = thumbtest::GreyNoisePlanes(1000, 1, 9);
    EXPECT_FALSE(jpeg.CreateJpegFromRgbPlanes(wide.data(), 1000, 1, 112, 100, nullptr));
    ExpectEarlierStreamStands();
}

TEST_F(PSDJpegFailure, TargetWidthZero) {
    EXPECT_FALSE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 0, 100, nullptr));
    ExpectEarlierStreamStands();
}

TEST_F(PSDJpegFailure, OutputBeyondLibjpegsLimit) {
    std::vector<char> wide(3 * 65501, 0);
    EXPECT_FALSE(jpeg.CreateJpegFromRgbPlanes(wide.data(), 65501, 1, 65501, 100, nullptr));
    ExpectEarlierStreamStands();
    EXPECT_FALSE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 70000, 100, nullptr));
    ExpectEarlierStreamStands();
}

TEST_F(PSDJpegFailure, NullSource) {
    EXPECT_FALSE(jpeg.CreateJpegFromRgbPlanes(nullptr, 300, 200, 112, 100, nullptr));
    ExpectEarlierStreamStands();
}

TEST_F(PSDJpegFailure, FatalLibjpegErrorReturnsFalse) {
    // libjpeg raises a fatal error for a marker longer than 65533 bytes; the
    // process goes on and the encoding reports false.
    std::string longComment(70000, 'x');
    EXPECT_FALSE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, longComment.c_str()));
    ExpectEarlierStreamStands();
    // Nothing of the failed call is left in the way of the next one.
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 60, 100, nullptr));
    EXPECT_EQ(jpeg.GetJpegImageWidth(), 60u);
}

TEST_F(PSDJpegFailure, NoTemporaryFile) {
    bool result = true;
    thumbtest::WithoutFreeFileDescriptors(
        [&] { result = jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, nullptr); });
    EXPECT_FALSE(result);
    ExpectEarlierStreamStands();
    // The descriptors are back: the encoder works again.
    EXPECT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, nullptr));
}

TEST_F(PSDJpegFailure, NoScanlineBuffer) {
    THUMBTEST_REQUIRE_ALLOCATION_FAILURES();
    // The scanline buffer of a 111-pixel row: 333 bytes.
    thumbtest::FailNextArrayAllocationOf(3 * 111);
    bool result = jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 111, 100, nullptr);
    EXPECT_TRUE(thumbtest::DisarmArrayAllocationFailure()) << "the allocation did not fail";
    EXPECT_FALSE(result);
    ExpectEarlierStreamStands();
}

TEST_F(PSDJpegFailure, NoResultBuffer) {
    THUMBTEST_REQUIRE_ALLOCATION_FAILURES();
    // The same image again gives a stream of the same length; its buffer is
    // the allocation that fails.
    ASSERT_NE(stream.size(), 3u * 112);
    thumbtest::FailNextArrayAllocationOf(stream.size());
    bool result = jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, "earlier");
    EXPECT_TRUE(thumbtest::DisarmArrayAllocationFailure()) << "the allocation did not fail";
    EXPECT_FALSE(result);
    EXPECT_EQ(jpeg.GetJpegImageBuffer(), nullptr);
    EXPECT_EQ(jpeg.GetJpegImageSize(), 0u);
    EXPECT_EQ(jpeg.GetJpegImageWidth(), 112u);
    EXPECT_EQ(jpeg.GetJpegImageHeight(), 75u);
}

TEST(PSDJpeg, AllocateAndFreeTheBuffer) {
    THUMBTEST_REQUIRE_ALLOCATION_FAILURES();
    PSDJpeg jpeg;
    ASSERT_TRUE(jpeg.AllocateJpegImageBuffer(10));
    EXPECT_NE(jpeg.GetJpegImageBuffer(), nullptr);
    EXPECT_EQ(jpeg.GetJpegImageSize(), 10u);
    thumbtest::FailNextArrayAllocationOf(20);
    EXPECT_FALSE(jpeg.AllocateJpegImageBuffer(20));
    EXPECT_TRUE(thumbtest::DisarmArrayAllocationFailure());
    EXPECT_EQ(jpeg.GetJpegImageBuffer(), nullptr);
    EXPECT_EQ(jpeg.GetJpegImageSize(), 0u);
    jpeg.FreeJpegImageBuffer();  // nothing to free: no effect
    EXPECT_EQ(jpeg.GetJpegImageBuffer(), nullptr);
}
