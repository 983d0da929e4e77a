#include "core/progress.h"

namespace {

class SilentDisplay final : public ProgressDisplay {
public:
    void begin(const char*, std::int64_t, std::int64_t, bool) override {}
    int step(std::int64_t) override { return 0; }
    void end() override {}
    void wait_cursor(bool) override {}
};

SilentDisplay silent_display;
ProgressDisplay* current_display = &silent_display;
thread_local int quiet_depth = 0;

ProgressDisplay* display() {
    return quiet_depth > 0 ? &silent_display : current_display;
}

}  // namespace

ProgressQuiet::ProgressQuiet() {
    ++quiet_depth;
}

ProgressQuiet::~ProgressQuiet() {
    --quiet_depth;
}

ProgressDisplay* progress_set_display(ProgressDisplay* display) {
    ProgressDisplay* old = current_display == &silent_display ? nullptr : current_display;
    current_display = display ? display : &silent_display;
    return old;
}

void progress_begin(const char* title, std::int64_t first, std::int64_t last, bool can_cancel) {
    display()->begin(title, first, last, can_cancel);
}

int progress_step(std::int64_t value) {
    return display()->step(value);
}

void progress_end() {
    display()->end();
}

void wait_cursor_begin() {
    display()->wait_cursor(true);
}

void wait_cursor_end() {
    display()->wait_cursor(false);
}

ProgressScope::ProgressScope(const char* title, std::int64_t pixels, std::int64_t first,
                             std::int64_t last, bool can_cancel)
    : shown_(pixels >= progress_threshold) {
    if (shown_)
        progress_begin(title, first, last, can_cancel);
    else
        wait_cursor_begin();
}

ProgressScope::~ProgressScope() {
    if (shown_)
        progress_end();
    else
        wait_cursor_end();
}

int ProgressScope::step(std::int64_t value) const {
    return shown_ ? progress_step(value) : 0;
}
