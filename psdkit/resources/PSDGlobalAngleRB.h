#ifndef PSDKIT_RESOURCES_PSDGLOBALANGLERB_H
#define PSDKIT_RESOURCES_PSDGLOBALANGLERB_H

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// Block 1037: the global lighting angle, 4 payload bytes.
class PSDKIT_API PSDGlobalAngleRB : public PSDResourceBlock {
public:
    static constexpr unsigned long PAYLOAD_SIZE = 4;

    PSDGlobalAngleRB();
    ~PSDGlobalAngleRB() override;

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    void SetAngle(unsigned long angle) { Angle = angle; }
    unsigned long GetAngle() const { return Angle; }

private:
    unsigned long Angle;
};

}  // namespace psdkit

#endif
