// Noise Reduction and Advanced Sharpen in the editor: each opens from its
// menu command, previews in its three views, and applies the pixels that the
// compute routine gives on the whole picture; Advanced Sharpen's controls
// stand on three pages.
#include "shell/active_window.h"
#include "shell/transform_panel.h"
#include "shell_test_support.h"
#include "transform/driver.h"
#include "transform/registry.h"

#include <QCheckBox>
#include <QComboBox>
#include <QPushButton>
#include <QTabWidget>

namespace {

TransformPanel* panel() {
    return dynamic_cast<TransformPanel*>(transform_state().panel_window);
}
ImageWindow* preview() {
    return dynamic_cast<ImageWindow*>(transform_state().preview_window);
}

}  // namespace

class TestNoiseReduction : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { panel_tests_start(); }
    void init() { QVERIFY(panel_frame_open(frame_)); }
    void cleanup() { panel_frame_close(frame_); }

    void open_preview_views_and_apply_data() {
        QTest::addColumn<int>("command");
        QTest::addColumn<QString>("title");
        QTest::addColumn<int>("pages");
        QTest::newRow("Noise Reduction") << 4073 << "Noise Reduction" << 0;
        QTest::newRow("Advanced Sharpen") << 4032 << "Advanced Sharpen" << 3;
    }

    void open_preview_views_and_apply() {
        QFETCH(int, command);
        QFETCH(QString, title);
        QFETCH(int, pages);
        ImageHolder picture;
        fill_noise(picture.get(), image_type_colour8, 260, 180, 7);
        for (int y = 0; y < 180; ++y)  // noise over a ramp, for an uneven histogram
            for (int i = 0; i < 3 * 260; ++i)
                picture->rows[y][i] = static_cast<std::uint8_t>(picture->rows[y][i] % 40 + i / 4);
        ImageWindow* input = show_picture(frame_->area(), picture.get());
        QVERIFY(input != nullptr);
        QAction* action = frame_->command_action(command);
        QVERIFY(action != nullptr && action->isEnabled());
        action->trigger();
        QVERIFY(panel() != nullptr);
        QCOMPARE(transform_state().input_window, static_cast<WindowBase*>(input));
        const TransformDescriptor& d = *transform_find_title(title.toStdString())->descriptor;
        if (title == QStringLiteral("Noise Reduction")) {
            field_find(d.fields, "threshold")->set(transform_params(), 375);
            field_find(d.fields, "levels")->set(transform_params(), 3);
        }
        auto* tabs = panel()->findChild<QTabWidget*>(QStringLiteral("pages"));
        QCOMPARE(tabs ? tabs->count() : 0, pages);
        if (auto* histogram = panel()->findChild<QWidget*>(QStringLiteral("histogram"))) {
            // The input's histogram, drawn higher under a higher expansion.
            auto* expand = panel()->findChild<QComboBox*>(QStringLiteral("histexpand"));
            const QImage linear = histogram->grab().toImage();
            expand->setCurrentIndex(2);
            emit expand->activated(2);
            const QImage high = histogram->grab().toImage();
            QVERIFY(linear != high);
            QVERIFY(high.pixel(high.width() / 2, high.height() - 2) != high.pixel(1, 1));
        }

        panel()->button_row()->auto_box()->click();
        QTRY_VERIFY(preview() != nullptr);
        if (qEnvironmentVariableIsSet("ORVANE_SHOT"))  // a look at the panel for people
            for (int page = 0; page < std::max(pages, 1); ++page) {
                if (tabs) tabs->setCurrentIndex(page);
                panel()->grab().save(qEnvironmentVariable("ORVANE_SHOT") + title +
                                     QString::number(page) + ".png");
            }
        // "Before" shows the input, "After" something else, "Difference" a third picture.
        auto* view = panel()->findChild<QComboBox*>(QStringLiteral("view"));
        QVERIFY(view != nullptr);
        std::vector<ImageHolder> shown(3);
        for (int v : {0, 1, 2}) {
            view->setCurrentIndex(v);
            emit view->activated(v);
            QTest::qWait(1);
            QCOMPARE(image_copy_quiet(&preview()->record()->view_copy, shown[v].get()), 0);
        }
        QVERIFY(!same_pixels(*shown[0].get(), *shown[1].get()));
        QVERIFY(!same_pixels(*shown[1].get(), *shown[2].get()));

        ImageHolder expected;
        QCOMPARE(
            transform_compute_image(d, transform_params(), &input->record()->image, expected.get()),
            0);
        panel()->button_row()->apply_button()->click();
        ImageWindow* result = nullptr;
        for (QMdiSubWindow* sub : frame_->area()->subWindowList(QMdiArea::CreationOrder))
            if (ImageWindow* w = image_window_of(sub); w && w != input && !w->is_preview())
                result = w;
        QVERIFY(result != nullptr);
        QVERIFY(same_pixels(result->record()->image, *expected.get()));
        QVERIFY(!same_pixels(result->record()->image, input->record()->image));
    }

private:
    std::unique_ptr<MainFrame> frame_;
};

QTEST_MAIN(TestNoiseReduction)
#include "tst_noise_reduction.moc"
