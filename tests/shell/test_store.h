// Keeps every shell test away from the user's own store and settings folder:
// while the test program runs, both live in a temporary folder of their own.
#pragma once

#include "transform/settings.h"

#include <QDir>
#include <QSettings>
#include <QString>
#include <QTemporaryDir>

class TestStore {
public:
    TestStore() {
        const QString root = dir_.path();
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, root);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, root);
        QDir(root).mkpath(QStringLiteral("settings"));
        settings_set_folder(folder().toStdString());
    }
    ~TestStore() { settings_set_folder({}); }
    TestStore(const TestStore&) = delete;
    TestStore& operator=(const TestStore&) = delete;

    QString root() const { return dir_.path(); }
    QString folder() const { return dir_.filePath(QStringLiteral("settings")); }

private:
    QTemporaryDir dir_;
};

// One for the whole test program, made before any test runs.
inline TestStore test_store;
