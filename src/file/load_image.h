// Loading an image file into a window record: the one load that File Open,
// Revert and the recent files share.
#pragma once

struct WindowRecord;

// Reads `path` into `record` with the option bits of read_image.h. Clears the
// record's picture and profile, reads the picture and, unless bit 8, its
// embedded profile and, unless bit 1, its comments; stores the absolute
// pathname and the stored file type (the file type code of a sniffed file
// stays 80, which stores -1); and,
// unless bit 4, puts the name at the top of the recent files of the saved
// state. With bit 128 only the stored file type is set and nothing is read.
// On failure the picture, profile, names and file type are cleared again and
// the reader's error is returned. The record stays the caller's throughout.
[[nodiscard]] int LoadImageData(const char* path, WindowRecord* record, int options);
