// The table transformations (Brightness Curve, Brightness, Gamma Adjust,
// Color Curves) against formulas, across depths, threads and preview zooms,
// Blur, and a real photograph against NumPy.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "batch_runner.h"
#include "core/parallel.h"
#include "core/tables.h"
#include "transform/box_filter.h"
#include "transform/levels.h"
#include "transform/registry.h"
#include "transform/tone.h"
#include "transform/transform.h"

namespace {

int samples_of(int type) {
    return type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
}

const TransformDescriptor& descriptor(const char* title) {
    const TransformEntry* e = transform_find_title(title);
    EXPECT_TRUE(e && e->descriptor) << title;
    return *e->descriptor;
}

struct Picture {
    Image image;
    Picture() { image_init(&image); }
    ~Picture() { image_free(&image); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    int sample(int x, int y, int c) const {
        const int n = samples_of(image.type);
        const std::uint8_t* row = image.rows[y];
        return image.type == image_type_gray16 || image.type == image_type_colour16
                   ? reinterpret_cast<const std::uint16_t*>(row)[x * n + c]
                   : row[x * n + c];
    }
    void set(int x, int y, int c, int v) {
        const int n = samples_of(image.type);
        std::uint8_t* row = image.rows[y];
        if (image.type == image_type_gray16 || image.type == image_type_colour16)
            reinterpret_cast<std::uint16_t*>(row)[x * n + c] = static_cast<std::uint16_t>(v);
        else
            row[x * n + c] = static_cast<std::uint8_t>(v);
    }
};

// A picture with every level and plenty of hues: 8-bit, or the same through
// `to16` at 16 bits.
void make_test_picture(Picture& p, int type, int w = 64, int h = 48) {
    ASSERT_EQ(image_alloc(&p.image, type, w, h, 72.0), 0);
    const bool wide = type == image_type_gray16 || type == image_type_colour16;
    const int n = samples_of(type);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < n; ++c) {
                const int v = (x * 4 + y * 7 * (c + 1) + c * 50) % 256;
                p.set(x, y, c, wide ? to16[v] : v);
            }
}

// A block of the built-in values with `edit` applied.
struct Block {
    ParamBlock params;
    const TransformDescriptor& d;
    explicit Block(const TransformDescriptor& desc) : d(desc) { EXPECT_EQ(params.allocate(d), 0); }
    void set(const char* keyword, double v) {
        if (const TransformField* f = field_find(d.fields, keyword)) return f->set(params.get(), v);
        for (const TransformField& f : d.fields)  // a part of a range or a colour
            for (std::size_t k = 0; f.set_part && k < f.words.size(); ++k)
                if (f.words[k] == keyword)
                    return f.set_part(params.get(), static_cast<int>(k), static_cast<int>(v));
        ADD_FAILURE() << "no value " << keyword;
    }
    AmountSettings& amount() { return *field_find(d.fields, "amount")->amount(params.get()); }
    Curve& curve() { return *field_find(d.fields, "curve")->curve(params.get()); }
    void range(int in_low, int in_high, int out_low, int out_high) {
        set("in_low", in_low);
        set("in_high", in_high);
        set("out_low", out_low);
        set("out_high", out_high);
    }
    void points(std::vector<int> x, std::vector<int> y, int style) {
        Curve& c = curve();
        c.npts = static_cast<int>(x.size());
        for (std::size_t i = 0; i < x.size(); ++i) {
            c.x[i] = x[i];
            c.y[i] = y[i];
        }
        c.style = style;
    }
    int apply(Image* in, Image* out) { return transform_compute_image(d, params.get(), in, out); }
};

// The cases the depth, thread and preview tests run: each transformation
// in its colour spaces, with a curve that bends.
struct Case {
    const char* title;
    std::function<void(Block&)> edit;
    // How far an 8-bit result may stray from the 16-bit one: HSL at 8 bits
    // works on the 12-bit scale of the 8-bit conversions, the HSV saturation
    // change truncates twice on the 8-bit scale, and the box passes of the
    // blurs truncate each time.
    int tolerance8 = 1;
};

const Case cases[] = {
    {"Brightness Curve", [](Block& b) { b.points({0, 90, 255}, {20, 160, 250}, curve_spline); b.set("clr", 0); }},
    {"Brightness Curve", [](Block& b) { b.points({0, 128, 255}, {0, 64, 255}, curve_spline); b.set("clr", 1); }, 3},
    {"Brightness Curve", [](Block& b) { b.points({0, 60, 200, 255}, {0, 90, 180, 255}, curve_linear); b.set("clr", 2); b.amount().amount_low = 600; }},
    {"Brightness", [](Block& b) { b.amount().amount_low = 700; b.set("cspace", 0); }},
    {"Brightness", [](Block& b) { b.amount().amount_low = 300; b.set("cspace", 1); b.set("preserve", 0); }, 3},
    {"Brightness", [](Block& b) { b.amount().amount_low = 800; b.set("cspace", 2); b.set("preserve", 2); }},
    {"Gamma Adjust", [](Block& b) { b.set("factor", 300); }},
    {"Color Curves", [](Block& b) { b.set("colorspace", 2); b.set("component", 1); b.points({0, 128, 255}, {0, 170, 255}, curve_spline); }},
    {"Color Curves", [](Block& b) { b.set("colorspace", 0); b.set("component", 1); b.points({0, 255}, {0, 160}, curve_linear); }},
    {"Color Curves", [](Block& b) { b.set("colorspace", 1); b.set("component", 0); b.points({0, 255}, {30, 255}, curve_linear); b.amount().amount_low = 800; }},
    {"Sharpen", [](Block& b) { b.set("kernel", 2); b.set("radius", 3); b.set("threshold", 4); }, 6},
    {"Sharpen", [](Block& b) { b.set("kernel", 1); b.amount().amount_low = 600; }, 6},
    // The bilateral mean and test are thresholds, which a level of rounding
    // can put on the other side at the other depth.
    {"Sharpen", [](Block& b) { b.set("kernel", 3); b.set("blur_radius", 2); }, 12},
    {"Levels and Color", [](Block& b) { b.range(20, 230, 0, 255); b.set("midtones", 30); b.set("saturation", 40); }, 2},
    {"Blur", [](Block& b) { b.set("kernel", 2); b.set("radius", 3); }, 4},
    {"Blur", [](Block& b) { b.set("kernel", 3); b.set("radius", 2); b.set("threshold", 60); b.amount().amount_low = 700; }, 4},
    {"Blur", [](Block& b) { b.set("kernel", 1); }, 2},
    {"Blur", [](Block& b) { b.set("kernel", 5); b.set("threshold", 100); }},
    {"Levels and Color", [](Block& b) { b.range(0, 255, 30, 255); b.set("midtones", -40); b.set("cspace", 1); b.set("saturation", -30); b.set("filter_blue", 200); b.amount().amount_low = 700; }, 3},
};

std::string name_of(const Case& c, const Block& b) {
    std::string s = c.title;
    for (const TransformField& f : b.d.fields)
        if (f.get) {
            s.push_back(' ');
            s.append(f.keyword).push_back('=');
            s.append(std::to_string(f.get(b.params.get())));
        }
    return s;
}

TEST(ToneTransforms, EightAndSixteenBitResultsAgreeWithinALevel) {
    for (const Case& c : cases) {
        for (int type : {image_type_gray8, image_type_colour8}) {
            Block b(descriptor(c.title));
            c.edit(b);
            Picture in8, in16, out8, out16;
            make_test_picture(in8, type);
            make_test_picture(in16, type == image_type_gray8 ? image_type_gray16 : image_type_colour16);
            ASSERT_EQ(b.apply(&in8.image, &out8.image), 0);
            ASSERT_EQ(b.apply(&in16.image, &out16.image), 0);
            const int samples = samples_of(out8.image.type);
            ASSERT_EQ(samples_of(out16.image.type), samples);
            int worst = 0;
            for (int y = 0; y < 48; ++y)
                for (int x = 0; x < 64; ++x)
                    for (int k = 0; k < samples; ++k)
                        worst = std::max(worst, std::abs(to8[out16.sample(x, y, k)] - out8.sample(x, y, k)));
            EXPECT_LE(worst, c.tolerance8)
                << name_of(c, b) << " type " << type;
        }
    }
}

// Threads and zooms: the same result with one thread and with five, and a
// reduced or magnified preview of a 16-bit picture equal to the apply's
// result through `to8`, subsampled or repeated.
TEST(ToneTransforms, ThreadsAndPreviewZoomsGiveTheSameResult) {
    for (const Case& c : cases) {
        Block b(descriptor(c.title));
        c.edit(b);
        Picture in, one, five;
        make_test_picture(in, image_type_colour16, 90, 77);
        parallel_set_threads(1);
        ASSERT_EQ(b.apply(&in.image, &one.image), 0);
        parallel_set_threads(5);
        ASSERT_EQ(b.apply(&in.image, &five.image), 0);
        parallel_set_threads(0);
        for (int y = 0; y < 77; ++y)
            ASSERT_EQ(std::memcmp(one.image.rows[y], five.image.rows[y], 90 * 6), 0) << name_of(c, b);

        WindowRecord record{};
        record.image = in.image;
        for (int zoom : {-2, 3}) {
            const int w = zoom < 0 ? 45 : 270, h = zoom < 0 ? 39 : 231;
            Picture view;
            ComputeArgs args;
            args.input = &record;
            args.output = &view.image;
            args.params = b.params.get();
            args.width = w;
            args.height = h;
            args.zoom = zoom;
            args.region_x2 = w - 1;
            args.region_y2 = h - 1;
            args.line_width = zoom < 0 ? 45 : 90;
            args.line_count = zoom < 0 ? 39 : 77;
            ASSERT_EQ(b.d.compute(args), 0);
            ASSERT_EQ(view.image.type, image_type_colour8);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const int sx = zoom < 0 ? 2 * x : x / 3, sy = zoom < 0 ? 2 * y : y / 3;
                    for (int k = 0; k < 3; ++k)
                        ASSERT_NEAR(view.sample(x, y, k), to8[one.sample(sx, sy, k)], 1)
                            << name_of(c, b) << " zoom " << zoom << " at " << x << "," << y;
                }
        }
        image_init(&record.image);  // the picture stays `in`'s
    }
}

// Per-pixel rules against formulas: HSV scales the samples by V'/V and
// turns black into the grey of T[0]; RGB takes each sample through T.
TEST(ToneTransforms, ColourSpaceRulesOfOneCurve) {
    Block b(descriptor("Brightness Curve"));
    b.points({0, 255}, {40, 200}, curve_linear);
    Picture in, out;
    ASSERT_EQ(image_alloc(&in.image, image_type_colour8, 2, 1, 72.0), 0);
    const int pixel[2][3] = {{0, 0, 0}, {50, 100, 200}};  // memory order b, g, r
    for (int x = 0; x < 2; ++x)
        for (int k = 0; k < 3; ++k)
            in.set(x, 0, k, pixel[x][k]);
    auto t = [](int v) { return static_cast<int>(std::floor(40 + v * 160.0 / 255 + 0.5)); };
    ASSERT_EQ(b.apply(&in.image, &out.image), 0);  // HSV
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(out.sample(0, 0, k), t(0));
        EXPECT_EQ(out.sample(1, 0, k), pixel[1][k] * t(200) / 200);
    }
    b.set("clr", 2);
    ASSERT_EQ(b.apply(&in.image, &out.image), 0);
    for (int k = 0; k < 3; ++k)
        EXPECT_EQ(out.sample(1, 0, k), t(pixel[1][k]));
}

// Amounts that change nothing copy the input; the slider ends hit their
// formulas.
TEST(ToneTransforms, NeutralSettingsCopyAndSliderEndsFollowTheirFormulas) {
    Picture in;
    make_test_picture(in, image_type_gray8);
    auto result = [&](const char* title, const std::function<void(Block&)>& edit) {
        Block b(descriptor(title));
        edit(b);
        Picture out;
        EXPECT_EQ(b.apply(&in.image, &out.image), 0);
        std::vector<int> v;
        for (int x = 0; x < 64; ++x)
            v.push_back(out.sample(x, 5, 0));
        return v;
    };
    std::vector<int> same;
    for (int x = 0; x < 64; ++x)
        same.push_back(in.sample(x, 5, 0));
    auto levels = [&](const std::function<int(int)>& f) {
        std::vector<int> v;
        for (int s : same)
            v.push_back(f(s));
        return v;
    };
    // Brightness 512 and 513 both truncate to the neutral level 127.
    EXPECT_EQ(result("Brightness", [](Block& b) { b.amount().amount_low = 513; }), same);
    EXPECT_NE(result("Brightness", [](Block& b) { b.amount().amount_low = 516; }), same);
    EXPECT_EQ(result("Brightness", [](Block& b) { b.amount().amount_low = 0; }), levels([](int) { return 0; }));
    EXPECT_EQ(result("Brightness", [](Block& b) { b.amount().amount_low = 1024; b.set("preserve", 3); }),
              levels([](int) { return 255; }));
    EXPECT_EQ(result("Brightness", [](Block& b) { b.amount().amount_low = 700; b.set("preserve", 3); }),
              levels([](int s) { return std::clamp(s + 2 * (700 * 255 / 1024) - 255, 0, 255); }));
    EXPECT_EQ(result("Brightness Curve", [](Block& b) { b.points({0, 255}, {255, 0}, curve_linear); b.amount().amount_low = 0; }), same);
    for (auto [position, factor] : {std::pair{0, std::exp(-1.0)}, std::pair{1024, std::exp(1.0)}}) {
        EXPECT_EQ(result("Gamma Adjust", [p = position](Block& b) { b.set("factor", p); }),
                  levels([f = factor](int s) {
                      return static_cast<int>(std::floor(255 * std::pow(s / 255.0, f) + 0.5));
                  }));
    }
    EXPECT_EQ(result("Gamma Adjust", [](Block& b) { b.set("factor", 512); }), same);
}

// A mask picks the brightness pixel by pixel: the low amount where it is
// black, the high one where it is white.
TEST(ToneTransforms, BrightnessMaskPicksATablePerPixel) {
    Picture in, mask, out, low, high;
    make_test_picture(in, image_type_colour16);
    ASSERT_EQ(image_alloc(&mask.image, image_type_gray8, 64, 48, 72.0), 0);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x)
            mask.set(x, y, 0, x < 32 ? 0 : 255);
    auto run = [&](int a, int high_amount, Picture& o) {
        Block b(descriptor("Brightness"));
        b.amount().amount_low = a;
        b.set("preserve", 0);
        if (high_amount >= 0) {
            b.amount().amount_mask = &mask.image;
            b.amount().amount_high = high_amount;
        }
        ASSERT_EQ(b.apply(&in.image, &o.image), 0);
    };
    run(200, 900, out);
    run(200, -1, low);
    run(900, -1, high);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x)
            for (int k = 0; k < 3; ++k)
                ASSERT_EQ(out.sample(x, y, k), (x < 32 ? low : high).sample(x, y, k)) << x << "," << y;
}

// Levels: the bend at -m undoes the bend at m; the automatic range skips a
// ten-thousandth at each end; a grey picture with a coloured filter becomes
// colour; saturation -100 makes HSV grey at the greatest sample; inverted
// clipping shows in a preview only.
TEST(Levels, TablesRangeFilterAndClipping) {
    for (double m : {-80.0, -30.0, 25.0, 90.0})
        for (double t = 0.05; t < 1; t += 0.1)
            EXPECT_NEAR(levels_bend(levels_bend(t, -m), m), t, 1e-9) << m << " " << t;
    std::uint8_t table[256];
    levels_tone_table8({100, 100, 10, 240, 0}, false, table);
    EXPECT_EQ(table[100], 10);
    EXPECT_EQ(table[101], 240);
    levels_tone_table8({0, 255, 0, 255, 100}, false, table);
    EXPECT_EQ(table[0], 255);

    Picture grey;
    ASSERT_EQ(image_alloc(&grey.image, image_type_gray8, 200, 100, 72.0), 0);
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 200; ++x)
            grey.set(x, y, 0, 60 + x / 2);
    grey.set(0, 0, 0, 0);  // one pixel in 20000: below the threshold of 2
    int low = -1, high = -1;
    ASSERT_TRUE(levels_auto_range(&grey.image, tone_hsv, low, high));
    EXPECT_EQ(low, 60);
    EXPECT_EQ(high, 159);

    Block b(descriptor("Levels and Color"));
    b.set("filter_green", 128);
    b.set("filter_blue", 0);
    Picture coloured;
    ASSERT_EQ(b.apply(&grey.image, &coloured.image), 0);
    ASSERT_EQ(coloured.image.type, image_type_colour8);
    EXPECT_EQ(coloured.sample(50, 50, 2), 85);  // red: the grey level
    EXPECT_EQ(coloured.sample(50, 50, 1), 85 * 128 / 255);
    EXPECT_EQ(coloured.sample(50, 50, 0), 0);

    Block grey_out(descriptor("Levels and Color"));
    grey_out.set("saturation", -100);
    Picture in, out;
    make_test_picture(in, image_type_colour8);
    ASSERT_EQ(grey_out.apply(&in.image, &out.image), 0);
    EXPECT_EQ(out.sample(10, 10, 0), std::max({in.sample(10, 10, 0), in.sample(10, 10, 1), in.sample(10, 10, 2)}));
    EXPECT_EQ(out.sample(10, 10, 1), out.sample(10, 10, 0));

    Block clipped(descriptor("Levels and Color"));
    clipped.range(100, 255, 0, 255);
    clipped.set("clip", 1);
    WindowRecord record{};
    record.image = grey.image;
    Picture view;
    ComputeArgs args;
    args.input = &record;
    args.output = &view.image;
    args.params = clipped.params.get();
    args.width = args.line_width = 200;
    args.height = args.line_count = 100;
    args.region_x2 = 199;
    args.region_y2 = 99;
    args.zoom = 1;
    ASSERT_EQ(clipped.d.compute(args), 0);
    EXPECT_EQ(view.sample(10, 50, 0), 255);  // clipped to black, shown white
    image_init(&record.image);
    Picture applied;
    ASSERT_EQ(clipped.apply(&grey.image, &applied.image), 0);
    EXPECT_EQ(applied.sample(10, 50, 0), 0);
}

// Blur against a plain re-reading of its rules on a small grey picture with
// its edges repeated: the truncating box twice down each column and twice
// along each line, the four and eight neighbour means, the exact median,
// the high pass around 128, and a threshold of 0 keeping every pixel.
TEST(Blur, MethodsAgainstTheirRules) {
    Picture in;
    make_test_picture(in, image_type_gray8, 23, 17);
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 23; ++x)
            in.set(x, y, 0, (x * 37 + y * y * 11 + (x * y) % 7 * 30) % 256);
    auto at = [&](int x, int y) { return in.sample(std::clamp(x, 0, 22), std::clamp(y, 0, 16), 0); };
    auto run = [&](int kernel, int radius, int threshold, Picture& out) {
        Block b(descriptor("Blur"));
        b.set("kernel", kernel);
        b.set("radius", radius);
        b.set("threshold", threshold);
        ASSERT_EQ(b.apply(&in.image, &out.image), 0);
    };
    for (int r : {1, 3}) {
        // Columns first over the widened picture, then lines.
        const int m = 2 * r, w = 23 + 2 * m, h = 17 + 2 * m, n = 2 * r + 1;
        std::vector<std::vector<int>> a(h, std::vector<int>(w)), b = a;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                a[y][x] = at(x - m, y - m);
        auto box = [&](std::vector<std::vector<int>>& from, std::vector<std::vector<int>>& to, bool down) {
            to = from;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const int i = down ? y : x, len = down ? h : w;
                    if (i < r || i >= len - r) continue;
                    int sum = 0;
                    for (int k = -r; k <= r; ++k)
                        sum += down ? from[y + k][x] : from[y][x + k];
                    to[y][x] = sum / n;
                }
        };
        box(a, b, true);
        box(b, a, true);
        box(a, b, false);
        box(b, a, false);
        Picture gauss, high;
        run(2, r, 255, gauss);
        run(3, r, 255, high);
        Picture whole, whole_high;  // the library forms later transformations call
        ASSERT_EQ(blur_image(&in.image, &whole.image, r, false), 0);
        ASSERT_EQ(high_pass_image(&in.image, &whole_high.image, r, false), 0);
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 23; ++x) {
                ASSERT_EQ(gauss.sample(x, y, 0), a[y + m][x + m]) << r << " " << x << "," << y;
                ASSERT_EQ(whole.sample(x, y, 0), a[y + m][x + m]);
                ASSERT_EQ(whole_high.sample(x, y, 0), high.sample(x, y, 0));
                ASSERT_EQ(high.sample(x, y, 0), std::clamp(at(x, y) - a[y + m][x + m] + 128, 0, 255));
            }
    }
    // The 1-D box of the library: ends copied, the inside the truncated mean.
    const std::uint16_t samples[11] = {9, 700, 3, 65535, 12, 40000, 5, 5, 60000, 1, 2};
    std::uint16_t boxed[11];
    box_filter16(samples, boxed, 11, 2, 1);
    for (int i = 0; i < 11; ++i) {
        int sum = 0;
        for (int k = -2; k <= 2; ++k)
            sum += samples[std::clamp(i + k, 0, 10)];
        EXPECT_EQ(boxed[i], i < 2 || i > 8 ? samples[i] : sum / 5) << i;
    }
    Picture flat, flat_blur;  // a constant picture stays that constant, edges too
    ASSERT_EQ(image_alloc(&flat.image, image_type_colour16, 9, 7, 72.0), 0);
    for (int y = 0; y < 7; ++y)
        for (int i = 0; i < 27; ++i)
            flat.set(i / 3, y, i % 3, 40000 + i % 3);
    ASSERT_EQ(blur_image(&flat.image, &flat_blur.image, 5, false), 0);
    for (int y = 0; y < 7; ++y)
        for (int i = 0; i < 27; ++i)
            ASSERT_EQ(flat_blur.sample(i / 3, y, i % 3), 40000 + i % 3);
    Picture four, eight, med3, med5, kept;
    run(0, 1, 255, four);
    run(1, 1, 255, eight);
    run(4, 1, 255, med3);
    run(5, 1, 255, med5);
    run(2, 4, 0, kept);
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 23; ++x) {
            const int c = at(x, y);
            EXPECT_EQ(four.sample(x, y, 0), (c + at(x - 1, y) + at(x + 1, y) + at(x, y - 1) + at(x, y + 1)) / 5);
            int sum = 0;
            std::vector<int> w3, w5;
            for (int dy = -2; dy <= 2; ++dy)
                for (int dx = -2; dx <= 2; ++dx) {
                    w5.push_back(at(x + dx, y + dy));
                    if (std::abs(dx) <= 1 && std::abs(dy) <= 1) {
                        w3.push_back(at(x + dx, y + dy));
                        sum += at(x + dx, y + dy);
                    }
                }
            std::sort(w3.begin(), w3.end());
            std::sort(w5.begin(), w5.end());
            EXPECT_EQ(eight.sample(x, y, 0), sum / 9);
            EXPECT_EQ(med3.sample(x, y, 0), w3[4]);
            EXPECT_EQ(med5.sample(x, y, 0), w5[12]);
            EXPECT_EQ(kept.sample(x, y, 0), c);
        }
}

// Sharpen against its formulas on a small grey picture: the four and eight
// neighbour pushes, the unsharp mask from the shared Gaussian with a
// difference equal to the threshold sharpening, and a bilateral blur
// threshold of 0 leaving the picture as it is.
TEST(Sharpen, MethodsAgainstTheirRules) {
    Picture in;
    ASSERT_EQ(image_alloc(&in.image, image_type_gray8, 19, 13, 72.0), 0);
    for (int y = 0; y < 13; ++y)
        for (int x = 0; x < 19; ++x)
            in.set(x, y, 0, (x * 53 + y * 29 + x * y % 11 * 17) % 256);
    auto at = [&](int x, int y) { return in.sample(std::clamp(x, 0, 18), std::clamp(y, 0, 12), 0); };
    auto run = [&](const std::function<void(Block&)>& edit, Picture& out) {
        Block b(descriptor("Sharpen"));
        edit(b);
        ASSERT_EQ(b.apply(&in.image, &out.image), 0);
    };
    Picture four, eight, unsharp, kept, half;
    run([](Block& b) { b.set("kernel", 0); }, four);
    run([](Block& b) { b.set("kernel", 1); }, eight);
    run([](Block& b) { b.set("kernel", 1); b.amount().amount_low = 512; }, half);
    run([](Block& b) { b.set("kernel", 2); b.set("radius", 2); b.set("threshold", 9); }, unsharp);
    run([](Block& b) { b.set("kernel", 3); b.set("blur_threshold", 0); }, kept);
    Picture blurred;
    ASSERT_EQ(blur_image(&in.image, &blurred.image, 2, false), 0);
    const int s = (512 * 255 + 512) / 1024;
    for (int y = 0; y < 13; ++y)
        for (int x = 0; x < 19; ++x) {
            const int c = at(x, y);
            const int n4 = at(x - 1, y) + at(x + 1, y) + at(x, y - 1) + at(x, y + 1);
            const int n8 = n4 + at(x - 1, y - 1) + at(x + 1, y - 1) + at(x - 1, y + 1) + at(x + 1, y + 1);
            EXPECT_EQ(four.sample(x, y, 0), std::clamp(2 * c - (n4 >> 2), 0, 255));
            EXPECT_EQ(eight.sample(x, y, 0), std::clamp(3 * c - (n8 >> 2), 0, 255));
            EXPECT_EQ(half.sample(x, y, 0), std::clamp(((2 * s + 255) * c - 2 * s * (n8 >> 3)) / 255, 0, 255));
            const int m = blurred.sample(x, y, 0);
            EXPECT_EQ(unsharp.sample(x, y, 0), std::abs(c - m) >= 9 ? std::clamp(2 * c - m, 0, 255) : c)
                << x << "," << y << " c " << c << " m " << m;
            EXPECT_EQ(kept.sample(x, y, 0), c);
        }
}

// Pictures smaller than the windows that read them stay in bounds (the
// sanitised run watches), at apply and in a reduced preview, and a constant
// tiny picture stays that constant.
TEST(ToneTransforms, TinyPicturesAndLargeWindows) {
    const std::pair<const char*, std::function<void(Block&)>> runs[] = {
        {"Blur", [](Block& b) { b.set("kernel", 2); b.set("radius", 40); }},
        {"Blur", [](Block& b) { b.set("kernel", 5); }},
        {"Sharpen", [](Block& b) { b.set("kernel", 2); b.set("radius", 30); }},
        {"Sharpen", [](Block& b) { b.set("kernel", 3); b.set("blur_radius", 20); }},
    };
    for (const auto& [name, edit] : runs)
        for (int type : {image_type_gray8, image_type_colour16})
            for (auto [w, h] : {std::pair{1, 1}, std::pair{3, 2}, std::pair{2, 5}}) {
                Picture in, out;
                ASSERT_EQ(image_alloc(&in.image, type, w, h, 72.0), 0);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x)
                        for (int c = 0; c < samples_of(type); ++c)
                            in.set(x, y, c, 77);
                Block b(descriptor(name));
                edit(b);
                ASSERT_EQ(b.apply(&in.image, &out.image), 0) << name;
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x)
                        ASSERT_EQ(out.sample(x, y, 0), 77) << name << " " << w << "x" << h;
            }
}

TEST(ToneTransforms, CurvesTravelThroughWorkflowTextAndTheCcFile) {
    const TransformDescriptor& d = descriptor("Color Curves");
    Block b(d);
    b.set("component", 2);
    std::vector<int> x, y;
    for (int i = 0; i < 11; ++i) {  // more than a line of eight
        x.push_back(i * 25);
        y.push_back(255 - i * 20);
    }
    b.points(x, y, curve_gamma);
    b.set("colorspace", 1);

    std::FILE* f = std::tmpfile();
    TextFile file;
    file.adopt(f);
    WorkflowImages images;
    WorkflowText text{file, images};
    ASSERT_EQ(d.write(b.params.get(), text), 0);
    std::fputs("end_widget 212\r\n", f);
    std::rewind(f);
    Block back(d);
    ASSERT_EQ(d.read(back.params.get(), text), 0);
    back.set("component", 2);
    EXPECT_EQ(std::memcmp(&back.curve(), &b.curve(), offsetof(Curve, lut)), 0);
    EXPECT_EQ(field_find(d.fields, "colorspace")->get(back.params.get()), 1);

    const std::string path = (std::filesystem::temp_directory_path() / "orvane_test.cc").string();
    ASSERT_EQ(d.settings_save(path, b.params.get()), 0);
    Block loaded(d);
    ASSERT_EQ(d.settings_load(path, loaded.params.get()), 0);
    loaded.set("component", 2);
    EXPECT_EQ(std::memcmp(&loaded.curve(), &b.curve(), offsetof(Curve, lut)), 0);
    const std::string again = path + ".again";
    ASSERT_EQ(d.settings_save(again, loaded.params.get()), 0);
    std::ifstream one(path, std::ios::binary), two(again, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(one), {}),
              std::string(std::istreambuf_iterator<char>(two), {}));
    std::filesystem::remove(path);
    std::filesystem::remove(again);
}

// A real photograph through orvane-batch, checked by NumPy: Gamma Adjust is
// the power law and a two-point linear curve is a levels stretch. The
// photograph is made truly 16-bit first (its samples are 8-bit ones times
// 257), and files travel through libtiff's tiffcp and netpbm, never through
// this program's own reader.
constexpr const char* numpy_script = R"(
import numpy, os, struct, subprocess, sys
def read(path):
    raw = os.path.join(os.path.dirname(__file__), 'raw-' + os.path.basename(path))
    subprocess.run(['tiffcp', '-c', 'none', path, raw], check=True)
    b = open(raw, 'rb').read()
    e = '<' if b[:2] == b'II' else '>'
    off = struct.unpack(e + 'I', b[4:8])[0]
    tags = {}
    for i in range(struct.unpack(e + 'H', b[off:off + 2])[0]):
        t, typ, cnt, val = struct.unpack(e + 'HHI4s', b[off + 2 + 12 * i:off + 14 + 12 * i])
        size = 2 if typ == 3 else 4
        data = val if size * cnt <= 4 else b[struct.unpack(e + 'I', val)[0]:][:size * cnt]
        if typ in (3, 4):
            tags[t] = struct.unpack(e + ('H' if typ == 3 else 'I') * cnt, data[:size * cnt])
    w, h = tags[256][0], tags[257][0]
    raw = b''.join(b[o:o + c] for o, c in zip(tags[273], tags[279]))
    return numpy.frombuffer(raw, dtype=e + 'u2').reshape(h, w, 3).astype(numpy.float64)
if sys.argv[1] == 'make':
    x = read(sys.argv[2])
    y = numpy.clip(x * 0.96 + numpy.arange(x.size).reshape(x.shape) % 251, 0, 65535)
    open(sys.argv[3], 'wb').write(b'P6 %d %d 65535\n' % (x.shape[1], x.shape[0]) +
                                  y.astype('>u2').tobytes())
    sys.exit(0)
x = read(sys.argv[2])
gamma = numpy.floor(65535 * (x / 65535) ** 1.7 + 0.5)
lo, hi = (30 * 65535 + 127) // 255, (220 * 65535 + 127) // 255
levels = numpy.clip(numpy.floor((x - lo) * 65535 / (hi - lo) + 0.5), 0, 65535)
d1 = numpy.abs(read(sys.argv[3]) - gamma).max()
d2 = numpy.abs(read(sys.argv[4]) - levels).max()
print('largest differences', d1, d2)
sys.exit(0 if d1 <= 1 and d2 <= 1 else 1)
)";

TEST(ToneTransforms, APhotographAgreesWithNumPy) {
    if (std::system("/usr/bin/python3 -c 'import numpy' 2>/dev/null") != 0)
        GTEST_SKIP() << "NumPy missing: run scripts/install-deps.sh";
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "orvane_numpy";
    std::filesystem::create_directories(dir);
    const std::string photo =
        (std::filesystem::path(ORVANE_TEST_DATA).parent_path().parent_path() / "samples" /
         "chelsea-16bit.tif")
            .string();
    auto at = [&](const char* name) { return quoted((dir / name).string()); };
    std::ofstream((dir / "check.py").string()) << numpy_script;
    const std::string python = words({"/usr/bin/python3", at("check.py")});
    ASSERT_EQ(std::system(words({python, "make", quoted(photo), at("in.ppm")}).c_str()), 0);
    ASSERT_EQ(std::system(words({"pnmtotiff", at("in.ppm"), ">", at("in.tif"), "2>/dev/null"}).c_str()), 0);
    ASSERT_EQ(run_batch(words({"apply 'Gamma Adjust' out_in_gamma 1.7 3", at("in.tif"), at("gamma.tif")})), 0);
    ASSERT_EQ(run_batch(words({"apply 'Brightness Curve' n_style_hist_clr 2 1 0 2 x_curve 2 30 220 y_curve 2 0 255",
                               at("in.tif"), at("levels.tif")})), 0);
    const std::string check = words({python, "check", at("in.tif"), at("gamma.tif"), at("levels.tif")});
    EXPECT_EQ(std::system(check.c_str()), 0) << check;
    std::filesystem::remove_all(dir);
}

}  // namespace
