// The parts of start-up that do not depend on the frame: the application's
// identity for settings, the folders, the layout sizes.
#pragma once

#include "core/preferences.h"
#include "shell/app_state.h"

#include <QString>

// Sets the names settings are kept under, in INI files.
void startup_identity();

// Finds the program's folder, the user's folders and the `linux` flag file.
ShellPaths startup_paths();

// Reads the preferences and the saved state. A background process reads them
// too, but without `stickysettings`, and never writes them back.
void startup_saved_settings(bool background);

// Lets the settings layer read the Shift key and show its messages in the
// editor's message box.
void startup_settings_hooks();

// Opens the session log (a failure is shown, and the run goes on without it)
// and writes the command line to it. `open` is the log's opener, replaceable
// for tests.
using SessionLogOpener = int (*)();
void startup_session_log(const QString& command_line, SessionLogOpener open = session_log_open);
