// Opening image files into new windows: the File Open panel, the one open
// that runs at a time, and the folder that the image file panels start in.
#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QWidget;

// Opens `path` in a new image window. Returns 0 or an error code, which the
// caller shows. A file that is open already only has its window activated.
[[nodiscard]] int open_file_path(const QString& path);

// The open itself: `path`, or the names chosen in the File Open panel when it
// is empty. Only one runs at a time: a second call while one is under way (the
// progress panel keeps the message loop going) gives 125. `options` are the
// load option bits of read_image.h. 0, 11 when the panel was cancelled, or the
// last error of the files opened.
[[nodiscard]] int DoFileOpen_ParentWnd(const QString& path, QWidget* parent, int options);

// The File Open panel's request: title, start folder and filters.
struct OpenFileRequest {
    QWidget* parent = nullptr;
    QString title;  // "File Open"
    QString folder;
    QStringList filters;  // "All Image Files (...)", "TIFF (*.tif *.tiff)", ...
    int filter = 0;       // index into `filters` shown first
};
// Shows the panel and returns the chosen files, none when cancelled.
using OpenFileChooser = std::function<QStringList(const OpenFileRequest&)>;
// Returns the one set before; null restores QFileDialog.
OpenFileChooser open_file_set_chooser(OpenFileChooser chooser);

// The folder the File Open and Save Image panels start in: the one last used
// in this session; at the first use the `startupdirectory` preference when it
// is set; else the current folder.
QString image_dialog_folder();
// A file was chosen in one of those panels: its folder is the one to start in
// next, and the saved state's `lastdirectory`.
void image_dialog_used(const QString& path);
