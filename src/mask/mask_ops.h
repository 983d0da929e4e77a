// The computed regions of the mask tool: Feather and Blur (into a second
// mask, so that a cancel leaves the old one), Color Range, Combine Masks,
// Brightness Curve, Texture and Flood Fill (merged into the mask by mode).
// Masks are type 2 Images; pictures are of type 1, 2, 3, 6 or 7 and of the
// mask's size. Every routine returns a code: 0, 1 for memory, 11 on cancel,
// 14 for a type it doesn't take.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "core/image.h"
#include "transform/mask_lines.h"
#include "transform/outline.h"

// Feather: `width` -64..64 grows a soft edge outward (positive) or inward
// (negative); 0 copies. Falloff 0 is a cone, 1 flat; corners 0 round, 1
// square. Only edge pixels stamp, so the time follows the perimeter. Titled
// "Feather" from 150000 pixels, with Cancel when `show_progress`.
[[nodiscard]] int mask_feather(const Image* input, Image* output, int width, int falloff,
                               int corners, const LineClasses& classes, bool show_progress);
// The feather's stamp, 2|width| + 1 square, rows of bytes: what Feather
// stamps with (inverted for an inward feather).
std::vector<std::uint8_t> feather_stamp(int width, int falloff, int corners);

// Two box passes of `radius` on each line and then each column; 0 copies.
// Recomputes `classes` for the output. Titled "Blur", with Cancel.
[[nodiscard]] int mask_blur(const Image* input, Image* output, int radius, LineClasses& classes);

// Color Range. `limits` holds per channel outer low, outer high, inner low,
// inner high on 0..1024; `space` 0 HSV, 1 HSL, 2 RGB (gray pictures always
// RGB). An inner low above the inner high wraps, as a hue band through red.
struct ColorRangeTables {
    int space = 2;
    std::array<std::vector<std::uint8_t>, 3> table;  // 4097 entries for HSV/HSL, 256 for RGB
};
void color_range_tables(const std::array<int, 12>& limits, int space, bool gray,
                        ColorRangeTables& tables);
// The coverage of one 8-bit colour (for gray r = g = b): the smallest of the
// three channels' table values, the first table alone for a gray picture.
int color_range_coverage(const ColorRangeTables& tables, bool gray, int r, int g, int b);
[[nodiscard]] int mask_color_range(const Image* picture, const std::array<int, 12>& limits,
                                   int space, int mode, Image* mask, LineClasses& classes);

// Combine Masks: the other mask's samples, or `gray_level` when `other` is
// null, merged by mode (subtract is this minus the other). 14 when the other
// mask isn't type 2 of the same size.
[[nodiscard]] int mask_combine(const Image* other, int gray_level, int mode, Image* mask,
                               LineClasses& classes);

// Brightness Curve: c = table[luminance8(pixel)].
[[nodiscard]] int mask_brightness_curve(const Image* picture, const std::uint8_t table[256],
                                        int mode, Image* mask, LineClasses& classes);

// Texture: local contrast t 0..255 over the 3x3, 5x5 or 7x7 neighbourhood
// (`size` 0, 1, 2) without its centre, edges repeated; `method` 0 the
// greatest difference from the centre, 1 the mean difference, 2 the
// difference of the mean from the centre. Colour takes the greatest of its
// channels' values. c = table[t].
int texture_value(const Image* picture, int x, int row, int method, int size);
[[nodiscard]] int mask_texture(const Image* picture, int method, int size,
                               const std::uint8_t table[256], int mode, Image* mask,
                               LineClasses& classes);
// The panel's histogram of t over at most 1000000 samples; `tallest` gets
// its tallest bar.
[[nodiscard]] int texture_histogram(const Image* picture, int method, int size,
                                    std::array<std::uint32_t, 256>& histogram,
                                    std::uint32_t* tallest);

// Flood Fill from (x, row), row counted from the top: pixels reached from
// the seed through pixels whose distance d from the seed's colour (the sum
// of the channels' differences, three times the gray one) is under twice
// `threshold`, with coverage 255 under `threshold` and falling linearly to 0
// at twice it. Merged bitwise inside the fill's box. A click outside the
// picture does nothing; a fill whose seed stack outgrows 400000 bytes gives
// code 1 and leaves the mask alone.
inline constexpr int flood_stack_bytes = 400000;
[[nodiscard]] int mask_flood_fill(int x, int row, const Image* picture, Image* mask,
                                  LineClasses& classes, int mode, double threshold,
                                  MaskChange* change);
// The coverage of a colour distance under a threshold, as Flood Fill and
// the brush's similarity use it.
int similarity_coverage(int distance, double threshold);

// One picture line (Image line number) as 8-bit red, green, blue triples.
void picture_line_rgb8(const Image* picture, int line, std::uint8_t* rgb);
