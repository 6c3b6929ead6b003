#include "psdkit/resources/PSDResolutionInfoRB.h"

#include <iostream>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

const unsigned short DEFAULT_RESOLUTION = 72;

PSDKIT_DEFINE_TEXT(PIXELS_PER_INCH_STR, "Pixels Per Inch");
PSDKIT_DEFINE_TEXT(PIXELS_PER_CM_STR, "Pixels Per CM");
PSDKIT_DEFINE_TEXT(INVALID_PIXELS_PER_STR, "Invalid Pixels Per...");
PSDKIT_DEFINE_TEXT(UNIT_INCHES_STR, "Inch Units");
PSDKIT_DEFINE_TEXT(UNIT_CM_STR, "CM Units");
PSDKIT_DEFINE_TEXT(UNIT_POINTS_STR, "Point Units");
PSDKIT_DEFINE_TEXT(UNIT_COLUMNS_STR, "Column Units");
PSDKIT_DEFINE_TEXT(INVALID_UNITS_STR, "Invalid Units");

PSDResolutionInfoRB::PSDResolutionInfoRB()
    : HorizResolution(DEFAULT_RESOLUTION),
      HorizFraction(0),
      HorizResolutionUnits(PIXELS_PER_INCH),
      WidthUnits(UNIT_INCHES),
      VertResolution(DEFAULT_RESOLUTION),
      VertFraction(0),
      VertResolutionUnits(PIXELS_PER_INCH),
      HeightUnits(UNIT_INCHES) {
    SetResourceID(RS_1005);
    SetDataBlockSize(PAYLOAD_SIZE);
}

PSDResolutionInfoRB::~PSDResolutionInfoRB() = default;

void PSDResolutionInfoRB::SetHorizResolution(unsigned short resolution) {
    HorizResolution = resolution;
    HorizFraction = 0;
}

void PSDResolutionInfoRB::SetVertResolution(unsigned short resolution) {
    VertResolution = resolution;
    VertFraction = 0;
}

char* PSDResolutionInfoRB::GetPixelUnitsAsName(unsigned short units) {
    switch (units) {
        case PIXELS_PER_INCH: return PIXELS_PER_INCH_STR;
        case PIXELS_PER_CM: return PIXELS_PER_CM_STR;
        default: return INVALID_PIXELS_PER_STR;
    }
}

char* PSDResolutionInfoRB::GetUnitsAsName(unsigned short units) {
    switch (units) {
        case UNIT_INCHES: return UNIT_INCHES_STR;
        case UNIT_CM: return UNIT_CM_STR;
        case UNIT_POINTS: return UNIT_POINTS_STR;
        case UNIT_COLUMNS: return UNIT_COLUMNS_STR;
        default: return INVALID_UNITS_STR;
    }
}

void PSDResolutionInfoRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "Horiz Res:" << HorizResolution << "\n";
    std::cout << "Horiz Pixel Units:" << GetPixelUnitsAsName(HorizResolutionUnits) << "\n";
    std::cout << "Horiz Units:" << GetUnitsAsName(WidthUnits) << "\n";
    std::cout << "Vert Res:" << VertResolution << "\n";
    std::cout << "Vert Pixel Units:" << GetPixelUnitsAsName(VertResolutionUnits) << "\n";
    std::cout << "Vert Units:" << GetUnitsAsName(HeightUnits) << "\n";
}

void PSDResolutionInfoRB::ReadDataBlock() {
    // Only the horizontal half is read; the vertical fields take its values.
    // A short payload leaves the fields it cannot fill as they are.
    PSDBoundedReader in(GetDataBlock(), ReadablePayloadSize());
    unsigned short value = 0;
    if (!in.ReadShort(&value)) return;
    HorizResolution = VertResolution = value;
    if (!in.ReadShort(&value)) return;
    HorizFraction = VertFraction = value;
    if (!in.ReadShort(&value)) return;
    HorizResolutionUnits = VertResolutionUnits = value;
    if (!in.ReadShort(&value)) return;
    WidthUnits = HeightUnits = value;
}

void PSDResolutionInfoRB::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_READ_IF_EXACT, PAYLOAD_SIZE); }

void PSDResolutionInfoRB::WriteResourceBlock() {
    const unsigned short fields[8] = {HorizResolution, HorizFraction, HorizResolutionUnits, WidthUnits,
                                      VertResolution,  VertFraction,  VertResolutionUnits,  HeightUnits};
    char payload[PAYLOAD_SIZE];
    for (int i = 0; i < 8; ++i) PSDUtil::ShortToBuffer(fields[i], payload + 2 * i);
    WriteUnderPolicy(WRITE_READ_IF_EXACT, payload, PAYLOAD_SIZE);
}

}  // namespace psdkit
