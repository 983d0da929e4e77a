// The windows of a picture's comments: User Comments, where the text fields
// are edited; File Comments, the list of all of them; and Set Map URL, the
// template of the Image Properties window's map link.
#pragma once

#include <QDialog>
#include <QString>

#include <vector>

class ImageWindow;
class QLineEdit;
class QListWidget;

// "User Comments  (%s)": Description, Artist, Copyright, Keywords and the
// place names. OK stores them in the window's comments; Close changes nothing.
class UserCommentsPanel : public QDialog {
    Q_OBJECT
public:
    UserCommentsPanel(ImageWindow* window, QWidget* parent = nullptr);
    // The edit of a field, by the code of its comment.
    QLineEdit* field(std::uint32_t code) const;
    void accept() override;

private:
    ImageWindow* window_;
    std::vector<std::pair<std::uint32_t, QLineEdit*>> fields_;
};

// "File Comments": every comment, a line each as the command line prints
// them; "No window specified" without a window.
class FileCommentsPanel : public QDialog {
    Q_OBJECT
public:
    FileCommentsPanel(ImageWindow* window, QWidget* parent = nullptr);
    QStringList lines() const;

private:
    QListWidget* list_;
};
FileCommentsPanel* file_comments_show(ImageWindow* window);

// "Set Map URL": the template, with "Insert Macro" putting the position's
// macro at the caret. OK stores it under `comments_mapurl`.
class MapUrlPanel : public QDialog {
    Q_OBJECT
public:
    explicit MapUrlPanel(QWidget* parent = nullptr);
    QLineEdit* url() const { return url_; }
    void accept() override;

private:
    QLineEdit* url_;
};

// Keywords are kept joined by 0x01 and edited joined by "; ".
QString keywords_for_editing(const std::string& kept);
std::string keywords_for_keeping(const QString& edited);
