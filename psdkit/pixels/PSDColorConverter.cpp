#include "psdkit/pixels/PSDColorConverter.h"

#include <lcms2.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace psdkit {

namespace {

const unsigned short MODE_BITMAP = 0;
const unsigned short MODE_GRAYSCALE = 1;
const unsigned short MODE_INDEXED = 2;
const unsigned short MODE_RGB = 3;
const unsigned short MODE_CMYK = 4;
const unsigned short MODE_MULTICHANNEL = 7;
const unsigned short MODE_DUOTONE = 8;
const unsigned short MODE_LAB = 9;

// Pixels handed to Little CMS per call: large enough to amortise the call,
// small enough to stay in cache.
const unsigned long LCMS_BATCH_PIXELS = 16384;

bool HasAlpha(const PSDColorConverter::Source& source, bool alpha) {
    return alpha && source.AlphaPlane >= 0 && source.AlphaPlane < static_cast<int>(source.NumPlanes);
}

unsigned long RowBytes(unsigned long width, unsigned short depth) {
    return depth == 1 ? (width + 7) / 8 : width * (depth / 8);
}

// How many planes the conversion reads as colour: multichannel documents show
// their first three channels as RGB (the stored inverted inks become red,
// green and blue directly), or their first channel as gray when they have fewer.
unsigned short PlanesUsed(const PSDColorConverter::Source& source) {
    if (source.Mode != MODE_MULTICHANNEL) return PSDColorConverter::ColorPlanes(source.Mode);
    unsigned short colour = source.NumPlanes;
    if (source.AlphaPlane >= 0 && source.AlphaPlane < static_cast<int>(source.NumPlanes)) --colour;
    return colour >= 3 ? 3 : 1;
}

uint16_t ReadBig16(const unsigned char* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }

float ReadBigFloat(const unsigned char* p) {
    uint32_t bits = (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
                    (static_cast<uint32_t>(p[2]) << 8) | p[3];
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Float samples: 0 to 1, NaN as 0. Linear light is encoded to sRGB for colour
// planes; transparency stays as it is.
uint16_t FloatTo16(float value, bool encode) {
    if (!(value > 0.0f)) return 0;
    if (value >= 1.0f) return 65535;
    double v = value;
    if (encode) v = v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1.0 / 2.4) - 0.055;
    return static_cast<uint16_t>(v * 65535.0 + 0.5);
}

// One stored row to 16-bit samples. 1-bit rows: a set bit is black.
void RowTo16(const unsigned char* row, unsigned long width, unsigned short depth, bool encode, uint16_t* out) {
    switch (depth) {
    case 1:
        for (unsigned long x = 0; x < width; ++x) out[x] = (row[x >> 3] & (0x80 >> (x & 7))) ? 0 : 65535;
        break;
    case 8:
        for (unsigned long x = 0; x < width; ++x) out[x] = static_cast<uint16_t>(row[x] * 257);
        break;
    case 16:
        for (unsigned long x = 0; x < width; ++x) out[x] = ReadBig16(row + 2 * x);
        break;
    default:
        for (unsigned long x = 0; x < width; ++x) out[x] = FloatTo16(ReadBigFloat(row + 4 * x), encode);
        break;
    }
}

uint8_t To8(uint16_t v) { return static_cast<uint8_t>((v * 255u + 32767u) / 65535u); }

// Writes one row of 16-bit channels at the output depth; `a` may be null.
void EmitRow(const uint16_t* r, const uint16_t* g, const uint16_t* b, const uint16_t* a, unsigned long width,
             unsigned short depth, char* out) {
    if (depth == 8) {
        uint8_t* o = reinterpret_cast<uint8_t*>(out);
        for (unsigned long x = 0; x < width; ++x) {
            *o++ = To8(r[x]);
            *o++ = To8(g[x]);
            *o++ = To8(b[x]);
            if (a) *o++ = To8(a[x]);
        }
    } else {
        uint16_t* o = reinterpret_cast<uint16_t*>(out);
        for (unsigned long x = 0; x < width; ++x) {
            *o++ = r[x];
            *o++ = g[x];
            *o++ = b[x];
            if (a) *o++ = a[x];
        }
    }
}

const unsigned char* PlaneRow(const PSDColorConverter::Source& source, int plane, unsigned long y) {
    return reinterpret_cast<const unsigned char*>(source.Planes[plane]) + y * RowBytes(source.Width, source.Depth);
}

// 8-bit samples to 8-bit output: the common case, one pass over the destination.
void Convert8(const PSDColorConverter::Source& source, bool withAlpha, char* out) {
    const unsigned long width = source.Width;
    const unsigned stride = withAlpha ? 4 : 3;
    const unsigned char* table = reinterpret_cast<const unsigned char*>(source.ColorTable);
    bool rgb = PlanesUsed(source) == 3;
    for (unsigned long y = 0; y < source.Height; ++y) {
        unsigned char* o = reinterpret_cast<unsigned char*>(out) + y * width * stride;
        const unsigned char* p0 = PlaneRow(source, 0, y);
        const unsigned char* a = withAlpha ? PlaneRow(source, source.AlphaPlane, y) : nullptr;
        if (source.Mode == MODE_INDEXED) {
            for (unsigned long x = 0; x < width; ++x, o += stride) {
                o[0] = table[p0[x]];
                o[1] = table[256 + p0[x]];
                o[2] = table[512 + p0[x]];
            }
        } else if (rgb) {
            const unsigned char* p1 = PlaneRow(source, 1, y);
            const unsigned char* p2 = PlaneRow(source, 2, y);
            if (a) {
                for (unsigned long x = 0; x < width; ++x, o += 4) {
                    o[0] = p0[x];
                    o[1] = p1[x];
                    o[2] = p2[x];
                    o[3] = a[x];
                }
                continue;
            }
            for (unsigned long x = 0; x < width; ++x, o += 3) {
                o[0] = p0[x];
                o[1] = p1[x];
                o[2] = p2[x];
            }
            continue;
        } else {
            for (unsigned long x = 0; x < width; ++x, o += stride) o[0] = o[1] = o[2] = p0[x];
        }
        if (a) {
            o = reinterpret_cast<unsigned char*>(out) + y * width * stride;
            for (unsigned long x = 0; x < width; ++x) o[x * 4 + 3] = a[x];
        }
    }
}

// Gray, RGB, indexed, bitmap, duotone, multichannel, and CMYK without a usable
// profile, through 16-bit rows.
void ConvertGeneric(const PSDColorConverter::Source& source, unsigned short depth, bool withAlpha, char* out) {
    const unsigned long width = source.Width;
    const unsigned long outRow = width * (withAlpha ? 4 : 3) * (depth / 8);
    const bool encode = source.Depth == 32;
    std::vector<uint16_t> buffer(width * 5);
    uint16_t* r = buffer.data();
    uint16_t* g = r + width;
    uint16_t* b = g + width;
    uint16_t* k = b + width;
    uint16_t* a = withAlpha ? k + width : nullptr;
    const unsigned char* table = reinterpret_cast<const unsigned char*>(source.ColorTable);
    const unsigned short used = PlanesUsed(source);
    for (unsigned long y = 0; y < source.Height; ++y) {
        const uint16_t *gr = g, *bl = b;
        if (source.Mode == MODE_INDEXED) {
            const unsigned char* p = PlaneRow(source, 0, y);
            for (unsigned long x = 0; x < width; ++x) {
                r[x] = static_cast<uint16_t>(table[p[x]] * 257);
                g[x] = static_cast<uint16_t>(table[256 + p[x]] * 257);
                b[x] = static_cast<uint16_t>(table[512 + p[x]] * 257);
            }
        } else if (source.Mode == MODE_CMYK) {
            // Stored inverted, so each value is already the share of light
            // the ink lets through.
            RowTo16(PlaneRow(source, 0, y), width, source.Depth, false, r);
            RowTo16(PlaneRow(source, 1, y), width, source.Depth, false, g);
            RowTo16(PlaneRow(source, 2, y), width, source.Depth, false, b);
            RowTo16(PlaneRow(source, 3, y), width, source.Depth, false, k);
            for (unsigned long x = 0; x < width; ++x) {
                r[x] = static_cast<uint16_t>((r[x] * static_cast<uint32_t>(k[x]) + 32767u) / 65535u);
                g[x] = static_cast<uint16_t>((g[x] * static_cast<uint32_t>(k[x]) + 32767u) / 65535u);
                b[x] = static_cast<uint16_t>((b[x] * static_cast<uint32_t>(k[x]) + 32767u) / 65535u);
            }
        } else if (used == 3) {
            RowTo16(PlaneRow(source, 0, y), width, source.Depth, encode, r);
            RowTo16(PlaneRow(source, 1, y), width, source.Depth, encode, g);
            RowTo16(PlaneRow(source, 2, y), width, source.Depth, encode, b);
        } else {
            RowTo16(PlaneRow(source, 0, y), width, source.Depth, encode, r);
            gr = bl = r;
        }
        if (a) RowTo16(PlaneRow(source, source.AlphaPlane, y), width, source.Depth, false, a);
        EmitRow(r, gr, bl, a, width, depth, out + y * outRow);
    }
}

// Little CMS handles, released on every way out.
struct Lcms {
    cmsHPROFILE Input = nullptr;
    cmsHPROFILE Output = nullptr;
    cmsHTRANSFORM Transform = nullptr;
    ~Lcms() {
        if (Transform) cmsDeleteTransform(Transform);
        if (Input) cmsCloseProfile(Input);
        if (Output) cmsCloseProfile(Output);
    }
};

// The embedded profile when it describes the document's colour space.
cmsHPROFILE EmbeddedProfile(const PSDColorConverter::Source& source, cmsColorSpaceSignature space) {
    if (!source.Profile || source.ProfileLength < 132 || source.ProfileLength > 0xFFFFFFFFUL) return nullptr;
    cmsHPROFILE profile = cmsOpenProfileFromMem(source.Profile, static_cast<cmsUInt32Number>(source.ProfileLength));
    if (profile && cmsGetColorSpace(profile) != space) {
        cmsCloseProfile(profile);
        profile = nullptr;
    }
    return profile;
}

// CMYK and Lab through a colour-managed transform to sRGB, in batches of
// interleaved rows.
bool ConvertManaged(const PSDColorConverter::Source& source, cmsHPROFILE input, unsigned short depth, bool withAlpha,
                    char* out) {
    Lcms lcms;
    lcms.Input = input;
    lcms.Output = cmsCreate_sRGBProfile();
    if (!lcms.Input || !lcms.Output) return false;
    const bool cmyk = source.Mode == MODE_CMYK;
    const unsigned channels = cmyk ? 4 : 3;
    const bool wide = source.Depth != 8;
    // CMYK is stored with 0 as full ink, the reverse of ICC's convention.
    cmsUInt32Number inFormat = cmyk ? (wide ? TYPE_CMYK_16_REV : TYPE_CMYK_8_REV) : (wide ? TYPE_Lab_16 : TYPE_Lab_8);
    cmsUInt32Number outFormat = depth == 8 ? (withAlpha ? TYPE_RGBA_8 : TYPE_RGB_8)
                                           : (withAlpha ? TYPE_RGBA_16 : TYPE_RGB_16);
    // The optimised Lab transform samples a grid that misses neutral a, b:
    // white comes out 254. Lab documents are rare, so exactness wins there.
    cmsUInt32Number flags = cmsFLAGS_BLACKPOINTCOMPENSATION | (cmyk ? 0 : cmsFLAGS_NOOPTIMIZE);
    lcms.Transform =
        cmsCreateTransform(lcms.Input, inFormat, lcms.Output, outFormat, INTENT_RELATIVE_COLORIMETRIC, flags);
    if (!lcms.Transform) return false;

    const unsigned long width = source.Width;
    const unsigned outChannels = withAlpha ? 4 : 3;
    const unsigned long outRow = width * outChannels * (depth / 8);
    const unsigned long batchRows = width >= LCMS_BATCH_PIXELS ? 1 : LCMS_BATCH_PIXELS / width;
    std::vector<uint16_t> row(width);
    std::vector<uint16_t> alphaRow(withAlpha ? width : 0);
    std::vector<unsigned char> batch(batchRows * width * channels * (wide ? 2 : 1));
    for (unsigned long y0 = 0; y0 < source.Height; y0 += batchRows) {
        unsigned long rows = source.Height - y0 < batchRows ? source.Height - y0 : batchRows;
        for (unsigned long y = 0; y < rows; ++y) {
            for (unsigned c = 0; c < channels; ++c) {
                const unsigned char* p = PlaneRow(source, static_cast<int>(c), y0 + y);
                if (!wide) {
                    unsigned char* d = batch.data() + y * width * channels + c;
                    for (unsigned long x = 0; x < width; ++x, d += channels) *d = p[x];
                } else {
                    RowTo16(p, width, source.Depth, false, row.data());
                    uint16_t* d = reinterpret_cast<uint16_t*>(batch.data()) + y * width * channels + c;
                    for (unsigned long x = 0; x < width; ++x, d += channels) *d = row[x];
                }
            }
        }
        char* dest = out + y0 * outRow;
        cmsDoTransform(lcms.Transform, batch.data(), dest, static_cast<cmsUInt32Number>(rows * width));
        if (!withAlpha) continue;
        for (unsigned long y = 0; y < rows; ++y) {
            RowTo16(PlaneRow(source, source.AlphaPlane, y0 + y), width, source.Depth, false, alphaRow.data());
            char* o = dest + y * outRow;
            for (unsigned long x = 0; x < width; ++x) {
                if (depth == 8)
                    reinterpret_cast<uint8_t*>(o)[x * 4 + 3] = To8(alphaRow[x]);
                else
                    reinterpret_cast<uint16_t*>(o)[x * 4 + 3] = alphaRow[x];
            }
        }
    }
    return true;
}

}  // namespace

unsigned long PSDColorConverter::InterleavedLength(const Source& source, unsigned short depth, bool alpha) {
    if (depth != 8 && depth != 16) return 0;
    unsigned long perPixel = (HasAlpha(source, alpha) ? 4UL : 3UL) * (depth / 8);
    if (source.Width == 0 || source.Height == 0) return 0;
    if (source.Width > ~0UL / perPixel) return 0;
    unsigned long row = source.Width * perPixel;
    if (source.Height > ~0UL / row) return 0;
    return row * source.Height;
}

bool PSDColorConverter::ToRGB(const Source& source, unsigned short depth, bool alpha, char* out) {
    if (!out || InterleavedLength(source, depth, alpha) == 0) return false;
    if (source.Width > ~0UL / 5 / sizeof(uint16_t)) return false;
    switch (source.Mode) {
    case MODE_BITMAP:
        if (source.Depth != 1) return false;
        break;
    case MODE_INDEXED:
        if (source.Depth != 8 || !source.ColorTable || source.ColorTableLength < 768) return false;
        break;
    case MODE_GRAYSCALE:
    case MODE_RGB:
    case MODE_CMYK:
    case MODE_MULTICHANNEL:
    case MODE_DUOTONE:
    case MODE_LAB:
        if (source.Depth != 8 && source.Depth != 16 && source.Depth != 32) return false;
        break;
    default:
        return false;
    }
    const unsigned short used = PlanesUsed(source);
    if (!source.Planes || source.NumPlanes < used) return false;
    for (unsigned short i = 0; i < used; ++i)
        if (!source.Planes[i]) return false;
    const bool withAlpha = HasAlpha(source, alpha);
    if (withAlpha && !source.Planes[source.AlphaPlane]) return false;

    if (source.Mode == MODE_LAB) {
        // Lab without a profile of its own is D50 Lab, as Photoshop means it.
        cmsHPROFILE profile = EmbeddedProfile(source, cmsSigLabData);
        return ConvertManaged(source, profile ? profile : cmsCreateLab4Profile(nullptr), depth, withAlpha, out);
    }
    if (source.Mode == MODE_CMYK) {
        // Without a CMYK profile, the plain formula that most viewers use.
        cmsHPROFILE profile = EmbeddedProfile(source, cmsSigCmykData);
        if (profile) return ConvertManaged(source, profile, depth, withAlpha, out);
    } else if (depth == 8 && source.Depth == 8) {
        Convert8(source, withAlpha, out);
        return true;
    }
    ConvertGeneric(source, depth, withAlpha, out);
    return true;
}

unsigned short PSDColorConverter::ColorPlanes(unsigned short mode) {
    switch (mode) {
    case MODE_RGB:
    case MODE_LAB:
        return 3;
    case MODE_CMYK:
        return 4;
    default:
        return 1;
    }
}

}  // namespace psdkit
