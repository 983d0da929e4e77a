#include "file/tiff_writer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include <libdeflate.h>
#include <sys/types.h>

#include "core/errors.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/progress.h"
#include "file/tiff_lzw.h"
#include "file/tiff_source.h"

namespace {

constexpr int err_write = 57;
constexpr int err_type = 58;
constexpr std::int64_t strip_target_bytes = 250000;
constexpr int thumbnail_side = 300;

void put16(std::uint8_t* p, unsigned v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
}

void put32(std::uint8_t* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

// One IFD being put together: entries in tag order, values of more than four
// bytes in a value area directly behind the IFD, unpadded.
class IfdBuilder {
public:
    void add(int tag, int type, std::uint32_t count, std::vector<std::uint8_t> value) {
        entries_.push_back({tag, type, count, std::move(value)});
    }
    void add_short(int tag, unsigned v) {
        std::vector<std::uint8_t> b(2);
        put16(b.data(), v);
        add(tag, tiff_short, 1, std::move(b));
    }
    void add_shorts(int tag, unsigned v, std::uint32_t count) {
        std::vector<std::uint8_t> b(2 * std::size_t{count});
        for (std::uint32_t i = 0; i < count; ++i)
            put16(b.data() + 2 * i, v);
        add(tag, tiff_short, count, std::move(b));
    }
    void add_long(int tag, std::uint32_t v) { add_longs(tag, v, 1); }
    void add_longs(int tag, std::uint32_t v, std::uint32_t count) {
        std::vector<std::uint8_t> b(4 * std::size_t{count});
        for (std::uint32_t i = 0; i < count; ++i)
            put32(b.data() + 4 * i, v);
        add(tag, tiff_long, count, std::move(b));
    }
    void add_rational(int tag, std::uint32_t num, std::uint32_t den) {
        std::vector<std::uint8_t> b(8);
        put32(b.data(), num);
        put32(b.data() + 4, den);
        add(tag, tiff_rational, 1, std::move(b));
    }
    bool has(int tag) const {
        return std::any_of(entries_.begin(), entries_.end(),
                           [tag](const Entry& e) { return e.tag == tag; });
    }

    std::size_t size() const {
        std::size_t n = 6 + 12 * entries_.size();
        for (const Entry& e : entries_)
            n += e.value.size() > 4 ? e.value.size() : 0;
        return n;
    }

    // The IFD's bytes when it stands at `offset` of the stream.
    std::vector<std::uint8_t> build(std::uint32_t offset) {
        std::stable_sort(entries_.begin(), entries_.end(),
                         [](const Entry& a, const Entry& b) { return a.tag < b.tag; });
        std::vector<std::uint8_t> out(size(), 0);
        put16(out.data(), static_cast<unsigned>(entries_.size()));
        std::size_t value_at = 6 + 12 * entries_.size();
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            Entry& e = entries_[i];
            std::uint8_t* p = out.data() + 2 + 12 * i;
            put16(p, static_cast<unsigned>(e.tag));
            put16(p + 2, static_cast<unsigned>(e.type));
            put32(p + 4, e.count);
            if (e.value.size() <= 4) {
                std::memcpy(p + 8, e.value.data(), e.value.size());
                e.position = offset + 2 + 12 * i + 8;
            } else {
                put32(p + 8, static_cast<std::uint32_t>(offset + value_at));
                std::memcpy(out.data() + value_at, e.value.data(), e.value.size());
                e.position = offset + value_at;
                value_at += e.value.size();
            }
        }
        // The link to a next IFD, zero, lies between the entries and the values.
        return out;
    }

    // Where the value of `tag` was placed by build().
    std::uint64_t position_of(int tag) const {
        for (const Entry& e : entries_) {
            if (e.tag == tag) return e.position;
        }
        return 0;
    }

private:
    struct Entry {
        int tag;
        int type;
        std::uint32_t count;
        std::vector<std::uint8_t> value;
        std::uint64_t position = 0;
    };
    std::vector<Entry> entries_;
};

class Output {
public:
    explicit Output(std::FILE* file) : file_(file) {}

    bool start() {
        const off_t at = ftello(file_);
        start_ = at;
        return at >= 0;
    }
    bool write(const void* data, std::size_t size) {
        if (size > 0 && std::fwrite(data, 1, size, file_) != size) return false;
        position_ += size;
        return true;
    }
    bool patch(std::uint64_t position, const std::vector<std::uint8_t>& bytes) {
        return fseeko(file_, start_ + static_cast<off_t>(position), SEEK_SET) == 0 &&
               std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size();
    }
    bool finish() {
        return fseeko(file_, start_ + static_cast<off_t>(position_), SEEK_SET) == 0 &&
               std::fflush(file_) == 0;
    }
    std::uint64_t position() const { return position_; }

private:
    std::FILE* file_;
    off_t start_ = 0;
    std::uint64_t position_ = 0;
};

bool writable_type(int type) {
    return type == image_type_binary || type == image_type_gray8 || type == image_type_colour8 ||
           type == image_type_gray16 || type == image_type_colour16;
}

// Lines of an Image in the file's form: top line first, red before blue,
// 16-bit samples little-endian, low bits masked, differenced when asked.
class LinePacker {
public:
    LinePacker(const Image* image, int mask_bits, bool difference)
        : image_(image),
          difference_(difference && image->type != image_type_binary),
          mask_(static_cast<std::uint16_t>(mask_bits > 0 ? ~((1u << std::min(mask_bits, 16)) - 1)
                                                         : 0xFFFFu)) {}

    std::size_t line_bytes() const { return static_cast<std::size_t>(image_line_bytes(image_)); }

    // Packs file line `y` (0 at the top) into `out`.
    void pack(int y, std::uint8_t* out) const {
        const std::uint8_t* in = image_->rows[image_->height - 1 - y];
        const int w = image_->width;
        switch (image_->type) {
            case image_type_colour8:
                for (int i = 0; i < w; ++i, in += 3, out += 3) {
                    out[0] = in[2];
                    out[1] = in[1];
                    out[2] = in[0];
                }
                if (difference_) difference8(out - 3 * w, 3 * w, 3);
                return;
            case image_type_colour16: {
                auto* o = reinterpret_cast<std::uint16_t*>(out);
                const auto* s = reinterpret_cast<const std::uint16_t*>(in);
                for (int i = 0; i < w; ++i) {
                    o[3 * i] = static_cast<std::uint16_t>(s[3 * i + 2] & mask_);
                    o[3 * i + 1] = static_cast<std::uint16_t>(s[3 * i + 1] & mask_);
                    o[3 * i + 2] = static_cast<std::uint16_t>(s[3 * i] & mask_);
                }
                if (difference_) difference16(o, 3 * w, 3);
                return;
            }
            case image_type_gray16: {
                auto* o = reinterpret_cast<std::uint16_t*>(out);
                const auto* s = reinterpret_cast<const std::uint16_t*>(in);
                for (int i = 0; i < w; ++i)
                    o[i] = static_cast<std::uint16_t>(s[i] & mask_);
                if (difference_) difference16(o, w, 1);
                return;
            }
            default:
                std::memcpy(out, in, line_bytes());
                if (difference_) difference8(out, w, 1);
                return;
        }
    }

private:
    // Right to left, so that each sample is taken from its unchanged neighbour.
    static void difference8(std::uint8_t* p, int n, int stride) {
        for (int i = n - 1; i >= stride; --i)
            p[i] = static_cast<std::uint8_t>(p[i] - p[i - stride]);
    }
    static void difference16(std::uint16_t* p, int n, int stride) {
        for (int i = n - 1; i >= stride; --i)
            p[i] = static_cast<std::uint16_t>(p[i] - p[i - stride]);
    }

    const Image* image_;
    bool difference_;
    std::uint16_t mask_;
};

// Deflate strips at zlib's default level: the same size class as zlib's,
// several times faster. The streams are standard zlib streams.
constexpr int deflate_level = 6;

// Compresses strips with the file's method into a buffer of its own. One per
// thread: nothing is shared while strips are compressed side by side.
class StripEncoder {
public:
    StripEncoder() = default;
    StripEncoder(const StripEncoder&) = delete;
    StripEncoder& operator=(const StripEncoder&) = delete;
    ~StripEncoder() {
        if (deflater_) libdeflate_free_compressor(deflater_);
    }

    // Ready for strips of up to `largest` bytes: 0 or 1 (memory).
    int init(int compression, std::size_t largest) {
        compression_ = compression;
        if (compression == tiff_compression_none) return 0;
        if (compression == tiff_compression_zip) {
            deflater_ = libdeflate_alloc_compressor(deflate_level);
            if (!deflater_) return err_memory;
            capacity_ = libdeflate_zlib_compress_bound(deflater_, largest);
        } else {
            capacity_ = 2 * largest + 16;
            if (int err = lzw_.init()) return err;
        }
        out_.reset(new (std::nothrow) std::uint8_t[capacity_]);
        return out_ ? 0 : err_memory;
    }

    // Encodes `size` bytes; the result is at data() for size() bytes.
    int encode(const std::uint8_t* in, std::size_t size) {
        if (compression_ == tiff_compression_none) {
            result_ = in;
            result_size_ = size;
            return 0;
        }
        result_ = out_.get();
        if (compression_ == tiff_compression_lzw)
            return lzw_.encode(in, size, out_.get(), capacity_, &result_size_);
        result_size_ = libdeflate_zlib_compress(deflater_, in, size, out_.get(), capacity_);
        return result_size_ == 0 ? err_write : 0;
    }

    const std::uint8_t* data() const { return result_; }
    std::size_t size() const { return result_size_; }

private:
    int compression_ = tiff_compression_none;
    std::size_t capacity_ = 0;
    std::unique_ptr<std::uint8_t[]> out_;
    libdeflate_compressor* deflater_ = nullptr;
    TiffLzwEncoder lzw_;
    const std::uint8_t* result_ = nullptr;
    std::size_t result_size_ = 0;
};

// What one thread needs to pack and compress a strip.
struct StripWorker {
    std::unique_ptr<std::uint8_t[]> scratch;
    StripEncoder encoder;
    int error = 0;

    int init(int compression, std::size_t largest) {
        scratch.reset(new (std::nothrow) std::uint8_t[largest]);
        if (!scratch) return err_memory;
        return encoder.init(compression, largest);
    }
};

void add_image_tags(IfdBuilder* ifd, const Image* image, int compression, bool reduced,
                    std::uint32_t strips, std::uint32_t rows_per_strip) {
    const bool colour = image->type == image_type_colour8 || image->type == image_type_colour16;
    const unsigned bits = image->type == image_type_binary ? 1
                          : image->type == image_type_gray16 || image->type == image_type_colour16
                              ? 16
                              : 8;
    ifd->add_long(254, reduced ? 1 : 0);
    ifd->add_short(255, reduced ? 2 : 1);
    ifd->add_long(256, static_cast<std::uint32_t>(image->width));
    ifd->add_long(257, static_cast<std::uint32_t>(image->height));
    ifd->add_shorts(258, bits, colour ? 3 : 1);
    ifd->add_short(259, compression == tiff_compression_zip   ? 8
                        : compression == tiff_compression_lzw ? 5
                                                              : 1);
    ifd->add_short(262, colour ? 2 : 1);
    ifd->add_short(266, 1);
    ifd->add_longs(273, 0, strips);
    ifd->add_short(274, 1);
    ifd->add_short(277, colour ? 3 : 1);
    ifd->add_long(278, rows_per_strip);
    ifd->add_longs(279, 0, strips);
    const double tenths = std::clamp(std::round(image->resolution * 10.0), 0.0, 4294967295.0);
    ifd->add_rational(282, static_cast<std::uint32_t>(tenths), 10);
    ifd->add_rational(283, static_cast<std::uint32_t>(tenths), 10);
    ifd->add_short(284, 1);
    ifd->add_short(296, 2);
    if (compression != tiff_compression_none && image->type != image_type_binary)
        ifd->add_short(317, 2);
}

std::vector<std::uint8_t> longs(const std::vector<std::uint32_t>& values) {
    std::vector<std::uint8_t> b(4 * values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        put32(b.data() + 4 * i, values[i]);
    return b;
}

int write_stream(std::FILE* file, const Image* image, std::span<const TiffField> fields,
                 std::size_t profile_size, const std::uint8_t* profile, int mask_bits,
                 int compression, bool thumbnail, const TiffLineFill* fill, bool progress) {
    if (!writable_type(image->type) || image->width <= 0 || image->height <= 0 || !image->rows)
        return err_type;
    if (compression < tiff_compression_none || compression > tiff_compression_lzw)
        compression = tiff_compression_none;
    Output out(file);
    if (!file || !out.start()) return err_write;

    const bool difference = compression != tiff_compression_none;
    const LinePacker packer(image, mask_bits, difference);
    const std::size_t line = packer.line_bytes();
    const std::uint32_t rows_per_strip =
        static_cast<std::uint32_t>(std::max<std::int64_t>(1, strip_target_bytes / line));
    const std::uint32_t height = static_cast<std::uint32_t>(image->height);
    const std::uint32_t strips = (height + rows_per_strip - 1) / rows_per_strip;
    const std::size_t strip_bytes = std::min(rows_per_strip, height) * line;

    ImageHolder reduced;
    std::size_t thumb_bytes = 0;
    if (thumbnail) {
        if (int err = tiff_reduce_for_thumbnail(image, reduced.get())) return err;
        thumb_bytes = static_cast<std::size_t>(image_data_bytes(reduced.get()));
    }
    const std::size_t largest = std::max(strip_bytes, thumb_bytes);
    // Strips are packed and compressed a batch at a time, one per worker, and
    // written in order: the file is the same whatever the thread count.
    const int batch = static_cast<int>(
        std::min<std::uint32_t>(static_cast<std::uint32_t>(parallel_threads()), strips));
    std::vector<StripWorker> workers(static_cast<std::size_t>(batch));
    for (StripWorker& worker : workers)
        if (int err = worker.init(compression, largest)) return err;

    IfdBuilder ifd0;
    add_image_tags(&ifd0, image, compression, false, strips, rows_per_strip);
    if (thumbnail) ifd0.add_long(330, 0);
    if (profile && profile_size > 0)
        ifd0.add(34675, tiff_undefined, static_cast<std::uint32_t>(profile_size),
                 std::vector<std::uint8_t>(profile, profile + profile_size));
    for (const TiffField& f : fields) {
        if (ifd0.has(f.tag) || tiff_type_size(f.type) == 0) continue;
        std::vector<std::uint8_t> value = f.value;
        if (f.type == tiff_ascii && (value.empty() || value.back() != 0)) value.push_back(0);
        const std::uint32_t count = static_cast<std::uint32_t>(
            value.size() / static_cast<std::size_t>(tiff_type_size(f.type)));
        ifd0.add(f.tag, f.type, count, std::move(value));
    }

    // Everything up to the main strips is laid out before anything is written.
    const std::uint32_t ifd0_at = 8;
    const std::uint32_t thumb_ifd_at = ifd0_at + static_cast<std::uint32_t>(ifd0.size());
    IfdBuilder thumb_ifd;
    std::vector<std::uint8_t> thumb_strip;
    if (thumbnail) {
        const LinePacker thumb_packer(reduced.get(), mask_bits, difference);
        const std::size_t thumb_line = thumb_packer.line_bytes();
        StripWorker& worker = workers[0];
        for (int y = 0; y < reduced->height; ++y)
            thumb_packer.pack(y, worker.scratch.get() + y * thumb_line);
        if (int err = worker.encoder.encode(worker.scratch.get(), thumb_bytes)) return err;
        thumb_strip.assign(worker.encoder.data(), worker.encoder.data() + worker.encoder.size());
        add_image_tags(&thumb_ifd, reduced.get(), compression, true, 1,
                       static_cast<std::uint32_t>(reduced->height));
    }
    // The IPTC block and the EXIF and GPS IFDs, which come from the comment
    // list, will stand between IFD0 and the thumbnail's IFD.
    std::vector<std::uint8_t> ifd0_bytes = ifd0.build(ifd0_at);
    std::vector<std::uint8_t> thumb_ifd_bytes;
    if (thumbnail) {
        put32(ifd0_bytes.data() + (ifd0.position_of(330) - ifd0_at), thumb_ifd_at);
        const std::uint32_t thumb_strip_at =
            thumb_ifd_at + static_cast<std::uint32_t>(thumb_ifd.size());
        thumb_ifd_bytes = thumb_ifd.build(thumb_ifd_at);
        put32(thumb_ifd_bytes.data() + (thumb_ifd.position_of(273) - thumb_ifd_at), thumb_strip_at);
        put32(thumb_ifd_bytes.data() + (thumb_ifd.position_of(279) - thumb_ifd_at),
              static_cast<std::uint32_t>(thumb_strip.size()));
    }

    std::uint8_t header[8] = {0x49, 0x49};
    put16(header + 2, 42);
    put32(header + 4, ifd0_at);
    if (!out.write(header, sizeof header) || !out.write(ifd0_bytes.data(), ifd0_bytes.size()) ||
        !out.write(thumb_ifd_bytes.data(), thumb_ifd_bytes.size()) ||
        !out.write(thumb_strip.data(), thumb_strip.size()))
        return err_write;

    std::unique_ptr<ProgressScope> scope;
    if (progress) {
        const auto pixels =
            static_cast<std::int32_t>(static_cast<std::uint32_t>(image->width) * height);
        scope = std::make_unique<ProgressScope>("File Save", pixels, 0, image->height, true);
    }
    std::vector<std::uint32_t> offsets(strips);
    std::vector<std::uint32_t> counts(strips);
    for (std::uint32_t start = 0; start < strips; start += static_cast<std::uint32_t>(batch)) {
        const int count = static_cast<int>(std::min<std::uint32_t>(batch, strips - start));
        if (fill) {
            const std::uint32_t first = start * rows_per_strip;
            const std::uint32_t end = std::min(height, (start + count) * rows_per_strip);
            if (int err = (*fill)(static_cast<int>(first), static_cast<int>(end - first)))
                return err;
        }
        parallel_for(count, [&](int k) {
            StripWorker& worker = workers[static_cast<std::size_t>(k)];
            const std::uint32_t first = (start + k) * rows_per_strip;
            const std::uint32_t rows = std::min(rows_per_strip, height - first);
            for (std::uint32_t r = 0; r < rows; ++r)
                packer.pack(static_cast<int>(first + r), worker.scratch.get() + r * line);
            worker.error = worker.encoder.encode(worker.scratch.get(), rows * line);
        });
        for (int k = 0; k < count; ++k) {
            const StripWorker& worker = workers[static_cast<std::size_t>(k)];
            if (worker.error) return worker.error;
            const StripEncoder& encoder = worker.encoder;
            if (out.position() + encoder.size() > 0xFFFFFFFFu) return err_write;
            offsets[start + k] = static_cast<std::uint32_t>(out.position());
            counts[start + k] = static_cast<std::uint32_t>(encoder.size());
            if (!out.write(encoder.data(), encoder.size())) return err_write;
            const std::uint32_t done = std::min(height, (start + k + 1) * rows_per_strip);
            if (scope)
                if (int err = scope->step(done)) return err;
        }
    }
    if (!out.patch(ifd0.position_of(273), longs(offsets)) ||
        !out.patch(ifd0.position_of(279), longs(counts)) || !out.finish())
        return err_write;
    return 0;
}

}  // namespace

int TiffWrite(std::FILE* file, const Image* image, std::span<const TiffField> fields,
              std::size_t profile_size, const std::uint8_t* profile, int mask_bits, int compression,
              bool thumbnail, bool progress) {
    return write_stream(file, image, fields, profile_size, profile, mask_bits, compression,
                        thumbnail, nullptr, progress);
}

int TiffWriteBands(std::FILE* file, const Image* image, std::span<const TiffField> fields,
                   std::size_t profile_size, const std::uint8_t* profile, int mask_bits,
                   int compression, const TiffLineFill& fill, bool progress) {
    return write_stream(file, image, fields, profile_size, profile, mask_bits, compression, false,
                        &fill, progress);
}

int tiff_reduce_for_thumbnail(const Image* image, Image* thumbnail) {
    if (!writable_type(image->type)) return err_type;
    const int w = image->width;
    const int h = image->height;
    int tw = w;
    int th = h;
    if (w > thumbnail_side || h > thumbnail_side) {
        const double scale = static_cast<double>(thumbnail_side) / std::max(w, h);
        tw = std::clamp(static_cast<int>(std::lround(w * scale)), 1, thumbnail_side);
        th = std::clamp(static_cast<int>(std::lround(h * scale)), 1, thumbnail_side);
    }
    if (int err = image_alloc(thumbnail, image->type, tw, th, image->resolution * tw / w))
        return err;
    const int channels =
        image->type == image_type_colour8 || image->type == image_type_colour16 ? 3 : 1;
    const bool wide = image->type == image_type_gray16 || image->type == image_type_colour16;
    std::vector<std::uint64_t> sums(static_cast<std::size_t>(channels));
    for (int ty = 0; ty < th; ++ty) {
        const int y0 = static_cast<int>(std::int64_t{ty} * h / th);
        const int y1 = std::max(y0 + 1, static_cast<int>(std::int64_t{ty + 1} * h / th));
        std::uint8_t* out = thumbnail->rows[ty];
        if (image->type == image_type_binary)
            std::memset(out, 0, static_cast<std::size_t>(thumbnail->row_bytes));
        for (int tx = 0; tx < tw; ++tx) {
            const int x0 = static_cast<int>(std::int64_t{tx} * w / tw);
            const int x1 = std::max(x0 + 1, static_cast<int>(std::int64_t{tx + 1} * w / tw));
            std::fill(sums.begin(), sums.end(), 0);
            for (int y = y0; y < y1; ++y) {
                const std::uint8_t* in = image->rows[y];
                for (int x = x0; x < x1; ++x) {
                    for (int c = 0; c < channels; ++c) {
                        const int i = x * channels + c;
                        if (image->type == image_type_binary)
                            sums[0] += image_bit_get(in, x) ? 1 : 0;
                        else if (wide)
                            sums[c] += reinterpret_cast<const std::uint16_t*>(in)[i];
                        else
                            sums[c] += in[i];
                    }
                }
            }
            const std::uint64_t n = static_cast<std::uint64_t>(y1 - y0) * (x1 - x0);
            for (int c = 0; c < channels; ++c) {
                const std::uint64_t v = (sums[c] + n / 2) / n;
                const int i = tx * channels + c;
                if (image->type == image_type_binary) {
                    if (2 * sums[0] >= n) image_bit_set(out, tx);
                } else if (wide) {
                    reinterpret_cast<std::uint16_t*>(out)[i] = static_cast<std::uint16_t>(v);
                } else {
                    out[i] = static_cast<std::uint8_t>(v);
                }
            }
        }
    }
    return 0;
}
