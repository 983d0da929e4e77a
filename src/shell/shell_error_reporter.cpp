#include "shell/shell_error_reporter.h"

#include "shell/app_state.h"
#include "shell/log_sink.h"
#include "shell/message_box.h"

#include <QMainWindow>

void ShellErrorReporter::report(int code, const char* caption, const char* text) {
    if (app_state.batch_parent) {
        log_line(QStringLiteral("%1 %2: %3")
                     .arg(QString::fromUtf8(caption))
                     .arg(code)
                     .arg(QString::fromUtf8(text)));
        return;
    }
    message_box(app_state.main_window, QString::fromUtf8(caption), box_ok, QString::fromUtf8(text));
}

void shell_error_reporter_install() {
    static ShellErrorReporter reporter;
    error_set_reporter(&reporter);
}
