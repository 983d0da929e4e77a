// 3-Zone and 2-Zone Adjustment: the rules of thresholds, transitions, zone
// curves and saturation tables; the pipeline against a double-precision
// model of masks and blend; its displays; threads, zooms and depths; and the
// cache, which must rebuild only the stages a change touches.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "batch_runner.h"
#include "core/parallel.h"
#include "core/progress.h"
#include "core/tables.h"
#include "transform/box_filter.h"
#include "transform/curves.h"
#include "transform/gray/zones.h"
#include "transform/registry.h"
#include "transform/transform.h"

namespace {

struct Pic {
    Image image;
    Pic() { image_init(&image); }
    ~Pic() { image_free(&image); }
    Pic(const Pic&) = delete;
    Pic& operator=(const Pic&) = delete;
    int samples() const { return image_is_colour(&image) ? 3 : 1; }
    int at(int x, int y, int c = 0) const {
        const std::uint8_t* row = image.rows[y];
        const int i = x * samples() + c;
        return image_is_16bit(&image) ? reinterpret_cast<const std::uint16_t*>(row)[i] : row[i];
    }
    void set(int x, int y, int c, int v) {
        std::uint8_t* row = image.rows[y];
        const int i = x * samples() + c;
        if (image_is_16bit(&image))
            reinterpret_cast<std::uint16_t*>(row)[i] = static_cast<std::uint16_t>(v);
        else
            row[i] = static_cast<std::uint8_t>(v);
    }
};

// Smooth gradients with a bright disc and every level: shadows, midtones
// and highlights all present. 16-bit types take the 8-bit levels through
// `to16` plus a little of their own.
void make_scene(Pic& p, int type, int w = 60, int h = 44) {
    ASSERT_EQ(image_alloc(&p.image, type, w, h, 72.0), 0);
    const bool wide = type == image_type_gray16 || type == image_type_colour16;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < p.samples(); ++c) {
                const int dx = x - w / 3, dy = y - h / 2;
                int v = (x * 255 / (w - 1) + y * 3 + c * 40) % 256;
                if (dx * dx + dy * dy < 60) v = 250 - c * 10;
                p.set(x, y, c, wide ? to16[v] + (x + c) % 7 * (v < 255) : v);
            }
}

struct Zones {
    ParamBlock params;
    const TransformDescriptor& d;
    explicit Zones(int zones = 3)
        : d(*transform_find_title(zones == 3 ? "3-Zone Adjustment" : "2-Zone Adjustment")->descriptor) {
        EXPECT_EQ(params.allocate(d), 0);
    }
    Zones& set(const char* keyword, int v) {
        if (const TransformField* f = field_find(d.fields, keyword)) {
            f->set(params.get(), v);
            return *this;
        }
        for (const TransformField& f : d.fields)
            for (std::size_t k = 0; f.set_part && k < f.words.size(); ++k)
                if (f.words[k] == keyword) {
                    f.set_part(params.get(), static_cast<int>(k), v);
                    return *this;
                }
        ADD_FAILURE() << "no value " << keyword;
        return *this;
    }
    AmountSettings& amount() { return *field_find(d.fields, "amount")->amount(params.get()); }
    int apply(Image* in, Image* out) { return transform_compute_image(d, params.get(), in, out); }
    // A preview of the whole picture at `zoom` through the panel's cache.
    int preview(WindowRecord& record, Image* out, int zoom = 1) {
        const int w = record.image.width, h = record.image.height;
        ComputeArgs args;
        args.input = &record;
        args.output = out;
        args.params = params.get();
        args.zoom = zoom;
        args.width = zoom < 0 ? w / -zoom : w * zoom;
        args.height = zoom < 0 ? h / -zoom : h * zoom;
        args.region_x2 = args.width - 1;
        args.region_y2 = args.height - 1;
        args.line_width = zoom < 0 ? args.width : w;
        args.line_count = zoom < 0 ? args.height : h;
        return d.compute(args);
    }
};

// A window record that lends a picture it does not own.
struct Lent {
    WindowRecord record{};
    explicit Lent(const Image& image) { record.image = image; }
    ~Lent() { image_init(&record.image); }
};

// ---------------------------------------------------------------------------
// Rules

TEST(ZoneRules, TransitionThresholdsAndCurvePoints) {
    // 4m - (4m·m)/255: 255 at both middle levels, never 256.
    const int transition[][2] = {{0, 0}, {1, 4}, {64, 192}, {127, 255}, {128, 255}, {200, 173}, {255, 0}};
    for (const auto& t : transition)
        EXPECT_EQ(zone_transition(t[0]), t[1]) << t[0];

    // black, white, low, high -> lo, hi: truncation toward zero, then the
    // clamps that keep the curves' x apart.
    const int thresholds[][6] = {{0, 255, 51, 204, 51, 204},   {20, 220, 51, 204, 39, 234},
                                 {60, 255, 51, 204, 1, 188},   {100, 100, 51, 204, 51, 204},
                                 {0, 255, 250, 251, 250, 252}, {0, 255, 0, 0, 1, 3},
                                 {0, 200, 190, 230, 242, 254}};
    for (const auto& t : thresholds) {
        const ZoneThresholds z = zone_thresholds(t[0], t[1], t[2], t[3]);
        EXPECT_EQ(z.lo, t[4]) << t[0] << " " << t[1] << " " << t[2] << " " << t[3];
        EXPECT_EQ(z.hi, t[5]) << t[0] << " " << t[1] << " " << t[2] << " " << t[3];
    }

    // Points for lo 51, hi 204, worked by hand; the negative cases pin
    // truncation toward zero (-32.2 gives -32, not -33).
    struct CurveCase {
        int zone, p, c;
        std::vector<int> x, y;
    };
    const CurveCase curves[] = {
        {zone_highlight, 100, 50, {0, 51, 153, 255}, {0, 41, 189, 255}},
        {zone_highlight, -100, -50, {0, 51, 153, 255}, {0, 91, 141, 255}},
        {zone_shadow, 100, 50, {0, 102, 204, 255}, {0, 148, 214, 255}},
        {zone_shadow, -100, -50, {0, 102, 204, 255}, {0, 50, 164, 255}},
        {zone_midtone, 100, 50, {0, 51, 127, 204, 255}, {0, 41, 177, 214, 255}},
        {zone_midtone, -100, -50, {0, 51, 127, 204, 255}, {0, 65, 78, 189, 255}},
        {zone_midtone, 0, 0, {0, 51, 127, 204, 255}, {0, 51, 127, 204, 255}},
    };
    for (const CurveCase& c : curves) {
        std::int32_t x[5], y[5];
        const int n = zone_curve_points(c.zone, 51, 204, c.p, c.c, x, y);
        EXPECT_EQ(std::vector<int>(x, x + n), c.x) << c.zone << " " << c.p << " " << c.c;
        EXPECT_EQ(std::vector<int>(y, y + n), c.y) << c.zone << " " << c.p << " " << c.c;
    }
}

TEST(ZoneRules, SaturationTables) {
    std::vector<std::uint16_t> t(65536);
    // change, maximum, index, expected (from the formula in doubles)
    const int cases[][4] = {{0, 4096, 1234, 1234},     {-255, 4096, 4096, 0},   {-128, 4096, 3000, 1494},
                            {128, 4096, 2048, 2941},   {128, 4096, 100, 380},   {60, 4096, 4000, 4047},
                            {200, 65535, 30000, 56707}, {255, 4096, 1, 4096},    {255, 4096, 0, 0},
                            {128, 4096, 4096, 4096},   {-128, 4096, 4096, 2040}};
    for (const auto& c : cases) {
        zone_saturation_table(c[0], c[1], t.data());
        EXPECT_EQ(t[c[2]], c[3]) << c[0] << " " << c[1] << " " << c[2];
    }
}

// ---------------------------------------------------------------------------
// The pipeline

// The box blur of the masks in doubles: two passes of width 2r + 1 on each
// axis over the edges repeated outward.
std::vector<double> blur_model(const std::vector<double>& in, int w, int h, int r) {
    std::vector<double> a = in, b(in.size());
    auto pass = [&](std::vector<double>& src, std::vector<double>& dst, bool across) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                double sum = 0;
                for (int k = -r; k <= r; ++k) {
                    const int xx = across ? std::clamp(x + k, 0, w - 1) : x;
                    const int yy = across ? y : std::clamp(y + k, 0, h - 1);
                    sum += src[yy * w + xx];
                }
                dst[y * w + x] = sum / (2 * r + 1);
            }
    };
    pass(a, b, false);
    pass(b, a, false);
    pass(a, b, true);
    pass(b, a, true);
    return a;
}

TEST(ZonePipeline, MasksAndBlendAgreeWithModels) {
    Pic in;
    make_scene(in, image_type_gray8);
    const int w = in.image.width, h = in.image.height, r = 3;
    Zones z;
    z.set("blur_shadow", r).set("blur_highlight", r).set("amount_shadow_midtone", 120);
    z.set("amount_midtone_highlight", 200).set("amount_shadow", 180).set("amount_midtone", 230);
    z.set("highlight_brightness", -120).set("shadow_brightness", 150).set("midtone_contrast", 90);
    Pic out;
    ASSERT_EQ(z.apply(&in.image, &out.image), 0);

    const int change[3][2] = {{-120, 0}, {150, 0}, {0, 90}};
    std::uint8_t table[3][256];
    for (int k = 0; k < 3; ++k) {
        std::int32_t x[5], y[5];
        const int n = zone_curve_points(k, 51, 204, change[k][0], change[k][1], x, y);
        curve_table8(n, x, y, curve_spline, table[k]);
    }
    std::vector<double> a(w * h), b(w * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            a[y * w + x] = in.at(x, y) >= 204 ? 255 : 0;
            b[y * w + x] = in.at(x, y) <= 51 ? 255 : 0;
        }
    const std::vector<double> H = blur_model(a, w, h, r), S = blur_model(b, w, h, r);
    const double amounts[5] = {255, 180, 230, 120, 200};
    int worst = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double hh = H[y * w + x], ss = S[y * w + x], mm = std::min(255 - hh, 255 - ss);
            auto tr = [](double m) { return 4 * m - 4 * m * m / 255; };
            const double wh = amounts[0] * hh / 255, ws = amounts[1] * ss / 255, wm = amounts[2] * mm / 255;
            const double wt = amounts[3] * tr(ss) / 255 + amounts[4] * tr(hh) / 255;
            const double wsum = wh + ws + wm + wt;
            const int e = in.at(x, y);
            double v = e;
            if (wsum > 0) {
                const double rr = (table[0][e] * wh + table[1][e] * ws + table[2][e] * wm + e * wt) / wsum;
                v = wsum >= 255 ? rr : e + (rr - e) * wsum / 255;
            }
            worst = std::max(worst, static_cast<int>(std::lround(std::abs(v - out.at(x, y)))));
        }
    EXPECT_LE(worst, 3);

    // And exactly, in the integers the rules state, over masks from the
    // shared blur: weights truncated term by term, the transition as
    // 4m - (4m·m)/255, the blend below full weight by lerp8.
    Pic bin[2], blurred[2];
    for (int k = 0; k < 2; ++k) {
        ASSERT_EQ(image_alloc(&bin[k].image, image_type_gray8, w, h, 72.0), 0);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                bin[k].set(x, y, 0, (k == 0 ? in.at(x, y) >= 204 : in.at(x, y) <= 51) ? 255 : 0);
        ASSERT_EQ(blur_image(&bin[k].image, &blurred[k].image, r, false), 0);
    }
    const int am[5] = {255, 180, 230, 120, 200};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int hh = blurred[0].at(x, y), ss = blurred[1].at(x, y);
            const int mm = std::min(255 - hh, 255 - ss), e = in.at(x, y);
            const int th = 4 * hh - 4 * hh * hh / 255, ts = 4 * ss - 4 * ss * ss / 255;
            const int wh = am[0] * hh / 255, ws = am[1] * ss / 255, wm = am[2] * mm / 255;
            const int wt = am[3] * ts / 255 + am[4] * th / 255, sum = wh + ws + wm + wt;
            int want = e;
            if (sum > 0) {
                const int rr = (table[0][e] * wh + table[1][e] * ws + table[2][e] * wm + e * wt) / sum;
                want = sum >= 255 ? rr : lerp8(e, rr, sum);
            }
            ASSERT_EQ(out.at(x, y), want) << x << "," << y;
        }
}

// Cases that pin one fact each about the result, at both depths and in
// grey and colour. `expect` gives the wanted 8-bit level of a sample from
// the input's 8-bit level; -1 skips the sample.
struct FactCase {
    const char* name;
    std::function<void(Zones&)> edit;
    std::function<int(int v, int x, int y)> expect;
    int zones = 3;
};

const FactCase facts[] = {
    {"zero changes give the expanded input",
     [](Zones& z) { z.set("black", 20).set("white", 230); },
     [](int v, int, int) { return (std::clamp(v, 20, 230) - 20) * 255 / 210; }},
    {"black equal to white expands nothing",
     [](Zones& z) { z.set("black", 100).set("white", 100).set("amount_shadow_midtone", 255); },
     [](int v, int, int) { return v; }},
    {"weight 0 gives the input",
     [](Zones& z) {
         for (const char* k : {"amount_highlight", "amount_shadow", "amount_midtone"}) z.set(k, 0);
         z.set("highlight_brightness", 200).set("shadow_contrast", -100);
     },
     [](int v, int, int) { return v; }},
    {"full weight gives the adjusted image, blur 0 keeps zones apart",
     [](Zones& z) {
         z.set("blur_highlight", 0).set("blur_shadow", 0).set("amount_shadow", 0).set("amount_midtone", 0);
         z.set("highlight_brightness", 255);
     },
     [](int v, int, int) {
         if (v < 204) return v;  // H 0: weight 0
         std::int32_t x[5], y[5];
         std::uint8_t t[256];
         curve_table8(zone_curve_points(zone_highlight, 51, 204, 255, 0, x, y), x, y, curve_spline, t);
         return static_cast<int>(t[v]);
     }},
    {"2-Zone: the shadow weight is what H leaves",
     [](Zones& z) { z.set("blur", 0).set("amount_highlight", 0).set("shadow_brightness", 200); },
     [](int v, int, int) {
         if (v >= 128) return v;
         std::int32_t x[5], y[5];
         std::uint8_t t[256];
         curve_table8(zone_curve_points(zone_shadow, 128, 128, 200, 0, x, y), x, y, curve_spline, t);
         return static_cast<int>(t[v]);
     },
     2},
};

TEST(ZonePipeline, FactsAtBothDepthsInGreyAndColour) {
    for (const FactCase& f : facts)
        for (int type : {image_type_gray8, image_type_gray16, image_type_colour8, image_type_colour16}) {
            Zones z(f.zones);
            f.edit(z);
            Pic in, out;
            make_scene(in, type);
            ASSERT_EQ(z.apply(&in.image, &out.image), 0) << f.name;
            ASSERT_EQ(out.image.type, type);
            const bool wide = image_is_16bit(&in.image), colour = in.samples() == 3;
            int worst = 0;
            for (int y = 0; y < in.image.height; ++y)
                for (int x = 0; x < in.image.width; ++x) {
                    // Colour: V through the rule, the samples scaled along it.
                    int vmax = 0;
                    for (int c = 0; c < in.samples(); ++c)
                        vmax = std::max(vmax, wide ? to8[in.at(x, y, c)] : in.at(x, y, c));
                    const int want = f.expect(vmax, x, y);
                    if (want < 0) continue;
                    int got = 0, top_in = 0, top_out = 0, second = 0;
                    for (int c = 0; c < out.samples(); ++c) {
                        const int o = wide ? to8[out.at(x, y, c)] : out.at(x, y, c);
                        const int i = wide ? to8[in.at(x, y, c)] : in.at(x, y, c);
                        if (o > got) top_out = c;
                        got = std::max(got, o);
                        if (i == vmax) top_in = c;
                        else second = std::max(second, i);
                    }
                    // The hue stays: the greatest sample stays the greatest.
                    if (colour && vmax > second + 8 && got > 8) {
                        ASSERT_EQ(top_out, top_in) << f.name << " at " << x << "," << y;
                    }
                    worst = std::max(worst, std::abs(got - want));
                    if (!colour && !wide) {
                        ASSERT_EQ(got, want) << f.name << " at " << x << "," << y;
                    }
                }
            EXPECT_LE(worst, 1) << f.name << " type " << type;
        }
}

// ---------------------------------------------------------------------------
// Displays

TEST(ZoneDisplays, ZonesMaskAndZoneAlone) {
    Pic in;
    ASSERT_EQ(image_alloc(&in.image, image_type_gray8, 256, 1, 72.0), 0);
    for (int x = 0; x < 256; ++x)
        in.set(x, 0, 0, x);
    Lent lent(in.image);
    struct Case {
        int zones, panel, mode;
        std::function<void(Zones&)> edit;
        std::function<std::vector<int>(int v)> expect;  // the samples of level v
    };
    const Case cases[] = {
        {3, 0, 0, [](Zones& z) { z.set("black", 20).set("low", 60).set("high", 180).set("white", 230); },
         [](int v) { return std::vector<int>{v < 20 ? 0 : v < 60 ? 54 : v < 180 ? 128 : v > 230 ? 255 : 192}; }},
        {2, 1, 0, [](Zones& z) { z.set("threshold", 100); },
         [](int v) { return std::vector<int>{v < 100 ? 54 : v > 255 ? 255 : 192}; }},
        // Blur 0: the highlight mask is binary, shown in red over the picture.
        {3, 0, 1, [](Zones& z) { z.set("blur_highlight", 0); },
         [](int v) { return v >= 204 ? std::vector<int>{0, 0, 255} : std::vector<int>{v, v, v}; }},
        {2, 1, 1, [](Zones& z) { z.set("blur", 0).set("threshold", 90); },
         [](int v) { return v < 90 ? std::vector<int>{0, 0, 255} : std::vector<int>{v, v, v}; }},
        {3, 0, 2, [](Zones& z) { z.set("black", 40).set("white", 200); },
         [](int v) { return std::vector<int>{(std::clamp(v, 40, 200) - 40) * 255 / 160}; }},
        // A zone alone: blend(v, T[v], mask), the mask binary here.
        {3, 1, 3, [](Zones& z) { z.set("blur_shadow", 0).set("shadow_brightness", 255); },
         [](int v) {
             std::int32_t x[5], y[5];
             std::uint8_t t[256];
             curve_table8(zone_curve_points(zone_shadow, 51, 204, 255, 0, x, y), x, y, curve_spline, t);
             return std::vector<int>{v <= 51 ? t[v] : v};
         }},
    };
    for (const Case& c : cases) {
        Zones z(c.zones);
        z.set("panel", c.panel).set("mode", c.mode);
        c.edit(z);
        Pic view;
        ASSERT_EQ(z.preview(lent.record, &view.image), 0);
        for (int v = 0; v < 256; ++v) {
            const std::vector<int> want = c.expect(v);
            ASSERT_EQ(view.samples(), static_cast<int>(want.size())) << c.zones << " mode " << c.mode;
            for (int k = 0; k < view.samples(); ++k)
                ASSERT_EQ(view.at(v, 0, k), want[k])
                    << c.zones << "-zone panel " << c.panel << " mode " << c.mode << " level " << v;
        }
    }
}

// ---------------------------------------------------------------------------
// Threads, zooms, depths

TEST(ZonePipeline, ThreadsZoomsAndDepthsAgree) {
    for (int zones : {3, 2}) {
        Zones z(zones);
        z.set("black", 10).set("white", 240).set("highlight_brightness", -90).set("shadow_brightness", 120);
        z.set("shadow_saturation", 150).set("highlight_saturation", -100).set("highlight_contrast", 60);
        if (zones == 3) z.set("midtone_contrast", -80).set("amount_midtone_highlight", 90).set("blur_shadow", 7);
        z.set("panel", zones);
        z.set("mode", 3);
        z.amount().amount_low = 800;
        Pic in8, in16, one, five, out8;
        make_scene(in8, image_type_colour8, 90, 77);
        make_scene(in16, image_type_colour16, 90, 77);
        parallel_set_threads(1);
        ASSERT_EQ(z.apply(&in16.image, &one.image), 0);
        parallel_set_threads(5);
        ASSERT_EQ(z.apply(&in16.image, &five.image), 0);
        parallel_set_threads(0);
        for (int y = 0; y < 77; ++y)
            ASSERT_EQ(std::memcmp(one.image.rows[y], five.image.rows[y], 90 * 6), 0) << zones << " line " << y;

        // 8 and 16 bits within a few levels (the curves and blurs round at
        // each depth).
        ASSERT_EQ(z.apply(&in8.image, &out8.image), 0);
        int worst = 0;
        for (int y = 0; y < 77; ++y)
            for (int x = 0; x < 90; ++x)
                for (int c = 0; c < 3; ++c)
                    worst = std::max(worst, std::abs(to8[one.at(x, y, c)] - out8.at(x, y, c)));
        EXPECT_LE(worst, 4) << zones;

        // A reduced or magnified preview is the zoom-1 preview subsampled or
        // repeated; an 8-bit picture's preview is its apply.
        Lent lent(in8.image);
        Pic full;
        ASSERT_EQ(z.preview(lent.record, &full.image), 0);
        for (int y = 0; y < 77; ++y)
            ASSERT_EQ(std::memcmp(full.image.rows[y], out8.image.rows[y], 90 * 3), 0) << zones;
        for (int zoom : {-2, 3}) {
            Pic view;
            ASSERT_EQ(z.preview(lent.record, &view.image, zoom), 0);
            for (int y = 0; y < view.image.height; ++y)
                for (int x = 0; x < view.image.width; ++x) {
                    const int sx = zoom < 0 ? 2 * x : x / 3, sy = zoom < 0 ? 2 * y : y / 3;
                    for (int c = 0; c < 3; ++c)
                        ASSERT_EQ(view.at(x, y, c), full.at(sx, sy, c)) << zones << " zoom " << zoom;
                }
        }
    }
}

// ---------------------------------------------------------------------------
// The cache

#if !defined(__SANITIZE_ADDRESS__)  // the address sanitizer reserves more than the limit
// Short of memory for its stages, an apply gives 1, neither crashing nor
// throwing: the address space is capped below what the stages need.
[[noreturn]] void apply_short_of_memory() {
    ImageHolder in, out;
    if (image_alloc(in.get(), image_type_colour16, 3000, 2000, 300.0) != 0) std::_Exit(90);
    for (int y = 0; y < 2000; ++y)
        std::memset(in->rows[y], y & 255, static_cast<std::size_t>(in->row_bytes));
    Zones z;
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    // Room for about three 36 MB stages where the run needs nine.
    const rlim_t room = static_cast<rlim_t>(pages) * 4096 + (120 << 20);
    const rlimit limit{room, room};
    if (setrlimit(RLIMIT_AS, &limit) != 0) std::_Exit(91);
    const int err = z.apply(in.get(), out.get());
    std::_Exit(err == 1 ? 1 : 100 + err);
}

TEST(ZoneCacheDeathTest, ShortOfMemoryGivesOne) {
    EXPECT_EXIT(apply_short_of_memory(), testing::ExitedWithCode(1), "");
}
#endif

TEST(ZoneCache, AChangeRebuildsOnlyTheStagesItTouches) {
    Pic in;
    make_scene(in, image_type_colour16);
    Lent lent(in.image);
    for (int zones : {3, 2}) {
        zone_cache_release(zones);
        Zones z(zones);
        z.set("panel", zones).set("mode", 3);
        Pic view;
        // A step: the edit, then what the counters grew by: expansions,
        // mask builds, zone builds.
        struct Step {
            std::function<void(Zones&)> edit;
            int expand, masks, zone[3];
        };
        const Step steps[] = {
            {[](Zones&) {}, 1, 1, {1, 1, zones == 3}},
            {[](Zones&) {}, 0, 0, {0, 0, 0}},
            {[](Zones& s) { s.set("shadow_brightness", 40); }, 0, 0, {0, 1, 0}},
            {[](Zones& s) { s.set("highlight_saturation", -40); }, 0, 0, {1, 0, 0}},
            {[](Zones& s) { s.amount().amount_low = 500; s.set("amount_highlight", 100); }, 0, 0, {0, 0, 0}},
            {[zones](Zones& s) { s.set(zones == 3 ? "blur_shadow" : "blur", 9); }, 0, 1, {0, 0, 0}},
            {[zones](Zones& s) { s.set(zones == 3 ? "high" : "threshold", 150); }, 0, 1, {1, 1, zones == 3}},
            {[](Zones& s) { s.set("mode", 2); }, 0, 0, {0, 0, 0}},
            {[](Zones& s) { s.set("white", 250).set("mode", 3).set("panel", 0); }, 1, 1, {0, 0, 0}},
            {[](Zones& s) { s.set("highlight_brightness", 90); }, 0, 0, {0, 0, 0}},
        };
        int k = 0;
        for (const Step& s : steps) {
            const ZoneCounters before = zone_counters(zones);
            s.edit(z);
            ASSERT_EQ(z.preview(lent.record, &view.image), 0);
            const ZoneCounters after = zone_counters(zones);
            EXPECT_EQ(after.expansions - before.expansions, static_cast<unsigned>(s.expand)) << zones << " step " << k;
            EXPECT_EQ(after.mask_builds - before.mask_builds, static_cast<unsigned>(s.masks)) << zones << " step " << k;
            for (int i = 0; i < 3; ++i)
                EXPECT_EQ(after.zone_builds[i] - before.zone_builds[i], static_cast<unsigned>(s.zone[i]))
                    << zones << " step " << k << " zone " << i;
            ++k;
        }
        // A cancel while the masks are built keeps the expansion before it.
        struct CancelMasks final : ProgressDisplay {
            const char* title = "";
            void begin(const char* t, std::int64_t, std::int64_t, bool) override { title = t; }
            int step(std::int64_t) override { return std::string(title) == "Building Masks" ? 11 : 0; }
            void end() override {}
            void wait_cursor(bool) override {}
        } cancel;
        ProgressDisplay* old = progress_set_display(&cancel);
        z.set(zones == 3 ? "blur_highlight" : "blur", 3);
        ZoneCounters before_cancel = zone_counters(zones);
        EXPECT_EQ(z.preview(lent.record, &view.image), 11);
        progress_set_display(old);
        ASSERT_EQ(z.preview(lent.record, &view.image), 0);
        EXPECT_EQ(zone_counters(zones).expansions, before_cancel.expansions);
        EXPECT_EQ(zone_counters(zones).mask_builds, before_cancel.mask_builds + 1);
        // A final run works apart from the panel's cache.
        const ZoneCounters before = zone_counters(zones);
        Pic out;
        ASSERT_EQ(z.apply(&in.image, &out.image), 0);
        EXPECT_EQ(zone_counters(zones).expansions, before.expansions);
        zone_cache_release(zones);
    }
}

// The settings files keep every value of the block but the amount.
TEST(ZonePipeline, SettingsFilesKeepTheBlock) {
    const std::string path = std::filesystem::temp_directory_path() / ("zones_" + std::to_string(::getpid()));
    for (int zones : {3, 2}) {
        Zones z(zones), back(zones);
        int k = 7;
        for (const TransformField& f : z.d.fields) {
            if (f.set) f.set(z.params.get(), f.kind == ControlKind::choice ? 1 : k++);
            for (int part = 0; f.set_part && part < static_cast<int>(f.words.size()); ++part)
                f.set_part(z.params.get(), part, 20 * part + 5);
        }
        ASSERT_EQ(z.d.settings_save(path + z.d.settings->extension.data(), z.params.get()), 0);
        ASSERT_EQ(back.d.settings_load(path + z.d.settings->extension.data(), back.params.get()), 0);
        const std::size_t skip = sizeof(AmountSettings);
        EXPECT_EQ(std::memcmp(static_cast<char*>(z.params.get()) + skip,
                              static_cast<char*>(back.params.get()) + skip, z.d.params_size - skip),
                  0)
            << zones;
        std::filesystem::remove(path + z.d.settings->extension.data());
    }
}

// From the command line, the same pixels as the compute routine gives.
TEST(ZonePipeline, BatchApplyGivesTheComputedPixels) {
    const std::string dir = std::filesystem::temp_directory_path() / ("zones_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    Pic in, want;
    make_scene(in, image_type_colour8, 120, 90);
    const std::string src = dir + "/in.tif", dst = dir + "/out.pnm";
    {
        std::ofstream f(dir + "/in.ppm", std::ios::binary);
        f << "P6\n120 90\n255\n";
        for (int y = 89; y >= 0; --y)
            for (int x = 0; x < 120; ++x)
                for (int c = 2; c >= 0; --c)
                    f.put(static_cast<char>(in.at(x, y, c)));
    }
    ASSERT_EQ(std::system(("pnmtotiff " + quoted(dir + "/in.ppm") + " > " + quoted(src) + " 2>/dev/null").c_str()), 0);
    Zones z;
    z.set("black", 10).set("white", 245).set("low", 70).set("high", 190).set("blur_shadow", 5);
    z.set("shadow_brightness", 80).set("midtone_saturation", 60).set("amount_midtone_highlight", 50);
    ASSERT_EQ(z.apply(&in.image, &want.image), 0);
    ASSERT_EQ(run_batch(words({"apply '3-Zone Adjustment' threshold_blur 10 245 70 190 5 25 amounts 255 255 255 0 50",
                               "shadow 80 0 0 midtone 0 0 60", quoted(src), quoted(dir + "/out.tif")})),
              0);
    ASSERT_EQ(std::system(("tifftopnm " + quoted(dir + "/out.tif") + " > " + quoted(dst) + " 2>/dev/null").c_str()), 0);
    std::ifstream f(dst, std::ios::binary);
    std::string magic;
    int w = 0, h = 0, top = 0;
    f >> magic >> w >> h >> top;
    f.get();
    ASSERT_EQ(magic, "P6");
    ASSERT_EQ(w, 120);
    for (int y = 89; y >= 0; --y)
        for (int x = 0; x < 120; ++x)
            for (int c = 2; c >= 0; --c)
                ASSERT_EQ(static_cast<unsigned char>(f.get()), want.at(x, y, c)) << x << "," << y;
    std::filesystem::remove_all(dir);
}

}  // namespace
