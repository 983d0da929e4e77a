#include "file/safe_write.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "file/file_test_support.h"

namespace fs = std::filesystem;
using file_test::read_bytes;
using file_test::ScratchFolder;
using file_test::write_bytes;

namespace {

const std::vector<std::uint8_t> original_bytes = {'o', 'r', 'i', 'g', 'i', 'n', 'a', 'l', 0, 255};
const std::vector<std::uint8_t> new_bytes = {'n', 'e', 'w', ' ', 'f', 'i', 'l', 'e'};

// Names in the folder, sorted.
std::vector<std::string> listing(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

void touch(const std::string& path) {
    write_bytes(path, {1});
}

TEST(UniqueName, NumbersSiblingsOfAnExistingFile) {
    ScratchFolder folder;
    const std::string target = folder.file("picture.tif");
    EXPECT_EQ(unique_name(target, 2), target);  // nothing to avoid yet
    touch(target);
    EXPECT_EQ(unique_name(target, 2), folder.file("picture-1.tif"));
    EXPECT_EQ(unique_name(target, 1), folder.file("picture[1].tif"));
    touch(folder.file("picture-1.tif"));
    touch(folder.file("picture-2.tif"));
    touch(folder.file("picture-4.tif"));
    EXPECT_EQ(unique_name(target, 2), folder.file("picture-3.tif"));
    EXPECT_EQ(unique_name(target, 1), folder.file("picture[1].tif"));
}

TEST(UniqueName, AllNinetyNineTakenGivesTheNameItself) {
    ScratchFolder folder;
    const std::string target = folder.file("a.b.jpg");
    touch(target);
    for (int i = 1; i <= 99; ++i)
        touch(folder.file("a.b-" + std::to_string(i) + ".jpg"));
    EXPECT_EQ(unique_name(target, 2), target);
    EXPECT_EQ(unique_name(target, 1), folder.file("a.b[1].jpg"));
}

TEST(UniqueName, NoExtensionAndLengthLimit) {
    ScratchFolder folder;
    const std::string plain = folder.file("README");
    touch(plain);
    EXPECT_EQ(unique_name(plain, 2), folder.file("README-1"));
    // A folder with a dot does not lend its dot to the name.
    fs::create_directory(folder.file("d.x"));
    touch(folder.file("d.x/name"));
    EXPECT_EQ(unique_name(folder.file("d.x/name"), 2), folder.file("d.x/name-1"));

    // 260 characters is the longest proposal; one more keeps the name itself.
    const std::string base = folder.path() + "/";
    const std::size_t fill = 260 - base.size() - std::string("-1.tif").size();
    const std::string at_limit = base + std::string(fill, 'n') + ".tif";
    touch(at_limit);
    EXPECT_EQ(unique_name(at_limit, 2).size(), 260u);
    const std::string over = base + std::string(fill + 1, 'n') + ".tif";
    touch(over);
    EXPECT_EQ(unique_name(over, 2), over);
}

TEST(SafeReplace, ReplacesThroughASibling) {
    ScratchFolder folder;
    const std::string target = folder.file("picture.png");
    write_bytes(target, original_bytes);
    std::string written_to;
    const int err = safe_replace(target, [&](const std::string& path) {
        written_to = path;
        write_bytes(path, new_bytes);
        return 0;
    });
    EXPECT_EQ(err, 0);
    EXPECT_EQ(written_to, folder.file("picture-1.png"));
    EXPECT_EQ(read_bytes(target), new_bytes);
    EXPECT_EQ(listing(folder.path()), std::vector<std::string>{"picture.png"});

    // A new file is written under its own name.
    const std::string fresh = folder.file("fresh.png");
    EXPECT_EQ(safe_replace(fresh,
                           [&](const std::string& path) {
                               written_to = path;
                               write_bytes(path, new_bytes);
                               return 0;
                           }),
              0);
    EXPECT_EQ(written_to, fresh);
    EXPECT_EQ(read_bytes(fresh), new_bytes);
}

TEST(SafeReplace, AWriteThatFailsHalfWayLeavesTheOriginal) {
    ScratchFolder folder;
    const std::string target = folder.file("picture.jpg");
    write_bytes(target, original_bytes);
    // The disk fills up after part of the file.
    const int err = safe_replace(target, [&](const std::string& path) {
        write_bytes(path, std::vector<std::uint8_t>(5000, 7));
        return 6;
    });
    EXPECT_EQ(err, 6);
    EXPECT_EQ(read_bytes(target), original_bytes);
    EXPECT_EQ(listing(folder.path()), std::vector<std::string>{"picture.jpg"});
}

TEST(SafeReplace, AFolderThatRefusesNewFilesLeavesTheOriginal) {
    ScratchFolder folder;
    const std::string target = folder.file("picture.tif");
    write_bytes(target, original_bytes);
    // A writer that cannot create its file, as in a read-only folder.
    int calls = 0;
    EXPECT_EQ(safe_replace(target,
                           [&](const std::string&) {
                               ++calls;
                               return 3;
                           }),
              3);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(read_bytes(target), original_bytes);
    EXPECT_EQ(listing(folder.path()), std::vector<std::string>{"picture.tif"});
}

TEST(SafeReplace, ARealReadOnlyFolder) {
    if (geteuid() == 0) GTEST_SKIP() << "permissions do not bind the super-user";
    ScratchFolder folder;
    const std::string target = folder.file("picture.tif");
    write_bytes(target, original_bytes);
    fs::permissions(folder.path(), fs::perms::owner_write, fs::perm_options::remove);
    const int err = safe_replace(target, [](const std::string& path) {
        std::FILE* f = std::fopen(path.c_str(), "wb");
        if (!f) return 3;
        std::fclose(f);
        return 0;
    });
    fs::permissions(folder.path(), fs::perms::owner_write, fs::perm_options::add);
    EXPECT_EQ(err, 3);
    EXPECT_EQ(read_bytes(target), original_bytes);
}

TEST(SafeReplace, ARenameThatFailsKeepsTheOriginal) {
    ScratchFolder folder;
    // The destination is a folder that is not empty: no file can replace it.
    const std::string target = folder.file("picture.tif");
    fs::create_directory(target);
    touch(target + "/inside");
    EXPECT_EQ(safe_replace(target,
                           [&](const std::string& path) {
                               write_bytes(path, new_bytes);
                               return 0;
                           }),
              6);
    EXPECT_TRUE(fs::is_directory(target));
    EXPECT_EQ(listing(folder.path()), std::vector<std::string>{"picture.tif"});
}

TEST(TemporaryFiles, FolderFromPreferenceOrSystem) {
    ScratchFolder folder;
    std::string result;
    const std::string wanted = folder.file("deep/er/temp");
    ASSERT_EQ(temporary_folder(wanted + "//", &result), 0);
    EXPECT_EQ(result, wanted);
    EXPECT_TRUE(fs::is_directory(wanted));
    ASSERT_EQ(temporary_folder("", &result), 0);
    EXPECT_TRUE(fs::is_directory(result));

    // Below a plain file no folder can be made.
    touch(folder.file("plain"));
    result = "unchanged";
    EXPECT_EQ(temporary_folder(folder.file("plain/temp"), &result), 88);
    EXPECT_EQ(result, "unchanged");
}

TEST(TemporaryFiles, NamesAreFreshAndOfTheirForm) {
    ScratchFolder folder;
    const std::string first = temporary_name(folder.path(), "tmp");
    touch(first);
    const std::string second = temporary_name(folder.path() + "/", "tif");
    EXPECT_NE(first, second);
    for (const std::string& name : {first, second}) {
        const std::string leaf = fs::path(name).filename().string();
        ASSERT_GT(leaf.size(), 6u);
        EXPECT_EQ(leaf.substr(0, 2), "OV");
        const std::size_t dot = leaf.find('.');
        ASSERT_NE(dot, std::string::npos);
        EXPECT_EQ(leaf.find_first_not_of("0123456789", 2), dot) << leaf;
        EXPECT_EQ(fs::path(name).parent_path().string(), folder.path());
    }
    EXPECT_EQ(fs::path(second).extension(), ".tif");
}

TEST(Paths, JoinUpTo260Characters) {
    std::string result = "unchanged";
    ASSERT_TRUE(join_path("/a/b", "c.tif", &result));
    EXPECT_EQ(result, "/a/b/c.tif");
    ASSERT_TRUE(join_path("/a/b/", "c.tif", &result));
    EXPECT_EQ(result, "/a/b/c.tif");
    const std::string folder = "/" + std::string(250, 'f');
    ASSERT_TRUE(join_path(folder, std::string(8, 'n'), &result));  // 251 + 1 + 8
    EXPECT_EQ(result.size(), 260u);
    result = "unchanged";
    EXPECT_FALSE(join_path(folder, std::string(9, 'n'), &result));
    EXPECT_EQ(result, "unchanged");
}

TEST(Paths, DeepFoldersAreMadeComponentByComponent) {
    ScratchFolder folder;
    const std::string deep = folder.file("one/two/three/four");
    EXPECT_EQ(make_folders(deep), 0);
    EXPECT_TRUE(fs::is_directory(deep));
    EXPECT_EQ(make_folders(deep), 0);                     // existing is fine
    EXPECT_EQ(make_folders(folder.file("one/two/")), 0);  // so is a trailing separator
    touch(folder.file("one/file"));
    EXPECT_EQ(make_folders(folder.file("one/file/five")), 3);
    EXPECT_EQ(make_folders(""), 3);
}

}  // namespace
