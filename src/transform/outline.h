// Outlines to coverage: the antialiased rasteriser of the mask tool, which
// Crop/Add Border and any other shape user share.
//
// Coordinates run x to the right and y down from the picture's top row, as
// the picture is shown; the Image counts lines from the bottom, and only
// coverage_merge converts. An outline is held in sub-pixel integers, five
// per pixel: pixel x spans sub-pixels 5x .. 5x + 4, each sampled at its
// centre. A pixel's coverage is the share of its 5 x 5 sub-pixels inside the
// outline (even-odd rule) as 0..255, truncated.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "core/image.h"
#include "transform/mask_lines.h"

struct SubPoint {
    std::int32_t x;
    std::int32_t y;
};

// A point in picture pixels (fractions allowed), y down from the top row.
struct OutlinePoint {
    double x;
    double y;
};

// The coverage of one outline inside its box of picture pixels: `height`
// rows of `width` bytes from (left, top), rows top down. For each row the
// first and last non-zero column (relative to `left`), or first > last when
// the row is empty. An empty box (width or height 0) means the outline lies
// wholly outside the picture.
struct CoveragePlane {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> values;
    std::vector<int> first;
    std::vector<int> last;

    std::uint8_t at(int x, int y) const {
        return values[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
    bool empty() const { return width <= 0 || height <= 0; }
};

// Picture pixels to sub-pixels: times 5.0, rounded half away from zero.
SubPoint outline_subpoint(OutlinePoint p);
std::vector<SubPoint> outline_subpoints(std::span<const OutlinePoint> points);

// The coverage of a closed polygon (last point joined to the first) on a
// picture of `picture_width` by `picture_height`. The box is the points'
// bounds widened to whole pixels and clipped to the picture, its right and
// bottom bound at (size - 1) x 5 at most, so a clipped last column has one
// sub-column and divides by its own 5 samples. Fewer than 3 points give an
// empty box. 0, or 1 for memory.
[[nodiscard]] int polygon_coverage(std::span<const SubPoint> points, int picture_width,
                                   int picture_height, CoveragePlane* plane);
// The ellipse inscribed in the rectangle of two corners, by the same rule.
[[nodiscard]] int ellipse_coverage(SubPoint corner1, SubPoint corner2, int picture_width,
                                   int picture_height, CoveragePlane* plane);

// The closed uniform Catmull-Rom spline through `points`: each span from
// point i to i + 1 gives round(chord / 2) samples at t = k / n, none when its
// chord is under one pixel. 0, or 41 when fewer than 2 samples come out.
[[nodiscard]] int spline_outline(std::span<const OutlinePoint> points,
                                 std::vector<OutlinePoint>& samples);

// The rectangle of the mask that a merge changed, inclusive, y down from the
// top; `whole` after an overlap, which clears outside its box.
struct MaskChange {
    int x1 = 0, y1 = 0, x2 = -1, y2 = -1;
    bool whole = false;
    bool none() const { return !whole && x2 < x1; }
};

// Merges a coverage into a type 2 mask by `mode`, skipping lines whose class
// the mode cannot change and keeping `classes` up to date. Overlap clears
// every line outside the box and every column outside a row's span.
void coverage_merge(const CoveragePlane& plane, int mode, Image* mask, LineClasses& classes,
                    MaskChange* change);

// The outline regions of the mask tool: coverage, then merge. A box of
// 150000 pixels or more shows "Mask Region" progress without Cancel. 0, 1
// for memory, 14 for a mask that isn't type 2, 41 for a spline without
// samples.
[[nodiscard]] int mask_region_rectangle(OutlinePoint corner1, OutlinePoint corner2, int mode,
                                        Image* mask, LineClasses& classes, MaskChange* change);
[[nodiscard]] int mask_region_oval(OutlinePoint corner1, OutlinePoint corner2, int mode,
                                   Image* mask, LineClasses& classes, MaskChange* change);
[[nodiscard]] int mask_region_polygon(std::span<const OutlinePoint> points, int mode, Image* mask,
                                      LineClasses& classes, MaskChange* change);
[[nodiscard]] int mask_region_spline(std::span<const OutlinePoint> points, int mode, Image* mask,
                                     LineClasses& classes, MaskChange* change);
// A freehand drag, already in sub-pixels, closed from last to first.
[[nodiscard]] int mask_region_freehand(std::span<const SubPoint> points, int mode, Image* mask,
                                       LineClasses& classes, MaskChange* change);
