// Polygon and spline outlines saved as text: "Polygon 1.0" or "Spline 1.0",
// "npts %d", one "vertex %d %4f %4f" a point, "end". Coordinates are stored
// relative to the picture: written divided by its larger side, read
// multiplied by its smaller side. Old files depend on that asymmetry, so on
// a picture that isn't square an outline comes back reduced by the ratio of
// the sides.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "transform/outline.h"

inline constexpr int outline_points_max = 2000;

enum class OutlineKind { polygon, spline };

// The header word, the file type label and the extension of each kind.
std::string_view outline_word(OutlineKind kind);
std::string_view outline_label(OutlineKind kind);
std::string_view outline_extension(OutlineKind kind);

// Reads the points in file order. 0; 4 when the file can't be opened; 114
// for a first line other than the kind's word and "1.0" (two tokens), an
// unknown keyword, more than 2000 points, or an end before "end".
[[nodiscard]] int outline_read(const std::string& path, OutlineKind kind, int picture_width,
                               int picture_height, std::vector<OutlinePoint>& points);
// 0, or 115 when the file can't be written.
[[nodiscard]] int outline_write(const std::string& path, OutlineKind kind, int picture_width,
                                int picture_height, const std::vector<OutlinePoint>& points);
