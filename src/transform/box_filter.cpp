#include "transform/box_filter.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/errors.h"
#include "core/progress.h"
#include "core/line_access.h"
#include "core/parallel.h"
#include "transform/line_bands.h"

namespace {

// Exact division by the window, 2r + 1 up to 256, of sums below 2^24 (a
// window of 16-bit samples): a multiply and a shift, which the compiler can
// vectorise where a division would run one sample at a time.
class WindowDivider {
public:
    explicit WindowDivider(int d) : m_((std::uint64_t{1} << 32) / static_cast<std::uint64_t>(d) + 1) {}
    std::int32_t operator()(std::int32_t x) const {
        return static_cast<std::int32_t>((static_cast<std::uint64_t>(x) * m_) >> 32);
    }

private:
    std::uint64_t m_;
};

template <typename T>
void box_filter(const T* source, T* dest, int n, int r, int channels) {
    const int edge = std::min(r, n) * channels;
    std::copy(source, source + edge, dest);
    if (n > r) std::copy(source + (n - r) * channels, source + n * channels, dest + (n - r) * channels);
    if (n < 2 * r + 1) return;
    const int window = 2 * r + 1;
    for (int c = 0; c < channels; ++c) {
        std::int64_t sum = 0;
        for (int i = 0; i < window; ++i)
            sum += source[i * channels + c];
        for (int i = r; i < n - r; ++i) {
            dest[i * channels + c] = static_cast<T>(sum / window);
            if (i + r + 1 < n) sum += source[(i + r + 1) * channels + c] - source[(i - r) * channels + c];
        }
    }
}

// Samples of one input line at the widened columns `col` (x_first + j,
// clamped to the picture), as ints. The columns inside the picture follow
// one another: those are read straight.
void read_row(const Image* in, int y, const std::vector<int>& col, int x_first, int channels,
              std::vector<std::int32_t>& out) {
    const std::uint8_t* row = in->rows[std::clamp(y, 0, in->height - 1)];
    const int n = static_cast<int>(col.size());
    if (in->type == image_type_binary) {
        for (int j = 0; j < n; ++j)
            out[j] = image_bit_get(row, col[j]) ? 255 : 0;
        return;
    }
    const int lo = std::clamp(-x_first, 0, n);                     // first column inside
    const int hi = std::clamp(in->width - x_first, lo, n);         // one past the last
    auto copy = [&](const auto* samples) {
        for (int j = 0; j < lo; ++j)
            for (int c = 0; c < channels; ++c)
                out[j * channels + c] = samples[col[j] * channels + c];
        const auto* from = samples + static_cast<std::ptrdiff_t>(x_first + lo) * channels;
        std::int32_t* to = out.data() + static_cast<std::ptrdiff_t>(lo) * channels;
        for (int k = 0; k < (hi - lo) * channels; ++k)
            to[k] = from[k];
        for (int j = hi; j < n; ++j)
            for (int c = 0; c < channels; ++c)
                out[j * channels + c] = samples[col[j] * channels + c];
    };
    if (in->type == image_type_gray16 || in->type == image_type_colour16)
        copy(reinterpret_cast<const std::uint16_t*>(row));
    else
        copy(row);
}

// The whole picture through gaussian_lines in bands on all cores, sample by
// sample through `f`.
int whole_picture(const Image* input, Image* output, int radius, bool progress, const char* title,
                  int (*f)(int sample, int blurred, int top)) {
    const int type = input->type;
    if (!image_type_gray_or_colour(type)) return err_illegal_type;
    if (int err = image_alloc(output, type, input->width, input->height, input->resolution))
        return err;
    const bool wide = type == image_type_gray16 || type == image_type_colour16;
    const int top = wide ? 65535 : 255;
    const int n = input->width * (type == image_type_colour8 || type == image_type_colour16 ? 3 : 1);
    const ProgressScope shown(title, progress ? std::int64_t{input->width} * input->height : 0, 0,
                              input->height - 1, true);
    const int band = std::max(16, input->height / (4 * parallel_threads()) + 1);
    const int bands = (input->height + band - 1) / band;
    std::vector<int> errors(static_cast<std::size_t>(bands), 0);
    parallel_for(bands, [&](int b) {
        const int y0 = b * band;
        errors[static_cast<std::size_t>(b)] = gaussian_lines(
            input, 0, input->width, y0, std::min(band, input->height - y0), 1, radius,
            [&](int k, const std::int32_t* blurred) {
                const int y = y0 + k;
                for (int i = 0; i < n; ++i) {
                    if (wide) {
                        auto* o = reinterpret_cast<std::uint16_t*>(output->rows[y]);
                        const auto* c = reinterpret_cast<const std::uint16_t*>(input->rows[y]);
                        o[i] = static_cast<std::uint16_t>(f(c[i], blurred[i], top));
                    } else {
                        output->rows[y][i] =
                            static_cast<std::uint8_t>(f(input->rows[y][i], blurred[i], top));
                    }
                }
                return 0;
            });
    });
    for (int err : errors)
        if (err) return err;
    return 0;
}

// The thresholded mean of the square of 2r + 1 pixels around each pixel of
// the whole picture (edges counted again), channel by channel; a pixel with
// no qualifying sample keeps its own. Bands on all cores.
template <typename T>
int mean_image(const Image* in, int r, int threshold, Image* out) {
    if (int err = image_alloc(out, in->type, in->width, in->height, in->resolution)) return err;
    const int ch = in->type == image_type_colour8 || in->type == image_type_colour16 ? 3 : 1;
    const int w = in->width, h = in->height, n = w * ch;
    const int bands =
        (h < parallel_threads() || std::int64_t{w} * h <= 50000) ? 1 : parallel_threads();
    const int band = (h + bands) / bands;
    parallel_for(bands, [&](int b) {
        // Sums and counts of the samples that qualify, gathered a whole line
        // at a time for each offset of the square, so that the loops run
        // over consecutive samples.
        std::vector<std::int32_t> sum(static_cast<std::size_t>(n)),
            count(static_cast<std::size_t>(n));
        for (int y = b * band; y < std::min(h, (b + 1) * band); ++y) {
            const T* centre = reinterpret_cast<const T*>(in->rows[y]);
            std::fill(sum.begin(), sum.end(), 0);
            std::fill(count.begin(), count.end(), 0);
            auto take = [&](int i, int v) {
                const int d = v - centre[i];
                const bool in_range = d <= threshold && -d <= threshold;
                sum[i] += in_range ? v : 0;
                count[i] += in_range ? 1 : 0;
            };
            // A stretch of the line at a time, small enough for its sums and
            // counts to stay in the fastest cache through the whole square.
            constexpr int stretch = 1536;
            for (int first = 0; first < n; first += stretch) {
                const int last = std::min(n, first + stretch);
                for (int dy = -r; dy <= r; ++dy) {
                    const T* line =
                        reinterpret_cast<const T*>(in->rows[std::clamp(y + dy, 0, h - 1)]);
                    for (int dx = -r; dx <= r; ++dx) {
                        // Pixels whose neighbour at dx lies inside the line read
                        // it straight; the others read the edge pixel again.
                        const int lo = std::clamp(-dx, 0, w) * ch,
                                  hi = std::clamp(w - dx, 0, w) * ch;
                        for (int i = first; i < std::min(last, lo); ++i)
                            take(i, line[i % ch]);
                        for (int i = std::max(first, std::max(hi, lo)); i < last; ++i)
                            take(i, line[(w - 1) * ch + i % ch]);
                        // The hot loop: plain pointers that don't alias, so that
                        // it runs on vectors.
                        const T* __restrict shifted = line + dx * ch;
                        const T* __restrict own = centre;
                        std::int32_t* __restrict sums = sum.data();
                        std::int32_t* __restrict counts = count.data();
                        const int end_i = std::min(last, hi);
                        for (int i = std::max(first, lo); i < end_i; ++i) {
                            const std::int32_t v = shifted[i];
                            const std::int32_t d = v - own[i];
                            const std::int32_t in_range = (d <= threshold) & (-d <= threshold);
                            sums[i] += in_range * v;
                            counts[i] += in_range;
                        }
                    }
                }
            }
            T* o = reinterpret_cast<T*>(out->rows[y]);
            for (int i = 0; i < n; ++i)
                o[i] = static_cast<T>(count[i] ? sum[i] / count[i] : centre[i]);
        }
    });
    return 0;
}

}  // namespace

int gaussian_lines(const Image* input, int x0, int n, int y0, int count, int step, int r,
                   const GaussianLine& line) {
    const bool colour = input->type == image_type_colour8 || input->type == image_type_colour16;
    const int ch = colour ? 3 : 1;
    const int window = 2 * r + 1;
    const WindowDivider divide(window);
    const int wide_pixels = (n - 1) * step + 1 + 4 * r;  // the region widened by 2r each side
    std::vector<int> col(static_cast<std::size_t>(wide_pixels));
    for (int j = 0; j < wide_pixels; ++j)
        col[j] = std::clamp(x0 - 2 * r + j, 0, input->width - 1);
    const std::size_t width = static_cast<std::size_t>(wide_pixels) * ch;
    std::vector<std::int32_t> row(width), leaving(width), s1(width, 0), s2(width, 0), v(width),
        h1(width), out(static_cast<std::size_t>(n) * ch);
    // Rows of the first vertical pass, kept for the second: 2r + 2 of them.
    const int ring = window + 1;
    std::vector<std::int32_t> p1(static_cast<std::size_t>(ring) * width);
    auto pass1 = [&](int y) { return p1.data() + static_cast<std::size_t>(((y % ring) + ring) % ring) * width; };

    const int last = y0 + (count - 1) * step;
    for (int y = y0 - r; y <= last + r; ++y) {
        // First vertical pass at line y: the window of input lines y - r .. y + r.
        if (y == y0 - r) {
            for (int j = -r; j <= r; ++j) {
                read_row(input, y + j, col, x0 - 2 * r, ch, row);
                for (std::size_t i = 0; i < width; ++i)
                    s1[i] += row[i];
            }
        } else {
            read_row(input, y + r, col, x0 - 2 * r, ch, row);
            read_row(input, y - r - 1, col, x0 - 2 * r, ch, leaving);
            for (std::size_t i = 0; i < width; ++i)
                s1[i] += row[i] - leaving[i];
        }
        std::int32_t* p = pass1(y);
        for (std::size_t i = 0; i < width; ++i)
            p[i] = divide(s1[i]);
        // Second vertical pass at line Y = y - r, once its window is there.
        const int Y = y - r;
        if (Y < y0) continue;
        if (Y == y0) {
            for (int j = -r; j <= r; ++j) {
                const std::int32_t* q = pass1(Y + j);
                for (std::size_t i = 0; i < width; ++i)
                    s2[i] += q[i];
            }
        } else {
            const std::int32_t* in = pass1(Y + r);
            const std::int32_t* out_row = pass1(Y - r - 1);
            for (std::size_t i = 0; i < width; ++i)
                s2[i] += in[i] - out_row[i];
        }
        if ((Y - y0) % step != 0) continue;
        for (std::size_t i = 0; i < width; ++i)
            v[i] = divide(s2[i]);
        // Both horizontal passes, the second only where output pixels are;
        // the channels side by side, so that their sums run together.
        std::int32_t sum[3] = {0, 0, 0};
        for (int j = 0; j < window; ++j)
            for (int c = 0; c < ch; ++c)
                sum[c] += v[j * ch + c];
        for (int j = r; j < wide_pixels - r; ++j) {
            for (int c = 0; c < ch; ++c) {
                h1[j * ch + c] = divide(sum[c]);
                if (j + r + 1 < wide_pixels) sum[c] += v[(j + r + 1) * ch + c] - v[(j - r) * ch + c];
            }
        }
        // The second pass slides over every position and keeps those of the
        // output pixels: 2r + i·step.
        sum[0] = sum[1] = sum[2] = 0;
        for (int j = r; j <= 3 * r; ++j)
            for (int c = 0; c < ch; ++c)
                sum[c] += h1[j * ch + c];
        for (int j = 2 * r, i = 0; i < n; ++j) {
            const bool kept = j == 2 * r + i * step;
            for (int c = 0; c < ch; ++c) {
                if (kept) out[i * ch + c] = divide(sum[c]);
                if (j + r + 1 < wide_pixels - r) sum[c] += h1[(j + r + 1) * ch + c] - h1[(j - r) * ch + c];
            }
            if (kept) ++i;
        }
        if (int err = line((Y - y0) / step, out.data())) return err;
    }
    return 0;
}

int gaussian_bands(const ComputeArgs& args, const Image* input, const Image* mask, int r,
                   const char* title, const std::function<void(const GaussianBandLine&)>& line) {
    const int step = args.zoom < 0 ? -args.zoom : 1;
    const int n = args.line_width;
    return transform_for_bands(args, title, [&](int first, int count) {
        LineSource centre, mask_lines;
        LineSink sink;
        line_source_init(&centre);
        line_source_init(&mask_lines);
        line_sink_init(&sink);
        const int y0 = args.source_y + first * step;
        int err = line_source_open(input, args.source_x, y0, args.zoom, n, &centre);
        if (!err && mask) err = line_source_open(mask, args.source_x, y0, args.zoom, n, &mask_lines);
        if (!err) err = band_sink_open(args, first, &sink);
        std::vector<std::uint8_t> scratch;
        if (!err)
            err = gaussian_lines(input, args.source_x, n, y0, count, step, r,
                                 [&](int, const std::int32_t* blurred) {
                                     const std::uint8_t* c = line_source_next(&centre);
                                     const std::uint8_t* m = mask ? line_source_next(&mask_lines) : nullptr;
                                     line(GaussianBandLine{c, m, blurred, line_sink_line(&sink), scratch});
                                     line_sink_commit(&sink);
                                     return 0;
                                 });
        line_sink_close(&sink);
        line_source_close(&mask_lines);
        line_source_close(&centre);
        return err;
    });
}

void box_filter8(const std::uint8_t* source, std::uint8_t* dest, int n, int r, int channels) {
    box_filter(source, dest, n, r, channels);
}

void box_filter16(const std::uint16_t* source, std::uint16_t* dest, int n, int r, int channels) {
    box_filter(source, dest, n, r, channels);
}

int blur_image(const Image* input, Image* output, int radius, bool progress) {
    return whole_picture(input, output, radius, progress, "Blur",
                         [](int, int blurred, int) { return blurred; });
}

int high_pass_image(const Image* input, Image* output, int radius, bool progress) {
    return whole_picture(input, output, radius, progress, "Computing High Pass Image",
                         [](int sample, int blurred, int top) {
                             return std::clamp(sample - blurred + (top + 1) / 2, 0, top);
                         });
}

int thresholded_mean_image(const Image* input, int r, int threshold, Image* output) {
    switch (input->type) {
        case image_type_gray8:
        case image_type_colour8:
            return mean_image<std::uint8_t>(input, r, threshold, output);
        case image_type_gray16:
        case image_type_colour16:
            return mean_image<std::uint16_t>(input, r, threshold, output);
        default:
            return err_illegal_type;
    }
}

namespace {
template <typename T>
void push_line(const T* c, const T* m, int n, int channels, int threshold, double factor,
               std::int32_t* out) {
    const int top = sizeof(T) == 1 ? 255 : 65535;
    for (int i = 0; i < n; ++i) {
        bool moves = false;
        for (int k = i * channels; k < i * channels + channels; ++k)
            moves = moves || std::abs(c[k] - m[k]) >= threshold;
        for (int k = i * channels; k < i * channels + channels; ++k)
            out[k] = moves
                         ? std::clamp(m[k] + static_cast<int>(std::lround(factor * (c[k] - m[k]))),
                                      0, top)
                         : c[k];
    }
}
}  // namespace

void thresholded_push_line(const std::uint8_t* c, const std::uint8_t* m, int n, int channels,
                           int threshold, double factor, std::int32_t* out) {
    push_line(c, m, n, channels, threshold, factor, out);
}

void thresholded_push_line(const std::uint16_t* c, const std::uint16_t* m, int n, int channels,
                           int threshold, double factor, std::int32_t* out) {
    push_line(c, m, n, channels, threshold, factor, out);
}
