#include "file/read_image.h"

#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "core/image.h"
#include "core/preferences.h"
#include "file/file_test_support.h"
#include "file/file_types.h"
#include "file/write_image.h"

using namespace file_test;
namespace fs = std::filesystem;

namespace {

class ReadAndWrite : public ::testing::Test {
protected:
    ScratchFolder folder;
    Picture colour = make_picture(91, 57, 3, 255, 31);
    Picture gray16 = make_picture(91, 57, 1, 65535, 32);

    std::string made_by(const std::string& tool, const Picture& picture, const std::string& name) {
        EXPECT_TRUE(file_test::made_by(tool, picture, folder.file(name)));
        return folder.file(name);
    }

    // Reads with ReadImage; the file type code comes back through `code`.
    int read(const std::string& path, Image* image, int* code, int options = 0) {
        std::vector<std::uint8_t> profile;
        return ReadImage(path.c_str(), image, &profile, code, options);
    }
};

// What a file's name and its bytes make of a read: the reader chosen, the
// error, and the file type code reported.
struct ReadCase {
    const char* name;
    const char* content;  // png, jpeg, tiff (big-endian 16-bit gray), gif, text, none
    int error;
    int code;  // -1: the code of the name
};

TEST_F(ReadAndWrite, NamesAndContentChooseTheReader) {
    const std::string png = made_by("pnmtopng", colour, "src.png");
    const std::string jpeg = made_by("cjpeg -quality 90", colour, "src.jpg");
    const std::string tiff = folder.file("src.tif");
    ASSERT_TRUE(
        run("tiffcp -B " + quoted(made_by("pnmtotiff", gray16, "le.tif")) + " " + quoted(tiff)));
    const Picture jpeg_pixels = decoded_by("djpeg -pnm", jpeg);
    const std::string gif = folder.file("src.gif");
    write_bytes(gif, {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0, 0, 0});
    const std::string text = folder.file("src.txt");
    write_bytes(text, {'h', 'e', 'l', 'l', 'o'});
    fs::create_directories(folder.file("d.png"));
    fs::create_directories(folder.file("cd"));
    const ReadCase cases[] = {
        {"a.jpg", "jpeg", 0, file_type_jpeg},
        {"a.png", "png", 0, file_type_png},
        {"a.TIF", "tiff", 0, file_type_tiff},
        // Unknown names are sniffed; content wins over a misleading name.
        {"scan.dat", "tiff", 0, file_type_unknown},
        {"picture", "jpeg", 0, file_type_unknown},
        {"d.png/picture", "png", 0, file_type_unknown},
        {"named.jpg", "png", 0, -1},
        {"named.gif", "png", 0, -1},
        {"named.nef", "png", 0, -1},
        {"named.png", "jpeg", 0, file_type_png},
        {"empty.dat", "empty", 71, file_type_unknown},
        {"notes.dat", "text", 71, file_type_unknown},
        {"anim.dat", "gif", 136, file_type_unknown},
        // Under the JPEG and PNG names, other content gets those readers' errors.
        {"text.jpg", "text", 22, -1},
        {"text.png", "text", 48, -1},
        // Known formats with no reader, and names of no image format.
        {"a.gif", "gif", 136, -1},
        {"a.bmp", "gif", 136, -1},
        {"a.pcx", "gif", 136, -1},
        {"a.tga", "gif", 136, -1},
        {"a.fpx", "gif", 136, -1},
        {"a.fits", "gif", 136, -1},
        {"a.rle", "gif", 136, -1},
        {"a.cmp", "gif", 136, -1},
        {"a.jp2", "gif", 136, -1},
        {"a.dng", "gif", 136, -1},
        {"a.eps", "gif", 71, -1},
        {"a.wfl", "gif", 71, -1},
        {"a.ovalbum", "gif", 71, -1},
        {"a.mov", "gif", 71, -1},
        {"missing.gif", "none", 129, -1},
        {"missing.jpg", "none", 129, -1},
        {"missing.tif", "none", 129, -1},
        {"missing.dat", "none", 129, -1},
        // Photo CD files, and an index file's name that is no Photo CD name
        // without its folder.
        {"img0001.pcd", "jpeg", 165, file_type_photo_cd},
        {"cd/overview.pcd", "jpeg", 165, file_type_photo_cd},
        {"overview.pcd", "jpeg", 0, file_type_unknown},
    };
    const fs::path before = fs::current_path();
    fs::current_path(folder.path());
    for (const ReadCase& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string content = c.content;
        const std::string source = content == "png"    ? png
                                   : content == "jpeg" ? jpeg
                                   : content == "tiff" ? tiff
                                   : content == "gif"  ? gif
                                                       : text;
        if (content == "empty")
            write_bytes(c.name, {});
        else if (content != "none")
            fs::copy_file(source, c.name);
        ImageHolder image;
        int code = -2;
        ASSERT_EQ(read(c.name, image.get(), &code), c.error);
        EXPECT_EQ(code, c.code == -1 ? FileTypeOfName(c.name) : c.code);
        if (c.error != 0) {
            EXPECT_EQ(image->type, image_type_empty);
            continue;
        }
        const Picture expected = content == "png"    ? colour
                                 : content == "jpeg" ? jpeg_pixels
                                                     : gray16;
        EXPECT_EQ(max_difference(picture_of(image.get()), expected), 0);
    }
    fs::current_path(before);
}

TEST_F(ReadAndWrite, OptionsForProfileAndClassification) {
    const std::vector<std::uint8_t> icc(5000, 0x5A);
    write_bytes(folder.file("p.icc"), icc);
    const std::string pnm = folder.file("p.ppm");
    write_pnm(pnm, colour);
    const std::string jpg = folder.file("p.jpg");
    ASSERT_TRUE(run("cjpeg -icc " + quoted(folder.file("p.icc")) + " -outfile " + quoted(jpg) +
                    " " + quoted(pnm)));
    ImageHolder image;
    std::vector<std::uint8_t> profile;
    int code = -1;
    // cjpeg writes no density: the resolution comes from the preferences.
    const double saved = preferences().defaultres;
    preferences().defaultres = 150.0;
    const int err = ReadImage(jpg.c_str(), image.get(), &profile, &code, load_no_progress);
    preferences().defaultres = saved;
    ASSERT_EQ(err, 0);
    EXPECT_EQ(image->resolution, 150.0);
    EXPECT_EQ(profile, icc);
    ASSERT_EQ(ReadImage(jpg.c_str(), image.get(), &profile, &code, load_no_profile), 0);
    EXPECT_TRUE(profile.empty());
    ASSERT_EQ(ReadImage(jpg.c_str(), image.get(), nullptr, nullptr, 0), 0);

    // Only classify: nothing is read, not even a file that is not there.
    code = -1;
    EXPECT_EQ(ReadImage(folder.file("none.tif").c_str(), image.get(), &profile, &code,
                        load_classify_only),
              0);
    EXPECT_EQ(code, file_type_tiff);
    EXPECT_EQ(image->type, image_type_empty);

    // A failed read leaves neither pixels nor profile behind.
    profile = {1, 2};
    ASSERT_EQ(image_alloc(image.get(), image_type_gray8, 4, 4, 100.0), 0);
    EXPECT_NE(ReadImage(folder.file("none.jpg").c_str(), image.get(), &profile, &code, 0), 0);
    EXPECT_EQ(image->type, image_type_empty);
    EXPECT_TRUE(profile.empty());
}

TEST_F(ReadAndWrite, ACmykTiffKeepsNoProfile) {
    // Written with libtiff: 8-bit CMYK, full cyan, with an ICC profile.
    const std::string path = folder.file("cmyk.tif");
    Picture cyan{16, 8, 4, 255, {}};
    for (int i = 0; i < 16 * 8; ++i)
        cyan.samples.insert(cyan.samples.end(), {255, 0, 0, 0});
    ASSERT_TRUE(write_with_libtiff(
        path, cyan,
        {.photometric = PHOTOMETRIC_SEPARATED, .profile = make_profile("CMYK", 1000, 35)}));

    ImageHolder image;
    std::vector<std::uint8_t> profile = {1};
    int code = -1;
    ASSERT_EQ(ReadImage(path.c_str(), image.get(), &profile, &code, 0), 0);
    ASSERT_EQ(image->type, image_type_colour8);
    const std::uint8_t* p = image_pixel_pointer(image.get(), 3, 3);
    EXPECT_LT(p[2], 20);  // cyan: little red, much green and blue
    EXPECT_GT(p[1], 200);
    EXPECT_GT(p[0], 200);
    EXPECT_TRUE(profile.empty());
}

TEST_F(ReadAndWrite, WrittenFilesReadBackEverywhere) {
    ImageHolder image;
    image_of(colour, image.get(), 240.0);
    const std::vector<std::uint8_t> profile = make_profile("RGB ", 3000, 34);
    SaveOptions options;
    options.tiff_compression = 1;
    options.jpeg_quality = 100;
    struct Case {
        int filter;
        const char* name;
        const char* tool;
        long tolerance;
    };
    for (const Case& c : {Case{save_filter_tiff, "w.tif", "tifftopnm", 0},
                          Case{save_filter_png, "w.png", "pngtopnm", 0},
                          Case{save_filter_jpeg, "w.jpg", "djpeg -pnm", 6}}) {
        SCOPED_TRACE(c.name);
        const std::string path = folder.file(c.name);
        ASSERT_EQ(WriteImage(path.c_str(), c.filter, image.get(), profile, options), 0);
        EXPECT_LE(max_difference(decoded_by(c.tool, path), colour), c.tolerance);
        ImageHolder back;
        std::vector<std::uint8_t> read_profile;
        int code = -1;
        ASSERT_EQ(ReadImage(path.c_str(), back.get(), &read_profile, &code, 0), 0);
        EXPECT_EQ(stored_file_type_of(code), stored_type_of_save_filter(c.filter));
        EXPECT_LE(max_difference(picture_of(back.get()), colour), c.tolerance);
        EXPECT_EQ(read_profile, profile);
        EXPECT_NEAR(back->resolution, 240.0, 0.05);
    }
    // The JPEG profile can be left out.
    options.jpeg_profile = false;
    const std::string jpg = folder.file("options.jpg");
    ASSERT_EQ(WriteImage(jpg.c_str(), save_filter_jpeg, image.get(), profile, options), 0);
    std::vector<std::uint8_t> read_profile = {1};
    ImageHolder back;
    ASSERT_EQ(ReadImage(jpg.c_str(), back.get(), &read_profile, nullptr, 0), 0);
    EXPECT_TRUE(read_profile.empty());

    // 16-bit goes to TIFF only.
    image_of(gray16, image.get());
    const std::string tif16 = folder.file("w16.tif");
    ASSERT_EQ(WriteImage(tif16.c_str(), save_filter_tiff, image.get(), {}, options), 0);
    // tifftopnm keeps all 16 bits only when it converts line by line.
    EXPECT_EQ(max_difference(decoded_by("tifftopnm -byrow", tif16), gray16), 0);
}

TEST_F(ReadAndWrite, RefusedSavesLeaveTheDestinationAlone) {
    const std::string target = folder.file("keep.png");
    const std::vector<std::uint8_t> original = {'k', 'e', 'e', 'p'};
    write_bytes(target, original);
    ImageHolder image;
    image_of(gray16, image.get());
    const SaveOptions options;
    // In place over a PNG there is no 16-bit question: the writer refuses.
    EXPECT_EQ(WriteImage(target.c_str(), save_filter_png, image.get(), {}, options), 47);
    EXPECT_EQ(WriteImage(target.c_str(), save_filter_jpeg, image.get(), {}, options), 24);
    image_of(colour, image.get());
    for (int filter : {save_filter_bmp, save_filter_targa, save_filter_pcx, save_filter_gif,
                       save_filter_eps, save_filter_flashpix, save_filter_fits, save_filter_rle}) {
        EXPECT_FALSE(save_filter_has_writer(filter));
        EXPECT_EQ(WriteImage(target.c_str(), filter, image.get(), {}, options), 136) << filter;
    }
    EXPECT_EQ(WriteImage(target.c_str(), 0, image.get(), {}, options), 71);
    EXPECT_EQ(WriteImage(target.c_str(), 12, image.get(), {}, options), 71);
    EXPECT_EQ(read_bytes(target), original);
    EXPECT_EQ(WriteImage(folder.file("no/folder/x.png").c_str(), save_filter_png, image.get(), {},
                         options),
              3);
}

TEST_F(ReadAndWrite, ACancelledReadLeavesNothing) {
    // Baseline and progressive JPEG, plain and interlaced PNG read in steps
    // that a Cancel stops; small pictures never show progress.
    for (const char* tool : {"cjpeg", "cjpeg -progressive", "pnmtopng", "pnmtopng -interlace"}) {
        SCOPED_TRACE(tool);
        const std::string big = made_by(tool, make_picture(600, 300, 3, 255, 13), "big");
        const std::string small = made_by(tool, make_picture(300, 300, 1, 255, 13), "small");
        CancellingDisplay display(5);
        ImageHolder image;
        std::vector<std::uint8_t> profile = {1};
        int code = -1;
        EXPECT_EQ(ReadImage(big.c_str(), image.get(), &profile, &code, 0), 11);
        EXPECT_EQ(image->type, image_type_empty);
        EXPECT_TRUE(profile.empty());
        EXPECT_EQ(display.begins * 10 + display.ends, 11);
        EXPECT_EQ(ReadImage(big.c_str(), image.get(), &profile, &code, load_no_progress), 0);
        EXPECT_EQ(ReadImage(small.c_str(), image.get(), &profile, &code, 0), 0);
        EXPECT_EQ(display.begins, 1);
    }
}

TEST_F(ReadAndWrite, ASaveCancelledHalfWayLeavesTheOriginal) {
    ImageHolder image;
    image_of(make_picture(600, 400, 3, 255, 33), image.get());
    for (int filter : {save_filter_tiff, save_filter_jpeg, save_filter_png}) {
        SCOPED_TRACE(filter);
        const std::string target = folder.file("original.dat");
        const std::vector<std::uint8_t> original = {'o', 'l', 'd', 0, 1, 2};
        write_bytes(target, original);
        // The TIFF writer steps by strips, of which this picture has three.
        CancellingDisplay display(2);
        EXPECT_EQ(WriteImage(target.c_str(), filter, image.get(), {}, SaveOptions{}), 11);
        EXPECT_EQ(display.steps, 3);
        EXPECT_EQ(read_bytes(target), original);
    }
    EXPECT_EQ(listing(folder.path()), std::vector<std::string>{"original.dat"});
}

}  // namespace
