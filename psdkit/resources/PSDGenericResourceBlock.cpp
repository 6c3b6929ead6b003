#include "psdkit/resources/PSDGenericResourceBlock.h"

#include <iostream>

namespace psdkit {

PSDGenericResourceBlock::PSDGenericResourceBlock() = default;
PSDGenericResourceBlock::~PSDGenericResourceBlock() = default;

void PSDGenericResourceBlock::PrintInfo() { std::cout << GetIDAsName() << " Size:" << GetDataBlockSize() << "\n"; }

void PSDGenericResourceBlock::ReadDataBlock() {}

void PSDGenericResourceBlock::WriteResourceBlock() { WriteUnderPolicy(WRITE_RAW_ONLY, nullptr, 0); }

}  // namespace psdkit
