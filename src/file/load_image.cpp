#include "file/load_image.h"

#include <filesystem>
#include <system_error>

#include "core/preferences.h"
#include "core/window_record.h"
#include "file/file_types.h"
#include "file/metadata.h"
#include "file/read_image.h"

namespace {

// The name as the record and the recent files keep it: whole, so that it still
// names the file after the working folder changed.
std::string absolute_name(const char* path) {
    std::error_code failed;
    const std::filesystem::path absolute = std::filesystem::absolute(path, failed);
    return failed ? std::string(path) : absolute.lexically_normal().string();
}

void clear_loaded(WindowRecord* record) {
    image_free(&record->image);
    record->profile.clear();
    CommentFreeAll(&record->comments);
    record->file_name.clear();
    record->derived_from.clear();
    record->file_type = 0;
}

}  // namespace

int LoadImageData(const char* path, WindowRecord* record, int options) {
    image_free(&record->image);
    record->profile.clear();
    CommentFreeAll(&record->comments);
    int file_type = file_type_unknown;
    const int err = ReadImage(path, &record->image, &record->profile, &file_type, options);
    debug_log("File", "LoadImageData", err);
    if (err != 0) {
        clear_loaded(record);
        return err;
    }
    record->file_type = stored_file_type_of(file_type);
    if (options & load_classify_only) return 0;
    // Damaged metadata never stops a load: it only leaves the list shorter.
    if ((options & load_no_comments) == 0)
        (void)ReadComments(path, file_type, &record->comments, nullptr);
    record->file_name = absolute_name(path);
    record->derived_from.clear();
    if ((options & load_no_recent) == 0)
        recent_files_add(saved_state().openfile, record->file_name, preferences().nfilemenu);
    return 0;
}
