// replay_<target> [--suffix .ext] PATH...: the fuzz target without libFuzzer,
// once on each file named and on each file of each directory named (in name
// order, with --suffix only names ending in .ext). ctest replays the saved
// inputs and the seed corpora with it.

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "PsdWalk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    std::string suffix;
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--suffix" && i + 1 < argc) {
            suffix = argv[++i];
        } else if (std::ifstream(arg + "/.")) {
            for (const std::string& name : psdwalk::Files(arg, {suffix})) inputs.push_back(arg + "/" + name);
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
