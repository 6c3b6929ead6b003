#include "PsdWalk.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace psdwalk {

namespace {

// Bounds are checked as `n > size - offset`, after `offset <= size`, so no sum
// of a file's values can wrap.
bool Fits(std::size_t offset, std::size_t n, std::size_t end) { return offset <= end && n <= end - offset; }

// Layer records from the count word at `at`, inside [at, end).
void WalkRecords(const unsigned char* d, std::size_t at, std::size_t end, std::size_t base,
                 std::vector<Field>* fields) {
    if (!Fits(at, 2, end)) return;
    fields->push_back({base + at, 2, "layer count"});
    int count = static_cast<short>(U16(d + at));
    unsigned records = static_cast<unsigned>(count < 0 ? -count : count);
    std::size_t p = at + 2;
    for (unsigned r = 0; r < records; ++r) {
        if (!Fits(p, 18, end)) return;
        fields->push_back({base + p + 16, 2, "channel count"});
        unsigned nc = U16(d + p + 16);
        std::size_t q = p + 18;
        for (unsigned c = 0; c < nc; ++c) {
            if (!Fits(q, 6, end)) return;
            fields->push_back({base + q + 2, 4, "channel length"});
            q += 6;
        }
        if (!Fits(q, 16, end)) return;
        fields->push_back({base + q + 12, 4, "extra data length"});
        unsigned long extra = U32(d + q + 12);
        std::size_t e = q + 16;
        std::size_t extraEnd = Fits(e, extra, end) ? e + extra : end;
        if (!Fits(e, 4, extraEnd)) return;
        fields->push_back({base + e, 4, "mask length"});
        unsigned long mask = U32(d + e);
        std::size_t m = e + 4;
        if (!Fits(m, mask, extraEnd)) return;
        m += mask;
        if (!Fits(m, 4, extraEnd)) return;
        fields->push_back({base + m, 4, "blending length"});
        unsigned long blending = U32(d + m);
        std::size_t b = m + 4;
        if (!Fits(b, blending, extraEnd)) return;
        b += blending;
        if (!Fits(b, 1, extraEnd)) return;
        fields->push_back({base + b, 1, "layer name length"});
        std::size_t t = b + ((d[b] + 4u) & ~3u);
        while (Fits(t, 12, extraEnd)) {
            fields->push_back({base + t + 8, 4, "additional info length"});
            unsigned long length = U32(d + t + 8);
            if (!Fits(t + 12, length, extraEnd)) break;
            t += 12 + length;
        }
        p = extraEnd;
    }
}

void WalkLayerSection(const unsigned char* d, std::size_t size, std::size_t base, std::vector<Field>* fields) {
    if (!Fits(0, 4, size)) return;
    fields->push_back({base, 4, "layer section length"});
    unsigned long length = U32(d);
    if (length == 0) return;
    std::size_t end = Fits(4, length, size) ? 4 + length : size;
    if (!Fits(4, 4, end)) return;
    fields->push_back({base + 4, 4, "layer info length"});
    unsigned long info = U32(d + 4);
    std::size_t global = 8;
    if (info != 0) {
        std::size_t infoEnd = Fits(8, info, end) ? 8 + info : end;
        WalkRecords(d, 8, infoEnd, base, fields);
        global = infoEnd;
    }
    if (!Fits(global, 4, end)) return;
    fields->push_back({base + global, 4, "global mask length"});
    unsigned long mask = U32(d + global);
    if (!Fits(global + 4, mask, end)) return;
    // Tagged blocks behind the global mask; 'Lr16' and 'Lr32' hold layer records.
    std::size_t t = global + 4 + mask;
    while (Fits(t, 12, end)) {
        fields->push_back({base + t + 8, 4, "global tagged block length"});
        unsigned long blockLength = U32(d + t + 8);
        if (!Fits(t + 12, blockLength, end)) break;
        if (std::memcmp(d + t + 4, "Lr16", 4) == 0 || std::memcmp(d + t + 4, "Lr32", 4) == 0)
            WalkRecords(d, t + 12, t + 12 + blockLength, base, fields);
        std::size_t padded = (blockLength + 3) & ~static_cast<std::size_t>(3);
        if (!Fits(t + 12, padded, end)) break;
        t += 12 + padded;
    }
}

void WalkIccProfile(const unsigned char* d, std::size_t size, std::size_t base, std::vector<Field>* fields) {
    if (!Fits(0, 4, size)) return;
    fields->push_back({base, 4, "icc profile size"});
    if (!Fits(128, 4, size)) return;
    fields->push_back({base + 128, 4, "icc tag count"});
    unsigned long count = U32(d + 128);
    const unsigned long most = 64;  // enough to reach every kind of entry
    for (unsigned long i = 0; i < count && i < most; ++i) {
        std::size_t entry = 132 + 12 * i;
        if (!Fits(entry, 12, size)) return;
        fields->push_back({base + entry + 4, 4, "icc tag offset"});
        fields->push_back({base + entry + 8, 4, "icc tag size"});
        unsigned long offset = U32(d + entry + 4);
        if (Fits(offset, 12, size) &&
            (std::memcmp(d + offset, "curv", 4) == 0 || std::memcmp(d + offset, "desc", 4) == 0))
            fields->push_back({base + offset + 8, 4,
                               std::memcmp(d + offset, "curv", 4) == 0 ? "icc curve count" : "icc desc length"});
    }
}

void WalkThumbnail(const unsigned char*, std::size_t size, std::size_t base, std::vector<Field>* fields) {
    if (!Fits(0, 28, size)) return;
    fields->push_back({base + 4, 4, "thumbnail width"});
    fields->push_back({base + 8, 4, "thumbnail height"});
    fields->push_back({base + 12, 4, "thumbnail width bytes"});
    fields->push_back({base + 16, 4, "thumbnail size"});
    fields->push_back({base + 20, 4, "thumbnail compressed size"});
}

}  // namespace

unsigned long U32(const unsigned char* p) {
    return static_cast<unsigned long>(p[0]) << 24 | static_cast<unsigned long>(p[1]) << 16 |
           static_cast<unsigned long>(p[2]) << 8 | p[3];
}
unsigned U16(const unsigned char* p) { return static_cast<unsigned>(p[0]) << 8 | p[1]; }

Layout Walk(const unsigned char* d, std::size_t size) {
    Layout layout;
    if (!Fits(0, 26, size)) return layout;
    layout.fields.push_back({12, 2, "channels"});
    layout.fields.push_back({14, 4, "rows"});
    layout.fields.push_back({18, 4, "columns"});
    layout.fields.push_back({22, 2, "depth"});

    std::size_t p = 26;
    if (!Fits(p, 4, size)) return layout;
    layout.fields.push_back({p, 4, "color mode length"});
    unsigned long colorMode = U32(d + p);
    if (!Fits(p + 4, colorMode, size)) return layout;
    p += 4 + colorMode;

    if (!Fits(p, 4, size)) return layout;
    layout.fields.push_back({p, 4, "resources length"});
    unsigned long resources = U32(d + p);
    std::size_t end = Fits(p + 4, resources, size) ? p + 4 + resources : size;
    layout.resources = p;
    layout.resourcesSize = end - p;
    std::size_t b = p + 4;
    while (Fits(b, 7, end)) {
        unsigned id = U16(d + b + 4);
        layout.fields.push_back({b + 6, 1, "resource name length"});
        std::size_t nameBytes = (d[b + 6] & 1) ? d[b + 6] : d[b + 6] + 1u;
        std::size_t sizeField = b + 7 + nameBytes;
        if (!Fits(sizeField, 4, end)) break;
        layout.fields.push_back({sizeField, 4, "resource data size"});
        unsigned long dataSize = U32(d + sizeField);
        std::size_t data = sizeField + 4;
        std::size_t held = Fits(data, dataSize, end) ? dataSize : end - data;
        if (id == 1039) WalkIccProfile(d + data, held, data, &layout.fields);
        if (id == 1036 || id == 1033) WalkThumbnail(d + data, held, data, &layout.fields);
        if (held != dataSize) break;
        std::size_t padded = dataSize + (dataSize & 1);
        if (!Fits(data, padded, end)) break;
        b = data + padded;
    }
    if (!Fits(p + 4, resources, size)) return layout;
    p += 4 + resources;

    if (!Fits(p, 4, size)) return layout;
    unsigned long layers = U32(d + p);
    std::size_t layersEnd = Fits(p + 4, layers, size) ? p + 4 + layers : size;
    WalkLayerSection(d + p, layersEnd - p, p, &layout.fields);
    if (!Fits(p + 4, layers, size)) return layout;
    layout.composite = p + 4 + layers;
    return layout;
}

std::vector<std::string> Files(const std::string& dir, const std::vector<std::string>& suffixes) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(dir, error)) {
        const std::string name = entry.path().filename().string();
        auto ends = [&name](const std::string& tail) {
            return name.size() >= tail.size() && name.compare(name.size() - tail.size(), tail.size(), tail) == 0;
        };
        if (name[0] != '.' && !entry.is_directory() && std::any_of(suffixes.begin(), suffixes.end(), ends))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<unsigned char> Load(const std::string& path) {
    std::ifstream in(path, std::ios_base::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace psdwalk
