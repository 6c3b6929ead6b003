// psdkit_fuzz_seeds CORPUS_DIR OUT_DIR ($PSDKIT_CORPUS first): fills OUT_DIR/<target>
// with the corpus files (also for the pixel and layer pixel targets), their resources and layer sections, 1039 and 1036
// payloads, and the first rows of each composite in the form the codec targets
// take. A missing corpus leaves the folders empty: the targets start from nothing.

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <zlib.h>

#include "PsdWalk.h"

namespace {

unsigned saved = 0;

bool Save(const std::string& path, const std::vector<unsigned char>& bytes, std::size_t offset, std::size_t size) {
    std::ofstream out(path, std::ios_base::binary | std::ios_base::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data() + offset), static_cast<std::streamsize>(size));
    out.close();
    ++saved;
    if (!out) std::fprintf(stderr, "psdkit_fuzz_seeds: cannot write %s\n", path.c_str());
    return static_cast<bool>(out);
}

// Seeds for the pixel codecs from the composite.
void CompositeSeeds(const std::vector<unsigned char>& bytes, std::size_t composite, const std::string& out,
                    const std::string& stem, bool* ok) {
    if (composite == 0 || composite + 2 > bytes.size() || bytes.size() < 26) return;
    unsigned channels = psdwalk::U16(bytes.data() + 12), depth = psdwalk::U16(bytes.data() + 22);
    unsigned long rows = psdwalk::U32(bytes.data() + 14), columns = psdwalk::U32(bytes.data() + 18);
    if (depth != 1 && depth != 8 && depth != 16 && depth != 32) return;
    unsigned long rowBytes = depth == 1 ? (columns + 7) / 8 : columns * depth / 8;
    if (rowBytes > 0xFFFF || rows == 0 || channels == 0) return;
    unsigned compression = psdwalk::U16(bytes.data() + composite);
    std::size_t data = composite + 2;
    if (compression == 1 && data + 2 * rows * channels <= bytes.size()) {
        std::size_t row = data + 2 * rows * channels;
        for (unsigned long r = 0; r < rows && r < 4; ++r) {
            unsigned long count = psdwalk::U16(bytes.data() + data + 2 * r);
            if (row + count > bytes.size()) break;
            std::vector<unsigned char> seed = {static_cast<unsigned char>(rowBytes >> 8),
                                               static_cast<unsigned char>(rowBytes)};
            seed.insert(seed.end(), bytes.begin() + row, bytes.begin() + row + count);
            *ok &= Save(out + "/packbits/" + stem + "-" + std::to_string(r) + ".rle", seed, 0, seed.size());
            row += count;
        }
    } else if (compression == 0 && columns <= 0xFFFF) {
        unsigned long take = std::min(rows, 16UL);
        if (data + take * rowBytes > bytes.size()) return;
        std::vector<unsigned char> plane(bytes.begin() + data, bytes.begin() + data + take * rowBytes);
        unsigned depthIndex = depth == 1 ? 0 : depth == 8 ? 1 : depth == 16 ? 2 : 3;
        std::vector<unsigned char> seed = {0, static_cast<unsigned char>(depthIndex)};
        for (unsigned long v : {columns, take})
            seed.insert(seed.end(), {static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)});
        uLongf length = compressBound(plane.size());
        seed.resize(6 + length);
        compress(seed.data() + 6, &length, plane.data(), plane.size());
        seed.resize(6 + length);
        *ok &= Save(out + "/deflate/" + stem + ".zlib", seed, 0, seed.size());
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: psdkit_fuzz_seeds CORPUS_DIR OUT_DIR\n");
        return 2;
    }
    const char* env = std::getenv("PSDKIT_CORPUS");
    std::string corpus = (env != nullptr && *env != 0) ? env : argv[1];
    std::string out = argv[2];
    const char* kinds[] = {"file",   "resources", "icc",     "thumbnail", "layers",
                           "pixels", "packbits",  "deflate", "layerpix"};
    mkdir(out.c_str(), 0755);
    for (const char* kind : kinds) mkdir((out + "/" + kind).c_str(), 0755);

    const std::vector<std::string> names = psdwalk::Files(corpus, {".psd", ".psb"});
    if (names.empty()) std::printf("psdkit_fuzz_seeds: no corpus at %s; seed folders left empty\n", corpus.c_str());

    bool ok = true;
    for (const std::string& name : names) {
        std::ifstream in(corpus + "/" + name, std::ios_base::binary);
        std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::string stem = name.substr(0, name.size() - 4);
        ok &= Save(out + "/file/" + name, bytes, 0, bytes.size());
        ok &= Save(out + "/pixels/" + name, bytes, 0, bytes.size());
        ok &= Save(out + "/layerpix/" + name, bytes, 0, bytes.size());
        psdwalk::Layout layout = psdwalk::Walk(bytes.data(), bytes.size());
        if (layout.resources.present)
            ok &= Save(out + "/resources/" + stem + ".res", bytes, layout.resources.offset, layout.resources.size);
        unsigned n = 0;
        for (const psdwalk::Block& block : layout.blocks)
            if (block.id == 1039 || block.id == 1036) {
                const bool icc = block.id == 1039;
                ok &= Save(out + (icc ? "/icc/" : "/thumbnail/") + stem + "-" + std::to_string(n++) +
                               (icc ? ".icc" : ".thumb"),
                           bytes, block.data.offset, block.data.size);
            }
        if (layout.layers.present)
            ok &= Save(out + "/layers/" + stem + ".layers", bytes, layout.layers.offset, layout.layers.size);
        CompositeSeeds(bytes, layout.composite, out, stem, &ok);
    }
    std::printf("psdkit_fuzz_seeds: %zu files, %u seeds\n", names.size(), saved);
    return ok ? 0 : 1;
}
