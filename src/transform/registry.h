// The catalogue of transformations: one row each, with the words of its menu
// entry, its command and panel numbers, the widget kind it stands as in a
// workflow, what it reads, the settings file it keeps, and its descriptor
// when it is built. Everything that lists, enables or finds a transformation
// asks here.
//
// The editor's menu keeps its rows in shell/command_table.h, but whether a
// transformation command can run comes from here: for a row of the
// Transformations menu, `transform_command_built(number)` decides whether it
// is enabled and dispatched, and `transform_find_command(number)->descriptor`
// is what transform_open (driver.h) takes.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "transform/transform.h"

// The groups of the Transformations menu, in the menu's order; the last one
// stands at the menu's top level.
enum class TransformGroup : std::uint8_t {
    geometry,
    gray,
    color,
    sharpen_blur_noise,
    special_effects,
    top_level,
};

// "&Geometry", "G&ray", ...; empty for the top level.
std::string_view transform_group_title(TransformGroup group);

// Bit 7 of a widget kind's image class: the kind needs the one panel slot.
inline constexpr int image_class_panel = 128;
// The most inputs a transformation that reads several images can take.
inline constexpr int inputs_several = 99;

struct TransformEntry {
    std::string_view title;       // the panel's title, "Add Noise"
    std::string_view menu_label;  // "Add &Noise..."
    TransformGroup group;
    int menu_order;  // place in its group, from 1
    int command;     // the menu command, 4043
    int panel_code;  // 51; 0 for the two made at once without a panel
    // The widget kind, or type 0 for a transformation that keeps no widget.
    int workflow_type;
    std::string_view workflow_name;   // the kind's file label, "Add Noise"
    std::string_view workflow_label;  // its short label
    int image_class;                  // low four bits the class, bit 7 image_class_panel
    int widget_flags;
    // Images read: 0 for none, 1 one, 2 a further image; several up to inputs_several.
    int inputs_min;
    int inputs_max;
    bool mask;                            // has the amount control: blends by amount and mask
    std::string_view settings_extension;  // ".as"; empty without a settings file
    // Copy and Negative: the window layer makes the result at once.
    bool window_operation;
    const TransformDescriptor* descriptor;  // null while not built
};

std::span<const TransformEntry> transform_registry();

// Lookups; null when nothing matches. Titles compare without regard to case.
const TransformEntry* transform_find_title(std::string_view title);
const TransformEntry* transform_find_command(int command);
const TransformEntry* transform_find_workflow_type(int type);

// Whether a menu command of a transformation is built: it has a descriptor,
// or it is one of the window operations. False for numbers not in the table.
bool transform_command_built(int command);
