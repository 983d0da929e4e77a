#include "shell/open_file.h"

#include "core/errors.h"
#include "core/preferences.h"
#include "file/file_types.h"
#include "file/load_image.h"
#include "file/read_image.h"

#include "shell/app_state.h"
#include "shell/image_window.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>

#include <utility>

namespace {

constexpr int err_open_in_progress = 125;

// Set while an open runs; the progress panel's message loop can bring in a
// second one.
bool open_running = false;

QString dialog_folder;  // empty until a panel has been used in this session

// Extensions that "All Image Files" lists: every read one but two raw kinds,
// which only "All Files" shows.
constexpr const char* all_image_extensions[] = {
    "tif", "tiff", "jpg", "jpeg", "jpe", "bmp", "pcx", "gif", "tga", "png", "fpx",
    "fit", "fits", "rle", "pcd",  "cmp", "jp2", "j2k", "crw", "raw", "orf", "mrw",
    "bay", "raf",  "cs1", "fff",  "032", "nef", "kdc", "dcr", "k25", "dc2", "pef",
    "rdc", "srf",  "cr2", "sr2",  "arw", "dng", "erf", "nrw", "rw2", "par"};

// The save filters that File Open lists too: all but EPS, which is only written.
constexpr int open_save_filters[] = {
    save_filter_tiff, save_filter_jpeg, save_filter_bmp,      save_filter_targa, save_filter_pcx,
    save_filter_gif,  save_filter_png,  save_filter_flashpix, save_filter_fits,  save_filter_rle};

QStringList open_filters() {
    QStringList patterns;
    for (const char* extension : all_image_extensions)
        patterns.append(QStringLiteral("*.") + QLatin1String(extension));
    QStringList filters{
        QStringLiteral("All Image Files (%1)").arg(patterns.join(QLatin1Char(' ')))};
    for (int filter : open_save_filters) {
        const SaveFilter* row = save_filter(filter);
        filters.append(QStringLiteral("%1 (%2)").arg(
            QLatin1String(row->label),
            QString::fromLatin1(row->pattern).replace(QLatin1Char(';'), QLatin1Char(' '))));
    }
    filters.append(QStringLiteral("OV Album (*.ovalbum)"));
    filters.append(QStringLiteral("Workflow (*.wfl)"));
    filters.append(QStringLiteral("All Files (*.*)"));
    return filters;
}

QStringList file_dialog(const OpenFileRequest& request) {
    QString selected = request.filters.value(request.filter);
    return QFileDialog::getOpenFileNames(request.parent, request.title, request.folder,
                                         request.filters.join(QStringLiteral(";;")), &selected);
}

OpenFileChooser& chooser() {
    static OpenFileChooser current = file_dialog;
    return current;
}

// A record that the load fills before a window holds it.
class LoadedRecord {
public:
    LoadedRecord() {
        image_init(&record.image);
        image_init(&record.view_copy);
        image_init(&record.display_copy);
    }
    ~LoadedRecord() {
        image_free(&record.image);
        image_free(&record.view_copy);
        image_free(&record.display_copy);
    }
    LoadedRecord(const LoadedRecord&) = delete;
    LoadedRecord& operator=(const LoadedRecord&) = delete;
    WindowRecord record{};
};

// The last stage of an open: the load, then the window that takes the record.
int DoFileOpenCell(const QString& path, int options) {
    if (app_state.mdi_area == nullptr) return err_unknown_type;
    // "Too many images" before the file is read, not after.
    if (int code = window_record_check_free()) return code;
    LoadedRecord loaded;
    int code = LoadImageData(QFile::encodeName(path).constData(), &loaded.record, options);
    if (code == 0) {
        if ((options & load_no_recent) == 0) emit shell_signals().recent_files_changed();
        // The name is set before the window is shown so that its first title has it.
        code = image_window_create(app_state.mdi_area, &loaded.record.image, nullptr,
                                   [&](WindowRecord* record) {
                                       record->file_name = loaded.record.file_name;
                                       record->file_type = loaded.record.file_type;
                                       record->profile = std::move(loaded.record.profile);
                                       record->comments = std::move(loaded.record.comments);
                                   });
    }
    debug_log("File", "DoFileOpenCell", code);
    return code;
}

// One chosen file: its open window comes forward, or it is loaded.
int DoFileOpen1_ParentHwnd(const QString& path, int options) {
    const QString absolute = QFileInfo(path).absoluteFilePath();
    int code = 0;
    if (ImageWindow* open = image_window_of_file(absolute)) {
        if (QMdiSubWindow* sub = open->sub_window(); sub != nullptr && sub->mdiArea() != nullptr)
            sub->mdiArea()->setActiveSubWindow(sub);
    } else {
        // Workflows, albums and raw files have no window of their own yet: the
        // reader refuses them with its own code.
        code = DoFileOpenCell(absolute, options);
    }
    debug_log("File", "DoFileOpen1_ParentHwnd", code);
    return code;
}

}  // namespace

OpenFileChooser open_file_set_chooser(OpenFileChooser replacement) {
    OpenFileChooser before = std::move(chooser());
    chooser() = replacement ? std::move(replacement) : OpenFileChooser(file_dialog);
    return before;
}

QString image_dialog_folder() {
    if (!dialog_folder.isEmpty()) return dialog_folder;
    if (!preferences().startupdirectory.empty())
        return QString::fromStdString(preferences().startupdirectory);
    return QDir::currentPath();
}

void image_dialog_used(const QString& path) {
    dialog_folder = QFileInfo(path).absolutePath();
    saved_state().lastdirectory = dialog_folder.toStdString();
}

int DoFileOpen_ParentWnd(const QString& path, QWidget* parent, int options) {
    if (open_running) return err_open_in_progress;
    open_running = true;
    // Files arriving meanwhile wait in the queue.
    const bool was_busy = app_state.file_operation_busy;
    app_state.file_operation_busy = true;
    QStringList names{path};
    if (path.isEmpty()) {
        const QStringList filters = open_filters();
        // The preference counts the filters from 1, as the platform's panel did.
        const int first = preferences().defaultfileopentype - 1;
        names =
            chooser()(OpenFileRequest{parent, QStringLiteral("File Open"), image_dialog_folder(),
                                      filters, first >= 0 && first < filters.size() ? first : 0});
        if (!names.isEmpty()) image_dialog_used(names.first());
    }
    int code = names.isEmpty() ? err_aborted : 0;
    for (const QString& name : names) {
        const int result = DoFileOpen1_ParentHwnd(name, options);
        if (result != 0) code = result;
    }
    app_state.file_operation_busy = was_busy;
    open_running = false;
    return code;
}

int open_file_path(const QString& path) {
    return DoFileOpen_ParentWnd(path, app_state.main_window, 0);
}
