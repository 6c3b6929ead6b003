#ifndef PSDKIT_ICC_PSDICCTAG_H
#define PSDKIT_ICC_PSDICCTAG_H

#include <fstream>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

// One tag of an ICC profile: its table entry and the payload it points to.
// The payload is kept in its file form only; the getters decode it on each
// call, so a payload built here and one read from a file behave alike.
class PSDKIT_API PSDICCTag {
public:
    // Bytes of one tag table entry.
    static constexpr unsigned long ICC_TAG_SIZE = 12;

    // Tag IDs.
    static constexpr unsigned long TAGID_CPRT = 0x63707274;                     // cprt
    static constexpr unsigned long TAGID_PROFILE_DESCRIPTION = 0x64657363;      // desc
    static constexpr unsigned long TAGID_MEDIA_WHITE_POINT = 0x77747074;        // wtpt
    static constexpr unsigned long TAGID_MEDIA_BLACK_POINT = 0x626B7074;        // bkpt
    static constexpr unsigned long TAGID_RED_COLORANT = 0x7258595A;             // rXYZ
    static constexpr unsigned long TAGID_GREEN_COLORANT = 0x6758595A;           // gXYZ
    static constexpr unsigned long TAGID_BLUE_COLORANT = 0x6258595A;            // bXYZ
    static constexpr unsigned long TAGID_DEVICE_MFG_DESC = 0x646D6E64;          // dmnd
    static constexpr unsigned long TAGID_DEVICE_MODEL_DESC = 0x646D6464;        // dmdd
    static constexpr unsigned long TAGID_VIEWING_CONDITIONS_DESC = 0x76756564;  // vued
    static constexpr unsigned long TAGID_VIEWING_CONDITIONS = 0x76696577;       // view
    static constexpr unsigned long TAGID_LUMINANCE = 0x6C756D69;                // lumi
    static constexpr unsigned long TAGID_MEASUREMENT = 0x6D656173;              // meas
    static constexpr unsigned long TAGID_TECHNOLOGY = 0x74656368;               // tech
    static constexpr unsigned long TAGID_RED_TONE_CURVE = 0x72545243;           // rTRC
    static constexpr unsigned long TAGID_GREEN_TONE_CURVE = 0x67545243;         // gTRC
    static constexpr unsigned long TAGID_BLUE_TONE_CURVE = 0x62545243;          // bTRC

    // Payload type words.
    static constexpr unsigned long TAG_TYPE_TEXT = 0x74657874;         // text
    static constexpr unsigned long TAG_TYPE_DESC = 0x64657363;         // desc
    static constexpr unsigned long TAG_TYPE_XYZ = 0x58595A20;          // "XYZ "
    static constexpr unsigned long TAG_TYPE_VIEW = 0x76696577;         // view
    static constexpr unsigned long TAG_TYPE_MEASUREMENT = 0x6D656173;  // meas
    static constexpr unsigned long TAG_TYPE_SIGNATURE = 0x73696720;    // "sig "
    static constexpr unsigned long TAG_TYPE_CURVE = 0x63757276;        // curv

    // Numbers inside meas and view payloads.
    static constexpr unsigned long ILLUMINANT_TYPE_UNKNOWN = 0;
    static constexpr unsigned long ILLUMINANT_TYPE_D50 = 1;
    static constexpr unsigned long ILLUMINANT_TYPE_D65 = 2;
    static constexpr unsigned long ILLUMINANT_TYPE_D93 = 3;
    static constexpr unsigned long ILLUMINANT_TYPE_F2 = 4;
    static constexpr unsigned long ILLUMINANT_TYPE_D55 = 5;
    static constexpr unsigned long ILLUMINANT_TYPE_A = 6;
    static constexpr unsigned long ILLUMINANT_TYPE_EQUI_POWER = 7;
    static constexpr unsigned long ILLUMINANT_TYPE_F8 = 8;
    static constexpr unsigned long STANDARD_OBSERVER_UNKNOWN = 0;
    static constexpr unsigned long STANDARD_OBSERVER_1931 = 1;
    static constexpr unsigned long STANDARD_OBSERVER_1964 = 2;
    static constexpr unsigned long GEOMETRY_UNKNOWN = 0;
    static constexpr unsigned long GEOMETRY_45 = 1;
    static constexpr unsigned long GEOMETRY_D = 2;

    static char* ILLUMINANT_TYPE_UNKNOWN_STR;
    static char* ILLUMINANT_TYPE_D50_STR;
    static char* ILLUMINANT_TYPE_D65_STR;
    static char* ILLUMINANT_TYPE_D93_STR;
    static char* ILLUMINANT_TYPE_F2_STR;
    static char* ILLUMINANT_TYPE_D55_STR;
    static char* ILLUMINANT_TYPE_A_STR;
    static char* ILLUMINANT_TYPE_EQUI_POWER_STR;
    static char* ILLUMINANT_TYPE_F8_STR;
    static char* STANDARD_OBSERVER_UNKNOWN_STR;
    static char* STANDARD_OBSERVER_1931_STR;
    static char* STANDARD_OBSERVER_1964_STR;
    static char* GEOMETRY_UNKNOWN_STR;
    static char* GEOMETRY_45_STR;
    static char* GEOMETRY_D_STR;

    PSDICCTag();
    explicit PSDICCTag(unsigned long tagID);
    virtual ~PSDICCTag();

    // Clears the fields to those of a new tag; touches no buffer.
    void InitObject();

    void SetTagID(unsigned long tagID) { TagID = tagID; }
    unsigned long GetTagID() const { return TagID; }
    void SetTagOffset(unsigned long offset) { TagOffset = offset; }
    unsigned long GetTagOffset() const { return TagOffset; }
    // Also sets the padded size: the size rounded up to a multiple of 4.
    void SetTagSize(unsigned long size);
    unsigned long GetTagSize() const { return TagSize; }
    unsigned long GetPaddedTagSize() const { return PaddedTagSize; }
    char* GetTagData() const { return TagData; }

    void FreeTagData();
    // A new buffer of padded tag size bytes; false when none can be had.
    bool AllocateTagData();
    bool AllocateTagData(unsigned long size);
    // Copies padded tag size bytes at the tag offset of `profile`. The caller
    // vouches that they lie within the profile.
    void CopyTagData(const char* profile);
    // The same, only when they lie within the `profileSize` bytes of the
    // profile; otherwise the tag is left without a payload and false returned.
    bool CopyTagData(const char* profile, unsigned long profileSize);

    // Reads the table entry at `entry` and copies its payload from `profile`.
    // Returns the address of the next entry. The caller vouches that the
    // entry and its data lie within the profile.
    const char* ReadTag(const char* profile, const char* entry);
    // The same for a profile of `profileSize` bytes: an entry whose data does
    // not lie within them keeps its ID, offset and size but gets no payload.
    const char* ReadTag(const char* profile, const char* entry, unsigned long profileSize);
    // The ID, offset and size of the 12-byte entry at `entry`, no payload.
    void ReadTagEntry(const char* entry);
    // Writes the 12-byte entry and keeps `offset` as the tag offset.
    void WriteTagTableEntry(unsigned long offset, std::ofstream* output);
    // Writes padded tag size bytes: the payload, or zeros for a tag that has none.
    void WriteTagData(std::ofstream* output);

    // Typed payloads. The setters return false when no buffer could be had.
    bool SetTextTypeAttribute(const char* text);
    bool SetDescTypeAttribute(const char* text);
    bool SetCurveTypeAttribute(unsigned long count, const unsigned short* entries);
    bool SetSignatureTypeAttribute(unsigned long signature);
    bool SetMeasureTypeAttribute(unsigned long observer, double backingX, double backingY, double backingZ,
                                 unsigned long geometry, double flare, unsigned long illuminant);
    bool SetViewConditionsTypeAttribute(double illuminantX, double illuminantY, double illuminantZ,
                                        double surroundX, double surroundY, double surroundZ,
                                        unsigned long illuminantType);
    bool SetXYZTypeAttribute(double x, double y, double z);

    // Null unless the payload holds the getter's type word and its whole
    // layout. text and desc point into the payload; the others return a
    // static buffer that the next call of the same getter overwrites.
    char* GetTextTypeAttribute() const;
    char* GetDescTypeAttribute() const;
    char* GetCurveTypeAttribute() const;
    char* GetSignatureTypeAttribute() const;
    char* GetMeasureTypeAttribute() const;
    char* GetViewConditionsTypeAttribute() const;
    char* GetXYZTypeAttribute() const;

    // Named roles: each forwards to its typed setter or getter, whatever the tag ID.
    bool SetCopyright(const char* text) { return SetTextTypeAttribute(text); }
    char* GetCopyright() const { return GetTextTypeAttribute(); }
    bool SetProfileDescription(const char* text) { return SetDescTypeAttribute(text); }
    char* GetProfileDescription() const { return GetDescTypeAttribute(); }
    bool SetDeviceMfgDescription(const char* text) { return SetDescTypeAttribute(text); }
    char* GetDeviceMfgDescription() const { return GetDescTypeAttribute(); }
    bool SetDeviceModelDescription(const char* text) { return SetDescTypeAttribute(text); }
    char* GetDeviceModelDescription() const { return GetDescTypeAttribute(); }
    bool SetViewingConditionsDescription(const char* text) { return SetDescTypeAttribute(text); }
    char* GetViewingConditionsDescription() const { return GetDescTypeAttribute(); }
    bool SetMediaWhitePoint(double x, double y, double z) { return SetXYZTypeAttribute(x, y, z); }
    char* GetMediaWhitePoint() const { return GetXYZTypeAttribute(); }
    bool SetMediaBlackPoint(double x, double y, double z) { return SetXYZTypeAttribute(x, y, z); }
    char* GetMediaBlackPoint() const { return GetXYZTypeAttribute(); }
    bool SetRedColorant(double x, double y, double z) { return SetXYZTypeAttribute(x, y, z); }
    char* GetRedColorant() const { return GetXYZTypeAttribute(); }
    bool SetGreenColorant(double x, double y, double z) { return SetXYZTypeAttribute(x, y, z); }
    char* GetGreenColorant() const { return GetXYZTypeAttribute(); }
    bool SetBlueColorant(double x, double y, double z) { return SetXYZTypeAttribute(x, y, z); }
    char* GetBlueColorant() const { return GetXYZTypeAttribute(); }
    bool SetIlluminance(double x, double y, double z) { return SetXYZTypeAttribute(x, y, z); }
    char* GetIlluminance() const { return GetXYZTypeAttribute(); }
    bool SetViewingConditions(double illuminantX, double illuminantY, double illuminantZ, double surroundX,
                              double surroundY, double surroundZ, unsigned long illuminantType) {
        return SetViewConditionsTypeAttribute(illuminantX, illuminantY, illuminantZ, surroundX, surroundY, surroundZ,
                                              illuminantType);
    }
    char* GetViewingConditions() const { return GetViewConditionsTypeAttribute(); }
    bool SetMeasurement(unsigned long observer, double backingX, double backingY, double backingZ,
                        unsigned long geometry, double flare, unsigned long illuminant) {
        return SetMeasureTypeAttribute(observer, backingX, backingY, backingZ, geometry, flare, illuminant);
    }
    char* GetMeasurement() const { return GetMeasureTypeAttribute(); }
    bool SetTechnology(unsigned long signature) { return SetSignatureTypeAttribute(signature); }
    // Takes the first four bytes of `name` (no terminator needed), first byte high.
    bool SetTechnologyAsName(const char* name);
    char* GetTechnology() const { return GetSignatureTypeAttribute(); }
    bool SetRedToneReproCurve(unsigned long count, const unsigned short* entries) {
        return SetCurveTypeAttribute(count, entries);
    }
    char* GetRedToneReproCurve() const { return GetCurveTypeAttribute(); }
    bool SetGreenToneReproCurve(unsigned long count, const unsigned short* entries) {
        return SetCurveTypeAttribute(count, entries);
    }
    char* GetGreenToneReproCurve() const { return GetCurveTypeAttribute(); }
    bool SetBlueToneReproCurve(unsigned long count, const unsigned short* entries) {
        return SetCurveTypeAttribute(count, entries);
    }
    char* GetBlueToneReproCurve() const { return GetCurveTypeAttribute(); }

    // Display texts.
    static char* GetIlluminantTypeAsName(unsigned long illuminant);
    static char* GetObserverAsName(unsigned long observer);
    static char* GetGeometryAsName(unsigned long geometry);
    // The four characters of `signature`, first from the high byte (static buffer).
    static char* GetSignatureAsName(unsigned long signature);
    // The tag ID as four characters (static buffer).
    char* GetTagIDAsName() const;
    // The payload as text by the role the tag ID gives; never null.
    char* GetAttributeAsName() const;
    void PrintInfo() const;

private:
    PSDICCTag(const PSDICCTag&) = delete;
    PSDICCTag& operator=(const PSDICCTag&) = delete;

    // The payload when it holds `typeWord` and at least `layoutSize` bytes.
    const char* PayloadOfType(unsigned long typeWord, unsigned long layoutSize) const;
    // A zeroed buffer for a payload of `size` bytes headed by `typeWord`.
    char* StartPayload(unsigned long typeWord, unsigned long size);

    unsigned long TagID;
    unsigned long TagOffset;
    unsigned long TagSize;
    unsigned long PaddedTagSize;
    char* TagData;
    unsigned long DataCapacity;  // bytes the buffer really holds
};

}  // namespace psdkit

#endif
