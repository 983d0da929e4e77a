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

int tone_reading(int space, int component) {
    if (component < 0) return space == tone_rgb ? reading_rgb : (space == tone_hsl ? reading_mid : reading_max);
    constexpr int readings[3][3] = {{reading_hue_hsv, reading_sat_hsv, reading_max},
                                    {reading_hue_hsl, reading_sat_hsl, reading_mid},
                                    {reading_red, reading_green, reading_blue}};
    return readings[std::clamp(space, 0, 2)][std::clamp(component, 0, 2)];
}

int tone_read_levels(int r, int g, int b, int reading, int levels[3]) {
    int h = 0, s = 0, v = 0;
    switch (reading) {
        case reading_rgb:
            levels[0] = r;
            levels[1] = g;
            levels[2] = b;
            return 3;
        case reading_mid:
            levels[0] = hsl_lightness(r, g, b);
            return 1;
        case reading_hue_hsv:
        case reading_sat_hsv:
            rgb_to_hsv8(r, g, b, h, s, v);
            levels[0] = std::min(255, (reading == reading_hue_hsv ? h : s) * 255 / 4096);
            return 1;
        case reading_hue_hsl:
        case reading_sat_hsl:
            rgb_to_hsl8(r, g, b, h, s, v);
            levels[0] = std::min(255, (reading == reading_hue_hsl ? h : s) * 255 / 4096);
            return 1;
        case reading_red:
            levels[0] = r;
            return 1;
        case reading_green:
            levels[0] = g;
            return 1;
        case reading_blue:
            levels[0] = b;
            return 1;
        default:
            levels[0] = max3(r, g, b);
            return 1;
    }
}

namespace {

// The 8-bit colour of a pixel: r, g, b, or the grey sample three times.
struct PixelReader {
    const Image* image;
    bool colour;
    bool wide;
    bool readable;
    explicit PixelReader(const Image* im)
        : image(im),
          colour(im && (im->type == image_type_colour8 || im->type == image_type_colour16)),
          wide(im && (im->type == image_type_gray16 || im->type == image_type_colour16)),
          readable(im && im->width > 0 && im->height > 0 &&
                   (colour || im->type == image_type_gray8 || im->type == image_type_gray16 ||
                    im->type == image_type_binary)) {}
    int sample(const std::uint8_t* row, int i) const {
        if (image->type == image_type_binary) return image_bit_get(row, i) ? 255 : 0;
        return wide ? to8[reinterpret_cast<const std::uint16_t*>(row)[i]] : row[i];
    }
    // Line `line` of the Image (0 at the bottom).
    void rgb(int x, int line, int& r, int& g, int& b) const {
        const std::uint8_t* row = image->rows[line];
        if (!colour) {
            r = g = b = sample(row, x);
            return;
        }
        b = sample(row, 3 * x);
        g = sample(row, 3 * x + 1);
        r = sample(row, 3 * x + 2);
    }
};

}  // namespace

int tone_histogram(const Image* image, int reading, CurveHistogram hist[3], std::int64_t limit) {
    for (int k = 0; k < 3; ++k)
        hist[k] = CurveHistogram{};
    const PixelReader pixels(image);
    if (!pixels.readable) return 0;

    // Step across (a) and up (c) until at most `limit` pixels are read.
    const std::int64_t count = static_cast<std::int64_t>(image->width) * image->height;
    int a = 1, c = 1;
    while (count / (static_cast<std::int64_t>(a) * c) > limit) {
        if (a != c)
            ++a;
        else
            ++c;
    }
    int filled = 1;
    for (int y = 0; y < image->height; y += c) {
        for (int x = 0; x < image->width; x += a) {
            int r, g, b, levels[3];
            pixels.rgb(x, y, r, g, b);
            filled = tone_read_levels(r, g, b, reading, levels);
            for (int k = 0; k < filled; ++k)
                ++hist[k].count[static_cast<std::size_t>(levels[k])];
        }
    }
    for (int k = 0; k < filled; ++k)
        hist[k].update_largest();
    return filled;
}

int tone_probe(const Image* image, int x, int y, int n, int reading, int levels[3]) {
    const PixelReader pixels(image);
    if (!pixels.readable || x < 0 || y < 0 || x >= image->width || y >= image->height) return 0;
    const int x1 = std::max(0, x - n), x2 = std::min(image->width - 1, x + n);
    const int y1 = std::max(0, y - n), y2 = std::min(image->height - 1, y + n);
    int sum[3] = {0, 0, 0};
    for (int row = y1; row <= y2; ++row)
        for (int col = x1; col <= x2; ++col) {
            int r, g, b;
            pixels.rgb(col, image->height - 1 - row, r, g, b);
            sum[0] += r;
            sum[1] += g;
            sum[2] += b;
        }
    const int area = (x2 - x1 + 1) * (y2 - y1 + 1);
    return tone_read_levels((sum[0] + area / 2) / area, (sum[1] + area / 2) / area,
                            (sum[2] + area / 2) / area, reading, levels);
}
