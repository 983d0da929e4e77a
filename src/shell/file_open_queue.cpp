#include "shell/file_open_queue.h"

#include "core/errors.h"
#include "shell/app_state.h"
#include "shell/command_line.h"
#include "shell/message_box.h"
#include "shell/open_file.h"
#include "shell/recent_files.h"
#include "shell/splash_panel.h"

#include <QMainWindow>

#include <utility>

namespace {

OpenFileRoutine& routine() {
    static OpenFileRoutine current = open_file_path;
    return current;
}

bool must_wait() {
    return app_state.file_operation_busy || transform_panel_open();
}

// Opens one file; its error code, not yet reported.
int open_now(const QString& path) {
    splash_close();
    app_state.file_operation_busy = true;
    const int code = routine()(path);
    app_state.file_operation_busy = false;
    if (code == 0) recent_file_opened(path);
    return code;
}

}  // namespace

OpenFileRoutine open_file_set_routine(OpenFileRoutine replacement) {
    OpenFileRoutine before = std::move(routine());
    routine() = replacement ? std::move(replacement) : OpenFileRoutine(open_file_path);
    return before;
}

void open_or_queue(const QString& path) {
    if (must_wait()) {
        app_state.open_queue.push_back(path.left(open_queue_path_max));
        return;
    }
    error_report(open_now(path));
    open_queued_files();
}

void open_command_line(const QString& line) {
    for (const QString& path : command_line_files(line))
        open_or_queue(path);
}

void open_queued_files() {
    // A batch of queued files reports one failure, the last, not one box each.
    int last_error = 0;
    while (!app_state.open_queue.empty() && !must_wait()) {
        const QString path = app_state.open_queue.front();
        app_state.open_queue.pop_front();
        if (const int code = open_now(path)) last_error = code;
    }
    error_report(last_error);
}

void open_dropped_files(const QStringList& paths) {
    if (must_wait()) {
        message_box(app_state.main_window, QString::fromLatin1(product_name), 0,
                    QStringLiteral("Cannot accept dropped files while operation is in progress"));
        return;
    }
    for (const QString& path : paths)
        open_or_queue(path);
}
