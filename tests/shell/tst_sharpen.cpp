// Sharpen in the editor: the first preview shows the picture at once and the
// sharpened view once the panel stands; later changes compute straight away.
#include "shell/transform_host.h"
#include "shell/transform_panel.h"
#include "shell_test_support.h"
#include "transform/driver.h"

#include <QCheckBox>
#include <QPushButton>

#include <cstring>

extern const TransformDescriptor sharpen_transform;

namespace {

int computations = 0;
int counting_compute(const ComputeArgs& args) {
    ++computations;
    return sharpen_transform.compute(args);
}

bool view_equals_input(const WindowRecord* view, const Image* input) {
    for (int y = 0; y < view->view_copy.height; ++y)
        if (std::memcmp(view->view_copy.rows[y], input->rows[y],
                        static_cast<std::size_t>(image_line_bytes(&view->view_copy))) != 0)
            return false;
    return true;
}

}  // namespace

class TestSharpen : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { panel_tests_start(); }
    void cleanup() { panel_frame_close(frame_); }

    void first_preview_fills_in_after_the_panel_shows() {
        QVERIFY(panel_frame_open(frame_));
        ImageHolder picture;
        QCOMPARE(image_alloc(picture.get(), image_type_gray8, 200, 120, 100.0), 0);
        for (int y = 0; y < 120; ++y)
            for (int x = 0; x < 200; ++x)
                picture->rows[y][x] = static_cast<std::uint8_t>((x / 8 + y / 8) % 2 ? 200 : 50);
        ImageWindow* input = show_picture(frame_->area(), picture.get());
        QVERIFY(input != nullptr);
        static TransformDescriptor counting = sharpen_transform;
        counting.compute = counting_compute;
        computations = 0;
        QCOMPARE(transform_open(counting, input), 0);
        auto* panel = dynamic_cast<TransformPanel*>(transform_state().panel_window);
        QVERIFY(panel != nullptr);
        panel->button_row()->auto_box()->click();
        // At once: the picture as it is, with the sharpened view posted.
        auto* preview = dynamic_cast<ImageWindow*>(transform_state().preview_window);
        QVERIFY(preview != nullptr);
        QCOMPARE(preview->record()->zoom, 1);
        QCOMPARE(computations, 1);
        QVERIFY(view_equals_input(preview->record(), &input->record()->image));
        QTRY_COMPARE(computations, 2);
        QVERIFY(!view_equals_input(preview->record(), &input->record()->image));
        // A change computes straight away, once.
        transform_parameter_changed();
        QCOMPARE(computations, 3);
        QTest::qWait(20);
        QCOMPARE(computations, 3);
    }

private:
    std::unique_ptr<MainFrame> frame_;
};

QTEST_MAIN(TestSharpen)
#include "tst_sharpen.moc"
