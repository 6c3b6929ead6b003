#ifndef PSDKIT_RESOURCES_PSDLAYERSGROUPINFORB_H
#define PSDKIT_RESOURCES_PSDLAYERSGROUPINFORB_H

#include <vector>

#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// Block 1026: one 16-bit group ID per layer. The sizes follow the list: after
// a read they are those of the IDs decoded, not those of the block on file.
class PSDKIT_API PSDLayersGroupInfoRB : public PSDResourceBlock {
public:
    PSDLayersGroupInfoRB();
    ~PSDLayersGroupInfoRB() override;

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    // Appends a layer ID and keeps the sizes in step.
    void AddLayer(unsigned short id);
    unsigned short GetNumLayers() const { return static_cast<unsigned short>(NumLayers); }
    // The ID at `index`; 0 for an index past the list.
    unsigned short GetLayerID(unsigned short index) const;
    // Stores the number of layers and sets the data block size to 0; the list
    // stays. Only 0 gives sizes that match what the block writes.
    void SetNumLayers(unsigned short count);

private:
    // Layers that the list really holds, at most the number of layers.
    unsigned long LayersHeld() const;

    std::vector<unsigned short> LayerIDs;
    unsigned long NumLayers;
};

}  // namespace psdkit

#endif
