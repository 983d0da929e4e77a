#include "file/file_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <utility>
#include <vector>

#include "core/errors.h"
#include "core/image.h"

namespace {

std::string upper(std::string s) {
    for (char& c : s)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

TEST(FileTypeOfName, ExtensionsInAnyCase) {
    const std::vector<std::pair<int, std::string>> samples = {
        {0, "tiff"}, {1, "jpe"},      {5, "tga"},  {8, "fits"}, {19, "j2k"}, {20, "032"},
        {20, "rw2"}, {33, "ovalbum"}, {34, "mts"}, {12, "cmp"}, {11, "eps"}, {32, "wfl"},
    };
    for (const auto& [code, e] : samples) {
        EXPECT_EQ(FileTypeOfName("/photos/day one/picture." + e), code) << e;
        EXPECT_EQ(FileTypeOfName("picture." + upper(e)), code) << e;
    }
    for (const char* other : {"x.txt", "x.tif2", "x.jp", "x.tiff ", "x.pngx", "x.webp"})
        EXPECT_EQ(FileTypeOfName(other), file_type_unknown) << other;
}

TEST(FileTypeOfName, ExtensionOnlyAfterTheLastSeparatorAndDot) {
    // No dot after the last separator: no extension at all. The last dot
    // counts, and a name may be nothing but the extension.
    const std::pair<const char*, int> names[] = {
        {"/photos/holiday.tif/picture", file_type_unknown},
        {"holiday.jpg\\picture", file_type_unknown},
        {"c:\\photos.png\\picture", file_type_unknown},
        {"picture", file_type_unknown},
        {"picture.", file_type_unknown},
        {"", file_type_unknown},
        {"picture.tif.jpg", file_type_jpeg},
        {"/photos/.png", file_type_png},
        {"c:\\photos\\picture.Tif", file_type_tiff},
    };
    for (const auto& [name, code] : names)
        EXPECT_EQ(FileTypeOfName(name), code) << name;
}

TEST(FileTypeOfName, PhotoCdIndexFilesOnlyWithoutFolder) {
    for (const char* name : {"info.pcd", "overview.pcd", "options.pcd", "OVERVIEW.PCD"}) {
        EXPECT_EQ(FileTypeOfName(name), file_type_unknown) << name;
        EXPECT_EQ(FileTypeOfName(std::string("/cd/photo_cd/") + name), file_type_photo_cd) << name;
    }
    EXPECT_EQ(FileTypeOfName("img0001.pcd"), file_type_photo_cd);
    EXPECT_EQ(FileTypeOfName("myoverview.pcd"), file_type_photo_cd);
}

TEST(FileTypes, StoredTypesAndBack) {
    // Every format a window keeps comes back to its own code, but for JPEG 2000,
    // whose stored type has no way back.
    for (int code : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 20})
        EXPECT_EQ(kind_of_stored_type(stored_file_type_of(code)), code) << code;
    EXPECT_EQ(stored_file_type_of(file_type_jpeg2000), 19);
    EXPECT_EQ(kind_of_stored_type(19), file_type_unknown);
    // Stored types that no two codes share.
    std::vector<int> seen;
    for (int code = 0; code <= 80; ++code) {
        const int stored = stored_file_type_of(code);
        if (stored == -1) continue;
        for (int s : seen)
            EXPECT_NE(s, stored) << code;
        seen.push_back(stored);
    }
    EXPECT_EQ(seen.size(), 13u);
    // Codes with no stored type, and their way back through -1: Photo CD.
    for (int code : {11, 12, 32, 33, 34, 80})
        EXPECT_EQ(stored_file_type_of(code), -1) << code;
    EXPECT_EQ(kind_of_stored_type(-1), file_type_photo_cd);
    for (int stored : {0, 1, 13, 18, 21, 100, -2})
        EXPECT_EQ(kind_of_stored_type(stored), 80);
}

TEST(SaveFilters, RowsAgreeWithTheNameTable) {
    ASSERT_EQ(save_filter(0), nullptr);
    ASSERT_EQ(save_filter(12), nullptr);
    const char* labels[] = {"TIFF", "JPEG", "BMP",      "Targa", "PCX", "GIF",
                            "EPS",  "PNG",  "FlashPix", "FITS",  "RLE"};
    for (int filter = 1; filter <= save_filter_count; ++filter) {
        const SaveFilter* row = save_filter(filter);
        ASSERT_NE(row, nullptr);
        EXPECT_STREQ(row->label, labels[filter - 1]);
        // The default extension is accepted, listed in the pattern, and names a
        // file whose code maps to this very filter (EPS is write-only).
        const std::string ext = row->default_extension;
        EXPECT_STREQ(row->accepted[0], upper(ext).c_str());
        EXPECT_NE(std::string(row->pattern).find("*" + ext), std::string::npos) << ext;
        const int code = FileTypeOfName("x" + ext);
        if (filter == save_filter_eps) {
            EXPECT_EQ(code, file_type_eps);
            EXPECT_EQ(stored_type_of_save_filter(filter), 0);
            EXPECT_EQ(save_filter_of_stored_type(stored_file_type_of(code)), 0);
        } else {
            EXPECT_EQ(save_filter_of_stored_type(stored_file_type_of(code)), filter) << ext;
            EXPECT_EQ(save_filter_of_stored_type(stored_type_of_save_filter(filter)), filter);
        }
        // Every accepted extension names a file of the same code.
        for (const char* accepted : row->accepted)
            if (accepted) {
                EXPECT_EQ(FileTypeOfName(std::string("x") + accepted), code) << accepted;
            }
        // The refusal's text names the format.
        std::string label = upper(row->label);
        EXPECT_NE(upper(error_text(row->refusal)).find(label), std::string::npos) << label;
    }
    // Stored types with no filter: Save becomes Save As.
    for (int stored : {0, 1, 8, 19, 20, -1})
        EXPECT_EQ(save_filter_of_stored_type(stored), 0);
}

TEST(SaveFilters, SixteenBitPngAsksInSaveAsButIsRefusedInPlace) {
    // Save As asks, converts, and the converted image passes.
    EXPECT_TRUE(save_asks_16bit(save_filter_png, image_type_colour16));
    EXPECT_EQ(save_refusal(save_filter_png, image_type_colour8), 0);
    // Save in place asks nothing: the writer's refusal is the answer.
    EXPECT_EQ(save_refusal(save_filter_png, image_type_colour16), 47);
    EXPECT_EQ(save_refusal(save_filter_png, image_type_gray16), 47);
    // TIFF and FITS ask nothing; FITS takes 16-bit gray but not colour.
    EXPECT_FALSE(save_asks_16bit(save_filter_tiff, image_type_colour16));
    EXPECT_FALSE(save_asks_16bit(save_filter_fits, image_type_colour16));
    EXPECT_EQ(save_refusal(save_filter_fits, image_type_gray16), 0);
    EXPECT_EQ(save_refusal(save_filter_fits, image_type_colour16), 46);
    // The mosaic and four-sample types count as 16-bit; 8-bit types never ask.
    EXPECT_TRUE(save_asks_16bit(save_filter_jpeg, image_type_mosaic));
    EXPECT_TRUE(save_asks_16bit(save_filter_eps, image_type_four16));
    EXPECT_FALSE(save_asks_16bit(save_filter_jpeg, image_type_colour8));
    EXPECT_EQ(save_refusal(save_filter_eps, image_type_colour8), 60);
    EXPECT_EQ(save_refusal(0, image_type_gray8), 71);
}

TEST(SaveNames, ExtensionAddedOrChecked) {
    std::string name = "/photos/picture";
    EXPECT_TRUE(save_name_check(save_filter_tiff, &name));
    EXPECT_EQ(name, "/photos/picture.tif");

    name = "/photos/picture.TIFF";
    EXPECT_TRUE(save_name_check(save_filter_tiff, &name));
    EXPECT_EQ(name, "/photos/picture.TIFF");

    name = "/photos/picture.TIF2";
    EXPECT_FALSE(save_name_check(save_filter_tiff, &name));
    EXPECT_EQ(name, "/photos/picture.TIF2");

    // A dot in a folder name is no extension; `:` ends the search too.
    name = "/photos/2024.06/picture";
    EXPECT_TRUE(save_name_check(save_filter_png, &name));
    EXPECT_EQ(name, "/photos/2024.06/picture.png");
    name = "d.x:picture";
    EXPECT_TRUE(save_name_check(save_filter_png, &name));
    EXPECT_EQ(name, "d.x:picture.png");

    // JPEG takes three extensions, but not those of JPEG 2000 that its
    // pattern lists.
    for (const char* ok : {"a.jpg", "a.JPEG", "a.Jpe"}) {
        name = ok;
        EXPECT_TRUE(save_name_check(save_filter_jpeg, &name)) << ok;
    }
    for (const char* wrong : {"a.j2k", "a.jp2", "a.png", "a.jpg.bak"}) {
        name = wrong;
        EXPECT_FALSE(save_name_check(save_filter_jpeg, &name)) << wrong;
    }
    name = "a";
    EXPECT_FALSE(save_name_check(0, &name));
}

TEST(SaveNames, ProposalTakesTheFilterExtension) {
    EXPECT_EQ(name_with_filter_extension("/photos/picture.tif", save_filter_jpeg),
              "/photos/picture.jpg");
    EXPECT_EQ(name_with_filter_extension("/photos.old/picture", save_filter_png),
              "/photos.old/picture.png");
    EXPECT_EQ(name_with_filter_extension("Untitled", save_filter_fits), "Untitled.fit");
    EXPECT_EQ(name_with_filter_extension("a.b.c", save_filter_tiff), "a.b.tif");
    EXPECT_TRUE(name_has_extension("a.b"));
    EXPECT_FALSE(name_has_extension("a.b/c"));
    EXPECT_FALSE(name_has_extension("a.b\\c"));
    EXPECT_FALSE(name_has_extension("a.b:c"));
}

}  // namespace
