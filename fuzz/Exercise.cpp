#include "Exercise.h"

#include <cstring>
#include <fstream>

#include "FuzzSupport.h"

namespace psdfuzz {

void ExerciseResources(psdkit::PSDImageRes* resources) {
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        psdkit::PSDResourceBlock* block = resources->GetResourceBlock(i);
        Use(block->GetIDAsName());
        if (block->GetDataBlock() != nullptr) Touch(block->GetDataBlock(), block->GetDataBlockCapacity());
        block->PrintInfo();
    }
}

void ReadBlock(psdkit::PSDResourceBlock* block, const unsigned char* data, std::size_t size) {
    char* payload = block->AllocateDataBlock(size);
    if (size != 0) std::memcpy(payload, data, size);
    block->SetDataBlockSize(size);
    block->ReadDataBlock();
}

void CheckBlockWrite(psdkit::PSDResourceBlock* block, const char* what) {
    static MemFile output("psdkit-fuzz-block-out");
    std::ofstream out(output.Path(), std::ios_base::out | std::ios_base::binary | std::ios_base::trunc);
    if (!out) return;
    block->SetStreams(nullptr, &out);
    block->UpdateSizesForWrite();  // as the section does before it adds the sizes up
    unsigned long claimed = block->GetResourceBlockSize();
    block->WriteResourceBlock();
    out.close();
    block->SetStreams(nullptr, nullptr);
    if (out && output.Size() != claimed) Fail(what, claimed, output.Size());
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
            Use(static_cast<unsigned long>(layers->GetLayerRecordImageDataCompression(c, l)));
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
