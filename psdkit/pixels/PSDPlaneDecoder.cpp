#include "psdkit/pixels/PSDPlaneDecoder.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>

#include "psdkit/core/PSDImageData.h"
#include "psdkit/pixels/PSDDeflate.h"
#include "psdkit/pixels/PSDPackBits.h"

namespace psdkit {

namespace {

const unsigned long HUGE_PAGE = 2UL << 20;
const unsigned long PACKBITS_RATIO = 64;

void Report(std::vector<std::string>* problems, const std::string& line) {
    if (problems) problems->push_back(line);
}

// `rows` rows whose byte counts stand in `table`, the rows themselves from
// `rowData` on; each goes to `out` + row x rowBytes. A row that fails is
// zero-filled and reported.
bool DecodeRLERows(const unsigned char* table, const char* rowData, unsigned long available, unsigned long rows,
                   unsigned long rowBytes, char* const* planes, unsigned long rowsPerPlane,
                   std::vector<std::string>* problems) {
    bool ok = true;
    unsigned long offset = 0;
    unsigned long failed = 0;
    unsigned long firstFailed = 0;
    for (unsigned long r = 0; r < rows; ++r) {
        unsigned long count = (static_cast<unsigned long>(table[2 * r]) << 8) | table[2 * r + 1];
        char* row = planes[r / rowsPerPlane] + (r % rowsPerPlane) * rowBytes;
        unsigned long start = offset;
        offset += count;
        bool rowOk;
        if (start >= available) {
            rowOk = rowBytes == 0;
            if (!rowOk) std::memset(row, 0, rowBytes);
        } else {
            unsigned long have = available - start < count ? available - start : count;
            rowOk = PSDPackBits::DecodeRow(rowData + start, have, row, rowBytes);
            if (!rowOk) std::memset(row, 0, rowBytes);
        }
        if (!rowOk) {
            if (failed++ == 0) firstFailed = r;
            ok = false;
        }
    }
    if (failed) {
        Report(problems, "RLE: " + std::to_string(failed) + " of " + std::to_string(rows) +
                             " rows could not be decoded and were filled with zeros (first: channel " +
                             std::to_string(firstFailed / rowsPerPlane) + ", row " +
                             std::to_string(firstFailed % rowsPerPlane) + ")");
    }
    return ok;
}

void FillPlanes(char* const* planes, unsigned short count, unsigned long planeLength) {
    for (unsigned short c = 0; c < count; ++c) std::memset(planes[c], 0, planeLength);
}

// Decodes the common forms for `count` planes held back to back in the data.
bool Decode(const char* data, unsigned long length, unsigned short compression, unsigned long width,
            unsigned long height, unsigned short count, unsigned short depth, char* const* planes,
            std::vector<std::string>* problems) {
    unsigned long rowBytes = PSDPlaneDecoder::RowBytes(width, depth);
    unsigned long planeLength = 0;
    if ((rowBytes == 0 && width != 0) || !PSDPlaneDecoder::PlaneLength(width, height, depth, &planeLength)) {
        Report(problems, "unsupported depth " + std::to_string(depth));
        return false;
    }
    if (count == 0 || planeLength == 0) return true;
    unsigned long rows = height * count;
    if (height > ~0UL / count || planeLength > ~0UL / count) {
        Report(problems, "image too large");
        FillPlanes(planes, count, planeLength);
        return false;
    }
    switch (compression) {
        case PSDImageData::COMPRESSION_RAW: {
            bool ok = true;
            for (unsigned short c = 0; c < count; ++c) {
                unsigned long start = c * planeLength;
                unsigned long have = !data || start >= length ? 0 : length - start;
                if (have >= planeLength) {
                    std::memcpy(planes[c], data + start, planeLength);
                } else {
                    if (have) std::memcpy(planes[c], data + start, have);
                    std::memset(planes[c] + have, 0, planeLength - have);
                    ok = false;
                }
            }
            if (!ok) Report(problems, "raw: the data ends early; the rest is filled with zeros");
            return ok;
        }
        case PSDImageData::COMPRESSION_RLE: {
            if (rows > ~0UL / 2 || 2 * rows > length) {
                Report(problems, "RLE: the row byte-count table does not fit in the data");
                FillPlanes(planes, count, planeLength);
                return false;
            }
            return DecodeRLERows(reinterpret_cast<const unsigned char*>(data), data + 2 * rows, length - 2 * rows, rows,
                                 rowBytes, planes, height, problems);
        }
        case PSDImageData::COMPRESSION_ZIP:
        case PSDImageData::COMPRESSION_ZIP_PREDICTION: {
            bool ok;
            if (count == 1) {
                ok = PSDDeflate::Inflate(data, length, planes[0], planeLength);
                if (ok && compression == PSDImageData::COMPRESSION_ZIP_PREDICTION)
                    ok = PSDDeflate::Unpredict(planes[0], width, height, depth);
                if (!ok) std::memset(planes[0], 0, planeLength);
            } else {
                // One stream over all planes. Planes held back to back take it
                // directly; others go through one block of that size.
                bool adjacent = true;
                for (unsigned short c = 1; c < count; ++c)
                    adjacent = adjacent && planes[c] == planes[0] + c * planeLength;
                char* joined = adjacent ? planes[0] : PSDPlaneDecoder::AllocatePlaneMemory(planeLength * count);
                if (!joined) {
                    Report(problems, "deflate: out of memory");
                    FillPlanes(planes, count, planeLength);
                    return false;
                }
                ok = PSDDeflate::Inflate(data, length, joined, planeLength * count);
                if (ok && compression == PSDImageData::COMPRESSION_ZIP_PREDICTION)
                    ok = PSDDeflate::Unpredict(joined, width, rows, depth);
                if (adjacent) {
                    if (!ok) std::memset(joined, 0, planeLength * count);
                } else {
                    for (unsigned short c = 0; c < count; ++c) {
                        if (ok)
                            std::memcpy(planes[c], joined + c * planeLength, planeLength);
                        else
                            std::memset(planes[c], 0, planeLength);
                    }
                    PSDPlaneDecoder::FreePlaneMemory(joined);
                }
            }
            if (!ok)
                Report(problems,
                       "deflate: the stream is damaged or does not inflate to the image's size; filled with zeros");
            return ok;
        }
        default:
            Report(problems, "unknown compression " + std::to_string(compression));
            FillPlanes(planes, count, planeLength);
            return false;
    }
}

}  // namespace

unsigned long PSDPlaneDecoder::RowBytes(unsigned long width, unsigned short depth) {
    switch (depth) {
        case 1: return width / 8 + (width % 8 != 0);
        case 8: return width;
        case 16: return width > ~0UL / 2 ? 0 : width * 2;
        case 32: return width > ~0UL / 4 ? 0 : width * 4;
        default: return 0;
    }
}

bool PSDPlaneDecoder::PlaneLength(unsigned long width, unsigned long height, unsigned short depth,
                                  unsigned long* length) {
    if (depth != 1 && depth != 8 && depth != 16 && depth != 32) return false;
    unsigned long rowBytes = RowBytes(width, depth);
    if (rowBytes == 0 && width != 0) return false;
    if (rowBytes != 0 && height > ~0UL / rowBytes) return false;
    *length = rowBytes * height;
    return true;
}

bool PSDPlaneDecoder::CanProduce(unsigned short compression, unsigned long inputLength, unsigned long outputLength) {
    unsigned long ratio =
        compression == PSDImageData::COMPRESSION_ZIP || compression == PSDImageData::COMPRESSION_ZIP_PREDICTION
            ? PSDDeflate::MAX_RATIO
            : PACKBITS_RATIO;
    if (outputLength == 0) return true;
    return inputLength != 0 && (outputLength - 1) / ratio < inputLength;
}

bool PSDPlaneDecoder::DecodeChannel(const char* data, unsigned long length, unsigned short compression,
                                    unsigned long width, unsigned long height, unsigned short depth, char* plane,
                                    std::vector<std::string>* problems) {
    char* const planes[1] = {plane};
    return Decode(data, length, compression, width, height, 1, depth, planes, problems);
}

bool PSDPlaneDecoder::DecodeImage(const char* data, unsigned long length, unsigned short compression,
                                  unsigned long width, unsigned long height, unsigned short channels,
                                  unsigned short depth, char* const* planes, std::vector<std::string>* problems) {
    return Decode(data, length, compression, width, height, channels, depth, planes, problems);
}

char* PSDPlaneDecoder::AllocatePlaneMemory(unsigned long length) {
    if (length < HUGE_PAGE) return static_cast<char*>(std::malloc(length == 0 ? 1 : length));
    void* memory = nullptr;
    if (posix_memalign(&memory, HUGE_PAGE, length) != 0) return nullptr;
#ifdef MADV_HUGEPAGE
    madvise(memory, length & ~(HUGE_PAGE - 1), MADV_HUGEPAGE);
#endif
    return static_cast<char*>(memory);
}

void PSDPlaneDecoder::FreePlaneMemory(char* memory) { std::free(memory); }

}  // namespace psdkit
