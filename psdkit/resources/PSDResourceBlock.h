#ifndef PSDKIT_RESOURCES_PSDRESOURCEBLOCK_H
#define PSDKIT_RESOURCES_PSDRESOURCEBLOCK_H

#include <fstream>
#include <string>

#include "psdkit/core/PSDExport.h"

namespace psdkit {

class PSDBoundedReader;

// Abstract base of every image resource block: the frame around a payload,
// the two sizes the section length rests on, and the raw payload.
class PSDKIT_API PSDResourceBlock {
public:
    static constexpr unsigned short RS_1000 = 1000;
    static constexpr unsigned short RS_1001 = 1001;
    static constexpr unsigned short RS_1003 = 1003;
    static constexpr unsigned short RS_1005 = 1005;
    static constexpr unsigned short RS_1006 = 1006;
    static constexpr unsigned short RS_1007 = 1007;
    static constexpr unsigned short RS_1008 = 1008;
    static constexpr unsigned short RS_1009 = 1009;
    static constexpr unsigned short RS_1010 = 1010;
    static constexpr unsigned short RS_1011 = 1011;
    static constexpr unsigned short RS_1012 = 1012;
    static constexpr unsigned short RS_1013 = 1013;
    static constexpr unsigned short RS_1014 = 1014;
    static constexpr unsigned short RS_1015 = 1015;
    static constexpr unsigned short RS_1016 = 1016;
    static constexpr unsigned short RS_1017 = 1017;
    static constexpr unsigned short RS_1018 = 1018;
    static constexpr unsigned short RS_1019 = 1019;
    static constexpr unsigned short RS_1020 = 1020;
    static constexpr unsigned short RS_1021 = 1021;
    static constexpr unsigned short RS_1022 = 1022;
    static constexpr unsigned short RS_1023 = 1023;
    static constexpr unsigned short RS_1024 = 1024;
    static constexpr unsigned short RS_1025 = 1025;
    static constexpr unsigned short RS_1026 = 1026;
    static constexpr unsigned short RS_1027 = 1027;
    static constexpr unsigned short RS_1028 = 1028;
    static constexpr unsigned short RS_1029 = 1029;
    static constexpr unsigned short RS_1030 = 1030;
    static constexpr unsigned short RS_1032 = 1032;
    static constexpr unsigned short RS_1033 = 1033;
    static constexpr unsigned short RS_1034 = 1034;
    static constexpr unsigned short RS_1035 = 1035;
    static constexpr unsigned short RS_1036 = 1036;
    static constexpr unsigned short RS_1037 = 1037;
    static constexpr unsigned short RS_1038 = 1038;
    static constexpr unsigned short RS_1039 = 1039;
    static constexpr unsigned short RS_1040 = 1040;
    static constexpr unsigned short RS_1041 = 1041;
    static constexpr unsigned short RS_1042 = 1042;
    static constexpr unsigned short RS_1043 = 1043;
    static constexpr unsigned short RS_1044 = 1044;
    static constexpr unsigned short RS_1045 = 1045;
    static constexpr unsigned short RS_1046 = 1046;
    static constexpr unsigned short RS_1047 = 1047;
    static constexpr unsigned short RS_1049 = 1049;
    static constexpr unsigned short RS_1050 = 1050;
    static constexpr unsigned short RS_1051 = 1051;
    static constexpr unsigned short RS_1052 = 1052;
    static constexpr unsigned short RS_1053 = 1053;
    static constexpr unsigned short RS_1054 = 1054;
    static constexpr unsigned short RS_1057 = 1057;
    static constexpr unsigned short RS_2000 = 2000;
    static constexpr unsigned short RS_2998 = 2998;
    static constexpr unsigned short RS_2999 = 2999;
    static constexpr unsigned short RS_10000 = 10000;

    // Bytes of the header that WriteResourceBlockHeader writes.
    static constexpr unsigned long HEADER_SIZE = 12;

    PSDResourceBlock();
    virtual ~PSDResourceBlock();

    // Writes a text report of the block to standard output.
    virtual void PrintInfo() = 0;
    // Decodes the subclass's fields from the data block in memory.
    virtual void ReadDataBlock() = 0;
    // Writes the whole block to the output stream.
    virtual void WriteResourceBlock() = 0;

    void SetStreams(std::ifstream* input, std::ofstream* output);
    std::ifstream* GetInputStream() const { return InputStream; }
    std::ofstream* GetOutputStream() const { return OutputStream; }

    void SetResourceID(unsigned short id) { ResourceID = id; }
    unsigned short GetResourceID() const { return ResourceID; }

    // Sets the data block size to n and the resource block size to n + 12.
    void SetDataBlockSize(unsigned long n);
    unsigned long GetDataBlockSize() const { return DataBlockSize; }
    void IncrementDataBlockSize(unsigned long n);
    void SetResourceBlockSize(unsigned long n) { ResourceBlockSize = n; }
    unsigned long GetResourceBlockSize() const { return ResourceBlockSize; }

    char* GetDataBlock() const { return DataBlock; }
    // Bytes held in the data block (the padded payload after a read), 0 without one.
    unsigned long GetDataBlockCapacity() const { return DataBlockCapacity; }
    char* AllocateDataBlock(unsigned long n);
    void FreeDataBlock();

    // The Pascal name the block was read with (empty for built blocks).
    unsigned char GetNameLength() const { return NameLength; }
    const char* GetName() const { return Name.c_str(); }

    char* GetIDAsName() const;

    // Reads one whole block from the input stream. False, with nothing
    // allocated, when the block's frame or data do not lie within `limit`
    // bytes from the current position or within the file.
    bool ReadResourceBlock();
    bool ReadResourceBlock(unsigned long limit);
    // The same from a window, which then stands behind the bytes consumed.
    bool ReadResourceBlock(PSDBoundedReader& in);

    // "8BIM", the ID, an empty name and the data block size: 12 bytes.
    void WriteResourceBlockHeader();

    // Moves a raw block (source) into a decoded object (target), ending in the
    // target's ReadDataBlock.
    static void Copy(PSDResourceBlock* source, PSDResourceBlock* target);

    // Brings both sizes up to date with what WriteResourceBlock() writes, so
    // that the section's length word counts exactly the bytes that go out.
    // The section calls it on every block before it adds the sizes up.
    virtual void UpdateSizesForWrite();

protected:
    // The one rule for what a block puts out on write: its raw payload as
    // read, or its fields in the reader's layout. A block built in memory
    // always writes its fields; the policy says what a block read from a
    // file does.
    enum WritePolicy {
        WRITE_RAW_ONLY,        // no fields: the raw payload, always
        WRITE_READ_AS_RAW,     // a read block goes back as it was read
        WRITE_READ_IF_EXACT,   // a read block writes its fields when its sizes state exactly them
        WRITE_READ_RE_ENCODED  // a read block writes its fields and takes their sizes
    };
    enum WriteForm {
        WRITE_RAW,     // the block as it was read
        WRITE_HEADER,  // the 12-byte header alone: a block with no sizes, written on its own
        WRITE_FIELDS   // the header and the fields
    };
    // The form `policy` gives for a fields payload of `payload` bytes with the
    // block's present sizes. `encodable` false (fields that lost their bytes)
    // keeps the raw form.
    WriteForm SelectWriteForm(WritePolicy policy, unsigned long payload, bool encodable = true) const;
    // Sets both sizes to what the block writes under `policy`: its fields when
    // it was built in memory (also when it was added unfilled, or a host set
    // sizes that do not fit them), else what the policy keeps for a read block.
    // Afterwards SelectWriteForm writes exactly GetResourceBlockSize() bytes.
    void ApplyWritePolicy(WritePolicy policy, unsigned long payload, bool encodable = true);
    // Writes the block in the form SelectWriteForm gives: raw, the header
    // alone, or the header and `size` bytes of `payload` with a pad byte.
    void WriteUnderPolicy(WritePolicy policy, const char* payload, unsigned long size);
    // The header and `size` bytes of `payload`, then a pad byte when `size` is odd.
    void WriteFieldsForm(const char* payload, unsigned long size);

    // True when the block holds a payload taken from a file.
    bool HoldsReadPayload() const { return DataBlock != nullptr; }
    // True when the block's sizes state exactly a header with an empty name and
    // `payload` bytes (the data size stated exactly or evened).
    bool SizesFitPayload(unsigned long payload) const;
    // Bytes the raw form takes: the frame with the name, and the evened data.
    unsigned long RawBlockSize() const;
    // Writes the block as it was read: its name, its size and its padded raw
    // payload, exactly GetResourceBlockSize() bytes (missing bytes as zeros).
    void WriteRawResourceBlock();
    // Writes `n` zero bytes.
    void WriteZeros(unsigned long n);
    // Payload bytes a reader may take: the data block size, but never more
    // than the data block really holds.
    unsigned long ReadablePayloadSize() const;
    // The flag rule of the payload's boolean bytes: true for 0x01 to 0x7F.
    static bool FlagFromByte(char value) { return static_cast<signed char>(value) > 0; }

    std::ifstream* InputStream;
    std::ofstream* OutputStream;
    unsigned short ResourceID;
    unsigned long DataBlockSize;
    unsigned long ResourceBlockSize;
    char* DataBlock;
    unsigned long DataBlockCapacity;
    unsigned char NameLength;
    // Held only when not empty, so that a block costs little beyond its data.
    std::string Name;

private:
    PSDResourceBlock(const PSDResourceBlock&) = delete;
    PSDResourceBlock& operator=(const PSDResourceBlock&) = delete;

    // Copy, or with `take` the payload changes hands instead of being copied,
    // so that reading a block holds its bytes once (the section's reader).
    static void Transfer(PSDResourceBlock* source, PSDResourceBlock* target, bool take);
    friend class PSDImageRes;
};

PSDKIT_API extern char* RS_1000_STR;
PSDKIT_API extern char* RS_1001_STR;
PSDKIT_API extern char* RS_1003_STR;
PSDKIT_API extern char* RS_1005_STR;
PSDKIT_API extern char* RS_1006_STR;
PSDKIT_API extern char* RS_1007_STR;
PSDKIT_API extern char* RS_1008_STR;
PSDKIT_API extern char* RS_1009_STR;
PSDKIT_API extern char* RS_1010_STR;
PSDKIT_API extern char* RS_1011_STR;
PSDKIT_API extern char* RS_1012_STR;
PSDKIT_API extern char* RS_1013_STR;
PSDKIT_API extern char* RS_1014_STR;
PSDKIT_API extern char* RS_1015_STR;
PSDKIT_API extern char* RS_1016_STR;
PSDKIT_API extern char* RS_1017_STR;
PSDKIT_API extern char* RS_1018_STR;
PSDKIT_API extern char* RS_1019_STR;
PSDKIT_API extern char* RS_1020_STR;
PSDKIT_API extern char* RS_1021_STR;
PSDKIT_API extern char* RS_1022_STR;
PSDKIT_API extern char* RS_1023_STR;
PSDKIT_API extern char* RS_1024_STR;
PSDKIT_API extern char* RS_1025_STR;
PSDKIT_API extern char* RS_1026_STR;
PSDKIT_API extern char* RS_1027_STR;
PSDKIT_API extern char* RS_1028_STR;
PSDKIT_API extern char* RS_1029_STR;
PSDKIT_API extern char* RS_1030_STR;
PSDKIT_API extern char* RS_1032_STR;
PSDKIT_API extern char* RS_1033_STR;
PSDKIT_API extern char* RS_1034_STR;
PSDKIT_API extern char* RS_1035_STR;
PSDKIT_API extern char* RS_1036_STR;
PSDKIT_API extern char* RS_1037_STR;
PSDKIT_API extern char* RS_1038_STR;
PSDKIT_API extern char* RS_1039_STR;
PSDKIT_API extern char* RS_1040_STR;
PSDKIT_API extern char* RS_1041_STR;
PSDKIT_API extern char* RS_1042_STR;
PSDKIT_API extern char* RS_1043_STR;
PSDKIT_API extern char* RS_1044_STR;
PSDKIT_API extern char* RS_1045_STR;
PSDKIT_API extern char* RS_1046_STR;
PSDKIT_API extern char* RS_1047_STR;
PSDKIT_API extern char* RS_1049_STR;
PSDKIT_API extern char* RS_1050_STR;
PSDKIT_API extern char* RS_1051_STR;
PSDKIT_API extern char* RS_1052_STR;
PSDKIT_API extern char* RS_1053_STR;
PSDKIT_API extern char* RS_1054_STR;
PSDKIT_API extern char* RS_1057_STR;
PSDKIT_API extern char* RS_2000_STR;
PSDKIT_API extern char* RS_2998_STR;
PSDKIT_API extern char* RS_2999_STR;
PSDKIT_API extern char* RS_10000_STR;
PSDKIT_API extern char* RS_UNKNOWN_STR;

}  // namespace psdkit

#endif
