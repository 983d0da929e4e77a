// The system's TIFF writer. Every file it writes has the same form: little-
// endian, IFD0 with a fixed tag set followed directly by its values, then an
// optional 300 by 300 thumbnail in a SubIFD, then the strips of about 250,000
// bytes each, top of the picture first. Compression is none, Zip (zlib's
// compress) or LZW, with horizontal differencing when compressed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <span>
#include <vector>

struct Image;

enum TiffCompression : int {
    tiff_compression_none = 0,
    tiff_compression_zip = 1,
    tiff_compression_lzw = 2,
};

// An extra IFD0 entry, such as the text tags that come from an image's
// comments. Values are little-endian bytes; an ASCII value gets its terminating
// zero added when it lacks one. Entries are placed in tag order among the fixed
// ones; a tag the writer sets itself is never taken from here.
struct TiffField {
    int tag = 0;
    int type = 0;
    std::vector<std::uint8_t> value;
};

// Writes `image` (type 1, 2, 3, 6 or 7, else 58) as a TIFF stream starting at
// the file's current position; offsets in the stream are relative to that
// start, and the file is left at the end of the stream. `mask_bits` low bits of
// 16-bit samples are cleared before differencing. 0, 1, 11 (progress Cancel),
// 57 (writing) or 58.
[[nodiscard]] int TiffWrite(std::FILE* file, const Image* image, std::span<const TiffField> fields,
                            std::size_t profile_size, const std::uint8_t* profile, int mask_bits,
                            int compression, bool thumbnail, bool progress);

// Makes file lines first .. first + count - 1 (0 at the top) of the image
// being written valid: their pixels are there and its `rows` point at them.
// 0 or an error code, which ends the writing.
using TiffLineFill = std::function<int(int first, int count)>;

// TiffWrite for a picture that is made while it is written: `image` has the
// picture's type, size and resolution and a `rows` table of its height, and
// `fill` is called, in order from the top, before each group of lines is
// packed. Writes no thumbnail; otherwise the file is the one TiffWrite gives.
[[nodiscard]] int TiffWriteBands(std::FILE* file, const Image* image,
                                 std::span<const TiffField> fields, std::size_t profile_size,
                                 const std::uint8_t* profile, int mask_bits, int compression,
                                 const TiffLineFill& fill, bool progress);

// The thumbnail's reduction: `image` shrunk to fit within 300 by 300 pixels, by
// averaging boxes of pixels. Images that fit already are copied.
[[nodiscard]] int tiff_reduce_for_thumbnail(const Image* image, Image* thumbnail);
