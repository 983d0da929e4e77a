// Crop/Add Border: cuts a rectangle, oval or diamond out of a picture at any
// rotation, puts a border of a colour or of another picture round it, with a
// soft edge when asked, and may resize the result.
//
// The run is a chain of stages, each kept in file-scope images with the
// values it was made from, so that a preview that only changes the border
// colour redoes only the blend, and a moved rectangle only what follows the
// rotation: rotate (with a coverage image of where picture lies), shape mask,
// blend, resize. One panel of this kind is open at a time.
#include "transform/geometry/crop_add_border.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "core/parallel.h"
#include "core/progress.h"
#include "core/tables.h"
#include "transform/box_filter.h"
#include "transform/outline.h"
#include "transform/resample.h"
#include "transform/transform.h"

namespace {

using P = CropParams;

constexpr const char* title = "Crop/Add Border";

// ---------------------------------------------------------------------------
// Proportions: w:h of each named entry after "Arbitrary", "Custom", "Square".

struct Ratio {
    int w, h;
};
constexpr Ratio named_ratios[] = {{1, 2}, {1, 3}, {2, 3}, {2, 5}, {3, 4}, {3, 5}, {4, 5},
                                  {5, 7}, {7, 10}, {8, 10}, {11, 14}, {4, 3}, {16, 9}};
constexpr std::string_view proportion_words[] = {
    "Arbitrary", "Custom", "Square", "1x2, 6x12", "1x3, 4x12",
    "2x3, 4x6, 6x9, 8x12, 10x15, 20x30", "2x5, 4x10", "3x4, 6x8, 9x12, 12x16", "3x5",
    "4x5, 8x10, 16x20", "5x7", "7x10", "8.5x11 (Letter)", "11x14", "4x3 (TV)", "16x9 (HD TV)"};

constexpr std::string_view shape_words[] = {"Rectangle", "Oval", "Diamond"};
constexpr std::string_view guide_words[] = {"&No Grid", "&2x2 Grid", "&3x3 Grid", "&4x4 Grid",
                                            "&8x8 Grid"};
constexpr std::string_view size_unit_words[] = {"pixels", "in", "mm", "cm", "%"};
constexpr std::string_view entry_words[] = {"Margins", "Borders"};
constexpr std::string_view rule_words[] = {"Align with image orientation", "As is"};
constexpr std::string_view scaling_words[] = {"Scale to image", "Don't Scale"};
constexpr std::string_view resize_unit_words[] = {"pixels", "in", "cm", "mm"};
constexpr std::string_view side_words[] = {"wide", "tall", "short side", "long side"};
constexpr std::string_view method_words[] = {"Nearest Neighbor", "Bilinear",    "Bicubic",
                                             "Lanczos 4x4",      "Lanczos 6x6", "Lanczos 8x8"};
constexpr std::string_view colour_words[] = {"red", "green", "blue"};
constexpr std::string_view border_words[] = {"Border Color", "Border Image"};

bool wide_type(int type) {
    return type == image_type_gray16 || type == image_type_colour16;
}
int samples_of_type(int type) {
    return type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
}

}  // namespace

// ---------------------------------------------------------------------------
// Geometry

CropRect crop_normalise(CropRect r) {
    if (r.x1 > r.x2) std::swap(r.x1, r.x2);
    if (r.y1 > r.y2) std::swap(r.y1, r.y2);
    return r;
}

CropLayout crop_layout(const CropParams& p, int w, int h) {
    CropLayout l;
    l.left = std::max(0, p.left);
    l.right = std::max(0, p.right);
    l.top = std::max(0, p.top);
    l.bottom = std::max(0, p.bottom);
    CropRect r = crop_normalise({p.x1, p.y1, p.x2, p.y2});
    if (p.dims_width <= 0 || p.dims_height <= 0) {
        const bool unset = p.x1 == 0 && p.y1 == 0 && p.x2 == 0 && p.y2 == 0;
        l.rect = unset ? CropRect{0, 0, w - 1, h - 1} : r;
        return l;
    }
    int dw = p.dims_width, dh = p.dims_height;
    if (dw != w || dh != h) {
        // A quarter turn clockwise: (x, y) of a dw by dh picture goes to
        // (dh - 1 - y, x); the borders turn with it.
        if (p.orientation_rule == crop_align && (dw > dh) != (w > h) && dw != dh && w != h) {
            r = crop_normalise({dh - 1 - r.y1, r.x1, dh - 1 - r.y2, r.x2});
            l = {r, l.bottom, l.top, l.left, l.right};
            std::swap(dw, dh);
        }
        const double sx = static_cast<double>(w) / dw, sy = static_cast<double>(h) / dh;
        auto scaled = [](int v, double s) { return static_cast<int>(std::floor(v * s + 0.5)); };
        if (p.crop_scaling == crop_scale)
            r = {scaled(r.x1, sx), scaled(r.y1, sy), scaled(r.x2 + 1, sx) - 1,
                 scaled(r.y2 + 1, sy) - 1};
        if (p.border_scaling == crop_scale) {
            l.left = scaled(l.left, sx);
            l.right = scaled(l.right, sx);
            l.top = scaled(l.top, sy);
            l.bottom = scaled(l.bottom, sy);
        }
    }
    l.rect = crop_normalise(r);
    return l;
}

void crop_update_result_rect(CropParams& p) {
    const CropRect r = crop_normalise({p.x1, p.y1, p.x2, p.y2});
    p.rx1 = p.left;
    p.ry1 = p.top;
    p.rx2 = p.left + r.width() - 1;
    p.ry2 = p.top + r.height() - 1;
}

void crop_rotated_size(int w, int h, double degrees, int& width, int& height) {
    if (degrees == 0) {
        width = w;
        height = h;
        return;
    }
    const double a = 3.1415926536 * degrees / 180.0;
    const double c = std::abs(std::cos(a)), s = std::abs(std::sin(a));
    // The box grows (or shrinks) by the same whole pixels on both sides, so
    // that the picture's centre stays where the shifted rectangle expects it.
    auto grown = [](int n, double size) {
        return std::max(1, n + 2 * static_cast<int>(std::ceil((size - n) / 2 - 1e-9)));
    };
    width = grown(w, w * c + h * s);
    height = grown(h, w * s + h * c);
}

int crop_feather(double softness, int width, int height) {
    const int s = std::min(width, height);
    const int f = static_cast<int>(std::lround(0.002 * softness * s));
    return std::clamp(f, 0, std::max(0, (s - 1) / 4));
}

namespace {

int resize_target(const P& p, int w, int h, double resolution, int& width, int& height) {
    width = w;
    height = h;
    if (!p.resize_on) return 0;
    const int n = resize_to_pixels(p.resize_value, p.resize_unit,
                                   resolution > 0 ? resolution : 100.0);
    if (n < 1) return err_illegal_type;
    bool by_width = p.resize_side == crop_side_wide;
    if (p.resize_side == crop_side_short) by_width = w <= h;
    if (p.resize_side == crop_side_long) by_width = w > h;
    if (!resize_target_size(by_width ? resize_width : resize_height, w, h, n, n, 0, width, height))
        return err_illegal_type;
    return 0;
}

}  // namespace

void crop_output_size(const CropParams& p, const Image* input, int& width, int& height) {
    const CropLayout l = crop_layout(p, input->width, input->height);
    const int w = l.rect.width() + l.left + l.right;
    const int h = l.rect.height() + l.top + l.bottom;
    if (resize_target(p, w, h, input->resolution, width, height)) {
        width = w;
        height = h;
    }
}

CropRect crop_constrain(CropRect r, int handle, int ratio_w, int ratio_h) {
    r = crop_normalise(r);
    if (ratio_w <= 0 || ratio_h <= 0) return r;
    const int w = r.width(), h = r.height();
    // Sides fix the dragged dimension; corners keep the larger change.
    const bool by_width = handle == handle_left || handle == handle_right ||
                          (handle < 4 && static_cast<double>(w) * ratio_h >=
                                             static_cast<double>(h) * ratio_w);
    const int nw = by_width ? w : std::max(1, static_cast<int>(std::lround(
                                                  static_cast<double>(h) * ratio_w / ratio_h)));
    const int nh = by_width ? std::max(1, static_cast<int>(std::lround(
                                              static_cast<double>(w) * ratio_h / ratio_w)))
                            : h;
    const bool keep_left = handle == handle_top_right || handle == handle_bottom_right ||
                           handle == handle_right;
    const bool keep_top = handle == handle_bottom_left || handle == handle_bottom_right ||
                          handle == handle_bottom;
    if (handle == handle_top || handle == handle_bottom) {
        const int cx = r.x1 + (w - nw) / 2;  // a side drag grows about the middle
        r.x1 = cx;
        r.x2 = cx + nw - 1;
    } else if (keep_left) {
        r.x2 = r.x1 + nw - 1;
    } else {
        r.x1 = r.x2 - nw + 1;
    }
    if (handle == handle_left || handle == handle_right) {
        const int cy = r.y1 + (h - nh) / 2;
        r.y1 = cy;
        r.y2 = cy + nh - 1;
    } else if (keep_top) {
        r.y2 = r.y1 + nh - 1;
    } else {
        r.y1 = r.y2 - nh + 1;
    }
    return r;
}

int crop_hit(CropRect r, double x, double y, double reach) {
    r = crop_normalise(r);
    // Handles sit on the rectangle's outer edges.
    const double left = r.x1, right = r.x2 + 1.0, top = r.y1, bottom = r.y2 + 1.0;
    const double mx = (left + right) / 2, my = (top + bottom) / 2;
    const double hx[8] = {left, right, right, left, mx, right, mx, left};
    const double hy[8] = {top, top, bottom, bottom, top, my, bottom, my};
    for (int k = 0; k < 8; ++k)
        if (std::abs(x - hx[k]) <= reach && std::abs(y - hy[k]) <= reach) return k;
    if (x >= left && x < right && y >= top && y < bottom) return handle_move;
    return -1;
}

CropRect crop_drag(CropRect start, int handle, double from_x, double from_y, double to_x,
                   double to_y, int ratio_w, int ratio_h) {
    start = crop_normalise(start);
    const int dx = static_cast<int>(std::lround(to_x - from_x));
    const int dy = static_cast<int>(std::lround(to_y - from_y));
    if (handle == handle_move)
        return {start.x1 + dx, start.y1 + dy, start.x2 + dx, start.y2 + dy};
    if (handle < 0) {
        // A new rectangle from the pressed pixel to the one under the pointer.
        const int x0 = static_cast<int>(std::floor(from_x)), y0 = static_cast<int>(std::floor(from_y));
        const int x1 = static_cast<int>(std::floor(to_x)), y1 = static_cast<int>(std::floor(to_y));
        const int corner = x1 >= x0 ? (y1 >= y0 ? handle_bottom_right : handle_top_right)
                                    : (y1 >= y0 ? handle_bottom_left : handle_top_left);
        return crop_constrain({x0, y0, x1, y1}, corner, ratio_w, ratio_h);
    }
    CropRect r = start;
    const bool moves_left = handle == handle_top_left || handle == handle_bottom_left || handle == handle_left;
    const bool moves_right = handle == handle_top_right || handle == handle_bottom_right || handle == handle_right;
    const bool moves_top = handle == handle_top_left || handle == handle_top_right || handle == handle_top;
    const bool moves_bottom = handle == handle_bottom_left || handle == handle_bottom_right || handle == handle_bottom;
    if (moves_left) r.x1 = std::min(start.x1 + dx, start.x2);
    if (moves_right) r.x2 = std::max(start.x2 + dx, start.x1);
    if (moves_top) r.y1 = std::min(start.y1 + dy, start.y2);
    if (moves_bottom) r.y2 = std::max(start.y2 + dy, start.y1);
    return crop_constrain(r, handle, ratio_w, ratio_h);
}

double crop_drag_angle(double degrees, double cx, double cy, double from_x, double from_y,
                       double to_x, double to_y) {
    // y runs down, so atan2's counter-clockwise is clockwise as shown.
    const double turn = std::atan2(to_y - cy, to_x - cx) - std::atan2(from_y - cy, from_x - cx);
    double a = degrees + turn * 180.0 / 3.1415926536;
    while (a > 180) a -= 360;
    while (a < -180) a += 360;
    return a;
}

int crop_proportions_count() {
    return static_cast<int>(std::size(proportion_words));
}

void crop_proportions(const CropParams& p, int index, int& ratio_w, int& ratio_h) {
    ratio_w = ratio_h = 0;
    if (index == 1) {
        ratio_w = p.ratio_width;
        ratio_h = p.ratio_height;
        return;
    }
    if (index == 2) {
        ratio_w = ratio_h = 1;
        return;
    }
    if (index < 3 || index - 3 >= static_cast<int>(std::size(named_ratios))) return;
    ratio_w = named_ratios[index - 3].w;
    ratio_h = named_ratios[index - 3].h;
    // A named ratio follows the rectangle: a wide rectangle takes it wide.
    const CropRect r = crop_normalise({p.x1, p.y1, p.x2, p.y2});
    if ((r.width() > r.height()) != (ratio_w > ratio_h)) std::swap(ratio_w, ratio_h);
}

// ---------------------------------------------------------------------------
// The stages

namespace {

CropStageCounts counts;

// What a picture is: its record, shape and a digest of its samples, so that
// a picture changed in place is not taken for the one cached.
struct PictureKey {
    const void* rows = nullptr;
    int type = 0, width = 0, height = 0;
    std::uint64_t digest = 0;
    bool operator==(const PictureKey&) const = default;
};

PictureKey picture_key(const Image* image) {
    PictureKey k{image->rows, image->type, image->width, image->height, 0};
    const int bytes = image_line_bytes(image);
    std::vector<std::uint64_t> lines(static_cast<std::size_t>(image->height));
    parallel_for(image->height, [&](int y) {
        std::uint64_t h = 1469598103934665603ull ^ static_cast<std::uint64_t>(y);
        const std::uint8_t* line = image->rows[y];
        int i = 0;
        for (; i + 8 <= bytes; i += 8) {
            std::uint64_t v;
            std::memcpy(&v, line + i, 8);
            h = (h ^ v) * 1099511628211ull;
        }
        for (; i < bytes; ++i)
            h = (h ^ line[i]) * 1099511628211ull;
        lines[static_cast<std::size_t>(y)] = h;
    });
    for (std::uint64_t h : lines)
        k.digest = (k.digest ^ h) * 0x9E3779B97F4A7C15ull + 1;
    return k;
}

struct RotateKey {
    PictureKey picture;
    double angle = 0;
    bool operator==(const RotateKey&) const = default;
};
struct MaskKey {
    int width = 0, height = 0, shape = 0, feather = 0;
    bool operator==(const MaskKey&) const = default;
};
struct BlendKey {
    RotateKey source;
    MaskKey mask;
    bool masked = false;
    CropLayout layout;
    int border[3] = {};
    PictureKey border_picture;
    int border_scaling = 0;
    bool operator==(const BlendKey& o) const {
        return source == o.source && mask == o.mask && masked == o.masked &&
               layout.rect == o.layout.rect && layout.left == o.layout.left &&
               layout.right == o.layout.right && layout.top == o.layout.top &&
               layout.bottom == o.layout.bottom && std::equal(border, border + 3, o.border) &&
               border_picture == o.border_picture && border_scaling == o.border_scaling;
    }
};
struct ResizeKey {
    BlendKey blend;
    int width = 0, height = 0, method = 0;
    double a = 0;
    bool operator==(const ResizeKey&) const = default;
};

struct Stages {
    bool rotated_valid = false, mask_valid = false, blend_valid = false, resize_valid = false;
    RotateKey rotate_key;
    MaskKey mask_key;
    BlendKey blend_key;
    ResizeKey resize_key;
    Image rotated{}, coverage{}, mask{}, blended{}, resized{}, border{};
    bool initialised = false;
};
Stages stages;

void stages_init() {
    if (stages.initialised) return;
    for (Image* i : {&stages.rotated, &stages.coverage, &stages.mask, &stages.blended,
                     &stages.resized, &stages.border})
        image_init(i);
    stages.initialised = true;
}

// Lines 0 .. count - 1 in bands on all cores; each line is made alone, so
// the result is the same whatever the thread count.
void for_lines(int count, const std::function<void(int)>& line) {
    const int band = std::max(16, count / (4 * parallel_threads()) + 1);
    const int bands = (count + band - 1) / band;
    parallel_for(bands, [&](int b) {
        for (int y = b * band; y < std::min(count, (b + 1) * band); ++y)
            line(y);
    });
}

// How much of a read at (x, y) lies on a w by h picture: the bilinear read of
// an all-white picture that fades into black over the ring one pixel round it.
int coverage_at(double x, double y, int w, int h) {
    if (x >= 0 && x <= w - 1 && y >= 0 && y <= h - 1) return 255;
    if (x < -1 || x > w || y < -1 || y > h) return 0;
    const int ix = static_cast<int>(std::floor(x)), iy = static_cast<int>(std::floor(y));
    const int fx = static_cast<int>(256.0 * (x - ix)), fy = static_cast<int>(256.0 * (y - iy));
    auto in = [&](int a, int b) { return a >= 0 && a < w && b >= 0 && b < h ? 255 : 0; };
    return lerp8(lerp8(in(ix, iy), in(ix + 1, iy), fx), lerp8(in(ix, iy + 1), in(ix + 1, iy + 1), fx),
                 fy);
}

// A binary picture as gray: 255 and 0.
int binary_to_gray(const Image* in, Image* out) {
    if (int err = image_alloc(out, image_type_gray8, in->width, in->height, in->resolution))
        return err;
    for_lines(in->height, [&](int y) {
        for (int x = 0; x < in->width; ++x)
            out->rows[y][x] = image_bit_get(in->rows[y], x) ? 255 : 0;
    });
    return 0;
}

// Stage 2: the picture turned by `radians` into the bounding box, with the
// coverage image of type 2. Reads at the clamped position; the coverage says
// how much of the read lies on the picture.
int rotate_stage(const Image* in, double degrees) {
    const double a = 3.1415926536 * degrees / 180.0;
    const double c = std::cos(a), s = std::sin(a);
    int W = 0, H = 0;
    crop_rotated_size(in->width, in->height, degrees, W, H);
    const int w = in->width, h = in->height;
    if (int err = image_alloc(&stages.rotated, in->type, W, H, in->resolution)) return err;
    if (int err = image_alloc(&stages.coverage, image_type_gray8, W, H, in->resolution)) return err;
    const ProgressScope shown("Rotating Image", std::int64_t{W} * H, 0, H - 1, false);
    const int type = in->type;
    const int step = image_pixel_step(type);
    for_lines(H, [&](int Y) {
        // Row Y from the top is Image line H - 1 - Y; source rows likewise.
        const double dy = Y - (H - 1) / 2.0;
        std::uint8_t* out = stages.rotated.rows[H - 1 - Y];
        std::uint8_t* cov = stages.coverage.rows[H - 1 - Y];
        for (int X = 0; X < W; ++X) {
            const double dx = X - (W - 1) / 2.0;
            const double sx = dx * c + dy * s + (w - 1) / 2.0;
            const double sy = (h - 1) - (-dx * s + dy * c + (h - 1) / 2.0);
            cov[X] = static_cast<std::uint8_t>(coverage_at(sx, sy, w, h));
            if (cov[X] == 0) {
                // No picture here: the blend shows only border.
                std::memset(out + static_cast<std::size_t>(X) * step, 0, static_cast<std::size_t>(step));
                continue;
            }
            const double cx = std::clamp(sx, 0.0, w - 1.0), cy = std::clamp(sy, 0.0, h - 1.0);
            int r = 0, g = 0, b = 0;
            switch (type) {
                case image_type_gray8:
                    out[X] = static_cast<std::uint8_t>(image_sample_gray8(in, cx, cy, 0));
                    break;
                case image_type_gray16:
                    reinterpret_cast<std::uint16_t*>(out)[X] =
                        static_cast<std::uint16_t>(image_sample_gray16(in, cx, cy, 0));
                    break;
                case image_type_colour8:
                    image_sample_rgb8(in, cx, cy, &r, &g, &b, 0, 0, 0);
                    out[3 * X] = static_cast<std::uint8_t>(b);
                    out[3 * X + 1] = static_cast<std::uint8_t>(g);
                    out[3 * X + 2] = static_cast<std::uint8_t>(r);
                    break;
                default: {
                    image_sample_rgb16(in, cx, cy, &r, &g, &b, 0, 0, 0);
                    auto* o = reinterpret_cast<std::uint16_t*>(out);
                    o[3 * X] = static_cast<std::uint16_t>(b);
                    o[3 * X + 1] = static_cast<std::uint16_t>(g);
                    o[3 * X + 2] = static_cast<std::uint16_t>(r);
                }
            }
        }
    });
    ++counts.rotate;
    return 0;
}

// Stage 3: the shape over a w by h rectangle, 255 outside and 0 inside, inset
// by 2f. At f = 0 the outline rasteriser's 5 x 5 coverage; above, one sample
// a pixel (its centre), then the double box blur of radius f.
int mask_stage(const MaskKey& k) {
    const int w = k.width, h = k.height, f = k.feather;
    Image& m = stages.mask;
    if (int err = image_alloc(&m, image_type_gray8, w, h, 100.0)) return err;
    const ProgressScope shown("Building Mask", std::int64_t{w} * h, 0, h - 1, false);
    const double x0 = 2.0 * f, y0 = 2.0 * f, x1 = w - 2.0 * f, y1 = h - 2.0 * f;
    if (f == 0) {
        // Drawn on a picture a pixel wider and higher, so that the last
        // column and line keep all five sub-samples.
        CoveragePlane plane;
        int err = 0;
        if (k.shape == crop_oval) {
            err = ellipse_coverage(outline_subpoint({x0, y0}), outline_subpoint({x1, y1}), w + 1,
                                   h + 1, &plane);
        } else {
            const OutlinePoint diamond[] = {{(x0 + x1) / 2, y0}, {x1, (y0 + y1) / 2},
                                            {(x0 + x1) / 2, y1}, {x0, (y0 + y1) / 2}};
            const OutlinePoint box[] = {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
            const auto points = outline_subpoints(k.shape == crop_diamond ? diamond : box);
            err = polygon_coverage(points, w + 1, h + 1, &plane);
        }
        if (err) return err;
        for_lines(h, [&](int y) {
            std::uint8_t* line = m.rows[h - 1 - y];
            std::memset(line, 255, static_cast<std::size_t>(w));
            const int py = y - plane.top;
            if (plane.empty() || y >= h || py < 0 || py >= plane.height) return;
            for (int x = 0; x < plane.width && plane.left + x < w; ++x)
                line[plane.left + x] = static_cast<std::uint8_t>(255 - plane.at(x, py));
        });
    } else {
        const double cx = w / 2.0, cy = h / 2.0, ax = (x1 - x0) / 2, ay = (y1 - y0) / 2;
        for_lines(h, [&](int y) {
            std::uint8_t* line = m.rows[h - 1 - y];
            const double py = y + 0.5;
            for (int x = 0; x < w; ++x) {
                const double px = x + 0.5;
                bool inside = px >= x0 && px < x1 && py >= y0 && py < y1;
                if (inside && k.shape == crop_oval)
                    inside = (px - cx) * (px - cx) / (ax * ax) + (py - cy) * (py - cy) / (ay * ay) <= 1;
                if (inside && k.shape == crop_diamond)
                    inside = std::abs(px - cx) / ax + std::abs(py - cy) / ay <= 1;
                line[x] = inside ? 0 : 255;
            }
        });
        ImageHolder blurred;
        {
            const ProgressScope blurring("Blurring Mask", std::int64_t{w} * h, 0, h - 1, false);
            if (int err = blur_image(&m, blurred.get(), f, false)) return err;
        }
        image_move(blurred.get(), &m);
    }
    ++counts.mask;
    return 0;
}

// A border picture's pixel as samples of the output's type.
void border_pixel(const Image* b, int x, int y, int out_type, int* v) {
    int r = 0, g = 0, bl = 0;
    const bool wide_in = wide_type(b->type);
    const std::uint8_t* p = image_pixel_pointer(b, x, y);
    if (b->type == image_type_binary) {
        r = g = bl = image_bit_get(b->rows[y], x) ? 255 : 0;
    } else if (samples_of_type(b->type) == 3) {
        if (wide_in) {
            const auto* q = reinterpret_cast<const std::uint16_t*>(p);
            bl = q[0], g = q[1], r = q[2];
        } else {
            bl = p[0], g = p[1], r = p[2];
        }
    } else {
        r = g = bl = wide_in ? reinterpret_cast<const std::uint16_t*>(p)[0] : p[0];
    }
    const bool wide_out = wide_type(out_type);
    auto depth = [&](int s) { return wide_in == wide_out ? s : (wide_out ? s * 257 : to8[s]); };
    if (samples_of_type(out_type) == 3) {
        v[0] = depth(bl), v[1] = depth(g), v[2] = depth(r);
    } else {
        v[0] = samples_of_type(b->type) == 3
                   ? (wide_in ? (r * 306 + g * 601 + bl * 117) >> 10 : luminance8(r, g, bl))
                   : r;
        v[0] = depth(v[0]);
    }
}

// Stage 4: the output. Inside the result rectangle the source blended to the
// border by mask and coverage; outside it border only.
int blend_stage(const Image* source, const Image* coverage, const CropRect& rect,
                const CropLayout& l, const int* border, const Image* border_image,
                bool masked, int out_type) {
    const int W = rect.width() + l.left + l.right, H = rect.height() + l.top + l.bottom;
    Image& o = stages.blended;
    if (int err = image_alloc(&o, out_type, W, H, source->resolution)) return err;
    const int n = samples_of_type(out_type);
    const bool wide = wide_type(out_type);
    const int sw = source->width, sh = source->height;
    const ProgressScope shown(title, std::int64_t{W} * H, 0, H - 1, false);
    const int bytes = n * (wide ? 2 : 1);  // a pixel's
    for_lines(H, [&](int Y) {
        std::uint8_t* line = o.rows[H - 1 - Y];
        const int ry = Y - l.top;  // row within the rectangle
        const int sy = rect.y1 + ry;
        // Output columns xa .. xb - 1 have picture under them.
        int xa = 0, xb = 0;
        if (ry >= 0 && ry < rect.height() && sy >= 0 && sy < sh) {
            xa = std::max(l.left, l.left - rect.x1);
            xb = std::min(l.left + rect.width(), l.left + sw - rect.x1);
            if (xb < xa) xa = xb = 0;
        }
        auto border_of = [&](int X, int* b) {
            b[0] = border[0], b[1] = border[1], b[2] = border[2];
            if (border_image) border_pixel(border_image, X, H - 1 - Y, out_type, b);
        };
        auto put = [&](int X, const int* v) {
            for (int c = 0; c < n; ++c) {
                if (wide)
                    reinterpret_cast<std::uint16_t*>(line)[X * n + c] = static_cast<std::uint16_t>(v[c]);
                else
                    line[X * n + c] = static_cast<std::uint8_t>(v[c]);
            }
        };
        for (int X = 0; X < W; ++X) {
            if (X == xa && xb > xa) X = xb;  // the picture's columns come below
            if (X >= W) break;
            int b[3];
            border_of(X, b);
            put(X, b);
        }
        if (xb <= xa) return;
        const int sx0 = rect.x1 + xa - l.left;
        const std::uint8_t* from = source->rows[sh - 1 - sy] + static_cast<std::size_t>(sx0) * bytes;
        const std::uint8_t* m = masked ? stages.mask.rows[rect.height() - 1 - ry] + (xa - l.left) : nullptr;
        const std::uint8_t* cov = coverage ? coverage->rows[sh - 1 - sy] + sx0 : nullptr;
        if (!m && !cov) {
            // A plain crop: the picture's bytes as they are.
            std::memcpy(line + static_cast<std::size_t>(xa) * bytes, from,
                        static_cast<std::size_t>(xb - xa) * bytes);
            return;
        }
        for (int X = xa; X < xb; ++X) {
            // A run of picture only (mask 0, full coverage) is copied whole.
            int run = X;
            while (run < xb && (!m || m[run - xa] == 0) && (!cov || cov[run - xa] == 255))
                ++run;
            if (run > X) {
                std::memcpy(line + static_cast<std::size_t>(X) * bytes,
                            from + static_cast<std::size_t>(X - xa) * bytes,
                            static_cast<std::size_t>(run - X) * bytes);
                X = run - 1;
                continue;
            }
            const int i = X - xa;
            // e: 0 shows picture only, 255 border only.
            const int e = 255 - mul8[255 - (m ? m[i] : 0)][cov ? cov[i] : 255];
            if (e == 255 && !border_image) {
                put(X, border);
                continue;
            }
            const std::uint8_t* p = from + static_cast<std::size_t>(i) * bytes;
            int b[3];
            border_of(X, b);
            int v[3];
            for (int c = 0; c < n; ++c)
                v[c] = wide ? lerp16(reinterpret_cast<const std::uint16_t*>(p)[c], b[c], e)
                            : lerp8(p[c], b[c], e);
            put(X, v);
        }
    });
    ++counts.blend;
    return 0;
}

void stages_free() {
    stages_init();
    for (Image* i : {&stages.rotated, &stages.coverage, &stages.mask, &stages.blended,
                     &stages.resized, &stages.border})
        image_free(i);
    stages.rotated_valid = stages.mask_valid = stages.blend_valid = stages.resize_valid = false;
}

// The whole chain for `input`; `result` points at the cached final image.
int run_stages(const P& p, const Image* input, const Image** result) {
    stages_init();
    const int type = input->type;
    if (type != image_type_binary && type != image_type_gray8 && type != image_type_colour8 &&
        type != image_type_gray16 && type != image_type_colour16)
        return err_illegal_type;

    // Stage 1: normalise. A binary picture is worked on as gray.
    ImageHolder gray;
    const Image* source = input;
    if (type == image_type_binary) {
        if (int err = binary_to_gray(input, gray.get())) return err;
        source = gray.get();
    }
    const int out_type = source->type;
    const bool wide = wide_type(out_type);
    const CropLayout layout = crop_layout(p, input->width, input->height);
    int border[3];
    const int rgb[3] = {clamp8(p.blue), clamp8(p.green), clamp8(p.red)};
    if (samples_of_type(out_type) == 3)
        for (int c = 0; c < 3; ++c)
            border[c] = wide ? to16[rgb[c]] : rgb[c];
    else
        border[0] = border[1] = border[2] =
            wide ? to16[luminance8(rgb[2], rgb[1], rgb[0])] : luminance8(rgb[2], rgb[1], rgb[0]);

    // Stage 2: rotate, and shift the rectangle by half the growth.
    RotateKey rotate_key{picture_key(source), p.angle};
    const Image* coverage = nullptr;
    CropRect rect = layout.rect;
    if (p.angle != 0) {
        if (!stages.rotated_valid || !(stages.rotate_key == rotate_key)) {
            stages.rotated_valid = false;
            if (int err = rotate_stage(source, p.angle)) return err;
            stages.rotate_key = rotate_key;
            stages.rotated_valid = true;
        }
        const int dx = (stages.rotated.width - source->width) / 2;
        const int dy = (stages.rotated.height - source->height) / 2;
        rect = {rect.x1 + dx, rect.y1 + dy, rect.x2 + dx, rect.y2 + dy};
        source = &stages.rotated;
        coverage = &stages.coverage;
    }

    // Stage 3: the shape mask, when the shape isn't a plain rectangle.
    const int f = crop_feather(p.softness, rect.width(), rect.height());
    const bool masked = p.shape != crop_rectangle || p.softness > 0;
    MaskKey mask_key{rect.width(), rect.height(), masked ? p.shape : 0, f};
    if (masked && (!stages.mask_valid || !(stages.mask_key == mask_key))) {
        stages.mask_valid = false;
        if (int err = mask_stage(mask_key)) return err;
        stages.mask_key = mask_key;
        stages.mask_valid = true;
    }

    // Stage 4: the blend, with the border picture scaled to the output.
    const int W = rect.width() + layout.left + layout.right;
    const int H = rect.height() + layout.top + layout.bottom;
    const Image* border_image = p.border_kind == 1 ? p.border_image : nullptr;
    BlendKey blend_key{rotate_key, mask_key, masked, layout, {border[0], border[1], border[2]},
                       border_image ? picture_key(border_image) : PictureKey{}, p.border_scaling};
    blend_key.layout.rect = rect;
    if (!stages.blend_valid || !(stages.blend_key == blend_key)) {
        stages.blend_valid = stages.resize_valid = false;
        if (border_image) {
            const bool fits = border_image->width == W && border_image->height == H;
            if (p.border_scaling == crop_scale && !fits) {
                const Image* b = border_image;
                ImageHolder b_gray;
                if (b->type == image_type_binary) {
                    if (int err = binary_to_gray(b, b_gray.get())) return err;
                    b = b_gray.get();
                }
                if (int err = resample_image(b, &stages.border, W, H, b->resolution,
                                             resample_bilinear, 0))
                    return err;
                border_image = &stages.border;
            } else if (!fits) {
                // Unscaled, the border picture is laid from the top left and
                // repeated; a copy of the output's size keeps the blend simple.
                if (int err = image_alloc(&stages.border, image_type_gray8, 1, 1, 100.0)) return err;
                ImageHolder tiled;
                const Image* b = border_image;
                const int bt = b->type == image_type_binary ? image_type_gray8 : b->type;
                if (int err = image_alloc(tiled.get(), bt, W, H, b->resolution)) return err;
                const int step = image_pixel_step(bt);
                for_lines(H, [&](int Y) {
                    const int by = (b->height - 1) - (Y % b->height);
                    for (int X = 0; X < W; ++X) {
                        const int bx = X % b->width;
                        std::uint8_t* to = tiled->rows[H - 1 - Y] + static_cast<std::size_t>(X) * step;
                        if (b->type == image_type_binary)
                            *to = image_bit_get(b->rows[by], bx) ? 255 : 0;
                        else
                            std::memcpy(to, image_pixel_pointer(b, bx, by), static_cast<std::size_t>(step));
                    }
                });
                image_move(tiled.get(), &stages.border);
                border_image = &stages.border;
            }
        }
        if (int err = blend_stage(source, coverage, rect, layout, border, border_image, masked,
                                  out_type))
            return err;
        stages.blend_key = blend_key;
        stages.blend_valid = true;
    }
    *result = &stages.blended;

    // Stage 5: the optional resize.
    if (!p.resize_on) return 0;
    int rw = 0, rh = 0;
    if (int err = resize_target(p, W, H, input->resolution, rw, rh)) return err;
    ResizeKey resize_key{blend_key, rw, rh, p.resize_method, p.resize_a};
    if (!stages.resize_valid || !(stages.resize_key == resize_key)) {
        stages.resize_valid = false;
        if (int err = resample_image(&stages.blended, &stages.resized, rw, rh,
                                     stages.blended.resolution, p.resize_method, p.resize_a, title))
            return err;
        ++counts.resize;
        stages.resize_key = resize_key;
        stages.resize_valid = true;
    }
    *result = &stages.resized;
    return 0;
}

int crop_compute(const ComputeArgs& args) {
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    const Image* result = nullptr;
    if (int err = run_stages(args.block<P>(), input, &result)) {
        stages_free();
        return err;
    }
    if (args.apply) {
        if (int err = image_copy_quiet(result, args.output)) return err;
        args.output->resolution = result->resolution;
        return 0;
    }
    // A preview shows the cached result at the view's zoom.
    WindowRecord shown{};
    shown.image = *result;
    ComputeArgs view = args;
    view.input = &shown;
    const int err = transform_copy_input(view);
    shown.image = Image{};
    return err;
}

// ---------------------------------------------------------------------------
// Fields

void output_size(const void* params, const Image* input, int& width, int& height) {
    crop_output_size(*static_cast<const P*>(params), input, width, height);
}

// The panel meets a picture: a rectangle set on another size becomes the
// whole picture.
void input_opened(void* params, const Image* input) {
    P& p = *static_cast<P*>(params);
    if (!input || (p.dims_width == input->width && p.dims_height == input->height)) return;
    p.dims_width = input->width;
    p.dims_height = input->height;
    p.x1 = p.y1 = 0;
    p.x2 = input->width - 1;
    p.y2 = input->height - 1;
    crop_update_result_rect(p);
}

template <auto Member>
constexpr TransformField border_field(std::string_view keyword, std::string_view label) {
    TransformField f = field_integer<Member>(keyword, label, 0, 2000, "%d", 0);
    f.set = [](void* params, double v) {
        P& p = *static_cast<P*>(params);
        const int n = static_cast<int>(v + 0.5);
        if (p.equal_borders)
            p.left = p.right = p.top = p.bottom = n;
        else
            p.*Member = n;
        crop_update_result_rect(p);
    };
    return f;
}

// "Equal Borders" on gives every side the left one's width.
constexpr TransformField equal_borders_field() {
    TransformField f = field_check<&P::equal_borders>("equal_borders", "Equal Borders", false);
    f.set = [](void* params, double v) {
        P& p = *static_cast<P*>(params);
        p.equal_borders = v > 0.5;
        if (p.equal_borders) p.right = p.top = p.bottom = p.left;
        crop_update_result_rect(p);
    };
    return f;
}

// The colour shows while the border is the colour; the panel offers the
// border picture's chooser otherwise.
constexpr TransformField colour_field() {
    TransformField f = field_colour<&P::red, &P::green, &P::blue>("border_color", "Border Color",
                                                                  colour_words);
    f.relevant = [](const void* p) { return static_cast<const P*>(p)->border_kind == 0; };
    return f;
}

constexpr TransformField ratio_field(bool width) {
    TransformField f = width ? field_integer<&P::ratio_width>("ratio_width", "Width/Height: ", 1,
                                                             100, "%d", 4)
                             : field_integer<&P::ratio_height>("ratio_height", "", 1, 100, "%d", 5);
    f.relevant = [](const void* p) { return static_cast<const P*>(p)->proportions == 1; };
    return f;
}

constexpr TransformField resize_field(TransformField f) {
    f.relevant = [](const void* p) { return static_cast<const P*>(p)->resize_on != 0; };
    return f;
}

// The method's init gives the bicubic kernel Resize's default sharpness.
constexpr TransformField method_field() {
    TransformField f = resize_field(
        field_choice<&P::resize_method>("method", "Method:", method_words, resample_bicubic));
    f.init = [](void* p) { static_cast<P*>(p)->resize_a = -0.5; };
    return f;
}

double megabytes(const void* params) {
    const P& p = *static_cast<const P*>(params);
    const CropRect r = crop_normalise({p.x1, p.y1, p.x2, p.y2});
    const double pixels = static_cast<double>(r.width() + p.left + p.right) *
                          (r.height() + p.top + p.bottom);
    return pixels * 3 / 1048576.0;
}

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_choice<&P::shape>("shape", "Shape:", shape_words, crop_rectangle),
    field_choice<&P::proportions>("proportions", "Proportions:", proportion_words, 0),
    ratio_field(true),
    ratio_field(false),
    field_choice<&P::grid>("guides", "Guides:", guide_words, 0),
    field_choice<&P::size_units>("size_units", "Size:", size_unit_words, 0),
    field_caption("file_size", "", "%3fMB", megabytes),
    field_choice<&P::border_kind>("border", "Border:", border_words, 0),
    colour_field(),
    field_real<&P::softness>("softness", "Softness: ", 0, 100, "%2f\\%", 0),
    field_choice<&P::margins_mode>("entry", "", entry_words, 1),
    border_field<&P::left>("left", "Left: "),
    border_field<&P::right>("right", "Right: "),
    border_field<&P::top>("top", "Top: "),
    border_field<&P::bottom>("bottom", "Bottom: "),
    equal_borders_field(),
    field_real<&P::angle>("angle", "Angle: ", -180, 180, "%2f (Shift-Drag to rotate image.)", 0),
    field_check<&P::resize_on>("resize", "Resize:", false),
    // A slider until the panel builder has edit boxes for numbers.
    resize_field(field_real<&P::resize_value>("resize_to", "To: ", 0, 10000, "%2f", 1000)),
    resize_field(field_choice<&P::resize_unit>("resize_unit", "", resize_unit_words, 0)),
    resize_field(field_choice<&P::resize_side>("resize_side", "", side_words, crop_side_long)),
    method_field(),
    field_choice<&P::orientation_rule>("orientation", "Crop Orientation:", rule_words, crop_align),
    field_choice<&P::crop_scaling>("crop_scaling", "Crop Scaling:", scaling_words, crop_scale),
    field_choice<&P::border_scaling>("border_scaling", "Border Scaling:", scaling_words,
                                     crop_scale),
};

constexpr WorkflowLine<P> lines[] = {
    workflow_value<&P::size_units, &P::proportions, &P::margins_mode, &P::equal_borders,
                   &P::border_kind>("physical %d %d %d %d %d"),
    workflow_value<&P::dims_width, &P::dims_height>("dims %d %d"),
    workflow_value<&P::x1, &P::y1, &P::x2, &P::y2>("cdims %d %d %d %d"),
    workflow_value<&P::rx1, &P::ry1, &P::rx2, &P::ry2>("rdims %d %d %d %d"),
    workflow_value<&P::left, &P::right, &P::top, &P::bottom, &P::grid>(
        "border_grid %d %d %d %d %d"),
    workflow_value<&P::angle, &P::softness, &P::fspare1, &P::fspare2, &P::fspare3>(
        "fparams %3f %3f %3f %3f %3f"),
    workflow_value<&P::red, &P::green, &P::blue>("border_color %d %d %d"),
    workflow_value<&P::ratio_width, &P::ratio_height>("width_height %d %d"),
    workflow_value<&P::orientation_rule, &P::crop_scaling, &P::border_scaling>(
        "rule_orientation %d %d %d"),
    workflow_value<&P::shape>("flags %d"),
    workflow_value<&P::resize_on, &P::resize_unit, &P::resize_side, &P::resize_method>(
        "resample_ints %d %d %d %d"),
    workflow_value<&P::resize_value, &P::resize_a>("resample_floats %3f %3f"),
    workflow_value<&P::border_image_index>("borderimageindex %d"),
};

// The Options menu's resets: the crop rectangle back to the whole picture,
// or everything to its built-in value with that rectangle.
void reset_rectangle(void* params) {
    P& p = *static_cast<P*>(params);
    p.x1 = p.y1 = 0;
    p.x2 = std::max(0, p.dims_width - 1);
    p.y2 = std::max(0, p.dims_height - 1);
    crop_update_result_rect(p);
}

void reset_all(void* params) {
    P& p = *static_cast<P*>(params);
    const int width = p.dims_width, height = p.dims_height;
    p = P{};
    fields_set_defaults(fields, params);
    p.dims_width = width;
    p.dims_height = height;
    reset_rectangle(params);
}

constexpr PanelReset resets[] = {
    {"Reset &all", reset_all},
    {"Reset cropping &rectangle only", reset_rectangle},
};

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

CropStageCounts crop_stage_counts() {
    return counts;
}

void crop_stages_clear() {
    stages_free();
}

extern const TransformDescriptor crop_add_border_transform;
constinit const TransformDescriptor crop_add_border_transform =
    transform_descriptor<P, fields, lines>({
        .title = title,
        .panel_number = 3,
        .panel_code = 3,
        .compute = crop_compute,
        .input_opened = input_opened,
        .static_copy = &static_copy,
        .fresh = &fresh,
        .resets = resets,
        .output_size = output_size,
    });
