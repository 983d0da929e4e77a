// Crop/Add Border against independent statements: a plain crop against the
// input's own pixels, a rotation against a double-precision bilinear read of
// the turned picture, the 5 x 5 shapes against counted sub-samples of the
// exact outline, the resize against the resampler run on the plain crop,
// the cached stages by their counters, and 1 against several threads.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "batch_runner.h"
#include "core/errors.h"
#include "core/parallel.h"
#include "core/tables.h"
#include "core/window_record.h"
#include "file/read_image.h"
#include "transform/geometry/crop_add_border.h"
#include "transform/registry.h"
#include "transform/resample.h"
#include "transform/transform.h"

namespace {

const TransformDescriptor& crop() {
    return *transform_find_title("Crop/Add Border")->descriptor;
}

struct Block {
    CropParams p{};
    Block() { crop().params_reset(&p); }
    Block& rect(int x1, int y1, int x2, int y2) {
        p.x1 = x1, p.y1 = y1, p.x2 = x2, p.y2 = y2;
        return *this;
    }
    int apply(Image* in, Image* out) { return transform_compute_image(crop(), &p, in, out); }
};

int samples(int type) {
    return type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
}
bool wide(int type) {
    return type == image_type_gray16 || type == image_type_colour16;
}
// Sample c of pixel (x, y), y down from the top.
int at(const Image* i, int x, int y, int c = 0) {
    const std::uint8_t* line = i->rows[i->height - 1 - y];
    const int k = x * samples(i->type) + c;
    return wide(i->type) ? reinterpret_cast<const std::uint16_t*>(line)[k] : line[k];
}
// A picture whose samples differ from pixel to pixel and channel to channel.
void fill(Image* i, int type, int w, int h) {
    ASSERT_EQ(image_alloc(i, type, w, h, 300.0), 0);
    const int n = w * samples(type);
    for (int y = 0; y < h; ++y)
        for (int k = 0; k < n; ++k) {
            const int v = (k * 37 + y * 91 + (k % 3) * 50) % 256;
            if (wide(type))
                reinterpret_cast<std::uint16_t*>(i->rows[y])[k] = static_cast<std::uint16_t>(v * 257 + y);
            else
                i->rows[y][k] = static_cast<std::uint8_t>(v);
        }
}
// A smooth picture, for reads between pixels.
void smooth(Image* i, int w, int h) {
    ASSERT_EQ(image_alloc(i, image_type_colour8, w, h, 300.0), 0);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c)
                i->rows[y][3 * x + c] = static_cast<std::uint8_t>(
                    127 + 120 * std::sin(0.21 * x * (c + 1) + 0.13 * y));
}

TEST(CropAddBorder, PlainCropIsTheInputsPixelsAndOutsideIsBorder) {
    const struct {
        int type, x1, y1, x2, y2, left, top;
    } cases[] = {
        {image_type_gray8, 3, 2, 20, 11, 0, 0},     {image_type_colour8, 20, 11, 3, 2, 0, 0},
        {image_type_gray16, 0, 0, 24, 15, 2, 3},    {image_type_colour16, 10, 4, 10, 4, 1, 0},
        {image_type_colour8, -4, -2, 28, 17, 5, 1},  // larger than the picture: border round it
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type * 100 + c.x1);
        ImageHolder in, out;
        fill(in.get(), c.type, 25, 16);
        Block b;
        b.rect(c.x1, c.y1, c.x2, c.y2);
        b.p.left = c.left, b.p.top = c.top, b.p.right = 2, b.p.bottom = 1;
        b.p.red = 10, b.p.green = 200, b.p.blue = 90;
        ASSERT_EQ(b.apply(in.get(), out.get()), 0);
        const int x1 = std::min(c.x1, c.x2), y1 = std::min(c.y1, c.y2);
        const int cw = std::abs(c.x2 - c.x1) + 1, ch = std::abs(c.y2 - c.y1) + 1;
        ASSERT_EQ(out->type, c.type);
        ASSERT_EQ(out->width, cw + c.left + 2);
        ASSERT_EQ(out->height, ch + c.top + 1);
        const int bgr[3] = {90, 200, 10};
        for (int y = 0; y < out->height; ++y)
            for (int x = 0; x < out->width; ++x)
                for (int k = 0; k < samples(c.type); ++k) {
                    const int sx = x - c.left + x1, sy = y - c.top + y1;
                    const bool picture = x >= c.left && x < c.left + cw && y >= c.top &&
                                         y < c.top + ch && sx >= 0 && sx < 25 && sy >= 0 && sy < 16;
                    int border = samples(c.type) == 3 ? bgr[k] : (10 * 306 + 200 * 601 + 90 * 117) >> 10;
                    if (wide(c.type)) border *= 257;
                    ASSERT_EQ(at(out.get(), x, y, k), picture ? at(in.get(), sx, sy, k) : border)
                        << x << "," << y << "," << k;
                }
    }
}

// The turned picture, read bilinearly in doubles at clamped positions, and
// how much picture lies under the read: 1 inside, fading to 0 over the ring
// one pixel round the picture.
double turned(const Image* in, double degrees, int W, int H, int X, int Y, int c, bool* inside,
              double* coverage = nullptr) {
    const double a = M_PI * degrees / 180, w = in->width, h = in->height;
    const double dx = X - (W - 1) / 2.0, dy = Y - (H - 1) / 2.0;
    const double sx = dx * std::cos(a) + dy * std::sin(a) + (w - 1) / 2;
    const double sy = -dx * std::sin(a) + dy * std::cos(a) + (h - 1) / 2;
    *inside = sx >= 1 && sx <= w - 2 && sy >= 1 && sy <= h - 2;
    if (coverage)
        *coverage = std::clamp(std::min(sx + 1, w - sx), 0.0, 1.0) *
                    std::clamp(std::min(sy + 1, h - sy), 0.0, 1.0);
    if (sx < -1.5 || sx > w + 0.5 || sy < -1.5 || sy > h + 0.5) return -1;  // surely no picture
    const double x = std::clamp(sx, 0.0, w - 1), y = std::clamp(sy, 0.0, h - 1);
    const int ix = std::min(static_cast<int>(x), in->width - 2);
    const int iy = std::min(static_cast<int>(y), in->height - 2);
    const double fx = x - ix, fy = y - iy;
    return (at(in, ix, iy, c) * (1 - fx) + at(in, ix + 1, iy, c) * fx) * (1 - fy) +
           (at(in, ix, iy + 1, c) * (1 - fx) + at(in, ix + 1, iy + 1, c) * fx) * fy;
}

TEST(CropAddBorder, RotationFollowsTheTurnedPictureAndUncoveredAreaIsBorder) {
    for (const double degrees : {3.0, -30.0, 90.0}) {
        SCOPED_TRACE(degrees);
        ImageHolder in, out;
        smooth(in.get(), 31, 20);
        int W = 0, H = 0;
        crop_rotated_size(31, 20, degrees, W, H);
        Block b;
        b.p.angle = degrees;
        b.p.red = 1, b.p.green = 2, b.p.blue = 3;
        // The whole bounding box, given in the unturned picture's frame.
        const int dx = (W - 31) / 2, dy = (H - 20) / 2;
        b.rect(-dx, -dy, W - 1 - dx, H - 1 - dy);
        ASSERT_EQ(b.apply(in.get(), out.get()), 0);
        ASSERT_EQ(out->width, W);
        ASSERT_EQ(out->height, H);
        int compared = 0;
        for (int Y = 0; Y < H; ++Y)
            for (int X = 0; X < W; ++X)
                for (int c = 0; c < 3; ++c) {
                    bool inside = false;
                    double cov = 0;
                    const double v = turned(in.get(), degrees, W, H, X, Y, c, &inside, &cov);
                    if (v < 0) {
                        ASSERT_EQ(at(out.get(), X, Y, c), 3 - c) << X << "," << Y;
                    } else {
                        // The edge blends picture and border by the coverage.
                        ASSERT_NEAR(at(out.get(), X, Y, c), v * cov + (3 - c) * (1 - cov), 3.0)
                            << X << "," << Y;
                        compared += inside;
                    }
                }
        EXPECT_GT(compared, 31 * 20);
    }
}

TEST(CropAddBorder, AngleZeroMakesNoRotatedCopyAndOtherAnglesOne) {
    ImageHolder in, out;
    fill(in.get(), image_type_gray8, 30, 20);
    Block b;
    b.rect(2, 2, 20, 15);
    const int before = crop_stage_counts().rotate;
    ASSERT_EQ(b.apply(in.get(), out.get()), 0);
    EXPECT_EQ(crop_stage_counts().rotate, before);
    b.p.angle = 0.5;
    ASSERT_EQ(b.apply(in.get(), out.get()), 0);
    EXPECT_EQ(crop_stage_counts().rotate, before + 1);
}

// The share of 5 x 5 sub-sample centres of pixel (x, y) inside a shape.
int counted(bool oval, double x0, double y0, double x1, double y1, int x, int y) {
    const double cx = (x0 + x1) / 2, cy = (y0 + y1) / 2, ax = (x1 - x0) / 2, ay = (y1 - y0) / 2;
    int n = 0;
    for (int j = 0; j < 5; ++j)
        for (int i = 0; i < 5; ++i) {
            const double u = (x + (i + 0.5) / 5 - cx) / ax, v = (y + (j + 0.5) / 5 - cy) / ay;
            n += oval ? u * u + v * v <= 1 : std::abs(u) + std::abs(v) <= 1;
        }
    return n * 255 / 25;
}

TEST(CropAddBorder, SharpShapesCoverAsTheirSubSamplesSay) {
    // Border white, picture black: the output is the mask itself.
    for (const int shape : {crop_oval, crop_diamond}) {
        SCOPED_TRACE(shape);
        ImageHolder in, out;
        ASSERT_EQ(image_alloc(in.get(), image_type_gray8, 50, 40, 300.0), 0);
        for (int y = 0; y < 40; ++y)
            std::memset(in->rows[y], 0, 50);
        Block b;
        b.rect(3, 5, 42, 30);  // 40 by 26
        b.p.shape = shape;
        ASSERT_EQ(b.apply(in.get(), out.get()), 0);
        ASSERT_EQ(out->width, 40);
        int off = 0;
        for (int y = 0; y < 26; ++y)
            for (int x = 0; x < 40; ++x) {
                const int expected = 255 - counted(shape == crop_oval, 0, 0, 40, 26, x, y);
                // A sub-sample on the outline itself may fall either way.
                ASSERT_NEAR(at(out.get(), x, y), expected, 21) << x << "," << y;
                off += at(out.get(), x, y) != expected;
            }
        EXPECT_LT(off, 40);
    }
}

TEST(CropAddBorder, FeatherIsTwoThousandthsOfSoftnessTimesTheShortSideHeldBelowAQuarter) {
    const struct {
        double softness;
        int w, h, f;
    } cases[] = {
        {0, 300, 200, 0},  {50, 300, 200, 20}, {100, 200, 400, 40}, {25, 100, 100, 5},
        {2.5, 100, 100, 1},  // 0.5 rounds up
        {100, 8, 50, 1},     // round(1.6) = 2, but 4f < 8 holds f to 1
        {100, 3, 50, 0},     {100, 9, 50, 2},
    };
    for (const auto& c : cases)
        EXPECT_EQ(crop_feather(c.softness, c.w, c.h), c.f) << c.softness << " " << c.w;
}

TEST(CropAddBorder, SoftOvalShowsPictureAtTheMiddleAndBorderAtTheCorners) {
    const struct {
        int shape;
        double softness;
    } cases[] = {{crop_oval, 30}, {crop_rectangle, 20}, {crop_diamond, 40}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.shape);
        ImageHolder in, out;
        fill(in.get(), image_type_colour16, 60, 50);
        Block b;
        b.rect(5, 5, 54, 44);
        b.p.shape = c.shape;
        b.p.softness = c.softness;
        b.p.red = 255, b.p.green = 0, b.p.blue = 0;
        ASSERT_EQ(b.apply(in.get(), out.get()), 0);
        // The inset keeps the blur inside the rectangle: its corner is
        // border, but for a trace that the double box's last tap brings.
        const int trace = c.shape == crop_rectangle ? 600 : 0;
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(at(out.get(), 25, 20, k), at(in.get(), 30, 25, k));
            EXPECT_NEAR(at(out.get(), 0, 0, k), k == 2 ? 65535 : at(in.get(), 5, 5, k) * trace / 65535, trace);
        }
        // Between the inset shape and the middle the edge is soft: some
        // pixel on the middle line mixes picture and border.
        bool mixed = false;
        for (int x = 0; x < 25; ++x)
            mixed = mixed || (at(out.get(), x, 20, 2) != 65535 && at(out.get(), x, 20, 2) != at(in.get(), x + 5, 25, 2));
        EXPECT_TRUE(mixed);
    }
}

TEST(CropAddBorder, ResizeIsTheResamplerOnTheCrop) {
    const struct {
        int side, unit;
        double value;
        int width, height;
    } cases[] = {{crop_side_long, unit_pixels, 20, 20, 10}, {crop_side_tall, unit_pixels, 25, 50, 25},
                 {crop_side_short, unit_inch, 0.1, 60, 30}};  // 0.1 in at 300 dpi
    for (const auto& c : cases) {
        SCOPED_TRACE(c.side);
        ImageHolder in, out, cropped, expected;
        fill(in.get(), image_type_colour8, 50, 30);
        Block b;
        b.rect(4, 6, 43, 25);  // 40 by 20
        ASSERT_EQ(b.apply(in.get(), cropped.get()), 0);
        b.p.resize_on = 1;
        b.p.resize_side = c.side, b.p.resize_unit = c.unit, b.p.resize_value = c.value;
        b.p.resize_method = resample_lanczos4;
        ASSERT_EQ(b.apply(in.get(), out.get()), 0);
        ASSERT_EQ(resample_image(cropped.get(), expected.get(), c.width, c.height, 300.0,
                                 resample_lanczos4, -0.5),
                  0);
        ASSERT_EQ(out->width, c.width);
        ASSERT_EQ(out->height, c.height);
        for (int y = 0; y < c.height; ++y)
            ASSERT_EQ(std::memcmp(out->rows[y], expected->rows[y], 3 * c.width), 0) << y;
    }
}

TEST(CropAddBorder, EachChangeRecomputesOnlyTheStagesAfterIt) {
    ImageHolder in, out;
    fill(in.get(), image_type_colour8, 80, 60);
    crop_stages_clear();
    Block b;
    b.rect(10, 10, 69, 49);
    b.p.angle = 3, b.p.shape = crop_oval, b.p.softness = 20;
    b.p.resize_on = 1, b.p.resize_value = 30;
    const struct {
        const char* change;
        void (*edit)(CropParams&);
        int rotate, mask, blend, resize;
    } steps[] = {
        {"first run", [](CropParams&) {}, 1, 1, 1, 1},
        {"nothing", [](CropParams&) {}, 0, 0, 0, 0},
        {"border colour", [](CropParams& p) { p.red = 17; }, 0, 0, 1, 1},
        {"rectangle moved", [](CropParams& p) { p.x1 += 3, p.x2 += 3; }, 0, 0, 1, 1},
        {"rectangle resized", [](CropParams& p) { p.x2 -= 5; }, 0, 1, 1, 1},
        {"border width", [](CropParams& p) { p.left = 4; }, 0, 0, 1, 1},
        {"resize size", [](CropParams& p) { p.resize_value = 25; }, 0, 0, 0, 1},
        {"angle", [](CropParams& p) { p.angle = 4; }, 1, 0, 1, 1},
        {"softness", [](CropParams& p) { p.softness = 40; }, 0, 1, 1, 1},
    };
    for (const auto& s : steps) {
        SCOPED_TRACE(s.change);
        const CropStageCounts before = crop_stage_counts();
        s.edit(b.p);
        ASSERT_EQ(b.apply(in.get(), out.get()), 0);
        const CropStageCounts after = crop_stage_counts();
        EXPECT_EQ(after.rotate - before.rotate, s.rotate);
        EXPECT_EQ(after.mask - before.mask, s.mask);
        EXPECT_EQ(after.blend - before.blend, s.blend);
        EXPECT_EQ(after.resize - before.resize, s.resize);
    }
    // A picture changed in place is not the one cached.
    in->rows[30][100] ^= 0xFF;
    const CropStageCounts before = crop_stage_counts();
    ASSERT_EQ(b.apply(in.get(), out.get()), 0);
    EXPECT_EQ(crop_stage_counts().rotate - before.rotate, 1);
}

TEST(CropAddBorder, OneThreadAndSeveralGiveTheSameBytes) {
    for (const int type : {image_type_binary, image_type_gray8, image_type_colour16}) {
        SCOPED_TRACE(type);
        ImageHolder in, one, many;
        if (type == image_type_binary) {
            ASSERT_EQ(image_alloc(in.get(), type, 301, 203, 300.0), 0);
            for (int y = 0; y < 203; ++y)
                for (int k = 0; k < image_line_bytes(in.get()); ++k)
                    in->rows[y][k] = static_cast<std::uint8_t>(y * 31 + k * 7);
        } else {
            fill(in.get(), type, 301, 203);
        }
        Block b;
        b.rect(20, 15, 280, 190);
        b.p.angle = -7.5, b.p.shape = crop_oval, b.p.softness = 15, b.p.top = 9;
        parallel_set_threads(1);
        crop_stages_clear();
        ASSERT_EQ(b.apply(in.get(), one.get()), 0);
        parallel_set_threads(7);
        crop_stages_clear();
        ASSERT_EQ(b.apply(in.get(), many.get()), 0);
        parallel_set_threads(0);
        ASSERT_EQ(one->type, type == image_type_binary ? image_type_gray8 : type);
        for (int y = 0; y < one->height; ++y)
            ASSERT_EQ(std::memcmp(one->rows[y], many->rows[y], image_line_bytes(one.get())), 0) << y;
    }
}

TEST(CropAddBorder, BorderPictureScaledToTheOutputOrLaidFromTheTopLeft) {
    ImageHolder in, border, out, scaled;
    fill(in.get(), image_type_colour8, 30, 20);
    fill(border.get(), image_type_gray8, 7, 5);
    const struct {
        int scaling;
    } cases[] = {{crop_scale}, {crop_dont_scale}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.scaling);
        Block b;
        b.rect(4, 3, 23, 14);  // 20 by 12, in a 26 by 20 output
        b.p.left = b.p.right = 3, b.p.top = b.p.bottom = 4;
        b.p.border_image = border.get();
        b.p.border_kind = 1;
        b.p.border_scaling = c.scaling;
        ASSERT_EQ(b.apply(in.get(), out.get()), 0);
        ASSERT_EQ(resample_image(border.get(), scaled.get(), 26, 20, 300.0, resample_bilinear, 0), 0);
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 26; ++x) {
                if (x >= 3 && x < 23 && y >= 4 && y < 16) {
                    ASSERT_EQ(at(out.get(), x, y, 1), at(in.get(), x + 1, y - 1, 1));
                    continue;
                }
                const int gray = c.scaling == crop_scale ? at(scaled.get(), x, y)
                                                         : at(border.get(), x % 7, y % 5);
                for (int k = 0; k < 3; ++k)
                    ASSERT_EQ(at(out.get(), x, y, k), gray) << x << "," << y;
            }
    }
}

TEST(CropAddBorder, PreviewShowsTheResultAtTheViewsZoom) {
    ImageHolder applied, shown;
    WindowRecord input{};
    image_init(&input.image);
    fill(&input.image, image_type_colour16, 40, 30);
    Block b;
    b.rect(5, 5, 34, 26);
    b.p.angle = 10, b.p.shape = crop_oval, b.p.top = 2;
    ASSERT_EQ(b.apply(&input.image, applied.get()), 0);
    for (const int zoom : {1, -2}) {
        SCOPED_TRACE(zoom);
        const int step = zoom < 0 ? -zoom : 1;
        ComputeArgs args;
        args.input = &input;
        args.output = shown.get();
        args.params = &b.p;
        args.width = (applied->width + step - 1) / step;
        args.height = (applied->height + step - 1) / step;
        args.zoom = zoom;
        args.region_x2 = args.width - 1;
        args.region_y2 = args.height - 1;
        args.line_width = args.width;  // reduced: one read pixel an output pixel
        args.line_count = args.height;
        ASSERT_EQ(crop().compute(args), 0);
        ASSERT_EQ(shown->type, image_type_colour8);
        for (int y = 0; y < shown->height; ++y)
            for (int x = 0; x < shown->width; ++x)
                for (int k = 0; k < 3; ++k)
                    ASSERT_EQ(shown->rows[y][3 * x + k],
                              to8[reinterpret_cast<const std::uint16_t*>(
                                  applied->rows[y * step])[3 * x * step + k]])
                        << x << "," << y;
    }
    image_free(&input.image);
}

TEST(CropAddBorder, EqualBordersTakeTheLeftWidthAndMoveTogether) {
    Block b;
    b.rect(0, 0, 9, 4);
    const auto set = [&](const char* keyword, double v) { field_find(crop().fields, keyword)->set(&b.p, v); };
    set("left", 7);
    set("top", 2);
    set("equal_borders", 1);
    EXPECT_EQ(CropRect({b.p.left, b.p.right, b.p.top, b.p.bottom}), CropRect({7, 7, 7, 7}));
    set("bottom", 3);
    EXPECT_EQ(CropRect({b.p.left, b.p.right, b.p.top, b.p.bottom}), CropRect({3, 3, 3, 3}));
    EXPECT_EQ(CropRect({b.p.rx1, b.p.ry1, b.p.rx2, b.p.ry2}), CropRect({3, 3, 12, 7}));
}

TEST(CropAddBorder, IllegalTypesAreRefused) {
    ImageHolder in, out;
    ASSERT_EQ(image_alloc(in.get(), image_type_four8, 8, 8, 300.0), 0);
    Block b;
    EXPECT_EQ(b.apply(in.get(), out.get()), err_illegal_type);
}

TEST(CropAddBorder, WorkflowRulesAdaptTheRectangleToAnotherPicture) {
    const struct {
        int rule, crop_scaling, border_scaling, w, h;
        CropLayout expected;
    } cases[] = {
        // Set on 200 x 100: rectangle 20,10 .. 119,59, borders 4 6 2 8.
        {crop_align, crop_scale, crop_scale, 200, 100, {{20, 10, 119, 59}, 4, 6, 2, 8}},
        {crop_align, crop_scale, crop_scale, 400, 200, {{40, 20, 239, 119}, 8, 12, 4, 16}},
        {crop_align, crop_dont_scale, crop_scale, 400, 300, {{20, 10, 119, 59}, 8, 12, 6, 24}},
        {crop_as_is, crop_scale, crop_dont_scale, 100, 200, {{10, 20, 59, 119}, 4, 6, 2, 8}},
        // A portrait picture takes the rectangle turned clockwise by a quarter.
        {crop_align, crop_dont_scale, crop_dont_scale, 100, 200, {{40, 20, 89, 119}, 8, 2, 4, 6}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.w * 1000 + c.h);
        Block b;
        b.p.dims_width = 200, b.p.dims_height = 100;
        b.rect(119, 59, 20, 10);
        b.p.left = 4, b.p.right = 6, b.p.top = 2, b.p.bottom = 8;
        b.p.orientation_rule = c.rule;
        b.p.crop_scaling = c.crop_scaling;
        b.p.border_scaling = c.border_scaling;
        const CropLayout l = crop_layout(b.p, c.w, c.h);
        EXPECT_EQ(l.rect, c.expected.rect);
        EXPECT_EQ(l.left, c.expected.left);
        EXPECT_EQ(l.right, c.expected.right);
        EXPECT_EQ(l.top, c.expected.top);
        EXPECT_EQ(l.bottom, c.expected.bottom);
    }
}

TEST(CropAddBorder, ProportionsHoldTheFixedCornerOrSide) {
    const struct {
        CropRect dragged;
        int handle, rw, rh;
        CropRect expected;
    } cases[] = {
        {{10, 10, 109, 59}, handle_bottom_right, 0, 0, {10, 10, 109, 59}},  // arbitrary
        {{10, 10, 109, 59}, handle_bottom_right, 1, 1, {10, 10, 109, 109}},
        {{10, 10, 109, 59}, handle_top_left, 1, 1, {10, -40, 109, 59}},
        {{10, 10, 49, 109}, handle_top_right, 2, 3, {10, 10, 76, 109}},
        {{109, 59, 10, 10}, handle_right, 3, 2, {10, 2, 109, 68}},  // reversed, from the middle
        {{10, 10, 109, 39}, handle_bottom, 2, 1, {30, 10, 89, 39}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(crop_constrain(c.dragged, c.handle, c.rw, c.rh), c.expected) << c.handle;
}

}  // namespace

// ---------------------------------------------------------------------------
// From orvane-batch, against ImageMagick

int magick(const std::string& args) {
    return std::system(("convert " + args + " 2>/dev/null").c_str());
}

TEST(CropAddBorder, BatchCropEqualsMagickCropAndRotationItsDistort) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const std::string d = dir.path().toStdString() + "/";
    // A picture with detail and no symmetry, made by ImageMagick itself.
    ASSERT_EQ(magick("-size 90x64 -depth 8 gradient:'#f03010'-'#1040e0' -swirl 120 " +
                     quoted(d + "in.tif")),
              0);
    const struct {
        const char* lines;
        const char* magick;
        int margin, tolerance;
    } cases[] = {
        // Corners given reversed: the same crop.
        {"dims 90 64 cdims 70 50 12 7", "-crop 59x44+12+7 +repage", 0, 0},
        {"cdims 0 0 89 0", "-crop 90x1+0+0 +repage", 0, 0},
        // A positive angle turns the picture clockwise as shown.
        {"dims 90 64 cdims 0 0 89 63 fparams 3 0 0 0 0",
         "-virtual-pixel black -interpolate bilinear -filter point -distort SRT 3", 3, 2},
        {"dims 90 64 cdims 0 0 89 63 fparams -20 0 0 0 0",
         "-virtual-pixel black -interpolate bilinear -filter point -distort SRT -20", 12, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lines);
        ASSERT_EQ(run_batch(words({"apply Crop/Add_Border", c.lines, quoted(d + "in.tif"),
                                   quoted(d + "out.tif")})),
                  0);
        ASSERT_EQ(magick(quoted(d + "in.tif") + " " + c.magick + " " + quoted(d + "ref.tif")), 0);
        ImageHolder out, ref;
        int type = 0;
        ASSERT_EQ(ReadImage((d + "out.tif").c_str(), out.get(), nullptr, &type, 16), 0);
        ASSERT_EQ(ReadImage((d + "ref.tif").c_str(), ref.get(), nullptr, &type, 16), 0);
        ASSERT_EQ(out->type, ref->type);
        ASSERT_EQ(out->width, ref->width);
        ASSERT_EQ(out->height, ref->height);
        int worst = 0;
        for (int y = c.margin; y < out->height - c.margin; ++y)
            for (int x = c.margin; x < out->width - c.margin; ++x)
                for (int k = 0; k < samples(out->type); ++k)
                    worst = std::max(worst, std::abs(at(out.get(), x, y, k) - at(ref.get(), x, y, k)));
        EXPECT_LE(worst, c.tolerance);
    }
}

TEST(CropAddBorder, PressesTakeHandlesInsideOrOutsideAndDragsFollow) {
    const CropRect r{10, 20, 49, 39};  // edges at x 10 and 50, y 20 and 40
    const struct {
        double x, y;
        int hit;
        double to_x, to_y;
        int rw, rh;
        CropRect dragged;
    } cases[] = {
        {10.5, 19.0, handle_top_left, 5, 15, 0, 0, {4, 16, 49, 39}},  // by -5.5 (rounds to -6), -4
        {50.0, 40.0, handle_bottom_right, 62.4, 45.6, 0, 0, {10, 20, 61, 45}},
        {49.0, 30.0, handle_right, 79, 0, 0, 0, {10, 20, 79, 39}},
        {49.0, 30.0, handle_right, 0, 30, 0, 0, {10, 20, 10, 39}},  // never inside out
        {30.0, 40.5, handle_bottom, 30, 60, 2, 1, {-10, 20, 69, 59}},
        {30.0, 30.0, handle_move, 33, 25, 0, 0, {13, 15, 52, 34}},
        {60.0, 30.0, -1, 55.5, 22.2, 0, 0, {55, 22, 60, 30}},  // a new one, up and left
        {60.0, 30.0, -1, 70.0, 31.0, 2, 1, {60, 30, 70, 35}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.x * 1000 + c.y);
        ASSERT_EQ(crop_hit(r, c.x, c.y, 2.0), c.hit);
        EXPECT_EQ(crop_drag(r, c.hit, c.x, c.y, c.to_x, c.to_y, c.rw, c.rh), c.dragged);
    }
    // Shift-drag: a quarter turn of the pointer clockwise as shown is +90.
    EXPECT_NEAR(crop_drag_angle(0, 50, 50, 60, 50, 50, 60), 90, 1e-9);
    EXPECT_NEAR(crop_drag_angle(3, 50, 50, 60, 50, 60, 49), 3 - 45 * std::atan(0.1) * 4 / M_PI, 1e-6);
    EXPECT_NEAR(crop_drag_angle(170, 0, 0, 1, 0, -1, 0.01), -10 - 0.01 * 180 / M_PI + 0.0000019, 1e-3);
}

// The Options menu's resets: the rectangle alone back to the whole picture,
// or everything back to its built-in value around that rectangle.
TEST(CropAddBorder, ResetsOfTheOptionsMenu) {
    const auto reset = [](const char* label, Block& b) {
        for (const PanelReset& r : crop().resets)
            if (r.label == label) return r.reset(&b.p), true;
        return false;
    };
    for (const char* label : {"Reset cropping &rectangle only", "Reset &all"}) {
        SCOPED_TRACE(label);
        Block b;
        b.p.dims_width = 300;
        b.p.dims_height = 200;
        b.rect(20, 30, 120, 90);
        b.p.angle = 3;
        b.p.red = 10;
        ASSERT_TRUE(reset(label, b));
        EXPECT_EQ((CropRect{b.p.x1, b.p.y1, b.p.x2, b.p.y2}), (CropRect{0, 0, 299, 199}));
        EXPECT_EQ(b.p.dims_width, 300);
        const bool all = std::string_view(label) == "Reset &all";
        const Block built_in;
        EXPECT_EQ(b.p.angle, all ? built_in.p.angle : 3.0);
        EXPECT_EQ(b.p.red, all ? built_in.p.red : 10);
    }
}
