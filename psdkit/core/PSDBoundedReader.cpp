#include "psdkit/core/PSDBoundedReader.h"

#include <cstring>

#include "psdkit/core/PSDUtil.h"

namespace psdkit {

unsigned long PSDBoundedReader::StreamRemaining(std::istream* input) {
    if (input == nullptr || !*input) return 0;
    std::streampos here = input->tellg();
    if (here < 0) return 0;
    input->seekg(0, std::ios_base::end);
    std::streampos end = input->tellg();
    input->seekg(here);
    if (end < 0 || end < here) return 0;
    return static_cast<unsigned long>(end - here);
}

PSDBoundedReader::PSDBoundedReader(std::istream* input, unsigned long limit)
    : Input(input), Data(nullptr), Base(0), Pos(0), End(0), Clipped(false) {
    unsigned long available = StreamRemaining(input);
    if (available == 0 && (input == nullptr || !*input)) {
        Clipped = limit != 0;
        return;
    }
    Base = input->tellg();
    End = limit < available ? limit : available;
    Clipped = limit > available;
}

PSDBoundedReader::PSDBoundedReader(const char* data, unsigned long size)
    : Input(nullptr), Data(data), Base(0), Pos(0), End(data == nullptr ? 0 : size), Clipped(false) {}

bool PSDBoundedReader::Read(char* destination, unsigned long n) {
    if (!Has(n)) return false;
    if (n == 0) return true;
    if (Input != nullptr) {
        Input->read(destination, static_cast<std::streamsize>(n));
        if (static_cast<unsigned long>(Input->gcount()) != n) {
            // The stream ended before the size it showed: nothing more is to be had.
            End = Pos;
            return false;
        }
    } else {
        std::memcpy(destination, Data + Pos, n);
    }
    Pos += n;
    return true;
}

bool PSDBoundedReader::Skip(unsigned long n) {
    if (!Has(n)) return false;
    return SeekTo(Pos + n);
}

bool PSDBoundedReader::SeekTo(unsigned long offset) {
    if (offset > End) return false;
    if (Input != nullptr && offset != Pos) {
        Input->seekg(Base + static_cast<std::streamoff>(offset));
        if (!*Input) return false;
    }
    Pos = offset;
    return true;
}

bool PSDBoundedReader::ReadByte(unsigned char* value) {
    char b;
    if (!Read(&b, 1)) return false;
    *value = static_cast<unsigned char>(b);
    return true;
}

bool PSDBoundedReader::ReadShort(unsigned short* value) {
    char b[2];
    if (!Read(b, 2)) return false;
    PSDUtil::BufferToShort(b, value);
    return true;
}

bool PSDBoundedReader::ReadLong(unsigned long* value) {
    char b[4];
    if (!Read(b, 4)) return false;
    PSDUtil::BufferToLong(b, value);
    return true;
}

const char* PSDBoundedReader::Current() const {
    return Data == nullptr ? nullptr : Data + Pos;
}

}  // namespace psdkit
