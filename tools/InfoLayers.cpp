// The layers part of psdkit info.

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <string>

#include "Cli.h"

namespace psdkit {
namespace cli {

namespace {

// Printable ASCII as it is, every other byte as \xNN: names and keys are
// the file's bytes.
std::string Printable(const char* text, std::size_t length) {
    std::string out;
    for (std::size_t i = 0; i < length; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c < 0x7F && c != '\\') {
            out += static_cast<char>(c);
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof(escaped), "\\x%02X", c);
            out += escaped;
        }
    }
    return out;
}

std::string KeyText(unsigned long key) {
    char bytes[4] = {static_cast<char>((key >> 24) & 0xFF), static_cast<char>((key >> 16) & 0xFF),
                     static_cast<char>((key >> 8) & 0xFF), static_cast<char>(key & 0xFF)};
    return Printable(bytes, 4);
}

// The rectangle's edges are the file's 32 bits: signed.
long Signed32(unsigned long value) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(value)); }

int Byte(char value) { return static_cast<unsigned char>(value); }

void PrintLayer(PSDLayers* layers, unsigned short layer) {
    std::string name = layers->GetLayerRecordLayerName(layer);
    std::cout << "  Layer " << layer << ": \"" << Printable(name.data(), name.size()) << "\"\n";
    std::cout << "    Rectangle: top " << Signed32(layers->GetLayerRecordLayerTop(layer)) << ", left "
              << Signed32(layers->GetLayerRecordLayerLeft(layer)) << ", bottom "
              << Signed32(layers->GetLayerRecordLayerBottom(layer)) << ", right "
              << Signed32(layers->GetLayerRecordLayerRight(layer)) << "\n";

    unsigned short channels = layers->GetLayerRecordNumChannels(layer);
    std::cout << "    Channels: " << channels << "\n";
    for (unsigned short c = 0; c < channels; ++c) {
        short id = static_cast<short>(layers->GetLayerRecordChannelInfoChannelID(c, layer));
        std::cout << "      [" << c << "] ID " << id << ", length "
                  << layers->GetLayerRecordChannelInfoChannelLength(c, layer) << ", compression "
                  << layers->GetLayerRecordImageDataCompression(c, layer) << " ("
                  << layers->GetLayerRecordImageDataCompressionAsName(c, layer) << ")\n";
    }

    std::cout << "    Blend mode: signature " << layers->GetLayerRecordBlendModeSignatureAsName(layer) << ", key '"
              << KeyText(layers->GetLayerRecordBlendModeKey(layer)) << "' ("
              << layers->GetLayerRecordBlendModeKeyAsName(layer) << ")\n";
    std::cout << "    Opacity: " << Byte(layers->GetLayerRecordOpacity(layer)) << "\n";
    std::cout << "    Clipping: " << Byte(layers->GetLayerRecordClipping(layer)) << " ("
              << layers->GetLayerRecordClippingAsName(layer) << ")\n";
    std::cout << "    Flags: " << Byte(layers->GetLayerRecordFlags(layer));
    std::string flags = layers->GetLayerRecordFlagsAsName(layer);
    if (!flags.empty()) std::cout << " (" << flags << ")";
    std::cout << "\n";
    std::cout << "    Extra data size: " << layers->GetLayerRecordExtraDataSize(layer) << "\n";
    std::cout << "    Mask size: " << layers->GetLayerRecordMaskSize(layer) << "\n";
    std::cout << "    Blending ranges: " << layers->GetLayerRecordBlendingNumChannels(layer) << " channels (length "
              << layers->GetLayerRecordBlendingLength(layer) << ")\n";

    unsigned short entries = layers->GetLayerRecordNumAdjustments(layer);
    std::cout << "    Additional information: " << entries << " entries\n";
    for (unsigned short e = 0; e < entries; ++e) {
        std::cout << "      [" << e << "] '" << KeyText(layers->GetLayerRecordAdjustmentKey(e, layer)) << "' ("
                  << layers->GetLayerRecordAdjustmentKeyAsName(e, layer) << "), length "
                  << layers->GetLayerRecordAdjustmentLength(e, layer) << "\n";
    }
}

}  // namespace

void PrintLayersReport(PSDLayers* layers) {
    std::cout << "  Layer info size: " << layers->GetLayerInfoSize() << "\n";
    std::cout << "  Layer count: " << layers->GetLayerCount() << "\n";
    for (unsigned short layer = 0; layer < layers->GetLayerCount(); ++layer) PrintLayer(layers, layer);
    std::cout << "  Global layer mask length: " << layers->GetGlobalLayerMaskLength() << "\n";
}

}  // namespace cli
}  // namespace psdkit
