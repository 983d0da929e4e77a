// Saving onto a disk that fills up half way: the writers' real error paths,
// with the file size limit standing in for the full disk.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/image.h"
#include "file/file_test_support.h"
#include "file/file_types.h"
#include "file/write_image.h"

using file_test::image_of;
using file_test::make_picture;
using file_test::read_bytes;
using file_test::ScratchFolder;
using file_test::write_bytes;

namespace {

// Runs WriteImage in a child process whose files may not grow past `limit`
// bytes, and returns the child's result (-1 if it did not end normally).
int write_with_size_limit(const std::string& path, int filter, const Image* image, rlim_t limit) {
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);  // a write past the limit then fails with EFBIG
        rlimit r{limit, limit};
        setrlimit(RLIMIT_FSIZE, &r);
        SaveOptions options;
        options.progress = false;
        const int err = WriteImage(path.c_str(), filter, image, {}, options);
        _exit(err & 0xFF);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

}  // namespace

TEST(FullDisk, AFailedSaveLeavesTheOriginalWhole) {
    ScratchFolder folder;
    ImageHolder image;
    image_of(make_picture(900, 700, 3, 255, 5), image.get());
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
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            names.push_back(entry.path().filename().string());
        EXPECT_EQ(names, std::vector<std::string>{"picture"});
        // With room enough the same save goes through.
        EXPECT_EQ(write_with_size_limit(target, filter, image.get(), RLIM_INFINITY), 0);
        EXPECT_NE(read_bytes(target), original);
    }
}
