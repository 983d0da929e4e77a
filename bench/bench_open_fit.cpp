// Opening a photograph into a window: a 6000 x 4000 JPEG (24 megapixels, quality
// 90) read with ReadImage into a window record, then its view copy and display
// copy built at the zoom that fits a 1600 x 1000 work area, as an image window
// does when it first shows a file. djpeg's decoding of the same file to
// /dev/null is timed beside it for scale.
//
// The fit follows the image window's rule: the largest zoom, stepping out
// from 1:1, at which the picture plus its border on each side fits the area.
// The window frame is left out: its size depends on the desktop's style.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

#include "core/image.h"
#include "core/preferences.h"
#include "core/window_record.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/write_image.h"
#include "core/view_update.h"

#include "bench_common.h"

namespace {

using bench::Clock;
using bench::median;
using bench::seconds_since;

constexpr int width = 6000;
constexpr int height = 4000;
constexpr int area_width = 1600;
constexpr int area_height = 1000;
constexpr int rounds = 5;

// Smooth gradients, a few hard edges and some noise, like a photograph: enough
// detail that the JPEG is of a photograph's size, not a flat picture's.
void fill_photo_like(Image* image) {
    std::mt19937 rng(1);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* line = image->rows[y];
        for (int x = 0; x < width; ++x) {
            int base = ((x / 3 + y / 2) % 160) + 40;
            if ((x / 250 + y / 170) % 4 == 0) base = 255 - base;
            for (int c = 0; c < 3; ++c) {
                const int v = base + c * 20 + static_cast<int>(rng() & 15) - 8;
                line[3 * x + c] = static_cast<std::uint8_t>(std::clamp(v, 0, 255));
            }
        }
    }
}

// The zoom of a fitted window: from 1:1 outwards until the picture and
// `extra` fit, never below one pixel.
int fitted_zoom(int w, int h, int extra, int area_w, int area_h) {
    int zoom = 1;
    const auto fits = [&](int z) {
        return zoomed_size(w, z) + extra <= area_w && zoomed_size(h, z) + extra <= area_h;
    };
    while (!fits(zoom) && (zoomed_size(w, zoom) > 1 || zoomed_size(h, zoom) > 1))
        zoom = zoom_step_out(zoom);
    return zoom;
}

// The geometry of a window that shows the whole picture at `zoom`, then both
// screen copies.
int show_fitted(WindowRecord* record, int zoom) {
    record->zoom = zoom;
    record->view_x1 = 0;
    record->view_y1 = 0;
    record->view_width = zoomed_size(record->image.width, zoom);
    record->view_height = zoomed_size(record->image.height, zoom);
    record->view_x2 = record->view_width - 1;
    record->view_y2 = record->view_height - 1;
    record->scroll_max_x = 0;
    record->scroll_max_y = 0;
    view_to_picture_rect(record);
    return view_update(record, preferences().smoothzoomflag);
}

}  // namespace

int main() {
    const std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                      ("orvane_bench_open_fit_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const std::string path = (dir / "photo.jpg").string();
    int failures = 0;

    {
        ImageHolder picture;
        if (image_alloc(picture.get(), image_type_colour8, width, height, 300.0) != 0) {
            std::fprintf(stderr, "bench_open_fit: no memory for the test picture\n");
            return 1;
        }
        fill_photo_like(picture.get());
        SaveOptions options;
        options.jpeg_quality = 90;
        options.progress = false;
        if (WriteImage(path.c_str(), save_filter_jpeg, picture.get(), {}, options) != 0) {
            std::fprintf(stderr, "bench_open_fit: cannot write %s\n", path.c_str());
            return 1;
        }
    }

    window_record_table_init();
    const int border = preferences().border_width;
    std::vector<double> reads, views, totals, tool;
    int zoom = 0;
    int view_w = 0;
    int view_h = 0;
    for (int round = 0; round < rounds; ++round) {
        int slot = -1;
        WindowRecord* record = nullptr;
        if (window_record_take(&slot, &record) != 0) return 1;
        std::vector<std::uint8_t> profile;
        int file_type = 0;
        const auto start = Clock::now();
        failures += ReadImage(path.c_str(), &record->image, &profile, &file_type,
                              load_no_progress | load_no_comments) != 0;
        const double read = seconds_since(start);
        const auto view_start = Clock::now();
        zoom = fitted_zoom(record->image.width, record->image.height, 2 * border, area_width,
                           area_height);
        failures += show_fitted(record, zoom) != 0 || record->display_copy.type == 0;
        const double view = seconds_since(view_start);
        totals.push_back(seconds_since(start));
        reads.push_back(read);
        views.push_back(view);
        view_w = record->display_copy.width;
        view_h = record->display_copy.height;
        window_record_release(slot);

        const auto tool_start = Clock::now();
        failures += std::system(("djpeg -outfile /dev/null " + path).c_str()) != 0;
        tool.push_back(seconds_since(tool_start));
    }

    std::printf("Open and fit, %d x %d JPEG quality 90 (%.1f MB), work area %d x %d\n", width,
                height, std::filesystem::file_size(path) / 1e6, area_width, area_height);
    std::printf("zoom %d, view %d x %d, %d rounds\n", zoom, view_w, view_h, rounds);
    std::printf("%-28s %10s %10s\n", "", "median (s)", "best (s)");
    std::printf("%-28s %10.3f %10.3f\n", "ReadImage", median(reads),
                *std::min_element(reads.begin(), reads.end()));
    std::printf("%-28s %10.3f %10.3f\n", "view and display copies", median(views),
                *std::min_element(views.begin(), views.end()));
    std::printf("%-28s %10.3f %10.3f\n", "open and fit", median(totals),
                *std::min_element(totals.begin(), totals.end()));
    std::printf("%-28s %10.3f %10.3f\n", "djpeg to /dev/null", median(tool),
                *std::min_element(tool.begin(), tool.end()));

    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    if (failures) std::fprintf(stderr, "bench_open_fit: %d steps failed\n", failures);
    return failures ? 1 : 0;
}
