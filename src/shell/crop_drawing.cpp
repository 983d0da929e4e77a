#include "shell/crop_drawing.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGuiApplication>
#include <QPainter>
#include <QPointer>
#include <QPolygonF>

#include <cmath>

#include "shell/image_window.h"
#include "shell/input_chooser.h"
#include "shell/transform_panel.h"
#include "shell/transform_panel_builder.h"
#include "transform/driver.h"

namespace {

constexpr std::string_view crop_title = "Crop/Add Border";

// The block and the input window while a Crop/Add Border panel is open on
// `window`; null otherwise.
CropParams* block_on(ImageWindow* window) {
    const TransformState& s = transform_state();
    if (!s.descriptor || s.descriptor->title != crop_title || !window || window->is_preview())
        return nullptr;
    if (dynamic_cast<ImageWindow*>(s.input_window) != window) return nullptr;
    return static_cast<CropParams*>(transform_params());
}

CropDrawing drawing;
// The window the rectangle was last drawn on: it is redrawn without it when
// the panel closes.
QPointer<ImageWindow> drawn_on;

}  // namespace

bool CropDrawing::pointer(ImageWindow* window, QPointF at, ProbePhase phase) {
    CropParams* p = block_on(window);
    if (!p) return false;
    const Image& picture = window->record()->image;
    if (phase == ProbePhase::press) {
        dragging_ = true;
        turning_ = (QGuiApplication::keyboardModifiers() & Qt::ShiftModifier) != 0;
        from_ = at;
        start_ = crop_normalise({p->x1, p->y1, p->x2, p->y2});
        start_angle_ = p->angle;
        const int zoom = window->record()->zoom;
        // Handles are grabbed within 4 screen pixels.
        handle_ = crop_hit(start_, at.x(), at.y(), zoom < 0 ? 4.0 * -zoom : 4.0 / zoom);
        return true;
    }
    if (!dragging_) return false;
    if (turning_) {
        const double a = crop_drag_angle(start_angle_, picture.width / 2.0, picture.height / 2.0,
                                         from_.x(), from_.y(), at.x(), at.y());
        p->angle = std::round(a * 100) / 100;  // the panel shows hundredths
    } else {
        int rw = 0, rh = 0;
        crop_proportions(*p, p->proportions, rw, rh);
        const CropRect r = crop_drag(start_, handle_, from_.x(), from_.y(), at.x(), at.y(), rw, rh);
        p->x1 = r.x1, p->y1 = r.y1, p->x2 = r.x2, p->y2 = r.y2;
    }
    p->dims_width = picture.width;
    p->dims_height = picture.height;
    crop_update_result_rect(*p);
    if (phase == ProbePhase::release) dragging_ = false;
    window->viewport()->update();
    if (auto* panel = dynamic_cast<TransformPanel*>(transform_state().panel_window))
        transform_panel_show_block(panel);
    transform_parameter_changed();
    return true;
}

void CropDrawing::paint(ImageWindow* window, QPainter& painter) {
    const CropParams* p = block_on(window);
    if (!p) return;
    drawn_on = window;
    const auto view = [window](double x, double y) { return window->to_viewport({x, y}); };
    const CropRect r = crop_normalise({p->x1, p->y1, p->x2, p->y2});
    const double left = r.x1, top = r.y1, right = r.x2 + 1.0, bottom = r.y2 + 1.0;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);

    // The turned picture's outline, so that a Shift-drag shows at once.
    if (p->angle != 0) {
        const Image& picture = window->record()->image;
        const double a = 3.1415926536 * p->angle / 180.0, cx = picture.width / 2.0,
                     cy = picture.height / 2.0;
        QPolygonF frame;
        for (const QPointF c : {QPointF(0, 0), QPointF(picture.width, 0),
                                QPointF(picture.width, picture.height), QPointF(0, picture.height)}) {
            const double dx = c.x() - cx, dy = c.y() - cy;
            frame << view(cx + dx * std::cos(a) - dy * std::sin(a), cy + dx * std::sin(a) + dy * std::cos(a));
        }
        painter.setPen(QPen(QColor(255, 200, 0), 1, Qt::DashLine));
        painter.drawPolygon(frame);
    }

    const QRectF box(view(left, top), view(right, bottom));
    // The guides: an n by n grid inside the rectangle.
    static constexpr int grid_lines[] = {0, 2, 3, 4, 8};
    const int n = p->grid >= 0 && p->grid < 5 ? grid_lines[p->grid] : 0;
    painter.setPen(QPen(QColor(255, 255, 255, 160), 1));
    for (int k = 1; k < n; ++k) {
        const double fx = box.left() + box.width() * k / n, fy = box.top() + box.height() * k / n;
        painter.drawLine(QPointF(fx, box.top()), QPointF(fx, box.bottom()));
        painter.drawLine(QPointF(box.left(), fy), QPointF(box.right(), fy));
    }
    // The shape, then the rectangle in black and white dashes.
    painter.setPen(QPen(Qt::white, 1, Qt::DotLine));
    if (p->shape == crop_oval) painter.drawEllipse(box);
    if (p->shape == crop_diamond)
        painter.drawPolygon(QPolygonF({QPointF(box.center().x(), box.top()),
                                       QPointF(box.right(), box.center().y()),
                                       QPointF(box.center().x(), box.bottom()),
                                       QPointF(box.left(), box.center().y())}));
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(QPen(Qt::black, 1));
    painter.drawRect(box);
    painter.setPen(QPen(Qt::white, 1, Qt::DashLine));
    painter.drawRect(box);
    // Eight handles on the corners and the middles of the sides.
    const double mx = box.center().x(), my = box.center().y();
    const QPointF handles[] = {box.topLeft(), box.topRight(), box.bottomRight(), box.bottomLeft(),
                               {mx, box.top()}, {box.right(), my}, {mx, box.bottom()}, {box.left(), my}};
    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(Qt::white);
    for (const QPointF& h : handles)
        painter.drawRect(QRectF(h - QPointF(3, 3), QSizeF(6, 6)));
    painter.restore();
}

namespace {

// The border picture's chooser: the chosen window's picture goes into the
// block, and leaves it when the window closes.
void border_chooser_add(TransformPanel* panel, QMdiArea* area) {
    auto* rows = panel->findChild<QWidget*>(QStringLiteral("panel_rows"));
    auto* grid = rows ? qobject_cast<QGridLayout*>(rows->layout()) : nullptr;
    auto* kind = panel->findChild<QComboBox*>(QStringLiteral("border"));
    if (!grid || !kind) return;
    auto* chooser = new InputChooser(rows, area, QStringLiteral("Border Image:"));
    chooser->setObjectName(QStringLiteral("border_image"));
    grid->addWidget(chooser, grid->rowCount(), 0, 1, 2);
    const auto choose = [](ImageWindow* window) {
        auto* p = static_cast<CropParams*>(transform_params());
        if (!p) return;
        p->border_image = window ? &window->record()->image : nullptr;
        if (window)
            QObject::connect(window, &QObject::destroyed, window, [] {
                if (auto* q = static_cast<CropParams*>(transform_params())) q->border_image = nullptr;
            });
        transform_parameter_changed();
    };
    QObject::connect(chooser, &InputChooser::input_changed, chooser, choose);
    const auto follow = [panel, chooser, choose] {
        auto* p = static_cast<CropParams*>(transform_params());
        const bool shown = p && p->border_kind == 1;
        if (shown && !p->border_image) {
            chooser->refresh();
            const auto windows = chooser->candidates();
            if (!windows.empty()) {
                chooser->set_current(windows.front());
                choose(windows.front());
            }
        }
        if (chooser->isVisible() == shown) return;
        chooser->setVisible(shown);
        const TransformState& s = transform_state();
        const WindowRecord* input = window_record_of(s.input_window);
        transform_panel_layout(panel, input ? input->image.type : 0, s.input_width, s.input_height);
    };
    chooser->setVisible(false);
    QObject::connect(kind, &QComboBox::activated, chooser, follow);
}

}  // namespace

void crop_drawing_attach(TransformPanel* panel, QMdiArea* area) {
    border_chooser_add(panel, area);
    image_drawing_set(&drawing);
    // The shape and the guides the panel chooses show on the picture at once.
    const auto redraw = [] {
        if (auto* window = dynamic_cast<ImageWindow*>(transform_state().input_window))
            window->viewport()->update();
    };
    for (QComboBox* box : panel->findChildren<QComboBox*>())
        QObject::connect(box, &QComboBox::activated, panel, redraw);
    QObject::connect(panel, &QObject::destroyed, [] {
        if (image_drawing() == &drawing) image_drawing_set(nullptr);
        if (drawn_on) drawn_on->viewport()->update();
    });
}
