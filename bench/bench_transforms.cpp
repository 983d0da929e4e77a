// The transformations beside the peers a photographer would use: orvane-batch
// apply against libvips (the same 65536-entry table through `vips maplut`,
// `gaussblur` at the double box's spread, `rank`, `sharpen`, `resize`) and ImageMagick
// (-gamma, -level, -blur, -statistic Median, -unsharp, -resize; crop, rotate and -distort
// SRT for Crop/Add Border), whole processes on 6000 x 4000 8-bit and
// 16-bit uncompressed TIFFs; ours and vips median of three, ImageMagick once
// (it takes long at large radii). Then what a photographer feels in the
// editor: a parameter change to a finished preview of the 16-bit picture
// fitted to a screen, through the compute routine with no window, median of
// eleven. Words on the command line pick rows: `bench_transforms Zones`.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "core/image.h"
#include "file/read_image.h"
#include "file/tiff_writer.h"
#include "transform/registry.h"
#include "transform/transform.h"
#include "transform/wavelet.h"

#include "bench_common.h"

namespace {

// A 65536 x 1 gray 16-bit picture holding table[i] at x = i, as vips maplut reads it.
bool write_lut(const std::string& path, double (*f)(double)) {
    ImageHolder lut;
    if (image_alloc(lut.get(), image_type_gray16, 65536, 1, 72.0) != 0) return false;
    auto* row = reinterpret_cast<std::uint16_t*>(lut->rows[0]);
    for (int i = 0; i < 65536; ++i)
        row[i] = static_cast<std::uint16_t>(std::clamp(std::floor(65535 * f(i / 65535.0) + 0.5), 0.0, 65535.0));
    return bench::write_tiff(path, lut.get(), tiff_compression_none);
}

double gamma_half(double v) {
    return std::pow(v, 0.5);
}
// The levels stretch of a straight curve from (30, 0) to (220, 255).
double levels(double v) {
    const double lo = (30 * 65535 + 127) / 255 / 65535.0, hi = (220 * 65535 + 127) / 255 / 65535.0;
    return std::clamp((v - lo) / (hi - lo), 0.0, 1.0);
}

// One preview of the whole picture reduced by 4, as a fitted window shows it.
double preview_time(const TransformDescriptor& d, void* params, const WindowRecord& input) {
    ImageHolder out;
    ComputeArgs args;
    args.input = &input;
    args.output = out.get();
    args.params = params;
    args.zoom = -4;
    args.width = bench::width / 4;
    args.height = bench::height / 4;
    args.region_x2 = args.width - 1;
    args.region_y2 = args.height - 1;
    args.line_width = args.width;
    args.line_count = args.height;
    const auto start = bench::Clock::now();
    if (d.compute(args) != 0) return -1;
    return bench::seconds_since(start);
}

// A parameter change to a finished preview: the picture is in memory, as in
// the editor; each run uses another curve, so no table is reused.
void preview_table(WindowRecord& big) {
    std::printf("\nPreview of the whole picture at 1:4 (1500 x 1000) after a change, median of 11\n");
    for (const char* title :
         {"Brightness Curve", "Gamma Adjust", "Color Curves", "Levels and Color", "Blur", "Sharpen"}) {
        const TransformDescriptor& d = *transform_find_title(title)->descriptor;
        ParamBlock params;
        if (params.allocate(d) != 0) return;
        std::vector<double> times;
        for (int run = 0; run < 11; ++run) {
            if (const TransformField* k = field_find(d.fields, "kernel")) {
                k->set(params.get(), 2);  // Gaussian, or Unsharp Mask
                field_find(d.fields, "radius")->set(params.get(), 5 + run);
            } else if (const TransformField* mid = field_find(d.fields, "midtones")) {
                mid->set(params.get(), run * 5);
            } else if (const TransformField* f = field_find(d.fields, "curve")) {
                Curve& curve = *f->curve(params.get());
                curve_reset(curve);
                (void)curve_add_point(curve, 100 + run, 140);
            } else {
                field_find(d.fields, "factor")->set(params.get(), 300 + run);
            }
            times.push_back(preview_time(d, params.get(), big));
        }
        std::printf("%-24s %8.1f ms\n", title, 1000 * bench::median(times));
    }
}

// 3-Zone Adjustment on the 16-bit picture in memory: the apply, the first
// preview of a 1600 x 1000 view at 1:1 (which builds the cached stages), and
// the preview again after one shadow slider moves, on the Blend page (one zone
// image rebuilt) and on the Shadow page (no full-size stage at all).
void bench_zones(const WindowRecord& big) {
    const TransformDescriptor& d = *transform_find_title("3-Zone Adjustment")->descriptor;
    ParamBlock params;
    if (params.allocate(d) != 0) return;
    auto set = [&](const char* keyword, int v) { field_find(d.fields, keyword)->set(params.get(), v); };
    set("highlight_brightness", -60);
    set("midtone_contrast", 40);
    set("amount_midtone_highlight", 80);
    ImageHolder out;
    auto start = bench::Clock::now();
    if (transform_compute_image(d, params.get(), const_cast<Image*>(&big.image), out.get()) != 0) return;
    const double apply = bench::seconds_since(start);
    auto view = [&]() {
        ImageHolder shown;
        ComputeArgs args;
        args.input = &big;
        args.output = shown.get();
        args.params = params.get();
        args.zoom = 1;
        args.width = 1600;
        args.height = 1000;
        args.source_x = 2000;
        args.source_y = 1500;
        args.region_x2 = 1599;
        args.region_y2 = 999;
        args.line_width = 1600;
        args.line_count = 1000;
        const auto t = bench::Clock::now();
        if (d.compute(args) != 0) return -1.0;
        return bench::seconds_since(t);
    };
    set("panel", 3);
    set("mode", 3);
    const double first = view();
    std::vector<double> blend_page, zone_page;
    for (int run = 0; run < 5; ++run) {
        set("shadow_brightness", 20 + run);
        blend_page.push_back(view());
    }
    set("panel", 1);
    for (int run = 0; run < 5; ++run) {
        set("shadow_brightness", 40 + run);
        zone_page.push_back(view());
    }
    std::printf("\n3-Zone Adjustment, %d x %d 16-bit colour in memory\n", bench::width, bench::height);
    std::printf("%-44s %8.2f s\n", "apply", apply);
    std::printf("%-44s %8.2f s\n", "first preview, 1600 x 1000 at 1:1", first);
    const double again = bench::median(blend_page);
    std::printf("%-44s %8.1f ms (%.3f of the apply)\n", "shadow slider, Blend page, median of 5",
                1000 * again, again / apply);
    std::printf("%-44s %8.1f ms\n", "shadow slider, Shadow page, median of 5",
                1000 * bench::median(zone_page));
}

}  // namespace

// With words on the command line only the cases whose names hold one of them
// run: `bench_transforms Levels Gamma`; "Preview" picks the preview timings, "Zones" the 3-Zone table.
int main(int argc, char** argv) {
    const std::vector<std::string> wanted(argv + 1, argv + argc);
    auto picked = [&](const std::string& name) {
        if (wanted.empty()) return true;
        for (const std::string& w : wanted)
            if (name.find(w) != std::string::npos) return true;
        return false;
    };
    const bool vips = std::system("command -v vips > /dev/null") == 0;
    const bool magick = std::system("command -v convert > /dev/null") == 0;
    const std::filesystem::path self = std::filesystem::canonical(argv[0]);
    const std::string batch = (self.parent_path().parent_path() / "orvane-batch").string();
    const std::string sample =
        (std::filesystem::path(ORVANE_SOURCE_DIR) / "samples" / "chelsea-16bit.tif").string();
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("orvane_bench_transforms_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    auto file = [&](const std::string& name) { return (dir / name).string(); };

    ImageHolder small, big8;
    WindowRecord big{};
    image_init(&big.image);
    int file_type = 0;
    if (ReadImage(sample.c_str(), small.get(), nullptr, &file_type, load_no_progress) != 0 ||
        image_alloc(&big.image, image_type_colour16, bench::width, bench::height, 300.0) != 0) {
        std::fprintf(stderr, "bench_transforms: cannot make the test picture from %s\n",
                     sample.c_str());
        return 1;
    }
    bench::enlarge(small.get(), &big.image);
    if (!bench::write_tiff(file("16.tif"), &big.image, tiff_compression_none) ||
        image_to_colour8_from16(&big.image, big8.get(), false) != 0 ||
        !bench::write_tiff(file("8.tif"), big8.get(), tiff_compression_none) ||
        !write_lut(file("gamma.tif"), gamma_half) || !write_lut(file("levels.tif"), levels)) {
        std::fprintf(stderr, "bench_transforms: cannot write the test files in %s\n", dir.c_str());
        return 1;
    }
    image_free(big8.get());
    if (std::system("sync") != 0) return 1;

    struct Case {
        std::string name;
        std::string ours;    // orvane-batch apply's words, before IN OUT
        std::string vips;    // vips's command, IN and OUT standing as {in} {out}
        std::string magick;  // ImageMagick's options between IN and OUT
        bool wide_only = false;  // 16-bit only
    };
    std::vector<Case> cases = {
        {"Gamma Adjust", "'Gamma Adjust' out_in_gamma 0.5 3", "maplut {in} {out} " + file("gamma.tif"),
         "-gamma 2"},
        {"Brightness Curve (RGB)",
         "'Brightness Curve' n_style_hist_clr 2 1 0 2 x_curve 2 30 220 y_curve 2 0 255",
         "maplut {in} {out} " + file("levels.tif"), "-level 11.7647%,86.2745%"},
        {"Levels and Color", "'Levels and Color' dynamic_range 30 220 0 255",
         "maplut {in} {out} " + file("levels.tif"), "-level 11.7647%,86.2745%"},
        {"Median 3x3", "Blur rad_thresh_kernal 1 255 4", "rank {in} {out} 3 3 4",
         "-statistic Median 3x3"},
        // Different arithmetic on each side: a timing only.
        {"Unsharp Mask r 2", "Sharpen radius_threshold_kernal 2 0 2", "sharpen {in} {out}",
         "-unsharp 0x2"},
        // Lanczos 6x6 is ours nearest to a 3-lobe Lanczos; reduction clamps
        // its weights, so the pixels differ.
        {"Resize 50% Lanczos 6x6", "Resize size_mode 0 0 percent 50 method_editunits 4 0",
         "resize {in} {out} 0.5 --kernel lanczos3", "-filter Lanczos -resize 50%"},
        {"Resize 200% Bicubic", "Resize size_mode 0 0 percent 200 method_editunits 2 0",
         "resize {in} {out} 2 --kernel cubic", "-filter Catrom -resize 200%"},
    };
    // No vips peer; ImageMagick's wavelet denoise fails on 24 megapixels
    // ("memory allocation failed"), so it stands beside us on a quarter below.
    cases.push_back(
        {"Noise Reduction 8 levels", "'Noise Reduction' thresh_levels 2000 7", "", "", true});
    cases.push_back(
        {"Noise Reduction 1 level", "'Noise Reduction' thresh_levels 2000 0", "", "", true});
    // Crop, plain and with a 3 degree turn and a soft oval: vips and
    // ImageMagick turn and cut only (a timing only).
    cases.push_back({"Crop 5000 x 3200", "'Crop/Add Border' cdims 500 400 5499 3599",
                     "crop {in} {out} 500 400 5000 3200", "-crop 5000x3200+500+400 +repage"});
    cases.push_back({"Crop turned 3, soft oval",
                     "'Crop/Add Border' cdims 500 400 5499 3599 fparams 3 20 0 0 0 flags 1",
                     "rotate {in} " + file("turned.v") + " 3 && vips crop " + file("turned.v") +
                         " {out} 600 550 5000 3200",
                     "-distort SRT 3 -crop 5000x3200+500+400 +repage"});
    for (int r : {2, 10, 50}) {
        // The double box of radius r spreads as a Gaussian of this sigma.
        char sigma[32];
        std::snprintf(sigma, sizeof sigma, "%.2f", std::sqrt(2.0 * r * (r + 1) / 3));
        cases.push_back({"Gaussian r " + std::to_string(r) + " (sigma " + sigma + ")",
                         "Blur rad_thresh_kernal " + std::to_string(r) + " 255 2",
                         std::string("gaussblur {in} {out} ") + sigma, std::string("-blur 0x") + sigma});
    }
    auto fill = [](std::string text, const std::string& in, const std::string& out) {
        for (auto [key, value] : {std::pair{std::string("{in}"), in}, std::pair{std::string("{out}"), out}})
            text.replace(text.find(key), key.size(), value);
        return text;
    };
    std::printf("orvane-batch apply beside libvips and ImageMagick, %d x %d colour, %u cores\n",
                bench::width, bench::height, std::thread::hardware_concurrency());
    std::printf("%-34s %9s %9s %9s %11s\n", "", "ours (s)", "vips (s)", "IM (s)", "ours/vips");
    int status = 0;
    for (const char* depth : {"8", "16"}) {
        const std::string in = file(std::string(depth) + ".tif"), out = file("out.tif");
        for (const Case& c : cases) {
            if (!picked(c.name)) continue;
            if (c.wide_only && std::string(depth) == "8") continue;
            const auto [ours, theirs] = bench::medians_of_three(
                batch + " apply " + c.ours + " " + in + " " + out,
                vips && !c.vips.empty() ? "vips " + fill(c.vips, in, out) : "false");
            const double im = magick && !c.magick.empty()
                                  ? bench::timed_command("convert " + in + " " + c.magick + " " +
                                                         out + " > /dev/null 2>&1")
                                  : -1;
            const std::string name = c.name + ", " + depth + "-bit";
            if (ours < 0) {
                std::printf("%-34s failed\n", name.c_str());
                status = 1;
                continue;
            }
            if (c.vips.empty()) {  // no peer here
                std::printf("%-34s %9.2f %9s %9s %11s\n", name.c_str(), ours, "-", "-", "-");
                continue;
            }
            std::printf("%-34s %9.2f %9.2f %9.2f %10.2fx\n", name.c_str(), ours, theirs, im,
                        theirs > 0 ? ours / theirs : 0.0);
        }
    }

    // Noise Reduction beside ImageMagick's -wavelet-denoise (other arithmetic:
    // a timing only) on the lower left quarter, 3000 x 2000 16-bit.
    if (magick && picked("Noise Reduction")) {
        ImageHolder quarter;
        if (image_alloc(quarter.get(), image_type_colour16, bench::width / 2, bench::height / 2,
                        300.0) != 0)
            return 1;
        for (int y = 0; y < quarter->height; ++y)
            std::copy_n(big.image.rows[y], image_line_bytes(quarter.get()), quarter->rows[y]);
        const std::string in = file("16q.tif"), out = file("out.tif");
        if (!bench::write_tiff(in, quarter.get(), tiff_compression_none)) return 1;
        const auto [ours, theirs] = bench::medians_of_three(
            batch + " apply 'Noise Reduction' thresh_levels 2000 7 " + in + " " + out,
            "convert " + in + " -wavelet-denoise 5% " + out);
        std::printf("\n%-34s %9s %9s %11s\n", "3000 x 2000, 16-bit", "ours (s)", "IM (s)",
                    "ours/IM");
        std::printf("%-34s %9.2f %9.2f %10.2fx\n", "Noise Reduction 8 levels", ours, theirs,
                    theirs > 0 ? ours / theirs : 0.0);
    }

    // The wavelet alone, in memory: the time of one level of 16-bit colour.
    if (picked("Noise Reduction")) {
        double at[2];
        for (int k = 0; k < 2; ++k) {
            ImageHolder out;
            const auto start = bench::Clock::now();
            if (wavelet_denoise_image(&big.image, out.get(), {2000, k ? 8 : 1, false, 0.0}, {}) !=
                0)
                return 1;
            at[k] = bench::seconds_since(start);
        }
        std::printf(
            "\nWavelet in memory, 16-bit colour: 1 level %.2f s, 8 levels %.2f s, %.3f s a level\n",
            at[0], at[1], (at[1] - at[0]) / 7);
    }
    if (picked("Preview")) preview_table(big);
    if (picked("Zones")) bench_zones(big);
    image_free(&big.image);
    if (!std::getenv("ORVANE_BENCH_KEEP")) std::filesystem::remove_all(dir);
    return status;
}

