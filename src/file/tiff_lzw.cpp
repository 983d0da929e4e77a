#include "file/tiff_lzw.h"

#include <array>
#include <cstring>
#include <new>

namespace {

constexpr int code_clear = 256;
constexpr int code_end = 257;
constexpr int code_first = 258;
constexpr int table_size = 4097;

// Every code of 9 to 12 bits lies within the three bytes starting at the byte
// that holds its first bit. For width w and bit position p in that byte, the
// code is (three bytes >> (24 - w - p)) & mask, and the next code starts
// (w + p) / 8 bytes further on, at position (w + p) % 8.
struct CodeStep {
    std::uint8_t shift;
    std::uint8_t advance;
    std::uint8_t next_bit;
};

constexpr std::array<std::array<CodeStep, 8>, 13> make_steps() {
    std::array<std::array<CodeStep, 8>, 13> steps{};
    for (int w = 9; w <= 12; ++w) {
        for (int p = 0; p < 8; ++p) {
            steps[w][p] = {static_cast<std::uint8_t>(24 - w - p),
                           static_cast<std::uint8_t>((w + p) / 8),
                           static_cast<std::uint8_t>((w + p) % 8)};
        }
    }
    return steps;
}

constexpr auto code_steps = make_steps();

// One string of the table: the string of `prefix` followed by `last`.
struct Entry {
    std::uint32_t length;
    std::uint16_t prefix;
    std::uint8_t first;
    std::uint8_t last;
};
static_assert(sizeof(Entry) == 8);

// The width grows once the next free code passes 2^w - 2 (TIFF's early change);
// at 12 bits the table is full beyond 4095.
constexpr int grow_threshold(int width) {
    return width == 12 ? 4095 : (1 << width) - 2;
}

class CodeReader {
public:
    CodeReader(const std::uint8_t* in, std::size_t size)
        : pos_(in), end_(in + size), bits_left_(static_cast<std::uint64_t>(size) * 8) {}

    // False when fewer than `width` bits remain.
    bool read(int width, int* code) {
        if (bits_left_ < static_cast<std::uint64_t>(width)) return false;
        std::uint32_t three;
        if (end_ - pos_ >= 3) {
            three = static_cast<std::uint32_t>(pos_[0]) << 16 |
                    static_cast<std::uint32_t>(pos_[1]) << 8 | pos_[2];
        } else {
            three = static_cast<std::uint32_t>(pos_[0]) << 16;
            if (end_ - pos_ >= 2) three |= static_cast<std::uint32_t>(pos_[1]) << 8;
        }
        const CodeStep& step = code_steps[width][bit_];
        *code = static_cast<int>((three >> step.shift) & ((1u << width) - 1));
        pos_ += step.advance;
        bit_ = step.next_bit;
        bits_left_ -= static_cast<std::uint64_t>(width);
        return true;
    }

private:
    const std::uint8_t* pos_;
    const std::uint8_t* end_;
    std::uint64_t bits_left_;
    int bit_ = 0;
};

}  // namespace

int tiff_lzw_decode(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out,
                    std::size_t out_size) {
    constexpr int err_lzw = 156;
    std::array<Entry, table_size> table;
    for (int i = 0; i < 256; ++i) {
        table[i] = {1, 0, static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i)};
    }
    CodeReader reader(in, in_size);
    int code = 0;
    if (!reader.read(9, &code) || code != code_clear) return err_lzw;

    std::uint8_t* op = out;
    std::uint8_t* const out_end = out + out_size;
    int width = 9;
    int next_free = code_first;
    int previous = -1;
    while (op < out_end) {
        if (!reader.read(width, &code) || code == code_end) break;
        if (code == code_clear || previous < 0) {
            // After a clear the next code is a single byte. Repeated clears are
            // taken as one.
            width = 9;
            next_free = code_first;
            while (code == code_clear) {
                if (!reader.read(width, &code)) return 0;
            }
            if (code == code_end) break;
            if (code > 255) return err_lzw;
            *op++ = static_cast<std::uint8_t>(code);
            previous = code;
            continue;
        }
        if (next_free >= table_size || code > next_free) return err_lzw;
        const Entry& prev = table[previous];
        table[next_free] = {prev.length + 1, static_cast<std::uint16_t>(previous), prev.first,
                            code < next_free ? table[code].first : prev.first};
        ++next_free;
        if (next_free > grow_threshold(width)) {
            if (width == 12) return err_lzw;
            ++width;
        }
        previous = code;

        if (code < 256) {
            *op++ = static_cast<std::uint8_t>(code);
            continue;
        }
        // Written back to front along the prefix chain. A string longer than the
        // space left loses its tail, and decoding ends with a full output.
        const Entry* entry = &table[code];
        const std::size_t room = static_cast<std::size_t>(out_end - op);
        std::size_t length = entry->length;
        int link = code;
        if (length > room) {
            for (std::size_t skip = length - room; skip > 0; --skip)
                link = table[link].prefix;
            length = room;
        }
        std::uint8_t* p = op + length;
        while (p > op) {
            *--p = table[link].last;
            link = table[link].prefix;
        }
        op += length;
    }
    return 0;
}

int TiffLzwEncoder::init() {
    if (table_) return 0;
    table_.reset(new (std::nothrow) std::uint16_t[4096 * 256]);
    if (!table_) return 1;
    std::memset(table_.get(), 0xFF, 4096 * 256 * sizeof(std::uint16_t));
    used_.reserve(4096);
    return 0;
}

void TiffLzwEncoder::clear() {
    for (std::uint32_t slot : used_)
        table_[slot] = 0xFFFF;
    used_.clear();
}

int TiffLzwEncoder::encode(const std::uint8_t* in, std::size_t size, std::uint8_t* out,
                           std::size_t capacity, std::size_t* written) {
    constexpr int err_write = 57;
    *written = 0;
    if (!table_ || size == 0) return err_write;
    clear();

    std::size_t pos = 0;
    std::uint64_t acc = 0;  // pending bits, right-aligned
    int pending = 0;
    bool full = false;
    auto put = [&](int code, int width) {
        if (pos + 4 > capacity) {
            full = true;
            return;
        }
        acc = acc << width | static_cast<std::uint64_t>(code);
        pending += width;
        while (pending >= 8) {
            pending -= 8;
            out[pos++] = static_cast<std::uint8_t>(acc >> pending);
        }
    };

    int width = 9;
    int next_free = code_first;
    put(code_clear, width);
    int current = in[0];
    for (std::size_t i = 1; i < size; ++i) {
        const std::uint32_t slot = static_cast<std::uint32_t>(current) << 8 | in[i];
        const std::uint16_t found = table_[slot];
        if (found != 0xFFFF) {
            current = found;
            continue;
        }
        put(current, width);
        if (full) return err_write;
        table_[slot] = static_cast<std::uint16_t>(next_free);
        used_.push_back(slot);
        ++next_free;
        if (next_free == 512 || next_free == 1024 || next_free == 2048) {
            ++width;
        } else if (next_free == 4096) {
            put(code_clear, 12);
            clear();
            width = 9;
            next_free = code_first;
        }
        current = in[i];
    }
    put(current, width);
    // A decoder adds one more string on reading that last code, and may widen
    // before the end code; write the end code at the width it will expect.
    if (width < 12 && next_free + 1 >= (1 << width)) ++width;
    put(code_end, width);
    if (full) return err_write;
    if (pending > 0) out[pos++] = static_cast<std::uint8_t>(acc << (8 - pending));
    *written = pos;
    return 0;
}
