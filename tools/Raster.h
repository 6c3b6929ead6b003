#ifndef PSDKIT_TOOLS_RASTER_H
#define PSDKIT_TOOLS_RASTER_H

// Interleaved images in and out of the tool: PNG, and binary PPM, PGM and PAM.

#include <cstdio>
#include <string>
#include <vector>

namespace psdkit {
namespace cli {

// Pixels interleaved row by row, 8- or 16-bit samples (16-bit in the
// machine's byte order). 1 channel is gray, 2 gray and alpha, 3 RGB, 4 RGBA.
struct Raster {
    unsigned long width = 0;
    unsigned long height = 0;
    unsigned channels = 0;
    unsigned depth = 8;
    std::vector<unsigned char> samples;
};

enum class ImageFormat { PNG, PPM, PGM, PAM, UNKNOWN };

// The format named by a file's extension (.png, .ppm, .pgm, .pam, any case).
ImageFormat FormatFromName(const std::string& path);

// Reads a PNG (any kind, expanded to 8 or 16 bits) or a binary PPM (P6) or
// PGM (P5) of maxval up to 65535, by its content. On failure false with a
// one-line reason in `error`.
bool ReadImage(const std::string& path, Raster* image, std::string* error);

// Writes rows as they come, so a large image never needs a second copy.
class ImageWriter {
public:
    ImageWriter();
    ~ImageWriter();
    ImageWriter(const ImageWriter&) = delete;
    ImageWriter& operator=(const ImageWriter&) = delete;

    // PPM takes 3 channels and PGM 1; PNG and PAM take 1 to 4.
    bool Begin(std::FILE* file, ImageFormat format, unsigned long width, unsigned long height, unsigned channels,
               unsigned depth);
    // `rows` whole rows of interleaved samples, 16-bit in machine order.
    bool WriteRows(const unsigned char* data, unsigned long rows);
    bool Finish();
    // Why the last call failed.
    const std::string& GetError() const { return Error; }

private:
    std::FILE* File;
    ImageFormat Format;
    unsigned long Width;
    unsigned Channels;
    unsigned Depth;
    void* Png;  // libpng's write state
    std::string Error;
    std::vector<unsigned char> Swapped;
};

}  // namespace cli
}  // namespace psdkit

#endif
