#ifndef PSDKIT_LAYERS_PSDLAYERS_H
#define PSDKIT_LAYERS_PSDLAYERS_H

#include "psdkit/core/PSDBaseSection.h"

namespace psdkit {

// The layer and mask information section.
class PSDKIT_API PSDLayers : public PSDBaseSection {
public:
    PSDLayers();
    ~PSDLayers() override;

    // Reads the length word and passes over the section. False only when the
    // file ends inside the section.
    bool ReadSection();
};

}  // namespace psdkit

#endif
