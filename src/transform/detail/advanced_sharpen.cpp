// Advanced Sharpen: three stages, each a whole picture that the next reads:
// speck removal, a thresholded blur (optionally of the chroma only) and a
// thresholded sharpen (optionally of the value only), against the
// edge-keeping mean that Bilateral Sharpen uses. An amount of 0 switches a
// stage off, 100 is its full strength. The settings live in `.as` files.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/errors.h"
#include "core/progress.h"
#include "transform/detail_stages.h"
#include "transform/result_view.h"
#include "transform/tone.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct AdvancedSharpenParams {
    std::int32_t speck_size;  // n by n, 1 .. 15
    std::int32_t speck_thresh;
    std::int32_t speck_diff_thresh;
    std::int32_t remove_white;
    std::int32_t remove_black;
    double blur_radius;
    double blur_amount;  // percent
    std::int32_t blur_low, blur_high;
    std::int32_t blur_flags;  // 0 all, 1 chroma only
    double sharpen_radius;
    double sharpen_amount;  // percent
    std::int32_t sharpen_low, sharpen_high;
    std::int32_t sharpen_flags;  // 0 all, 1 luminance only
    std::int32_t hist_expand;
    std::int32_t view;  // the preview's; not kept in files
};

using P = AdvancedSharpenParams;

constexpr std::string_view size_words[] = {"1x1",   "2x2",   "3x3",   "4x4",   "5x5",
                                           "6x6",   "7x7",   "8x8",   "9x9",   "10x10",
                                           "11x11", "12x12", "13x13", "14x14", "15x15"};
constexpr std::string_view blur_words[] = {"Blur all", "Blur chrominance only"};
constexpr std::string_view sharpen_words[] = {"Sharpen all", "Sharpen luminance only"};
constexpr std::string_view expand_words[] = {"No Histogram Expansion", "Medium Histogram Expansion",
                                             "High Histogram Expansion"};
constexpr std::string_view view_words[] = {"Before", "After", "Difference"};

// 0..255 shown as a percentage.
template <auto Member>
constexpr TransformField percent(std::string_view keyword, std::string_view label, int value) {
    TransformField f = field_integer<Member>(keyword, label, 0, 255, "%1f\\%", value);
    f.shown = [](double v) { return 100 * v / 255; };
    return f;
}

// The size is kept as n and chosen from "1x1" .. "15x15".
constexpr TransformField size_field() {
    TransformField f = field_choice<&P::speck_size>("speckradius", "Speck Size:", size_words, 3);
    f.get = [](const void* p) {
        return static_cast<double>(static_cast<const P*>(p)->speck_size - 1);
    };
    f.set = [](void* p, double v) {
        static_cast<P*>(p)->speck_size = static_cast<int>(std::lround(v)) + 1;
    };
    f.default_value = 2;
    return f;
}

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_choice<&P::view>("view", "View:", view_words, result_after),
    field_choice<&P::hist_expand>("histexpand", "Histogram:", expand_words, 0),
    field_histogram<&P::hist_expand>("histogram", ""),
    field_page("Speck Removal"),
    size_field(),
    field_integer<&P::speck_thresh>("speckthresh", "Speck Threshold: ", 0, 255, "%d", 20),
    percent<&P::speck_diff_thresh>("speckdiffthresh", "Speck Difference Threshold: ", 153),
    field_check<&P::remove_white>("removewhitespecks", "Remove &White Specks", false),
    field_check<&P::remove_black>("removeblackspecks", "Remove Blac&k Specks", false),
    field_page("Noise Reduction"),
    field_real<&P::blur_radius>("blurradius", "Blur Radius: ", 1, 20, "%2f", 2),
    field_real<&P::blur_amount>("bluramt", "Blur Amount: ", 0, 100, "%1f\\%", 0),
    field_integer<&P::blur_low>("blurthresh_low", "Blur Threshold Low: ", 0, 255, "%d", 0),
    field_integer<&P::blur_high>("blurthresh_high", "Blur Threshold High: ", 0, 255, "%d", 20),
    field_choice<&P::blur_flags>("blurflags", "Blur:", blur_words, 0, image_types_colour),
    field_page("Sharpen"),
    field_real<&P::sharpen_radius>("sharpenradius", "Sharpen Radius: ", 1, 20, "%2f", 2),
    field_real<&P::sharpen_amount>("sharpenamt", "Sharpen Amount: ", 0, 100, "%1f\\%", 50),
    field_integer<&P::sharpen_low>("sharpenthresh_low", "Sharpen Threshold Low: ", 0, 255, "%d", 8),
    field_integer<&P::sharpen_high>("sharpenthresh_high", "Sharpen Threshold High: ", 0, 255, "%d",
                                    255),
    field_choice<&P::sharpen_flags>("sharpenflags", "Sharpen:", sharpen_words, 0,
                                    image_types_colour),
};

// The file's keywords, which are also the lines orvane-batch takes.
constexpr SettingsKeyword<P> keywords[] = {
    settings_value<&P::speck_size>("speckradius %d"),
    settings_value<&P::speck_thresh>("speckthresh %d"),
    settings_value<&P::speck_diff_thresh>("speckdiffthresh %d"),
    settings_value<&P::remove_white>("removewhitespecks %d"),
    settings_value<&P::remove_black>("removeblackspecks %d"),
    settings_value<&P::blur_radius>("blurradius %4f"),
    settings_value<&P::blur_amount>("bluramt %4f"),
    settings_value<&P::blur_low, &P::blur_high>("blurthresh %d %d"),
    settings_value<&P::blur_flags>("blurflags %d"),
    settings_value<&P::sharpen_radius>("sharpenradius %4f"),
    settings_value<&P::sharpen_amount>("sharpenamt %4f"),
    settings_value<&P::sharpen_low, &P::sharpen_high>("sharpenthresh %d %d"),
    settings_value<&P::sharpen_flags>("sharpenflags %d"),
    settings_value<&P::hist_expand>("histexpand %d"),
};

constexpr auto lines = [] {
    std::array<WorkflowLine<P>, std::size(keywords)> all{};
    for (std::size_t k = 0; k < all.size(); ++k)
        all[k].values = keywords[k];
    return all;
}();

constexpr SettingsFormat<P> settings_format{
    {"AdvancedSharpen 1.0", ".as", "Load Advanced Sharpen Settings",
     "Save Advanced Sharpen Settings", "Advanced Sharpen Files",
     "advanced sharpen files must have an extension of .as", 31},
    keywords};

constexpr const char* title = "Advanced Sharpen";

// ---------------------------------------------------------------------------
// Compute

int radius_of(double r) {
    return std::max(1, static_cast<int>(std::lround(r)));
}

bool speck_on(const P& p) {
    return p.remove_white || p.remove_black;
}

// The three stages, each on the last one's picture, into `result`.
int run_stages(const P& p, const Image* picture, Image* result) {
    const ProgressScope progress(title, std::int64_t{picture->width} * picture->height, 0, 3, true);
    ImageHolder specks, blurred;
    if (speck_on(p)) {
        SpeckSettings s;
        s.size = std::clamp(p.speck_size, 1, 15);
        s.flat = p.speck_thresh;
        s.difference = p.speck_diff_thresh;
        s.white = p.remove_white != 0;
        s.black = p.remove_black != 0;
        if (int err = speck_removal_image(picture, specks.get(), s)) return err;
        picture = specks.get();
    }
    if (int err = progress.step(1)) return err;
    if (p.blur_amount > 0) {
        ThresholdedStage s;
        s.radius = radius_of(p.blur_radius);
        s.low = p.blur_low;
        s.high = p.blur_high;
        s.factor = 1 - std::min(p.blur_amount, 100.0) / 100;
        s.part = p.blur_flags == 1 ? StagePart::chroma : StagePart::all;
        if (int err = thresholded_stage_image(picture, blurred.get(), s)) return err;
        picture = blurred.get();
    }
    if (int err = progress.step(2)) return err;
    if (p.sharpen_amount > 0) {
        ThresholdedStage s;
        s.radius = radius_of(p.sharpen_radius);
        s.low = p.sharpen_low;
        s.high = p.sharpen_high;
        s.factor = 1 + std::min(p.sharpen_amount, 100.0) / 100;
        s.part = p.sharpen_flags == 1 ? StagePart::value : StagePart::all;
        if (int err = thresholded_stage_image(picture, result, s)) return err;
    } else {
        image_move(picture == specks.get() ? specks.get() : blurred.get(), result);
    }
    return progress.step(3);
}

// The preview's stages, kept for changes of view.
ResultCache last_result;

int advanced_sharpen_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    const int type = input->type;
    if (!image_type_gray_or_colour(type)) return err_illegal_type;
    const bool blur = p.blur_amount > 0, sharpen = p.sharpen_amount > 0;
    if ((!speck_on(p) && !blur && !sharpen) || (!args.apply && p.view == result_before))
        return transform_copy_input(args);
    if (args.whole_region()) {
        if (int err = image_alloc(args.output, tone_output_type(type, args.apply), args.width,
                                  args.height, input->resolution))
            return err;
    }
    const int margin = (speck_on(p) ? p.speck_size + 2 : 0) +
                       (blur ? radius_of(p.blur_radius) : 0) +
                       (sharpen ? radius_of(p.sharpen_radius) : 0) + 1;
    ImageHolder part, computed;
    const Image* source = nullptr;
    int x0 = 0, y0 = 0;
    if (int err = result_source(args, input, margin, part, source, x0, y0)) return err;
    std::string key;
    for (const TransformField& f : fields)
        if (f.get && f.keyword != "view" && f.keyword != "histexpand" && f.keyword != "histogram")
            key += std::to_string(f.get(&p)) + ' ';
    Image* result = args.apply ? computed.get() : last_result.image.get();
    if (args.apply || !last_result.holds(source, x0, y0, key)) {
        if (int err = run_stages(p, source, result)) return err;
        if (!args.apply) last_result.keep(source, x0, y0, key);
    }
    return result_put_lines(args, input, result, x0, y0, p.view, AmountStrength{255, -1}, nullptr,
                            false, title);
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor advanced_sharpen_transform;
constinit const TransformDescriptor advanced_sharpen_transform =
    transform_descriptor<P, fields, lines, &settings_format>({
        .title = title,
        .panel_number = 82,
        .panel_code = 82,
        .compute = advanced_sharpen_compute,
        .settings_previous = true,
        .static_copy = &static_copy,
        .fresh = &fresh,
    });
