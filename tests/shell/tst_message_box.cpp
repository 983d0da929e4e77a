// The message box's buttons and answers, its silence in a background process,
// and where reported errors go.
#include "core/errors.h"
#include "shell/log_sink.h"
#include "shell/shell_error_reporter.h"
#include "shell_test_support.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QTimer>

namespace {

class CollectingSink : public LogSink {
public:
    void write_line(const QString& line) override { lines.append(line); }
    QStringList lines;
};

// Presses the button of the modal box whose text is `button_text`, once it is
// up, and notes the texts of all its buttons.
void press_when_shown(const QString& button_text, QStringList* buttons_seen) {
    QTimer::singleShot(0, [button_text, buttons_seen] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr) {
            press_when_shown(button_text, buttons_seen);
            return;
        }
        for (QAbstractButton* button : box->buttons()) {
            buttons_seen->append(button->text().remove(QLatin1Char('&')));
        }
        for (QAbstractButton* button : box->buttons()) {
            if (button->text().remove(QLatin1Char('&')) == button_text) {
                button->click();
                return;
            }
        }
        box->reject();
    });
}

}  // namespace

class TestMessageBox : public FrameTest {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void kinds_and_answers_data();
    void kinds_and_answers();
    void arrow_cursor_while_shown();
    void background_answers_by_itself();
    void errors_in_the_editor_and_the_background();

};

void TestMessageBox::init() {
    app_state_reset();
    QVERIFY(show_test_frame(frame_, 800, 600));
}

void TestMessageBox::cleanup() {
    frame_.reset();
    error_set_reporter(nullptr);
    log_set_sink(nullptr);
    app_state_reset();
}

void TestMessageBox::kinds_and_answers_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("press");
    QTest::addColumn<int>("answer");
    QTest::addColumn<int>("buttons");

    QTest::newRow("ok") << 0 << "OK" << 1 << 1;
    QTest::newRow("ok cancel: cancel") << 1 << "Cancel" << 2 << 2;
    QTest::newRow("yes no cancel: no") << 3 << "No" << 7 << 3;
    QTest::newRow("yes no cancel: cancel") << 3 << "Cancel" << 2 << 3;
    QTest::newRow("yes no: yes") << 4 << "Yes" << 6 << 2;
}

void TestMessageBox::kinds_and_answers() {
    QFETCH(int, kind);
    QFETCH(QString, press);
    QFETCH(int, answer);
    QFETCH(int, buttons);
    QStringList seen;
    press_when_shown(press, &seen);
    QCOMPARE(message_box(frame_.get(), "Caption", kind, "Line one\nLine two"), answer);
    QCOMPARE(seen.size(), buttons);
    QVERIFY(seen.contains(press));
}

void TestMessageBox::arrow_cursor_while_shown() {
    QApplication::setOverrideCursor(Qt::WaitCursor);
    Qt::CursorShape during = Qt::WaitCursor;
    QTimer::singleShot(0, [&during] {
        if (const QCursor* cursor = QApplication::overrideCursor()) during = cursor->shape();
        if (QWidget* box = QApplication::activeModalWidget()) box->close();
    });
    message_box(frame_.get(), "Caption", box_ok, "Wait");
    QCOMPARE(during, Qt::ArrowCursor);
    // The caller's wait cursor is back afterwards.
    QVERIFY(QApplication::overrideCursor() != nullptr);
    QCOMPARE(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    QApplication::restoreOverrideCursor();
}

void TestMessageBox::background_answers_by_itself() {
    ScriptedBoxes boxes({answer_no, answer_no, answer_no, answer_no});
    app_state.batch_parent.present = true;
    QCOMPARE(message_box(frame_.get(), "c", box_ok, "t"), answer_ok);
    QCOMPARE(message_box(frame_.get(), "c", box_ok_cancel, "t"), answer_ok);
    QCOMPARE(message_box(frame_.get(), "c", box_yes_no_cancel, "t"), answer_yes);
    QCOMPARE(message_box(frame_.get(), "c", box_yes_no, "t"), answer_yes);
    QVERIFY(boxes.calls.empty());
    QVERIFY(QApplication::activeModalWidget() == nullptr);
}

// In the editor an error is a box ("Attention" for a cancel); in the
// background it is a line of the log; code 0 is no error.
void TestMessageBox::errors_in_the_editor_and_the_background() {
    ScriptedBoxes boxes;
    CollectingSink sink;
    log_set_sink(&sink);
    shell_error_reporter_install();
    error_report(0);
    error_report(11);
    error_report(71);
    QCOMPARE(boxes.texts(), (QStringList{QString::fromUtf8(error_text(11)), "Unknown file type"}));
    QCOMPARE(boxes.calls[0].caption, QStringLiteral("Attention"));
    QCOMPARE(boxes.calls[1].caption, QStringLiteral("Error"));
    QCOMPARE(boxes.calls[1].kind, box_ok);

    app_state.batch_parent.present = true;
    error_report(71);
    error_report(0);
    QCOMPARE(boxes.calls.size(), size_t{2});
    QCOMPARE(sink.lines, QStringList{"Error 71: Unknown file type"});
}

QTEST_MAIN(TestMessageBox)
#include "tst_message_box.moc"
