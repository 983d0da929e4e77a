// What the shell asks of the windows in its work area before the program
// closes. Image windows, workflow windows and the like implement it beside
// their QWidget base; a child without it has nothing to lose and may close.
#pragma once

class QWidget;

// The kind of a workflow window: these are told to close before anything else
// is asked.
inline constexpr int window_kind_workflow = 90;

class ChildWindow {
public:
    virtual ~ChildWindow() = default;
    // The window's kind: 0 for a plain image window.
    virtual int window_kind() const = 0;
    // The window that owns this one, if any; owned windows are asked through
    // their owner.
    virtual QWidget* owner_window() const { return nullptr; }
    // Asks whether the window may close now (a save question, a busy check).
    // False keeps it, and the program, open. The window's own closeEvent asks
    // it too, so that closing it alone, "Close All" and closing the program
    // all put the same question.
    [[nodiscard]] virtual bool may_close() = 0;
};

// The ChildWindow of a widget or of the widget an MDI child holds; null when it
// has none.
ChildWindow* child_window(QWidget* widget);
