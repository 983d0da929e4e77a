#include "file/safe_write.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "core/errors.h"
#include "core/format.h"

namespace fs = std::filesystem;

namespace {

constexpr int err_writing = 6;
constexpr int err_temporary_folder = 88;

bool exists(const std::string& path) {
    std::error_code ignored;
    return fs::exists(fs::path(path), ignored);
}

bool is_separator(char c) {
    return c == '/' || c == '\\';
}

void remove_file(const std::string& path) {
    std::error_code ignored;
    fs::remove(fs::path(path), ignored);
}

}  // namespace

std::string unique_name(std::string_view path, int form) {
    const std::string original(path);
    if (!exists(original)) return original;

    // The extension starts at the last dot after the last separator.
    std::size_t dot = std::string_view::npos;
    for (std::size_t i = path.size(); i-- > 0;) {
        if (path[i] == '.') {
            dot = i;
            break;
        }
        if (is_separator(path[i])) break;
    }
    const std::string_view stem = dot == std::string_view::npos ? path : path.substr(0, dot);
    const std::string_view extension =
        dot == std::string_view::npos ? std::string_view() : path.substr(dot + 1);
    // A name without extension gets none, rather than a trailing dot.
    const char* pattern = form == 1 ? (dot == std::string_view::npos ? "%s[%d]" : "%s[%d].%s")
                                    : (dot == std::string_view::npos ? "%s-%d" : "%s-%d.%s");

    for (int number = 1; number <= 99; ++number) {
        std::string candidate = format_text(pattern, stem, number, extension);
        if (candidate.size() > max_path_length) return original;
        if (!exists(candidate)) return candidate;
    }
    return original;
}

namespace {

// A new empty file of a private name in `folder`, for when every numbered
// sibling is taken; empty when none can be made.
std::string private_sibling(const fs::path& destination) {
    std::string pattern = (destination.parent_path() / ".orvane-save-XXXXXX").string();
    const int fd = mkstemp(pattern.data());
    if (fd < 0) return {};
    close(fd);
    return pattern;
}

// The new file takes the old one's permissions, and its group where the
// user may give it, so that a save changes the pixels and nothing else.
void keep_access(const fs::path& old_file, const std::string& new_file) {
    struct stat old_status {};
    if (stat(old_file.c_str(), &old_status) != 0) return;
    if (chown(new_file.c_str(), static_cast<uid_t>(-1), old_status.st_gid) != 0) {
        // Another group than one's own is not ours to give: the default stays.
    }
    chmod(new_file.c_str(), old_status.st_mode & 07777);
}

}  // namespace

int safe_replace(const std::string& destination, const FileWriter& writer) {
    // A link is followed: the file it names is replaced and the link stays.
    std::error_code failed;
    fs::path target(destination);
    if (fs::is_symlink(fs::symlink_status(target, failed))) {
        const fs::path real = fs::weakly_canonical(target, failed);
        if (!failed) target = real;
    }
    const bool replacing = exists(target.string());
    std::string temporary = unique_name(target.string(), 2);
    if (replacing && temporary == target.string()) {
        // No numbered sibling is free: a private one, never the file itself.
        temporary = private_sibling(target);
        if (temporary.empty()) return err_cannot_create;
    }
    const int err = writer(temporary);
    if (err != 0) {
        remove_file(temporary);
        return err;
    }
    if (!replacing) {
        if (temporary == target.string()) return 0;
    } else {
        keep_access(target, temporary);
    }
    // rename replaces the destination in one step, so there is no moment
    // without a file of that name, and a failure leaves it as it was.
    fs::rename(fs::path(temporary), target, failed);
    if (failed) {
        remove_file(temporary);
        return err_writing;
    }
    return 0;
}

int temporary_folder(std::string_view preference, std::string* folder) {
    std::string result(preference);
    while (result.size() > 1 && is_separator(result.back()))
        result.pop_back();
    std::error_code failed;
    if (result.empty()) {
        const fs::path system = fs::temp_directory_path(failed);
        if (failed) return err_temporary_folder;
        result = system.string();
    }
    if (!fs::is_directory(fs::path(result), failed)) {
        if (make_folders(result) != 0) return err_temporary_folder;
    }
    *folder = result;
    return 0;
}

std::string temporary_name(std::string_view folder, std::string_view extension) {
    // Numbers count on through the session, so names are not reused while an
    // earlier temporary file may still be in use.
    static std::atomic<int> next_number{1};
    std::string name;
    do {
        std::string leaf = format_text("OV%d.%s", next_number++, extension);
        name = std::string(folder);
        if (!name.empty() && !is_separator(name.back())) name += '/';
        name += leaf;
    } while (exists(name));
    return name;
}

bool join_path(std::string_view folder, std::string_view name, std::string* result) {
    std::string joined(folder);
    if (!joined.empty() && !is_separator(joined.back())) joined += '/';
    joined += name;
    if (joined.size() > max_path_length) return false;
    *result = std::move(joined);
    return true;
}

int make_folders(std::string_view path) {
    if (path.empty()) return err_cannot_create;
    std::error_code failed;
    // Walks the path itself rather than trusting create_directories' answer
    // for a component that exists as a file.
    fs::path current;
    for (const fs::path& part : fs::path(path)) {
        current /= part;
        if (part.empty() || part == "." || part == "..") continue;
        if (fs::is_directory(current, failed)) continue;
        if (!fs::create_directory(current, failed) && !fs::is_directory(current, failed))
            return err_cannot_create;
    }
    return 0;
}
