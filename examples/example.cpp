// Writes a small RGB image as a PSD file and reads it back.
//
//   psdkit_example OUT.psd

#include <cstdio>
#include <cstring>
#include <vector>

#include <psdkit/psdkit.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUT.psd\n", argv[0]);
        return 2;
    }
    const unsigned long width = 64, height = 48, plane = width * height;
    std::vector<char> red(plane), green(plane), blue(plane);
    for (unsigned long i = 0; i < plane; ++i) {
        red[i] = static_cast<char>(i % width * 4);
        green[i] = static_cast<char>(i / width * 5);
        blue[i] = static_cast<char>(128);
    }

    psdkit::PhotoshopFile out;
    out.OpenWriteFile(argv[1]);
    out.SetImageWidth(width);
    out.SetImageHeight(height);
    out.SetPlanarImageData(red.data(), green.data(), blue.data(), plane);
    if (!out.CommitWriteFile()) {
        std::fprintf(stderr, "cannot write %s\n", argv[1]);
        return 1;
    }

    psdkit::PhotoshopFile in;
    if (!in.OpenReadFile(argv[1]) || in.GetImageWidth() != 64 || in.GetImageHeight() != 48 ||
        in.GetImageDataLen() != 3 * plane || std::memcmp(in.GetImageData(), red.data(), plane) != 0) {
        std::fprintf(stderr, "%s did not read back as written\n", argv[1]);
        return 1;
    }
    std::printf("%s: %lux%lu %s, %lu resource blocks\n", argv[1], static_cast<unsigned long>(in.GetImageWidth()),
                static_cast<unsigned long>(in.GetImageHeight()), in.GetImageModeAsName(),
                in.GetImageResources()->GetNumResourceBlocks());
    return 0;
}
