#include "shell/startup.h"

#include "core/format.h"
#include "shell/message_box.h"
#include "transform/settings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMainWindow>
#include <QSettings>
#include <QStandardPaths>

void startup_identity() {
    application_names_install();
    QCoreApplication::setOrganizationName(QStringLiteral("Halvern Works"));
    QCoreApplication::setApplicationName(QStringLiteral("Orvane"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(product_version));
    QSettings::setDefaultFormat(QSettings::IniFormat);
}

ShellPaths startup_paths() {
    ShellPaths paths;
    paths.program_dir = QCoreApplication::applicationDirPath();
    paths.linux_flag = QFileInfo::exists(QDir(paths.program_dir).filePath(QStringLiteral("linux")));
    paths.pictures_dir = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    paths.app_data_dir = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    // With the organisation and application names set, this is the user's
    // data folder followed by the maker's and the product's names.
    paths.user_data_dir = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    return paths;
}

void startup_saved_settings(bool background) {
    application_names_install();
    preferences_set_background(background);
    preferences_load();
    state_load();
}

void startup_settings_hooks() {
    settings_set_shift_hook(
        [] { return (QGuiApplication::queryKeyboardModifiers() & Qt::ShiftModifier) != 0; });
    settings_set_message_hook([](std::string_view caption, std::string_view text) {
        message_box(app_state.main_window,
                    QString::fromUtf8(caption.data(), static_cast<qsizetype>(caption.size())),
                    box_ok, QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
    });
}

void startup_session_log(const QString& command_line, SessionLogOpener open) {
    if (const int code = open()) {
        message_box(app_state.main_window, QString::fromLatin1(product_name), box_ok,
                    QString::fromStdString(format_text(session_log_failure_format, code)));
        return;
    }
    (void)session_log_write(command_line.toStdString());
}
