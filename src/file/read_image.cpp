#include "file/read_image.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/errors.h"
#include "core/image.h"
#include "core/preferences.h"
#include "file/file_types.h"
#include "file/jpeg_io.h"
#include "file/png_io.h"
#include "file/tiff_reader.h"

namespace {

constexpr int err_photo_cd = 165;
constexpr int tiff_photometric_cmyk = 5;

bool starts_with(const unsigned char* bytes, std::size_t size, const char* text,
                 std::size_t length) {
    return size >= length && std::memcmp(bytes, text, length) == 0;
}

FileSignature signature_of(const unsigned char* b, std::size_t n) {
    if (starts_with(b, n, "II\x2A\x00", 4) || starts_with(b, n, "MM\x00\x2A", 4))
        return FileSignature::tiff;
    if (starts_with(b, n, "\xFF\xD8\xFF", 3)) return FileSignature::jpeg;
    if (starts_with(b, n, "\x89PNG\r\n\x1A\n", 8)) return FileSignature::png;
    if (starts_with(b, n, "GIF87a", 6) || starts_with(b, n, "GIF89a", 6)) return FileSignature::gif;
    if (starts_with(b, n, "\x00\x00\x00\x0CjP  \r\n\x87\n", 12) ||
        starts_with(b, n, "\xFF\x4F\xFF\x51", 4))
        return FileSignature::jpeg2000;
    if (starts_with(b, n, "SIMPLE  =", 9)) return FileSignature::fits;
    if (starts_with(b, n, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8)) return FileSignature::compound;
    if (starts_with(b, n, "BM", 2)) return FileSignature::bmp;
    return FileSignature::other;
}

int read_tiff(const char* path, Image* image, std::vector<std::uint8_t>* profile, bool progress) {
    // The TIFF reader reports any failure to open as a read problem; a missing
    // file says so plainly.
    if (std::FILE* probe = std::fopen(path, "rb")) {
        std::fclose(probe);
    } else if (errno == ENOENT) {
        return err_not_found;
    }
    const int err = TiffRead(path, image, progress);
    debug_log("File", "TiffRead", err);
    if (err != 0 || !profile) return err;
    // A CMYK file's profile describes inks, not the colours it was turned into.
    TiffSummary summary;
    if (TiffProbeSummary(path, &summary) == 0 && summary.photometric == tiff_photometric_cmyk)
        return 0;
    // The pixels are what was asked for; a profile that cannot be read is left
    // out rather than failing the open.
    if (TiffProbeProfile(path, profile) != 0) profile->clear();
    return 0;
}

int read_jpeg(const char* path, Image* image, std::vector<std::uint8_t>* profile, bool progress) {
    const int err = ReadJPEGAndProfile(path, image, profile, progress, preferences().defaultres);
    debug_log("File", "ReadJPEGAndProfile", err);
    return err;
}

int read_png(const char* path, Image* image, std::vector<std::uint8_t>* profile, bool progress) {
    return read_png_file(path, image, profile, progress, preferences().defaultres);
}

int route(const char* path, int code, Image* image, std::vector<std::uint8_t>* profile,
          bool progress) {
    switch (code) {
        case file_type_tiff:
            return read_tiff(path, image, profile, progress);
        case file_type_photo_cd:
            return err_photo_cd;
        case file_type_jpeg:
        case file_type_png:
        case file_type_bmp:
        case file_type_pcx:
        case file_type_gif:
        case file_type_targa:
        case file_type_flashpix:
        case file_type_fits:
        case file_type_rle:
        case file_type_cmp:
        case file_type_jpeg2000:
        case file_type_raw:
        case file_type_unknown:
            break;
        default:
            return err_unknown_type;
    }

    FileSignature signature = FileSignature::other;
    if (int err = file_signature(path, &signature)) return err;
    if (signature == FileSignature::jpeg) return read_jpeg(path, image, profile, progress);
    if (signature == FileSignature::png) return read_png(path, image, profile, progress);
    switch (code) {
        // The named reader says best what is wrong with the file.
        case file_type_jpeg:
            return read_jpeg(path, image, profile, progress);
        case file_type_png:
            return read_png(path, image, profile, progress);
        case file_type_unknown:
            if (signature == FileSignature::tiff) return read_tiff(path, image, profile, progress);
            return signature == FileSignature::other ? err_unknown_type : err_unsupported;
        default:
            return err_unsupported;
    }
}

}  // namespace

int file_signature(const char* path, FileSignature* signature) {
    *signature = FileSignature::other;
    std::FILE* file = std::fopen(path, "rb");
    if (!file) return errno == ENOENT ? err_not_found : err_cannot_open;
    unsigned char bytes[16] = {};
    const std::size_t size = std::fread(bytes, 1, sizeof bytes, file);
    std::fclose(file);
    *signature = signature_of(bytes, size);
    return 0;
}

int ReadImage(const char* path, Image* image, std::vector<std::uint8_t>* profile, int* file_type,
              int options) {
    const int code = FileTypeOfName(path);
    if (file_type) *file_type = code;
    image_free(image);
    if (profile) profile->clear();
    if (options & load_classify_only) return 0;

    std::vector<std::uint8_t>* wanted = options & load_no_profile ? nullptr : profile;
    const int err = route(path, code, image, wanted, (options & load_no_progress) == 0);
    if (err != 0) {
        image_free(image);
        if (profile) profile->clear();
    }
    return err;
}
