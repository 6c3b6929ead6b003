// The layers part of psdkit info.

#include <iostream>

#include "Cli.h"

namespace psdkit {
namespace cli {

void PrintLayersReport(PSDLayers*) {}

}  // namespace cli
}  // namespace psdkit
