#include "Cli.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>

namespace psdkit {
namespace cli {

int Fail(int code, const std::string& message) {
    std::cerr << "psdkit: " << message << std::endl;
    return code;
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
    if (!PathExists(path)) return Fail(EXIT_FAILURE_RUN, path + ": no such file");
    if (IsDirectory(path)) return Fail(EXIT_FAILURE_RUN, path + ": is a directory");
    if (document->OpenReadFile(path.c_str())) return EXIT_OK;
    if (!document->GetHeader()->IsValidHeader())
        return Fail(EXIT_FAILURE_RUN, path + ": not a PSD file (bad header, or a PSB or damaged file)");
    return Fail(EXIT_FAILURE_RUN, path + ": damaged PSD file (a section runs past the end of the file)");
}

bool WriteWholeFile(const std::string& path, const char* data, unsigned long length, bool force, std::string* error) {
    if (IsSpecialFile(path)) {
        *error = path + ": not a regular file; refusing to replace it";
        return false;
    }
    if (!force && PathExists(path)) {
        *error = path + ": file exists (use --force to overwrite)";
        return false;
    }
    std::ofstream out(path, std::ios_base::binary | std::ios_base::trunc);
    if (!out) {
        *error = path + ": cannot create file";
        return false;
    }
    out.write(data, static_cast<std::streamsize>(length));
    out.flush();
    out.close();
    if (!out) {
        std::remove(path.c_str());
        *error = path + ": write failed";
        return false;
    }
    return true;
}

}  // namespace cli
}  // namespace psdkit
