#include "file/jpeg_io.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

// clang-format off
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#include "core/errors.h"
#include "core/image.h"
#include "core/progress.h"

// libjpeg reports fatal errors through a callback that must not return; it
// leaves by longjmp to the setjmp of `decode` or `encode`. Those two functions
// therefore hold no object with a destructor: everything that owns memory
// lives in the caller's context and is released there.

namespace {

constexpr int err_read_jpeg = 22;
constexpr int err_write_jpeg = 23;
constexpr int err_write_profile = 118;
constexpr int err_set_comments = 126;

constexpr unsigned char icc_signature[12] = {'I', 'C', 'C', '_', 'P', 'R',
                                             'O', 'F', 'I', 'L', 'E', 0};
constexpr std::size_t icc_header = sizeof icc_signature + 2;  // + sequence, total
constexpr std::size_t max_marker_body = 65533;

struct FileCloser {
    void operator()(std::FILE* f) const {
        if (f) std::fclose(f);
    }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// What the callbacks of one read or write share; `client_data` points to it.
struct Context {
    jpeg_error_mgr error{};
    jpeg_progress_mgr progress{};
    std::jmp_buf jump{};
    std::optional<ProgressScope> scope;
    std::int64_t lines = 0;  // the progress panel counts from 0 to this
    bool cancelled = false;
    bool truncated = false;
};

Context* context_of(j_common_ptr common) {
    return static_cast<Context*>(common->client_data);
}

[[noreturn]] void on_error_exit(j_common_ptr common) {
    std::longjmp(context_of(common)->jump, 1);
}

// Warnings are tolerated, as other programs do, except a file that ends early:
// libjpeg would fill the rest of the picture with gray.
void on_emit_message(j_common_ptr common, int level) {
    if (level < 0 && common->err->msg_code == JWRN_JPEG_EOF) context_of(common)->truncated = true;
}

// libjpeg calls this between rows and between the scans of a progressive file;
// the fraction of the work done is spread over the panel's range.
void on_progress(j_common_ptr common) {
    Context* context = context_of(common);
    if (!context->scope) return;
    const jpeg_progress_mgr& p = context->progress;
    const double passes = std::max(1, p.total_passes);
    const double in_pass =
        p.pass_limit > 0 ? static_cast<double>(p.pass_counter) / static_cast<double>(p.pass_limit)
                         : 0.0;
    const double done = std::min(1.0, (p.completed_passes + in_pass) / passes);
    const auto value = static_cast<std::int64_t>(done * static_cast<double>(context->lines));
    if (context->scope->step(value) != 0) {
        context->cancelled = true;
        std::longjmp(context->jump, 1);
    }
}

void init_context(Context* context, jpeg_common_struct* common) {
    common->err = jpeg_std_error(&context->error);
    context->error.error_exit = on_error_exit;
    context->error.emit_message = on_emit_message;
    context->progress.progress_monitor = on_progress;
    common->client_data = context;
}

int open_error() {
    return errno == ENOENT ? err_not_found : err_cannot_open;
}

// ---- Reading ----------------------------------------------------------------

struct ReadContext : Context {
    jpeg_decompress_struct cinfo{};
    std::FILE* file = nullptr;
    std::vector<std::uint8_t>* profile = nullptr;
    bool show_progress = false;
    double default_resolution = 100.0;
    std::vector<std::uint8_t> cmyk_line;
    int result = 0;  // an error found outside libjpeg
};

// Joins the "ICC_PROFILE" chunks that jpeg_read_header kept. The chunks are
// placed by their sequence numbers; the profile counts only when every number
// from 1 to the total is there exactly once.
void collect_profile(const jpeg_decompress_struct& cinfo, std::vector<std::uint8_t>* profile) {
    jpeg_saved_marker_ptr chunks[256] = {};
    int total = 0;
    for (jpeg_saved_marker_ptr m = cinfo.marker_list; m; m = m->next) {
        if (m->marker != JPEG_APP0 + 2 || m->data_length < icc_header) continue;
        if (std::memcmp(m->data, icc_signature, sizeof icc_signature) != 0) continue;
        const int sequence = m->data[12];
        const int count = m->data[13];
        if (count == 0 || sequence == 0 || sequence > count) return;
        if (total != 0 && count != total) return;
        total = count;
        if (chunks[sequence]) return;
        chunks[sequence] = m;
    }
    if (total == 0) return;
    std::size_t size = 0;
    for (int s = 1; s <= total; ++s) {
        if (!chunks[s]) return;
        size += chunks[s]->data_length - icc_header;
    }
    profile->reserve(size);
    for (int s = 1; s <= total; ++s)
        profile->insert(profile->end(), chunks[s]->data + icc_header,
                        chunks[s]->data + chunks[s]->data_length);
}

double resolution_of(const jpeg_decompress_struct& cinfo, double default_resolution) {
    if (cinfo.X_density == 0) return default_resolution;
    if (cinfo.density_unit == 1) return cinfo.X_density;
    if (cinfo.density_unit == 2) return cinfo.X_density * 2.54;
    return default_resolution;  // unit 0 gives only the pixel aspect
}

// CMYK as Adobe programs write it is stored inverted, 255 meaning no ink; the
// Adobe marker tells which. Each ink darkens its channel multiplicatively.
void cmyk_to_bgr(const std::uint8_t* cmyk, std::uint8_t* bgr, int width, bool inverted) {
    for (int x = 0; x < width; ++x, cmyk += 4, bgr += 3) {
        int c = cmyk[0], m = cmyk[1], y = cmyk[2], k = cmyk[3];
        if (!inverted) {
            c = 255 - c;
            m = 255 - m;
            y = 255 - y;
            k = 255 - k;
        }
        bgr[0] = static_cast<std::uint8_t>((y * k + 127) / 255);
        bgr[1] = static_cast<std::uint8_t>((m * k + 127) / 255);
        bgr[2] = static_cast<std::uint8_t>((c * k + 127) / 255);
    }
}

// Reads the header and starts the decompressor; the Image type the lines
// become is put in `*type`, and cinfo holds the size and density.
int decode_start(ReadContext* c, int* type) {
    jpeg_decompress_struct* cinfo = &c->cinfo;
    if (setjmp(c->jump)) return c->cancelled ? err_aborted : err_read_jpeg;

    jpeg_create_decompress(cinfo);
    jpeg_stdio_src(cinfo, c->file);
    if (c->profile) jpeg_save_markers(cinfo, JPEG_APP0 + 2, 0xFFFF);
    jpeg_read_header(cinfo, TRUE);

    *type = image_type_colour8;
    switch (cinfo->jpeg_color_space) {
        case JCS_GRAYSCALE:
            *type = image_type_gray8;
            cinfo->out_color_space = JCS_GRAYSCALE;
            break;
        case JCS_CMYK:
        case JCS_YCCK:
            cinfo->out_color_space = JCS_CMYK;
            break;
        default:
            cinfo->out_color_space = JCS_EXT_BGR;
            break;
    }
    // A gray file's profile stays with it; a CMYK file's describes inks, not
    // the colours it is turned into.
    if (c->profile && cinfo->out_color_space != JCS_CMYK) {
        try {
            collect_profile(*cinfo, c->profile);
        } catch (const std::bad_alloc&) {
            return err_memory;
        }
    }

    if (c->show_progress) {
        c->lines = cinfo->image_height;
        c->scope.emplace("File Open",
                         static_cast<std::int64_t>(cinfo->image_width) * cinfo->image_height, 0,
                         c->lines, true);
        if (c->scope->shown()) cinfo->progress = &c->progress;
    }

    jpeg_start_decompress(cinfo);
    if (cinfo->out_color_space == JCS_CMYK) {
        try {
            c->cmyk_line.resize(static_cast<std::size_t>(cinfo->output_width) * 4);
        } catch (const std::bad_alloc&) {
            return err_memory;
        }
    }
    return 0;
}

// Decodes the next image->height lines of the file into `image`, the first
// of them into its top line.
int decode_lines(ReadContext* c, Image* image) {
    jpeg_decompress_struct* cinfo = &c->cinfo;
    if (setjmp(c->jump)) return c->cancelled ? err_aborted : err_read_jpeg;
    const bool cmyk = cinfo->out_color_space == JCS_CMYK;
    const int width = static_cast<int>(cinfo->output_width);
    for (int y = 0; y < image->height; ++y) {
        std::uint8_t* line = image->rows[image->height - 1 - y];
        JSAMPROW row = cmyk ? c->cmyk_line.data() : line;
        if (jpeg_read_scanlines(cinfo, &row, 1) != 1) return err_read_jpeg;
        if (cmyk) cmyk_to_bgr(c->cmyk_line.data(), line, width, cinfo->saw_Adobe_marker);
    }
    return 0;
}

int decode_finish(ReadContext* c) {
    if (setjmp(c->jump)) return c->cancelled ? err_aborted : err_read_jpeg;
    jpeg_finish_decompress(&c->cinfo);
    return c->truncated ? err_read_jpeg : 0;
}

// A read context over an open file, ready for decode_start.
std::unique_ptr<ReadContext> read_context(std::FILE* file, std::vector<std::uint8_t>* profile,
                                          bool progress, double default_resolution) {
    auto context = std::unique_ptr<ReadContext>(new (std::nothrow) ReadContext);
    if (!context) return context;
    init_context(context.get(), reinterpret_cast<jpeg_common_struct*>(&context->cinfo));
    context->file = file;
    context->profile = profile;
    context->show_progress = progress;
    context->default_resolution = default_resolution;
    return context;
}

// ---- Writing ----------------------------------------------------------------

struct WriteContext : Context {
    jpeg_compress_struct cinfo{};
    std::FILE* file = nullptr;
    const Image* image = nullptr;
    const JpegWriteOptions* options = nullptr;
};

void set_sampling(jpeg_compress_struct* cinfo, int sampling) {
    static constexpr int factors[4][2] = {{1, 1}, {2, 1}, {4, 1}, {2, 2}};
    const int index = sampling >= 0 && sampling <= 3 ? sampling : 0;
    cinfo->comp_info[0].h_samp_factor = factors[index][0];
    cinfo->comp_info[0].v_samp_factor = factors[index][1];
    for (int i = 1; i < cinfo->num_components; ++i) {
        cinfo->comp_info[i].h_samp_factor = 1;
        cinfo->comp_info[i].v_samp_factor = 1;
    }
}

void write_profile(jpeg_compress_struct* cinfo, std::span<const std::uint8_t> profile,
                   std::uint8_t* buffer) {
    const std::size_t total = (profile.size() + jpeg_profile_chunk - 1) / jpeg_profile_chunk;
    for (std::size_t i = 0; i < total; ++i) {
        const std::size_t offset = i * jpeg_profile_chunk;
        const std::size_t size = std::min(jpeg_profile_chunk, profile.size() - offset);
        std::memcpy(buffer, icc_signature, sizeof icc_signature);
        buffer[12] = static_cast<std::uint8_t>(i + 1);
        buffer[13] = static_cast<std::uint8_t>(total);
        std::memcpy(buffer + icc_header, profile.data() + offset, size);
        jpeg_write_marker(cinfo, JPEG_APP0 + 2, buffer,
                          static_cast<unsigned int>(size + icc_header));
    }
}

// Lines a fill makes at a time.
constexpr int fill_lines = 64;

int encode(WriteContext* c, std::uint8_t* marker_buffer) {
    jpeg_compress_struct* cinfo = &c->cinfo;
    const Image* image = c->image;
    const JpegWriteOptions& options = *c->options;
    if (setjmp(c->jump)) return c->cancelled ? err_aborted : err_write_jpeg;

    jpeg_create_compress(cinfo);
    jpeg_stdio_dest(cinfo, c->file);
    cinfo->image_width = static_cast<JDIMENSION>(image->width);
    cinfo->image_height = static_cast<JDIMENSION>(image->height);
    const bool colour = image->type == image_type_colour8;
    cinfo->input_components = colour ? 3 : 1;
    cinfo->in_color_space = colour ? JCS_EXT_BGR : JCS_GRAYSCALE;
    jpeg_set_defaults(cinfo);
    jpeg_set_quality(cinfo, std::clamp(options.quality, 0, 100), TRUE);
    if (colour) set_sampling(cinfo, options.sampling);
    cinfo->write_JFIF_header = TRUE;
    cinfo->density_unit = 1;
    const double dpi = std::isfinite(image->resolution) ? std::round(image->resolution) : 0.0;
    cinfo->X_density = static_cast<UINT16>(std::clamp(dpi, 1.0, 65535.0));
    cinfo->Y_density = cinfo->X_density;

    if (options.progress) {
        c->lines = image->height;
        c->scope.emplace("File Save", static_cast<std::int64_t>(image->width) * image->height, 0,
                         c->lines, true);
        if (c->scope->shown()) cinfo->progress = &c->progress;
    }

    jpeg_start_compress(cinfo, TRUE);
    // After SOI and the JFIF marker: EXIF first, then the profile.
    if (!options.exif.empty())
        jpeg_write_marker(cinfo, JPEG_APP0 + 1, options.exif.data(),
                          static_cast<unsigned int>(options.exif.size()));
    if (!options.profile.empty()) write_profile(cinfo, options.profile, marker_buffer);

    while (cinfo->next_scanline < cinfo->image_height) {
        const int next = static_cast<int>(cinfo->next_scanline);
        if (options.fill && next % fill_lines == 0) {
            if (int err = options.fill(next, std::min(fill_lines, image->height - next))) {
                jpeg_abort_compress(cinfo);
                return err;
            }
        }
        const int y = image->height - 1 - next;
        JSAMPROW row = image->rows[y];
        jpeg_write_scanlines(cinfo, &row, 1);
    }
    jpeg_finish_compress(cinfo);
    return 0;
}

}  // namespace

int ReadJPEGAndProfile(const char* path, Image* image, std::vector<std::uint8_t>* profile,
                       bool progress, double default_resolution) {
    image_free(image);
    if (profile) profile->clear();
    File file(std::fopen(path, "rb"));
    if (!file) return open_error();

    auto context = read_context(file.get(), profile, progress, default_resolution);
    if (!context) return err_memory;
    int type = 0;
    int err = decode_start(context.get(), &type);
    const jpeg_decompress_struct& cinfo = context->cinfo;
    if (err == 0)
        err = image_alloc(image, type, static_cast<int>(cinfo.output_width),
                          static_cast<int>(cinfo.output_height),
                          resolution_of(cinfo, default_resolution));
    if (err == 0) err = decode_lines(context.get(), image);
    if (err == 0) err = decode_finish(context.get());
    jpeg_destroy_decompress(&context->cinfo);
    if (err != 0) {
        image_free(image);
        if (profile) profile->clear();
    }
    return err;
}

struct JpegBandReader::State {
    File file;
    std::unique_ptr<ReadContext> context;
    std::vector<std::uint8_t> profile;
    int type = 0;
    double resolution = 0.0;

    ~State() {
        if (context) jpeg_destroy_decompress(&context->cinfo);
    }
};

JpegBandReader::JpegBandReader() = default;
JpegBandReader::~JpegBandReader() = default;

int JpegBandReader::open(const char* path, double default_resolution) {
    state_.reset();
    auto state = std::make_unique<State>();
    state->file.reset(std::fopen(path, "rb"));
    if (!state->file) return open_error();
    state->context = read_context(state->file.get(), &state->profile, false, default_resolution);
    if (!state->context) return err_memory;
    if (int err = decode_start(state->context.get(), &state->type)) return err;
    state->resolution = resolution_of(state->context->cinfo, default_resolution);
    state_ = std::move(state);
    return 0;
}

int JpegBandReader::type() const {
    return state_ ? state_->type : 0;
}
int JpegBandReader::width() const {
    return state_ ? static_cast<int>(state_->context->cinfo.output_width) : 0;
}
int JpegBandReader::height() const {
    return state_ ? static_cast<int>(state_->context->cinfo.output_height) : 0;
}
double JpegBandReader::resolution() const {
    return state_ ? state_->resolution : 0.0;
}
const std::vector<std::uint8_t>& JpegBandReader::profile() const {
    static const std::vector<std::uint8_t> none;
    return state_ ? state_->profile : none;
}
int JpegBandReader::lines_left() const {
    if (!state_) return 0;
    const jpeg_decompress_struct& cinfo = state_->context->cinfo;
    return static_cast<int>(cinfo.output_height - cinfo.output_scanline);
}

int JpegBandReader::read(Image* band) {
    if (!state_ || band->type != type() || band->width != width() || band->height <= 0 ||
        band->height > lines_left())
        return err_illegal_type;
    if (int err = decode_lines(state_->context.get(), band)) return err;
    // The end of the file tells whether it was cut short.
    return lines_left() == 0 ? decode_finish(state_->context.get()) : 0;
}

int WriteJPEG(const char* path, const Image* image, const JpegWriteOptions& options) {
    if (image->type != image_type_gray8 && image->type != image_type_colour8) return 24;
    if (options.exif.size() > max_marker_body) return err_set_comments;
    if (options.profile.size() > 255 * jpeg_profile_chunk) return err_write_profile;

    std::unique_ptr<std::uint8_t[]> marker_buffer(
        new (std::nothrow) std::uint8_t[jpeg_profile_chunk + icc_header]);
    auto context = std::unique_ptr<WriteContext>(new (std::nothrow) WriteContext);
    if (!marker_buffer || !context) return err_memory;

    File file(std::fopen(path, "wb"));
    if (!file) return err_cannot_create;
    init_context(context.get(), reinterpret_cast<jpeg_common_struct*>(&context->cinfo));
    context->file = file.get();
    context->image = image;
    context->options = &options;

    int err = encode(context.get(), marker_buffer.get());
    jpeg_destroy_compress(&context->cinfo);
    if (std::fflush(file.get()) != 0 && err == 0) err = err_write_jpeg;
    if (std::fclose(file.release()) != 0 && err == 0) err = err_write_jpeg;
    return err;
}
