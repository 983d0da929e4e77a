#include "shell/panel_title_bar.h"

#include <QMouseEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace {

// How much of a dragged panel stays inside its parent, so that it can be taken back.
constexpr int keep_in_view = 40;

}  // namespace

UiSizes panel_ui_sizes(const QWidget* widget) {
    UiSizes sizes = app_state.sizes;
    if (sizes.button_height <= 0) sizes = ui_sizes_compute(widget->font());
    return sizes;
}

PanelTitleBar::PanelTitleBar(QWidget* panel, const QString& title, bool close_box)
    : QWidget(panel), panel_(panel), title_(title), close_box_(close_box) {
    setObjectName(QStringLiteral("title_bar"));
    setAttribute(Qt::WA_Hover);
}

void PanelTitleBar::set_title(const QString& title) {
    title_ = title;
    update();
}

QStyleOptionTitleBar PanelTitleBar::style_option() const {
    QStyleOptionTitleBar option;
    option.initFrom(this);
    option.rect = rect();
    option.text = title_;
    option.titleBarFlags = Qt::SubWindow | Qt::WindowTitleHint;
    option.subControls = QStyle::SC_TitleBarLabel;
    if (close_box_) {
        option.titleBarFlags |= Qt::WindowSystemMenuHint;
        option.subControls |= QStyle::SC_TitleBarCloseButton;
    }
    // Panels float in front of the image windows: their bars always look active.
    option.state |= QStyle::State_Active;
    option.titleBarState = Qt::WindowActive;
    option.palette.setCurrentColorGroup(QPalette::Active);
    if (close_down_) {
        option.activeSubControls = QStyle::SC_TitleBarCloseButton;
        option.state |= QStyle::State_Sunken;
    }
    return option;
}

QRect PanelTitleBar::close_box_rect() const {
    if (!close_box_) return {};
    const QStyleOptionTitleBar option = style_option();
    return style()->subControlRect(QStyle::CC_TitleBar, &option, QStyle::SC_TitleBarCloseButton,
                                   this);
}

QSize PanelTitleBar::sizeHint() const {
    const QStyleOptionTitleBar option = style_option();
    const int height = style()->pixelMetric(QStyle::PM_TitleBarHeight, &option, this);
    return {fontMetrics().horizontalAdvance(title_) + 3 * height, height};
}

QSize PanelTitleBar::minimumSizeHint() const {
    return {0, sizeHint().height()};
}

void PanelTitleBar::paintEvent(QPaintEvent* event) {
    (void)event;
    QPainter painter(this);
    const QStyleOptionTitleBar option = style_option();
    style()->drawComplexControl(QStyle::CC_TitleBar, &option, &painter, this);
}

void PanelTitleBar::mousePressEvent(QMouseEvent* event) {
    emit pressed();
    if (event->button() != Qt::LeftButton) return;
    if (close_box_rect().contains(event->position().toPoint())) {
        close_down_ = true;
        update();
        return;
    }
    dragging_ = true;
    grab_ = mapTo(panel_, event->position().toPoint());
}

void PanelTitleBar::mouseMoveEvent(QMouseEvent* event) {
    if (!dragging_ || panel_->parentWidget() == nullptr) return;
    const QWidget* parent = panel_->parentWidget();
    const QPoint at = parent->mapFromGlobal(event->globalPosition().toPoint()) - grab_;
    const int x =
        std::clamp(at.x(), keep_in_view - panel_->width(), parent->width() - keep_in_view);
    const int y = std::clamp(at.y(), 0, std::max(0, parent->height() - height()));
    panel_->move(x, y);
}

void PanelTitleBar::mouseReleaseEvent(QMouseEvent* event) {
    dragging_ = false;
    if (!close_down_) return;
    close_down_ = false;
    update();
    if (event->button() == Qt::LeftButton && close_box_rect().contains(event->position().toPoint()))
        emit close_clicked();
}
