// Fuzz target: a whole file through PhotoshopFile::OpenReadFile, then every
// report and getter a host may call on what was read, also after a false.

#include <cstddef>
#include <cstdint>

#include "Exercise.h"
#include "FuzzSupport.h"
#include "psdkit/psdkit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    static psdfuzz::MemFile input("psdkit-fuzz-file");
    if (!input.Put(data, size)) return 0;
    psdkit::PhotoshopFile document;
    bool read = document.OpenReadFile(input.Path());
    psdfuzz::Use(static_cast<unsigned long>(read));
    psdfuzz::ExerciseDocument(&document);
    return 0;
}
