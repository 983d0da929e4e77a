// The mask tool's brush: soft discs stamped along a stroke at a spacing
// that is a share of the radius, shaped by softness and reduced by
// transparency, optionally only on pixels similar to a reference colour or
// inside a colour range, merged into the mask by mode.
#pragma once

#include <vector>

#include "core/image.h"
#include "transform/mask_lines.h"
#include "mask/mask_ops.h"
#include "transform/outline.h"

enum BrushApplyTo : int {
    brush_all_pixels = 0,
    brush_color_range = 1,
    brush_similar_fixed = 2,  // the colour under the first stamp
    brush_similar_track = 3,  // the colour under each stamp
};

struct BrushSettings {
    double radius = 10.0;       // 0..1000 pixels
    double transparency = 0.0;  // 0..100
    double softness = 100.0;    // 0..100: 100 a cone to the rim, 0 a flat disc
    double spacing = 25.0;      // percent of the radius between stamps
    double threshold = 30.0;    // 0..200, for similar pixels
    int apply_to = brush_all_pixels;
    bool accumulate = false;  // "Accumulate", else "Don't accumulate"
    int mode = mask_mode_add;
};

// Value of the stamp at `distance` from its centre, 0..255.
int brush_stamp_value(const BrushSettings& settings, double distance);
// Pixels between stamps: round(spacing / 100 x radius), at least 1.
int brush_step(const BrushSettings& settings);

class BrushStroke {
public:
    // Starts a stroke at (x, y), pixels with y from the top, and stamps there.
    // `start` is the mask as it was before the stroke (the tool's undo copy),
    // which a stroke that doesn't accumulate merges onto; `picture` is read
    // for similarity, `tables` for a colour range. 0, 1 for memory, 14 for
    // types that don't fit.
    [[nodiscard]] int begin(Image* mask, LineClasses* classes, const Image* start,
                            const Image* picture, const ColorRangeTables* tables,
                            const BrushSettings& settings, double x, double y, MaskChange* change);
    // The pointer moved: stamps at the spacing from the last stamp towards
    // (x, y). A move shorter than twice the spacing is put off. `change` gets
    // the box of the stamps (none when nothing was stamped).
    void move_to(double x, double y, MaskChange* change);

private:
    void stamp(double cx, double cy, MaskChange* change);
    void reference_colour(double x, double y);

    Image* mask_ = nullptr;
    LineClasses* classes_ = nullptr;
    const Image* start_ = nullptr;
    const Image* picture_ = nullptr;
    const ColorRangeTables* tables_ = nullptr;
    BrushSettings settings_;
    std::vector<std::uint8_t> stroke_;  // this stroke's greatest stamp at each pixel
    std::vector<std::uint8_t> line_rgb_;
    double last_x_ = 0, last_y_ = 0;
    int reference_[3] = {0, 0, 0};
};
