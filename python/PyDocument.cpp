// Documents, layers, channels and resources as Python objects.

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>

#include "PyPsdkit.h"

namespace psdkit {
namespace python {

namespace {

// Layer edges and mask values are the file's 32 bits: signed.
long Signed32(unsigned long value) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(value)); }

int Byte(char value) { return static_cast<unsigned char>(value); }

// Names and keys are the file's bytes; latin-1 keeps every byte as one character.
py::str Latin1(const char* text, std::size_t length) {
    PyObject* object = PyUnicode_DecodeLatin1(text, static_cast<Py_ssize_t>(length), nullptr);
    if (object == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(object);
}

py::str Latin1(const char* text) { return Latin1(text, text == nullptr ? 0 : std::strlen(text)); }

py::str KeyText(unsigned long key) {
    char bytes[4] = {static_cast<char>((key >> 24) & 0xFF), static_cast<char>((key >> 16) & 0xFF),
                     static_cast<char>((key >> 8) & 0xFF), static_cast<char>(key & 0xFF)};
    return Latin1(bytes, 4);
}

py::object TextOrNone(const char* text) {
    if (text == nullptr) return py::none();
    return Latin1(text);
}

void RaiseOSError(int error, const std::string& path) {
    errno = error;
    PyErr_SetFromErrnoWithFilename(error == ENOENT   ? PyExc_FileNotFoundError
                                   : error == EISDIR ? PyExc_IsADirectoryError
                                   : error == EACCES ? PyExc_PermissionError
                                                     : PyExc_OSError,
                                   path.c_str());
    throw py::error_already_set();
}

// The payload bytes the block holds: its data size, never more than it has.
py::bytes PayloadBytes(PSDResourceBlock* block) {
    if (block->GetDataBlock() == nullptr) return py::bytes();
    unsigned long size = block->GetDataBlockSize();
    if (size > block->GetDataBlockCapacity()) size = block->GetDataBlockCapacity();
    return py::bytes(block->GetDataBlock(), size);
}

// The decoded fields of the classes that have them.
py::dict ResourceFields(PSDResourceBlock* block) {
    py::dict f;
    if (auto* b = dynamic_cast<PSDResolutionInfoRB*>(block)) {
        f["horiz_resolution"] = b->GetHorizResolution();
        f["horiz_resolution_units"] = b->GetHorizResolutionUnits();
        f["width_units"] = b->GetWidthUnits();
        f["vert_resolution"] = b->GetVertResolution();
        f["vert_resolution_units"] = b->GetVertResolutionUnits();
        f["height_units"] = b->GetHeightUnits();
    } else if (auto* b = dynamic_cast<PSDCopyrightFlagRB*>(block)) {
        f["flag"] = b->GetFlag();
    } else if (auto* b = dynamic_cast<PSDDocumentIDRB*>(block)) {
        f["document_id"] = b->GetID();
    } else if (auto* b = dynamic_cast<PSDGlobalAngleRB*>(block)) {
        f["angle"] = Signed32(b->GetAngle());
    } else if (auto* b = dynamic_cast<PSDGridGuidesRB*>(block)) {
        f["version"] = b->GetVersion();
        f["grid_cycle_x"] = b->GetGridCycleX();
        f["grid_cycle_y"] = b->GetGridCycleY();
        f["guide_count"] = b->GetGuideCount();
    } else if (auto* b = dynamic_cast<PSDLayerStateInfoRB*>(block)) {
        f["target_layer"] = b->GetTargetLayer();
    } else if (auto* b = dynamic_cast<PSDLayersGroupInfoRB*>(block)) {
        py::list ids;
        for (unsigned short i = 0; i < b->GetNumLayers(); ++i) ids.append(b->GetLayerID(i));
        f["layer_ids"] = ids;
    } else if (auto* b = dynamic_cast<PSDPrintFlagsInfoRB*>(block)) {
        f["center_crop_marks"] = b->GetCenterCropMarks();
        f["bleed_width_value"] = b->GetBleedWidthValue();
        f["bleed_width_scale"] = b->GetBleedWidthScale();
    } else if (auto* b = dynamic_cast<PSDPrintFlagsRB*>(block)) {
        f["print_labels"] = b->GetPrintLabels();
        f["print_crop_marks"] = b->GetPrintCropMarks();
        f["print_registration_marks"] = b->GetPrintRegistrationMarks();
        f["print_negative"] = b->GetPrintNegative();
        f["print_caption"] = b->GetPrintCaption();
    } else if (auto* b = dynamic_cast<PSDThumbnailRB*>(block)) {
        f["format"] = b->GetFormat();
        f["format_name"] = TextOrNone(b->GetFormatAsName());
        f["width"] = b->GetWidth();
        f["height"] = b->GetHeight();
        f["width_bytes"] = b->GetWidthBytes();
        f["size"] = b->GetSize();
        f["compressed_size"] = b->GetCompressedSize();
        f["bits_pixel"] = b->GetBitsPixel();
        f["planes"] = b->GetPlanes();
    } else if (auto* b = dynamic_cast<PSDICCProfileRB*>(block)) {
        f["profile_size"] = b->GetHdrProfileSize();
        f["cmm_type"] = TextOrNone(b->GetHdrCMMTypeAsName());
        f["profile_version"] = TextOrNone(b->GetHdrProfileVersionAsString());
        f["profile_class"] = TextOrNone(b->GetHdrProfileClassAsName());
        f["color_space"] = TextOrNone(b->GetHdrColorSpaceAsName());
        f["connection_space"] = TextOrNone(b->GetHdrConnectionSpaceAsName());
        f["creation"] = TextOrNone(b->GetHdrCreationAsString());
        f["platform"] = TextOrNone(b->GetHdrPlatformAsName());
        f["profile_flags"] = b->GetHdrProfileFlags();
        f["manufacturer"] = TextOrNone(b->GetHdrManufacturerAsName());
        f["model"] = TextOrNone(b->GetHdrModelAsName());
        f["attributes"] = b->GetHdrAttributes();
        f["rendering_intent"] = TextOrNone(b->GetHdrRenderingIntentAsName());
        f["illuminant"] = py::make_tuple(b->GetIlluminantX(), b->GetIlluminantY(), b->GetIlluminantZ());
        f["creator"] = TextOrNone(b->GetHdrCreatorAsName());
        f["num_tags"] = b->GetNumTags();
    }
    return f;
}

// The first block with this ID, or null.
PSDResourceBlock* FindResource(Document& doc, unsigned short id) {
    PSDImageRes* resources = doc.File.GetImageResources();
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        PSDResourceBlock* block = resources->GetResourceBlock(i);
        if (block->GetResourceID() == id) return block;
    }
    return nullptr;
}

py::list Problems(Document& doc) {
    py::list problems;
    for (unsigned long i = 0; i < doc.File.GetNumReadProblems(); ++i) {
        const char* line = doc.File.GetReadProblem(i);
        if (line != nullptr) problems.append(Latin1(line));
    }
    return problems;
}

py::list LayerList(const DocumentPtr& doc, bool tagged) {
    py::list layers;
    PSDLayers* records = tagged ? doc->TaggedLayers : doc->File.GetLayers();
    if (records == nullptr) return layers;
    for (unsigned short i = 0; i < records->GetLayerCount(); ++i) layers.append(Layer{doc, i, tagged});
    return layers;
}

}  // namespace

DocumentPtr OpenDocument(const std::string& path) {
    // What the system refuses shows as an OSError, not as bad content.
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) RaiseOSError(errno, path);
    if (S_ISDIR(info.st_mode)) RaiseOSError(EISDIR, path);
    if (std::FILE* probe = std::fopen(path.c_str(), "rb")) {
        std::fclose(probe);
    } else {
        RaiseOSError(errno, path);
    }

    auto doc = std::make_shared<Document>();
    doc->Path = path;
    bool read;
    {
        py::gil_scoped_release release;
        read = doc->File.OpenReadFile(path.c_str());
        if (read) doc->TaggedLayers = doc->File.GetTaggedLayers();
    }
    if (read) return doc;

    std::string reason = path + ": ";
    if (!doc->File.GetFile()->IsValidFile()) {
        reason += "not a PSD file (no version-1 '8BPS' header)";
    } else if (doc->File.GetNumReadProblems() > 0) {
        reason += doc->File.GetReadProblem(0);
    } else {
        reason += "cannot be read";
    }
    throw Error(reason);
}

std::string CapturePrintInfo(PSDResourceBlock* block) {
    // The report goes to std::cout; it is taken for the one call. The GIL is
    // held, so no other Python thread prints through the module meanwhile.
    std::ostringstream text;
    std::streambuf* saved = std::cout.rdbuf(text.rdbuf());
    try {
        block->PrintInfo();
    } catch (...) {
        std::cout.rdbuf(saved);
        throw;
    }
    std::cout.rdbuf(saved);
    return text.str();
}

void BindDocument(py::module_& m) {
    py::class_<Resource>(m, "Resource", "An image resource block; decoded fields are attributes too.")
        .def_property_readonly("id", [](const Resource& r) { return r.Block()->GetResourceID(); })
        .def_property_readonly("id_name", [](const Resource& r) { return TextOrNone(r.Block()->GetIDAsName()); })
        .def_property_readonly("name",
                               [](const Resource& r) {
                                   PSDResourceBlock* b = r.Block();
                                   return Latin1(b->GetName(), b->GetNameLength());
                               })
        .def_property_readonly(
            "data", [](const Resource& r) { return PayloadBytes(r.Block()); },
            "The payload as stored (without the pad byte).")
        .def_property_readonly("data_size", [](const Resource& r) { return r.Block()->GetDataBlockSize(); })
        .def_property_readonly(
            "fields", [](const Resource& r) { return ResourceFields(r.Block()); },
            "The decoded fields, empty for blocks kept as bytes.")
        .def(
            "report", [](const Resource& r) { return CapturePrintInfo(r.Block()); }, "The block's text report.")
        .def("__getattr__",
             [](const Resource& r, const std::string& name) -> py::object {
                 py::dict fields = ResourceFields(r.Block());
                 if (fields.contains(name)) return fields[py::str(name)];
                 throw py::attribute_error("resource " + std::to_string(r.Block()->GetResourceID()) +
                                           " has no field '" + name + "'");
             })
        .def("__repr__", [](const Resource& r) {
            return "<psdkit.Resource " + std::to_string(r.Block()->GetResourceID()) + ", " +
                   std::to_string(r.Block()->GetDataBlockSize()) + " bytes>";
        });

    py::class_<Channel>(m, "Channel", "One channel of a layer record.")
        .def_property_readonly(
            "id",
            [](const Channel& c) {
                return static_cast<short>(
                    c.Owner.Records()->GetLayerRecordChannelInfoChannelID(c.Index, c.Owner.Index));
            },
            "Signed: -1 transparency, -2 user mask, -3 real user mask.")
        .def_property_readonly("length",
                               [](const Channel& c) {
                                   return c.Owner.Records()->GetLayerRecordChannelInfoChannelLength(c.Index,
                                                                                                    c.Owner.Index);
                               })
        .def_property_readonly("compression",
                               [](const Channel& c) {
                                   return c.Owner.Records()->GetLayerRecordImageDataCompression(c.Index, c.Owner.Index);
                               })
        .def_property_readonly(
            "compression_name",
            [](const Channel& c) {
                return TextOrNone(c.Owner.Records()->GetLayerRecordImageDataCompressionAsName(c.Index, c.Owner.Index));
            })
        .def_property_readonly(
            "data_offset",
            [](const Channel& c) { return c.Owner.Records()->GetLayerRecordChannelDataOffset(c.Index, c.Owner.Index); })
        .def("pixels", &ChannelPixels, py::arg("strict") = true,
             "The channel over its rectangle: a 2-D array of the samples as stored.")
        .def("__repr__", [](const Channel& c) {
            return "<psdkit.Channel " +
                   std::to_string(static_cast<short>(
                       c.Owner.Records()->GetLayerRecordChannelInfoChannelID(c.Index, c.Owner.Index))) +
                   ">";
        });

    py::class_<Layer>(m, "Layer", "A layer record.")
        .def_property_readonly("index", [](const Layer& l) { return l.Index; })
        .def_property_readonly(
            "name", [](const Layer& l) { return Latin1(l.Records()->GetLayerRecordLayerName(l.Index)); },
            "The Pascal name's bytes as latin-1.")
        .def_property_readonly(
            "unicode_name",
            [](const Layer& l) -> py::object {
                const char* text = l.Records()->GetLayerRecordUnicodeName(l.Index);
                if (text == nullptr) return py::none();
                return py::str(text);
            },
            "The full name from the 'luni' entry, or None.")
        .def_property_readonly("top",
                               [](const Layer& l) { return Signed32(l.Records()->GetLayerRecordLayerTop(l.Index)); })
        .def_property_readonly("left",
                               [](const Layer& l) { return Signed32(l.Records()->GetLayerRecordLayerLeft(l.Index)); })
        .def_property_readonly("bottom",
                               [](const Layer& l) { return Signed32(l.Records()->GetLayerRecordLayerBottom(l.Index)); })
        .def_property_readonly("right",
                               [](const Layer& l) { return Signed32(l.Records()->GetLayerRecordLayerRight(l.Index)); })
        .def_property_readonly(
            "rect",
            [](const Layer& l) {
                PSDLayers* r = l.Records();
                return py::make_tuple(
                    Signed32(r->GetLayerRecordLayerTop(l.Index)), Signed32(r->GetLayerRecordLayerLeft(l.Index)),
                    Signed32(r->GetLayerRecordLayerBottom(l.Index)), Signed32(r->GetLayerRecordLayerRight(l.Index)));
            },
            "(top, left, bottom, right)")
        .def_property_readonly("channels",
                               [](const Layer& l) {
                                   py::list channels;
                                   for (unsigned short c = 0; c < l.Records()->GetLayerRecordNumChannels(l.Index); ++c)
                                       channels.append(Channel{l, c});
                                   return channels;
                               })
        .def_property_readonly(
            "blend_signature",
            [](const Layer& l) { return KeyText(l.Records()->GetLayerRecordBlendModeSignature(l.Index)); })
        .def_property_readonly("blend_key",
                               [](const Layer& l) { return KeyText(l.Records()->GetLayerRecordBlendModeKey(l.Index)); })
        .def_property_readonly(
            "blend_mode_name",
            [](const Layer& l) { return TextOrNone(l.Records()->GetLayerRecordBlendModeKeyAsName(l.Index)); })
        .def_property_readonly("opacity",
                               [](const Layer& l) { return Byte(l.Records()->GetLayerRecordOpacity(l.Index)); })
        .def_property_readonly("clipping",
                               [](const Layer& l) { return Byte(l.Records()->GetLayerRecordClipping(l.Index)); })
        .def_property_readonly(
            "clipping_name",
            [](const Layer& l) { return TextOrNone(l.Records()->GetLayerRecordClippingAsName(l.Index)); })
        .def_property_readonly("flags", [](const Layer& l) { return Byte(l.Records()->GetLayerRecordFlags(l.Index)); })
        .def_property_readonly(
            "flags_name", [](const Layer& l) { return TextOrNone(l.Records()->GetLayerRecordFlagsAsName(l.Index)); })
        .def_property_readonly("extra_length",
                               [](const Layer& l) { return l.Records()->GetLayerRecordExtraDataSize(l.Index); })
        .def_property_readonly("mask_size", [](const Layer& l) { return l.Records()->GetLayerRecordMaskSize(l.Index); })
        .def_property_readonly(
            "mask_rect",
            [](const Layer& l) -> py::object {
                PSDLayers* r = l.Records();
                if (r->GetLayerRecordMaskSize(l.Index) == 0) return py::none();
                const LayerMask& mask = r->GetLayerRecordMask(l.Index);
                return py::make_tuple(Signed32(mask.MaskTop), Signed32(mask.MaskLeft), Signed32(mask.MaskBottom),
                                      Signed32(mask.MaskRight));
            },
            "(top, left, bottom, right) of the user mask, or None without a mask.")
        .def_property_readonly("mask_default_color",
                               [](const Layer& l) { return l.Records()->GetLayerRecordMask(l.Index).DefaultColor; })
        .def_property_readonly("mask_flags",
                               [](const Layer& l) { return l.Records()->GetLayerRecordMask(l.Index).Flags; })
        .def_property_readonly("blending_length",
                               [](const Layer& l) { return l.Records()->GetLayerRecordBlendingLength(l.Index); })
        .def_property_readonly(
            "blending_ranges",
            [](const Layer& l) {
                PSDLayers* r = l.Records();
                py::list ranges;
                ranges.append(py::make_tuple(r->GetLayerRecordBlendingGrayBlendSrc(l.Index),
                                             r->GetLayerRecordBlendingGrayBlendDest(l.Index)));
                for (unsigned long c = 0; c < r->GetLayerRecordBlendingNumChannels(l.Index); ++c)
                    ranges.append(py::make_tuple(r->GetLayerRecordBlendingChannelSrc(c, l.Index),
                                                 r->GetLayerRecordBlendingChannelDest(c, l.Index)));
                return ranges;
            },
            "(source, destination) pairs: gray first, then one per channel; empty without ranges.")
        .def_property_readonly(
            "info_keys",
            [](const Layer& l) {
                PSDLayers* r = l.Records();
                py::list keys;
                for (unsigned short e = 0; e < r->GetLayerRecordNumAdjustments(l.Index); ++e)
                    keys.append(py::make_tuple(KeyText(r->GetLayerRecordAdjustmentKey(e, l.Index)),
                                               r->GetLayerRecordAdjustmentLength(e, l.Index)));
                return keys;
            },
            "(key, length) of each additional-information entry, in file order.")
        .def_property_readonly(
            "section_divider", [](const Layer& l) { return l.Records()->GetLayerRecordSectionDividerType(l.Index); },
            "1 open group, 2 closed group, 3 end of a group, 0 none.")
        .def("pixels", &LayerPixels, py::arg("raw") = false, py::arg("depth") = 8, py::arg("apply_mask") = false,
             py::arg("strict") = true,
             "The layer over its rectangle: (h, w, c) planes as stored (raw) or sRGB with transparency.")
        .def("__repr__", [](const Layer& l) {
            return "<psdkit.Layer " + std::to_string(l.Index) + " '" +
                   std::string(l.Records()->GetLayerRecordLayerName(l.Index)) + "'>";
        });

    py::class_<Document, DocumentPtr>(m, "Document", "A PSD document read from a file.")
        .def_property_readonly("path", [](const Document& d) { return d.Path; })
        .def_property_readonly("width", [](const Document& d) { return d.File.GetImageWidth(); })
        .def_property_readonly("height", [](const Document& d) { return d.File.GetImageHeight(); })
        .def_property_readonly("channels", [](const Document& d) { return d.File.GetImageChannels(); })
        .def_property_readonly("depth", [](const Document& d) { return d.File.GetImageDepth(); })
        .def_property_readonly("mode", [](const Document& d) { return d.File.GetImageMode(); })
        .def_property_readonly("mode_name", [](const Document& d) { return TextOrNone(d.File.GetImageModeAsName()); })
        .def_property_readonly("compression", [](const Document& d) { return d.File.GetImageCompression(); })
        .def_property_readonly("compression_name",
                               [](const Document& d) { return TextOrNone(d.File.GetImageCompressionAsName()); })
        .def_property_readonly(
            "intact", [](const Document& d) { return d.File.IsIntact(); },
            "Whether the read found the whole file and had to cut or skip nothing.")
        .def_property_readonly("problems", [](Document& d) { return Problems(d); })
        .def_property_readonly("resources",
                               [](const DocumentPtr& d) {
                                   py::list blocks;
                                   PSDImageRes* resources = d->File.GetImageResources();
                                   for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i)
                                       blocks.append(Resource{d, i});
                                   return blocks;
                               })
        .def_property_readonly("layers", [](const DocumentPtr& d) { return LayerList(d, false); })
        .def_property_readonly(
            "tagged_layers", [](const DocumentPtr& d) { return LayerList(d, true); },
            "The records of an 'Lr16'/'Lr32' block (16- and 32-bit files keep layers there).")
        .def_property_readonly("icc_profile",
                               [](Document& d) -> py::object {
                                   PSDResourceBlock* block = FindResource(d, PSDResourceBlock::RS_1039);
                                   if (block == nullptr || block->GetDataBlock() == nullptr) return py::none();
                                   return PayloadBytes(block);
                               })
        .def_property_readonly(
            "thumbnail",
            [](Document& d) -> py::object {
                // Resource 1036 holds JPEG (format 1) behind a 28-byte header.
                auto* block = dynamic_cast<PSDThumbnailRB*>(FindResource(d, PSDResourceBlock::RS_1036));
                if (block == nullptr || block->GetFormat() != 1 || block->GetDataBlock() == nullptr) return py::none();
                const unsigned long header = 28;
                unsigned long held = block->GetDataBlockCapacity();
                unsigned long size = block->GetCompressedSize();
                if (held < header || size == 0 || size > held - header) return py::none();
                return py::bytes(block->GetDataBlock() + header, size);
            },
            "The JPEG bytes of the thumbnail, or None.")
        .def("composite", &Composite, py::arg("raw") = false, py::arg("depth") = 8, py::arg("strict") = true,
             "The composite: (h, w, c) planes as stored (raw) or sRGB at 8 or 16 bits.")
        .def("__repr__", [](const Document& d) {
            return "<psdkit.Document '" + d.Path + "' " + std::to_string(d.File.GetImageWidth()) + "x" +
                   std::to_string(d.File.GetImageHeight()) + ">";
        });
}

}  // namespace python
}  // namespace psdkit
