#include "psdkit/resources/PSDPrintFlagsInfoRB.h"

#include <iostream>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDPrintFlagsInfoRB::PSDPrintFlagsInfoRB() : CenterCropMarks(false), BleedWidthValue(0), BleedWidthScale(0) {}
PSDPrintFlagsInfoRB::~PSDPrintFlagsInfoRB() = default;

void PSDPrintFlagsInfoRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "CenterCropMarks:" << (CenterCropMarks ? "True\n" : "False\n");
    std::cout << "Bleed Width Value:" << BleedWidthValue << "\n";
    std::cout << "Bleed Width Scale:" << BleedWidthScale << "\n";
}

void PSDPrintFlagsInfoRB::ReadDataBlock() {
    // Bytes 0, 1 (version) and 3 hold no field. A short payload leaves the
    // fields behind its end as they are.
    PSDBoundedReader in(GetDataBlock(), ReadablePayloadSize());
    char flag = 0;
    if (!in.Skip(2) || !in.Read(&flag, 1)) return;
    CenterCropMarks = FlagFromByte(flag);
    unsigned long value = 0;
    if (!in.Skip(1) || !in.ReadLong(&value)) return;
    BleedWidthValue = value;
    unsigned short scale = 0;
    if (!in.ReadShort(&scale)) return;
    BleedWidthScale = scale;
}

void PSDPrintFlagsInfoRB::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_READ_AS_RAW, PAYLOAD_SIZE); }

void PSDPrintFlagsInfoRB::WriteResourceBlock() {
    char payload[PAYLOAD_SIZE] = {0};
    // Files carry version 1 in the first two bytes.
    PSDUtil::ShortToBuffer(1, payload);
    payload[2] = CenterCropMarks ? 1 : 0;
    PSDUtil::LongToBuffer(BleedWidthValue, payload + 4);
    PSDUtil::ShortToBuffer(BleedWidthScale, payload + 8);
    WriteUnderPolicy(WRITE_READ_AS_RAW, payload, PAYLOAD_SIZE);
}

}  // namespace psdkit
