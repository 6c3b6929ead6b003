#include "OutputFile.h"

#include <unistd.h>

#include "Cli.h"

namespace psdkit {
namespace cli {

OutputFile::~OutputFile() {
    if (Stream) std::fclose(Stream);
    if (!Committed && !Temporary.empty()) std::remove(Temporary.c_str());
}

bool OutputFile::Prepare(const std::string& target, bool force, std::string* error) {
    if (IsSpecialFile(target)) {
        *error = target + ": not a regular file; refusing to replace it";
        return false;
    }
    if (!force && PathExists(target)) {
        *error = target + ": file exists (use --force to overwrite)";
        return false;
    }
    Target = target;
    Temporary = target + ".psdkit-" + std::to_string(getpid()) + ".tmp";
    return true;
}

std::FILE* OutputFile::Open(std::string* error) {
    Stream = std::fopen(Temporary.c_str(), "wb");
    if (!Stream) *error = Target + ": cannot create file";
    return Stream;
}

bool OutputFile::Commit(std::string* error) {
    if (Stream) {
        bool ok = std::fflush(Stream) == 0 && !std::ferror(Stream);
        ok = std::fclose(Stream) == 0 && ok;
        Stream = nullptr;
        if (!ok) {
            *error = Target + ": write failed";
            return false;
        }
    }
    if (std::rename(Temporary.c_str(), Target.c_str()) != 0) {
        *error = Target + ": cannot move the written file into place";
        return false;
    }
    Committed = true;
    return true;
}

}  // namespace cli
}  // namespace psdkit
