#include "shell/mask_tool.h"

#include "core/errors.h"
#include "core/format.h"
#include "core/window_record.h"
#include "mask/mask_ops.h"
#include "mask/outline_file.h"
#include "shell/app_state.h"
#include "shell/curve_control.h"
#include "shell/image_window.h"
#include "shell/message_box.h"
#include "shell/panel.h"
#include "shell/transform_panel.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <functional>

namespace {

constexpr double exp_c = 4.0;
constexpr int slider_top = 1024;

QPointer<MaskTool>& the_tool() {
    static QPointer<MaskTool> tool;
    return tool;
}

bool picture_type(int type) {
    return type == image_type_binary || type == image_type_gray8 || type == image_type_colour8 ||
           type == image_type_gray16 || type == image_type_colour16;
}

// A slider over 0..1024 with a caption above it that shows its value.
QSlider* slider_row(QWidget* parent, QVBoxLayout* layout, const char* name, int position,
                    const std::function<QString(int)>& caption,
                    const std::function<void(int)>& changed) {
    auto* label = new QLabel(caption(position), parent);
    auto* slider = new QSlider(Qt::Horizontal, parent);
    slider->setObjectName(QString::fromLatin1(name));
    slider->setRange(0, slider_top);
    slider->setValue(position);
    QObject::connect(slider, &QSlider::valueChanged, parent, [label, caption, changed](int p) {
        changed(p);
        label->setText(caption(p));
    });
    layout->addWidget(label);
    layout->addWidget(slider);
    return slider;
}

QComboBox* popup_row(QWidget* parent, QVBoxLayout* layout, const char* caption,
                     std::initializer_list<const char*> items, int current,
                     const std::function<void(int)>& changed) {
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel(QString::fromLatin1(caption), parent));
    auto* box = new QComboBox(parent);
    box->setObjectName(QString::fromLatin1(caption).remove(QLatin1Char(':')));
    for (const char* item : items)
        box->addItem(QString::fromLatin1(item));
    box->setCurrentIndex(current);
    QObject::connect(box, &QComboBox::currentIndexChanged, parent, changed);
    row->addWidget(box);
    layout->addLayout(row);
    return box;
}

QString fmt(const char* format, double value) {
    return QString::fromStdString(format_text(format, value));
}
QString fmt(const char* format, int value) {
    return QString::fromStdString(format_text(format, value));
}

}  // namespace

double exp_slider_value(int position, double max) {
    return max * (std::exp(exp_c * position / slider_top) - 1.0) / (std::exp(exp_c) - 1.0);
}

int exp_slider_position(double value, double max) {
    const double p = std::log(value * (std::exp(exp_c) - 1.0) / max + 1.0) / (exp_c / slider_top);
    return static_cast<int>(std::floor(p + 0.5));
}

MaskTool* mask_tool_instance() {
    return the_tool().data();
}

bool mask_tool_is_open() {
    return !the_tool().isNull();
}

bool mask_tool_owns(const WindowBase* window) {
    const MaskTool* tool = the_tool().data();
    return tool != nullptr && window != nullptr &&
           (window == tool->mask_window() || window == tool->panel());
}

int mask_tool_open(QMdiArea* area, ImageWindow* existing) {
    if (MaskTool* tool = the_tool().data()) {
        if (tool->panel() != nullptr) tool->panel()->activate();
        return 0;
    }
    ImageWindow* picture = image_window_active(area);
    if (picture == nullptr || picture->window_kind() != window_kind_image) return 0;
    const Image& image = picture->record()->image;
    if (!picture_type(image.type)) return 14;
    ImageWindow* mask = existing;
    bool created = false;
    if (mask != nullptr) {
        const Image& m = mask->record()->image;
        if (m.type != image_type_gray8 || m.width != image.width || m.height != image.height)
            return 14;
    } else {
        ImageHolder cleared;
        if (const int code =
                image_alloc(cleared.get(), image_type_gray8, image.width, image.height, 100.0))
            return code;
        for (int y = 0; y < image.height; ++y)
            std::fill(cleared->rows[y], cleared->rows[y] + image.width, std::uint8_t{0});
        if (const int code = image_window_create(area, cleared.get(), &mask)) return code;
        created = true;
        // A hidden window, as the panel-less new image; the picture stays active.
        QMdiSubWindow* sub = mask->sub_window();
        sub->hide();
        QTimer::singleShot(0, sub, [sub] { sub->hide(); });
        if (picture->sub_window() != nullptr) area->setActiveSubWindow(picture->sub_window());
    }
    the_tool() = new MaskTool(area, picture, mask, created);
    return 0;
}

namespace {

// Newest first; windows that have closed drop out when the list is read.
std::vector<QPointer<ImageWindow>>& recent_masks() {
    static std::vector<QPointer<ImageWindow>> masks;
    std::erase_if(masks, [](const QPointer<ImageWindow>& w) { return w.isNull(); });
    return masks;
}

void remember_mask(ImageWindow* mask) {
    auto& masks = recent_masks();
    std::erase_if(masks, [mask](const QPointer<ImageWindow>& w) { return w.data() == mask; });
    masks.insert(masks.begin(), mask);
    if (masks.size() > static_cast<std::size_t>(mask_recent_last - mask_new_command))
        masks.pop_back();
}

}  // namespace

int mask_recent_count() {
    return static_cast<int>(recent_masks().size());
}

QString mask_recent_label(int index) {
    const auto& masks = recent_masks();
    if (index < 0 || index >= static_cast<int>(masks.size())) return {};
    QMdiSubWindow* sub = masks[static_cast<std::size_t>(index)]->sub_window();
    return sub != nullptr ? sub->windowTitle() : QString();
}

bool mask_tool_command(QMdiArea* area, int number) {
    if (number < mask_new_command || number > mask_recent_last) return false;
    ImageWindow* existing = nullptr;
    if (number > mask_new_command) {
        const auto& masks = recent_masks();
        const std::size_t index = static_cast<std::size_t>(number - mask_new_command - 1);
        if (index >= masks.size()) return true;
        existing = masks[index].data();
    }
    error_report(mask_tool_open(area, existing));
    return true;
}

// ---------------------------------------------------------------------------

MaskTool::MaskTool(QMdiArea* area, ImageWindow* picture, ImageWindow* mask, bool created)
    : QObject(area),
      picture_(picture),
      mask_(mask),
      created_(created),
      previous_mask_(picture->record()->mask_window) {
    curve_reset(brightness_curve_);
    curve_reset(texture_curve_);
    line_classes_compute(*mask_image(), classes_);
    WindowRecord* r = picture->record();
    r->mask_window = mask;
    if (r->overlay_strength == 0) r->overlay_strength = 128;
    build_panel();
    // Neither the mask nor the picture closes while the tool works on them.
    link_add(panel_, mask, "Mask Tool", true);
    link_add(panel_, picture, "Mask Tool", true);
    picture->viewport()->setMouseTracking(true);
    image_drawing_set(this);
    mask_tool_opened(panel_);
    update_overlay_view();
    // The picture going away ends the tool as a cancel would.
    connect(picture, &QObject::destroyed, this, [this] {
        picture_ = nullptr;
        finish(false);
    });
}

MaskTool::~MaskTool() {
    if (image_drawing() == this) image_drawing_set(nullptr);
}

Image* MaskTool::mask_image() const {
    return mask_ ? &mask_->record()->image : nullptr;
}

const Image* MaskTool::picture_image() const {
    return picture_ ? &picture_->record()->image : nullptr;
}

void MaskTool::update_overlay_view() {
    if (picture_) picture_->layout_view();
}

void MaskTool::build_panel() {
    const QString name = QString::fromStdString(window_title_base(*picture_->record(), false));
    panel_ =
        new TransformPanel(qobject_cast<QMdiArea*>(parent()), QStringLiteral("Mask - %1").arg(name),
                           420, 300, window_kind_mask_tool, 0);
    panel_->setObjectName(QStringLiteral("mask_tool"));
    connect(panel_, &TransformPanel::button_pressed, this, [this](PanelButton button) {
        if (button == PanelButton::ok) finish(true);
        if (button == PanelButton::cancel) finish(false);
    });
    auto* layout = new QVBoxLayout(panel_->client());
    layout->setContentsMargins(6, 6, 6, 6);

    auto* kinds = new QGridLayout;
    auto* kind_group = new QButtonGroup(panel_);
    for (int i = 0; i < 13; ++i) {
        auto* button = new QToolButton(panel_->client());
        button->setText(QString::fromLatin1(mask_kind_labels[i]));
        button->setObjectName(QString::fromLatin1(mask_kind_labels[i]));
        button->setCheckable(true);
        button->setChecked(i == 0);
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        kind_group->addButton(button, i);
        kinds->addWidget(button, i / 5, i % 5);
    }
    connect(kind_group, &QButtonGroup::idClicked, this,
            [this](int id) { select_kind(static_cast<MaskKind>(id)); });
    layout->addLayout(kinds);

    auto* modes = new QHBoxLayout;
    auto* mode_group = new QButtonGroup(panel_);
    const char* mode_labels[] = {"Add", "Subtract", "Overlap", "Invert"};
    for (int i = 0; i < 4; ++i) {
        auto* button = new QToolButton(panel_->client());
        button->setText(QString::fromLatin1(mode_labels[i]));
        button->setObjectName(QStringLiteral("mode_%1").arg(i));
        button->setCheckable(true);
        button->setChecked(i == 0);
        mode_group->addButton(button, i);
        modes->addWidget(button);
    }
    connect(mode_group, &QButtonGroup::idClicked, this, [this](int id) { set_mode(id); });
    auto* overlay = new QComboBox(panel_->client());
    overlay->setObjectName(QStringLiteral("overlay"));
    for (const char* label : mask_overlay_labels)
        overlay->addItem(QString::fromLatin1(label));
    overlay->setCurrentIndex(5);
    connect(overlay, &QComboBox::currentIndexChanged, this, &MaskTool::set_overlay);
    modes->addWidget(overlay);
    layout->addLayout(modes);

    auto* pages = new QStackedWidget(panel_->client());
    pages->setObjectName(QStringLiteral("sub_panels"));
    for (int i = 0; i < 13; ++i)
        pages->addWidget(build_sub_panel(static_cast<MaskKind>(i)));
    layout->addWidget(pages);

    auto* buttons = new QHBoxLayout;
    const auto add_button = [&](const char* label, const char* object_name, auto slot) {
        auto* b = new QPushButton(QString::fromLatin1(label), panel_->client());
        b->setObjectName(QString::fromLatin1(object_name));
        b->setAutoDefault(false);
        connect(b, &QPushButton::clicked, this, slot);
        buttons->addWidget(b);
        return b;
    };
    add_button("Invert", "invert", &MaskTool::invert);
    add_button("Area...", "area", &MaskTool::show_area);
    add_button("Undo", "undo", &MaskTool::undo);
    add_button("Cancel", "cancel", [this] { finish(false); });
    add_button("OK", "ok", [this] { finish(true); });
    add_button("Apply", "apply", &MaskTool::apply);
    layout->addLayout(buttons);

    fit_panel();
    const QRect room = qobject_cast<QMdiArea*>(parent())->viewport()->geometry();
    panel_->move(room.left() + (room.width() - panel_->width()) / 2,
                 room.top() + room.height() - panel_->height());
    panel_keep_visible(panel_);
    panel_->show();
    panel_->activate();
}

QWidget* MaskTool::build_sub_panel(MaskKind kind) {
    auto* page = new QWidget;
    page->setObjectName(QString::fromLatin1(mask_kind_labels[static_cast<int>(kind)]));
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 4, 0, 0);
    Settings& s = settings_;
    const auto hint = [&](const char* text) {
        auto* label = new QLabel(QString::fromLatin1(text), page);
        label->setWordWrap(true);
        layout->addWidget(label);
    };
    switch (kind) {
        case MaskKind::freehand:
            hint("Drag around the region on the picture.");
            break;
        case MaskKind::rectangle:
        case MaskKind::oval:
            hint("Drag from corner to corner on the picture.");
            break;
        case MaskKind::polygon:
        case MaskKind::spline: {
            hint("Click the points on the picture; double-click or Apply closes the outline.");
            auto* row = new QHBoxLayout;
            auto* load = new QPushButton(QStringLiteral("Load..."), page);
            auto* save = new QPushButton(QStringLiteral("Save..."), page);
            connect(load, &QPushButton::clicked, this, &MaskTool::load_outline);
            connect(save, &QPushButton::clicked, this, &MaskTool::save_outline);
            row->addWidget(load);
            row->addWidget(save);
            layout->addLayout(row);
            break;
        }
        case MaskKind::feather:
            slider_row(
                page, layout, "feather_width", s.feather_width * 512 / 64 + 512,
                [](int p) { return fmt("Feather Width: %d", (p - 512) * 64 / 512); },
                [&s](int p) { s.feather_width = (p - 512) * 64 / 512; });
            popup_row(page, layout, "Falloff:", {"Cone", "Flat"}, s.feather_falloff,
                      [&s](int i) { s.feather_falloff = i; });
            popup_row(page, layout, "Corners:", {"Round", "Square"}, s.feather_corners,
                      [&s](int i) { s.feather_corners = i; });
            break;
        case MaskKind::blur:
            slider_row(
                page, layout, "blur_radius", exp_slider_position(s.blur_radius),
                [](int p) {
                    return fmt("Radius: %d",
                               static_cast<int>(std::floor(exp_slider_value(p) + 0.5)));
                },
                [&s](int p) {
                    s.blur_radius = static_cast<int>(std::floor(exp_slider_value(p) + 0.5));
                });
            break;
        case MaskKind::color_range: {
            const bool gray = !image_is_colour(picture_image());
            if (gray) s.range_space = 2;
            auto* space = popup_row(page, layout, "Color Space:", {"HSV", "HSL", "RGB"},
                                    s.range_space, [&s](int i) { s.range_space = i; });
            space->setEnabled(!gray);
            auto* grid = new QGridLayout;
            const char* columns[] = {"Outer Low", "Outer High", "Inner Low", "Inner High"};
            for (int k = 0; k < 4; ++k)
                grid->addWidget(new QLabel(QString::fromLatin1(columns[k]), page), 0, k + 1);
            for (int c = 0; c < 3; ++c) {
                grid->addWidget(new QLabel(QStringLiteral("%1").arg(c + 1), page), c + 1, 0);
                for (int k = 0; k < 4; ++k) {
                    auto* spin = new QSpinBox(page);
                    spin->setObjectName(QStringLiteral("limit_%1").arg(4 * c + k));
                    spin->setRange(0, 1024);
                    spin->setValue(s.range_limits[static_cast<std::size_t>(4 * c + k)]);
                    const int index = 4 * c + k;
                    connect(spin, &QSpinBox::valueChanged, this, [&s, index](int v) {
                        s.range_limits[static_cast<std::size_t>(index)] = v;
                    });
                    grid->addWidget(spin, c + 1, k + 1);
                }
            }
            layout->addLayout(grid);
            break;
        }
        case MaskKind::paint: {
            BrushSettings& b = s.brush;
            slider_row(
                page, layout, "brush_radius", exp_slider_position(b.radius),
                [](int p) { return fmt("Radius: %1f", exp_slider_value(p)); },
                [&b](int p) { b.radius = exp_slider_value(p); });
            slider_row(
                page, layout, "brush_transparency", static_cast<int>(b.transparency * 1024 / 100),
                [](int p) { return fmt("Transparency: %1f", p * 100.0 / 1024); },
                [&b](int p) { b.transparency = p * 100.0 / 1024; });
            slider_row(
                page, layout, "brush_softness", static_cast<int>(b.softness * 1024 / 100),
                [](int p) { return fmt("Softness: %1f", p * 100.0 / 1024); },
                [&b](int p) { b.softness = p * 100.0 / 1024; });
            slider_row(
                page, layout, "brush_spacing", static_cast<int>(b.spacing * 1024 / 100),
                [](int p) { return fmt("Spacing: %1f", p * 100.0 / 1024); },
                [&b](int p) { b.spacing = p * 100.0 / 1024; });
            slider_row(
                page, layout, "brush_threshold", static_cast<int>(b.threshold * 1024 / 200),
                [](int p) { return fmt("Threshold: %1f", p * 200.0 / 1024); },
                [&b](int p) { b.threshold = p * 200.0 / 1024; });
            popup_row(page, layout, "Apply to:",
                      {"All Pixels", "Pixels in Color Range", "Similar Pixels (Fixed)",
                       "Similar Pixels (Track)"},
                      b.apply_to, [&b](int i) { b.apply_to = i; });
            popup_row(page, layout, "Overlapping Strokes:", {"Don't accumulate", "Accumulate"},
                      b.accumulate ? 1 : 0, [&b](int i) { b.accumulate = i == 1; });
            break;
        }
        case MaskKind::combine: {
            auto* row = new QHBoxLayout;
            row->addWidget(new QLabel(QStringLiteral("Combine Mask:"), page));
            auto* windows = new QComboBox(page);
            windows->setObjectName(QStringLiteral("Combine Mask"));
            // Gray windows of the picture's size, listed when the popup opens.
            const auto fill = [this, windows] {
                const QSignalBlocker block(windows);
                windows->clear();
                windows->addItem(QStringLiteral("None"));
                const Image* picture = picture_image();
                for (QMdiSubWindow* sub : qobject_cast<QMdiArea*>(parent())->subWindowList()) {
                    auto* w = qobject_cast<ImageWindow*>(sub->widget());
                    if (w == nullptr || w == mask_ || w->window_kind() != window_kind_image)
                        continue;
                    const Image& m = w->record()->image;
                    if (m.type != image_type_gray8 || m.width != picture->width ||
                        m.height != picture->height)
                        continue;
                    windows->addItem(sub->windowTitle(), QVariant::fromValue<void*>(w));
                }
            };
            fill();
            connect(windows, &QComboBox::currentIndexChanged, this, [this, windows](int i) {
                combine_with_ =
                    i <= 0 ? nullptr
                           : static_cast<ImageWindow*>(windows->itemData(i).value<void*>());
            });
            row->addWidget(windows);
            auto* refresh = new QPushButton(QStringLiteral("Refresh"), page);
            connect(refresh, &QPushButton::clicked, this, fill);
            row->addWidget(refresh);
            layout->addLayout(row);
            slider_row(
                page, layout, "combine_value", s.combine_value * 1024 / 255,
                [](int p) { return fmt("Mask Gray Level: %d", p * 255 / 1024); },
                [&s](int p) { s.combine_value = p * 255 / 1024; });
            break;
        }
        case MaskKind::brightness_curve:
        case MaskKind::texture: {
            if (kind == MaskKind::texture) {
                popup_row(page, layout, "Method:",
                          {"Max Difference", "Average Difference", "Difference from Average"},
                          s.texture_method, [this](int i) {
                              settings_.texture_method = i;
                              texture_histogram_update();
                          });
                popup_row(page, layout, "Neighborhood Size:", {"3x3", "5x5", "7x7"}, s.texture_size,
                          [this](int i) {
                              settings_.texture_size = i;
                              texture_histogram_update();
                          });
            }
            auto* curve = new CurveControl(page);
            curve->setObjectName(kind == MaskKind::texture ? QStringLiteral("texture_curve")
                                                           : QStringLiteral("brightness_curve"));
            curve->set_curve(kind == MaskKind::texture ? &texture_curve_ : &brightness_curve_);
            layout->addWidget(curve);
            break;
        }
        case MaskKind::flood_fill:
            slider_row(
                page, layout, "flood_threshold", static_cast<int>(s.flood_threshold * 1024 / 200),
                [](int p) { return fmt("Threshold: %1f", p * 200.0 / 1024); },
                [&s](int p) { s.flood_threshold = p * 200.0 / 1024; });
            hint("Click on the picture inside the region to fill.");
            break;
    }
    layout->addStretch(1);
    return page;
}

void MaskTool::fit_panel() {
    // The panel takes the height of the shown sub-panel, not of the tallest.
    auto* pages = panel_->findChild<QStackedWidget*>(QStringLiteral("sub_panels"));
    if (pages == nullptr) return;
    for (int i = 0; i < pages->count(); ++i)
        pages->widget(i)->setSizePolicy(
            i == pages->currentIndex() ? QSizePolicy::Preferred : QSizePolicy::Ignored,
            i == pages->currentIndex() ? QSizePolicy::Preferred : QSizePolicy::Ignored);
    pages->setFixedHeight(pages->currentWidget()->sizeHint().height());
    QLayout* layout = panel_->client()->layout();
    layout->activate();
    panel_->set_client_size(layout->sizeHint().width(), layout->sizeHint().height());
    panel_keep_visible(panel_);
}

void MaskTool::select_kind(MaskKind kind) {
    kind_ = kind;
    points_.clear();
    freehand_.clear();
    dragging_ = false;
    if (auto* pages = panel_->findChild<QStackedWidget*>(QStringLiteral("sub_panels")))
        pages->setCurrentIndex(static_cast<int>(kind));
    fit_panel();
    if (kind == MaskKind::texture) texture_histogram_update();
    if (auto* b = panel_->findChild<QToolButton*>(
            QString::fromLatin1(mask_kind_labels[static_cast<int>(kind)])))
        b->setChecked(true);
    if (picture_) picture_->viewport()->update();
}

void MaskTool::set_mode(int mode) {
    mode_ = std::clamp(mode, 0, 3);
    if (auto* b = panel_->findChild<QToolButton*>(QStringLiteral("mode_%1").arg(mode_)))
        b->setChecked(true);
}

void MaskTool::set_overlay(int index) {
    if (!picture_) return;
    WindowRecord* r = picture_->record();
    static constexpr int colours[4][3] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
    static constexpr int strengths[4] = {0, 128, 255, -1};
    if (index < 4) {
        r->overlay_red = colours[index][0];
        r->overlay_green = colours[index][1];
        r->overlay_blue = colours[index][2];
        if (r->overlay_strength == 0 || r->overlay_strength == -1) r->overlay_strength = 128;
    } else {
        r->overlay_strength = strengths[index - 4];
    }
    update_overlay_view();
}

void MaskTool::save_undo() {
    undo_valid_ = false;
    if (!undo_enabled_) return;
    if (image_copy_quiet(mask_image(), undo_image_.get()) != 0) {
        undo_enabled_ = false;
        message_box(panel_, QStringLiteral("Warning"), box_ok,
                    QStringLiteral("Undo buffer could not be created. Undo is disabled."));
        return;
    }
    undo_classes_ = classes_;
    undo_valid_ = true;
}

void MaskTool::changed(int code, const MaskChange& change) {
    if (code != 0) {
        error_report(code);
        return;
    }
    if (change.none()) return;
    mask_->modified = 1;
    if (change.whole) {
        picture_->layout_view();
        mask_->layout_view();
    } else {
        picture_->picture_changed(change.x1, change.y1, change.x2, change.y2);
        mask_->picture_changed(change.x1, change.y1, change.x2, change.y2);
    }
    links_notify_changed(mask_);
}

void MaskTool::run_outline(const std::vector<QPointF>& points) {
    std::vector<OutlinePoint> outline;
    for (const QPointF& p : points)
        outline.push_back({p.x(), p.y()});
    save_undo();
    MaskChange change;
    int code = 0;
    switch (kind_) {
        case MaskKind::rectangle:
            code = mask_region_rectangle(outline[0], outline[1], mode_, mask_image(), classes_,
                                         &change);
            break;
        case MaskKind::oval:
            code = mask_region_oval(outline[0], outline[1], mode_, mask_image(), classes_, &change);
            break;
        case MaskKind::spline:
            code = mask_region_spline(outline, mode_, mask_image(), classes_, &change);
            break;
        default:
            code = mask_region_polygon(outline, mode_, mask_image(), classes_, &change);
            break;
    }
    changed(code, change);
}

void MaskTool::apply() {
    if (!mask_ || !picture_) return;
    const MaskChange whole{0, 0, -1, -1, true};
    Image* mask = mask_image();
    const Image* picture = picture_image();
    switch (kind_) {
        case MaskKind::polygon:
        case MaskKind::spline:
            if (points_.size() >= 2) run_outline(points_);
            last_outline_ = points_;
            points_.clear();
            picture_->viewport()->update();
            return;
        case MaskKind::feather:
        case MaskKind::blur: {
            // Into a second picture, so that a cancel leaves the mask as it was.
            ImageHolder out;
            LineClasses out_classes = classes_;
            const int code = kind_ == MaskKind::feather
                                 ? mask_feather(mask, out.get(), settings_.feather_width,
                                                settings_.feather_falloff,
                                                settings_.feather_corners, classes_, true)
                                 : mask_blur(mask, out.get(), settings_.blur_radius, out_classes);
            if (code != 0) {
                if (code != 11) error_report(code);
                return;
            }
            save_undo();
            image_move(out.get(), mask);
            line_classes_compute(*mask, classes_);
            changed(0, whole);
            return;
        }
        case MaskKind::color_range:
            save_undo();
            changed(mask_color_range(picture, settings_.range_limits, settings_.range_space, mode_,
                                     mask, classes_),
                    whole);
            return;
        case MaskKind::combine: {
            save_undo();
            const Image* other = combine_with_ ? &combine_with_->record()->image : nullptr;
            changed(mask_combine(other, settings_.combine_value, mode_, mask, classes_), whole);
            return;
        }
        case MaskKind::brightness_curve:
            save_undo();
            changed(mask_brightness_curve(picture, brightness_curve_.lut, mode_, mask, classes_),
                    whole);
            return;
        case MaskKind::texture:
            save_undo();
            changed(mask_texture(picture, settings_.texture_method, settings_.texture_size,
                                 texture_curve_.lut, mode_, mask, classes_),
                    whole);
            return;
        default:
            return;
    }
}

void MaskTool::invert() {
    if (!mask_) return;
    save_undo();
    Image* mask = mask_image();
    for (int y = 0; y < mask->height; ++y)
        for (int x = 0; x < mask->width; ++x)
            mask->rows[y][x] = static_cast<std::uint8_t>(255 - mask->rows[y][x]);
    line_classes_compute(*mask, classes_);
    changed(0, MaskChange{0, 0, -1, -1, true});
}

void MaskTool::show_area() {
    if (!mask_) return;
    const Image* mask = mask_image();
    const double area = image_mask_area(mask);
    const double percent = area * 100.0 / (static_cast<double>(mask->width) * mask->height);
    message_box(
        panel_, QStringLiteral("Mask Area"), box_ok,
        QString::fromStdString(format_text("%2f pixels\n%2f percent coverage", area, percent)));
}

void MaskTool::undo() {
    if (!undo_valid_ || !mask_) return;
    ImageHolder current;
    image_move(mask_image(), current.get());
    image_move(undo_image_.get(), mask_image());
    image_move(current.get(), undo_image_.get());
    std::swap(classes_, undo_classes_);
    changed(0, MaskChange{0, 0, -1, -1, true});
}

void MaskTool::finish(bool keep) {
    if (closing_) return;
    closing_ = true;
    image_drawing_set(nullptr);
    if (panel_) link_remove_all(panel_);
    if (picture_) {
        WindowRecord* r = picture_->record();
        if (keep && mask_) {
            r->mask_window = mask_;
            remember_mask(mask_);
            // A standing mask whose window goes leaves the picture without one.
            QPointer<ImageWindow> picture = picture_;
            WindowBase* kept = mask_;
            connect(mask_, &QObject::destroyed, picture_, [picture, kept] {
                if (picture && picture->record()->mask_window == kept) {
                    picture->record()->mask_window = nullptr;
                    picture->layout_view();
                }
            });
        } else {
            r->mask_window = created_ ? previous_mask_ : r->mask_window;
        }
        picture_->viewport()->setMouseTracking(false);
    }
    if (!keep && created_ && mask_) {
        QMdiSubWindow* sub = mask_->sub_window();
        mask_->modified = 0;
        if (sub != nullptr) sub->deleteLater();
    }
    if (picture_) picture_->layout_view();
    mask_tool_closed();
    if (panel_) panel_->deleteLater();
    deleteLater();
}

// ---------------------------------------------------------------------------
// Drawing on the picture

bool MaskTool::pointer(ImageWindow* window, QPointF at, ProbePhase phase) {
    if (window != picture_ || !mask_) return false;
    switch (kind_) {
        case MaskKind::rectangle:
        case MaskKind::oval:
            if (phase == ProbePhase::press) {
                dragging_ = true;
                drag_start_ = drag_now_ = at;
            } else if (dragging_) {
                drag_now_ = at;
                if (phase == ProbePhase::release) {
                    dragging_ = false;
                    run_outline({drag_start_, drag_now_});
                }
            }
            window->viewport()->update();
            return true;
        case MaskKind::freehand: {
            const SubPoint p = outline_subpoint({at.x(), at.y()});
            if (phase == ProbePhase::press) {
                freehand_.assign(1, p);
            } else if (freehand_.empty() || freehand_.back().x != p.x ||
                       freehand_.back().y != p.y) {
                freehand_.push_back(p);
            }
            if (phase == ProbePhase::release) {
                // Closed from last to first on release.
                save_undo();
                MaskChange change;
                const int code =
                    mask_region_freehand(freehand_, mode_, mask_image(), classes_, &change);
                freehand_.clear();
                changed(code, change);
            }
            window->viewport()->update();
            return true;
        }
        case MaskKind::polygon:
        case MaskKind::spline:
            if (phase == ProbePhase::press) {
                if (points_.empty() || points_.back() != at) points_.push_back(at);
                window->viewport()->update();
            }
            return true;
        case MaskKind::flood_fill:
            if (phase == ProbePhase::press) {
                save_undo();
                MaskChange change;
                const int code = mask_flood_fill(static_cast<int>(std::floor(at.x())),
                                                 static_cast<int>(std::floor(at.y())),
                                                 picture_image(), mask_image(), classes_, mode_,
                                                 settings_.flood_threshold, &change);
                changed(code, change);
            }
            return true;
        case MaskKind::color_range:
            probe_range(at);
            return true;
        case MaskKind::paint: {
            MaskChange change;
            if (phase == ProbePhase::press) {
                save_undo();
                const Image* start = undo_valid_ ? undo_image_.get() : nullptr;
                BrushSettings brush = settings_.brush;
                brush.mode = mode_;
                if (start == nullptr) brush.accumulate = true;
                color_range_tables(settings_.range_limits, settings_.range_space,
                                   !image_is_colour(picture_image()), brush_tables_);
                changed(stroke_.begin(mask_image(), &classes_, start, picture_image(),
                                      &brush_tables_, brush, at.x(), at.y(), &change),
                        change);
            } else {
                stroke_.move_to(at.x(), at.y(), &change);
                changed(0, change);
            }
            hover_ = at;
            return true;
        }
        default:
            return false;
    }
}

void MaskTool::probe_range(QPointF at) {
    // The probe in RGB grows the range to take in what was clicked, never shrinks it.
    if (settings_.range_space != 2) return;
    const Image* picture = picture_image();
    const int x = std::clamp(static_cast<int>(std::floor(at.x())), 0, picture->width - 1);
    const int row = std::clamp(static_cast<int>(std::floor(at.y())), 0, picture->height - 1);
    std::vector<std::uint8_t> rgb(3 * static_cast<std::size_t>(picture->width));
    picture_line_rgb8(picture, picture->height - 1 - row, rgb.data());
    for (int c = 0; c < 3; ++c) {
        const int v = (rgb[3 * static_cast<std::size_t>(x) + c] << 10) / 255;
        int* limits = settings_.range_limits.data() + 4 * c;
        if (v < limits[0]) limits[0] = limits[2] = v;
        if (v > limits[1]) limits[1] = limits[3] = v;
    }
    for (int i = 0; i < 12; ++i)
        if (auto* spin = panel_->findChild<QSpinBox*>(QStringLiteral("limit_%1").arg(i)))
            spin->setValue(settings_.range_limits[static_cast<std::size_t>(i)]);
}

void MaskTool::texture_histogram_update() {
    std::uint32_t tallest = 0;
    if (texture_histogram(picture_image(), settings_.texture_method, settings_.texture_size,
                          texture_histogram_.count, &tallest) != 0)
        return;
    texture_histogram_.largest = tallest;
    if (auto* curve = panel_->findChild<CurveControl*>(QStringLiteral("texture_curve")))
        curve->set_histograms(&texture_histogram_, 1);
}

bool MaskTool::double_click(ImageWindow* window, QPointF at) {
    (void)at;
    if (window != picture_ || (kind_ != MaskKind::polygon && kind_ != MaskKind::spline))
        return false;
    apply();
    return true;
}

void MaskTool::hover(ImageWindow* window, QPointF at) {
    if (window != picture_ || kind_ != MaskKind::paint) return;
    hover_ = at;
    window->viewport()->update();
}

void MaskTool::paint(ImageWindow* window, QPainter& painter) {
    if (window != picture_) return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, false);
    const auto view = [window](QPointF p) { return window->to_viewport(p); };
    // Rubber lines in an exclusive-or pen of middle gray, as they are dragged.
    QPen pen(QColor(128, 128, 128));
    pen.setWidth(1);
    painter.setPen(pen);
    painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    if (dragging_ && (kind_ == MaskKind::rectangle || kind_ == MaskKind::oval)) {
        const QRectF rect = QRectF(view(drag_start_), view(drag_now_)).normalized();
        if (kind_ == MaskKind::rectangle)
            painter.drawRect(rect);
        else
            painter.drawEllipse(rect);
    }
    if (kind_ == MaskKind::freehand && freehand_.size() > 1) {
        QPainterPath path(view({freehand_[0].x / 5.0, freehand_[0].y / 5.0}));
        for (const SubPoint& p : freehand_)
            path.lineTo(view({p.x / 5.0, p.y / 5.0}));
        painter.drawPath(path);
    }
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if ((kind_ == MaskKind::polygon || kind_ == MaskKind::spline) && !points_.empty()) {
        painter.setPen(QPen(Qt::yellow));
        for (std::size_t i = 0; i + 1 < points_.size(); ++i)
            painter.drawLine(view(points_[i]), view(points_[i + 1]));
        for (const QPointF& p : points_)
            painter.drawRect(QRectF(view(p) - QPointF(3, 3), QSizeF(6, 6)));  // handles
    }
    if (kind_ == MaskKind::paint) {
        // The brush cursor: the stamp's rim at the picture's zoom.
        const WindowRecord* r = window->record();
        const double scale = r->zoom < 0 ? 1.0 / -r->zoom : r->zoom;
        const double radius = settings_.brush.radius * scale;
        painter.setPen(QPen(Qt::white));
        painter.drawEllipse(view(hover_), radius, radius);
        painter.setPen(QPen(Qt::black, 1, Qt::DotLine));
        painter.drawEllipse(view(hover_), radius, radius);
    }
    painter.restore();
}

namespace {

QString latin1(std::string_view text) {
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

void MaskTool::load_outline() {
    const OutlineKind kind = kind_ == MaskKind::spline ? OutlineKind::spline : OutlineKind::polygon;
    const QString word = latin1(outline_word(kind));
    const QString filter =
        QStringLiteral("%1 (*%2)").arg(latin1(outline_label(kind)), latin1(outline_extension(kind)));
    const QString path =
        QFileDialog::getOpenFileName(panel_, QStringLiteral("Load %1").arg(word), {}, filter);
    if (path.isEmpty()) return;
    std::vector<OutlinePoint> points;
    const Image* picture = picture_image();
    if (const int code =
            outline_read(path.toStdString(), kind, picture->width, picture->height, points)) {
        error_report(code == 4 ? 114 : code);
        return;
    }
    points_.clear();
    for (const OutlinePoint& p : points)
        points_.emplace_back(p.x, p.y);
    picture_->viewport()->update();
}

void MaskTool::save_outline() {
    const OutlineKind kind = kind_ == MaskKind::spline ? OutlineKind::spline : OutlineKind::polygon;
    const QString word = latin1(outline_word(kind));
    const QString filter =
        QStringLiteral("%1 (*%2)").arg(latin1(outline_label(kind)), latin1(outline_extension(kind)));
    const QString path =
        QFileDialog::getSaveFileName(panel_, QStringLiteral("Save %1").arg(word), {}, filter);
    if (path.isEmpty()) return;
    // The outline being drawn, or else the last one applied.
    std::vector<OutlinePoint> points;
    for (const QPointF& p : points_.empty() ? last_outline_ : points_)
        points.push_back({p.x(), p.y()});
    const Image* picture = picture_image();
    error_report(outline_write(path.toStdString(), kind, picture->width, picture->height, points));
}
