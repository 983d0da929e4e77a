// Integer conversions between RGB and HSV or HSL, shared by every pixel loop
// that works in a colour space. Their rounding is part of how results look,
// so each formula is kept exactly as the comments in colour.cpp state it; no
// floating point is used.
//
// Scales:
// - 8-bit forms take samples 0..255 (through the `to12` table) and give or
//   take hue, saturation and value/lightness as 12-bit numbers 0..4096.
// - 16-bit forms take samples 0..65535 and give or take hue, saturation and
//   value/lightness on 0..65535.
// Hue runs once around the circle over the range, red at 0. Pure red itself
// comes out as the top of the range (4096, or 65535), which names the same
// hue; the conversions back accept both.
//
// Colours pass as plain ints in r, g, b order; results come back through
// int references. Inputs outside the ranges above are not supported.
#pragma once

#include <cstdint>
#include <span>

// The greatest of the three: the V of HSV on the samples' own scale.
constexpr int max3(int r, int g, int b) {
    const int m = r > g ? r : g;
    return m > b ? m : b;
}

// (min + max) / 2: the L of HSL on the samples' own scale.
constexpr int hsl_lightness(int r, int g, int b) {
    const int lo = r < g ? (r < b ? r : b) : (g < b ? g : b);
    return (lo + max3(r, g, b)) / 2;
}

// HSV saturation of an 8-bit colour on 0..255: (max - min) * 255 / max, 0 for black.
int hsv_saturation8(int r, int g, int b);
// HSV saturation of a 16-bit colour on 0..65535: (max - min) * 65535 / max, 0 for black.
int hsv_saturation16(int r, int g, int b);

// Changes a colour's value from `old_value` to `new_value` (both on the
// samples' scale 0..65535, normally max3 of the colour) keeping hue and
// saturation: equal values change nothing; both non-zero scale each sample
// by new_value / old_value (truncating); otherwise all three become new_value.
// Inline and with one division, since every table transformation calls it per
// pixel: s * (n / o) in doubles is within 2^-20 of s * n / o (below 2^32), and
// a quotient that is not whole lies at least 1/o >= 2^-16 below the next
// integer, so adding 2^-18 before truncating gives the integer quotient.
inline void scale_to_value(int& r, int& g, int& b, int old_value, int new_value) {
    if (old_value == new_value) return;
    if (old_value != 0 && new_value != 0) {
        const double f = static_cast<double>(new_value) / old_value;
        constexpr double nudge = 0x1p-18;
        const auto scaled = [&](int s) {
            return static_cast<int>(static_cast<std::int64_t>(s * f + nudge));
        };
        r = scaled(r);
        g = scaled(g);
        b = scaled(b);
    } else {
        r = g = b = new_value;
    }
}

// 8-bit samples <-> hue, saturation, value on 0..4096.
void rgb_to_hsv8(int r, int g, int b, int& h, int& s, int& v);
void hsv_to_rgb8(int h, int s, int v, int& r, int& g, int& b);
// 16-bit samples <-> hue, saturation, value on 0..65535.
void rgb_to_hsv16(int r, int g, int b, int& h, int& s, int& v);
void hsv_to_rgb16(int h, int s, int v, int& r, int& g, int& b);

// 8-bit samples <-> hue, saturation, lightness on 0..4096.
void rgb_to_hsl8(int r, int g, int b, int& h, int& s, int& l);
void hsl_to_rgb8(int h, int s, int l, int& r, int& g, int& b);
// 16-bit samples <-> hue, saturation, lightness on 0..65535.
void rgb_to_hsl16(int r, int g, int b, int& h, int& s, int& l);
void hsl_to_rgb16(int h, int s, int l, int& r, int& g, int& b);

// Round trips that replace one component and convert back. The new component
// is on the conversion's scale: 0..4096 for the 8-bit forms (an 8-bit level x
// becomes x * 4096 / 255), 0..65535 for the 16-bit forms.
void set_lightness8(int& r, int& g, int& b, int l);
void set_lightness16(int& r, int& g, int& b, int l);
void set_value8(int& r, int& g, int& b, int v);
void set_value16(int& r, int& g, int& b, int v);

// A table of 65536 saturations on 0..65535, indexed by the old saturation.
using SatTable = std::span<const std::uint16_t, 65536>;

// Round trips through HSV or HSL that pass the saturation through `table`,
// keeping hue and value or lightness. These take 16-bit samples and use the
// 16-bit conversions.
void apply_sat_table_hsv(int& r, int& g, int& b, SatTable table);
void apply_sat_table_hsl(int& r, int& g, int& b, SatTable table);
// The same for 8-bit samples: each goes up through `to16`, through the 16-bit
// round trip with the same 65536-entry table, and back down through `to8`, so
// 8-bit and 16-bit images share one table and one rounding.
void apply_sat_table_hsv8(int& r, int& g, int& b, SatTable table);
void apply_sat_table_hsl8(int& r, int& g, int& b, SatTable table);
