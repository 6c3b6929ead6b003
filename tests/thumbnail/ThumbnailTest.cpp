// The JPEG encoder and the thumbnail block, checked by decoding with libjpeg, and their failures.

#include <cmath>
#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

#include "psdkit/psdkit.h"
#include "support/TestSupport.h"

using psdkit::PhotoshopFile;
using psdkit::PSDJpeg;
using psdkit::PSDThumbnailRB;
using psdtest::Bytes;

namespace {

struct Decoded {  // width and height 0 when libjpeg refuses the stream
    unsigned long width = 0, height = 0;
    std::vector<unsigned char> rgb;     // interleaved, row after row
    std::vector<std::string> comments;  // the COM markers, in file order
    int At(unsigned long x, unsigned long y, int c) const { return rgb[3 * (y * width + x) + c]; }
};

struct DecodeErrors : jpeg_error_mgr {
    jmp_buf jump;
};

// Plain state only: a jump out of libjpeg must skip no destructor.
void DecodeInto(jpeg_decompress_struct* cinfo, DecodeErrors* errors, const char* data, std::size_t size, Decoded* out) {
    cinfo->err = jpeg_std_error(errors);
    errors->error_exit = [](j_common_ptr c) { longjmp(static_cast<DecodeErrors*>(c->err)->jump, 1); };
    errors->output_message = [](j_common_ptr) {};
    if (setjmp(errors->jump) != 0) return;
    jpeg_create_decompress(cinfo);
    jpeg_mem_src(cinfo, reinterpret_cast<const unsigned char*>(data), size);
    jpeg_save_markers(cinfo, JPEG_COM, 0xFFFF);
    if (jpeg_read_header(cinfo, TRUE) != JPEG_HEADER_OK) return;
    cinfo->out_color_space = JCS_RGB;
    jpeg_start_decompress(cinfo);
    out->rgb.resize(3UL * cinfo->output_width * cinfo->output_height);
    out->width = cinfo->output_width;
    out->height = cinfo->output_height;
    while (cinfo->output_scanline < cinfo->output_height) {
        JSAMPROW row = out->rgb.data() + 3UL * out->width * cinfo->output_scanline;
        jpeg_read_scanlines(cinfo, &row, 1);
    }
    for (jpeg_saved_marker_ptr m = cinfo->marker_list; m != nullptr; m = m->next)
        out->comments.emplace_back(reinterpret_cast<const char*>(m->data), m->data_length);
    jpeg_finish_decompress(cinfo);
}

Decoded Decode(const char* data, std::size_t size) {
    Decoded result;
    jpeg_decompress_struct cinfo{};
    DecodeErrors errors{};
    DecodeInto(&cinfo, &errors, data, size, &result);
    jpeg_destroy_decompress(&cinfo);
    return result;
}

// Three planes of width x height bytes of independent noise, in 96..160, where decoding never clips.
std::vector<char> Noise(unsigned long width, unsigned long height, unsigned seed) {
    std::vector<char> planes(3 * width * height);
    for (char& sample : planes) {
        seed = seed * 1103515245u + 12345u;
        sample = static_cast<char>(96 + (seed >> 16) % 65);
    }
    return planes;
}

// The 28-byte header of a thumbnail payload.
Bytes Header(unsigned long format, unsigned long width, unsigned long height, unsigned long widthBytes,
             unsigned long size, unsigned long compressedSize) {
    return Bytes().u32(format).u32(width).u32(height).u32(widthBytes).u32(size).u32(compressedSize).u16(24).u16(1);
}

}  // namespace

TEST(PSDJpeg, SizesSamplingAndComment) {
    const struct {
        unsigned long width, height, target;
        float scale;
        unsigned long outWidth, outHeight;
        const char* comment;
    } cases[] = {
        {300, 200, 112, 2.6785715f, 112, 75, "Larkmoore Imaging LLC"},  // the last row samples 198, the last column 297
        {56, 28, 112, 0.5f, 112, 56, nullptr},                          // every source pixel twice
        {1, 1, 112, 1.0f / 112, 112, 112, nullptr},  // 1 / (1 / 112) rounds back to 112 through the float
    };
    unsigned long width = 0, height = 0;
    float scale = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height) + " to " + std::to_string(c.target));
        ASSERT_TRUE(PSDJpeg::CalculateOutputSize(c.width, c.height, c.target, &width, &height, &scale));
        EXPECT_EQ(scale, c.scale);
        std::vector<char> planes = Noise(c.width, c.height, 1);
        PSDJpeg jpeg;
        ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), c.width, c.height, c.target, 100, c.comment));
        Decoded image = Decode(jpeg.GetJpegImageBuffer(), jpeg.GetJpegImageSize());
        ASSERT_EQ(image.width, c.outWidth);
        ASSERT_EQ(image.height, c.outHeight);
        // The comment's bytes without a NUL; no marker without a comment.
        EXPECT_EQ(image.comments, c.comment ? std::vector<std::string>{c.comment} : std::vector<std::string>{});
        // Each output pixel is the source pixel at the truncated scaled position. The luma, which
        // 4:2:0 keeps, follows its own source pixel within a few levels at quality 100; a neighbour,
        // another plane order or stride misses by far more.
        auto luma = [](int r, int g, int b) { return 0.299 * r + 0.587 * g + 0.114 * b; };
        const std::size_t plane = c.width * c.height;
        unsigned long bad = 0;
        for (unsigned long y = 0; y < image.height; ++y)
            for (unsigned long x = 0; x < image.width; ++x) {
                unsigned long i = static_cast<unsigned long>(static_cast<float>(y) * c.scale) * c.width +
                                  static_cast<unsigned long>(static_cast<float>(x) * c.scale);
                double expected = luma(planes[i] & 0xFF, planes[plane + i] & 0xFF, planes[2 * plane + i] & 0xFF);
                bad += std::abs(luma(image.At(x, y, 0), image.At(x, y, 1), image.At(x, y, 2)) - expected) > 4.0;
            }
        EXPECT_EQ(bad, 0u);
    }
}

TEST(PSDJpeg, FailuresLeaveTheEarlierStream) {
    std::vector<char> planes = Noise(300, 200, 8), wide(3 * 65501, 0);
    PSDJpeg jpeg;
    ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), 300, 200, 112, 100, "earlier"));
    char* buffer = jpeg.GetJpegImageBuffer();
    const std::string stream(buffer, jpeg.GetJpegImageSize());
    auto encode = [&jpeg](const char* source, unsigned long width, unsigned long height, unsigned long target,
                          const char* comment = nullptr) {
        return jpeg.CreateJpegFromRgbPlanes(source, width, height, target, 100, comment);
    };
    auto expectEarlier = [&](bool result) {
        EXPECT_FALSE(result);
        EXPECT_EQ(jpeg.GetJpegImageBuffer(), buffer);
        EXPECT_EQ(std::string(jpeg.GetJpegImageBuffer(), jpeg.GetJpegImageSize()), stream);
        EXPECT_EQ(jpeg.GetJpegImageWidth(), 112u);
        EXPECT_EQ(jpeg.GetJpegImageHeight(), 75u);
    };
    expectEarlier(encode(wide.data(), 1000, 1, 112));     // output height 0
    expectEarlier(encode(wide.data(), 65501, 1, 65501));  // beyond libjpeg's limit
    expectEarlier(encode(nullptr, 300, 200, 112));
    // libjpeg raises a fatal error for a marker longer than 65533 bytes.
    expectEarlier(encode(planes.data(), 300, 200, 112, std::string(70000, 'x').c_str()));
    // Nothing of the failed calls is left in the way of the next one.
    ASSERT_TRUE(encode(planes.data(), 300, 200, 112, "earlier"));
    EXPECT_EQ(jpeg.GetJpegImageSize(), stream.size());
}

TEST(PSDThumbnailRB, ReadWrittenBackAndReported) {
    // A stream of 5 bytes: the data size 33 is odd, and a pad byte follows.
    Bytes bytes = psdtest::Block(1036, Header(1, 160, 120, 480, 57600, 5).raw(std::vector<char>{1, 2, 3, 4, 5}));
    PSDThumbnailRB block;
    ASSERT_TRUE(psdtest::ReadBlock(bytes, &block));
    EXPECT_EQ(psdtest::WrittenBlock(block), bytes.data);
    EXPECT_EQ(psdtest::CaptureStdout([&block] { block.PrintInfo(); }),
              " 1036 - Thumbnail Resource\nFormat:JPEG\nWidth:160\nHeight:120\nWidth Bytes:480\nSize:57600\n"
              "CompressedSize:5\nBitsPixel:24\nPlanes:1\n");
}

TEST(PSDThumbnailRB, CreatedBlocks) {
    const unsigned long widths[][2] = {
        {0, 0},  {1, 4},  {2, 8},     {3, 12},
        {4, 12}, {5, 16}, {112, 336}, {0x10000000UL, 0x30000000UL}};  // no 32-bit wrap of width x 24
    for (const auto& w : widths) EXPECT_EQ(psdkit::CalculatePaddedWidth(w[0]), w[1]) << w[0];
    PSDThumbnailRB empty;
    EXPECT_EQ(psdtest::WrittenBlock(empty), psdtest::Block(1036, Header(1, 0, 0, 0, 0, 0)).data);
    // Created over a block read with a name: only the image fields change (format 0 stays), the block
    // goes out with an empty name, and the size word counts the pad byte behind an odd stream.
    std::vector<char> planes = Noise(120, 90, 12);
    bool seen[2] = {false, false};
    for (unsigned long target = 100; target < 140 && !(seen[0] && seen[1]); ++target) {
        PSDThumbnailRB block;
        ASSERT_TRUE(psdtest::ReadBlock(psdtest::Block(1036, Header(0, 1, 1, 4, 4, 1).u8(7), "old"), &block));
        ASSERT_TRUE(block.CreateThumbnailFromData(target, 120, 90, planes.data()));
        const unsigned long l = block.GetCompressedSize();
        seen[l % 2] = true;
        EXPECT_EQ(block.GetDataBlockSize(), l + 28 + l % 2) << l;
        EXPECT_EQ(block.GetResourceBlockSize(), l + 40 + l % 2) << l;
        Bytes payload = Header(0, target, block.GetHeight(), block.GetWidthBytes(), block.GetSize(), l);
        payload.raw(std::vector<char>(block.GetData(), block.GetData() + l)).zeros(l % 2);
        EXPECT_EQ(psdtest::WrittenBlock(block), psdtest::Block(1036, payload).data) << l;
    }
    EXPECT_TRUE(seen[0] && seen[1]);
    // A failed creation leaves the block as it was.
    PSDThumbnailRB block;
    ASSERT_TRUE(block.CreateThumbnailFromData(112, 120, 90, planes.data()));
    std::vector<char> before = psdtest::WrittenBlock(block);
    EXPECT_FALSE(block.CreateThumbnailFromData(0, 120, 90, planes.data()));
    EXPECT_EQ(psdtest::WrittenBlock(block), before);
}
