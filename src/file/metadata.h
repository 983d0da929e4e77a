// Image metadata in files: the comment list (core/comments.h) read from and
// written to TIFF IFDs (IFD0, the EXIF and GPS IFDs), IPTC blocks and the
// JPEG APP1 and APP13 markers that hold them; the display text of a value; and
// the few facts picked out of maker notes.
//
// Reading never stops a load: damaged metadata only gives a shorter list.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "core/comments.h"
#include "file/tiff_writer.h"

// The trailer the program puts behind a stored maker note, so that offsets
// inside the note can be resolved without the file it came from.
inline constexpr std::size_t maker_note_trailer_size = 32;
inline constexpr char maker_note_magic[] = "OrvnNote";

// The value as the windows show it, with the special forms of exposure, GPS
// positions, flash, metering, exposure program and white balance. Empty for
// ISO and exposure index of 0.
std::string CommentText(const Comment& comment);

// The File Comments window's lines for one comment: "Name: \"text\"" with
// continuation lines for further lines and IPTC parts, "Name: 1, 2" for
// integers, "Name: 0.500000" for rationals and "Name: ***" for bytes.
std::vector<std::string> comment_lines(const Comment& comment);

// Reads the comments of a TIFF stream that starts at `base` in the file.
// `filter` lists the codes wanted, ending in -1; null for all. `extension` is
// what the maker note's trailer records. 0, or 56 when the file cannot be read
// as TIFF at all; damaged parts give a shorter list.
[[nodiscard]] int TiffReadComments(const char* file_name, CommentList* list, const int* filter,
                                   std::int64_t base);
// The same on a TIFF stream in memory; `base` is where the stream stood in its
// file, `extension` the file's.
[[nodiscard]] int tiff_read_comments_memory(std::span<const std::uint8_t> stream, CommentList* list,
                                            const int* filter, const std::string& extension);
// IPTC datasets of record 2; repeatable datasets join into one text.
void iptc_read(std::span<const std::uint8_t> block, CommentList* list, const int* filter);
// A JPEG file's APP1 EXIF and APP13 IPTC markers.
[[nodiscard]] int JpegReadComments(const char* file_name, CommentList* list, const int* filter);
// A PNG file's eXIf chunk.
[[nodiscard]] int PngReadComments(const char* file_name, CommentList* list, const int* filter);
// By file type code: 0 TIFF, 1 JPEG, 6 PNG, 20 the raw scan, 80 by the first bytes;
// other codes give nothing. 0, or the reader's error (the list then holds
// what was read).
[[nodiscard]] int ReadComments(const char* file_name, int file_type, CommentList* list,
                               const int* filter);

// The IPTC block of the list's IPTC comments: the version dataset, then one
// dataset for each comment, and for each part of a repeatable one. Empty when
// the list has none.
std::vector<std::uint8_t> iptc_block(const CommentList& list);

// A little-endian TIFF stream with IFD0's text tags and the EXIF and GPS IFDs,
// no pixels and no maker note: the body of a JPEG's APP1 marker behind
// "Exif\0\0". Empty when the list has nothing for it; error 126 when it would
// pass `limit` bytes.
[[nodiscard]] int TiffWriteExifBlock(const CommentList& list, std::vector<std::uint8_t>* block,
                                     std::size_t limit);

// For the TIFF writer: the IFD0 entries that come from the list (text tags,
// the IPTC block and the EXIF and GPS pointers with a zero value, to be set
// once the IFDs are placed).
std::vector<TiffField> tiff_comment_fields(const CommentList& list);
// The EXIF IFD, maker note included, and the GPS IFD as they stand from
// offset `at` of the stream; `*exif_at` and `*gps_at` get their offsets, 0
// when absent. Empty when the list has none.
std::vector<std::uint8_t> tiff_comment_ifds(const CommentList& list, std::uint32_t at,
                                            std::uint32_t* exif_at, std::uint32_t* gps_at);

// The APP13 body of a JPEG carrying `iptc`; empty for an empty block.
std::vector<std::uint8_t> jpeg_app13_body(std::span<const std::uint8_t> iptc);
// The APP1 body, "Exif\0\0" and the stream; empty when there is none.
[[nodiscard]] int jpeg_app1_body(const CommentList& list, std::vector<std::uint8_t>* body);

// What a maker note says of lens, white balance and ISO, for the makers known
// here. A note without the trailer gives nothing.
struct MakerNoteFacts {
    std::string lens;
    std::string white_balance;
    std::string iso;
};
void MakerNoteInfo(std::span<const std::uint8_t> note, const std::string& make,
                   const std::string& model, MakerNoteFacts* facts);
