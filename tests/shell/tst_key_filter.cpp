// Tab, Enter and Esc in a panel, and which window is the active one.
#include "frame_test_support.h"
#include "shell/active_window.h"
#include "shell/key_filter.h"
#include "shell/main_frame.h"
#include "shell_test_support.h"

#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

namespace {

// A panel with three controls, the middle one disabled.
class ThreeControlPanel : public TestPanel {
public:
    explicit ThreeControlPanel(bool keeps_enter_key = false) : TestPanel(false, keeps_enter_key) {
        setWindowFlags(Qt::Tool);
        auto* layout = new QVBoxLayout(this);
        first = new QLineEdit(this);
        skipped = new QPushButton("skipped", this);
        skipped->setEnabled(false);
        last = new QPushButton("last", this);
        layout->addWidget(first);
        layout->addWidget(skipped);
        layout->addWidget(last);
    }
    QLineEdit* first;
    QPushButton* skipped;
    QPushButton* last;
};

}  // namespace

class TestKeyFilter : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void focus_sets_the_active_window();
    void tab_moves_within_the_panel();
    void enter_is_ok_only_while_allowed();
    void keys_outside_the_active_panel_pass();

private:
    void show_panel(ThreeControlPanel* panel);
    std::unique_ptr<MainFrame> frame_;
};

void TestKeyFilter::initTestCase() {
    key_filter_install();
    active_window_track();
}

void TestKeyFilter::init() {
    app_state_reset();
    QVERIFY(show_test_frame(frame_, 800, 600));
}

void TestKeyFilter::cleanup() {
    frame_.reset();
    app_state_reset();
}

void TestKeyFilter::show_panel(ThreeControlPanel* panel) {
    panel->show();
    QVERIFY(QTest::qWaitForWindowExposed(panel));
    panel->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(panel));
    panel->first->setFocus();
    QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(panel->first));
}

void TestKeyFilter::focus_sets_the_active_window() {
    ThreeControlPanel panel;
    show_panel(&panel);
    QCOMPARE(app_state.active_window.data(), static_cast<QWidget*>(&panel));

    auto* edit = new QLineEdit;
    QMdiSubWindow* child = frame_->area()->addSubWindow(edit);
    child->show();
    frame_->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(frame_.get()));
    frame_->area()->setActiveSubWindow(child);
    edit->setFocus();
    QTRY_COMPARE(app_state.active_window.data(), static_cast<QWidget*>(child));
}

void TestKeyFilter::tab_moves_within_the_panel() {
    ThreeControlPanel panel;
    show_panel(&panel);
    QTest::keyClick(panel.first, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(panel.last));
    // From the last control the focus comes round to the first, never leaving the panel.
    QTest::keyClick(panel.last, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(panel.first));
    QTest::keyClick(panel.first, Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(panel.last));
    QCOMPARE(panel.ok_count, 0);
    QCOMPARE(panel.cancel_count, 0);
}

void TestKeyFilter::enter_is_ok_only_while_allowed() {
    ThreeControlPanel panel;
    show_panel(&panel);
    QVERIFY(app_state.enter_is_ok);
    QTest::keyClick(panel.first, Qt::Key_Return);
    QTest::keyClick(panel.first, Qt::Key_Enter);
    QCOMPARE(panel.ok_count, 2);

    app_state.enter_is_ok = false;
    QTest::keyClick(panel.first, Qt::Key_Return);
    QCOMPARE(panel.ok_count, 2);

    // A panel that keeps Enter for itself turns the flag off while active.
    ThreeControlPanel keeper(true);
    show_panel(&keeper);
    QVERIFY(!app_state.enter_is_ok);
    QTest::keyClick(keeper.first, Qt::Key_Return);
    QCOMPARE(keeper.ok_count, 0);
    show_panel(&panel);
    QVERIFY(app_state.enter_is_ok);
}

void TestKeyFilter::keys_outside_the_active_panel_pass() {
    ThreeControlPanel panel;
    show_panel(&panel);
    // Another window holds the focus while the panel is still the active window.
    QLineEdit elsewhere;
    elsewhere.show();
    elsewhere.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&elsewhere));
    elsewhere.setFocus();
    QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(&elsewhere));
    QCOMPARE(app_state.active_window.data(), static_cast<QWidget*>(&panel));
    QTest::keyClick(&elsewhere, Qt::Key_Return);
    QTest::keyClick(&elsewhere, Qt::Key_Escape);
    QCOMPARE(panel.ok_count, 0);
    QCOMPARE(panel.cancel_count, 0);
}

QTEST_MAIN(TestKeyFilter)
#include "tst_key_filter.moc"
