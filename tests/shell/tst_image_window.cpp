// Image windows: opening a file, zoom steps and titles, fitting, the pixels on
// screen at each zoom, copy and negative, and the questions on closing.
#include "core/preferences.h"
#include "core/window_record.h"
#include "file/tiff_writer.h"
#include "frame_test_support.h"
#include "shell/command_dispatch.h"
#include "shell/image_window.h"
#include "shell/main_frame.h"
#include "shell/open_file.h"
#include "shell/save_image.h"
#include "shell_test_support.h"

#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <memory>

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

class TestImageWindow : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void opening_a_tiff_and_opening_it_again();
    void zoom_steps_and_titles();
    void tiny_picture_magnified();
    void fit_zoom_is_the_largest_that_fits();
    void screen_pixels_at_each_zoom();
    void copy_and_negative_make_modified_windows();
    void modified_window_asks_before_closing();
    void linked_window_refuses_to_close();

private:
    ImageWindow* show_picture(Image* image);
    std::unique_ptr<MainFrame> frame_;
    TestStore store_;
};

void TestImageWindow::init() {
    reset_program_state();
    preferences().smoothzoomflag = false;
    QVERIFY(show_test_frame(frame_, 900, 700));
}

void TestImageWindow::cleanup() {
    for (QMdiSubWindow* sub : frame_->area()->subWindowList()) {
        if (auto* window = image_window_of(sub)) window->modified = 0;
    }
    frame_.reset();
    app_state_reset();
}

ImageWindow* TestImageWindow::show_picture(Image* image) {
    ImageWindow* window = nullptr;
    if (image_window_create(frame_->area(), image, &window) != 0) return nullptr;
    frame_->area()->setActiveSubWindow(window->sub_window());
    return window;
}

void TestImageWindow::opening_a_tiff_and_opening_it_again() {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("picture.tif"));
    ImageHolder source;
    fill_colour(source.get(), 30, 20);
    std::FILE* file = std::fopen(QFile::encodeName(path).constData(), "wb");
    QVERIFY(file != nullptr);
    const int written = TiffWrite(file, source.get(), {}, 0, nullptr, 0, 1, false, false);
    std::fclose(file);
    QCOMPARE(written, 0);

    QCOMPARE(open_file_path(path), 0);
    QCOMPARE(frame_->area()->subWindowList().size(), 1);
    ImageWindow* window = image_window_of(frame_->area()->subWindowList().first());
    QVERIFY(window != nullptr);
    QCOMPARE(window->modified, 0);
    QCOMPARE(window->record()->file_type, 2);
    QCOMPARE(window->sub_window()->windowTitle(),
             QStringLiteral("1 - picture.tif (1:1 - 30 x 20)"));
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x)
            QCOMPARE(display_image(window->record()->display_copy).pixel(x, y),
                     picture_rgb(source.get(), x, y));

    // The same file again only brings its window forward.
    QCOMPARE(open_file_path(path), 0);
    QCOMPARE(frame_->area()->subWindowList().size(), 1);
    // A file that isn't there is reported as such, and opens nothing.
    QCOMPARE(open_file_path(dir.filePath(QStringLiteral("missing.xyz"))), 129);
    QCOMPARE(frame_->area()->subWindowList().size(), 1);
}

void TestImageWindow::zoom_steps_and_titles() {
    ImageHolder picture;
    fill_colour(picture.get(), 40, 30);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    const QStringList expected = {
        QStringLiteral("Untitled 1 (1:2 - 40 x 30)"), QStringLiteral("Untitled 1 (1:3 - 40 x 30)"),
        QStringLiteral("Untitled 1 (1:2 - 40 x 30)"), QStringLiteral("Untitled 1 (1:1 - 40 x 30)"),
        QStringLiteral("Untitled 1 (2:1 - 40 x 30)")};
    const int commands[] = {3007, 3007, 3005, 3005, 3006};
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(command_dispatch(nullptr, commands[i]), CommandResult::done);
        QCOMPARE(window->sub_window()->windowTitle(), expected[i]);
    }
    QCOMPARE(window->record()->zoom, 2);
    // Resized to show the whole picture at 2:1: the view is the whole zoomed picture.
    QCOMPARE(window->record()->view_width, 80);
    QCOMPARE(window->record()->view_height, 60);
    QCOMPARE(command_dispatch(nullptr, 3016), CommandResult::done);
    QCOMPARE(window->record()->zoom, 1);
    QCOMPARE(window->record()->view_width, 40);
}

void TestImageWindow::tiny_picture_magnified() {
    ImageHolder picture;
    fill_colour(picture.get(), 1, 1);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    window->set_zoom(5, true);
    QCOMPARE(window->record()->view_width, 5);
    QCOMPARE(window->record()->view_height, 5);
    QCOMPARE(window->record()->display_copy.width, 5);
    // A small picture is centred in its client area.
    const QSize client = window->viewport()->size();
    QCOMPARE(window->record()->offset_x, (client.width() - 5) / 2);
    QCOMPARE(window->record()->offset_y, (client.height() - 5) / 2);
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
    // Stepping in from 1: the next size must stay below the area.
    QCOMPARE(fit_zoom(10, 10, 0, 0, 100, 100, 1, true), 9);
    QCOMPARE(fit_zoom(10, 10, 0, 0, 101, 101, 1, true), 10);
    // From a reduction, stepping in passes from -2 to 1.
    QCOMPARE(fit_zoom(100, 100, 0, 0, 250, 250, -3, true), 2);

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

void TestImageWindow::copy_and_negative_make_modified_windows() {
    ImageHolder picture;
    fill_colour(picture.get(), 12, 8);
    ImageHolder copy;
    QCOMPARE(image_copy_quiet(picture.get(), copy.get()), 0);
    ImageWindow* source = show_picture(picture.get());
    QVERIFY(source != nullptr);
    source->record()->file_name = "/tmp/pictures/source.tif";
    source->set_zoom(2, true);

    QCOMPARE(command_dispatch(nullptr, 4005), CommandResult::done);
    QCOMPARE(frame_->area()->subWindowList().size(), 2);
    ImageWindow* duplicate = image_window_of(frame_->area()->subWindowList().last());
    QVERIFY(duplicate != nullptr && duplicate != source);
    QCOMPARE(duplicate->modified, 1);
    QCOMPARE(duplicate->record()->zoom, 2);
    QCOMPARE(duplicate->sub_window()->windowTitle(),
             QStringLiteral("Untitled 2 - source.tif (2:1 - 12 x 8)"));

    frame_->area()->setActiveSubWindow(source->sub_window());
    QCOMPARE(command_dispatch(nullptr, 4006), CommandResult::done);
    QCOMPARE(frame_->area()->subWindowList().size(), 3);
    ImageWindow* negative = image_window_of(frame_->area()->subWindowList().last());
    QCOMPARE(negative->modified, 1);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 12; ++x) {
            const std::uint8_t* a = image_pixel_pointer(copy.get(), x, y);
            const std::uint8_t* d = image_pixel_pointer(&duplicate->record()->image, x, y);
            const std::uint8_t* n = image_pixel_pointer(&negative->record()->image, x, y);
            for (int c = 0; c < 3; ++c) {
                QCOMPARE(d[c], a[c]);
                QCOMPARE(n[c] + a[c], 255);
            }
        }
}

void TestImageWindow::modified_window_asks_before_closing() {
    ImageHolder picture;
    fill_colour(picture.get(), 10, 10);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    QPointer<QMdiSubWindow> sub = window->sub_window();
    window->modified = 1;
    {
        ScriptedBoxes boxes({answer_cancel});
        QVERIFY(!sub->close());
        QCOMPARE(boxes.calls.size(), std::size_t{1});
        QCOMPARE(boxes.calls[0].caption, QStringLiteral("Warning"));
        QCOMPARE(boxes.calls[0].kind, box_yes_no_cancel);
        QCOMPARE(boxes.calls[0].text, QStringLiteral("Save Modified Image: Untitled 1?"));
    }
    {
        // Yes saves; with the Save Image panel cancelled the picture stays.
        ScriptedBoxes boxes({answer_yes});
        const SaveImageChooser before =
            save_image_set_chooser([](const SaveImageRequest&) { return SaveImageAnswer{}; });
        QVERIFY(!sub->close());
        save_image_set_chooser(before);
        QCOMPARE(boxes.calls.size(), std::size_t{1});
    }
    {
        ScriptedBoxes boxes({answer_no});
        QVERIFY(sub->close());
        QCOMPARE(boxes.calls.size(), std::size_t{1});
    }
    QTRY_VERIFY(sub.isNull());
    QCOMPARE(window_record_at(0), nullptr);

    // With confirmation off nothing is asked.
    preferences().confirm = confirm_no;
    ImageHolder second;
    fill_colour(second.get(), 4, 4);
    ImageWindow* other = show_picture(second.get());
    QVERIFY(other != nullptr);
    other->modified = 1;
    ScriptedBoxes boxes;
    QVERIFY(other->sub_window()->close());
    QVERIFY(boxes.calls.empty());
}

void TestImageWindow::linked_window_refuses_to_close() {
    ImageHolder picture;
    fill_colour(picture.get(), 10, 10);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    window->modified = 1;
    WindowBase owner;
    link_add(&owner, window, "Amount Mask", true);
    ScriptedBoxes boxes;
    QVERIFY(!window->sub_window()->close());
    QCOMPARE(boxes.calls.size(), std::size_t{1});
    QCOMPARE(boxes.calls[0].caption, QStringLiteral("Error"));
    QCOMPARE(boxes.calls[0].text, QStringLiteral("Window in use by Amount Mask - Cannot close"));
    // A link that doesn't block leaves only the save question.
    link_remove(&owner, window);
    link_add(&owner, window, "Input", false);
    boxes.answer(answer_no);
    QPointer<QMdiSubWindow> sub = window->sub_window();
    QVERIFY(sub->close());
    QTRY_VERIFY(sub.isNull());
    QCOMPARE(link_count(), std::size_t{0});
}

QTEST_MAIN(TestImageWindow)
#include "tst_image_window.moc"
