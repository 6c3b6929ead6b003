// Shared parts of the Python module: the document a Python object holds, the
// exception type, and the pixel and writer entry points.
#ifndef PSDKIT_PYTHON_PYPSDKIT_H
#define PSDKIT_PYTHON_PYPSDKIT_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include "psdkit/psdkit.h"

namespace psdkit {
namespace python {

namespace py = pybind11;

// Raised as psdkit.Error.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A document read from a file. Layers, resources and channels keep it alive
// through a shared pointer. Decoding is serialised per document: the library
// reads the document's buffers while it decodes.
struct Document {
    std::string Path;
    PhotoshopFile File;
    std::mutex DecodeLock;
    // Read once at open, so that no later call changes the document.
    PSDLayers* TaggedLayers = nullptr;
};
using DocumentPtr = std::shared_ptr<Document>;

// A layer record of a document, from the layer info or an 'Lr16'/'Lr32' block.
struct Layer {
    DocumentPtr Doc;
    unsigned short Index;
    bool InTaggedBlock;

    PSDLayers* Records() const { return InTaggedBlock ? Doc->TaggedLayers : Doc->File.GetLayers(); }
};

// One channel of a layer record.
struct Channel {
    Layer Owner;
    unsigned short Index;
};

// One image resource block.
struct Resource {
    DocumentPtr Doc;
    unsigned long Index;

    PSDResourceBlock* Block() const { return Doc->File.GetImageResources()->GetResourceBlock(Index); }
};

// Reads a file; FileNotFoundError and the other OSErrors for what the system
// refuses, Error for a file that is not PSD.
DocumentPtr OpenDocument(const std::string& path);

// The composite as an array: planes as stored or converted to sRGB.
py::array Composite(const DocumentPtr& doc, bool raw, int depth, bool strict);
// A whole layer over its rectangle.
py::array LayerPixels(const Layer& layer, bool raw, int depth, bool applyMask, bool strict);
// One channel over the rectangle it covers, as a 2-D array.
py::array ChannelPixels(const Channel& channel, bool strict);

// Writes an (h, w), (h, w, 1), (h, w, 3) or (h, w, 4) array of uint8 or uint16.
void WriteArray(const std::string& path, py::array array, const std::string& compression);

// The text PrintInfo writes to standard output.
std::string CapturePrintInfo(PSDResourceBlock* block);

void BindDocument(py::module_& m);

}  // namespace python
}  // namespace psdkit

#endif
