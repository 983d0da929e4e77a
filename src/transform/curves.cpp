#include "transform/curves.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/colour.h"
#include "core/errors.h"
#include "core/tables.h"
#include "transform/settings.h"

namespace {

// ---------------------------------------------------------------------------
// Table building, shared by the 8-bit and the 16-bit tables. Knots are
// normalised: t in 0..1 across the points' x range, v = y / top.

constexpr double tiny = 1e-10;

int clamp_round(double v, int top) {
    return static_cast<int>(round_half_away(std::clamp(v, 0.0, static_cast<double>(top))));
}

struct Knots {
    int n = 0;
    std::vector<double> t;
    std::vector<double> v;
};

// Segments: steps or straight lines between the knots. `u` walks forward,
// the segment advancing when u reaches the next knot; at the last knot the
// segment stays the last one, so a step table gives y[n-2] there.
class Segments {
public:
    Segments(const Knots& k, bool interpolate) : k_(k), interpolate_(interpolate) {}

    // The value at u (normalised; u never goes back).
    double at(double u) {
        if (u < 0) {
            if (!interpolate_) return k_.v[0];
            return line(0, u);
        }
        if (u > 1) {
            if (!interpolate_) return k_.v[k_.n - 1];
            return line(k_.n - 2, u);
        }
        while (s_ < k_.n - 1 && u >= next_) {
            seg_ = s_;
            ++s_;
            next_ = k_.t[s_];
        }
        return interpolate_ ? line(seg_, u) : k_.v[seg_];
    }

private:
    double line(int s, double u) const {
        const double tl = k_.t[s], tr = k_.t[s + 1], vl = k_.v[s], vr = k_.v[s + 1];
        return vl + (u - tl) * (vr - vl) / (tr - tl);
    }

    const Knots& k_;
    bool interpolate_;
    int s_ = 0;
    int seg_ = 0;
    double next_ = 0.0;
};

// Monotone cubic Hermite with its own limiter on the tangents.
class Cubic {
public:
    explicit Cubic(const Knots& k) : k_(k), m_(static_cast<std::size_t>(k.n)) {
        const int n = k.n;
        std::vector<double> d(static_cast<std::size_t>(n - 1));
        for (int i = 0; i < n - 1; ++i)
            d[i] = (k.v[i + 1] - k.v[i]) / (k.t[i + 1] - k.t[i]);
        if (n == 2) {
            m_[0] = m_[1] = d[0];
            return;
        }
        m_[0] = d[0];
        m_[n - 1] = d[n - 2];
        for (int i = 1; i < n - 1; ++i)
            m_[i] = (d[i - 1] + d[i]) / 2;
        for (int i = 0; i <= n - 3; ++i) {
            if (std::fabs(d[i]) <= tiny)
                m_[i] = m_[i + 1] = 0;
            else if (d[i] * d[i + 1] < 0)
                m_[i + 1] = 0;
        }
        if (std::fabs(d[n - 2]) <= tiny) m_[n - 2] = m_[n - 1] = 0;
        for (int i = 0; i <= n - 2; ++i) {
            if (m_[i] * d[i] < 0) m_[i] = 0;
            if (m_[i + 1] * d[i] < 0) m_[i + 1] = 0;
        }
        std::vector<double> s(static_cast<std::size_t>(n - 1), 1.0);
        for (int i = 0; i <= n - 2; ++i) {
            const double mi = m_[i], mj = m_[i + 1];
            if (std::fabs(mi) + std::fabs(mj) > tiny) {
                const double p = (2 * mi + mj) / (3 * d[i]);
                const double q = (2 * mj + mi) / (3 * d[i]);
                if ((1 - p) * (q - 1) < 0) s[i] = std::max(s[i], std::min(p, q));
            }
            if (std::fabs(d[i]) >= tiny) {
                const double w = 3 * d[i];
                s[i] = std::max(s[i], (mi + mj) / w - std::sqrt(std::max(mi * mj, 0.0)) / std::fabs(w));
            }
        }
        m_[0] /= s[0];
        m_[n - 1] /= s[n - 2];
        for (int i = 1; i < n - 1; ++i)
            m_[i] /= std::max(s[i - 1], s[i]);
    }

    // The value at u (normalised; u never goes back), unclamped between the knots.
    double at(double u) {
        const int n = k_.n;
        if (u < 0) return std::clamp(k_.v[0] + u * m_[0], 0.0, 1.0);
        if (u > 1) return std::clamp(k_.v[n - 1] + (u - 1) * m_[n - 1], 0.0, 1.0);
        while (seg_ < n - 2 && u > k_.t[seg_ + 1])
            ++seg_;
        const double l = k_.t[seg_], r = k_.t[seg_ + 1];
        const double a = (r - u) / (r - l), b = (u - l) / (r - l);
        auto h = [](double z) { return z * z * (3 - 2 * z); };
        auto k = [](double z) { return z * z * (z - 1); };
        return k_.v[seg_] * h(a) + k_.v[seg_ + 1] * h(b) + m_[seg_] * (l - r) * k(a) +
               m_[seg_ + 1] * (r - l) * k(b);
    }

private:
    const Knots& k_;
    std::vector<double> m_;
    int seg_ = 0;
};

// The balanced gamma family through (0,0) and (1,1).
double balanced(double t, double g) {
    if (t <= 0) return 0;
    if (t >= 1) return 1;
    if (g == 0) return 0;
    if (g == 1) return t;
    if (g > 1) return std::pow(1 - std::pow(1 - t, g), 1 / g);
    return 1 - std::pow(1 - std::pow(t, 1 / g), g);
}

// The shape number of the balanced gamma through the middle of three points:
// a bisection of exactly 20 steps.
double balanced_shape(double a, double b) {
    if (b == a) return 1;
    if (b == 0) return 0;
    const bool up = b > a;
    const double c = up ? b : a;
    const double target = up ? a : b;
    double lo = 0, hi = 1;
    for (int step = 0; step < 20; ++step) {
        const double m = (lo + hi) / 2;
        if (balanced(c, m) >= target)
            hi = m;
        else
            lo = m;
    }
    const double m = (lo + hi) / 2;
    return up ? 1 / m : m;
}

// Three points with y[1] at or above both neighbours, or at or below both,
// are a peak or a valley.
bool three_monotonic(const std::int32_t* y) {
    const bool peak = y[1] >= y[0] && y[1] >= y[2];
    const bool valley = y[1] <= y[0] && y[1] <= y[2];
    return !peak && !valley;
}

// The table of `top` + 1 entries on the scale of `top` (255 or 65535), from
// points already on that scale.
template <typename T>
void build_table(int n, const int* x, const int* y, int style, int top, bool power_falls_back,
                 T* table) {
    const int x0 = x[0], xl = x[n - 1];
    const double dx = xl - x0;
    Knots k;
    k.n = n;
    k.t.resize(static_cast<std::size_t>(n));
    k.v.resize(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        k.t[i] = (x[i] - x0) * (1 / dx);
        k.v[i] = y[i] / static_cast<double>(top);
    }
    auto segments = [&](bool interpolate) {
        Segments seg(k, interpolate);
        for (int i = 0; i <= top; ++i)
            table[i] = static_cast<T>(clamp_round(std::clamp(seg.at((i - x0) * (1 / dx)), 0.0, 1.0) * top, top));
    };
    auto cubic = [&] {
        Cubic c(k);
        for (int i = 0; i <= top; ++i) {
            const double v = c.at((i - x0) / dx) * top;
            table[i] = static_cast<T>(std::clamp(static_cast<int>(round_half_away(v)), 0, top));
        }
    };

    if (style == curve_step) return segments(false);
    if (style == curve_linear || n == 2) return segments(true);
    if (n > 3 || !three_monotonic(y) || y[2] == y[0]) return cubic();

    const double dy = y[2] - y[0];
    const double a = (x[1] - x[0]) / dx;
    const double b = (y[1] - y[0]) / dy;
    const int y0 = y[0], y2 = y[2], x2 = x[2];
    if (style == curve_gamma) {
        const double g = std::log(b) / std::log(a);
        if (power_falls_back && (g == 1 || g == 0)) return segments(true);
        for (int i = 0; i <= top; ++i)
            table[i] = static_cast<T>(i < x0 ? y0 : clamp_round(y0 + dy * std::pow((i - x0) / dx, g), top));
        return;
    }
    const double g = balanced_shape(a, b);
    const double sl = 0.5 * dy * (balanced(2 / dx, g) - balanced(0, g));
    const double sh = 0.5 * dy * (balanced(1, g) - balanced(1 - 2 / dx, g));
    for (int i = 0; i <= top; ++i) {
        double v;
        if (i < x0)
            v = y0 + sl * (i - x0);
        else if (i > x2)
            v = y2 + sh * (i - x2);
        else if (g == 1)
            v = y0 + dy * (i - x0) / dx;
        else
            v = y0 + dy * balanced((i - x0) / dx, g);
        table[i] = static_cast<T>(clamp_round(v, top));
    }
}

}  // namespace

void curve_table8(int npts, const std::int32_t* x, const std::int32_t* y, int style,
                  std::uint8_t* table) {
    build_table(npts, x, y, style, 255, true, table);
}

void curve_table16(int npts, const std::int32_t* x, const std::int32_t* y, int style,
                   std::uint16_t* table) {
    int x16[curve_points_max]{}, y16[curve_points_max]{};
    for (int i = 0; i < npts; ++i) {
        x16[i] = to16[static_cast<std::uint8_t>(std::clamp(x[i], 0, 255))];
        y16[i] = to16[static_cast<std::uint8_t>(std::clamp(y[i], 0, 255))];
    }
    build_table(npts, x16, y16, style, 65535, false, table);
}

bool curve_tables(const Curve& curve, std::uint8_t* table8, std::uint16_t* table16) {
    curve_table8(curve.npts, curve.x, curve.y, curve.style, table8);
    curve_table16(curve.npts, curve.x, curve.y, curve.style, table16);
    for (int i = 0; i < 256; ++i)
        if (table8[i] != i) return false;
    return true;
}

// ---------------------------------------------------------------------------
// The model

void curve_update(Curve& curve) {
    curve_table8(curve.npts, curve.x, curve.y, curve.style, curve.lut);
}

void curve_reset(Curve& curve) {
    curve = Curve{};
    curve.npts = 2;
    curve.x[1] = curve.y[1] = 255;
    curve.style = curve_spline;
    curve.histexpand = 0;
    curve_update(curve);
}

bool curve_is_identity(const Curve& curve) {
    for (int i = 0; i < 256; ++i)
        if (curve.lut[i] != i) return false;
    return true;
}

int curve_add_point(Curve& curve, int x, int y) {
    if (curve.npts >= curve_points_max || x < 0 || x > 255) return -1;
    int at = 0;
    while (at < curve.npts && curve.x[at] < x)
        ++at;
    if (at < curve.npts && curve.x[at] == x) return -1;
    for (int i = curve.npts; i > at; --i) {
        curve.x[i] = curve.x[i - 1];
        curve.y[i] = curve.y[i - 1];
    }
    curve.x[at] = x;
    curve.y[at] = std::clamp(y, 0, 255);
    ++curve.npts;
    curve_update(curve);
    return at;
}

bool curve_delete_point(Curve& curve, int index) {
    if (curve.npts < 3 || index < 0 || index >= curve.npts) return false;
    for (int i = index; i < curve.npts - 1; ++i) {
        curve.x[i] = curve.x[i + 1];
        curve.y[i] = curve.y[i + 1];
    }
    --curve.npts;
    curve_update(curve);
    return true;
}

void curve_move_point(Curve& curve, int index, int x, int y) {
    if (index < 0 || index >= curve.npts) return;
    const int low = index > 0 ? curve.x[index - 1] : -1;
    const int high = index < curve.npts - 1 ? curve.x[index + 1] : 256;
    if (high - low >= 2) curve.x[index] = std::clamp(x, low + 1, high - 1);
    curve.y[index] = std::clamp(y, 0, 255);
    curve_update(curve);
}

void curve_invert(Curve& curve) {
    for (int i = 0; i < curve.npts; ++i)
        curve.y[i] = 255 - curve.y[i];
    curve_update(curve);
}

int curve_histogram_mode_y(const Curve& curve, int x) {
    if (x < curve.x[0]) return 0;
    if (x > curve.x[curve.npts - 1]) return 255;
    int r = 1;
    while (r < curve.npts - 1 && curve.x[r] < x)
        ++r;
    const int l = r - 1;
    return curve.y[l] + (curve.y[r] - curve.y[l]) * (x - curve.x[l]) / (curve.x[r] - curve.x[l]);
}

// ---------------------------------------------------------------------------
// Histograms

void CurveHistogram::update_largest() {
    largest = *std::max_element(count.begin(), count.end());
}

double curve_bar_height(std::uint32_t count, int expand) {
    const double c = count;
    switch (expand) {
        case 1:
            return round_half_away(100 * std::pow(c, 0.4));
        case 2:
            return round_half_away(100 * std::pow(c, 0.2));
        case 3:
            return c * 2;
        case 4:
            return c * 5;
        case 5:
            return c * 10;
        default:
            return c;
    }
}

void curve_output_histogram(const CurveHistogram& in, const std::uint8_t* table,
                            CurveHistogram& out) {
    out = CurveHistogram{};
    for (int i = 0; i < 256; ++i) {
        std::uint32_t& c = out.count[table[i]];
        c += in.count[i];
        out.largest = std::max(out.largest, c);
    }
}

// ---------------------------------------------------------------------------
// FloatCurve

void float_curve_reset(FloatCurve& curve) {
    curve = FloatCurve{};
    curve.npts = 2;
    curve.x[1] = curve.y[1] = 1.0;
    curve.style = curve_spline;
}

void float_curve_table(const FloatCurve& curve, std::span<double> table) {
    const int n = curve.npts;
    const double x0 = curve.x[0], dx = curve.x[n - 1] - x0;
    Knots k;
    k.n = n;
    for (int i = 0; i < n; ++i) {
        k.t.push_back((curve.x[i] - x0) * (1 / dx));
        k.v.push_back(curve.y[i]);
    }
    const auto last = static_cast<double>(table.size() - 1);
    if (curve.style == curve_step || curve.style == curve_linear) {
        Segments seg(k, curve.style == curve_linear);
        for (std::size_t i = 0; i < table.size(); ++i)
            table[i] = std::clamp(seg.at((static_cast<double>(i) / last - x0) * (1 / dx)), 0.0, 1.0);
        return;
    }
    Cubic c(k);
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = std::clamp(c.at((static_cast<double>(i) / last - x0) / dx), 0.0, 1.0);
}

// ---------------------------------------------------------------------------
// Colorline

void colorline_reset(Colorline& line) {
    line = Colorline{};
    line.ncolors = 2;
    line.position[1] = 1.0;
    line.colour[1][0] = line.colour[1][1] = line.colour[1][2] = 255;
    line.shape[0] = colorline_line;
    line.space[0] = colorline_rgb;
}

namespace {

// One bit depth of the colour ramp: its samples and its conversions.
struct Ramp8 {
    using T = std::uint8_t;
    static constexpr int hue_turn = 4096;
    static int sample(std::uint8_t v) { return v; }
    static void to_hsv(int r, int g, int b, int& h, int& s, int& v) { rgb_to_hsv8(r, g, b, h, s, v); }
    static void from_hsv(int h, int s, int v, int& r, int& g, int& b) { hsv_to_rgb8(h, s, v, r, g, b); }
    static void to_hsl(int r, int g, int b, int& h, int& s, int& l) { rgb_to_hsl8(r, g, b, h, s, l); }
    static void from_hsl(int h, int s, int l, int& r, int& g, int& b) { hsl_to_rgb8(h, s, l, r, g, b); }
};
struct Ramp16 {
    using T = std::uint16_t;
    static constexpr int hue_turn = 65536;
    static int sample(std::uint8_t v) { return to16[v]; }
    static void to_hsv(int r, int g, int b, int& h, int& s, int& v) { rgb_to_hsv16(r, g, b, h, s, v); }
    static void from_hsv(int h, int s, int v, int& r, int& g, int& b) { hsv_to_rgb16(h, s, v, r, g, b); }
    static void to_hsl(int r, int g, int b, int& h, int& s, int& l) { rgb_to_hsl16(r, g, b, h, s, l); }
    static void from_hsl(int h, int s, int l, int& r, int& g, int& b) { hsl_to_rgb16(h, s, l, r, g, b); }
};

int move_by(int from, int to, double w) {
    return from + static_cast<int>(round_half_away(w * (to - from)));
}

template <typename Ramp>
void ramp_colour(const Colorline& line, int k, double x, double pl, double pr,
                 typename Ramp::T* out) {
    int a[3], b[3];
    for (int c = 0; c < 3; ++c) {
        a[c] = Ramp::sample(line.colour[k][c]);
        b[c] = Ramp::sample(line.colour[k + 1][c]);
    }
    auto put = [out](const int* c) {
        for (int i = 0; i < 3; ++i)
            out[i] = static_cast<typename Ramp::T>(c[i]);
    };
    double w = 0;
    switch (line.shape[k]) {
        case colorline_lstep:
            return put(x == pl ? a : b);
        case colorline_cstep:
            return put(x <= (pl + pr) / 2 ? a : b);
        case colorline_rstep:
            return put(x == pr ? b : a);
        case colorline_sine:
            w = pr > pl ? 0.5 * (1 - std::cos(3.1415926536 * (x - pl) / (pr - pl))) : 1.0;
            break;
        default:
            w = pr > pl ? (x - pl) / (pr - pl) : 1.0;
            break;
    }
    const int space = line.space[k];
    if (space != colorline_hsvcw && space != colorline_hsvccw && space != colorline_hslcw &&
        space != colorline_hslccw) {
        int c[3];
        for (int i = 0; i < 3; ++i)
            c[i] = move_by(a[i], b[i], w);
        return put(c);
    }
    const bool hsv = space == colorline_hsvcw || space == colorline_hsvccw;
    const bool clockwise = space == colorline_hsvcw || space == colorline_hslcw;
    int ah, as, av, bh, bs, bv;
    if (hsv) {
        Ramp::to_hsv(a[0], a[1], a[2], ah, as, av);
        Ramp::to_hsv(b[0], b[1], b[2], bh, bs, bv);
    } else {
        Ramp::to_hsl(a[0], a[1], a[2], ah, as, av);
        Ramp::to_hsl(b[0], b[1], b[2], bh, bs, bv);
    }
    if (clockwise && ah >= bh) bh += Ramp::hue_turn;
    if (!clockwise && ah <= bh) ah += Ramp::hue_turn;
    const int h = move_by(ah, bh, w) & (Ramp::hue_turn - 1);
    const int s = move_by(as, bs, w), v = move_by(av, bv, w);
    int c[3];
    if (hsv)
        Ramp::from_hsv(h, s, v, c[0], c[1], c[2]);
    else
        Ramp::from_hsl(h, s, v, c[0], c[1], c[2]);
    put(c);
}

template <typename Ramp>
void ramp_table(const Colorline& line, int n, double width, typename Ramp::T* rgb) {
    if (width <= 0) width = n - 1;
    int k = 0;
    for (int i = 0; i < n; ++i) {
        const double x = i * width / (n - 1);
        while (k < line.ncolors - 2 && x > line.position[k + 1] * width)
            ++k;
        ramp_colour<Ramp>(line, k, x, line.position[k] * width, line.position[k + 1] * width,
                          rgb + 3 * i);
    }
}

}  // namespace

void colorline_table8(const Colorline& line, int n, double width, std::uint8_t* rgb) {
    ramp_table<Ramp8>(line, n, width, rgb);
}

void colorline_table16(const Colorline& line, int n, double width, std::uint16_t* rgb) {
    ramp_table<Ramp16>(line, n, width, rgb);
}

// ---------------------------------------------------------------------------
// Files

namespace {

constexpr SettingsKeyword<Curve> curve_keywords[] = {
    settings_count<&Curve::npts>("npts %d"),
    settings_word<&Curve::style, curve_style_words>("style %s"),
    settings_value<&Curve::histexpand>("histexpand %d"),
    settings_repeat<&Curve::npts, &Curve::x, &Curve::y>("point %d %d %d"),
};

constexpr SettingsKeyword<FloatCurve> float_curve_keywords[] = {
    settings_count<&FloatCurve::npts>("npts %d"),
    settings_word<&FloatCurve::style, curve_style_words>("style %s"),
    settings_repeat<&FloatCurve::npts, &FloatCurve::x, &FloatCurve::y>("point %d %4f %4f"),
};

// Colours are written as 0..1 and read back as round(value·255).
SettingsKeyword<Colorline> colour_row() {
    SettingsKeyword<Colorline> row{"color %d %f %f %f %f"};
    row.line = SettingsLine::repeated;
    row.capacity = curve_points_max;
    row.lines = [](const Colorline& l) { return static_cast<int>(l.ncolors); };
    row.put = [](const Colorline& l, int i, SettingsArgs& args) {
        args.emplace_back(l.position[i]);
        for (int c = 0; c < 3; ++c)
            args.emplace_back(l.colour[i][c] / 255.0);
    };
    row.get = [](Colorline& l, int i, const SettingsValues& values) {
        l.position[i] = values.real(0);
        for (int c = 0; c < 3; ++c)
            l.colour[i][c] = static_cast<std::uint8_t>(
                std::clamp(static_cast<int>(round_half_away(values.real(c + 1) * 255)), 0, 255));
    };
    return row;
}

// A transition between colour i and i + 1: no line after the last colour.
SettingsKeyword<Colorline> transition_row() {
    SettingsKeyword<Colorline> row{"transition %d %s %s"};
    row.line = SettingsLine::joined;
    row.capacity = curve_points_max - 1;
    row.lines = [](const Colorline& l) { return static_cast<int>(l.ncolors) - 1; };
    row.put = [](const Colorline& l, int i, SettingsArgs& args) {
        const int shape = std::clamp(static_cast<int>(l.shape[i]), 0, 4);
        const int space = std::clamp(static_cast<int>(l.space[i]) - colorline_rgb, 0, 4);
        args.emplace_back(colorline_shape_words[shape]);
        args.emplace_back(colorline_space_words[space]);
    };
    row.get = [](Colorline& l, int i, const SettingsValues& values) {
        const int shape = values.word(0, colorline_shape_words);
        const int space = values.word(1, colorline_space_words);
        if (shape >= 0) l.shape[i] = shape;
        if (space >= 0) l.space[i] = space + colorline_rgb;
    };
    return row;
}

const SettingsKeyword<Colorline> colorline_keywords[] = {
    settings_count<&Colorline::ncolors>("ncolors %d"),
    colour_row(),
    transition_row(),
};

}  // namespace

const SettingsFormat<Curve> curve_file_format{
    {"Curve 1.0", ".crv", "Load Curve", "Save Curve", "Curve Files",
     "curve files must have an extension of .crv", 16},
    curve_keywords};

const SettingsFormat<FloatCurve> float_curve_file_format{
    {"Curve 1.0", ".fcrv", "Load Curve", "Save Curve", "Curve Files",
     "curve files must have an extension of .fcrv", 16},
    float_curve_keywords};

const SettingsFormat<Colorline> colorline_file_format{
    {"Colorline 1.0", ".cln", "Load Color Line", "Save Color Line", "Color Line Files",
     "Color balance files must have an extension of .cln", 15},
    colorline_keywords};

namespace {

// A file whose points cannot make a table is refused rather than left to
// divide by zero: fewer than 2 points or x not strictly increasing.
template <typename X>
bool points_usable(int n, const X* x) {
    if (n < 2 || n > curve_points_max) return false;
    for (int i = 1; i < n; ++i)
        if (!(x[i] > x[i - 1])) return false;
    return true;
}

}  // namespace

int curve_load(const std::string& path, Curve& curve) {
    if (int err = settings_load_file(path, curve_file_format, curve)) return err;
    if (!points_usable(curve.npts, curve.x)) return curve_file_format.info.bad_file_code;
    for (int i = 0; i < curve.npts; ++i) {
        if (curve.x[i] < 0 || curve.x[i] > 255) return curve_file_format.info.bad_file_code;
        curve.y[i] = std::clamp(curve.y[i], 0, 255);
    }
    curve_update(curve);
    return 0;
}

int curve_save(const std::string& path, const Curve& curve) {
    return settings_save_file(path, curve_file_format, curve);
}

int float_curve_load(const std::string& path, FloatCurve& curve) {
    if (int err = settings_load_file(path, float_curve_file_format, curve)) return err;
    return points_usable(curve.npts, curve.x) ? 0 : float_curve_file_format.info.bad_file_code;
}

int float_curve_save(const std::string& path, const FloatCurve& curve) {
    return settings_save_file(path, float_curve_file_format, curve);
}

int colorline_load(const std::string& path, Colorline& line) {
    if (int err = settings_load_file(path, colorline_file_format, line)) return err;
    if (line.ncolors < 2 || line.ncolors > curve_points_max)
        return colorline_file_format.info.bad_file_code;
    return 0;
}

int colorline_save(const std::string& path, const Colorline& line) {
    return settings_save_file(path, colorline_file_format, line);
}
