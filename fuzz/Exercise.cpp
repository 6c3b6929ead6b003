#include "Exercise.h"

#include "FuzzSupport.h"

namespace psdfuzz {

void ExerciseResources(psdkit::PSDImageRes* resources) {
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        psdkit::PSDResourceBlock* block = resources->GetResourceBlock(i);
        Use(block->GetIDAsName());
        Use(block->GetDataBlockSize());
        Use(block->GetResourceBlockSize());
        if (block->GetDataBlock() != nullptr) Touch(block->GetDataBlock(), block->GetDataBlockCapacity());
        block->PrintInfo();
    }
}

void ExerciseLayers(psdkit::PSDLayers* layers) {
    Use(layers->GetSectionLength());
#ifdef PSDKIT_FUZZ_HAVE_LAYER_MODEL
    Use(layers->GetLayerInfoSize());
    Use(layers->GetGlobalLayerMaskLength());
    for (unsigned short l = 0; l < layers->GetLayerCount(); ++l) {
        Use(layers->GetLayerRecordLayerTop(l));
        Use(layers->GetLayerRecordLayerLeft(l));
        Use(layers->GetLayerRecordLayerBottom(l));
        Use(layers->GetLayerRecordLayerRight(l));
        Use(static_cast<unsigned long>(layers->GetLayerRecordOpacity(l)));
        Use(layers->GetLayerRecordExtraDataSize(l));
        Use(layers->GetLayerRecordMaskSize(l));
        Use(layers->GetLayerRecordMaskTop(l));
        Use(layers->GetLayerRecordBlendingLength(l));
        Use(layers->GetLayerRecordBlendingGrayBlendSrc(l));
        Use(layers->GetLayerRecordBlendingGrayBlendDest(l));
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
#endif
}

void ExerciseDocument(psdkit::PhotoshopFile* document) {
    Use(static_cast<unsigned long>(document->GetImageWidth()));
    Use(static_cast<unsigned long>(document->GetImageHeight()));
    Use(static_cast<unsigned long>(document->GetImageChannels()));
    Use(static_cast<unsigned long>(document->GetImageDepth()));
    Use(document->GetImageModeAsName());
    Use(document->GetImageCompressionAsName());
    Use(document->GetColorMode()->GetSectionLength());
    // The composite's length is the number of bytes the buffer holds.
    if (document->GetImageData() != nullptr) Touch(document->GetImageData(), document->GetImageDataLen());
    ExerciseResources(document->GetImageResources());
    ExerciseLayers(document->GetLayers());
}

}  // namespace psdfuzz
