// Builds the seed corpora of the fuzz targets from the PSD files of a folder:
//
//   psdkit_fuzz_seeds CORPUS_DIR OUT_DIR
//
// OUT_DIR/file       the files themselves
// OUT_DIR/layerpix   the files again, for the layer pixel target
// OUT_DIR/resources  each file's image resources section, from its length word
// OUT_DIR/icc        the payload of every 1039 block
// OUT_DIR/thumbnail  the payload of every 1036 block
// OUT_DIR/layers     each file's layer and mask section, from its length word
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

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: psdkit_fuzz_seeds CORPUS_DIR OUT_DIR\n");
        return 2;
    }
    const char* env = std::getenv("PSDKIT_CORPUS");
    std::string corpus = (env != nullptr && *env != 0) ? env : argv[1];
    std::string out = argv[2];
    const char* kinds[] = {"file", "resources", "icc", "thumbnail", "layers", "layerpix"};
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
    unsigned counts[5] = {0, 0, 0, 0, 0};
    for (const std::string& name : names) {
        std::ifstream in(corpus + "/" + name, std::ios_base::binary);
        std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::string stem = name.substr(0, name.size() - 4);
        ok &= Save(out + "/file/" + name, bytes, 0, bytes.size());
        ok &= Save(out + "/layerpix/" + name, bytes, 0, bytes.size());
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
    }
    std::printf("psdkit_fuzz_seeds: %u files, %u resource sections, %u ICC profiles, %u thumbnails, %u layer sections\n",
                counts[0], counts[1], counts[2], counts[3], counts[4]);
    return ok ? 0 : 1;
}
