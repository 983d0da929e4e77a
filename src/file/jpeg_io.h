// JPEG files through libjpeg: reading with the embedded ICC profile, and
// writing with a chosen quality and colour sampling, the profile and an
// optional EXIF block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

struct Image;

// The quality of the `jpegquality` preference when nothing else is set.
inline constexpr int jpeg_default_quality = 97;

// Colour sampling: the index of the Save Image panel's "Sampling:" list, and a
// fourth one that only the workflow engine passes.
enum JpegSampling : int {
    jpeg_sampling_444 = 0,  // full colour resolution
    jpeg_sampling_422 = 1,  // colour halved across
    jpeg_sampling_411 = 2,  // colour quartered across
    jpeg_sampling_420 = 3,  // colour halved across and down
};

// Longest piece of profile in one APP2 marker that WriteJPEG writes.
inline constexpr std::size_t jpeg_profile_chunk = 32000;

// Reads a JPEG file. Gray files give type 2, colour files type 3; CMYK and
// YCCK files are turned into colour. Progressive files read as any other. The
// resolution comes from the JFIF density (dots per centimetre converted), or
// is `default_resolution` when the file gives none.
//
// With `profile` not null and a colour file, the ICC profile of the file's
// "ICC_PROFILE" APP2 markers is put there: the chunks joined by their sequence
// numbers, in whatever order they stand. A profile with chunks missing, or
// none at all, leaves it empty without error. Gray and CMYK files are not
// searched.
//
// With `progress`, pictures from 150000 pixels show progress with Cancel.
// Returns 0; 129 when the file does not exist, 4 when it cannot be opened;
// 22 for a file that is not a JPEG, is damaged or ends early; 1, 102, or 11
// on Cancel. On failure the Image is empty.
[[nodiscard]] int ReadJPEGAndProfile(const char* path, Image* image,
                                     std::vector<std::uint8_t>* profile, bool progress,
                                     double default_resolution);

// A JPEG file read a band of lines at a time, top line first, for work that
// passes through a picture without holding all of it: the lines, resolution
// and profile ReadJPEGAndProfile gives, byte for byte.
class JpegBandReader {
public:
    JpegBandReader();
    ~JpegBandReader();
    JpegBandReader(const JpegBandReader&) = delete;
    JpegBandReader& operator=(const JpegBandReader&) = delete;

    // 0 or ReadJPEGAndProfile's error code, with nothing open.
    [[nodiscard]] int open(const char* path, double default_resolution);
    int type() const;
    int width() const;
    int height() const;
    double resolution() const;
    const std::vector<std::uint8_t>& profile() const;
    int lines_left() const;
    // Reads the next band->height lines into `band`, allocated by the caller
    // with type() and width(). 0 or an error code; 22 at the last band of a
    // file cut short.
    [[nodiscard]] int read(Image* band);

private:
    struct State;
    std::unique_ptr<State> state_;
};

struct JpegWriteOptions {
    int quality = jpeg_default_quality;  // 0 to 100, the library's own scale
    int sampling = jpeg_sampling_444;    // JpegSampling; gray images ignore it
    // ICC profile, written in APP2 markers of at most `jpeg_profile_chunk`
    // bytes each; empty for none.
    std::span<const std::uint8_t> profile;
    // Body of an APP1 EXIF marker ("Exif", two zero bytes, then a TIFF
    // stream), written after the JFIF marker and before the profile; empty
    // for none.
    std::span<const std::uint8_t> exif;
    bool progress = true;
    // For a picture made while it is written: called from the top before each
    // group of lines is compressed, it makes file lines first .. first +
    // count - 1 valid and points the Image's `rows` at them. 0 or an error
    // code, which ends the writing.
    std::function<int(int first, int count)> fill;
};

// Writes an Image of type 2 or 3 (else 24) as a JFIF file at `path`, whose
// density is the Image's resolution in dots per inch. Returns 0; 3 when the
// file cannot be created, 23 when writing fails, 118 for a profile too large
// for 255 markers, 126 for an EXIF block too large for one marker, 1, or 11
// on Cancel. A failure may leave a partial file: the caller removes it.
[[nodiscard]] int WriteJPEG(const char* path, const Image* image, const JpegWriteOptions& options);
