// Noise Reduction: the wavelet shrinkage of wavelet.h on each channel, with
// its sharpening term, blended back by amount and mask. A preview computes
// the visible part with a margin the transform's reach wide, at full
// resolution, and shows it at the window's zoom as it is ("After"), the
// input ("Before"), or their difference around mid-grey ("Difference").
#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "core/progress.h"
#include "core/tables.h"
#include "transform/line_bands.h"
#include "transform/tone.h"
#include "transform/transform.h"
#include "transform/wavelet.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct NoiseReductionParams {
    AmountSettings amount;
    std::int32_t threshold;  // t as the transform takes it; the slider shows (t + 4) >> 3
    std::int32_t levels;     // index: levels + 1 levels
    std::int32_t method;     // 0 soft, 1 hard
    double sharpen;          // 0 .. 3
    std::int32_t view;       // the preview's view; not kept in workflows
};

using P = NoiseReductionParams;

enum View { before = 0, after = 1, difference = 2 };

constexpr std::string_view level_words[] = {"Level 1", "Level 2", "Level 3", "Level 4",
                                            "Level 5", "Level 6", "Level 7", "Level 8"};
constexpr std::string_view method_words[] = {"Soft Threshold", "Hard Threshold"};
constexpr std::string_view view_words[] = {"Before", "After", "Difference"};

// The slider runs 0 .. 1024 in steps of 8 of the stored value.
constexpr TransformField threshold_field() {
    TransformField f = field_integer<&P::threshold>("threshold", "Threshold: ", 0, 8192, "%1f\\%", 0);
    f.shown = [](double v) { return std::clamp((static_cast<int>(v) + 4) >> 3, 0, 1024) * 100.0 / 1024; };
    return f;
}

constexpr TransformField sharpen_field() {
    TransformField f = field_real<&P::sharpen>("sharpen", "Sharpening: ", 0, 3, "%1f\\%", 0);
    f.shown = [](double v) { return v * 100 / 3; };
    return f;
}

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_amount<&P::amount>("amount"),
    field_choice<&P::view>("view", "View:", view_words, after),
    threshold_field(),
    field_choice<&P::levels>("levels", "Levels:", level_words, 1),
    field_choice<&P::method>("method", "Method:", method_words, 0),
    sharpen_field(),
};

constexpr WorkflowLine<P> lines[] = {
    workflow_amount<&P::amount>(),
    workflow_value<&P::threshold, &P::levels>("thresh_levels %d %d"),
    workflow_value<&P::method, &P::sharpen>("method_sharpen %d %3f"),
};

constexpr const char* title = "Noise Reduction";

// ---------------------------------------------------------------------------
// Compute

WaveletSettings settings_of(const P& p) {
    WaveletSettings s;
    s.threshold = p.threshold;
    s.levels = std::clamp(p.levels, 0, wavelet_levels_max - 1) + 1;
    s.hard = p.method == 1;
    s.sharpen = p.sharpen;
    return s;
}

// The part of `input` from x0, y0 of w by h pixels, copied.
int crop(const Image* input, int x0, int y0, int w, int h, Image* out) {
    if (int err = image_alloc(out, input->type, w, h, input->resolution)) return err;
    const int bytes = image_line_bytes(out);
    const int offset = image_line_bytes(input) / input->width * x0;
    for (int y = 0; y < h; ++y)
        std::copy_n(input->rows[y0 + y] + offset, bytes, out->rows[y]);
    return 0;
}

// Puts the denoised lines out: blended by amount and mask (at 16 bits by
// ((255 - s) in + s out + 127) >> 8), or as the preview's view asks.
template <typename T>
int put_lines(const ComputeArgs& args, const P& p, const Image* input, const Image* result,
              int result_x, int result_y, const AmountStrength& strength, const Image* mask,
              int ch) {
    const int n = args.line_width;
    const int step = args.zoom < 0 ? -args.zoom : 1;
    const bool sixteen_out = sizeof(T) == 2 && args.apply;
    const int view = args.apply ? after : p.view;
    return transform_for_bands(args, title, [&](int first, int count) {
        LineSource centre, denoised, mask_lines;
        LineSink sink;
        line_source_init(&centre);
        line_source_init(&denoised);
        line_source_init(&mask_lines);
        line_sink_init(&sink);
        const int y0 = args.source_y + first * step;
        int err = line_source_open(input, args.source_x, y0, args.zoom, n, &centre);
        if (!err)
            err = line_source_open(result, args.source_x - result_x, y0 - result_y, args.zoom, n,
                                   &denoised);
        if (!err && mask) err = line_source_open(mask, args.source_x, y0, args.zoom, n, &mask_lines);
        if (!err) err = band_sink_open(args, first, &sink);
        std::vector<std::int32_t> values(static_cast<std::size_t>(n) * ch);
        std::vector<std::uint8_t> scratch;
        for (int line = 0; !err && line < count; ++line) {
            const T* c = reinterpret_cast<const T*>(line_source_next(&centre));
            const T* d = reinterpret_cast<const T*>(line_source_next(&denoised));
            const std::uint8_t* m = mask ? line_source_next(&mask_lines) : nullptr;
            std::uint8_t* out = line_sink_line(&sink);
            if (view == difference) {
                for (int i = 0; i < n * ch; ++i) {
                    const int a = sizeof(T) == 1 ? d[i] : to8[d[i]];
                    const int b = sizeof(T) == 1 ? c[i] : to8[c[i]];
                    out[i] = static_cast<std::uint8_t>(clamp8(128 + 4 * (a - b)));
                }
            } else if (sixteen_out && !strength.full()) {
                T* o = reinterpret_cast<T*>(out);
                for (int i = 0; i < n; ++i) {
                    const int s = m && strength.masked() ? lerp8(strength.a, strength.b, m[i]) : strength.a;
                    for (int k = i * ch; k < i * ch + ch; ++k)
                        o[k] = static_cast<T>(((255 - s) * c[k] + s * d[k] + 127) >> 8);
                }
            } else {
                for (int i = 0; i < n * ch; ++i)
                    values[i] = view == before ? c[i] : d[i];
                band_line_finish<T>(args, values.data(), c, n, ch,
                                    view == before ? AmountStrength{255, -1} : strength,
                                    strength.masked() ? m : nullptr, out, scratch);
            }
            line_sink_commit(&sink);
        }
        line_sink_close(&sink);
        line_source_close(&mask_lines);
        line_source_close(&denoised);
        line_source_close(&centre);
        return err;
    });
}

int noise_reduction_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    const int type = input->type;
    if (type != image_type_gray8 && type != image_type_colour8 && type != image_type_gray16 &&
        type != image_type_colour16)
        return err_illegal_type;
    const Image* mask = p.amount.amount_mask;
    const AmountStrength strength = amount_strength(p.amount.amount_low, mask ? p.amount.amount_high : -1);
    const WaveletSettings settings = settings_of(p);
    if (strength.none() || wavelet_copies(settings, input->width, input->height) ||
        (!args.apply && p.view == before))
        return transform_copy_input(args);
    if (args.whole_region()) {
        if (int err = image_alloc(args.output, tone_output_type(type, args.apply), args.width,
                                  args.height, input->resolution))
            return err;
    }

    // The input the visible part needs, with the transform's reach around it.
    const int step = args.zoom < 0 ? -args.zoom : 1;
    const int margin = args.apply ? 0 : 1 << wavelet_level_count(settings.levels, input->width, input->height);
    const int x0 = std::max(0, args.source_x - margin);
    const int y0 = std::max(0, args.source_y - margin);
    const int x1 = std::min(input->width, args.source_x + args.line_width * step + margin);
    const int y1 = std::min(input->height, args.source_y + args.line_count * step + margin);
    ImageHolder part, result;
    const Image* source = input;
    if (x0 > 0 || y0 > 0 || x1 < input->width || y1 < input->height) {
        if (int err = crop(input, x0, y0, x1 - x0, y1 - y0, part.get())) return err;
        source = part.get();
    }
    {
        const ProgressScope progress(title, std::int64_t{source->width} * source->height, 0, 1000, true);
        const int err = wavelet_denoise_image(source, result.get(), settings,
                                              [&](std::int64_t done, std::int64_t total) {
                                                  return progress.step(done * 1000 / total);
                                              });
        if (err) return err;
    }
    const Image* strength_mask = strength.masked() ? mask : nullptr;
    const int ch = type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
    return type == image_type_gray16 || type == image_type_colour16
               ? put_lines<std::uint16_t>(args, p, input, result.get(), x0, y0, strength, strength_mask, ch)
               : put_lines<std::uint8_t>(args, p, input, result.get(), x0, y0, strength, strength_mask, ch);
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor noise_reduction_transform;
constinit const TransformDescriptor noise_reduction_transform = transform_descriptor<P, fields, lines>({
    .title = title,
    .panel_number = 107,
    .panel_code = 107,
    .compute = noise_reduction_compute,
    .static_copy = &static_copy,
    .fresh = &fresh,
});
