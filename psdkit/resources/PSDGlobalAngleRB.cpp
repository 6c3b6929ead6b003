#include "psdkit/resources/PSDGlobalAngleRB.h"

#include <iostream>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDGlobalAngleRB::PSDGlobalAngleRB() : Angle(30) {}
PSDGlobalAngleRB::~PSDGlobalAngleRB() = default;

void PSDGlobalAngleRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "Global Angle:" << Angle << "\n";
}

void PSDGlobalAngleRB::ReadDataBlock() {
    PSDBoundedReader in(GetDataBlock(), ReadablePayloadSize());
    unsigned long value = 0;
    if (in.ReadLong(&value)) Angle = value;
}

void PSDGlobalAngleRB::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_READ_AS_RAW, PAYLOAD_SIZE); }

void PSDGlobalAngleRB::WriteResourceBlock() {
    char payload[PAYLOAD_SIZE];
    PSDUtil::LongToBuffer(Angle, payload);
    WriteUnderPolicy(WRITE_READ_AS_RAW, payload, PAYLOAD_SIZE);
}

}  // namespace psdkit
