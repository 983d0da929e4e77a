// The colour-line control: a ramp of colours along 0..1 with a marker under
// each colour. Click a marker to select it and drag it along; Shift and click
// on the ramp adds a colour there (the ramp's own colour at that place), Ctrl
// and click on an inner marker removes it, a double click picks its colour.
// The lists under the ramp set how the gap after the selected colour passes
// to the next: "Step Left", "Step Center", "Step Right", "Line", "Sine", in
// RGB or around the hue circle either way in HSV or HSL.
#pragma once

#include "transform/curves.h"

#include <QColor>
#include <QWidget>

#include <functional>

class QComboBox;
class ColorlineRamp;

// Picks a colour: the editor's asks QColorDialog; tests put in their own. An
// invalid colour means cancelled.
using ColorlineColourChooser =
    std::function<QColor(QWidget* parent, QColor start, const QString& title)>;
// Returns the one set before; null restores QColorDialog.
ColorlineColourChooser colorline_set_colour_chooser(ColorlineColourChooser chooser);
// Picks a colour with the chooser set, for every colour control of the panels.
QColor choose_colour(QWidget* parent, QColor start, const QString& title);

class ColorlineControl : public QWidget {
    Q_OBJECT
public:
    explicit ColorlineControl(QWidget* parent = nullptr);

    // The line shown and edited; it must outlive the control or be replaced.
    void set_line(Colorline* line);
    Colorline* line() const { return line_; }
    int selected() const { return selected_; }
    // Where position p (0..1) lies on the ramp, in the ramp's pixels.
    int x_of(double position) const;
    QWidget* ramp() const;

signals:
    void changed();

private:
    friend class ColorlineRamp;
    void select(int index);
    void edited();
    void pick_colour(int index);

    Colorline* line_ = nullptr;
    int selected_ = 0;
    ColorlineRamp* ramp_ = nullptr;
    QComboBox* shape_ = nullptr;
    QComboBox* space_ = nullptr;
};
