// 3-Zone Adjustment in the editor: a zone's slider previews again from the
// masks it has, the strip's handles rebuild them once a drag ends, the page
// shows its own sliders and the Options menu resets a part of the block.
#include "shell/transform_panel.h"
#include "shell/zone_strip_control.h"
#include "shell_test_support.h"
#include "transform/driver.h"
#include "transform/gray/zones.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

extern const TransformDescriptor three_zone_transform;

namespace {

int computations = 0;
int counting_compute(const ComputeArgs& args) {
    ++computations;
    return three_zone_transform.compute(args);
}
TransformPanel* panel() {
    return dynamic_cast<TransformPanel*>(transform_state().panel_window);
}
int value(const char* keyword) {
    return static_cast<int>(field_find(three_zone_transform.fields, keyword)->get(transform_params()));
}

}  // namespace

class TestZones : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { panel_tests_start(); }
    void init() {
        QVERIFY(panel_frame_open(frame_));
        ImageHolder picture;
        fill_noise(picture.get(), image_type_colour8, 300, 200);
        input_ = show_picture(frame_->area(), picture.get());
        static TransformDescriptor counting = three_zone_transform;
        counting.compute = counting_compute;
        QCOMPARE(transform_open(counting, input_), 0);
        panel()->button_row()->auto_box()->click();
        QTRY_VERIFY(computations >= 1);
        // The Blend page showing the result.
        for (const auto& [name, index] : {std::pair{"panel", 3}, std::pair{"mode", 3}}) {
            computations = 0;
            emit panel()->findChild<QComboBox*>(QString::fromLatin1(name))->activated(index);
            QTRY_COMPARE(computations, 1);
        }
        computations = 0;
    }
    void cleanup() { panel_frame_close(frame_); }

    void a_zone_slider_keeps_the_masks_and_the_strip_rebuilds_them() {
        auto* slider = panel()->findChild<QSlider*>(QStringLiteral("shadow_brightness"));
        QVERIFY(slider && !slider->isVisible());  // a Shadow page slider
        const ZoneCounters before = zone_counters(3);
        slider->setValue(120);
        QTRY_COMPARE(computations, 1);
        const ZoneCounters after = zone_counters(3);
        QCOMPARE(value("shadow_brightness"), 120);
        QCOMPARE(panel()->findChild<QLabel*>(QStringLiteral("shadow_brightness_label"))->text(),
                 QStringLiteral("Brightness Change: +47.06%"));
        QCOMPARE(after.mask_builds, before.mask_builds);
        QCOMPARE(after.expansions, before.expansions);
        QCOMPARE(after.zone_builds[1], before.zone_builds[1] + 1);
        QCOMPARE(after.zone_builds[0], before.zone_builds[0]);

        // Dragging the high threshold: nothing until the release, then the
        // masks once.
        computations = 0;
        auto* strip = panel()->findChild<ZoneStripControl*>();
        const int y = strip->handle_y();
        QTest::mousePress(strip, Qt::LeftButton, {}, QPoint(strip->level_x(204), y));
        QTest::mouseMove(strip, QPoint(strip->level_x(150), y));
        QTest::mouseMove(strip, QPoint(strip->level_x(30), y));  // stops at the low threshold
        QTest::qWait(20);
        QCOMPARE(computations, 0);
        QTest::mouseRelease(strip, Qt::LeftButton, {}, QPoint(strip->level_x(30), y));
        QTRY_COMPARE(computations, 1);
        QCOMPARE(field_find(three_zone_transform.fields, "levels")->part(transform_params(), 2), 51);
        QCOMPARE(zone_counters(3).mask_builds, after.mask_builds + 1);
    }
    void pages_show_their_sliders_and_resets_restore_their_part() {
        auto* page = panel()->findChild<QComboBox*>(QStringLiteral("panel"));
        emit page->activated(1);
        QTRY_VERIFY(panel()->findChild<QSlider*>(QStringLiteral("shadow_brightness"))->isVisible());
        QVERIFY(!panel()->findChild<QSlider*>(QStringLiteral("amount_shadow"))->isVisible());
        panel()->findChild<QSlider*>(QStringLiteral("shadow_contrast"))->setValue(-80);
        panel()->findChild<QSlider*>(QStringLiteral("midtone_contrast"))->setValue(60);
        QCOMPARE(value("shadow_contrast"), -80);
        panel()->findChild<QAction*>(QStringLiteral("Reset Shadow Adjustment Settings"))->trigger();
        QCOMPARE(value("shadow_contrast"), 0);
        QCOMPARE(value("midtone_contrast"), 60);
        QCOMPARE(panel()->findChild<QSlider*>(QStringLiteral("shadow_contrast"))->value(), 0);
    }

private:
    std::unique_ptr<MainFrame> frame_;
    ImageWindow* input_ = nullptr;
};

QTEST_MAIN(TestZones)
#include "tst_zones.moc"
