// Fuzz target: the image resources section alone, from its length word.
// Reads it, reports every block (ICC profiles and thumbnails decoded by their
// own classes), writes the section back and checks that the length word it
// wrote, the sum of the sizes the blocks claim, tells the truth about the
// bytes behind it.

#include <cstddef>
#include <cstdint>
#include <fstream>

#include "FuzzSupport.h"
#include "psdkit/psdkit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    static psdfuzz::MemFile input("psdkit-fuzz-resources-in");
    static psdfuzz::MemFile output("psdkit-fuzz-resources-out");
    if (!input.Put(data, size)) return 0;
    std::ifstream in(input.Path(), std::ios_base::in | std::ios_base::binary);
    std::ofstream out(output.Path(), std::ios_base::out | std::ios_base::binary | std::ios_base::trunc);
    if (!in || !out) return 0;

    psdkit::PSDImageRes section;
    section.SetStreams(&in, &out);
    psdfuzz::Use(static_cast<unsigned long>(section.ReadSection()));
    psdfuzz::ExerciseResources(&section);
    if (section.WriteSection()) {
        const unsigned long expected = 4 + section.GetSectionLength(),
                            written = static_cast<unsigned long>(out.tellp());
        if (written != expected) psdfuzz::Fail("section length word and bytes written differ", expected, written);
    }
    section.SetStreams(nullptr, nullptr);
    return 0;
}
