#ifndef PSDKIT_CORE_PSDFILE_H
#define PSDKIT_CORE_PSDFILE_H

#include <fstream>
#include <string>
#include <vector>

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

    // True after a read that found every framed part inside its frame and
    // had to cut, skip or stop nothing; false before any read.
    bool IsIntact() const { return ReadCompleted && ReadProblems.empty(); }
    unsigned long GetNumReadProblems() const { return static_cast<unsigned long>(ReadProblems.size()); }
    // One line per problem, in file order; null past the last.
    const char* GetReadProblem(unsigned long i) const {
        return i < ReadProblems.size() ? ReadProblems[i].c_str() : nullptr;
    }
    // At most this many lines are kept, whatever the file holds.
    static constexpr unsigned long MAX_READ_PROBLEMS = 100;

private:
    friend class PhotoshopFile;
    friend class PSDPixels;  // reads the image data's real capacity
    PSDFile(const PSDFile&) = delete;
    // Where the composite begins behind an odd layer section.
    void StartImageDataAtSectionEnd(PSDBoundedReader& file, unsigned long layersStart);
    // True when the image data from the window's position is what the
    // header calls for: a known code and the bytes it needs (raw: exactly
    // those when `exact`, else at least those).
    bool ImageDataFitsHeader(PSDBoundedReader data, bool exact) const;
    PSDFile& operator=(const PSDFile&) = delete;

    PSDHeader Header;
    PSDColorMode ColorMode;
    PSDImageRes ImageRes;
    PSDLayers Layers;
    PSDImageData ImageData;
    std::ifstream* InputStream;
    std::ofstream* OutputStream;
    char* FileName;
    bool ReadCompleted;
    std::vector<std::string> ReadProblems;
};

}  // namespace psdkit

#endif
