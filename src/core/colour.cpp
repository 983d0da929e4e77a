#include "core/colour.h"

#include "core/tables.h"

// The 16-bit forms multiply two numbers of up to 65535, which does not fit a
// signed 32-bit int, so they compute in 64 bits. Results that would fit in 32
// bits are the same either way.

namespace {

using i64 = std::int64_t;

constexpr int min3(int r, int g, int b) {
    const int m = r < g ? r : g;
    return m < b ? m : b;
}

// Hue of a colour with greatest component hi, least lo, d = hi - lo > 0, on a
// circle of `one` units (4096 for the 8-bit form, where x * one is x << 12,
// and 65535 for the 16-bit form). Each of the six cases measures from the
// nearest primary or secondary so that its division keeps the most bits.
int hue_of(i64 r, i64 g, i64 b, i64 hi, i64 lo, i64 d, i64 one) {
    i64 h;
    if (r == hi) {
        h = g != lo ? (one - (hi - g) * one / d) / 6 : ((hi - b) * one / d + 5 * one) / 6;
    } else if (g == hi) {
        h = b != lo ? (3 * one - (hi - b) * one / d) / 6 : ((hi - r) * one / d + one) / 6;
    } else {
        h = r != lo ? (5 * one - (hi - r) * one / d) / 6 : ((hi - g) * one / d + 3 * one) / 6;
    }
    return static_cast<int>(h);
}

// Places the four levels of one hue sector into r, g, b. `top` and `bottom`
// are the largest and smallest sample, `falling` and `rising` the middle one
// on the sectors where it goes down or up. Sector 6 (hue at the top of its
// range) is sector 0 again. HSV and HSL share this rotation.
void by_sector(int sector, int top, int bottom, int falling, int rising, int& r, int& g, int& b) {
    switch (sector % 6) {
        case 1:
            r = falling, g = top, b = bottom;
            break;
        case 2:
            r = bottom, g = top, b = rising;
            break;
        case 3:
            r = bottom, g = falling, b = top;
            break;
        case 4:
            r = rising, g = bottom, b = top;
            break;
        case 5:
            r = top, g = bottom, b = falling;
            break;
        default:
            r = top, g = rising, b = bottom;
            break;
    }
}

void through_from12(int& r, int& g, int& b) {
    r = from12[r];
    g = from12[g];
    b = from12[b];
}

}  // namespace

int hsv_saturation8(int r, int g, int b) {
    const int hi = max3(r, g, b);
    return hi == 0 ? 0 : (hi - min3(r, g, b)) * 255 / hi;
}

int hsv_saturation16(int r, int g, int b) {
    const int hi = max3(r, g, b);
    return hi == 0 ? 0 : static_cast<int>(i64{hi - min3(r, g, b)} * 65535 / hi);
}

void rgb_to_hsv8(int r, int g, int b, int& h, int& s, int& v) {
    const int r12 = to12[r], g12 = to12[g], b12 = to12[b];
    const int hi = max3(r12, g12, b12), lo = min3(r12, g12, b12), d = hi - lo;
    v = hi;
    if (hi == 0 || d == 0) {
        h = s = 0;
        return;
    }
    s = (d << 12) / hi;
    h = hue_of(r12, g12, b12, hi, lo, d, 4096);
}

void hsv_to_rgb8(int h, int s, int v, int& r, int& g, int& b) {
    if (v == 0) {
        r = g = b = 0;
        return;
    }
    if (s == 0) {
        r = g = b = from12[v];
        return;
    }
    const int f = (h * 6) & 4095;
    const int p = (v * (4096 - s)) >> 12;
    const int q = (v * (4096 - ((s * f) >> 12))) >> 12;
    const int t = (v * (4096 - ((s * (4096 - f)) >> 12))) >> 12;
    by_sector((h * 6) >> 12, v, p, q, t, r, g, b);
    through_from12(r, g, b);
}

void rgb_to_hsv16(int r, int g, int b, int& h, int& s, int& v) {
    const int hi = max3(r, g, b), lo = min3(r, g, b), d = hi - lo;
    v = hi;
    if (hi == 0 || d == 0) {
        h = s = 0;
        return;
    }
    s = static_cast<int>(i64{d} * 65535 / hi);
    h = hue_of(r, g, b, hi, lo, d, 65535);
}

void hsv_to_rgb16(int h, int s, int v, int& r, int& g, int& b) {
    if (v == 0) {
        r = g = b = 0;
        return;
    }
    if (s == 0) {
        r = g = b = v;
        return;
    }
    const i64 f = i64{h} * 6 % 65535;
    const i64 vv = v, ss = s;
    const int p = static_cast<int>(vv * (65535 - ss) / 65535);
    const int q = static_cast<int>(vv * (65535 - ss * f / 65535) / 65535);
    const int t = static_cast<int>(vv * (65535 - ss * (65535 - f) / 65535) / 65535);
    by_sector(static_cast<int>(i64{h} * 6 / 65535), v, p, q, t, r, g, b);
}

void rgb_to_hsl8(int r, int g, int b, int& h, int& s, int& l) {
    const int r12 = to12[r], g12 = to12[g], b12 = to12[b];
    const int hi = max3(r12, g12, b12), lo = min3(r12, g12, b12), d = hi - lo;
    l = (hi + lo) / 2;
    if (d == 0) {
        h = s = 0;
        return;
    }
    s = l <= 2048 ? (d << 12) / (hi + lo) : (d << 12) / (8192 - hi - lo);
    h = hue_of(r12, g12, b12, hi, lo, d, 4096);
}

void hsl_to_rgb8(int h, int s, int l, int& r, int& g, int& b) {
    if (l == 0) {
        r = g = b = 0;
        return;
    }
    if (l == 4096) {
        r = g = b = 255;
        return;
    }
    if (s == 0) {
        r = g = b = from12[l];
        return;
    }
    const int q = l > 2048 ? l + s - ((l * s) >> 12) : (l * (s + 4096)) >> 12;
    if (q == 0) {
        r = g = b = 0;
        return;
    }
    const int p = 2 * l - q;
    const int k = ((q - p) * ((h * 6) & 4095)) >> 12;
    by_sector((h * 6) >> 12, q, p, q - k, p + k, r, g, b);
    through_from12(r, g, b);
}

void rgb_to_hsl16(int r, int g, int b, int& h, int& s, int& l) {
    const int hi = max3(r, g, b), lo = min3(r, g, b), d = hi - lo;
    l = (hi + lo) / 2;
    if (d == 0) {
        h = s = 0;
        return;
    }
    const i64 den = l <= 32767 ? hi + lo : 131070 - hi - lo;
    s = static_cast<int>(i64{d} * 65535 / den);
    h = hue_of(r, g, b, hi, lo, d, 65535);
}

void hsl_to_rgb16(int h, int s, int l, int& r, int& g, int& b) {
    if (l == 0) {
        r = g = b = 0;
        return;
    }
    if (l == 65535) {
        r = g = b = 65535;
        return;
    }
    if (s == 0) {
        r = g = b = l;
        return;
    }
    const i64 ll = l, ss = s;
    const int q =
        static_cast<int>(l > 32767 ? ll + ss - ll * ss / 65535 : ll * (ss + 65535) / 65535);
    if (q == 0) {
        r = g = b = 0;
        return;
    }
    const int p = 2 * l - q;
    const int k = static_cast<int>(i64{q - p} * (i64{h} * 6 % 65535) / 65535);
    by_sector(static_cast<int>(i64{h} * 6 / 65535), q, p, q - k, p + k, r, g, b);
}

void set_lightness8(int& r, int& g, int& b, int l) {
    int h, s, old_l;
    rgb_to_hsl8(r, g, b, h, s, old_l);
    hsl_to_rgb8(h, s, l, r, g, b);
}

void set_lightness16(int& r, int& g, int& b, int l) {
    int h, s, old_l;
    rgb_to_hsl16(r, g, b, h, s, old_l);
    hsl_to_rgb16(h, s, l, r, g, b);
}

void set_value8(int& r, int& g, int& b, int v) {
    int h, s, old_v;
    rgb_to_hsv8(r, g, b, h, s, old_v);
    hsv_to_rgb8(h, s, v, r, g, b);
}

void set_value16(int& r, int& g, int& b, int v) {
    int h, s, old_v;
    rgb_to_hsv16(r, g, b, h, s, old_v);
    hsv_to_rgb16(h, s, v, r, g, b);
}

void apply_sat_table_hsv(int& r, int& g, int& b, SatTable table) {
    int h, s, v;
    rgb_to_hsv16(r, g, b, h, s, v);
    hsv_to_rgb16(h, table[static_cast<std::size_t>(s)], v, r, g, b);
}

void apply_sat_table_hsl(int& r, int& g, int& b, SatTable table) {
    int h, s, l;
    rgb_to_hsl16(r, g, b, h, s, l);
    hsl_to_rgb16(h, table[static_cast<std::size_t>(s)], l, r, g, b);
}

void apply_sat_table_hsv8(int& r, int& g, int& b, SatTable table) {
    int r16 = to16[r], g16 = to16[g], b16 = to16[b];
    apply_sat_table_hsv(r16, g16, b16, table);
    r = to8[r16], g = to8[g16], b = to8[b16];
}

void apply_sat_table_hsl8(int& r, int& g, int& b, SatTable table) {
    int r16 = to16[r], g16 = to16[g], b16 = to16[b];
    apply_sat_table_hsl(r16, g16, b16, table);
    r = to8[r16], g = to8[g16], b = to8[b16];
}
