// Blur: six methods. "Blur" and "Blur More" average a pixel with its four or
// eight neighbours, "Gaussian" is the program's double box on both axes,
// "High Pass" keeps what that blur takes away around mid-grey, and the two
// medians take the middle value of 3 by 3 or 5 by 5 pixels. A threshold
// below 255 keeps edges: neighbours or results too far from the pixel are
// left out. The result is blended back by amount and mask.
#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "core/tables.h"
#include "transform/box_filter.h"
#include "transform/line_bands.h"
#include "transform/tone.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct BlurParams {
    AmountSettings amount;
    std::int32_t radius;     // "Gaussian" and "High Pass"
    std::int32_t threshold;  // 0..255; 255 is off
    std::int32_t kernel;
};

using P = BlurParams;

enum Method { blur = 0, blur_more = 1, gaussian = 2, high_pass = 3, median3 = 4, median5 = 5 };
constexpr std::string_view method_words[] = {"Blur",      "Blur More",  "Gaussian",
                                             "High Pass", "Median 3x3", "Median 5x5"};

// The radius serves "Gaussian" and "High Pass" only, and shows only for them.
constexpr TransformField radius_field() {
    TransformField f = field_integer<&P::radius>("radius", "Radius: ", 1, 100, "%d", 3);
    f.relevant = [](const void* p) {
        const int k = static_cast<const P*>(p)->kernel;
        return k == gaussian || k == high_pass;
    };
    return f;
}

// The threshold is kept 0..255 and shown as a percentage.
constexpr TransformField threshold_field() {
    TransformField f =
        field_integer<&P::threshold>("threshold", "Threshold: ", 0, 255, "%1f\\%", 255);
    f.shown = [](double v) { return v / 2.55; };
    return f;
}

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_amount<&P::amount>("amount"),
    field_choice<&P::kernel>("kernel", "Method:", method_words, blur),
    radius_field(),
    threshold_field(),
};

constexpr WorkflowLine<P> lines[] = {
    workflow_amount<&P::amount>(),
    workflow_value<&P::radius, &P::threshold, &P::kernel>("rad_thresh_kernal %d %d %d"),
};

constexpr const char* title = "Blur";

// ---------------------------------------------------------------------------
// The methods, on samples of one depth (top 255 or 65535)

// The edge-keeping rule of "Gaussian", "High Pass" and the threshold:
// near results stand, far ones give the pixel back, and in between a blend.
int keep_edges(int c, int result, int blurred, int t, int top) {
    if (t >= 255) return result;
    const int scaled = top == 255 ? t : t * 257;
    const int d = std::abs(c - blurred);
    if (d <= scaled) return result;
    if (d > 2 * scaled) return c;
    const int w = 255 - (2 * scaled - d) * 255 / scaled;
    return top == 255 ? lerp8(result, c, w) : lerp16(result, c, w);
}

// "Blur" (4 neighbours) and "Blur More" (8), with the threshold.
template <typename T>
int neighbours_mean(const T* const* rows, int at, int ch, bool eight, int t, int top) {
    const int c = rows[1][at + ch];
    const int n[8] = {rows[0][at + ch], rows[2][at + ch], rows[1][at], rows[1][at + 2 * ch],
                      rows[0][at],      rows[0][at + 2 * ch], rows[2][at], rows[2][at + 2 * ch]};
    const int count_all = eight ? 8 : 4;
    if (t >= 255) {
        int sum = c;
        for (int k = 0; k < count_all; ++k)
            sum += n[k];
        return sum / (count_all + 1);
    }
    const int scaled = top == 255 ? t : t * 257;
    int sum = c, count = 1;
    for (int k = 0; k < count_all; ++k)
        if (std::abs(c - n[k]) < scaled) {
            sum += n[k];
            ++count;
        }
    return (sum + count / 2) / count;
}

int middle_of(int a, int b, int c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// The exact median of the (2r + 1)² samples around a pixel, kept only when
// within the threshold of the pixel. For 3 by 3: each column sorted, then
// the greatest of the lows, the median of the middles and the least of the
// highs, whose median is the median of all nine.
template <typename T>
int median(const T* const* rows, int at, int ch, int r, int t, int top) {
    int m;
    if (r == 1) {
        int lo = 0, hi = top + 1, mids[3];
        for (int x = 0; x < 3; ++x) {
            const int a = rows[0][at + x * ch], b = rows[1][at + x * ch], c = rows[2][at + x * ch];
            lo = std::max(lo, std::min({a, b, c}));
            hi = std::min(hi, std::max({a, b, c}));
            mids[x] = middle_of(a, b, c);
        }
        m = middle_of(lo, middle_of(mids[0], mids[1], mids[2]), hi);
    } else {
        int window[25];
        int k = 0;
        for (int y = 0; y <= 2 * r; ++y)
            for (int x = 0; x <= 2 * r; ++x)
                window[k++] = rows[y][at + x * ch];
        std::nth_element(window, window + k / 2, window + k);
        m = window[k / 2];
    }
    const int c = rows[r][at + r * ch];
    if (t >= 255) return m;
    const int scaled = top == 255 ? t : t * 257;
    return std::abs(c - m) <= scaled ? m : c;
}

// ---------------------------------------------------------------------------
// Compute

bool wide_type(int type) {
    return type == image_type_gray16 || type == image_type_colour16;
}

template <typename T>
int gaussian_run(const ComputeArgs& args, const P& p, const Image* input, const AmountStrength& s,
                 const Image* mask, int samples) {
    const int top = sizeof(T) == 1 ? 255 : 65535;
    const int n = args.line_width;
    return gaussian_bands(args, input, mask, p.radius,
                          p.kernel == high_pass ? "High Pass" : "Gaussian Blur",
                          [&](const GaussianBandLine& l) {
        std::vector<std::int32_t> out(static_cast<std::size_t>(n) * samples);
        const T* c = reinterpret_cast<const T*>(l.centre);
        for (int i = 0; i < n * samples; ++i) {
            const int h = p.kernel == high_pass
                              ? std::clamp(c[i] - l.blurred[i] + (top + 1) / 2, 0, top)
                              : l.blurred[i];
            out[i] = keep_edges(c[i], h, l.blurred[i], p.threshold, top);
        }
        band_line_finish<T>(args, out.data(), c, n, samples, s, l.mask, l.out, l.scratch);
    });
}

template <typename T>
int neighbourhood_run(const ComputeArgs& args, const P& p, const Image* input,
                      const AmountStrength& s, const Image* mask, int samples) {
    const int top = sizeof(T) == 1 ? 255 : 65535;
    const int r = p.kernel == median5 ? 2 : 1;
    const int n = args.line_width;
    return transform_line_bands(args, input, mask, title, [&](const BandLine& l) {
        const T* rows[5];
        for (int k = 0; k <= 2 * r; ++k)
            rows[k] = reinterpret_cast<const T*>(l.rows[k]);
        std::vector<std::int32_t> result(static_cast<std::size_t>(n) * samples);
        std::vector<T> centre(static_cast<std::size_t>(n) * samples);
        for (int i = 0; i < n; ++i)
            for (int c = 0; c < samples; ++c) {
                const int at = i * l.stride + c;  // the window's first sample of channel c
                const std::size_t o = static_cast<std::size_t>(i) * samples + c;
                centre[o] = rows[r][at + r * samples];
                result[o] = p.kernel == blur || p.kernel == blur_more
                                ? neighbours_mean(rows, at, samples, p.kernel == blur_more,
                                                  p.threshold, top)
                                : median(rows, at, samples, r, p.threshold, top);
            }
        band_line_finish<T>(args, result.data(), centre.data(), n, samples, s, l.mask, l.out, l.scratch);
    }, r);
}

int blur_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    const int out_type = tone_output_type(input->type, args.apply);
    if (!out_type) return err_illegal_type;
    const Image* mask = p.amount.amount_mask;
    const AmountStrength strength =
        amount_strength(p.amount.amount_low, mask ? p.amount.amount_high : -1);
    const bool radial = p.kernel == gaussian || p.kernel == high_pass;
    if (strength.none() || (radial && p.radius <= 0)) return transform_copy_input(args);
    if (args.whole_region()) {
        if (int err = image_alloc(args.output, out_type, args.width, args.height, input->resolution))
            return err;
    }
    const int samples =
        input->type == image_type_colour8 || input->type == image_type_colour16 ? 3 : 1;
    const Image* blend_mask = strength.masked() ? mask : nullptr;
    if (wide_type(input->type))
        return radial ? gaussian_run<std::uint16_t>(args, p, input, strength, blend_mask, samples)
                      : neighbourhood_run<std::uint16_t>(args, p, input, strength, blend_mask, samples);
    return radial ? gaussian_run<std::uint8_t>(args, p, input, strength, blend_mask, samples)
                  : neighbourhood_run<std::uint8_t>(args, p, input, strength, blend_mask, samples);
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor blur_transform;
constinit const TransformDescriptor blur_transform = transform_descriptor<P, fields, lines>({
    .title = title,
    .panel_number = 8,
    .panel_code = 8,
    .compute = blur_compute,
    .static_copy = &static_copy,
    .fresh = &fresh,
});
