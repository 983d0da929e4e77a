#include "shell/info_panel.h"

#include "core/preferences.h"
#include "file/comment_display.h"

#include "shell/app_state.h"
#include "shell/comment_windows.h"
#include "shell/image_window.h"
#include "shell/new_image_panel.h"

#include <QClipboard>
#include <QDateTime>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>
#include <QUrl>
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

InfoPanel::InfoPanel(ImageWindow* window, QWidget* parent) : QDialog(parent), window_(window) {
    setObjectName(QStringLiteral("info_panel"));
    setWindowTitle(QStringLiteral("Image Properties  (%1)").arg(window->windowTitle()));
    const WindowRecord& record = *window->record();
    const auto add_row = [this](QFormLayout* form, const QString& label, const QString& text,
                                QWidget* beside = nullptr) {
        auto* value = new QLabel(text);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        rows_.emplace_back(label, value);
        if (beside == nullptr) {
            form->addRow(label, value);
            return;
        }
        auto* line = new QHBoxLayout;
        line->addWidget(value, 1);
        line->addWidget(beside);
        form->addRow(label, line);
    };

    auto* exposure = new QGroupBox(QStringLiteral("Original Exposure"));
    auto* exposure_form = new QFormLayout(exposure);
    auto* camera_form = new QFormLayout;
    for (const auto& [label, text] : exposure_rows(record.comments)) {
        const QString name = QString::fromStdString(label);
        const bool camera = label == "Mfg: " || label == "Model: ";
        add_row(camera ? camera_form : exposure_form, name, QString::fromStdString(text));
    }

    auto* group = new QGroupBox(QStringLiteral("File Information"));
    auto* form = new QFormLayout(group);
    for (const auto& [label, text] : image_properties_rows(record))
        add_row(label == QStringLiteral("Profile: ") ? camera_form : form, label, text);

    // The position with its map link.
    auto* gps = new QGroupBox(QStringLiteral("GPS"));
    auto* gps_form = new QFormLayout(gps);
    position_ = QString::fromStdString(gps_position(record.comments));
    map_button_ = new QToolButton;
    map_button_->setText(QStringLiteral("Map"));
    map_button_->setPopupMode(QToolButton::InstantPopup);
    map_button_->setEnabled(!position_.isEmpty());
    auto* menu = new QMenu(map_button_);
    menu->addAction(QStringLiteral("Go to map web site"), this,
                    [this] { QDesktopServices::openUrl(QUrl(map_link())); });
    menu->addAction(QStringLiteral("Copy to clipboard"), this,
                    [this] { QGuiApplication::clipboard()->setText(map_link()); });
    menu->addAction(QStringLiteral("Edit map site URL"), this, [this] {
        auto* panel = new MapUrlPanel(this);
        panel->setAttribute(Qt::WA_DeleteOnClose);
        panel->open();
    });
    map_button_->setMenu(menu);
    const bool metric = preferences().defaultunits == units_centimetres;
    for (const auto& [label, text] : gps_rows(record.comments, metric))
        add_row(gps_form, QString::fromStdString(label), QString::fromStdString(text),
                label == "Lat/Long:" ? map_button_ : nullptr);

    auto* user = new QGroupBox(QStringLiteral("User Comments"));
    auto* user_form = new QFormLayout(user);
    for (const UserCommentField& f : user_comment_fields)
        add_row(user_form, QString::fromLatin1(f.label) + QLatin1Char(':'), {});
    auto* edit = new QPushButton(QStringLiteral("Edit..."));
    user_form->addRow(edit);
    connect(edit, &QPushButton::clicked, this, [this] {
        auto* panel = new UserCommentsPanel(window_, this);
        panel->setAttribute(Qt::WA_DeleteOnClose);
        connect(panel, &QDialog::accepted, this, &InfoPanel::show_user_comments);
        panel->open();
    });
    show_user_comments();

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    auto* columns = new QHBoxLayout;
    auto* left = new QVBoxLayout;
    auto* right = new QVBoxLayout;
    left->addWidget(exposure);
    left->addLayout(camera_form);
    left->addStretch(1);
    right->addWidget(group);
    right->addWidget(gps);
    right->addWidget(user);
    columns->addLayout(left);
    columns->addLayout(right);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(columns);
    layout->addWidget(buttons);
}

QString InfoPanel::map_link() const {
    return QString::fromStdString(map_url(saved_state().comments_mapurl, position_.toStdString()));
}

void InfoPanel::show_user_comments() {
    const CommentList& comments = window_->record()->comments;
    for (const UserCommentField& f : user_comment_fields) {
        const Comment* c = CommentFind(comments, f.code);
        const std::string text = c ? std::string(c->text()) : std::string();
        const QString label = QString::fromLatin1(f.label) + QLatin1Char(':');
        for (auto& [name, value] : rows_)
            if (name == label)
                value->setText(f.code == 192 ? keywords_for_editing(text)
                                             : QString::fromStdString(text));
    }
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
