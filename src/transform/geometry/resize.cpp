// Resize: a picture to new pixel dimensions, new resolution, or both, by one
// of eight size operations and one of six resampling methods. The work is the
// system's resampler (transform/resample.h); this file is its panel, its
// workflow lines and the arithmetic between typed values and pixels.
#include <cstdint>
#include <string_view>

#include "core/errors.h"
#include "core/line_access.h"
#include "transform/line_bands.h"
#include "transform/resample.h"
#include "transform/transform.h"

namespace {

// ---------------------------------------------------------------------------
// Parameters

struct ResizeParams {
    std::int32_t operation;  // ResizeOperation
    std::int32_t mode;       // second word of the operation: reserved, written as read
    std::int32_t width;      // the Width and Height boxes in pixels
    std::int32_t height;
    double percent;  // "Percent:"; "Megapixels:" for "Total image size"
    std::int32_t method;
    std::int32_t edit_units;  // of the Width and Height boxes: ResizeUnit
    double sharpen;           // a of the bicubic kernel
    double dpi;               // target resolution, in `runits`
    std::int32_t runits;      // 0 pixels an inch, 1 pixels a centimetre
    std::int32_t wunits;      // units of the read-outs of the output's size
    std::int32_t reset_resolution;
    double fwidth;  // the boxes as typed, in edit_units
    double fheight;
    // The input the panel met last, for its read-outs only.
    std::int32_t in_width, in_height, in_type;
};

using P = ResizeParams;

constexpr std::string_view operation_words[] = {
    "Enlarge/Reduce %",       "Bounding rectangle", "Fill rectangle",   "Fixed width",
    "Fixed height",           "Fixed width and height", "Total image size", "Reset resolution only"};
constexpr std::string_view method_words[] = {"Nearest Neighbor", "Bilinear",    "Bicubic",
                                             "Lanczos 4x4",      "Lanczos 6x6", "Lanczos 8x8"};
constexpr std::string_view unit_words[] = {"pixels", "inches", "cm", "mm"};
constexpr std::string_view runit_words[] = {"pixels/inch", "pixels/cm"};

constexpr const char* title = "Resize";

// The resolution in pixels an inch; 0 when not set.
double dpi_of(const P& p) {
    return p.runits == 1 ? p.dpi * 2.540005 : p.dpi;
}

// A box in pixels: as typed, through the resolution when in physical units.
int box_pixels(const P& p, double typed, std::int32_t pixels) {
    if (typed == 0) return pixels;  // given in pixels only (a workflow's width_height)
    return typed < 0 ? -1 : resize_to_pixels(typed, p.edit_units, dpi_of(p));
}

bool uses_width(const P& p) {
    return p.operation >= resize_bounding && p.operation <= resize_both && p.operation != resize_height;
}
bool uses_height(const P& p) {
    return p.operation >= resize_bounding && p.operation <= resize_both && p.operation != resize_width;
}
bool uses_value(const P& p) {
    return p.operation == resize_percent || p.operation == resize_megapixels;
}

// The output size for a w by h input; false when the boxes don't give one.
bool target(const P& p, int w, int h, int& width, int& height) {
    return resize_target_size(p.operation, w, h, box_pixels(p, p.fwidth, p.width),
                              box_pixels(p, p.fheight, p.height), p.percent, width, height);
}

void output_size(const void* params, const Image* input, int& width, int& height) {
    if (!target(*static_cast<const P*>(params), input->width, input->height, width, height)) {
        width = input->width;
        height = input->height;
    }
}

int input_check(const void* params) {
    const P& p = *static_cast<const P*>(params);
    const bool wrong = p.dpi < 0 || (uses_width(p) && p.fwidth < 0) ||
                       (uses_height(p) && p.fheight < 0) || (uses_value(p) && p.percent < 0);
    if (wrong) return input_wrong;
    const bool unset = p.dpi == 0 || (uses_width(p) && box_pixels(p, p.fwidth, p.width) < 1) ||
                       (uses_height(p) && box_pixels(p, p.fheight, p.height) < 1) ||
                       (uses_value(p) && p.percent == 0);
    return unset ? input_unset : input_complete;
}

// The panel meets a picture: its resolution fills the Resolution box.
void input_opened(void* params, const Image* input) {
    P& p = *static_cast<P*>(params);
    p.in_width = input ? input->width : 0;
    p.in_height = input ? input->height : 0;
    p.in_type = input ? input->type : 0;
    if (input && input->resolution > 0)
        p.dpi = p.runits == 1 ? input->resolution / 2.540005 : input->resolution;
}

// ---------------------------------------------------------------------------
// Fields

// A size box: the typed value, and its pixels for the workflow line.
template <auto Typed, auto Pixels, bool Width>
constexpr TransformField size_field(std::string_view keyword, std::string_view label) {
    TransformField f = field_number<Typed>(keyword, label, "%z2f", 0.0);
    f.set = [](void* params, double v) {
        P& p = *static_cast<P*>(params);
        p.*Typed = v;
        p.*Pixels = v > 0 ? resize_to_pixels(v, p.edit_units, dpi_of(p)) : 0;
    };
    f.relevant = [](const void* params) {
        const P& p = *static_cast<const P*>(params);
        return Width ? uses_width(p) : uses_height(p);
    };
    return f;
}

// Changing units keeps the sizes: the boxes are converted.
constexpr TransformField units_field() {
    TransformField f = field_choice<&P::edit_units>("units", "Units:", unit_words, unit_pixels);
    f.set = [](void* params, double v) {
        P& p = *static_cast<P*>(params);
        const int unit = static_cast<int>(v + 0.5);
        const double dpi = dpi_of(p);
        if (p.fwidth > 0) p.fwidth = resize_from_pixels(box_pixels(p, p.fwidth, p.width), unit, dpi);
        if (p.fheight > 0)
            p.fheight = resize_from_pixels(box_pixels(p, p.fheight, p.height), unit, dpi);
        p.edit_units = unit;
    };
    return f;
}

// "Sharpening: n%" is -100 (a + 0.5) / 1.5: a = -0.5 reads 0, a = -2 reads 100.
constexpr TransformField sharpening_field() {
    TransformField f = field_real<&P::sharpen>("sharpening", "Sharpening: ", 0, 100, "%1f\\%", 0);
    f.get = [](const void* params) {
        return -100.0 * (static_cast<const P*>(params)->sharpen + 0.5) / 1.5;
    };
    f.set = [](void* params, double v) { static_cast<P*>(params)->sharpen = -0.5 - 1.5 * v / 100.0; };
    f.relevant = [](const void* params) {
        return static_cast<const P*>(params)->method == resample_bicubic;
    };
    return f;
}

// The read-outs of the output the panel's values give.
struct Shown {
    int width = 0, height = 0;
    double dpi = 0;
};
Shown shown_output(const void* params) {
    const P& p = *static_cast<const P*>(params);
    Shown s;
    if (!target(p, p.in_width, p.in_height, s.width, s.height)) s.width = s.height = 0;
    s.dpi = dpi_of(p);
    return s;
}
double shown_length(int pixels, const void* params) {
    const P& p = *static_cast<const P*>(params);
    return resize_from_pixels(pixels, p.edit_units == unit_pixels ? unit_inch : p.edit_units,
                              dpi_of(p));
}
double megabytes(const void* params) {
    const Shown s = shown_output(params);
    const int type = static_cast<const P*>(params)->in_type;
    const double bytes = type == image_type_binary    ? 0.125
                         : type == image_type_colour8  ? 3
                         : type == image_type_gray16   ? 2
                         : type == image_type_colour16 ? 6
                                                       : 1;
    return s.width * static_cast<double>(s.height) * bytes / 1048576.0;
}
double ratio(const void* params) {
    const Shown s = shown_output(params);
    if (s.width < 1 || s.height < 1) return 0;
    return s.width > s.height ? static_cast<double>(s.width) / s.height
                              : static_cast<double>(s.height) / s.width;
}

constexpr TransformField percent_field() {
    TransformField f = field_number<&P::percent>("percent", "Percent:", "%z2f", 100.0);
    f.relevant = [](const void* p) { return static_cast<const P*>(p)->operation == resize_percent; };
    return f;
}
constexpr TransformField megapixels_field() {
    TransformField f = field_number<&P::percent>("megapixels", "Megapixels:", "%z2f", 100.0);
    f.relevant = [](const void* p) { return static_cast<const P*>(p)->operation == resize_megapixels; };
    return f;
}
constexpr TransformField proportions_field(bool wide) {
    TransformField f = field_caption(wide ? "proportions_wide" : "proportions_tall", "Proportions: ",
                                     wide ? "%2f:1.00" : "1.00:%2f", ratio);
    f.relevant = wide ? +[](const void* p) { return shown_output(p).width > shown_output(p).height; }
                      : +[](const void* p) { return shown_output(p).width <= shown_output(p).height; };
    return f;
}

constexpr TransformField fields[] = {
    field_input("Input Image:"),
    field_choice<&P::operation>("operation", "Resize:", operation_words, resize_percent),
    percent_field(),
    megapixels_field(),
    size_field<&P::fwidth, &P::width, true>("width", "Width:"),
    size_field<&P::fheight, &P::height, false>("height", "Height:"),
    units_field(),
    field_number<&P::dpi>("dpi", "Resolution:", "%z2f", 0.0),
    field_choice<&P::runits>("runits", "Resolution units:", runit_words, 0),
    field_choice<&P::method>("method", "Method:", method_words, resample_bicubic),
    sharpening_field(),
    field_caption("pixel_width", "Width (pixels): ", "%d",
                  [](const void* p) { return static_cast<double>(shown_output(p).width); }),
    field_caption("pixel_height", "Height (pixels): ", "%d",
                  [](const void* p) { return static_cast<double>(shown_output(p).height); }),
    field_caption("print_width", "Width: ", "%2f",
                  [](const void* p) { return shown_length(shown_output(p).width, p); }),
    field_caption("print_height", "Height: ", "%2f",
                  [](const void* p) { return shown_length(shown_output(p).height, p); }),
    field_caption("resolution", "Resolution: ", "%1f",
                  [](const void* p) { return shown_output(p).dpi; }),
    field_caption("file_size", "File Size: ", "%3fMB", megabytes),
    proportions_field(false),
    proportions_field(true),
};

constexpr WorkflowLine<P> lines[] = {
    workflow_value<&P::operation, &P::mode>("size_mode %d %d"),
    workflow_value<&P::width, &P::height>("width_height %d %d"),
    workflow_value<&P::percent>("percent %f"),
    workflow_value<&P::method, &P::edit_units>("method_editunits %d %d"),
    workflow_value<&P::sharpen, &P::dpi>("sharpen_dpi %f %f"),
    workflow_value<&P::runits, &P::wunits>("runits_wunits %d %d"),
    workflow_value<&P::reset_resolution>("resetresolution %d"),
    workflow_value<&P::fwidth, &P::fheight>("fwidth_fheight %f %f"),
};

// ---------------------------------------------------------------------------
// Compute

int resize_compute(const ComputeArgs& args) {
    const P& p = args.block<P>();
    const Image* input = args.input_image();
    if (!input) return err_illegal_type;
    int width = 0, height = 0;
    // Without a resolution the input's stands.
    if (!target(p, input->width, input->height, width, height)) return 116;  // invalid target
    const double resolution = dpi_of(p) > 0 ? dpi_of(p) : input->resolution;
    if (args.apply)
        return resample_image(input, args.output, width, height, resolution, p.method, p.sharpen,
                              title);

    // A preview: the output samples the view shows, every |zoom|-th of them
    // when reduced, made straight from the input.
    const int step = args.zoom < 0 ? -args.zoom : 1;
    ResamplePlan plan;
    if (int err = resample_prepare(input, {width, args.source_x, step, args.line_width},
                                   {height, args.source_y, step, args.line_count}, p.method,
                                   p.sharpen, true, plan))
        return err;
    if (args.whole_region()) {
        if (int err = image_alloc(args.output, resample_output_type(plan), args.width, args.height,
                                  resolution))
            return err;
    }
    return transform_for_bands(args, title, [&](int first, int count) {
        LineSink sink;
        line_sink_init(&sink);
        int err = band_sink_open(args, first, &sink);
        ResampleScratch scratch;
        for (int k = first; !err && k < first + count; ++k) {
            resample_line(plan, k, scratch, line_sink_line(&sink));
            line_sink_commit(&sink);
        }
        line_sink_close(&sink);
        return err;
    });
}

// ---------------------------------------------------------------------------
// The descriptor

P static_copy{};
bool fresh = true;

}  // namespace

extern const TransformDescriptor resize_transform;
constinit const TransformDescriptor resize_transform = transform_descriptor<P, fields, lines>({
    .title = title,
    .panel_number = 24,
    .panel_code = 24,
    .compute = resize_compute,
    .input_opened = input_opened,
    .static_copy = &static_copy,
    .fresh = &fresh,
    .output_size = output_size,
    .input_check = input_check,
    .input_error = "Width, Height or DPI are not set.",
});
