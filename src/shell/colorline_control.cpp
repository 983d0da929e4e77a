#include "shell/colorline_control.h"

#include "shell/settings_file_commands.h"
#include "shell/word_list.h"

#include <QApplication>
#include <QColorDialog>
#include <QComboBox>
#include <QGridLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

constexpr int ramp_height = 32;
constexpr int marker_height = 12;
constexpr int side = 6;   // room left and right for the end markers
constexpr int grab_distance = 5;  // pixels around a marker that take the mouse

ColorlineColourChooser& chooser() {
    static ColorlineColourChooser hook;
    return hook;
}

}  // namespace

QColor choose_colour(QWidget* parent, QColor start, const QString& title) {
    if (chooser()) return chooser()(parent, start, title);
    return QColorDialog::getColor(start, parent, title);
}

ColorlineColourChooser colorline_set_colour_chooser(ColorlineColourChooser hook) {
    std::swap(chooser(), hook);
    return hook;
}

// The ramp and its markers.
class ColorlineRamp : public QWidget {
public:
    explicit ColorlineRamp(ColorlineControl* owner) : QWidget(owner), owner_(owner) {
        setObjectName(QStringLiteral("colorline_ramp"));
        setFixedHeight(ramp_height + marker_height + 2);
        setMinimumWidth(200);
    }
    int span() const { return std::max(1, width() - 2 * side - 1); }
    double position_at(int x) const { return std::clamp((x - side) / double(span()), 0.0, 1.0); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.fillRect(rect(), palette().window());
        const Colorline* line = owner_->line_;
        if (!line || line->ncolors < 2) return;
        const int n = span() + 1;
        std::vector<std::uint8_t> rgb(static_cast<std::size_t>(n) * 3);
        colorline_table8(*line, n, span(), rgb.data());
        for (int i = 0; i < n; ++i) {
            p.setPen(QColor(rgb[3 * i], rgb[3 * i + 1], rgb[3 * i + 2]));
            p.drawLine(side + i, 0, side + i, ramp_height - 1);
        }
        for (int k = 0; k < line->ncolors; ++k) {
            const int x = owner_->x_of(line->position[k]);
            const QPolygon marker({QPoint(x, ramp_height + 1), QPoint(x - 5, ramp_height + marker_height),
                                   QPoint(x + 5, ramp_height + marker_height)});
            p.setPen(palette().text().color());
            p.setBrush(k == owner_->selected_ ? palette().highlight() : palette().base());
            p.drawPolygon(marker);
        }
    }

    void mousePressEvent(QMouseEvent* event) override {
        Colorline* line = owner_->line_;
        if (!line || event->button() != Qt::LeftButton) return;
        const int x = event->position().toPoint().x();
        const int index = marker_near(x);
        if (index >= 0 && (event->modifiers() & Qt::ControlModifier)) {
            remove(index);
            return;
        }
        if (index >= 0) {
            owner_->select(index);
            dragging_ = index > 0 && index < line->ncolors - 1;  // the ends stay at 0 and 1
            return;
        }
        if (event->modifiers() & Qt::ShiftModifier) add(position_at(x));
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        Colorline* line = owner_->line_;
        const int k = owner_->selected_;
        if (!line || !dragging_) return;
        line->position[k] = std::clamp(position_at(event->position().toPoint().x()),
                                       line->position[k - 1], line->position[k + 1]);
        update();
    }
    void mouseReleaseEvent(QMouseEvent*) override {
        if (dragging_) owner_->edited();
        dragging_ = false;
    }
    void mouseDoubleClickEvent(QMouseEvent* event) override {
        const int index = marker_near(event->position().toPoint().x());
        if (index >= 0) owner_->pick_colour(index);
    }

private:
    int marker_near(int x) const {
        const Colorline* line = owner_->line_;
        for (int k = 0; line && k < line->ncolors; ++k)
            if (std::abs(owner_->x_of(line->position[k]) - x) <= grab_distance) return k;
        return -1;
    }
    // A new colour at p, taking the ramp's colour there and the gap's shape.
    void add(double p) {
        Colorline* line = owner_->line_;
        if (line->ncolors >= curve_points_max) {
            QApplication::beep();
            return;
        }
        int k = 0;
        while (k < line->ncolors - 2 && p > line->position[k + 1])
            ++k;
        std::vector<std::uint8_t> rgb(static_cast<std::size_t>(span() + 1) * 3);
        colorline_table8(*line, span() + 1, span(), rgb.data());
        const int at = std::clamp(static_cast<int>(std::lround(p * span())), 0, span());
        for (int i = line->ncolors; i > k + 1; --i) {
            line->position[i] = line->position[i - 1];
            std::copy(line->colour[i - 1], line->colour[i - 1] + 3, line->colour[i]);
            line->shape[i] = line->shape[i - 1];
            line->space[i] = line->space[i - 1];
        }
        line->position[k + 1] = p;
        std::copy(&rgb[3 * at], &rgb[3 * at] + 3, line->colour[k + 1]);
        line->shape[k + 1] = line->shape[k];
        line->space[k + 1] = line->space[k];
        ++line->ncolors;
        owner_->select(k + 1);
        owner_->edited();
    }
    void remove(int k) {
        Colorline* line = owner_->line_;
        if (k == 0 || k == line->ncolors - 1) {  // the ends stay
            QApplication::beep();
            return;
        }
        for (int i = k; i < line->ncolors - 1; ++i) {
            line->position[i] = line->position[i + 1];
            std::copy(line->colour[i + 1], line->colour[i + 1] + 3, line->colour[i]);
            line->shape[i] = line->shape[i + 1];
            line->space[i] = line->space[i + 1];
        }
        --line->ncolors;
        owner_->select(std::min(k, line->ncolors - 1));
        owner_->edited();
    }

    ColorlineControl* owner_;
    bool dragging_ = false;
};

ColorlineControl::ColorlineControl(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("colorline"));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    ramp_ = new ColorlineRamp(this);
    grid->addWidget(ramp_, 0, 0, 1, 2);
    shape_ = word_list(this, QStringLiteral("colorline_shape"), colorline_shape_labels);
    space_ = word_list(this, QStringLiteral("colorline_space"), colorline_space_labels);
    grid->addWidget(shape_, 1, 0);
    grid->addWidget(space_, 1, 1);
    auto* reset_button = new QPushButton(QStringLiteral("&Reset"), this);
    auto* load_button = new QPushButton(QStringLiteral("Load..."), this);
    auto* save_button = new QPushButton(QStringLiteral("Save..."), this);
    reset_button->setObjectName(QStringLiteral("colorline_reset"));
    load_button->setObjectName(QStringLiteral("colorline_load"));
    save_button->setObjectName(QStringLiteral("colorline_save"));
    for (QPushButton* b : {reset_button, load_button, save_button})
        b->setAutoDefault(false);
    grid->addWidget(reset_button, 2, 0);
    auto* files_row = new QHBoxLayout;
    files_row->addWidget(load_button);
    files_row->addWidget(save_button);
    grid->addLayout(files_row, 2, 1);

    auto* files = new SettingsFileCommands(
        this, colorline_file_format.info,
        [this](const std::string& path) { return line_ ? colorline_load(path, *line_) : 4; },
        [this](const std::string& path) { return line_ ? colorline_save(path, *line_) : 3; },
        [this] {
            if (line_) colorline_reset(*line_);
        },
        [this] {
            select(0);
            edited();
        });
    connect(shape_, &QComboBox::activated, this, [this](int index) {
        if (!line_ || selected_ >= line_->ncolors - 1) return;
        line_->shape[selected_] = index;
        edited();
    });
    connect(space_, &QComboBox::activated, this, [this](int index) {
        if (!line_ || selected_ >= line_->ncolors - 1) return;
        line_->space[selected_] = index + colorline_rgb;
        edited();
    });
    connect(reset_button, &QPushButton::clicked, this, [this] {
        if (!line_) return;
        colorline_reset(*line_);
        select(0);
        edited();
    });
    connect(load_button, &QPushButton::clicked, files, [files] { (void)files->load(); });
    connect(save_button, &QPushButton::clicked, files, [files] { (void)files->save_as(); });
}

void ColorlineControl::set_line(Colorline* line) {
    line_ = line;
    select(0);
}

int ColorlineControl::x_of(double position) const {
    return side + static_cast<int>(std::lround(position * ramp_->span()));
}

QWidget* ColorlineControl::ramp() const {
    return ramp_;
}

// The selected colour's gap shows in the lists; the last colour has none.
void ColorlineControl::select(int index) {
    selected_ = index;
    const bool gap = line_ && index < line_->ncolors - 1;
    const QSignalBlocker a(shape_), b(space_);
    shape_->setEnabled(gap);
    space_->setEnabled(gap);
    if (gap) {
        shape_->setCurrentIndex(std::clamp(static_cast<int>(line_->shape[index]), 0, 4));
        space_->setCurrentIndex(std::clamp(static_cast<int>(line_->space[index]) - colorline_rgb, 0, 4));
    }
    ramp_->update();
}

void ColorlineControl::pick_colour(int index) {
    if (!line_) return;
    std::uint8_t* c = line_->colour[index];
    const QColor chosen =
        choose_colour(this, QColor(c[0], c[1], c[2]), QStringLiteral("Color %1").arg(index + 1));
    if (!chosen.isValid()) return;
    c[0] = static_cast<std::uint8_t>(chosen.red());
    c[1] = static_cast<std::uint8_t>(chosen.green());
    c[2] = static_cast<std::uint8_t>(chosen.blue());
    select(index);
    edited();
}

void ColorlineControl::edited() {
    ramp_->update();
    emit changed();
}
