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

}  // namespace
