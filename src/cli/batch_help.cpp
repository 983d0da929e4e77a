#include "cli/batch_help.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/format.h"
#include "transform/registry.h"
#include "transform/transform.h"
#include "transform/workflow_text.h"

namespace {

// The block's lines as written into a workflow, without indent and end_widget.
std::vector<std::string> block_lines(const TransformDescriptor& d, const void* params) {
    char* buffer = nullptr;
    std::size_t size = 0;
    std::FILE* memory = open_memstream(&buffer, &size);
    if (!memory) return {};
    std::vector<std::string> lines;
    {
        TextFile file;
        file.adopt(memory);
        WorkflowImages images;
        WorkflowText text{file, images};
        const int err = d.write(params, text);
        file.close();
        if (err == 0) {
            std::string_view all(buffer, size);
            while (!all.empty()) {
                const std::size_t end = all.find("\r\n");
                std::string_view line = all.substr(0, end);
                if (line.starts_with(workflow_indent)) line.remove_prefix(workflow_indent.size());
                const std::string_view first = line.substr(0, line.find(' '));
                if (!lines.empty() && d.is_keyword && !d.is_keyword(first)) {
                    // The values of an array continue its keyword's line.
                    while (line.ends_with(' '))
                        line.remove_suffix(1);
                    lines.back() += ' ';
                    lines.back() += line;
                } else {
                    lines.emplace_back(line);
                }
                all.remove_prefix(end == std::string_view::npos ? all.size() : end + 2);
            }
        }
    }
    std::free(buffer);
    return lines;
}

std::string number_text(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

std::string upper(std::string_view word) {
    std::string s(word);
    for (char& c : s)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return s;
}

// A value other than the field's default, to see which word of which line it
// moves.
double other_value(const TransformField& f) {
    return f.default_value != f.minimum ? f.minimum : f.maximum;
}

// Each line's words with the values of fields replaced by the field keywords
// in capitals: the syntax of the line. Found by changing one field at a time.
std::vector<std::vector<std::string>> line_syntax(const TransformDescriptor& d) {
    const std::vector<std::vector<std::string>> defaults = batch_default_lines(d);
    std::vector<std::vector<std::string>> syntax = defaults;
    // Marks the words that `change` moves with `name`.
    auto mark = [&](std::string_view name, auto change) {
        ParamBlock changed;
        if (changed.allocate(d)) return;
        change(changed.get());
        const std::vector<std::string> lines = block_lines(d, changed.get());
        for (std::size_t l = 0; l < lines.size() && l < syntax.size(); ++l) {
            const std::vector<std::string> words = batch_line_words(lines[l]);
            for (std::size_t w = 1; w < words.size() && w < syntax[l].size(); ++w)
                if (words[w] != defaults[l][w]) syntax[l][w] = upper(name);
        }
    };
    for (const TransformField& f : d.fields) {
        if (f.kind == ControlKind::amount)
            mark(f.keyword,
                 [&](void* p) { f.amount(p)->amount_low = static_cast<int>(other_value(f)); });
        else if (f.set)
            mark(f.keyword, [&](void* p) { f.set(p, other_value(f)); });
        else if (f.set_part)  // one value a part, each by its own name
            for (std::size_t k = 0; k < f.words.size(); ++k)
                mark(f.words[k], [&](void* p) {
                    const int v = f.part(p, static_cast<int>(k));
                    f.set_part(p, static_cast<int>(k), v == 0 ? 1 : 0);
                });
    }
    return syntax;
}

std::string joined(const std::vector<std::string>& words, bool quote) {
    std::string s;
    for (const std::string& w : words) {
        if (!s.empty()) s += ' ';
        s += quote ? batch_shell_word(w) : w;
    }
    return s;
}

// `defaults` is a block of the built-in values.
void print_field(const TransformField& f, const void* defaults) {
    std::string label(f.label);
    while (!label.empty() && (label.back() == ' ' || label.back() == ':'))
        label.pop_back();
    std::string name = upper(f.keyword), what;
    switch (f.kind) {
        case ControlKind::choice:
            for (std::size_t k = 0; k < f.words.size(); ++k)
                what += (k ? ", " : "") + std::to_string(k) + " " + std::string(f.words[k]);
            what += "; default " + number_text(f.default_value);
            break;
        case ControlKind::check_box:
            what = "0 off, 1 on; default " + number_text(f.default_value);
            break;
        case ControlKind::curve:
            label = "Curve";
            what = "points x y on 0..255 in x_curve and y_curve lines (a count, then the "
                   "values); styles 0 step, 1 linear, 2 spline, 3 gamma";
            break;
        case ControlKind::range:
        case ControlKind::zone_strip:
        case ControlKind::colour: {
            std::string names, values;
            for (std::size_t k = 0; k < f.words.size(); ++k) {
                if (k) names += ' ', values += ' ';
                names += upper(f.words[k]);
                values += std::to_string(f.part(defaults, static_cast<int>(k)));
            }
            name = names;
            what = f.kind == ControlKind::range        ? "IN_LOW..IN_HIGH map to OUT_LOW..OUT_HIGH, "
                   : f.kind == ControlKind::zone_strip ? "input levels of the black point, the "
                                                         "thresholds and the white point, "
                                                       : "the filter's red, green and blue, ";
            what += "0 to 255; default " + values;
            if (f.kind == ControlKind::range) what += " (the editor finds it in the picture)";
            break;
        }
        case ControlKind::number:
            what = "a number; default " + number_text(f.default_value);
            break;
        case ControlKind::amount:
            what = "0 to 1024 (1024 is 100 %)";
            if (f.bipolar) what += ", 512 neutral";
            what += "; default " + number_text(f.default_value);
            break;
        default: {
            // The line holds the block's number; the panel may show another.
            const auto line = [&](double v) { return f.stored ? f.stored(v) : v; };
            what = number_text(line(f.minimum)) + " to " + number_text(line(f.maximum));
            if (f.shown && f.shown != f.stored)
                what += " (shown as " + number_text(f.shown(f.minimum)) + " to " +
                        number_text(f.shown(f.maximum)) + ")";
            what += "; default " + number_text(line(f.default_value));
            break;
        }
    }
    if (f.shown_for == image_types_colour) what += "; colour images only";
    std::printf("  %-12s %-18s %s\n", name.c_str(), label.c_str(), what.c_str());
}

}  // namespace

std::vector<std::string> batch_line_words(std::string_view line) {
    std::vector<std::string> words;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = line.find(' ', start);
        const std::string_view piece =
            line.substr(start, end == std::string_view::npos ? end : end - start);
        if (!piece.empty())
            words.emplace_back(piece);
        else if (!words.empty())
            words.back() += ' ';
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    return words;
}

std::string batch_shell_word(std::string_view word) {
    bool plain = !word.empty();
    for (char c : word) {
        const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                          (c >= '0' && c <= '9') ||
                          std::string_view("-_.,:%+/=@").find(c) != std::string_view::npos;
        plain = plain && safe;
    }
    if (plain) return std::string(word);
    std::string quoted = "'";
    for (char c : word)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::vector<std::vector<std::string>> batch_default_lines(const TransformDescriptor& d) {
    ParamBlock params;
    if (params.allocate(d)) return {};
    std::vector<std::vector<std::string>> lines;
    for (const std::string& line : block_lines(d, params.get()))
        lines.push_back(batch_line_words(line));
    return lines;
}

int batch_help(std::string_view name) {
    std::string title(name);
    for (char& c : title)
        if (c == '_') c = ' ';
    const TransformEntry* entry = transform_find_title(title);
    if (!entry) {
        std::fprintf(stderr,
                     "orvane-batch: no transformation called \"%s\" (see orvane-batch list)\n",
                     std::string(name).c_str());
        return 255;
    }
    std::string group(transform_group_title(entry->group));
    std::erase(group, '&');
    std::printf("%s%s%s\n", std::string(entry->title).c_str(), group.empty() ? "" : " - ",
                group.c_str());
    if (!entry->descriptor) {
        std::printf("Not built yet: orvane-batch cannot apply it in this version.\n");
        return 0;
    }
    const TransformDescriptor& d = *entry->descriptor;
    ParamBlock defaults_block;
    if (int err = defaults_block.allocate(d)) return err;
    std::printf("\nValues:\n");
    for (const TransformField& f : d.fields)
        if (f.kind != ControlKind::input_chooser && f.kind != ControlKind::caption &&
            f.kind != ControlKind::page && f.kind != ControlKind::histogram)
            print_field(f, defaults_block.get());

    const auto syntax = line_syntax(d);
    const auto defaults = batch_default_lines(d);
    std::printf("\nLines (a keyword, then its values; lines left out keep their defaults):\n");
    for (std::size_t l = 0; l < syntax.size() && l < defaults.size(); ++l)
        std::printf("  %-36s default: %s\n", joined(syntax[l], false).c_str(),
                    joined(defaults[l], false).c_str());
    for (const TransformField& f : d.fields)
        if (f.kind == ControlKind::amount) {
            std::printf("  In an amount line -1 0 0 mean no mask; the caption ends the line.\n");
            break;
        }
    if (d.settings)
        std::printf("\n--settings FILE reads a settings file (%s) first.\n",
                    std::string(d.settings->extension).c_str());

    std::string example = "orvane-batch apply ";
    example += batch_shell_word(entry->title);
    for (const auto& line : defaults) {
        example += ' ';
        example += joined(line, true);
    }
    std::printf("\nExample:\n  %s IN.tif OUT.tif\n", example.c_str());
    return 0;
}
