#include "SafeOutput.h"

#include <unistd.h>

#include <cstdio>

#include "Cli.h"

namespace psdkit {
namespace cli {

bool CheckOutputTarget(const std::string& target, bool force, std::string* error) {
    if (IsSpecialFile(target)) {
        *error = target + ": not a regular file; refusing to replace it";
        return false;
    }
    if (!force && PathExists(target)) {
        *error = target + ": file exists (use --force to overwrite)";
        return false;
    }
    return true;
}

bool WriteBesideAndRename(const std::string& target, bool force,
                          const std::function<bool(const std::string& temporary, std::string* error)>& write,
                          std::string* error) {
    if (!CheckOutputTarget(target, force, error)) return false;
    // Beside the target, so that the rename stays on one file system.
    const std::string temporary = target + ".psdkit-" + std::to_string(getpid()) + ".tmp";
    bool written = false;
    try {
        written = write(temporary, error);
    } catch (...) {
        std::remove(temporary.c_str());
        throw;
    }
    if (!written) {
        std::remove(temporary.c_str());
        return false;
    }
    if (std::rename(temporary.c_str(), target.c_str()) != 0) {
        std::remove(temporary.c_str());
        *error = target + ": cannot move the written file into place";
        return false;
    }
    return true;
}

}  // namespace cli
}  // namespace psdkit
