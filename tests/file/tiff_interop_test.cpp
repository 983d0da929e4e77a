// Interoperation with libtiff, the reference implementation: files made by
// its tools read exactly as libtiff decodes them, and files we write pass
// tiffinfo and decode in libtiff to exactly what we wrote.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "core/image.h"
#include "file/tiff_reader.h"
#include "file/tiff_test_support.h"
#include "file/tiff_writer.h"

namespace {

using tiff_test::Pixels;

struct Kind {
    const char* name;
    int channels;
    int bits;
};

constexpr Kind kinds[] = {
    {"1-bit", 1, 1},   {"4-bit", 1, 4}, {"gray8", 1, 8},
    {"gray16", 1, 16}, {"rgb8", 3, 8},  {"rgb16", 3, 16},
};

// What the own reader makes of libtiff's samples: 4-bit gray is widened with
// each pair of pixels swapped (the reader takes the high nibble for odd pixels),
// and min-is-white is inverted.
Pixels as_read(const Pixels& decoded, int channels, bool min_is_white) {
    Pixels p = tiff_test::first_channels(decoded, channels);
    const std::uint32_t top = (1u << p.bits) - 1;
    if (min_is_white) {
        for (auto& v : p.samples)
            v = top - v;
    }
    if (p.bits != 4) return p;
    Pixels wide = p;
    wide.bits = 8;
    for (int y = 0; y < p.height; ++y) {
        for (int x = 0; x < p.width; ++x) {
            const int partner = x ^ 1;
            // The partner of the last pixel of an odd width is the padding nibble.
            const std::uint32_t v = partner < p.width ? p.at(partner, y) : (min_is_white ? 15 : 0);
            wide.at(x, y) = v * 17;
        }
    }
    return wide;
}

class TiffcpToOwnReader : public ::testing::TestWithParam<Kind> {};

TEST_P(TiffcpToOwnReader, EveryByteOrderCompressionAndPredictor) {
    const Kind kind = GetParam();
    tiff_test::TempDir dir;
    // An odd width exercises line padding; 7-row strips exercise strip tables.
    const Pixels source = tiff_test::make_pattern(67, 45, kind.channels, kind.bits, 7);
    const std::string original = dir.file("source.tif");
    ASSERT_TRUE(tiff_test::write_with_libtiff(original, source));

    const bool predictable = kind.bits == 8 || kind.bits == 16;
    int checked = 0;
    for (const char* order : {"-B", "-L"}) {
        for (const char* method : {"none", "lzw", "zip"}) {
            for (bool predictor : {false, true}) {
                if (predictor && (!predictable || std::string(method) == "none")) continue;
                const std::string variant = dir.file("variant.tif");
                const std::string scheme = std::string(method) + (predictor ? ":2" : "");
                int status = 0;
                const std::string output =
                    tiff_test::run("tiffcp " + std::string(order) + " -r 7 -c " + scheme + " " +
                                       original + " " + variant,
                                   &status);
                ASSERT_EQ(status, 0) << output;
                SCOPED_TRACE(std::string(kind.name) + " " + order + " " + scheme);

                Pixels decoded;
                ASSERT_TRUE(tiff_test::decode_with_libtiff(variant, &decoded));
                ImageHolder image;
                ASSERT_EQ(tiff_test::read_own(variant, image.get()), 0);
                EXPECT_DOUBLE_EQ(image->resolution, 300.0);
                EXPECT_TRUE(tiff_test::same_pixels(as_read(decoded, kind.channels, false),
                                                   tiff_test::pixels_of(image.get())));
                ++checked;
            }
        }
    }
    EXPECT_EQ(checked, predictable ? 10 : 6);
}

INSTANTIATE_TEST_SUITE_P(Kinds, TiffcpToOwnReader, ::testing::ValuesIn(kinds),
                         [](const auto& param_info) {
                             std::string n = param_info.param.name;
                             n.erase(std::remove(n.begin(), n.end(), '-'), n.end());
                             return n;
                         });

TEST(TiffcpToOwnReader, MinIsWhiteIsInverted) {
    tiff_test::TempDir dir;
    for (const Kind& kind :
         {Kind{"1-bit", 1, 1}, Kind{"4-bit", 1, 4}, Kind{"gray8", 1, 8}, Kind{"gray16", 1, 16}}) {
        SCOPED_TRACE(kind.name);
        const Pixels source = tiff_test::make_pattern(33, 20, 1, kind.bits, 3);
        const std::string path = dir.file("white.tif");
        tiff_test::SourceOptions options;
        options.photometric = PHOTOMETRIC_MINISWHITE;
        options.big_endian = kind.bits == 16;
        ASSERT_TRUE(tiff_test::write_with_libtiff(path, source, options));
        Pixels decoded;
        ASSERT_TRUE(tiff_test::decode_with_libtiff(path, &decoded));
        ImageHolder image;
        ASSERT_EQ(tiff_test::read_own(path, image.get()), 0);
        EXPECT_TRUE(
            tiff_test::same_pixels(as_read(decoded, 1, true), tiff_test::pixels_of(image.get())));
    }
}

TEST(TiffcpToOwnReader, AlphaIsDropped) {
    tiff_test::TempDir dir;
    for (int bits : {8, 16}) {
        const Pixels source = tiff_test::make_pattern(31, 17, 3, bits, 5);
        const std::string path = dir.file("rgba.tif");
        tiff_test::SourceOptions options;
        options.extra_channels = 1;
        ASSERT_TRUE(tiff_test::write_with_libtiff(path, source, options));
        for (const char* method : {"none", "lzw:2"}) {
            const std::string variant = dir.file("rgba-variant.tif");
            int status = 0;
            tiff_test::run("tiffcp -c " + std::string(method) + " " + path + " " + variant,
                           &status);
            ASSERT_EQ(status, 0);
            ImageHolder image;
            ASSERT_EQ(tiff_test::read_own(variant, image.get()), 0);
            EXPECT_EQ(image->type, bits == 8 ? image_type_colour8 : image_type_colour16);
            EXPECT_TRUE(tiff_test::same_pixels(source, tiff_test::pixels_of(image.get())))
                << bits << " " << method;
        }
    }
}

struct WriteCase {
    int type;
    int compression;
};

class OwnWriterToLibtiff : public ::testing::TestWithParam<WriteCase> {};

TEST_P(OwnWriterToLibtiff, PassesTiffinfoAndDecodesToWhatWasWritten) {
    const WriteCase c = GetParam();
    tiff_test::TempDir dir;
    const int channels = c.type == image_type_colour8 || c.type == image_type_colour16 ? 3 : 1;
    const int bits = c.type == image_type_binary                                    ? 1
                     : c.type == image_type_gray16 || c.type == image_type_colour16 ? 16
                                                                                    : 8;
    // Tall enough for several 250,000-byte strips in the wider types.
    const Pixels source = tiff_test::make_pattern(301, 700, channels, bits, 11);
    ImageHolder image;
    tiff_test::image_from_pixels(source, image.get());

    for (bool thumbnail : {false, true}) {
        SCOPED_TRACE(thumbnail ? "with thumbnail" : "without thumbnail");
        const std::string path = dir.file("ours.tif");
        std::FILE* f = std::fopen(path.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        ASSERT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, c.compression, thumbnail, false), 0);
        ASSERT_EQ(std::fclose(f), 0);

        int status = 0;
        const std::string report = tiff_test::run("tiffinfo -D " + path, &status);
        EXPECT_EQ(status, 0) << report;
        EXPECT_EQ(report.find("rror"), std::string::npos) << report;
        EXPECT_EQ(report.find("arning"), std::string::npos) << report;

        Pixels decoded;
        ASSERT_TRUE(tiff_test::decode_with_libtiff(path, &decoded));
        EXPECT_TRUE(tiff_test::same_pixels(source, decoded));

        // And the own reader takes it back unchanged.
        ImageHolder back;
        ASSERT_EQ(tiff_test::read_own(path, back.get()), 0);
        EXPECT_EQ(back->type, c.type);
        EXPECT_TRUE(tiff_test::same_pixels(source, tiff_test::pixels_of(back.get())));

        if (thumbnail) {
            // The reduced image is a SubIFD that libtiff finds and decodes to the
            // reduction we made.
            TIFF* tif = TIFFOpen(path.c_str(), "r");
            ASSERT_NE(tif, nullptr);
            std::uint16_t count = 0;
            std::uint64_t* offsets = nullptr;
            ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_SUBIFD, &count, &offsets));
            ASSERT_EQ(count, 1);
            const std::uint64_t subifd = offsets[0];
            TIFFClose(tif);
            Pixels thumb;
            ASSERT_TRUE(tiff_test::decode_with_libtiff(path, &thumb, subifd));
            ImageHolder reduced;
            ASSERT_EQ(tiff_reduce_for_thumbnail(image.get(), reduced.get()), 0);
            EXPECT_EQ(reduced->width, 129);
            EXPECT_EQ(reduced->height, 300);
            EXPECT_TRUE(tiff_test::same_pixels(tiff_test::pixels_of(reduced.get()), thumb));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(TypesAndCompressions, OwnWriterToLibtiff,
                         ::testing::Values(WriteCase{1, 0}, WriteCase{1, 1}, WriteCase{1, 2},
                                           WriteCase{2, 0}, WriteCase{2, 1}, WriteCase{2, 2},
                                           WriteCase{3, 0}, WriteCase{3, 1}, WriteCase{3, 2},
                                           WriteCase{6, 0}, WriteCase{6, 1}, WriteCase{6, 2},
                                           WriteCase{7, 0}, WriteCase{7, 1}, WriteCase{7, 2}),
                         [](const auto& param_info) {
                             return "type" + std::to_string(param_info.param.type) + "_" +
                                    (param_info.param.compression == 0   ? "none"
                                     : param_info.param.compression == 1 ? "zip"
                                                                         : "lzw");
                         });

}  // namespace
