// "&New Image..." (1001): a new picture of a chosen size, type, resolution
// and colour in a new window.
#pragma once

#include "core/image.h"
#include "core/preferences.h"

#include <QDialog>

class ColourButton;
class QComboBox;
class QLineEdit;
class QMdiArea;

// Units of the size fields, as the preference `defaultunits` numbers them.
inline constexpr int units_pixels = 0;
inline constexpr int units_inches = 1;
inline constexpr int units_centimetres = 2;

// The largest side of a new picture, in pixels.
inline constexpr int new_image_side_max = 100000;

inline constexpr char invalid_width_message[] = "Invalid image width";
inline constexpr char invalid_height_message[] = "Invalid image height";

struct NewImageSettings {
    double width = 640.0;  // in `units`
    double height = 480.0;
    int units = units_pixels;
    double resolution = 200.0;  // pixels per inch
    int type = image_type_colour8;
    Rgb8 colour{255, 255, 255};
};

// A side in `units` at `resolution` as whole pixels, rounded; 0 when it is
// not a usable side (below half a pixel or above the largest side).
int new_image_side(double value, int units, double resolution);

// Allocates the picture and paints it all in the colour: gray types take its
// luminance, binary pictures are white where that is 128 or more.
[[nodiscard]] int new_image_make(const NewImageSettings& settings, Image* picture);

class NewImagePanel : public QDialog {
    Q_OBJECT
public:
    NewImagePanel(const NewImageSettings& start, QWidget* parent = nullptr);

    // The values of the controls; false, with the message to show, when a
    // field can't be read.
    [[nodiscard]] bool read_settings(NewImageSettings* settings, QString* message) const;
    const NewImageSettings& settings() const { return settings_; }

    // Keeps the values, or says what is wrong and stays open.
    void accept() override;

private:
    void show_settings(const NewImageSettings& settings);

    QLineEdit* width_;
    QLineEdit* height_;
    QComboBox* units_;
    QLineEdit* resolution_;
    QComboBox* type_;
    ColourButton* colour_;
    NewImageSettings settings_;
};

// Opens the panel and makes the picture in a new window of `area` on OK. The
// values are remembered for the next time in the session; the units and the
// resolution start from the preferences.
void new_image_run(QMdiArea* area);
