#include "psdkit/core/PSDVersion.h"

namespace psdkit {

const char* PSDVersion::GetVersion() { return PSDKIT_VERSION; }

}  // namespace psdkit
