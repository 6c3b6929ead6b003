#include "support/TestSupport.h"

#include "psdkit/psdkit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace psdtest {

Bytes& Bytes::u8(unsigned v) {
    data.push_back(static_cast<char>(v));
    return *this;
}
Bytes& Bytes::u16(unsigned v) { return u8(v >> 8).u8(v); }
Bytes& Bytes::u32(unsigned long v) {
    return u16(static_cast<unsigned>(v >> 16) & 0xFFFF).u16(static_cast<unsigned>(v) & 0xFFFF);
}
Bytes& Bytes::str(const std::string& s) {
    data.insert(data.end(), s.begin(), s.end());
    return *this;
}
Bytes& Bytes::zeros(std::size_t n) {
    data.insert(data.end(), n, 0);
    return *this;
}
Bytes& Bytes::raw(const std::vector<char>& bytes) {
    data.insert(data.end(), bytes.begin(), bytes.end());
    return *this;
}

Bytes PsdHeader(unsigned channels, unsigned long rows, unsigned long columns, unsigned depth, unsigned mode,
                unsigned version) {
    return Bytes().str("8BPS").u16(version).zeros(6).u16(channels).u32(rows).u32(columns).u16(depth).u16(mode);
}

Bytes Block(unsigned id, const Bytes& payload, const std::string& name, const std::string& signature) {
    Bytes b = Bytes().str(signature).u16(id).u8(static_cast<unsigned>(name.size())).str(name);
    return b.zeros(name.size() % 2 ? 0 : 1).u32(payload.size()).raw(payload).zeros(payload.size() % 2);
}

std::vector<char> WrittenBlock(psdkit::PSDResourceBlock& block) {
    TempDir dir;
    std::ofstream out(dir.Path("block.bin"), std::ios_base::binary);
    block.SetStreams(nullptr, &out);
    block.WriteResourceBlock();
    block.SetStreams(nullptr, nullptr);
    out.close();
    return ReadFile(dir.Path("block.bin"));
}

bool ReadBlock(const Bytes& framed, psdkit::PSDResourceBlock* block) {
    TempDir dir;
    std::ifstream in(dir.Write("block.bin", framed), std::ios_base::binary);
    psdkit::PSDGenericResourceBlock raw;
    raw.SetStreams(&in, nullptr);
    if (!raw.ReadResourceBlock()) return false;
    psdkit::PSDResourceBlock::Copy(&raw, block);
    return true;
}

TempDir::TempDir() {
    char pattern[] = "/tmp/psdkit-test-XXXXXX";
    char* made = mkdtemp(pattern);
    dir = made ? made : "/tmp";
}

TempDir::~TempDir() {
    std::error_code ignored;
    if (dir != "/tmp") std::filesystem::remove_all(dir, ignored);
}

std::string TempDir::Write(const std::string& name, const std::vector<char>& bytes) const {
    std::string path = Path(name);
    std::ofstream out(path, std::ios_base::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path;
}

std::vector<char> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios_base::binary);
    return std::vector<char>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool FileExists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

std::string CaptureStdout(const std::function<void()>& body) {
    std::ostringstream captured;
    std::streambuf* old = std::cout.rdbuf(captured.rdbuf());
    body();
    std::cout.rdbuf(old);
    return captured.str();
}

// coreutils' sha256sum, enough for comparing image data with the corpus facts.
std::string Sha256Hex(const char* data, std::size_t length) {
    TempDir dir;
    const std::string out = RunProgram({"sha256sum", dir.Write("data", std::vector<char>(data, data + length))}).out;
    return out.substr(0, std::min<std::size_t>(out.size(), 64));
}

std::string Hex(const char* data, std::size_t length) {
    std::string s;
    char b[4];
    for (std::size_t i = 0; i < length; ++i) {
        std::snprintf(b, sizeof b, "%s%02X", i ? " " : "", static_cast<unsigned char>(data[i]));
        s += b;
    }
    return s;
}

std::string CorpusDir() {
    const char* env = std::getenv("PSDKIT_CORPUS");
    if (env != nullptr && *env != 0) return env;
    return std::string(PSDKIT_SOURCE_DIR) + "/../shared/corpus";
}

bool CorpusAvailable() { return FileExists(CorpusDir() + "/expected.json"); }

const nlohmann::json& CorpusFacts() {
    static nlohmann::json facts = [] {
        if (!CorpusAvailable()) return nlohmann::json::array();
        std::ifstream in(CorpusDir() + "/expected.json");
        return nlohmann::json::parse(in);
    }();
    return facts;
}

const nlohmann::json* CorpusFile(const std::string& name) {
    for (const auto& entry : CorpusFacts())
        if (entry.value("file", "") == name) return &entry;
    return nullptr;
}

std::string CorpusPath(const std::string& name) { return CorpusDir() + "/" + name; }

RunResult RunProgram(const std::vector<std::string>& argv) {
    TempDir dir;
    const std::string outName = dir.Path("out"), errName = dir.Path("err");
    pid_t pid = fork();
    if (pid == 0) {
        dup2(open(outName.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
        dup2(open(errName.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
        std::vector<char*> args;
        for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    const std::vector<char> out = ReadFile(outName), err = ReadFile(errName);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            {out.begin(), out.end()},
            {err.begin(), err.end()}};
}

RunResult RunCli(const std::vector<std::string>& args) {
    std::vector<std::string> argv{PSDKIT_CLI_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    return RunProgram(argv);
}

const char* const PYTHON = "/usr/bin/python3";

bool HavePythonModule(const std::string& module) {
    return HaveProgram(PYTHON) && RunProgram({PYTHON, "-c", "import " + module}).exitCode == 0;
}

bool HaveProgram(const std::string& program) {
    return RunProgram({"/bin/sh", "-c", "command -v \"$0\"", program}).exitCode == 0;
}

}  // namespace psdtest
