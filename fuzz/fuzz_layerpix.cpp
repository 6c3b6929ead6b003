// Fuzz target: a whole file, then every layer decoded with its mask and
// converted, and every channel of the first layers on its own. The ceiling is
// low so that a claim the file cannot back shows as a refusal, not a slow run.

#include <cstddef>
#include <cstdint>

#include "FuzzSupport.h"
#include "psdkit/psdkit.h"

namespace {

const unsigned long MAX_BYTES = 64UL << 20;
const unsigned short MAX_LAYERS = 64;
const unsigned short MAX_CHANNELS = 16;

void DecodeLayers(psdkit::PhotoshopFile& document, psdkit::PSDLayers* layers, bool tagged) {
    if (layers == nullptr) return;
    unsigned short count = layers->GetLayerCount() < MAX_LAYERS ? layers->GetLayerCount() : MAX_LAYERS;
    for (unsigned short l = 0; l < count; ++l) {
        psdkit::PSDPixels pixels;
        pixels.SetMaxBytes(MAX_BYTES);
        if (!tagged || document.GetLayers()->GetLayerCount() == 0) {
            psdfuzz::Use(static_cast<unsigned long>(pixels.DecodeLayer(document, l, true)));
            psdfuzz::Use(pixels.GetPlaneLength() + pixels.GetNumProblems());
            psdfuzz::Use(static_cast<unsigned long>(pixels.ConvertToRGB(8, true)));
        }
        unsigned short channels = layers->GetLayerRecordNumChannels(l);
        for (unsigned short c = 0; c < channels && c < MAX_CHANNELS; ++c) {
            bool ok =
                tagged ? pixels.DecodeTaggedLayerChannel(document, l, c) : pixels.DecodeLayerChannel(document, l, c);
            psdfuzz::Use(static_cast<unsigned long>(ok) + pixels.GetPlaneLength());
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    static psdfuzz::MemFile input("psdkit-fuzz-layerpix");
    if (!input.Put(data, size)) return 0;
    psdkit::PhotoshopFile document;
    if (!document.OpenReadFile(input.Path())) return 0;
    DecodeLayers(document, document.GetLayers(), false);
    DecodeLayers(document, document.GetTaggedLayers(), true);
    return 0;
}
