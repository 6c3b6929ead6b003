// Fuzz target: a whole file through PhotoshopFile::OpenReadFile, then every
// report and getter a host may call on what was read, also after a false; the
// composite decoded and converted (a false must say why); and when the read
// succeeded, every layer decoded with its mask and converted, and every
// channel of the first layers on its own. The ceiling is low so that a claim
// the file cannot back shows as a refusal, not a slow run.

#include <cstddef>
#include <cstdint>

#include "FuzzSupport.h"
#include "psdkit/psdkit.h"

namespace {

const unsigned long MAX_BYTES = 64UL << 20;

void DecodeLayers(psdkit::PhotoshopFile& document, psdkit::PSDLayers* layers, bool tagged) {
    if (layers == nullptr) return;
    for (unsigned short l = 0; l < layers->GetLayerCount() && l < 64; ++l) {
        psdkit::PSDPixels pixels;
        pixels.SetMaxBytes(MAX_BYTES);
        if (!tagged || document.GetLayers()->GetLayerCount() == 0) {
            psdfuzz::Use(static_cast<unsigned long>(pixels.DecodeLayer(document, l, true)));
            psdfuzz::Use(pixels.GetPlaneLength() + pixels.GetNumProblems());
            psdfuzz::Use(static_cast<unsigned long>(pixels.ConvertToRGB(8, true)));
        }
        for (unsigned short c = 0; c < layers->GetLayerRecordNumChannels(l) && c < 16; ++c) {
            bool ok =
                tagged ? pixels.DecodeTaggedLayerChannel(document, l, c) : pixels.DecodeLayerChannel(document, l, c);
            psdfuzz::Use(static_cast<unsigned long>(ok) + pixels.GetPlaneLength());
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    static psdfuzz::MemFile input("psdkit-fuzz-file");
    if (!input.Put(data, size)) return 0;
    psdkit::PhotoshopFile document;
    bool read = document.OpenReadFile(input.Path());
    psdfuzz::ExerciseDocument(&document);

    psdkit::PSDPixels pixels;
    pixels.SetMaxBytes(MAX_BYTES);
    bool ok = pixels.DecodeComposite(document);
    if (!ok && pixels.GetNumProblems() == 0) psdfuzz::Fail("a problem line with false", 1, 0);
    for (unsigned short i = 0; i < pixels.GetNumPlanes(); ++i)
        psdfuzz::Touch(pixels.GetPlane(i), pixels.GetPlaneLength());
    for (unsigned long i = 0; i < pixels.GetNumProblems(); ++i) psdfuzz::Use(pixels.GetProblem(i));
    if (pixels.GetNumPlanes() != 0 && pixels.ConvertToRGB(8, true))
        psdfuzz::Touch(pixels.GetInterleaved(), pixels.GetInterleavedLength());

    if (read) {
        DecodeLayers(document, document.GetLayers(), false);
        DecodeLayers(document, document.GetTaggedLayers(), true);
    }
    return 0;
}
