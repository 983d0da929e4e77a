#include "shell/range_control.h"

#include "core/format.h"

#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int side = 8;          // room left and right for the end handles
constexpr int handle_size = 9;   // the handles' height; half of it each side
constexpr int hist_height = 64;  // the histogram
constexpr int ramp_height = 8;   // the input tones under it

}  // namespace

// The drawing and the mouse of the bar.
class RangeBar : public QWidget {
public:
    explicit RangeBar(RangeControl* owner) : QWidget(owner), owner_(owner) {
        setObjectName(QStringLiteral("range_bar"));
        setMinimumWidth(256 + 2 * side);
        setFixedHeight(2 * handle_size + hist_height + ramp_height + 2);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }

    int span() const { return std::max(1, width() - 2 * side); }
    int x_of(int level) const { return side + (level * span() + 127) / 255; }
    int level_at(int x) const {
        return std::clamp(((x - side) * 255 + span() / 2) / span(), 0, 255);
    }
    int top() const { return handle_size; }                           // the histogram's top edge
    int bottom() const { return top() + hist_height + ramp_height; }  // the ramp's lower edge

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    void move_to(int x);
    void handle(QPainter& p, int level, bool upper);

    RangeControl* owner_;
    int dragged_ = -1;  // a RangeControl::Part
};

void RangeBar::handle(QPainter& p, int level, bool upper) {
    // A triangle pointing at the histogram, as dark or light as its level.
    const int x = x_of(level), tip = upper ? top() : bottom(), base = upper ? 0 : height() - 1;
    const QPoint points[3] = {
        {x, tip}, {x - handle_size / 2 - 1, base}, {x + handle_size / 2 + 1, base}};
    p.setBrush(QColor(level, level, level));
    p.setPen(palette().text().color());
    p.drawPolygon(points, 3);
}

void RangeBar::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const RangeControl::Values& v = owner_->values_;
    const QRect hist(side, top(), span() + 1, hist_height);
    p.fillRect(hist, palette().base());
    // The levels outside the input range, which the ends swallow, shaded.
    const QColor shade(0, 0, 0, 28);
    p.fillRect(
        QRect(QPoint(side, top()), QPoint(x_of(v[RangeControl::in_low]), top() + hist_height - 1)),
        shade);
    p.fillRect(QRect(QPoint(x_of(v[RangeControl::in_high]), top()),
                     QPoint(side + span(), top() + hist_height - 1)),
               shade);
    if (owner_->has_histogram_ && owner_->histogram_.largest > 0) {
        // Counts at the power 0.4, so that the thin parts of a picture show.
        const double largest = curve_bar_height(owner_->histogram_.largest, 1);
        for (int level = 0; level < 256; ++level) {
            const double count =
                curve_bar_height(owner_->histogram_.count[static_cast<std::size_t>(level)], 1);
            const int bar = static_cast<int>(std::lround((hist_height - 2) * count / largest));
            p.fillRect(x_of(level), top() + hist_height - bar,
                       std::max(1, x_of(level + 1) - x_of(level)), bar, QColor(150, 150, 150));
        }
    }
    QLinearGradient ramp(x_of(0), 0, x_of(255), 0);
    ramp.setColorAt(0, Qt::black);
    ramp.setColorAt(1, Qt::white);
    p.fillRect(QRect(QPoint(side, top() + hist_height), QPoint(side + span(), bottom() - 1)), ramp);
    p.setPen(palette().mid().color());
    p.setBrush(Qt::NoBrush);
    p.drawRect(side, top(), span(), hist_height + ramp_height - 1);
    // Where each input end goes: a line from its handle below to the output above.
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(palette().text().color(), 1, Qt::DotLine));
    p.drawLine(x_of(v[RangeControl::in_low]), top() + hist_height, x_of(v[RangeControl::out_low]),
               top());
    p.drawLine(x_of(v[RangeControl::in_high]), top() + hist_height, x_of(v[RangeControl::out_high]),
               top());
    for (int part = 0; part < 4; ++part)
        handle(p, v[static_cast<std::size_t>(part)], part >= RangeControl::out_low);
}

// The nearer handle of the pair on the pressed edge takes the press there.
void RangeBar::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const QPoint at = event->position().toPoint();
    const int low = at.y() < height() / 2 ? RangeControl::out_low : RangeControl::in_low;
    const int level = level_at(at.x());
    const int a = owner_->values_[static_cast<std::size_t>(low)];
    const int b = owner_->values_[static_cast<std::size_t>(low + 1)];
    // Handles on one spot: the one that can move toward the press goes.
    dragged_ = std::abs(level - a) < std::abs(level - b) || (a == b && level < a) ? low : low + 1;
    move_to(at.x());
}

void RangeBar::mouseMoveEvent(QMouseEvent* event) {
    if (dragged_ >= 0) move_to(event->position().toPoint().x());
}

void RangeBar::mouseReleaseEvent(QMouseEvent*) {
    if (dragged_ < 0) return;
    dragged_ = -1;
    emit owner_->changed();
}

void RangeBar::move_to(int x) {
    RangeControl::Values& v = owner_->values_;
    const bool low = dragged_ % 2 == 0;
    const int partner = v[static_cast<std::size_t>(low ? dragged_ + 1 : dragged_ - 1)];
    const int level = low ? std::min(level_at(x), partner) : std::max(level_at(x), partner);
    v[static_cast<std::size_t>(dragged_)] = level;
    owner_->show_caption();
    update();
}

// ---------------------------------------------------------------------------

RangeControl::RangeControl(const QString& label, const QString& format, QWidget* parent)
    : QWidget(parent), label_(label), format_(format) {
    setObjectName(QStringLiteral("range"));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    caption_ = new QLabel(this);
    caption_->setObjectName(QStringLiteral("range_caption"));
    auto* full = new QPushButton(QStringLiteral("Full Range"), this);
    full->setObjectName(QStringLiteral("full_range"));
    full->setAutoDefault(false);
    bar_ = new RangeBar(this);
    grid->addWidget(caption_, 0, 0);
    grid->addWidget(full, 0, 1, Qt::AlignRight);
    grid->addWidget(bar_, 1, 0, 1, 2);
    connect(full, &QPushButton::clicked, this, [this] {
        values_[in_low] = 0;
        values_[in_high] = 255;
        bar_->update();
        emit changed();
    });
    show_caption();
}

void RangeControl::set_values(const Values& values) {
    values_ = values;
    show_caption();
    bar_->update();
}

void RangeControl::set_histogram(const CurveHistogram* histogram) {
    has_histogram_ = histogram != nullptr;
    if (histogram) histogram_ = *histogram;
    bar_->update();
}

int RangeControl::level_x(int level) const {
    return bar_->x_of(level);
}

int RangeControl::handle_y(bool upper) const {
    return upper ? handle_size / 2 : bar_->height() - handle_size / 2 - 1;
}

QWidget* RangeControl::bar() const {
    return bar_;
}

void RangeControl::show_caption() {
    const std::string text =
        format_text(format_.toStdString(), values_[out_low] / 2.55, values_[out_high] / 2.55);
    caption_->setText(label_ + QString::fromStdString(text));
}
