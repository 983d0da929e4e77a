#include "file/tiff_writer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "core/image.h"
#include "file/file_test_support.h"
#include "file/tiff_reader.h"
#include "file/tiff_source.h"

namespace {

using namespace file_test;

struct Written {
    std::vector<std::uint8_t> bytes;
    int result = -1;
};

Written write(const Image* image, int compression, bool thumbnail,
              std::span<const TiffField> fields = {}, int mask_bits = 0,
              const std::vector<std::uint8_t>& profile = {}) {
    Written w;
    std::FILE* f = std::tmpfile();
    w.result =
        TiffWrite(f, image, fields, profile.size(), profile.empty() ? nullptr : profile.data(),
                  mask_bits, compression, thumbnail, false);
    w.bytes.resize(static_cast<std::size_t>(std::ftell(f)));
    std::rewind(f);
    if (std::fread(w.bytes.data(), 1, w.bytes.size(), f) != w.bytes.size()) w.result = -2;
    std::fclose(f);
    return w;
}

struct Ifd {
    TiffSource source;
    std::vector<TiffEntry> entries;
    std::uint32_t offset = 0;

    const TiffEntry* operator[](int tag) const { return tiff_find(entries, tag); }
    std::vector<int> tags() const {
        std::vector<int> t;
        for (const TiffEntry& e : entries)
            t.push_back(e.tag);
        return t;
    }
};

Ifd ifd_at(const std::vector<std::uint8_t>& bytes, std::uint32_t offset = 0) {
    Ifd ifd;
    TiffOpenMemory(&ifd.source, bytes.data(), bytes.size(), 0, false);
    std::uint32_t first = 0;
    EXPECT_EQ(tiff_read_header(&ifd.source, &first), 0);
    ifd.offset = offset ? offset : first;
    std::uint32_t next = 1;
    EXPECT_EQ(tiff_read_ifd(ifd.source, ifd.offset, &ifd.entries, &next), 0);
    EXPECT_EQ(next, 0u);
    return ifd;
}

ImageHolder pattern_image(int width, int height, int type) {
    const int channels = type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
    const int maxval = type == image_type_binary ? 1 : type >= image_type_gray16 ? 65535 : 255;
    ImageHolder image;
    EXPECT_EQ(image_of(make_picture(width, height, channels, maxval, 1), image.get(), 150.0), 0);
    return image;
}

TEST(TiffWriter, StripsOfAQuarterMegabyteInPictureOrderEndTheFile) {
    ImageHolder image = pattern_image(1000, 200, image_type_colour8);
    image->resolution = 72.35;
    const Written w = write(image.get(), tiff_compression_zip, true);
    ASSERT_EQ(w.result, 0);
    const Ifd ifd = ifd_at(w.bytes);
    // 250,000 bytes a strip: 83 lines of 3000 bytes, so 3 strips for 200 lines.
    EXPECT_EQ(ifd[278]->value, 83);
    std::vector<std::uint32_t> offsets;
    std::vector<std::uint32_t> counts;
    ASSERT_EQ(tiff_read_values(ifd.source, *ifd[273], &offsets), 0);
    ASSERT_EQ(tiff_read_values(ifd.source, *ifd[279], &counts), 0);
    ASSERT_EQ(offsets.size(), 3u);
    for (std::size_t s = 1; s < offsets.size(); ++s)
        EXPECT_EQ(offsets[s], offsets[s - 1] + counts[s - 1]);
    EXPECT_EQ(offsets.back() + counts.back(), w.bytes.size());
    double num = 0;
    ASSERT_EQ(TiffReadRationalAt(ifd.source, *ifd[282], 0, &num), 0);
    EXPECT_DOUBLE_EQ(num, 72.4);  // tenths, rounded
}

TEST(TiffWriter, ThumbnailPixelsAreRoundedBoxMeans) {
    // 600 by 400 halves to 300 by 200: each pixel the mean of a 2 by 2 box,
    // rounded to nearest.
    const Picture p = make_picture(600, 400, 1, 255, 21);
    ImageHolder image;
    ASSERT_EQ(image_of(p, image.get()), 0);
    ImageHolder thumb;
    ASSERT_EQ(tiff_reduce_for_thumbnail(image.get(), thumb.get()), 0);
    const Picture t = picture_of(thumb.get());
    ASSERT_EQ(t.width * 1000 + t.height, 300200);
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 300; ++x)
            ASSERT_EQ(t.at(x, y), (p.at(2 * x, 2 * y) + p.at(2 * x + 1, 2 * y) +
                                   p.at(2 * x, 2 * y + 1) + p.at(2 * x + 1, 2 * y + 1) + 2) /
                                      4)
                << x << ", " << y;
}

TEST(TiffWriter, ExtraFieldsTakeTheirPlaceInTagOrder) {
    ImageHolder image = pattern_image(10, 10, image_type_gray8);
    auto text = [](const std::string& s) { return std::vector<std::uint8_t>(s.begin(), s.end()); };
    const std::vector<TiffField> fields = {
        {315, tiff_ascii, text("Someone")},
        {270, tiff_ascii, text(std::string("Ends in zero", 13))},
        {305, tiff_ascii, {}},
        {256, tiff_long, {1, 0, 0, 0}},  // set by the writer itself: ignored
        {33432, tiff_ascii, text("(c)")},
    };
    const Written w = write(image.get(), 0, false, fields);
    ASSERT_EQ(w.result, 0);
    const Ifd ifd = ifd_at(w.bytes);
    EXPECT_EQ(ifd.tags(), (std::vector<int>{254, 255, 256, 257, 258, 259, 262, 266, 270, 273,  274,
                                            277, 278, 279, 282, 283, 284, 296, 305, 315, 33432}));
    EXPECT_EQ(ifd[256]->value, 10);
    std::string s;
    bool found = false;
    ASSERT_EQ(TiffFindString(ifd.source, ifd.offset, 315, &s, &found), 0);
    EXPECT_EQ(s, "Someone");
    EXPECT_EQ(ifd[315]->count, 8u);   // zero added
    EXPECT_EQ(ifd[270]->count, 13u);  // not added twice
    EXPECT_EQ(ifd[305]->count, 1u);   // empty: one zero byte
    EXPECT_EQ(ifd[305]->raw[8], 0);
    EXPECT_EQ(ifd[33432]->count, 4u);
    int status = 0;
    ScratchFolder dir;
    write_bytes(dir.file("fields.tif"), w.bytes);
    const std::string info = output_of("tiffinfo " + dir.file("fields.tif"), &status);
    EXPECT_NE(info.find("Artist: Someone"), std::string::npos) << info;
    EXPECT_NE(info.find("ImageDescription: Ends in zero"), std::string::npos) << info;
}

TEST(TiffWriter, MaskClearsLowBitsOfSixteenBitSamples) {
    for (int type : {6, 7}) {
        ImageHolder image = pattern_image(33, 12, type);
        for (int compression : {0, 2}) {
            const Written w = write(image.get(), compression, false, {}, 5);
            ASSERT_EQ(w.result, 0);
            ScratchFolder dir;
            write_bytes(dir.file("m.tif"), w.bytes);
            Picture decoded;
            ASSERT_TRUE(decode_with_libtiff(dir.file("m.tif"), &decoded));
            Picture expected = picture_of(image.get());
            for (auto& v : expected.samples)
                v &= ~31u;
            EXPECT_EQ(max_difference(expected, decoded), 0);
        }
    }
}

TEST(TiffWriter, RefusesOtherImageTypesAndFailedWrites) {
    for (int type : {0, 4, 5, 8, 9, 10}) {
        ImageHolder image;
        ASSERT_EQ(image_alloc(image.get(), type, 4, 4, 100.0), 0);
        EXPECT_EQ(write(image.get(), 0, false).result, 58) << type;
    }
    ImageHolder image = pattern_image(4, 4, image_type_gray8);
    ScratchFolder dir;
    write_bytes(dir.file("ro.tif"), {1});
    std::FILE* f = std::fopen(dir.file("ro.tif").c_str(), "rb");
    EXPECT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, 0, false, false), 57);
    std::fclose(f);
}

TEST(TiffWriter, TinyAndWideImages) {
    // One pixel, and lines longer than a whole strip.
    for (int type : {1, 2, 3, 6, 7}) {
        for (auto [w, h] : {std::pair{1, 1}, std::pair{2, 1}, std::pair{45000, 3}}) {
            ImageHolder image = pattern_image(w, h, type);
            for (int compression : {0, 1, 2}) {
                const Written written = write(image.get(), compression, true);
                ASSERT_EQ(written.result, 0) << type << " " << w << " " << compression;
                ImageHolder back;
                ASSERT_EQ(read_own_bytes(written.bytes, back.get()), 0);
                EXPECT_EQ(max_difference(picture_of(image.get()), picture_of(back.get())), 0);
                if (w == 45000) {
                    // 250,000 over lines of 5625, 45000, 135000, 90000, 270000 bytes.
                    const int rows = type == 1 ? 44 : type == 2 ? 5 : type == 6 ? 2 : 1;
                    EXPECT_EQ(ifd_at(written.bytes)[278]->value, rows);
                }
            }
        }
    }
}

}  // namespace
