// Closing the program: the questions about panels, the mask tool and the
// clipboard, the children's vetoes, and the background process.
#include "frame_test_support.h"
#include "shell/close_sequence.h"
#include "shell/main_frame.h"
#include "shell_test_support.h"

#include <QApplication>
#include <QClipboard>
#include <QImage>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTest>

#include <memory>

class TestClose : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void nothing_open_closes_without_questions();
    void panel_open_no_keeps_everything();
    void panel_open_yes_cancels_and_closes();
    void mask_tool_question();
    void panel_and_mask_tool_are_asked_in_order();
    void children_asked_topmost_first();
    void a_veto_stops_the_close();
    void owned_children_are_not_asked();
    void workflow_windows_are_told_to_close();
    void browser_and_docked_windows();
    void clipboard_question_only_when_ours();
    void background_process_closes_at_once();

private:
    QMdiSubWindow* add_child(TestChild* child);
    std::unique_ptr<MainFrame> frame_;
};

void TestClose::init() {
    app_state_reset();
    QVERIFY(show_test_frame(frame_, 800, 600));
}

void TestClose::cleanup() {
    frame_.reset();
    app_state_reset();
}

QMdiSubWindow* TestClose::add_child(TestChild* child) {
    QMdiSubWindow* window = frame_->area()->addSubWindow(child);
    window->show();
    return window;
}

void TestClose::nothing_open_closes_without_questions() {
    ScriptedBoxes boxes;
    QVERIFY(frame_->close());
    QVERIFY(!frame_->isVisible());
    QVERIFY(boxes.calls.empty());
}

void TestClose::panel_open_no_keeps_everything() {
    ScriptedBoxes boxes({answer_no});
    auto panel = std::make_unique<TestPanel>();
    panel->show();
    QStringList asked;
    add_child(new TestChild("image", 0, true, &asked));
    app_state.clipboard_image_ours = true;

    QVERIFY(!frame_->close());
    QVERIFY(frame_->isVisible());
    QCOMPARE(boxes.calls.size(), size_t{1});
    QCOMPARE(boxes.calls[0].text, QStringLiteral("Abort transformation in progress?"));
    QCOMPARE(boxes.calls[0].kind, box_yes_no);
    QCOMPARE(panel->cancel_count, 0);
    QVERIFY(panel->isVisible());
    QVERIFY(transform_panel_open());
    QVERIFY(asked.isEmpty());
    QCOMPARE(frame_->area()->subWindowList().size(), 1);
    QVERIFY(app_state.clipboard_image_ours);
}

void TestClose::panel_open_yes_cancels_and_closes() {
    ScriptedBoxes boxes({answer_yes});
    auto first = std::make_unique<TestPanel>();
    auto second = std::make_unique<TestPanel>();
    QVERIFY(frame_->close());
    QVERIFY(!frame_->isVisible());
    // One question for all panels, each then cancelled.
    QCOMPARE(boxes.texts(), QStringList{"Abort transformation in progress?"});
    QCOMPARE(first->cancel_count, 1);
    QCOMPARE(second->cancel_count, 1);
    QVERIFY(!transform_panel_open());
}

void TestClose::mask_tool_question() {
    ScriptedBoxes boxes({answer_no, answer_yes});
    auto tool = std::make_unique<TestPanel>(true);
    QVERIFY(mask_tool_open());
    QVERIFY(!transform_panel_open());

    QVERIFY(!frame_->close());
    QVERIFY(frame_->isVisible());
    QCOMPARE(tool->cancel_count, 0);
    QVERIFY(mask_tool_open());

    QVERIFY(frame_->close());
    QVERIFY(!frame_->isVisible());
    QCOMPARE(tool->cancel_count, 1);
    QVERIFY(!mask_tool_open());
    QCOMPARE(boxes.texts(), (QStringList{"Abort mask operation in progress?",
                                         "Abort mask operation in progress?"}));
    for (const MessageBoxCall& call : boxes.calls)
        QCOMPARE(call.kind, box_yes_no);
}

void TestClose::panel_and_mask_tool_are_asked_in_order() {
    ScriptedBoxes boxes({answer_yes, answer_no});
    auto panel = std::make_unique<TestPanel>();
    auto tool = std::make_unique<TestPanel>(true);
    QVERIFY(!frame_->close());
    QCOMPARE(boxes.texts(), (QStringList{"Abort transformation in progress?",
                                         "Abort mask operation in progress?"}));
    // The panel was already cancelled when the mask tool's No stopped the close.
    QCOMPARE(panel->cancel_count, 1);
    QCOMPARE(tool->cancel_count, 0);
    QVERIFY(frame_->isVisible());
}

void TestClose::children_asked_topmost_first() {
    QStringList asked;
    QMdiSubWindow* a = add_child(new TestChild("a", 0, true, &asked));
    add_child(new TestChild("b", 0, true, &asked));
    add_child(new TestChild("c", 0, true, &asked));
    frame_->area()->setActiveSubWindow(a);  // a comes to the top; c was above b
    QVERIFY(all_windows_may_close());
    QCOMPARE(asked, (QStringList{"a", "c", "b"}));
}

void TestClose::a_veto_stops_the_close() {
    ScriptedBoxes boxes;
    QStringList asked;
    add_child(new TestChild("saved", 0, true, &asked));
    QMdiSubWindow* unsaved = add_child(new TestChild("unsaved", 0, false, &asked));
    add_child(new TestChild("below", 0, true, &asked));
    frame_->area()->setActiveSubWindow(unsaved);
    app_state.clipboard_image_ours = true;

    QVERIFY(!frame_->close());
    QVERIFY(frame_->isVisible());
    // The veto came first, so nobody else was asked, and not the clipboard question.
    QCOMPARE(asked, QStringList{"unsaved"});
    QVERIFY(boxes.calls.empty());
    QCOMPARE(frame_->area()->subWindowList().size(), 3);
}

void TestClose::owned_children_are_not_asked() {
    QStringList asked;
    auto* owner = new TestChild("owner", 0, true, &asked);
    auto* owned = new TestChild("owned", 0, false, &asked);
    owned->owner = owner;
    add_child(owner);
    add_child(owned);
    QVERIFY(frame_->close());
    QCOMPARE(asked, QStringList{"owner"});
}

void TestClose::workflow_windows_are_told_to_close() {
    QStringList asked;
    auto* workflow = new TestChild("workflow", window_kind_workflow, true, &asked);
    auto* image = new TestChild("image", 0, true, &asked);
    add_child(workflow);
    add_child(image);
    QVERIFY(frame_->close());
    QCOMPARE(workflow->close_events, 1);
    QCOMPARE(image->close_events, 0);
    // The workflow window answered in its own close, before the others were asked.
    QCOMPARE(asked.first(), QStringLiteral("workflow"));
    QVERIFY(asked.contains(QStringLiteral("image")));
}

void TestClose::browser_and_docked_windows() {
    QStringList asked;
    add_child(new TestChild("child", 0, true, &asked));
    TestChild docked("docked", 0, false, &asked);
    app_state.docked_image_windows.emplace_back(&docked);

    bool browser_agrees = false;
    app_state.browser_may_close = [&] {
        asked.append("browser");
        return browser_agrees;
    };
    QVERIFY(!all_windows_may_close());
    QCOMPARE(asked, QStringList{"browser"});

    asked.clear();
    browser_agrees = true;
    QVERIFY(!all_windows_may_close());
    QCOMPARE(asked, (QStringList{"browser", "child", "docked"}));
    QVERIFY(!frame_->close());
}

void TestClose::clipboard_question_only_when_ours() {
    QClipboard* clipboard = QApplication::clipboard();
    QImage picture(8, 8, QImage::Format_RGB32);
    picture.fill(Qt::red);

    {  // someone else's image: no question, left alone
        ScriptedBoxes boxes;
        clipboard->setImage(picture);
        QVERIFY(frame_->close());
        QVERIFY(boxes.calls.empty());
        QVERIFY(!clipboard->image().isNull());
    }
    {  // ours, retained
        ScriptedBoxes boxes({answer_yes});
        frame_->show();
        app_state.clipboard_image_ours = true;
        QVERIFY(frame_->close());
        QCOMPARE(boxes.texts(), QStringList{"Retain image on clipboard?"});
        QCOMPARE(boxes.calls[0].kind, box_yes_no);
        QVERIFY(!clipboard->image().isNull());
    }
    {  // ours, not retained
        ScriptedBoxes boxes({answer_no});
        frame_->show();
        app_state.clipboard_image_ours = true;
        QVERIFY(frame_->close());
        QCOMPARE(boxes.texts(), QStringList{"Retain image on clipboard?"});
        QVERIFY(clipboard->image().isNull());
    }
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
    QVERIFY(!frame_->isVisible());
    QVERIFY(boxes.calls.empty());
    QVERIFY(asked.isEmpty());
    QCOMPARE(panel->cancel_count, 0);
    QCOMPARE(workflow->close_events, 0);
}

QTEST_MAIN(TestClose)
#include "tst_close.moc"
