#ifndef PSDKIT_FUZZ_FUZZSUPPORT_H
#define PSDKIT_FUZZ_FUZZSUPPORT_H

// What the fuzz targets share: a file in memory that the library can open by
// name, a standard output that drops the reports, and a sink that keeps the
// optimizer from dropping calls whose results are not otherwise used.

#include <cstddef>
#include <cstdint>

namespace psdfuzz {

// Call first in every run: routes std::cout to nowhere (once per process).
void Init();

// A memfd reachable through a path, so that std::ifstream and std::ofstream open it.
class MemFile {
public:
    explicit MemFile(const char* name);
    ~MemFile();
    MemFile(const MemFile&) = delete;
    MemFile& operator=(const MemFile&) = delete;
    // Replaces the whole content. False when the file could not be written.
    bool Put(const std::uint8_t* data, std::size_t size);
    std::size_t Size() const;
    const char* Path() const { return path; }

private:
    int fd;
    char path[64];
};

// Consumes a value: texts are measured (an unterminated one shows under ASan), bytes read.
void Use(const char* text);
void Use(unsigned long value);
void Touch(const char* data, unsigned long size);

// Reports a broken promise of the library and aborts, so that the fuzzer keeps the input.
[[noreturn]] void Fail(const char* what, unsigned long expected, unsigned long got);

}  // namespace psdfuzz

#endif
