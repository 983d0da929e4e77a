#include "cli/batch_apply.h"

#include <cstdio>
#include <string_view>

#include "cli/batch_help.h"
#include "cli/batch_io.h"
#include "cli/batch_progress.h"
#include "core/comments.h"
#include "core/errors.h"
#include "core/image.h"
#include "file/file_types.h"
#include "file/write_image.h"
#include "transform/registry.h"
#include "transform/transform.h"
#include "transform/workflow_text.h"
#include "workflow/band_run.h"

namespace {

std::string title_of(std::string name) {
    for (char& c : name)
        if (c == '_') c = ' ';
    return name;
}

bool is_number(const std::string& word) {
    double value;
    return parse_real(word, value);
}

// A word that stands where a keyword belongs: before any keyword, or a word
// that is not a number past the values its line takes.
int unknown_keyword(const TransformDescriptor& d, const std::string& word) {
    std::string known;
    for (const auto& line : batch_default_lines(d))
        known += (known.empty() ? "" : ", ") + line[0];
    std::fprintf(stderr, "orvane-batch: \"%s\" is not a keyword of %s; its keywords are %s\n",
                 word.c_str(), std::string(d.title).c_str(), known.c_str());
    return batch_exit_usage;
}

// The keyword words as the lines of a workflow block, closed by end_widget.
// 0, or 255 with a message for a word that is no keyword.
int block_text(const TransformDescriptor& d, const std::vector<std::string>& words,
               std::string& text) {
    const auto defaults = batch_default_lines(d);
    std::size_t line_words = 0;  // of the line being collected
    std::size_t line_size = 0;   // the words its line has by default
    for (const std::string& word : words) {
        if (d.is_keyword && d.is_keyword(word)) {
            if (line_words) text += "\r\n";
            text += workflow_indent;
            text += word;
            line_words = 1;
            line_size = 0;
            for (const auto& line : defaults)
                if (keyword_equals(line[0], word)) line_size = line.size();
        } else if (line_words && (line_words < line_size || is_number(word))) {
            text += ' ';
            text += word;
            ++line_words;
        } else {
            return unknown_keyword(d, word);
        }
    }
    if (line_words) text += "\r\n";
    text += workflow_block_end;
    text += "\r\n";
    return 0;
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
    if (args.empty()) return batch_refuse("apply needs a transformation, an input and an output");
    const TransformEntry* entry = transform_find_title(title_of(args[0]));
    if (!entry) return batch_refuse("no transformation of that name (see orvane-batch list)");
    if (!entry->descriptor) return batch_refuse("that transformation is not built yet");
    const TransformDescriptor& d = *entry->descriptor;

    std::vector<std::string> words;
    std::vector<std::string> files;
    std::string settings_path;
    std::string mask_path;
    for (std::size_t i = 1; i < args.size(); ++i) {
        if (args[i] == "--settings") {
            if (i + 1 >= args.size() || !settings_path.empty())
                return batch_refuse("--settings needs one file");
            settings_path = args[++i];
        } else if (args[i] == "--mask") {
            if (i + 1 >= args.size() || !mask_path.empty()) return batch_refuse("--mask needs one file");
            mask_path = args[++i];
        } else if (args[i].starts_with("--")) {
            // Never part of a label: an option this command doesn't know.
            std::fprintf(stderr, "orvane-batch: unknown option %s\n", args[i].c_str());
            return batch_exit_usage;
        } else {
            words.push_back(args[i]);
        }
    }
    if (words.size() < 2) return batch_refuse("apply needs an input and an output file");
    files.assign(words.end() - 2, words.end());
    words.resize(words.size() - 2);
    if (!settings_path.empty() && !d.settings_load)
        return batch_refuse("this transformation keeps no settings file");

    ParamBlock params;
    if (int err = params.allocate(d)) return batch_fail(err);
    if (!settings_path.empty()) {
        if (int err = d.settings_load(settings_path, params.get())) return batch_fail(err);
    }
    std::string text;
    if (int err = block_text(d, words, text)) return err;
    if (int err = read_block(d, text, params.get())) return batch_fail(err);

    const int filter = save_filter_of_stored_type(stored_file_type_of(FileTypeOfName(files[1])));
    if (filter == 0) return batch_fail(71);

    SaveOptions options;
    options.progress = batch_progress_on();
    // Line-by-line work from TIFF to TIFF or JPEG streams a band at a time;
    // a mask file, read whole, makes the work whole too.
    if (mask_path.empty() && save_filter_writes_bands(filter)) {
        BandRun run;
        run.filter = filter;
        run.descriptor = &d;
        run.params = params.get();
        run.save = options;
        const int err = band_run(files[0], files[1], run);
        if (err != band_run_declined) return err ? batch_fail(err) : 0;
    }
    ImageHolder input;
    std::vector<std::uint8_t> profile;
    CommentList comments;
    if (int err = batch_read(files[0], input.get(), &profile, &comments)) return batch_fail(err);
    // The amount mask: a gray picture of the input's size, black taking the
    // low amount and white the high one, as the editor's standing mask does.
    ImageHolder mask;
    if (!mask_path.empty()) {
        std::vector<std::uint8_t> mask_profile;
        if (int err = batch_read(mask_path, mask.get(), &mask_profile)) return batch_fail(err);
        const int err = mask->type != image_type_gray8                                 ? 14
                        : mask->width != input->width || mask->height != input->height ? 124
                                                                                       : 0;
        if (err != 0) {
            std::fprintf(stderr,
                         "orvane-batch: the mask must be an 8-bit gray picture of %d x %d pixels, "
                         "as the input: %s\n",
                         input->width, input->height, error_text(err));
            return err;
        }
        bool taken = false;
        for (const TransformField& field : d.fields) {
            if (!field.amount) continue;
            AmountSettings& amount = *field.amount(params.get());
            amount.amount_mask = mask.get();
            if (amount.amount_high < 0) {
                amount.amount_high = amount.amount_low;
                amount.amount_low = 0;
            }
            taken = true;
        }
        if (!taken) return batch_refuse("this transformation takes no amount mask");
    }
    ImageHolder output;
    if (int err = transform_compute_image(d, params.get(), input.get(), output.get()))
        return batch_fail(err);
    // A profile describes colour or gray: it goes where the result changed
    // from one to the other.
    if (image_is_colour(output.get()) != image_is_colour(input.get())) profile.clear();
    options.comments = &comments;
    if (int err = WriteImage(files[1].c_str(), filter, output.get(), profile, options))
        return batch_fail(err);
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
        std::printf("  %-24s %-8s %d\n", std::string(entry.title).c_str(),
                    entry.descriptor ? "built" : "not yet", entry.command);
    }
    return 0;
}
