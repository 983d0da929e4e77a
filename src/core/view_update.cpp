#include "core/view_update.h"

#include "core/tables.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

// 8-bit form of a type for the view: 6 gives 2, 7 gives 3.
int view_type_of(int type) {
    if (type == image_type_gray16) return image_type_gray8;
    if (type == image_type_colour16) return image_type_colour8;
    return type;
}

// Sample `c` of pixel `x` on a line of `channels` samples a pixel, 8 or 16 bits.
template <bool wide>
inline unsigned sample_at(const std::uint8_t* line, int x, int channels, int c) {
    if constexpr (wide) {
        const std::uint8_t* p = line + (static_cast<std::size_t>(x) * channels + c) * 2;
        return static_cast<unsigned>(p[0] | (p[1] << 8));
    } else {
        return line[static_cast<std::size_t>(x) * channels + c];
    }
}

template <bool wide>
inline std::uint8_t to_byte(unsigned v) {
    if constexpr (wide)
        return to8[v];
    else
        return static_cast<std::uint8_t>(v);
}

// Picture column of each view column, and for reductions the width of its block.
struct ColumnMap {
    std::vector<int> first;
    std::vector<int> count;
};

ColumnMap map_axis(int view_start, int view_size, int zoom, int picture_size) {
    ColumnMap map;
    map.first.resize(static_cast<std::size_t>(view_size));
    map.count.resize(static_cast<std::size_t>(view_size));
    for (int i = 0; i < view_size; ++i) {
        const int zoomed = view_start + i;
        int first = 0;
        int count = 1;
        if (zoom < 0) {
            const int n = -zoom;
            first = zoomed * n;
            count = first + n <= picture_size ? n : picture_size - first;
        } else {
            first = zoomed / zoom;
        }
        if (first >= picture_size) first = picture_size - 1;
        if (count < 1) count = 1;
        map.first[static_cast<std::size_t>(i)] = first;
        map.count[static_cast<std::size_t>(i)] = count;
    }
    return map;
}

// The part of a copy being written: `width` columns from `left` and `height`
// rows from `top`, counted from the view's top left.
struct Region {
    int left;
    int top;
    int width;
    int height;
};

// Gray and colour, 8 and 16 bits: one routine for the four, the depth and the
// sample count fixed at compile time so the inner loops carry no type tests.
template <bool wide, int channels>
void copy_samples(const Image& picture, Image* view, const Region& region, const ColumnMap& columns,
                  const ColumnMap& rows, bool average) {
    const int h = view->height;
    for (int t = 0; t < region.height; ++t) {
        std::uint8_t* out =
            view->rows[h - 1 - (region.top + t)] + static_cast<std::size_t>(region.left) * channels;
        const int top = rows.first[static_cast<std::size_t>(t)];
        const int block_h = average ? rows.count[static_cast<std::size_t>(t)] : 1;
        if (block_h == 1) {
            const std::uint8_t* line = picture.rows[picture.height - 1 - top];
            for (int i = 0; i < region.width; ++i) {
                const int x = columns.first[static_cast<std::size_t>(i)];
                const int block_w = average ? columns.count[static_cast<std::size_t>(i)] : 1;
                for (int c = 0; c < channels; ++c) {
                    unsigned sum = 0;
                    for (int k = 0; k < block_w; ++k)
                        sum += sample_at<wide>(line, x + k, channels, c);
                    out[i * channels + c] = to_byte<wide>((sum + block_w / 2) / block_w);
                }
            }
            continue;
        }
        for (int i = 0; i < region.width; ++i) {
            const int x = columns.first[static_cast<std::size_t>(i)];
            const int block_w = columns.count[static_cast<std::size_t>(i)];
            const unsigned pixels = static_cast<unsigned>(block_w * block_h);
            for (int c = 0; c < channels; ++c) {
                std::uint64_t sum = 0;
                for (int r = 0; r < block_h; ++r) {
                    const std::uint8_t* line = picture.rows[picture.height - 1 - (top + r)];
                    for (int k = 0; k < block_w; ++k)
                        sum += sample_at<wide>(line, x + k, channels, c);
                }
                out[i * channels + c] =
                    to_byte<wide>(static_cast<unsigned>((sum + pixels / 2) / pixels));
            }
        }
    }
}

// Binary pictures stay binary in the view: each view pixel takes the top-left
// pixel of its block.
void copy_bits(const Image& picture, Image* view, const Region& region, const ColumnMap& columns,
               const ColumnMap& rows) {
    const int h = view->height;
    for (int t = 0; t < region.height; ++t) {
        std::uint8_t* out = view->rows[h - 1 - (region.top + t)];
        const std::uint8_t* line =
            picture.rows[picture.height - 1 - rows.first[static_cast<std::size_t>(t)]];
        for (int i = 0; i < region.width; ++i) {
            if (image_bit_get(line, columns.first[static_cast<std::size_t>(i)]))
                image_bit_set(out, region.left + i);
            else
                image_bit_clear(out, region.left + i);
        }
    }
}

// The screen's step: gray and binary spread over three channels.
void view_to_display(const Image& view, Image* display, const Region& region) {
    const int h = view.height;
    for (int t = region.top; t < region.top + region.height; ++t) {
        const std::uint8_t* in = view.rows[h - 1 - t];
        std::uint8_t* out = display->rows[h - 1 - t];
        for (int x = region.left; x < region.left + region.width; ++x) {
            if (view.type == image_type_colour8) {
                out[3 * x] = in[3 * x];
                out[3 * x + 1] = in[3 * x + 1];
                out[3 * x + 2] = in[3 * x + 2];
                continue;
            }
            const std::uint8_t v =
                view.type == image_type_binary ? (image_bit_get(in, x) ? 255 : 0) : in[x];
            out[3 * x] = out[3 * x + 1] = out[3 * x + 2] = v;
        }
    }
}

bool shows_pixels(int type) {
    return type == image_type_binary || type == image_type_gray8 || type == image_type_colour8 ||
           type == image_type_gray16 || type == image_type_colour16;
}

// The standing mask shown over the picture, or null when no overlay is on.
const Image* overlay_mask(const WindowRecord& record) {
    if (record.overlay_strength == 0 || record.mask_window == nullptr) return nullptr;
    const WindowRecord* mask = window_record_of(record.mask_window);
    if (mask == nullptr || mask->image.type != image_type_gray8 ||
        mask->image.width != record.image.width || mask->image.height != record.image.height)
        return nullptr;
    return &mask->image;
}

// The view's type: the 8-bit form of the picture's, colour under an overlay.
int view_type_for(const WindowRecord& record) {
    return overlay_mask(record) != nullptr ? image_type_colour8 : view_type_of(record.image.type);
}

void copy_picture(const Image& picture, Image* view, const Region& region, const ColumnMap& columns,
                  const ColumnMap& rows, bool average) {
    switch (picture.type) {
        case image_type_binary:
            copy_bits(picture, view, region, columns, rows);
            break;
        case image_type_gray8:
            copy_samples<false, 1>(picture, view, region, columns, rows, average);
            break;
        case image_type_colour8:
            copy_samples<false, 3>(picture, view, region, columns, rows, average);
            break;
        case image_type_gray16:
            copy_samples<true, 1>(picture, view, region, columns, rows, average);
            break;
        default:
            copy_samples<true, 3>(picture, view, region, columns, rows, average);
            break;
    }
}

// The region with the mask over it: each pixel blended towards the overlay
// colour by mul8(mask, strength), or the mask itself for a strength of -1.
// The picture and the mask go through the same column and line maps, so the
// mask is reduced in step with the picture. 0 or an allocation code.
int fill_overlay(WindowRecord* record, const Image& mask, const Region& region,
                 const ColumnMap& columns, const ColumnMap& rows, bool average) {
    ImageHolder picture_part, mask_part;
    const int part_type = view_type_of(record->image.type);
    int code = image_alloc(picture_part.get(), part_type, region.width, region.height, 100.0);
    if (code == 0)
        code = image_alloc(mask_part.get(), image_type_gray8, region.width, region.height, 100.0);
    if (code != 0) return code;
    const Region whole{0, 0, region.width, region.height};
    copy_picture(record->image, picture_part.get(), whole, columns, rows, average);
    copy_samples<false, 1>(mask, mask_part.get(), whole, columns, rows, average);
    const int strength = record->overlay_strength;
    const int colour[3] = {clamp8(record->overlay_blue), clamp8(record->overlay_green),
                           clamp8(record->overlay_red)};
    Image* view = &record->view_copy;
    for (int t = 0; t < region.height; ++t) {
        const std::uint8_t* in = picture_part->rows[region.height - 1 - t];
        const std::uint8_t* m = mask_part->rows[region.height - 1 - t];
        std::uint8_t* out = view->rows[view->height - 1 - (region.top + t)] +
                            static_cast<std::size_t>(region.left) * 3;
        for (int i = 0; i < region.width; ++i) {
            if (strength < 0) {
                out[3 * i] = out[3 * i + 1] = out[3 * i + 2] = m[i];
                continue;
            }
            const int blend = mul8[m[i]][std::min(strength, 255)];
            for (int c = 0; c < 3; ++c) {
                int sample = 0;
                if (part_type == image_type_colour8)
                    sample = in[3 * i + c];
                else if (part_type == image_type_binary)
                    sample = image_bit_get(in, i) ? 255 : 0;
                else
                    sample = in[i];
                out[3 * i + c] = static_cast<std::uint8_t>(lerp8(sample, colour[c], blend));
            }
        }
    }
    return 0;
}

// Fills one region of both copies from the picture.
void fill_region(WindowRecord* record, const Region& region, bool smooth) {
    const Image& picture = record->image;
    const ColumnMap columns =
        map_axis(record->view_x1 + region.left, region.width, record->zoom, picture.width);
    const ColumnMap rows =
        map_axis(record->view_y1 + region.top, region.height, record->zoom, picture.height);
    const bool average = smooth && record->zoom < 0;
    Image* view = &record->view_copy;
    if (const Image* mask = overlay_mask(*record);
        mask != nullptr && view->type == image_type_colour8) {
        // Short of memory for the two parts, the region stays black.
        if (fill_overlay(record, *mask, region, columns, rows, average) != 0) {
            for (int t = 0; t < region.height; ++t) {
                std::uint8_t* out =
                    view->rows[view->height - 1 - (region.top + t)] + region.left * 3;
                std::fill(out, out + region.width * 3, std::uint8_t{0});
            }
        }
        view_to_display(*view, &record->display_copy, region);
        return;
    }
    copy_picture(picture, view, region, columns, rows, average);
    view_to_display(*view, &record->display_copy, region);
}

// Both copies exist with the view's size, so that they can be shifted.
bool copies_match_view(const WindowRecord& record) {
    const Image& view = record.view_copy;
    const Image& display = record.display_copy;
    return view.type == view_type_for(record) && view.width == record.view_width &&
           view.height == record.view_height && display.type == image_type_colour8 &&
           display.width == record.view_width && display.height == record.view_height;
}

void set_view_rectangles(WindowRecord* record) {
    record->view_x2 = record->view_x1 + record->view_width - 1;
    record->view_y2 = record->view_y1 + record->view_height - 1;
    if (record->view_width > 0 && record->view_height > 0) view_to_picture_rect(record);
}

}  // namespace

int view_update(WindowRecord* record, bool smooth) {
    const int type = record->image.type;
    if (!shows_pixels(type) || record->view_width <= 0 || record->view_height <= 0) {
        image_free(&record->view_copy);
        image_free(&record->display_copy);
        return 0;
    }
    const int w = record->view_width;
    const int h = record->view_height;
    int code = image_alloc(&record->view_copy, view_type_for(*record), w, h, 100.0);
    if (code == 0) code = image_alloc(&record->display_copy, image_type_colour8, w, h, 100.0);
    if (code != 0) {
        image_free(&record->view_copy);
        image_free(&record->display_copy);
        return code;
    }
    fill_region(record, Region{0, 0, w, h}, smooth);
    return 0;
}

void view_update_region(WindowRecord* record, int x1, int y1, int x2, int y2, bool smooth) {
    if (!shows_pixels(record->image.type) || !copies_match_view(*record)) return;
    x1 = std::max(x1, 0);
    y1 = std::max(y1, 0);
    x2 = std::min(x2, record->view_width - 1);
    y2 = std::min(y2, record->view_height - 1);
    if (x1 > x2 || y1 > y2) return;
    fill_region(record, Region{x1, y1, x2 - x1 + 1, y2 - y1 + 1}, smooth);
}

int view_display_update(WindowRecord* record, int x1, int y1, int x2, int y2) {
    const Image& view = record->view_copy;
    if (!shows_pixels(view.type) || view.width <= 0 || view.height <= 0) return 0;
    Image& display = record->display_copy;
    if (display.type != image_type_colour8 || display.width != view.width ||
        display.height != view.height) {
        if (const int code =
                image_alloc(&display, image_type_colour8, view.width, view.height, 100.0)) {
            image_free(&display);
            return code;
        }
        x1 = 0;
        y1 = 0;
        x2 = view.width - 1;
        y2 = view.height - 1;
    }
    x1 = std::max(x1, 0);
    y1 = std::max(y1, 0);
    x2 = std::min(x2, view.width - 1);
    y2 = std::min(y2, view.height - 1);
    if (x1 > x2 || y1 > y2) return 0;
    view_to_display(view, &display, Region{x1, y1, x2 - x1 + 1, y2 - y1 + 1});
    return 0;
}

ViewScroll view_scroll(WindowRecord* record, int view_x1, int view_y1, bool smooth, int* code) {
    *code = 0;
    const int dx = view_x1 - record->view_x1;
    const int dy = view_y1 - record->view_y1;
    if (dx == 0 && dy == 0) return ViewScroll::unchanged;
    const int w = record->view_width;
    const int h = record->view_height;
    record->view_x1 = view_x1;
    record->view_y1 = view_y1;
    set_view_rectangles(record);
    const bool overlap = std::abs(dx) < w && std::abs(dy) < h;
    if (!overlap || record->display_scale >= 2 || !shows_pixels(record->image.type) ||
        !copies_match_view(*record)) {
        *code = view_update(record, smooth);
        return ViewScroll::rebuilt;
    }
    // Moving the view right moves the pixels left in the copies; moving it
    // down moves the rows up the screen, which is towards lower line numbers
    // counted from the top, so towards higher line numbers in the copies.
    for (Image* copy : {&record->view_copy, &record->display_copy}) {
        if (dx > 0) image_shift_left(copy, dx);
        if (dx < 0) image_shift_right(copy, -dx);
        if (dy > 0) image_shift_up(copy, dy);
        if (dy < 0) image_shift_down(copy, -dy);
    }
    // The uncovered columns over the whole height, then the uncovered rows
    // over the columns that the first strip didn't cover.
    int left = 0;
    int right = w - 1;
    if (dx > 0) {
        view_update_region(record, w - dx, 0, w - 1, h - 1, smooth);
        right = w - dx - 1;
    } else if (dx < 0) {
        view_update_region(record, 0, 0, -dx - 1, h - 1, smooth);
        left = -dx;
    }
    if (dy > 0) view_update_region(record, left, h - dy, right, h - 1, smooth);
    if (dy < 0) view_update_region(record, left, 0, right, -dy - 1, smooth);
    return ViewScroll::shifted;
}
