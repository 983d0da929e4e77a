// 3-Zone and 2-Zone Adjustment: local tone by brightness zones. The input is
// expanded to its black and white points, cut by V into shadows, midtones
// and highlights (or shadows and highlights), and each zone gets its own
// curve and saturation change as a full image; blurred zone masks weigh
// those images back together, with transition masks that add the unadjusted
// image at the seams. Expansion, masks and zone images are kept between
// previews, each with what it was computed from, so a slider of one zone
// repeats only that zone's image and the preview's blend.
#include "transform/gray/zones.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/colour.h"
#include "core/errors.h"
#include "core/line_access.h"
#include "core/parallel.h"
#include "core/progress.h"
#include "core/tables.h"
#include "transform/box_filter.h"
#include "transform/curves.h"
#include "transform/line_bands.h"
#include "transform/tone.h"
#include "transform/transform.h"

// ---------------------------------------------------------------------------
// Shared pieces

ZoneThresholds zone_thresholds(int black, int white, int low, int high) {
    int lo = low, hi = high;
    if (black != white) {
        lo = (low - black) * 255 / (white - black);
        hi = (high - black) * 255 / (white - black);
    }
    lo = std::clamp(lo, 1, 252);
    hi = std::clamp(hi, std::max(lo + 2, 2), 254);
    return {lo, hi};
}

int zone_curve_points(int zone, int lo, int hi, int p, int c, std::int32_t x[5],
                      std::int32_t y[5]) {
    int n = 4;
    if (zone == zone_highlight) {
        const int y1 = lo - (c < 0 ? (255 - lo) * c : lo * c) / 255;
        const int w = (y1 + 255) / 2;
        const std::int32_t xs[] = {0, lo, (lo + 255) / 2, 255};
        const std::int32_t ys[] = {0, y1, w + p * (255 - w) / 255, 255};
        std::copy(xs, xs + 4, x);
        std::copy(ys, ys + 4, y);
    } else if (zone == zone_shadow) {
        const int y2 = hi + (c >= 0 ? (255 - hi) * c : hi * c) / 255;
        const int w = y2 / 2;
        const std::int32_t xs[] = {0, hi / 2, hi, 255};
        const std::int32_t ys[] = {0, w + p * w / 255, y2, 255};
        std::copy(xs, xs + 4, x);
        std::copy(ys, ys + 4, y);
    } else {
        n = 5;
        const int mid = (lo + hi) / 2;
        const int y1 = c < 0 ? lo - c * (mid - lo) / 255 : lo - c * lo / 255;
        const int y3 = c < 0 ? hi + c * (hi - mid) / 255 : hi + c * (255 - hi) / 255;
        const std::int32_t xs[] = {0, lo, mid, hi, 255};
        const std::int32_t ys[] = {0, y1, mid + p * (p >= 0 ? 255 - mid : mid) / 255, y3, 255};
        std::copy(xs, xs + 5, x);
        std::copy(ys, ys + 5, y);
    }
    for (int k = 0; k < n; ++k)
        y[k] = std::clamp(y[k], 0, 255);
    return n;
}

void zone_saturation_table(int change, int maximum, std::uint16_t* table) {
    const double top = maximum;
    const double u = (change + 255) / 510.0;
    for (int i = 0; i <= maximum; ++i) {
        double t;
        if (u <= 0.5) {
            t = top * (i / top) * 2 * u;
        } else if (change >= 255) {
            t = i == 0 ? 0 : top;
        } else {
            const double g = std::sqrt(0.5 / (1 - u));
            t = top * std::pow(1 - std::pow((top - i) / top, g), 1 / g);
        }
        table[i] = static_cast<std::uint16_t>(std::clamp(round_half_away(t), 0.0, top));
    }
    table[0] = 0;
    if (u > 0.5) table[maximum] = static_cast<std::uint16_t>(maximum);
}

namespace {

// ---------------------------------------------------------------------------
// Parameters

// What a run needs, from either block.
struct ZoneSetup {
    int zones;  // 3 or 2
    int panel;  // 0 .. zones: a zone's page, or `zones` for "Blend"
    int mode;   // ZoneMode
    int black, white;
    int low, high;  // the handles; 2-Zone: both the threshold
    int blur_shadow, blur_highlight;
    int amounts[5];    // 3-Zone: H, S, M, shadow-midtone, midtone-highlight; 2-Zone: H, S, T
    int change[3][3];  // by zone: brightness, contrast, saturation
    const AmountSettings* amount;
};

enum ZoneMode : int {
    mode_zones = 0,
    mode_mask = 1,
    mode_before = 2,
    mode_after = 3,
};

// Mask slots. 2-Zone keeps H in slot 0 and its transition in slot 3.
enum MaskSlot : int { mask_h = 0, mask_s = 1, mask_m = 2, mask_ts = 3, mask_th = 4 };

bool wide_type(int type) {
    return type == image_type_gray16 || type == image_type_colour16;
}
bool colour_type(int type) {
    return type == image_type_colour8 || type == image_type_colour16;
}

// ---------------------------------------------------------------------------
// The cache

// What identifies an input picture between previews: its window record and
// take, its memory and shape, and a sample of its pixels.
struct InputKey {
    const WindowRecord* record = nullptr;
    std::uint64_t taken = 0;
    const void* rows = nullptr;
    int type = 0, width = 0, height = 0;
    std::uint64_t fingerprint = 0;
    bool operator==(const InputKey&) const = default;
};

std::uint64_t fingerprint(const Image* image) {
    std::uint64_t h = 1469598103934665603ull;
    const int bytes = image_line_bytes(image);
    for (int k = 0; k < 64; ++k) {
        const std::uint8_t* row = image->rows[static_cast<std::int64_t>(k) * image->height / 64];
        for (int i = 0; i < 64; ++i) {
            h ^= row[static_cast<std::int64_t>(i) * bytes / 64];
            h *= 1099511628211ull;
        }
    }
    return h;
}

struct ExpandKey {
    InputKey input;
    int type = 0;
    int black = 0, white = 0;
    bool operator==(const ExpandKey&) const = default;
};
struct MaskKey {
    std::uint64_t expanded = 0;  // generation of the expanded image
    int lo = 0, hi = 0, blur_shadow = 0, blur_highlight = 0;
    bool operator==(const MaskKey&) const = default;
};
struct ZoneKey {
    std::uint64_t expanded = 0;
    int lo = 0, hi = 0, brightness = 0, contrast = 0, saturation = 0;
    bool operator==(const ZoneKey&) const = default;
};

// The nine full-size images of one transformation and what each was
// computed from. A stage that isn't `valid` is rebuilt when needed.
struct ZoneCache {
    Image expanded;
    ExpandKey expand_key;
    bool expanded_valid = false;
    std::uint64_t generation = 0;
    Image mask[5];
    MaskKey mask_key;
    bool masks_valid = false;
    Image zone[3];
    ZoneKey zone_key[3];
    bool zone_valid[3] = {};
    ZoneCounters counters;

    ZoneCache() {
        image_init(&expanded);
        for (Image& m : mask)
            image_init(&m);
        for (Image& z : zone)
            image_init(&z);
    }
    ~ZoneCache() { release(); }
    ZoneCache(const ZoneCache&) = delete;
    ZoneCache& operator=(const ZoneCache&) = delete;

    void drop_zones() {
        for (int k = 0; k < 3; ++k) {
            image_free(&zone[k]);
            zone_valid[k] = false;
        }
    }
    void drop_masks() {
        for (Image& m : mask)
            image_free(&m);
        masks_valid = false;
    }
    void release() {
        drop_zones();
        drop_masks();
        image_free(&expanded);
        expanded_valid = false;
    }
};

ZoneCache cache3, cache2;

// Runs row(y) for every line of a full-size stage on all cores, with the
// stage's progress: 0, or 11 on cancel.
int for_rows(int width, int height, const char* title, const std::function<void(int y)>& row) {
    ComputeArgs a;
    a.width = a.line_width = width;
    a.height = a.line_count = height;
    a.zoom = 1;
    a.apply = true;
    return transform_for_bands(a, title, [&](int y0, int count) {
        for (int y = y0; y < y0 + count; ++y)
            row(y);
        return 0;
    });
}

// ---------------------------------------------------------------------------
// Stage 1: the input expanded to the black and white points

// A sample of `in` (T) expanded into `out` (U): at 16 bits on the input's
// scale, then through `to8` when the stage is 8-bit.
template <typename T, typename U>
void expand_line(const T* in, U* out, int n, bool colour, int a, int b) {
    constexpr int top = sizeof(T) == 1 ? 255 : 65535;
    auto put = [](int v) {
        if constexpr (sizeof(T) == 2 && sizeof(U) == 1)
            return static_cast<U>(to8[v]);
        else
            return static_cast<U>(v);
    };
    const bool copy = (a == 0 && b == top) || a >= b;
    auto expand = [&](int v) {
        return static_cast<int>(static_cast<std::int64_t>(std::clamp(v, a, b) - a) * top / (b - a));
    };
    if (!colour) {
        for (int i = 0; i < n; ++i)
            out[i] = put(copy ? in[i] : expand(in[i]));
        return;
    }
    for (int i = 0; i < n; ++i) {
        int bl = in[3 * i], g = in[3 * i + 1], r = in[3 * i + 2];
        if (!copy) {
            const int v = max3(r, g, bl);
            scale_to_value(r, g, bl, v, expand(v));
        }
        out[3 * i] = put(bl);
        out[3 * i + 1] = put(g);
        out[3 * i + 2] = put(r);
    }
}

int build_expanded(const Image* input, Image* out, int black, int white) {
    const bool wide_in = wide_type(input->type), wide_out = wide_type(out->type);
    const bool colour = colour_type(input->type);
    const int a = wide_in ? to16[black] : black, b = wide_in ? to16[white] : white;
    const int n = input->width;
    return for_rows(n, input->height, "Expanding Input Image to Full Range", [&](int y) {
        const std::uint8_t* in = input->rows[y];
        std::uint8_t* o = out->rows[y];
        if (!wide_in) return expand_line(in, o, n, colour, a, b);
        const auto* in16 = reinterpret_cast<const std::uint16_t*>(in);
        if (wide_out)
            return expand_line(in16, reinterpret_cast<std::uint16_t*>(o), n, colour, a, b);
        expand_line(in16, o, n, colour, a, b);
    });
}

// ---------------------------------------------------------------------------
// Stage 2: the masks

// "Building Masks" in its five steps, the panel always shown.
struct MaskProgress {
    MaskProgress() { progress_begin("Building Masks", 0, 4, true); }
    ~MaskProgress() { progress_end(); }
    MaskProgress(const MaskProgress&) = delete;
    MaskProgress& operator=(const MaskProgress&) = delete;
};

void each_row(int height, const std::function<void(int y)>& row) {
    const int bands = std::min(height, 64);
    parallel_for(bands, [&](int k) {
        for (int y = k * height / bands; y < (k + 1) * height / bands; ++y)
            row(y);
    });
}

int blur_into(Image* binary, Image* out, int radius) {
    if (radius <= 0) {
        for (int y = 0; y < binary->height; ++y)
            std::memcpy(out->rows[y], binary->rows[y], static_cast<std::size_t>(binary->width));
        return 0;
    }
    return blur_image(binary, out, radius, false);
}

int build_masks(const ZoneSetup& s, ZoneThresholds t, const Image* e, Image* mask) {
    const MaskProgress progress;
    const int w = e->width, h = e->height;
    const bool colour = colour_type(e->type), wide = wide_type(e->type);
    // 1 and 2: V and the binary images, A (V >= hi) in TH's slot and B
    // (V <= lo) in TS's; 2-Zone keeps only A, in slot 3.
    Image* a = &mask[s.zones == 3 ? mask_th : mask_ts];
    Image* b = &mask[mask_ts];
    each_row(h, [&](int y) {
        const std::uint8_t* in = e->rows[y];
        const auto* in16 = reinterpret_cast<const std::uint16_t*>(in);
        std::uint8_t* ra = a->rows[y];
        std::uint8_t* rb = b->rows[y];
        for (int i = 0; i < w; ++i) {
            int v = 0;
            if (wide)
                v = to8[colour ? max3(in16[3 * i], in16[3 * i + 1], in16[3 * i + 2]) : in16[i]];
            else
                v = colour ? max3(in[3 * i], in[3 * i + 1], in[3 * i + 2]) : in[i];
            ra[i] = v >= t.hi ? 255 : 0;
            if (s.zones == 3) rb[i] = v <= t.lo ? 255 : 0;
        }
    });
    if (int err = progress_step(1)) return err;
    // 3: the blurs, with Blur's "Gaussian".
    if (int err = blur_into(a, &mask[mask_h], s.blur_highlight)) return err;
    if (s.zones == 3)
        if (int err = blur_into(b, &mask[mask_s], s.blur_shadow)) return err;
    if (int err = progress_step(2)) return err;
    // 4: the transitions.
    each_row(h, [&](int y) {
        const std::uint8_t* hh = mask[mask_h].rows[y];
        std::uint8_t* th = a->rows[y];
        for (int i = 0; i < w; ++i)
            th[i] = static_cast<std::uint8_t>(zone_transition(hh[i]));
        if (s.zones == 2) return;
        const std::uint8_t* ss = mask[mask_s].rows[y];
        std::uint8_t* ts = b->rows[y];
        for (int i = 0; i < w; ++i)
            ts[i] = static_cast<std::uint8_t>(zone_transition(ss[i]));
    });
    if (int err = progress_step(3)) return err;
    // 5: the midtone, what neither other zone holds.
    if (s.zones == 3)
        each_row(h, [&](int y) {
            const std::uint8_t* hh = mask[mask_h].rows[y];
            const std::uint8_t* ss = mask[mask_s].rows[y];
            std::uint8_t* m = mask[mask_m].rows[y];
            for (int i = 0; i < w; ++i)
                m[i] = static_cast<std::uint8_t>(std::min(255 - hh[i], 255 - ss[i]));
        });
    return progress_step(4);
}

// ---------------------------------------------------------------------------
// Stages 3 and 4: zone curves, saturation tables, one image per zone

// A zone's tables at the depth of the expanded image.
struct ZoneTables {
    std::uint8_t t8[256];
    std::vector<std::uint16_t> t16;
    std::vector<std::uint16_t> sat;  // 4097 or 65536 entries
    int saturation = 0;

    ZoneTables(const ZoneSetup& s, int zone, ZoneThresholds t, bool wide) {
        std::int32_t x[5], y[5];
        const int kind = s.zones == 2 && zone == 1 ? zone_shadow : zone;
        // 2-Zone: the threshold stands for lo in the highlight curve and
        // for hi in the shadow curve.
        const int n = zone_curve_points(kind, t.lo, t.hi, s.change[zone][0], s.change[zone][1], x, y);
        curve_table8(n, x, y, curve_spline, t8);
        if (wide) {
            t16.resize(65536);
            curve_table16(n, x, y, curve_spline, t16.data());
        }
        saturation = s.change[zone][2];
        if (saturation != 0) {
            sat.resize(wide ? 65536 : 4097);
            zone_saturation_table(saturation, wide ? 65535 : 4096, sat.data());
        }
    }

    // One line of the zone's image: the tone by the HSV rule, then the
    // saturation by its own round trip.
    template <typename T>
    void line(const T* in, T* out, int n, bool colour) const {
        const auto tone = [&](int v) -> int {
            if constexpr (sizeof(T) == 1)
                return t8[v];
            else
                return t16[v];
        };
        if (!colour) {
            for (int i = 0; i < n; ++i)
                out[i] = static_cast<T>(tone(in[i]));
            return;
        }
        for (int i = 0; i < n; ++i) {
            int b = in[3 * i], g = in[3 * i + 1], r = in[3 * i + 2];
            const int v = max3(r, g, b);
            scale_to_value(r, g, b, v, tone(v));
            if (saturation != 0) {
                int h = 0, sv = 0, vv = 0;
                if constexpr (sizeof(T) == 1) {
                    rgb_to_hsv8(r, g, b, h, sv, vv);
                    hsv_to_rgb8(h, sat[sv], vv, r, g, b);
                } else {
                    rgb_to_hsv16(r, g, b, h, sv, vv);
                    hsv_to_rgb16(h, sat[sv], vv, r, g, b);
                }
            }
            out[3 * i] = static_cast<T>(b);
            out[3 * i + 1] = static_cast<T>(g);
            out[3 * i + 2] = static_cast<T>(r);
        }
    }
};

constexpr const char* zone_titles[2][3] = {
    {"Highlight Adjustment", "Shadow Adjustment", "Midtone Adjustment"},
    {"Highlight Adjustment", "Shadow Adjustment", ""}};

int build_zone(const ZoneSetup& s, int zone, const ZoneTables& tables, const Image* e, Image* out) {
    const bool colour = colour_type(e->type), wide = wide_type(e->type);
    const int n = e->width;
    return for_rows(n, e->height, zone_titles[s.zones == 3 ? 0 : 1][zone], [&](int y) {
        if (wide)
            tables.line(reinterpret_cast<const std::uint16_t*>(e->rows[y]),
                        reinterpret_cast<std::uint16_t*>(out->rows[y]), n, colour);
        else
            tables.line(e->rows[y], out->rows[y], n, colour);
    });
}

// ---------------------------------------------------------------------------
// Stage 5 and the displays, at the preview's size

// Open line sources over the cached images of one band, closed on every path.
struct Sources {
    LineSource s[12];
    int used = 0;
    Sources() {
        for (LineSource& l : s)
            line_source_init(&l);
    }
    ~Sources() {
        for (LineSource& l : s)
            line_source_close(&l);
    }
    Sources(const Sources&) = delete;
    Sources& operator=(const Sources&) = delete;
    // Opens the next source; its index in `index`.
    int open(const ComputeArgs& args, const Image* image, int first, int& index) {
        const int step = args.zoom < 0 ? -args.zoom : 1;
        index = used++;
        return line_source_open(image, args.source_x, args.source_y + first * step, args.zoom,
                                args.line_width, &s[index]);
    }
    const std::uint8_t* next(int index) { return line_source_next(&s[index]); }
};

// The blend of one line: zone images z, masks m, expanded e.
template <typename T>
void blend_line(const ZoneSetup& s, const T* e, const T* const* z, const std::uint8_t* const* m,
                T* out, int n, int samples) {
    const int* a = s.amounts;
    for (int i = 0; i < n; ++i) {
        int wh = 0, ws = 0, wm = 0, wt = 0;
        if (s.zones == 3) {
            wh = a[0] * m[mask_h][i] / 255;
            ws = a[1] * m[mask_s][i] / 255;
            wm = a[2] * m[mask_m][i] / 255;
            wt = a[3] * m[mask_ts][i] / 255 + a[4] * m[mask_th][i] / 255;
        } else {
            wh = a[0] * m[mask_h][i] / 255;
            ws = a[1] * (255 - m[mask_h][i]) / 255;
            wt = a[2] * m[mask_ts][i] / 255;
        }
        const int w = wh + ws + wm + wt;
        for (int c = i * samples; c < (i + 1) * samples; ++c) {
            if (w == 0) {
                out[c] = e[c];
                continue;
            }
            int sum = z[0][c] * wh + z[1][c] * ws + e[c] * wt;
            if (s.zones == 3) sum += z[2][c] * wm;
            const int r = sum / w;
            if (w >= 255)
                out[c] = static_cast<T>(r);
            else if constexpr (sizeof(T) == 1)
                out[c] = static_cast<T>(lerp8(e[c], r, w));
            else
                out[c] = static_cast<T>(lerp16(e[c], r, w));
        }
    }
}

// The mask of a zone's page: 2-Zone's shadow is what H leaves.
int page_mask(const ZoneSetup& s, const std::uint8_t* const* m, int i) {
    if (s.zones == 2) return s.panel == 0 ? m[mask_h][i] : 255 - m[mask_h][i];
    return m[s.panel == 0 ? mask_h : (s.panel == 1 ? mask_s : mask_m)][i];
}

int samples_of(int type) {
    return colour_type(type) ? 3 : 1;
}

// Everything one run works from.
struct Run {
    const ComputeArgs& args;
    const ZoneSetup& s;
    ZoneCache& cache;
    const Image* input;
    ZoneThresholds t;
    const ZoneTables* tables[3] = {};
};

// Stage 5 or a display over the lines of `args`, read from the cache.
template <typename T>
int show(const Run& run) {
    const ComputeArgs& args = run.args;
    const ZoneSetup& s = run.s;
    ZoneCache& cache = run.cache;
    const int n = args.line_width;
    const int mode = s.mode;
    const bool blend = mode == mode_after ? s.panel == s.zones : (mode == mode_mask && s.panel == s.zones);
    const bool masks = mode == mode_mask || mode == mode_after;
    const int samples = samples_of(cache.expanded.type);
    const Image* amount_mask = s.amount->amount_mask;
    const AmountStrength strength =
        amount_strength(s.amount->amount_low, amount_mask ? s.amount->amount_high : -1);
    const bool finish = blend && !strength.full();
    const bool input_wide = wide_type(run.input->type);

    return transform_for_bands(args, "Blend Zones", [&](int first, int count) {
        Sources src;
        LineSink sink;
        line_sink_init(&sink);
        int ie = -1, iz[3] = {-1, -1, -1}, im[5] = {-1, -1, -1, -1, -1}, ii = -1, ia = -1;
        int err = src.open(args, &cache.expanded, first, ie);
        for (int k = 0; k < 5 && masks && !err; ++k)
            if (cache.mask[k].type) err = src.open(args, &cache.mask[k], first, im[k]);
        for (int k = 0; k < s.zones && blend && !err; ++k)
            err = src.open(args, &cache.zone[k], first, iz[k]);
        if (!err && finish) err = src.open(args, run.input, first, ii);
        if (!err && finish && strength.masked()) err = src.open(args, amount_mask, first, ia);
        if (!err) err = band_sink_open(args, first, &sink);
        if (err) {
            line_sink_close(&sink);
            return err;
        }
        std::vector<std::uint8_t> scratch(static_cast<std::size_t>(n) * 3);
        for (int line = 0; line < count; ++line) {
            const T* e = reinterpret_cast<const T*>(src.next(ie));
            const std::uint8_t* m[5] = {};
            for (int k = 0; k < 5; ++k)
                if (im[k] >= 0) m[k] = src.next(im[k]);
            std::uint8_t* out = line_sink_line(&sink);
            if (mode == mode_before) {
                std::memcpy(out, e, static_cast<std::size_t>(n) * samples * sizeof(T));
            } else if (blend) {
                const T* z[3] = {};
                for (int k = 0; k < s.zones; ++k)
                    z[k] = reinterpret_cast<const T*>(src.next(iz[k]));
                T* o = reinterpret_cast<T*>(out);
                blend_line(s, e, z, m, o, n, samples);
                if (finish) {
                    const std::uint8_t* in = src.next(ii);
                    const std::uint8_t* am = ia >= 0 ? src.next(ia) : nullptr;
                    if constexpr (sizeof(T) == 2) {
                        amount_blend_line16(reinterpret_cast<const std::uint16_t*>(in), o, n,
                                            samples, strength, am);
                    } else {
                        if (input_wide) {
                            const auto* in16 = reinterpret_cast<const std::uint16_t*>(in);
                            for (int c = 0; c < n * samples; ++c)
                                scratch[c] = to8[in16[c]];
                            in = scratch.data();
                        }
                        amount_blend_line8(in, o, n, samples, strength, am);
                    }
                }
            } else if (mode == mode_mask) {
                // The page's mask over the picture in red.
                for (int i = 0; i < n; ++i) {
                    const int mk = page_mask(s, m, i);
                    const int c0 = samples == 3 ? 3 * i : i;
                    const int b = e[c0], g = e[c0 + (samples == 3)], r = e[c0 + 2 * (samples == 3)];
                    out[3 * i] = static_cast<std::uint8_t>(lerp8(b, 0, mk));
                    out[3 * i + 1] = static_cast<std::uint8_t>(lerp8(g, 0, mk));
                    out[3 * i + 2] = static_cast<std::uint8_t>(lerp8(r, 255, mk));
                }
            } else {
                // A zone alone: its table on each sample, through its mask.
                const std::uint8_t* table = run.tables[s.panel]->t8;
                for (int i = 0; i < n; ++i) {
                    const int mk = page_mask(s, m, i);
                    for (int c = i * samples; c < (i + 1) * samples; ++c)
                        out[c] = static_cast<std::uint8_t>(lerp8(e[c], table[e[c]], mk));
                }
            }
            line_sink_commit(&sink);
        }
        line_sink_close(&sink);
        return 0;
    });
}

// "Show Zones": V of the input against the raw handles, at preview size.
int show_zones(const ComputeArgs& args, const ZoneSetup& s, const Image* input) {
    const bool colour = colour_type(input->type), wide = wide_type(input->type);
    const int n = args.line_width;
    return transform_line_bands(args, input, nullptr, "Computing Zone Display", [&](const BandLine& l) {
        const auto* in16 = reinterpret_cast<const std::uint16_t*>(l.in);
        for (int i = 0; i < n; ++i) {
            int v = 0;
            if (wide)
                v = to8[colour ? max3(in16[3 * i], in16[3 * i + 1], in16[3 * i + 2]) : in16[i]];
            else
                v = colour ? max3(l.in[3 * i], l.in[3 * i + 1], l.in[3 * i + 2]) : l.in[i];
            l.out[i] = static_cast<std::uint8_t>(zone_display_level(v, s.black, s.low, s.high, s.white));
        }
    });
}

// ---------------------------------------------------------------------------
// The run

int zones_compute(const ComputeArgs& args, ZoneSetup s, ZoneCache& shared) {
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    const int type = input->type;
    if (!image_type_gray_or_colour(type)) return err_illegal_type;
    if (args.apply) {
        s.panel = s.zones;
        s.mode = mode_after;
    }
    s.panel = std::clamp(s.panel, 0, s.zones);
    s.mode = std::clamp(s.mode, 0, 3);
    const int preview_type = preview_type_of(type);
    const int stage_type = args.apply ? type : preview_type;
    int out_type = stage_type;
    if (s.mode == mode_zones) out_type = image_type_gray8;
    if (s.mode == mode_mask && s.panel < s.zones) out_type = image_type_colour8;
    if (args.whole_region() || args.output->type != out_type) {
        if (int err = image_alloc(args.output, out_type, args.width, args.height, input->resolution))
            return err;
    }
    if (s.mode == mode_zones) return show_zones(args, s, input);

    // The final run works alone, so that nothing another picture left in the
    // panel's cache can stand in for this one.
    ZoneCache own;
    ZoneCache& cache = args.apply ? own : shared;

    ZoneThresholds t = zone_thresholds(s.black, s.white, s.low, s.high);
    if (s.zones == 2) t.lo = t.hi = std::clamp(t.lo, 2, 252);
    const bool need_masks = s.mode != mode_before;
    const bool need_zones = (s.mode == mode_after || s.mode == mode_mask) && s.panel == s.zones;

    // What each stage would be computed from now; a stage whose record
    // differs is rebuilt, and with it everything after it.
    ExpandKey ek;
    ek.input = {args.input, args.input->taken, input->rows, type, input->width, input->height,
                fingerprint(input)};
    ek.type = stage_type;
    ek.black = s.black;
    ek.white = s.white;
    const bool expand = !cache.expanded_valid || !(cache.expand_key == ek);
    if (expand) {
        cache.expanded_valid = false;
        cache.masks_valid = false;
        for (bool& v : cache.zone_valid)
            v = false;
    }
    const std::uint64_t generation = expand ? cache.generation + 1 : cache.generation;
    MaskKey mk{generation, t.lo, t.hi, s.zones == 3 ? s.blur_shadow : 0, s.blur_highlight};
    const bool masks = need_masks && (!cache.masks_valid || !(cache.mask_key == mk));
    bool zones[3] = {};
    ZoneKey zk[3];
    for (int k = 0; k < s.zones; ++k) {
        zk[k] = {generation, t.lo, t.hi, s.change[k][0], s.change[k][1], s.change[k][2]};
        zones[k] = need_zones && (!cache.zone_valid[k] || !(cache.zone_key[k] == zk[k]));
    }

    // Every image this run builds is allocated before any is computed; a
    // failure leaves none of them standing.
    {
        const int w = input->width, h = input->height;
        const double res = input->resolution;
        int err = 0;
        if (expand) err = image_alloc(&cache.expanded, stage_type, w, h, res);
        const int slots[2][5] = {{mask_h, mask_s, mask_m, mask_ts, mask_th}, {mask_h, mask_ts, -1, -1, -1}};
        for (int k = 0; k < 5 && masks && !err; ++k)
            if (slots[s.zones == 3 ? 0 : 1][k] >= 0)
                err = image_alloc(&cache.mask[slots[s.zones == 3 ? 0 : 1][k]], image_type_gray8, w, h, res);
        for (int k = 0; k < s.zones && !err; ++k)
            if (zones[k]) err = image_alloc(&cache.zone[k], stage_type, w, h, res);
        if (err) {
            if (expand) cache.release();
            if (masks) cache.drop_masks();
            for (int k = 0; k < 3; ++k)
                if (zones[k]) {
                    image_free(&cache.zone[k]);
                    cache.zone_valid[k] = false;
                }
            return err;
        }
    }

    if (expand) {
        if (int err = build_expanded(input, &cache.expanded, s.black, s.white)) return err;
        cache.expand_key = ek;
        cache.generation = generation;
        cache.expanded_valid = true;
        ++cache.counters.expansions;
    }
    if (masks) {
        cache.masks_valid = false;
        if (int err = build_masks(s, t, &cache.expanded, cache.mask)) return err;
        cache.mask_key = mk;
        cache.masks_valid = true;
        ++cache.counters.mask_builds;
    }

    const bool wide = wide_type(stage_type);
    std::vector<ZoneTables> tables;
    tables.reserve(3);
    for (int k = 0; k < s.zones; ++k)
        tables.emplace_back(s, k, t, wide);
    for (int k = 0; k < s.zones; ++k) {
        if (!zones[k]) continue;
        cache.zone_valid[k] = false;
        if (int err = build_zone(s, k, tables[k], &cache.expanded, &cache.zone[k])) return err;
        cache.zone_key[k] = zk[k];
        cache.zone_valid[k] = true;
        ++cache.counters.zone_builds[k];
    }

    Run run{args, s, cache, input, t};
    for (int k = 0; k < s.zones; ++k)
        run.tables[k] = &tables[k];
    return wide ? show<std::uint16_t>(run) : show<std::uint8_t>(run);
}

// ---------------------------------------------------------------------------
// 3-Zone

struct ThreeZoneParams {
    AmountSettings amount;
    std::int32_t panel, mode, expansion;
    std::int32_t black, white, low, high, blur_shadow, blur_highlight;
    std::int32_t amount_highlight, amount_shadow, amount_midtone, amount_shadow_midtone,
        amount_midtone_highlight;
    std::int32_t highlight_brightness, highlight_contrast, highlight_saturation;
    std::int32_t shadow_brightness, shadow_contrast, shadow_saturation;
    std::int32_t midtone_brightness, midtone_contrast, midtone_saturation;
};

ZoneSetup setup_of(const ThreeZoneParams& p) {
    return {3,
            p.panel,
            p.mode,
            p.black,
            p.white,
            p.low,
            p.high,
            p.blur_shadow,
            p.blur_highlight,
            {p.amount_highlight, p.amount_shadow, p.amount_midtone, p.amount_shadow_midtone,
             p.amount_midtone_highlight},
            {{p.highlight_brightness, p.highlight_contrast, p.highlight_saturation},
             {p.shadow_brightness, p.shadow_contrast, p.shadow_saturation},
             {p.midtone_brightness, p.midtone_contrast, p.midtone_saturation}},
            &p.amount};
}

// ---------------------------------------------------------------------------
// 2-Zone

struct TwoZoneParams {
    AmountSettings amount;
    std::int32_t panel, mode, expansion;
    std::int32_t black, white, threshold, blur;
    std::int32_t amount_highlight, amount_shadow, amount_transition;
    std::int32_t highlight_brightness, highlight_contrast, highlight_saturation;
    std::int32_t shadow_brightness, shadow_contrast, shadow_saturation;
};

ZoneSetup setup_of(const TwoZoneParams& p) {
    return {2,
            p.panel,
            p.mode,
            p.black,
            p.white,
            p.threshold,
            p.threshold,
            0,
            p.blur,
            {p.amount_highlight, p.amount_shadow, p.amount_transition, 0, 0},
            {{p.highlight_brightness, p.highlight_contrast, p.highlight_saturation},
             {p.shadow_brightness, p.shadow_contrast, p.shadow_saturation},
             {0, 0, 0}},
            &p.amount};
}

int three_zone_compute(const ComputeArgs& args) {
    return zones_compute(args, setup_of(args.block<ThreeZoneParams>()), cache3);
}
int two_zone_compute(const ComputeArgs& args) {
    return zones_compute(args, setup_of(args.block<TwoZoneParams>()), cache2);
}

}  // namespace

ZoneCounters zone_counters(int zones) {
    return zones == 2 ? cache2.counters : cache3.counters;
}

void zone_cache_release(int zones) {
    (zones == 2 ? cache2 : cache3).release();
}


// ---------------------------------------------------------------------------
// Field tables and descriptors

namespace {

constexpr std::string_view three_panel_words[] = {"Highlight", "Shadow", "Midtone", "Blend"};
constexpr std::string_view two_panel_words[] = {"Highlight", "Shadow", "Blend"};
constexpr std::string_view mode_words[] = {"Show Zones", "Show Mask", "Show Image Before Adjustment",
                                           "Show Image After Adjustment"};
constexpr std::string_view expansion_words[] = {"No Histogram Expansion",
                                                "Medium Histogram Expansion",
                                                "High Histogram Expansion"};
constexpr std::string_view three_strip_words[] = {"black", "low", "high", "white"};
constexpr std::string_view two_strip_words[] = {"black", "threshold", "white"};

double percent_of_255(double v) {
    return 100.0 * v / 255.0;
}

// The histogram strip: its handles, left to right, over levels of the input.
template <auto... Members>
constexpr TransformField strip_field(std::span<const std::string_view> words) {
    TransformField f = transform_detail::parts_field<Members...>(
        "levels", "", ControlKind::zone_strip, words, image_types_any);
    f.curve_reading = [](const void*) { return static_cast<int>(reading_max); };
    f.init = [](void* p) {
        constexpr int count = sizeof...(Members);
        const int three[] = {0, 51, 204, 255}, two[] = {0, 128, 255};
        for (int k = 0; k < count; ++k)
            transform_detail::set_part<Members...>(p, k, count == 4 ? three[k] : two[k]);
    };
    return f;
}

// A slider of a zone's page or of the Blend page, shown in percent of 255.
template <auto Member, int Page>
constexpr TransformField page_slider(std::string_view keyword, std::string_view label, int minimum,
                                     int default_value, unsigned shown_for = image_types_any) {
    TransformField f = field_integer<Member>(keyword, label, minimum, 255, "%2f\\%", default_value,
                                             shown_for);
    f.shown = percent_of_255;
    f.plus_sign = minimum < 0;
    f.relevant = [](const void* p) {
        return static_cast<const transform_detail::BlockOf<Member>*>(p)->panel == Page;
    };
    return f;
}

using P3 = ThreeZoneParams;
using P2 = TwoZoneParams;

constexpr TransformField three_fields[] = {
    field_input("Input Image:"),
    field_amount<&P3::amount>("amount"),
    strip_field<&P3::black, &P3::low, &P3::high, &P3::white>(three_strip_words),
    field_choice<&P3::expansion>("expansion", "Histogram:", expansion_words, 1),
    field_choice<&P3::panel>("panel", "Page:", three_panel_words, 0),
    field_choice<&P3::mode>("mode", "Display:", mode_words, 0),
    field_integer<&P3::blur_shadow>("blur_shadow", "Shadow-Midtone Blur Radius: ", 0, 200, "%d", 25),
    field_integer<&P3::blur_highlight>("blur_highlight", "Midtone-Highlight Blur Radius: ", 0, 200, "%d", 25),
    page_slider<&P3::highlight_brightness, 0>("highlight_brightness", "Brightness Change: ", -255, 0),
    page_slider<&P3::highlight_contrast, 0>("highlight_contrast", "Contrast Change: ", -255, 0),
    page_slider<&P3::highlight_saturation, 0>("highlight_saturation", "Saturation Change: ", -255, 0, image_types_colour),
    page_slider<&P3::shadow_brightness, 1>("shadow_brightness", "Brightness Change: ", -255, 0),
    page_slider<&P3::shadow_contrast, 1>("shadow_contrast", "Contrast Change: ", -255, 0),
    page_slider<&P3::shadow_saturation, 1>("shadow_saturation", "Saturation Change: ", -255, 0, image_types_colour),
    page_slider<&P3::midtone_brightness, 2>("midtone_brightness", "Brightness Change: ", -255, 0),
    page_slider<&P3::midtone_contrast, 2>("midtone_contrast", "Contrast Change: ", -255, 0),
    page_slider<&P3::midtone_saturation, 2>("midtone_saturation", "Saturation Change: ", -255, 0, image_types_colour),
    page_slider<&P3::amount_highlight, 3>("amount_highlight", "Highlight Amount: ", 0, 255),
    page_slider<&P3::amount_shadow, 3>("amount_shadow", "Shadow Amount: ", 0, 255),
    page_slider<&P3::amount_midtone, 3>("amount_midtone", "Midtone Amount: ", 0, 255),
    page_slider<&P3::amount_shadow_midtone, 3>("amount_shadow_midtone", "Shadow-Midtone Amount: ", 0, 0),
    page_slider<&P3::amount_midtone_highlight, 3>("amount_midtone_highlight", "Midtone-Highlight Amount: ", 0, 0),
};

constexpr TransformField two_fields[] = {
    field_input("Input Image:"),
    field_amount<&P2::amount>("amount"),
    strip_field<&P2::black, &P2::threshold, &P2::white>(two_strip_words),
    field_choice<&P2::expansion>("expansion", "Histogram:", expansion_words, 1),
    field_choice<&P2::panel>("panel", "Page:", two_panel_words, 0),
    field_choice<&P2::mode>("mode", "Display:", mode_words, 0),
    field_integer<&P2::blur>("blur", "Blur Radius: ", 0, 200, "%d", 25),
    page_slider<&P2::highlight_brightness, 0>("highlight_brightness", "Brightness Change: ", -255, 0),
    page_slider<&P2::highlight_contrast, 0>("highlight_contrast", "Contrast Change: ", -255, 0),
    page_slider<&P2::highlight_saturation, 0>("highlight_saturation", "Saturation Change: ", -255, 0, image_types_colour),
    page_slider<&P2::shadow_brightness, 1>("shadow_brightness", "Brightness Change: ", -255, 0),
    page_slider<&P2::shadow_contrast, 1>("shadow_contrast", "Contrast Change: ", -255, 0),
    page_slider<&P2::shadow_saturation, 1>("shadow_saturation", "Saturation Change: ", -255, 0, image_types_colour),
    page_slider<&P2::amount_highlight, 2>("amount_highlight", "Highlight Amount: ", 0, 255),
    page_slider<&P2::amount_shadow, 2>("amount_shadow", "Shadow Amount: ", 0, 255),
    page_slider<&P2::amount_transition, 2>("amount_transition", "Transition Amount: ", 0, 0),
};

constexpr WorkflowLine<P3> three_lines[] = {
    workflow_amount<&P3::amount>(),
    workflow_value<&P3::panel, &P3::mode, &P3::expansion>("display %d %d %d"),
    workflow_value<&P3::black, &P3::white, &P3::low, &P3::high, &P3::blur_shadow, &P3::blur_highlight>(
        "threshold_blur %d %d %d %d %d %d"),
    workflow_value<&P3::amount_highlight, &P3::amount_shadow, &P3::amount_midtone,
                   &P3::amount_shadow_midtone, &P3::amount_midtone_highlight>("amounts %d %d %d %d %d"),
    workflow_value<&P3::highlight_brightness, &P3::highlight_contrast, &P3::highlight_saturation>(
        "highlight %d %d %d"),
    workflow_value<&P3::shadow_brightness, &P3::shadow_contrast, &P3::shadow_saturation>(
        "shadow %d %d %d"),
    workflow_value<&P3::midtone_brightness, &P3::midtone_contrast, &P3::midtone_saturation>(
        "midtone %d %d %d"),
};

constexpr WorkflowLine<P2> two_lines[] = {
    workflow_amount<&P2::amount>(),
    workflow_value<&P2::panel, &P2::mode, &P2::expansion>("display %d %d %d"),
    workflow_value<&P2::black, &P2::white, &P2::threshold, &P2::blur>("threshold_blur %d %d %d %d"),
    workflow_value<&P2::amount_highlight, &P2::amount_shadow, &P2::amount_transition>(
        "amounts %d %d %d"),
    workflow_value<&P2::highlight_brightness, &P2::highlight_contrast, &P2::highlight_saturation>(
        "highlight %d %d %d"),
    workflow_value<&P2::shadow_brightness, &P2::shadow_contrast, &P2::shadow_saturation>(
        "shadow %d %d %d"),
};

// The settings files hold the same lines as the workflow block.
template <typename P, std::size_t N>
constexpr std::array<SettingsKeyword<P>, N - 1> keywords_of(const WorkflowLine<P> (&lines)[N]) {
    std::array<SettingsKeyword<P>, N - 1> all{};
    for (std::size_t k = 1; k < N; ++k)
        all[k - 1] = lines[k].values;
    return all;
}
constexpr auto three_keywords = keywords_of(three_lines);
constexpr auto two_keywords = keywords_of(two_lines);

constexpr SettingsFormat<P3> three_settings{
    {"ThreeZone 1.0", ".zone3", "Load 3-Zone Adjustment Settings", "Save 3-Zone Adjustment Settings",
     "3-Zone Adjustment Files", "3-zone adjustment files must have an extension of .zone3", 17},
    three_keywords};
constexpr SettingsFormat<P2> two_settings{
    {"TwoZone 1.0", ".zone2", "Load 2-Zone Adjustment Settings", "Save 2-Zone Adjustment Settings",
     "2-Zone Adjustment Files", "2-zone adjustment files must have an extension of .zone2", 5},
    two_keywords};

// The Options menu's resets, each to the built-in values of its part.
template <typename P, const auto& Fields>
void reset_all(void* p) {
    *static_cast<P*>(p) = P{};
    fields_set_defaults(Fields, p);
}
template <typename P>
void reset_changes(P& p, int zone) {
    if (zone == 0) p.highlight_brightness = p.highlight_contrast = p.highlight_saturation = 0;
    if (zone == 1) p.shadow_brightness = p.shadow_contrast = p.shadow_saturation = 0;
    if constexpr (std::is_same_v<P, P3>)
        if (zone == 2) p.midtone_brightness = p.midtone_contrast = p.midtone_saturation = 0;
}

constexpr PanelReset three_resets[] = {
    {"Reset &All", reset_all<P3, three_fields>},
    {"Reset &Mask Settings",
     [](void* v) {
         P3& p = *static_cast<P3*>(v);
         p.black = 0, p.white = 255, p.low = 51, p.high = 204, p.blur_shadow = p.blur_highlight = 25;
     }},
    {"Reset &Highlight Adjustment Settings", [](void* v) { reset_changes(*static_cast<P3*>(v), 0); }},
    {"Reset &Shadow Adjustment Settings", [](void* v) { reset_changes(*static_cast<P3*>(v), 1); }},
    {"Reset &Midtone Adjustment Settings", [](void* v) { reset_changes(*static_cast<P3*>(v), 2); }},
    {"Reset &Blend Settings",
     [](void* v) {
         P3& p = *static_cast<P3*>(v);
         p.amount_highlight = p.amount_shadow = p.amount_midtone = 255;
         p.amount_shadow_midtone = p.amount_midtone_highlight = 0;
     }},
};
constexpr PanelReset two_resets[] = {
    {"Reset &All", reset_all<P2, two_fields>},
    {"Reset &Mask Settings",
     [](void* v) {
         P2& p = *static_cast<P2*>(v);
         p.black = 0, p.white = 255, p.threshold = 128, p.blur = 25;
     }},
    {"Reset &Highlight Adjustment Settings", [](void* v) { reset_changes(*static_cast<P2*>(v), 0); }},
    {"Reset &Shadow Adjustment Settings", [](void* v) { reset_changes(*static_cast<P2*>(v), 1); }},
    {"Reset &Blend Settings",
     [](void* v) {
         P2& p = *static_cast<P2*>(v);
         p.amount_highlight = p.amount_shadow = 255;
         p.amount_transition = 0;
     }},
};

P3 three_static{};
bool three_fresh = true;
P2 two_static{};
bool two_fresh = true;

}  // namespace

extern const TransformDescriptor three_zone_transform;
constinit const TransformDescriptor three_zone_transform =
    transform_descriptor<P3, three_fields, three_lines, &three_settings>({
        .title = "3-Zone Adjustment",
        .panel_number = 99,
        .panel_code = 99,
        .compute = three_zone_compute,
        .settings_previous = true,
        .static_copy = &three_static,
        .fresh = &three_fresh,
        .resets = three_resets,
        .panel_closed = [] { zone_cache_release(3); },
    });

extern const TransformDescriptor two_zone_transform;
constinit const TransformDescriptor two_zone_transform =
    transform_descriptor<P2, two_fields, two_lines, &two_settings>({
        .title = "2-Zone Adjustment",
        .panel_number = 104,
        .panel_code = 104,
        .compute = two_zone_compute,
        .settings_previous = true,
        .static_copy = &two_static,
        .fresh = &two_fresh,
        .resets = two_resets,
        .panel_closed = [] { zone_cache_release(2); },
    });
