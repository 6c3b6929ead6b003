#ifndef PSDKIT_CORE_PSDVERSION_H
#define PSDKIT_CORE_PSDVERSION_H

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// The version of the library a host runs against, which may differ from the
// headers it was built with.
class PSDKIT_API PSDVersion {
public:
    // "major.minor.patch".
    static const char* GetVersion();
};

}  // namespace psdkit

#endif
