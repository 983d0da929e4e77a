// Every command of the editor's menus, in menu order: its number (which also
// stands in toolbars and key tables), its label with the mnemonic, its shortcut,
// its menu, the panel a transformation opens, and whether it is built. The menus
// are made from this table and the dispatch looks commands up in it.
#pragma once

#include <cstdint>
#include <string_view>

enum class MenuId : std::uint8_t {
    none,  // dispatched, but with no menu entry of its own
    file,
    edit,
    transformations,
    mask,  // a submenu of the Tools menu
    tools,
    window,
    help,
};

struct CommandEntry {
    int number;
    const char* label;     // null when there is no menu entry
    const char* shortcut;  // QKeySequence's portable text; empty for none
    MenuId menu;
    int panel_code;            // the transformation panel it opens; 0 for none
    bool built;                // false: shown disabled, and the dispatch refuses it
    bool group_start = false;  // a separator comes before it in its menu
    int last = 0;              // a range: the numbers from `number` up to `last` share the entry
};

// The recent files of the File menu take the numbers from 1100 to 1109.
inline constexpr int recent_file_first = 1100;
inline constexpr int recent_file_last = 1109;

// clang-format off
inline constexpr CommandEntry command_table[] = {
    // File
    {1001, "&New Image...", "Ctrl+N", MenuId::file, 0, true},
    {1026, "&Workflow...", "", MenuId::file, 0, false},
    {1015, "Album...", "", MenuId::file, 0, false},
    {1002, "&Open...", "Ctrl+O", MenuId::file, 0, true, true},
    {1020, "&Browse...", "Ctrl+B", MenuId::file, 0, false},
    {1006, "&Save", "Ctrl+S", MenuId::file, 0, true, true},
    {1007, "Save &As...", "", MenuId::file, 0, true},
    {1027, "Save As Widget...", "", MenuId::file, 0, false},
    {1024, "Save Profile As...", "", MenuId::file, 0, false},
    {1008, "C&lose", "", MenuId::file, 0, true, true},
    {1009, "&Revert", "", MenuId::file, 0, true},
    {1011, "Acquire (Scan - 64 bit driver)...", "Ctrl+A", MenuId::file, 0, false, true},
    {1012, "Select Scanner (64 bit drivers)...", "", MenuId::file, 0, false},
    {1005, "Scan using 32 bit drivers", "", MenuId::file, 0, false},
    {1014, "&Print...", "Ctrl+P", MenuId::file, 0, false, true},
    {1016, "Print Setup...", "", MenuId::file, 0, false},
    {1018, "Slide S&how...", "", MenuId::file, 0, false, true},
    {1010, "Preferences", "", MenuId::file, 0, true, true},
    {1019, "Associations...", "", MenuId::file, 0, false},
    {1021, "Color &Management...", "", MenuId::file, 0, false},
    {1022, "Printer Curves...", "", MenuId::file, 0, false},
    {1023, "Raw Settings...", "", MenuId::file, 0, false},
    {1013, "E&xit", "Ctrl+Q", MenuId::file, 0, true, true},
    // The recent files: their entries follow the list, not this table.
    {recent_file_first, nullptr, "", MenuId::none, 0, true, false, recent_file_last},
    // Edit
    {2001, "&Undo", "Ctrl+Z", MenuId::edit, 0, true},
    {2002, "Undo &All", "", MenuId::edit, 0, true},
    {2003, "Cop&y", "", MenuId::edit, 0, true, true},
    {2004, "&Paste", "", MenuId::edit, 0, true},
    // Transformations: 4005 and 4006 make their window at once, without a panel.
    {4001, "&Mirror/Rotate...", "", MenuId::transformations, 19, false},
    {4002, "&Crop/Add Border...", "", MenuId::transformations, 3, false},
    {4003, "&Resize...", "", MenuId::transformations, 24, false},
    {4004, "&Warp...", "", MenuId::transformations, 23, false},
    {4005, "Cop&y", "", MenuId::transformations, 0, true},
    {4006, "&Negative", "", MenuId::transformations, 0, true},
    {4007, "&Tile...", "", MenuId::transformations, 52, false},
    {4008, "H&igh Contrast...", "", MenuId::transformations, 53, false},
    {4009, "&Layout...", "", MenuId::transformations, 21, false},
    {4010, "&Displace...", "", MenuId::transformations, 35, false},
    {4011, "&Balance...", "", MenuId::transformations, 22, false},
    {4012, "&Saturation...", "", MenuId::transformations, 31, false},
    {4013, "&Monochrome...", "", MenuId::transformations, 5, false},
    {4014, "&Halftone...", "", MenuId::transformations, 6, false},
    {4015, "E&xtract Channel...", "", MenuId::transformations, 10, false},
    {4016, "Gra&dient...", "", MenuId::transformations, 39, false},
    {4017, "&Filter...", "", MenuId::transformations, 25, false},
    {4018, "Co&mposite...", "", MenuId::transformations, 38, false},
    {4019, "&Sharpen...", "", MenuId::transformations, 7, false},
    {4020, "&Blur...", "", MenuId::transformations, 8, false},
    {4021, "&Text...", "", MenuId::transformations, 33, false},
    {4022, "&Fan...", "", MenuId::transformations, 46, false},
    {4023, "C&ombine Channels...", "", MenuId::transformations, 49, false},
    {4024, "&Registration...", "", MenuId::transformations, 50, false},
    {4025, "&Texture...", "", MenuId::transformations, 58, false},
    {4027, "&Posterize...", "", MenuId::transformations, 63, false},
    {4028, "&Grid...", "", MenuId::transformations, 64, false},
    {4029, "&Gamma Adjust...", "", MenuId::transformations, 65, false},
    {4030, "&Interlace...", "", MenuId::transformations, 67, false},
    {4031, "Co&rrection...", "", MenuId::transformations, 69, false},
    {4032, "&Advanced Sharpen...", "", MenuId::transformations, 82, false},
    {4040, "&Emboss...", "", MenuId::transformations, 41, false},
    {4041, "Ed&ge...", "", MenuId::transformations, 40, false},
    {4042, "&Difference...", "", MenuId::transformations, 42, false},
    {4043, "Add &Noise...", "", MenuId::transformations, 51, false},
    {4044, "E&qualize...", "", MenuId::transformations, 56, false},
    {4045, "Ste&reo...", "", MenuId::transformations, 34, false},
    {4046, "&Kaleidoscope...", "", MenuId::transformations, 48, false},
    {4047, "&Spiral...", "", MenuId::transformations, 54, false},
    {4048, "&Calendar...", "", MenuId::transformations, 57, false},
    {4049, "&Curves...", "", MenuId::transformations, 28, false},
    {4050, "Brightness &Curve...", "", MenuId::transformations, 4, false},
    {4051, "&Tint...", "", MenuId::transformations, 11, false},
    {4052, "&Brightness...", "", MenuId::transformations, 29, false},
    {4053, "Con&vert...", "", MenuId::transformations, 61, false},
    {4054, "&Levels and Color...", "", MenuId::transformations, 43, false},
    {4055, "Light &Falloff...", "", MenuId::transformations, 66, false},
    {4056, "Lens Dis&tortion...", "", MenuId::transformations, 70, false},
    {4057, "Chromatic &Aberration...", "", MenuId::transformations, 71, false},
    {4058, "Change Color &Profile...", "", MenuId::transformations, 72, false},
    {4059, "&Negative...", "", MenuId::transformations, 74, false},
    {4060, "Match Re&ference...", "", MenuId::transformations, 76, false},
    {4061, "M&oire Reduction...", "", MenuId::transformations, 83, false},
    {4062, "HDR/Stac&k Images...", "", MenuId::transformations, 77, false},
    {4063, "C&onformal Mapping...", "", MenuId::transformations, 96, false},
    {4064, "Drop Shado&w...", "", MenuId::transformations, 97, false},
    {4065, "Remap...", "", MenuId::transformations, 98, false},
    {4066, "&3-Zone Adjustment...", "", MenuId::transformations, 99, false},
    {4069, nullptr, "", MenuId::none, 102, false},
    {4070, "&Level...", "", MenuId::transformations, 103, false},
    {4071, "&2-Zone Adjustment...", "", MenuId::transformations, 104, false},
    {4072, "&Button...", "", MenuId::transformations, 106, false},
    {4073, "Noise Reduction...", "", MenuId::transformations, 107, false},
    {4074, "&Reassign Channels...", "", MenuId::transformations, 108, false},
    // Tools, then the mask tool's submenu: 4501 to 4550 are the masks it
    // lists once they have been used.
    {6001, "&Readout", "", MenuId::tools, 0, false},
    {6002, "&Scroll", "", MenuId::tools, 0, true},
    {6003, "&Zoom", "", MenuId::tools, 0, false},
    {6004, "&Clone", "", MenuId::tools, 0, false},
    {6005, "&Paint", "", MenuId::tools, 0, false},
    {6006, "&Line and Arrow", "", MenuId::tools, 0, false},
    {6007, "Misce&llaneous", "", MenuId::tools, 0, false},
    {6008, "&Magnifier", "", MenuId::tools, 0, false},
    {6009, "&Histogram", "", MenuId::tools, 0, false},
    {4500, "&New", "", MenuId::mask, 0, true},
    {4501, nullptr, "", MenuId::none, 0, false, false, 4550},
    // Window
    {3001, "&Info...", "Ctrl+W", MenuId::window, 0, true},
    {3022, "File Co&mments...", "", MenuId::window, 0, false},
    {3021, "&Count Colors...", "", MenuId::window, 0, false},
    {3002, "&Grid...", "", MenuId::window, 0, false},
    {3020, "&Blink...", "", MenuId::window, 0, false},
    {3023, "Show Image &Type", "", MenuId::window, 0, false},
    {3010, "Show Main Toolbar", "", MenuId::window, 0, false, true},
    {3026, "Show Transformation Bar", "", MenuId::window, 0, false},
    {3027, "Configure Toolbars", "", MenuId::window, 0, false},
    {3003, "&Expand", "", MenuId::window, 0, true, true},
    {3004, "&Fit", "", MenuId::window, 0, true},
    {3006, "Zoom In and Resize", "", MenuId::window, 0, true},
    {3005, "Zoom In", "", MenuId::window, 0, true},
    {3007, "Zoom Out", "", MenuId::window, 0, true},
    {3008, "&Zoom Factor...", "", MenuId::window, 0, true},
    {3015, "Zoom &1:1", "", MenuId::window, 0, true},
    {3016, "Zoom 1:1 and &Resize", "", MenuId::window, 0, true},
    {3012, "Next", "Ins", MenuId::window, 0, true, true},
    {3024, "Bring Dialogs to Top", "Ctrl+T", MenuId::window, 0, true},
    {3017, "&Cascade", "", MenuId::window, 0, true, true},
    {3018, "Tile &Horizontal", "", MenuId::window, 0, true},
    {3019, "Tile &Vertical", "", MenuId::window, 0, true},
    {3013, "&Arrange Icons", "", MenuId::window, 0, true},
    {3014, "Close All", "", MenuId::window, 0, true},
    // Help
    {7006, "Quick Start &Tutorial", "", MenuId::help, 0, false},
    {7008, "&Open Electronic Manual", "", MenuId::help, 0, false},
    {4474, "&Getting Started", "", MenuId::help, 0, false},
    {7001, "&Contents", "", MenuId::help, 0, false, true},
    {7002, "&Search", "", MenuId::help, 0, false},
    {7004, "G&lossary", "", MenuId::help, 0, false},
    {7003, "Con&text", "F1", MenuId::help, 0, false},
    {7012, "Su&pport Settings", "", MenuId::help, 0, false, true},
    {7011, "Check for &Updates", "", MenuId::help, 0, false},
    {7005, "About Orvane Pro", "", MenuId::help, 0, true, true},
};
// clang-format on

// The entry of a command number, or null when no command has that number.
constexpr const CommandEntry* command_find(int number) {
    for (const CommandEntry& entry : command_table) {
        const int last = entry.last != 0 ? entry.last : entry.number;
        if (number >= entry.number && number <= last) return &entry;
    }
    return nullptr;
}

// Titles of the menus, by their ids.
constexpr std::string_view menu_title(MenuId menu) {
    switch (menu) {
        case MenuId::file:
            return "&File";
        case MenuId::edit:
            return "&Edit";
        case MenuId::transformations:
            return "&Transformations";
        case MenuId::mask:
            return "Mask";
        case MenuId::tools:
            return "T&ools";
        case MenuId::window:
            return "&Window";
        case MenuId::help:
            return "&Help";
        case MenuId::none:
            break;
    }
    return {};
}
