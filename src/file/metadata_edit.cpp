#include "file/metadata_edit.h"

#include <sys/stat.h>
#include <unistd.h>
#include <exiv2/exiv2.hpp>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "core/comments.h"
#include "core/image.h"
#include "file/file_types.h"
#include "file/metadata.h"
#include "file/read_image.h"
#include "file/rotation.h"
#include "file/safe_write.h"
#include "file/tiff_reader.h"
#include "file/write_image.h"

namespace {

constexpr int err_writing = 6;
constexpr int err_unknown = 71;
constexpr int err_comments = 104;
constexpr int err_no_file = 129;
constexpr int err_unsupported = 136;

// Copies `from` to `to` byte for byte; every write is checked, so a full
// disk is an error and never a short copy. 0 or 6.
int copy_file(const std::string& from, const std::string& to) {
    struct Closer {
        void operator()(std::FILE* f) const { std::fclose(f); }
    };
    std::unique_ptr<std::FILE, Closer> in(std::fopen(from.c_str(), "rb"));
    std::FILE* out = std::fopen(to.c_str(), "wb");
    if (!in || !out) {
        if (out) std::fclose(out);
        return err_writing;
    }
    std::vector<char> buffer(1 << 16);
    bool ok = true;
    std::size_t n;
    while (ok && (n = std::fread(buffer.data(), 1, buffer.size(), in.get())) > 0)
        ok = std::fwrite(buffer.data(), 1, n, out) == n;
    ok = ok && !std::ferror(in.get()) && std::fflush(out) == 0;
    ok = std::fclose(out) == 0 && ok;
    return ok ? 0 : err_writing;
}

// A write-protected file is left alone, even for a user whom the system
// would let replace it.
bool write_protected(const char* file_name) {
    struct stat st {};
    if (::stat(file_name, &st) != 0) return false;
    return ::access(file_name, W_OK) != 0 || (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

// Runs `edit` on a sibling copy of the file, which then replaces it. `edit`
// returns 0, an error, or -1 for "nothing to change", which drops the copy.
template <typename Edit>
int edit_copy(const char* file_name, Edit edit) {
    bool unchanged = false;
    const int err = safe_replace(file_name, [&](const std::string& sibling) {
        if (int e = copy_file(file_name, sibling)) return e;
        const int e = edit(sibling);
        if (e == -1) unchanged = true;
        return e;
    });
    return unchanged ? 0 : err;
}

// The library's own warnings would only repeat the error code.
void quiet() {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
}

// One field through the library; its exceptions stop here. True when it was
// changed.
bool set_field(Exiv2::ExifData& exif, const char* key, const char* text) {
    if (!text) return false;
    const auto it = exif.findKey(Exiv2::ExifKey(key));
    if (it != exif.end() && it->toString() == text) return false;
    exif[key] = std::string(text);
    return true;
}

int turned_by_pixels(const char* file_name, int file_type, int rotation) {
    ImageHolder image;
    std::vector<std::uint8_t> profile;
    int type = file_type;
    if (int err = ReadImage(file_name, image.get(), &profile, &type, load_no_progress)) return err;
    CommentList comments;
    (void)ReadComments(file_name, type, &comments, nullptr);
    if (int err = image_rotate(image.get(), rotation)) return err;
    SaveOptions options;
    options.progress = false;
    options.comments = &comments;
    const int filter = file_type == file_type_tiff   ? save_filter_tiff
                       : file_type == file_type_jpeg ? save_filter_jpeg
                                                     : save_filter_png;
    return WriteImage(file_name, filter, image.get(), profile, options);
}

// Opens `path` through Exiv2, lets `change` edit its EXIF data and writes it
// back when `change` says it changed anything: 0, -1 for nothing to change,
// or the code of what failed.
template <typename Change>
int edit_exif(const std::string& path, Change&& change) {
    try {
        auto image = Exiv2::ImageFactory::open(path);
        if (!image.get()) return err_comments;
        image->readMetadata();
        if (!change(image->exifData())) return -1;
        image->writeMetadata();
    } catch (const Exiv2::AnyError&) {
        return err_comments;
    } catch (const std::exception&) {
        return err_writing;
    }
    return 0;
}

}  // namespace

bool comment_editing_supported(int file_type) {
    return file_type == file_type_tiff || file_type == file_type_jpeg || file_type == file_type_png;
}

int RewriteFileComments(const char* file_name, int file_type, const char* artist,
                        const char* copyright, const char* description) {
    if (!std::filesystem::exists(file_name)) return err_no_file;
    if (!comment_editing_supported(file_type)) return err_unsupported;
    if (write_protected(file_name)) return err_writing;
    quiet();
    return edit_copy(file_name, [&](const std::string& sibling) {
        return edit_exif(sibling, [&](Exiv2::ExifData& exif) {
            bool changed = set_field(exif, "Exif.Image.Artist", artist);
            changed = set_field(exif, "Exif.Image.Copyright", copyright) || changed;
            changed = set_field(exif, "Exif.Image.ImageDescription", description) || changed;
            return changed;
        });
    });
}

int jpeg_orientation_after(int old, int operation) {
    // Kept as it has always been: a half turn of 8 gives 8, and 0 is written
    // where 1 would be expected.
    static constexpr int table[4][3] = {{6, 3, 8}, {8, 0, 6}, {3, 8, 0}, {0, 8, 3}};
    const int row = old == 3 ? 1 : old == 6 ? 2 : old == 8 ? 3 : 0;
    return table[row][operation - 1];
}

int RotateFileLossless(const char* file_name, int file_type, int operation) {
    if (operation < 1 || operation > 3) return err_unknown;
    if (!std::filesystem::exists(file_name)) return err_no_file;
    if (write_protected(file_name)) return err_writing;
    if (file_type == file_type_tiff) {
        bool tagged = false;
        const int err = edit_copy(file_name, [&](const std::string& sibling) {
            if (int e = TiffSetOrientation(sibling.c_str(), operation, &tagged)) return e;
            return tagged ? 0 : -1;
        });
        if (err != 0 || tagged) return err;
        return turned_by_pixels(file_name, file_type, operation);
    }
    if (file_type == file_type_jpeg) {
        quiet();
        return edit_copy(file_name, [&](const std::string& sibling) {
            return edit_exif(sibling, [&](Exiv2::ExifData& exif) {
                const auto it = exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
                const int old = it == exif.end() ? 0 : static_cast<int>(it->toLong());
                exif["Exif.Image.Orientation"] =
                    static_cast<std::uint16_t>(jpeg_orientation_after(old, operation));
                return true;
            });
        });
    }
    if (file_type == file_type_png) return turned_by_pixels(file_name, file_type, operation);
    return err_unsupported;
}
