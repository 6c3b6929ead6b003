// No read allocates more than the file's size plus a small constant: a length
// read from a file is a claim, the file's own size is the fact. Each test here
// builds a small file in which one length field claims a huge size, reads it
// through PhotoshopFile::OpenReadFile and measures the peak heap growth of the
// read (see support/AllocCounter.h for how).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "psdkit/psdkit.h"
#include "support/AllocCounter.h"
#include "support/TestSupport.h"

using psdtest::Bytes;

namespace {

// What a read may use beyond the file's bytes: the file stream's buffer, the
// objects of the document, a few small blocks, the 64 KB that copies of ICC
// tags sharing bytes may take beyond the profile. Far below what any of the
// claims below would cost if believed.
const long long SLACK = 256 * 1024;

const unsigned long HUGE_CLAIMS[] = {0x7FFFFFFFUL, 0xFFFFFFFFUL};

struct Outcome {
    bool read;
    long long peak;
};

Outcome ReadMeasured(const std::string& path) {
    psdtest::PeakWatch watch;
    bool read;
    {
        psdkit::PhotoshopFile document;
        read = document.OpenReadFile(path.c_str());
    }
    return Outcome{read, watch.Growth()};
}

// Reads `file` and checks its peak against its size.
void ExpectBounded(const Bytes& file, const std::string& what) {
    psdtest::TempDir dir;
    std::string path = dir.Write("claim.psd", file);
    Outcome outcome = ReadMeasured(path);
    // Under valgrind the read still runs, for its memory checks; the count does not.
    if (!psdtest::AllocCounter::Active()) return;
    long long bound = static_cast<long long>(file.size()) + SLACK;
    EXPECT_LE(outcome.peak, bound) << what << ": the read of a " << file.size() << "-byte file allocated "
                                   << outcome.peak << " bytes at its peak (counted by "
                                   << psdtest::AllocCounter::Method() << ")";
}

Bytes Header() { return psdtest::PsdHeader(3, 2, 2, 8, 3); }

// A resource block with an empty name; `size` is what the size word claims.
Bytes Block(unsigned id, const Bytes& payload, unsigned long size) {
    Bytes b;
    b.str("8BIM").u16(id).u8(0).u8(0).u32(size).raw(payload);
    if (payload.size() % 2) b.u8(0);
    return b;
}
Bytes Block(unsigned id, const Bytes& payload) { return Block(id, payload, payload.size()); }

// Header, empty colour mode data, the given resources and layer sections, and
// a raw composite of 12 bytes (3 channels of 2 x 2).
Bytes File(const Bytes& resourceBlocks, const Bytes& layerSection) {
    Bytes f = Header();
    f.u32(0).u32(resourceBlocks.size()).raw(resourceBlocks).raw(layerSection);
    f.u16(0).zeros(12);
    return f;
}
Bytes EmptyLayers() { return Bytes().u32(0); }

// An ICC profile header of 128 bytes whose size field says `size`.
Bytes IccHeader(unsigned long size) {
    Bytes h;
    h.u32(size).str("Lino").u8(2).u8(0x10).zeros(2).str("mntr").str("RGB ").str("XYZ ");
    h.u16(1998).u16(2).u16(9).u16(6).u16(49).u16(0).str("acsp").str("MSFT").zeros(84);
    return h;
}

// One layer record with one channel and the given tail behind the blend
// fields: [extra data length][mask][blending][name][entries].
Bytes LayerRecord(unsigned long channelLength, const Bytes& extra) {
    Bytes r;
    r.u32(0).u32(0).u32(2).u32(2);    // top, left, bottom, right
    r.u16(1).u16(0).u32(channelLength);  // one channel: ID 0 and its length
    r.str("8BIM").str("norm").u8(255).u8(0).u8(8).u8(0);
    r.raw(extra);
    return r;
}

// A layer section around `info` (the layer count and records, and what
// follows them), with a zero global mask length.
Bytes LayerSection(const Bytes& info) {
    Bytes s;
    s.u32(4 + info.size() + 4).u32(info.size()).raw(info).u32(0);
    return s;
}

// Extra data of a record: no mask, no blending ranges, an empty name.
Bytes PlainExtra() {
    Bytes e;
    e.u32(0).u32(0).u8(0).zeros(3);
    return Bytes().u32(e.size()).raw(e);
}

}  // namespace

TEST(AllocationBound, SmallFileStaysSmall) {
    ExpectBounded(File(Bytes(), EmptyLayers()), "a flat 2 x 2 file");
}

TEST(AllocationBound, SectionLengths) {
    for (unsigned long claim : HUGE_CLAIMS) {
        std::string c = " " + std::to_string(claim);
        Bytes colorMode = Header();
        colorMode.u32(claim).zeros(64);
        ExpectBounded(colorMode, "colour mode data length" + c);

        Bytes resources = Header();
        resources.u32(0).u32(claim).raw(Block(1000, Bytes().zeros(8))).zeros(16);
        ExpectBounded(resources, "image resources length" + c);

        Bytes layers = Header();
        layers.u32(0).u32(0).u32(claim).u32(0).u32(0).zeros(16);
        ExpectBounded(layers, "layer section length" + c);

        ExpectBounded(File(Bytes(), Bytes().u32(64).u32(claim).u16(1).zeros(58)), "layer info length" + c);

        ExpectBounded(File(Bytes(), Bytes().u32(12).u32(0).u32(claim).zeros(4)), "global layer mask length" + c);
    }
}

TEST(AllocationBound, ResourceBlockSizes) {
    for (unsigned long claim : HUGE_CLAIMS) {
        std::string c = " " + std::to_string(claim);
        ExpectBounded(File(Block(1000, Bytes().zeros(16), claim), EmptyLayers()), "resource data size" + c);
        // The section and the block both claim it; the file does not hold it.
        Bytes both = Header();
        both.u32(0).u32(claim).raw(Block(1000, Bytes().zeros(16), claim)).zeros(16);
        ExpectBounded(both, "resource data size and section length" + c);
        // A decoded block: what its class makes of the claim.
        ExpectBounded(File(Block(1005, Bytes().zeros(16), claim), EmptyLayers()), "resolution block size" + c);
    }
    // A long name and a short block behind it.
    Bytes named = Header();
    Bytes block;
    block.str("8BIM").u16(1000).u8(255).zeros(255).u32(0x7FFFFFFF).zeros(8);
    named.u32(0).u32(block.size()).raw(block).u32(0).u16(0);
    ExpectBounded(named, "resource name of 255 bytes before a huge size");
}

TEST(AllocationBound, IccProfileAndTagSizes) {
    for (unsigned long claim : HUGE_CLAIMS) {
        std::string c = " " + std::to_string(claim);
        // Profile size field.
        ExpectBounded(File(Block(1039, IccHeader(claim).u32(0)), EmptyLayers()), "ICC profile size" + c);
        // Tag count, with two entries present.
        Bytes count = IccHeader(180);
        count.u32(claim).str("cprt").u32(156).u32(12).str("wtpt").u32(156).u32(12).str("text").zeros(8);
        ExpectBounded(File(Block(1039, count), EmptyLayers()), "ICC tag count" + c);
        // Tag size.
        Bytes size = IccHeader(164);
        size.u32(1).str("cprt").u32(144).u32(claim).str("text").zeros(16);
        ExpectBounded(File(Block(1039, size), EmptyLayers()), "ICC tag size" + c);
        // Tag offset.
        Bytes offset = IccHeader(164);
        offset.u32(1).str("cprt").u32(claim).u32(16).str("text").zeros(16);
        ExpectBounded(File(Block(1039, offset), EmptyLayers()), "ICC tag offset" + c);
        // Offset and size that wrap past zero together.
        Bytes wrap = IccHeader(164);
        wrap.u32(1).str("cprt").u32(claim).u32(0xFFFFFFFFUL - claim + 145).str("text").zeros(16);
        ExpectBounded(File(Block(1039, wrap), EmptyLayers()), "ICC tag offset + size wrapping" + c);
        // A curve whose count claims more entries than its tag holds.
        Bytes curve = IccHeader(164);
        curve.u32(1).str("rTRC").u32(144).u32(20).str("curv").u32(0).u32(claim).zeros(8);
        ExpectBounded(File(Block(1039, curve), EmptyLayers()), "ICC curve count" + c);
    }
}

TEST(AllocationBound, IccTagsSharingBytesDoNotMultiply) {
    // 300 table entries that all name the whole profile: believed one by one,
    // each copy is backed by the file, but together they are 300 times it.
    const unsigned long tags = 300;
    const unsigned long profileSize = 132 + 12 * tags + 400;
    Bytes profile = IccHeader(profileSize);
    profile.u32(tags);
    for (unsigned long i = 0; i < tags; ++i) profile.u32(0x74657374UL + i).u32(0).u32(profileSize);
    profile.zeros(400);
    ExpectBounded(File(Block(1039, profile), EmptyLayers()), "300 ICC tags over the same bytes");
}

TEST(AllocationBound, ThumbnailSizes) {
    for (unsigned long claim : HUGE_CLAIMS) {
        std::string c = " " + std::to_string(claim);
        Bytes compressed;
        compressed.u32(1).u32(160).u32(120).u32(480).u32(57600).u32(claim).u16(24).u16(1).zeros(10);
        ExpectBounded(File(Block(1036, compressed), EmptyLayers()), "thumbnail compressed size" + c);
        Bytes dimensions;
        dimensions.u32(0).u32(claim).u32(claim).u32(claim).u32(claim).u32(10).u16(24).u16(1).zeros(10);
        ExpectBounded(File(Block(1036, dimensions), EmptyLayers()), "thumbnail width, height and sizes" + c);
    }
}

TEST(AllocationBound, LayerCounts) {
    // Counts of records, channels and blending ranges with almost nothing behind them.
    for (unsigned count : {0x7FFFu, 0x8001u, 0xFFFFu}) {
        std::string c = " " + std::to_string(count);
        ExpectBounded(File(Bytes(), LayerSection(Bytes().u16(count).zeros(40))), "layer count" + c);
        Bytes channels;
        channels.u16(1).u32(0).u32(0).u32(2).u32(2).u16(count).zeros(40);
        ExpectBounded(File(Bytes(), LayerSection(channels)), "channel count" + c);
    }
}

TEST(AllocationBound, LayerRecordLengths) {
    for (unsigned long claim : HUGE_CLAIMS) {
        std::string c = " " + std::to_string(claim);
        ExpectBounded(File(Bytes(), LayerSection(Bytes().u16(1).raw(LayerRecord(claim, PlainExtra())))),
                      "layer channel length" + c);

        Bytes extra;
        extra.u32(claim).u32(0).u32(0).u8(0).zeros(3);
        ExpectBounded(File(Bytes(), LayerSection(Bytes().u16(1).raw(LayerRecord(2, extra)))), "extra data length" + c);

        Bytes mask;
        mask.u32(claim).zeros(20).u32(0).u8(0).zeros(3);
        ExpectBounded(File(Bytes(), LayerSection(Bytes().u16(1).raw(LayerRecord(2, Bytes().u32(32).raw(mask))))),
                      "mask length" + c);

        Bytes blending;
        blending.u32(0).u32(claim).zeros(16).u8(0).zeros(3);
        ExpectBounded(File(Bytes(), LayerSection(Bytes().u16(1).raw(LayerRecord(2, Bytes().u32(28).raw(blending))))),
                      "blending ranges length" + c);

        Bytes entry;
        entry.u32(0).u32(0).u8(0).zeros(3).str("8BIM").str("luni").u32(claim).zeros(8);
        ExpectBounded(File(Bytes(), LayerSection(Bytes().u16(1).raw(LayerRecord(2, Bytes().u32(32).raw(entry))))),
                      "additional information length" + c);
    }
    // Blending lengths below 8 and not a multiple of 8.
    for (unsigned long length : {1UL, 4UL, 7UL, 9UL}) {
        Bytes blending;
        blending.u32(0).u32(length).zeros(16).u8(0).zeros(3);
        ExpectBounded(File(Bytes(), LayerSection(Bytes().u16(1).raw(LayerRecord(2, Bytes().u32(28).raw(blending))))),
                      "blending ranges length " + std::to_string(length));
    }
}

TEST(AllocationBound, CompositeClaims) {
    // The header's dimensions claim gigabytes; the composite holds 12 bytes.
    for (unsigned compression : {0u, 1u, 2u, 3u}) {
        Bytes f = psdtest::PsdHeader(56, 0x7FFFFFFF, 0x7FFFFFFF, 32, 3);
        f.u32(0).u32(0).u32(0).u16(compression).zeros(12);
        ExpectBounded(f, "composite of 56 x 2^31 x 2^31 at 32 bits, compression " + std::to_string(compression));
    }
}

TEST(AllocationBound, CounterSeesTheReadsAllocations) {
    // Without this the bounds above could pass with a counter that counts
    // nothing: a 1 MB composite must show as at least 1 MB.
    if (!psdtest::AllocCounter::Active()) GTEST_SKIP() << "allocations cannot be counted under valgrind";
    Bytes f = Header();
    f.u32(0).u32(0).u32(0).u16(0).zeros(1 << 20);
    psdtest::TempDir dir;
    Outcome outcome = ReadMeasured(dir.Write("big.psd", f));
    EXPECT_TRUE(outcome.read);
    EXPECT_GE(outcome.peak, 1 << 20) << "counted by " << psdtest::AllocCounter::Method();
    EXPECT_LE(outcome.peak, static_cast<long long>(f.size()) + SLACK);
}
