// The arithmetic of preview and result windows, apart from any window: how
// much a preview reduces its input, where it stands, which input pixels a
// region of it reads, and where successive results cascade.
#pragma once

#include "transform/transform.h"

// Where a preview can go: the main area's client size, or the pane of the
// window that holds the input when that isn't the main area (a workflow
// window, the raw converter). `frame_width`, `frame_height`: what a window
// adds around its view (borders, title bar).
struct PreviewArea {
    int width = 0;
    int height = 0;
    int frame_width = 0;
    int frame_height = 0;
    bool main_area = true;
};

struct PreviewPoint {
    int x = 0;
    int y = 0;
    bool operator==(const PreviewPoint&) const = default;
};

// What preview_create decides before it makes the window.
struct PreviewPlan {
    int zoom = 1;        // z for z below 2, else -z
    int view_width = 0;  // the reduced input: (input_width + z - 1) / z
    int view_height = 0;
    PreviewPoint position;  // of the window's outer corner, in the area
    int window_width = 0;   // view plus frame
    int window_height = 0;
};

// The `maxpreviewsize` preference: half, three quarters or the whole area.
inline constexpr int preview_size_half = 0;
inline constexpr int preview_size_three_quarters = 1;
inline constexpr int preview_size_whole = 2;

// The smallest whole factor z >= 1 at which the reduced input plus the frame
// fits the limit that `max_preview_size` sets in both directions. A picture
// that fits nowhere gets the factor that reduces it to one pixel.
int preview_reduction(int input_width, int input_height, const PreviewArea& area,
                      int max_preview_size);

// The window's outer corner by `previewlocation`: 0 and 2 the top right corner
// of the area, 1 and 3 the bottom left. Never left of or above the area.
PreviewPoint preview_location(int preview_location, const PreviewArea& area, int window_width,
                              int window_height);

PreviewPlan preview_plan(int input_width, int input_height, const PreviewArea& area,
                         int max_preview_size, int preview_location);

// The input that a region of a preview reads.
struct PreviewSource {
    int source_x = 0;
    int source_y = 0;  // in the Image's line numbering, line 0 at the bottom
    int line_width = 0;
    int line_count = 0;
    bool operator==(const PreviewSource&) const = default;
};

// `region` in the preview's output numbering (y as Image lines, 0 at the
// bottom); `view_left` and `view_bottom` the window's view on the input
// (image_x1, and image_y2 counted from the top of the picture). Reduced views
// (zoom -n) read every n-th pixel from x1 * n on, one input pixel an output
// pixel; magnified ones (zoom n >= 1) read from x1 / n the pixels that cover
// the region.
PreviewSource preview_source(int zoom, const TransformRegion& region, int view_left,
                             int view_bottom, int input_height);

// Where the n-th result of a panel goes: the input window's position plus n
// steps (a quarter of a button height across, a title bar down).
PreviewPoint result_cascade(PreviewPoint input_position, int result_count, PreviewPoint step);
