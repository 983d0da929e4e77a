// The amount of a transformation that blends its result with its input,
// optionally through a mask image: the record every such parameter block
// embeds, shared by the compute routines, the amount control and the text
// routines.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct Image;
class WindowBase;
class WorkflowImages;

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

// ---------------------------------------------------------------------------
// Operations on the record

// Choosing a mask in the amount control: an ordinary amount goes from 0 under
// black to 1024 under white, a bipolar one starts at 512 at both ends.
// `mask` is the picture of `window`. A null window is "No Mask": 1024 and -1.
void amount_choose_mask(AmountSettings& amount, WindowBase* window, Image* mask);

// Forgets the mask without choosing anything else (the input's size changed,
// or the mask's window is gone): no mask, `amount_high` -1, `amount_low` kept.
void amount_drop_mask(AmountSettings& amount);

// The amount line of a workflow block: "   amount %d %d %d %d %s" with the
// keyword (amount, amt1, tamount...), `amount_low`, `amount_high`, `bipolar`,
// the mask window's number in `images` (a window not yet there takes the next
// free place; 0 for none) and `label`. Without the line end.
std::string amount_line(std::string_view keyword, const AmountSettings& amount,
                        WorkflowImages& images);

// Reads a line written by amount_line: three numbers into `amount_low`,
// `amount_high` and `bipolar`; a fourth that names a live window in `images`
// restores the mask and its window, any other leaves no mask and
// `amount_high` -1; the label is the rest of the line after the blank that
// follows the fourth number, at most 80 characters.
void amount_read_line(AmountSettings& amount, std::string_view line, const WorkflowImages& images);

// A panel opening on an input after earlier use: `opened` holds what the
// opening gave the amount control (the input's standing mask, if any), `saved`
// the amount of the static copy. The saved values return only where they fit:
// with a standing mask and a saved `amount_high` that isn't negative both
// come back; with no mask and a saved `amount_high` of -1 the saved
// `amount_low` comes back; otherwise `opened` stays.
void amount_restore_saved(AmountSettings& opened, const AmountSettings& saved, bool input_has_mask);
