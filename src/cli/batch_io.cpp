#include "cli/batch_io.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "core/image.h"
#include "file/tiff_reader.h"
#include "file/tiff_writer.h"

namespace {

constexpr int err_unknown_type = 71;
constexpr int err_tiff_write = 57;

std::string extension_of(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    if (!ext.empty()) ext.erase(0, 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

bool is_tiff_name(const std::string& path) {
    const std::string ext = extension_of(path);
    return ext == "tif" || ext == "tiff";
}

}  // namespace

std::string batch_format_name(const std::string& path) {
    return is_tiff_name(path) || TiffIsTiff(path.c_str()) ? "TIFF" : "Unknown";
}

int batch_read(const std::string& path, Image* image) {
    if (batch_format_name(path) == "TIFF") return TiffRead(path.c_str(), image, false);
    return err_unknown_type;
}

int batch_write(const std::string& path, const Image* image, int compression, bool thumbnail) {
    if (!is_tiff_name(path)) return err_unknown_type;
    const std::string temporary = path + ".part";
    std::FILE* file = std::fopen(temporary.c_str(), "wb");
    if (!file) return err_tiff_write;
    int err = TiffWrite(file, image, {}, 0, nullptr, 0, compression, thumbnail, false);
    if (std::fclose(file) != 0 && err == 0) err = err_tiff_write;
    std::error_code ignored;
    if (err) {
        std::filesystem::remove(temporary, ignored);
        return err;
    }
    std::filesystem::rename(temporary, path, ignored);
    return ignored ? err_tiff_write : 0;
}
