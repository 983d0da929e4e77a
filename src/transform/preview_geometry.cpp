#include "transform/preview_geometry.h"

#include <algorithm>

namespace {

int reduced(int size, int z) {
    return (size + z - 1) / z;
}

int limit_of(int size, int max_preview_size) {
    switch (max_preview_size) {
        case preview_size_three_quarters:
            return size * 3 / 4;
        case preview_size_whole:
            return size;
        default:
            return size / 2;
    }
}

}  // namespace

int preview_reduction(int input_width, int input_height, const PreviewArea& area,
                      int max_preview_size) {
    const int limit_w = limit_of(area.width, max_preview_size);
    const int limit_h = limit_of(area.height, max_preview_size);
    const int largest = std::max({input_width, input_height, 1});
    for (int z = 1; z < largest; ++z) {
        if (reduced(input_width, z) + area.frame_width <= limit_w &&
            reduced(input_height, z) + area.frame_height <= limit_h)
            return z;
    }
    return largest;
}

PreviewPoint preview_location(int location, const PreviewArea& area, int window_width,
                              int window_height) {
    const bool bottom_left = location == 1 || location == 3;
    PreviewPoint p;
    p.x = bottom_left ? 0 : std::max(0, area.width - window_width);
    p.y = bottom_left ? std::max(0, area.height - window_height) : 0;
    return p;
}

PreviewPlan preview_plan(int input_width, int input_height, const PreviewArea& area,
                         int max_preview_size, int location) {
    const int z = preview_reduction(input_width, input_height, area, max_preview_size);
    PreviewPlan plan;
    plan.zoom = z < 2 ? z : -z;
    plan.view_width = reduced(input_width, z);
    plan.view_height = reduced(input_height, z);
    plan.window_width = plan.view_width + area.frame_width;
    plan.window_height = plan.view_height + area.frame_height;
    plan.position = preview_location(location, area, plan.window_width, plan.window_height);
    return plan;
}

PreviewSource preview_source(int zoom, const TransformRegion& region, int view_left,
                             int view_bottom, int input_height) {
    PreviewSource s;
    int offset_x, offset_y;
    if (zoom < 1) {
        const int n = -zoom;
        offset_x = region.x1 * n;
        offset_y = region.y1 * n;
        s.line_width = region.width();
        s.line_count = region.height();
    } else {
        offset_x = region.x1 / zoom;
        offset_y = region.y1 / zoom;
        s.line_width = (region.width() + zoom - 1) / zoom;
        s.line_count = (region.height() + zoom - 1) / zoom;
    }
    s.source_x = view_left + offset_x;
    s.source_y = input_height - 1 - view_bottom + offset_y;
    return s;
}

PreviewPoint result_cascade(PreviewPoint input_position, int result_count, PreviewPoint step) {
    return {input_position.x + result_count * step.x, input_position.y + result_count * step.y};
}
