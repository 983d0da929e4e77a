#include "mask/brush.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>

#include "core/tables.h"

int brush_stamp_value(const BrushSettings& settings, double distance) {
    const double radius = settings.radius;
    if (distance >= radius || radius <= 0) return distance == 0 && radius <= 0 ? 255 : 0;
    const double flat = radius * (1.0 - settings.softness / 100.0);
    const double shape = distance <= flat ? 1.0 : (radius - distance) / (radius - flat);
    const double value = 255.0 * shape * (1.0 - settings.transparency / 100.0);
    return std::clamp(static_cast<int>(std::floor(value + 0.5)), 0, 255);
}

int brush_step(const BrushSettings& settings) {
    return std::max(1, static_cast<int>(std::floor(0.01 * settings.spacing * settings.radius + 0.5)));
}

void BrushStroke::reference_colour(double x, double y) {
    const int px = std::clamp(static_cast<int>(std::floor(x)), 0, picture_->width - 1);
    const int row = std::clamp(static_cast<int>(std::floor(y)), 0, picture_->height - 1);
    picture_line_rgb8(picture_, picture_->height - 1 - row, line_rgb_.data());
    for (int c = 0; c < 3; ++c)
        reference_[c] = line_rgb_[3 * static_cast<std::size_t>(px) + c];
}

int BrushStroke::begin(Image* mask, LineClasses* classes, const Image* start, const Image* picture,
                       const ColorRangeTables* tables, const BrushSettings& settings, double x,
                       double y, MaskChange* change) {
    if (change != nullptr) *change = MaskChange{};
    if (mask->type != image_type_gray8) return 14;
    const bool needs_picture = settings.apply_to != brush_all_pixels;
    if (needs_picture && (picture == nullptr || picture->width != mask->width ||
                          picture->height != mask->height || picture->type == image_type_binary))
        return 14;
    if (settings.apply_to == brush_color_range && tables == nullptr) return 14;
    if (!settings.accumulate && (start == nullptr || start->width != mask->width ||
                                 start->height != mask->height))
        return 14;
    mask_ = mask;
    classes_ = classes;
    start_ = start;
    picture_ = picture;
    tables_ = tables;
    settings_ = settings;
    try {
        stroke_.assign(settings.accumulate ? 0 : static_cast<std::size_t>(mask->width) * mask->height, 0);
        line_rgb_.resize(3 * static_cast<std::size_t>(mask->width));
    } catch (const std::bad_alloc&) {
        return 1;
    }
    if (needs_picture) reference_colour(x, y);
    last_x_ = x;
    last_y_ = y;
    stamp(x, y, change);
    return 0;
}

void BrushStroke::move_to(double x, double y, MaskChange* change) {
    if (change != nullptr) *change = MaskChange{};
    if (mask_ == nullptr) return;
    const int step = brush_step(settings_);
    const double dx = x - last_x_, dy = y - last_y_;
    if (dx * dx + dy * dy < 2.0 * step) return;
    const double length = std::hypot(dx, dy);
    const int stamps = static_cast<int>(length / step);
    MaskChange all;
    for (int k = 1; k <= stamps; ++k) {
        const double px = last_x_ + dx * k * step / length, py = last_y_ + dy * k * step / length;
        MaskChange one;
        stamp(px, py, &one);
        if (one.none()) continue;
        if (all.none()) {
            all = one;
        } else {
            all.x1 = std::min(all.x1, one.x1);
            all.y1 = std::min(all.y1, one.y1);
            all.x2 = std::max(all.x2, one.x2);
            all.y2 = std::max(all.y2, one.y2);
        }
    }
    if (stamps > 0) {
        last_x_ += dx * stamps * step / length;
        last_y_ += dy * stamps * step / length;
    }
    if (change != nullptr) *change = all;
}

void BrushStroke::stamp(double cx, double cy, MaskChange* change) {
    const int w = mask_->width, h = mask_->height;
    const double r = settings_.radius;
    const int x1 = std::max(0, static_cast<int>(std::floor(cx - r))), x2 = std::min(w - 1, static_cast<int>(std::ceil(cx + r)));
    const int y1 = std::max(0, static_cast<int>(std::floor(cy - r))), y2 = std::min(h - 1, static_cast<int>(std::ceil(cy + r)));
    if (change != nullptr) *change = MaskChange{};
    if (x1 > x2 || y1 > y2) return;
    if (settings_.apply_to == brush_similar_track) reference_colour(cx, cy);
    for (int row = y1; row <= y2; ++row) {
        const int line = h - 1 - row;
        if (settings_.apply_to != brush_all_pixels) picture_line_rgb8(picture_, line, line_rgb_.data());
        std::uint8_t* m = mask_->rows[line];
        for (int x = x1; x <= x2; ++x) {
            // Pixel centres against the stamp's centre.
            int value = brush_stamp_value(settings_, std::hypot(x + 0.5 - cx, row + 0.5 - cy));
            if (value == 0) continue;
            const std::uint8_t* rgb = line_rgb_.data() + 3 * static_cast<std::size_t>(x);
            if (settings_.apply_to == brush_color_range) {
                value = mul8[value][color_range_coverage(*tables_, !image_is_colour(picture_), rgb[0], rgb[1], rgb[2])];
            } else if (settings_.apply_to != brush_all_pixels) {
                const int d = image_is_colour(picture_)
                                  ? std::abs(rgb[0] - reference_[0]) + std::abs(rgb[1] - reference_[1]) +
                                        std::abs(rgb[2] - reference_[2])
                                  : 3 * std::abs(rgb[0] - reference_[0]);
                value = mul8[value][similarity_coverage(d, settings_.threshold)];
            }
            if (settings_.accumulate) {
                m[x] = static_cast<std::uint8_t>(mask_merge(m[x], value, settings_.mode));
            } else {
                std::uint8_t& s = stroke_[static_cast<std::size_t>(row) * w + x];
                s = std::max<std::uint8_t>(s, static_cast<std::uint8_t>(value));
                m[x] = static_cast<std::uint8_t>(mask_merge(start_->rows[line][x], s, settings_.mode));
            }
        }
        (*classes_)[static_cast<std::size_t>(line)] = static_cast<std::uint8_t>(line_class(m, w));
    }
    if (change != nullptr) *change = MaskChange{x1, y1, x2, y2, false};
}
