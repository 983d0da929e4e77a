// Files the own reader refuses open through libtiff, with the reader's error
// kept when that fails too; and real files from other programs: the TIFF test
// images of Go's x/image, each against its PNG twin as netpbm decodes it.
#include <gtest/gtest.h>

#include <string>

#include "core/image.h"
#include "file/tiff_fallback.h"
#include "file/tiff_reader.h"
#include "file/tiff_test_support.h"

namespace {

using tiff_test::Pixels;

const std::string go_testdata = "/usr/share/gocode/src/golang.org/x/image/testdata/";

// libtiff's own RGBA rendering, top line first, as 8-bit red, green, blue.
Pixels rgba_with_libtiff(const std::string& path) {
    Pixels p;
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    if (!tif) return p;
    std::uint32_t w = 0;
    std::uint32_t h = 0;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h);
    std::vector<std::uint32_t> raster(static_cast<std::size_t>(w) * h);
    if (TIFFReadRGBAImageOriented(tif, w, h, raster.data(), ORIENTATION_TOPLEFT, 0)) {
        p = Pixels{static_cast<int>(w), static_cast<int>(h), 3, 8, {}};
        p.samples.resize(raster.size() * 3);
        for (std::size_t i = 0; i < raster.size(); ++i) {
            p.samples[3 * i] = TIFFGetR(raster[i]);
            p.samples[3 * i + 1] = TIFFGetG(raster[i]);
            p.samples[3 * i + 2] = TIFFGetB(raster[i]);
        }
    }
    TIFFClose(tif);
    return p;
}

Pixels png_twin(const std::string& name, const tiff_test::TempDir& dir) {
    const std::string pnm = dir.file(name + ".pnm");
    int status = 0;
    const std::string output =
        tiff_test::run("pngtopnm " + go_testdata + name + " > " + pnm, &status);
    EXPECT_EQ(status, 0) << output;
    Pixels p;
    EXPECT_TRUE(tiff_test::read_pnm(pnm, &p)) << name;
    return p;
}

// Gray samples as colour, for comparison with a colour twin.
Pixels scaled(const Pixels& p, int from_bits, int to_bits) {
    Pixels q = p;
    q.bits = to_bits;
    for (auto& v : q.samples) {
        if (from_bits == 1)
            v = v ? (1u << to_bits) - 1 : 0;
        else if (from_bits == 16 && to_bits == 8)
            v = (v * 255 + 32767) / 65535;
    }
    return q;
}

TEST(TiffFallback, FilesTheReaderRefusesStillOpen) {
    tiff_test::TempDir dir;
    const Pixels rgb = tiff_test::make_pattern(70, 50, 3, 8, 8);
    const std::string source = dir.file("source.tif");
    ASSERT_TRUE(tiff_test::write_with_libtiff(source, rgb));
    struct Case {
        const char* tiffcp_options;
        int own_error;  // 0: any
        bool exact;     // lossless: the pixels are the source's
    };
    for (const Case& c :
         {Case{"-t -w 16 -l 16 -c zip", 155, true},                              // tiles
          Case{"-c packbits", 141, true}, Case{"-r 16 -c jpeg:90", 141, false},  // YCbCr JPEG
          Case{"-r 16 -c jpeg:r:90", 141, false}}) {                             // RGB JPEG
        SCOPED_TRACE(c.tiffcp_options);
        const std::string path = dir.file("variant.tif");
        int status = 0;
        const std::string out = tiff_test::run(
            std::string("tiffcp ") + c.tiffcp_options + " " + source + " " + path, &status);
        ASSERT_EQ(status, 0) << out;
        ImageHolder image;
        const int own = tiff_test::read_own(path, image.get());
        EXPECT_NE(own, 0);
        if (c.own_error != 0) {
            EXPECT_EQ(own, c.own_error);
        }
        ASSERT_EQ(TiffRead(path.c_str(), image.get(), false), 0);
        ASSERT_EQ(image->type, image_type_colour8);
        const Pixels expected = c.exact ? rgb : rgba_with_libtiff(path);
        EXPECT_TRUE(tiff_test::same_pixels(expected, tiff_test::pixels_of(image.get())));
    }
}

TEST(TiffFallback, PaletteFilesOpenWithTheErrorHidden) {
    tiff_test::TempDir dir;
    const std::string path = dir.file("palette.tif");
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tif, nullptr);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 9);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, 4);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 4);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE);
    std::uint16_t r[16], g[16], b[16];
    for (int i = 0; i < 16; ++i) {
        r[i] = static_cast<std::uint16_t>(i * 4096);
        g[i] = static_cast<std::uint16_t>(65535 - i * 4096);
        b[i] = static_cast<std::uint16_t>((i % 3) * 30000);
    }
    TIFFSetField(tif, TIFFTAG_COLORMAP, r, g, b);
    for (std::uint32_t y = 0; y < 4; ++y) {
        std::uint8_t line[5];
        for (int i = 0; i < 5; ++i)
            line[i] = static_cast<std::uint8_t>((y * 5 + i) * 0x37);
        ASSERT_GE(TIFFWriteScanline(tif, line, y, 0), 0);
    }
    TIFFClose(tif);

    ImageHolder image;
    EXPECT_EQ(tiff_test::read_own(path, image.get()), 150);
    ASSERT_EQ(TiffRead(path.c_str(), image.get(), false), 0);
    EXPECT_TRUE(tiff_test::same_pixels(rgba_with_libtiff(path), tiff_test::pixels_of(image.get())));
}

TEST(TiffFallback, PlanarConfigurationTwoIsFinal) {
    tiff_test::TempDir dir;
    const std::string source = dir.file("source.tif");
    ASSERT_TRUE(tiff_test::write_with_libtiff(source, tiff_test::make_pattern(20, 10, 3, 8, 1)));
    const std::string path = dir.file("planar.tif");
    int status = 0;
    tiff_test::run("tiffcp -p separate " + source + " " + path, &status);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(tiff_fallback_read(path.c_str(), ImageHolder().get(), false), 0);  // libtiff could
    ImageHolder image;
    EXPECT_EQ(TiffRead(path.c_str(), image.get(), false), 152);
    EXPECT_EQ(image->type, 0);
}

TEST(TiffFallback, WhenBothFailTheReadersErrorStands) {
    tiff_test::TempDir dir;
    // A header and an IFD that only reach into nothing.
    const std::string path = dir.file("broken.tif");
    tiff_test::write_bytes(path, {'I', 'I', 42, 0, 0x10, 0, 0, 0});
    ImageHolder image;
    EXPECT_EQ(TiffRead(path.c_str(), image.get(), false), 56);
    // An image whose LZW data are garbage: libtiff fails as well.
    tiff_test::HandMade t;
    t.tag(256, 4, {40}).tag(257, 4, {30}).tag(258, 3, {8}).tag(259, 3, {5}).tag(262, 3, {1});
    t.tag(273, 4, {t.data(std::vector<std::uint8_t>(200, 0xFF))}).tag(279, 4, {200});
    tiff_test::write_bytes(path, t.build());
    EXPECT_EQ(TiffRead(path.c_str(), image.get(), false), 156);
    EXPECT_EQ(image->type, 0);
    EXPECT_EQ(TiffRead(dir.file("missing.tif").c_str(), image.get(), false), 56);
}

TEST(TiffFallback, OrientationAppliesAfterTheFallback) {
    tiff_test::TempDir dir;
    const Pixels p = tiff_test::make_pattern(40, 24, 3, 8, 12);
    const std::string source = dir.file("source.tif");
    tiff_test::SourceOptions options;
    options.orientation = 6;
    ASSERT_TRUE(tiff_test::write_with_libtiff(source, p, options));
    const std::string tiled = dir.file("tiled.tif");
    int status = 0;
    tiff_test::run("tiffcp -t -w 16 -l 16 " + source + " " + tiled, &status);
    ASSERT_EQ(status, 0);
    ImageHolder own;
    ImageHolder fallback;
    ASSERT_EQ(tiff_test::read_own(source, own.get()), 0);
    ASSERT_EQ(TiffRead(tiled.c_str(), fallback.get(), false), 0);
    EXPECT_EQ(fallback->width, 24);
    EXPECT_TRUE(tiff_test::same_pixels(tiff_test::pixels_of(own.get()),
                                       tiff_test::pixels_of(fallback.get())));
}

struct RealFile {
    const char* tiff;
    const char* png;
    bool own_reader;  // read by the own reader, not the fallback
};

class GoTestImages : public ::testing::TestWithParam<RealFile> {};

TEST_P(GoTestImages, MatchTheirPngTwins) {
    const RealFile f = GetParam();
    tiff_test::TempDir dir;
    const std::string path = go_testdata + f.tiff;
    ImageHolder image;
    EXPECT_EQ(tiff_test::read_own(path, image.get()) == 0, f.own_reader);
    ASSERT_EQ(TiffRead(path.c_str(), image.get(), false), 0);
    Pixels ours = tiff_test::pixels_of(image.get());
    const Pixels twin = png_twin(f.png, dir);
    if (ours.bits == 1) ours = scaled(ours, 1, 8);
    if (ours.bits == 16 && twin.bits == 8) {
        // The 16-bit file holds each 8-bit value v as v * 257.
        for (auto& v : ours.samples) {
            ASSERT_EQ(v % 257, 0u);
            v /= 257;
        }
        ours.bits = 8;
    }
    EXPECT_TRUE(tiff_test::same_pixels(twin, ours));
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
        ASSERT_EQ(tiff_test::read_own(go_testdata + name, image.get()), 0);
        Pixels decoded;
        ASSERT_TRUE(tiff_test::decode_with_libtiff(go_testdata + name, &decoded));
        EXPECT_TRUE(tiff_test::same_pixels(
            tiff_test::first_channels(decoded, decoded.channels >= 3 ? 3 : 1),
            tiff_test::pixels_of(image.get())));
    }
    const std::string palette = go_testdata + "video-001-paletted.tiff";
    ImageHolder image;
    EXPECT_EQ(tiff_test::read_own(palette, image.get()), 150);
    ASSERT_EQ(TiffRead(palette.c_str(), image.get(), false), 0);
    EXPECT_TRUE(
        tiff_test::same_pixels(rgba_with_libtiff(palette), tiff_test::pixels_of(image.get())));
}

}  // namespace
