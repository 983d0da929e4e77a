// Opening one image file into a new window: the entry the file layer provides.
#pragma once

#include <QString>

// Opens `path` in a new image window. Returns 0 or an error code, which the
// caller shows. No reader is built yet, so every file is of an unknown type.
[[nodiscard]] int open_file_path(const QString& path);
