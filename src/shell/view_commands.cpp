#include "shell/view_commands.h"

#include "core/errors.h"
#include "core/undo.h"
#include "core/window_record.h"

#include "shell/clipboard.h"
#include "shell/comment_windows.h"
#include "shell/image_window.h"
#include "shell/info_panel.h"
#include "shell/new_image_panel.h"
#include "shell/zoom_factor_panel.h"

#include <QMdiArea>

#include <vector>

namespace {

// After an undo the changed windows show their pictures again, and whatever
// depends on them is told.
void show_undone(const std::vector<WindowBase*>& changed) {
    for (WindowBase* base : changed) {
        if (auto* window = dynamic_cast<ImageWindow*>(base)) window->layout_view();
        links_notify_changed(base);
    }
}

}  // namespace

bool view_command(QMdiArea* area, int number) {
    int code = 0;
    std::vector<WindowBase*> changed;
    switch (number) {
        case 1001:
            new_image_run(area);
            break;
        case 2001:
            undo_step(&changed);
            show_undone(changed);
            break;
        case 2002:
            undo_all(&changed);
            show_undone(changed);
            break;
        case 2003:
            code = clipboard_copy(area);
            break;
        case 2004:
            code = clipboard_paste(area);
            break;
        case 3001:
            info_panel_show(image_window_active(area));
            break;
        case 3022:
            file_comments_show(image_window_active(area));
            break;
        case 3008:
            zoom_factor_run(image_window_active(area));
            break;
        default:
            return false;
    }
    if (code != 0) error_report(code);
    return true;
}
