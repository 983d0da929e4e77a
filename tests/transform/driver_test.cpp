// The transformation driver against a fake host: previews, results, the
// buttons, errors and aborts, closing, start values and changes of input.
#include "transform/driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/errors.h"
#include "core/preferences.h"

namespace {

// ---------------------------------------------------------------------------
// A transformation to drive: it counts its runs, records what it was told and
// fails with a chosen code.

struct TestParams {
    std::int32_t level;
    AmountSettings amount;
};

struct ComputeLog {
    int runs = 0;
    int fail_code = 0;
    bool fail_at_apply_only = false;
    std::vector<ComputeArgs> args;
    // What the progress panel would deliver while serving events in a run.
    std::function<void(const ComputeArgs&)> during;
    int depth = 0;
    int deepest = 0;
};
ComputeLog compute_log;

int test_compute(const ComputeArgs& args) {
    ++compute_log.runs;
    compute_log.args.push_back(args);
    ++compute_log.depth;
    compute_log.deepest = std::max(compute_log.deepest, compute_log.depth);
    if (compute_log.during) {
        auto during = std::exchange(compute_log.during, nullptr);
        during(args);
    }
    --compute_log.depth;
    if (compute_log.fail_code && (args.apply || !compute_log.fail_at_apply_only))
        return compute_log.fail_code;
    if (args.whole_region())
        return image_alloc(args.output, image_type_gray8, args.width, args.height, 100.0);
    return 0;
}

constexpr TransformField test_fields[] = {
    field_input(),
    field_amount<&TestParams::amount>("amount"),
    field_integer<&TestParams::level>("level", "Level: ", 0, 100, "%d", 10),
};
constexpr WorkflowLine<TestParams> test_lines[] = {
    workflow_value<&TestParams::level>("level %d"),
    workflow_amount<&TestParams::amount>(),
};
TestParams test_static{};
bool test_fresh = true;

const TransformDescriptor test_transform =
    transform_descriptor<TestParams, test_fields, test_lines>({
        .title = "Test Transform",
        .panel_number = 60,
        .panel_code = 60,
        .compute = test_compute,
        .static_copy = &test_static,
        .fresh = &test_fresh,
    });

TestParams& params() {
    return *static_cast<TestParams*>(transform_params());
}

// ---------------------------------------------------------------------------
// The fake host: windows are plain WindowBase objects with records.

struct FakeWindow : WindowBase {
    std::string name;
    bool visible = false;
    PreviewPoint position;
};

class FakeHost : public TransformHost {
public:
    ~FakeHost() override {
        for (FakeWindow* w : windows)
            delete w;
    }

    int panel_create(const TransformDescriptor&, void*, WindowBase** panel) override {
        *panel = windows.emplace_back(new FakeWindow);
        return 0;
    }
    void panel_layout(WindowBase*, int type, int width, int) override { layout = {type, width}; }
    void panel_destroy(WindowBase* panel) override {
        log.push_back("panel_destroy");
        forget(panel);
    }
    void button_enable(TransformButton b, bool on) override { enabled[b] = on; }
    void button_check(TransformButton b, bool on) override { checked[b] = on; }

    PreviewArea preview_area(WindowBase*) override { return area; }
    int window_create(WindowRecord* record, const PreviewPlan& plan, WindowBase*, bool for_apply,
                      WindowBase** window) override {
        if (create_fails) return create_fails;
        FakeWindow* w = windows.emplace_back(new FakeWindow);
        w->name = "window";
        w->visible = !for_apply;
        w->position = plan.position;
        window_record_bind(record, w);
        ++created;
        *window = w;
        return 0;
    }
    void window_destroy(WindowBase* window) override {
        log.push_back("window_destroy");
        window_record_release(window->record_slot);
        forget(window);
    }
    void window_activate(WindowBase* window) override { activated.push_back(window); }
    bool window_in_main_area(WindowBase*) override { return main_area; }
    void window_display_update(WindowBase*, const TransformRegion& region) override {
        updated_regions.push_back(region);
    }
    void window_redraw(WindowBase*) override { ++redraws; }
    int window_fit(WindowBase*) override { return 0; }
    void window_show(WindowBase* window) override { as_fake(window)->visible = true; }
    void window_retitle(WindowBase*) override {}
    PreviewPoint window_position(WindowBase* window) override { return as_fake(window)->position; }
    void window_move(WindowBase* window, PreviewPoint p) override { as_fake(window)->position = p; }
    PreviewPoint cascade_step() override { return {6, 20}; }
    void window_request_one_to_one(WindowBase*) override {}
    void parent_panel_ended(WindowBase*) override { log.push_back("parent_panel_ended"); }
    void show_error(int code) override { errors.push_back(code); }
    void history_record(WindowBase* result, WindowBase*, WindowBase*, const TransformDescriptor&,
                        const void*, HistoryMode mode) override {
        history.push_back({result, mode});
    }
    void link_remove(WindowBase* owner, WindowBase* target) override {
        log.push_back("link_remove");
        TransformHost::link_remove(owner, target);
    }
    void run_open_queue() override { log.push_back("run_open_queue"); }

    static FakeWindow* as_fake(WindowBase* w) { return static_cast<FakeWindow*>(w); }
    bool alive(WindowBase* w) const {
        return std::find(windows.begin(), windows.end(), w) != windows.end();
    }
    // Image windows made by the driver that are still open.
    int open_made_windows() const {
        return static_cast<int>(std::count_if(windows.begin(), windows.end(),
                                              [](FakeWindow* w) { return w->name == "window"; }));
    }

    std::vector<FakeWindow*> windows;
    std::vector<std::string> log;
    std::map<TransformButton, bool> enabled;
    std::map<TransformButton, bool> checked;
    std::vector<WindowBase*> activated;
    std::vector<TransformRegion> updated_regions;
    std::vector<int> errors;
    std::vector<std::pair<WindowBase*, HistoryMode>> history;
    PreviewArea area{1600, 1200, 10, 30, true};
    bool main_area = true;
    int create_fails = 0;
    int created = 0;
    int redraws = 0;
    std::pair<int, int> layout{-1, -1};  // type, width

private:
    void forget(WindowBase* w) {
        auto it = std::find(windows.begin(), windows.end(), w);
        ASSERT_NE(it, windows.end());
        delete *it;
        windows.erase(it);
    }
};

class DriverTest : public ::testing::Test {
protected:
    void SetUp() override {
        window_record_table_init();
        saved_prefs_ = preferences();
        preferences().defaultpreview = false;
        preferences().stickysettings = true;
        preferences().confirm = confirm_yes;
        preferences().maxpreviewsize = preview_size_half;
        preferences().previewlocation = 0;
        compute_log = ComputeLog{};
        test_static = TestParams{};
        test_fresh = true;
        host_ = std::make_unique<FakeHost>();
        transform_set_host(host_.get());
        input_ = make_image_window(200, 100, {100, 50});
    }
    void TearDown() override {
        if (transform_state().descriptor) transform_cancel();
        transform_set_host(nullptr);
        host_.reset();
        for (auto& w : inputs_)
            window_record_release(w->record_slot);
        preferences() = saved_prefs_;
    }

    FakeWindow* make_image_window(int width, int height, PreviewPoint position) {
        auto w = std::make_unique<FakeWindow>();
        w->name = "input";
        w->position = position;
        int slot = -1;
        WindowRecord* record = nullptr;
        EXPECT_EQ(window_record_take(&slot, &record), 0);
        EXPECT_EQ(image_alloc(&record->image, image_type_gray8, width, height, 150.0), 0);
        for (int y = 0; y < height; ++y)
            std::memset(record->image.rows[y], 0, static_cast<std::size_t>(width));
        record->zoom = 1;
        window_record_bind(record, w.get());
        inputs_.push_back(std::move(w));
        return inputs_.back().get();
    }

    void open(bool auto_preview = false) {
        preferences().defaultpreview = auto_preview;
        ASSERT_EQ(transform_open(test_transform, input_), 0);
    }
    TransformState& s() { return transform_state(); }
    bool preview_enabled() { return host_->enabled[TransformButton::preview]; }

    std::unique_ptr<FakeHost> host_;
    std::vector<std::unique_ptr<FakeWindow>> inputs_;
    FakeWindow* input_ = nullptr;
    Preferences saved_prefs_;
};

// ---------------------------------------------------------------------------

TEST_F(DriverTest, AutoComputesOnePreviewPerChangeWithPreviewDisabled) {
    open(true);
    EXPECT_TRUE(host_->checked[TransformButton::auto_preview]);  // pressed by itself
    ASSERT_EQ(compute_log.runs, 1);
    WindowBase* preview = s().preview_window;
    ASSERT_NE(preview, nullptr);
    for (int change = 1; change <= 3; ++change) {
        params().level = change;
        transform_parameter_changed();
        EXPECT_EQ(compute_log.runs, 1 + change);
    }
    EXPECT_FALSE(preview_enabled());
    EXPECT_EQ(s().preview_window, preview);  // the same window all along
    EXPECT_EQ(host_->created, 1);
    // The preview reads the whole input at the window's reduction.
    const ComputeArgs& last = compute_log.args.back();
    EXPECT_FALSE(last.apply);
    EXPECT_EQ((std::vector{last.zoom, last.line_width, last.line_count}),
              (std::vector{1, 200, 100}));
    EXPECT_EQ(last.output, &window_record_of(preview)->view_copy);
    EXPECT_EQ(static_cast<const TestParams*>(last.params)->level, 3);
}

TEST_F(DriverTest, WithoutAutoAChangeOnlyEnablesPreview) {
    open();
    EXPECT_EQ(compute_log.runs, 0);
    transform_button(TransformButton::preview);
    EXPECT_EQ(compute_log.runs, 1);
    EXPECT_FALSE(preview_enabled());
    transform_button(TransformButton::preview);  // nothing changed: no new computation
    EXPECT_EQ(compute_log.runs, 1);
    transform_parameter_changed();
    EXPECT_EQ(compute_log.runs, 1);
    EXPECT_TRUE(preview_enabled());
    EXPECT_TRUE(s().preview_stale);

    // "Auto" on runs a stale preview at once; off leaves "Preview" disabled.
    transform_button(TransformButton::auto_preview);
    EXPECT_EQ(compute_log.runs, 2);
    transform_button(TransformButton::auto_preview);
    EXPECT_FALSE(s().auto_preview);
    EXPECT_FALSE(preview_enabled());
    EXPECT_EQ(compute_log.runs, 2);

    // After an Apply the preview stands stale with "Auto" back on; "Auto"
    // going off then leaves "Preview" to bring it up to date.
    transform_button(TransformButton::auto_preview);
    transform_button(TransformButton::apply);
    ASSERT_TRUE(s().auto_preview && s().preview_stale);
    EXPECT_FALSE(preview_enabled());
    const int runs = compute_log.runs;
    transform_button(TransformButton::auto_preview);
    EXPECT_TRUE(preview_enabled());
    EXPECT_EQ(compute_log.runs, runs);
    transform_button(TransformButton::preview);
    EXPECT_EQ(compute_log.runs, runs + 1);
}

TEST_F(DriverTest, NothingComputesInsideARunningComputation) {
    open(true);
    ASSERT_EQ(compute_log.runs, 1);
    const int made = host_->created;

    // Events served during a preview: a change, a scroll and presses.
    compute_log.during = [](const ComputeArgs&) {
        params().level = 9;
        transform_parameter_changed();
        transform_view_changed({0, 0, 10, 10});
        transform_button(TransformButton::apply);
        transform_button(TransformButton::auto_preview);
        transform_ok();
    };
    params().level = 3;
    transform_parameter_changed();
    EXPECT_EQ(compute_log.deepest, 1);
    // The presses were dropped; the change gives one more whole preview after.
    EXPECT_EQ(compute_log.runs, 3);
    EXPECT_TRUE(compute_log.args.back().whole_region());
    EXPECT_EQ(static_cast<const TestParams*>(compute_log.args.back().params)->level, 9);
    EXPECT_EQ(host_->created, made);
    EXPECT_TRUE(s().auto_preview);
    EXPECT_FALSE(s().preview_stale);

    // Without "Auto" such a change leaves the preview stale for "Preview".
    transform_button(TransformButton::auto_preview);
    compute_log.during = [](const ComputeArgs&) { transform_parameter_changed(); };
    transform_parameter_changed();
    transform_button(TransformButton::preview);
    EXPECT_EQ(compute_log.runs, 4);
    EXPECT_TRUE(preview_enabled());

    // A change during an Apply is not in the result: "OK" applies again.
    compute_log.during = [](const ComputeArgs&) { transform_parameter_changed(); };
    transform_button(TransformButton::apply);
    EXPECT_TRUE(s().changed_since_apply);
    const int results = host_->created;
    transform_ok();
    EXPECT_EQ(host_->created, results + 1);
    EXPECT_EQ(s().descriptor, nullptr);
}

TEST_F(DriverTest, ApplyMakesACascadedResultAndKeepsThePreview) {
    window_record_of(input_)->file_name = "/photos/in.tif";
    open(true);
    WindowBase* preview = s().preview_window;
    std::vector<WindowBase*> results;
    for (int n = 1; n <= 3; ++n) {
        params().level = n;
        transform_parameter_changed();
        transform_button(TransformButton::apply);
        WindowBase* result = s().last_result_window;
        ASSERT_NE(result, nullptr);
        results.push_back(result);
        EXPECT_EQ(result->modified, 1);
        EXPECT_TRUE(FakeHost::as_fake(result)->visible);
        // The full computation: the whole input at zoom 1 into the result's image.
        const ComputeArgs& a = compute_log.args.back();
        EXPECT_TRUE(a.apply);
        EXPECT_EQ(a.zoom, 1);
        EXPECT_EQ(a.output, &window_record_of(result)->image);
        EXPECT_EQ(s().preview_window, preview);
        EXPECT_FALSE(s().changed_since_apply);
        ASSERT_EQ(host_->history.size(), static_cast<std::size_t>(n));
        EXPECT_EQ(host_->history.back().second, HistoryMode::panel_stays_open);
    }
    // Each result lies one step further right and down from the input at (100, 50).
    EXPECT_EQ(FakeHost::as_fake(results[0])->position, (PreviewPoint{106, 70}));
    EXPECT_EQ(FakeHost::as_fake(results[2])->position, (PreviewPoint{118, 110}));
    EXPECT_EQ(window_record_of(results[2])->derived_from, "/photos/in.tif");
}

TEST_F(DriverTest, OkAfterAChangeAppliesAndCloses) {
    preferences().confirm = confirm_last;
    input_->modified = 1;
    open();
    params().level = 42;
    transform_parameter_changed();
    transform_ok();
    EXPECT_EQ(s().descriptor, nullptr);
    EXPECT_EQ(host_->open_made_windows(), 1);
    ASSERT_EQ(host_->history.size(), 1u);
    EXPECT_EQ(host_->history[0].second, HistoryMode::panel_ends);
    EXPECT_EQ(input_->modified, 0);  // only the end of a chain asks to be saved
    EXPECT_EQ(test_static.level, 42);
    EXPECT_FALSE(test_fresh);
}

TEST_F(DriverTest, FailuresStopThePreviewOrKeepItAndTurnAutoOff) {
    // An abort during Apply: no result, the stopped preview stays, the panel too.
    open(true);
    WindowBase* preview = s().preview_window;
    compute_log.fail_code = err_aborted;
    compute_log.fail_at_apply_only = true;
    transform_button(TransformButton::apply);
    EXPECT_EQ(host_->open_made_windows(), 1);
    EXPECT_TRUE(host_->alive(preview));
    EXPECT_EQ(s().last_result_window, nullptr);
    EXPECT_FALSE(host_->checked[TransformButton::auto_preview]);
    EXPECT_TRUE(preview_enabled());
    EXPECT_EQ(host_->errors, std::vector<int>{err_aborted});
    EXPECT_TRUE(host_->history.empty());
    transform_ok();
    EXPECT_NE(s().descriptor, nullptr);
    EXPECT_TRUE(transform_run(true, nullptr));  // an abort is what transform_run reports
    transform_cancel();

    // Any other failure of a preview closes it.
    host_->errors.clear();
    open(true);
    compute_log.fail_code = err_memory;
    compute_log.fail_at_apply_only = false;
    params().level = 5;
    transform_parameter_changed();
    EXPECT_EQ(host_->open_made_windows(), 0);
    EXPECT_FALSE(s().auto_preview);
    EXPECT_TRUE(preview_enabled());
    EXPECT_EQ(host_->errors, std::vector<int>{err_memory});
    EXPECT_EQ(host_->activated.back(), s().panel_window);
    EXPECT_EQ(params().level, 5);                 // the parameters stay
    EXPECT_FALSE(transform_run(false, nullptr));  // a failure that is not an abort

    // No window record left: the host's code, and nothing computed.
    compute_log.fail_code = 0;
    host_->errors.clear();
    const int runs = compute_log.runs;
    host_->create_fails = 13;
    EXPECT_TRUE(transform_run(false, nullptr));
    EXPECT_EQ(host_->errors, std::vector<int>{13});
    EXPECT_EQ(compute_log.runs, runs);
}

TEST_F(DriverTest, CancelAndClosingOrder) {
    open(true);
    host_->activated.clear();
    transform_cancel();
    EXPECT_EQ(host_->open_made_windows(), 0);
    EXPECT_EQ(host_->activated.front(), input_);

    host_->main_area = false;  // an input inside a workflow window
    open(true);
    ASSERT_EQ(link_blocker(input_), "Test Transform");
    WindowBase* preview = s().preview_window;
    host_->log.clear();
    transform_cancel();
    // A preview in another parent is left to it.
    EXPECT_TRUE(host_->alive(preview));
    EXPECT_EQ(host_->log, (std::vector<std::string>{"link_remove", "parent_panel_ended",
                                                    "panel_destroy", "run_open_queue"}));
    EXPECT_EQ(link_blocker(input_), "");
    EXPECT_EQ(s().preview_window, nullptr);
    EXPECT_EQ(s().panel_code, 0);
}

TEST_F(DriverTest, StartValuesFollowTheSettingsRule) {
    open();
    EXPECT_EQ(params().level, 10);  // built in
    params().level = 77;
    params().amount.amount_low = 300;
    transform_cancel();

    open();  // sticky: the panel reopens as it was left
    EXPECT_EQ(params().level, 77);
    EXPECT_EQ(params().amount.amount_low, 300);
    transform_cancel();

    settings_set_shift_hook([] { return true; });  // Shift: built-in values, fresh again
    open();
    settings_set_shift_hook(nullptr);
    EXPECT_EQ(params().level, 10);
    EXPECT_EQ(params().amount.amount_low, 1024);
    EXPECT_TRUE(test_fresh);
}

TEST_F(DriverTest, AStandingMaskTakesTheAmountAndASavedPairReturns) {
    FakeWindow* mask = make_image_window(200, 100, {0, 0});
    window_record_of(input_)->mask_window = mask;
    open();
    EXPECT_EQ(params().amount.amount_mask, &window_record_of(mask)->image);
    EXPECT_EQ((std::pair{params().amount.amount_low, params().amount.amount_high}),
              (std::pair{0, 1024}));
    params().amount.amount_low = 100;
    params().amount.amount_high = 800;
    transform_cancel();
    open();  // again with the mask: the saved pair returns
    EXPECT_EQ((std::pair{params().amount.amount_low, params().amount.amount_high}),
              (std::pair{100, 800}));
}

TEST_F(DriverTest, ANewInputOfAnotherSizeDropsTheMaskAndResumesAuto) {
    FakeWindow* mask = make_image_window(200, 100, {0, 0});
    window_record_of(input_)->mask_window = mask;
    open(true);
    const int runs = compute_log.runs;

    FakeWindow* same_size = make_image_window(200, 100, {10, 10});
    transform_input_changed(same_size);
    EXPECT_EQ(params().amount.amount_mask_window, mask);  // still fits
    EXPECT_EQ(compute_log.runs, runs + 1);                // "Auto" resumed with one preview
    EXPECT_FALSE(preview_enabled());
    EXPECT_EQ(link_blocker(same_size), "Test Transform");
    EXPECT_EQ(link_blocker(input_), "");

    FakeWindow* larger = make_image_window(300, 120, {10, 10});
    transform_input_changed(larger);
    EXPECT_EQ(params().amount.amount_mask, nullptr);
    EXPECT_EQ(params().amount.amount_high, -1);
    EXPECT_EQ(host_->layout, (std::pair{int{image_type_gray8}, 300}));
    EXPECT_EQ(compute_log.args.back().line_width, 300);
}

TEST_F(DriverTest, ResizeAndRotateDoNotReturnToAutoAfterApply) {
    static const TransformDescriptor resize_like = [] {
        TransformDescriptor d = test_transform;
        d.panel_code = 24;
        return d;
    }();
    preferences().defaultpreview = true;
    ASSERT_EQ(transform_open(resize_like, input_), 0);
    EXPECT_TRUE(s().auto_preview);
    transform_button(TransformButton::apply);
    EXPECT_FALSE(host_->checked[TransformButton::auto_preview]);
    EXPECT_TRUE(preview_enabled());  // the stale preview waits for "Preview"
}

TEST_F(DriverTest, AScrolledPreviewRecomputesOnlyTheStrip) {
    // A large input gets a reduced preview: 1600 / 2 = 800 wide at most.
    input_ = make_image_window(2000, 1000, {0, 0});
    open(true);
    WindowRecord* record = window_record_of(s().preview_window);
    ASSERT_EQ(record->zoom, -3);
    EXPECT_EQ(record->view_width, 667);
    EXPECT_EQ(host_->updated_regions.back(), (TransformRegion{0, 0, 666, 333}));
    const int redraws = host_->redraws;

    transform_view_changed({600, 10, 666, 333});
    const ComputeArgs& a = compute_log.args.back();
    EXPECT_EQ(
        (std::vector{a.region_x1, a.region_y1, a.source_x, a.source_y, a.line_width, a.line_count}),
        (std::vector{600, 10, 1800, 30, 67, 324}));
    EXPECT_EQ(host_->updated_regions.back(), (TransformRegion{600, 10, 666, 333}));
    EXPECT_EQ(host_->redraws, redraws);  // no whole redraw for a strip
}

}  // namespace
