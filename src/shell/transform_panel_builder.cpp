#include "shell/transform_panel_builder.h"

#include "core/format.h"
#include "shell/amount_control.h"
#include "shell/colorline_control.h"
#include "shell/curve_control.h"
#include "shell/image_probe.h"
#include "shell/image_window.h"
#include "shell/input_chooser.h"
#include "shell/panel_title_bar.h"
#include "shell/range_control.h"
#include "shell/settings_file_commands.h"
#include "shell/transform_panel.h"
#include "shell/word_list.h"
#include "shell/zone_strip_control.h"
#include "transform/driver.h"
#include "transform/tone.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QTabWidget>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

QString text_of(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// A real slider moves in this many steps over its range.
constexpr int real_steps = 1000;

// The input's histogram, each bar under the expansion level of the block.
class HistogramView : public QWidget {
public:
    explicit HistogramView(QWidget* parent) : QWidget(parent) { setMinimumHeight(64); }
    void set_histogram(const CurveHistogram* histogram) {
        shown_ = histogram != nullptr;
        if (histogram) histogram_ = *histogram;
        update();
    }
    void set_expand(int expand) {
        expand_ = expand;
        update();
    }
    QSize sizeHint() const override { return {256, 64}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.fillRect(rect(), palette().base());
        const double largest = curve_bar_height(histogram_.largest, expand_);
        if (!shown_ || largest <= 0) return;
        p.setPen(palette().text().color());
        const int w = width(), h = height();
        for (int level = 0; level < 256; ++level) {
            const double bar =
                curve_bar_height(histogram_.count[static_cast<std::size_t>(level)], expand_);
            const int x = level * (w - 1) / 255;
            p.drawLine(x, h - 1, x, h - 1 - static_cast<int>((h - 1) * bar / largest));
        }
    }

private:
    CurveHistogram histogram_;
    int expand_ = 0;
    bool shown_ = false;
};

// The panel's controls, one row per field, kept with the panel.
class PanelControls : public QObject {
public:
    struct Row {
        const TransformField* field = nullptr;
        QLabel* label = nullptr;  // a separate caption, if the control has one
        QWidget* control = nullptr;
    };

    PanelControls(TransformPanel* panel, const TransformDescriptor& descriptor, void* params)
        : QObject(panel), panel_(panel), descriptor_(descriptor), params_(params) {
        setObjectName(QStringLiteral("panel_controls"));
    }

    void build(QMdiArea* area, int x, int y, int width);
    void layout(int image_type, int width, int height);
    void show_block();

private:
    void add_row(QGridLayout* grid, const TransformField& field, QMdiArea* area);
    void changed(const TransformField& field, double value);
    // The curve controls and the range bar take the input's histogram in
    // their colour space.
    void refresh_histograms();
    // What the range bar reads, -1 without one.
    int range_reading() const;
    // The colour a colour row's parts make, shown on its swatch.
    QColor colour_of(const TransformField& field) const;
    void show_colour(const Row& row);
    void caption(const Row& row, double value);
    double slider_value(const TransformField& field, int position) const;
    int slider_position(const TransformField& field, double value) const;

    TransformPanel* panel_;
    const TransformDescriptor& descriptor_;
    void* params_;
    QWidget* rows_widget_ = nullptr;
    std::vector<Row> rows_;
    const TransformField* editing_ = nullptr;  // the number box being typed in
    int image_type_ = 0;  // what the last layout was for
    int width_ = 0;
    int height_ = 0;
};

void PanelControls::build(QMdiArea* area, int x, int y, int width) {
    rows_widget_ = new QWidget(panel_->client());
    rows_widget_->setObjectName(QStringLiteral("panel_rows"));
    auto* grid = new QGridLayout(rows_widget_);
    grid->setContentsMargins(0, 0, 0, 0);
    const int gap = panel_ui_sizes(panel_).gap;
    grid->setHorizontalSpacing(gap);
    grid->setVerticalSpacing(gap);
    grid->setColumnStretch(1, 1);
    // Rows after a page row go onto that page, in one set of tabs.
    QGridLayout* target = grid;
    QTabWidget* pages = nullptr;
    for (const TransformField& field : descriptor_.fields) {
        if (field.kind != ControlKind::page) {
            add_row(target, field, area);
            continue;
        }
        if (!pages) {
            pages = new QTabWidget(rows_widget_);
            pages->setObjectName(QStringLiteral("pages"));
            grid->addWidget(pages, grid->rowCount(), 0, 1, 2);
        }
        auto* page = new QWidget(pages);
        page->setObjectName(text_of(field.keyword));
        target = new QGridLayout(page);
        target->setHorizontalSpacing(gap);
        target->setVerticalSpacing(gap);
        target->setColumnStretch(1, 1);
        pages->addTab(page, text_of(field.label));
        rows_.push_back(Row{&field, nullptr, page});
    }
    // The input chooser's own label lines up with the labels of the other
    // rows, so that all their controls start at one edge.
    int label_width = 0;
    for (const Row& row : rows_) {
        if (row.label && row.field->kind == ControlKind::choice)
            label_width = std::max(label_width, row.label->sizeHint().width());
        if (row.field->kind == ControlKind::input_chooser)
            if (auto* label = row.control->findChild<QLabel*>())
                label_width = std::max(label_width, label->sizeHint().width());
    }
    grid->setColumnMinimumWidth(0, label_width);
    for (const Row& row : rows_) {
        if (row.field->kind != ControlKind::input_chooser) continue;
        if (auto* label = row.control->findChild<QLabel*>()) label->setFixedWidth(label_width);
        row.control->layout()->setSpacing(gap);
    }
    if (descriptor_.settings && descriptor_.settings_load && descriptor_.settings_save) {
        // The settings file commands, in a menu of their own below the rows.
        auto* options = new QPushButton(QStringLiteral("Options"), rows_widget_);
        options->setObjectName(QStringLiteral("options"));
        options->setAutoDefault(false);
        auto* menu = new QMenu(options);
        options->setMenu(menu);
        const TransformDescriptor* d = &descriptor_;
        void* block = params_;
        auto* commands = new SettingsFileCommands(
            panel_, *d->settings,
            [d, block](const std::string& path) { return d->settings_load(path, block); },
            [d, block](const std::string& path) { return d->settings_save(path, block); },
            [d, block] { d->params_reset(block); },
            [this] {
                show_block();
                transform_parameter_changed();
            });
        commands->add_to_menu(menu);
        if (!d->resets.empty()) menu->addSeparator();
        for (const PanelReset& reset : d->resets) {
            QAction* action = menu->addAction(text_of(reset.label));
            action->setObjectName(text_of(reset.label).remove(u'&'));
            connect(action, &QAction::triggered, this, [this, r = reset.reset] {
                r(params_);
                layout(image_type_, width_, height_);
                transform_parameter_changed();
            });
        }
        grid->addWidget(options, grid->rowCount(), 0, 1, 1, Qt::AlignLeft);
    }
    rows_widget_->move(x, y);
    rows_widget_->setFixedWidth(std::max(width, rows_widget_->sizeHint().width()));
    rows_widget_->show();
}

void PanelControls::add_row(QGridLayout* grid, const TransformField& field, QMdiArea* area) {
    const int line = grid->rowCount();
    Row row;
    row.field = &field;
    const QString keyword = text_of(field.keyword);
    const TransformField* f = &field;
    switch (field.kind) {
        case ControlKind::input_chooser: {
            auto* chooser = new InputChooser(rows_widget_, area, text_of(field.label));
            if (field.accepts != image_types_any) {
                const unsigned accepts = field.accepts;
                chooser->set_filter([accepts](const ImageWindow* window) {
                    return (accepts & image_type_bit(window->record()->image.type)) != 0;
                });
            }
            connect(chooser, &InputChooser::input_changed, this,
                    [](ImageWindow* window) { transform_input_changed(window); });
            row.control = chooser;
            grid->addWidget(chooser, line, 0, 1, 2);
            break;
        }
        case ControlKind::amount: {
            auto* amount = new AmountControl(rows_widget_, area);
            amount->setObjectName(keyword);
            connect(amount, &AmountControl::amount_changed, this,
                    [this, f](const AmountSettings& settings) {
                        *f->amount(params_) = settings;
                        transform_parameter_changed();
                    });
            connect(amount, &AmountControl::mask_image_changed, this,
                    [] { transform_parameter_changed(); });
            row.control = amount;
            grid->addWidget(amount, line, 0, 1, 2);
            break;
        }
        case ControlKind::choice: {
            row.label = new QLabel(text_of(field.label), rows_widget_);
            auto* combo = word_list(rows_widget_, keyword, field.words);
            row.label->setBuddy(combo);
            connect(combo, &QComboBox::activated, this,
                    [this, f](int index) { changed(*f, index); });
            row.control = combo;
            grid->addWidget(row.label, line, 0);
            grid->addWidget(combo, line, 1);
            break;
        }
        case ControlKind::number: {
            // An empty box, or one that holds no number, gives 0: not set.
            row.label = new QLabel(text_of(field.label), rows_widget_);
            auto* edit = new QLineEdit(rows_widget_);
            row.label->setBuddy(edit);
            connect(edit, &QLineEdit::textEdited, this, [this, f](const QString& text) {
                bool ok = false;
                const double value = text.trimmed().toDouble(&ok);
                editing_ = f;
                changed(*f, ok ? value : 0.0);
                editing_ = nullptr;
            });
            row.control = edit;
            grid->addWidget(row.label, line, 0);
            grid->addWidget(edit, line, 1);
            break;
        }
        case ControlKind::integer_slider:
        case ControlKind::real_slider: {
            // The caption carries the value: "Radius: 5".
            row.label = new QLabel(rows_widget_);
            auto* slider = new QSlider(Qt::Horizontal, rows_widget_);
            if (field.kind == ControlKind::integer_slider)
                slider->setRange(static_cast<int>(field.minimum), static_cast<int>(field.maximum));
            else
                slider->setRange(0, real_steps);
            connect(slider, &QSlider::valueChanged, this, [this, f](int position) {
                const double value = slider_value(*f, position);
                for (const Row& r : rows_)
                    if (r.field == f) caption(r, value);
                changed(*f, value);
            });
            row.control = slider;
            grid->addWidget(row.label, line, 0, 1, 2);
            grid->addWidget(slider, line + 1, 0, 1, 2);
            break;
        }
        case ControlKind::curve: {
            auto* curve = new CurveControl(rows_widget_);
            connect(curve, &CurveControl::changed, this, [] { transform_parameter_changed(); });
            // Pressing on the input picture marks what the curve reads there;
            // letting go adds a point at that level.
            image_probe_set(curve, [this, f, curve](WindowBase* window, int x, int y, ProbePhase phase) {
                const WindowRecord* record = window_record_of(window);
                if (!record || window != transform_state().input_window) return;
                int levels[3];
                const int n = tone_probe(&record->image, x, y, curve->probe_radius(),
                                         f->curve_reading ? f->curve_reading(params_) : reading_max,
                                         levels);
                curve->set_markers(levels, phase == ProbePhase::release ? 0 : n);
                if (phase == ProbePhase::release) curve->add_probed_points(levels, n);
            });
            row.control = curve;
            grid->addWidget(curve, line, 0, 1, 2);
            break;
        }
        case ControlKind::range: {
            auto* range =
                new RangeControl(text_of(field.label), text_of(field.format), rows_widget_);
            connect(range, &RangeControl::changed, this, [this, f, range] {
                for (int k = 0; k < 4; ++k)
                    f->set_part(params_, k, range->values()[static_cast<std::size_t>(k)]);
                transform_parameter_changed();
            });
            row.control = range;
            grid->addWidget(range, line, 0, 1, 2);
            break;
        }
        case ControlKind::zone_strip: {
            const int handles = static_cast<int>(field.words.size());
            auto* strip = new ZoneStripControl(handles, rows_widget_);
            connect(strip, &ZoneStripControl::changed, this, [this, f, strip, handles] {
                for (int k = 0; k < handles; ++k)
                    f->set_part(params_, k, strip->values()[static_cast<std::size_t>(k)]);
                transform_parameter_changed();
            });
            row.control = strip;
            grid->addWidget(strip, line, 0, 1, 2);
            break;
        }
        case ControlKind::colour: {
            // A swatch of the colour; a click opens the colour dialog.
            row.label = new QLabel(text_of(field.label), rows_widget_);
            auto* swatch = new QPushButton(rows_widget_);
            swatch->setAutoDefault(false);
            swatch->setIconSize(QSize(48, 14));
            row.label->setBuddy(swatch);
            connect(swatch, &QPushButton::clicked, this, [this, f, swatch] {
                QString title = text_of(f->label);
                title.chop(title.endsWith(u':') ? 1 : 0);
                const QColor chosen = choose_colour(panel_, colour_of(*f), title);
                if (!chosen.isValid()) return;
                const int rgb[3] = {chosen.red(), chosen.green(), chosen.blue()};
                for (int k = 0; k < 3; ++k)
                    f->set_part(params_, k, rgb[k]);
                show_block();
                transform_parameter_changed();
            });
            if (field.probed)
                // Pressing on the input picture and dragging picks the mean
                // colour under the probe; letting go previews it.
                image_probe_set(
                    swatch, [this, f](WindowBase* window, int x, int y, ProbePhase phase) {
                        const WindowRecord* record = window_record_of(window);
                        if (!record || window != transform_state().input_window) return;
                        const TransformField* probe = field_find(descriptor_.fields, "probe");
                        const int radius =
                            probe ? static_cast<int>(std::lround(probe->get(params_))) : 1;
                        int rgb[3];
                        if (tone_probe(&record->image, x, y, radius, reading_rgb, rgb) == 3) {
                            f->probed(params_, rgb[0], rgb[1], rgb[2]);
                            show_block();
                        }
                        if (phase == ProbePhase::release) transform_parameter_changed();
                    });
            row.control = swatch;
            grid->addWidget(row.label, line, 0);
            grid->addWidget(swatch, line, 1, Qt::AlignLeft);
            break;
        }
        case ControlKind::caption:
            row.control = new QLabel(rows_widget_);
            grid->addWidget(row.control, line, 0, 1, 2);
            break;
        case ControlKind::page:
            return;  // made by build()
        case ControlKind::histogram:
            row.control = new HistogramView(rows_widget_);
            grid->addWidget(row.control, line, 0, 1, 2);
            break;
        case ControlKind::check_box: {
            auto* box = new QCheckBox(text_of(field.label), rows_widget_);
            connect(box, &QCheckBox::toggled, this,
                    [this, f](bool on) { changed(*f, on ? 1.0 : 0.0); });
            row.control = box;
            grid->addWidget(box, line, 0, 1, 2);
            break;
        }
    }
    if (row.control && row.control->objectName().isEmpty()) row.control->setObjectName(keyword);
    if (row.label) row.label->setObjectName(keyword + QStringLiteral("_label"));
    rows_.push_back(row);
}

double PanelControls::slider_value(const TransformField& field, int position) const {
    if (field.kind == ControlKind::integer_slider) return position;
    return field.minimum + (field.maximum - field.minimum) * position / real_steps;
}

int PanelControls::slider_position(const TransformField& field, double value) const {
    if (field.kind == ControlKind::integer_slider) return static_cast<int>(std::lround(value));
    const double span = field.maximum - field.minimum;
    if (span <= 0) return 0;
    return static_cast<int>(std::lround((value - field.minimum) / span * real_steps));
}

void PanelControls::caption(const Row& row, double value) {
    if (row.label == nullptr) return;
    std::string text;
    if (row.field->shown)
        text = format_text(row.field->format.empty() ? "%2f" : row.field->format,
                           row.field->shown(value));
    else if (row.field->kind == ControlKind::integer_slider)
        text = format_text(row.field->format.empty() ? "%d" : row.field->format,
                           static_cast<int>(std::lround(value)));
    else
        text = format_text(row.field->format.empty() ? "%1f" : row.field->format, value);
    if (row.field->plus_sign && value > 0) text.insert(text.begin(), '+');
    row.label->setText(text_of(row.field->label) + QString::fromStdString(text));
}

void PanelControls::changed(const TransformField& field, double value) {
    const int reading = range_reading();
    if (field.set) field.set(params_, value);
    if (std::any_of(rows_.begin(), rows_.end(),
                    [](const Row& r) { return r.field->kind == ControlKind::caption; }))
        show_block();  // captions follow the values they are made from
    const WindowRecord* record = window_record_of(transform_state().input_window);
    if (range_reading() != reading && descriptor_.input_opened && record) {
        // The range bar reads another number of a pixel: the range is found
        // again in it.
        descriptor_.input_opened(params_, &record->image);
        show_block();
    }
    if (field.kind == ControlKind::choice) {
        // A colour space or a component: another curve, another histogram.
        for (const Row& row : rows_)
            if (row.field->kind == ControlKind::curve)
                static_cast<CurveControl*>(row.control)->set_curve(row.field->curve(params_));
        refresh_histograms();
    }
    // A method that uses other controls, or a value a read-out depends on:
    // the panel shows just the rows that serve.
    if (std::any_of(rows_.begin(), rows_.end(), [this](const Row& r) {
            return r.field->relevant && r.control->isHidden() == (field_shown(*r.field, image_type_) &&
                                                                  r.field->relevant(params_));
        }))
        layout(image_type_, width_, height_);
    transform_parameter_changed();
}

void PanelControls::refresh_histograms() {
    const WindowRecord* record = window_record_of(transform_state().input_window);
    for (const Row& row : rows_) {
        if (row.field->kind != ControlKind::curve && row.field->kind != ControlKind::range &&
            row.field->kind != ControlKind::histogram && row.field->kind != ControlKind::zone_strip)
            continue;
        CurveHistogram histograms[3];
        const int reading = row.field->curve_reading ? row.field->curve_reading(params_) : reading_max;
        const int n = record ? tone_histogram(&record->image, reading, histograms) : 0;
        if (row.field->kind == ControlKind::histogram) {
            auto* view = static_cast<HistogramView*>(row.control);
            view->set_expand(static_cast<int>(std::lround(row.field->get(params_))));
            view->set_histogram(n ? histograms : nullptr);
        } else if (row.field->kind == ControlKind::range)
            static_cast<RangeControl*>(row.control)->set_histogram(n == 1 ? histograms : nullptr);
        else if (row.field->kind == ControlKind::zone_strip) {
            auto* strip = static_cast<ZoneStripControl*>(row.control);
            // The strip draws its bars by the block's histogram expansion.
            if (const TransformField* e = field_find(descriptor_.fields, "expansion"))
                strip->set_expansion(static_cast<int>(std::lround(e->get(params_))));
            strip->set_histogram(n == 1 ? histograms : nullptr);
        }
        else
            static_cast<CurveControl*>(row.control)->set_histograms(histograms, n);
    }
}

int PanelControls::range_reading() const {
    for (const Row& row : rows_)
        if (row.field->kind == ControlKind::range && row.field->curve_reading)
            return row.field->curve_reading(params_);
    return -1;
}

QColor PanelControls::colour_of(const TransformField& field) const {
    return QColor(field.part(params_, 0), field.part(params_, 1), field.part(params_, 2));
}

void PanelControls::show_colour(const Row& row) {
    auto* swatch = static_cast<QPushButton*>(row.control);
    QPixmap pixmap(swatch->iconSize());
    pixmap.fill(colour_of(*row.field));
    QPainter(&pixmap).drawRect(0, 0, pixmap.width() - 1, pixmap.height() - 1);
    swatch->setIcon(QIcon(pixmap));
}

void PanelControls::show_block() {
    for (const Row& row : rows_) {
        const TransformField& field = *row.field;
        const QSignalBlocker block(row.control);
        switch (field.kind) {
            case ControlKind::input_chooser: {
                auto* chooser = static_cast<InputChooser*>(row.control);
                chooser->refresh();
                const WindowBase* input = transform_state().input_window;
                chooser->set_current(dynamic_cast<ImageWindow*>(const_cast<WindowBase*>(input)));
                break;
            }
            case ControlKind::amount:
                static_cast<AmountControl*>(row.control)->set_settings(*field.amount(params_));
                break;
            case ControlKind::choice:
                static_cast<QComboBox*>(row.control)
                    ->setCurrentIndex(static_cast<int>(std::lround(field.get(params_))));
                break;
            case ControlKind::integer_slider:
            case ControlKind::real_slider: {
                const double value = field.get(params_);
                static_cast<QSlider*>(row.control)->setValue(slider_position(field, value));
                caption(row, value);
                break;
            }
            case ControlKind::check_box:
                static_cast<QCheckBox*>(row.control)->setChecked(field.get(params_) != 0.0);
                break;
            case ControlKind::number: {
                // The box being typed in keeps the user's text.
                auto* edit = static_cast<QLineEdit*>(row.control);
                if (row.field == editing_) break;
                const double value = field.get(params_);
                edit->setText(value == 0 ? QString()
                                         : QString::fromStdString(format_text(field.format, value)));
                break;
            }
            case ControlKind::caption:
                static_cast<QLabel*>(row.control)
                    ->setText(text_of(field.label) +
                              QString::fromStdString(format_text(field.format, field.get(params_))));
                break;
            case ControlKind::curve:
                static_cast<CurveControl*>(row.control)->set_curve(field.curve(params_));
                break;
            case ControlKind::range: {
                RangeControl::Values values;
                for (int k = 0; k < 4; ++k)
                    values[static_cast<std::size_t>(k)] = field.part(params_, k);
                static_cast<RangeControl*>(row.control)->set_values(values);
                break;
            }
            case ControlKind::colour:
                show_colour(row);
                break;
            case ControlKind::page:
                break;
            case ControlKind::histogram:
                static_cast<HistogramView*>(row.control)
                    ->set_expand(static_cast<int>(std::lround(field.get(params_))));
                break;
            case ControlKind::zone_strip: {
                std::vector<int> values(field.words.size());
                for (std::size_t k = 0; k < values.size(); ++k)
                    values[k] = field.part(params_, static_cast<int>(k));
                static_cast<ZoneStripControl*>(row.control)->set_values(values);
                break;
            }
        }
    }
}

void PanelControls::layout(int image_type, int width, int height) {
    image_type_ = image_type;
    width_ = width;
    height_ = height;
    for (const Row& row : rows_) {
        if (row.field->kind == ControlKind::page) continue;  // the tabs show their pages
        const bool shown = field_shown(*row.field, image_type) &&
                           (!row.field->relevant || row.field->relevant(params_));
        row.control->setVisible(shown);
        if (row.label) row.label->setVisible(shown);
        if (row.field->kind == ControlKind::amount) {
            // The driver has dropped a mask that no longer fits from the block.
            auto* amount = static_cast<AmountControl*>(row.control);
            const QSignalBlocker block(amount);
            amount->set_mask_size(width, height);
        }
    }
    show_block();
    refresh_histograms();
    // Hidden rows give their room back.
    rows_widget_->setFixedHeight(rows_widget_->layout()->sizeHint().height());
    rows_widget_->layout()->activate();
    panel_->fit_to_contents();
    panel_keep_visible(panel_);
}

PanelControls* controls_of(TransformPanel* panel) {
    return panel ? panel->findChild<PanelControls*>(QStringLiteral("panel_controls"),
                                                    Qt::FindDirectChildrenOnly)
                 : nullptr;
}

void route_button(PanelButton button) {
    switch (button) {
        case PanelButton::automatic:
            transform_button(TransformButton::auto_preview);
            return;
        case PanelButton::preview:
            transform_button(TransformButton::preview);
            return;
        case PanelButton::apply:
            transform_button(TransformButton::apply);
            return;
        case PanelButton::ok:
            transform_ok();
            return;
        case PanelButton::cancel:
            transform_cancel();
            return;
    }
}

}  // namespace

TransformPanel* transform_panel_build(const TransformDescriptor& descriptor, void* params,
                                      QMdiArea* area) {
    if (area == nullptr) return nullptr;
    TransformPanel* panel =
        panel_create(text_of(descriptor.title), 0, 0, descriptor.panel_number, 0, area);
    if (panel == nullptr) return nullptr;
    const int gap = panel_ui_sizes(panel).gap;
    // The driver presses "Auto" itself when the preferences ask for it.
    const int right = descriptor.short_buttons ? panel_buttons_short(panel, gap, gap)
                                               : panel_buttons(panel, gap, gap);
    const int below = gap + panel->button_row()->height() + gap;
    auto* controls = new PanelControls(panel, descriptor, params);
    controls->build(area, gap, below, right - gap);
    QObject::connect(panel, &TransformPanel::button_pressed, panel, &route_button);
    QObject::connect(panel, &TransformPanel::linked_image_changed, panel,
                     [](WindowBase*) { transform_parameter_changed(); });
    controls->show_block();
    panel->fit_to_contents();
    // Placed again now that its size is known: centred against the bottom.
    const QRect room = area->viewport()->geometry();
    panel->move(room.left() + (room.width() - panel->width()) / 2,
                room.top() + room.height() - panel->height());
    panel_keep_visible(panel);
    return panel;
}

void transform_panel_layout(TransformPanel* panel, int image_type, int width, int height) {
    if (PanelControls* controls = controls_of(panel)) controls->layout(image_type, width, height);
}

void transform_panel_show_block(TransformPanel* panel) {
    if (PanelControls* controls = controls_of(panel)) controls->show_block();
}
