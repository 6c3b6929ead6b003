#include "psdkit/core/PSDUtil.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace psdkit {

namespace {

inline unsigned long Byte(const char* buffer, int i) { return static_cast<unsigned char>(buffer[i]); }

// Truncation toward zero to a signed 32-bit integer; what does not fit (or is
// not a number) becomes the smallest 32-bit integer, as the x86 conversion does.
inline std::int32_t TruncateToInt32(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return INT32_MIN;
    return static_cast<std::int32_t>(value);
}

}  // namespace

void PSDUtil::BufferToShort(const char* buffer, unsigned short* value) {
    *value = static_cast<unsigned short>(Byte(buffer, 0) << 8 | Byte(buffer, 1));
}

void PSDUtil::ShortToBuffer(unsigned short value, char* buffer) {
    buffer[0] = static_cast<char>(value >> 8);
    buffer[1] = static_cast<char>(value);
}

void PSDUtil::BufferToLong(const char* buffer, unsigned long* value) {
    if (buffer == nullptr) return;
    *value = Byte(buffer, 0) << 24 | Byte(buffer, 1) << 16 | Byte(buffer, 2) << 8 | Byte(buffer, 3);
}

void PSDUtil::LongToBuffer(unsigned long value, char* buffer) {
    buffer[0] = static_cast<char>(value >> 24);
    buffer[1] = static_cast<char>(value >> 16);
    buffer[2] = static_cast<char>(value >> 8);
    buffer[3] = static_cast<char>(value);
}

void PSDUtil::BufferToNativeShort(const char* buffer, unsigned short* value) { BufferToShort(buffer, value); }

void PSDUtil::NativeShortToBuffer(unsigned short value, char* buffer) {
    buffer[0] = static_cast<char>(value);
    buffer[1] = static_cast<char>(value >> 8);
}

void PSDUtil::BufferToNativeLong(const char* buffer, unsigned long* value) {
    *value = Byte(buffer, 0) | Byte(buffer, 1) << 8 | Byte(buffer, 2) << 16 | Byte(buffer, 3) << 24;
}

void PSDUtil::NativeLongToBuffer(unsigned long value, char* buffer) {
    buffer[0] = static_cast<char>(value);
    buffer[1] = static_cast<char>(value >> 8);
    buffer[2] = static_cast<char>(value >> 16);
    buffer[3] = static_cast<char>(value >> 24);
}

void PSDUtil::BufferToFloatFrom16Dot16(const char* buffer, float* value) {
    unsigned long whole = 0;
    BufferToLong(buffer, &whole);
    *value = static_cast<float>(whole) * 1.52587890625e-05f;
}

void PSDUtil::BufferToDoubleFrom16Dot16(const char* buffer, double* value) {
    unsigned long whole = 0;
    BufferToLong(buffer, &whole);
    *value = static_cast<double>(whole) * 1.52587890625e-05;
}

void PSDUtil::FloatTo16Dot16Buffer(float value, char* buffer) {
    unsigned short high = static_cast<unsigned short>(TruncateToInt32(value) & 0xFFFF);
    ShortToBuffer(high, buffer);
    float rest = value - static_cast<float>(high);
    double scaled = static_cast<double>(rest) * 65536.0;
    ShortToBuffer(static_cast<unsigned short>(TruncateToInt32(scaled) & 0xFFFF), buffer + 2);
}

void PSDUtil::DoubleTo16Dot16Buffer(double value, char* buffer) {
    unsigned short high = static_cast<unsigned short>(TruncateToInt32(value) & 0xFFFF);
    ShortToBuffer(high, buffer);
    double rest = value - static_cast<double>(high);
    double scaled = rest * 65536.0;
    ShortToBuffer(static_cast<unsigned short>(TruncateToInt32(scaled) & 0xFFFF), buffer + 2);
}

void PSDUtil::ReverseString(char* text) {
    std::int32_t n = static_cast<std::int32_t>(std::strlen(text));
    if (n <= 0) return;
    char* copy = new char[static_cast<std::size_t>(n) + 1];
    std::memcpy(copy, text, static_cast<std::size_t>(n) + 1);
    for (std::int32_t i = 0; i < n; ++i) text[i] = copy[n - 1 - i];
    delete[] copy;
}

}  // namespace psdkit
