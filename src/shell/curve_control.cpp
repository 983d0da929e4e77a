#include "shell/curve_control.h"

#include "shell/settings_file_commands.h"
#include "shell/word_list.h"

#include <QApplication>
#include <QComboBox>
#include <QGridLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int chart_size = 272;  // 256 levels and the margins
constexpr int margin_far = 8;    // right and top
constexpr int margin_ruler = 16;  // left and bottom, where the rulers lie
constexpr int margin_hist = 8;   // left, in "Show Histograms"
constexpr int grab_distance = 4;         // pixels around a point that take the mouse

// Histogram levels in "Show Histograms": the input above, the output below.
constexpr int input_floor = 155;
constexpr int output_top = 100;

}  // namespace

// The drawing and the mouse of the control.
class CurveChart : public QWidget {
public:
    explicit CurveChart(CurveControl* owner) : QWidget(owner), owner_(owner) {
        setFixedSize(chart_size, chart_size);
        setObjectName(QStringLiteral("curve_chart"));
        setMouseTracking(false);
    }

    int left() const { return owner_->mode() == 1 ? margin_hist : margin_ruler; }
    int x_of(int level) const { return left() + level * (width() - left() - margin_far) / 255; }
    int y_of(int level) const {
        const int span = height() - margin_far - margin_ruler;
        return height() - margin_ruler - level * span / 255;
    }
    int level_at_x(int x) const {
        return std::clamp((x - left()) * 255 / std::max(1, width() - left() - margin_far), 0, 255);
    }
    int level_at_y(int y) const {
        const int span = height() - margin_far - margin_ruler;
        return (height() - margin_ruler - y) * 255 / std::max(1, span);
    }

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    enum class Drag { none, both, x_only, y_only };
    void draw_histogram(QPainter& p, const CurveHistogram& h, int floor_level, int top_level);
    int point_near(int x, int y, bool x_axis, bool y_axis) const;

    CurveControl* owner_;
    Drag drag_ = Drag::none;
    int dragged_ = -1;
};

void CurveChart::draw_histogram(QPainter& p, const CurveHistogram& h, int floor_level,
                                int top_level) {
    const int expand = owner_->curve_ ? owner_->curve_->histexpand : 0;
    const double largest = curve_bar_height(h.largest, expand);
    if (largest <= 0) return;
    for (int level = 0; level < 256; ++level) {
        const double bar = curve_bar_height(h.count[static_cast<std::size_t>(level)], expand);
        const int top = floor_level + static_cast<int>((top_level - floor_level) * bar / largest);
        p.drawLine(x_of(level), y_of(floor_level), x_of(level), y_of(top));
    }
}

void CurveChart::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), palette().base());
    const Curve* c = owner_->curve_;
    const bool histograms = owner_->mode() == 1;

    // The tone scales beside the axes.
    for (int level = 0; level < 256; ++level) {
        p.setPen(QColor(level, level, level));
        if (!histograms) p.drawLine(2, y_of(level), margin_ruler - 4, y_of(level));
        p.drawLine(x_of(level), height() - margin_ruler + 4, x_of(level), height() - 2);
    }
    // The histograms: behind the curve, or above and below the joining lines.
    std::array<CurveHistogram, 1> merged{};
    const CurveHistogram* in = nullptr;
    if (owner_->histogram_count_ == 3) {
        for (int level = 0; level < 256; ++level)
            for (const CurveHistogram& h : owner_->histograms_)
                merged[0].count[static_cast<std::size_t>(level)] =
                    std::max(merged[0].count[static_cast<std::size_t>(level)],
                             h.count[static_cast<std::size_t>(level)]);
        merged[0].update_largest();
        in = &merged[0];
    } else if (owner_->histogram_count_ == 1) {
        in = &owner_->histograms_[0];
    }
    p.setPen(QColor(200, 200, 200));
    if (in && c) {
        if (histograms) {
            CurveHistogram out;
            curve_output_histogram(*in, c->lut, out);
            draw_histogram(p, *in, input_floor, 255);
            draw_histogram(p, out, 0, output_top);
        } else {
            draw_histogram(p, *in, 0, 255);
        }
    }
    // The grid.
    p.setPen(QColor(170, 170, 170));
    const int lines = owner_->grid();
    for (int k = 0; k <= lines; ++k) {
        const int level = k * 255 / lines;
        if (!histograms) p.drawLine(x_of(0), y_of(level), x_of(255), y_of(level));
        p.drawLine(x_of(level), y_of(0), x_of(level), y_of(255));
    }
    if (!c) return;
    // What the probe read: one line, or red, green and blue.
    const QColor marker_colours[3] = {Qt::red, QColor(0, 160, 0), Qt::blue};
    for (int k = 0; k < owner_->marker_count_; ++k) {
        p.setPen(owner_->marker_count_ == 3 ? marker_colours[k] : QColor(Qt::red));
        const int x = x_of(owner_->markers_[static_cast<std::size_t>(k)]);
        p.drawLine(x, y_of(0), x, y_of(255));
    }
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(palette().text().color(), 1));
    if (histograms) {
        // Each point joins its input level above to its output level below.
        for (int i = 0; i < c->npts; ++i) {
            p.drawLine(x_of(c->x[i]), y_of(input_floor), x_of(c->y[i]), y_of(output_top));
            p.drawRect(x_of(c->x[i]) - 2, y_of(input_floor) - 2, 4, 4);
            p.drawRect(x_of(c->y[i]) - 2, y_of(output_top) - 2, 4, 4);
        }
        return;
    }
    QPolygon line;
    for (int level = 0; level < 256; ++level)
        line << QPoint(x_of(level), y_of(c->lut[level]));
    p.drawPolyline(line);
    for (int i = 0; i < c->npts; ++i)
        p.drawRect(x_of(c->x[i]) - 2, y_of(c->y[i]) - 2, 4, 4);
}

// The point within grab distance, on the axes asked for; -1 when none.
int CurveChart::point_near(int x, int y, bool x_axis, bool y_axis) const {
    const Curve* c = owner_->curve_;
    for (int i = 0; i < c->npts; ++i) {
        const bool near_x = !x_axis || std::abs(x_of(c->x[i]) - x) <= grab_distance;
        const bool near_y = !y_axis || std::abs(y_of(c->y[i]) - y) <= grab_distance;
        if (near_x && near_y) return i;
    }
    return -1;
}

void CurveChart::mousePressEvent(QMouseEvent* event) {
    Curve* c = owner_->curve_;
    if (!c || event->button() != Qt::LeftButton) return;
    const int x = event->position().toPoint().x(), y = event->position().toPoint().y();
    const bool histograms = owner_->mode() == 1;
    const bool shift = event->modifiers() & Qt::ShiftModifier;
    const bool ctrl = event->modifiers() & Qt::ControlModifier;

    int index = -1;
    Drag drag = Drag::none;
    if (histograms) {
        // Points are dragged along either histogram: x on the input, y on the output.
        if (std::abs(y - y_of(input_floor)) <= grab_distance) {
            index = -1;
            for (int i = 0; i < c->npts && index < 0; ++i)
                if (std::abs(x_of(c->x[i]) - x) <= grab_distance) index = i;
            drag = Drag::x_only;
        } else if (std::abs(y - y_of(output_top)) <= grab_distance) {
            for (int i = 0; i < c->npts && index < 0; ++i)
                if (std::abs(x_of(c->y[i]) - x) <= grab_distance) index = i;
            drag = Drag::y_only;
        }
    } else if (x < left()) {
        index = point_near(x, y, false, true);  // the left ruler: y only
        drag = Drag::y_only;
    } else if (y > height() - margin_ruler) {
        index = point_near(x, y, true, false);  // the lower ruler: x only
        drag = Drag::x_only;
    } else {
        index = point_near(x, y, true, true);
        drag = Drag::both;
    }

    if (index >= 0 && ctrl) {
        if (curve_delete_point(*c, index))
            owner_->edited();
        else
            QApplication::beep();
        return;
    }
    if (index >= 0 && !shift) {
        // A point whose neighbours are one level away each side can't move in x.
        const bool boxed = index > 0 && index < c->npts - 1 && c->x[index + 1] - c->x[index - 1] == 2;
        drag_ = boxed && drag == Drag::x_only ? Drag::none : (boxed ? Drag::y_only : drag);
        dragged_ = index;
        return;
    }
    if (!shift) return;  // a plain click on a free place does nothing
    const int level = level_at_x(x);
    int new_y = level_at_y(y);
    if (histograms) {
        if (y > y_of(128)) {  // only the upper half adds
            QApplication::beep();
            return;
        }
        new_y = curve_histogram_mode_y(*c, level);
    }
    if (curve_add_point(*c, level, std::clamp(new_y, 0, 255)) < 0)
        QApplication::beep();
    else
        owner_->edited();
}

void CurveChart::mouseMoveEvent(QMouseEvent* event) {
    Curve* c = owner_->curve_;
    if (!c || drag_ == Drag::none || dragged_ < 0) return;
    const QPoint at = event->position().toPoint();
    int x = c->x[dragged_], y = c->y[dragged_];
    if (owner_->mode() == 1) {
        if (drag_ == Drag::x_only) x = level_at_x(at.x());
        if (drag_ == Drag::y_only) y = level_at_x(at.x());
    } else {
        if (drag_ != Drag::y_only) x = level_at_x(at.x());
        if (drag_ != Drag::x_only) y = level_at_y(at.y());
    }
    curve_move_point(*c, dragged_, x, y);
    update();
}

void CurveChart::mouseReleaseEvent(QMouseEvent*) {
    if (drag_ != Drag::none && dragged_ >= 0) owner_->edited();
    drag_ = Drag::none;
    dragged_ = -1;
}

// ---------------------------------------------------------------------------

namespace {

constexpr std::string_view mode_words[] = {"Show Curve", "Show Histograms"};
constexpr std::string_view grid_words[] = {"4x4 Grid", "8x8 Grid", "10x10 Grid"};
constexpr std::string_view probe_words[] = {"1x1 Probe", "3x3 Probe", "5x5 Probe", "7x7 Probe",
                                            "9x9 Probe"};

}  // namespace

CurveControl::CurveControl(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("curve"));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    chart_ = new CurveChart(this);
    grid->addWidget(chart_, 0, 0, 1, 2, Qt::AlignHCenter);
    style_ = word_list(this, QStringLiteral("curve_style"), curve_style_labels);
    expand_ = word_list(this, QStringLiteral("curve_histexpand"), curve_histexpand_labels);
    mode_ = word_list(this, QStringLiteral("curve_mode"), mode_words);
    grid_ = word_list(this, QStringLiteral("curve_grid"), grid_words);
    grid_->setCurrentIndex(2);
    probe_ = word_list(this, QStringLiteral("curve_probe"), probe_words);
    probe_->setCurrentIndex(1);
    grid->addWidget(style_, 1, 0);
    grid->addWidget(expand_, 1, 1);
    grid->addWidget(mode_, 2, 0);
    grid->addWidget(grid_, 2, 1);

    grid->addWidget(probe_, 3, 0);
    auto* reset_button = new QPushButton(QStringLiteral("&Reset"), this);
    reset_button->setObjectName(QStringLiteral("curve_reset"));
    auto* invert_button = new QPushButton(QStringLiteral("&Invert"), this);
    invert_button->setObjectName(QStringLiteral("curve_invert"));
    auto* load_button = new QPushButton(QStringLiteral("Load..."), this);
    load_button->setObjectName(QStringLiteral("curve_load"));
    auto* save_button = new QPushButton(QStringLiteral("Save..."), this);
    save_button->setObjectName(QStringLiteral("curve_save"));
    for (QPushButton* b : {reset_button, invert_button, load_button, save_button})
        b->setAutoDefault(false);
    grid->addWidget(reset_button, 4, 0);
    grid->addWidget(invert_button, 4, 1);
    grid->addWidget(load_button, 5, 0);
    grid->addWidget(save_button, 5, 1);

    auto* files = new SettingsFileCommands(
        this, curve_file_format.info,
        [this](const std::string& path) { return curve_ ? curve_load(path, *curve_) : 4; },
        [this](const std::string& path) { return curve_ ? curve_save(path, *curve_) : 3; },
        [this] { reset(); }, [this] { edited(); });

    connect(style_, &QComboBox::activated, this, [this](int index) {
        if (!curve_) return;
        curve_->style = index;
        curve_update(*curve_);
        edited();
    });
    connect(expand_, &QComboBox::activated, this, [this](int index) {
        if (!curve_) return;
        curve_->histexpand = index;
        edited();
    });
    connect(mode_, &QComboBox::activated, chart_, qOverload<>(&QWidget::update));
    connect(grid_, &QComboBox::activated, chart_, qOverload<>(&QWidget::update));
    connect(reset_button, &QPushButton::clicked, this, [this] {
        reset();
        edited();
    });
    connect(invert_button, &QPushButton::clicked, this, [this] {
        invert();
        edited();
    });
    connect(load_button, &QPushButton::clicked, files, [files] { (void)files->load(); });
    connect(save_button, &QPushButton::clicked, files, [files] { (void)files->save_as(); });
}

void CurveControl::set_curve(Curve* curve) {
    curve_ = curve;
    if (curve_) curve_update(*curve_);
    refresh();
}

void CurveControl::set_histograms(const CurveHistogram* histograms, int count) {
    histogram_count_ = std::clamp(count, 0, 3);
    for (int k = 0; k < histogram_count_; ++k)
        histograms_[static_cast<std::size_t>(k)] = histograms[k];
    chart_->update();
}

void CurveControl::set_mode(int mode) {
    mode_->setCurrentIndex(mode == 1 ? 1 : 0);
    chart_->update();
}

int CurveControl::mode() const {
    return mode_->currentIndex();
}

int CurveControl::grid() const {
    constexpr int lines[] = {4, 8, 10};
    return lines[std::clamp(grid_->currentIndex(), 0, 2)];
}

int CurveControl::level_x(int level) const {
    return chart_->x_of(level);
}

int CurveControl::level_y(int level) const {
    return chart_->y_of(level);
}

QWidget* CurveControl::chart() const {
    return chart_;
}

int CurveControl::probe_radius() const {
    return probe_->currentIndex();
}

void CurveControl::set_markers(const int* levels, int count) {
    marker_count_ = std::clamp(count, 0, 3);
    for (int k = 0; k < marker_count_; ++k)
        markers_[static_cast<std::size_t>(k)] = std::clamp(levels[k], 0, 255);
    chart_->update();
}

void CurveControl::add_probed_points(const int* levels, int count) {
    if (!curve_) return;
    bool added = false;
    for (int k = 0; k < count; ++k) {
        const int level = std::clamp(levels[k], 0, 255);
        added = curve_add_point(*curve_, level, curve_->lut[level]) >= 0 || added;
    }
    if (added)
        edited();
    else
        QApplication::beep();
}

void CurveControl::reset() {
    if (curve_) curve_reset(*curve_);
    refresh();
}

void CurveControl::invert() {
    if (curve_) curve_invert(*curve_);
    chart_->update();
}

void CurveControl::refresh() {
    const QSignalBlocker a(style_), b(expand_);
    if (curve_) {
        style_->setCurrentIndex(std::clamp(static_cast<int>(curve_->style), 0, 3));
        expand_->setCurrentIndex(std::clamp(static_cast<int>(curve_->histexpand), 0, 2));
    }
    chart_->update();
}

void CurveControl::edited() {
    refresh();
    emit changed();
}
