#ifndef PSDKIT_RESOURCES_PSDGRIDGUIDESRB_H
#define PSDKIT_RESOURCES_PSDGRIDGUIDESRB_H

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// Block 1032: grid and guides header (version, grid cycles, guide count). The
// guide entries behind it stay in the raw data block.
class PSDKIT_API PSDGridGuidesRB : public PSDResourceBlock {
public:
    static constexpr unsigned long PAYLOAD_SIZE = 16;
    // Bytes of one guide entry behind the header: location and direction.
    static constexpr unsigned long GUIDE_ENTRY_SIZE = 5;

    PSDGridGuidesRB();
    ~PSDGridGuidesRB() override;

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    // X, then Y.
    void SetGridCycle(unsigned long x, unsigned long y) {
        GridCycleX = x;
        GridCycleY = y;
    }
    unsigned long GetGridCycleX() const { return GridCycleX; }
    unsigned long GetGridCycleY() const { return GridCycleY; }
    void SetGuideCount(unsigned long count) { GuideCount = count; }
    unsigned long GetGuideCount() const { return GuideCount; }
    void SetVersion(unsigned long version) { Version = version; }
    unsigned long GetVersion() const { return Version; }

private:
    // Guide entries the data block holds, up to the guide count.
    unsigned long GuidesHeld() const;
    // Bytes the fields take: the header and the entries held.
    unsigned long FieldsSize() const;

    unsigned long Version;
    unsigned long GridCycleX;
    unsigned long GridCycleY;
    unsigned long GuideCount;
};

}  // namespace psdkit

#endif
