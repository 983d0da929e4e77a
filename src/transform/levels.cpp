#include "transform/levels.h"

#include <algorithm>
#include <cmath>

#include "transform/curves.h"
#include "transform/tone.h"

double levels_bend(double t, double m) {
    if (t <= 0) return 0;
    if (t >= 1) return 1;
    const double s = (m + 100) / 200;
    if (s == 0.5) return t;
    if (s < 0.5) {
        const double g = std::sqrt(0.5 / s);
        return 1 - std::pow(1 - std::pow(t, g), 1 / g);
    }
    const double g = std::sqrt(0.5 / (1 - s));
    return std::pow(1 - std::pow(1 - t, g), 1 / g);
}

namespace {

template <typename T>
void tone_table(const LevelsTone& tone, bool inv, int top, T* table) {
    const int a = tone.in_low * top / 255, b = tone.in_high * top / 255;
    const int c = tone.out_low * top / 255, d = tone.out_high * top / 255;
    // Out of range at either end gives that end, or the other one with inv.
    auto store = [&](double v) {
        if (v <= 0) return static_cast<T>(inv ? top : 0);
        if (v >= top) return static_cast<T>(inv ? 0 : top);
        return static_cast<T>(round_half_away(v));
    };
    const double m = tone.midtones;
    for (int i = 0; i <= top; ++i) {
        double v;
        if (m <= -99.999)
            v = c;
        else if (m >= 99.999)
            v = d;
        else if (i <= a)
            v = c;
        else if (i >= b)
            v = d;
        else
            v = c + (d - c) * levels_bend(static_cast<double>(i - a) / (b - a), m);
        table[i] = store(v);
    }
}

template <typename T>
void saturation_table(double saturation, int top, T* table) {
    const double r = (saturation / 100) * std::fabs(saturation / 100);
    const double k = std::tan((r + 1) * 0.25 * 3.1415926536);
    for (int i = 0; i <= top; ++i) {
        double v;
        if (r <= -1)
            v = 0;
        else if (r >= 1)
            v = top;
        else if (r == 0)
            v = i;
        else
            v = round_half_away(std::min(k * i, static_cast<double>(top)));
        table[i] = static_cast<T>(v);
    }
}

}  // namespace

void levels_tone_table8(const LevelsTone& tone, bool invert_clipped, std::uint8_t* table) {
    tone_table(tone, invert_clipped, 255, table);
}

void levels_tone_table16(const LevelsTone& tone, bool invert_clipped, std::uint16_t* table) {
    tone_table(tone, invert_clipped, 65535, table);
}

void levels_saturation_table8(double saturation, std::uint8_t* table) {
    saturation_table(saturation, 255, table);
}

void levels_saturation_table16(double saturation, std::uint16_t* table) {
    saturation_table(saturation, 65535, table);
}

bool levels_auto_range(const Image* image, int space, int& low, int& high) {
    CurveHistogram hist[3];
    const int reading = space == tone_hsl ? reading_mid : reading_max;
    if (tone_histogram(image, reading, hist, 500000) == 0) return false;
    std::uint64_t total = 0;
    for (std::uint32_t c : hist[0].count)
        total += c;
    const std::uint64_t threshold = total / 10000;
    std::uint64_t sum = 0;
    low = 0;
    for (int i = 0; i < 256; ++i) {
        sum += hist[0].count[static_cast<std::size_t>(i)];
        low = i;
        if (sum > threshold) break;
    }
    sum = 0;
    high = 255;
    for (int i = 255; i >= 0; --i) {
        sum += hist[0].count[static_cast<std::size_t>(i)];
        high = i;
        if (sum > threshold) break;
    }
    return true;
}
