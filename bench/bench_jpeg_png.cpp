// JPEG and PNG read and write speed on a 6000 x 4000 8-bit colour picture,
// the size of a 24-megapixel photograph, beside libjpeg-turbo's djpeg and
// cjpeg and netpbm's pngtopnm and pnmtopng on the same files in the same run.
// The tools also read or write a PPM file, which costs them a little more.
// When reading, the tools stream to /dev/null while we fill a 72 MB Image: on
// machines where first touches of fresh memory are slow that is a good part
// of our time.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

#include "core/image.h"
#include "file/read_image.h"
#include "file/write_image.h"

#include "bench_common.h"

namespace {

using bench::Clock;
using bench::seconds_since;
using bench::timed_command;

constexpr int width = 6000;
constexpr int height = 4000;

// Smooth gradients with some noise, like a photograph.
void fill_photo_like(Image* image) {
    std::mt19937 rng(1);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* line = image->rows[y];
        for (int x = 0; x < width; ++x) {
            const int base = ((x / 3 + y / 2) % 160) + 40;
            for (int c = 0; c < 3; ++c)
                line[3 * x + c] = static_cast<std::uint8_t>(base + c * 20 + (rng() & 15));
        }
    }
}

// The picture as a PPM file for the tools: top line first, red, green, blue.
bool write_ppm(const std::string& path, const Image* image) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    std::fprintf(f, "P6\n%d %d\n255\n", image->width, image->height);
    std::vector<std::uint8_t> line(static_cast<std::size_t>(image->width) * 3);
    for (int y = image->height - 1; y >= 0; --y) {
        const std::uint8_t* bgr = image->rows[y];
        for (int x = 0; x < image->width; ++x) {
            line[3 * x] = bgr[3 * x + 2];
            line[3 * x + 1] = bgr[3 * x + 1];
            line[3 * x + 2] = bgr[3 * x];
        }
        std::fwrite(line.data(), 1, line.size(), f);
    }
    return std::fclose(f) == 0;
}

}  // namespace

int main() {
    const std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                      ("orvane_bench_jpeg_png_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    auto file = [&](const std::string& name) { return (dir / name).string(); };

    ImageHolder image;
    if (image_alloc(image.get(), image_type_colour8, width, height, 300.0) != 0) {
        std::fprintf(stderr, "bench_jpeg_png: no memory for the test picture\n");
        return 1;
    }
    fill_photo_like(image.get());
    SaveOptions options;
    options.progress = false;
    int failures = 0;

    std::printf("JPEG and PNG, %d x %d 8-bit colour\n", width, height);
    std::printf("%-24s %10s %10s %10s\n", "", "ours (s)", "tool (s)", "file (MB)");

    // Writing: ours from memory, the tool from a PPM file.
    auto start = Clock::now();
    failures += WriteImage(file("ours.jpg").c_str(), 2, image.get(), {}, options) != 0;
    const double jpeg_write = seconds_since(start);
    failures += !write_ppm(file("source.ppm"), image.get());
    const double cjpeg = timed_command("cjpeg -quality 97 -sample 1x1 -outfile " +
                                       file("cjpeg.jpg") + " " + file("source.ppm"));
    std::printf("%-24s %10.3f %10.3f %10.1f\n", "JPEG write, quality 97", jpeg_write, cjpeg,
                std::filesystem::file_size(file("ours.jpg")) / 1e6);

    start = Clock::now();
    failures += WriteImage(file("ours.png").c_str(), 8, image.get(), {}, options) != 0;
    const double png_write = seconds_since(start);
    const double pnmtopng =
        timed_command("pnmtopng " + file("source.ppm") + " > " + file("pnmtopng.png"));
    std::printf("%-24s %10.3f %10.3f %10.1f\n", "PNG write", png_write, pnmtopng,
                std::filesystem::file_size(file("ours.png")) / 1e6);

    // Reading: the open of a photograph, with no progress display.
    struct Read {
        const char* name;
        std::string path;
        std::string tool;
    };
    const Read reads[] = {
        {"JPEG read", file("ours.jpg"), "djpeg -outfile /dev/null " + file("ours.jpg")},
        {"PNG read", file("ours.png"), "pngtopnm " + file("ours.png") + " > /dev/null"},
    };
    for (const Read& r : reads) {
        ImageHolder back;
        std::vector<std::uint8_t> profile;
        int code = 0;
        start = Clock::now();
        failures += ReadImage(r.path.c_str(), back.get(), &profile, &code, load_no_progress) != 0;
        const double ours = seconds_since(start);
        const double tool = timed_command(r.tool);
        failures += tool < 0;
        std::printf("%-24s %10.3f %10.3f\n", r.name, ours, tool);
    }

    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    if (failures) std::fprintf(stderr, "bench_jpeg_png: %d steps failed\n", failures);
    return failures ? 1 : 0;
}
