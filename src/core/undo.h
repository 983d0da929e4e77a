// The undo stack of the tools that change a picture in place (clone, paint,
// line). Before each change a tool stores the rectangle it is about to touch;
// "Undo" puts back the newest step and "Undo All" every step. Transformations
// never need it: they make new windows.
//
// One stack for the process. The preference `undo` decides how much it keeps:
// "none" nothing, "single" the newest step, "multiple" every step while
// memory lasts.
#pragma once

#include <cstddef>
#include <vector>

class WindowBase;

// Begins a step: the rectangles stored until the next call are undone
// together. Under "single" the steps before are dropped here.
void undo_begin_step();

// Copies the inclusive rectangle between (x1, y1) and (x2, y2), pixel and line
// numbers of the window's picture in any order and clamped to it, onto the
// stack as part of the current step. Types 1, 2, 3, 6 and 7 (14 otherwise);
// 0 and nothing stored under "none" or for a window without a record. When
// memory runs out the oldest steps make room; if that is not enough the whole
// current step is dropped, since half of it could not be undone, and 1 returned.
[[nodiscard]] int undo_store(WindowBase* window, int x1, int y1, int x2, int y2);

// Puts back the newest step, newest rectangle first, and names each window it
// changed once in `changed`. A rectangle whose window no longer has a picture
// of that type and size is dropped unseen. False when the stack was empty.
bool undo_step(std::vector<WindowBase*>* changed);
// Puts back every step, newest first.
bool undo_all(std::vector<WindowBase*>* changed);

// Drops the rectangles of a window that closes or gets another picture.
void undo_forget_window(const WindowBase* window);
void undo_clear();

// Rectangles and steps on the stack.
std::size_t undo_record_count();
std::size_t undo_step_count();
