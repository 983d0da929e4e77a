// The title bar of the floating panels that live inside the work area (the
// transformation panels and the progress panel): the panel's title, an
// optional close box, and dragging the panel about within the area.
#pragma once

#include "shell/app_state.h"

#include <QStyleOptionTitleBar>
#include <QWidget>

// The shared sizes panels are laid out with; computed from the widget's font
// when the start-up hasn't set them (as in tests).
UiSizes panel_ui_sizes(const QWidget* widget);

class PanelTitleBar : public QWidget {
    Q_OBJECT
public:
    // `panel` is the widget that dragging moves.
    PanelTitleBar(QWidget* panel, const QString& title, bool close_box);

    QString title() const { return title_; }
    void set_title(const QString& title);
    bool has_close_box() const { return close_box_; }
    // Where the close box lies, in the bar's coordinates; empty without one.
    QRect close_box_rect() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    void close_clicked();
    // Any press on the bar: the panel comes to the front.
    void pressed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QStyleOptionTitleBar style_option() const;

    QWidget* panel_;
    QString title_;
    bool close_box_;
    bool dragging_ = false;
    bool close_down_ = false;
    QPoint grab_;  // where the bar was taken, in the panel's coordinates
};
