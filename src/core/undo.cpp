#include "core/undo.h"

#include "core/errors.h"
#include "core/image.h"
#include "core/preferences.h"
#include "core/window_record.h"

#include <algorithm>
#include <cstring>
#include <deque>

namespace {

struct UndoRecord {
    const WindowBase* window = nullptr;
    int left = 0;
    int bottom = 0;  // line number of the rectangle's lowest line
    long step = 0;
    ImageHolder lines;  // the rectangle, same type as the picture
};

// Oldest first; the newest record is at the back.
std::deque<UndoRecord>& stack() {
    static std::deque<UndoRecord> records;
    return records;
}

long current_step = 0;
bool step_begun = false;

bool undoable_type(int type) {
    return type == image_type_binary || type == image_type_gray8 || type == image_type_colour8 ||
           type == image_type_gray16 || type == image_type_colour16;
}

// Drops the oldest step; false when only the current step is left.
bool drop_oldest_step() {
    auto& records = stack();
    if (records.empty() || records.front().step == current_step) return false;
    const long oldest = records.front().step;
    while (!records.empty() && records.front().step == oldest)
        records.pop_front();
    return true;
}

void drop_step(long step) {
    auto& records = stack();
    records.erase(std::remove_if(records.begin(), records.end(),
                                 [step](const UndoRecord& r) { return r.step == step; }),
                  records.end());
}

// Copies a stored rectangle back into the picture of its window.
bool restore(const UndoRecord& record, std::vector<WindowBase*>* changed) {
    WindowRecord* target = window_record_of(record.window);
    const Image& saved = *record.lines;
    if (target == nullptr) return false;
    Image& picture = target->image;
    if (picture.type != saved.type || record.left + saved.width > picture.width ||
        record.bottom + saved.height > picture.height || picture.rows == nullptr)
        return false;
    for (int y = 0; y < saved.height; ++y) {
        const std::uint8_t* from = saved.rows[y];
        std::uint8_t* to = picture.rows[record.bottom + y];
        if (saved.type == image_type_binary) {
            for (int x = 0; x < saved.width; ++x) {
                if (image_bit_get(from, x))
                    image_bit_set(to, record.left + x);
                else
                    image_bit_clear(to, record.left + x);
            }
        } else {
            const std::size_t step = static_cast<std::size_t>(image_pixel_step(saved.type));
            std::memcpy(to + record.left * step, from, saved.width * step);
        }
    }
    auto* window = const_cast<WindowBase*>(record.window);
    if (changed != nullptr && std::find(changed->begin(), changed->end(), window) == changed->end())
        changed->push_back(window);
    return true;
}

}  // namespace

void undo_begin_step() {
    ++current_step;
    step_begun = true;
    if (preferences().undo == undo_single) {
        auto& records = stack();
        records.erase(std::remove_if(records.begin(), records.end(),
                                     [](const UndoRecord& r) { return r.step != current_step; }),
                      records.end());
    }
}

int undo_store(WindowBase* window, int x1, int y1, int x2, int y2) {
    if (preferences().undo == undo_none) {
        stack().clear();
        return err_ok;
    }
    const WindowRecord* record = window_record_of(window);
    if (record == nullptr) return err_ok;
    const Image& picture = record->image;
    if (!undoable_type(picture.type) || picture.width <= 0 || picture.height <= 0)
        return err_illegal_type;
    if (!step_begun) undo_begin_step();
    UndoRecord entry;
    entry.window = window;
    entry.step = current_step;
    entry.left = std::clamp(std::min(x1, x2), 0, picture.width - 1);
    entry.bottom = std::clamp(std::min(y1, y2), 0, picture.height - 1);
    int code = image_crop(&picture, x1, y1, x2, y2, entry.lines.get());
    while (code == err_memory && drop_oldest_step())
        code = image_crop(&picture, x1, y1, x2, y2, entry.lines.get());
    if (code != err_ok) {
        drop_step(current_step);
        return code;
    }
    stack().push_back(std::move(entry));
    return err_ok;
}

bool undo_step(std::vector<WindowBase*>* changed) {
    auto& records = stack();
    if (records.empty()) return false;
    const long step = records.back().step;
    while (!records.empty() && records.back().step == step) {
        restore(records.back(), changed);
        records.pop_back();
    }
    return true;
}

bool undo_all(std::vector<WindowBase*>* changed) {
    if (stack().empty()) return false;
    while (undo_step(changed)) {
    }
    return true;
}

void undo_forget_window(const WindowBase* window) {
    auto& records = stack();
    records.erase(std::remove_if(records.begin(), records.end(),
                                 [window](const UndoRecord& r) { return r.window == window; }),
                  records.end());
}

void undo_clear() {
    stack().clear();
    step_begun = false;
}

std::size_t undo_record_count() {
    return stack().size();
}

std::size_t undo_step_count() {
    std::size_t steps = 0;
    long last = -1;
    for (const UndoRecord& r : stack()) {
        if (r.step != last) ++steps;
        last = r.step;
    }
    return steps;
}
