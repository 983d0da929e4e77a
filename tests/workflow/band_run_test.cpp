// The streamed TIFF run against the whole-picture way: the same bytes for
// files laid out by libtiff's tiffcp in other strip sizes, compressions and
// byte orders, band heights that cut strips, and a transformation that turns
// gray into colour; and the cases that must not stream.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/image.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/tiff_writer.h"
#include "file/write_image.h"
#include "transform/registry.h"
#include "transform/transform.h"
#include "workflow/band_run.h"
#include "file/file_test_support.h"

namespace {

using file_test::ScratchFolder;

std::vector<char> bytes_of(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A picture of `type` whose samples differ from line to line and pixel to
// pixel, so that a line out of place shows.
bool write_source(const std::string& path, int type, int width, int height) {
    ImageHolder image;
    if (image_alloc(image.get(), type, width, height, 240.0) != 0) return false;
    const int bytes = image_line_bytes(image.get());
    for (int y = 0; y < height; ++y)
        for (int i = 0; i < bytes; ++i)
            image->rows[y][i] = static_cast<std::uint8_t>((i * 7 + y * 13 + (i * y) / 5) & 255);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    const int err = TiffWrite(file, image.get(), {}, 0, nullptr, 0, tiff_compression_none, false,
                              false);
    return std::fclose(file) == 0 && err == 0;
}

// The whole-picture way: read, compute, save.
int whole_run(const std::string& in, const std::string& out, const BandRun& run) {
    ImageHolder input;
    std::vector<std::uint8_t> profile;
    if (int err = ReadImage(in.c_str(), input.get(), &profile, nullptr, load_no_progress))
        return err;
    ImageHolder output;
    Image* result = input.get();
    if (run.descriptor) {
        if (int err = transform_compute_image(*run.descriptor, run.params, input.get(),
                                              output.get()))
            return err;
        result = output.get();
        if (image_is_colour(result) != image_is_colour(input.get())) profile.clear();
    }
    return WriteImage(out.c_str(), run.filter, result, profile, run.save);
}

int batch_filter(const std::string& name) {
    return name.ends_with(".png") ? save_filter_png : save_filter_tiff;
}

struct Work {
    const char* title = nullptr;  // null: a copy
    // Field values set on the block: keyword, part (-1 for a single value), value.
    struct Set {
        const char* keyword;
        int part;
        double value;
    };
    std::vector<Set> sets;
};

struct Params {
    ParamBlock block;
    const TransformDescriptor* descriptor = nullptr;
};

Params params_of(const Work& work) {
    Params p;
    if (!work.title) return p;
    p.descriptor = transform_find_title(work.title)->descriptor;
    EXPECT_EQ(p.block.allocate(*p.descriptor), 0);
    for (const Work::Set& s : work.sets) {
        const TransformField* f = field_find(p.descriptor->fields, s.keyword);
        if (s.part < 0)
            f->set(p.block.get(), s.value);
        else
            f->set_part(p.block.get(), s.part, static_cast<int>(s.value));
    }
    return p;
}

const Work copy{};
const Work gamma{"Gamma Adjust", {{"factor", -1, 300}}};
// A colour filter turns a gray picture colour.
const Work levels{"Levels and Color",
                  {{"dynamic_range", 0, 20},
                   {"dynamic_range", 1, 230},
                   {"dynamic_range", 2, 5},
                   {"dynamic_range", 3, 250},
                   {"midtones", -1, 30},
                   {"colorbal", 0, 255},
                   {"colorbal", 1, 200},
                   {"colorbal", 2, 150}}};

struct StreamCase {
    int type;
    const char* make;    // how the input is made from the base: tiffcp options, or a JPEG coder
    int compression;     // of a TIFF output; -1 writes a JPEG
    int band_lines;      // 0: the chosen height
    const Work* work;
};

TEST(BandRun, GivesTheWholeWaysFile) {
    const StreamCase cases[] = {
        {image_type_colour16, "-c none -r 7", tiff_compression_none, 5, &copy},
        {image_type_colour16, "-c lzw:2 -r 3 -B", tiff_compression_zip, 8, &copy},
        {image_type_colour8, "-c zip:2 -r 16", tiff_compression_lzw, 0, &copy},
        {image_type_gray8, "-c none -r 1000", tiff_compression_none, 1, &copy},
        {image_type_binary, "-c none -r 9", tiff_compression_none, 4, &copy},
        {image_type_gray16, "-c lzw -r 5 -B", tiff_compression_none, 16, &gamma},
        {image_type_colour16, "-c none -r 6", tiff_compression_lzw, 7, &gamma},
        {image_type_gray8, "-c zip:2 -r 4", tiff_compression_none, 3, &levels},
        {image_type_gray16, "-c none -r 11", tiff_compression_zip, 0, &levels},
        {image_type_colour8, "-c lzw:2 -r 2", tiff_compression_none, 9, &levels},
        {image_type_colour8, "-c none -r 5", -1, 0, &copy},
        {image_type_gray8, "-c lzw -r 3", -1, 7, &levels},
        {image_type_colour8, "cjpeg -quality 90 -progressive", tiff_compression_lzw, 6, &copy},
        {image_type_gray8, "cjpeg -quality 80", -1, 0, &gamma},
        {image_type_colour8, "cjpeg -sample 2x2", tiff_compression_none, 10, &levels},
    };
    ScratchFolder scratch;
    int k = 0;
    for (const StreamCase& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << k << ": " << c.make);
        const std::string make = c.make;
        const bool jpeg_in = make.starts_with("cjpeg");
        const std::string base = scratch.file("base" + std::to_string(k) + ".tif");
        const std::string in = scratch.file("in" + std::to_string(k) + (jpeg_in ? ".jpg" : ".tif"));
        ASSERT_TRUE(write_source(base, c.type, 123, 61));
        ASSERT_TRUE(file_test::run(jpeg_in ? "tifftopnm -quiet " + base + " | " + make + " > " + in
                                           : "tiffcp " + make + " " + base + " " + in));
        const Params p = params_of(*c.work);
        BandRun run;
        run.descriptor = p.descriptor;
        run.params = p.block.get();
        run.band_lines = c.band_lines;
        run.filter = c.compression < 0 ? save_filter_jpeg : save_filter_tiff;
        run.save.tiff_compression = std::max(c.compression, 0);
        run.save.progress = false;
        const char* extension = c.compression < 0 ? ".jpg" : ".tif";
        const std::string streamed = scratch.file("streamed" + std::to_string(k) + extension);
        const std::string whole = scratch.file("whole" + std::to_string(k) + extension);
        ASSERT_EQ(band_run(in, streamed, run), 0);
        ASSERT_EQ(whole_run(in, whole, run), 0);
        const std::vector<char> a = bytes_of(streamed), b = bytes_of(whole);
        EXPECT_GT(a.size(), 1000u);
        EXPECT_TRUE(a == b);
        ++k;
    }
}

TEST(BandRun, DeclinesWhatCannotStream) {
    ScratchFolder scratch;
    const std::string in = scratch.file("in.tif");
    ASSERT_TRUE(write_source(in, image_type_colour8, 40, 30));
    const std::string turned = scratch.file("turned.tif");
    ASSERT_TRUE(file_test::run("cp " + in + " " + turned + " && tiffset -s 274 6 " + turned));
    const std::string named_jpeg = scratch.file("in.jpg");
    ASSERT_TRUE(file_test::run("cp " + in + " " + named_jpeg));
    const std::string cut = scratch.file("cut.jpg");
    ASSERT_TRUE(file_test::run("tifftopnm -quiet " + in + " | cjpeg | head -c 900 > " + cut));
    ImageHolder mask;
    ASSERT_EQ(image_alloc(mask.get(), image_type_gray8, 40, 30, 100.0), 0);

    Params gamma_p = params_of(gamma);
    Params masked = params_of(Work{"Brightness Curve", {}});
    Params found_range = params_of(Work{"Levels and Color", {}});
    Params blur = params_of(Work{"Blur", {}});
    field_find(masked.descriptor->fields, "amount")->amount(masked.block.get())->amount_mask =
        mask.get();
    struct Decline {
        std::string in;
        std::string out;
        const Params* params;
        bool thumbnail;
    } declines[] = {
        {turned, "out.tif", &gamma_p, false},        // an orientation to turn
        {named_jpeg, "out.tif", &gamma_p, false},    // a TIFF named as a JPEG
        {cut, "out.tif", &gamma_p, false},           // a JPEG cut short
        {in, "out.png", &gamma_p, false},            // not written as TIFF
        {in, "out.tif", &gamma_p, true},             // a thumbnail needs the whole
        {in, "out.tif", &found_range, false},        // a range found in the picture
        {in, "out.tif", &blur, false},               // neighbours
        {in, "out.tif", &masked, false},             // a mask at the picture's lines
    };
    for (const Decline& d : declines) {
        SCOPED_TRACE(d.in + " to " + d.out);
        BandRun run;
        run.filter = batch_filter(d.out);
        run.descriptor = d.params->descriptor;
        run.params = d.params->block.get();
        run.save.tiff_thumbnail = d.thumbnail;
        EXPECT_EQ(band_run(d.in, scratch.file(d.out), run), band_run_declined);
        EXPECT_FALSE(std::filesystem::exists(scratch.file(d.out)));
    }
}

}  // namespace
