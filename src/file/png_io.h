// PNG files through libpng.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

struct Image;

// Reads a PNG file. The Image type follows the file:
//   gray, 1 bit                        type 1 (a set bit is white, as in PNG)
//   gray, 2, 4 or 8 bits               type 2, low depths scaled to 8 bits
//   gray, 16 bits                      type 6
//   colour, 8 bits                     type 3
//   colour, 16 bits                    type 7
//   palette, 1 bit, black and white    type 1
//   palette whose entries are all gray type 2
//   other palettes                     type 3
// An alpha channel or transparent colour is dropped: the colours are taken as
// they are stored, with no background. Gamma and significant-bit chunks are
// not applied. The resolution comes from the pHYs chunk (pixels per metre, to
// a tenth of a dot per inch), or is `default_resolution` when it gives none.
//
// With `profile` not null and a colour image (type 3 or 7), the iCCP profile is
// put there, empty when there is none.
//
// With `progress`, pictures from 150000 pixels show progress with Cancel.
// Returns 0; 129 when the file does not exist, 4 when it cannot be opened; 48
// for a file that is not a PNG, is damaged or ends early; 1, 102, or 11 on
// Cancel. On failure the Image is empty.
[[nodiscard]] int read_png_file(const char* path, Image* image, std::vector<std::uint8_t>* profile,
                                bool progress, double default_resolution);

// Writes an Image of type 1, 2 or 3 (else 47) as a PNG file at `path`: 1-bit
// gray, 8-bit gray or 8-bit colour, with pHYs from the resolution and, when
// `profile` is not empty, an iCCP chunk. A profile that does not suit the image
// (a colour profile for a gray image, a damaged header) is left out. Returns 0;
// 3 when the file cannot be created, 49 when writing fails, 1, or 11 on
// Cancel. A failure may leave a partial file: the caller removes it. `exif`,
// a TIFF stream of EXIF fields, goes into an eXIf chunk when not empty.
[[nodiscard]] int write_png_file(const char* path, const Image* image,
                                 std::span<const std::uint8_t> profile, bool progress,
                                 std::span<const std::uint8_t> exif = {});
