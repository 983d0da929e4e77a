// Curve tables against formulas computed here another way, the edit rules,
// and the four curve files.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "core/tables.h"
#include "transform/curves.h"

namespace {

struct Points {
    std::vector<int> x, y;
};

std::vector<int> table8(const Points& p, int style) {
    std::uint8_t t[256];
    curve_table8(static_cast<int>(p.x.size()), p.x.data(), p.y.data(), style, t);
    return {t, t + 256};
}

std::vector<int> table16(const Points& p, int style) {
    std::vector<std::uint16_t> t(65536);
    curve_table16(static_cast<int>(p.x.size()), p.x.data(), p.y.data(), style, t.data());
    return {t.begin(), t.end()};
}

int round_away(double v) {
    return static_cast<int>(v < 0 ? -std::floor(-v + 0.5) : std::floor(v + 0.5));
}

// Not the step: it holds y[0] up to the last point, where it jumps.
TEST(CurveTable, TwoEndPointsAreTheIdentityInEveryInterpolatingStyleAndDepth) {
    for (int style : {curve_linear, curve_spline, curve_gamma}) {
        const auto t8 = table8({{0, 255}, {0, 255}}, style);
        const auto t16 = table16({{0, 255}, {0, 255}}, style);
        for (int i = 0; i < 256; ++i)
            ASSERT_EQ(t8[i], i) << "style " << style;
        for (int i = 0; i < 65536; ++i)
            ASSERT_EQ(t16[i], i) << "style " << style;
    }
}

// The straight line through (10, 20) and (200, 220), extended and clamped.
TEST(CurveTable, LinearExtendsItsEndSegmentsAndStepHoldsTheLevels) {
    const Points p{{10, 200}, {20, 220}};
    const auto linear = table8(p, curve_linear);
    const auto step = table8(p, curve_step);
    for (int i = 0; i < 256; ++i) {
        const double line = 20 + (i - 10) * 200.0 / 190.0;
        EXPECT_EQ(linear[i], std::clamp(round_away(line), 0, 255)) << i;
        // The step at x = 200 exactly still gives the left level.
        EXPECT_EQ(step[i], i <= 200 ? 20 : 220) << i;
    }
}

// Three points as spline: the middle point on a balanced curve, through
// (0,0) and (255,255) and monotone.
TEST(CurveTable, ThreePointSplinePassesTheMiddlePoint) {
    const auto t = table8({{0, 128, 255}, {0, 64, 255}}, curve_spline);
    EXPECT_EQ(t[128], 64);
    EXPECT_EQ(t[0], 0);
    EXPECT_EQ(t[255], 255);
    for (int i = 1; i < 256; ++i)
        EXPECT_GE(t[i], t[i - 1]) << i;
    const auto t16 = table16({{0, 128, 255}, {0, 64, 255}}, curve_spline);
    EXPECT_NEAR(t16[to16[128]], to16[64], 40);
}

// A gamma curve of three points is y0 + dy·u^g with g = ln b / ln a,
// rising past its last point until it clips.
TEST(CurveTable, ThreePointGammaIsThePowerLawBeyondItsLastPoint) {
    const Points p{{0, 100, 200}, {0, 50, 200}};
    const double g = std::log(50.0 / 200) / std::log(100.0 / 200);
    const auto t = table8(p, curve_gamma);
    for (int i = 0; i < 256; ++i)
        EXPECT_EQ(t[i], std::clamp(round_away(200 * std::pow(i / 200.0, g)), 0, 255)) << i;
    // On the diagonal the shape is 1: the 8-bit table falls back to the line.
    const auto diagonal = table8({{0, 100, 255}, {0, 100, 255}}, curve_gamma);
    for (int i = 0; i < 256; ++i)
        EXPECT_EQ(diagonal[i], i);
}

// Peaks, valleys and flat starts are not monotone and take the cubic, whose
// tangent is zero at the peak: the levels next to it stay near the top.
TEST(CurveTable, PeaksTakeTheCubicWithAFlatTop) {
    const auto peak = table8({{0, 128, 255}, {0, 255, 0}}, curve_spline);
    EXPECT_EQ(peak[128], 255);
    EXPECT_EQ(peak[0], 0);
    EXPECT_EQ(peak[255], 0);
    EXPECT_GE(peak[126], 254);
    EXPECT_GE(peak[130], 254);
    const auto flat = table8({{0, 128, 255}, {0, 0, 255}}, curve_spline);
    for (int i = 0; i <= 128; ++i)
        EXPECT_EQ(flat[i], 0) << i;
    EXPECT_EQ(flat[255], 255);
}

// Monotone points give monotone tables, at both depths, and the 16-bit table
// agrees with the 8-bit one within a level.
TEST(CurveTable, MonotonePointsGiveMonotoneTablesThatAgreeAcrossDepths) {
    const Points lists[] = {
        {{0, 30, 90, 160, 255}, {0, 60, 100, 200, 255}},
        {{20, 60, 61, 200}, {10, 11, 200, 240}},
        {{0, 50, 255}, {255, 100, 0}},
        {{5, 128, 250}, {250, 200, 10}},
    };
    for (const Points& p : lists) {
        for (int style : {curve_linear, curve_spline, curve_gamma}) {
            const auto t8 = table8(p, style);
            const auto t16 = table16(p, style);
            const bool rising = p.y.back() > p.y.front();
            for (int i = 1; i < 256; ++i)
                ASSERT_TRUE(rising ? t8[i] >= t8[i - 1] : t8[i] <= t8[i - 1]) << i;
            for (int i = 1; i < 65536; ++i)
                ASSERT_TRUE(rising ? t16[i] >= t16[i - 1] : t16[i] <= t16[i - 1]) << i;
            for (int i = 0; i < 256; ++i)
                ASSERT_NEAR(to8[t16[to16[i]]], t8[i], 1) << "style " << style << " level " << i;
        }
    }
}

TEST(CurveEdits, AddDeleteMoveAndInvertKeepTheRules) {
    Curve c;
    curve_reset(c);
    EXPECT_EQ(curve_add_point(c, 255, 10), -1);  // x taken
    EXPECT_EQ(curve_add_point(c, 256, 10), -1);  // outside
    EXPECT_EQ(curve_add_point(c, 100, 30), 1);
    EXPECT_EQ(c.lut[100], 30);
    EXPECT_FALSE(curve_delete_point(c, 5));
    curve_move_point(c, 1, 300, -4);  // x stops one level before the last point
    EXPECT_EQ(c.x[1], 254);
    EXPECT_EQ(c.y[1], 0);
    curve_move_point(c, 0, 254, 9);  // the first point can't pass its neighbour
    EXPECT_EQ(c.x[0], 253);
    EXPECT_EQ(curve_histogram_mode_y(c, 10), 0);  // left of the first point
    curve_invert(c);
    EXPECT_EQ(c.y[0], 246);
    EXPECT_EQ(c.y[2], 0);
    EXPECT_TRUE(curve_delete_point(c, 1));
    EXPECT_FALSE(curve_delete_point(c, 0));  // two points stay

    Curve full;
    curve_reset(full);
    for (int x = 1; x < 255; ++x)
        ASSERT_GE(curve_add_point(full, x, x), 0);
    EXPECT_EQ(full.npts, 256);
    EXPECT_EQ(curve_add_point(full, 128, 0), -1);  // full, even though x would be taken
    EXPECT_TRUE(curve_is_identity(full));
}

TEST(CurveHistogramOverlay, BarsExpandAndTheOutputFollowsTheTable) {
    EXPECT_EQ(curve_bar_height(1000, 0), 1000);
    EXPECT_EQ(curve_bar_height(1000, 1), round_away(100 * std::pow(1000, 0.4)));
    EXPECT_EQ(curve_bar_height(1000, 2), round_away(100 * std::pow(1000, 0.2)));
    EXPECT_EQ(curve_bar_height(7, 4), 35);
    CurveHistogram in;
    in.count[10] = 3;
    in.count[20] = 4;
    std::uint8_t t[256] = {};
    t[10] = t[20] = 99;
    CurveHistogram out;
    curve_output_histogram(in, t, out);
    EXPECT_EQ(out.count[99], 7u);
    EXPECT_EQ(out.largest, 7u);
}

TEST(FloatCurveTable, StylesOverDoubles) {
    FloatCurve c;
    float_curve_reset(c);
    c.npts = 3;
    c.x[1] = 0.5;
    c.y[1] = 0.25;
    c.x[2] = c.y[2] = 1.0;
    std::vector<double> t(5);
    c.style = curve_linear;
    float_curve_table(c, t);
    EXPECT_DOUBLE_EQ(t[1], 0.125);
    EXPECT_DOUBLE_EQ(t[3], 0.625);
    c.style = curve_step;
    float_curve_table(c, t);
    EXPECT_DOUBLE_EQ(t[1], 0.0);
    EXPECT_DOUBLE_EQ(t[3], 0.25);
    c.style = curve_gamma;  // the cubic, with no three-point shortcut
    float_curve_table(c, t);
    EXPECT_NEAR(t[2], 0.25, 1e-12);
    EXPECT_LT(t[1], 0.125 + 1e-9);
}

TEST(ColorlineTable, RgbLinesAndHueDirections) {
    Colorline line;
    colorline_reset(line);
    std::vector<std::uint8_t> t(256 * 3);
    colorline_table8(line, 256, 0, t.data());
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(t[3 * i + 1], i);
    // Red to blue: clockwise passes green, counter-clockwise magenta.
    line.colour[0][0] = 255;
    line.colour[0][1] = line.colour[0][2] = 0;
    line.colour[1][0] = line.colour[1][1] = 0;
    line.colour[1][2] = 255;
    const std::pair<int, bool> ways[] = {{colorline_hsvcw, true}, {colorline_hsvccw, false},
                                         {colorline_hslcw, true}, {colorline_hslccw, false}};
    for (auto [space, through_green] : ways) {
        line.space[0] = space;
        std::uint8_t mid[9];
        colorline_table8(line, 3, 0, mid);
        EXPECT_EQ(through_green, mid[4] > mid[3] && mid[4] > mid[5]) << space;
        EXPECT_EQ(!through_green, mid[3] > 200 && mid[5] > 200) << space;
    }
    // Steps: A exactly at its own position only (left) or B only at its (right).
    line.space[0] = colorline_rgb;
    line.shape[0] = colorline_lstep;
    std::uint8_t s[9];
    colorline_table8(line, 3, 0, s);
    EXPECT_EQ(s[0], 255);
    EXPECT_EQ(s[3], 0);
    line.shape[0] = colorline_rstep;
    colorline_table8(line, 3, 0, s);
    EXPECT_EQ(s[3], 255);
    EXPECT_EQ(s[8], 255);
}

// ---------------------------------------------------------------------------
// Files

std::string temp_path(const char* name) {
    return (std::filesystem::temp_directory_path() / name).string();
}

std::string file_text(const std::string& path) {
    std::ostringstream all;
    all << std::ifstream(path, std::ios::binary).rdbuf();
    return all.str();
}

TEST(CurveFiles, CrvIsWrittenAsTheFormatSaysAndReadsBack) {
    Curve c;
    curve_reset(c);
    ASSERT_EQ(curve_add_point(c, 128, 64), 1);
    c.style = curve_gamma;
    const std::string path = temp_path("orvane_test.crv");
    ASSERT_EQ(curve_save(path, c), 0);
    EXPECT_EQ(file_text(path),
              "Curve 1.0\r\nnpts 3\r\nstyle gamma\r\nhistexpand 0\r\npoint 0 0 0\r\n"
              "point 1 128 64\r\npoint 2 255 255\r\nend\r\n");
    Curve back;
    curve_reset(back);
    ASSERT_EQ(curve_load(path, back), 0);
    EXPECT_EQ(back.npts, 3);
    EXPECT_EQ(back.style, curve_gamma);
    EXPECT_EQ(back.lut[128], 64);
    // Points that cannot make a table are refused.
    std::ofstream(path, std::ios::binary) << "Curve 1.0\r\nnpts 2\r\npoint 0 9 0\r\npoint 1 9 5\r\nend\r\n";
    EXPECT_EQ(curve_load(path, back), 16);
    std::filesystem::remove(path);
}

// Each format reads back what it wrote and writes it again byte for byte.
template <typename T>
void expect_round_trip(const char* name, const T& value, int (*save)(const std::string&, const T&),
                       int (*load)(const std::string&, T&)) {
    const std::string a = temp_path(name), b = a + ".again";
    ASSERT_EQ(save(a, value), 0);
    T back{};
    ASSERT_EQ(load(a, back), 0) << file_text(a);
    ASSERT_EQ(save(b, back), 0);
    EXPECT_EQ(file_text(a), file_text(b));
    std::filesystem::remove(a);
    std::filesystem::remove(b);
}

TEST(CurveFiles, FcrvAndClnRoundTripByteForByte) {
    FloatCurve f;
    float_curve_reset(f);
    f.npts = 3;
    f.x[2] = f.y[2] = 1.0;
    f.x[1] = 0.3333;
    f.y[1] = 0.7071;
    f.style = curve_step;
    expect_round_trip("orvane_test.fcrv", f, float_curve_save, float_curve_load);

    Colorline line;
    colorline_reset(line);
    line.ncolors = 3;
    line.position[1] = 0.25;
    line.position[2] = 1.0;
    line.colour[1][0] = 7;
    line.colour[1][1] = 200;
    line.colour[1][2] = 33;
    line.colour[2][0] = line.colour[2][1] = line.colour[2][2] = 255;
    line.shape[1] = colorline_sine;
    line.space[1] = colorline_hslccw;
    expect_round_trip("orvane_test.cln", line, colorline_save, colorline_load);
    const std::string path = temp_path("orvane_words.cln");
    ASSERT_EQ(colorline_save(path, line), 0);
    const std::string text = file_text(path);
    EXPECT_NE(text.find("transition 1 sine hslccw\r\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("transition 2"), std::string::npos);  // none after the last colour
    std::filesystem::remove(path);
}

}  // namespace
