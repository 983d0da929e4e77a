// Wavelet noise reduction: the samples go onto a square-root tone scale, are
// split into up to eight detail levels of an undecimated 1-2-1 "à trous"
// transform (level k smooths at distance 2^k), each level's detail is
// thresholded and scaled by a sharpening gain, and the levels are summed
// back and taken off the tone scale. Noise Reduction applies it to each
// channel of a picture; the raw pipeline applies it to mosaic planes.
//
// Integer arithmetic throughout, in bands of lines on all cores: the result
// is the same whatever the thread count.
#pragma once

#include <cstdint>
#include <functional>

#include "core/image.h"

inline constexpr int wavelet_levels_max = 8;

struct WaveletSettings {
    int threshold = 0;     // t: level k drops details up to trunc(t * N[k])
    int levels = 2;        // levels wanted, 1 .. 8
    bool hard = false;     // hard rather than soft threshold
    double sharpen = 0.0;  // s, 0 .. 3: level k's gain is 1 + s * H[k]
};

// Called on the calling thread between rounds of work with the rows done so
// far and the total; a non-zero answer (11 for a cancel) ends the run with
// that code. May be empty.
using WaveletProgress = std::function<int(std::int64_t done, std::int64_t total)>;

// The levels a width by height plane gets: the wanted count capped at 8, less
// one while the smaller side is not larger than 2^levels. Below 1 the plane
// is left alone.
int wavelet_level_count(int levels, int width, int height);

// Whether the settings leave a width by height plane as it is.
bool wavelet_copies(const WaveletSettings& settings, int width, int height);

// The tone scale: trunc(256 * sqrt(x)) of a 16-bit sample (an 8-bit one is
// shifted up by 8 first), and its inverse with rounding, clamped: 0 .. 65535
// for `bits` 16, 0 .. 255 for `bits` 8.
std::uint16_t wavelet_tone(int sample16);
int wavelet_untone(std::int32_t a, int bits);

// Level k's threshold trunc(t * N[k]) and gain round((1 + s * H[k]) * 256).
int wavelet_level_threshold(int t, int k);
int wavelet_level_gain(double s, int k);

// A detail after the hard or soft threshold T.
constexpr int wavelet_shrink(int d, int t, bool hard) {
    if (d >= -t && d <= t) return 0;
    return hard ? d : (d > t ? d - t : d + t);
}

// The transform of one plane of tone-scaled samples (width * height, line
// after line, `plane` overwritten): the sum of the last smoothed plane and
// every level's scaled detail, into `sum` (width * height). The caller
// checks wavelet_copies first. Returns 0, 1 when memory runs out, or the
// progress callback's code; every level plane is freed on all paths.
[[nodiscard]] int wavelet_transform_plane(std::uint16_t* plane, int width, int height,
                                          const WaveletSettings& settings, std::int32_t* sum,
                                          const WaveletProgress& progress);

// Noise reduction of `samples` of 8 or 16 bits (`bits`), one plane of width
// by height whose sample (x, y) is at in[y * in_line + x * in_step], into the
// same layout of `out`: tone scale, transform, inverse. `in` and `out` may be
// the same. 0, 1 for memory, or the progress callback's code.
[[nodiscard]] int wavelet_denoise_plane(const void* in, int in_step, std::int64_t in_line,
                                        void* out, int out_step, std::int64_t out_line, int bits,
                                        int width, int height, const WaveletSettings& settings,
                                        const WaveletProgress& progress);

// Noise reduction of every channel of a grey or colour picture of 8 or 16
// bits into `output`: allocated here in the input's shape, unless it already
// holds a picture of the input's type and size. 0, 1 for memory, 14 for
// another type, or the progress callback's code (with `output` freed).
[[nodiscard]] int wavelet_denoise_image(const Image* input, Image* output,
                                        const WaveletSettings& settings,
                                        const WaveletProgress& progress);
