// PackBits, deflate and prediction, and the buffer-level plane decoder over
// damaged input. Expected bytes come from the format's definition of the codes.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "psdkit/pixels/PSDDeflate.h"
#include "psdkit/pixels/PSDPackBits.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"
#include "psdkit/pixels/PSDPlaneEncoder.h"
#include "support/TestSupport.h"

using psdkit::PSDDeflate;
using psdkit::PSDPackBits;
using psdkit::PSDPlaneDecoder;
using psdkit::PSDPlaneEncoder;

namespace {

std::vector<char> B(std::initializer_list<int> bytes) {
    std::vector<char> out;
    for (int b : bytes) out.push_back(static_cast<char>(b));
    return out;
}

std::vector<char> Noise(std::size_t n, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<char> out(n);
    for (auto& c : out) c = static_cast<char>(random() & 0xFF);
    return out;
}

const char GUARD = static_cast<char>(0xEE);

}  // namespace

TEST(PackBits, DecodesRowsAndStopsAtEitherEnd) {
    const struct {
        const char* what;
        std::vector<char> in;
        unsigned long rowBytes;
        bool ok;
        std::vector<char> row;  // the row's bytes afterwards (those decoded so far)
    } cases[] = {
        {"literal", B({0x02, 'a', 'b', 'c'}), 3, true, B({'a', 'b', 'c'})},
        {"run", B({0xFE, 'x'}), 3, true, B({'x', 'x', 'x'})},
        {"longest run", B({0x81, 'x'}), 128, true, std::vector<char>(128, 'x')},
        {"-128 is skipped", B({0x80, 0x00, 'a'}), 1, true, B({'a'})},
        {"run then literal", B({0xFF, 'x', 0x01, 'a', 'b'}), 4, true, B({'x', 'x', 'a', 'b'})},
        {"input left over is ignored", B({0x00, 'a', 0x00, 'b'}), 1, true, B({'a'})},
        {"empty row, no input", B({}), 0, true, B({})},
        {"literal past the row", B({0x02, 'a', 'b', 'c'}), 2, false, B({GUARD, GUARD})},
        {"run past the row", B({0xFD, 'x'}), 3, false, B({GUARD, GUARD, GUARD})},
        {"literal past the input", B({0x03, 'a', 'b'}), 4, false, B({GUARD, GUARD, GUARD, GUARD})},
        {"run without its byte", B({0x00, 'a', 0xFE}), 4, false, B({'a', GUARD, GUARD, GUARD})},
        {"row decodes short", B({0x00, 'a'}), 2, false, B({'a', GUARD})},
        {"no input", B({}), 1, false, B({GUARD})},
        {"only no-ops", B({0x80, 0x80}), 1, false, B({GUARD})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<char> row(c.rowBytes + 8, GUARD);
        // The input sits at the end of its own buffer so a read past it shows under the sanitizers.
        std::vector<char> in(c.in);
        EXPECT_EQ(PSDPackBits::DecodeRow(in.data(), in.size(), row.data(), c.rowBytes), c.ok);
        EXPECT_EQ(std::vector<char>(row.begin(), row.begin() + c.rowBytes), c.row);
        EXPECT_EQ(std::vector<char>(row.begin() + c.rowBytes, row.end()), std::vector<char>(8, GUARD));
    }
}

TEST(PackBits, EncodeRoundTripsWithinItsBound) {
    for (unsigned long n : {0UL, 1UL, 2UL, 3UL, 127UL, 128UL, 129UL, 130UL, 255UL, 256UL, 257UL, 1000UL, 30000UL}) {
        std::vector<char> noise = Noise(n, static_cast<unsigned>(n));
        std::vector<char> mixed(n);
        for (unsigned long i = 0; i < n; ++i) mixed[i] = (i / 50) % 2 ? noise[i] : static_cast<char>(i / 200);
        std::vector<char> pairs(n);
        for (unsigned long i = 0; i < n; ++i) pairs[i] = static_cast<char>(i / 2);
        for (const auto& row : {noise, mixed, pairs, std::vector<char>(n, 7)}) {
            SCOPED_TRACE(n);
            std::vector<char> code(PSDPackBits::MaxEncodedLength(n));
            unsigned long written = PSDPackBits::EncodeRow(row.data(), n, code.data());
            ASSERT_LE(written, code.size());
            std::vector<char> back(n);
            EXPECT_TRUE(PSDPackBits::DecodeRow(code.data(), written, back.data(), n));
            EXPECT_EQ(back, row);
        }
    }
    // A flat row of 128 bytes is one run: two bytes.
    std::vector<char> flat(128, 'q'), code(PSDPackBits::MaxEncodedLength(128));
    EXPECT_EQ(PSDPackBits::EncodeRow(flat.data(), 128, code.data()), 2u);
    EXPECT_EQ(static_cast<unsigned char>(code[0]), 0x81);
}

TEST(Deflate, PredictionOfEachDepth) {
    const struct {
        unsigned short depth;
        unsigned long width, rows;
        std::vector<char> stored, samples;
    } cases[] = {
        {8, 3, 1, B({1, 1, 0xFF}), B({1, 2, 1})},
        {8, 2, 2, B({5, 1, 7, 0xFF}), B({5, 6, 7, 6})},  // each row starts afresh
        {16, 2, 1, B({0x00, 0x01, 0xFF, 0xFE}), B({0x00, 0x01, 0xFF, 0xFF})},
        {16, 3, 1, B({0x01, 0xFF, 0x00, 0x01, 0x00, 0x01}), B({0x01, 0xFF, 0x02, 0x00, 0x02, 0x01})},
        // 32 bits: the row's bytes as four planes, most significant first, one delta run.
        {32, 2, 1, B({0x01, 0x04, 0xFD, 0x04, 0xFD, 0x04, 0xFD, 0x04}), B({1, 2, 3, 4, 5, 6, 7, 8})},
        {32, 1, 2, B({1, 1, 1, 1, 9, 0xFF, 0, 0}), B({1, 2, 3, 4, 9, 8, 8, 8})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.depth) + " bits, width " + std::to_string(c.width));
        std::vector<char> data = c.stored;
        ASSERT_TRUE(PSDDeflate::Unpredict(data.data(), c.width, c.rows, c.depth));
        EXPECT_EQ(data, c.samples);
        ASSERT_TRUE(PSDDeflate::Predict(data.data(), c.width, c.rows, c.depth));
        EXPECT_EQ(data, c.stored);
    }
    // Odd widths round-trip at every depth.
    for (unsigned short depth : {8, 16, 32})
        for (unsigned long width : {1UL, 7UL, 33UL}) {
            std::vector<char> samples = Noise(width * depth / 8 * 5, width), data = samples;
            ASSERT_TRUE(PSDDeflate::Predict(data.data(), width, 5, depth));
            ASSERT_TRUE(PSDDeflate::Unpredict(data.data(), width, 5, depth));
            EXPECT_EQ(data, samples) << depth << " bits, width " << width;
        }
    char byte = 0;
    for (unsigned short depth : {0, 7, 24, 64}) EXPECT_FALSE(PSDDeflate::Unpredict(&byte, 1, 1, depth)) << depth;
}

TEST(Deflate, InflatesExactlyTheAskedSizeOrFails) {
    std::vector<char> plane = Noise(5000, 3);
    for (unsigned long i = 0; i < plane.size(); i += 3) plane[i] = 0;
    std::vector<char> stream;
    ASSERT_TRUE(PSDDeflate::Deflate(plane.data(), plane.size(), stream));
    std::vector<char> twice(plane);
    twice.insert(twice.end(), plane.begin(), plane.end());
    std::vector<char> bomb, longStream;
    std::vector<char> zeros(1 << 22);
    ASSERT_TRUE(PSDDeflate::Deflate(zeros.data(), zeros.size(), bomb));
    ASSERT_TRUE(PSDDeflate::Deflate(twice.data(), twice.size(), longStream));
    std::vector<char> corrupt(stream);
    corrupt[corrupt.size() / 2] ^= 0x55;
    corrupt[corrupt.size() / 2 + 1] ^= 0x55;
    const struct {
        const char* what;
        std::vector<char> in;
        bool ok;
    } cases[] = {
        {"whole", stream, true},           {"truncated", std::vector<char>(stream.begin(), stream.end() - 10), false},
        {"corrupt", corrupt, false},       {"inflates to twice the plane", longStream, false},
        {"inflates to 4 MB", bomb, false}, {"empty", {}, false},
        {"not zlib", plane, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<char> out(plane.size() + 64, GUARD);
        bool ok = PSDDeflate::Inflate(c.in.data(), c.in.size(), out.data(), plane.size());
        EXPECT_EQ(ok, c.ok);
        if (ok) {
            EXPECT_EQ(std::vector<char>(out.begin(), out.begin() + plane.size()), plane);
        }
        EXPECT_EQ(std::vector<char>(out.end() - 64, out.end()), std::vector<char>(64, GUARD));
    }
}

// A 3-channel 5x4 image, RLE-coded, then damaged; the rows not damaged must
// come out right and the damaged ones as zeros.
TEST(PlaneDecoder, DamagedRLEDecodesTheRest) {
    const unsigned long width = 5, height = 4;
    const unsigned short channels = 3;
    std::vector<char> image = Noise(width * height * channels, 9);
    for (unsigned long i = 0; i < width; ++i) image[i] = 'r';  // a run in row 0
    const char* planes[3] = {image.data(), image.data() + 20, image.data() + 40};
    std::vector<char> code;
    ASSERT_TRUE(PSDPlaneEncoder::EncodeRLE(planes, channels, width, height, 8, code));
    const unsigned long rows = height * channels, table = 2 * rows;
    auto count = [&](const std::vector<char>& c, unsigned long r) {
        return static_cast<unsigned long>(static_cast<unsigned char>(c[2 * r]) << 8 |
                                          static_cast<unsigned char>(c[2 * r + 1]));
    };
    auto setCount = [](std::vector<char>& c, unsigned long r, unsigned long v) {
        c[2 * r] = static_cast<char>(v >> 8);
        c[2 * r + 1] = static_cast<char>(v);
    };
    unsigned long total = code.size() - table;
    struct Case {
        const char* what;
        std::vector<char> data;
        std::vector<unsigned long> badRows;  // zero-filled; all others intact
        long shift = 0;                      // rows after the first bad one hold the row this far before
    };
    std::vector<Case> cases;
    cases.push_back({"intact", code, {}});
    {
        std::vector<char> c = code;
        c.insert(c.end(), 10, 'z');  // data behind the last row
        cases.push_back({"table sums short of the data", c, {}});
    }
    {
        std::vector<char> c = code;
        setCount(c, 4, 0);  // row 4 gets nothing, row 5 starts at row 4's bytes
        // Row 5 starts where row 4 did: the rows behind decode their predecessor's bytes.
        cases.push_back({"a zero count", c, {4}, 1});
    }
    {
        std::vector<char> c = code;
        setCount(c, rows - 1, count(c, rows - 1) + 1000);
        cases.push_back({"last count past the data", c, {}});  // what the row needs is there
    }
    {
        std::vector<char> c(code.begin(), code.end() - 3);
        cases.push_back({"data cut in the last row", c, {rows - 1}});
    }
    {
        std::vector<char> c = code;
        setCount(c, 0, 0xFFFF);
        cases.push_back({"first count runs past everything", c, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}});
    }
    {
        std::vector<char> c = code;
        c[table] = static_cast<char>(0xF0);  // a run of 17 in a row of 5
        cases.push_back({"run crosses the row end", c, {0}});
    }
    {
        std::vector<char> c(code.begin(), code.begin() + table);
        cases.push_back({"table only", c, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}});
    }
    {
        std::vector<char> c(code.begin(), code.begin() + table - 1);
        cases.push_back({"table cut short", c, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}});
    }
    ASSERT_GT(total, 0u);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<char> out(image.size() + 8, GUARD);
        char* outPlanes[3] = {out.data(), out.data() + 20, out.data() + 40};
        std::vector<std::string> problems;
        bool ok = PSDPlaneDecoder::DecodeImage(c.data.data(), c.data.size(), 1, width, height, channels, 8, outPlanes,
                                               &problems);
        EXPECT_EQ(ok, c.badRows.empty());
        EXPECT_EQ(problems.empty(), c.badRows.empty());
        for (unsigned long r = 0; r < rows; ++r) {
            bool bad = std::find(c.badRows.begin(), c.badRows.end(), r) != c.badRows.end();
            unsigned long from = !c.badRows.empty() && r > c.badRows[0] ? r - c.shift : r;
            std::vector<char> got(out.begin() + r * width, out.begin() + (r + 1) * width);
            std::vector<char> want =
                bad ? std::vector<char>(width, 0)
                    : std::vector<char>(image.begin() + from * width, image.begin() + (from + 1) * width);
            EXPECT_EQ(got, want) << "row " << r;
        }
        EXPECT_EQ(std::vector<char>(out.end() - 8, out.end()), std::vector<char>(8, GUARD));
    }
}

TEST(PlaneDecoder, EveryCompressionAndDepthOrAClearRefusal) {
    const unsigned long width = 7, height = 3;
    for (unsigned short depth : {1, 8, 16, 32}) {
        unsigned long planeLength = 0;
        ASSERT_TRUE(PSDPlaneDecoder::PlaneLength(width, height, depth, &planeLength));
        EXPECT_EQ(planeLength, (depth == 1 ? 1 : width * depth / 8) * height);
        std::vector<char> image = Noise(2 * planeLength, depth);
        const char* planes[2] = {image.data(), image.data() + planeLength};
        std::vector<char> rle, zip, predicted;
        ASSERT_TRUE(PSDPlaneEncoder::EncodeRLE(planes, 2, width, height, depth, rle));
        ASSERT_TRUE(PSDPlaneEncoder::EncodeZip(planes, 2, width, height, depth, false, zip));
        ASSERT_TRUE(PSDPlaneEncoder::EncodeZip(planes, 2, width, height, depth, true, predicted));
        const std::vector<char>* inputs[4] = {&image, &rle, &zip, &predicted};
        for (unsigned short compression = 0; compression < 4; ++compression) {
            SCOPED_TRACE(std::to_string(depth) + " bits, compression " + std::to_string(compression));
            std::vector<char> out(2 * planeLength, GUARD);
            // Planes apart from each other take the other deflate path.
            std::vector<char> second(planeLength, GUARD);
            char* outPlanes[2] = {out.data(), second.data()};
            const std::vector<char>& in = *inputs[compression];
            EXPECT_TRUE(
                PSDPlaneDecoder::DecodeImage(in.data(), in.size(), compression, width, height, 2, depth, outPlanes));
            EXPECT_EQ(0, std::memcmp(out.data(), image.data(), planeLength));
            EXPECT_EQ(second, std::vector<char>(image.begin() + planeLength, image.end()));
        }
    }
    char plane[64];
    const char data[16] = {};
    std::vector<std::string> problems;
    for (unsigned short depth : {0, 2, 7, 24, 64}) {
        EXPECT_FALSE(PSDPlaneDecoder::DecodeChannel(data, sizeof data, 0, 2, 2, depth, plane, &problems)) << depth;
        unsigned long length = 0;
        EXPECT_FALSE(PSDPlaneDecoder::PlaneLength(2, 2, depth, &length)) << depth;
    }
    EXPECT_FALSE(PSDPlaneDecoder::DecodeChannel(data, sizeof data, 4, 2, 2, 8, plane, &problems));
    EXPECT_FALSE(PSDPlaneDecoder::DecodeChannel(data, 3, 0, 2, 2, 8, plane, &problems));  // raw, short
    EXPECT_EQ(std::vector<char>(plane, plane + 4), B({0, 0, 0, 0}));
    EXPECT_FALSE(PSDPlaneDecoder::DecodeChannel(data, sizeof data, 2, 2, 2, 8, plane, &problems));  // not zlib
    EXPECT_EQ(problems.size(), 8u);
    // Sizes that overflow are refused, never wrapped.
    unsigned long length = 0;
    EXPECT_FALSE(PSDPlaneDecoder::PlaneLength(~0UL / 2, 3, 32, &length));
    EXPECT_FALSE(PSDPlaneDecoder::PlaneLength(1UL << 40, 1UL << 40, 8, &length));
    EXPECT_EQ(PSDPlaneEncoder::MaxRLELength(1UL << 40, 1UL << 40, 3, 8), 0u);
    // What the input can produce bounds what is allocated.
    EXPECT_TRUE(PSDPlaneDecoder::CanProduce(1, 1000, 64000));
    EXPECT_FALSE(PSDPlaneDecoder::CanProduce(1, 1000, 64001));
    EXPECT_TRUE(PSDPlaneDecoder::CanProduce(3, 1000, 1032000));
    EXPECT_FALSE(PSDPlaneDecoder::CanProduce(2, 1000, 1032001));
    EXPECT_FALSE(PSDPlaneDecoder::CanProduce(0, 0, 1));
    EXPECT_TRUE(PSDPlaneDecoder::CanProduce(0, 0, 0));
}

// psd-tools as a black box: it must decode our streams, and we must decode its
// own, for RLE, deflate and deflate with prediction at every depth.
TEST(Codecs, AgreeWithPsdTools) {
    const char* python = "/usr/bin/python3";
    if (!psdtest::HaveProgram(python) || psdtest::RunProgram({python, "-c", "import psd_tools"}).exitCode != 0)
        GTEST_SKIP() << "psd-tools not found for /usr/bin/python3 (Debian package python3-psd-tools)";
    psdtest::TempDir dir;
    struct Case {
        unsigned short compression, depth;
        unsigned long width, height;
        std::vector<char> plane;
    };
    std::vector<Case> cases;
    for (unsigned short compression : {1, 2, 3})
        for (unsigned short depth : {8, 16, 32})
            for (unsigned long width : {1UL, 7UL, 130UL}) {
                std::vector<char> plane = Noise(width * depth / 8 * 6, width + depth);
                for (unsigned long i = 0; i < plane.size() / 2; ++i) plane[i] = static_cast<char>(i / 5);
                cases.push_back({compression, depth, width, 6, plane});
            }
    std::string list;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const Case& c = cases[i];
        const char* planes[1] = {c.plane.data()};
        std::vector<char> ours;
        if (c.compression == 1)
            ASSERT_TRUE(PSDPlaneEncoder::EncodeRLE(planes, 1, c.width, c.height, c.depth, ours));
        else
            ASSERT_TRUE(PSDPlaneEncoder::EncodeZip(planes, 1, c.width, c.height, c.depth, c.compression == 3, ours));
        std::string base = dir.Path("case" + std::to_string(i));
        dir.Write("case" + std::to_string(i) + ".raw", c.plane);
        dir.Write("case" + std::to_string(i) + ".ours", ours);
        list += base + " " + std::to_string(c.compression) + " " + std::to_string(c.width) + " " +
                std::to_string(c.height) + " " + std::to_string(c.depth) + "\n";
    }
    std::string listPath = dir.Write("cases.txt", std::vector<char>(list.begin(), list.end()));
    const char* script = R"(
import sys
from psd_tools.compression import compress, decompress
for line in open(sys.argv[1]):
    base, comp, w, h, d = line.split()
    comp, w, h, d = int(comp), int(w), int(h), int(d)
    raw = open(base + ".raw", "rb").read()
    back = decompress(open(base + ".ours", "rb").read(), comp, w, h, d)
    print(base, "same" if bytes(back) == raw else "different")
    open(base + ".theirs", "wb").write(compress(raw, comp, w, h, d))
)";
    psdtest::RunResult r = psdtest::RunProgram({python, "-c", script, listPath});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE("compression " + std::to_string(c.compression) + ", " + std::to_string(c.depth) + " bits, width " +
                     std::to_string(c.width));
        std::string base = dir.Path("case" + std::to_string(i));
        EXPECT_NE(r.out.find(base + " same\n"), std::string::npos) << "psd-tools decodes ours differently";
        std::vector<char> theirs = psdtest::ReadFile(base + ".theirs");
        std::vector<char> plane(c.plane.size(), GUARD);
        EXPECT_TRUE(PSDPlaneDecoder::DecodeChannel(theirs.data(), theirs.size(), c.compression, c.width, c.height,
                                                   c.depth, plane.data()));
        EXPECT_EQ(plane, c.plane);
    }
}
