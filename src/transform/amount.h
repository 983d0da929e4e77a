// The amount of a transformation that blends its result with its input,
// optionally through a mask image: the record every such parameter block
// embeds, shared by the compute routines, the amount control and the text
// routines.
#pragma once

#include <cstdint>

struct Image;
class WindowBase;

inline constexpr int amount_full = 1024;  // 100%
inline constexpr int amount_label_max = 80;

struct AmountSettings {
    Image* amount_mask = nullptr;
    // 0..1024; applies where the mask is black, or everywhere without a mask.
    std::int32_t amount_low = amount_full;
    // 0..1024 where the mask is white; -1 when there is no mask.
    std::int32_t amount_high = -1;
    // Neutral at the middle: shown as (value - 512) * 200 / 1024 percent.
    std::uint8_t bipolar = 0;
    char label[amount_label_max + 1] = "Amount: ";
    WindowBase* amount_mask_window = nullptr;
};
