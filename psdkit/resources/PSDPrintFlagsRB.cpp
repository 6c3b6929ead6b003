#include "psdkit/resources/PSDPrintFlagsRB.h"

#include <iostream>

namespace psdkit {

PSDKIT_DEFINE_TEXT(UNKNOWN_STR, "Unknown");

namespace {

// Writable storage behind the Names table, like every display text.
char NameLabels[] = "Labels";
char NameCropMarks[] = "Corner Crop Marks";
char NameByte2[] = "Unknown";
char NameRegistrationMarks[] = "Registration Marks";
char NameNegative[] = "Negative";
char NameByte5[] = "Unknown";
char NameByte6[] = "Unknown";
char NameCaption[] = "Cation";

}  // namespace

char* Names[8] = {NameLabels,   NameCropMarks, NameByte2, NameRegistrationMarks,
                  NameNegative, NameByte5,     NameByte6, NameCaption};

namespace {

// Payload bytes of the five fields.
const unsigned long LABELS_BYTE = 0;
const unsigned long CROP_MARKS_BYTE = 1;
const unsigned long REGISTRATION_MARKS_BYTE = 3;
const unsigned long NEGATIVE_BYTE = 4;
const unsigned long CAPTION_BYTE = 7;

}  // namespace

PSDPrintFlagsRB::PSDPrintFlagsRB()
    : PrintLabels(false),
      PrintCropMarks(false),
      PrintRegistrationMarks(false),
      PrintNegative(false),
      PrintCaption(false) {}

PSDPrintFlagsRB::~PSDPrintFlagsRB() = default;

void PSDPrintFlagsRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    const char* data = GetDataBlock();
    unsigned long size = ReadablePayloadSize();
    for (unsigned long i = 0; i < size; ++i) {
        std::cout << (i < 8 ? Names[i] : UNKNOWN_STR) << ": - " << (FlagFromByte(data[i]) ? "True\n" : "False\n");
    }
}

void PSDPrintFlagsRB::ReadDataBlock() {
    // A short payload leaves the flags behind its end as they are.
    const char* data = GetDataBlock();
    unsigned long size = ReadablePayloadSize();
    if (LABELS_BYTE < size) PrintLabels = FlagFromByte(data[LABELS_BYTE]);
    if (CROP_MARKS_BYTE < size) PrintCropMarks = FlagFromByte(data[CROP_MARKS_BYTE]);
    if (REGISTRATION_MARKS_BYTE < size) PrintRegistrationMarks = FlagFromByte(data[REGISTRATION_MARKS_BYTE]);
    if (NEGATIVE_BYTE < size) PrintNegative = FlagFromByte(data[NEGATIVE_BYTE]);
    if (CAPTION_BYTE < size) PrintCaption = FlagFromByte(data[CAPTION_BYTE]);
}

void PSDPrintFlagsRB::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_READ_AS_RAW, PAYLOAD_SIZE); }

void PSDPrintFlagsRB::WriteResourceBlock() {
    // Bytes that no field holds go out as 0.
    char payload[PAYLOAD_SIZE] = {0};
    payload[LABELS_BYTE] = PrintLabels ? 1 : 0;
    payload[CROP_MARKS_BYTE] = PrintCropMarks ? 1 : 0;
    payload[REGISTRATION_MARKS_BYTE] = PrintRegistrationMarks ? 1 : 0;
    payload[NEGATIVE_BYTE] = PrintNegative ? 1 : 0;
    payload[CAPTION_BYTE] = PrintCaption ? 1 : 0;
    WriteUnderPolicy(WRITE_READ_AS_RAW, payload, PAYLOAD_SIZE);
}

}  // namespace psdkit
