#ifndef PSDKIT_PIXELS_PSDPIXELS_H
#define PSDKIT_PIXELS_PSDPIXELS_H

#include <string>
#include <vector>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

class PhotoshopFile;
class PSDLayers;

// A decoded image that owns its planes: the composite of a document, one
// channel of a layer, or a whole layer, at the file's own depth and with
// samples as stored (16- and 32-bit big-endian, 1-bit rows packed). On request
// it converts them to interleaved sRGB.
//
// Decoding is forgiving: a row or channel that cannot be decoded is filled
// with zeros, the call returns false and says why in a problem line, and the
// rest of the image is there. Nothing larger than the ceiling is allocated.
class PSDKIT_API PSDPixels {
public:
    // The default ceiling on the decoded planes, all together.
    static constexpr unsigned long DEFAULT_MAX_BYTES = 4UL << 30;

    PSDPixels();
    ~PSDPixels();
    PSDPixels(const PSDPixels&) = delete;
    PSDPixels& operator=(const PSDPixels&) = delete;

    // Images whose planes would need more bytes than this are refused with
    // false before anything is allocated.
    void SetMaxBytes(unsigned long bytes) { MaxBytes = bytes; }
    unsigned long GetMaxBytes() const { return MaxBytes; }

    // The composite of a document read by OpenReadFile, compression 0 to 3,
    // one plane per channel.
    bool DecodeComposite(PhotoshopFile& doc);
    // One channel of one layer record (`channel` is its position in the
    // record's channel list), over the rectangle that channel covers.
    bool DecodeLayerChannel(PhotoshopFile& doc, unsigned short layer, unsigned short channel);
    // The colour channels and the transparency of a layer over its rectangle,
    // ready for ConvertToRGB; the user mask multiplied into the transparency
    // on request.
    bool DecodeLayer(PhotoshopFile& doc, unsigned short layer, bool applyUserMask = false);
    // As DecodeLayerChannel, for the records of an 'Lr16'/'Lr32' block.
    bool DecodeTaggedLayerChannel(PhotoshopFile& doc, unsigned short layer, unsigned short channel);

    unsigned long GetWidth() const { return Width; }
    unsigned long GetHeight() const { return Height; }
    unsigned short GetDepth() const { return Depth; }
    // The colour mode the planes are in (PSDHeader::MODE_...).
    unsigned short GetMode() const { return Mode; }
    unsigned short GetNumPlanes() const { return static_cast<unsigned short>(Planes.size()); }
    // Null past the last plane.
    const char* GetPlane(unsigned short i) const;
    // Bytes per plane: rows x the bytes of a row.
    unsigned long GetPlaneLength() const { return PlaneLength; }
    // The index of the plane that holds transparency, or -1.
    int GetAlphaPlane() const { return AlphaPlane; }

    // Interleaved sRGB at 8 or 16 bits per sample (16-bit samples in the
    // machine's byte order), with alpha where asked and the image has
    // transparency. False for other depths or an image with no planes.
    bool ConvertToRGB(unsigned short depth, bool alpha);
    const char* GetInterleaved() const { return Interleaved.empty() ? nullptr : Interleaved.data(); }
    unsigned long GetInterleavedLength() const { return static_cast<unsigned long>(Interleaved.size()); }
    // 3 or 4, after ConvertToRGB.
    unsigned short GetInterleavedChannels() const { return InterleavedChannels; }

    // What the last decode had to fill or leave out, one line each.
    unsigned long GetNumProblems() const { return static_cast<unsigned long>(Problems.size()); }
    const char* GetProblem(unsigned long i) const;

    void Clear();

private:
    // One channel of one record of `layers` (the document's or the tagged ones).
    bool DecodeChannelOf(PhotoshopFile& doc, PSDLayers* layers, unsigned short layer, unsigned short channel);
    // Room for `count` planes of `planeLength` bytes in one block (content
    // undefined), after the ceiling check; false with a problem line when
    // the size overflows, passes the ceiling or cannot be had.
    bool AllocatePlanes(unsigned short count, unsigned long planeLength);
    void FreePlanes();

    unsigned long MaxBytes;
    unsigned long Width;
    unsigned long Height;
    unsigned short Depth;
    unsigned short Mode;
    unsigned long PlaneLength;
    int AlphaPlane;
    // All planes in one block, so large images fault in huge pages.
    char* PlaneMemory;
    std::vector<char*> Planes;
    // What the colour conversion needs besides the planes.
    std::vector<char> ColorTable;
    std::vector<char> Profile;
    std::vector<char> Interleaved;
    unsigned short InterleavedChannels;
    std::vector<std::string> Problems;
};

}  // namespace psdkit

#endif
