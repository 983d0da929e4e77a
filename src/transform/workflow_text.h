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

#include <array>
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

// The keyword of a line format: its first word.
std::string_view workflow_keyword_of(std::string_view format);

namespace workflow_detail {

// One line of a settings row, indented; `index` leads the values of a
// repeated row.
std::string value_line(std::string_view format, const SettingsArgs& args);

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
