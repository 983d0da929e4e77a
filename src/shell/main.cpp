// The editor's entry: a second start hands its files to the first; a start
// with "-?batch" becomes a background process; otherwise the frame comes up
// with the files of the command line, or the splash, and the event loop runs.
#include "shell/active_window.h"
#include "shell/app_state.h"
#include "shell/command_line.h"
#include "shell/file_open_queue.h"
#include "shell/key_filter.h"
#include "shell/link_notify.h"
#include "shell/main_frame.h"
#include "shell/progress_panel.h"
#include "shell/shell_error_reporter.h"
#include "shell/single_instance.h"
#include "shell/splash_panel.h"
#include "shell/startup.h"
#include "shell/transform_host.h"

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
        const QString files_line = command_line_hand_over(command.files);
        if (const auto exit_code = hand_over_to_running(instance_server_name(), files_line))
            return *exit_code;
        // Another start may have won the race for the name; this one then runs
        // on alone rather than not at all.
        (void)instance_server.listen(instance_server_name());
    }

    app_state.sizes = ui_sizes_compute(QApplication::font());
    app_state.paths = startup_paths();
    shell_error_reporter_install();
    startup_settings_hooks();
    // The shared tables are set up before this as they arrive.
    startup_saved_settings(command.batch);
    key_filter_install();
    active_window_track();
    link_notifier_install();
    if (!command.batch) startup_session_log(line);

    MainFrame frame;
    if (command.batch) {
        // The background process keeps its frame hidden. It serves no requests
        // yet, so it ends at once.
        return 0;
    }

    frame.serve_hand_overs(&instance_server);
    progress_display_install(frame.area());
    transform_host_install(frame.area());

    // Until the saved state keeps the frame's place, it takes most of the screen.
    const QRect screen = frame.screen()->availableGeometry();
    frame.resize(screen.width() * 4 / 5, screen.height() * 4 / 5);
    frame.move(screen.center() - frame.rect().center());
    // The saved state keeps no window placement yet, so there is no maximised
    // start to restore.
    frame.show();

    if (command.files.isEmpty())
        splash_show(frame.area());
    else
        open_command_line(line);

    return QApplication::exec();
}
