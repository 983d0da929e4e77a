#include "cli/batch_mask.h"

#include <algorithm>
#include <cstdio>

#include "cli/batch_io.h"
#include "core/errors.h"
#include "core/image.h"
#include "core/settings_text.h"
#include "file/write_image.h"
#include "mask/mask_ops.h"
#include "mask/outline_file.h"

namespace {

bool ends_with(const std::string& name, std::string_view tail) {
    return name.size() >= tail.size() &&
           keyword_equals(std::string_view(name).substr(name.size() - tail.size()), tail);
}

}  // namespace

int batch_mask(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    int feather = 0;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--feather") {
            if (i + 1 >= args.size() || !parse_integer(args[i + 1], feather) || feather < -64 ||
                feather > 64)
                return batch_refuse("--feather needs a width from -64 to 64");
            ++i;
        } else if (args[i].starts_with("--")) {
            std::fprintf(stderr, "orvane-batch: unknown option %s\n", args[i].c_str());
            return batch_exit_usage;
        } else {
            files.push_back(args[i]);
        }
    }
    if (files.size() != 3)
        return batch_refuse("mask needs an outline, a reference picture and an output");
    OutlineKind kind = OutlineKind::polygon;
    if (ends_with(files[0], outline_extension(OutlineKind::spline)))
        kind = OutlineKind::spline;
    else if (!ends_with(files[0], outline_extension(OutlineKind::polygon)))
        return batch_refuse("the outline is a .poly or a .spline file");
    const int filter = batch_filter_of_name(files[2]);
    if (int err = batch_filter_check(filter)) return batch_fail(err);

    ImageHolder reference;
    std::vector<std::uint8_t> profile;
    if (int err = batch_read(files[1], reference.get(), &profile)) return batch_fail(err);
    std::vector<OutlinePoint> points;
    if (int err = outline_read(files[0], kind, reference->width, reference->height, points))
        return batch_fail(err);

    ImageHolder mask;
    if (int err =
            image_alloc(mask.get(), image_type_gray8, reference->width, reference->height, 100.0))
        return batch_fail(err);
    for (int y = 0; y < mask->height; ++y)
        std::fill(mask->rows[y], mask->rows[y] + mask->width, std::uint8_t{0});
    LineClasses classes;
    line_classes_compute(*mask, classes);
    const int err = kind == OutlineKind::spline
                        ? mask_region_spline(points, mask_mode_add, mask.get(), classes, nullptr)
                        : mask_region_polygon(points, mask_mode_add, mask.get(), classes, nullptr);
    if (err != 0) return batch_fail(err);
    if (feather != 0) {
        ImageHolder soft;
        if (int code = mask_feather(mask.get(), soft.get(), feather, 0, 0, classes, false))
            return batch_fail(code);
        image_move(soft.get(), mask.get());
    }
    SaveOptions options;
    if (int code = WriteImage(files[2].c_str(), filter, mask.get(), {}, options)) return batch_fail(code);
    return 0;
}
