#include "file/tiff_fallback.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <memory>
#include <vector>

#include <tiffio.h>

#include "core/errors.h"
#include "core/image.h"
#include "core/preferences.h"
#include "core/progress.h"
#include "file/rotation.h"

namespace {

constexpr int err_read_image = 99;

// The files handled here are often odd; libtiff's complaints about them are
// not for the user.
int quiet(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

struct TiffCloser {
    void operator()(TIFF* tif) const { TIFFClose(tif); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffCloser>;

TiffPtr open_quietly(const char* file_name) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (!options) return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options, quiet, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options, quiet, nullptr);
    TiffPtr tif{TIFFOpenExt(file_name, "r", options)};
    TIFFOpenOptionsFree(options);
    return tif;
}

struct Fields {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 1;
    std::uint16_t samples = 1;
    std::uint16_t photometric = 0;
    std::uint16_t planar = PLANARCONFIG_CONTIG;
    std::uint16_t format = SAMPLEFORMAT_UINT;
    std::uint16_t orientation = ORIENTATION_TOPLEFT;
};

// The decoded samples of the whole image, top line first: one plane for
// interleaved samples, `samples` planes for separate ones.
struct Planes {
    std::size_t line_bytes = 0;  // of one line of one plane
    std::vector<std::vector<std::uint8_t>> planes;
};

int read_planes(TIFF* tif, const Fields& f, Planes* out, const ProgressScope* scope) {
    const bool separate = f.planar == PLANARCONFIG_SEPARATE;
    const int plane_count = separate ? f.samples : 1;
    const std::uint64_t pixel_bits = std::uint64_t{f.bits} * (separate ? 1 : f.samples);
    out->line_bytes = static_cast<std::size_t>((pixel_bits * f.width + 7) / 8);
    out->planes.assign(static_cast<std::size_t>(plane_count), {});
    for (auto& plane : out->planes)
        plane.assign(out->line_bytes * f.height, 0);

    if (TIFFIsTiled(tif)) {
        std::uint32_t tw = 0;
        std::uint32_t th = 0;
        TIFFGetField(tif, TIFFTAG_TILEWIDTH, &tw);
        TIFFGetField(tif, TIFFTAG_TILELENGTH, &th);
        const tmsize_t tile_size = TIFFTileSize(tif);
        const tmsize_t tile_row = TIFFTileRowSize(tif);
        if (tw == 0 || th == 0 || tile_size <= 0 || tile_row <= 0) return err_read_image;
        std::vector<std::uint8_t> tile(static_cast<std::size_t>(tile_size));
        for (int p = 0; p < plane_count; ++p) {
            for (std::uint32_t ty = 0; ty < f.height; ty += th) {
                for (std::uint32_t tx = 0; tx < f.width; tx += tw) {
                    const ttile_t index =
                        TIFFComputeTile(tif, tx, ty, 0, static_cast<std::uint16_t>(p));
                    if (TIFFReadEncodedTile(tif, index, tile.data(), tile_size) < 0)
                        return err_read_image;
                    // Tile widths are multiples of 16, so every tile starts on a byte.
                    const std::size_t at = static_cast<std::size_t>(pixel_bits * tx / 8);
                    const std::size_t bytes = std::min<std::size_t>(
                        static_cast<std::size_t>(tile_row), out->line_bytes - at);
                    const std::uint32_t rows = std::min(th, f.height - ty);
                    for (std::uint32_t r = 0; r < rows; ++r) {
                        std::memcpy(out->planes[p].data() + (ty + r) * out->line_bytes + at,
                                    tile.data() + static_cast<std::size_t>(r) * tile_row, bytes);
                    }
                }
                if (scope)
                    if (int err = scope->step(std::min(ty + th, f.height))) return err;
            }
        }
        return 0;
    }

    std::uint32_t rows_per_strip = f.height;
    TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rows_per_strip);
    rows_per_strip = std::clamp<std::uint32_t>(rows_per_strip, 1, f.height);
    const std::uint32_t strips = (f.height + rows_per_strip - 1) / rows_per_strip;
    for (int p = 0; p < plane_count; ++p) {
        for (std::uint32_t s = 0; s < strips; ++s) {
            const std::uint32_t first = s * rows_per_strip;
            const std::uint32_t rows = std::min(rows_per_strip, f.height - first);
            const tstrip_t index = static_cast<tstrip_t>(p) * strips + s;
            const tmsize_t size = static_cast<tmsize_t>(rows * out->line_bytes);
            if (TIFFReadEncodedStrip(tif, index, out->planes[p].data() + first * out->line_bytes,
                                     size) < 0)
                return err_read_image;
            if (scope)
                if (int err = scope->step(first + rows)) return err;
        }
    }
    return 0;
}

// Sample `i` of a line of `bits`-bit samples, most significant bits first.
unsigned sample_at(const std::uint8_t* line, int bits, std::size_t i) {
    switch (bits) {
        case 8:
            return line[i];
        case 16: {
            std::uint16_t v;
            std::memcpy(&v, line + 2 * i, 2);  // libtiff gives host order
            return v;
        }
        default: {
            const std::size_t bit = i * static_cast<std::size_t>(bits);
            const unsigned byte = line[bit / 8];
            const unsigned shift = 8 - bits - static_cast<unsigned>(bit % 8);
            return (byte >> shift) & ((1u << bits) - 1);
        }
    }
}

int read_direct(TIFF* tif, const Fields& f, Image* image, double dpi, const ProgressScope* scope) {
    const bool gray =
        f.photometric == PHOTOMETRIC_MINISBLACK || f.photometric == PHOTOMETRIC_MINISWHITE;
    const bool palette = f.photometric == PHOTOMETRIC_PALETTE;
    const bool separate = f.planar == PLANARCONFIG_SEPARATE && f.samples > 1;
    const int w = static_cast<int>(f.width);
    const int h = static_cast<int>(f.height);

    std::uint16_t* map[3] = {};
    int type = 0;
    bool eight_bit_map = true;
    if (palette) {
        if (!TIFFGetField(tif, TIFFTAG_COLORMAP, &map[0], &map[1], &map[2])) return err_read_image;
        const int entries = 1 << f.bits;
        bool all_gray = true;
        for (int i = 0; i < entries; ++i) {
            all_gray = all_gray && map[0][i] == map[1][i] && map[1][i] == map[2][i];
            eight_bit_map = eight_bit_map && map[0][i] < 256 && map[1][i] < 256 && map[2][i] < 256;
        }
        type = all_gray ? image_type_gray8 : image_type_colour8;
    } else if (gray) {
        type = f.bits == 1    ? image_type_binary
               : f.bits == 16 ? image_type_gray16
                              : image_type_gray8;
    } else {
        type = f.bits == 16 ? image_type_colour16 : image_type_colour8;
    }

    Planes planes;
    if (int err = image_alloc(image, type, w, h, dpi)) return err;
    if (int err = read_planes(tif, f, &planes, scope)) return err;

    const unsigned top = (1u << f.bits) - 1;
    const bool invert = f.photometric == PHOTOMETRIC_MINISWHITE;
    const int stride = separate ? 1 : f.samples;
    for (int y = 0; y < h; ++y) {
        std::uint8_t* out = image->rows[h - 1 - y];
        const std::size_t at = static_cast<std::size_t>(y) * planes.line_bytes;
        const std::uint8_t* line = planes.planes[0].data() + at;
        if (type == image_type_binary) {
            for (std::size_t i = 0; i < (static_cast<std::size_t>(w) + 7) / 8; ++i)
                out[i] = static_cast<std::uint8_t>(invert ? ~line[i] : line[i]);
            continue;
        }
        for (int x = 0; x < w; ++x) {
            const std::size_t i = static_cast<std::size_t>(x) * stride;
            if (palette) {
                const unsigned index = sample_at(line, f.bits, i);
                std::uint8_t rgb[3];
                for (int c = 0; c < 3; ++c)
                    rgb[c] = static_cast<std::uint8_t>(eight_bit_map ? map[c][index]
                                                                     : map[c][index] >> 8);
                if (type == image_type_gray8) {
                    out[x] = rgb[0];
                } else {
                    out[3 * x] = rgb[2];
                    out[3 * x + 1] = rgb[1];
                    out[3 * x + 2] = rgb[0];
                }
            } else if (gray) {
                unsigned v = sample_at(line, f.bits, i);
                if (invert) v = top - v;
                if (type == image_type_gray16) {
                    reinterpret_cast<std::uint16_t*>(out)[x] = static_cast<std::uint16_t>(v);
                } else {
                    out[x] = static_cast<std::uint8_t>((v * 255 + top / 2) / top);
                }
            } else {
                unsigned rgb[3];
                for (int c = 0; c < 3; ++c) {
                    const std::uint8_t* source =
                        separate ? planes.planes[static_cast<std::size_t>(c)].data() + at : line;
                    rgb[c] = sample_at(source, f.bits, separate ? x : i + c);
                }
                if (type == image_type_colour16) {
                    auto* o = reinterpret_cast<std::uint16_t*>(out) + 3 * x;
                    o[0] = static_cast<std::uint16_t>(rgb[2]);
                    o[1] = static_cast<std::uint16_t>(rgb[1]);
                    o[2] = static_cast<std::uint16_t>(rgb[0]);
                } else {
                    out[3 * x] = static_cast<std::uint8_t>(rgb[2]);
                    out[3 * x + 1] = static_cast<std::uint8_t>(rgb[1]);
                    out[3 * x + 2] = static_cast<std::uint8_t>(rgb[0]);
                }
            }
        }
    }
    return 0;
}

int read_rgba(TIFF* tif, const Fields& f, Image* image, double dpi) {
    char message[1024] = {};
    if (!TIFFRGBAImageOK(tif, message)) return err_read_image;
    TIFFRGBAImage rgba;
    if (!TIFFRGBAImageBegin(&rgba, tif, 0, message)) return err_read_image;
    // Rows as stored: the orientation is applied afterwards like any other.
    rgba.req_orientation = rgba.orientation;
    const int w = static_cast<int>(f.width);
    const int h = static_cast<int>(f.height);
    std::vector<std::uint32_t> raster;
    int err = image_alloc(image, image_type_colour8, w, h, dpi);
    if (!err) {
        raster.assign(static_cast<std::size_t>(w) * h, 0);
        if (!TIFFRGBAImageGet(&rgba, raster.data(), f.width, f.height)) err = err_read_image;
    }
    TIFFRGBAImageEnd(&rgba);
    if (err) return err;
    for (int y = 0; y < h; ++y) {
        const std::uint32_t* in = raster.data() + static_cast<std::size_t>(y) * w;
        std::uint8_t* out = image->rows[h - 1 - y];
        for (int x = 0; x < w; ++x) {
            out[3 * x] = static_cast<std::uint8_t>(TIFFGetB(in[x]));
            out[3 * x + 1] = static_cast<std::uint8_t>(TIFFGetG(in[x]));
            out[3 * x + 2] = static_cast<std::uint8_t>(TIFFGetR(in[x]));
        }
    }
    return 0;
}

bool direct_form(TIFF* tif, const Fields& f) {
    if (f.format != SAMPLEFORMAT_UINT) return false;
    std::uint16_t compression = COMPRESSION_NONE;
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
    if (compression == COMPRESSION_OJPEG) return false;
    switch (f.photometric) {
        case PHOTOMETRIC_MINISBLACK:
        case PHOTOMETRIC_MINISWHITE:
            return f.bits == 1 || f.bits == 2 || f.bits == 4 || f.bits == 8 || f.bits == 16;
        case PHOTOMETRIC_PALETTE:
            return (f.bits == 1 || f.bits == 2 || f.bits == 4 || f.bits == 8) && f.samples == 1;
        case PHOTOMETRIC_RGB:
            return (f.bits == 8 || f.bits == 16) && f.samples >= 3;
        default:
            return false;
    }
}

}  // namespace

int tiff_fallback_read(const char* file_name, Image* image, bool progress) {
    TiffPtr tif = open_quietly(file_name);
    if (!tif) return err_read_image;
    Fields f;
    TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &f.width);
    TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &f.height);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_BITSPERSAMPLE, &f.bits);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &f.samples);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_PLANARCONFIG, &f.planar);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLEFORMAT, &f.format);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_ORIENTATION, &f.orientation);
    if (!TIFFGetField(tif.get(), TIFFTAG_PHOTOMETRIC, &f.photometric))
        f.photometric = f.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    if (f.width == 0 || f.height == 0 || f.width > 0x7FFFFFFF || f.height > 0x7FFFFFFF)
        return err_read_image;

    float x_resolution = 0.0f;
    std::uint16_t unit = RESUNIT_INCH;
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_RESOLUTIONUNIT, &unit);
    double dpi = 0.0;
    if (TIFFGetField(tif.get(), TIFFTAG_XRESOLUTION, &x_resolution) && x_resolution > 0.0f)
        dpi = x_resolution * (unit == RESUNIT_CENTIMETER ? 2.540005 : 1.0);
    if (dpi <= 0.0) dpi = preferences().defaultres;

    std::unique_ptr<ProgressScope> scope;
    if (progress) {
        const auto pixels = static_cast<std::int32_t>(f.width * f.height);
        scope = std::make_unique<ProgressScope>("File Open", pixels, 0, f.height, true);
    }
    int err = direct_form(tif.get(), f) ? read_direct(tif.get(), f, image, dpi, scope.get())
                                        : read_rgba(tif.get(), f, image, dpi);
    if (!err) err = image_rotate(image, rotation_from_tiff(f.orientation));
    if (err) {
        image_free(image);
        return err == err_memory || err == err_aborted ? err : err_read_image;
    }
    return 0;
}
