// What the shell needs of a transformation panel (and of the mask tool): its
// "OK" and "Cancel" roles, which the keyboard and the close sequence use, and
// its registration while it is open.
#pragma once

class QWidget;

// Implemented by panel widgets beside their QWidget base.
class PanelRoles {
public:
    virtual ~PanelRoles() = default;
    // The panel's "OK" role: Enter while `enter_is_ok` is on.
    virtual void ok() = 0;
    // The panel's "Cancel" role: Esc, or closing the program. Closes the panel.
    virtual void cancel() = 0;
    // A panel that needs Enter for itself (a text field, say) turns
    // `enter_is_ok` off while it is the active window.
    virtual bool keeps_enter() const { return false; }
};

// The PanelRoles of a widget, or null when it is not a panel.
PanelRoles* panel_roles(QWidget* widget);

// A transformation panel calls these when it opens and when it has closed.
// When the last one closes, the files queued meanwhile are opened.
void panel_opened(QWidget* panel);
void panel_closed(QWidget* panel);

// The mask tool calls these; only one is open at a time.
void mask_tool_opened(QWidget* tool);
void mask_tool_closed();
