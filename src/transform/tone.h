// Table transformations: a tone table (or three) applied to every pixel,
// with the `Color Space:` choice deciding which number of a colour pixel
// goes through it. Brightness Curve, Brightness, Gamma Adjust and Color
// Curves are this engine with different tables; later tone transformations
// reuse it. Only table lookups and integer arithmetic run per pixel.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "core/line_access.h"
#include "transform/curves.h"
#include "transform/transform.h"

enum ToneSpace : std::int32_t {
    tone_hsv = 0,  // V = max(r, g, b) through the table, the samples scaled along
    tone_hsl = 1,  // L = (max + min) / 2 through the table, hue and saturation kept
    tone_rgb = 2,  // every sample through the table
};
inline constexpr std::string_view tone_space_words[] = {"HSV", "HSL", "RGB"};

// One set of tables: component k's 256-entry and 65536-entry tables. A
// single-table transformation puts its table in [0] and leaves the rest.
// Only the depth the run reads needs to be there.
struct ToneTables {
    const std::uint8_t* t8[3] = {};
    const std::uint16_t* t16[3] = {};
};

struct ToneJob {
    const char* title = "";
    int space = tone_hsv;  // for colour images; grey ones use the table directly
    // Color Curves: component k of the space (R, G, B or H, S, V/L) through
    // table k. Colour spaces other than RGB then work on the 16-bit
    // conversions, for 8-bit images too, so both depths share one rounding.
    bool per_component = false;
    // One set; or 256 sets, pixel by pixel set lerp8(pick_low, pick_high, mask).
    std::span<const ToneTables> sets;
    int pick_low = 0;
    int pick_high = -1;
    // The blend of the result with the input by amount and mask.
    AmountStrength strength{255, -1};
    const Image* mask = nullptr;  // read when pick_high or strength.b is set
};

// The output type for an input type: a binary input gives gray; a preview of
// a 16-bit image is 8-bit. 0 for a type the engine refuses.
int tone_output_type(int type, bool apply);

// Runs the job over `args` (allocating the output for a whole region): 0,
// 1 when memory runs out, 11 on cancel, 14 for an illegal input type.
[[nodiscard]] int tone_compute(const ComputeArgs& args, const ToneJob& job);

// What a curve reads of a pixel, on 0..255: the number its histogram counts
// and its probe marks.
enum ToneReading : std::int32_t {
    reading_max = 0,      // max(r, g, b): HSV value, and grey samples
    reading_mid = 1,      // (max + min) / 2: HSL lightness
    reading_rgb = 2,      // red, green and blue, three at once
    reading_hue_hsv = 3,  // hue scaled by 255/4096
    reading_sat_hsv = 4,
    reading_hue_hsl = 5,
    reading_sat_hsl = 6,
    reading_red = 7,
    reading_green = 8,
    reading_blue = 9,
};

// The reading of a curve that puts `space` through one table (Brightness
// Curve), or component `component` of it through its own (Color Curves).
int tone_reading(int space, int component = -1);

// The levels of an 8-bit colour (or grey, r = g = b) under a reading: 3 for
// reading_rgb (red, green, blue), else 1.
int tone_read_levels(int r, int g, int b, int reading, int levels[3]);

// The histogram a curve control shows for an image: the count of each level
// of the reading (three histograms for reading_rgb); 16-bit samples through
// `to8`. At most `limit` pixels are read, stepping across and up as needed.
// Returns the number of histograms filled (1 or 3), 0 for an unreadable image.
int tone_histogram(const Image* image, int reading, CurveHistogram hist[3],
                   std::int64_t limit = 1000000);

// The probe: the mean colour of the square of 2n + 1 pixels a side around
// x, y (y counted from the top, the square kept inside the picture), read as
// above into `levels`. Returns their number, 0 outside the picture.
int tone_probe(const Image* image, int x, int y, int n, int reading, int levels[3]);
