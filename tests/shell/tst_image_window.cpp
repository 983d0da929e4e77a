// Image windows: zoom steps and titles, fitting, the pixels on
// screen at each zoom and after each scroll, the keys, the dragging hand, the
// right button's menu, copy and negative, and the questions on closing.
#include "core/view_update.h"
#include "shell/command_dispatch.h"
#include "shell_test_support.h"

#include <QMenu>
#include <QScrollBar>

namespace {

// A colour picture whose every pixel differs from its neighbours.
void fill_colour(Image* image, int width, int height) {
    QVERIFY(image_alloc(image, image_type_colour8, width, height, 100.0) == 0);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = image_pixel_pointer(image, x, y);
            p[0] = static_cast<std::uint8_t>(x * 17 + y);      // blue
            p[1] = static_cast<std::uint8_t>(y * 29 + 3);      // green
            p[2] = static_cast<std::uint8_t>(x * 5 + y * 11);  // red
        }
}

// The picture's pixel at (x, y) counted from the top, as the screen shows it.
QRgb picture_rgb(const Image* image, int x, int y_from_top) {
    const std::uint8_t* p = image_pixel_pointer(image, x, image->height - 1 - y_from_top);
    return qRgb(p[2], p[1], p[0]);
}

}  // namespace

class TestImageWindow : public FrameTest {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void zoom_commands_titles_and_the_right_button_menu();
    void fit_zoom_is_the_largest_that_fits();
    void screen_pixels_at_each_zoom();
    void window_scrolls_by_bars_keys_and_hand();
    void copy_and_negative_make_modified_windows();
    void modified_or_linked_window_asks_before_closing();

private:
    ImageWindow* show_picture(Image* image) { return ::show_picture(frame_->area(), image); }
};

void TestImageWindow::init() {
    reset_program_state();
    preferences().smoothzoomflag = false;
    QVERIFY(show_test_frame(frame_, 900, 700));
}

void TestImageWindow::cleanup() {
    close_test_frame(frame_);
    window_record_table_init();
}

void TestImageWindow::zoom_commands_titles_and_the_right_button_menu() {
    ImageHolder picture;
    fill_colour(picture.get(), 40, 30);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    const char* expected[] = {"1:2", "1:3", "1:2", "1:1", "2:1"};
    const int commands[] = {3007, 3007, 3005, 3005, 3006};
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(command_dispatch(nullptr, commands[i]), CommandResult::done);
        QCOMPARE(window->sub_window()->windowTitle(),
                 QStringLiteral("Untitled 1 (%1 - 40 x 30)").arg(QLatin1String(expected[i])));
    }
    // Resized to show the whole picture at 2:1: the view is the whole zoomed picture.
    QCOMPARE(window->record()->view_width, 80);
    QCOMPARE(window->record()->view_height, 60);
    QCOMPARE(command_dispatch(nullptr, 3016), CommandResult::done);
    QCOMPARE(window->record()->zoom, 1);
    QCOMPARE(window->record()->view_width, 40);

    // A one-pixel picture magnified is centred in its client area.
    ImageHolder dot;
    fill_colour(dot.get(), 1, 1);
    ImageWindow* tiny = show_picture(dot.get());
    tiny->set_zoom(5, true);
    QCOMPARE(tiny->record()->display_copy.width, 5);
    QCOMPARE(tiny->record()->offset_x, (tiny->viewport()->width() - 5) / 2);
    QCOMPARE(tiny->record()->offset_y, (tiny->viewport()->height() - 5) / 2);

    // The right button's menu acts on its own window, though another one is active.
    std::unique_ptr<QMenu> menu(window->context_menu());
    QList<QAction*> actions;
    for (QAction* action : menu->actions())
        if (!action->isSeparator()) actions.append(action);
    QCOMPARE(image_window_active(frame_->area()), tiny);
    actions[2]->trigger();  // Zoom Out
    QCOMPARE(window->record()->zoom, -2);
    QCOMPARE(tiny->record()->zoom, 5);
    actions[0]->trigger();  // Zoom In
    QCOMPARE(window->record()->zoom, 1);
}

void TestImageWindow::fit_zoom_is_the_largest_that_fits() {
    // Oracle: walk the zoom sequence 1, -2, -3 ... and take the first that fits,
    // counting the reduced size as a ceiling division.
    const auto oracle = [](int w, int h, int extra, int aw, int ah) {
        for (int n = 1;; ++n) {
            const int zw = (w + n - 1) / n;
            const int zh = (h + n - 1) / n;
            if ((zw + extra <= aw && zh + extra <= ah) || (zw == 1 && zh == 1))
                return n == 1 ? 1 : -n;
        }
    };
    const int sizes[][4] = {{1000, 800, 600, 500},
                            {4000, 3000, 1280, 800},
                            {599, 10, 600, 500},
                            {601, 10, 600, 500},
                            {3, 4000, 900, 700}};
    for (const auto& s : sizes)
        QCOMPARE(fit_zoom(s[0], s[1], 40, 40, s[2], s[3], 1, false),
                 oracle(s[0], s[1], 40, s[2], s[3]));

    // The command fits the active window to the work area.
    ImageHolder picture;
    fill_colour(picture.get(), 3000, 50);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    const int zoom = window->record()->zoom;
    QVERIFY(zoom < -1);
    const int area_w = frame_->area()->viewport()->width();
    QVERIFY(zoomed_size(3000, zoom) + 2 * preferences().border_width <= area_w);
    QVERIFY(zoomed_size(3000, zoom_step_in(zoom)) + 2 * preferences().border_width > area_w - 20);
}

void TestImageWindow::screen_pixels_at_each_zoom() {
    ImageHolder picture;
    fill_colour(picture.get(), 9, 7);
    ImageHolder copy;
    QCOMPARE(image_copy_quiet(picture.get(), copy.get()), 0);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    for (const int zoom : {1, -2, 3, -3}) {
        window->set_zoom(zoom, true);
        const QImage screen = display_image(window->record()->display_copy);
        QCOMPARE(screen.width(), zoomed_size(9, zoom));
        QCOMPARE(screen.height(), zoomed_size(7, zoom));
        for (int y = 0; y < screen.height(); ++y)
            for (int x = 0; x < screen.width(); ++x) {
                const int px = zoom > 0 ? x / zoom : x * -zoom;
                const int py = zoom > 0 ? y / zoom : y * -zoom;
                QCOMPARE(screen.pixel(x, y), picture_rgb(copy.get(), px, py));
            }
    }
    // With smoothing, a reduced pixel is the rounded mean of its block, cut at the edge.
    preferences().smoothzoomflag = true;
    window->set_zoom(-2, true);
    window->layout_view();
    const QImage screen = display_image(window->record()->display_copy);
    for (int y = 0; y < screen.height(); ++y)
        for (int x = 0; x < screen.width(); ++x) {
            int sum[3] = {0, 0, 0};
            int count = 0;
            for (int dy = 0; dy < 2 && 2 * y + dy < 7; ++dy)
                for (int dx = 0; dx < 2 && 2 * x + dx < 9; ++dx) {
                    const QRgb p = picture_rgb(copy.get(), 2 * x + dx, 2 * y + dy);
                    sum[0] += qRed(p);
                    sum[1] += qGreen(p);
                    sum[2] += qBlue(p);
                    ++count;
                }
            const QRgb mean = qRgb((sum[0] + count / 2) / count, (sum[1] + count / 2) / count,
                                   (sum[2] + count / 2) / count);
            QCOMPARE(screen.pixel(x, y), mean);
        }
}

void TestImageWindow::window_scrolls_by_bars_keys_and_hand() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 3000, 2400, 11);
    ImageHolder copy;
    QCOMPARE(image_copy_quiet(picture.get(), copy.get()), 0);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    window->set_zoom(2, false);
    WindowRecord* r = window->record();
    window->scroll_to(0, 0);  // zooming kept the centre
    window->setFocus();

    // What the window shows must be what a fresh build of its position shows.
    const auto check_view = [&](const char* step) {
        WindowRecord fresh{};
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

    // A line is an eighth of the view, a page seven eighths; positions at 2:1
    // start on whole picture pixels and stay in range.
    const int line_x = r->view_width / 8;
    const int line_y = r->view_height / 8;
    const int page_y = r->view_height * 7 / 8;
    const auto to = [](int v, int max) { return std::clamp(v, 0, max) / 2 * 2; };
    const std::tuple<Qt::Key, Qt::KeyboardModifiers, int, int> keys[] = {
        {Qt::Key_Right, {}, line_x, 0},      {Qt::Key_Down, {}, 0, line_y},
        {Qt::Key_Down, {}, 0, line_y},       {Qt::Key_PageDown, {}, 0, page_y},
        {Qt::Key_PageUp, {}, 0, -page_y},    {Qt::Key_PageUp, {}, 0, -page_y},
        {Qt::Key_End, {}, 1 << 20, 0},       {Qt::Key_End, Qt::ControlModifier, 0, 1 << 20},
        {Qt::Key_Left, {}, -line_x, 0},      {Qt::Key_Home, {}, -(1 << 20), 0},
        {Qt::Key_Up, {}, 0, -line_y},        {Qt::Key_Home, Qt::ControlModifier, 0, -(1 << 20)}};
    for (const auto& [key, modifiers, dx, dy] : keys) {
        const int x = to(r->view_x1 + dx, r->scroll_max_x);
        const int y = to(r->view_y1 + dy, r->scroll_max_y);
        QTest::keyClick(window, key, modifiers);
        QCOMPARE(r->view_x1, x);
        QCOMPARE(r->view_y1, y);
        check_view(qPrintable(QKeySequence(QKeyCombination(modifiers, key)).toString()));
    }
    QCOMPARE(r->view_y1, 0);

    // The bar's thumb gives the position directly, rounded to a whole pixel.
    window->verticalScrollBar()->setValue(101);
    QCOMPARE(r->view_y1, 100);
    check_view("thumb");

    // The hand: the picture follows the mouse with Alt held.
    QWidget* viewport = window->viewport();
    const QPoint start(200, 200);
    const QPoint end = start - QPoint(40, 60);
    QTest::mousePress(viewport, Qt::LeftButton, Qt::AltModifier, start);
    QMouseEvent move(QEvent::MouseMove, QPointF(end), QPointF(viewport->mapToGlobal(end)),
                     Qt::NoButton, Qt::LeftButton, Qt::AltModifier);
    QApplication::sendEvent(viewport, &move);
    QTest::mouseRelease(viewport, Qt::LeftButton, Qt::AltModifier, end);
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

// Duplicate and Negative make modified windows named after their source, at its zoom.
void TestImageWindow::copy_and_negative_make_modified_windows() {
    ImageHolder picture;
    fill_colour(picture.get(), 12, 8);
    ImageWindow* source = show_picture(picture.get());
    QVERIFY(source != nullptr);
    source->record()->file_name = "/tmp/pictures/source.tif";
    source->set_zoom(2, true);
    const Image& original = source->record()->image;
    for (const int command : {4005, 4006}) {
        frame_->area()->setActiveSubWindow(source->sub_window());
        QCOMPARE(command_dispatch(nullptr, command), CommandResult::done);
        ImageWindow* made = image_window_active(frame_->area());
        QVERIFY(made != nullptr && made != source);
        QCOMPARE(made->modified, 1);
        QCOMPARE(made->sub_window()->windowTitle(),
                 QStringLiteral("Untitled %1 - source.tif (2:1 - 12 x 8)").arg(command - 4003));
        const int sum = command == 4006 ? 255 : 0;
        for (int y = 0; y < 8; ++y)
            for (int b = 0; b < 12 * 3; ++b)
                QCOMPARE(made->record()->image.rows[y][b],
                         std::abs(sum - original.rows[y][b]));
    }
}

// A blocking link refuses first, naming its owner; one that doesn't block
// leaves the save question, where Cancel keeps the window and No closes it.
void TestImageWindow::modified_or_linked_window_asks_before_closing() {
    ImageHolder picture;
    fill_colour(picture.get(), 10, 10);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    QPointer<QMdiSubWindow> sub = window->sub_window();
    window->modified = 1;
    WindowBase owner;
    ScriptedBoxes boxes({answer_ok, answer_cancel, answer_no});
    link_add(&owner, window, "Amount Mask", true);
    QVERIFY(!sub->close());
    link_remove(&owner, window);
    link_add(&owner, window, "Input", false);
    QVERIFY(!sub->close());
    QVERIFY(sub->close());
    QCOMPARE(boxes.texts(), (QStringList{"Window in use by Amount Mask - Cannot close",
                                         "Save Modified Image: Untitled 1?",
                                         "Save Modified Image: Untitled 1?"}));
    QTRY_VERIFY(sub.isNull());
    QCOMPARE(window_record_at(0), nullptr);
    QCOMPARE(link_count(), std::size_t{0});

    // With confirmation off nothing is asked.
    boxes.calls.clear();
    preferences().confirm = confirm_no;
    ImageHolder second;
    fill_colour(second.get(), 4, 4);
    ImageWindow* other = show_picture(second.get());
    other->modified = 1;
    QVERIFY(other->sub_window()->close());
    QVERIFY(boxes.calls.empty());
}

QTEST_MAIN(TestImageWindow)
#include "tst_image_window.moc"
