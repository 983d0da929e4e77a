// The sliding box filter and the program's "Gaussian": two box passes on
// each axis, a triangular kernel reaching 2r, not a true Gaussian. Blur
// applies it; the zone masks, the high pass, the drop shadow and Sharpen's
// unsharp mask call the same routines.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "core/image.h"

// One line or column of n pixels of `channels` samples: the window is 2r + 1
// pixels wide; the first r and the last r pixels are copied unchanged, the
// others hold the window's sum divided by 2r + 1, truncated. O(1) a sample
// whatever the radius.
void box_filter8(const std::uint8_t* source, std::uint8_t* dest, int n, int r, int channels);
void box_filter16(const std::uint16_t* source, std::uint16_t* dest, int n, int r, int channels);

// The "Gaussian" of radius r of part of a picture, as a compute run reads it:
// output line k (0 .. count - 1) is input line y0 + k·step, its pixels the
// input pixels x0, x0 + step, ... (n of them), each the triangle of both
// truncating box passes on the columns and then on the line. Reads beyond
// the picture repeat its edges. `line(k, samples)` receives each line in
// order (n pixels of 1 or 3 samples, on the picture's scale) and returns 0
// or an error that ends the run. 0, 1 for memory, or line's error.
using GaussianLine = std::function<int(int k, const std::int32_t* samples)>;
[[nodiscard]] int gaussian_lines(const Image* input, int x0, int n, int y0, int count, int step,
                                 int r, const GaussianLine& line);

// The "Gaussian" of every band of a compute run's lines, on all cores: for
// each line, the input's own line and the mask line (null without `mask`)
// as line sources deliver them, the blurred samples of its pixels, the
// output line to write, and scratch memory of the band's own.
struct GaussianBandLine {
    const std::uint8_t* centre;
    const std::uint8_t* mask;
    const std::int32_t* blurred;
    std::uint8_t* out;
    std::vector<std::uint8_t>& scratch;
};
struct ComputeArgs;
[[nodiscard]] int gaussian_bands(const ComputeArgs& args, const Image* input, const Image* mask,
                                 int r, const char* title,
                                 const std::function<void(const GaussianBandLine&)>& line);

// The whole-picture "Gaussian" of radius r (at least 1) of a grey or colour
// picture of 8 or 16 bits into `output` (allocated here, same type and
// size), edges repeated outward, on all cores. 0, 1 for memory, 11 on
// cancel, 14 for another type. Progress shows when `progress` is set.
[[nodiscard]] int blur_image(const Image* input, Image* output, int radius, bool progress);

// The high pass of the same radius: clamp(sample - blur + 128), or + 32768
// at 16 bits, titled "Computing High Pass Image".
[[nodiscard]] int high_pass_image(const Image* input, Image* output, int radius, bool progress);

// The edge-keeping mean of Bilateral Sharpen and Advanced Sharpen: for each
// sample of a grey or colour picture of 8 or 16 bits, the mean of the
// samples of its channel in the square of 2r + 1 pixels around it (edges
// repeated outward) that lie within `threshold` of it, truncated; a sample
// with none keeps its own. Into `output`, allocated here; bands on all
// cores. 0, 1 for memory, 14 for another type.
[[nodiscard]] int thresholded_mean_image(const Image* input, int r, int threshold, Image* output);

// A line of n pixels of `channels` samples moved against its thresholded
// mean m: where any sample of a pixel differs from its mean by `threshold`
// or more, each of its samples becomes m + round(factor * (c - m)), clamped
// (a factor above 1 sharpens, below 1 blurs); the other pixels keep c.
void thresholded_push_line(const std::uint8_t* c, const std::uint8_t* m, int n, int channels,
                           int threshold, double factor, std::int32_t* out);
void thresholded_push_line(const std::uint16_t* c, const std::uint16_t* m, int n, int channels,
                           int threshold, double factor, std::int32_t* out);
