// The psdkit Python module: PSD documents with numpy pixels.

#include "PyPsdkit.h"

namespace py = pybind11;
using namespace psdkit::python;

namespace {

// str, bytes or any os.PathLike.
std::string PathText(const py::object& path) {
    py::object text = py::module_::import("os").attr("fsdecode")(path);
    return text.cast<std::string>();
}

}  // namespace

PYBIND11_MODULE(psdkit, m) {
    m.doc() = "Read and write Adobe Photoshop PSD files; pixels as numpy arrays.";
    m.attr("__version__") = PSDKIT_VERSION;
    py::register_exception<Error>(m, "Error", PyExc_Exception);

    BindDocument(m);

    m.def(
        "open", [](const py::object& path) { return OpenDocument(PathText(path)); }, py::arg("path"),
        "Reads a PSD file. FileNotFoundError when it is missing, psdkit.Error when it is not PSD.");
    m.def(
        "write",
        [](const py::object& path, py::array array, const std::string& compression) {
            WriteArray(PathText(path), std::move(array), compression);
        },
        py::arg("path"), py::arg("array"), py::arg("compression") = "rle",
        "Writes an (h, w), (h, w, 3) or (h, w, 4) uint8 or uint16 array as a grayscale or RGB file, "
        "compression 'rle', 'raw', 'zip' or 'zip_prediction'.");
}
