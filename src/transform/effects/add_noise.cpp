// Add Noise: adds random noise to every sample, uniform or close to normal,
// to the three colour samples alike or to the greatest of them with the
// others scaled along. The amount (and its mask) scales the noise itself
// rather than blending a result with the input. The look depends on the
// pixel scale, so the preview is made at 1:1 only.
//
// This is the model transformation: the shape every other one copies.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/colour.h"
#include "core/errors.h"
#include "core/line_access.h"
#include "core/progress.h"
#include "core/random.h"
#include "core/tables.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct AddNoiseParams {
    std::int32_t channels;  // 0 "RGB", 1 "HSV V", 2 "HSL L"
    std::int32_t method;    // 0 "Uniform", 1 "Gaussian"
    AmountSettings amount;
};

constexpr int channels_rgb = 0;
constexpr int method_uniform = 0;

constexpr std::string_view channel_words[] = {"RGB", "HSV V", "HSL L"};
constexpr std::string_view method_words[] = {"Uniform", "Gaussian"};

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_amount<&AddNoiseParams::amount>("amount"),
    field_choice<&AddNoiseParams::method>("method", "Method:", method_words, method_uniform),
    field_choice<&AddNoiseParams::channels>("channels", "Channel(s):", channel_words, channels_rgb,
                                            image_types_colour),
};

constexpr WorkflowLine<AddNoiseParams> lines[] = {
    workflow_value<&AddNoiseParams::channels, &AddNoiseParams::method>("colorspace_method %d %d"),
    workflow_amount<&AddNoiseParams::amount>(),
};

constexpr const char* title = "Add Noise";

// ---------------------------------------------------------------------------
// Noise

// One raw value of 8 or 16 bits, negative when bit 9 (or 17) of the
// generator's number is set, and its scaling by a strength s in 0..255.
struct Bits8 {
    static int raw() {
        const int r = random_next();
        const int v = r & 255;
        return (r & (1 << 9)) ? -v : v;
    }
    static int scale(int n, int s) {
        const int m = mul8[std::abs(n) & 255][s];
        return n < 0 ? -m : m;
    }
    static int clamp(int v) { return clamp8(v); }
};

struct Bits16 {
    static int raw() {
        const int r = random_next();
        const int v = r & 65535;
        return (r & (1 << 17)) ? -v : v;
    }
    static int scale(int n, int s) { return n * s / 255; }
    static int clamp(int v) { return clamp16(v); }
};

// Uniform: one raw value. Gaussian: the mean of six, truncated, which comes
// close enough to a normal distribution.
template <typename Bits>
int noise(int method, int s) {
    int n;
    if (method == method_uniform) {
        n = Bits::raw();
    } else {
        int sum = 0;
        for (int k = 0; k < 6; ++k)
            sum += Bits::raw();
        n = sum / 6;
    }
    return Bits::scale(n, s);
}

// How samples come in and go out: as they are, or a 16-bit sample reduced
// through `to8` for an 8-bit preview.
struct Load8 {
    using T = std::uint8_t;
    static int load(T v) { return v; }
};
struct Load16 {
    using T = std::uint16_t;
    static int load(T v) { return v; }
};
struct Load16To8 {
    using T = std::uint16_t;
    static int load(T v) { return to8[v]; }
};
struct Store8 {
    using T = std::uint8_t;
    static T store(int v) { return static_cast<T>(v); }
};
struct Store16 {
    using T = std::uint16_t;
    static T store(int v) { return static_cast<T>(v); }
};
struct Store16To8 {
    using T = std::uint8_t;
    static T store(int v) { return to8[v]; }
};

// The strength at each pixel.
struct Strength {
    int a = 255;
    int b = -1;
    const std::uint8_t* mask = nullptr;
    int at(int i) const { return mask ? lerp8(a, b, mask[i]) : a; }
};

struct Line {
    const std::uint8_t* in;
    std::uint8_t* out;
    int count;
    int method;
    Strength strength;
};

using LineRoutine = void (*)(const Line&);

template <typename Bits, typename In, typename Out>
void gray_line(const Line& line) {
    const auto* in = reinterpret_cast<const typename In::T*>(line.in);
    auto* out = reinterpret_cast<typename Out::T*>(line.out);
    for (int i = 0; i < line.count; ++i) {
        const int n = noise<Bits>(line.method, line.strength.at(i));
        out[i] = Out::store(Bits::clamp(In::load(in[i]) + n));
    }
}

// Each of the three samples gets a noise of its own, in memory order.
template <typename Bits, typename In, typename Out>
void rgb_line(const Line& line) {
    const auto* in = reinterpret_cast<const typename In::T*>(line.in);
    auto* out = reinterpret_cast<typename Out::T*>(line.out);
    for (int i = 0; i < line.count; ++i) {
        const int s = line.strength.at(i);
        for (int c = 3 * i; c < 3 * i + 3; ++c)
            out[c] = Out::store(Bits::clamp(In::load(in[c]) + noise<Bits>(line.method, s)));
    }
}

// One noise a pixel, on the greatest sample; the others follow in proportion.
// "HSV V" and "HSL L" both work this way on purpose.
template <typename Bits, typename In, typename Out>
void value_line(const Line& line) {
    const auto* in = reinterpret_cast<const typename In::T*>(line.in);
    auto* out = reinterpret_cast<typename Out::T*>(line.out);
    for (int i = 0; i < line.count; ++i) {
        int b = In::load(in[3 * i]);
        int g = In::load(in[3 * i + 1]);
        int r = In::load(in[3 * i + 2]);
        const int v = max3(r, g, b);
        const int v_new = Bits::clamp(v + noise<Bits>(line.method, line.strength.at(i)));
        scale_to_value(r, g, b, v, v_new);
        out[3 * i] = Out::store(b);
        out[3 * i + 1] = Out::store(g);
        out[3 * i + 2] = Out::store(r);
    }
}

// The routine for an input type; null for types this transformation refuses.
LineRoutine line_routine(int type, bool apply, bool on_value, int& out_type) {
    switch (type) {
        case image_type_binary:  // read as bytes of 0 and 255: gray
        case image_type_gray8:
            out_type = image_type_gray8;
            return gray_line<Bits8, Load8, Store8>;
        case image_type_colour8:
            out_type = image_type_colour8;
            return on_value ? value_line<Bits8, Load8, Store8> : rgb_line<Bits8, Load8, Store8>;
        case image_type_gray16:
            out_type = apply ? image_type_gray16 : image_type_gray8;
            return apply ? gray_line<Bits16, Load16, Store16>
                         : gray_line<Bits16, Load16, Store16To8>;
        case image_type_colour16:
            out_type = apply ? image_type_colour16 : image_type_colour8;
            if (apply)
                return on_value ? value_line<Bits16, Load16, Store16>
                                : rgb_line<Bits16, Load16, Store16>;
            return on_value ? value_line<Bits8, Load16To8, Store8>
                            : rgb_line<Bits8, Load16To8, Store8>;
        default:
            return nullptr;
    }
}

// ---------------------------------------------------------------------------
// Compute

PreviewSeen last_preview_window;

int add_noise_compute(const ComputeArgs& args) {
    const AddNoiseParams& p = args.block<AddNoiseParams>();
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    int out_type = 0;
    const LineRoutine routine =
        line_routine(input->type, args.apply, p.channels != channels_rgb, out_type);
    if (!routine) return err_illegal_type;

    int code = 0;
    if (!args.apply && transform_preview_one_to_one(args, last_preview_window, out_type, code))
        return code;

    const Image* mask = p.amount.amount_mask;
    const AmountStrength amount =
        amount_strength(p.amount.amount_low, mask ? p.amount.amount_high : -1);
    if (amount.none()) return transform_copy_input(args);
    Strength strength;
    if (!amount.full()) strength.a = amount.a;
    if (!amount.full() && amount.masked()) strength.b = amount.b;

    if (args.whole_region()) {
        if (int err =
                image_alloc(args.output, out_type, args.width, args.height, input->resolution))
            return err;
    }

    LineSource source;
    LineSource mask_source;
    LineSink sink;
    line_source_init(&source);
    line_source_init(&mask_source);
    line_sink_init(&sink);
    int err =
        line_source_open(input, args.source_x, args.source_y, args.zoom, args.line_width, &source);
    if (!err && strength.b >= 0)
        err = line_source_open(mask, args.source_x, args.source_y, args.zoom, args.line_width,
                               &mask_source);
    if (!err)
        err = line_sink_open(args.output, args.zoom, args.region_x1, args.region_x2, args.region_y1,
                             args.apply, &sink);
    if (!err) {
        const ProgressScope progress(title,
                                     static_cast<std::int64_t>(args.line_width) * args.line_count,
                                     0, args.line_count - 1, true);
        Line line{nullptr, nullptr, args.line_width, p.method, strength};
        for (int y = 0; y < args.line_count && !err; ++y) {
            line.in = line_source_next(&source);
            line.out = line_sink_line(&sink);
            if (strength.b >= 0) line.strength.mask = line_source_next(&mask_source);
            routine(line);
            line_sink_commit(&sink);
            err = progress.step(y);
        }
    }
    line_sink_close(&sink);
    line_source_close(&mask_source);
    line_source_close(&source);
    return err;
}

// ---------------------------------------------------------------------------
// The descriptor

AddNoiseParams static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor add_noise_transform;
constinit const TransformDescriptor add_noise_transform =
    transform_descriptor<AddNoiseParams, fields, lines>({
        .title = title,
        .panel_number = 51,
        .panel_code = 51,
        .compute = add_noise_compute,
        .preview_one_to_one = true,
        .static_copy = &static_copy,
        .fresh = &fresh,
    });
