#include "file/jpeg_io.h"

#include <gtest/gtest.h>

#include <csetjmp>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

// clang-format off
#include <jpeglib.h>
// clang-format on

#include "core/image.h"
#include "file/file_test_support.h"

using namespace file_test;

namespace {

constexpr double fallback_dpi = 200.0;

struct Segment {
    int marker;
    std::size_t offset;  // of the 0xFF
    std::size_t length;  // the length field: body plus its own two bytes
};

// The marker segments of a JPEG file from SOI up to the first SOS, read
// directly from the bytes.
std::vector<Segment> header_segments(const std::vector<std::uint8_t>& bytes) {
    std::vector<Segment> segments;
    std::size_t at = 2;
    while (at + 4 <= bytes.size() && bytes[at] == 0xFF) {
        const int marker = bytes[at + 1];
        const std::size_t length = static_cast<std::size_t>(bytes[at + 2] << 8 | bytes[at + 3]);
        segments.push_back({marker, at, length});
        if (marker == 0xDA) break;
        at += 2 + length;
    }
    return segments;
}

std::vector<std::uint8_t> random_bytes(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> bytes(size);
    for (auto& b : bytes)
        b = static_cast<std::uint8_t>(random());
    return bytes;
}

class JpegFiles : public ::testing::Test {
protected:
    ScratchFolder folder;

    std::string cjpeg(const Picture& picture, const std::string& options, const std::string& name) {
        EXPECT_TRUE(made_by("cjpeg " + options, picture, folder.file(name + ".jpg")));
        return folder.file(name + ".jpg");
    }
    Picture djpeg(const std::string& jpg) { return decoded_by("djpeg -pnm", jpg); }
};

TEST_F(JpegFiles, FilesOfCjpegReadAsDjpegReadsThem) {
    struct Case {
        int width, height, channels;
        const char* options;
    };
    const Case cases[] = {
        {173, 91, 3, "-quality 90"},
        {173, 91, 3, "-quality 75 -progressive"},
        {64, 48, 3, "-quality 95 -sample 1x1"},
        {97, 61, 3, "-quality 80 -sample 2x1"},
        {97, 61, 3, "-quality 80 -sample 4x1 -progressive"},
        {97, 61, 3, "-rgb -quality 85"},
        {173, 91, 1, "-quality 90"},
        {150, 77, 1, "-quality 60 -progressive"},
    };
    int n = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.options);
        const Picture source = make_picture(c.width, c.height, c.channels, 255, 10u + n);
        const std::string jpg = cjpeg(source, c.options, "case" + std::to_string(n++));
        const Picture expected = djpeg(jpg);
        ImageHolder image;
        std::vector<std::uint8_t> profile = {1, 2, 3};
        ASSERT_EQ(ReadJPEGAndProfile(jpg.c_str(), image.get(), &profile, true, fallback_dpi), 0);
        EXPECT_EQ(image->type, c.channels == 3 ? image_type_colour8 : image_type_gray8);
        EXPECT_EQ(max_difference(picture_of(image.get()), expected), 0);
        EXPECT_TRUE(profile.empty());
        // cjpeg writes a JFIF density of 1 by 1 with no unit: no resolution.
        EXPECT_EQ(image->resolution, fallback_dpi);
    }
}

TEST_F(JpegFiles, OurFilesAtQuality100StayCloseToTheSource) {
    for (int channels : {1, 3}) {
        SCOPED_TRACE(channels);
        const Picture source = make_picture(211, 133, channels, 255, 77);
        ImageHolder image;
        image_of(source, image.get(), 300.0);
        const std::string jpg = folder.file("q100.jpg");
        JpegWriteOptions options;
        options.quality = 100;
        options.progress = false;
        ASSERT_EQ(WriteJPEG(jpg.c_str(), image.get(), options), 0);

        // djpeg reads what we wrote as we do, and both are close to the source.
        const Picture theirs = djpeg(jpg);
        ImageHolder back;
        ASSERT_EQ(ReadJPEGAndProfile(jpg.c_str(), back.get(), nullptr, false, fallback_dpi), 0);
        const Picture ours = picture_of(back.get());
        EXPECT_EQ(max_difference(ours, theirs), 0);
        EXPECT_LE(max_difference(ours, source), 6);
        EXPECT_LT(mean_difference(ours, source), 1.0);
        EXPECT_EQ(back->resolution, 300.0);
    }
}

TEST_F(JpegFiles, WriterOptionsReachTheHeader) {
    const Picture colour = make_picture(50, 40, 3, 255, 1);
    ImageHolder image;
    image_of(colour, image.get());
    std::vector<std::uint8_t> exif = {'E', 'x', 'i', 'f', 0, 0};
    const auto tiff = random_bytes(500, 15);
    exif.insert(exif.end(), tiff.begin(), tiff.end());
    const auto profile = random_bytes(1000, 16);
    const int expected[4][2] = {{1, 1}, {2, 1}, {4, 1}, {2, 2}};
    for (int sampling = 0; sampling < 4; ++sampling) {
        SCOPED_TRACE(sampling);
        JpegWriteOptions options;
        options.sampling = sampling;
        if (sampling == 3) {  // the EXIF block stands between JFIF and profile
            options.exif = exif;
            options.profile = profile;
        }
        const std::string jpg = folder.file("s" + std::to_string(sampling) + ".jpg");
        ASSERT_EQ(WriteJPEG(jpg.c_str(), image.get(), options), 0);
        const auto bytes = read_bytes(jpg);
        const auto segments = header_segments(bytes);
        ASSERT_GE(segments.size(), 3u);
        EXPECT_EQ(segments[0].marker, 0xE0);
        if (sampling == 3) {
            EXPECT_EQ(segments[1].marker, 0xE1);
            EXPECT_EQ(segments[1].length, exif.size() + 2);
            EXPECT_TRUE(std::equal(exif.begin(), exif.end(),
                                   bytes.begin() + 4 + static_cast<long>(segments[1].offset)));
            EXPECT_EQ(segments[2].marker, 0xE2);
        }
        bool found = false;
        for (const Segment& s : segments) {
            if (s.marker != 0xC0) continue;
            found = true;
            ASSERT_EQ(bytes[s.offset + 9], 3);  // components
            // Each component: id, sampling (h << 4 | v), table.
            EXPECT_EQ(bytes[s.offset + 11], expected[sampling][0] << 4 | expected[sampling][1]);
            EXPECT_EQ(bytes[s.offset + 14], 0x11);
            EXPECT_EQ(bytes[s.offset + 17], 0x11);
        }
        EXPECT_TRUE(found);
        // And the file reads back close to the source through djpeg.
        EXPECT_LT(mean_difference(djpeg(jpg), colour), 4.0);
        // EXIF too large for one marker.
        options.exif = std::vector<std::uint8_t>(70000, 1);
        EXPECT_EQ(WriteJPEG(jpg.c_str(), image.get(), options), 126);
    }
    // A full disk is a write error.
    EXPECT_EQ(WriteJPEG("/dev/full", image.get(), {}), 23);
}

TEST_F(JpegFiles, ResolutionFromTheJfifDensity) {
    const std::string jpg = cjpeg(make_picture(20, 20, 3, 255, 3), "", "density");
    auto bytes = read_bytes(jpg);
    const auto segments = header_segments(bytes);
    ASSERT_FALSE(segments.empty());
    ASSERT_EQ(segments[0].marker, 0xE0);
    const std::size_t units = segments[0].offset + 11;  // after length, "JFIF\0", version
    auto read_with = [&](int unit, int x) {
        bytes[units] = static_cast<std::uint8_t>(unit);
        bytes[units + 1] = static_cast<std::uint8_t>(x >> 8);
        bytes[units + 2] = static_cast<std::uint8_t>(x);
        bytes[units + 3] = static_cast<std::uint8_t>(x >> 8);
        bytes[units + 4] = static_cast<std::uint8_t>(x);
        write_bytes(jpg, bytes);
        ImageHolder image;
        EXPECT_EQ(ReadJPEGAndProfile(jpg.c_str(), image.get(), nullptr, false, fallback_dpi), 0);
        return image->resolution;
    };
    EXPECT_DOUBLE_EQ(read_with(1, 240), 240.0);
    EXPECT_NEAR(read_with(2, 118), 299.72, 1e-9);  // dots per centimetre
    EXPECT_DOUBLE_EQ(read_with(0, 3), fallback_dpi);
    EXPECT_DOUBLE_EQ(read_with(1, 0), fallback_dpi);

    // What we write: dots per inch, rounded.
    ImageHolder image;
    image_of(make_picture(20, 20, 1, 255, 3), image.get(), 299.6);
    ASSERT_EQ(WriteJPEG(jpg.c_str(), image.get(), {}), 0);
    bytes = read_bytes(jpg);
    EXPECT_EQ(std::vector<int>(bytes.begin() + 13, bytes.begin() + 18),
              (std::vector<int>{1, 1, 44, 1, 44}));  // after "JFIF\0" and the version
}

TEST_F(JpegFiles, ProfilesOfCjpegInAnyChunkOrder) {
    // Larger than one marker can hold: cjpeg splits it in two.
    const std::vector<std::uint8_t> profile = random_bytes(100000, 21);
    const std::string icc = folder.file("big.icc");
    write_bytes(icc, profile);
    const std::string jpg =
        cjpeg(make_picture(33, 17, 3, 255, 6), "-icc " + quoted(icc), "withprofile");
    ImageHolder image;
    std::vector<std::uint8_t> read_profile;
    ASSERT_EQ(ReadJPEGAndProfile(jpg.c_str(), image.get(), &read_profile, false, 100.0), 0);
    EXPECT_EQ(read_profile, profile);

    // The two APP2 segments swapped: the sequence numbers still put them right.
    const auto bytes = read_bytes(jpg);
    std::vector<Segment> app2;
    for (const Segment& s : header_segments(bytes))
        if (s.marker == 0xE2) app2.push_back(s);
    ASSERT_EQ(app2.size(), 2u);
    ASSERT_EQ(app2[0].offset + 2 + app2[0].length, app2[1].offset);
    const auto first = bytes.begin() + static_cast<long>(app2[0].offset);
    const auto second = bytes.begin() + static_cast<long>(app2[1].offset);
    const auto end = second + static_cast<long>(app2[1].length + 2);
    std::vector<std::uint8_t> swapped(bytes.begin(), first);
    swapped.insert(swapped.end(), second, end);
    swapped.insert(swapped.end(), first, second);
    swapped.insert(swapped.end(), end, bytes.end());
    const std::string swapped_jpg = folder.file("swapped.jpg");
    write_bytes(swapped_jpg, swapped);
    ASSERT_EQ(ReadJPEGAndProfile(swapped_jpg.c_str(), image.get(), &read_profile, false, 100.0), 0);
    EXPECT_EQ(read_profile, profile);

    // Only the first of two chunks, then the image data: no profile, no error.
    std::vector<std::uint8_t> half(bytes.begin(), second);
    half.insert(half.end(), end, bytes.end());
    const std::string half_jpg = folder.file("half.jpg");
    write_bytes(half_jpg, half);
    read_profile = {1};
    ASSERT_EQ(ReadJPEGAndProfile(half_jpg.c_str(), image.get(), &read_profile, false, 100.0), 0);
    EXPECT_TRUE(read_profile.empty());
    EXPECT_EQ(image->type, image_type_colour8);
}

// A gray picture keeps its gray profile.
TEST_F(JpegFiles, GrayFilesKeepTheirProfile) {
    const std::string icc = folder.file("gray.icc");
    write_bytes(icc, random_bytes(3000, 8));
    const std::string jpg = cjpeg(make_picture(33, 17, 1, 255, 6), "-icc " + quoted(icc), "gp");
    ImageHolder image;
    std::vector<std::uint8_t> read_profile = {1};
    ASSERT_EQ(ReadJPEGAndProfile(jpg.c_str(), image.get(), &read_profile, false, 100.0), 0);
    EXPECT_EQ(image->type, image_type_gray8);
    EXPECT_EQ(read_profile, file_test::read_bytes(icc));
}

// Writes varied CMYK samples with libjpeg itself, as Adobe programs store
// them: with the Adobe marker and inverted, 255 meaning no ink.
void write_cmyk(const std::string& path, int width, int height,
                const std::vector<std::uint8_t>& profile = {}) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    jpeg_compress_struct cinfo{};
    jpeg_error_mgr error{};
    cinfo.err = jpeg_std_error(&error);
    jpeg_create_compress(&cinfo);
    jpeg_stdio_dest(&cinfo, file);
    cinfo.image_width = static_cast<JDIMENSION>(width);
    cinfo.image_height = static_cast<JDIMENSION>(height);
    cinfo.input_components = 4;
    cinfo.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, 100, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    if (!profile.empty())
        jpeg_write_icc_profile(&cinfo, profile.data(), static_cast<unsigned int>(profile.size()));
    std::vector<std::uint8_t> line(static_cast<std::size_t>(width) * 4);
    while (cinfo.next_scanline < cinfo.image_height) {
        for (std::size_t i = 0; i < line.size(); ++i)
            line[i] = static_cast<std::uint8_t>(i * 37 + cinfo.next_scanline * 11 + i % 4 * 90);
        JSAMPROW row = line.data();
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    std::fclose(file);
}

// libjpeg's decoding of the stored inks, top line first.
std::vector<std::uint8_t> read_cmyk(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    jpeg_decompress_struct cinfo{};
    jpeg_error_mgr error{};
    cinfo.err = jpeg_std_error(&error);
    jpeg_create_decompress(&cinfo);
    jpeg_stdio_src(&cinfo, file);
    jpeg_read_header(&cinfo, TRUE);
    jpeg_start_decompress(&cinfo);
    const std::size_t line = static_cast<std::size_t>(cinfo.output_width) * 4;
    std::vector<std::uint8_t> inks(line * cinfo.output_height);
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW row = &inks[cinfo.output_scanline * line];
        jpeg_read_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    std::fclose(file);
    return inks;
}

TEST_F(JpegFiles, CmykFilesBecomeColour) {
    const std::string jpg = folder.file("cmyk.jpg");
    write_cmyk(jpg, 24, 16);
    const std::vector<std::uint8_t> inks = read_cmyk(jpg);
    ImageHolder image;
    ASSERT_EQ(ReadJPEGAndProfile(jpg.c_str(), image.get(), nullptr, false, 100.0), 0);
    ASSERT_EQ(image->type, image_type_colour8);
    // Each inverted ink scales its channel by the inverted black: red is
    // C * K / 255, rounded to nearest.
    const Picture p = picture_of(image.get());
    for (std::size_t i = 0; i < 24 * 16; ++i)
        for (std::size_t c = 0; c < 3; ++c)
            ASSERT_EQ(p.samples[3 * i + c], (inks[4 * i + c] * inks[4 * i + 3] + 127u) / 255u)
                << "pixel " << i << " channel " << c;
    // The profile of a CMYK file describes inks: it does not come with the colours.
    write_cmyk(jpg, 16, 16, random_bytes(2000, 18));
    std::vector<std::uint8_t> profile = {1};
    ASSERT_EQ(ReadJPEGAndProfile(jpg.c_str(), image.get(), &profile, false, 100.0), 0);
    EXPECT_EQ(image->type, image_type_colour8);
    EXPECT_TRUE(profile.empty());
}

}  // namespace
