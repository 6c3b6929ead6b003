#include "psdkit/pixels/PSDDeflate.h"

#include <libdeflate.h>

#include <cstring>
#include <memory>

namespace psdkit {

namespace {

struct DecompressorDeleter {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};
struct CompressorDeleter {
    void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};

unsigned long RowBytes(unsigned long width, unsigned short depth) {
    return depth == 1 ? (width + 7) / 8 : width * (depth / 8);
}

void UnpredictBytes(unsigned char* row, unsigned long n) {
    for (unsigned long i = 1; i < n; ++i) row[i] = static_cast<unsigned char>(row[i] + row[i - 1]);
}

void PredictBytes(unsigned char* row, unsigned long n) {
    for (unsigned long i = n; i-- > 1;) row[i] = static_cast<unsigned char>(row[i] - row[i - 1]);
}

// 32-bit rows: bytes of sample i go to positions i, w + i, 2w + i, 3w + i.
void SplitBytes(unsigned char* row, unsigned long width, unsigned char* scratch) {
    for (unsigned long i = 0; i < width; ++i)
        for (unsigned long b = 0; b < 4; ++b) scratch[b * width + i] = row[4 * i + b];
    std::memcpy(row, scratch, 4 * width);
}

void JoinBytes(unsigned char* row, unsigned long width, unsigned char* scratch) {
    for (unsigned long i = 0; i < width; ++i)
        for (unsigned long b = 0; b < 4; ++b) scratch[4 * i + b] = row[b * width + i];
    std::memcpy(row, scratch, 4 * width);
}

bool Transform(char* data, unsigned long width, unsigned long rows, unsigned short depth, bool undo) {
    if (depth != 1 && depth != 8 && depth != 16 && depth != 32) return false;
    unsigned long rowBytes = RowBytes(width, depth);
    unsigned char* bytes = reinterpret_cast<unsigned char*>(data);
    std::vector<unsigned char> scratch(depth == 32 ? rowBytes : 0);
    for (unsigned long r = 0; r < rows; ++r) {
        unsigned char* row = bytes + r * rowBytes;
        if (depth == 16) {
            if (undo) {
                for (unsigned long i = 1; i < width; ++i) {
                    unsigned int v = ((row[2 * i] << 8) | row[2 * i + 1]) + ((row[2 * i - 2] << 8) | row[2 * i - 1]);
                    row[2 * i] = static_cast<unsigned char>(v >> 8);
                    row[2 * i + 1] = static_cast<unsigned char>(v);
                }
            } else {
                for (unsigned long i = width; i-- > 1;) {
                    unsigned int v = ((row[2 * i] << 8) | row[2 * i + 1]) - ((row[2 * i - 2] << 8) | row[2 * i - 1]);
                    row[2 * i] = static_cast<unsigned char>(v >> 8);
                    row[2 * i + 1] = static_cast<unsigned char>(v);
                }
            }
        } else if (depth == 32) {
            if (undo) {
                UnpredictBytes(row, rowBytes);
                JoinBytes(row, width, scratch.data());
            } else {
                SplitBytes(row, width, scratch.data());
                PredictBytes(row, rowBytes);
            }
        } else if (undo) {
            UnpredictBytes(row, rowBytes);
        } else {
            PredictBytes(row, rowBytes);
        }
    }
    return true;
}

}  // namespace

bool PSDDeflate::Inflate(const char* in, unsigned long length, char* out, unsigned long outLength) {
    std::unique_ptr<libdeflate_decompressor, DecompressorDeleter> d(libdeflate_alloc_decompressor());
    if (!d) return false;
    size_t actual = 0;
    libdeflate_result result = libdeflate_zlib_decompress(d.get(), in, length, out, outLength, &actual);
    return result == LIBDEFLATE_SUCCESS && actual == outLength;
}

bool PSDDeflate::Deflate(const char* in, unsigned long length, std::vector<char>& out, int level) {
    std::unique_ptr<libdeflate_compressor, CompressorDeleter> c(libdeflate_alloc_compressor(level));
    if (!c) return false;
    size_t bound = libdeflate_zlib_compress_bound(c.get(), length);
    size_t start = out.size();
    out.resize(start + bound);
    size_t written = libdeflate_zlib_compress(c.get(), in, length, out.data() + start, bound);
    out.resize(start + written);
    return written != 0;
}

bool PSDDeflate::Unpredict(char* data, unsigned long width, unsigned long rows, unsigned short depth) {
    return Transform(data, width, rows, depth, true);
}

bool PSDDeflate::Predict(char* data, unsigned long width, unsigned long rows, unsigned short depth) {
    return Transform(data, width, rows, depth, false);
}

}  // namespace psdkit
