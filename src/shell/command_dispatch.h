// How a command number becomes an action, and the choice of the active tool.
#pragma once

#include <functional>

class QWidget;

enum class CommandResult {
    done,      // the command ran
    disabled,  // a command of the menus that is not available (yet)
    unknown,   // no command has this number
};

// Runs the command in the low 16 bits of `command`, given from `window`.
CommandResult command_dispatch(QWidget* window, int command);

// True when the command exists and can run; the menus show it enabled.
bool command_available(int number);

// Makes `code` the active tool (0 for none). When it differs from the current
// one, the old tool's end routine runs first and the toolbars are told.
void tool_select(int code);

// The routine that ends a tool when another is chosen; an empty one removes it.
void tool_set_end_routine(int code, std::function<void()> end_routine);
