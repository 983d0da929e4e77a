#include "shell/command_dispatch.h"

#include "core/errors.h"

#include "shell/app_state.h"
#include "shell/command_table.h"
#include "shell/file_open_queue.h"
#include "shell/image_window.h"
#include "shell/mask_tool.h"
#include "shell/message_box.h"
#include "shell/open_file.h"
#include "shell/preferences_panel.h"
#include "shell/recent_files.h"
#include "shell/save_image.h"
#include "shell/splash_panel.h"
#include "shell/transform_host.h"
#include "shell/view_commands.h"
#include "shell/window_arrange.h"
#include "transform/registry.h"

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
    if (entry == nullptr) return false;
    // A transformation is there once the catalogue has it built.
    if (entry->panel_code != 0 || entry->menu == MenuId::transformations)
        return transform_command_built(number);
    if (!entry->built) return false;
    // A recent file entry works while the list has a file at its place.
    if (number >= recent_file_first && number <= recent_file_last)
        return number - recent_file_first < recent_files_shown();
    return true;
}

CommandResult command_dispatch(QWidget* window, int command) {
    (void)window;  // every built command acts on the frame or the work area
    const int number = command & 0xFFFF;
    const CommandEntry* entry = command_find(number);
    if (entry == nullptr) return CommandResult::unknown;
    if (!command_available(number)) return CommandResult::disabled;

    // Any command is activity enough to take the splash away.
    splash_close();
    QMdiArea* area = app_state.mdi_area;
    if (number >= recent_file_first && number <= recent_file_last) {
        // Opening it moves it to the top, which rebuilds the entries.
        open_or_queue(recent_file_path(number - recent_file_first));
        return CommandResult::done;
    }
    switch (number) {
        case 1002:
            if (const int code = DoFileOpen_ParentWnd({}, app_state.main_window, 0);
                code != err_aborted)
                error_report(code);
            open_queued_files();
            return CommandResult::done;
        case 1010:
            preferences_panel_run(app_state.main_window);
            return CommandResult::done;
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
        case 6002:
            // The hand: a left drag moves the picture, as Alt and drag does
            // (desktops often keep Alt for moving windows). Chosen again, it
            // goes back to no tool.
            tool_select(app_state.current_tool == 6002 ? 0 : 6002);
            return CommandResult::done;
        case 7005:
            about_box();
            return CommandResult::done;
        default:
            if (image_window_command(area, number) || save_image_command(area, number) ||
                view_command(area, number) || transform_menu_command(area, number) ||
                mask_tool_command(area, number))
                return CommandResult::done;
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
