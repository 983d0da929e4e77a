#include "file/tiff_lzw.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace {

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

// Nine-bit codes packed most significant bit first, as every strip starts.
std::vector<std::uint8_t> nine_bit_codes(std::initializer_list<int> codes) {
    std::vector<std::uint8_t> bytes((codes.size() * 9 + 7) / 8, 0);
    int bit = 0;
    for (int code : codes)
        for (int b = 8; b >= 0; --b, ++bit)
            if (code >> b & 1) bytes[bit / 8] = static_cast<std::uint8_t>(bytes[bit / 8] | (0x80 >> (bit % 8)));
    return bytes;
}

// A damaged strip must never reach past the table: after a clear and one
// byte, 258 is the entry being made (valid), 259 does not exist yet.
TEST(TiffLzw, RefusesCodesNotYetInTheTable) {
    std::vector<std::uint8_t> out(16, 0);
    const auto made = nine_bit_codes({256, 'a', 258, 257});
    EXPECT_EQ(tiff_lzw_decode(made.data(), made.size(), out.data(), out.size()), 0);
    EXPECT_EQ(std::string(out.begin(), out.begin() + 3), "aaa");
    for (const auto& codes : {nine_bit_codes({256, 'a', 259}), nine_bit_codes({'a', 257}),
                              nine_bit_codes({256, 300})})
        EXPECT_EQ(tiff_lzw_decode(codes.data(), codes.size(), out.data(), out.size()), 156);
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

}  // namespace
