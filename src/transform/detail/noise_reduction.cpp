// Noise Reduction: the wavelet shrinkage of wavelet.h on each channel, with
// its sharpening term, blended back by amount and mask. A preview computes
// the visible part with a margin the transform's reach wide, at full
// resolution, and shows it at the window's zoom as it is ("After"), the
// input ("Before"), or their difference around mid-grey ("Difference").
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "core/progress.h"
#include "core/tables.h"
#include "transform/result_view.h"
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

constexpr std::string_view level_words[] = {"Level 1", "Level 2", "Level 3", "Level 4",
                                            "Level 5", "Level 6", "Level 7", "Level 8"};
constexpr std::string_view method_words[] = {"Soft Threshold", "Hard Threshold"};
constexpr std::string_view view_words[] = {"Before", "After", "Difference"};

// The slider runs 0 .. 1024, a step of it 8 of the stored value.
constexpr TransformField threshold_field() {
    TransformField f =
        field_integer<&P::threshold>("threshold", "Threshold: ", 0, 1024, "%1f\\%", 0);
    f.get = [](const void* p) {
        return static_cast<double>(
            std::clamp((static_cast<const P*>(p)->threshold + 4) >> 3, 0, 1024));
    };
    f.set = [](void* p, double v) {
        static_cast<P*>(p)->threshold = 8 * static_cast<int>(std::lround(v));
    };
    f.shown = [](double v) { return v * 100 / 1024; };
    f.stored = [](double v) { return 8 * v; };
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
    field_choice<&P::view>("view", "View:", view_words, result_after),
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

// The preview's wavelet, kept for changes of view and amount.
ResultCache last_result;

int noise_reduction_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    const int type = input->type;
    if (!image_type_gray_or_colour(type)) return err_illegal_type;
    const Image* mask = p.amount.amount_mask;
    const AmountStrength strength =
        amount_strength(p.amount.amount_low, mask ? p.amount.amount_high : -1);
    const WaveletSettings settings = settings_of(p);
    if (strength.none() || wavelet_copies(settings, input->width, input->height) ||
        (!args.apply && p.view == result_before))
        return transform_copy_input(args);
    if (args.whole_region()) {
        if (int err = image_alloc(args.output, tone_output_type(type, args.apply), args.width,
                                  args.height, input->resolution))
            return err;
    }

    const auto step = [](const ProgressScope& progress) {
        return [&progress](std::int64_t done, std::int64_t total) {
            return progress.step(done * 1000 / total);
        };
    };
    if (args.apply && args.whole_region() && strength.full()) {
        // Straight into the result.
        const ProgressScope progress(title, std::int64_t{input->width} * input->height, 0, 1000,
                                     true);
        return wavelet_denoise_image(input, args.output, settings, step(progress));
    }
    // The input the visible part needs, with the transform's reach around it.
    const int margin = 1 << wavelet_level_count(settings.levels, input->width, input->height);
    ImageHolder part;
    const Image* source = nullptr;
    int x0 = 0, y0 = 0;
    if (int err = result_source(args, input, margin, part, source, x0, y0)) return err;
    const std::string key = std::to_string(settings.threshold) + ' ' +
                            std::to_string(settings.levels) + ' ' + std::to_string(settings.hard) +
                            ' ' + std::to_string(settings.sharpen);
    ImageHolder computed;  // at apply: never kept
    Image* result = args.apply ? computed.get() : last_result.image.get();
    if (args.apply || !last_result.holds(source, x0, y0, key)) {
        const ProgressScope progress(title, std::int64_t{source->width} * source->height, 0, 1000,
                                     true);
        if (int err = wavelet_denoise_image(source, result, settings, step(progress))) return err;
        if (!args.apply) last_result.keep(source, x0, y0, key);
    }
    return result_put_lines(args, input, result, x0, y0, p.view, strength,
                            strength.masked() ? mask : nullptr, true, title);
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor noise_reduction_transform;
constinit const TransformDescriptor noise_reduction_transform =
    transform_descriptor<P, fields, lines>({
        .title = title,
        .panel_number = 107,
        .panel_code = 107,
        .compute = noise_reduction_compute,
        .static_copy = &static_copy,
        .fresh = &fresh,
    });
