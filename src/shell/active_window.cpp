#include "shell/active_window.h"

#include "shell/app_state.h"
#include "shell/panel.h"

#include <QApplication>
#include <QMdiSubWindow>

namespace {

// A window that keeps Enter for itself switches `enter_is_ok` off while active.
void set_active(QWidget* window) {
    app_state.active_window = window;
    PanelRoles* roles = panel_roles(window);
    app_state.enter_is_ok = roles == nullptr || !roles->keeps_enter();
}

}  // namespace

QWidget* active_window_of(QWidget* focus) {
    for (QWidget* widget = focus; widget != nullptr; widget = widget->parentWidget()) {
        if (panel_roles(widget) != nullptr) return widget;
        if (qobject_cast<QMdiSubWindow*>(widget) != nullptr) return widget;
    }
    return nullptr;
}

void active_window_track() {
    static bool tracking = false;
    if (tracking || qApp == nullptr) return;
    tracking = true;
    // Focus moving to a menu, a message box or nowhere leaves the active window
    // as it was, so that a command acts on the window it was chosen for.
    QObject::connect(qApp, &QApplication::focusChanged, qApp, [](QWidget*, QWidget* now) {
        if (QWidget* window = active_window_of(now)) set_active(window);
    });
}
