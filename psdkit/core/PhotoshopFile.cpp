#include "psdkit/core/PhotoshopFile.h"

#include <cstring>
#include <memory>
#include <vector>

#include "psdkit/icc/PSDICCProfileRB.h"
#include "psdkit/pixels/PSDColorConverter.h"
#include "psdkit/pixels/PSDPixels.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"
#include "psdkit/resources/PSDResolutionInfoRB.h"
#include "psdkit/thumbnail/PSDThumbnailRB.h"

namespace psdkit {

namespace {

struct PlaneMemoryDeleter {
    void operator()(char* memory) const { PSDPlaneDecoder::FreePlaneMemory(memory); }
};

// Three 8-bit planes of width x height for the thumbnail, from image data of
// any compression and depth the pixel decoder knows. Grayscale is
// replicated; modes other than grayscale and RGB go through the colour
// conversion. False when the data does not decode whole or cannot be shown.
bool ThumbnailPlanes(const char* data, unsigned long length, unsigned short compression, unsigned long width,
                     unsigned long height, unsigned short channels, unsigned short depth, unsigned short mode,
                     std::vector<char>& rgb) {
    unsigned long planeLength = 0;
    if (width == 0 || height == 0 || channels == 0) return false;
    if (!PSDPlaneDecoder::PlaneLength(width, height, depth, &planeLength)) return false;
    if (planeLength > ~0UL / channels || height > ~0UL / 3 / width) return false;
    unsigned long total = planeLength * channels;
    if (total > PSDPixels::DEFAULT_MAX_BYTES || !PSDPlaneDecoder::CanProduce(compression, length, total)) return false;
    std::unique_ptr<char, PlaneMemoryDeleter> memory(PSDPlaneDecoder::AllocatePlaneMemory(total));
    if (!memory) return false;
    std::vector<char*> planes(channels);
    for (unsigned short c = 0; c < channels; ++c) planes[c] = memory.get() + c * planeLength;
    if (!PSDPlaneDecoder::DecodeImage(data, length, compression, width, height, channels, depth, planes.data()))
        return false;

    const unsigned long pixels = width * height;
    rgb.resize(3 * pixels);
    bool direct = (mode == PSDHeader::MODE_GRAYSCALE || mode == PSDHeader::MODE_RGB) && (depth == 8 || depth == 16);
    if (direct) {
        unsigned short colours = mode == PSDHeader::MODE_RGB && channels >= 3 ? 3 : 1;
        for (unsigned short c = 0; c < 3; ++c) {
            const unsigned char* in = reinterpret_cast<const unsigned char*>(planes[colours == 3 ? c : 0]);
            char* out = rgb.data() + c * pixels;
            if (depth == 8) {
                std::memcpy(out, in, pixels);
            } else {
                for (unsigned long i = 0; i < pixels; ++i) out[i] = static_cast<char>(in[2 * i]);  // high byte
            }
        }
        return true;
    }
    PSDColorConverter::Source source;
    std::vector<const char*> constPlanes(planes.begin(), planes.end());
    source.Planes = constPlanes.data();
    source.NumPlanes = channels;
    source.Width = width;
    source.Height = height;
    source.Depth = depth;
    source.Mode = mode;
    unsigned long interleavedLength = PSDColorConverter::InterleavedLength(source, 8, false);
    if (interleavedLength != 3 * pixels) return false;
    std::vector<char> interleaved(interleavedLength);
    if (!PSDColorConverter::ToRGB(source, 8, false, interleaved.data())) return false;
    for (unsigned long i = 0; i < pixels; ++i)
        for (unsigned short c = 0; c < 3; ++c) rgb[c * pixels + i] = interleaved[3 * i + c];
    return true;
}

}  // namespace

PhotoshopFile::PhotoshopFile() = default;
PhotoshopFile::~PhotoshopFile() = default;

bool PhotoshopFile::OpenReadFile(const char* name) {
    if (!File.OpenFileForRead(name)) return false;
    bool result = File.ReadFile();
    File.CloseFile();
    return result;
}

PSDLayers* PhotoshopFile::GetTaggedLayers() { return nullptr; }

bool PhotoshopFile::OpenWriteFile(const char* name) { return File.OpenFileForWrite(name); }

bool PhotoshopFile::ValidateAttributesForWrite() {
    return File.Header.ValidateAttributesForWrite() && File.ImageData.ValidateAttributesForWrite();
}

void PhotoshopFile::AttachStandardResources() {
    PSDImageRes& resources = File.ImageRes;

    PSDResourceBlock* block = resources.CreateResouceBlockObject(PSDResourceBlock::RS_1005);
    if (PSDResolutionInfoRB* resolution = dynamic_cast<PSDResolutionInfoRB*>(block)) {
        resolution->SetHorizResolution(STANDARD_RESOLUTION);
        resolution->SetVertResolution(STANDARD_RESOLUTION);
        resources.AddResourceBlock(resolution);
    } else {
        delete block;
    }

    block = resources.CreateResouceBlockObject(PSDResourceBlock::RS_1036);
    if (PSDThumbnailRB* thumbnail = dynamic_cast<PSDThumbnailRB*>(block)) {
        // The thumbnail is scaled from three 8-bit planes. Raw 8-bit RGB
        // data that holds them is used as it stands; anything else is
        // decoded and converted first, and left out where that fails.
        unsigned long width = static_cast<unsigned long>(GetImageWidth());
        unsigned long height = static_cast<unsigned long>(GetImageHeight());
        unsigned long held = File.ImageData.GetImageDataLen();
        if (held > File.ImageData.GetDataBufferCapacity()) held = File.ImageData.GetDataBufferCapacity();
        if (!GetImageData()) held = 0;
        bool planesHeld = width != 0 && height <= ~0UL / 3 / width && 3 * width * height <= held;
        bool made = false;
        if (planesHeld && GetImageCompression() == PSDImageData::COMPRESSION_RAW && GetImageDepth() == 8 &&
            GetImageMode() == PSDHeader::MODE_RGB) {
            made = thumbnail->CreateThumbnailFromData(STANDARD_THUMBNAIL_WIDTH, width, height, GetImageData());
        } else {
            std::vector<char> rgb;
            made = GetImageWidth() > 0 && GetImageHeight() > 0 &&
                   ThumbnailPlanes(GetImageData(), held, GetImageCompression(), width, height, GetImageChannels(),
                                   GetImageDepth(), GetImageMode(), rgb) &&
                   thumbnail->CreateThumbnailFromData(STANDARD_THUMBNAIL_WIDTH, width, height, rgb.data());
        }
        if (made) {
            resources.AddResourceBlock(thumbnail);
        } else {
            delete thumbnail;
        }
    } else {
        delete block;
    }

    block = resources.CreateResouceBlockObject(PSDResourceBlock::RS_1039);
    if (PSDICCProfileRB* profile = dynamic_cast<PSDICCProfileRB*>(block)) {
        profile->SetProfile(PSDICCProfileRB::PROFILE_NAME_SRGB);
        resources.AddResourceBlock(profile);
    } else {
        delete block;
    }
}

bool PhotoshopFile::CommitWriteFile() {
    if (!ValidateAttributesForWrite()) return false;
    AttachStandardResources();
    bool result = File.WriteFile();
    File.CloseFile();
    return result;
}

}  // namespace psdkit
