// Color Curves: three tone curves, one for each component of a colour space:
// red, green and blue in "RGB", hue, saturation and value or lightness in
// "HSV" and "HSL". The panel shows one curve at a time. The result is blended
// back by amount and mask.
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "transform/curves.h"
#include "transform/settings.h"
#include "transform/tone.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct ColorCurvesParams {
    AmountSettings amount;
    std::int32_t colorspace;  // ToneSpace
    std::int32_t component;   // the curve the panel shows, 0..2
    Curve curve[3];
};

using P = ColorCurvesParams;

constexpr std::string_view component_words[] = {"Red or Hue", "Green or Saturation",
                                                 "Blue or Value/Lightness"};

constexpr TransformField fields[] = {
    field_input("Input Image:", image_types_colour),
    field_amount<&P::amount>("amount"),
    field_choice<&P::colorspace>("colorspace", "Color Space:", tone_space_words, tone_rgb),
    field_choice<&P::component>("component", "Component:", component_words, 0),
    field_curve<P>(
        "curve",
        [](void* p) {
            P& b = *static_cast<P*>(p);
            return &b.curve[b.component >= 0 && b.component < 3 ? b.component : 0];
        },
        [](const void* p) {
            const P& b = *static_cast<const P*>(p);
            return tone_reading(b.colorspace, b.component);
        },
        [](void* p) {
            for (Curve& c : static_cast<P*>(p)->curve)
                curve_reset(c);
        }),
};

// Curve k's workflow lines: "   curvek %d %d %d" (points, style, histogram),
// then xk_curve and yk_curve as int arrays.
template <int K>
constexpr std::array<WorkflowLine<P>, 3> curve_lines() {
    constexpr std::string_view names[3][3] = {{"curve1 %d %d %d", "x1_curve", "y1_curve"},
                                              {"curve2 %d %d %d", "x2_curve", "y2_curve"},
                                              {"curve3 %d %d %d", "x3_curve", "y3_curve"}};
    WorkflowLine<P> head;
    head.values.format = names[K][0];
    head.values.put = [](const P& p, int, SettingsArgs& args) {
        args = {p.curve[K].npts, p.curve[K].style, p.curve[K].histexpand};
    };
    head.values.get = [](P& p, int, const SettingsValues& v) {
        p.curve[K].npts = v.integer(0);
        p.curve[K].style = v.integer(1);
        p.curve[K].histexpand = v.integer(2);
    };
    auto count = [](const P& p) { return static_cast<int>(p.curve[K].npts); };
    auto set_count = [](P& p, int n) { p.curve[K].npts = n; };
    return {head,
            workflow_int_array<P>(names[K][1], count, [](P& p) { return p.curve[K].x; },
                                  curve_points_max, set_count),
            workflow_int_array<P>(names[K][2], count, [](P& p) { return p.curve[K].y; },
                                  curve_points_max, set_count)};
}

constexpr auto lines = [] {
    std::array<WorkflowLine<P>, 11> all{};
    all[0] = workflow_amount<&P::amount>();
    all[1] = workflow_value<&P::colorspace, &P::component>("colorspace_component %d %d");
    const auto c1 = curve_lines<0>(), c2 = curve_lines<1>(), c3 = curve_lines<2>();
    for (int i = 0; i < 3; ++i) {
        all[2 + i] = c1[i];
        all[5 + i] = c2[i];
        all[8 + i] = c3[i];
    }
    return all;
}();

// The `.cc` file: "colorspace %d", "component %d", then per curve k
// "nptsk %d", "stylek %s", "histexpandk %d" and "pointk %d %d %d" lines.
template <int K>
constexpr std::array<SettingsKeyword<P>, 4> curve_keywords() {
    constexpr std::string_view names[3][4] = {
        {"npts1 %d", "style1 %s", "histexpand1 %d", "point1 %d %d %d"},
        {"npts2 %d", "style2 %s", "histexpand2 %d", "point2 %d %d %d"},
        {"npts3 %d", "style3 %s", "histexpand3 %d", "point3 %d %d %d"}};
    SettingsKeyword<P> npts{names[K][0]};
    npts.line = SettingsLine::count;
    npts.put = [](const P& p, int, SettingsArgs& args) { args = {p.curve[K].npts}; };
    npts.get = [](P& p, int, const SettingsValues& v) { p.curve[K].npts = v.integer(0); };
    SettingsKeyword<P> style{names[K][1]};
    style.put = [](const P& p, int, SettingsArgs& args) {
        const int s = p.curve[K].style;
        args = {curve_style_words[s >= 0 && s < 4 ? s : curve_spline]};
    };
    style.get = [](P& p, int, const SettingsValues& v) {
        const int s = v.word(0, curve_style_words);
        if (s >= 0) p.curve[K].style = s;
    };
    SettingsKeyword<P> hist{names[K][2]};
    hist.put = [](const P& p, int, SettingsArgs& args) { args = {p.curve[K].histexpand}; };
    hist.get = [](P& p, int, const SettingsValues& v) { p.curve[K].histexpand = v.integer(0); };
    SettingsKeyword<P> point{names[K][3]};
    point.line = SettingsLine::repeated;
    point.capacity = curve_points_max;
    point.lines = [](const P& p) { return static_cast<int>(p.curve[K].npts); };
    point.put = [](const P& p, int i, SettingsArgs& args) {
        args.emplace_back(p.curve[K].x[i]);
        args.emplace_back(p.curve[K].y[i]);
    };
    point.get = [](P& p, int i, const SettingsValues& v) {
        p.curve[K].x[i] = v.integer(0);
        p.curve[K].y[i] = v.integer(1);
    };
    return {npts, style, hist, point};
}

constexpr auto keywords = [] {
    std::array<SettingsKeyword<P>, 14> all{};
    all[0] = settings_value<&P::colorspace>("colorspace %d");
    all[1] = settings_value<&P::component>("component %d");
    const auto k1 = curve_keywords<0>(), k2 = curve_keywords<1>(), k3 = curve_keywords<2>();
    for (int i = 0; i < 4; ++i) {
        all[2 + i] = k1[i];
        all[6 + i] = k2[i];
        all[10 + i] = k3[i];
    }
    return all;
}();

constexpr SettingsFormat<P> settings_format{
    {"ColorCurves 1.0", ".cc", "Load Color Curves", "Save Color Curves", "Color Curves Files",
     "color curves files must have an extension of .cc", 42},
    keywords};

constexpr const char* title = "Color Curves";

// ---------------------------------------------------------------------------
// Compute

int color_curves_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input || !tone_output_type(input->type, args.apply)) return err_illegal_type;
    for (const Curve& c : p.curve)
        if (c.npts < 2 || c.npts > curve_points_max) return err_illegal_type;

    std::uint8_t t8[3][256];
    std::vector<std::uint16_t> t16(3 * 65536);
    ToneTables set;
    bool identity = true;
    for (int k = 0; k < 3; ++k) {
        identity = curve_tables(p.curve[k], t8[k], t16.data() + k * 65536) && identity;
        set.t8[k] = t8[k];
        set.t16[k] = t16.data() + k * 65536;
    }
    const Image* mask = p.amount.amount_mask;
    const AmountStrength strength =
        amount_strength(p.amount.amount_low, mask ? p.amount.amount_high : -1);
    if (strength.none() || identity) return transform_copy_input(args);

    ToneJob job;
    job.title = title;
    job.space = p.colorspace;
    job.per_component = true;
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

extern const TransformDescriptor color_curves_transform;
constinit const TransformDescriptor color_curves_transform =
    transform_descriptor<P, fields, lines, &settings_format>({
        .title = title,
        .panel_number = 28,
        .panel_code = 28,
        .compute = color_curves_compute,
        .line_local = line_local_unmasked<P>,
        .static_copy = &static_copy,
        .fresh = &fresh,
    });
