// Fuzz target: an ICC profile block's payload. The input is the data block of
// a 1039 resource, held in a buffer of exactly its size. Decodes it, prints
// the report, reads every tag its table names, writes the block and checks
// that it wrote the size it claims.

#include <cstddef>
#include <cstdint>

#include "Exercise.h"
#include "FuzzSupport.h"
#include "PsdWalk.h"
#include "psdkit/psdkit.h"

using psdkit::PSDICCProfileRB;
using psdkit::PSDICCTag;

namespace {

// The getters that read the tag's data; the report prints the rest.
void ExerciseTag(PSDICCTag* tag) {
    using psdfuzz::Use;
    // The payload buffer holds the padded size.
    if (tag->GetTagData() != nullptr) psdfuzz::Touch(tag->GetTagData(), tag->GetPaddedTagSize());
    Use(tag->GetTagIDAsName());
    Use(tag->GetAttributeAsName());
    Use(tag->GetTextTypeAttribute());
    Use(tag->GetDescTypeAttribute());
    Use(tag->GetCurveTypeAttribute());
    Use(tag->GetSignatureTypeAttribute());
    Use(tag->GetMeasureTypeAttribute());
    Use(tag->GetViewConditionsTypeAttribute());
    Use(tag->GetXYZTypeAttribute());
    tag->PrintInfo();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    PSDICCProfileRB profile;
    psdfuzz::ReadBlock(&profile, data, size);

    profile.PrintInfo();
    psdfuzz::Use(profile.GetHdrCreationAsString());
    psdfuzz::Use(profile.GetHdrProfileVersionAsString());

    // FindTag walks the whole list: the first entries are enough to reach
    // every kind of tag without making each run quadratic in the tag count.
    if (size >= 132) {
        unsigned long count = psdwalk::U32(data + 128);
        for (unsigned long i = 0; i < count && i < 8 && 132 + 12 * (i + 1) <= size; ++i) {
            PSDICCTag* tag = profile.FindTag(psdwalk::U32(data + 132 + 12 * i));
            if (tag != nullptr) ExerciseTag(tag);
        }
    }
    psdfuzz::Use(static_cast<unsigned long>(profile.FindTag(0) != nullptr));

    // Written back, the block gives exactly the size it counts in a section.
    psdfuzz::CheckBlockWrite(&profile, "ICC block wrote another size than it claims");
    return 0;
}
