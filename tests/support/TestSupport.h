#ifndef PSDKIT_TESTS_TESTSUPPORT_H
#define PSDKIT_TESTS_TESTSUPPORT_H

// Helpers shared by all test executables: byte builders for inline files and
// resource blocks, temporary files, standard output capture, the corpus and its
// facts, SHA-256, and running the psdkit tool or a peer tool.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace psdkit {
class PSDResourceBlock;
}

namespace psdtest {

// Builds a byte string big-endian, field by field.
class Bytes {
public:
    Bytes& u8(unsigned v);
    Bytes& u16(unsigned v);
    Bytes& u32(unsigned long v);
    Bytes& str(const std::string& s);  // the characters, no terminator
    Bytes& zeros(std::size_t n);
    Bytes& raw(const std::vector<char>& bytes);
    Bytes& raw(const Bytes& other) { return raw(other.data); }
    std::size_t size() const { return data.size(); }
    std::vector<char> data;
};

// A file header of 26 bytes: "8BPS", version, reserved, then the attributes.
Bytes PsdHeader(unsigned channels, unsigned long rows, unsigned long columns, unsigned depth, unsigned mode,
                unsigned version = 1);

// A directory removed with its content at the end of the test.
class TempDir {
public:
    TempDir();
    ~TempDir();
    std::string Path(const std::string& name) const { return dir + "/" + name; }
    std::string Write(const std::string& name, const std::vector<char>& bytes) const;
    std::string Write(const std::string& name, const Bytes& bytes) const { return Write(name, bytes.data); }
    const std::string& Dir() const { return dir; }

private:
    std::string dir;
};

// A resource block as a file holds it: signature, ID, padded Pascal name, size, padded payload.
Bytes Block(unsigned id, const Bytes& payload, const std::string& name = "", const std::string& signature = "8BIM");
// What the block's WriteResourceBlock puts out.
std::vector<char> WrittenBlock(psdkit::PSDResourceBlock& block);
// Reads `framed` the way the section reader does: a raw block copied into `block`.
bool ReadBlock(const Bytes& framed, psdkit::PSDResourceBlock* block);

std::vector<char> ReadFile(const std::string& path);
bool FileExists(const std::string& path);

// Runs `body` and returns what it printed on std::cout.
std::string CaptureStdout(const std::function<void()>& body);

std::string Sha256Hex(const char* data, std::size_t length);  // by sha256sum
std::string Hex(const char* data, std::size_t length);

// The shared corpus: ../shared/corpus beside the project, or $PSDKIT_CORPUS.
std::string CorpusDir();
bool CorpusAvailable();
// expected.json, parsed; an empty array when the corpus is absent.
const nlohmann::json& CorpusFacts();
// The facts of one file, or null when it is not in the corpus.
const nlohmann::json* CorpusFile(const std::string& name);
std::string CorpusPath(const std::string& name);

#define PSDTEST_REQUIRE_CORPUS()                                                        \
    do {                                                                                \
        if (!::psdtest::CorpusAvailable())                                              \
            GTEST_SKIP() << "corpus not found at " << ::psdtest::CorpusDir()            \
                         << " (set PSDKIT_CORPUS to the folder holding expected.json)"; \
    } while (0)

// Result of running a command.
struct RunResult {
    int exitCode = -1;
    std::string out;
    std::string err;
};
// Runs the psdkit tool with `args` (each passed as one argument).
RunResult RunCli(const std::vector<std::string>& args);
// Runs an arbitrary program with arguments, no shell.
RunResult RunProgram(const std::vector<std::string>& argv);
// True when `program` is found on PATH (or is an absolute path that exists).
bool HaveProgram(const std::string& program);
// Debian's Python, which sees the peers' modules; true when it imports `module`.
extern const char* const PYTHON;
bool HavePythonModule(const std::string& module);

}  // namespace psdtest

#endif
