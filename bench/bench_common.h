// Timing helpers shared by the benchmarks.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "core/image.h"
#include "file/tiff_writer.h"

namespace bench {

using Clock = std::chrono::steady_clock;

inline double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Runs a shell command and returns its wall time, or -1 when it failed.
inline double timed_command(const std::string& command) {
    const auto start = Clock::now();
    if (std::system(command.c_str()) != 0) return -1.0;
    return seconds_since(start);
}

inline double median(std::vector<double> values) {
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The size of the test pictures: a 24-megapixel camera's.
inline constexpr int width = 6000;
inline constexpr int height = 4000;

// Bilinear enlargement of a 16-bit colour picture to width x height, plus a
// fine grain, so that it compresses and looks as photographs do.
inline void enlarge(const Image* small, Image* big) {
    std::mt19937 rng(7);
    const double sx = (small->width - 1.0) / (width - 1.0);
    const double sy = (small->height - 1.0) / (height - 1.0);
    for (int y = 0; y < height; ++y) {
        const double fy = y * sy;
        const int y0 = static_cast<int>(fy);
        const int y1 = std::min(y0 + 1, small->height - 1);
        const double ty = fy - y0;
        const auto* a = reinterpret_cast<const std::uint16_t*>(small->rows[y0]);
        const auto* b = reinterpret_cast<const std::uint16_t*>(small->rows[y1]);
        auto* out = reinterpret_cast<std::uint16_t*>(big->rows[y]);
        for (int x = 0; x < width; ++x) {
            const double fx = x * sx;
            const int x0 = static_cast<int>(fx);
            const int x1 = std::min(x0 + 1, small->width - 1);
            const double tx = fx - x0;
            for (int c = 0; c < 3; ++c) {
                const double top = a[3 * x0 + c] * (1 - tx) + a[3 * x1 + c] * tx;
                const double bottom = b[3 * x0 + c] * (1 - tx) + b[3 * x1 + c] * tx;
                const double v = top * (1 - ty) + bottom * ty + static_cast<int>(rng() % 512) - 256;
                out[3 * x + c] = static_cast<std::uint16_t>(std::clamp(v, 0.0, 65535.0));
            }
        }
    }
}

inline bool write_tiff(const std::string& path, const Image* image, int compression) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const int err = TiffWrite(f, image, {}, 0, nullptr, 0, compression, false, false);
    return std::fclose(f) == 0 && err == 0;
}

// Both commands three times, taking turns so that they share the machine's
// moods; the medians, or -1 for a command that failed.
inline std::pair<double, double> medians_of_three(const std::string& ours,
                                                  const std::string& theirs) {
    std::vector<double> a, b;
    for (int i = 0; i < 3; ++i) {
        a.push_back(timed_command(ours + " > /dev/null 2>&1"));
        b.push_back(timed_command(theirs + " > /dev/null 2>&1"));
    }
    const auto failed = [](const std::vector<double>& t) {
        return std::any_of(t.begin(), t.end(), [](double v) { return v < 0; });
    };
    return {failed(a) ? -1 : median(a), failed(b) ? -1 : median(b)};
}

}  // namespace bench
