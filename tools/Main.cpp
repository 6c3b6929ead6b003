// psdkit: read, inspect and write Adobe Photoshop PSD files.

#include <iostream>
#include <string>
#include <vector>

#include "Cli.h"

namespace {

const char* USAGE =
    "usage: psdkit COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  demo [OUT.psd]                 write a built-in 640x480 RGB image, read it back and check it\n"
    "  info [--raw-resources] FILE    print what a PSD file holds\n"
    "  write OUT.psd --from IMAGE     write a PSD file from a PNG, PPM (P6) or PGM (P5) image\n"
    "  export FILE OUT                write the composite image as PNG, PPM, PGM or PAM\n"
    "  thumbnail FILE OUT.jpg         extract the JPEG thumbnail of a PSD file\n"
    "  icc FILE OUT.icc               extract the embedded ICC profile of a PSD file\n"
    "\n"
    "Run 'psdkit COMMAND --help' for the options of a command.\n";

}  // namespace

int main(int argc, char** argv) {
    using namespace psdkit::cli;
    if (argc < 2) {
        std::cerr << USAGE;
        return EXIT_USAGE;
    }
    std::string command = argv[1];
    std::vector<std::string> args(argv + 2, argv + argc);
    if (IsHelp(command) || command == "help") {
        std::cout << USAGE;
        return EXIT_OK;
    }
    if (command == "demo") return RunDemo(args);
    if (command == "info") return RunInfo(args);
    if (command == "write") return RunWrite(args);
    if (command == "thumbnail") return RunThumbnail(args);
    if (command == "icc") return RunIcc(args);
    if (command == "export") return RunExport(args);
    return Fail(EXIT_USAGE, "unknown command '" + command + "' (see psdkit --help)");
}
