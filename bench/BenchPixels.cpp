// The pixel codecs on a large image: decoding an 8000x6000 RGB composite, RLE
// and raw, and RLE-encoding its planes, each against a copy of the decoded
// bytes into a fresh buffer in the same run.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "psdkit/pixels/PSDPixels.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"
#include "psdkit/pixels/PSDPlaneEncoder.h"
#include "psdkit/psdkit.h"

namespace {

const unsigned long WIDTH = 8000;
const unsigned long HEIGHT = 6000;
const unsigned long PLANE = WIDTH * HEIGHT;

// The upper 60% gradients and noise, the lower 40% flat blocks: a photograph
// over a layout.
const std::vector<char>& Planes() {
    static std::vector<char> planes = [] {
        std::vector<char> p(3 * PLANE);
        std::minstd_rand random(7);
        for (unsigned long c = 0; c < 3; ++c)
            for (unsigned long y = 0; y < HEIGHT; ++y) {
                char* row = p.data() + c * PLANE + y * WIDTH;
                for (unsigned long x = 0; x < WIDTH; ++x) {
                    unsigned v;
                    if (y < HEIGHT * 6 / 10)
                        v = (x / 4 + y / 8 + c * 40) + ((x / 64 + y / 64) % 3 == 0 ? random() % 16 : 0);
                    else
                        v = ((x / 400 + y / 300) % 4) * 60 + c * 10;
                    row[x] = static_cast<char>(v);
                }
            }
        return p;
    }();
    return planes;
}

const char* const* PlanePointers() {
    static const char* pointers[3] = {Planes().data(), Planes().data() + PLANE, Planes().data() + 2 * PLANE};
    return pointers;
}

// A document holding the composite in the given compression, read once.
psdkit::PhotoshopFile& Document(unsigned short compression) {
    static std::unique_ptr<psdkit::PhotoshopFile> documents[2];
    std::unique_ptr<psdkit::PhotoshopFile>& document = documents[compression];
    if (!document) {
        std::string path = psdbench::ScratchPath("psdkit-bench-pixels-" + std::to_string(compression) + ".psd");
        std::vector<char> data = Planes();
        if (compression == psdkit::PSDImageData::COMPRESSION_RLE)
            psdkit::PSDPlaneEncoder::EncodeRLE(PlanePointers(), 3, WIDTH, HEIGHT, 8, data);
        psdkit::PhotoshopFile writer;
        writer.OpenWriteFile(path.c_str());
        writer.SetImageWidth(WIDTH);
        writer.SetImageHeight(HEIGHT);
        writer.SetImageCompression(compression);
        writer.SetImageData(data.data(), data.size());
        writer.CommitWriteFile();
        document.reset(new psdkit::PhotoshopFile());
        document->OpenReadFile(path.c_str());
    }
    return *document;
}

// The baseline: the decoded bytes copied into a freshly allocated buffer.
void CopyIntoFreshBuffer() {
    const std::vector<char>& planes = Planes();
    std::unique_ptr<char[]> buffer(new char[planes.size()]);
    std::memcpy(buffer.get(), planes.data(), planes.size());
    benchmark::DoNotOptimize(buffer.get());
}

// A stricter baseline: the same copy into memory allocated as the decoder
// allocates its planes (2 MB-aligned, huge pages advised), so that the ratio
// shows the decoding and not the page faults.
void CopyIntoPlaneMemory() {
    const std::vector<char>& planes = Planes();
    char* buffer = psdkit::PSDPlaneDecoder::AllocatePlaneMemory(planes.size());
    std::memcpy(buffer, planes.data(), planes.size());
    benchmark::DoNotOptimize(buffer);
    psdkit::PSDPlaneDecoder::FreePlaneMemory(buffer);
}

void Decode(benchmark::State& state, unsigned short compression, void (*baseline)()) {
    psdkit::PhotoshopFile& document = Document(compression);
    psdbench::RunAgainstBaseline(state, baseline, [&] {
        psdkit::PSDPixels pixels;
        if (!pixels.DecodeComposite(document) || pixels.GetPlaneLength() != PLANE ||
            std::memcmp(pixels.GetPlane(2) + PLANE - WIDTH, Planes().data() + 3 * PLANE - WIDTH, WIDTH) != 0)
            state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(pixels.GetPlane(0));
    });
}

// Target: ratio at most 2.
void BM_DecodeCompositeRLE(benchmark::State& state) {
    Decode(state, psdkit::PSDImageData::COMPRESSION_RLE, CopyIntoFreshBuffer);
}
// Target: ratio at most 1.2.
void BM_DecodeCompositeRaw(benchmark::State& state) {
    Decode(state, psdkit::PSDImageData::COMPRESSION_RAW, CopyIntoFreshBuffer);
}
void BM_DecodeCompositeRLE_PlaneMemoryBaseline(benchmark::State& state) {
    Decode(state, psdkit::PSDImageData::COMPRESSION_RLE, CopyIntoPlaneMemory);
}
void BM_DecodeCompositeRaw_PlaneMemoryBaseline(benchmark::State& state) {
    Decode(state, psdkit::PSDImageData::COMPRESSION_RAW, CopyIntoPlaneMemory);
}

void Encode(benchmark::State& state, void (*baseline)()) {
    psdbench::RunAgainstBaseline(state, baseline, [&] {
        unsigned long bound = psdkit::PSDPlaneEncoder::MaxRLELength(WIDTH, HEIGHT, 3, 8);
        char* out = psdkit::PSDPlaneDecoder::AllocatePlaneMemory(bound);
        if (!psdkit::PSDPlaneEncoder::EncodeRLE(PlanePointers(), 3, WIDTH, HEIGHT, 8, out))
            state.SkipWithError("encode failed");
        benchmark::DoNotOptimize(out);
        psdkit::PSDPlaneDecoder::FreePlaneMemory(out);
    });
}

// Target: ratio at most 4.
void BM_EncodeRLE(benchmark::State& state) { Encode(state, CopyIntoFreshBuffer); }
void BM_EncodeRLE_PlaneMemoryBaseline(benchmark::State& state) { Encode(state, CopyIntoPlaneMemory); }

}  // namespace

BENCHMARK(BM_DecodeCompositeRLE)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2);
BENCHMARK(BM_DecodeCompositeRaw)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2);
BENCHMARK(BM_EncodeRLE)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2);
BENCHMARK(BM_DecodeCompositeRLE_PlaneMemoryBaseline)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2);
BENCHMARK(BM_DecodeCompositeRaw_PlaneMemoryBaseline)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2);
BENCHMARK(BM_EncodeRLE_PlaneMemoryBaseline)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2);
