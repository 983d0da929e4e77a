#include "transform/amount.h"

#include <algorithm>
#include <cstring>

#include "core/format.h"
#include "core/window_record.h"
#include "transform/settings.h"
#include "transform/workflow_text.h"

namespace {

constexpr int amount_middle = amount_full / 2;

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

// The label starts after the keyword, the four numbers and one blank.
std::string_view label_of(std::string_view line) {
    std::size_t i = 0;
    for (int word = 0; word < 5; ++word) {
        while (i < line.size() && is_blank(line[i]))
            ++i;
        while (i < line.size() && !is_blank(line[i]))
            ++i;
    }
    if (i < line.size()) ++i;  // the one blank the writer puts before the label
    return line.substr(std::min(i, line.size()));
}

}  // namespace

void amount_choose_mask(AmountSettings& amount, WindowBase* window, Image* mask) {
    if (!window || !mask) {
        amount.amount_mask = nullptr;
        amount.amount_mask_window = nullptr;
        amount.amount_low = amount_full;
        amount.amount_high = -1;
        return;
    }
    amount.amount_mask = mask;
    amount.amount_mask_window = window;
    amount.amount_low = amount.bipolar ? amount_middle : 0;
    amount.amount_high = amount.bipolar ? amount_middle : amount_full;
}

void amount_drop_mask(AmountSettings& amount) {
    amount.amount_mask = nullptr;
    amount.amount_mask_window = nullptr;
    amount.amount_high = -1;
}

std::string amount_line(std::string_view keyword, const AmountSettings& amount,
                        WorkflowImages& images) {
    const int index = images.index_of(amount.amount_mask_window);
    std::string line(workflow_indent);
    line += keyword;
    line += format_text(" %d %d %d %d %s", amount.amount_low, amount.amount_high,
                        static_cast<int>(amount.bipolar), index, amount.label);
    return line;
}

void amount_read_line(AmountSettings& amount, std::string_view line, const WorkflowImages& images) {
    Tokens tokens;
    tokenize(line, tokens);
    amount.amount_low = token_integer(tokens[1]);
    amount.amount_high = token_integer(tokens[2]);
    amount.bipolar = static_cast<std::uint8_t>(token_integer(tokens[3]) != 0);
    WindowBase* window = images.window_at(token_integer(tokens[4]));
    WindowRecord* record = window_record_of(window);
    if (record) {
        amount.amount_mask_window = window;
        amount.amount_mask = &record->image;
    } else {
        amount_drop_mask(amount);
    }
    const std::string_view label = label_of(line).substr(0, amount_label_max);
    std::memcpy(amount.label, label.data(), label.size());
    amount.label[label.size()] = '\0';
}

void amount_restore_saved(AmountSettings& opened, const AmountSettings& saved,
                          bool input_has_mask) {
    if (input_has_mask && saved.amount_high >= 0) {
        opened.amount_low = saved.amount_low;
        opened.amount_high = saved.amount_high;
    } else if (!input_has_mask && saved.amount_high == -1) {
        opened.amount_low = saved.amount_low;
    }
}
