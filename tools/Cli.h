#ifndef PSDKIT_TOOLS_CLI_H
#define PSDKIT_TOOLS_CLI_H

// Shared pieces of the psdkit command-line tool.

#include <string>
#include <vector>

#include "psdkit/psdkit.h"

namespace psdkit {
namespace cli {

// Exit codes.
const int EXIT_OK = 0;
const int EXIT_FAILURE_RUN = 1;  // the work could not be done (bad input, failed write)
const int EXIT_USAGE = 2;        // the command line is wrong

// Prints "psdkit: <message>" on stderr as one line, control bytes escaped,
// and returns `code`.
int Fail(int code, const std::string& message);
// Text from a file made safe for a terminal: control bytes (C0, DEL, C1) and
// bytes that are not well-formed UTF-8 as \xHH; printable text as it is.
// Line breaks stay only when `keepLineBreaks`.
std::string EscapeControls(const std::string& text, bool keepLineBreaks = false);
// Sends std::cout into a buffer for as long as it lives, then prints what
// was written with control bytes escaped. Library reports write to std::cout
// directly; this is how the tool keeps a file's bytes off the terminal.
class EscapedStdout {
public:
    EscapedStdout();
    ~EscapedStdout();

private:
    EscapedStdout(const EscapedStdout&) = delete;
    EscapedStdout& operator=(const EscapedStdout&) = delete;
    struct Impl;
    Impl* Captured;
};
// True when `path` is a regular file; else false with a one-line reason
// (missing, a directory, a FIFO or device). Nothing is opened: opening a
// FIFO would block, and a device has no end.
bool CheckRegularInput(const std::string& path, std::string* error);
bool IsHelp(const std::string& argument);
bool PathExists(const std::string& path);
bool IsDirectory(const std::string& path);
// True when `path` exists and is not a regular file (a directory, a device):
// no output replaces such a thing, --force or not.
bool IsSpecialFile(const std::string& path);
// Prints `length` bytes as hex, 16 a line, each line indented by `indent`.
void HexDump(const char* data, unsigned long length, const std::string& indent);
// Writes `length` bytes to `path` through WriteBesideAndRename, refusing to
// replace an existing file unless `force`. On failure returns false with a
// one-line reason in `error`; the target is untouched.
bool WriteWholeFile(const std::string& path, const char* data, unsigned long length, bool force, std::string* error);

// Reads the PSD file at `path` into `document`. Returns EXIT_OK, or the exit
// code after printing a one-line reason (missing, a directory, not a PSD
// file, damaged).
int ReadDocument(const std::string& path, PhotoshopFile* document);

// The image resources part of `psdkit info`: every block in file order.
void PrintResourcesReport(PSDImageRes* resources, bool raw);
// The layers part of `psdkit info`.
void PrintLayersReport(PSDLayers* layers);

int RunDemo(const std::vector<std::string>& args);
int RunInfo(const std::vector<std::string>& args);
int RunWrite(const std::vector<std::string>& args);
int RunThumbnail(const std::vector<std::string>& args);
int RunIcc(const std::vector<std::string>& args);
int RunCheck(const std::vector<std::string>& args);
int RunExport(const std::vector<std::string>& args);
// export FILE --layers DIR: every layer as PNG plus a manifest.
int RunExportLayers(const std::vector<std::string>& args);

}  // namespace cli
}  // namespace psdkit

#endif
