#ifndef PSDKIT_TOOLS_PNG_H
#define PSDKIT_TOOLS_PNG_H

// libpng behind plain calls: its errors come back as false and a message,
// never as a jump through the caller's frames.

#include <cstdio>
#include <string>

#include "Raster.h"

namespace psdkit {
namespace cli {

bool ReadPng(std::FILE* file, unsigned long fileSize, Raster* image, std::string* error);

// Writing: Begin makes the state, each call frees it on failure, Finish and
// Abandon always free it.
bool PngBegin(std::FILE* file, unsigned long width, unsigned long height, unsigned channels, unsigned depth,
              void** state, std::string* error);
bool PngWriteRows(void* state, const unsigned char* data, unsigned long rowBytes, unsigned long rows,
                  std::string* error);
bool PngFinish(void* state, std::string* error);
void PngAbandon(void* state);

}  // namespace cli
}  // namespace psdkit

#endif
