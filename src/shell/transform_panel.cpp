#include "shell/transform_panel.h"

#include "core/preferences.h"
#include "shell/app_state.h"
#include "shell/panel_title_bar.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QMdiArea>
#include <QMouseEvent>
#include <QPushButton>
#include <QSizeGrip>

#include <algorithm>

namespace {

// "Apply" acts on a plain click only: the second click of a double click
// doesn't make a second result.
class ApplyButton : public QPushButton {
public:
    using QPushButton::QPushButton;

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override {
        QPushButton::mouseDoubleClickEvent(event);
        in_double_click_ = true;
    }
    void mouseReleaseEvent(QMouseEvent* event) override {
        if (!in_double_click_) {
            QPushButton::mouseReleaseEvent(event);
            return;
        }
        in_double_click_ = false;
        setDown(false);
        event->accept();
    }

private:
    bool in_double_click_ = false;
};

QPushButton* row_button(QWidget* row, QHBoxLayout* layout, QPushButton* button, const char* name) {
    button->setParent(row);
    button->setObjectName(QString::fromLatin1(name));
    button->setAutoDefault(false);
    layout->addWidget(button);
    return button;
}

int make_row(TransformPanel* panel, int x, int y, bool short_row) {
    if (panel == nullptr) return x;
    auto* row = new PanelButtonRow(panel->client(), short_row);
    row->move(x, y);
    row->resize(row->sizeHint());
    row->show();
    panel->set_button_row(row);
    return x + row->width();
}

}  // namespace

PanelButtonRow::PanelButtonRow(QWidget* parent, bool short_row) : QWidget(parent) {
    setObjectName(QStringLiteral("panel_buttons"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(panel_ui_sizes(this).gap);
    if (!short_row) {
        auto_ = new QCheckBox(QStringLiteral("Auto"), this);
        auto_->setObjectName(QStringLiteral("auto"));
        layout->addWidget(auto_);
        connect(auto_, &QCheckBox::clicked, this, [this] { emit pressed(PanelButton::automatic); });
        preview_ = row_button(this, layout, new QPushButton(QStringLiteral("Preview")), "preview");
        connect(preview_, &QPushButton::clicked, this,
                [this] { emit pressed(PanelButton::preview); });
    }
    apply_ = row_button(this, layout, new ApplyButton(QStringLiteral("Apply")), "apply");
    connect(apply_, &QPushButton::clicked, this, [this] { emit pressed(PanelButton::apply); });
    ok_ = row_button(this, layout, new QPushButton(QStringLiteral("OK")), "ok");
    connect(ok_, &QPushButton::clicked, this, [this] { emit pressed(PanelButton::ok); });
    cancel_ = row_button(this, layout, new QPushButton(QStringLiteral("Cancel")), "cancel");
    connect(cancel_, &QPushButton::clicked, this, [this] { emit pressed(PanelButton::cancel); });
}

// ---------------------------------------------------------------------------

TransformPanel::TransformPanel(QMdiArea* area, const QString& title, int client_width,
                               int client_height, int panel_number, int flags)
    : QFrame(area), flags_(flags) {
    window_kind = panel_number;
    setObjectName(QStringLiteral("transform_panel"));
    setWindowTitle(title);
    // A sub-window to Qt, so that a size grip resizes this panel and not the frame.
    setWindowFlags(Qt::SubWindow);
    setFrameStyle(QFrame::Panel | QFrame::Raised);
    setLineWidth(2);
    setAutoFillBackground(true);
    setFocusPolicy(Qt::ClickFocus);

    title_bar_ = new PanelTitleBar(this, title, (flags & panel_no_system_menu) == 0);
    connect(title_bar_, &PanelTitleBar::pressed, this, &TransformPanel::activate);
    connect(title_bar_, &PanelTitleBar::close_clicked, this,
            [this] { press(PanelButton::cancel); });
    client_ = new QWidget(this);
    client_->setObjectName(QStringLiteral("client"));
    if ((flags & panel_resizable) != 0) {
        grip_ = new QSizeGrip(this);
        grip_->setObjectName(QStringLiteral("size_grip"));
    }
    set_client_size(client_width, client_height);
}

TransformPanel::~TransformPanel() {
    links_forget_window(this);
    // When the frame is going, its files queued meanwhile go with it.
    if (app_state.mdi_area != nullptr) panel_closed(this);
}

QString TransformPanel::title() const {
    return title_bar_->title();
}

void TransformPanel::set_button_row(PanelButtonRow* row) {
    row_ = row;
    connect(row, &PanelButtonRow::pressed, this, &TransformPanel::press);
}

int TransformPanel::chrome_width() const {
    return 2 * frameWidth();
}

int TransformPanel::chrome_height() const {
    return 2 * frameWidth() + title_bar_->sizeHint().height();
}

void TransformPanel::set_client_size(int width, int height) {
    const QSize size(std::max(0, width) + chrome_width(), std::max(0, height) + chrome_height());
    if ((flags_ & panel_resizable) != 0) {
        setMinimumSize(chrome_width() + title_bar_->sizeHint().height() * 3, chrome_height());
        resize(size);
    } else {
        setFixedSize(size);
    }
}

void TransformPanel::fit_to_contents() {
    const QRect used = client_->childrenRect();
    const int gap = panel_ui_sizes(this).gap;
    set_client_size(used.isEmpty() ? 0 : used.right() + 1 + gap,
                    used.isEmpty() ? 0 : used.bottom() + 1 + gap);
}

void TransformPanel::resizeEvent(QResizeEvent* event) {
    QFrame::resizeEvent(event);
    const int border = frameWidth();
    const int bar = title_bar_->sizeHint().height();
    title_bar_->setGeometry(border, border, width() - 2 * border, bar);
    client_->setGeometry(border, border + bar, width() - 2 * border, height() - 2 * border - bar);
    if (grip_ != nullptr) {
        const QSize grip = grip_->sizeHint();
        grip_->setGeometry(width() - border - grip.width(), height() - border - grip.height(),
                           grip.width(), grip.height());
        grip_->raise();
    }
}

void TransformPanel::mousePressEvent(QMouseEvent* event) {
    activate();
    QFrame::mousePressEvent(event);
}

void TransformPanel::activate() {
    raise();
    // The keyboard goes to the control that had it last, or else the panel.
    QWidget* focus = focusWidget();
    if (focus == nullptr || !isAncestorOf(focus)) focus = this;
    focus->setFocus(Qt::ActiveWindowFocusReason);
}

void TransformPanel::press(PanelButton button) {
    emit button_pressed(button);
}

// ---------------------------------------------------------------------------

TransformPanel* panel_create(const QString& title, int client_width, int client_height,
                             int panel_number, int flags, QMdiArea* area) {
    if (area == nullptr) area = app_state.mdi_area;
    if (area == nullptr) return nullptr;
    auto* panel = new TransformPanel(area, title, client_width, client_height, panel_number, flags);
    const QRect room = area->viewport()->geometry();
    panel->move(room.left() + (room.width() - panel->width()) / 2,
                room.top() + room.height() - panel->height());
    panel_keep_visible(panel);
    panel_opened(panel);
    return panel;
}

int panel_buttons(TransformPanel* panel, int x, int y) {
    return make_row(panel, x, y, false);
}

int panel_buttons_auto(TransformPanel* panel, int x, int y) {
    const int after = make_row(panel, x, y, false);
    if (panel != nullptr && preferences().defaultpreview) {
        // Queued: the panel is still being built, and nobody listens yet.
        QPointer<TransformPanel> guard(panel);
        QMetaObject::invokeMethod(
            panel,
            [guard] {
                if (guard.isNull() || guard->button_row() == nullptr) return;
                QCheckBox* box = guard->button_row()->auto_box();
                if (box != nullptr && !box->isChecked()) box->click();
            },
            Qt::QueuedConnection);
    }
    return after;
}

int panel_buttons_short(TransformPanel* panel, int x, int y) {
    return make_row(panel, x, y, true);
}

void panel_keep_visible(TransformPanel* panel) {
    if (panel == nullptr) return;
    auto* area = qobject_cast<QMdiArea*>(panel->parentWidget());
    const QRect room =
        area != nullptr
            ? area->viewport()->geometry()
            : (panel->parentWidget() != nullptr ? panel->parentWidget()->rect() : QRect());
    if (room.isEmpty()) return;
    int x = std::min(panel->x(), room.right() + 1 - panel->width());
    int y = std::min(panel->y(), room.bottom() + 1 - panel->height());
    x = std::max(x, room.left());
    y = std::max(y, room.top());
    panel->move(x, y);
}
