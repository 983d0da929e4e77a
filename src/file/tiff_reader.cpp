#include "file/tiff_reader.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <type_traits>

#include <libdeflate.h>
#include <zlib.h>

#include "core/errors.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/preferences.h"
#include "core/progress.h"
#include "file/rotation.h"
#include "file/tiff_fallback.h"
#include "file/tiff_lzw.h"
#include "file/tiff_source.h"

static_assert(std::endian::native == std::endian::little,
              "Image samples are little-endian in memory");

namespace {

constexpr int err_write = 57;
constexpr int err_compression = 141;
constexpr int err_orientation = 142;
constexpr int err_predictor = 143;
constexpr int err_too_wide_to_read = 144;
constexpr int err_subfile = 145;
constexpr int err_gray_bits = 146;
constexpr int err_colour_bits = 147;
constexpr int err_mixed_bits = 148;
constexpr int err_samples = 149;
constexpr int err_photometric = 150;
constexpr int err_fill_order = 151;
constexpr int err_planar = 152;
constexpr int err_byte_counts = 153;
constexpr int err_predictor_binary = 154;
constexpr int err_tags = 155;

// Uncompressed strips are read at most this many bytes at a time.
constexpr std::uint64_t read_chunk_bytes = 0x400000;

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// What the tags of one IFD say about its image.
struct Layout {
    int width = -1;
    int height = -1;
    int type = 0;  // Image type; 0 while BitsPerSample has not been seen
    int bits = 0;  // bits of a sample: 1, 4, 8 or 16
    int samples = 1;
    int compression = 1;
    bool invert = false;
    int orientation = 1;
    int predictor = 1;
    bool has_rows_per_strip = false;
    std::uint64_t rows_per_strip = 0;
    bool has_offsets = false;
    bool has_counts = false;
    std::vector<std::uint32_t> offsets;
    std::vector<std::uint32_t> counts;
    double resolution = -1.0;
    double unit_factor = 1.0;
    std::int64_t line_size = 0;  // bytes of one line in the file
};

int gray_to_colour(int type) {
    if (type == image_type_gray8) return image_type_colour8;
    if (type == image_type_gray16) return image_type_colour16;
    return type;
}

int parse_tags(const TiffSource& source, const std::vector<TiffEntry>& entries, Layout* l) {
    for (const TiffEntry& e : entries) {
        switch (e.tag) {
            case 254:
                if (e.value > 3) return err_subfile;
                break;
            case 255:
                if (e.value != 1 && e.value != 2) return err_subfile;
                break;
            case 256:
                l->width = e.value;
                break;
            case 257:
                l->height = e.value;
                break;
            case 258:
                if (e.count == 1) {
                    l->bits = e.value;
                    if (e.value == 1)
                        l->type = image_type_binary;
                    else if (e.value == 4 || e.value == 8)
                        l->type = image_type_gray8;
                    else if (e.value == 16)
                        l->type = image_type_gray16;
                    else
                        return err_gray_bits;
                } else if (e.count == 3 || e.count == 4) {
                    std::vector<std::uint32_t> bits;
                    if (int err = tiff_read_values(source, e, &bits)) return err;
                    if (bits[0] != bits[1] || bits[1] != bits[2]) return err_mixed_bits;
                    l->bits = static_cast<int>(bits[0]);
                    if (bits[0] == 8)
                        l->type = image_type_colour8;
                    else if (bits[0] == 16)
                        l->type = image_type_colour16;
                    else
                        return err_colour_bits;
                } else {
                    return err_samples;
                }
                break;
            case 259:
                if (e.value != 1 && e.value != 5 && e.value != 8 && e.value != 32946)
                    return err_compression;
                l->compression = e.value;
                break;
            case 262:
                if (e.value > 2) return err_photometric;
                l->invert = e.value == 0;
                break;
            case 266:
                if (e.value != 1) return err_fill_order;
                break;
            case 273:
                if (int err = tiff_read_values(source, e, &l->offsets)) return err;
                l->has_offsets = true;
                break;
            case 274:
                if (e.value < 1 || e.value > 8) return err_orientation;
                l->orientation = e.value;
                break;
            case 277:
                if (e.value != 1 && e.value != 3 && e.value != 4) return err_samples;
                l->samples = e.value;
                if (e.value != 1) l->type = gray_to_colour(l->type);
                break;
            case 278:
                l->has_rows_per_strip = true;
                l->rows_per_strip = static_cast<std::uint32_t>(e.value);
                break;
            case 279:
                if (int err = tiff_read_values(source, e, &l->counts)) return err;
                l->has_counts = true;
                break;
            case 282:
                l->resolution = e.real;
                break;
            case 284:
                if (e.value != 1) return err_planar;
                break;
            case 296:
                l->unit_factor = e.value == 3 ? 2.540005 : 1.0;
                break;
            case 317:
                if (e.value != 1 && e.value != 2) return err_predictor;
                l->predictor = e.value;
                break;
            default:
                break;
        }
    }
    return 0;
}

// Bytes of a line in the file, and the least that the conversion of a line
// into the Image's type reads.
std::int64_t file_line_size(const Layout& l) {
    const std::int64_t w = l.width;
    if (l.samples == 1) {
        if (l.bits == 4) return (w + 1) / 2;
        if (l.bits == 8) return w;
        if (l.bits == 16) return 2 * w;
    }
    switch (l.type) {
        case image_type_binary:
            return (w + 7) / 8;
        case image_type_gray8:
            return w;
        case image_type_colour8:
            return w * l.samples;
        case image_type_gray16:
            return 2 * w;
        default:
            return 2 * w * l.samples;
    }
}

std::int64_t needed_line_size(const Layout& l) {
    const std::int64_t w = l.width;
    switch (l.type) {
        case image_type_binary:
            return (w + 7) / 8;
        case image_type_gray8:
            return l.bits == 4 ? (w + 1) / 2 : w;
        case image_type_colour8:
            return 3 * w;
        case image_type_gray16:
            return 2 * w;
        default:
            return 6 * w;
    }
}

std::uint64_t strip_count(const Layout& l) {
    return (static_cast<std::uint64_t>(l.height) + l.rows_per_strip - 1) / l.rows_per_strip;
}

int check_layout(Layout* l) {
    if (l->width <= 0 || l->height <= 0 || l->type == 0 || !l->has_offsets || l->offsets.empty())
        return err_tags;
    if (l->has_counts && l->offsets.size() > 1 && l->counts.size() != l->offsets.size())
        return err_tags;
    if (l->offsets.size() == 1 || !l->has_rows_per_strip)
        l->rows_per_strip = static_cast<std::uint64_t>(l->height);
    if (l->offsets.size() > 1 && !l->has_counts) return err_byte_counts;
    if (l->rows_per_strip == 0) return err_tags;
    l->rows_per_strip = std::min<std::uint64_t>(l->rows_per_strip, l->height);
    if (strip_count(*l) > l->offsets.size()) return err_tags;
    l->line_size = file_line_size(*l);
    if (l->line_size < needed_line_size(*l)) return err_tags;
    return 0;
}

// A single strip with no byte count holds the whole image; several uncompressed
// strips whose counts disagree anywhere with their size are given computed
// counts, repairing writers that get the table wrong.
void settle_byte_counts(Layout* l) {
    const std::uint64_t line = static_cast<std::uint64_t>(l->line_size);
    if (l->offsets.size() == 1 && (!l->has_counts || l->counts.empty())) {
        l->counts.assign(
            1, static_cast<std::uint32_t>(std::min<std::uint64_t>(line * l->height, 0xFFFFFFFFu)));
        return;
    }
    if (l->compression != 1 || l->offsets.size() <= 1) return;
    const std::uint64_t strips = strip_count(*l);
    auto expected = [&](std::uint64_t s) {
        const std::uint64_t rows =
            std::min<std::uint64_t>(l->rows_per_strip, l->height - s * l->rows_per_strip);
        return rows * line;
    };
    for (std::uint64_t s = 0; s < strips; ++s) {
        if (l->counts[s] != expected(s)) {
            for (std::uint64_t t = 0; t < strips; ++t) {
                l->counts[t] =
                    static_cast<std::uint32_t>(std::min<std::uint64_t>(expected(t), 0xFFFFFFFFu));
            }
            return;
        }
    }
}

std::uint16_t load16(const std::uint8_t* p, bool swap) {
    std::uint16_t v;
    std::memcpy(&v, p, 2);
    return swap ? static_cast<std::uint16_t>(v << 8 | v >> 8) : v;
}

void store16(std::uint8_t* p, std::uint16_t v) {
    std::memcpy(p, &v, 2);
}

// Colour pixels of `samples` samples into blue, green, red, undoing horizontal
// differencing on the way when `Sum` is set: each sample is then the sum, with
// wrap-around, of the differences up to it in its channel.
template <bool Wide, bool Swap, bool Sum>
void colour_line(const std::uint8_t* in, std::uint8_t* out, int width, int samples) {
    using Sample = std::conditional_t<Wide, std::uint16_t, std::uint8_t>;
    const int step = Wide ? 2 * samples : samples;
    Sample r = 0;
    Sample g = 0;
    Sample b = 0;
    for (int i = 0; i < width; ++i, in += step) {
        Sample nr;
        Sample ng;
        Sample nb;
        if constexpr (Wide) {
            nr = load16(in, Swap);
            ng = load16(in + 2, Swap);
            nb = load16(in + 4, Swap);
        } else {
            nr = in[0];
            ng = in[1];
            nb = in[2];
        }
        if constexpr (Sum) {
            r = static_cast<Sample>(r + nr);
            g = static_cast<Sample>(g + ng);
            b = static_cast<Sample>(b + nb);
        } else {
            r = nr;
            g = ng;
            b = nb;
        }
        if constexpr (Wide) {
            store16(out, b);
            store16(out + 2, g);
            store16(out + 4, r);
            out += 6;
        } else {
            out[0] = b;
            out[1] = g;
            out[2] = r;
            out += 3;
        }
    }
}

template <bool Wide, bool Swap, bool Sum>
void gray_line(const std::uint8_t* in, std::uint8_t* out, int width) {
    if constexpr (!Sum && !Swap) {
        if (in != out) std::memcpy(out, in, static_cast<std::size_t>(width) * (Wide ? 2 : 1));
    } else if constexpr (Wide) {
        std::uint16_t v = 0;
        for (int i = 0; i < width; ++i) {
            const std::uint16_t n = load16(in + 2 * i, Swap);
            v = Sum ? static_cast<std::uint16_t>(v + n) : n;
            store16(out + 2 * i, v);
        }
    } else {
        std::uint8_t v = 0;
        for (int i = 0; i < width; ++i) {
            v = static_cast<std::uint8_t>(v + in[i]);
            out[i] = v;
        }
    }
}

using LineRoutine = void (*)(const std::uint8_t* in, std::uint8_t* out, int width, int samples);

template <bool Wide, bool Colour, bool Swap, bool Sum>
void line_routine(const std::uint8_t* in, std::uint8_t* out, int width, int samples) {
    if constexpr (Colour)
        colour_line<Wide, Swap, Sum>(in, out, width, samples);
    else
        gray_line<Wide, Swap, Sum>(in, out, width);
}

template <bool Wide, bool Colour>
LineRoutine pick_routine(bool swap, bool sum) {
    if (swap)
        return sum ? line_routine<Wide, Colour, true, true>
                   : line_routine<Wide, Colour, true, false>;
    return sum ? line_routine<Wide, Colour, false, true> : line_routine<Wide, Colour, false, false>;
}

// Turns file lines, top line first, into Image lines: inversion first, then
// the samples into the Image's order, then the differencing undone. The Image
// holds the file's lines from `first` on, its top line being line `first`.
class LineConverter {
public:
    LineConverter(const Layout& l, bool big_endian, Image* image, int first)
        : l_(l), image_(image), first_(first) {
        const bool sum = l.predictor == 2;
        switch (l.type) {
            case image_type_gray8:
                if (l.bits != 4) routine_ = pick_routine<false, false>(false, sum);
                break;
            case image_type_colour8:
                routine_ = pick_routine<false, true>(false, sum);
                break;
            case image_type_gray16:
                routine_ = pick_routine<true, false>(big_endian, sum);
                break;
            case image_type_colour16:
                routine_ = pick_routine<true, true>(big_endian, sum);
                break;
            default:
                break;
        }
    }

    // Whether file lines can be read straight into the image's lines and
    // converted where they stand: same size, no inversion, no extra samples.
    bool in_place() const {
        const int samples = l_.type == image_type_colour8 || l_.type == image_type_colour16 ? 3 : 1;
        return routine_ && !l_.invert && l_.samples == samples &&
               l_.line_size == image_line_bytes(image_);
    }
    std::uint8_t* row(int y) const { return image_->rows[image_->height - 1 - (y - first_)]; }
    void convert_in_place(int y) const {
        std::uint8_t* line = row(y);
        routine_(line, line, l_.width, l_.samples);
    }

    // `line` is the file's line `y` counted from the top; it is changed in place
    // when inverted.
    void convert(std::uint8_t* line, int y) const {
        std::uint8_t* out = row(y);
        const int w = l_.width;
        if (l_.invert) {
            for (std::int64_t i = 0; i < l_.line_size; ++i)
                line[i] = static_cast<std::uint8_t>(~line[i]);
        }
        if (routine_) {
            routine_(line, out, w, l_.samples);
        } else if (l_.type == image_type_binary) {
            std::memcpy(out, line, static_cast<std::size_t>(w + 7) / 8);
        } else {
            // 4-bit gray. Odd pixels take the high nibble: the reverse of the
            // standard's order, kept for the files this has always read.
            for (int i = 0; i < w; ++i) {
                const std::uint8_t b = line[i / 2];
                out[i] = static_cast<std::uint8_t>(((i & 1) ? b >> 4 : b & 15) * 17);
            }
            if (l_.predictor == 2) {
                for (int i = 1; i < w; ++i)
                    out[i] = static_cast<std::uint8_t>(out[i] + out[i - 1]);
            }
        }
    }

private:
    const Layout& l_;
    Image* image_;
    int first_;
    LineRoutine routine_ = nullptr;
};

// Compressed strips larger than this are decoded one at a time, so that a
// file of one huge strip does not cost a copy of it per thread.
constexpr std::uint64_t batch_strip_bytes = 16 << 20;

// One strip on its way from the file into the image, and what decodes it.
struct StripSlot {
    std::vector<std::uint8_t> packed;
    std::vector<std::uint8_t> data;
    libdeflate_decompressor* inflater = nullptr;
    int error = 0;

    StripSlot() = default;
    StripSlot(const StripSlot&) = delete;
    StripSlot& operator=(const StripSlot&) = delete;
    ~StripSlot() {
        if (inflater) libdeflate_free_decompressor(inflater);
    }

    // A whole stream goes through libdeflate; one that is damaged, cut short or
    // longer than the strip goes through zlib, which keeps what it could decode.
    int inflate(std::size_t in_size, std::size_t out_size) {
        if (!inflater) inflater = libdeflate_alloc_decompressor();
        std::size_t produced = 0;
        if (inflater && libdeflate_zlib_decompress(inflater, packed.data(), in_size, data.data(),
                                                   out_size, &produced) == LIBDEFLATE_SUCCESS)
            return 0;
        uLongf size = out_size;
        const int z = uncompress(data.data(), &size, packed.data(), in_size);
        if (z == Z_OK || z == Z_BUF_ERROR) return 0;
        if (z == Z_MEM_ERROR) return err_memory;
        return err_tiff_read;
    }
};

// Reads uncompressed file lines first .. end - 1 (top first) into the image.
int read_plain_lines(const TiffSource& source, const Layout& l, const LineConverter& converter,
                     int first, int end, ProgressScope* scope) {
    const std::uint64_t line = static_cast<std::uint64_t>(l.line_size);
    std::vector<std::uint8_t> data;
    int row = first;
    while (row < end) {
        const std::uint64_t s = static_cast<std::uint64_t>(row) / l.rows_per_strip;
        const std::uint64_t strip_top = s * l.rows_per_strip;
        const std::uint64_t rows = std::min<std::uint64_t>(l.rows_per_strip, l.height - strip_top);
        const std::uint64_t skip = static_cast<std::uint64_t>(row) - strip_top;
        const std::uint64_t take = std::min<std::uint64_t>(rows - skip, end - row);
        const std::uint64_t offset = l.offsets[s];
        const std::uint64_t count = s < l.counts.size() ? l.counts[s] : 0;
        if (converter.in_place() && count >= rows * line) {
            // Straight into the image: no copy of the pixels on the way.
            const std::uint64_t group = std::max<std::uint64_t>(1, read_chunk_bytes / line);
            for (std::uint64_t done = 0; done < take; done += group) {
                const int n_rows = static_cast<int>(std::min(group, take - done));
                for (int r = 0; r < n_rows; ++r)
                    if (int err = tiff_read(source, offset + (skip + done + r) * line,
                                            converter.row(row + r), line))
                        return err;
                parallel_for(n_rows, [&](int r) { converter.convert_in_place(row + r); });
                row += n_rows;
                if (scope)
                    if (int err = scope->step(row)) return err;
            }
            continue;
        }
        std::uint64_t chunk = take;
        if (take * line > read_chunk_bytes) {
            chunk = read_chunk_bytes / line;
            if (chunk == 0) return err_too_wide_to_read;
        }
        // A strip shorter than its lines gives what it holds; the rest of
        // those lines is left as it was.
        std::uint64_t taken = skip * line;
        for (std::uint64_t done = 0; done < take; done += chunk) {
            const std::uint64_t n_rows = std::min(chunk, take - done);
            const std::uint64_t want = n_rows * line;
            if (data.size() < want) data.resize(want);
            const std::uint64_t n = std::min(want, count > taken ? count - taken : 0);
            if (int err = tiff_read(source, offset + taken, data.data(), n)) return err;
            taken += n;
            parallel_for(static_cast<int>(n_rows), [&](int r) {
                converter.convert(data.data() + static_cast<std::uint64_t>(r) * line, row + r);
            });
            row += static_cast<int>(n_rows);
            if (scope)
                if (int err = scope->step(row)) return err;
        }
    }
    return 0;
}

// Reads compressed file lines first .. end - 1: the strips that hold them are
// read in order, decoded and converted a batch at a time on all cores, each
// strip into its own rows.
int read_packed_lines(const TiffSource& source, const Layout& l, const LineConverter& converter,
                      int first, int end, ProgressScope* scope) {
    const std::uint64_t line = static_cast<std::uint64_t>(l.line_size);
    const std::uint64_t first_strip = static_cast<std::uint64_t>(first) / l.rows_per_strip;
    const std::uint64_t end_strip = (static_cast<std::uint64_t>(end) - 1) / l.rows_per_strip + 1;
    const std::uint64_t strip_bytes = l.rows_per_strip * line;
    const int batch = strip_bytes > batch_strip_bytes
                          ? 1
                          : static_cast<int>(std::min<std::uint64_t>(parallel_threads(),
                                                                     end_strip - first_strip));
    // The lines of strip s that fall in the band.
    auto lines_of = [&](std::uint64_t s, int& top, int& bottom) {
        const std::uint64_t strip_top = s * l.rows_per_strip;
        top = std::max(first, static_cast<int>(strip_top));
        bottom = std::min(
            end, static_cast<int>(std::min<std::uint64_t>(strip_top + l.rows_per_strip, l.height)));
    };
    std::vector<StripSlot> slots(static_cast<std::size_t>(batch));
    for (std::uint64_t start = first_strip; start < end_strip;
         start += static_cast<std::uint64_t>(batch)) {
        const int count = static_cast<int>(std::min<std::uint64_t>(batch, end_strip - start));
        for (int k = 0; k < count; ++k) {
            const std::uint64_t s = start + static_cast<std::uint64_t>(k);
            const std::uint64_t offset = l.offsets[s];
            const std::uint64_t bytes = s < l.counts.size() ? l.counts[s] : 0;
            if (!tiff_in_range(source, offset, bytes)) return err_tiff_read;
            StripSlot& slot = slots[static_cast<std::size_t>(k)];
            slot.packed.assign(bytes + 4, 0);
            if (int err = tiff_read(source, offset, slot.packed.data(), bytes)) return err;
        }
        // One strip alone converts on this thread, so that its progress shows.
        const bool alone = count == 1;
        parallel_for(count, [&](int k) {
            const std::uint64_t s = start + static_cast<std::uint64_t>(k);
            const std::uint64_t strip_top = s * l.rows_per_strip;
            const std::uint64_t rows =
                std::min<std::uint64_t>(l.rows_per_strip, l.height - strip_top);
            const std::uint64_t want = rows * line;
            StripSlot& slot = slots[static_cast<std::size_t>(k)];
            if (slot.data.size() < want) slot.data.resize(want);
            const std::size_t in_size = slot.packed.size() - 4;
            slot.error = l.compression == 5
                             ? tiff_lzw_decode(slot.packed.data(), in_size, slot.data.data(), want)
                             : slot.inflate(in_size, want);
            if (slot.error || alone) return;
            int top = 0, bottom = 0;
            lines_of(s, top, bottom);
            for (int y = top; y < bottom; ++y)
                converter.convert(slot.data.data() + (y - strip_top) * line, y);
        });
        for (int k = 0; k < count; ++k) {
            const std::uint64_t s = start + static_cast<std::uint64_t>(k);
            const std::uint64_t strip_top = s * l.rows_per_strip;
            int top = 0, bottom = 0;
            lines_of(s, top, bottom);
            const StripSlot& slot = slots[static_cast<std::size_t>(k)];
            if (slot.error) return slot.error;
            if (alone) {
                for (int y = top; y < bottom; ++y) {
                    converter.convert(slots[0].data.data() + (y - strip_top) * line, y);
                    if (scope && (y & 255) == 255)
                        if (int cancel = scope->step(y)) return cancel;
                }
            }
            if (scope)
                if (int cancel = scope->step(bottom)) return cancel;
        }
    }
    return 0;
}

// Reads file lines first .. first + image->height - 1 into `image`, whose top
// line gets line `first`.
int read_lines(const TiffSource& source, const Layout& l, Image* image, int first,
               bool progress) {
    if (l.predictor == 2 && l.type == image_type_binary) return err_predictor_binary;
    const LineConverter converter(l, source.big_endian, image, first);
    std::unique_ptr<ProgressScope> scope;
    if (progress) {
        const auto pixels = static_cast<std::int32_t>(static_cast<std::uint32_t>(l.width) *
                                                      static_cast<std::uint32_t>(l.height));
        scope = std::make_unique<ProgressScope>("File Open", pixels, 0, l.height, true);
    }
    const int end = first + image->height;
    return l.compression == 1 ? read_plain_lines(source, l, converter, first, end, scope.get())
                              : read_packed_lines(source, l, converter, first, end, scope.get());
}

int read_ifd_image(const TiffSource& source, std::uint32_t ifd, Image* image, bool progress) {
    std::vector<TiffEntry> entries;
    if (int err = tiff_read_ifd(source, ifd, &entries)) return err;
    Layout l;
    if (int err = parse_tags(source, entries, &l)) return err;
    if (int err = check_layout(&l)) return err;
    settle_byte_counts(&l);
    const double dpi = l.resolution > 0.0 ? l.resolution : preferences().defaultres;
    if (int err = image_alloc(image, l.type, l.width, l.height, dpi * l.unit_factor)) return err;
    if (int err = read_lines(source, l, image, 0, progress)) return err;
    if (l.orientation >= 2) return image_rotate(image, rotation_from_tiff(l.orientation));
    return 0;
}

int open_stream(const char* file_name, const char* mode, FilePtr* file, TiffSource* source,
                std::uint32_t* ifd0) {
    file->reset(std::fopen(file_name, mode));
    if (!*file) return err_tiff_read;
    if (int err = tiff_source_file(source, file->get(), 0)) return err;
    return tiff_read_header(source, ifd0);
}

// Reads IFD0 of a file.
int read_first_ifd(const char* file_name, FilePtr* file, TiffSource* source,
                   std::vector<TiffEntry>* entries, std::uint32_t* ifd0 = nullptr) {
    std::uint32_t first = 0;
    if (int err = open_stream(file_name, "rb", file, source, &first)) return err;
    if (ifd0) *ifd0 = first;
    return tiff_read_ifd(*source, first, entries);
}

// The first offset of IFD0's SubIFD list, 0 when it has none.
int first_subifd(const TiffSource& source, const std::vector<TiffEntry>& entries,
                 std::uint32_t* offset) {
    *offset = 0;
    const TiffEntry* e = tiff_find(entries, 330);
    if (!e || e->count == 0) return 0;
    if (tiff_value_bytes(*e) <= 4) {
        *offset = e->offset;
        return 0;
    }
    std::uint8_t bytes[4];
    if (int err = tiff_read(source, e->offset, bytes, sizeof bytes)) return err;
    *offset = tiff_get32(source, bytes);
    return 0;
}

}  // namespace

struct TiffBandReader::State {
    FilePtr file;
    TiffSource source;
    Layout layout;
    double resolution = 0.0;
    int next = 0;
};

TiffBandReader::TiffBandReader() = default;
TiffBandReader::~TiffBandReader() = default;

int TiffBandReader::open(const char* file_name) {
    state_.reset();
    auto state = std::make_unique<State>();
    std::vector<TiffEntry> entries;
    if (int err = read_first_ifd(file_name, &state->file, &state->source, &entries)) return err;
    Layout& l = state->layout;
    if (int err = parse_tags(state->source, entries, &l)) return err;
    if (int err = check_layout(&l)) return err;
    if (l.orientation >= 2) return err_orientation;
    if (l.predictor == 2 && l.type == image_type_binary) return err_predictor_binary;
    settle_byte_counts(&l);
    const double dpi = l.resolution > 0.0 ? l.resolution : preferences().defaultres;
    state->resolution = dpi * l.unit_factor;
    state_ = std::move(state);
    return 0;
}

int TiffBandReader::type() const {
    return state_ ? state_->layout.type : 0;
}
int TiffBandReader::width() const {
    return state_ ? state_->layout.width : 0;
}
int TiffBandReader::height() const {
    return state_ ? state_->layout.height : 0;
}
double TiffBandReader::resolution() const {
    return state_ ? state_->resolution : 0.0;
}
int TiffBandReader::lines_left() const {
    return state_ ? state_->layout.height - state_->next : 0;
}

int TiffBandReader::strip_lines() const {
    if (!state_ || state_->layout.compression == 1) return 1;
    return static_cast<int>(state_->layout.rows_per_strip);
}

int TiffBandReader::read(Image* band) {
    if (!state_ || band->type != state_->layout.type || band->width != state_->layout.width ||
        band->height <= 0 || band->height > lines_left())
        return err_illegal_type;
    if (int err = read_lines(state_->source, state_->layout, band, state_->next, false))
        return err;
    state_->next += band->height;
    return 0;
}

int TiffReadAt(std::FILE* file, std::int64_t base, Image* image, bool progress) {
    TiffSource source;
    std::uint32_t ifd0 = 0;
    int err = tiff_source_file(&source, file, base);
    if (!err) err = tiff_read_header(&source, &ifd0);
    if (!err) err = read_ifd_image(source, ifd0, image, progress);
    if (err) image_free(image);
    return err;
}

int TiffRead(const char* file_name, Image* image, bool progress) {
    int err = err_tiff_read;
    if (FilePtr file{std::fopen(file_name, "rb")}) err = TiffReadAt(file.get(), 0, image, progress);
    if (err == 0 || err == err_aborted || err == err_planar) return err;
    const int fallback = tiff_fallback_read(file_name, image, progress);
    if (fallback == 0 || fallback == err_aborted) return fallback;
    image_free(image);
    return err;
}

bool TiffReadReduced(const char* file_name, Image* image) {
    FilePtr file;
    TiffSource source;
    std::vector<TiffEntry> entries;
    std::uint32_t sub = 0;
    bool ok = read_first_ifd(file_name, &file, &source, &entries) == 0 &&
              first_subifd(source, entries, &sub) == 0 && sub != 0 &&
              tiff_read_ifd(source, sub, &entries) == 0;
    if (ok) {
        const TiffEntry* new_type = tiff_find(entries, 254);
        const TiffEntry* old_type = tiff_find(entries, 255);
        ok = (new_type && (new_type->value & 1)) || (old_type && old_type->value == 2);
    }
    if (ok) ok = read_ifd_image(source, sub, image, false) == 0;
    if (!ok) image_free(image);
    return ok;
}

int TiffProbeSize(const char* file_name, int* width, int* height) {
    *width = 0;
    *height = 0;
    FilePtr file;
    TiffSource source;
    std::vector<TiffEntry> entries;
    if (int err = read_first_ifd(file_name, &file, &source, &entries)) return err;
    if (const TiffEntry* e = tiff_find(entries, 256)) *width = e->value;
    if (const TiffEntry* e = tiff_find(entries, 257)) *height = e->value;
    return 0;
}

int TiffProbeOrientation(const char* file_name, int* rotation) {
    *rotation = 0;
    FilePtr file;
    TiffSource source;
    std::vector<TiffEntry> entries;
    if (int err = read_first_ifd(file_name, &file, &source, &entries)) return err;
    if (const TiffEntry* e = tiff_find(entries, 274)) *rotation = rotation_from_tiff(e->value);
    return 0;
}

int TiffProbeProfile(const char* file_name, std::vector<std::uint8_t>* profile) {
    profile->clear();
    FilePtr file;
    TiffSource source;
    std::vector<TiffEntry> entries;
    if (int err = read_first_ifd(file_name, &file, &source, &entries)) return err;
    const TiffEntry* e = tiff_find(entries, 34675);
    if (!e || e->count == 0) return 0;
    const std::uint64_t size = tiff_value_bytes(*e);
    if (size <= 4) {
        profile->assign(e->raw + 8, e->raw + 8 + size);
        return 0;
    }
    if (!tiff_in_range(source, e->offset, size)) return err_tiff_read;
    profile->resize(size);
    return tiff_read(source, e->offset, profile->data(), profile->size());
}

bool TiffIsTiff(const char* file_name) {
    FilePtr file{std::fopen(file_name, "rb")};
    std::uint8_t magic[4];
    if (!file || std::fread(magic, 1, 4, file.get()) != 4) return false;
    return (magic[0] == 0x49 && magic[1] == 0x49 && magic[2] == 0x2A && magic[3] == 0x00) ||
           (magic[0] == 0x4D && magic[1] == 0x4D && magic[2] == 0x00 && magic[3] == 0x2A);
}

int TiffProbeSummary(const char* file_name, TiffSummary* summary) {
    *summary = TiffSummary{};
    FilePtr file;
    TiffSource source;
    std::vector<TiffEntry> entries;
    if (int err = read_first_ifd(file_name, &file, &source, &entries)) return err;
    double unit_factor = 1.0;
    for (const TiffEntry& e : entries) {
        switch (e.tag) {
            case 256:
                summary->width = e.value;
                break;
            case 257:
                summary->height = e.value;
                break;
            case 258: {
                std::vector<std::uint32_t> bits;
                if (tiff_read_values(source, e, &bits) == 0 && !bits.empty())
                    summary->bits = static_cast<int>(bits[0]);
                break;
            }
            case 259:
                summary->compression = e.value;
                break;
            case 262:
                summary->photometric = e.value;
                break;
            case 274:
                summary->orientation = e.value;
                break;
            case 277:
                summary->samples = e.value;
                break;
            case 282:
                summary->resolution = e.real;
                break;
            case 296:
                unit_factor = e.value == 3 ? 2.540005 : 1.0;
                break;
            case 317:
                summary->predictor = e.value;
                break;
            case 330:
                summary->has_reduced = e.count > 0;
                break;
            case 34675:
                summary->has_profile = e.count > 0;
                break;
            default:
                break;
        }
    }
    summary->resolution *= unit_factor;
    return 0;
}

namespace {

// Rewrites the orientation entry at `position` (an absolute file offset) with
// `old` composed with `rotation`.
int rewrite_orientation(const TiffSource& source, std::uint64_t position, int old, int rotation) {
    const int value = tiff_from_rotation(rotation_compose(rotation_from_tiff(old), rotation));
    std::uint8_t raw[12] = {};
    auto put16 = [&](std::uint8_t* p, int v) {
        if (source.big_endian) {
            p[0] = static_cast<std::uint8_t>(v >> 8);
            p[1] = static_cast<std::uint8_t>(v);
        } else {
            p[0] = static_cast<std::uint8_t>(v);
            p[1] = static_cast<std::uint8_t>(v >> 8);
        }
    };
    put16(raw, 274);
    put16(raw + 2, tiff_short);
    if (source.big_endian)
        raw[7] = 1;
    else
        raw[4] = 1;
    put16(raw + 8, value);
    if (fseeko(source.file, static_cast<off_t>(position), SEEK_SET) != 0 ||
        std::fwrite(raw, 1, sizeof raw, source.file) != sizeof raw)
        return err_write;
    return 0;
}

// Position of the entry for `tag` in the IFD at `ifd`, or 0 when absent.
int find_entry_position(const TiffSource& source, std::uint32_t ifd, int tag,
                        std::uint64_t* position, int* value) {
    *position = 0;
    std::vector<TiffEntry> entries;
    if (int err = tiff_read_ifd(source, ifd, &entries)) return err;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].tag == tag) {
            *position = std::uint64_t{ifd} + 2 + 12 * i;
            *value = entries[i].value;
            return 0;
        }
    }
    return 0;
}

}  // namespace

int TiffSetOrientation(const char* file_name, int rotation, bool* done) {
    *done = false;
    FilePtr file{std::fopen(file_name, "r+b")};
    if (!file) return err_write;
    if (rotation == 0) {
        *done = true;
        return 0;
    }
    TiffSource source;
    std::uint32_t ifd0 = 0;
    if (int err = tiff_source_file(&source, file.get(), 0)) return err;
    if (int err = tiff_read_header(&source, &ifd0)) return err;
    std::uint64_t position = 0;
    int old = 0;
    if (int err = find_entry_position(source, ifd0, 274, &position, &old)) return err;
    if (position == 0) return 0;

    std::vector<TiffEntry> entries;
    std::uint32_t sub = 0;
    if (int err = tiff_read_ifd(source, ifd0, &entries)) return err;
    if (int err = first_subifd(source, entries, &sub)) return err;
    if (sub != 0) {
        std::uint64_t sub_position = 0;
        int sub_old = 0;
        if (int err = find_entry_position(source, sub, 274, &sub_position, &sub_old)) return err;
        if (sub_position != 0)
            if (int err = rewrite_orientation(source, sub_position, sub_old, rotation)) return err;
    }
    if (int err = rewrite_orientation(source, position, old, rotation)) return err;
    if (std::fclose(file.release()) != 0) return err_write;
    *done = true;
    return 0;
}
