// What a file name says a file holds, and what each save format can take.
//
// Two numberings meet here. The file type code comes from the name alone and
// decides which reader runs. The stored file type is what a window remembers
// after a load, and the save side works on that one: it picks the Save Image
// panel's filter. Every other part that needs an extension, a format name or a
// save filter takes it from this table.
#pragma once

#include <string>
#include <string_view>

// File type codes.
enum FileType : int {
    file_type_tiff = 0,
    file_type_jpeg = 1,
    file_type_bmp = 2,
    file_type_pcx = 3,
    file_type_gif = 4,
    file_type_targa = 5,
    file_type_png = 6,
    file_type_flashpix = 7,
    file_type_fits = 8,
    file_type_rle = 9,
    file_type_photo_cd = 10,
    file_type_eps = 11,
    file_type_cmp = 12,
    file_type_jpeg2000 = 19,
    file_type_raw = 20,
    file_type_workflow = 32,
    file_type_album = 33,
    file_type_video = 34,
    file_type_unknown = 80,
};

// The code of a file name, by its extension in any case. The extension is the
// text behind the last `.`; a `/` or `\` met first (searching from the end)
// means there is none. A `.pcd` name is Photo CD unless the whole name, folder
// included, is `info.pcd`, `overview.pcd` or `options.pcd`: so those three are
// excluded only when given without a folder. No file access.
int FileTypeOfName(std::string_view name);

// "TIFF", "JPEG", ... for the codes that have a format name; "Unknown" for
// the others.
const char* FormatNameOf(int file_type);

// File type code to stored file type: -1 for codes whose files a window does
// not keep a type for.
int stored_file_type_of(int file_type);
// Stored file type back to the file type code: what `KindOfRecord` answers for
// a window record. Stored 0 and 1 give 80, -1 gives 10 (Photo CD).
int kind_of_stored_type(int stored_file_type);

// Codes whose files can be read for thumbnails: 0 to 9, 12, 19 and 20.
bool file_type_has_thumbnails(int file_type);
// Codes whose files can carry comments: 0 to 9 and 11.
bool file_type_has_comments(int file_type);

// One of the eleven formats of the Save Image panel, filter index 1 to 11.
struct SaveFilter {
    const char* label;              // "TIFF"
    const char* pattern;            // "*.tif;*.tiff"
    const char* default_extension;  // ".tif"
    const char* accepted[3];        // ".TIF", ".TIFF"; unused entries are null
    const char* wrong_extension_message;
    int accepted_types;      // bit n set: image type n can be written
    int refusal;             // error code for an image type it cannot take
    bool check_16bit_first;  // Save As asks the 16-bit question before writing
};

inline constexpr int save_filter_count = 11;
inline constexpr int save_filter_tiff = 1;
inline constexpr int save_filter_jpeg = 2;
inline constexpr int save_filter_bmp = 3;
inline constexpr int save_filter_targa = 4;
inline constexpr int save_filter_pcx = 5;
inline constexpr int save_filter_gif = 6;
inline constexpr int save_filter_eps = 7;
inline constexpr int save_filter_png = 8;
inline constexpr int save_filter_flashpix = 9;
inline constexpr int save_filter_fits = 10;
inline constexpr int save_filter_rle = 11;

// The row of a filter index, null outside 1 to 11.
const SaveFilter* save_filter(int filter);

// Stored file type to the filter that writes it back, 0 when none does (Save
// then turns into Save As).
int save_filter_of_stored_type(int stored_file_type);
// The stored file type a window takes after a successful Save As with a filter;
// EPS is write-only and gives 0.
int stored_type_of_save_filter(int filter);

// What the writer of `filter` answers for an image of `image_type`: 0 when it
// can take it, else the format's refusal code (71 for an unknown filter). This
// is the whole check of an in-place Save, which asks nothing first.
[[nodiscard]] int save_refusal(int filter, int image_type);
// Whether Save As must first ask "Only TIFF and FITS file formats support
// 16-bit image data..." for this image: a 16-bit type (6, 7, 8, 10) and a
// format whose row says so. After an OK and the conversion to 8 bits, the
// writer runs and `save_refusal` still applies.
bool save_asks_16bit(int filter, int image_type);

// True when the name has an extension: a `.` after its last `/`, `:` or `\`.
bool name_has_extension(std::string_view name);
// The name with its extension replaced by the filter's default one (added
// when it has none): the proposal of the Save Image panel and what a change
// of filter puts in the name field.
std::string name_with_filter_extension(std::string_view name, int filter);
// The check of a confirmed Save name: a name with no extension gets the
// filter's default one appended and passes; a name whose extension (in any
// case) is not one of the filter's accepted ones fails, and the panel shows
// the row's `wrong_extension_message` and opens again.
[[nodiscard]] bool save_name_check(int filter, std::string* name);
