// Levels: the tone table of black and white points with a midtone bend, the
// saturation table, the colour filter and the automatic range finder. Levels
// and Color applies them; the raw pipeline's levels step calls the same
// functions.
#pragma once

#include <cstdint>

#include "core/image.h"

// Input levels a..b map to output levels c..d, bent by midtones in -100..100.
struct LevelsTone {
    int in_low = 0;
    int in_high = 255;
    int out_low = 0;
    int out_high = 255;
    double midtones = 0.0;
};

// The midtone bend of t in 0..1 for m in -100..100: t itself at 0.
double levels_bend(double t, double m);

// The tone table on 0..255 or (with `top` 65535) on 0..65535: levels at or
// below in_low give out_low, at or above in_high give out_high, the bend in
// between. Values at or below 0 give 0 and at or above the top give the top;
// with `invert_clipped` those two are swapped, so clipped shadows show white
// and clipped highlights black.
void levels_tone_table8(const LevelsTone& tone, bool invert_clipped, std::uint8_t* table);
void levels_tone_table16(const LevelsTone& tone, bool invert_clipped, std::uint16_t* table);

// The saturation table for a change in -100..100 percent, on 0..top: -100
// gives all 0, 0 the identity, 100 all top, a line through 0 between.
void levels_saturation_table8(double saturation, std::uint8_t* table);
void levels_saturation_table16(double saturation, std::uint16_t* table);

// The automatic range: the lowest and highest levels of V (HSV, space 0),
// of L (HSL, space 1) or of a grey picture below which and above which lie
// no more than a ten-thousandth of the pixels (at most 500000 are read).
// False for a picture it cannot read.
bool levels_auto_range(const Image* image, int space, int& low, int& high);
