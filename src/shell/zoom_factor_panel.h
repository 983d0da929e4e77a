// "Zoom Factor..." (3008): the zoom of the active window typed in, as an
// enlargement n:1 or a reduction 1:n, with or without resizing the window.
#pragma once

#include <QDialog>

class ImageWindow;
class QCheckBox;
class QRadioButton;
class QSpinBox;

inline constexpr int zoom_factor_max = 64;

class ZoomFactorPanel : public QDialog {
    Q_OBJECT
public:
    // Shows `zoom`; `resize` is the check's first state.
    ZoomFactorPanel(int zoom, bool resize, QWidget* parent = nullptr);

    // The zoom the controls give: n for n:1, -n for 1:n, and 1 for 1:1 either way.
    int zoom() const;
    bool resize_window() const;

    QSpinBox* factor() const { return factor_; }
    QRadioButton* reduce() const { return reduce_; }
    QRadioButton* enlarge() const { return enlarge_; }
    QCheckBox* resize_check() const { return resize_; }

private:
    QSpinBox* factor_;
    QRadioButton* enlarge_;
    QRadioButton* reduce_;
    QCheckBox* resize_;
};

// Opens the panel on `window` and, on OK, sets its zoom.
void zoom_factor_run(ImageWindow* window);
