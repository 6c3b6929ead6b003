#ifndef PSDKIT_TESTS_DENSEFILES_H
#define PSDKIT_TESTS_DENSEFILES_H

// Files of about a given size packed with small valid objects, the shapes that
// cost a reader most per byte: empty resource blocks, a profile of zero-size
// tags, a profile whose tags all point at one large run of bytes, and minimal
// layer records. The memory bound test and the dense-file benchmark read them.

#include <string>

namespace psddense {

enum Kind { EMPTY_BLOCKS, ZERO_SIZE_TAGS, SHARED_TAG_DATA, MINIMAL_RECORDS, KINDS };

inline const char* KindName(int kind) {
    static const char* const names[] = {"empty resource blocks", "zero-size ICC tags", "ICC tags sharing one run",
                                        "minimal layer records"};
    return names[kind];
}

inline void U16(std::string& out, unsigned long v) {
    out += static_cast<char>((v >> 8) & 0xFF);
    out += static_cast<char>(v & 0xFF);
}

inline void U32(std::string& out, unsigned long v) {
    U16(out, v >> 16);
    U16(out, v & 0xFFFF);
}

// One resource block in the section's layout, padded to an even size.
inline std::string ResourceBlock(unsigned id, const std::string& payload) {
    std::string block = "8BIM";
    U16(block, id);
    U16(block, 0);
    U32(block, payload.size());
    block += payload;
    if (block.size() % 2 != 0) block += '\0';
    return block;
}

// A profile of `tags` entries, each `size` bytes at offset `at`, and `data`
// behind the table.
inline std::string Profile(unsigned long tags, unsigned long at, unsigned long size, const std::string& data) {
    std::string profile;
    U32(profile, 132 + 12 * tags + data.size());
    profile.append(124, '\0');
    U32(profile, tags);
    for (unsigned long i = 0; i < tags; ++i) {
        U32(profile, 0x74657374 + i);  // distinct signatures: none is a duplicate
        U32(profile, at);
        U32(profile, size);
    }
    return profile + data;
}

// A file of `kind` of about `bytes` bytes: a 1 x 1 RGB document whose
// resources or layer section hold the objects.
inline std::string File(int kind, unsigned long bytes) {
    std::string resources;
    std::string layers;
    if (kind == EMPTY_BLOCKS) {
        const std::string block = ResourceBlock(1000, "");
        for (unsigned long i = 0; i < bytes / block.size(); ++i) resources += block;
    } else if (kind == ZERO_SIZE_TAGS) {
        resources = ResourceBlock(1039, Profile(bytes / 12, 0, 0, ""));
    } else if (kind == SHARED_TAG_DATA) {
        // Half the bytes in one run, the other half in entries that all point at it.
        const unsigned long tags = bytes / 24;
        const std::string run = "test" + std::string(bytes / 2, '\0');
        resources = ResourceBlock(1039, Profile(tags, 132 + 12 * tags, run.size(), run));
    } else {
        std::string record;
        for (int i = 0; i < 4; ++i) U32(record, 0);  // an empty rectangle
        U16(record, 0);                              // no channels
        record += "8BIMnorm";
        record += std::string("\xFF\0\0\0", 4);  // opacity, clipping, flags, filler
        U32(record, 12);                         // extra data: no mask, no ranges, an empty name
        U32(record, 0);
        U32(record, 0);
        record.append(4, '\0');
        // The count is 16 bits and signed: a larger file repeats nothing more.
        unsigned long count = bytes / record.size();
        if (count > 32767) count = 32767;
        std::string info;
        U16(info, count);
        for (unsigned long i = 0; i < count; ++i) info += record;
        U32(layers, info.size() + 4);
        U32(layers, info.size());
        layers += info;
    }

    std::string file = "8BPS";
    U16(file, 1);
    file.append(6, '\0');
    U16(file, 3);  // channels
    U32(file, 1);  // rows
    U32(file, 1);  // columns
    U16(file, 8);  // depth
    U16(file, 3);  // RGB
    U32(file, 0);  // colour mode data
    U32(file, resources.size());
    file += resources;
    if (layers.empty()) U32(file, 0);
    file += layers;
    U16(file, 0);  // raw composite
    file.append(3, '\0');
    return file;
}

}  // namespace psddense

#endif
