// Writing files so that a failed save never destroys the file it was meant to
// replace, and the small name and folder helpers around it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

// Longest path the name helpers produce; the file formats that store a path
// keep this limit too.
inline constexpr std::size_t max_path_length = 260;

// Shown when a joined path would reach 261 characters.
inline constexpr const char* path_too_long_message =
    "Full pathname exceeds maximum allowed length.";

// A free sibling name for `path`. When `path` exists, form 2 tries
// "%s-%d.%s" and form 1 "%s[%d].%s", with the name before the extension, the
// numbers 1 to 99 and the extension, and gives the first that does not exist.
// When `path` does not exist, when all 99 are taken, or when the result would
// be longer than 260 characters, the answer is `path` itself.
std::string unique_name(std::string_view path, int form);

// Writes one file at `path`; 0 or an error code. It may leave a partial file
// behind on failure: the caller deletes it.
using FileWriter = std::function<int(const std::string& path)>;

// Every writer's way to a file. `writer` writes to a free sibling of
// `destination` (form 2 of `unique_name`, or a private name in the same folder
// when all 99 are taken). On failure the sibling is deleted and the
// destination has not been touched. On success the sibling takes the old
// file's permissions and group and is renamed over it, which replaces it in
// one step; a rename that fails deletes the sibling, keeps the destination and
// gives error 6. A destination that is a symbolic link stays one: the file it
// names is replaced.
[[nodiscard]] int safe_replace(const std::string& destination, const FileWriter& writer);

// The folder for temporary files: `preference` without trailing separators,
// or the system's temporary folder when it is empty. It is created when it
// does not exist; 0, or 88 when it cannot be found or created.
[[nodiscard]] int temporary_folder(std::string_view preference, std::string* folder);

// A name "OV%d.%s" in `folder`, with `extension`, that no file has yet.
std::string temporary_name(std::string_view folder, std::string_view extension);

// `folder` and `name` joined by one separator. False, leaving `*result` as it
// was, when the result would reach 261 characters: the caller shows
// `path_too_long_message`.
[[nodiscard]] bool join_path(std::string_view folder, std::string_view name, std::string* result);

// Creates a folder and every missing folder above it; folders that exist
// already are fine. 0, or 3 when one of them cannot be created.
[[nodiscard]] int make_folders(std::string_view path);
