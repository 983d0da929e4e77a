// The driver of every transformation panel: the life of its preview window,
// its result windows, its errors and its history record. Only one
// transformation panel is open at a time, so the driver's state is one
// instance for the process.
//
// The driver is headless. Everything that needs a window goes through the
// TransformHost that the editor installs; tests install a fake one.
//
// How the editor uses it:
//   - A menu command finds the descriptor in the registry and calls
//     transform_open(descriptor, active image window). The driver chooses the
//     start values, allocates the block and asks the host for the panel.
//   - The panel's controls write into transform_params() (through the field
//     table's `set` and `amount`) and call transform_parameter_changed().
//   - Its buttons call transform_button(); Enter and Esc, transform_ok() and
//     transform_cancel(); its close box, transform_cancel().
//   - The input chooser calls transform_input_changed(window); a window the
//     panel depends on that got new pixels, transform_parameter_changed().
//   - The preview window, after a scroll, calls transform_view_changed(region)
//     with the uncovered strip; when it is closed, transform_preview_closed().
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "core/window_record.h"
#include "transform/preview_geometry.h"
#include "transform/transform.h"

enum class TransformButton : std::uint8_t { auto_preview, preview, apply, ok, cancel };

// Whether the panel goes on after the step a history entry records.
enum class HistoryMode : std::uint8_t { panel_stays_open, panel_ends };

// What the editor does for the driver. Calls come on the interface thread,
// some of them from inside a compute routine (window_request_one_to_one):
// those must only post work, never re-enter the driver at once.
class TransformHost {
public:
    virtual ~TransformHost() = default;

    // --- The panel

    // Makes the panel of `descriptor` over `params`: its row of buttons (the
    // short row "Apply", "OK", "Cancel" when descriptor.short_buttons), then a
    // control per field table row, titled descriptor.title, with the window
    // kind descriptor.panel_number, centred against the bottom of the main
    // area. The controls show `params`. 0 and the panel, or an error code.
    virtual int panel_create(const TransformDescriptor& descriptor, void* params,
                             WindowBase** panel) = 0;
    // Shows the controls that `field_shown` allows for an input of
    // `image_type` (0 for none), hides the others, resizes the panel and keeps
    // it inside the main area. Amount controls learn the input's size: they
    // offer only masks of that size. The controls show the block again.
    virtual void panel_layout(WindowBase* panel, int image_type, int width, int height) = 0;
    virtual void panel_destroy(WindowBase* panel) = 0;
    // The panel's position as it closes, and back at the next opening when
    // the settings rule keeps the last values.
    virtual void panel_placement_save(WindowBase* panel, const TransformDescriptor& descriptor);
    virtual void panel_placement_restore(WindowBase* panel, const TransformDescriptor& descriptor);
    // Enables a button, or for "Auto" also its check mark. Never called for
    // "Auto" and "Preview" on the short row.
    virtual void button_enable(TransformButton button, bool enabled) = 0;
    virtual void button_check(TransformButton button, bool checked) = 0;

    // --- Preview and result windows

    // The area a preview of `input` goes to: the main area, or the pane of the
    // input's own parent when that is a workflow window or the raw converter.
    virtual PreviewArea preview_area(WindowBase* input) = 0;
    // Makes the window of a preview or a result over `record`, which the
    // driver has taken and filled (zoom, view size, view and picture
    // rectangles). Titled "Preview", at plan.position with a view of the
    // plan's size, visible unless `for_apply`; the view is centred and the
    // window kept inside its parent. 0 and the window, or an error code (the
    // driver then releases the record).
    virtual int window_create(WindowRecord* record, const PreviewPlan& plan, WindowBase* input,
                              bool for_apply, WindowBase** window) = 0;
    // Destroys a window made by window_create and releases its record.
    virtual void window_destroy(WindowBase* window) = 0;
    virtual void window_activate(WindowBase* window) = 0;
    virtual bool window_in_main_area(WindowBase* window) = 0;
    // A preview's screen copy (view_copy) changed in `region` (its own
    // numbering, line 0 at the bottom): rebuild the display copy there.
    virtual void window_display_update(WindowBase* window, const TransformRegion& region) = 0;
    // Repaints the whole window.
    virtual void window_redraw(WindowBase* window) = 0;
    // Fits the window to its picture (the Fit of image windows): 0 or a code.
    virtual int window_fit(WindowBase* window) = 0;
    virtual void window_show(WindowBase* window) = 0;
    virtual void window_retitle(WindowBase* window) = 0;
    virtual PreviewPoint window_position(WindowBase* window) = 0;
    virtual void window_move(WindowBase* window, PreviewPoint position) = 0;
    // The cascade step of results: a quarter of a button height across, one
    // title bar down.
    virtual PreviewPoint cascade_step() = 0;
    // Posts the window the request to go to zoom 1:1. Once it has refitted
    // it calls transform_view_changed for its whole view.
    virtual void window_request_one_to_one(WindowBase* window) = 0;
    // The input's parent is not the main area, and the panel has ended.
    virtual void parent_panel_ended(WindowBase* input);

    // --- Everything else

    // Shows an error code (nothing for 0, "Attention" for 11).
    virtual void show_error(int code);
    // Where an Apply is recorded: the result window, its input, the panel and
    // the block, and whether the panel goes on.
    virtual void history_record(WindowBase* result, WindowBase* input, WindowBase* panel,
                                const TransformDescriptor& descriptor, const void* params,
                                HistoryMode mode);
    // "Cancel" ends any history edit that is pending.
    virtual void history_end_pending_edit();
    // The colour-profile treatment of a new result, when the panel asks for it.
    virtual void profile_treatment(WindowBase* result, WindowBase* input);
    // The working colour profile; empty while colour management has none.
    virtual std::vector<std::uint8_t> working_profile();
    // Dependency links; the defaults keep them in the window record layer.
    virtual void link_add(WindowBase* owner, WindowBase* target, std::string_view name);
    virtual void link_remove(WindowBase* owner, WindowBase* target);
    // Opens the files whose opening was put off while the panel was open.
    virtual void run_open_queue() = 0;
};

// Installs the host; null removes it. Returns the previous one.
TransformHost* transform_set_host(TransformHost* host);
TransformHost* transform_host();

// The driver's state.
struct TransformState {
    WindowBase* input_window = nullptr;
    // The input's size, or the size the transformation makes without input.
    std::int32_t input_width = 0;
    std::int32_t input_height = 0;
    double input_resolution = 0.0;
    WindowBase* panel_window = nullptr;
    std::int32_t panel_code = 0;  // 0 while no panel is open
    WindowBase* preview_window = nullptr;
    // The output size the preview window was made for.
    std::int32_t preview_width = 0;
    std::int32_t preview_height = 0;
    bool auto_preview = false;  // the "Auto" check box
    bool preview_stale = true;  // the preview doesn't match the parameters
    bool changed_since_apply = true;
    // A compute routine is running. The progress panel serves events while it
    // runs; whatever reaches the driver then must not start another one.
    bool computing = false;
    // A change or a scroll arrived while computing: the preview is redone once
    // the running computation has ended.
    bool changed_while_computing = false;
    std::int32_t result_count = 0;  // results of this panel, for their cascade
    WindowBase* last_result_window = nullptr;
    // The short row leaves these two out.
    bool has_auto_button = false;
    bool has_preview_button = false;
    // The open transformation and its block.
    const TransformDescriptor* descriptor = nullptr;
    ParamBlock params;
};

TransformState& transform_state();
// The open panel's parameter block; null when none is open.
void* transform_params();

// Opens the panel of `descriptor` on `input` (null for a transformation
// without input): start values by the settings rule, the block, the input's
// size, the panel with its buttons, the input's standing mask for the amount
// controls (a saved amount returns only where it fits), the layout for the
// input's type, the link to the input under the title, and the last placement.
// With the `defaultpreview` preference "Auto" is then pressed. 0, 1 when the
// block cannot be allocated, or the host's code for the panel. A panel that
// is still open is cancelled first.
[[nodiscard]] int transform_open(const TransformDescriptor& descriptor, WindowBase* input);

// The state that making the row of buttons sets: "Auto" off, the preview
// stale, changed since apply, no results yet.
void transform_buttons_reset(bool short_row);

// Computes a preview of `region` (null: the whole view) or, with `apply`, the
// result in a new window, which then becomes `preview_window`. True only when
// the user aborted (code 11) or no window could be made.
bool transform_run(bool apply, const TransformRegion* region);

// The whole reaction to a changed parameter.
void transform_parameter_changed();
// After the input image changed: stop the preview, treat it as a parameter
// change, and resume "Auto" when it was on with a preview.
void transform_input_reset();
// The input chooser picked `input`.
void transform_input_changed(WindowBase* input);
// The preview scrolled: recompute just `region` of its view.
void transform_view_changed(const TransformRegion& region);
// The preview window was closed by the user.
void transform_preview_closed(WindowBase* window);

// The row of buttons. `with_profile` gives a result the colour-profile
// treatment.
void transform_button(TransformButton button, bool with_profile = true);
void transform_ok();
void transform_cancel();
// Destroys the preview, turns "Auto" off, marks the preview stale and enables
// "Preview".
void transform_stop_preview();

// The profile a fresh preview carries: with no input a colour output gets the
// working profile; an input with a profile passes it on; a non-colour input
// without one gives a colour output the working profile; otherwise nothing
// changes.
void preview_settle_profile(const WindowRecord* input, WindowRecord* preview,
                            std::span<const std::uint8_t> working);
