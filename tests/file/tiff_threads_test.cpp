// Strips compressed and decoded on several threads: the file is the same byte
// for byte whatever the thread count, libtiff reads it back exactly, and so do
// we with any count.
#include <gtest/gtest.h>

#include <atomic>

#include "core/parallel.h"
#include "file/file_test_support.h"
#include "file/tiff_writer.h"

namespace {

using namespace file_test;

class TiffThreads : public ::testing::TestWithParam<std::tuple<int, int>> {
protected:
    void TearDown() override { parallel_set_threads(0); }
    ScratchFolder dir;
};

TEST_P(TiffThreads, SameFileAndSamePixelsWithAnyThreadCount) {
    const auto [compression, maxval] = GetParam();
    // About 2 MB of pixels: several strips of some 250 kB each, the last one short.
    const Picture picture = make_picture(701, 503, 3, maxval, 5);
    ImageHolder image;
    ASSERT_EQ(image_of(picture, image.get()), 0);
    std::vector<std::uint8_t> files[2];
    const int counts[2] = {1, 5};
    for (int k = 0; k < 2; ++k) {
        parallel_set_threads(counts[k]);
        const std::string path = dir.file(k == 0 ? "t0.tif" : "t1.tif");
        std::FILE* f = std::fopen(path.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        ASSERT_EQ(TiffWrite(f, image.get(), {}, 0, nullptr, 0, compression, false, false), 0);
        std::fclose(f);
        files[k] = read_bytes(path);
    }
    EXPECT_EQ(files[0], files[1]);

    Picture decoded;
    ASSERT_TRUE(decode_with_libtiff(dir.file("t1.tif"), &decoded));
    EXPECT_EQ(max_difference(picture, decoded), 0);
    for (const int threads : {1, 3, 8}) {
        parallel_set_threads(threads);
        ImageHolder back;
        ASSERT_EQ(read_own(dir.file("t0.tif"), back.get()), 0) << threads;
        EXPECT_EQ(max_difference(picture, picture_of(back.get())), 0) << threads;
    }
}

INSTANTIATE_TEST_SUITE_P(Compressions, TiffThreads,
                         ::testing::Combine(::testing::Values(tiff_compression_none,
                                                              tiff_compression_zip,
                                                              tiff_compression_lzw),
                                            ::testing::Values(255, 65535)));

// Every index is run once, whatever the count of threads and of indices.
TEST(ParallelFor, RunsEachIndexOnce) {
    for (const int threads : {0, 1, 2, 8}) {
        parallel_set_threads(threads);
        for (const int count : {0, 1, 7, 1000}) {
            std::vector<std::atomic<int>> seen(static_cast<std::size_t>(count));
            parallel_for(count, [&](int i) { ++seen[static_cast<std::size_t>(i)]; });
            for (int i = 0; i < count; ++i)
                ASSERT_EQ(seen[static_cast<std::size_t>(i)], 1) << threads << " " << count;
        }
    }
    parallel_set_threads(0);
    EXPECT_GE(parallel_threads(), 1);
    EXPECT_LE(parallel_threads(), parallel_max_threads);
}

}  // namespace
