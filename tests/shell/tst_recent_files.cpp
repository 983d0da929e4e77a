// The recent files of the File menu: their labels and order, the length the
// preference allows, and what choosing one does.
#include "core/preferences.h"
#include "shell/command_dispatch.h"
#include "shell/command_table.h"
#include "shell/main_frame.h"
#include "shell/recent_files.h"
#include "shell/shell_error_reporter.h"
#include "shell_test_support.h"

#include <QAction>
#include <QDir>
#include <QMenu>
#include <QTest>

#include <memory>
#include <string>
#include <vector>

class TestRecentFiles : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void entries_newest_first_after_the_separator();
    void nfilemenu_limits_the_entries();
    void ten_entries_and_the_tenth_label();
    void choosing_an_entry_opens_it_and_moves_it_up();
    void a_failed_open_leaves_the_list();
    void any_successful_open_enters_the_list();

private:
    // The entries after the separator, as (number, label).
    std::vector<std::pair<int, QString>> entries() const;
    void set_list(std::vector<std::string> list);
    std::unique_ptr<MainFrame> frame_;
};

void TestRecentFiles::init() {
    shell_error_reporter_install();
    app_state_reset();
    preferences() = Preferences{};
    saved_state() = State{};
    frame_ = std::make_unique<MainFrame>();
    frame_->show();
    QVERIFY(QTest::qWaitForWindowExposed(frame_.get()));
}

void TestRecentFiles::cleanup() {
    frame_.reset();
    saved_state() = State{};
    preferences() = Preferences{};
    app_state_reset();
}

void TestRecentFiles::set_list(std::vector<std::string> list) {
    saved_state().openfile = std::move(list);
    emit shell_signals().recent_files_changed();
}

std::vector<std::pair<int, QString>> TestRecentFiles::entries() const {
    std::vector<std::pair<int, QString>> result;
    QMenu* file = frame_->menus()[0];
    const QList<QAction*> actions = file->actions();
    const qsizetype anchor = actions.indexOf(frame_->recent_files_insertion_point());
    for (qsizetype i = anchor + 1; i < actions.size(); ++i)
        result.emplace_back(actions[i]->data().toInt(), actions[i]->text());
    return result;
}

void TestRecentFiles::entries_newest_first_after_the_separator() {
    set_list({"/photos/c.jpg", "/photos/b & w.tif", "/photos/a.png"});
    const auto shown = entries();
    QCOMPARE(shown.size(), size_t{3});
    QCOMPARE(shown[0], std::make_pair(1100, QStringLiteral("&1: /photos/c.jpg")));
    // An & of the name is shown as written, not taken as a mnemonic.
    QCOMPARE(shown[1], std::make_pair(1101, QStringLiteral("&2: /photos/b && w.tif")));
    QCOMPARE(shown[2], std::make_pair(1102, QStringLiteral("&3: /photos/a.png")));
    QVERIFY(frame_->recent_files_insertion_point()->isVisible());
    // E&xit stays the last command before the separator.
    QCOMPARE(frame_->menus()[0]->actions().indexOf(frame_->command_action(1013)) + 2,
             frame_->menus()[0]->actions().indexOf(frame_->command_action(1100)));

    QVERIFY(command_available(1102));
    QVERIFY(!command_available(1103));
    QCOMPARE(command_dispatch(frame_.get(), 1103), CommandResult::disabled);

    // Rebuilding replaces the entries rather than adding to them.
    set_list({"/photos/d.jpg"});
    QCOMPARE(entries().size(), size_t{1});
    QCOMPARE(entries()[0].second, QStringLiteral("&1: /photos/d.jpg"));

    set_list({});
    QVERIFY(entries().empty());
    QVERIFY(!frame_->recent_files_insertion_point()->isVisible());
}

void TestRecentFiles::nfilemenu_limits_the_entries() {
    preferences().nfilemenu = 2;
    set_list({"/p/1.jpg", "/p/2.jpg", "/p/3.jpg"});
    QCOMPARE(entries().size(), size_t{2});
    QVERIFY(command_available(1101));
    QVERIFY(!command_available(1102));

    preferences().nfilemenu = 0;
    emit shell_signals().recent_files_changed();
    QVERIFY(entries().empty());
    QVERIFY(!command_available(1100));
    QVERIFY(!frame_->recent_files_insertion_point()->isVisible());

    // Opening adds within the limit the preference sets.
    preferences().nfilemenu = 2;
    saved_state().openfile.clear();
    for (const char* name : {"/p/a.jpg", "/p/b.jpg", "/p/c.jpg"})
        recent_file_opened(QString::fromLatin1(name));
    QCOMPARE(saved_state().openfile, (std::vector<std::string>{"/p/c.jpg", "/p/b.jpg"}));
}

void TestRecentFiles::ten_entries_and_the_tenth_label() {
    preferences().nfilemenu = 10;
    std::vector<std::string> list;
    for (int i = 0; i < 10; ++i)
        list.push_back("/p/" + std::to_string(i) + ".jpg");
    set_list(list);
    const auto shown = entries();
    QCOMPARE(shown.size(), size_t{10});
    QCOMPARE(shown[8], std::make_pair(1108, QStringLiteral("&9: /p/8.jpg")));
    QCOMPARE(shown[9], std::make_pair(1109, QStringLiteral("1&0: /p/9.jpg")));
    QCOMPARE(frame_->command_action(1109)->text(), QStringLiteral("1&0: /p/9.jpg"));
}

void TestRecentFiles::choosing_an_entry_opens_it_and_moves_it_up() {
    ScriptedBoxes boxes;
    OpenRecorder recorder(0);
    set_list({"/p/new.jpg", "/p/mid.jpg", "/p/old.jpg"});

    QCOMPARE(command_dispatch(frame_.get(), 1100 + 2), CommandResult::done);
    QCOMPARE(recorder.opened, QStringList{QStringLiteral("/p/old.jpg")});
    QCOMPARE(saved_state().openfile,
             (std::vector<std::string>{"/p/old.jpg", "/p/new.jpg", "/p/mid.jpg"}));
    QCOMPARE(entries()[0].second, QStringLiteral("&1: /p/old.jpg"));

    // The menu entry itself does the same.
    frame_->command_action(1101)->trigger();
    QCOMPARE(recorder.opened.last(), QStringLiteral("/p/new.jpg"));
    QCOMPARE(entries()[0].second, QStringLiteral("&1: /p/new.jpg"));
    QCOMPARE(entries().size(), size_t{3});
    QVERIFY(boxes.calls.empty());
}

void TestRecentFiles::a_failed_open_leaves_the_list() {
    ScriptedBoxes boxes;
    OpenRecorder recorder(71);
    set_list({"/p/new.jpg", "/p/old.jpg"});
    QCOMPARE(command_dispatch(frame_.get(), 1101), CommandResult::done);
    QCOMPARE(recorder.opened, QStringList{QStringLiteral("/p/old.jpg")});
    QCOMPARE(saved_state().openfile, (std::vector<std::string>{"/p/new.jpg", "/p/old.jpg"}));
    QCOMPARE(boxes.calls.size(), size_t{1});
    QCOMPARE(boxes.calls[0].caption, QStringLiteral("Error"));
}

void TestRecentFiles::any_successful_open_enters_the_list() {
    ScriptedBoxes boxes;
    OpenRecorder recorder(0);
    open_command_line(QStringLiteral("\"rel dir/pic.jpg\" /abs/two.png"));
    QCOMPARE(recorder.opened.size(), 2);
    // Newest first; a relative name is kept as the whole path it stood for.
    const std::string relative = QDir::current().absoluteFilePath("rel dir/pic.jpg").toStdString();
    QCOMPARE(saved_state().openfile, (std::vector<std::string>{"/abs/two.png", relative}));
    QCOMPARE(entries().size(), size_t{2});
}

QTEST_MAIN(TestRecentFiles)
#include "tst_recent_files.moc"
