// The brush: the stamp's shape, its spacing, and strokes that do or don't
// accumulate where they pass twice.
#include "mask/brush.h"

#include <gtest/gtest.h>

namespace {

TEST(MaskBrush, StampShapeAndSpacing) {
    struct Case {
        double radius, softness, transparency, distance;
        int value;
    } const cases[] = {
        {10, 100, 0, 0, 255},  {10, 100, 0, 5, 128},  {10, 100, 0, 9.9, 3},  {10, 100, 0, 10, 0},
        {10, 0, 0, 9.9, 255},  {10, 50, 0, 5, 255},   {10, 50, 0, 7.5, 128}, {10, 100, 50, 0, 128},
        {10, 0, 100, 1, 0},
    };
    for (const Case& k : cases) {
        BrushSettings s;
        s.radius = k.radius;
        s.softness = k.softness;
        s.transparency = k.transparency;
        EXPECT_EQ(brush_stamp_value(s, k.distance), k.value) << k.softness << " " << k.distance;
    }
    BrushSettings s;
    for (const auto& [radius, spacing, step] :
         {std::tuple{10.0, 25.0, 3}, {10.0, 1.0, 1}, {100.0, 25.0, 25}, {6.0, 25.0, 2}}) {
        s.radius = radius;
        s.spacing = spacing;
        EXPECT_EQ(brush_step(s), step) << radius << " " << spacing;
    }
}

TEST(MaskBrush, PassingTwiceAccumulatesOnlyWhenAsked) {
    for (const bool accumulate : {false, true}) {
        ImageHolder mask, start;
        ASSERT_EQ(image_alloc(mask.get(), image_type_gray8, 60, 20, 100.0), 0);
        for (int y = 0; y < 20; ++y)
            std::fill(mask->rows[y], mask->rows[y] + 60, std::uint8_t{255});
        ASSERT_EQ(image_copy_quiet(mask.get(), start.get()), 0);
        LineClasses classes;
        line_classes_compute(*mask, classes);
        BrushSettings s;
        s.radius = 4;
        s.softness = 0;
        s.transparency = 50;
        s.mode = mask_mode_subtract;
        s.accumulate = accumulate;
        BrushStroke stroke;
        MaskChange change;
        ASSERT_EQ(stroke.begin(mask.get(), &classes, start.get(), nullptr, nullptr, s, 10, 10, &change), 0);
        EXPECT_EQ(change.x1, 6);
        stroke.move_to(40, 10, &change);
        EXPECT_EQ(change.x2, 44);
        stroke.move_to(10, 10, &change);  // back over the same pixels
        const std::uint8_t middle = mask->rows[9][25];
        EXPECT_EQ(middle, accumulate ? 0 : 127) << accumulate;
        EXPECT_EQ(mask->rows[9][55], 255);
        EXPECT_EQ(classes[9], line_mixed);
        EXPECT_EQ(classes[0], line_white);
    }
}

}  // namespace
