#include "mask/mask_ops.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <new>

#include "core/colour.h"
#include "core/parallel.h"
#include "core/progress.h"
#include "core/tables.h"
#include "transform/box_filter.h"

namespace {

bool is_picture_type(int type) {
    return type == image_type_binary || type == image_type_gray8 || type == image_type_colour8 ||
           type == image_type_gray16 || type == image_type_colour16;
}

bool same_size(const Image* a, const Image* b) {
    return a->width == b->width && a->height == b->height;
}

// Runs body(first_line, end_line) over bands of lines on all cores, a group of
// bands between progress steps. Returns the progress answer (0 or 11).
int run_bands(int lines, int band, const ProgressScope* progress,
              const std::function<void(int, int)>& body) {
    const int bands = (lines + band - 1) / band;
    const int group = 2 * parallel_max_threads;
    for (int first = 0; first < bands; first += group) {
        const int count = std::min(group, bands - first);
        parallel_for(count, [&](int b) {
            const int y0 = (first + b) * band;
            body(y0, std::min(y0 + band, lines));
        });
        if (progress != nullptr) {
            if (const int code = progress->step(std::min((first + count) * band, lines) - 1))
                return code;
        }
    }
    return 0;
}

// Merges a coverage computed line by line, `coverage(line, out)` filling the
// mask's width, into the mask by mode, skipping the lines the mode leaves.
int merge_lines(Image* mask, LineClasses& classes, int mode, const char* title,
                const std::function<void(int line, std::uint8_t* out)>& coverage) {
    const int width = mask->width;
    const ProgressScope progress(title, static_cast<std::int64_t>(width) * mask->height, 0,
                                 mask->height - 1, false);
    bool failed = false;
    (void)run_bands(mask->height, 16, &progress, [&](int y0, int y1) {
        std::vector<std::uint8_t> c;
        try {
            c.resize(static_cast<std::size_t>(width));
        } catch (const std::bad_alloc&) {
            failed = true;
            return;
        }
        for (int y = y0; y < y1; ++y) {
            if (mask_mode_skips(classes[static_cast<std::size_t>(y)], mode)) continue;
            coverage(y, c.data());
            std::uint8_t* m = mask->rows[y];
            for (int x = 0; x < width; ++x)
                m[x] = static_cast<std::uint8_t>(mask_merge(m[x], c[static_cast<std::size_t>(x)], mode));
            classes[static_cast<std::size_t>(y)] = static_cast<std::uint8_t>(line_class(m, width));
        }
    });
    return failed ? 1 : 0;
}

}  // namespace

void picture_line_rgb8(const Image* picture, int line, std::uint8_t* rgb) {
    const std::uint8_t* in = picture->rows[line];
    const int w = picture->width;
    for (int x = 0; x < w; ++x) {
        int r = 0, g = 0, b = 0;
        switch (picture->type) {
            case image_type_binary:
                r = g = b = image_bit_get(in, x) ? 255 : 0;
                break;
            case image_type_gray8:
                r = g = b = in[x];
                break;
            case image_type_colour8:
                b = in[3 * x];
                g = in[3 * x + 1];
                r = in[3 * x + 2];
                break;
            case image_type_gray16:
                r = g = b = to8[in[2 * x] | (in[2 * x + 1] << 8)];
                break;
            default: {
                const std::uint8_t* p = in + 6 * x;
                b = to8[p[0] | (p[1] << 8)];
                g = to8[p[2] | (p[3] << 8)];
                r = to8[p[4] | (p[5] << 8)];
            }
        }
        rgb[3 * x] = static_cast<std::uint8_t>(r);
        rgb[3 * x + 1] = static_cast<std::uint8_t>(g);
        rgb[3 * x + 2] = static_cast<std::uint8_t>(b);
    }
}

// ---------------------------------------------------------------------------
// Feather

std::vector<std::uint8_t> feather_stamp(int width, int falloff, int corners) {
    const int w = std::abs(width);
    const int side = 2 * w + 1;
    std::vector<std::uint8_t> stamp(static_cast<std::size_t>(side) * side);
    for (int j = 0; j < side; ++j)
        for (int i = 0; i < side; ++i) {
            const double x = static_cast<double>(i - w) / (w + 1);
            const double y = static_cast<double>(j - w) / (w + 1);
            const double distance = corners == 0 ? std::hypot(x, y) : std::max(std::abs(x), std::abs(y));
            int value = 0;
            if (falloff == 0)
                value = std::clamp(static_cast<int>(std::floor(255.0 * (1.0 - distance) + 0.5)), 0, 255);
            else
                value = distance < 1.0 ? 255 : 0;
            if (width < 0) value = 255 - value;
            stamp[static_cast<std::size_t>(j) * side + i] = static_cast<std::uint8_t>(value);
        }
    return stamp;
}

int mask_feather(const Image* input, Image* output, int width, int falloff, int corners,
                 const LineClasses& classes, bool show_progress) {
    if (input->type != image_type_gray8) return 14;
    if (width == 0) return image_copy_quiet(input, output);
    if (const int code = image_alloc_like(input, output)) return code;
    const int w = input->width;
    const int h = input->height;
    const int r = std::abs(width);
    const int side = 2 * r + 1;
    const bool outward = width > 0;
    const std::vector<std::uint8_t> stamp = feather_stamp(width, falloff, corners);
    // The pixel value that needs no stamp, its neighbours', and the class of
    // lines with nothing to stamp.
    const int plain = outward ? 255 : 0;
    const int nothing = outward ? 0 : 255;
    const std::uint8_t skip_class = outward ? line_black : line_white;

    const ProgressScope progress(show_progress ? "Feather" : "", static_cast<std::int64_t>(w) * h, 0,
                                 h - 1, true);
    // Each band writes only its own output lines and takes the stamps of every
    // input line within reach; max and min don't care about order, so the
    // bytes are the same for any number of bands.
    return run_bands(h, 32, show_progress ? &progress : nullptr, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            std::fill(output->rows[y], output->rows[y] + w, static_cast<std::uint8_t>(nothing));
        for (int sy = std::max(y0 - r, 0); sy < std::min(y1 + r, h); ++sy) {
            if (classes[static_cast<std::size_t>(sy)] == skip_class) continue;
            const std::uint8_t* line = input->rows[sy];
            const std::uint8_t* above = sy + 1 < h ? input->rows[sy + 1] : line;
            const std::uint8_t* below = sy > 0 ? input->rows[sy - 1] : line;
            for (int x = 0; x < w; ++x) {
                const int v = line[x];
                if (v == nothing) continue;
                if (v == plain && above[x] == plain && below[x] == plain &&
                    (x == 0 || line[x - 1] == plain) && (x == w - 1 || line[x + 1] == plain)) {
                    if (sy >= y0 && sy < y1) output->rows[sy][x] = static_cast<std::uint8_t>(v);
                    continue;
                }
                const int oy0 = std::max(sy - r, y0), oy1 = std::min(sy + r, y1 - 1);
                const int ox0 = std::max(x - r, 0), ox1 = std::min(x + r, w - 1);
                for (int oy = oy0; oy <= oy1; ++oy) {
                    const std::uint8_t* s = stamp.data() + static_cast<std::size_t>(oy - sy + r) * side + (r - x);
                    std::uint8_t* out = output->rows[oy];
                    for (int ox = ox0; ox <= ox1; ++ox) {
                        if (outward) {
                            const int value = v == 255 ? s[ox] : mul8[s[ox]][v];
                            if (value > out[ox]) out[ox] = static_cast<std::uint8_t>(value);
                        } else {
                            const int value = 255 - mul8[255 - s[ox]][255 - v];
                            if (value < out[ox]) out[ox] = static_cast<std::uint8_t>(value);
                        }
                    }
                }
            }
        }
    });
}

// ---------------------------------------------------------------------------
// Blur

int mask_blur(const Image* input, Image* output, int radius, LineClasses& classes) {
    if (input->type != image_type_gray8) return 14;
    if (radius <= 0) {
        if (const int code = image_copy_quiet(input, output)) return code;
        line_classes_compute(*output, classes);
        return 0;
    }
    if (const int code = image_alloc_like(input, output)) return code;
    const int w = input->width;
    const int h = input->height;
    const ProgressScope progress("Blur", static_cast<std::int64_t>(w) * h, 0, h + w - 2, true);
    bool failed = false;
    // Lines, then columns; each through a scratch buffer of twice the larger side.
    int code = run_bands(h, 16, &progress, [&](int y0, int y1) {
        std::vector<std::uint8_t> scratch;
        try {
            scratch.resize(2 * static_cast<std::size_t>(std::max(w, h)));
        } catch (const std::bad_alloc&) {
            failed = true;
            return;
        }
        for (int y = y0; y < y1; ++y) {
            box_filter8(input->rows[y], scratch.data(), w, radius, 1);
            box_filter8(scratch.data(), output->rows[y], w, radius, 1);
        }
    });
    if (code == 0 && !failed) {
        const ProgressScope* none = nullptr;
        code = run_bands(w, 16, none, [&](int x0, int x1) {
            std::vector<std::uint8_t> scratch;
            try {
                scratch.resize(2 * static_cast<std::size_t>(std::max(w, h)));
            } catch (const std::bad_alloc&) {
                failed = true;
                return;
            }
            std::uint8_t* column = scratch.data();
            std::uint8_t* pass = scratch.data() + h;
            for (int x = x0; x < x1; ++x) {
                for (int y = 0; y < h; ++y)
                    column[y] = output->rows[y][x];
                box_filter8(column, pass, h, radius, 1);
                box_filter8(pass, column, h, radius, 1);
                for (int y = 0; y < h; ++y)
                    output->rows[y][x] = column[y];
            }
        });
        if (code == 0) code = progress.step(h + w - 2);
    }
    if (failed) code = 1;
    if (code != 0) {
        image_free(output);
        return code;
    }
    line_classes_compute(*output, classes);
    return 0;
}

// ---------------------------------------------------------------------------
// Color Range

void color_range_tables(const std::array<int, 12>& limits, int space, bool gray,
                        ColorRangeTables& tables) {
    tables.space = gray ? 2 : space;
    const bool wide = tables.space != 2;
    const int top = wide ? 4096 : 255;
    for (int c = 0; c < 3; ++c) {
        int v[4];
        for (int k = 0; k < 4; ++k) {
            const int limit = limits[static_cast<std::size_t>(4 * c + k)];
            v[k] = wide ? limit * 4 : (limit * 255) >> 10;
        }
        int outer_low = v[0], outer_high = v[1];
        const int inner_low = v[2], inner_high = v[3];
        outer_low = std::min(outer_low, inner_low);
        outer_high = std::max(outer_high, inner_high);
        std::vector<std::uint8_t>& table = tables.table[static_cast<std::size_t>(c)];
        table.assign(static_cast<std::size_t>(top) + 1, 0);
        for (int value = 0; value <= top; ++value) {
            // Wrapped, the band runs from the inner low up through the top
            // and on from 0 to the inner high, with the ramps outside it.
            int out = 0;
            const bool wraps = inner_low > inner_high;
            if (wraps ? (value >= inner_low || value <= inner_high)
                      : (value >= inner_low && value <= inner_high))
                out = 255;
            else if (value >= outer_low && value < inner_low)
                out = (value - outer_low) * 255 / (inner_low - outer_low);
            else if (value > inner_high && value <= outer_high)
                out = (outer_high - value) * 255 / (outer_high - inner_high);
            table[static_cast<std::size_t>(value)] = static_cast<std::uint8_t>(out);
        }
    }
}

int color_range_coverage(const ColorRangeTables& tables, bool gray, int r, int g, int b) {
    if (gray) return tables.table[0][static_cast<std::size_t>(r)];
    int a = r, s = g, v = b;
    if (tables.space == 0) rgb_to_hsv8(r, g, b, a, s, v);
    if (tables.space == 1) rgb_to_hsl8(r, g, b, a, s, v);
    return std::min({tables.table[0][static_cast<std::size_t>(a)],
                     tables.table[1][static_cast<std::size_t>(s)],
                     tables.table[2][static_cast<std::size_t>(v)]});
}

int mask_color_range(const Image* picture, const std::array<int, 12>& limits, int space, int mode,
                     Image* mask, LineClasses& classes) {
    if (mask->type != image_type_gray8 || picture->type == image_type_binary ||
        !is_picture_type(picture->type))
        return 14;
    if (!same_size(picture, mask)) return 14;
    const bool gray = !image_is_colour(picture);
    ColorRangeTables tables;
    color_range_tables(limits, space, gray, tables);
    return merge_lines(mask, classes, mode, "Color Range", [&](int line, std::uint8_t* out) {
        std::vector<std::uint8_t> rgb(3 * static_cast<std::size_t>(picture->width));
        picture_line_rgb8(picture, line, rgb.data());
        for (int x = 0; x < picture->width; ++x)
            out[x] = static_cast<std::uint8_t>(
                color_range_coverage(tables, gray, rgb[3 * x], rgb[3 * x + 1], rgb[3 * x + 2]));
    });
}

// ---------------------------------------------------------------------------
// Combine Masks and Brightness Curve

int mask_combine(const Image* other, int gray_level, int mode, Image* mask, LineClasses& classes) {
    if (mask->type != image_type_gray8) return 14;
    if (other != nullptr && (other->type != image_type_gray8 || !same_size(other, mask))) return 14;
    const int level = std::clamp(gray_level, 0, 255);
    return merge_lines(mask, classes, mode, "Combine Masks", [&](int line, std::uint8_t* out) {
        if (other != nullptr)
            std::copy(other->rows[line], other->rows[line] + mask->width, out);
        else
            std::fill(out, out + mask->width, static_cast<std::uint8_t>(level));
    });
}

int mask_brightness_curve(const Image* picture, const std::uint8_t table[256], int mode,
                          Image* mask, LineClasses& classes) {
    if (mask->type != image_type_gray8 || !is_picture_type(picture->type)) return 14;
    if (!same_size(picture, mask)) return 14;
    return merge_lines(mask, classes, mode, "Brightness Curve", [&](int line, std::uint8_t* out) {
        std::vector<std::uint8_t> rgb(3 * static_cast<std::size_t>(picture->width));
        picture_line_rgb8(picture, line, rgb.data());
        for (int x = 0; x < picture->width; ++x)
            out[x] = table[luminance8(rgb[3 * x], rgb[3 * x + 1], rgb[3 * x + 2])];
    });
}

// ---------------------------------------------------------------------------
// Texture

namespace {

// Sample c (0..2; gray has one) of the pixel at column x of Image line `line`,
// edges repeated, on the 8-bit scale.
int sample8(const Image* picture, int x, int line, int c) {
    x = std::clamp(x, 0, picture->width - 1);
    line = std::clamp(line, 0, picture->height - 1);
    const std::uint8_t* in = picture->rows[line];
    switch (picture->type) {
        case image_type_binary:
            return image_bit_get(in, x) ? 255 : 0;
        case image_type_gray8:
            return in[x];
        case image_type_colour8:
            return in[3 * x + c];
        case image_type_gray16:
            return to8[in[2 * x] | (in[2 * x + 1] << 8)];
        default:
            return to8[in[6 * x + 2 * c] | (in[6 * x + 2 * c + 1] << 8)];
    }
}

}  // namespace

int texture_value(const Image* picture, int x, int row, int method, int size) {
    const int line = picture->height - 1 - row;
    const int half = size + 1;
    const int n = (2 * half + 1) * (2 * half + 1) - 1;
    const int channels = image_is_colour(picture) ? 3 : 1;
    int result = 0;
    for (int c = 0; c < channels; ++c) {
        const int centre = sample8(picture, x, line, c);
        int greatest = 0, sum_difference = 0, sum = 0;
        for (int dy = -half; dy <= half; ++dy)
            for (int dx = -half; dx <= half; ++dx) {
                if (dx == 0 && dy == 0) continue;
                const int s = sample8(picture, x + dx, line + dy, c);
                greatest = std::max(greatest, std::abs(s - centre));
                sum_difference += std::abs(s - centre);
                sum += s;
            }
        int t = greatest;
        if (method == 1) t = (sum_difference + n / 2) / n;
        if (method == 2) t = std::abs((sum + n / 2) / n - centre);
        result = std::max(result, t);
    }
    return result;
}

int mask_texture(const Image* picture, int method, int size, const std::uint8_t table[256],
                 int mode, Image* mask, LineClasses& classes) {
    if (mask->type != image_type_gray8 || !is_picture_type(picture->type)) return 14;
    if (!same_size(picture, mask)) return 14;
    return merge_lines(mask, classes, mode, "Texture", [&](int line, std::uint8_t* out) {
        const int row = picture->height - 1 - line;
        for (int x = 0; x < picture->width; ++x)
            out[x] = table[texture_value(picture, x, row, method, size)];
    });
}

int texture_histogram(const Image* picture, int method, int size,
                      std::array<std::uint32_t, 256>& histogram, std::uint32_t* tallest) {
    histogram.fill(0);
    *tallest = 0;
    if (!is_picture_type(picture->type)) return 14;
    int step_x = 1, step_y = 1;
    bool grow_y = true;
    while (static_cast<std::int64_t>(picture->width) * picture->height / (step_x * step_y) > 1000000) {
        (grow_y ? step_y : step_x) += 1;
        grow_y = !grow_y;
    }
    const ProgressScope progress("Computing Histogram",
                                 static_cast<std::int64_t>(picture->width) * picture->height /
                                     (step_x * step_y),
                                 0, picture->height - 1, false);
    for (int row = 0; row < picture->height; row += step_y) {
        for (int x = 0; x < picture->width; x += step_x)
            ++histogram[static_cast<std::size_t>(texture_value(picture, x, row, method, size))];
        (void)progress.step(row);
    }
    *tallest = *std::max_element(histogram.begin(), histogram.end());
    return 0;
}

// ---------------------------------------------------------------------------
// Flood Fill

int similarity_coverage(int distance, double threshold) {
    if (distance < threshold) return 255;
    if (distance >= 2 * threshold) return 0;
    return static_cast<int>(255 - (distance - threshold) * 255 / threshold);
}

int mask_flood_fill(int x, int row, const Image* picture, Image* mask, LineClasses& classes,
                    int mode, double threshold, MaskChange* change) {
    if (change != nullptr) *change = MaskChange{};
    if (mask->type != image_type_gray8 || !is_picture_type(picture->type)) return 14;
    if (!same_size(picture, mask)) return 14;
    const int w = picture->width;
    const int h = picture->height;
    if (x < 0 || row < 0 || x >= w || row >= h) return 0;
    const bool gray = !image_is_colour(picture);
    // Rows from the top here, as the click gives them.
    std::vector<std::uint8_t> similar, fill;
    try {
        similar.resize(static_cast<std::size_t>(w) * h);
        fill.assign(static_cast<std::size_t>(w) * h, 0);
    } catch (const std::bad_alloc&) {
        return 1;
    }
    std::vector<std::uint8_t> seed_rgb(3 * static_cast<std::size_t>(w));
    picture_line_rgb8(picture, h - 1 - row, seed_rgb.data());
    const int sr = seed_rgb[3 * x], sg = seed_rgb[3 * x + 1], sb = seed_rgb[3 * x + 2];
    // Every pixel's coverage first, on all cores; the walk then only reads it.
    (void)run_bands(h, 16, nullptr, [&](int y0, int y1) {
        std::vector<std::uint8_t> rgb(3 * static_cast<std::size_t>(w));
        for (int y = y0; y < y1; ++y) {
            picture_line_rgb8(picture, h - 1 - y, rgb.data());
            std::uint8_t* out = similar.data() + static_cast<std::size_t>(y) * w;
            for (int i = 0; i < w; ++i) {
                const int d = gray ? 3 * std::abs(rgb[3 * i] - sr)
                                   : std::abs(rgb[3 * i] - sr) + std::abs(rgb[3 * i + 1] - sg) +
                                         std::abs(rgb[3 * i + 2] - sb);
                out[i] = static_cast<std::uint8_t>(similarity_coverage(d, threshold));
            }
        }
    });
    const auto at = [w](int px, int py) { return static_cast<std::size_t>(py) * w + px; };
    const auto open = [&](int px, int py) { return fill[at(px, py)] == 0 && similar[at(px, py)] != 0; };
    struct Seed {
        std::int32_t x, y;
    };
    constexpr std::size_t seeds_max = flood_stack_bytes / sizeof(Seed);
    std::vector<Seed> stack;
    stack.reserve(1024);
    stack.push_back({x, row});
    int x1 = x, x2 = x, y1 = row, y2 = row;
    while (!stack.empty()) {
        const Seed seed = stack.back();
        stack.pop_back();
        if (!open(seed.x, seed.y)) continue;
        int top = seed.y;
        while (top > 0 && open(seed.x, top - 1))
            --top;
        bool left_run = false, right_run = false;
        int y = top;
        for (; y < h && open(seed.x, y); ++y) {
            fill[at(seed.x, y)] = similar[at(seed.x, y)];
            for (const int side : {-1, 1}) {
                const int sx = seed.x + side;
                bool& run = side < 0 ? left_run : right_run;
                const bool now = sx >= 0 && sx < w && open(sx, y);
                if (now && !run) {
                    if (stack.size() >= seeds_max) return 1;
                    stack.push_back({sx, y});
                }
                run = now;
            }
        }
        x1 = std::min(x1, seed.x);
        x2 = std::max(x2, seed.x);
        y1 = std::min(y1, top);
        y2 = std::max(y2, y - 1);
    }
    // The merge covers the fill's box only.
    (void)run_bands(y2 - y1 + 1, 16, nullptr, [&](int r0, int r1) {
        for (int r = y1 + r0; r < y1 + r1; ++r) {
            const int line = h - 1 - r;
            if (mask_mode_skips(classes[static_cast<std::size_t>(line)], mode)) continue;
            std::uint8_t* m = mask->rows[line];
            const std::uint8_t* c = fill.data() + at(0, r);
            for (int i = x1; i <= x2; ++i)
                m[i] = static_cast<std::uint8_t>(mask_merge_bitwise(m[i], c[i], mode));
            classes[static_cast<std::size_t>(line)] = static_cast<std::uint8_t>(line_class(m, w));
        }
    });
    if (change != nullptr) *change = MaskChange{x1, y1, x2, y2, false};
    return 0;
}
