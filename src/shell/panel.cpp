#include "shell/panel.h"

#include "shell/app_state.h"
#include "shell/file_open_queue.h"

#include <QWidget>

#include <algorithm>

PanelRoles* panel_roles(QWidget* widget) {
    return dynamic_cast<PanelRoles*>(widget);
}

void panel_opened(QWidget* panel) {
    if (panel == nullptr) return;
    auto& panels = app_state.panels;
    if (std::find(panels.begin(), panels.end(), panel) == panels.end()) panels.emplace_back(panel);
}

void panel_closed(QWidget* panel) {
    auto& panels = app_state.panels;
    std::erase_if(panels, [panel](const QPointer<QWidget>& open) {
        return open.isNull() || open.data() == panel;
    });
    open_queued_files();
}

void mask_tool_opened(QWidget* tool) {
    app_state.mask_tool = tool;
}

void mask_tool_closed() {
    app_state.mask_tool = nullptr;
}
