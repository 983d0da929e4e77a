// Resize in the editor: the boxes and read-outs follow what is typed, the
// preview takes the new size, values that are not set are said at Apply
// (wrong ones at once), and the result holds the resampler's pixels.
#include "shell/transform_panel.h"
#include "shell_test_support.h"
#include "transform/driver.h"
#include "transform/registry.h"
#include "transform/resample.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace {

TransformPanel* panel() {
    return dynamic_cast<TransformPanel*>(transform_state().panel_window);
}
template <typename W>
W* control(const char* name) {
    return panel()->findChild<W*>(QString::fromLatin1(name));
}
void type_into(const char* box, const char* text) {
    auto* edit = control<QLineEdit>(box);
    edit->setText(QString::fromLatin1(text));
    emit edit->textEdited(edit->text());
}

// What the panel says, caption and text.
class Said : public ErrorReporter {
public:
    Said() { before_ = error_set_reporter(this); }
    ~Said() override { error_set_reporter(before_); }
    void report(int, const char* caption, const char* text) override {
        said.append(QString::fromUtf8(caption) + ": " + QString::fromUtf8(text));
    }
    QStringList said;

private:
    ErrorReporter* before_ = nullptr;
};

}  // namespace

class TestResize : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { panel_tests_start(); }
    void init() { QVERIFY(panel_frame_open(frame_)); }
    void cleanup() { panel_frame_close(frame_); }

    void boxes_preview_errors_and_apply() {
        ImageHolder picture;
        fill_noise(picture.get(), image_type_colour8, 240, 160, 3, 100.0);
        ImageHolder expected;
        QCOMPARE(resample_image(picture.get(), expected.get(), 480, 40, 100.0, resample_bicubic, -0.5), 0);
        ImageWindow* input = show_picture(frame_->area(), picture.get());
        QVERIFY(input != nullptr);
        const TransformEntry* entry = transform_find_title("Resize");
        QVERIFY(entry && entry->descriptor);
        QCOMPARE(transform_open(*entry->descriptor, input), 0);
        QCOMPARE(control<QLineEdit>("dpi")->text(), QStringLiteral("100"));
        QVERIFY(control<QLineEdit>("percent")->isVisible());
        QVERIFY(!control<QLineEdit>("width")->isVisible());
        panel()->button_row()->auto_box()->click();
        QTRY_VERIFY(transform_state().preview_window != nullptr);

        emit control<QComboBox>("operation")->activated(resize_megapixels);
        QCOMPARE(control<QLineEdit>("megapixels")->text(), QStringLiteral("0.04"));  // 240 x 160
        emit control<QComboBox>("operation")->activated(resize_both);
        QVERIFY(control<QLineEdit>("width")->isVisible() && !control<QLineEdit>("percent")->isVisible());
        Said said;
        type_into("width", "480");
        type_into("height", "40");
        QTRY_COMPARE(transform_state().preview_width, 480);
        const Image& shown = window_record_of(transform_state().preview_window)->view_copy;
        // Reduced by 2 to fit half the area: every other sample of the result.
        QCOMPARE(shown.width * 100 + shown.height, 240 * 100 + 20);
        for (int y = 0; y < 20; ++y)
            for (int i = 0; i < 3 * 240; ++i)
                QCOMPARE(shown.rows[y][i], expected->rows[2 * y][3 * (2 * (i / 3)) + i % 3]);
        const struct {
            const char* label;
            const char* text;
        } read_outs[] = {
            {"pixel_width", "Width (pixels): 480"},   {"pixel_height", "Height (pixels): 40"},
            {"print_width", "Width: 4.80"},           {"file_size", "File Size: 0.055MB"},
            {"proportions_wide", "Proportions: 12.00:1.00"},
        };
        for (const auto& r : read_outs)
            QCOMPARE(control<QLabel>(r.label)->text(), QString::fromLatin1(r.text));
        QVERIFY(control<QLabel>("proportions_tall")->isHidden());
        if (qEnvironmentVariableIsSet("ORVANE_SHOT"))  // a look at the panel for people
            panel()->grab().save(qEnvironmentVariable("ORVANE_SHOT"));

        // The box being typed in keeps the user's text.
        type_into("width", "48.");
        QCOMPARE(control<QLineEdit>("width")->text(), QStringLiteral("48."));
        type_into("width", "480");

        // Centimetres: the boxes keep the size; 480 pixels at 100 an inch.
        emit control<QComboBox>("units")->activated(unit_cm);
        QCOMPARE(control<QLineEdit>("width")->text(), QStringLiteral("12.19"));

        // An empty box waits for Apply; a negative one is wrong at once.
        type_into("height", "");
        QCOMPARE(said.said.size(), 0);
        panel()->button_row()->apply_button()->click();
        type_into("height", "-1");
        const QString message = QStringLiteral("Error: Width, Height or DPI are not set.");
        QCOMPARE(said.said, QStringList({message, message}));
        type_into("height", "1.016");  // 40 pixels
        emit control<QComboBox>("units")->activated(unit_pixels);
        QCOMPARE(control<QLineEdit>("height")->text(), QStringLiteral("40"));

        panel()->button_row()->apply_button()->click();
        QCOMPARE(said.said.size(), 2);
        const WindowRecord* result = window_record_of(transform_state().last_result_window);
        QVERIFY(result != nullptr);
        QVERIFY(same_pixels(result->image, *expected.get()));
    }

private:
    std::unique_ptr<MainFrame> frame_;
};

QTEST_MAIN(TestResize)
#include "tst_resize.moc"
