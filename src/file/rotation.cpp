#include "file/rotation.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/errors.h"
#include "core/image.h"

namespace {

constexpr int from_tiff[9] = {0, 0, 4, 2, 6, 5, 1, 7, 3};
constexpr int to_tiff[8] = {1, 6, 3, 8, 2, 5, 4, 7};
constexpr int compose[8][8] = {
    {0, 1, 2, 3, 4, 5, 6, 7}, {1, 2, 3, 0, 5, 6, 7, 4}, {2, 3, 0, 1, 6, 7, 4, 5},
    {3, 0, 1, 2, 7, 4, 5, 6}, {4, 7, 6, 5, 0, 3, 2, 1}, {5, 4, 7, 6, 1, 0, 3, 2},
    {6, 5, 4, 7, 2, 1, 0, 3}, {7, 6, 5, 4, 3, 2, 1, 0},
};

int pixel_bytes(int type) {
    switch (type) {
        case image_type_gray8:
            return 1;
        case image_type_colour8:
            return 3;
        case image_type_gray16:
            return 2;
        case image_type_colour16:
            return 6;
        default:
            return 0;
    }
}

// Where the pixel that lands on (x, y) of the result comes from, with (0, 0)
// the top left corner and the source w by h.
void source_of(int code, int x, int y, int w, int h, int* sx, int* sy) {
    switch (code) {
        case 1:
            *sx = y;
            *sy = h - 1 - x;
            break;
        case 2:
            *sx = w - 1 - x;
            *sy = h - 1 - y;
            break;
        case 3:
            *sx = w - 1 - y;
            *sy = x;
            break;
        case 4:
            *sx = w - 1 - x;
            *sy = y;
            break;
        case 5:
            *sx = y;
            *sy = x;
            break;
        case 6:
            *sx = x;
            *sy = h - 1 - y;
            break;
        case 7:
            *sx = w - 1 - y;
            *sy = h - 1 - x;
            break;
        default:
            *sx = x;
            *sy = y;
            break;
    }
}

void mirror_line(std::uint8_t* line, int width, int type, std::vector<std::uint8_t>& scratch) {
    const int step = pixel_bytes(type);
    if (type == image_type_binary) {
        const std::size_t bytes = static_cast<std::size_t>(width + 7) / 8;
        scratch.assign(line, line + bytes);
        for (int x = 0; x < width; ++x) {
            if (image_bit_get(scratch.data(), width - 1 - x))
                image_bit_set(line, x);
            else
                image_bit_clear(line, x);
        }
        return;
    }
    for (int l = 0, r = width - 1; l < r; ++l, --r) {
        std::uint8_t* a = line + static_cast<std::ptrdiff_t>(l) * step;
        std::uint8_t* b = line + static_cast<std::ptrdiff_t>(r) * step;
        std::swap_ranges(a, a + step, b);
    }
}

}  // namespace

int rotation_from_tiff(int orientation) {
    return orientation >= 1 && orientation <= 8 ? from_tiff[orientation] : 0;
}

int tiff_from_rotation(int code) {
    return code >= 0 && code < 8 ? to_tiff[code] : 1;
}

int rotation_compose(int first, int then) {
    if (first < 0 || first > 7 || then < 0 || then > 7) return 0;
    return compose[first][then];
}

int image_rotate(Image* image, int code) {
    const int type = image->type;
    if (type != image_type_binary && pixel_bytes(type) == 0) return err_illegal_type;
    if (code <= 0 || code > 7 || image->width <= 0 || image->height <= 0) return 0;
    const int w = image->width;
    const int h = image->height;
    const int line_bytes = image_line_bytes(image);
    std::vector<std::uint8_t> scratch;

    // Lines are stored bottom-up: the top line of the picture is rows[h - 1].
    if (code == 2 || code == 6) {
        for (int top = h - 1, bottom = 0; bottom < top; --top, ++bottom)
            std::swap_ranges(image->rows[top], image->rows[top] + line_bytes, image->rows[bottom]);
    }
    if (code == 2 || code == 4) {
        for (int y = 0; y < h; ++y)
            mirror_line(image->rows[y], w, type, scratch);
    }
    if (code == 2 || code == 4 || code == 6) return 0;

    // The turns and diagonals swap width and height.
    Image turned;
    image_init(&turned);
    if (int err = image_alloc(&turned, type, h, w, image->resolution)) {
        image_free(&turned);
        return err;
    }
    const int step = pixel_bytes(type);
    for (int y = 0; y < w; ++y) {
        std::uint8_t* out = turned.rows[w - 1 - y];
        if (type == image_type_binary)
            std::memset(out, 0, static_cast<std::size_t>(turned.row_bytes));
        for (int x = 0; x < h; ++x) {
            int sx = 0;
            int sy = 0;
            source_of(code, x, y, w, h, &sx, &sy);
            const std::uint8_t* in = image->rows[h - 1 - sy];
            if (type == image_type_binary) {
                if (image_bit_get(in, sx)) image_bit_set(out, x);
            } else {
                std::memcpy(out + static_cast<std::ptrdiff_t>(x) * step,
                            in + static_cast<std::ptrdiff_t>(sx) * step,
                            static_cast<std::size_t>(step));
            }
        }
    }
    image_move(&turned, image);
    return 0;
}
