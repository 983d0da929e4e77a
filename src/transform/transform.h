// The one shape of a transformation.
//
// A transformation is a parameter block (a plain struct), a field table that
// declares every panel control once, a compute routine, and the text routines
// of its workflow block. All of it meets in one TransformDescriptor, made by
// `transform_descriptor` from typed tables, so that the driver (driver.h), the
// panel builder of the editor, the workflow code and orvane-batch handle every
// transformation alike. A new transformation is one file under
// src/transform/<group>/ and one line in the registry (registry.cpp); the
// model to copy is effects/add_noise.cpp.
//
// A transformation file, in this order:
//   1. a comment on what it does;
//   2. the parameter block: a struct with no default member values (the field
//      table gives them) and every value the compute routine needs;
//   3. the field table (TransformField rows, in the panel's tab order) and the
//      workflow line table (WorkflowLine rows of workflow_text.h);
//   4. the compute routine: `int compute(const ComputeArgs&)`;
//   5. the static copy and `fresh` flag, and the descriptor itself:
//        P noise_static{};
//        bool noise_fresh = true;
//        extern const TransformDescriptor add_noise_transform;
//        constinit const TransformDescriptor add_noise_transform =
//            transform_descriptor<P, fields, lines>({...});
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "core/image.h"
#include "core/window_record.h"
#include "transform/amount.h"
#include "transform/curves.h"
#include "transform/settings.h"
#include "transform/workflow_text.h"

// ---------------------------------------------------------------------------
// The compute routine

// A part of the output, inclusive, in the output Image's own numbering: x from
// the left, y as Image lines, line 0 at the bottom.
struct TransformRegion {
    int x1 = 0;
    int y1 = 0;
    int x2 = 0;
    int y2 = 0;
    int width() const { return x2 - x1 + 1; }
    int height() const { return y2 - y1 + 1; }
    bool operator==(const TransformRegion&) const = default;
};

// Everything a compute routine is told. The routine reads `input` through
// line_source_open(&input->image, source_x, source_y, zoom, line_width) and
// writes through line_sink_open(output, zoom, region_x1, region_x2,
// region_y1, apply): the line access absorbs preview zoom and region, so the
// same loop serves preview and apply.
//
// The contract every routine keeps:
//  1. It refuses an input type it cannot handle with 14 before touching
//     anything. At apply the output type is the input's; in a preview it is
//     8-bit (6 becomes 2, 7 becomes 3): screen copies are never 16-bit.
//  2. When the region covers the whole output it allocates `output` itself
//     (image_alloc, at the input's resolution).
//  3. A routine whose look depends on the pixel scale previews only at 1:1:
//     see `transform_preview_one_to_one`.
//  4. It shows progress through a ProgressScope over line_width * line_count
//     pixels, ranging 0 .. line_count - 1, titled as the transformation, and
//     stops with the code a step returns.
//  5. It closes its sources and sink on every path.
struct ComputeArgs {
    const WindowRecord* input = nullptr;  // null when there is no input image
    Image* output = nullptr;              // result image at apply, screen copy in a preview
    WindowRecord* window = nullptr;       // the output's window record; null without one
    const void* params = nullptr;         // the parameter block
    bool apply = false;                   // the full computation rather than a preview
    int width = 0;                        // size of the whole output, in output pixels
    int height = 0;
    int source_x = 0;  // first pixel and line to read in the input (Image numbering)
    int source_y = 0;
    int zoom = 1;       // zoom of the output: 1 at apply, n magnified, -n reduced
    int region_x1 = 0;  // the part of `output` to compute, inclusive
    int region_y1 = 0;
    int region_x2 = 0;
    int region_y2 = 0;
    int line_width = 0;  // input pixels a line and lines to process
    int line_count = 0;

    template <typename P>
    const P& block() const {
        return *static_cast<const P*>(params);
    }
    const Image* input_image() const { return input ? &input->image : nullptr; }
    bool whole_region() const {
        return region_x1 == 0 && region_y1 == 0 && region_x2 == width - 1 &&
               region_y2 == height - 1;
    }
};

using ComputeRoutine = int (*)(const ComputeArgs&);

// The 8-bit type a preview shows for an input type: 6 gives 2, 7 gives 3.
constexpr int preview_type_of(int type) {
    return type == image_type_gray16 ? image_type_gray8
                                     : (type == image_type_colour16 ? image_type_colour8 : type);
}

// The preview window a routine that previews only at 1:1 saw last: the
// record and its take, since records are reused.
struct PreviewSeen {
    const WindowRecord* record = nullptr;
    std::uint64_t taken = 0;
};

// Contract point 3 for the routines that preview only at 1:1. Call it first
// thing in a preview with a per-transformation `seen` static: when the output
// belongs to a window not seen before whose zoom isn't 1, the output is
// allocated (width by height, `output_type`, cleared), the window is asked to
// go to 1:1 through the host, and true comes back: the routine returns 0 at
// once, and the window's view-changed role brings the computation back at zoom
// 1. Returns 1 through `code` when the allocation fails. A computation without
// a window (args.window null) is never redirected.
bool transform_preview_one_to_one(const ComputeArgs& args, PreviewSeen& seen, int output_type,
                                  int& code);

// The first preview of a slow routine. Call it first thing in a preview with
// a per-transformation `seen` static: on the first preview of a window the
// input is shown as it is (transform_copy_input), a computation of the whole
// view is posted through the host, and true comes back with the code in
// `code`: the panel shows at once and then fills in. False (compute now) from
// then on, at apply, without a window, or when the host cannot post.
bool transform_preview_deferred(const ComputeArgs& args, PreviewSeen& seen, int& code);

// The amount rule's "no effect" case (a and b both 0): an apply copies the
// input with image_copy_with_progress; a preview refreshes the screen copy
// from the input (16-bit samples through `to8`) without computing.
[[nodiscard]] int transform_copy_input(const ComputeArgs& args);

// ---------------------------------------------------------------------------
// The field table: one row per panel control

enum class ControlKind : std::uint8_t {
    input_chooser,   // the input image list: `label`, and `accepts`
    amount,          // the amount control over an AmountSettings member
    choice,          // a pop-up list of `words`; the value is the index
    integer_slider,  // `minimum` .. `maximum`, caption `label` + value by `format`
    real_slider,     // the same with a real value
    check_box,       // 0 or 1
    curve,           // the curve control over the Curve that `curve` returns
    range,           // the range bar: input levels in_low, in_high, output out_low, out_high
    colour,          // a colour swatch that opens the colour dialog: red, green, blue
    caption,         // a line of text: `label` and the number `get` gives, by `format`
    zone_strip,      // a histogram with a handle for each part: black point, thresholds, white point
    number,          // an edit box for a real value, shown by `format`; an empty box gives 0
    page,            // starts a page named `label`: the rows after it, up to the next, show there
    histogram,       // the input's histogram, bars expanded by the level `get` gives (0 .. 2)
};

// Image types as bits, for visibility and acceptance: bit n is type n.
constexpr unsigned image_type_bit(int type) {
    return 1u << type;
}
inline constexpr unsigned image_types_any = 0;  // no restriction
inline constexpr unsigned image_types_colour =
    image_type_bit(image_type_colour8) | image_type_bit(image_type_colour16);

// A panel builder walks the table in order (the tab order), makes the control
// of each row's `kind` with its label, words or range, shows it only where
// `field_shown` says so for the input's type, sets it from `get` (or from the
// AmountSettings that `amount` returns) and on every change stores the value
// with `set` and calls transform_parameter_changed. Values pass as double for
// every kind: a choice index, an integer, a real, a check box's 0 or 1.
struct TransformField {
    std::string_view keyword;  // short name, as tools and the command line name the value
    std::string_view label;    // the panel's words, "Channel(s):"
    ControlKind kind = ControlKind::choice;
    std::span<const std::string_view> words;  // choice: entries in value order
    double minimum = 0.0;                     // sliders
    double maximum = 0.0;
    std::string_view format;               // slider: the value in the formatter's dialect, "%1f"
    double default_value = 0.0;            // amount: the default `amount_low`
    bool bipolar = false;                  // amount: neutral at the middle
    unsigned shown_for = image_types_any;  // input types for which the control shows
    unsigned accepts = image_types_any;    // input chooser: types it offers
    double (*get)(const void* params) = nullptr;
    void (*set)(void* params, double value) = nullptr;
    AmountSettings* (*amount)(void* params) = nullptr;
    // curve: the curve the control shows and edits; curve and range: what
    // it reads of a pixel for its histogram and probe (ToneReading of tone.h).
    Curve* (*curve)(void* params) = nullptr;
    int (*curve_reading)(const void* params) = nullptr;
    // range and colour: a control over several integers of the block, part k
    // named by words[k] (the names the command line knows them by).
    int (*part)(const void* params, int k) = nullptr;
    void (*set_part)(void* params, int k, int value) = nullptr;
    // colour: what a colour picked on the input (mean red, green, blue of the
    // probe) does to the block; null when the control takes no probe.
    void (*probed)(void* params, int r, int g, int b) = nullptr;
    // Sliders: the number the caption shows for a value, when it isn't the
    // value itself (formatted by `format` as a real).
    double (*shown)(double value) = nullptr;
    // Sliders: the number the block, and so the workflow line, holds for a
    // value, when it isn't the value itself (Gamma Adjust's factor, Noise
    // Reduction's threshold in eighths).
    double (*stored)(double value) = nullptr;
    // Sliders: a value above 0 is shown with a plus sign, "+12.5%".
    bool plus_sign = false;
    // Whether the control shows for the block's other values (a radius only
    // for the methods that use one); null: always, as the input type allows.
    bool (*relevant)(const void* params) = nullptr;
    // Sets the built-in values of a control that has no single value.
    void (*init)(void* params) = nullptr;
};

// What a descriptor's input_check answers.
inline constexpr int input_complete = 0;
inline constexpr int input_unset = 1;
inline constexpr int input_wrong = 2;

// Whether a field's control shows for an input of `image_type` (0: no input).
constexpr bool field_shown(const TransformField& field, int image_type) {
    return field.shown_for == image_types_any ||
           (image_type > 0 && (field.shown_for & image_type_bit(image_type)) != 0);
}

namespace transform_detail {

template <auto Member>
using BlockOf = typename settings_detail::MemberOf<decltype(Member)>::Class;
template <auto Member>
using ValueOf = typename settings_detail::MemberOf<decltype(Member)>::Type;

template <auto Member>
constexpr TransformField value_field(std::string_view keyword, std::string_view label,
                                     ControlKind kind, double default_value) {
    using P = BlockOf<Member>;
    using T = ValueOf<Member>;
    TransformField f;
    f.keyword = keyword;
    f.label = label;
    f.kind = kind;
    f.default_value = default_value;
    f.get = [](const void* p) { return static_cast<double>(static_cast<const P*>(p)->*Member); };
    f.set = [](void* p, double v) {
        if constexpr (std::is_floating_point_v<T>) {
            static_cast<P*>(p)->*Member = static_cast<T>(v);
        } else {
            // Values arrive as doubles from sliders: round rather than truncate.
            static_cast<P*>(p)->*Member = static_cast<T>(v < 0 ? v - 0.5 : v + 0.5);
        }
    };
    return f;
}

}  // namespace transform_detail

//   field_choice<&P::method>("method", "Method:", method_words, 0)
template <auto Member>
constexpr TransformField field_choice(std::string_view keyword, std::string_view label,
                                      std::span<const std::string_view> words, int default_value,
                                      unsigned shown_for = image_types_any) {
    auto f =
        transform_detail::value_field<Member>(keyword, label, ControlKind::choice, default_value);
    f.words = words;
    f.minimum = 0;
    f.maximum = static_cast<double>(words.size()) - 1;
    f.shown_for = shown_for;
    return f;
}

namespace transform_detail {
template <auto Member>
constexpr TransformField slider_field(std::string_view keyword, std::string_view label,
                                      ControlKind kind, double minimum, double maximum,
                                      std::string_view format, double default_value,
                                      unsigned shown_for) {
    auto f = value_field<Member>(keyword, label, kind, default_value);
    f.minimum = minimum;
    f.maximum = maximum;
    f.format = format;
    f.shown_for = shown_for;
    return f;
}
}  // namespace transform_detail

//   field_integer<&P::radius>("radius", "Radius: ", 1, 100, "%d", 5)
template <auto Member>
constexpr TransformField field_integer(std::string_view keyword, std::string_view label,
                                       int minimum, int maximum, std::string_view format,
                                       int default_value, unsigned shown_for = image_types_any) {
    return transform_detail::slider_field<Member>(keyword, label, ControlKind::integer_slider,
                                                  minimum, maximum, format, default_value,
                                                  shown_for);
}

//   field_real<&P::height>("height", "Height: ", 0.0, 10.0, "%1f", 1.0)
template <auto Member>
constexpr TransformField field_real(std::string_view keyword, std::string_view label,
                                    double minimum, double maximum, std::string_view format,
                                    double default_value, unsigned shown_for = image_types_any) {
    return transform_detail::slider_field<Member>(keyword, label, ControlKind::real_slider, minimum,
                                                  maximum, format, default_value, shown_for);
}

template <auto Member>
constexpr TransformField field_check(std::string_view keyword, std::string_view label,
                                     bool default_value, unsigned shown_for = image_types_any) {
    auto f = transform_detail::value_field<Member>(keyword, label, ControlKind::check_box,
                                                   default_value ? 1.0 : 0.0);
    f.minimum = 0;
    f.maximum = 1;
    f.shown_for = shown_for;
    return f;
}

//   field_amount<&P::amount>("amount")            caption "Amount: ", 100%
//   field_amount<&P::shift>("amt1", "Horizontal Shift: ", 512, true)
template <auto Member>
constexpr TransformField field_amount(std::string_view keyword, std::string_view label = "Amount: ",
                                      int default_low = amount_full, bool bipolar = false) {
    using P = transform_detail::BlockOf<Member>;
    static_assert(std::is_same_v<transform_detail::ValueOf<Member>, AmountSettings>);
    TransformField f;
    f.keyword = keyword;
    f.label = label;
    f.kind = ControlKind::amount;
    f.minimum = 0;
    f.maximum = amount_full;
    f.default_value = default_low;
    f.bipolar = bipolar;
    f.amount = [](void* p) { return &(static_cast<P*>(p)->*Member); };
    return f;
}

constexpr TransformField field_input(std::string_view label = "Input Image:",
                                     unsigned accepts = image_types_any) {
    TransformField f;
    f.keyword = "input";
    f.label = label;
    f.kind = ControlKind::input_chooser;
    f.accepts = accepts;
    return f;
}

//   field_curve<P>("curve", curve_of, reading_of, reset_curves)
template <typename P>
constexpr TransformField field_curve(std::string_view keyword, Curve* (*curve)(void*),
                                     int (*reading)(const void*), void (*init)(void*)) {
    TransformField f;
    f.keyword = keyword;
    f.kind = ControlKind::curve;
    f.curve = curve;
    f.curve_reading = reading;
    f.init = init;
    return f;
}

namespace transform_detail {
template <auto First, auto... Rest>
int get_part(const void* p, int k) {
    const auto* block = static_cast<const BlockOf<First>*>(p);
    const int values[] = {static_cast<int>(block->*First), static_cast<int>(block->*Rest)...};
    return values[k];
}
template <auto First, auto... Rest>
void set_part(void* p, int k, int value) {
    auto* block = static_cast<BlockOf<First>*>(p);
    int i = 0;
    auto put = [&](auto member) {
        if (i++ == k)
            block->*member = static_cast<std::remove_reference_t<decltype(block->*member)>>(value);
    };
    put(First);
    (put(Rest), ...);
}
template <auto... Members>
constexpr TransformField parts_field(std::string_view keyword, std::string_view label,
                                     ControlKind kind, std::span<const std::string_view> words,
                                     unsigned shown_for) {
    TransformField f;
    f.keyword = keyword;
    f.label = label;
    f.kind = kind;
    f.words = words;
    f.minimum = 0;
    f.maximum = 255;
    f.shown_for = shown_for;
    f.part = &get_part<Members...>;
    f.set_part = &set_part<Members...>;
    return f;
}
}  // namespace transform_detail

inline constexpr std::string_view range_part_words[] = {"in_low", "in_high", "out_low", "out_high"};

// Levels 0..255, the full range by default; the caption shows the output
// range through `format`, "%1f\\%..%1f\\%", in percent.
//   field_range<&P::in_low, &P::in_high, &P::out_low, &P::out_high>(
//       "dynamic_range", "Dynamic Range: ", "%1f\\%..%1f\\%", reading_of)
template <auto InLow, auto InHigh, auto OutLow, auto OutHigh>
constexpr TransformField field_range(std::string_view keyword, std::string_view label,
                                     std::string_view format, int (*reading)(const void*)) {
    auto f = transform_detail::parts_field<InLow, InHigh, OutLow, OutHigh>(
        keyword, label, ControlKind::range, range_part_words, image_types_any);
    f.format = format;
    f.curve_reading = reading;
    f.init = [](void* p) {
        for (int k = 0; k < 4; ++k)
            transform_detail::set_part<InLow, InHigh, OutLow, OutHigh>(p, k, k % 2 ? 255 : 0);
    };
    return f;
}

// Bytes of red, green and blue, white by default; `words` names the three.
//   field_colour<&P::red, &P::green, &P::blue>("colorbal", "Color Balance:", words)
template <auto Red, auto Green, auto Blue>
constexpr TransformField field_colour(std::string_view keyword, std::string_view label,
                                      std::span<const std::string_view, 3> words,
                                      void (*probed)(void*, int, int, int) = nullptr,
                                      unsigned shown_for = image_types_any) {
    auto f = transform_detail::parts_field<Red, Green, Blue>(keyword, label, ControlKind::colour,
                                                             words, shown_for);
    f.probed = probed;
    f.init = [](void* p) {
        for (int k = 0; k < 3; ++k)
            transform_detail::set_part<Red, Green, Blue>(p, k, 255);
    };
    return f;
}

// An edit box for a number typed by the user, as Resize's "Width:".
//   field_number<&P::dpi>("dpi", "Resolution:", "%2f", 0.0)
template <auto Member>
constexpr TransformField field_number(std::string_view keyword, std::string_view label,
                                      std::string_view format, double default_value) {
    auto f = transform_detail::value_field<Member>(keyword, label, ControlKind::number,
                                                   default_value);
    f.format = format;
    return f;
}

// A caption computed from the block, as "Output gamma: %2f" shows input gamma
// times factor; it holds no value of its own.
constexpr TransformField field_caption(std::string_view keyword, std::string_view label,
                                       std::string_view format, double (*value)(const void*)) {
    TransformField f;
    f.keyword = keyword;
    f.label = label;
    f.kind = ControlKind::caption;
    f.format = format;
    f.get = value;
    return f;
}

// A panel in pages: the rows that follow, up to the next page row, show on a
// page of their own named `label`.
constexpr TransformField field_page(std::string_view label) {
    TransformField f;
    f.keyword = label;
    f.label = label;
    f.kind = ControlKind::page;
    return f;
}

// The input's histogram of `curve_reading` (the largest sample without one),
// drawn under the histogram expansion level held in `Expand`.
template <auto Expand>
constexpr TransformField field_histogram(std::string_view keyword, std::string_view label) {
    using P = transform_detail::BlockOf<Expand>;
    TransformField f;
    f.keyword = keyword;
    f.label = label;
    f.kind = ControlKind::histogram;
    f.get = [](const void* p) { return static_cast<double>(static_cast<const P*>(p)->*Expand); };
    return f;
}

// The built-in value of every field, written into a block: what the panel
// starts from and what "&Reset" restores. An amount field gets no mask, its
// default `amount_low`, its caption and its bipolar flag.
void fields_set_defaults(std::span<const TransformField> fields, void* params);

// The row with this keyword (compared without regard to case), or null.
const TransformField* field_find(std::span<const TransformField> fields, std::string_view keyword);

// ---------------------------------------------------------------------------
// The descriptor

struct PanelReset {
    std::string_view label;
    void (*reset)(void* params) = nullptr;
};

struct TransformDescriptor {
    std::string_view title;  // the panel's title, "Add Noise"
    int panel_number = 0;    // window kind of the panel: 51 for Add Noise
    int panel_code = 0;      // which transformation is open, as the driver knows it

    // The parameter block, type-erased. `params_new` gives a block with the
    // built-in values or null when memory runs out.
    std::size_t params_size = 0;
    void* (*params_new)() = nullptr;
    void (*params_delete)(void* params) = nullptr;
    void (*params_reset)(void* params) = nullptr;  // built-in values
    void (*params_copy)(void* dest, const void* source) = nullptr;

    std::span<const TransformField> fields;
    ComputeRoutine compute = nullptr;

    // The workflow block's lines (workflow_text.h): `write` gives the lines
    // between begin_widget and end_widget; `read` takes lines up to and
    // including end_widget. Both return an error code; a line that can't be
    // read ends `read` with 0 and the block unchanged.
    int (*write)(const void* params, WorkflowText& text) = nullptr;
    int (*read)(void* params, WorkflowText& text) = nullptr;
    // Whether a word is the keyword of one of its workflow lines.
    bool (*is_keyword)(std::string_view word) = nullptr;

    // The settings file of settings.h, when the transformation keeps one.
    const SettingsFormatInfo* settings = nullptr;
    int (*settings_load)(const std::string& path, void* params) = nullptr;
    int (*settings_save)(const std::string& path, const void* params) = nullptr;
    // With default and previous files (the file table); otherwise only the
    // static copy and the default file count at opening.
    bool settings_previous = false;

    bool preview_one_to_one = false;  // its look depends on the pixel scale
    bool short_buttons = false;       // "Apply", "OK", "Cancel" only: no preview
    // The panel met an input, at opening or when another is chosen: values
    // found from the picture (a range, a histogram) go into the block.
    void (*input_opened)(void* params, const Image* input) = nullptr;
    // Whether, with this block, every output line is made from its own input
    // line alone, whatever its place (no mask, nothing found in the whole
    // picture): such work can run a band of lines at a time. Null: never.
    bool (*line_local)(const void* params) = nullptr;
    // The size of the output when it isn't the input's (Resize): from the
    // block and the input. Null: the input's size.
    void (*output_size)(const void* params, const Image* input, int& width, int& height) = nullptr;
    // Whether the panel's values can be computed: input_complete, or
    // input_unset (an empty box: no preview, and `input_error` at Apply), or
    // input_wrong (`input_error` at once). Null: always complete.
    int (*input_check)(const void* params) = nullptr;
    std::string_view input_error;

    // The panel module's static copy of the last block and its `fresh` flag.
    void* static_copy = nullptr;
    bool* fresh = nullptr;

    // Entries of the panel's Options menu that put part of the block back
    // to its built-in values ("Reset &Mask Settings"), in menu order.
    std::span<const PanelReset> resets;
    // The panel closed: a transformation that keeps images between previews
    // frees them.
    void (*panel_closed)() = nullptr;
};

// The `line_local` of a pixel-by-pixel transformation whose block has an
// AmountSettings member `amount`: line-local unless a mask is chosen.
template <typename P>
bool line_local_unmasked(const void* params) {
    return static_cast<const P*>(params)->amount.amount_mask == nullptr;
}

// What a transformation file states; the descriptor's functions are made from
// its types and tables.
template <typename P>
struct TransformDefinition {
    std::string_view title;
    int panel_number = 0;
    int panel_code = 0;
    ComputeRoutine compute = nullptr;
    bool preview_one_to_one = false;
    bool short_buttons = false;
    bool settings_previous = false;
    void (*input_opened)(void* params, const Image* input) = nullptr;
    bool (*line_local)(const void* params) = nullptr;
    P* static_copy = nullptr;
    bool* fresh = nullptr;
    std::span<const PanelReset> resets = {};
    void (*panel_closed)() = nullptr;
    void (*output_size)(const void* params, const Image* input, int& width, int& height) = nullptr;
    int (*input_check)(const void* params) = nullptr;
    std::string_view input_error = {};
};

template <typename P, const auto& Fields, const auto& Lines,
          const SettingsFormat<P>* Settings = nullptr>
constexpr TransformDescriptor transform_descriptor(const TransformDefinition<P>& def) {
    static_assert(std::is_trivially_copyable_v<P>, "a parameter block is a plain struct");
    TransformDescriptor d;
    d.title = def.title;
    d.panel_number = def.panel_number;
    d.panel_code = def.panel_code;
    d.params_size = sizeof(P);
    d.params_new = []() -> void* {
        P* p = new (std::nothrow) P{};
        if (p) fields_set_defaults(Fields, p);
        return p;
    };
    d.params_delete = [](void* p) { delete static_cast<P*>(p); };
    d.params_reset = [](void* p) {
        *static_cast<P*>(p) = P{};
        fields_set_defaults(Fields, p);
    };
    d.params_copy = [](void* dest, const void* source) {
        *static_cast<P*>(dest) = *static_cast<const P*>(source);
    };
    d.fields = Fields;
    d.compute = def.compute;
    d.write = [](const void* p, WorkflowText& text) {
        return workflow_write_lines<P>(Lines, *static_cast<const P*>(p), text);
    };
    d.read = [](void* p, WorkflowText& text) {
        return workflow_read_lines<P>(Lines, *static_cast<P*>(p), text);
    };
    d.is_keyword = [](std::string_view word) { return workflow_has_keyword<P>(Lines, word); };
    if constexpr (Settings != nullptr) {
        d.settings = &Settings->info;
        d.settings_load = [](const std::string& path, void* p) {
            return settings_load_file(path, *Settings, *static_cast<P*>(p));
        };
        d.settings_save = [](const std::string& path, const void* p) {
            return settings_save_file(path, *Settings, *static_cast<const P*>(p));
        };
    }
    d.settings_previous = def.settings_previous;
    d.preview_one_to_one = def.preview_one_to_one;
    d.short_buttons = def.short_buttons;
    d.input_opened = def.input_opened;
    d.line_local = def.line_local;
    d.output_size = def.output_size;
    d.input_check = def.input_check;
    d.input_error = def.input_error;
    d.static_copy = def.static_copy;
    d.fresh = def.fresh;
    d.resets = def.resets;
    d.panel_closed = def.panel_closed;
    return d;
}

// One parameter block of a descriptor, owned.
class ParamBlock {
public:
    ParamBlock() = default;
    ~ParamBlock() { reset(); }
    ParamBlock(ParamBlock&& other) noexcept : descriptor_(other.descriptor_), block_(other.block_) {
        other.descriptor_ = nullptr;
        other.block_ = nullptr;
    }
    ParamBlock& operator=(ParamBlock&& other) noexcept;
    ParamBlock(const ParamBlock&) = delete;
    ParamBlock& operator=(const ParamBlock&) = delete;

    // A block of the built-in values: 0, or 1 when memory runs out.
    [[nodiscard]] int allocate(const TransformDescriptor& descriptor);
    // Frees the block; safe to repeat.
    void reset();
    void* get() const { return block_; }
    const TransformDescriptor* descriptor() const { return descriptor_; }
    explicit operator bool() const { return block_ != nullptr; }

private:
    const TransformDescriptor* descriptor_ = nullptr;
    void* block_ = nullptr;
};

// ---------------------------------------------------------------------------
// Whole images without a window

// The full computation of one image, as a background step or the command line
// runs it: `input` (left as it was) through the descriptor's compute routine
// into `output`, at zoom 1 over the whole region. `input` may be null for a
// transformation without an input image, which then produces `width` by
// `height`.
[[nodiscard]] int transform_compute_image(const TransformDescriptor& descriptor, const void* params,
                                          Image* input, Image* output, int width = 0,
                                          int height = 0);
