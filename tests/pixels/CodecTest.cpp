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

TEST(Deflate, PredictionOfEachDepth) {
    const struct {
        unsigned short depth;
        unsigned long width, rows;
        std::vector<char> stored, samples;
    } cases[] = {
        {8, 2, 2, B({5, 1, 7, 0xFF}), B({5, 6, 7, 6})},  // each row starts afresh
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
    char byte = 0;
    for (unsigned short depth : {0, 7, 24, 64}) EXPECT_FALSE(PSDDeflate::Unpredict(&byte, 1, 1, depth)) << depth;
}

TEST(Deflate, InflatesExactlyTheAskedSizeOrFails) {
    std::vector<char> plane = Noise(5000, 3);
    for (unsigned long i = 0; i < plane.size(); i += 3) plane[i] = 0;
    std::vector<char> stream;
    ASSERT_TRUE(PSDDeflate::Deflate(plane.data(), plane.size(), stream));
    std::vector<char> twice(plane), zeros(1 << 22), bomb, longStream;
    twice.insert(twice.end(), plane.begin(), plane.end());
    ASSERT_TRUE(PSDDeflate::Deflate(zeros.data(), zeros.size(), bomb));
    ASSERT_TRUE(PSDDeflate::Deflate(twice.data(), twice.size(), longStream));
    const struct {
        const char* what;
        std::vector<char> in;
        bool ok;
    } cases[] = {
        {"whole", stream, true},
        {"truncated", std::vector<char>(stream.begin(), stream.end() - 10), false},
        {"inflates to twice the plane", longStream, false},
        {"inflates to 4 MB", bomb, false},
        {"empty", {}, false},
        {"not zlib", plane, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<char> out(plane.size() + 64, GUARD);
        EXPECT_EQ(PSDDeflate::Inflate(c.in.data(), c.in.size(), out.data(), plane.size()), c.ok);
        EXPECT_TRUE(!c.ok || std::vector<char>(out.begin(), out.begin() + plane.size()) == plane);
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
    auto setCount = [](std::vector<char> c, unsigned long r, unsigned long v) {
        c[2 * r] = static_cast<char>(v >> 8);
        c[2 * r + 1] = static_cast<char>(v);
        return c;
    };
    struct Case {
        const char* what;
        std::vector<char> data;
        std::vector<unsigned long> badRows;  // zero-filled; all others intact
        long shift = 0;                      // rows after the first bad one hold the row this far before
    };
    std::vector<char> longer(code), damagedRun(code);
    longer.insert(longer.end(), 10, 'z');         // data behind the last row
    damagedRun[table] = static_cast<char>(0xF0);  // a run of 17 in a row of 5
    const std::vector<unsigned long> all = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    const Case cases[] = {
        {"intact", code, {}},
        {"table sums short of the data", longer, {}},
        // Row 5 starts where row 4 did: the rows behind decode their predecessor's bytes.
        {"a zero count", setCount(code, 4, 0), {4}, 1},
        {"last count past the data", setCount(code, rows - 1, 1000), {}},  // what the row needs is there
        {"data cut in the last row", std::vector<char>(code.begin(), code.end() - 3), {rows - 1}},
        {"first count runs past everything", setCount(code, 0, 0xFFFF), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
        {"run crosses the row end", damagedRun, {0}},
        {"table only", std::vector<char>(code.begin(), code.begin() + table), all},
        {"table cut short", std::vector<char>(code.begin(), code.begin() + table - 1), all},
    };
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
