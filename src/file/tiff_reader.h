// The system's own TIFF reader: the first IFD of a baseline file, strips
// uncompressed, LZW or Deflate, 1 and 4-bit gray, 8 and 16-bit gray and colour.
// It is deliberately narrow: anything else is refused with an error that says
// why, and TiffRead then hands the file to the fallback reader. Also the probes
// that look at single tags, the reduced-image reader for thumbnails, and the
// in-place orientation rewrite.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

struct Image;

// Reads `file_name` into `image`; files the own reader refuses (with any error
// but 11 and 152) go to the fallback reader. 0 or an error code; on failure the
// Image is empty.
[[nodiscard]] int TiffRead(const char* file_name, Image* image, bool progress);

// Reads a TIFF stream that starts at `base` in an open file (-1: at the current
// position), with the own reader only. The file is left positioned behind the
// last strip read, where a container may keep more data.
[[nodiscard]] int TiffReadAt(std::FILE* file, std::int64_t base, Image* image, bool progress);

// A TIFF file read a band of lines at a time, top line first, for work that
// passes through a picture without holding all of it. Only what the own
// reader takes as it stands is opened (orientation 1); for anything else
// `open` returns an error code and the file is read whole instead. The lines
// are those TiffRead gives, byte for byte.
class TiffBandReader {
public:
    TiffBandReader();
    ~TiffBandReader();
    TiffBandReader(const TiffBandReader&) = delete;
    TiffBandReader& operator=(const TiffBandReader&) = delete;

    // 0, or an error code with nothing open.
    [[nodiscard]] int open(const char* file_name);
    int type() const;
    int width() const;
    int height() const;
    double resolution() const;  // pixels per inch
    // Lines not yet read.
    int lines_left() const;
    // Lines of a compressed strip, which is decoded whole: bands of a multiple
    // of it decode each strip once. 1 when every line is read on its own.
    int strip_lines() const;
    // Reads the next band->height lines into `band`, which the caller has
    // allocated with type() and width(): its top line gets the first line not
    // yet read. 0 or an error code.
    [[nodiscard]] int read(Image* band);

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Reads the first image of IFD0's SubIFD list when it is marked as a reduced
// image, with no progress. False, with `image` empty, when there is none or it
// cannot be read.
bool TiffReadReduced(const char* file_name, Image* image);

// Tags 256 and 257 of IFD0. 0 or an error code.
[[nodiscard]] int TiffProbeSize(const char* file_name, int* width, int* height);
// The rotation code of IFD0's orientation tag; 0 when there is none.
[[nodiscard]] int TiffProbeOrientation(const char* file_name, int* rotation);
// The ICC profile (tag 34675), copied whole; empty when there is none.
[[nodiscard]] int TiffProbeProfile(const char* file_name, std::vector<std::uint8_t>* profile);
// True when the file starts with "II" 42 or "MM" 42.
bool TiffIsTiff(const char* file_name);

// What IFD0 declares, for summaries such as the command line's info.
struct TiffSummary {
    int width = 0;
    int height = 0;
    int bits = 0;         // first value of BitsPerSample
    int samples = 1;      // SamplesPerPixel
    int compression = 1;  // TIFF code
    int photometric = -1;
    int orientation = 0;  // TIFF value, 0 when absent
    int predictor = 1;
    double resolution = 0.0;   // pixels per inch, 0 when absent
    bool has_profile = false;  // tag 34675
    bool has_reduced = false;  // a SubIFD list (tag 330)
};
[[nodiscard]] int TiffProbeSummary(const char* file_name, TiffSummary* summary);

// Turns the file by a rotation code by rewriting its orientation tag in place:
// the new value is the old code composed with `rotation`. The reduced image of
// tag 330 is turned too, when it has the tag. `*done` is false, with result 0,
// when IFD0 has no orientation tag; then the pixels must be turned instead.
// Errors: 56 reading, 57 writing.
[[nodiscard]] int TiffSetOrientation(const char* file_name, int rotation, bool* done);
