// What a user meets around the editor's shell: a second start from another
// folder, leaving with a masked panel open, preferences reaching open windows,
// a file handed over during a save, and stored values out of range.
#include "core/errors.h"
#include "core/preferences.h"
#include "core/window_record.h"
#include "shell_test_support.h"
#include "shell/amount_control.h"
#include "shell/close_sequence.h"
#include "shell/command_line.h"
#include "shell/image_window.h"
#include "shell/link_notify.h"
#include "shell/progress_panel.h"
#include "shell/save_image.h"
#include "shell/transform_host.h"
#include "shell/transform_panel.h"
#include "shell_test_support.h"
#include "transform/driver.h"
#include "transform/registry.h"

#include <QDir>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

class TestShellFixes : public FrameTest {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void hand_over_names_are_absolute_data();
    void hand_over_names_are_absolute();
    void exit_after_aborting_a_panel_with_an_amount_mask();
    void accepted_preferences_reach_open_windows();
    void a_file_handed_over_during_a_save_opens_after_it();
    void stored_values_out_of_range_are_limited_data();
    void stored_values_out_of_range_are_limited();
    void the_scroll_tool_drags_without_alt();

private:
    // A picture whose columns alternate between 0 and 255, shown and active.
    ImageWindow* show_picture(int type, int width, int height,
                              const std::function<void(WindowRecord*)>& setup = {});
};

void TestShellFixes::initTestCase() {
    link_notifier_install();
}

void TestShellFixes::init() {
    reset_program_state();
    preferences().stickysettings = false;
    preferences().defaultpreview = false;
    QVERIFY(show_test_frame(frame_, 1000, 750));
    progress_display_install(area());
    transform_host_install(area());
}

void TestShellFixes::cleanup() {
    if (transform_state().panel_window != nullptr) transform_cancel();
    QTest::qWait(1);
    for (QMdiSubWindow* sub : area()->subWindowList())
        if (ImageWindow* window = image_window_of(sub)) window->modified = 0;
    frame_.reset();
    app_state_reset();
}

ImageWindow* TestShellFixes::show_picture(int type, int width, int height,
                                          const std::function<void(WindowRecord*)>& setup) {
    ImageHolder picture;
    if (image_alloc(picture.get(), type, width, height, 100.0) != 0) return nullptr;
    const int samples = type == image_type_colour8 ? 3 : 1;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            std::memset(image_pixel_pointer(picture.get(), x, y), x % 2 ? 255 : 0, samples);
    ImageWindow* window = nullptr;
    if (image_window_create(area(), picture.get(), &window, setup) != 0) return nullptr;
    area()->setActiveSubWindow(window->sub_window());
    return window;
}

// A second start in another folder hands over names that the first instance,
// in a folder of its own, reads as the same files.
void TestShellFixes::hand_over_names_are_absolute_data() {
    QTest::addColumn<QStringList>("given");
    QTest::addColumn<QStringList>("expected");  // "@" stands for the second start's folder
    QTest::newRow("plain name") << QStringList{"pic.jpg"} << QStringList{"@/pic.jpg"};
    QTest::newRow("sub-folder, blank before the extension")
        << QStringList{"sub/my pic.tif"} << QStringList{"@/sub/my pic.tif"};
    QTest::newRow("blank after a dot in the folder")
        << QStringList{"a.d/b c.png", "x.jpg"} << QStringList{"@/a.d/b c.png", "@/x.jpg"};
    QTest::newRow("absolute stays") << QStringList{"/pics/a.jpg"} << QStringList{"/pics/a.jpg"};
    QTest::newRow("no files") << QStringList{} << QStringList{};
}

void TestShellFixes::hand_over_names_are_absolute() {
    QFETCH(QStringList, given);
    QFETCH(QStringList, expected);
    const QString before = QDir::currentPath();
    QTemporaryDir second_start;
    QTemporaryDir first_instance;
    QVERIFY(QDir::setCurrent(second_start.path()));
    const QString line = command_line_hand_over(given);
    QVERIFY(QDir::setCurrent(first_instance.path()));
    const QStringList received = command_line_files(line);
    QVERIFY(QDir::setCurrent(before));
    expected.replaceInStrings(QStringLiteral("@"), QDir(second_start.path()).absolutePath());
    QCOMPARE(received, expected);
    QCOMPARE(line.isEmpty(), given.isEmpty());
}

// Exit with a panel whose amount uses a mask window: "Yes" to the abort
// question lets the program end, with no "Window in use" box for the mask.
void TestShellFixes::exit_after_aborting_a_panel_with_an_amount_mask() {
    ImageWindow* mask = show_picture(image_type_gray8, 300, 200);
    ImageWindow* input = show_picture(image_type_colour8, 300, 200);
    QVERIFY(mask != nullptr && input != nullptr);
    QCOMPARE(transform_open(*transform_find_title("Add Noise")->descriptor, input), 0);
    auto* panel = dynamic_cast<TransformPanel*>(transform_state().panel_window);
    QVERIFY(panel != nullptr);
    auto* amount = panel->findChild<AmountControl*>(QStringLiteral("amount"));
    QVERIFY(amount != nullptr);
    amount->choose_mask(mask);
    QCOMPARE(link_blocker(mask), std::string(amount_mask_link_name));

    ScriptedBoxes boxes({answer_yes});
    QVERIFY(frame_close_sequence());
    QCOMPARE(boxes.texts(), QStringList{"Abort transformation in progress?"});
    QCOMPARE(transform_state().panel_window, nullptr);
}

// OK in Preferences changes the title, the border and the reduced view of a
// window that is already open, not only of the next one.
void TestShellFixes::accepted_preferences_reach_open_windows() {
    ImageWindow* window = show_picture(image_type_gray8, 400, 300, [](WindowRecord* record) {
        record->file_name = "/pictures/trip/pic.tif";
    });
    QVERIFY(window != nullptr);
    window->set_zoom(-2, true);
    const WindowRecord* r = window->record();
    QVERIFY(!window->windowTitle().contains(QStringLiteral("/pictures/trip")));
    QCOMPARE(r->offset_x, 16);
    // Averaged pairs of 0 and 255.
    QVERIFY(std::abs(r->view_copy.rows[0][0] - 128) <= 1);

    preferences().displayfullpathname = 1;
    preferences().border_width = 40;
    preferences().smoothzoomflag = 0;
    emit shell_signals().preferences_changed();

    QVERIFY(window->windowTitle().contains(QStringLiteral("/pictures/trip/pic.tif")));
    QCOMPARE(r->offset_x, 40);
    QCOMPARE(r->offset_y, 40);
    QCOMPARE(r->view_copy.rows[0][0], 0);
}

// A second start hands a file over while the Save As dialog is up: the file
// opens once the save is over.
void TestShellFixes::a_file_handed_over_during_a_save_opens_after_it() {
    ImageWindow* window = show_picture(image_type_gray8, 40, 30);
    QVERIFY(window != nullptr);
    OpenRecorder files;
    qsizetype opened_during_save = -1;
    const SaveImageChooser before = save_image_set_chooser([&](const SaveImageRequest&) {
        open_or_queue(QStringLiteral("/p/handed.jpg"));
        opened_during_save = files.opened.size();
        return SaveImageAnswer{};  // Cancel
    });
    QCOMPARE(SaveImageAs(window), err_aborted);
    save_image_set_chooser(before);
    QCOMPARE(opened_during_save, 0);
    QTRY_COMPARE(files.opened, QStringList{"/p/handed.jpg"});
}

// Values in the store that no control can show are limited on reading.
void TestShellFixes::stored_values_out_of_range_are_limited_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("expected");
    // clang-format off
    QTest::newRow("preview size above") << "maxpreviewsize" << "5" << 2;
    QTest::newRow("preview size below") << "maxpreviewsize" << "-1" << 0;
    QTest::newRow("preview size in range") << "maxpreviewsize" << "1" << 1;
    QTest::newRow("preview corner above") << "previewlocation" << "7" << 3;
    QTest::newRow("preview corner below") << "previewlocation" << "-2" << 0;
    QTest::newRow("negative border") << "border" << "-5 1 1 1" << 0;
    QTest::newRow("border in range") << "border" << "3 1 1 1" << 3;
    // clang-format on
}

void TestShellFixes::stored_values_out_of_range_are_limited() {
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(int, expected);
    auto store = saved_store();
    store->clear();
    store->setValue(QStringLiteral("Preferences/") + key, value);
    preferences_load(*store);
    store->clear();
    const Preferences& p = preferences();
    const int read = key == QLatin1String("border")           ? p.border_width
                     : key == QLatin1String("maxpreviewsize") ? p.maxpreviewsize
                                                              : p.previewlocation;
    QCOMPARE(read, expected);
}

// Tools > Scroll makes a plain left drag move the picture; chosen again it
// goes back to no tool, and its entry is ticked while it is the tool.
void TestShellFixes::the_scroll_tool_drags_without_alt() {
    ImageWindow* window = show_picture(image_type_gray8, 3000, 2000);
    QVERIFY(window != nullptr);
    frame_->command_action(3015)->trigger();  // 1:1: larger than the window
    QAction* scroll = frame_->command_action(6002);
    QVERIFY(scroll != nullptr && scroll->isEnabled());
    auto drag = [&] {
        const int before = window->record()->view_x1;
        QTest::mousePress(window->viewport(), Qt::LeftButton, Qt::NoModifier, QPoint(200, 200));
        QMouseEvent move(QEvent::MouseMove, QPointF(100, 200), window->viewport()->mapToGlobal(QPointF(100, 200)),
                         Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window->viewport(), &move);
        QTest::mouseRelease(window->viewport(), Qt::LeftButton, Qt::NoModifier, QPoint(100, 200));
        return window->record()->view_x1 - before;
    };
    QCOMPARE(drag(), 0);
    scroll->trigger();
    QVERIFY(scroll->isChecked());
    QVERIFY(drag() > 0);
    scroll->trigger();
    QVERIFY(!scroll->isChecked());
    QCOMPARE(drag(), 0);
}

QTEST_MAIN(TestShellFixes)
#include "tst_shell_fixes.moc"
