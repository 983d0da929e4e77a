// What the mask tool keeps beside a mask: a class for each line (all black,
// all white, mixed) so that drawing can skip lines it cannot change, and the
// rule by which a new coverage merges into the mask under each mode.
#pragma once

#include <cstdint>
#include <vector>

#include "core/image.h"

// How a new region combines with the mask.
enum MaskMode : int {
    mask_mode_add = 0,       // max(m, c)
    mask_mode_subtract = 1,  // clamp(m - c)
    mask_mode_overlap = 2,   // min(m, c)
    mask_mode_invert = 3,    // m XOR c: bitwise, also on partial values
};

enum LineClass : std::uint8_t {
    line_black = 0,
    line_white = 1,
    line_mixed = 2,
};

// One class per line of the mask, indexed as the Image's lines (0 at the bottom).
using LineClasses = std::vector<std::uint8_t>;

// The class of one line: the first byte decides unless it is 0 or 255, then
// the scan stops at the first byte that differs from it.
int line_class(const std::uint8_t* line, int width);
// Classes of every line of a type 2 mask; `classes` gets `height` entries.
void line_classes_compute(const Image& mask, LineClasses& classes);

// A new coverage c merged into mask value m.
inline int mask_merge(int m, int c, int mode) {
    switch (mode) {
        case mask_mode_add:
            return m > c ? m : c;
        case mask_mode_subtract:
            return m > c ? m - c : 0;
        case mask_mode_overlap:
            return m < c ? m : c;
        default:
            return m ^ c;
    }
}
// Flood Fill's merge: bitwise OR for add and AND for overlap.
inline int mask_merge_bitwise(int m, int c, int mode) {
    if (mode == mask_mode_add) return m | c;
    if (mode == mask_mode_overlap) return m & c;
    return mask_merge(m, c, mode);
}
// Whether a line of this class is left unread by the mode: adding to white,
// and subtracting from or overlapping with black, change nothing.
inline bool mask_mode_skips(int line_class_value, int mode) {
    if (mode == mask_mode_add) return line_class_value == line_white;
    if (mode == mask_mode_subtract || mode == mask_mode_overlap)
        return line_class_value == line_black;
    return false;
}
