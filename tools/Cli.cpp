#include "Cli.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "OutputFile.h"

namespace psdkit {
namespace cli {

int Fail(int code, const std::string& message) {
    std::cerr << "psdkit: " << EscapeControls(message) << std::endl;
    return code;
}

namespace {

// Length of the well-formed UTF-8 sequence at `text[i]` that is not a control
// character, or 0.
std::size_t PrintableUtf8(const std::string& text, std::size_t i) {
    auto byte = [&text](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    auto tail = [&](std::size_t k) { return k < text.size() && (byte(k) & 0xC0) == 0x80; };
    unsigned char c = byte(i);
    if (c >= 0x20 && c < 0x7F) return 1;
    if (c >= 0xC2 && c <= 0xDF && tail(i + 1)) return c == 0xC2 && byte(i + 1) < 0xA0 ? 0 : 2;  // no C1
    if (c >= 0xE0 && c <= 0xEF && tail(i + 1) && tail(i + 2)) {
        if (c == 0xE0 && byte(i + 1) < 0xA0) return 0;   // overlong
        if (c == 0xED && byte(i + 1) >= 0xA0) return 0;  // surrogates
        return 3;
    }
    if (c >= 0xF0 && c <= 0xF4 && tail(i + 1) && tail(i + 2) && tail(i + 3)) {
        if (c == 0xF0 && byte(i + 1) < 0x90) return 0;
        if (c == 0xF4 && byte(i + 1) >= 0x90) return 0;
        return 4;
    }
    return 0;
}

}  // namespace

std::string EscapeControls(const std::string& text, bool keepLineBreaks) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        if ((text[i] == '\n' && keepLineBreaks) || text[i] == '\t') {
            out += text[i++];
            continue;
        }
        std::size_t n = PrintableUtf8(text, i);
        if (n != 0) {
            out.append(text, i, n);
            i += n;
            continue;
        }
        unsigned char c = static_cast<unsigned char>(text[i++]);
        out += "\\x";
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

struct EscapedStdout::Impl {
    std::ostringstream Buffer;
    std::streambuf* Saved = nullptr;
};

EscapedStdout::EscapedStdout() : Captured(new Impl) { Captured->Saved = std::cout.rdbuf(Captured->Buffer.rdbuf()); }

EscapedStdout::~EscapedStdout() {
    std::cout.rdbuf(Captured->Saved);
    std::cout << EscapeControls(Captured->Buffer.str(), true);
    std::cout.flush();
    delete Captured;
}

bool CheckRegularInput(const std::string& path, std::string* error) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        *error = path + ": no such file";
        return false;
    }
    if (S_ISDIR(info.st_mode)) {
        *error = path + ": is a directory";
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        *error = path + ": not a regular file (a FIFO, socket or device)";
        return false;
    }
    return true;
}

bool IsHelp(const std::string& argument) { return argument == "--help" || argument == "-h"; }

bool PathExists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

bool IsSpecialFile(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode);
}

bool IsDirectory(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

void HexDump(const char* data, unsigned long length, const std::string& indent) {
    std::ios_base::fmtflags flags = std::cout.flags();
    for (unsigned long i = 0; i < length; i += 16) {
        std::cout << indent << std::hex << std::setfill('0') << std::setw(8) << i << ":";
        for (unsigned long j = i; j < i + 16 && j < length; ++j)
            std::cout << ' ' << std::setw(2) << static_cast<unsigned>(static_cast<unsigned char>(data[j]));
        std::cout << std::dec << "\n";
    }
    std::cout.flags(flags);
}

int ReadDocument(const std::string& path, PhotoshopFile* document) {
    std::string error;
    if (!CheckRegularInput(path, &error)) return Fail(EXIT_FAILURE_RUN, error);
    if (document->OpenReadFile(path.c_str())) return EXIT_OK;
    if (!document->GetHeader()->IsValidHeader())
        return Fail(EXIT_FAILURE_RUN, path + ": not a PSD file (bad header, or a PSB or damaged file)");
    return Fail(EXIT_FAILURE_RUN, path + ": damaged PSD file (a section runs past the end of the file)");
}

bool WriteWholeFile(const std::string& path, const char* data, unsigned long length, bool force, std::string* error) {
    return WriteBesideAndRename(
        path, force,
        [&](const std::string& temporary, std::string* failure) {
            std::ofstream out(temporary, std::ios_base::binary | std::ios_base::trunc);
            if (!out) {
                *failure = path + ": cannot create file";
                return false;
            }
            out.write(data, static_cast<std::streamsize>(length));
            out.flush();
            out.close();
            if (!out) {
                *failure = path + ": write failed";
                return false;
            }
            return true;
        },
        error);
}

}  // namespace cli
}  // namespace psdkit
