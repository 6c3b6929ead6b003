#ifndef PSDKIT_RESOURCES_PSDRESOLUTIONINFORB_H
#define PSDKIT_RESOURCES_PSDRESOLUTIONINFORB_H

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// Resolution of a new block in both directions.
PSDKIT_API extern const unsigned short DEFAULT_RESOLUTION;

// Block 1005: horizontal and vertical resolution with their units. Writes 16
// payload bytes; reads the first 8 and gives the vertical fields the same values.
class PSDKIT_API PSDResolutionInfoRB : public PSDResourceBlock {
public:
    static constexpr unsigned short PIXELS_PER_INCH = 1;
    static constexpr unsigned short PIXELS_PER_CM = 2;
    static constexpr unsigned short UNIT_INCHES = 1;
    static constexpr unsigned short UNIT_CM = 2;
    static constexpr unsigned short UNIT_POINTS = 3;
    static constexpr unsigned short UNIT_COLUMNS = 4;

    // Payload bytes the block writes.
    static constexpr unsigned long PAYLOAD_SIZE = 16;

    PSDResolutionInfoRB();
    ~PSDResolutionInfoRB() override;

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    // Store the integer half and clear the fraction.
    void SetHorizResolution(unsigned short resolution);
    void SetVertResolution(unsigned short resolution);
    unsigned short GetHorizResolution() const { return HorizResolution; }
    unsigned short GetVertResolution() const { return VertResolution; }

    void SetHorizResolutionUnits(unsigned short units) { HorizResolutionUnits = units; }
    unsigned short GetHorizResolutionUnits() const { return HorizResolutionUnits; }
    void SetVertResolutionUnits(unsigned short units) { VertResolutionUnits = units; }
    unsigned short GetVertResolutionUnits() const { return VertResolutionUnits; }
    void SetWidthUnits(unsigned short units) { WidthUnits = units; }
    unsigned short GetWidthUnits() const { return WidthUnits; }
    void SetHeightUnits(unsigned short units) { HeightUnits = units; }
    unsigned short GetHeightUnits() const { return HeightUnits; }

    // Texts of a pixel unit and of a length unit value.
    static char* GetPixelUnitsAsName(unsigned short units);
    static char* GetUnitsAsName(unsigned short units);

private:
    unsigned short HorizResolution;
    unsigned short HorizFraction;
    unsigned short HorizResolutionUnits;
    unsigned short WidthUnits;
    unsigned short VertResolution;
    unsigned short VertFraction;
    unsigned short VertResolutionUnits;
    unsigned short HeightUnits;
};

PSDKIT_API extern char* PIXELS_PER_INCH_STR;
PSDKIT_API extern char* PIXELS_PER_CM_STR;
PSDKIT_API extern char* INVALID_PIXELS_PER_STR;
PSDKIT_API extern char* UNIT_INCHES_STR;
PSDKIT_API extern char* UNIT_CM_STR;
PSDKIT_API extern char* UNIT_POINTS_STR;
PSDKIT_API extern char* UNIT_COLUMNS_STR;
PSDKIT_API extern char* INVALID_UNITS_STR;

}  // namespace psdkit

#endif
