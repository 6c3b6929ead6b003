#include "psdkit/core/PSDFile.h"

#include <sys/stat.h>

#include <cstring>

#include "psdkit/core/PSDBoundedReader.h"

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
    PSDBoundedReader::ProblemScope scope(&ReadProblems);
    // The file's size is measured once, here; every section reads through a
    // window on it.
    PSDBoundedReader file = PSDBoundedReader::OpenFile(FileName);
    if (file.Size() == 0) file = PSDBoundedReader(InputStream);
    if (!Header.ReadSection(file)) {
        file.Problem("header: not a version 1 PSD file");
        return false;
    }
    if (!ColorMode.ReadSection(file)) return false;
    if (!file.Skip(ColorMode.GetSectionLength())) {
        file.Problem("color mode data: its %lu bytes run past the end of the file", ColorMode.GetSectionLength());
        file.Skip(file.Remaining());
    }
    if (!ImageRes.ReadSection(file)) return false;
    unsigned long layersStart = file.FileOffset();
    if (!Layers.ReadSection(file)) return false;
    StartImageDataAtSectionEnd(file, layersStart);
    if (!ImageDataFitsHeader(file, false))
        file.Problem("image data: %lu bytes do not hold the image the header describes", file.Remaining());
    ReadCompleted = ImageData.ReadSection(file);
    return ReadCompleted;
}

void PSDFile::StartImageDataAtSectionEnd(PSDBoundedReader& file, unsigned long layersStart) {
    // Some writers store an odd layer section with no closing byte behind it.
    // The byte stands as specified unless the image data behind it does not
    // fit the header while the image data from the section's end does.
    unsigned long sectionEnd = layersStart + 4 + Layers.GetSectionLength();
    if ((Layers.GetSectionLength() & 1) == 0 || file.FileOffset() != sectionEnd + 1) return;
    PSDBoundedReader atEnd = file;
    if (!atEnd.SeekToFileOffset(sectionEnd)) return;
    if (!ImageDataFitsHeader(file, true) && ImageDataFitsHeader(atEnd, true)) file = atEnd;
}

bool PSDFile::ImageDataFitsHeader(PSDBoundedReader data, bool exact) const {
    unsigned short compression = 0;
    if (!data.ReadShort(&compression)) return false;
    unsigned long rows = static_cast<unsigned long>(Header.GetRows());
    unsigned long columns = static_cast<unsigned long>(Header.GetColumns());
    unsigned long planes = Header.GetChannels();
    unsigned long depth = Header.GetDepth();
    if (rows == 0 || columns == 0 || planes == 0 || rows > 300000 || columns > 300000) return false;
    unsigned long planeRows = rows * planes;
    switch (compression) {
        case PSDImageData::COMPRESSION_RAW: {
            unsigned long needed = planeRows * ((columns * depth + 7) / 8);
            return exact ? data.Remaining() == needed : data.Remaining() >= needed;
        }
        case PSDImageData::COMPRESSION_RLE: {
            // A byte count per row of every plane, then rows that add up to
            // no more than what follows.
            if (planeRows > data.Remaining() / 2) return false;
            unsigned long sum = 0;
            for (unsigned long i = 0; i < planeRows; ++i) {
                unsigned short count = 0;
                data.ReadShort(&count);
                sum += count;
            }
            return sum <= data.Remaining();
        }
        case PSDImageData::COMPRESSION_ZIP:
        case PSDImageData::COMPRESSION_ZIP_PREDICTION: return true;
        default: return false;
    }
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
