// A PSD file from a numpy array.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "PyPsdkit.h"
#include "psdkit/pixels/PSDPlaneEncoder.h"

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

}  // namespace

void WriteArray(const std::string& path, py::array array, const std::string& compression) {
    unsigned short code;
    if (compression == "raw") {
        code = PSDImageData::COMPRESSION_RAW;
    } else if (compression == "rle") {
        code = PSDImageData::COMPRESSION_RLE;
    } else if (compression == "zip") {
        code = PSDImageData::COMPRESSION_ZIP;
    } else if (compression == "zip_prediction") {
        code = PSDImageData::COMPRESSION_ZIP_PREDICTION;
    } else {
        throw py::value_error("compression must be 'raw', 'rle', 'zip' or 'zip_prediction', not '" + compression + "'");
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
        PyErr_SetFromErrnoWithFilename(errno == ENOENT   ? PyExc_FileNotFoundError
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
        written = true;
        if (code != PSDImageData::COMPRESSION_RAW) {
            const std::size_t plane = h * w * depth / 8;
            std::vector<const char*> planes;
            for (std::size_t c = 0; c < n; ++c) planes.push_back(data.data() + c * plane);
            std::vector<char> packed;
            const auto count = static_cast<unsigned short>(n);
            written = code == PSDImageData::COMPRESSION_RLE
                          ? PSDPlaneEncoder::EncodeRLE(planes.data(), count, w, h, depth, packed)
                          : PSDPlaneEncoder::EncodeZip(planes.data(), count, w, h, depth,
                                                       code == PSDImageData::COMPRESSION_ZIP_PREDICTION, packed);
            data.swap(packed);
        }

        PhotoshopFile file;
        written = written && file.OpenWriteFile(path.c_str());
        if (written) {
            file.SetImageWidth(static_cast<unsigned long>(width));
            file.SetImageHeight(static_cast<unsigned long>(height));
            file.SetImageChannels(static_cast<unsigned short>(channels));
            file.SetImageDepth(depth);
            file.SetImageMode(channels == 1 ? PSDHeader::MODE_GRAYSCALE : PSDHeader::MODE_RGB);
            file.SetImageCompression(code);
            written = file.SetImageData(data.data(), static_cast<unsigned long>(data.size())) && file.CommitWriteFile();
        }
    }
    if (!written) throw Error(path + ": cannot be written");
}

}  // namespace python
}  // namespace psdkit
