// Preview arithmetic: the reduction factor against a brute-force search, the
// corner, and the input pixels that a region of a reduced or magnified
// preview reads.
#include "transform/preview_geometry.h"

#include <gtest/gtest.h>

#include <random>

namespace {

bool fits(int w, int h, int z, const PreviewArea& area, int limit_w, int limit_h) {
    return (w + z - 1) / z + area.frame_width <= limit_w &&
           (h + z - 1) / z + area.frame_height <= limit_h;
}

TEST(PreviewReduction, SmallestFactorThatFits) {
    const PreviewArea area{1200, 900, 12, 40, true};
    EXPECT_EQ(preview_reduction(400, 300, area, preview_size_half), 1);
    // 1200 / 2 = 600 across: 1176 / 2 + 12 = 600 fits, 1177 needs 3.
    EXPECT_EQ(preview_reduction(1176, 100, area, preview_size_half), 2);
    EXPECT_EQ(preview_reduction(1177, 100, area, preview_size_half), 3);
    // Height decides: 900 * 3 / 4 = 675, 675 - 40 = 635 lines.
    EXPECT_EQ(preview_reduction(10, 1270, area, preview_size_three_quarters), 2);
    EXPECT_EQ(preview_reduction(10, 1271, area, preview_size_three_quarters), 3);
    EXPECT_EQ(preview_reduction(1188, 860, area, preview_size_whole), 1);
    // Nothing fits in a tiny area: reduced to one pixel.
    EXPECT_EQ(preview_reduction(50, 20, PreviewArea{4, 4, 10, 10, true}, preview_size_whole), 50);

    // Against a plain search over many sizes and areas.
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> size(1, 9000), side(200, 2600), frame(0, 60);
    for (int k = 0; k < 2000; ++k) {
        const PreviewArea a{side(rng), side(rng), frame(rng), frame(rng), true};
        const int w = size(rng), h = size(rng), pref = k % 3;
        const int limit_w = pref == 0 ? a.width / 2 : pref == 1 ? a.width * 3 / 4 : a.width;
        const int limit_h = pref == 0 ? a.height / 2 : pref == 1 ? a.height * 3 / 4 : a.height;
        int expected = 1;
        while (!fits(w, h, expected, a, limit_w, limit_h) && expected < std::max(w, h))
            ++expected;
        ASSERT_EQ(preview_reduction(w, h, a, pref), expected) << w << "x" << h;
    }
}

TEST(PreviewPlan, ZoomViewAndCorner) {
    const PreviewArea area{1000, 800, 10, 30, true};
    PreviewPlan plan = preview_plan(3000, 2000, area, preview_size_half, 0);
    EXPECT_EQ(plan.zoom, -7);  // 429 + 10 <= 500 across, 286 + 30 <= 400 down
    EXPECT_EQ(plan.view_width, 429);
    EXPECT_EQ(plan.view_height, 286);
    EXPECT_EQ(plan.window_width, 439);
    EXPECT_EQ(plan.window_height, 316);
    EXPECT_EQ(plan.position, (PreviewPoint{1000 - 439, 0}));  // top right

    plan = preview_plan(300, 200, area, preview_size_half, 1);
    EXPECT_EQ(plan.zoom, 1);
    EXPECT_EQ(plan.position, (PreviewPoint{0, 800 - 230}));  // bottom left
    EXPECT_EQ(preview_plan(300, 200, area, preview_size_half, 2).position,
              (PreviewPoint{1000 - 310, 0}));
    EXPECT_EQ(preview_plan(300, 200, area, preview_size_half, 3).position, (PreviewPoint{0, 570}));
    // A factor of 2 is -2: there is no zoom -1.
    EXPECT_EQ(preview_plan(900, 10, area, preview_size_half, 0).zoom, -2);
    // Larger than the area: the corner stays inside it.
    EXPECT_EQ(preview_location(0, area, 1500, 900), (PreviewPoint{0, 0}));
    EXPECT_EQ(preview_location(1, area, 1500, 900), (PreviewPoint{0, 0}));
}

TEST(PreviewSource, ReducedAndMagnifiedRegions) {
    // The view shows the picture from column 40 and from row 10 to row 209
    // (counted from the top) of a 300-line input.
    const int input_height = 300, view_left = 40, view_bottom = 209;
    // Bottom line of the view is picture line 300 - 1 - 209 = 90.
    EXPECT_EQ(preview_source(1, {0, 0, 99, 199}, view_left, view_bottom, input_height),
              (PreviewSource{40, 90, 100, 200}));
    // Zoom -3: a region keeps its size in pixels, offsets scale by 3.
    EXPECT_EQ(preview_source(-3, {5, 2, 14, 11}, view_left, view_bottom, input_height),
              (PreviewSource{40 + 15, 90 + 6, 10, 10}));
    // Zoom 4: a region 9 wide from x 8 covers input pixels 2, 3 and 4.
    EXPECT_EQ(preview_source(4, {8, 4, 16, 7}, view_left, view_bottom, input_height),
              (PreviewSource{40 + 2, 90 + 1, 3, 1}));
    EXPECT_EQ(preview_source(2, {0, 0, 0, 0}, 0, 0, 1), (PreviewSource{0, 0, 1, 1}));
}

TEST(ResultCascade, StepsFromTheInput) {
    EXPECT_EQ(result_cascade({100, 50}, 0, {6, 20}), (PreviewPoint{100, 50}));
    EXPECT_EQ(result_cascade({100, 50}, 3, {6, 20}), (PreviewPoint{118, 110}));
}

}  // namespace
