#include "file/rotation.h"

#include <gtest/gtest.h>

#include "core/image.h"
#include "file/tiff_test_support.h"

namespace {

using tiff_test::Pixels;

ImageHolder rotated(const Pixels& p, int code) {
    ImageHolder image;
    tiff_test::image_from_pixels(p, image.get());
    EXPECT_EQ(image_rotate(image.get(), code), 0);
    return image;
}

TEST(Rotation, TurningTwiceEqualsTheComposedCode) {
    // The composition table against the turns themselves, for every pair, on
    // a non-square picture of each depth.
    for (int bits : {1, 8, 16}) {
        const Pixels p = tiff_test::make_pattern(13, 6, bits == 8 ? 3 : 1, bits, 4);
        for (int a = 0; a < 8; ++a) {
            ImageHolder first = rotated(p, a);
            const Pixels after_a = tiff_test::pixels_of(first.get());
            for (int b = 0; b < 8; ++b) {
                const Pixels twice = tiff_test::pixels_of(rotated(after_a, b).get());
                const Pixels once = tiff_test::pixels_of(rotated(p, rotation_compose(a, b)).get());
                ASSERT_TRUE(tiff_test::same_pixels(once, twice))
                    << "bits " << bits << ": " << a << " then " << b;
            }
        }
    }
}

TEST(Rotation, QuarterTurnClockwise) {
    // 2 by 3 picture, values 1..6 row by row; turned clockwise the left column
    // becomes the top row, read bottom to top.
    Pixels p{2, 3, 1, 8, {1, 2, 3, 4, 5, 6}};
    const Pixels turned = tiff_test::pixels_of(rotated(p, 1).get());
    EXPECT_EQ(turned.width, 3);
    EXPECT_EQ(turned.height, 2);
    EXPECT_EQ(turned.samples, (std::vector<std::uint32_t>{5, 3, 1, 6, 4, 2}));
    const Pixels mirrored = tiff_test::pixels_of(rotated(p, 4).get());
    EXPECT_EQ(mirrored.samples, (std::vector<std::uint32_t>{2, 1, 4, 3, 6, 5}));
    const Pixels flipped = tiff_test::pixels_of(rotated(p, 6).get());
    EXPECT_EQ(flipped.samples, (std::vector<std::uint32_t>{5, 6, 3, 4, 1, 2}));
}

TEST(Rotation, OtherTypesAreRefused) {
    ImageHolder image;
    ASSERT_EQ(image_alloc(image.get(), image_type_mosaic, 4, 4, 100.0), 0);
    EXPECT_EQ(image_rotate(image.get(), 1), 14);
}

}  // namespace
