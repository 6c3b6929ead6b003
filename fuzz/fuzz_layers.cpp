// Fuzz target: the layer and mask section alone, from its length word, then
// every accessor and AsName operation on every record it read.

#include <cstddef>
#include <cstdint>
#include <fstream>

#include "Exercise.h"
#include "FuzzSupport.h"
#include "psdkit/psdkit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    static psdfuzz::MemFile input("psdkit-fuzz-layers");
    if (!input.Put(data, size)) return 0;
    std::ifstream in(input.Path(), std::ios_base::in | std::ios_base::binary);
    if (!in) return 0;

    psdkit::PSDLayers layers;
    layers.SetStreams(&in, nullptr);
    bool read = layers.ReadSection();
    psdfuzz::Use(static_cast<unsigned long>(read));
    layers.SetStreams(nullptr, nullptr);
    psdfuzz::ExerciseLayers(&layers);
    return 0;
}
