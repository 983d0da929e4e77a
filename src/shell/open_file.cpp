#include "shell/open_file.h"

#include "file/tiff_reader.h"

#include "shell/app_state.h"
#include "shell/image_window.h"

#include <QFileInfo>
#include <QMdiArea>
#include <QMdiSubWindow>

namespace {

constexpr int err_unknown_file_type = 71;
constexpr int file_type_tiff = 0;

// Reads a picture by the type of its file; the one place that knows the readers.
int read_picture(const QString& path, Image* image, int* file_type) {
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("tif") || suffix == QLatin1String("tiff")) {
        *file_type = file_type_tiff;
        return TiffRead(QFile::encodeName(path).constData(), image, true);
    }
    return err_unknown_file_type;
}

}  // namespace

int open_file_path(const QString& path) {
    const QString absolute = QFileInfo(path).absoluteFilePath();
    if (ImageWindow* open = image_window_of_file(absolute)) {
        if (QMdiSubWindow* sub = open->sub_window()) {
            if (sub->mdiArea() != nullptr) sub->mdiArea()->setActiveSubWindow(sub);
        }
        return 0;
    }
    if (app_state.mdi_area == nullptr) return err_unknown_file_type;
    ImageHolder picture;
    int file_type = 0;
    if (int code = read_picture(absolute, picture.get(), &file_type)) return code;
    ImageWindow* window = nullptr;
    // The name is set before the window is shown so that its first title has it.
    if (int code = image_window_create(app_state.mdi_area, picture.get(), &window,
                                       [&](WindowRecord* record) {
                                           record->file_name = absolute.toStdString();
                                           record->file_type = file_type;
                                       }))
        return code;
    return 0;
}
