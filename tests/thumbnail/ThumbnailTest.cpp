// The JPEG encoder and the thumbnail block, checked by decoding with libjpeg; their failures, blocks
// read from bytes that do not hold what they claim, the corpus, and the psdkit thumbnail command.

#include <sys/resource.h>
#include <cstring>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>

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

// Three planes of width x height bytes. Grey noise (no chroma for 4:2:0 to lose) tells neighbouring
// pixels apart; colour noise stays in 96..160, where decoding never clips.
std::vector<char> Noise(unsigned long width, unsigned long height, unsigned seed, bool grey) {
    std::vector<char> planes(3 * width * height);
    for (std::size_t i = 0; i < planes.size(); ++i) {
        seed = seed * 1103515245u + 12345u;
        planes[i] = static_cast<char>(grey ? (i < width * height ? seed >> 16 : planes[i - width * height])
                                           : 96 + (seed >> 16) % 65);
    }
    return planes;
}

std::atomic<std::size_t> failingSize{0};

bool ShouldFail(std::size_t size) {
    std::size_t expected = size;
    return size != 0 && failingSize.compare_exchange_strong(expected, 0);
}

// The result of `body` while the next array allocation of `size` bytes fails.
template <typename Body>
bool WithFailingAllocationOf(std::size_t size, Body body) {
    failingSize = size;
    bool result = body();
    EXPECT_EQ(failingSize.exchange(0), 0u) << "no allocation of " << size << " bytes was made";
    return result;
}

// False where a tool (valgrind, a sanitizer) replaces operator new itself.
bool CanFailAllocations() {
    const char* preload = std::getenv("LD_PRELOAD");  // valgrind preloads its allocator (vgpreload_*.so)
    if (preload != nullptr && std::strstr(preload, "vgpreload") != nullptr) return false;
    failingSize = 7919;  // a size nothing else asks for; volatile keeps the call in place
    char* volatile p = new (std::nothrow) char[7919];
    delete[] p;
    return failingSize.exchange(0) == 0;
}

// The result of `body` while the process cannot open another file.
template <typename Body>
bool WithoutFreeFileDescriptors(Body body) {
    rlimit saved{};
    getrlimit(RLIMIT_NOFILE, &saved);
    rlimit none = {0, saved.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    bool result = body();
    setrlimit(RLIMIT_NOFILE, &saved);
    return result;
}

// The 28-byte header of a thumbnail payload.
Bytes Header(unsigned long format, unsigned long width, unsigned long height, unsigned long widthBytes,
             unsigned long size, unsigned long compressedSize) {
    return Bytes().u32(format).u32(width).u32(height).u32(widthBytes).u32(size).u32(compressedSize).u16(24).u16(1);
}

// A resource block around `payload`, padded to even, as a file holds it.
Bytes Framed(const Bytes& payload, const std::string& name = "", unsigned id = 1036) {
    Bytes b;
    b.str("8BIM").u16(id).u8(static_cast<unsigned>(name.size())).str(name).zeros(name.size() % 2 ? 0 : 1);
    return b.u32(payload.size()).raw(payload).zeros(payload.size() % 2);
}

// Reads `framed` into `block` the way the section reader does: a raw block moved into the class.
void Read(const Bytes& framed, PSDThumbnailRB* block) {
    psdtest::TempDir dir;
    std::ifstream in(dir.Write("block.bin", framed), std::ios_base::binary);
    psdkit::PSDGenericResourceBlock raw;
    raw.SetStreams(&in, nullptr);
    ASSERT_TRUE(raw.ReadResourceBlock());
    psdkit::PSDResourceBlock::Copy(&raw, block);
}

std::vector<char> Written(psdkit::PSDResourceBlock* block) {
    psdtest::TempDir dir;
    {
        std::ofstream out(dir.Path("block.bin"), std::ios_base::binary);
        block->SetStreams(nullptr, &out);
        block->WriteResourceBlock();
    }
    return psdtest::ReadFile(dir.Path("block.bin"));
}

PSDThumbnailRB* FirstThumbnail(PhotoshopFile* document) {
    psdkit::PSDImageRes* resources = document->GetImageResources();
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i)
        if (auto* block = dynamic_cast<PSDThumbnailRB*>(resources->GetResourceBlock(i))) return block;
    return nullptr;
}

}  // namespace

// Array allocations of the whole process pass through here, so that a test
// can make the encoder's scanline or result buffer unavailable.
void* operator new[](std::size_t size) {
    void* p = ShouldFail(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return ShouldFail(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

TEST(PSDJpeg, SizesSamplingAndComment) {
    const struct {
        unsigned long width, height, target;
        float scale;
        unsigned long outWidth, outHeight;
        const char* comment;
    } cases[] = {
        {300, 200, 112, 2.6785715f, 112, 75, "Larkmoore Imaging LLC"},  // the last row samples 198, the last column 297
        {1024, 768, 112, 1024.0f / 112, 112, 84, ""},
        {56, 28, 112, 0.5f, 112, 56, nullptr},       // every source pixel twice
        {97, 61, 97, 1.0f, 97, 61, nullptr},         // equal widths copy every pixel
        {1, 1, 112, 1.0f / 112, 112, 112, nullptr},  // 1 / (1 / 112) rounds back to 112 through the float
    };
    unsigned long width = 0, height = 0;
    float scale = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height) + " to " + std::to_string(c.target));
        ASSERT_TRUE(PSDJpeg::CalculateOutputSize(c.width, c.height, c.target, &width, &height, &scale));
        EXPECT_EQ(scale, c.scale);
        EXPECT_EQ(width, c.outWidth);
        EXPECT_EQ(height, c.outHeight);
        std::vector<char> planes = Noise(c.width, c.height, 1, true);
        PSDJpeg jpeg;
        ASSERT_TRUE(jpeg.CreateJpegFromRgbPlanes(planes.data(), c.width, c.height, c.target, 100, c.comment));
        Decoded image = Decode(jpeg.GetJpegImageBuffer(), jpeg.GetJpegImageSize());
        ASSERT_EQ(image.width, c.outWidth);
        ASSERT_EQ(image.height, c.outHeight);
        // The comment's bytes without a NUL; no marker without a comment.
        EXPECT_EQ(image.comments, c.comment ? std::vector<std::string>{c.comment} : std::vector<std::string>{});
        // Each output pixel is the source pixel at the truncated scaled position; quality 100 leaves
        // an error of a few levels, and a neighbour of the noise misses by far more.
        unsigned long bad = 0;
        for (unsigned long y = 0; y < image.height; ++y)
            for (unsigned long x = 0; x < image.width; ++x) {
                unsigned long i = static_cast<unsigned long>(static_cast<float>(y) * c.scale) * c.width +
                                  static_cast<unsigned long>(static_cast<float>(x) * c.scale);
                bad += std::abs(image.At(x, y, 0) - (planes[i] & 0xFF)) > 6;
            }
        EXPECT_EQ(bad, 0u);
    }
    // A source width of 0 (NaN and infinity) and a height beyond libjpeg's limit are refused; 65500 is taken.
    EXPECT_FALSE(PSDJpeg::CalculateOutputSize(0, 200, 112, &width, &height, &scale));
    EXPECT_FALSE(PSDJpeg::CalculateOutputSize(10, 100000, 10, &width, &height, &scale));
    EXPECT_TRUE(PSDJpeg::CalculateOutputSize(65500, 1, 65500, &width, &height, &scale));
}

TEST(PSDJpeg, FailuresLeaveTheEarlierStream) {
    std::vector<char> planes = Noise(300, 200, 8, true), wide(3 * 65501, 0);
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
    expectEarlier(encode(wide.data(), 1000, 1, 112));  // output height 0
    expectEarlier(encode(planes.data(), 300, 200, 0));
    expectEarlier(encode(wide.data(), 65501, 1, 65501));  // beyond libjpeg's limit
    expectEarlier(encode(planes.data(), 300, 200, 70000));
    expectEarlier(encode(nullptr, 300, 200, 112));
    // libjpeg raises a fatal error for a marker longer than 65533 bytes.
    expectEarlier(encode(planes.data(), 300, 200, 112, std::string(70000, 'x').c_str()));
    expectEarlier(WithoutFreeFileDescriptors([&] { return encode(planes.data(), 300, 200, 112); }));
    // Nothing of the failed calls is left in the way of the next one.
    ASSERT_TRUE(encode(planes.data(), 300, 200, 112, "earlier"));
    buffer = jpeg.GetJpegImageBuffer();
    ASSERT_EQ(jpeg.GetJpegImageSize(), stream.size());

    if (!CanFailAllocations()) GTEST_SKIP() << "allocation failures cannot be injected (operator new is replaced)";
    // No scanline buffer (3 x 111 bytes): the stream stands. No result buffer (the same
    // image again gives a stream of the same length): the stream is gone.
    ASSERT_NE(stream.size(), 3u * 111);
    expectEarlier(WithFailingAllocationOf(3 * 111, [&] { return encode(planes.data(), 300, 200, 111); }));
    auto again = [&] { return encode(planes.data(), 300, 200, 112, "earlier"); };
    EXPECT_FALSE(WithFailingAllocationOf(stream.size(), again));
    EXPECT_EQ(jpeg.GetJpegImageBuffer(), nullptr);
    EXPECT_EQ(jpeg.GetJpegImageSize(), 0u);
    EXPECT_EQ(jpeg.GetJpegImageWidth(), 112u);
}

TEST(PSDThumbnailRB, NewCreatedAndFailedBlocks) {
    const unsigned long widths[][2] = {
        {0, 0},  {1, 4},  {2, 8},     {3, 12},
        {4, 12}, {5, 16}, {112, 336}, {0x10000000UL, 0x30000000UL}};  // no 32-bit wrap of width x 24
    for (const auto& w : widths) EXPECT_EQ(psdkit::CalculatePaddedWidth(w[0]), w[1]) << w[0];
    std::vector<char> planes = Noise(300, 200, 13, true);
    PSDThumbnailRB block;
    EXPECT_EQ(Written(&block), Framed(Header(1, 0, 0, 0, 0, 0)).data);
    ASSERT_TRUE(block.CreateThumbnailFromData(112, 300, 200, planes.data()));
    std::vector<char> before = Written(&block);
    EXPECT_FALSE(block.CreateThumbnailFromData(0, 300, 200, planes.data()));
    EXPECT_EQ(Written(&block), before);

    if (!CanFailAllocations()) GTEST_SKIP() << "allocation failures cannot be injected (operator new is replaced)";
    // The same image again fails at the encoder's result buffer, which releases the stream Data points at.
    EXPECT_FALSE(WithFailingAllocationOf(block.GetCompressedSize(),
                                         [&] { return block.CreateThumbnailFromData(112, 300, 200, planes.data()); }));
    EXPECT_EQ(block.GetData(), nullptr);
    EXPECT_EQ(Written(&block).size(), 40u);
}

TEST(PSDThumbnailRB, ReadWrittenBackAndReported) {
    // A stream of 5 bytes: the data size 33 is odd, and a pad byte follows.
    Bytes bytes = Framed(Header(1, 160, 120, 480, 57600, 5).raw(std::vector<char>{1, 2, 3, 4, 5}));
    PSDThumbnailRB block;
    Read(bytes, &block);
    EXPECT_EQ(block.GetData(), block.GetDataBlock() + 28);
    EXPECT_EQ(Written(&block), bytes.data);
    EXPECT_EQ(psdtest::CaptureStdout([&block] { block.PrintInfo(); }),
              " 1036 - Thumbnail Resource\nFormat:JPEG\nWidth:160\nHeight:120\nWidth Bytes:480\nSize:57600\n"
              "CompressedSize:5\nBitsPixel:24\nPlanes:1\n");
    block.SetFormat(0);
    EXPECT_STREQ(block.GetFormatAsName(), "Raw RGB");
    block.SetFormat(2);
    EXPECT_STREQ(block.GetFormatAsName(), "Invalid");
}

TEST(PSDThumbnailRB, ReadBlocksStayWithinThemselves) {
    const std::vector<char> five = {1, 2, 3, 4, 5};
    // The block as read, whether it hands out a stream, and what it writes when not the same bytes.
    const struct {
        Bytes read;
        bool stream;
        Bytes written;
    } cases[] = {
        {Framed(Bytes().u32(1).u32(5).u16(5)), false, {}},  // shorter than a header
        {Framed(Bytes()), false, {}},
        {Framed(Header(1, 8, 8, 24, 192, 100).u16(0x0102)), false, {}},
        {Framed(Header(1, 1, 1, 4, 4, 2).u8(0xAA)), false, {}},  // 29 stated bytes: the pad byte is no stream
        {Framed(Header(1, 1, 1, 4, 4, 0xFFFFFFFF)), false, {}},
        {Framed(Header(1, 1, 1, 4, 4, 5).raw(five), "thumb"), true, {}},  // a name is kept
        {Framed(Header(0, 2, 2, 7, 9, 5).raw(five)), true, {}},  // other formats, WidthBytes and Size as stored
        {Framed(Header(7, 2, 2, 7, 9, 5).raw(five)), true, {}},
        // Bytes behind the stream: the block becomes header and stream.
        {Framed(Header(1, 1, 1, 4, 4, 5).raw(five).zeros(7)), true, Framed(Header(1, 1, 1, 4, 4, 5).raw(five))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(psdtest::Hex(c.read.data.data(), std::min<std::size_t>(c.read.size(), 40)));
        PSDThumbnailRB block;
        Read(c.read, &block);
        EXPECT_EQ(block.GetData() != nullptr, c.stream);
        std::vector<char> written = Written(&block);
        EXPECT_EQ(written.size(), block.GetResourceBlockSize());
        EXPECT_EQ(written, c.written.size() != 0 ? c.written.data : c.read.data);
    }
}

TEST(PSDThumbnailRB, CreatedStreamsOfOddAndEvenLength) {
    // Created over a block read with a name: only the image fields change (format 0 stays), the block
    // goes out with an empty name, and the size word counts the pad byte behind an odd stream.
    std::vector<char> planes = Noise(120, 90, 12, true);
    bool seen[2] = {false, false};
    for (unsigned long target = 100; target < 140 && !(seen[0] && seen[1]); ++target) {
        PSDThumbnailRB block;
        Read(Framed(Header(0, 1, 1, 4, 4, 1).u8(7), "old"), &block);
        ASSERT_TRUE(block.CreateThumbnailFromData(target, 120, 90, planes.data()));
        const unsigned long l = block.GetCompressedSize();
        seen[l % 2] = true;
        EXPECT_EQ(block.GetDataBlockSize(), l + 28 + l % 2) << l;
        EXPECT_EQ(block.GetResourceBlockSize(), l + 40 + l % 2) << l;
        Bytes payload = Header(0, target, block.GetHeight(), block.GetWidthBytes(), block.GetSize(), l);
        payload.raw(std::vector<char>(block.GetData(), block.GetData() + l)).zeros(l % 2);
        EXPECT_EQ(Written(&block), Framed(payload).data) << l;
    }
    EXPECT_TRUE(seen[0] && seen[1]);
}

TEST(ThumbnailFile, CommittedThumbnailDecodes) {
    std::vector<char> planes = Noise(300, 200, 21, false);
    psdtest::TempDir dir;
    std::string path = dir.Path("written.psd");
    {
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenWriteFile(path.c_str()));
        document.SetImageWidth(300);
        document.SetImageHeight(200);
        ASSERT_TRUE(document.SetImageData(planes.data(), planes.size()));
        ASSERT_TRUE(document.CommitWriteFile());  // attaches a thumbnail 112 wide
    }
    PhotoshopFile document;
    ASSERT_TRUE(document.OpenReadFile(path.c_str()));
    PSDThumbnailRB* block = FirstThumbnail(&document);
    ASSERT_NE(block, nullptr);
    const std::vector<char> stream(block->GetData(), block->GetData() + block->GetCompressedSize());
    std::string report = psdtest::CaptureStdout([block] { block->PrintInfo(); });
    EXPECT_EQ(report,
              " 1036 - Thumbnail Resource\nFormat:JPEG\nWidth:112\nHeight:75\nWidth Bytes:336\nSize:25200\n"
              "CompressedSize:" +
                  std::to_string(stream.size()) + "\nBitsPixel:24\nPlanes:1\n");
    Decoded image = Decode(stream.data(), stream.size());
    ASSERT_EQ(image.width, 112u);
    ASSERT_EQ(image.height, 75u);
    EXPECT_EQ(image.comments, std::vector<std::string>{"Larkmoore Imaging LLC"});
    // Independent noise in each plane: the luma of every pixel (which 4:2:0 keeps) follows
    // its own source pixel, so a wrong plane order or stride shows.
    auto luma = [](int r, int g, int b) { return 0.299 * r + 0.587 * g + 0.114 * b; };
    unsigned long bad = 0;
    for (unsigned long y = 0; y < 75; ++y)
        for (unsigned long x = 0; x < 112; ++x) {
            unsigned long i = static_cast<unsigned long>(static_cast<float>(y) * 2.6785715f) * 300 +
                              static_cast<unsigned long>(static_cast<float>(x) * 2.6785715f);
            double expected = luma(planes[i] & 0xFF, planes[60000 + i] & 0xFF, planes[120000 + i] & 0xFF);
            bad += std::abs(luma(image.At(x, y, 0), image.At(x, y, 1), image.At(x, y, 2)) - expected) > 4.0;
        }
    EXPECT_EQ(bad, 0u);
}

TEST(ThumbnailCorpus, BlocksReadWrittenBackAndExtracted) {
    PSDTEST_REQUIRE_CORPUS();
    psdtest::TempDir dir;
    unsigned long seen = 0;
    for (const nlohmann::json& facts : psdtest::CorpusFacts()) {
        if (!facts.value("valid", false) || !facts.contains("resources")) continue;
        const std::string name = facts["file"], path = psdtest::CorpusPath(name), output = dir.Path(name + ".jpg");
        SCOPED_TRACE(name);
        const nlohmann::json* fact = nullptr;
        for (const nlohmann::json& r : facts["resources"])
            if (fact == nullptr && r["id"] == 1036) fact = &r;
        psdtest::RunResult r = psdtest::RunCli({"thumbnail", path, output});
        if (fact == nullptr) {
            EXPECT_NE(r.err.find("no thumbnail"), std::string::npos) << r.err;
            continue;
        }
        ++seen;
        PhotoshopFile document;
        ASSERT_TRUE(document.OpenReadFile(path.c_str()));
        PSDThumbnailRB* block = FirstThumbnail(&document);
        ASSERT_NE(block, nullptr);
        ASSERT_NE(block->GetData(), nullptr);
        EXPECT_EQ(block->GetDataBlockSize(), (*fact)["data_size"].get<unsigned long>());
        // Written back unchanged: the block's bytes stand in the file as they are.
        std::vector<char> file = psdtest::ReadFile(path), written = Written(block);
        EXPECT_NE(std::search(file.begin(), file.end(), written.begin(), written.end()), file.end());
        // The command hands out the stream, which libjpeg decodes at the block's size.
        const std::vector<char> stream(block->GetData(), block->GetData() + block->GetCompressedSize());
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(psdtest::ReadFile(output), stream);
        Decoded image = Decode(stream.data(), stream.size());
        EXPECT_EQ(image.width, block->GetWidth());
        EXPECT_EQ(image.height, block->GetHeight());
    }
    EXPECT_GT(seen, 0u);
}
