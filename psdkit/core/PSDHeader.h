#ifndef PSDKIT_CORE_PSDHEADER_H
#define PSDKIT_CORE_PSDHEADER_H

#include <fstream>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

class PSDBoundedReader;

// The 26-byte file header and the image attributes it carries.
class PSDKIT_API PSDHeader {
public:
    static constexpr unsigned short MODE_BITMAP = 0;
    static constexpr unsigned short MODE_GRAYSCALE = 1;
    static constexpr unsigned short MODE_INDEXED = 2;
    static constexpr unsigned short MODE_RGB = 3;
    static constexpr unsigned short MODE_CMYK = 4;
    static constexpr unsigned short MODE_MULTICHANNEL = 7;
    static constexpr unsigned short MODE_DUOTONE = 8;
    static constexpr unsigned short MODE_LAB = 9;
    static constexpr unsigned short MODE_INVALID = 10;

    static constexpr unsigned long HEADER_SIZE = 26;

    PSDHeader();
    virtual ~PSDHeader();

    void InitImageAttributes();
    void InitObject();

    void SetRows(long rows) { Rows = rows; }
    long GetRows() const { return Rows; }
    void SetColumns(long columns) { Columns = columns; }
    long GetColumns() const { return Columns; }
    void SetChannels(unsigned short channels) { Channels = channels; }
    unsigned short GetChannels() const { return Channels; }
    void SetDepth(unsigned short depth) { Depth = depth; }
    unsigned short GetDepth() const { return Depth; }
    void SetMode(unsigned short mode) { Mode = mode; }
    unsigned short GetMode() const { return Mode; }
    char* GetModeAsName() const;

    bool IsValidHeader() const { return Valid; }
    // True when the attributes can be written and an output stream is bound.
    bool ValidateAttributesForWrite() const;

    void FreeHeader();
    bool AllocateHeader();
    // Binding to a stream starts the header afresh, with default attributes.
    void SetStreams(std::ifstream* input, std::ofstream* output);
    // Checks the signature "8BPS" and version 1 of the raw header.
    bool Validate();
    // Reads and checks the 26 bytes. False for a short read or a header that
    // is not a version-1 PSD header; the attributes then stay as they were.
    bool ReadSection();
    bool ReadSection(PSDBoundedReader& file);
    bool WriteSection();

private:
    PSDHeader(const PSDHeader&) = delete;
    PSDHeader& operator=(const PSDHeader&) = delete;

    char* RawHeader;
    bool Valid;
    std::ifstream* InputStream;
    std::ofstream* OutputStream;
    unsigned short Channels;
    unsigned short Depth;
    unsigned short Mode;
    long Rows;
    long Columns;
};

PSDKIT_API extern char* MODE_BITMAP_STR;
PSDKIT_API extern char* MODE_GRAYSCALE_STR;
PSDKIT_API extern char* MODE_INDEXED_STR;
PSDKIT_API extern char* MODE_RGB_STR;
PSDKIT_API extern char* MODE_CMYK_STR;
PSDKIT_API extern char* MODE_MULTICHANNEL_STR;
PSDKIT_API extern char* MODE_DUOTONE_STR;
PSDKIT_API extern char* MODE_LAB_STR;
PSDKIT_API extern char* MODE_INVALID_STR;

}  // namespace psdkit

#endif
