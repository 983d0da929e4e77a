// Changing what an existing file says about itself without touching the rest:
// one EXIF field rewritten, or the picture turned by its orientation tag. The
// work is done on a sibling copy that replaces the file only when complete,
// so a failure (full disk, read-only file, damaged file) leaves it whole.
#pragma once

#include <string>

// Shown when no file can take comments.
inline constexpr const char comment_editing_refusal[] =
    "No images that can accept comments are selected. Comment editing is only supported for "
    "Tiff, Jpeg, Gif and Png images.";

// Whether the files of a file type code can have their comments rewritten:
// TIFF, JPEG and PNG. GIF files wait for a GIF writer.
bool comment_editing_supported(int file_type);

// Sets Artist (315), Copyright (33432) and Description (270) where a text is
// given (null leaves the field) and differs from the file's. A file with no
// difference is not written. 0; 129 no file; 136 a type that takes no
// comments; 104 a file whose metadata cannot be read; 6 when writing fails
// or the file is write-protected.
[[nodiscard]] int RewriteFileComments(const char* file_name, int file_type, const char* artist,
                                      const char* copyright, const char* description);

// The orientation tag after a turn by `operation` (1 clockwise, 2 half, 3
// counter-clockwise) of a JPEG whose tag held `old` (0 when absent).
int jpeg_orientation_after(int old, int operation);

// Turns the file losslessly by operation 1 to 3: a JPEG or a TIFF through its
// orientation tag (a TIFF without one is read, turned and written whole);
// PNG is read, turned and written. Errors as RewriteFileComments, and 71 for
// an operation outside 1 to 3.
[[nodiscard]] int RotateFileLossless(const char* file_name, int file_type, int operation);
