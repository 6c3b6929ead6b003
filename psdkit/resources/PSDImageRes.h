#ifndef PSDKIT_RESOURCES_PSDIMAGERES_H
#define PSDKIT_RESOURCES_PSDIMAGERES_H

#include <vector>

#include "psdkit/core/PSDBaseSection.h"
#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// The image resources section: a length word and the blocks behind it, each
// decoded into an object of the class its ID calls for.
class PSDKIT_API PSDImageRes : public PSDBaseSection {
public:
    PSDImageRes();
    ~PSDImageRes() override;

    // Binds the section and every block it holds.
    void SetStreams(std::ifstream* input, std::ofstream* output);

    // Reads the length word and the blocks. Reading stops at a block that
    // does not fit in the section or the file; the input then stands at the
    // end of the section as its length word gives it. False only when the
    // file ends inside the section.
    bool ReadSection();
    // The same through a window on the file.
    bool ReadSection(PSDBoundedReader& file);
    // Writes the length word (the sum of the blocks' sizes) and the blocks.
    bool WriteSection();

    // Builds a new, unbound object of the class the ID calls for.
    PSDResourceBlock* CreateResouceBlockObject(unsigned short id);
    // Builds the object for a raw block and moves the raw block into it.
    PSDResourceBlock* PopulateResouceBlockObject(PSDResourceBlock* block);
    // Binds the block to the section's streams and appends it; the section owns it.
    void AddResourceBlock(PSDResourceBlock* block);

    unsigned long GetNumResourceBlocks() const { return NumResourceBlocks; }
    PSDResourceBlock* GetResourceBlock(unsigned long index) const { return ResourceBlocks[index]; }

private:
    PSDImageRes(const PSDImageRes&) = delete;
    PSDImageRes& operator=(const PSDImageRes&) = delete;

    std::vector<PSDResourceBlock*> ResourceBlocks;
    unsigned long NumResourceBlocks;
};

}  // namespace psdkit

#endif
