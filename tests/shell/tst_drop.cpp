// Files arriving by drop, command line or hand-over: refused, opened or
// queued, and the queue emptied in order when the panels close.
#include "core/errors.h"
#include "core/window_record.h"
#include "frame_test_support.h"
#include "shell/file_open_queue.h"
#include "shell/main_frame.h"
#include "shell/open_file.h"
#include "shell/shell_error_reporter.h"
#include "shell/splash_panel.h"
#include "shell_test_support.h"

#include <QFile>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <memory>

namespace {

const QString busy_text =
    QStringLiteral("Cannot accept dropped files while operation is in progress");

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

class TestDrop : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void drop_opens_each_file();
    void drop_during_a_transformation_is_refused();
    void drop_during_a_file_operation_is_refused();
    void queued_while_a_panel_is_open();
    void queue_waits_for_the_last_panel();
    void queued_paths_are_cut_at_260();
    void an_open_during_an_open_waits_its_turn();
    void unknown_file_type_is_reported();
    void opening_removes_the_splash();
    void no_free_record_is_told_before_reading();

private:
    std::unique_ptr<MainFrame> frame_;
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

void TestDrop::drop_opens_each_file() {
    ScriptedBoxes boxes;
    OpenRecorder files;
    drop_on(frame_.get(), {"/pics/a b.jpg", "/pics/c.tif"});
    QCOMPARE(files.opened, (QStringList{"/pics/a b.jpg", "/pics/c.tif"}));
    QVERIFY(boxes.calls.empty());
}

void TestDrop::drop_during_a_transformation_is_refused() {
    ScriptedBoxes boxes;
    OpenRecorder files;
    {
        TestPanel panel;
        drop_on(frame_.get(), {"/pics/a.jpg", "/pics/b.jpg"});
        QCOMPARE(boxes.texts(), QStringList{busy_text});
        QCOMPARE(boxes.calls[0].kind, box_ok);
        QVERIFY(app_state.open_queue.empty());
    }
    // Nothing was kept for later either.
    QVERIFY(files.opened.isEmpty());
}

void TestDrop::drop_during_a_file_operation_is_refused() {
    ScriptedBoxes boxes;
    OpenRecorder files;
    app_state.file_operation_busy = true;
    drop_on(frame_.get(), {"/pics/a.jpg"});
    QCOMPARE(boxes.texts(), QStringList{busy_text});
    app_state.file_operation_busy = false;
    open_queued_files();
    QVERIFY(files.opened.isEmpty());
}

void TestDrop::queued_while_a_panel_is_open() {
    OpenRecorder files;
    auto panel = std::make_unique<TestPanel>();
    open_or_queue("/pics/first.jpg");
    open_command_line("/pics/my photo.jpg \"/pics/x.y/z w.png\"");
    QVERIFY(files.opened.isEmpty());
    QCOMPARE(app_state.open_queue.size(), size_t{3});

    panel.reset();
    QCOMPARE(files.opened,
             (QStringList{"/pics/first.jpg", "/pics/my photo.jpg", "/pics/x.y/z w.png"}));
    QVERIFY(app_state.open_queue.empty());
}

void TestDrop::queue_waits_for_the_last_panel() {
    OpenRecorder files;
    auto first = std::make_unique<TestPanel>();
    auto second = std::make_unique<TestPanel>();
    open_or_queue("/pics/a.jpg");
    first.reset();
    QVERIFY(files.opened.isEmpty());
    second.reset();
    QCOMPARE(files.opened, QStringList{"/pics/a.jpg"});
}

void TestDrop::queued_paths_are_cut_at_260() {
    OpenRecorder files;
    const QString long_path = QStringLiteral("/") + QString(300, QLatin1Char('p')) + ".jpg";
    {
        TestPanel panel;
        open_or_queue(long_path);
    }
    QCOMPARE(files.opened.size(), 1);
    QCOMPARE(files.opened[0], long_path.left(260));
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
    // Files of no known type are refused, and the user is told.
    QTemporaryDir dir;
    QStringList paths;
    for (const char* name : {"a.xyz", "b.abc"}) {
        QFile file(dir.filePath(QLatin1String(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("no picture in here");
        paths.append(file.fileName());
    }
    ScriptedBoxes boxes;
    open_command_line(paths.join(QLatin1Char(' ')));
    QCOMPARE(boxes.calls.size(), size_t{2});
    for (const MessageBoxCall& call : boxes.calls) {
        QCOMPARE(call.caption, QStringLiteral("Error"));
        QCOMPARE(call.text, QStringLiteral("Unknown file type"));
        QCOMPARE(call.kind, box_ok);
    }
    // Queued while a panel was open, they report once when the queue empties.
    boxes.calls.clear();
    {
        TestPanel panel;
        open_command_line(paths.join(QLatin1Char(' ')));
        QVERIFY(boxes.calls.empty());
    }
    QCOMPARE(boxes.texts(), QStringList{QStringLiteral("Unknown file type")});
}

void TestDrop::opening_removes_the_splash() {
    OpenRecorder files;
    splash_show(frame_->area());
    QVERIFY(splash_current() != nullptr);
    open_or_queue("/pics/a.jpg");
    QTRY_VERIFY(splash_current() == nullptr);
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
