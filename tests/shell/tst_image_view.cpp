// Moving about an image window: scrolling that recomputes only the uncovered
// strip, the keys, the dragging hand and the zoom menu of the right button.
#include "core/preferences.h"
#include "core/window_record.h"
#include "frame_test_support.h"
#include "shell/command_dispatch.h"
#include "shell/image_window.h"
#include "shell/main_frame.h"
#include "core/view_update.h"
#include "shell_test_support.h"

#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QScrollBar>
#include <QTest>

#include <memory>
#include <random>

namespace {

constexpr int all_types[] = {image_type_binary, image_type_gray8, image_type_colour8,
                             image_type_gray16, image_type_colour16};

void fill_noise(Image* image, int type, int width, int height, unsigned seed) {
    QVERIFY(image_alloc(image, type, width, height, 100.0) == 0);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y)
        for (int b = 0; b < image->row_bytes; ++b)
            image->rows[y][b] = static_cast<std::uint8_t>(random());
}

// Two screen copies hold the same pixels (bits for binary; padding aside).
bool same_pixels(const Image& a, const Image& b) {
    if (a.type != b.type || a.width != b.width || a.height != b.height) return false;
    for (int y = 0; y < a.height; ++y) {
        if (a.type == image_type_binary) {
            for (int x = 0; x < a.width; ++x)
                if (image_bit_get(a.rows[y], x) != image_bit_get(b.rows[y], x)) return false;
        } else if (std::memcmp(a.rows[y], b.rows[y],
                               static_cast<std::size_t>(image_line_bytes(&a))) != 0) {
            return false;
        }
    }
    return true;
}

// A record with a picture and a view of `view_w` by `view_h` at `zoom`.
WindowRecord* view_record(const Image& picture, int zoom, int view_w, int view_h) {
    int slot = -1;
    WindowRecord* record = nullptr;
    if (window_record_take(&slot, &record) != 0) return nullptr;
    if (image_copy_quiet(&picture, &record->image) != 0) return nullptr;
    record->zoom = zoom;
    record->display_scale = 1;
    record->view_width = view_w;
    record->view_height = view_h;
    record->scroll_max_x = zoomed_size(picture.width, zoom) - view_w;
    record->scroll_max_y = zoomed_size(picture.height, zoom) - view_h;
    return record;
}

}  // namespace

class TestImageView : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void scrolled_copies_equal_fresh_ones();
    void window_scrolls_by_bars_keys_and_hand();
    void right_button_menu();

private:
    ImageWindow* show_picture(Image* image);
    std::unique_ptr<MainFrame> frame_;
    TestStore store_;
};

void TestImageView::init() {
    reset_program_state();
    QVERIFY(show_test_frame(frame_, 900, 700));
}

void TestImageView::cleanup() {
    for (QMdiSubWindow* sub : frame_->area()->subWindowList()) {
        if (auto* window = image_window_of(sub)) window->modified = 0;
    }
    frame_.reset();
    app_state_reset();
    window_record_table_init();
}

ImageWindow* TestImageView::show_picture(Image* image) {
    ImageWindow* window = nullptr;
    if (image_window_create(frame_->area(), image, &window) != 0) return nullptr;
    frame_->area()->setActiveSubWindow(window->sub_window());
    return window;
}

void TestImageView::scrolled_copies_equal_fresh_ones() {
    // Moves right, left, down, up, diagonally both ways, by one pixel, by
    // nearly a view, and by more than a view (a full rebuild); positions that
    // aren't whole picture pixels at enlargements included.
    struct Move {
        int dx;
        int dy;
    };
    const Move moves[] = {{5, 0},  {-3, 0}, {0, 4},  {0, -2}, {7, 6},   {-6, -5}, {1, 1},
                          {16, 0}, {0, 12}, {-1, 0}, {40, 0}, {0, -30}, {-9, 11}, {3, 3}};
    for (const int type : all_types) {
        ImageHolder picture;
        fill_noise(picture.get(), type, 61, 47, static_cast<unsigned>(type));
        for (const int zoom : {1, 2, 3, -2, -3, -5}) {
            for (const bool smooth : {false, true}) {
                if (smooth && zoom > 0) continue;
                window_record_table_init();
                const int zoomed_w = zoomed_size(61, zoom);
                const int zoomed_h = zoomed_size(47, zoom);
                const int view_w = std::min(17, zoomed_w - 2);
                const int view_h = std::min(13, zoomed_h - 2);
                WindowRecord* scrolled = view_record(*picture, zoom, view_w, view_h);
                WindowRecord* fresh = view_record(*picture, zoom, view_w, view_h);
                QVERIFY(scrolled != nullptr && fresh != nullptr);
                QCOMPARE(view_update(scrolled, smooth), 0);
                int x = 0;
                int y = 0;
                int shifted = 0;
                for (const Move& move : moves) {
                    const int nx = std::clamp(x + move.dx, 0, scrolled->scroll_max_x);
                    const int ny = std::clamp(y + move.dy, 0, scrolled->scroll_max_y);
                    int code = -1;
                    const ViewScroll how = view_scroll(scrolled, nx, ny, smooth, &code);
                    QCOMPARE(code, 0);
                    const bool overlap = std::abs(nx - x) < view_w && std::abs(ny - y) < view_h;
                    const bool moved = nx != x || ny != y;
                    QCOMPARE(how, !moved ? ViewScroll::unchanged
                                         : (overlap ? ViewScroll::shifted : ViewScroll::rebuilt));
                    shifted += how == ViewScroll::shifted ? 1 : 0;
                    x = nx;
                    y = ny;
                    fresh->view_x1 = x;
                    fresh->view_y1 = y;
                    QCOMPARE(view_update(fresh, smooth), 0);
                    const QByteArray where = QStringLiteral("type %1 zoom %2 smooth %3 at %4,%5")
                                                 .arg(type)
                                                 .arg(zoom)
                                                 .arg(smooth)
                                                 .arg(x)
                                                 .arg(y)
                                                 .toUtf8();
                    QVERIFY2(same_pixels(scrolled->view_copy, fresh->view_copy), where.constData());
                    QVERIFY2(same_pixels(scrolled->display_copy, fresh->display_copy),
                             where.constData());
                }
                QVERIFY(shifted >= 8);
                // The picture rectangle follows the position.
                QCOMPARE(scrolled->view_x2, x + view_w - 1);
                fresh->view_x2 = x + view_w - 1;
                fresh->view_y2 = y + view_h - 1;
                view_to_picture_rect(fresh);
                QCOMPARE(scrolled->image_x1, fresh->image_x1);
                QCOMPARE(scrolled->image_y2, fresh->image_y2);
            }
        }
    }
    // A display scale of 2 or more always recomputes the whole view.
    window_record_table_init();
    ImageHolder picture;
    fill_noise(picture.get(), image_type_gray8, 40, 40, 3);
    WindowRecord* record = view_record(*picture, 1, 10, 10);
    QCOMPARE(view_update(record, false), 0);
    record->display_scale = 2;
    int code = -1;
    QCOMPARE(view_scroll(record, 2, 0, false, &code), ViewScroll::rebuilt);
}

void TestImageView::window_scrolls_by_bars_keys_and_hand() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 3000, 2400, 11);
    ImageHolder copy;
    QCOMPARE(image_copy_quiet(picture.get(), copy.get()), 0);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    window->set_zoom(2, false);
    WindowRecord* r = window->record();
    QVERIFY(r->scroll_max_x > 0 && r->scroll_max_y > 0);
    window->scroll_to(0, 0);  // zooming kept the centre
    window->setFocus();

    // What the window shows must be what a fresh build of its position shows.
    const auto check_view = [&](const char* step) {
        WindowRecord fresh{};
        image_init(&fresh.image);
        image_init(&fresh.view_copy);
        image_init(&fresh.display_copy);
        fresh.image = *copy;  // borrowed: released by `copy`
        fresh.zoom = r->zoom;
        fresh.view_x1 = r->view_x1;
        fresh.view_y1 = r->view_y1;
        fresh.view_width = r->view_width;
        fresh.view_height = r->view_height;
        QCOMPARE(view_update(&fresh, preferences().smoothzoomflag), 0);
        const bool same = same_pixels(fresh.display_copy, r->display_copy);
        image_free(&fresh.view_copy);
        image_free(&fresh.display_copy);
        QVERIFY2(same, step);
        QCOMPARE(window->horizontalScrollBar()->value(), r->view_x1);
        QCOMPARE(window->verticalScrollBar()->value(), r->view_y1);
    };

    const int line_x = r->view_width / 8;
    const int line_y = r->view_height / 8;
    const int page_y = r->view_height * 7 / 8;
    // Positions at 2:1 start on whole picture pixels.
    const auto even = [](int v) { return v / 2 * 2; };
    QTest::keyClick(window, Qt::Key_Right);
    QCOMPARE(r->view_x1, even(line_x));
    check_view("right");
    QTest::keyClick(window, Qt::Key_Down);
    QTest::keyClick(window, Qt::Key_Down);
    QCOMPARE(r->view_y1, even(even(line_y) + line_y));
    check_view("down");
    QTest::keyClick(window, Qt::Key_PageDown);
    QCOMPARE(r->view_y1, even(even(even(line_y) + line_y) + page_y));
    check_view("page down");
    QTest::keyClick(window, Qt::Key_PageUp);
    QTest::keyClick(window, Qt::Key_PageUp);
    QCOMPARE(r->view_y1, 0);  // limited to the range
    QTest::keyClick(window, Qt::Key_End);
    QCOMPARE(r->view_x1, even(r->scroll_max_x));
    QCOMPARE(r->view_y1, 0);
    check_view("end");
    QTest::keyClick(window, Qt::Key_End, Qt::ControlModifier);
    QCOMPARE(r->view_y1, even(r->scroll_max_y));
    check_view("ctrl end");
    QTest::keyClick(window, Qt::Key_Left);
    QCOMPARE(r->view_x1, even(even(r->scroll_max_x) - line_x));
    QTest::keyClick(window, Qt::Key_Home);
    QCOMPARE(r->view_x1, 0);
    QVERIFY(r->view_y1 > 0);
    QTest::keyClick(window, Qt::Key_Home, Qt::ControlModifier);
    QCOMPARE(r->view_x1, 0);
    QCOMPARE(r->view_y1, 0);
    QTest::keyClick(window, Qt::Key_Up);
    QCOMPARE(r->view_y1, 0);
    check_view("home");

    // The bar's thumb gives the position directly, rounded to a whole pixel.
    window->verticalScrollBar()->setValue(101);
    QCOMPARE(r->view_y1, 100);
    check_view("thumb");

    // The hand: the picture follows the mouse with Alt held.
    QWidget* viewport = window->viewport();
    const QPoint start(200, 200);
    QTest::mousePress(viewport, Qt::LeftButton, Qt::AltModifier, start);
    QMouseEvent move(QEvent::MouseMove, QPointF(start - QPoint(40, 60)),
                     QPointF(viewport->mapToGlobal(start - QPoint(40, 60))), Qt::NoButton,
                     Qt::LeftButton, Qt::AltModifier);
    QApplication::sendEvent(viewport, &move);
    QTest::mouseRelease(viewport, Qt::LeftButton, Qt::AltModifier, start - QPoint(40, 60));
    QCOMPARE(r->view_x1, 40);
    QCOMPARE(r->view_y1, 160);
    check_view("hand");

    // A reduced view with smoothing scrolls to the same pixels as a fresh one.
    preferences().smoothzoomflag = true;
    window->set_zoom(-3, false);
    QTest::keyClick(window, Qt::Key_Right);
    QTest::keyClick(window, Qt::Key_Down);
    QVERIFY(r->view_x1 > 0 && r->view_y1 > 0);
    check_view("reduced");
}

void TestImageView::right_button_menu() {
    ImageHolder first;
    fill_noise(first.get(), image_type_gray8, 300, 200, 5);
    ImageHolder second;
    fill_noise(second.get(), image_type_gray8, 30, 20, 6);
    ImageWindow* window = show_picture(first.get());
    ImageWindow* other = show_picture(second.get());
    QVERIFY(window != nullptr && other != nullptr);
    window->set_zoom(1, false);

    std::unique_ptr<QMenu> menu(window->context_menu());
    QStringList labels;
    QList<QAction*> actions;
    for (QAction* action : menu->actions()) {
        if (action->isSeparator()) continue;
        labels.append(action->text());
        actions.append(action);
    }
    QCOMPARE(labels, QStringList({"Zoom &In", "Zoom In and &Resize", "Zoom &Out", "Zoom to &1:1",
                                  "Zoom to 1:1 and Re&size", "Zoom Out to &Fit Screen", "&Grid",
                                  "Add to Workflow", "Properties"}));
    // The grid and workflows don't exist yet.
    QVERIFY(!actions[6]->isEnabled());
    QVERIFY(!actions[7]->isEnabled());
    QVERIFY(actions[8]->isEnabled());

    // The menu acts on its own window, though another one was active.
    QCOMPARE(image_window_active(frame_->area()), other);
    const int other_zoom = other->record()->zoom;
    actions[2]->trigger();
    QCOMPARE(window->record()->zoom, -2);
    QCOMPARE(other->record()->zoom, other_zoom);
    actions[0]->trigger();
    actions[0]->trigger();
    QCOMPARE(window->record()->zoom, 2);
    actions[3]->trigger();
    QCOMPARE(window->record()->zoom, 1);
    actions[8]->trigger();
    QWidget* info = nullptr;
    for (QWidget* top : QApplication::topLevelWidgets())
        if (top->objectName() == QStringLiteral("info_panel") && top->isVisible()) info = top;
    QVERIFY(info != nullptr);
    info->close();
}

QTEST_MAIN(TestImageView)
#include "tst_image_view.moc"
