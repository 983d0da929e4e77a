// Masks on the command line: "mask" draws a saved outline at a reference
// picture's size, "apply --mask" takes a gray picture as the amount mask.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <cstring>
#include <string>

#include "../transform/batch_runner.h"
#include "core/image.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/write_image.h"
#include "mask/mask_ops.h"
#include "mask/outline_file.h"

namespace {

class BatchMask : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        ImageHolder image;
        ASSERT_EQ(image_alloc(image.get(), image_type_gray8, 300, 300, 72.0), 0);
        for (int y = 0; y < 300; ++y)
            for (int x = 0; x < 300; ++x)
                image->rows[y][x] = static_cast<std::uint8_t>(40 + (x + y) % 150);
        write(path("in.tif"), image.get());
        const std::vector<OutlinePoint> square = {{30, 60}, {180, 60}, {180, 240}, {30, 240}};
        ASSERT_EQ(outline_write(path("r.poly"), OutlineKind::polygon, 300, 300, square), 0);
    }
    std::string path(const char* name) const { return dir_.path().toStdString() + "/" + name; }
    static void write(const std::string& file, Image* image) {
        SaveOptions options;
        options.progress = false;
        ASSERT_EQ(WriteImage(file.c_str(), save_filter_tiff, image, {}, options), 0);
    }
    static void read(const std::string& file, Image* image) {
        int type = 0;
        ASSERT_EQ(ReadImage(file.c_str(), image, nullptr, &type, load_no_progress), 0);
    }
    QTemporaryDir dir_;
};

TEST_F(BatchMask, AnOutlineBecomesTheMaskTheToolDraws) {
    for (const int feather : {0, 8}) {
        const std::string feathering = feather ? "--feather 8 " : "";
        ASSERT_EQ(run_batch("mask " + quoted(path("r.poly")) + " " + feathering +
                            quoted(path("in.tif")) + " " + quoted(path("m.tif"))),
                  0);
        ImageHolder got, expected, soft;
        read(path("m.tif"), got.get());
        ASSERT_EQ(image_alloc(expected.get(), image_type_gray8, 300, 300, 100.0), 0);
        for (int y = 0; y < 300; ++y)
            std::fill(expected->rows[y], expected->rows[y] + 300, std::uint8_t{0});
        LineClasses classes;
        line_classes_compute(*expected, classes);
        const std::vector<OutlinePoint> square = {{30, 60}, {180, 60}, {180, 240}, {30, 240}};
        ASSERT_EQ(mask_region_polygon(square, mask_mode_add, expected.get(), classes, nullptr), 0);
        if (feather) {
            ASSERT_EQ(mask_feather(expected.get(), soft.get(), 8, 0, 0, classes, false), 0);
            image_move(soft.get(), expected.get());
        }
        ASSERT_EQ(got->type, image_type_gray8);
        for (int y = 0; y < 300; ++y)
            ASSERT_EQ(std::memcmp(got->rows[y], expected->rows[y], 300), 0)
                << feather << " line " << y;
        EXPECT_DOUBLE_EQ(image_mask_area(got.get()),
                         feather ? image_mask_area(expected.get()) : 150.0 * 180);
    }
    std::string errors;
    EXPECT_EQ(run_batch("mask " + quoted(path("in.tif")) + " " + quoted(path("in.tif")) + " " +
                            quoted(path("m.tif")),
                        nullptr, &errors),
              255);
}

TEST_F(BatchMask, ApplyThroughAMaskChangesOnlyWhereItIsNotBlack) {
    ASSERT_EQ(run_batch("mask " + quoted(path("r.poly")) + " " + quoted(path("in.tif")) + " " +
                        quoted(path("m.tif"))),
              0);
    // The option among the keyword words, and a label word after it.
    ASSERT_EQ(run_batch("apply Add_Noise amount 1024 --mask " + quoted(path("m.tif")) + " " +
                        quoted(path("in.tif")) + " " + quoted(path("out.tif"))),
              0);
    ImageHolder in, out, mask;
    read(path("in.tif"), in.get());
    read(path("out.tif"), out.get());
    read(path("m.tif"), mask.get());
    int changed = 0;
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 300; ++x) {
            if (mask->rows[y][x] == 0) {
                ASSERT_EQ(out->rows[y][x], in->rows[y][x]) << x << "," << y;
            }
            changed += out->rows[y][x] != in->rows[y][x];
        }
    EXPECT_GT(changed, 150 * 180 / 2);

    struct Case {
        std::string options;
        int status;
        const char* says;
    } const cases[] = {
        {"--mask " + quoted(path("in.tif")), 0, ""},  // a gray picture of the size: a mask
        {"--mask " + quoted(path("small.tif")), 124, "300 x 300"},
        {"--frobnicate", 255, "unknown option --frobnicate"},
        {"--mask", 255, "needs an input and an output"},  // the mask took the input
    };
    ImageHolder small;
    ASSERT_EQ(image_alloc(small.get(), image_type_gray8, 299, 300, 72.0), 0);
    write(path("small.tif"), small.get());
    for (const Case& k : cases) {
        std::string errors;
        EXPECT_EQ(run_batch("apply Add_Noise " + k.options + " " + quoted(path("in.tif")) + " " +
                                quoted(path("o2.tif")),
                            nullptr, &errors),
                  k.status)
            << k.options;
        EXPECT_NE(errors.find(k.says), std::string::npos) << errors;
    }
}

}  // namespace
