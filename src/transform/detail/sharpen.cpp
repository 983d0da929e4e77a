// Sharpen: four methods. "Sharpen" and "Heavy Sharpen" push a pixel away
// from the mean of its four or eight neighbours; "Unsharp Mask" away from the
// program's box Gaussian where the two differ by the threshold or more;
// "Bilateral Sharpen" away from an edge-keeping mean (only neighbours within
// the blur threshold count) by a factor, where any channel differs by the
// sharpen threshold. The amount and mask set the strength.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "core/parallel.h"
#include "core/tables.h"
#include "transform/box_filter.h"
#include "transform/line_bands.h"
#include "transform/result_view.h"
#include "transform/tone.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct SharpenParams {
    AmountSettings amount;
    std::int32_t radius;
    std::int32_t threshold;
    std::int32_t kernel;
    std::int32_t blur_radius;
    std::int32_t blur_threshold;
    std::int32_t sharpen_threshold;
    double factor;
};

using P = SharpenParams;

enum Method { sharpen = 0, heavy = 1, unsharp = 2, bilateral = 3 };
constexpr std::string_view method_words[] = {"Sharpen", "Heavy Sharpen", "Unsharp Mask",
                                             "Bilateral Sharpen"};

template <int... Methods>
constexpr bool (*only_for())(const void*) {
    return [](const void* p) {
        const int k = static_cast<const P*>(p)->kernel;
        return ((k == Methods) || ...);
    };
}

constexpr TransformField for_methods(TransformField f, bool (*relevant)(const void*)) {
    f.relevant = relevant;
    return f;
}

// 0..255 shown as a percentage.
template <auto Member>
constexpr TransformField percent(std::string_view keyword, std::string_view label, int value) {
    TransformField f = field_integer<Member>(keyword, label, 0, 255, "%2f\\%", value);
    f.shown = [](double v) { return 100 * v / 255; };
    f.relevant = only_for<bilateral>();
    return f;
}

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_amount<&P::amount>("amount"),
    field_choice<&P::kernel>("kernel", "Method:", method_words, unsharp),
    for_methods(field_integer<&P::radius>("radius", "Radius: ", 1, 100, "%d", 2), only_for<unsharp>()),
    for_methods(field_integer<&P::threshold>("threshold", "Threshold: ", 0, 255, "%d", 0),
                only_for<unsharp>()),
    for_methods(field_integer<&P::blur_radius>("blur_radius", "Blur Radius: ", 1, 50, "%d", 5),
                only_for<bilateral>()),
    percent<&P::blur_threshold>("blur_threshold", "Blur Threshold: ", 100),
    percent<&P::sharpen_threshold>("sharpen_threshold", "Sharpen Threshold: ", 20),
    for_methods(field_real<&P::factor>("factor", "Sharpen Factor: ", 0, 5, "%2f", 1.5),
                only_for<bilateral>()),
};

constexpr WorkflowLine<P> lines[] = {
    workflow_amount<&P::amount>(),
    workflow_value<&P::radius, &P::threshold, &P::kernel>("radius_threshold_kernal %d %d %d"),
    workflow_value<&P::blur_radius, &P::blur_threshold, &P::sharpen_threshold>(
        "bradius_bthreshold_sthreshold %d %d %d"),
    workflow_value<&P::factor>("sharpenamt %3f"),
};

constexpr const char* title = "Sharpen";

// ---------------------------------------------------------------------------
// Compute

// c pushed away from m at strength s (255 full), clamped.
int push(int c, int m, int s, bool full, int top) {
    const int v = full ? 2 * c - m : ((s + 255) * c - s * m) / 255;
    return std::clamp(v, 0, top);
}

// The strength at pixel i.
struct Strength {
    AmountStrength amount;
    int at(const std::uint8_t* mask, int i) const {
        return mask ? lerp8(amount.a, amount.b, mask[i]) : amount.a;
    }
    bool full(const std::uint8_t* mask) const { return !mask && amount.a == 255; }
};

// A line of results out: the strength is already inside them.
template <typename T>
void put_line(const ComputeArgs& args, const std::vector<std::int32_t>& result, std::uint8_t* out,
              std::vector<std::uint8_t>& scratch) {
    const int n = static_cast<int>(result.size());
    band_line_finish<T>(args, result.data(), nullptr, n, 1, AmountStrength{255, -1}, nullptr, out,
                        scratch);
}

template <typename T>
int kernel_run(const ComputeArgs& args, const P& p, const Image* input, const Strength& s,
               const Image* mask, int ch) {
    const int top = sizeof(T) == 1 ? 255 : 65535;
    const int n = args.line_width;
    return transform_line_bands(args, input, mask, title, [&](const BandLine& l) {
        const T* rows[3] = {reinterpret_cast<const T*>(l.rows[0]), reinterpret_cast<const T*>(l.rows[1]),
                            reinterpret_cast<const T*>(l.rows[2])};
        std::vector<std::int32_t> result(static_cast<std::size_t>(n) * ch);
        for (int i = 0; i < n; ++i) {
            const int strength = s.at(l.mask, i);
            for (int c = 0; c < ch; ++c) {
                const int at = i * l.stride + c;
                const int centre = rows[1][at + ch];
                const int four = rows[0][at + ch] + rows[2][at + ch] + rows[1][at] + rows[1][at + 2 * ch];
                int v;
                if (p.kernel == sharpen) {
                    v = push(centre, four >> 2, strength, s.full(l.mask), top);
                } else {
                    const int t = four + rows[0][at] + rows[0][at + 2 * ch] + rows[2][at] + rows[2][at + 2 * ch];
                    v = s.full(l.mask) ? std::clamp(3 * centre - (t >> 2), 0, top)
                                       : std::clamp(((2 * strength + 255) * centre - 2 * strength * (t >> 3)) / 255, 0, top);
                }
                result[static_cast<std::size_t>(i) * ch + c] = v;
            }
        }
        put_line<T>(args, result, l.out, l.scratch);
    }, 1);
}

template <typename T>
int unsharp_run(const ComputeArgs& args, const P& p, const Image* input, const Strength& s,
                const Image* mask, int ch) {
    const int top = sizeof(T) == 1 ? 255 : 65535;
    const int threshold = sizeof(T) == 1 ? p.threshold : to16[std::clamp(p.threshold, 0, 255)];
    const int n = args.line_width;
    return gaussian_bands(args, input, mask, p.radius, "Unsharp Mask", [&](const GaussianBandLine& l) {
        std::vector<std::int32_t> result(static_cast<std::size_t>(n) * ch);
        const T* c = reinterpret_cast<const T*>(l.centre);
        for (int i = 0; i < n; ++i)
            for (int k = 0; k < ch; ++k) {
                const std::size_t o = static_cast<std::size_t>(i) * ch + k;
                result[o] = std::abs(c[o] - l.blurred[o]) >= threshold
                                ? push(c[o], l.blurred[o], s.at(l.mask, i), s.full(l.mask), top)
                                : c[o];
            }
        put_line<T>(args, result, l.out, l.scratch);
    });
}

// The mean image of the last run, kept while its input and settings stand.
struct MeanCache {
    std::uint64_t input = 0;
    int width = 0, height = 0, type = 0, radius = -1, threshold = -1;
    ImageHolder image;
};
MeanCache cache;

template <typename T>
int bilateral_run(const ComputeArgs& args, const P& p, const Image* input, const Strength& s,
                  const Image* mask, int ch) {
    const int top = sizeof(T) == 1 ? 255 : 65535;
    const int blur_t = sizeof(T) == 1 ? p.blur_threshold : to16[std::clamp(p.blur_threshold, 0, 255)];
    const int sharp_t = sizeof(T) == 1 ? p.sharpen_threshold : to16[std::clamp(p.sharpen_threshold, 0, 255)];
    const std::uint64_t print = image_fingerprint(input);
    if (cache.input != print || cache.width != input->width || cache.height != input->height ||
        cache.type != input->type || cache.radius != p.blur_radius || cache.threshold != blur_t) {
        cache.radius = -1;
        if (int err = thresholded_mean_image(input, std::max(p.blur_radius, 0), blur_t,
                                             cache.image.get()))
            return err;
        cache.input = print;
        cache.width = input->width;
        cache.height = input->height;
        cache.type = input->type;
        cache.radius = p.blur_radius;
        cache.threshold = blur_t;
    }
    const Image* mean = cache.image.get();
    const int n = args.line_width;
    const int step = args.zoom < 0 ? -args.zoom : 1;
    return transform_for_bands(args, title, [&](int first, int count) {
        LineSource centre, means, mask_lines;
        LineSink sink;
        line_source_init(&centre);
        line_source_init(&means);
        line_source_init(&mask_lines);
        line_sink_init(&sink);
        const int y0 = args.source_y + first * step;
        int err = line_source_open(input, args.source_x, y0, args.zoom, n, &centre);
        if (!err) err = line_source_open(mean, args.source_x, y0, args.zoom, n, &means);
        if (!err && mask) err = line_source_open(mask, args.source_x, y0, args.zoom, n, &mask_lines);
        if (!err) err = band_sink_open(args, first, &sink);
        std::vector<std::int32_t> result(static_cast<std::size_t>(n) * ch);
        std::vector<std::uint8_t> scratch;
        for (int line = 0; !err && line < count; ++line) {
            const T* c = reinterpret_cast<const T*>(line_source_next(&centre));
            const T* m = reinterpret_cast<const T*>(line_source_next(&means));
            const std::uint8_t* mk = mask ? line_source_next(&mask_lines) : nullptr;
            thresholded_push_line(c, m, n, ch, sharp_t, p.factor, result.data());
            for (int i = 0; !s.full(mk) && i < n; ++i) {
                const int strength = s.at(mk, i);
                for (int k = i * ch; k < i * ch + ch; ++k)
                    result[k] = top == 255 ? lerp8(c[k], result[k], strength)
                                           : lerp16(c[k], result[k], strength);
            }
            put_line<T>(args, result, line_sink_line(&sink), scratch);
            line_sink_commit(&sink);
        }
        line_sink_close(&sink);
        line_source_close(&mask_lines);
        line_source_close(&means);
        line_source_close(&centre);
        return err;
    });
}

// The window whose first preview showed the input while the sharpened
// view was posted.
PreviewSeen first_preview;

int sharpen_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    const int type = input->type;
    if (!image_type_gray_or_colour(type)) return err_illegal_type;
    if (int code = 0; transform_preview_deferred(args, first_preview, code)) return code;
    const Image* mask = p.amount.amount_mask;
    const AmountStrength amount = amount_strength(p.amount.amount_low, mask ? p.amount.amount_high : -1);
    if (amount.none() || (p.kernel == unsharp && p.radius <= 0)) return transform_copy_input(args);
    if (args.whole_region()) {
        if (int err = image_alloc(args.output, tone_output_type(type, args.apply), args.width,
                                  args.height, input->resolution))
            return err;
    }
    const Strength s{amount};
    const Image* strength_mask = amount.masked() ? mask : nullptr;
    const int ch = type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
    const bool wide = type == image_type_gray16 || type == image_type_colour16;
    switch (p.kernel) {
        case sharpen:
        case heavy:
            return wide ? kernel_run<std::uint16_t>(args, p, input, s, strength_mask, ch)
                        : kernel_run<std::uint8_t>(args, p, input, s, strength_mask, ch);
        case bilateral:
            return wide ? bilateral_run<std::uint16_t>(args, p, input, s, strength_mask, ch)
                        : bilateral_run<std::uint8_t>(args, p, input, s, strength_mask, ch);
        default:
            return wide ? unsharp_run<std::uint16_t>(args, p, input, s, strength_mask, ch)
                        : unsharp_run<std::uint8_t>(args, p, input, s, strength_mask, ch);
    }
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor sharpen_transform;
constinit const TransformDescriptor sharpen_transform = transform_descriptor<P, fields, lines>({
    .title = title,
    .panel_number = 7,
    .panel_code = 7,
    .compute = sharpen_compute,
    .static_copy = &static_copy,
    .fresh = &fresh,
});
