// psdkit_fuzz_seeds CORPUS_DIR OUT_DIR ($PSDKIT_CORPUS first): fills OUT_DIR/<target>
// with the corpus files, their image resources sections, and the first rows of
// the first channel of each composite in the form fuzz_planes takes: RLE rows
// with their byte counts as stored, raw rows in a zlib stream.
// A missing corpus leaves the folders empty: the targets start from nothing.

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <zlib.h>

#include "PsdWalk.h"

namespace {

unsigned saved = 0;
bool ok = true;

void Save(const std::string& path, const unsigned char* data, std::size_t size) {
    std::ofstream out(path, std::ios_base::binary | std::ios_base::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    out.close();
    ++saved;
    if (!out) std::fprintf(stderr, "psdkit_fuzz_seeds: cannot write %s\n", path.c_str());
    ok &= static_cast<bool>(out);
}

// Seeds for fuzz_planes: its six-byte form, then the data.
void PlaneSeeds(const std::vector<unsigned char>& bytes, std::size_t composite, const std::string& stem) {
    const unsigned char* d = bytes.data();
    const std::size_t end = bytes.size(), data = composite + 2;
    if (composite == 0 || data > end) return;
    unsigned long rows = psdwalk::U32(d + 14), columns = psdwalk::U32(d + 18), take = std::min(rows, 16UL);
    unsigned depth = psdwalk::U16(d + 22), channels = psdwalk::U16(d + 12), compression = psdwalk::U16(d + composite);
    unsigned long rowBytes = depth == 1 ? (columns + 7) / 8 : columns * depth / 8;
    if ((depth != 1 && depth != 8 && depth != 16 && depth != 32) || columns > 0xFFFF || take == 0 || channels == 0)
        return;
    const unsigned char depthIndex = depth == 1 ? 0 : depth == 8 ? 1 : depth == 16 ? 2 : 3;
    using Byte = unsigned char;
    std::vector<Byte> seed = {1, depthIndex, Byte(columns >> 8), Byte(columns), 0, Byte(take)};
    if (compression == 1 && 2 * rows * channels <= end - data) {
        const std::size_t rowsAt = data + 2 * rows * channels;
        std::size_t length = 0;
        for (unsigned long r = 0; r < take; ++r) length += psdwalk::U16(d + data + 2 * r);
        if (length > end - rowsAt) return;
        seed.insert(seed.end(), d + data, d + data + 2 * take);
        seed.insert(seed.end(), d + rowsAt, d + rowsAt + length);
        Save(stem + "-rle.plane", seed.data(), seed.size());
    } else if (compression == 0 && take * rowBytes <= end - data) {
        uLongf length = compressBound(take * rowBytes);
        seed.resize(6 + length);
        seed[0] = 2;
        compress(seed.data() + 6, &length, d + data, take * rowBytes);
        Save(stem + "-zlib.plane", seed.data(), 6 + length);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: psdkit_fuzz_seeds CORPUS_DIR OUT_DIR\n");
        return 2;
    }
    const char* env = std::getenv("PSDKIT_CORPUS");
    const std::string corpus = (env != nullptr && *env != 0) ? env : argv[1], out = argv[2];
    mkdir(out.c_str(), 0755);
    for (const char* kind : {"file", "resources", "planes"}) mkdir((out + "/" + kind).c_str(), 0755);

    const std::vector<std::string> names = psdwalk::Files(corpus, {".psd", ".psb"});
    if (names.empty()) std::printf("psdkit_fuzz_seeds: no corpus at %s; seed folders left empty\n", corpus.c_str());
    for (const std::string& name : names) {
        const std::vector<unsigned char> bytes = psdwalk::Load(corpus + "/" + name);
        const std::string stem = name.substr(0, name.size() - 4);
        Save(out + "/file/" + name, bytes.data(), bytes.size());
        const psdwalk::Layout layout = psdwalk::Walk(bytes.data(), bytes.size());
        if (layout.resources != 0)
            Save(out + "/resources/" + stem + ".res", bytes.data() + layout.resources, layout.resourcesSize);
        PlaneSeeds(bytes, layout.composite, out + "/planes/" + stem);
    }
    std::printf("psdkit_fuzz_seeds: %zu files, %u seeds\n", names.size(), saved);
    return ok ? 0 : 1;
}
