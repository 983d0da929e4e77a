#include "shell/key_filter.h"

#include "shell/app_state.h"
#include "shell/panel.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>

namespace {

bool takes_tab_focus(const QWidget* widget, const QWidget* panel) {
    return widget != panel && panel->isAncestorOf(widget) && widget->isEnabled() &&
           widget->isVisibleTo(panel) && (widget->focusPolicy() & Qt::TabFocus) != 0;
}

// Moves the focus to the next (or previous) control of `panel` in its tab order.
void move_focus(QWidget* panel, QWidget* focus, bool forward) {
    QWidget* widget = focus;
    do {
        widget = forward ? widget->nextInFocusChain() : widget->previousInFocusChain();
        if (takes_tab_focus(widget, panel)) {
            widget->setFocus(forward ? Qt::TabFocusReason : Qt::BacktabFocusReason);
            return;
        }
    } while (widget != focus);
}

}  // namespace

bool KeyFilter::eventFilter(QObject* watched, QEvent* event) {
    // Key events reach the window system's window first and then the focus
    // widget: act once, at the widget.
    if (event->type() != QEvent::KeyPress || !watched->isWidgetType()) return false;
    QWidget* focus = QApplication::focusWidget();
    QWidget* panel = app_state.active_window.data();
    if (focus == nullptr || panel == nullptr || watched != focus) return false;
    PanelRoles* roles = panel_roles(panel);
    if (roles == nullptr || (focus != panel && !panel->isAncestorOf(focus))) return false;

    const auto* key = static_cast<QKeyEvent*>(event);
    switch (key->key()) {
        case Qt::Key_Tab:
            move_focus(panel, focus, (key->modifiers() & Qt::ShiftModifier) == 0);
            return true;
        case Qt::Key_Backtab:
            move_focus(panel, focus, false);
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (!app_state.enter_is_ok) return false;
            roles->ok();
            return true;
        case Qt::Key_Escape:
            roles->cancel();
            return true;
        default:
            return false;
    }
}

void key_filter_install() {
    static KeyFilter* filter = nullptr;
    if (filter != nullptr || qApp == nullptr) return;
    filter = new KeyFilter(qApp);
    qApp->installEventFilter(filter);
}
