// The mask model and the outline rasteriser: the merge table, line classes
// and their skipping, and coverage against exact areas computed here.
#include "transform/outline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "core/parallel.h"

namespace {

struct Mask {
    explicit Mask(int w, int h, std::uint8_t fill = 0) {
        image_init(&image);
        EXPECT_EQ(image_alloc(&image, image_type_gray8, w, h, 100.0), 0);
        for (int y = 0; y < h; ++y)
            std::fill(image.rows[y], image.rows[y] + w, fill);
        line_classes_compute(image, classes);
    }
    ~Mask() { image_free(&image); }
    // Row counted from the top, as outlines count.
    std::uint8_t at(int x, int row) const { return image.rows[image.height - 1 - row][x]; }
    Image image;
    LineClasses classes;
};

TEST(MaskMerge, EachModeOnFullAndPartialValues) {
    struct Case {
        int m, c, mode, merged, bitwise;
    } const cases[] = {
        {100, 200, mask_mode_add, 200, 236},      {200, 100, mask_mode_add, 200, 236},
        {200, 100, mask_mode_subtract, 100, 100}, {100, 200, mask_mode_subtract, 0, 0},
        {100, 200, mask_mode_overlap, 100, 64},   {255, 128, mask_mode_overlap, 128, 128},
        {200, 100, mask_mode_invert, 172, 172},   {255, 128, mask_mode_invert, 127, 127},
        {0, 255, mask_mode_invert, 255, 255},
    };
    for (const Case& k : cases) {
        EXPECT_EQ(mask_merge(k.m, k.c, k.mode), k.merged) << k.m << " " << k.c << " " << k.mode;
        EXPECT_EQ(mask_merge_bitwise(k.m, k.c, k.mode), k.bitwise) << k.m << " " << k.c;
    }
}

TEST(MaskLines, ClassOfALine) {
    struct Case {
        std::vector<std::uint8_t> line;
        int cls;
    } const cases[] = {
        {{0, 0, 0, 0}, line_black},  {{255, 255, 255}, line_white}, {{0, 0, 0, 1}, line_mixed},
        {{255, 255, 0}, line_mixed}, {{7, 7, 7}, line_mixed},       {{0}, line_black},
    };
    for (const Case& k : cases)
        EXPECT_EQ(line_class(k.line.data(), static_cast<int>(k.line.size())), k.cls);
}

// Lines the mode cannot change are skipped unread: a stale class shows it.
TEST(MaskLines, ModesSkipLinesOfTheirClass) {
    struct Case {
        int mode;
        std::uint8_t stale_class;
        bool skipped;
    } const cases[] = {
        {mask_mode_add, line_white, true},      {mask_mode_add, line_black, false},
        {mask_mode_subtract, line_black, true}, {mask_mode_overlap, line_black, true},
        {mask_mode_invert, line_black, false},  {mask_mode_subtract, line_mixed, false},
    };
    for (const Case& k : cases) {
        Mask mask(10, 4, 128);
        mask.classes[2] = k.stale_class;  // row 1 from the top
        ASSERT_EQ(mask_region_rectangle({0, 0}, {5, 4}, k.mode, &mask.image, mask.classes, nullptr),
                  0);
        // Every mode changes a line of 128s somewhere when it reads it.
        const auto unchanged = [&](int row) {
            const std::uint8_t* line = mask.image.rows[3 - row];
            return std::all_of(line, line + 10, [](std::uint8_t v) { return v == 128; });
        };
        EXPECT_EQ(unchanged(1), k.skipped) << k.mode;
        EXPECT_FALSE(unchanged(0)) << k.mode;
        EXPECT_EQ(mask.classes[2], k.skipped ? k.stale_class : line_class(mask.image.rows[2], 10));
    }
}

TEST(MaskRegion, PixelAlignedRectanglesAreExact) {
    struct Case {
        OutlinePoint a, b;
        int x1, y1, x2, y2;  // covered pixels, inclusive, y from the top
    } const cases[] = {
        {{2, 3}, {7, 5}, 2, 3, 6, 4},
        {{7, 5}, {2, 3}, 2, 3, 6, 4},        // corners in either order
        {{-4, -2}, {3, 1}, 0, 0, 2, 0},      // clipped at the top left
        {{15, 8}, {25, 20}, 15, 8, 19, 11},  // clipped at the right and bottom
        {{0, 0}, {20, 12}, 0, 0, 19, 11},
    };
    for (const Case& k : cases) {
        Mask mask(20, 12);
        ASSERT_EQ(
            mask_region_rectangle(k.a, k.b, mask_mode_add, &mask.image, mask.classes, nullptr), 0);
        double area = 0;
        for (int y = 0; y < 12; ++y)
            for (int x = 0; x < 20; ++x) {
                const bool inside = x >= k.x1 && x <= k.x2 && y >= k.y1 && y <= k.y2;
                ASSERT_EQ(mask.at(x, y), inside ? 255 : 0)
                    << k.a.x << "," << k.a.y << " " << x << "," << y;
                area += inside;
            }
        EXPECT_DOUBLE_EQ(image_mask_area(&mask.image), area);
        for (int line = 0; line < 12; ++line)
            EXPECT_EQ(mask.classes[line], line_class(mask.image.rows[line], 20));
    }
}

TEST(MaskRegion, FractionalEdgesTakeFifths) {
    struct Case {
        double x1, x2;
        int left, right;  // coverage of pixels 2 and 10
    } const cases[] = {
        {2.0, 10.2, 255, 51},  {2.0, 10.4, 255, 102}, {2.0, 10.6, 255, 153},
        {2.0, 10.8, 255, 204}, {2.4, 11.0, 153, 255}, {2.2, 10.0, 204, 0},
    };
    for (const Case& k : cases) {
        Mask mask(16, 6);
        ASSERT_EQ(mask_region_rectangle({k.x1, 1}, {k.x2, 5}, mask_mode_add, &mask.image,
                                        mask.classes, nullptr),
                  0);
        for (int row = 1; row < 5; ++row) {
            EXPECT_EQ(mask.at(2, row), k.left) << k.x1;
            EXPECT_EQ(mask.at(10, row), k.right) << k.x2;
            EXPECT_EQ(mask.at(6, row), 255);
        }
        EXPECT_EQ(mask.at(6, 0), 0);
    }
}

// Exact area of a simple polygon inside one pixel square, by clipping it
// against the square's four sides in double precision.
double pixel_area(const std::vector<OutlinePoint>& polygon, int px, int py) {
    std::vector<OutlinePoint> poly = polygon;
    const auto clip = [&](auto inside, auto cross) {
        std::vector<OutlinePoint> out;
        for (std::size_t i = 0; i < poly.size(); ++i) {
            const OutlinePoint a = poly[i], b = poly[(i + 1) % poly.size()];
            if (inside(a)) out.push_back(a);
            if (inside(a) != inside(b)) out.push_back(cross(a, b));
        }
        poly = out;
    };
    const auto at_x = [](double x) {
        return [x](OutlinePoint a, OutlinePoint b) {
            return OutlinePoint{x, a.y + (x - a.x) * (b.y - a.y) / (b.x - a.x)};
        };
    };
    const auto at_y = [](double y) {
        return [y](OutlinePoint a, OutlinePoint b) {
            return OutlinePoint{a.x + (y - a.y) * (b.x - a.x) / (b.y - a.y), y};
        };
    };
    clip([&](OutlinePoint p) { return p.x >= px; }, at_x(px));
    clip([&](OutlinePoint p) { return p.x <= px + 1; }, at_x(px + 1));
    clip([&](OutlinePoint p) { return p.y >= py; }, at_y(py));
    clip([&](OutlinePoint p) { return p.y <= py + 1; }, at_y(py + 1));
    double twice = 0;
    for (std::size_t i = 0; i < poly.size(); ++i) {
        const OutlinePoint a = poly[i], b = poly[(i + 1) % poly.size()];
        twice += a.x * b.y - b.x * a.y;
    }
    return std::abs(twice) / 2;
}

TEST(MaskRegion, RandomPolygonsMatchTheirExactArea) {
    std::mt19937 random(16);
    for (int round = 0; round < 12; ++round) {
        // A star-shaped polygon: simple, with edges at every slope.
        std::uniform_real_distribution<double> radius(3.0, 14.0), jitter(0.0, 0.5);
        const int n = 3 + round;
        std::vector<OutlinePoint> points;
        for (int i = 0; i < n; ++i) {
            const double angle = (i + jitter(random)) * 2 * M_PI / n, r = radius(random);
            points.push_back({16.3 + r * std::cos(angle), 15.7 + r * std::sin(angle)});
        }
        // The rasteriser's outline is the points on the sub-pixel grid.
        std::vector<OutlinePoint> exact;
        for (const SubPoint& s : outline_subpoints(points))
            exact.push_back({s.x / 5.0, s.y / 5.0});
        Mask mask(32, 32);
        ASSERT_EQ(mask_region_polygon(points, mask_mode_add, &mask.image, mask.classes, nullptr),
                  0);
        double edge_sum = 0, edge_exact = 0;
        int edge_pixels = 0;
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 32; ++x) {
                const double area = pixel_area(exact, x, y);
                const double got = mask.at(x, y) / 255.0;
                EXPECT_NEAR(got, area, 3.0 / 25) << round << ": " << x << "," << y;
                if (area > 0 && area < 1) {
                    ++edge_pixels;
                    edge_sum += got;
                    edge_exact += area;
                }
            }
        EXPECT_NEAR(edge_sum, edge_exact, edge_pixels / 25.0) << round;
    }
}

TEST(MaskRegion, OvalFollowsTheEllipse) {
    struct Case {
        OutlinePoint a, b;
    } const cases[] = {{{3, 2}, {27, 18}}, {{27.4, 18.2}, {3.6, 2.8}}, {{-6, 4}, {10, 30}}};
    for (const Case& k : cases) {
        Mask mask(30, 22);
        ASSERT_EQ(mask_region_oval(k.a, k.b, mask_mode_add, &mask.image, mask.classes, nullptr), 0);
        const SubPoint a = outline_subpoint(k.a), b = outline_subpoint(k.b);
        const double cx = (a.x + b.x) / 10.0, cy = (a.y + b.y) / 10.0;
        const double rx = std::abs(a.x - b.x) / 10.0, ry = std::abs(a.y - b.y) / 10.0;
        for (int y = 0; y < 22; ++y)
            for (int x = 0; x < 30; ++x) {
                // 40 x 40 samples a pixel: the exact share within 1/40.
                int inside = 0;
                for (int j = 0; j < 40; ++j)
                    for (int i = 0; i < 40; ++i) {
                        const double dx = (x + (i + 0.5) / 40 - cx) / rx;
                        const double dy = (y + (j + 0.5) / 40 - cy) / ry;
                        inside += dx * dx + dy * dy < 1;
                    }
                EXPECT_NEAR(mask.at(x, y) / 255.0, inside / 1600.0, 3.0 / 25 + 1.0 / 40)
                    << x << "," << y;
            }
    }
}

TEST(MaskRegion, OutsideAndEmptyOutlines) {
    Mask mask(12, 8, 200);
    // Wholly outside: nothing changes; the same under overlap clears all.
    ASSERT_EQ(
        mask_region_rectangle({20, 1}, {30, 5}, mask_mode_add, &mask.image, mask.classes, nullptr),
        0);
    EXPECT_DOUBLE_EQ(image_mask_area(&mask.image), 96 * 200 / 255.0);
    ASSERT_EQ(mask_region_rectangle({3, 3}, {3, 3}, mask_mode_overlap, &mask.image, mask.classes,
                                    nullptr),
              0);  // equal corners: nothing happens
    EXPECT_EQ(mask.at(0, 0), 200);
    ASSERT_EQ(mask_region_rectangle({20, 1}, {30, 5}, mask_mode_overlap, &mask.image, mask.classes,
                                    nullptr),
              0);
    EXPECT_EQ(image_mask_area(&mask.image), 0.0);
    for (std::uint8_t c : mask.classes)
        EXPECT_EQ(c, line_black);
}

TEST(MaskRegion, OverlapKeepsOnlyTheRegion) {
    Mask mask(12, 8, 200);
    MaskChange change;
    ASSERT_EQ(mask_region_rectangle({2, 2}, {6, 4}, mask_mode_overlap, &mask.image, mask.classes,
                                    &change),
              0);
    EXPECT_TRUE(change.whole);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 12; ++x)
            EXPECT_EQ(mask.at(x, y), x >= 2 && x < 6 && y >= 2 && y < 4 ? 200 : 0) << x << "," << y;
}

TEST(MaskRegion, ThreadsGiveTheSameBytes) {
    std::vector<OutlinePoint> points;
    for (int i = 0; i < 200; ++i) {
        const double a = i * 2 * M_PI / 200, r = 300 + 120 * std::sin(7 * a);
        points.push_back({500 + r * std::cos(a), 450 + r * std::sin(a)});
    }
    std::vector<std::vector<std::uint8_t>> results;
    for (int threads : {1, 5}) {
        parallel_set_threads(threads);
        Mask mask(1000, 900, 0);
        ASSERT_EQ(mask_region_polygon(points, mask_mode_add, &mask.image, mask.classes, nullptr),
                  0);
        ASSERT_EQ(mask_region_oval({100, 80}, {700, 600}, mask_mode_invert, &mask.image,
                                   mask.classes, nullptr),
                  0);
        results.emplace_back();
        for (int y = 0; y < 900; ++y)
            results.back().insert(results.back().end(), mask.image.rows[y],
                                  mask.image.rows[y] + 1000);
    }
    parallel_set_threads(0);
    EXPECT_TRUE(results[0] == results[1]);
}

TEST(MaskSpline, SamplesAndCodes) {
    struct Case {
        std::vector<OutlinePoint> points;
        std::size_t samples;
        int code;
    } const cases[] = {
        {{{0, 0}, {10, 0}, {10, 10}, {0, 10}}, 20, 0},  // chord 10: 5 samples a span
        {{{0, 0}, {3, 0}, {3, 4}}, 2 + 2 + 3, 0},       // chords 3, 4, 5
        {{{0, 0}, {0.5, 0}, {0.5, 0.5}}, 0, 41},        // spans under a pixel give none
        {{{4, 4}}, 0, 41},
    };
    for (const Case& k : cases) {
        std::vector<OutlinePoint> samples;
        EXPECT_EQ(spline_outline(k.points, samples), k.code);
        EXPECT_EQ(samples.size(), k.samples);
    }
    // Through its points, and straight along equally spaced points on a line.
    const std::vector<OutlinePoint> line = {{0, 0}, {4, 0}, {8, 0}, {12, 0}, {6, 30}};
    std::vector<OutlinePoint> samples;
    ASSERT_EQ(spline_outline(line, samples), 0);
    EXPECT_DOUBLE_EQ(samples[0].x, 0);
    EXPECT_DOUBLE_EQ(samples[2].x, 4);
    EXPECT_DOUBLE_EQ(samples[3].x, 6);  // t = 1/2 of the span from 4 to 8
    EXPECT_DOUBLE_EQ(samples[3].y, 0);
}

}  // namespace
