// Resize from orvane-batch: each size operation's workflow lines give the
// size and resolution they say, with the resampler's own pixels.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <cstdint>
#include <cstring>
#include <string>

#include "batch_runner.h"
#include "core/image.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/write_image.h"
#include "transform/resample.h"

namespace {

TEST(Resize, BatchLinesGiveTheirSizesAndTheResamplersPixels) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const std::string in = dir.path().toStdString() + "/in.tif";
    const std::string out = dir.path().toStdString() + "/out.tif";
    ImageHolder input;
    ASSERT_EQ(image_alloc(input.get(), image_type_colour16, 120, 80, 200.0), 0);
    for (int y = 0; y < 80; ++y)
        for (int i = 0; i < 360; ++i)
            reinterpret_cast<std::uint16_t*>(input->rows[y])[i] =
                static_cast<std::uint16_t>((i * 997 + y * 4099) * 7);
    SaveOptions options;
    options.progress = false;
    ASSERT_EQ(WriteImage(in.c_str(), save_filter_tiff, input.get(), {}, options), 0);

    const struct {
        const char* lines;
        int width, height, method;
        double a, resolution;
    } cases[] = {
        {"size_mode 0 0 percent 25", 30, 20, resample_bicubic, -0.5, 200},
        {"size_mode 1 0 width_height 90 90 method_editunits 4 0", 90, 60, resample_lanczos6, 0, 200},
        {"size_mode 2 0 width_height 90 90 method_editunits 1 0", 135, 90, resample_bilinear, 0, 200},
        {"size_mode 4 0 width_height 0 33 method_editunits 0 0", 50, 33, resample_nearest, 0, 200},
        // 2 cm wide at 127 pixels a centimetre: 254 pixels; a = -2 is 100 % sharpening.
        {"size_mode 5 0 method_editunits 2 2 sharpen_dpi -2 127 runits_wunits 1 0 "
         "fwidth_fheight 2 0.25",
         254, 32, resample_bicubic, -2, 127 * 2.540005},
        {"size_mode 6 0 percent 0.0024", 60, 40, resample_bicubic, -0.5, 200},
        {"size_mode 7 0 sharpen_dpi -0.5 300", 120, 80, resample_bicubic, -0.5, 300},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lines);
        ASSERT_EQ(run_batch(words({"apply Resize", c.lines, quoted(in), quoted(out)})), 0);
        ImageHolder result, expected;
        int file_type = 0;
        ASSERT_EQ(ReadImage(out.c_str(), result.get(), nullptr, &file_type, 16), 0);
        ASSERT_EQ(resample_image(input.get(), expected.get(), c.width, c.height, c.resolution,
                                 c.method, c.a),
                  0);
        ASSERT_EQ(result->width, c.width);
        ASSERT_EQ(result->height, c.height);
        EXPECT_NEAR(result->resolution, c.resolution, 0.05);  // TIFF keeps tenths
        for (int y = 0; y < c.height; ++y)
            ASSERT_EQ(0, std::memcmp(result->rows[y], expected->rows[y],
                                     static_cast<std::size_t>(image_line_bytes(result.get()))))
                << "line " << y;
    }
}

}  // namespace
