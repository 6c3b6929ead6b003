#include "Png.h"

#include <png.h>

#include <csetjmp>
#include <cstring>
#include <vector>

namespace psdkit {
namespace cli {

namespace {

// Where libpng's errors land. libpng leaves a failing call by longjmp, so
// each function that calls it keeps no object with a destructor across it.
struct PngError {
    std::jmp_buf jump;
    char message[160];
};

void OnError(png_structp png, png_const_charp message) {
    PngError* state = static_cast<PngError*>(png_get_error_ptr(png));
    std::snprintf(state->message, sizeof state->message, "%s", message);
    std::longjmp(state->jump, 1);
}

void OnWarning(png_structp, png_const_charp) {}

bool LittleEndian() {
    const unsigned short probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first == 1;
}

struct ReadState {
    PngError error;
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<png_bytep> rows;
};

// Deflate gives at most about 1032 bytes for one: a header that claims more
// pixels than the file can hold is refused before anything is allocated.
const unsigned long MAX_DEFLATE_RATIO = 1032;

bool ReadInner(ReadState* s, std::FILE* file, unsigned long fileSize, Raster* image) {
    if (setjmp(s->error.jump)) return false;
    png_init_io(s->png, file);
    png_set_user_limits(s->png, 1000000, 1000000);
    png_read_info(s->png, s->info);
    png_set_expand(s->png);
    if (png_get_bit_depth(s->png, s->info) == 16 && LittleEndian()) png_set_swap(s->png);
    png_set_interlace_handling(s->png);
    png_read_update_info(s->png, s->info);
    unsigned long width = png_get_image_width(s->png, s->info);
    unsigned long height = png_get_image_height(s->png, s->info);
    unsigned long rowBytes = png_get_rowbytes(s->png, s->info);
    if (width == 0 || height == 0 || rowBytes == 0 || height > fileSize / rowBytes * MAX_DEFLATE_RATIO + 1) {
        std::snprintf(s->error.message, sizeof s->error.message, "image is larger than its data can hold");
        return false;
    }
    image->width = width;
    image->height = height;
    image->channels = png_get_channels(s->png, s->info);
    image->depth = png_get_bit_depth(s->png, s->info);
    image->samples.resize(rowBytes * height);
    s->rows.resize(height);
    for (unsigned long y = 0; y < height; ++y) s->rows[y] = image->samples.data() + y * rowBytes;
    png_read_image(s->png, s->rows.data());
    png_read_end(s->png, nullptr);
    return true;
}

struct WriteState {
    PngError error;
    png_structp png = nullptr;
    png_infop info = nullptr;
};

}  // namespace

bool ReadPng(std::FILE* file, unsigned long fileSize, Raster* image, std::string* error) {
    ReadState s;
    s.error.message[0] = 0;
    s.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &s.error, OnError, OnWarning);
    if (s.png) s.info = png_create_info_struct(s.png);
    bool ok = s.png && s.info && ReadInner(&s, file, fileSize, image);
    png_destroy_read_struct(s.png ? &s.png : nullptr, s.info ? &s.info : nullptr, nullptr);
    if (!ok) *error = s.error.message[0] ? std::string("bad PNG image: ") + s.error.message : "cannot read PNG image";
    return ok;
}

// The write state lives on the heap so that it outlives Begin; its first
// member is the error record libpng reports to.
bool PngBegin(std::FILE* file, unsigned long width, unsigned long height, unsigned channels, unsigned depth,
              void** state, std::string* error) {
    WriteState* s = new WriteState;
    s->error.message[0] = 0;
    s->png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &s->error, OnError, OnWarning);
    if (s->png) s->info = png_create_info_struct(s->png);
    if (!s->png || !s->info) {
        PngAbandon(s);
        *error = "cannot start PNG output";
        return false;
    }
    static const int types[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                                PNG_COLOR_TYPE_RGB_ALPHA};
    if (setjmp(s->error.jump)) {
        *error = std::string("PNG output failed: ") + s->error.message;
        PngAbandon(s);
        return false;
    }
    png_init_io(s->png, file);
    png_set_IHDR(s->png, s->info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height),
                 static_cast<int>(depth), types[channels - 1], PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(s->png, s->info);
    if (depth == 16 && LittleEndian()) png_set_swap(s->png);
    *state = s;
    return true;
}

bool PngWriteRows(void* state, const unsigned char* data, unsigned long rowBytes, unsigned long rows,
                  std::string* error) {
    WriteState* s = static_cast<WriteState*>(state);
    if (setjmp(s->error.jump)) {
        *error = std::string("PNG output failed: ") + s->error.message;
        return false;
    }
    for (unsigned long y = 0; y < rows; ++y) png_write_row(s->png, const_cast<png_bytep>(data + y * rowBytes));
    return true;
}

bool PngFinish(void* state, std::string* error) {
    WriteState* s = static_cast<WriteState*>(state);
    if (setjmp(s->error.jump)) {
        *error = std::string("PNG output failed: ") + s->error.message;
        PngAbandon(s);
        return false;
    }
    png_write_end(s->png, nullptr);
    PngAbandon(s);
    return true;
}

void PngAbandon(void* state) {
    WriteState* s = static_cast<WriteState*>(state);
    if (!s) return;
    png_destroy_write_struct(s->png ? &s->png : nullptr, s->info ? &s->info : nullptr);
    delete s;
}

}  // namespace cli
}  // namespace psdkit
