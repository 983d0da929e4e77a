// Where TIFF bytes come from: an open file or a block in memory, with a base
// offset that is added to every offset of the stream, and the stream's byte
// order. Every read is checked against the end of the file or block; a read
// beyond it is error 56, like any short read.
//
// Also the decoding of IFD entries, and the small entry readers that maker-note
// parsing uses on a block in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

inline constexpr int err_tiff_read = 56;

// TIFF field types.
enum TiffType : int {
    tiff_byte = 1,
    tiff_ascii = 2,
    tiff_short = 3,
    tiff_long = 4,
    tiff_rational = 5,
    tiff_sbyte = 6,
    tiff_undefined = 7,
    tiff_sshort = 8,
    tiff_slong = 9,
    tiff_srational = 10,
    tiff_float = 11,
    tiff_double = 12,
    tiff_ifd = 13,
};

// Bytes of one value of a type, for types 0 to 13; 0 for unknown types.
int tiff_type_size(int type);

// Value of an entry of unknown type, as integer and as real.
inline constexpr std::int32_t tiff_bad_value = 0x2BAD2BAD;

// One IFD entry: its 12 bytes as stored, and their decoding.
struct TiffEntry {
    std::uint8_t raw[12] = {};
    int tag = 0;
    int type = 0;
    std::uint32_t count = 0;
    std::int32_t value = 0;    // the first value as an integer, see tiff_decode_entry
    double real = 0.0;         // the first value as a real
    std::uint32_t offset = 0;  // the value field read as a 32-bit offset
};

struct TiffSource {
    std::FILE* file = nullptr;
    const std::uint8_t* memory = nullptr;
    std::uint64_t size = 0;  // bytes of the file or block, from its very start
    std::int64_t base = 0;   // added to every offset
    bool big_endian = false;
};

// A source over an open file; a base of -1 means the file's current position.
// Returns 0 or 56 when the file cannot be positioned.
[[nodiscard]] int tiff_source_file(TiffSource* source, std::FILE* file, std::int64_t base);

// Reads `size` bytes at `offset` (relative to the base). 0 or 56. A file is left
// positioned just behind the bytes read.
[[nodiscard]] int tiff_read(const TiffSource& source, std::uint64_t offset, void* out,
                            std::size_t size);

// True when `size` bytes at `offset` lie within the source.
bool tiff_in_range(const TiffSource& source, std::uint64_t offset, std::uint64_t size);

// Numbers in the stream's byte order.
std::uint16_t tiff_get16(const TiffSource& source, const std::uint8_t* p);
std::uint32_t tiff_get32(const TiffSource& source, const std::uint8_t* p);

// Reads the 8-byte header at the base: the byte order (bytes 0 and 1 equal,
// "II" or "MM", else 56) and the offset of the first IFD. The version word is
// not looked at.
[[nodiscard]] int tiff_read_header(TiffSource* source, std::uint32_t* first_ifd);

// Decodes 12 stored bytes. RATIONAL, SRATIONAL and DOUBLE values are read from
// the value offset, which can fail with 56.
[[nodiscard]] int tiff_decode_entry(const TiffSource& source, const std::uint8_t* raw,
                                    TiffEntry* entry);

// Reads and decodes every entry of the IFD at `offset`; `*next_ifd`, when given,
// receives the link to the following IFD.
[[nodiscard]] int tiff_read_ifd(const TiffSource& source, std::uint32_t offset,
                                std::vector<TiffEntry>* entries, std::uint32_t* next_ifd = nullptr);

// The entry with this tag, or null.
const TiffEntry* tiff_find(const std::vector<TiffEntry>& entries, int tag);

// The entry's values widened to 32 bits: SHORT and SSHORT as 16-bit, BYTE types
// as 8-bit, anything else as 32-bit values. They come from the entry itself when
// they fit in its 4 bytes, otherwise from the value offset in one read.
[[nodiscard]] int tiff_read_values(const TiffSource& source, const TiffEntry& entry,
                                   std::vector<std::uint32_t>* values);

// Bytes of the entry's values: count times type size. Up to 4 of them lie in the
// entry itself, from raw byte 8; more lie at the value offset.
std::uint64_t tiff_value_bytes(const TiffEntry& entry);

// Maker notes and other TIFF structures held in memory. Offsets are relative to
// `base` within the block; the byte order is that of the file the block came
// from, or is set from a header by tiff_read_header.
void TiffOpenMemory(TiffSource* source, const std::uint8_t* block, std::size_t size,
                    std::int64_t base, bool big_endian);

// Looks for `tag` in the IFD at `ifd_offset`; `*found` tells whether it is there.
[[nodiscard]] int TiffFindTag(const TiffSource& source, std::uint32_t ifd_offset, int tag,
                              TiffEntry* entry, bool* found);

// Value `index` of a BYTE, SBYTE, UNDEFINED, SHORT or SSHORT entry; 56 when the
// index is beyond the count or the data beyond the source.
[[nodiscard]] int TiffReadByteOrShortAt(const TiffSource& source, const TiffEntry& entry,
                                        std::uint32_t index, int* value);

// Value `index` of a RATIONAL or SRATIONAL entry, a zero denominator counting as 1.
[[nodiscard]] int TiffReadRationalAt(const TiffSource& source, const TiffEntry& entry,
                                     std::uint32_t index, double* value);

// The text of tag `tag` in the IFD at `ifd_offset`, without its terminating zero;
// empty with `*found` false when there is no such tag.
[[nodiscard]] int TiffFindString(const TiffSource& source, std::uint32_t ifd_offset, int tag,
                                 std::string* text, bool* found);
