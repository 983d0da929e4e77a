#include "transform/workflow_text.h"

#include "core/format.h"

int WorkflowImages::index_of(WindowBase* window) {
    if (!window) return 0;
    for (int i = 1; i <= capacity; ++i)
        if (windows_[i] == window) return i;
    for (int i = 1; i <= capacity; ++i) {
        if (!windows_[i]) {
            windows_[i] = window;
            return i;
        }
    }
    return 0;
}

WindowBase* WorkflowImages::window_at(int index) const {
    return index >= 1 && index <= capacity ? windows_[index] : nullptr;
}

void WorkflowImages::put(int index, WindowBase* window) {
    if (index >= 1 && index <= capacity) windows_[index] = window;
}

int WorkflowImages::count() const {
    int n = 0;
    for (int i = 1; i <= capacity; ++i)
        if (windows_[i]) ++n;
    return n;
}

std::string_view workflow_keyword_of(std::string_view format) {
    const std::size_t end = format.find_first_of(" \t");
    return end == std::string_view::npos ? format : format.substr(0, end);
}

namespace workflow_detail {

std::string value_line(std::string_view format, const SettingsArgs& args) {
    std::string line(workflow_indent);
    line += format_args(format, args);
    return line;
}

int write_int_array(TextFile& file, std::string_view keyword, const std::int32_t* values,
                    int count) {
    std::string line(workflow_indent);
    line += keyword;
    line += ' ';
    line += std::to_string(count);
    if (int err = line_write(file, line)) return err;
    for (int i = 0; i < count; i += 8) {
        line = workflow_indent;
        for (int k = i; k < count && k < i + 8; ++k) {
            line += std::to_string(values[k]);
            line += ' ';
        }
        if (int err = line_write(file, line)) return err;
    }
    return 0;
}

bool read_int_array(TextFile& file, const Tokens& tokens, std::int32_t* values, int capacity) {
    const int count = tokens.count() > 1 ? token_integer(tokens[1]) : 0;
    int got = 0;
    auto take = [&](const Tokens& t, int first) {
        for (int k = first; k < t.count() && got < count; ++k, ++got)
            if (got < capacity) values[got] = token_integer(t[k]);
    };
    take(tokens, 2);
    std::string raw;
    Tokens more;
    while (got < count) {
        if (line_read(file, raw, workflow_line_max) != 0) return false;
        if (tokenize(raw, more) == 0) continue;
        take(more, 0);
    }
    return true;
}

}  // namespace workflow_detail
