#include "transform/wavelet.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <memory>
#include <new>

#include "core/errors.h"
#include "core/parallel.h"

namespace {

// Noise at level k relative to level 0 for white noise, and the sharpening
// weight of level k: finer levels are sharpened most.
constexpr double level_noise[wavelet_levels_max] = {0.8002, 0.2735, 0.1202, 0.0585,
                                                    0.0291, 0.0152, 0.008,  0.0044};
constexpr double level_weight[wavelet_levels_max] = {1,      0.5,    0.25,   0.125,
                                                     0.0625, 0.0312, 0.0156, 0.0078};

const std::array<std::uint16_t, 65536>& tone_table() {
    static const auto table = [] {
        std::array<std::uint16_t, 65536> t{};
        for (int x = 0; x < 65536; ++x)
            t[x] = static_cast<std::uint16_t>(std::min(65535.0, std::floor(256.0 * std::sqrt(x))));
        return t;
    }();
    return table;
}

// Whole-sample symmetric reflection into 0 .. n - 1: ... 2 1 0 1 2 ...
int reflect(int i, int n) {
    if (n == 1) return 0;
    const int period = 2 * (n - 1);
    i %= period;
    if (i < 0) i += period;
    return i < n ? i : period - i;
}

template <typename T>
std::unique_ptr<T[]> allocate_array(std::size_t n) {
    return std::unique_ptr<T[]>(new (std::nothrow) T[n]);
}

// Rows first..last - 1 of a w by h job, in rounds of bands over the threads,
// with the progress callback between rounds.
struct RowRunner {
    int height;
    const WaveletProgress& progress;
    std::int64_t done = 0;
    std::int64_t total = 0;

    int run(const std::function<void(int y0, int y1)>& rows) {
        const int threads = parallel_threads();
        const int size = std::max(8, height / (threads * 8) + 1);
        for (int first = 0; first < height;) {
            const int round_rows = std::min(height - first, size * threads);
            const int bands = (round_rows + size - 1) / size;
            parallel_for(bands, [&](int b) {
                const int y0 = first + b * size;
                rows(y0, std::min(y0 + size, first + round_rows));
            });
            first += round_rows;
            done += round_rows;
            if (progress)
                if (int err = progress(done, total)) return err;
        }
        return 0;
    }
};

// (a[i - d] + 2 a[i] + a[i + d]) >> 2 along one line of n samples.
void smooth_line(const std::uint16_t* __restrict a, std::uint16_t* __restrict out, int n, int d) {
    const int lo = std::min(d, n), hi = std::max(lo, n - d);
    for (int i = 0; i < lo; ++i)
        out[i] = static_cast<std::uint16_t>(
            (a[reflect(i - d, n)] + 2 * a[i] + a[reflect(i + d, n)]) >> 2);
    for (int i = lo; i < hi; ++i)
        out[i] = static_cast<std::uint16_t>((a[i - d] + 2 * a[i] + a[i + d]) >> 2);
    for (int i = hi; i < n; ++i)
        out[i] = static_cast<std::uint16_t>(
            (a[reflect(i - d, n)] + 2 * a[i] + a[reflect(i + d, n)]) >> 2);
}

// The column pass of one line from three lines of the row pass, with the
// detail of the line against it thresholded, scaled and summed.
void column_line(const std::uint16_t* __restrict up, const std::uint16_t* __restrict mid,
                 const std::uint16_t* __restrict down, const std::uint16_t* __restrict plane,
                 std::uint16_t* __restrict next, std::int32_t* __restrict sum, int n, int t,
                 bool hard, int gain) {
    for (int i = 0; i < n; ++i)
        next[i] = static_cast<std::uint16_t>((up[i] + 2 * mid[i] + down[i]) >> 2);
    for (int i = 0; i < n; ++i) {
        const std::int32_t d = plane[i] - next[i];
        sum[i] += (wavelet_shrink(d, t, hard) * gain) >> 8;
    }
}

}  // namespace

int wavelet_level_count(int levels, int width, int height) {
    int l = std::min(levels, wavelet_levels_max);
    while (l > 0 && std::min(width, height) <= (1 << l))
        --l;
    return std::max(l, 0);
}

bool wavelet_copies(const WaveletSettings& s, int width, int height) {
    return wavelet_level_count(s.levels, width, height) < 1 || (s.threshold == 0 && s.sharpen == 0);
}

std::uint16_t wavelet_tone(int sample16) {
    return tone_table()[static_cast<std::size_t>(std::clamp(sample16, 0, 65535))];
}

int wavelet_untone(std::int32_t a, int bits) {
    const std::int64_t v = std::max<std::int64_t>(a, 0);
    if (bits == 8) return static_cast<int>(std::min<std::int64_t>((v * v + (1 << 23)) >> 24, 255));
    return static_cast<int>(std::min<std::int64_t>((v * v + (1 << 15)) >> 16, 65535));
}

int wavelet_level_threshold(int t, int k) {
    return static_cast<int>(t * level_noise[k]);
}

int wavelet_level_gain(double s, int k) {
    return static_cast<int>(std::lround((1 + s * level_weight[k]) * 256));
}

namespace {

// The planes of one run, allocated once for every channel: fresh memory
// costs a page fault a page, more than a level's arithmetic.
struct Planes {
    std::unique_ptr<std::uint16_t[]> plane, rows_pass, spare;
    std::unique_ptr<std::int32_t[]> sum;
    int allocate(std::size_t n, bool with_plane) {
        if (with_plane) plane = allocate_array<std::uint16_t>(n);
        rows_pass = allocate_array<std::uint16_t>(n);
        spare = allocate_array<std::uint16_t>(n);
        if (with_plane) sum = allocate_array<std::int32_t>(n);
        return (with_plane && (!plane || !sum)) || !rows_pass || !spare ? err_memory : 0;
    }
};

int transform_levels(std::uint16_t* plane, int width, int height, const WaveletSettings& settings,
                     std::int32_t* sum, Planes& planes, const WaveletProgress& progress) {
    const int levels = wavelet_level_count(settings.levels, width, height);
    std::uint16_t* current = plane;
    std::uint16_t* next = planes.spare.get();
    std::uint16_t* rows_pass = planes.rows_pass.get();
    RowRunner runner{height, progress};
    runner.total = static_cast<std::int64_t>(2 * levels + 1) * height;
    const auto line = [width](std::uint16_t* p, int y) {
        return p + static_cast<std::size_t>(y) * width;
    };
    for (int k = 0; k < levels; ++k) {
        const int d = 1 << k;
        const int t = wavelet_level_threshold(settings.threshold, k);
        const int gain = wavelet_level_gain(settings.sharpen, k);
        if (int err = runner.run([&](int y0, int y1) {
                for (int y = y0; y < y1; ++y) {
                    smooth_line(line(current, y), line(rows_pass, y), width, d);
                    if (k == 0) std::fill_n(sum + static_cast<std::size_t>(y) * width, width, 0);
                }
            }))
            return err;
        if (int err = runner.run([&](int y0, int y1) {
                for (int y = y0; y < y1; ++y)
                    column_line(line(rows_pass, reflect(y - d, height)), line(rows_pass, y),
                                line(rows_pass, reflect(y + d, height)), line(current, y),
                                line(next, y), sum + static_cast<std::size_t>(y) * width, width, t,
                                settings.hard, gain);
            }))
            return err;
        std::swap(current, next);
    }
    return runner.run([&](int y0, int y1) {
        const std::size_t end = static_cast<std::size_t>(y1) * width;
        for (std::size_t i = static_cast<std::size_t>(y0) * width; i < end; ++i)
            sum[i] += current[i];
    });
}

// The tone scale on the way in and its inverse on the way out, for samples
// `step` apart in lines that `line(y)` finds.
template <typename T, typename Line>
void tone_in(const Line& line, int step, int width, int height, std::uint16_t* plane) {
    const auto& tone = tone_table();
    const int shift = sizeof(T) == 1 ? 8 : 0;
    parallel_for(height, [&](int y) {
        const T* s = reinterpret_cast<const T*>(line(y));
        std::uint16_t* p = plane + static_cast<std::size_t>(y) * width;
        for (int x = 0; x < width; ++x)
            p[x] = tone[static_cast<std::size_t>(s[x * step]) << shift];
    });
}

template <typename T, typename Line>
void tone_out(const std::int32_t* sum, int width, int height, const Line& line, int step) {
    parallel_for(height, [&](int y) {
        const std::int32_t* a = sum + static_cast<std::size_t>(y) * width;
        T* o = reinterpret_cast<T*>(line(y));
        for (int x = 0; x < width; ++x)
            o[x * step] = static_cast<T>(wavelet_untone(a[x], sizeof(T) * 8));
    });
}

}  // namespace

int wavelet_transform_plane(std::uint16_t* plane, int width, int height,
                            const WaveletSettings& settings, std::int32_t* sum,
                            const WaveletProgress& progress) {
    Planes planes;
    if (int err = planes.allocate(static_cast<std::size_t>(width) * height, false)) return err;
    return transform_levels(plane, width, height, settings, sum, planes, progress);
}

int wavelet_denoise_plane(const void* in, int in_step, std::int64_t in_line, void* out,
                          int out_step, std::int64_t out_line, int bits, int width, int height,
                          const WaveletSettings& settings, const WaveletProgress& progress) {
    Planes planes;
    if (int err = planes.allocate(static_cast<std::size_t>(width) * height, true)) return err;
    const int bytes = bits == 8 ? 1 : 2;
    const auto in_at = [&](int y) {
        return static_cast<const std::uint8_t*>(in) + y * in_line * bytes;
    };
    const auto out_at = [&](int y) {
        return static_cast<std::uint8_t*>(out) + y * out_line * bytes;
    };
    if (bits == 8)
        tone_in<std::uint8_t>(in_at, in_step, width, height, planes.plane.get());
    else
        tone_in<std::uint16_t>(in_at, in_step, width, height, planes.plane.get());
    if (int err = transform_levels(planes.plane.get(), width, height, settings, planes.sum.get(),
                                   planes, progress))
        return err;
    if (bits == 8)
        tone_out<std::uint8_t>(planes.sum.get(), width, height, out_at, out_step);
    else
        tone_out<std::uint16_t>(planes.sum.get(), width, height, out_at, out_step);
    return 0;
}

int wavelet_denoise_image(const Image* input, Image* output, const WaveletSettings& settings,
                          const WaveletProgress& progress) {
    const int type = input->type;
    int channels = 0;
    bool sixteen = false;
    switch (type) {
        case image_type_gray8:
            channels = 1;
            break;
        case image_type_colour8:
            channels = 3;
            break;
        case image_type_gray16:
            channels = 1, sixteen = true;
            break;
        case image_type_colour16:
            channels = 3, sixteen = true;
            break;
        default:
            return err_illegal_type;
    }
    const bool ready =
        output->type == type && output->width == input->width && output->height == input->height;
    if (!ready)
        if (int err = image_alloc_like(input, output)) return err;
    const int w = input->width, h = input->height;
    if (wavelet_copies(settings, w, h)) {
        for (int y = 0; y < h; ++y)
            std::copy_n(input->rows[y], image_line_bytes(input), output->rows[y]);
        return 0;
    }
    Planes planes;
    if (int err = planes.allocate(static_cast<std::size_t>(w) * h, true)) {
        image_free(output);
        return err;
    }
    const int bytes = sixteen ? 2 : 1;
    for (int c = 0; c < channels; ++c) {
        // Lines of an Image need not lie evenly apart: each is found by its pointer.
        const auto in_at = [&](int y) { return input->rows[y] + c * bytes; };
        const auto out_at = [&](int y) { return output->rows[y] + c * bytes; };
        if (sixteen)
            tone_in<std::uint16_t>(in_at, channels, w, h, planes.plane.get());
        else
            tone_in<std::uint8_t>(in_at, channels, w, h, planes.plane.get());
        const WaveletProgress channel_progress = [&](std::int64_t done, std::int64_t total) {
            return progress ? progress(c * total + done, channels * total) : 0;
        };
        if (int err = transform_levels(planes.plane.get(), w, h, settings, planes.sum.get(), planes,
                                       channel_progress)) {
            image_free(output);
            return err;
        }
        if (sixteen)
            tone_out<std::uint16_t>(planes.sum.get(), w, h, out_at, channels);
        else
            tone_out<std::uint8_t>(planes.sum.get(), w, h, out_at, channels);
    }
    return 0;
}
