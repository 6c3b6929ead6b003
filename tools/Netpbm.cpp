#include "Netpbm.h"

#include <sys/stat.h>

#include <cctype>
#include <fstream>
#include <iterator>

namespace psdkit {
namespace cli {

namespace {

// Reads the next header number, passing over white space and # comments.
bool NextNumber(const std::string& data, std::size_t* pos, unsigned long* value) {
    std::size_t i = *pos;
    for (;;) {
        while (i < data.size() && std::isspace(static_cast<unsigned char>(data[i]))) ++i;
        if (i < data.size() && data[i] == '#') {
            while (i < data.size() && data[i] != '\n') ++i;
            continue;
        }
        break;
    }
    if (i >= data.size() || !std::isdigit(static_cast<unsigned char>(data[i]))) return false;
    unsigned long v = 0;
    while (i < data.size() && std::isdigit(static_cast<unsigned char>(data[i]))) {
        v = v * 10 + static_cast<unsigned long>(data[i] - '0');
        if (v > 1000000000UL) return false;
        ++i;
    }
    *value = v;
    *pos = i;
    return true;
}

}  // namespace

bool ReadNetpbm(const std::string& path, NetpbmImage* image, std::string* error) {
    // Only a regular file, and no more of it than its size: a FIFO or a
    // device would block the open or never end.
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        *error = path + (stat(path.c_str(), &info) != 0 ? ": cannot open image" : ": not a regular file");
        return false;
    }
    std::ifstream in(path, std::ios_base::binary);
    if (!in) {
        *error = path + ": cannot open image";
        return false;
    }
    std::string data(static_cast<std::size_t>(info.st_size), '\0');
    in.read(&data[0], static_cast<std::streamsize>(data.size()));
    data.resize(static_cast<std::size_t>(in.gcount()));
    if (data.size() < 2 || data[0] != 'P' || (data[1] != '6' && data[1] != '5')) {
        *error = path + ": not a binary PPM (P6) or PGM (P5) image";
        return false;
    }
    unsigned channels = data[1] == '6' ? 3 : 1;
    std::size_t pos = 2;
    unsigned long width = 0, height = 0, maxval = 0;
    if (!NextNumber(data, &pos, &width) || !NextNumber(data, &pos, &height) || !NextNumber(data, &pos, &maxval)) {
        *error = path + ": bad image header";
        return false;
    }
    if (width == 0 || height == 0) {
        *error = path + ": image has no pixels";
        return false;
    }
    if (maxval == 0 || maxval > 255) {
        *error = path + ": only 8-bit images (maxval 1 to 255) are supported";
        return false;
    }
    // Exactly one white-space byte separates the header from the samples.
    if (pos >= data.size() || !std::isspace(static_cast<unsigned char>(data[pos]))) {
        *error = path + ": bad image header";
        return false;
    }
    ++pos;
    unsigned long pixels = width * height;
    if (pixels / width != height || pixels > (data.size() - pos) / channels) {
        *error = path + ": image data is shorter than its header says";
        return false;
    }
    image->width = width;
    image->height = height;
    image->channels = channels;
    image->planes.assign(channels, std::vector<char>(pixels));
    const char* samples = data.data() + pos;
    for (unsigned long i = 0; i < pixels; ++i)
        for (unsigned c = 0; c < channels; ++c) image->planes[c][i] = samples[i * channels + c];
    return true;
}

}  // namespace cli
}  // namespace psdkit
