// The shared 8/16-bit tables and the small blending functions that every pixel
// loop uses. The tables are built at compile time (in tables.cpp), so they
// exist before any code runs and inner loops need no division.
#pragma once

#include <array>
#include <cstdint>

// 8-bit to 16-bit sample: (i * 65535 + 127) / 255.
extern const std::array<std::uint16_t, 256> to16;
// 16-bit to 8-bit sample: (i * 255 + 32767) / 65535.
extern const std::array<std::uint8_t, 65536> to8;
// Product of two 8-bit fractions: (i * j + 127) / 255.
extern const std::array<std::array<std::uint8_t, 256>, 256> mul8;
// 8-bit sample to the 12-bit scale of the HSV/HSL conversions, and back.
extern const std::array<std::uint16_t, 256> to12;
extern const std::array<std::uint8_t, 4097> from12;

constexpr int clamp8(int v) {
    return v < 0 ? 0 : (v > 255 ? 255 : v);
}
constexpr int clamp16(int v) {
    return v < 0 ? 0 : (v > 65535 ? 65535 : v);
}

// a blended towards b by f / 255, f in 0..255.
inline int lerp8(int a, int b, int f) {
    return b < a ? a - mul8[a - b][f] : a + mul8[b - a][f];
}
constexpr int lerp16(int a, int b, int f) {
    return a + (b - a) * f / 255;
}

// The gray value of a colour throughout the system.
constexpr int luminance8(int r, int g, int b) {
    return (r * 306 + g * 601 + b * 117) >> 10;
}

// Amounts run 0..1024 on the panels; compute routines work with 0..255.
constexpr int amount_to_strength(int amount) {
    return (amount * 255 + 512) / 1024;
}
