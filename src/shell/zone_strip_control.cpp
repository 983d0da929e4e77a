#include "shell/zone_strip_control.h"

#include "transform/gray/zones.h"

#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int side = 8;          // room left and right for the end handles
constexpr int handle_size = 10;  // the handles' height
constexpr int hist_height = 64;
constexpr int band_height = 10;  // the zones under the histogram

}  // namespace

ZoneStripControl::ZoneStripControl(int handles, QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("levels"));
    values_ = handles == 4 ? std::vector<int>{0, 51, 204, 255} : std::vector<int>{0, 128, 255};
    setMinimumWidth(256 + 2 * side);
    setFixedHeight(hist_height + band_height + handle_size + 2);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

int ZoneStripControl::span() const {
    return std::max(1, width() - 2 * side);
}

int ZoneStripControl::level_x(int level) const {
    return side + (level * span() + 127) / 255;
}

int ZoneStripControl::handle_y() const {
    return hist_height + band_height + handle_size / 2;
}

int ZoneStripControl::level_at(int x) const {
    return std::clamp(((x - side) * 255 + span() / 2) / span(), 0, 255);
}

void ZoneStripControl::set_values(const std::vector<int>& values) {
    if (values.size() == values_.size()) values_ = values;
    update();
}

void ZoneStripControl::set_histogram(const CurveHistogram* histogram) {
    has_histogram_ = histogram != nullptr;
    if (histogram) histogram_ = *histogram;
    update();
}

void ZoneStripControl::set_expansion(int level) {
    expansion_ = std::clamp(level, 0, 2);
    update();
}

void ZoneStripControl::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(QRect(side, 0, span() + 1, hist_height), palette().base());
    if (has_histogram_ && histogram_.largest > 0) {
        const double largest = curve_bar_height(histogram_.largest, expansion_);
        for (int level = 0; level < 256; ++level) {
            const double count =
                curve_bar_height(histogram_.count[static_cast<std::size_t>(level)], expansion_);
            const int bar = static_cast<int>(std::lround((hist_height - 2) * count / largest));
            p.fillRect(level_x(level), hist_height - bar,
                       std::max(1, level_x(level + 1) - level_x(level)), bar, QColor(150, 150, 150));
        }
    }
    // Each level in the grey of its zone, read as "Show Zones" reads it.
    const int n = static_cast<int>(values_.size());
    const int low = values_[1], high = values_[n - 2];
    for (int level = 0; level < 256; ++level) {
        const int g = zone_display_level(level, values_[0], low, high, values_[n - 1]);
        p.fillRect(level_x(level), hist_height, std::max(1, level_x(level + 1) - level_x(level)),
                   band_height, QColor(g, g, g));
    }
    p.setPen(palette().mid().color());
    p.drawRect(side, 0, span(), hist_height + band_height - 1);
    p.setRenderHint(QPainter::Antialiasing);
    for (int k = 0; k < n; ++k) {
        const int x = level_x(values_[static_cast<std::size_t>(k)]);
        p.setPen(QPen(palette().text().color(), 1, Qt::DotLine));
        p.drawLine(x, 0, x, hist_height - 1);
        const int top = hist_height + band_height, base = height() - 1;
        const QPoint points[3] = {{x, top}, {x - handle_size / 2, base}, {x + handle_size / 2, base}};
        const int g = values_[static_cast<std::size_t>(k)];
        p.setBrush(QColor(g, g, g));
        p.setPen(palette().text().color());
        p.drawPolygon(points, 3);
    }
}

// The nearest handle takes the press; of handles on one spot, the one that
// can move toward it.
void ZoneStripControl::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const int level = level_at(event->position().toPoint().x());
    int best = 0;
    for (int k = 1; k < static_cast<int>(values_.size()); ++k) {
        const int d = std::abs(level - values_[static_cast<std::size_t>(k)]);
        const int db = std::abs(level - values_[static_cast<std::size_t>(best)]);
        if (d < db || (d == db && level > values_[static_cast<std::size_t>(k)])) best = k;
    }
    dragged_ = best;
    move_to(event->position().toPoint().x());
}

void ZoneStripControl::mouseMoveEvent(QMouseEvent* event) {
    if (dragged_ >= 0) move_to(event->position().toPoint().x());
}

void ZoneStripControl::mouseReleaseEvent(QMouseEvent*) {
    if (dragged_ < 0) return;
    dragged_ = -1;
    emit changed();
}

void ZoneStripControl::move_to(int x) {
    const auto k = static_cast<std::size_t>(dragged_);
    const int lo = k == 0 ? 0 : values_[k - 1];
    const int hi = k + 1 == values_.size() ? 255 : values_[k + 1];
    values_[k] = std::clamp(level_at(x), lo, hi);
    update();
}
