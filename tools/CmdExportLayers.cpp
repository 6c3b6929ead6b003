// psdkit export FILE --layers DIR: every layer's pixels as a PNG and a
// manifest, DIR/layers.json, with what a host needs to put them back together.

#include <sys/stat.h>

#include <cctype>
#include <iostream>
#include <nlohmann/json.hpp>
#include <vector>

#include "Cli.h"
#include "OutputFile.h"
#include "Raster.h"

namespace psdkit {
namespace cli {

namespace {

const char* EXPORT_LAYERS_USAGE =
    "usage: psdkit export FILE --layers DIR [--layer N] [--depth 8|16] [--no-mask] [--force]\n"
    "\n"
    "Writes each layer that has pixels as DIR/NNN-NAME.png (sRGB with alpha,\n"
    "over the layer's own rectangle) and DIR/layers.json: per layer its index,\n"
    "name, rectangle, visibility, opacity, blend mode, clipping, group and PNG.\n"
    "Group dividers and empty layers are listed without a PNG. A layer that is\n"
    "damaged is written as far as it decodes, and the run exits with 1.\n"
    "\n"
    "  --layer N      export layer N only (indexes from 0, bottom layer first)\n"
    "  --depth 8|16   bits per sample (default: 16 for 16- and 32-bit documents)\n"
    "  --no-mask      leave layer masks out of the transparency\n"
    "  --force        replace files that exist\n";

const unsigned long SECTION_OPEN = 1;
const unsigned long SECTION_CLOSED = 2;
const unsigned long SECTION_END = 3;
const char FLAG_HIDDEN = 0x02;
const std::size_t MAX_NAME_PART = 48;

std::string Latin1ToUtf8(const char* text) {
    std::string out;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p; ++p) {
        if (*p < 0x80) {
            out += static_cast<char>(*p);
        } else {
            out += static_cast<char>(0xC0 | (*p >> 6));
            out += static_cast<char>(0x80 | (*p & 0x3F));
        }
    }
    return out;
}

// Letters, digits, '-' and '_' stay; every other run of bytes becomes one '_'.
std::string SafeName(const std::string& name) {
    std::string out;
    for (unsigned char c : name) {
        bool keep = c < 0x80 && (std::isalnum(c) || c == '-' || c == '_');
        if (keep) {
            out += static_cast<char>(c);
        } else if (out.empty() || out.back() != '_') {
            out += '_';
        }
        if (out.size() >= MAX_NAME_PART) break;
    }
    while (!out.empty() && out.back() == '_') out.pop_back();
    while (!out.empty() && out.front() == '_') out.erase(out.begin());
    return out.empty() ? "layer" : out;
}

std::string FourCC(unsigned long code) {
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8) {
        char c = static_cast<char>((code >> shift) & 0xFF);
        out += std::isprint(static_cast<unsigned char>(c)) ? c : '?';
    }
    return out;
}

long Signed(unsigned long value) { return static_cast<long>(static_cast<int>(static_cast<unsigned>(value))); }

// The group that holds each record: records run bottom to top, a group's
// end divider below its layers and its opening record above them.
std::vector<long> Parents(PSDLayers* layers) {
    unsigned short count = layers->GetLayerCount();
    std::vector<long> parent(count, -1);
    std::vector<long> open;
    for (long i = static_cast<long>(count) - 1; i >= 0; --i) {
        unsigned short layer = static_cast<unsigned short>(i);
        unsigned long type = layers->GetLayerRecordSectionDividerType(layer);
        parent[layer] = open.empty() ? -1 : open.back();
        if (type == SECTION_OPEN || type == SECTION_CLOSED) {
            open.push_back(i);
        } else if (type == SECTION_END && !open.empty()) {
            // The end divider belongs to the group it closes.
            parent[layer] = open.back();
            open.pop_back();
        }
    }
    return parent;
}

// Decodes a layer and writes it as PNG. Returns false with a reason when
// nothing could be written; `damaged` tells a partial decode.
bool WriteLayerPng(PhotoshopFile& document, unsigned short layer, bool applyMask, unsigned depth,
                   const std::string& path, bool force, bool* damaged, std::string* error) {
    PSDPixels pixels;
    *damaged = !pixels.DecodeLayer(document, layer, applyMask);
    if (pixels.GetNumPlanes() == 0) {
        *error = "layer " + std::to_string(layer) + ": cannot decode" +
                 (pixels.GetNumProblems() ? std::string(": ") + pixels.GetProblem(0) : "");
        return false;
    }
    if (depth == 0) depth = pixels.GetDepth() > 8 ? 16 : 8;
    if (!pixels.ConvertToRGB(static_cast<unsigned short>(depth), true)) {
        *error = "layer " + std::to_string(layer) + ": cannot convert its colours";
        return false;
    }
    OutputFile output;
    if (!output.Prepare(path, force, error)) return false;
    std::FILE* file = output.Open(error);
    if (!file) return false;
    ImageWriter writer;
    if (!writer.Begin(file, ImageFormat::PNG, pixels.GetWidth(), pixels.GetHeight(), pixels.GetInterleavedChannels(),
                      depth) ||
        !writer.WriteRows(reinterpret_cast<const unsigned char*>(pixels.GetInterleaved()), pixels.GetHeight()) ||
        !writer.Finish()) {
        *error = path + ": " + writer.GetError();
        return false;
    }
    return output.Commit(error);
}

}  // namespace

int RunExportLayers(const std::vector<std::string>& args) {
    std::string in, dir;
    bool force = false, applyMask = true, one = false;
    unsigned depth = 0;
    unsigned long only = 0;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        bool hasValue = i + 1 < args.size();
        if (IsHelp(arg)) {
            std::cout << EXPORT_LAYERS_USAGE;
            return EXIT_OK;
        }
        if (arg == "--force") {
            force = true;
        } else if (arg == "--no-mask") {
            applyMask = false;
        } else if (arg == "--layers") {
            if (!hasValue) return Fail(EXIT_USAGE, "export: --layers takes a directory");
            dir = args[++i];
        } else if (arg == "--layer") {
            const std::string value = hasValue ? args[i + 1] : "";
            if (value.empty() || value.size() > 5 || value.find_first_not_of("0123456789") != std::string::npos)
                return Fail(EXIT_USAGE, "export: --layer takes a layer index");
            only = std::stoul(args[++i]);
            one = true;
        } else if (arg == "--depth") {
            if (!hasValue || (args[i + 1] != "8" && args[i + 1] != "16"))
                return Fail(EXIT_USAGE, "export: --depth takes 8 or 16");
            depth = args[++i] == "8" ? 8 : 16;
        } else if (!arg.empty() && arg[0] == '-') {
            return Fail(EXIT_USAGE, "export: unknown option '" + arg + "'");
        } else if (in.empty()) {
            in = arg;
        } else {
            return Fail(EXIT_USAGE, "export: give one PSD file and --layers DIR (see psdkit export --layers --help)");
        }
    }
    if (in.empty() || dir.empty())
        return Fail(EXIT_USAGE, "export: give one PSD file and --layers DIR (see psdkit export --layers --help)");

    PhotoshopFile document;
    int status = ReadDocument(in, &document);
    if (status != EXIT_OK) return status;
    PSDLayers* layers = document.GetLayers();
    if (layers->GetLayerCount() == 0 && document.GetTaggedLayers() != nullptr) layers = document.GetTaggedLayers();
    unsigned short count = layers->GetLayerCount();
    if (one && only >= count)
        return Fail(EXIT_FAILURE_RUN,
                    in + ": no layer " + std::to_string(only) + " (it has " + std::to_string(count) + ")");

    if (IsSpecialFile(dir) && !IsDirectory(dir)) return Fail(EXIT_FAILURE_RUN, dir + ": not a directory");
    if (!PathExists(dir) && mkdir(dir.c_str(), 0777) != 0)
        return Fail(EXIT_FAILURE_RUN, dir + ": cannot create directory");

    // Names first, so that nothing is written when one of them is taken.
    std::vector<long> parent = Parents(layers);
    std::vector<unsigned short> chosen;
    for (unsigned long l = one ? only : 0; l < (one ? only + 1 : count); ++l)
        chosen.push_back(static_cast<unsigned short>(l));
    std::vector<std::string> names(count);
    const std::string manifestPath = dir + "/layers.json";
    for (unsigned short l : chosen) {
        const char* unicode = layers->GetLayerRecordUnicodeName(l);
        std::string name = unicode ? unicode : Latin1ToUtf8(layers->GetLayerRecordLayerName(l));
        long top = Signed(layers->GetLayerRecordLayerTop(l)), bottom = Signed(layers->GetLayerRecordLayerBottom(l));
        long left = Signed(layers->GetLayerRecordLayerLeft(l)), right = Signed(layers->GetLayerRecordLayerRight(l));
        bool pixels = layers->GetLayerRecordSectionDividerType(l) == 0 && bottom > top && right > left;
        if (!pixels) continue;
        char index[8];
        std::snprintf(index, sizeof index, "%03u", static_cast<unsigned>(l));
        names[l] = std::string(index) + "-" + SafeName(name) + ".png";
        if (!force && PathExists(dir + "/" + names[l]))
            return Fail(EXIT_FAILURE_RUN, dir + "/" + names[l] + ": file exists (use --force to overwrite)");
    }
    if (!force && PathExists(manifestPath))
        return Fail(EXIT_FAILURE_RUN, manifestPath + ": file exists (use --force to overwrite)");

    nlohmann::ordered_json manifest = nlohmann::ordered_json::object();
    manifest["file"] = in;
    manifest["width"] = document.GetImageWidth();
    manifest["height"] = document.GetImageHeight();
    manifest["layers"] = nlohmann::ordered_json::array();
    bool damaged = false;
    for (unsigned short l : chosen) {
        const char* unicode = layers->GetLayerRecordUnicodeName(l);
        unsigned long divider = layers->GetLayerRecordSectionDividerType(l);
        nlohmann::ordered_json entry;
        entry["index"] = l;
        entry["name"] = unicode ? unicode : Latin1ToUtf8(layers->GetLayerRecordLayerName(l));
        entry["top"] = Signed(layers->GetLayerRecordLayerTop(l));
        entry["left"] = Signed(layers->GetLayerRecordLayerLeft(l));
        entry["bottom"] = Signed(layers->GetLayerRecordLayerBottom(l));
        entry["right"] = Signed(layers->GetLayerRecordLayerRight(l));
        entry["visible"] = (layers->GetLayerRecordFlags(l) & FLAG_HIDDEN) == 0;
        entry["opacity"] = static_cast<unsigned char>(layers->GetLayerRecordOpacity(l));
        entry["blend_mode"] = layers->GetLayerRecordBlendModeKeyAsName(l);
        entry["blend_key"] = FourCC(layers->GetLayerRecordBlendModeKey(l));
        entry["clipping"] = layers->GetLayerRecordClipping(l) != 0;
        entry["kind"] = divider == SECTION_OPEN || divider == SECTION_CLOSED ? "group"
                        : divider == SECTION_END                             ? "group end"
                                                                             : "layer";
        if (divider == SECTION_OPEN || divider == SECTION_CLOSED) entry["open"] = divider == SECTION_OPEN;
        entry["parent"] = parent[l] < 0 ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(parent[l]);
        entry["png"] = nullptr;
        if (!names[l].empty()) {
            bool partial = false;
            std::string error;
            if (WriteLayerPng(document, l, applyMask, depth, dir + "/" + names[l], force, &partial, &error)) {
                entry["png"] = names[l];
            } else {
                Fail(EXIT_FAILURE_RUN, error);
                partial = true;
            }
            if (partial) entry["damaged"] = true;
            damaged = damaged || partial;
        }
        manifest["layers"].push_back(entry);
    }

    std::string text = manifest.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    OutputFile output;
    std::string error;
    if (!output.Prepare(manifestPath, force, &error)) return Fail(EXIT_FAILURE_RUN, error);
    std::FILE* file = output.Open(&error);
    if (!file) return Fail(EXIT_FAILURE_RUN, error);
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size())
        return Fail(EXIT_FAILURE_RUN, manifestPath + ": write failed");
    if (!output.Commit(&error)) return Fail(EXIT_FAILURE_RUN, error);
    if (damaged) return Fail(EXIT_FAILURE_RUN, in + ": damaged layers, wrote what could be decoded");
    return EXIT_OK;
}

}  // namespace cli
}  // namespace psdkit
