// Builds the seed corpora of the fuzz targets from the PSD files of a folder:
//
//   psdkit_fuzz_seeds CORPUS_DIR OUT_DIR
//
// OUT_DIR/file       the files themselves
// OUT_DIR/resources  each file's image resources section, from its length word
// OUT_DIR/icc        the payload of every 1039 block
// OUT_DIR/thumbnail  the payload of every 1036 block
// OUT_DIR/layers     each file's layer and mask section, from its length word
// OUT_DIR/pixels     the files themselves, for the composite decoder
// OUT_DIR/packbits   the first rows of each RLE composite, behind their size
// OUT_DIR/deflate    the first rows of each raw composite's first channel, as a
//                    stored zlib stream behind the six bytes of its form
//
// $PSDKIT_CORPUS, when set, takes the place of CORPUS_DIR. A missing corpus
// leaves the folders empty and is not an error: the targets then start from
// nothing, as on a fresh clone without the shared corpus.

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "PsdWalk.h"

namespace {

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

bool Save(const std::string& path, const std::vector<unsigned char>& bytes, std::size_t offset, std::size_t size) {
    std::ofstream out(path, std::ios_base::binary | std::ios_base::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data() + offset), static_cast<std::streamsize>(size));
    out.close();
    if (!out) std::fprintf(stderr, "psdkit_fuzz_seeds: cannot write %s\n", path.c_str());
    return static_cast<bool>(out);
}

unsigned Get16(const std::vector<unsigned char>& b, std::size_t at) { return b[at] << 8 | b[at + 1]; }
unsigned long Get32(const std::vector<unsigned char>& b, std::size_t at) {
    return static_cast<unsigned long>(Get16(b, at)) << 16 | Get16(b, at + 2);
}

// A zlib stream of stored blocks: no compressor needed.
std::vector<unsigned char> StoredZlib(const unsigned char* data, std::size_t size) {
    std::vector<unsigned char> out = {0x78, 0x01};
    std::size_t at = 0;
    do {
        std::size_t n = std::min<std::size_t>(size - at, 65535);
        bool last = at + n == size;
        out.push_back(last ? 1 : 0);
        out.push_back(n & 0xFF);
        out.push_back(n >> 8);
        out.push_back(~n & 0xFF);
        out.push_back((~n >> 8) & 0xFF);
        out.insert(out.end(), data + at, data + at + n);
        at += n;
    } while (at < size);
    unsigned long a = 1, b = 0;
    for (std::size_t i = 0; i < size; ++i) {
        a = (a + data[i]) % 65521;
        b = (b + a) % 65521;
    }
    unsigned long adler = b << 16 | a;
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back((adler >> shift) & 0xFF);
    return out;
}

// Seeds for the pixel codecs from the composite; the count of seeds made.
unsigned CompositeSeeds(const std::vector<unsigned char>& bytes, std::size_t composite, const std::string& out,
                        const std::string& stem, bool* ok) {
    if (composite == 0 || composite + 2 > bytes.size() || bytes.size() < 26) return 0;
    unsigned channels = Get16(bytes, 12), depth = Get16(bytes, 22);
    unsigned long rows = Get32(bytes, 14), columns = Get32(bytes, 18);
    if (depth != 1 && depth != 8 && depth != 16 && depth != 32) return 0;
    unsigned long rowBytes = depth == 1 ? (columns + 7) / 8 : columns * depth / 8;
    if (rowBytes > 0xFFFF || rows == 0 || channels == 0) return 0;
    unsigned compression = Get16(bytes, composite);
    std::size_t data = composite + 2;
    unsigned made = 0;
    if (compression == 1 && data + 2 * rows * channels <= bytes.size()) {
        std::size_t row = data + 2 * rows * channels;
        for (unsigned long r = 0; r < rows && r < 4; ++r) {
            unsigned long count = Get16(bytes, data + 2 * r);
            if (row + count > bytes.size()) break;
            std::vector<unsigned char> seed = {static_cast<unsigned char>(rowBytes >> 8),
                                               static_cast<unsigned char>(rowBytes)};
            seed.insert(seed.end(), bytes.begin() + row, bytes.begin() + row + count);
            *ok &= Save(out + "/packbits/" + stem + "-" + std::to_string(r) + ".rle", seed, 0, seed.size());
            row += count;
            ++made;
        }
    } else if (compression == 0 && columns <= 0xFFFF) {
        unsigned long take = std::min(rows, 16UL);
        if (data + take * rowBytes > bytes.size()) return 0;
        std::vector<unsigned char> plane(bytes.begin() + data, bytes.begin() + data + take * rowBytes);
        unsigned depthIndex = depth == 1 ? 0 : depth == 8 ? 1 : depth == 16 ? 2 : 3;
        std::vector<unsigned char> seed = {0,
                                           static_cast<unsigned char>(depthIndex),
                                           static_cast<unsigned char>(columns >> 8),
                                           static_cast<unsigned char>(columns),
                                           static_cast<unsigned char>(take >> 8),
                                           static_cast<unsigned char>(take)};
        std::vector<unsigned char> stream = StoredZlib(plane.data(), plane.size());
        seed.insert(seed.end(), stream.begin(), stream.end());
        *ok &= Save(out + "/deflate/" + stem + ".zlib", seed, 0, seed.size());
        ++made;
    }
    return made;
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
    const char* kinds[] = {"file", "resources", "icc", "thumbnail", "layers", "pixels", "packbits", "deflate"};
    mkdir(out.c_str(), 0755);
    for (const char* kind : kinds) mkdir((out + "/" + kind).c_str(), 0755);

    std::vector<std::string> names;
    if (DIR* dir = opendir(corpus.c_str())) {
        while (dirent* entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (EndsWith(name, ".psd") || EndsWith(name, ".psb")) names.push_back(name);
        }
        closedir(dir);
    } else {
        std::printf("psdkit_fuzz_seeds: no corpus at %s; seed folders left empty\n", corpus.c_str());
        return 0;
    }
    std::sort(names.begin(), names.end());

    bool ok = true;
    unsigned counts[6] = {0, 0, 0, 0, 0, 0};
    for (const std::string& name : names) {
        std::ifstream in(corpus + "/" + name, std::ios_base::binary);
        std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::string stem = name.substr(0, name.size() - 4);
        ok &= Save(out + "/file/" + name, bytes, 0, bytes.size());
        ok &= Save(out + "/pixels/" + name, bytes, 0, bytes.size());
        ++counts[0];
        psdwalk::Layout layout = psdwalk::Walk(bytes.data(), bytes.size());
        if (layout.resources.present) {
            ok &= Save(out + "/resources/" + stem + ".res", bytes, layout.resources.offset, layout.resources.size);
            ++counts[1];
        }
        unsigned icc = 0, thumbnail = 0;
        for (const psdwalk::Block& block : layout.blocks) {
            if (block.id == 1039) {
                ok &= Save(out + "/icc/" + stem + "-" + std::to_string(icc++) + ".icc", bytes, block.data.offset,
                           block.data.size);
                ++counts[2];
            } else if (block.id == 1036) {
                ok &= Save(out + "/thumbnail/" + stem + "-" + std::to_string(thumbnail++) + ".thumb", bytes,
                           block.data.offset, block.data.size);
                ++counts[3];
            }
        }
        if (layout.layers.present) {
            ok &= Save(out + "/layers/" + stem + ".layers", bytes, layout.layers.offset, layout.layers.size);
            ++counts[4];
        }
        counts[5] += CompositeSeeds(bytes, layout.composite, out, stem, &ok);
    }
    std::printf(
        "psdkit_fuzz_seeds: %u files, %u resource sections, %u ICC profiles, %u thumbnails, %u layer sections, "
        "%u codec seeds\n",
        counts[0], counts[1], counts[2], counts[3], counts[4], counts[5]);
    return ok ? 0 : 1;
}
