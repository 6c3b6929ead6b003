#include "psdkit/pixels/PSDColorConverter.h"

namespace psdkit {

unsigned long PSDColorConverter::InterleavedLength(const Source&, unsigned short, bool) { return 0; }

bool PSDColorConverter::ToRGB(const Source&, unsigned short, bool, char*) { return false; }

unsigned short PSDColorConverter::ColorPlanes(unsigned short mode) { return mode == 4 ? 4 : (mode == 3 || mode == 9) ? 3 : 1; }

}  // namespace psdkit
