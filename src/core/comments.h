// What a file says about itself (EXIF, GPS, IPTC and TIFF text fields) as one
// list of comments under a single numbering, the comment code. The list lives
// in the window record; the file layer reads and writes it (file/metadata.h).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The banner that every save puts into code 9, "Software".
inline constexpr const char product_banner[] = "Orvane Pro 64  v6.0.10 ";

// How a value is stored in a comment and shown.
enum CommentKind : int {
    comment_text,       // characters, no terminating zero
    comment_long_text,  // the same, for texts that may run long
    comment_integer,    // 16-bit values in host order
    comment_rational,   // pairs of u32: numerator, denominator
    comment_srational,  // pairs of i32
    comment_bytes,      // bytes, shown in hexadecimal
    comment_raw,        // opaque bytes
};

// Class bits: where a code is written.
enum CommentClass : std::uint32_t {
    comment_class_ifd0 = 1,
    comment_class_exif = 8,
    comment_class_gps = 16,
    comment_class_iptc = 32,
};

// Bits of the mask of CommentsFilteredForSave.
enum CommentSaveMask : int {
    comment_drop_maker_note = 1,
    comment_drop_exif = 2,
    comment_drop_gps = 4,
    comment_drop_iptc = 8,
    comment_drop_all = 16,
};

inline constexpr std::uint32_t comment_code_software = 9;
inline constexpr std::uint32_t comment_code_maker_note = 36;
inline constexpr std::uint32_t comment_code_iptc_version = 181;
// IPTC keeps repeated datasets as one text, the parts joined by this.
inline constexpr char comment_iptc_separator = '\x01';

// One row of the comment table.
struct CommentInfo {
    std::uint32_t code;
    const char* name;
    int kind;   // CommentKind
    int count;  // fixed count of values or characters; 0 when free
    std::uint32_t classes;
    int tag;          // TIFF/EXIF/GPS tag, IPTC dataset of record 2, -1 none
    bool repeatable;  // an IPTC dataset that may stand several times
};

// The table in display order.
std::span<const CommentInfo> comment_table();
// The row of a code; null for a code not in the table.
const CommentInfo* comment_info(std::uint32_t code);

struct Comment {
    std::uint32_t code = 0;
    std::uint32_t classes = 0;
    std::vector<std::uint8_t> bytes;
    std::string_view text() const {
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
};

// In order of arrival; at most one comment a code.
struct CommentList {
    std::vector<Comment> items;
};

// Appends a comment; a second one of a code already there is dropped (0).
// -1 for a code not in the table, 1 when memory runs out.
[[nodiscard]] int CommentAdd(CommentList* list, std::uint32_t code, std::size_t size,
                             const std::uint8_t* bytes);
const Comment* CommentFind(const CommentList& list, std::uint32_t code);
void CommentRemove(CommentList* list, std::uint32_t code);
void CommentFreeAll(CommentList* list);
// For text kinds only: replaces the text; an empty text removes the comment.
// Other kinds are left alone. 0, -1 or 1 as CommentAdd.
[[nodiscard]] int CommentSetText(CommentList* list, std::uint32_t code, std::string_view text);
// Mode 'a' appends `text` as it is to an existing text, 'd' sets only where
// no text exists yet; others replace.
[[nodiscard]] int CommentSetTextMode(CommentList* list, std::uint32_t code, std::string_view text,
                                     int mode);
// The comments a save writes: the list itself for mask 0; a copy without
// the classes the mask bits name.
[[nodiscard]] int CommentsFilteredForSave(const CommentList& list, CommentList* out, int mask);
