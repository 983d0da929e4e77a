#include "core/tables.h"

namespace {

constexpr std::array<std::uint16_t, 256> make_to16() {
    std::array<std::uint16_t, 256> t{};
    for (int i = 0; i < 256; ++i)
        t[i] = static_cast<std::uint16_t>((i * 65535 + 127) / 255);
    return t;
}

constexpr std::array<std::uint8_t, 65536> make_to8() {
    std::array<std::uint8_t, 65536> t{};
    for (int i = 0; i < 65536; ++i)
        t[i] = static_cast<std::uint8_t>((i * 255 + 32767) / 65535);
    return t;
}

constexpr std::array<std::array<std::uint8_t, 256>, 256> make_mul8() {
    std::array<std::array<std::uint8_t, 256>, 256> t{};
    for (int i = 0; i < 256; ++i)
        for (int j = 0; j < 256; ++j)
            t[i][j] = static_cast<std::uint8_t>((i * j + 127) / 255);
    return t;
}

constexpr std::array<std::uint16_t, 256> make_to12() {
    std::array<std::uint16_t, 256> t{};
    for (int i = 0; i < 256; ++i)
        t[i] = static_cast<std::uint16_t>(i * 4096 / 255);
    return t;
}

constexpr std::array<std::uint8_t, 4097> make_from12() {
    std::array<std::uint8_t, 4097> t{};
    for (int i = 0; i < 4097; ++i)
        t[i] = static_cast<std::uint8_t>((i * 255) >> 12);
    return t;
}

}  // namespace

constinit const std::array<std::uint16_t, 256> to16 = make_to16();
constinit const std::array<std::uint8_t, 65536> to8 = make_to8();
constinit const std::array<std::array<std::uint8_t, 256>, 256> mul8 = make_mul8();
constinit const std::array<std::uint16_t, 256> to12 = make_to12();
constinit const std::array<std::uint8_t, 4097> from12 = make_from12();
