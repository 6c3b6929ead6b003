#include "psdkit/layers/PSDLayers.h"

#include "psdkit/core/PSDBoundedReader.h"

namespace psdkit {

PSDLayers::PSDLayers() = default;
PSDLayers::~PSDLayers() = default;

bool PSDLayers::ReadSection() {
    char buffer[4];
    InputStream->read(buffer, 4);
    if (InputStream->gcount() != 4) {
        SectionLength = 0;
        return false;
    }
    PSDBaseSection::SectionLength = 0;
    SectionLength = static_cast<unsigned long>(static_cast<unsigned char>(buffer[0])) << 24 |
                    static_cast<unsigned long>(static_cast<unsigned char>(buffer[1])) << 16 |
                    static_cast<unsigned long>(static_cast<unsigned char>(buffer[2])) << 8 |
                    static_cast<unsigned long>(static_cast<unsigned char>(buffer[3]));
    unsigned long available = PSDBoundedReader::StreamRemaining(InputStream);
    SkipSection();
    return SectionLength <= available;
}

}  // namespace psdkit
