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
