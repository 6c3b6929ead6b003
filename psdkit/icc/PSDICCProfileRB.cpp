#include "psdkit/icc/PSDICCProfileRB.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>

#include "psdkit/core/PSDBoundedReader.h"
#include "psdkit/core/PSDUtil.h"

namespace psdkit {

PSDKIT_DEFINE_TEXT(PROFILE_INPUT_DEVICE_STR, "Input Device");
PSDKIT_DEFINE_TEXT(PROFILE_DISPLAY_DEVICE_STR, "Display Device");
PSDKIT_DEFINE_TEXT(PROFILE_OUTPUT_DEVICE_STR, "Output Device");
PSDKIT_DEFINE_TEXT(PROFILE_DEVICE_LINK_STR, "Device Link");
PSDKIT_DEFINE_TEXT(PROFILE_COLORSPACE_CONV_STR, "Colorspace Conversion");
PSDKIT_DEFINE_TEXT(PROFILE_ABSTRACT_STR, "Abstract");
PSDKIT_DEFINE_TEXT(PROFILE_NAMED_COLOR_STR, "Named Color");
PSDKIT_DEFINE_TEXT(PROFILE_INVALID_STR, "Invalid");

PSDKIT_DEFINE_TEXT(COLORSPACE_XYZ_STR, "XYZ");
PSDKIT_DEFINE_TEXT(COLORSPACE_LAB_STR, "LAB");
PSDKIT_DEFINE_TEXT(COLORSPACE_LUV_STR, "LUV");
PSDKIT_DEFINE_TEXT(COLORSPACE_YCBR_STR, "YCB");
PSDKIT_DEFINE_TEXT(COLORSPACE_XXY_STR, "XXY");
PSDKIT_DEFINE_TEXT(COLORSPACE_RGB_STR, "RGB");
PSDKIT_DEFINE_TEXT(COLORSPACE_GRAY_STR, "Gray");
PSDKIT_DEFINE_TEXT(COLORSPACE_HSV_STR, "HSV");
PSDKIT_DEFINE_TEXT(COLORSPACE_HLS_STR, "HLS");
PSDKIT_DEFINE_TEXT(COLORSPACE_CMYK_STR, "CYMK");
PSDKIT_DEFINE_TEXT(COLORSPACE_CMY_STR, "CMY");
PSDKIT_DEFINE_TEXT(COLORSPACE_2CLR_STR, "2 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_3CLR_STR, "3 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_4CLR_STR, "4 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_5CLR_STR, "5 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_6CLR_STR, "6 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_7CLR_STR, "7 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_8CLR_STR, "8 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_9CLR_STR, "9 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_ACLR_STR, "10 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_BCLR_STR, "11 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_CCLR_STR, "12 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_DCLR_STR, "13 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_ECLR_STR, "14 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_FCLR_STR, "15 Color");
PSDKIT_DEFINE_TEXT(COLORSPACE_INVALID_STR, "Invalid");

PSDKIT_DEFINE_TEXT(CONNECTION_SPACE_XYZ_STR, "XYZ");
PSDKIT_DEFINE_TEXT(CONNECTION_SPACE_LAB_STR, "Lab");
PSDKIT_DEFINE_TEXT(CONNECTION_SPACE_INVALID_STR, "Invalid");

PSDKIT_DEFINE_TEXT(PLATFORM_APPLE_STR, "Apple");
PSDKIT_DEFINE_TEXT(PLATFORM_MICROSOFT_STR, "Microsoft");
PSDKIT_DEFINE_TEXT(PLATFORM_SGI_STR, "SGI");
PSDKIT_DEFINE_TEXT(PLATFORM_SUN_STR, "Sun");
PSDKIT_DEFINE_TEXT(PLATFORM_TALIGENT_STR, "Taligent");
PSDKIT_DEFINE_TEXT(PLATFORM_INVALID_STR, "Invalid");

PSDKIT_DEFINE_TEXT(RENDERING_INTENT_PERCEPTUAL_STR, "Perceptual");
PSDKIT_DEFINE_TEXT(RENDERING_INTENT_REL_COLORIMETRIC_STR, "Relative Colorimetric");
PSDKIT_DEFINE_TEXT(RENDERING_INTENT_SATURATION_STR, "Saturation");
PSDKIT_DEFINE_TEXT(RENDERING_INTENT_ABS_COLORIMETRIC_STR, "Absolute Colorimetric");
PSDKIT_DEFINE_TEXT(RENDERING_INTENT_INVALID_STR, "Invalid");

const unsigned long PROFILE_SRGB_CURVE_COUNT = 1024;

// Entry i is the sRGB decoding function at x = i / 1023 times 65535, rounded:
// x / 12.92 up to x = 0.04045, ((x + 0.055) / 1.055) ^ 2.4 above, in double.
// Kept as a literal table so that it is there before any code runs.
// clang-format off
const unsigned short PROFILE_SRGB_DEFAULT_CURVE[1024] = {
    0, 5, 10, 15, 20, 25, 30, 35, 40, 45, 50, 55,
    59, 64, 69, 74, 79, 84, 89, 94, 99, 104, 109, 114,
    119, 124, 129, 134, 139, 144, 149, 154, 159, 164, 169, 174,
    178, 183, 188, 193, 198, 203, 208, 213, 219, 224, 229, 235,
    240, 246, 251, 257, 263, 269, 275, 281, 287, 293, 299, 306,
    312, 318, 325, 332, 338, 345, 352, 359, 366, 373, 380, 387,
    395, 402, 410, 417, 425, 433, 441, 449, 457, 465, 473, 481,
    489, 498, 506, 515, 524, 532, 541, 550, 559, 568, 577, 587,
    596, 605, 615, 625, 634, 644, 654, 664, 674, 684, 694, 705,
    715, 725, 736, 747, 757, 768, 779, 790, 801, 813, 824, 835,
    847, 858, 870, 882, 894, 906, 918, 930, 942, 954, 967, 979,
    992, 1004, 1017, 1030, 1043, 1056, 1069, 1083, 1096, 1109, 1123, 1137,
    1150, 1164, 1178, 1192, 1206, 1220, 1235, 1249, 1264, 1278, 1293, 1308,
    1323, 1338, 1353, 1368, 1383, 1399, 1414, 1430, 1446, 1461, 1477, 1493,
    1509, 1526, 1542, 1558, 1575, 1591, 1608, 1625, 1642, 1659, 1676, 1693,
    1711, 1728, 1745, 1763, 1781, 1799, 1817, 1835, 1853, 1871, 1889, 1908,
    1926, 1945, 1964, 1983, 2002, 2021, 2040, 2059, 2079, 2098, 2118, 2138,
    2158, 2178, 2198, 2218, 2238, 2258, 2279, 2299, 2320, 2341, 2362, 2383,
    2404, 2425, 2447, 2468, 2490, 2511, 2533, 2555, 2577, 2599, 2621, 2644,
    2666, 2689, 2712, 2734, 2757, 2780, 2803, 2827, 2850, 2873, 2897, 2921,
    2944, 2968, 2992, 3016, 3041, 3065, 3090, 3114, 3139, 3164, 3189, 3214,
    3239, 3264, 3289, 3315, 3341, 3366, 3392, 3418, 3444, 3470, 3497, 3523,
    3550, 3576, 3603, 3630, 3657, 3684, 3711, 3739, 3766, 3794, 3822, 3849,
    3877, 3905, 3934, 3962, 3990, 4019, 4047, 4076, 4105, 4134, 4163, 4193,
    4222, 4251, 4281, 4311, 4341, 4371, 4401, 4431, 4461, 4492, 4522, 4553,
    4584, 4615, 4646, 4677, 4708, 4740, 4771, 4803, 4835, 4867, 4899, 4931,
    4963, 4995, 5028, 5061, 5093, 5126, 5159, 5193, 5226, 5259, 5293, 5326,
    5360, 5394, 5428, 5462, 5496, 5531, 5565, 5600, 5635, 5670, 5705, 5740,
    5775, 5810, 5846, 5882, 5917, 5953, 5989, 6025, 6062, 6098, 6135, 6171,
    6208, 6245, 6282, 6319, 6357, 6394, 6432, 6469, 6507, 6545, 6583, 6621,
    6660, 6698, 6737, 6775, 6814, 6853, 6892, 6932, 6971, 7011, 7050, 7090,
    7130, 7170, 7210, 7250, 7291, 7331, 7372, 7413, 7454, 7495, 7536, 7577,
    7619, 7660, 7702, 7744, 7786, 7828, 7870, 7913, 7955, 7998, 8041, 8084,
    8127, 8170, 8213, 8257, 8300, 8344, 8388, 8432, 8476, 8520, 8565, 8609,
    8654, 8699, 8743, 8789, 8834, 8879, 8925, 8970, 9016, 9062, 9108, 9154,
    9200, 9247, 9293, 9340, 9387, 9434, 9481, 9528, 9576, 9623, 9671, 9719,
    9767, 9815, 9863, 9911, 9960, 10008, 10057, 10106, 10155, 10204, 10253, 10303,
    10353, 10402, 10452, 10502, 10552, 10603, 10653, 10704, 10754, 10805, 10856, 10907,
    10959, 11010, 11062, 11113, 11165, 11217, 11269, 11321, 11374, 11426, 11479, 11532,
    11585, 11638, 11691, 11745, 11798, 11852, 11906, 11959, 12014, 12068, 12122, 12177,
    12231, 12286, 12341, 12396, 12452, 12507, 12562, 12618, 12674, 12730, 12786, 12842,
    12899, 12955, 13012, 13069, 13126, 13183, 13240, 13297, 13355, 13413, 13470, 13528,
    13587, 13645, 13703, 13762, 13821, 13879, 13938, 13998, 14057, 14116, 14176, 14236,
    14295, 14356, 14416, 14476, 14536, 14597, 14658, 14719, 14780, 14841, 14902, 14964,
    15026, 15087, 15149, 15211, 15274, 15336, 15399, 15461, 15524, 15587, 15650, 15713,
    15777, 15840, 15904, 15968, 16032, 16096, 16161, 16225, 16290, 16354, 16419, 16484,
    16550, 16615, 16681, 16746, 16812, 16878, 16944, 17010, 17077, 17143, 17210, 17277,
    17344, 17411, 17479, 17546, 17614, 17682, 17749, 17818, 17886, 17954, 18023, 18091,
    18160, 18229, 18299, 18368, 18437, 18507, 18577, 18647, 18717, 18787, 18857, 18928,
    18999, 19069, 19140, 19212, 19283, 19354, 19426, 19498, 19570, 19642, 19714, 19786,
    19859, 19932, 20005, 20078, 20151, 20224, 20297, 20371, 20445, 20519, 20593, 20667,
    20742, 20816, 20891, 20966, 21041, 21116, 21191, 21267, 21343, 21418, 21494, 21570,
    21647, 21723, 21800, 21877, 21954, 22031, 22108, 22185, 22263, 22340, 22418, 22496,
    22575, 22653, 22731, 22810, 22889, 22968, 23047, 23126, 23206, 23285, 23365, 23445,
    23525, 23605, 23686, 23766, 23847, 23928, 24009, 24090, 24172, 24253, 24335, 24417,
    24499, 24581, 24663, 24746, 24828, 24911, 24994, 25077, 25161, 25244, 25328, 25411,
    25495, 25579, 25664, 25748, 25833, 25917, 26002, 26087, 26173, 26258, 26344, 26429,
    26515, 26601, 26687, 26774, 26860, 26947, 27034, 27121, 27208, 27295, 27383, 27471,
    27559, 27647, 27735, 27823, 27912, 28000, 28089, 28178, 28267, 28356, 28446, 28536,
    28625, 28715, 28806, 28896, 28986, 29077, 29168, 29259, 29350, 29441, 29533, 29624,
    29716, 29808, 29900, 29992, 30085, 30177, 30270, 30363, 30456, 30550, 30643, 30737,
    30830, 30924, 31018, 31113, 31207, 31302, 31397, 31492, 31587, 31682, 31777, 31873,
    31969, 32065, 32161, 32257, 32354, 32450, 32547, 32644, 32741, 32839, 32936, 33034,
    33131, 33229, 33328, 33426, 33524, 33623, 33722, 33821, 33920, 34019, 34119, 34219,
    34318, 34418, 34519, 34619, 34719, 34820, 34921, 35022, 35123, 35225, 35326, 35428,
    35530, 35632, 35734, 35836, 35939, 36042, 36145, 36248, 36351, 36454, 36558, 36662,
    36766, 36870, 36974, 37078, 37183, 37288, 37393, 37498, 37603, 37709, 37814, 37920,
    38026, 38132, 38239, 38345, 38452, 38559, 38666, 38773, 38880, 38988, 39096, 39204,
    39312, 39420, 39528, 39637, 39746, 39855, 39964, 40073, 40183, 40292, 40402, 40512,
    40622, 40733, 40843, 40954, 41065, 41176, 41287, 41398, 41510, 41622, 41734, 41846,
    41958, 42070, 42183, 42296, 42409, 42522, 42635, 42749, 42862, 42976, 43090, 43204,
    43319, 43433, 43548, 43663, 43778, 43893, 44009, 44124, 44240, 44356, 44472, 44589,
    44705, 44822, 44939, 45056, 45173, 45290, 45408, 45526, 45643, 45762, 45880, 45998,
    46117, 46236, 46355, 46474, 46593, 46713, 46832, 46952, 47072, 47193, 47313, 47434,
    47554, 47675, 47797, 47918, 48039, 48161, 48283, 48405, 48527, 48650, 48772, 48895,
    49018, 49141, 49264, 49388, 49511, 49635, 49759, 49883, 50008, 50132, 50257, 50382,
    50507, 50632, 50758, 50883, 51009, 51135, 51261, 51388, 51514, 51641, 51768, 51895,
    52022, 52150, 52277, 52405, 52533, 52661, 52790, 52918, 53047, 53176, 53305, 53434,
    53564, 53694, 53823, 53953, 54084, 54214, 54345, 54475, 54606, 54737, 54869, 55000,
    55132, 55264, 55396, 55528, 55660, 55793, 55926, 56059, 56192, 56325, 56458, 56592,
    56726, 56860, 56994, 57129, 57263, 57398, 57533, 57668, 57804, 57939, 58075, 58211,
    58347, 58483, 58620, 58756, 58893, 59030, 59167, 59305, 59442, 59580, 59718, 59856,
    59995, 60133, 60272, 60411, 60550, 60689, 60828, 60968, 61108, 61248, 61388, 61528,
    61669, 61810, 61951, 62092, 62233, 62375, 62516, 62658, 62800, 62942, 63085, 63227,
    63370, 63513, 63656, 63800, 63943, 64087, 64231, 64375, 64519, 64664, 64809, 64954,
    65099, 65244, 65389, 65535,
};
// clang-format on

namespace {

// One buffer per operation for the whole library.
char CMMTypeName[5];
char ManufacturerName[5];
char ModelName[5];
char CreatorName[5];
char CreationText[256];
char VersionText[256];

// Tags of a read profile may point at the same bytes, and each gets a copy of
// its own. The copies together may take the profile's bytes and this much
// more (real profiles that share curves or tables need a few KB to 40 KB);
// tags past that get no payload, so a small table cannot demand a huge sum.
const unsigned long SHARED_DATA_SLACK = 64 * 1024;

const char* SRGB_COPYRIGHT = "Copyright (c) 1998 Hewlett-Packard Company";
const char* SRGB_DESCRIPTION = "sRGB IEC61966-2.1";
const char* SRGB_MANUFACTURER = "IEC http://www.iec.ch";
const char* SRGB_MODEL = "IEC 61966-2.1 Default RGB colour space - sRGB";
const char* SRGB_VIEWING = "Reference Viewing Condition in IEC61966-2.1";

// The four low bytes of `value`, lowest first, and a terminator.
char* LowBytesAsName(unsigned long value, char* name) {
    PSDUtil::NativeLongToBuffer(value, name);
    name[4] = 0;
    return name;
}

// The fields of the profile header, each read through the header's window
// (0 for a field the window does not hold).
class HeaderFields {
public:
    explicit HeaderFields(PSDBoundedReader& header) : Header(header) {}
    unsigned long Long(unsigned long offset) { return PSDBoundedReader::LongAt(At(offset, 4)); }
    unsigned long NativeLong(unsigned long offset) {
        unsigned long value = 0;
        if (const char* at = At(offset, 4)) PSDUtil::BufferToNativeLong(at, &value);
        return value;
    }
    unsigned short NativeShort(unsigned long offset) {
        unsigned short value = 0;
        if (const char* at = At(offset, 2)) PSDUtil::BufferToNativeShort(at, &value);
        return value;
    }
    // A version byte is taken as a signed char: 0x90 reads as 0xFF90.
    unsigned short VersionByte(unsigned long offset) {
        const char* at = At(offset, 1);
        return at == nullptr ? 0 : static_cast<unsigned short>(static_cast<short>(static_cast<signed char>(*at)));
    }
    double Fixed16Dot16(unsigned long offset) {
        double value = 0;
        if (const char* at = At(offset, 4)) PSDUtil::BufferToDoubleFrom16Dot16(at, &value);
        return value;
    }

private:
    const char* At(unsigned long offset, unsigned long n) { return Header.SeekTo(offset) ? Header.Peek(n) : nullptr; }
    PSDBoundedReader& Header;
};

// The payload type a known tag ID calls for, among the types decoded here;
// 0 for other IDs.
unsigned long TypeOfTag(unsigned long id) {
    switch (id) {
        case PSDICCTag::TAGID_CPRT: return PSDICCTag::TAG_TYPE_TEXT;
        case PSDICCTag::TAGID_PROFILE_DESCRIPTION:
        case PSDICCTag::TAGID_DEVICE_MFG_DESC:
        case PSDICCTag::TAGID_DEVICE_MODEL_DESC:
        case PSDICCTag::TAGID_VIEWING_CONDITIONS_DESC: return PSDICCTag::TAG_TYPE_DESC;
        case PSDICCTag::TAGID_MEDIA_WHITE_POINT:
        case PSDICCTag::TAGID_MEDIA_BLACK_POINT:
        case PSDICCTag::TAGID_RED_COLORANT:
        case PSDICCTag::TAGID_GREEN_COLORANT:
        case PSDICCTag::TAGID_BLUE_COLORANT:
        case PSDICCTag::TAGID_LUMINANCE: return PSDICCTag::TAG_TYPE_XYZ;
        case PSDICCTag::TAGID_VIEWING_CONDITIONS: return PSDICCTag::TAG_TYPE_VIEW;
        case PSDICCTag::TAGID_MEASUREMENT: return PSDICCTag::TAG_TYPE_MEASUREMENT;
        case PSDICCTag::TAGID_TECHNOLOGY: return PSDICCTag::TAG_TYPE_SIGNATURE;
        case PSDICCTag::TAGID_RED_TONE_CURVE:
        case PSDICCTag::TAGID_GREEN_TONE_CURVE:
        case PSDICCTag::TAGID_BLUE_TONE_CURVE: return PSDICCTag::TAG_TYPE_CURVE;
        default: return 0;
    }
}

// False for a payload of a type the tags decode whose bytes do not make one,
// or that is not the type its ID calls for (other types, such as the newer
// ones of version 4 profiles, are taken as they are).
bool PayloadDecodes(const PSDICCTag& tag) {
    if (tag.GetTagSize() < 8 || tag.GetTagData() == nullptr) return false;
    unsigned long type = PSDBoundedReader::LongAt(tag.GetTagData());
    unsigned long expected = TypeOfTag(tag.GetTagID());
    bool typeFits = expected == 0 || expected == type;
    switch (type) {
        case PSDICCTag::TAG_TYPE_TEXT: return typeFits && tag.GetTextTypeAttribute() != nullptr;
        case PSDICCTag::TAG_TYPE_DESC: return typeFits && tag.GetDescTypeAttribute() != nullptr;
        case PSDICCTag::TAG_TYPE_XYZ: return typeFits && tag.GetXYZTypeAttribute() != nullptr;
        case PSDICCTag::TAG_TYPE_VIEW: return typeFits && tag.GetViewConditionsTypeAttribute() != nullptr;
        case PSDICCTag::TAG_TYPE_MEASUREMENT: return typeFits && tag.GetMeasureTypeAttribute() != nullptr;
        case PSDICCTag::TAG_TYPE_SIGNATURE: return typeFits && tag.GetSignatureTypeAttribute() != nullptr;
        case PSDICCTag::TAG_TYPE_CURVE: return typeFits && tag.GetCurveTypeAttribute() != nullptr;
        default: return true;
    }
}

}  // namespace

PSDICCProfileRB::PSDICCProfileRB() { InitObject(); }

PSDICCProfileRB::PSDICCProfileRB(unsigned long profileName) {
    InitObject();
    SetProfile(profileName);
}

PSDICCProfileRB::~PSDICCProfileRB() {
    for (PSDICCTag* tag : Tags) delete tag;
}

void PSDICCProfileRB::InitObject() {
    SetResourceID(RS_1039);
    ProfileSize = PROFILE_SIZE;
    CMMType = 0;
    MajorVersion = 0;
    MinorVersion = 0;
    ProfileClass = 0;
    ColorSpace = 0;
    ConnectionSpace = 0;
    // An unset date reads as zero, so a write takes the clock's.
    CreationYear = 0;
    CreationMonth = 0;
    CreationDay = 0;
    CreationHours = 0;
    CreationMinutes = 0;
    CreationSeconds = 0;
    Platform = 0;
    ProfileFlags = 0;
    Manufacturer = 0;
    Model = 0;
    Attributes = 0;
    RenderingIntent = 0;
    IlluminantX = 0;
    IlluminantY = 0;
    IlluminantZ = 0;
    Creator = 0;
    NumTags = 0;
    SetDataBlockSize(PROFILE_SIZE);
}

void PSDICCProfileRB::SetHdrCreationDate(unsigned short year, unsigned short month, unsigned short day,
                                         unsigned short hours, unsigned short minutes, unsigned short seconds) {
    CreationYear = year;
    CreationMonth = month;
    CreationDay = day;
    CreationHours = hours;
    CreationMinutes = minutes;
    CreationSeconds = seconds;
}

void PSDICCProfileRB::SetHdrProfileFlags(bool embedded, bool requiresColorData) {
    ProfileFlags = static_cast<unsigned short>((embedded ? PROFILE_FLAG_EMBEDDED : 0) |
                                               (requiresColorData ? PROFILE_FLAG_REQ_COLOR_DATA : 0));
}

void PSDICCProfileRB::SetHdrAttributes(bool transparent, bool matte) {
    Attributes = (transparent ? ATTRIBUTE_TRANSPARENT : 0) | (matte ? ATTRIBUTE_MATTE : 0);
}

void PSDICCProfileRB::SetIlluminant(double x, double y, double z) {
    IlluminantX = x;
    IlluminantY = y;
    IlluminantZ = z;
}

void PSDICCProfileRB::SetNumTags(unsigned long count) { NumTags = count < Tags.size() ? count : Tags.size(); }

char* PSDICCProfileRB::GetHdrProfileClassAsName() const {
    switch (ProfileClass) {
        case PROFILE_INPUT_DEVICE: return PROFILE_INPUT_DEVICE_STR;
        case PROFILE_DISPLAY_DEVICE: return PROFILE_DISPLAY_DEVICE_STR;
        case PROFILE_OUTPUT_DEVICE: return PROFILE_OUTPUT_DEVICE_STR;
        case PROFILE_DEVICE_LINK: return PROFILE_DEVICE_LINK_STR;
        case PROFILE_COLORSPACE_CONV: return PROFILE_COLORSPACE_CONV_STR;
        case PROFILE_ABSTRACT: return PROFILE_ABSTRACT_STR;
        case PROFILE_NAMED_COLOR: return PROFILE_NAMED_COLOR_STR;
        default: return PROFILE_INVALID_STR;
    }
}

char* PSDICCProfileRB::GetHdrColorSpaceAsName() const {
    switch (ColorSpace) {
        case COLORSPACE_XYZ: return COLORSPACE_XYZ_STR;
        case COLORSPACE_LAB: return COLORSPACE_LAB_STR;
        case COLORSPACE_LUV: return COLORSPACE_LUV_STR;
        case COLORSPACE_YCBR: return COLORSPACE_YCBR_STR;
        case COLORSPACE_XXY: return COLORSPACE_XXY_STR;
        case COLORSPACE_RGB: return COLORSPACE_RGB_STR;
        case COLORSPACE_GRAY: return COLORSPACE_GRAY_STR;
        case COLORSPACE_HSV: return COLORSPACE_HSV_STR;
        case COLORSPACE_HLS: return COLORSPACE_HLS_STR;
        case COLORSPACE_CMYK: return COLORSPACE_CMYK_STR;
        case COLORSPACE_CMY: return COLORSPACE_CMY_STR;
        case COLORSPACE_2CLR: return COLORSPACE_2CLR_STR;
        case COLORSPACE_3CLR: return COLORSPACE_3CLR_STR;
        case COLORSPACE_4CLR: return COLORSPACE_4CLR_STR;
        case COLORSPACE_5CLR: return COLORSPACE_5CLR_STR;
        case COLORSPACE_6CLR: return COLORSPACE_6CLR_STR;
        case COLORSPACE_7CLR: return COLORSPACE_7CLR_STR;
        case COLORSPACE_8CLR: return COLORSPACE_8CLR_STR;
        case COLORSPACE_9CLR: return COLORSPACE_9CLR_STR;
        case COLORSPACE_ACLR: return COLORSPACE_ACLR_STR;
        case COLORSPACE_BCLR: return COLORSPACE_BCLR_STR;
        case COLORSPACE_CCLR: return COLORSPACE_CCLR_STR;
        case COLORSPACE_DCLR: return COLORSPACE_DCLR_STR;
        case COLORSPACE_ECLR: return COLORSPACE_ECLR_STR;
        case COLORSPACE_FCLR: return COLORSPACE_FCLR_STR;
        default: return COLORSPACE_INVALID_STR;
    }
}

char* PSDICCProfileRB::GetHdrConnectionSpaceAsName() const {
    switch (ConnectionSpace) {
        case CONNECTION_SPACE_XYZ: return CONNECTION_SPACE_XYZ_STR;
        case CONNECTION_SPACE_LAB: return CONNECTION_SPACE_LAB_STR;
        default: return CONNECTION_SPACE_INVALID_STR;
    }
}

char* PSDICCProfileRB::GetHdrPlatformAsName() const {
    switch (Platform) {
        case PLATFORM_APPLE: return PLATFORM_APPLE_STR;
        case PLATFORM_MICROSOFT: return PLATFORM_MICROSOFT_STR;
        case PLATFORM_SGI: return PLATFORM_SGI_STR;
        case PLATFORM_SUN: return PLATFORM_SUN_STR;
        case PLATFORM_TALIGENT: return PLATFORM_TALIGENT_STR;
        default: return PLATFORM_INVALID_STR;
    }
}

char* PSDICCProfileRB::GetHdrRenderingIntentAsName() const {
    switch (RenderingIntent) {
        case RENDERING_INTENT_PERCEPTUAL: return RENDERING_INTENT_PERCEPTUAL_STR;
        case RENDERING_INTENT_REL_COLORIMETRIC: return RENDERING_INTENT_REL_COLORIMETRIC_STR;
        case RENDERING_INTENT_SATURATION: return RENDERING_INTENT_SATURATION_STR;
        case RENDERING_INTENT_ABS_COLORIMETRIC: return RENDERING_INTENT_ABS_COLORIMETRIC_STR;
        default: return RENDERING_INTENT_INVALID_STR;
    }
}

char* PSDICCProfileRB::GetHdrCMMTypeAsName() const { return LowBytesAsName(CMMType, CMMTypeName); }
char* PSDICCProfileRB::GetHdrManufacturerAsName() const { return LowBytesAsName(Manufacturer, ManufacturerName); }
char* PSDICCProfileRB::GetHdrModelAsName() const { return LowBytesAsName(Model, ModelName); }
char* PSDICCProfileRB::GetHdrCreatorAsName() const { return LowBytesAsName(Creator, CreatorName); }

char* PSDICCProfileRB::GetHdrCreationAsString() const {
    std::snprintf(CreationText, sizeof(CreationText), "%i/%i/%i %i:%i:%i", CreationMonth, CreationDay, CreationYear,
                  CreationHours, CreationMinutes, CreationSeconds);
    return CreationText;
}

char* PSDICCProfileRB::GetHdrProfileVersionAsString() const {
    std::snprintf(VersionText, sizeof(VersionText), "%i.%i", MajorVersion, MinorVersion);
    return VersionText;
}

PSDICCTag* PSDICCProfileRB::CreateICCTagObject(unsigned long tagID) {
    std::unique_ptr<PSDICCTag> tag(new PSDICCTag(tagID));
    Tags.push_back(tag.get());
    ++NumTags;
    return tag.release();
}

PSDICCTag* PSDICCProfileRB::FindTag(unsigned long tagID) const {
    PSDICCTag* found = nullptr;
    for (unsigned long i = 0; i < NumTags; ++i)
        if (Tags[i]->GetTagID() == tagID) found = Tags[i];
    return found;
}

PSDICCTag* PSDICCProfileRB::GetTag(unsigned long index) const { return index < NumTags ? Tags[index] : nullptr; }

unsigned long PSDICCProfileRB::EncodedSize() const {
    unsigned long size = PROFILE_SIZE;
    for (unsigned long i = 0; i < NumTags; ++i) size += PSDICCTag::ICC_TAG_SIZE + Tags[i]->GetPaddedTagSize();
    return size;
}

bool PSDICCProfileRB::TagsHavePayloads() const {
    for (unsigned long i = 0; i < NumTags; ++i)
        if (Tags[i]->GetPaddedTagSize() != 0 && Tags[i]->GetTagData() == nullptr) return false;
    return true;
}

void PSDICCProfileRB::CalculateBlockSize() {
    ProfileSize = PROFILE_SIZE;
    SetDataBlockSize(PROFILE_SIZE);
    for (unsigned long i = 0; i < NumTags; ++i) {
        unsigned long bytes = PSDICCTag::ICC_TAG_SIZE + Tags[i]->GetPaddedTagSize();
        ProfileSize += bytes;
        IncrementDataBlockSize(bytes);
    }
}

void PSDICCProfileRB::ReadDataBlock() {
    const char* data = GetDataBlock();
    unsigned long size = ReadablePayloadSize();
    PSDBoundedReader in(data, size);
    // Fewer bytes than a header and a tag count hold no profile.
    if (!in.Has(PROFILE_SIZE)) {
        in.Problem("ICC profile: %lu bytes hold no header and tag count", size);
        return;
    }
    PSDBoundedReader header = in.Take(PROFILE_HEADER_SIZE);
    HeaderFields field(header);
    ProfileSize = field.Long(0);
    CMMType = field.NativeLong(4);
    MajorVersion = field.VersionByte(8);
    MinorVersion = field.VersionByte(9);
    ProfileClass = field.Long(12);
    ColorSpace = field.Long(16);
    ConnectionSpace = field.Long(20);
    CreationYear = field.NativeShort(24);
    CreationMonth = field.NativeShort(26);
    CreationDay = field.NativeShort(28);
    CreationHours = field.NativeShort(30);
    CreationMinutes = field.NativeShort(32);
    CreationSeconds = field.NativeShort(34);
    Platform = field.Long(40);
    ProfileFlags = field.NativeShort(44);
    Manufacturer = field.NativeLong(48);
    Model = field.NativeLong(52);
    Attributes = field.NativeLong(56);
    RenderingIntent = field.NativeShort(64);
    IlluminantX = field.Fixed16Dot16(68);
    IlluminantY = field.Fixed16Dot16(72);
    IlluminantZ = field.Fixed16Dot16(76);
    Creator = field.NativeLong(80);

    if (ProfileSize > size)
        in.Problem("ICC profile: its header states %lu bytes, the block holds %lu", ProfileSize, size);

    unsigned long count = 0;
    in.ReadLong(&count);
    // Only the entries that lie within the block are tags.
    if (count > in.Remaining() / PSDICCTag::ICC_TAG_SIZE) {
        in.Problem("ICC profile: %lu tag entries do not fit in the profile, %lu kept", count,
                   in.Remaining() / PSDICCTag::ICC_TAG_SIZE);
        count = in.Remaining() / PSDICCTag::ICC_TAG_SIZE;
    }
    PSDBoundedReader table = in.Take(count * PSDICCTag::ICC_TAG_SIZE);

    // Tags may share their data; copies beyond the profile's own size and a
    // little more are refused before they are made, so a table of many
    // entries on one large run of bytes costs no more than the profile.
    unsigned long budget = size + SHARED_DATA_SLACK;
    unsigned long outside = 0;
    unsigned long refused = 0;
    unsigned long damaged = 0;
    NumTags = 0;
    // The tag, its (possibly empty) payload allocation and its place in the
    // list, which is made once for as many tags as the budget allows (a
    // growing list would hold two at once).
    const unsigned long tagCost = sizeof(PSDICCTag) + 64 + sizeof(PSDICCTag*);
    Tags.reserve(Tags.size() + std::min(count, PSDBoundedReader::Budget() / tagCost));
    for (unsigned long i = 0; i < count; ++i) {
        if (!PSDBoundedReader::Charge(tagCost)) {
            in.Problem("ICC profile: the read's memory budget is spent after %lu of %lu tags", i, count);
            count = i;
            break;
        }
        std::unique_ptr<PSDICCTag> tag(new PSDICCTag());
        tag->ReadTagEntry(table.Peek(PSDICCTag::ICC_TAG_SIZE));
        table.Skip(PSDICCTag::ICC_TAG_SIZE);
        unsigned long offset = tag->GetTagOffset();
        if (offset > size || tag->GetPaddedTagSize() > size - offset) {
            ++outside;
        } else if (tag->GetPaddedTagSize() > budget || !PSDBoundedReader::Charge(tag->GetPaddedTagSize())) {
            ++refused;
        } else if (tag->CopyTagData(data, size)) {
            budget -= tag->GetPaddedTagSize();
            if (!PayloadDecodes(*tag)) ++damaged;
        }
        Tags.push_back(tag.get());
        tag.release();
    }
    NumTags = count;
    if (outside != 0) in.Problem("ICC profile: %lu tags point outside the profile, kept without data", outside);
    if (damaged != 0) in.Problem("ICC profile: %lu tags hold payloads cut short of their type", damaged);
    if (refused != 0)
        in.Problem("ICC profile: %lu tags share more data than the profile holds, kept without data", refused);
}

bool PSDICCProfileRB::Encodable() const {
    // A read block too short for a profile, or with tags whose bytes were
    // lost on reading, cannot be encoded: it goes out as it came in.
    if (!HoldsReadPayload()) return true;
    return ReadablePayloadSize() >= PROFILE_SIZE && TagsHavePayloads();
}

void PSDICCProfileRB::UpdateSizesForWrite() {
    ApplyWritePolicy(PROFILE_WRITE_POLICY, EncodedSize(), Encodable());
    if (SelectWriteForm(PROFILE_WRITE_POLICY, EncodedSize(), Encodable()) != WRITE_RAW) CalculateBlockSize();
}

void PSDICCProfileRB::WriteResourceBlock() {
    if (SelectWriteForm(PROFILE_WRITE_POLICY, EncodedSize(), Encodable()) == WRITE_RAW) {
        WriteRawResourceBlock();
        return;
    }
    CalculateBlockSize();
    WriteResourceBlockHeader();

    unsigned short year = CreationYear, month = CreationMonth, day = CreationDay;
    unsigned short hours = CreationHours, minutes = CreationMinutes, seconds = CreationSeconds;
    if (year == 0 || month == 0 || day == 0) {
        std::time_t now = std::time(nullptr);
        std::tm local = {};
        localtime_r(&now, &local);
        year = static_cast<unsigned short>(local.tm_year + 1900);
        month = static_cast<unsigned short>(local.tm_mon + 1);
        day = static_cast<unsigned short>(local.tm_mday);
        hours = static_cast<unsigned short>(local.tm_hour);
        minutes = static_cast<unsigned short>(local.tm_min);
        seconds = static_cast<unsigned short>(local.tm_sec);
    }

    char header[PROFILE_SIZE] = {0};
    PSDUtil::LongToBuffer(ProfileSize, header);
    PSDUtil::LongToBuffer(CMMType, header + 4);
    header[8] = static_cast<char>(MajorVersion);
    header[9] = static_cast<char>(MinorVersion);
    PSDUtil::LongToBuffer(ProfileClass, header + 12);
    PSDUtil::LongToBuffer(ColorSpace, header + 16);
    PSDUtil::LongToBuffer(ConnectionSpace, header + 20);
    PSDUtil::ShortToBuffer(year, header + 24);
    PSDUtil::ShortToBuffer(month, header + 26);
    PSDUtil::ShortToBuffer(day, header + 28);
    PSDUtil::ShortToBuffer(hours, header + 30);
    PSDUtil::ShortToBuffer(minutes, header + 32);
    PSDUtil::ShortToBuffer(seconds, header + 34);
    PSDUtil::LongToBuffer(PROFILE_FILE_SIGNATURE, header + 36);
    PSDUtil::LongToBuffer(Platform, header + 40);
    PSDUtil::NativeShortToBuffer(ProfileFlags, header + 44);
    PSDUtil::LongToBuffer(Manufacturer, header + 48);
    PSDUtil::LongToBuffer(Model, header + 52);
    PSDUtil::NativeLongToBuffer(Attributes, header + 56);
    PSDUtil::NativeShortToBuffer(RenderingIntent, header + 64);
    PSDUtil::DoubleTo16Dot16Buffer(IlluminantX, header + 68);
    PSDUtil::DoubleTo16Dot16Buffer(IlluminantY, header + 72);
    PSDUtil::DoubleTo16Dot16Buffer(IlluminantZ, header + 76);
    PSDUtil::LongToBuffer(Creator, header + 80);
    PSDUtil::LongToBuffer(NumTags, header + PROFILE_HEADER_SIZE);
    OutputStream->write(header, PROFILE_SIZE);
    if (NumTags == 0) return;

    // The data follows the table in list order, without gaps.
    unsigned long offset = PROFILE_SIZE + PSDICCTag::ICC_TAG_SIZE * NumTags;
    for (unsigned long i = 0; i < NumTags; ++i) {
        Tags[i]->WriteTagTableEntry(offset, OutputStream);
        offset += Tags[i]->GetPaddedTagSize();
    }
    for (unsigned long i = 0; i < NumTags; ++i) Tags[i]->WriteTagData(OutputStream);
}

void PSDICCProfileRB::PrintInfo() {
    std::cout << GetIDAsName() << "\n";
    std::cout << "Hdr:ProfileSize:" << GetHdrProfileSize() << "\n";
    std::cout << "Hdr:CMMType:" << GetHdrCMMTypeAsName() << "\n";
    std::cout << "Hdr:ProfileVersion:" << GetHdrProfileVersionAsString() << "\n";
    std::cout << "Hdr:ProfileClass:" << GetHdrProfileClassAsName() << "\n";
    std::cout << "Hdr:ColorSpace:" << GetHdrColorSpaceAsName() << "\n";
    std::cout << "Hdr:ConnectionSpace:" << GetHdrConnectionSpaceAsName() << "\n";
    std::cout << "Hdr:CreationDate:" << GetHdrCreationAsString() << "\n";
    std::cout << "Hdr:Platform:" << GetHdrPlatformAsName() << "\n";
    std::cout << "Hdr:Flags:Embedded:" << (GetHdrProfileFlagEmbedded() ? "True\n" : "False\n");
    std::cout << "Hdr:Flags:ReqColorData:" << (GetHdrProfileFlagReqColorData() ? "True\n" : "False\n");
    std::cout << "Hdr:Manfacturer:" << GetHdrManufacturerAsName() << "\n";
    std::cout << "Hdr:Model:" << GetHdrModelAsName() << "\n";
    std::cout << "Hdr:Attributes:Transparent:" << (GetHdrAttributeTransparent() ? "True\n" : "False\n");
    std::cout << "Hdr:Attributes:Matte:" << (GetHdrAttributeMatte() ? "True\n" : "False\n");
    std::cout << "Hdr:RenderingIntent:" << GetHdrRenderingIntentAsName() << "\n";
    std::cout << "Hdr:IlluminantX:" << GetIlluminantX() << "\n";
    std::cout << "Hdr:IlluminantY:" << GetIlluminantY() << "\n";
    std::cout << "Hdr:IlluminantZ:" << GetIlluminantZ() << "\n";
    std::cout << "Hdr:Creator:" << GetHdrCreatorAsName() << "\n";
    std::cout << "Num Tags:" << GetNumTags() << "\n";
    for (unsigned long i = 0; i < NumTags; ++i) Tags[i]->PrintInfo();
}

void PSDICCProfileRB::SetProfile(unsigned long profileName) {
    switch (profileName) {
        case PROFILE_NAME_SRGB: SetProfileToSRGB(); break;
        case PROFILE_NAME_QUILLARY: SetProfileToQuillary(); break;
        default: break;
    }
}

void PSDICCProfileRB::SetProfileToSRGB() {
    SetHdrCMMType(CMM_TYPE_LINO);
    SetHdrProfileVersion(CURRENT_MAJOR_VERSION, CURRENT_MINOR_VERSION);
    SetHdrProfileClass(PROFILE_DISPLAY_DEVICE);
    SetHdrColorSpace(COLORSPACE_RGB);
    SetHdrConnectionSpace(CONNECTION_SPACE_XYZ);
    // A fixed date: every written file carries the same profile bytes.
    SetHdrCreationDate(1998, 2, 9, 6, 49, 0);
    SetHdrPlatform(PLATFORM_MICROSOFT);
    SetHdrProfileFlags(static_cast<unsigned short>(0));
    SetHdrManufacturer(DEVICE_MANUFACTURER_HP);
    SetHdrModel(DEVICE_MODEL_SRGB);
    SetHdrAttributes(static_cast<unsigned long>(0));
    SetHdrRenderingIntent(RENDERING_INTENT_PERCEPTUAL);
    SetIlluminant(STANDARD_ILLUMINANT_X, STANDARD_ILLUMINANT_Y, STANDARD_ILLUMINANT_Z);
    SetHdrCreator(DEFAULT_PROFILE_CREATOR);

    CreateICCTagObject(PSDICCTag::TAGID_CPRT)->SetCopyright(SRGB_COPYRIGHT);
    CreateICCTagObject(PSDICCTag::TAGID_PROFILE_DESCRIPTION)->SetProfileDescription(SRGB_DESCRIPTION);
    CreateICCTagObject(PSDICCTag::TAGID_MEDIA_WHITE_POINT)->SetMediaWhitePoint(0.950455, 1.0, 1.08905);
    CreateICCTagObject(PSDICCTag::TAGID_MEDIA_BLACK_POINT)->SetMediaBlackPoint(0.0, 0.0, 0.0);
    CreateICCTagObject(PSDICCTag::TAGID_RED_COLORANT)->SetRedColorant(0.436066, 0.222488, 0.013916);
    CreateICCTagObject(PSDICCTag::TAGID_GREEN_COLORANT)->SetGreenColorant(0.385147, 0.716873, 0.097076);
    CreateICCTagObject(PSDICCTag::TAGID_BLUE_COLORANT)->SetBlueColorant(0.143066, 0.060608, 0.714096);
    CreateICCTagObject(PSDICCTag::TAGID_DEVICE_MFG_DESC)->SetDeviceMfgDescription(SRGB_MANUFACTURER);
    CreateICCTagObject(PSDICCTag::TAGID_DEVICE_MODEL_DESC)->SetDeviceModelDescription(SRGB_MODEL);
    CreateICCTagObject(PSDICCTag::TAGID_VIEWING_CONDITIONS_DESC)->SetViewingConditionsDescription(SRGB_VIEWING);
    CreateICCTagObject(PSDICCTag::TAGID_VIEWING_CONDITIONS)
        ->SetViewingConditions(19.644501, 20.371796, 16.808899, 3.928894, 4.074387, 3.361786,
                               PSDICCTag::ILLUMINANT_TYPE_D50);
    CreateICCTagObject(PSDICCTag::TAGID_LUMINANCE)->SetIlluminance(76.036469, 80.0, 87.124619);
    CreateICCTagObject(PSDICCTag::TAGID_MEASUREMENT)
        ->SetMeasurement(PSDICCTag::STANDARD_OBSERVER_1931, 0.0, 0.0, 0.0, PSDICCTag::GEOMETRY_UNKNOWN, 1.0,
                         PSDICCTag::ILLUMINANT_TYPE_D65);
    CreateICCTagObject(PSDICCTag::TAGID_TECHNOLOGY)->SetTechnologyAsName("CRT ");
    CreateICCTagObject(PSDICCTag::TAGID_RED_TONE_CURVE)
        ->SetRedToneReproCurve(PROFILE_SRGB_CURVE_COUNT, PROFILE_SRGB_DEFAULT_CURVE);
    CreateICCTagObject(PSDICCTag::TAGID_GREEN_TONE_CURVE)
        ->SetGreenToneReproCurve(PROFILE_SRGB_CURVE_COUNT, PROFILE_SRGB_DEFAULT_CURVE);
    CreateICCTagObject(PSDICCTag::TAGID_BLUE_TONE_CURVE)
        ->SetBlueToneReproCurve(PROFILE_SRGB_CURVE_COUNT, PROFILE_SRGB_DEFAULT_CURVE);

    CalculateBlockSize();
}

// A second name for the same profile.
void PSDICCProfileRB::SetProfileToQuillary() { SetProfileToSRGB(); }

}  // namespace psdkit
