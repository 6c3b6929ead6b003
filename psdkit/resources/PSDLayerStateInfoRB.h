#ifndef PSDKIT_RESOURCES_PSDLAYERSTATEINFORB_H
#define PSDKIT_RESOURCES_PSDLAYERSTATEINFORB_H

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// Block 1024: the index of the target (active) layer, 2 payload bytes.
class PSDKIT_API PSDLayerStateInfoRB : public PSDResourceBlock {
public:
    static constexpr unsigned long PAYLOAD_SIZE = 2;

    // The target layer is 0 until a read or SetTargetLayer gives another.
    PSDLayerStateInfoRB();
    ~PSDLayerStateInfoRB() override;

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    void SetTargetLayer(unsigned short layer) { TargetLayer = layer; }
    unsigned short GetTargetLayer() const { return TargetLayer; }

private:
    unsigned short TargetLayer;
};

}  // namespace psdkit

#endif
