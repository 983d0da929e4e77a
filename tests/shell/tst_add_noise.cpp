// Add Noise in the editor, through the menu, the panel built from its field
// table, the preview window and the result windows; and the same pixels as
// orvane-batch gives from the same start of the random sequence.
#include "core/progress.h"
#include "core/random.h"
#include "file/read_image.h"
#include "shell/active_window.h"
#include "shell/amount_control.h"
#include "shell/input_chooser.h"
#include "shell/key_filter.h"
#include "shell/link_notify.h"
#include "shell/open_file.h"
#include "shell/progress_panel.h"
#include "shell/transform_host.h"
#include "shell/transform_panel.h"
#include "shell_test_support.h"
#include "transform/driver.h"
#include "transform/registry.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QProcess>
#include <QPushButton>
#include <QScrollBar>
#include <QTimer>

#include <algorithm>

namespace {

// Add Noise with a count of the computations the driver asks for.
int computations = 0;
int depth = 0;
int deepest = 0;
int counting_compute(const ComputeArgs& args) {
    ++computations;
    deepest = std::max(deepest, ++depth);
    const int code = transform_find_title("Add Noise")->descriptor->compute(args);
    --depth;
    return code;
}

// A picture whose samples change across and down, so that a shift shows.
void fill_picture(Image* image, int type, int width, int height) {
    QVERIFY(image_alloc(image, type, width, height, 100.0) == 0);
    const int samples = type == image_type_colour8 ? 3 : 1;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width * samples; ++x)
            image->rows[y][x] = static_cast<std::uint8_t>((x * 7 + y * 3) % 200 + 20);
}

QString batch_program() {
    const QByteArray named = qgetenv("ORVANE_BATCH");
    if (!named.isEmpty()) return QString::fromLocal8Bit(named);
    return QCoreApplication::applicationDirPath() + QStringLiteral("/../orvane-batch");
}

}  // namespace

class TestAddNoise : public FrameTest {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void auto_previews_at_one_to_one_once_per_change();
    void menu_opens_the_panel_and_rows_follow_the_input();
    void refusals_of_the_menu();
    void apply_cascades_and_ok_after_apply_adds_nothing();
    void cancel_during_a_large_apply_keeps_the_panel();
    void a_change_during_a_preview_waits_for_it();
    void editor_and_orvane_batch_give_the_same_pixels();
    void reopening_keeps_place_and_previews_carry_a_profile();

private:
    ImageWindow* show_picture(int type, int width, int height);
    TransformPanel* panel() const {
        return dynamic_cast<TransformPanel*>(transform_state().panel_window);
    }
    ImageWindow* preview() const {
        return dynamic_cast<ImageWindow*>(transform_state().preview_window);
    }
    QAction* add_noise_action() const { return frame_->command_action(4043); }
    QList<ImageWindow*> image_windows() const;
};

void TestAddNoise::initTestCase() {
    key_filter_install();
    active_window_track();
    link_notifier_install();
    // Once only: each test's windows then take records the earlier ones didn't.
    window_record_table_init();
}

void TestAddNoise::init() {
    app_state_reset();
    preferences() = Preferences{};
    preferences().stickysettings = false;
    preferences().defaultpreview = false;
    QVERIFY(show_test_frame(frame_, 1000, 750));
    progress_display_install(area());
    transform_host_install(area());
}

void TestAddNoise::cleanup() {
    if (transform_state().panel_window != nullptr) transform_cancel();
    QTest::qWait(1);
    close_test_frame(frame_);
}

ImageWindow* TestAddNoise::show_picture(int type, int width, int height) {
    ImageHolder picture;
    fill_picture(picture.get(), type, width, height);
    ImageWindow* window = ::show_picture(area(), picture.get());
    QTest::qWait(1);
    return window;
}

QList<ImageWindow*> TestAddNoise::image_windows() const {
    QList<ImageWindow*> result;
    for (QMdiSubWindow* sub : area()->subWindowList(QMdiArea::CreationOrder))
        if (ImageWindow* window = image_window_of(sub); window && !window->is_preview())
            result.append(window);
    return result;
}

// Add Noise asks a reduced preview to go to 1:1; from then on every change of
// a control computes once, a scroll computes only the uncovered strip, and
// closing the preview turns "Auto" off.
void TestAddNoise::auto_previews_at_one_to_one_once_per_change() {
    ImageWindow* input = show_picture(image_type_colour8, 900, 700);
    QVERIFY(input != nullptr);
    // Static: the driver holds it until the panel closes.
    static TransformDescriptor counting = *transform_find_title("Add Noise")->descriptor;
    counting.compute = counting_compute;
    RecordingReporter reporter;
    computations = 0;
    QCOMPARE(transform_open(counting, input), 0);
    PanelButtonRow* row = panel()->button_row();

    // Half the work area can't hold 900 by 700: the preview starts reduced.
    row->auto_box()->click();
    QVERIFY(preview() != nullptr);
    QTRY_COMPARE(preview()->record()->zoom, 1);
    QTRY_COMPARE(computations, 2);
    QTest::qWait(20);
    QCOMPARE(computations, 2);
    QCOMPARE(reporter.codes, std::vector<int>{});
    QVERIFY(!row->preview_button()->isEnabled());

    auto* method = panel()->findChild<QComboBox*>(QStringLiteral("method"));
    method->setCurrentIndex(1);
    emit method->activated(1);
    QCOMPARE(computations, 3);
    emit panel()->findChild<AmountControl*>(QStringLiteral("amount"))->slider()->moved(300, -1);
    QTest::qWait(20);
    QCOMPARE(computations, 4);

    // A scroll shifts what is there and computes only the new columns.
    ImageWindow* view = preview();
    const WindowRecord* r = view->record();
    QVERIFY(r->scroll_max_x >= 16);
    ImageHolder before;
    QCOMPARE(image_copy_quiet(&r->view_copy, before.get()), 0);
    view->horizontalScrollBar()->setValue(r->view_x1 + 16);
    QCOMPARE(computations, 5);
    for (int y = 0; y < r->view_height; ++y)
        QVERIFY(std::memcmp(r->view_copy.rows[y], before.get()->rows[y] + 3 * 16,
                            static_cast<std::size_t>(3 * (r->view_width - 16))) == 0);

    // Closing the preview by hand turns "Auto" off.
    view->sub_window()->close();
    QTest::qWait(1);
    QVERIFY(transform_state().preview_window == nullptr);
    QVERIFY(!row->auto_box()->isChecked());
    QVERIFY(row->preview_button()->isEnabled());
    transform_cancel();
}

void TestAddNoise::menu_opens_the_panel_and_rows_follow_the_input() {
    QTemporaryDir dir;
    const QString coffee = QFINDTESTDATA("../../samples/coffee.jpg");
    QVERIFY(!coffee.isEmpty());
    QCOMPARE(open_file_path(coffee), 0);
    ImageWindow* colour = image_windows().value(0);
    QVERIFY(colour != nullptr);
    ImageWindow* gray = show_picture(image_type_gray8, 300, 200);
    area()->setActiveSubWindow(colour->sub_window());

    QAction* action = add_noise_action();
    QVERIFY(action != nullptr);
    QVERIFY(action->isEnabled());
    preferences().defaultpreview = true;
    action->trigger();
    QVERIFY(panel() != nullptr);
    // The preference presses "Auto" as the panel opens.
    QVERIFY(panel()->button_row()->auto_box()->isChecked());
    QVERIFY(preview() != nullptr);
    QVERIFY(panel()->isVisible());

    auto* chooser = panel()->findChild<InputChooser*>();
    QVERIFY(chooser != nullptr);
    QCOMPARE(chooser->current(), colour);
    auto* amount = panel()->findChild<AmountControl*>(QStringLiteral("amount"));
    QVERIFY(amount != nullptr && amount->isVisible());
    QCOMPARE(amount->mask_size(), QSize(600, 400));
    auto* method = panel()->findChild<QComboBox*>(QStringLiteral("method"));
    auto* channels = panel()->findChild<QComboBox*>(QStringLiteral("channels"));
    QVERIFY(channels->isVisible());
    const int colour_height = panel()->height();

    // Choosing the gray picture hides the channel list and shrinks the panel.
    const int index = chooser->combo()->findText(image_window_list_name(gray));
    QVERIFY(index >= 0);
    chooser->combo()->setCurrentIndex(index);
    emit chooser->combo()->activated(index);
    QCOMPARE(transform_state().input_window, static_cast<WindowBase*>(gray));
    QVERIFY(!channels->isVisible());
    QVERIFY(panel()->height() <= colour_height - channels->height());
    QCOMPARE(amount->mask_size(), QSize(300, 200));
    QVERIFY(panel()->client()->rect().contains(
        method->mapTo(panel()->client(), method->rect().bottomRight())));

    // Esc is "Cancel": the panel goes, and the input is free to close.
    panel()->activate();
    app_state.active_window = panel();
    QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : panel(),
                    Qt::Key_Escape);
    QTest::qWait(1);
    QVERIFY(transform_state().panel_window == nullptr);
    QVERIFY(!transform_panel_open());
    QVERIFY(link_blocker(gray).empty());
}

// Nothing to work on is told; one panel at a time, holding its input open.
void TestAddNoise::refusals_of_the_menu() {
    RecordingReporter reporter;
    add_noise_action()->trigger();
    QVERIFY(transform_state().panel_window == nullptr);
    QCOMPARE(reporter.codes, std::vector<int>{77});
    ImageWindow* first = show_picture(image_type_gray8, 120, 80);
    add_noise_action()->trigger();
    WindowBase* open = transform_state().panel_window;
    area()->setActiveSubWindow(show_picture(image_type_gray8, 100, 60)->sub_window());
    add_noise_action()->trigger();
    QCOMPARE(transform_state().panel_window, open);
    QCOMPARE(transform_state().input_window, static_cast<WindowBase*>(first));
    QCOMPARE(link_blocker(first), std::string("Add Noise"));
}

void TestAddNoise::apply_cascades_and_ok_after_apply_adds_nothing() {
    ImageWindow* input = show_picture(image_type_gray8, 200, 150);
    add_noise_action()->trigger();
    PanelButtonRow* row = panel()->button_row();
    const QPoint origin = input->sub_window()->pos();

    row->apply_button()->click();
    QCOMPARE(image_windows().size(), 2);
    ImageWindow* first = image_windows().last();
    QCOMPARE(first->modified, 1);
    QVERIFY(first->sub_window()->windowTitle().startsWith(QStringLiteral("Untitled")));
    QVERIFY(!same_pixels(first->record()->image, input->record()->image));

    row->apply_button()->click();
    QCOMPARE(image_windows().size(), 3);
    ImageWindow* second = image_windows().last();
    const QPoint step = first->sub_window()->pos() - origin;
    QVERIFY(step.x() > 0 && step.y() > 0);
    QCOMPARE(second->sub_window()->pos() - origin, 2 * step);

    // Amount 0 copies the input and draws nothing from the random sequence.
    emit panel()->findChild<AmountControl*>(QStringLiteral("amount"))->slider()->moved(0, -1);
    const std::int32_t state = random_state();
    row->apply_button()->click();
    QCOMPARE(image_windows().size(), 4);
    QVERIFY(same_pixels(image_windows().last()->record()->image, input->record()->image));
    QCOMPARE(random_state(), state);

    // Nothing changed since: "OK" makes no third window and closes the panel.
    row->ok_button()->click();
    QTest::qWait(1);
    QCOMPARE(image_windows().size(), 4);
    QVERIFY(transform_state().panel_window == nullptr);

    // A change after an Apply is applied by "OK"; an edited input still asks to be saved.
    input->modified = 1;
    add_noise_action()->trigger();
    panel()->button_row()->apply_button()->click();
    emit panel()->findChild<AmountControl*>(QStringLiteral("amount"))->slider()->moved(500, -1);
    panel()->button_row()->ok_button()->click();
    QTest::qWait(1);
    QCOMPARE(image_windows().size(), 6);
    QVERIFY(transform_state().panel_window == nullptr);
    QCOMPARE(input->modified, 1);
}

void TestAddNoise::cancel_during_a_large_apply_keeps_the_panel() {
    RecordingReporter reporter;
    ImageWindow* input = show_picture(image_type_colour8, 3000, 2000);
    add_noise_action()->trigger();
    // Cancel is pressed on the progress panel while the computation runs.
    bool pressed = false;
    QTimer poll;
    poll.setInterval(5);
    connect(&poll, &QTimer::timeout, this, [this, &pressed] {
        auto* progress = area()->findChild<ProgressPanel*>();
        if (pressed || progress == nullptr || progress->cancel_button() == nullptr) return;
        pressed = true;
        QTest::mouseClick(progress->cancel_button(), Qt::LeftButton);
    });
    poll.start();
    panel()->button_row()->apply_button()->click();
    poll.stop();
    QVERIFY(pressed);
    QCOMPARE(image_windows(), QList<ImageWindow*>{input});
    QVERIFY(panel()->isVisible());
    QCOMPARE(reporter.codes, std::vector<int>{err_aborted});
}

// A change that arrives while a large preview computes (the progress panel
// serves events) is computed after it, never inside it.
void TestAddNoise::a_change_during_a_preview_waits_for_it() {
    RecordingReporter reporter;
    preferences().maxpreviewsize = 2;  // the whole area: enough pixels to show progress
    ImageWindow* input = show_picture(image_type_colour8, 3000, 2000);
    static TransformDescriptor counting = *transform_find_title("Add Noise")->descriptor;
    counting.compute = counting_compute;
    QCOMPARE(transform_open(counting, input), 0);
    panel()->button_row()->auto_box()->click();
    QTRY_COMPARE(preview()->record()->zoom, 1);
    QTRY_VERIFY(!transform_state().preview_stale);

    auto* method = panel()->findChild<QComboBox*>(QStringLiteral("method"));
    int changes_inside = 0;
    QTimer during;
    during.setInterval(0);
    connect(&during, &QTimer::timeout, this, [&] {
        if (!transform_state().computing || changes_inside == 3) return;
        ++changes_inside;
        method->setCurrentIndex(changes_inside % 2);
        emit method->activated(changes_inside % 2);
    });
    during.start();
    computations = 0;
    deepest = 0;
    method->setCurrentIndex(1);
    emit method->activated(1);
    during.stop();
    QVERIFY(changes_inside > 0);
    QCOMPARE(deepest, 1);
    // The first computation, then one more for what changed inside a run.
    QVERIFY(computations >= 2 && computations <= changes_inside + 1);
    QVERIFY(!transform_state().preview_stale);
    QCOMPARE(reporter.codes, std::vector<int>{});
}

void TestAddNoise::editor_and_orvane_batch_give_the_same_pixels() {
    const QString program = batch_program();
    QVERIFY2(QFileInfo::exists(program), qPrintable(program));
    const QString coffee = QFINDTESTDATA("../../samples/coffee.jpg");
    QCOMPARE(open_file_path(coffee), 0);
    ImageWindow* input = image_windows().value(0);
    QVERIFY(input != nullptr);
    add_noise_action()->trigger();
    auto* method = panel()->findChild<QComboBox*>(QStringLiteral("method"));
    method->setCurrentIndex(1);
    emit method->activated(1);
    auto* channels = panel()->findChild<QComboBox*>(QStringLiteral("channels"));
    channels->setCurrentIndex(1);
    emit channels->activated(1);
    emit panel()->findChild<AmountControl*>(QStringLiteral("amount"))->slider()->moved(700, -1);

    // orvane-batch starts its sequence at the start state; so does the editor here.
    const std::int32_t saved = random_state();
    random_set_state(random_start);
    panel()->button_row()->apply_button()->click();
    random_set_state(saved);
    QCOMPARE(image_windows().size(), 2);
    const Image& edited = image_windows().last()->record()->image;
    QVERIFY(!same_pixels(edited, input->record()->image));
    // Save As proposes the source's folder and format for the result.
    QCOMPARE(image_windows().last()->record()->derived_from, input->record()->file_name);
    QCOMPARE(image_windows().last()->record()->file_type, input->record()->file_type);

    QTemporaryDir dir;
    const QString out = dir.filePath(QStringLiteral("noise.tif"));
    QProcess batch;
    batch.start(program,
                {QStringLiteral("apply"), QStringLiteral("Add Noise"),
                 QStringLiteral("colorspace_method"), QStringLiteral("1"), QStringLiteral("1"),
                 QStringLiteral("amount"), QStringLiteral("700"), QStringLiteral("-1"),
                 QStringLiteral("0"), QStringLiteral("0"), QStringLiteral("Amount:"), coffee, out});
    QVERIFY(batch.waitForFinished(60000));
    QCOMPARE(batch.exitCode(), 0);
    ImageHolder written;
    int file_type = 0;
    QCOMPARE(
        ReadImage(QFile::encodeName(out).constData(), written.get(), nullptr, &file_type, 1 << 16),
        0);
    QVERIFY(same_pixels(edited, *written.get()));
}

// Reopened with sticky settings the panel stands where it was left and keeps
// its values, else it starts afresh; a preview carries the picture's profile.
void TestAddNoise::reopening_keeps_place_and_previews_carry_a_profile() {
    ImageWindow* input = show_picture(image_type_colour8, 200, 150);
    input->record()->profile = {1, 2, 3, 4};
    const TransformDescriptor& add_noise = *transform_find_title("Add Noise")->descriptor;
    for (const bool sticky : {true, false}) {
        preferences().stickysettings = sticky;
        QCOMPARE(transform_open(add_noise, input), 0);
        const QPoint first = panel()->pos();
        panel()->move(first - QPoint(40, 30));
        const int built_in = panel()->findChild<AmountControl*>(QStringLiteral("amount"))->settings().amount_low;
        emit panel()->findChild<AmountControl*>(QStringLiteral("amount"))->slider()->moved(300, -1);
        transform_cancel();
        QCOMPARE(transform_open(add_noise, input), 0);
        QCOMPARE(panel()->pos(), sticky ? first - QPoint(40, 30) : first);
        QCOMPARE(panel()->findChild<AmountControl*>(QStringLiteral("amount"))->settings().amount_low,
                 sticky ? 300 : built_in);
        panel()->button_row()->auto_box()->click();
        QCOMPARE(preview()->record()->profile, (std::vector<std::uint8_t>{1, 2, 3, 4}));
        transform_cancel();
    }
}

QTEST_MAIN(TestAddNoise)
#include "tst_add_noise.moc"
