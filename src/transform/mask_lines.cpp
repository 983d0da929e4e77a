#include "transform/mask_lines.h"

#include "core/parallel.h"

int line_class(const std::uint8_t* line, int width) {
    if (width <= 0) return line_black;
    const std::uint8_t first = line[0];
    if (first != 0 && first != 255) return line_mixed;
    for (int x = 1; x < width; ++x)
        if (line[x] != first) return line_mixed;
    return first == 0 ? line_black : line_white;
}

void line_classes_compute(const Image& mask, LineClasses& classes) {
    classes.assign(static_cast<std::size_t>(mask.height > 0 ? mask.height : 0), line_black);
    if (mask.type != image_type_gray8) return;
    constexpr int band = 64;
    parallel_for((mask.height + band - 1) / band, [&](int b) {
        const int end = b * band + band < mask.height ? b * band + band : mask.height;
        for (int y = b * band; y < end; ++y)
            classes[static_cast<std::size_t>(y)] =
                static_cast<std::uint8_t>(line_class(mask.rows[y], mask.width));
    });
}
