// psdkit write: a PSD file from a PNG, PPM or PGM image.

#include <cstring>
#include <iostream>

#include "Cli.h"
#include "OutputFile.h"
#include "Raster.h"
#include "psdkit/pixels/PSDPlaneEncoder.h"

namespace psdkit {
namespace cli {

namespace {

const char* WRITE_USAGE =
    "usage: psdkit write OUT.psd --from IMAGE [--compression raw|rle] [--force]\n"
    "\n"
    "Writes a flat PSD file from a PNG, a binary PPM (P6) or a PGM (P5) image of\n"
    "8 or 16 bits. Gray images give a Grayscale document, colour ones RGB; an\n"
    "alpha channel becomes one more channel after the colours.\n"
    "\n"
    "  --from IMAGE          the source image\n"
    "  --compression MODE    raw (the default) or rle\n"
    "  --force               replace OUT.psd if it exists\n";

// Interleaved samples to planes one after the other, 16-bit ones big-endian
// as the file stores them.
std::vector<char> ToPlanes(const Raster& image) {
    const unsigned long pixels = image.width * image.height;
    const unsigned bytes = image.depth / 8;
    std::vector<char> planes(pixels * image.channels * bytes);
    for (unsigned c = 0; c < image.channels; ++c) {
        char* plane = planes.data() + c * pixels * bytes;
        if (bytes == 1) {
            const unsigned char* s = image.samples.data() + c;
            for (unsigned long i = 0; i < pixels; ++i, s += image.channels) plane[i] = static_cast<char>(*s);
        } else {
            const unsigned short* s = reinterpret_cast<const unsigned short*>(image.samples.data()) + c;
            for (unsigned long i = 0; i < pixels; ++i, s += image.channels) {
                plane[2 * i] = static_cast<char>(*s >> 8);
                plane[2 * i + 1] = static_cast<char>(*s & 0xFF);
            }
        }
    }
    return planes;
}

}  // namespace

int RunWrite(const std::vector<std::string>& args) {
    std::string out, from;
    bool force = false, rle = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (IsHelp(arg)) {
            std::cout << WRITE_USAGE;
            return EXIT_OK;
        }
        if (arg == "--force") {
            force = true;
        } else if (arg == "--from") {
            if (i + 1 >= args.size()) return Fail(EXIT_USAGE, "write: --from needs an image");
            from = args[++i];
        } else if (arg == "--compression") {
            if (i + 1 >= args.size() || (args[i + 1] != "raw" && args[i + 1] != "rle"))
                return Fail(EXIT_USAGE, "write: --compression takes raw or rle");
            rle = args[++i] == "rle";
        } else if (!arg.empty() && arg[0] == '-') {
            return Fail(EXIT_USAGE, "write: unknown option '" + arg + "'");
        } else if (out.empty()) {
            out = arg;
        } else {
            return Fail(EXIT_USAGE, "write: more than one output file given");
        }
    }
    if (out.empty()) return Fail(EXIT_USAGE, "write: no output file given (see psdkit write --help)");
    if (from.empty()) return Fail(EXIT_USAGE, "write: no source image given (--from IMAGE)");
    OutputFile output;
    std::string error;
    if (!output.Prepare(out, force, &error)) return Fail(EXIT_FAILURE_RUN, error);

    Raster image;
    if (!ReadImage(from, &image, &error)) return Fail(EXIT_FAILURE_RUN, error);
    std::vector<char> planes = ToPlanes(image);
    const unsigned short channels = static_cast<unsigned short>(image.channels);
    const bool gray = channels <= 2;

    PhotoshopFile document;
    if (!document.OpenWriteFile(output.GetTemporaryName().c_str())) return Fail(EXIT_FAILURE_RUN, out + ": cannot create file");
    document.SetImageWidth(image.width);
    document.SetImageHeight(image.height);
    document.SetImageChannels(channels);
    document.SetImageDepth(static_cast<unsigned short>(image.depth));
    document.SetImageMode(gray ? PSDHeader::MODE_GRAYSCALE : PSDHeader::MODE_RGB);
    bool stored;
    if (rle) {
        std::vector<const char*> pointers(channels);
        const unsigned long planeLength = image.width * image.height * (image.depth / 8);
        for (unsigned short c = 0; c < channels; ++c) pointers[c] = planes.data() + c * planeLength;
        std::vector<char> encoded;
        stored = PSDPlaneEncoder::EncodeRLE(pointers.data(), channels, image.width, image.height,
                                            static_cast<unsigned short>(image.depth), encoded);
        if (!stored) {
            document.GetFile()->CloseFile();
            return Fail(EXIT_FAILURE_RUN, from + ": the image is too wide for RLE rows (use --compression raw)");
        }
        std::vector<char>().swap(planes);
        document.SetImageCompression(PSDImageData::COMPRESSION_RLE);
        stored = document.SetImageData(encoded.data(), encoded.size());
    } else {
        stored = document.SetImageData(planes.data(), planes.size());
    }
    if (!stored) {
        document.GetFile()->CloseFile();
        return Fail(EXIT_FAILURE_RUN, "out of memory for the image");
    }
    if (!document.CommitWriteFile()) {
        document.GetFile()->CloseFile();
        return Fail(EXIT_FAILURE_RUN, out + ": write failed");
    }
    if (!output.Commit(&error)) return Fail(EXIT_FAILURE_RUN, error);
    std::cout << "wrote " << out << ": " << image.width << "x" << image.height << ", "
              << (gray ? "Grayscale" : "RGB") << (channels % 2 == 0 ? " with alpha" : "") << ", " << image.depth
              << " bits, " << (rle ? "RLE" : "raw") << "\n";
    return EXIT_OK;
}

}  // namespace cli
}  // namespace psdkit
