// Decoding every layer of a 20-layer 4000 x 3000 RLE file may take at most
// twice as long as copying the decoded bytes into fresh buffers. The file is
// made here; the baseline copies the same number of bytes in the same run.

#include <benchmark/benchmark.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"
#include "psdkit/pixels/PSDPlaneEncoder.h"
#include "psdkit/psdkit.h"

namespace {

const unsigned long WIDTH = 4000;
const unsigned long HEIGHT = 3000;
const unsigned LAYERS = 20;
const unsigned CHANNELS = 4;  // transparency and RGB

void Put(std::vector<char>& out, unsigned long value, int bytes) {
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) out.push_back(static_cast<char>(value >> shift));
}

// One channel as a layer stores it: code 1, its row table and rows. The
// content has runs of 16 and some literal stretches, as painted layers do.
std::vector<char> EncodedChannel(unsigned channel) {
    std::vector<char> plane(WIDTH * HEIGHT);
    for (unsigned long y = 0; y < HEIGHT; ++y)
        for (unsigned long x = 0; x < WIDTH; ++x)
            plane[y * WIDTH + x] = channel == 0        ? static_cast<char>(0xFF)
                                   : (x / 64) % 4 == 0 ? static_cast<char>(x * channel + y)
                                                       : static_cast<char>((x / 16) * channel ^ (y / 16));
    const char* planes[1] = {plane.data()};
    std::vector<char> rle;
    psdkit::PSDPlaneEncoder::EncodeRLE(planes, 1, WIDTH, HEIGHT, 8, rle);
    std::vector<char> out;
    Put(out, 1, 2);
    out.insert(out.end(), rle.begin(), rle.end());
    return out;
}

const std::string& LayeredFile() {
    static std::string path = [] {
        std::vector<std::vector<char>> channels;
        for (unsigned c = 0; c < CHANNELS; ++c) channels.push_back(EncodedChannel(c));
        std::vector<char> info;
        Put(info, LAYERS, 2);
        for (unsigned l = 0; l < LAYERS; ++l) {
            Put(info, 0, 4);
            Put(info, 0, 4);
            Put(info, HEIGHT, 4);
            Put(info, WIDTH, 4);
            Put(info, CHANNELS, 2);
            for (unsigned c = 0; c < CHANNELS; ++c) {
                Put(info, c == 0 ? 0xFFFF : c - 1, 2);
                Put(info, channels[c].size(), 4);
            }
            info.insert(info.end(), {'8', 'B', 'I', 'M', 'n', 'o', 'r', 'm'});
            Put(info, 0xFF000000UL, 4);  // opacity, clipping, flags, filler
            Put(info, 12, 4);            // extra: no mask, no blending ranges, name "L"
            Put(info, 0, 4);
            Put(info, 0, 4);
            info.insert(info.end(), {1, 'L', 0, 0});
        }
        std::string file = psdbench::ScratchPath("psdkit-bench-layerpixels.psd");
        std::ofstream out(file, std::ios_base::binary | std::ios_base::trunc);
        std::vector<char> head = {'8', 'B', 'P', 'S', 0, 1, 0, 0, 0, 0, 0, 0};
        Put(head, 3, 2);
        Put(head, HEIGHT, 4);
        Put(head, WIDTH, 4);
        Put(head, 8, 2);
        Put(head, 3, 2);
        Put(head, 0, 4);  // colour mode data
        Put(head, 0, 4);  // image resources
        unsigned long data = 0;
        for (const auto& c : channels) data += c.size();
        unsigned long infoLength = info.size() + data * LAYERS;
        unsigned long pad = infoLength % 2;
        Put(head, 4 + infoLength + pad + 4, 4);
        Put(head, infoLength + pad, 4);
        out.write(head.data(), static_cast<std::streamsize>(head.size()));
        out.write(info.data(), static_cast<std::streamsize>(info.size()));
        for (unsigned l = 0; l < LAYERS; ++l)
            for (const auto& c : channels) out.write(c.data(), static_cast<std::streamsize>(c.size()));
        std::vector<char> tail(pad + 4, 0);  // padding, no global mask
        Put(tail, 0, 2);                     // raw composite of one row's worth; never decoded here
        out.write(tail.data(), static_cast<std::streamsize>(tail.size()));
        return file;
    }();
    return path;
}

// Arg 0: the fresh buffers come from new[]; arg 1: from the planes' own
// allocator, which asks for huge pages, so that the ratio shows the decoding
// alone and not the page faults the decoder avoids.
void BM_DecodeAllLayersAgainstMemcpy(benchmark::State& state) {
    const bool sameAllocator = state.range(0) != 0;
    psdkit::PhotoshopFile doc;
    if (!doc.OpenReadFile(LayeredFile().c_str()) || doc.GetLayers()->GetLayerCount() != LAYERS) {
        state.SkipWithError("the layered file cannot be read");
        return;
    }
    const unsigned long layerBytes = WIDTH * HEIGHT * CHANNELS;
    std::vector<char> decoded(layerBytes, 1);
    bool ok = true;
    auto baseline = [&] {
        for (unsigned l = 0; l < LAYERS; ++l) {
            if (sameAllocator) {
                char* fresh = psdkit::PSDPlaneDecoder::AllocatePlaneMemory(layerBytes);
                std::memcpy(fresh, decoded.data(), layerBytes);
                benchmark::DoNotOptimize(fresh);
                psdkit::PSDPlaneDecoder::FreePlaneMemory(fresh);
            } else {
                std::unique_ptr<char[]> fresh(new char[layerBytes]);
                std::memcpy(fresh.get(), decoded.data(), layerBytes);
                benchmark::DoNotOptimize(fresh.get());
            }
        }
    };
    auto subject = [&] {
        for (unsigned short l = 0; l < LAYERS; ++l) {
            psdkit::PSDPixels pixels;
            ok = pixels.DecodeLayer(doc, l) && pixels.GetNumPlanes() == CHANNELS && ok;
            benchmark::DoNotOptimize(pixels.GetPlane(0));
        }
    };
    psdbench::RunAgainstBaseline(state, baseline, subject, 2);
    if (!ok) state.SkipWithError("a layer did not decode");
    state.SetBytesProcessed(static_cast<long>(state.iterations()) * 2 * LAYERS * layerBytes);
}

}  // namespace

BENCHMARK(BM_DecodeAllLayersAgainstMemcpy)
    ->Arg(0)
    ->Arg(1)
    ->Iterations(2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
