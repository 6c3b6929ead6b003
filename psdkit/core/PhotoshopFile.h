#ifndef PSDKIT_CORE_PHOTOSHOPFILE_H
#define PSDKIT_CORE_PHOTOSHOPFILE_H

#include <memory>

#include "psdkit/core/PSDExport.h"
#include "psdkit/core/PSDFile.h"

namespace psdkit {

// A PSD document: the class a host works with. Reads a whole file in one go,
// or writes one from attributes and image data.
//
// To write: OpenWriteFile, the attributes that differ from the defaults
// (3 channels, depth 8, RGB; width and height always), the image data,
// CommitWriteFile. To read: OpenReadFile, then the Get operations.
class PSDKIT_API PhotoshopFile {
public:
    // The resolution, in both directions, of every committed file.
    static constexpr unsigned short STANDARD_RESOLUTION = 300;
    // The target width of the thumbnail of every committed file.
    static constexpr unsigned long STANDARD_THUMBNAIL_WIDTH = 112;

    PhotoshopFile();
    virtual ~PhotoshopFile();

    // Reads the whole file and closes it. False for a missing name, a file
    // that cannot be opened, or one that is not a version-1 PSD file.
    bool OpenReadFile(const char* name);
    bool OpenWriteFile(const char* name);
    // Checks attributes and image data, attaches the standard resources,
    // writes everything and closes the file. False when the check fails (the
    // file then stays open) or a write fails.
    bool CommitWriteFile();
    bool ValidateAttributesForWrite();

    void SetImageWidth(unsigned long width) { File.Header.SetColumns(static_cast<long>(width)); }
    long GetImageWidth() const { return File.Header.GetColumns(); }
    void SetImageHeight(unsigned long height) { File.Header.SetRows(static_cast<long>(height)); }
    long GetImageHeight() const { return File.Header.GetRows(); }
    void SetImageChannels(unsigned short channels) { File.Header.SetChannels(channels); }
    unsigned short GetImageChannels() const { return File.Header.GetChannels(); }
    void SetImageDepth(unsigned short depth) { File.Header.SetDepth(depth); }
    unsigned short GetImageDepth() const { return File.Header.GetDepth(); }
    void SetImageMode(unsigned short mode) { File.Header.SetMode(mode); }
    unsigned short GetImageMode() const { return File.Header.GetMode(); }
    char* GetImageModeAsName() const { return File.Header.GetModeAsName(); }
    void SetImageCompression(unsigned short compression) { File.ImageData.SetCompression(compression); }
    unsigned short GetImageCompression() const { return File.ImageData.GetCompression(); }
    char* GetImageCompressionAsName() const { return File.ImageData.GetCompressionAsName(); }
    bool SetImageData(const char* data, unsigned long length) { return File.ImageData.SetDataBuffer(data, length); }
    char* GetImageData() const { return File.ImageData.GetDataBuffer(); }
    bool SetPlanarImageData(const char* first, const char* second, const char* third, unsigned long planeLength) {
        return File.ImageData.SetPlanarDataBuffers(first, second, third, planeLength);
    }
    unsigned long GetImageDataLen() const { return File.ImageData.GetImageDataLen(); }

    // Whether the last read found the whole file, and what it had to cut,
    // skip or stop: one line per problem, in file order, at most
    // PSDFile::MAX_READ_PROBLEMS lines.
    bool IsIntact() const { return File.IsIntact(); }
    unsigned long GetNumReadProblems() const { return File.GetNumReadProblems(); }
    const char* GetReadProblem(unsigned long i) const { return File.GetReadProblem(i); }

    // The document's image resources and layers, owned by the document.
    PSDImageRes* GetImageResources() { return &File.ImageRes; }
    PSDLayers* GetLayers() { return &File.Layers; }
    // The records of an 'Lr16' or 'Lr32' block (16- and 32-bit documents keep
    // their layers there), read on first call; null when the file has none.
    PSDLayers* GetTaggedLayers();
    // The header, the colour mode section and the file (name, validity).
    PSDHeader* GetHeader() { return &File.Header; }
    PSDColorMode* GetColorMode() { return &File.ColorMode; }
    PSDFile* GetFile() { return &File; }

private:
    PhotoshopFile(const PhotoshopFile&) = delete;
    PhotoshopFile& operator=(const PhotoshopFile&) = delete;

    // Adds the resources every committed file carries: a resolution record,
    // a thumbnail of the planes and an sRGB profile, behind any blocks the
    // section holds. A thumbnail that cannot be made is left out.
    void AttachStandardResources();

    PSDFile File;
    std::unique_ptr<PSDLayers> TaggedLayers;
    bool TaggedLayersRead = false;
};

}  // namespace psdkit

#endif
