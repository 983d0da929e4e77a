// Crop/Add Border in the editor: the rectangle drawn on the photograph and
// dragged by its handles, held square by "Proportions:", turned by
// Shift-drag, and an apply that gives the pixels orvane-batch gives for the
// same workflow lines. With ORVANE_SHOT set, the frame is saved there with
// the rectangle and the preview showing.
#include "file/read_image.h"
#include "shell/active_window.h"
#include "shell/input_chooser.h"
#include "shell/key_filter.h"
#include "shell/link_notify.h"
#include "shell/open_file.h"
#include "shell/progress_panel.h"
#include "shell/transform_host.h"
#include "shell/transform_panel.h"
#include "shell/transform_panel_builder.h"
#include "shell_test_support.h"
#include "transform/driver.h"
#include "transform/geometry/crop_add_border.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QScrollBar>

namespace {

QString batch_program() {
    return QCoreApplication::applicationDirPath() + QStringLiteral("/../orvane-batch");
}

}  // namespace

class TestCropAddBorder : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { panel_tests_start(); }
    void init();
    void cleanup() { panel_frame_close(frame_); }

    void opens_on_the_whole_picture_and_a_handle_drag_moves_one_corner();
    void square_proportions_hold_the_drag();
    void shift_drag_turns_the_picture_clockwise_as_dragged();
    void apply_gives_the_pixels_of_orvane_batch();
    void border_image_choice_shows_its_chooser_and_feeds_the_block();

private:
    std::unique_ptr<MainFrame> frame_;
    ImageWindow* input_ = nullptr;
    TransformPanel* panel() const {
        return dynamic_cast<TransformPanel*>(transform_state().panel_window);
    }
    CropParams* block() const { return static_cast<CropParams*>(transform_params()); }
    void drag(QPointF from, QPointF to, Qt::KeyboardModifiers keys = {});
    void choose(const char* name, int index);
};

void TestCropAddBorder::init() {
    QVERIFY(panel_frame_open(frame_));
    QCOMPARE(open_file_path(QFINDTESTDATA("../../samples/coffee.jpg")), 0);
    input_ = image_window_of(frame_->area()->activeSubWindow());
    QVERIFY(input_ != nullptr);
    input_->set_zoom(1, true);
    frame_->command_action(4002)->trigger();
    QVERIFY(panel() != nullptr);
}

// A drag in picture pixels, through the window's own mouse handling.
void TestCropAddBorder::drag(QPointF from, QPointF to, Qt::KeyboardModifiers keys) {
    QWidget* view = input_->viewport();
    const QPoint a = input_->to_viewport(from).toPoint(), b = input_->to_viewport(to).toPoint();
    QTest::mousePress(view, Qt::LeftButton, keys, a);
    QMouseEvent move(QEvent::MouseMove, b, view->mapToGlobal(b), Qt::NoButton, Qt::LeftButton, keys);
    QApplication::sendEvent(view, &move);
    QTest::mouseRelease(view, Qt::LeftButton, keys, b);
}

void TestCropAddBorder::choose(const char* name, int index) {
    auto* box = panel()->findChild<QComboBox*>(QString::fromLatin1(name));
    QVERIFY(box != nullptr);
    box->setCurrentIndex(index);
    emit box->activated(index);
}

void TestCropAddBorder::opens_on_the_whole_picture_and_a_handle_drag_moves_one_corner() {
    CropParams* p = block();
    QCOMPARE(p->dims_width, 600);
    QCOMPARE(p->dims_height, 400);
    QCOMPARE(CropRect({p->x1, p->y1, p->x2, p->y2}), CropRect({0, 0, 599, 399}));
    // Into the picture from its top-left handle, then the inside moved.
    input_->horizontalScrollBar()->setValue(0);
    input_->verticalScrollBar()->setValue(0);
    drag({1, 1}, {41, 31});
    QCOMPARE(CropRect({p->x1, p->y1, p->x2, p->y2}), CropRect({40, 30, 599, 399}));
    QCOMPARE(CropRect({p->rx1, p->ry1, p->rx2, p->ry2}), CropRect({0, 0, 559, 369}));
    // The handle shows where the corner went: white inside a black rim.
    const QImage shown = input_->viewport()->grab().toImage();
    const QPoint corner = input_->to_viewport({40, 30}).toPoint();
    QCOMPARE(shown.pixelColor(corner + QPoint(1, 1)), QColor(Qt::white));
    QCOMPARE(shown.pixelColor(corner + QPoint(-3, 0)), QColor(Qt::black));
    drag({100, 100}, {90, 95});
    QCOMPARE(CropRect({p->x1, p->y1, p->x2, p->y2}), CropRect({30, 25, 589, 394}));
    // Closing the panel takes the rectangle off the picture.
    const QPoint moved = input_->to_viewport({30, 25}).toPoint() + QPoint(1, 1);
    QCOMPARE(input_->viewport()->grab().toImage().pixelColor(moved), QColor(Qt::white));
    transform_cancel();
    QTest::qWait(20);
    QVERIFY(input_->viewport()->grab().toImage().pixelColor(moved) != QColor(Qt::white));
}

void TestCropAddBorder::square_proportions_hold_the_drag() {
    choose("proportions", 2);  // "Square"
    input_->horizontalScrollBar()->setValue(0);
    input_->verticalScrollBar()->setValue(0);
    drag({1, 1}, {101, 101});
    drag({20, 20}, {220, 120});  // outside the rectangle: a new one
    CropParams* p = block();
    QCOMPARE(CropRect({p->x1, p->y1, p->x2, p->y2}), CropRect({20, 20, 220, 220}));
}

void TestCropAddBorder::shift_drag_turns_the_picture_clockwise_as_dragged() {
    input_->horizontalScrollBar()->setValue(0);
    input_->verticalScrollBar()->setValue(0);
    // Right of the centre (300, 200), then down: clockwise as shown.
    drag({400, 200}, {400, 210}, Qt::ShiftModifier);
    QVERIFY(std::abs(block()->angle - 5.71) < 0.02);
    // The picture's rectangle is unchanged by a turn.
    QCOMPARE(block()->x2, 599);
}

void TestCropAddBorder::apply_gives_the_pixels_of_orvane_batch() {
    input_->horizontalScrollBar()->setValue(0);
    input_->verticalScrollBar()->setValue(0);
    drag({1, 1}, {81, 41});
    drag({599, 399}, {539, 369});
    drag({400, 200}, {400, 210}, Qt::ShiftModifier);
    choose("shape", crop_oval);
    choose("guides", 2);
    CropParams* p = block();
    p->softness = 20;
    p->left = p->right = p->top = p->bottom = 12;
    p->red = 240, p->green = 235, p->blue = 220;
    transform_panel_show_block(panel());
    transform_parameter_changed();
    panel()->button_row()->auto_box()->click();
    QTest::qWait(50);
    if (qEnvironmentVariableIsSet("ORVANE_SHOT")) frame_->grab().save(qEnvironmentVariable("ORVANE_SHOT"));

    const int before = frame_->area()->subWindowList().size();
    panel()->button_row()->apply_button()->click();
    QTRY_VERIFY(frame_->area()->subWindowList().size() > before);
    const Image& edited = dynamic_cast<ImageWindow*>(transform_state().last_result_window)->record()->image;

    QTemporaryDir dir;
    const QString out = dir.filePath(QStringLiteral("crop.tif"));
    const auto n = [](double v) { return QString::number(v, 'f', 3); };
    QStringList args = {QStringLiteral("apply"), QStringLiteral("Crop/Add Border"),
                        QStringLiteral("dims"), QStringLiteral("600"), QStringLiteral("400"),
                        QStringLiteral("cdims")};
    for (int v : {p->x1, p->y1, p->x2, p->y2}) args << QString::number(v);
    args << QStringLiteral("border_grid");
    for (int v : {p->left, p->right, p->top, p->bottom, p->grid}) args << QString::number(v);
    args << QStringLiteral("fparams") << n(p->angle) << n(p->softness) << n(0) << n(0) << n(0);
    args << QStringLiteral("border_color") << QStringLiteral("240") << QStringLiteral("235")
         << QStringLiteral("220") << QStringLiteral("flags") << QString::number(crop_oval);
    args << QFINDTESTDATA("../../samples/coffee.jpg") << out;
    QProcess batch;
    batch.start(batch_program(), args);
    QVERIFY(batch.waitForFinished(60000));
    QCOMPARE(batch.exitCode(), 0);
    ImageHolder written;
    int file_type = 0;
    QCOMPARE(ReadImage(QFile::encodeName(out).constData(), written.get(), nullptr, &file_type, 1 << 16), 0);
    QCOMPARE(edited.width, 460 + 24);
    QVERIFY(same_pixels(edited, *written.get()));
}

void TestCropAddBorder::border_image_choice_shows_its_chooser_and_feeds_the_block() {
    auto* chooser = panel()->findChild<InputChooser*>(QStringLiteral("border_image"));
    QVERIFY(chooser != nullptr);
    QVERIFY(!chooser->isVisible());
    choose("border", 1);
    QVERIFY(chooser->isVisible());
    for (QLabel* label : panel()->findChildren<QLabel*>())
        if (label->text() == QStringLiteral("Border Color")) QVERIFY(!label->isVisible());
    QCOMPARE(block()->border_image, &input_->record()->image);
    // A result of another picture's pixels round the crop.
    block()->left = 20;
    panel()->button_row()->apply_button()->click();
    const Image& result = dynamic_cast<ImageWindow*>(transform_state().last_result_window)->record()->image;
    QCOMPARE(result.width, 620);
    choose("border", 0);
    QVERIFY(!chooser->isVisible());
}

QTEST_MAIN(TestCropAddBorder)
#include "tst_crop_add_border.moc"
