#ifndef PSDKIT_ICC_PSDICCPROFILERB_H
#define PSDKIT_ICC_PSDICCPROFILERB_H

#include <vector>

#include "psdkit/core/PSDExport.h"
#include "psdkit/icc/PSDICCTag.h"
#include "psdkit/resources/PSDResourceBlock.h"

namespace psdkit {

// The ICC profile resource (ID 1039): a profile header held as fields and
// its tags as a list of PSDICCTag objects, which the block owns.
//
// CMM type, manufacturer, model and creator are written first character
// first, but a read takes them lowest byte first: after ReadDataBlock they
// hold their characters in file order from the low byte up.
class PSDKIT_API PSDICCProfileRB : public PSDResourceBlock {
public:
    static constexpr unsigned long PROFILE_HEADER_SIZE = 128;
    // The header and the tag count.
    static constexpr unsigned long PROFILE_SIZE = 132;
    static constexpr unsigned long PROFILE_FILE_SIGNATURE = 0x61637370;  // acsp
    static constexpr unsigned long CMM_TYPE_KCMS = 0x4B434D53;           // KCMS
    static constexpr unsigned long CMM_TYPE_LINO = 0x4C696E6F;           // Lino
    static constexpr unsigned short CURRENT_MAJOR_VERSION = 2;
    static constexpr unsigned short CURRENT_MINOR_VERSION = 0x10;
    static constexpr unsigned short PROFILE_FLAG_EMBEDDED = 1;
    static constexpr unsigned short PROFILE_FLAG_REQ_COLOR_DATA = 2;
    static constexpr unsigned long ATTRIBUTE_TRANSPARENT = 1;
    static constexpr unsigned long ATTRIBUTE_MATTE = 2;
    static constexpr unsigned long DEVICE_MANUFACTURER_HP = 0x49454320;   // "IEC "
    static constexpr unsigned long DEVICE_MODEL_SRGB = 0x73524742;        // sRGB
    static constexpr unsigned long DEFAULT_PROFILE_CREATOR = 0x48502020;  // "HP  "
    // Single-precision 0.9642 and 0.8249 widened to double.
    static constexpr double STANDARD_ILLUMINANT_X = static_cast<double>(0.9642f);
    static constexpr double STANDARD_ILLUMINANT_Y = 1.0;
    static constexpr double STANDARD_ILLUMINANT_Z = static_cast<double>(0.8249f);

    // Profile classes.
    static constexpr unsigned long PROFILE_INPUT_DEVICE = 0x73636E72;     // scnr
    static constexpr unsigned long PROFILE_DISPLAY_DEVICE = 0x6D6E7472;   // mntr
    static constexpr unsigned long PROFILE_OUTPUT_DEVICE = 0x70727472;    // prtr
    static constexpr unsigned long PROFILE_DEVICE_LINK = 0x6C696E6B;      // link
    static constexpr unsigned long PROFILE_COLORSPACE_CONV = 0x73706163;  // spac
    static constexpr unsigned long PROFILE_ABSTRACT = 0x61627374;         // abst
    static constexpr unsigned long PROFILE_NAMED_COLOR = 0x6E6D636C;      // nmcl

    // Colour spaces.
    static constexpr unsigned long COLORSPACE_XYZ = 0x58595A20;
    static constexpr unsigned long COLORSPACE_LAB = 0x4C616220;
    static constexpr unsigned long COLORSPACE_LUV = 0x4C757620;
    static constexpr unsigned long COLORSPACE_YCBR = 0x59436272;
    static constexpr unsigned long COLORSPACE_XXY = 0x59787920;
    static constexpr unsigned long COLORSPACE_RGB = 0x52474220;
    static constexpr unsigned long COLORSPACE_GRAY = 0x47524159;
    static constexpr unsigned long COLORSPACE_HSV = 0x48535620;
    static constexpr unsigned long COLORSPACE_HLS = 0x484C5320;
    static constexpr unsigned long COLORSPACE_CMYK = 0x434D594B;
    static constexpr unsigned long COLORSPACE_CMY = 0x434D5920;
    static constexpr unsigned long COLORSPACE_2CLR = 0x32434C52;
    static constexpr unsigned long COLORSPACE_3CLR = 0x33434C52;
    static constexpr unsigned long COLORSPACE_4CLR = 0x34434C52;
    static constexpr unsigned long COLORSPACE_5CLR = 0x35434C52;
    static constexpr unsigned long COLORSPACE_6CLR = 0x36434C52;
    static constexpr unsigned long COLORSPACE_7CLR = 0x37434C52;
    static constexpr unsigned long COLORSPACE_8CLR = 0x38434C52;
    static constexpr unsigned long COLORSPACE_9CLR = 0x39434C52;
    static constexpr unsigned long COLORSPACE_ACLR = 0x41434C52;
    static constexpr unsigned long COLORSPACE_BCLR = 0x42434C52;
    static constexpr unsigned long COLORSPACE_CCLR = 0x43434C52;
    static constexpr unsigned long COLORSPACE_DCLR = 0x44434C52;
    static constexpr unsigned long COLORSPACE_ECLR = 0x45434C52;
    static constexpr unsigned long COLORSPACE_FCLR = 0x46434C52;

    // Connection spaces.
    static constexpr unsigned long CONNECTION_SPACE_XYZ = 0x58595A20;
    static constexpr unsigned long CONNECTION_SPACE_LAB = 0x4C616220;

    // Platforms.
    static constexpr unsigned long PLATFORM_APPLE = 0x4150504C;      // APPL
    static constexpr unsigned long PLATFORM_MICROSOFT = 0x4D534654;  // MSFT
    static constexpr unsigned long PLATFORM_SGI = 0x53474920;        // "SGI "
    static constexpr unsigned long PLATFORM_SUN = 0x53554E57;        // SUNW
    static constexpr unsigned long PLATFORM_TALIGENT = 0x54474E54;   // TGNT

    // Rendering intents.
    static constexpr unsigned long RENDERING_INTENT_PERCEPTUAL = 0;
    static constexpr unsigned long RENDERING_INTENT_REL_COLORIMETRIC = 1;
    static constexpr unsigned long RENDERING_INTENT_SATURATION = 2;
    static constexpr unsigned long RENDERING_INTENT_ABS_COLORIMETRIC = 3;

    // Presets.
    static constexpr unsigned long PROFILE_NAME_CUSTOM = 0;
    static constexpr unsigned long PROFILE_NAME_SRGB = 1;
    static constexpr unsigned long PROFILE_NAME_QUILLARY = 2;

    PSDICCProfileRB();
    // A new block filled by SetProfile(profileName).
    explicit PSDICCProfileRB(unsigned long profileName);
    ~PSDICCProfileRB() override;

    // ID 1039, profile size 132, no tags, every other field 0.
    void InitObject();

    void SetHdrProfileSize(unsigned long size) { ProfileSize = size; }
    unsigned long GetHdrProfileSize() const { return ProfileSize; }
    void SetHdrCMMType(unsigned long type) { CMMType = type; }
    unsigned long GetHdrCMMType() const { return CMMType; }
    void SetHdrProfileVersion(unsigned short major, unsigned short minor) {
        MajorVersion = major;
        MinorVersion = minor;
    }
    void SetHdrProfileClass(unsigned long profileClass) { ProfileClass = profileClass; }
    unsigned long GetHdrProfileClass() const { return ProfileClass; }
    void SetHdrColorSpace(unsigned long colorSpace) { ColorSpace = colorSpace; }
    unsigned long GetHdrColorSpace() const { return ColorSpace; }
    void SetHdrConnectionSpace(unsigned long connectionSpace) { ConnectionSpace = connectionSpace; }
    unsigned long GetHdrConnectionSpace() const { return ConnectionSpace; }
    // A date with year, month or day 0 is written as the time of the write.
    void SetHdrCreationDate(unsigned short year, unsigned short month, unsigned short day, unsigned short hours,
                            unsigned short minutes, unsigned short seconds);
    unsigned short GetHdrCreationYear() const { return CreationYear; }
    unsigned short GetHdrCreationMonth() const { return CreationMonth; }
    unsigned short GetHdrCreationDay() const { return CreationDay; }
    unsigned short GetHdrCreationHours() const { return CreationHours; }
    unsigned short GetHdrCreationMinutes() const { return CreationMinutes; }
    unsigned short GetHdrCreationSeconds() const { return CreationSeconds; }
    void SetHdrPlatform(unsigned long platform) { Platform = platform; }
    unsigned long GetHdrPlatform() const { return Platform; }
    void SetHdrProfileFlags(unsigned short flags) { ProfileFlags = flags; }
    // Replaces the whole field: bit 0 embedded, bit 1 requires colour data.
    void SetHdrProfileFlags(bool embedded, bool requiresColorData);
    unsigned short GetHdrProfileFlags() const { return ProfileFlags; }
    bool GetHdrProfileFlagEmbedded() const { return (ProfileFlags & PROFILE_FLAG_EMBEDDED) != 0; }
    bool GetHdrProfileFlagReqColorData() const { return (ProfileFlags & PROFILE_FLAG_REQ_COLOR_DATA) != 0; }
    void SetHdrManufacturer(unsigned long manufacturer) { Manufacturer = manufacturer; }
    unsigned long GetHdrManufacturer() const { return Manufacturer; }
    void SetHdrModel(unsigned long model) { Model = model; }
    unsigned long GetHdrModel() const { return Model; }
    void SetHdrAttributes(unsigned long attributes) { Attributes = attributes; }
    // Replaces the whole field: bit 0 transparent, bit 1 matte.
    void SetHdrAttributes(bool transparent, bool matte);
    unsigned long GetHdrAttributes() const { return Attributes; }
    bool GetHdrAttributeTransparent() const { return (Attributes & ATTRIBUTE_TRANSPARENT) != 0; }
    bool GetHdrAttributeMatte() const { return (Attributes & ATTRIBUTE_MATTE) != 0; }
    void SetHdrRenderingIntent(unsigned short intent) { RenderingIntent = intent; }
    unsigned short GetHdrRenderingIntent() const { return RenderingIntent; }
    void SetIlluminant(double x, double y, double z);
    double GetIlluminantX() const { return IlluminantX; }
    double GetIlluminantY() const { return IlluminantY; }
    double GetIlluminantZ() const { return IlluminantZ; }
    void SetHdrCreator(unsigned long creator) { Creator = creator; }
    unsigned long GetHdrCreator() const { return Creator; }
    // Never more than the list holds: every walk over the tags runs by it.
    void SetNumTags(unsigned long count);
    unsigned long GetNumTags() const { return NumTags; }

    // Display texts of the header fields.
    char* GetHdrProfileClassAsName() const;
    char* GetHdrColorSpaceAsName() const;
    char* GetHdrConnectionSpaceAsName() const;
    char* GetHdrPlatformAsName() const;
    char* GetHdrRenderingIntentAsName() const;
    // The four low bytes of the field, lowest first (static buffers).
    char* GetHdrCMMTypeAsName() const;
    char* GetHdrManufacturerAsName() const;
    char* GetHdrModelAsName() const;
    char* GetHdrCreatorAsName() const;
    // "month/day/year hours:minutes:seconds" and "major.minor" (static buffers).
    char* GetHdrCreationAsString() const;
    char* GetHdrProfileVersionAsString() const;

    // Appends a new tag with `tagID` and counts it; the sizes are not recalculated.
    PSDICCTag* CreateICCTagObject(unsigned long tagID);
    // The last tag with `tagID`, or null.
    PSDICCTag* FindTag(unsigned long tagID) const;
    // The tag at `index` in table order, or null past the tag count.
    PSDICCTag* GetTag(unsigned long index) const;
    // Sets profile size and data block size from the tags.
    void CalculateBlockSize();

    void PrintInfo() override;
    void ReadDataBlock() override;
    void WriteResourceBlock() override;
    void UpdateSizesForWrite() override;

    // Fills the block with a preset: PROFILE_NAME_SRGB or PROFILE_NAME_QUILLARY;
    // any other name does nothing.
    void SetProfile(unsigned long profileName);
    void SetProfileToSRGB();
    void SetProfileToQuillary();

private:
    // Bytes the profile takes when encoded from the fields and tags.
    unsigned long EncodedSize() const;
    // False when a tag has a size but no payload to write.
    bool TagsHavePayloads() const;
    // False when the profile must go out raw.
    bool Encodable() const;
    // What a profile read from a file writes.
    static constexpr WritePolicy PROFILE_WRITE_POLICY = WRITE_READ_RE_ENCODED;

    unsigned long ProfileSize;
    unsigned long CMMType;
    unsigned short MajorVersion;
    unsigned short MinorVersion;
    unsigned long ProfileClass;
    unsigned long ColorSpace;
    unsigned long ConnectionSpace;
    unsigned short CreationYear;
    unsigned short CreationMonth;
    unsigned short CreationDay;
    unsigned short CreationHours;
    unsigned short CreationMinutes;
    unsigned short CreationSeconds;
    unsigned long Platform;
    unsigned short ProfileFlags;
    unsigned long Manufacturer;
    unsigned long Model;
    unsigned long Attributes;
    unsigned short RenderingIntent;
    double IlluminantX;
    double IlluminantY;
    double IlluminantZ;
    unsigned long Creator;
    unsigned long NumTags;
    std::vector<PSDICCTag*> Tags;
};

// The tone curve of the sRGB preset: the sRGB decoding function at 1024 even
// steps, scaled to 16 bits.
PSDKIT_API extern const unsigned long PROFILE_SRGB_CURVE_COUNT;
PSDKIT_API extern const unsigned short PROFILE_SRGB_DEFAULT_CURVE[1024];

PSDKIT_API extern char* PROFILE_INPUT_DEVICE_STR;
PSDKIT_API extern char* PROFILE_DISPLAY_DEVICE_STR;
PSDKIT_API extern char* PROFILE_OUTPUT_DEVICE_STR;
PSDKIT_API extern char* PROFILE_DEVICE_LINK_STR;
PSDKIT_API extern char* PROFILE_COLORSPACE_CONV_STR;
PSDKIT_API extern char* PROFILE_ABSTRACT_STR;
PSDKIT_API extern char* PROFILE_NAMED_COLOR_STR;
PSDKIT_API extern char* PROFILE_INVALID_STR;

PSDKIT_API extern char* COLORSPACE_XYZ_STR;
PSDKIT_API extern char* COLORSPACE_LAB_STR;
PSDKIT_API extern char* COLORSPACE_LUV_STR;
PSDKIT_API extern char* COLORSPACE_YCBR_STR;
PSDKIT_API extern char* COLORSPACE_XXY_STR;
PSDKIT_API extern char* COLORSPACE_RGB_STR;
PSDKIT_API extern char* COLORSPACE_GRAY_STR;
PSDKIT_API extern char* COLORSPACE_HSV_STR;
PSDKIT_API extern char* COLORSPACE_HLS_STR;
PSDKIT_API extern char* COLORSPACE_CMYK_STR;
PSDKIT_API extern char* COLORSPACE_CMY_STR;
PSDKIT_API extern char* COLORSPACE_2CLR_STR;
PSDKIT_API extern char* COLORSPACE_3CLR_STR;
PSDKIT_API extern char* COLORSPACE_4CLR_STR;
PSDKIT_API extern char* COLORSPACE_5CLR_STR;
PSDKIT_API extern char* COLORSPACE_6CLR_STR;
PSDKIT_API extern char* COLORSPACE_7CLR_STR;
PSDKIT_API extern char* COLORSPACE_8CLR_STR;
PSDKIT_API extern char* COLORSPACE_9CLR_STR;
PSDKIT_API extern char* COLORSPACE_ACLR_STR;
PSDKIT_API extern char* COLORSPACE_BCLR_STR;
PSDKIT_API extern char* COLORSPACE_CCLR_STR;
PSDKIT_API extern char* COLORSPACE_DCLR_STR;
PSDKIT_API extern char* COLORSPACE_ECLR_STR;
PSDKIT_API extern char* COLORSPACE_FCLR_STR;
PSDKIT_API extern char* COLORSPACE_INVALID_STR;

PSDKIT_API extern char* CONNECTION_SPACE_XYZ_STR;
PSDKIT_API extern char* CONNECTION_SPACE_LAB_STR;
PSDKIT_API extern char* CONNECTION_SPACE_INVALID_STR;

PSDKIT_API extern char* PLATFORM_APPLE_STR;
PSDKIT_API extern char* PLATFORM_MICROSOFT_STR;
PSDKIT_API extern char* PLATFORM_SGI_STR;
PSDKIT_API extern char* PLATFORM_SUN_STR;
PSDKIT_API extern char* PLATFORM_TALIGENT_STR;
PSDKIT_API extern char* PLATFORM_INVALID_STR;

PSDKIT_API extern char* RENDERING_INTENT_PERCEPTUAL_STR;
PSDKIT_API extern char* RENDERING_INTENT_REL_COLORIMETRIC_STR;
PSDKIT_API extern char* RENDERING_INTENT_SATURATION_STR;
PSDKIT_API extern char* RENDERING_INTENT_ABS_COLORIMETRIC_STR;
PSDKIT_API extern char* RENDERING_INTENT_INVALID_STR;

}  // namespace psdkit

#endif
