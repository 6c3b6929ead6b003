// psdkit write: a PSD file from a PPM or PGM image.

#include <iostream>

#include "Cli.h"
#include "Netpbm.h"
#include "SafeOutput.h"

namespace psdkit {
namespace cli {

namespace {

const char* WRITE_USAGE =
    "usage: psdkit write OUT.psd --from IMAGE [--force]\n"
    "\n"
    "Writes a flat PSD file from a binary PPM (P6, RGB) or PGM (P5, grayscale)\n"
    "image of 8-bit samples.\n"
    "\n"
    "  --from IMAGE   the source image\n"
    "  --force        replace OUT.psd if it exists\n";

}  // namespace

int RunWrite(const std::vector<std::string>& args) {
    std::string out, from;
    bool force = false;
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
    std::string error;
    if (!CheckOutputTarget(out, force, &error)) return Fail(EXIT_FAILURE_RUN, error);

    NetpbmImage image;
    if (!ReadNetpbm(from, &image, &error)) return Fail(EXIT_FAILURE_RUN, error);

    bool written = WriteBesideAndRename(
        out, force,
        [&](const std::string& temporary, std::string* failure) {
            PhotoshopFile document;
            document.OpenWriteFile(temporary.c_str());
            document.SetImageWidth(image.width);
            document.SetImageHeight(image.height);
            bool stored;
            if (image.channels == 3) {
                stored = document.SetPlanarImageData(image.planes[0].data(), image.planes[1].data(),
                                                     image.planes[2].data(), image.width * image.height);
            } else {
                document.SetImageChannels(1);
                document.SetImageMode(PSDHeader::MODE_GRAYSCALE);
                stored = document.SetImageData(image.planes[0].data(), image.width * image.height);
            }
            if (!stored) {
                *failure = "out of memory for the image";
                return false;
            }
            if (!document.CommitWriteFile()) {
                *failure = out + ": write failed (or the image exceeds 30000 pixels a side)";
                return false;
            }
            return true;
        },
        &error);
    if (!written) return Fail(EXIT_FAILURE_RUN, error);
    std::cout << "wrote " << out << ": " << image.width << "x" << image.height << ", "
              << (image.channels == 3 ? "RGB" : "Grayscale") << ", 8 bits\n";
    return EXIT_OK;
}

}  // namespace cli
}  // namespace psdkit
