#ifndef PSDKIT_RESOURCES_PSDDOCUMENTIDRB_H
#define PSDKIT_RESOURCES_PSDDOCUMENTIDRB_H

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// Block 1044: the document-specific ID seed, 4 payload bytes.
class PSDKIT_API PSDDocumentIDRB : public PSDResourceBlock {
public:
    static constexpr unsigned long PAYLOAD_SIZE = 4;

    PSDDocumentIDRB();
    ~PSDDocumentIDRB() override;

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    // The document ID, not the block's resource ID.
    void SetID(unsigned long id) { DocumentID = id; }
    unsigned long GetID() const { return DocumentID; }

private:
    unsigned long DocumentID;
};

}  // namespace psdkit

#endif
