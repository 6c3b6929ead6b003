// Fuzz target: an ICC profile block's payload. The input is the data block of
// a 1039 resource, held in a buffer of exactly its size. Decodes it, prints
// the report, calls every getter of the profile and of every tag it can find,
// writes the block and checks that it wrote the size it claims.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>

#include "FuzzSupport.h"
#include "psdkit/psdkit.h"

using psdkit::PSDICCProfileRB;
using psdkit::PSDICCTag;

namespace {

void ExerciseTag(PSDICCTag* tag) {
    using psdfuzz::Use;
    Use(tag->GetTagID());
    Use(tag->GetTagOffset());
    Use(tag->GetTagSize());
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
    Use(tag->GetCopyright());
    Use(tag->GetProfileDescription());
    Use(tag->GetDeviceMfgDescription());
    Use(tag->GetDeviceModelDescription());
    Use(tag->GetViewingConditionsDescription());
    Use(tag->GetMediaWhitePoint());
    Use(tag->GetMediaBlackPoint());
    Use(tag->GetRedColorant());
    Use(tag->GetGreenColorant());
    Use(tag->GetBlueColorant());
    Use(tag->GetIlluminance());
    Use(tag->GetViewingConditions());
    Use(tag->GetMeasurement());
    Use(tag->GetTechnology());
    Use(tag->GetRedToneReproCurve());
    Use(tag->GetGreenToneReproCurve());
    Use(tag->GetBlueToneReproCurve());
    tag->PrintInfo();
}

void ExerciseHeader(PSDICCProfileRB* profile) {
    using psdfuzz::Use;
    Use(profile->GetHdrProfileSize());
    Use(profile->GetHdrCMMType());
    Use(profile->GetHdrProfileClass());
    Use(profile->GetHdrColorSpace());
    Use(profile->GetHdrConnectionSpace());
    Use(static_cast<unsigned long>(profile->GetHdrCreationYear() + profile->GetHdrCreationMonth() +
                                   profile->GetHdrCreationDay() + profile->GetHdrCreationHours() +
                                   profile->GetHdrCreationMinutes() + profile->GetHdrCreationSeconds()));
    Use(profile->GetHdrPlatform());
    Use(static_cast<unsigned long>(profile->GetHdrProfileFlags()));
    Use(static_cast<unsigned long>(profile->GetHdrProfileFlagEmbedded()));
    Use(static_cast<unsigned long>(profile->GetHdrProfileFlagReqColorData()));
    Use(profile->GetHdrManufacturer());
    Use(profile->GetHdrModel());
    Use(profile->GetHdrAttributes());
    Use(static_cast<unsigned long>(profile->GetHdrAttributeTransparent()));
    Use(static_cast<unsigned long>(profile->GetHdrAttributeMatte()));
    Use(static_cast<unsigned long>(profile->GetHdrRenderingIntent()));
    Use(profile->GetIlluminantX());
    Use(profile->GetIlluminantY());
    Use(profile->GetIlluminantZ());
    Use(profile->GetHdrCreator());
    Use(profile->GetNumTags());
    Use(profile->GetHdrCMMTypeAsName());
    Use(profile->GetHdrManufacturerAsName());
    Use(profile->GetHdrModelAsName());
    Use(profile->GetHdrCreatorAsName());
    Use(profile->GetHdrCreationAsString());
    Use(profile->GetHdrProfileVersionAsString());
    Use(profile->GetHdrProfileClassAsName());
    Use(profile->GetHdrColorSpaceAsName());
    Use(profile->GetHdrConnectionSpaceAsName());
    Use(profile->GetHdrPlatformAsName());
    Use(profile->GetHdrRenderingIntentAsName());
}

unsigned long ReadLong(const std::uint8_t* p) {
    return static_cast<unsigned long>(p[0]) << 24 | static_cast<unsigned long>(p[1]) << 16 |
           static_cast<unsigned long>(p[2]) << 8 | p[3];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    psdfuzz::Init();
    static psdfuzz::MemFile output("psdkit-fuzz-icc-out");
    if (!output.Clear()) return 0;

    PSDICCProfileRB profile;
    char* block = profile.AllocateDataBlock(size);
    if (size != 0) std::memcpy(block, data, size);
    profile.SetDataBlockSize(size);
    profile.ReadDataBlock();

    ExerciseHeader(&profile);
    profile.PrintInfo();

    // Every tag the profile knows by name, and every ID its table names.
    const unsigned long known[] = {PSDICCTag::TAGID_CPRT,
                                   PSDICCTag::TAGID_PROFILE_DESCRIPTION,
                                   PSDICCTag::TAGID_MEDIA_WHITE_POINT,
                                   PSDICCTag::TAGID_MEDIA_BLACK_POINT,
                                   PSDICCTag::TAGID_RED_COLORANT,
                                   PSDICCTag::TAGID_GREEN_COLORANT,
                                   PSDICCTag::TAGID_BLUE_COLORANT,
                                   PSDICCTag::TAGID_DEVICE_MFG_DESC,
                                   PSDICCTag::TAGID_DEVICE_MODEL_DESC,
                                   PSDICCTag::TAGID_VIEWING_CONDITIONS_DESC,
                                   PSDICCTag::TAGID_VIEWING_CONDITIONS,
                                   PSDICCTag::TAGID_LUMINANCE,
                                   PSDICCTag::TAGID_MEASUREMENT,
                                   PSDICCTag::TAGID_TECHNOLOGY,
                                   PSDICCTag::TAGID_RED_TONE_CURVE,
                                   PSDICCTag::TAGID_GREEN_TONE_CURVE,
                                   PSDICCTag::TAGID_BLUE_TONE_CURVE};
    for (unsigned long id : known) {
        PSDICCTag* tag = profile.FindTag(id);
        if (tag != nullptr) ExerciseTag(tag);
    }
    // FindTag walks the whole list: the first entries are enough to reach
    // every kind of tag without making each run quadratic in the tag count.
    if (size >= 132) {
        unsigned long count = ReadLong(data + 128);
        for (unsigned long i = 0; i < count && i < 8 && 132 + 12 * (i + 1) <= size; ++i) {
            PSDICCTag* tag = profile.FindTag(ReadLong(data + 132 + 12 * i));
            if (tag != nullptr) ExerciseTag(tag);
        }
    }
    psdfuzz::Use(static_cast<unsigned long>(profile.FindTag(0) != nullptr));

    // Written back, the block gives exactly the size it counts in a section.
    std::ofstream out(output.Path(), std::ios_base::out | std::ios_base::binary | std::ios_base::trunc);
    if (!out) return 0;
    profile.SetStreams(nullptr, &out);
    profile.UpdateSizesForWrite();  // as the section does before it adds the sizes up
    unsigned long claimed = profile.GetResourceBlockSize();
    profile.WriteResourceBlock();
    out.close();
    if (out && output.Size() != claimed)
        psdfuzz::Fail("ICC block wrote another size than it claims", claimed, output.Size());
    return 0;
}
