#include "psdkit/resources/PSDDocumentIDRB.h"

#include <iostream>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDDocumentIDRB::PSDDocumentIDRB() : DocumentID(1) {
    SetResourceID(RS_1044);
    SetDataBlockSize(PAYLOAD_SIZE);
}

PSDDocumentIDRB::~PSDDocumentIDRB() = default;

void PSDDocumentIDRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "Document ID:" << DocumentID << "\n";
}

void PSDDocumentIDRB::ReadDataBlock() {
    PSDBoundedReader in(GetDataBlock(), ReadablePayloadSize());
    unsigned long value = 0;
    if (in.ReadLong(&value)) DocumentID = value;
}

void PSDDocumentIDRB::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_READ_IF_EXACT, PAYLOAD_SIZE); }

void PSDDocumentIDRB::WriteResourceBlock() {
    char payload[PAYLOAD_SIZE];
    PSDUtil::LongToBuffer(DocumentID, payload);
    WriteUnderPolicy(WRITE_READ_IF_EXACT, payload, PAYLOAD_SIZE);
}

}  // namespace psdkit
