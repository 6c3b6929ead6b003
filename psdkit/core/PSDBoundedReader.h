#ifndef PSDKIT_CORE_PSDBOUNDEDREADER_H
#define PSDKIT_CORE_PSDBOUNDEDREADER_H

#include <istream>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// A window on untrusted bytes: a stretch of an input stream or a buffer in
// memory. Every parser reads through one, so no read or seek can pass the end
// of the section (or data block) it belongs to, nor the end of the file. A
// request that does not fit fails whole and consumes nothing.
class PSDKIT_API PSDBoundedReader {
public:
    static constexpr unsigned long UNLIMITED = ~0UL;

    // From the stream's current position, at most `limit` bytes, and never
    // past the end of the stream. A failed stream gives an empty window.
    PSDBoundedReader(std::istream* input, unsigned long limit = UNLIMITED);
    // Over `size` bytes of memory starting at `data` (which may be null when
    // size is 0).
    PSDBoundedReader(const char* data, unsigned long size);

    // Bytes between the current position and the end of the window.
    unsigned long Remaining() const { return End - Pos; }
    // Bytes consumed since the start of the window (after seeks: the offset).
    unsigned long Offset() const { return Pos; }
    // Size of the window.
    unsigned long Size() const { return End; }
    // True when the window was cut short by the end of the stream.
    bool ClippedByStream() const { return Clipped; }

    bool Has(unsigned long n) const { return n <= End - Pos; }
    bool Read(char* destination, unsigned long n);
    bool Skip(unsigned long n);
    // Moves to an offset inside the window, forward or back.
    bool SeekTo(unsigned long offset);
    bool ReadByte(unsigned char* value);
    bool ReadShort(unsigned short* value);
    bool ReadLong(unsigned long* value);

    // Memory windows only: the bytes at the current position, or null.
    const char* Current() const;

    // Bytes from the stream's current position to its end; 0 for a failed
    // stream. The position is left where it was.
    static unsigned long StreamRemaining(std::istream* input);

private:
    std::istream* Input;
    const char* Data;
    std::streamoff Base;  // stream position of offset 0
    unsigned long Pos;
    unsigned long End;
    bool Clipped;
};

}  // namespace psdkit

#endif
