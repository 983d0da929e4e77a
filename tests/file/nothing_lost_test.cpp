// Nothing the user gave is lost: a save never costs the file it replaces, nor
// its link or permissions; a gray picture's profile travels with it.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "core/image.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/safe_write.h"
#include "file/write_image.h"
#include "file_test_support.h"

namespace {

namespace fs = std::filesystem;
using file_test::ScratchFolder;

std::string text_of(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void put(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// Writes `text` and answers `code`, as a writer that fails half way does.
FileWriter writing(std::string text, int code) {
    return [text, code](const std::string& path) {
        put(path, text);
        return code;
    };
}

std::set<std::string> names_in(const ScratchFolder& dir) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir.path()))
        names.insert(entry.path().filename().string());
    return names;
}

TEST(SafeReplace, AFailedSaveLeavesTheFileWhenNoNumberedSiblingIsFree) {
    ScratchFolder dir;
    const std::string dest = dir.file("dest.tif");
    put(dest, "original");
    for (int n = 1; n <= 99; ++n)
        put(dir.file("dest-" + std::to_string(n) + ".tif"), "sibling");
    const std::set<std::string> before = names_in(dir);

    EXPECT_EQ(safe_replace(dest, writing("half", 57)), 57);
    EXPECT_EQ(text_of(dest), "original");
    EXPECT_EQ(names_in(dir), before);

    EXPECT_EQ(safe_replace(dest, writing("new", 0)), 0);
    EXPECT_EQ(text_of(dest), "new");
    EXPECT_EQ(names_in(dir), before);
    EXPECT_EQ(text_of(dir.file("dest-7.tif")), "sibling");
}

TEST(SafeReplace, ALinkStaysALinkAndPermissionsStay) {
    ScratchFolder dir;
    const std::string real = dir.file("keep.tif");
    const std::string link = dir.file("link.tif");
    put(real, "original");
    fs::create_symlink(real, link);
    ASSERT_EQ(chmod(real.c_str(), 0640), 0);

    ASSERT_EQ(safe_replace(link, writing("new", 0)), 0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(text_of(real), "new");
    struct stat status {};
    ASSERT_EQ(stat(real.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_EQ(names_in(dir), (std::set<std::string>{"keep.tif", "link.tif"}));

    // A new file is simply written, and a failed one leaves nothing behind.
    EXPECT_EQ(safe_replace(dir.file("fresh.tif"), writing("x", 57)), 57);
    EXPECT_FALSE(fs::exists(dir.file("fresh.tif")));
    EXPECT_EQ(safe_replace(dir.file("fresh.tif"), writing("x", 0)), 0);
    EXPECT_EQ(text_of(dir.file("fresh.tif")), "x");
}

// A gray TIFF with a profile keeps it through a read and a TIFF or PNG write.
TEST(GrayProfile, TravelsThroughReadAndWrite) {
    ScratchFolder dir;
    const file_test::Picture gray = file_test::make_picture(20, 10, 1, 255, 4);
    ImageHolder image;
    ASSERT_EQ(file_test::image_of(gray, image.get()), 0);
    SaveOptions options;
    options.progress = false;
    const std::vector<std::uint8_t> profile = file_test::make_profile("GRAY", 300, 9);
    ASSERT_EQ(
        WriteImage(dir.file("g.tif").c_str(), save_filter_tiff, image.get(), profile, options), 0);
    for (const auto& [name, filter] :
         {std::pair{"out.tif", save_filter_tiff}, std::pair{"out.png", save_filter_png}}) {
        ImageHolder read;
        std::vector<std::uint8_t> got;
        int type = 0;
        ASSERT_EQ(ReadImage(dir.file("g.tif").c_str(), read.get(), &got, &type, load_no_progress),
                  0);
        EXPECT_EQ(got, profile);
        ASSERT_EQ(WriteImage(dir.file(name).c_str(), filter, read.get(), got, options), 0);
        std::vector<std::uint8_t> again;
        ASSERT_EQ(ReadImage(dir.file(name).c_str(), read.get(), &again, &type, load_no_progress),
                  0);
        EXPECT_EQ(again, profile) << name;
    }
}

}  // namespace
