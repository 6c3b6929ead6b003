#include "psdkit/core/PhotoshopFile.h"

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/icc/PSDICCProfileRB.h"
#include "psdkit/resources/PSDResolutionInfoRB.h"
#include "psdkit/thumbnail/PSDThumbnailRB.h"

namespace psdkit {

PhotoshopFile::PhotoshopFile() = default;
PhotoshopFile::~PhotoshopFile() = default;

bool PhotoshopFile::OpenReadFile(const char* name) {
    TaggedLayers.reset();
    TaggedLayersRead = false;
    if (!File.OpenFileForRead(name)) return false;
    bool result = File.ReadFile();
    File.CloseFile();
    return result;
}

PSDLayers* PhotoshopFile::GetTaggedLayers() {
    if (TaggedLayersRead) return TaggedLayers.get();
    TaggedLayersRead = true;
    const PSDLayers& layers = File.Layers;
    if (layers.TaggedLayersLength == 0 || File.FileName == nullptr) return nullptr;
    // The file was closed after the read: the block is read from it again.
    PSDBoundedReader file = PSDBoundedReader::OpenFile(File.FileName);
    if (!file.SeekToFileOffset(layers.TaggedLayersOffset)) return nullptr;
    PSDBoundedReader block = file.Sub(layers.TaggedLayersLength);
    if (block.Clipped()) return nullptr;
    TaggedLayers.reset(new PSDLayers());
    TaggedLayers->ReadTaggedLayers(block);
    return TaggedLayers.get();
}

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
        // The thumbnail is scaled from three planes of width x height bytes;
        // image data that holds fewer (one plane of grayscale, say) gets none.
        unsigned long width = static_cast<unsigned long>(GetImageWidth());
        unsigned long height = static_cast<unsigned long>(GetImageHeight());
        unsigned long held = File.ImageData.GetImageDataLen();
        if (held > File.ImageData.GetDataBufferCapacity()) held = File.ImageData.GetDataBufferCapacity();
        bool planesHeld = width != 0 && height <= ~0UL / 3 / width && 3 * width * height <= held;
        if (planesHeld && thumbnail->CreateThumbnailFromData(STANDARD_THUMBNAIL_WIDTH, width, height, GetImageData())) {
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
