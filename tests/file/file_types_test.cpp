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
        {0, "tiff"}, {1, "jpe"}, {19, "j2k"}, {20, "rw2"}, {33, "ovalbum"}, {32, "wfl"},
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
    // A name without extension gets the filter's; one with the wrong one is
    // refused unchanged. A dot in a folder name is no extension; `:` ends the
    // search too. JPEG takes three extensions, but not those of JPEG 2000 that
    // its pattern lists.
    struct Case {
        int filter;
        const char* name;
        bool ok;
        const char* after;
    };
    const Case cases[] = {
        {save_filter_tiff, "/photos/picture", true, "/photos/picture.tif"},
        {save_filter_tiff, "/photos/picture.TIFF", true, "/photos/picture.TIFF"},
        {save_filter_tiff, "/photos/picture.TIF2", false, "/photos/picture.TIF2"},
        {save_filter_png, "/photos/2024.06/picture", true, "/photos/2024.06/picture.png"},
        {save_filter_png, "d.x:picture", true, "d.x:picture.png"},
        {save_filter_jpeg, "a.JPEG", true, "a.JPEG"},
        {save_filter_jpeg, "a.Jpe", true, "a.Jpe"},
        {save_filter_jpeg, "a.jp2", false, "a.jp2"},
        {save_filter_jpeg, "a.jpg.bak", false, "a.jpg.bak"},
        {0, "a", false, "a"},
    };
    for (const Case& c : cases) {
        std::string name = c.name;
        EXPECT_EQ(save_name_check(c.filter, &name), c.ok) << c.name;
        EXPECT_EQ(name, c.after);
    }
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
