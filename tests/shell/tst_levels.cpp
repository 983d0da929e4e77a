// Levels and Color in the editor: the range bar, "Full Range", the colour
// space, the probe's complementary filter and the filter's swatch.
#include "shell/active_window.h"
#include "shell/colorline_control.h"
#include "shell/key_filter.h"
#include "shell/link_notify.h"
#include "shell/progress_panel.h"
#include "shell/range_control.h"
#include "shell/transform_host.h"
#include "shell/transform_panel.h"
#include "shell_test_support.h"
#include "transform/driver.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>

#include <algorithm>
#include <cmath>

extern const TransformDescriptor levels_and_color_transform;

namespace {

int computations = 0;
const TransformDescriptor& levels = levels_and_color_transform;
int counting_compute(const ComputeArgs& args) {
    ++computations;
    return levels.compute(args);
}
int part(const char* keyword, int k) {
    return field_find(levels.fields, keyword)->part(transform_params(), k);
}
TransformPanel* panel() {
    return dynamic_cast<TransformPanel*>(transform_state().panel_window);
}

// The left half a colour cast (V 250, L 135), the right half greys 40..200.
constexpr int cast[3] = {250, 60, 20};

}  // namespace

class TestLevels : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { panel_tests_start(); }
    void init() {
        QVERIFY(panel_frame_open(frame_));
        ImageHolder picture;
        QCOMPARE(image_alloc(picture.get(), image_type_colour8, 240, 160, 100.0), 0);
        for (int y = 0; y < 160; ++y)
            for (int x = 0; x < 240; ++x)
                for (int c = 0; c < 3; ++c)  // blue, green, red
                    picture->rows[y][3 * x + c] = static_cast<std::uint8_t>(
                        x < 120 ? cast[2 - c] : 40 + (x - 120) * 160 / 119);
        input_ = show_picture(frame_->area(), picture.get());
        static TransformDescriptor counting = levels;
        counting.compute = counting_compute;
        QCOMPARE(transform_open(counting, input_), 0);
        panel()->button_row()->auto_box()->click();
        QTRY_VERIFY(computations >= 1);
        computations = 0;
    }
    void cleanup() { panel_frame_close(frame_); }

    void handles_move_the_range_and_a_drag_previews_once() {
        auto* range = panel()->findChild<RangeControl*>();
        if (qEnvironmentVariableIsSet("ORVANE_SHOT"))  // a look at the panel for people
            panel()->grab().save(qEnvironmentVariable("ORVANE_SHOT"));
        QCOMPARE(range->values(), (RangeControl::Values{40, 250, 40, 250}));
        const struct {
            bool upper;
            int from, to, part, expected;
        } drags[] = {
            {false, 40, 70, RangeControl::in_low, 70},
            {false, 250, 20, RangeControl::in_high, 70},  // stops at its partner
            {true, 250, 230, RangeControl::out_high, 230},
            {true, 40, 0, RangeControl::out_low, 0},
        };
        for (const auto& d : drags) {
            const int y = range->handle_y(d.upper);
            QTest::mousePress(range->bar(), Qt::LeftButton, {}, QPoint(range->level_x(d.from), y));
            QTest::mouseMove(range->bar(), QPoint(range->level_x(d.to), y));
            QCOMPARE(range->values()[static_cast<std::size_t>(d.part)], d.expected);
            QTest::qWait(20);
            QCOMPARE(computations, 0);
            QTest::mouseRelease(range->bar(), Qt::LeftButton, {}, QPoint(range->level_x(d.to), y));
            QTRY_COMPARE(computations, 1);
            QCOMPARE(part("dynamic_range", d.part), d.expected);
            computations = 0;
        }
        QCOMPARE(panel()->findChild<QLabel*>(QStringLiteral("range_caption"))->text(),
                 QStringLiteral("Dynamic Range: 0.0%..90.2%"));
        // HSL reads lightness, whose top here is the greys' 200, not the cast's V.
        auto* space = panel()->findChild<QComboBox*>(QStringLiteral("cspace"));
        emit space->activated(1);
        QCOMPARE(range->values(), (RangeControl::Values{40, 200, 40, 200}));
    }
    void full_range_opens_the_input_range_only() {
        panel()->findChild<QPushButton*>(QStringLiteral("full_range"))->click();
        for (int k : {0, 1, 2, 3})
            QCOMPARE(part("dynamic_range", k), (std::array{0, 255, 40, 250})[k]);
        QTRY_COMPARE(computations, 1);
    }
    void probe_sets_the_complement_of_the_picked_colour() {
        // The complement at full value, in doubles: hue turned by 180 degrees.
        const double r = cast[0] / 255.0, g = cast[1] / 255.0, b = cast[2] / 255.0;
        const double hi = std::max({r, g, b}), lo = std::min({r, g, b}), s = (hi - lo) / hi;
        const double hue = 60.0 * (g - b) / (hi - lo) + 180.0;  // red is the largest
        auto channel = [&](double n) {  // the standard HSV to RGB with v = 1
            const double k = std::fmod(n + hue / 60.0, 6.0);
            return 255.0 * (1.0 - s * std::max(0.0, std::min({k, 4.0 - k, 1.0})));
        };
        const double expected[3] = {channel(5), channel(3), channel(1)};

        const WindowRecord* shown = input_->record();  // at 1:1
        const QPoint at(shown->offset_x - shown->view_x1, shown->offset_y - shown->view_y1);
        QTest::mousePress(input_->viewport(), Qt::LeftButton, {}, at + QPoint(30, 50));
        QTest::mouseMove(input_->viewport(), at + QPoint(60, 80));
        QTest::qWait(20);
        QCOMPARE(computations, 0);
        for (int k = 0; k < 3; ++k)
            QVERIFY(std::abs(part("colorbal", k) - expected[k]) <= 1.0);
        QTest::mouseRelease(input_->viewport(), Qt::LeftButton, {}, at + QPoint(60, 80));
        QTRY_COMPARE(computations, 1);
    }
    void swatch_sets_the_filter_through_the_colour_dialog() {
        QColor start;
        const auto before =
            colorline_set_colour_chooser([&](QWidget*, QColor from, const QString&) {
                start = from;
                return QColor(10, 200, 30);
            });
        panel()->findChild<QPushButton*>(QStringLiteral("colorbal"))->click();
        colorline_set_colour_chooser(before);
        QCOMPARE(start, QColor(255, 255, 255));
        for (int k : {0, 1, 2})
            QCOMPARE(part("colorbal", k), (std::array{10, 200, 30})[k]);
        QTRY_COMPARE(computations, 1);
    }

private:
    std::unique_ptr<MainFrame> frame_;
    ImageWindow* input_ = nullptr;
};

QTEST_MAIN(TestLevels)
#include "tst_levels.moc"
