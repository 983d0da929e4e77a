#include "shell/info_panel.h"

#include "core/preferences.h"

#include "shell/app_state.h"
#include "shell/image_window.h"
#include "shell/new_image_panel.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QMainWindow>
#include <QVBoxLayout>

namespace {

// Sizes show in centimetres when the size fields use them, else in inches.
QString dimensions_text(const Image& image) {
    const double dpi = image.resolution > 0.0 ? image.resolution : 100.0;
    const double w = image.width / dpi;
    const double h = image.height / dpi;
    if (preferences().defaultunits == units_centimetres)
        return QString::asprintf("%.1f x %.1f cm @ %.1f dpi", w * 2.54, h * 2.54, dpi);
    return QString::asprintf("%.1f x %.1f in @ %.1f dpi", w, h, dpi);
}

}  // namespace

QString file_size_text(qint64 bytes) {
    constexpr double kilo = 1024.0;
    if (bytes >= 1024 * 1024) return QString::asprintf("%.2f MB", bytes / (kilo * kilo));
    return QString::asprintf("%.2f KB", bytes / kilo);
}

std::vector<std::pair<QString, QString>> image_properties_rows(const WindowRecord& record) {
    const QString path = QString::fromStdString(record.file_name);
    const QFileInfo file(path);
    const bool on_disk = !path.isEmpty() && file.exists();
    QString modified;
    QString size;
    QString wfl;
    if (on_disk) {
        modified = QStringLiteral("%1  (Windows)")
                       .arg(file.lastModified().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")));
        size = file_size_text(file.size());
        wfl = QFileInfo::exists(path + QStringLiteral(".wfl")) ? QStringLiteral("WFL file exists")
                                                               : QStringLiteral("No WFL file");
    }
    const Image& image = record.image;
    const bool has_pixels = image.width > 0 && image.height > 0;
    QString sizes;
    if (has_pixels)
        sizes = QStringLiteral("%1 x %2 pixels\n%3")
                    .arg(image.width)
                    .arg(image.height)
                    .arg(dimensions_text(image));
    const QString profile = record.profile.empty()
                                ? QStringLiteral("None")
                                : QStringLiteral("Embedded, %1 bytes").arg(record.profile.size());
    return {
        {QStringLiteral("Modified:"), modified},
        {QStringLiteral("W x H:"), sizes},
        {QStringLiteral("Size:"), size},
        {QStringLiteral("File:"), path.isEmpty() ? QString() : file.fileName()},
        {QStringLiteral("WFL:"), wfl},
        {QStringLiteral("Folder:"),
         path.isEmpty() ? QString() : QDir::toNativeSeparators(file.absolutePath())},
        {QStringLiteral("Profile: "), profile},
    };
}

InfoPanel::InfoPanel(ImageWindow* window, QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("info_panel"));
    setWindowTitle(QStringLiteral("Image Properties  (%1)").arg(window->windowTitle()));
    auto* group = new QGroupBox(QStringLiteral("File Information"));
    auto* form = new QFormLayout(group);
    auto* profile_form = new QFormLayout;
    for (const auto& [label, text] : image_properties_rows(*window->record())) {
        auto* value = new QLabel(text);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        rows_.emplace_back(label, value);
        (label == QStringLiteral("Profile: ") ? profile_form : form)->addRow(label, value);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(profile_form);
    layout->addWidget(group);
    layout->addWidget(buttons);
}

QString InfoPanel::row_text(const QString& label) const {
    for (const auto& [name, value] : rows_) {
        if (name == label) return value->text();
    }
    return {};
}

InfoPanel* info_panel_show(ImageWindow* window) {
    if (window == nullptr) return nullptr;
    auto* panel = new InfoPanel(window, app_state.main_window);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(window, &QObject::destroyed, panel, &QWidget::close);
    panel->show();
    return panel;
}
