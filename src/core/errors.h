// The system's table of integer error codes, and the one way a code reaches
// the user. Every fallible routine returns one of these codes; 0 is success.
#pragma once

// Codes that code tests for by name. The rest are used by number where raised.
inline constexpr int err_ok = 0;
inline constexpr int err_memory = 1;
inline constexpr int err_cannot_create = 3;
inline constexpr int err_cannot_open = 4;
inline constexpr int err_aborted = 11;
inline constexpr int err_illegal_type = 14;
inline constexpr int err_unknown_type = 71;
inline constexpr int err_too_wide = 102;
inline constexpr int err_not_found = 129;
// A format that is recognised but that this version cannot read or write.
inline constexpr int err_unsupported = 136;

// Number of rows in the table: codes 0 to 167.
inline constexpr int error_count = 168;

// The text of a code. Never fails: codes below 0 or from 170 up read
// "Unrecognized Error", 168 and 169 "Unexplainable Error".
const char* error_text(int code);

// Where reported errors go: a message box in the editor, the log in the
// background process.
class ErrorReporter {
public:
    virtual ~ErrorReporter() = default;
    // `caption` is "Attention" for code 11 and "Error" for the others.
    virtual void report(int code, const char* caption, const char* text) = 0;
};

// Installs the reporter used from now on; null restores the default, which
// writes to standard error. Returns the one installed before (null for the default).
ErrorReporter* error_set_reporter(ErrorReporter* reporter);

// Shows a code to the user: nothing for 0, "Attention" for 11, "Error" otherwise.
void error_report(int code);
// Shows a text of its own under "Error", as a panel does for values it
// cannot use; the reporter sees the code -1.
void error_report_message(const char* text);
