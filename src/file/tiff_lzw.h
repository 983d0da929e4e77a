// The LZW code of TIFF strips: a table-driven decoder and the encoder that the
// writer uses. Codes are packed most significant bit first, 256 clears the table
// and 257 ends a strip; the code width grows one code early, as TIFF does it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Decodes one strip into `out`. Decoding stops without error at code 257, when
// `out` is full, or when the input runs out; bytes of `out` past the decoded data
// keep what they held, and data that would not fit are cut off. Returns 0, or 156
// for a stream that does not start with a clear code, refers to codes that do not
// exist yet, or overflows the 4096-entry table.
[[nodiscard]] int tiff_lzw_decode(const std::uint8_t* in, std::size_t in_size, std::uint8_t* out,
                                  std::size_t out_size);

// Encodes strips. The string table is a direct 4096 by 256 array of 16-bit codes
// (2 MiB), made once and reused for every strip of a file.
class TiffLzwEncoder {
public:
    TiffLzwEncoder() = default;
    TiffLzwEncoder(const TiffLzwEncoder&) = delete;
    TiffLzwEncoder& operator=(const TiffLzwEncoder&) = delete;

    // Makes the table; 0 or 1 (memory).
    [[nodiscard]] int init();

    // Encodes `size` bytes (at least 1) into `out` of `capacity` bytes; on success
    // `*written` holds the length of the strip. Returns 0, or 57 when the output
    // comes within 4 bytes of the end of `out`.
    [[nodiscard]] int encode(const std::uint8_t* in, std::size_t size, std::uint8_t* out,
                             std::size_t capacity, std::size_t* written);

private:
    void clear();

    std::unique_ptr<std::uint16_t[]> table_;
    // Slots filled since the last clear: resetting only these is the same as
    // setting the whole table to 0xFFFF, without touching 2 MiB every 3838 codes.
    std::vector<std::uint32_t> used_;
};
