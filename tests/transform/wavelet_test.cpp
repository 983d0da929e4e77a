// The wavelet noise reduction against a NumPy restatement of the transform
// written here (tone scale, 1-2-1 levels at 2^k with symmetric edges, both
// thresholds, gains, the inverse), exactly, on small pictures; and its
// invariants: the levels sum back to the plane, a copy where nothing is
// thresholded, the same bytes on any thread count, and a clean cancel.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "batch_runner.h"
#include "core/errors.h"
#include "core/parallel.h"
#include "core/tables.h"
#include "sample_pictures.h"
#include "transform/registry.h"
#include "transform/transform.h"
#include "transform/wavelet.h"

namespace {

// A reproducible picture: a gradient, an edge and noise.
std::vector<int> picture(int w, int h, int channels, int top, unsigned seed) {
    std::vector<int> v(static_cast<std::size_t>(w) * h * channels);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < channels; ++c) {
                seed = seed * 1103515245u + 12345u;
                const int base =
                    (x * top / w + (x > w / 2 ? top / 3 : 0) + c * top / 7) % (top + 1);
                const int noise = static_cast<int>((seed >> 16) % 41) - 20;
                v[(static_cast<std::size_t>(y) * w + x) * channels + c] =
                    std::clamp(base + noise * (top / 255), 0, top);
            }
    return v;
}

constexpr const char* numpy_script = R"(
import sys, math
import numpy as np
N = [0.8002, 0.2735, 0.1202, 0.0585, 0.0291, 0.0152, 0.008, 0.0044]
H = [1, 0.5, 0.25, 0.125, 0.0625, 0.0312, 0.0156, 0.0078]

def mirror(i, n):
    if n == 1:
        return np.zeros_like(i)
    p = 2 * (n - 1)
    i = np.mod(i, p)
    return np.where(i < n, i, p - i)

def smooth(a, d, axis):
    n = a.shape[axis]
    i = np.arange(n)
    return (np.take(a, mirror(i - d, n), axis=axis) + 2 * a + np.take(a, mirror(i + d, n), axis=axis)) >> 2

def denoise(x, bits, t, levels, hard, s):
    h, w = x.shape
    L = min(levels, 8)
    while L > 0 and min(w, h) <= 2 ** L:
        L -= 1
    if L < 1 or (t == 0 and s == 0):
        return x
    x16 = x << 8 if bits == 8 else x
    p = np.vectorize(lambda v: math.isqrt(int(v) << 16))(x16).astype(np.int64)
    acc = np.zeros_like(p)
    for k in range(L):
        q = smooth(smooth(p, 2 ** k, 1), 2 ** k, 0)
        d = p - q
        T = int(t * N[k])
        inside = (d >= -T) & (d <= T)
        if hard:
            d = np.where(inside, 0, d)
        else:
            d = np.where(inside, 0, np.where(d > T, d - T, d + T))
        G = math.floor((1 + s * H[k]) * 256 + 0.5)
        acc += (d * G) >> 8
        p = q
    a = np.maximum(acc + p, 0)
    top = 255 if bits == 8 else 65535
    return np.minimum((a * a + (1 << (23 if bits == 8 else 15))) >> (24 if bits == 8 else 16), top)

bad = 0
for name in sys.argv[1:]:
    f = [float(v) for v in open(name).read().split()]
    w, h, ch, bits, t, levels, hard, s = f[:8]
    w, h, ch, bits, t, levels, hard = map(int, (w, h, ch, bits, t, levels, hard))
    n = w * h * ch
    x = np.array(f[8:8 + n], dtype=np.int64).reshape(h, w, ch)
    ours = np.array(f[8 + n:8 + 2 * n], dtype=np.int64).reshape(h, w, ch)
    for c in range(ch):
        ref = denoise(x[:, :, c], bits, t, levels, hard, s)
        diff = np.argwhere(ref != ours[:, :, c])
        if len(diff):
            y, xx = diff[0]
            print(name, 'channel', c, len(diff), 'differ, first at', xx, y, ref[y, xx], ours[y, xx, c])
            bad += 1
sys.exit(1 if bad else 0)
)";

struct NumPyCase {
    int width, height, type;
    WaveletSettings settings;
};

TEST(Wavelet, AgreesWithNumPy) {
    if (std::system("/usr/bin/python3 -c 'import numpy' 2>/dev/null") != 0)
        GTEST_SKIP() << "NumPy missing: run scripts/install-deps.sh";
    const NumPyCase cases[] = {
        {37, 29, image_type_gray8, {900, 4, false, 0.0}},      // soft, capped to 3 levels
        {41, 40, image_type_colour16, {2500, 8, true, 1.5}},   // hard with sharpening
        {70, 33, image_type_colour8, {0, 2, false, 3.0}},      // sharpening alone
        {300, 260, image_type_gray16, {6000, 8, false, 0.7}},  // eight levels
    };
    const auto dir = std::filesystem::temp_directory_path() / "orvane_wavelet";
    std::filesystem::create_directories(dir);
    std::ofstream((dir / "check.py").string()) << numpy_script;
    std::string command = words({"/usr/bin/python3", quoted((dir / "check.py").string())});
    int k = 0;
    for (const NumPyCase& c : cases) {
        const int ch = c.type == image_type_colour8 || c.type == image_type_colour16 ? 3 : 1;
        const int bits = c.type == image_type_gray16 || c.type == image_type_colour16 ? 16 : 8;
        const std::vector<int> in = picture(c.width, c.height, ch, bits == 8 ? 255 : 65535, 7u + k);
        Image input = image_of(in, c.width, c.height, c.type);
        ImageHolder output;
        ASSERT_EQ(wavelet_denoise_image(&input, output.get(), c.settings, {}), 0);
        image_free(&input);
        const std::string name = (dir / ("case" + std::to_string(k++) + ".txt")).string();
        std::ofstream file(name);
        file << c.width << ' ' << c.height << ' ' << ch << ' ' << bits << ' '
             << c.settings.threshold << ' ' << c.settings.levels << ' ' << c.settings.hard << ' '
             << c.settings.sharpen << '\n';
        for (int v : in)
            file << v << ' ';
        file << '\n';
        for (int v : samples_of(*output.get()))
            file << v << ' ';
        command += ' ' + quoted(name);
    }
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    std::filesystem::remove_all(dir);
}

// A plane inside interleaved samples, as mosaic data lies: the same as the
// picture's own channel.
TEST(Wavelet, APlaneOfAnyStepIsItsChannel) {
    const int w = 53, h = 41;
    for (int type : {image_type_colour8, image_type_colour16}) {
        const int bits = type == image_type_colour8 ? 8 : 16, top = bits == 8 ? 255 : 65535;
        const std::vector<int> v = picture(w, h, 3, top, 13);
        Image input = image_of(v, w, h, type);
        ImageHolder whole;
        const WaveletSettings settings{1500, 3, false, 0.4};
        ASSERT_EQ(wavelet_denoise_image(&input, whole.get(), settings, {}), 0);
        const int line = 3 * w + 5;  // lines padded
        std::vector<std::uint16_t> s16(static_cast<std::size_t>(line) * h);
        std::vector<std::uint8_t> s8(s16.size());
        for (int y = 0; y < h; ++y)
            for (int i = 0; i < 3 * w; ++i) {
                s16[static_cast<std::size_t>(y) * line + i] =
                    static_cast<std::uint16_t>(v[static_cast<std::size_t>(y) * 3 * w + i]);
                s8[static_cast<std::size_t>(y) * line + i] =
                    static_cast<std::uint8_t>(v[static_cast<std::size_t>(y) * 3 * w + i]);
            }
        void* samples =
            bits == 8 ? static_cast<void*>(s8.data() + 1) : static_cast<void*>(s16.data() + 1);
        ASSERT_EQ(
            wavelet_denoise_plane(samples, 3, line, samples, 3, line, bits, w, h, settings, {}), 0);
        const std::vector<int> expected = samples_of(*whole.get());
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const std::size_t at = static_cast<std::size_t>(y) * line + 3 * x + 1;
                ASSERT_EQ(bits == 8 ? s8[at] : s16[at],
                          expected[(static_cast<std::size_t>(y) * w + x) * 3 + 1])
                    << bits << ' ' << x << ' ' << y;
            }
        image_free(&input);
    }
}

TEST(Wavelet, LevelsSumBackToThePlane) {
    const int w = 67, h = 45;
    const std::vector<int> v = picture(w, h, 1, 65535, 3);
    std::vector<std::uint16_t> plane(v.begin(), v.end());
    std::vector<std::int32_t> sum(plane.size());
    ASSERT_EQ(wavelet_transform_plane(plane.data(), w, h, {0, 8, false, 0.0}, sum.data(), {}), 0);
    EXPECT_TRUE(std::equal(sum.begin(), sum.end(), v.begin()));
}

// With nothing thresholded, the tone scale and its inverse alone: 8-bit
// samples come back exactly; 16-bit ones lose up to two levels, the scale
// having only about one code for two levels near white.
TEST(Wavelet, ToneScaleRoundTrip) {
    for (int bits : {8, 16}) {
        const int top = bits == 8 ? 255 : 65535;
        int worst = 0;
        for (int x = 0; x <= top; ++x) {
            const int back = wavelet_untone(wavelet_tone(bits == 8 ? x << 8 : x), bits);
            worst = std::max(worst, std::abs(back - x));
        }
        EXPECT_EQ(worst, bits == 8 ? 0 : 2) << bits;
    }
}

TEST(Wavelet, Thresholds) {
    struct Case {
        int d, t;
        bool hard;
        int expected;
    } const cases[] = {
        {101, 100, true, 101},   {101, 100, false, 1}, {-101, 100, false, -1},
        {-101, 100, true, -101}, {100, 100, true, 0},  {-100, 100, false, 0},
        {0, 0, false, 0},        {5, 0, false, 5},
    };
    for (const Case& c : cases)
        EXPECT_EQ(wavelet_shrink(c.d, c.t, c.hard), c.expected)
            << c.d << ' ' << c.t << ' ' << c.hard;
}

TEST(Wavelet, Copies) {
    struct Case {
        int width, height;
        WaveletSettings settings;
    } const cases[] = {
        {40, 40, {0, 8, true, 0.0}},    // nothing to threshold or sharpen
        {300, 1, {5000, 8, false, 2}},  // a single line: no level fits
        {2, 90, {5000, 1, false, 2}},   // two columns: still none
    };
    for (const Case& c : cases) {
        const std::vector<int> v = picture(c.width, c.height, 3, 255, 11);
        Image input = image_of(v, c.width, c.height, image_type_colour8);
        ImageHolder output;
        ASSERT_EQ(wavelet_denoise_image(&input, output.get(), c.settings, {}), 0);
        EXPECT_EQ(samples_of(*output.get()), v) << c.width << 'x' << c.height;
        image_free(&input);
    }
}

TEST(Wavelet, SameBytesOnAnyThreadCount) {
    const int w = 300, h = 270;
    Image input = image_of(picture(w, h, 3, 65535, 5), w, h, image_type_colour16);
    std::vector<int> first;
    for (int threads : {1, 2, 5}) {
        parallel_set_threads(threads);
        ImageHolder output;
        ASSERT_EQ(wavelet_denoise_image(&input, output.get(), {3000, 8, false, 1.0}, {}), 0);
        if (first.empty())
            first = samples_of(*output.get());
        else
            EXPECT_EQ(samples_of(*output.get()), first) << threads << " threads";
    }
    parallel_set_threads(0);
    image_free(&input);
}

TEST(Wavelet, CancelFreesEverything) {
    const int w = 200, h = 150;
    Image input = image_of(picture(w, h, 3, 255, 9), w, h, image_type_colour8);
    for (std::int64_t at : {1, 400, 2000}) {
        ImageHolder output;
        int calls = 0;
        const int err = wavelet_denoise_image(&input, output.get(), {800, 8, false, 0.5},
                                              [&](std::int64_t done, std::int64_t) {
                                                  ++calls;
                                                  return done >= at ? err_aborted : 0;
                                              });
        EXPECT_EQ(err, err_aborted) << at;
        EXPECT_EQ(output.get()->type, 0) << at;
        EXPECT_GT(calls, 0);
    }
    image_free(&input);
}

// ---------------------------------------------------------------------------
// The transformation over it

const TransformDescriptor& noise_reduction() {
    return *transform_find_title("Noise Reduction")->descriptor;
}

void set(void* params, const char* keyword, double value) {
    field_find(noise_reduction().fields, keyword)->set(params, value);
}

// Blended by amount and mask against the library's result: at 16 bits by
// ((255 - s) in + s out + 127) >> 8, at 8 bits by the shared lerp8.
TEST(NoiseReduction, AmountAndMaskBlendTheLibrarysResult) {
    struct Case {
        int type, amount_low, amount_high;
    } const cases[] = {
        {image_type_colour16, 512, -1},
        {image_type_gray8, 700, -1},
        {image_type_colour16, 200, 900},
        {image_type_colour8, 1024, 100},
    };
    const int w = 61, h = 47;
    Image mask = image_of(picture(w, h, 1, 255, 4), w, h, image_type_gray8);
    for (const Case& c : cases) {
        const int ch = c.type == image_type_colour8 || c.type == image_type_colour16 ? 3 : 1;
        const bool wide = c.type == image_type_colour16 || c.type == image_type_gray16;
        WindowRecord record{};
        record.image = image_of(picture(w, h, ch, wide ? 65535 : 255, 2), w, h, c.type);
        ParamBlock params;
        ASSERT_EQ(params.allocate(noise_reduction()), 0);
        set(params.get(), "threshold", 500);  // 4000 stored
        set(params.get(), "levels", 4);
        set(params.get(), "method", 1);
        set(params.get(), "sharpen", 0.8);
        AmountSettings* amount =
            field_find(noise_reduction().fields, "amount")->amount(params.get());
        amount->amount_low = c.amount_low;
        amount->amount_high = c.amount_high;
        amount->amount_mask = c.amount_high >= 0 ? &mask : nullptr;
        ImageHolder output, denoised;
        ASSERT_EQ(
            transform_compute_image(noise_reduction(), params.get(), &record.image, output.get()),
            0);
        ASSERT_EQ(wavelet_denoise_image(&record.image, denoised.get(), {4000, 5, true, 0.8}, {}),
                  0);
        const std::vector<int> in = samples_of(record.image), out = samples_of(*denoised.get());
        const std::vector<int> m = samples_of(mask);
        std::vector<int> expected(in.size());
        const int a = (c.amount_low * 255 + 512) / 1024, b = (c.amount_high * 255 + 512) / 1024;
        for (std::size_t i = 0; i < in.size(); ++i) {
            const int s = c.amount_high >= 0 ? lerp8(a, b, m[i / ch]) : a;
            expected[i] =
                wide ? ((255 - s) * in[i] + s * out[i] + 127) >> 8 : lerp8(in[i], out[i], s);
        }
        EXPECT_EQ(samples_of(*output.get()), expected)
            << c.type << ' ' << c.amount_low << ' ' << c.amount_high;
        image_free(&record.image);
    }
    image_free(&mask);
}

// A preview of part of the picture at 1:1 is computed with a margin wide
// enough to give the pixels of the whole picture's result there; one kept
// for a change of view serves no other settings, nor a picture changed in
// place.
TEST(NoiseReduction, APreviewShowsTheWholePicturesPixels) {
    const int w = 150, h = 110;
    WindowRecord record{};
    record.image = image_of(picture(w, h, 3, 255, 8), w, h, image_type_colour8);
    ParamBlock params;
    ASSERT_EQ(params.allocate(noise_reduction()), 0);
    struct Case {
        int threshold, levels, painted;
    } const cases[] = {{375, 5, 0}, {100, 5, 0}, {100, 5, 90}};
    for (const Case& c : cases) {
        set(params.get(), "threshold", c.threshold);
        set(params.get(), "levels", c.levels);
        if (c.painted) record.image.rows[50][3 * 70] = static_cast<std::uint8_t>(c.painted);
        const std::string what = std::to_string(c.threshold) + ' ' + std::to_string(c.painted);
        expect_preview_is_apply(noise_reduction(), params.get(), record, what.c_str());
    }
    image_free(&record.image);
}

}  // namespace
