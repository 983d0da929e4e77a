// "&Info..." (3001) and the zoom menu's "Properties": the Image Properties
// window of a picture, with what the window record knows about its file and
// what its comments say: the exposure, the camera, the GPS position with its
// map link, and the user comments with their editor.
#pragma once

#include "core/window_record.h"

#include <QDialog>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

class ImageWindow;
class QLabel;
class QToolButton;

// The rows of the "File Information" group and "Profile: ", label and text,
// in the order shown. Sizes and names come from the record's file when it
// has one; the other rows of an unsaved picture stay empty.
std::vector<std::pair<QString, QString>> image_properties_rows(const WindowRecord& record);

// "%.2f MB" from one mebibyte up, else "%.2f KB".
QString file_size_text(qint64 bytes);

class InfoPanel : public QDialog {
    Q_OBJECT
public:
    InfoPanel(ImageWindow* window, QWidget* parent = nullptr);

    // The text shown beside a row's label; empty when there is no such row.
    QString row_text(const QString& label) const;
    // "Map" beside the position, with its three commands.
    QToolButton* map_button() const { return map_button_; }
    // The map site's address for the position shown.
    QString map_link() const;

private:
    void show_user_comments();

    ImageWindow* window_;
    std::vector<std::pair<QString, QLabel*>> rows_;
    QToolButton* map_button_ = nullptr;
    QString position_;
};

// Opens the window for `window`; it closes itself when the picture's window goes.
InfoPanel* info_panel_show(ImageWindow* window);
