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
    switch (SelectWriteForm(PAYLOAD_SIZE, false)) {
        case WRITE_RAW: WriteRawResourceBlock(); break;
        case WRITE_HEADER: WriteResourceBlockHeader(); break;
        case WRITE_FIELDS: {
            WriteResourceBlockHeader();
            // The flag byte and the pad byte that evens the payload.
            const char payload[2] = {static_cast<char>(Flag ? 1 : 0), 0};
            GetOutputStream()->write(payload, 2);
            break;
        }
    }
}

}  // namespace psdkit
