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

// A length (or count) field: its offset in the file, its width in bytes (1, 2
// or 4) and what it measures.
struct Field {
    std::size_t offset;
    unsigned width;
    std::string what;
};

// A stretch of the file.
struct Span {
    std::size_t offset = 0;
    std::size_t size = 0;
    bool present = false;
};

// One image resource block: its ID and the bytes of its payload (without the
// pad byte), cut to what the file holds.
struct Block {
    unsigned id;
    Span data;
};

struct Layout {
    bool header = false;  // 26 bytes with "8BPS"
    Span resources;       // the image resources section with its length word
    std::vector<Block> blocks;
    Span layers;                // the layer and mask section with its length word
    std::size_t composite = 0;  // offset of the composite's compression word (0: not reached)
    std::vector<Field> fields;
};

Layout Walk(const unsigned char* data, std::size_t size);

// ICC profile and thumbnail payloads, walked on their own bytes; `base` is
// added to every offset so that fields land at their place in the file.
void WalkIccProfile(const unsigned char* data, std::size_t size, std::size_t base, std::vector<Field>* fields);
void WalkThumbnail(const unsigned char* data, std::size_t size, std::size_t base, std::vector<Field>* fields);
// The layer and mask section, starting at its length word.
void WalkLayerSection(const unsigned char* data, std::size_t size, std::size_t base, std::vector<Field>* fields);

}  // namespace psdwalk

#endif
