#include "shell/command_dispatch.h"

#include "shell/app_state.h"
#include "shell/command_table.h"
#include "shell/message_box.h"
#include "shell/splash_panel.h"
#include "shell/window_arrange.h"

#include <QMainWindow>
#include <QMdiArea>

#include <map>
#include <utility>

namespace {

std::map<int, std::function<void()>>& end_routines() {
    static std::map<int, std::function<void()>> routines;
    return routines;
}

void about_box() {
    message_box(app_state.main_window, QStringLiteral("About Orvane Pro"), box_ok,
                QStringLiteral("%1 64\nVersion %2")
                    .arg(QString::fromLatin1(product_name), QString::fromLatin1(product_version)));
}

}  // namespace

bool command_available(int number) {
    const CommandEntry* entry = command_find(number);
    return entry != nullptr && entry->built;
}

CommandResult command_dispatch(QWidget* window, int command) {
    (void)window;  // every built command acts on the frame or the work area
    const int number = command & 0xFFFF;
    const CommandEntry* entry = command_find(number);
    if (entry == nullptr) return CommandResult::unknown;
    if (!entry->built) return CommandResult::disabled;

    // Any command is activity enough to take the splash away.
    splash_close();
    QMdiArea* area = app_state.mdi_area;
    switch (number) {
        case 1013:
            if (app_state.main_window != nullptr) app_state.main_window->close();
            return CommandResult::done;
        case 3012:
            if (area != nullptr) area->activateNextSubWindow();
            return CommandResult::done;
        case 3013:
            mdi_arrange_icons(area);
            return CommandResult::done;
        case 3014:
            mdi_close_all(area);
            return CommandResult::done;
        case 3017:
            if (area != nullptr) area->cascadeSubWindows();
            return CommandResult::done;
        case 3018:
            mdi_tile_horizontal(area);
            return CommandResult::done;
        case 3019:
            mdi_tile_vertical(area);
            return CommandResult::done;
        case 3024:
            dialogs_to_top();
            return CommandResult::done;
        case 7005:
            about_box();
            return CommandResult::done;
        default:
            break;
    }
    // Marked built in the table but without an action here.
    return CommandResult::disabled;
}

void tool_select(int code) {
    if (code == app_state.current_tool) return;
    const auto found = end_routines().find(app_state.current_tool);
    if (found != end_routines().end() && found->second) found->second();
    app_state.current_tool = code;
    emit shell_signals().tool_changed(code);
}

void tool_set_end_routine(int code, std::function<void()> end_routine) {
    if (end_routine)
        end_routines()[code] = std::move(end_routine);
    else
        end_routines().erase(code);
}
