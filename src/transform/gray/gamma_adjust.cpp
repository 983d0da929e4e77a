// Gamma Adjust: a power law on every sample, out = in^factor on the 0..1
// scale. The slider runs exponentially, so its middle is no change and its
// ends are 1/e and e.
#include <cmath>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "transform/tone.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct GammaAdjustParams {
    double factor;
    std::int32_t input_gamma;  // index of gamma_words; only for the caption
};

using P = GammaAdjustParams;

constexpr std::string_view gamma_words[] = {"1.00", "1.40", "1.80", "2.22"};

// Slider position v (0..1024) and factor: factor = exp(v/512 - 1).
double factor_of(double v) {
    return std::exp(v / 512 - 1);
}

constexpr TransformField factor_field() {
    TransformField f;
    f.keyword = "factor";
    f.label = "Gamma factor: ";
    f.kind = ControlKind::integer_slider;
    f.minimum = 0;
    f.maximum = 1024;
    f.format = "%2f";
    f.default_value = 512;
    f.get = [](const void* p) {
        return 512 * (std::log(static_cast<const P*>(p)->factor) + 1);
    };
    f.set = [](void* p, double v) { static_cast<P*>(p)->factor = factor_of(std::round(v)); };
    f.shown = factor_of;
    f.stored = factor_of;
    return f;
}

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    factor_field(),
    field_choice<&P::input_gamma>("input_gamma", "Input gamma:", gamma_words, 3),
    field_caption("output_gamma", "Output gamma: ", "%2f",
                  [](const void* p) {
                      constexpr double gammas[] = {1.00, 1.40, 1.80, 2.22};
                      const P& b = *static_cast<const P*>(p);
                      return gammas[b.input_gamma >= 0 && b.input_gamma < 4 ? b.input_gamma : 3] *
                             b.factor;
                  }),
};

constexpr WorkflowLine<P> lines[] = {
    workflow_value<&P::factor, &P::input_gamma>("out_in_gamma %f %d"),
};

constexpr const char* title = "Gamma Adjust";

// ---------------------------------------------------------------------------
// Compute

template <typename T>
void power_table(double factor, int top, T* t) {
    for (int i = 0; i <= top; ++i)
        t[i] = static_cast<T>(std::floor(top * std::pow(static_cast<double>(i) / top, factor) + 0.5));
}

int gamma_adjust_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input || !tone_output_type(input->type, args.apply)) return err_illegal_type;
    if (p.factor == 1.0) return transform_copy_input(args);

    std::uint8_t t8[256];
    std::vector<std::uint16_t> t16;
    power_table(p.factor, 255, t8);
    ToneTables set;
    set.t8[0] = t8;
    if (input->type == image_type_gray16 || input->type == image_type_colour16) {
        t16.resize(65536);
        power_table(p.factor, 65535, t16.data());
        set.t16[0] = t16.data();
    }
    ToneJob job;
    job.title = title;
    job.space = tone_rgb;
    job.sets = {&set, 1};
    return tone_compute(args, job);
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor gamma_adjust_transform;
constinit const TransformDescriptor gamma_adjust_transform =
    transform_descriptor<P, fields, lines>({
        .title = title,
        .panel_number = 65,
        .panel_code = 65,
        .compute = gamma_adjust_compute,
        .line_local = [](const void*) { return true; },
        .static_copy = &static_copy,
        .fresh = &fresh,
    });
