// psdkit demo: writes a built-in image, reads it back and checks it.

#include <cstdio>
#include <cstring>
#include <iostream>
#include <vector>

#include "Cli.h"
#include "OutputFile.h"

namespace psdkit {
namespace cli {

namespace {

const char* DEMO_USAGE =
    "usage: psdkit demo [--force] [OUT.psd]\n"
    "\n"
    "Makes a built-in 640x480 RGB test image (gradients and a few shapes), writes\n"
    "it through PhotoshopFile to OUT.psd (default: psdkit-demo.psd), reads it back\n"
    "and checks that attributes and image bytes match.\n"
    "\n"
    "  --force   replace OUT.psd if it exists\n";

const unsigned long DEMO_WIDTH = 640;
const unsigned long DEMO_HEIGHT = 480;

// Three planes: a horizontal red ramp, a vertical green ramp and a diagonal
// blue ramp, with a white disc, a dark square and a yellow bar on top.
void MakeDemoPlanes(std::vector<char>* red, std::vector<char>* green, std::vector<char>* blue) {
    const long w = DEMO_WIDTH, h = DEMO_HEIGHT;
    red->resize(w * h);
    green->resize(w * h);
    blue->resize(w * h);
    for (long y = 0; y < h; ++y) {
        for (long x = 0; x < w; ++x) {
            long i = y * w + x;
            int r = static_cast<int>(x * 255 / (w - 1));
            int g = static_cast<int>(y * 255 / (h - 1));
            int b = static_cast<int>((x + y) * 255 / (w + h - 2));
            long dx = x - 200, dy = y - 240;
            if (dx * dx + dy * dy < 110 * 110) r = g = b = 255;             // disc
            if (x >= 380 && x < 560 && y >= 80 && y < 260) r = g = b = 32;  // square
            if (x >= 360 && x < 600 && y >= 340 && y < 400) {
                r = 255;
                g = 220;
                b = 0;
            }  // bar
            (*red)[i] = static_cast<char>(r);
            (*green)[i] = static_cast<char>(g);
            (*blue)[i] = static_cast<char>(b);
        }
    }
}

}  // namespace

int RunDemo(const std::vector<std::string>& args) {
    std::string out;
    bool force = false;
    for (const std::string& arg : args) {
        if (IsHelp(arg)) {
            std::cout << DEMO_USAGE;
            return EXIT_OK;
        }
        if (arg == "--force") {
            force = true;
        } else if (!arg.empty() && arg[0] == '-') {
            return Fail(EXIT_USAGE, "demo: unknown option '" + arg + "'");
        } else if (out.empty()) {
            out = arg;
        } else {
            return Fail(EXIT_USAGE, "demo: more than one output file given");
        }
    }
    if (out.empty()) out = "psdkit-demo.psd";
    std::string error;
    if (!CheckOutputTarget(out, force, &error)) return Fail(EXIT_FAILURE_RUN, error);

    std::vector<char> red, green, blue;
    MakeDemoPlanes(&red, &green, &blue);
    const unsigned long plane = DEMO_WIDTH * DEMO_HEIGHT;

    bool written = WriteBesideAndRename(
        out, force,
        [&](const std::string& temporary, std::string* failure) {
            PhotoshopFile document;
            document.OpenWriteFile(temporary.c_str());
            document.SetImageWidth(DEMO_WIDTH);
            document.SetImageHeight(DEMO_HEIGHT);
            if (!document.SetPlanarImageData(red.data(), green.data(), blue.data(), plane)) {
                *failure = "out of memory for the demo image";
                return false;
            }
            if (!document.CommitWriteFile()) {
                *failure = out + ": write failed";
                return false;
            }
            return true;
        },
        &error);
    if (!written) return Fail(EXIT_FAILURE_RUN, error);

    PhotoshopFile readBack;
    if (!readBack.OpenReadFile(out.c_str())) return Fail(EXIT_FAILURE_RUN, out + ": cannot read the written file back");

    std::vector<std::string> problems;
    if (readBack.GetImageWidth() != static_cast<long>(DEMO_WIDTH)) problems.push_back("width");
    if (readBack.GetImageHeight() != static_cast<long>(DEMO_HEIGHT)) problems.push_back("height");
    if (readBack.GetImageChannels() != 3) problems.push_back("channels");
    if (readBack.GetImageDepth() != 8) problems.push_back("depth");
    if (readBack.GetImageMode() != PSDHeader::MODE_RGB) problems.push_back("mode");
    if (readBack.GetImageCompression() != PSDImageData::COMPRESSION_RAW) problems.push_back("compression");
    bool bytesMatch = readBack.GetImageDataLen() == 3 * plane &&
                      std::memcmp(readBack.GetImageData(), red.data(), plane) == 0 &&
                      std::memcmp(readBack.GetImageData() + plane, green.data(), plane) == 0 &&
                      std::memcmp(readBack.GetImageData() + 2 * plane, blue.data(), plane) == 0;
    if (!bytesMatch) problems.push_back("image bytes");

    PSDImageRes* resources = readBack.GetImageResources();
    std::cout << "psdkit demo: wrote " << out << "\n";
    std::cout << "  image: " << readBack.GetImageWidth() << "x" << readBack.GetImageHeight() << ", "
              << readBack.GetImageChannels() << " channels, " << readBack.GetImageDepth() << " bits, "
              << readBack.GetImageModeAsName() << ", " << readBack.GetImageCompressionAsName() << "\n";
    std::cout << "  image data: " << readBack.GetImageDataLen() << " bytes\n";
    std::cout << "  image resources: " << resources->GetNumResourceBlocks() << " blocks\n";
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i)
        std::cout << "    " << resources->GetResourceBlock(i)->GetIDAsName() << ", "
                  << resources->GetResourceBlock(i)->GetDataBlockSize() << " bytes\n";
    if (!problems.empty()) {
        std::string list;
        for (const std::string& p : problems) list += (list.empty() ? "" : ", ") + p;
        return Fail(EXIT_FAILURE_RUN, "demo: read-back differs in " + list);
    }
    std::cout << "  check: attributes and image bytes read back unchanged\n";
    return EXIT_OK;
}

}  // namespace cli
}  // namespace psdkit
