#include "psdkit/core/PSDBaseSection.h"

#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDBaseSection::PSDBaseSection() : InputStream(nullptr), OutputStream(nullptr), SectionLength(0) {}

PSDBaseSection::~PSDBaseSection() = default;

void PSDBaseSection::SetStreams(std::ifstream* input, std::ofstream* output) {
    InputStream = input;
    OutputStream = output;
}

bool PSDBaseSection::ReadSection() {
    char buffer[4] = {0, 0, 0, 0};
    InputStream->read(buffer, 4);
    // A file that ends inside the length word has no payload to offer.
    if (InputStream->gcount() != 4) {
        SectionLength = 0;
        return true;
    }
    PSDUtil::BufferToLong(buffer, &SectionLength);
    return true;
}

void PSDBaseSection::SkipSection() {
    if (SectionLength != 0) InputStream->seekg(static_cast<std::streamoff>(SectionLength), std::ios_base::cur);
}

bool PSDBaseSection::WriteSection() {
    SectionLength = 0;
    char buffer[4];
    PSDUtil::LongToBuffer(SectionLength, buffer);
    OutputStream->write(buffer, 4);
    return OutputStream->rdstate() == std::ios_base::goodbit;
}

}  // namespace psdkit
