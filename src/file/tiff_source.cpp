#include "file/tiff_source.h"

#include <cmath>
#include <cstring>
#include <limits>

#include <sys/types.h>

namespace {

constexpr int type_sizes[14] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};

// Real to integer by truncation, held within the 32-bit range so that no
// stored number can make the conversion undefined.
std::int32_t truncate_to_int(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return std::numeric_limits<std::int32_t>::max();
    if (v <= -2147483648.0) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(v);
}

}  // namespace

int tiff_type_size(int type) {
    return type >= 0 && type < 14 ? type_sizes[type] : 0;
}

int tiff_source_file(TiffSource* source, std::FILE* file, std::int64_t base) {
    *source = TiffSource{};
    source->file = file;
    if (!file) return err_tiff_read;
    const off_t here = ftello(file);
    if (here < 0 || fseeko(file, 0, SEEK_END) != 0) return err_tiff_read;
    const off_t end = ftello(file);
    if (end < 0) return err_tiff_read;
    source->size = static_cast<std::uint64_t>(end);
    source->base = base < 0 ? here : base;
    if (fseeko(file, here, SEEK_SET) != 0) return err_tiff_read;
    return 0;
}

bool tiff_in_range(const TiffSource& source, std::uint64_t offset, std::uint64_t size) {
    const std::uint64_t base = static_cast<std::uint64_t>(source.base);
    return base <= source.size && offset <= source.size - base &&
           size <= source.size - base - offset;
}

int tiff_read(const TiffSource& source, std::uint64_t offset, void* out, std::size_t size) {
    if (!tiff_in_range(source, offset, size)) return err_tiff_read;
    const std::uint64_t at = static_cast<std::uint64_t>(source.base) + offset;
    if (source.memory) {
        if (size > 0) std::memcpy(out, source.memory + at, size);
        return 0;
    }
    if (!source.file || fseeko(source.file, static_cast<off_t>(at), SEEK_SET) != 0)
        return err_tiff_read;
    if (size > 0 && std::fread(out, 1, size, source.file) != size) return err_tiff_read;
    return 0;
}

std::uint16_t tiff_get16(const TiffSource& source, const std::uint8_t* p) {
    return source.big_endian ? static_cast<std::uint16_t>(p[0] << 8 | p[1])
                             : static_cast<std::uint16_t>(p[1] << 8 | p[0]);
}

std::uint32_t tiff_get32(const TiffSource& source, const std::uint8_t* p) {
    if (source.big_endian) {
        return static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1]) << 16 |
               static_cast<std::uint32_t>(p[2]) << 8 | p[3];
    }
    return static_cast<std::uint32_t>(p[3]) << 24 | static_cast<std::uint32_t>(p[2]) << 16 |
           static_cast<std::uint32_t>(p[1]) << 8 | p[0];
}

int tiff_read_header(TiffSource* source, std::uint32_t* first_ifd) {
    std::uint8_t header[8];
    if (int err = tiff_read(*source, 0, header, sizeof header)) return err;
    if (header[0] != header[1] || (header[0] != 0x49 && header[0] != 0x4D)) return err_tiff_read;
    source->big_endian = header[0] == 0x4D;
    *first_ifd = tiff_get32(*source, header + 4);
    return 0;
}

int tiff_decode_entry(const TiffSource& source, const std::uint8_t* raw, TiffEntry* entry) {
    std::memcpy(entry->raw, raw, 12);
    entry->tag = tiff_get16(source, raw);
    entry->type = tiff_get16(source, raw + 2);
    entry->count = tiff_get32(source, raw + 4);
    entry->offset = tiff_get32(source, raw + 8);
    const std::uint8_t* v = raw + 8;
    switch (entry->type) {
        case tiff_byte:
        case tiff_ascii:
        case tiff_sbyte:
        case tiff_undefined:
            entry->value = static_cast<std::int8_t>(v[0]);
            entry->real = entry->value;
            break;
        case tiff_short:
            entry->value = tiff_get16(source, v);
            entry->real = entry->value;
            break;
        case tiff_sshort:
            entry->value = static_cast<std::int16_t>(tiff_get16(source, v));
            entry->real = entry->value;
            break;
        case tiff_long:
        case tiff_slong:
        case tiff_ifd:
            entry->value = static_cast<std::int32_t>(entry->offset);
            entry->real = entry->value;
            break;
        case tiff_rational:
        case tiff_srational: {
            entry->value = 0;
            entry->real = 0.0;
            if (entry->count == 0) break;
            std::uint8_t pair[8];
            if (int err = tiff_read(source, entry->offset, pair, sizeof pair)) return err;
            const std::uint32_t num = tiff_get32(source, pair);
            std::uint32_t den = tiff_get32(source, pair + 4);
            if (entry->type == tiff_rational) {
                if (den == 0) den = 1;
                entry->value = static_cast<std::int32_t>(num / den);
                entry->real = static_cast<double>(num) / den;
            } else {
                const std::int64_t n = static_cast<std::int32_t>(num);
                std::int64_t d = static_cast<std::int32_t>(den);
                if (d == 0) d = 1;
                entry->value = static_cast<std::int32_t>(n / d);
                entry->real = static_cast<double>(n) / static_cast<double>(d);
            }
            break;
        }
        case tiff_float: {
            const std::uint32_t bits = tiff_get32(source, v);
            float f;
            std::memcpy(&f, &bits, sizeof f);
            entry->real = f;
            entry->value = truncate_to_int(f);
            break;
        }
        case tiff_double: {
            entry->value = 0;
            entry->real = 0.0;
            if (entry->count == 0) break;
            std::uint8_t bytes[8];
            if (int err = tiff_read(source, entry->offset, bytes, sizeof bytes)) return err;
            const std::uint64_t hi = tiff_get32(source, source.big_endian ? bytes : bytes + 4);
            const std::uint64_t lo = tiff_get32(source, source.big_endian ? bytes + 4 : bytes);
            const std::uint64_t bits = hi << 32 | lo;
            double d;
            std::memcpy(&d, &bits, sizeof d);
            entry->real = d;
            entry->value = truncate_to_int(d);
            break;
        }
        default:
            entry->value = tiff_bad_value;
            entry->real = tiff_bad_value;
            break;
    }
    return 0;
}

int tiff_read_ifd(const TiffSource& source, std::uint32_t offset, std::vector<TiffEntry>* entries,
                  std::uint32_t* next_ifd) {
    entries->clear();
    std::uint8_t count_bytes[2];
    if (int err = tiff_read(source, offset, count_bytes, 2)) return err;
    const int count = tiff_get16(source, count_bytes);
    std::vector<std::uint8_t> block(static_cast<std::size_t>(count) * 12 + 4);
    const std::size_t wanted = next_ifd ? block.size() : block.size() - 4;
    if (int err = tiff_read(source, std::uint64_t{offset} + 2, block.data(), wanted)) return err;
    entries->resize(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        if (int err = tiff_decode_entry(source, block.data() + 12 * i, &(*entries)[i])) return err;
    }
    if (next_ifd) *next_ifd = tiff_get32(source, block.data() + 12 * count);
    return 0;
}

const TiffEntry* tiff_find(const std::vector<TiffEntry>& entries, int tag) {
    for (const TiffEntry& e : entries) {
        if (e.tag == tag) return &e;
    }
    return nullptr;
}

std::uint64_t tiff_value_bytes(const TiffEntry& entry) {
    return std::uint64_t{entry.count} * static_cast<std::uint64_t>(tiff_type_size(entry.type));
}

int tiff_read_values(const TiffSource& source, const TiffEntry& entry,
                     std::vector<std::uint32_t>* values) {
    values->clear();
    int width = 4;
    if (entry.type == tiff_short || entry.type == tiff_sshort)
        width = 2;
    else if (entry.type == tiff_byte || entry.type == tiff_sbyte || entry.type == tiff_undefined)
        width = 1;
    const std::uint64_t bytes = std::uint64_t{entry.count} * static_cast<std::uint64_t>(width);
    std::vector<std::uint8_t> data;
    const std::uint8_t* p = entry.raw + 8;
    if (bytes > 4) {
        if (!tiff_in_range(source, entry.offset, bytes)) return err_tiff_read;
        data.resize(bytes);
        if (int err = tiff_read(source, entry.offset, data.data(), data.size())) return err;
        p = data.data();
    }
    values->resize(entry.count);
    for (std::uint32_t i = 0; i < entry.count; ++i) {
        const std::uint8_t* q = p + std::size_t{i} * static_cast<std::size_t>(width);
        (*values)[i] = width == 1 ? *q : width == 2 ? tiff_get16(source, q) : tiff_get32(source, q);
    }
    return 0;
}

void TiffOpenMemory(TiffSource* source, const std::uint8_t* block, std::size_t size,
                    std::int64_t base, bool big_endian) {
    *source = TiffSource{};
    source->memory = block;
    source->size = block ? size : 0;
    source->base = base;
    source->big_endian = big_endian;
}

int TiffFindTag(const TiffSource& source, std::uint32_t ifd_offset, int tag, TiffEntry* entry,
                bool* found) {
    *found = false;
    std::vector<TiffEntry> entries;
    if (int err = tiff_read_ifd(source, ifd_offset, &entries)) return err;
    if (const TiffEntry* e = tiff_find(entries, tag)) {
        *entry = *e;
        *found = true;
    }
    return 0;
}

int TiffReadByteOrShortAt(const TiffSource& source, const TiffEntry& entry, std::uint32_t index,
                          int* value) {
    *value = 0;
    const int size = tiff_type_size(entry.type);
    if (index >= entry.count || (size != 1 && size != 2) || entry.type == tiff_ascii)
        return err_tiff_read;
    std::uint8_t bytes[2] = {};
    const std::uint64_t at = std::uint64_t{index} * static_cast<std::uint64_t>(size);
    if (tiff_value_bytes(entry) <= 4) {
        std::memcpy(bytes, entry.raw + 8 + at, static_cast<std::size_t>(size));
    } else if (int err = tiff_read(source, std::uint64_t{entry.offset} + at, bytes,
                                   static_cast<std::size_t>(size))) {
        return err;
    }
    switch (entry.type) {
        case tiff_sbyte:
            *value = static_cast<std::int8_t>(bytes[0]);
            break;
        case tiff_short:
            *value = tiff_get16(source, bytes);
            break;
        case tiff_sshort:
            *value = static_cast<std::int16_t>(tiff_get16(source, bytes));
            break;
        default:
            *value = bytes[0];
            break;
    }
    return 0;
}

int TiffReadRationalAt(const TiffSource& source, const TiffEntry& entry, std::uint32_t index,
                       double* value) {
    *value = 0.0;
    if (index >= entry.count || (entry.type != tiff_rational && entry.type != tiff_srational))
        return err_tiff_read;
    std::uint8_t pair[8];
    if (int err = tiff_read(source, std::uint64_t{entry.offset} + std::uint64_t{index} * 8, pair,
                            sizeof pair))
        return err;
    const std::uint32_t num = tiff_get32(source, pair);
    const std::uint32_t den = tiff_get32(source, pair + 4);
    if (entry.type == tiff_rational) {
        *value = static_cast<double>(num) / (den == 0 ? 1u : den);
    } else {
        const std::int32_t d = static_cast<std::int32_t>(den);
        *value = static_cast<double>(static_cast<std::int32_t>(num)) / (d == 0 ? 1 : d);
    }
    return 0;
}

int TiffFindString(const TiffSource& source, std::uint32_t ifd_offset, int tag, std::string* text,
                   bool* found) {
    text->clear();
    TiffEntry entry;
    if (int err = TiffFindTag(source, ifd_offset, tag, &entry, found)) return err;
    if (!*found) return 0;
    const std::uint64_t bytes = entry.count;
    if (bytes <= 4) {
        text->assign(reinterpret_cast<const char*>(entry.raw + 8), bytes);
    } else {
        if (!tiff_in_range(source, entry.offset, bytes)) return err_tiff_read;
        text->resize(bytes);
        if (int err = tiff_read(source, entry.offset, text->data(), bytes)) return err;
    }
    const std::size_t zero = text->find('\0');
    if (zero != std::string::npos) text->resize(zero);
    return 0;
}
