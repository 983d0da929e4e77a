// The Preferences panel: one labelled control per preference. Accepting it
// keeps the values at once, in the process and in the store.
#pragma once

#include "core/preferences.h"

#include <QDialog>
#include <QPushButton>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QSpinBox;

// A button that shows a colour and lets the user pick another.
class ColourButton : public QPushButton {
    Q_OBJECT
public:
    ColourButton(const QString& dialog_title, QWidget* parent = nullptr);

    Rgb8 colour() const { return colour_; }
    void set_colour(Rgb8 colour);

private:
    void choose();

    QString dialog_title_;
    Rgb8 colour_;
};

inline constexpr char invalid_dpi_message[] = "Invalid dpi setting";

class PreferencesPanel : public QDialog {
    Q_OBJECT
public:
    explicit PreferencesPanel(QWidget* parent = nullptr);

    // Shows `values` in the controls.
    void show_values(const Preferences& values);
    // Reads the controls over `values`: false when the resolution cannot be
    // read, leaving it as it was.
    [[nodiscard]] bool read_values(Preferences& values) const;

    // Keeps the values and saves them; an unreadable resolution is refused
    // with a message and the panel stays open.
    void accept() override;

private:
    QComboBox* confirm_;
    ColourButton* workspace_;
    QSpinBox* border_width_;
    ColourButton* border_;
    QLineEdit* startupdirectory_;
    QLineEdit* tempdirectory_;
    QLineEdit* browserootdirectory_;
    QLineEdit* defaultres_;
    QSpinBox* defaultunits_;
    QCheckBox* displayfullpathname_;
    QComboBox* undo_;
    QSpinBox* nfilemenu_;
    QSpinBox* defaultfileopentype_;
    QSpinBox* defaultfilesavetype_;
    QCheckBox* honorfilesavetype_;
    QCheckBox* defaultpreview_;
    QCheckBox* smoothzoomflag_;
    QCheckBox* showruler_;
    QSpinBox* resampling_method_;
    QComboBox* maxpreviewsize_;
    QComboBox* previewlocation_;
    QCheckBox* stickysettings_;
};

// Opens the panel over `parent` and waits for it to close.
void preferences_panel_run(QWidget* parent);
