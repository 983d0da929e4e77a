#include "shell/app_state.h"

#include <QApplication>
#include <QFont>
#include <QFontMetrics>
#include <QStyle>

#include <algorithm>

AppState app_state;

ShellSignals& shell_signals() {
    static ShellSignals signals_object;
    return signals_object;
}

UiSizes ui_sizes_compute(const QFont& font) {
    const QFontMetrics metrics(font);
    UiSizes sizes;
    sizes.line_height = metrics.height();
    sizes.button_height = sizes.line_height * 11 / 8;
    sizes.gap = sizes.button_height / 4;
    sizes.slider_height = 17;
    sizes.char_width = metrics.averageCharWidth();
    sizes.edit_height = sizes.line_height + sizes.gap;
    sizes.scroll_width = QApplication::style() != nullptr
                             ? QApplication::style()->pixelMetric(QStyle::PM_ScrollBarExtent)
                             : sizes.slider_height;
    return sizes;
}

void app_state_reset() {
    app_state.active_window = nullptr;
    app_state.batch_parent = BatchParent{};
    app_state.current_tool = 0;
    app_state.enter_is_ok = true;
    app_state.panels.clear();
    app_state.mask_tool = nullptr;
    app_state.clipboard_image_ours = false;
    app_state.file_operation_busy = false;
    app_state.open_queue.clear();
    app_state.docked_image_windows.clear();
    app_state.browser_may_close = nullptr;
}

bool transform_panel_open() {
    return std::any_of(app_state.panels.begin(), app_state.panels.end(),
                       [](const QPointer<QWidget>& panel) { return !panel.isNull(); });
}

bool mask_tool_open() {
    return !app_state.mask_tool.isNull();
}
