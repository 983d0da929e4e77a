// Writing an image file in the format of a Save Image filter, always through
// the safe replacement of safe_write.h.
#pragma once

#include <cstdint>
#include <span>

#include "file/jpeg_io.h"
#include "file/tiff_writer.h"

struct Image;

// Bits of the `savefileoptions` word, kept by the Save Image panel for JPEG.
inline constexpr int save_without_comments = 1;
inline constexpr int save_without_profile = 2;
inline constexpr int save_without_statistics = 4;

struct SaveOptions {
    int tiff_compression = 0;     // TiffCompression
    bool tiff_thumbnail = false;  // a reduced image in a SubIFD
    // Extra IFD0 entries, such as the text tags of the image's comments.
    std::span<const TiffField> tiff_fields;
    int jpeg_quality = jpeg_default_quality;  // 0 to 100
    int jpeg_sampling = jpeg_sampling_444;
    bool jpeg_profile = true;  // false leaves the profile out of JPEG files
    // Body of the JPEG file's APP1 EXIF marker; empty for none.
    std::span<const std::uint8_t> jpeg_exif;
    bool progress = true;
};

// The options as the saved state holds them: `TIFFCompressMode`; from
// `jpegquality` the quality and, as its second number, the sampling index; and
// the profile bit of `savefileoptions`.
SaveOptions save_options_from_state();

// True for the filters this version can write: TIFF, JPEG and PNG.
bool save_filter_has_writer(int filter);

// Writes `image` to `path` with the writer of a Save Image filter (1 to 11).
// No question is asked and the name is taken as it is: the checks of Save As
// come before. Returns 0; 71 for an unknown filter; 136 for a filter whose
// format this version cannot write; the filter's refusal code for an image
// type it cannot take (save_refusal); or the writer's error, the destination
// then being as it was. `profile` is embedded when not empty (for JPEG only
// with `jpeg_profile`).
[[nodiscard]] int WriteImage(const char* path, int filter, const Image* image,
                             std::span<const std::uint8_t> profile, const SaveOptions& options);

// Whether WriteImageBands writes files of this filter: TIFF and JPEG.
bool save_filter_writes_bands(int filter);

// WriteImage of a picture whose lines are made while it is written: `image`
// has the picture's type, size and resolution and a `rows` table of its
// height, which `fill` (TiffLineFill) points at the lines, from the top. The
// file WriteImage gives, through the same safe replacement; a TIFF gets no
// thumbnail. 136 for a filter it does not write.
[[nodiscard]] int WriteImageBands(const char* path, int filter, const Image* image,
                                  std::span<const std::uint8_t> profile,
                                  const SaveOptions& options, const TiffLineFill& fill);
