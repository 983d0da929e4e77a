#include "transform/resample.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/errors.h"
#include "core/tables.h"
#include "transform/line_bands.h"

namespace {

constexpr double pi = 3.1415926536;

// Taps of the enlarging kernels: 4, 6 or 8 input samples an output sample.
int enlarge_taps(int method) {
    return method == resample_lanczos8 ? 8 : (method == resample_lanczos6 ? 6 : 4);
}

bool readable(int type) {
    return type == image_type_binary || type == image_type_gray8 || type == image_type_colour8 ||
           type == image_type_gray16 || type == image_type_colour16;
}

// Weights times the largest sample: whether a sum can pass 31 bits.
bool sums_wide(const std::int32_t* w, std::size_t count, int top) {
    std::int64_t total = 0;
    for (std::size_t k = 0; k < count; ++k)
        total += std::abs(static_cast<std::int64_t>(w[k]));
    return total * top > std::numeric_limits<std::int32_t>::max();
}

// Σ(w · sample) / Σw with truncation, clamped; `sum` is at least 1. Sums
// stay below 2^53, so the quotient of doubles truncates exactly as the
// integer division would, and unlike it the compiler can vectorise it.
template <typename Acc>
int divide_clamp(Acc acc, double sum, int top) {
    if (acc <= 0) return 0;
    const double q = static_cast<double>(acc) / sum;
    return q >= top ? top : static_cast<int>(q);
}

}  // namespace

double resample_kernel(double x, int method, double a) {
    x = std::fabs(x);
    switch (method) {
        case resample_nearest:
            return x < 0.5 ? 1.0 : 0.0;
        case resample_bilinear:
            return x <= 1.0 ? 1.0 - x : 0.0;
        case resample_bicubic:
            if (x <= 1.0) return ((a + 2.0) * x - (a + 3.0)) * x * x + 1.0;
            if (x <= 2.0) return ((a * x - 5.0 * a) * x + 8.0 * a) * x - 4.0 * a;
            return 0.0;
        default: {
            const double lobes = method == resample_lanczos4 ? 2.0
                                 : method == resample_lanczos6 ? 3.0
                                                               : 4.0;
            if (x == 0.0) return 1.0;
            if (x > lobes) return 0.0;
            return std::sin(pi * x) / x * lobes * std::sin(pi * x / lobes) / x;
        }
    }
}

void resample_taps(int n, int m, int i, int method, double a, ResampleTaps& taps) {
    taps.weights.clear();
    if (n == m || method == resample_nearest) {
        taps.first = n == m ? i
                     : m == 1
                         ? 0
                         : static_cast<int>((static_cast<std::int64_t>(i) * (n - 1) + (m - 1) / 2) /
                                            (m - 1));
        taps.weights.push_back(1);
        return;
    }
    const double s = m == 1 ? 0.0 : static_cast<double>(n - 1) / (m - 1);
    const double position = i * s;
    const int centre = static_cast<int>(position);
    const double f = position - centre;
    int low = 0, high = 0;
    if (n < m) {
        const int t = enlarge_taps(method);
        low = -(t / 2 - 1);
        high = t / 2;
    } else {
        high = static_cast<int>(s) + 1;
        low = -high;
    }
    const double q = static_cast<double>(n) / m;
    taps.first = -1;
    for (int k = low; k <= high; ++k) {
        const int at = centre + k;
        if (at < 0 || at >= n) continue;  // outside: dropped from both sums
        std::int32_t w = 0;
        if (n < m) {
            w = static_cast<std::int32_t>(255.0 * resample_kernel(k - f, method, a));
        } else {
            const double v = resample_kernel((k - f) / q, method, a);
            w = std::clamp(static_cast<std::int32_t>(255.0 * v), 0, 255);
        }
        if (w == 0 && taps.first < 0) continue;  // leading zeros are not kept
        if (taps.first < 0) taps.first = at;
        taps.weights.push_back(w);
    }
    while (!taps.weights.empty() && taps.weights.back() == 0)
        taps.weights.pop_back();
    if (taps.first < 0) taps.first = std::clamp(centre, 0, n - 1);
}

int resample_prepare(const Image* input, const ResampleAxis& x, const ResampleAxis& y, int method,
                     double a, bool eight_out, ResamplePlan& plan) {
    if (!input || !readable(input->type)) return err_illegal_type;
    plan.input = input;
    plan.method = method;
    plan.a = a;
    plan.x = x;
    plan.y = y;
    plan.samples = image_is_colour(input) ? 3 : 1;
    plan.wide = image_is_16bit(input);
    plan.eight_out = plan.wide && eight_out;
    plan.binary_out = input->type == image_type_binary && method == resample_nearest && !eight_out;
    const int top = plan.wide ? 65535 : 255;
    try {
        plan.first.resize(x.count);
        plan.count.resize(x.count);
        plan.offset.resize(x.count);
        plan.weight_sum.resize(x.count);
        plan.weights.clear();
        plan.wide_sums = false;
        ResampleTaps taps;
        for (int k = 0; k < x.count; ++k) {
            resample_taps(input->width, x.size, x.first + k * x.step, method, a, taps);
            plan.first[k] = taps.first;
            plan.count[k] = static_cast<std::int32_t>(taps.weights.size());
            plan.offset[k] = static_cast<std::int32_t>(plan.weights.size());
            std::int64_t sum = 0;
            for (std::int32_t w : taps.weights)
                sum += w;
            plan.weight_sum[k] = sum == 0 ? 1 : static_cast<std::int32_t>(sum);
            plan.wide_sums =
                plan.wide_sums || sums_wide(taps.weights.data(), taps.weights.size(), top);
            plan.weights.insert(plan.weights.end(), taps.weights.begin(), taps.weights.end());
        }
    } catch (const std::bad_alloc&) {
        return err_memory;
    }
    return 0;
}

int resample_output_type(const ResamplePlan& plan) {
    const int type = plan.input->type;
    if (type == image_type_binary) return plan.binary_out ? image_type_binary : image_type_gray8;
    return plan.eight_out ? preview_type_of(type) : type;
}

int resample_line_bytes(const ResamplePlan& plan) {
    if (plan.binary_out) return (plan.x.count + 7) / 8;
    const int bytes = plan.wide && !plan.eight_out ? 2 : 1;
    return plan.x.count * plan.samples * bytes;
}

namespace {

// An input line as samples of T: in place, or a binary line unpacked into
// bytes of 0 and 255 in `buffer`.
template <typename T>
const T* input_line(const Image* in, int y, std::uint8_t* buffer) {
    if (in->type != image_type_binary) return reinterpret_cast<const T*>(in->rows[y]);
    for (int x = 0; x < in->width; ++x)
        buffer[x] = image_bit_get(in->rows[y], x) ? 255 : 0;
    return reinterpret_cast<const T*>(buffer);
}

// The vertical pass into `line`: the weighted input lines, sample by sample.
template <typename T, typename Acc>
void combine_lines(const Image* in, const ResampleTaps& taps, int samples, int top,
                   std::vector<std::uint8_t>& unpacked, std::vector<Acc>& acc, T* line) {
    const int count = in->width * samples;
    acc.assign(static_cast<std::size_t>(count), 0);
    std::int64_t sum = 0;
    for (std::size_t t = 0; t < taps.weights.size(); ++t) {
        const Acc w = taps.weights[t];
        sum += w;
        if (w == 0) continue;
        const T* from = input_line<T>(in, taps.first + static_cast<int>(t), unpacked.data());
        Acc* a = acc.data();
        for (int i = 0; i < count; ++i)
            a[i] += w * static_cast<Acc>(from[i]);
    }
    const double divisor = sum == 0 ? 1.0 : static_cast<double>(sum);
    for (int i = 0; i < count; ++i)
        line[i] = static_cast<T>(divide_clamp(acc[i], divisor, top));
}

// The horizontal table over one combined line into output samples.
template <typename T, typename Acc, int Samples, typename Out>
void apply_table(const ResamplePlan& plan, const T* line, Out* out, int top) {
    const std::int32_t* weights = plan.weights.data();
    for (int k = 0; k < plan.x.count; ++k) {
        const std::int32_t* w = weights + plan.offset[k];
        const T* from = line + static_cast<std::ptrdiff_t>(plan.first[k]) * Samples;
        const int taps = plan.count[k];
        Acc acc[Samples] = {};
        for (int t = 0; t < taps; ++t)
            for (int c = 0; c < Samples; ++c)
                acc[c] += static_cast<Acc>(w[t]) * from[t * Samples + c];
        const double divisor = plan.weight_sum[k];
        for (int c = 0; c < Samples; ++c) {
            const int v = divide_clamp(acc[c], divisor, top);
            if constexpr (sizeof(Out) == 1 && sizeof(T) == 2)
                out[k * Samples + c] = to8[v];
            else
                out[k * Samples + c] = static_cast<Out>(v);
        }
    }
}

template <typename T, typename Acc, typename Out>
void horizontal(const ResamplePlan& plan, const T* line, Out* out, int top) {
    if (plan.samples == 3)
        apply_table<T, Acc, 3>(plan, line, out, top);
    else
        apply_table<T, Acc, 1>(plan, line, out, top);
}

template <typename T>
void make_line(const ResamplePlan& plan, int k, ResampleScratch& scratch, std::uint8_t* out) {
    const Image* in = plan.input;
    const int top = plan.wide ? 65535 : 255;
    const int j = plan.y.first + k * plan.y.step;
    const std::size_t count = static_cast<std::size_t>(in->width) * plan.samples;
    if (in->type == image_type_binary) scratch.unpacked.resize(count);
    resample_taps(in->height, plan.y.size, j, plan.method, plan.a, scratch.taps);
    const ResampleTaps& taps = scratch.taps;

    // A single tap, or a fraction that 255 scales to 0 when enlarging: the
    // input line as it is.
    int direct = taps.weights.size() == 1 ? taps.first : -1;
    if (direct < 0 && in->height < plan.y.size && plan.method != resample_nearest) {
        const double s = plan.y.size == 1 ? 0.0 : static_cast<double>(in->height - 1) / (plan.y.size - 1);
        const double position = j * s;
        if (static_cast<int>(255.0 * (position - static_cast<int>(position))) == 0)
            direct = static_cast<int>(position);
    }
    const T* line = nullptr;
    if (direct >= 0) {
        line = input_line<T>(in, direct, scratch.unpacked.data());
    } else {
        scratch.line.resize(count * sizeof(T));
        T* combined = reinterpret_cast<T*>(scratch.line.data());
        if (sums_wide(taps.weights.data(), taps.weights.size(), top))
            combine_lines<T, std::int64_t>(in, taps, plan.samples, top, scratch.unpacked,
                                           scratch.acc64, combined);
        else
            combine_lines<T, std::int32_t>(in, taps, plan.samples, top, scratch.unpacked,
                                           scratch.acc32, combined);
        line = combined;
    }

    if (plan.binary_out) {
        std::memset(out, 0, static_cast<std::size_t>(resample_line_bytes(plan)));
        for (int i = 0; i < plan.x.count; ++i)
            if (line[plan.first[i]]) image_bit_set(out, i);
        return;
    }
    if (plan.eight_out) {
        if (plan.wide_sums)
            horizontal<T, std::int64_t>(plan, line, out, top);
        else
            horizontal<T, std::int32_t>(plan, line, out, top);
        return;
    }
    T* o = reinterpret_cast<T*>(out);
    if (plan.wide_sums)
        horizontal<T, std::int64_t>(plan, line, o, top);
    else
        horizontal<T, std::int32_t>(plan, line, o, top);
}

}  // namespace

void resample_line(const ResamplePlan& plan, int k, ResampleScratch& scratch, std::uint8_t* out) {
    if (plan.wide)
        make_line<std::uint16_t>(plan, k, scratch, out);
    else
        make_line<std::uint8_t>(plan, k, scratch, out);
}

int resample_image(const Image* input, Image* output, int width, int height, double resolution,
                   int method, double a, const char* title) {
    if (!input || !readable(input->type) || width < 1 || height < 1) return err_illegal_type;
    if (width == input->width && height == input->height) {
        if (int err = image_copy_quiet(input, output)) return err;
        output->resolution = resolution;
        return 0;
    }
    ResamplePlan plan;
    if (int err = resample_prepare(input, ResampleAxis::whole(width), ResampleAxis::whole(height),
                                   method, a, false, plan))
        return err;
    if (int err = image_alloc(output, resample_output_type(plan), width, height, resolution))
        return err;
    ComputeArgs lines;
    lines.line_width = width;
    lines.line_count = height;
    const int err = transform_for_bands(lines, title ? title : "Resize", [&](int first, int count) {
        ResampleScratch scratch;
        for (int k = first; k < first + count; ++k)
            resample_line(plan, k, scratch, output->rows[k]);
        return 0;
    });
    if (err) image_free(output);
    return err;
}

// ---------------------------------------------------------------------------
// Target sizes

namespace {

// round(size * num / den) for positive values, halves up, at least 1.
int scaled(int size, std::int64_t num, std::int64_t den) {
    const std::int64_t v = (2 * static_cast<std::int64_t>(size) * num + den) / (2 * den);
    return static_cast<int>(std::clamp<std::int64_t>(v, 1, std::numeric_limits<int>::max()));
}

int rounded(double v) {
    return static_cast<int>(std::clamp(std::floor(v + 0.5), 1.0,
                                       static_cast<double>(std::numeric_limits<int>::max())));
}

}  // namespace

bool resize_target_size(int operation, int w, int h, int box_width, int box_height, double value,
                        int& width, int& height) {
    width = w;
    height = h;
    if (w < 1 || h < 1) return false;
    const std::int64_t W = box_width, H = box_height;
    switch (operation) {
        case resize_percent:
            if (!(value > 0)) return false;
            width = rounded(w * value / 100.0);
            height = rounded(h * value / 100.0);
            return true;
        case resize_bounding:
        case resize_fill: {
            if (W < 1 || H < 1) return false;
            // W / w <= H / h, compared exactly.
            const bool width_rules = operation == resize_bounding ? W * h <= H * w : H * w <= W * h;
            if (width_rules) {
                width = static_cast<int>(W);
                height = scaled(h, W, w);
            } else {
                height = static_cast<int>(H);
                width = scaled(w, H, h);
            }
            return true;
        }
        case resize_width:
            if (W < 1) return false;
            width = static_cast<int>(W);
            height = scaled(h, W, w);
            return true;
        case resize_height:
            if (H < 1) return false;
            height = static_cast<int>(H);
            width = scaled(w, H, h);
            return true;
        case resize_both:
            if (W < 1 || H < 1) return false;
            width = static_cast<int>(W);
            height = static_cast<int>(H);
            return true;
        case resize_megapixels: {
            if (!(value > 0)) return false;
            const double k = std::sqrt(value * 1e6 / (static_cast<double>(w) * h));
            width = rounded(w * k);
            height = rounded(h * k);
            return true;
        }
        case resize_resolution:
            return true;
        default:
            return false;
    }
}

double resize_unit_factor(int unit) {
    return unit == unit_cm ? 2.540005 : (unit == unit_mm ? 25.40005 : 1.0);
}

int resize_to_pixels(double length, int unit, double dpi) {
    if (unit == unit_pixels) return static_cast<int>(std::floor(length + 0.5));
    return static_cast<int>(std::floor(length * dpi / resize_unit_factor(unit) + 0.5));
}

double resize_from_pixels(int pixels, int unit, double dpi) {
    if (unit == unit_pixels || dpi <= 0) return pixels;
    return resize_unit_factor(unit) * pixels / dpi;
}
