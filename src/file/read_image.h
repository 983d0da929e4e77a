// Reading an image file of any kind. The name decides the reader; a name that
// says nothing is decided by the file's first bytes.
#pragma once

#include <cstdint>
#include <vector>

struct Image;

// Bits of the option word of the load functions.
enum LoadOption : int {
    load_no_comments = 1,          // do not read comments
    load_no_profile_question = 2,  // the profile policy "ask" becomes "convert"
    load_no_recent = 4,            // do not enter the name in the recent files
    load_no_profile = 8,           // do not read the embedded profile
    load_no_progress = 16,         // no progress display
    load_raw_fast = 32,            // raw: fast conversion at reduced size
    load_raw_preview = 64,         // raw: try the embedded preview first
    load_classify_only = 128,      // only classify: read nothing
    load_no_activate = 256,        // build the window but do not activate it
};

// What a file's first bytes say it holds.
enum class FileSignature {
    other,     // none that is known here
    tiff,      // "II" 42 or "MM" 42
    jpeg,      // 0xFF 0xD8 0xFF
    png,       // the eight bytes of the PNG signature
    gif,       // "GIF87a" or "GIF89a"
    bmp,       // "BM"
    jpeg2000,  // a JP2 box or a code stream
    fits,      // "SIMPLE  ="
    compound,  // a compound document, as FlashPix files are
};

// Looks at the start of a file. 0, or 129 when it does not exist and 4 when
// it cannot be opened; a file too short for any signature is `other`.
[[nodiscard]] int file_signature(const char* path, FileSignature* signature);

// Reads `path` into `image` by its file type code (FileTypeOfName):
//   0        the TIFF reader;
//   1        JPEG, with its ICC profile;
//   6        PNG;
//   10       error 165, Photo CD is not supported;
//   80       by the first bytes: TIFF, JPEG or PNG; other formats named in
//            FileSignature give 136, anything else 71;
//   2 to 9, 12, 19, 20: formats this version has no reader for give 136.
//   Other codes (EPS, workflows, albums, video) give 71.
// Whatever the name says, a file whose bytes are JPEG or PNG is read as such,
// except under a TIFF name. `*file_type` receives the code of the name, which
// stays 80 for a sniffed file.
//
// With `profile` not null and option bit 8 clear, the embedded ICC profile of
// a colour image (type 3 or 7) is put there, empty when there is none or the
// file was CMYK, whose profile does not describe the colours read. Progress
// shows unless bit 16 is set; with bit 128 only `*file_type` is set and
// nothing is read. Pictures without a resolution of their own get the
// `defaultres` preference.
//
// Returns 0 or the reader's error; on failure the Image is empty and so is
// the profile.
[[nodiscard]] int ReadImage(const char* path, Image* image, std::vector<std::uint8_t>* profile,
                            int* file_type, int options);
