// psdkit info: what a PSD file holds.

#include <iostream>

#include "Cli.h"

namespace psdkit {
namespace cli {

namespace {

const char* INFO_USAGE =
    "usage: psdkit info [--raw-resources] FILE\n"
    "\n"
    "Prints the header, the length of each section, every image resource with its\n"
    "report, the layer records, and the composite image's compression and length.\n"
    "\n"
    "  --raw-resources   also dump each resource block's payload in hex\n";

}  // namespace

int RunInfo(const std::vector<std::string>& args) {
    bool raw = false;
    std::string path;
    for (const std::string& arg : args) {
        if (IsHelp(arg)) {
            std::cout << INFO_USAGE;
            return EXIT_OK;
        }
        if (arg == "--raw-resources") {
            raw = true;
        } else if (!arg.empty() && arg[0] == '-') {
            return Fail(EXIT_USAGE, "info: unknown option '" + arg + "'");
        } else if (path.empty()) {
            path = arg;
        } else {
            return Fail(EXIT_USAGE, "info: more than one file given");
        }
    }
    if (path.empty()) return Fail(EXIT_USAGE, "info: no file given (see psdkit info --help)");

    PhotoshopFile document;
    if (int failed = ReadDocument(path, &document)) return failed;

    // Every line may hold a file's bytes: they reach the terminal escaped.
    EscapedStdout escaped;
    std::cout << "File: " << path << "\n";
    std::cout << "Header:\n";
    std::cout << "  Width: " << document.GetImageWidth() << "\n";
    std::cout << "  Height: " << document.GetImageHeight() << "\n";
    std::cout << "  Channels: " << document.GetImageChannels() << "\n";
    std::cout << "  Depth: " << document.GetImageDepth() << "\n";
    std::cout << "  Mode: " << document.GetImageMode() << " (" << document.GetImageModeAsName() << ")\n";
    // What the reader had to cut, skip or stop, before the details.
    for (unsigned long i = 0; i < document.GetNumReadProblems(); ++i)
        std::cout << "warning: " << document.GetReadProblem(i) << "\n";
    std::cout << "Color mode data: " << document.GetColorMode()->GetSectionLength() << " bytes\n";
    std::cout << "Image resources: " << document.GetImageResources()->GetSectionLength() << " bytes, "
              << document.GetImageResources()->GetNumResourceBlocks() << " blocks\n";
    PrintResourcesReport(document.GetImageResources(), raw);
    std::cout << "Layer and mask information: " << document.GetLayers()->GetSectionLength() << " bytes\n";
    PrintLayersReport(document.GetLayers());
    std::cout << "Image data:\n";
    std::cout << "  Compression: " << document.GetImageCompression() << " (" << document.GetImageCompressionAsName()
              << ")\n";
    std::cout << "  Length: " << document.GetImageDataLen() << " bytes\n";
    return EXIT_OK;
}

}  // namespace cli
}  // namespace psdkit
