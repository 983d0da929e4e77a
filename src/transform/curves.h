// Tone curves: one model of a curve for the whole program. A curve is a list
// of control points on the 8-bit scale with a style; it becomes a lookup
// table of 256 or 65536 entries, rebuilt from the points whenever they change
// and never edited directly. Brightness Curve, Color Curves and every later
// curve user (zones, colour balance, the raw pipeline, monitor curves) build
// their tables here.
//
// Beside the curve: the floating point curve of gradients (`FloatCurve`) and
// the colour ramp of gradients, textures and tints (`Colorline`), with their
// settings files.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "core/settings_text.h"

// Rounding half away from zero, as every table builder rounds.
inline double round_half_away(double v) {
    return v < 0 ? -std::floor(-v + 0.5) : std::floor(v + 0.5);
}

// ---------------------------------------------------------------------------
// Curve

inline constexpr int curve_points_max = 256;

enum CurveStyle : std::int32_t {
    curve_step = 0,    // "Stair Step"
    curve_linear = 1,  // "Broken Line"
    curve_spline = 2,  // "Smooth Curve"
    curve_gamma = 3,   // "Gamma Curve"
};

// The words a `.crv` file and the command line use for the styles, by number.
inline constexpr std::string_view curve_style_words[] = {"step", "linear", "spline", "gamma"};
// The words of the panel's style list.
inline constexpr std::string_view curve_style_labels[] = {"Stair Step", "Broken Line",
                                                          "Smooth Curve", "Gamma Curve"};
inline constexpr std::string_view curve_histexpand_labels[] = {
    "Linear Histogram", "Medium Histogram Expansion", "High Histogram Expansion"};

// Points are sorted by x, no two on one x, all on 0..255 even for 16-bit
// images: precision comes from the 16-bit table.
struct Curve {
    std::int32_t npts;  // 2 .. 256
    std::int32_t x[curve_points_max];
    std::int32_t y[curve_points_max];
    std::int32_t style;       // CurveStyle
    std::int32_t histexpand;  // 0 linear, 1 medium, 2 high histogram expansion
    std::uint8_t lut[256];    // built from the points
};

// A new curve, also "&Reset": (0, 0) and (255, 255), spline, linear histogram,
// with its table.
void curve_reset(Curve& curve);

// The tables. `npts` is at least 2 and x strictly increasing; workflows and
// the raw pipeline call these directly, without a control.
void curve_table8(int npts, const std::int32_t* x, const std::int32_t* y, int style,
                  std::uint8_t* table);  // 256 entries
void curve_table16(int npts, const std::int32_t* x, const std::int32_t* y, int style,
                   std::uint16_t* table);  // 65536 entries
// Both tables of a curve, as a compute run builds them; true when the 8-bit
// one is the identity.
bool curve_tables(const Curve& curve, std::uint8_t* table8, std::uint16_t* table16);
// The curve's own 8-bit table, into `lut`.
void curve_update(Curve& curve);
bool curve_is_identity(const Curve& curve);

// Edits, as the curve control makes them. Each keeps the points sorted and
// rebuilds `lut`.
// Adds a point; its index, or -1 (a beep) when 256 points exist, x is taken or
// outside 0..255.
int curve_add_point(Curve& curve, int x, int y);
// Deletes point `index` when at least 3 exist.
bool curve_delete_point(Curve& curve, int index);
// Moves point `index`, keeping x at least one level from its neighbours (the
// bounds beyond the ends being -1 and 256) and y within 0..255.
void curve_move_point(Curve& curve, int index, int x, int y);
// "&Invert": every y becomes 255 - y.
void curve_invert(Curve& curve);
// The y a point added at x takes in "Show Histograms" mode: 0 left of the
// first point, 255 right of the last, else the integer linear interpolation
// of its neighbours, whatever the style.
int curve_histogram_mode_y(const Curve& curve, int x);

// `.crv` files: "Curve 1.0", code 16 "Illegal curve file" when bad.
extern const SettingsFormat<Curve> curve_file_format;
[[nodiscard]] int curve_load(const std::string& path, Curve& curve);
[[nodiscard]] int curve_save(const std::string& path, const Curve& curve);

// ---------------------------------------------------------------------------
// Histograms behind a curve

// A histogram as the control shows it: 256 counts and their largest.
struct CurveHistogram {
    std::array<std::uint32_t, 256> count{};
    std::uint32_t largest = 0;
    void update_largest();
};

// The height a count is drawn with under a histogram expansion level:
// 0 the count, 1 100·c^0.4 and 2 100·c^0.2 rounded; 3, 4 and 5 the count
// times 2, 5 and 10. The control scales every bar by the expanded largest.
double curve_bar_height(std::uint32_t count, int expand);

// The output histogram of `in` through `table`: out[table[i]] += in[i].
void curve_output_histogram(const CurveHistogram& in, const std::uint8_t* table,
                            CurveHistogram& out);

// ---------------------------------------------------------------------------
// FloatCurve: the same styles over points with doubles in 0..1. Step and
// linear use the segments, spline and gamma the monotone cubic directly.

struct FloatCurve {
    std::int32_t npts;
    double x[curve_points_max];
    double y[curve_points_max];
    std::int32_t style;
};

void float_curve_reset(FloatCurve& curve);
// `n` (at least 2) values in 0..1, entry i taken at i / (n - 1).
void float_curve_table(const FloatCurve& curve, std::span<double> table);

// `.fcrv` files: "Curve 1.0" with real points, code 16 when bad.
extern const SettingsFormat<FloatCurve> float_curve_file_format;
[[nodiscard]] int float_curve_load(const std::string& path, FloatCurve& curve);
[[nodiscard]] int float_curve_save(const std::string& path, const FloatCurve& curve);

// ---------------------------------------------------------------------------
// Colorline: a ramp of up to 256 colours along 0..1.

enum ColorlineShape : std::int32_t {
    colorline_lstep = 0,  // "Step Left": B except exactly at A
    colorline_cstep = 1,  // "Step Center"
    colorline_rstep = 2,  // "Step Right": A except exactly at B
    colorline_line = 3,
    colorline_sine = 4,
};
enum ColorlineSpace : std::int32_t {
    colorline_rgb = 5,
    colorline_hsvcw = 6,
    colorline_hsvccw = 7,
    colorline_hslcw = 8,
    colorline_hslccw = 9,
};
inline constexpr std::string_view colorline_shape_words[] = {"lstep", "cstep", "rstep", "line",
                                                             "sine"};
inline constexpr std::string_view colorline_space_words[] = {"rgb", "hsvcw", "hsvccw", "hslcw",
                                                             "hslccw"};
inline constexpr std::string_view colorline_shape_labels[] = {"Step Left", "Step Center",
                                                              "Step Right", "Line", "Sine"};
inline constexpr std::string_view colorline_space_labels[] = {"RGB", "HSVCW", "HSVCCW", "HSLCW",
                                                              "HSLCCW"};

struct Colorline {
    std::int32_t ncolors;  // 2 .. 256
    double position[curve_points_max];  // first 0, last 1, never decreasing
    std::uint8_t colour[curve_points_max][3];  // r, g, b
    std::int32_t shape[curve_points_max];  // per gap k, from colour k to k + 1
    std::int32_t space[curve_points_max];
};

// The default pair: black at 0 to white at 1 along a line in RGB.
void colorline_reset(Colorline& line);
// A table of n (at least 2) colours, r, g, b each: entry i is taken at
// x = i·width/(n-1) against positions scaled by `width` (the control's pixel
// width; the table's own n - 1 when 0).
void colorline_table8(const Colorline& line, int n, double width, std::uint8_t* rgb);
// The same with the colours through `to16` and the 16-bit conversions.
void colorline_table16(const Colorline& line, int n, double width, std::uint16_t* rgb);

// `.cln` files: "Colorline 1.0", code 15 "Illegal color line file" when bad.
extern const SettingsFormat<Colorline> colorline_file_format;
[[nodiscard]] int colorline_load(const std::string& path, Colorline& line);
[[nodiscard]] int colorline_save(const std::string& path, const Colorline& line);
