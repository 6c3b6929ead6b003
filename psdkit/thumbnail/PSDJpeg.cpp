#include "psdkit/thumbnail/PSDJpeg.h"

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>

// jpeglib.h needs FILE and size_t declared first.
#include <jpeglib.h>

namespace psdkit {

namespace {

// libjpeg's error manager with a way back: its default error_exit ends the
// process, ours jumps back to the encoding so that it can return false.
struct ErrorManager {
    jpeg_error_mgr pub;
    jmp_buf jump;
};

void ReturnOnFatalError(j_common_ptr cinfo) {
    ErrorManager* manager = reinterpret_cast<ErrorManager*>(cinfo->err);
    longjmp(manager->jump, 1);
}

// The encoder prints nothing, not even libjpeg's warnings.
void IgnoreMessage(j_common_ptr) {}

// What one encoding holds. Plain data with no destructors, so a jump out of
// libjpeg skips nothing; ReleaseEncoding frees it on every way out.
struct Encoding {
    jpeg_compress_struct cinfo;
    ErrorManager errors;
    FILE* file;
    unsigned char* scanline;
};

struct Source {
    const unsigned char* planes;
    unsigned long width;
    unsigned long height;
    unsigned long outputWidth;
    unsigned long outputHeight;
    float scale;
    int quality;
    const char* comment;
};

// Fills the scanline buffer with output row `y`: nearest neighbour, by
// truncation of the scaled position.
void SampleRow(const Source* source, unsigned long y, unsigned char* scanline) {
    const unsigned long stride = source->width * source->height;
    unsigned long row = static_cast<unsigned long>(static_cast<float>(y) * source->scale);
    // The rounding of the output size keeps positions inside the source;
    // the clamp makes sure no float surprise reads past a plane.
    if (row >= source->height) row = source->height - 1;
    const unsigned long lastColumn = source->width - 1;
    const unsigned char* red = source->planes + row * source->width;
    const unsigned char* green = red + stride;
    const unsigned char* blue = green + stride;
    const float scale = source->scale;
    unsigned char* out = scanline;
    for (unsigned long x = 0; x < source->outputWidth; ++x) {
        unsigned long column = static_cast<unsigned long>(static_cast<float>(x) * scale);
        if (column > lastColumn) column = lastColumn;
        out[0] = red[column];
        out[1] = green[column];
        out[2] = blue[column];
        out += 3;
    }
}

// Runs libjpeg from creating the compressor to the finished stream in the
// temporary file. False when a step fails or libjpeg raises a fatal error;
// whatever was taken stays in `encoding` for ReleaseEncoding.
bool Compress(Encoding* encoding, const Source* source) {
    jpeg_compress_struct* cinfo = &encoding->cinfo;
    cinfo->err = jpeg_std_error(&encoding->errors.pub);
    encoding->errors.pub.error_exit = ReturnOnFatalError;
    encoding->errors.pub.output_message = IgnoreMessage;
    if (setjmp(encoding->errors.jump) != 0) return false;

    jpeg_create_compress(cinfo);
    cinfo->image_width = static_cast<JDIMENSION>(source->outputWidth);
    cinfo->image_height = static_cast<JDIMENSION>(source->outputHeight);
    cinfo->input_components = 3;
    cinfo->in_color_space = JCS_RGB;
    jpeg_set_defaults(cinfo);
    jpeg_set_quality(cinfo, source->quality, TRUE);

    encoding->file = std::tmpfile();
    if (encoding->file == nullptr) return false;
    encoding->scanline = new (std::nothrow) unsigned char[3 * source->outputWidth];
    if (encoding->scanline == nullptr) return false;

    jpeg_stdio_dest(cinfo, encoding->file);
    jpeg_start_compress(cinfo, TRUE);
    if (source->comment != nullptr) {
        // The comment's bytes without the terminator.
        jpeg_write_marker(cinfo, JPEG_COM, reinterpret_cast<const JOCTET*>(source->comment),
                          static_cast<unsigned int>(std::strlen(source->comment)));
    }
    JSAMPROW rows[1] = {encoding->scanline};
    for (unsigned long y = 0; y < source->outputHeight; ++y) {
        SampleRow(source, y, encoding->scanline);
        jpeg_write_scanlines(cinfo, rows, 1);
    }
    jpeg_finish_compress(cinfo);
    return true;
}

void ReleaseEncoding(Encoding* encoding) {
    delete[] encoding->scanline;
    encoding->scanline = nullptr;
    // Closing a tmpfile removes it.
    if (encoding->file != nullptr) std::fclose(encoding->file);
    encoding->file = nullptr;
    // Safe also when creation never finished: the object starts zeroed.
    jpeg_destroy_compress(&encoding->cinfo);
}

}  // namespace

PSDJpeg::PSDJpeg()
    : JpegImageBuffer(nullptr), JpegImageSize(0), JpegImageWidth(0), JpegImageHeight(0), AlignWidthTo32Bits(false) {}

PSDJpeg::~PSDJpeg() { FreeJpegImageBuffer(); }

bool PSDJpeg::AllocateJpegImageBuffer(unsigned long size) {
    FreeJpegImageBuffer();
    JpegImageBuffer = new (std::nothrow) char[size];
    if (JpegImageBuffer == nullptr) return false;
    JpegImageSize = size;
    return true;
}

void PSDJpeg::FreeJpegImageBuffer() {
    if (JpegImageBuffer == nullptr) return;
    delete[] JpegImageBuffer;
    JpegImageBuffer = nullptr;
    JpegImageSize = 0;
}

bool PSDJpeg::CalculateOutputSize(unsigned long sourceWidth, unsigned long sourceHeight, unsigned long targetWidth,
                                  unsigned long* outputWidth, unsigned long* outputHeight, float* scale) {
    unsigned long width = 0;
    unsigned long height = 0;
    float factor = 1.0f;
    if (targetWidth == sourceWidth) {
        width = sourceWidth;
        height = sourceHeight;
    } else {
        const float w = static_cast<float>(sourceWidth);
        const float h = static_cast<float>(sourceHeight);
        const float t = static_cast<float>(targetWidth);
        factor = w / t;
        const double scaledWidth = static_cast<double>(static_cast<float>(w / factor)) + 0.5;
        const double scaledHeight = static_cast<double>(static_cast<float>(h / factor)) + 0.5;
        // Tested as doubles first: a zero source or target gives infinity or
        // NaN here, which must not reach the integer conversion.
        const double limit = static_cast<double>(MAX_DIMENSION) + 1.0;
        if (!(scaledWidth >= 1.0 && scaledWidth < limit && scaledHeight >= 1.0 && scaledHeight < limit)) return false;
        width = static_cast<unsigned long>(scaledWidth);
        height = static_cast<unsigned long>(scaledHeight);
    }
    if (width == 0 || height == 0 || width > MAX_DIMENSION || height > MAX_DIMENSION) return false;
    *outputWidth = width;
    *outputHeight = height;
    *scale = factor;
    return true;
}

bool PSDJpeg::CreateJpegFromRgbPlanes(const char* planes, unsigned long sourceWidth, unsigned long sourceHeight,
                                      unsigned long targetWidth, int quality, const char* comment) {
    Source source;
    source.planes = reinterpret_cast<const unsigned char*>(planes);
    source.width = sourceWidth;
    source.height = sourceHeight;
    source.quality = quality;
    source.comment = comment;
    // Sizes libjpeg would refuse never reach it.
    if (planes == nullptr || sourceWidth == 0 || sourceHeight == 0 ||
        !CalculateOutputSize(sourceWidth, sourceHeight, targetWidth, &source.outputWidth, &source.outputHeight,
                             &source.scale))
        return false;

    Encoding encoding;
    std::memset(&encoding, 0, sizeof(encoding));
    bool result = Compress(&encoding, &source);
    if (result) {
        long length = std::ftell(encoding.file);
        if (length < 0) {
            result = false;
        } else if (!AllocateJpegImageBuffer(static_cast<unsigned long>(length))) {
            result = false;
        } else {
            std::rewind(encoding.file);
            size_t got = std::fread(JpegImageBuffer, 1, JpegImageSize, encoding.file);
            // A short read would hand out bytes libjpeg never wrote.
            if (got != JpegImageSize) {
                FreeJpegImageBuffer();
                result = false;
            } else {
                JpegImageWidth = source.outputWidth;
                JpegImageHeight = source.outputHeight;
            }
        }
    }
    ReleaseEncoding(&encoding);
    return result;
}

}  // namespace psdkit
