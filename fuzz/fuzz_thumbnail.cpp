// Fuzz target: a 1036 block's payload, held in a buffer of exactly its size.
// Decodes it, reports it, reads the image stream as a host that extracts the
// thumbnail does, writes the block and checks the size it wrote.

#include <cstddef>
#include <cstdint>

#include "Exercise.h"
#include "FuzzSupport.h"
#include "psdkit/psdkit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    psdkit::PSDThumbnailRB thumbnail;
    psdfuzz::ReadBlock(&thumbnail, data, size);

    psdfuzz::Use(thumbnail.GetFormatAsName());
    psdfuzz::Use(thumbnail.GetIDAsName());
    // The stream a host extracts: CompressedSize bytes at GetData().
    if (thumbnail.GetData() != nullptr) psdfuzz::Touch(thumbnail.GetData(), thumbnail.GetCompressedSize());
    thumbnail.PrintInfo();

    psdfuzz::CheckBlockWrite(&thumbnail, "thumbnail block wrote another size than it claims");
    return 0;
}
