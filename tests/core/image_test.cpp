#include "core/image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "core/errors.h"
#include "core/progress.h"
#include "core/tables.h"

namespace {

// A progress display that records what it is asked and answers 11 from a
// chosen step on.
class RecordingDisplay final : public ProgressDisplay {
public:
    explicit RecordingDisplay(int cancel_at_step = -1) : cancel_at_step_(cancel_at_step) {
        old_ = progress_set_display(this);
    }
    ~RecordingDisplay() override { progress_set_display(old_); }

    void begin(const char*, std::int64_t, std::int64_t l, bool c) override {
        ++begins;
        last = l;
        can_cancel = c;
    }
    int step(std::int64_t value) override {
        steps.push_back(value);
        return cancel_at_step_ >= 0 && static_cast<int>(steps.size()) > cancel_at_step_ ? 11 : 0;
    }
    void end() override { ++ends; }
    void wait_cursor(bool on) override { cursor_on += on; }

    int begins = 0, ends = 0, cursor_on = 0;
    std::int64_t last = -1;
    bool can_cancel = false;
    std::vector<std::int64_t> steps;

private:
    int cancel_at_step_;
    ProgressDisplay* old_;
};

// Fills every byte of every line, padding included, with seeded noise.
void fill_random(Image* image, unsigned seed) {
    std::mt19937 rng(seed);
    for (int y = 0; y < image->height; ++y)
        for (int i = 0; i < image->row_bytes; ++i)
            image->rows[y][i] = static_cast<std::uint8_t>(rng() & 0xff);
}

void fill(Image* image, std::uint8_t value) {
    for (int y = 0; y < image->height; ++y)
        std::memset(image->rows[y], value, image->row_bytes);
}

int read16(const std::uint8_t* line, int index) {
    return line[2 * index] | (line[2 * index + 1] << 8);
}

void write16(std::uint8_t* line, int index, int value) {
    line[2 * index] = static_cast<std::uint8_t>(value & 0xff);
    line[2 * index + 1] = static_cast<std::uint8_t>(value >> 8);
}

int bit_of(const std::uint8_t* line, int x) {
    return (line[x / 8] >> (7 - x % 8)) & 1;
}

void expect_same_lines(const Image* a, const Image* b) {
    ASSERT_EQ(a->type, b->type);
    ASSERT_EQ(a->height, b->height);
    for (int y = 0; y < a->height; ++y)
        ASSERT_EQ(std::memcmp(a->rows[y], b->rows[y], a->row_bytes), 0) << "line " << y;
}

// --- Allocation --------------------------------------------------------------

TEST(ImageAlloc, RowBytesFollowTheTypeTable) {
    struct Case {
        int type, width, row_bytes, line_bytes;
    };
    const Case cases[] = {
        {1, 1, 4, 1}, {1, 9, 4, 2},   {1, 33, 8, 5},  {2, 3, 4, 3},       {2, 8, 8, 8},
        {3, 1, 4, 3}, {3, 5, 16, 15}, {4, 77, 4, 3},  {5, 1, 1028, 1028}, {6, 3, 8, 6},
        {7, 1, 8, 6}, {7, 2, 12, 12}, {8, 5, 12, 10}, {9, 3, 12, 12},     {10, 3, 24, 24},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("type " + std::to_string(c.type) + " width " + std::to_string(c.width));
        ImageHolder image;
        ASSERT_EQ(image_alloc(image.get(), c.type, c.width, 2, 72.0), 0);
        EXPECT_EQ(image->row_bytes, c.row_bytes);
        EXPECT_EQ(image_line_bytes(image.get()), c.line_bytes);
        EXPECT_EQ(image_data_bytes(image.get()), 2 * c.line_bytes);
    }
}

TEST(ImageAlloc, LineLimitAndBlockLayout) {
    ImageHolder image;
    ASSERT_EQ(image_alloc(image.get(), 2, 4194304, 3, 100.0), 0);
    EXPECT_EQ(image->chunk_count, 3);
    EXPECT_EQ(image_alloc(image.get(), 2, 4194305, 3, 100.0), err_too_wide);
    EXPECT_EQ(image->rows, nullptr);
    EXPECT_EQ(image_alloc(image.get(), 9, 1048576, 1, 100.0), 0);
    EXPECT_EQ(image_alloc(image.get(), 10, 524289, 1, 100.0), err_too_wide);
    EXPECT_EQ(image_alloc(image.get(), 10, 2000000000, 1, 100.0), err_too_wide);

    // 3000-byte lines: 1398 lines a block, three blocks, the last one partial.
    ASSERT_EQ(image_alloc(image.get(), 3, 1000, 3000, 100.0), 0);
    EXPECT_EQ(image->chunk_count, 3);
    for (int y = 0; y < image->height; ++y)
        ASSERT_EQ(image->rows[y], image->chunks[y / 1398] + (y % 1398) * 3000) << y;
    // Lines do not overlap: tag each one whole, then read every tag back.
    for (int y = 0; y < image->height; ++y)
        std::memset(image->rows[y], y % 251, 3000);
    for (int y = 0; y < image->height; ++y)
        ASSERT_TRUE(image->rows[y][0] == y % 251 && image->rows[y][2999] == y % 251) << y;
}

TEST(ImageAlloc, SameShapeKeepsLinesAndSingleLineTypesShareOne) {
    ImageHolder image;
    ASSERT_EQ(image_alloc(image.get(), 6, 17, 9, 100.0), 0);
    fill_random(image.get(), 1);
    ImageHolder before;
    ASSERT_EQ(image_copy_quiet(image.get(), before.get()), 0);
    ASSERT_EQ(image_alloc(image.get(), 6, 17, 9, 300.0), 0);
    EXPECT_EQ(image->resolution, 300.0);
    expect_same_lines(before.get(), image.get());

    ImageHolder histogram;
    ASSERT_EQ(image_alloc(histogram.get(), 5, 1, 20, 100.0), 0);
    EXPECT_EQ(histogram->height, 20);
    EXPECT_EQ(histogram->rows[19], histogram->rows[0]);
}

TEST(ImageAlloc, FreeTwiceAndAllocLike) {
    ImageHolder source;
    ASSERT_EQ(image_alloc_mosaic(source.get(), 7, 5, 3, 100), 0);
    source->resolution = 240.5;
    source->fill_colour[1] = 20;
    source->fill_colour_set = 1;
    source->mosaic_info->flip = 5;

    ImageHolder dest;
    ASSERT_EQ(image_alloc_like(source.get(), dest.get()), 0);
    EXPECT_EQ((std::vector{dest->type, dest->width, dest->height}), (std::vector{7, 5, 3}));
    EXPECT_EQ(dest->resolution, 240.5);
    EXPECT_EQ(dest->fill_colour[1], 20);
    EXPECT_EQ(dest->fill_colour_set, 0);
    ASSERT_NE(dest->mosaic_info, source->mosaic_info);
    EXPECT_EQ(std::memcmp(dest->mosaic_info, source->mosaic_info, sizeof(MosaicInfo)), 0);
    // A copy of an image without a block has none, even into a record that had one.
    ImageHolder plain;
    ASSERT_EQ(image_alloc(plain.get(), 7, 5, 3, 100.0), 0);
    ASSERT_EQ(image_alloc_like(plain.get(), dest.get()), 0);
    EXPECT_EQ(dest->mosaic_info, nullptr);

    image_free(source.get());
    image_free(source.get());
    const Image zero{};
    EXPECT_EQ(std::memcmp(source.get(), &zero, sizeof(Image)), 0);
}

// --- Copy and conversions ------------------------------------------------------

TEST(ImageCopy, QuietAndWithProgressAndCancel) {
    for (const int type : {1, 2, 3, 6, 7, 8, 9, 10}) {
        ImageHolder source;
        ASSERT_EQ(image_alloc(source.get(), type, 13, 7, 150.0), 0);
        fill_random(source.get(), static_cast<unsigned>(type));
        ImageHolder dest;
        RecordingDisplay display;
        ASSERT_EQ(image_copy_quiet(source.get(), dest.get()), 0);
        expect_same_lines(source.get(), dest.get());
        EXPECT_EQ(display.begins + display.cursor_on, 0) << type;
    }
    // Under 150000 pixels a wait cursor, which cannot cancel; from there a panel.
    for (const auto& [width, height, panel] : {std::tuple{387, 387, 0}, std::tuple{500, 300, 1}}) {
        ImageHolder source, dest;
        ASSERT_EQ(image_alloc(source.get(), 2, width, height, 100.0), 0);
        RecordingDisplay display(panel ? -1 : 0);
        ASSERT_EQ(image_copy_with_progress(source.get(), dest.get()), 0);
        EXPECT_EQ((std::vector{display.begins, display.cursor_on}), (std::vector{panel, 1 - panel}));
        EXPECT_EQ(display.last, panel ? height - 1 : -1);
    }
    ImageHolder source;
    ASSERT_EQ(image_alloc(source.get(), 3, 400, 400, 100.0), 0);
    RecordingDisplay display(10);
    ImageHolder dest;
    EXPECT_EQ(image_copy_with_progress(source.get(), dest.get()), err_aborted);
    EXPECT_EQ(dest->rows, nullptr);
    EXPECT_EQ(display.steps.size(), 11u);
    EXPECT_EQ(display.ends, 1);
}

TEST(ImageConvert, SixteenToEightThroughTheTable) {
    struct Case {
        int from, to, samples;
    };
    for (const Case c : {Case{6, 2, 1}, Case{7, 3, 3}, Case{10, 9, 4}}) {
        SCOPED_TRACE(c.from);
        ImageHolder source;
        ASSERT_EQ(image_alloc(source.get(), c.from, 11, 5, 250.0), 0);
        fill_random(source.get(), 7);
        ImageHolder image;
        ASSERT_EQ(image_copy_quiet(source.get(), image.get()), 0);
        ASSERT_EQ(image_to_8bit_in_place(image.get()), 0);
        ASSERT_EQ(image->type, c.to);
        for (int y = 0; y < 5; ++y)
            for (int i = 0; i < 11 * c.samples; ++i)
                ASSERT_EQ(image->rows[y][i], to8[read16(source->rows[y], i)]);
    }
    ImageHolder colour, gray, wrong;
    ASSERT_EQ(image_alloc(colour.get(), 7, 2, 2, 100.0), 0);
    ASSERT_EQ(image_alloc(gray.get(), 6, 2, 2, 100.0), 0);
    EXPECT_EQ(image_to_gray8_from16(colour.get(), wrong.get(), false), err_illegal_type);
    EXPECT_EQ(image_to_colour8_from16(gray.get(), wrong.get(), false), err_illegal_type);
}

TEST(ImageConvert, CancelLeavesTheWrittenLines) {
    ImageHolder source;
    ASSERT_EQ(image_alloc(source.get(), 6, 400, 400, 100.0), 0);
    fill_random(source.get(), 8);
    RecordingDisplay display(3);
    ImageHolder dest;
    EXPECT_EQ(image_to_gray8_from16(source.get(), dest.get(), true), err_aborted);
    EXPECT_EQ(display.ends, 1);
    ASSERT_EQ(dest->type, 2);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 400; ++x)
            ASSERT_EQ(dest->rows[y][x], to8[read16(source->rows[y], x)]);
}

// --- Crop and shifts -------------------------------------------------------------

TEST(ImageCrop, CornersInAnyOrderAndClamped) {
    struct Corners {
        int x1, y1, x2, y2, left, bottom, width, height;
    };
    const Corners corners[] = {
        {2, 3, 6, 5, 2, 3, 5, 3},     {6, 5, 2, 3, 2, 3, 5, 3},    {6, 3, 2, 5, 2, 3, 5, 3},
        {-5, 100, 4, -3, 0, 0, 5, 8}, {20, 7, 20, 7, 10, 7, 1, 1}, {0, 0, 10, 7, 0, 0, 11, 8},
    };
    for (const int type : {2, 3, 6, 7}) {
        ImageHolder source;
        ASSERT_EQ(image_alloc(source.get(), type, 11, 8, 90.0), 0);
        fill_random(source.get(), static_cast<unsigned>(type));
        const int bpp = image_pixel_step(type);
        for (const Corners& c : corners) {
            SCOPED_TRACE(testing::Message() << "type " << type << " corner " << c.x1 << "," << c.y1
                                            << " " << c.x2 << "," << c.y2);
            ImageHolder dest;
            ASSERT_EQ(image_crop(source.get(), c.x1, c.y1, c.x2, c.y2, dest.get()), 0);
            ASSERT_EQ(dest->width, c.width);
            ASSERT_EQ(dest->height, c.height);
            for (int y = 0; y < c.height; ++y)
                for (int i = 0; i < c.width * bpp; ++i)
                    ASSERT_EQ(dest->rows[y][i], source->rows[c.bottom + y][c.left * bpp + i]);
        }
    }
    // Binary, bit by bit from an odd column.
    ImageHolder source;
    ASSERT_EQ(image_alloc(source.get(), 1, 21, 4, 100.0), 0);
    fill_random(source.get(), 9);
    ImageHolder dest;
    ASSERT_EQ(image_crop(source.get(), 17, 3, 3, 1, dest.get()), 0);
    ASSERT_EQ(dest->width, 15);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 15; ++x)
            ASSERT_EQ(bit_of(dest->rows[y], x), bit_of(source->rows[1 + y], 3 + x))
                << x << "," << y;
}

// Pixel value of any of types 1, 2, 3 as a comparable number.
long pixel_value(const Image* image, int x, int y) {
    const std::uint8_t* line = image->rows[y];
    if (image->type == 1) return bit_of(line, x);
    if (image->type == 2) return line[x];
    return line[3 * x] | (line[3 * x + 1] << 8) | (line[3 * x + 2] << 16);
}

TEST(ImageShift, UncoveredPixelsAndLinesKeepTheirOldContents) {
    const int w = 19;
    for (const int type : {1, 2, 3}) {
        ImageHolder original;
        ASSERT_EQ(image_alloc(original.get(), type, w, 3, 100.0), 0);
        fill_random(original.get(), 10 + static_cast<unsigned>(type));
        for (const int n : {1, 3, 9}) {
            SCOPED_TRACE(testing::Message() << "type " << type << " n " << n);
            ImageHolder left, right;
            ASSERT_EQ(image_copy_quiet(original.get(), left.get()), 0);
            ASSERT_EQ(image_copy_quiet(original.get(), right.get()), 0);
            image_shift_left(left.get(), n);
            image_shift_right(right.get(), n);
            for (int y = 0; y < 3; ++y)
                for (int x = 0; x < w; ++x) {
                    ASSERT_EQ(pixel_value(left.get(), x, y),
                              pixel_value(original.get(), x < w - n ? x + n : x, y));
                    ASSERT_EQ(pixel_value(right.get(), x, y),
                              pixel_value(original.get(), x >= n ? x - n : x, y));
                }
        }
    }
    const int h = 10, n = 3;
    ImageHolder original, up, down;
    ASSERT_EQ(image_alloc(original.get(), 7, 5, h, 100.0), 0);
    fill_random(original.get(), 22);
    ASSERT_EQ(image_copy_quiet(original.get(), up.get()), 0);
    ASSERT_EQ(image_copy_quiet(original.get(), down.get()), 0);
    image_shift_up(up.get(), n);
    image_shift_down(down.get(), n);
    for (int y = 0; y < h; ++y) {
        const int bytes = original->row_bytes;
        EXPECT_EQ(std::memcmp(up->rows[y], original->rows[y >= n ? y - n : y], bytes), 0) << y;
        EXPECT_EQ(std::memcmp(down->rows[y], original->rows[y < h - n ? y + n : y], bytes), 0) << y;
    }
}

// --- Sampling ------------------------------------------------------------------

// A 6 by 5 gray picture with distinct neighbours, in 8 and 16 bits.
class GraySampling : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(image_alloc(gray8.get(), 2, w, h, 100.0), 0);
        ASSERT_EQ(image_alloc(gray16.get(), 6, w, h, 100.0), 0);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                gray8->rows[y][x] = static_cast<std::uint8_t>((x * 37 + y * 71 + 11) % 256);
                write16(gray16->rows[y], x, (x * 9001 + y * 17003 + 123) % 65536);
            }
    }
    int p8(int x, int y) const { return gray8->rows[y][x]; }
    int p16(int x, int y) const { return read16(gray16->rows[y], x); }

    static constexpr int w = 6;
    static constexpr int h = 5;
    ImageHolder gray8;
    ImageHolder gray16;
};

// The fraction of a coordinate, on the 8-bit scale, by a route of its own.
int fraction(double v) {
    return static_cast<int>(std::floor((v - std::floor(v)) * 256.0));
}

// Inside, bilinear with 8-bit fractions; corners and the last column and line
// blend only along the picture; a ring of one pixel fades to the outside value,
// and beyond it all is outside.
TEST_F(GraySampling, InsideEdgesRingAndFringe) {
    std::mt19937 rng(30);
    std::uniform_real_distribution<double> ux(0.0, w - 1.0), uy(0.0, h - 1.0);
    for (int k = 0; k < 500; ++k) {
        const double x = ux(rng), y = uy(rng);
        const int ix = static_cast<int>(std::floor(x)), iy = static_cast<int>(std::floor(y));
        const int fx = fraction(x), fy = fraction(y);
        const int want8 = lerp8(lerp8(p8(ix, iy), p8(ix + 1, iy), fx),
                                lerp8(p8(ix, iy + 1), p8(ix + 1, iy + 1), fx), fy);
        ASSERT_EQ(image_sample_gray8(gray8.get(), x, y, 0), want8) << x << "," << y;
        // A bilinear value stays near the real-valued blend of its four neighbours.
        const double ex = fx / 255.0, ey = fy / 255.0;
        ASSERT_NEAR(want8,
                    (1 - ey) * ((1 - ex) * p8(ix, iy) + ex * p8(ix + 1, iy)) +
                        ey * ((1 - ex) * p8(ix, iy + 1) + ex * p8(ix + 1, iy + 1)),
                    1.5);
    }
    const int out = 250;
    const struct {
        double x, y;
        int want;
    } cases[] = {
        {0, 0, p8(0, 0)},
        {w - 1, h - 1, p8(w - 1, h - 1)},
        {w - 1, 2.5, lerp8(p8(w - 1, 2), p8(w - 1, 3), 128)},
        {1.25, h - 1, lerp8(p8(1, h - 1), p8(2, h - 1), 64)},
        {-0.5, 2, lerp8(out, p8(0, 2), 128)},
        {w - 0.5, 1, lerp8(p8(w - 1, 1), out, 128)},
        {3, -0.25, lerp8(out, p8(3, 0), 192)},
        {w - 0.5, h - 0.5, lerp8(lerp8(p8(w - 1, h - 1), out, 128), out, 128)},
        {-1, 2, out},
        {-0.001, 2, p8(0, 2)},
        {-1.01, 2.0, out},
        {w + 0.01, 2.0, out},
        {2.0, h + 0.5, out},
        {std::nan(""), 1.0, out},
    };
    for (const auto& c : cases)
        EXPECT_EQ(image_sample_gray8(gray8.get(), c.x, c.y, out), c.want) << c.x << "," << c.y;
    EXPECT_EQ(image_sample_gray16(gray16.get(), 2.25, 1.5, 0),
              lerp16(lerp16(p16(2, 1), p16(3, 1), 64), lerp16(p16(2, 2), p16(3, 2), 64), 128));
    EXPECT_EQ(image_sample_gray16(gray16.get(), w - 1, 0.75, 0),
              lerp16(p16(w - 1, 0), p16(w - 1, 1), 192));
    EXPECT_EQ(image_sample_gray16(gray16.get(), -0.5, 2, 60000), lerp16(60000, p16(0, 2), 128));
    EXPECT_EQ(image_sample_gray16(gray16.get(), 2.0, -1.5, 40000), 40000);
}

TEST(ImageSample, ColourBinaryAndTheDispatcher) {
    ImageHolder colour8, colour16;
    ASSERT_EQ(image_alloc(colour8.get(), 3, 2, 2, 100.0), 0);
    ASSERT_EQ(image_alloc(colour16.get(), 7, 2, 2, 100.0), 0);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x)
            for (int c = 0; c < 3; ++c) {
                colour8->rows[y][3 * x + c] = static_cast<std::uint8_t>(40 * c + 100 * x + 7 * y);
                write16(colour16->rows[y], 3 * x + c, 10000 * c + 20000 * x + 999 * y);
            }
    int r = -1, g = -1, b = -1;
    image_sample_rgb8(colour8.get(), 1, 1, &r, &g, &b, 0, 0, 0);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{187, 147, 107}));  // blue, green, red in memory
    image_sample_rgb8(colour8.get(), 0.5, 0, &r, &g, &b, 0, 0, 0);
    EXPECT_EQ(r, lerp8(80, 180, 128));
    image_sample_rgb16(colour16.get(), -0.5, 0, &r, &g, &b, 50000, 0, 0);
    EXPECT_EQ(r, lerp16(50000, 20000, 128));
    EXPECT_EQ(g, lerp16(0, 10000, 128));

    ImageHolder binary;
    ASSERT_EQ(image_alloc(binary.get(), 1, 5, 2, 100.0), 0);
    binary->rows[0][0] = 0x28;  // pixels 2 and 4 set
    binary->rows[1][0] = 0x80;  // pixel 0 set
    const std::tuple<double, double, int> bits[] = {
        {2.0, 0, 255}, {2.49, 0.4, 255}, {2.5, 0, 0},  // halves round up to 3
        {3.5, 0, 255}, {0.2, 0.5, 255},  {4.2, 0, 7}, {1, -0.1, 7},
    };
    for (const auto& [x, y, want] : bits)
        EXPECT_EQ(image_sample_binary(binary.get(), x, y, 7), want) << x << "," << y;

    // The dispatcher: gray repeats, 16-bit gray passes to8, outside is the
    // luminance; a mosaic is not sampled.
    const int lum = luminance8(200, 100, 50);
    ImageHolder gray16;
    ASSERT_EQ(image_alloc(gray16.get(), 6, 3, 3, 100.0), 0);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x)
            write16(gray16->rows[y], x, 30000 + 1000 * x);
    image_sample_rgb(gray16.get(), 2, 1, &r, &g, &b, 200, 100, 50);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector<int>(3, to8[32000])));
    image_sample_rgb(gray16.get(), 10, 1, &r, &g, &b, 200, 100, 50);
    EXPECT_EQ(g, to8[lum]);
    ImageHolder mosaic;
    ASSERT_EQ(image_alloc(mosaic.get(), 8, 3, 3, 100.0), 0);
    r = g = b = -7;
    image_sample_rgb(mosaic.get(), 1, 1, &r, &g, &b, 200, 100, 50);
    EXPECT_EQ((std::vector{r, g, b}), (std::vector{-7, -7, -7}));
}

// --- Area, dimming, discs --------------------------------------------------------

TEST(ImageArea, SumOfValuesOver255) {
    ImageHolder mask;
    ASSERT_EQ(image_alloc(mask.get(), 2, 600, 300, 100.0), 0);
    fill_random(mask.get(), 50);
    double want = 0;
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 600; ++x)
            want += mask->rows[y][x] / 255.0;
    RecordingDisplay display(0);  // a cancel has no effect
    EXPECT_NEAR(image_mask_area(mask.get()), want, 1e-6);
    EXPECT_FALSE(display.can_cancel);
    ImageHolder colour;  // only a gray picture has an area
    ASSERT_EQ(image_alloc(colour.get(), 3, 3, 2, 100.0), 0);
    fill(colour.get(), 255);
    EXPECT_EQ(image_mask_area(colour.get()), 0.0);
}

TEST(ImageDim, HalfPlus127) {
    for (const int type : {2, 3}) {
        ImageHolder source;
        ASSERT_EQ(image_alloc(source.get(), type, 256, 2, 120.0), 0);
        for (int y = 0; y < 2; ++y)
            for (int i = 0; i < image_line_bytes(source.get()); ++i)
                source->rows[y][i] = static_cast<std::uint8_t>((i * 7 + y) % 256);
        ImageHolder dest;
        ASSERT_EQ(image_dimmed_copy(source.get(), dest.get()), 0);
        for (int y = 0; y < 2; ++y)
            for (int i = 0; i < image_line_bytes(source.get()); ++i)
                ASSERT_EQ(dest->rows[y][i], (source->rows[y][i] >> 1) + 127);
    }
}

// The disc's expected value at one pixel, worked out separately: full colour
// well inside, the old value well outside, the 25-point coverage on the edge.
int disc_expected(int px, int py, double cx, double cy, double r, int colour, int old) {
    const double d = std::hypot(px - cx, py - cy) - r;
    if (d < -1.414214) return colour;
    if (d > 1.414214) return old;
    int n = 0;
    for (double sy = py - 0.5; sy <= py + 0.5 + 1e-9; sy += 0.25)
        for (double sx = px - 0.5; sx <= px + 0.5 + 1e-9; sx += 0.25)
            n += std::hypot(sx - cx, sy - cy) <= r;
    return (n * colour + (25 - n) * old) / 25;
}

TEST(ImageDisc, CoverageMatchesSubPointCount) {
    ImageHolder image;
    ASSERT_EQ(image_alloc(image.get(), 2, 60, 50, 100.0), 0);
    fill(image.get(), 7);
    const double cx = 30.3, cy = 20.7, r = 10.6;
    const std::uint8_t colour[3] = {10, 200, 30};  // gray takes the greatest
    image_draw_disc(image.get(), cx, cy, r, colour);
    int edge_pixels = 0;
    for (int y = 0; y < 50; ++y)
        for (int x = 0; x < 60; ++x) {
            const int want = disc_expected(x, y, cx, cy, r, 200, 7);
            ASSERT_EQ(image->rows[y][x], want) << x << "," << y;
            edge_pixels += want != 200 && want != 7;
        }
    EXPECT_GT(edge_pixels, 40);

    const std::uint8_t orange[3] = {250, 100, 20};
    ImageHolder colour8, colour16;
    ASSERT_EQ(image_alloc(colour8.get(), 3, 20, 20, 100.0), 0);
    ASSERT_EQ(image_alloc(colour16.get(), 7, 20, 20, 100.0), 0);
    fill(colour8.get(), 0);
    fill(colour16.get(), 0);
    image_draw_disc(colour8.get(), 10, 10, 5, orange);
    image_draw_disc(colour16.get(), 10, 10, 5, orange);
    for (int x = 0; x < 20; ++x)
        for (int c = 0; c < 3; ++c) {
            const int v = orange[2 - c];  // blue, green, red in memory
            ASSERT_EQ(colour8->rows[10][3 * x + c], disc_expected(x, 10, 10, 10, 5, v, 0));
            ASSERT_EQ(read16(colour16->rows[9], 3 * x + c),
                      disc_expected(x, 9, 10, 10, 5, to16[v], 0));
        }
}

TEST(ImageDisc, AreaOfALargeDiscAndMisses) {
    ImageHolder image;
    ASSERT_EQ(image_alloc(image.get(), 2, 300, 300, 100.0), 0);
    fill(image.get(), 0);
    const std::uint8_t white[3] = {255, 255, 255};
    const double r = 100;
    image_draw_disc(image.get(), 150.5, 149.25, r, white);
    EXPECT_NEAR(image_mask_area(image.get()), std::numbers::pi * r * r,
                0.002 * std::numbers::pi * r * r);

    fill(image.get(), 3);
    for (const auto& [x, y] : {std::pair{-200.0, 5.0}, std::pair{5.0, 1e12}, std::pair{std::nan(""), 5.0}})
        image_draw_disc(image.get(), x, y, 20, white);
    for (int y = 0; y < 300; ++y)
        ASSERT_EQ(std::count(image->rows[y], image->rows[y] + 300, 3), 300) << y;
}

}  // namespace
