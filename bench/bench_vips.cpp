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

constexpr int width = 6000;
constexpr int height = 4000;

// Bilinear enlargement of a 16-bit colour picture, plus grain.
void enlarge(const Image* small, Image* big) {
    std::mt19937 rng(7);
    const double sx = (small->width - 1.0) / (width - 1.0);
    const double sy = (small->height - 1.0) / (height - 1.0);
    for (int y = 0; y < height; ++y) {
        const double fy = y * sy;
        const int y0 = static_cast<int>(fy);
        const int y1 = std::min(y0 + 1, small->height - 1);
        const double ty = fy - y0;
        const auto* a = reinterpret_cast<const std::uint16_t*>(small->rows[y0]);
        const auto* b = reinterpret_cast<const std::uint16_t*>(small->rows[y1]);
        auto* out = reinterpret_cast<std::uint16_t*>(big->rows[y]);
        for (int x = 0; x < width; ++x) {
            const double fx = x * sx;
            const int x0 = static_cast<int>(fx);
            const int x1 = std::min(x0 + 1, small->width - 1);
            const double tx = fx - x0;
            for (int c = 0; c < 3; ++c) {
                const double top = a[3 * x0 + c] * (1 - tx) + a[3 * x1 + c] * tx;
                const double bottom = b[3 * x0 + c] * (1 - tx) + b[3 * x1 + c] * tx;
                const double v = top * (1 - ty) + bottom * ty + static_cast<int>(rng() % 512) - 256;
                out[3 * x + c] = static_cast<std::uint16_t>(std::clamp(v, 0.0, 65535.0));
            }
        }
    }
}

bool write_tiff(const std::string& path, const Image* image, int compression) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const int err = TiffWrite(f, image, {}, 0, nullptr, 0, compression, false, false);
    return std::fclose(f) == 0 && err == 0;
}

// Both commands three times, taking turns so that they share the machine's
// moods; the medians, or -1 for a command that failed.
std::pair<double, double> medians_of_three(const std::string& ours, const std::string& theirs) {
    std::vector<double> a, b;
    for (int i = 0; i < 3; ++i) {
        a.push_back(bench::timed_command(ours + " > /dev/null 2>&1"));
        b.push_back(bench::timed_command(theirs + " > /dev/null 2>&1"));
    }
    const auto failed = [](const std::vector<double>& t) {
        return std::any_of(t.begin(), t.end(), [](double v) { return v < 0; });
    };
    return {failed(a) ? -1 : bench::median(a), failed(b) ? -1 : bench::median(b)};
}

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
    enlarge(small.get(), big.get());
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
