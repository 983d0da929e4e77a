// Nothing the user gave is lost: a save never costs the file it replaces, nor
// its link or permissions, not even when the disk fills up half way; a gray
// picture's profile travels with it.
#include "file/safe_write.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/image.h"
#include "file/file_test_support.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/write_image.h"

namespace fs = std::filesystem;
using namespace file_test;

namespace {

std::string text_of(const std::string& path) {
    const std::vector<std::uint8_t> bytes = read_bytes(path);
    return {bytes.begin(), bytes.end()};
}

void put(const std::string& path, const std::string& text) {
    write_bytes(path, {text.begin(), text.end()});
}

// Writes `text` and answers `code`, as a writer that fails half way does.
FileWriter writing(std::string text, int code, std::string* written_to = nullptr) {
    return [text, code, written_to](const std::string& path) {
        if (written_to) *written_to = path;
        put(path, text);
        return code;
    };
}

TEST(UniqueName, NumbersSiblingsOfAnExistingFile) {
    ScratchFolder folder;
    const std::string target = folder.file("picture.tif");
    EXPECT_EQ(unique_name(target, 2), target);  // nothing to avoid yet
    for (const char* name : {"picture.tif", "picture-1.tif", "picture-2.tif", "picture-4.tif",
                             "README", "a.b.jpg", "d.x/name"}) {
        fs::create_directories(fs::path(folder.file(name)).parent_path());
        put(folder.file(name), "x");
    }
    EXPECT_EQ(unique_name(target, 2), folder.file("picture-3.tif"));
    EXPECT_EQ(unique_name(target, 1), folder.file("picture[1].tif"));
    EXPECT_EQ(unique_name(folder.file("README"), 2), folder.file("README-1"));
    // A folder with a dot does not lend its dot to the name.
    EXPECT_EQ(unique_name(folder.file("d.x/name"), 2), folder.file("d.x/name-1"));
    // All 99 taken gives the name itself.
    for (int i = 1; i <= 99; ++i)
        put(folder.file("a.b-" + std::to_string(i) + ".jpg"), "x");
    EXPECT_EQ(unique_name(folder.file("a.b.jpg"), 2), folder.file("a.b.jpg"));
    EXPECT_EQ(unique_name(folder.file("a.b.jpg"), 1), folder.file("a.b[1].jpg"));

    // 260 characters is the longest proposal; one more keeps the name itself.
    const std::string base = folder.path() + "/";
    const std::size_t fill = 260 - base.size() - std::string("-1.tif").size();
    const std::string at_limit = base + std::string(fill, 'n') + ".tif";
    const std::string over = base + std::string(fill + 1, 'n') + ".tif";
    put(at_limit, "x");
    put(over, "x");
    EXPECT_EQ(unique_name(at_limit, 2).size(), 260u);
    EXPECT_EQ(unique_name(over, 2), over);
}

TEST(SafeReplace, ReplacesThroughASiblingOrWritesANewFile) {
    ScratchFolder folder;
    const std::string target = folder.file("picture.png");
    put(target, "original");
    std::string written_to;
    EXPECT_EQ(safe_replace(target, writing("new", 0, &written_to)), 0);
    EXPECT_EQ(written_to, folder.file("picture-1.png"));
    EXPECT_EQ(text_of(target), "new");
    EXPECT_EQ(listing(folder.path()), std::vector<std::string>{"picture.png"});

    const std::string fresh = folder.file("fresh.png");
    EXPECT_EQ(safe_replace(fresh, writing("x", 57)), 57);  // a failed one leaves nothing
    EXPECT_FALSE(fs::exists(fresh));
    EXPECT_EQ(safe_replace(fresh, writing("x", 0, &written_to)), 0);
    EXPECT_EQ(written_to, fresh);
    EXPECT_EQ(text_of(fresh), "x");
}

TEST(SafeReplace, FailedWritesLeaveTheOriginal) {
    ScratchFolder folder;
    const std::string target = folder.file("picture.jpg");
    put(target, "original");
    // The disk fills up after part of the file; the folder refuses new files.
    for (int code : {6, 3}) {
        EXPECT_EQ(safe_replace(target, writing(std::string(5000, '7'), code)), code);
        EXPECT_EQ(text_of(target), "original");
        EXPECT_EQ(listing(folder.path()), std::vector<std::string>{"picture.jpg"});
    }
    // No numbered sibling is free: still nothing is lost.
    for (int n = 1; n <= 99; ++n)
        put(folder.file("picture-" + std::to_string(n) + ".jpg"), "sibling");
    EXPECT_EQ(safe_replace(target, writing("half", 57)), 57);
    EXPECT_EQ(text_of(target), "original");
    EXPECT_EQ(listing(folder.path()).size(), 100u);
    EXPECT_EQ(safe_replace(target, writing("new", 0)), 0);
    EXPECT_EQ(text_of(target), "new");
    EXPECT_EQ(listing(folder.path()).size(), 100u);
    EXPECT_EQ(text_of(folder.file("picture-7.jpg")), "sibling");
}

TEST(SafeReplace, ARealReadOnlyFolderAndAFailingRename) {
    ScratchFolder folder;
    const std::string target = folder.file("picture.tif");
    put(target, "original");
    if (geteuid() != 0) {  // permissions do not bind the super-user
        fs::permissions(folder.path(), fs::perms::owner_write, fs::perm_options::remove);
        const int err = safe_replace(target, [](const std::string& path) {
            std::FILE* f = std::fopen(path.c_str(), "wb");
            if (!f) return 3;
            std::fclose(f);
            return 0;
        });
        fs::permissions(folder.path(), fs::perms::owner_write, fs::perm_options::add);
        EXPECT_EQ(err, 3);
        EXPECT_EQ(text_of(target), "original");
    }
    // The destination is a folder that is not empty: no file can replace it.
    const std::string dir = folder.file("picture.png");
    fs::create_directory(dir);
    put(dir + "/inside", "x");
    EXPECT_EQ(safe_replace(dir, writing("new", 0)), 6);
    EXPECT_TRUE(fs::is_directory(dir));
    EXPECT_EQ(listing(folder.path()), (std::vector<std::string>{"picture.png", "picture.tif"}));
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
    EXPECT_EQ(listing(dir.path()), (std::vector<std::string>{"keep.tif", "link.tif"}));
}

// Runs WriteImage in a child process whose files may not grow past `limit`
// bytes, standing in for a full disk; the child's result (-1 if it did not end
// normally).
int write_with_size_limit(const std::string& path, int filter, const Image* image, rlim_t limit) {
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);  // a write past the limit then fails with EFBIG
        rlimit r{limit, limit};
        setrlimit(RLIMIT_FSIZE, &r);
        SaveOptions options;
        options.progress = false;
        _exit(WriteImage(path.c_str(), filter, image, {}, options) & 0xFF);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

TEST(FullDisk, AFailedSaveLeavesTheOriginalWhole) {
    ScratchFolder folder;
    ImageHolder image;
    ASSERT_EQ(image_of(make_picture(900, 700, 3, 255, 5), image.get()), 0);
    const std::vector<std::uint8_t> original(50000, 0x5A);
    for (int filter : {save_filter_tiff, save_filter_jpeg, save_filter_png}) {
        SCOPED_TRACE(filter);
        const std::string target = folder.file("picture");
        write_bytes(target, original);
        // Room for the start of the file only; the original is larger than that.
        const int err = write_with_size_limit(target, filter, image.get(), 60000);
        EXPECT_NE(err, 0);
        EXPECT_NE(err, 255);
        EXPECT_EQ(read_bytes(target), original);
        EXPECT_EQ(listing(folder.path()), std::vector<std::string>{"picture"});
        // With room enough the same save goes through.
        EXPECT_EQ(write_with_size_limit(target, filter, image.get(), RLIM_INFINITY), 0);
        EXPECT_NE(read_bytes(target), original);
    }
}

// A gray TIFF with a profile keeps it through a read and a TIFF or PNG write.
TEST(GrayProfile, TravelsThroughReadAndWrite) {
    ScratchFolder dir;
    ImageHolder image;
    ASSERT_EQ(image_of(make_picture(20, 10, 1, 255, 4), image.get()), 0);
    SaveOptions options;
    options.progress = false;
    const std::vector<std::uint8_t> profile = make_profile("GRAY", 300, 9);
    const std::string source = dir.file("g.tif");
    ASSERT_EQ(WriteImage(source.c_str(), save_filter_tiff, image.get(), profile, options), 0);
    for (const auto& [name, filter] :
         {std::pair{"out.tif", save_filter_tiff}, std::pair{"out.png", save_filter_png}}) {
        ImageHolder read;
        std::vector<std::uint8_t> got;
        int type = 0;
        ASSERT_EQ(ReadImage(source.c_str(), read.get(), &got, &type, load_no_progress), 0);
        EXPECT_EQ(got, profile);
        ASSERT_EQ(WriteImage(dir.file(name).c_str(), filter, read.get(), got, options), 0);
        std::vector<std::uint8_t> again;
        ASSERT_EQ(ReadImage(dir.file(name).c_str(), read.get(), &again, &type, load_no_progress),
                  0);
        EXPECT_EQ(again, profile) << name;
    }
}

TEST(TemporaryFiles, FolderFromPreferenceOrSystemAndFreshNames) {
    ScratchFolder folder;
    std::string result;
    const std::string wanted = folder.file("deep/er/temp");
    ASSERT_EQ(temporary_folder(wanted + "//", &result), 0);
    EXPECT_EQ(result, wanted);
    EXPECT_TRUE(fs::is_directory(wanted));
    ASSERT_EQ(temporary_folder("", &result), 0);
    EXPECT_TRUE(fs::is_directory(result));
    // Below a plain file no folder can be made.
    put(folder.file("plain"), "x");
    result = "unchanged";
    EXPECT_EQ(temporary_folder(folder.file("plain/temp"), &result), 88);
    EXPECT_EQ(result, "unchanged");

    const std::string first = temporary_name(folder.path(), "tmp");
    put(first, "x");
    const std::string second = temporary_name(folder.path() + "/", "tif");
    EXPECT_NE(first, second);
    for (const std::string& name : {first, second}) {
        const std::string leaf = fs::path(name).filename().string();
        EXPECT_EQ(leaf.substr(0, 2), "OV");
        EXPECT_EQ(leaf.find_first_not_of("0123456789", 2), leaf.find('.')) << leaf;
        EXPECT_GT(leaf.find('.'), 2u) << leaf;
        EXPECT_EQ(fs::path(name).parent_path().string(), folder.path());
    }
    EXPECT_EQ(fs::path(second).extension(), ".tif");
}

TEST(Paths, JoinUpTo260CharactersAndMakeDeepFolders) {
    std::string result = "unchanged";
    ASSERT_TRUE(join_path("/a/b", "c.tif", &result));
    EXPECT_EQ(result, "/a/b/c.tif");
    ASSERT_TRUE(join_path("/a/b/", "c.tif", &result));
    EXPECT_EQ(result, "/a/b/c.tif");
    const std::string long_folder = "/" + std::string(250, 'f');
    ASSERT_TRUE(join_path(long_folder, std::string(8, 'n'), &result));  // 251 + 1 + 8
    EXPECT_EQ(result.size(), 260u);
    result = "unchanged";
    EXPECT_FALSE(join_path(long_folder, std::string(9, 'n'), &result));
    EXPECT_EQ(result, "unchanged");

    ScratchFolder folder;
    const std::string deep = folder.file("one/two/three/four");
    EXPECT_EQ(make_folders(deep), 0);
    EXPECT_TRUE(fs::is_directory(deep));
    EXPECT_EQ(make_folders(deep), 0);                     // existing is fine
    EXPECT_EQ(make_folders(folder.file("one/two/")), 0);  // so is a trailing separator
    put(folder.file("one/file"), "x");
    EXPECT_EQ(make_folders(folder.file("one/file/five")), 3);
    EXPECT_EQ(make_folders(""), 3);
}

}  // namespace
