// The recent files of the File menu: their labels and order, the length the
// preference allows, and what choosing one does.
#include "shell/command_dispatch.h"
#include "shell/recent_files.h"
#include "shell/shell_error_reporter.h"
#include "shell_test_support.h"

#include <QAction>
#include <QMenu>

#include <string>

class TestRecentFiles : public FrameTest {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void entries_newest_first_after_exit();
    void choosing_an_entry_opens_it_and_moves_it_up();
    void any_successful_open_enters_the_list();

private:
    // The labels of the entries after the separator.
    QStringList entries() const;
    void set_list(std::vector<std::string> list);
};

void TestRecentFiles::init() {
    shell_error_reporter_install();
    reset_program_state();
    saved_state() = State{};
    QVERIFY(show_test_frame(frame_, 800, 600));
}

void TestRecentFiles::cleanup() {
    close_test_frame(frame_);
    saved_state() = State{};
}

void TestRecentFiles::set_list(std::vector<std::string> list) {
    saved_state().openfile = std::move(list);
    emit shell_signals().recent_files_changed();
}

QStringList TestRecentFiles::entries() const {
    QStringList result;
    const QList<QAction*> actions = frame_->menus()[0]->actions();
    const qsizetype anchor = actions.indexOf(frame_->recent_files_insertion_point());
    for (qsizetype i = anchor + 1; i < actions.size(); ++i) {
        result.append(actions[i]->text());
        if (actions[i]->data().toInt() != 1100 + i - anchor - 1) result.last() += " (numbered wrong)";
    }
    return result;
}

// Numbered newest first after Exit, an & of a name shown as written; rebuilt,
// not added to; as many as the preference allows, also when opening adds.
void TestRecentFiles::entries_newest_first_after_exit() {
    preferences().nfilemenu = 10;
    std::vector<std::string> list{"/photos/b & w.tif"};
    for (int i = 1; i < 11; ++i)
        list.push_back("/p/" + std::to_string(i) + ".jpg");
    set_list(list);
    const QStringList shown = entries();
    QCOMPARE(shown.size(), 10);
    QCOMPARE(shown[0], QStringLiteral("&1: /photos/b && w.tif"));
    QCOMPARE(shown[8], QStringLiteral("&9: /p/8.jpg"));
    QCOMPARE(shown[9], QStringLiteral("1&0: /p/9.jpg"));
    const QList<QAction*> actions = frame_->menus()[0]->actions();
    QCOMPARE(actions.indexOf(frame_->command_action(1013)) + 2,
             actions.indexOf(frame_->command_action(1100)));

    preferences().nfilemenu = 2;
    set_list({"/photos/d.jpg"});
    QCOMPARE(entries(), QStringList{"&1: /photos/d.jpg"});
    QCOMPARE(command_dispatch(frame_.get(), 1101), CommandResult::disabled);
    for (const char* name : {"/p/a.jpg", "/p/b.jpg", "/p/c.jpg"})
        recent_file_opened(QString::fromLatin1(name));
    QCOMPARE(saved_state().openfile, (std::vector<std::string>{"/p/c.jpg", "/p/b.jpg"}));
    QCOMPARE(entries().size(), 2);
    preferences().nfilemenu = 0;
    emit shell_signals().recent_files_changed();
    QVERIFY(entries().empty());
    QVERIFY(!frame_->recent_files_insertion_point()->isVisible());
    QVERIFY(!command_available(1100));
}

void TestRecentFiles::choosing_an_entry_opens_it_and_moves_it_up() {
    ScriptedBoxes boxes;
    {
        OpenRecorder recorder(0);
        set_list({"/p/new.jpg", "/p/mid.jpg", "/p/old.jpg"});
        QCOMPARE(command_dispatch(frame_.get(), 1102), CommandResult::done);
        QCOMPARE(recorder.opened, QStringList{QStringLiteral("/p/old.jpg")});
        QCOMPARE(saved_state().openfile,
                 (std::vector<std::string>{"/p/old.jpg", "/p/new.jpg", "/p/mid.jpg"}));
        // The menu entry itself does the same.
        frame_->command_action(1101)->trigger();
        QCOMPARE(recorder.opened.last(), QStringLiteral("/p/new.jpg"));
        QCOMPARE(entries(), (QStringList{"&1: /p/new.jpg", "&2: /p/old.jpg", "&3: /p/mid.jpg"}));
        QVERIFY(boxes.calls.empty());
    }
    // A failed open is told and leaves the list as it was.
    OpenRecorder failing(71);
    QCOMPARE(command_dispatch(frame_.get(), 1101), CommandResult::done);
    QCOMPARE(failing.opened, QStringList{QStringLiteral("/p/old.jpg")});
    QCOMPARE(saved_state().openfile,
             (std::vector<std::string>{"/p/new.jpg", "/p/old.jpg", "/p/mid.jpg"}));
    QCOMPARE(boxes.calls.size(), size_t{1});
    QCOMPARE(boxes.calls[0].caption, QStringLiteral("Error"));
}

void TestRecentFiles::any_successful_open_enters_the_list() {
    OpenRecorder recorder(0);
    open_command_line(QStringLiteral("\"rel dir/pic.jpg\" /abs/two.png"));
    QCOMPARE(recorder.opened.size(), 2);
    // Newest first; a relative name is kept as the whole path it stood for.
    const std::string relative = QDir::current().absoluteFilePath("rel dir/pic.jpg").toStdString();
    QCOMPARE(saved_state().openfile, (std::vector<std::string>{"/abs/two.png", relative}));
    QCOMPARE(entries().size(), 2);
}

QTEST_MAIN(TestRecentFiles)
#include "tst_recent_files.moc"
