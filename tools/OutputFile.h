#ifndef PSDKIT_TOOLS_OUTPUTFILE_H
#define PSDKIT_TOOLS_OUTPUTFILE_H

#include <cstdio>
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

}  // namespace cli
}  // namespace psdkit

#endif
