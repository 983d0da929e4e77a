#include "transform/outline.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <new>

#include "core/parallel.h"
#include "core/progress.h"

namespace {

constexpr int sub = 5;        // sub-pixels a pixel on each axis
constexpr int band_rows = 8;  // picture rows a thread takes at a time

// The crossings of the outline with the sub-scan-line whose centre is at `yc`
// (sub-pixels, y down), in any order.
using Crossings = std::function<void(double yc, std::vector<double>& xs)>;

// Sub-pixel bounds widened to whole pixels and clipped to the picture.
struct SubBox {
    int x0, x1, y0, y1;  // inclusive, in sub-pixels
};

bool widen_box(int min_x, int max_x, int min_y, int max_y, int width, int height, SubBox* box) {
    if (width <= 0 || height <= 0) return false;
    box->x0 = std::max(min_x / sub * sub, 0);
    box->x1 = std::min((max_x + sub - 1) / sub * sub, (width - 1) * sub);
    box->y0 = std::max(min_y / sub * sub, 0);
    box->y1 = std::min((max_y + sub - 1) / sub * sub, (height - 1) * sub);
    return box->x0 <= box->x1 && box->y0 <= box->y1;
}

// Scans the box: for each picture row five sub-lines, each inside span
// counting one per sub-column whose centre lies in it; then each pixel sums
// its sub-columns. Rows are independent, so bands of them go to the cores.
int scan_box(const SubBox& box, const Crossings& crossings, CoveragePlane* plane) {
    const int left = box.x0 / sub;
    const int top = box.y0 / sub;
    const int width = box.x1 / sub - left + 1;
    const int height = box.y1 / sub - top + 1;
    const int sub_columns = box.x1 - box.x0 + 1;
    try {
        plane->values.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
        plane->first.assign(static_cast<std::size_t>(height), width);
        plane->last.assign(static_cast<std::size_t>(height), -1);
    } catch (const std::bad_alloc&) {
        *plane = CoveragePlane{};
        return 1;
    }
    plane->left = left;
    plane->top = top;
    plane->width = width;
    plane->height = height;

    const ProgressScope progress("Mask Region", static_cast<std::int64_t>(width) * height, 0,
                                 height - 1, false);
    const int bands = (height + band_rows - 1) / band_rows;
    const int bands_a_step = 4 * parallel_max_threads;
    bool failed = false;
    for (int first_band = 0; first_band < bands; first_band += bands_a_step) {
        const int count = std::min(bands_a_step, bands - first_band);
        parallel_for(count, [&](int b) {
            std::vector<int> counters;
            std::vector<double> xs;
            try {
                counters.resize(static_cast<std::size_t>(sub_columns));
            } catch (const std::bad_alloc&) {
                failed = true;
                return;
            }
            const int row_end = std::min((first_band + b + 1) * band_rows, height);
            for (int row = (first_band + b) * band_rows; row < row_end; ++row) {
                std::fill(counters.begin(), counters.end(), 0);
                for (int s = 0; s < sub; ++s) {
                    const double yc = (top + row) * sub + s + 0.5;
                    xs.clear();
                    crossings(yc, xs);
                    std::sort(xs.begin(), xs.end());
                    for (std::size_t i = 0; i + 1 < xs.size(); i += 2) {
                        // Sub-columns whose centre c + 0.5 lies in [xa, xb).
                        const double lo = std::max(std::ceil(xs[i] - 0.5), double(box.x0));
                        const double hi = std::min(std::ceil(xs[i + 1] - 0.5) - 1, double(box.x1));
                        for (int c = int(lo); c <= int(hi); ++c)
                            ++counters[static_cast<std::size_t>(c - box.x0)];
                    }
                }
                std::uint8_t* out = plane->values.data() + static_cast<std::size_t>(row) * width;
                int first = width;
                int last = -1;
                for (int px = 0; px < width; ++px) {
                    const int c0 = px * sub;
                    const int c1 = std::min(c0 + sub - 1, sub_columns - 1);
                    int sum = 0;
                    for (int c = c0; c <= c1; ++c)
                        sum += counters[static_cast<std::size_t>(c)];
                    const int value = sum * 255 / ((c1 - c0 + 1) * sub);
                    out[px] = static_cast<std::uint8_t>(value);
                    if (value != 0) {
                        first = std::min(first, px);
                        last = px;
                    }
                }
                plane->first[static_cast<std::size_t>(row)] = first;
                plane->last[static_cast<std::size_t>(row)] = last;
            }
        });
        (void)progress.step(std::min((first_band + count) * band_rows, height) - 1);
    }
    if (failed) {
        *plane = CoveragePlane{};
        return 1;
    }
    return 0;
}

double round_away(double v) {
    return v < 0 ? -std::floor(-v + 0.5) : std::floor(v + 0.5);
}

}  // namespace

SubPoint outline_subpoint(OutlinePoint p) {
    return SubPoint{static_cast<std::int32_t>(round_away(p.x * 5.0)),
                    static_cast<std::int32_t>(round_away(p.y * 5.0))};
}

std::vector<SubPoint> outline_subpoints(std::span<const OutlinePoint> points) {
    std::vector<SubPoint> out;
    out.reserve(points.size());
    for (const OutlinePoint& p : points)
        out.push_back(outline_subpoint(p));
    return out;
}

int polygon_coverage(std::span<const SubPoint> points, int picture_width, int picture_height,
                     CoveragePlane* plane) {
    *plane = CoveragePlane{};
    if (points.size() < 3) return 0;
    int min_x = points[0].x, max_x = points[0].x, min_y = points[0].y, max_y = points[0].y;
    for (const SubPoint& p : points) {
        min_x = std::min(min_x, p.x);
        max_x = std::max(max_x, p.x);
        min_y = std::min(min_y, p.y);
        max_y = std::max(max_y, p.y);
    }
    SubBox box{};
    if (!widen_box(min_x, max_x, min_y, max_y, picture_width, picture_height, &box)) return 0;
    const std::size_t n = points.size();
    const Crossings crossings = [&](double yc, std::vector<double>& xs) {
        for (std::size_t i = 0; i < n; ++i) {
            const SubPoint& a = points[i];
            const SubPoint& b = points[(i + 1) % n];
            if ((a.y <= yc) == (b.y <= yc)) continue;
            xs.push_back(a.x + (yc - a.y) * (b.x - a.x) / (b.y - a.y));
        }
    };
    return scan_box(box, crossings, plane);
}

int ellipse_coverage(SubPoint corner1, SubPoint corner2, int picture_width, int picture_height,
                     CoveragePlane* plane) {
    *plane = CoveragePlane{};
    const int x0 = std::min(corner1.x, corner2.x), x1 = std::max(corner1.x, corner2.x);
    const int y0 = std::min(corner1.y, corner2.y), y1 = std::max(corner1.y, corner2.y);
    if (x0 == x1 || y0 == y1) return 0;
    SubBox box{};
    if (!widen_box(x0, x1, y0, y1, picture_width, picture_height, &box)) return 0;
    const double cx = (x0 + x1) / 2.0, cy = (y0 + y1) / 2.0;
    const double rx = (x1 - x0) / 2.0, ry = (y1 - y0) / 2.0;
    const Crossings crossings = [&](double yc, std::vector<double>& xs) {
        const double t = (yc - cy) / ry;
        if (t <= -1.0 || t >= 1.0) return;
        const double half = rx * std::sqrt(1.0 - t * t);
        xs.push_back(cx - half);
        xs.push_back(cx + half);
    };
    return scan_box(box, crossings, plane);
}

int spline_outline(std::span<const OutlinePoint> points, std::vector<OutlinePoint>& samples) {
    samples.clear();
    const std::size_t n = points.size();
    for (std::size_t i = 0; n >= 2 && i < n; ++i) {
        const OutlinePoint& p0 = points[(i + n - 1) % n];
        const OutlinePoint& p1 = points[i];
        const OutlinePoint& p2 = points[(i + 1) % n];
        const OutlinePoint& p3 = points[(i + 2) % n];
        const double chord = std::hypot(p2.x - p1.x, p2.y - p1.y);
        if (chord < 1.0) continue;
        const int count = static_cast<int>(round_away(chord / 2.0));
        // Catmull-Rom: the tangent at each point is half the chord of its neighbours.
        const auto cubic = [](double a, double b, double c, double d, double t) {
            return 0.5 * (2.0 * b + (c - a) * t + (2.0 * a - 5.0 * b + 4.0 * c - d) * t * t +
                          (3.0 * b - a - 3.0 * c + d) * t * t * t);
        };
        for (int k = 0; k < count; ++k) {
            const double t = static_cast<double>(k) / count;
            samples.push_back({cubic(p0.x, p1.x, p2.x, p3.x, t), cubic(p0.y, p1.y, p2.y, p3.y, t)});
        }
    }
    return samples.size() < 2 ? 41 : 0;
}

void coverage_merge(const CoveragePlane& plane, int mode, Image* mask, LineClasses& classes,
                    MaskChange* change) {
    const int height = mask->height;
    const int width = mask->width;
    const bool overlap = mode == mask_mode_overlap;
    // Overlap reaches every line; the others only the box's rows.
    const int first_row = overlap ? 0 : plane.top;
    const int rows = overlap ? height : (plane.empty() ? 0 : plane.height);
    constexpr int band = 32;
    parallel_for((rows + band - 1) / band, [&](int b) {
        const int end = std::min(first_row + (b + 1) * band, first_row + rows);
        for (int row = first_row + b * band; row < end; ++row) {
            const int line = height - 1 - row;
            std::uint8_t& line_class_value = classes[static_cast<std::size_t>(line)];
            if (mask_mode_skips(line_class_value, mode)) continue;
            std::uint8_t* out = mask->rows[line];
            const int r = row - plane.top;
            const bool in_box = !plane.empty() && r >= 0 && r < plane.height;
            int first = in_box ? plane.first[static_cast<std::size_t>(r)] : 1;
            int last = in_box ? plane.last[static_cast<std::size_t>(r)] : 0;
            if (overlap) {
                // Overlap with nothing is nothing.
                const int x_first = first <= last ? plane.left + first : width;
                const int x_last = first <= last ? plane.left + last : width - 1;
                std::fill(out, out + x_first, std::uint8_t{0});
                std::fill(out + x_last + 1, out + width, std::uint8_t{0});
            }
            if (first <= last) {
                const std::uint8_t* c =
                    plane.values.data() + static_cast<std::size_t>(r) * plane.width;
                for (int x = first; x <= last; ++x) {
                    std::uint8_t& m = out[plane.left + x];
                    m = static_cast<std::uint8_t>(mask_merge(m, c[x], mode));
                }
            }
            line_class_value = static_cast<std::uint8_t>(line_class(out, width));
        }
    });
    if (change == nullptr) return;
    *change = MaskChange{};
    if (overlap) {
        change->whole = true;
    } else if (!plane.empty()) {
        *change = MaskChange{plane.left, plane.top, plane.left + plane.width - 1,
                             plane.top + plane.height - 1, false};
    }
}

namespace {

int merge_polygon(std::span<const SubPoint> points, int mode, Image* mask, LineClasses& classes,
                  MaskChange* change) {
    if (change != nullptr) *change = MaskChange{};
    if (mask->type != image_type_gray8) return 14;
    CoveragePlane plane;
    if (const int code = polygon_coverage(points, mask->width, mask->height, &plane)) return code;
    coverage_merge(plane, mode, mask, classes, change);
    return 0;
}

}  // namespace

int mask_region_rectangle(OutlinePoint corner1, OutlinePoint corner2, int mode, Image* mask,
                          LineClasses& classes, MaskChange* change) {
    if (change != nullptr) *change = MaskChange{};
    if (corner1.x == corner2.x && corner1.y == corner2.y) return 0;
    const OutlinePoint corners[] = {
        corner1, {corner2.x, corner1.y}, corner2, {corner1.x, corner2.y}};
    return merge_polygon(outline_subpoints(corners), mode, mask, classes, change);
}

int mask_region_oval(OutlinePoint corner1, OutlinePoint corner2, int mode, Image* mask,
                     LineClasses& classes, MaskChange* change) {
    if (change != nullptr) *change = MaskChange{};
    if (mask->type != image_type_gray8) return 14;
    if (corner1.x == corner2.x && corner1.y == corner2.y) return 0;
    CoveragePlane plane;
    if (const int code = ellipse_coverage(outline_subpoint(corner1), outline_subpoint(corner2),
                                          mask->width, mask->height, &plane))
        return code;
    coverage_merge(plane, mode, mask, classes, change);
    return 0;
}

int mask_region_polygon(std::span<const OutlinePoint> points, int mode, Image* mask,
                        LineClasses& classes, MaskChange* change) {
    return merge_polygon(outline_subpoints(points), mode, mask, classes, change);
}

int mask_region_spline(std::span<const OutlinePoint> points, int mode, Image* mask,
                       LineClasses& classes, MaskChange* change) {
    if (change != nullptr) *change = MaskChange{};
    std::vector<OutlinePoint> samples;
    if (const int code = spline_outline(points, samples)) return code;
    return merge_polygon(outline_subpoints(samples), mode, mask, classes, change);
}

int mask_region_freehand(std::span<const SubPoint> points, int mode, Image* mask,
                         LineClasses& classes, MaskChange* change) {
    return merge_polygon(points, mode, mask, classes, change);
}
