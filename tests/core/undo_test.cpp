#include "core/undo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "core/image.h"
#include "core/preferences.h"
#include "core/window_record.h"

namespace {

// Pixels of a picture as they stand, bit by bit for binary, so that two
// states compare whatever the padding holds.
std::vector<int> pixels_of(const Image& image) {
    std::vector<int> out;
    for (int y = 0; y < image.height; ++y) {
        if (image.type == image_type_binary) {
            for (int x = 0; x < image.width; ++x)
                out.push_back(image_bit_get(image.rows[y], x) ? 1 : 0);
        } else {
            const int bytes = image_line_bytes(&image);
            out.insert(out.end(), image.rows[y], image.rows[y] + bytes);
        }
    }
    return out;
}

// A tool's change: every pixel of the inclusive rectangle altered.
void scribble(Image* image, int x1, int y1, int x2, int y2, std::mt19937* random) {
    for (int y = std::min(y1, y2); y <= std::max(y1, y2); ++y)
        for (int x = std::min(x1, x2); x <= std::max(x1, x2); ++x) {
            if (image->type == image_type_binary) {
                if (image_bit_get(image->rows[y], x))
                    image_bit_clear(image->rows[y], x);
                else
                    image_bit_set(image->rows[y], x);
                continue;
            }
            std::uint8_t* p = image_pixel_pointer(image, x, y);
            for (int b = 0; b < image_pixel_step(image->type); ++b)
                p[b] = static_cast<std::uint8_t>(p[b] + 1 + (*random)() % 250);
        }
}

class Undo : public ::testing::Test {
protected:
    void SetUp() override {
        window_record_table_init();
        undo_clear();
        preferences() = Preferences{};
    }
    void TearDown() override {
        undo_clear();
        window_record_table_init();
        preferences() = Preferences{};
    }
    // A window with a picture of noise.
    Image* open(WindowBase* window, int type, int width, int height) {
        int slot = -1;
        WindowRecord* record = nullptr;
        EXPECT_EQ(window_record_take(&slot, &record), 0);
        EXPECT_EQ(image_alloc(&record->image, type, width, height, 100.0), 0);
        for (int y = 0; y < height; ++y)
            for (int b = 0; b < record->image.row_bytes; ++b)
                record->image.rows[y][b] = static_cast<std::uint8_t>(random_());
        window_record_bind(record, window);
        return &record->image;
    }
    std::mt19937 random_{7};
};

TEST_F(Undo, StepsComeBackNewestFirstAcrossWindowsAndTypes) {
    WindowBase gray, binary, colour;
    Image* pictures[3] = {open(&gray, image_type_gray8, 40, 30),
                          open(&binary, image_type_binary, 37, 20),
                          open(&colour, image_type_colour16, 25, 25)};
    WindowBase* windows[3] = {&gray, &binary, &colour};
    std::vector<std::vector<int>> before_step[3];
    for (int i = 0; i < 3; ++i)
        before_step[i].push_back(pixels_of(*pictures[i]));

    // Three steps, each of overlapping rectangles on two windows, corners in
    // any order and partly outside the picture; binary ones off byte edges.
    const int rects[3][4] = {{3, 2, 17, 11}, {29, 19, 5, 7}, {-4, 14, 9, 40}};
    for (int step = 0; step < 3; ++step) {
        undo_begin_step();
        for (int w : {step % 3, (step + 1) % 3})
            for (int k = 0; k < 2; ++k) {
                const int* r = rects[(step + k) % 3];
                ASSERT_EQ(undo_store(windows[w], r[0], r[1], r[2], r[3]), 0);
                const Image* p = pictures[w];
                const auto cx = [&](int v) { return std::clamp(v, 0, p->width - 1); };
                const auto cy = [&](int v) { return std::clamp(v, 0, p->height - 1); };
                scribble(pictures[w], cx(r[0]), cy(r[1]), cx(r[2]), cy(r[3]), &random_);
            }
        for (int i = 0; i < 3; ++i)
            before_step[i].push_back(pixels_of(*pictures[i]));
    }
    EXPECT_EQ(undo_step_count(), 3u);
    EXPECT_EQ(undo_record_count(), 12u);

    std::vector<WindowBase*> changed;
    ASSERT_TRUE(undo_step(&changed));
    // Step 2 touched the colour and the gray windows, each named once.
    EXPECT_EQ(changed.size(), 2u);
    EXPECT_NE(std::find(changed.begin(), changed.end(), &colour), changed.end());
    EXPECT_NE(std::find(changed.begin(), changed.end(), &gray), changed.end());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(pixels_of(*pictures[i]), before_step[i][2]) << i;

    changed.clear();
    ASSERT_TRUE(undo_all(&changed));
    EXPECT_EQ(changed.size(), 3u);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(pixels_of(*pictures[i]), before_step[i][0]) << i;
    EXPECT_EQ(undo_record_count(), 0u);
    EXPECT_FALSE(undo_step(&changed));
    EXPECT_FALSE(undo_all(&changed));
}

TEST_F(Undo, ThePreferenceDecidesHowMuchIsKept) {
    WindowBase window;
    Image* picture = open(&window, image_type_colour8, 20, 20);
    const std::vector<int> original = pixels_of(*picture);

    preferences().undo = undo_none;
    undo_begin_step();
    ASSERT_EQ(undo_store(&window, 0, 0, 5, 5), 0);
    EXPECT_EQ(undo_record_count(), 0u);

    preferences().undo = undo_single;
    undo_begin_step();
    ASSERT_EQ(undo_store(&window, 0, 0, 9, 9), 0);
    scribble(picture, 0, 0, 9, 9, &random_);
    const std::vector<int> after_first = pixels_of(*picture);
    undo_begin_step();
    ASSERT_EQ(undo_store(&window, 5, 5, 19, 19), 0);
    ASSERT_EQ(undo_store(&window, 0, 15, 3, 19), 0);
    scribble(picture, 5, 5, 19, 19, &random_);
    EXPECT_EQ(undo_step_count(), 1u);
    EXPECT_EQ(undo_record_count(), 2u);
    std::vector<WindowBase*> changed;
    ASSERT_TRUE(undo_step(&changed));
    EXPECT_EQ(pixels_of(*picture), after_first);
    EXPECT_FALSE(undo_step(&changed));
    EXPECT_NE(pixels_of(*picture), original);
}

TEST_F(Undo, StaleAndForeignRecordsAreDropped) {
    WindowBase kept, closed;
    Image* picture = open(&kept, image_type_gray16, 16, 16);
    open(&closed, image_type_gray8, 16, 16);
    const std::vector<int> original = pixels_of(*picture);

    undo_begin_step();
    ASSERT_EQ(undo_store(&kept, 0, 0, 15, 15), 0);
    ASSERT_EQ(undo_store(&closed, 0, 0, 15, 15), 0);
    undo_forget_window(&closed);
    EXPECT_EQ(undo_record_count(), 1u);
    scribble(picture, 0, 0, 15, 15, &random_);
    std::vector<WindowBase*> changed;
    ASSERT_TRUE(undo_step(&changed));
    EXPECT_EQ(changed, std::vector<WindowBase*>{&kept});
    EXPECT_EQ(pixels_of(*picture), original);

    // The window's picture became smaller meanwhile: nothing is written.
    undo_begin_step();
    ASSERT_EQ(undo_store(&kept, 8, 8, 15, 15), 0);
    ASSERT_EQ(image_alloc(picture, image_type_gray16, 10, 10, 100.0), 0);
    changed.clear();
    EXPECT_TRUE(undo_step(&changed));
    EXPECT_TRUE(changed.empty());

    // Only pictures of pixels can be stored; a window without a record stores nothing.
    WindowBase swatch;
    open(&swatch, image_type_colour, 1, 1);
    EXPECT_EQ(undo_store(&swatch, 0, 0, 0, 0), 14);
    WindowBase loose;
    EXPECT_EQ(undo_store(&loose, 0, 0, 3, 3), 0);
    EXPECT_EQ(undo_record_count(), 0u);
}

}  // namespace
