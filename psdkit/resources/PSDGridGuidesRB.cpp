#include "psdkit/resources/PSDGridGuidesRB.h"

#include <cstring>
#include <iostream>
#include <vector>

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

unsigned long PSDGridGuidesRB::GuidesHeld() const {
    unsigned long payload = ReadablePayloadSize();
    unsigned long held = payload > PAYLOAD_SIZE ? (payload - PAYLOAD_SIZE) / GUIDE_ENTRY_SIZE : 0;
    return GuideCount < held ? GuideCount : held;
}

unsigned long PSDGridGuidesRB::FieldsSize() const { return PAYLOAD_SIZE + GUIDE_ENTRY_SIZE * GuidesHeld(); }

void PSDGridGuidesRB::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_READ_AS_RAW, FieldsSize()); }

void PSDGridGuidesRB::WriteResourceBlock() {
    // The count written is the number of entries that go with it: a readable
    // block, never a count without its entries.
    const unsigned long guides = GuidesHeld();
    std::vector<char> payload(FieldsSize());
    PSDUtil::LongToBuffer(Version, payload.data());
    PSDUtil::LongToBuffer(GridCycleX, payload.data() + 4);
    PSDUtil::LongToBuffer(GridCycleY, payload.data() + 8);
    PSDUtil::LongToBuffer(guides, payload.data() + 12);
    if (guides != 0)
        std::memcpy(payload.data() + PAYLOAD_SIZE, GetDataBlock() + PAYLOAD_SIZE, GUIDE_ENTRY_SIZE * guides);
    WriteUnderPolicy(WRITE_READ_AS_RAW, payload.data(), payload.size());
}

}  // namespace psdkit
