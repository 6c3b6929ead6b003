#include "psdkit/resources/PSDImageRes.h"

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"
#include "psdkit/icc/PSDICCProfileRB.h"
#include "psdkit/resources/PSDCopyrightFlagRB.h"
#include "psdkit/resources/PSDDocumentIDRB.h"
#include "psdkit/resources/PSDGenericResourceBlock.h"
#include "psdkit/resources/PSDGlobalAngleRB.h"
#include "psdkit/resources/PSDGridGuidesRB.h"
#include "psdkit/resources/PSDLayerStateInfoRB.h"
#include "psdkit/resources/PSDLayersGroupInfoRB.h"
#include "psdkit/resources/PSDPrintFlagsInfoRB.h"
#include "psdkit/resources/PSDPrintFlagsRB.h"
#include "psdkit/resources/PSDResolutionInfoRB.h"
#include "psdkit/thumbnail/PSDThumbnailRB.h"

namespace psdkit {

namespace {

// What a block object costs beyond its payload, allocation overhead included.
const unsigned long BLOCK_COST = 512;

}  // namespace

PSDImageRes::PSDImageRes() : NumResourceBlocks(0) {}

PSDImageRes::~PSDImageRes() {
    for (PSDResourceBlock* block : ResourceBlocks) delete block;
}

void PSDImageRes::SetStreams(std::ifstream* input, std::ofstream* output) {
    PSDBaseSection::SetStreams(input, output);
    // No block may keep a stream that is gone.
    for (PSDResourceBlock* block : ResourceBlocks) block->SetStreams(input, output);
}

bool PSDImageRes::ReadSection() {
    PSDBoundedReader file(InputStream);
    bool result = ReadSection(file);
    file.SyncStream();
    return result;
}

bool PSDImageRes::ReadSection(PSDBoundedReader& file) {
    if (!file.ReadLong(&SectionLength)) {
        SectionLength = 0;
        file.Problem("image resources: the file ends inside the section length");
        file.Skip(file.Remaining());
        return false;
    }
    if (SectionLength == 0) return true;

    // Continue at the end of the section as the length word gives it.
    PSDBoundedReader section = file.Take(SectionLength);
    if (section.Clipped())
        section.Problem("image resources: the section's %lu bytes run past the end of the file", SectionLength);

    PSDGenericResourceBlock scratch;
    scratch.SetStreams(InputStream, OutputStream);
    unsigned long index = 0;
    while (section.Remaining() != 0) {
        unsigned long at = section.FileOffset();
        // A block that runs past the section or the file ends the loop.
        if (!scratch.ReadResourceBlock(section)) {
            section.Problem("resource block %lu at %lu: does not fit in the image resources section", index, at);
            break;
        }
        // A block object and its payload, against the read's memory budget.
        if (!PSDBoundedReader::Charge(BLOCK_COST + scratch.GetDataBlockSize())) {
            section.Problem("resource block %lu at %lu: the read's memory budget is spent, reading stops", index, at);
            break;
        }
        // The payload moves into the decoded object: it is held once.
        PSDResourceBlock* block = CreateResouceBlockObject(scratch.GetResourceID());
        PSDResourceBlock::Transfer(&scratch, block, true);
        AddResourceBlock(block);
        ++index;
    }
    return !section.Clipped();
}

bool PSDImageRes::WriteSection() {
    // Every block's sizes are brought up to date first, so the length word
    // counts exactly the bytes the blocks then write.
    SectionLength = 0;
    for (unsigned long i = 0; i < NumResourceBlocks; ++i) {
        ResourceBlocks[i]->UpdateSizesForWrite();
        SectionLength += ResourceBlocks[i]->GetResourceBlockSize();
        // A section the 32-bit length word cannot state is not written.
        if (SectionLength > MAX_SECTION_LENGTH) return false;
    }
    char buffer[4];
    PSDUtil::LongToBuffer(SectionLength, buffer);
    OutputStream->write(buffer, 4);
    if (OutputStream->rdstate() == std::ios_base::goodbit) {
        for (unsigned long i = 0; i < NumResourceBlocks; ++i) {
            ResourceBlocks[i]->WriteResourceBlock();
            if (OutputStream->rdstate() != std::ios_base::goodbit) break;
        }
    }
    return OutputStream->rdstate() == std::ios_base::goodbit;
}

PSDResourceBlock* PSDImageRes::CreateResouceBlockObject(unsigned short id) {
    switch (id) {
        case PSDResourceBlock::RS_1005: return new PSDResolutionInfoRB();
        case PSDResourceBlock::RS_1011: return new PSDPrintFlagsRB();
        case PSDResourceBlock::RS_1024: return new PSDLayerStateInfoRB();
        case PSDResourceBlock::RS_1026: return new PSDLayersGroupInfoRB();
        case PSDResourceBlock::RS_1032: return new PSDGridGuidesRB();
        case PSDResourceBlock::RS_1034: return new PSDCopyrightFlagRB();
        case PSDResourceBlock::RS_1036: return new PSDThumbnailRB();
        case PSDResourceBlock::RS_1037: return new PSDGlobalAngleRB();
        case PSDResourceBlock::RS_1039: return new PSDICCProfileRB();
        case PSDResourceBlock::RS_1044: return new PSDDocumentIDRB();
        case PSDResourceBlock::RS_10000: return new PSDPrintFlagsInfoRB();
        default: return new PSDGenericResourceBlock();
    }
}

PSDResourceBlock* PSDImageRes::PopulateResouceBlockObject(PSDResourceBlock* block) {
    PSDResourceBlock* object = CreateResouceBlockObject(block->GetResourceID());
    if (object != nullptr) PSDResourceBlock::Copy(block, object);
    return object;
}

void PSDImageRes::AddResourceBlock(PSDResourceBlock* block) {
    block->SetStreams(InputStream, OutputStream);
    if (block->GetResourceBlockSize() == 0) block->UpdateSizesForWrite();
    ResourceBlocks.push_back(block);
    ++NumResourceBlocks;
}

}  // namespace psdkit
