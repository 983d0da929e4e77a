#include "shell/open_file.h"

#include "file/read_image.h"

#include "shell/app_state.h"
#include "shell/image_window.h"

#include <QFileInfo>
#include <QMdiArea>
#include <QMdiSubWindow>

#include <cstdint>
#include <utility>
#include <vector>

namespace {

constexpr int err_unknown_file_type = 71;

// Reads a picture by the type of its file; the one place that knows the readers.
int read_picture(const QString& path, Image* image, std::vector<std::uint8_t>* profile,
                 int* file_type) {
    return ReadImage(QFile::encodeName(path).constData(), image, profile, file_type, 0);
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
    std::vector<std::uint8_t> profile;
    if (int code = read_picture(absolute, picture.get(), &profile, &file_type)) return code;
    ImageWindow* window = nullptr;
    // The name is set before the window is shown so that its first title has it.
    if (int code = image_window_create(app_state.mdi_area, picture.get(), &window,
                                       [&](WindowRecord* record) {
                                           record->file_name = absolute.toStdString();
                                           record->file_type = file_type;
                                           record->profile = std::move(profile);
                                       }))
        return code;
    return 0;
}
