// Opening one image file into a new window: the entry the file layer provides.
#pragma once

#include <QString>

// Opens `path` in a new image window. Returns 0 or an error code, which the
// caller shows. A file that is open already only has its window activated.
[[nodiscard]] int open_file_path(const QString& path);
