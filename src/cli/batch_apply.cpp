#include "cli/batch_apply.h"

#include <cstdio>
#include <string_view>

#include "core/errors.h"
#include "core/image.h"
#include "file/file_types.h"
#include "file/read_image.h"
#include "file/write_image.h"
#include "transform/registry.h"
#include "transform/transform.h"
#include "transform/workflow_text.h"

namespace {

constexpr int exit_usage = 255;

int refuse(const char* why) {
    std::fprintf(stderr, "orvane-batch: %s\n", why);
    return exit_usage;
}

int fail(int code) {
    std::fprintf(stderr, "orvane-batch: %s\n", error_text(code));
    return code;
}

std::string title_of(std::string name) {
    for (char& c : name)
        if (c == '_') c = ' ';
    return name;
}

// The keyword words as the lines of a workflow block, closed by end_widget.
bool block_text(const TransformDescriptor& d, const std::vector<std::string>& words,
                std::string& text) {
    bool in_line = false;
    for (const std::string& word : words) {
        if (d.is_keyword && d.is_keyword(word)) {
            if (in_line) text += "\r\n";
            text += workflow_indent;
            text += word;
            in_line = true;
        } else if (in_line) {
            text += ' ';
            text += word;
        } else {
            return false;  // a value before any keyword
        }
    }
    if (in_line) text += "\r\n";
    text += workflow_block_end;
    text += "\r\n";
    return true;
}

int read_block(const TransformDescriptor& d, std::string& text, void* params) {
    std::FILE* memory = fmemopen(text.data(), text.size(), "r");
    if (!memory) return err_memory;
    TextFile file;
    file.adopt(memory);
    WorkflowImages images;
    WorkflowText block{file, images};
    return d.read(params, block);
}

}  // namespace

int batch_apply(const std::vector<std::string>& args) {
    if (args.empty()) return refuse("apply needs a transformation, an input and an output");
    const TransformEntry* entry = transform_find_title(title_of(args[0]));
    if (!entry) return refuse("no transformation of that name (see orvane-batch list)");
    if (!entry->descriptor) return refuse("that transformation is not built yet");
    const TransformDescriptor& d = *entry->descriptor;

    std::vector<std::string> words;
    std::vector<std::string> files;
    std::string settings_path;
    for (std::size_t i = 1; i < args.size(); ++i) {
        if (args[i] == "--settings") {
            if (i + 1 >= args.size() || !settings_path.empty())
                return refuse("--settings needs one file");
            settings_path = args[++i];
        } else {
            words.push_back(args[i]);
        }
    }
    if (words.size() < 2) return refuse("apply needs an input and an output file");
    files.assign(words.end() - 2, words.end());
    words.resize(words.size() - 2);
    if (!settings_path.empty() && !d.settings_load)
        return refuse("this transformation keeps no settings file");

    ParamBlock params;
    if (int err = params.allocate(d)) return fail(err);
    if (!settings_path.empty()) {
        if (int err = d.settings_load(settings_path, params.get())) return fail(err);
    }
    std::string text;
    if (!block_text(d, words, text)) return refuse("a value comes before its keyword");
    if (int err = read_block(d, text, params.get())) return fail(err);

    const int filter = save_filter_of_stored_type(stored_file_type_of(FileTypeOfName(files[1])));
    if (filter == 0) return fail(71);

    ImageHolder input;
    std::vector<std::uint8_t> profile;
    int file_type = 0;
    if (int err = ReadImage(files[0].c_str(), input.get(), &profile, &file_type,
                            load_no_progress | load_no_recent | load_no_profile_question))
        return fail(err);
    ImageHolder output;
    if (int err = transform_compute_image(d, params.get(), input.get(), output.get()))
        return fail(err);
    if (!image_is_colour(output.get())) profile.clear();
    SaveOptions options;
    options.progress = false;
    if (int err = WriteImage(files[1].c_str(), filter, output.get(), profile, options))
        return fail(err);
    return 0;
}

int batch_list() {
    TransformGroup group = TransformGroup::top_level;
    bool first = true;
    for (const TransformEntry& entry : transform_registry()) {
        if (first || entry.group != group) {
            std::string heading(transform_group_title(entry.group));
            std::erase(heading, '&');
            std::printf("%s%s\n", first ? "" : "\n",
                        heading.empty() ? "Top level" : heading.c_str());
            group = entry.group;
            first = false;
        }
        std::printf("%c %-24s %d\n", entry.descriptor ? '*' : ' ', std::string(entry.title).c_str(),
                    entry.command);
    }
    return 0;
}
