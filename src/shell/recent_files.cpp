#include "shell/recent_files.h"

#include "core/preferences.h"
#include "shell/app_state.h"
#include "shell/command_table.h"

#include <QFileInfo>

#include <algorithm>

int recent_files_shown() {
    const int places = recent_file_last - recent_file_first + 1;
    const int listed = static_cast<int>(saved_state().openfile.size());
    return std::clamp(std::min(listed, preferences().nfilemenu), 0, places);
}

QString recent_file_path(int index) {
    if (index < 0 || index >= recent_files_shown()) return {};
    return QString::fromStdString(saved_state().openfile[static_cast<std::size_t>(index)]);
}

QString recent_file_label(int index, const QString& path) {
    QString shown = path;
    shown.replace(QLatin1Char('&'), QLatin1String("&&"));
    const QString number =
        index == 9 ? QStringLiteral("1&0") : QStringLiteral("&%1").arg(index + 1);
    return number + QStringLiteral(": ") + shown;
}

void recent_file_opened(const QString& path) {
    // Kept whole, so that the entry still opens after the working folder changed.
    const QString absolute = QFileInfo(path).absoluteFilePath();
    recent_files_add(saved_state().openfile, absolute.toStdString(), preferences().nfilemenu);
    emit shell_signals().recent_files_changed();
}

void recent_files_limit_changed() {
    recent_files_trim(saved_state().openfile, preferences().nfilemenu);
    emit shell_signals().recent_files_changed();
}
