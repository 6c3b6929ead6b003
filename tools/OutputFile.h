#ifndef PSDKIT_TOOLS_OUTPUTFILE_H
#define PSDKIT_TOOLS_OUTPUTFILE_H

#include <cstdio>
#include <functional>
#include <string>

namespace psdkit {
namespace cli {

// An output written beside its target and moved into place only when it is
// complete, so a failed run leaves no partial file and replaces nothing.
class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Refuses a target that is not a regular file, or one that exists
    // unless `force`; on success the temporary name is chosen.
    bool Prepare(const std::string& target, bool force, std::string* error);
    // The temporary file, for writers that open it by name.
    const std::string& GetTemporaryName() const { return Temporary; }
    // Opens the temporary file as a stream.
    std::FILE* Open(std::string* error);
    // Closes the stream if open and renames the temporary over the target.
    bool Commit(std::string* error);

private:
    std::string Target;
    std::string Temporary;
    std::FILE* Stream = nullptr;
    bool Committed = false;
};

// The same for a writer that takes a file name: `write` creates the
// temporary file it is given and returns false with a one-line reason in
// `error` when it fails. On failure nothing is left behind and the target is
// untouched, so --force never destroys the file it was asked to replace.
bool WriteBesideAndRename(const std::string& target, bool force,
                          const std::function<bool(const std::string& temporary, std::string* error)>& write,
                          std::string* error);

// The checks made before any work, so that a large input is not read for
// nothing: a target that is not a regular file is refused always, one that
// exists unless `force`.
bool CheckOutputTarget(const std::string& target, bool force, std::string* error);

}  // namespace cli
}  // namespace psdkit

#endif
