#include "shell/window_arrange.h"

#include "shell/app_state.h"

#include <QApplication>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>

namespace {

// The children that take part in tiling: shown and not minimised, in the
// order they were made, so that tiling twice gives the same picture.
QList<QMdiSubWindow*> tiled_children(QMdiArea* area) {
    QList<QMdiSubWindow*> children;
    for (QMdiSubWindow* child : area->subWindowList(QMdiArea::CreationOrder)) {
        if (child->isVisible() && !child->isMinimized()) children.append(child);
    }
    return children;
}

// Splits `total` into `count` parts that differ by at most one.
int part_start(int total, int count, int index) {
    return static_cast<int>(static_cast<long long>(total) * index / count);
}

void tile(QMdiArea* area, bool horizontal) {
    if (area == nullptr) return;
    const QList<QMdiSubWindow*> children = tiled_children(area);
    const int count = static_cast<int>(children.size());
    if (count == 0) return;
    const QRect room = area->viewport()->rect();
    for (int i = 0; i < count; ++i) {
        QMdiSubWindow* child = children[i];
        if (child->isMaximized()) child->showNormal();
        if (horizontal) {
            const int top = part_start(room.height(), count, i);
            const int bottom = part_start(room.height(), count, i + 1);
            child->setGeometry(0, top, room.width(), bottom - top);
        } else {
            const int left = part_start(room.width(), count, i);
            const int right = part_start(room.width(), count, i + 1);
            child->setGeometry(left, 0, right - left, room.height());
        }
    }
}

}  // namespace

void mdi_tile_horizontal(QMdiArea* area) {
    tile(area, true);
}

void mdi_tile_vertical(QMdiArea* area) {
    tile(area, false);
}

void mdi_arrange_icons(QMdiArea* area) {
    if (area == nullptr) return;
    // Minimised children all have the same height, so the rows are regular.
    const QRect room = area->viewport()->rect();
    int x = 0;
    int y = room.height();
    int row_height = 0;
    for (QMdiSubWindow* child : area->subWindowList(QMdiArea::CreationOrder)) {
        if (!child->isMinimized()) continue;
        const QSize size = child->size();
        if (row_height == 0) {
            row_height = size.height();
            y -= row_height;
        } else if (x + size.width() > room.width()) {
            x = 0;
            y -= row_height;
        }
        child->move(x, y);
        x += size.width();
    }
}

bool mdi_close_all(QMdiArea* area) {
    if (area == nullptr) return true;
    bool all_closed = true;
    for (QMdiSubWindow* child : area->subWindowList(QMdiArea::CreationOrder)) {
        QPointer<QMdiSubWindow> guard(child);
        if (!child->close() && !guard.isNull()) all_closed = false;
    }
    return all_closed;
}

void dialogs_to_top() {
    QWidget* frame = app_state.main_window;
    if (frame == nullptr) return;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget == frame || !widget->isVisible()) continue;
        if (widget->parentWidget() == nullptr || widget->parentWidget()->window() != frame)
            continue;
        const Qt::WindowType type = widget->windowType();
        if (type == Qt::Tool || type == Qt::Dialog) widget->raise();
    }
}
