#ifndef PSDKIT_FUZZ_PSDWALK_H
#define PSDKIT_FUZZ_PSDWALK_H

// A small walker over the bytes of a PSD file, independent of the library:
// it finds where the sections and blocks lie and where each length field
// stands, so that tests and seed extraction can take files apart and damage
// them on purpose. It trusts nothing and stops where a part runs past the end.

#include <cstddef>
#include <string>
#include <vector>

namespace psdwalk {

// A length or count field: its offset, its width in bytes and what it measures.
struct Field {
    std::size_t offset;
    unsigned width;
    std::string what;
};

struct Layout {
    std::size_t resources = 0, resourcesSize = 0;  // the image resources section with its length word (0: not reached)
    std::size_t composite = 0;                     // offset of the composite's compression word (0: not reached)
    std::vector<Field> fields;
};

Layout Walk(const unsigned char* data, std::size_t size);

// Big-endian words.
unsigned long U32(const unsigned char* p);
unsigned U16(const unsigned char* p);

// Names of the files in `dir` that end in one of `suffixes` (any name when it
// holds ""), sorted; none when `dir` cannot be read.
std::vector<std::string> Files(const std::string& dir, const std::vector<std::string>& suffixes);
// The bytes of a file; none when it cannot be read.
std::vector<unsigned char> Load(const std::string& path);

}  // namespace psdwalk

#endif
