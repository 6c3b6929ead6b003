// Fuzz target: a thumbnail block's payload. The input is the data block of a
// 1036 resource, held in a buffer of exactly its size. Decodes it, calls every
// getter and the report, reads the image stream the way a host that extracts
// the thumbnail does, writes the block and checks the size it wrote.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>

#include "FuzzSupport.h"
#include "psdkit/psdkit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    static psdfuzz::MemFile output("psdkit-fuzz-thumbnail-out");
    if (!output.Clear()) return 0;

    psdkit::PSDThumbnailRB thumbnail;
    char* block = thumbnail.AllocateDataBlock(size);
    if (size != 0) std::memcpy(block, data, size);
    thumbnail.SetDataBlockSize(size);
    thumbnail.ReadDataBlock();

    using psdfuzz::Use;
    Use(thumbnail.GetFormat());
    Use(thumbnail.GetWidth());
    Use(thumbnail.GetHeight());
    Use(thumbnail.GetWidthBytes());
    Use(thumbnail.GetSize());
    Use(thumbnail.GetCompressedSize());
    Use(static_cast<unsigned long>(thumbnail.GetBitsPixel()));
    Use(static_cast<unsigned long>(thumbnail.GetPlanes()));
    Use(thumbnail.GetFormatAsName());
    Use(thumbnail.GetIDAsName());
    // The stream a host extracts: CompressedSize bytes at GetData().
    if (thumbnail.GetData() != nullptr) psdfuzz::Touch(thumbnail.GetData(), thumbnail.GetCompressedSize());
    thumbnail.PrintInfo();

    std::ofstream out(output.Path(), std::ios_base::out | std::ios_base::binary | std::ios_base::trunc);
    if (!out) return 0;
    thumbnail.SetStreams(nullptr, &out);
    thumbnail.UpdateSizesForWrite();  // as the section does before it adds the sizes up
    unsigned long claimed = thumbnail.GetResourceBlockSize();
    thumbnail.WriteResourceBlock();
    out.close();
    if (out && output.Size() != claimed)
        psdfuzz::Fail("thumbnail block wrote another size than it claims", claimed, output.Size());
    return 0;
}
