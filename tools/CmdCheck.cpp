// psdkit check: whether each file reads whole.

#include <iostream>
#include <new>

#include "Cli.h"

namespace psdkit {
namespace cli {

namespace {

const char* CHECK_USAGE =
    "usage: psdkit check FILE...\n"
    "\n"
    "Reads each file and prints one line for it: \"FILE: ok\", \"FILE: damaged:\"\n"
    "and the first problem the reader met, or \"FILE: not a PSD file:\" and why.\n"
    "Exits 0 when every file is intact, 1 otherwise.\n";

// The line for one file.
bool CheckOne(const std::string& path, std::string* line) {
    std::string reason;
    if (!CheckRegularInput(path, &reason)) {
        *line = path + ": not a PSD file: " + reason.substr(path.size() + 2);
        return false;
    }
    PhotoshopFile document;
    bool read = document.OpenReadFile(path.c_str());
    if (!document.GetHeader()->IsValidHeader()) {
        *line = path + ": not a PSD file: bad header (not 8BPS version 1)";
        return false;
    }
    if (read && document.IsIntact()) {
        *line = path + ": ok";
        return true;
    }
    if (document.GetNumReadProblems() != 0)
        *line = path + ": damaged: " + document.GetReadProblem(0);
    else
        *line = path + ": damaged: a section runs past the end of the file";
    return false;
}

}  // namespace

int RunCheck(const std::vector<std::string>& args) {
    std::vector<std::string> paths;
    for (const std::string& arg : args) {
        if (IsHelp(arg)) {
            std::cout << CHECK_USAGE;
            return EXIT_OK;
        }
        if (!arg.empty() && arg[0] == '-') return Fail(EXIT_USAGE, "check: unknown option '" + arg + "'");
        paths.push_back(arg);
    }
    if (paths.empty()) return Fail(EXIT_USAGE, "check: no file given (see psdkit check --help)");
    bool allIntact = true;
    for (const std::string& path : paths) {
        std::string line;
        // A file too large for memory is one damaged line, and the others are still checked.
        try {
            if (!CheckOne(path, &line)) allIntact = false;
        } catch (const std::bad_alloc&) {
            line = path + ": damaged: out of memory reading it";
            allIntact = false;
        }
        std::cout << EscapeControls(line) << "\n";
    }
    return allIntact ? EXIT_OK : EXIT_FAILURE_RUN;
}

}  // namespace cli
}  // namespace psdkit
