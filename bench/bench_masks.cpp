// The mask tool's heavy steps on a 24-megapixel mask: the rasteriser on a
// long wavy outline, Feather of width 64 along that edge, and Flood Fill of
// a region covering most of a smooth picture; one thread against all,
// median of three, and the bytes compared.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include "core/image.h"
#include "core/parallel.h"
#include "mask/mask_ops.h"
#include "transform/outline.h"

#include "bench_common.h"

namespace {

bool same(const Image& a, const Image& b) {
    for (int y = 0; y < a.height; ++y)
        if (std::memcmp(a.rows[y], b.rows[y], static_cast<std::size_t>(a.width)) != 0) return false;
    return true;
}

void clear(Image* mask) {
    for (int y = 0; y < mask->height; ++y)
        std::memset(mask->rows[y], 0, static_cast<std::size_t>(mask->width));
}

// Median time of `run` over three runs with `threads`, the result left in `out`.
double timed(int threads, const std::function<void()>& run) {
    parallel_set_threads(threads);
    std::vector<double> times;
    for (int i = 0; i < 3; ++i) {
        const auto start = bench::Clock::now();
        run();
        times.push_back(bench::seconds_since(start));
    }
    parallel_set_threads(0);
    return bench::median(times);
}

}  // namespace

int main() {
    const int w = bench::width, h = bench::height;
    // A wavy outline: a long edge of some 60000 pixels.
    std::vector<OutlinePoint> outline;
    for (int i = 0; i <= 2000; ++i) {
        const double x = 200 + i * (w - 400) / 2000.0;
        outline.push_back({x, h / 2 + 900 * std::sin(x / 90.0) * std::sin(x / 1300.0)});
    }
    outline.push_back({static_cast<double>(w - 200), static_cast<double>(h - 200)});
    outline.push_back({200, static_cast<double>(h - 200)});

    ImageHolder one, all, out_one, out_all, picture;
    if (image_alloc(one.get(), image_type_gray8, w, h, 100.0) ||
        image_alloc(all.get(), image_type_gray8, w, h, 100.0) ||
        image_alloc(picture.get(), image_type_colour8, w, h, 100.0))
        return 1;
    LineClasses classes;
    const auto rasterise = [&](Image* mask) {
        clear(mask);
        line_classes_compute(*mask, classes);
        (void)mask_region_polygon(outline, mask_mode_add, mask, classes, nullptr);
    };
    const int cores = parallel_threads();
    std::printf("%-40s %10s %10s %s\n", "24 megapixels", "1 thread", "all", "same bytes");
    const double r1 = timed(1, [&] { rasterise(one.get()); });
    const double rn = timed(cores, [&] { rasterise(all.get()); });
    std::printf("%-40s %9.3fs %9.3fs %s\n", "Polygon of 2003 points, 5x5 coverage", r1, rn,
                same(*one, *all) ? "yes" : "NO");

    line_classes_compute(*one, classes);
    const double f1 =
        timed(1, [&] { (void)mask_feather(one.get(), out_one.get(), 64, 0, 0, classes, false); });
    const double fn = timed(
        cores, [&] { (void)mask_feather(one.get(), out_all.get(), 64, 0, 0, classes, false); });
    std::printf("%-40s %9.3fs %9.3fs %s\n", "Feather 64 along the wavy edge", f1, fn,
                same(*out_one, *out_all) ? "yes" : "NO");

    // A smooth picture: the fill spreads over nearly all of it.
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            std::uint8_t* p = picture->rows[y] + 3 * x;
            p[0] = static_cast<std::uint8_t>(100 + x / 400);
            p[1] = static_cast<std::uint8_t>(120 + y / 400);
            p[2] = static_cast<std::uint8_t>((x / 50 + y / 50) % 97 == 0 ? 250 : 90);
        }
    const auto fill = [&](Image* mask) {
        clear(mask);
        line_classes_compute(*mask, classes);
        (void)mask_flood_fill(w / 2, h / 2, picture.get(), mask, classes, mask_mode_add, 32.0,
                              nullptr);
    };
    const double g1 = timed(1, [&] { fill(one.get()); });
    const double gn = timed(cores, [&] { fill(all.get()); });
    std::printf("%-40s %9.3fs %9.3fs %s (%.0f%% filled)\n", "Flood Fill, threshold 32", g1, gn,
                same(*one, *all) ? "yes" : "NO",
                image_mask_area(all.get()) * 100.0 / (double(w) * h));
    std::printf("(%d threads)\n", cores);
    return 0;
}
