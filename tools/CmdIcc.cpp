// psdkit icc: the embedded ICC profile of a PSD file.

#include "Cli.h"

namespace psdkit {
namespace cli {

int RunIcc(const std::vector<std::string>&) { return Fail(EXIT_USAGE, "icc: not available yet"); }

}  // namespace cli
}  // namespace psdkit
