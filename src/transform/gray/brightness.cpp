// Brightness: one slider over a family of tone curves. The amount is the
// brightness itself, 512 being neutral; `Preserve:` picks the family: curves
// that keep both black and white, lines through black or through white, or a
// plain shift. With a mask every pixel picks its own curve between the
// brightness at black and at white of the mask.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "core/parallel.h"
#include "core/progress.h"
#include "transform/tone.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct BrightnessParams {
    AmountSettings amount;  // amount_low is the brightness, 0..1024
    std::int32_t cspace;    // ToneSpace
    std::int32_t preserve;  // 0 black and white, 1 black, 2 white, 3 neither
};

using P = BrightnessParams;

enum Preserve { preserve_both = 0, preserve_black = 1, preserve_white = 2, preserve_neither = 3 };
constexpr std::string_view preserve_words[] = {"Black and White", "Black", "White", "Neither"};

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_amount<&P::amount>("amount", "Brightness: ", 512, true),
    field_choice<&P::cspace>("cspace", "Color Space:", tone_space_words, tone_hsv,
                             image_types_colour),
    field_choice<&P::preserve>("preserve", "Preserve:", preserve_words, preserve_black),
};

constexpr WorkflowLine<P> lines[] = {
    workflow_amount<&P::amount>(),
    workflow_value<&P::cspace, &P::preserve>("cspace_code %d %d"),
};

constexpr const char* title = "Brightness";

// ---------------------------------------------------------------------------
// Tables

// The table for brightness level b (0..255, 127 neutral) on the scale of
// `top` (255 or 65535).
template <typename T>
void brightness_table(int b, int preserve, int top, T* t) {
    const double n = top;
    if (b == 0 || b == 255 || b == 127) {
        for (int i = 0; i <= top; ++i)
            t[i] = static_cast<T>(b == 0 ? 0 : (b == 255 ? top : i));
        return;
    }
    constexpr double step = 0.006159985595294118;  // pi / 510
    switch (preserve) {
        case preserve_black: {
            const double k = std::tan(b * step);
            for (int i = 0; i <= top; ++i)
                t[i] = static_cast<T>(round_half_away(std::min(k * i, n)));
            break;
        }
        case preserve_white: {
            const double k = std::tan((255 - b) * step);
            for (int i = 0; i <= top; ++i)
                t[top - i] = static_cast<T>(top - round_half_away(std::min(k * i, n)));
            break;
        }
        case preserve_neither:
            for (int i = 0; i <= top; ++i) {
                const double v = top == 255 ? i + 2 * b - 255 : round_half_away(i + 2.0 * b * 65535 / 255 - 65535);
                t[i] = static_cast<T>(std::clamp(v, 0.0, n));
            }
            break;
        default: {
            const double s = b / 255.0;
            if (s <= 0.5) {
                const double g = std::sqrt(0.5 / s);
                for (int i = 0; i <= top; ++i)
                    t[i] = static_cast<T>(round_half_away(n * (1 - std::pow(1 - std::pow(i / n, g), 1 / g))));
            } else {
                const double g = std::sqrt(0.5 / (1 - s));
                for (int i = 0; i <= top; ++i)
                    t[i] = static_cast<T>(round_half_away(n * std::pow(1 - std::pow((n - i) / n, g), 1 / g)));
            }
            break;
        }
    }
}

// The 256 tables a mask picks from, kept between runs: building them at
// 16 bits costs a moment, and a preview reruns at every change.
struct MaskTables {
    int preserve = -1;
    bool wide = false;
    std::vector<std::uint8_t> t8;
    std::vector<std::uint16_t> t16;
    std::vector<ToneTables> sets;
};

std::mutex mask_tables_lock;
MaskTables mask_tables;

int build_mask_tables(int preserve, bool wide) {
    MaskTables& m = mask_tables;
    if (m.preserve == preserve && m.wide == wide && m.sets.size() == 256) return 0;
    m.preserve = -1;
    m.sets.assign(256, ToneTables{});
    const int size = wide ? 65536 : 256;
    try {
        if (wide) {
            m.t16.resize(static_cast<std::size_t>(size) * 256);
        } else {
            m.t8.resize(static_cast<std::size_t>(size) * 256);
        }
    } catch (const std::bad_alloc&) {
        return err_memory;
    }
    const ProgressScope progress("Creating Tables", static_cast<std::int64_t>(size) * 256, 0, 255,
                                 false);
    const int round = std::max(8, parallel_threads());
    for (int first = 0; first < 256; first += round) {
        parallel_for(std::min(round, 256 - first), [&](int k) {
            const int b = first + k;
            if (wide)
                brightness_table(b, preserve, 65535, m.t16.data() + static_cast<std::size_t>(b) * size);
            else
                brightness_table(b, preserve, 255, m.t8.data() + static_cast<std::size_t>(b) * size);
        });
        (void)progress.step(std::min(first + round, 256) - 1);
    }
    for (int b = 0; b < 256; ++b) {
        if (wide)
            m.sets[b].t16[0] = m.t16.data() + static_cast<std::size_t>(b) * size;
        else
            m.sets[b].t8[0] = m.t8.data() + static_cast<std::size_t>(b) * size;
    }
    m.preserve = preserve;
    m.wide = wide;
    return 0;
}

// ---------------------------------------------------------------------------
// Compute

int brightness_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input || !tone_output_type(input->type, args.apply)) return err_illegal_type;
    const Image* mask = p.amount.amount_mask;
    const int b1 = p.amount.amount_low * 255 / 1024;
    const int b2 = mask && p.amount.amount_high >= 0 ? p.amount.amount_high * 255 / 1024 : -1;
    if (b1 == 127 && (b2 < 0 || b2 == 127)) return transform_copy_input(args);

    const bool wide = input->type == image_type_gray16 || input->type == image_type_colour16;
    ToneJob job;
    job.title = title;
    job.space = p.cspace;
    if (b2 < 0) {
        std::vector<std::uint8_t> t8(256);
        std::vector<std::uint16_t> t16;
        ToneTables set;
        if (wide) {
            t16.resize(65536);
            brightness_table(b1, p.preserve, 65535, t16.data());
            set.t16[0] = t16.data();
        } else {
            brightness_table(b1, p.preserve, 255, t8.data());
            set.t8[0] = t8.data();
        }
        job.sets = {&set, 1};
        return tone_compute(args, job);
    }
    const std::lock_guard<std::mutex> hold(mask_tables_lock);
    if (int err = build_mask_tables(p.preserve, wide)) return err;
    job.sets = mask_tables.sets;
    job.pick_low = b1;
    job.pick_high = b2;
    job.mask = mask;
    return tone_compute(args, job);
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor brightness_transform;
constinit const TransformDescriptor brightness_transform = transform_descriptor<P, fields, lines>({
    .title = title,
    .panel_number = 29,
    .panel_code = 29,
    .compute = brightness_compute,
    .line_local = line_local_unmasked<P>,
    .static_copy = &static_copy,
    .fresh = &fresh,
});
