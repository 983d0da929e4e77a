// The amount control of blending transformations: a caption with the amount
// in percent, a slider (two thumbs when a mask is chosen: the amount where the
// mask is black and where it is white), and a square swatch at the right that
// shows the mask, or without one the amount as a gray, and offers the masks
// to choose from.
//
// Mouse gestures: Shift with the left button held shows the neutral setting
// until the button is released (a before/after check); Ctrl with a click
// mirrors the amounts; the right button on the swatch brings the mask's window
// forward; resting on the swatch for a second tells what it is for.
#pragma once

#include "core/window_record.h"
#include "shell/link_notify.h"
#include "transform/amount.h"

#include <QImage>
#include <QPointer>
#include <QSize>
#include <QTimer>
#include <QWidget>

#include <vector>

class ImageWindow;
class QLabel;
class QMdiArea;

inline constexpr char amount_mask_link_name[] = "Amount Mask";
inline constexpr char amount_mask_hint[] = "Select Amount Mask";
inline constexpr int amount_hint_delay_ms = 1000;

// The caption: the label and the amount in percent, with a mask both amounts.
QString amount_caption(const AmountSettings& settings);
// The gray that stands for an amount without a mask.
int amount_gray_level(int amount_low);
// A gray picture (type 2) fitted into a square of `side`, for the swatch and
// the pop-up; a null image for other types.
QImage mask_thumbnail(const Image& image, int side);

// A horizontal slider over 0..1024 with one thumb, or two when `high` isn't -1.
class AmountSlider : public QWidget {
    Q_OBJECT
public:
    explicit AmountSlider(QWidget* parent = nullptr);

    void set_values(int low, int high);
    int low() const { return low_; }
    int high() const { return high_; }
    // Where a thumb stands: 0 the low one, 1 the high one.
    int thumb_x(int thumb) const;
    // The value under x, as the mouse sets it.
    int value_at(int x) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    // The user moved a thumb.
    void moved(int low, int high);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    int thumb_width() const;
    int value_of(int thumb) const { return thumb == 0 ? low_ : high_; }
    void set_thumb(int thumb, int value);

    int low_ = amount_full;
    int high_ = -1;
    int dragging_ = -1;
    int keyboard_thumb_ = 0;  // the thumb the keys move: the one last taken
};

// The square at the right of the control.
class AmountSwatch : public QWidget {
    Q_OBJECT
public:
    explicit AmountSwatch(QWidget* parent = nullptr);

    // The mask's picture, or a null image and the gray level to show.
    void show_mask(const QImage& picture);
    void show_gray(int level);
    // The hint is waiting for the pointer to rest long enough.
    bool hint_pending() const { return hint_timer_.isActive(); }

signals:
    void left_pressed();
    void right_pressed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void show_hint();

    QImage picture_;
    int gray_ = 255;
    QTimer hint_timer_;
};

class AmountControl : public QWidget, public WindowBase, public LinkListener {
    Q_OBJECT
public:
    // Masks are offered from the image windows of `area` (the frame's when null).
    explicit AmountControl(QWidget* parent, QMdiArea* area = nullptr);
    ~AmountControl() override;

    const AmountSettings& settings() const { return settings_; }
    // Takes settings from outside (a workflow step, a saved block): no signal.
    // The mask window named there gets the control's link.
    void set_settings(const AmountSettings& settings);

    // Offers only masks of this size (an empty size: any). A mask that no
    // longer fits is dropped, as by "No Mask", with a signal.
    void set_mask_size(int width, int height);
    QSize mask_size() const { return mask_size_; }

    // Image windows of the area without owner, of kind 0 and type 2, of the
    // required size, in the order they were opened.
    std::vector<ImageWindow*> mask_candidates() const;
    // As choosing in the pop-up: a window, or null for "No Mask". Signals.
    void choose_mask(ImageWindow* window);
    ImageWindow* mask_window() const { return mask_.data(); }
    // Opens the pop-up of masks below the swatch and takes the choice.
    void pop_up_masks();

    QString caption() const;
    AmountSlider* slider() const { return slider_; }
    AmountSwatch* swatch() const { return swatch_; }

    void link_target_changed(WindowBase* target) override;

signals:
    // The settings changed by the user's hand; settings() holds them too.
    void amount_changed(const AmountSettings& settings);
    // The mask's window got new pixels.
    void mask_image_changed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool mouse_press(QObject* watched, QMouseEvent* event);
    bool mouse_release(QMouseEvent* event);
    void show_settings();
    void changed();
    void link_mask(ImageWindow* window);
    void bring_mask_forward();
    bool fits(const ImageWindow* window) const;

    QPointer<QMdiArea> area_;
    QLabel* caption_;
    AmountSlider* slider_;
    AmountSwatch* swatch_;
    AmountSettings settings_;
    AmountSettings before_neutral_;
    bool neutral_ = false;
    bool swallow_release_ = false;
    QPointer<ImageWindow> mask_;
    QSize mask_size_;
};
