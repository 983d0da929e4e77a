// orvane-batch convert beside libvips' `vips copy` on the same files in the
// same run: whole processes, median of three. The picture is a real
// photograph (samples/chelsea-16bit.tif) enlarged to 6000 x 4000 with a fine
// grain, so that it compresses as photographs do.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "core/image.h"
#include "file/read_image.h"
#include "file/tiff_writer.h"

#include "bench_common.h"

namespace {

using bench::height;
using bench::width;
using bench::medians_of_three;
using bench::write_tiff;

}  // namespace

int main(int, char** argv) {
    if (std::system("command -v vips > /dev/null") != 0) {
        std::printf("vips is not installed: scripts/install-bench-deps.sh installs it\n");
        return 0;
    }
    const std::filesystem::path self = std::filesystem::canonical(argv[0]);
    const std::string batch = (self.parent_path().parent_path() / "orvane-batch").string();
    const std::string sample =
        (std::filesystem::path(ORVANE_SOURCE_DIR) / "samples" / "chelsea-16bit.tif").string();
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("orvane_bench_vips_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    auto file = [&](const std::string& name) { return (dir / name).string(); };

    ImageHolder small, big, big8;
    int file_type = 0;
    if (ReadImage(sample.c_str(), small.get(), nullptr, &file_type, load_no_progress) != 0 ||
        small->type != image_type_colour16 ||
        image_alloc(big.get(), image_type_colour16, width, height, 300.0) != 0) {
        std::fprintf(stderr, "bench_vips: cannot make the test picture from %s\n", sample.c_str());
        return 1;
    }
    bench::enlarge(small.get(), big.get());
    if (!write_tiff(file("16.tif"), big.get(), tiff_compression_none) ||
        !write_tiff(file("16zip.tif"), big.get(), tiff_compression_zip) ||
        image_to_colour8_from16(big.get(), big8.get(), false) != 0 ||
        !write_tiff(file("8.tif"), big8.get(), tiff_compression_none) ||
        std::system(("vips copy " + file("8.tif") + " " + file("8.jpg") + "[Q=97]").c_str()) != 0) {
        std::fprintf(stderr, "bench_vips: cannot write the test files in %s\n", dir.c_str());
        return 1;
    }

    // The pictures go and the test files reach the disk before anything is timed.
    image_free(small.get());
    image_free(big.get());
    image_free(big8.get());
    if (std::system("sync") != 0) return 1;
    struct Case {
        const char* name;
        std::string ours;
        std::string theirs;
    };
    const std::string out_tif = file("out.tif");
    const Case cases[] = {
        {"16-bit none read+write", batch + " convert " + file("16.tif") + " " + out_tif,
         "vips copy " + file("16.tif") + " " + out_tif},
        {"16-bit LZW write",
         batch + " convert " + file("16.tif") + " " + out_tif + " --compression lzw",
         "vips copy " + file("16.tif") + " " + out_tif + "[compression=lzw,predictor=horizontal]"},
        {"16-bit Deflate write",
         batch + " convert " + file("16.tif") + " " + out_tif + " --compression zip",
         "vips copy " + file("16.tif") + " " + out_tif +
             "[compression=deflate,predictor=horizontal]"},
        {"16-bit Deflate read", batch + " convert " + file("16zip.tif") + " " + out_tif,
         "vips copy " + file("16zip.tif") + " " + out_tif},
        {"8-bit TIFF to JPEG", batch + " convert " + file("8.tif") + " " + file("out.jpg"),
         "vips copy " + file("8.tif") + " " + file("out.jpg") + "[Q=97]"},
        {"JPEG to TIFF", batch + " convert " + file("8.jpg") + " " + out_tif,
         "vips copy " + file("8.jpg") + " " + out_tif},
    };
    std::printf("orvane-batch convert beside vips copy, %d x %d, median of three, %u cores\n",
                width, height, std::thread::hardware_concurrency());
    std::printf("%-24s %10s %10s %8s\n", "", "ours (s)", "vips (s)", "ratio");
    int status = 0;
    for (const Case& c : cases) {
        const auto [ours, theirs] = medians_of_three(c.ours, c.theirs);
        if (ours < 0 || theirs < 0) {
            std::printf("%-24s failed\n", c.name);
            status = 1;
            continue;
        }
        std::printf("%-24s %10.2f %10.2f %7.2fx\n", c.name, ours, theirs, ours / theirs);
    }
    if (!std::getenv("ORVANE_BENCH_KEEP")) std::filesystem::remove_all(dir);
    return status;
}
