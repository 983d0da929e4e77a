#include "transform/detail_stages.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "core/colour.h"
#include "core/errors.h"
#include "core/parallel.h"
#include "core/tables.h"
#include "transform/box_filter.h"

namespace {

int channels_of(int type) {
    return type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
}

bool wide(int type) {
    return type == image_type_gray16 || type == image_type_colour16;
}

bool accepted(int type) {
    return type == image_type_gray8 || type == image_type_colour8 || type == image_type_gray16 ||
           type == image_type_colour16;
}

int level8(int v, bool sixteen) {
    return sixteen ? to8[std::min(v, 65535)] : v;
}

struct Speck {
    int x, y, c, value;
};

// The specks of lines y0 .. y1 - 1, in line order.
template <typename T>
void find_specks(const Image* in, const SpeckSettings& s, int y0, int y1,
                 std::vector<Speck>& found) {
    const int ch = channels_of(in->type), w = in->width, n = s.size;
    const int lo = (n - 1) / 2, hi = n / 2;  // the square: x - lo .. x + hi
    const bool sixteen = sizeof(T) == 2;
    const int ring_count = 4 * n + 4;
    auto at = [&](int x, int y, int c) {
        return static_cast<int>(reinterpret_cast<const T*>(in->rows[y])[x * ch + c]);
    };
    for (int y = y0; y < y1; ++y)
        for (int x = lo + 1; x < w - hi - 1; ++x)
            for (int c = 0; c < ch; ++c) {
                int smallest = at(x - lo - 1, y - lo - 1, c), largest = smallest, sum = 0;
                bool flat = true;
                auto take = [&](int v) {
                    smallest = std::min(smallest, v);
                    largest = std::max(largest, v);
                    sum += v;
                    flat = level8(largest - smallest, sixteen) <= s.flat;
                };
                for (int i = -lo - 1; flat && i <= hi + 1; ++i) {
                    take(at(x + i, y - lo - 1, c));
                    take(at(x + i, y + hi + 1, c));
                }
                for (int j = -lo; flat && j <= hi; ++j) {
                    take(at(x - lo - 1, y + j, c));
                    take(at(x + hi + 1, y + j, c));
                }
                if (!flat) continue;
                int inner = 0;
                for (int j = -lo; j <= hi; ++j)
                    for (int i = -lo; i <= hi; ++i)
                        inner += at(x + i, y + j, c);
                const int ring = sum / ring_count, centre = inner / (n * n);
                if (level8(std::abs(centre - ring), sixteen) < 255 - s.difference) continue;
                if (centre > ring ? s.white : s.black) found.push_back({x, y, c, ring});
            }
}

template <typename T>
int remove_specks(const Image* in, Image* out, const SpeckSettings& s) {
    if (int err = image_alloc_like(in, out)) return err;
    const int h = in->height, ch = channels_of(in->type);
    for (int y = 0; y < h; ++y)
        std::copy_n(in->rows[y], image_line_bytes(in), out->rows[y]);
    const int n = std::clamp(s.size, 1, 15);
    SpeckSettings settings = s;
    settings.size = n;
    const int first = (n - 1) / 2 + 1, last = h - n / 2 - 1;  // lines whose ring fits
    if (last <= first || (!s.white && !s.black)) return 0;
    const int bands = std::min(parallel_threads() * 4, last - first);
    std::vector<std::vector<Speck>> found(static_cast<std::size_t>(bands));
    parallel_for(bands, [&](int b) {
        const int y0 = first + static_cast<int>(std::int64_t{last - first} * b / bands);
        const int y1 = first + static_cast<int>(std::int64_t{last - first} * (b + 1) / bands);
        find_specks<T>(in, settings, y0, y1, found[static_cast<std::size_t>(b)]);
    });
    // In line order whatever the bands, so that overlapping squares end the
    // same on any thread count.
    const int lo = (n - 1) / 2, hi = n / 2;
    for (const auto& band : found)
        for (const Speck& speck : band)
            for (int j = -lo; j <= hi; ++j)
                for (int i = -lo; i <= hi; ++i)
                    reinterpret_cast<T*>(out->rows[speck.y + j])[(speck.x + i) * ch + speck.c] =
                        static_cast<T>(speck.value);
    return 0;
}

// What moves in a pixel of 3 samples: its chroma at full value, or its value.
template <typename T>
void split_line(const T* c, T* part, int n, StagePart what) {
    const int top = sizeof(T) == 1 ? 255 : 65535;
    for (int i = 0; i < n; ++i) {
        const int v = max3(c[3 * i], c[3 * i + 1], c[3 * i + 2]);
        if (what == StagePart::value) {
            part[i] = static_cast<T>(v);
            continue;
        }
        for (int k = 3 * i; k < 3 * i + 3; ++k)
            part[k] = static_cast<T>(v ? (std::int64_t{c[k]} * top + v / 2) / v : top);
    }
}

template <typename T>
void join_line(const T* c, const std::int32_t* moved, T* out, int n, StagePart what) {
    const int top = sizeof(T) == 1 ? 255 : 65535;
    for (int i = 0; i < n; ++i) {
        int b = c[3 * i], g = c[3 * i + 1], r = c[3 * i + 2];
        const int v = max3(r, g, b);
        if (what == StagePart::value) {
            scale_to_value(r, g, b, v, moved[i]);
        } else {
            b = static_cast<int>((std::int64_t{moved[3 * i]} * v + top / 2) / top);
            g = static_cast<int>((std::int64_t{moved[3 * i + 1]} * v + top / 2) / top);
            r = static_cast<int>((std::int64_t{moved[3 * i + 2]} * v + top / 2) / top);
        }
        out[3 * i] = static_cast<T>(b);
        out[3 * i + 1] = static_cast<T>(g);
        out[3 * i + 2] = static_cast<T>(r);
    }
}

template <typename T>
int stage(const Image* in, Image* out, const ThresholdedStage& st) {
    const bool sixteen = sizeof(T) == 2;
    const int low = sixteen ? to16[std::clamp(st.low, 0, 255)] : st.low;
    const int high = sixteen ? to16[std::clamp(st.high, 0, 255)] : st.high;
    const int w = in->width, h = in->height;
    const StagePart what = channels_of(in->type) == 3 ? st.part : StagePart::all;
    // The picture that moves: the input itself, or its chroma or value.
    ImageHolder part_image, mean;
    const Image* moving = in;
    if (what != StagePart::all) {
        const int part_type =
            what == StagePart::value ? (sixteen ? image_type_gray16 : image_type_gray8) : in->type;
        if (int err = image_alloc(part_image.get(), part_type, w, h, in->resolution)) return err;
        parallel_for(h, [&](int y) {
            split_line(reinterpret_cast<const T*>(in->rows[y]),
                       reinterpret_cast<T*>(part_image->rows[y]), w, what);
        });
        moving = part_image.get();
    }
    if (int err = thresholded_mean_image(moving, std::max(st.radius, 0), high, mean.get()))
        return err;
    if (int err = image_alloc_like(in, out)) return err;
    const int ch = channels_of(moving->type);
    parallel_for(h, [&](int y) {
        std::vector<std::int32_t> moved(static_cast<std::size_t>(w) * ch);
        thresholded_push_line(reinterpret_cast<const T*>(moving->rows[y]),
                              reinterpret_cast<const T*>(mean->rows[y]), w, ch, low, st.factor,
                              moved.data());
        T* o = reinterpret_cast<T*>(out->rows[y]);
        if (what == StagePart::all)
            std::copy(moved.begin(), moved.end(), o);
        else
            join_line(reinterpret_cast<const T*>(in->rows[y]), moved.data(), o, w, what);
    });
    return 0;
}

}  // namespace

int speck_removal_image(const Image* input, Image* output, const SpeckSettings& s) {
    if (!accepted(input->type)) return err_illegal_type;
    return wide(input->type) ? remove_specks<std::uint16_t>(input, output, s)
                             : remove_specks<std::uint8_t>(input, output, s);
}

int thresholded_stage_image(const Image* input, Image* output, const ThresholdedStage& st) {
    if (!accepted(input->type)) return err_illegal_type;
    return wide(input->type) ? stage<std::uint16_t>(input, output, st)
                             : stage<std::uint8_t>(input, output, st);
}
