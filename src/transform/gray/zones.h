// 3-Zone and 2-Zone Adjustment: the pieces of the zone computation that the
// panel and the tests reach directly. The transformations themselves are in
// zones.cpp, one implementation with the zone count as a parameter.
#pragma once

#include <cstdint>

enum ZoneKind : int {
    zone_highlight = 0,
    zone_shadow = 1,
    zone_midtone = 2,
};

// The thresholds on the expanded image's scale: low and high mapped from
// the input's levels by the black and white points (truncating), then kept
// where the zone curves stay valid: lo in 1..252, hi in max(lo + 2, 2)..254.
// Black equal to white leaves the levels as they are (still kept in range).
struct ZoneThresholds {
    int lo;
    int hi;
};
ZoneThresholds zone_thresholds(int black, int white, int low, int high);

// The seam weight of a blurred mask value: 4m - 4m²/255, 255 at m = 127 and
// 128, 0 at 0 and 255.
constexpr int zone_transition(int m) {
    return 4 * m - (4 * m * m) / 255;
}

// The control points of a zone's curve (4, or 5 for the midtone) for
// brightness p and contrast c in -255..255, each y kept in 0..255. Returns
// the number of points.
int zone_curve_points(int zone, int lo, int hi, int brightness, int contrast, std::int32_t x[5],
                      std::int32_t y[5]);

// The saturation table for a change in -255..255 on 0..maximum (4096 for
// the 8-bit conversions, 65535 for the 16-bit ones): maximum + 1 entries.
void zone_saturation_table(int change, int maximum, std::uint16_t* table);

// The grey level "Show Zones" gives a V read against the raw handles.
constexpr int zone_display_level(int v, int black, int low, int high, int white) {
    if (v < black) return 0;
    if (v < low) return 54;
    if (v < high) return 128;
    if (v > white) return 255;
    return 192;
}

// How often each cached stage was built since the start, per transformation
// (zones 3 or 2): what a test checks to know a preview reused a stage.
struct ZoneCounters {
    std::uint64_t expansions = 0;
    std::uint64_t mask_builds = 0;
    std::uint64_t zone_builds[3] = {};
};
ZoneCounters zone_counters(int zones);

// Frees the cached images of one transformation (its panel closed).
void zone_cache_release(int zones);
