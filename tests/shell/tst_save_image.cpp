// Saving image windows: Save As read back by other programs, the panel's
// checks and questions, failed saves, Save, Revert, the close question's Yes,
// the panels themselves, and File Open with its one-at-a-time guard.
#include "core/errors.h"
#include "core/progress.h"
#include "core/tables.h"
#include "file/file_test_support.h"
#include "file/file_types.h"
#include "file/metadata.h"
#include "file/write_image.h"
#include "shell/command_dispatch.h"
#include "shell/open_file.h"
#include "shell/save_image.h"
#include "shell/save_image_panel.h"
#include "shell/shell_error_reporter.h"
#include "shell_test_support.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTimer>

#include <unistd.h>

namespace {

using Pnm = file_test::Picture;

// Runs `tool` on `in`, its output to `out`.
bool run(const QString& tool, const QString& in, const QString& out) {
    return file_test::run(QStringLiteral("%1 '%2' > '%3' 2>/dev/null").arg(tool, in, out).toStdString());
}

// The picture of a file as a netpbm or libjpeg tool decodes it.
Pnm decoded_by(const QString& tool, const QString& path) {
    const QString out = path + QStringLiteral(".decoded.pnm");
    if (!run(tool, path, out)) return Pnm{};
    Pnm result = file_test::read_pnm(out.toStdString());
    QFile::remove(out);
    return result;
}

Pnm pnm_of(const Image* image) {
    return file_test::picture_of(image);
}

// Changes every sample of an 8-bit colour picture.
void invert(Image* image) {
    for (int y = 0; y < image->height; ++y)
        for (int i = 0; i < image->width * 3; ++i)
            image->rows[y][i] = static_cast<std::uint8_t>(255 - image->rows[y][i]);
}

// Answers the Save Image panel from a list, then Cancel, and keeps every request.
class ScriptedPanel {
public:
    explicit ScriptedPanel(std::deque<SaveImageAnswer> answers = {}) : answers_(std::move(answers)) {
        before_ = save_image_set_chooser([this](const SaveImageRequest& request) {
            requests.push_back(request);
            if (answers_.empty()) return SaveImageAnswer{};
            SaveImageAnswer next = answers_.front();
            answers_.pop_front();
            if (next.choices == SaveChoices{}) next.choices = request.choices;
            return next;
        });
    }
    ~ScriptedPanel() { save_image_set_chooser(std::move(before_)); }
    std::vector<SaveImageRequest> requests;

private:
    std::deque<SaveImageAnswer> answers_;
    SaveImageChooser before_;
};

SaveImageAnswer save_as(const QString& path, int filter) {
    return SaveImageAnswer{path, filter, SaveChoices{}};
}

// A progress display that runs `on_step` with the count of steps so far and
// answers what it returns (11 cancels).
class TestProgress : public ProgressDisplay {
public:
    explicit TestProgress(std::function<int(int)> on_step) : on_step_(std::move(on_step)) {
        before_ = progress_set_display(this);
    }
    ~TestProgress() override { progress_set_display(before_); }
    void begin(const char*, std::int64_t, std::int64_t, bool) override {}
    int step(std::int64_t) override { return on_step_(++steps_); }
    void end() override {}
    void wait_cursor(bool) override {}

private:
    std::function<int(int)> on_step_;
    int steps_ = 0;
    ProgressDisplay* before_;
};

int cancel_at_second(int step) {
    return step >= 2 ? 11 : 0;
}

}  // namespace

class TestSaveImage : public FrameTest {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    // First: the panel's proposals depend on the format saved last in the session.
    void proposals_of_the_panel();
    void save_as_each_format_and_read_back();
    void names_and_types_data();
    void names_and_types();
    void sixteen_bit_pictures();
    void overwrite_questions();
    void failed_saves_keep_the_original();
    void save_in_place();
    void saves_keep_comments_unless_told();
    void revert_reads_the_file_again();
    void close_question_yes_saves();
    void save_image_panel_controls();
    void jpeg_statistics();
    void file_open_panel_and_guard();

private:
    ImageWindow* show_picture(Image* image);
    ImageWindow* open_window(const QString& path);
    QString make_tiff(const QString& name, const Image* image);
    std::unique_ptr<QTemporaryDir> dir_;
};

void TestSaveImage::init() {
    reset_program_state();
    saved_state() = State{};
    // The statistics panel has a test of its own.
    saved_state().savefileoptions = save_without_statistics;
    shell_error_reporter_install();
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(show_test_frame(frame_, 900, 700));
}

void TestSaveImage::cleanup() {
    close_test_frame(frame_);
    dir_.reset();
}

ImageWindow* TestSaveImage::show_picture(Image* image) {
    ImageWindow* window = ::show_picture(frame_->area(), image);
    if (window != nullptr) window->modified = 1;
    return window;
}

ImageWindow* TestSaveImage::open_window(const QString& path) {
    if (open_file_path(path) != 0) return nullptr;
    ImageWindow* window = image_window_of_file(path);
    if (window != nullptr) frame_->area()->setActiveSubWindow(window->sub_window());
    return window;
}

// A TIFF file made by netpbm from the picture.
QString TestSaveImage::make_tiff(const QString& name, const Image* image) {
    const QString pnm = dir_->filePath(name + QStringLiteral(".pnm"));
    file_test::write_pnm(pnm.toStdString(), pnm_of(image));
    const QString path = dir_->filePath(name);
    const bool made = run(QStringLiteral("pnmtotiff -truecolor"), pnm, path);
    QFile::remove(pnm);
    return made ? path : QString();
}

void TestSaveImage::save_as_each_format_and_read_back() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 40, 27);
    const Pnm original = pnm_of(picture.get());
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    saved_state().jpegquality[0] = 90;

    struct Case {
        const char* name;
        int filter;
        const char* reader;
        int stored_type;
    };
    const Case cases[] = {{"a.tif", save_filter_tiff, "tifftopnm", 2},
                          {"b.png", save_filter_png, "pngtopnm", 9},
                          {"c.jpg", save_filter_jpeg, "djpeg", 3}};
    for (const Case& c : cases) {
        const QString path = dir_->filePath(QLatin1String(c.name));
        window->modified = 1;
        ScriptedPanel panel({save_as(path, c.filter)});
        ScriptedBoxes boxes;
        QCOMPARE(command_dispatch(nullptr, 1007), CommandResult::done);
        QVERIFY2(boxes.calls.empty(), qPrintable(boxes.texts().join(QLatin1Char('|'))));
        QCOMPARE(panel.requests.size(), std::size_t{1});

        const Pnm read = decoded_by(QLatin1String(c.reader), path);
        QCOMPARE(read.width, 40);
        QCOMPARE(read.height, 27);
        if (c.filter == save_filter_jpeg) {
            // The same picture through cjpeg at the preference's quality, with
            // full colour resolution as the saved sampling asks, decodes the same.
            const QString pnm = dir_->filePath(QStringLiteral("c.pnm"));
            file_test::write_pnm(pnm.toStdString(), original);
            const QString reference = dir_->filePath(QStringLiteral("reference.jpg"));
            QVERIFY(run(QStringLiteral("cjpeg -quality 90 -sample 1x1"), pnm, reference));
            QCOMPARE(read.samples, decoded_by(QStringLiteral("djpeg"), reference).samples);
        } else {
            QCOMPARE(read.samples, original.samples);
        }

        // The window now stands for the new file.
        const WindowRecord* record = window->record();
        QCOMPARE(QString::fromStdString(record->file_name), path);
        QCOMPARE(record->file_type, c.stored_type);
        QCOMPARE(window->modified, 0);
        QCOMPARE(window->sub_window()->windowTitle(),
                 QStringLiteral("1 - %1 (1:1 - 40 x 27)").arg(QLatin1String(c.name)));
        QCOMPARE(QString::fromStdString(saved_state().openfile.front()), path);
    }
}

void TestSaveImage::names_and_types_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("filter");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("told");
    QTest::addColumn<QString>("written");
    const QString tiff = QStringLiteral("TIFF files must have an extension of .tif or .tiff");
    // A refused name brings the panel back (here then cancelled: 11).
    QTest::newRow("wrong extension") << int(image_type_colour8) << "a.tif2" << save_filter_tiff
                                     << 11 << tiff << "";
    QTest::newRow("another format's") << int(image_type_colour8) << "a.jpg" << save_filter_tiff
                                      << 11 << tiff << "";
    QTest::newRow("upper-case long") << int(image_type_colour8) << "a.TIFF" << save_filter_tiff
                                     << 0 << "" << "a.TIFF";
    QTest::newRow("none: the format's") << int(image_type_colour8) << "noext" << save_filter_png
                                        << 0 << "" << "noext.png";
    const QString no_writer = QString::fromUtf8(error_text(136));
    QTest::newRow("no writer") << int(image_type_colour8) << "a.bmp" << save_filter_bmp << 136
                               << no_writer << "";
    // Refused before the picture is cut to 8 bits.
    QTest::newRow("no writer, 16 bits") << int(image_type_colour16) << "a.bmp" << save_filter_bmp
                                        << 136 << no_writer << "";
    QTest::newRow("binary as JPEG")
        << int(image_type_binary) << "bits.jpg" << save_filter_jpeg << 24
        << "Only grayscale or color images can be saved in JPEG format" << "";
}

void TestSaveImage::names_and_types() {
    QFETCH(int, type);
    QFETCH(QString, name);
    QFETCH(int, filter);
    QFETCH(int, code);
    QFETCH(QString, told);
    QFETCH(QString, written);
    ImageHolder picture;
    fill_noise(picture.get(), type, 16, 9);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    ScriptedPanel panel({save_as(dir_->filePath(name), filter)});
    ScriptedBoxes boxes;
    // What the user is told: the panel's own boxes, then the code the command reports.
    const int result = SaveImageAs(window);
    QCOMPARE(result, code);
    if (result != 0 && result != 11) error_report(result);
    QCOMPARE(boxes.texts(), told.isEmpty() ? QStringList{} : QStringList{told});
    if (code == 11) QCOMPARE(panel.requests.at(1).name, dir_->filePath(name));
    QCOMPARE(QDir(dir_->path()).entryList(QDir::Files),
             written.isEmpty() ? QStringList{} : QStringList{written});
    QCOMPARE(window->modified, written.isEmpty() ? 1 : 0);
    QCOMPARE(window->record()->file_name,
             written.isEmpty() ? std::string() : dir_->filePath(written).toStdString());
    QCOMPARE(window->record()->image.type, type);
    QCOMPARE(window->busy, 0);
}

void TestSaveImage::sixteen_bit_pictures() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour16, 20, 10);
    const Pnm wide = pnm_of(picture.get());
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);

    // TIFF takes 16 bits as they are, without a question.
    {
        ScriptedPanel panel(
            {save_as(dir_->filePath(QStringLiteral("wide.tif")), save_filter_tiff)});
        ScriptedBoxes boxes;
        QCOMPARE(SaveImageAs(window), 0);
        QVERIFY(boxes.calls.empty());
        const Pnm read = decoded_by(QStringLiteral("tifftopnm -byrow"),
                                    dir_->filePath(QStringLiteral("wide.tif")));
        QCOMPARE(read.maxval, 65535);
        QCOMPARE(read.samples, wide.samples);
    }
    // PNG asks first: Cancel brings the panel back, OK converts the window's
    // picture to 8 bits for good and writes it.
    ScriptedPanel panel({save_as(dir_->filePath(QStringLiteral("narrow.png")), save_filter_png),
                         save_as(dir_->filePath(QStringLiteral("narrow.png")), save_filter_png)});
    ScriptedBoxes boxes({answer_cancel, answer_ok});
    QCOMPARE(SaveImageAs(window), 0);
    QCOMPARE(panel.requests.size(), std::size_t{2});
    QCOMPARE(boxes.calls.size(), std::size_t{2});
    QCOMPARE(boxes.calls[0].kind, box_ok_cancel);
    QCOMPARE(boxes.calls[0].text,
             QStringLiteral("Only TIFF and FITS file formats support 16-bit image data.\nConvert "
                            "image to 8-bit and continue?"));
    QCOMPARE(window->record()->image.type, static_cast<int>(image_type_colour8));
    const Pnm read =
        decoded_by(QStringLiteral("pngtopnm"), dir_->filePath(QStringLiteral("narrow.png")));
    QCOMPARE(read.maxval, 255);
    QCOMPARE(read.samples.size(), wide.samples.size());
    for (std::size_t i = 0; i < wide.samples.size(); ++i)
        QCOMPARE(read.samples[i], (wide.samples[i] * 255 + 32767) / 65535);
    // The screen shows the converted picture.
    QCOMPARE(window->record()->view_copy.type, static_cast<int>(image_type_colour8));
}

// An existing file is replaced only on Yes; one open in another window must
// close first, and one in use is refused. No brings the panel back.
void TestSaveImage::overwrite_questions() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 10, 10);
    ImageWindow* window = show_picture(picture.get());
    const QString target = dir_->filePath(QStringLiteral("there.png"));
    QVERIFY(write_file(target, "old"));
    for (const int answer : {answer_no, answer_yes}) {
        ScriptedPanel panel({save_as(target, save_filter_png)});
        ScriptedBoxes boxes({answer});
        QCOMPARE(SaveImageAs(window), answer == answer_yes ? 0 : 11);
        QCOMPARE(boxes.texts(), QStringList{QStringLiteral("Replace existing file: %1?").arg(target)});
        QCOMPARE(panel.requests.size(), std::size_t{answer == answer_yes ? 1u : 2u});
        QCOMPARE(file_bytes(target) == "old", answer == answer_no);
    }

    ImageHolder second;
    fill_noise(second.get(), image_type_gray8, 6, 6);
    ImageWindow* other = show_picture(second.get());
    {
        WindowBase owner;
        link_add(&owner, window, "Input", true);
        ScriptedPanel panel({save_as(target, save_filter_png)});
        ScriptedBoxes boxes;
        QCOMPARE(SaveImageAs(other), 11);
        QCOMPARE(boxes.texts(),
                 QStringList{QStringLiteral("A file of this name is currently open and in use")});
        link_remove(&owner, window);
    }
    ScriptedPanel panel({save_as(target, save_filter_png)});
    ScriptedBoxes boxes({answer_yes});
    window->modified = 0;
    QPointer<QMdiSubWindow> closing = window->sub_window();
    QCOMPARE(SaveImageAs(other), 0);
    QCOMPARE(boxes.texts(), QStringList{QStringLiteral("A file of this name is currently open.\nClose "
                                                       "its window and replace the existing file?")});
    QTRY_VERIFY(closing.isNull());
    QCOMPARE(decoded_by(QStringLiteral("pngtopnm"), target).channels, 1);
}

// A save that stops half way (here cancelled at the writer's progress)
// leaves the old file as it was and the window as it stood.
void TestSaveImage::failed_saves_keep_the_original() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 500, 400);
    ImageWindow* window = show_picture(picture.get());
    QVERIFY(window != nullptr);
    const QByteArray old_bytes("the file that was there");
    for (const auto& [name, filter] :
         {std::pair{"old.tif", save_filter_tiff}, std::pair{"old.jpg", save_filter_jpeg},
          std::pair{"old.png", save_filter_png}}) {
        const QString target = dir_->filePath(QLatin1String(name));
        QVERIFY(write_file(target, old_bytes));
        TestProgress cancel(cancel_at_second);
        ScriptedPanel panel({save_as(target, filter)});
        ScriptedBoxes boxes({answer_yes});
        QCOMPARE(SaveImageAs(window), 11);
        QCOMPARE(file_bytes(target), old_bytes);
        QCOMPARE(window->modified, 1);
        QVERIFY(window->record()->file_name.empty());
        QCOMPARE(window->busy, 0);
        QCOMPARE(app_state.file_operation_busy, false);
    }
    QCOMPARE(QDir(dir_->path()).entryList(QDir::Files).size(), 3);  // no temporary file left

    // A folder that cannot be written to (permissions bind all but the super-user).
    if (geteuid() == 0) return;
    const QString target = dir_->filePath(QStringLiteral("old.tif"));
    QFile::setPermissions(dir_->path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    ScriptedPanel panel({save_as(target, save_filter_tiff)});
    ScriptedBoxes boxes({answer_yes});
    QCOMPARE(command_dispatch(nullptr, 1007), CommandResult::done);
    QFile::setPermissions(dir_->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QCOMPARE(boxes.calls.size(), std::size_t{2});
    QCOMPARE(boxes.calls[1].caption, QStringLiteral("Error"));
    QCOMPARE(file_bytes(target), old_bytes);
    QCOMPARE(window->modified, 1);
}

// Save writes the window's own file without panel or question; a type that
// cannot be written back turns it into Save As.
void TestSaveImage::save_in_place() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 30, 20);
    const QString path = make_tiff(QStringLiteral("in place.tif"), picture.get());
    ImageWindow* window = open_window(path);
    QVERIFY(window != nullptr);
    invert(&window->record()->image);
    window->modified = 1;
    {
        ScriptedPanel panel;
        ScriptedBoxes boxes;
        QCOMPARE(command_dispatch(nullptr, 1006), CommandResult::done);
        QVERIFY(panel.requests.empty() && boxes.calls.empty());
        QCOMPARE(window->modified, 0);
        QCOMPARE(decoded_by(QStringLiteral("tifftopnm"), path).samples,
                 pnm_of(&window->record()->image).samples);
    }
    window->record()->file_type = -1;
    ScriptedPanel panel;
    QCOMPARE(SaveImage(window), 11);
    QCOMPARE(panel.requests.size(), std::size_t{1});
}

// A file's comments come with its window and go back with each save, with
// "Software" set; a JPEG saved without comments has none.
void TestSaveImage::saves_keep_comments_unless_told() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 30, 20);
    const std::string path = (dir_->path() + QStringLiteral("/commented.jpg")).toStdString();
    CommentList comments;
    QCOMPARE(CommentSetText(&comments, 0, "Ann"), 0);
    SaveOptions options;
    options.progress = false;
    options.comments = &comments;
    QCOMPARE(WriteImage(path.c_str(), save_filter_jpeg, picture.get(), {}, options), 0);
    ImageWindow* window = open_window(QString::fromStdString(path));
    QVERIFY(window != nullptr);
    QVERIFY(CommentFind(window->record()->comments, 0) != nullptr);

    const auto saved = [&] {
        CommentList list;
        (void)ReadComments(path.c_str(), file_type_jpeg, &list, nullptr);
        return list;
    };
    QCOMPARE(SaveImage(window), 0);
    QCOMPARE(saved().items.size(), std::size_t{2});
    QCOMPARE(std::string(CommentFind(saved(), 9)->text()), std::string(product_banner));
    QVERIFY(CommentFind(window->record()->comments, 9) != nullptr);
    saved_state().savefileoptions |= save_without_comments;
    QCOMPARE(SaveImage(window), 0);
    QVERIFY(saved().items.empty());
}

void TestSaveImage::proposals_of_the_panel() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 8, 8);
    ImageWindow* opened = open_window(make_tiff(QStringLiteral("shot.tif"), picture.get()));
    QVERIFY(opened != nullptr);
    QCOMPARE(command_dispatch(nullptr, 4006), CommandResult::done);
    ImageWindow* derived = image_window_active(frame_->area());
    QVERIFY(derived != nullptr && derived != opened);
    preferences().defaultfilesavetype = save_filter_png;
    // A file's own format beside it, numbered so as not to overwrite; a picture
    // derived from it is named after it, in the preferred format while
    // `honorfilesavetype` holds, else its source's.
    const auto proposed = [](ImageWindow* window) {
        ScriptedPanel panel;
        (void)SaveImageAs(window);
        return std::pair{panel.requests.at(0).filter, QFileInfo(panel.requests[0].name).fileName()};
    };
    QCOMPARE(proposed(opened), std::pair(save_filter_tiff, QStringLiteral("shot-1.tif")));
    QCOMPARE(proposed(derived), std::pair(save_filter_png, QStringLiteral("shot.png")));
    preferences().honorfilesavetype = false;
    QCOMPARE(proposed(derived), std::pair(save_filter_tiff, QStringLiteral("shot-1.tif")));
    // After a Save As the filter used last is proposed for new pictures.
    preferences().honorfilesavetype = true;
    {
        ScriptedPanel panel({save_as(dir_->filePath(QStringLiteral("q.jpg")), save_filter_jpeg)});
        QCOMPARE(SaveImageAs(derived), 0);
    }
    ImageHolder fresh;
    fill_noise(fresh.get(), image_type_gray8, 4, 4);
    QCOMPARE(proposed(show_picture(fresh.get())),
             std::pair(save_filter_jpeg, QStringLiteral("Untitled.jpg")));
}

// Revert shows the file's pixels again at the same zoom; a file that is gone
// leaves the window empty and unnamed.
void TestSaveImage::revert_reads_the_file_again() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 30, 20);
    const Pnm original = pnm_of(picture.get());
    const QString path = make_tiff(QStringLiteral("revert.tif"), picture.get());
    ImageWindow* window = open_window(path);
    QVERIFY(window != nullptr);
    window->set_zoom(2, true);
    invert(&window->record()->image);
    window->layout_view();
    window->modified = 1;
    QCOMPARE(command_dispatch(nullptr, 1009), CommandResult::done);
    QCOMPARE(window->modified, 0);
    QCOMPARE(pnm_of(&window->record()->image).samples, original.samples);
    QCOMPARE(window->record()->zoom, 2);
    const QImage screen = display_image(window->record()->display_copy);
    QCOMPARE(screen.pixel(3, 1),
             qRgb(original.at(1, 0, 0), original.at(1, 0, 1), original.at(1, 0, 2)));

    QVERIFY(QFile::remove(path));
    ScriptedBoxes boxes;
    QCOMPARE(command_dispatch(nullptr, 1009), CommandResult::done);
    QCOMPARE(boxes.calls.at(0).caption, QStringLiteral("Error"));
    QVERIFY(window->record()->file_name.empty());
    QVERIFY(window->sub_window()->windowTitle().startsWith(QStringLiteral("Untitled 1")));
}

// Yes to the close question writes the window's own file, or for an untitled
// picture goes through the panel; a save that fails keeps the window open.
void TestSaveImage::close_question_yes_saves() {
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 30, 20);
    const QString path = make_tiff(QStringLiteral("closing.tif"), picture.get());
    ImageWindow* window = open_window(path);
    QVERIFY(window != nullptr);
    invert(&window->record()->image);
    const Pnm changed = pnm_of(&window->record()->image);
    window->modified = 1;
    {
        ScriptedBoxes boxes({answer_yes});
        QPointer<QMdiSubWindow> sub = window->sub_window();
        QVERIFY(sub->close());
        QCOMPARE(boxes.texts(), QStringList{QStringLiteral("Save Modified Image: 1 - closing.tif?")});
        QTRY_VERIFY(sub.isNull());
        QCOMPARE(decoded_by(QStringLiteral("tifftopnm"), path).samples, changed.samples);
    }
    ImageHolder fresh;
    fill_noise(fresh.get(), image_type_colour8, 500, 400);
    QPointer<QMdiSubWindow> sub = show_picture(fresh.get())->sub_window();
    const QString named = dir_->filePath(QStringLiteral("named.png"));
    for (const bool fails : {true, false}) {
        TestProgress cancel([fails](int step) { return fails ? cancel_at_second(step) : 0; });
        ScriptedPanel panel({save_as(named, save_filter_png)});
        ScriptedBoxes boxes({answer_yes});
        QCOMPARE(sub->close(), !fails);
        QCOMPARE(QFileInfo::exists(named), !fails);
    }
    QTRY_VERIFY(sub.isNull());
}

void TestSaveImage::save_image_panel_controls() {
    SaveImageRequest request;
    request.name = dir_->filePath(QStringLiteral("pic.tif"));
    request.filter = save_filter_tiff;
    request.choices = save_choices_from_state();
    request.choices.save_file_options = 0;
    SaveImagePanel panel(request);
    // Another format puts its extension in the name field.
    panel.choose_filter(save_filter_jpeg);
    QCOMPARE(panel.name_field(), QStringLiteral("pic.jpg"));
    // The slider runs on 0 to 1024; the quality is cut toward zero.
    panel.jpeg_slider()->setValue(500);
    QCOMPARE(panel.choices().jpeg_quality, 48);
    panel.include_profile()->setChecked(false);
    QCOMPARE(panel.choices().save_file_options, save_without_profile);

    // Shown for real: a format picked, then OK.
    QTimer::singleShot(0, [] {
        auto* shown = qobject_cast<SaveImagePanel*>(QApplication::activeModalWidget());
        if (shown == nullptr) return;
        shown->choose_filter(save_filter_png);
        QMetaObject::invokeMethod(shown, "accept");
    });
    const SaveImageAnswer ran = save_image_panel_run(request);
    QCOMPARE(ran.filter, save_filter_png);
    QCOMPARE(ran.name, dir_->filePath(QStringLiteral("pic.png")));

    // The JPEG choices reach the saved state only with the JPEG format.
    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 8, 8);
    ImageWindow* window = show_picture(picture.get());
    SaveChoices choices = save_choices_from_state();
    choices.jpeg_quality = 40;
    choices.tiff_compression = 2;
    for (const auto& [name, filter, quality] : {std::tuple{"s.tif", save_filter_tiff, 97},
                                                std::tuple{"s.jpg", save_filter_jpeg, 40}}) {
        ScriptedPanel scripted({{dir_->filePath(QLatin1String(name)), filter, choices}});
        QCOMPARE(SaveImageAs(window), 0);
        QCOMPARE(saved_state().jpegquality[0], quality);
        QCOMPARE(saved_state().TIFFCompressMode, 2);
    }
}

void TestSaveImage::jpeg_statistics() {
    QCOMPARE(jpeg_size_text(999), QStringLiteral("999 bytes"));
    QCOMPARE(jpeg_size_text(1234567), QStringLiteral("1.23 MB"));

    ImageHolder picture;
    fill_noise(picture.get(), image_type_colour8, 64, 48);
    ImageWindow* window = show_picture(picture.get());
    saved_state().savefileoptions = 0;
    const QString path = dir_->filePath(QStringLiteral("stats.jpg"));
    std::vector<JpegStatistics> shown;
    qint64 first_size = 0;
    const JpegStatisticsPanel before = save_image_set_statistics_panel(
        [&](const JpegStatistics& statistics, SaveChoices* choices) {
            shown.push_back(statistics);
            if (shown.size() > 1) return false;
            first_size = QFileInfo(path).size();
            choices->jpeg_quality = 10;  // "Save Again" at a low quality
            return true;
        });
    ScriptedPanel panel({save_as(path, save_filter_jpeg)});
    QCOMPARE(SaveImageAs(window), 0);
    save_image_set_statistics_panel(before);
    QCOMPARE(shown.size(), std::size_t{2});
    QCOMPARE(shown[0].image_bytes, 64LL * 48 * 3);
    QCOMPARE(shown[0].file_bytes, first_size);
    QCOMPARE(shown[1].file_bytes, QFileInfo(path).size());
    QVERIFY(shown[1].file_bytes < first_size);
    QCOMPARE(saved_state().jpegquality[0], 10);

    // The panel offers "Save Again" only once something differs from what was used.
    JpegStatistics statistics;
    statistics.image_bytes = 9216;
    statistics.colour = true;
    statistics.choices = save_choices_from_state();
    statistics.choices.jpeg_quality = 50;  // a quality the slider shows exactly
    JpegStatisticsDialog dialog(statistics, nullptr);
    QVERIFY(!dialog.save_again_button()->isEnabled());
    const int position = dialog.quality_slider()->value();
    dialog.quality_slider()->setValue(position - 200);
    QVERIFY(dialog.save_again_button()->isEnabled());
    dialog.quality_slider()->setValue(position);
    QVERIFY(!dialog.save_again_button()->isEnabled());
}

// File Open opens every file chosen; one already open only comes forward; a
// second open while a slow one shows progress is turned away.
void TestSaveImage::file_open_panel_and_guard() {
    ImageHolder a;
    fill_noise(a.get(), image_type_colour8, 500, 400);
    const QString big = make_tiff(QStringLiteral("big.tif"), a.get());
    ImageHolder b;
    fill_noise(b.get(), image_type_colour8, 7, 5);
    const QString small = make_tiff(QStringLiteral("small.tif"), b.get());

    std::vector<OpenFileRequest> requests;
    const OpenFileChooser before = open_file_set_chooser([&](const OpenFileRequest& request) {
        requests.push_back(request);
        return requests.size() == 1 ? QStringList{big, small} : QStringList{};
    });
    ScriptedBoxes boxes;
    // The second time Cancel: nothing opens, nothing is said.
    for (int i = 0; i < 2; ++i)
        QCOMPARE(command_dispatch(nullptr, 1002), CommandResult::done);
    open_file_set_chooser(before);
    QVERIFY(requests[0].filters[0].contains(QStringLiteral("*.nef")));
    QCOMPARE(QString::fromStdString(saved_state().lastdirectory), dir_->path());
    QCOMPARE(open_file_path(big), 0);
    QCOMPARE(frame_->area()->subWindowList().size(), 2);
    QVERIFY(boxes.calls.empty());
    for (QMdiSubWindow* sub : frame_->area()->subWindowList())
        sub->close();
    QTRY_VERIFY(image_window_of_file(big) == nullptr && image_window_of_file(small) == nullptr);

    int nested = -1;
    TestProgress progress([&](int) {
        if (nested == -1) nested = open_file_path(small);
        return 0;
    });
    QCOMPARE(open_file_path(big), 0);
    QCOMPARE(nested, 125);
    QCOMPARE(frame_->area()->subWindowList().size(), 1);
    // Once it is over the next one runs.
    QCOMPARE(open_file_path(small), 0);
    QCOMPARE(frame_->area()->subWindowList().size(), 2);
}

QTEST_MAIN(TestSaveImage)
#include "tst_save_image.moc"
