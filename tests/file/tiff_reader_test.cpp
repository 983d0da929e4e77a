#include "file/tiff_reader.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <functional>
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

void save(const std::string& path, const Image* image, bool thumbnail = false,
          const std::vector<std::uint8_t>& profile = {}) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(TiffWrite(f, image, {}, profile.size(), profile.empty() ? nullptr : profile.data(), 0,
                        tiff_compression_lzw, thumbnail, false),
              0);
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

TEST(TiffReader, Probes) {
    ScratchFolder dir;
    ImageHolder image;
    ASSERT_EQ(image_of(make_picture(640, 480, 3, 255, 1), image.get()), 0);
    const std::vector<std::uint8_t> profile = {'a', 'c', 's', 'p', 0, 1, 2, 3, 4, 5, 250};
    const std::string with = dir.file("with.tif");
    const std::string without = dir.file("without.tif");
    const std::string missing = dir.file("missing.tif");
    save(with, image.get(), true, profile);
    save(without, image.get());

    int w = 0;
    int h = 0;
    ASSERT_EQ(TiffProbeSize(with.c_str(), &w, &h), 0);
    EXPECT_EQ(w * 1000 + h, 640480);
    std::vector<std::uint8_t> read_profile;
    ASSERT_EQ(TiffProbeProfile(with.c_str(), &read_profile), 0);
    EXPECT_EQ(read_profile, profile);
    ASSERT_EQ(TiffProbeProfile(without.c_str(), &read_profile), 0);
    EXPECT_TRUE(read_profile.empty());
    int rotation = -1;
    EXPECT_EQ(TiffProbeSize(missing.c_str(), &w, &h), 56);
    EXPECT_EQ(TiffProbeOrientation(missing.c_str(), &rotation), 56);

    EXPECT_TRUE(TiffIsTiff(with.c_str()));
    EXPECT_FALSE(TiffIsTiff(missing.c_str()));
    write_bytes(dir.file("x.tif"), {'M', 'M', 0, 42});
    EXPECT_TRUE(TiffIsTiff(dir.file("x.tif").c_str()));
    write_bytes(dir.file("x.tif"), {'I', 'I', 0, 42});  // the number in the wrong order
    EXPECT_FALSE(TiffIsTiff(dir.file("x.tif").c_str()));

    // The reduced image.
    ImageHolder thumb;
    ASSERT_TRUE(TiffReadReduced(with.c_str(), thumb.get()));
    EXPECT_EQ(thumb->width * 1000 + thumb->height, 300225);
    ImageHolder reduced;
    ASSERT_EQ(tiff_reduce_for_thumbnail(image.get(), reduced.get()), 0);
    EXPECT_EQ(max_difference(picture_of(reduced.get()), picture_of(thumb.get())), 0);
    EXPECT_FALSE(TiffReadReduced(without.c_str(), thumb.get()));
    EXPECT_EQ(thumb->type, 0);
}

TEST(TiffReader, StreamsInsideOtherFiles) {
    // A container holds a prefix, a TIFF stream, and data of its own behind it.
    ScratchFolder dir;
    const Picture p = make_picture(50, 40, 1, 65535, 4);
    ImageHolder image;
    ASSERT_EQ(image_of(p, image.get()), 0);
    std::FILE* f = std::fopen(dir.file("container.bin").c_str(), "w+b");
    ASSERT_NE(f, nullptr);
    std::fputs("container header", f);
    const long start = std::ftell(f);
    ASSERT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, tiff_compression_zip, true, false), 0);
    std::fputs("TRAILER", f);
    for (std::int64_t base : {static_cast<std::int64_t>(start), std::int64_t{-1}}) {
        std::fseek(f, start, SEEK_SET);
        ImageHolder back;
        ASSERT_EQ(TiffReadAt(f, base, back.get(), false), 0);
        EXPECT_EQ(max_difference(p, picture_of(back.get())), 0);
        // The reader stops behind the last strip, where the container goes on.
        char tail[8] = {};
        ASSERT_EQ(std::fread(tail, 1, 7, f), 7u);
        EXPECT_STREQ(tail, "TRAILER");
    }
    std::fclose(f);
}

// A display that runs another read in its first step, as a message pump could.
class NestingDisplay final : public ProgressDisplay {
public:
    explicit NestingDisplay(std::function<void()> inner) : inner_(std::move(inner)) {
        old_ = progress_set_display(this);
    }
    ~NestingDisplay() override { progress_set_display(old_); }
    void begin(const char*, std::int64_t, std::int64_t, bool) override {}
    int step(std::int64_t) override {
        if (++steps == 1) inner_();
        return 0;
    }
    void end() override {}
    void wait_cursor(bool) override {}
    int steps = 0;

private:
    std::function<void()> inner_;
    ProgressDisplay* old_;
};

TEST(TiffReader, ProgressCancelAndReentry) {
    ScratchFolder dir;
    const Picture big = make_picture(500, 400, 3, 255, 2);  // over 150000 pixels
    const Picture other = make_picture(30, 20, 1, 65535, 3);
    ImageHolder image;
    ASSERT_EQ(image_of(big, image.get()), 0);
    save(dir.file("big.tif"), image.get());
    ImageHolder small;
    ASSERT_EQ(image_of(other, small.get()), 0);
    save(dir.file("other.tif"), small.get());
    {
        CancellingDisplay display(1);
        ImageHolder read;
        EXPECT_EQ(TiffRead(dir.file("big.tif").c_str(), read.get(), true), 11);
        EXPECT_EQ(read->type, 0);
        EXPECT_EQ(display.title, "File Open");
        EXPECT_TRUE(display.can_cancel);
        EXPECT_EQ(display.ends, 1);
    }
    {
        // Another read while this one waits in its progress step.
        ImageHolder inner;
        int inner_result = -1;
        NestingDisplay display(
            [&] { inner_result = TiffRead(dir.file("other.tif").c_str(), inner.get(), true); });
        ImageHolder outer;
        ASSERT_EQ(TiffRead(dir.file("big.tif").c_str(), outer.get(), true), 0);
        EXPECT_GT(display.steps, 1);
        EXPECT_EQ(inner_result, 0);
        EXPECT_EQ(max_difference(big, picture_of(outer.get())), 0);
        EXPECT_EQ(max_difference(other, picture_of(inner.get())), 0);
    }
}

TEST(TiffReader, SetOrientationRewritesInPlace) {
    ScratchFolder dir;
    const Picture p = make_picture(400, 320, 3, 255, 6);
    ImageHolder image;
    ASSERT_EQ(image_of(p, image.get()), 0);
    const std::string path = dir.file("turn.tif");
    save(path, image.get(), true);

    bool done = false;
    ASSERT_EQ(TiffSetOrientation(path.c_str(), 0, &done), 0);
    EXPECT_TRUE(done);
    // A quarter turn clockwise: orientation 6, and the thumbnail turns with it.
    ASSERT_EQ(TiffSetOrientation(path.c_str(), 1, &done), 0);
    int code = -1;
    ASSERT_EQ(TiffProbeOrientation(path.c_str(), &code), 0);
    EXPECT_EQ(code, 1);
    ImageHolder thumb;
    ASSERT_TRUE(TiffReadReduced(path.c_str(), thumb.get()));
    EXPECT_EQ(thumb->width * 1000 + thumb->height, 240300);
    // libtiff agrees on the tag.
    int status = 0;
    EXPECT_NE(output_of("tiffinfo " + path, &status).find("row 0 rhs, col 0 top"),
              std::string::npos);
    // Then mirror left-right: 90 clockwise then mirror is the diagonal 5.
    ASSERT_EQ(TiffSetOrientation(path.c_str(), 4, &done), 0);
    ASSERT_EQ(TiffProbeOrientation(path.c_str(), &code), 0);
    EXPECT_EQ(code, 5);
    ImageHolder turned;
    ASSERT_EQ(read_own(path, turned.get()), 0);
    const Picture shown = picture_of(turned.get());
    ASSERT_EQ(shown.width, 320);
    for (int y = 0; y < shown.height; y += 7)
        for (int x = 0; x < shown.width; x += 5)
            ASSERT_EQ(shown.at(x, y, 1), p.at(y, x, 1));

    // No orientation tag: nothing is done. Big-endian files are rewritten in
    // their own order.
    const std::string plain = dir.file("plain.tif");
    HandMade t = gray_file(4, 4, 4, true);
    write_bytes(plain, t.build());
    ASSERT_EQ(TiffSetOrientation(plain.c_str(), 2, &done), 0);
    EXPECT_FALSE(done);
    write_bytes(plain, t.tag(274, 3, {1}).build());
    ASSERT_EQ(TiffSetOrientation(plain.c_str(), 2, &done), 0);
    EXPECT_TRUE(done);
    ASSERT_EQ(TiffProbeOrientation(plain.c_str(), &code), 0);
    EXPECT_EQ(code, 2);
    EXPECT_EQ(TiffSetOrientation(dir.file("missing.tif").c_str(), 2, &done), 57);
    EXPECT_FALSE(done);
}

}  // namespace
