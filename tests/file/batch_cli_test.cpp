// orvane-batch run as a user runs it, on files made by other programs:
// netpbm's pnmtopng and pnmtotiff, libjpeg-turbo's cjpeg. What it writes is
// decoded by pngtopnm, tifftopnm and djpeg and compared with what those tools
// make of the input, so neither side of a comparison is our own decoder.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "file/file_test_support.h"

namespace {

using file_test::Picture;
using file_test::quoted;
using file_test::ScratchFolder;

// The program beside the test executable's folder, or the one ORVANE_BATCH names.
std::string batch_program() {
    if (const char* named = std::getenv("ORVANE_BATCH")) return named;
    std::error_code ignored;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ignored);
    return (self.parent_path().parent_path() / "orvane-batch").string();
}

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

std::string text_of(const std::string& path) {
    const std::vector<std::uint8_t> bytes = file_test::read_bytes(path);
    return std::string(bytes.begin(), bytes.end());
}

Outcome batch(const ScratchFolder& dir, const std::string& arguments) {
    const std::string out = dir.file("batch.out");
    const std::string err = dir.file("batch.err");
    const std::string command =
        quoted(batch_program()) + " " + arguments + " > " + quoted(out) + " 2> " + quoted(err);
    const int raw = std::system(command.c_str());
    Outcome outcome;
    outcome.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    outcome.out = text_of(out);
    outcome.err = text_of(err);
    return outcome;
}

// tifftopnm needs -byrow to keep 16 bits.
using file_test::decoded_by;

// Equal samples, and not because both are empty.
::testing::AssertionResult same_picture(const Picture& expected, const Picture& actual) {
    const long difference = file_test::max_difference(expected, actual);
    if (difference == 0 && !expected.samples.empty()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "difference " << difference << ", " << actual.width
                                         << "x" << actual.height << " maxval " << actual.maxval;
}

class BatchCli : public ::testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__)
        // The program under test is the plain build; running it again from the
        // sanitized test executable would check nothing new.
        GTEST_SKIP() << "runs in the plain test executable";
#endif
        ASSERT_TRUE(std::filesystem::exists(batch_program())) << batch_program();
        ASSERT_FALSE(dir.path().empty());
    }

    std::string file(const std::string& name) const { return dir.file(name); }
    // Runs `command` on the file `in`, writing its output to the file `out`.
    bool made(const std::string& command, const std::string& in, const std::string& out) const {
        return file_test::run(command + " " + quoted(file(in)) + " > " + quoted(file(out)) +
                              " 2>/dev/null");
    }

    ScratchFolder dir;
};

struct Kind {
    const char* name;
    int channels;
    int maxval;
};

constexpr Kind kinds[] = {
    {"bilevel", 1, 1},    {"gray8", 1, 255},      {"colour8", 3, 255},
    {"gray16", 1, 65535}, {"colour16", 3, 65535},
};

TEST_F(BatchCli, PngFromPnmtopngBecomesTiffWithTheSameSamples) {
    const char* compressions[] = {"none", "zip", "lzw"};
    const char* tiff_schemes[] = {"Compression Scheme: None", "Compression Scheme: AdobeDeflate",
                                  "Compression Scheme: LZW"};
    int round = 0;
    for (const Kind& kind : kinds) {
        SCOPED_TRACE(kind.name);
        // An odd width, so that lines end inside a byte or a pixel group.
        const Picture source = file_test::make_picture(61, 37, kind.channels, kind.maxval, 7);
        file_test::write_pnm(file("source.pnm"), source);
        // 11811 pixels a metre is 300 pixels an inch.
        ASSERT_TRUE(made("pnmtopng -size '11811 11811 1'", "source.pnm", "in.png"));
        const int c = round++ % 3;
        const bool thumbnail = kind.maxval == 255;
        const Outcome outcome =
            batch(dir, "convert " + quoted(file("in.png")) + " " + quoted(file("out.tif")) +
                           " --compression " + compressions[c] + (thumbnail ? " --thumbnail" : ""));
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(outcome.out.empty() && outcome.err.empty()) << outcome.out << outcome.err;

        EXPECT_TRUE(same_picture(decoded_by("pngtopnm", file("in.png")),
                                 decoded_by("tifftopnm -byrow", file("out.tif"))));
        // What libtiff's tiffinfo says of the file.
        int status = 0;
        const std::string info =
            file_test::output_of("tiffinfo " + quoted(file("out.tif")), &status);
        EXPECT_NE(info.find(tiff_schemes[c]), std::string::npos) << info;
        EXPECT_NE(info.find("Resolution: 300, 300 pixels/inch"), std::string::npos) << info;
        EXPECT_EQ(info.find("SubIFD") != std::string::npos, thumbnail) << info;
    }
}

TEST_F(BatchCli, JpegWrittenAtAQualityDecodesAsCjpegsAtThatQuality) {
    // With the same quantisation tables and full colour resolution, libjpeg's
    // decoder gives the same pixels whoever encoded the file. The default is
    // the quality of the `jpegquality` preference, 97.
    const Picture colour = file_test::make_picture(80, 48, 3, 255, 5);
    const Picture gray = file_test::make_picture(80, 48, 1, 255, 6);
    file_test::write_pnm(file("colour.ppm"), colour);
    file_test::write_pnm(file("gray.pgm"), gray);
    ASSERT_TRUE(made("pnmtopng", "colour.ppm", "colour.png"));
    ASSERT_TRUE(made("pnmtotiff", "gray.pgm", "gray.tif"));
    struct Case {
        const char* input;
        const char* netpbm;
        const char* cjpeg_options;
        int quality;  // -1: not given
    };
    const Case cases[] = {
        {"colour.png", "colour.ppm", "-sample 1x1", 40},
        {"colour.png", "colour.ppm", "-sample 1x1", -1},
        {"gray.tif", "gray.pgm", "-grayscale", 75},
    };
    for (const Case& c : cases) {
        const int quality = c.quality < 0 ? 97 : c.quality;
        SCOPED_TRACE(std::string(c.input) + " quality " + std::to_string(c.quality));
        const std::string option = c.quality < 0 ? "" : " --quality " + std::to_string(c.quality);
        const Outcome outcome =
            batch(dir, "convert " + quoted(file(c.input)) + " " + quoted(file("out.jpg")) + option);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        ASSERT_TRUE(made("cjpeg -quality " + std::to_string(quality) + " " + c.cjpeg_options,
                         c.netpbm, "cjpeg.jpg"));
        EXPECT_TRUE(same_picture(decoded_by("djpeg -pnm", file("cjpeg.jpg")),
                                 decoded_by("djpeg -pnm", file("out.jpg"))));
    }
}

TEST_F(BatchCli, ProfilesTravelThroughEveryFormat) {
    // 70000 bytes: more than one APP2 marker holds, so JPEG splits it both ways.
    const std::vector<std::uint8_t> profile = file_test::make_profile("RGB ", 70000 - 144, 9);
    file_test::write_bytes(file("profile.icc"), profile);
    file_test::write_pnm(file("colour.ppm"), file_test::make_picture(40, 30, 3, 255, 2));
    ASSERT_TRUE(made("cjpeg -icc " + quoted(file("profile.icc")), "colour.ppm", "in.jpg"));

    Outcome outcome = batch(dir, "info " + quoted(file("in.jpg")));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("Profile: yes\n"), std::string::npos) << outcome.out;

    // JPEG to TIFF to PNG to JPEG: the last one holds it still.
    for (const char* step : {"in.jpg a.tif", "a.tif b.png", "b.png c.jpg"}) {
        const std::string names = step;
        const std::string from = names.substr(0, names.find(' '));
        const std::string to = names.substr(names.find(' ') + 1);
        ASSERT_EQ(batch(dir, "convert " + quoted(file(from)) + " " + quoted(file(to))).status, 0);
    }
    ASSERT_TRUE(made("djpeg -icc " + quoted(file("back.icc")), "c.jpg", "c.pnm"));
    EXPECT_EQ(file_test::read_bytes(file("back.icc")), profile);

    // A file without one says so.
    ASSERT_TRUE(made("pnmtopng", "colour.ppm", "plain.png"));
    outcome = batch(dir, "info " + quoted(file("plain.png")));
    EXPECT_NE(outcome.out.find("Profile: no\n"), std::string::npos) << outcome.out;
}

TEST_F(BatchCli, InfoDescribesFilesOfEachFormat) {
    file_test::write_pnm(file("deep.ppm"), file_test::make_picture(45, 23, 3, 65535, 1));
    file_test::write_pnm(file("gray.pgm"), file_test::make_picture(30, 20, 1, 255, 2));
    file_test::write_pnm(file("bilevel.pbm"), file_test::make_picture(19, 7, 1, 1, 3));
    ASSERT_TRUE(made("pnmtopng -size '11811 11811 1'", "deep.ppm", "deep.png"));
    ASSERT_TRUE(made("cjpeg -grayscale", "gray.pgm", "gray.jpg"));
    ASSERT_TRUE(made("pnmtotiff -lzw", "bilevel.pbm", "bilevel.tif"));
    // The same PNG bytes under a name that says nothing, and under a misleading one.
    std::filesystem::copy_file(file("deep.png"), file("deep.dat"));
    std::filesystem::copy_file(file("deep.png"), file("deep.jpg"));
    const std::string png =
        "Format: PNG\nWidth: 45\nHeight: 23\nType: Color Image (48-bit)\n"
        "Resolution: 300.0\nProfile: no\n";
    const std::pair<const char*, std::string> cases[] = {
        {"deep.png", png},
        {"deep.dat", png},
        {"deep.jpg", png},
        {"gray.jpg", "Format: JPEG\nWidth: 30\nHeight: 20\nType: Black and White Image\n"},
        {"bilevel.tif", "Format: TIFF\nWidth: 19\nHeight: 7\nType: Binary Image\n"},
    };
    for (const auto& [name, start] : cases) {
        const Outcome outcome = batch(dir, "info " + quoted(file(name)));
        EXPECT_EQ(outcome.status, 0) << name << outcome.err;
        EXPECT_EQ(outcome.out.substr(0, start.size()), start) << name;
        if (start == png) {
            EXPECT_EQ(outcome.out, png);
        }
    }
    EXPECT_NE(batch(dir, "info " + quoted(file("bilevel.tif"))).out.find("Compression: LZW\n"),
              std::string::npos);
}

TEST_F(BatchCli, FailuresGiveTheErrorCodeAndLeaveTheDestinationAlone) {
    const Picture colour = file_test::make_picture(24, 16, 3, 255, 8);
    file_test::write_pnm(file("colour.ppm"), colour);
    file_test::write_pnm(file("deep.ppm"), file_test::make_picture(24, 16, 3, 65535, 8));
    ASSERT_TRUE(made("pnmtopng", "colour.ppm", "in.png"));
    ASSERT_TRUE(made("pnmtopng", "deep.ppm", "deep.png"));
    ASSERT_TRUE(made("cjpeg", "colour.ppm", "whole.jpg"));
    std::vector<std::uint8_t> jpeg = file_test::read_bytes(file("whole.jpg"));
    jpeg.resize(jpeg.size() / 2);
    file_test::write_bytes(file("half.jpg"), jpeg);
    file_test::write_bytes(file("in.gif"),
                           {'G', 'I', 'F', '8', '9', 'a', 24, 0, 16, 0, 0, 0, 0, ';'});
    // Destinations that exist already: a failed conversion must not touch them.
    const std::vector<std::uint8_t> old_bytes = {'o', 'l', 'd'};
    for (const char* name : {"dest.jpg", "dest.png"})
        file_test::write_bytes(file(name), old_bytes);

    struct Case {
        std::string arguments;
        int status;
        std::string message;
    };
    const Case cases[] = {
        {"info " + quoted(file("missing.png")), 129, "File not found"},
        {"convert " + quoted(file("missing.jpg")) + " " + quoted(file("x.tif")), 129,
         "File not found"},
        {"convert " + quoted(file("half.jpg")) + " " + quoted(file("x.png")), 22,
         "Error reading JPEG file"},
        {"convert " + quoted(file("in.gif")) + " " + quoted(file("x.png")), 136,
         "File has an unsupported feature"},
        {"convert " + quoted(file("in.png")) + " " + quoted(file("x.xyz")), 71,
         "Unknown file type"},
        {"convert " + quoted(file("in.png")) + " " + quoted(file("noextension")), 71,
         "Unknown file type"},
        {"convert " + quoted(file("in.png")) + " " + quoted(file("x.gif")), 136,
         "File has an unsupported feature"},
        {"convert " + quoted(file("in.png")) + " " + quoted(file("x.BMP")), 136,
         "File has an unsupported feature"},
        {"convert " + quoted(file("deep.png")) + " " + quoted(file("dest.jpg")), 24,
         "Only grayscale or color images can be saved in JPEG format"},
        {"convert " + quoted(file("deep.png")) + " " + quoted(file("dest.png")), 47,
         "Only binary, grayscale, or color images can be saved in PNG format"},
    };
    for (const Case& c : cases) {
        const Outcome outcome = batch(dir, c.arguments);
        EXPECT_EQ(outcome.status, c.status) << c.arguments;
        EXPECT_EQ(outcome.err, "orvane-batch: " + c.message + "\n") << c.arguments;
        EXPECT_TRUE(outcome.out.empty()) << c.arguments;
    }
    for (const char* name : {"dest.jpg", "dest.png"})
        EXPECT_EQ(file_test::read_bytes(file(name)), old_bytes) << name;

    // Command lines that cannot be understood, or options the output format
    // has no use for: 255, and nothing is read or written.
    const std::string in = quoted(file("in.png"));
    const std::string refusals[][2] = {
        {"convert " + in + " " + quoted(file("y.tif")) + " --quality 80",
         "--quality applies to JPEG output only"},
        {"convert " + in + " " + quoted(file("y.jpg")) + " --compression zip",
         "--compression applies to TIFF output only"},
        {"convert " + in + " " + quoted(file("y.png")) + " --thumbnail",
         "--thumbnail applies to TIFF output only"},
    };
    for (const auto& r : refusals) {
        const Outcome outcome = batch(dir, r[0]);
        EXPECT_EQ(outcome.status, 255) << r[0];
        EXPECT_EQ(outcome.err, "orvane-batch: " + r[1] + "\n") << r[0];
    }
    const std::string jpg = quoted(file("y.jpg"));
    const std::string bad_lines[] = {
        "info",
        "info " + in + " " + in,
        "convert " + in,
        "convert " + in + " " + jpg + " " + quoted(file("z.jpg")),
        "convert " + in + " " + jpg + " --quality",
        "convert " + in + " " + jpg + " --quality 101",
        "convert " + in + " " + jpg + " --quality -1",
        "convert " + in + " " + jpg + " --quality 9x",
        "convert " + in + " " + quoted(file("y.tif")) + " --compression rle",
        "convert " + in + " " + jpg + " --fast",
    };
    for (const std::string& line : bad_lines) {
        const Outcome outcome = batch(dir, line);
        EXPECT_EQ(outcome.status, 255) << line;
        EXPECT_EQ(outcome.err.rfind("usage: orvane-batch", 0), 0u) << line << outcome.err;
    }

    // Only the files made above: no output, no leftover sibling of a failed write.
    const std::vector<std::string> expected = {"batch.err", "batch.out", "colour.ppm", "deep.png",
                                               "deep.ppm",  "dest.jpg",  "dest.png",   "half.jpg",
                                               "in.gif",    "in.png",    "whole.jpg"};
    EXPECT_EQ(file_test::listing(dir.path()), expected);
}

}  // namespace
