#ifndef PSDKIT_FUZZ_FUZZSUPPORT_H
#define PSDKIT_FUZZ_FUZZSUPPORT_H

// What the fuzz targets share: a file in memory that the library can open by
// name, a standard output that drops the reports, and a sink that keeps the
// optimizer from dropping calls whose results are not otherwise used.

#include <cstddef>
#include <cstdint>
#include <fstream>

namespace psdfuzz {

// Call first in every run: routes std::cout to nowhere (once per process).
void Init();

// A file that lives in memory (memfd, or /tmp where memfd is missing),
// reachable through a path so that std::ifstream and std::ofstream open it.
class MemFile {
public:
    explicit MemFile(const char* name);
    ~MemFile();
    // Replaces the whole content. False when the file could not be written.
    bool Put(const std::uint8_t* data, std::size_t size);
    // Empties the file.
    bool Clear();
    // Bytes the file holds now.
    std::size_t Size() const;
    const char* Path() const { return path; }

private:
    MemFile(const MemFile&) = delete;
    MemFile& operator=(const MemFile&) = delete;
    int fd;
    char path[96];
};

// Consumes a value: texts are measured with strlen (so an unterminated text
// shows under AddressSanitizer) and bytes are read.
void Use(const char* text);
void Use(unsigned long value);
void Use(double value);
// Reads every byte of [data, data + size).
void Touch(const char* data, unsigned long size);

// Reports a broken promise of the library and ends the run with abort(), so
// that the fuzzer keeps the input.
[[noreturn]] void Fail(const char* what, unsigned long expected, unsigned long got);

}  // namespace psdfuzz

#endif
