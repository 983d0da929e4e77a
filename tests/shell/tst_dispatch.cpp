// The menus made from the command list, the dispatch of every command, the
// Window menu's arrangements, the splash and tool selection.
#include "shell/command_dispatch.h"
#include "shell/command_table.h"
#include "shell/splash_panel.h"
#include "shell_test_support.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QSignalSpy>

#include <map>
#include <set>

namespace {

// The commands that work now.
const std::set<int> built = {1001, 1002, 1006, 1007, 1008, 1009, 1010, 1013, 2001, 2002, 2003,
                             2004, 3001, 3022, 3003, 3004, 3005, 3006, 3007, 3008, 3012, 3013, 3014,
                             3015, 3016, 3017, 3018, 3019, 3024, 4005, 4006, 4029, 4043, 4049, 4050,
                             4019, 4020, 4052, 4054, 4066, 4071, 4500, 6002, 7005, 4003,
                             4032, 4073, 4002};

// Every command entry of a menu and its submenus, with the submenu titles on the way.
void collect(QMenu* menu, const QString& path, std::multimap<int, std::pair<QAction*, QString>>* out) {
    for (QAction* action : menu->actions()) {
        if (action->menu() != nullptr)
            collect(action->menu(), path + QLatin1Char('/') + action->text(), out);
        else if (!action->isSeparator())
            out->emplace(action->data().toInt(), std::make_pair(action, path));
    }
}

}  // namespace

class TestDispatch : public FrameTest {
    Q_OBJECT
private slots:

    void menus_show_every_command_once();
    void every_command_dispatches();
    void window_menu_tiles_the_children();
    void close_all_respects_a_veto();
    void splash_size_place_and_removal();
    void tool_select_ends_the_old_tool_once();

private:
    QMdiSubWindow* add_child(QWidget* widget) {
        QMdiSubWindow* child = frame_->area()->addSubWindow(widget);
        child->resize(200, 150);
        child->show();
        return child;
    }
};

void TestDispatch::menus_show_every_command_once() {
    QCOMPARE(frame_->windowTitle(), QStringLiteral("Orvane Pro 64  v6.0.10 "));
    QStringList titles;
    std::multimap<int, std::pair<QAction*, QString>> entries;
    for (QMenu* menu : frame_->menus()) {
        titles.append(menu->title());
        collect(menu, menu->title(), &entries);
    }
    QCOMPARE(titles, (QStringList{"&File", "&Edit", "&Transformations", "T&ools", "&Window", "&Help"}));

    // Each command with a label stands once, as the table says, enabled when built.
    std::size_t listed = 0;
    for (const CommandEntry& entry : command_table) {
        if (entry.label == nullptr) continue;
        QVERIFY2(entries.count(entry.number) == 1, entry.label);
        const auto& [action, path] = entries.find(entry.number)->second;
        QCOMPARE(action->text(), QString::fromLatin1(entry.label));
        QCOMPARE(action->shortcut(), QKeySequence(QString::fromLatin1(entry.shortcut)));
        QCOMPARE(action->isEnabled(), built.count(entry.number) == 1);
        ++listed;
    }
    QCOMPARE(entries.size(), listed);
    // The keys, as the user knows them.
    const std::pair<int, QKeySequence> keys[] = {
        {1001, Qt::CTRL | Qt::Key_N}, {1002, Qt::CTRL | Qt::Key_O}, {1006, Qt::CTRL | Qt::Key_S},
        {1013, Qt::CTRL | Qt::Key_Q}, {2001, Qt::CTRL | Qt::Key_Z}, {3001, Qt::CTRL | Qt::Key_W},
        {3024, Qt::CTRL | Qt::Key_T}, {3012, Qt::Key_Insert},       {7003, Qt::Key_F1}};
    for (const auto& [number, key] : keys)
        QCOMPARE(frame_->command_action(number)->shortcut(), key);

    // The transformations in their groups, each group in its own order; the
    // mask tool's submenu last in Tools.
    QStringList order;
    for (QAction* action : frame_->menus()[2]->findChild<QMenu*>("Sharpen, Blur, Noise")->actions())
        order.append(action->text());
    QCOMPARE(order, (QStringList{"&Sharpen...", "&Advanced Sharpen...", "&Blur...", "Noise Reduction..."}));
    QCOMPARE(entries.find(4043)->second.second, QStringLiteral("&Transformations/Special &Effects"));
    QCOMPARE(entries.find(4053)->second.second, QStringLiteral("&Transformations"));
    QCOMPARE(entries.find(4500)->second.second, QStringLiteral("T&ools/Mask"));
    QVERIFY(frame_->menus()[3]->actions().last()->menu() != nullptr);
    // 4069 opens a panel but has no menu entry of its own.
    QVERIFY(frame_->command_action(4069) == nullptr);
    QCOMPARE(command_find(4069)->panel_code, 102);
}

void TestDispatch::every_command_dispatches() {
    ScriptedBoxes boxes;
    std::vector<int> numbers;
    for (const CommandEntry& entry : command_table)
        for (int number = entry.number; number <= std::max(entry.number, entry.last); ++number)
            numbers.push_back(number);
    for (int number : numbers) {
        const bool works = built.count(number) == 1;
        QVERIFY2(command_available(number) == works, qPrintable(QString::number(number)));
        // 1013 closes the frame, 1001, 1002 and 1010 open modal panels: their own tests.
        if (number == 1013 || number == 1010 || number == 1001 || number == 1002) continue;
        QCOMPARE(command_dispatch(frame_.get(), number),
                 works ? CommandResult::done : CommandResult::disabled);
    }
    // Of all those, only the About box speaks; the high bits of a number are ignored.
    QCOMPARE(command_dispatch(frame_.get(), (1 << 16) | 7005), CommandResult::done);
    QCOMPARE(boxes.calls.size(), size_t{2});
    QCOMPARE(boxes.calls[0].caption, QStringLiteral("About Orvane Pro"));
    QVERIFY(boxes.calls[0].text.contains(QStringLiteral("Orvane Pro 64")));
    QVERIFY(boxes.calls[0].text.contains(QStringLiteral("6.0.10")));
    QCOMPARE(command_dispatch(frame_.get(), (3 << 16) | 4051), CommandResult::disabled);
    for (int number : {0, 999, 1003, 1110, 2005, 4026, 4067, 4075, 4499, 4551, 6010, 7007, 0xFFFF,
                       (1 << 16) | 4026}) {
        QCOMPARE(command_dispatch(frame_.get(), number), CommandResult::unknown);
        QVERIFY(!command_available(number));
    }
    // Exit closes the frame without a question.
    QCOMPARE(command_dispatch(frame_.get(), 1013), CommandResult::done);
    QVERIFY(!frame_->isVisible());
    QCOMPARE(boxes.calls.size(), size_t{2});
}

// Tiles share the room without gaps, across then down (Next and Cascade are the area's own).
void TestDispatch::window_menu_tiles_the_children() {
    QList<QMdiSubWindow*> children;
    for (int i = 0; i < 3; ++i)
        children.append(add_child(new QLabel(QString::number(i))));
    const QRect room = frame_->area()->viewport()->rect();
    for (const bool horizontal : {true, false}) {
        QCOMPARE(command_dispatch(frame_.get(), horizontal ? 3018 : 3019), CommandResult::done);
        int next = 0;
        for (QMdiSubWindow* child : children) {
            const QRect g = child->geometry();
            QCOMPARE(horizontal ? g.left() : g.top(), 0);
            QCOMPARE(horizontal ? g.width() : g.height(), horizontal ? room.width() : room.height());
            QCOMPARE(horizontal ? g.top() : g.left(), next);
            next = (horizontal ? g.bottom() : g.right()) + 1;
        }
        QCOMPARE(next, horizontal ? room.height() : room.width());
    }
}

void TestDispatch::close_all_respects_a_veto() {
    QStringList asked;
    auto* keeper = new TestChild("keeper", 0, false, &asked);
    add_child(new TestChild("first", 0, true, &asked));
    add_child(keeper);
    add_child(new TestChild("last", 0, true, &asked));
    QCOMPARE(command_dispatch(frame_.get(), 3014), CommandResult::done);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    asked.sort();
    QCOMPARE(asked, (QStringList{"first", "keeper", "last"}));
    const QList<QMdiSubWindow*> left = frame_->area()->subWindowList();
    QCOMPARE(left.size(), 1);
    QCOMPARE(left[0]->widget(), static_cast<QWidget*>(keeper));
}

void TestDispatch::splash_size_place_and_removal() {
    QMdiArea* area = frame_->area();
    splash_show(area);
    SplashPanel* splash = splash_current();
    QVERIFY(splash != nullptr);
    QCOMPARE(splash->size(), QSize(597, 505));
    QVERIFY((splash->geometry().center() - area->rect().center()).manhattanLength() <= 2);

    // A command, a click, a new window, or time takes it away.
    QCOMPARE(command_dispatch(frame_.get(), 3017), CommandResult::done);
    QTRY_VERIFY(splash_current() == nullptr);
    splash_show(area);
    QTest::mouseClick(splash_current(), Qt::LeftButton);
    QTRY_VERIFY(splash_current() == nullptr);
    splash_show(area);
    add_child(new QLabel("opened"));
    QTRY_VERIFY(splash_current() == nullptr);
    splash_show(area);
    QTRY_VERIFY_WITH_TIMEOUT(splash_current() == nullptr, 7000);
    // A background process shows none.
    app_state.batch_parent.present = true;
    splash_show(area);
    QVERIFY(splash_current() == nullptr);
}

void TestDispatch::tool_select_ends_the_old_tool_once() {
    QStringList ended;
    tool_set_end_routine(1, [&ended] { ended.append("readout"); });
    tool_set_end_routine(2, [&ended] { ended.append("scroll"); });
    QSignalSpy shown(&shell_signals(), &ShellSignals::tool_changed);

    for (int tool : {1, 1, 2, 2, 0})
        tool_select(tool);
    QCOMPARE(ended, (QStringList{"readout", "scroll"}));
    QCOMPARE(app_state.current_tool, 0);
    QCOMPARE(shown.size(), 3);
    QCOMPARE(shown[1][0].toInt(), 2);

    tool_set_end_routine(1, nullptr);
    tool_set_end_routine(2, nullptr);
}

QTEST_MAIN(TestDispatch)
#include "tst_dispatch.moc"
