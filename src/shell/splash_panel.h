// The panel shown in the middle of the work area at a start without files. It
// goes at a click, after five seconds, or at the next activity.
#pragma once

#include <QWidget>

class QMdiArea;

inline constexpr int splash_width = 597;
inline constexpr int splash_height = 505;
inline constexpr int splash_time_ms = 5000;

class SplashPanel : public QWidget {
    Q_OBJECT
public:
    explicit SplashPanel(QMdiArea* area);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void centre();
    QMdiArea* area_;
};

// Shows the splash in `area` (nothing in a background process).
void splash_show(QMdiArea* area);
// Removes the splash if it is up.
void splash_close();
// The splash now up, or null.
SplashPanel* splash_current();
