#include "psdkit/resources/PSDGridGuidesRB.h"

#include <iostream>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDGridGuidesRB::PSDGridGuidesRB() : Version(1), GridCycleX(576), GridCycleY(576), GuideCount(0) {}
PSDGridGuidesRB::~PSDGridGuidesRB() = default;

void PSDGridGuidesRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "Version:" << Version << "\n";
    std::cout << "GridCycleX:" << GridCycleX << "\n";
    std::cout << "GridCycleY:" << GridCycleY << "\n";
    std::cout << "GuideCount:" << GuideCount << "\n";
}

void PSDGridGuidesRB::ReadDataBlock() {
    // Field by field: a short payload leaves the later fields as they are.
    PSDBoundedReader in(GetDataBlock(), ReadablePayloadSize());
    unsigned long* fields[4] = {&Version, &GridCycleX, &GridCycleY, &GuideCount};
    for (unsigned long* field : fields) {
        unsigned long value = 0;
        if (!in.ReadLong(&value)) return;
        *field = value;
    }
}

void PSDGridGuidesRB::WriteResourceBlock() {
    char payload[PAYLOAD_SIZE];
    PSDUtil::LongToBuffer(Version, payload);
    PSDUtil::LongToBuffer(GridCycleX, payload + 4);
    PSDUtil::LongToBuffer(GridCycleY, payload + 8);
    PSDUtil::LongToBuffer(GuideCount, payload + 12);
    WriteSelectedForm(payload, PAYLOAD_SIZE, false);
}

}  // namespace psdkit
