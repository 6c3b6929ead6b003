// psdkit: read, inspect and write Adobe Photoshop PSD files.

#include <iostream>
#include <new>
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
    "  check FILE...                  say of each file whether it reads whole\n"
    "\n"
    "Run 'psdkit COMMAND --help' for the options of a command, 'psdkit --version'\n"
    "for the library's version.\n";

int Dispatch(const std::string& command, const std::vector<std::string>& args) {
    using namespace psdkit::cli;
    if (command == "demo") return RunDemo(args);
    if (command == "info") return RunInfo(args);
    if (command == "write") return RunWrite(args);
    if (command == "thumbnail") return RunThumbnail(args);
    if (command == "icc") return RunIcc(args);
    if (command == "check") return RunCheck(args);
    if (command == "export") return RunExport(args);
    return Fail(EXIT_USAGE, "unknown command '" + command + "' (see psdkit --help)");
}

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
    if (command == "--version") {
        std::cout << "psdkit " << psdkit::PSDVersion::GetVersion() << "\n";
        return EXIT_OK;
    }
    // Whatever a file makes the library or the tool ask for, running out of
    // memory ends the run with one line, not an abort.
    try {
        return Dispatch(command, args);
    } catch (const std::bad_alloc&) {
        return Fail(EXIT_FAILURE_RUN, command + ": out of memory");
    } catch (const std::exception& error) {
        return Fail(EXIT_FAILURE_RUN, command + ": " + error.what());
    }
}
