// The layer walk's cost follows the records, not the pixels: reading a file of
// 1000 layers over a 4000 x 3000 canvas may take at most 1.5 times as long as
// reading a flat file with the same composite. Both files are made here and
// read in the same run, turn about.

#include <benchmark/benchmark.h>

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "psdkit/psdkit.h"

namespace {

const unsigned long WIDTH = 4000;
const unsigned long HEIGHT = 3000;
const unsigned LAYERS = 1000;

class Writer {
public:
    explicit Writer(std::vector<char>& out) : Out(out) {}
    Writer& U8(unsigned v) {
        Out.push_back(static_cast<char>(v));
        return *this;
    }
    Writer& U16(unsigned v) { return U8(v >> 8).U8(v); }
    Writer& U32(unsigned long v) {
        return U8(static_cast<unsigned>(v >> 24))
            .U8(static_cast<unsigned>(v >> 16))
            .U8(static_cast<unsigned>(v >> 8))
            .U8(static_cast<unsigned>(v));
    }
    Writer& Str(const std::string& s) {
        Out.insert(Out.end(), s.begin(), s.end());
        return *this;
    }
    Writer& Zeros(std::size_t n) {
        Out.insert(Out.end(), n, 0);
        return *this;
    }
    Writer& Raw(const std::vector<char>& bytes) {
        Out.insert(Out.end(), bytes.begin(), bytes.end());
        return *this;
    }

private:
    std::vector<char>& Out;
};

// A layer as Photoshop writes one: four channels of raw pixels, blending
// ranges for each, a name and nine additional-information entries.
void AppendRecord(std::vector<char>& out, unsigned index, unsigned long side) {
    std::string name = "Layer " + std::to_string(index);
    std::vector<char> extra;
    Writer e(extra);
    e.U32(0);                           // no mask
    e.U32(40).U32(0xFFFF).U32(0xFFFF);  // blending: gray and four channels
    for (int c = 0; c < 4; ++c) e.U32(0xFFFF).U32(0xFFFF);
    e.U8(static_cast<unsigned>(name.size())).Str(name);
    while (extra.size() % 4 != 0) e.U8(0);
    const std::pair<const char*, unsigned long> entries[] = {{"luni", 4 + 2 * name.size() + 2},
                                                             {"lyid", 4},
                                                             {"clbl", 4},
                                                             {"infx", 4},
                                                             {"knko", 4},
                                                             {"lspf", 4},
                                                             {"lclr", 8},
                                                             {"shmd", 72},
                                                             {"fxrp", 16}};
    for (const auto& entry : entries) {
        unsigned long length = (entry.second + 3) & ~3UL;
        e.Str("8BIM").Str(entry.first).U32(length).Zeros(length);
    }

    unsigned long top = (index * 7) % (HEIGHT - side);
    unsigned long left = (index * 13) % (WIDTH - side);
    Writer r(out);
    r.U32(top).U32(left).U32(top + side).U32(left + side).U16(4);
    for (unsigned id : {0xFFFFu, 0u, 1u, 2u}) r.U16(id).U32(2 + side * side);
    r.Str("8BIMnorm").U8(255).U8(0).U8(8).U8(0).U32(extra.size()).Raw(extra);
}

std::vector<char> Composite() {
    std::vector<char> out;
    Writer(out).U16(0).Raw(psdbench::MakePlanes(WIDTH, HEIGHT));
    return out;
}

// Header, empty colour mode data and resources, the layer section, the
// composite.
std::string WriteFile(const std::string& name, const std::vector<char>& layerSection) {
    std::vector<char> out;
    Writer(out).Str("8BPS").U16(1).Zeros(6).U16(3).U32(HEIGHT).U32(WIDTH).U16(8).U16(3).U32(0).U32(0);
    out.insert(out.end(), layerSection.begin(), layerSection.end());
    std::vector<char> composite = Composite();
    out.insert(out.end(), composite.begin(), composite.end());
    std::string path = psdbench::ScratchPath(name);
    std::ofstream file(path, std::ios_base::binary | std::ios_base::trunc);
    file.write(out.data(), static_cast<std::streamsize>(out.size()));
    return path;
}

const std::string& FlatFile() {
    static std::string path = WriteFile("psdkit-bench-layers-flat.psd", std::vector<char>(4, 0));
    return path;
}

// Layers of `side` x `side` pixels, each channel raw.
std::string LayeredFile(unsigned long side) {
    std::vector<char> info;
    Writer(info).U16(LAYERS);
    for (unsigned i = 0; i < LAYERS; ++i) AppendRecord(info, i, side);
    for (unsigned i = 0; i < LAYERS; ++i)
        for (int c = 0; c < 4; ++c) Writer(info).U16(0).Zeros(side * side);
    if (info.size() % 2 != 0) info.push_back(0);
    std::vector<char> section;
    Writer s(section);
    s.U32(4 + info.size() + 4 + 24).U32(info.size()).Raw(info);
    s.U32(0).Str("8BIMFMsk").U32(12).Zeros(12);  // no global mask, a tagged block behind it
    return WriteFile("psdkit-bench-layers-" + std::to_string(side) + ".psd", section);
}

// Seconds to read one file; negative when the read failed.
double TimeRead(const std::string& path, unsigned short layers) {
    auto start = std::chrono::steady_clock::now();
    psdkit::PhotoshopFile document;
    bool ok = document.OpenReadFile(path.c_str());
    benchmark::DoNotOptimize(document.GetImageData());
    auto end = std::chrono::steady_clock::now();
    ok = ok && document.GetLayers()->GetLayerCount() == layers && document.GetImageDataLen() == 3 * WIDTH * HEIGHT;
    return ok ? std::chrono::duration<double>(end - start).count() : -1.0;
}

void BM_ReadLayeredAgainstFlat(benchmark::State& state) {
    const std::string& flat = FlatFile();
    static std::string layered[3];
    int slot = state.range(0) <= 16 ? 0 : state.range(0) <= 64 ? 1 : 2;
    if (layered[slot].empty()) layered[slot] = LayeredFile(static_cast<unsigned long>(state.range(0)));
    double flatSeconds = 0;
    double layeredSeconds = 0;
    bool layeredFirst = false;
    for (auto _ : state) {
        // Alternating the order keeps caches and clocks from favouring one.
        double a = 0, b = 0;
        if (layeredFirst) {
            b = TimeRead(layered[slot], LAYERS);
            a = TimeRead(flat, 0);
        } else {
            a = TimeRead(flat, 0);
            b = TimeRead(layered[slot], LAYERS);
        }
        layeredFirst = !layeredFirst;
        if (a < 0 || b < 0) {
            state.SkipWithError("OpenReadFile failed");
            break;
        }
        flatSeconds += a;
        layeredSeconds += b;
    }
    if (flatSeconds > 0) {
        const double n = static_cast<double>(state.iterations());
        state.counters["flat_ms"] = benchmark::Counter(1e3 * flatSeconds / n);
        state.counters["layered_ms"] = benchmark::Counter(1e3 * layeredSeconds / n);
        // At most 1.5 is the goal.
        state.counters["ratio"] = benchmark::Counter(layeredSeconds / flatSeconds);
    }
}

}  // namespace

// Layers of 16 x 16 and 64 x 64 pixels, whose pixel data lies close enough
// to be read through, and of 128 x 128, where every channel costs a move of
// the stream and a refill of its buffer: 4000 of them weigh about as much as
// the 36 MB composite, so that row shows the cost per channel rather than
// meeting the 1.5.
BENCHMARK(BM_ReadLayeredAgainstFlat)->Arg(16)->Arg(64)->Arg(128)->Unit(benchmark::kMillisecond)->MinTime(2.0);
