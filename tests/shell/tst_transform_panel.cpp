// The frame of transformation panels: where a panel opens, its flags, the rows
// of buttons and what they report, keeping it in view, the input chooser; and
// Tab, Enter and Esc in a panel.
#include "shell/active_window.h"
#include "shell/input_chooser.h"
#include "shell/key_filter.h"
#include "shell/link_notify.h"
#include "shell/panel_title_bar.h"
#include "shell/transform_panel.h"
#include "shell_test_support.h"

#include <QAbstractItemView>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSizeGrip>
#include <QTimer>
#include <QVBoxLayout>

namespace {

// The buttons reported by a panel, in order.
QList<PanelButton> pressed_buttons(const QSignalSpy& spy) {
    QList<PanelButton> result;
    for (const QList<QVariant>& call : spy)
        result.append(call.at(0).value<PanelButton>());
    return result;
}

// A panel with three controls, the middle one disabled.
class ThreeControlPanel : public TestPanel {
public:
    explicit ThreeControlPanel(bool keeps_enter_key = false) : TestPanel(false, keeps_enter_key) {
        setWindowFlags(Qt::Tool);
        auto* layout = new QVBoxLayout(this);
        first = new QLineEdit(this);
        auto* skipped = new QPushButton("skipped", this);
        skipped->setEnabled(false);
        last = new QPushButton("last", this);
        layout->addWidget(first);
        layout->addWidget(skipped);
        layout->addWidget(last);
    }
    void show_active() {
        show();
        QVERIFY(QTest::qWaitForWindowExposed(this));
        activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(this));
        first->setFocus();
        QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget*>(first));
    }
    QLineEdit* first;
    QPushButton* last;
};

ImageWindow* open_picture(QMdiArea* area, int type, int width, int height) {
    ImageHolder picture;
    if (image_alloc(picture.get(), type, width, height, 100.0) != 0) return nullptr;
    return show_picture(area, picture.get());
}

}  // namespace

class TestTransformPanel : public FrameTest {
    Q_OBJECT
private slots:
    void initTestCase();

    void opens_centred_against_the_bottom();
    void flags_decide_close_box_and_resizing();
    void rows_of_buttons_report_presses();
    void apply_takes_a_double_click_as_one();
    void keep_visible_moves_up_and_left_only_as_needed();
    void input_chooser_offers_open_image_windows();
    void tab_stays_in_the_panel_and_enter_is_ok_while_allowed();
    void keys_outside_the_active_panel_pass();

};

void TestTransformPanel::initTestCase() {
    qRegisterMetaType<PanelButton>();
    key_filter_install();
    active_window_track();
    link_notifier_install();
}

void TestTransformPanel::opens_centred_against_the_bottom() {
    TransformPanel* panel = panel_create(QStringLiteral("Add Noise"), 300, 120, 51, 0);
    QVERIFY(panel != nullptr);
    panel->show();
    QCOMPARE(panel->client()->size(), QSize(300, 120));
    const QRect room = area()->viewport()->geometry();
    QCOMPARE(panel->geometry().bottom(), room.bottom());
    QVERIFY(qAbs((panel->x() - room.left()) - (room.right() - panel->geometry().right())) <= 1);
    // The client lies below the title bar, inside the panel.
    QVERIFY(panel->client()->geometry().top() >= panel->findChild<PanelTitleBar*>()->height());
    QVERIFY(transform_panel_open());
    delete panel;
    QVERIFY(!transform_panel_open());
}

void TestTransformPanel::flags_decide_close_box_and_resizing() {
    std::unique_ptr<TransformPanel> plain(panel_create(QStringLiteral("Plain"), 200, 80, 51, 0));
    plain->show();
    auto* bar = plain->findChild<PanelTitleBar*>();
    QVERIFY(plain->findChild<QSizeGrip*>() == nullptr);
    // The close box is "Cancel"; a press on the rest of the bar is not.
    QSignalSpy plain_pressed(plain.get(), &TransformPanel::button_pressed);
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->close_box_rect().center());
    QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(5, bar->height() / 2));
    QCOMPARE(pressed_buttons(plain_pressed), QList<PanelButton>{PanelButton::cancel});

    std::unique_ptr<TransformPanel> bare(
        panel_create(QStringLiteral("Bare"), 200, 80, 60, panel_no_system_menu | panel_resizable));
    bare->show();
    QVERIFY(bare->findChild<PanelTitleBar*>()->close_box_rect().isEmpty());
    QVERIFY(bare->findChild<QSizeGrip*>()->isVisible());
    bare->resize(bare->width() + 50, bare->height() + 30);
    QCOMPARE(bare->client()->size(), QSize(250, 110));
}

void TestTransformPanel::rows_of_buttons_report_presses() {
    std::unique_ptr<TransformPanel> panel(panel_create(QStringLiteral("Full"), 500, 100, 51, 0));
    panel->show();
    panel_buttons(panel.get(), 7, 5);
    PanelButtonRow* row = panel->button_row();
    // In this order from the left.
    const QList<QWidget*> order = {row->auto_box(), row->preview_button(), row->apply_button(),
                                   row->ok_button(), row->cancel_button()};
    QSignalSpy pressed(panel.get(), &TransformPanel::button_pressed);
    for (int i = 0; i < order.size(); ++i) {
        QVERIFY(i == 0 || order[i]->x() > order[i - 1]->geometry().right());
        QTest::mouseClick(order[i], Qt::LeftButton);
    }
    QCOMPARE(pressed_buttons(pressed),
             (QList<PanelButton>{PanelButton::automatic, PanelButton::preview, PanelButton::apply,
                                 PanelButton::ok, PanelButton::cancel}));
    // The short row: Apply, OK and Cancel only.
    panel_buttons_short(panel.get(), 0, 0);
    QCOMPARE(panel->button_row()->findChildren<QAbstractButton*>().size(), 3);
}

void TestTransformPanel::apply_takes_a_double_click_as_one() {
    std::unique_ptr<TransformPanel> panel(panel_create(QStringLiteral("Twice"), 500, 100, 51, 0));
    panel->show();
    panel_buttons(panel.get(), 0, 0);
    QSignalSpy pressed(panel.get(), &TransformPanel::button_pressed);
    QPushButton* apply = panel->button_row()->apply_button();
    QPushButton* ok = panel->button_row()->ok_button();
    // A double click as widgets receive it: press, release, press, double click, release.
    auto double_click = [](QWidget* button) {
        QTest::mouseClick(button, Qt::LeftButton);
        QTest::mousePress(button, Qt::LeftButton);
        QTest::mouseDClick(button, Qt::LeftButton);
        QTest::mouseRelease(button, Qt::LeftButton);
    };
    double_click(apply);
    QCOMPARE(pressed_buttons(pressed), QList<PanelButton>{PanelButton::apply});
    QVERIFY(!apply->isDown());
    QTest::mouseClick(apply, Qt::LeftButton);
    // Another button, for comparison: a double click there is two clicks.
    double_click(ok);
    QCOMPARE(pressed_buttons(pressed), (QList<PanelButton>{PanelButton::apply, PanelButton::apply,
                                                           PanelButton::ok, PanelButton::ok}));
}

void TestTransformPanel::keep_visible_moves_up_and_left_only_as_needed() {
    std::unique_ptr<TransformPanel> panel(panel_create(QStringLiteral("Far"), 300, 100, 51, 0));
    const QRect room = area()->viewport()->geometry();
    // Inside already: it stays. Off the right and bottom edges: back in, touching them.
    panel->move(room.left() + 20, room.top() + 30);
    panel_keep_visible(panel.get());
    QCOMPARE(panel->pos(), QPoint(room.left() + 20, room.top() + 30));
    panel->move(room.right() - 50, room.bottom() - 10);
    panel_keep_visible(panel.get());
    QCOMPARE(panel->geometry().bottomRight(), room.bottomRight());
    // Bigger than the area: its top left corner goes to the area's.
    panel->set_client_size(room.width() + 100, room.height() + 100);
    panel_keep_visible(panel.get());
    QCOMPARE(panel->pos(), room.topLeft());
}

void TestTransformPanel::input_chooser_offers_open_image_windows() {
    ImageWindow* first = open_picture(area(), image_type_colour8, 30, 20);
    ImageWindow* preview = open_picture(area(), image_type_colour8, 30, 20);
    ImageWindow* second = open_picture(area(), image_type_gray8, 10, 10);
    QVERIFY(first && preview && second);
    preview->WindowBase::window_kind = window_kind_preview;

    std::unique_ptr<TransformPanel> panel(panel_create(QStringLiteral("In"), 400, 100, 51, 0));
    auto* chooser = new InputChooser(panel->client(), area());
    chooser->resize(chooser->sizeHint());
    panel->show();
    chooser->show();
    chooser->set_current(first);
    QComboBox* combo = chooser->combo();
    QCOMPARE(combo->count(), 2);
    QCOMPARE(combo->itemText(0), QStringLiteral("Untitled 1"));
    QCOMPARE(combo->itemText(1), image_window_list_name(second));
    QCOMPARE(combo->currentIndex(), 0);

    // A window opened later is in the list when it next opens.
    ImageWindow* third = open_picture(area(), image_type_colour8, 5, 5);
    QSignalSpy changed(chooser, &InputChooser::input_changed);
    QTimer::singleShot(0, combo, [combo] {
        QCOMPARE(combo->count(), 3);
        QTest::keyClick(combo->view(), Qt::Key_Down);
        QTest::keyClick(combo->view(), Qt::Key_Down);
        QTest::keyClick(combo->view(), Qt::Key_Return);
    });
    combo->showPopup();
    QTRY_COMPARE(changed.count(), 1);
    QCOMPARE(changed.first().at(0).value<ImageWindow*>(), third);

    // Choosing the same again is no change; neither is setting from outside.
    emit combo->activated(2);
    chooser->set_current(second);
    QCOMPARE(changed.count(), 1);

    // A filter narrows the list.
    chooser->set_filter(
        [](const ImageWindow* window) { return window->record()->image.type == image_type_gray8; });
    QCOMPARE(combo->count(), 1);
    QCOMPARE(combo->itemText(0), image_window_list_name(second));
}

void TestTransformPanel::tab_stays_in_the_panel_and_enter_is_ok_while_allowed() {
    ThreeControlPanel panel;
    panel.show_active();
    // Tab skips the disabled control, and comes round without leaving the panel.
    QTest::keyClick(panel.first, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(panel.last));
    QTest::keyClick(panel.last, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(panel.first));
    QTest::keyClick(panel.first, Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(panel.last));
    QCOMPARE(panel.ok_count, 0);

    panel.first->setFocus();
    QVERIFY(app_state.enter_is_ok);
    QTest::keyClick(panel.first, Qt::Key_Return);
    QTest::keyClick(panel.first, Qt::Key_Enter);
    QCOMPARE(panel.ok_count, 2);
    app_state.enter_is_ok = false;
    QTest::keyClick(panel.first, Qt::Key_Return);
    QCOMPARE(panel.ok_count, 2);

    // A panel that keeps Enter for itself turns the flag off while active.
    ThreeControlPanel keeper(true);
    keeper.show_active();
    QVERIFY(!app_state.enter_is_ok);
    QTest::keyClick(keeper.first, Qt::Key_Return);
    QCOMPARE(keeper.ok_count, 0);
    panel.show_active();
    QVERIFY(app_state.enter_is_ok);
    QTest::keyClick(panel.first, Qt::Key_Escape);
    QCOMPARE(panel.cancel_count, 1);
}

void TestTransformPanel::keys_outside_the_active_panel_pass() {
    ThreeControlPanel panel;
    panel.show_active();
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

QTEST_MAIN(TestTransformPanel)
#include "tst_transform_panel.moc"
