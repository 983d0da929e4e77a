#include "shell/close_sequence.h"

#include "shell/app_state.h"
#include "shell/child_window.h"
#include "shell/message_box.h"
#include "shell/panel.h"

#include <QApplication>
#include <QClipboard>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>

#include <algorithm>

namespace {

bool ask(const char* question) {
    return message_box(app_state.main_window, QString::fromLatin1(product_name), box_yes_no,
                       QString::fromLatin1(question)) == answer_yes;
}

// The children of the work area, topmost first.
QList<QMdiSubWindow*> children_in_window_order() {
    QList<QMdiSubWindow*> children;
    if (app_state.mdi_area != nullptr)
        children = app_state.mdi_area->subWindowList(QMdiArea::StackingOrder);
    std::reverse(children.begin(), children.end());
    return children;
}

void cancel_panels() {
    // Cancelling a panel takes it out of the list, so work on a copy.
    const std::vector<QPointer<QWidget>> panels = app_state.panels;
    for (const QPointer<QWidget>& panel : panels) {
        if (panel.isNull()) continue;
        if (PanelRoles* roles = panel_roles(panel)) roles->cancel();
    }
}

void close_workflow_windows() {
    for (QMdiSubWindow* child : children_in_window_order()) {
        ChildWindow* window = child_window(child);
        if (window != nullptr && window->window_kind() == window_kind_workflow) child->close();
    }
}

}  // namespace

ChildWindow* child_window(QWidget* widget) {
    if (widget == nullptr) return nullptr;
    if (auto* window = dynamic_cast<ChildWindow*>(widget)) return window;
    if (auto* sub = qobject_cast<QMdiSubWindow*>(widget))
        return dynamic_cast<ChildWindow*>(sub->widget());
    return nullptr;
}

bool all_windows_may_close() {
    if (app_state.browser_may_close && !app_state.browser_may_close()) return false;
    for (QMdiSubWindow* child : children_in_window_order()) {
        ChildWindow* window = child_window(child);
        if (window == nullptr || window->owner_window() != nullptr) continue;
        if (!window->may_close()) return false;
    }
    for (const QPointer<QWidget>& docked : app_state.docked_image_windows) {
        ChildWindow* window = child_window(docked.data());
        if (window != nullptr && !window->may_close()) return false;
    }
    return true;
}

bool frame_close_sequence() {
    if (app_state.batch_parent) return true;

    if (transform_panel_open()) {
        if (!ask("Abort transformation in progress?")) return false;
        cancel_panels();
    }
    if (mask_tool_open()) {
        if (!ask("Abort mask operation in progress?")) return false;
        if (PanelRoles* roles = panel_roles(app_state.mask_tool)) roles->cancel();
    }
    close_workflow_windows();
    // The shell itself holds no dependency links on windows yet; its links are
    // removed here once it does, so that they do not stop the windows closing.
    if (!all_windows_may_close()) return false;

    if (app_state.clipboard_image_ours) {
        if (!ask("Retain image on clipboard?")) QApplication::clipboard()->clear();
    }
    // The browser's view and the program's state are saved here once they exist.
    return true;
}
