#include "psdkit/core/PSDColorMode.h"

namespace psdkit {

PSDColorMode::PSDColorMode() = default;
PSDColorMode::~PSDColorMode() = default;

}  // namespace psdkit
