#include "shell/splash_panel.h"

#include "shell/app_state.h"

#include <QEvent>
#include <QLinearGradient>
#include <QMdiArea>
#include <QPainter>
#include <QPointer>
#include <QTimer>

namespace {

QPointer<SplashPanel>& current() {
    static QPointer<SplashPanel> panel;
    return panel;
}

}  // namespace

SplashPanel::SplashPanel(QMdiArea* area) : QWidget(area), area_(area) {
    setAttribute(Qt::WA_DeleteOnClose);
    setFixedSize(splash_width, splash_height);
    area->installEventFilter(this);
    centre();
    QTimer::singleShot(splash_time_ms, this, &QWidget::close);
}

void SplashPanel::centre() {
    move((area_->width() - width()) / 2, (area_->height() - height()) / 2);
}

bool SplashPanel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == area_ && event->type() == QEvent::Resize) centre();
    return false;
}

void SplashPanel::mousePressEvent(QMouseEvent* event) {
    (void)event;
    close();
}

void SplashPanel::paintEvent(QPaintEvent* event) {
    (void)event;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRect frame = rect();

    QLinearGradient sky(frame.topLeft(), frame.bottomLeft());
    sky.setColorAt(0.0, QColor(24, 38, 64));
    sky.setColorAt(1.0, QColor(92, 70, 58));
    painter.fillRect(frame, sky);

    // A lens ring: the product is about pictures, and this needs no image file.
    const QPointF centre_point(frame.width() / 2.0, frame.height() * 0.42);
    for (int ring = 0; ring < 5; ++ring) {
        QColor colour = QColor::fromHsv((200 + ring * 28) % 360, 120, 230, 150);
        painter.setPen(QPen(colour, 6));
        const double radius = 60.0 + ring * 14.0;
        painter.drawEllipse(centre_point, radius, radius);
    }

    painter.setPen(Qt::white);
    QFont title = font();
    title.setPointSizeF(title.pointSizeF() * 2.6);
    title.setBold(true);
    painter.setFont(title);
    const QRect title_box(0, frame.height() * 70 / 100, frame.width(), frame.height() / 10);
    painter.drawText(title_box, Qt::AlignCenter, QString::fromLatin1(product_name));

    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 1.2);
    painter.setFont(small);
    const QRect version_box(0, title_box.bottom(), frame.width(), frame.height() / 12);
    painter.drawText(version_box, Qt::AlignCenter,
                     QStringLiteral("Version %1").arg(QString::fromLatin1(product_version)));

    painter.setPen(QPen(QColor(255, 255, 255, 90), 1));
    painter.drawRect(frame.adjusted(0, 0, -1, -1));
}

void splash_show(QMdiArea* area) {
    if (area == nullptr || app_state.batch_parent) return;
    splash_close();
    auto* panel = new SplashPanel(area);
    current() = panel;
    panel->show();
    panel->raise();
}

void splash_close() {
    if (!current().isNull()) current()->close();
    current() = nullptr;
}

SplashPanel* splash_current() {
    return current().data();
}
