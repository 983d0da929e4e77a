// The command line's way to files: the same readers and writers the editor
// uses, chosen by file name.
#pragma once

#include <string>

struct Image;

// Reads an image file; 0 or an error code (71 for a format with no reader here).
[[nodiscard]] int batch_read(const std::string& path, Image* image);

// Writes an image file in the format of its extension, to a sibling name that
// replaces the destination only when the write succeeded. `compression` is a
// TiffCompression code.
[[nodiscard]] int batch_write(const std::string& path, const Image* image, int compression,
                              bool thumbnail);

// "TIFF" for TIFF files (by extension or signature), "Unknown" otherwise.
std::string batch_format_name(const std::string& path);
