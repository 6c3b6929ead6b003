#include "psdkit/resources/PSDCopyrightFlagRB.h"

#include <iostream>

namespace psdkit {

PSDCopyrightFlagRB::PSDCopyrightFlagRB() : Flag(false) {}
PSDCopyrightFlagRB::~PSDCopyrightFlagRB() = default;

void PSDCopyrightFlagRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "Copyrighted: - " << (Flag ? "True\n" : "False\n");
}

void PSDCopyrightFlagRB::ReadDataBlock() {
    if (ReadablePayloadSize() >= 1) Flag = FlagFromByte(GetDataBlock()[0]);
}

void PSDCopyrightFlagRB::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_READ_AS_RAW, PAYLOAD_SIZE); }

void PSDCopyrightFlagRB::WriteResourceBlock() {
    const char payload[PAYLOAD_SIZE] = {static_cast<char>(Flag ? 1 : 0)};
    WriteUnderPolicy(WRITE_READ_AS_RAW, payload, PAYLOAD_SIZE);
}

}  // namespace psdkit
