#include "file/tiff_source.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Bytes in a chosen byte order.
class Bytes {
public:
    explicit Bytes(bool big_endian) : big_(big_endian) {}
    Bytes& u8(unsigned v) {
        b_.push_back(static_cast<std::uint8_t>(v));
        return *this;
    }
    Bytes& u16(unsigned v) { return big_ ? u8(v >> 8).u8(v) : u8(v).u8(v >> 8); }
    Bytes& u32(std::uint32_t v) {
        return big_ ? u16(v >> 16).u16(v & 0xFFFF) : u16(v & 0xFFFF).u16(v >> 16);
    }
    Bytes& f32(float f) {
        std::uint32_t v;
        std::memcpy(&v, &f, 4);
        return u32(v);
    }
    Bytes& f64(double d) {
        std::uint64_t v;
        std::memcpy(&v, &d, 8);
        return big_ ? u32(static_cast<std::uint32_t>(v >> 32)).u32(static_cast<std::uint32_t>(v))
                    : u32(static_cast<std::uint32_t>(v)).u32(static_cast<std::uint32_t>(v >> 32));
    }
    Bytes& text(const std::string& s) {
        b_.insert(b_.end(), s.begin(), s.end());
        return *this;
    }
    Bytes& entry(unsigned tag, unsigned type, std::uint32_t count) {
        return u16(tag).u16(type).u32(count);
    }
    std::size_t size() const { return b_.size(); }
    const std::vector<std::uint8_t>& data() const { return b_; }

private:
    bool big_;
    std::vector<std::uint8_t> b_;
};

struct Decoded {
    std::int32_t value;
    double real;
};

// Decodes one entry whose out-of-line data, when it has any, lies at offset 12.
Decoded decode(bool big, const Bytes& entry_and_data, int* err = nullptr) {
    TiffSource source;
    TiffOpenMemory(&source, entry_and_data.data().data(), entry_and_data.size(), 0, big);
    TiffEntry e;
    const int result = tiff_decode_entry(source, entry_and_data.data().data(), &e);
    if (err) *err = result;
    return {e.value, e.real};
}

class TiffEntryDecoding : public ::testing::TestWithParam<bool> {};

TEST_P(TiffEntryDecoding, EveryType) {
    const bool big = GetParam();
    auto b = [&] { return Bytes(big); };

    // Bytes are taken as signed, whatever the type says.
    Decoded d = decode(big, b().entry(1, 1, 1).u8(200).u8(0).u16(0));
    EXPECT_EQ(d.value, -56);
    EXPECT_EQ(decode(big, b().entry(1, 2, 4).text(std::string("Ab\0\0", 4))).value, 'A');
    EXPECT_EQ(decode(big, b().entry(1, 6, 1).u8(0x7F).u8(0).u16(0)).value, 127);
    EXPECT_EQ(decode(big, b().entry(1, 7, 1).u8(0x80).u8(0).u16(0)).value, -128);

    d = decode(big, b().entry(1, 3, 1).u16(0xFFFE).u16(0));
    EXPECT_EQ(d.value, 65534);
    EXPECT_EQ(d.real, 65534.0);
    d = decode(big, b().entry(1, 8, 1).u16(0xFFFE).u16(0));
    EXPECT_EQ(d.value, -2);
    EXPECT_EQ(d.real, -2.0);

    for (unsigned type : {4u, 9u, 13u}) {
        d = decode(big, b().entry(1, type, 1).u32(0xFFFFFFFF));
        EXPECT_EQ(d.value, -1) << type;
        EXPECT_EQ(d.real, -1.0) << type;
        EXPECT_EQ(decode(big, b().entry(1, type, 1).u32(123456789)).value, 123456789);
    }

    d = decode(big, b().entry(1, 5, 1).u32(12).u32(7).u32(2));
    EXPECT_EQ(d.value, 3);
    EXPECT_DOUBLE_EQ(d.real, 3.5);
    d = decode(big, b().entry(1, 5, 1).u32(12).u32(3000000000u).u32(1000000000u));
    EXPECT_EQ(d.value, 3);
    EXPECT_DOUBLE_EQ(d.real, 3.0);  // unsigned numerator
    d = decode(big, b().entry(1, 5, 1).u32(12).u32(5).u32(0));
    EXPECT_EQ(d.value, 5);  // a zero denominator counts as 1
    EXPECT_EQ(d.real, 5.0);
    d = decode(big, b().entry(1, 10, 1).u32(12).u32(static_cast<std::uint32_t>(-7)).u32(2));
    EXPECT_EQ(d.value, -3);
    EXPECT_DOUBLE_EQ(d.real, -3.5);
    d = decode(big, b().entry(1, 10, 1).u32(12).u32(0x80000000u).u32(0xFFFFFFFFu));
    EXPECT_DOUBLE_EQ(d.real, 2147483648.0);  // no overflow for the most negative over -1

    d = decode(big, b().entry(1, 11, 1).f32(-2.75f));
    EXPECT_EQ(d.value, -2);
    EXPECT_DOUBLE_EQ(d.real, -2.75);
    d = decode(big, b().entry(1, 12, 1).u32(12).f64(12345.9));
    EXPECT_EQ(d.value, 12345);
    EXPECT_DOUBLE_EQ(d.real, 12345.9);
    d = decode(big, b().entry(1, 12, 1).u32(12).f64(1e300));
    EXPECT_EQ(d.value, 2147483647);  // held within the integer's range

    for (unsigned type : {0u, 14u, 999u}) {
        d = decode(big, b().entry(1, type, 1).u32(5));
        EXPECT_EQ(d.value, 0x2BAD2BAD) << type;
        EXPECT_EQ(d.real, static_cast<double>(0x2BAD2BAD)) << type;
    }

    // Out-of-line values beyond the data are a read error.
    int err = 0;
    decode(big, b().entry(1, 5, 1).u32(13).u32(1).u32(1), &err);
    EXPECT_EQ(err, 56);
    decode(big, b().entry(1, 12, 1).u32(0xFFFFFFF0u), &err);
    EXPECT_EQ(err, 56);
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, TiffEntryDecoding, ::testing::Values(false, true),
                         [](const auto& order) { return order.param ? "Motorola" : "Intel"; });

TEST(TiffSource, HeaderNeedsTwoEqualOrderBytes) {
    const std::vector<std::vector<std::uint8_t>> good = {
        {'I', 'I', 42, 0, 8, 0, 0, 0},
        {'M', 'M', 0, 42, 0, 0, 0, 8},
        {'I', 'I', 43, 0, 8, 0, 0, 0},  // the version is not looked at
    };
    for (const auto& h : good) {
        TiffSource s;
        TiffOpenMemory(&s, h.data(), h.size(), 0, false);
        std::uint32_t ifd = 0;
        EXPECT_EQ(tiff_read_header(&s, &ifd), 0);
        EXPECT_EQ(ifd, 8u);
        EXPECT_EQ(s.big_endian, h[0] == 'M');
    }
    for (const auto& h : std::vector<std::vector<std::uint8_t>>{{'I', 'X', 42, 0, 8, 0, 0, 0},
                                                                {'M', 'I', 0, 42, 0, 0, 0, 8},
                                                                {'J', 'J', 42, 0, 8, 0, 0, 0},
                                                                {'I', 'I', 42, 0, 8, 0, 0}}) {
        TiffSource s;
        TiffOpenMemory(&s, h.data(), h.size(), 0, false);
        std::uint32_t ifd = 0;
        EXPECT_EQ(tiff_read_header(&s, &ifd), 56);
    }
}

// A maker note: a few bytes of its own, then an IFD at offset 4 with byte,
// short, rational and text entries, values behind it.
std::vector<std::uint8_t> maker_note(bool big) {
    Bytes b(big);
    b.text(std::string("Nik\0", 4));
    b.u16(5);                                  // IFD at 4: 5 entries
    b.entry(1, 3, 4).u32(4 + 2 + 5 * 12 + 4);  // 4 shorts at 70
    b.entry(2, 3, 2).u16(640).u16(480);        // two shorts in the entry
    b.entry(5, 2, 6).u32(78);                  // "Sunny" + zero at 78
    b.entry(7, 1, 3).u8(9).u8(8).u8(7).u8(0);  // bytes in the entry
    b.entry(132, 5, 2).u32(84);                // two rationals at 84
    b.u32(0);                                  // no next IFD
    b.u16(10).u16(20).u16(30).u16(40);         // 70
    b.text(std::string("Sunny\0", 6));         // 78
    b.u32(180).u32(10).u32(7).u32(0);          // 84: 18 and 7/0
    return b.data();
}

TEST(TiffMemorySource, MakerNoteReads) {
    for (bool big : {false, true}) {
        SCOPED_TRACE(big ? "big-endian" : "little-endian");
        const std::vector<std::uint8_t> note = maker_note(big);
        // The note lies 3 bytes into a bigger block; offsets are from the base.
        std::vector<std::uint8_t> block = {0xEE, 0xEE, 0xEE};
        block.insert(block.end(), note.begin(), note.end());
        TiffSource s;
        TiffOpenMemory(&s, block.data(), block.size(), 3, big);

        TiffEntry e;
        bool found = false;
        ASSERT_EQ(TiffFindTag(s, 4, 1, &e, &found), 0);
        ASSERT_TRUE(found);
        int v = 0;
        for (std::uint32_t i = 0; i < 4; ++i) {
            ASSERT_EQ(TiffReadByteOrShortAt(s, e, i, &v), 0);
            EXPECT_EQ(v, 10 * static_cast<int>(i + 1));
        }
        EXPECT_EQ(TiffReadByteOrShortAt(s, e, 4, &v), 56);  // beyond the count

        ASSERT_EQ(TiffFindTag(s, 4, 2, &e, &found), 0);
        ASSERT_EQ(TiffReadByteOrShortAt(s, e, 1, &v), 0);
        EXPECT_EQ(v, 480);

        ASSERT_EQ(TiffFindTag(s, 4, 132, &e, &found), 0);
        double r = 0;
        ASSERT_EQ(TiffReadRationalAt(s, e, 0, &r), 0);
        EXPECT_DOUBLE_EQ(r, 18.0);
        ASSERT_EQ(TiffReadRationalAt(s, e, 1, &r), 0);
        EXPECT_DOUBLE_EQ(r, 7.0);
        EXPECT_EQ(TiffReadRationalAt(s, e, 2, &r), 56);

        std::string text;
        ASSERT_EQ(TiffFindString(s, 4, 5, &text, &found), 0);
        EXPECT_TRUE(found);
        EXPECT_EQ(text, "Sunny");
        ASSERT_EQ(TiffFindString(s, 4, 6, &text, &found), 0);
        EXPECT_FALSE(found);
        EXPECT_TRUE(text.empty());
        ASSERT_EQ(TiffFindTag(s, 4, 99, &e, &found), 0);
        EXPECT_FALSE(found);

        // Whole IFDs, their values widened from the entry or from their offset.
        std::vector<TiffEntry> entries;
        std::uint32_t next = 1;
        ASSERT_EQ(tiff_read_ifd(s, 4, &entries, &next), 0);
        ASSERT_EQ(entries.size(), 5u);
        EXPECT_EQ(next, 0u);
        EXPECT_EQ(tiff_find(entries, 3), nullptr);
        std::vector<std::uint32_t> values;
        ASSERT_EQ(tiff_read_values(s, *tiff_find(entries, 1), &values), 0);
        EXPECT_EQ(values, (std::vector<std::uint32_t>{10, 20, 30, 40}));
        ASSERT_EQ(tiff_read_values(s, *tiff_find(entries, 7), &values), 0);
        EXPECT_EQ(values, (std::vector<std::uint32_t>{9, 8, 7}));
    }
}

TEST(TiffMemorySource, ReadsBeyondTheBlockAreError56) {
    std::vector<std::uint8_t> note = maker_note(false);
    TiffSource s;
    TiffOpenMemory(&s, note.data(), note.size(), 0, false);
    TiffEntry e;
    bool found = false;
    // An IFD offset past the end, or an IFD whose entries run past it.
    EXPECT_EQ(TiffFindTag(s, static_cast<std::uint32_t>(note.size()), 1, &e, &found), 56);
    EXPECT_EQ(TiffFindTag(s, 0xFFFFFFFFu, 1, &e, &found), 56);
    note[4] = 200;  // entry count far beyond the block
    TiffOpenMemory(&s, note.data(), note.size(), 0, false);
    EXPECT_EQ(TiffFindTag(s, 4, 1, &e, &found), 56);

    // Values whose offset or size lies outside.
    note = maker_note(false);
    note[4 + 2 + 8] = 0xF0;  // tag 1's value offset, low byte
    note[4 + 2 + 11] = 0xF0;
    TiffOpenMemory(&s, note.data(), note.size(), 0, false);
    ASSERT_EQ(TiffFindTag(s, 4, 1, &e, &found), 0);
    int v = 0;
    EXPECT_EQ(TiffReadByteOrShortAt(s, e, 0, &v), 56);
    std::vector<std::uint32_t> values;
    EXPECT_EQ(tiff_read_values(s, e, &values), 56);

    // A base beyond the block.
    TiffOpenMemory(&s, note.data(), note.size(), static_cast<std::int64_t>(note.size()) + 1, false);
    std::uint8_t byte;
    EXPECT_EQ(tiff_read(s, 0, &byte, 1), 56);
    // A null block reads nothing.
    TiffOpenMemory(&s, nullptr, 100, 0, false);
    EXPECT_EQ(tiff_read(s, 0, &byte, 1), 56);
}

}  // namespace
