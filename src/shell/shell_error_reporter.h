// How the editor shows an error code: a message box in the editor, a log line
// in a background process.
#pragma once

#include "core/errors.h"

class ShellErrorReporter : public ErrorReporter {
public:
    void report(int code, const char* caption, const char* text) override;
};

// Installs the shell's reporter for the rest of the run.
void shell_error_reporter_install();
