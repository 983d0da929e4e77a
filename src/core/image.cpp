#include "core/image.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>

#ifdef __linux__
#include <sys/mman.h>
#endif

#include "core/errors.h"
#include "core/parallel.h"
#include "core/progress.h"
#include "core/tables.h"

namespace {

// Width * height as the 32-bit product that decides between the progress
// panel and the wait cursor. It wraps like the product it stands for.
std::int32_t progress_pixels(const Image* image) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(image->width) *
                                     static_cast<std::uint32_t>(image->height));
}

// Unpadded line bytes by type, as a 64-bit number so that absurd widths
// cannot overflow before the 4 MiB test; -1 for an unknown type.
std::int64_t unpadded_line_bytes(int type, std::int64_t width) {
    switch (type) {
        case image_type_binary:
            return (width + 7) / 8;
        case image_type_gray8:
            return width;
        case image_type_colour8:
            return width * 3;
        case image_type_colour:
            return 3;
        case image_type_histogram:
            return 1028;
        case image_type_gray16:
            return width * 2;
        case image_type_colour16:
            return width * 6;
        case image_type_mosaic:
            return width * 2;
        case image_type_four8:
            return width * 4;
        case image_type_four16:
            return width * 8;
        default:
            return -1;
    }
}

template <typename T>
const T* line_of(const Image* image, int y) {
    return reinterpret_cast<const T*>(image->rows[y]);
}

template <typename T>
T* line_of(Image* image, int y) {
    return reinterpret_cast<T*>(image->rows[y]);
}

struct Lerp8 {
    int operator()(int a, int b, int f) const { return lerp8(a, b, f); }
};
struct Lerp16 {
    int operator()(int a, int b, int f) const { return lerp16(a, b, f); }
};

// Bilinear sample of `channels` samples of type T at (x, y). `outside` and
// `out` are in storage order. The fractions are 8-bit; the last column and
// line are reached only through the fraction 255, and a one-pixel ring
// around the picture fades into `outside`.
template <typename T, int channels, typename Lerp>
void sample_bilinear(const Image* image, double x, double y, const int* outside, int* out) {
    const Lerp lerp;
    const int w = image->width;
    const int h = image->height;

    if (x >= 0 && x <= w - 1 && y >= 0 && y <= h - 1) {
        int ix = static_cast<int>(x);
        int iy = static_cast<int>(y);
        int fx = static_cast<int>(256.0 * (x - ix));
        int fy = static_cast<int>(256.0 * (y - iy));
        if (fx == 0 && fy == 0) {
            const T* p = line_of<T>(image, iy) + ix * channels;
            for (int c = 0; c < channels; ++c)
                out[c] = p[c];
            return;
        }
        if (ix >= w - 1) {
            ix = w - 2;
            fx = 255;
        }
        if (iy >= h - 1) {
            iy = h - 2;
            fy = 255;
        }
        // A picture one pixel wide or high has a single column or line to
        // offer as both neighbours.
        const int x0 = std::max(ix, 0);
        const int x1 = std::min(ix + 1, w - 1);
        const int y0 = std::max(iy, 0);
        const int y1 = std::min(iy + 1, h - 1);
        const T* p00 = line_of<T>(image, y0) + x0 * channels;
        const T* p10 = line_of<T>(image, y0) + x1 * channels;
        const T* p01 = line_of<T>(image, y1) + x0 * channels;
        const T* p11 = line_of<T>(image, y1) + x1 * channels;
        for (int c = 0; c < channels; ++c) {
            const int lower = lerp(p00[c], p10[c], fx);
            const int upper = lerp(p01[c], p11[c], fx);
            out[c] = lerp(lower, upper, fy);
        }
        return;
    }

    // Written so that NaN lands here too.
    if (!(x >= -1 && x <= w && y >= -1 && y <= h)) {
        for (int c = 0; c < channels; ++c)
            out[c] = outside[c];
        return;
    }

    const int ix = static_cast<int>(std::floor(x));
    const int iy = static_cast<int>(std::floor(y));
    const int fx = static_cast<int>(256.0 * (x - ix));
    const int fy = static_cast<int>(256.0 * (y - iy));
    const T* corner[2][2];  // [dy][dx], null where the neighbour lies outside
    for (int dy = 0; dy < 2; ++dy) {
        for (int dx = 0; dx < 2; ++dx) {
            const int px = ix + dx;
            const int py = iy + dy;
            const bool in = px >= 0 && px < w && py >= 0 && py < h;
            corner[dy][dx] = in ? line_of<T>(image, py) + px * channels : nullptr;
        }
    }
    for (int c = 0; c < channels; ++c) {
        int v[2][2];
        for (int dy = 0; dy < 2; ++dy)
            for (int dx = 0; dx < 2; ++dx)
                v[dy][dx] = corner[dy][dx] ? corner[dy][dx][c] : outside[c];
        const int lower = lerp(v[0][0], v[0][1], fx);
        const int upper = lerp(v[1][0], v[1][1], fx);
        out[c] = lerp(lower, upper, fy);
    }
}

// Converts `samples` 16-bit samples of a line to 8 bits.
void line_to8(const std::uint8_t* source, std::uint8_t* dest, std::int64_t samples) {
    const auto* s = reinterpret_cast<const std::uint16_t*>(source);
    for (std::int64_t i = 0; i < samples; ++i)
        dest[i] = to8[s[i]];
}

int samples_per_pixel(int type) {
    switch (type) {
        case image_type_gray8:
        case image_type_gray16:
        case image_type_mosaic:
            return 1;
        case image_type_colour8:
        case image_type_colour16:
            return 3;
        case image_type_four8:
        case image_type_four16:
            return 4;
        default:
            return 0;
    }
}

// The 16-to-8 conversion of a whole image into a new `dest` of `dest_type`,
// optionally with the "Convert to 8-bit" progress panel.
int convert_from16(const Image* source, Image* dest, int dest_type, bool with_progress) {
    if (const int err =
            image_alloc(dest, dest_type, source->width, source->height, source->resolution))
        return err;
    if (!source->rows || !dest->rows) return err_ok;
    const std::int64_t samples =
        static_cast<std::int64_t>(source->width) * samples_per_pixel(source->type);
    std::optional<ProgressScope> progress;
    if (with_progress)
        progress.emplace("Convert to 8-bit", progress_pixels(source), 0, source->height - 1, true);
    for (int y = 0; y < source->height; ++y) {
        if (progress)
            if (const int err = progress->step(y)) return err;
        line_to8(source->rows[y], dest->rows[y], samples);
    }
    return err_ok;
}

// Antialiased disc over the clipped box [x0, x1] x [y0, y1]; `colour` is in
// storage order and already in the target's sample form.
template <typename T, int channels>
void draw_disc(Image* image, double cx, double cy, double r, const int* colour, int x0, int x1,
               int y0, int y1) {
    for (int py = y0; py <= y1; ++py) {
        T* p = line_of<T>(image, py) + x0 * channels;
        for (int px = x0; px <= x1; ++px, p += channels) {
            const double d = std::hypot(px - cx, py - cy) - r;
            if (std::fabs(d) > 1.414214) {
                if (d <= 0)
                    for (int c = 0; c < channels; ++c)
                        p[c] = static_cast<T>(colour[c]);
                continue;
            }
            int n = 0;
            for (int j = -2; j <= 2; ++j)
                for (int i = -2; i <= 2; ++i)
                    if (std::hypot(px + i * 0.25 - cx, py + j * 0.25 - cy) <= r) ++n;
            for (int c = 0; c < channels; ++c)
                p[c] = static_cast<T>((n * colour[c] + (25 - n) * p[c]) / 25);
        }
    }
}

}  // namespace

int image_pixel_step(int type) {
    switch (type) {
        case image_type_gray8:
            return 1;
        case image_type_colour8:
            return 3;
        case image_type_gray16:
            return 2;
        case image_type_colour16:
            return 6;
        case image_type_mosaic:
            return 2;
        case image_type_four8:
            return 4;
        case image_type_four16:
            return 8;
        default:
            return 0;
    }
}

void image_init(Image* image) {
    std::memset(image, 0, sizeof(Image));
}

namespace {

// A block of pixels, freed with std::free. Blocks of 2 MiB and more are laid
// on huge pages where the system offers them: a large picture then costs a
// few hundred page faults instead of tens of thousands.
// Pictures of this many blocks (16 MiB and more) are touched on all cores.
constexpr int prefault_blocks = 4;

std::uint8_t* block_alloc(std::size_t bytes) {
#ifdef __linux__
    constexpr std::size_t huge = std::size_t{2} << 20;
    if (bytes >= huge) {
        const std::size_t rounded = (bytes + huge - 1) / huge * huge;
        void* block = std::aligned_alloc(huge, rounded);
        if (block) madvise(block, rounded, MADV_HUGEPAGE);
        return static_cast<std::uint8_t*>(block);
    }
#endif
    return static_cast<std::uint8_t*>(std::malloc(bytes));
}

}  // namespace

void image_free(Image* image) {
    std::free(image->rows);
    if (image->chunks) {
        for (int i = 0; i < image->chunk_count; ++i)
            std::free(image->chunks[i]);
        std::free(image->chunks);
    }
    std::free(image->mosaic_info);
    image_init(image);
}

int image_alloc(Image* image, int type, int width, int height, double resolution) {
    if (image->type == type && image->width == width && image->height == height) {
        image->resolution = resolution;
        return err_ok;
    }
    image_free(image);
    image->type = type;
    image->width = width;
    image->height = height;
    image->resolution = resolution;

    // A record with a type and size but no memory.
    const std::int64_t unpadded = unpadded_line_bytes(type, width);
    if (unpadded <= 0 || height <= 0) return err_ok;
    const bool padded = type <= image_type_mosaic;
    const std::int64_t line_bytes = padded ? (unpadded + 3) / 4 * 4 : unpadded;
    // A colour value or a histogram is one line whatever the height asked;
    // every entry of `rows` points at it, so loops over `height` stay safe.
    const bool single_line = type == image_type_colour || type == image_type_histogram;
    const int lines = single_line ? 1 : height;

    image->rows = static_cast<std::uint8_t**>(
        std::malloc(sizeof(std::uint8_t*) * static_cast<std::size_t>(height)));
    if (!image->rows) {
        image_free(image);
        return err_memory;
    }

    if (line_bytes > image_block_bytes) {
        image_free(image);
        return err_too_wide;
    }
    image->row_bytes = static_cast<std::int32_t>(line_bytes);
    image->rows_per_chunk = image_block_bytes / image->row_bytes;
    const int per_chunk = image->rows_per_chunk;
    const int chunk_count = (lines + per_chunk - 1) / per_chunk;

    image->chunks = static_cast<std::uint8_t**>(
        std::calloc(static_cast<std::size_t>(chunk_count), sizeof(std::uint8_t*)));
    if (!image->chunks) {
        image_free(image);
        return err_memory;
    }
    image->chunk_count = chunk_count;

    const std::size_t block_bytes = static_cast<std::size_t>(per_chunk) * image->row_bytes;
    const int last_lines = lines % per_chunk;
    const std::size_t last_bytes =
        last_lines ? static_cast<std::size_t>(last_lines) * image->row_bytes : block_bytes;
    for (int i = 0; i < chunk_count; ++i) {
        image->chunks[i] = block_alloc(i == chunk_count - 1 ? last_bytes : block_bytes);
        if (!image->chunks[i]) {
            image_free(image);
            return err_memory;
        }
    }
    // The system clears fresh memory on first touch, one page at a time on the
    // touching thread; for a large picture that is most of a fast load, so
    // the blocks are first touched on all cores.
    if (chunk_count >= prefault_blocks) {
        parallel_for(chunk_count, [&](int i) {
            const std::size_t bytes = i == chunk_count - 1 ? last_bytes : block_bytes;
            for (std::size_t at = 0; at < bytes; at += 4096)
                image->chunks[i][at] = 0;
        });
    }

    for (int i = 0; i < lines; ++i)
        image->rows[i] = image->chunks[i / per_chunk] +
                         static_cast<std::size_t>(i % per_chunk) * image->row_bytes;
    for (int i = lines; i < height; ++i)
        image->rows[i] = image->rows[0];
    return err_ok;
}

int image_alloc_mosaic(Image* image, int type, int width, int height, int resolution) {
    if (const int err = image_alloc(image, type, width, height, resolution)) return err;
    if (!image->mosaic_info) {
        image->mosaic_info = static_cast<MosaicInfo*>(std::calloc(1, sizeof(MosaicInfo)));
        if (!image->mosaic_info) {
            image_free(image);
            return err_memory;
        }
    }
    return err_ok;
}

int image_alloc_like(const Image* source, Image* dest) {
    if (source->mosaic_info) {
        if (const int err = image_alloc_mosaic(dest, source->type, source->width, source->height,
                                               static_cast<int>(source->resolution)))
            return err;
        // The mosaic allocation takes a whole number; the copy keeps the exact one.
        dest->resolution = source->resolution;
        std::memcpy(dest->mosaic_info, source->mosaic_info, sizeof(MosaicInfo));
    } else {
        if (const int err =
                image_alloc(dest, source->type, source->width, source->height, source->resolution))
            return err;
        // A record of the same shape keeps its block through image_alloc; a
        // copy of an image without one must not have one.
        std::free(dest->mosaic_info);
        dest->mosaic_info = nullptr;
    }
    std::memcpy(dest->fill_colour, source->fill_colour, sizeof(dest->fill_colour));
    return err_ok;
}

int image_copy_quiet(const Image* source, Image* dest) {
    if (const int err = image_alloc_like(source, dest)) return err;
    if (!source->rows || !dest->rows) return err_ok;
    for (int y = 0; y < source->height; ++y)
        std::memcpy(dest->rows[y], source->rows[y], static_cast<std::size_t>(source->row_bytes));
    return err_ok;
}

int image_copy_with_progress(const Image* source, Image* dest) {
    if (const int err = image_alloc_like(source, dest)) return err;
    if (!source->rows || !dest->rows) return err_ok;
    const ProgressScope progress("Copy", progress_pixels(source), 0, source->height - 1, true);
    for (int y = 0; y < source->height; ++y) {
        if (const int err = progress.step(y)) {
            image_free(dest);
            return err;
        }
        std::memcpy(dest->rows[y], source->rows[y], static_cast<std::size_t>(source->row_bytes));
    }
    return err_ok;
}

void image_move(Image* source, Image* dest) {
    if (source == dest) return;
    image_free(dest);
    *dest = *source;
    image_init(source);
}

bool image_is_colour(const Image* image) {
    return image->type == image_type_colour8 || image->type == image_type_colour16;
}

bool image_is_16bit(const Image* image) {
    switch (image->type) {
        case image_type_gray16:
        case image_type_colour16:
        case image_type_mosaic:
        case image_type_four16:
            return true;
        default:
            return false;
    }
}

int image_to_8bit_in_place(Image* image) {
    int new_type = 0;
    switch (image->type) {
        case image_type_gray16:
            new_type = image_type_gray8;
            break;
        case image_type_colour16:
            new_type = image_type_colour8;
            break;
        case image_type_four16:
            new_type = image_type_four8;
            break;
        default:
            return err_ok;
    }
    ImageHolder converted;
    if (const int err =
            image_alloc(converted.get(), new_type, image->width, image->height, image->resolution))
        return err;
    if (image->rows && converted->rows) {
        const std::int64_t samples =
            static_cast<std::int64_t>(image->width) * samples_per_pixel(image->type);
        for (int y = 0; y < image->height; ++y)
            line_to8(image->rows[y], converted->rows[y], samples);
    }
    image_move(converted.get(), image);
    return err_ok;
}

int image_line_bytes(const Image* image) {
    if (image->type == image_type_four8 || image->type == image_type_four16)
        return image->row_bytes;
    const std::int64_t bytes = unpadded_line_bytes(image->type, image->width);
    return bytes < 0 ? 0 : static_cast<int>(bytes);
}

std::int64_t image_data_bytes(const Image* image) {
    return static_cast<std::int64_t>(image->height) * image_line_bytes(image);
}

int image_crop(const Image* source, int x1, int y1, int x2, int y2, Image* dest) {
    const auto clamp = [](int v, int size) { return std::max(std::min(v, size - 1), 0); };
    x1 = clamp(x1, source->width);
    x2 = clamp(x2, source->width);
    y1 = clamp(y1, source->height);
    y2 = clamp(y2, source->height);
    const int left = std::min(x1, x2);
    const int right = std::max(x1, x2);
    const int bottom = std::min(y1, y2);
    const int top = std::max(y1, y2);
    const int width = right - left + 1;
    const int height = top - bottom + 1;
    if (const int err = image_alloc(dest, source->type, width, height, source->resolution))
        return err;
    if (!source->rows || !dest->rows) return err_ok;

    switch (source->type) {
        case image_type_binary:
            for (int y = 0; y < height; ++y) {
                const std::uint8_t* s = source->rows[bottom + y];
                std::uint8_t* d = dest->rows[y];
                for (int x = 0; x < width; ++x) {
                    if (image_bit_get(s, left + x))
                        image_bit_set(d, x);
                    else
                        image_bit_clear(d, x);
                }
            }
            break;
        case image_type_gray8:
        case image_type_colour8:
        case image_type_gray16:
        case image_type_colour16: {
            const int step = image_pixel_step(source->type);
            const std::size_t bytes = static_cast<std::size_t>(width) * step;
            for (int y = 0; y < height; ++y)
                std::memcpy(dest->rows[y],
                            source->rows[bottom + y] + static_cast<std::size_t>(left) * step,
                            bytes);
            break;
        }
        default:
            break;
    }
    return err_ok;
}

const std::uint8_t* image_pixel_pointer(const Image* image, int x, int y) {
    const int step = image_pixel_step(image->type);
    if (step == 0 || !image->rows || x < 0 || x >= image->width || y < 0 || y >= image->height)
        return nullptr;
    return image->rows[y] + static_cast<std::size_t>(x) * step;
}

std::uint8_t* image_pixel_pointer(Image* image, int x, int y) {
    return const_cast<std::uint8_t*>(image_pixel_pointer(static_cast<const Image*>(image), x, y));
}

void image_shift_left(Image* image, int n) {
    const int type = image->type;
    if (n <= 0 || !image->rows ||
        (type != image_type_binary && type != image_type_gray8 && type != image_type_colour8))
        return;
    const int w = image->width;
    if (n >= w) return;
    const WaitCursor wait;
    if (type == image_type_binary) {
        for (int y = 0; y < image->height; ++y) {
            std::uint8_t* line = image->rows[y];
            for (int x = 0; x < w - n; ++x) {
                if (image_bit_get(line, x + n))
                    image_bit_set(line, x);
                else
                    image_bit_clear(line, x);
            }
        }
        return;
    }
    const std::size_t step = static_cast<std::size_t>(image_pixel_step(type));
    for (int y = 0; y < image->height; ++y)
        std::memmove(image->rows[y], image->rows[y] + n * step, (w - n) * step);
}

void image_shift_right(Image* image, int n) {
    const int type = image->type;
    if (n <= 0 || !image->rows ||
        (type != image_type_binary && type != image_type_gray8 && type != image_type_colour8))
        return;
    const int w = image->width;
    if (n >= w) return;
    const WaitCursor wait;
    if (type == image_type_binary) {
        for (int y = 0; y < image->height; ++y) {
            std::uint8_t* line = image->rows[y];
            for (int x = w - 1; x >= n; --x) {
                if (image_bit_get(line, x - n))
                    image_bit_set(line, x);
                else
                    image_bit_clear(line, x);
            }
        }
        return;
    }
    const std::size_t step = static_cast<std::size_t>(image_pixel_step(type));
    for (int y = 0; y < image->height; ++y)
        std::memmove(image->rows[y] + n * step, image->rows[y], (w - n) * step);
}

// Lines are copied from the top down, so that no line is overwritten before
// it has been read. memmove because single-line types share one line.
void image_shift_up(Image* image, int n) {
    if (n <= 0 || !image->rows || n >= image->height) return;
    const WaitCursor wait;
    const std::size_t bytes = static_cast<std::size_t>(image->row_bytes);
    for (int y = image->height - 1; y >= n; --y)
        std::memmove(image->rows[y], image->rows[y - n], bytes);
}

// Lines are copied from the bottom up, for the same reason.
void image_shift_down(Image* image, int n) {
    if (n <= 0 || !image->rows || n >= image->height) return;
    const WaitCursor wait;
    const std::size_t bytes = static_cast<std::size_t>(image->row_bytes);
    for (int y = 0; y + n < image->height; ++y)
        std::memmove(image->rows[y], image->rows[y + n], bytes);
}

int image_sample_binary(const Image* image, double x, double y, int outside) {
    if (!(x >= 0 && x <= image->width - 1 && y >= 0 && y <= image->height - 1)) return outside;
    const int ix = static_cast<int>(std::lround(x));
    const int iy = static_cast<int>(std::lround(y));
    return image_bit_get(image->rows[iy], ix) ? 255 : 0;
}

int image_sample_gray8(const Image* image, double x, double y, int outside) {
    // Clamped so that the blending table is never indexed out of range.
    const int outside8 = clamp8(outside);
    int out = 0;
    sample_bilinear<std::uint8_t, 1, Lerp8>(image, x, y, &outside8, &out);
    return out;
}

int image_sample_gray16(const Image* image, double x, double y, int outside) {
    int out = 0;
    sample_bilinear<std::uint16_t, 1, Lerp16>(image, x, y, &outside, &out);
    return out;
}

void image_sample_rgb8(const Image* image, double x, double y, int* r, int* g, int* b,
                       int outside_r, int outside_g, int outside_b) {
    const int outside[3] = {clamp8(outside_b), clamp8(outside_g), clamp8(outside_r)};
    int out[3] = {};
    sample_bilinear<std::uint8_t, 3, Lerp8>(image, x, y, outside, out);
    *b = out[0];
    *g = out[1];
    *r = out[2];
}

void image_sample_rgb16(const Image* image, double x, double y, int* r, int* g, int* b,
                        int outside_r, int outside_g, int outside_b) {
    const int outside[3] = {outside_b, outside_g, outside_r};
    int out[3] = {};
    sample_bilinear<std::uint16_t, 3, Lerp16>(image, x, y, outside, out);
    *b = out[0];
    *g = out[1];
    *r = out[2];
}

void image_sample_rgb(const Image* image, double x, double y, int* r, int* g, int* b, int outside_r,
                      int outside_g, int outside_b) {
    const int gray_outside = luminance8(clamp8(outside_r), clamp8(outside_g), clamp8(outside_b));
    int v = 0;
    switch (image->type) {
        case image_type_binary:
            v = image_sample_binary(image, x, y, gray_outside);
            break;
        case image_type_gray8:
            v = image_sample_gray8(image, x, y, gray_outside);
            break;
        case image_type_gray16:
            // The 8-bit luminance serves as the 16-bit outside value, so that
            // outside reads nearly black.
            v = to8[image_sample_gray16(image, x, y, gray_outside)];
            break;
        case image_type_colour8:
            image_sample_rgb8(image, x, y, r, g, b, outside_r, outside_g, outside_b);
            return;
        case image_type_colour16:
            // The 8-bit colour sampler is run over the 16-bit line, and its
            // results then go through the 16-to-8 table. Callers depend on
            // this pairing as it stands, so it is kept.
            image_sample_rgb8(image, x, y, r, g, b, outside_r, outside_g, outside_b);
            *r = to8[*r];
            *g = to8[*g];
            *b = to8[*b];
            return;
        default:
            return;
    }
    *r = *g = *b = v;
}

double image_mask_area(const Image* image) {
    if (image->type != image_type_gray8 || !image->rows) return 0.0;
    // There is no Cancel, so the answer of each step is of no interest.
    const ProgressScope progress("Area", progress_pixels(image), 0, image->height - 1, false);
    double area = 0.0;
    for (int y = 0; y < image->height; ++y) {
        (void)progress.step(y);
        const std::uint8_t* p = image->rows[y];
        std::int64_t sum = 0;
        for (int x = 0; x < image->width; ++x)
            sum += p[x];
        area += static_cast<double>(sum) / 255.0;
    }
    return area;
}

int image_to_gray8_from16(const Image* source, Image* dest, bool with_progress) {
    if (source->type != image_type_gray16) return err_illegal_type;
    return convert_from16(source, dest, image_type_gray8, with_progress);
}

int image_to_colour8_from16(const Image* source, Image* dest, bool with_progress) {
    if (source->type != image_type_colour16) return err_illegal_type;
    return convert_from16(source, dest, image_type_colour8, with_progress);
}

int image_dimmed_copy(const Image* source, Image* dest) {
    if (const int err = image_alloc_like(source, dest)) return err;
    if (!source->rows || !dest->rows ||
        (source->type != image_type_gray8 && source->type != image_type_colour8))
        return err_ok;
    const int samples = image_line_bytes(source);
    for (int y = 0; y < source->height; ++y) {
        const std::uint8_t* s = source->rows[y];
        std::uint8_t* d = dest->rows[y];
        for (int i = 0; i < samples; ++i)
            d[i] = static_cast<std::uint8_t>(s[i] / 2 + 127);
    }
    return err_ok;
}

void image_draw_disc(Image* image, double centre_x, double centre_y, double radius,
                     const std::uint8_t colour[3]) {
    const int type = image->type;
    if (!image->rows || (type != image_type_gray8 && type != image_type_colour8 &&
                         type != image_type_gray16 && type != image_type_colour16))
        return;
    // The box is clipped in floating point so that far-off discs cannot
    // overflow the conversion; comparisons written so that NaN draws nothing.
    const double bx0 = std::max(std::trunc(centre_x - radius) - 1.0, 0.0);
    const double bx1 = std::min(std::trunc(centre_x + radius) + 1.0, image->width - 1.0);
    const double by0 = std::max(std::trunc(centre_y - radius) - 1.0, 0.0);
    const double by1 = std::min(std::trunc(centre_y + radius) + 1.0, image->height - 1.0);
    if (!(bx0 <= bx1 && by0 <= by1)) return;
    const int x0 = static_cast<int>(bx0);
    const int x1 = static_cast<int>(bx1);
    const int y0 = static_cast<int>(by0);
    const int y1 = static_cast<int>(by1);

    const int red = colour[0];
    const int green = colour[1];
    const int blue = colour[2];
    const int gray = std::max({red, green, blue});
    switch (type) {
        case image_type_gray8: {
            const int c[1] = {gray};
            draw_disc<std::uint8_t, 1>(image, centre_x, centre_y, radius, c, x0, x1, y0, y1);
            break;
        }
        case image_type_colour8: {
            const int c[3] = {blue, green, red};
            draw_disc<std::uint8_t, 3>(image, centre_x, centre_y, radius, c, x0, x1, y0, y1);
            break;
        }
        case image_type_gray16: {
            const int c[1] = {to16[gray]};
            draw_disc<std::uint16_t, 1>(image, centre_x, centre_y, radius, c, x0, x1, y0, y1);
            break;
        }
        case image_type_colour16: {
            const int c[3] = {to16[blue], to16[green], to16[red]};
            draw_disc<std::uint16_t, 3>(image, centre_x, centre_y, radius, c, x0, x1, y0, y1);
            break;
        }
        default:
            break;
    }
}
