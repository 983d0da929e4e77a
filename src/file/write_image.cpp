#include "file/write_image.h"

#include <cstdio>
#include <string>

#include "core/errors.h"
#include "core/image.h"
#include "core/preferences.h"
#include "file/file_types.h"
#include "file/jpeg_io.h"
#include "file/png_io.h"
#include "file/safe_write.h"
#include "file/tiff_writer.h"

namespace {

constexpr int err_tiff_write = 57;

int write_tiff(const std::string& path, const Image* image, std::span<const std::uint8_t> profile,
               const SaveOptions& options, const TiffLineFill* fill = nullptr) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return err_cannot_create;
    int err = fill ? TiffWriteBands(file, image, options.tiff_fields, profile.size(),
                                    profile.data(), 0, options.tiff_compression, *fill,
                                    options.progress)
                   : TiffWrite(file, image, options.tiff_fields, profile.size(), profile.data(), 0,
                               options.tiff_compression, options.tiff_thumbnail, options.progress);
    if (std::fclose(file) != 0 && err == 0) err = err_tiff_write;
    return err;
}

}  // namespace

SaveOptions save_options_from_state() {
    SaveOptions options;
    options.tiff_compression = saved_state().TIFFCompressMode;
    options.jpeg_quality = saved_state().jpegquality[0];
    const int sampling = saved_state().jpegquality[1];
    options.jpeg_sampling = sampling >= jpeg_sampling_444 && sampling <= jpeg_sampling_411
                                ? sampling
                                : jpeg_sampling_444;
    options.jpeg_profile = (saved_state().savefileoptions & save_without_profile) == 0;
    return options;
}

bool save_filter_has_writer(int filter) {
    return filter == save_filter_tiff || filter == save_filter_jpeg || filter == save_filter_png;
}

namespace {

// WriteImage's body; `fill`, when given, makes the lines as they are written.
int write_image(const char* path, int filter, const Image* image,
                std::span<const std::uint8_t> profile, const SaveOptions& options,
                const TiffLineFill* fill) {
    if (!save_filter(filter)) return err_unknown_type;
    if (!save_filter_has_writer(filter)) return err_unsupported;
    if (int refusal = save_refusal(filter, image->type)) return refusal;

    return safe_replace(path, [&](const std::string& temporary) {
        switch (filter) {
            case save_filter_tiff:
                return write_tiff(temporary, image, profile, options, fill);
            case save_filter_jpeg: {
                JpegWriteOptions jpeg;
                jpeg.quality = options.jpeg_quality;
                jpeg.sampling = options.jpeg_sampling;
                if (options.jpeg_profile) jpeg.profile = profile;
                jpeg.exif = options.jpeg_exif;
                jpeg.progress = options.progress;
                if (fill) jpeg.fill = *fill;
                return WriteJPEG(temporary.c_str(), image, jpeg);
            }
            default:
                return fill ? err_unsupported
                            : write_png_file(temporary.c_str(), image, profile, options.progress);
        }
    });
}

}  // namespace

int WriteImage(const char* path, int filter, const Image* image,
               std::span<const std::uint8_t> profile, const SaveOptions& options) {
    return write_image(path, filter, image, profile, options, nullptr);
}

bool save_filter_writes_bands(int filter) {
    return filter == save_filter_tiff || filter == save_filter_jpeg;
}

int WriteImageBands(const char* path, int filter, const Image* image,
                    std::span<const std::uint8_t> profile, const SaveOptions& options,
                    const TiffLineFill& fill) {
    if (!save_filter_writes_bands(filter)) return err_unsupported;
    return write_image(path, filter, image, profile, options, &fill);
}
