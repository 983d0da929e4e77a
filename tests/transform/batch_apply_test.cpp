// orvane-batch's own commands run as a program: help, version, list, apply's
// refusals and error codes, the example that help prints, and progress shown
// on a terminal only.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "batch_runner.h"
#include "core/image.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/write_image.h"

namespace {

class BatchCommands : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        // Large enough (over 150000 pixels) for a transformation to report progress.
        ImageHolder image;
        ASSERT_EQ(image_alloc(image.get(), image_type_gray8, 400, 400, 72.0), 0);
        for (int y = 0; y < 400; ++y)
            for (int x = 0; x < 400; ++x)
                image->rows[y][x] = static_cast<std::uint8_t>(x + y);
        SaveOptions options;
        options.progress = false;
        ASSERT_EQ(WriteImage(in().c_str(), save_filter_tiff, image.get(), {}, options), 0);
    }
    std::string path(const char* name) const { return dir_.path().toStdString() + "/" + name; }
    std::string in() const { return path("in.tif"); }

    QTemporaryDir dir_;
};

TEST_F(BatchCommands, AnswerEachCommandLineOnTheRightStreamWithTheRightStatus) {
    const std::string files = words({quoted(in()), quoted(path("out.tif"))});
    struct Case {
        std::string args;
        int status;
        std::string out;  // standard output contains this ("" : is empty)
        std::string err;  // standard error contains this ("" : is empty)
    };
    const Case cases[] = {
        {"--help", 0, "usage: orvane-batch info FILE", ""},
        {"-h", 0, "orvane-batch help NAME", ""},
        {"--version", 0, "orvane-batch 6.", ""},
        {"", 255, "", "usage: orvane-batch"},
        {"frobnicate", 255, "", "usage: orvane-batch"},
        {"--help extra", 255, "", "usage: orvane-batch"},
        {"list extra", 255, "", "usage: orvane-batch"},
        {"list", 0, "  Add Noise                built    4043", ""},
        {"list", 0, "  Tint                     not yet  4051", ""},
        {"help 'add noise'", 0, "colorspace_method CHANNELS METHOD", ""},
        {"help Add_Noise", 0, "0 Uniform, 1 Gaussian; default 0", ""},
        {"help Tint", 0, "Not built yet", ""},
        // A line holds the slider's number, or the one shown where the block keeps that.
        {"help Sharpen", 0, "0 to 255 (shown as 0 to 100); default", ""},
        {"help 'Gamma Adjust'", 0, "0.367879 to 2.71828; default 1", ""},
        {"help 'Noise Reduction'", 0, "0 to 8192 (shown as 0 to 100); default 0", ""},
        // An array's values follow its keyword on one line, as apply takes them.
        {"help 'Brightness Curve'", 0, "x_curve 2 0 255 y_curve 2 0 255 IN.tif", ""},
        {"help 'No Such Thing'", 255, "", "no transformation called \"No Such Thing\""},
        {"apply", 255, "", "needs a transformation"},
        {"apply 'No Such Thing' " + files, 255, "", "no transformation of that name"},
        {"apply Tint " + files, 255, "", "not built yet"},
        {"apply 'Add Noise' " + quoted(in()), 255, "", "needs an input and an output"},
        {"apply 'Add Noise' 1 2 " + files, 255, "", "\"1\" is not a keyword of Add Noise"},
        {"apply 'Add Noise' amout 512 " + files, 255, "",
         "\"amout\" is not a keyword of Add Noise; its keywords are colorspace_method, amount"},
        {"apply 'Add Noise' colorspace_method 0 1 amout 512 " + files, 255, "", "\"amout\" is not"},
        {"apply 'Add Noise' --settings x.as " + files, 255, "", "keeps no settings file"},
        {"apply 'Add Noise' " + quoted(path("missing.tif")) + " " + quoted(path("o.tif")), 129, "",
         "File not found"},
        {"apply 'Add Noise' " + quoted(in()) + " " + quoted(path("o.xyz")), 71, "",
         "Unknown file type"},
    };
    for (const Case& c : cases) {
        std::string out, err;
        EXPECT_EQ(run_batch(c.args, &out, &err), c.status) << c.args;
        for (const auto& [got, want] : {std::pair{out, c.out}, std::pair{err, c.err}}) {
            if (want.empty())
                EXPECT_EQ(got, "") << c.args;
            else
                EXPECT_NE(got.find(want), std::string::npos) << c.args << "\n" << got;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(path("out.tif")));
    std::string out;
    ASSERT_EQ(run_batch("list", &out), 0);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 63 + 6 + 5);  // rows, headings, gaps
}

// The example at the end of help runs as printed and gives the picture that
// the built-in values give.
TEST_F(BatchCommands, HelpsExampleRunsAndMatchesTheDefaults) {
    std::string help;
    ASSERT_EQ(run_batch("help 'Add Noise'", &help), 0);
    const std::string lead = "  orvane-batch apply ";
    const std::size_t at = help.find(lead);
    ASSERT_NE(at, std::string::npos) << help;
    std::string example = help.substr(at + lead.size());
    example = example.substr(0, example.find(" IN.tif OUT.tif"));
    ASSERT_EQ(run_batch("apply " + example + " " + quoted(in()) + " " + quoted(path("a.tif"))), 0);
    ASSERT_EQ(run_batch("apply 'Add Noise' " + quoted(in()) + " " + quoted(path("b.tif"))), 0);
    ImageHolder a, b;
    int type = 0;
    ASSERT_EQ(ReadImage(path("a.tif").c_str(), a.get(), nullptr, &type, load_no_progress), 0);
    ASSERT_EQ(ReadImage(path("b.tif").c_str(), b.get(), nullptr, &type, load_no_progress), 0);
    for (int y = 0; y < 400; y += 37)
        ASSERT_EQ(std::memcmp(a->rows[y], b->rows[y], 400), 0) << y;
}

// With no delay, progress goes to a terminal (through script's pseudo-terminal)
// and never to a file.
TEST_F(BatchCommands, ProgressShowsOnATerminalOnly) {
    const std::string apply =
        words({quoted(batch_program()), "apply 'Add Noise'", quoted(in()), quoted(path("p.tif"))});
    const std::string env = "ORVANE_PROGRESS_DELAY=0 ";
    const std::string to_file = env + apply + " 2>" + quoted(path("err.txt"));
    ASSERT_EQ(std::system(to_file.c_str()), 0);
    EXPECT_EQ(std::filesystem::file_size(path("err.txt")), 0u);

    const std::string on_tty =
        env + "script -qec \"" + apply + "\" /dev/null > " + quoted(path("tty.txt"));
    ASSERT_EQ(std::system(on_tty.c_str()), 0);
    std::ifstream tty(path("tty.txt"));
    const std::string shown((std::istreambuf_iterator<char>(tty)), {});
    EXPECT_NE(shown.find("Add Noise 100%"), std::string::npos) << shown;
    EXPECT_NE(shown.find("\r"), std::string::npos);
}

}  // namespace
