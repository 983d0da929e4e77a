// Pictures of 8 or 16 bits made from plain numbers and read back as them,
// line 0 first, samples in memory order.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "core/image.h"
#include "transform/transform.h"

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

// The preview of the part x 50..99, y 40..69 of a 150 by 110 colour8 input
// at 1:1 against the same pixels of the apply.
inline void expect_preview_is_apply(const TransformDescriptor& d, void* params,
                                    WindowRecord& record, const char* what) {
    const int w = record.image.width, h = record.image.height;
    ImageHolder whole, part;
    ASSERT_EQ(transform_compute_image(d, params, &record.image, whole.get()), 0);
    ASSERT_EQ(image_alloc(part.get(), record.image.type, w, h, 72), 0);
    ComputeArgs args;
    args.input = &record;
    args.output = part.get();
    args.params = params;
    args.width = w;
    args.height = h;
    args.source_x = args.region_x1 = 50;
    args.source_y = args.region_y1 = 40;
    args.region_x2 = 99;
    args.region_y2 = 69;
    args.line_width = 50;
    args.line_count = 30;
    ASSERT_EQ(d.compute(args), 0);
    for (int y = 40; y < 70; ++y)
        ASSERT_TRUE(std::equal(part->rows[y] + 150, part->rows[y] + 300, whole->rows[y] + 150))
            << what << " line " << y;
}
