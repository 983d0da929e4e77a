// The resampler against a NumPy reimplementation of its integer arithmetic
// and against SciPy's bilinear zoom; constant pictures, thread counts and the
// size arithmetic of Resize's operations.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "batch_runner.h"
#include "core/image.h"
#include "core/parallel.h"
#include "transform/resample.h"

namespace {

// A picture of pseudo-random samples, or of one value everywhere.
void fill(Image* image, int type, int width, int height, std::uint32_t seed, int constant = -1) {
    ASSERT_EQ(image_alloc(image, type, width, height, 72.0), 0);
    const int bytes = image_line_bytes(image);
    for (int y = 0; y < height; ++y)
        for (int i = 0; i < bytes; ++i) {
            seed = seed * 1103515245u + 12345u;
            const int v = constant >= 0 ? (image_is_16bit(image) ? constant >> (8 * (i & 1)) : constant)
                                        : static_cast<int>(seed >> 16);
            image->rows[y][i] = static_cast<std::uint8_t>(v);
        }
}

std::vector<std::uint8_t> bytes_of(const Image* image) {
    std::vector<std::uint8_t> out;
    const int n = image_line_bytes(image);
    for (int y = 0; y < image->height; ++y)
        out.insert(out.end(), image->rows[y], image->rows[y] + n);
    return out;
}

// The arithmetic again, as matrices: taps of each output sample, integer
// weights, then vertical and horizontal combining with truncation.
constexpr const char* reference_script = R"(
import math, sys, numpy as np
PI = 3.1415926536
def K(x, method, a):
    x = abs(x)
    if method == 1: return 1 - x if x <= 1 else 0.0
    if method == 2:
        if x <= 1: return ((a + 2) * x - (a + 3)) * x * x + 1
        return ((a * x - 5 * a) * x + 8 * a) * x - 4 * a if x <= 2 else 0.0
    L = {3: 2, 4: 3, 5: 4}[method]
    if x == 0: return 1.0
    return math.sin(PI * x) / x * L * math.sin(PI * x / L) / x if x <= L else 0.0
def weights(n, m, method, a):
    W = np.zeros((m, n), dtype=np.int64); direct = [-1] * m
    s = 0 if m == 1 else (n - 1) / (m - 1)
    for i in range(m):
        if n == m: W[i, i] = 1; continue
        if method == 0:
            W[i, 0 if m == 1 else (i * (n - 1) + (m - 1) // 2) // (m - 1)] = 1; continue
        c = int(i * s); f = i * s - c
        if n < m:
            t = {1: 4, 2: 4, 3: 4, 4: 6, 5: 8}[method]
            for k in range(-(t // 2 - 1), t // 2 + 1):
                if 0 <= c + k < n: W[i, c + k] = int(255 * K(k - f, method, a))
            if int(255 * f) == 0: direct[i] = c
        else:
            for k in range(-int(s) - 1, int(s) + 2):
                if 0 <= c + k < n: W[i, c + k] = min(255, max(0, int(255 * K((k - f) / (n / m), method, a))))
    return W, direct
def combine(W, x, top):
    acc = np.tensordot(W, x, axes=(1, 0)); d = W.sum(axis=1); d[d == 0] = 1
    d = d.reshape((-1,) + (1,) * (x.ndim - 1))
    return np.minimum(np.where(acc <= 0, 0, acc // d), top)
for line in open(sys.argv[1]):
    name, w, h, c, depth, mw, mh, method, a = line.split()
    w, h, c, depth, mw, mh, method, a = int(w), int(h), int(c), int(depth), int(mw), int(mh), int(method), float(a)
    dt = '<u2' if depth == 16 else 'u1'; top = 65535 if depth == 16 else 255
    x = np.fromfile(name + '.in', dtype=dt).reshape(h, w, c).astype(np.int64)
    Wy, direct = weights(h, mh, method, a); Wx, _ = weights(w, mw, method, a)
    v = combine(Wy, x, top)
    for j in range(mh):
        if direct[j] >= 0: v[j] = x[direct[j]]
    out = np.moveaxis(combine(Wx, np.moveaxis(v, 1, 0), top), 0, 1)
    out.astype(dt).tofile(name + '.ref')
)";

struct Case {
    int type, width, height, out_width, out_height, method;
    double a;
};

// Every method enlarging, reducing, both at once, to one column, 2 to 5.
const Case reference_cases[] = {
    {image_type_gray8, 7, 5, 17, 12, resample_bilinear, 0},
    {image_type_colour8, 7, 5, 17, 12, resample_bicubic, -0.5},
    {image_type_gray16, 7, 5, 17, 12, resample_bicubic, -2.0},
    {image_type_colour16, 7, 5, 17, 12, resample_lanczos4, 0},
    {image_type_gray8, 9, 7, 20, 15, resample_lanczos6, 0},
    {image_type_colour8, 11, 9, 23, 31, resample_lanczos8, 0},
    {image_type_colour8, 23, 19, 6, 5, resample_bilinear, 0},
    {image_type_gray16, 23, 19, 6, 5, resample_bicubic, -1.0},
    {image_type_colour16, 41, 29, 7, 9, resample_lanczos4, 0},
    {image_type_gray8, 40, 33, 13, 11, resample_lanczos6, 0},
    {image_type_colour8, 25, 37, 8, 10, resample_lanczos8, 0},
    {image_type_colour8, 9, 21, 20, 4, resample_bicubic, -0.75},
    {image_type_gray16, 13, 6, 1, 17, resample_lanczos8, 0},
    {image_type_gray8, 2, 3, 5, 1, resample_bilinear, 0},
    {image_type_colour8, 13, 11, 29, 4, resample_nearest, 0},
    {image_type_gray16, 30, 30, 30, 12, resample_bicubic, -0.5},
    {image_type_gray8, 5, 3, 7, 600, resample_lanczos8, 0},  // fractions below 1/255
};

std::filesystem::path scratch_dir(const char* name) {
    const auto dir = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directories(dir);
    return dir;
}

bool python_has(const char* module) {
    const std::string check = std::string("/usr/bin/python3 -c 'import ") + module + "' 2>/dev/null";
    return std::system(check.c_str()) == 0;
}

TEST(Resample, EveryMethodAgreesWithANumPyReimplementation) {
    if (!python_has("numpy")) GTEST_SKIP() << "NumPy missing: run scripts/install-deps.sh";
    const auto dir = scratch_dir("orvane_resample");
    std::ofstream list((dir / "cases").string());
    std::vector<std::vector<std::uint8_t>> results;
    int n = 0;
    for (const Case& c : reference_cases) {
        ImageHolder in, out;
        fill(in.get(), c.type, c.width, c.height, 77u + n);
        ASSERT_EQ(resample_image(in.get(), out.get(), c.out_width, c.out_height, 150.0, c.method, c.a), 0);
        EXPECT_EQ(out->resolution, 150.0);
        const std::string name = (dir / std::to_string(n++)).string();
        const auto samples = bytes_of(in.get());
        std::ofstream(name + ".in", std::ios::binary)
            .write(reinterpret_cast<const char*>(samples.data()), static_cast<std::streamsize>(samples.size()));
        list << name << ' ' << c.width << ' ' << c.height << ' ' << (image_is_colour(in.get()) ? 3 : 1)
             << ' ' << (image_is_16bit(in.get()) ? 16 : 8) << ' ' << c.out_width << ' '
             << c.out_height << ' ' << c.method << ' ' << c.a << '\n';
        results.push_back(bytes_of(out.get()));
    }
    list.close();
    std::ofstream((dir / "reference.py").string()) << reference_script;
    const std::string run = words({"/usr/bin/python3", quoted((dir / "reference.py").string()),
                                   quoted((dir / "cases").string())});
    ASSERT_EQ(std::system(run.c_str()), 0) << run;
    for (std::size_t k = 0; k < results.size(); ++k) {
        std::ifstream ref((dir / (std::to_string(k) + ".ref")).string(), std::ios::binary);
        const std::vector<std::uint8_t> expected((std::istreambuf_iterator<char>(ref)),
                                                 std::istreambuf_iterator<char>());
        EXPECT_EQ(results[k], expected) << "case " << k;
    }
    std::filesystem::remove_all(dir);
}

// SciPy's linear zoom samples the same positions; whole 1/255 weights and
// truncating divisions put Orvane at most 2.5 levels below it, 0.5 above.
constexpr const char* scipy_script = R"(
import sys, numpy as np
from scipy.ndimage import zoom
w, h, mw, mh = map(int, sys.argv[2:6])
x = np.fromfile(sys.argv[1] + '.in', dtype='u1').reshape(h, w).astype(float)
ours = np.fromfile(sys.argv[1] + '.out', dtype='u1').reshape(mh, mw).astype(float)
theirs = zoom(x, (mh / h, mw / w), order=1, grid_mode=False, mode='nearest')
d = ours - theirs
print('bilinear against scipy: from', d.min(), 'to', d.max())
sys.exit(0 if theirs.shape == ours.shape and d.min() >= -2.5 and d.max() <= 0.5 else 1)
)";

TEST(Resample, BilinearEnlargementStaysInItsBandAroundSciPy) {
    if (!python_has("scipy.ndimage")) GTEST_SKIP() << "SciPy missing";
    const auto dir = scratch_dir("orvane_resample_scipy");
    // A smooth picture, as photographs are between neighbours: weights in
    // 1/254 steps move a sample by at most a 254th of its neighbours' step.
    ImageHolder in, out;
    ASSERT_EQ(image_alloc(in.get(), image_type_gray8, 31, 23, 72.0), 0);
    for (int y = 0; y < 23; ++y)
        for (int x = 0; x < 31; ++x)
            in->rows[y][x] = static_cast<std::uint8_t>(128 + 120 * std::sin(0.4 * x + 0.3 * y));
    ASSERT_EQ(resample_image(in.get(), out.get(), 97, 61, 72.0, resample_bilinear, 0), 0);
    const std::string base = (dir / "b").string();
    const auto a = bytes_of(in.get()), b = bytes_of(out.get());
    std::ofstream(base + ".in", std::ios::binary).write(reinterpret_cast<const char*>(a.data()), a.size());
    std::ofstream(base + ".out", std::ios::binary).write(reinterpret_cast<const char*>(b.data()), b.size());
    std::ofstream((dir / "check.py").string()) << scipy_script;
    const std::string run = words({"/usr/bin/python3", quoted((dir / "check.py").string()),
                                   quoted(base), "31 23 97 61"});
    EXPECT_EQ(std::system(run.c_str()), 0) << run;
    std::filesystem::remove_all(dir);
}

TEST(Resample, ConstantPicturesStayConstantUnderEveryKernel) {
    const struct {
        int type, width, height, out_width, out_height, value, expected;
    } sizes[] = {
        {image_type_gray8, 9, 7, 37, 29, 200, 200},          // enlarging, edges in reach
        {image_type_colour16, 50, 41, 7, 6, 60000, 60000},   // reducing
        {image_type_gray16, 6, 40, 1, 13, 65535, 65535},     // one column
        {image_type_colour8, 3, 3, 64, 5, 255, 255},         // tiny into large
        {image_type_binary, 16, 8, 5, 3, 255, 255},          // binary reads as 255
    };
    for (const auto& s : sizes)
        for (int method = resample_nearest; method <= resample_lanczos8; ++method) {
            ImageHolder in, out;
            fill(in.get(), s.type, s.width, s.height, 1u, s.value);
            ASSERT_EQ(resample_image(in.get(), out.get(), s.out_width, s.out_height, 72.0, method, -2.0), 0);
            const bool binary = out->type == image_type_binary;
            const bool wide = image_is_16bit(out.get());
            const int samples = image_line_bytes(out.get()) / (wide ? 2 : 1);
            for (int y = 0; y < out->height; ++y)
                for (int i = 0; i < (binary ? s.out_width : samples); ++i) {
                    const int v = binary ? (image_bit_get(out->rows[y], i) ? 255 : 0)
                                         : wide ? reinterpret_cast<const std::uint16_t*>(out->rows[y])[i]
                                                : out->rows[y][i];
                    ASSERT_EQ(v, s.expected) << "type " << s.type << " method " << method << " at " << i << "," << y;
                }
        }
}

TEST(Resample, ExactEndsSameSizeAndNearestIndices) {
    // 2 to 5 with "Bilinear": s = 1/4, the ends are the input's own samples.
    ImageHolder in, out;
    ASSERT_EQ(image_alloc(in.get(), image_type_gray8, 2, 1, 72.0), 0);
    in->rows[0][0] = 10;
    in->rows[0][1] = 200;
    ASSERT_EQ(resample_image(in.get(), out.get(), 5, 1, 72.0, resample_bilinear, 0), 0);
    const std::uint8_t ends[] = {10, 57, 105, 152, 200};  // (191·10 + 63·200) / 254 ...
    EXPECT_EQ(0, std::memcmp(out->rows[0], ends, 5));

    // Nearest: (i·(n - 1) + (m - 1) / 2) / (m - 1), one output column maps to 0.
    const struct {
        int n, m, i, index;
    } nearest[] = {{10, 4, 1, 3}, {10, 4, 2, 6}, {10, 4, 3, 9}, {3, 8, 3, 1}, {3, 8, 6, 2}, {9, 1, 0, 0}};
    ResampleTaps taps;
    for (const auto& c : nearest) {
        resample_taps(c.n, c.m, c.i, resample_nearest, 0, taps);
        EXPECT_EQ(taps.first, c.index) << c.n << " -> " << c.m << " at " << c.i;
    }

    // The same size: the same bytes, the new resolution.
    fill(in.get(), image_type_colour16, 13, 9, 3u);
    ASSERT_EQ(resample_image(in.get(), out.get(), 13, 9, 300.0, resample_lanczos8, 0), 0);
    EXPECT_EQ(bytes_of(out.get()), bytes_of(in.get()));
    EXPECT_EQ(out->resolution, 300.0);
}

TEST(Resample, OneThreadAndSeveralGiveTheSameBytes) {
    const Case cases[] = {{image_type_colour16, 301, 207, 517, 233, resample_lanczos6, 0},
                          {image_type_gray8, 640, 480, 211, 97, resample_bicubic, -0.5}};
    for (const Case& c : cases) {
        ImageHolder in, one, several;
        fill(in.get(), c.type, c.width, c.height, 11u);
        parallel_set_threads(1);
        ASSERT_EQ(resample_image(in.get(), one.get(), c.out_width, c.out_height, 72, c.method, c.a), 0);
        parallel_set_threads(4);
        ASSERT_EQ(resample_image(in.get(), several.get(), c.out_width, c.out_height, 72, c.method, c.a), 0);
        parallel_set_threads(0);
        EXPECT_EQ(bytes_of(one.get()), bytes_of(several.get()));
    }
}

TEST(Resample, SizeOperationsRoundHalvesUpAndKeepAPixel) {
    const struct {
        int operation, w, h, box_w, box_h;
        double value;
        int width, height;
        bool ok;
    } cases[] = {
        {resize_percent, 101, 51, 0, 0, 50.0, 51, 26, true},       // 50.5 and 25.5 round up
        {resize_percent, 3, 1000, 0, 0, 10.0, 1, 100, true},       // 0.3 becomes 1
        {resize_percent, 10, 10, 0, 0, 0.0, 10, 10, false},
        {resize_bounding, 400, 300, 200, 200, 0, 200, 150, true},
        {resize_bounding, 300, 400, 200, 200, 0, 150, 200, true},
        {resize_bounding, 400, 300, 800, 600, 0, 800, 600, true},  // tie: width rules
        {resize_bounding, 3, 2, 100, 100, 0, 100, 67, true},       // 66.67
        {resize_fill, 400, 300, 200, 200, 0, 267, 200, true},      // 266.67
        {resize_fill, 300, 400, 200, 200, 0, 200, 267, true},
        {resize_fill, 400, 300, 800, 600, 0, 800, 600, true},
        {resize_width, 1000, 3, 101, 0, 0, 101, 1, true},          // 0.303 becomes 1
        {resize_width, 4, 3, 2, 0, 0, 2, 2, true},                 // 1.5 rounds up
        {resize_height, 640, 480, 0, 240, 0, 320, 240, true},
        {resize_height, 640, 480, 0, -5, 0, 640, 480, false},
        {resize_both, 640, 480, 100, 900, 0, 100, 900, true},
        {resize_both, 640, 480, 0, 900, 0, 640, 480, false},
        {resize_megapixels, 4000, 3000, 0, 0, 3.0, 2000, 1500, true},
        {resize_resolution, 640, 480, 0, 0, 0, 640, 480, true},
    };
    for (const auto& c : cases) {
        int width = 0, height = 0;
        EXPECT_EQ(resize_target_size(c.operation, c.w, c.h, c.box_w, c.box_h, c.value, width, height), c.ok)
            << "operation " << c.operation << " " << c.w << "x" << c.h;
        if (!c.ok) continue;
        EXPECT_EQ(width, c.width) << "operation " << c.operation << " " << c.w << "x" << c.h;
        EXPECT_EQ(height, c.height) << "operation " << c.operation << " " << c.w << "x" << c.h;
    }
    // 2.540005 cm and 25.40005 mm are an inch.
    EXPECT_EQ(resize_to_pixels(2.540005, unit_cm, 300), 300);
    EXPECT_EQ(resize_to_pixels(25.40005 / 2, unit_mm, 300), 150);
    EXPECT_EQ(resize_to_pixels(1.5, unit_inch, 200), 300);
    EXPECT_DOUBLE_EQ(resize_from_pixels(600, unit_mm, 300), 2 * 25.40005);
}

}  // namespace
