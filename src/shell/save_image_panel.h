// The panels of saving an image: the Save Image panel, a file panel with the
// options group of the chosen format, and the statistics shown after a JPEG
// save.
#pragma once

#include "shell/save_image.h"

#include <QDialog>
#include <QFileDialog>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSlider;

// The JPEG slider runs from 0 to 1024.
inline constexpr int jpeg_slider_max = 1024;
// Slider position to quality, cut toward zero, and back.
constexpr int jpeg_quality_of_position(int position) {
    return position * 100 / jpeg_slider_max;
}
constexpr int jpeg_position_of_quality(int quality) {
    return quality * jpeg_slider_max / 100;
}

class SaveImagePanel : public QFileDialog {
    Q_OBJECT
public:
    explicit SaveImagePanel(const SaveImageRequest& request);

    // What the user does by picking a format from the list: the name field
    // takes the format's extension and the format's group shows.
    void choose_filter(int filter);
    int filter() const { return filter_; }
    // The name as typed, before the panel is accepted.
    QString name_field() const;
    SaveChoices choices() const { return choices_; }
    // The name and format chosen, and the groups' values.
    SaveImageAnswer answer() const;

    // The group of each format that has one: TIFF, JPEG, BMP.
    QGroupBox* tiff_group() const { return tiff_group_; }
    QGroupBox* jpeg_group() const { return jpeg_group_; }
    QGroupBox* bmp_group() const { return bmp_group_; }
    QSlider* jpeg_slider() const { return jpeg_slider_; }
    QLabel* jpeg_quality_label() const { return jpeg_label_; }
    QCheckBox* include_profile() const { return include_profile_; }

private:
    void build_groups();
    void show_group();
    void warn_when_unticked(QCheckBox* box);

    int filter_ = 1;
    SaveChoices choices_;
    QGroupBox* tiff_group_ = nullptr;
    QGroupBox* jpeg_group_ = nullptr;
    QGroupBox* bmp_group_ = nullptr;
    QSlider* jpeg_slider_ = nullptr;
    QLabel* jpeg_label_ = nullptr;
    QCheckBox* include_profile_ = nullptr;
};

// Runs the panel; an empty name when it was cancelled.
SaveImageAnswer save_image_panel_run(const SaveImageRequest& request);

// "File Save (JPEG)": the sizes of the file just written and the choices to
// write it again with.
class JpegStatisticsDialog : public QDialog {
    Q_OBJECT
public:
    JpegStatisticsDialog(const JpegStatistics& statistics, QWidget* parent);

    SaveChoices choices() const { return choices_; }
    QSlider* quality_slider() const { return slider_; }
    QComboBox* include_list() const { return include_; }
    QPushButton* save_again_button() const { return save_again_; }
    QString text_of(const QString& label) const;

private:
    void changed();

    SaveChoices used_;
    SaveChoices choices_;
    QSlider* slider_ = nullptr;
    QLabel* quality_label_ = nullptr;
    QComboBox* sampling_ = nullptr;
    QComboBox* include_ = nullptr;
    QPushButton* save_again_ = nullptr;
};

// Runs it: true with new choices for "Save Again", false for "Done".
bool jpeg_statistics_panel_run(const JpegStatistics& statistics, SaveChoices* choices);
