// The editor's entry: a second start hands its files to the first; a start
// with "-?batch" becomes a background process; otherwise the frame comes up
// with the files of the command line, or the splash, and the event loop runs.
#include "shell/active_window.h"
#include "shell/app_state.h"
#include "shell/command_line.h"
#include "shell/file_open_queue.h"
#include "shell/key_filter.h"
#include "shell/main_frame.h"
#include "shell/shell_error_reporter.h"
#include "shell/single_instance.h"
#include "shell/splash_panel.h"
#include "shell/startup.h"

#include <QApplication>
#include <QScreen>

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    startup_identity();

    QStringList arguments = QCoreApplication::arguments();
    if (!arguments.isEmpty()) arguments.removeFirst();
    const QString line = command_line_join(arguments);
    const CommandLine command = command_line_parse(line);

    if (command.batch) {
        app_state.batch_parent.present = true;
        app_state.batch_parent.channel = command.batch_channel;
        app_state.batch_parent.rest = command.batch_rest;
    }

    InstanceServer instance_server;
    if (!command.batch) {
        const QString files_line = command.files.isEmpty() ? QString() : line;
        if (const auto exit_code = hand_over_to_running(instance_server_name(), files_line))
            return *exit_code;
        // Another start may have won the race for the name; this one then runs
        // on alone rather than not at all.
        (void)instance_server.listen(instance_server_name());
    }

    app_state.sizes = ui_sizes_compute(QApplication::font());
    app_state.paths = startup_paths();
    shell_error_reporter_install();
    key_filter_install();
    active_window_track();
    // The session log, the shared tables, preferences and saved state are set
    // up here as they arrive.

    MainFrame frame;
    if (command.batch) {
        // The background process keeps its frame hidden. It serves no requests
        // yet, so it ends at once.
        return 0;
    }

    frame.serve_hand_overs(&instance_server);

    // Until the saved state keeps the frame's place, it takes most of the screen.
    const QRect screen = frame.screen()->availableGeometry();
    frame.resize(screen.width() * 4 / 5, screen.height() * 4 / 5);
    frame.move(screen.center() - frame.rect().center());
    const bool maximised = false;  // comes from the saved state once it is kept
    if (maximised)
        frame.showMaximized();
    else
        frame.show();

    if (command.files.isEmpty())
        splash_show(frame.area());
    else
        open_command_line(line);

    return QApplication::exec();
}
