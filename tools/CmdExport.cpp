// psdkit export: the composite image of a PSD file as PNG, PPM, PGM or PAM.

#include <iostream>
#include <vector>

#include "Cli.h"
#include "OutputFile.h"
#include "Raster.h"

namespace psdkit {
namespace cli {

namespace {

const char* EXPORT_USAGE =
    "usage: psdkit export FILE OUT [--depth 8|16] [--force]\n"
    "\n"
    "Writes the composite image of a PSD file in sRGB, as a viewer shows it.\n"
    "The format follows OUT's extension: .png, .ppm, .pgm or .pam. Gray,\n"
    "duotone and bitmap documents come out gray (a .ppm of them is RGB); a\n"
    "document with transparency keeps it in PNG and PAM. A damaged image is\n"
    "written as far as it decodes, and the run exits with 1.\n"
    "\n"
    "  --depth 8|16   bits per sample (default: 16 for 16- and 32-bit documents)\n"
    "  --force        replace OUT if it exists\n";

// Rows converted and written at a time: a few megabytes, so the image is
// never held twice.
const unsigned long BAND_BYTES = 4UL << 20;

const unsigned short RESOURCE_ICC_PROFILE = 1039;

bool IsGrayMode(unsigned short mode) {
    return mode == PSDHeader::MODE_GRAYSCALE || mode == PSDHeader::MODE_DUOTONE || mode == PSDHeader::MODE_BITMAP;
}

// Keeps the first channel of each pixel (and its alpha): gray documents come
// out of the converter with three equal channels.
void KeepGray(unsigned char* data, unsigned long pixels, unsigned from, unsigned to, unsigned bytes) {
    for (unsigned long i = 0; i < pixels; ++i) {
        unsigned char* d = data + i * to * bytes;
        const unsigned char* s = data + i * from * bytes;
        for (unsigned b = 0; b < bytes; ++b) d[b] = s[b];
        if (to == 2)
            for (unsigned b = 0; b < bytes; ++b) d[bytes + b] = s[3 * bytes + b];
    }
}

}  // namespace

int RunExport(const std::vector<std::string>& args) {
    for (const std::string& arg : args)
        if (arg == "--layers" || arg == "--layer") return RunExportLayers(args);
    std::vector<std::string> files;
    bool force = false;
    unsigned depth = 0;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (IsHelp(arg)) {
            std::cout << EXPORT_USAGE;
            return EXIT_OK;
        }
        if (arg == "--force") {
            force = true;
        } else if (arg == "--depth") {
            if (i + 1 >= args.size() || (args[i + 1] != "8" && args[i + 1] != "16"))
                return Fail(EXIT_USAGE, "export: --depth takes 8 or 16");
            depth = args[++i] == "8" ? 8 : 16;
        } else if (!arg.empty() && arg[0] == '-') {
            return Fail(EXIT_USAGE, "export: unknown option '" + arg + "'");
        } else {
            files.push_back(arg);
        }
    }
    if (files.size() != 2)
        return Fail(EXIT_USAGE, "export: give one PSD file and one output (see psdkit export --help)");
    const std::string& in = files[0];
    const std::string& out = files[1];
    ImageFormat format = FormatFromName(out);
    if (format == ImageFormat::UNKNOWN)
        return Fail(EXIT_USAGE, "export: " + out + ": the name must end in .png, .ppm, .pgm or .pam");
    OutputFile output;
    std::string error;
    if (!output.Prepare(out, force, &error)) return Fail(EXIT_FAILURE_RUN, error);

    PhotoshopFile document;
    int status = ReadDocument(in, &document);
    if (status != EXIT_OK) return status;
    PSDPixels pixels;
    bool intact = pixels.DecodeComposite(document);
    if (pixels.GetNumPlanes() == 0)
        return Fail(EXIT_FAILURE_RUN, in + ": cannot decode the image" +
                                          (pixels.GetNumProblems() ? std::string(": ") + pixels.GetProblem(0) : ""));
    if (depth == 0) depth = pixels.GetDepth() > 8 ? 16 : 8;

    PSDColorConverter::Source source;
    std::vector<const char*> planes(pixels.GetNumPlanes());
    for (unsigned short i = 0; i < pixels.GetNumPlanes(); ++i) planes[i] = pixels.GetPlane(i);
    source.Planes = planes.data();
    source.NumPlanes = pixels.GetNumPlanes();
    source.Width = pixels.GetWidth();
    source.Height = pixels.GetHeight();
    source.Depth = pixels.GetDepth();
    source.Mode = pixels.GetMode();
    source.AlphaPlane = pixels.GetAlphaPlane();
    // A flat document keeps its transparency in the first channel after the
    // colours, as psd-tools, Pillow and ImageMagick read it.
    unsigned short colorPlanes = PSDColorConverter::ColorPlanes(source.Mode);
    // (Indexed images are converted by the decoder, which knows only its own.)
    if (source.AlphaPlane < 0 && document.GetLayers()->GetLayerCount() == 0 && source.Mode != PSDHeader::MODE_INDEXED &&
        source.Mode != PSDHeader::MODE_MULTICHANNEL && source.NumPlanes > colorPlanes)
        source.AlphaPlane = colorPlanes;
    PSDImageRes* resources = document.GetImageResources();
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        PSDResourceBlock* block = resources->GetResourceBlock(i);
        if (!block || block->GetResourceID() != RESOURCE_ICC_PROFILE || !block->GetDataBlock()) continue;
        source.Profile = block->GetDataBlock();
        source.ProfileLength = std::min(block->GetDataBlockSize(), block->GetDataBlockCapacity());
        break;
    }

    const bool alpha = (format == ImageFormat::PNG || format == ImageFormat::PAM) && source.AlphaPlane >= 0;
    const bool gray = format == ImageFormat::PGM || (format != ImageFormat::PPM && IsGrayMode(source.Mode));
    if (format == ImageFormat::PGM && !IsGrayMode(source.Mode))
        return Fail(EXIT_FAILURE_RUN, out + ": PGM holds gray images and " + in + " is " +
                                          document.GetImageModeAsName() + " (use .png, .ppm or .pam)");
    const unsigned converted = alpha ? 4 : 3;
    const unsigned channels = gray ? (alpha ? 2 : 1) : converted;
    const unsigned long width = source.Width, height = source.Height;
    const unsigned long convertedRow = PSDColorConverter::InterleavedLength(source, depth, alpha) / height;
    if (convertedRow == 0) return Fail(EXIT_FAILURE_RUN, in + ": the image is too large to convert");

    std::FILE* file = output.Open(&error);
    if (!file) return Fail(EXIT_FAILURE_RUN, error);
    ImageWriter writer;
    if (!writer.Begin(file, format, width, height, channels, depth))
        return Fail(EXIT_FAILURE_RUN, out + ": " + writer.GetError());

    // Indexed colour needs the colour table only the decoder holds: it is
    // converted whole. Everything else goes band by band.
    if (source.Mode == PSDHeader::MODE_INDEXED) {
        if (!pixels.ConvertToRGB(static_cast<unsigned short>(depth), alpha))
            return Fail(EXIT_FAILURE_RUN, in + ": cannot convert the colours of the image");
        if (!writer.WriteRows(reinterpret_cast<const unsigned char*>(pixels.GetInterleaved()), height))
            return Fail(EXIT_FAILURE_RUN, out + ": " + writer.GetError());
    } else {
        const unsigned long bandRows = convertedRow >= BAND_BYTES ? 1 : BAND_BYTES / convertedRow;
        const unsigned long planeRow = source.Depth == 1 ? (width + 7) / 8 : width * (source.Depth / 8);
        std::vector<unsigned char> band(bandRows * convertedRow);
        std::vector<const char*> bandPlanes(planes.size());
        for (unsigned long y = 0; y < height; y += bandRows) {
            PSDColorConverter::Source part = source;
            part.Height = std::min(bandRows, height - y);
            for (std::size_t i = 0; i < planes.size(); ++i) bandPlanes[i] = planes[i] + y * planeRow;
            part.Planes = bandPlanes.data();
            if (!PSDColorConverter::ToRGB(part, static_cast<unsigned short>(depth), alpha,
                                          reinterpret_cast<char*>(band.data())))
                return Fail(EXIT_FAILURE_RUN, in + ": cannot convert the colours of the image");
            if (gray) KeepGray(band.data(), width * part.Height, converted, channels, depth / 8);
            if (!writer.WriteRows(band.data(), part.Height))
                return Fail(EXIT_FAILURE_RUN, out + ": " + writer.GetError());
        }
    }
    if (!writer.Finish()) return Fail(EXIT_FAILURE_RUN, out + ": " + writer.GetError());
    if (!output.Commit(&error)) return Fail(EXIT_FAILURE_RUN, error);
    if (!intact)
        return Fail(EXIT_FAILURE_RUN,
                    in + ": damaged image data, wrote what could be decoded" +
                        (pixels.GetNumProblems() ? std::string(" (") + pixels.GetProblem(0) + ")" : ""));
    return EXIT_OK;
}

}  // namespace cli
}  // namespace psdkit
