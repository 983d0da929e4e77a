#include "shell/progress_panel.h"

#include "core/format.h"
#include "shell/app_state.h"
#include "shell/panel_title_bar.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMdiArea>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace {

// Events are served at most this often: a step comes after every line, and
// serving events for each of them would cost more than the lines themselves.
constexpr std::int64_t serve_interval_ms = 10;

bool serving = false;

// While a step serves events: lets the panel's own events through and keeps
// the user's hands off the rest.
class InputFreeze : public QObject {
public:
    explicit InputFreeze(ProgressPanel* panel) : panel_(panel) {}

protected:
    bool eventFilter(QObject* receiver, QEvent* event) override {
        if (receiver->isWidgetType()) {
            auto* widget = static_cast<QWidget*>(receiver);
            if (widget == panel_ || panel_->isAncestorOf(widget)) return false;
        } else if (receiver->isWindowType()) {
            // A window resized now would lay out its widgets, and so reallocate
            // screen copies that the computation may be writing: later.
            if (event->type() == QEvent::Resize) {
                panel_->keep_for_later(receiver, event);
                return true;
            }
            // The window passes other input on to its widgets, which are judged here.
            return false;
        }
        switch (event->type()) {
            case QEvent::MouseButtonRelease:
                panel_->keep_for_later(receiver, event);
                event->accept();
                return true;
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonDblClick:
            case QEvent::MouseMove:
            case QEvent::Wheel:
            case QEvent::KeyPress:
            case QEvent::KeyRelease:
            case QEvent::ShortcutOverride:
            case QEvent::Shortcut:
            case QEvent::ContextMenu:
            case QEvent::TabletPress:
            case QEvent::TabletMove:
            case QEvent::TabletRelease:
            case QEvent::TouchBegin:
            case QEvent::TouchUpdate:
            case QEvent::TouchEnd:
            case QEvent::TouchCancel:
            case QEvent::NonClientAreaMouseButtonPress:
            case QEvent::NonClientAreaMouseButtonRelease:
            case QEvent::NonClientAreaMouseButtonDblClick:
            case QEvent::NonClientAreaMouseMove:
            case QEvent::HoverEnter:
            case QEvent::HoverMove:
            case QEvent::HoverLeave:
            case QEvent::ToolTip:
            case QEvent::WhatsThis:
                // Accepted, so that it goes no further up to the parents.
                event->accept();
                return true;
            case QEvent::Close:
            case QEvent::DragEnter:
            case QEvent::DragMove:
            case QEvent::Drop:
                // Refused: the window stays open, the drop is turned away.
                event->ignore();
                return true;
            default:
                return false;
        }
    }

private:
    ProgressPanel* panel_;
};

}  // namespace

std::optional<TimeLeft> progress_time_left(std::int64_t elapsed_ms, std::int64_t done,
                                           std::int64_t range) {
    if (done <= 0) return std::nullopt;
    const double elapsed = static_cast<double>(elapsed_ms) / 1000.0;
    const double remaining =
        elapsed * static_cast<double>(range) / static_cast<double>(done) - elapsed;
    const long long seconds = std::max(0LL, std::llround(remaining));
    TimeLeft time;
    time.hours = static_cast<int>(std::min<long long>(seconds / 3600, 1000000));
    time.minutes = static_cast<int>(seconds / 60 % 60);
    time.seconds = static_cast<int>(seconds % 60) + 1;
    return time;
}

QString progress_time_text(const TimeLeft& time) {
    return QString::fromStdString(
        format_text("Time left: %2d:%2d:%2d", time.hours, time.minutes, time.seconds));
}

// ---------------------------------------------------------------------------

ProgressBar::ProgressBar(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("progress_bar"));
    setAttribute(Qt::WA_OpaquePaintEvent);
}

QSize ProgressBar::sizeHint() const {
    return {fontMetrics().averageCharWidth() * 40, fontMetrics().height() * 11 / 8};
}

QRect ProgressBar::inner_rect() const {
    return rect().adjusted(1, 1, -1, -1);
}

int ProgressBar::width_for(std::int64_t done, std::int64_t range) const {
    const int inner = std::max(0, inner_rect().width());
    // A range of one value is all done once past it.
    if (range <= 0) return done > 0 ? inner : 0;
    const std::int64_t clamped = std::clamp<std::int64_t>(done, 0, range);
    return static_cast<int>(clamped * inner / range);
}

bool ProgressBar::set_progress(std::int64_t done, std::int64_t range) {
    done_ = done;
    range_ = range;
    const int width = width_for(done, range);
    if (width == filled_) return false;
    filled_ = width;
    repaint();
    return true;
}

void ProgressBar::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    filled_ = width_for(done_, range_);
}

void ProgressBar::paintEvent(QPaintEvent* event) {
    (void)event;
    QPainter painter(this);
    const QRect inner = inner_rect();
    painter.fillRect(rect(), Qt::black);  // the border
    painter.fillRect(inner, Qt::white);
    // The ticks run down the lower half of the bar at each tenth.
    for (int tenth = 1; tenth <= 9; ++tenth) {
        const int x = inner.left() + inner.width() * tenth / 10;
        painter.fillRect(
            QRect(x, inner.top() + inner.height() / 2, 1, inner.height() - inner.height() / 2),
            Qt::black);
    }
    if (filled_ > 0)
        painter.fillRect(QRect(inner.left(), inner.top(), filled_, inner.height()), Qt::black);
}

// ---------------------------------------------------------------------------

ProgressPanel::ProgressPanel(QMdiArea* area, const QString& title, std::int64_t first,
                             std::int64_t last, bool can_cancel, Clock clock)
    : QFrame(area), clock_(std::move(clock)), first_(first), last_(last) {
    own_clock_.start();
    start_ms_ = now();
    window_kind = window_kind_progress;
    setObjectName(QStringLiteral("progress_panel"));
    setFrameStyle(QFrame::Panel | QFrame::Raised);
    setLineWidth(2);
    setAutoFillBackground(true);

    const UiSizes sizes = panel_ui_sizes(this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(frameWidth(), frameWidth(), frameWidth(), frameWidth());
    layout->setSpacing(0);
    title_bar_ = new PanelTitleBar(this, title, false);
    layout->addWidget(title_bar_);

    auto* body = new QVBoxLayout;
    body->setContentsMargins(sizes.gap * 2, sizes.gap * 2, sizes.gap * 2, sizes.gap * 2);
    body->setSpacing(sizes.gap * 2);
    bar_ = new ProgressBar(this);
    bar_->setFixedHeight(sizes.button_height);
    body->addWidget(bar_);
    time_ = new QLabel(this);
    time_->setObjectName(QStringLiteral("time_left"));
    time_->setMinimumWidth(fontMetrics().horizontalAdvance(progress_time_text({99, 59, 60})));
    body->addWidget(time_);
    if (can_cancel) {
        cancel_ = new QPushButton(QStringLiteral("Cancel"), this);
        cancel_->setObjectName(QStringLiteral("cancel"));
        connect(cancel_, &QPushButton::clicked, this, [this] { cancelled_ = true; });
        body->addWidget(cancel_, 0, Qt::AlignHCenter);
    }
    layout->addLayout(body);
    resize(sizeHint());
    place();
}

ProgressPanel::~ProgressPanel() {
    // Releases that came meanwhile go where they were meant to, once the
    // computation has returned to the event loop.
    for (auto& [receiver, event] : kept_) {
        if (!receiver.isNull()) QCoreApplication::postEvent(receiver, event.release());
    }
}

QString ProgressPanel::title() const {
    return title_bar_->title();
}

QString ProgressPanel::time_text() const {
    return time_->text();
}

std::int64_t ProgressPanel::now() const {
    return clock_ ? clock_() : own_clock_.elapsed();
}

void ProgressPanel::place() {
    auto* area = qobject_cast<QMdiArea*>(parentWidget());
    if (area == nullptr) return;
    const QRect room = area->viewport()->geometry();
    const int x = room.left() + std::max(0, (room.width() - width()) / 2);
    const int y = room.top() + std::max(0, std::min(room.height() / 8, room.height() - height()));
    move(x, y);
}

void ProgressPanel::keep_for_later(QObject* receiver, const QEvent* event) {
    kept_.emplace_back(receiver, std::unique_ptr<QEvent>(event->clone()));
}

int ProgressPanel::step(std::int64_t value) {
    ++steps_;
    const std::int64_t done = value - first_;
    const std::int64_t range = last_ - first_;
    bar_->set_progress(done, range);
    if (steps_ == 1) {
        // The panel has had no chance to paint since it was shown.
        raise();
        repaint();
        if (cancel_ != nullptr) cancel_->repaint();
    } else if (const auto time = progress_time_left(now() - start_ms_, done, range);
               time && time != shown_) {
        shown_ = time;
        time_->setText(progress_time_text(*time));
        time_->repaint();
        ++time_redraws_;
    }
    serve_own_events();
    return cancelled_ ? 11 : 0;
}

void ProgressPanel::serve_own_events() {
    // Without "Cancel" there is nothing to serve; nested steps leave it to the outer one.
    if (cancel_ == nullptr || serving) return;
    const std::int64_t at = now();
    if (steps_ > 1 && at - last_served_ms_ < serve_interval_ms) return;
    last_served_ms_ = at;
    InputFreeze freeze(this);
    qApp->installEventFilter(&freeze);
    serving = true;
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    serving = false;
    qApp->removeEventFilter(&freeze);
}

bool progress_serving_events() {
    return serving;
}

// ---------------------------------------------------------------------------

ShellProgressDisplay::ShellProgressDisplay(QMdiArea* area) : area_(area) {}

ShellProgressDisplay::~ShellProgressDisplay() {
    ProgressDisplay* installed = progress_set_display(nullptr);
    if (installed != this) progress_set_display(installed);
    // At the program's end the application, and the panels with their area, may be gone.
    if (qApp == nullptr) return;
    for (const QPointer<ProgressPanel>& panel : panels_)
        delete panel.data();
    while (wait_depth_ > 0)
        wait_cursor(false);
}

void ShellProgressDisplay::begin(const char* title, std::int64_t first, std::int64_t last,
                                 bool can_cancel) {
    ProgressPanel* panel = nullptr;
    if (!area_.isNull() && !app_state.batch_parent) {
        panel = new ProgressPanel(area_, QString::fromUtf8(title ? title : ""), first, last,
                                  can_cancel);
        panel->show();
        panel->raise();
    }
    panels_.emplace_back(panel);
}

int ShellProgressDisplay::step(std::int64_t value) {
    ProgressPanel* panel = current();
    return panel != nullptr ? panel->step(value) : 0;
}

void ShellProgressDisplay::end() {
    if (panels_.empty()) return;
    delete panels_.back().data();
    panels_.pop_back();
}

ProgressPanel* ShellProgressDisplay::current() const {
    return panels_.empty() ? nullptr : panels_.back().data();
}

void ShellProgressDisplay::wait_cursor(bool on) {
    if (on) {
        ++wait_depth_;
        QApplication::setOverrideCursor(Qt::WaitCursor);
    } else if (wait_depth_ > 0) {
        --wait_depth_;
        QApplication::restoreOverrideCursor();
    }
}

void progress_display_install(QMdiArea* area) {
    static std::unique_ptr<ShellProgressDisplay> display;
    auto next = std::make_unique<ShellProgressDisplay>(area);
    progress_set_display(next.get());
    display = std::move(next);
}
