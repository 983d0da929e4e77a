// Settings files of transformation panels: their names and folders, the
// logic behind a panel's "&Save As...", "&Load..." and "&Reset", and the rule
// that decides a panel's start values. The text dialect itself, with the
// keyword-table reader and writer, is in core/settings_text.h.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "core/settings_text.h"

// ---------------------------------------------------------------------------
// Messages

inline constexpr std::string_view path_too_long_message =
    "Full pathname exceeds maximum allowed length.";

// Where the settings layer's own messages go: the editor installs its message
// box; the default writes to standard error. Null restores the default.
using SettingsMessageHook = std::function<void(std::string_view caption, std::string_view text)>;
void settings_set_message_hook(SettingsMessageHook hook);
void settings_message(std::string_view caption, std::string_view text);

// ---------------------------------------------------------------------------
// Names and folders

// Longest joined path accepted: 261 characters or more are refused.
inline constexpr std::size_t path_max_length = 260;

// The per-user data folder that holds default and previous settings, created
// when missing. Tests may point it elsewhere; an empty text restores it.
std::string settings_folder();
void settings_set_folder(std::string folder);

// The folder for temporary files: the `tempdirectory` preference without its
// trailing separators, or the system's temporary folder when that is empty.
// It is created when missing: 0, or 88 when that fails.
[[nodiscard]] int temp_folder(std::string& folder);

// Joins folder and name with one separator (none added when the folder ends
// in one; an empty folder leaves the name alone). A result longer than path_max_length is refused:
// returns false and leaves `target` as it was. Shows nothing: the caller decides.
[[nodiscard]] bool path_join(std::string_view folder, std::string_view name, std::string& target);

// The extension of a name: what follows the last `.` after the last `/`,
// with the full stop; empty when there is none.
std::string_view name_extension(std::string_view name);

// `stem` plus the format's extension, joined to `folder`; a too long result
// shows path_too_long_message and returns false. Stems are "default",
// "previous" and, for a workflow step in the temporary folder, "previous%d"
// with the widget's id.
[[nodiscard]] bool settings_file_path(std::string_view folder, std::string_view stem,
                                      const SettingsFormatInfo& info, std::string& path);
[[nodiscard]] bool settings_default_path(const SettingsFormatInfo& info, std::string& path);
[[nodiscard]] bool settings_previous_path(const SettingsFormatInfo& info, std::string& path);
// In the temporary folder: 0, or 88 when it cannot be made. A too long name
// leaves `path` empty (after the message), so the open or create that follows fails.
[[nodiscard]] int settings_workflow_path(const SettingsFormatInfo& info, int widget_id,
                                         std::string& path);

// ---------------------------------------------------------------------------
// Panel commands "&Save As...", "&Load...", "&Reset"

// Checks a name chosen in the save dialog. A name without an extension gets
// the format's; a name with another extension (compared without regard to
// case) is refused: the format's extension message is shown under "Error" and
// false returned, and the dialog asks again.
[[nodiscard]] bool settings_check_save_name(const SettingsFormatInfo& info, std::string& name);

// The folder a settings dialog starts in: the settings folder at first, then
// the folder of the last file chosen.
std::string settings_dialog_folder();
void settings_dialog_used(std::string_view path);

// Load: 0, 4 when the file cannot be opened, or the format's bad file code,
// with `params` holding what was read before the failure.
template <typename P>
[[nodiscard]] int settings_load_file(const std::string& path, const SettingsFormat<P>& format,
                                     P& params) {
    TextFile file;
    if (int err = text_open(path, file)) return err;
    return settings_read(file, format, params);
}

// Save: 0, 3 (or 37 for a read-only target) when the file cannot be created,
// 6 on a failed write.
template <typename P>
[[nodiscard]] int settings_save_file(const std::string& path, const SettingsFormat<P>& format,
                                     const P& params) {
    TextFile file;
    if (int err = text_create(path, file)) return err;
    return settings_write(file, format, params);
}

// Reset: the values built into the parameter block.
template <typename P>
void settings_reset(P& params) {
    params = P{};
}

// ---------------------------------------------------------------------------
// Start values of a panel

// Reads the Shift key; the editor installs one, the default says "not held".
void settings_set_shift_hook(std::function<bool()> hook);
bool settings_shift_down();

// Set while a workflow step or a redo drives a panel: its values are already
// in the static copy.
void settings_set_workflow_step(bool on);
bool settings_workflow_step();

// Everything the decision depends on.
struct SettingsRuleInput {
    bool in_file_table = false;  // the transformation has default and previous files
    bool workflow_step = false;
    bool sticky = false;  // the stickysettings preference
    bool shift_down = false;
    bool fresh = true;  // the transformation's flag: no panel has closed yet
    bool default_exists = false;
    bool previous_exists = false;
};

enum class SettingsSource {
    static_copy,    // the values in the static copy stand
    built_in,       // the panel starts from its built-in values
    default_file,   // default.xx is read
    previous_file,  // previous.xx is read
};

// The pure decision. A transformation with settings files takes default.xx
// unless Shift is held, else previous.xx when sticky and Shift is up, else
// its built-in values. Any other keeps its static copy when sticky, Shift up
// and not fresh, else reads its default file when there is one, else starts
// from built-in values. A workflow step keeps its static copy in both cases.
SettingsSource settings_rule(const SettingsRuleInput& in);

// What settings_use_saved needs of one transformation.
struct SettingsUse {
    bool in_file_table = false;
    bool* fresh = nullptr;
    std::function<void()> set_built_in;  // static copy <- built-in values
    std::function<bool()> default_exists;
    std::function<bool()> previous_exists;  // file table only
    std::function<void()> read_default;     // failures are silent
    std::function<void()> read_previous;    // failures are silent
};

// Applies the rule with the Shift hook, the workflow-step flag and the
// stickysettings preference. True: the static copy holds the start values;
// false: the panel starts from its built-in values and `fresh` is set.
bool settings_use_saved(const SettingsUse& use);

// The same for a transformation with a settings format: the static copy
// starts from built-in values and takes default.xx or previous.xx on top.
template <typename P>
bool settings_use_saved(const SettingsFormat<P>& format, P& static_copy, bool& fresh) {
    SettingsUse use;
    use.in_file_table = true;
    use.fresh = &fresh;
    auto path_of = [&format](bool is_default) {
        std::string path;
        const bool ok = is_default ? settings_default_path(format.info, path)
                                   : settings_previous_path(format.info, path);
        return ok ? path : std::string();
    };
    use.set_built_in = [&static_copy] { settings_reset(static_copy); };
    use.default_exists = [&] { return file_exists(path_of(true)); };
    use.previous_exists = [&] { return file_exists(path_of(false)); };
    use.read_default = [&] { (void)settings_load_file(path_of(true), format, static_copy); };
    use.read_previous = [&] { (void)settings_load_file(path_of(false), format, static_copy); };
    return settings_use_saved(use);
}
