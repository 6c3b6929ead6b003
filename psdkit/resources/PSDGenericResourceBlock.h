#ifndef PSDKIT_RESOURCES_PSDGENERICRESOURCEBLOCK_H
#define PSDKIT_RESOURCES_PSDGENERICRESOURCEBLOCK_H

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// A block kept raw: its ID, sizes and padded payload, nothing decoded.
class PSDKIT_API PSDGenericResourceBlock : public PSDResourceBlock {
public:
    PSDGenericResourceBlock();
    ~PSDGenericResourceBlock() override;

    void PrintInfo() override;
    void ReadDataBlock() override;
    // Writes the block back as it was read, exactly GetResourceBlockSize()
    // bytes; a block with no sizes writes nothing.
    void WriteResourceBlock() override;
};

}  // namespace psdkit

#endif
