#include "shell/comment_windows.h"

#include "core/comments.h"
#include "core/preferences.h"
#include "file/comment_display.h"
#include "file/metadata.h"
#include "shell/app_state.h"
#include "shell/image_window.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr std::uint32_t keywords_code = 192;

}  // namespace

QString keywords_for_editing(const std::string& kept) {
    QStringList parts = QString::fromStdString(kept).split(QChar(comment_iptc_separator));
    return parts.join(QStringLiteral("; "));
}

std::string keywords_for_keeping(const QString& edited) {
    QStringList parts;
    for (const QString& part : edited.split(QLatin1Char(';'))) {
        const QString trimmed = part.trimmed();
        if (!trimmed.isEmpty()) parts << trimmed;
    }
    return parts.join(QChar(comment_iptc_separator)).toStdString();
}

UserCommentsPanel::UserCommentsPanel(ImageWindow* window, QWidget* parent)
    : QDialog(parent), window_(window) {
    setObjectName(QStringLiteral("user_comments_panel"));
    setWindowTitle(QStringLiteral("User Comments  (%1)").arg(window->windowTitle()));
    const WindowRecord* record = window->record();
    const bool new_file = record->file_name.empty();
    auto* form = new QFormLayout;
    for (const UserCommentField& f : user_comment_fields) {
        const Comment* c = CommentFind(record->comments, f.code);
        std::string text = c ? std::string(c->text()) : std::string();
        if (text.empty() && new_file && f.code == 0) text = saved_state().comments_artist;
        if (text.empty() && new_file && f.code == 1) text = saved_state().comments_copyright;
        auto* edit = new QLineEdit(f.code == keywords_code ? keywords_for_editing(text)
                                                           : QString::fromStdString(text));
        edit->setMinimumWidth(320);
        fields_.emplace_back(f.code, edit);
        form->addRow(QString::fromLatin1(f.label) + QLatin1Char(':'), edit);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);
}

QLineEdit* UserCommentsPanel::field(std::uint32_t code) const {
    for (const auto& [c, edit] : fields_)
        if (c == code) return edit;
    return nullptr;
}

void UserCommentsPanel::accept() {
    WindowRecord* record = window_->record();
    bool changed = false;
    for (const auto& [code, edit] : fields_) {
        const std::string text =
            code == keywords_code ? keywords_for_keeping(edit->text()) : edit->text().toStdString();
        const Comment* old = CommentFind(record->comments, code);
        if ((old ? std::string(old->text()) : std::string()) == text) continue;
        if (CommentSetText(&record->comments, code, text) == 0) changed = true;
    }
    if (changed) window_->modified = 1;
    QDialog::accept();
}

FileCommentsPanel::FileCommentsPanel(ImageWindow* window, QWidget* parent)
    : QDialog(parent), list_(new QListWidget) {
    setObjectName(QStringLiteral("file_comments_panel"));
    setWindowTitle(QStringLiteral("File Comments"));
    if (window == nullptr) {
        list_->addItem(QStringLiteral("No window specified"));
    } else {
        for (const Comment& c : window->record()->comments.items)
            for (const std::string& line : comment_lines(c))
                list_->addItem(QString::fromStdString(line));
    }
    list_->setMinimumSize(480, 320);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(list_);
    layout->addWidget(buttons);
}

QStringList FileCommentsPanel::lines() const {
    QStringList lines;
    for (int i = 0; i < list_->count(); ++i)
        lines << list_->item(i)->text();
    return lines;
}

FileCommentsPanel* file_comments_show(ImageWindow* window) {
    auto* panel = new FileCommentsPanel(window, app_state.main_window);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    if (window) QObject::connect(window, &QObject::destroyed, panel, &QWidget::close);
    panel->show();
    return panel;
}

MapUrlPanel::MapUrlPanel(QWidget* parent) : QDialog(parent), url_(new QLineEdit) {
    setObjectName(QStringLiteral("map_url_panel"));
    setWindowTitle(QStringLiteral("Set Map URL"));
    const std::string& kept = saved_state().comments_mapurl;
    url_->setText(QString::fromStdString(kept.empty() ? default_map_url : kept));
    url_->setMinimumWidth(420);
    auto* insert = new QPushButton(QStringLiteral("Insert Macro"));
    connect(insert, &QPushButton::clicked, this,
            [this] { url_->insert(QString::fromLatin1(map_macro)); });
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(url_);
    layout->addWidget(insert);
    layout->addWidget(buttons);
}

void MapUrlPanel::accept() {
    saved_state().comments_mapurl = url_->text().toStdString();
    QDialog::accept();
}
