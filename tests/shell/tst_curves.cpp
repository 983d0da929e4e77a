// The curve transformations in the editor: the menu opens the panel with
// its curve control over the input's histogram, mouse edits change the
// curve as the rules say, a drag recomputes the preview once when it ends,
// and Apply gives the pixels the library gives for the same block.
#include "core/window_record.h"
#include "shell/active_window.h"
#include "shell/colorline_control.h"
#include "shell/curve_control.h"
#include "shell/key_filter.h"
#include "shell/link_notify.h"
#include "shell/progress_panel.h"
#include "shell/transform_host.h"
#include "shell/transform_panel.h"
#include "shell_test_support.h"
#include "transform/driver.h"
#include "transform/registry.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QSignalSpy>

#include <cmath>
#include <cstring>

namespace {

int computations = 0;
int counting_compute(const ComputeArgs& args) {
    ++computations;
    return transform_find_title("Brightness Curve")->descriptor->compute(args);
}

}  // namespace

class TestCurves : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void mouse_edits_follow_the_rules_and_a_drag_previews_once();
    void menu_opens_each_curve_panel_and_apply_matches_the_library();
    void colour_line_edits_with_the_mouse();

private:
    TransformPanel* panel() const {
        return dynamic_cast<TransformPanel*>(transform_state().panel_window);
    }
    ImageWindow* show_colour_picture();
    std::unique_ptr<MainFrame> frame_;
};

void TestCurves::initTestCase() {
    panel_tests_start();
}

void TestCurves::init() {
    QVERIFY(panel_frame_open(frame_));
}

void TestCurves::cleanup() {
    panel_frame_close(frame_);
}

ImageWindow* TestCurves::show_colour_picture() {
    ImageHolder picture;
    if (image_alloc(picture.get(), image_type_colour8, 240, 160, 100.0) != 0) return nullptr;
    for (int y = 0; y < 160; ++y)
        for (int x = 0; x < 240 * 3; ++x)
            picture->rows[y][x] = static_cast<std::uint8_t>((x + 2 * y) % 256);
    ImageWindow* window = show_picture(frame_->area(), picture.get());
    QTest::qWait(1);
    return window;
}

void TestCurves::mouse_edits_follow_the_rules_and_a_drag_previews_once() {
    ImageWindow* input = show_colour_picture();
    QVERIFY(input != nullptr);
    static TransformDescriptor counting = *transform_find_title("Brightness Curve")->descriptor;
    counting.compute = counting_compute;
    QCOMPARE(transform_open(counting, input), 0);
    auto* control = panel()->findChild<CurveControl*>(QStringLiteral("curve"));
    QVERIFY(control != nullptr);
    QWidget* chart = control->chart();
    Curve* curve = control->curve();
    QCOMPARE(curve->npts, 2);
    if (qEnvironmentVariableIsSet("ORVANE_SHOT"))  // a look at the panel for people
        panel()->grab().save(qEnvironmentVariable("ORVANE_SHOT"));
    panel()->button_row()->auto_box()->click();
    QTRY_VERIFY(computations >= 1);
    computations = 0;

    auto at = [&](int x_level, int y_level) {
        return QPoint(control->level_x(x_level), control->level_y(y_level));
    };
    // A plain click on a free place does nothing; Shift and click adds.
    QTest::mouseClick(chart, Qt::LeftButton, Qt::NoModifier, at(100, 30));
    QCOMPARE(curve->npts, 2);
    QTest::mouseClick(chart, Qt::LeftButton, Qt::ShiftModifier, at(100, 30));
    QCOMPARE(curve->npts, 3);
    QVERIFY(std::abs(curve->x[1] - 100) <= 1 && std::abs(curve->y[1] - 30) <= 1);
    QTRY_COMPARE(computations, 1);

    // A drag redraws as it goes and recomputes once, at the end; x stays one
    // level from the neighbours.
    QTest::mousePress(chart, Qt::LeftButton, Qt::NoModifier, at(curve->x[1], curve->y[1]));
    QTest::mouseMove(chart, at(180, 120));
    QTest::mouseMove(chart, at(300, 200));  // past the last point
    QCOMPARE(curve->x[1], 254);
    QTest::qWait(20);
    QCOMPARE(computations, 1);
    QTest::mouseRelease(chart, Qt::LeftButton, Qt::NoModifier, at(300, 200));
    QTRY_COMPARE(computations, 2);
    QVERIFY(curve->y[1] >= 199 && curve->y[1] <= 201);
    QCOMPARE(curve->lut[254], curve->y[1]);

    // The left ruler moves only y.
    QTest::mousePress(chart, Qt::LeftButton, Qt::NoModifier, QPoint(4, control->level_y(curve->y[1])));
    QTest::mouseMove(chart, QPoint(4, control->level_y(50)));
    QTest::mouseRelease(chart, Qt::LeftButton, Qt::NoModifier, QPoint(4, control->level_y(50)));
    QCOMPARE(curve->x[1], 254);
    QVERIFY(std::abs(curve->y[1] - 50) <= 1);

    // Ctrl and click deletes while three points exist, then only beeps.
    QTest::mouseClick(chart, Qt::LeftButton, Qt::ControlModifier, at(curve->x[1], curve->y[1]));
    QCOMPARE(curve->npts, 2);
    QTest::mouseClick(chart, Qt::LeftButton, Qt::ControlModifier, at(0, 0));
    QCOMPARE(curve->npts, 2);
    QTRY_COMPARE(computations, 4);

    // Pressing on the picture marks the level under the probe (3 by 3 pixels:
    // at column 50, 60 lines from the top, the largest mean is red's 94);
    // letting go adds a point there that keeps the curve's shape.
    const WindowRecord* shown = input->record();
    QVERIFY(shown->zoom == 1);
    const QPoint pixel(shown->offset_x + 50 - shown->view_x1, shown->offset_y + 60 - shown->view_y1);
    std::uint8_t before[256];
    std::memcpy(before, curve->lut, 256);
    QTest::mouseClick(input->viewport(), Qt::LeftButton, Qt::NoModifier, pixel);
    QCOMPARE(curve->npts, 3);
    QCOMPARE(curve->x[1], 94);
    QCOMPARE(std::memcmp(before, curve->lut, 256), 0);
    QTest::mouseClick(chart, Qt::LeftButton, Qt::ControlModifier, at(curve->x[1], curve->y[1]));
    QCOMPARE(curve->npts, 2);
    computations = 4;

    // Invert and the style list reach the block.
    panel()->findChild<QPushButton*>(QStringLiteral("curve_invert"))->click();
    QCOMPARE(curve->lut[0], 255);
    auto* style = panel()->findChild<QComboBox*>(QStringLiteral("curve_style"));
    style->setCurrentIndex(curve_step);
    emit style->activated(curve_step);
    QCOMPARE(curve->style, static_cast<int>(curve_step));
}

// Each panel opens from its menu entry; its Apply equals the library's
// result for the panel's block, and Color Curves shows the curve of the
// chosen component.
void TestCurves::menu_opens_each_curve_panel_and_apply_matches_the_library() {
    ImageWindow* input = show_colour_picture();
    QVERIFY(input != nullptr);
    for (int command : {4050, 4052, 4029, 4049, 4054, 4020, 4019}) {
        const TransformEntry* entry = transform_find_command(command);
        QVERIFY(entry && entry->descriptor);
        QAction* action = frame_->command_action(command);
        QVERIFY2(action && action->isEnabled(), entry->title.data());
        frame_->area()->setActiveSubWindow(input->sub_window());
        action->trigger();
        QVERIFY(panel() != nullptr);
        void* block = transform_params();
        QVERIFY(block != nullptr);
        if (auto* control = panel()->findChild<CurveControl*>(QStringLiteral("curve"))) {
            QVERIFY(curve_add_point(*control->curve(), 60, 120) >= 0);
            if (auto* component = panel()->findChild<QComboBox*>(QStringLiteral("component"))) {
                Curve* first = control->curve();
                component->setCurrentIndex(2);
                emit component->activated(2);
                QVERIFY(control->curve() != first);
                QCOMPARE(control->curve()->npts, 2);
            }
        } else if (auto* amount = entry->descriptor->fields.size() > 1 ? field_find(entry->descriptor->fields, "amount") : nullptr) {
            amount->amount(block)->amount_low = 300;
            // Levels found the picture's full range: bend its midtones.
            if (const TransformField* mid = field_find(entry->descriptor->fields, "midtones"))
                mid->set(block, 40);
        } else {
            // Gamma Adjust: the slider, and the output gamma it gives on "2.22".
            panel()->findChild<QSlider*>(QStringLiteral("factor"))->setValue(800);
            QCOMPARE(panel()->findChild<QLabel*>(QStringLiteral("output_gamma"))->text(),
                     QStringLiteral("Output gamma: %1").arg(2.22 * std::exp(800 / 512.0 - 1), 0, 'f', 2));
        }
        auto* kernel = panel()->findChild<QComboBox*>(QStringLiteral("kernel"));
        if (kernel && entry->title == "Blur") {
            // Blur's radius shows only for the methods that use one.
            QWidget* radius = panel()->findChild<QWidget*>(QStringLiteral("radius"));
            QVERIFY(radius != nullptr && radius->isHidden());
            kernel->setCurrentIndex(2);
            emit kernel->activated(2);
            QVERIFY(!radius->isHidden());
        }
        ImageHolder expected;
        QCOMPARE(transform_compute_image(*entry->descriptor, block, &input->record()->image, expected.get()), 0);
        const int windows = static_cast<int>(frame_->area()->subWindowList().size());
        panel()->button_row()->apply_button()->click();
        QTRY_COMPARE(static_cast<int>(frame_->area()->subWindowList().size()), windows + 1);
        const Image& result = image_window_of(frame_->area()->subWindowList().last())->record()->image;
        QCOMPARE(result.width, expected->width);
        for (int y = 0; y < result.height; ++y)
            QVERIFY2(std::memcmp(result.rows[y], expected->rows[y], 240 * 3) == 0, entry->title.data());
        QVERIFY(std::memcmp(result.rows[10], input->record()->image.rows[10], 240 * 3) != 0);
        transform_cancel();
        QTest::qWait(1);
    }
}

// Shift and click adds the ramp's own colour, a drag moves an inner colour
// between its neighbours, a double click picks a colour titled by its
// number, Ctrl and click removes an inner colour but never an end.
void TestCurves::colour_line_edits_with_the_mouse() {
    Colorline line;
    colorline_reset(line);
    ColorlineControl control;
    control.resize(300, 120);
    control.set_line(&line);
    control.show();
    QVERIFY(QTest::qWaitForWindowExposed(&control));
    QSignalSpy changed(&control, &ColorlineControl::changed);
    QWidget* ramp = control.ramp();
    auto at = [&](double p) { return QPoint(control.x_of(p), 40); };

    QTest::mouseClick(ramp, Qt::LeftButton, Qt::ShiftModifier, QPoint(control.x_of(0.5), 10));
    QCOMPARE(line.ncolors, 3);
    QVERIFY(std::abs(line.colour[1][1] - 128) <= 2);  // grey, from black to white
    QCOMPARE(control.selected(), 1);
    QTest::mousePress(ramp, Qt::LeftButton, Qt::NoModifier, at(0.5));
    QTest::mouseMove(ramp, at(0.25));
    QTest::mouseRelease(ramp, Qt::LeftButton, Qt::NoModifier, at(0.25));
    QVERIFY(std::abs(line.position[1] - 0.25) < 0.01);

    QString title;
    const auto before = colorline_set_colour_chooser([&](QWidget*, QColor, const QString& t) {
        title = t;
        return QColor(200, 10, 20);
    });
    QTest::mouseDClick(ramp, Qt::LeftButton, Qt::NoModifier, at(0.25));
    colorline_set_colour_chooser(before);
    QCOMPARE(title, QStringLiteral("Color 2"));
    QCOMPARE(line.colour[1][0], 200);
    auto* shape = control.findChild<QComboBox*>(QStringLiteral("colorline_shape"));
    shape->setCurrentIndex(colorline_sine);
    emit shape->activated(colorline_sine);
    QCOMPARE(line.shape[1], static_cast<int>(colorline_sine));

    QTest::mouseClick(ramp, Qt::LeftButton, Qt::ControlModifier, at(1.0));
    QCOMPARE(line.ncolors, 3);
    QTest::mouseClick(ramp, Qt::LeftButton, Qt::ControlModifier, at(0.25));
    QCOMPARE(line.ncolors, 2);
    QVERIFY(changed.count() >= 5);
}

QTEST_MAIN(TestCurves)
#include "tst_curves.moc"
