#include "mask/outline_file.h"

#include <algorithm>

#include "core/format.h"
#include "core/settings_text.h"

namespace {

constexpr int read_error = 114;
constexpr int write_error = 115;

}  // namespace

std::string_view outline_word(OutlineKind kind) {
    return kind == OutlineKind::polygon ? "Polygon" : "Spline";
}

std::string_view outline_label(OutlineKind kind) {
    return kind == OutlineKind::polygon ? "Polygon Files" : "Spline Files";
}

std::string_view outline_extension(OutlineKind kind) {
    return kind == OutlineKind::polygon ? ".poly" : ".spline";
}

int outline_read(const std::string& path, OutlineKind kind, int picture_width, int picture_height,
                 std::vector<OutlinePoint>& points) {
    points.clear();
    TextFile file;
    if (const int code = text_open(path, file)) return code;
    const double scale = std::min(picture_width, picture_height);
    std::string line;
    Tokens tokens;
    if (line_read(file, line, settings_line_max) != 0) return read_error;
    if (tokenize(line, tokens) != 2 || tokens[0] != outline_word(kind) || tokens[1] != "1.0")
        return read_error;
    while (true) {
        if (line_read(file, line, settings_line_max) != 0) {
            points.clear();
            return read_error;
        }
        tokenize(line, tokens);
        if (keyword_equals(tokens[0], "end")) return 0;
        if (keyword_equals(tokens[0], "npts")) {
            if (token_integer(tokens[1]) > outline_points_max) {
                points.clear();
                return read_error;
            }
        } else if (keyword_equals(tokens[0], "vertex") &&
                   points.size() < static_cast<std::size_t>(outline_points_max)) {
            points.push_back({token_real(tokens[2]) * scale, token_real(tokens[3]) * scale});
        } else {
            points.clear();
            return read_error;
        }
    }
}

int outline_write(const std::string& path, OutlineKind kind, int picture_width, int picture_height,
                  const std::vector<OutlinePoint>& points) {
    TextFile file;
    if (text_create(path, file) != 0) return write_error;
    const double scale = std::max(picture_width, picture_height);
    int code = line_write(file, format_text("%s 1.0", outline_word(kind)));
    if (code == 0) code = line_write(file, format_text("npts %d", static_cast<int>(points.size())));
    for (std::size_t i = 0; code == 0 && i < points.size(); ++i)
        code = line_write(file, format_text("vertex %d %4f %4f", static_cast<int>(i),
                                            points[i].x / scale, points[i].y / scale));
    if (code == 0) code = line_write(file, "end");
    return code == 0 ? 0 : write_error;
}
