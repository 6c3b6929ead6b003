#ifndef PSDKIT_CORE_PSDUTIL_H
#define PSDKIT_CORE_PSDUTIL_H

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// Conversions between the file's byte order and numbers. Every multi-byte
// value of the format passes through here.
class PSDKIT_API PSDUtil {
public:
    // High byte first.
    static void BufferToShort(const char* buffer, unsigned short* value);
    static void ShortToBuffer(unsigned short value, char* buffer);
    // A null buffer leaves the value unchanged.
    static void BufferToLong(const char* buffer, unsigned long* value);
    static void LongToBuffer(unsigned long value, char* buffer);

    // BufferToNativeShort reads high byte first; the other three are low byte
    // first, so a short written natively reads back with its bytes exchanged.
    static void BufferToNativeShort(const char* buffer, unsigned short* value);
    static void NativeShortToBuffer(unsigned short value, char* buffer);
    static void BufferToNativeLong(const char* buffer, unsigned long* value);
    static void NativeLongToBuffer(unsigned long value, char* buffer);

    // Unsigned 16.16 fixed point.
    static void BufferToFloatFrom16Dot16(const char* buffer, float* value);
    static void FloatTo16Dot16Buffer(float value, char* buffer);
    static void BufferToDoubleFrom16Dot16(const char* buffer, double* value);
    static void DoubleTo16Dot16Buffer(double value, char* buffer);

    // Reverses a zero-terminated string in place; the terminator stays.
    static void ReverseString(char* text);
};

}  // namespace psdkit

#endif
