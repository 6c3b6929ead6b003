#include "psdkit/resources/PSDGenericResourceBlock.h"

#include <iostream>

namespace psdkit {

PSDGenericResourceBlock::PSDGenericResourceBlock() = default;
PSDGenericResourceBlock::~PSDGenericResourceBlock() = default;

void PSDGenericResourceBlock::PrintInfo() {
    std::cout << GetIDAsName() << " Size:" << GetDataBlockSize() << "\n";
}

void PSDGenericResourceBlock::ReadDataBlock() {}

void PSDGenericResourceBlock::WriteResourceBlock() { WriteRawResourceBlock(); }

}  // namespace psdkit
