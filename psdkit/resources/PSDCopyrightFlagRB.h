#ifndef PSDKIT_RESOURCES_PSDCOPYRIGHTFLAGRB_H
#define PSDKIT_RESOURCES_PSDCOPYRIGHTFLAGRB_H

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// Block 1034: whether the document is marked as copyrighted (payload byte 0).
class PSDKIT_API PSDCopyrightFlagRB : public PSDResourceBlock {
public:
    static constexpr unsigned long PAYLOAD_SIZE = 1;

    PSDCopyrightFlagRB();
    ~PSDCopyrightFlagRB() override;

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    void SetFlag(bool flag) { Flag = flag; }
    bool GetFlag() const { return Flag; }

private:
    bool Flag;
};

}  // namespace psdkit

#endif
