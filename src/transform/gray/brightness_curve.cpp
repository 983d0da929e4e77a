// Brightness Curve: a free tone curve through the table engine. Grey images
// take the table directly; for colour the `Color Space:` choice puts V, L or
// every sample through it. The result is blended back by amount and mask.
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "core/tables.h"
#include "transform/curves.h"
#include "transform/tone.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct BrightnessCurveParams {
    AmountSettings amount;
    Curve curve;
    std::int32_t clr;  // ToneSpace
};

using P = BrightnessCurveParams;

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_amount<&P::amount>("amount"),
    field_curve<P>(
        "curve", [](void* p) { return &static_cast<P*>(p)->curve; },
        [](const void* p) { return tone_reading(static_cast<const P*>(p)->clr); },
        [](void* p) { curve_reset(static_cast<P*>(p)->curve); }),
    field_choice<&P::clr>("clr", "Color Space:", tone_space_words, tone_hsv, image_types_colour),
};

// "   n_style_hist_clr %d %d %d %d", then the points as int arrays.
constexpr SettingsKeyword<P> curve_line() {
    SettingsKeyword<P> row{"n_style_hist_clr %d %d %d %d"};
    row.put = [](const P& p, int, SettingsArgs& args) {
        args = {p.curve.npts, p.curve.style, p.curve.histexpand, p.clr};
    };
    row.get = [](P& p, int, const SettingsValues& v) {
        p.curve.npts = v.integer(0);
        p.curve.style = v.integer(1);
        p.curve.histexpand = v.integer(2);
        p.clr = v.integer(3);
    };
    return row;
}

constexpr WorkflowLine<P> lines[] = {
    workflow_amount<&P::amount>(),
    {curve_line()},
    workflow_int_array<P>(
        "x_curve", [](const P& p) { return static_cast<int>(p.curve.npts); },
        [](P& p) { return p.curve.x; }, curve_points_max,
        [](P& p, int n) { p.curve.npts = n; }),
    workflow_int_array<P>(
        "y_curve", [](const P& p) { return static_cast<int>(p.curve.npts); },
        [](P& p) { return p.curve.y; }, curve_points_max,
        [](P& p, int n) { p.curve.npts = n; }),
};

constexpr const char* title = "Brightness Curve";

// ---------------------------------------------------------------------------
// Compute

int brightness_curve_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input || !tone_output_type(input->type, args.apply)) return err_illegal_type;
    if (p.curve.npts < 2 || p.curve.npts > curve_points_max) return err_illegal_type;

    std::uint8_t t8[256];
    std::vector<std::uint16_t> t16(65536);
    const bool identity = curve_tables(p.curve, t8, t16.data());
    const Image* mask = p.amount.amount_mask;
    const AmountStrength strength =
        amount_strength(p.amount.amount_low, mask ? p.amount.amount_high : -1);
    if (strength.none() || identity) return transform_copy_input(args);

    ToneTables set;
    set.t8[0] = t8;
    set.t16[0] = t16.data();
    ToneJob job;
    job.title = title;
    job.space = p.clr;
    job.sets = {&set, 1};
    job.strength = strength;
    job.mask = mask;
    return tone_compute(args, job);
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor brightness_curve_transform;
constinit const TransformDescriptor brightness_curve_transform =
    transform_descriptor<P, fields, lines>({
        .title = title,
        .panel_number = 4,
        .panel_code = 4,
        .compute = brightness_curve_compute,
        .line_local = line_local_unmasked<P>,
        .static_copy = &static_copy,
        .fresh = &fresh,
    });
