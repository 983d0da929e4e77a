#include "transform/transform.h"

#include <algorithm>
#include <cstring>

#include "core/errors.h"
#include "core/line_access.h"
#include "core/progress.h"
#include "core/tables.h"

void fields_set_defaults(std::span<const TransformField> fields, void* params) {
    for (const TransformField& field : fields) {
        if (field.set) field.set(params, field.default_value);
        if (field.init) field.init(params);
        if (field.amount) {
            AmountSettings& amount = *field.amount(params);
            amount = AmountSettings{};
            amount.amount_low = static_cast<std::int32_t>(field.default_value);
            amount.bipolar = field.bipolar ? 1 : 0;
            const std::size_t n = std::min<std::size_t>(field.label.size(), amount_label_max);
            std::memcpy(amount.label, field.label.data(), n);
            amount.label[n] = '\0';
        }
    }
}

const TransformField* field_find(std::span<const TransformField> fields, std::string_view keyword) {
    for (const TransformField& field : fields)
        if (keyword_equals(field.keyword, keyword)) return &field;
    return nullptr;
}

ParamBlock& ParamBlock::operator=(ParamBlock&& other) noexcept {
    if (this != &other) {
        reset();
        descriptor_ = other.descriptor_;
        block_ = other.block_;
        other.descriptor_ = nullptr;
        other.block_ = nullptr;
    }
    return *this;
}

int ParamBlock::allocate(const TransformDescriptor& descriptor) {
    reset();
    block_ = descriptor.params_new();
    if (!block_) return err_memory;
    descriptor_ = &descriptor;
    return 0;
}

void ParamBlock::reset() {
    if (block_ && descriptor_) descriptor_->params_delete(block_);
    block_ = nullptr;
    descriptor_ = nullptr;
}

namespace {

// Samples of a pixel as the line source delivers it: binary arrives as bytes.
int samples_of(int type) {
    return type == image_type_colour8 || type == image_type_colour16 ? 3 : 1;
}

}  // namespace

int transform_copy_input(const ComputeArgs& args) {
    const Image* in = args.input_image();
    if (!in) return err_illegal_type;
    if (args.apply) return image_copy_with_progress(in, args.output);

    const int type = in->type;
    if (type != image_type_binary && type != image_type_gray8 && type != image_type_colour8 &&
        type != image_type_gray16 && type != image_type_colour16)
        return err_illegal_type;
    if (args.whole_region()) {
        const int out_type = type == image_type_binary ? image_type_gray8 : preview_type_of(type);
        if (int err = image_alloc(args.output, out_type, args.width, args.height, in->resolution))
            return err;
    }
    LineSource source;
    LineSink sink;
    line_source_init(&source);
    line_sink_init(&sink);
    int err =
        line_source_open(in, args.source_x, args.source_y, args.zoom, args.line_width, &source);
    if (!err)
        err = line_sink_open(args.output, args.zoom, args.region_x1, args.region_x2, args.region_y1,
                             args.apply, &sink);
    const int count = args.line_width * samples_of(type);
    const bool wide = type == image_type_gray16 || type == image_type_colour16;
    for (int line = 0; !err && line < args.line_count; ++line) {
        const std::uint8_t* from = line_source_next(&source);
        std::uint8_t* to = line_sink_line(&sink);
        if (wide) {
            const auto* samples = reinterpret_cast<const std::uint16_t*>(from);
            for (int i = 0; i < count; ++i)
                to[i] = to8[samples[i]];
        } else {
            std::memcpy(to, from, static_cast<std::size_t>(count));
        }
        line_sink_commit(&sink);
    }
    line_sink_close(&sink);
    line_source_close(&source);
    return err;
}

int transform_compute_image(const TransformDescriptor& descriptor, const void* params, Image* input,
                            Image* output, int width, int height) {
    WindowRecord record{};
    image_init(&record.image);
    image_init(&record.view_copy);
    image_init(&record.display_copy);
    record.zoom = 1;
    if (input) {
        image_move(input, &record.image);
        width = record.image.width;
        height = record.image.height;
        if (descriptor.output_size) descriptor.output_size(params, &record.image, width, height);
    }
    ComputeArgs args;
    args.input = input ? &record : nullptr;
    args.output = output;
    args.params = params;
    args.apply = true;
    args.width = width;
    args.height = height;
    args.zoom = 1;
    args.region_x2 = width - 1;
    args.region_y2 = height - 1;
    args.line_width = width;
    args.line_count = height;
    const int err = descriptor.compute(args);
    if (input) image_move(&record.image, input);
    return err;
}
