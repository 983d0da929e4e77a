#include "file/metadata.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>

#include <libdeflate.h>
#include <sys/types.h>

#include "file/file_types.h"
#include "file/read_image.h"
#include "file/tiff_source.h"

namespace {

// Numbers of a TIFF stream in its byte order.
unsigned load16(const std::uint8_t* p, bool big) {
    return big ? (p[0] << 8) | p[1] : p[0] | (p[1] << 8);
}
std::uint32_t load32(const std::uint8_t* p, bool big) {
    return big ? (std::uint32_t{p[0]} << 24) | (p[1] << 16) | (p[2] << 8) | p[3]
               : p[0] | (p[1] << 8) | (p[2] << 16) | (std::uint32_t{p[3]} << 24);
}

constexpr int err_read = 56;
constexpr int err_set_comments = 126;
// Longest value read from a file: nothing in the table comes near, and a
// damaged count must not ask for gigabytes.
constexpr std::uint64_t max_value_bytes = 16u << 20;
constexpr std::size_t max_iptc_value = 2000;
constexpr int max_ifd_entries = 2048;

__attribute__((format(printf, 1, 2))) std::string format(const char* fmt, ...) {
    char buffer[128];
    std::va_list args;
    va_start(args, fmt);
    const int n = std::vsnprintf(buffer, sizeof buffer, fmt, args);
    va_end(args);
    return std::string(buffer, static_cast<std::size_t>(std::clamp(n, 0, 127)));
}

std::string lower(std::string s) {
    for (char& c : s)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::string extension_of(const std::string& name) {
    const std::size_t dot = name.find_last_of("./\\");
    if (dot == std::string::npos || name[dot] != '.') return {};
    return lower(name.substr(dot + 1));
}

bool wanted(const int* filter, std::uint32_t code) {
    if (!filter) return true;
    for (; *filter != -1; ++filter)
        if (static_cast<std::uint32_t>(*filter) == code) return true;
    return false;
}

std::uint16_t host16(const Comment& c, std::size_t i) {
    std::uint16_t v;
    std::memcpy(&v, c.bytes.data() + 2 * i, 2);
    return v;
}
std::uint32_t host32(const Comment& c, std::size_t i) {
    std::uint32_t v;
    std::memcpy(&v, c.bytes.data() + 4 * i, 4);
    return v;
}

// ---- Formatting -----------------------------------------------------------

// A quotient in "%f", or the plain zero form for a zero denominator.
double quotient(const Comment& c, std::size_t i, bool is_signed) {
    const std::uint32_t n = host32(c, 2 * i);
    const std::uint32_t d = host32(c, 2 * i + 1);
    if (d == 0) return 0.0;
    if (is_signed)
        return static_cast<double>(static_cast<std::int32_t>(n)) / static_cast<std::int32_t>(d);
    return static_cast<double>(n) / d;
}

std::string trimmed_number(double v) {
    std::string s = format("%.6f", v);
    while (!s.empty() && s.back() == '0')
        s.pop_back();
    if (!s.empty() && s.back() == '.') s.pop_back();
    return s;
}

std::string flash_text(int v) {
    if (v % 2 == 0) return "No";
    static constexpr struct {
        int value;
        const char* text;
    } flashes[] = {
        {1, "Yes"},
        {5, "Yes (Strobe light not detected)"},
        {7, "Yes (Strobe light detected) "},
        {9, "Yes (manual)"},
        {13, "Yes (manual, return light not detected)"},
        {15, "Yes (manual, return light  detected)"},
        {25, "Yes (auto)"},
        {29, "Yes (auto, return light not detected)"},
        {31, "Yes (auto, return light detected)"},
        {65, "Yes (red eye reduction mode)"},
        {69, "Yes (red eye reduction mode return light not detected)"},
        {71, "Yes (red eye reduction mode return light  detected)"},
        {73, "Yes (manual, red eye reduction mode)"},
        {77, "Yes (manual, red eye reduction mode, return light not detected)"},
        {79, "Yes (red eye reduction mode, return light detected)"},
        {89, "Yes (auto, red eye reduction mode)"},
        {93, "Yes (auto, red eye reduction mode, return light not detected)"},
        {95, "Yes (auto, red eye reduction mode, return light detected)"},
    };
    for (const auto& f : flashes)
        if (f.value == v) return f.text;
    return format("Yes (%d)", v);
}

std::string metering_text(int v) {
    static constexpr const char* modes[] = {"",          "Average", "Center Weighted", "Spot",
                                            "MultiSpot", "Pattern", "Partial"};
    if (v >= 1 && v <= 6) return modes[v];
    if (v == 255) return "Umdefined";
    return format(" Mode %d", v);
}

std::string program_text(int v) {
    static constexpr const char* programs[] = {"",
                                               "Manual",
                                               "Program",
                                               "Aperture priority",
                                               "Shutter priority",
                                               "Creative (High DOF)",
                                               "Action (Fast Shutter)",
                                               "Portrait (Soft Bkgrd)",
                                               "Landscape (Sharp Bkgrd)"};
    if (v >= 1 && v <= 8) return programs[v];
    return format("Program %d", v);
}

std::string hex_text(const Comment& c) {
    std::string s;
    const std::size_t n = std::min<std::size_t>(c.bytes.size(), 40);
    for (std::size_t i = 0; i < n; ++i)
        s += format("%02X", c.bytes[i]);
    if (n < c.bytes.size()) s += "...";
    return s;
}

// ---- Reading --------------------------------------------------------------

// Bounded random access to a TIFF stream, in a file or in memory.
class Stream {
public:
    Stream(std::FILE* file, std::int64_t base, std::uint64_t size)
        : file_(file), base_(base), size_(size) {}
    explicit Stream(std::span<const std::uint8_t> bytes) : memory_(bytes), size_(bytes.size()) {}

    std::uint64_t size() const { return size_; }
    bool read(std::uint64_t at, std::size_t n, std::uint8_t* out) const {
        if (at > size_ || n > size_ - at) return false;
        if (!file_) {
            if (n > 0) std::memcpy(out, memory_.data() + at, n);
            return true;
        }
        return fseeko(file_, static_cast<off_t>(base_ + static_cast<std::int64_t>(at)), SEEK_SET) ==
                   0 &&
               std::fread(out, 1, n, file_) == n;
    }

private:
    std::FILE* file_ = nullptr;
    std::int64_t base_ = 0;
    std::span<const std::uint8_t> memory_;
    std::uint64_t size_ = 0;
};

struct Entry {
    int tag;
    int type;
    std::uint32_t count;
    std::vector<std::uint8_t> value;  // file order
};

class TiffComments {
public:
    TiffComments(const Stream& stream, CommentList* list, const int* filter, std::string extension)
        : s_(stream), list_(list), filter_(filter), extension_(std::move(extension)) {}

    int run() {
        std::uint8_t header[8];
        if (!s_.read(0, 8, header)) return err_read;
        if (header[0] == 'I' && header[1] == 'I')
            big_ = false;
        else if (header[0] == 'M' && header[1] == 'M')
            big_ = true;
        else
            return err_read;
        if (get16(header + 2) != 42) return err_read;
        std::vector<Entry> ifd0;
        if (!read_ifd(get32(header + 4), &ifd0)) return err_read;

        static constexpr int first_tags[] = {315, 316, 33432, 306, 270, 271, 272, 305, 269, 285};
        std::uint32_t exif_at = 0;
        std::uint32_t gps_at = 0;
        const Entry* iptc = nullptr;
        for (const int tag : first_tags)
            for (const Entry& e : ifd0)
                if (e.tag == tag) take(e, comment_class_ifd0);
        for (const Entry& e : ifd0) {
            if (e.tag == 34665 && e.count >= 1 && (e.type == tiff_long || e.type == 13))
                exif_at = get32(e.value.data());
            if (e.tag == 34853 && e.count >= 1 && (e.type == tiff_long || e.type == 13))
                gps_at = get32(e.value.data());
            if (e.tag == 33723) iptc = &e;
        }
        if (iptc) iptc_read(iptc->value, list_, filter_);

        std::vector<Entry> exif;
        if (exif_at == 0)
            exif = ifd0;
        else
            read_ifd(exif_at, &exif);
        for (const Entry& e : exif)
            take(e, comment_class_exif);
        if (gps_at != 0) {
            std::vector<Entry> gps;
            read_ifd(gps_at, &gps);
            for (const Entry& e : gps)
                take(e, comment_class_gps);
        }
        return 0;
    }

private:
    unsigned get16(const std::uint8_t* p) const { return load16(p, big_); }
    std::uint32_t get32(const std::uint8_t* p) const { return load32(p, big_); }

    // Reads the entries of the IFD at `at` with their values; entries whose
    // values lie outside the stream are left out. False when the IFD itself
    // cannot be read.
    bool read_ifd(std::uint32_t at, std::vector<Entry>* entries) {
        std::uint8_t b[12];
        if (!s_.read(at, 2, b)) return false;
        const int n = static_cast<int>(get16(b));
        if (n > max_ifd_entries) return false;
        for (int i = 0; i < n; ++i) {
            if (!s_.read(std::uint64_t{at} + 2 + 12 * static_cast<std::uint64_t>(i), 12, b))
                return false;
            Entry e{static_cast<int>(get16(b)), static_cast<int>(get16(b + 2)), get32(b + 4), {}};
            const int unit = tiff_type_size(e.type);
            if (unit == 0) continue;
            const std::uint64_t bytes = std::uint64_t{e.count} * static_cast<std::uint64_t>(unit);
            if (bytes == 0 || bytes > max_value_bytes || bytes > s_.size()) continue;
            try {
                e.value.resize(bytes);
            } catch (const std::bad_alloc&) {
                continue;
            }
            const bool inline_value = bytes <= 4;
            const std::uint64_t from =
                inline_value ? std::uint64_t{at} + 2 + 12 * i + 8 : get32(b + 8);
            if (inline_value)
                std::memcpy(e.value.data(), b + 8, bytes);
            else if (!s_.read(from, bytes, e.value.data()))
                continue;
            if (e.tag == 37500) note_at_ = static_cast<std::uint32_t>(from);
            entries->push_back(std::move(e));
        }
        return true;
    }

    // The entry as the comment of its table row in `classes`, when its type
    // fits the row's kind.
    void take(const Entry& e, std::uint32_t classes) {
        for (const CommentInfo& row : comment_table()) {
            if (!(row.classes & classes) || row.tag != e.tag) continue;
            if (classes != comment_class_gps && (row.classes & comment_class_gps)) continue;
            if (!wanted(filter_, row.code) || CommentFind(*list_, row.code)) return;
            std::vector<std::uint8_t> value;
            if (!convert(row, e, &value)) return;
            if (row.code == comment_code_maker_note && !add_trailer(&value)) return;
            (void)CommentAdd(list_, row.code, value.size(), value.data());
            return;
        }
    }

    bool convert(const CommentInfo& row, const Entry& e, std::vector<std::uint8_t>* out) const {
        const std::uint8_t* v = e.value.data();
        switch (row.kind) {
            case comment_text:
            case comment_long_text: {
                if (e.type != tiff_ascii) return false;
                const auto end = std::find(e.value.begin(), e.value.end(), 0);
                out->assign(e.value.begin(), end);
                return !out->empty();
            }
            case comment_integer: {
                if (e.type != tiff_short && e.type != tiff_long) return false;
                for (std::uint32_t i = 0; i < e.count; ++i) {
                    const std::uint32_t x =
                        e.type == tiff_short ? get16(v + 2 * i) : get32(v + 4 * i);
                    if (x > 0xFFFF) return false;
                    const auto h = static_cast<std::uint16_t>(x);
                    out->insert(out->end(), reinterpret_cast<const std::uint8_t*>(&h),
                                reinterpret_cast<const std::uint8_t*>(&h) + 2);
                }
                return e.count > 0;
            }
            case comment_rational:
            case comment_srational: {
                if (e.type != (row.kind == comment_rational ? tiff_rational : 10)) return false;
                for (std::uint32_t i = 0; i < 2 * e.count; ++i) {
                    const std::uint32_t h = get32(v + 4 * i);
                    out->insert(out->end(), reinterpret_cast<const std::uint8_t*>(&h),
                                reinterpret_cast<const std::uint8_t*>(&h) + 4);
                }
                return e.count > 0;
            }
            default:
                if (tiff_type_size(e.type) != 1) return false;
                out->assign(e.value.begin(), e.value.end());
                return !out->empty();
        }
    }

    bool add_trailer(std::vector<std::uint8_t>* note) const {
        if (note->size() <= 8) return false;
        if (note->size() >= maker_note_trailer_size &&
            std::memcmp(note->data() + note->size() - 8, maker_note_magic, 8) == 0)
            return true;
        std::uint8_t t[maker_note_trailer_size] = {};
        const std::uint32_t one = 1;
        const std::uint32_t at = note_at_;
        const std::uint32_t size = maker_note_trailer_size;
        std::memcpy(t, &one, 4);
        t[4] = big_ ? 0 : 1;
        std::memcpy(t + 8, &at, 4);
        std::memcpy(t + 12, extension_.data(), std::min<std::size_t>(extension_.size(), 7));
        std::memcpy(t + 20, &size, 4);
        std::memcpy(t + 24, maker_note_magic, 8);
        note->insert(note->end(), t, t + sizeof t);
        return true;
    }

    const Stream& s_;
    CommentList* list_;
    const int* filter_;
    std::string extension_;
    bool big_ = false;
    std::uint32_t note_at_ = 0;
};

std::uint64_t file_size(std::FILE* f) {
    if (fseeko(f, 0, SEEK_END) != 0) return 0;
    const off_t end = ftello(f);
    return end < 0 ? 0 : static_cast<std::uint64_t>(end);
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

bool has_byte_order_mark(std::FILE* f, long at) {
    std::uint8_t b[2];
    return std::fseek(f, at, SEEK_SET) == 0 && std::fread(b, 1, 2, f) == 2 &&
           ((b[0] == 'I' && b[1] == 'I') || (b[0] == 'M' && b[1] == 'M'));
}

int raw_read_comments(const char* name, CommentList* list, const int* filter) {
    const std::string ext = extension_of(name);
    static constexpr const char* tiff_like[] = {"nef", "cr2", "orf", "dcr", "k25", "kdc", "sr2",
                                                "srf", "pef", "raw", "nrw", "rw2", "srw", "dng"};
    if (std::find_if(std::begin(tiff_like), std::end(tiff_like),
                     [&](const char* e) { return ext == e; }) != std::end(tiff_like))
        return TiffReadComments(name, list, filter, 0);
    if (ext == "crw") {
        // The camera's thumbnail beside the raw holds its EXIF.
        std::string thm = name;
        thm.replace(thm.size() - 3, 3, "thm");
        if (!std::filesystem::exists(thm)) thm.replace(thm.size() - 3, 3, "THM");
        return std::filesystem::exists(thm) ? JpegReadComments(thm.c_str(), list, filter) : 0;
    }
    FilePtr f(std::fopen(name, "rb"));
    if (!f) return err_read;
    const auto at = [&](long first, long second) -> long {
        if (has_byte_order_mark(f.get(), first)) return first;
        if (has_byte_order_mark(f.get(), second)) return second;
        return -1;
    };
    long base = -1;
    if (ext == "raf") base = at(120, 160);
    if (ext == "mrw") base = at(48, 140);
    if (ext == "arw" || ext == "erf") base = has_byte_order_mark(f.get(), 0) ? 0 : -1;
    f.reset();
    return base < 0 ? 0 : TiffReadComments(name, list, filter, base);
}

void put16(std::vector<std::uint8_t>* out, unsigned v) {
    out->push_back(static_cast<std::uint8_t>(v));
    out->push_back(static_cast<std::uint8_t>(v >> 8));
}
void put32(std::vector<std::uint8_t>* out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out->push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}
void set32(std::uint8_t* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

// ---- Writing --------------------------------------------------------------

// The type a comment is written with, and its value in little-endian order.
bool tiff_value(const Comment& c, const CommentInfo& row, int* type, std::uint32_t* count,
                std::vector<std::uint8_t>* value) {
    value->clear();
    switch (row.kind) {
        case comment_text:
        case comment_long_text:
            *type = tiff_ascii;
            value->assign(c.bytes.begin(), c.bytes.end());
            if (value->empty() || value->back() != 0) value->push_back(0);
            *count = static_cast<std::uint32_t>(value->size());
            return true;
        case comment_integer:
            *type = tiff_short;
            *count = static_cast<std::uint32_t>(c.bytes.size() / 2);
            for (std::uint32_t i = 0; i < *count; ++i)
                put16(value, host16(c, i));
            return *count > 0;
        case comment_rational:
        case comment_srational:
            *type = row.kind == comment_rational ? tiff_rational : 10;
            *count = static_cast<std::uint32_t>(c.bytes.size() / 8);
            for (std::uint32_t i = 0; i < 2 * *count; ++i)
                put32(value, host32(c, i));
            return *count > 0;
        case comment_bytes:
            *type = tiff_byte;
            break;
        default:
            *type = (row.classes & comment_class_gps) ? tiff_byte : tiff_undefined;
            break;
    }
    value->assign(c.bytes.begin(), c.bytes.end());
    *count = static_cast<std::uint32_t>(value->size());
    return *count > 0;
}

// One IFD laid out in the order its entries were added, values behind the
// entries, each on an even offset.
class IfdWriter {
public:
    void add(const Comment& c, const CommentInfo& row) {
        Item item{row.tag, 0, 0, {}};
        if (tiff_value(c, row, &item.type, &item.count, &item.value))
            items_.push_back(std::move(item));
    }
    void add_raw(int tag, int type, std::uint32_t count, std::vector<std::uint8_t> value) {
        items_.push_back({tag, type, count, std::move(value)});
    }
    bool empty() const { return items_.empty(); }
    std::size_t size() const {
        std::size_t n = 6 + 12 * items_.size();
        for (const Item& i : items_)
            if (i.value.size() > 4) n += (i.value.size() + 1) & ~std::size_t{1};
        return n;
    }
    // Appends the IFD as it stands at `at` (even) of the stream; `positions`
    // receives where each tag's value was put.
    void build(std::uint32_t at, std::vector<std::uint8_t>* out) {
        const std::size_t start = out->size();
        put16(out, static_cast<unsigned>(items_.size()));
        std::uint32_t value_at = at + 6 + 12 * static_cast<std::uint32_t>(items_.size());
        std::vector<std::uint8_t> values;
        for (Item& i : items_) {
            put16(out, static_cast<unsigned>(i.tag));
            put16(out, static_cast<unsigned>(i.type));
            put32(out, i.count);
            if (i.value.size() <= 4) {
                i.position = at + static_cast<std::uint32_t>(out->size() - start);
                std::vector<std::uint8_t> v = i.value;
                v.resize(4, 0);
                out->insert(out->end(), v.begin(), v.end());
            } else {
                put32(out, value_at);
                i.position = value_at;
                values.insert(values.end(), i.value.begin(), i.value.end());
                if (values.size() % 2) values.push_back(0);
                value_at = at + 6 + 12 * static_cast<std::uint32_t>(items_.size()) +
                           static_cast<std::uint32_t>(values.size());
            }
        }
        put32(out, 0);
        out->insert(out->end(), values.begin(), values.end());
    }
    std::uint32_t position_of(int tag) const {
        for (const Item& i : items_)
            if (i.tag == tag) return i.position;
        return 0;
    }

private:
    struct Item {
        int tag;
        int type;
        std::uint32_t count;
        std::vector<std::uint8_t> value;
        std::uint32_t position = 0;
    };
    std::vector<Item> items_;
};

// The EXIF IFD's tags in the order they are written.
constexpr int exif_order[] = {33434, 33437, 34850, 34852, 34855, 34856, 36864, 36867, 36868, 37121,
                              37122, 37377, 37378, 37379, 37380, 37381, 37382, 37383, 37384, 37385,
                              37396, 37386, 37500, 37510, 37520, 37521, 37522, 40960, 40961, 40962,
                              40963, 40964, 41483, 41484, 41486, 41487, 41488, 41492, 41493, 41495,
                              41728, 41729, 41730, 41985, 41986, 41987, 41988, 41989, 41990, 41991,
                              41992, 41993, 41994, 41995, 41996, 42016};
// IFD0's text tags of the EXIF block, in order.
constexpr int ifd0_text_order[] = {269, 270, 271, 272, 285, 305, 306, 315, 316, 33432};

const Comment* find_tag(const CommentList& list, std::uint32_t classes, int tag,
                        const CommentInfo** row) {
    for (const CommentInfo& r : comment_table()) {
        if (r.tag != tag || !(r.classes & classes)) continue;
        if (classes == comment_class_exif && (r.classes & comment_class_gps)) continue;
        if (const Comment* c = CommentFind(list, r.code)) {
            *row = &r;
            return c;
        }
    }
    return nullptr;
}

void fill_sub_ifds(const CommentList& list, bool with_note, IfdWriter* exif, IfdWriter* gps) {
    const CommentInfo* row = nullptr;
    for (const int tag : exif_order) {
        if (tag == 37500 && !with_note) continue;
        if (const Comment* c = find_tag(list, comment_class_exif, tag, &row)) exif->add(*c, *row);
    }
    for (int tag = 0; tag <= 30; ++tag)
        if (const Comment* c = find_tag(list, comment_class_gps, tag, &row)) gps->add(*c, *row);
}

// Both sub-IFDs placed from `at`, EXIF first.
std::vector<std::uint8_t> build_sub_ifds(IfdWriter* exif, IfdWriter* gps, std::uint32_t at,
                                         std::uint32_t* exif_at, std::uint32_t* gps_at) {
    std::vector<std::uint8_t> out;
    *exif_at = *gps_at = 0;
    if (!exif->empty()) {
        *exif_at = at;
        exif->build(at, &out);
    }
    if (!gps->empty()) {
        *gps_at = at + static_cast<std::uint32_t>(out.size());
        gps->build(*gps_at, &out);
    }
    return out;
}

bool iptc_dataset(std::vector<std::uint8_t>* out, int dataset, std::string_view text) {
    if (text.empty() || text.size() > 32767) return false;
    out->insert(out->end(), {0x1C, 0x02, static_cast<std::uint8_t>(dataset),
                             static_cast<std::uint8_t>(text.size() >> 8),
                             static_cast<std::uint8_t>(text.size())});
    out->insert(out->end(), text.begin(), text.end());
    return true;
}

std::uint32_t read_le32(const std::uint8_t* p) {
    return p[0] | (p[1] << 8) | (p[2] << 16) | (std::uint32_t{p[3]} << 24);
}

// The entries of an IFD inside a maker note. Value offsets count from the
// start of the stream that held the note, which began `shift` bytes before
// the note; a shift of 0 means they count from the note itself.
class NoteIfd {
public:
    NoteIfd(std::span<const std::uint8_t> note, std::uint32_t at, bool big, std::uint32_t shift)
        : note_(note), at_(at), big_(big), shift_(shift) {}

    // Value `index` of a SHORT or LONG entry.
    bool value(int tag, std::uint32_t index, std::uint32_t* out) const {
        const std::uint8_t* v = nullptr;
        int type = 0;
        std::uint32_t count = 0;
        if (!find(tag, &type, &count, &v) || index >= count) return false;
        if (type == tiff_short || type == 8)
            *out = get16(v + 2 * index);
        else if (type == tiff_long || type == 9)
            *out = get32(v + 4 * index);
        else if (tiff_type_size(type) == 1)
            *out = v[index];
        else
            return false;
        return true;
    }
    std::string text(int tag) const {
        const std::uint8_t* v = nullptr;
        int type = 0;
        std::uint32_t count = 0;
        if (!find(tag, &type, &count, &v) || type != tiff_ascii) return {};
        std::string s(reinterpret_cast<const char*>(v), count);
        s.resize(std::strlen(s.c_str()));
        while (!s.empty() && s.back() == ' ')
            s.pop_back();
        return s;
    }
    bool rationals(int tag, double* out, std::uint32_t n) const {
        const std::uint8_t* v = nullptr;
        int type = 0;
        std::uint32_t count = 0;
        if (!find(tag, &type, &count, &v) || type != tiff_rational || count < n) return false;
        for (std::uint32_t i = 0; i < n; ++i) {
            const std::uint32_t d = get32(v + 8 * i + 4);
            out[i] = d ? static_cast<double>(get32(v + 8 * i)) / d : 0.0;
        }
        return true;
    }

private:
    unsigned get16(const std::uint8_t* p) const { return load16(p, big_); }
    std::uint32_t get32(const std::uint8_t* p) const { return load32(p, big_); }
    bool find(int tag, int* type, std::uint32_t* count, const std::uint8_t** value) const {
        if (at_ > note_.size() || note_.size() - at_ < 2) return false;
        const unsigned n = get16(note_.data() + at_);
        for (unsigned i = 0; i < n; ++i) {
            const std::uint64_t e = std::uint64_t{at_} + 2 + 12 * std::uint64_t{i};
            if (e + 12 > note_.size()) return false;
            const std::uint8_t* p = note_.data() + e;
            if (static_cast<int>(get16(p)) != tag) continue;
            *type = static_cast<int>(get16(p + 2));
            *count = get32(p + 4);
            const std::uint64_t bytes = std::uint64_t{*count} * tiff_type_size(*type);
            if (bytes == 0) return false;
            if (bytes <= 4) {
                *value = p + 8;
                return true;
            }
            const std::uint32_t off = get32(p + 8);
            if (off < shift_) return false;
            const std::uint64_t from = off - shift_;
            if (from > note_.size() || bytes > note_.size() - from) return false;
            *value = note_.data() + from;
            return true;
        }
        return false;
    }

    std::span<const std::uint8_t> note_;
    std::uint32_t at_;
    bool big_;
    std::uint32_t shift_;
};

// "%d mm" or "%d - %d mm", then the apertures when known.
std::string lens_text(int shortest, int longest, double wide_f, double long_f) {
    std::string s = shortest == longest || longest == 0 ? format("%d mm", shortest)
                                                        : format("%d - %d mm", shortest, longest);
    if (wide_f > 0 && (long_f == wide_f || long_f <= 0))
        s += format("; f/%.1f", wide_f);
    else if (wide_f > 0)
        s += format("; f/%.1f - f/%.1f", wide_f, long_f);
    return s;
}

// Other programs keep a PNG's EXIF as a zTXt "Raw profile type exif": deflated
// text of a name line, a length line and the bytes in hexadecimal, which
// start with "Exif" and two zero bytes.
bool raw_profile(std::span<const std::uint8_t> deflated, std::vector<std::uint8_t>* stream) {
    libdeflate_decompressor* d = libdeflate_alloc_decompressor();
    if (!d) return false;
    std::vector<char> text;
    std::size_t size = 0;
    libdeflate_result r = LIBDEFLATE_INSUFFICIENT_SPACE;
    for (std::size_t room = 4 * deflated.size() + 1024;
         r == LIBDEFLATE_INSUFFICIENT_SPACE && room <= 8 * max_value_bytes; room *= 4) {
        text.resize(room);
        r = libdeflate_zlib_decompress(d, deflated.data(), deflated.size(), text.data(), room,
                                       &size);
    }
    libdeflate_free_decompressor(d);
    if (r != LIBDEFLATE_SUCCESS) return false;
    std::size_t at = 0;
    for (int lines = 0; at < size && lines < 3; ++at)
        if (text[at] == '\n') ++lines;
    stream->clear();
    int high = -1;
    for (; at < size; ++at) {
        const char c = text[at];
        const int v = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
        if (v < 0) continue;
        if (high < 0) {
            high = v;
        } else {
            stream->push_back(static_cast<std::uint8_t>(high * 16 + v));
            high = -1;
        }
    }
    if (stream->size() > 6 && std::memcmp(stream->data(), "Exif\0\0", 6) == 0)
        stream->erase(stream->begin(), stream->begin() + 6);
    return !stream->empty();
}

}  // namespace

std::string CommentText(const Comment& c) {
    const CommentInfo* row = comment_info(c.code);
    if (!row) return {};
    switch (row->kind) {
        case comment_text:
        case comment_long_text:
            return std::string(c.text());
        case comment_integer: {
            const std::size_t n = c.bytes.size() / 2;
            if (n == 0) return {};
            const int v = host16(c, 0);
            if (c.code == 162 && v == 0) return {};
            if (c.code == 230) return v == 0 ? "Auto" : v == 1 ? "Manual" : format("WB %d", v);
            if (c.code == 32) return flash_text(v);
            if (c.code == 30) return metering_text(v);
            if (c.code == 160) return program_text(v);
            if (n == 1) return format("%d", v);
            if (n == 2) return format("%d, %d", v, host16(c, 1));
            return format("%d, %d, %d", v, host16(c, 1), host16(c, 2));
        }
        case comment_rational:
        case comment_srational: {
            const std::size_t n = c.bytes.size() / 8;
            if (n == 0) return {};
            const bool is_signed = row->kind == comment_srational;
            if (c.code == 170 && host32(c, 0) == 0) return {};
            if (c.code == 34) {
                const std::uint32_t num = host32(c, 0);
                const std::uint32_t den = host32(c, 1);
                if (num != 0 && den != 0 && num < den)
                    return format("1/%d", static_cast<int>(std::lround(double(den) / num)));
            }
            if ((c.code == 43 || c.code == 45 || c.code == 61 || c.code == 63) && n >= 2) {
                double degrees = quotient(c, 0, false) + quotient(c, 1, false) / 60.0;
                if (n >= 3) degrees += quotient(c, 2, false) / 3600.0;
                return trimmed_number(degrees);
            }
            if (n == 1) return format("%f", quotient(c, 0, is_signed));
            if (n == 2)
                return format("%f, %f", quotient(c, 0, is_signed), quotient(c, 1, is_signed));
            return format("%f, %f, %f", quotient(c, 0, is_signed), quotient(c, 1, is_signed),
                          quotient(c, 2, is_signed));
        }
        default:
            return hex_text(c);
    }
}

std::vector<std::string> comment_lines(const Comment& c) {
    const CommentInfo* row = comment_info(c.code);
    if (!row) return {};
    std::vector<std::string> lines;
    const std::string name = row->name;
    switch (row->kind) {
        case comment_text:
        case comment_long_text: {
            std::string_view rest = c.text();
            bool first = true;
            while (true) {
                const std::size_t cut = rest.find_first_of("\n\x01");
                std::string_view part = rest.substr(0, cut);
                if (!part.empty() && part.back() == '\r') part.remove_suffix(1);
                lines.push_back(first ? name + ": \"" + std::string(part) + "\""
                                      : "    \"" + std::string(part) + "\"");
                first = false;
                if (cut == std::string_view::npos) break;
                rest.remove_prefix(cut + 1);
            }
            return lines;
        }
        case comment_integer: {
            const std::size_t n = std::min<std::size_t>(c.bytes.size() / 2, 3);
            std::string s = name + ":";
            for (std::size_t i = 0; i < n; ++i)
                s += (i ? ", " : " ") + format("%d", host16(c, i));
            return {s};
        }
        case comment_rational:
        case comment_srational: {
            const std::size_t n = std::min<std::size_t>(c.bytes.size() / 8, 3);
            std::string s = name + ":";
            for (std::size_t i = 0; i < n; ++i)
                s +=
                    (i ? ", " : " ") + format("%f", quotient(c, i, row->kind == comment_srational));
            return {s};
        }
        default:
            return {name + ": ***"};
    }
}

int tiff_read_comments_memory(std::span<const std::uint8_t> stream, CommentList* list,
                              const int* filter, const std::string& extension) {
    const Stream s(stream);
    return TiffComments(s, list, filter, extension).run();
}

int TiffReadComments(const char* file_name, CommentList* list, const int* filter,
                     std::int64_t base) {
    FilePtr f(std::fopen(file_name, "rb"));
    if (!f) return err_read;
    const std::uint64_t size = file_size(f.get());
    if (base < 0 || static_cast<std::uint64_t>(base) > size) return err_read;
    const Stream s(f.get(), base, size - static_cast<std::uint64_t>(base));
    return TiffComments(s, list, filter, extension_of(file_name)).run();
}

void iptc_read(std::span<const std::uint8_t> block, CommentList* list, const int* filter) {
    std::size_t at = 0;
    while (block.size() - at >= 6) {
        const std::uint8_t* p = block.data() + at;
        if (p[0] != 0x1C || p[1] != 0x02) return;
        const int dataset = p[2];
        const std::size_t size = (std::size_t{p[3]} << 8) | p[4];
        at += 5;
        const std::size_t available = std::min(size, block.size() - at);
        const std::string_view value(reinterpret_cast<const char*>(block.data() + at),
                                     std::min(available, max_iptc_value));
        at += available;
        const CommentInfo* row = nullptr;
        for (const CommentInfo& r : comment_table())
            if ((r.classes & comment_class_iptc) && r.tag == dataset) row = &r;
        if (!row || !wanted(filter, row->code) || value.empty()) continue;
        if (row->kind != comment_text && row->kind != comment_long_text) {
            (void)CommentAdd(list, row->code, value.size(),
                             reinterpret_cast<const std::uint8_t*>(value.data()));
        } else if (row->repeatable && CommentFind(*list, row->code)) {
            std::string part(1, comment_iptc_separator);
            part += value;
            (void)CommentSetTextMode(list, row->code, part, 'a');
        } else if (!CommentFind(*list, row->code)) {
            (void)CommentSetText(list, row->code, value);
        }
    }
}

int JpegReadComments(const char* file_name, CommentList* list, const int* filter) {
    FilePtr f(std::fopen(file_name, "rb"));
    if (!f) return err_read;
    std::uint8_t b[4];
    if (std::fread(b, 1, 2, f.get()) != 2 || b[0] != 0xFF || b[1] != 0xD8) return err_read;
    bool exif_done = false;
    // At most a few hundred markers stand before the picture; more is damage.
    for (int markers = 0; markers < 1000; ++markers) {
        if (std::fread(b, 1, 4, f.get()) != 4 || b[0] != 0xFF) return 0;
        const int marker = b[1];
        if (marker == 0xDA || marker == 0xD9) return 0;
        const std::size_t length = (std::size_t{b[2]} << 8) | b[3];
        if (length < 2) return 0;
        const long data_at = std::ftell(f.get());
        std::vector<std::uint8_t> data(length - 2);
        if (std::fread(data.data(), 1, data.size(), f.get()) != data.size()) return 0;
        if (marker == 0xE1 && !exif_done && data.size() > 6 &&
            std::memcmp(data.data(), "Exif\0\0", 6) == 0) {
            exif_done = true;
            (void)data_at;
            (void)tiff_read_comments_memory(std::span(data).subspan(6), list, filter,
                                            extension_of(file_name));
        }
        static constexpr char photoshop[] = "Photoshop 3.0";
        if (marker == 0xED && data.size() > sizeof photoshop &&
            std::memcmp(data.data(), photoshop, sizeof photoshop) == 0) {
            // Image resource blocks: "8BIM", id, a padded Pascal name, a size
            // and padded data. 0x0404 holds the IPTC datasets.
            std::size_t at = sizeof photoshop;
            while (at + 12 <= data.size() && std::memcmp(data.data() + at, "8BIM", 4) == 0) {
                const unsigned id = (data[at + 4] << 8) | data[at + 5];
                std::size_t name = 1 + data[at + 6];
                name += name % 2;
                at += 6 + name;
                if (at + 4 > data.size()) break;
                const std::size_t size = (std::size_t{data[at]} << 24) | (data[at + 1] << 16) |
                                         (data[at + 2] << 8) | data[at + 3];
                at += 4;
                if (size > data.size() - at) break;
                if (id == 0x0404) iptc_read(std::span(data).subspan(at, size), list, filter);
                at += size + size % 2;
            }
        }
    }
    return 0;
}

int PngReadComments(const char* file_name, CommentList* list, const int* filter) {
    FilePtr f(std::fopen(file_name, "rb"));
    if (!f) return err_read;
    std::uint8_t b[8];
    static constexpr std::uint8_t signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (std::fread(b, 1, 8, f.get()) != 8 || std::memcmp(b, signature, 8) != 0) return err_read;
    // Chunks: a big-endian length, the type, the data and a CRC; the eXIf
    // chunk stands before the picture data.
    while (std::fread(b, 1, 8, f.get()) == 8) {
        const std::uint32_t length =
            (std::uint32_t{b[0]} << 24) | (b[1] << 16) | (b[2] << 8) | b[3];
        if (std::memcmp(b + 4, "IDAT", 4) == 0 || std::memcmp(b + 4, "IEND", 4) == 0) return 0;
        const bool exif = std::memcmp(b + 4, "eXIf", 4) == 0;
        const bool text = std::memcmp(b + 4, "zTXt", 4) == 0;
        if ((exif || text) && length <= max_value_bytes) {
            std::vector<std::uint8_t> data(length);
            if (std::fread(data.data(), 1, length, f.get()) != length) return 0;
            if (exif) return tiff_read_comments_memory(data, list, filter, extension_of(file_name));
            static constexpr char raw_exif[] = "Raw profile type exif";
            std::vector<std::uint8_t> stream;
            if (length > sizeof raw_exif &&
                std::memcmp(data.data(), raw_exif, sizeof raw_exif) == 0 &&
                raw_profile(std::span(data).subspan(sizeof raw_exif + 1), &stream))
                return tiff_read_comments_memory(stream, list, filter, extension_of(file_name));
            if (fseeko(f.get(), 4, SEEK_CUR) != 0) return 0;
            continue;
        }
        if (fseeko(f.get(), static_cast<off_t>(length) + 4, SEEK_CUR) != 0) return 0;
    }
    return 0;
}

int ReadComments(const char* file_name, int file_type, CommentList* list, const int* filter) {
    if (file_type == file_type_unknown) {
        FileSignature signature = FileSignature::other;
        if (file_signature(file_name, &signature) != 0) return 0;
        if (signature == FileSignature::tiff) file_type = file_type_tiff;
        if (signature == FileSignature::jpeg) file_type = file_type_jpeg;
        if (signature == FileSignature::png) file_type = file_type_png;
    }
    switch (file_type) {
        case file_type_tiff:
            return TiffReadComments(file_name, list, filter, 0);
        case file_type_jpeg:
            return JpegReadComments(file_name, list, filter);
        case file_type_png:
            return PngReadComments(file_name, list, filter);
        case file_type_raw:
            return raw_read_comments(file_name, list, filter);
        default:
            return 0;
    }
}

std::vector<std::uint8_t> iptc_block(const CommentList& list) {
    std::vector<std::uint8_t> out;
    for (const Comment& c : list.items) {
        const CommentInfo* row = comment_info(c.code);
        if (!row || !(row->classes & comment_class_iptc) || c.code == comment_code_iptc_version)
            continue;
        if (out.empty()) out = {0x1C, 0x02, 0x00, 0x00, 0x02, 0x00, 0x02};
        if (!row->repeatable) {
            iptc_dataset(&out, row->tag, c.text());
            continue;
        }
        std::string_view rest = c.text();
        while (true) {
            const std::size_t cut = rest.find(comment_iptc_separator);
            iptc_dataset(&out, row->tag, rest.substr(0, cut));
            if (cut == std::string_view::npos) break;
            rest.remove_prefix(cut + 1);
        }
    }
    return out;
}

std::vector<TiffField> tiff_comment_fields(const CommentList& list) {
    std::vector<TiffField> fields;
    bool exif = false;
    bool gps = false;
    for (const Comment& c : list.items) {
        const CommentInfo* row = comment_info(c.code);
        if (!row || row->tag < 0) continue;
        if (row->classes & comment_class_ifd0) {
            TiffField f;
            std::uint32_t count = 0;
            f.tag = row->tag;
            if (tiff_value(c, *row, &f.type, &count, &f.value)) fields.push_back(std::move(f));
        }
        exif = exif || (row->classes & comment_class_exif) != 0;
        gps = gps || (row->classes & comment_class_gps) != 0;
    }
    if (std::vector<std::uint8_t> iptc = iptc_block(list); !iptc.empty())
        fields.push_back({33723, tiff_byte, std::move(iptc)});
    if (exif) fields.push_back({34665, tiff_long, {0, 0, 0, 0}});
    if (gps) fields.push_back({34853, tiff_long, {0, 0, 0, 0}});
    return fields;
}

std::vector<std::uint8_t> tiff_comment_ifds(const CommentList& list, std::uint32_t at,
                                            std::uint32_t* exif_at, std::uint32_t* gps_at) {
    IfdWriter exif;
    IfdWriter gps;
    fill_sub_ifds(list, true, &exif, &gps);
    return build_sub_ifds(&exif, &gps, at, exif_at, gps_at);
}

int TiffWriteExifBlock(const CommentList& list, std::vector<std::uint8_t>* block,
                       std::size_t limit) {
    block->clear();
    IfdWriter ifd0;
    IfdWriter exif;
    IfdWriter gps;
    const CommentInfo* row = nullptr;
    for (const int tag : ifd0_text_order)
        if (const Comment* c = find_tag(list, comment_class_ifd0, tag, &row)) ifd0.add(*c, *row);
    fill_sub_ifds(list, false, &exif, &gps);
    if (!exif.empty()) ifd0.add_raw(34665, tiff_long, 1, {0, 0, 0, 0});
    if (!gps.empty()) ifd0.add_raw(34853, tiff_long, 1, {0, 0, 0, 0});
    if (ifd0.empty()) return 0;

    std::vector<std::uint8_t> out = {'I', 'I', 42, 0, 8, 0, 0, 0};
    ifd0.build(8, &out);
    std::uint32_t exif_at = 0;
    std::uint32_t gps_at = 0;
    const std::vector<std::uint8_t> sub =
        build_sub_ifds(&exif, &gps, static_cast<std::uint32_t>(out.size()), &exif_at, &gps_at);
    out.insert(out.end(), sub.begin(), sub.end());
    if (exif_at) set32(out.data() + ifd0.position_of(34665), exif_at);
    if (gps_at) set32(out.data() + ifd0.position_of(34853), gps_at);
    if (out.size() > limit) return err_set_comments;
    *block = std::move(out);
    return 0;
}

std::vector<std::uint8_t> jpeg_app13_body(std::span<const std::uint8_t> iptc) {
    if (iptc.empty()) return {};
    static constexpr char photoshop[] = "Photoshop 3.0";
    std::vector<std::uint8_t> out(photoshop, photoshop + sizeof photoshop);
    out.insert(out.end(), {'8', 'B', 'I', 'M', 0x04, 0x04, 0, 0});
    const auto n = static_cast<std::uint32_t>(iptc.size());
    out.insert(out.end(), {static_cast<std::uint8_t>(n >> 24), static_cast<std::uint8_t>(n >> 16),
                           static_cast<std::uint8_t>(n >> 8), static_cast<std::uint8_t>(n)});
    out.insert(out.end(), iptc.begin(), iptc.end());
    if (n % 2) out.push_back(0);
    return out;
}

int jpeg_app1_body(const CommentList& list, std::vector<std::uint8_t>* body) {
    std::vector<std::uint8_t> stream;
    // A marker holds 65,533 bytes of body; six of them say "Exif".
    if (int err = TiffWriteExifBlock(list, &stream, 65527)) return err;
    body->clear();
    if (stream.empty()) return 0;
    *body = {'E', 'x', 'i', 'f', 0, 0};
    body->insert(body->end(), stream.begin(), stream.end());
    return 0;
}

void MakerNoteInfo(std::span<const std::uint8_t> note, const std::string& make,
                   const std::string& model, MakerNoteFacts* facts) {
    *facts = {};
    if (note.size() < maker_note_trailer_size ||
        std::memcmp(note.data() + note.size() - 8, maker_note_magic, 8) != 0)
        return;
    const std::uint8_t* trailer = note.data() + note.size() - maker_note_trailer_size;
    const bool file_big = trailer[4] != 1;
    const std::uint32_t note_at = read_le32(trailer + 8);
    char ext_bytes[8] = {};
    std::memcpy(ext_bytes, trailer + 12, 7);
    const std::string ext = lower(ext_bytes);
    const std::span<const std::uint8_t> body = note.first(note.size() - maker_note_trailer_size);
    const std::string low_make = lower(make);
    const std::string low_model = lower(model);
    const bool jpeg_or_tiff =
        ext == "jpg" || ext == "jpeg" || ext == "jpe" || ext == "tif" || ext == "tiff";
    const auto begins = [](const std::string& s, const char* with) {
        return s.rfind(with, 0) == 0;
    };
    const auto starts = [&](const char* with) {
        const std::size_t n = std::strlen(with);
        return body.size() >= n && std::memcmp(body.data(), with, n) == 0;
    };

    if (ext == "cr2" || ext == "thm" || (jpeg_or_tiff && begins(low_make, "canon"))) {
        const NoteIfd ifd(body, 0, file_big, note_at);
        static constexpr const char* balances[] = {
            "Auto",  "Sunny",  "Cloudy",        "Tungsten", "Flourescent",
            "Flash", "Custom", "Black & White", "Shade",    "Manual Temperature"};
        std::uint32_t wb = 0;
        if (ifd.value(4, 7, &wb) && wb < std::size(balances)) facts->white_balance = balances[wb];
        std::uint32_t longest = 0, shortest = 0, units = 0;
        if (ifd.value(1, 23, &longest) && ifd.value(1, 24, &shortest) && ifd.value(1, 25, &units)) {
            if (units == 0) units = 1;
            facts->lens = lens_text(shortest / units, longest / units, 0, 0);
        }
        return;
    }
    if (starts("FUJIFILM")) {
        if (body.size() < 12) return;
        const NoteIfd ifd(body, read_le32(body.data() + 8), false, 0);
        static constexpr struct {
            unsigned value;
            const char* text;
        } balances[] = {{0, "Auto"},
                        {256, "Daylight"},
                        {512, "Cloudy"},
                        {768, "Daylight-color Fluorescent"},
                        {769, "DayWhite-color Fluorescent"},
                        {770, "White Fluorescent"},
                        {1024, "Incandescent"},
                        {3840, "Custom"}};
        std::uint32_t wb = 0;
        if (ifd.value(4098, 0, &wb))
            for (const auto& b : balances)
                if (b.value == wb) facts->white_balance = b.text;
        return;
    }
    if (ext == "pef" ||
        (jpeg_or_tiff && (begins(low_make, "pentax") || begins(low_model, "pentax")))) {
        static constexpr const char* balances[] = {"Auto",     "Daylight",    "Shade",
                                                   "Tungsten", "Fluorescent", "Manual"};
        const bool aoc = starts("AOC");
        const bool big = aoc && body.size() > 5 ? body[4] == 'M' : file_big;
        const NoteIfd ifd(body, aoc ? 6 : 0, big, note_at);
        std::uint32_t wb = 0;
        if (ifd.value(aoc ? 25 : 7, 0, &wb) && wb < std::size(balances))
            facts->white_balance = balances[wb];
        return;
    }
    if (ext == "nef" ||
        (jpeg_or_tiff && (begins(low_make, "nikon") || begins(low_model, "nikon")))) {
        if (lower(std::string(reinterpret_cast<const char*>(body.data()),
                              std::min<std::size_t>(body.size(), 5))) == "nikon") {
            // The second form: a TIFF header of its own at offset 10.
            if (body.size() < 18) return;
            const std::span<const std::uint8_t> inner = body.subspan(10);
            const bool big = inner[0] == 'M';
            const std::uint32_t first = big ? (std::uint32_t{inner[4]} << 24) | (inner[5] << 16) |
                                                  (inner[6] << 8) | inner[7]
                                            : read_le32(inner.data() + 4);
            const NoteIfd ifd(inner, first, big, 0);
            std::uint32_t iso = 0;
            if (ifd.value(2, 1, &iso)) facts->iso = format("%u", iso);
            facts->white_balance = ifd.text(5);
            double r[4];
            if (ifd.rationals(132, r, 4))
                facts->lens = lens_text(static_cast<int>(r[0]), static_cast<int>(r[1]), r[2], r[3]);
            return;
        }
        static constexpr const char* balances[] = {
            "Auto", "Preset", "Daylight", "Incandescent", "Florescent", "Cloudy", "Speedlight"};
        const NoteIfd ifd(body, 8, file_big, note_at);
        std::uint32_t wb = 0;
        if (ifd.value(7, 0, &wb) && wb < std::size(balances)) facts->white_balance = balances[wb];
    }
}
