#include "psdkit/resources/PSDLayersGroupInfoRB.h"

#include <iostream>
#include <vector>

#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDLayersGroupInfoRB::PSDLayersGroupInfoRB() : NumLayers(0) {}
PSDLayersGroupInfoRB::~PSDLayersGroupInfoRB() = default;

void PSDLayersGroupInfoRB::AddLayer(unsigned short id) {
    LayerIDs.push_back(id);
    ++NumLayers;
    SetDataBlockSize(NumLayers * 2);
}

unsigned short PSDLayersGroupInfoRB::GetLayerID(unsigned short index) const {
    return index < LayersHeld() ? LayerIDs[index] : 0;
}

void PSDLayersGroupInfoRB::SetNumLayers(unsigned short count) {
    NumLayers = count;
    SetDataBlockSize(0);
}

unsigned long PSDLayersGroupInfoRB::LayersHeld() const {
    return NumLayers < LayerIDs.size() ? NumLayers : LayerIDs.size();
}

void PSDLayersGroupInfoRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "Num Layers:" << GetNumLayers() << "\n";
    unsigned long count = LayersHeld();
    for (unsigned long i = 0; i < count; ++i) std::cout << "Layer " << i << ":" << LayerIDs[i] << "\n";
}

void PSDLayersGroupInfoRB::ReadDataBlock() {
    // An odd last byte belongs to no ID and is dropped.
    const char* data = GetDataBlock();
    unsigned long count = ReadablePayloadSize() / 2;
    for (unsigned long i = 0; i < count; ++i) {
        unsigned short id = 0;
        PSDUtil::BufferToShort(data + 2 * i, &id);
        AddLayer(id);
    }
}

void PSDLayersGroupInfoRB::UpdateSizesForWrite() { ApplyWritePolicy(WRITE_READ_IF_EXACT, LayersHeld() * 2); }

void PSDLayersGroupInfoRB::WriteResourceBlock() {
    unsigned long count = LayersHeld();
    std::vector<char> payload(count * 2);
    for (unsigned long i = 0; i < count; ++i) PSDUtil::ShortToBuffer(LayerIDs[i], payload.data() + 2 * i);
    WriteUnderPolicy(WRITE_READ_IF_EXACT, payload.data(), payload.size());
}

}  // namespace psdkit
