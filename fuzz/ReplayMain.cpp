// Runs a fuzz target without libFuzzer: every file named on the command line,
// and every file in every directory named there, once each, in name order.
// Used by ctest to replay the saved inputs and the seed corpora.
//
//   replay_<target> [--suffix .ext] PATH...
//
// --suffix keeps only files whose names end in .ext (in directories; files
// named directly always run). Missing paths are skipped with a note.

#include <dirent.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    std::string suffix;
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--suffix" && i + 1 < argc) {
            suffix = argv[++i];
        } else if (DIR* dir = opendir(arg.c_str())) {
            std::vector<std::string> names;
            while (dirent* entry = readdir(dir)) {
                std::string name = entry->d_name;
                bool kept = name.size() >= suffix.size() &&
                            name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
                if (name[0] != '.' && kept && entry->d_type != DT_DIR) names.push_back(arg + "/" + name);
            }
            closedir(dir);
            std::sort(names.begin(), names.end());
            inputs.insert(inputs.end(), names.begin(), names.end());
        } else if (std::ifstream(arg)) {
            inputs.push_back(arg);
        } else {
            std::fprintf(stderr, "replay: %s: not found, skipped\n", arg.c_str());
        }
    }
    for (const std::string& path : inputs) {
        std::ifstream in(path, std::ios_base::binary);
        std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::fprintf(stderr, "replay: %s (%zu bytes)\n", path.c_str(), bytes.size());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::fprintf(stderr, "replay: %zu inputs, all ended\n", inputs.size());
    return 0;
}
