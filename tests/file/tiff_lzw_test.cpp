#include "file/tiff_lzw.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int err_lzw = 156;

// Writes codes most significant bit first, with the width a TIFF decoder
// expects: 9 bits after a clear, one more once the next free entry passes
// 2^width - 2.
class CodeWriter {
public:
    void clear() {
        put(256);
        width_ = 9;
        next_free_ = 258;
        after_clear_ = true;
    }
    // A data code: after the first one following a clear, each adds an entry.
    void data(int code) {
        put(code);
        if (after_clear_) {
            after_clear_ = false;
            return;
        }
        ++next_free_;
        if (next_free_ >= (1 << width_) - 1 && width_ < 12) ++width_;
    }
    void put(int code) { put_bits(code, width_); }
    void put_bits(int code, int width) {
        for (int b = width - 1; b >= 0; --b) {
            if (bit_ % 8 == 0) bytes_.push_back(0);
            if (code >> b & 1)
                bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | (0x80 >> (bit_ % 8)));
            ++bit_;
        }
    }
    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
    std::size_t bit_ = 0;
    int width_ = 9;
    int next_free_ = 258;
    bool after_clear_ = true;
};

std::vector<std::uint8_t> encode(TiffLzwEncoder& encoder, const std::vector<std::uint8_t>& in) {
    std::vector<std::uint8_t> out(2 * in.size() + 16);
    std::size_t written = 0;
    EXPECT_EQ(encoder.encode(in.data(), in.size(), out.data(), out.size(), &written), 0);
    out.resize(written);
    return out;
}

// Inputs of every kind of compressibility: noise, runs, and few-symbol text.
std::vector<std::uint8_t> sample_input(std::size_t size, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<std::uint8_t> v(size);
    const int mode = static_cast<int>(seed % 3);
    for (std::size_t i = 0; i < size; ++i) {
        if (mode == 0)
            v[i] = static_cast<std::uint8_t>(rng());
        else if (mode == 1)
            v[i] = static_cast<std::uint8_t>((i / 37) & 0xFF);
        else
            v[i] = static_cast<std::uint8_t>('a' + rng() % 4);
    }
    return v;
}

TEST(TiffLzw, RoundTripStopsAtTheEndCodeForEveryLength) {
    // Every prefix of one sequence: one more byte either extends the last
    // string or adds one table entry, so the prefixes end at every table size,
    // including each width change and the clear at 4096. Decoding into a larger
    // buffer must stop at the end code, which checks that the end code was
    // written at the width the decoder expects there.
    TiffLzwEncoder encoder;
    ASSERT_EQ(encoder.init(), 0);
    for (unsigned seed : {0u, 2u}) {
        const std::vector<std::uint8_t> sequence = sample_input(seed == 0 ? 4300 : 2500, seed);
        for (std::size_t size = 1; size <= sequence.size(); ++size) {
            const std::vector<std::uint8_t> in(sequence.begin(), sequence.begin() + size);
            const std::vector<std::uint8_t> packed = encode(encoder, in);
            std::vector<std::uint8_t> out(size + 64, 0xA5);
            ASSERT_EQ(tiff_lzw_decode(packed.data(), packed.size(), out.data(), out.size()), 0);
            ASSERT_TRUE(std::equal(in.begin(), in.end(), out.begin())) << size;
            for (std::size_t i = size; i < out.size(); ++i)
                ASSERT_EQ(out[i], 0xA5) << "size " << size << " wrote past the data at " << i;
        }
    }
}

TEST(TiffLzw, LongStripsCrossManyTableClears) {
    TiffLzwEncoder encoder;
    ASSERT_EQ(encoder.init(), 0);
    for (unsigned seed : {30u, 31u, 32u}) {
        const std::vector<std::uint8_t> in = sample_input(300000, seed);
        const std::vector<std::uint8_t> packed = encode(encoder, in);
        std::vector<std::uint8_t> out(in.size());
        ASSERT_EQ(tiff_lzw_decode(packed.data(), packed.size(), out.data(), out.size()), 0);
        EXPECT_EQ(in, out) << seed;
    }
    // Noise does not compress: the output stays below 1.5 times the input.
    const std::vector<std::uint8_t> noise = sample_input(300000, 30);
    EXPECT_LT(encode(encoder, noise).size(), noise.size() * 3 / 2);
    // Runs of 37 bytes do, to about a third.
    EXPECT_LT(encode(encoder, sample_input(300000, 31)).size(), 300000u / 3);
}

TEST(TiffLzw, OutputIsCutOffNotOverrun) {
    TiffLzwEncoder encoder;
    ASSERT_EQ(encoder.init(), 0);
    const std::vector<std::uint8_t> in = sample_input(5000, 2);
    const std::vector<std::uint8_t> packed = encode(encoder, in);
    for (std::size_t room : {0u, 1u, 2u, 100u, 4999u}) {
        std::vector<std::uint8_t> out(room);
        ASSERT_EQ(tiff_lzw_decode(packed.data(), packed.size(), out.data(), out.size()), 0);
        EXPECT_TRUE(std::equal(out.begin(), out.end(), in.begin())) << room;
    }
}

TEST(TiffLzw, EncoderRefusesAFullBuffer) {
    TiffLzwEncoder encoder;
    ASSERT_EQ(encoder.init(), 0);
    const std::vector<std::uint8_t> in = sample_input(1000, 0);
    std::vector<std::uint8_t> out(200);
    std::size_t written = 0;
    EXPECT_EQ(encoder.encode(in.data(), in.size(), out.data(), out.size(), &written), 57);
    // The same encoder is still good for the next strip: clear, three bytes and
    // the end code at 9 bits are 45 bits.
    EXPECT_EQ(encode(encoder, {1, 2, 3}).size(), 6u);
}

// Codes written by hand: 256 is a clear, 257 the end code, any other a data
// code that adds a table entry.
struct Stream {
    std::vector<int> codes;
    std::string expected;  // the first bytes out, when it decodes
    int error;
};

TEST(TiffLzw, HandWrittenStreams) {
    const Stream streams[] = {
        // "a", then code 258 before it exists in the table: the string "a" + "a".
        {{256, 'a', 258, 'b', 257}, std::string("aaab\0", 5), 0},
        // No end code: the stream simply runs out.
        {{256, 'x', 'y'}, std::string("xy\0", 3), 0},
        // A clear in the middle starts the table again: 258 is "pq", then "rr".
        {{256, 'p', 'q', 258, 256, 'r', 258, 257}, "pqpqrrr", 0},
        {{}, "", err_lzw},
        {{'a', 257}, "", err_lzw},       // no clear code first
        {{256, 'a', 259}, "", err_lzw},  // a code two beyond the next free entry
        {{256, 300}, "", err_lzw},       // a string code straight after a clear
    };
    for (const Stream& s : streams) {
        CodeWriter w;
        for (int code : s.codes) {
            if (code == 256)
                w.clear();
            else if (code == 257)
                w.put(257);
            else
                w.data(code);
        }
        std::vector<std::uint8_t> out(16, 0);
        ASSERT_EQ(tiff_lzw_decode(w.bytes().data(), w.bytes().size(), out.data(), out.size()),
                  s.error)
            << s.expected;
        EXPECT_EQ(std::string(out.begin(), out.begin() + static_cast<long>(s.expected.size())),
                  s.error ? std::string(s.expected.size(), '\0') : s.expected);
    }
    // Never clearing: the table overflows 4096 entries.
    CodeWriter w;
    w.clear();
    for (int i = 0; i < 4000; ++i)
        w.data('a' + i % 3);
    std::vector<std::uint8_t> out(100000);
    EXPECT_EQ(tiff_lzw_decode(w.bytes().data(), w.bytes().size(), out.data(), out.size()), err_lzw);
}

}  // namespace
