// Fuzz target: one PackBits row. The first two bytes give the row's size
// (high byte first), the rest is the code. The row is held in a buffer of
// exactly its size; a row that decodes must encode and decode back the same.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "FuzzSupport.h"
#include "psdkit/pixels/PSDPackBits.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    if (size < 2) return 0;
    unsigned long rowBytes = static_cast<unsigned long>(data[0]) << 8 | data[1];
    std::vector<char> in(data + 2, data + size);  // exactly the code, so a read past it shows
    std::unique_ptr<char[]> row(new char[rowBytes == 0 ? 1 : rowBytes]);
    bool ok = psdkit::PSDPackBits::DecodeRow(in.data(), in.size(), row.get(), rowBytes);
    if (!ok) return 0;
    psdfuzz::Touch(row.get(), rowBytes);
    unsigned long bound = psdkit::PSDPackBits::MaxEncodedLength(rowBytes);
    std::unique_ptr<char[]> code(new char[bound == 0 ? 1 : bound]);
    unsigned long written = psdkit::PSDPackBits::EncodeRow(row.get(), rowBytes, code.get());
    if (written > bound) psdfuzz::Fail("encoded row within its bound", bound, written);
    std::unique_ptr<char[]> back(new char[rowBytes == 0 ? 1 : rowBytes]);
    if (!psdkit::PSDPackBits::DecodeRow(code.get(), written, back.get(), rowBytes))
        psdfuzz::Fail("own code decodes", 1, 0);
    for (unsigned long i = 0; i < rowBytes; ++i)
        if (back[i] != row[i]) psdfuzz::Fail("round trip keeps byte", i, i + 1);
    return 0;
}
