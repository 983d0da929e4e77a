#include "file/tiff_reader.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <string>
#include <vector>

#include "core/image.h"
#include "core/preferences.h"
#include "core/progress.h"
#include "file/file_test_support.h"
#include "file/tiff_writer.h"

using namespace file_test;

namespace {

::testing::AssertionResult is_gray_file(const Image* image, int width, int height) {
    if (image->type != image_type_gray8 || image->width != width || image->height != height)
        return ::testing::AssertionFailure()
               << "type " << image->type << " size " << image->width << "x" << image->height;
    const Picture p = picture_of(image);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (p.at(x, y) != gray_file_pixel(x, y))
                return ::testing::AssertionFailure() << "pixel " << x << ", " << y;
    return ::testing::AssertionSuccess();
}

TEST(TiffReader, HandMadeFilesInBothByteOrders) {
    for (bool big : {false, true}) {
        ImageHolder image;
        ASSERT_EQ(read_own_bytes(gray_file(13, 11, 4, big).build(), image.get()), 0);
        EXPECT_TRUE(is_gray_file(image.get(), 13, 11));
    }
    // The two order bytes must agree.
    std::vector<std::uint8_t> bytes = gray_file(5, 4, 4).build();
    bytes[1] = 'M';
    ImageHolder image;
    EXPECT_EQ(read_own_bytes(bytes, image.get()), 56);
}

// One tag of a 6 by 9 gray file replaced (or dropped, given no values).
struct TagCase {
    int rows_per_strip;
    int tag;
    int type;
    std::vector<std::uint32_t> values;
    int error;
};

class TiffReaderTags : public ::testing::TestWithParam<TagCase> {};

TEST_P(TiffReaderTags, GiveTheirErrorsOrThePicture) {
    const TagCase c = GetParam();
    HandMade t = gray_file(6, 9, c.rows_per_strip);
    t.set(c.tag, c.type, c.values);
    ImageHolder image;
    ASSERT_EQ(read_own_bytes(t.build(), image.get()), c.error);
    if (c.error != 0) {
        EXPECT_EQ(image->type, 0);
    } else if (c.tag != 262) {
        EXPECT_TRUE(is_gray_file(image.get(), 6, 9));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, TiffReaderTags,
    ::testing::Values(
        TagCase{9, 254, 4, {4}, 145}, TagCase{9, 254, 4, {3}, 0}, TagCase{9, 255, 3, {3}, 145},
        TagCase{9, 255, 3, {2}, 0}, TagCase{9, 255, 3, {0}, 145}, TagCase{9, 258, 3, {2}, 146},
        TagCase{9, 258, 3, {12}, 146}, TagCase{9, 258, 3, {8, 8, 16}, 148},
        TagCase{9, 258, 3, {4, 4, 4}, 147}, TagCase{9, 258, 3, {8, 8}, 149},
        TagCase{9, 258, 3, {8, 8, 8, 8, 8}, 149}, TagCase{9, 259, 3, {7}, 141},
        TagCase{9, 259, 3, {32773}, 141}, TagCase{9, 262, 3, {3}, 150}, TagCase{9, 262, 3, {2}, 0},
        TagCase{9, 266, 3, {2}, 151}, TagCase{9, 274, 3, {0}, 142}, TagCase{9, 274, 3, {9}, 142},
        TagCase{9, 277, 3, {2}, 149}, TagCase{9, 284, 3, {2}, 152}, TagCase{9, 284, 3, {1}, 0},
        TagCase{9, 317, 3, {3}, 143}, TagCase{9, 317, 3, {1}, 0},
        // Missing tags; a single strip without a count holds the whole picture.
        TagCase{9, 256, 4, {}, 155}, TagCase{9, 257, 4, {}, 155}, TagCase{9, 258, 3, {}, 155},
        TagCase{9, 273, 4, {}, 155}, TagCase{9, 279, 4, {}, 0}, TagCase{9, 278, 4, {}, 0},
        // Strip tables: counts and offsets of different lengths, several strips
        // and no counts, fewer strips than the rows need, offsets beyond the file.
        TagCase{3, 279, 4, {18, 18}, 155}, TagCase{3, 279, 4, {}, 153},
        TagCase{3, 278, 4, {2}, 155}, TagCase{3, 273, 4, {8, 26, 0xFFFFFF00u}, 56},
        // Wrong byte counts of uncompressed strips are repaired.
        TagCase{3, 279, 4, {0, 0, 0}, 0}, TagCase{3, 279, 4, {18, 17, 18}, 0},
        TagCase{3, 279, 4, {18, 18, 1000}, 0}));

TEST(TiffReader, OddStripTables) {
    ImageHolder image;
    // A single strip reads only its byte count; the rest stays 0.
    HandMade t = gray_file(8, 4, 4);
    t.set(279, 4, {10});
    ASSERT_EQ(read_own_bytes(t.build(), image.get()), 0);
    const Picture p = picture_of(image.get());
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(p.at(i % 8, i / 8), i < 10 ? gray_file_pixel(i % 8, i / 8) : 0u) << i;
    // An absurd strip count whose table cannot be in the file.
    std::vector<std::uint8_t> bytes = gray_file(6, 9, 3).build();
    for (std::size_t i = 8; i + 12 <= bytes.size(); ++i) {
        if (bytes[i] == 0x11 && bytes[i + 1] == 0x01 && bytes[i + 2] == 4) {  // tag 273 LONG
            bytes[i + 4] = bytes[i + 5] = bytes[i + 6] = 0xFF;
            bytes[i + 7] = 0x3F;
            break;
        }
    }
    EXPECT_EQ(read_own_bytes(bytes, image.get()), 56);
    // Differencing on a binary image is refused.
    t = gray_file(8, 2, 2);
    t.set(258, 3, {1}).set(317, 3, {2});
    EXPECT_EQ(read_own_bytes(t.build(), image.get()), 154);
}

TEST(TiffReader, FourSamplesOfGrayBitsReadAsColour) {
    // BitsPerSample 8 with count 1 and SamplesPerPixel 4: the colour type, with
    // lines of four bytes a pixel, the fourth dropped.
    HandMade t;
    std::vector<std::uint8_t> strip;
    for (int i = 0; i < 3 * 2 * 4; ++i)
        strip.push_back(static_cast<std::uint8_t>(10 * i));
    t.tag(256, 4, {3}).tag(257, 4, {2}).tag(258, 3, {8}).tag(262, 3, {2});
    t.tag(273, 4, {t.data(strip)}).tag(277, 3, {4}).tag(279, 4, {24});
    ImageHolder image;
    ASSERT_EQ(read_own_bytes(t.build(), image.get()), 0);
    ASSERT_EQ(image->type, image_type_colour8);
    const Picture p = picture_of(image.get());
    for (int i = 0; i < 3 * 2 * 3; ++i)
        EXPECT_EQ(p.samples[i], static_cast<std::uint32_t>(10 * (i / 3 * 4 + i % 3)));
}

TEST(TiffReader, CompressedStrips) {
    std::vector<std::uint8_t> pixels(12 * 5);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<std::uint8_t>(i * 5);
    const std::vector<std::uint32_t> expected(pixels.begin(), pixels.end());
    auto zip = [](std::vector<std::uint8_t> data) {
        uLongf size = compressBound(data.size());
        std::vector<std::uint8_t> out(size);
        EXPECT_EQ(compress(out.data(), &size, data.data(), data.size()), Z_OK);
        out.resize(size);
        return out;
    };
    ImageHolder image;
    auto read = [&](const std::vector<std::uint8_t>& strip, unsigned compression) {
        HandMade t;
        t.tag(256, 4, {12}).tag(257, 4, {5}).tag(258, 3, {8}).tag(259, 3, {compression});
        t.tag(262, 3, {1}).tag(273, 4, {t.data(strip)});
        t.tag(279, 4, {static_cast<std::uint32_t>(strip.size())});
        return read_own_bytes(t.build(), image.get());
    };
    for (unsigned method : {8u, 32946u}) {
        ASSERT_EQ(read(zip(pixels), method), 0);
        EXPECT_EQ(picture_of(image.get()).samples, expected);
    }
    // A Zip strip that decodes to more than the strip holds is accepted.
    std::vector<std::uint8_t> longer = pixels;
    longer.resize(pixels.size() + 500, 0x77);
    ASSERT_EQ(read(zip(longer), 8), 0);
    EXPECT_EQ(picture_of(image.get()).samples, expected);
    // Broken Zip data, and a strip cut short, are read errors.
    std::vector<std::uint8_t> broken = zip(pixels);
    broken[3] ^= 0x55;
    broken[4] ^= 0x55;
    EXPECT_EQ(read(broken, 8), 56);
    std::vector<std::uint8_t> cut = zip(pixels);
    cut.resize(cut.size() / 2);
    EXPECT_EQ(read(cut, 8), 56);
    // LZW data that does not start with a clear code.
    EXPECT_EQ(read({0x12, 0x34, 0x56}, 5), 156);
}

TEST(TiffReader, Resolution) {
    HandMade t = gray_file(4, 4, 4);
    ImageHolder image;
    const double saved = preferences().defaultres;
    preferences().defaultres = 123.0;
    ASSERT_EQ(read_own_bytes(t.build(), image.get()), 0);
    preferences().defaultres = saved;
    EXPECT_DOUBLE_EQ(image->resolution, 123.0);
    t.tag(282, 5, {600, 2});
    ASSERT_EQ(read_own_bytes(t.build(), image.get()), 0);
    EXPECT_DOUBLE_EQ(image->resolution, 300.0);
    t.tag(296, 3, {3});  // pixels per centimetre
    ASSERT_EQ(read_own_bytes(t.build(), image.get()), 0);
    EXPECT_DOUBLE_EQ(image->resolution, 300.0 * 2.540005);
}

void save(const std::string& path, const Image* image) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(TiffWrite(f, image, {}, 0, nullptr, 0, tiff_compression_lzw, false, false), 0);
    ASSERT_EQ(std::fclose(f), 0);
}

TEST(TiffReader, OrientationIsApplied) {
    ScratchFolder dir;
    const std::string path = dir.file("o.tif");
    for (int maxval : {1, 255, 65535}) {
        const int channels = maxval == 255 ? 3 : 1;
        const Picture stored = make_picture(11, 7, channels, maxval, 9);
        for (int o = 1; o <= 8; ++o) {
            SCOPED_TRACE("maxval " + std::to_string(maxval) + " orientation " + std::to_string(o));
            ASSERT_TRUE(write_with_libtiff(path, stored, {.orientation = o}));
            ImageHolder image;
            ASSERT_EQ(read_own(path, image.get()), 0);
            // Where the TIFF standard puts row 0 and column 0 for each value.
            const Picture shown = picture_of(image.get());
            ASSERT_EQ(shown.width, o >= 5 ? 7 : 11);
            for (int y = 0; y < shown.height; ++y) {
                for (int x = 0; x < shown.width; ++x) {
                    int sx = o >= 5 ? y : x;
                    int sy = o >= 5 ? x : y;
                    if (o == 2 || o == 3 || o == 7 || o == 8) sx = 10 - sx;
                    if (o == 3 || o == 4 || o == 6 || o == 7) sy = 6 - sy;
                    for (int c = 0; c < channels; ++c)
                        ASSERT_EQ(shown.at(x, y, c), stored.at(sx, sy, c)) << x << ", " << y;
                }
            }
            int code = -1;
            ASSERT_EQ(TiffProbeOrientation(path.c_str(), &code), 0);
            EXPECT_EQ(code, std::vector<int>({0, 4, 2, 6, 5, 1, 7, 3})[o - 1]);
            if (o != 6) continue;
            // Saved again, the file is upright with orientation 1.
            save(dir.file("saved.tif"), image.get());
            TiffSummary summary;
            ASSERT_EQ(TiffProbeSummary(dir.file("saved.tif").c_str(), &summary), 0);
            EXPECT_EQ(summary.orientation, 1);
            ImageHolder again;
            ASSERT_EQ(read_own(dir.file("saved.tif"), again.get()), 0);
            EXPECT_EQ(max_difference(shown, picture_of(again.get())), 0);
        }
    }
}

TEST(TiffReader, ProgressAndCancel) {
    ScratchFolder dir;
    ImageHolder image;
    ASSERT_EQ(image_of(make_picture(500, 400, 3, 255, 2), image.get()), 0);  // over 150000 pixels
    save(dir.file("big.tif"), image.get());
    CancellingDisplay display(1);
    ImageHolder read;
    EXPECT_EQ(TiffRead(dir.file("big.tif").c_str(), read.get(), true), 11);
    EXPECT_EQ(read->type, 0);
    EXPECT_EQ(display.title, "File Open");
    EXPECT_TRUE(display.can_cancel);
    EXPECT_EQ(display.ends, 1);
}

}  // namespace
