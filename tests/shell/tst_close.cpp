// Closing the program: the questions about panels, the mask tool and the
// clipboard, the children's vetoes, and the background process.
#include "shell/close_sequence.h"
#include "shell_test_support.h"

#include <QClipboard>
#include <QImage>

namespace {
const QString abort_panel = QStringLiteral("Abort transformation in progress?");
const QString abort_mask = QStringLiteral("Abort mask operation in progress?");
}  // namespace

class TestClose : public FrameTest {
    Q_OBJECT
private slots:

    void panel_and_mask_tool_questions_data();
    void panel_and_mask_tool_questions();
    void children_asked_topmost_first_and_a_veto_stops();
    void owned_workflow_browser_and_docked_windows();
    void clipboard_question_only_when_ours_data();
    void clipboard_question_only_when_ours();
    void background_process_closes_at_once();

private:
    QMdiSubWindow* add_child(TestChild* child) {
        QMdiSubWindow* window = frame_->area()->addSubWindow(child);
        window->show();
        return window;
    }
};

void TestClose::panel_and_mask_tool_questions_data() {
    QTest::addColumn<int>("panels");
    QTest::addColumn<bool>("tool");
    QTest::addColumn<QList<int>>("answers");
    QTest::addColumn<QStringList>("asked");
    QTest::addColumn<bool>("closes");
    QTest::addColumn<int>("panels_cancelled");

    QTest::newRow("nothing open") << 0 << false << QList<int>{} << QStringList{} << true << 0;
    QTest::newRow("panel, no") << 1 << false << QList<int>{answer_no} << QStringList{abort_panel}
                               << false << 0;
    // One question for all panels, each then cancelled.
    QTest::newRow("two panels, yes") << 2 << false << QList<int>{answer_yes}
                                     << QStringList{abort_panel} << true << 2;
    QTest::newRow("mask tool, no") << 0 << true << QList<int>{answer_no} << QStringList{abort_mask}
                                   << false << 0;
    QTest::newRow("mask tool, yes") << 0 << true << QList<int>{answer_yes}
                                    << QStringList{abort_mask} << true << 0;
    // The panel was already cancelled when the mask tool's No stopped the close.
    QTest::newRow("both, yes then no") << 1 << true << QList<int>{answer_yes, answer_no}
                                       << QStringList{abort_panel, abort_mask} << false << 1;
}

void TestClose::panel_and_mask_tool_questions() {
    QFETCH(int, panels);
    QFETCH(bool, tool);
    QFETCH(QList<int>, answers);
    QFETCH(QStringList, asked);
    QFETCH(bool, closes);
    QFETCH(int, panels_cancelled);

    ScriptedBoxes boxes(std::deque<int>(answers.begin(), answers.end()));
    std::vector<std::unique_ptr<TestPanel>> open;
    for (int i = 0; i < panels; ++i)
        open.push_back(std::make_unique<TestPanel>());
    std::unique_ptr<TestPanel> mask(tool ? new TestPanel(true) : nullptr);
    QStringList children;
    add_child(new TestChild("image", 0, true, &children));
    app_state.clipboard_image_ours = !closes;

    QCOMPARE(frame_->close(), closes);
    QCOMPARE(frame_->isVisible(), !closes);
    QCOMPARE(boxes.texts(), asked);
    for (const MessageBoxCall& call : boxes.calls)
        QCOMPARE(call.kind, box_yes_no);
    for (const auto& panel : open)
        QCOMPARE(panel->cancel_count, panels_cancelled > 0 ? 1 : 0);
    QCOMPARE(transform_panel_open(), panels > panels_cancelled);
    if (tool) {
        QCOMPARE(mask->cancel_count, closes ? 1 : 0);
        QCOMPARE(mask_tool_open(), !closes);
    }
    // A No keeps everything: no window was asked, nothing closed, the clipboard kept.
    if (!closes) {
        QVERIFY(children.isEmpty());
        QCOMPARE(frame_->area()->subWindowList().size(), 1);
        QVERIFY(app_state.clipboard_image_ours);
    }
}

void TestClose::children_asked_topmost_first_and_a_veto_stops() {
    QStringList asked;
    QMdiSubWindow* a = add_child(new TestChild("a", 0, true, &asked));
    add_child(new TestChild("b", 0, true, &asked));
    add_child(new TestChild("c", 0, true, &asked));
    frame_->area()->setActiveSubWindow(a);  // a comes to the top; c was above b
    QVERIFY(all_windows_may_close());
    QCOMPARE(asked, (QStringList{"a", "c", "b"}));

    // A veto first: nobody else is asked, nor the clipboard question.
    ScriptedBoxes boxes;
    asked.clear();
    QMdiSubWindow* unsaved = add_child(new TestChild("unsaved", 0, false, &asked));
    frame_->area()->setActiveSubWindow(unsaved);
    app_state.clipboard_image_ours = true;
    QVERIFY(!frame_->close());
    QVERIFY(frame_->isVisible());
    QCOMPARE(asked, QStringList{"unsaved"});
    QVERIFY(boxes.calls.empty());
    QCOMPARE(frame_->area()->subWindowList().size(), 4);
}

void TestClose::owned_workflow_browser_and_docked_windows() {
    QStringList asked;
    auto* owner = new TestChild("owner", 0, true, &asked);
    auto* owned = new TestChild("owned", 0, false, &asked);
    owned->owner = owner;
    add_child(owner);
    add_child(owned);
    TestChild docked("docked", 0, false, &asked);
    app_state.docked_image_windows.emplace_back(&docked);
    bool browser_agrees = false;
    app_state.browser_may_close = [&] {
        asked.append("browser");
        return browser_agrees;
    };
    // The browser is asked first.
    QVERIFY(!all_windows_may_close());
    QCOMPARE(asked, QStringList{"browser"});

    // Workflow windows are told to close, and answer in their own close before
    // the others are asked; owned windows are not asked; docked ones are, last.
    auto* workflow = new TestChild("workflow", window_kind_workflow, true, &asked);
    add_child(workflow);
    asked.clear();
    browser_agrees = true;
    QVERIFY(!frame_->close());
    QCOMPARE(workflow->close_events, 1);
    QCOMPARE(owner->close_events, 0);
    QCOMPARE(asked, (QStringList{"workflow", "browser", "owner", "docked"}));
}

void TestClose::clipboard_question_only_when_ours_data() {
    QTest::addColumn<bool>("ours");
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("kept");
    QTest::newRow("someone else's") << false << answer_ok << true;
    QTest::newRow("ours, retained") << true << answer_yes << true;
    QTest::newRow("ours, not retained") << true << answer_no << false;
}

void TestClose::clipboard_question_only_when_ours() {
    QFETCH(bool, ours);
    QFETCH(int, answer);
    QFETCH(bool, kept);
    QImage picture(8, 8, QImage::Format_RGB32);
    picture.fill(Qt::red);
    QApplication::clipboard()->setImage(picture);
    app_state.clipboard_image_ours = ours;
    ScriptedBoxes boxes({answer});
    QVERIFY(frame_->close());
    QCOMPARE(boxes.texts(), ours ? QStringList{"Retain image on clipboard?"} : QStringList{});
    QCOMPARE(!QApplication::clipboard()->image().isNull(), kept);
}

void TestClose::background_process_closes_at_once() {
    ScriptedBoxes boxes;
    QStringList asked;
    app_state.batch_parent.present = true;
    auto panel = std::make_unique<TestPanel>();
    auto tool = std::make_unique<TestPanel>(true);
    auto* workflow = new TestChild("workflow", window_kind_workflow, false, &asked);
    add_child(workflow);
    add_child(new TestChild("unsaved", 0, false, &asked));
    app_state.clipboard_image_ours = true;

    QVERIFY(frame_->close());
    QVERIFY(boxes.calls.empty());
    QVERIFY(asked.isEmpty());
    QCOMPARE(panel->cancel_count, 0);
    QCOMPARE(workflow->close_events, 0);
}

QTEST_MAIN(TestClose)
#include "tst_close.moc"
