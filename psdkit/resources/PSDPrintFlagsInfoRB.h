#ifndef PSDKIT_RESOURCES_PSDPRINTFLAGSINFORB_H
#define PSDKIT_RESOURCES_PSDPRINTFLAGSINFORB_H

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// Block 10000: the centre crop marks flag and the bleed width.
class PSDKIT_API PSDPrintFlagsInfoRB : public PSDResourceBlock {
public:
    static constexpr unsigned long PAYLOAD_SIZE = 10;

    PSDPrintFlagsInfoRB();
    ~PSDPrintFlagsInfoRB() override;

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    void SetCenterCropMarks(bool value) { CenterCropMarks = value; }
    bool GetCenterCropMarks() const { return CenterCropMarks; }
    void SetBleedWidthValue(unsigned long value) { BleedWidthValue = value; }
    unsigned long GetBleedWidthValue() const { return BleedWidthValue; }
    void SetBleedWidthScale(unsigned short scale) { BleedWidthScale = scale; }
    unsigned short GetBleedWidthScale() const { return BleedWidthScale; }

private:
    bool CenterCropMarks;
    unsigned long BleedWidthValue;
    unsigned short BleedWidthScale;
};

}  // namespace psdkit

#endif
