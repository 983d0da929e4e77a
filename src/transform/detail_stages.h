// The stages of Advanced Sharpen as whole-picture routines on grey or colour
// pictures of 8 or 16 bits: speck removal, and a blur or sharpen against the
// edge-keeping mean of box_filter.h, on all channels, on the chroma only or
// on the value only. Thresholds are 8-bit levels (to16 of them at 16 bits).
#pragma once

#include "core/image.h"

// Speck removal. A speck is an n by n square (n = `size`; an even square
// reaches one line and column further toward higher coordinates) whose
// one-pixel ring is flat, its largest and smallest sample `flat` or less
// apart, and whose mean differs from the ring's mean by 255 - `difference`
// or more; white when brighter, black when darker. A speck of a kind that is
// on gets the ring's mean over its square. Each channel alone. Pixels whose
// ring would leave the picture are left alone.
struct SpeckSettings {
    int size = 1;  // 1 .. 15
    int flat = 0;
    int difference = 0;
    bool white = false;
    bool black = false;
};

// Into `output`, allocated here: 0, 1 for memory, 14 for another type.
[[nodiscard]] int speck_removal_image(const Image* input, Image* output, const SpeckSettings& s);

// A blur (factor below 1) or sharpen (above 1) against the mean of the
// samples within `high` of each sample in the square of 2 * radius + 1
// pixels: pixels with a sample at least `low` from its mean move to
// m + round(factor * (c - m)). `part` picks what moves in colour pictures.
enum class StagePart { all = 0, chroma = 1, value = 2 };
struct ThresholdedStage {
    int radius = 1;
    int low = 0;
    int high = 255;
    double factor = 1.0;
    StagePart part = StagePart::all;
};

// Into `output`, allocated here: 0, 1 for memory, 14 for another type.
// Chroma: each sample scaled to full value (the largest sample at the top of
// the range) is what moves, and the pixel returns to its own value. Value:
// the largest sample moves, and the others follow by the HSV rule.
[[nodiscard]] int thresholded_stage_image(const Image* input, Image* output,
                                          const ThresholdedStage& stage);
