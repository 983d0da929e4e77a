// The Mask tool in the editor: opened from Tools > Mask on the active
// picture, drawing on the picture with the mouse, the overlay modes, the
// buttons, and the mask it leaves standing, which Add Noise then takes.
#include "core/format.h"
#include "shell/amount_control.h"
#include "shell/key_filter.h"
#include "shell/link_notify.h"
#include "shell/active_window.h"
#include "shell/mask_tool.h"
#include "shell/progress_panel.h"
#include "shell/transform_host.h"
#include "shell/transform_panel.h"
#include "shell_test_support.h"
#include "transform/driver.h"

#include <QComboBox>
#include <QPushButton>
#include <QSlider>
#include <QToolButton>

namespace {

void fill_gray(Image* image, int width, int height) {
    QVERIFY(image_alloc(image, image_type_gray8, width, height, 100.0) == 0);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image->rows[y][x] = static_cast<std::uint8_t>(60 + (x + y) % 100);
}

// Mask value at (x, row from the top).
int mask_at(const MaskTool* tool, int x, int row) {
    const Image& m = tool->mask_window()->record()->image;
    return m.rows[m.height - 1 - row][x];
}

}  // namespace

class TestMaskTool : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        key_filter_install();
        active_window_track();
        link_notifier_install();
        window_record_table_init();
    }
    void init() {
        QVERIFY(panel_frame_open(frame_));
        ImageHolder picture;
        fill_gray(picture.get(), 200, 150);
        picture_ = show_picture(frame_->area(), picture.get());
        QVERIFY(picture_ != nullptr);
        QTest::qWait(1);
    }
    void cleanup() {
        if (MaskTool* tool = mask_tool_instance()) tool->finish(false);
        QTest::qWait(1);
        panel_frame_close(frame_);
    }

    void opens_on_the_picture_with_a_hidden_cleared_mask();
    void a_dragged_oval_feathered_masks_add_noise();
    void overlay_modes_colour_a_gray_picture();
    void polygon_clicks_flood_fill_and_paint_draw_by_mode();
    void invert_undo_area_and_cancel();
    void color_range_probe_widens_the_range();
    void exponential_slider();

private:
    MaskTool* open_tool() {
        frame_->command_action(4500)->trigger();
        return mask_tool_instance();
    }
    // Left button on the picture at picture pixel coordinates.
    QPoint at(double x, double y) const { return picture_->to_viewport({x, y}).toPoint(); }
    void drag(QPointF from, QPointF to) {
        QWidget* v = picture_->viewport();
        QTest::mousePress(v, Qt::LeftButton, {}, at(from.x(), from.y()));
        QTest::mouseMove(v, at((from.x() + to.x()) / 2, (from.y() + to.y()) / 2));
        QTest::mouseMove(v, at(to.x(), to.y()));
        QTest::mouseRelease(v, Qt::LeftButton, {}, at(to.x(), to.y()));
    }
    std::unique_ptr<MainFrame> frame_;
    ImageWindow* picture_ = nullptr;
};

void TestMaskTool::opens_on_the_picture_with_a_hidden_cleared_mask() {
    QVERIFY(frame_->command_action(4500)->isEnabled());
    MaskTool* tool = open_tool();
    QVERIFY(tool != nullptr);
    QTest::qWait(1);
    QVERIFY(tool->panel()->title().startsWith(QStringLiteral("Mask - ")));
    QCOMPARE(tool->panel()->window_kind, 45);
    QVERIFY(mask_tool_owns(tool->mask_window()));
    QVERIFY(!tool->mask_window()->sub_window()->isVisible());
    const Image& mask = tool->mask_window()->record()->image;
    QCOMPARE(mask.type, static_cast<int>(image_type_gray8));
    QCOMPARE(mask.width, 200);
    QCOMPARE(image_mask_area(&mask), 0.0);
    // Thirteen kinds, and a second open only brings the same tool forward.
    for (const char* label : mask_kind_labels)
        QVERIFY(tool->panel()->findChild<QToolButton*>(QString::fromLatin1(label)) != nullptr);
    QCOMPARE(open_tool(), tool);
    // The mask is in use: its window refuses to close.
    QCOMPARE(link_blocker(tool->mask_window()), std::string("Mask Tool"));
}

void TestMaskTool::a_dragged_oval_feathered_masks_add_noise() {
    MaskTool* tool = open_tool();
    tool->panel()->findChild<QToolButton*>(QStringLiteral("Oval"))->click();
    QCOMPARE(tool->kind(), MaskKind::oval);
    drag({60, 40}, {140, 110});
    QCOMPARE(mask_at(tool, 100, 75), 255);
    QCOMPARE(mask_at(tool, 10, 10), 0);
    QCOMPARE(mask_at(tool, 61, 42), 0);  // outside the ellipse, inside its box
    tool->select_kind(MaskKind::feather);
    tool->settings().feather_width = 8;
    tool->panel()->findChild<QPushButton*>(QStringLiteral("apply"))->click();
    const int edge = mask_at(tool, 57, 75);  // 3 pixels outside the left end
    QVERIFY(edge > 0 && edge < 255);
    ImageWindow* mask = tool->mask_window();
    tool->panel()->findChild<QPushButton*>(QStringLiteral("ok"))->click();
    QTest::qWait(1);
    QVERIFY(!mask_tool_is_open());
    QCOMPARE(picture_->record()->mask_window, static_cast<WindowBase*>(mask));

    // A new panel takes the standing mask; the result changes only where it isn't black.
    frame_->command_action(4043)->trigger();
    auto* panel = dynamic_cast<TransformPanel*>(transform_state().panel_window);
    QVERIFY(panel != nullptr);
    auto* amount = panel->findChild<AmountControl*>(QStringLiteral("amount"));
    QCOMPARE(static_cast<WindowBase*>(amount->mask_window()), static_cast<WindowBase*>(mask));
    panel->button_row()->ok_button()->click();
    QTest::qWait(1);
    ImageWindow* result = image_window_active(frame_->area());
    QVERIFY(result != picture_ && result != mask);
    const Image& in = picture_->record()->image;
    const Image& out = result->record()->image;
    const Image& m = mask->record()->image;
    int changed_inside = 0;
    for (int y = 0; y < in.height; ++y)
        for (int x = 0; x < in.width; ++x) {
            if (m.rows[y][x] == 0) QCOMPARE(out.rows[y][x], in.rows[y][x]);
            if (m.rows[y][x] == 255 && out.rows[y][x] != in.rows[y][x]) ++changed_inside;
        }
    QVERIFY(changed_inside > 1000);
}

void TestMaskTool::overlay_modes_colour_a_gray_picture() {
    MaskTool* tool = open_tool();
    tool->select_kind(MaskKind::rectangle);
    drag({0, 0}, {100, 150});  // left half white
    WindowRecord* r = picture_->record();
    QCOMPARE(r->view_copy.type, static_cast<int>(image_type_colour8));
    // Drawn at once in the default semitransparent red over the gray 109.
    const std::uint8_t* drawn = r->view_copy.rows[r->view_copy.height - 1 - (10 - r->view_y1)] + 3 * (10 - r->view_x1);
    QCOMPARE(int(drawn[2]), 109 + 73);
    QCOMPARE(int(drawn[0]), 109 - 55);
    auto* overlay = tool->panel()->findChild<QComboBox*>(QStringLiteral("overlay"));
    struct Case {
        int index;
        int left[3];  // blue, green, red of the view at the picture's (10, 10)
    } const cases[] = {
        {6, {0, 0, 255}},      // opaque red
        {1, {0, 255, 0}},      // green, still opaque
        {7, {255, 255, 255}},  // the mask alone
        {3, {182, 182, 182}},  // white at half strength over the gray 109
    };
    for (const Case& k : cases) {
        overlay->setCurrentIndex(k.index);
        const Image& v = r->view_copy;
        const std::uint8_t* left = v.rows[v.height - 1 - (10 - r->view_y1)] + 3 * (10 - r->view_x1);
        const std::uint8_t* right = v.rows[v.height - 1 - (10 - r->view_y1)] + 3 * (150 - r->view_x1);
        for (int c = 0; c < 3; ++c) QCOMPARE(int(left[c]), k.left[c]);
        QCOMPARE(int(right[0]), k.index == 7 ? 0 : 60 + (150 + 139) % 100);
    }
    overlay->setCurrentIndex(4);  // clear: the gray picture as it is
    QCOMPARE(r->view_copy.type, static_cast<int>(image_type_gray8));
}

void TestMaskTool::polygon_clicks_flood_fill_and_paint_draw_by_mode() {
    MaskTool* tool = open_tool();
    tool->select_kind(MaskKind::polygon);
    QWidget* v = picture_->viewport();
    for (const QPointF p : {QPointF(20, 20), QPointF(80, 20), QPointF(80, 80)})
        QTest::mouseClick(v, Qt::LeftButton, {}, at(p.x(), p.y()));
    // A double click on the last point: its first click adds it, the second closes.
    QTest::mouseClick(v, Qt::LeftButton, {}, at(20, 80));
    QTest::mouseDClick(v, Qt::LeftButton, {}, at(20, 80));
    QCOMPARE(mask_at(tool, 60, 50), 255);
    QCOMPARE(mask_at(tool, 150, 50), 0);
    // Subtract a rectangle across it.
    tool->panel()->findChild<QToolButton*>(QStringLiteral("mode_1"))->click();
    tool->select_kind(MaskKind::rectangle);
    drag({50, 0}, {200, 150});
    QCOMPARE(mask_at(tool, 60, 50), 0);
    QCOMPARE(mask_at(tool, 30, 50), 255);
    // Flood fill in add mode on the even gray ramp: reaches only similar pixels.
    tool->set_mode(mask_mode_add);
    tool->select_kind(MaskKind::flood_fill);
    tool->settings().flood_threshold = 5;
    // Gray levels run along the diagonals: 149 at (140, 100).
    QTest::mouseClick(v, Qt::LeftButton, {}, at(140.5, 100.5));
    QCOMPARE(mask_at(tool, 140, 100), 255);
    QCOMPARE(mask_at(tool, 141, 100), 255);  // distance 3: under 5
    QCOMPARE(mask_at(tool, 142, 100), 204);  // distance 6: on the ramp to 10
    QCOMPARE(mask_at(tool, 144, 100), 0);
    QCOMPARE(mask_at(tool, 180, 140), 255);  // the same level further down the diagonal
    // A paint stroke in subtract mode clears along its path.
    tool->set_mode(mask_mode_subtract);
    tool->select_kind(MaskKind::paint);
    tool->settings().brush.radius = 5;
    tool->settings().brush.softness = 0;
    drag({25, 30}, {25, 70});
    QCOMPARE(mask_at(tool, 25, 50), 0);
    QCOMPARE(mask_at(tool, 40, 50), 255);
}

void TestMaskTool::invert_undo_area_and_cancel() {
    MaskTool* tool = open_tool();
    ImageWindow* mask = tool->mask_window();
    tool->select_kind(MaskKind::rectangle);
    drag({0, 0}, {50, 30});
    ScriptedBoxes boxes;
    tool->panel()->findChild<QPushButton*>(QStringLiteral("area"))->click();
    QCOMPARE(boxes.calls.size(), std::size_t{1});
    QCOMPARE(boxes.calls[0].caption, QStringLiteral("Mask Area"));
    QCOMPARE(boxes.calls[0].text, QStringLiteral("1500.00 pixels\n5.00 percent coverage"));
    tool->panel()->findChild<QPushButton*>(QStringLiteral("invert"))->click();
    QCOMPARE(mask_at(tool, 10, 10), 0);
    QCOMPARE(mask_at(tool, 100, 100), 255);
    tool->panel()->findChild<QPushButton*>(QStringLiteral("undo"))->click();
    QCOMPARE(mask_at(tool, 10, 10), 255);
    QCOMPARE(mask_at(tool, 100, 100), 0);
    // The lines' classes came back too: adding to the black lines works.
    drag({90, 90}, {110, 110});
    QCOMPARE(mask_at(tool, 100, 100), 255);
    // Cancel throws away the mask the tool made.
    QPointer<QMdiSubWindow> sub = mask->sub_window();
    tool->panel()->findChild<QPushButton*>(QStringLiteral("cancel"))->click();
    QTest::qWait(1);
    QVERIFY(!mask_tool_is_open());
    QVERIFY(sub.isNull());
    QVERIFY(picture_->record()->mask_window == nullptr);
    QCOMPARE(picture_->record()->view_copy.type, static_cast<int>(image_type_gray8));
}

void TestMaskTool::color_range_probe_widens_the_range() {
    MaskTool* tool = open_tool();
    tool->select_kind(MaskKind::color_range);
    // A gray picture works in RGB whatever was chosen.
    QVERIFY(!tool->panel()->findChild<QComboBox*>(QStringLiteral("Color Space"))->isEnabled());
    tool->settings().range_limits = {600, 800, 700, 768, 0, 1024, 0, 1024, 0, 1024, 0, 1024};
    // Gray 109 at (10, 10): 437 on the 1024 scale, below the low limits.
    QTest::mouseClick(picture_->viewport(), Qt::LeftButton, {}, at(10.5, 10.5));
    QCOMPARE(tool->settings().range_limits[0], 437);
    QCOMPARE(tool->settings().range_limits[2], 437);
    QCOMPARE(tool->settings().range_limits[1], 800);  // never shrinks
    tool->apply();
    // Gray is 60 + (x + 149 - row) % 100; the range now runs from 437 * 255 >> 10 = 108.
    QCOMPARE(mask_at(tool, 10, 10), 255);   // 109
    QCOMPARE(mask_at(tool, 48, 149), 255);  // 108
    QCOMPARE(mask_at(tool, 47, 149), 0);    // 107
    QCOMPARE(mask_at(tool, 40, 10), 255);   // 139
}

void TestMaskTool::exponential_slider() {
    struct Case {
        int position;
        double value;
    } const cases[] = {{0, 0.0}, {1024, 1000.0}, {512, 1000.0 / (std::exp(2.0) + 1)}};
    for (const Case& k : cases) {
        QVERIFY(std::abs(exp_slider_value(k.position) - k.value) < 1e-9);
        QCOMPARE(exp_slider_position(k.value), k.position);
    }
    // Blur's default radius of 10 sits at 110 and comes back as 10.
    QCOMPARE(exp_slider_position(10), 110);
    QCOMPARE(static_cast<int>(std::floor(exp_slider_value(110) + 0.5)), 10);
}

QTEST_MAIN(TestMaskTool)
#include "tst_mask_tool.moc"
