#include "transform/driver.h"

#include <cstring>
#include <string>

#include "core/errors.h"
#include "core/preferences.h"

// ---------------------------------------------------------------------------
// Host defaults

void TransformHost::panel_placement_save(WindowBase*, const TransformDescriptor&) {}
void TransformHost::panel_placement_restore(WindowBase*, const TransformDescriptor&) {}
void TransformHost::parent_panel_ended(WindowBase*) {}
void TransformHost::show_error(int code) {
    error_report(code);
}
void TransformHost::history_record(WindowBase*, WindowBase*, WindowBase*,
                                   const TransformDescriptor&, const void*, HistoryMode) {}
void TransformHost::history_end_pending_edit() {}
void TransformHost::profile_treatment(WindowBase*, WindowBase*) {}
std::vector<std::uint8_t> TransformHost::working_profile() {
    return {};
}
void TransformHost::link_add(WindowBase* owner, WindowBase* target, std::string_view name) {
    ::link_add(owner, target, std::string(name), true);
}
void TransformHost::link_remove(WindowBase* owner, WindowBase* target) {
    ::link_remove(owner, target);
}

namespace {

TransformHost* host_ptr = nullptr;
TransformState state;

// Panels 72 and 76 set a colour profile themselves.
bool sets_own_profile(int code) {
    return code == 72 || code == 76;
}

// Panels 24 and 19 don't return to automatic preview after an Apply.
bool keeps_auto_after_apply(int code) {
    return code != 24 && code != 19;
}

TransformHost& host() {
    return *host_ptr;
}

void enable_button(TransformButton button, bool on) {
    if (button == TransformButton::preview && !state.has_preview_button) return;
    if (button == TransformButton::auto_preview && !state.has_auto_button) return;
    host().button_enable(button, on);
}

void set_auto(bool on) {
    state.auto_preview = on;
    if (state.has_auto_button) host().button_check(TransformButton::auto_preview, on);
}

void activate(WindowBase* window) {
    if (window) host().window_activate(window);
}

// The input as a compute routine sees it: none unless an image window.
const WindowRecord* input_record() {
    if (!state.input_window || state.input_window->window_kind != window_kind_image) return nullptr;
    return window_record_of(state.input_window);
}

std::span<const TransformField> open_fields() {
    return state.descriptor ? state.descriptor->fields : std::span<const TransformField>();
}

void read_input_size() {
    const WindowRecord* record = window_record_of(state.input_window);
    if (record) {
        state.input_width = record->image.width;
        state.input_height = record->image.height;
        state.input_resolution = record->image.resolution;
    } else {
        state.input_width = 0;
        state.input_height = 0;
        state.input_resolution = 0.0;
    }
}

// The size of what the open transformation makes: its own rule, or the
// input's size.
void output_size(int& width, int& height) {
    width = state.input_width;
    height = state.input_height;
    const WindowRecord* record = window_record_of(state.input_window);
    if (record && state.descriptor && state.descriptor->output_size)
        state.descriptor->output_size(state.params.get(), &record->image, width, height);
}

int input_type() {
    const WindowRecord* record = window_record_of(state.input_window);
    return record ? record->image.type : 0;
}

// preview_create: a window record, the reduction and place, the window.
int preview_create(WindowBase* input, bool for_apply, WindowBase** window) {
    const PreviewArea area = host().preview_area(input);
    const Preferences& prefs = preferences();
    int width = 0, height = 0;
    output_size(width, height);
    const PreviewPlan plan =
        preview_plan(width, height, area, prefs.maxpreviewsize, prefs.previewlocation);
    int slot = -1;
    WindowRecord* record = nullptr;
    if (int err = window_record_take(&slot, &record)) return err;
    record->zoom = plan.zoom;
    record->view_width = plan.view_width;
    record->view_height = plan.view_height;
    record->view_x1 = 0;
    record->view_y1 = 0;
    record->view_x2 = plan.view_width - 1;
    record->view_y2 = plan.view_height - 1;
    record->image_x1 = 0;
    record->image_y1 = 0;
    record->image_x2 = width - 1;
    record->image_y2 = height - 1;
    WindowBase* made = nullptr;
    if (int err = host().window_create(record, plan, input, for_apply, &made)) {
        window_record_release(slot);
        return err;
    }
    window_record_bind(record, made);
    made->window_kind = window_kind_preview;
    state.preview_width = width;
    state.preview_height = height;
    *window = made;
    return 0;
}

// transform_run with its code: 0 when done or not needed; the compute's code,
// or the window's, otherwise. `stop` is what transform_run answers.
int run(bool apply, const TransformRegion* region, bool& stop) {
    stop = false;
    state.changed_since_apply = true;
    if (!apply && !state.preview_stale) return 0;
    if (const int check = state.descriptor->input_check
                              ? state.descriptor->input_check(state.params.get())
                              : input_complete) {
        // Values the panel can't compute from: said at Apply, or at once
        // when a box holds a wrong one; an empty box just waits.
        if (apply || check == input_wrong)
            error_report_message(std::string(state.descriptor->input_error).c_str());
        return 0;
    }
    int width = 0, height = 0;
    output_size(width, height);
    if (state.preview_window) {
        // A preview of another size than the output now has is made again.
        if (apply || state.preview_width != width || state.preview_height != height) {
            host().window_destroy(state.preview_window);
            state.preview_window = nullptr;
        }
    }
    if (!state.preview_window) {
        if (int err = preview_create(state.input_window, apply, &state.preview_window)) {
            host().show_error(err);
            stop = true;
            return err;
        }
    }
    WindowBase* window = state.preview_window;
    WindowRecord* record = window_record_of(window);
    const WindowRecord* input = input_record();

    ComputeArgs args;
    args.input = input;
    args.window = record;
    args.params = state.params.get();
    args.apply = apply;
    TransformRegion shown;
    if (apply) {
        args.output = &record->image;
        args.width = width;
        args.height = height;
        args.zoom = 1;
        args.region_x2 = args.width - 1;
        args.region_y2 = args.height - 1;
        args.line_width = args.width;
        args.line_count = args.height;
    } else {
        args.output = &record->view_copy;
        args.zoom = record->zoom;
        args.width = record->view_width;
        args.height = record->view_height;
        // A strip can only be added to a screen copy of the view's size.
        if (record->view_copy.width != args.width || record->view_copy.height != args.height)
            region = nullptr;
        shown = region ? *region : TransformRegion{0, 0, args.width - 1, args.height - 1};
        args.region_x1 = shown.x1;
        args.region_y1 = shown.y1;
        args.region_x2 = shown.x2;
        args.region_y2 = shown.y2;
        const PreviewSource source =
            preview_source(record->zoom, shown, record->image_x1, record->image_y2, height);
        args.source_x = source.source_x;
        args.source_y = source.source_y;
        args.line_width = source.line_width;
        args.line_count = source.line_count;
    }

    state.computing = true;
    state.changed_while_computing = false;
    const int code = state.descriptor->compute(args);
    state.computing = false;
    if (code != 0) {
        transform_stop_preview();
        host().show_error(code);
        activate(state.panel_window);
        stop = code == err_aborted;
        return code;
    }

    if (!apply) {
        if (!sets_own_profile(state.panel_code))
            preview_settle_profile(input, record, host().working_profile());
        host().window_display_update(window, shown);
        host().window_retitle(window);
    } else {
        window->window_kind = window_kind_image;
        if (host().window_in_main_area(window)) {
            if (input) record->zoom = input->zoom;
            if (state.input_window) {
                ++state.result_count;
                host().window_move(window,
                                   result_cascade(host().window_position(state.input_window),
                                                  state.result_count, host().cascade_step()));
            }
        }
        if (int err = host().window_fit(window)) host().show_error(err);
        host().window_show(window);
    }
    if (!region) host().window_redraw(window);
    state.preview_stale = false;
    enable_button(TransformButton::preview, false);
    if (host().window_in_main_area(window)) {
        host().window_activate(window);
        activate(state.panel_window);
    }
    if (!apply && state.changed_while_computing) {
        // What changed meanwhile is not in this picture.
        state.changed_while_computing = false;
        state.preview_stale = true;
        if (state.auto_preview) return run(false, nullptr, stop);
        enable_button(TransformButton::preview, true);
    }
    return 0;
}

// The work of "Apply", and of "OK" after a change (`ending`). 0, or the code
// that stopped it: the result window is then gone and the preview is back.
int apply_result(bool with_profile, bool ending) {
    WindowBase* kept_preview = state.preview_window;
    const bool kept_auto = state.auto_preview;
    state.preview_window = nullptr;
    bool stop = false;
    if (int code = run(true, nullptr, stop)) {
        // An abort, and equally any other failure: the result window is gone
        // (stopping the preview destroyed it) and the old preview comes back.
        state.preview_window = kept_preview;
        return code;
    }
    WindowBase* result = state.preview_window;
    host().window_activate(result);
    result->modified = 1;
    result->window_kind = window_kind_image;
    if (!ending) {
        host().history_record(result, state.input_window, state.panel_window, *state.descriptor,
                              state.params.get(), HistoryMode::panel_stays_open);
    } else if (host().window_in_main_area(result)) {
        host().history_record(result, state.input_window, state.panel_window, *state.descriptor,
                              state.params.get(), HistoryMode::panel_ends);
    }
    if (state.input_window) {
        const WindowRecord* input = window_record_of(state.input_window);
        WindowRecord* output = window_record_of(result);
        if (input && output) window_copy_annotations(input, output);
        if (with_profile) host().profile_treatment(result, state.input_window);
    }
    if (int err = host().window_fit(result)) host().show_error(err);
    host().window_show(result);
    host().window_retitle(result);
    state.last_result_window = result;

    state.preview_window = kept_preview;
    state.preview_stale = true;
    const bool resume = kept_auto && keeps_auto_after_apply(state.panel_code);
    // "Preview" stays disabled while "Auto" is on: the next change recomputes.
    enable_button(TransformButton::preview, !resume);
    if (kept_auto) {
        set_auto(resume);
        if (resume) activate(state.preview_window);
    }
    // A change that came in during the computation is not in the result.
    state.changed_since_apply = state.changed_while_computing;
    state.changed_while_computing = false;
    if (state.changed_since_apply && state.auto_preview) (void)transform_run(false, nullptr);
    return 0;
}

// Closing, common to "OK" and "Cancel".
void close_panel() {
    const TransformDescriptor* d = state.descriptor;
    if (d && state.params) {
        if (d->static_copy) d->params_copy(d->static_copy, state.params.get());
        if (d->fresh) *d->fresh = false;
        if (d->settings && d->settings_previous && d->settings_save) {
            std::string path;
            if (settings_previous_path(*d->settings, path))
                (void)d->settings_save(path, state.params.get());
        }
        host().panel_placement_save(state.panel_window, *d);
    }
    WindowBase* input = state.input_window;
    WindowBase* panel = state.panel_window;
    if (input) host().link_remove(panel, input);
    if (input && !host().window_in_main_area(input)) host().parent_panel_ended(input);
    if (panel) host().panel_destroy(panel);
    state.preview_window = nullptr;
    state.panel_window = nullptr;
    state.panel_code = 0;
    state.params.reset();
    state.descriptor = nullptr;
    state.input_window = nullptr;
    host().run_open_queue();
}

// The amount controls of the open block.
template <typename F>
void for_each_amount(void* block, F&& f) {
    for (const TransformField& field : open_fields())
        if (field.amount) f(*field.amount(block));
}

// Start values: the settings rule over the static copy, then the amounts as
// the opening gives them, with saved amounts back where they fit.
int start_block(const TransformDescriptor& d, WindowBase* input, bool& kept) {
    kept = false;
    if (d.static_copy) {
        SettingsUse use;
        use.in_file_table = d.settings_previous;
        use.fresh = d.fresh;
        use.set_built_in = [&d] { d.params_reset(d.static_copy); };
        auto path = [&d](bool is_default) {
            std::string p;
            if (d.settings) {
                const bool ok = is_default ? settings_default_path(*d.settings, p)
                                           : settings_previous_path(*d.settings, p);
                if (!ok) p.clear();
            }
            return p;
        };
        use.default_exists = [&] { return d.settings && file_exists(path(true)); };
        use.previous_exists = [&] { return d.settings && file_exists(path(false)); };
        use.read_default = [&] {
            if (d.settings_load) (void)d.settings_load(path(true), d.static_copy);
        };
        use.read_previous = [&] {
            if (d.settings_load) (void)d.settings_load(path(false), d.static_copy);
        };
        kept = settings_use_saved(use);
    }
    if (int err = state.params.allocate(d)) return err;
    void* block = state.params.get();
    if (d.static_copy) d.params_copy(block, d.static_copy);

    // The opening's amount: the built-in one, or the input's standing mask.
    const WindowRecord* in = window_record_of(input);
    WindowRecord* mask = in ? window_record_of(in->mask_window) : nullptr;
    ParamBlock fresh_values;
    if (int err = fresh_values.allocate(d)) return err;
    const auto fields = d.fields;
    for (const TransformField& field : fields) {
        if (!field.amount) continue;
        AmountSettings& amount = *field.amount(block);
        const AmountSettings saved = amount;
        amount = *field.amount(fresh_values.get());
        if (mask) amount_choose_mask(amount, in->mask_window, &mask->image);
        if (kept) amount_restore_saved(amount, saved, mask != nullptr);
    }
    return 0;
}

}  // namespace

TransformHost* transform_set_host(TransformHost* h) {
    TransformHost* old = host_ptr;
    host_ptr = h;
    return old;
}

TransformHost* transform_host() {
    return host_ptr;
}

TransformState& transform_state() {
    return state;
}

void* transform_params() {
    return state.params.get();
}

void transform_buttons_reset(bool short_row) {
    state.has_auto_button = !short_row;
    state.has_preview_button = !short_row;
    state.auto_preview = false;
    state.preview_stale = true;
    state.changed_since_apply = true;
    state.result_count = 0;
}

namespace {

// The transformation learns from its input picture what it finds there.
void input_opened() {
    const WindowRecord* record = window_record_of(state.input_window);
    if (state.descriptor && state.descriptor->input_opened && record && state.params)
        state.descriptor->input_opened(state.params.get(), &record->image);
}

}  // namespace

int transform_open(const TransformDescriptor& d, WindowBase* input) {
    if (state.descriptor) transform_cancel();
    bool kept = false;
    if (int err = start_block(d, input, kept)) {
        state.params.reset();
        return err;
    }
    state.descriptor = &d;
    state.input_window = input;
    read_input_size();
    state.last_result_window = nullptr;
    input_opened();

    WindowBase* panel = nullptr;
    if (int err = host().panel_create(d, state.params.get(), &panel)) {
        state.params.reset();
        state.descriptor = nullptr;
        state.input_window = nullptr;
        return err;
    }
    state.panel_window = panel;
    state.panel_code = d.panel_code;
    transform_buttons_reset(d.short_buttons);
    enable_button(TransformButton::preview, true);

    host().panel_layout(panel, input_type(), state.input_width, state.input_height);
    if (input) host().link_add(panel, input, d.title);
    if (kept) host().panel_placement_restore(panel, d);
    // The automatic press of "Auto" comes once the panel stands, as a click
    // queued while it was being built would.
    if (preferences().defaultpreview && state.has_auto_button)
        transform_button(TransformButton::auto_preview);
    return 0;
}

bool transform_run(bool apply, const TransformRegion* region) {
    bool stop = false;
    (void)run(apply, region, stop);
    return stop;
}

void transform_parameter_changed() {
    if (state.computing) {
        state.changed_while_computing = true;
        state.changed_since_apply = true;
        return;
    }
    if (state.auto_preview) {
        state.preview_stale = true;
        (void)transform_run(false, nullptr);
    } else if (!state.preview_stale) {
        state.preview_stale = true;
        enable_button(TransformButton::preview, true);
    }
    state.changed_since_apply = true;
}

namespace {

void input_reset(bool resume_auto) {
    transform_stop_preview();
    transform_parameter_changed();
    if (resume_auto) {
        set_auto(true);
        (void)transform_run(false, nullptr);
        enable_button(TransformButton::preview, false);
    }
}

}  // namespace

void transform_input_reset() {
    if (state.computing) {
        state.changed_while_computing = true;
        return;
    }
    input_reset(state.auto_preview && state.preview_window);
}

void transform_input_changed(WindowBase* input) {
    // The input chooser is frozen while computing; a late signal changes nothing.
    if (state.computing) return;
    const bool resume_auto = state.auto_preview && state.preview_window;
    transform_stop_preview();
    WindowBase* old = state.input_window;
    if (old) {
        host().window_redraw(old);
        host().link_remove(state.panel_window, old);
    }
    state.input_window = input;
    if (input) {
        if (state.descriptor) host().link_add(state.panel_window, input, state.descriptor->title);
        host().window_activate(input);
    }
    activate(state.panel_window);
    const int old_width = state.input_width;
    const int old_height = state.input_height;
    read_input_size();
    if (state.input_width != old_width || state.input_height != old_height)
        for_each_amount(state.params.get(), [](AmountSettings& a) { amount_drop_mask(a); });
    input_opened();
    host().panel_layout(state.panel_window, input_type(), state.input_width, state.input_height);
    input_reset(resume_auto);
}

void transform_view_changed(const TransformRegion& region) {
    if (state.computing) {
        state.changed_while_computing = true;
        return;
    }
    state.preview_stale = true;
    (void)transform_run(false, &region);
}

void transform_preview_closed(WindowBase* window) {
    if (!window || window != state.preview_window) return;
    state.preview_window = nullptr;
    if (host().window_in_main_area(window)) {
        set_auto(false);
        state.preview_stale = true;
        enable_button(TransformButton::preview, true);
        activate(state.panel_window);
    }
}

void transform_stop_preview() {
    if (state.preview_window) {
        host().window_destroy(state.preview_window);
        state.preview_window = nullptr;
    }
    set_auto(false);
    state.preview_stale = true;
    enable_button(TransformButton::preview, true);
}

void transform_button(TransformButton button, bool with_profile) {
    // A press delivered while a computation serves events waits for nothing:
    // the user presses again once the progress panel is gone.
    if (!state.descriptor || state.computing) return;
    switch (button) {
        case TransformButton::apply:
            (void)apply_result(with_profile, false);
            return;
        case TransformButton::ok:
            transform_stop_preview();
            if (state.changed_since_apply) {
                if (apply_result(with_profile, true) != 0) return;  // the panel stays open
                if (preferences().confirm == confirm_last && state.input_window)
                    state.input_window->modified = 0;
            } else {
                activate(state.input_window);
            }
            close_panel();
            return;
        case TransformButton::cancel:
            activate(state.input_window);
            if (state.preview_window) {
                if (host().window_in_main_area(state.preview_window)) {
                    host().history_end_pending_edit();
                    host().window_destroy(state.preview_window);
                } else {
                    host().window_activate(state.preview_window);
                }
                state.preview_window = nullptr;
            }
            close_panel();
            return;
        case TransformButton::preview:
            (void)transform_run(false, nullptr);
            activate(state.panel_window);
            return;
        case TransformButton::auto_preview:
            set_auto(!state.auto_preview);
            if (state.auto_preview) {
                (void)transform_run(false, nullptr);
                activate(state.panel_window);
            }
            // Off, "Preview" stays disabled over an up-to-date preview only.
            enable_button(TransformButton::preview, !state.auto_preview && state.preview_stale);
            return;
    }
}

void transform_ok() {
    transform_button(TransformButton::ok, true);
}

void transform_cancel() {
    transform_button(TransformButton::cancel);
}

void preview_settle_profile(const WindowRecord* input, WindowRecord* preview,
                            std::span<const std::uint8_t> working) {
    const bool colour_output = image_is_colour(&preview->view_copy);
    if (!input) {
        if (colour_output) preview->profile.assign(working.begin(), working.end());
    } else if (!input->profile.empty()) {
        preview->profile = input->profile;
    } else if (!image_is_colour(&input->image) && colour_output) {
        preview->profile.assign(working.begin(), working.end());
    }
}

// Contract point 3 of compute routines, here because it asks the host.
bool transform_preview_one_to_one(const ComputeArgs& args, PreviewSeen& seen, int output_type,
                                  int& code) {
    code = 0;
    if (args.apply || !args.window) return false;
    if (args.window == seen.record && args.window->taken == seen.taken) return false;
    seen = {args.window, args.window->taken};
    if (args.zoom == 1) return false;
    const double resolution = args.input ? args.input->image.resolution : 100.0;
    code = image_alloc(args.output, output_type, args.width, args.height, resolution);
    if (code) return true;
    const int bytes = image_line_bytes(args.output);
    for (int y = 0; y < args.output->height; ++y)
        std::memset(args.output->rows[y], 0, static_cast<std::size_t>(bytes));
    if (host_ptr && args.window->window) host_ptr->window_request_one_to_one(args.window->window);
    return true;
}
