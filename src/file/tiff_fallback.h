// Reads the TIFF files that the own reader refuses (palette, tiled, planar,
// CCITT, JPEG-compressed, YCbCr, CMYK and other valid forms) through libtiff,
// which stands in for the filter library's TIFF reader.
#pragma once

struct Image;

// Gray files keep their depth (1, 8 or 16 bits), RGB files theirs (8 or 16);
// palette files become gray when every colour is a gray, colour otherwise;
// everything else that libtiff can turn into RGBA becomes 8-bit colour, its
// alpha dropped. The orientation tag is applied after reading. Returns 0, 11
// when cancelled, 1 for memory, 99 when the file cannot be read.
[[nodiscard]] int tiff_fallback_read(const char* file_name, Image* image, bool progress);
