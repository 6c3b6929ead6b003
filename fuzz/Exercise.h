#ifndef PSDKIT_FUZZ_EXERCISE_H
#define PSDKIT_FUZZ_EXERCISE_H

// Everything a host may ask of what a read produced, called the way a careful
// host calls it: within the counts the objects give.

#include "psdkit/psdkit.h"

namespace psdfuzz {

// Every block: its name, its report, its raw bytes.
void ExerciseResources(psdkit::PSDImageRes* resources);
// Every record, channel, blending range and additional-information entry,
// with every AsName operation.
void ExerciseLayers(psdkit::PSDLayers* layers);
// A block's payload taken from `data` and decoded, as the section reads it.
void ReadBlock(psdkit::PSDResourceBlock* block, const unsigned char* data, std::size_t size);
// Writes the block back and fails the run unless it wrote the size it claims.
void CheckBlockWrite(psdkit::PSDResourceBlock* block, const char* what);
// The document's attributes, its composite, then the two above.
void ExerciseDocument(psdkit::PhotoshopFile* document);

}  // namespace psdfuzz

#endif
