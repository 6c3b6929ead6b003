#include "psdkit/resources/PSDLayerStateInfoRB.h"

#include <iostream>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

// The first layer (index 0) until a read or SetTargetLayer gives another.
PSDLayerStateInfoRB::PSDLayerStateInfoRB() : TargetLayer(0) {}
PSDLayerStateInfoRB::~PSDLayerStateInfoRB() = default;

void PSDLayerStateInfoRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "Active Layer:" << TargetLayer << "\n";
}

void PSDLayerStateInfoRB::ReadDataBlock() {
    PSDBoundedReader in(GetDataBlock(), ReadablePayloadSize());
    unsigned short value = 0;
    if (in.ReadShort(&value)) TargetLayer = value;
}

void PSDLayerStateInfoRB::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_READ_AS_RAW, PAYLOAD_SIZE); }

void PSDLayerStateInfoRB::WriteResourceBlock() {
    char payload[PAYLOAD_SIZE];
    PSDUtil::ShortToBuffer(TargetLayer, payload);
    WriteUnderPolicy(WRITE_READ_AS_RAW, payload, PAYLOAD_SIZE);
}

}  // namespace psdkit
