#include "core/window_record.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/errors.h"

namespace {

class WindowRecords : public ::testing::Test {
protected:
    void SetUp() override { window_record_table_init(); }
    void TearDown() override { window_record_table_init(); }
};

TEST(ZoomSteps, SkipZeroAndMinusOneAndRoundUp) {
    for (const auto& [from, out, in] :
         {std::tuple{1, -2, 2}, std::tuple{-2, -3, 1}, std::tuple{3, 2, 4}}) {
        EXPECT_EQ(zoom_step_out(from), out) << from;
        EXPECT_EQ(zoom_step_in(from), in) << from;
    }
    for (const auto& [size, zoom, view] :
         {std::tuple{1, 5, 5}, std::tuple{10, -3, 4}, std::tuple{9, -3, 3}})
        EXPECT_EQ(zoomed_size(size, zoom), view) << size << " " << zoom;
}

TEST_F(WindowRecords, ReleaseFreesThePictureAndUnbindsTheWindow) {
    int slot;
    WindowRecord* record;
    ASSERT_EQ(window_record_take(&slot, &record), 0);
    ASSERT_EQ(image_alloc(&record->image, image_type_gray8, 10, 10, 100.0), 0);
    record->file_name = "/photos/a.tif";
    WindowBase window;
    window_record_bind(record, &window);
    EXPECT_EQ(window_record_of(&window), record);
    window_record_release(slot);
    EXPECT_EQ(record->image.rows, nullptr);
    EXPECT_TRUE(record->file_name.empty());
    EXPECT_EQ(window_record_of(&window), nullptr);
}

TEST(Links, NewestBlockerIsNamedAndRemovalUnblocks) {
    WindowBase image, panel, history;
    EXPECT_EQ(link_blocker(&image), "");
    const std::size_t before = link_count();
    link_add(&history, &image, "History Window", true);
    link_add(&panel, &image, "Amount Mask", true);
    link_add(&panel, &history, "not blocking", false);
    EXPECT_EQ(link_blocker(&image), "Amount Mask");
    EXPECT_EQ(link_blocker(&history), "");
    link_remove(&panel, &image);
    EXPECT_EQ(link_blocker(&image), "History Window");

    static int told = 0;
    told = 0;
    links_set_notifier([](WindowBase*, WindowBase*) { ++told; });
    links_notify_changed(&image);
    EXPECT_EQ(told, 1);
    links_set_notifier(nullptr);

    link_remove_all(&history);
    EXPECT_EQ(link_blocker(&image), "");
    links_forget_window(&history);
    EXPECT_EQ(link_count(), before);
}

TEST_F(WindowRecords, TitlesFollowNameDerivationAndZoom) {
    int slot;
    WindowRecord* r;
    ASSERT_EQ(window_record_take(&slot, &r), 0);
    ASSERT_EQ(window_record_take(&slot, &r), 0);  // slot 1: titles show 2
    EXPECT_EQ(window_title_base(*r, false), "Untitled 2");
    r->derived_from = "/home/ann/raw/img 1.tif";
    EXPECT_EQ(window_title_base(*r, false), "Untitled 2 - img 1.tif");
    r->file_name = "/home/ann/out/final.jpg";
    EXPECT_EQ(window_title_base(*r, false), "2 - final.jpg");
    EXPECT_EQ(window_title_base(*r, true), "2 - /home/ann/out/final.jpg");

    ASSERT_EQ(image_alloc(&r->image, image_type_colour16, 6000, 4000, 300.0), 0);
    EXPECT_EQ(window_title_with_zoom("2 - final.jpg", r->image, -4),
              "2 - final.jpg (1:4 - 6000 x 4000)");
    EXPECT_EQ(window_title_with_zoom("x", r->image, 3), "x (3:1 - 6000 x 4000)");
    Image colour;
    image_init(&colour);
    ASSERT_EQ(image_alloc(&colour, image_type_colour, 1, 1, 100.0), 0);
    EXPECT_EQ(window_title_with_zoom("x", colour, 1), "x");  // no pixel size for a colour value
    image_free(&colour);

    WindowBase preview;
    preview.window_kind = window_kind_preview;
    window_record_bind(r, &preview);
    EXPECT_EQ(window_title_base(*r, false), "Preview");
    window_record_release(slot);
    EXPECT_EQ(preview.record_slot, -1);
}

TEST(ViewGeometry, ScrollPositionToPictureRectangle) {
    WindowRecord r{};
    image_init(&r.image);
    ASSERT_EQ(image_alloc(&r.image, image_type_gray8, 1000, 800, 100.0), 0);
    // zoom, view x1, x2, y2; picture x1, x2, y2. At -3 the last group overhangs.
    const int cases[][7] = {{-4, 10, 109, 49, 40, 439, 199},
                            {3, 30, 329, 49, 10, 110, 16},
                            {-3, 0, 333, 49, 0, 999, 149}};
    for (const auto& c : cases) {
        r.zoom = c[0];
        r.view_x1 = c[1];
        r.view_x2 = c[2];
        r.view_y1 = 0;
        r.view_y2 = c[3];
        view_to_picture_rect(&r);
        EXPECT_EQ((std::vector{r.image_x1, r.image_x2, r.image_y2}),
                  (std::vector{c[4], c[5], c[6]}))
            << "zoom " << c[0];
    }
    image_free(&r.image);
}

// Writes an 8-bit image as a binary PGM/PPM (top-down, RGB) for netpbm.
std::string to_pnm(const Image& image) {
    const bool colour = image.type == image_type_colour8;
    std::string out = (colour ? "P6\n" : "P5\n") + std::to_string(image.width) + " " +
                      std::to_string(image.height) + "\n255\n";
    for (int y = image.height - 1; y >= 0; --y) {
        const std::uint8_t* line = image.rows[y];
        for (int x = 0; x < image.width; ++x) {
            if (colour)
                out += {static_cast<char>(line[x * 3 + 2]), static_cast<char>(line[x * 3 + 1]),
                        static_cast<char>(line[x * 3])};
            else
                out += static_cast<char>(line[x]);
        }
    }
    return out;
}

TEST_F(WindowRecords, NegativeMatchesNetpbmForEightBitTypes) {
    if (std::system("command -v pnminvert >/dev/null 2>&1") != 0) GTEST_SKIP() << "no netpbm";
    for (int type : {image_type_gray8, image_type_colour8}) {
        int slot;
        WindowRecord *source, *dest;
        ASSERT_EQ(window_record_take(&slot, &source), 0);
        ASSERT_EQ(window_record_take(&slot, &dest), 0);
        ASSERT_EQ(image_alloc(&source->image, type, 37, 23, 100.0), 0);
        for (int y = 0; y < 23; ++y)
            for (int i = 0; i < image_line_bytes(&source->image); ++i)
                source->image.rows[y][i] = static_cast<std::uint8_t>((i * 31 + y * 17) & 0xff);
        source->profile = {1, 2, 3};
        ASSERT_EQ(window_negative(source, dest), 0);
        EXPECT_EQ(dest->profile, source->profile);

        const std::string dir = ::testing::TempDir();
        const std::string in_path = dir + "/neg_in.pnm", out_path = dir + "/neg_out.pnm";
        std::ofstream(in_path, std::ios::binary) << to_pnm(source->image);
        ASSERT_EQ(std::system(("pnminvert " + in_path + " > " + out_path).c_str()), 0);
        std::ifstream result(out_path, std::ios::binary);
        const std::string netpbm((std::istreambuf_iterator<char>(result)), {});
        EXPECT_EQ(netpbm, to_pnm(dest->image)) << "type " << type;
        window_record_release(source->slot);
        window_record_release(dest->slot);
    }
}

TEST_F(WindowRecords, NegativeOfBinaryAndSixteenBitAndRefusals) {
    int slot;
    WindowRecord *source, *dest;
    ASSERT_EQ(window_record_take(&slot, &source), 0);
    ASSERT_EQ(window_record_take(&slot, &dest), 0);
    ASSERT_EQ(image_alloc(&source->image, image_type_binary, 13, 3, 100.0), 0);
    for (int y = 0; y < 3; ++y)
        for (int i = 0; i < source->image.row_bytes; ++i)
            source->image.rows[y][i] = 0x5a;
    ASSERT_EQ(window_negative(source, dest), 0);
    for (int y = 0; y < 3; ++y)
        EXPECT_EQ(dest->image.rows[y][1], 0xa5);

    for (int type : {image_type_gray16, image_type_colour16, image_type_mosaic}) {
        ASSERT_EQ(image_alloc(&source->image, type, 5, 4, 100.0), 0);
        const int n = image_line_bytes(&source->image) / 2;
        for (int y = 0; y < 4; ++y)
            for (int i = 0; i < n; ++i)
                reinterpret_cast<std::uint16_t*>(source->image.rows[y])[i] =
                    static_cast<std::uint16_t>(i * 9001 + y);
        ASSERT_EQ(window_negative(source, dest), 0);
        for (int y = 0; y < 4; ++y)
            for (int i = 0; i < n; ++i)
                EXPECT_EQ(reinterpret_cast<std::uint16_t*>(dest->image.rows[y])[i],
                          65535 - static_cast<std::uint16_t>(i * 9001 + y));
        // Negative twice is the identity; a duplicate is exact.
        WindowRecord* twice;
        ASSERT_EQ(window_record_take(&slot, &twice), 0);
        ASSERT_EQ(window_negative(dest, twice), 0);
        ASSERT_EQ(window_duplicate(source, dest), 0);
        for (int y = 0; y < 4; ++y) {
            EXPECT_EQ(std::memcmp(twice->image.rows[y], source->image.rows[y], n * 2), 0);
            EXPECT_EQ(std::memcmp(dest->image.rows[y], source->image.rows[y], n * 2), 0);
        }
        window_record_release(twice->slot);
    }

    ASSERT_EQ(image_alloc(&source->image, image_type_colour, 1, 1, 100.0), 0);
    EXPECT_EQ(window_duplicate(source, dest), err_illegal_type);
    ASSERT_EQ(image_alloc(&source->image, image_type_four8, 2, 2, 100.0), 0);
    EXPECT_EQ(window_negative(source, dest), err_illegal_type);
}

TEST(Annotations, DerivedFromFallsBackToTheSourcesOwnOrigin) {
    WindowRecord a{}, b{};
    a.derived_from = "/x/original.nef";
    a.file_type = 20;
    window_copy_annotations(&a, &b);
    EXPECT_EQ(b.derived_from, "/x/original.nef");
    EXPECT_EQ(b.file_type, 20);
    a.file_name = "/x/saved.tif";
    window_copy_annotations(&a, &b);
    EXPECT_EQ(b.derived_from, "/x/saved.tif");
}

}  // namespace
