// replay_<target> [--suffix .ext] PATH...: the fuzz target without libFuzzer,
// once on each file named and on each file of each directory named (in name
// order, with --suffix only names ending in .ext). ctest replays the saved
// inputs and the seed corpora with it.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "PsdWalk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    std::string suffix;
    std::size_t inputs = 0;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--suffix" && i + 1 < argc) {
            suffix = argv[++i];
            continue;
        }
        const bool dir = std::filesystem::is_directory(arg);
        for (const std::string& name : dir ? psdwalk::Files(arg, {suffix}) : std::vector<std::string>{arg}) {
            const std::string path = dir ? arg + "/" + name : name;
            const std::vector<unsigned char> bytes = psdwalk::Load(path);
            std::fprintf(stderr, "replay: %s (%zu bytes)\n", path.c_str(), bytes.size());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++inputs;
        }
    }
    std::fprintf(stderr, "replay: %zu inputs, all ended\n", inputs);
    return 0;
}
