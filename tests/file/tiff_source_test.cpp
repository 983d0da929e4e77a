#include "file/tiff_source.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
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

// One entry of `type` and `count`, its last four bytes and any data behind it
// (at offset 12) written by `value`; what it decodes to.
struct EntryCase {
    unsigned type;
    std::uint32_t count;
    std::function<void(Bytes&)> value;
    std::int32_t expected;  // any_value: not checked
    double real;            // NAN: not checked
    int error = 0;
};
constexpr std::int32_t any_value = INT32_MIN;

class TiffEntryDecoding : public ::testing::TestWithParam<bool> {};

TEST_P(TiffEntryDecoding, EveryType) {
    const bool big = GetParam();
    const EntryCase cases[] = {
        // Bytes are taken as signed, whatever the type says.
        {1, 1, [](Bytes& b) { b.u8(200).u8(0).u16(0); }, -56, NAN},
        {2, 4, [](Bytes& b) { b.text(std::string("Ab\0\0", 4)); }, 'A', NAN},
        {6, 1, [](Bytes& b) { b.u8(0x7F).u8(0).u16(0); }, 127, NAN},
        {7, 1, [](Bytes& b) { b.u8(0x80).u8(0).u16(0); }, -128, NAN},
        {3, 1, [](Bytes& b) { b.u16(0xFFFE).u16(0); }, 65534, 65534.0},
        {8, 1, [](Bytes& b) { b.u16(0xFFFE).u16(0); }, -2, -2.0},
        {4, 1, [](Bytes& b) { b.u32(0xFFFFFFFF); }, -1, -1.0},
        {9, 1, [](Bytes& b) { b.u32(0xFFFFFFFF); }, -1, -1.0},
        {13, 1, [](Bytes& b) { b.u32(0xFFFFFFFF); }, -1, -1.0},
        {4, 1, [](Bytes& b) { b.u32(123456789); }, 123456789, NAN},
        {5, 1, [](Bytes& b) { b.u32(12).u32(7).u32(2); }, 3, 3.5},
        // An unsigned numerator; a zero denominator counts as 1.
        {5, 1, [](Bytes& b) { b.u32(12).u32(3000000000u).u32(1000000000u); }, 3, 3.0},
        {5, 1, [](Bytes& b) { b.u32(12).u32(5).u32(0); }, 5, 5.0},
        {10, 1, [](Bytes& b) { b.u32(12).u32(static_cast<std::uint32_t>(-7)).u32(2); }, -3, -3.5},
        // No overflow for the most negative over -1.
        {10, 1, [](Bytes& b) { b.u32(12).u32(0x80000000u).u32(0xFFFFFFFFu); }, any_value,
         2147483648.0},
        {11, 1, [](Bytes& b) { b.f32(-2.75f); }, -2, -2.75},
        {12, 1, [](Bytes& b) { b.u32(12).f64(12345.9); }, 12345, 12345.9},
        // Held within the integer's range.
        {12, 1, [](Bytes& b) { b.u32(12).f64(1e300); }, 2147483647, NAN},
        {0, 1, [](Bytes& b) { b.u32(5); }, 0x2BAD2BAD, static_cast<double>(0x2BAD2BAD)},
        {14, 1, [](Bytes& b) { b.u32(5); }, 0x2BAD2BAD, static_cast<double>(0x2BAD2BAD)},
        // Out-of-line values beyond the data are a read error.
        {5, 1, [](Bytes& b) { b.u32(13).u32(1).u32(1); }, any_value, NAN, 56},
        {12, 1, [](Bytes& b) { b.u32(0xFFFFFFF0u); }, any_value, NAN, 56},
    };
    for (const EntryCase& c : cases) {
        SCOPED_TRACE("type " + std::to_string(c.type));
        Bytes b(big);
        b.entry(1, c.type, c.count);
        c.value(b);
        TiffSource source;
        TiffOpenMemory(&source, b.data().data(), b.size(), 0, big);
        TiffEntry e;
        ASSERT_EQ(tiff_decode_entry(source, b.data().data(), &e), c.error);
        if (c.expected != any_value) {
            EXPECT_EQ(e.value, c.expected);
        }
        if (!std::isnan(c.real)) {
            EXPECT_DOUBLE_EQ(e.real, c.real);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, TiffEntryDecoding, ::testing::Values(false, true),
                         [](const auto& order) { return order.param ? "Motorola" : "Intel"; });

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
    TiffEntry e;
    bool found = false;
    note[4] = 200;  // entry count far beyond the block
    TiffOpenMemory(&s, note.data(), note.size(), 0, false);
    EXPECT_EQ(TiffFindTag(s, 4, 1, &e, &found), 56);
    EXPECT_EQ(TiffFindTag(s, 0xFFFFFFFFu, 1, &e, &found), 56);
    // A base beyond the block, and a null block, read nothing.
    std::uint8_t byte;
    TiffOpenMemory(&s, note.data(), note.size(), static_cast<std::int64_t>(note.size()) + 1, false);
    EXPECT_EQ(tiff_read(s, 0, &byte, 1), 56);
    TiffOpenMemory(&s, nullptr, 100, 0, false);
    EXPECT_EQ(tiff_read(s, 0, &byte, 1), 56);
}

}  // namespace
