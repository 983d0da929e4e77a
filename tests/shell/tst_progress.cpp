// The progress panel: the time-left estimate, the bar, "Cancel" during a long
// loop of steps while the rest of the interface stays frozen, and the display
// that the core's progress calls reach.
#include "core/progress.h"
#include "shell/progress_panel.h"
#include "shell_test_support.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>

namespace {

class ReleaseCounter : public QWidget {
public:
    using QWidget::QWidget;
    int count = 0;

protected:
    void mouseReleaseEvent(QMouseEvent* event) override {
        ++count;
        event->accept();
    }
};

}  // namespace

class TestProgress : public FrameTest {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void time_left_data();
    void time_left();
    void bar_fills_black_over_the_ticks();
    void time_line_waits_for_the_second_step_and_for_a_change();
    void cancel_works_during_a_long_loop_and_nothing_else_does();
    void core_calls_reach_the_display();

};

void TestProgress::init() {
    app_state_reset();
    QVERIFY(show_test_frame(frame_, 900, 700));
}

void TestProgress::cleanup() {
    frame_.reset();
    app_state_reset();
    progress_set_display(nullptr);
}

void TestProgress::time_left_data() {
    QTest::addColumn<qint64>("elapsed_ms");
    QTest::addColumn<qint64>("done");
    QTest::addColumn<qint64>("range");
    QTest::addColumn<QString>("shown");
    // 1234.5 s for a quarter: 3703.5 s to go, rounded up to 3704 = 1 h 1 min 44 s.
    QTest::newRow("hours") << qint64(1234500) << qint64(1) << qint64(4) << "Time left: 01:01:45";
    // 0.4 s to go rounds to nothing.
    QTest::newRow("round down") << qint64(400) << qint64(1) << qint64(2) << "Time left: 00:00:01";
    // Past the end nothing is left.
    QTest::newRow("overrun") << qint64(5000) << qint64(5) << qint64(4) << "Time left: 00:00:01";
}

void TestProgress::time_left() {
    QFETCH(qint64, elapsed_ms);
    QFETCH(qint64, done);
    QFETCH(qint64, range);
    QFETCH(QString, shown);
    const auto time = progress_time_left(elapsed_ms, done, range);
    QVERIFY(time.has_value());
    QCOMPARE(progress_time_text(*time), shown);
    // Nothing done yet gives no estimate at all.
    QVERIFY(!progress_time_left(elapsed_ms, 0, range).has_value());
}

void TestProgress::bar_fills_black_over_the_ticks() {
    ProgressPanel panel(area(), QStringLiteral("Work"), 100, 300, false);
    panel.show();
    ProgressBar* bar = panel.bar();
    const QRect inner = bar->inner_rect();
    QVERIFY(inner.width() >= 100);
    // Black from the left up to the part done, white after; nine ticks in the
    // lower half of the white part, at each tenth.
    const auto check = [&](int value, int black_to, int ticks_expected) {
        QCOMPARE(panel.step(value), 0);
        const QImage image = bar->grab().toImage();
        int ticks = 0;
        for (int x = inner.left(); x <= inner.right(); ++x) {
            if (qAbs(x - black_to) <= 1) continue;
            const QColor expected = x < black_to ? Qt::black : Qt::white;
            QCOMPARE(image.pixelColor(x, inner.top() + 1), expected);
            if (x > black_to && image.pixelColor(x, inner.bottom() - 1) == Qt::black) ++ticks;
        }
        QCOMPARE(ticks, ticks_expected);
    };
    check(100, inner.left(), 9);
    QCOMPARE(bar->grab().toImage().pixelColor(inner.left() + inner.width() / 2, inner.bottom() - 1),
             QColor(Qt::black));
    // 150 of 200 done (the range starts at 100): three quarters.
    check(250, inner.left() + inner.width() * 3 / 4, 2);
    check(300, inner.right() + 2, 0);
}

void TestProgress::time_line_waits_for_the_second_step_and_for_a_change() {
    qint64 clock = 5000;
    ProgressPanel panel(area(), QStringLiteral("Work"), 0, 100, false, [&clock] { return clock; });
    panel.show();

    // The first step paints the panel but leaves the time line empty.
    clock += 2000;
    QCOMPARE(panel.step(10), 0);
    QVERIFY(panel.time_text().isEmpty());
    QCOMPARE(panel.time_redraws(), 0);

    // 4 s for a fifth: 16 s to go.
    clock += 2000;
    QCOMPARE(panel.step(20), 0);
    QCOMPARE(panel.time_text(), QStringLiteral("Time left: 00:00:17"));
    QCOMPARE(panel.time_redraws(), 1);

    // 4.4 s for 22: 15.6 s rounds to 16 as before, so nothing is redrawn.
    clock += 400;
    QCOMPARE(panel.step(22), 0);
    QCOMPARE(panel.time_redraws(), 1);

    // 6 s for half: 6 s to go.
    clock += 1600;
    QCOMPARE(panel.step(50), 0);
    QCOMPARE(panel.time_text(), QStringLiteral("Time left: 00:00:07"));
    QCOMPARE(panel.time_redraws(), 2);
}

void TestProgress::cancel_works_during_a_long_loop_and_nothing_else_does() {
    // Controls of the frozen part of the interface.
    auto* other = new QPushButton(QStringLiteral("Other"), area());
    other->setGeometry(10, 10, 80, 30);
    other->show();
    QSignalSpy other_clicked(other, &QPushButton::clicked);
    auto* edit = new QLineEdit(area());
    edit->setGeometry(10, 50, 120, 25);
    edit->show();
    edit->setFocus();
    auto* releases = new ReleaseCounter(area());
    releases->setGeometry(10, 90, 40, 40);
    releases->show();

    auto owned =
        std::make_unique<ProgressPanel>(area(), QStringLiteral("Long"), 0, 1000000000, true);
    ProgressPanel& panel = *owned;
    panel.show();
    panel.raise();
    QVERIFY(!panel.geometry().intersects(other->geometry()));
    QVERIFY(!panel.geometry().intersects(edit->geometry()));

    bool tried_others = false;
    bool frame_visible_after_close = false;
    QTimer::singleShot(30, frame_.get(), [&] {
        QTest::mouseClick(other, Qt::LeftButton);
        QTest::mouseRelease(releases, Qt::LeftButton);
        QTest::keyClicks(edit, QStringLiteral("typed"));
        frame_->close();
        frame_visible_after_close = frame_->isVisible();
        tried_others = true;
    });
    QTimer::singleShot(80, frame_.get(),
                       [&] { QTest::mouseClick(panel.cancel_button(), Qt::LeftButton); });

    QElapsedTimer watch;
    watch.start();
    int result = 0;
    std::int64_t value = 0;
    // A loop that runs until cancelled, or fails the test after 10 s.
    while (result == 0 && watch.elapsed() < 10000) {
        volatile int work = 0;
        for (int i = 0; i < 20000; ++i)
            work = work + i;
        result = panel.step(++value);
    }
    QCOMPARE(result, 11);
    QVERIFY(panel.cancelled());
    QVERIFY(tried_others);
    QCOMPARE(other_clicked.count(), 0);
    QVERIFY(edit->text().isEmpty());
    QVERIFY(frame_visible_after_close);
    // Once cancelled, every later step says so too.
    QCOMPARE(panel.step(value + 1), 11);

    // The release that came meanwhile arrives once the panel is gone, so that
    // nothing held down when the computation began is left held.
    QCOMPARE(releases->count, 0);
    owned.reset();
    QTRY_COMPARE(releases->count, 1);
    QCOMPARE(other_clicked.count(), 0);
}

void TestProgress::core_calls_reach_the_display() {
    progress_display_install(area());
    auto panels = [this] { return area()->findChildren<ProgressPanel*>(); };
    QVERIFY(panels().isEmpty());

    progress_begin("Add Noise", 0, 9, true);
    QCOMPARE(panels().size(), 1);
    ProgressPanel* outer = panels().first();
    QVERIFY(outer->isVisible());
    QCOMPARE(progress_step(3), 0);

    // A nested panel (without Cancel: it serves no events) takes the steps until it ends.
    progress_begin("Copy", 0, 4, false);
    QCOMPARE(panels().size(), 2);
    bool fired = false;
    QTimer::singleShot(0, frame_.get(), [&fired] { fired = true; });
    QCOMPARE(progress_step(4), 0);
    QVERIFY(!fired);
    progress_end();
    QCOMPARE(panels().size(), 1);

    outer->cancel_button()->click();
    QCOMPARE(progress_step(4), 11);
    progress_end();
    QVERIFY(panels().isEmpty());

    // Below the threshold only the wait cursor shows; nested, it goes with the outer end.
    {
        ProgressScope small("Small", progress_threshold - 1, 0, 10, true);
        {
            ProgressScope inner("Inner", progress_threshold - 1, 0, 10, true);
        }
        QVERIFY(panels().isEmpty());
        QVERIFY(QApplication::overrideCursor() != nullptr);
        QCOMPARE(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    }
    QVERIFY(QApplication::overrideCursor() == nullptr);
    QTRY_VERIFY(fired);
}

QTEST_MAIN(TestProgress)
#include "tst_progress.moc"
