#ifndef PSDKIT_CORE_PSDFILE_H
#define PSDKIT_CORE_PSDFILE_H

#include <fstream>

#include "psdkit/core/PSDColorMode.h"
#include "psdkit/core/PSDExport.h"
#include "psdkit/core/PSDHeader.h"
#include "psdkit/core/PSDImageData.h"
#include "psdkit/layers/PSDLayers.h"
#include "psdkit/resources/PSDImageRes.h"

namespace psdkit {

class PhotoshopFile;

// The five sections of a PSD file and the one open file stream; runs the
// sections in file order.
class PSDKIT_API PSDFile {
public:
    PSDFile();
    virtual ~PSDFile();

    void InitObject();
    // Keeps a copy of the name; a null name clears it.
    void SetFileName(const char* name);
    char* GetFileName() const { return FileName; }
    void FreeFileName();
    // Hands the current streams to the sections, in file order.
    void SetObjectStreams();

    // False when there is no name, the file cannot be opened, or it holds
    // fewer than 2 bytes.
    bool OpenFileForRead();
    bool OpenFileForRead(const char* name);
    // True whether or not the file could be created: a failed open shows at
    // the first section write. False only without a name.
    bool OpenFileForWrite();
    bool OpenFileForWrite(const char* name);
    void CloseFile();

    bool ReadFile();
    bool WriteFile();
    bool IsValidFile() const { return Header.IsValidHeader(); }

private:
    friend class PhotoshopFile;
    PSDFile(const PSDFile&) = delete;
    PSDFile& operator=(const PSDFile&) = delete;

    PSDHeader Header;
    PSDColorMode ColorMode;
    PSDImageRes ImageRes;
    PSDLayers Layers;
    PSDImageData ImageData;
    std::ifstream* InputStream;
    std::ofstream* OutputStream;
    char* FileName;
};

}  // namespace psdkit

#endif
