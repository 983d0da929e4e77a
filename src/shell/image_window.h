// An image window: one picture of the window record table shown at an integer
// zoom inside the work area, with scroll bars, its title, the zoom commands and
// the save question on closing.
#pragma once

#include "shell/image_probe.h"

#include "core/window_record.h"

#include "shell/child_window.h"

#include <QAbstractScrollArea>
#include <QImage>
#include <QPoint>
#include <QRect>
#include <QString>

#include <functional>
#include <vector>

class QMdiArea;
class QMdiSubWindow;
class QMenu;

class ImageWindow : public QAbstractScrollArea, public ChildWindow, public WindowBase {
    Q_OBJECT
public:
    // Use image_window_create: a window exists only with a record.
    ImageWindow(int slot, WindowRecord* record);
    ~ImageWindow() override;

    int window_kind() const override { return WindowBase::window_kind; }
    [[nodiscard]] bool may_close() override;

    WindowRecord* record() const { return record_; }
    QMdiSubWindow* sub_window() const;

    // Sets the zoom; with `resize` the window grows or shrinks to show the
    // picture, up to the work area. Rebuilds the view and the title.
    void set_zoom(int zoom, bool resize);
    // The largest zoom at which the picture with its borders fits the work
    // area, stepping in from the current zoom first unless `from_one`.
    void fit(bool from_one);
    // Grows the window to show the picture at this zoom.
    void expand() { set_zoom(record_->zoom, true); }
    // Recomputes the view geometry from the client size and rebuilds the copies.
    void layout_view();
    // The title as shown: base text, zoom and size.
    void update_title();
    // Scrolls to (x, y) in zoomed pixels, limited to the range and at zoom
    // n >= 2 rounded down to a whole picture pixel. Overlapping views move
    // the screen and recompute only the uncovered strip.
    void scroll_to(int x, int y);
    // The menu of the right mouse button: the zoom commands, and on image
    // windows "&Grid", "Add to Workflow" and "Properties". Each action's data
    // is its command number. The caller owns the menu.
    QMenu* context_menu();

    // Viewport points and picture pixels (fractions, y from the top) each way.
    QPointF to_picture(QPointF viewport_point) const;
    QPointF to_viewport(QPointF picture_point) const;
    // The picture changed, or what shows over it, inside the inclusive
    // rectangle of picture pixels (y from the top): the copies are rebuilt
    // there and repainted. A change of what the copies are (an overlay put
    // on or taken off) needs layout_view.
    void picture_changed(int x1, int y1, int x2, int y2);

    // A transformation's preview shows a picture it doesn't hold: the
    // transformation computes its screen copy, and its geometry follows the
    // size of the input it stands for. `view_changed` hears of every part of
    // the view that needs computing, in view pixels from the top left: the
    // uncovered strips after a scroll, or the whole view after a change of
    // zoom or size (posted, so that it never comes from inside a computation).
    // `closed` hears that the user closed the window.
    struct PreviewHooks {
        std::function<void(const std::vector<QRect>&)> view_changed;
        std::function<void()> closed;
    };
    void make_preview(int picture_width, int picture_height, int picture_type, PreviewHooks hooks);
    bool is_preview() const { return preview_; }
    // The preview's screen copy was computed in `region` (view pixels from
    // the top left): the display copy is rebuilt there and repainted.
    void preview_computed(const QRect& region);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void probe(QPoint at, ProbePhase phase);
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void resize_to_picture();
    void rebuild_copies();
    int picture_width() const;
    int picture_height() const;
    // A preview's view rectangle on the picture it stands for.
    void preview_rectangles();
    void preview_scroll(int x, int y);
    void preview_check_later();

    // What a preview's screen copy was last computed for.
    struct ViewGeometry {
        int zoom = 0;
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
        bool operator==(const ViewGeometry&) const = default;
    };
    ViewGeometry view_geometry() const;

    bool preview_ = false;
    int stand_in_width_ = 0;
    int stand_in_height_ = 0;
    int stand_in_type_ = 0;
    PreviewHooks hooks_;
    ViewGeometry computed_;
    bool check_pending_ = false;

    WindowRecord* record_;
    bool laying_out_ = false;
    // The dragging hand: where the drag began, on the screen and in the view.
    bool dragging_ = false;
    bool probing_ = false;  // a press went to the image probe
    bool drawing_ = false;  // a press went to the drawing tool
    QPoint drag_start_;
    int drag_view_x_ = 0;
    int drag_view_y_ = 0;
};

// Takes a record, moves `picture` into it (left empty), lets `setup` fill in
// names and the file type, and shows it in a new window of `area`, fitted. 13
// when all records are taken; then `picture` keeps its pixels.
[[nodiscard]] int image_window_create(QMdiArea* area, Image* picture, ImageWindow** window,
                                      const std::function<void(WindowRecord*)>& setup = {});

// The image window of a widget or of the MDI child that holds it; null otherwise.
ImageWindow* image_window_of(QWidget* widget);
// The active image window of the work area, or null.
ImageWindow* image_window_active(QMdiArea* area);

// The open window of a file, by its name; null when none has it.
ImageWindow* image_window_of_file(const QString& path);

// The largest zoom, starting at `zoom` and first stepping in unless `step_in`
// is false, at which a picture of `width` by `height` plus `extra_w` and
// `extra_h` fits inside `area_w` by `area_h`.
int fit_zoom(int width, int height, int extra_w, int extra_h, int area_w, int area_h, int zoom,
             bool step_in);

// The display copy (bottom-up blue, green, red) as a top-down image for painting.
QImage display_image(const Image& display_copy);
// The same for a rectangle of it, counted from its top left; clipped to it.
QImage display_image(const Image& display_copy, const QRect& rect);

// The window commands on the active image window: 3003 to 3016, 4005 and 4006.
// Returns false when the command isn't one of these.
bool image_window_command(QMdiArea* area, int number);
