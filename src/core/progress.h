// Progress and busy feedback for long operations.
//
// Core routines report progress through these free functions; the program
// decides how it is shown by installing a ProgressDisplay: a panel in the
// editor, status messages in the background process, nothing by default.
// All of it runs on the one interface thread.
#pragma once

#include <cstdint>

// Operations on fewer pixels than this show only the wait cursor and cannot be
// cancelled (width * height as a 32-bit product).
inline constexpr std::int32_t progress_threshold = 150000;

class ProgressDisplay {
public:
    virtual ~ProgressDisplay() = default;
    // Opens a progress panel counting from `first` to `last`.
    virtual void begin(const char* title, std::int64_t first, std::int64_t last,
                       bool can_cancel) = 0;
    // Shows `value`; returns 0, or 11 once the user has asked to cancel.
    virtual int step(std::int64_t value) = 0;
    virtual void end() = 0;
    // Shows or hides the wait cursor; calls nest.
    virtual void wait_cursor(bool on) = 0;
};

// Installs the display used from now on; null restores the silent default.
// Returns the one that was installed before.
ProgressDisplay* progress_set_display(ProgressDisplay* display);

void progress_begin(const char* title, std::int64_t first, std::int64_t last, bool can_cancel);
[[nodiscard]] int progress_step(std::int64_t value);
void progress_end();
void wait_cursor_begin();
void wait_cursor_end();

// Opens progress when `pixels` reaches the threshold and the wait cursor
// otherwise, and closes whichever it opened when it goes out of scope.
class ProgressScope {
public:
    ProgressScope(const char* title, std::int64_t pixels, std::int64_t first, std::int64_t last,
                  bool can_cancel);
    ~ProgressScope();
    ProgressScope(const ProgressScope&) = delete;
    ProgressScope& operator=(const ProgressScope&) = delete;

    // 0 below the threshold; otherwise the display's answer (0 or 11).
    [[nodiscard]] int step(std::int64_t value) const;
    bool shown() const { return shown_; }

private:
    bool shown_;
};

// Silences progress and the wait cursor on this thread for the lifetime of
// the object: work that runs beside the one that reports (the next band of a
// streamed run) shows nothing of its own.
class ProgressQuiet {
public:
    ProgressQuiet();
    ~ProgressQuiet();
    ProgressQuiet(const ProgressQuiet&) = delete;
    ProgressQuiet& operator=(const ProgressQuiet&) = delete;
};

// Shows the wait cursor for the lifetime of the object.
class WaitCursor {
public:
    WaitCursor() { wait_cursor_begin(); }
    ~WaitCursor() { wait_cursor_end(); }
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;
};
