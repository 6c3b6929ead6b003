#include "psdkit/pixels/PSDPixels.h"

namespace psdkit {

PSDPixels::PSDPixels()
    : MaxBytes(DEFAULT_MAX_BYTES), Width(0), Height(0), Depth(0), Mode(0), PlaneLength(0), AlphaPlane(-1),
      InterleavedChannels(0) {}

PSDPixels::~PSDPixels() = default;

const char* PSDPixels::GetPlane(unsigned short i) const { return i < Planes.size() ? Planes[i].data() : nullptr; }

const char* PSDPixels::GetProblem(unsigned long i) const { return i < Problems.size() ? Problems[i].c_str() : nullptr; }

void PSDPixels::Clear() {
    Width = Height = PlaneLength = 0;
    Depth = Mode = 0;
    AlphaPlane = -1;
    Planes.clear();
    ColorTable.clear();
    Profile.clear();
    Interleaved.clear();
    InterleavedChannels = 0;
    Problems.clear();
}

bool PSDPixels::DecodeComposite(PhotoshopFile&) { return false; }
bool PSDPixels::ConvertToRGB(unsigned short, bool) { return false; }

}  // namespace psdkit

// ---------------------------------------------------------------------------
// Layer pixels. The layer walk keeps no pixel data, only where each channel's
// data begins; these calls reopen the file and decode a channel or a whole
// layer when a host asks for it.
// ---------------------------------------------------------------------------

#include <libdeflate.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>

#include "psdkit/core/PSDHeader.h"
#include "psdkit/core/PhotoshopFile.h"
#include "psdkit/layers/PSDLayers.h"
#include "psdkit/pixels/PSDColorConverter.h"
#include "psdkit/resources/PSDImageRes.h"
#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {
namespace {

const unsigned short LAYER_CHANNEL_TRANSPARENCY = 0xFFFF;  // -1
const unsigned short LAYER_CHANNEL_USER_MASK = 0xFFFE;     // -2
const unsigned short LAYER_CHANNEL_REAL_USER_MASK = 0xFFFD;  // -3
const unsigned short ICC_PROFILE_RESOURCE = 1039;
// Mask flag: the mask is disabled.
const unsigned char MASK_FLAG_DISABLED = 0x02;

// A short channel is decoded as far as it goes and the rest filled with zeros;
// beyond this slack a plane the channel's bytes cannot produce is refused
// before it is allocated.
const unsigned long FILL_SLACK = 1UL << 16;

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
    // Both fit in 32 bits: the coordinates do.
    unsigned long Width() const { return Inverted() ? 0 : static_cast<unsigned long>(Right - Left); }
    unsigned long Height() const { return Inverted() ? 0 : static_cast<unsigned long>(Bottom - Top); }
    bool Contains(long row, long column) const { return row >= Top && row < Bottom && column >= Left && column < Right; }
};

// The rectangle a channel covers: the mask's own for the two mask channels.
LayerRect ChannelRect(const PSDLayers& layers, unsigned short channel, unsigned short layer) {
    unsigned short id = layers.GetLayerRecordChannelInfoChannelID(channel, layer);
    const LayerMask& mask = layers.GetLayerRecordMask(layer);
    if (id == LAYER_CHANNEL_USER_MASK) return LayerRect(mask.MaskTop, mask.MaskLeft, mask.MaskBottom, mask.MaskRight);
    if (id == LAYER_CHANNEL_REAL_USER_MASK)
        return LayerRect(mask.RealTop, mask.RealLeft, mask.RealBottom, mask.RealRight);
    return LayerRect(layers.GetLayerRecordLayerTop(layer), layers.GetLayerRecordLayerLeft(layer),
                     layers.GetLayerRecordLayerBottom(layer), layers.GetLayerRecordLayerRight(layer));
}

std::string Describe(unsigned short channel, unsigned short layer) {
    return "layer " + std::to_string(layer) + " channel " + std::to_string(channel);
}

// The most one byte of channel data can yield: PackBits at best 128 bytes
// from 2, deflate about 1032 from 1.
unsigned long MaxYield(unsigned short compression) {
    switch (compression) {
        case 0:
            return 1;
        case 1:
            return 64;
        case 2:
        case 3:
            return 1032;
        default:
            return 0;
    }
}

// One row of PackBits into exactly `length` bytes. False when the row's data
// ends early or would overrun the row; what was decoded stays.
bool UnpackRow(const unsigned char* in, unsigned long inLength, char* out, unsigned long length) {
    unsigned long i = 0;
    unsigned long o = 0;
    while (o < length) {
        if (i >= inLength) return false;
        int header = static_cast<signed char>(in[i++]);
        if (header >= 0) {
            unsigned long count = static_cast<unsigned long>(header) + 1;
            unsigned long fits = std::min(std::min(count, inLength - i), length - o);
            std::memcpy(out + o, in + i, fits);
            if (fits < count) return false;
            i += count;
            o += count;
        } else if (header != -128) {
            unsigned long count = static_cast<unsigned long>(1 - header);
            if (i >= inLength) return false;
            unsigned long fits = std::min(count, length - o);
            std::memset(out + o, in[i++], fits);
            if (fits < count) return false;
            o += count;
        }
    }
    return true;
}

// Undoes the per-row prediction of compression 3.
bool Unpredict(char* plane, unsigned long width, unsigned long height, unsigned short depth) {
    if (width == 0) return true;
    unsigned char* row = reinterpret_cast<unsigned char*>(plane);
    if (depth == 8) {
        for (unsigned long y = 0; y < height; ++y, row += width)
            for (unsigned long x = 1; x < width; ++x) row[x] = static_cast<unsigned char>(row[x] + row[x - 1]);
        return true;
    }
    if (depth == 16) {
        for (unsigned long y = 0; y < height; ++y, row += width * 2) {
            unsigned prev = (row[0] << 8) | row[1];
            for (unsigned long x = 1; x < width; ++x) {
                unsigned value = (((row[2 * x] << 8) | row[2 * x + 1]) + prev) & 0xFFFF;
                row[2 * x] = static_cast<unsigned char>(value >> 8);
                row[2 * x + 1] = static_cast<unsigned char>(value);
                prev = value;
            }
        }
        return true;
    }
    if (depth == 32) {
        // Deltas run over the row's bytes, which hold the samples' first
        // bytes, then their second bytes, and so on.
        std::vector<unsigned char> bytes(width * 4);
        for (unsigned long y = 0; y < height; ++y, row += width * 4) {
            for (unsigned long x = 1; x < width * 4; ++x) row[x] = static_cast<unsigned char>(row[x] + row[x - 1]);
            for (unsigned long x = 0; x < width; ++x)
                for (unsigned long k = 0; k < 4; ++k) bytes[x * 4 + k] = row[k * width + x];
            std::memcpy(row, bytes.data(), bytes.size());
        }
        return true;
    }
    return false;
}

// The open file a layer's channels are read from.
struct ChannelFile {
    std::ifstream In;
    unsigned long Size = 0;
    std::vector<char> Scratch;

    bool Open(const char* name) {
        if (name == nullptr) return false;
        In.open(name, std::ios_base::in | std::ios_base::binary);
        if (!In) return false;
        In.seekg(0, std::ios_base::end);
        std::streamoff end = In.tellg();
        if (end < 0) return false;
        Size = static_cast<unsigned long>(end);
        return true;
    }
    bool ReadAt(unsigned long offset, char* out, unsigned long length) {
        In.clear();
        In.seekg(static_cast<std::streamoff>(offset));
        In.read(out, static_cast<std::streamsize>(length));
        return In.gcount() == static_cast<std::streamsize>(length);
    }
};

// What one channel decode is about.
struct ChannelJob {
    unsigned long Offset = 0;  // of the compression code
    unsigned long Length = 0;  // as stored, counting the code
    unsigned long Width = 0;
    unsigned long Height = 0;
    unsigned short Depth = 8;
    std::string Name;
};

// Decodes a channel into `plane`. False with a problem line where anything
// was filled or left out; `plane` is then empty when the channel was refused
// before allocation, else the plane with zeros where decoding failed.
bool DecodeChannel(ChannelFile& file, const ChannelJob& job, unsigned long maxBytes, std::vector<char>& plane,
                   std::vector<std::string>& problems) {
    plane.clear();
    unsigned long rowBytes = (job.Width * job.Depth + 7) / 8;
    if (job.Height != 0 && rowBytes > ULONG_MAX / job.Height) {
        problems.push_back(job.Name + ": rectangle too large");
        return false;
    }
    unsigned long planeLength = rowBytes * job.Height;
    if (planeLength == 0) return true;
    if (planeLength > maxBytes) {
        problems.push_back(job.Name + ": " + std::to_string(planeLength) + " bytes exceed the ceiling");
        return false;
    }
    if (job.Offset == 0) {
        problems.push_back(job.Name + ": where its data begins is unknown");
        return false;
    }
    if (job.Offset >= file.Size || file.Size - job.Offset < 2 || job.Length < 2) {
        problems.push_back(job.Name + ": data past the end of the file or of the channel");
        return false;
    }
    // The channel's data, bounded by its length and by the file.
    unsigned long available = std::min(job.Length - 2, file.Size - job.Offset - 2);
    bool whole = available == job.Length - 2;
    char code[2];
    if (!file.ReadAt(job.Offset, code, 2)) {
        problems.push_back(job.Name + ": cannot read its compression code");
        return false;
    }
    unsigned short compression =
        static_cast<unsigned short>((static_cast<unsigned char>(code[0]) << 8) | static_cast<unsigned char>(code[1]));
    unsigned long yield = MaxYield(compression);
    if (yield != 0 && available > (ULONG_MAX - FILL_SLACK) / yield) yield = ULONG_MAX / (available + 1);
    if (planeLength > available * yield + FILL_SLACK) {
        problems.push_back(job.Name + ": " + std::to_string(available) + " bytes of data cannot hold " +
                           std::to_string(job.Width) + " x " + std::to_string(job.Height));
        return false;
    }

    plane.assign(planeLength, 0);
    bool ok = whole;
    if (!whole) problems.push_back(job.Name + ": data cut short by the end of the file");
    unsigned long dataOffset = job.Offset + 2;
    if (compression == 0) {
        unsigned long take = std::min(available, planeLength);
        if (!file.ReadAt(dataOffset, plane.data(), take)) return false;
        if (take < planeLength) {
            problems.push_back(job.Name + ": raw data shorter than its rectangle");
            return false;
        }
        return ok;
    }
    if (compression > 3) {
        problems.push_back(job.Name + ": unknown compression " + std::to_string(compression));
        return false;
    }
    std::vector<char>& data = file.Scratch;
    data.resize(available);
    if (!file.ReadAt(dataOffset, data.data(), available)) return false;
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(data.data());

    if (compression == 1) {
        // A table of row byte counts, then the rows.
        if (job.Height > available / 2) {
            problems.push_back(job.Name + ": row table runs past the channel's data");
            return false;
        }
        unsigned long position = job.Height * 2;
        unsigned long badRows = 0;
        for (unsigned long y = 0; y < job.Height; ++y) {
            unsigned long count = (static_cast<unsigned long>(bytes[2 * y]) << 8) | bytes[2 * y + 1];
            unsigned long fits = std::min(count, available - position);
            if (!UnpackRow(bytes + position, fits, plane.data() + y * rowBytes, rowBytes) || fits < count)
                ++badRows;
            position += fits;
        }
        if (badRows != 0) {
            problems.push_back(job.Name + ": " + std::to_string(badRows) + " rows could not be decoded whole");
            return false;
        }
        return ok;
    }

    // One zlib stream for the whole channel.
    std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> inflater(
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    if (!inflater) {
        problems.push_back(job.Name + ": no memory for the decompressor");
        return false;
    }
    std::size_t produced = 0;
    libdeflate_result result =
        libdeflate_zlib_decompress(inflater.get(), data.data(), available, plane.data(), planeLength, &produced);
    if (result == LIBDEFLATE_BAD_DATA || result == LIBDEFLATE_INSUFFICIENT_SPACE) {
        std::fill(plane.begin(), plane.end(), 0);
        problems.push_back(job.Name + (result == LIBDEFLATE_BAD_DATA ? ": bad deflate data" : ": deflate data too long"));
        return false;
    }
    if (result != LIBDEFLATE_SUCCESS || produced != planeLength) {
        problems.push_back(job.Name + ": deflate data too short");
        ok = false;
    }
    if (compression == 3 && !Unpredict(plane.data(), job.Width, job.Height, job.Depth)) {
        problems.push_back(job.Name + ": no prediction at depth " + std::to_string(job.Depth));
        return false;
    }
    return ok;
}

ChannelJob MakeJob(const PSDLayers& layers, unsigned short channel, unsigned short layer, unsigned short depth) {
    LayerRect rect = ChannelRect(layers, channel, layer);
    ChannelJob job;
    job.Offset = layers.GetLayerRecordChannelDataOffset(channel, layer);
    job.Length = layers.GetLayerRecordChannelInfoChannelLength(channel, layer);
    job.Width = rect.Width();
    job.Height = rect.Height();
    job.Depth = depth;
    job.Name = Describe(channel, layer);
    return job;
}

// Multiplies the user mask into `alpha`, a plane over `layerRect`. Outside the
// mask's rectangle the mask's default colour applies.
void ApplyMask(std::vector<char>& alpha, const LayerRect& layerRect, const std::vector<char>& mask,
               const LayerRect& maskRect, unsigned char defaultColor, unsigned short depth) {
    unsigned long width = layerRect.Width();
    unsigned long height = layerRect.Height();
    unsigned long maskWidth = maskRect.Width();
    bool haveMask = !mask.empty();
    unsigned char* a = reinterpret_cast<unsigned char*>(alpha.data());
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
                unsigned long value = inside ? (static_cast<unsigned long>(m[2 * index]) << 8) | m[2 * index + 1]
                                             : defaultColor * 257UL;
                unsigned long sample = (static_cast<unsigned long>(a[2 * at]) << 8) | a[2 * at + 1];
                sample = (sample * value + 32767) / 65535;
                a[2 * at] = static_cast<unsigned char>(sample >> 8);
                a[2 * at + 1] = static_cast<unsigned char>(sample);
            } else if (depth == 32) {
                auto load = [](const unsigned char* p) {
                    std::uint32_t bits = (static_cast<std::uint32_t>(p[0]) << 24) | (p[1] << 16) | (p[2] << 8) | p[3];
                    float f;
                    std::memcpy(&f, &bits, 4);
                    return f;
                };
                float value = inside ? load(m + 4 * index) : defaultColor / 255.0f;
                float sample = load(a + 4 * at) * value;
                std::uint32_t bits;
                std::memcpy(&bits, &sample, 4);
                a[4 * at] = static_cast<unsigned char>(bits >> 24);
                a[4 * at + 1] = static_cast<unsigned char>(bits >> 16);
                a[4 * at + 2] = static_cast<unsigned char>(bits >> 8);
                a[4 * at + 3] = static_cast<unsigned char>(bits);
            }
        }
    }
}

// Fully opaque transparency, for a layer that has none of its own.
void FillOpaque(std::vector<char>& plane, unsigned long samples, unsigned short depth) {
    if (depth == 32) {
        const char one[4] = {0x3F, static_cast<char>(0x80), 0, 0};  // 1.0f big-endian
        for (unsigned long i = 0; i < samples; ++i) std::memcpy(plane.data() + 4 * i, one, 4);
    } else {
        std::fill(plane.begin(), plane.end(), static_cast<char>(0xFF));
    }
}

// The embedded ICC profile, which the colour conversion uses.
void CopyProfile(PhotoshopFile& doc, std::vector<char>& profile) {
    profile.clear();
    PSDImageRes* resources = doc.GetImageResources();
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        PSDResourceBlock* block = resources->GetResourceBlock(i);
        if (block == nullptr || block->GetResourceID() != ICC_PROFILE_RESOURCE || block->GetDataBlock() == nullptr)
            continue;
        profile.assign(block->GetDataBlock(), block->GetDataBlock() + block->GetDataBlockSize());
        return;
    }
}

// One channel of a record of `layers`, with its rectangle's size.
bool DecodeRecordChannel(PhotoshopFile& doc, PSDLayers* layers, unsigned short layer, unsigned short channel,
                         unsigned long maxBytes, std::vector<char>& plane, unsigned long* width,
                         unsigned long* height, std::vector<std::string>& problems) {
    if (layers == nullptr || layer >= layers->GetLayerCount() || channel >= layers->GetLayerRecordNumChannels(layer)) {
        problems.push_back(Describe(channel, layer) + ": no such channel");
        return false;
    }
    ChannelJob job = MakeJob(*layers, channel, layer, doc.GetImageDepth());
    if (ChannelRect(*layers, channel, layer).Inverted()) {
        problems.push_back(job.Name + ": inverted rectangle");
        return false;
    }
    ChannelFile file;
    if (!file.Open(doc.GetFile()->GetFileName())) {
        problems.push_back(job.Name + ": cannot open the file");
        return false;
    }
    bool ok = DecodeChannel(file, job, maxBytes, plane, problems);
    if (!ok && plane.empty()) return false;
    *width = job.Width;
    *height = job.Height;
    return ok;
}

}  // namespace

bool PSDPixels::DecodeLayerChannel(PhotoshopFile& doc, unsigned short layer, unsigned short channel) {
    Clear();
    Planes.resize(1);
    bool ok = DecodeRecordChannel(doc, doc.GetLayers(), layer, channel, MaxBytes, Planes[0], &Width, &Height, Problems);
    if (!ok && Planes[0].empty() && Width * Height == 0) {
        Planes.clear();
        Width = Height = 0;
        return false;
    }
    Depth = doc.GetImageDepth();
    Mode = doc.GetImageMode();
    PlaneLength = static_cast<unsigned long>(Planes[0].size());
    return ok;
}

bool PSDPixels::DecodeTaggedLayerChannel(PhotoshopFile& doc, unsigned short layer, unsigned short channel) {
    Clear();
    Planes.resize(1);
    bool ok = DecodeRecordChannel(doc, doc.GetTaggedLayers(), layer, channel, MaxBytes, Planes[0], &Width, &Height,
                                  Problems);
    if (!ok && Planes[0].empty() && Width * Height == 0) {
        Planes.clear();
        Width = Height = 0;
        return false;
    }
    Depth = doc.GetImageDepth();
    Mode = doc.GetImageMode();
    PlaneLength = static_cast<unsigned long>(Planes[0].size());
    return ok;
}

bool PSDPixels::DecodeLayer(PhotoshopFile& doc, unsigned short layer, bool applyUserMask) {
    Clear();
    PSDLayers* layers = doc.GetLayers();
    // 16- and 32-bit documents keep their layers in a tagged block.
    if (layers->GetLayerCount() == 0 && doc.GetTaggedLayers() != nullptr) layers = doc.GetTaggedLayers();
    if (layer >= layers->GetLayerCount()) {
        Problems.push_back("layer " + std::to_string(layer) + ": no such layer");
        return false;
    }
    LayerRect rect(layers->GetLayerRecordLayerTop(layer), layers->GetLayerRecordLayerLeft(layer),
                   layers->GetLayerRecordLayerBottom(layer), layers->GetLayerRecordLayerRight(layer));
    if (rect.Inverted()) {
        Problems.push_back("layer " + std::to_string(layer) + ": inverted rectangle");
        return false;
    }
    unsigned short depth = doc.GetImageDepth();
    unsigned short mode = doc.GetImageMode();
    unsigned short colors = PSDColorConverter::ColorPlanes(mode);
    unsigned long rowBytes = (rect.Width() * depth + 7) / 8;
    unsigned long height = rect.Height();
    if (height != 0 && rowBytes > ULONG_MAX / height) {
        Problems.push_back("layer " + std::to_string(layer) + ": rectangle too large");
        return false;
    }
    unsigned long planeLength = rowBytes * height;

    // Where each wanted channel sits in the record's list.
    int colorAt[4] = {-1, -1, -1, -1};
    int alphaAt = -1;
    int maskAt = -1;
    unsigned short channels = layers->GetLayerRecordNumChannels(layer);
    for (unsigned short c = 0; c < channels; ++c) {
        unsigned short id = layers->GetLayerRecordChannelInfoChannelID(c, layer);
        if (id < colors && colorAt[id] < 0) colorAt[id] = c;
        if (id == LAYER_CHANNEL_TRANSPARENCY && alphaAt < 0) alphaAt = c;
        if (id == LAYER_CHANNEL_USER_MASK && maskAt < 0) maskAt = c;
    }
    const LayerMask& mask = layers->GetLayerRecordMask(layer);
    bool withMask = applyUserMask && depth != 1 && (maskAt >= 0 || mask.MaskSize != 0) &&
                    (mask.Flags & MASK_FLAG_DISABLED) == 0;
    unsigned short planes = static_cast<unsigned short>(colors + ((alphaAt >= 0 || withMask) ? 1 : 0));
    if (planeLength != 0 && planeLength > MaxBytes / planes) {
        Problems.push_back("layer " + std::to_string(layer) + ": " + std::to_string(planeLength) + " bytes x " +
                           std::to_string(planes) + " planes exceed the ceiling");
        return false;
    }

    ChannelFile file;
    if (planeLength != 0 && !file.Open(doc.GetFile()->GetFileName())) {
        Problems.push_back("layer " + std::to_string(layer) + ": cannot open the file");
        return false;
    }
    bool ok = true;
    bool backed = planeLength <= FILL_SLACK;
    Planes.resize(planes);
    for (unsigned short p = 0; p < planes && planeLength != 0; ++p) {
        int at = p < colors ? colorAt[p] : alphaAt;
        if (at < 0) {
            if (p < colors) {
                Problems.push_back("layer " + std::to_string(layer) + ": no channel " + std::to_string(p));
                ok = false;
            }
            continue;
        }
        ChannelJob job = MakeJob(*layers, static_cast<unsigned short>(at), layer, depth);
        if (!DecodeChannel(file, job, MaxBytes, Planes[p], Problems)) ok = false;
        if (Planes[p].size() == planeLength) backed = true;
    }
    // Missing or refused channels are filled, but only for a size that some
    // channel of the file did back.
    if (!backed) {
        Planes.clear();
        return false;
    }
    for (unsigned short p = 0; p < planes && planeLength != 0; ++p) {
        if (Planes[p].size() == planeLength) continue;
        Planes[p].assign(planeLength, 0);
        if (p >= colors && alphaAt < 0) FillOpaque(Planes[p], rect.Width() * height, depth);
    }
    if (withMask && planeLength != 0) {
        LayerRect maskRect(mask.MaskTop, mask.MaskLeft, mask.MaskBottom, mask.MaskRight);
        std::vector<char> maskPlane;
        if (maskRect.Inverted()) {
            Problems.push_back("layer " + std::to_string(layer) + ": inverted mask rectangle");
            ok = false;
        } else if (maskAt >= 0) {
            ChannelJob job = MakeJob(*layers, static_cast<unsigned short>(maskAt), layer, depth);
            if (!DecodeChannel(file, job, MaxBytes, maskPlane, Problems)) ok = false;
            if (maskPlane.size() != (maskRect.Width() * depth + 7) / 8 * maskRect.Height()) maskPlane.clear();
        }
        ApplyMask(Planes[colors], rect, maskPlane, maskRect, mask.DefaultColor, depth);
    }

    Width = rect.Width();
    Height = height;
    Depth = depth;
    Mode = mode;
    PlaneLength = planeLength;
    AlphaPlane = planes > colors ? colors : -1;
    CopyProfile(doc, Profile);
    return ok;
}

}  // namespace psdkit
