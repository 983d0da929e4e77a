#include "shell/startup.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

void startup_identity() {
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
