#include "file/png_io.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "core/image.h"
#include "file/file_test_support.h"

using namespace file_test;

namespace {

constexpr double fallback_dpi = 200.0;
const std::string go_samples = "/usr/share/gocode/src/golang.org/x/image/testdata";

std::uint32_t big_endian(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1]) << 16 |
           static_cast<std::uint32_t>(p[2]) << 8 | p[3];
}

struct Chunk {
    std::string type;
    std::vector<std::uint8_t> data;
};

// The chunks of a PNG file, read directly from its bytes.
std::vector<Chunk> chunks_of(const std::vector<std::uint8_t>& bytes) {
    std::vector<Chunk> chunks;
    std::size_t at = 8;
    while (at + 12 <= bytes.size()) {
        const std::size_t length = big_endian(&bytes[at]);
        if (at + 12 + length > bytes.size()) break;
        Chunk c;
        c.type.assign(reinterpret_cast<const char*>(&bytes[at + 4]), 4);
        c.data.assign(bytes.begin() + static_cast<long>(at + 8),
                      bytes.begin() + static_cast<long>(at + 8 + length));
        chunks.push_back(std::move(c));
        at += 12 + length;
    }
    return chunks;
}

// Bit depth and colour type of IHDR.
std::pair<int, int> header_of(const std::string& png) {
    const auto chunks = chunks_of(read_bytes(png));
    if (chunks.empty() || chunks[0].type != "IHDR") return {0, -1};
    return {chunks[0].data[8], chunks[0].data[9]};
}

// The profile of an iCCP chunk, inflated with zlib: empty when there is none.
std::vector<std::uint8_t> iccp_profile_of(const std::string& png) {
    for (Chunk& c : chunks_of(read_bytes(png))) {
        if (c.type != "iCCP") continue;
        std::size_t name_end = 0;
        while (name_end < c.data.size() && c.data[name_end] != 0)
            ++name_end;
        const std::size_t start = name_end + 2;  // the zero and the method byte
        z_stream z{};
        if (inflateInit(&z) != Z_OK) return {};
        z.next_in = c.data.data() + start;
        z.avail_in = static_cast<uInt>(c.data.size() - start);
        std::vector<std::uint8_t> profile;
        std::uint8_t buffer[4096];
        int status = Z_OK;
        while (status == Z_OK) {
            z.next_out = buffer;
            z.avail_out = sizeof buffer;
            status = inflate(&z, Z_NO_FLUSH);
            profile.insert(profile.end(), buffer, buffer + (sizeof buffer - z.avail_out));
        }
        inflateEnd(&z);
        return status == Z_STREAM_END ? profile : std::vector<std::uint8_t>();
    }
    return {};
}

class PngFiles : public ::testing::Test {
protected:
    ScratchFolder folder;

    std::string pnmtopng(const Picture& picture, const std::string& options,
                         const std::string& name) {
        EXPECT_TRUE(made_by("pnmtopng " + options, picture, folder.file(name + ".png")));
        return folder.file(name + ".png");
    }
    Picture pngtopnm(const std::string& png) { return decoded_by("pngtopnm", png); }
};

// A picture of at most `colours` colours, gray ones when `gray`.
Picture few_colours(int width, int height, int colours, bool gray, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::array<std::uint32_t, 3>> table(static_cast<std::size_t>(colours));
    for (auto& c : table) {
        const std::uint32_t g = random() % 256;
        c = gray ? std::array<std::uint32_t, 3>{g, g, g}
                 : std::array<std::uint32_t, 3>{g, static_cast<std::uint32_t>(random() % 256),
                                                static_cast<std::uint32_t>(random() % 256)};
    }
    Picture p;
    p.width = width;
    p.height = height;
    p.channels = 3;
    p.samples.resize(static_cast<std::size_t>(width) * height * 3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const auto& c = table[static_cast<std::size_t>((x / 7 + y / 5 * 3) % colours)];
            for (int k = 0; k < 3; ++k)
                p.at(x, y, k) = c[static_cast<std::size_t>(k)];
        }
    return p;
}

// Gray samples as 8-bit colour.
Picture as_colour8(const Picture& p) {
    Picture c = normalised(p);
    c.maxval = 255;
    for (auto& v : c.samples)
        v /= 257;
    return c;
}

TEST_F(PngFiles, FilesOfPnmtopngReadAsPngtopnmReadsThem) {
    Picture two_bit = make_picture(45, 31, 1, 3, 1);
    Picture four_bit = make_picture(45, 31, 1, 15, 2);
    struct Case {
        const char* name;
        Picture picture;
        const char* options;
        int depth, colour_type;  // of the file, to be sure of what is tested
        int image_type;
    };
    const Case cases[] = {
        {"gray8", make_picture(101, 67, 1, 255, 3), "", 8, 0, image_type_gray8},
        {"colour8", make_picture(101, 67, 3, 255, 4), "-force", 8, 2, image_type_colour8},
        {"gray16", make_picture(101, 67, 1, 65535, 5), "", 16, 0, image_type_gray16},
        {"colour16", make_picture(101, 67, 3, 65535, 6), "", 16, 2, image_type_colour16},
        {"interlaced8", make_picture(57, 43, 3, 255, 7), "-force -interlace", 8, 2,
         image_type_colour8},
        {"interlaced16", make_picture(57, 43, 1, 65535, 8), "-interlace", 16, 0, image_type_gray16},
        {"gray2", two_bit, "", 2, 0, image_type_gray8},
        {"gray4", four_bit, "", 4, 0, image_type_gray8},
        {"palette", few_colours(77, 39, 200, false, 9), "", 8, 3, image_type_colour8},
        {"palette4", few_colours(77, 39, 13, false, 10), "", 4, 3, image_type_colour8},
        {"palette_interlaced", few_colours(77, 39, 3, false, 11), "-interlace", 2, 3,
         image_type_colour8},
        {"gray_palette", few_colours(77, 39, 40, true, 12), "-palette=", 8, 3, image_type_gray8},
        {"bilevel", make_picture(53, 29, 1, 1, 13), "", 1, 0, image_type_binary},
        // A 1-bit palette of white then black: the bits are turned round.
        {"white_black", as_colour8(make_picture(53, 29, 1, 1, 14)), "-palette=", 1, 3,
         image_type_binary},
        // Alpha is dropped.
        {"colour_alpha", make_picture(64, 40, 3, 255, 15), "-force -alpha=", 8, 6,
         image_type_colour8},
        {"gray_alpha", make_picture(64, 40, 1, 255, 16), "-force -alpha=", 8, 4, image_type_gray8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string options = c.options;
        if (options == "-palette=") {
            // pnmtopng writes gray pictures as gray unless given a palette,
            // here of the picture's grays from light to dark.
            const std::string palette = folder.file("palette.ppm");
            std::ofstream out(palette, std::ios::binary);
            std::set<std::uint32_t> grays(c.picture.samples.begin(), c.picture.samples.end());
            out << "P3\n" << grays.size() << " 1\n255\n";
            for (auto g = grays.rbegin(); g != grays.rend(); ++g)
                out << *g << " " << *g << " " << *g << "\n";
            out.close();
            options += quoted(palette);
        } else if (options == "-force -alpha=") {
            write_pnm(folder.file("alpha.pgm"), make_picture(64, 40, 1, 255, 17));
            options += quoted(folder.file("alpha.pgm"));
        }
        const std::string png = pnmtopng(c.picture, options, c.name);
        ASSERT_EQ(header_of(png), std::make_pair(c.depth, c.colour_type));
        ImageHolder image;
        ASSERT_EQ(read_png_file(png.c_str(), image.get(), nullptr, true, fallback_dpi), 0);
        EXPECT_EQ(image->type, c.image_type);
        EXPECT_EQ(max_difference(normalised(picture_of(image.get())), normalised(pngtopnm(png))),
                  0);
        EXPECT_EQ(image->resolution, fallback_dpi);
    }
}

TEST_F(PngFiles, OurFilesRoundTripExactly) {
    const Picture pictures[] = {make_picture(67, 35, 1, 1, 17), make_picture(67, 35, 1, 255, 18),
                                make_picture(67, 35, 3, 255, 19)};
    for (const Picture& source : pictures) {
        SCOPED_TRACE(source.channels * 1000 + source.maxval);
        ImageHolder image;
        image_of(source, image.get(), 300.0);
        const std::string png = folder.file("ours.png");
        ASSERT_EQ(write_png_file(png.c_str(), image.get(), {}, true), 0);
        ImageHolder back;
        ASSERT_EQ(read_png_file(png.c_str(), back.get(), nullptr, true, fallback_dpi), 0);
        EXPECT_EQ(back->type, image->type);
        EXPECT_EQ(max_difference(picture_of(back.get()), source), 0);
        EXPECT_EQ(back->resolution, 300.0);
        // pngtopnm reads the same picture.
        EXPECT_EQ(max_difference(normalised(pngtopnm(png)), normalised(source)), 0);
        // A full disk is a write error.
        EXPECT_EQ(write_png_file("/dev/full", image.get(), {}, false), 49);
    }
}

TEST_F(PngFiles, ResolutionThroughPhys) {
    const Picture p = make_picture(10, 10, 1, 255, 20);
    const std::string png300 = pnmtopng(p, "-size '11811 11811 1'", "dpi300");
    ImageHolder image;
    ASSERT_EQ(read_png_file(png300.c_str(), image.get(), nullptr, false, fallback_dpi), 0);
    EXPECT_DOUBLE_EQ(image->resolution, 300.0);
    const std::string aspect = pnmtopng(p, "-size '2 1 0'", "aspect");
    ASSERT_EQ(read_png_file(aspect.c_str(), image.get(), nullptr, false, fallback_dpi), 0);
    EXPECT_DOUBLE_EQ(image->resolution, fallback_dpi);

    // 72 dpi is 2835 pixels a metre, and comes back as 72.
    image_of(p, image.get(), 72.0);
    const std::string ours = folder.file("dpi72.png");
    ASSERT_EQ(write_png_file(ours.c_str(), image.get(), {}, false), 0);
    const std::vector<std::uint8_t> phys = {'p', 'H', 'Y', 's', 0, 0, 11, 19, 0, 0, 11, 19, 1};
    const std::vector<std::uint8_t> bytes = read_bytes(ours);
    EXPECT_NE(std::search(bytes.begin(), bytes.end(), phys.begin(), phys.end()), bytes.end());
    ASSERT_EQ(read_png_file(ours.c_str(), image.get(), nullptr, false, fallback_dpi), 0);
    EXPECT_DOUBLE_EQ(image->resolution, 72.0);
}

TEST_F(PngFiles, ProfileWrittenAndReadForColourImages) {
    const std::vector<std::uint8_t> profile = make_profile("RGB ", 20000, 21);
    ImageHolder image;
    image_of(make_picture(30, 20, 3, 255, 22), image.get());
    const std::string png = folder.file("profile.png");
    ASSERT_EQ(write_png_file(png.c_str(), image.get(), profile, false), 0);
    EXPECT_EQ(iccp_profile_of(png), profile);
    std::vector<std::uint8_t> read_profile;
    ImageHolder back;
    ASSERT_EQ(read_png_file(png.c_str(), back.get(), &read_profile, false, 100.0), 0);
    EXPECT_EQ(read_profile, profile);

    // A colour profile does not suit a gray image: the file is written without.
    image_of(make_picture(30, 20, 1, 255, 23), image.get());
    ASSERT_EQ(write_png_file(png.c_str(), image.get(), profile, false), 0);
    EXPECT_TRUE(iccp_profile_of(png).empty());
    ASSERT_EQ(read_png_file(png.c_str(), back.get(), &read_profile, false, 100.0), 0);
    EXPECT_TRUE(read_profile.empty());
    EXPECT_EQ(max_difference(picture_of(back.get()), picture_of(image.get())), 0);

    // A gray profile on a gray image is written and read back.
    const std::vector<std::uint8_t> gray_profile = make_profile("GRAY", 500, 24);
    ASSERT_EQ(write_png_file(png.c_str(), image.get(), gray_profile, false), 0);
    EXPECT_EQ(iccp_profile_of(png), gray_profile);
    ASSERT_EQ(read_png_file(png.c_str(), back.get(), &read_profile, false, 100.0), 0);
    EXPECT_EQ(read_profile, gray_profile);
}

TEST(PngSamples, GoImageTestFilesOpen) {
    if (!std::filesystem::is_directory(go_samples))
        GTEST_SKIP() << "golang-golang-x-image-dev is not installed";
    ScratchFolder folder;
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(go_samples)) {
        if (entry.path().extension() != ".png") continue;
        const std::string png = entry.path().string();
        SCOPED_TRACE(png);
        ++count;
        ImageHolder image;
        std::vector<std::uint8_t> profile;
        ASSERT_EQ(read_png_file(png.c_str(), image.get(), &profile, false, fallback_dpi), 0);
        const std::string pnm = folder.file("sample.pnm");
        ASSERT_TRUE(run("pngtopnm " + quoted(png) + " 2>/dev/null > " + quoted(pnm)));
        EXPECT_EQ(max_difference(normalised(picture_of(image.get())), normalised(read_pnm(pnm))),
                  0);
        EXPECT_EQ(profile, iccp_profile_of(png));
    }
    EXPECT_GT(count, 30);
}

}  // namespace
