// A PSD file from a numpy array.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "PyPsdkit.h"

namespace psdkit {
namespace python {

namespace {

// Photoshop's limit on either side of a version-1 file.
constexpr py::ssize_t MAX_SIDE = 30000;

// Planar, big-endian samples: the composite as stored with compression 0.
template <typename T>
std::vector<char> PlanarBigEndian(const T* data, std::size_t height, std::size_t width, std::size_t channels) {
    const std::size_t plane = height * width * sizeof(T);
    std::vector<char> out(plane * channels);
    for (std::size_t c = 0; c < channels; ++c) {
        unsigned char* o = reinterpret_cast<unsigned char*>(out.data()) + c * plane;
        const T* s = data + c;
        for (std::size_t i = 0; i < height * width; ++i, s += channels) {
            if (sizeof(T) == 1) {
                *o++ = static_cast<unsigned char>(*s);
            } else {
                *o++ = static_cast<unsigned char>(*s >> 8);
                *o++ = static_cast<unsigned char>(*s & 0xFF);
            }
        }
    }
    return out;
}

// PackBits of one row: runs of 2 to 128 equal bytes as a repeat, the rest
// as literal spans of at most 128 bytes.
void PackRow(const unsigned char* row, std::size_t length, std::vector<char>& out) {
    std::size_t i = 0;
    while (i < length) {
        std::size_t run = 1;
        while (i + run < length && run < 128 && row[i + run] == row[i]) ++run;
        if (run >= 2) {
            out.push_back(static_cast<char>(1 - static_cast<int>(run)));
            out.push_back(static_cast<char>(row[i]));
            i += run;
            continue;
        }
        std::size_t start = i;
        while (i < length && i - start < 128) {
            if (i + 1 < length && row[i + 1] == row[i]) break;
            ++i;
        }
        out.push_back(static_cast<char>(i - start - 1));
        out.insert(out.end(), reinterpret_cast<const char*>(row + start), reinterpret_cast<const char*>(row + i));
    }
}

// The RLE composite: a table of every row's byte count (2 bytes each, all
// rows of all channels), then the packed rows, channel after channel.
std::vector<char> PackPlanes(const std::vector<char>& planar, std::size_t rows, std::size_t rowBytes) {
    std::vector<char> out(rows * 2);
    out.reserve(rows * 2 + planar.size() + planar.size() / 64);
    for (std::size_t r = 0; r < rows; ++r) {
        std::size_t before = out.size();
        PackRow(reinterpret_cast<const unsigned char*>(planar.data()) + r * rowBytes, rowBytes, out);
        std::size_t packed = out.size() - before;
        out[2 * r] = static_cast<char>((packed >> 8) & 0xFF);
        out[2 * r + 1] = static_cast<char>(packed & 0xFF);
    }
    return out;
}

}  // namespace

void WriteArray(const std::string& path, py::array array, const std::string& compression) {
    unsigned short code;
    if (compression == "raw") {
        code = PSDImageData::COMPRESSION_RAW;
    } else if (compression == "rle") {
        code = PSDImageData::COMPRESSION_RLE;
    } else {
        throw py::value_error("compression must be 'raw' or 'rle', not '" + compression + "'");
    }

    unsigned short depth;
    if (array.dtype().is(py::dtype::of<std::uint8_t>())) {
        depth = 8;
    } else if (array.dtype().is(py::dtype::of<std::uint16_t>())) {
        depth = 16;
    } else {
        throw py::type_error("array must be uint8 or uint16, not " + std::string(py::str(array.dtype())));
    }
    if (array.ndim() != 2 && array.ndim() != 3) throw py::value_error("array must be (h, w), (h, w, 3) or (h, w, 4)");
    const py::ssize_t height = array.shape(0);
    const py::ssize_t width = array.shape(1);
    const py::ssize_t channels = array.ndim() == 2 ? 1 : array.shape(2);
    if (channels != 1 && channels != 3 && channels != 4)
        throw py::value_error("array must have 1, 3 or 4 channels, not " + std::to_string(channels));
    if (height < 1 || width < 1 || height > MAX_SIDE || width > MAX_SIDE)
        throw py::value_error("width and height must be 1 to 30000");

    py::array contiguous = py::module_::import("numpy").attr("ascontiguousarray")(array);

    // An unwritable place shows as the OSError Python users expect.
    if (std::FILE* probe = std::fopen(path.c_str(), "ab")) {
        std::fclose(probe);
    } else {
        PyErr_SetFromErrnoWithFilename(errno == ENOENT ? PyExc_FileNotFoundError
                                       : errno == EACCES ? PyExc_PermissionError
                                       : errno == EISDIR ? PyExc_IsADirectoryError
                                                         : PyExc_OSError,
                                       path.c_str());
        throw py::error_already_set();
    }

    bool written;
    {
        py::gil_scoped_release release;
        const auto h = static_cast<std::size_t>(height);
        const auto w = static_cast<std::size_t>(width);
        const auto n = static_cast<std::size_t>(channels);
        std::vector<char> data = depth == 8
                                     ? PlanarBigEndian(static_cast<const std::uint8_t*>(contiguous.data()), h, w, n)
                                     : PlanarBigEndian(static_cast<const std::uint16_t*>(contiguous.data()), h, w, n);
        if (code == PSDImageData::COMPRESSION_RLE) data = PackPlanes(data, h * n, w * depth / 8);

        PhotoshopFile file;
        written = file.OpenWriteFile(path.c_str());
        if (written) {
            file.SetImageWidth(static_cast<unsigned long>(width));
            file.SetImageHeight(static_cast<unsigned long>(height));
            file.SetImageChannels(static_cast<unsigned short>(channels));
            file.SetImageDepth(depth);
            file.SetImageMode(channels == 1 ? PSDHeader::MODE_GRAYSCALE : PSDHeader::MODE_RGB);
            file.SetImageCompression(code);
            written = file.SetImageData(data.data(), static_cast<unsigned long>(data.size())) &&
                      file.CommitWriteFile();
        }
    }
    if (!written) throw Error(path + ": cannot be written");
}

}  // namespace python
}  // namespace psdkit
