#include "shell/image_window.h"

#include "core/errors.h"
#include "core/preferences.h"
#include "core/undo.h"

#include "shell/message_box.h"
#include "shell/save_image.h"
#include "core/view_update.h"
#include "shell/image_drawing.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QTimer>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr int err_no_records = 13;

// A position at zoom n >= 2 starts on a whole picture pixel.
int round_position(int position, int zoom) {
    return zoom >= 2 ? position / zoom * zoom : position;
}

QString title_base_of(const WindowRecord& record) {
    return QString::fromStdString(window_title_base(record, preferences().displayfullpathname));
}

ImageWindow* show_on_record(QMdiArea* area, int slot, WindowRecord* record) {
    auto* window = new ImageWindow(slot, record);
    QMdiSubWindow* sub = area->addSubWindow(window);
    sub->setAttribute(Qt::WA_DeleteOnClose);
    sub->show();
    return window;
}

// Makes a derived picture (copy or negative) into a new window.
template <typename Derive>
int derive_window(QMdiArea* area, ImageWindow* source, Derive derive) {
    int slot = -1;
    WindowRecord* record = nullptr;
    if (int code = window_record_take(&slot, &record)) return code;
    if (int code = derive(source->record(), record)) {
        window_record_release(slot);
        return code;
    }
    ImageWindow* window = show_on_record(area, slot, record);
    window->modified = 1;
    window->set_zoom(record->zoom, true);
    return 0;
}

}  // namespace

ImageWindow::ImageWindow(int slot, WindowRecord* record) : record_(record) {
    record_slot = slot;
    window_record_bind(record_, this);
    if (record_->zoom == 0 || record_->zoom == -1) record_->zoom = 1;
    setFrameShape(QFrame::NoFrame);
    horizontalScrollBar()->setRange(0, 0);
    verticalScrollBar()->setRange(0, 0);
    update_title();
}

ImageWindow::~ImageWindow() {
    links_forget_window(this);
    undo_forget_window(this);
    window_record_release(record_slot);
}

QMdiSubWindow* ImageWindow::sub_window() const {
    return qobject_cast<QMdiSubWindow*>(parentWidget());
}

bool ImageWindow::may_close() {
    const std::string blocker = link_blocker(this);
    if (!blocker.empty()) {
        message_box(this, QStringLiteral("Error"), box_ok,
                    QStringLiteral("Window in use by %1 - Cannot close")
                        .arg(QString::fromStdString(blocker)));
        return false;
    }
    if (busy != 0) {
        QApplication::beep();
        return false;
    }
    if (preferences().confirm == confirm_no || modified == 0) return true;
    if (QMdiSubWindow* sub = sub_window(); sub != nullptr && sub->isMinimized()) sub->showNormal();
    const int answer =
        message_box(this, QStringLiteral("Warning"), box_yes_no_cancel,
                    QStringLiteral("Save Modified Image: %1?").arg(title_base_of(*record_)));
    if (answer == answer_no) return true;
    return answer == answer_yes && save_before_close(this);
}

void ImageWindow::closeEvent(QCloseEvent* event) {
    if (!may_close()) {
        event->ignore();
        return;
    }
    event->accept();
    if (preview_ && hooks_.closed) hooks_.closed();
}

void ImageWindow::update_title() {
    QString title;
    if (WindowBase::window_kind == window_kind_preview && record_->image.type == 0) {
        // The size shown is that of the picture the preview stands for.
        Image stand_in;
        image_init(&stand_in);
        stand_in.type = stand_in_type_;
        stand_in.width = stand_in_width_;
        stand_in.height = stand_in_height_;
        title = QString::fromStdString(window_title_with_zoom("Preview", stand_in, record_->zoom));
    } else {
        title = QString::fromStdString(window_title_with_zoom(title_base_of(*record_).toStdString(),
                                                              record_->image, record_->zoom));
    }
    setWindowTitle(title);
    if (QMdiSubWindow* sub = sub_window()) sub->setWindowTitle(title);
}

void ImageWindow::set_zoom(int zoom, bool resize) {
    if (zoom == 0 || zoom == -1) zoom = 1;
    if (zoom != record_->zoom) {
        // Keep the centre of the view where it was, in the new zoom's pixels.
        const auto rescale = [&](int start, int size, int picture) {
            const double centre_fraction =
                (start + size / 2.0) / std::max(1, zoomed_size(picture, record_->zoom));
            return static_cast<int>(centre_fraction * zoomed_size(picture, zoom) - size / 2.0);
        };
        record_->view_x1 =
            std::max(0, rescale(record_->view_x1, record_->view_width, picture_width()));
        record_->view_y1 =
            std::max(0, rescale(record_->view_y1, record_->view_height, picture_height()));
        record_->zoom = zoom;
        image_free(&record_->view_copy);
        image_free(&record_->display_copy);
    }
    if (resize) resize_to_picture();
    layout_view();
    update_title();
}

void ImageWindow::resize_to_picture() {
    QMdiSubWindow* sub = sub_window();
    if (sub == nullptr || sub->mdiArea() == nullptr) return;
    const QSize area = sub->mdiArea()->viewport()->size();
    const int border = preferences().border_width;
    const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    // The sub-window's frame is measured after each resize: before the first
    // layout it may not yet be what it will be.
    for (int round = 0; round < 2; ++round) {
        const int frame_w = sub->width() - width();
        const int frame_h = sub->height() - height();
        int want_w = zoomed_size(picture_width(), record_->zoom) + 2 * border;
        int want_h = zoomed_size(picture_height(), record_->zoom) + 2 * border;
        // A bar across one side takes room from the other, which may bring its bar too.
        const bool bar_h = want_w + frame_w > area.width();
        bool bar_v = want_h + frame_h > area.height();
        if (bar_h) want_h += bar;
        if (!bar_v && want_h + frame_h > area.height()) bar_v = true;
        if (bar_v) want_w += bar;
        if (!bar_h && want_w + frame_w > area.width()) want_h += bar;
        sub->resize(std::min(want_w + frame_w, area.width()),
                    std::min(want_h + frame_h, area.height()));
    }
    if (sub->x() + sub->width() > area.width() || sub->y() + sub->height() > area.height())
        sub->move(std::max(0, std::min(sub->x(), area.width() - sub->width())),
                  std::max(0, std::min(sub->y(), area.height() - sub->height())));
}

void ImageWindow::layout_view() {
    if (laying_out_) return;
    laying_out_ = true;
    WindowRecord* r = record_;
    const int border = preferences().border_width;
    const int zoomed_w = zoomed_size(picture_width(), r->zoom);
    const int zoomed_h = zoomed_size(picture_height(), r->zoom);
    // The bars are decided here from the whole widget, so that a bar never
    // stays only because it takes the room it would need.
    const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    int client_w = width() - 2 * frameWidth();
    int client_h = height() - 2 * frameWidth();
    bool bar_h = zoomed_w > client_w - 2 * border;
    bool bar_v = zoomed_h > client_h - 2 * border;
    if (bar_h) client_h -= bar;
    if (!bar_v && zoomed_h > client_h - 2 * border) bar_v = true;
    if (bar_v) client_w -= bar;
    if (!bar_h && zoomed_w > client_w - 2 * border) {
        bar_h = true;
        client_h -= bar;
    }
    setHorizontalScrollBarPolicy(bar_h ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(bar_v ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    r->view_width = std::clamp(client_w - 2 * border, 0, zoomed_w);
    r->view_height = std::clamp(client_h - 2 * border, 0, zoomed_h);
    r->scroll_max_x = zoomed_w - r->view_width;
    r->scroll_max_y = zoomed_h - r->view_height;
    horizontalScrollBar()->setRange(0, r->scroll_max_x);
    verticalScrollBar()->setRange(0, r->scroll_max_y);
    QScrollBar* bars[2] = {horizontalScrollBar(), verticalScrollBar()};
    const int sizes[2] = {r->view_width, r->view_height};
    for (int i = 0; i < 2; ++i) {
        bars[i]->setSingleStep(std::max(1, sizes[i] / 8));
        bars[i]->setPageStep(std::max(1, sizes[i] * 7 / 8));
    }
    r->view_x1 = round_position(std::clamp(r->view_x1, 0, r->scroll_max_x), r->zoom);
    r->view_y1 = round_position(std::clamp(r->view_y1, 0, r->scroll_max_y), r->zoom);
    {
        const QSignalBlocker block_h(horizontalScrollBar());
        const QSignalBlocker block_v(verticalScrollBar());
        horizontalScrollBar()->setValue(r->view_x1);
        verticalScrollBar()->setValue(r->view_y1);
    }
    r->offset_x = std::max(0, (client_w - r->view_width) / 2);
    r->offset_y = std::max(0, (client_h - r->view_height) / 2);
    laying_out_ = false;
    rebuild_copies();
}

int ImageWindow::picture_width() const {
    return record_->image.type != 0 ? record_->image.width : stand_in_width_;
}

int ImageWindow::picture_height() const {
    return record_->image.type != 0 ? record_->image.height : stand_in_height_;
}

void ImageWindow::rebuild_copies() {
    WindowRecord* r = record_;
    if (preview_) {
        // The transformation owns the screen copy: only the geometry follows.
        preview_rectangles();
        preview_check_later();
        viewport()->update();
        return;
    }
    r->view_x2 = r->view_x1 + r->view_width - 1;
    r->view_y2 = r->view_y1 + r->view_height - 1;
    if (r->view_width > 0 && r->view_height > 0) view_to_picture_rect(r);
    // A failed copy is reported; the window stays, empty (both copies freed).
    if (int code = view_update(r, preferences().smoothzoomflag)) error_report(code);
    viewport()->update();
}

void ImageWindow::scrollContentsBy(int, int) {
    scroll_to(horizontalScrollBar()->value(), verticalScrollBar()->value());
}

void ImageWindow::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    layout_view();
}

void ImageWindow::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    const Rgb8 border = preferences().border;
    const Image& display = record_->display_copy;
    const QRect picture(record_->offset_x, record_->offset_y, display.width, display.height);
    const QRegion edges = QRegion(event->rect()) - QRegion(picture);
    for (const QRect& rect : edges)
        painter.fillRect(rect, QColor(border.red, border.green, border.blue));
    // Only the part asked for is converted: after a scroll that is the strip.
    const QRect part = event->rect() & picture;
    if (display.type != 0 && !part.isEmpty())
        painter.drawImage(part.topLeft(),
                          display_image(display, part.translated(-picture.topLeft())));
    if (ImageDrawing* drawing = image_drawing(); drawing != nullptr && !is_preview())
        drawing->paint(this, painter);
}

QImage display_image(const Image& display_copy) {
    return display_image(display_copy, QRect(0, 0, display_copy.width, display_copy.height));
}

QImage display_image(const Image& display_copy, const QRect& rect) {
    const QRect part = rect & QRect(0, 0, display_copy.width, display_copy.height);
    QImage out(part.width(), part.height(), QImage::Format_RGB888);
    const int h = display_copy.height;
    for (int t = 0; t < part.height(); ++t) {
        const std::uint8_t* in = display_copy.rows[h - 1 - (part.top() + t)] + 3 * part.left();
        uchar* line = out.scanLine(t);
        for (int x = 0; x < part.width(); ++x) {
            line[3 * x] = in[3 * x + 2];
            line[3 * x + 1] = in[3 * x + 1];
            line[3 * x + 2] = in[3 * x];
        }
    }
    return out;
}

int fit_zoom(int width, int height, int extra_w, int extra_h, int area_w, int area_h, int zoom,
             bool step_in) {
    const auto below = [&](int z) {
        return zoomed_size(width, z) + extra_w < area_w &&
               zoomed_size(height, z) + extra_h < area_h;
    };
    const auto fits = [&](int z) {
        return zoomed_size(width, z) + extra_w <= area_w &&
               zoomed_size(height, z) + extra_h <= area_h;
    };
    if (step_in)
        while (zoom < 256 && below(zoom_step_in(zoom)))
            zoom = zoom_step_in(zoom);
    while (!fits(zoom) && (zoomed_size(width, zoom) > 1 || zoomed_size(height, zoom) > 1))
        zoom = zoom_step_out(zoom);
    return zoom;
}

void ImageWindow::fit(bool from_one) {
    QMdiSubWindow* sub = sub_window();
    if (sub == nullptr || sub->mdiArea() == nullptr) return;
    const QSize area = sub->mdiArea()->viewport()->size();
    const int border = preferences().border_width;
    // The sub-window's frame and title around this widget; the bars are inside it.
    const int frame_w = sub->width() - width() + 2 * frameWidth();
    const int frame_h = sub->height() - height() + 2 * frameWidth();
    const int zoom =
        fit_zoom(picture_width(), picture_height(), 2 * border + frame_w, 2 * border + frame_h,
                 area.width(), area.height(), from_one ? 1 : record_->zoom, !from_one);
    set_zoom(zoom, true);
}

// ---------------------------------------------------------------------------
// Previews

void ImageWindow::make_preview(int picture_width, int picture_height, int picture_type,
                               PreviewHooks hooks) {
    preview_ = true;
    stand_in_width_ = picture_width;
    stand_in_height_ = picture_height;
    stand_in_type_ = picture_type;
    hooks_ = std::move(hooks);
    computed_ = ViewGeometry{};
}

ImageWindow::ViewGeometry ImageWindow::view_geometry() const {
    return {record_->zoom, record_->view_x1, record_->view_y1, record_->view_width,
            record_->view_height};
}

void ImageWindow::preview_rectangles() {
    WindowRecord* r = record_;
    r->view_x2 = r->view_x1 + r->view_width - 1;
    r->view_y2 = r->view_y1 + r->view_height - 1;
    if (r->view_width <= 0 || r->view_height <= 0) return;
    const int n = std::abs(r->zoom);
    if (r->zoom < 0) {
        r->image_x1 = r->view_x1 * n;
        r->image_x2 = (r->view_x2 + 1) * n - 1;
        r->image_y1 = r->view_y1 * n;
        r->image_y2 = (r->view_y2 + 1) * n - 1;
    } else {
        r->image_x1 = r->view_x1 / n;
        r->image_x2 = (r->view_x2 + 1) / n;
        r->image_y1 = r->view_y1 / n;
        r->image_y2 = (r->view_y2 + 1) / n;
    }
    r->image_x2 = std::min(r->image_x2, stand_in_width_ - 1);
    r->image_y2 = std::min(r->image_y2, stand_in_height_ - 1);
}

void ImageWindow::preview_check_later() {
    if (check_pending_) return;
    check_pending_ = true;
    // Posted: a change of size or zoom may happen while the driver is at work
    // (making the window, say), and the driver is never re-entered.
    QTimer::singleShot(0, this, [this] {
        check_pending_ = false;
        const ViewGeometry now = view_geometry();
        if (now.width <= 0 || now.height <= 0 || now == computed_ || !hooks_.view_changed) return;
        hooks_.view_changed({QRect(0, 0, now.width, now.height)});
    });
}

void ImageWindow::preview_computed(const QRect& region) {
    computed_ = view_geometry();
    WindowRecord* r = record_;
    const QRect part = region & QRect(0, 0, r->view_width, r->view_height);
    if (part.isEmpty()) return;
    if (const int code =
            view_display_update(r, part.left(), part.top(), part.right(), part.bottom())) {
        error_report(code);
        return;
    }
    viewport()->update(part.translated(r->offset_x, r->offset_y));
}

int image_window_create(QMdiArea* area, Image* picture, ImageWindow** window,
                        const std::function<void(WindowRecord*)>& setup) {
    int slot = -1;
    WindowRecord* record = nullptr;
    if (int code = window_record_take(&slot, &record)) return code;
    image_move(picture, &record->image);
    record->zoom = 1;
    if (setup) setup(record);
    ImageWindow* shown = show_on_record(area, slot, record);
    shown->fit(true);
    // Until the frame has been laid out the sub-window's border isn't known
    // for certain: fit once more when the event loop has done so.
    QTimer::singleShot(0, shown, [shown] { shown->fit(true); });
    if (window != nullptr) *window = shown;
    return 0;
}

ImageWindow* image_window_of(QWidget* widget) {
    if (widget == nullptr) return nullptr;
    if (auto* window = qobject_cast<ImageWindow*>(widget)) return window;
    if (auto* sub = qobject_cast<QMdiSubWindow*>(widget))
        return qobject_cast<ImageWindow*>(sub->widget());
    return nullptr;
}

ImageWindow* image_window_active(QMdiArea* area) {
    return area == nullptr ? nullptr : image_window_of(area->activeSubWindow());
}

ImageWindow* image_window_of_file(const QString& path) {
    const std::string wanted = QFileInfo(path).absoluteFilePath().toStdString();
    for (int slot = 0; slot < window_record_count; ++slot) {
        WindowRecord* record = window_record_at(slot);
        if (record == nullptr || record->file_name != wanted) continue;
        if (auto* window = dynamic_cast<ImageWindow*>(record->window)) return window;
    }
    return nullptr;
}

bool image_window_command(QMdiArea* area, int number) {
    ImageWindow* window = image_window_active(area);
    switch (number) {
        case 3003:
        case 3004:
        case 3005:
        case 3006:
        case 3007:
        case 3015:
        case 3016:
        case 4005:
        case 4006:
            break;
        default:
            return false;
    }
    if (window == nullptr) return true;
    const int zoom = window->record()->zoom;
    int code = 0;
    switch (number) {
        case 3003:
            window->expand();
            break;
        case 3004:
            window->fit(false);
            break;
        case 3005:
            window->set_zoom(zoom_step_in(zoom), false);
            break;
        case 3006:
            window->set_zoom(zoom_step_in(zoom), true);
            break;
        case 3007:
            window->set_zoom(zoom_step_out(zoom), false);
            break;
        case 3015:
            window->set_zoom(1, false);
            break;
        case 3016:
            window->set_zoom(1, true);
            break;
        case 4005:
            code = derive_window(area, window, window_duplicate);
            break;
        default:
            code = derive_window(area, window, window_negative);
            break;
    }
    if (code != 0) error_report(code);
    return true;
}
