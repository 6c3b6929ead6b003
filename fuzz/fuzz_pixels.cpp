// Fuzz target: a whole file, read, then its composite decoded under a small
// ceiling and converted to RGB. A decode that fails must still leave every
// plane readable and say why.

#include <cstddef>
#include <cstdint>

#include "FuzzSupport.h"
#include "psdkit/pixels/PSDPixels.h"
#include "psdkit/psdkit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    static psdfuzz::MemFile input("psdkit-fuzz-pixels");
    if (!input.Put(data, size)) return 0;
    psdkit::PhotoshopFile document;
    document.OpenReadFile(input.Path());
    psdkit::PSDPixels pixels;
    pixels.SetMaxBytes(64UL << 20);
    bool ok = pixels.DecodeComposite(document);
    if (!ok && pixels.GetNumProblems() == 0) psdfuzz::Fail("a problem line with false", 1, 0);
    for (unsigned short i = 0; i < pixels.GetNumPlanes(); ++i)
        psdfuzz::Touch(pixels.GetPlane(i), pixels.GetPlaneLength());
    for (unsigned long i = 0; i < pixels.GetNumProblems(); ++i) psdfuzz::Use(pixels.GetProblem(i));
    if (pixels.GetNumPlanes() != 0 && pixels.ConvertToRGB(8, true))
        psdfuzz::Touch(pixels.GetInterleaved(), pixels.GetInterleavedLength());
    return 0;
}
