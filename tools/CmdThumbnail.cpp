// psdkit thumbnail: the JPEG thumbnail of a PSD file.

#include <iostream>

#include "Cli.h"
#include "OutputFile.h"

namespace psdkit {
namespace cli {

namespace {

const char* THUMBNAIL_USAGE =
    "usage: psdkit thumbnail [--force] FILE OUT.jpg\n"
    "\n"
    "Writes the JPEG stream of the file's thumbnail resource (ID 1036) to OUT.jpg.\n"
    "Files whose only thumbnail is stored as raw RGB, or in the old-style resource\n"
    "1033, have no JPEG thumbnail to extract.\n"
    "\n"
    "  --force   overwrite OUT.jpg if it exists\n";

}  // namespace

int RunThumbnail(const std::vector<std::string>& args) {
    bool force = false;
    std::vector<std::string> paths;
    for (const std::string& arg : args) {
        if (IsHelp(arg)) {
            std::cout << THUMBNAIL_USAGE;
            return EXIT_OK;
        }
        if (arg == "--force") {
            force = true;
        } else if (!arg.empty() && arg[0] == '-') {
            return Fail(EXIT_USAGE, "thumbnail: unknown option '" + arg + "'");
        } else {
            paths.push_back(arg);
        }
    }
    if (paths.size() != 2) return Fail(EXIT_USAGE, "thumbnail: give FILE and OUT.jpg (see psdkit thumbnail --help)");
    const std::string& path = paths[0];
    const std::string& output = paths[1];
    // Checked before reading, so a large file is not read for nothing.
    std::string refused;
    if (!CheckOutputTarget(output, force, &refused)) return Fail(EXIT_FAILURE_RUN, refused);

    PhotoshopFile document;
    if (int failed = ReadDocument(path, &document)) return failed;

    PSDImageRes* resources = document.GetImageResources();
    PSDThumbnailRB* found = nullptr;
    bool haveRaw = false;
    bool haveDamaged = false;
    bool haveOldStyle = false;
    unsigned long otherFormat = 0;
    bool haveOtherFormat = false;
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks() && found == nullptr; ++i) {
        PSDResourceBlock* block = resources->GetResourceBlock(i);
        if (block->GetResourceID() == PSDResourceBlock::RS_1033) haveOldStyle = true;
        PSDThumbnailRB* thumbnail = dynamic_cast<PSDThumbnailRB*>(block);
        if (thumbnail == nullptr) continue;
        if (thumbnail->GetData() == nullptr) {
            haveDamaged = true;
        } else if (thumbnail->GetFormat() == PSDThumbnailRB::FORMAT_JPEG) {
            found = thumbnail;
        } else if (thumbnail->GetFormat() == PSDThumbnailRB::FORMAT_RAW_RGB) {
            haveRaw = true;
        } else if (!haveOtherFormat) {
            haveOtherFormat = true;
            otherFormat = thumbnail->GetFormat();
        }
    }

    if (found == nullptr) {
        if (haveDamaged)
            return Fail(EXIT_FAILURE_RUN,
                        path + ": the thumbnail (resource 1036) is damaged: shorter than its header or its stream");
        if (haveRaw)
            return Fail(EXIT_FAILURE_RUN, path + ": the thumbnail (resource 1036) is stored as raw RGB, not JPEG");
        if (haveOtherFormat)
            return Fail(EXIT_FAILURE_RUN,
                        path + ": the thumbnail (resource 1036) has an unknown format " + std::to_string(otherFormat));
        if (haveOldStyle)
            return Fail(EXIT_FAILURE_RUN,
                        path + ": only an old-style thumbnail (resource 1033), which is not extracted");
        return Fail(EXIT_FAILURE_RUN, path + ": no thumbnail (the file has no resource 1036)");
    }

    std::string error;
    if (!WriteWholeFile(output, found->GetData(), found->GetCompressedSize(), force, &error))
        return Fail(EXIT_FAILURE_RUN, error);
    return EXIT_OK;
}

}  // namespace cli
}  // namespace psdkit
