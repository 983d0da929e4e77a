// The command line's way to files: the same routing, readers and writers the
// editor uses, with no progress display and no questions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct Image;

// The exit status of a command line that cannot be understood.
inline constexpr int batch_exit_usage = 255;
// Says why on standard error, "orvane-batch: WHY", and gives 255.
int batch_refuse(const char* why);
// Says the text of `code` on standard error and gives the code.
int batch_fail(int code);
struct CommentList;

// Reads an image file of any kind the editor opens, with its embedded ICC
// profile when it has one and, with `comments`, what the file says about
// itself. 0 or the reader's error code.
[[nodiscard]] int batch_read(const std::string& path, Image* image,
                             std::vector<std::uint8_t>* profile, CommentList* comments = nullptr);

// The Save Image filter that writes a file of this name: the one whose
// accepted extensions hold the name's extension, in any case. 0 for a name
// with no extension or one that no filter accepts.
int batch_filter_of_name(const std::string& path);

// Whether files of `filter` can be written here: 0, 71 for no filter, 136 for
// a format this version has no writer for.
[[nodiscard]] int batch_filter_check(int filter);

// What the file holds, as the format names of the file type table: the name
// decides for TIFF names; otherwise the first bytes say TIFF, JPEG or PNG, and
// failing that the name's format name ("Unknown" when it has none).
std::string batch_format_name(const std::string& path);
