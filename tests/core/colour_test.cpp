#include "core/colour.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

// The 8-bit conversions back, transcribed as written: the sector table as
// rows of letters, v t p q for HSV; for HSL the same rows with v as q, t as
// p + k and q as q - k.
const char* const sector_rows[7] = {"vtp", "qvp", "pvt", "pqv", "tpv", "vpq", "vtp"};

void literal_hsv_to_rgb8(int h, int s, int v, int out[3]) {
    const int f = (h * 6) & 4095, sector = (h * 6) >> 12;
    const int p = (v * (4096 - s)) >> 12;
    const int q = (v * (4096 - ((s * f) >> 12))) >> 12;
    const int t = (v * (4096 - ((s * (4096 - f)) >> 12))) >> 12;
    for (int c = 0; c < 3; ++c) {
        const char x = sector_rows[sector][c];
        const int level = x == 'v' ? v : x == 't' ? t : x == 'p' ? p : q;
        out[c] = v == 0 ? 0 : s == 0 ? (v * 255) >> 12 : (level * 255) >> 12;
    }
}

void literal_hsl_to_rgb8(int h, int s, int l, int out[3]) {
    const int q = l > 2048 ? l + s - ((l * s) >> 12) : (l * (s + 4096)) >> 12;
    const int p = 2 * l - q, k = ((q - p) * ((h * 6) & 4095)) >> 12, sector = (h * 6) >> 12;
    for (int c = 0; c < 3; ++c) {
        const char x = sector_rows[sector][c];
        const int level = x == 'v' ? q : x == 't' ? p + k : x == 'p' ? p : q - k;
        out[c] = l == 4096 ? 255 : s == 0 ? (l * 255) >> 12 : q == 0 ? 0 : (level * 255) >> 12;
    }
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
    for (int i = 0; i < 256; ++i)
        EXPECT_EQ(to8[to16[i]], i) << i;
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            ASSERT_EQ(lerp8(a, b, 0), a);
            ASSERT_EQ(lerp8(a, b, 255), b);
        }
    }
    // The weights sum to 1024: 255 * 1024 >> 10 is exactly 255.
    EXPECT_EQ(luminance8(255, 255, 255), 255);
}

TEST(ColourHelpers, AgreeWithDirectFormulas) {
    for (int r : levels(255, 17)) {
        for (int g : levels(255, 17)) {
            for (int b : levels(255, 17)) {
                const int hi = std::max({r, g, b}), lo = std::min({r, g, b});
                ASSERT_EQ(max3(r, g, b), hi);
                ASSERT_EQ(hsl_lightness(r, g, b), (hi + lo) / 2);
                ASSERT_EQ(hsv_saturation8(r, g, b), hi ? (hi - lo) * 255 / hi : 0);
            }
        }
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
}

// Values worked out by hand from the integer formulas.
TEST(ColourConversion, PinnedEightBit) {
    int h, s, v;
    rgb_to_hsv8(0, 0, 0, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{0, 0, 0}));
    for (int i = 0; i < 256; ++i) {
        rgb_to_hsv8(i, i, i, h, s, v);
        ASSERT_EQ((std::vector{h, s, v}), (std::vector{0, 0, int{to12[i]}})) << i;
        rgb_to_hsl8(i, i, i, h, s, v);
        ASSERT_EQ((std::vector{h, s, v}), (std::vector{0, 0, int{to12[i]}})) << i;
    }
    // Red: R = M = 4096, G = B = m = 0: ((4096 << 12) / 4096 + 20480) / 6 = 4096.
    rgb_to_hsv8(255, 0, 0, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{4096, 4096, 4096}));
    // Green: G = M, B = m: (4096 + 4096) / 6 = 1365. Blue: (4096 + 12288) / 6 = 2730.
    rgb_to_hsv8(0, 255, 0, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{1365, 4096, 4096}));
    rgb_to_hsv8(0, 0, 255, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{2730, 4096, 4096}));
    // (200, 100, 50) maps to 3212, 1606, 803; d = 2409; R = M, G not m:
    // (4096 - 1606 * 4096 / 2409) / 6 = (4096 - 2730) / 6 = 227;
    // s = 2409 * 4096 / 3212 = 3072 exactly.
    rgb_to_hsv8(200, 100, 50, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{227, 3072, 3212}));
    // HSL: l = 4015 / 2 = 2007 <= 2048, s = 2409 * 4096 / 4015 = 2457.
    rgb_to_hsl8(200, 100, 50, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{227, 2457, 2007}));

    int r, g, b;
    // h 682: f = 4092, sector 0, p = 0, t = 4096 - 4 = 4092 -> from12 254.
    hsv_to_rgb8(682, 4096, 4096, r, g, b);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{255, 254, 0}));
    // h 3072: sector 4, f = 2048, t = 2048 -> from12 127; (t, p, v).
    hsv_to_rgb8(3072, 4096, 4096, r, g, b);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{127, 0, 255}));
    hsv_to_rgb8(1234, 4000, 0, r, g, b);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{0, 0, 0}));
    hsv_to_rgb8(1234, 0, 2048, r, g, b);  // 2048 * 255 >> 12 = 127
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{127, 127, 127}));
    // h 1024, s 2048, l 3072: q = 5120 - 1536 = 3584, p = 2560, f = 2048,
    // k = 512; sector 1 gives (q - k, q, p) = (3072, 3584, 2560).
    hsl_to_rgb8(1024, 2048, 3072, r, g, b);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{191, 223, 159}));
    // h 2048, s 4096, l 2048: q = 4096, p = 0, sector 3 with k = 0.
    hsl_to_rgb8(2048, 4096, 2048, r, g, b);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{0, 255, 255}));
    for (int hh : {0, 1000, 4096}) {
        for (int ss : {0, 2000, 4096}) {
            hsl_to_rgb8(hh, ss, 4096, r, g, b);
            EXPECT_EQ((std::vector{r, g, b}), (std::vector{255, 255, 255}));
            hsl_to_rgb8(hh, ss, 0, r, g, b);
            EXPECT_EQ((std::vector{r, g, b}), (std::vector{0, 0, 0}));
        }
    }
}

TEST(ColourConversion, PinnedSixteenBit) {
    int h, s, v;
    // Red: ((65535 * 65535) / 65535 + 327675) / 6 = 65535.
    rgb_to_hsv16(65535, 0, 0, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{65535, 65535, 65535}));
    rgb_to_hsv16(0, 65535, 0, h, s, v);  // 131070 / 6
    EXPECT_EQ(h, 21845);
    rgb_to_hsv16(0, 0, 65535, h, s, v);  // 262140 / 6
    EXPECT_EQ(h, 43690);
    rgb_to_hsv16(65535, 65535, 0, h, s, v);  // 65535 / 6
    EXPECT_EQ(h, 10922);
    // l = 32767 takes the lower branch: s = 65535 * 65535 / 65535;
    // hue (65535 - 32767) / 6 = 5461.
    rgb_to_hsl16(65535, 32768, 0, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{5461, 65535, 32767}));
    // Either side of the limit, where the two divisors differ: 65534 * 65535
    // over 65534 (not 65536) at l = 32767, and over 131070 - 65536 at l = 32768.
    rgb_to_hsl16(65534, 0, 0, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{65535, 65535, 32767}));
    rgb_to_hsl16(65535, 1, 1, h, s, v);
    EXPECT_EQ((std::vector{h, s, v}), (std::vector{65535, 65535, 32768}));

    int r, g, b;
    // h * 6 = 65532: sector 0, f = 65532, t = 65535 * 65532 / 65535.
    hsv_to_rgb16(10922, 65535, 65535, r, g, b);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{65535, 65532, 0}));
    // h 16384: sector 1, f = 32769; q = 81920 - 24576 = 57344, p = 40960,
    // k = 16384 * 32769 / 65535 = 8192.
    hsl_to_rgb16(16384, 32768, 49152, r, g, b);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{49152, 57344, 40960}));
    hsl_to_rgb16(777, 12345, 65535, r, g, b);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{65535, 65535, 65535}));
}

TEST(ColourConversion, RoundTripsEightBit) {
    for (int r : levels(255, 3)) {
        for (int g : levels(255, 3)) {
            for (int b : levels(255, 3)) {
                int h, s, x, r2, g2, b2;
                rgb_to_hsv8(r, g, b, h, s, x);
                hsv_to_rgb8(h, s, x, r2, g2, b2);
                ASSERT_LE(max_error(r, g, b, r2, g2, b2), 1) << r << ' ' << g << ' ' << b;
                rgb_to_hsl8(r, g, b, h, s, x);
                hsl_to_rgb8(h, s, x, r2, g2, b2);
                ASSERT_LE(max_error(r, g, b, r2, g2, b2), 1) << r << ' ' << g << ' ' << b;
            }
        }
    }
}

TEST(ColourConversion, RoundTripsSixteenBit) {
    std::vector<int> grid = levels(65535, 4111);
    grid.insert(grid.end(), extremes16.begin(), extremes16.end());
    for (int r : grid) {
        for (int g : grid) {
            for (int b : grid) {
                int h, s, x, r2, g2, b2;
                rgb_to_hsv16(r, g, b, h, s, x);
                ASSERT_TRUE(h >= 0 && h <= 65535 && s >= 0 && s <= 65535 && x == max3(r, g, b));
                hsv_to_rgb16(h, s, x, r2, g2, b2);
                ASSERT_LE(max_error(r, g, b, r2, g2, b2), 8) << r << ' ' << g << ' ' << b;
                rgb_to_hsl16(r, g, b, h, s, x);
                ASSERT_TRUE(h >= 0 && h <= 65535 && s >= 0 && s <= 65535);
                hsl_to_rgb16(h, s, x, r2, g2, b2);
                ASSERT_LE(max_error(r, g, b, r2, g2, b2), 8) << r << ' ' << g << ' ' << b;
            }
        }
    }
}

TEST(ColourConversion, ForwardMatchesOracle) {
    for (int r : levels(255, 5)) {
        for (int g : levels(255, 5)) {
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
    }
}

TEST(ColourConversion, BackwardMatchesTranscription) {
    std::vector<int> grid = levels(4096, 91);
    grid.insert(grid.end(), {1, 2047, 2048, 2049, 4095});
    for (int h : levels(4096, 7)) {
        for (int s : grid) {
            for (int x : grid) {
                int got[3], want[3];
                hsv_to_rgb8(h, s, x, got[0], got[1], got[2]);
                literal_hsv_to_rgb8(h, s, x, want);
                ASSERT_EQ((std::vector(got, got + 3)), (std::vector(want, want + 3)))
                    << "hsv " << h << ' ' << s << ' ' << x;
                hsl_to_rgb8(h, s, x, got[0], got[1], got[2]);
                literal_hsl_to_rgb8(h, s, x, want);
                ASSERT_EQ((std::vector(got, got + 3)), (std::vector(want, want + 3)))
                    << "hsl " << h << ' ' << s << ' ' << x;
            }
        }
    }
}

TEST(ColourConversion, BackwardMatchesOracle) {
    // Each channel of the sector tables against the closed forms; the 8-bit
    // results also carry the truncation of from12.
    for (int h : levels(4096, 41)) {
        for (int s : levels(4096, 273)) {
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
        }
    }
    for (int h : levels(65535, 613)) {
        for (int s : levels(65535, 4369)) {
            for (int x : levels(65535, 4369)) {
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
    }
}

TEST(ColourConversion, SixteenBitExtremesStayInRange) {
    // Every product here exceeds 32 bits somewhere; the sanitized build checks
    // that none of them overflows.
    for (int a : extremes16) {
        for (int b : extremes16) {
            for (int c : extremes16) {
                int r, g, bl;
                hsv_to_rgb16(a, b, c, r, g, bl);
                ASSERT_TRUE(std::min({r, g, bl}) >= 0 && std::max({r, g, bl}) <= 65535);
                ASSERT_EQ(max3(r, g, bl), c);
                hsl_to_rgb16(a, b, c, r, g, bl);
                ASSERT_TRUE(std::min({r, g, bl}) >= 0 && std::max({r, g, bl}) <= 65535);
                ASSERT_NEAR(hsl_lightness(r, g, bl), c, 1);
            }
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

    for (int r0 : levels(65535, 8191)) {
        for (int g0 : levels(65535, 13107)) {
            for (int b0 : extremes16) {
                for (int target : {0, 1, 20000, 32767, 32768, 65535}) {
                    r = r0, g = g0, b = b0;
                    set_value16(r, g, b, target);
                    ASSERT_EQ(max3(r, g, b), target);
                    r = r0, g = g0, b = b0;
                    set_lightness16(r, g, b, target);
                    ASSERT_NEAR(hsl_lightness(r, g, b), target, 1);
                }
            }
        }
    }
}

TEST(ColourRoundTrip, SaturationTables) {
    std::vector<std::uint16_t> identity(65536), none(65536, 0), full(65536, 65535);
    for (int i = 0; i < 65536; ++i)
        identity[i] = static_cast<std::uint16_t>(i);
    const SatTable keep(identity.data(), 65536), grey(none.data(), 65536),
        vivid(full.data(), 65536);

    for (int r0 : levels(255, 15)) {
        for (int g0 : levels(255, 15)) {
            for (int b0 : levels(255, 15)) {
                const int hi = max3(r0, g0, b0), lo = std::min({r0, g0, b0});
                int r = r0, g = g0, b = b0;
                apply_sat_table_hsv8(r, g, b, keep);
                ASSERT_LE(max_error(r, g, b, r0, g0, b0), 1);
                r = r0, g = g0, b = b0;
                apply_sat_table_hsl8(r, g, b, keep);
                ASSERT_LE(max_error(r, g, b, r0, g0, b0), 1);
                // No saturation: grey at the value, or at the lightness.
                r = r0, g = g0, b = b0;
                apply_sat_table_hsv8(r, g, b, grey);
                ASSERT_EQ((std::vector{r, g, b}), (std::vector{hi, hi, hi}));
                r = r0, g = g0, b = b0;
                apply_sat_table_hsl8(r, g, b, grey);
                ASSERT_TRUE(r == g && g == b);
                ASSERT_NEAR(r, (hi + lo) / 2.0, 1.0);

                // Full saturation in 16 bits: HSV keeps the value and empties
                // the least channel; HSL reaches black or white on one side.
                const int r16 = to16[r0], g16 = to16[g0], b16 = to16[b0];
                if (hi == lo) continue;
                r = r16, g = g16, b = b16;
                apply_sat_table_hsv(r, g, b, vivid);
                ASSERT_EQ(max3(r, g, b), max3(r16, g16, b16));
                ASSERT_EQ(std::min({r, g, b}), 0);
                r = r16, g = g16, b = b16;
                const int l = hsl_lightness(r16, g16, b16);
                apply_sat_table_hsl(r, g, b, vivid);
                if (l <= 32767) {
                    ASSERT_EQ(std::min({r, g, b}), 0) << r0 << ' ' << g0 << ' ' << b0;
                } else {
                    ASSERT_EQ(max3(r, g, b), 65535) << r0 << ' ' << g0 << ' ' << b0;
                }
            }
        }
    }
}
