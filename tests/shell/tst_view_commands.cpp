// The commands that make and inspect pictures without a transformation panel:
// Copy and Paste through the clipboard, New Image, Info, Zoom Factor, Undo.
#include "core/undo.h"
#include "shell/clipboard.h"
#include "shell/command_dispatch.h"
#include "shell/info_panel.h"
#include "shell/new_image_panel.h"
#include "shell/shell_error_reporter.h"
#include "shell/zoom_factor_panel.h"
#include "shell_test_support.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QRadioButton>
#include <QSpinBox>
#include <QTimer>

#include <cstring>
#include <functional>

namespace {

// Sample `c` (blue, green, red order) of a pixel counted from the top, as 8 bits
// the way a 16-bit sample is rounded to 8.
int sample8(const Image& image, int x, int y_from_top, int c) {
    const int y = image.height - 1 - y_from_top;
    const std::uint8_t* line = image.rows[y];
    switch (image.type) {
        case image_type_binary:
            return (line[x / 8] >> (7 - x % 8)) & 1 ? 255 : 0;
        case image_type_gray8:
            return line[x];
        case image_type_colour8:
            return line[3 * x + c];
        case image_type_gray16:
        case image_type_colour16: {
            const int channels = image.type == image_type_gray16 ? 1 : 3;
            const int at = 2 * (x * channels + (channels == 1 ? 0 : c));
            const int v = line[at] | (line[at + 1] << 8);
            return (v * 255 + 32767) / 65535;
        }
        default:
            return -1;
    }
}

// Runs `act` on the modal panel of type `Panel` once it is shown.
template <typename Panel>
void when_shown(std::function<void(Panel*)> act) {
    QTimer::singleShot(0, [act] {
        auto* panel = qobject_cast<Panel*>(QApplication::activeModalWidget());
        QVERIFY(panel != nullptr);
        act(panel);
    });
}

}  // namespace

class TestViewCommands : public FrameTest {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void copy_and_paste_every_type();
    void paste_bitmaps_of_other_programs_data();
    void paste_bitmaps_of_other_programs();
    void new_image_checks_and_makes();
    void info_shows_the_file();
    void zoom_factor_sets_the_zoom();
    void undo_puts_pixels_back_on_screen();

private:
    ImageWindow* show_picture(Image* image) { return ::show_picture(frame_->area(), image); }
    ImageWindow* newest_window() const;
    int window_count() const { return static_cast<int>(frame_->area()->subWindowList().size()); }
};

void TestViewCommands::initTestCase() {
    shell_error_reporter_install();
}

void TestViewCommands::init() {
    reset_program_state();
    undo_clear();
    QVERIFY(show_test_frame(frame_, 900, 700));
    QApplication::clipboard()->clear();
}

void TestViewCommands::cleanup() {
    close_test_frame(frame_);
    undo_clear();
}

ImageWindow* TestViewCommands::newest_window() const {
    const QList<QMdiSubWindow*> list = frame_->area()->subWindowList(QMdiArea::CreationOrder);
    return list.isEmpty() ? nullptr : image_window_of(list.last());
}

// Copy leaves what another program would find: the picture top-down in red,
// green, blue at 8 bits; Paste brings it back as a new modified window.
void TestViewCommands::copy_and_paste_every_type() {
    for (const int type : {image_type_binary, image_type_gray8, image_type_colour8,
                           image_type_gray16, image_type_colour16}) {
        ImageHolder original;
        fill_noise(original.get(), type, 37, 23, 7, 300.0);
        ImageHolder picture;
        QCOMPARE(image_copy_quiet(original.get(), picture.get()), 0);
        ImageWindow* source = show_picture(picture.get());
        app_state.clipboard_image_ours = false;
        QCOMPARE(command_dispatch(nullptr, 2003), CommandResult::done);
        QVERIFY(app_state.clipboard_image_ours);
        const QImage bitmap = QApplication::clipboard()->image();
        QCOMPARE(bitmap.size(), QSize(37, 23));
        QCOMPARE(qRound(bitmap.dotsPerMeterX() * 0.0254), 300);

        QCOMPARE(command_dispatch(nullptr, 2004), CommandResult::done);
        ImageWindow* pasted = newest_window();
        QVERIFY(pasted != nullptr && pasted != source);
        QCOMPARE(pasted->modified, 1);
        const Image& back = pasted->record()->image;
        const bool colour = type == image_type_colour8 || type == image_type_colour16;
        QCOMPARE(back.type, type == image_type_gray16    ? image_type_gray8
                            : type == image_type_colour16 ? image_type_colour8
                                                          : type);
        QCOMPARE(back.resolution, 300.0);
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 37; ++x) {
                const auto at = [&](int c) { return sample8(*original, x, y, colour ? c : 0); };
                QCOMPARE(bitmap.pixel(x, y), qRgb(at(2), at(1), at(0)));
                for (int c = 0; c < (colour ? 3 : 1); ++c)
                    QCOMPARE(sample8(back, x, y, c), at(c));
            }
    }

    // Only pictures of pixels go to the clipboard; an empty one pastes nothing.
    ImageHolder mosaic;
    QCOMPARE(image_alloc(mosaic.get(), image_type_mosaic, 8, 8, 100.0), 0);
    show_picture(mosaic.get());
    ScriptedBoxes boxes;
    QApplication::clipboard()->clear();
    app_state.clipboard_image_ours = false;
    QCOMPARE(command_dispatch(nullptr, 2003), CommandResult::done);
    QCOMPARE(boxes.texts(), QStringList{QStringLiteral("Illegal input image type")});
    QVERIFY(!app_state.clipboard_image_ours);
    const int before = window_count();
    QCOMPARE(command_dispatch(nullptr, 2004), CommandResult::done);
    QCOMPARE(window_count(), before);
}

void TestViewCommands::paste_bitmaps_of_other_programs_data() {
    QTest::addColumn<QImage>("bitmap");
    QTest::addColumn<int>("type");
    QTest::addColumn<QList<int>>("pixel");  // the samples at (1, 0), blue first, as stored

    // A palette that runs backwards: the index isn't the gray value.
    QImage indexed(5, 3, QImage::Format_Indexed8);
    QList<QRgb> palette;
    for (int i = 0; i < 256; ++i)
        palette.append(qRgb(255 - i, 255 - i, 255 - i));
    indexed.setColorTable(palette);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            indexed.setPixel(x, y, static_cast<uint>(x * 40 + y));
    QTest::newRow("indexed gray") << indexed << int(image_type_gray8) << QList<int>{215};
    // Two colours, white first: a set bit of ours is white.
    QImage mono(10, 2, QImage::Format_Mono);
    mono.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
    mono.fill(0);
    mono.setPixel(1, 0, 1);
    QTest::newRow("black and white") << mono << int(image_type_binary) << QList<int>{0};
    // Two colours that aren't black and white are a colour picture.
    mono.setColorTable({qRgb(255, 0, 0), qRgb(0, 0, 255)});
    QTest::newRow("two colours") << mono << int(image_type_colour8) << QList<int>{255, 0, 0};
    // Transparency is dropped; 16-bit bitmaps keep their depth.
    QImage argb(4, 4, QImage::Format_ARGB32);
    argb.fill(qRgba(10, 20, 30, 40));
    QTest::newRow("transparent") << argb << int(image_type_colour8) << QList<int>{30, 20, 10};
    QImage deep(3, 2, QImage::Format_RGBA64);
    deep.fill(QColor::fromRgba64(1000, 30000, 65535, 65535));
    QTest::newRow("16-bit colour") << deep << int(image_type_colour16)
                                   << QList<int>{65535, 30000, 1000};
    QImage gray16(2, 2, QImage::Format_Grayscale16);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x)
            reinterpret_cast<quint16*>(gray16.scanLine(y))[x] = static_cast<quint16>(4660 + x);
    QTest::newRow("16-bit gray") << gray16 << int(image_type_gray16) << QList<int>{4661};
}

void TestViewCommands::paste_bitmaps_of_other_programs() {
    QFETCH(QImage, bitmap);
    QFETCH(int, type);
    QFETCH(QList<int>, pixel);
    preferences().defaultres = 150.0;
    QApplication::clipboard()->setImage(bitmap);
    QCOMPARE(command_dispatch(nullptr, 2004), CommandResult::done);
    ImageWindow* window = newest_window();
    QVERIFY(window != nullptr);
    QCOMPARE(window->sub_window()->windowTitle(),
             QStringLiteral("Untitled 1 (1:1 - %1 x %2)").arg(bitmap.width()).arg(bitmap.height()));
    const Image& back = window->record()->image;
    QCOMPARE(back.type, type);
    QCOMPARE(back.resolution, 150.0);  // the bitmap gave none of its own
    const bool wide = type == image_type_gray16 || type == image_type_colour16;
    QList<int> found;
    for (int c = 0; c < pixel.size(); ++c) {
        if (type == image_type_binary) {
            found.append(sample8(back, 1, 0, 0));
        } else {
            const std::uint8_t* p = image_pixel_pointer(&back, 1, back.height - 1) + c * (wide ? 2 : 1);
            found.append(wide ? p[0] | (p[1] << 8) : p[0]);
        }
    }
    QCOMPARE(found, pixel);
}

void TestViewCommands::new_image_checks_and_makes() {
    // Sizes in other units are rounded to whole pixels.
    QCOMPARE(new_image_side(2.54, units_centimetres, 300.0), 300);
    QCOMPARE(new_image_side(1.5, units_inches, 201.0), 302);  // 301.5 rounds up
    QCOMPARE(new_image_side(0.4, units_pixels, 200.0), 0);
    QCOMPARE(new_image_side(new_image_side_max + 1.0, units_pixels, 200.0), 0);

    // Each type painted in the colour: gray (100, 100, 100) has luminance 100
    // whatever the weights, and 16 bits spread it to 100 * 257; binary is
    // black below half.
    for (const int type : {image_type_binary, image_type_gray8, image_type_colour8,
                           image_type_gray16, image_type_colour16}) {
        NewImageSettings settings;
        settings.width = 13;
        settings.height = 4;
        settings.type = type;
        settings.colour = Rgb8{100, 100, 100};
        ImageHolder picture;
        QCOMPARE(new_image_make(settings, picture.get()), 0);
        QCOMPARE(picture->type, type);
        const std::uint8_t* p = image_pixel_pointer(picture.get(), 12, 0);
        if (type == image_type_gray16 || type == image_type_colour16)
            QCOMPARE(p[0] | (p[1] << 8), 25700);
        else
            QCOMPARE(sample8(*picture, 12, 3, 0), type == image_type_binary ? 0 : 100);
    }
    NewImageSettings colour;
    colour.width = 2;
    colour.height = 2;
    colour.colour = Rgb8{255, 128, 0};
    ImageHolder orange;
    QCOMPARE(new_image_make(colour, orange.get()), 0);
    QCOMPARE(QList<int>({sample8(*orange, 1, 1, 2), sample8(*orange, 1, 1, 1),
                         sample8(*orange, 1, 1, 0)}),
             QList<int>({255, 128, 0}));

    // The panel: the units and the resolution start from the preferences; a
    // bad field is named and the panel stays until it is put right.
    preferences().defaultunits = units_inches;
    preferences().defaultres = 100.0;
    ScriptedBoxes boxes;
    bool stayed_open = false;
    when_shown<NewImagePanel>([&](NewImagePanel* panel) {
        const auto field = [panel](const char* name) {
            return panel->findChild<QLineEdit*>(QLatin1String(name));
        };
        QCOMPARE(panel->findChild<QComboBox*>(QStringLiteral("units"))->currentIndex(),
                 units_inches);
        QCOMPARE(field("resolution")->text(), QStringLiteral("100"));
        for (const auto& [name, text] : {std::pair{"resolution", "0"}, {"resolution", "120"},
                                         {"width", "-2"}, {"width", "2.5"}, {"height", "many"}}) {
            field(name)->setText(QLatin1String(text));
            if (std::strcmp(text, "120") != 0 && std::strcmp(text, "2.5") != 0) panel->accept();
        }
        stayed_open = panel->isVisible();
        field("height")->setText(QStringLiteral("1"));
        panel->findChild<QComboBox*>(QStringLiteral("type"))->setCurrentIndex(3);  // 16-bit gray
        panel->accept();
    });
    QCOMPARE(command_dispatch(nullptr, 1001), CommandResult::done);
    QVERIFY(stayed_open);
    QCOMPARE(boxes.texts(),
             QStringList({"Invalid dpi setting", "Invalid image width", "Invalid image height"}));
    ImageWindow* window = newest_window();
    QVERIFY(window != nullptr);
    const Image& made = window->record()->image;
    QCOMPARE(made.type, image_type_gray16);
    QCOMPARE(QSize(made.width, made.height), QSize(300, 120));
    QCOMPARE(made.resolution, 120.0);
    QCOMPARE(window->modified, 0);

    // The next time the panel shows what was chosen; Cancel makes nothing.
    when_shown<NewImagePanel>([](NewImagePanel* panel) {
        QCOMPARE(panel->findChild<QLineEdit*>(QStringLiteral("width"))->text(),
                 QStringLiteral("2.5"));
        QCOMPARE(panel->findChild<QComboBox*>(QStringLiteral("type"))->currentIndex(), 3);
        panel->reject();
    });
    QCOMPARE(command_dispatch(nullptr, 1001), CommandResult::done);
    QCOMPARE(window_count(), 1);
}

void TestViewCommands::info_shows_the_file() {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("holiday.tif"));
    // A file of 3000 bytes: whatever is in it, the size is what is shown.
    QVERIFY(write_file(path, QByteArray(3000, 'x')));
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 600, 450, 7, 300.0);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    window->record()->file_name = path.toStdString();

    const auto row = [&](const QString& label) {
        for (const auto& [name, text] : image_properties_rows(*window->record()))
            if (name == label) return text;
        return QStringLiteral("(missing)");
    };
    QCOMPARE(row(QStringLiteral("W x H:")),
             QStringLiteral("600 x 450 pixels\n2.0 x 1.5 in @ 300.0 dpi"));
    QCOMPARE(row(QStringLiteral("Size:")), QStringLiteral("2.93 KB"));  // 3000 / 1024
    QCOMPARE(row(QStringLiteral("File:")), QStringLiteral("holiday.tif"));
    QCOMPARE(row(QStringLiteral("Folder:")), QDir::toNativeSeparators(dir.path()));
    QCOMPARE(row(QStringLiteral("WFL:")), QStringLiteral("No WFL file"));
    QVERIFY(write_file(path + QStringLiteral(".wfl"), {}));
    QCOMPARE(row(QStringLiteral("WFL:")), QStringLiteral("WFL file exists"));
    preferences().defaultunits = units_centimetres;
    QCOMPARE(row(QStringLiteral("W x H:")),
             QStringLiteral("600 x 450 pixels\n5.1 x 3.8 cm @ 300.0 dpi"));

    // The command shows it for the active window and it goes with the window.
    QCOMPARE(command_dispatch(nullptr, 3001), CommandResult::done);
    QPointer<InfoPanel> panel;
    for (QWidget* top : QApplication::topLevelWidgets())
        if (auto* info = qobject_cast<InfoPanel*>(top); info != nullptr && info->isVisible())
            panel = info;
    QVERIFY(panel != nullptr);
    QCOMPARE(panel->row_text(QStringLiteral("File:")), QStringLiteral("holiday.tif"));
    window->sub_window()->close();
    QTRY_VERIFY(panel.isNull());
}

void TestViewCommands::zoom_factor_sets_the_zoom() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_gray8, 400, 300, 7, 100.0);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    window->set_zoom(-3, false);
    const QSize size = window->sub_window()->size();

    when_shown<ZoomFactorPanel>([](ZoomFactorPanel* panel) {
        QCOMPARE(panel->factor()->value(), 3);
        QVERIFY(panel->reduce()->isChecked());
        panel->factor()->setValue(5);
        panel->accept();
    });
    QCOMPARE(command_dispatch(nullptr, 3008), CommandResult::done);
    QCOMPARE(window->record()->zoom, -5);
    QCOMPARE(window->sub_window()->size(), size);

    // 1 is 1:1 whichever way; an enlargement with the window resized to it.
    when_shown<ZoomFactorPanel>([](ZoomFactorPanel* panel) {
        panel->factor()->setValue(1);
        QCOMPARE(panel->zoom(), 1);
        panel->enlarge()->setChecked(true);
        panel->factor()->setValue(2);
        panel->resize_check()->setChecked(true);
        panel->accept();
    });
    QCOMPARE(command_dispatch(nullptr, 3008), CommandResult::done);
    QCOMPARE(window->record()->zoom, 2);
    QCOMPARE(window->sub_window()->windowTitle(), QStringLiteral("Untitled 1 (2:1 - 400 x 300)"));
}

// Undo puts the stored pixels back, shows them and tells the linked panels;
// a closed window's steps go with it.
void TestViewCommands::undo_puts_pixels_back_on_screen() {
    ImageHolder original;
    fill_noise(original.get(), image_type_gray8, 50, 40, 7, 100.0);
    ImageHolder picture;
    QCOMPARE(image_copy_quiet(original.get(), picture.get()), 0);
    ImageWindow* window = show_picture(picture.get());
    window->set_zoom(1, true);
    static int told = 0;
    told = 0;
    links_set_notifier([](WindowBase*, WindowBase*) { ++told; });
    WindowBase panel;
    link_add(&panel, window, "Input", false);
    Image& image = window->record()->image;
    for (int stroke = 0; stroke < 2; ++stroke) {
        undo_begin_step();
        QCOMPARE(undo_store(window, 10 * stroke, 5, 10 * stroke + 20, 30), 0);
        for (int y = 5; y <= 30; ++y)
            std::memset(image_pixel_pointer(&image, 10 * stroke, y), stroke * 100, 21);
        window->layout_view();
    }
    QCOMPARE(command_dispatch(nullptr, 2002), CommandResult::done);
    QCOMPARE(told, 1);
    // Line y of the picture is row height - 1 - y of the screen.
    const QImage screen = display_image(window->record()->display_copy);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 50; ++x)
            QCOMPARE(qGray(screen.pixel(x, 39 - y)), int(*image_pixel_pointer(original.get(), x, y)));
    QCOMPARE(undo_record_count(), std::size_t{0});
    links_set_notifier(nullptr);
    link_remove_all(&panel);

    undo_begin_step();
    QCOMPARE(undo_store(window, 0, 0, 5, 5), 0);
    window->sub_window()->close();
    QTRY_COMPARE(undo_record_count(), std::size_t{0});
}

QTEST_MAIN(TestViewCommands)
#include "tst_view_commands.moc"
