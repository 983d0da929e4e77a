// The progress panel of long computations, and the editor's ProgressDisplay.
//
// A computation runs on the interface thread and never returns to the event
// loop until it ends. Each step paints the panel's bar and then lets through
// only what the panel needs: input to the panel itself (so that its "Cancel"
// button works and it can be moved), painting, timers and queued calls. User
// input meant for the rest of the interface is dropped, except button releases,
// which are handed over when the panel closes so that a slider or button held
// down when the computation began isn't left stuck.
#pragma once

#include "core/progress.h"
#include "core/window_record.h"

#include <QElapsedTimer>
#include <QFrame>
#include <QPointer>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class PanelTitleBar;
class QLabel;
class QMdiArea;
class QPushButton;

// The remaining time as the panel shows it: hours, minutes and seconds, the
// seconds being one more than computed so that the count never shows zero.
struct TimeLeft {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    bool operator==(const TimeLeft&) const = default;
};

// Estimates the remaining time after `elapsed_ms` for `done` of `range` steps:
// elapsed * range / done - elapsed, in seconds, rounded. None while nothing is done.
std::optional<TimeLeft> progress_time_left(std::int64_t elapsed_ms, std::int64_t done,
                                           std::int64_t range);
// "Time left: %2d:%2d:%2d" through the system's formatter.
QString progress_time_text(const TimeLeft& time);

// The bar: white, black from the left as far as the work is done, with a tick
// mark at every tenth.
class ProgressBar : public QWidget {
    Q_OBJECT
public:
    explicit ProgressBar(QWidget* parent = nullptr);
    // Sets how much is done and repaints at once when the black part grew or
    // shrank by a pixel or more; returns whether it did.
    bool set_progress(std::int64_t done, std::int64_t range);
    // The width of the black part in pixels, inside the border.
    int filled_width() const { return filled_; }
    // The pixel range inside the border that the black part grows over.
    QRect inner_rect() const;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    int width_for(std::int64_t done, std::int64_t range) const;
    std::int64_t done_ = 0;
    std::int64_t range_ = 0;
    int filled_ = 0;
};

class ProgressPanel : public QFrame, public WindowBase {
    Q_OBJECT
public:
    // Milliseconds since some fixed moment; the panel's own clock by default.
    using Clock = std::function<std::int64_t()>;

    ProgressPanel(QMdiArea* area, const QString& title, std::int64_t first, std::int64_t last,
                  bool can_cancel, Clock clock = {});
    ~ProgressPanel() override;

    // Shows `value` of the range and serves the panel's own events; 0, or 11
    // once "Cancel" was pressed.
    [[nodiscard]] int step(std::int64_t value);

    bool cancelled() const { return cancelled_; }
    QString title() const;
    // Null when the panel was made without "Cancel".
    QPushButton* cancel_button() const { return cancel_; }
    ProgressBar* bar() const { return bar_; }
    // The time line as shown; empty until the second step.
    QString time_text() const;
    // How often the time line was redrawn.
    int time_redraws() const { return time_redraws_; }

    // Input events that arrived for other widgets while the panel served its
    // events, kept to be delivered when it closes.
    void keep_for_later(QObject* receiver, const QEvent* event);

private:
    void place();
    void serve_own_events();
    std::int64_t now() const;

    PanelTitleBar* title_bar_;
    ProgressBar* bar_;
    QLabel* time_;
    QPushButton* cancel_ = nullptr;
    Clock clock_;
    QElapsedTimer own_clock_;
    std::int64_t start_ms_;
    std::int64_t last_served_ms_ = 0;
    std::int64_t first_;
    std::int64_t last_;
    std::int64_t steps_ = 0;
    std::optional<TimeLeft> shown_;
    int time_redraws_ = 0;
    bool cancelled_ = false;
    std::vector<std::pair<QPointer<QObject>, std::unique_ptr<QEvent>>> kept_;
};

// True while a progress step is serving events. Handlers that would start a
// computation of their own test it and stay away.
bool progress_serving_events();

// The editor's display: a progress panel in the work area, and the wait cursor.
class ShellProgressDisplay : public ProgressDisplay {
public:
    explicit ShellProgressDisplay(QMdiArea* area);
    ~ShellProgressDisplay() override;

    void begin(const char* title, std::int64_t first, std::int64_t last, bool can_cancel) override;
    int step(std::int64_t value) override;
    void end() override;
    void wait_cursor(bool on) override;

    // The innermost open panel, or null.
    ProgressPanel* current() const;
    int wait_cursor_depth() const { return wait_depth_; }

private:
    QPointer<QMdiArea> area_;
    // One entry per open begin; null where no panel could be shown.
    std::vector<QPointer<ProgressPanel>> panels_;
    int wait_depth_ = 0;
};

// Installs the editor's display for `area` (once; later calls move it to the new area).
void progress_display_install(QMdiArea* area);
