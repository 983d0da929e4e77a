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

}  // namespace workflow_detail
