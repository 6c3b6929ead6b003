#include "Raster.h"

#include <sys/stat.h>

#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>

#include "Png.h"

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

bool ReadNetpbm(const std::string& path, const std::string& data, Raster* image, std::string* error) {
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
    if (maxval == 0 || maxval > 65535) {
        *error = path + ": maxval must be 1 to 65535";
        return false;
    }
    // Exactly one white-space byte separates the header from the samples.
    if (pos >= data.size() || !std::isspace(static_cast<unsigned char>(data[pos]))) {
        *error = path + ": bad image header";
        return false;
    }
    ++pos;
    unsigned bytes = maxval > 255 ? 2 : 1;
    unsigned long available = (data.size() - pos) / channels / bytes;
    if (height > available / width) {
        *error = path + ": image data is shorter than its header says";
        return false;
    }
    unsigned long count = width * height * channels;
    image->width = width;
    image->height = height;
    image->channels = channels;
    image->depth = bytes * 8;
    image->samples.resize(count * bytes);
    const unsigned char* in = reinterpret_cast<const unsigned char*>(data.data()) + pos;
    // Samples scale to the full range, so maxval 1000 and 65535 mean the same white.
    if (bytes == 1) {
        for (unsigned long i = 0; i < count; ++i)
            image->samples[i] = static_cast<unsigned char>(maxval == 255 ? in[i] : (in[i] * 255 + maxval / 2) / maxval);
    } else {
        unsigned short* out = reinterpret_cast<unsigned short*>(image->samples.data());
        for (unsigned long i = 0; i < count; ++i) {
            unsigned long v = (in[2 * i] << 8) | in[2 * i + 1];
            if (v > maxval) v = maxval;
            out[i] = static_cast<unsigned short>(maxval == 65535 ? v : (v * 65535 + maxval / 2) / maxval);
        }
    }
    return true;
}

}  // namespace

ImageFormat FormatFromName(const std::string& path) {
    std::size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return ImageFormat::UNKNOWN;
    std::string ext = path.substr(dot + 1);
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (ext == "png") return ImageFormat::PNG;
    if (ext == "ppm") return ImageFormat::PPM;
    if (ext == "pgm") return ImageFormat::PGM;
    if (ext == "pam") return ImageFormat::PAM;
    return ImageFormat::UNKNOWN;
}

bool ReadImage(const std::string& path, Raster* image, std::string* error) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        *error = path + ": no such file";
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        *error = path + ": not a regular file";
        return false;
    }
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        *error = path + ": cannot open image";
        return false;
    }
    unsigned char signature[8] = {0};
    std::size_t got = std::fread(signature, 1, sizeof signature, file);
    static const unsigned char PNG_SIGNATURE[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (got == 8 && std::memcmp(signature, PNG_SIGNATURE, 8) == 0) {
        std::rewind(file);
        std::string reason;
        bool ok = ReadPng(file, static_cast<unsigned long>(info.st_size), image, &reason);
        std::fclose(file);
        if (!ok) *error = path + ": " + reason;
        return ok;
    }
    std::fclose(file);
    if (got < 2 || signature[0] != 'P' || (signature[1] != '6' && signature[1] != '5')) {
        *error = path + ": not a PNG, binary PPM (P6) or PGM (P5) image";
        return false;
    }
    std::ifstream in(path, std::ios_base::binary);
    std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.eof() && !in) {
        *error = path + ": cannot read image";
        return false;
    }
    return ReadNetpbm(path, data, image, error);
}

ImageWriter::ImageWriter()
    : File(nullptr), Format(ImageFormat::UNKNOWN), Width(0), Channels(0), Depth(8), Png(nullptr) {}

ImageWriter::~ImageWriter() { PngAbandon(Png); }

bool ImageWriter::Begin(std::FILE* file, ImageFormat format, unsigned long width, unsigned long height,
                        unsigned channels, unsigned depth) {
    File = file;
    Format = format;
    Width = width;
    Channels = channels;
    Depth = depth;
    if (channels < 1 || channels > 4 || (depth != 8 && depth != 16) || (format == ImageFormat::PPM && channels != 3) ||
        (format == ImageFormat::PGM && channels != 1) || format == ImageFormat::UNKNOWN) {
        Error = "this output format cannot hold the image";
        return false;
    }
    if (format == ImageFormat::PNG) return PngBegin(file, width, height, channels, depth, &Png, &Error);
    unsigned maxval = depth == 16 ? 65535 : 255;
    int written;
    if (format == ImageFormat::PAM) {
        static const char* const types[] = {"GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};
        written = std::fprintf(file, "P7\nWIDTH %lu\nHEIGHT %lu\nDEPTH %u\nMAXVAL %u\nTUPLTYPE %s\nENDHDR\n", width,
                               height, channels, maxval, types[channels - 1]);
    } else {
        written = std::fprintf(file, "P%c\n%lu %lu\n%u\n", format == ImageFormat::PPM ? '6' : '5', width, height,
                               maxval);
    }
    if (written < 0) Error = "write failed";
    return written >= 0;
}

bool ImageWriter::WriteRows(const unsigned char* data, unsigned long rows) {
    const unsigned long rowBytes = Width * Channels * (Depth / 8);
    if (Format == ImageFormat::PNG) return PngWriteRows(Png, data, rowBytes, rows, &Error);
    const unsigned long bytes = rowBytes * rows;
    if (Depth == 16) {
        // Netpbm samples are big-endian.
        Swapped.resize(bytes);
        for (unsigned long i = 0; i < bytes; i += 2) {
            unsigned short v;
            std::memcpy(&v, data + i, 2);
            Swapped[i] = static_cast<unsigned char>(v >> 8);
            Swapped[i + 1] = static_cast<unsigned char>(v);
        }
        data = Swapped.data();
    }
    if (std::fwrite(data, 1, bytes, File) != bytes) {
        Error = "write failed";
        return false;
    }
    return true;
}

bool ImageWriter::Finish() {
    if (Format != ImageFormat::PNG) return true;
    void* png = Png;
    Png = nullptr;
    return PngFinish(png, &Error);
}

}  // namespace cli
}  // namespace psdkit
