#include "core/window_record.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <list>

#include "core/errors.h"
#include "core/format.h"
#include "core/progress.h"

namespace {

std::array<WindowRecord, window_record_count> records;
bool records_ready = false;
int next_take = 0;  // the free-slot search starts here and moves on

struct Link {
    WindowBase* owner;
    WindowBase* target;
    bool blocks_close;
    std::string name;
};
std::list<Link> links;  // newest first
LinkNotifier notifier = nullptr;

void clear_record(WindowRecord* r, int slot) {
    image_free(&r->image);
    image_free(&r->view_copy);
    image_free(&r->display_copy);
    r->display_scale = 1;
    r->reserved = 0;
    r->zoom = 1;
    r->image_x1 = r->image_y1 = r->image_x2 = r->image_y2 = 0;
    r->view_x1 = r->view_y1 = r->view_x2 = r->view_y2 = 0;
    r->view_width = r->view_height = 0;
    r->scroll_max_x = r->scroll_max_y = 0;
    r->offset_x = r->offset_y = 0;
    r->free = true;
    r->slot = slot;
    r->taken = 0;
    r->file_name.clear();
    r->derived_from.clear();
    r->file_type = 0;
    r->window = nullptr;
    r->mask_window = nullptr;
    r->overlay_strength = 0;
    r->overlay_red = 255;
    r->overlay_green = 0;
    r->overlay_blue = 0;
    r->profile.clear();
    r->profile.shrink_to_fit();
    CommentFreeAll(&r->comments);
}

void ensure_table() {
    if (!records_ready) window_record_table_init();
}

std::string name_without_folder(const std::string& path) {
    const std::size_t cut = path.find_last_of("/\\");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

// Copies the picture line by line under a "Copy" or "Negative" panel, then
// applies `per_line` to every destination line.
template <typename PerLine>
int copy_window_picture(const WindowRecord* source, WindowRecord* dest, const char* title,
                        PerLine per_line) {
    const Image* in = &source->image;
    switch (in->type) {
        case image_type_binary:
        case image_type_gray8:
        case image_type_colour8:
        case image_type_gray16:
        case image_type_colour16:
        case image_type_mosaic:
            break;
        default:
            return err_illegal_type;
    }
    Image* out = &dest->image;
    if (int err = image_alloc_like(in, out)) return err;
    const ProgressScope progress(title, static_cast<std::int32_t>(in->width * in->height), 0,
                                 in->height - 1, true);
    for (int y = 0; y < in->height; ++y) {
        std::memcpy(out->rows[y], in->rows[y], static_cast<std::size_t>(in->row_bytes));
        per_line(out, out->rows[y]);
        if (int err = progress.step(y)) {
            image_free(out);
            return err;
        }
    }
    dest->profile = source->profile;
    dest->zoom = source->zoom;
    window_copy_annotations(source, dest);
    return 0;
}

}  // namespace

void window_record_table_init() {
    for (int i = 0; i < window_record_count; ++i) {
        WindowRecord* r = &records[i];
        if (!records_ready) {
            image_init(&r->image);
            image_init(&r->view_copy);
            image_init(&r->display_copy);
            r->window = nullptr;
        }
        clear_record(r, i);
    }
    records_ready = true;
    next_take = 0;
}

int window_record_take(int* slot, WindowRecord** record) {
    ensure_table();
    for (int tried = 0; tried < window_record_count; ++tried) {
        const int i = next_take;
        next_take = (next_take + 1) % window_record_count;
        if (records[i].free) {
            static std::uint64_t takes = 0;
            clear_record(&records[i], i);
            records[i].free = false;
            records[i].taken = ++takes;
            *slot = i;
            *record = &records[i];
            return 0;
        }
    }
    return 13;
}

int window_record_check_free() {
    ensure_table();
    for (int i = 0; i < window_record_count; ++i)
        if (records[i].free) return 0;
    return 13;
}

void window_record_release(int slot) {
    if (slot < 0 || slot >= window_record_count || !records_ready) return;
    WindowRecord* r = &records[slot];
    if (r->window && r->window->record_slot == slot) r->window->record_slot = -1;
    clear_record(r, slot);
}

WindowRecord* window_record_at(int slot) {
    ensure_table();
    if (slot < 0 || slot >= window_record_count || records[slot].free) return nullptr;
    return &records[slot];
}

WindowRecord* window_record_of(const WindowBase* window) {
    if (window == nullptr || window->record_slot < 0) return nullptr;
    return window_record_at(window->record_slot);
}

void window_record_bind(WindowRecord* record, WindowBase* window) {
    record->window = window;
    if (window) window->record_slot = record->slot;
}

void link_add(WindowBase* owner, WindowBase* target, const std::string& name, bool blocks_close) {
    links.push_front({owner, target, blocks_close, name.substr(0, 80)});
}

void link_remove(WindowBase* owner, WindowBase* target) {
    links.remove_if([&](const Link& l) { return l.owner == owner && l.target == target; });
}

void link_remove_all(WindowBase* owner) {
    links.remove_if([&](const Link& l) { return l.owner == owner; });
}

void links_forget_window(WindowBase* window) {
    links.remove_if([&](const Link& l) { return l.owner == window || l.target == window; });
}

std::string link_blocker(const WindowBase* target) {
    for (const Link& l : links)
        if (l.target == target && l.blocks_close) return l.name;
    return {};
}

void links_notify_changed(WindowBase* target) {
    if (notifier == nullptr) return;
    // Owners may remove their links when told, so walk a copy.
    std::vector<WindowBase*> owners;
    for (const Link& l : links)
        if (l.target == target && l.owner) owners.push_back(l.owner);
    for (WindowBase* owner : owners)
        notifier(owner, target);
}

void links_set_notifier(LinkNotifier n) {
    notifier = n;
}

std::size_t link_count() {
    return links.size();
}

int zoom_step_in(int zoom) {
    const int z = zoom + 1;
    return z == -1 ? 1 : z;
}

int zoom_step_out(int zoom) {
    const int z = zoom - 1;
    return z == 0 ? -2 : z;
}

int zoomed_size(int size, int zoom) {
    if (zoom < 0) return (size + (-zoom) - 1) / (-zoom);
    return size * zoom;
}

void view_to_picture_rect(WindowRecord* r) {
    const int width = r->image.width, height = r->image.height;
    if (r->zoom < 0) {
        const int n = -r->zoom;
        r->image_x1 = r->view_x1 * n;
        r->image_x2 = (r->view_x2 + 1) * n - 1;
        r->image_y1 = r->view_y1 * n;
        r->image_y2 = (r->view_y2 + 1) * n - 1;
    } else {
        const int n = r->zoom;
        r->image_x1 = r->view_x1 / n;
        r->image_x2 = (r->view_x2 + 1) / n;
        r->image_y1 = r->view_y1 / n;
        r->image_y2 = (r->view_y2 + 1) / n;
    }
    // The rule reaches one pixel past a view that ends on a pixel's edge, and a
    // reduced view's last group may overhang the picture: keep it inside.
    r->image_x2 = std::min(r->image_x2, width - 1);
    r->image_y2 = std::min(r->image_y2, height - 1);
}

std::string window_title_with_zoom(const std::string& base, const Image& image, int zoom) {
    switch (image.type) {
        case image_type_binary:
        case image_type_gray8:
        case image_type_colour8:
        case image_type_gray16:
        case image_type_colour16:
            break;
        default:
            return base;
    }
    if (zoom >= 0) return format_text("%s (%d:1 - %d x %d)", base, zoom, image.width, image.height);
    return format_text("%s (1:%d - %d x %d)", base, -zoom, image.width, image.height);
}

std::string window_title_base(const WindowRecord& record, bool full_path) {
    if (record.window && record.window->window_kind == window_kind_preview) return "Preview";
    const int number = record.slot + 1;
    auto shown = [&](const std::string& path) {
        return full_path ? path : name_without_folder(path);
    };
    if (!record.file_name.empty()) return format_text("%d - %s", number, shown(record.file_name));
    if (!record.derived_from.empty())
        return format_text("Untitled %d - %s", number, shown(record.derived_from));
    return format_text("Untitled %d", number);
}

void window_copy_annotations(const WindowRecord* source, WindowRecord* dest) {
    dest->derived_from = source->file_name.empty() ? source->derived_from : source->file_name;
    dest->file_type = source->file_type;
    dest->comments = source->comments;
}

int window_duplicate(const WindowRecord* source, WindowRecord* dest) {
    return copy_window_picture(source, dest, "Copy", [](const Image*, std::uint8_t*) {});
}

int window_negative(const WindowRecord* source, WindowRecord* dest) {
    return copy_window_picture(
        source, dest, "Negative", [](const Image* image, std::uint8_t* line) {
            switch (image->type) {
                case image_type_binary:
                    // Whole bytes, padding included.
                    for (int i = 0; i < image->row_bytes; ++i)
                        line[i] = static_cast<std::uint8_t>(~line[i]);
                    break;
                case image_type_gray8:
                case image_type_colour8: {
                    const int n = image_line_bytes(image);
                    for (int i = 0; i < n; ++i)
                        line[i] = static_cast<std::uint8_t>(255 - line[i]);
                    break;
                }
                default: {
                    auto* samples = reinterpret_cast<std::uint16_t*>(line);
                    const int n = image_line_bytes(image) / 2;
                    for (int i = 0; i < n; ++i)
                        samples[i] = static_cast<std::uint16_t>(65535 - samples[i]);
                    break;
                }
            }
        });
}
