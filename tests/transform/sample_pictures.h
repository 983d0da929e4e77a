// Pictures of 8 or 16 bits made from plain numbers and read back as them,
// line 0 first, samples in memory order.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "core/image.h"

inline bool is_wide(int type) {
    return type == image_type_gray16 || type == image_type_colour16;
}
inline int channels(int type) {
    return type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
}

// The caller frees it.
inline Image image_of(const std::vector<int>& v, int w, int h, int type) {
    Image im;
    image_init(&im);
    EXPECT_EQ(image_alloc(&im, type, w, h, 72), 0);
    for (int y = 0; y < h; ++y)
        for (int i = 0; i < w * channels(type); ++i) {
            const int s = v[static_cast<std::size_t>(y) * w * channels(type) + i];
            if (is_wide(type))
                reinterpret_cast<std::uint16_t*>(im.rows[y])[i] = static_cast<std::uint16_t>(s);
            else
                im.rows[y][i] = static_cast<std::uint8_t>(s);
        }
    return im;
}

inline std::vector<int> samples_of(const Image& im) {
    std::vector<int> v;
    for (int y = 0; y < im.height; ++y)
        for (int i = 0; i < im.width * channels(im.type); ++i)
            v.push_back(is_wide(im.type) ? reinterpret_cast<const std::uint16_t*>(im.rows[y])[i]
                                         : im.rows[y][i]);
    return v;
}
