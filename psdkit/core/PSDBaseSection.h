#ifndef PSDKIT_CORE_PSDBASESECTION_H
#define PSDKIT_CORE_PSDBASESECTION_H

#include <fstream>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

class PSDBoundedReader;

// A section framed by a 4-byte length word. Holds the streams it reads from and
// writes to; it owns neither.
class PSDKIT_API PSDBaseSection {
public:
    PSDBaseSection();
    virtual ~PSDBaseSection();

    void SetStreams(std::ifstream* input, std::ofstream* output);
    std::ifstream* GetInputStream() const { return InputStream; }
    std::ofstream* GetOutputStream() const { return OutputStream; }
    unsigned long GetSectionLength() const { return SectionLength; }

    // Reads the length word; the input stands at the payload afterwards.
    bool ReadSection();
    // The same through a window on the file, which then stands at the payload.
    bool ReadSection(PSDBoundedReader& file);
    // Passes over the payload.
    void SkipSection();
    // Writes an empty section (a zero length word).
    bool WriteSection();

protected:
    std::ifstream* InputStream;
    std::ofstream* OutputStream;
    unsigned long SectionLength;
};

}  // namespace psdkit

#endif
