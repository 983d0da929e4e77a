// Keeps `active_window` on the child that has the input focus: a panel, or a
// window of the work area.
#pragma once

class QWidget;

// The child window that holds `focus`: the nearest panel or work-area window
// around it, or null when it lies in neither.
QWidget* active_window_of(QWidget* focus);

// Follows focus changes from now on. Safe to call more than once.
void active_window_track();
