#include "psdkit/pixels/PSDPixels.h"

#include <fstream>

#include "psdkit/core/PSDFile.h"
#include "psdkit/core/PhotoshopFile.h"
#include "psdkit/core/PSDUtil.h"
#include "psdkit/layers/PSDLayers.h"
#include "psdkit/pixels/PSDColorConverter.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"
#include "psdkit/resources/PSDImageRes.h"
#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

namespace {

const unsigned short RESOURCE_ICC_PROFILE = 1039;
const unsigned long HEADER_LENGTH = 26;

// The colour mode data: the section reader passes over it, so it is read
// from the file again. Never more than the file holds.
void ReadColorModeData(const char* fileName, std::vector<char>& out) {
    out.clear();
    if (!fileName) return;
    std::ifstream in(fileName, std::ios::binary);
    if (!in) return;
    in.seekg(0, std::ios::end);
    std::streamoff size = in.tellg();
    if (size < static_cast<std::streamoff>(HEADER_LENGTH + 4)) return;
    in.seekg(HEADER_LENGTH);
    char word[4];
    if (!in.read(word, 4)) return;
    unsigned long length = 0;
    PSDUtil::BufferToLong(word, &length);
    if (length > static_cast<unsigned long>(size) - HEADER_LENGTH - 4) return;
    out.resize(length);
    if (!in.read(out.data(), static_cast<std::streamsize>(length))) out.clear();
}

}  // namespace

PSDPixels::PSDPixels()
    : MaxBytes(DEFAULT_MAX_BYTES), Width(0), Height(0), Depth(0), Mode(0), PlaneLength(0), AlphaPlane(-1),
      PlaneMemory(nullptr), InterleavedChannels(0) {}

PSDPixels::~PSDPixels() { FreePlanes(); }

const char* PSDPixels::GetPlane(unsigned short i) const { return i < Planes.size() ? Planes[i] : nullptr; }

const char* PSDPixels::GetProblem(unsigned long i) const { return i < Problems.size() ? Problems[i].c_str() : nullptr; }

void PSDPixels::FreePlanes() {
    PSDPlaneDecoder::FreePlaneMemory(PlaneMemory);
    PlaneMemory = nullptr;
    Planes.clear();
}

void PSDPixels::Clear() {
    Width = Height = PlaneLength = 0;
    Depth = Mode = 0;
    AlphaPlane = -1;
    FreePlanes();
    ColorTable.clear();
    Profile.clear();
    Interleaved.clear();
    InterleavedChannels = 0;
    Problems.clear();
}

bool PSDPixels::AllocatePlanes(unsigned short count, unsigned long planeLength) {
    FreePlanes();
    if (count != 0 && planeLength > ~0UL / count) {
        Problems.push_back("the planes' size overflows");
        return false;
    }
    unsigned long total = planeLength * count;
    if (total > MaxBytes) {
        Problems.push_back("the planes need " + std::to_string(total) + " bytes, more than the ceiling of " +
                           std::to_string(MaxBytes));
        return false;
    }
    PlaneMemory = PSDPlaneDecoder::AllocatePlaneMemory(total);
    if (!PlaneMemory) {
        Problems.push_back("out of memory for " + std::to_string(total) + " bytes of planes");
        return false;
    }
    for (unsigned short c = 0; c < count; ++c) Planes.push_back(PlaneMemory + c * planeLength);
    PlaneLength = planeLength;
    return true;
}

bool PSDPixels::DecodeComposite(PhotoshopFile& doc) {
    Clear();
    long rows = doc.GetImageHeight();
    long columns = doc.GetImageWidth();
    unsigned short channels = doc.GetImageChannels();
    unsigned short depth = doc.GetImageDepth();
    unsigned short compression = doc.GetImageCompression();
    if (rows < 0 || columns < 0) {
        Problems.push_back("negative image size");
        return false;
    }
    unsigned long planeLength = 0;
    if (!PSDPlaneDecoder::PlaneLength(static_cast<unsigned long>(columns), static_cast<unsigned long>(rows), depth,
                                      &planeLength)) {
        Problems.push_back("unsupported depth " + std::to_string(depth) + " or size");
        return false;
    }
    if (compression > PSDImageData::COMPRESSION_ZIP_PREDICTION) {
        Problems.push_back("unknown compression " + std::to_string(compression));
        return false;
    }
    // What the section holds, not what its length word claims.
    const char* data = doc.GetImageData();
    unsigned long length = doc.GetImageDataLen();
    unsigned long capacity = doc.GetFile()->ImageData.GetDataBufferCapacity();
    if (!data) length = 0;
    if (length > capacity) length = capacity;
    if (channels != 0 && planeLength > ~0UL / channels) {
        Problems.push_back("the planes' size overflows");
        return false;
    }
    unsigned long total = planeLength * channels;
    if (total > MaxBytes) {
        Problems.push_back("the planes need " + std::to_string(total) + " bytes, more than the ceiling of " +
                           std::to_string(MaxBytes));
        return false;
    }
    if (!PSDPlaneDecoder::CanProduce(compression, length, total)) {
        Problems.push_back("the image data (" + std::to_string(length) + " bytes) cannot hold " +
                           std::to_string(total) + " bytes of planes");
        return false;
    }
    if (!AllocatePlanes(channels, planeLength)) return false;
    Width = static_cast<unsigned long>(columns);
    Height = static_cast<unsigned long>(rows);
    Depth = depth;
    Mode = doc.GetImageMode();
    bool ok = PSDPlaneDecoder::DecodeImage(data, length, compression, Width, Height, channels, Depth, Planes.data(),
                                           &Problems);

    // A negative layer count marks the first extra channel as the
    // composite's transparency.
    short layerCount = static_cast<short>(doc.GetLayers()->GetLayerCount());
    unsigned short colorPlanes = PSDColorConverter::ColorPlanes(Mode);
    if (layerCount < 0 && channels > colorPlanes) AlphaPlane = colorPlanes;

    ReadColorModeData(doc.GetFile()->GetFileName(), ColorTable);
    PSDImageRes* resources = doc.GetImageResources();
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        PSDResourceBlock* block = resources->GetResourceBlock(i);
        if (!block || block->GetResourceID() != RESOURCE_ICC_PROFILE || !block->GetDataBlock()) continue;
        unsigned long size = block->GetDataBlockSize();
        if (size > block->GetDataBlockCapacity()) size = block->GetDataBlockCapacity();
        Profile.assign(block->GetDataBlock(), block->GetDataBlock() + size);
        break;
    }
    return ok;
}

bool PSDPixels::DecodeLayerChannel(PhotoshopFile&, unsigned short, unsigned short) { return false; }
bool PSDPixels::DecodeLayer(PhotoshopFile&, unsigned short, bool) { return false; }
bool PSDPixels::DecodeTaggedLayerChannel(PhotoshopFile&, unsigned short, unsigned short) { return false; }

bool PSDPixels::ConvertToRGB(unsigned short depth, bool alpha) {
    Interleaved.clear();
    InterleavedChannels = 0;
    if (Planes.empty()) return false;
    PSDColorConverter::Source source;
    source.Planes = Planes.data();
    source.NumPlanes = static_cast<unsigned short>(Planes.size());
    source.Width = Width;
    source.Height = Height;
    source.Depth = Depth;
    source.Mode = Mode;
    source.ColorTable = ColorTable.empty() ? nullptr : ColorTable.data();
    source.ColorTableLength = static_cast<unsigned long>(ColorTable.size());
    source.Profile = Profile.empty() ? nullptr : Profile.data();
    source.ProfileLength = static_cast<unsigned long>(Profile.size());
    source.AlphaPlane = AlphaPlane;
    unsigned long length = PSDColorConverter::InterleavedLength(source, depth, alpha);
    if (length == 0) return false;
    if (length > MaxBytes) {
        Problems.push_back("the converted image would pass the ceiling");
        return false;
    }
    Interleaved.resize(length);
    if (!PSDColorConverter::ToRGB(source, depth, alpha, Interleaved.data())) {
        Interleaved.clear();
        return false;
    }
    InterleavedChannels = alpha && AlphaPlane >= 0 ? 4 : 3;
    return true;
}

}  // namespace psdkit
