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
#include "file/tiff_test_support.h"
#include "file/tiff_writer.h"

namespace {

using tiff_test::HandMade;
using tiff_test::Pixels;

std::vector<std::uint8_t> bytes_of(const HandMade& t) {
    return t.build();
}

int read_hand_made(const HandMade& t, Image* image) {
    return tiff_test::read_own_bytes(t.build(), image);
}

::testing::AssertionResult is_gray_file(const Image* image, int width, int height) {
    if (image->type != image_type_gray8 || image->width != width || image->height != height)
        return ::testing::AssertionFailure()
               << "type " << image->type << " size " << image->width << "x" << image->height;
    const Pixels p = tiff_test::pixels_of(image);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (p.at(x, y) != tiff_test::gray_file_pixel(x, y))
                return ::testing::AssertionFailure() << "pixel " << x << ", " << y;
    return ::testing::AssertionSuccess();
}

TEST(TiffReader, HandMadeFilesInBothByteOrders) {
    for (bool big : {false, true}) {
        ImageHolder image;
        ASSERT_EQ(read_hand_made(tiff_test::gray_file(13, 11, 4, big), image.get()), 0);
        EXPECT_TRUE(is_gray_file(image.get(), 13, 11));
    }
}

TEST(TiffReader, HeaderChecks) {
    std::vector<std::uint8_t> bytes = bytes_of(tiff_test::gray_file(5, 4, 4));
    ImageHolder image;
    bytes[1] = 'X';
    EXPECT_EQ(tiff_test::read_own_bytes(bytes, image.get()), 56);
    EXPECT_EQ(image->type, 0);  // left empty
    // The version word is not looked at.
    HandMade odd = tiff_test::gray_file(5, 4, 4);
    odd.version(7);
    ASSERT_EQ(read_hand_made(odd, image.get()), 0);
    EXPECT_TRUE(is_gray_file(image.get(), 5, 4));
}

struct TagCase {
    int tag;
    int type;
    std::vector<std::uint32_t> values;
    int error;
};

class TiffReaderTags : public ::testing::TestWithParam<TagCase> {};

TEST_P(TiffReaderTags, GiveTheirErrors) {
    const TagCase c = GetParam();
    HandMade t = tiff_test::gray_file(6, 5, 5);
    t.set(c.tag, c.type, c.values);
    ImageHolder image;
    EXPECT_EQ(read_hand_made(t, image.get()), c.error);
    if (c.error != 0) {
        EXPECT_EQ(image->type, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, TiffReaderTags,
    ::testing::Values(TagCase{254, 4, {4}, 145}, TagCase{254, 4, {3}, 0}, TagCase{255, 3, {3}, 145},
                      TagCase{255, 3, {2}, 0}, TagCase{255, 3, {0}, 145}, TagCase{258, 3, {2}, 146},
                      TagCase{258, 3, {12}, 146}, TagCase{258, 3, {8, 8, 16}, 148},
                      TagCase{258, 3, {4, 4, 4}, 147}, TagCase{258, 3, {8, 8}, 149},
                      TagCase{258, 3, {8, 8, 8, 8, 8}, 149}, TagCase{259, 3, {7}, 141},
                      TagCase{259, 3, {32773}, 141}, TagCase{262, 3, {3}, 150},
                      TagCase{262, 3, {2}, 0}, TagCase{266, 3, {2}, 151}, TagCase{274, 3, {0}, 142},
                      TagCase{274, 3, {9}, 142}, TagCase{277, 3, {2}, 149},
                      TagCase{284, 3, {2}, 152}, TagCase{284, 3, {1}, 0}, TagCase{317, 3, {3}, 143},
                      TagCase{317, 3, {1}, 0},
                      // Missing tags.
                      TagCase{256, 4, {}, 155}, TagCase{257, 4, {}, 155}, TagCase{258, 3, {}, 155},
                      TagCase{273, 4, {}, 155}, TagCase{279, 4, {}, 0}, TagCase{278, 4, {}, 0}));

TEST(TiffReader, StripTableConsistency) {
    ImageHolder image;
    // Counts and offsets of different lengths.
    HandMade t = tiff_test::gray_file(6, 9, 3);
    t.set(279, 4, {18, 18});
    EXPECT_EQ(read_hand_made(t, image.get()), 155);
    // Several strips and no counts.
    t.drop(279);
    EXPECT_EQ(read_hand_made(t, image.get()), 153);
    // Fewer strips than the rows need.
    t = tiff_test::gray_file(6, 9, 3);
    t.set(278, 4, {2});
    EXPECT_EQ(read_hand_made(t, image.get()), 155);
    // Offsets beyond the file.
    t = tiff_test::gray_file(6, 9, 3);
    t.set(273, 4, {8, 26, 0xFFFFFF00u});
    EXPECT_EQ(read_hand_made(t, image.get()), 56);
    // An absurd strip count whose table cannot be in the file.
    t = tiff_test::gray_file(6, 9, 3);
    std::vector<std::uint8_t> bytes = t.build();
    for (std::size_t i = 8; i + 12 <= bytes.size(); ++i) {
        if (bytes[i] == 0x11 && bytes[i + 1] == 0x01 && bytes[i + 2] == 4) {  // tag 273 LONG
            bytes[i + 4] = bytes[i + 5] = bytes[i + 6] = 0xFF;
            bytes[i + 7] = 0x3F;
            break;
        }
    }
    EXPECT_EQ(tiff_test::read_own_bytes(bytes, image.get()), 56);
}

TEST(TiffReader, WrongByteCountsOfUncompressedStripsAreRepaired) {
    for (std::vector<std::uint32_t> counts :
         {std::vector<std::uint32_t>{0, 0, 0}, std::vector<std::uint32_t>{18, 17, 18},
          std::vector<std::uint32_t>{18, 18, 1000}}) {
        HandMade t = tiff_test::gray_file(6, 9, 3);
        t.set(279, 4, counts);
        ImageHolder image;
        ASSERT_EQ(read_hand_made(t, image.get()), 0);
        EXPECT_TRUE(is_gray_file(image.get(), 6, 9));
    }
}

TEST(TiffReader, SingleStripReadsOnlyItsByteCount) {
    HandMade t = tiff_test::gray_file(8, 4, 4);
    t.set(279, 4, {10});
    ImageHolder image;
    ASSERT_EQ(read_hand_made(t, image.get()), 0);
    const Pixels p = tiff_test::pixels_of(image.get());
    for (int i = 0; i < 32; ++i) {
        const int x = i % 8;
        const int y = i / 8;
        EXPECT_EQ(p.at(x, y), i < 10 ? tiff_test::gray_file_pixel(x, y) : 0u) << i;
    }
    // A single strip without a count holds the whole picture.
    t.drop(279);
    ASSERT_EQ(read_hand_made(t, image.get()), 0);
    EXPECT_TRUE(is_gray_file(image.get(), 8, 4));
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
    ASSERT_EQ(read_hand_made(t, image.get()), 0);
    ASSERT_EQ(image->type, image_type_colour8);
    const Pixels p = tiff_test::pixels_of(image.get());
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(p.at(x, y, c), static_cast<std::uint32_t>(10 * ((y * 3 + x) * 4 + c)));
}

TEST(TiffReader, FourBitPairsAreSwapped) {
    HandMade t;
    t.tag(256, 4, {5}).tag(257, 4, {1}).tag(258, 3, {4}).tag(262, 3, {1});
    t.tag(273, 4, {t.data({0x12, 0x34, 0x5F})}).tag(279, 4, {3});
    ImageHolder image;
    ASSERT_EQ(read_hand_made(t, image.get()), 0);
    ASSERT_EQ(image->type, image_type_gray8);
    const std::uint8_t* line = image->rows[0];
    // Standard order would be 1 2 3 4 5; the last pixel takes the padding nibble.
    EXPECT_EQ(std::vector<int>(line, line + 5),
              (std::vector<int>{2 * 17, 1 * 17, 4 * 17, 3 * 17, 15 * 17}));
}

TEST(TiffReader, DifferencingOnBinaryImagesIsRefused) {
    HandMade t;
    t.tag(256, 4, {8}).tag(257, 4, {2}).tag(258, 3, {1}).tag(262, 3, {1});
    t.tag(273, 4, {t.data({0xF0, 0x0F})}).tag(279, 4, {2}).tag(317, 3, {2});
    ImageHolder image;
    EXPECT_EQ(read_hand_made(t, image.get()), 154);
}

TEST(TiffReader, CompressedStrips) {
    std::vector<std::uint8_t> pixels(12 * 5);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<std::uint8_t>(i * 5);
    auto zip = [](std::vector<std::uint8_t> data) {
        uLongf size = compressBound(data.size());
        std::vector<std::uint8_t> out(size);
        EXPECT_EQ(compress(out.data(), &size, data.data(), data.size()), Z_OK);
        out.resize(size);
        return out;
    };
    auto file = [](const std::vector<std::uint8_t>& strip, int compression) {
        HandMade t;
        t.tag(256, 4, {12})
            .tag(257, 4, {5})
            .tag(258, 3, {8})
            .tag(259, 3, {static_cast<unsigned>(compression)});
        t.tag(262, 3, {1}).tag(273, 4, {t.data(strip)});
        t.tag(279, 4, {static_cast<std::uint32_t>(strip.size())});
        return t;
    };
    ImageHolder image;
    for (int method : {8, 32946}) {
        ASSERT_EQ(read_hand_made(file(zip(pixels), method), image.get()), 0);
        EXPECT_EQ(tiff_test::pixels_of(image.get()).samples,
                  std::vector<std::uint32_t>(pixels.begin(), pixels.end()));
    }
    // A Zip strip that decodes to more than the strip holds is accepted.
    std::vector<std::uint8_t> longer = pixels;
    longer.resize(pixels.size() + 500, 0x77);
    ASSERT_EQ(read_hand_made(file(zip(longer), 8), image.get()), 0);
    EXPECT_EQ(tiff_test::pixels_of(image.get()).samples,
              std::vector<std::uint32_t>(pixels.begin(), pixels.end()));
    // Broken Zip data, and a strip cut short, are read errors.
    std::vector<std::uint8_t> broken = zip(pixels);
    broken[3] ^= 0x55;
    broken[4] ^= 0x55;
    EXPECT_EQ(read_hand_made(file(broken, 8), image.get()), 56);
    std::vector<std::uint8_t> cut = zip(pixels);
    cut.resize(cut.size() / 2);
    EXPECT_EQ(read_hand_made(file(cut, 8), image.get()), 56);
    // LZW data that does not start with a clear code.
    EXPECT_EQ(read_hand_made(file({0x12, 0x34, 0x56}, 5), image.get()), 156);
}

TEST(TiffReader, Resolution) {
    HandMade t = tiff_test::gray_file(4, 4, 4);
    ImageHolder image;
    ASSERT_EQ(read_hand_made(t, image.get()), 0);
    EXPECT_DOUBLE_EQ(image->resolution, preferences().defaultres);
    const double saved = preferences().defaultres;
    preferences().defaultres = 123.0;
    ASSERT_EQ(read_hand_made(t, image.get()), 0);
    EXPECT_DOUBLE_EQ(image->resolution, 123.0);
    preferences().defaultres = saved;
    t.tag(282, 5, {600, 2});
    ASSERT_EQ(read_hand_made(t, image.get()), 0);
    EXPECT_DOUBLE_EQ(image->resolution, 300.0);
    t.tag(296, 3, {3});  // pixels per centimetre
    ASSERT_EQ(read_hand_made(t, image.get()), 0);
    EXPECT_DOUBLE_EQ(image->resolution, 300.0 * 2.540005);
}

// What a viewer shows at (x, y) for a file stored with each orientation, from
// the TIFF standard's words (row 0 lies at the visual ..., column 0 at ...).
void visual_source(int orientation, int x, int y, int w, int h, int* sx, int* sy) {
    switch (orientation) {
        case 2:
            *sx = w - 1 - x;
            *sy = y;
            break;  // top, right
        case 3:
            *sx = w - 1 - x;
            *sy = h - 1 - y;
            break;  // bottom, right
        case 4:
            *sx = x;
            *sy = h - 1 - y;
            break;  // bottom, left
        case 5:
            *sx = y;
            *sy = x;
            break;  // left, top
        case 6:
            *sx = y;
            *sy = h - 1 - x;
            break;  // right, top
        case 7:
            *sx = w - 1 - y;
            *sy = h - 1 - x;
            break;  // right, bottom
        case 8:
            *sx = w - 1 - y;
            *sy = x;
            break;  // left, bottom
        default:
            *sx = x;
            *sy = y;
            break;
    }
}

TEST(TiffReader, OrientationIsApplied) {
    tiff_test::TempDir dir;
    for (int bits : {1, 8, 16}) {
        const int channels = bits == 8 ? 3 : 1;
        const Pixels stored = tiff_test::make_pattern(11, 7, channels, bits, 9);
        for (int orientation = 1; orientation <= 8; ++orientation) {
            SCOPED_TRACE("bits " + std::to_string(bits) + " orientation " +
                         std::to_string(orientation));
            const std::string path = dir.file("o.tif");
            tiff_test::SourceOptions options;
            options.orientation = orientation;
            ASSERT_TRUE(tiff_test::write_with_libtiff(path, stored, options));
            ImageHolder image;
            ASSERT_EQ(tiff_test::read_own(path, image.get()), 0);
            const bool turned = orientation >= 5;
            ASSERT_EQ(image->width, turned ? 7 : 11);
            ASSERT_EQ(image->height, turned ? 11 : 7);
            const Pixels shown = tiff_test::pixels_of(image.get());
            for (int y = 0; y < shown.height; ++y) {
                for (int x = 0; x < shown.width; ++x) {
                    int sx = 0;
                    int sy = 0;
                    visual_source(orientation, x, y, 11, 7, &sx, &sy);
                    for (int c = 0; c < channels; ++c)
                        ASSERT_EQ(shown.at(x, y, c), stored.at(sx, sy, c)) << x << ", " << y;
                }
            }
            int code = -1;
            ASSERT_EQ(TiffProbeOrientation(path.c_str(), &code), 0);
            EXPECT_EQ(code, std::vector<int>({0, 4, 2, 6, 5, 1, 7, 3})[orientation - 1]);

            // Saved again, the file is upright with orientation 1.
            if (orientation == 6) {
                std::FILE* f = std::fopen(dir.file("saved.tif").c_str(), "wb");
                ASSERT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, 0, false, false), 0);
                std::fclose(f);
                TiffSummary summary;
                ASSERT_EQ(TiffProbeSummary(dir.file("saved.tif").c_str(), &summary), 0);
                EXPECT_EQ(summary.orientation, 1);
                ImageHolder again;
                ASSERT_EQ(tiff_test::read_own(dir.file("saved.tif"), again.get()), 0);
                EXPECT_TRUE(tiff_test::same_pixels(shown, tiff_test::pixels_of(again.get())));
            }
        }
    }
}

// Writes an Image to a file with TiffWrite.
void save(const std::string& path, const Image* image, bool thumbnail = false,
          std::size_t profile_size = 0, const std::uint8_t* profile = nullptr) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(
        TiffWrite(f, image, {}, profile_size, profile, 0, tiff_compression_lzw, thumbnail, false),
        0);
    ASSERT_EQ(std::fclose(f), 0);
}

TEST(TiffReader, Probes) {
    tiff_test::TempDir dir;
    const Pixels p = tiff_test::make_pattern(640, 480, 3, 8, 1);
    ImageHolder image;
    tiff_test::image_from_pixels(p, image.get());
    const std::vector<std::uint8_t> profile = {'a', 'c', 's', 'p', 0, 1, 2, 3, 4, 5, 250};
    save(dir.file("with.tif"), image.get(), true, profile.size(), profile.data());
    save(dir.file("without.tif"), image.get());

    int w = 0;
    int h = 0;
    ASSERT_EQ(TiffProbeSize(dir.file("with.tif").c_str(), &w, &h), 0);
    EXPECT_EQ(w, 640);
    EXPECT_EQ(h, 480);
    std::vector<std::uint8_t> read_profile;
    ASSERT_EQ(TiffProbeProfile(dir.file("with.tif").c_str(), &read_profile), 0);
    EXPECT_EQ(read_profile, profile);
    ASSERT_EQ(TiffProbeProfile(dir.file("without.tif").c_str(), &read_profile), 0);
    EXPECT_TRUE(read_profile.empty());
    int rotation = -1;
    EXPECT_EQ(TiffProbeSize(dir.file("missing.tif").c_str(), &w, &h), 56);
    EXPECT_EQ(TiffProbeOrientation(dir.file("missing.tif").c_str(), &rotation), 56);

    EXPECT_TRUE(TiffIsTiff(dir.file("with.tif").c_str()));
    tiff_test::write_bytes(dir.file("mm.tif"), {'M', 'M', 0, 42});
    EXPECT_TRUE(TiffIsTiff(dir.file("mm.tif").c_str()));
    for (const std::vector<std::uint8_t>& not_tiff :
         {std::vector<std::uint8_t>{'I', 'I', 0, 42}, std::vector<std::uint8_t>{'M', 'M', 42, 0},
          std::vector<std::uint8_t>{'I', 'I', 42}}) {
        tiff_test::write_bytes(dir.file("x.tif"), not_tiff);
        EXPECT_FALSE(TiffIsTiff(dir.file("x.tif").c_str()));
    }
    EXPECT_FALSE(TiffIsTiff(dir.file("missing.tif").c_str()));

    // The reduced image.
    ImageHolder thumb;
    ASSERT_TRUE(TiffReadReduced(dir.file("with.tif").c_str(), thumb.get()));
    EXPECT_EQ(thumb->width, 300);
    EXPECT_EQ(thumb->height, 225);
    ImageHolder reduced;
    ASSERT_EQ(tiff_reduce_for_thumbnail(image.get(), reduced.get()), 0);
    EXPECT_TRUE(tiff_test::same_pixels(tiff_test::pixels_of(reduced.get()),
                                       tiff_test::pixels_of(thumb.get())));
    EXPECT_FALSE(TiffReadReduced(dir.file("without.tif").c_str(), thumb.get()));
    EXPECT_EQ(thumb->type, 0);
}

TEST(TiffReader, StreamsInsideOtherFiles) {
    // A container holds a prefix, a TIFF stream, and data of its own behind it.
    tiff_test::TempDir dir;
    const Pixels p = tiff_test::make_pattern(50, 40, 1, 16, 4);
    ImageHolder image;
    tiff_test::image_from_pixels(p, image.get());
    const std::string path = dir.file("container.bin");
    std::FILE* f = std::fopen(path.c_str(), "w+b");
    ASSERT_NE(f, nullptr);
    std::fputs("container header", f);
    const long start = std::ftell(f);
    ASSERT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, tiff_compression_zip, true, false), 0);
    std::fputs("TRAILER", f);

    for (std::int64_t base : {static_cast<std::int64_t>(start), std::int64_t{-1}}) {
        std::fseek(f, start, SEEK_SET);
        ImageHolder back;
        ASSERT_EQ(TiffReadAt(f, base, back.get(), false), 0);
        EXPECT_TRUE(tiff_test::same_pixels(p, tiff_test::pixels_of(back.get())));
        // The reader stops behind the last strip, where the container goes on.
        char tail[8] = {};
        ASSERT_EQ(std::fread(tail, 1, 7, f), 7u);
        EXPECT_STREQ(tail, "TRAILER");
    }
    std::fclose(f);
}

// A display that answers 11 from a chosen step on, or runs another read on
// the way, as a message pump could.
class TestDisplay final : public ProgressDisplay {
public:
    TestDisplay() { old_ = progress_set_display(this); }
    ~TestDisplay() override { progress_set_display(old_); }
    void begin(const char* t, std::int64_t, std::int64_t, bool c) override {
        title = t;
        can_cancel = c;
    }
    int step(std::int64_t) override {
        ++steps;
        if (nested) {
            auto inner = nested;
            nested = nullptr;  // once
            inner();
        }
        return cancel_at > 0 && steps >= cancel_at ? 11 : 0;
    }
    void end() override { ++ends; }
    void wait_cursor(bool) override {}

    std::string title;
    bool can_cancel = false;
    int steps = 0;
    int ends = 0;
    int cancel_at = 0;
    std::function<void()> nested;

private:
    ProgressDisplay* old_;
};

TEST(TiffReader, ProgressCancelAndReentry) {
    tiff_test::TempDir dir;
    const Pixels big = tiff_test::make_pattern(500, 400, 3, 8, 2);  // over 150000 pixels
    const Pixels other = tiff_test::make_pattern(30, 20, 1, 16, 3);
    ImageHolder image;
    tiff_test::image_from_pixels(big, image.get());
    save(dir.file("big.tif"), image.get());
    tiff_test::image_from_pixels(other, image.get());
    save(dir.file("other.tif"), image.get());

    {
        TestDisplay display;
        display.cancel_at = 2;
        ImageHolder read;
        EXPECT_EQ(TiffRead(dir.file("big.tif").c_str(), read.get(), true), 11);
        EXPECT_EQ(read->type, 0);
        EXPECT_EQ(display.title, "File Open");
        EXPECT_TRUE(display.can_cancel);
        EXPECT_EQ(display.ends, 1);
    }
    {
        // Another read while this one waits in its progress step.
        TestDisplay display;
        ImageHolder inner;
        int inner_result = -1;
        display.nested = [&] {
            inner_result = TiffRead(dir.file("other.tif").c_str(), inner.get(), true);
        };
        ImageHolder outer;
        ASSERT_EQ(TiffRead(dir.file("big.tif").c_str(), outer.get(), true), 0);
        EXPECT_GT(display.steps, 1);
        EXPECT_EQ(inner_result, 0);
        EXPECT_TRUE(tiff_test::same_pixels(big, tiff_test::pixels_of(outer.get())));
        EXPECT_TRUE(tiff_test::same_pixels(other, tiff_test::pixels_of(inner.get())));
    }
    {
        // The writer can be cancelled too.
        TestDisplay display;
        display.cancel_at = 1;
        tiff_test::image_from_pixels(big, image.get());
        std::FILE* f = std::fopen(dir.file("cancelled.tif").c_str(), "wb");
        EXPECT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, 0, false, true), 11);
        std::fclose(f);
        EXPECT_EQ(display.title, "File Save");
    }
}

TEST(TiffReader, SetOrientationRewritesInPlace) {
    tiff_test::TempDir dir;
    const Pixels p = tiff_test::make_pattern(400, 320, 3, 8, 6);
    ImageHolder image;
    tiff_test::image_from_pixels(p, image.get());
    const std::string path = dir.file("turn.tif");
    save(path, image.get(), true);

    bool done = false;
    ASSERT_EQ(TiffSetOrientation(path.c_str(), 0, &done), 0);
    EXPECT_TRUE(done);
    // A quarter turn clockwise: orientation 6, and the thumbnail turns with it.
    ASSERT_EQ(TiffSetOrientation(path.c_str(), 1, &done), 0);
    EXPECT_TRUE(done);
    int code = -1;
    ASSERT_EQ(TiffProbeOrientation(path.c_str(), &code), 0);
    EXPECT_EQ(code, 1);
    ImageHolder turned;
    ASSERT_EQ(tiff_test::read_own(path, turned.get()), 0);
    EXPECT_EQ(turned->width, 320);
    ImageHolder thumb;
    ASSERT_TRUE(TiffReadReduced(path.c_str(), thumb.get()));
    EXPECT_EQ(thumb->width, 240);
    EXPECT_EQ(thumb->height, 300);
    // libtiff agrees on the tag.
    int status = 0;
    EXPECT_NE(tiff_test::run("tiffinfo " + path, &status).find("row 0 rhs, col 0 top"),
              std::string::npos);
    // Then mirror left-right: 90 clockwise then mirror is the diagonal 5.
    ASSERT_EQ(TiffSetOrientation(path.c_str(), 4, &done), 0);
    ASSERT_EQ(TiffProbeOrientation(path.c_str(), &code), 0);
    EXPECT_EQ(code, 5);
    ASSERT_EQ(tiff_test::read_own(path, turned.get()), 0);
    const Pixels shown = tiff_test::pixels_of(turned.get());
    for (int y = 0; y < shown.height; y += 7)
        for (int x = 0; x < shown.width; x += 5)
            ASSERT_EQ(shown.at(x, y, 1), p.at(y, x, 1));

    // No orientation tag: nothing is done.
    HandMade plain = tiff_test::gray_file(4, 4, 4, true);
    tiff_test::write_bytes(dir.file("plain.tif"), plain.build());
    ASSERT_EQ(TiffSetOrientation(dir.file("plain.tif").c_str(), 2, &done), 0);
    EXPECT_FALSE(done);
    // Big-endian files are rewritten in their own order.
    plain.tag(274, 3, {1});
    tiff_test::write_bytes(dir.file("plain.tif"), plain.build());
    ASSERT_EQ(TiffSetOrientation(dir.file("plain.tif").c_str(), 2, &done), 0);
    EXPECT_TRUE(done);
    ASSERT_EQ(TiffProbeOrientation(dir.file("plain.tif").c_str(), &code), 0);
    EXPECT_EQ(code, 2);
    EXPECT_EQ(TiffSetOrientation(dir.file("missing.tif").c_str(), 2, &done), 57);
    EXPECT_FALSE(done);
}

}  // namespace
