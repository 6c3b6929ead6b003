#include "psdkit/core/PSDFile.h"

#include <sys/stat.h>

#include <cstring>

namespace psdkit {

PSDFile::PSDFile() { InitObject(); }

PSDFile::~PSDFile() {
    CloseFile();
    FreeFileName();
}

void PSDFile::InitObject() {
    FileName = nullptr;
    InputStream = nullptr;
    OutputStream = nullptr;
    ReadCompleted = false;
}

void PSDFile::SetFileName(const char* name) {
    FreeFileName();
    if (name == nullptr) return;
    std::size_t length = std::strlen(name);
    FileName = new char[length + 1];
    std::memcpy(FileName, name, length + 1);
}

void PSDFile::FreeFileName() {
    delete[] FileName;
    FileName = nullptr;
}

void PSDFile::SetObjectStreams() {
    Header.SetStreams(InputStream, OutputStream);
    ColorMode.SetStreams(InputStream, OutputStream);
    ImageRes.SetStreams(InputStream, OutputStream);
    Layers.SetStreams(InputStream, OutputStream);
    ImageData.SetStreams(InputStream, OutputStream);
}

bool PSDFile::OpenFileForRead() {
    CloseFile();
    if (FileName == nullptr || FileName[0] == 0) return false;
    // A directory opens as a stream on some systems; it is no file to read.
    struct stat info;
    if (stat(FileName, &info) == 0 && S_ISDIR(info.st_mode)) return false;
    InputStream = new std::ifstream(FileName, std::ios_base::in | std::ios_base::binary);
    // Probe: the file must hold a byte behind the first one.
    InputStream->seekg(1, std::ios_base::cur);
    char probe[4];
    InputStream->read(probe, 4);
    if (InputStream->gcount() == 0) {
        CloseFile();
        return false;
    }
    InputStream->seekg(0, std::ios_base::beg);
    SetObjectStreams();
    return true;
}

bool PSDFile::OpenFileForRead(const char* name) {
    SetFileName(name);
    return OpenFileForRead();
}

bool PSDFile::OpenFileForWrite() {
    CloseFile();
    if (FileName == nullptr || FileName[0] == 0) return false;
    OutputStream = new std::ofstream(FileName, std::ios_base::out | std::ios_base::binary | std::ios_base::trunc);
    SetObjectStreams();
    return true;
}

bool PSDFile::OpenFileForWrite(const char* name) {
    SetFileName(name);
    return OpenFileForWrite();
}

void PSDFile::CloseFile() {
    bool hadStream = InputStream != nullptr || OutputStream != nullptr;
    if (InputStream != nullptr) {
        InputStream->close();
        delete InputStream;
        InputStream = nullptr;
    }
    if (OutputStream != nullptr) {
        OutputStream->close();
        delete OutputStream;
        OutputStream = nullptr;
    }
    if (hadStream) SetObjectStreams();
}

bool PSDFile::ReadFile() {
    ReadCompleted = false;
    ReadProblems.clear();
    if (InputStream == nullptr) return false;
    if (!Header.ReadSection()) return false;
    if (!ColorMode.ReadSection()) return false;
    ColorMode.SkipSection();
    if (!ImageRes.ReadSection()) return false;
    if (!Layers.ReadSection()) return false;
    ReadCompleted = ImageData.ReadSection();
    return ReadCompleted;
}

bool PSDFile::WriteFile() {
    if (!Header.WriteSection()) return false;
    if (!ColorMode.WriteSection()) return false;
    if (!ImageRes.WriteSection()) return false;
    if (!Layers.PSDBaseSection::WriteSection()) return false;
    if (!ImageData.WriteSection()) return false;
    OutputStream->flush();
    return OutputStream->rdstate() == std::ios_base::goodbit;
}

}  // namespace psdkit
