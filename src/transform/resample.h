// The system's resampler: a picture to new pixel dimensions. Resize, the raw
// pipeline's resizing and aspect correction, thumbnails, printing and
// Crop/Add Border all go through it.
//
// Output position i along an axis of n input and m output samples lies at
// input position i * s, s = (n - 1) / (m - 1) (0 when m is 1), so the first
// and last samples meet exactly. Weights are integers, 255 times the kernel,
// truncated; an output sample is the weighted sum over the weight sum,
// divided with truncation and clamped to the sample range. Taps outside the
// picture are dropped, so edges keep their brightness. Enlarging evaluates the
// kernel at the input's scale (negative lobes kept); reducing stretches it by
// n / m over a reach of trunc(s) + 1 samples each side and keeps only weights
// 0..255. The vertical pass combines the needed input lines into one line,
// then the horizontal table makes the output line from it.
#pragma once

#include <cstdint>
#include <vector>

#include "core/image.h"

enum ResampleMethod : std::int32_t {
    resample_nearest = 0,
    resample_bilinear = 1,
    resample_bicubic = 2,  // with the parameter a
    resample_lanczos4 = 3,
    resample_lanczos6 = 4,
    resample_lanczos8 = 5,
};

// The kernel at distance x (its sign is ignored). Lanczos is 1 at 0 and
// carries no division by pi squared elsewhere: the weight sum cancels it.
double resample_kernel(double x, int method, double a);

// The integer weights of one output sample: input samples first ..
// first + weights.size() - 1, all inside 0 .. n - 1.
struct ResampleTaps {
    int first = 0;
    std::vector<std::int32_t> weights;
};

// The taps of output sample i of m made from n input samples. Equal sizes
// give a copy (one weight); nearest neighbour gives one tap at
// (i * (n - 1) + (m - 1) / 2) / (m - 1).
void resample_taps(int n, int m, int i, int method, double a, ResampleTaps& taps);

// Which output samples to make: `count` of them, at first, first + step, ...
// of an axis of `size` samples. A whole picture is {size, 0, 1, size}; a
// reduced preview of part of it takes every step-th sample.
struct ResampleAxis {
    int size = 0;
    int first = 0;
    int step = 1;
    int count = 0;
    static ResampleAxis whole(int size) { return {size, 0, 1, size}; }
};

// One resampling prepared: the horizontal table and what each output line
// needs. Lines of it can be made in any order and on any thread.
struct ResamplePlan {
    const Image* input = nullptr;
    int method = resample_bicubic;
    double a = -0.5;
    ResampleAxis x, y;
    int samples = 1;          // 1 gray, 3 colour
    bool wide = false;        // 16-bit samples
    bool eight_out = false;   // 16-bit samples written through `to8`
    bool binary_out = false;  // nearest neighbour of a binary picture
    // Horizontal table: output k reads count[k] samples from first[k] with
    // the weights from offset[k] on.
    std::vector<std::int32_t> first, count, offset, weights;
    std::vector<std::int32_t> weight_sum;
    bool wide_sums = false;  // some sum of weights times samples may pass 31 bits
};

// Prepares `plan` for `input` (binary, 8- or 16-bit gray or colour) to the
// output samples of `x` and `y`. `eight_out`: 16-bit input written as 8-bit
// samples (a preview's screen copy). 0, 1 when memory runs out, or 14 for
// another input type.
[[nodiscard]] int resample_prepare(const Image* input, const ResampleAxis& x, const ResampleAxis& y,
                                   int method, double a, bool eight_out, ResamplePlan& plan);

// Bytes of one output line of `plan`.
int resample_line_bytes(const ResamplePlan& plan);
// The output type: the input's, 8-bit for `eight_out`, gray 8-bit for a
// binary input except under nearest neighbour.
int resample_output_type(const ResamplePlan& plan);

// Working memory of one thread.
struct ResampleScratch {
    ResampleTaps taps;
    std::vector<std::uint8_t> line, unpacked;
    std::vector<std::int32_t> acc32;
    std::vector<std::int64_t> acc64;
};

// Makes output line k (0 .. y.count - 1) of the plan into `out`.
void resample_line(const ResamplePlan& plan, int k, ResampleScratch& scratch, std::uint8_t* out);

// The whole resampler: `input` into `output` at width by height pixels and
// `resolution`, on all cores, with progress from 150000 output pixels under
// `title` ("Resize" when null). The same size copies the picture and sets
// the resolution. 0, 1, 11 on cancel (`output` freed), or 14.
[[nodiscard]] int resample_image(const Image* input, Image* output, int width, int height,
                                 double resolution, int method, double a,
                                 const char* title = nullptr);

// ---------------------------------------------------------------------------
// Target sizes

// The size operations of Resize, in the order of its panel.
enum ResizeOperation : std::int32_t {
    resize_percent = 0,    // both sides by `percent`
    resize_bounding = 1,   // the largest that fits a box, proportions kept
    resize_fill = 2,       // the smallest that covers a box
    resize_width = 3,      // a width, proportions kept
    resize_height = 4,     // a height, proportions kept
    resize_both = 5,       // width and height as given
    resize_megapixels = 6, // a number of megapixels, proportions kept
    resize_resolution = 7, // the same pixels, a new resolution only
};

// The output size of `operation` for a w by h input with the box W by H
// (`box_width`, `box_height`) or `value` (percent or megapixels). Rounding
// is to the nearest pixel, halves up, and no side is below 1 pixel. False
// when what the operation needs is not a positive number.
bool resize_target_size(int operation, int w, int h, int box_width, int box_height, double value,
                        int& width, int& height);

// Units of lengths typed by the user: pixels, inches, centimetres, millimetres.
enum ResizeUnit : std::int32_t { unit_pixels = 0, unit_inch = 1, unit_cm = 2, unit_mm = 3 };
// Length units per inch: 1, 1, 2.540005, 25.40005.
double resize_unit_factor(int unit);
// A length in `unit` at `dpi` pixels per inch, in pixels (rounded, halves
// up), and back.
int resize_to_pixels(double length, int unit, double dpi);
double resize_from_pixels(int pixels, int unit, double dpi);
