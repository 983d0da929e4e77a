// Settings files of panels: names, folders and a panel's start values.
#include "transform/settings.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>
#include <QString>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <utility>

#include "core/preferences.h"

// ---------------------------------------------------------------------------
// Messages

namespace {

SettingsMessageHook& message_hook() {
    static SettingsMessageHook hook;
    return hook;
}

}  // namespace

void settings_set_message_hook(SettingsMessageHook hook) {
    message_hook() = std::move(hook);
}

void settings_message(std::string_view caption, std::string_view text) {
    if (message_hook()) {
        message_hook()(caption, text);
    } else {
        std::cerr << caption << ": " << text << '\n';
    }
}

// ---------------------------------------------------------------------------
// Names and folders

namespace {

bool is_separator(char c) {
#ifdef _WIN32
    return c == '/' || c == '\\';
#else
    return c == '/';
#endif
}

std::string& folder_override() {
    static std::string folder;
    return folder;
}

std::string& dialog_folder() {
    static std::string folder;
    return folder;
}

std::string to_std(const QString& text) {
    return text.toUtf8().toStdString();
}

}  // namespace

std::string settings_folder() {
    if (!folder_override().empty()) return folder_override();
    application_names_install();
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    if (!folder.isEmpty()) (void)QDir().mkpath(folder);
    return to_std(folder);
}

void settings_set_folder(std::string folder) {
    folder_override() = std::move(folder);
}

int temp_folder(std::string& folder) {
    std::string dir = preferences().tempdirectory;
    while (!dir.empty() && is_separator(dir.back()))
        dir.pop_back();
    if (dir.empty()) dir = to_std(QDir::tempPath());
    if (!QDir().mkpath(QString::fromUtf8(dir))) return 88;
    folder = std::move(dir);
    return 0;
}

bool path_join(std::string_view folder, std::string_view name, std::string& target) {
    std::string joined(folder);
    if (!joined.empty() && !is_separator(joined.back())) joined += '/';
    joined += name;
    if (joined.size() > path_max_length) return false;
    target = std::move(joined);
    return true;
}

std::string_view name_extension(std::string_view name) {
    std::size_t slash = std::string_view::npos;
    for (std::size_t i = name.size(); i-- > 0;) {
        if (is_separator(name[i])) {
            slash = i;
            break;
        }
    }
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos) return {};
    if (slash != std::string_view::npos && dot < slash) return {};
    return name.substr(dot);
}

bool settings_file_path(std::string_view folder, std::string_view stem,
                        const SettingsFormatInfo& info, std::string& path) {
    path.clear();
    std::string name(stem);
    name += info.extension;
    if (path_join(folder, name, path)) return true;
    settings_message("Error", path_too_long_message);
    return false;
}

bool settings_default_path(const SettingsFormatInfo& info, std::string& path) {
    return settings_file_path(settings_folder(), "default", info, path);
}

bool settings_previous_path(const SettingsFormatInfo& info, std::string& path) {
    return settings_file_path(settings_folder(), "previous", info, path);
}

int settings_workflow_path(const SettingsFormatInfo& info, int widget_id, std::string& path) {
    path.clear();
    std::string folder;
    if (int err = temp_folder(folder)) return err;
    (void)settings_file_path(folder, format_text("previous%d", widget_id), info, path);
    return 0;
}

// ---------------------------------------------------------------------------
// Panel commands

bool settings_check_save_name(const SettingsFormatInfo& info, std::string& name) {
    const std::string_view extension = name_extension(name);
    if (extension.empty()) {
        name += info.extension;
        return true;
    }
    if (keyword_equals(extension, info.extension)) return true;
    settings_message("Error", info.extension_message);
    return false;
}

std::string settings_dialog_folder() {
    return dialog_folder().empty() ? settings_folder() : dialog_folder();
}

void settings_dialog_used(std::string_view path) {
    for (std::size_t i = path.size(); i-- > 0;) {
        if (is_separator(path[i])) {
            dialog_folder() = std::string(path.substr(0, i == 0 ? 1 : i));
            return;
        }
    }
}

// ---------------------------------------------------------------------------
// Start values of a panel

namespace {

std::function<bool()>& shift_hook() {
    static std::function<bool()> hook;
    return hook;
}

bool workflow_step_flag = false;

}  // namespace

void settings_set_shift_hook(std::function<bool()> hook) {
    shift_hook() = std::move(hook);
}

bool settings_shift_down() {
    return shift_hook() ? shift_hook()() : false;
}

void settings_set_workflow_step(bool on) {
    workflow_step_flag = on;
}

bool settings_workflow_step() {
    return workflow_step_flag;
}

SettingsSource settings_rule(const SettingsRuleInput& in) {
    if (in.workflow_step) return SettingsSource::static_copy;
    if (in.in_file_table) {
        if (in.default_exists && !in.shift_down) return SettingsSource::default_file;
        if (in.sticky && in.previous_exists && !in.shift_down) return SettingsSource::previous_file;
        return SettingsSource::built_in;
    }
    if (in.sticky && !in.shift_down && !in.fresh) return SettingsSource::static_copy;
    if (in.default_exists) return SettingsSource::default_file;
    return SettingsSource::built_in;
}

bool settings_use_saved(const SettingsUse& use) {
    SettingsRuleInput in;
    in.in_file_table = use.in_file_table;
    in.workflow_step = settings_workflow_step();
    in.sticky = preferences().stickysettings;
    in.shift_down = settings_shift_down();
    in.fresh = use.fresh ? *use.fresh : true;
    in.default_exists = use.default_exists && use.default_exists();
    in.previous_exists = use.in_file_table && use.previous_exists && use.previous_exists();

    auto set_fresh = [&use](bool on) {
        if (use.fresh) *use.fresh = on;
    };
    switch (settings_rule(in)) {
        case SettingsSource::static_copy:
            return true;
        case SettingsSource::built_in:
            if (use.set_built_in) use.set_built_in();
            set_fresh(true);
            return false;
        case SettingsSource::default_file:
            // A settings file may name only some keywords: the rest keep built-in values.
            if (use.in_file_table && use.set_built_in) use.set_built_in();
            if (use.read_default) use.read_default();
            set_fresh(false);
            return true;
        case SettingsSource::previous_file:
            if (use.set_built_in) use.set_built_in();
            if (use.read_previous) use.read_previous();
            set_fresh(false);
            return true;
    }
    return false;
}
