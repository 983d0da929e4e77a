#include "file/png_io.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "core/errors.h"
#include "core/image.h"
#include "core/progress.h"

// libpng reports fatal errors by longjmp to the setjmp of `decode` or
// `encode`. Those two functions therefore hold no object with a destructor:
// everything that owns memory lives in the caller's context and is released
// there.

namespace {

constexpr int err_png_type = 47;
constexpr int err_read_png = 48;
constexpr int err_write_png = 49;

constexpr double metres_per_inch = 0.0254;

struct FileCloser {
    void operator()(std::FILE* f) const {
        if (f) std::fclose(f);
    }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

[[noreturn]] void on_error(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}
void on_warning(png_structp, png_const_charp) {}

// ---- Reading ----------------------------------------------------------------

enum class PaletteUse { none, binary, gray, colour };

struct ReadContext {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::FILE* file = nullptr;
    Image* image = nullptr;
    std::vector<std::uint8_t>* profile = nullptr;
    bool show_progress = false;
    double default_resolution = 100.0;
    std::optional<ProgressScope> scope;
    // Palette images: what each index becomes, blue-green-red.
    PaletteUse palette_use = PaletteUse::none;
    std::uint8_t palette[256][3] = {};
    bool binary_bit_white[2] = {false, true};
};

bool is_black_or_white(const png_color& c) {
    return (c.red == 0 && c.green == 0 && c.blue == 0) ||
           (c.red == 255 && c.green == 255 && c.blue == 255);
}

// Decides how a palette image is kept, and fills the context's colour table.
void read_palette(ReadContext* c, int depth) {
    png_colorp entries = nullptr;
    int count = 0;
    if (!png_get_PLTE(c->png, c->info, &entries, &count) || count <= 0) {
        png_error(c->png, "palette missing");
    }
    count = std::min(count, 256);
    bool gray = true;
    bool black_white = true;
    for (int i = 0; i < count; ++i) {
        const png_color& e = entries[i];
        gray = gray && e.red == e.green && e.green == e.blue;
        black_white = black_white && is_black_or_white(e);
        c->palette[i][0] = e.blue;
        c->palette[i][1] = e.green;
        c->palette[i][2] = e.red;
    }
    if (depth == 1 && black_white) {
        c->palette_use = PaletteUse::binary;
        c->binary_bit_white[0] = entries[0].red == 255;
        c->binary_bit_white[1] = count > 1 && entries[1].red == 255;
    } else {
        c->palette_use = gray ? PaletteUse::gray : PaletteUse::colour;
    }
}

// Turns a line of one-byte palette indices, or of bits for a binary palette,
// into the Image's samples, in place.
void apply_palette(const ReadContext& c, std::uint8_t* line, int width) {
    switch (c.palette_use) {
        case PaletteUse::binary: {
            const std::uint8_t ones = c.binary_bit_white[1] ? 0xFF : 0x00;
            const std::uint8_t zeros = c.binary_bit_white[0] ? 0xFF : 0x00;
            const int bytes = (width + 7) / 8;
            for (int i = 0; i < bytes; ++i)
                line[i] = static_cast<std::uint8_t>((line[i] & ones) | (~line[i] & zeros));
            break;
        }
        case PaletteUse::gray:
            for (int x = 0; x < width; ++x)
                line[x] = c.palette[line[x]][0];
            break;
        case PaletteUse::colour:
            // From the right: pixel x's three bytes never cover an index left of x.
            for (int x = width - 1; x >= 0; --x) {
                const std::uint8_t* bgr = c.palette[line[x]];
                line[3 * x + 2] = bgr[2];
                line[3 * x + 1] = bgr[1];
                line[3 * x] = bgr[0];
            }
            break;
        case PaletteUse::none:
            break;
    }
}

double resolution_of(const ReadContext& c) {
    png_uint_32 x = 0;
    png_uint_32 y = 0;
    int unit = 0;
    if (!png_get_pHYs(c.png, c.info, &x, &y, &unit) || unit != PNG_RESOLUTION_METER || x == 0)
        return c.default_resolution;
    return std::round(static_cast<double>(x) * metres_per_inch * 10.0) / 10.0;
}

int decode(ReadContext* c) {
    png_structp png = c->png;
    png_infop info = c->info;
    if (setjmp(png_jmpbuf(png))) return err_read_png;

    png_init_io(png, c->file);
    png_read_info(png, info);
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    int depth = 0;
    int colour_type = 0;
    int interlace = 0;
    png_get_IHDR(png, info, &width, &height, &depth, &colour_type, &interlace, nullptr, nullptr);
    if (width > 0x7FFFFFFFu || height > 0x7FFFFFFFu) return err_read_png;

    int type = image_type_gray8;
    switch (colour_type) {
        case PNG_COLOR_TYPE_GRAY:
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            type = depth == 1    ? image_type_binary
                   : depth == 16 ? image_type_gray16
                                 : image_type_gray8;
            if (depth == 2 || depth == 4) png_set_expand_gray_1_2_4_to_8(png);
            break;
        case PNG_COLOR_TYPE_RGB:
        case PNG_COLOR_TYPE_RGB_ALPHA:
            type = depth == 16 ? image_type_colour16 : image_type_colour8;
            png_set_bgr(png);
            break;
        case PNG_COLOR_TYPE_PALETTE:
            read_palette(c, depth);
            type = c->palette_use == PaletteUse::binary ? image_type_binary
                   : c->palette_use == PaletteUse::gray ? image_type_gray8
                                                        : image_type_colour8;
            if (type != image_type_binary && depth < 8) png_set_packing(png);
            break;
        default:
            return err_read_png;
    }
    if (colour_type & PNG_COLOR_MASK_ALPHA) png_set_strip_alpha(png);
    if (depth == 16) png_set_swap(png);
    const int passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);

    // Every profile stays with its picture, a gray one too.
    if (c->profile) {
        png_charp name = nullptr;
        int compression = 0;
        png_bytep data = nullptr;
        png_uint_32 length = 0;
        if (png_get_iCCP(png, info, &name, &compression, &data, &length) && data && length > 0) {
            try {
                c->profile->assign(data, data + length);
            } catch (const std::bad_alloc&) {
                return err_memory;
            }
        }
    }

    const int w = static_cast<int>(width);
    const int h = static_cast<int>(height);
    if (int err = image_alloc(c->image, type, w, h, resolution_of(*c))) return err;
    if (png_get_rowbytes(png, info) > static_cast<std::size_t>(c->image->row_bytes))
        return err_read_png;

    if (c->show_progress)
        c->scope.emplace("File Open", static_cast<std::int64_t>(w) * h, 0,
                         static_cast<std::int64_t>(passes) * h, true);
    for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < h; ++y) {
            // The file's first line is the picture's top: the Image's last line.
            png_read_row(png, c->image->rows[h - 1 - y], nullptr);
            if (c->scope && c->scope->step(static_cast<std::int64_t>(pass) * h + y) != 0)
                return err_aborted;
        }
    }
    png_read_end(png, nullptr);
    if (c->palette_use != PaletteUse::none)
        for (int y = 0; y < h; ++y)
            apply_palette(*c, c->image->rows[y], w);
    return 0;
}

// ---- Writing ----------------------------------------------------------------

struct WriteContext {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::FILE* file = nullptr;
    const Image* image = nullptr;
    std::span<const std::uint8_t> profile;
    std::span<const std::uint8_t> exif;
    bool show_progress = false;
    std::optional<ProgressScope> scope;
};

int encode(WriteContext* c) {
    png_structp png = c->png;
    png_infop info = c->info;
    const Image* image = c->image;
    if (setjmp(png_jmpbuf(png))) return err_write_png;

    png_init_io(png, c->file);
    // A profile libpng finds unsuitable is dropped with a warning, not fatal.
    png_set_benign_errors(png, 1);
    const int depth = image->type == image_type_binary ? 1 : 8;
    const int colour_type =
        image->type == image_type_colour8 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY;
    png_set_IHDR(png, info, static_cast<png_uint_32>(image->width),
                 static_cast<png_uint_32>(image->height), depth, colour_type, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const double resolution = std::isfinite(image->resolution) ? image->resolution : 0.0;
    const double per_metre = std::round(std::clamp(resolution, 0.0, 1.0e6) / metres_per_inch);
    if (per_metre >= 1.0) {
        const auto value = static_cast<png_uint_32>(per_metre);
        png_set_pHYs(png, info, value, value, PNG_RESOLUTION_METER);
    }
    if (!c->profile.empty() && c->profile.size() <= 0x7FFFFFFFu)
        png_set_iCCP(png, info, "ICC Profile", PNG_COMPRESSION_TYPE_BASE, c->profile.data(),
                     static_cast<png_uint_32>(c->profile.size()));
    if (!c->exif.empty() && c->exif.size() <= 0x7FFFFFFFu)
        png_set_eXIf_1(png, info, static_cast<png_uint_32>(c->exif.size()),
                       const_cast<png_bytep>(c->exif.data()));
    png_write_info(png, info);
    if (colour_type == PNG_COLOR_TYPE_RGB) png_set_bgr(png);

    if (c->show_progress)
        c->scope.emplace("File Save", static_cast<std::int64_t>(image->width) * image->height, 0,
                         image->height, true);
    for (int y = 0; y < image->height; ++y) {
        png_write_row(png, image->rows[image->height - 1 - y]);
        if (c->scope && c->scope->step(y) != 0) return err_aborted;
    }
    png_write_end(png, nullptr);
    return 0;
}

}  // namespace

int read_png_file(const char* path, Image* image, std::vector<std::uint8_t>* profile, bool progress,
                  double default_resolution) {
    image_free(image);
    if (profile) profile->clear();
    File file(std::fopen(path, "rb"));
    if (!file) return errno == ENOENT ? err_not_found : err_cannot_open;

    auto context = std::unique_ptr<ReadContext>(new (std::nothrow) ReadContext);
    if (!context) return err_memory;
    context->png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, on_error, on_warning);
    if (context->png) context->info = png_create_info_struct(context->png);
    int err = err_memory;
    if (context->info) {
        context->file = file.get();
        context->image = image;
        context->profile = profile;
        context->show_progress = progress;
        context->default_resolution = default_resolution;
        err = decode(context.get());
    }
    png_destroy_read_struct(&context->png, &context->info, nullptr);
    if (err != 0) {
        image_free(image);
        if (profile) profile->clear();
    }
    return err;
}

int write_png_file(const char* path, const Image* image, std::span<const std::uint8_t> profile,
                   bool progress, std::span<const std::uint8_t> exif) {
    if (image->type != image_type_binary && image->type != image_type_gray8 &&
        image->type != image_type_colour8)
        return err_png_type;
    auto context = std::unique_ptr<WriteContext>(new (std::nothrow) WriteContext);
    if (!context) return err_memory;
    File file(std::fopen(path, "wb"));
    if (!file) return err_cannot_create;

    context->png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, on_error, on_warning);
    if (context->png) context->info = png_create_info_struct(context->png);
    int err = err_memory;
    if (context->info) {
        context->file = file.get();
        context->image = image;
        context->profile = profile;
        context->exif = exif;
        context->show_progress = progress;
        err = encode(context.get());
    }
    png_destroy_write_struct(&context->png, &context->info);
    if (std::fflush(file.get()) != 0 && err == 0) err = err_write_png;
    if (std::fclose(file.release()) != 0 && err == 0) err = err_write_png;
    return err;
}
