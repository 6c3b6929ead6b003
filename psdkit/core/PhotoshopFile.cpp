#include "psdkit/core/PhotoshopFile.h"

namespace psdkit {

PhotoshopFile::PhotoshopFile() = default;
PhotoshopFile::~PhotoshopFile() = default;

bool PhotoshopFile::OpenReadFile(const char* name) {
    if (!File.OpenFileForRead(name)) return false;
    bool result = File.ReadFile();
    File.CloseFile();
    return result;
}

bool PhotoshopFile::OpenWriteFile(const char* name) { return File.OpenFileForWrite(name); }

bool PhotoshopFile::ValidateAttributesForWrite() {
    return File.Header.ValidateAttributesForWrite() && File.ImageData.ValidateAttributesForWrite();
}

void PhotoshopFile::AttachStandardResources() {}

bool PhotoshopFile::CommitWriteFile() {
    if (!ValidateAttributesForWrite()) return false;
    AttachStandardResources();
    bool result = File.WriteFile();
    File.CloseFile();
    return result;
}

}  // namespace psdkit
