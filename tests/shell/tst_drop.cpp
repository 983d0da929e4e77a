// Files arriving by drop, command line or hand-over: refused, opened or
// queued, and the queue emptied in order when the panels close.
#include "core/errors.h"
#include "shell/open_file.h"
#include "shell/shell_error_reporter.h"
#include "shell/splash_panel.h"
#include "shell_test_support.h"

#include <QMimeData>
#include <QUrl>

namespace {

// Drops file URLs on the frame as the window system would.
void drop_on(QWidget* target, const QStringList& paths) {
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& path : paths)
        urls.append(QUrl::fromLocalFile(path));
    data.setUrls(urls);
    const QPoint where = target->rect().center();
    QDragEnterEvent enter(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(where), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
}

}  // namespace

class TestDrop : public FrameTest {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void drop_data();
    void drop();
    void queued_while_panels_are_open();
    void an_open_during_an_open_waits_its_turn();
    void unknown_file_type_is_reported();
    void no_free_record_is_told_before_reading();

};

void TestDrop::init() {
    app_state_reset();
    shell_error_reporter_install();
    QVERIFY(show_test_frame(frame_, 800, 600));
}

void TestDrop::cleanup() {
    frame_.reset();
    error_set_reporter(nullptr);
    app_state_reset();
}

void TestDrop::drop_data() {
    QTest::addColumn<bool>("panel_open");
    QTest::addColumn<bool>("file_busy");
    QTest::newRow("free") << false << false;
    QTest::newRow("during a transformation") << true << false;
    QTest::newRow("during a file operation") << false << true;
}

// A drop opens each file, or while something runs is refused and not kept.
void TestDrop::drop() {
    QFETCH(bool, panel_open);
    QFETCH(bool, file_busy);
    ScriptedBoxes boxes;
    OpenRecorder files;
    {
        std::unique_ptr<TestPanel> panel(panel_open ? new TestPanel : nullptr);
        app_state.file_operation_busy = file_busy;
        drop_on(frame_.get(), {"/pics/a b.jpg", "/pics/c.tif"});
        app_state.file_operation_busy = false;
    }
    open_queued_files();
    if (!panel_open && !file_busy) {
        QCOMPARE(files.opened, (QStringList{"/pics/a b.jpg", "/pics/c.tif"}));
        QVERIFY(boxes.calls.empty());
        return;
    }
    QCOMPARE(boxes.texts(),
             QStringList{"Cannot accept dropped files while operation is in progress"});
    QCOMPARE(boxes.calls[0].kind, box_ok);
    QVERIFY(files.opened.isEmpty());
}

void TestDrop::queued_while_panels_are_open() {
    OpenRecorder files;
    splash_show(frame_->area());
    auto first = std::make_unique<TestPanel>();
    auto second = std::make_unique<TestPanel>();
    const QString long_path = QStringLiteral("/") + QString(300, QLatin1Char('p')) + ".jpg";
    open_or_queue("/pics/first.jpg");
    open_command_line("/pics/my photo.jpg \"/pics/x.y/z w.png\"");
    open_or_queue(long_path);
    QCOMPARE(app_state.open_queue.size(), size_t{4});
    first.reset();
    QVERIFY(files.opened.isEmpty());

    // The last panel closing empties the queue in order, names cut at 260.
    second.reset();
    QCOMPARE(files.opened, (QStringList{"/pics/first.jpg", "/pics/my photo.jpg",
                                        "/pics/x.y/z w.png", long_path.left(260)}));
    QVERIFY(app_state.open_queue.empty());
    // Opening takes the splash away.
    QTRY_VERIFY(splash_current() == nullptr);
}

void TestDrop::an_open_during_an_open_waits_its_turn() {
    QStringList order;
    bool always_busy = true;
    const OpenFileRoutine before = open_file_set_routine([&](const QString& path) {
        order.append("begin " + path);
        always_busy = always_busy && app_state.file_operation_busy;
        if (path == "/pics/outer.jpg") open_or_queue("/pics/inner.jpg");
        order.append("end " + path);
        return 0;
    });
    open_or_queue("/pics/outer.jpg");
    open_file_set_routine(before);
    QVERIFY2(always_busy, "an open runs as a file operation");
    QCOMPARE(order, (QStringList{"begin /pics/outer.jpg", "end /pics/outer.jpg",
                                 "begin /pics/inner.jpg", "end /pics/inner.jpg"}));
    QVERIFY(!app_state.file_operation_busy);
}

void TestDrop::unknown_file_type_is_reported() {
    QTemporaryDir dir;
    QStringList paths;
    for (const char* name : {"a.xyz", "b.abc"}) {
        paths.append(dir.filePath(QLatin1String(name)));
        QVERIFY(write_file(paths.last(), "no picture in here"));
    }
    ScriptedBoxes boxes;
    open_command_line(paths.join(QLatin1Char(' ')));
    QCOMPARE(boxes.texts(), (QStringList{"Unknown file type", "Unknown file type"}));
    QCOMPARE(boxes.calls[0].caption, QStringLiteral("Error"));
    // Queued while a panel was open, they report once when the queue empties.
    boxes.calls.clear();
    {
        TestPanel panel;
        open_command_line(paths.join(QLatin1Char(' ')));
        QVERIFY(boxes.calls.empty());
    }
    QCOMPARE(boxes.texts(), QStringList{QStringLiteral("Unknown file type")});
}

// With every window record taken, "Too many images" comes before any read:
// a file that is not there gives 13, not "File not found".
void TestDrop::no_free_record_is_told_before_reading() {
    std::vector<int> taken;
    int slot = -1;
    WindowRecord* record = nullptr;
    while (window_record_take(&slot, &record) == 0)
        taken.push_back(slot);
    QCOMPARE(open_file_path(QStringLiteral("/no/such/picture.tif")), 13);
    for (int s : taken)
        window_record_release(s);
    QCOMPARE(open_file_path(QStringLiteral("/no/such/picture.tif")), 129);
}

QTEST_MAIN(TestDrop)
#include "tst_drop.moc"
