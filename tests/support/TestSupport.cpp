#include "support/TestSupport.h"

#include "psdkit/psdkit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
    return u8(static_cast<unsigned>(v >> 24))
        .u8(static_cast<unsigned>(v >> 16))
        .u8(static_cast<unsigned>(v >> 8))
        .u8(static_cast<unsigned>(v));
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
    Bytes b;
    b.str("8BPS").u16(version).zeros(6).u16(channels).u32(rows).u32(columns).u16(depth).u16(mode);
    return b;
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

namespace {

// SHA-256 (FIPS 180-4), enough for comparing image data with the corpus facts.
struct Sha256 {
    uint32_t h[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    static uint32_t Rotr(uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }
    void Block(const unsigned char* p) {
        static const uint32_t k[64] = {
            0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
            0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
            0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
            0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
            0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
            0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
            0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
            0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
        uint32_t w[64];
        for (int i = 0; i < 16; ++i)
            w[i] = uint32_t(p[4 * i]) << 24 | uint32_t(p[4 * i + 1]) << 16 | uint32_t(p[4 * i + 2]) << 8 | p[4 * i + 3];
        for (int i = 16; i < 64; ++i) {
            uint32_t s0 = Rotr(w[i - 15], 7) ^ Rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
            uint32_t s1 = Rotr(w[i - 2], 17) ^ Rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
            w[i] = w[i - 16] + s0 + w[i - 7] + s1;
        }
        uint32_t v[8];  // a to h
        std::copy(h, h + 8, v);
        for (int i = 0; i < 64; ++i) {
            uint32_t t1 = v[7] + (Rotr(v[4], 6) ^ Rotr(v[4], 11) ^ Rotr(v[4], 25)) + ((v[4] & v[5]) ^ (~v[4] & v[6])) +
                          k[i] + w[i];
            uint32_t t2 =
                (Rotr(v[0], 2) ^ Rotr(v[0], 13) ^ Rotr(v[0], 22)) + ((v[0] & v[1]) ^ (v[0] & v[2]) ^ (v[1] & v[2]));
            std::copy_backward(v, v + 7, v + 8);
            v[4] += t1;
            v[0] = t1 + t2;
        }
        for (int i = 0; i < 8; ++i) h[i] += v[i];
    }
};

}  // namespace

std::string Sha256Hex(const char* data, std::size_t length) {
    Sha256 sha;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(data);
    std::size_t full = length / 64 * 64;
    for (std::size_t i = 0; i < full; i += 64) sha.Block(p + i);
    unsigned char tail[128] = {0};
    std::size_t rest = length - full;
    if (rest) std::memcpy(tail, p + full, rest);
    tail[rest] = 0x80;
    std::size_t tailLength = rest + 9 <= 64 ? 64 : 128;
    uint64_t bits = uint64_t(length) * 8;
    for (int i = 0; i < 8; ++i) tail[tailLength - 1 - i] = static_cast<unsigned char>(bits >> (8 * i));
    sha.Block(tail);
    if (tailLength == 128) sha.Block(tail + 64);
    char out[65];
    for (int i = 0; i < 8; ++i) std::snprintf(out + 8 * i, 9, "%08x", sha.h[i]);
    return std::string(out, 64);
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

namespace {

std::string ReadAll(int fd) {
    std::string s;
    char buffer[65536];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof buffer)) > 0) s.append(buffer, static_cast<std::size_t>(n));
    return s;
}

}  // namespace

RunResult RunProgram(const std::vector<std::string>& argv) {
    RunResult result;
    char outName[] = "/tmp/psdkit-run-out-XXXXXX";
    char errName[] = "/tmp/psdkit-run-err-XXXXXX";
    int outFd = mkstemp(outName);
    int errFd = mkstemp(errName);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(outFd, 1);
        dup2(errFd, 2);
        std::vector<char*> args;
        for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    lseek(outFd, 0, SEEK_SET);
    lseek(errFd, 0, SEEK_SET);
    result.out = ReadAll(outFd);
    result.err = ReadAll(errFd);
    close(outFd);
    close(errFd);
    unlink(outName);
    unlink(errName);
    return result;
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
    if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0;
    const char* path = std::getenv("PATH");
    std::stringstream dirs(path ? path : "/usr/bin:/bin");
    std::string dir;
    while (std::getline(dirs, dir, ':'))
        if (!dir.empty() && access((dir + "/" + program).c_str(), X_OK) == 0) return true;
    return false;
}

}  // namespace psdtest
