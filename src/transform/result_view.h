// For transformations that compute a whole picture before they show it (the
// wavelet, Advanced Sharpen's stages): the part of the input a preview needs,
// with a margin for the computation's reach, and the lines of the result put
// out at the window's zoom, as the result ("After"), the input ("Before") or
// their difference around mid-grey ("Difference").
#pragma once

#include <cstdint>
#include <string>

#include "core/image.h"
#include "core/line_access.h"
#include "transform/transform.h"

enum ResultView { result_before = 0, result_after = 1, result_difference = 2 };

// The input a compute run reads, widened by `margin` pixels on each side and
// kept inside the picture: the input itself when that is all of it,
// otherwise a copy in `part`. `x0`, `y0` receive where it starts. 0 or 1.
[[nodiscard]] int result_source(const ComputeArgs& args, const Image* input, int margin,
                                ImageHolder& part, const Image*& source, int& x0, int& y0);

// Writes the lines of `args` from `result`, whose pixel (0, 0) is input
// pixel (x0, y0), blended toward the input by `strength` and `mask`; at 16
// bits by ((255 - s) in + s out + 127) >> 8 when `rounded16` is set, by the
// shared rule otherwise. A preview shows `view`; an apply the result. Bands
// on all cores; 0, 1, or 11 on cancel.
[[nodiscard]] int result_put_lines(const ComputeArgs& args, const Image* input, const Image* result,
                                   int x0, int y0, int view, const AmountStrength& strength,
                                   const Image* mask, bool rounded16, const char* title);

// A fingerprint of a picture's pixels, so that a kept result is never used
// for pixels that changed in place.
std::uint64_t image_fingerprint(const Image* image);

// The last result a preview computed, kept while what made it stands: the
// pixels and place of its source and the settings, which the caller writes
// as text. A change of view or amount then costs no new computation.
struct ResultCache {
    std::uint64_t source = 0;
    int x0 = -1, y0 = -1, width = 0, height = 0, type = 0;
    std::string settings;
    ImageHolder image;

    // Whether it holds the result for these; when not, it is emptied.
    bool holds(const Image* part, int part_x0, int part_y0, const std::string& key);
    // The result now in `image` was made from these.
    void keep(const Image* part, int part_x0, int part_y0, const std::string& key);
};
