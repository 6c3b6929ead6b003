#include "FuzzSupport.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <streambuf>

namespace psdfuzz {

namespace {

// Takes every character and keeps none.
class NullBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

volatile unsigned long sink;

}  // namespace

void Init() {
    // Never destroyed: std::cout is flushed at exit, after static objects go.
    static std::streambuf* previous = std::cout.rdbuf(new NullBuffer);
    (void)previous;
}

MemFile::MemFile(const char* name) : fd(memfd_create(name, MFD_CLOEXEC)) {
    if (fd < 0) {
        std::fprintf(stderr, "psdkit fuzz: cannot make a file for the input\n");
        std::abort();
    }
    std::snprintf(path, sizeof path, "/proc/%d/fd/%d", static_cast<int>(getpid()), fd);
}

MemFile::~MemFile() { close(fd); }

bool MemFile::Put(const std::uint8_t* data, std::size_t size) {
    if (ftruncate(fd, 0) != 0) return false;
    for (std::size_t done = 0; done < size;) {
        ssize_t n = pwrite(fd, data + done, size - done, static_cast<off_t>(done));
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

void Use(const char* text) {
    if (text != nullptr) sink = sink + std::strlen(text);
}

void Use(unsigned long value) { sink = sink + value; }

void Touch(const char* data, unsigned long size) {
    unsigned long sum = 0;
    for (unsigned long i = 0; i < size; ++i) sum += static_cast<unsigned char>(data[i]);
    sink = sink + sum;
}

void Fail(const char* what, unsigned long expected, unsigned long got) {
    std::fprintf(stderr, "psdkit fuzz: %s (expected %lu, got %lu)\n", what, expected, got);
    std::abort();
}

void ExerciseResources(psdkit::PSDImageRes* resources) {
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        psdkit::PSDResourceBlock* block = resources->GetResourceBlock(i);
        Use(block->GetIDAsName());
        if (block->GetDataBlock() != nullptr) Touch(block->GetDataBlock(), block->GetDataBlockCapacity());
        if (block->GetResourceID() == psdkit::PSDResourceBlock::RS_1036) {  // the stream a host extracts
            auto* thumbnail = static_cast<psdkit::PSDThumbnailRB*>(block);
            if (thumbnail->GetData() != nullptr) Touch(thumbnail->GetData(), thumbnail->GetCompressedSize());
        }
        block->PrintInfo();
    }
}

void ExerciseLayers(psdkit::PSDLayers* layers) {
    Use(layers->GetSectionLength());
    for (unsigned short l = 0; l < layers->GetLayerCount(); ++l) {
        Use(layers->GetLayerRecordLayerName(l));
        Use(layers->GetLayerRecordBlendModeKeyAsName(l));
        Use(layers->GetLayerRecordBlendModeSignatureAsName(l));
        Use(layers->GetLayerRecordClippingAsName(l));
        Use(layers->GetLayerRecordFlagsAsName(l));
        for (unsigned short c = 0; c < layers->GetLayerRecordNumChannels(l); ++c) {
            Use(static_cast<unsigned long>(layers->GetLayerRecordChannelInfoChannelID(c, l)));
            Use(layers->GetLayerRecordChannelInfoChannelLength(c, l));
            Use(layers->GetLayerRecordImageDataCompressionAsName(c, l));
        }
        for (unsigned long b = 0; b < layers->GetLayerRecordBlendingNumChannels(l); ++b) {
            Use(layers->GetLayerRecordBlendingChannelSrc(b, l));
            Use(layers->GetLayerRecordBlendingChannelDest(b, l));
        }
        for (unsigned short a = 0; a < layers->GetLayerRecordNumAdjustments(l); ++a) {
            Use(layers->GetLayerRecordAdjustmentLength(a, l));
            Use(layers->GetLayerRecordAdjustmentKeyAsName(a, l));
            Use(layers->GetLayerRecordAdjustmentSignatureAsName(a, l));
        }
    }
}

void ExerciseDocument(psdkit::PhotoshopFile* document) {
    Use(document->GetImageModeAsName());
    Use(document->GetImageCompressionAsName());
    Use(document->GetColorMode()->GetSectionLength());
    // The composite's length is the number of bytes the buffer holds.
    if (document->GetImageData() != nullptr) Touch(document->GetImageData(), document->GetImageDataLen());
    ExerciseResources(document->GetImageResources());
    ExerciseLayers(document->GetLayers());
}

}  // namespace psdfuzz
