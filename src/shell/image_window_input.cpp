// How an image window is moved about: scrolling by the bars, the keys and the
// dragging hand, and the zoom menu of the right mouse button.
#include "shell/image_window.h"
#include "shell/image_drawing.h"
#include "shell/image_probe.h"

#include "core/errors.h"
#include "core/preferences.h"

#include "shell/app_state.h"
#include "shell/command_dispatch.h"
#include "core/view_update.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMouseEvent>
#include <QScrollBar>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

// The tool that makes the left button drag the picture.
constexpr int scroll_tool = 6002;

struct MenuItem {
    int number;
    const char* label;
};

// The right button's menu; the last three only on image windows.
constexpr MenuItem zoom_menu_items[] = {
    {3005, "Zoom &In"},     {3006, "Zoom In and &Resize"},     {3007, "Zoom &Out"},
    {3015, "Zoom to &1:1"}, {3016, "Zoom to 1:1 and Re&size"}, {3004, "Zoom Out to &Fit Screen"},
};
constexpr MenuItem image_menu_items[] = {
    {3002, "&Grid"},
    {0, "Add to Workflow"},  // no command of its own: the workflow window takes it
    {3001, "Properties"},
};

}  // namespace

void ImageWindow::scroll_to(int x, int y) {
    WindowRecord* r = record_;
    x = std::clamp(x, 0, std::max(0, r->scroll_max_x));
    y = std::clamp(y, 0, std::max(0, r->scroll_max_y));
    if (r->zoom >= 2) {
        x = x / r->zoom * r->zoom;
        y = y / r->zoom * r->zoom;
    }
    if (horizontalScrollBar()->value() != x || verticalScrollBar()->value() != y) {
        const QSignalBlocker block_h(horizontalScrollBar());
        const QSignalBlocker block_v(verticalScrollBar());
        horizontalScrollBar()->setValue(x);
        verticalScrollBar()->setValue(y);
    }
    if (preview_) {
        preview_scroll(x, y);
        return;
    }
    const int dx = x - r->view_x1;
    const int dy = y - r->view_y1;
    int code = 0;
    switch (view_scroll(r, x, y, preferences().smoothzoomflag, &code)) {
        case ViewScroll::unchanged:
            return;
        case ViewScroll::shifted:
            // The screen moves with the copies; only the strip is painted anew.
            viewport()->scroll(-dx, -dy,
                               QRect(r->offset_x, r->offset_y, r->view_width, r->view_height));
            return;
        case ViewScroll::rebuilt:
            // A failed copy is reported; the window stays, empty.
            if (code != 0) error_report(code);
            viewport()->update();
            return;
    }
}

// A preview moves what it has and asks for the uncovered strips: the columns
// over the whole height, then the rows over the columns the first left out.
void ImageWindow::preview_scroll(int x, int y) {
    WindowRecord* r = record_;
    const int dx = x - r->view_x1;
    const int dy = y - r->view_y1;
    if (dx == 0 && dy == 0) return;
    const int w = r->view_width;
    const int h = r->view_height;
    r->view_x1 = x;
    r->view_y1 = y;
    preview_rectangles();
    const auto sized = [w, h](const Image& copy) {
        return copy.type != 0 && copy.width == w && copy.height == h;
    };
    const bool overlap = std::abs(dx) < w && std::abs(dy) < h;
    if (!overlap || !sized(r->view_copy) || !sized(r->display_copy)) {
        viewport()->update();
        if (hooks_.view_changed) hooks_.view_changed({QRect(0, 0, w, h)});
        return;
    }
    for (Image* copy : {&r->view_copy, &r->display_copy}) {
        if (dx > 0) image_shift_left(copy, dx);
        if (dx < 0) image_shift_right(copy, -dx);
        if (dy > 0) image_shift_up(copy, dy);
        if (dy < 0) image_shift_down(copy, -dy);
    }
    viewport()->scroll(-dx, -dy, QRect(r->offset_x, r->offset_y, w, h));
    std::vector<QRect> strips;
    int left = 0;
    int right = w - 1;
    if (dx > 0) {
        strips.emplace_back(QPoint(w - dx, 0), QPoint(w - 1, h - 1));
        right = w - dx - 1;
    } else if (dx < 0) {
        strips.emplace_back(QPoint(0, 0), QPoint(-dx - 1, h - 1));
        left = -dx;
    }
    if (left <= right) {
        if (dy > 0) strips.emplace_back(QPoint(left, h - dy), QPoint(right, h - 1));
        if (dy < 0) strips.emplace_back(QPoint(left, 0), QPoint(right, -dy - 1));
    }
    if (hooks_.view_changed) hooks_.view_changed(strips);
}

void ImageWindow::keyPressEvent(QKeyEvent* event) {
    const WindowRecord* r = record_;
    const int line_x = std::max(1, r->view_width / 8);
    const int line_y = std::max(1, r->view_height / 8);
    const int page_y = std::max(1, r->view_height * 7 / 8);
    const bool both = (event->modifiers() & Qt::ControlModifier) != 0;
    int x = r->view_x1;
    int y = r->view_y1;
    switch (event->key()) {
        case Qt::Key_Left:
            x -= line_x;
            break;
        case Qt::Key_Right:
            x += line_x;
            break;
        case Qt::Key_Up:
            y -= line_y;
            break;
        case Qt::Key_Down:
            y += line_y;
            break;
        case Qt::Key_PageUp:
            y -= page_y;
            break;
        case Qt::Key_PageDown:
            y += page_y;
            break;
        case Qt::Key_Home:
            x = 0;
            if (both) y = 0;
            break;
        case Qt::Key_End:
            x = r->scroll_max_x;
            if (both) y = r->scroll_max_y;
            break;
        default:
            QAbstractScrollArea::keyPressEvent(event);
            return;
    }
    event->accept();
    scroll_to(x, y);
}

QMenu* ImageWindow::context_menu() {
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("zoom_menu"));
    const auto add = [&](const MenuItem& item) {
        QAction* action = menu->addAction(QString::fromLatin1(item.label));
        action->setData(item.number);
        action->setEnabled(item.number != 0 && command_available(item.number));
        const int number = item.number;
        connect(action, &QAction::triggered, this, [this, number] {
            // The commands act on the active window: make it this one.
            if (QMdiSubWindow* sub = sub_window(); sub != nullptr && sub->mdiArea() != nullptr)
                sub->mdiArea()->setActiveSubWindow(sub);
            command_dispatch(this, number);
        });
    };
    for (const MenuItem& item : zoom_menu_items)
        add(item);
    if (window_kind() == window_kind_image) {
        menu->addSeparator();
        for (const MenuItem& item : image_menu_items)
            add(item);
    }
    return menu;
}

void ImageWindow::contextMenuEvent(QContextMenuEvent* event) {
    QMenu* menu = context_menu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
    event->accept();
}

// The picture's pixel under a point of the viewport, handed to the probe.
void ImageWindow::probe(QPoint at, ProbePhase phase) {
    const WindowRecord* r = record_;
    const int vx = at.x() - r->offset_x + r->view_x1, vy = at.y() - r->offset_y + r->view_y1;
    const int x = r->zoom < 0 ? vx * -r->zoom : vx / r->zoom;
    const int y = r->zoom < 0 ? vy * -r->zoom : vy / r->zoom;
    image_probe_deliver(this, std::clamp(x, 0, r->image.width - 1),
                        std::clamp(y, 0, r->image.height - 1), phase);
}

namespace {

ImageDrawing* drawing_tool = nullptr;

}  // namespace

void image_drawing_set(ImageDrawing* drawing) {
    drawing_tool = drawing;
}

ImageDrawing* image_drawing() {
    return drawing_tool;
}

QPointF ImageWindow::to_picture(QPointF at) const {
    const WindowRecord* r = record_;
    const double vx = at.x() - r->offset_x + r->view_x1, vy = at.y() - r->offset_y + r->view_y1;
    if (r->zoom < 0) return {vx * -r->zoom, vy * -r->zoom};
    return {vx / r->zoom, vy / r->zoom};
}

QPointF ImageWindow::to_viewport(QPointF at) const {
    const WindowRecord* r = record_;
    const double scale = r->zoom < 0 ? 1.0 / -r->zoom : r->zoom;
    return {at.x() * scale - r->view_x1 + r->offset_x, at.y() * scale - r->view_y1 + r->offset_y};
}

void ImageWindow::picture_changed(int x1, int y1, int x2, int y2) {
    WindowRecord* r = record_;
    if (preview_ || r->view_width <= 0) return;
    // The view pixels that show any of the rectangle.
    const int n = r->zoom < 0 ? -r->zoom : 1, m = r->zoom > 0 ? r->zoom : 1;
    const int vx1 = x1 * m / n - r->view_x1, vx2 = (x2 + 1) * m / n - r->view_x1;
    const int vy1 = y1 * m / n - r->view_y1, vy2 = (y2 + 1) * m / n - r->view_y1;
    view_update_region(r, vx1, vy1, vx2, vy2, preferences().smoothzoomflag);
    viewport()->update();
}

void ImageWindow::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !is_preview() && drawing_tool != nullptr &&
        drawing_tool->double_click(this, to_picture(event->position()))) {
        event->accept();
        return;
    }
    QAbstractScrollArea::mouseDoubleClickEvent(event);
}

void ImageWindow::mousePressEvent(QMouseEvent* event) {
    const bool hand =
        event->button() == Qt::LeftButton &&
        ((event->modifiers() & Qt::AltModifier) != 0 || app_state.current_tool == scroll_tool);
    if (!hand && event->button() == Qt::LeftButton && !is_preview() && drawing_tool != nullptr &&
        drawing_tool->pointer(this, to_picture(event->position()), ProbePhase::press)) {
        drawing_ = true;
        event->accept();
        return;
    }
    if (!hand) {
        if (event->button() == Qt::LeftButton && !is_preview() && image_probe_active()) {
            probing_ = true;
            probe(event->position().toPoint(), ProbePhase::press);
            event->accept();
            return;
        }
        QAbstractScrollArea::mousePressEvent(event);
        return;
    }
    dragging_ = true;
    drag_start_ = event->globalPosition().toPoint();
    drag_view_x_ = record_->view_x1;
    drag_view_y_ = record_->view_y1;
    viewport()->setCursor(Qt::ClosedHandCursor);
    event->accept();
}

void ImageWindow::mouseMoveEvent(QMouseEvent* event) {
    if (drawing_ && drawing_tool != nullptr) {
        drawing_tool->pointer(this, to_picture(event->position()), ProbePhase::move);
        event->accept();
        return;
    }
    if (!dragging_ && !probing_ && drawing_tool != nullptr && !is_preview())
        drawing_tool->hover(this, to_picture(event->position()));
    if (probing_) {
        probe(event->position().toPoint(), ProbePhase::move);
        event->accept();
        return;
    }
    if (!dragging_) {
        QAbstractScrollArea::mouseMoveEvent(event);
        return;
    }
    // The picture follows the hand: moving it right shows what lies left.
    const QPoint moved = event->globalPosition().toPoint() - drag_start_;
    scroll_to(drag_view_x_ - moved.x(), drag_view_y_ - moved.y());
    event->accept();
}

void ImageWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (drawing_ && event->button() == Qt::LeftButton) {
        drawing_ = false;
        if (drawing_tool != nullptr)
            drawing_tool->pointer(this, to_picture(event->position()), ProbePhase::release);
        event->accept();
        return;
    }
    if (probing_ && event->button() == Qt::LeftButton) {
        probing_ = false;
        probe(event->position().toPoint(), ProbePhase::release);
        event->accept();
        return;
    }
    if (!dragging_ || event->button() != Qt::LeftButton) {
        QAbstractScrollArea::mouseReleaseEvent(event);
        return;
    }
    dragging_ = false;
    viewport()->unsetCursor();
    event->accept();
}
