#include "cli/batch_io.h"

#include <cstdio>

#include "cli/batch_progress.h"
#include "core/image.h"

#include "core/errors.h"
#include "file/file_types.h"
#include "file/metadata.h"
#include "file/read_image.h"
#include "file/write_image.h"

namespace {

// The command line has no window, no recent files and nobody to ask.
constexpr int batch_load_options = load_no_comments | load_no_profile_question | load_no_recent;

}  // namespace

int batch_refuse(const char* why) {
    std::fprintf(stderr, "orvane-batch: %s\n", why);
    return batch_exit_usage;
}

int batch_fail(int code) {
    std::fprintf(stderr, "orvane-batch: %s\n", error_text(code));
    return code;
}

int batch_read(const std::string& path, Image* image, std::vector<std::uint8_t>* profile,
               CommentList* comments) {
    int file_type = file_type_unknown;
    const int options = batch_load_options | (batch_progress_on() ? 0 : load_no_progress);
    const int err = ReadImage(path.c_str(), image, profile, &file_type, options);
    if (err != 0) return err;
    batch_progress_image(static_cast<std::int64_t>(image->width) * image->height);
    if (comments) (void)ReadComments(path.c_str(), file_type, comments, nullptr);
    return 0;
}

int batch_filter_of_name(const std::string& path) {
    if (!name_has_extension(path)) return 0;
    for (int filter = 1; filter <= save_filter_count; ++filter) {
        std::string name = path;
        if (save_name_check(filter, &name)) return filter;
    }
    return 0;
}

int batch_filter_check(int filter) {
    if (!save_filter(filter)) return err_unknown_type;
    return save_filter_has_writer(filter) ? 0 : err_unsupported;
}

std::string batch_format_name(const std::string& path) {
    const int file_type = FileTypeOfName(path);
    if (file_type == file_type_tiff) return FormatNameOf(file_type_tiff);
    FileSignature signature = FileSignature::other;
    if (file_signature(path.c_str(), &signature) == 0) {
        switch (signature) {
            case FileSignature::tiff:
                return FormatNameOf(file_type_tiff);
            case FileSignature::jpeg:
                return FormatNameOf(file_type_jpeg);
            case FileSignature::png:
                return FormatNameOf(file_type_png);
            default:
                break;
        }
    }
    return FormatNameOf(file_type);
}
