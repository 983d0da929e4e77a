// The lines a transformation writes into a workflow block, between
// `begin_widget` and `end_widget`, and reads back.
//
// Every line starts with three blanks and a keyword, then its values. A
// transformation lists its lines once in a WorkflowLine table; the writer and
// the reader here serve every table. Plain values use the keyword rows of the
// settings layer (settings_value and its kin), so a value is written and read
// exactly as in a settings file. Amount lines have their own form:
// "   amount %d %d %d %d %s" (amount.h).
//
// Images never stand in the text: a mask is named by its place in the table
// of the workflow's input windows, WorkflowImages.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "transform/amount.h"
#include "transform/settings.h"

class WindowBase;

// The workflow's input windows by number: places 1 to 31, 0 meaning none.
class WorkflowImages {
public:
    static constexpr int capacity = 31;

    // Writing: the number of `window`, its old one when it has one, otherwise
    // the first free place. 0 for no window or when the table is full: the
    // reference is then lost.
    int index_of(WindowBase* window);
    // Reading: the window at a number, or null for 0, a number outside the
    // table or an empty place.
    WindowBase* window_at(int index) const;
    // The file's reader enters the windows it restored.
    void put(int index, WindowBase* window);
    int count() const;

private:
    std::array<WindowBase*, capacity + 1> windows_{};  // [0] stays null
};

// Where a block's lines go to or come from.
struct WorkflowText {
    TextFile& file;
    WorkflowImages& images;
};

// The line that closes a block.
inline constexpr std::string_view workflow_block_end = "end_widget";
// What every parameter line starts with.
inline constexpr std::string_view workflow_indent = "   ";

// One line of a block: a settings keyword row (single, count or repeated,
// whose `format` is the line without its indent), or an amount line over an
// AmountSettings member.
template <typename P>
struct WorkflowLine {
    SettingsKeyword<P> values;
    AmountSettings P::*amount = nullptr;
    // An int array: "   %s %d" (keyword, count), then the values in lines of
    // eight, each followed by a blank. The reader takes values off the header
    // line and the lines after it until the count is met; values beyond
    // `array_capacity` are dropped.
    int (*array_count)(const P& params) = nullptr;
    std::int32_t* (*array_values)(P& params) = nullptr;
    int array_capacity = 0;
    // Takes the count read, when the array's length is a value of the block
    // (a curve's points): the values given are the ones that count.
    void (*array_set_count)(P& params, int count) = nullptr;
};

//   workflow_value<&P::channels, &P::method>("colorspace_method %d %d")
template <auto First, auto... Rest>
constexpr WorkflowLine<settings_detail::ClassOf<First>> workflow_value(std::string_view format) {
    return {settings_value<First, Rest...>(format)};
}

//   workflow_amount<&P::amount>()          "   amount 1024 -1 0 0 Amount: "
//   workflow_amount<&P::shift>("amt1")
template <auto Member>
constexpr WorkflowLine<settings_detail::ClassOf<Member>> workflow_amount(
    std::string_view keyword = "amount") {
    WorkflowLine<settings_detail::ClassOf<Member>> line;
    line.values.format = keyword;
    line.amount = Member;
    return line;
}

//   workflow_int_array<P>("x_curve", count_of, x_of, 256)
template <typename P>
constexpr WorkflowLine<P> workflow_int_array(std::string_view keyword, int (*count)(const P&),
                                             std::int32_t* (*values)(P&), int capacity,
                                             void (*set_count)(P&, int) = nullptr) {
    WorkflowLine<P> line;
    line.array_set_count = set_count;
    line.values.format = keyword;
    line.array_count = count;
    line.array_values = values;
    line.array_capacity = capacity;
    return line;
}

// The keyword of a line format: its first word.
std::string_view workflow_keyword_of(std::string_view format);

namespace workflow_detail {

// One line of a settings row, indented; `index` leads the values of a
// repeated row.
std::string value_line(std::string_view format, const SettingsArgs& args);

// An int array's header and data lines: 0, or 6 on a failed write.
[[nodiscard]] int write_int_array(TextFile& file, std::string_view keyword,
                                  const std::int32_t* values, int count);
// Reads the values of an array whose header line is `tokens` (keyword,
// count, maybe values), and the lines after it as needed, into `values`
// (room for `capacity`). False when the file ends first.
bool read_int_array(TextFile& file, const Tokens& tokens, std::int32_t* values, int capacity);

}  // namespace workflow_detail

// Writes the table's lines in order: 0, or 6 on a failed write.
template <typename P>
[[nodiscard]] int workflow_write_lines(std::span<const WorkflowLine<P>> lines, const P& params,
                                       WorkflowText& text) {
    for (const WorkflowLine<P>& line : lines) {
        if (line.amount) {
            const std::string s = amount_line(workflow_keyword_of(line.values.format),
                                              params.*(line.amount), text.images);
            if (int err = line_write(text.file, s)) return err;
            continue;
        }
        if (line.array_count) {
            const int n = std::min(line.array_count(params), line.array_capacity);
            if (int err = workflow_detail::write_int_array(
                    text.file, line.values.format, line.array_values(const_cast<P&>(params)), n))
                return err;
            continue;
        }
        if (!line.values.put) continue;
        const bool indexed =
            line.values.line == SettingsLine::repeated || line.values.line == SettingsLine::joined;
        const int n = indexed ? (line.values.lines ? line.values.lines(params) : 0) : 1;
        for (int i = 0; i < n && (!indexed || i < line.values.capacity); ++i) {
            SettingsArgs args;
            if (indexed) args.emplace_back(i);
            line.values.put(params, i, args);
            if (int err =
                    line_write(text.file, workflow_detail::value_line(line.values.format, args)))
                return err;
        }
    }
    return 0;
}

// Reads lines up to `end_widget` into `params`. Keywords are compared without
// regard to case; unknown ones are skipped, as are indices outside a repeated
// row. The values land in a copy that replaces `params` only at `end_widget`:
// a line that can't be read, or the end of the file, ends the block with 0
// and `params` as it was.
template <typename P>
[[nodiscard]] int workflow_read_lines(std::span<const WorkflowLine<P>> lines, P& params,
                                      WorkflowText& text) {
    P scratch = params;
    std::string raw;
    Tokens tokens;
    for (;;) {
        if (line_read(text.file, raw, workflow_line_max) != 0) return 0;
        if (tokenize(raw, tokens) == 0) continue;
        if (keyword_equals(tokens[0], workflow_block_end)) break;
        for (const WorkflowLine<P>& line : lines) {
            if (!keyword_equals(tokens[0], workflow_keyword_of(line.values.format))) continue;
            if (line.amount) {
                amount_read_line(scratch.*(line.amount), raw, text.images);
            } else if (line.array_values) {
                const int count = token_integer(tokens[1]);
                if (!workflow_detail::read_int_array(text.file, tokens,
                                                     line.array_values(scratch),
                                                     line.array_capacity))
                    return 0;
                if (line.array_set_count && count >= 0 && count <= line.array_capacity)
                    line.array_set_count(scratch, count);
            } else if (line.values.get) {
                if (line.values.line == SettingsLine::repeated ||
                    line.values.line == SettingsLine::joined) {
                    const int index = token_integer(tokens[1]);
                    if (index >= 0 && index < line.values.capacity)
                        line.values.get(scratch, index, SettingsValues(tokens, 2));
                } else {
                    line.values.get(scratch, 0, SettingsValues(tokens, 1));
                }
            }
            break;
        }
    }
    params = scratch;
    return 0;
}

template <typename P>
bool workflow_has_keyword(std::span<const WorkflowLine<P>> lines, std::string_view word) {
    for (const WorkflowLine<P>& line : lines)
        if (keyword_equals(word, workflow_keyword_of(line.values.format))) return true;
    return false;
}
