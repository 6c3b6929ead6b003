#ifndef PSDKIT_RESOURCES_PSDPRINTFLAGSRB_H
#define PSDKIT_RESOURCES_PSDPRINTFLAGSRB_H

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// Block 1011: a row of boolean print flags, one byte each.
class PSDKIT_API PSDPrintFlagsRB : public PSDResourceBlock {
public:
    static constexpr unsigned long PAYLOAD_SIZE = 8;

    PSDPrintFlagsRB();
    ~PSDPrintFlagsRB() override;

    // Reports every payload byte by name, not the fields.
    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    void SetPrintLabels(bool value) { PrintLabels = value; }
    bool GetPrintLabels() const { return PrintLabels; }
    void SetPrintCropMarks(bool value) { PrintCropMarks = value; }
    bool GetPrintCropMarks() const { return PrintCropMarks; }
    void SetPrintRegistrationMarks(bool value) { PrintRegistrationMarks = value; }
    bool GetPrintRegistrationMarks() const { return PrintRegistrationMarks; }
    void SetPrintNegative(bool value) { PrintNegative = value; }
    bool GetPrintNegative() const { return PrintNegative; }
    void SetPrintCaption(bool value) { PrintCaption = value; }
    bool GetPrintCaption() const { return PrintCaption; }

private:
    bool PrintLabels;
    bool PrintCropMarks;
    bool PrintRegistrationMarks;
    bool PrintNegative;
    bool PrintCaption;
};

// Names of the first eight payload bytes in the report.
PSDKIT_API extern char* Names[8];
// Name of every payload byte behind the eighth.
PSDKIT_API extern char* UNKNOWN_STR;

}  // namespace psdkit

#endif
