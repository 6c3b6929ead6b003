// psdkit thumbnail: the JPEG thumbnail of a PSD file.

#include "Cli.h"

namespace psdkit {
namespace cli {

int RunThumbnail(const std::vector<std::string>&) { return Fail(EXIT_USAGE, "thumbnail: not available yet"); }

}  // namespace cli
}  // namespace psdkit
