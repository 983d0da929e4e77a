// The computed regions: Feather against distances from a straight edge,
// Blur, the hue band through red, Texture at the corner, Flood Fill on a
// ramp and its bounded stack; one thread against several.
#include "mask/mask_ops.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "core/parallel.h"
#include "core/tables.h"

namespace {

struct Picture {
    Picture(int type, int w, int h) {
        image_init(&image);
        EXPECT_EQ(image_alloc(&image, type, w, h, 100.0), 0);
        for (int y = 0; y < h; ++y)
            std::fill(image.rows[y], image.rows[y] + image.row_bytes, std::uint8_t{0});
    }
    ~Picture() { image_free(&image); }
    // Row counted from the top.
    std::uint8_t* row(int r) { return image.rows[image.height - 1 - r]; }
    std::vector<std::uint8_t> bytes() const {
        std::vector<std::uint8_t> out;
        for (int y = 0; y < image.height; ++y)
            out.insert(out.end(), image.rows[y], image.rows[y] + image.width);
        return out;
    }
    Image image;
};

TEST(MaskFeather, ZeroCopiesAndAStraightEdgeFadesWithDistance) {
    constexpr int w = 40, h = 9, width = 5;
    struct Case {
        int width;
        int falloff;
    } const cases[] = {{width, 0}, {-width, 0}, {width, 1}, {-width, 1}};
    for (const Case& k : cases) {
        Picture in(image_type_gray8, w, h), out(image_type_gray8, w, h);
        for (int r = 0; r < h; ++r)
            std::fill(in.row(r), in.row(r) + 20, std::uint8_t{255});  // white up to column 19
        LineClasses classes;
        line_classes_compute(in.image, classes);
        Picture copy(image_type_gray8, w, h);
        ASSERT_EQ(mask_feather(&in.image, &copy.image, 0, k.falloff, 0, classes, false), 0);
        EXPECT_EQ(copy.bytes(), in.bytes());
        ASSERT_EQ(mask_feather(&in.image, &out.image, k.width, k.falloff, 0, classes, false), 0);
        for (int x = 0; x < w; ++x) {
            // The nearest edge pixel's stamp wins: outward it lies at column
            // 19, inward the black edge pixel at column 20.
            const int d = k.width > 0 ? x - 19 : 20 - x;
            int cone = d <= 0 ? 255 : 0;
            if (d > 0 && d <= width)
                cone = k.falloff == 0 ? static_cast<int>(std::floor(255.0 * (1 - d / 6.0) + 0.5))
                                      : 255;
            const int expected = k.width > 0 ? cone : (x >= 20 ? 0 : 255 - cone);
            for (int r = 0; r < h; ++r)
                ASSERT_EQ(out.row(r)[x], expected) << k.width << " " << k.falloff << " x " << x;
        }
    }
}

TEST(MaskFeather, PartialValuesScaleTheStampAndThreadsAgree) {
    constexpr int w = 300, h = 260;
    Picture in(image_type_gray8, w, h);
    std::mt19937 random(3);
    for (int i = 0; i < 40; ++i) {
        const int x = static_cast<int>(random() % w), r = 150 + static_cast<int>(random() % 110);
        in.row(r)[x] = static_cast<std::uint8_t>(random() % 256);
    }
    in.row(60)[60] = 128;  // alone: its stamp shows as it is
    LineClasses classes;
    line_classes_compute(in.image, classes);
    std::vector<std::vector<std::uint8_t>> results;
    for (int threads : {1, 5}) {
        parallel_set_threads(threads);
        for (int width : {17, -17}) {
            Picture out(image_type_gray8, w, h);
            ASSERT_EQ(mask_feather(&in.image, &out.image, width, 0, 1, classes, false), 0);
            results.push_back(out.bytes());
            if (width < 0) continue;
            // Square corners: the stamp falls with the larger offset.
            for (int d = 0; d <= 18; ++d) {
                const int stamp = static_cast<int>(std::floor(255 * (1 - d / 18.0) + 0.5));
                EXPECT_EQ(out.row(60 + d)[60 - d / 2], d > 17 ? 0 : mul8[stamp][128]) << d;
            }
        }
    }
    parallel_set_threads(0);
    EXPECT_TRUE(results[0] == results[2]);
    EXPECT_TRUE(results[1] == results[3]);

    // Inward, a pixel of 128 in white lowers its footprint by 255 - mul8(cone, 127).
    Picture white(image_type_gray8, 100, 100), out(image_type_gray8, 100, 100);
    for (int r = 0; r < 100; ++r)
        std::fill(white.row(r), white.row(r) + 100, std::uint8_t{255});
    white.row(60)[60] = 128;
    line_classes_compute(white.image, classes);
    ASSERT_EQ(mask_feather(&white.image, &out.image, -17, 0, 1, classes, false), 0);
    for (int d = 0; d <= 18; ++d) {
        const int cone = static_cast<int>(std::floor(255 * (1 - d / 18.0) + 0.5));
        EXPECT_EQ(out.row(60 + d)[60 - d / 2], 255 - mul8[cone][127]) << d;
    }
}

// The box filter by its definition: the first and last r samples copied,
// the others the truncated mean of their window.
std::vector<int> box(const std::vector<int>& v, int r) {
    std::vector<int> out = v;
    const int n = static_cast<int>(v.size());
    for (int i = r; i < n - r; ++i) {
        int sum = 0;
        for (int k = -r; k <= r; ++k)
            sum += v[static_cast<std::size_t>(i + k)];
        out[static_cast<std::size_t>(i)] = sum / (2 * r + 1);
    }
    return out;
}

TEST(MaskBlur, TwoBoxPassesEachWayAndThreadsAgree) {
    constexpr int w = 70, h = 50, radius = 4;
    Picture in(image_type_gray8, w, h);
    std::mt19937 random(5);
    for (int r = 0; r < h; ++r)
        for (int x = 0; x < w; ++x)
            in.row(r)[x] = static_cast<std::uint8_t>(r > 20 && x > 30 ? 255 : random() % 256);
    std::vector<std::vector<int>> expected(h, std::vector<int>(w));
    for (int r = 0; r < h; ++r)
        expected[static_cast<std::size_t>(r)] =
            box(box(std::vector<int>(in.row(r), in.row(r) + w), radius), radius);
    for (int x = 0; x < w; ++x) {
        std::vector<int> column(h);
        for (int r = 0; r < h; ++r)
            column[static_cast<std::size_t>(r)] =
                expected[static_cast<std::size_t>(r)][static_cast<std::size_t>(x)];
        column = box(box(column, radius), radius);
        for (int r = 0; r < h; ++r)
            expected[static_cast<std::size_t>(r)][static_cast<std::size_t>(x)] =
                column[static_cast<std::size_t>(r)];
    }
    LineClasses classes;
    Picture copy(image_type_gray8, w, h);
    ASSERT_EQ(mask_blur(&in.image, &copy.image, 0, classes), 0);
    EXPECT_EQ(copy.bytes(), in.bytes());
    std::vector<std::vector<std::uint8_t>> results;
    for (int threads : {1, 5}) {
        parallel_set_threads(threads);
        Picture out(image_type_gray8, w, h);
        ASSERT_EQ(mask_blur(&in.image, &out.image, radius, classes), 0);
        results.push_back(out.bytes());
        for (int r = 0; r < h; ++r)
            for (int x = 0; x < w; ++x)
                ASSERT_EQ(out.row(r)[x],
                          expected[static_cast<std::size_t>(r)][static_cast<std::size_t>(x)])
                    << x << "," << r;
        LineClasses fresh;
        line_classes_compute(out.image, fresh);
        EXPECT_EQ(classes, fresh);
    }
    parallel_set_threads(0);
    EXPECT_TRUE(results[0] == results[1]);
}

TEST(MaskColorRange, ARedBandThroughHueZeroIsSelectedWhole) {
    // Hue band wrapping through 0: inner 1000 .. 24, ramps out to 980 and 44.
    const std::array<int, 12> limits = {980, 44, 1000, 24, 0, 1024, 0, 1024, 0, 1024, 0, 1024};
    struct Case {
        int r, g, b;
        int coverage;
    } const cases[] = {
        {255, 0, 0, 255}, {255, 0, 20, 255}, {255, 20, 0, 255}, {128, 0, 0, 255}, {0, 255, 255, 0},
        {0, 255, 0, 0},   {0, 0, 255, 0},    {255, 255, 0, 0},  {255, 0, 120, 0}, {255, 120, 0, 0},
    };
    ColorRangeTables tables;
    color_range_tables(limits, 0, false, tables);
    for (const Case& k : cases)
        EXPECT_EQ(color_range_coverage(tables, false, k.r, k.g, k.b), k.coverage)
            << k.r << "," << k.g << "," << k.b;
    // The ramps: hue 4096 * 990 / 1024 is half way up from 980 to 1000.
    EXPECT_EQ(tables.table[0][3960], (3960 - 3920) * 255 / 80);
    EXPECT_EQ(tables.table[0][140], (176 - 140) * 255 / 80);
    // A gray picture reads the first table on the 8-bit scale, whatever the space.
    const std::array<int, 12> gray = {256, 768, 512, 512, 0, 0, 0, 0, 0, 0, 0, 0};
    color_range_tables(gray, 0, true, tables);
    EXPECT_EQ(tables.space, 2);
    EXPECT_EQ(tables.table[0].size(), 256u);
    EXPECT_EQ(color_range_coverage(tables, true, 127, 127, 127), 255);
    EXPECT_EQ(color_range_coverage(tables, true, 100, 100, 100), (100 - 63) * 255 / 64);
}

TEST(MaskTexture, TheCornerHasItsFullNeighbourhood) {
    Picture in(image_type_gray8, 6, 5);
    for (int r = 0; r < 5; ++r)
        std::fill(in.row(r), in.row(r) + 6, std::uint8_t{255});
    in.row(0)[0] = 0;
    struct Case {
        int method, size, t;
    } const cases[] = {
        {0, 0, 255},
        {1, 0, (5 * 255 + 4) / 8},
        {2, 0, (5 * 255 + 4) / 8},
        {1, 1, (16 * 255 + 12) / 24},  // 5x5: 8 of the 24 repeat the corner
    };
    for (const Case& k : cases)
        EXPECT_EQ(texture_value(&in.image, 0, 0, k.method, k.size), k.t) << k.method << k.size;
    EXPECT_EQ(texture_value(&in.image, 5, 4, 1, 0), 0);

    // The whole mask, on one thread and on several.
    Picture colour(image_type_colour8, 90, 70);
    std::mt19937 random(9);
    for (int r = 0; r < 70; ++r)
        for (int b = 0; b < 270; ++b)
            colour.row(r)[b] = static_cast<std::uint8_t>(random());
    std::uint8_t identity[256];
    for (int i = 0; i < 256; ++i)
        identity[i] = static_cast<std::uint8_t>(i);
    std::vector<std::vector<std::uint8_t>> results;
    for (int threads : {1, 5}) {
        parallel_set_threads(threads);
        Picture mask(image_type_gray8, 90, 70);
        LineClasses classes;
        line_classes_compute(mask.image, classes);
        ASSERT_EQ(mask_texture(&colour.image, 2, 2, identity, mask_mode_add, &mask.image, classes),
                  0);
        results.push_back(mask.bytes());
        EXPECT_EQ(mask.row(33)[44], texture_value(&colour.image, 44, 33, 2, 2));
    }
    parallel_set_threads(0);
    EXPECT_TRUE(results[0] == results[1]);
}

TEST(MaskFloodFill, ARampStopsAtTwiceTheThreshold) {
    // Gray ramp 0, 1, 2 ... along each row: distance 3x from a seed at 0.
    constexpr int w = 60, h = 4;
    Picture picture(image_type_gray8, w, h);
    for (int r = 0; r < h; ++r)
        for (int x = 0; x < w; ++x)
            picture.row(r)[x] =
                static_cast<std::uint8_t>(x < 40 ? x : 80 - x);  // back down after 40
    Picture mask(image_type_gray8, w, h);
    LineClasses classes;
    line_classes_compute(mask.image, classes);
    MaskChange change;
    ASSERT_EQ(
        mask_flood_fill(0, 2, &picture.image, &mask.image, classes, mask_mode_add, 32.0, &change),
        0);
    for (int x = 0; x < w; ++x) {
        const int d = 3 * x;
        const int expected = x >= 40   ? 0
                             : d < 32  ? 255
                             : d >= 64 ? 0
                                       : static_cast<int>(255 - (d - 32) * 255 / 32.0);
        for (int r = 0; r < h; ++r)
            ASSERT_EQ(mask.row(r)[x], expected) << x;
    }
    EXPECT_EQ(change.x2, 21);
    EXPECT_EQ(
        mask_flood_fill(-1, 0, &picture.image, &mask.image, classes, mask_mode_add, 32.0, &change),
        0);
    EXPECT_TRUE(change.none());
}

TEST(MaskFloodFill, AStackThatOutgrowsItsBytesIsAnErrorAndThreadsAgree) {
    // Open rows joined by an open first column: each row starts a run of the
    // second column, so the seeds pile up.
    for (const int h : {2 * 50000 + 2, 2 * 40000}) {
        Picture picture(image_type_gray8, 3, h);
        for (int r = 0; r < h; r += 2)
            std::fill(picture.row(r), picture.row(r) + 3, std::uint8_t{200});
        for (int r = 0; r < h; ++r)
            picture.row(r)[0] = 200;
        std::vector<std::vector<std::uint8_t>> results;
        for (int threads : {1, 5}) {
            parallel_set_threads(threads);
            Picture mask(image_type_gray8, 3, h);
            LineClasses classes;
            line_classes_compute(mask.image, classes);
            const int code = mask_flood_fill(0, 0, &picture.image, &mask.image, classes,
                                             mask_mode_add, 10, nullptr);
            EXPECT_EQ(code, h > 100000 ? 1 : 0) << h;
            EXPECT_EQ(image_mask_area(&mask.image), h > 100000 ? 0.0 : h + h / 2 * 2);
            results.push_back(mask.bytes());
        }
        parallel_set_threads(0);
        EXPECT_TRUE(results[0] == results[1]);
    }
}

}  // namespace

namespace {

TEST(MaskCombine, EveryLineMergesTheOtherMaskTheGrayLevelOrTheLuminance) {
    constexpr int w = 5, h = 4;
    Picture mask(image_type_gray8, w, h), other(image_type_gray8, w, h),
        colour(image_type_colour8, w, h);
    const auto reset = [&] {
        for (int r = 0; r < h; ++r)
            for (int x = 0; x < w; ++x) {
                mask.row(r)[x] = static_cast<std::uint8_t>(60 * r);
                other.row(r)[x] = static_cast<std::uint8_t>(50 * x);
                colour.row(r)[3 * x] = static_cast<std::uint8_t>(200);  // blue
                colour.row(r)[3 * x + 1] = static_cast<std::uint8_t>(20 * r);
                colour.row(r)[3 * x + 2] = static_cast<std::uint8_t>(40 * x);  // red
            }
    };
    std::uint8_t identity[256];
    for (int i = 0; i < 256; ++i)
        identity[i] = static_cast<std::uint8_t>(i);
    for (int mode : {mask_mode_add, mask_mode_subtract, mask_mode_overlap, mask_mode_invert}) {
        for (int source = 0; source < 3; ++source) {
            reset();
            LineClasses classes;
            line_classes_compute(mask.image, classes);
            const int made =
                source == 0   ? mask_combine(&other.image, 0, mode, &mask.image, classes)
                : source == 1 ? mask_combine(nullptr, 90, mode, &mask.image, classes)
                              : mask_brightness_curve(&colour.image, identity, mode, &mask.image,
                                                      classes);
            ASSERT_EQ(made, 0);
            for (int r = 0; r < h; ++r)
                for (int x = 0; x < w; ++x) {
                    const int c = source == 0   ? 50 * x
                                  : source == 1 ? 90
                                                : (40 * x * 306 + 20 * r * 601 + 200 * 117) >> 10;
                    const int m = 60 * r;
                    const int expected = mode == mask_mode_add        ? std::max(m, c)
                                         : mode == mask_mode_subtract ? std::max(m - c, 0)
                                         : mode == mask_mode_overlap  ? std::min(m, c)
                                                                      : m ^ c;
                    ASSERT_EQ(mask.row(r)[x], expected)
                        << mode << " " << source << " " << x << "," << r;
                }
        }
    }
}

}  // namespace
