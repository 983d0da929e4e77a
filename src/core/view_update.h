// The copy from a window's picture to its two screen copies: the visible part
// at the window's zoom, first in the 8-bit form of the picture's type
// (`view_copy`), then as blue-green-red for painting (`display_copy`).
#pragma once

#include "core/window_record.h"

// Rebuilds both copies for the whole view as the record's geometry gives it
// (zoom, view_x1/view_y1, view_width/view_height). Reductions average each
// n by n block when `smooth`, else take its top-left pixel. Types other than
// 1, 2, 3, 6 and 7 leave the copies empty. Returns 0 or an allocation code;
// on failure both copies are left empty.
[[nodiscard]] int view_update(WindowRecord* record, bool smooth);

// Recomputes the inclusive region (x1, y1)-(x2, y2) of both copies, in view
// pixels counted from the view's top left, from the record's current
// position. The copies must already have the view's size; the region is
// clipped to them. Writes exactly what view_update writes there.
void view_update_region(WindowRecord* record, int x1, int y1, int x2, int y2, bool smooth);

// A screen copy that something else computed (a transformation's preview):
// rebuilds the display copy from `view_copy` in the inclusive region, in view
// pixels from the top left. A display copy of another size is made anew, and
// then filled whole. Returns 0 or an allocation code.
[[nodiscard]] int view_display_update(WindowRecord* record, int x1, int y1, int x2, int y2);

// How a scroll was carried out.
enum class ViewScroll {
    unchanged,  // the position was already there
    shifted,    // the copies were moved and only the uncovered strips recomputed
    rebuilt,    // no overlap (or no copies to move): the whole view was recomputed
};

// Moves the view to (`view_x1`, `view_y1`) in zoomed pixels, which the caller
// has limited to the scroll range. When the old and new views overlap, the
// copies are shifted and only the uncovered rows and columns are recomputed;
// otherwise, and always with a `display_scale` of 2 or more, the whole view
// is. The record's view and picture rectangles follow the new position.
// `code` gets 0 or the allocation code of a full rebuild.
ViewScroll view_scroll(WindowRecord* record, int view_x1, int view_y1, bool smooth, int* code);
