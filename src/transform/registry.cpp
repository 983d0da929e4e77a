#include "transform/registry.h"

#include "transform/settings.h"

// The descriptors of the built transformations, each defined in its own file.
extern const TransformDescriptor add_noise_transform;
extern const TransformDescriptor brightness_curve_transform;
extern const TransformDescriptor brightness_transform;
extern const TransformDescriptor gamma_adjust_transform;
extern const TransformDescriptor color_curves_transform;
extern const TransformDescriptor levels_and_color_transform;
extern const TransformDescriptor blur_transform;
extern const TransformDescriptor sharpen_transform;
extern const TransformDescriptor two_zone_transform;
extern const TransformDescriptor three_zone_transform;
extern const TransformDescriptor resize_transform;
extern const TransformDescriptor noise_reduction_transform;
extern const TransformDescriptor advanced_sharpen_transform;
extern const TransformDescriptor crop_add_border_transform;

namespace {

using G = TransformGroup;
constexpr int P = image_class_panel;
constexpr int N = inputs_several;

// clang-format off
constinit const TransformEntry registry[] = {
    // title, menu label, group, order, command, panel code,
    // workflow type, name, label, class, flags,
    // inputs, mask, settings extension, window operation, descriptor
    {"Copy", "Cop&y", G::geometry, 1, 4005, 0, 0, "", "", 0, 0, 1, 1, false, "", true, nullptr},
    {"Mirror/Rotate", "&Mirror/Rotate...", G::geometry, 2, 4001, 19,
     187, "Mirror/Rotate", "Mirror/Rotate", 8 | P, 2 + 4, 1, 1, false, "", false, nullptr},
    {"Crop/Add Border", "&Crop/Add Border...", G::geometry, 3, 4002, 3,
     210, "Crop/Add Border", "Crop/Add Border", 8 | P, 4, 1, 1, false, "", false, &crop_add_border_transform},
    {"Level", "&Level...", G::geometry, 4, 4070, 103,
     195, "Level and Plumb", "Level and Plumb", 8 | P, 4, 1, 1, false, "", false, nullptr},
    {"Resize", "&Resize...", G::geometry, 5, 4003, 24,
     198, "Resize", "Resize", 8 | P, 2, 1, 1, false, "", false, &resize_transform},
    {"Warp", "&Warp...", G::geometry, 6, 4004, 23,
     188, "Warp", "Warp", 8 | P, 4, 1, 1, false, "", false, nullptr},
    {"Fan", "&Fan...", G::geometry, 7, 4022, 46,
     189, "Fan", "Fan", 8 | P, 4, 1, 1, false, "", false, nullptr},
    {"Displace", "&Displace...", G::geometry, 8, 4010, 35,
     190, "Displace", "Displace", 8 | P, 4, 2, 2, true, "", false, nullptr},
    {"Lens Distortion", "Lens Dis&tortion...", G::geometry, 9, 4056, 70,
     191, "Barrel/Pincushion Distortion", "Lens Distortion", 10 | P, 0, 1, 1, false,
     ".lensdistortion", false, nullptr},

    {"Negative", "&Negative", G::gray, 1, 4006, 0,
     123, "B+W Negative", "Negative", 0, 64, 1, 1, false, "", true, nullptr},
    {"Levels and Color", "&Levels and Color...", G::gray, 2, 4054, 43,
     211, "Levels and Color", "Levels and Color", 8 | P, 0, 1, 1, true, "", false, &levels_and_color_transform},
    {"Brightness Curve", "Brightness &Curve...", G::gray, 3, 4050, 4,
     207, "Brightness Curve", "Brightness Curve", 8 | P, 4, 1, 1, true, "", false, &brightness_curve_transform},
    {"Brightness", "&Brightness...", G::gray, 4, 4052, 29,
     142, "Brightness", "Brightness", 10 | P, 4, 1, 1, true, "", false, &brightness_transform},
    {"Tint", "&Tint...", G::gray, 5, 4051, 11,
     205, "Tint", "Tint", 10 | P, 4, 1, 1, true, "", false, nullptr},
    {"Light Falloff", "Light &Falloff...", G::gray, 6, 4055, 66,
     194, "Light Falloff", "Light Falloff", 10 | P, 0, 1, 1, false, ".falloff", false, nullptr},
    {"Gamma Adjust", "&Gamma Adjust...", G::gray, 7, 4029, 65,
     127, "Gamma Adjust", "Gamma Adjust", 10 | P, 0, 1, 1, false, "", false, &gamma_adjust_transform},
    {"Combine Channels", "C&ombine Channels...", G::gray, 8, 4023, 49,
     0, "", "", 0, 0, 3, 3, false, "", false, nullptr},
    {"2-Zone Adjustment", "&2-Zone Adjustment...", G::gray, 9, 4071, 104,
     143, "Two Zone", "Two Zone", 10 | P, 4, 1, 1, true, ".zone2", false, &two_zone_transform},
    {"3-Zone Adjustment", "&3-Zone Adjustment...", G::gray, 10, 4066, 99,
     141, "Three Zone", "Three Zone", 10 | P, 4, 1, 1, true, ".zone3", false, &three_zone_transform},

    {"Color Balance", "&Balance...", G::color, 1, 4011, 22,
     217, "Color Balance", "Color Balance", 9 | P, 0, 1, 1, true, ".cb", false, nullptr},
    {"Color Curves", "&Curves...", G::color, 2, 4049, 28,
     212, "Color Curves", "Color Curves", 9 | P, 0, 1, 1, true, ".cc", false, &color_curves_transform},
    {"Saturation", "&Saturation...", G::color, 3, 4012, 31,
     133, "Color Saturation", "Saturation", 9 | P, 0, 1, 1, true, "", false, nullptr},
    {"Extract Channel", "E&xtract Channel...", G::color, 4, 4015, 10,
     0, "", "", 0, 0, 1, 1, false, "", false, nullptr},
    {"Reassign Channels", "&Reassign Channels...", G::color, 5, 4074, 108,
     202, "Reassign Channels", "Reassign Channels", 8 | P, 0, 1, 1, false, "", false, nullptr},
    {"Monochrome", "&Monochrome...", G::color, 6, 4013, 5,
     216, "Monochrome (Color to B+W)", "Monochrome", 9 | P, 0, 1, 1, true, "", false, nullptr},
    {"Color Correct", "Co&rrection...", G::color, 7, 4031, 69,
     145, "Correction (Color Mechanic)", "Correction (Color Mechanic)", 9 | P, 4, 1, 1, true,
     ".colorcorrect", false, nullptr},
    {"Color Remap", "Remap...", G::color, 8, 4065, 98,
     214, "Remap Colors", "Remap Colors", 9 | P, 4, 1, 1, true, "", false, nullptr},
    {"Moire Reduction", "M&oire Reduction...", G::color, 9, 4061, 83,
     0, "", "", 0, 0, 1, 1, false, "", false, nullptr},
    {"Chromatic Aberration", "Chromatic &Aberration...", G::color, 10, 4057, 71,
     134, "Chromatic Aberration", "Chromatic Aberration", 9 | P, 0, 1, 1, false, "", false,
     nullptr},
    {"Match Reference", "Match Re&ference...", G::color, 11, 4060, 76,
     135, "Match Reference", "Match Reference", 9 | P, 0, 1, 2, false, ".ref", false, nullptr},
    {"Change Color Profile", "Change Color &Profile...", G::color, 12, 4058, 72,
     213, "Color Profile", "Change Color Profile", 9 | P, 4, 1, 1, false, "", false, nullptr},
    {"Color Negative", "&Negative...", G::color, 13, 4059, 74,
     215, "Color Negative", "Negative", 9 | P, 0, 1, 1, true, ".cn", false, nullptr},
    {"Color Registration", "&Registration...", G::color, 14, 4024, 50,
     138, "Color Registration", "Registration", 9 | P, 0, 1, 1, false, ".cr", false, nullptr},

    {"Sharpen", "&Sharpen...", G::sharpen_blur_noise, 1, 4019, 7,
     192, "Sharpen", "Sharpen", 10 | P, 0, 1, 1, true, "", false, &sharpen_transform},
    {"Advanced Sharpen", "&Advanced Sharpen...", G::sharpen_blur_noise, 2, 4032, 82,
     0, "", "", 0, 0, 1, 1, false, ".as", false, &advanced_sharpen_transform},
    {"Blur", "&Blur...", G::sharpen_blur_noise, 3, 4020, 8,
     153, "Blur", "Blur", 8 | P, 0, 1, 1, true, "", false, &blur_transform},
    {"Noise Reduction", "Noise Reduction...", G::sharpen_blur_noise, 4, 4073, 107,
     200, "Noise Reduction", "Noise Reduction", 8 | P, 0, 1, 1, true, "", false, &noise_reduction_transform},

    {"Add Noise", "Add &Noise...", G::special_effects, 1, 4043, 51,
     171, "Add Noise", "Add Noise", 8 | P, 0, 1, 1, true, "", false, &add_noise_transform},
    {"Button", "&Button...", G::special_effects, 2, 4072, 106,
     0, "", "", 0, 0, 1, 1, false, "", false, nullptr},
    {"Calendar", "&Calendar...", G::special_effects, 3, 4048, 57,
     219, "Calendar", "Calendar", 8 | P, 0, 1, 1, false, "", false, nullptr},
    {"Conformal Mapping", "C&onformal Mapping...", G::special_effects, 4, 4063, 96,
     173, "Conformal Map", "Conformal Map", 8 | P, 0, 1, 1, false, "", false, nullptr},
    {"Difference", "&Difference...", G::special_effects, 5, 4042, 42,
     0, "", "", 0, 0, 2, 2, false, "", false, nullptr},
    {"Drop Shadow", "Drop Shado&w...", G::special_effects, 6, 4064, 97,
     0, "", "", 0, 0, 1, 1, false, "", false, nullptr},
    {"Edge", "Ed&ge...", G::special_effects, 7, 4041, 40,
     176, "Edge", "Edge", 8 | P, 0, 1, 1, true, "", false, nullptr},
    {"Emboss", "&Emboss...", G::special_effects, 8, 4040, 41,
     204, "Emboss", "Emboss", 8 | P, 0, 1, 1, true, "", false, nullptr},
    {"Equalize", "E&qualize...", G::special_effects, 9, 4044, 56,
     178, "Equalize", "Equalize", 8 | P, 0, 1, 1, true, "", false, nullptr},
    {"Grid", "&Grid...", G::special_effects, 10, 4028, 64,
     203, "Grid", "Grid", 8 | P, 0, 1, 1, true, "", false, nullptr},
    {"Halftone", "&Halftone...", G::special_effects, 11, 4014, 6,
     0, "", "", 0, 0, 1, 2, true, "", false, nullptr},
    {"High Contrast", "H&igh Contrast...", G::special_effects, 12, 4008, 53,
     181, "High Contrast", "High Contrast", 8 | P, 0, 1, 1, true, "", false, nullptr},
    {"Interlace", "&Interlace...", G::special_effects, 13, 4030, 67,
     182, "Interlace", "Interlace", 8 | P, 0, 2, 2, false, "", false, nullptr},
    {"Kaleidoscope", "&Kaleidoscope...", G::special_effects, 14, 4046, 48,
     183, "Kaleidoscope", "Kaleidoscope", 8 | P, 0, 1, 1, false, "", false, nullptr},
    {"Posterize", "&Posterize...", G::special_effects, 15, 4027, 63,
     184, "Posterize", "Posterize", 8 | P, 0, 1, 1, true, "", false, nullptr},
    {"Spiral", "&Spiral...", G::special_effects, 16, 4047, 54,
     185, "Spiral", "Spiral", 8 | P, 0, 1, 1, false, "", false, nullptr},
    {"Stereo", "Ste&reo...", G::special_effects, 17, 4045, 34,
     0, "", "", 0, 0, 2, 2, false, "", false, nullptr},
    {"Tile", "&Tile...", G::special_effects, 18, 4007, 52,
     186, "Tile", "Tile", 8 | P, 0, 1, 1, false, "", false, nullptr},

    {"Convert", "Con&vert...", G::top_level, 1, 4053, 61,
     150, "Convert pixel format", "Convert", 8 | P, 0, 1, 1, false, "", false, nullptr},
    {"Filter", "&Filter...", G::top_level, 2, 4017, 25,
     208, "Filter", "Filter", 8 | P, 0, 1, 2, true, "", false, nullptr},
    {"Text", "&Text...", G::top_level, 3, 4021, 33,
     218, "Text ", "Text", 10 | P, 0, 1, 1, false, "", false, nullptr},
    {"Composite", "Co&mposite...", G::top_level, 4, 4018, 38,
     0, "", "", 0, 0, 2, 2, true, "", false, nullptr},
    {"Stack Images", "HDR/Stac&k Images...", G::top_level, 5, 4062, 77,
     0, "", "", 0, 0, 1, N, false, ".stack", false, nullptr},
    {"Layout", "&Layout...", G::top_level, 6, 4009, 21,
     0, "", "", 0, 0, 1, N, false, ".lyt", false, nullptr},
    {"Gradient", "Gra&dient...", G::top_level, 7, 4016, 39,
     147, "Gradient", "Gradient", 8 | P, 0, 0, 1, true, ".fcrv", false, nullptr},
    {"Texture", "&Texture...", G::top_level, 8, 4025, 58,
     149, "Texture", "Texture", 8 | P, 0, 0, 0, false, "", false, nullptr},
};
// clang-format on

}  // namespace

std::string_view transform_group_title(TransformGroup group) {
    switch (group) {
        case TransformGroup::geometry:
            return "&Geometry";
        case TransformGroup::gray:
            return "G&ray";
        case TransformGroup::color:
            return "&Color";
        case TransformGroup::sharpen_blur_noise:
            return "Sharpen, Blur, Noise";
        case TransformGroup::special_effects:
            return "Special &Effects";
        case TransformGroup::top_level:
            break;
    }
    return {};
}

std::span<const TransformEntry> transform_registry() {
    return registry;
}

const TransformEntry* transform_find_title(std::string_view title) {
    for (const TransformEntry& entry : registry)
        if (keyword_equals(entry.title, title)) return &entry;
    return nullptr;
}

const TransformEntry* transform_find_command(int command) {
    for (const TransformEntry& entry : registry)
        if (entry.command == command) return &entry;
    return nullptr;
}

const TransformEntry* transform_find_workflow_type(int type) {
    if (type == 0) return nullptr;
    for (const TransformEntry& entry : registry)
        if (entry.workflow_type == type) return &entry;
    return nullptr;
}

bool transform_command_built(int command) {
    const TransformEntry* entry = transform_find_command(command);
    return entry && (entry->descriptor != nullptr || entry->window_operation);
}
