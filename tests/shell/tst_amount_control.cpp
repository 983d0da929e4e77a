// The amount control: its caption and swatch, the masks it offers and the
// links it keeps, the mouse gestures (neutral while Shift is held, Ctrl to
// mirror, the right button to the mask's window), the hint and the slider.
#include "shell/amount_control.h"
#include "shell/input_chooser.h"
#include "shell/link_notify.h"
#include "shell_test_support.h"

#include <QMenu>
#include <QSignalSpy>
#include <QTimer>
#include <QToolTip>

#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

AmountSettings amounts(int low, int high, bool bipolar, const char* label = "Amount: ") {
    AmountSettings settings;
    settings.amount_low = low;
    settings.amount_high = high;
    settings.bipolar = bipolar ? 1 : 0;
    std::snprintf(settings.label, sizeof settings.label, "%s", label);
    return settings;
}

// The caption as C's printf would write it: an oracle apart from the system's formatter.
QString printf_caption(const char* label, double low, double high) {
    char text[200];
    if (high < -1000)
        std::snprintf(text, sizeof text, "%s%.1f%%", label, low);
    else
        std::snprintf(text, sizeof text, "%s%.1f%% .. %.1f%%", label, low, high);
    return QString::fromLatin1(text);
}

QColor centre_colour(QWidget* widget, double fx = 0.5, double fy = 0.5) {
    const QImage image = widget->grab().toImage();
    return image.pixelColor(static_cast<int>(image.width() * fx),
                            static_cast<int>(image.height() * fy));
}

}  // namespace

class TestAmountControl : public FrameTest {
    Q_OBJECT
private slots:
    void initTestCase();

    void caption_data();
    void caption();
    void swatch_and_mask_candidates();
    void mask_link_follows_the_choice();
    void pop_up_lists_no_mask_then_the_masks();
    void shift_shows_neutral_until_release();
    void ctrl_click_mirrors();
    void right_button_brings_the_mask_forward();
    void hint_after_resting_on_the_swatch();
    void slider_follows_mouse_and_keys();

private:
    ImageWindow* open_picture(int type, int width, int height, int left_value = 0,
                              int right_value = 0);
    std::unique_ptr<AmountControl> make_control();
};

void TestAmountControl::initTestCase() {
    link_notifier_install();
}

// A picture whose left half has `left_value` and right half `right_value`.
ImageWindow* TestAmountControl::open_picture(int type, int width, int height, int left_value,
                                             int right_value) {
    ImageHolder picture;
    if (image_alloc(picture.get(), type, width, height, 100.0) != 0) return nullptr;
    const int samples = type == image_type_colour8 ? 3 : 1;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            std::memset(image_pixel_pointer(picture.get(), x, y),
                        x < width / 2 ? left_value : right_value, samples);
    return show_picture(area(), picture.get());
}

std::unique_ptr<AmountControl> TestAmountControl::make_control() {
    auto control = std::make_unique<AmountControl>(area(), area());
    control->resize(control->sizeHint().expandedTo(QSize(300, 0)));
    control->move(10, 10);
    control->show();
    control->raise();
    return control;
}

void TestAmountControl::caption_data() {
    QTest::addColumn<int>("low");
    QTest::addColumn<int>("high");
    QTest::addColumn<bool>("bipolar");
    QTest::addColumn<QString>("label");
    for (const int low : {0, 300, 512, 700, 1000, 1024}) {
        QTest::addRow("plain %d", low) << low << -1 << false << "Amount: ";
        QTest::addRow("bipolar %d", low) << low << -1 << true << "Amount: ";
    }
    QTest::addRow("mask") << 0 << 1024 << false << "Amount: ";
    QTest::addRow("mask mirrored") << 1000 << 300 << false << "Strength: ";
    QTest::addRow("bipolar mask") << 100 << 900 << true << "Amount: ";
}

void TestAmountControl::caption() {
    QFETCH(int, low);
    QFETCH(int, high);
    QFETCH(bool, bipolar);
    QFETCH(QString, label);
    const QByteArray label_bytes = label.toLatin1();
    const AmountSettings settings = amounts(low, high, bipolar, label_bytes.constData());
    // Percent by the two scales: 100% at 1024, or 0% at 512 and 100% at 1024.
    auto shown = [bipolar](int value) {
        return bipolar ? (value / 1024.0 - 0.5) * 200.0 : value / 10.24;
    };
    const QString expected =
        printf_caption(label_bytes.constData(), shown(low), high < 0 ? -9999.0 : shown(high));
    QCOMPARE(amount_caption(settings), expected);
}

void TestAmountControl::swatch_and_mask_candidates() {
    ImageWindow* gray = open_picture(image_type_gray8, 40, 30);
    ImageWindow* colour = open_picture(image_type_colour8, 40, 30);
    ImageWindow* small = open_picture(image_type_gray8, 20, 10);
    ImageWindow* preview = open_picture(image_type_gray8, 40, 30);
    ImageWindow* gray16 = open_picture(image_type_gray16, 40, 30);
    QVERIFY(gray && colour && small && preview && gray16);
    preview->WindowBase::window_kind = window_kind_preview;

    auto control = make_control();
    // The swatch shows the amount as gray, square at the right of the slider.
    for (const int low : {0, 1, 300, 512, 1023, 1024}) {
        control->set_settings(amounts(low, -1, false));
        const int level = static_cast<int>(std::lround(low * 255.0 / 1024.0));
        QCOMPARE(centre_colour(control->swatch()), QColor(level, level, level));
    }

    // Masks are 8-bit gray picture windows of the size asked, any size when none is.
    QCOMPARE(control->mask_candidates(), (std::vector<ImageWindow*>{gray, small}));
    control->set_mask_size(40, 30);
    QCOMPARE(control->mask_candidates(), (std::vector<ImageWindow*>{gray}));
}

// The mask's window is linked while chosen, by the user (with a signal) or
// from outside (without); the link moves, and goes with "No Mask", with a size
// that no longer fits and with the control. The swatch shows the mask.
void TestAmountControl::mask_link_follows_the_choice() {
    ImageWindow* first = open_picture(image_type_gray8, 40, 30, 0, 255);
    ImageWindow* second = open_picture(image_type_gray8, 40, 30, 255, 0);
    auto control = make_control();
    QSignalSpy changed(control.get(), &AmountControl::amount_changed);
    control->choose_mask(first);
    QCOMPARE(control->settings().amount_low, 0);
    QCOMPARE(control->settings().amount_high, 1024);
    QCOMPARE(control->settings().amount_mask, &first->record()->image);
    QCOMPARE(link_blocker(first), std::string("Amount Mask"));
    QVERIFY(centre_colour(control->swatch(), 0.3).lightness() < 40);
    QVERIFY(centre_colour(control->swatch(), 0.7).lightness() > 215);
    control->choose_mask(second);
    QVERIFY(link_blocker(first).empty());
    QCOMPARE(link_blocker(second), std::string("Amount Mask"));
    // New pixels in the mask reach the swatch once the links are told.
    Image& image = second->record()->image;
    for (int y = 0; y < image.height; ++y)
        std::memset(image.rows[y], 0, static_cast<std::size_t>(image.width));
    links_notify_changed(second);
    QVERIFY(centre_colour(control->swatch(), 0.3).lightness() < 40);
    control->choose_mask(nullptr);
    QCOMPARE(control->settings().amount_low, 1024);
    QCOMPARE(control->settings().amount_high, -1);
    QVERIFY(link_blocker(second).empty());
    QCOMPARE(changed.count(), 3);

    // A bipolar amount starts from the middle at both ends; another size drops the mask.
    control->set_settings(amounts(700, -1, true));
    control->choose_mask(first);
    QCOMPARE(control->settings().amount_low, 512);
    QCOMPARE(control->settings().amount_high, 512);
    control->set_mask_size(40, 30);
    QCOMPARE(control->mask_window(), first);
    control->set_mask_size(41, 30);
    QCOMPARE(changed.count(), 5);
    QVERIFY(control->mask_window() == nullptr);
    QVERIFY(link_blocker(first).empty());

    AmountSettings settings = amounts(100, 800, false, "Opacity: ");
    settings.amount_mask = &second->record()->image;
    settings.amount_mask_window = second;
    control->set_settings(settings);
    QCOMPARE(link_blocker(second), std::string("Amount Mask"));
    QCOMPARE(changed.count(), 5);
    control.reset();
    QVERIFY(link_blocker(second).empty());
}

void TestAmountControl::pop_up_lists_no_mask_then_the_masks() {
    ImageWindow* first = open_picture(image_type_gray8, 40, 30, 0, 255);
    open_picture(image_type_colour8, 40, 30);
    ImageWindow* second = open_picture(image_type_gray8, 40, 30, 128, 128);
    auto control = make_control();

    QStringList listed;
    bool had_pictures = false;
    QTimer::singleShot(0, control.get(), [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        QVERIFY(menu != nullptr);
        for (QAction* action : menu->actions())
            listed.append(action->text());
        had_pictures =
            !menu->actions().at(1)->icon().isNull() && !menu->actions().at(2)->icon().isNull();
        menu->setActiveAction(menu->actions().at(2));
        QTest::keyClick(menu, Qt::Key_Return);
    });
    // A press on the swatch opens it.
    QTest::mousePress(control->swatch(), Qt::LeftButton);
    QCOMPARE(listed, (QStringList{"No Mask", image_window_list_name(first),
                                  image_window_list_name(second)}));
    QVERIFY(had_pictures);
    QCOMPARE(control->mask_window(), second);

    QTimer::singleShot(0, control.get(), [] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        QVERIFY(menu != nullptr);
        menu->setActiveAction(menu->actions().at(0));
        QTest::keyClick(menu, Qt::Key_Return);
    });
    control->pop_up_masks();
    QVERIFY(control->mask_window() == nullptr);
    QCOMPARE(control->settings().amount_low, 1024);

}

void TestAmountControl::shift_shows_neutral_until_release() {
    ImageWindow* mask = open_picture(image_type_gray8, 40, 30);
    for (const bool bipolar : {false, true}) {
        auto control = make_control();
        control->set_settings(amounts(300, -1, bipolar));
        control->choose_mask(mask);
        control->set_settings([&] {
            AmountSettings s = control->settings();
            s.amount_low = 200;
            s.amount_high = 900;
            return s;
        }());
        QSignalSpy changed(control.get(), &AmountControl::amount_changed);

        QTest::mousePress(control->slider(), Qt::LeftButton, Qt::ShiftModifier,
                          QPoint(5, control->slider()->height() / 2));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(control->settings().amount_low, bipolar ? 512 : 0);
        QCOMPARE(control->slider()->high(), -1);
        // Released, even without Shift: back as it was, mask and all.
        QTest::mouseRelease(control->slider(), Qt::LeftButton, Qt::NoModifier,
                            QPoint(control->slider()->width() - 3, 5));
        QCOMPARE(changed.count(), 2);
        QCOMPARE(control->settings().amount_low, 200);
        QCOMPARE(control->settings().amount_high, 900);
        QCOMPARE(control->settings().amount_mask_window, static_cast<WindowBase*>(mask));
        QCOMPARE(control->slider()->high(), 900);
    }
}

void TestAmountControl::ctrl_click_mirrors() {
    ImageWindow* mask = open_picture(image_type_gray8, 40, 30);
    auto control = make_control();
    control->set_settings(amounts(300, -1, false));
    QSignalSpy changed(control.get(), &AmountControl::amount_changed);
    QTest::mouseClick(control->slider(), Qt::LeftButton, Qt::ControlModifier, QPoint(3, 3));
    QCOMPARE(control->settings().amount_low, 724);
    QCOMPARE(control->settings().amount_high, -1);
    QCOMPARE(changed.count(), 1);

    control->choose_mask(mask);
    control->set_settings([&] {
        AmountSettings s = control->settings();
        s.amount_low = 100;
        s.amount_high = 1000;
        return s;
    }());
    // On the swatch too, where a plain click would open the list.
    QTest::mouseClick(control->swatch(), Qt::LeftButton, Qt::ControlModifier);
    QCOMPARE(control->settings().amount_low, 924);
    QCOMPARE(control->settings().amount_high, 24);
}

void TestAmountControl::right_button_brings_the_mask_forward() {
    ImageWindow* mask = open_picture(image_type_gray8, 40, 30);
    ImageWindow* other = open_picture(image_type_colour8, 40, 30);
    auto control = make_control();
    control->choose_mask(mask);
    area()->setActiveSubWindow(other->sub_window());
    QTest::mouseClick(control->swatch(), Qt::RightButton);
    QCOMPARE(area()->activeSubWindow(), mask->sub_window());
}

void TestAmountControl::hint_after_resting_on_the_swatch() {
    auto control = make_control();
    AmountSwatch* swatch = control->swatch();
    QEnterEvent enter(QPointF(2, 2), QPointF(2, 2), swatch->mapToGlobal(QPointF(2, 2)));
    QCoreApplication::sendEvent(swatch, &enter);
    QVERIFY(!QToolTip::isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(QToolTip::isVisible(), 3000);
    QCOMPARE(QToolTip::text(), QStringLiteral("Select Amount Mask"));
}

void TestAmountControl::slider_follows_mouse_and_keys() {
    auto control = make_control();
    AmountSlider* slider = control->slider();
    const int mid = slider->height() / 2;
    // The thumb follows the pointer, and stops at the ends.
    QTest::mousePress(slider, Qt::LeftButton, {}, QPoint(0, mid));
    QCOMPARE(control->settings().amount_low, 0);
    QTest::mouseMove(slider, QPoint(slider->width() / 2, mid));
    QVERIFY(qAbs(slider->thumb_x(0) - slider->width() / 2) <= 1);
    QTest::mouseMove(slider, QPoint(slider->width() + 40, mid));
    QTest::mouseRelease(slider, Qt::LeftButton, {}, QPoint(slider->width() + 40, mid));
    QCOMPARE(control->settings().amount_low, 1024);
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_Home);
    QCOMPARE(control->settings().amount_low, 0);
    QTest::keyClick(slider, Qt::Key_Right);
    QVERIFY(control->settings().amount_low > 0);

    // With a mask, the thumb nearest the press moves: here the high one.
    control->choose_mask(open_picture(image_type_gray8, 40, 30));
    const int three_quarters = slider->width() * 3 / 4;
    QTest::mouseClick(slider, Qt::LeftButton, {}, QPoint(three_quarters, mid));
    QCOMPARE(control->settings().amount_low, 0);
    QVERIFY(qAbs(slider->thumb_x(1) - three_quarters) <= 1);
}

QTEST_MAIN(TestAmountControl)
#include "tst_amount_control.moc"
