// The standing mask over a picture's screen copy: colour even for a gray
// picture, each pixel blended towards the overlay colour by the mask times
// the strength, or the mask alone at strength -1; reduced in step.
#include "core/view_update.h"

#include <gtest/gtest.h>

#include "core/tables.h"

namespace {

struct Window : WindowBase {};

class ViewOverlayTest : public ::testing::Test {
protected:
    void SetUp() override {
        window_record_table_init();
        int slot = -1;
        ASSERT_EQ(window_record_take(&slot, &picture_), 0);
        window_record_bind(picture_, &picture_window_);
        ASSERT_EQ(window_record_take(&slot, &mask_), 0);
        window_record_bind(mask_, &mask_window_);
        ASSERT_EQ(image_alloc(&picture_->image, image_type_gray16, 6, 4, 100.0), 0);
        ASSERT_EQ(image_alloc(&mask_->image, image_type_gray8, 6, 4, 100.0), 0);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 6; ++x) {
                const int v = 40 * x + 10 * y;
                picture_->image.rows[y][2 * x] = static_cast<std::uint8_t>(to16[v] & 255);
                picture_->image.rows[y][2 * x + 1] = static_cast<std::uint8_t>(to16[v] >> 8);
                mask_->image.rows[y][x] = static_cast<std::uint8_t>(x < 3 ? 255 : 50 * y);
            }
        picture_->mask_window = &mask_window_;
    }
    void TearDown() override { window_record_table_init(); }

    void show(int zoom) {
        picture_->zoom = zoom;
        picture_->view_x1 = picture_->view_y1 = 0;
        picture_->view_width = zoomed_size(6, zoom);
        picture_->view_height = zoomed_size(4, zoom);
        ASSERT_EQ(view_update(picture_, false), 0);
    }
    // The view pixel at (x, row from the top) as blue, green, red.
    std::array<int, 3> view_at(int x, int row) const {
        const Image& v = picture_->view_copy;
        const std::uint8_t* p = v.rows[v.height - 1 - row] + 3 * x;
        return {p[0], p[1], p[2]};
    }

    Window picture_window_, mask_window_;
    WindowRecord* picture_ = nullptr;
    WindowRecord* mask_ = nullptr;
};

TEST_F(ViewOverlayTest, EachModeBlendsTowardsItsColour) {
    struct Case {
        int strength, red, green, blue, zoom;
    } const cases[] = {
        {255, 255, 0, 0, 1}, {128, 0, 255, 0, 1}, {128, 0, 0, 255, -2},
        {255, 255, 255, 255, 1}, {-1, 255, 0, 0, 1}, {-1, 255, 0, 0, -2},
    };
    for (const Case& k : cases) {
        picture_->overlay_strength = k.strength;
        picture_->overlay_red = k.red;
        picture_->overlay_green = k.green;
        picture_->overlay_blue = k.blue;
        show(k.zoom);
        ASSERT_EQ(picture_->view_copy.type, image_type_colour8);
        const int n = k.zoom < 0 ? -k.zoom : 1;
        for (int row = 0; row < picture_->view_height; ++row)
            for (int x = 0; x < picture_->view_width; ++x) {
                // Top-left pixel of each block, rows counted from the top.
                const int px = x * n, line = 3 - row * n;
                const int sample = 40 * px + 10 * line;
                const int m = mask_->image.rows[line][px];
                const int colour[3] = {k.blue, k.green, k.red};
                const std::array<int, 3> got = view_at(x, row);
                for (int c = 0; c < 3; ++c) {
                    const int expected = k.strength < 0 ? m : lerp8(sample, colour[c], mul8[m][k.strength]);
                    ASSERT_EQ(got[static_cast<std::size_t>(c)], expected) << k.strength << " " << x << "," << row;
                }
            }
        // The screen copy shows the same, red last.
        const std::uint8_t* shown = picture_->display_copy.rows[picture_->view_height - 1];
        EXPECT_EQ(shown[2], view_at(0, 0)[2]);
    }
}

TEST_F(ViewOverlayTest, NoOverlayWithoutStrengthOrWithAMaskOfAnotherSize) {
    picture_->overlay_strength = 0;
    show(1);
    EXPECT_EQ(picture_->view_copy.type, image_type_gray8);
    picture_->overlay_strength = 255;
    ASSERT_EQ(image_alloc(&mask_->image, image_type_gray8, 5, 4, 100.0), 0);
    show(1);
    EXPECT_EQ(picture_->view_copy.type, image_type_gray8);
}

TEST_F(ViewOverlayTest, ARegionUpdateRedrawsWhatTheMaskNowSays) {
    picture_->overlay_strength = -1;
    show(1);
    mask_->image.rows[3][4] = 77;  // top row
    mask_->image.rows[0][4] = 99;  // bottom row, outside the region
    view_update_region(picture_, 3, 0, 5, 1, false);
    EXPECT_EQ(view_at(4, 0)[0], 77);
    EXPECT_EQ(view_at(4, 3)[0], 0);  // as it was
}

}  // namespace
