// Files the own reader refuses open through libtiff, with the reader's error
// kept when that fails too; and real files from other programs: the TIFF test
// images of Go's x/image, each against its PNG twin as netpbm decodes it.
#include "file/tiff_fallback.h"

#include <gtest/gtest.h>

#include <string>

#include "core/image.h"
#include "file/file_test_support.h"
#include "file/tiff_reader.h"

using namespace file_test;

namespace {

const std::string go_testdata = "/usr/share/gocode/src/golang.org/x/image/testdata/";

// libtiff's own RGBA rendering, top line first, as 8-bit red, green, blue.
Picture rgba_with_libtiff(const std::string& path) {
    Picture p;
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    if (!tif) return p;
    std::uint32_t w = 0;
    std::uint32_t h = 0;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h);
    std::vector<std::uint32_t> raster(static_cast<std::size_t>(w) * h);
    if (TIFFReadRGBAImageOriented(tif, w, h, raster.data(), ORIENTATION_TOPLEFT, 0)) {
        p = Picture{static_cast<int>(w), static_cast<int>(h), 3, 255, {}};
        for (std::uint32_t v : raster)
            p.samples.insert(p.samples.end(), {TIFFGetR(v), TIFFGetG(v), TIFFGetB(v)});
    }
    TIFFClose(tif);
    return p;
}

// tiffcp with `options` from `source` to `path`.
void tiffcp(const std::string& options, const std::string& source, const std::string& path) {
    int status = 0;
    const std::string output = output_of("tiffcp " + options + " " + source + " " + path, &status);
    ASSERT_EQ(status, 0) << output;
}

TEST(TiffFallback, FilesTheReaderRefusesStillOpen) {
    ScratchFolder dir;
    const Picture rgb = make_picture(70, 50, 3, 255, 8);
    const std::string source = dir.file("source.tif");
    const std::string path = dir.file("variant.tif");
    ASSERT_TRUE(write_with_libtiff(source, rgb));
    struct Case {
        const char* tiffcp_options;
        int own_error;
        bool exact;  // lossless: the pixels are the source's
    };
    for (const Case& c :
         {Case{"-t -w 16 -l 16 -c zip", 155, true},                              // tiles
          Case{"-c packbits", 141, true}, Case{"-r 16 -c jpeg:90", 141, false},  // YCbCr JPEG
          Case{"-r 16 -c jpeg:r:90", 141, false}}) {
        SCOPED_TRACE(c.tiffcp_options);
        tiffcp(c.tiffcp_options, source, path);
        ImageHolder image;
        EXPECT_EQ(read_own(path, image.get()), c.own_error);
        ASSERT_EQ(TiffRead(path.c_str(), image.get(), false), 0);
        ASSERT_EQ(image->type, image_type_colour8);
        EXPECT_EQ(max_difference(c.exact ? rgb : rgba_with_libtiff(path), picture_of(image.get())),
                  0);
    }
}

TEST(TiffFallback, PlanarConfigurationTwoIsFinal) {
    ScratchFolder dir;
    const std::string source = dir.file("source.tif");
    ASSERT_TRUE(write_with_libtiff(source, make_picture(20, 10, 3, 255, 1)));
    const std::string path = dir.file("planar.tif");
    tiffcp("-p separate", source, path);
    ASSERT_EQ(tiff_fallback_read(path.c_str(), ImageHolder().get(), false), 0);  // libtiff could
    ImageHolder image;
    EXPECT_EQ(TiffRead(path.c_str(), image.get(), false), 152);
    EXPECT_EQ(image->type, 0);
}

TEST(TiffFallback, WhenBothFailTheReadersErrorStands) {
    ScratchFolder dir;
    // A header and an IFD that only reach into nothing.
    const std::string path = dir.file("broken.tif");
    write_bytes(path, {'I', 'I', 42, 0, 0x10, 0, 0, 0});
    ImageHolder image;
    EXPECT_EQ(TiffRead(path.c_str(), image.get(), false), 56);
    // An image whose LZW data are garbage: libtiff fails as well.
    HandMade t;
    t.tag(256, 4, {40}).tag(257, 4, {30}).tag(258, 3, {8}).tag(259, 3, {5}).tag(262, 3, {1});
    t.tag(273, 4, {t.data(std::vector<std::uint8_t>(200, 0xFF))}).tag(279, 4, {200});
    write_bytes(path, t.build());
    EXPECT_EQ(TiffRead(path.c_str(), image.get(), false), 156);
    EXPECT_EQ(image->type, 0);
    EXPECT_EQ(TiffRead(dir.file("missing.tif").c_str(), image.get(), false), 56);
}

TEST(TiffFallback, OrientationAppliesAfterTheFallback) {
    ScratchFolder dir;
    const std::string source = dir.file("source.tif");
    const std::string tiled = dir.file("tiled.tif");
    ASSERT_TRUE(write_with_libtiff(source, make_picture(40, 24, 3, 255, 12), {.orientation = 6}));
    tiffcp("-t -w 16 -l 16", source, tiled);
    ImageHolder own;
    ImageHolder fallback;
    ASSERT_EQ(read_own(source, own.get()), 0);
    ASSERT_EQ(TiffRead(tiled.c_str(), fallback.get(), false), 0);
    EXPECT_EQ(fallback->width, 24);
    EXPECT_EQ(max_difference(picture_of(own.get()), picture_of(fallback.get())), 0);
}

struct RealFile {
    const char* tiff;
    const char* png;
    bool own_reader;  // read by the own reader, not the fallback
};

class GoTestImages : public ::testing::TestWithParam<RealFile> {};

TEST_P(GoTestImages, MatchTheirPngTwins) {
    const RealFile f = GetParam();
    ScratchFolder dir;
    const std::string path = go_testdata + f.tiff;
    ImageHolder image;
    EXPECT_EQ(read_own(path, image.get()) == 0, f.own_reader);
    ASSERT_EQ(TiffRead(path.c_str(), image.get(), false), 0);
    const std::string pnm = dir.file("twin.pnm");
    ASSERT_TRUE(run("pngtopnm " + go_testdata + f.png + " > " + pnm));
    Picture ours = picture_of(image.get());
    if (ours.maxval == 65535) {
        // The 16-bit file holds each 8-bit value v as v * 257.
        for (auto& v : ours.samples) {
            ASSERT_EQ(v % 257, 0u);
            v /= 257;
        }
        ours.maxval = 255;
    }
    EXPECT_EQ(max_difference(normalised(read_pnm(pnm)), normalised(ours)), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Files, GoTestImages,
    ::testing::Values(RealFile{"video-001.tiff", "video-001.png", true},
                      RealFile{"video-001-uncompressed.tiff", "video-001.png", true},
                      RealFile{"video-001-strip-64.tiff", "video-001.png", true},
                      RealFile{"video-001-16bit.tiff", "video-001.png", true},
                      RealFile{"video-001-tile-64x64.tiff", "video-001.png", false},
                      RealFile{"blue-purple-pink.lzwcompressed.tiff", "blue-purple-pink.png", true},
                      RealFile{"bw-uncompressed.tiff", "bw-gopher.png", true},
                      RealFile{"bw-deflate.tiff", "bw-gopher.png", true},
                      RealFile{"bw-packbits.tiff", "bw-gopher.png", false},
                      RealFile{"bw-gopher_ccittGroup3.tiff", "bw-gopher.png", false},
                      RealFile{"bw-gopher_ccittGroup4.tiff", "bw-gopher.png", false}),
    [](const auto& param_info) {
        std::string n = param_info.param.tiff;
        n = n.substr(0, n.find('.'));
        std::erase_if(n, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
        return n;
    });

TEST(GoTestImages, FilesWithoutTwinsMatchLibtiff) {
    // Gray, alpha and palette files have no twin of their own: libtiff decodes them.
    for (const char* name :
         {"video-001-gray.tiff", "video-001-gray-16bit.tiff", "no_rps.tiff", "no_compress.tiff"}) {
        SCOPED_TRACE(name);
        ImageHolder image;
        ASSERT_EQ(read_own(go_testdata + name, image.get()), 0);
        const Picture ours = picture_of(image.get());
        Picture decoded;
        ASSERT_TRUE(decode_with_libtiff(go_testdata + name, &decoded, ours.channels));
        EXPECT_EQ(max_difference(decoded, ours), 0);
    }
    // A palette file is refused by the own reader and opens through libtiff.
    const std::string palette = go_testdata + "video-001-paletted.tiff";
    ImageHolder image;
    EXPECT_EQ(read_own(palette, image.get()), 150);
    ASSERT_EQ(TiffRead(palette.c_str(), image.get(), false), 0);
    EXPECT_EQ(max_difference(rgba_with_libtiff(palette), picture_of(image.get())), 0);
}

}  // namespace
