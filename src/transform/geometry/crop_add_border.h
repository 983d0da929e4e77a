// Crop/Add Border: its parameter block and the headless geometry that its
// panel, orvane-batch and the tests share. The transformation itself is
// crop_add_border_transform in the registry.
//
// Rectangles are in picture pixels, inclusive corners, x to the right and y
// down from the top row, as the picture is shown. A positive angle turns the
// picture clockwise as shown, about its centre. A binary picture gives a
// gray (type 2) result; the other types keep theirs.
#pragma once

#include <cstdint>

#include "core/image.h"

enum CropShape : std::int32_t { crop_rectangle = 0, crop_oval = 1, crop_diamond = 2 };
enum CropRule : std::int32_t { crop_align = 0, crop_as_is = 1 };         // "Crop Orientation:"
enum CropScaling : std::int32_t { crop_scale = 0, crop_dont_scale = 1 };  // both scaling rules
// The side "To:" gives when resizing.
enum CropResizeSide : std::int32_t { crop_side_wide = 0, crop_side_tall = 1, crop_side_short = 2,
                                     crop_side_long = 3 };

struct CropParams {
    // "physical": size units of the read-outs, proportions, margins (0) or
    // borders (1) entry, equal borders, and the border: 0 the colour, 1 the
    // border picture.
    std::int32_t size_units, proportions, margins_mode, equal_borders, border_kind;
    std::int32_t dims_width, dims_height;  // the picture the rectangle was set on; 0: none yet
    std::int32_t x1, y1, x2, y2;           // the crop rectangle
    std::int32_t rx1, ry1, rx2, ry2;       // the rectangle of the result within the output
    std::int32_t left, right, top, bottom, grid;  // border widths, composition guide
    double angle, softness, fspare1, fspare2, fspare3;  // degrees, 0..100 %
    std::int32_t red, green, blue;                      // border colour
    std::int32_t ratio_width, ratio_height;             // "Custom" proportions
    std::int32_t orientation_rule, crop_scaling, border_scaling;
    std::int32_t shape;  // "flags"
    std::int32_t resize_on, resize_unit, resize_side, resize_method;
    double resize_value, resize_a;
    std::int32_t border_image_index;  // in the workflow's image list; 0: the colour
    const Image* border_image;        // the chosen border picture, or null
};

struct CropRect {
    int x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    int width() const { return x2 - x1 + 1; }
    int height() const { return y2 - y1 + 1; }
    bool operator==(const CropRect&) const = default;
};

// Corners in order: x1 <= x2, y1 <= y2.
CropRect crop_normalise(CropRect r);

// The rectangle and borders a block gives for a w by h picture: the whole
// picture when the block has no rectangle yet (dims and cdims all 0); the
// rectangle as it stands when dims are 0; otherwise, when the
// picture differs from dims, turned by a quarter under "Align with image
// orientation" when their orientations differ, and scaled by the picture
// against dims under "Scale to image" (rectangle and borders each by their
// own rule).
struct CropLayout {
    CropRect rect;
    int left = 0, right = 0, top = 0, bottom = 0;
};
CropLayout crop_layout(const CropParams& p, int w, int h);

// Sets rdims, the rectangle of the result within the output, from the
// rectangle and the borders: what the workflow line records.
void crop_update_result_rect(CropParams& p);

// The bounding box of a w by h picture turned by `degrees`, grown evenly on
// both sides (w and h keep their parity).
void crop_rotated_size(int w, int h, double degrees, int& width, int& height);

// The feather of the soft edge: round(0.002 * softness * s), s the smaller
// side of the rectangle, held so that 4f < s.
int crop_feather(double softness, int width, int height);

// The output size before the optional resize, and after it.
void crop_output_size(const CropParams& p, const Image* input, int& width, int& height);

// The rectangle a drag of `handle` makes, held to w:h proportions when both
// are above 0. Handles: 0..3 the corners top-left, top-right, bottom-right,
// bottom-left; 4..7 the sides top, right, bottom, left; the opposite corner
// or side stays. `r` is the rectangle as dragged (normalised first).
enum CropHandle : int { handle_top_left = 0, handle_top_right, handle_bottom_right,
                        handle_bottom_left, handle_top, handle_right, handle_bottom, handle_left };
CropRect crop_constrain(CropRect r, int handle, int ratio_w, int ratio_h);

// What a press at (x, y) (picture pixels, fractions allowed) on the drawn
// rectangle takes: a handle within `reach` pixels of it, the inside to move
// it, or the outside (-1) to draw a new one.
inline constexpr int handle_move = 8;
int crop_hit(CropRect r, double x, double y, double reach);

// The rectangle while `handle` (or handle_move, or -1 for a new rectangle
// from the press) is dragged from `from` to `to`, held to w:h (0:0 free).
// A moved rectangle keeps its size.
CropRect crop_drag(CropRect start, int handle, double from_x, double from_y, double to_x,
                   double to_y, int ratio_w, int ratio_h);

// The angle after a Shift-drag from `from` to `to` about the picture's
// centre (cx, cy), starting at `degrees`: the turn of the pointer about the
// centre, clockwise positive as shown, kept within -180..180.
double crop_drag_angle(double degrees, double cx, double cy, double from_x, double from_y,
                       double to_x, double to_y);

// The w:h of the "Proportions:" entry (0 "Arbitrary": 0:0); "Custom" takes
// the block's ratio; the result is turned to the rectangle's orientation.
void crop_proportions(const CropParams& p, int index, int& ratio_w, int& ratio_h);
int crop_proportions_count();

// How often each cached stage was computed since the program started: a
// preview that changes only the border colour adds to `blend` alone.
struct CropStageCounts {
    int rotate = 0, mask = 0, blend = 0, resize = 0;
};
CropStageCounts crop_stage_counts();
// Frees the cached stages: the next run begins afresh.
void crop_stages_clear();
