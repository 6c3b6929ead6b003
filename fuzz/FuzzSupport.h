#ifndef PSDKIT_FUZZ_FUZZSUPPORT_H
#define PSDKIT_FUZZ_FUZZSUPPORT_H

// What the fuzz targets and the corruption sweep share: a file in memory that
// the library can open by name, a standard output that drops the reports,
// sinks that keep the optimizer from dropping calls whose results are not
// otherwise used, and a document read the way a careful host reads it.

#include <cstddef>
#include <cstdint>

#include "psdkit/psdkit.h"

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

// Every block (name, report, raw bytes, a thumbnail's stream), within the counts the section gives.
void ExerciseResources(psdkit::PSDImageRes* resources);
// Every record, channel, blending range and additional-information entry, with every AsName operation.
void ExerciseLayers(psdkit::PSDLayers* layers);
// The document's attributes, its composite bytes, then the two above.
void ExerciseDocument(psdkit::PhotoshopFile* document);

}  // namespace psdfuzz

#endif
