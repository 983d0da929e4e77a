// TIFF read and write speed on a 6000 x 4000 16-bit colour picture, beside
// libtiff's tiffcp doing the same conversions on the same files in the same run.
//
// A conversion is a read of one file and a write of another: "none to LZW"
// reads the uncompressed file and writes it with LZW and differencing, which
// is what tiffcp -c lzw:2 does.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include <unistd.h>

#include "core/image.h"
#include "file/tiff_reader.h"
#include "file/tiff_writer.h"

#include "bench_common.h"

namespace {

using bench::Clock;
using bench::seconds_since;

constexpr int width = 6000;
constexpr int height = 4000;

// Smooth gradients with a few bits of noise, like a photograph's 16-bit data.
void fill_photo_like(Image* image) {
    std::mt19937 rng(1);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<std::uint16_t*>(image->rows[y]);
        for (int x = 0; x < width; ++x) {
            const int base = (x * 7 + y * 5) % 40000 + 8000;
            for (int c = 0; c < 3; ++c)
                line[3 * x + c] = static_cast<std::uint16_t>(base + c * 3000 + (rng() & 255));
        }
    }
}

bool write_file(const std::string& path, const Image* image, int compression) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const int err = TiffWrite(f, image, {}, 0, nullptr, 0, compression, false, false);
    return std::fclose(f) == 0 && err == 0;
}

double tiffcp(const std::string& method, const std::string& in, const std::string& out) {
    return bench::timed_command("tiffcp -c " + method + " " + in + " " + out);
}

}  // namespace

int main() {
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("orvane_bench_tiff_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    auto file = [&](const std::string& name) { return (dir / name).string(); };

    ImageHolder image;
    if (image_alloc(image.get(), image_type_colour16, width, height, 300.0) != 0) {
        std::fprintf(stderr, "bench_tiff: no memory for the test picture\n");
        return 1;
    }
    fill_photo_like(image.get());
    if (!write_file(file("none.tif"), image.get(), tiff_compression_none)) {
        std::fprintf(stderr, "bench_tiff: cannot write %s\n", file("none.tif").c_str());
        return 1;
    }

    std::printf("TIFF, %d x %d 16-bit colour (%.0f MB of pixels)\n", width, height,
                width * 6.0 * height / 1e6);
    std::printf("%-22s %10s %10s %10s\n", "", "ours (s)", "tiffcp (s)", "file (MB)");
    struct Method {
        const char* name;
        int compression;
        const char* tiffcp_method;
    };
    const Method methods[] = {{"none", tiff_compression_none, "none"},
                              {"lzw", tiff_compression_lzw, "lzw:2"},
                              {"zip", tiff_compression_zip, "zip:2"}};
    int failures = 0;
    for (const Method& m : methods) {
        const std::string ours = file(std::string("ours_") + m.name + ".tif");
        const std::string theirs = file(std::string("tiffcp_") + m.name + ".tif");

        // none to m: read the uncompressed file, write with this method.
        auto start = Clock::now();
        ImageHolder read;
        const bool ok = TiffRead(file("none.tif").c_str(), read.get(), false) == 0 &&
                        write_file(ours, read.get(), m.compression);
        const double our_write = seconds_since(start);
        const double their_write = tiffcp(m.tiffcp_method, file("none.tif"), theirs);
        std::printf("%-22s %10.3f %10.3f %10.1f\n", (std::string("none to ") + m.name).c_str(),
                    our_write, their_write, std::filesystem::file_size(ours) / 1e6);

        if (m.compression == tiff_compression_none) continue;
        // m to none: read this method's file, write it uncompressed.
        start = Clock::now();
        ImageHolder back;
        const bool back_ok = TiffRead(ours.c_str(), back.get(), false) == 0 &&
                             write_file(file("back.tif"), back.get(), tiff_compression_none);
        const double our_read = seconds_since(start);
        const double their_read = tiffcp("none", theirs, file("tiffcp_back.tif"));
        std::printf("%-22s %10.3f %10.3f\n", (std::string(m.name) + " to none").c_str(), our_read,
                    their_read);
        if (!ok || !back_ok || their_write < 0 || their_read < 0) ++failures;
    }
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    if (failures) std::fprintf(stderr, "bench_tiff: %d conversions failed\n", failures);
    return failures ? 1 : 0;
}
