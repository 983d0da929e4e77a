#include "transform/tone.h"

#include <algorithm>
#include <cstring>

#include "core/colour.h"
#include "core/errors.h"
#include "core/tables.h"
#include "transform/line_bands.h"

namespace {

// Pixel operations on one depth: S is the sample type, and the tables are
// those of that depth.
template <typename S>
const auto* table_of(const ToneTables& set, int k) {
    if constexpr (sizeof(S) == 1)
        return set.t8[k];
    else
        return set.t16[k];
}

// One table on the chosen number of the pixel.
template <typename S>
void single_pixel(int space, const ToneTables& set, int& r, int& g, int& b) {
    const auto* t = table_of<S>(set, 0);
    switch (space) {
        case tone_hsv: {
            const int v = max3(r, g, b);
            scale_to_value(r, g, b, v, t[v]);
            break;
        }
        case tone_hsl: {
            const int l = hsl_lightness(r, g, b);
            if constexpr (sizeof(S) == 1)
                set_lightness8(r, g, b, t[l] * 4096 / 255);
            else
                set_lightness16(r, g, b, t[l]);
            break;
        }
        default:
            r = t[r];
            g = t[g];
            b = t[b];
            break;
    }
}

// Three tables on the three components of the space.
template <typename S>
void component_pixel(int space, const ToneTables& set, int& r, int& g, int& b) {
    if (space == tone_rgb) {
        r = table_of<S>(set, 0)[r];
        g = table_of<S>(set, 1)[g];
        b = table_of<S>(set, 2)[b];
        return;
    }
    if constexpr (sizeof(S) == 1) {
        int r16 = to16[r], g16 = to16[g], b16 = to16[b];
        component_pixel<std::uint16_t>(space, set, r16, g16, b16);
        r = to8[r16];
        g = to8[g16];
        b = to8[b16];
    } else {
        int h, s, v;
        if (space == tone_hsv)
            rgb_to_hsv16(r, g, b, h, s, v);
        else
            rgb_to_hsl16(r, g, b, h, s, v);
        h = set.t16[0][h];
        s = set.t16[1][s];
        v = set.t16[2][v];
        if (space == tone_hsv)
            hsv_to_rgb16(h, s, v, r, g, b);
        else
            hsl_to_rgb16(h, s, v, r, g, b);
    }
}

// The set for a pixel.
struct Picker {
    std::span<const ToneTables> sets;
    int low;
    int high;
    const ToneTables& at(const std::uint8_t* mask, int i) const {
        return high >= 0 && mask ? sets[static_cast<std::size_t>(lerp8(low, high, mask[i]))]
                                 : sets[0];
    }
};

// One line on samples of type S, results of type S.
template <typename S>
void tone_line(const ToneJob& job, const Picker& pick, const S* in, S* out, int count,
               bool colour, const std::uint8_t* mask) {
    const bool one_set = pick.high < 0 || !mask;
    if (!colour) {
        if (one_set) {
            const auto* t = table_of<S>(job.sets[0], 0);
            for (int i = 0; i < count; ++i)
                out[i] = t[in[i]];
        } else {
            for (int i = 0; i < count; ++i)
                out[i] = table_of<S>(pick.at(mask, i), 0)[in[i]];
        }
        return;
    }
    if (one_set && job.space == tone_rgb && !job.per_component) {
        const auto* t = table_of<S>(job.sets[0], 0);
        for (int i = 0; i < 3 * count; ++i)
            out[i] = t[in[i]];
        return;
    }
    for (int i = 0; i < count; ++i) {
        int b = in[3 * i], g = in[3 * i + 1], r = in[3 * i + 2];
        const ToneTables& set = pick.at(mask, i);
        if (job.per_component)
            component_pixel<S>(job.space, set, r, g, b);
        else
            single_pixel<S>(job.space, set, r, g, b);
        out[3 * i] = static_cast<S>(b);
        out[3 * i + 1] = static_cast<S>(g);
        out[3 * i + 2] = static_cast<S>(r);
    }
}

}  // namespace

int tone_output_type(int type, bool apply) {
    switch (type) {
        case image_type_binary:
        case image_type_gray8:
            return image_type_gray8;
        case image_type_colour8:
            return image_type_colour8;
        case image_type_gray16:
        case image_type_colour16:
            return apply ? type : preview_type_of(type);
        default:
            return 0;
    }
}

int tone_compute(const ComputeArgs& args, const ToneJob& job) {
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    const int out_type = tone_output_type(input->type, args.apply);
    if (!out_type) return err_illegal_type;
    if (args.whole_region()) {
        if (int err =
                image_alloc(args.output, out_type, args.width, args.height, input->resolution))
            return err;
    }
    const bool colour = input->type == image_type_colour8 || input->type == image_type_colour16;
    const bool wide = input->type == image_type_gray16 || input->type == image_type_colour16;
    const int samples = colour ? 3 : 1;
    const int n = args.line_width * samples;
    const Picker pick{job.sets, job.pick_low, job.pick_high};
    const bool blend = !job.strength.full();
    const Image* mask = (job.pick_high >= 0 || job.strength.b >= 0) ? job.mask : nullptr;

    return transform_line_bands(args, input, mask, job.title, [&](const BandLine& l) {
        if (!wide) {
            tone_line(job, pick, l.in, l.out, args.line_width, colour, l.mask);
            if (blend)
                amount_blend_line8(l.in, l.out, args.line_width, samples, job.strength, l.mask);
            return;
        }
        const auto* in16 = reinterpret_cast<const std::uint16_t*>(l.in);
        if (args.apply) {
            auto* out16 = reinterpret_cast<std::uint16_t*>(l.out);
            tone_line(job, pick, in16, out16, args.line_width, colour, l.mask);
            if (blend)
                amount_blend_line16(in16, out16, args.line_width, samples, job.strength, l.mask);
            return;
        }
        // A 16-bit picture's preview: the 16-bit tables, then `to8`; the
        // input goes through `to8` too for the 8-bit blend.
        l.scratch.resize(static_cast<std::size_t>(n) * 3);
        auto* result = reinterpret_cast<std::uint16_t*>(l.scratch.data());
        std::uint8_t* in8 = l.scratch.data() + 2 * n;
        tone_line(job, pick, in16, result, args.line_width, colour, l.mask);
        for (int i = 0; i < n; ++i)
            l.out[i] = to8[result[i]];
        if (blend) {
            for (int i = 0; i < n; ++i)
                in8[i] = to8[in16[i]];
            amount_blend_line8(in8, l.out, args.line_width, samples, job.strength, l.mask);
        }
    });
}

int tone_histogram(const Image* image, int space, CurveHistogram hist[3]) {
    for (int k = 0; k < 3; ++k)
        hist[k] = CurveHistogram{};
    if (!image || image->width <= 0 || image->height <= 0) return 0;
    const int type = image->type;
    const bool colour = type == image_type_colour8 || type == image_type_colour16;
    const bool wide = type == image_type_gray16 || type == image_type_colour16;
    if (!colour && type != image_type_gray8 && type != image_type_gray16 &&
        type != image_type_binary)
        return 0;

    // Step across (a) and up (c) until at most a million pixels are read.
    constexpr std::int64_t limit = 1000000;
    const std::int64_t pixels = static_cast<std::int64_t>(image->width) * image->height;
    int a = 1, c = 1;
    while (pixels / (static_cast<std::int64_t>(a) * c) > limit) {
        if (a != c)
            ++a;
        else
            ++c;
    }
    auto sample = [&](const std::uint8_t* row, int i) -> int {
        if (type == image_type_binary) return image_bit_get(row, i) ? 255 : 0;
        return wide ? to8[reinterpret_cast<const std::uint16_t*>(row)[i]] : row[i];
    };
    const bool rgb = colour && space == tone_rgb;
    for (int y = 0; y < image->height; y += c) {
        const std::uint8_t* row = image->rows[y];
        for (int x = 0; x < image->width; x += a) {
            if (!colour) {
                ++hist[0].count[static_cast<std::size_t>(sample(row, x))];
                continue;
            }
            const int b = sample(row, 3 * x), g = sample(row, 3 * x + 1),
                      r = sample(row, 3 * x + 2);
            if (rgb) {
                ++hist[0].count[static_cast<std::size_t>(r)];
                ++hist[1].count[static_cast<std::size_t>(g)];
                ++hist[2].count[static_cast<std::size_t>(b)];
            } else {
                const int v = space == tone_hsl ? hsl_lightness(r, g, b) : max3(r, g, b);
                ++hist[0].count[static_cast<std::size_t>(v)];
            }
        }
    }
    const int filled = rgb ? 3 : 1;
    for (int k = 0; k < filled; ++k)
        hist[k].update_largest();
    return filled;
}
