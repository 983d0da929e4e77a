#include "core/line_access.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/tables.h"

namespace {

// Bytes of one delivered pixel: binary images arrive as one byte a pixel;
// the types that are not pictures deliver nothing.
int delivered_pixel_bytes(int type) {
    if (type == image_type_binary) return 1;
    return type <= image_type_colour16 ? image_pixel_step(type) : 0;
}

int clamp_int(int v, int lo, int hi) {
    return v < lo ? lo : (v > hi ? hi : v);
}

// Copies `count` pixels of `Bytes` bytes, starting at pixel `x` and stepping `step`.
template <int Bytes>
void gather_pixels(const std::uint8_t* line, int x, int step, int count, std::uint8_t* out) {
    const std::uint8_t* p = line + static_cast<std::ptrdiff_t>(x) * Bytes;
    const std::ptrdiff_t advance = static_cast<std::ptrdiff_t>(step) * Bytes;
    for (int i = 0; i < count; ++i, p += advance, out += Bytes)
        std::memcpy(out, p, Bytes);
}

void gather_bits(const std::uint8_t* line, int x, int step, int count, std::uint8_t* out) {
    for (int i = 0; i < count; ++i, x += step)
        out[i] = image_bit_get(line, x) ? 255 : 0;
}

void gather_line(int type, const std::uint8_t* line, int x, int step, int count,
                 std::uint8_t* out) {
    switch (type) {
        case image_type_binary:
            gather_bits(line, x, step, count, out);
            break;
        case image_type_gray8:
            gather_pixels<1>(line, x, step, count, out);
            break;
        case image_type_colour8:
            gather_pixels<3>(line, x, step, count, out);
            break;
        case image_type_gray16:
            gather_pixels<2>(line, x, step, count, out);
            break;
        case image_type_colour16:
            gather_pixels<6>(line, x, step, count, out);
            break;
        default:
            break;
    }
}

// Copies pixels first .. first + n - 1 of a line, each pixel number limited to
// 0..width-1, so that edges repeat outward. Runs inside the line are one memcpy.
void copy_clamped_span(int type, const std::uint8_t* line, int width, int first, int n,
                       std::uint8_t* out) {
    if (type == image_type_binary) {
        for (int i = 0; i < n; ++i)
            out[i] = image_bit_get(line, clamp_int(first + i, 0, width - 1)) ? 255 : 0;
        return;
    }
    const int bytes = delivered_pixel_bytes(type);
    int i = 0;
    for (; i < n && first + i < 0; ++i, out += bytes)
        std::memcpy(out, line, bytes);
    const int inside_end = std::min(n, width - first);
    if (inside_end > i) {
        const std::size_t run = static_cast<std::size_t>(inside_end - i) * bytes;
        std::memcpy(out, line + static_cast<std::ptrdiff_t>(first + i) * bytes, run);
        out += run;
        i = inside_end;
    }
    const std::uint8_t* last = line + static_cast<std::ptrdiff_t>(width - 1) * bytes;
    for (; i < n; ++i, out += bytes)
        std::memcpy(out, last, bytes);
}

}  // namespace

void line_source_init(LineSource* source) {
    *source = LineSource{};
}

int line_source_open(const Image* image, int x, int y, int zoom, int count, LineSource* source) {
    line_source_close(source);
    source->image = image;
    source->x = x;
    source->y = y;
    source->step = zoom < 0 ? -zoom : 1;
    source->count = count;
    const int type = image->type;
    const bool in_place = source->step == 1 && type != image_type_binary;
    if (in_place) return 0;
    const std::size_t bytes = static_cast<std::size_t>(std::max(count, 0)) *
                              static_cast<std::size_t>(delivered_pixel_bytes(type));
    if (bytes == 0) return 0;  // an unknown type delivers nothing
    source->buffer = static_cast<std::uint8_t*>(std::malloc(bytes));
    return source->buffer ? 0 : 1;
}

const std::uint8_t* line_source_next(LineSource* source) {
    const Image* image = source->image;
    const int line_number = clamp_int(source->y, 0, image->height - 1);
    source->y += source->step;
    const int type = image->type;
    const std::uint8_t* line = image->rows[line_number];
    if (source->buffer == nullptr) {
        const int bytes = delivered_pixel_bytes(type);
        return bytes ? line + static_cast<std::ptrdiff_t>(source->x) * bytes : nullptr;
    }
    gather_line(type, line, source->x, source->step, source->count, source->buffer);
    return source->buffer;
}

void line_source_close(LineSource* source) {
    std::free(source->buffer);
    source->buffer = nullptr;
}

void neighbour_source_init(NeighbourSource* source) {
    *source = NeighbourSource{};
}

int neighbour_source_open(const Image* image, int x, int y, int zoom, int count, int radius,
                          NeighbourSource* source) {
    neighbour_source_close(source);
    source->image = image;
    source->x = x;
    source->y = y;
    source->step = zoom < 0 ? -zoom : 1;
    source->count = count;
    source->radius = radius;
    const int type = image->type;
    const int window = 2 * radius + 1;
    const int span = count * source->step + 2 * radius;
    const int start = x - radius;
    int pixels = 0;
    if (type != image_type_binary && start >= 0 && start + span <= image->width) {
        source->mode = 0;
        source->stride = source->step;
    } else {
        source->mode = source->step > window ? 2 : 1;
        pixels = source->mode == 2 ? count * window : span;
        source->stride = std::min(source->step, window);
    }
    int bytes = pixels;
    switch (type) {
        case image_type_colour8:
            bytes *= 3;
            source->stride *= 3;
            break;
        case image_type_gray16:
            bytes *= 2;
            break;
        case image_type_colour16:
            bytes *= 6;
            source->stride *= 3;
            break;
        default:
            break;
    }
    source->buffer_bytes = bytes;

    source->lines = static_cast<std::uint8_t**>(std::calloc(window, sizeof(std::uint8_t*)));
    if (source->lines == nullptr) return 1;
    if (source->mode != 0) {
        for (int k = 0; k < window; ++k) {
            source->lines[k] = static_cast<std::uint8_t*>(std::malloc(std::max(bytes, 1)));
            if (source->lines[k] == nullptr) {
                neighbour_source_close(source);
                return 1;
            }
        }
    }
    return 0;
}

std::uint8_t* const* neighbour_source_next(NeighbourSource* source) {
    const Image* image = source->image;
    const int last_line = image->height - 1;
    const int centre = clamp_int(source->y, 0, last_line);
    source->y += source->step;
    const int type = image->type;
    const int radius = source->radius;
    const int window = 2 * radius + 1;
    const int start = source->x - radius;
    const int bytes = delivered_pixel_bytes(type);
    for (int k = 0; k < window; ++k) {
        const std::uint8_t* line = image->rows[clamp_int(centre - radius + k, 0, last_line)];
        switch (source->mode) {
            case 0:
                source->lines[k] =
                    const_cast<std::uint8_t*>(line) + static_cast<std::ptrdiff_t>(start) * bytes;
                break;
            case 1:
                copy_clamped_span(type, line, image->width, start,
                                  source->count * source->step + 2 * radius, source->lines[k]);
                break;
            default: {
                std::uint8_t* out = source->lines[k];
                const std::ptrdiff_t block = static_cast<std::ptrdiff_t>(window) * bytes;
                for (int i = 0; i < source->count; ++i, out += block)
                    copy_clamped_span(type, line, image->width, start + i * source->step, window,
                                      out);
                break;
            }
        }
    }
    return source->lines;
}

void neighbour_source_close(NeighbourSource* source) {
    if (source->lines) {
        if (source->mode != 0)
            for (int k = 0; k < 2 * source->radius + 1; ++k)
                std::free(source->lines[k]);
        std::free(source->lines);
    }
    source->lines = nullptr;
}

void line_sink_init(LineSink* sink) {
    *sink = LineSink{};
}

int line_sink_open(Image* image, int zoom, int x_first, int x_last, int y_first, bool apply,
                   LineSink* sink) {
    line_sink_close(sink);
    sink->image = image;
    sink->zoom = zoom >= 2 ? zoom : 1;
    sink->x_first = x_first;
    sink->x_last = x_last;
    sink->row_bytes = image->row_bytes;
    sink->y = y_first;
    sink->apply = apply;
    switch (image->type) {
        case image_type_binary:
            sink->offset = x_first / 8;
            break;
        case image_type_colour8:
            sink->offset = x_first * 3;
            break;
        case image_type_gray16:
            sink->offset = x_first * 2;
            break;
        case image_type_colour16:
            sink->offset = x_first * 6;
            break;
        default:
            sink->offset = x_first;
            break;
    }
    if (sink->zoom != 1) {
        sink->buffer = static_cast<std::uint8_t*>(std::malloc(std::max(sink->row_bytes, 1)));
        if (sink->buffer == nullptr) return 1;
    }
    return 0;
}

std::uint8_t* line_sink_line(LineSink* sink) {
    if (sink->buffer) return sink->buffer;
    if (sink->y >= sink->image->height) {
        // A routine asked for one line more than the region holds: hand it a
        // scratch line that commit discards.
        sink->buffer = static_cast<std::uint8_t*>(std::malloc(std::max(sink->row_bytes, 1)));
        if (sink->buffer) return sink->buffer;
    }
    return sink->image->rows[sink->y] + sink->offset;
}

namespace {

template <int Bytes>
void expand_pixels(const std::uint8_t* buffer, std::uint8_t* line, int x_first, int x_last,
                   int zoom, int width) {
    int d = x_first;
    for (int s = 0; d <= x_last; ++s) {
        const std::uint8_t* src =
            buffer + static_cast<std::ptrdiff_t>(std::min(s, width - 1)) * Bytes;
        for (int r = 0; r < zoom && d <= x_last; ++r, ++d)
            std::memcpy(line + static_cast<std::ptrdiff_t>(d) * Bytes, src, Bytes);
    }
}

void expand_bits(const std::uint8_t* buffer, std::uint8_t* line, int x_first, int x_last, int zoom,
                 int width) {
    int d = x_first;
    for (int s = 0; d <= x_last; ++s) {
        const bool on = image_bit_get(buffer, std::min(s, width - 1));
        for (int r = 0; r < zoom && d <= x_last; ++r, ++d) {
            if (on)
                image_bit_set(line, d);
            else
                image_bit_clear(line, d);
        }
    }
}

}  // namespace

void line_sink_commit(LineSink* sink) {
    Image* image = sink->image;
    if (sink->y >= image->height) return;
    const int line_number = sink->y;
    sink->y += sink->zoom;
    if (sink->zoom == 1) return;
    std::uint8_t* line = image->rows[line_number];
    const int zoom = sink->zoom;
    const int width = image->width;
    int b = 0;
    switch (image->type) {
        case image_type_binary:
            expand_bits(sink->buffer, line, sink->x_first, sink->x_last, zoom, width);
            b = sink->x_last / 8 - sink->x_first / 8 + 1;
            break;
        case image_type_gray8:
            expand_pixels<1>(sink->buffer, line, sink->x_first, sink->x_last, zoom, width);
            b = sink->x_last - sink->x_first + 1;
            break;
        case image_type_colour8:
            expand_pixels<3>(sink->buffer, line, sink->x_first, sink->x_last, zoom, width);
            b = 3 * (sink->x_last - sink->x_first + 1);
            break;
        case image_type_gray16:
            // A preview writes 8-bit data and an apply runs at zoom 1, so 16-bit
            // data never gets here in practice; the byte counts stay as for gray 8.
            expand_pixels<2>(sink->buffer, line, sink->x_first, sink->x_last, zoom, width);
            b = sink->x_last - sink->x_first + 1;
            break;
        case image_type_colour16:
            expand_pixels<6>(sink->buffer, line, sink->x_first, sink->x_last, zoom, width);
            b = 0;
            break;
        default:
            break;
    }
    if (sink->offset + b >= sink->row_bytes) b = sink->row_bytes - sink->offset;
    if (b <= 0) return;
    const std::uint8_t* from = line + sink->offset;
    for (int i = 1; i < zoom && line_number + i < image->height; ++i)
        std::memcpy(image->rows[line_number + i] + sink->offset, from, b);
}

void line_sink_close(LineSink* sink) {
    std::free(sink->buffer);
    sink->buffer = nullptr;
}

AmountStrength amount_strength(int amount_low, int amount_high) {
    AmountStrength s;
    s.a = (amount_low * 255 + 512) / 1024;
    s.b = amount_high >= 0 ? (amount_high * 255 + 512) / 1024 : -1;
    return s;
}

void amount_blend_line8(const std::uint8_t* input, std::uint8_t* result, int count, int samples,
                        const AmountStrength& strength, const std::uint8_t* mask) {
    if (mask == nullptr || strength.b < 0) {
        const int a = strength.a;
        const int n = count * samples;
        for (int i = 0; i < n; ++i)
            result[i] = static_cast<std::uint8_t>(lerp8(input[i], result[i], a));
        return;
    }
    for (int p = 0; p < count; ++p) {
        const int amount = lerp8(strength.a, strength.b, mask[p]);
        for (int c = 0; c < samples; ++c, ++input, ++result)
            *result = static_cast<std::uint8_t>(lerp8(*input, *result, amount));
    }
}

void amount_blend_line16(const std::uint16_t* input, std::uint16_t* result, int count, int samples,
                         const AmountStrength& strength, const std::uint8_t* mask) {
    if (mask == nullptr || strength.b < 0) {
        const int a = strength.a;
        const int n = count * samples;
        for (int i = 0; i < n; ++i)
            result[i] = static_cast<std::uint16_t>(lerp16(input[i], result[i], a));
        return;
    }
    for (int p = 0; p < count; ++p) {
        const int amount = lerp8(strength.a, strength.b, mask[p]);
        for (int c = 0; c < samples; ++c, ++input, ++result)
            *result = static_cast<std::uint16_t>(lerp16(*input, *result, amount));
    }
}
