#include "psdkit/core/PSDBaseSection.h"

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDBaseSection::PSDBaseSection() : InputStream(nullptr), OutputStream(nullptr), SectionLength(0) {}

PSDBaseSection::~PSDBaseSection() = default;

void PSDBaseSection::SetStreams(std::ifstream* input, std::ofstream* output) {
    InputStream = input;
    OutputStream = output;
}

bool PSDBaseSection::ReadSection() {
    PSDBoundedReader file(InputStream);
    bool result = ReadSection(file);
    file.SyncStream();
    return result;
}

bool PSDBaseSection::ReadSection(PSDBoundedReader& file) {
    // A file that ends inside the length word has no payload to offer.
    if (!file.ReadLong(&SectionLength)) {
        SectionLength = 0;
        if (file.Remaining() != 0) file.Problem("section at %lu: the file ends inside its length word", file.FileOffset());
        file.Skip(file.Remaining());
    }
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
