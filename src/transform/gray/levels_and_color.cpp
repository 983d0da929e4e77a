// Levels and Color: the one-panel tone and colour fix. Black and white
// points (input levels mapped to output levels, found from the picture when
// the panel opens), a midtone bend, a saturation change and a colour filter
// multiplied into each channel; the filter turns a grey picture into colour
// when it is not neutral. The result is blended back by amount and mask,
// from the unfiltered input.
#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/colour.h"
#include "core/errors.h"
#include "core/tables.h"
#include "transform/levels.h"
#include "transform/line_bands.h"
#include "transform/tone.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct LevelsParams {
    AmountSettings amount;
    std::uint8_t clip;    // invert clipped pixels in a preview
    std::int32_t cspace;  // 0 HSV, 1 HSL
    std::int32_t probe;
    std::int32_t in_low, in_high, out_low, out_high;
    double midtones;    // -100..100 percent
    double saturation;  // -100..100 percent
    std::uint8_t filter_red, filter_green, filter_blue;  // the colour filter
};

using P = LevelsParams;

constexpr std::string_view space_words[] = {"HSV", "HSL"};
constexpr std::string_view probe_words[] = {"1x1 Probe", "3x3 Probe", "5x5 Probe", "7x7 Probe",
                                            "9x9 Probe"};

constexpr std::string_view filter_words[] = {"filter_red", "filter_green", "filter_blue"};

// The range bar reads what the tone table maps: V in HSV, L in HSL.
int range_reading(const void* params) {
    return static_cast<const P*>(params)->cspace == tone_hsl ? reading_mid : reading_max;
}

// A colour cast picked on the picture: the filter becomes its complement at
// full value (hue turned half way round, saturation kept), which removes it.
void filter_against(void* params, int r, int g, int b) {
    P& p = *static_cast<P*>(params);
    int h = 0, s = 0, v = 0, fr = 0, fg = 0, fb = 0;
    rgb_to_hsv8(r, g, b, h, s, v);
    hsv_to_rgb8((h + 2048) & 4095, s, 4096, fr, fg, fb);
    p.filter_red = static_cast<std::uint8_t>(fr);
    p.filter_green = static_cast<std::uint8_t>(fg);
    p.filter_blue = static_cast<std::uint8_t>(fb);
}

// The four levels start at -1, "found in the picture": when the panel meets
// it, or at the run when a workflow or the command line gives no range.
constexpr TransformField range_field() {
    TransformField f = field_range<&P::in_low, &P::in_high, &P::out_low, &P::out_high>(
        "dynamic_range", "Dynamic Range: ", "%1f\\%..%1f\\%", range_reading);
    f.init = [](void* p) {
        P& b = *static_cast<P*>(p);
        b.in_low = b.in_high = b.out_low = b.out_high = -1;
    };
    return f;
}

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_amount<&P::amount>("amount"),
    range_field(),
    field_real<&P::midtones>("midtones", "Midtones: ", -100, 100, "%1f\\%", 0),
    field_real<&P::saturation>("saturation", "Saturation: ", -100, 100, "%1f\\%", 0,
                               image_types_colour),
    field_choice<&P::cspace>("cspace", "Color Space:", space_words, tone_hsv, image_types_colour),
    field_colour<&P::filter_red, &P::filter_green, &P::filter_blue>(
        "colorbal", "Color Balance:", filter_words, filter_against, image_types_colour),
    field_choice<&P::probe>("probe", "Probe:", probe_words, 2),
    field_check<&P::clip>("clip", "Invert clipped pixels in preview", false),
};

constexpr WorkflowLine<P> lines[] = {
    workflow_amount<&P::amount>(),
    workflow_value<&P::clip, &P::cspace, &P::probe>("clip_cspace_probe %d %d %d"),
    workflow_value<&P::in_low, &P::in_high, &P::out_low, &P::out_high>(
        "dynamic_range %d %d %d %d"),
    workflow_value<&P::midtones, &P::saturation>("bright_saturation %3f %3f"),
    workflow_value<&P::filter_red, &P::filter_green, &P::filter_blue>("colorbal %d %d %d"),
};

constexpr const char* title = "Levels and Color";

// The range found in the picture, on opening and on a new input.
void find_range(void* params, const Image* input) {
    P& p = *static_cast<P*>(params);
    int low = 0, high = 255;
    if (!levels_auto_range(input, p.cspace, low, high)) return;
    p.in_low = p.out_low = low;
    p.in_high = p.out_high = high;
}

// ---------------------------------------------------------------------------
// Compute

// The tables of one run at the depth it works in (T the sample type).
template <typename T>
struct Tables {
    static constexpr int top = sizeof(T) == 1 ? 255 : 65535;
    std::vector<T> tone = std::vector<T>(top + 1);
    std::vector<T> saturation;                // HSV, on the depth's scale
    std::vector<std::uint16_t> saturation16;  // HSL
    // Built only when not neutral; a grey picture turns colour only then.
    std::vector<T> filter[3];  // red, green, blue
    bool saturate = false;
    bool filtered = false;
    int space = tone_hsv;

    // Only the tables the block uses are built: a streamed run builds them
    // for every band.
    Tables(const P& p, bool invert_clipped) {
        const LevelsTone levels{p.in_low, p.in_high, p.out_low, p.out_high, p.midtones};
        saturate = p.saturation != 0;
        space = p.cspace;
        if (saturate) {
            saturation.resize(top + 1);
            saturation16.resize(65536);
            levels_saturation_table16(p.saturation, saturation16.data());
        }
        if constexpr (sizeof(T) == 1) {
            levels_tone_table8(levels, invert_clipped, tone.data());
            if (saturate) levels_saturation_table8(p.saturation, saturation.data());
        } else {
            levels_tone_table16(levels, invert_clipped, tone.data());
            if (saturate) levels_saturation_table16(p.saturation, saturation.data());
        }
        filtered = p.filter_red != 255 || p.filter_green != 255 || p.filter_blue != 255;
        for (int c = 0; c < 3 && filtered; ++c) {
            const std::uint8_t byte = c == 0 ? p.filter_red : (c == 1 ? p.filter_green : p.filter_blue);
            const std::uint32_t f = sizeof(T) == 1 ? byte : to16[byte];
            filter[c].resize(top + 1);
            for (std::uint32_t i = 0; i <= top; ++i)
                filter[c][i] = static_cast<T>(i * f / top);
        }
    }

    // One colour pixel: filter, tone, saturation.
    void pixel(int& r, int& g, int& b) const {
        if (filtered) {
            r = filter[0][r];
            g = filter[1][g];
            b = filter[2][b];
        }
        if (space == tone_hsl) {
            const int l = hsl_lightness(r, g, b);
            if constexpr (sizeof(T) == 1)
                set_lightness8(r, g, b, tone[l] * 4096 / 255);
            else
                set_lightness16(r, g, b, tone[l]);
        } else {
            const int v = max3(r, g, b);
            scale_to_value(r, g, b, v, tone[v]);
        }
        if (!saturate) return;
        if (space == tone_hsl) {
            if constexpr (sizeof(T) == 1)
                apply_sat_table_hsl8(r, g, b, SatTable(saturation16.data(), 65536));
            else
                apply_sat_table_hsl(r, g, b, SatTable(saturation16.data(), 65536));
            return;
        }
        // HSV: the greatest sample stays, the least moves to the new
        // saturation and the middle one keeps its place between them.
        int* c[3] = {&r, &g, &b};
        std::sort(c, c + 3, [](const int* x, const int* y) { return *x > *y; });
        const std::int64_t hi = *c[0], mid = *c[1], lo = *c[2];
        if (hi == 0 || hi == lo) return;
        const std::int64_t s = (hi - lo) * top / hi;
        const std::int64_t lo2 = hi * (top - saturation[static_cast<std::size_t>(s)]) / top;
        *c[1] = static_cast<int>(hi - (hi - lo2) * (hi - mid) / (hi - lo));
        *c[2] = static_cast<int>(lo2);
    }

    // A line of `count` pixels of `in` (grey or colour) into `out` (colour
    // when the filter turns grey into colour).
    void line(const T* in, T* out, int count, bool colour_in, bool colour_out) const {
        for (int i = 0; i < count; ++i) {
            if (!colour_in) {
                const int t = tone[in[i]];
                if (!colour_out) {
                    out[i] = static_cast<T>(t);
                } else {
                    out[3 * i] = filter[2][t];
                    out[3 * i + 1] = filter[1][t];
                    out[3 * i + 2] = filter[0][t];
                }
                continue;
            }
            int b = in[3 * i], g = in[3 * i + 1], r = in[3 * i + 2];
            pixel(r, g, b);
            out[3 * i] = static_cast<T>(b);
            out[3 * i + 1] = static_cast<T>(g);
            out[3 * i + 2] = static_cast<T>(r);
        }
    }
};

bool colour_type(int type) {
    return type == image_type_colour8 || type == image_type_colour16;
}

// A grey line as three equal samples a pixel, for the blend of a grey input
// that turned colour.
template <typename T>
const T* widened(const T* in, int count, std::vector<std::uint8_t>& scratch, std::size_t at) {
    scratch.resize(std::max(scratch.size(), at + 3 * sizeof(T) * count));
    T* wide = reinterpret_cast<T*>(scratch.data() + at);
    for (int i = 0; i < count; ++i)
        wide[3 * i] = wide[3 * i + 1] = wide[3 * i + 2] = in[i];
    return wide;
}

int levels_compute(const ComputeArgs& args) {
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    P p = args.block<P>();
    if (p.in_low < 0 || p.in_high < 0 || p.out_low < 0 || p.out_high < 0) find_range(&p, input);
    const int type = input->type;
    if (type != image_type_binary && type != image_type_gray8 && type != image_type_colour8 &&
        type != image_type_gray16 && type != image_type_colour16)
        return err_illegal_type;
    const bool neutral = p.filter_red == 255 && p.filter_green == 255 && p.filter_blue == 255;
    const Image* mask = p.amount.amount_mask;
    const AmountStrength strength =
        amount_strength(p.amount.amount_low, mask ? p.amount.amount_high : -1);
    if ((neutral && p.midtones == 0 && p.saturation == 0 && p.in_low == p.out_low &&
         p.in_high == p.out_high) ||
        strength.none())
        return transform_copy_input(args);

    const bool wide = type == image_type_gray16 || type == image_type_colour16;
    const bool colour_in = colour_type(type);
    const bool colour_out = colour_in || !neutral;
    int out_type = tone_output_type(type, args.apply);
    if (colour_out) out_type = wide && args.apply ? image_type_colour16 : image_type_colour8;
    if (args.whole_region()) {
        if (int err = image_alloc(args.output, out_type, args.width, args.height, input->resolution))
            return err;
    }
    const bool inv = p.clip != 0 && !args.apply;
    const int n = args.line_width;
    const int in_samples = colour_in ? 3 : 1, out_samples = colour_out ? 3 : 1;
    const bool blend = !strength.full();
    const Image* blend_mask = strength.masked() ? mask : nullptr;

    if (!wide) {
        const Tables<std::uint8_t> t(p, inv);
        return transform_line_bands(args, input, blend_mask, title, [&](const BandLine& l) {
            t.line(l.in, l.out, n, colour_in, colour_out);
            if (!blend) return;
            const std::uint8_t* from = in_samples == out_samples ? l.in : widened(l.in, n, l.scratch, 0);
            amount_blend_line8(from, l.out, n, out_samples, strength, l.mask);
        });
    }
    const Tables<std::uint16_t> t(p, inv);
    return transform_line_bands(args, input, blend_mask, title, [&](const BandLine& l) {
        const auto* in16 = reinterpret_cast<const std::uint16_t*>(l.in);
        const std::uint16_t* from = in_samples == out_samples ? in16 : widened(in16, n, l.scratch, 0);
        const std::size_t samples = static_cast<std::size_t>(n) * out_samples;
        if (args.apply) {
            auto* out16 = reinterpret_cast<std::uint16_t*>(l.out);
            t.line(in16, out16, n, colour_in, colour_out);
            if (blend) amount_blend_line16(from, out16, n, out_samples, strength, l.mask);
            return;
        }
        // A 16-bit picture's preview: the 16-bit tables, then `to8`.
        const std::size_t at = 6 * static_cast<std::size_t>(n);
        l.scratch.resize(at + 3 * samples);
        auto* result = reinterpret_cast<std::uint16_t*>(l.scratch.data() + at);
        std::uint8_t* from8 = l.scratch.data() + at + 2 * samples;
        t.line(in16, result, n, colour_in, colour_out);
        for (std::size_t i = 0; i < samples; ++i)
            l.out[i] = to8[result[i]];
        if (!blend) return;
        for (std::size_t i = 0; i < samples; ++i)
            from8[i] = to8[from[i]];
        amount_blend_line8(from8, l.out, n, out_samples, strength, l.mask);
    });
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor levels_and_color_transform;
constinit const TransformDescriptor levels_and_color_transform =
    transform_descriptor<P, fields, lines>({
        .title = title,
        .panel_number = 43,
        .panel_code = 43,
        .compute = levels_compute,
        .input_opened = find_range,
        .line_local = [](const void* params) {
            const P& p = *static_cast<const P*>(params);
            return line_local_unmasked<P>(params) && p.in_low >= 0 && p.in_high >= 0 &&
                   p.out_low >= 0 && p.out_high >= 0;
        },
        .static_copy = &static_copy,
        .fresh = &fresh,
    });
