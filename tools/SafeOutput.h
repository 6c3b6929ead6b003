#ifndef PSDKIT_TOOLS_SAFEOUTPUT_H
#define PSDKIT_TOOLS_SAFEOUTPUT_H

// How every command of the tool writes a file: into a temporary file beside
// the target, renamed over it only once the whole output is on disk. A write
// that fails (a full disk, a library refusal) leaves what was there, so
// --force never destroys the file it was asked to replace.

#include <functional>
#include <string>

namespace psdkit {
namespace cli {

// Writes the output through `write`, which gets the temporary path to create
// and returns false with a one-line reason in `error` when it fails. Refuses
// a target that exists unless `force`, and a target that is not a regular
// file (a directory, a device) always. On failure nothing is left behind and
// the target is untouched.
bool WriteBesideAndRename(const std::string& target, bool force,
                          const std::function<bool(const std::string& temporary, std::string* error)>& write,
                          std::string* error);

// The checks WriteBesideAndRename makes before any work: a command calls it
// first so that a large input is not read for nothing.
bool CheckOutputTarget(const std::string& target, bool force, std::string* error);

}  // namespace cli
}  // namespace psdkit

#endif
