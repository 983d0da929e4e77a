// Interoperation with libtiff, the reference implementation: files made by
// its tools read exactly as libtiff decodes them, and files we write pass
// tiffinfo and decode in libtiff to exactly what we wrote.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "core/image.h"
#include "core/parallel.h"
#include "file/file_test_support.h"
#include "file/tiff_reader.h"
#include "file/tiff_writer.h"

namespace {

using namespace file_test;

struct Kind {
    const char* name;
    int channels;
    int maxval;
};

constexpr Kind kinds[] = {
    {"bilevel", 1, 1},    {"gray4", 1, 15}, {"gray8", 1, 255},
    {"gray16", 1, 65535}, {"rgb8", 3, 255}, {"rgb16", 3, 65535},
};

// What the own reader makes of libtiff's samples: 4-bit gray is widened with
// each pair of pixels swapped (the reader takes the high nibble for odd pixels),
// and min-is-white is inverted.
Picture as_read(Picture p, bool min_is_white) {
    if (min_is_white) {
        for (auto& v : p.samples)
            v = static_cast<std::uint32_t>(p.maxval) - v;
    }
    if (p.maxval != 15) return p;
    Picture wide = p;
    wide.maxval = 255;
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
    ScratchFolder dir;
    // An odd width exercises line padding; 4-row strips, the last of one row,
    // exercise strip tables.
    const Picture source = make_picture(67, 45, kind.channels, kind.maxval, 7);
    const std::string original = dir.file("source.tif");
    ASSERT_TRUE(write_with_libtiff(original, source));

    const bool predictable = kind.maxval >= 255;
    int checked = 0;
    for (const char* order : {"-B", "-L"}) {
        for (const char* method : {"none", "lzw", "zip"}) {
            for (bool predictor : {false, true}) {
                if (predictor && (!predictable || std::string(method) == "none")) continue;
                const std::string variant = dir.file("variant.tif");
                const std::string scheme = std::string(method) + (predictor ? ":2" : "");
                int status = 0;
                const std::string output = output_of("tiffcp " + std::string(order) + " -r 4 -c " +
                                                         scheme + " " + original + " " + variant,
                                                     &status);
                ASSERT_EQ(status, 0) << output;
                SCOPED_TRACE(std::string(kind.name) + " " + order + " " + scheme);

                Picture decoded;
                ASSERT_TRUE(decode_with_libtiff(variant, &decoded, kind.channels));
                ImageHolder image;
                ASSERT_EQ(read_own(variant, image.get()), 0);
                EXPECT_DOUBLE_EQ(image->resolution, 300.0);
                EXPECT_EQ(max_difference(as_read(decoded, false), picture_of(image.get())), 0);
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

TEST(TiffcpToOwnReader, MinIsWhiteIsInvertedAndAlphaDropped) {
    ScratchFolder dir;
    const std::string path = dir.file("source.tif");
    for (int maxval : {1, 15, 255, 65535}) {
        SCOPED_TRACE(maxval);
        const Picture source = make_picture(33, 20, 1, maxval, 3);
        ASSERT_TRUE(write_with_libtiff(
            path, source, {.big_endian = maxval > 255, .photometric = PHOTOMETRIC_MINISWHITE}));
        Picture decoded;
        ASSERT_TRUE(decode_with_libtiff(path, &decoded));
        ImageHolder image;
        ASSERT_EQ(read_own(path, image.get()), 0);
        EXPECT_EQ(max_difference(as_read(decoded, true), picture_of(image.get())), 0);
    }
    const std::string variant = dir.file("variant.tif");
    for (int maxval : {255, 65535}) {
        const Picture source = make_picture(31, 17, 3, maxval, 5);
        ASSERT_TRUE(write_with_libtiff(path, source, {.extra_channels = 1}));
        for (const char* method : {"none", "lzw:2"}) {
            SCOPED_TRACE(std::to_string(maxval) + " " + method);
            int status = 0;
            output_of("tiffcp -c " + std::string(method) + " " + path + " " + variant, &status);
            ASSERT_EQ(status, 0);
            ImageHolder image;
            ASSERT_EQ(read_own(variant, image.get()), 0);
            EXPECT_EQ(max_difference(source, picture_of(image.get())), 0);
        }
    }
}

class OwnWriterToLibtiff : public ::testing::TestWithParam<std::tuple<int, int>> {
protected:
    void TearDown() override { parallel_set_threads(0); }
};

TEST_P(OwnWriterToLibtiff, PassesTiffinfoAndDecodesToWhatWasWritten) {
    const auto [type, compression] = GetParam();
    ScratchFolder dir;
    const int channels = type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
    const int maxval = type == image_type_binary ? 1 : type >= image_type_gray16 ? 65535 : 255;
    // Tall enough for several 250,000-byte strips in the wider types.
    const Picture source = make_picture(301, 700, channels, maxval, 11);
    ImageHolder image;
    ASSERT_EQ(image_of(source, image.get()), 0);

    // Strips are compressed and decoded on several threads: the file is the
    // same byte for byte whatever the thread count.
    std::vector<std::uint8_t> bytes[2];
    for (bool thumbnail : {false, true}) {
        SCOPED_TRACE(thumbnail ? "with thumbnail" : "without thumbnail");
        const std::string path = dir.file("ours.tif");
        parallel_set_threads(thumbnail ? 5 : 1);
        std::FILE* f = std::fopen(path.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        ASSERT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, compression, false, false), 0);
        ASSERT_EQ(std::fclose(f), 0);
        bytes[thumbnail ? 1 : 0] = read_bytes(path);
        if (thumbnail) {
            EXPECT_EQ(bytes[0], bytes[1]);
            f = std::fopen(path.c_str(), "wb");
            ASSERT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, compression, true, false), 0);
            ASSERT_EQ(std::fclose(f), 0);
        }

        int status = 0;
        const std::string report = output_of("tiffinfo -D " + path, &status);
        EXPECT_EQ(status, 0) << report;
        EXPECT_EQ(report.find("rror"), std::string::npos) << report;
        EXPECT_EQ(report.find("arning"), std::string::npos) << report;

        Picture decoded;
        ASSERT_TRUE(decode_with_libtiff(path, &decoded));
        EXPECT_EQ(max_difference(source, decoded), 0);

        // And the own reader takes it back unchanged, on 5 threads or 1.
        ImageHolder back;
        ASSERT_EQ(read_own(path, back.get()), 0);
        EXPECT_EQ(back->type, type);
        EXPECT_EQ(max_difference(source, picture_of(back.get())), 0);

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
            Picture thumb;
            ASSERT_TRUE(decode_with_libtiff(path, &thumb, 0, subifd));
            ImageHolder reduced;
            ASSERT_EQ(tiff_reduce_for_thumbnail(image.get(), reduced.get()), 0);
            EXPECT_EQ(reduced->width, 129);
            EXPECT_EQ(reduced->height, 300);
            EXPECT_EQ(max_difference(picture_of(reduced.get()), thumb), 0);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(TypesAndCompressions, OwnWriterToLibtiff,
                         ::testing::Combine(::testing::Values(1, 2, 3, 6, 7),
                                            ::testing::Values(0, 1, 2)),
                         [](const auto& param_info) {
                             const int c = std::get<1>(param_info.param);
                             return "type" + std::to_string(std::get<0>(param_info.param)) +
                                    (c == 0   ? "_none"
                                     : c == 1 ? "_zip"
                                              : "_lzw");
                         });

}  // namespace
