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

void PSDCopyrightFlagRB::WriteResourceBlock() {
    const char payload[PAYLOAD_SIZE] = {static_cast<char>(Flag ? 1 : 0)};
    WriteSelectedForm(payload, PAYLOAD_SIZE, false);
}

}  // namespace psdkit
