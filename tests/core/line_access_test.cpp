#include "core/line_access.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core/image.h"
#include "core/tables.h"

namespace {

// Deterministic, position-dependent pixel values so that a wrong offset shows.
int pattern(int x, int y, int c) {
    return (x * 7 + y * 13 + c * 71) & 0xff;
}

void fill(Image* image) {
    for (int y = 0; y < image->height; ++y) {
        std::uint8_t* line = image->rows[y];
        for (int x = 0; x < image->width; ++x) {
            switch (image->type) {
                case image_type_binary:
                    if (pattern(x, y, 0) & 1)
                        image_bit_set(line, x);
                    else
                        image_bit_clear(line, x);
                    break;
                case image_type_gray8:
                    line[x] = static_cast<std::uint8_t>(pattern(x, y, 0));
                    break;
                case image_type_colour8:
                    for (int c = 0; c < 3; ++c)
                        line[x * 3 + c] = static_cast<std::uint8_t>(pattern(x, y, c));
                    break;
                case image_type_gray16:
                    reinterpret_cast<std::uint16_t*>(line)[x] =
                        static_cast<std::uint16_t>(pattern(x, y, 0) * 257 + 1);
                    break;
                case image_type_colour16:
                    for (int c = 0; c < 3; ++c)
                        reinterpret_cast<std::uint16_t*>(line)[x * 3 + c] =
                            static_cast<std::uint16_t>(pattern(x, y, c) * 257 + 1);
                    break;
            }
        }
    }
}

// Sample c of pixel (x, y) as the line access must deliver it, edges clamped.
int expected(const Image* image, int x, int y, int c) {
    x = std::clamp(x, 0, image->width - 1);
    y = std::clamp(y, 0, image->height - 1);
    const std::uint8_t* line = image->rows[y];
    switch (image->type) {
        case image_type_binary:
            return image_bit_get(line, x) ? 255 : 0;
        case image_type_gray8:
            return line[x];
        case image_type_colour8:
            return line[x * 3 + c];
        case image_type_gray16:
            return reinterpret_cast<const std::uint16_t*>(line)[x];
        default:
            return reinterpret_cast<const std::uint16_t*>(line)[x * 3 + c];
    }
}

int delivered(const Image* image, const std::uint8_t* line, int sample_index) {
    if (image_is_16bit(image)) return reinterpret_cast<const std::uint16_t*>(line)[sample_index];
    return line[sample_index];
}

int channels(const Image* image) {
    return image_is_colour(image) ? 3 : 1;
}

class LineSourceTypes : public ::testing::TestWithParam<int> {};

TEST_P(LineSourceTypes, SubsamplesAtEveryZoomAndRepeatsTheLastLine) {
    ImageHolder image;
    ASSERT_EQ(image_alloc(image.get(), GetParam(), 37, 11, 100.0), 0);
    fill(image.get());
    for (int zoom : {1, 2, 5, -2, -3, -7}) {
        const int step = zoom < 0 ? -zoom : 1;
        const int x = 2;
        const int count = (37 - 1 - x) / step + 1;
        LineSource source;
        line_source_init(&source);
        ASSERT_EQ(line_source_open(image.get(), x, 1, zoom, count, &source), 0);
        // In place exactly when nothing needs converting or skipping.
        EXPECT_EQ(source.buffer == nullptr, step == 1 && GetParam() != image_type_binary);
        for (int n = 0; n < 8; ++n) {
            const std::uint8_t* line = line_source_next(&source);
            const int y = std::min(1 + n * step, 10);  // past the top: the last line again
            for (int i = 0; i < count; ++i)
                for (int c = 0; c < channels(image.get()); ++c)
                    ASSERT_EQ(delivered(image.get(), line, i * channels(image.get()) + c),
                              expected(image.get(), x + i * step, y, c))
                        << "zoom " << zoom << " line " << n << " pixel " << i;
        }
        line_source_close(&source);
        line_source_close(&source);  // closing twice is harmless
    }
}

INSTANTIATE_TEST_SUITE_P(AllTypes, LineSourceTypes,
                         ::testing::Values(image_type_binary, image_type_gray8, image_type_colour8,
                                           image_type_gray16, image_type_colour16));

class NeighbourSourceTypes : public ::testing::TestWithParam<int> {};

// Every mode must deliver the same neighbourhood values as direct clamped reads.
TEST_P(NeighbourSourceTypes, AllModesDeliverClampedNeighbourhoods) {
    ImageHolder image;
    ASSERT_EQ(image_alloc(image.get(), GetParam(), 41, 9, 100.0), 0);
    fill(image.get());
    struct Case {
        int x, zoom, count, radius, mode;
    };
    const Case cases[] = {
        {0, 1, 10, 2, 1},   // overhangs the left edge: buffered, column 0 repeated
        {5, 1, 10, 2, 0},   // same request moved inward: direct pointers
        {30, 1, 11, 3, 1},  // overhangs the right edge
        {3, -2, 8, 2, 0},   // reduced, inside
        {0, -2, 8, 2, 1},   // reduced, overhanging
        {1, -9, 5, 1, 2},   // step larger than the window, span past the end: gathered
        {0, -9, 5, 1, 2},   // gathered and overhanging both edges
    };
    for (const Case& k : cases) {
        NeighbourSource source;
        neighbour_source_init(&source);
        ASSERT_EQ(neighbour_source_open(image.get(), k.x, 0, k.zoom, k.count, k.radius, &source),
                  0);
        const int expected_mode =
            GetParam() == image_type_binary && k.mode == 0 ? 1 : k.mode;  // binary always copies
        EXPECT_EQ(source.mode, expected_mode) << "x " << k.x << " zoom " << k.zoom;
        const int step = k.zoom < 0 ? -k.zoom : 1;
        const int ch = channels(image.get());
        for (int n = 0; n < 6; ++n) {
            std::uint8_t* const* lines = neighbour_source_next(&source);
            const int centre = std::min(n * step, 8);
            for (int dy = -k.radius; dy <= k.radius; ++dy) {
                const std::uint8_t* line = lines[dy + k.radius];
                for (int i = 0; i < k.count; ++i)
                    for (int dx = 0; dx <= 2 * k.radius; ++dx)
                        for (int c = 0; c < ch; ++c)
                            ASSERT_EQ(delivered(image.get(), line, i * source.stride + dx * ch + c),
                                      expected(image.get(), k.x + i * step - k.radius + dx,
                                               centre + dy, c))
                                << "x " << k.x << " zoom " << k.zoom << " line " << n;
            }
        }
        neighbour_source_close(&source);
    }
}

INSTANTIATE_TEST_SUITE_P(AllTypes, NeighbourSourceTypes,
                         ::testing::Values(image_type_binary, image_type_gray8, image_type_colour8,
                                           image_type_gray16, image_type_colour16));

// Zoom 4 with the span ending inside a replicated group, on a picture whose
// height is not a multiple of 4.
TEST(LineSink, ReplicationIsCutAtTheSpanAndAtTheLastLine) {
    for (int type : {image_type_gray8, image_type_colour8, image_type_binary}) {
        ImageHolder image;
        ASSERT_EQ(image_alloc(image.get(), type, 24, 6, 100.0), 0);
        const int bytes_per_line = image->row_bytes;
        for (int y = 0; y < 6; ++y)
            std::memset(image->rows[y], 0x11, bytes_per_line);
        const int x_first = 4, x_last = 13, zoom = 4;
        LineSink sink;
        line_sink_init(&sink);
        ASSERT_EQ(line_sink_open(image.get(), zoom, x_first, x_last, 0, false, &sink), 0);
        const int ch = type == image_type_colour8 ? 3 : 1;
        for (int out_line = 0; out_line < 2; ++out_line) {
            std::uint8_t* line = line_sink_line(&sink);
            ASSERT_EQ(line, sink.buffer);
            for (int s = 0; s < 3; ++s) {
                const int v = (out_line * 3 + s) & 1 ? 255 : 0;
                if (type == image_type_binary) {
                    if (v)
                        image_bit_set(line, s);
                    else
                        image_bit_clear(line, s);
                } else {
                    for (int c = 0; c < ch; ++c)
                        line[s * ch + c] = static_cast<std::uint8_t>(
                            type == image_type_gray8 ? 40 * s + out_line : 40 * s + 10 * c);
                }
            }
            line_sink_commit(&sink);
        }
        line_sink_commit(&sink);  // past the end: nothing happens
        line_sink_close(&sink);

        for (int y = 0; y < 6; ++y) {
            const int out_line = y / zoom;
            for (int x = 0; x < 24; ++x) {
                const bool written = x >= x_first && x <= x_last;
                const int s = (x - x_first) / zoom;
                for (int c = 0; c < ch; ++c) {
                    int got, want;
                    if (type == image_type_binary) {
                        got = image_bit_get(image->rows[y], x);
                        // Whole bytes of untouched pixels read 0x11's bits.
                        want = written ? ((out_line * 3 + s) & 1) : ((0x11 >> (7 - (x & 7))) & 1);
                        // Vertical copies move whole bytes of the span.
                        if (!written && y % zoom != 0 && x / 8 >= x_first / 8 &&
                            x / 8 <= x_last / 8)
                            want = image_bit_get(image->rows[y - y % zoom], x);
                    } else {
                        got = image->rows[y][x * ch + c];
                        want = !written                   ? 0x11
                               : type == image_type_gray8 ? 40 * s + out_line
                                                          : 40 * s + 10 * c;
                    }
                    ASSERT_EQ(got, want) << "type " << type << " x " << x << " y " << y;
                }
            }
        }
    }
}

TEST(AmountRule, StrengthsAndTheirMeaning) {
    struct Case {
        int low, high, a, b;
        bool none, full, masked;
    };
    const Case cases[] = {
        {0, -1, 0, -1, true, false, false},        {0, 0, 0, 0, true, false, true},
        {0, 1024, 0, 255, false, false, true},     {1024, -1, 255, -1, false, true, false},
        {1024, 512, 255, 128, false, false, true},  // (512 * 255 + 512) / 1024
        {2, -1, 0, -1, true, false, false},        {3, -1, 1, -1, false, false, false},
    };
    for (const Case& c : cases) {
        const AmountStrength s = amount_strength(c.low, c.high);
        EXPECT_EQ(s.a, c.a) << c.low << " " << c.high;
        EXPECT_EQ(s.b, c.b) << c.low << " " << c.high;
        EXPECT_EQ((std::vector{s.none(), s.full(), s.masked()}),
                  (std::vector{c.none, c.full, c.masked}))
            << c.low << " " << c.high;
    }
}

TEST(AmountRule, BlendFollowsTheMaskBetweenItsEnds) {
    const std::uint8_t input[6] = {0, 0, 0, 200, 200, 200};
    const std::uint8_t computed[6] = {255, 255, 255, 100, 100, 100};
    const std::uint8_t mask[2] = {0, 255};
    const AmountStrength s = amount_strength(256, 1024);  // a = 64, b = 255
    std::uint8_t out[6];
    std::memcpy(out, computed, 6);
    amount_blend_line8(input, out, 2, 3, s, mask);
    // Black mask pixel: strength a; white: strength b (the result as computed).
    EXPECT_EQ(out[0], (255 * 64 + 127) / 255);
    EXPECT_EQ(out[3], 100);

    std::uint16_t in16[2] = {0, 60000};
    std::uint16_t out16[2] = {65535, 0};
    amount_blend_line16(in16, out16, 2, 1, amount_strength(512, -1), nullptr);
    EXPECT_EQ(out16[0], 65535 * 128 / 255);
    EXPECT_EQ(out16[1], 60000 - 60000 * 128 / 255);
}

}  // namespace
