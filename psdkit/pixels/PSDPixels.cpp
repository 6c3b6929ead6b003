#include "psdkit/pixels/PSDPixels.h"

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDFile.h"
#include "psdkit/core/PhotoshopFile.h"
#include "psdkit/pixels/PSDColorConverter.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"
#include "psdkit/resources/PSDImageRes.h"
#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

namespace {

const unsigned short RESOURCE_ICC_PROFILE = 1039;
const unsigned long HEADER_LENGTH = 26;

// What the section readers do not keep: the colour mode data (passed over)
// and the sign of the layer count. Read from the file again, never more than
// it holds.
void ReadFileFacts(const char* fileName, std::vector<char>& colorTable, bool* negativeLayerCount) {
    colorTable.clear();
    *negativeLayerCount = false;
    PSDBoundedReader file = PSDBoundedReader::OpenFile(fileName);
    unsigned long length = 0;
    if (!file.SeekTo(HEADER_LENGTH) || !file.ReadLong(&length) || !file.Has(length)) return;
    colorTable.resize(length);
    if (!file.Read(colorTable.data(), length)) {
        colorTable.clear();
        return;
    }
    // Image resources, then the layer section's length, the layer info's
    // length and the count.
    unsigned long sectionLength = 0, infoLength = 0;
    unsigned char countHigh = 0;
    if (!file.ReadLong(&length) || !file.Skip(length) || !file.Has(10)) return;
    file.ReadLong(&sectionLength);
    file.ReadLong(&infoLength);
    file.ReadByte(&countHigh);
    if (sectionLength < 6 || infoLength < 2) return;
    *negativeLayerCount = (countHigh & 0x80) != 0;
}

}  // namespace

PSDPixels::PSDPixels()
    : MaxBytes(DEFAULT_MAX_BYTES),
      Width(0),
      Height(0),
      Depth(0),
      Mode(0),
      PlaneLength(0),
      AlphaPlane(-1),
      PlaneMemory(nullptr),
      InterleavedChannels(0) {}

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
    // composite's transparency; the layer model keeps only the number.
    bool negativeLayerCount = false;
    ReadFileFacts(doc.GetFile()->GetFileName(), ColorTable, &negativeLayerCount);
    unsigned short colorPlanes = PSDColorConverter::ColorPlanes(Mode);
    if (negativeLayerCount && channels > colorPlanes) AlphaPlane = colorPlanes;
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

// ---------------------------------------------------------------------------
// Layer pixels. The layer walk keeps no pixel data, only where each channel's
// data begins; these calls reopen the file and decode a channel or a whole
// layer when a host asks for it.
// ---------------------------------------------------------------------------

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace psdkit {
namespace {

const unsigned short LAYER_CHANNEL_TRANSPARENCY = 0xFFFF;    // -1
const unsigned short LAYER_CHANNEL_USER_MASK = 0xFFFE;       // -2
const unsigned short LAYER_CHANNEL_REAL_USER_MASK = 0xFFFD;  // -3
// Mask flag: the mask is disabled.
const unsigned char MASK_FLAG_DISABLED = 0x02;

// The file's 32-bit coordinates are signed.
long Coordinate(unsigned long value) {
    return static_cast<long>(static_cast<std::int32_t>(static_cast<std::uint32_t>(value & 0xFFFFFFFFUL)));
}

struct LayerRect {
    long Top = 0;
    long Left = 0;
    long Bottom = 0;
    long Right = 0;

    LayerRect() = default;
    LayerRect(unsigned long top, unsigned long left, unsigned long bottom, unsigned long right)
        : Top(Coordinate(top)), Left(Coordinate(left)), Bottom(Coordinate(bottom)), Right(Coordinate(right)) {}
    bool Inverted() const { return Bottom < Top || Right < Left; }
    // Both fit in 32 bits, as the coordinates do.
    unsigned long Width() const { return Inverted() ? 0 : static_cast<unsigned long>(Right - Left); }
    unsigned long Height() const { return Inverted() ? 0 : static_cast<unsigned long>(Bottom - Top); }
    bool Contains(long row, long column) const {
        return row >= Top && row < Bottom && column >= Left && column < Right;
    }
};

LayerRect LayerBounds(const PSDLayers& layers, unsigned short layer) {
    return LayerRect(layers.GetLayerRecordLayerTop(layer), layers.GetLayerRecordLayerLeft(layer),
                     layers.GetLayerRecordLayerBottom(layer), layers.GetLayerRecordLayerRight(layer));
}

// The rectangle a channel covers: the mask's own for the two mask channels.
LayerRect ChannelRect(const PSDLayers& layers, unsigned short channel, unsigned short layer) {
    unsigned short id = layers.GetLayerRecordChannelInfoChannelID(channel, layer);
    const LayerMask& mask = layers.GetLayerRecordMask(layer);
    if (id == LAYER_CHANNEL_USER_MASK) return LayerRect(mask.MaskTop, mask.MaskLeft, mask.MaskBottom, mask.MaskRight);
    if (id == LAYER_CHANNEL_REAL_USER_MASK)
        return LayerRect(mask.RealTop, mask.RealLeft, mask.RealBottom, mask.RealRight);
    return LayerBounds(layers, layer);
}

std::string LayerName(unsigned short layer) { return "layer " + std::to_string(layer); }

// The open file a layer's channels are read from.
struct ChannelFile {
    PSDBoundedReader Window = PSDBoundedReader::OpenFile(nullptr);
    unsigned long Size = 0;
    std::vector<char> Scratch;

    bool Open(const char* name) {
        if (name == nullptr) return false;
        Window = PSDBoundedReader::OpenFile(name);
        Size = Window.Size();
        return Size != 0;
    }
    bool ReadAt(unsigned long offset, char* out, unsigned long length) {
        return Window.SeekToFileOffset(offset) && Window.Read(out, length);
    }
};

// One channel to decode, checked against the file before anything is
// allocated for it.
struct ChannelJob {
    std::string Name;
    unsigned long Offset = 0;  // of the compression code
    unsigned long Length = 0;  // as stored, counting the code
    unsigned long Width = 0;
    unsigned long Height = 0;
    unsigned short Depth = 8;
    unsigned long PlaneLength = 0;
    // Found by Check.
    unsigned short Compression = 0;
    unsigned long Available = 0;  // data bytes behind the code, within the file
    bool Whole = false;           // the file holds all of them

    // False with a problem line when the channel cannot give its plane: an
    // inverted or oversized rectangle, data that is not in the file or that
    // cannot produce the plane.
    bool Check(ChannelFile& file, unsigned long maxBytes, std::vector<std::string>& problems) {
        if (!PSDPlaneDecoder::PlaneLength(Width, Height, Depth, &PlaneLength)) {
            problems.push_back(Name + ": unsupported depth " + std::to_string(Depth) + " or size");
            return false;
        }
        if (PlaneLength == 0) return true;
        if (PlaneLength > maxBytes) {
            problems.push_back(Name + ": " + std::to_string(PlaneLength) + " bytes, more than the ceiling of " +
                               std::to_string(maxBytes));
            return false;
        }
        if (Offset == 0) {
            problems.push_back(Name + ": where its data begins is unknown");
            return false;
        }
        if (Length < 2 || Offset >= file.Size || file.Size - Offset < 2) {
            problems.push_back(Name + ": its data lies past the end of the file");
            return false;
        }
        char code[2];
        if (!file.ReadAt(Offset, code, 2)) {
            problems.push_back(Name + ": its compression code cannot be read");
            return false;
        }
        Compression = static_cast<unsigned short>((static_cast<unsigned char>(code[0]) << 8) |
                                                  static_cast<unsigned char>(code[1]));
        Available = std::min(Length - 2, file.Size - Offset - 2);
        Whole = Available == Length - 2;
        if (!PSDPlaneDecoder::CanProduce(Compression, Available, PlaneLength)) {
            problems.push_back(Name + ": " + std::to_string(Available) + " bytes of data cannot hold " +
                               std::to_string(Width) + " x " + std::to_string(Height));
            return false;
        }
        return true;
    }

    // Decodes a checked channel into `plane` of PlaneLength bytes; what
    // cannot be decoded is zeros.
    bool Decode(ChannelFile& file, char* plane, std::vector<std::string>& problems) {
        if (PlaneLength == 0) return true;
        bool ok = Whole;
        if (!Whole) problems.push_back(Name + ": its data is cut short by the end of the file");
        if (Compression == PSDImageData::COMPRESSION_RAW) {
            // Straight into the plane: raw data needs no second copy.
            unsigned long take = std::min(Available, PlaneLength);
            if (!file.ReadAt(Offset + 2, plane, take)) take = 0;
            std::memset(plane + take, 0, PlaneLength - take);
            if (take < PlaneLength) {
                problems.push_back(Name + ": raw data shorter than its rectangle; filled with zeros");
                return false;
            }
            return ok;
        }
        file.Scratch.resize(Available);
        if (!file.ReadAt(Offset + 2, file.Scratch.data(), Available)) {
            std::memset(plane, 0, PlaneLength);
            problems.push_back(Name + ": its data cannot be read");
            return false;
        }
        std::vector<std::string> found;
        bool decoded = PSDPlaneDecoder::DecodeChannel(file.Scratch.data(), Available, Compression, Width, Height, Depth,
                                                      plane, &found);
        for (const std::string& line : found) problems.push_back(Name + ": " + line);
        return decoded && ok;
    }
};

ChannelJob MakeJob(const PSDLayers& layers, unsigned short channel, unsigned short layer, unsigned short depth) {
    LayerRect rect = ChannelRect(layers, channel, layer);
    ChannelJob job;
    job.Name = LayerName(layer) + " channel " + std::to_string(channel);
    job.Offset = layers.GetLayerRecordChannelDataOffset(channel, layer);
    job.Length = layers.GetLayerRecordChannelInfoChannelLength(channel, layer);
    job.Width = rect.Width();
    job.Height = rect.Height();
    job.Depth = depth;
    return job;
}

float LoadFloat(const unsigned char* p) {
    std::uint32_t bits = (static_cast<std::uint32_t>(p[0]) << 24) | (static_cast<std::uint32_t>(p[1]) << 16) |
                         (static_cast<std::uint32_t>(p[2]) << 8) | p[3];
    float value;
    std::memcpy(&value, &bits, 4);
    return value;
}

void StoreFloat(unsigned char* p, float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, 4);
    p[0] = static_cast<unsigned char>(bits >> 24);
    p[1] = static_cast<unsigned char>(bits >> 16);
    p[2] = static_cast<unsigned char>(bits >> 8);
    p[3] = static_cast<unsigned char>(bits);
}

// Multiplies the user mask into `alpha`, a plane over `layerRect`. Outside the
// mask's rectangle, or with no mask plane, the mask's default colour applies.
void ApplyMask(char* alpha, const LayerRect& layerRect, const std::vector<char>& mask, const LayerRect& maskRect,
               unsigned char defaultColor, unsigned short depth) {
    unsigned long width = layerRect.Width();
    unsigned long height = layerRect.Height();
    unsigned long maskWidth = maskRect.Width();
    bool haveMask = !mask.empty();
    unsigned char* a = reinterpret_cast<unsigned char*>(alpha);
    const unsigned char* m = reinterpret_cast<const unsigned char*>(mask.data());
    for (unsigned long y = 0; y < height; ++y) {
        long row = layerRect.Top + static_cast<long>(y);
        for (unsigned long x = 0; x < width; ++x) {
            long column = layerRect.Left + static_cast<long>(x);
            bool inside = haveMask && maskRect.Contains(row, column);
            unsigned long index = inside ? static_cast<unsigned long>(row - maskRect.Top) * maskWidth +
                                               static_cast<unsigned long>(column - maskRect.Left)
                                         : 0;
            unsigned long at = y * width + x;
            if (depth == 8) {
                unsigned value = inside ? m[index] : defaultColor;
                a[at] = static_cast<unsigned char>((a[at] * value + 127) / 255);
            } else if (depth == 16) {
                unsigned long value =
                    inside ? (static_cast<unsigned long>(m[2 * index]) << 8) | m[2 * index + 1] : defaultColor * 257UL;
                unsigned long sample = (static_cast<unsigned long>(a[2 * at]) << 8) | a[2 * at + 1];
                sample = (sample * value + 32767) / 65535;
                a[2 * at] = static_cast<unsigned char>(sample >> 8);
                a[2 * at + 1] = static_cast<unsigned char>(sample);
            } else if (depth == 32) {
                float value = inside ? LoadFloat(m + 4 * index) : defaultColor / 255.0f;
                StoreFloat(a + 4 * at, LoadFloat(a + 4 * at) * value);
            }
        }
    }
}

// Full opacity, for a layer with no transparency of its own.
void FillOpaque(char* plane, unsigned long samples, unsigned short depth) {
    if (depth == 32) {
        for (unsigned long i = 0; i < samples; ++i) StoreFloat(reinterpret_cast<unsigned char*>(plane) + 4 * i, 1.0f);
    } else {
        std::memset(plane, 0xFF, PSDPlaneDecoder::RowBytes(samples, depth));
    }
}

void CopyProfile(PhotoshopFile& doc, std::vector<char>& profile) {
    profile.clear();
    PSDImageRes* resources = doc.GetImageResources();
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        PSDResourceBlock* block = resources->GetResourceBlock(i);
        if (!block || block->GetResourceID() != RESOURCE_ICC_PROFILE || !block->GetDataBlock()) continue;
        unsigned long size = std::min(block->GetDataBlockSize(), block->GetDataBlockCapacity());
        profile.assign(block->GetDataBlock(), block->GetDataBlock() + size);
        return;
    }
}

// Finds and checks one channel of a record of `layers` (null: none) and
// opens the file for it.
bool PrepareChannel(PhotoshopFile& doc, PSDLayers* layers, unsigned short layer, unsigned short channel,
                    unsigned long maxBytes, ChannelFile& file, ChannelJob& job, std::vector<std::string>& problems) {
    if (layers == nullptr || layer >= layers->GetLayerCount() || channel >= layers->GetLayerRecordNumChannels(layer)) {
        problems.push_back(LayerName(layer) + " channel " + std::to_string(channel) + ": no such channel");
        return false;
    }
    job = MakeJob(*layers, channel, layer, doc.GetImageDepth());
    if (ChannelRect(*layers, channel, layer).Inverted()) {
        problems.push_back(job.Name + ": its rectangle is inverted");
        return false;
    }
    if (!file.Open(doc.GetFile()->GetFileName())) {
        problems.push_back(job.Name + ": the file cannot be opened");
        return false;
    }
    return job.Check(file, maxBytes, problems);
}

}  // namespace

bool PSDPixels::DecodeLayerChannel(PhotoshopFile& doc, unsigned short layer, unsigned short channel) {
    return DecodeChannelOf(doc, doc.GetLayers(), layer, channel);
}

bool PSDPixels::DecodeTaggedLayerChannel(PhotoshopFile& doc, unsigned short layer, unsigned short channel) {
    return DecodeChannelOf(doc, doc.GetTaggedLayers(), layer, channel);
}

bool PSDPixels::DecodeChannelOf(PhotoshopFile& doc, PSDLayers* layers, unsigned short layer, unsigned short channel) {
    Clear();
    ChannelFile file;
    ChannelJob job;
    if (!PrepareChannel(doc, layers, layer, channel, MaxBytes, file, job, Problems)) return false;
    if (!AllocatePlanes(1, job.PlaneLength)) return false;
    Width = job.Width;
    Height = job.Height;
    Depth = job.Depth;
    Mode = doc.GetImageMode();
    return job.Decode(file, Planes[0], Problems);
}

bool PSDPixels::DecodeLayer(PhotoshopFile& doc, unsigned short layer, bool applyUserMask) {
    Clear();
    PSDLayers* layers = doc.GetLayers();
    // 16- and 32-bit documents keep their layers in a tagged block.
    if (layers->GetLayerCount() == 0 && doc.GetTaggedLayers() != nullptr) layers = doc.GetTaggedLayers();
    if (layer >= layers->GetLayerCount()) {
        Problems.push_back(LayerName(layer) + ": no such layer");
        return false;
    }
    LayerRect rect = LayerBounds(*layers, layer);
    if (rect.Inverted()) {
        Problems.push_back(LayerName(layer) + ": its rectangle is inverted");
        return false;
    }
    unsigned short depth = doc.GetImageDepth();
    unsigned short colors = PSDColorConverter::ColorPlanes(doc.GetImageMode());
    unsigned long planeLength = 0;
    if (!PSDPlaneDecoder::PlaneLength(rect.Width(), rect.Height(), depth, &planeLength)) {
        Problems.push_back(LayerName(layer) + ": unsupported depth " + std::to_string(depth) + " or size");
        return false;
    }

    // Where each wanted channel sits in the record's list.
    std::vector<int> at(colors + 1, -1);
    int maskAt = -1;
    unsigned short channels = layers->GetLayerRecordNumChannels(layer);
    for (unsigned short c = 0; c < channels; ++c) {
        unsigned short id = layers->GetLayerRecordChannelInfoChannelID(c, layer);
        if (id < colors && at[id] < 0) at[id] = c;
        if (id == LAYER_CHANNEL_TRANSPARENCY && at[colors] < 0) at[colors] = c;
        if (id == LAYER_CHANNEL_USER_MASK && maskAt < 0) maskAt = c;
    }
    const LayerMask& mask = layers->GetLayerRecordMask(layer);
    bool withMask =
        applyUserMask && depth != 1 && (maskAt >= 0 || mask.MaskSize != 0) && (mask.Flags & MASK_FLAG_DISABLED) == 0;
    unsigned short planes = static_cast<unsigned short>(colors + ((at[colors] >= 0 || withMask) ? 1 : 0));

    ChannelFile file;
    if (planeLength != 0 && !file.Open(doc.GetFile()->GetFileName())) {
        Problems.push_back(LayerName(layer) + ": the file cannot be opened");
        return false;
    }
    // Every channel is checked before anything is allocated. Missing or
    // refused channels are filled, but only for a size some channel of the
    // file backs.
    bool ok = true;
    bool backed = planeLength == 0;
    std::vector<ChannelJob> jobs(planes);
    std::vector<bool> usable(planes, false);
    for (unsigned short p = 0; p < planes && planeLength != 0; ++p) {
        if (at[p] < 0) {
            if (p < colors) {
                Problems.push_back(LayerName(layer) + ": no channel " + std::to_string(p));
                ok = false;
            }
            continue;
        }
        jobs[p] = MakeJob(*layers, static_cast<unsigned short>(at[p]), layer, depth);
        usable[p] = jobs[p].Check(file, MaxBytes, Problems);
        if (usable[p])
            backed = true;
        else
            ok = false;
    }
    if (!backed || !AllocatePlanes(planes, planeLength)) return false;
    for (unsigned short p = 0; p < planes && planeLength != 0; ++p) {
        if (usable[p]) {
            if (!jobs[p].Decode(file, Planes[p], Problems)) ok = false;
        } else if (p == colors && at[colors] < 0) {
            FillOpaque(Planes[p], rect.Width() * rect.Height(), depth);
        } else {
            std::memset(Planes[p], 0, planeLength);
        }
    }

    if (withMask && planeLength != 0) {
        LayerRect maskRect(mask.MaskTop, mask.MaskLeft, mask.MaskBottom, mask.MaskRight);
        std::vector<char> maskPlane;
        if (maskRect.Inverted()) {
            Problems.push_back(LayerName(layer) + ": its mask's rectangle is inverted");
            ok = false;
        } else if (maskAt >= 0) {
            ChannelJob job = MakeJob(*layers, static_cast<unsigned short>(maskAt), layer, depth);
            if (job.Check(file, MaxBytes, Problems)) {
                maskPlane.resize(job.PlaneLength);
                if (!job.Decode(file, maskPlane.data(), Problems)) ok = false;
            } else {
                ok = false;
            }
        }
        ApplyMask(Planes[colors], rect, maskPlane, maskRect, mask.DefaultColor, depth);
    }

    Width = rect.Width();
    Height = rect.Height();
    Depth = depth;
    Mode = doc.GetImageMode();
    PlaneLength = planeLength;
    AlphaPlane = planes > colors ? colors : -1;
    bool negativeLayerCount = false;  // a layer's transparency is its channel -1
    ReadFileFacts(doc.GetFile()->GetFileName(), ColorTable, &negativeLayerCount);
    CopyProfile(doc, Profile);
    return ok;
}

}  // namespace psdkit
