#include "shell/settings_file_commands.h"

#include "core/errors.h"

#include <QAction>
#include <QFileDialog>
#include <QMenu>
#include <QWidget>

#include <utility>

namespace {

QString from_view(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString file_dialog(const SettingsDialogRequest& request) {
    if (request.save)
        return QFileDialog::getSaveFileName(request.parent, request.title, request.start,
                                            request.filter);
    return QFileDialog::getOpenFileName(request.parent, request.title, request.start,
                                        request.filter);
}

SettingsFileChooser& chooser() {
    static SettingsFileChooser current = file_dialog;
    return current;
}

}  // namespace

SettingsFileChooser settings_file_set_chooser(SettingsFileChooser replacement) {
    SettingsFileChooser before = std::move(chooser());
    chooser() = replacement ? std::move(replacement) : SettingsFileChooser(file_dialog);
    return before;
}

SettingsFileCommands::SettingsFileCommands(QWidget* panel, const SettingsFormatInfo& info,
                                           std::function<int(const std::string&)> load,
                                           std::function<int(const std::string&)> save,
                                           std::function<void()> reset,
                                           std::function<void()> changed)
    : QObject(panel),
      panel_(panel),
      info_(info),
      changed_(std::move(changed)),
      load_(std::move(load)),
      save_(std::move(save)),
      reset_(std::move(reset)) {}

QString SettingsFileCommands::filter() const {
    return QStringLiteral("%1 (*%2)").arg(from_view(info_.filter_name), from_view(info_.extension));
}

void SettingsFileCommands::add_to_menu(QMenu* options) {
    connect(options->addAction(QStringLiteral("&Save As...")), &QAction::triggered, this,
            [this] { (void)save_as(); });
    connect(options->addAction(QStringLiteral("&Load...")), &QAction::triggered, this,
            [this] { (void)load(); });
    connect(options->addAction(QStringLiteral("&Reset")), &QAction::triggered, this,
            [this] { reset(); });
}

int SettingsFileCommands::save_as() {
    SettingsDialogRequest request{panel_, true, from_view(info_.save_title),
                                  QString::fromStdString(settings_dialog_folder()), filter()};
    std::string path;
    for (;;) {
        const QString chosen = chooser()(request);
        if (chosen.isEmpty()) return err_aborted;
        path = chosen.toStdString();
        // A refused name has been told about; the dialog comes back with it.
        if (settings_check_save_name(info_, path)) break;
        request.start = chosen;
    }
    settings_dialog_used(path);
    const int code = save_(path);
    error_report(code);
    return code;
}

int SettingsFileCommands::load() {
    const SettingsDialogRequest request{panel_, false, from_view(info_.load_title),
                                        QString::fromStdString(settings_dialog_folder()), filter()};
    const QString chosen = chooser()(request);
    if (chosen.isEmpty()) return err_aborted;
    const std::string path = chosen.toStdString();
    settings_dialog_used(path);
    const int code = load_(path);
    if (changed_) changed_();
    error_report(code);
    return code;
}

void SettingsFileCommands::reset() {
    reset_();
    if (changed_) changed_();
}
