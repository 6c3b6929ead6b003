#ifndef PSDKIT_CORE_PSDCOLORMODE_H
#define PSDKIT_CORE_PSDCOLORMODE_H

#include "psdkit/core/PSDBaseSection.h"

namespace psdkit {

// The colour mode data section: read as a length and passed over, written empty.
class PSDKIT_API PSDColorMode : public PSDBaseSection {
public:
    PSDColorMode();
    ~PSDColorMode() override;
};

}  // namespace psdkit

#endif
