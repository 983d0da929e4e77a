#include "transform/result_view.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/tables.h"
#include "transform/line_bands.h"

namespace {

// The part of `input` from x0, y0 of w by h pixels, copied.
int crop(const Image* input, int x0, int y0, int w, int h, Image* out) {
    if (int err = image_alloc(out, input->type, w, h, input->resolution)) return err;
    const int bytes = image_line_bytes(out);
    const int offset = image_line_bytes(input) / input->width * x0;
    for (int y = 0; y < h; ++y)
        std::copy_n(input->rows[y0 + y] + offset, bytes, out->rows[y]);
    return 0;
}

template <typename T>
int put_lines(const ComputeArgs& args, const Image* input, const Image* result, int result_x,
              int result_y, int shown, const AmountStrength& strength, const Image* mask,
              bool rounded16, const char* title, int ch) {
    const int n = args.line_width;
    const int step = args.zoom < 0 ? -args.zoom : 1;
    const bool sixteen_out = sizeof(T) == 2 && args.apply;
    const int view = args.apply ? result_after : shown;
    return transform_for_bands(args, title, [&](int first, int count) {
        LineSource centre, denoised, mask_lines;
        LineSink sink;
        line_source_init(&centre);
        line_source_init(&denoised);
        line_source_init(&mask_lines);
        line_sink_init(&sink);
        const int y0 = args.source_y + first * step;
        int err = line_source_open(input, args.source_x, y0, args.zoom, n, &centre);
        if (!err)
            err = line_source_open(result, args.source_x - result_x, y0 - result_y, args.zoom, n,
                                   &denoised);
        if (!err && mask)
            err = line_source_open(mask, args.source_x, y0, args.zoom, n, &mask_lines);
        if (!err) err = band_sink_open(args, first, &sink);
        std::vector<std::int32_t> values(static_cast<std::size_t>(n) * ch);
        std::vector<std::uint8_t> scratch;
        for (int line = 0; !err && line < count; ++line) {
            const T* c = reinterpret_cast<const T*>(line_source_next(&centre));
            const T* d = reinterpret_cast<const T*>(line_source_next(&denoised));
            const std::uint8_t* m = mask ? line_source_next(&mask_lines) : nullptr;
            std::uint8_t* out = line_sink_line(&sink);
            if (view == result_difference) {
                for (int i = 0; i < n * ch; ++i) {
                    const int a = sizeof(T) == 1 ? d[i] : to8[d[i]];
                    const int b = sizeof(T) == 1 ? c[i] : to8[c[i]];
                    out[i] = static_cast<std::uint8_t>(clamp8(128 + 4 * (a - b)));
                }
            } else if (sixteen_out && rounded16 && !strength.full()) {
                T* o = reinterpret_cast<T*>(out);
                for (int i = 0; i < n; ++i) {
                    const int s =
                        m && strength.masked() ? lerp8(strength.a, strength.b, m[i]) : strength.a;
                    for (int k = i * ch; k < i * ch + ch; ++k)
                        o[k] = static_cast<T>(((255 - s) * c[k] + s * d[k] + 127) >> 8);
                }
            } else {
                for (int i = 0; i < n * ch; ++i)
                    values[i] = view == result_before ? c[i] : d[i];
                band_line_finish<T>(args, values.data(), c, n, ch,
                                    view == result_before ? AmountStrength{255, -1} : strength,
                                    strength.masked() ? m : nullptr, out, scratch);
            }
            line_sink_commit(&sink);
        }
        line_sink_close(&sink);
        line_source_close(&mask_lines);
        line_source_close(&denoised);
        line_source_close(&centre);
        return err;
    });
}

}  // namespace

int result_source(const ComputeArgs& args, const Image* input, int margin, ImageHolder& part,
                  const Image*& source, int& x0, int& y0) {
    const int step = args.zoom < 0 ? -args.zoom : 1;
    if (args.apply) margin = 0;
    x0 = std::max(0, args.source_x - margin);
    y0 = std::max(0, args.source_y - margin);
    const int x1 = std::min(input->width, args.source_x + args.line_width * step + margin);
    const int y1 = std::min(input->height, args.source_y + args.line_count * step + margin);
    source = input;
    if (x0 == 0 && y0 == 0 && x1 == input->width && y1 == input->height) return 0;
    source = part.get();
    return crop(input, x0, y0, x1 - x0, y1 - y0, part.get());
}

int result_put_lines(const ComputeArgs& args, const Image* input, const Image* result, int x0,
                     int y0, int view, const AmountStrength& strength, const Image* mask,
                     bool rounded16, const char* title) {
    const int type = input->type;
    const int ch = type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
    return type == image_type_gray16 || type == image_type_colour16
               ? put_lines<std::uint16_t>(args, input, result, x0, y0, view, strength, mask,
                                          rounded16, title, ch)
               : put_lines<std::uint8_t>(args, input, result, x0, y0, view, strength, mask,
                                         rounded16, title, ch);
}

std::uint64_t image_fingerprint(const Image* image) {
    std::uint64_t h = 1469598103934665603ull;
    const int bytes = image_line_bytes(image);
    for (int y = 0; y < image->height; ++y) {
        const std::uint8_t* row = image->rows[y];
        for (int i = 0; i + 8 <= bytes; i += 8) {
            std::uint64_t word;
            std::memcpy(&word, row + i, 8);
            h = (h ^ word) * 1099511628211ull;
        }
        for (int i = bytes & ~7; i < bytes; ++i)
            h = (h ^ row[i]) * 1099511628211ull;
    }
    return h;
}

bool ResultCache::holds(const Image* part, int part_x0, int part_y0, const std::string& key) {
    if (image.get()->type != 0 && x0 == part_x0 && y0 == part_y0 && width == part->width &&
        height == part->height && type == part->type && settings == key &&
        source == image_fingerprint(part))
        return true;
    image_free(image.get());
    return false;
}

void ResultCache::keep(const Image* part, int part_x0, int part_y0, const std::string& key) {
    source = image_fingerprint(part);
    x0 = part_x0;
    y0 = part_y0;
    width = part->width;
    height = part->height;
    type = part->type;
    settings = key;
}
