#include "psdkit/pixels/PSDPixels.h"

namespace psdkit {

PSDPixels::PSDPixels()
    : MaxBytes(DEFAULT_MAX_BYTES), Width(0), Height(0), Depth(0), Mode(0), PlaneLength(0), AlphaPlane(-1),
      InterleavedChannels(0) {}

PSDPixels::~PSDPixels() = default;

const char* PSDPixels::GetPlane(unsigned short i) const { return i < Planes.size() ? Planes[i].data() : nullptr; }

const char* PSDPixels::GetProblem(unsigned long i) const { return i < Problems.size() ? Problems[i].c_str() : nullptr; }

void PSDPixels::Clear() {
    Width = Height = PlaneLength = 0;
    Depth = Mode = 0;
    AlphaPlane = -1;
    Planes.clear();
    ColorTable.clear();
    Profile.clear();
    Interleaved.clear();
    InterleavedChannels = 0;
    Problems.clear();
}

bool PSDPixels::DecodeComposite(PhotoshopFile&) { return false; }
bool PSDPixels::DecodeLayerChannel(PhotoshopFile&, unsigned short, unsigned short) { return false; }
bool PSDPixels::DecodeLayer(PhotoshopFile&, unsigned short, bool) { return false; }
bool PSDPixels::DecodeTaggedLayerChannel(PhotoshopFile&, unsigned short, unsigned short) { return false; }
bool PSDPixels::ConvertToRGB(unsigned short, bool) { return false; }

}  // namespace psdkit
