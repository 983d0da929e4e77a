#include "shell/save_image.h"

#include "core/errors.h"
#include "core/preferences.h"
#include "core/undo.h"
#include "file/file_types.h"
#include "file/load_image.h"
#include "file/safe_write.h"
#include "file/write_image.h"

#include "shell/app_state.h"
#include "shell/file_open_queue.h"
#include "shell/image_window.h"
#include "shell/message_box.h"
#include "shell/open_file.h"
#include "shell/recent_files.h"
#include "shell/save_image_panel.h"

#include <QDir>
#include <QFileInfo>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTimer>

#include <algorithm>
#include <string>
#include <utility>

namespace {

constexpr const char* sixteen_bit_question =
    "Only TIFF and FITS file formats support 16-bit image data.\nConvert image to 8-bit and "
    "continue?";

// The filter of the last Save As of this session, 0 before the first.
int last_filter = 0;

SaveImageChooser& chooser() {
    static SaveImageChooser current = save_image_panel_run;
    return current;
}

JpegStatisticsPanel& statistics_panel() {
    static JpegStatisticsPanel current = jpeg_statistics_panel_run;
    return current;
}

std::string native_name(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

// The window is marked busy, so that it cannot close, and opens wait, for as
// long as a save runs.
class SaveScope {
public:
    explicit SaveScope(ImageWindow* window)
        : window_(window), was_busy_(app_state.file_operation_busy) {
        window_->busy = 1;
        app_state.file_operation_busy = true;
    }
    ~SaveScope() {
        window_->busy = 0;
        app_state.file_operation_busy = was_busy_;
        // Files handed over meanwhile open once the save is over, from the
        // event loop: a save may run inside a window's close.
        if (!was_busy_ && !app_state.open_queue.empty()) QTimer::singleShot(0, open_queued_files);
    }
    SaveScope(const SaveScope&) = delete;
    SaveScope& operator=(const SaveScope&) = delete;

private:
    ImageWindow* window_;
    bool was_busy_;
};

SaveOptions options_of(const SaveChoices& choices) {
    SaveOptions options;
    options.tiff_compression = choices.tiff_compression;
    options.jpeg_quality = choices.jpeg_quality;
    options.jpeg_sampling = choices.jpeg_sampling;
    options.jpeg_profile = (choices.save_file_options & save_without_profile) == 0;
    return options;
}

void store_jpeg_choices(const SaveChoices& choices) {
    saved_state().jpegquality[0] = choices.jpeg_quality;
    saved_state().jpegquality[1] = choices.jpeg_sampling;
    saved_state().savefileoptions = choices.save_file_options;
}

// The format's writer. JPEG files written from the editor are followed by
// their statistics, from which the user may write the file again.
int write_window(ImageWindow* window, const std::string& path, int filter, SaveChoices choices) {
    WindowRecord* record = window->record();
    // Every save names this program in the window's comments, as in the file.
    (void)CommentSetText(&record->comments, comment_code_software, product_banner);
    for (;;) {
        SaveOptions options = options_of(choices);
        const bool keep_comments =
            filter != save_filter_jpeg || (choices.save_file_options & save_without_comments) == 0;
        if (keep_comments) options.comments = &record->comments;
        const int code = WriteImage(path.c_str(), filter, &record->image, record->profile, options);
        if (code != 0 || filter != save_filter_jpeg) return code;
        if ((choices.save_file_options & save_without_statistics) != 0 || app_state.batch_parent)
            return 0;
        JpegStatistics statistics;
        statistics.path = QString::fromStdString(path);
        statistics.image_bytes = image_data_bytes(&record->image);
        statistics.file_bytes = QFileInfo(statistics.path).size();
        statistics.colour = image_is_colour(&record->image);
        statistics.choices = choices;
        SaveChoices again = choices;
        if (!statistics_panel()(statistics, &again)) return 0;
        choices = again;
        store_jpeg_choices(choices);
    }
}

// The overwrite check of a confirmed name. True to go on and write.
bool may_overwrite(ImageWindow* saving, const std::string& path) {
    QMdiArea* area = app_state.mdi_area;
    const QList<QMdiSubWindow*> children =
        area != nullptr ? area->subWindowList() : QList<QMdiSubWindow*>();
    for (QMdiSubWindow* sub : children) {
        ImageWindow* other = image_window_of(sub);
        if (other == nullptr || other == saving || other->owner_window() != nullptr ||
            other->window_kind() != window_kind_image || other->record()->file_name != path)
            continue;
        if (!link_blocker(other).empty() || other->busy != 0) {
            message_box(saving, QStringLiteral("Error"), box_ok,
                        QStringLiteral("A file of this name is currently open and in use"));
            return false;
        }
        const int answer = message_box(
            saving, QStringLiteral("Warning"), box_yes_no_cancel,
            QStringLiteral(
                "A file of this name is currently open.\nClose its window and replace the "
                "existing file?"));
        if (answer == answer_no) return false;
        // Its own save question may still keep it open, and then the file too.
        if (answer == answer_yes) return sub->close();
    }
    if (!QFileInfo::exists(QString::fromStdString(path))) return true;
    return message_box(
               saving, QString(), box_yes_no,
               QStringLiteral("Replace existing file: %1?").arg(QString::fromStdString(path))) ==
           answer_yes;
}

// The folder and name the panel first proposes: the window's file, or the
// one it came from, or "Untitled", with the filter's extension and a number
// added when such a file exists.
QString proposed_name(const WindowRecord& record, int filter) {
    std::string base = record.file_name;
    if (base.empty()) base = record.derived_from;
    if (base.empty()) {
        std::string joined;
        const std::string folder = native_name(image_dialog_folder());
        base = join_path(folder, "Untitled", &joined) ? joined : "Untitled";
    }
    return QString::fromStdString(unique_name(name_with_filter_extension(base, filter), 2));
}

int initial_filter(const WindowRecord& record) {
    int filter = save_filter_of_stored_type(record.file_type);
    // An image never saved keeps its source's format only when the preference
    // doesn't ask for the preferred one.
    if (record.file_name.empty() && preferences().honorfilesavetype) filter = 0;
    if (filter == 0) filter = last_filter;
    if (filter == 0) {
        // The preference counts from 1, as the filters do.
        filter = preferences().defaultfilesavetype;
        if (save_filter(filter) == nullptr) filter = save_filter_tiff;
    }
    return filter;
}

void saved_as(ImageWindow* window, const QString& path, int filter) {
    WindowRecord* record = window->record();
    record->file_name = path.toStdString();
    record->file_type = stored_type_of_save_filter(filter);
    window->modified = 0;
    recent_file_opened(path);
    window->update_title();
}

// After the picture changed under the window: both screen copies are made again.
void rebuild_view(ImageWindow* window) {
    image_free(&window->record()->view_copy);
    image_free(&window->record()->display_copy);
    window->layout_view();
    window->update_title();
}

void show_code(int code) {
    if (code != err_aborted) error_report(code);
}

}  // namespace

SaveChoices save_choices_from_state() {
    SaveChoices choices;
    const State& state = saved_state();
    choices.tiff_compression = state.TIFFCompressMode;
    choices.jpeg_quality = std::clamp(state.jpegquality[0], 0, 100);
    choices.jpeg_sampling = std::clamp(state.jpegquality[1], 0, 2);
    choices.save_file_options = state.savefileoptions;
    choices.bmp_version = state.BMPVersion;
    return choices;
}

SaveImageChooser save_image_set_chooser(SaveImageChooser replacement) {
    SaveImageChooser before = std::move(chooser());
    chooser() = replacement ? std::move(replacement) : SaveImageChooser(save_image_panel_run);
    return before;
}

JpegStatisticsPanel save_image_set_statistics_panel(JpegStatisticsPanel replacement) {
    JpegStatisticsPanel before = std::move(statistics_panel());
    statistics_panel() =
        replacement ? std::move(replacement) : JpegStatisticsPanel(jpeg_statistics_panel_run);
    return before;
}

int SaveImageAs(ImageWindow* window) {
    const SaveScope scope(window);
    WindowRecord* record = window->record();
    SaveImageRequest request;
    request.parent = window;
    request.title = QStringLiteral("Save Image  (%1)").arg(window->windowTitle());
    request.filter = initial_filter(*record);
    request.name = proposed_name(*record, request.filter);
    request.choices = save_choices_from_state();

    std::string path;
    for (;;) {
        const SaveImageAnswer answer = chooser()(request);
        if (answer.name.isEmpty()) return err_aborted;
        request.filter = answer.filter;
        request.choices = answer.choices;
        request.name = answer.name;
        const SaveFilter* row = save_filter(answer.filter);
        if (row == nullptr) return 71;

        path = native_name(QFileInfo(answer.name).absoluteFilePath());
        if (!save_name_check(answer.filter, &path)) {
            message_box(window, QStringLiteral("Error"), box_ok,
                        QString::fromLatin1(row->wrong_extension_message));
            continue;
        }
        request.name = QFile::decodeName(path.c_str());
        if (!may_overwrite(window, path)) continue;
        // A format this version cannot write is refused before a 16-bit
        // picture is cut to 8 bits for it.
        if (!save_filter_has_writer(answer.filter)) return err_unsupported;
        if (save_asks_16bit(answer.filter, record->image.type)) {
            if (message_box(window, QStringLiteral("Warning"), box_ok_cancel,
                            QString::fromLatin1(sixteen_bit_question)) != answer_ok)
                continue;
            if (int code = image_to_8bit_in_place(&record->image)) return code;
            // The pixels are no longer the file's: should the write fail, the
            // window must not pass for saved.
            window->modified = 1;
            rebuild_view(window);
        }
        break;
    }
    image_dialog_used(request.name);
    const SaveChoices& choices = request.choices;
    switch (request.filter) {
        case save_filter_tiff:
            saved_state().TIFFCompressMode = choices.tiff_compression;
            break;
        case save_filter_jpeg:
            store_jpeg_choices(choices);
            break;
        case save_filter_bmp:
            saved_state().BMPVersion = choices.bmp_version;
            break;
        default:
            break;
    }

    const int code = write_window(window, path, request.filter, choices);
    if (code != 0) return code;
    last_filter = request.filter;
    saved_as(window, request.name, request.filter);
    return 0;
}

int SaveImage(ImageWindow* window) {
    const WindowRecord* record = window->record();
    const int filter = save_filter_of_stored_type(record->file_type);
    if (record->file_name.empty() || filter == 0) return SaveImageAs(window);
    const SaveScope scope(window);
    const int code = write_window(window, record->file_name, filter, save_choices_from_state());
    if (code == 0) window->modified = 0;
    return code;
}

int Revert(ImageWindow* window) {
    WindowRecord* record = window->record();
    if (record->file_name.empty()) return 0;
    const std::string path = record->file_name;
    const int code = LoadImageData(path.c_str(), record, 0);
    // Undo steps describe the pixels that were there before.
    undo_forget_window(window);
    if (code == 0) {
        window->modified = 0;
        emit shell_signals().recent_files_changed();
    }
    // Also after a failure: the window then shows what the load left, nothing.
    rebuild_view(window);
    return code;
}

bool save_before_close(ImageWindow* window) {
    const int code = SaveImage(window);
    show_code(code);
    return code == 0;
}

QString jpeg_size_text(long long bytes) {
    if (bytes < 1000) return QStringLiteral("%1 bytes").arg(bytes);
    const char* unit = "KB";
    double scaled = bytes / 1e3;
    if (bytes >= 1000000000LL) {
        unit = "GB";
        scaled = bytes / 1e9;
    } else if (bytes >= 1000000) {
        unit = "MB";
        scaled = bytes / 1e6;
    }
    return QString::asprintf("%.2f %s", scaled, unit);
}

bool save_image_command(QMdiArea* area, int number) {
    if (number != 1006 && number != 1007 && number != 1008 && number != 1009) return false;
    ImageWindow* window = image_window_active(area);
    if (window == nullptr) return true;
    switch (number) {
        case 1006:
            show_code(SaveImage(window));
            break;
        case 1007:
            show_code(SaveImageAs(window));
            break;
        case 1008:
            if (QMdiSubWindow* sub = window->sub_window()) sub->close();
            break;
        default:
            show_code(Revert(window));
            break;
    }
    return true;
}
