#include "psdkit/pixels/PSDPackBits.h"

#include <cstring>

namespace psdkit {

bool PSDPackBits::DecodeRow(const char* in, unsigned long length, char* row, unsigned long rowBytes) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(in);
    const unsigned char* end = p + length;
    unsigned long filled = 0;
    while (filled < rowBytes) {
        if (p == end) return false;
        unsigned int n = *p++;
        if (n < 128) {
            unsigned long count = n + 1;
            if (count > rowBytes - filled || count > static_cast<unsigned long>(end - p)) return false;
            std::memcpy(row + filled, p, count);
            p += count;
            filled += count;
        } else if (n > 128) {
            unsigned long count = 257 - n;
            if (count > rowBytes - filled || p == end) return false;
            std::memset(row + filled, *p++, count);
            filled += count;
        }
    }
    return true;
}

// Runs of three or more equal bytes are coded as runs; a pair inside a literal
// stays literal, which is never longer and keeps literals long.
unsigned long PSDPackBits::EncodeRow(const char* row, unsigned long rowBytes, char* out) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(row);
    unsigned char* o = reinterpret_cast<unsigned char*>(out);
    unsigned long i = 0;
    unsigned long literalStart = 0;
    auto flushLiteral = [&](unsigned long upto) {
        while (literalStart < upto) {
            unsigned long count = upto - literalStart;
            if (count > 128) count = 128;
            *o++ = static_cast<unsigned char>(count - 1);
            std::memcpy(o, p + literalStart, count);
            o += count;
            literalStart += count;
        }
    };
    while (i < rowBytes) {
        unsigned char b = p[i];
        unsigned long run = 1;
        while (i + run < rowBytes && run < 128 && p[i + run] == b) ++run;
        if (run >= 3) {
            flushLiteral(i);
            *o++ = static_cast<unsigned char>(257 - run);
            *o++ = b;
            i += run;
            literalStart = i;
        } else {
            i += run;
        }
    }
    flushLiteral(rowBytes);
    return static_cast<unsigned long>(o - reinterpret_cast<unsigned char*>(out));
}

}  // namespace psdkit
