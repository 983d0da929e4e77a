#include "core/colour.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <vector>

#include "core/tables.h"

namespace {

// Independent oracles: the textbook conversions in double precision, written
// in the closed forms without sectors, on unit scales (hue 0..1 around).
struct Unit {
    double h, s, x;
};

Unit oracle_rgb_to_hsv(double r, double g, double b) {
    const double hi = std::max({r, g, b}), d = hi - std::min({r, g, b});
    Unit u{0, hi > 0 ? d / hi : 0, hi};
    if (d > 0) {
        const double sixths = hi == r ? (g - b) / d : hi == g ? 2 + (b - r) / d : 4 + (r - g) / d;
        u.h = sixths / 6 + (sixths < 0 ? 1 : 0);
    }
    return u;
}

Unit oracle_rgb_to_hsl(double r, double g, double b) {
    const double hi = std::max({r, g, b}), lo = std::min({r, g, b}), d = hi - lo;
    const double l = (hi + lo) / 2;
    return {oracle_rgb_to_hsv(r, g, b).h, d > 0 ? d / (1 - std::fabs(hi + lo - 1)) : 0, l};
}

double oracle_hsv_channel(int n, double h, double s, double v) {
    const double k = std::fmod(n + h * 6, 6);
    return v - v * s * std::max(0.0, std::min({k, 4 - k, 1.0}));
}

double oracle_hsl_channel(int n, double h, double s, double l) {
    const double k = std::fmod(n + h * 12, 12);
    return l - s * std::min(l, 1 - l) * std::max(-1.0, std::min({k - 3, 9 - k, 1.0}));
}

// Distance of two hues on a circle of `one` units.
double hue_distance(double a, double b, double one) {
    const double d = std::fabs(a - b);
    return std::min(d, one - d);
}

// Sample levels with both ends; the sanitized build keeps these grids small.
std::vector<int> levels(int top, int step) {
    std::vector<int> v;
    for (int i = 0; i < top; i += step)
        v.push_back(i);
    v.push_back(top);
    return v;
}

const std::vector<int> extremes16 = {0, 1, 2, 255, 32767, 32768, 65533, 65534, 65535};

int max_error(int r, int g, int b, int r2, int g2, int b2) {
    return std::max({std::abs(r - r2), std::abs(g - g2), std::abs(b - b2)});
}

}  // namespace

TEST(SharedTables, EdgeValues) {
    // 16 to 8 bits rounds to nearest (no ties: 65535 / 255 is 257, odd).
    for (int v = 0; v < 65536; ++v)
        ASSERT_EQ(to8[v], std::lround(v / 257.0)) << v;
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(to16[i], i * 257) << i;
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b) {
            ASSERT_EQ(lerp8(a, b, 0), a);
            ASSERT_EQ(lerp8(a, b, 255), b);
        }
    // The weights sum to 1024: 255 * 1024 >> 10 is exactly 255.
    EXPECT_EQ(luminance8(255, 255, 255), 255);
}

TEST(ColourHelpers, AgreeWithDirectFormulas) {
    for (int r : levels(255, 17))
        for (int g : levels(255, 17))
            for (int b : levels(255, 17)) {
                const int hi = std::max({r, g, b}), lo = std::min({r, g, b});
                ASSERT_EQ(max3(r, g, b), hi);
                ASSERT_EQ(hsl_lightness(r, g, b), (hi + lo) / 2);
                ASSERT_EQ(hsv_saturation8(r, g, b), hi ? (hi - lo) * 255 / hi : 0);
            }
    EXPECT_EQ(hsv_saturation8(200, 100, 50), 191);  // 150 * 255 / 200 = 191.25
    // Products beyond 32 bits in the 16-bit form.
    EXPECT_EQ(hsv_saturation16(65535, 0, 0), 65535);
    EXPECT_EQ(hsv_saturation16(65535, 1, 65535), 65534);
    EXPECT_EQ(hsv_saturation16(1, 0, 0), 65535);
    EXPECT_EQ(hsv_saturation16(0, 0, 0), 0);
}

TEST(ColourHelpers, ScaleToValue) {
    int r = 200, g = 100, b = 50;
    scale_to_value(r, g, b, 200, 200);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{200, 100, 50}));
    scale_to_value(r, g, b, 200, 101);  // 100 * 101 / 200 = 50.5, 50 * 101 / 200 = 25.25
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{101, 50, 25}));
    scale_to_value(r, g, b, 0, 77);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{77, 77, 77}));
    scale_to_value(r, g, b, 77, 0);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{0, 0, 0}));
    r = 65535, g = 65534, b = 1;  // 65534 * 65534 needs more than 32 bits
    scale_to_value(r, g, b, 65535, 65534);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{65534, 65533, 0}));
    // Against integer division for every old value, with whole quotients
    // (the samples o and o - 1 at n = o ± 1) and the largest products.
    int wrong = 0;
    for (std::uint32_t o = 1; o <= 65535; ++o) {
        for (std::uint32_t n : {1u, o > 1 ? o - 1 : 2u, o < 65535 ? o + 1 : 3u, 65535u, 32768u}) {
            if (n == o) continue;
            for (std::uint32_t s : {o, o - 1, o / 2, 65535u / (n > 0 ? n : 1)}) {
                if (s * static_cast<std::uint64_t>(n) >= (std::uint64_t{1} << 32) || s > 65535) continue;
                int r1 = static_cast<int>(s), g1 = 0, b1 = 0;
                scale_to_value(r1, g1, b1, static_cast<int>(o), static_cast<int>(n));
                wrong += static_cast<std::uint32_t>(r1) != s * n / o;
            }
        }
    }
    EXPECT_EQ(wrong, 0);
}

// Values worked out by hand from the integer formulas, at sector edges and
// where 32-bit products would overflow.
TEST(ColourConversion, Pinned) {
    using Conversion = void (*)(int, int, int, int&, int&, int&);
    struct Case {
        Conversion f;
        int in[3], out[3];
    };
    const Case cases[] = {
        // Red: ((4096 << 12) / 4096 + 20480) / 6 = 4096; green 8192 / 6; blue 16384 / 6.
        {rgb_to_hsv8, {255, 0, 0}, {4096, 4096, 4096}},
        {rgb_to_hsv8, {0, 255, 0}, {1365, 4096, 4096}},
        {rgb_to_hsv8, {0, 0, 255}, {2730, 4096, 4096}},
        // 3212, 1606, 803: (4096 - 1606 * 4096 / 2409) / 6 = 227, s 2409 * 4096 / 3212.
        {rgb_to_hsv8, {200, 100, 50}, {227, 3072, 3212}},
        {rgb_to_hsl8, {200, 100, 50}, {227, 2457, 2007}},    // l 4015 / 2 <= 2048
        {hsv_to_rgb8, {682, 4096, 4096}, {255, 254, 0}},     // sector 0, t 4092
        {hsv_to_rgb8, {3072, 4096, 4096}, {127, 0, 255}},    // sector 4, (t, p, v)
        {hsv_to_rgb8, {1234, 0, 2048}, {127, 127, 127}},     // 2048 * 255 >> 12
        {hsl_to_rgb8, {1024, 2048, 3072}, {191, 223, 159}},  // sector 1, (q - k, q, p)
        {hsl_to_rgb8, {2048, 4096, 2048}, {0, 255, 255}},
        {hsl_to_rgb8, {1000, 2000, 4096}, {255, 255, 255}},
        {hsl_to_rgb8, {1000, 2000, 0}, {0, 0, 0}},
        {rgb_to_hsv16, {65535, 0, 0}, {65535, 65535, 65535}},
        {rgb_to_hsv16, {0, 0, 65535}, {43690, 65535, 65535}},
        {rgb_to_hsv16, {65535, 65535, 0}, {10922, 65535, 65535}},
        // l 32767 takes the lower branch: 65535 * 65535 / 65535, hue 32768 / 6.
        {rgb_to_hsl16, {65535, 32768, 0}, {5461, 65535, 32767}},
        // Either side of the limit, where the divisors are 65534 and 131070 - 65536.
        {rgb_to_hsl16, {65534, 0, 0}, {65535, 65535, 32767}},
        {rgb_to_hsl16, {65535, 1, 1}, {65535, 65535, 32768}},
        {hsv_to_rgb16, {10922, 65535, 65535}, {65535, 65532, 0}},      // h * 6 = 65532
        {hsl_to_rgb16, {16384, 32768, 49152}, {49152, 57344, 40960}},  // k = 8192
        {hsl_to_rgb16, {777, 12345, 65535}, {65535, 65535, 65535}},
    };
    for (const Case& c : cases) {
        int out[3];
        c.f(c.in[0], c.in[1], c.in[2], out[0], out[1], out[2]);
        EXPECT_EQ((std::vector(out, out + 3)), (std::vector(c.out, c.out + 3)))
            << "case " << &c - cases;
    }
    int h, s, v;
    for (int i = 0; i < 256; ++i) {
        rgb_to_hsv8(i, i, i, h, s, v);
        ASSERT_EQ((std::vector{h, s, v}), (std::vector{0, 0, int{to12[i]}})) << i;
        rgb_to_hsl8(i, i, i, h, s, v);
        ASSERT_EQ((std::vector{h, s, v}), (std::vector{0, 0, int{to12[i]}})) << i;
    }
}

TEST(ColourConversion, ForwardMatchesOracle) {
    for (int r : levels(255, 5))
        for (int g : levels(255, 5))
            for (int b : levels(255, 5)) {
                int h, s, x;
                // The 8-bit form works on to12 levels; give the oracle the same.
                const double ru = to12[r] / 4096.0, gu = to12[g] / 4096.0, bu = to12[b] / 4096.0;
                rgb_to_hsv8(r, g, b, h, s, x);
                Unit u = oracle_rgb_to_hsv(ru, gu, bu);
                ASSERT_LE(hue_distance(h, u.h * 4096, 4096), 1.0) << r << ' ' << g << ' ' << b;
                ASSERT_NEAR(s, u.s * 4096, 1.0);
                rgb_to_hsl8(r, g, b, h, s, x);
                u = oracle_rgb_to_hsl(ru, gu, bu);
                ASSERT_LE(hue_distance(h, u.h * 4096, 4096), 1.0);
                ASSERT_NEAR(s, u.s * 4096, 1.0) << r << ' ' << g << ' ' << b;
                ASSERT_NEAR(x, u.x * 4096, 0.5);

                // 16 bits, with green off the multiples of 257.
                const int r16 = r * 257, g16 = std::min(g * 257 + 99, 65535), b16 = b * 257;
                const double r1 = r16 / 65535.0, g1 = g16 / 65535.0, b1 = b16 / 65535.0;
                rgb_to_hsv16(r16, g16, b16, h, s, x);
                u = oracle_rgb_to_hsv(r1, g1, b1);
                ASSERT_LE(hue_distance(h, u.h * 65535, 65535), 1.0);
                ASSERT_NEAR(s, u.s * 65535, 1.0);
                rgb_to_hsl16(r16, g16, b16, h, s, x);
                u = oracle_rgb_to_hsl(r1, g1, b1);
                ASSERT_LE(hue_distance(h, u.h * 65535, 65535), 1.0);
                ASSERT_NEAR(s, u.s * 65535, 1.0);
            }
}

TEST(ColourConversion, BackwardMatchesOracle) {
    // Each channel of the sector tables against the closed forms; the 8-bit
    // results also carry the truncation of from12.
    for (int h : levels(4096, 41))
        for (int s : levels(4096, 273))
            for (int x : levels(4096, 273)) {
                int r, g, b;
                const double hu = h / 4096.0, su = s / 4096.0, xu = x / 4096.0;
                hsv_to_rgb8(h, s, x, r, g, b);
                const int want_v[] = {r, g, b};
                hsl_to_rgb8(h, s, x, r, g, b);
                const int want_l[] = {r, g, b};
                for (int c = 0; c < 3; ++c) {
                    const int n_hsv = 5 - 2 * c, n_hsl = (12 - 4 * c) % 12;
                    ASSERT_NEAR(want_v[c] + 0.5, oracle_hsv_channel(n_hsv, hu, su, xu) * 255, 1.0)
                        << h << ' ' << s << ' ' << x << " channel " << c;
                    ASSERT_NEAR(want_l[c] + 0.5, oracle_hsl_channel(n_hsl, hu, su, xu) * 255, 1.0)
                        << h << ' ' << s << ' ' << x << " channel " << c;
                }
            }
    // 16 bits, with the extremes where products exceed 32 bits (the
    // sanitized build checks that none of them overflows).
    std::vector<int> grid = levels(65535, 4369);
    grid.insert(grid.end(), extremes16.begin(), extremes16.end());
    for (int h : levels(65535, 613))
        for (int s : grid)
            for (int x : grid) {
                int rgb_v[3], rgb_l[3];
                const double hu = h / 65535.0, su = s / 65535.0, xu = x / 65535.0;
                hsv_to_rgb16(h, s, x, rgb_v[0], rgb_v[1], rgb_v[2]);
                hsl_to_rgb16(h, s, x, rgb_l[0], rgb_l[1], rgb_l[2]);
                for (int c = 0; c < 3; ++c) {
                    const int n_hsv = 5 - 2 * c, n_hsl = (12 - 4 * c) % 12;
                    ASSERT_NEAR(rgb_v[c], oracle_hsv_channel(n_hsv, hu, su, xu) * 65535, 2.0)
                        << h << ' ' << s << ' ' << x << " channel " << c;
                    ASSERT_NEAR(rgb_l[c], oracle_hsl_channel(n_hsl, hu, su, xu) * 65535, 2.0)
                        << h << ' ' << s << ' ' << x << " channel " << c;
                }
            }
}

TEST(ColourRoundTrip, ReplaceValueAndLightness) {
    int r = 255, g = 0, b = 0;
    // Red at v 2048: sector 6 is sector 0, p = t = 0, from12[2048] = 127.
    set_value8(r, g, b, 2048);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{127, 0, 0}));
    // Red has l 2048 and s 4096; at l 1024: q = 1024 * 8192 >> 12 = 2048, p = 0.
    r = 255, g = 0, b = 0;
    set_lightness8(r, g, b, 1024);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{127, 0, 0}));

    for (int r0 : levels(65535, 8191))
        for (int g0 : levels(65535, 13107))
            for (int b0 : extremes16)
                for (int target : {0, 1, 20000, 32767, 32768, 65535}) {
                    r = r0, g = g0, b = b0;
                    set_value16(r, g, b, target);
                    ASSERT_EQ(max3(r, g, b), target);
                    r = r0, g = g0, b = b0;
                    set_lightness16(r, g, b, target);
                    ASSERT_NEAR(hsl_lightness(r, g, b), target, 1);
                }
}

TEST(ColourRoundTrip, SaturationTables) {
    std::vector<std::uint16_t> identity(65536), none(65536, 0), full(65536, 65535);
    std::iota(identity.begin(), identity.end(), 0);
    const SatTable keep(identity.data(), 65536), grey(none.data(), 65536),
        vivid(full.data(), 65536);
    using Apply = void (*)(int&, int&, int&, SatTable);
    const auto run = [](Apply f, SatTable t, int r, int g, int b) {
        f(r, g, b, t);
        return std::array{r, g, b};
    };
    for (int r0 : levels(255, 15))
        for (int g0 : levels(255, 15))
            for (int b0 : levels(255, 15)) {
                const int hi = max3(r0, g0, b0), lo = std::min({r0, g0, b0});
                for (Apply f : {apply_sat_table_hsv8, apply_sat_table_hsl8}) {
                    const auto o = run(f, keep, r0, g0, b0);
                    ASSERT_LE(max_error(o[0], o[1], o[2], r0, g0, b0), 1);
                }
                // No saturation: grey at the value, or at the lightness.
                ASSERT_EQ(run(apply_sat_table_hsv8, grey, r0, g0, b0), (std::array{hi, hi, hi}));
                const auto o = run(apply_sat_table_hsl8, grey, r0, g0, b0);
                ASSERT_TRUE(o[0] == o[1] && o[1] == o[2]);
                ASSERT_NEAR(o[0], (hi + lo) / 2.0, 1.0);

                // Full saturation in 16 bits: HSV keeps the value and empties
                // the least channel; HSL reaches black or white on one side.
                if (hi == lo) continue;
                const int r16 = to16[r0], g16 = to16[g0], b16 = to16[b0];
                const auto v = run(apply_sat_table_hsv, vivid, r16, g16, b16);
                ASSERT_EQ(max3(v[0], v[1], v[2]), max3(r16, g16, b16));
                ASSERT_EQ(std::min({v[0], v[1], v[2]}), 0);
                const auto l = run(apply_sat_table_hsl, vivid, r16, g16, b16);
                const bool dark = hsl_lightness(r16, g16, b16) <= 32767;
                ASSERT_EQ(dark ? std::min({l[0], l[1], l[2]}) : max3(l[0], l[1], l[2]),
                          dark ? 0 : 65535)
                    << r0 << ' ' << g0 << ' ' << b0;
            }
}
