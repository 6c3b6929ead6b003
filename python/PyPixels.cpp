// Decoded pixels as numpy arrays.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "PyPsdkit.h"

namespace psdkit {
namespace python {

namespace {

struct Planes {
    std::vector<const char*> Data;
    unsigned long Width = 0;
    unsigned long Height = 0;
    unsigned short Depth = 8;
};

py::dtype RawType(unsigned short depth) {
    if (depth == 16) return py::dtype::of<std::uint16_t>();
    if (depth == 32) return py::dtype::of<float>();
    return py::dtype::of<std::uint8_t>();
}

// Planar samples as stored to an interleaved (h, w, n) array: 1-bit rows
// unpacked to 0 and 1 (1 is black), 16 bits to native uint16, 32 bits to float32.
py::array Interleave(const Planes& planes) {
    const std::size_t n = planes.Data.size();
    const unsigned long width = planes.Width;
    const unsigned long height = planes.Height;
    const unsigned short depth = planes.Depth;
    if (depth != 1 && depth != 8 && depth != 16 && depth != 32)
        throw Error("samples of depth " + std::to_string(depth) + " have no array type");
    py::array out(RawType(depth),
                  std::vector<py::ssize_t>{static_cast<py::ssize_t>(height), static_cast<py::ssize_t>(width),
                                           static_cast<py::ssize_t>(n)});
    char* target = static_cast<char*>(out.mutable_data());
    py::gil_scoped_release release;
    const unsigned long rowBytes = depth == 1 ? (width + 7) / 8 : width * (depth / 8);
    for (std::size_t p = 0; p < n; ++p) {
        const unsigned char* plane = reinterpret_cast<const unsigned char*>(planes.Data[p]);
        for (unsigned long y = 0; y < height; ++y) {
            const unsigned char* row = plane + y * rowBytes;
            if (depth == 1) {
                auto* o = reinterpret_cast<std::uint8_t*>(target) + y * width * n + p;
                for (unsigned long x = 0; x < width; ++x) o[x * n] = (row[x >> 3] >> (7 - (x & 7))) & 1;
            } else if (depth == 8) {
                auto* o = reinterpret_cast<std::uint8_t*>(target) + y * width * n + p;
                for (unsigned long x = 0; x < width; ++x) o[x * n] = row[x];
            } else if (depth == 16) {
                auto* o = reinterpret_cast<std::uint16_t*>(target) + y * width * n + p;
                for (unsigned long x = 0; x < width; ++x)
                    o[x * n] = static_cast<std::uint16_t>((row[2 * x] << 8) | row[2 * x + 1]);
            } else {
                auto* o = reinterpret_cast<float*>(target) + y * width * n + p;
                for (unsigned long x = 0; x < width; ++x) {
                    const unsigned char* s = row + 4 * x;
                    std::uint32_t bits = (std::uint32_t(s[0]) << 24) | (std::uint32_t(s[1]) << 16) |
                                         (std::uint32_t(s[2]) << 8) | std::uint32_t(s[3]);
                    float value;
                    std::memcpy(&value, &bits, 4);
                    o[x * n] = value;
                }
            }
        }
    }
    return out;
}

std::string ProblemText(const std::string& what, const PSDPixels& pixels) {
    std::string text = what;
    if (pixels.GetNumProblems() == 0) return text + ": cannot be decoded";
    text += ": ";
    text += pixels.GetProblem(0);
    if (pixels.GetNumProblems() > 1) text += " (and " + std::to_string(pixels.GetNumProblems() - 1) + " more)";
    return text;
}

// A failed decode raises in strict mode; otherwise each problem is a warning
// and the caller returns what was decoded (zeros where it could not be).
void CheckDecode(bool ok, bool strict, const std::string& what, const PSDPixels& pixels) {
    if (ok) return;
    if (strict || pixels.GetNumPlanes() == 0) throw Error(ProblemText(what, pixels));
    for (unsigned long i = 0; i < pixels.GetNumProblems(); ++i) {
        std::string line = what + ": " + pixels.GetProblem(i);
        if (PyErr_WarnEx(PyExc_RuntimeWarning, line.c_str(), 1) != 0) throw py::error_already_set();
    }
}

void CheckDepth(int depth) {
    if (depth != 8 && depth != 16) throw py::value_error("depth must be 8 or 16, not " + std::to_string(depth));
}

Planes PlanesOf(const PSDPixels& pixels) {
    Planes planes;
    for (unsigned short p = 0; p < pixels.GetNumPlanes(); ++p) planes.Data.push_back(pixels.GetPlane(p));
    planes.Width = pixels.GetWidth();
    planes.Height = pixels.GetHeight();
    planes.Depth = pixels.GetDepth();
    return planes;
}

// The interleaved sRGB of a decoder as an array that owns the decoder, so
// nothing is copied.
py::array RGBArray(std::unique_ptr<PSDPixels> pixels, int depth) {
    const auto height = static_cast<py::ssize_t>(pixels->GetHeight());
    const auto width = static_cast<py::ssize_t>(pixels->GetWidth());
    const auto channels = static_cast<py::ssize_t>(pixels->GetInterleavedChannels());
    const char* data = pixels->GetInterleaved();
    const py::ssize_t item = depth == 16 ? 2 : 1;
    if (data == nullptr ||
        static_cast<unsigned long>(height * width * channels * item) != pixels->GetInterleavedLength())
        throw Error("the colour conversion gave no image");
    PSDPixels* owner = pixels.release();
    py::capsule keep(owner, [](void* p) { delete static_cast<PSDPixels*>(p); });
    py::dtype type = depth == 16 ? py::dtype::of<std::uint16_t>() : py::dtype::of<std::uint8_t>();
    py::array out(type, {height, width, channels}, {width * channels * item, channels * item, item}, data, keep);
    // The array views the decoder's buffer; it is the only owner, so writes are fine.
    return out;
}

py::array EmptyArray(unsigned long height, unsigned long width, std::size_t channels, py::dtype type) {
    return py::array(type, std::vector<py::ssize_t>{static_cast<py::ssize_t>(height), static_cast<py::ssize_t>(width),
                                                    static_cast<py::ssize_t>(channels)});
}

// The embedded ICC profile (resource 1039), or null; the document keeps it.
const PSDResourceBlock* ProfileBlock(Document& doc) {
    PSDImageRes* resources = doc.File.GetImageResources();
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        const PSDResourceBlock* block = resources->GetResourceBlock(i);
        if (block->GetResourceID() == PSDResourceBlock::RS_1039 && block->GetDataBlock() != nullptr) return block;
    }
    return nullptr;
}

// Converts straight into the array's memory: numpy asks the kernel for huge
// pages for large arrays, and nothing is zeroed first. Indexed images need the
// colour table the decoder keeps, so they go through its own conversion.
py::array Finish(std::unique_ptr<PSDPixels> pixels, Document& doc, bool raw, int depth, const std::string& what) {
    if (raw) return Interleave(PlanesOf(*pixels));
    const auto outDepth = static_cast<unsigned short>(depth);
    const std::string refused = what + ": cannot be converted to sRGB (" + std::to_string(pixels->GetDepth()) +
                                "-bit, mode " + std::to_string(pixels->GetMode()) + ")";
    if (pixels->GetMode() == PSDHeader::MODE_INDEXED) {
        bool converted;
        {
            py::gil_scoped_release release;
            converted = pixels->ConvertToRGB(outDepth, true);
        }
        if (!converted) throw Error(refused);
        return RGBArray(std::move(pixels), depth);
    }

    std::vector<const char*> planes;
    for (unsigned short p = 0; p < pixels->GetNumPlanes(); ++p) planes.push_back(pixels->GetPlane(p));
    PSDColorConverter::Source source;
    source.Planes = planes.data();
    source.NumPlanes = static_cast<unsigned short>(planes.size());
    source.Width = pixels->GetWidth();
    source.Height = pixels->GetHeight();
    source.Depth = pixels->GetDepth();
    source.Mode = pixels->GetMode();
    source.AlphaPlane = pixels->GetAlphaPlane();
    if (const PSDResourceBlock* profile = ProfileBlock(doc)) {
        source.Profile = profile->GetDataBlock();
        source.ProfileLength = std::min(profile->GetDataBlockSize(), profile->GetDataBlockCapacity());
    }
    const unsigned long length = PSDColorConverter::InterleavedLength(source, outDepth, true);
    const std::size_t channels = source.AlphaPlane >= 0 ? 4 : 3;
    py::array out = EmptyArray(source.Height, source.Width, channels,
                               depth == 16 ? py::dtype::of<std::uint16_t>() : py::dtype::of<std::uint8_t>());
    if (length == 0 || length != static_cast<unsigned long>(out.nbytes())) throw Error(refused);
    char* target = static_cast<char*>(out.mutable_data());
    bool converted;
    {
        py::gil_scoped_release release;
        converted = PSDColorConverter::ToRGB(source, outDepth, true, target);
    }
    if (!converted) throw Error(refused);
    return out;
}

// The decoder's own lines name the layer and channel.
std::string LayerWhat(const Layer& layer) { return layer.Doc->Path; }

}  // namespace

py::array Composite(const DocumentPtr& doc, bool raw, int depth, bool strict) {
    if (!raw) CheckDepth(depth);
    auto pixels = std::make_unique<PSDPixels>();
    bool ok;
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(doc->DecodeLock);
        ok = pixels->DecodeComposite(doc->File);
    }
    const std::string what = doc->Path + ": composite";
    CheckDecode(ok, strict, what, *pixels);
    return Finish(std::move(pixels), *doc, raw, depth, what);
}

py::array LayerPixels(const Layer& layer, bool raw, int depth, bool applyMask, bool strict) {
    if (!raw) CheckDepth(depth);
    Document& doc = *layer.Doc;
    // The decoder takes the 'Lr16'/'Lr32' records where the layer info has none.
    if (layer.InTaggedBlock && doc.File.GetLayers()->GetLayerCount() != 0)
        throw Error(LayerWhat(layer) + ": layer " + std::to_string(layer.Index) +
                    ": a tagged-block layer beside layer info records cannot be decoded whole");
    auto pixels = std::make_unique<PSDPixels>();
    bool ok;
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(doc.DecodeLock);
        ok = pixels->DecodeLayer(doc.File, layer.Index, applyMask);
    }
    const std::string what = LayerWhat(layer);
    if (ok && (pixels->GetWidth() == 0 || pixels->GetHeight() == 0)) {
        std::size_t channels = raw ? pixels->GetNumPlanes() : (pixels->GetAlphaPlane() >= 0 ? 4 : 3);
        py::dtype type = raw ? RawType(pixels->GetDepth())
                             : (depth == 16 ? py::dtype::of<std::uint16_t>() : py::dtype::of<std::uint8_t>());
        return EmptyArray(pixels->GetHeight(), pixels->GetWidth(), channels, type);
    }
    CheckDecode(ok, strict, what, *pixels);
    return Finish(std::move(pixels), doc, raw, depth, what);
}

py::array ChannelPixels(const Channel& channel, bool strict) {
    const Layer& layer = channel.Owner;
    Document& doc = *layer.Doc;
    PSDPixels pixels;
    bool ok;
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(doc.DecodeLock);
        ok = layer.InTaggedBlock ? pixels.DecodeTaggedLayerChannel(doc.File, layer.Index, channel.Index)
                                 : pixels.DecodeLayerChannel(doc.File, layer.Index, channel.Index);
    }
    CheckDecode(ok, strict, LayerWhat(layer), pixels);
    Planes planes = PlanesOf(pixels);
    if (planes.Width == 0 || planes.Height == 0 || planes.Data.empty() || planes.Data[0] == nullptr)
        return py::array(RawType(planes.Depth), std::vector<py::ssize_t>{static_cast<py::ssize_t>(planes.Height),
                                                                         static_cast<py::ssize_t>(planes.Width)});
    planes.Data.resize(1);
    py::array out = Interleave(planes);
    return out.attr("reshape")(py::make_tuple(planes.Height, planes.Width));
}

}  // namespace python
}  // namespace psdkit
