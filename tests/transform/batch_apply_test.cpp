// orvane-batch's list and apply commands, run as a program: the catalogue,
// and the exit codes of command lines it cannot use.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <cstdint>
#include <sstream>
#include <string>

#include "batch_runner.h"
#include "core/image.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/write_image.h"

namespace {

TEST(BatchList, MarksTheBuiltTransformations) {
    std::string out;
    ASSERT_EQ(run_batch("list", &out), 0);
    std::istringstream lines(out);
    bool add_noise = false, sharpen = false, heading = false;
    int entries = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("* Add Noise ", 0) == 0) add_noise = line.find("4043") != std::string::npos;
        if (line.rfind("  Sharpen ", 0) == 0) sharpen = true;
        if (line == "Special Effects") heading = true;
        if (line.rfind("* ", 0) == 0 || line.rfind("  ", 0) == 0) ++entries;
    }
    EXPECT_TRUE(add_noise) << out;
    EXPECT_TRUE(sharpen) << out;
    EXPECT_TRUE(heading) << out;
    EXPECT_EQ(entries, 63);
    EXPECT_EQ(run_batch("list extra"), 255);
}

class BatchApplyTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        ImageHolder image;
        ASSERT_EQ(image_alloc(image.get(), image_type_gray8, 9, 5, 72.0), 0);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 9; ++x)
                image->rows[y][x] = static_cast<std::uint8_t>(20 * x + y);
        SaveOptions options;
        options.progress = false;
        ASSERT_EQ(WriteImage(in().c_str(), save_filter_tiff, image.get(), {}, options), 0);
    }
    std::string path(const char* name) const { return dir_.path().toStdString() + "/" + name; }
    std::string in() const { return path("in.tif"); }

    QTemporaryDir dir_;
};

TEST_F(BatchApplyTest, CommandLinesItCannotUseGive255) {
    const std::string files = words({quoted(in()), quoted(path("out.tif"))});
    EXPECT_EQ(run_batch("apply"), 255);
    EXPECT_EQ(run_batch(words({"apply 'No Such Thing'", files})), 255);
    EXPECT_EQ(run_batch(words({"apply Sharpen", files})), 255);  // catalogued, not built
    EXPECT_EQ(run_batch(words({"apply 'Add Noise'", quoted(in())})), 255);
    EXPECT_EQ(run_batch(words({"apply 'Add Noise' 1 2", files})), 255);              // values first
    EXPECT_EQ(run_batch(words({"apply 'Add Noise' --settings x.as", files})), 255);  // no file
    EXPECT_EQ(run_batch("frobnicate"), 255);
    EXPECT_FALSE(std::filesystem::exists(path("out.tif")));
}

TEST_F(BatchApplyTest, FileErrorsGiveTheirCodes) {
    const std::string missing = path("missing.tif");
    ImageHolder image;
    int file_type = 0;
    const int read_code = ReadImage(missing.c_str(), image.get(), nullptr, &file_type, 16);
    ASSERT_NE(read_code, 0);
    EXPECT_EQ(run_batch(words({"apply 'Add Noise'", quoted(missing), quoted(path("o.tif"))})),
              read_code);
    EXPECT_EQ(run_batch(words({"apply 'Add Noise'", quoted(in()), quoted(path("o.xyz"))})), 71);
}

}  // namespace
