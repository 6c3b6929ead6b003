// The image resources part of psdkit info.

#include <iostream>

#include "Cli.h"

namespace psdkit {
namespace cli {

void PrintResourcesReport(PSDImageRes* resources, bool raw) {
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        PSDResourceBlock* block = resources->GetResourceBlock(i);
        std::cout << "  [" << i << "] " << block->GetIDAsName() << " (ID " << block->GetResourceID()
                  << "), data size " << block->GetDataBlockSize() << "\n";
        if (raw && block->GetDataBlock() != nullptr) HexDump(block->GetDataBlock(), block->GetDataBlockSize(), "      ");
    }
}

}  // namespace cli
}  // namespace psdkit
