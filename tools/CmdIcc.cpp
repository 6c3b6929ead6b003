// psdkit icc: the embedded ICC profile of a PSD file.

#include <iostream>

#include "Cli.h"
#include "OutputFile.h"

namespace psdkit {
namespace cli {

namespace {

const char* ICC_USAGE =
    "usage: psdkit icc FILE OUT.icc [--force]\n"
    "\n"
    "Writes the ICC profile embedded in a PSD file (image resource 1039) to\n"
    "OUT.icc, byte for byte as the file holds it. With several such resources\n"
    "the first one is taken.\n"
    "\n"
    "  --force   replace OUT.icc if it exists\n";

}  // namespace

int RunIcc(const std::vector<std::string>& args) {
    std::vector<std::string> paths;
    bool force = false;
    for (const std::string& arg : args) {
        if (IsHelp(arg)) {
            std::cout << ICC_USAGE;
            return EXIT_OK;
        }
        if (arg == "--force") {
            force = true;
        } else if (!arg.empty() && arg[0] == '-') {
            return Fail(EXIT_USAGE, "icc: unknown option '" + arg + "'");
        } else if (paths.size() < 2) {
            paths.push_back(arg);
        } else {
            return Fail(EXIT_USAGE, "icc: too many arguments (see psdkit icc --help)");
        }
    }
    if (paths.size() < 2) return Fail(EXIT_USAGE, "icc: needs FILE and OUT.icc (see psdkit icc --help)");
    const std::string& path = paths[0];
    const std::string& out = paths[1];
    std::string refused;
    if (!CheckOutputTarget(out, force, &refused)) return Fail(EXIT_FAILURE_RUN, refused);

    PhotoshopFile document;
    if (int failed = ReadDocument(path, &document)) return failed;

    PSDImageRes* resources = document.GetImageResources();
    PSDResourceBlock* profile = nullptr;
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks() && profile == nullptr; ++i)
        if (resources->GetResourceBlock(i)->GetResourceID() == PSDResourceBlock::RS_1039)
            profile = resources->GetResourceBlock(i);
    if (profile == nullptr) return Fail(EXIT_FAILURE_RUN, path + ": no embedded ICC profile (no resource 1039)");

    unsigned long length = profile->GetDataBlock() == nullptr ? 0 : profile->GetDataBlockSize();
    if (length > profile->GetDataBlockCapacity()) length = profile->GetDataBlockCapacity();
    // Less than a header and a tag count is no profile, and no use to anyone as a file.
    if (length < PSDICCProfileRB::PROFILE_SIZE)
        return Fail(EXIT_FAILURE_RUN, path + ": the ICC profile resource holds " + std::to_string(length) +
                                          " bytes, too few for a profile");

    std::string error;
    if (!WriteWholeFile(out, profile->GetDataBlock(), length, force, &error)) return Fail(EXIT_FAILURE_RUN, error);
    return EXIT_OK;
}

}  // namespace cli
}  // namespace psdkit
