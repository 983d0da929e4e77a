#include "file/rotation.h"

#include <gtest/gtest.h>

#include "core/image.h"
#include "file/file_test_support.h"

using namespace file_test;

namespace {

Picture rotated(const Picture& p, int code) {
    ImageHolder image;
    EXPECT_EQ(image_of(p, image.get()), 0);
    EXPECT_EQ(image_rotate(image.get(), code), 0);
    return picture_of(image.get());
}

TEST(Rotation, QuarterTurnMirrorAndFlip) {
    // 2 by 3 picture, values 1..6 row by row; turned clockwise the left column
    // becomes the top row, read bottom to top.
    const Picture p{2, 3, 1, 255, {1, 2, 3, 4, 5, 6}};
    const Picture turned = rotated(p, 1);
    EXPECT_EQ(turned.width * 10 + turned.height, 32);
    EXPECT_EQ(turned.samples, (std::vector<std::uint32_t>{5, 3, 1, 6, 4, 2}));
    EXPECT_EQ(rotated(p, 4).samples, (std::vector<std::uint32_t>{2, 1, 4, 3, 6, 5}));
    EXPECT_EQ(rotated(p, 6).samples, (std::vector<std::uint32_t>{5, 6, 3, 4, 1, 2}));
}

TEST(Rotation, TurningTwiceEqualsTheComposedCode) {
    // The composition table against the turns themselves, for every pair, on
    // a non-square picture of each depth.
    for (int maxval : {1, 255, 65535}) {
        const Picture p = make_picture(13, 6, maxval == 255 ? 3 : 1, maxval, 4);
        for (int a = 0; a < 8; ++a) {
            const Picture after_a = rotated(p, a);
            for (int b = 0; b < 8; ++b)
                ASSERT_EQ(max_difference(rotated(p, rotation_compose(a, b)), rotated(after_a, b)),
                          0)
                    << "maxval " << maxval << ": " << a << " then " << b;
        }
    }
    ImageHolder image;
    ASSERT_EQ(image_alloc(image.get(), image_type_mosaic, 4, 4, 100.0), 0);
    EXPECT_EQ(image_rotate(image.get(), 1), 14);
}

}  // namespace
