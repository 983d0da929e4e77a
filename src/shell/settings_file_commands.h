// The Options menu commands of a panel that has a settings file: "&Save As...",
// "&Load..." and "&Reset". Made once per panel from the format and the panel's
// parameter block; after a load or reset the panel is told so that it rebuilds
// its controls and previews again.
#pragma once

#include "transform/settings.h"

#include <QObject>
#include <QString>

#include <functional>
#include <string>
#include <utility>

class QAction;
class QMenu;
class QWidget;

// What a file dialog of these commands is asked for.
struct SettingsDialogRequest {
    QWidget* parent = nullptr;
    bool save = false;  // a save dialog; otherwise an open dialog
    QString title;
    QString start;   // the folder to start in, or a file name to offer
    QString filter;  // "Advanced Sharpen Files (*.as)"
};

// Shows a file dialog and returns the chosen path, empty when cancelled.
// The editor's uses QFileDialog; tests put in their own.
using SettingsFileChooser = std::function<QString(const SettingsDialogRequest&)>;
// Returns the one set before; null restores QFileDialog.
SettingsFileChooser settings_file_set_chooser(SettingsFileChooser chooser);

class SettingsFileCommands : public QObject {
    Q_OBJECT
public:
    // `params` is the panel's parameter block and must outlive this object.
    // `changed` runs after every load (also a failed one: what was read
    // before the failure stays) and every reset.
    template <typename P>
    SettingsFileCommands(QWidget* panel, const SettingsFormat<P>& format, P& params,
                         std::function<void()> changed)
        : QObject(panel),
          panel_(panel),
          info_(format.info),
          changed_(std::move(changed)),
          load_([format, &params](const std::string& path) {
              return settings_load_file(path, format, params);
          }),
          save_([format, &params](const std::string& path) {
              return settings_save_file(path, format, params);
          }),
          reset_([&params] { settings_reset(params); }) {}

    // The same over a block known only through its routines, as a
    // transformation's descriptor gives them.
    SettingsFileCommands(QWidget* panel, const SettingsFormatInfo& info,
                         std::function<int(const std::string&)> load,
                         std::function<int(const std::string&)> save, std::function<void()> reset,
                         std::function<void()> changed);

    // Adds "&Save As...", "&Load..." and "&Reset" to `options`.
    void add_to_menu(QMenu* options);

    // The commands themselves. Save As and Load return 0, 11 when the dialog
    // was cancelled, or the code of the failure, which they have shown.
    int save_as();
    int load();
    void reset();

    // "Advanced Sharpen Files (*.as)".
    QString filter() const;

private:
    QWidget* panel_;
    SettingsFormatInfo info_;
    std::function<void()> changed_;
    std::function<int(const std::string&)> load_;
    std::function<int(const std::string&)> save_;
    std::function<void()> reset_;
};
