// The parts of start-up that do not depend on the frame: the application's
// identity for settings, the folders, the layout sizes.
#pragma once

#include "shell/app_state.h"

// Sets the names settings are kept under, in INI files.
void startup_identity();

// Finds the program's folder, the user's folders and the `linux` flag file.
ShellPaths startup_paths();
