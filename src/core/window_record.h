// The records behind image windows: a fixed table of 256, each holding the
// picture, its two screen copies, the view geometry, names and profile; the
// dependency links between windows that keep a window in use from closing;
// and the zoom and view arithmetic that every window command shares.
//
// The records are headless so that the transformation framework, the file
// layer and the workflow code can use them. A window is known here only as a
// WindowBase, the words the shell's windows carry beside their widgets.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/comments.h"
#include "core/image.h"

inline constexpr int window_record_count = 256;
inline constexpr int path_limit = 260;

// Window kinds: 0 image, 1 preview, other values below 109 a panel with its
// code, and these special windows.
enum WindowKind : int {
    window_kind_image = 0,
    window_kind_preview = 1,
    window_kind_progress = 12,
    window_kind_mask_tool = 45,
    window_kind_workflow_step = 59,
    window_kind_splash = 79,
    window_kind_history_entry = 80,
    window_kind_album = 86,
    window_kind_dock = 87,
    window_kind_workflow_window = 90,
    window_kind_browser_viewer = 91,
    window_kind_raw = 92,
};

// The words a window carries beside its widget.
class WindowBase {
public:
    virtual ~WindowBase() = default;
    int window_kind = window_kind_image;
    int record_slot = -1;
    int modified = 0;
    int saved_x = 0;
    int saved_y = 0;
    int busy = 0;  // a background thread is writing the picture: closing only beeps
};

struct WindowRecord {
    Image image;
    Image view_copy;     // visible part at the zoom, in the 8-bit form of the type
    Image display_copy;  // type 3: what painting draws
    std::int32_t display_scale;
    std::int64_t reserved;
    std::int32_t zoom;  // 1, n >= 2 magnified, -n reduced; never 0 or -1
    // Part of the picture in view, inclusive, y counted from the top.
    std::int32_t image_x1, image_y1, image_x2, image_y2;
    // The same in zoomed pixels: the scroll position.
    std::int32_t view_x1, view_y1, view_x2, view_y2;
    std::int32_t view_width, view_height;     // size of view_copy
    std::int32_t scroll_max_x, scroll_max_y;  // 0 when the bar is hidden
    std::int32_t offset_x, offset_y;          // where the view starts: centres small pictures
    bool free;
    std::int32_t slot;
    // Counts takes over the whole run: tells a record's new use from its last.
    std::uint64_t taken;
    std::string file_name;     // empty for an unsaved image; at most 260 bytes
    std::string derived_from;  // file of the picture this one came from
    std::int32_t file_type;    // stored file type of the file read
    WindowBase* window;
    WindowBase* mask_window;
    std::int32_t overlay_strength, overlay_red, overlay_green, overlay_blue;
    std::vector<std::uint8_t> profile;  // embedded ICC profile
    CommentList comments;               // what the file said about itself
};

// Allocates the table with every record free and numbered. Safe to repeat:
// it releases what the records hold first, without touching their windows.
void window_record_table_init();
// Takes the next free record, searching circularly from a moving start, and
// clears it. 13 ("Too many images") when none is free.
[[nodiscard]] int window_record_take(int* slot, WindowRecord** record);
// Frees everything the record holds and marks it free; slot -1 does nothing.
void window_record_release(int slot);
// Whether a record is free, so that a long load is not made for nothing: 0,
// or 13 when all are taken.
[[nodiscard]] int window_record_check_free();
WindowRecord* window_record_at(int slot);
// Null for no window or a window without a record.
WindowRecord* window_record_of(const WindowBase* window);
// Gives the record's window: sets both sides of the binding.
void window_record_bind(WindowRecord* record, WindowBase* window);

// Dependency links: a panel on its input, a panel on a mask, a history entry
// on a window. Owner null stands for the shell itself.
using LinkNotifier = void (*)(WindowBase* owner, WindowBase* target);
void link_add(WindowBase* owner, WindowBase* target, const std::string& name, bool blocks_close);
void link_remove(WindowBase* owner, WindowBase* target);
void link_remove_all(WindowBase* owner);
// Removes every link that names `window` as owner or target (the window is gone).
void links_forget_window(WindowBase* window);
// Name of the newest link that keeps `target` from closing; empty when none.
std::string link_blocker(const WindowBase* target);
// Tells every owner linked to `target` that the picture changed.
void links_notify_changed(WindowBase* target);
// How owners are told; installed by the shell.
void links_set_notifier(LinkNotifier notifier);
std::size_t link_count();

// Zoom steps, the same for every command: ... -3, -2, 1, 2, 3 ...
int zoom_step_in(int zoom);
int zoom_step_out(int zoom);
// Size of `size` picture pixels at a zoom.
int zoomed_size(int size, int zoom);
// Scroll position (view rectangle) to the picture rectangle in view.
void view_to_picture_rect(WindowRecord* record);

// "%s (%d:1 - %d x %d)" and its reduced twin around a base title, for the
// types that show pixels.
std::string window_title_with_zoom(const std::string& base, const Image& image, int zoom);
// "%d - %s", "Untitled %d - %s" or "Untitled %d", naming the file without its
// folder unless `full_path`.
std::string window_title_base(const WindowRecord& record, bool full_path);

// The window-level "Copy" and "Negative": the picture, profile and annotations
// into `dest`, with the "Copy" or "Negative" progress panel from 150000
// pixels. Types 1, 2, 3, 6, 7 and 8 only (14 otherwise).
[[nodiscard]] int window_duplicate(const WindowRecord* source, WindowRecord* dest);
[[nodiscard]] int window_negative(const WindowRecord* source, WindowRecord* dest);
// `derived_from` (the source's name, or its own `derived_from`), the file type
// and the comments, which a result keeps from its input.
void window_copy_annotations(const WindowRecord* source, WindowRecord* dest);
